#pragma once
// Shared by the files of the compiled SnowState script: the reference entries its code reads (the
// loader fills their ids), the compiled methods, and the few helpers that stand for language
// constructs (struct and array literals, `s[$ key]`, default arguments, `==`).
#include <initializer_list>
#include <string>

#include "core/code_tables.h"
#include "core/script_api.h"
#include "state/snowstate.h"

// Build-time configuration (__snowstate_config).
#define SNOWSTATE_WILDCARD_TRANSITION_NAME "*"
#define SNOWSTATE_REFLEXIVE_TRANSITION_NAME "="

// The variables the machine's code names.
#define SNOWSTATE_VARIABLES(X)                                                                          \
  X(__owner) X(__states) X(__transitions) X(__wildTransitions) X(__on_events) X(__initState)            \
  X(__execEnter) X(__currEvent) X(__tempEvent) X(__parent) X(__childQueue) X(__stateStartTime)          \
  X(__history) X(__historyMaxSize) X(__historyEnabled) X(__defaultEvents) X(__invalidStateNames)         \
  X(__machine) X(__event) X(exists) X(func) X(to) X(condition) X(leave) X(enter)

// The builtins it calls.
#define SNOWSTATE_BUILTINS(X)                                                                           \
  X(method) X(is_method) X(is_string) X(is_struct) X(is_array) X(is_numeric) X(string) X(string_length) \
  X(show_error) X(show_debug_message) X(game_get_speed) X(variable_struct_get) X(variable_struct_set)    \
  X(variable_struct_exists) X(variable_struct_get_names) X(array_create) X(array_length) X(array_push)  \
  X(array_pop) X(array_insert) X(array_resize) X(array_copy)

namespace snowstate {

#define SNOWSTATE_DECLARE_VARIABLE(name) extern KVVariableEntry v_##name;
SNOWSTATE_VARIABLES(SNOWSTATE_DECLARE_VARIABLE)
#undef SNOWSTATE_DECLARE_VARIABLE
#define SNOWSTATE_DECLARE_BUILTIN(name) extern KVFunctionEntry f_##name;
SNOWSTATE_BUILTINS(SNOWSTATE_DECLARE_BUILTIN)
#undef SNOWSTATE_DECLARE_BUILTIN
// Language entries: struct and array literals.
extern KVFunctionEntry f_new_struct;
extern KVFunctionEntry f_new_array;

using tsl::Value;

inline Value undefined() { return Value(); }
inline Value text(const char* s) { return Value::String(s); }
inline bool truthy(const Value& v) { return RV_ToBool(*v); }
inline bool is_undefined(const Value& v) { return RV_Kind(*v) == kRVUndefined || RV_Kind(*v) == kRVUnset; }
// a == b as the language compares.
bool equals(const Value& a, const Value& b);
// argument[n], or the default when it was left out or is undefined.
Value param(int argc, RValue** argv, int n, const Value& fallback = Value());
// {} and [a, b, ...].
Value new_struct();
Value new_array(std::initializer_list<RValue> items = {});
// {exists: code, func: f}, an event record.
Value event_record(const Value& code, const Value& func);
// s[$ key], s[$ key] = value, variable_struct_exists(s, key).
Value struct_get(const Value& s, const Value& key);
void struct_set(const Value& s, const Value& key, const Value& value);
bool struct_exists(const Value& s, const Value& key);
// The builtin of an entry, called with the script's self and other.
Value builtin(const KVFunctionEntry& entry, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {});
// A function value called with the given self and other.
Value call_value(const Value& function, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {});
// get_timer(): the runtime's microsecond clock.
Value get_timer();
// The text of the values joined as string() gives them.
std::string joined(CInstance* self, CInstance* other, std::initializer_list<RValue> parts);
// The machine itself: self as a value.
inline Value machine_of(CInstance* self) { return Value::Object(KV_AsObject(self)); }
// array_length(a), a[i] (undefined outside the array), record.field, variable_struct_get_names(s).
int32_t length_of(CInstance* self, CInstance* other, const Value& array);
Value element(const Value& array, int32_t i);
Value field(const Value& record, const KVVariableEntry& entry);
Value names_of(CInstance* self, CInstance* other, const Value& s);
// A non-empty string.
bool is_name(CInstance* self, CInstance* other, const Value& name);

}  // namespace snowstate

// The compiled methods; each is a row of the script table.
#define SNOWSTATE_METHOD(name)                                                                             \
  RValue* tsl_Script_SnowState_##name(CInstance* self, [[maybe_unused]] CInstance* other, RValue* result, \
                                      [[maybe_unused]] int argc, [[maybe_unused]] RValue** argv)

#define SNOWSTATE_METHODS(X)                                                                             \
  X(add) X(add_child) X(change) X(trigger) X(add_transition) X(add_wildcard_transition)                  \
  X(add_reflexive_transition) X(transition_exists) X(state_is) X(state_exists) X(get_states)              \
  X(get_current_state) X(get_previous_state) X(get_time) X(set_time) X(on) X(inherit)                     \
  X(event_set_default_function) X(event_get_current_function) X(event_exists) X(enter) X(leave)           \
  X(history_enable) X(history_disable) X(history_is_enabled) X(history_set_max_size)                      \
  X(history_get_max_size) X(history_get) X(__add) X(__add_transition) X(__add_event_method)               \
  X(__assert_event_available) X(__assert_event_name_valid) X(__assert_state_name_valid)                   \
  X(__assert_transition_name_valid) X(__broadcast_event) X(__change) X(__create_events_struct)            \
  X(__execute) X(__func_exec) X(__get_current_state) X(__history_add) X(__history_fit_contents)           \
  X(__is_really_a_method) X(__is_state_defined) X(__set_default_event) X(__snowstate_error)               \
  X(__snowstate_trace) X(__transition_exists) X(__trigger) X(__try_triggers)                              \
  X(__update_events_from_parent) X(__update_states)

#define SNOWSTATE_DECLARE_METHOD(name) SNOWSTATE_METHOD(name);
SNOWSTATE_METHODS(SNOWSTATE_DECLARE_METHOD)
// The functions the machine makes on its own: the body of an event's method, the empty default
// event, and the default condition of a transition.
SNOWSTATE_DECLARE_METHOD(event_method)
SNOWSTATE_DECLARE_METHOD(empty_event)
SNOWSTATE_DECLARE_METHOD(always)
#undef SNOWSTATE_DECLARE_METHOD

// A call of one of the machine's own methods on the machine (self), as `name(args)` in its code.
#define SNOWSTATE_CALL(name, ...) tsl::call(tsl_Script_SnowState_##name, self, other, {__VA_ARGS__})

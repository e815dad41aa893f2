// SnowState: the reference entries and the language helpers, the library's start-up, the
// constructor, and the small methods every other part uses (errors and traces, running a function
// with gathered arguments, broadcasts).
#include <vector>

#include "core/call.h"
#include "core/object.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "state/snowstate_internal.h"

namespace snowstate {

#define SNOWSTATE_DEFINE_VARIABLE(name) KVVariableEntry v_##name = {#name, -1};
SNOWSTATE_VARIABLES(SNOWSTATE_DEFINE_VARIABLE)
#undef SNOWSTATE_DEFINE_VARIABLE
#define SNOWSTATE_DEFINE_BUILTIN(name) KVFunctionEntry f_##name = {#name, -1};
SNOWSTATE_BUILTINS(SNOWSTATE_DEFINE_BUILTIN)
#undef SNOWSTATE_DEFINE_BUILTIN
KVFunctionEntry f_new_struct = {"@@NewTSLObject@@", -1};
KVFunctionEntry f_new_array = {"@@NewTSLArray@@", -1};

bool equals(const Value& a, const Value& b) { return RV_Compare(a.get(), b.get(), Math_GetEpsilon(), 0) == 0; }

Value param(int argc, RValue** argv, int n, const Value& fallback) {
  const RValue& given = tsl::arg(argc, argv, n);
  if (RV_Kind(given) == kRVUndefined || RV_Kind(given) == kRVUnset) return fallback;
  return Value::Copy(given);
}

Value new_struct() { return tsl::call(f_new_struct, nullptr, nullptr); }

Value new_array(std::initializer_list<RValue> items) { return tsl::call(f_new_array, nullptr, nullptr, items); }

Value event_record(const Value& code, const Value& func) {
  Value record = new_struct();
  tsl::set(KV_AsInstance(record.object()), v_exists, *code);
  tsl::set(KV_AsInstance(record.object()), v_func, *func);
  return record;
}

// The machine's tables are structs keyed by strings: the `$` accessor goes to the struct's slot
// directly, as the variable_struct_* builtins do for a struct; anything else takes the builtin.
namespace {
bool keyed_struct(const Value& s, const Value& key) {
  return s.object() != nullptr && s.object()->kind == kObjStruct && RV_Kind(*key) == kRVString;
}
}  // namespace

Value struct_get(const Value& s, const Value& key) {
  if (!keyed_struct(s, key)) return tsl::call(f_variable_struct_get, nullptr, nullptr, {*s, *key});
  const int32_t slot = Variable_GetSlot(RV_StringText(*key));
  Value out;
  if (slot < 0 || !Object_GetVar(s.object(), slot, kIndexWholeValue, out.get()) || RV_Kind(*out) == kRVUnset) {
    return Value();
  }
  return out;
}

void struct_set(const Value& s, const Value& key, const Value& value) {
  if (!keyed_struct(s, key)) {
    tsl::call(f_variable_struct_set, nullptr, nullptr, {*s, *key, *value});
    return;
  }
  Object_SetVarOrRaise(s.object(), Variable_FindOrAddSlot(RV_StringText(*key)), kIndexWholeValue, value.get());
}

bool struct_exists(const Value& s, const Value& key) {
  if (!keyed_struct(s, key)) return truthy(tsl::call(f_variable_struct_exists, nullptr, nullptr, {*s, *key}));
  const int32_t slot = Variable_GetSlot(RV_StringText(*key));
  if (slot < 0) return false;
  for (KVObjectBase* at : {s.object(), s.object()->prototype}) {
    const RValue* held = at != nullptr ? at->FindOwnSlot(slot) : nullptr;
    if (held != nullptr && RV_Kind(*held) != kRVUnset) return true;
  }
  return false;
}

Value builtin(const KVFunctionEntry& entry, CInstance* self, CInstance* other, std::initializer_list<RValue> args) {
  return tsl::call(entry, self, other, args);
}

Value call_value(const Value& function, CInstance* self, CInstance* other, std::initializer_list<RValue> args) {
  return tsl::call_method(*function, self, other, args);
}

Value get_timer() { return Value::Real(static_cast<double>(Timing_Time())); }

std::string joined(CInstance* self, CInstance* other, std::initializer_list<RValue> parts) {
  std::string out;
  for (const RValue& part : parts) out += RV_StringText(*builtin(f_string, self, other, {part}));
  return out;
}

int32_t length_of(CInstance* self, CInstance* other, const Value& array) {
  return RV_ToInt32(*builtin(f_array_length, self, other, {*array}));
}

Value element(const Value& array, int32_t i) {
  return RV_Kind(*array) == kRVArray && i >= 0 && i < array.get()->pArray->length
             ? Value::Copy(array.get()->pArray->pArray[i])
             : Value();
}

Value field(const Value& record, const KVVariableEntry& entry) { return tsl::get(KV_AsInstance(record.object()), entry); }

Value names_of(CInstance* self, CInstance* other, const Value& s) {
  return builtin(f_variable_struct_get_names, self, other, {*s});
}

bool is_name(CInstance* self, CInstance* other, const Value& name) {
  return truthy(builtin(f_is_string, self, other, {*name})) &&
         RV_ToDouble(*builtin(f_string_length, self, other, {*name})) > 0;
}

}  // namespace snowstate

using namespace snowstate;

namespace {

KVVariableEntry* g_variable_entries[] = {
#define SNOWSTATE_LIST_VARIABLE(name) &v_##name,
    SNOWSTATE_VARIABLES(SNOWSTATE_LIST_VARIABLE)
#undef SNOWSTATE_LIST_VARIABLE
        nullptr};

KVFunctionEntry* g_function_entries[] = {
#define SNOWSTATE_LIST_BUILTIN(name) &f_##name,
    SNOWSTATE_BUILTINS(SNOWSTATE_LIST_BUILTIN)
#undef SNOWSTATE_LIST_BUILTIN
        &f_new_struct,
    &f_new_array,
    nullptr};

// The methods the constructor puts on every machine, by name.
struct MethodRow {
  const char* name;
  KVScriptFunction function;
};
const MethodRow kMethods[] = {
#define SNOWSTATE_METHOD_ROW(name) {#name, tsl_Script_SnowState_##name},
    SNOWSTATE_METHODS(SNOWSTATE_METHOD_ROW)
#undef SNOWSTATE_METHOD_ROW
};

Value method_of(KVScriptFunction function, CInstance* self) {
  Value made;
  KVCreateMethod(made.get(), function, self);
  return made;
}

// A configuration name must be one character of text.
void check_config_name(CInstance* self, CInstance* other, const char* value, const char* what) {
  const Value name = text(value);
  const bool valid = truthy(builtin(f_is_string, self, other, {*name})) &&
                     RV_ToDouble(*builtin(f_string_length, self, other, {*name})) == 1.0;
  if (valid) return;
  const std::string message = std::string("[SnowState]\n") + what + " should be a string of length 1." + "\n\n\n";
  builtin(f_show_error, self, other, {*text(message.c_str()), RV_Bool(true)});
}

}  // namespace

KVVariableEntry** SnowState_VariableEntries() { return g_variable_entries; }
KVFunctionEntry** SnowState_FunctionEntries() { return g_function_entries; }

// The library's start-up: the configuration is checked and the library says it is there.
RValue* tsl_GlobalScript___snowstate_system(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript___snowstate_system", self, result);
  scope.line(1);
  check_config_name(self, other, SNOWSTATE_WILDCARD_TRANSITION_NAME, "SNOWSTATE_WILDCARD_TRANSITION_NAME");
  scope.line(2);
  check_config_name(self, other, SNOWSTATE_REFLEXIVE_TRANSITION_NAME, "SNOWSTATE_REFLEXIVE_TRANSITION_NAME");
  scope.line(3);
  builtin(f_show_debug_message, self, other, {*text("SnowState: hierarchical state machines are ready")});
  return result;
}

// function SnowState(init_state, exec_enter = true) constructor
RValue* tsl_Script_SnowState(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_SnowState", self, result);
  scope.line(1);
  tsl::set(self, v___owner, other != nullptr ? RV_Object(KV_AsObject(other)) : RV_Undefined());
  tsl::set(self, v___states, *new_struct());
  tsl::set(self, v___transitions, *new_struct());
  tsl::set(self, v___wildTransitions, *new_struct());
  const Value on_events = new_struct();
  struct_set(on_events, text("state changed"), undefined());
  tsl::set(self, v___on_events, *on_events);
  tsl::set(self, v___initState, tsl::arg(argc, argv, 0));
  tsl::set(self, v___execEnter, *param(argc, argv, 1, Value::Bool(true)));
  tsl::set(self, v___currEvent, RV_Undefined());
  tsl::set(self, v___tempEvent, RV_Undefined());
  tsl::set(self, v___parent, *new_struct());
  tsl::set(self, v___childQueue, *new_array());
  scope.line(2);
  tsl::set(self, v___stateStartTime, *get_timer());
  tsl::set(self, v___history, *builtin(f_array_create, self, other, {RV_Real(2), RV_Undefined()}));
  tsl::set(self, v___historyMaxSize, RV_Real(5));  // max(0, 5)
  tsl::set(self, v___historyEnabled, RV_Bool(true));
  const Value defaults = new_struct();
  struct_set(defaults, text("enter"), event_record(Value::Int64(0), method_of(tsl_Script_SnowState_empty_event, self)));
  struct_set(defaults, text("leave"), event_record(Value::Int64(0), method_of(tsl_Script_SnowState_empty_event, self)));
  tsl::set(self, v___defaultEvents, *defaults);
  tsl::set(self, v___invalidStateNames,
           *new_array({*text(SNOWSTATE_WILDCARD_TRANSITION_NAME), *text(SNOWSTATE_REFLEXIVE_TRANSITION_NAME)}));

  scope.line(3);
  for (const MethodRow& row : kMethods) tsl::set(self, row.name, *method_of(row.function, self));

  scope.line(4);
  SNOWSTATE_CALL(__assert_state_name_valid, tsl::arg(argc, argv, 0));
  SNOWSTATE_CALL(__history_add, tsl::arg(argc, argv, 0));
  return result;
}

// __snowstate_error(...): "[SnowState]\n", the parts, "\n\n\n", through show_error, which stops.
SNOWSTATE_METHOD(__snowstate_error) {
  tsl::ScriptScope scope("tsl_Script_SnowState___snowstate_error", self, result);
  std::string message = "[SnowState]\n";
  for (int i = 0; i < argc; ++i) message += joined(self, other, {*argv[i]});
  message += "\n\n\n";
  builtin(f_show_error, self, other, {*text(message.c_str()), RV_Bool(true)});
  return result;
}

// __snowstate_trace(...): "[SnowState] " and the parts, to the debug output.
SNOWSTATE_METHOD(__snowstate_trace) {
  tsl::ScriptScope scope("tsl_Script_SnowState___snowstate_trace", self, result);
  std::string message = "[SnowState] ";
  for (int i = 0; i < argc; ++i) message += joined(self, other, {*argv[i]});
  builtin(f_show_debug_message, self, other, {*text(message.c_str())});
  return result;
}

// __func_exec(func, args): no args, one value, or the elements of an array as the arguments.
SNOWSTATE_METHOD(__func_exec) {
  tsl::ScriptScope scope("tsl_Script_SnowState___func_exec", self, result);
  const Value func = Value::Copy(tsl::arg(argc, argv, 0));
  const Value args = Value::Copy(tsl::arg(argc, argv, 1));
  scope.line(1);
  if (is_undefined(args)) return scope.give(call_value(func, self, other));
  if (!truthy(builtin(f_is_array, self, other, {*args}))) return scope.give(call_value(func, self, other, {*args}));
  const int32_t length = RV_ToInt32(*builtin(f_array_length, self, other, {*args}));
  if (length > 16) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("Can't use more than 16 arguments."));
    return scope.give(undefined());
  }
  std::vector<RValue*> elements;
  for (int32_t i = 0; i < length; ++i) elements.push_back(&args.get()->pArray->pArray[i]);
  Value returned;
  RValue callee = *func;
  CallMethod(self, other, returned.get(), length, &callee, elements.data());
  return scope.give(returned);
}

// __is_really_a_method(x): is_method(method(undefined, x)); a function index passes too.
SNOWSTATE_METHOD(__is_really_a_method) {
  tsl::ScriptScope scope("tsl_Script_SnowState___is_really_a_method", self, result);
  const Value bound = builtin(f_method, self, other, {RV_Undefined(), tsl::arg(argc, argv, 0)});
  return scope.give(builtin(f_is_method, self, other, {*bound}));
}

// __broadcast_event(name, args): the callback registered with on(), if any.
SNOWSTATE_METHOD(__broadcast_event) {
  tsl::ScriptScope scope("tsl_Script_SnowState___broadcast_event", self, result);
  const Value callback = struct_get(tsl::get(self, v___on_events), Value::Copy(tsl::arg(argc, argv, 0)));
  scope.line(1);
  if (!is_undefined(callback)) SNOWSTATE_CALL(__func_exec, *callback, tsl::arg(argc, argv, 1));
  return scope.give(Value::Object(KV_AsObject(self)));
}

// The method each event name gets: its self holds the machine and the event; the arguments go to
// the event of the current state as one fresh array.
SNOWSTATE_METHOD(event_method) {
  tsl::ScriptScope scope("tsl_Script_SnowState_event_method", self, result);
  RValue args = RV_Undefined();
  args.pArray = RV_NewArray(argc);
  args.flags = 0;
  args.kind = kRVArray;
  for (int i = 0; i < argc; ++i) RV_CopyRef(&args.pArray->pArray[i], argv[i]);
  const Value owned_args = Value::Adopt(args);
  const Value machine = tsl::get(self, v___machine);
  const Value event = tsl::get(self, v___event);
  scope.line(1);
  return scope.give(tsl::call(tsl_Script_SnowState___execute, KV_AsInstance(machine.object()), other,
                              {*event, RV_Undefined(), *owned_args}));
}

// function() {}: the default of an event nobody set.
SNOWSTATE_METHOD(empty_event) {
  tsl::ScriptScope scope("tsl_Script_SnowState_empty_event", self, result);
  return result;
}

// function() { return true; }: a transition's condition when none is given.
SNOWSTATE_METHOD(always) {
  tsl::ScriptScope scope("tsl_Script_SnowState_always", self, result);
  return scope.give(Value::Bool(true));
}

// enter(args) and leave(args): the machine's own runs of those events.
SNOWSTATE_METHOD(enter) {
  tsl::ScriptScope scope("tsl_Script_SnowState_enter", self, result);
  return scope.give(SNOWSTATE_CALL(__execute, *text("enter"), RV_Undefined(), tsl::arg(argc, argv, 0)));
}

SNOWSTATE_METHOD(leave) {
  tsl::ScriptScope scope("tsl_Script_SnowState_leave", self, result);
  return scope.give(SNOWSTATE_CALL(__execute, *text("leave"), RV_Undefined(), tsl::arg(argc, argv, 0)));
}

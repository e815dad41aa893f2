// SnowState: moving between states. __change is the one place that moves the machine; change makes
// an unconditional move, trigger fires the first transition whose condition holds (the state's own,
// then the wildcard ones, then its ancestors', nearest first); the history keeps the states passed.
#include <algorithm>

#include "state/snowstate_internal.h"

using namespace snowstate;

namespace {

bool is_function(CInstance* self, CInstance* other, const Value& value) {
  return truthy(tsl::call(tsl_Script_SnowState___is_really_a_method, self, other, {*value}));
}

}  // namespace

// __change(destination, leave_func, enter_func, data): the machine's leave and enter are replaced
// for the call; a custom one can fetch the replaced default with event_get_current_function().
SNOWSTATE_METHOD(__change) {
  tsl::ScriptScope scope("tsl_Script_SnowState___change", self, result);
  const Value destination = Value::Copy(tsl::arg(argc, argv, 0));
  const Value data = Value::Copy(tsl::arg(argc, argv, 3));
  const Value default_leave = tsl::get(self, v_leave);
  const Value default_enter = tsl::get(self, v_enter);
  tsl::set(self, v_leave, tsl::arg(argc, argv, 1));
  tsl::set(self, v_enter, tsl::arg(argc, argv, 2));

  scope.line(1);
  if (is_undefined(tsl::get(self, v_leave))) {
    tsl::set(self, v_leave, *default_leave);
  } else {
    tsl::set(self, v___tempEvent, *default_leave);
  }
  call_value(tsl::get(self, v_leave), self, other, {*data});

  scope.line(2);
  const Value queue = tsl::get(self, v___childQueue);
  if (length_of(self, other, queue) > 0) {
    tsl::set_element(self, v___history, 0, *element(queue, 0));
    tsl::set(self, v___childQueue, *new_array());
  }
  tsl::set(self, v___stateStartTime, *get_timer());
  SNOWSTATE_CALL(__history_add, *destination);

  scope.line(3);
  if (is_undefined(tsl::get(self, v_enter))) {
    tsl::set(self, v_enter, *default_enter);
  } else {
    tsl::set(self, v___tempEvent, *default_enter);
  }
  call_value(tsl::get(self, v_enter), self, other, {*data});

  scope.line(4);
  tsl::set(self, v___tempEvent, RV_Undefined());
  tsl::set(self, v_leave, *default_leave);
  tsl::set(self, v_enter, *default_enter);
  return scope.give(machine_of(self));
}

// change(destination, leave_func = undefined, enter_func = undefined, data = undefined)
SNOWSTATE_METHOD(change) {
  tsl::ScriptScope scope("tsl_Script_SnowState_change", self, result);
  const Value destination = Value::Copy(tsl::arg(argc, argv, 0));
  const Value leave_func = Value::Copy(tsl::arg(argc, argv, 1));
  const Value enter_func = Value::Copy(tsl::arg(argc, argv, 2));
  const Value data = Value::Copy(tsl::arg(argc, argv, 3));
  scope.line(1);
  if (!is_undefined(leave_func) && !is_function(self, other, leave_func)) {
    SNOWSTATE_CALL(__snowstate_error, *text("Invalid value for \"leave_func\" in change(). Should be a function."));
    return scope.give(undefined());
  }
  if (!is_undefined(enter_func) && !is_function(self, other, enter_func)) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("Invalid value for \"enter_func\" in change(). Should be a function."));
    return scope.give(undefined());
  }
  if (!truthy(SNOWSTATE_CALL(__assert_state_name_valid, *destination))) return scope.give(undefined());
  scope.line(3);
  const Value source = SNOWSTATE_CALL(get_current_state);
  SNOWSTATE_CALL(__change, *destination, *leave_func, *enter_func, *data);
  scope.line(4);
  SNOWSTATE_CALL(__broadcast_event, *text("state changed"), *new_array({*destination, *source}));
  return scope.give(machine_of(self));
}

// __transition_exists(trigger, source): 1 for the source's own (or a wildcard's with "*"), 2 for an
// ancestor's, 0 for none.
SNOWSTATE_METHOD(__transition_exists) {
  tsl::ScriptScope scope("tsl_Script_SnowState___transition_exists", self, result);
  const Value trigger = Value::Copy(tsl::arg(argc, argv, 0));
  Value source = Value::Copy(tsl::arg(argc, argv, 1));
  if (equals(source, text(SNOWSTATE_WILDCARD_TRANSITION_NAME))) {
    return scope.give(Value::Int64(struct_exists(tsl::get(self, v___wildTransitions), trigger) ? 1 : 0));
  }
  const Value transitions = tsl::get(self, v___transitions);
  auto has = [&](const Value& state) {
    return struct_exists(transitions, state) && struct_exists(struct_get(transitions, state), trigger);
  };
  if (has(source)) return scope.give(Value::Int64(1));
  const Value parents = tsl::get(self, v___parent);
  while (struct_exists(parents, source)) {
    source = struct_get(parents, source);
    if (has(source)) return scope.give(Value::Int64(2));
  }
  return scope.give(Value::Int64(0));
}

// __try_triggers(transitions, source, trigger, data): the first record whose condition holds moves
// the machine; "=" goes back into the source.
SNOWSTATE_METHOD(__try_triggers) {
  tsl::ScriptScope scope("tsl_Script_SnowState___try_triggers", self, result);
  const Value transitions = Value::Copy(tsl::arg(argc, argv, 0));
  const Value source = Value::Copy(tsl::arg(argc, argv, 1));
  const Value trigger = Value::Copy(tsl::arg(argc, argv, 2));
  const Value data = Value::Copy(tsl::arg(argc, argv, 3));
  for (int32_t i = 0; i < length_of(self, other, transitions); ++i) {
    const Value record = element(transitions, i);
    Value to = field(record, v_to);
    if (equals(to, text(SNOWSTATE_REFLEXIVE_TRANSITION_NAME))) to = source;
    scope.line(1);
    if (!truthy(call_value(field(record, v_condition), self, other, {*data}))) continue;
    scope.line(2);
    SNOWSTATE_CALL(__change, *to, *field(record, v_leave), *field(record, v_enter), *data);
    SNOWSTATE_CALL(__broadcast_event, *text("state changed"), *new_array({*to, *source, *trigger}));
    return scope.give(Value::Bool(true));
  }
  return scope.give(Value::Bool(false));
}

// __trigger(name, data): own transitions, wildcard transitions, then the ancestors', nearest first;
// the source handed down is always the current state.
SNOWSTATE_METHOD(__trigger) {
  tsl::ScriptScope scope("tsl_Script_SnowState___trigger", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const Value data = Value::Copy(tsl::arg(argc, argv, 1));
  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__assert_transition_name_valid, *name))) return scope.give(Value::Bool(false));
  const Value current = SNOWSTATE_CALL(__get_current_state);
  Value state = current;
  const Value transitions = tsl::get(self, v___transitions);
  auto own_hit = [&](const Value& at) {
    return RV_ToInt64(*SNOWSTATE_CALL(__transition_exists, *name, *at)) == 1;
  };
  auto fired = [&](const Value& records) {
    return truthy(SNOWSTATE_CALL(__try_triggers, *records, *current, *name, *data));
  };
  scope.line(2);
  if (own_hit(state) && fired(struct_get(struct_get(transitions, state), name))) return scope.give(Value::Bool(true));
  scope.line(3);
  if (own_hit(text(SNOWSTATE_WILDCARD_TRANSITION_NAME)) && fired(struct_get(tsl::get(self, v___wildTransitions), name))) {
    return scope.give(Value::Bool(true));
  }
  scope.line(4);
  const Value parents = tsl::get(self, v___parent);
  while (struct_exists(parents, state)) {
    state = struct_get(parents, state);
    if (own_hit(state) && fired(struct_get(struct_get(transitions, state), name))) return scope.give(Value::Bool(true));
  }
  return scope.give(Value::Bool(false));
}

// trigger(names, data = undefined): a name, or an array of names tried in order until one fires.
SNOWSTATE_METHOD(trigger) {
  tsl::ScriptScope scope("tsl_Script_SnowState_trigger", self, result);
  const Value names = Value::Copy(tsl::arg(argc, argv, 0));
  const Value data = Value::Copy(tsl::arg(argc, argv, 1));
  if (!truthy(builtin(f_is_array, self, other, {*names}))) {
    scope.line(1);
    return scope.give(SNOWSTATE_CALL(__trigger, *names, *data));
  }
  for (int32_t i = 0; i < length_of(self, other, names); ++i) {
    scope.line(2);
    if (truthy(SNOWSTATE_CALL(__trigger, *element(names, i), *data))) return scope.give(Value::Bool(true));
  }
  return scope.give(Value::Bool(false));
}

// __add_transition(trigger, source, destination, condition, leave, enter): one record, appended.
SNOWSTATE_METHOD(__add_transition) {
  tsl::ScriptScope scope("tsl_Script_SnowState___add_transition", self, result);
  const Value trigger = Value::Copy(tsl::arg(argc, argv, 0));
  const Value source = Value::Copy(tsl::arg(argc, argv, 1));
  const Value record = new_struct();
  CInstance* fields = KV_AsInstance(record.object());
  tsl::set(fields, v_to, tsl::arg(argc, argv, 2));
  tsl::set(fields, v_condition, tsl::arg(argc, argv, 3));
  tsl::set(fields, v_exists, RV_Int64(1));
  tsl::set(fields, v_leave, tsl::arg(argc, argv, 4));
  tsl::set(fields, v_enter, tsl::arg(argc, argv, 5));
  scope.line(1);
  Value table;
  if (equals(source, text(SNOWSTATE_WILDCARD_TRANSITION_NAME))) {
    table = tsl::get(self, v___wildTransitions);
  } else {
    const Value transitions = tsl::get(self, v___transitions);
    if (!struct_exists(transitions, source)) struct_set(transitions, source, new_struct());
    table = struct_get(transitions, source);
  }
  if (!struct_exists(table, trigger)) struct_set(table, trigger, new_array());
  scope.line(2);
  builtin(f_array_push, self, other, {*struct_get(table, trigger), *record});
  return result;
}

// add_transition(trigger, source, destination, condition = always, leave_func = leave,
// enter_func = enter)
SNOWSTATE_METHOD(add_transition) {
  tsl::ScriptScope scope("tsl_Script_SnowState_add_transition", self, result);
  const Value trigger = Value::Copy(tsl::arg(argc, argv, 0));
  Value sources = Value::Copy(tsl::arg(argc, argv, 1));
  const Value destination = Value::Copy(tsl::arg(argc, argv, 2));
  Value always;
  KVCreateMethod(always.get(), tsl_Script_SnowState_always, self);
  const Value condition = param(argc, argv, 3, always);
  const Value leave_func = param(argc, argv, 4, tsl::get(self, v_leave));
  const Value enter_func = param(argc, argv, 5, tsl::get(self, v_enter));

  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__assert_transition_name_valid, *trigger))) return scope.give(undefined());
  auto refuse = [&](const char* message) {
    SNOWSTATE_CALL(__snowstate_error, *text(message));
    return scope.give(undefined());
  };
  if (!is_name(self, other, destination)) return refuse("State name should be a non-empty string.");
  if (equals(destination, text(SNOWSTATE_WILDCARD_TRANSITION_NAME))) {
    return refuse("Destination state name can not be the same as SNOWSTATE_WILDCARD_TRANSITION_NAME.");
  }
  if (!is_function(self, other, condition)) {
    return refuse("Invalid value for \"condition\" in add_transition(). Should be a function.");
  }
  if (!is_function(self, other, leave_func)) {
    return refuse("Invalid value for \"leave_func\" in add_transition(). Should be a function.");
  }
  if (!is_function(self, other, enter_func)) {
    return refuse("Invalid value for \"enter_func\" in add_transition(). Should be a function.");
  }

  scope.line(2);
  if (!truthy(builtin(f_is_array, self, other, {*sources}))) sources = new_array({*sources});
  for (int32_t i = 0; i < length_of(self, other, sources); ++i) {
    const Value source = element(sources, i);
    scope.line(3);
    if (!is_name(self, other, source)) {
      SNOWSTATE_CALL(__snowstate_trace, *text("State name should be a non-empty string. Transition not added."));
      continue;
    }
    if (equals(source, text(SNOWSTATE_REFLEXIVE_TRANSITION_NAME))) {
      SNOWSTATE_CALL(__snowstate_trace, *text("Source state name can not be the same as "
                                              "SNOWSTATE_REFLEXIVE_TRANSITION_NAME. Transition not added."));
      continue;
    }
    SNOWSTATE_CALL(__add_transition, *trigger, *source, *destination, *condition, *leave_func, *enter_func);
  }
  return scope.give(machine_of(self));
}

// add_wildcard_transition(trigger, destination, condition, leave_func, enter_func)
SNOWSTATE_METHOD(add_wildcard_transition) {
  tsl::ScriptScope scope("tsl_Script_SnowState_add_wildcard_transition", self, result);
  return scope.give(SNOWSTATE_CALL(add_transition, tsl::arg(argc, argv, 0), *text(SNOWSTATE_WILDCARD_TRANSITION_NAME),
                                   tsl::arg(argc, argv, 1), tsl::arg(argc, argv, 2), tsl::arg(argc, argv, 3),
                                   tsl::arg(argc, argv, 4)));
}

// add_reflexive_transition(trigger, source, condition, leave_func, enter_func)
SNOWSTATE_METHOD(add_reflexive_transition) {
  tsl::ScriptScope scope("tsl_Script_SnowState_add_reflexive_transition", self, result);
  return scope.give(SNOWSTATE_CALL(add_transition, tsl::arg(argc, argv, 0), tsl::arg(argc, argv, 1),
                                   *text(SNOWSTATE_REFLEXIVE_TRANSITION_NAME), tsl::arg(argc, argv, 2),
                                   tsl::arg(argc, argv, 3), tsl::arg(argc, argv, 4)));
}

// transition_exists(trigger, source): false for names that aren't strings; true for "*"; else
// __transition_exists's 1 or 2 for a hit.
SNOWSTATE_METHOD(transition_exists) {
  tsl::ScriptScope scope("tsl_Script_SnowState_transition_exists", self, result);
  const Value trigger = Value::Copy(tsl::arg(argc, argv, 0));
  const Value source = Value::Copy(tsl::arg(argc, argv, 1));
  if (!truthy(builtin(f_is_string, self, other, {*trigger})) || !truthy(builtin(f_is_string, self, other, {*source}))) {
    return scope.give(Value::Bool(false));
  }
  if (equals(source, text(SNOWSTATE_WILDCARD_TRANSITION_NAME))) return scope.give(Value::Bool(true));
  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__assert_transition_name_valid, *trigger, RV_Bool(false)))) {
    return scope.give(Value::Bool(false));
  }
  return scope.give(SNOWSTATE_CALL(__transition_exists, *trigger, *source));
}

// ---- History ----------------------------------------------------------------------------------

// __history_add(state): the new state in front; with history on, the list grows to its limit.
SNOWSTATE_METHOD(__history_add) {
  tsl::ScriptScope scope("tsl_Script_SnowState___history_add", self, result);
  const Value state = Value::Copy(tsl::arg(argc, argv, 0));
  const Value history = tsl::get(self, v___history);
  if (truthy(tsl::get(self, v___historyEnabled)) && !is_undefined(element(history, 1))) {
    scope.line(1);
    builtin(f_array_insert, self, other, {*history, RV_Real(0), *state});
    SNOWSTATE_CALL(__history_fit_contents);
    return result;
  }
  scope.line(2);
  tsl::set_element(self, v___history, 1, *element(history, 0));
  tsl::set_element(self, v___history, 0, *state);
  return result;
}

// __history_fit_contents(): max(2, min(__historyMaxSize, length)) entries.
SNOWSTATE_METHOD(__history_fit_contents) {
  tsl::ScriptScope scope("tsl_Script_SnowState___history_fit_contents", self, result);
  const Value history = tsl::get(self, v___history);
  const double limit = RV_ToDouble(*tsl::get(self, v___historyMaxSize));
  const double length = length_of(self, other, history);
  const double size = std::max(2.0, std::min(limit, length));
  builtin(f_array_resize, self, other, {*history, RV_Real(size)});
  return result;
}

SNOWSTATE_METHOD(history_enable) {
  tsl::ScriptScope scope("tsl_Script_SnowState_history_enable", self, result);
  if (!truthy(tsl::get(self, v___historyEnabled))) {
    tsl::set(self, v___historyEnabled, RV_Bool(true));
    SNOWSTATE_CALL(__history_fit_contents);
  }
  return scope.give(machine_of(self));
}

SNOWSTATE_METHOD(history_disable) {
  tsl::ScriptScope scope("tsl_Script_SnowState_history_disable", self, result);
  if (truthy(tsl::get(self, v___historyEnabled))) {
    tsl::set(self, v___historyEnabled, RV_Bool(false));
    builtin(f_array_resize, self, other, {*tsl::get(self, v___history), RV_Real(2)});
  }
  return scope.give(machine_of(self));
}

SNOWSTATE_METHOD(history_is_enabled) {
  tsl::ScriptScope scope("tsl_Script_SnowState_history_is_enabled", self, result);
  return scope.give(tsl::get(self, v___historyEnabled));
}

// history_set_max_size(size): a negative size is taken as 0 with a trace.
SNOWSTATE_METHOD(history_set_max_size) {
  tsl::ScriptScope scope("tsl_Script_SnowState_history_set_max_size", self, result);
  Value size = Value::Copy(tsl::arg(argc, argv, 0));
  if (!truthy(builtin(f_is_numeric, self, other, {*size}))) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_error, *text("Size should be a number."));
    return scope.give(undefined());
  }
  if (RV_ToDouble(*size) < 0) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_trace, *text("History size should non-negative. Setting the size to 0 instead of "), *size,
                   *text("."));
    size = Value::Real(0);
  }
  tsl::set(self, v___historyMaxSize, *size);
  SNOWSTATE_CALL(__history_fit_contents);
  return scope.give(machine_of(self));
}

SNOWSTATE_METHOD(history_get_max_size) {
  tsl::ScriptScope scope("tsl_Script_SnowState_history_get_max_size", self, result);
  return scope.give(tsl::get(self, v___historyMaxSize));
}

SNOWSTATE_METHOD(get_previous_state) {
  tsl::ScriptScope scope("tsl_Script_SnowState_get_previous_state", self, result);
  const Value history = tsl::get(self, v___history);
  return scope.give(length_of(self, other, history) > 1 ? element(history, 1) : undefined());
}

// history_get(): the states passed, current first.
SNOWSTATE_METHOD(history_get) {
  tsl::ScriptScope scope("tsl_Script_SnowState_history_get", self, result);
  if (!truthy(tsl::get(self, v___historyEnabled))) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_trace, *text("History is disabled, can not get_history()."));
    return scope.give(new_array());
  }
  if (is_undefined(SNOWSTATE_CALL(get_previous_state))) {
    return scope.give(new_array({*SNOWSTATE_CALL(__get_current_state)}));
  }
  scope.line(2);
  const Value history = tsl::get(self, v___history);
  const double count = std::min(RV_ToDouble(*tsl::get(self, v___historyMaxSize)),
                                static_cast<double>(length_of(self, other, history)));
  const Value copy = builtin(f_array_create, self, other, {RV_Real(count)});
  builtin(f_array_copy, self, other, {*copy, RV_Real(0), *history, RV_Real(0), RV_Real(count)});
  Value written = copy;
  RV_ArrayWrite(written.get(), 0, SNOWSTATE_CALL(__get_current_state).get());
  return scope.give(written);
}

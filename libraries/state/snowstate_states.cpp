// SnowState: defining states and running their events. add and add_child define states; the events
// of a state come from its struct, its parent's events and the defaults; __execute runs one event of
// a state inside `with (__owner)`; inherit runs the same event of the parent state.
#include "state/snowstate_internal.h"

using namespace snowstate;

namespace {

// method(__owner, f)
Value bound_to_owner(CInstance* self, CInstance* other, const Value& function) {
  return builtin(f_method, self, other, {*tsl::get(self, v___owner), *function});
}

}  // namespace

// __is_state_defined(name): a string that names a state.
SNOWSTATE_METHOD(__is_state_defined) {
  tsl::ScriptScope scope("tsl_Script_SnowState___is_state_defined", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const bool defined = truthy(builtin(f_is_string, self, other, {*name})) && struct_exists(tsl::get(self, v___states), name);
  return scope.give(Value::Bool(defined));
}

// __assert_state_name_valid(name, report = true)
SNOWSTATE_METHOD(__assert_state_name_valid) {
  tsl::ScriptScope scope("tsl_Script_SnowState___assert_state_name_valid", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const bool report_errors = truthy(param(argc, argv, 1, Value::Bool(true)));
  auto report = [&](std::initializer_list<RValue> parts) {
    if (report_errors) {
      tsl::call(tsl_Script_SnowState___snowstate_error, self, other, parts);
    } else {
      tsl::call(tsl_Script_SnowState___snowstate_trace, self, other, parts);
    }
  };
  scope.line(1);
  if (!is_name(self, other, name)) {
    report({*text("State name should be a non-empty string.")});
    return scope.give(Value::Bool(false));
  }
  const Value invalid = tsl::get(self, v___invalidStateNames);
  for (int32_t i = 0; i < length_of(self, other, invalid); ++i) {
    if (!equals(name, element(invalid, i))) continue;
    scope.line(2);
    report({*text("State name can not be \""), *name, *text("\".")});
    return scope.give(Value::Bool(false));
  }
  return scope.give(Value::Bool(true));
}

// __assert_transition_name_valid(name, report = true)
SNOWSTATE_METHOD(__assert_transition_name_valid) {
  tsl::ScriptScope scope("tsl_Script_SnowState___assert_transition_name_valid", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  if (is_name(self, other, name)) return scope.give(Value::Bool(true));
  scope.line(1);
  const Value message = text("Transition name should be a non-empty string.");
  if (truthy(param(argc, argv, 1, Value::Bool(true)))) {
    SNOWSTATE_CALL(__snowstate_error, *message);
  } else {
    SNOWSTATE_CALL(__snowstate_trace, *message);
  }
  return scope.give(Value::Bool(false));
}

// __assert_event_name_valid(name): a default event, or a name the machine doesn't use itself.
SNOWSTATE_METHOD(__assert_event_name_valid) {
  tsl::ScriptScope scope("tsl_Script_SnowState___assert_event_name_valid", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  if (struct_exists(tsl::get(self, v___defaultEvents), name)) return scope.give(Value::Bool(true));
  if (struct_exists(machine_of(self), name)) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_error, *text("Can not use \""), *name, *text("\" as an event."));
    return scope.give(Value::Bool(false));
  }
  return scope.give(Value::Bool(true));
}

// __assert_event_available(name): the first state that uses an event gives every state an empty one.
SNOWSTATE_METHOD(__assert_event_available) {
  tsl::ScriptScope scope("tsl_Script_SnowState___assert_event_available", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  if (!struct_exists(tsl::get(self, v___defaultEvents), name)) {
    scope.line(1);
    Value empty;
    KVCreateMethod(empty.get(), tsl_Script_SnowState_empty_event, self);
    SNOWSTATE_CALL(__set_default_event, *name, *empty, RV_Int64(0));
  }
  return result;
}

// __set_default_event(name, func, exists)
SNOWSTATE_METHOD(__set_default_event) {
  tsl::ScriptScope scope("tsl_Script_SnowState___set_default_event", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  struct_set(tsl::get(self, v___defaultEvents), name,
             event_record(Value::Copy(tsl::arg(argc, argv, 2)), Value::Copy(tsl::arg(argc, argv, 1))));
  scope.line(1);
  SNOWSTATE_CALL(__add_event_method, *name);
  return result;
}

// __add_event_method(name): the machine gains a method of the event's name, which runs that event
// of the current state. A name the machine already has (enter, leave) keeps its own method.
SNOWSTATE_METHOD(__add_event_method) {
  tsl::ScriptScope scope("tsl_Script_SnowState___add_event_method", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const Value machine = machine_of(self);
  if (struct_exists(machine, name)) return result;
  scope.line(1);
  const Value holder = new_struct();
  tsl::set(KV_AsInstance(holder.object()), v___machine, *machine);
  tsl::set(KV_AsInstance(holder.object()), v___event, *name);
  Value body;
  KVCreateMethod(body.get(), tsl_Script_SnowState_event_method, nullptr);
  struct_set(machine, name, builtin(f_method, self, other, {*holder, *body}));
  return result;
}

// __create_events_struct(struct): the state's own functions, then the defaults it lacks, each bound
// to the owner.
SNOWSTATE_METHOD(__create_events_struct) {
  tsl::ScriptScope scope("tsl_Script_SnowState___create_events_struct", self, result);
  const Value state = Value::Copy(tsl::arg(argc, argv, 0));
  const Value events = new_struct();
  const Value keys = names_of(self, other, state);
  for (int32_t i = 0; i < length_of(self, other, keys); ++i) {
    const Value key = element(keys, i);
    scope.line(1);
    if (!truthy(SNOWSTATE_CALL(__assert_event_name_valid, *key))) continue;
    SNOWSTATE_CALL(__assert_event_available, *key);
    struct_set(events, key, event_record(Value::Int64(1), bound_to_owner(self, other, struct_get(state, key))));
  }
  const Value defaults = tsl::get(self, v___defaultEvents);
  const Value default_keys = names_of(self, other, defaults);
  for (int32_t i = 0; i < length_of(self, other, default_keys); ++i) {
    const Value key = element(default_keys, i);
    if (struct_exists(state, key)) continue;
    scope.line(2);
    const Value record = struct_get(defaults, key);
    struct_set(events, key, event_record(field(record, v_exists), bound_to_owner(self, other, field(record, v_func))));
  }
  return scope.give(events);
}

// __update_events_from_parent(name): every event of the parent, as inherited (2), default (4) or
// unset (0).
SNOWSTATE_METHOD(__update_events_from_parent) {
  tsl::ScriptScope scope("tsl_Script_SnowState___update_events_from_parent", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const Value states = tsl::get(self, v___states);
  const Value parent_events = struct_get(states, struct_get(tsl::get(self, v___parent), name));
  const Value child_events = struct_get(states, name);
  const Value keys = names_of(self, other, parent_events);
  for (int32_t i = 0; i < length_of(self, other, keys); ++i) {
    const Value key = element(keys, i);
    const Value record = struct_get(parent_events, key);
    const int64_t code = RV_ToInt64(*field(record, v_exists));
    const int64_t inherited = code == 1 || code == 2 ? 2 : code == 4 ? 4 : 0;
    scope.line(1);
    struct_set(child_events, key, event_record(Value::Int64(inherited), field(record, v_func)));
  }
  return result;
}

// __update_states(): every state gets the default events it lacks.
SNOWSTATE_METHOD(__update_states) {
  tsl::ScriptScope scope("tsl_Script_SnowState___update_states", self, result);
  const Value states = tsl::get(self, v___states);
  const Value defaults = tsl::get(self, v___defaultEvents);
  const Value state_names = names_of(self, other, states);
  const Value default_names = names_of(self, other, defaults);
  for (int32_t s = 0; s < length_of(self, other, state_names); ++s) {
    const Value events = struct_get(states, element(state_names, s));
    for (int32_t d = 0; d < length_of(self, other, default_names); ++d) {
      const Value key = element(default_names, d);
      if (struct_exists(events, key)) continue;
      scope.line(1);
      const Value record = struct_get(defaults, key);
      struct_set(events, key, event_record(field(record, v_exists), bound_to_owner(self, other, field(record, v_func))));
    }
  }
  return result;
}

// __add(name, struct, has_parent)
SNOWSTATE_METHOD(__add) {
  tsl::ScriptScope scope("tsl_Script_SnowState___add", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const Value state = Value::Copy(tsl::arg(argc, argv, 1));
  const bool has_parent = RV_ToBool(tsl::arg(argc, argv, 2));
  scope.line(1);
  const Value events = SNOWSTATE_CALL(__create_events_struct, *state);
  struct_set(tsl::get(self, v___states), name, events);
  if (has_parent) {
    scope.line(2);
    SNOWSTATE_CALL(__update_events_from_parent, *name);
    // The state's own functions win over the parent's.
    const Value keys = names_of(self, other, state);
    for (int32_t i = 0; i < length_of(self, other, keys); ++i) {
      const Value key = element(keys, i);
      struct_set(events, key, event_record(Value::Int64(1), bound_to_owner(self, other, struct_get(state, key))));
    }
  }
  scope.line(3);
  SNOWSTATE_CALL(__update_states);
  if (equals(name, tsl::get(self, v___initState)) && truthy(tsl::get(self, v___execEnter))) {
    scope.line(4);
    tsl::set(self, v___stateStartTime, *get_timer());
    call_value(tsl::get(self, v_enter), self, other);
  }
  return result;
}

// add(name, struct = {})
SNOWSTATE_METHOD(add) {
  tsl::ScriptScope scope("tsl_Script_SnowState_add", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const Value state = param(argc, argv, 1, new_struct());
  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__assert_state_name_valid, *name))) return scope.give(undefined());
  if (!truthy(builtin(f_is_struct, self, other, {*state}))) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("State struct should be a struct."));
    return scope.give(undefined());
  }
  if (struct_exists(tsl::get(self, v___states), name)) {
    scope.line(3);
    SNOWSTATE_CALL(__snowstate_trace, *text("State \""), *name,
                   *text("\" has been defined already. Replacing the previous definition."));
  }
  scope.line(4);
  SNOWSTATE_CALL(__add, *name, *state, RV_Bool(false));
  return scope.give(machine_of(self));
}

// add_child(parent, name, struct = {})
SNOWSTATE_METHOD(add_child) {
  tsl::ScriptScope scope("tsl_Script_SnowState_add_child", self, result);
  const Value parent = Value::Copy(tsl::arg(argc, argv, 0));
  const Value name = Value::Copy(tsl::arg(argc, argv, 1));
  const Value state = param(argc, argv, 2, new_struct());
  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__assert_state_name_valid, *parent))) return scope.give(undefined());
  if (!truthy(SNOWSTATE_CALL(__assert_state_name_valid, *name))) return scope.give(undefined());
  if (equals(name, parent)) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("Cannot set a state as a parent to itself."));
    return scope.give(undefined());
  }
  if (!truthy(SNOWSTATE_CALL(__is_state_defined, *parent))) {
    scope.line(3);
    SNOWSTATE_CALL(__snowstate_error, *text("State \""), *parent, *text("\" is not defined."));
    return scope.give(undefined());
  }
  if (!truthy(builtin(f_is_struct, self, other, {*state}))) {
    scope.line(4);
    SNOWSTATE_CALL(__snowstate_error, *text("State struct should be a struct."));
    return scope.give(undefined());
  }
  if (struct_exists(tsl::get(self, v___states), name)) {
    scope.line(5);
    SNOWSTATE_CALL(__snowstate_trace, *text("State \""), *name,
                   *text("\" has been defined already. The previous definition has been replaced."));
  }
  const Value parents = tsl::get(self, v___parent);
  if (struct_exists(parents, name) && equals(struct_get(parents, name), parent)) {
    scope.line(6);
    SNOWSTATE_CALL(__snowstate_trace, *text("State \""), *name, *text("\" is already a child of \""), *parent,
                   *text("\"."));
  }
  scope.line(7);
  struct_set(parents, name, parent);
  SNOWSTATE_CALL(__add, *name, *state, RV_Bool(true));
  return scope.give(machine_of(self));
}

// __get_current_state(): the head of the history, or during inherit the child the chain began in.
SNOWSTATE_METHOD(__get_current_state) {
  tsl::ScriptScope scope("tsl_Script_SnowState___get_current_state", self, result);
  const Value queue = tsl::get(self, v___childQueue);
  if (length_of(self, other, queue) > 0) return scope.give(element(queue, 0));
  const Value history = tsl::get(self, v___history);
  return scope.give(length_of(self, other, history) > 0 ? element(history, 0) : undefined());
}

// __execute(event, state = undefined, args = undefined): the event of the state (the history's
// head by default) runs inside with (__owner).
SNOWSTATE_METHOD(__execute) {
  tsl::ScriptScope scope("tsl_Script_SnowState___execute", self, result);
  const Value event = Value::Copy(tsl::arg(argc, argv, 0));
  Value state = Value::Copy(tsl::arg(argc, argv, 1));
  const Value args = Value::Copy(tsl::arg(argc, argv, 2));
  if (is_undefined(state)) state = element(tsl::get(self, v___history), 0);
  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__is_state_defined, *state))) {
    SNOWSTATE_CALL(__snowstate_error, *text("State \""), *state, *text("\" is not defined."));
    return scope.give(undefined());
  }
  scope.line(2);
  tsl::set(self, v___currEvent, *event);
  const Value func = field(struct_get(struct_get(tsl::get(self, v___states), state), event), v_func);
  scope.line(3);
  CInstance* machine = self;
  CInstance* with_self = self;
  CInstance* with_other = other;
  for (KVWith w(&with_self, &with_other, *tsl::get(self, v___owner)); w.Next();) {
    tsl::call(tsl_Script_SnowState___func_exec, machine, with_other, {*func, *args});
  }
  return scope.give(machine_of(self));
}

// inherit(): the same event of the parent state, with the chain of children queued.
SNOWSTATE_METHOD(inherit) {
  tsl::ScriptScope scope("tsl_Script_SnowState_inherit", self, result);
  const Value history = tsl::get(self, v___history);
  const Value state = element(history, 0);
  const Value parents = tsl::get(self, v___parent);
  if (!struct_exists(parents, state)) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_trace, *text("State \""), *state, *text("\" has no parent state."));
    return scope.give(machine_of(self));
  }
  const Value queue = tsl::get(self, v___childQueue);
  const int32_t queued = length_of(self, other, queue);
  for (int32_t i = 0; i < queued; ++i) {
    if (!equals(element(queue, i), state)) continue;
    // A cycle: the chain from the first visit, each link read as "inherits from".
    std::string chain;
    for (int32_t j = i; j < queued; ++j) chain += joined(self, other, {*element(queue, j)}) + " -> ";
    chain += joined(self, other, {*state});
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("Circular inheritance found. Inheritance chain: "), *text(chain.c_str()),
                   *text("(-> reads as \"inherits from\")\n"));
    return scope.give(undefined());
  }
  scope.line(3);
  builtin(f_array_push, self, other, {*queue, *state});
  tsl::set_element(self, v___history, 0, *struct_get(parents, state));
  SNOWSTATE_CALL(__execute, *tsl::get(self, v___currEvent));
  // A change inside the parent's event has emptied the queue already.
  const Value still = tsl::get(self, v___childQueue);
  if (length_of(self, other, still) > 0) {
    scope.line(4);
    tsl::set_element(self, v___history, 0, *builtin(f_array_pop, self, other, {*still}));
  }
  return scope.give(machine_of(self));
}

// on(name, callback, bound = -4)
SNOWSTATE_METHOD(on) {
  tsl::ScriptScope scope("tsl_Script_SnowState_on", self, result);
  const Value name = Value::Copy(tsl::arg(argc, argv, 0));
  const Value callback = Value::Copy(tsl::arg(argc, argv, 1));
  const Value bound = param(argc, argv, 2, Value::Real(-4));
  scope.line(1);
  if (!truthy(builtin(f_is_string, self, other, {*name}))) {
    SNOWSTATE_CALL(__snowstate_error, *text("Event name should be a string."));
    return scope.give(undefined());
  }
  if (!truthy(SNOWSTATE_CALL(__is_really_a_method, *callback))) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("Callback should be a string."));
    return scope.give(undefined());
  }
  const Value events = tsl::get(self, v___on_events);
  if (struct_exists(events, name)) {
    scope.line(3);
    const bool unbound = RV_Kind(*bound) != kRVObject && RV_ToDouble(*bound) == -4.0;
    struct_set(events, name, unbound ? callback : builtin(f_method, self, other, {*bound, *callback}));
  } else {
    scope.line(4);
    SNOWSTATE_CALL(__snowstate_trace, *text("Event \""), *name, *text("\" does not exist."));
  }
  return scope.give(machine_of(self));
}

// event_set_default_function(event, func)
SNOWSTATE_METHOD(event_set_default_function) {
  tsl::ScriptScope scope("tsl_Script_SnowState_event_set_default_function", self, result);
  const Value event = Value::Copy(tsl::arg(argc, argv, 0));
  const Value func = Value::Copy(tsl::arg(argc, argv, 1));
  if (length_of(self, other, names_of(self, other, tsl::get(self, v___states))) > 0) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_trace, *text("event_set_default_function() should be called before defining any state."));
  }
  if (!is_name(self, other, event)) {
    scope.line(2);
    SNOWSTATE_CALL(__snowstate_error, *text("Event should be a non-empty string."));
    return scope.give(undefined());
  }
  if (!truthy(SNOWSTATE_CALL(__is_really_a_method, *func))) {
    scope.line(3);
    SNOWSTATE_CALL(__snowstate_error, *text("Default function should be a function."));
    return scope.give(undefined());
  }
  if (!truthy(SNOWSTATE_CALL(__assert_event_name_valid, *event))) return scope.give(undefined());
  scope.line(4);
  SNOWSTATE_CALL(__set_default_event, *event, *bound_to_owner(self, other, func), RV_Int64(4));
  SNOWSTATE_CALL(__update_states);
  return scope.give(machine_of(self));
}

SNOWSTATE_METHOD(event_get_current_function) {
  tsl::ScriptScope scope("tsl_Script_SnowState_event_get_current_function", self, result);
  return scope.give(tsl::get(self, v___tempEvent));
}

// event_exists(event): the event's code in the current state; 0 when it has none.
SNOWSTATE_METHOD(event_exists) {
  tsl::ScriptScope scope("tsl_Script_SnowState_event_exists", self, result);
  const Value event = Value::Copy(tsl::arg(argc, argv, 0));
  if (!is_name(self, other, event)) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_trace, *text("Event should be a non-empty string."));
    return scope.give(Value::Int64(0));
  }
  const Value current = SNOWSTATE_CALL(__get_current_state);
  const Value states = tsl::get(self, v___states);
  if (!truthy(builtin(f_is_string, self, other, {*current})) || !struct_exists(states, current)) {
    return scope.give(Value::Int64(0));
  }
  const Value events = struct_get(states, current);
  if (!struct_exists(events, event)) return scope.give(Value::Int64(0));
  return scope.give(field(struct_get(events, event), v_exists));
}

// state_is(state, tested = get_current_state()): the tested state is the state or descends from it.
SNOWSTATE_METHOD(state_is) {
  tsl::ScriptScope scope("tsl_Script_SnowState_state_is", self, result);
  const Value state = Value::Copy(tsl::arg(argc, argv, 0));
  Value tested = argc > 1 && RV_Kind(*argv[1]) != kRVUndefined ? Value::Copy(*argv[1]) : SNOWSTATE_CALL(get_current_state);
  scope.line(1);
  if (!truthy(SNOWSTATE_CALL(__assert_state_name_valid, *state)) ||
      !truthy(SNOWSTATE_CALL(__assert_state_name_valid, *tested))) {
    return scope.give(Value::Bool(false));
  }
  const Value parents = tsl::get(self, v___parent);
  while (true) {
    if (equals(tested, state)) return scope.give(Value::Bool(true));
    if (!struct_exists(parents, tested)) return scope.give(Value::Bool(false));
    tested = struct_get(parents, tested);
  }
}

SNOWSTATE_METHOD(state_exists) {
  tsl::ScriptScope scope("tsl_Script_SnowState_state_exists", self, result);
  return scope.give(Value::Bool(struct_exists(tsl::get(self, v___states), Value::Copy(tsl::arg(argc, argv, 0)))));
}

SNOWSTATE_METHOD(get_states) {
  tsl::ScriptScope scope("tsl_Script_SnowState_get_states", self, result);
  return scope.give(names_of(self, other, tsl::get(self, v___states)));
}

SNOWSTATE_METHOD(get_current_state) {
  tsl::ScriptScope scope("tsl_Script_SnowState_get_current_state", self, result);
  return scope.give(SNOWSTATE_CALL(__get_current_state));
}

// get_time(microseconds = true): time in the current state, in microseconds or frames.
SNOWSTATE_METHOD(get_time) {
  tsl::ScriptScope scope("tsl_Script_SnowState_get_time", self, result);
  const bool microseconds = truthy(param(argc, argv, 0, Value::Bool(true)));
  const double elapsed = RV_ToDouble(*get_timer()) - RV_ToDouble(*tsl::get(self, v___stateStartTime));
  if (microseconds) return scope.give(Value::Real(elapsed));
  scope.line(1);
  const double speed = RV_ToDouble(*builtin(f_game_get_speed, self, other, {RV_Real(0)}));
  return scope.give(Value::Real(elapsed * speed / 1000000.0));
}

// set_time(time, microseconds = true): moves the state's start so that get_time gives time.
SNOWSTATE_METHOD(set_time) {
  tsl::ScriptScope scope("tsl_Script_SnowState_set_time", self, result);
  const Value time = Value::Copy(tsl::arg(argc, argv, 0));
  const bool microseconds = truthy(param(argc, argv, 1, Value::Bool(true)));
  if (!truthy(builtin(f_is_numeric, self, other, {*time}))) {
    scope.line(1);
    SNOWSTATE_CALL(__snowstate_error, *text("Time should be a number"));
    return scope.give(undefined());
  }
  double span = RV_ToDouble(*time);
  if (!microseconds) span = span / RV_ToDouble(*builtin(f_game_get_speed, self, other, {RV_Real(0)})) * 1000000.0;
  tsl::set(self, v___stateStartTime, RV_Real(RV_ToDouble(*get_timer()) - span));
  return scope.give(machine_of(self));
}

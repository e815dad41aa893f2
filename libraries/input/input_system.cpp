// Input: the reference entries and language helpers, the library's messages, its start-up
// (__input_initialize, the default bindings, __input_system) and the tick its time source runs.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/call.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "input/input_internal.h"

namespace input {

#define INPUT_DEFINE_VARIABLE(name) KVVariableEntry v_##name = {#name, -1};
INPUT_VARIABLES(INPUT_DEFINE_VARIABLE)
#undef INPUT_DEFINE_VARIABLE
#define INPUT_DEFINE_BUILTIN(name) KVFunctionEntry f_##name = {#name, -1};
INPUT_BUILTINS(INPUT_DEFINE_BUILTIN)
#undef INPUT_DEFINE_BUILTIN
KVFunctionEntry f_new_struct = {"@@NewTSLObject@@", -1};
KVFunctionEntry f_new_array = {"@@NewTSLArray@@", -1};
KVFunctionEntry f_class_binding = {"__input_class_binding", -1};
KVFunctionEntry f_class_source = {"__input_class_source", -1};
KVFunctionEntry f_class_combo = {"__input_class_combo", -1};

// ---- Values -------------------------------------------------------------------------------------

bool is_number(const RValue& v) {
  const uint32_t kind = RV_Kind(v);
  return kind == kRVReal || kind == kRVInt32 || kind == kRVInt64 || kind == kRVBool;
}

bool is_struct(const RValue& v) {
  return RV_Kind(v) == kRVObject && RV_ObjectOf(v) != nullptr && RV_ObjectOf(v)->kind == kObjStruct;
}

std::string shown(const RValue& v) {
  if (RV_Kind(v) == kRVString) return RV_StringText(v);
  const Value made = builtin(f_string, {v});
  return RV_Kind(*made) == kRVString ? RV_StringText(*made) : std::string();
}

const RValue& arg(int argc, RValue** argv, int n) { return tsl::arg(argc, argv, n); }

double arg_real(int argc, RValue** argv, int n, double fallback) {
  const RValue& given = arg(argc, argv, n);
  return is_undefined(given) ? fallback : RV_ToDouble(given);
}

bool arg_bool(int argc, RValue** argv, int n, bool fallback) {
  const RValue& given = arg(argc, argv, n);
  return is_undefined(given) ? fallback : RV_ToBool(given);
}

Value builtin(const KVFunctionEntry& entry, std::initializer_list<RValue> args) {
  return tsl::call(entry, tsl::global(), tsl::global(), args);
}

double builtin_real(const KVFunctionEntry& entry, std::initializer_list<RValue> args) {
  return RV_ToDouble(*builtin(entry, args));
}

bool is_callable(const RValue& v) { return !is_undefined(v) && Call_IsCallable(v); }

Value call_function(const RValue& function, std::initializer_list<RValue> args) {
  return tsl::call_method(function, tsl::global(), tsl::global(), args);
}

Value new_struct() { return tsl::call(f_new_struct, nullptr, nullptr); }

Value new_array(std::initializer_list<RValue> items) { return tsl::call(f_new_array, nullptr, nullptr, items); }

Value member(const RValue& s, const char* name) {
  if (!is_struct(s)) return Value();
  const int32_t slot = Variable_GetSlot(name);
  Value out;
  if (slot < 0 || !Object_GetVar(RV_ObjectOf(s), slot, kIndexWholeValue, out.get()) || RV_Kind(*out) == kRVUnset) {
    return Value();
  }
  return out;
}

Value global_value(const char* name) {
  const int32_t slot = Variable_GetSlot(name);
  Value out;
  if (slot < 0 || !Object_GetVar(Object_Global(), slot, kIndexWholeValue, out.get()) || RV_Kind(*out) == kRVUnset) {
    return Value();
  }
  return out;
}

void hold(const std::string& key, const RValue& value) {
  Value held = global_value("__input_held");
  if (!is_struct(*held)) {
    held = new_struct();
    tsl::set(tsl::global(), "__input_held", *held);
  }
  set_member(*held, key.c_str(), value);
}

bool has_member(const RValue& s, const char* name) {
  if (!is_struct(s)) return false;
  const int32_t slot = Variable_GetSlot(name);
  if (slot < 0) return false;
  for (KVObjectBase* at : {RV_ObjectOf(s), RV_ObjectOf(s)->prototype}) {
    const RValue* held = at != nullptr ? at->FindOwnSlot(slot) : nullptr;
    if (held != nullptr && RV_Kind(*held) != kRVUnset) return true;
  }
  return false;
}

void set_member(const RValue& s, const char* name, const RValue& value) {
  Object_SetVarOrRaise(RV_ObjectOf(s), Variable_FindOrAddSlot(name), kIndexWholeValue, &value);
}

int32_t array_length(const RValue& a) { return is_array(a) && a.pArray != nullptr ? a.pArray->length : 0; }

Value array_get(const RValue& a, int32_t i) {
  return i >= 0 && i < array_length(a) ? Value::Copy(a.pArray->pArray[i]) : Value();
}

void array_push(const RValue& a, const RValue& value) { builtin(f_array_push, {a, value}); }

Value make_array(const std::vector<Value>& items) {
  RValue made = RV_Undefined();
  made.pArray = RV_NewArray(static_cast<int32_t>(items.size()));
  made.flags = 0;
  made.kind = kRVArray;
  for (size_t i = 0; i < items.size(); ++i) RV_CopyRef(&made.pArray->pArray[i], items[i].get());
  return Value::Adopt(made);
}

std::vector<std::string> struct_names(const RValue& s) {
  std::vector<std::string> names;
  if (!is_struct(s)) return names;
  const Value list = builtin(f_variable_struct_get_names, {s});
  for (int32_t i = 0; i < array_length(*list); ++i) names.push_back(shown(list.get()->pArray->pArray[i]));
  return names;
}

// ---- Messages -----------------------------------------------------------------------------------

void error(const std::string& message) {
  const std::string text = "Input:\n" + message + "\n\n";
  builtin(f_show_error, {*input::text(text), RV_Bool(true)});
}

void trace(const std::string& message) { builtin(f_show_debug_message, {*text("Input: " + message)}); }

void verify_player_index(double index, bool allow_all) {
  if (allow_all && index == kAllPlayers) return;
  if (index < 0) {
    error("Invalid player index provided (" + shown(RV_Real(index)) + ")");
  } else if (index >= INPUT_MAX_PLAYERS) {
    error("Player index too large (" + shown(RV_Real(index)) + " must be less than " +
          std::to_string(INPUT_MAX_PLAYERS) + ")\nIncrease INPUT_MAX_PLAYERS to support more players");
  }
}

// ---- The library's state ------------------------------------------------------------------------

namespace {
System* g_system = nullptr;
}  // namespace

System& sys() {
  if (g_system == nullptr) g_system = new System();
  return *g_system;
}

// The values a system holds belong to the game that made them, which has freed them by now: they
// are let go without being freed, and then the record itself is deleted.
void system_forget() {
  if (g_system == nullptr) return;
  auto forget_player = [](Player& p) {
    p.color.release();
    p.rebind_success_callback.release();
    p.rebind_failure_callback.release();
    for (VibrationEvent& event : p.vibration_events) event.curve.release();
    p.trigger_effect_left.release();
    p.trigger_effect_right.release();
  };
  forget_player(g_system->default_player);
  for (Player& p : g_system->players) forget_player(p);
  for (auto& pad : g_system->gamepads) {
    if (pad != nullptr) pad->color.release();
  }
  g_system->multiplayer_abort_callback.release();
  for (auto& [category, table] : g_system->icons) {
    for (auto& [label, icon] : table) icon.release();
  }
  delete g_system;
  g_system = nullptr;
}

Player& player(double index) { return sys().players[static_cast<size_t>(index)]; }

bool is_verb(const std::string& name) { return sys().verb_types.count(name) != 0; }

void ensure_unique_verb_name(const std::string& name) {
  System& s = sys();
  if (s.verb_types.count(name) == 0) return;
  const VerbType type = s.verb_types[name];
  const char* kind = type == VerbType::kBasic ? "basic verb" : type == VerbType::kChord ? "chord" : "combo";
  error(std::string("Verb name \"") + name + "\" already in use by a " + kind);
}

bool keyboard_check(int32_t key) { return RV_ToBool(*builtin(f_keyboard_check, {RV_Real(key)})); }

bool mouse_check(int32_t button) {
  if (sys().mouse_blocked) return false;
  return RV_ToBool(*builtin(f_mouse_check_button, {RV_Real(button)}));
}

bool key_is_ignored(int32_t key) { return sys().ignored_keys.count(key) != 0; }

double mouse_x_in(int32_t space) { return sys().mouse_x[static_cast<size_t>(std::clamp(space, 0, 2))]; }
double mouse_y_in(int32_t space) { return sys().mouse_y[static_cast<size_t>(std::clamp(space, 0, 2))]; }

// ---- Start-up -----------------------------------------------------------------------------------

namespace {

void add_basic_verb(const std::string& verb) {
  System& s = sys();
  if (s.verb_types.count(verb) != 0) return;
  s.verb_types[verb] = VerbType::kBasic;
  s.basic_verbs.push_back(verb);
  s.all_verbs.push_back(verb);
}

// The game's default bindings (__input_config_profiles_and_default_bindings).
struct DefaultBinding {
  const char* verb;
  Binding binding;
};
struct DefaultProfile {
  const char* name;
  std::vector<DefaultBinding> verbs;
};

std::vector<DefaultProfile> default_bindings() {
  Binding select, refund, cancel;
  select.set_mouse_button(1);
  refund.set_mouse_button(2);
  cancel.set_key(27);
  return {{"keyboard_and_mouse", {{"select", select}, {"refund", refund}, {"cancel", cancel}}}, {"gamepad", {}}};
}

// An included file of the game, read whole through the runtime's file layer (the save area's copy
// first, then the one beside the game); false when it is in neither.
bool read_included_file(const char* name, std::string* bytes) {
  const Value path = text(name);
  if (!RV_ToBool(*builtin(f_file_exists, {*path}))) return false;
  const Value buffer = builtin(f_buffer_load, {*path});
  if (RV_ToDouble(*buffer) < 0) return false;
  const int32_t size = static_cast<int32_t>(builtin_real(f_buffer_get_size, {*buffer}));
  bytes->clear();
  bytes->reserve(static_cast<size_t>(std::max(0, size)));
  for (int32_t i = 0; i < size; ++i) {
    bytes->push_back(static_cast<char>(builtin_real(f_buffer_peek, {*buffer, RV_Real(i), RV_Real(1)})));
  }
  builtin(f_buffer_delete, {*buffer});
  return true;
}

std::string environment_variable(const char* name) {
  const Value value = builtin(f_environment_get_variable, {*text(name)});
  return is_string(*value) ? RV_StringText(*value) : "";
}

// The controller database, then the type table and the blacklist when the game includes them.
void load_databases() {
  std::string bytes;
  if (read_included_file(INPUT_SDL2_DATABASE_PATH, &bytes)) {
    sdl2_load_string(bytes);
  } else {
    trace("Warning! \"" INPUT_SDL2_DATABASE_PATH "\" not found in Included Files");
  }
  if (INPUT_SDL2_ALLOW_EXTERNAL) {
    const std::string external = environment_variable("SDL_GAMECONTROLLERCONFIG");
    if (!external.empty()) {
      trace("External SDL2 string found");
      sdl2_load_string(external);
    }
  }
  if (read_included_file(INPUT_CONTROLLER_TYPE_PATH, &bytes)) type_csv_load_string(bytes);
  if (read_included_file(INPUT_BLACKLIST_PATH, &bytes)) blacklist_csv_load_string(bytes);
}

}  // namespace

namespace {

// __input_validate_macros: the configuration the library is built with must make sense.
bool validate_macros() {
  const struct {
    bool ok;
    const char* message;
  } checks[] = {
      {INPUT_MAX_PLAYERS >= 1, "INPUT_MAX_PLAYERS must be an integer that is greater than or equal to 1"},
      {INPUT_MAX_ALTERNATE_BINDINGS >= 0,
       "INPUT_MAX_ALTERNATE_BINDINGS must be an integer that is greater than or equal to 0"},
      {INPUT_BINDING_SCAN_TIMEOUT > 1000,
       "INPUT_BINDING_SCAN_TIMEOUT must be a number that is greater than 1000ms (1 second)"},
      {INPUT_REPEAT_DEFAULT_DELAY >= 1, "INPUT_REPEAT_DEFAULT_DELAY must be a number that is greater than or equal to 1"},
      {INPUT_REPEAT_DEFAULT_PREDELAY >= 1,
       "INPUT_REPEAT_DEFAULT_PREDELAY must be a number that is greater than or equal to 1"},
      {INPUT_LONG_DELAY >= 1, "INPUT_LONG_DELAY must be a number that is greater than or equal to 1"},
      {INPUT_DOUBLE_DELAY >= 1, "INPUT_DOUBLE_DELAY must be a number that is greater than or equal to 1"},
      {INPUT_QUICK_BUFFER >= 1, "INPUT_QUICK_BUFFER must be a number that is greater than or equal to 1"},
      {INPUT_CHORD_DEFAULT_TIME >= 1, "INPUT_CHORD_DEFAULT_TIME must be a number that is greater than or equal to 1"},
      {INPUT_HOTSWAP_DELAY >= 1, "INPUT_HOTSWAP_DELAY must be a number that is greater than or equal to 1"},
      {INPUT_MOUSE_MOVE_DEADZONE >= 0, "INPUT_MOUSE_MOVE_DEADZONE must be a number that is greater than or equal to 0"},
      {INPUT_CURSOR_START_SPEED > 0, "INPUT_CURSOR_START_SPEED must be a number that is greater than 0"},
      {INPUT_VIBRATION_DEFAULT_STRENGTH >= 0 && INPUT_VIBRATION_DEFAULT_STRENGTH <= 1,
       "INPUT_VIBRATION_DEFAULT_STRENGTH must be a number from 0 to 1"},
  };
  for (const auto& check : checks) {
    if (!check.ok) {
      error(check.message);
      return false;
    }
  }
  return true;
}

}  // namespace

// The name of the start-up log, "input___" and the date and time of the start: the library keeps
// it in __input_debug_log; nothing is written to it.
std::string debug_log_name() {
  const Value now = builtin(f_date_current_datetime);
  const KVFunctionEntry* fields[] = {&f_date_get_year, &f_date_get_month,  &f_date_get_day,
                                     &f_date_get_hour, &f_date_get_minute, &f_date_get_second};
  int values[6] = {};
  for (size_t i = 0; i < 6; ++i) values[i] = static_cast<int>(builtin_real(*fields[i], {*now}));
  char text[64];
  std::snprintf(text, sizeof text, "input___%04d-%02d-%02d_%02d-%02d-%02d.txt", values[0], values[1], values[2],
                values[3], values[4], values[5]);
  return text;
}

void initialize() {
  System& s = sys();
  if (s.initialization_phase != "Pending") return;
  s.initialization_phase = "Initializing";
  tsl::set(tsl::global(), v___input_debug_log, *Value::String(debug_log_name().c_str()));
  if (!validate_macros()) return;

  // The tick: a time source of period one frame that repeats for ever.
  Value tick;
  KVCreateMethod(tick.get(), tsl_Script___input_system_tick, nullptr);
  const Value empty_args = new_array();
  const Value source = builtin(f_time_source_create, {RV_Real(0), RV_Real(1), RV_Real(1), *tick, *empty_args, RV_Real(-1)});
  s.time_source = RV_ToInt32(*source);
  builtin(f_time_source_start, {*source});

  s.default_player.index = -1;
  s.default_player.cursor.player = &s.default_player;
  for (int32_t i = 0; i < INPUT_MAX_PLAYERS; ++i) {
    s.players[static_cast<size_t>(i)].index = i;
    s.players[static_cast<size_t>(i)].cursor.player = &s.players[static_cast<size_t>(i)];
  }

  // The source records scripts name as INPUT_KEYBOARD, INPUT_MOUSE and INPUT_GAMEPAD[n].
  tsl::set(tsl::global(), v___input_source_keyboard, *source_struct(Source{kSourceKeyboard, -1}));
  tsl::set(tsl::global(), v___input_source_mouse, *source_struct(Source{kSourceMouse, -1}));
  const Value pads = new_array();
  tsl::set(tsl::global(), v___input_source_gamepad, *pads);
  tsl::set(tsl::global(), v___input_frame, RV_Real(0));

  load_databases();
  s.initialization_phase = "Initialized";
}

void finalize_default_profiles() {
  System& s = sys();
  const std::vector<DefaultProfile> profiles = default_bindings();
  if (profiles.empty()) {
    error("INPUT_DEFAULT_PROFILES must contain at least one profile");
    return;
  }
  for (const DefaultProfile& profile : profiles) {
    s.default_profiles.push_back(profile.name);
    for (const DefaultBinding& entry : profile.verbs) add_basic_verb(entry.verb);
  }
  for (const DefaultProfile& profile : profiles) s.default_player.profile_create(profile.name, true);
  for (const DefaultProfile& profile : profiles) {
    int32_t count_for_verb = 0;
    std::string last_verb;
    for (const DefaultBinding& entry : profile.verbs) {
      count_for_verb = entry.verb == last_verb ? count_for_verb + 1 : 0;
      last_verb = entry.verb;
      if (count_for_verb >= INPUT_MAX_ALTERNATE_BINDINGS) {
        error(std::string("Too many alternate bindings for verb \"") + entry.verb + "\" in profile \"" + profile.name +
              "\" (maximum is " + std::to_string(INPUT_MAX_ALTERNATE_BINDINGS) + ")");
        return;
      }
      Binding binding = entry.binding;
      if (s.swap_ab && binding.type == "gamepad button") {
        if (binding.value == 32769) binding.value = 32770;
        else if (binding.value == 32770) binding.value = 32769;
      }
      const std::string source = binding.source_type();
      if (source == "keyboard") s.any_keyboard_binding = true;
      if (source == "mouse") s.any_mouse_binding = true;
      if (source == "gamepad") s.any_gamepad_binding = true;
      s.default_player.binding_set(profile.name, entry.verb, count_for_verb, binding);
    }
  }
  for (const char* standard : {INPUT_AUTO_PROFILE_FOR_KEYBOARD, INPUT_AUTO_PROFILE_FOR_GAMEPAD,
                               INPUT_AUTO_PROFILE_FOR_MIXED, INPUT_AUTO_PROFILE_FOR_MULTIDEVICE}) {
    if (std::find(s.default_profiles.begin(), s.default_profiles.end(), standard) == s.default_profiles.end()) {
      trace(std::string("Warning! Default profile \"") + standard + "\" has not been defined");
    }
  }
  for (const char* verb : {INPUT_CURSOR_VERB_UP, INPUT_CURSOR_VERB_DOWN, INPUT_CURSOR_VERB_LEFT, INPUT_CURSOR_VERB_RIGHT}) {
    if (!is_verb(verb)) trace(std::string("Warning! Cursor verb \"") + verb + "\" not defined in default profiles");
  }
  for (Player& p : s.players) p.reset();
}

// ---- The tick -----------------------------------------------------------------------------------

namespace {

void tick_focus() {
  System& s = sys();
  const bool focus = RV_ToBool(*builtin(f_window_has_focus));
  if (s.window_focus && !focus) {
    s.window_focus = false;
    builtin(f_io_clear);
  } else if (!s.window_focus && focus) {
    s.window_focus = true;
    s.mouse_blocked = true;
  }
  // Mouse input waits after a return of focus until the player clicks or types in the window.
  if (s.mouse_blocked) {
    bool any = RV_ToBool(*builtin(f_keyboard_check_pressed, {RV_Real(1)}));
    for (int32_t button = 1; button <= 5 && !any; ++button) {
      any = RV_ToBool(*builtin(f_mouse_check_button_pressed, {RV_Real(button)}));
    }
    if (any) s.mouse_blocked = false;
  }
}

void tick_mouse() {
  System& s = sys();
  s.mouse_x_prev = s.mouse_x;
  s.mouse_y_prev = s.mouse_y;
  s.mouse_x[0] = builtin_real(f_device_mouse_x, {RV_Real(0)});
  s.mouse_y[0] = builtin_real(f_device_mouse_y, {RV_Real(0)});
  s.mouse_x[1] = builtin_real(f_device_mouse_x_to_gui, {RV_Real(0)});
  s.mouse_y[1] = builtin_real(f_device_mouse_y_to_gui, {RV_Real(0)});
  s.mouse_x[2] = builtin_real(f_window_mouse_get_x);
  s.mouse_y[2] = builtin_real(f_window_mouse_get_y);
  const double dx = s.mouse_x[2] - s.mouse_x_prev[2];
  const double dy = s.mouse_y[2] - s.mouse_y_prev[2];
  s.mouse_moved = std::sqrt(dx * dx + dy * dy) > INPUT_MOUSE_MOVE_DEADZONE;
}

void tick_gamepads() {
  System& s = sys();
  const int32_t count = RV_ToInt32(*builtin(f_gamepad_get_device_count));
  while (static_cast<int32_t>(s.gamepads.size()) < count) s.gamepads.push_back(nullptr);
  for (int32_t i = 0; i < static_cast<int32_t>(s.gamepads.size()); ++i) {
    const bool connected = RV_ToBool(*builtin(f_gamepad_is_connected, {RV_Real(i)}));
    std::unique_ptr<Gamepad>& pad = s.gamepads[static_cast<size_t>(i)];
    if (connected && pad == nullptr) {
      trace("Gamepad " + std::to_string(i) + " connected");
      pad = std::make_unique<Gamepad>();
      pad->index = i;
      pad->discover();
      source_struct(Source{kSourceGamepad, i});
    } else if (!connected && pad != nullptr) {
      trace("Gamepad " + std::to_string(i) + " disconnected");
      builtin(f_gamepad_set_vibration, {RV_Real(i), RV_Real(0), RV_Real(0)});
      pad->color.release();
      pad.reset();
      for (Player& p : s.players) p.source_remove(Source{kSourceGamepad, i});
    }
    if (pad != nullptr) pad->tick();
  }
}

}  // namespace

void system_tick() {
  System& s = sys();
  s.frame += 1;
  tsl::set(tsl::global(), v___input_frame, RV_Real(s.frame));
  s.previous_current_time = s.current_time;
  s.current_time = tsl::get(tsl::global(), v_current_time).real();
  tick_focus();
  tick_mouse();
  tick_gamepads();
  for (Player& p : s.players) p.tick();
  if (s.source_mode == kModeHotswap) hotswap_tick();
  if (s.source_mode == kModeJoin) multiplayer_assignment_tick();
  build_status();
}

}  // namespace input

using namespace input;

namespace {

KVVariableEntry* g_variable_entries[] = {
#define INPUT_LIST_VARIABLE(name) &v_##name,
    INPUT_VARIABLES(INPUT_LIST_VARIABLE)
#undef INPUT_LIST_VARIABLE
        nullptr};

KVFunctionEntry* g_function_entries[] = {
#define INPUT_LIST_BUILTIN(name) &f_##name,
    INPUT_BUILTINS(INPUT_LIST_BUILTIN)
#undef INPUT_LIST_BUILTIN
        &f_new_struct,
    &f_new_array,
    &f_class_binding,
    &f_class_source,
    &f_class_combo,
    nullptr};

}  // namespace

KVVariableEntry** Input_VariableEntries() { return g_variable_entries; }
KVFunctionEntry** Input_FunctionEntries() { return g_function_entries; }

// The library's start-up: a fresh library for this game, its tables, players and time source, then
// the game's default bindings, and player 0 on keyboard and mouse.
RValue* tsl_GlobalScript___input_system(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript___input_system", self, result);
  (void)other;
  system_forget();
  scope.line(1);
  initialize();
  scope.line(2);
  finalize_default_profiles();
  scope.line(3);
  System& s = sys();
  Player& first = s.players[0];
  if (s.any_keyboard_binding || s.any_mouse_binding) {
    first.source_add(Source{kSourceKeyboard, -1});
    first.source_add(Source{kSourceMouse, -1});
    first.profile_set_auto();
  }
  return result;
}

// __input_system_tick: the time source's callback, once a frame.
INPUT_SCRIPT(__input_system_tick) {
  tsl::ScriptScope scope("tsl_Script___input_system_tick", self, result);
  system_tick();
  return result;
}

#pragma once
// Shared by the files of the compiled Input library: its configuration, the reference entries its
// code reads (the loader fills their ids), the records it keeps (bindings, verb states, chords,
// combos, sources, players, gamepads, cursors, vibration events) and the helpers that stand for
// language constructs and the library's own small scripts (errors, traces, argument defaults).
#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/code_tables.h"
#include "core/script_api.h"
#include "input/input.h"

// ---- Configuration, as the game is built ---------------------------------------------------------
#define INPUT_MAX_PLAYERS 4
#define INPUT_MAX_ALTERNATE_BINDINGS 2
#define INPUT_TIMER_MILLISECONDS false
#define INPUT_REPEAT_DEFAULT_DELAY 10
#define INPUT_REPEAT_DEFAULT_PREDELAY 30
#define INPUT_LONG_DELAY 10
#define INPUT_DOUBLE_DELAY 12
#define INPUT_QUICK_BUFFER 3
#define INPUT_CHORD_DEFAULT_TIME 4
#define INPUT_2D_CLAMP true
#define INPUT_2D_XY_AXIS_BIAS_DIAGONALS false
#define INPUT_AUTO_PROFILE_FOR_KEYBOARD "keyboard_and_mouse"
#define INPUT_AUTO_PROFILE_FOR_MOUSE "keyboard_and_mouse"
#define INPUT_AUTO_PROFILE_FOR_GAMEPAD "gamepad"
#define INPUT_AUTO_PROFILE_FOR_MIXED "mixed"
#define INPUT_AUTO_PROFILE_FOR_MULTIDEVICE "multidevice"
#define INPUT_ASSIGN_KEYBOARD_AND_MOUSE_TOGETHER true
#define INPUT_ALLOW_ASSYMMETRIC_DEFAULT_PROFILES true
#define INPUT_MULTIPLAYER_LEAVE_VERB "cancel"
#define INPUT_HOTSWAP_DELAY 33
#define INPUT_HOTSWAP_ON_GAMEPAD_AXIS true
#define INPUT_HOTSWAP_ON_MOUSE_MOVEMENT true
#define INPUT_HOTSWAP_AUTO_PROFILE true
#define INPUT_SDL2_REMAPPING true
#define INPUT_SDL2_ALLOW_EXTERNAL true
#define INPUT_SDL2_ALLOW_EXTENDED true
#define INPUT_SDL2_DATABASE_PATH "sdl2.txt"
#define INPUT_CONTROLLER_TYPE_PATH "controllertypes.csv"
#define INPUT_BLACKLIST_PATH "controllerblacklist.csv"
#define INPUT_MOUSE_MOVE_DEADZONE 2
#define INPUT_CURSOR_VERB_UP "aim_up"
#define INPUT_CURSOR_VERB_DOWN "aim_down"
#define INPUT_CURSOR_VERB_LEFT "aim_left"
#define INPUT_CURSOR_VERB_RIGHT "aim_right"
#define INPUT_CURSOR_START_SPEED 5
#define INPUT_DEFAULT_AXIS_MIN_THRESHOLD 0.3
#define INPUT_DEFAULT_AXIS_MAX_THRESHOLD 0.95
#define INPUT_DEFAULT_TRIGGER_MIN_THRESHOLD 0.02
#define INPUT_DEFAULT_TRIGGER_MAX_THRESHOLD 1
#define INPUT_VIBRATION_ALLOWED true
#define INPUT_VIBRATION_DEFAULT_STRENGTH 1
#define INPUT_BINDING_SCAN_TIMEOUT 10000

// The variables the library's code names.
#define INPUT_VARIABLES(X)                                                                              \
  X(type) X(value) X(axis_negative) X(__label) X(__gamepad_index) X(__gamepad_description)              \
  X(__android_lowercase) X(__threshold_min) X(__threshold_max) X(__source) X(__gamepad) X(__name)       \
  X(mini) X(maxi) X(x) X(y) X(mouse_x) X(mouse_y) X(current_time) X(delta_time) X(keyboard_lastkey)     \
  X(__input_source_keyboard) X(__input_source_mouse) X(__input_source_gamepad) X(__input_frame)        \
  X(__input_combo_name) X(gamepad_description) X(threshold_min) X(threshold_max) X(__input_debug_log)

// The builtins it calls.
#define INPUT_BUILTINS(X)                                                                               \
  X(show_error) X(show_debug_message) X(string) X(typeof) X(is_method) X(script_exists) X(method)        \
  X(time_source_create) X(time_source_start) X(time_source_destroy) X(keyboard_check)                    \
  X(keyboard_check_pressed) X(keyboard_check_released) X(keyboard_key_release) X(mouse_check_button)    \
  X(mouse_check_button_pressed) X(mouse_check_button_released) X(mouse_wheel_up) X(mouse_wheel_down)    \
  X(device_mouse_x) X(device_mouse_y) X(device_mouse_x_to_gui) X(device_mouse_y_to_gui)                 \
  X(window_mouse_get_x) X(window_mouse_get_y) X(window_has_focus) X(io_clear) X(game_get_speed)         \
  X(gamepad_get_device_count) X(gamepad_is_connected) X(gamepad_get_description) X(gamepad_get_guid)    \
  X(gamepad_get_mapping) X(gamepad_remove_mapping) X(gamepad_button_count) X(gamepad_axis_count)        \
  X(gamepad_hat_count) X(gamepad_button_check) X(gamepad_button_check_pressed)                          \
  X(gamepad_button_check_released) X(gamepad_button_value) X(gamepad_axis_value) X(gamepad_hat_value)   \
  X(gamepad_set_vibration) X(gamepad_set_colour) X(gamepad_set_axis_deadzone) X(json_parse)              \
  X(json_stringify) X(environment_get_variable) X(file_exists) X(buffer_load) X(buffer_delete)          \
  X(buffer_get_size) X(buffer_peek) X(animcurve_get) X(animcurve_get_channel)                           \
  X(animcurve_channel_evaluate) X(script_execute) X(window_get_width) X(window_get_height)               \
  X(display_get_gui_width) X(display_get_gui_height) X(variable_struct_get_names)                       \
  X(window_mouse_set) X(array_push) X(point_direction) X(keyboard_check_direct) X(date_current_datetime)    \
  X(date_get_year) X(date_get_month) X(date_get_day) X(date_get_hour) X(date_get_minute) X(date_get_second)

namespace input {

#define INPUT_DECLARE_VARIABLE(name) extern KVVariableEntry v_##name;
INPUT_VARIABLES(INPUT_DECLARE_VARIABLE)
#undef INPUT_DECLARE_VARIABLE
#define INPUT_DECLARE_BUILTIN(name) extern KVFunctionEntry f_##name;
INPUT_BUILTINS(INPUT_DECLARE_BUILTIN)
#undef INPUT_DECLARE_BUILTIN
extern KVFunctionEntry f_new_struct;
extern KVFunctionEntry f_new_array;
extern KVFunctionEntry f_class_binding;
extern KVFunctionEntry f_class_source;
extern KVFunctionEntry f_class_combo;

using tsl::Value;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kAllPlayers = -3;

// ---- Values -------------------------------------------------------------------------------------
inline bool is_undefined(const RValue& v) { return RV_Kind(v) == kRVUndefined || RV_Kind(v) == kRVUnset; }
inline bool is_string(const RValue& v) { return RV_Kind(v) == kRVString; }
inline bool is_array(const RValue& v) { return RV_Kind(v) == kRVArray; }
bool is_number(const RValue& v);
bool is_struct(const RValue& v);
inline Value text(const std::string& s) { return Value::String(s.c_str()); }
inline Value real(double d) { return Value::Real(d); }
// string(value) as the language writes it.
std::string shown(const RValue& v);
// argument[n], or the default when it was left out or is undefined.
const RValue& arg(int argc, RValue** argv, int n);
double arg_real(int argc, RValue** argv, int n, double fallback);
bool arg_bool(int argc, RValue** argv, int n, bool fallback);
// The builtin of an entry.
Value builtin(const KVFunctionEntry& entry, std::initializer_list<RValue> args = {});
double builtin_real(const KVFunctionEntry& entry, std::initializer_list<RValue> args = {});
// A function value (method or script index) called with the given arguments.
Value call_function(const RValue& function, std::initializer_list<RValue> args = {});
bool is_callable(const RValue& v);
// {} and [a, b, ...]; a struct's member read and write; array element access.
Value new_struct();
Value new_array(std::initializer_list<RValue> items = {});
Value member(const RValue& s, const char* name);
bool has_member(const RValue& s, const char* name);
// Keeps an object the library holds natively reachable for the collector, under a key of the
// library's own struct of held values (a later hold of the key replaces it).
void hold(const std::string& key, const RValue& value);
// A global variable, undefined when it was never set.
Value global_value(const char* name);
void set_member(const RValue& s, const char* name, const RValue& value);
int32_t array_length(const RValue& a);
Value array_get(const RValue& a, int32_t i);
void array_push(const RValue& a, const RValue& value);
// A new array of the items.
Value make_array(const std::vector<Value>& items);
std::vector<std::string> struct_names(const RValue& s);

// ---- The library's own messages -----------------------------------------------------------------
// __input_error: stops the game through show_error after the banner (callers return after it, for
// the case where errors are muted).
void error(const std::string& message);
// __input_trace: a note to the debug output.
void trace(const std::string& message);
// "Invalid player index provided" / "Player index too large" for a bad index (-3, all players,
// passes where allow_all).
void verify_player_index(double index, bool allow_all = false);

// ---- Bindings -----------------------------------------------------------------------------------
struct Binding {
  std::string type;  // "" for an empty binding
  double value = 0;
  bool has_value = false;
  bool axis_negative = false;
  bool has_axis_negative = false;
  std::string label = "empty binding";
  std::optional<int32_t> gamepad_index;
  std::optional<std::string> gamepad_description;
  bool android_lowercase = false;
  std::optional<double> threshold_min, threshold_max;

  bool empty() const { return type.empty(); }
  void set_empty();
  void set_key(double key);
  void set_mouse_button(double button);
  void set_mouse_wheel_up();
  void set_mouse_wheel_down();
  void set_gamepad_button(double button);
  void set_gamepad_axis(double axis, bool negative);
  // The source type: "keyboard", "mouse", "gamepad" or undefined ("") when empty.
  std::string source_type() const;
  bool operator==(const Binding& other) const;
};
// The script struct of a binding and back; a value that is no binding struct gives nullopt.
Value binding_to_struct(const Binding& binding);
std::optional<Binding> binding_from_struct(const RValue& value);
bool value_is_binding(const RValue& value);
// The exported form: only the defined fields of type, value, axis_negative, gamepad_description,
// threshold_min, threshold_max.
Value binding_export(const Binding& binding);
// The label of a key code ("escape", "space", "A", ...).
std::string key_label(int32_t key);

// ---- Verb states --------------------------------------------------------------------------------
enum class VerbType { kBasic, kChord, kCombo };

struct Player;

struct VerbState {
  std::string name;
  VerbType type = VerbType::kBasic;
  Player* player = nullptr;
  bool inactive = false, group_inactive = false, consumed = false;
  double previous_value = 0;
  bool previous_raw_analogue = false;
  double value = 0, raw = 0;
  bool analogue = false, raw_analogue = false;
  double min_threshold = 0, max_threshold = 1;
  std::optional<double> force_value;
  std::optional<bool> force_analogue;
  bool previous_held = false, press = false, held = false, release = false;
  double press_time = -1, held_time = -1, release_time = -1;
  bool double_press = false, double_held = false, double_release = false;
  double double_press_time = -1, double_held_time = -1, double_release_time = -1;
  bool long_press = false, long_held = false, long_release = false;
  double long_press_time = -1, long_held_time = -1, long_release_time = -1;
  bool quick_press = false;
  double quick_press_time = -1;
  double toggle_prev_value = 0, toggle_value = 0;
  bool toggle_state = false;
  std::array<double, INPUT_QUICK_BUFFER + 1> raw_history{};

  void clear();
  void tick();
};

struct ChordDef {
  std::string name;
  double max_time = INPUT_CHORD_DEFAULT_TIME;
  std::vector<std::string> verbs;
};
struct ChordState {
  int32_t state = 0;
  double start_time = kInfinity;
  // True while the chord verb is active this frame.
  bool evaluate(Player& player, const ChordDef& def);
};

enum ComboPhaseType { kComboPress = 0, kComboRelease = 1, kComboPressOrRelease = 2, kComboHold = 3 };
struct ComboPhase {
  int32_t type = kComboPress;
  double timeout = 0;
  std::string verb;
};
struct ComboDef {
  std::string name;
  double default_timeout = 0;
  std::vector<ComboPhase> phases;
};
struct ComboState {
  bool initialized = false;
  bool success = false;
  int32_t phase = 0;
  double phase_start_time = 0;
  std::vector<std::string> held_verbs, pressed_verbs;
  void reset();
  void initialize_phase(Player& player);
  // True while the combo verb is active this frame.
  bool tick(Player& player, const ComboDef& def);
};

// ---- Sources ------------------------------------------------------------------------------------
enum SourceKind { kSourceKeyboard = 0, kSourceMouse = 1, kSourceGamepad = 2 };
struct Source {
  int32_t kind = kSourceKeyboard;
  int32_t gamepad = -1;
  bool operator==(const Source& other) const {
    return kind == other.kind && (kind != kSourceGamepad || gamepad == other.gamepad);
  }
  std::string name() const;
  bool is_connected() const;
};
// The script struct of a source (the library's single instance) and back; an unknown value is
// nullopt.
Value source_struct(const Source& source);
std::optional<Source> source_from_value(const RValue& value);

// ---- Cursor -------------------------------------------------------------------------------------
struct Cursor {
  Player* player = nullptr;
  double prev_x = 0, prev_y = 0, x = 0, y = 0;
  std::optional<double> limit_l, limit_t, limit_r, limit_b, limit_x, limit_y, limit_radius;
  double elastic_x = 0, elastic_y = 0, elastic_strength = 0;
  bool translation_active = false;
  double translation_start_x = 0, translation_start_y = 0, translation_start_time = 0;
  double translation_end_x = 0, translation_end_y = 0, translation_end_time = 0;
  double speed = INPUT_CURSOR_START_SPEED;
  int32_t coord_space = 0;
  bool using_mouse = true;
  double moved_time = -1;

  void tick();
  void limit();
};

// ---- Vibration ----------------------------------------------------------------------------------
struct VibrationEvent {
  enum Kind { kConstant, kPulse, kCurve, kAdsr } kind = kConstant;
  bool force = false;
  double output_left = 0, output_right = 0;
  double strength = 0, pan = 0, duration = 0, time = 0, repeats = 1;
  Value curve;
  // ADSR: peak, sustain level, attack, decay, sustain and release times.
  double peak = 0, sustain_level = 0, attack = 0, decay = 0, sustain = 0, release_time = 0;
  int32_t phase = 0;
  double time_in_phase = 0;
  // Advances by step and sets the outputs; false once finished.
  bool tick(double step);
};

// ---- Players ------------------------------------------------------------------------------------
using Profile = std::map<std::string, std::vector<Binding>>;  // verb -> alternates

struct AxisThreshold {
  double mini = 0, maxi = 1;
};

struct Player {
  int32_t index = -1;
  std::vector<Source> sources;
  std::map<std::string, VerbState> verbs;
  std::map<std::string, ChordState> chords;
  std::map<std::string, ComboState> combos;
  double last_input_time = -kInfinity;
  std::map<std::string, bool> verb_group_state;
  bool vibration_paused = false;
  double vibration_strength = INPUT_VIBRATION_DEFAULT_STRENGTH;
  std::vector<VibrationEvent> vibration_events;
  bool trigger_effect_paused = false;
  double trigger_effect_strength = 1;
  Value trigger_effect_left, trigger_effect_right;
  Value color;
  int32_t rebind_state = 0;
  double rebind_start_time = 0;
  Value rebind_success_callback, rebind_failure_callback;
  std::vector<Source> rebind_source_filter;
  // The scan's parameters (input_binding_scan_set_params): constants a scan passes over, or the
  // only ones it takes, and the sources a scan started without a filter reads.
  std::optional<std::set<double>> rebind_ignore, rebind_allow;
  std::optional<std::vector<Source>> rebind_filter_param;
  std::map<double, AxisThreshold> axis_thresholds;
  std::map<std::string, Profile> profiles;
  std::optional<std::string> profile_name;
  bool ghost = false;
  bool connected = false, post_disconnection_tick = false;
  Cursor cursor;
  std::optional<int32_t> gyro_gamepad;
  double gyro_axis_x = 0, gyro_axis_y = 0, gyro_sensitivity_x = 2, gyro_sensitivity_y = -2;
  bool gyro_enabled = false;

  VerbState& verb(const std::string& name);
  VerbState* find_verb(const std::string& name);

  // Profiles.
  void profile_create(const std::string& name, bool is_default = false);
  void profile_destroy(const std::string& name);
  bool profile_exists(const std::string& name) const;
  void profile_set(const std::optional<std::string>& name);
  std::optional<std::string> profile_get_auto() const;
  void profile_set_auto();
  // The profile a call names, undefined meaning the active one; raises for an unknown one.
  std::string profile_resolve(const RValue& name) const;
  void profile_reset_bindings(const std::string& name);

  // Sources.
  bool source_contains(const Source& source) const;
  int32_t source_add(const Source& source);
  void source_remove(const Source& source);
  void sources_clear();
  std::optional<int32_t> source_get_gamepad() const;
  bool sources_any_input() const;

  // Bindings.
  Binding binding_get(const std::string& profile, const std::string& verb, int32_t alternate) const;
  void binding_set(const std::string& profile, const std::string& verb, int32_t alternate, const Binding& binding);
  void binding_reset(const std::string& profile, const std::string& verb, int32_t alternate);

  AxisThreshold axis_threshold_get(double axis);
  void axis_threshold_set(double axis, double mini, double maxi);
  void verb_group_active(const std::string& group, bool state);

  // The frame.
  void tick();
  void tick_sources();
  void tick_basic_verbs();
  void tick_chord_verbs();
  void tick_combo_verbs();
  void tick_vibration();
  void tick_binding_scan();
  void binding_scan_failure(int64_t code);
  void binding_scan_success(const Binding& binding);
  // __scan_for_binding: the binding a source shows this frame, after the scan's filters.
  std::optional<Binding> scan_for_binding(const Source& source) const;
  void reset();
};

// ---- Gamepads -----------------------------------------------------------------------------------
enum MappingType { kMapButton = 0, kMapAxis = 1, kMapHat = 2, kMapHatOnAxis = 3, kMapSplitAxis = 4 };
struct GamepadMapping {
  double tv = 0;
  int32_t raw = 0;
  int32_t type = kMapButton;
  std::string sdl_name;
  bool invert = false, clamp_negative = false, clamp_positive = false, reverse = false;
  bool limited_range = false, extended_range = false;
  int32_t hat_mask = 0;
  double scale = 256;
  int32_t raw_negative = 0, raw_positive = 0;
  int32_t hat_mask_negative = 0, hat_mask_positive = 0;
  bool positive_clamp_negative = false, positive_clamp_positive = false;
  bool negative_clamp_negative = false, negative_clamp_positive = false;
  int32_t type_negative = kMapAxis, type_positive = kMapAxis;
  bool held_previous = false, held = false, press = false, release = false;
  double value = 0, value_previous = 0, value_delta = 0;
  void tick(int32_t index);
};

struct Gamepad {
  int32_t index = -1;
  std::string description, guid;
  bool xinput = false;
  std::string raw_type = "unknown", simple_type = "unknown";
  bool guessed_type = false, blacklisted = false;
  std::string vendor, product;
  std::optional<std::vector<std::string>> sdl2_definition;  // the database row that matched
  bool custom_mapping = false;
  std::map<double, GamepadMapping> mapping;  // standard constant -> mapping
  int32_t button_count = 0, axis_count = 0, hat_count = 0;
  bool scale_trigger = false;
  bool vibration_support = true;
  // The device layer here reports no motion sensors, so no pad has motion data.
  bool motion = false;
  double vibration_left = 0, vibration_right = 0;
  bool vibration_received_this_frame = false;
  Value color;
  double scan_start_time = 0;

  void discover();
  void set_mapping_from_definition();
  GamepadMapping& set_mapping(double tv, int32_t raw, int32_t type, const std::string& sdl_name);
  void tick();
  bool get_held(double tv) const;
  bool get_pressed(double tv) const;
  bool get_released(double tv) const;
  double get_value(double tv) const;
  double get_delta(double tv) const;
  bool is_axis(double tv) const;
  // Whether the pad reads the standard constant: through its own mapping, or, without one, the
  // device layer's layout (which has none of the library's added constants).
  bool answers(double tv) const;
};

// The platform whose rows of the controller database apply: the pads' GUIDs are those of the
// system the program runs on.
constexpr const char* kSdl2Platform = "Linux";

struct GuidParts {
  std::string vendor, product;
  bool valid = false;
};
// __input_gamepad_guid_parse: the vendor and product of a pad's GUID.
GuidParts guid_parse(const std::string& guid, bool legacy, bool suppress);

struct Sdl2Database {
  std::vector<std::vector<std::string>> rows;
  std::map<std::string, std::vector<size_t>> by_guid, by_vendor_product, by_description;
};

// ---- The library ---------------------------------------------------------------------------------
enum SourceMode { kModeFixed = 0, kModeJoin = 1, kModeHotswap = 2, kModeMixed = 3, kModeMultidevice = 4 };

// The connection report of players or gamepads for the frame: who connected, who left, and each
// one's state (-2 newly disconnected, -1 disconnected, 1 newly connected, 2 connected).
struct Status {
  std::vector<int32_t> new_connections, new_disconnections;
  std::vector<int32_t> states;
};

struct System {
  std::string initialization_phase = "Pending";
  double frame = 0;
  double current_time = 0, previous_current_time = 0;
  bool cleared = false;
  int32_t time_source = -1;

  std::vector<std::string> basic_verbs, all_verbs, chord_verbs, combo_verbs;
  std::map<std::string, VerbType> verb_types;
  std::map<std::string, ChordDef> chord_defs;
  std::map<std::string, std::shared_ptr<ComboDef>> combo_defs;
  std::vector<std::string> default_profiles;  // __input_default_profile_dict, in order
  Player default_player;
  std::array<Player, INPUT_MAX_PLAYERS> players;
  int32_t source_mode = kModeHotswap, previous_source_mode = kModeHotswap;

  bool toggle_momentary_state = false, cooldown_state = false;
  std::set<std::string> toggle_momentary_verbs, cooldown_verbs;
  std::map<std::string, std::vector<std::string>> group_to_verbs;
  std::map<std::string, std::string> verb_to_group;
  std::vector<std::string> verb_groups;
  std::set<int32_t> ignored_keys;

  bool any_keyboard_binding = false, any_mouse_binding = false, any_gamepad_binding = false;
  bool swap_ab = false;
  bool strict_binding_check = false;

  // Mouse, per coordinate space (0 room, 1 GUI, 2 device).
  std::array<double, 3> mouse_x{}, mouse_y{}, mouse_x_prev{}, mouse_y_prev{};
  bool mouse_moved = false, mouse_capture = false, mouse_blocked = false;
  double mouse_capture_sensitivity = 1;
  int32_t mouse_coord_space = 0;
  bool window_focus = true;

  std::vector<std::unique_ptr<Gamepad>> gamepads;
  Sdl2Database sdl2;
  std::map<std::string, std::string> raw_type_dictionary;
  // The icon tables (input_icons): category -> binding label -> icon.
  std::map<std::string, std::map<std::string, Value>> icons;
  // __input_blacklist_dictionary: operating system -> rule -> values.
  std::map<std::string, std::map<std::string, std::vector<std::string>>> blacklist;

  Status players_status, gamepads_status;
  std::array<bool, INPUT_MAX_PLAYERS> players_were_connected{};
  std::vector<bool> gamepads_were_connected;
  int64_t held_serial = 0;

  // Join mode.
  int32_t multiplayer_min = 1, multiplayer_max = INPUT_MAX_PLAYERS;
  bool multiplayer_leave_verb = true, multiplayer_drop_down = true;
  bool multiplayer_abort = false;
  // The function the abort runs: the one the parameters gave, else INPUT_MULTIPLAYER_ABORT_CALLBACK.
  Value multiplayer_abort_callback;
};

System& sys();
// Forgets the whole library (a new game's start-up): what it held belongs to the old game.
void system_forget();
// __input_initialize: once, and at every binding constructor.
void initialize();
// __input_finalize_default_profiles with the game's default bindings.
void finalize_default_profiles();
void system_tick();
inline double get_time() { return sys().frame; }
inline double get_previous_time() { return sys().frame - 1; }
Player& player(double index);
bool is_verb(const std::string& name);
// The name of a new chord or combo must be new.
void ensure_unique_verb_name(const std::string& name);
// The mouse's position in a coordinate space.
double mouse_x_in(int32_t space);
double mouse_y_in(int32_t space);
// Raw device reads, as the library's checks read them.
bool keyboard_check(int32_t key);
bool mouse_check(int32_t button);
bool key_is_ignored(int32_t key);
// Gamepads.
Gamepad* gamepad(int32_t index);
bool gamepad_connected(int32_t index);
void sdl2_load_string(const std::string& text);
// __input_load_type_csv: rows "vendor,product,raw type" into the raw type dictionary.
void type_csv_load_string(const std::string& text);
// __input_load_blacklist_csv: rows "operating system,rule,value" into the blacklist.
void blacklist_csv_load_string(const std::string& text);
// Why a pad is blacklisted on this platform ("" when it isn't).
std::string blacklist_reason(const Gamepad& pad);
bool axis_is_directional(double axis);
// The name scripts see for a standard constant ("gamepad face south"), "unknown" for another value.
std::string gamepad_constant_name(double tv);

// Sources of every player: a source given to a player leaves the others.
void source_relinquish(const Source& source);
void hotswap_tick();
void multiplayer_assignment_tick();
// Join mode has what it needs: at least the minimum of players connected (always, outside it).
bool multiplayer_is_finished();
std::optional<Source> source_detect_new();
bool source_detect_input(const Source& source, bool allow_mouse_move);
void build_status();

// JSON.
Value player_export(const Player& p);
void player_import(Player& p, const RValue& data);

}  // namespace input

// The compiled scripts of the library; each is a row of the script table.
#define INPUT_SCRIPT(name)                                                                         \
  RValue* tsl_Script_##name([[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
                            RValue* result, [[maybe_unused]] int argc, [[maybe_unused]] RValue** argv)

// Input binding scan: a player's scan for a new binding (wait for silence, then take the first key,
// button, wheel or pad control that the filtered sources show), its failure codes and callbacks,
// and the scan's parameters.
#include <algorithm>
#include <cctype>

#include "input/input_args.h"
#include "input/input_internal.h"

namespace input {

namespace {

constexpr int64_t kScanNoSources = -10;
constexpr int64_t kScanGhost = -15;
constexpr int64_t kScanDisconnected = -16;
constexpr int64_t kScanTimeout = -20;

// The pad controls a scan reads as buttons, triggers among them, and the sticks' axes.
const double kScanButtons[] = {32769, 32770, 32771, 32772, 32773, 32774, 32775, 32776, 32777, 32778, 32779, 32780,
                               32781, 32782, 32783, 32784, 32889, 32890, 32891, 32892, 32893, 32894, 32895};
const double kScanAxes[] = {32785, 32786, 32787, 32788};

// The axis's rest threshold for the player, without making an entry for it.
double axis_min(const Player& p, double axis) {
  const auto found = p.axis_thresholds.find(axis);
  if (found != p.axis_thresholds.end()) return found->second.mini;
  return axis_is_directional(axis) ? INPUT_DEFAULT_AXIS_MIN_THRESHOLD : INPUT_DEFAULT_TRIGGER_MIN_THRESHOLD;
}

bool source_held(const Source& source, const Player& p) {
  switch (source.kind) {
    case kSourceKeyboard: return RV_ToBool(*builtin(f_keyboard_check, {RV_Real(1)}));
    case kSourceMouse:
      return RV_ToBool(*builtin(f_mouse_check_button, {RV_Real(-1)})) || RV_ToBool(*builtin(f_mouse_wheel_up)) ||
             RV_ToBool(*builtin(f_mouse_wheel_down));
    default: {
      const Gamepad* pad = gamepad(source.gamepad);
      if (pad == nullptr) return false;
      for (double button : kScanButtons) {
        if (pad->get_held(button)) return true;
      }
      for (double axis : kScanAxes) {
        if (std::abs(pad->get_value(axis)) > axis_min(p, axis)) return true;
      }
      return false;
    }
  }
}

// A method is called, a script index runs through script_execute; false for anything else.
bool run_callback(const RValue& callback, const RValue& argument) {
  if (RV_ToBool(*builtin(f_is_method, {callback}))) {
    call_function(callback, {argument});
    return true;
  }
  if (is_number(callback) && RV_ToBool(*builtin(f_script_exists, {callback}))) {
    builtin(f_script_execute, {callback, argument});
    return true;
  }
  return false;
}

std::string type_of(const RValue& value) { return shown(*builtin(f_typeof, {value})); }

// The constant a scan filter keeps: a number as it is, a character as its upper-case key code.
double filter_constant(const RValue& value) {
  if (is_string(value)) {
    const char* s = RV_StringText(value);
    return s[0] == '\0' ? 0 : std::toupper(static_cast<unsigned char>(s[0]));
  }
  return RV_ToDouble(value);
}

std::optional<std::set<double>> filter_arg(const RValue& value) {
  if (is_undefined(value)) return std::nullopt;
  std::set<double> out;
  if (is_array(value)) {
    for (int32_t i = 0; i < array_length(value); ++i) out.insert(filter_constant(value.pArray->pArray[i]));
  } else {
    out.insert(filter_constant(value));
  }
  return out;
}

Value filter_value(const std::optional<std::set<double>>& filter) {
  if (!filter) return Value();
  std::vector<Value> items;
  for (double constant : *filter) items.push_back(real(constant));
  return make_array(items);
}

// Sources a call names: none given (undefined), or one source or an array of them.
std::optional<std::vector<Source>> source_filter_arg(const RValue& value) {
  if (is_undefined(value)) return std::nullopt;
  return sources_arg(value);
}

}  // namespace

bool Player::sources_any_input() const {
  for (const Source& source : sources) {
    if (source_held(source, *this)) return true;
  }
  return false;
}

std::optional<Binding> Player::scan_for_binding(const Source& source) const {
  const auto passes = [&](double constant) {
    if (rebind_ignore && rebind_ignore->count(constant) != 0) return false;
    return !rebind_allow || rebind_allow->count(constant) != 0;
  };
  Binding found;
  switch (source.kind) {
    case kSourceKeyboard: {
      if (!RV_ToBool(*builtin(f_keyboard_check_pressed, {RV_Real(1)}))) return std::nullopt;
      const int32_t key = RV_ToInt32(*tsl::get(tsl::global(), v_keyboard_lastkey));
      // Codes below 8 stand for the mouse's buttons on the keyboard's side.
      if (key < 8 || key_is_ignored(key) || !passes(key) || !keyboard_check(key)) return std::nullopt;
      found.set_key(key);
      return found;
    }
    case kSourceMouse: {
      if (sys().mouse_blocked) return std::nullopt;
      for (int32_t button = 1; button <= 5; ++button) {
        if (RV_ToBool(*builtin(f_mouse_check_button_pressed, {RV_Real(button)})) && passes(button)) {
          found.set_mouse_button(button);
          return found;
        }
      }
      if (RV_ToBool(*builtin(f_mouse_wheel_up))) {
        found.set_mouse_wheel_up();
        return found;
      }
      if (RV_ToBool(*builtin(f_mouse_wheel_down))) {
        found.set_mouse_wheel_down();
        return found;
      }
      return std::nullopt;
    }
    default: {
      const Gamepad* pad = gamepad(source.gamepad);
      if (pad == nullptr) return std::nullopt;
      for (double button : kScanButtons) {
        if (pad->get_held(button) && passes(button)) {
          found.set_gamepad_button(button);
          return found;
        }
      }
      for (double axis : kScanAxes) {
        const double value = pad->get_value(axis);
        if (std::abs(value) > axis_min(*this, axis) && passes(axis)) {
          found.set_gamepad_axis(axis, value < 0);
          return found;
        }
      }
      return std::nullopt;
    }
  }
}

void Player::tick_binding_scan() {
  const std::string who = std::to_string(index);
  if (rebind_source_filter.empty()) {
    trace("Binding scan failed: Source filter is empty for player " + who);
    binding_scan_failure(kScanNoSources);
    return;
  }
  if (ghost) {
    trace("Binding scan failed: Player " + who + " is a ghost");
    binding_scan_failure(kScanGhost);
    return;
  }
  if (!connected) {
    trace("Binding scan failed: Player " + who + " disconnected");
    binding_scan_failure(kScanDisconnected);
    return;
  }
  if (sys().current_time - rebind_start_time > INPUT_BINDING_SCAN_TIMEOUT) {
    trace("Binding scan failed: Timed out");
    binding_scan_failure(kScanTimeout);
    return;
  }
  if (rebind_state == 1) {
    if (!sources_any_input()) {
      rebind_state = 2;
      trace("Now scanning for a new binding from player " + who);
    }
    return;
  }
  for (const Source& source : rebind_source_filter) {
    if (!source.is_connected()) continue;
    const std::optional<Binding> binding = scan_for_binding(source);
    if (binding && !binding->empty()) {
      binding_scan_success(*binding);
      return;
    }
  }
}

void Player::binding_scan_failure(int64_t code) {
  rebind_state = 0;
  const Value callback = rebind_failure_callback;
  rebind_success_callback = Value();
  rebind_failure_callback = Value();
  if (is_undefined(*callback)) return;
  if (!run_callback(*callback, RV_Int64(code))) {
    error("Binding scan failure callback set to an illegal value (typeof=" + type_of(*callback) + ")");
  }
}

void Player::binding_scan_success(const Binding& binding) {
  rebind_state = 0;
  trace("Binding found for player " + std::to_string(index) + ": \"" + binding.label + "\"");
  const Value callback = rebind_success_callback;
  rebind_success_callback = Value();
  rebind_failure_callback = Value();
  if (!run_callback(*callback, *binding_to_struct(binding))) {
    error("Binding scan success callback set to an illegal value (typeof=" + type_of(*callback) + ")");
  }
}

}  // namespace input

using namespace input;

// input_binding_scan_start(success_callback, failure_callback, source_filter, player_index = 0):
// without a filter the scan reads the sources its parameters name, else the player's own.
INPUT_SCRIPT(input_binding_scan_start) {
  tsl::ScriptScope scope("tsl_Script_input_binding_scan_start", self, result);
  Player& p = player_at(argc, argv, 3);
  const std::optional<std::vector<Source>> filter = source_filter_arg(input::arg(argc, argv, 2));
  p.rebind_success_callback = Value::Copy(input::arg(argc, argv, 0));
  p.rebind_failure_callback = Value::Copy(input::arg(argc, argv, 1));
  const std::string who = std::to_string(p.index);
  hold("scan_success_" + who, *p.rebind_success_callback);
  hold("scan_failure_" + who, *p.rebind_failure_callback);
  p.rebind_source_filter = filter ? *filter : p.rebind_filter_param.value_or(p.sources);
  p.rebind_state = 1;
  p.rebind_start_time = sys().current_time;
  return result;
}

// input_binding_scan_abort(player_index = 0): the scan stops and neither callback runs.
INPUT_SCRIPT(input_binding_scan_abort) {
  tsl::ScriptScope scope("tsl_Script_input_binding_scan_abort", self, result);
  for (Player* p : players_at(argc, argv, 0)) {
    if (p->rebind_state == 0) continue;
    trace("Binding scan for player " + std::to_string(p->index) + " aborted");
    p->rebind_state = 0;
    p->rebind_success_callback = Value();
    p->rebind_failure_callback = Value();
  }
  return result;
}

INPUT_SCRIPT(input_binding_scan_in_progress) {
  tsl::ScriptScope scope("tsl_Script_input_binding_scan_in_progress", self, result);
  return give_bool(scope, player_at(argc, argv, 0).rebind_state != 0);
}

// input_binding_scan_set_params(ignore, allow, source_filter, player_index = 0): constants (or
// key characters) a scan passes over, the only ones it takes, and its default sources; undefined
// for each means no such rule.
INPUT_SCRIPT(input_binding_scan_set_params) {
  tsl::ScriptScope scope("tsl_Script_input_binding_scan_set_params", self, result);
  const std::optional<std::set<double>> ignore = filter_arg(input::arg(argc, argv, 0));
  const std::optional<std::set<double>> allow = filter_arg(input::arg(argc, argv, 1));
  const std::optional<std::vector<Source>> sources = source_filter_arg(input::arg(argc, argv, 2));
  for (Player* p : players_at(argc, argv, 3)) {
    p->rebind_ignore = ignore;
    p->rebind_allow = allow;
    p->rebind_filter_param = sources;
  }
  return result;
}

// input_binding_scan_get_params(player_index = 0): {ignore_array, allow_array, source_filter}.
INPUT_SCRIPT(input_binding_scan_get_params) {
  tsl::ScriptScope scope("tsl_Script_input_binding_scan_get_params", self, result);
  const Player& p = player_at(argc, argv, 0);
  const Value out = new_struct();
  set_member(*out, "ignore_array", *filter_value(p.rebind_ignore));
  set_member(*out, "allow_array", *filter_value(p.rebind_allow));
  if (p.rebind_filter_param) {
    std::vector<Value> sources;
    for (const Source& source : *p.rebind_filter_param) sources.push_back(source_struct(source));
    set_member(*out, "source_filter", *make_array(sources));
  } else {
    set_member(*out, "source_filter", RV_Undefined());
  }
  return scope.give(out);
}

INPUT_SCRIPT(input_binding_scan_clear_params) {
  tsl::ScriptScope scope("tsl_Script_input_binding_scan_clear_params", self, result);
  for (Player* p : players_at(argc, argv, 0)) {
    p->rebind_ignore.reset();
    p->rebind_allow.reset();
    p->rebind_filter_param.reset();
  }
  return result;
}

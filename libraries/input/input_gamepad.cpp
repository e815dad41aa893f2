// Input gamepads: the library's record of each pad, read through the device layer's standard
// constants or through a mapping of its own, and the gamepad scripts.
#include <algorithm>

#include "input/input_internal.h"

namespace input {

Gamepad* gamepad(int32_t index) {
  System& s = sys();
  if (index < 0 || index >= static_cast<int32_t>(s.gamepads.size())) return nullptr;
  return s.gamepads[static_cast<size_t>(index)].get();
}

bool gamepad_connected(int32_t index) { return gamepad(index) != nullptr; }

void GamepadMapping::tick(int32_t index) {
  held_previous = held;
  value_previous = value;
  value = 0;
  held = false;
  press = false;
  release = false;
  if (sys().window_focus) {
    auto read = [&](int32_t kind, int32_t raw_index, int32_t mask) -> double {
      switch (kind) {
        case kMapAxis: return builtin_real(f_gamepad_axis_value, {RV_Real(index), RV_Real(raw_index)});
        case kMapHat:
          return (static_cast<int32_t>(builtin_real(f_gamepad_hat_value, {RV_Real(index), RV_Real(raw_index)})) & mask) > 0 ? 1 : 0;
        default: return RV_ToBool(*builtin(f_gamepad_button_check, {RV_Real(index), RV_Real(raw_index)})) ? 1 : 0;
      }
    };
    if (type == kMapSplitAxis) {
      double positive = read(type_positive, raw_positive, hat_mask_positive);
      double negative = read(type_negative, raw_negative, hat_mask_negative);
      if (positive_clamp_negative) positive = std::clamp(positive, -1.0, 0.0);
      if (positive_clamp_positive) positive = std::clamp(positive, 0.0, 1.0);
      if (negative_clamp_negative) negative = std::clamp(negative, -1.0, 0.0);
      if (negative_clamp_positive) negative = std::clamp(negative, 0.0, 1.0);
      value = std::abs(positive) - std::abs(negative);
    } else {
      value = read(type, raw, hat_mask);
    }
  }
  if (limited_range) value = 2 * value - 1;
  if (extended_range) value = 0.5 * (value + 1);
  if (reverse) value = -value;
  if (clamp_negative) value = std::clamp(value, -1.0, 0.0);
  if (clamp_positive) value = std::clamp(value, 0.0, 1.0);
  if (invert) value = 1 - value;
  if (type != kMapButton) value = std::clamp(value * scale / 256, -1.0, 1.0);
  value_delta = value - value_previous;
  held = std::abs(value) > 0.2;
  press = held && !held_previous;
  release = !held && held_previous;
}

void Gamepad::discover() {
  builtin(f_gamepad_set_axis_deadzone, {RV_Real(index), RV_Real(0)});
  mapping.clear();
  custom_mapping = false;
  button_count = RV_ToInt32(*builtin(f_gamepad_button_count, {RV_Real(index)}));
  axis_count = RV_ToInt32(*builtin(f_gamepad_axis_count, {RV_Real(index)}));
  hat_count = RV_ToInt32(*builtin(f_gamepad_hat_count, {RV_Real(index)}));
  const Value g = builtin(f_gamepad_get_guid, {RV_Real(index)});
  guid = is_string(*g) ? RV_StringText(*g) : "";
  const Value d = builtin(f_gamepad_get_description, {RV_Real(index)});
  description = is_string(*d) ? RV_StringText(*d) : "";
  xinput = index < 4;
  set_mapping_from_definition();
  trace("Gamepad " + std::to_string(index) + " discovered, type = \"" + simple_type + "\" (" + raw_type +
        ", guessed=" + (guessed_type ? "true" : "false") + "), description = \"" + description + "\" (vendor=" + vendor +
        ", product=" + product + ")");
}

void Gamepad::set_mapping_from_definition() {}

GamepadMapping& Gamepad::set_mapping(double tv, int32_t raw, int32_t type, const std::string& sdl_name) {
  custom_mapping = true;
  GamepadMapping& made = mapping[tv];
  made = GamepadMapping();
  made.tv = tv;
  made.raw = raw;
  made.type = type;
  made.sdl_name = sdl_name;
  return made;
}

void Gamepad::tick() {
  vibration_received_this_frame = false;
  for (auto& [tv, m] : mapping) m.tick(index);
}

// Without a mapping of its own, a pad answers from the device layer's standard constants.
bool Gamepad::get_held(double tv) const {
  if (!sys().window_focus) return false;
  if (custom_mapping) {
    const auto found = mapping.find(tv);
    return found != mapping.end() && found->second.held;
  }
  return RV_ToBool(*builtin(f_gamepad_button_check, {RV_Real(index), RV_Real(tv)}));
}

bool Gamepad::get_pressed(double tv) const {
  if (!sys().window_focus) return false;
  if (custom_mapping) {
    const auto found = mapping.find(tv);
    return found != mapping.end() && found->second.press;
  }
  return RV_ToBool(*builtin(f_gamepad_button_check_pressed, {RV_Real(index), RV_Real(tv)}));
}

bool Gamepad::get_released(double tv) const {
  if (!sys().window_focus) return false;
  if (custom_mapping) {
    const auto found = mapping.find(tv);
    return found != mapping.end() && found->second.release;
  }
  return RV_ToBool(*builtin(f_gamepad_button_check_released, {RV_Real(index), RV_Real(tv)}));
}

bool Gamepad::is_axis(double tv) const {
  if (custom_mapping) {
    const auto found = mapping.find(tv);
    return found != mapping.end() && found->second.type != kMapButton;
  }
  return tv >= 32785 && tv <= 32788;
}

double Gamepad::get_value(double tv) const {
  if (!sys().window_focus) return 0;
  if (custom_mapping) {
    const auto found = mapping.find(tv);
    return found != mapping.end() ? found->second.value : 0;
  }
  if (is_axis(tv)) return builtin_real(f_gamepad_axis_value, {RV_Real(index), RV_Real(tv)});
  return builtin_real(f_gamepad_button_value, {RV_Real(index), RV_Real(tv)});
}

double Gamepad::get_delta(double tv) const {
  if (!sys().window_focus) return 0;
  const auto found = mapping.find(tv);
  return found != mapping.end() ? found->second.value_delta : 0;
}

void sdl2_load_string(const std::string& text) { (void)text; }

void Player::tick_vibration() {}

void Player::tick_binding_scan() {}

void Player::binding_scan_failure(int64_t code) {
  rebind_state = 0;
  (void)code;
}

void Player::binding_scan_success(const Binding& binding) {
  rebind_state = 0;
  (void)binding;
}

}  // namespace input

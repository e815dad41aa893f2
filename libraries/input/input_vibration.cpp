// Input vibration, trigger effects and pad colours: the vibration events of a player, summed into
// its gamepad's motors each frame, and the scripts that start, pause and scale them; the public
// gamepad queries.
#include <algorithm>

#include "input/input_args.h"
#include "input/input_internal.h"

namespace input {

namespace {

double dsin(double degrees) { return std::sin(degrees * 3.14159265358979323846 / 180.0); }

}  // namespace

bool VibrationEvent::tick(double step) {
  time += step;
  const double left = strength * std::clamp(1 - pan, 0.0, 1.0);
  const double right = strength * std::clamp(1 + pan, 0.0, 1.0);
  const double t = duration > 0 ? std::clamp(time / duration, 0.0, 1.0) : 1.0;
  switch (kind) {
    case kConstant:
      output_left = left;
      output_right = right;
      return time <= duration;
    case kPulse: {
      const double wave = 0.5 + 0.5 * dsin(360 * repeats * t - 90);
      output_left = left * wave;
      output_right = right * wave;
      return time <= duration;
    }
    case kCurve: {
      const double at = std::fmod(t * repeats, 1.0) + (t >= 1 ? 1.0 : 0.0);
      const double position = t >= 1 ? 1.0 : at;
      auto channel_value = [&](int32_t channel) {
        const Value found = builtin(f_animcurve_get_channel, {*curve, RV_Real(channel)});
        return std::clamp(builtin_real(f_animcurve_channel_evaluate, {*found, RV_Real(position)}), 0.0, 1.0);
      };
      const Value channels = member(*curve, "channels");
      const int32_t count = array_length(*channels);
      const double a = count > 0 ? channel_value(0) : 0;
      const double b = count > 1 ? channel_value(1) : a;
      output_left = left * a;
      output_right = right * b;
      return time <= duration;
    }
    case kAdsr: {
      time_in_phase += step;
      // attack, decay, sustain, release
      const double lengths[4] = {attack, decay, sustain, release_time};
      while (phase < 4 && time_in_phase > lengths[phase]) {
        time_in_phase -= lengths[phase];
        ++phase;
      }
      if (phase >= 4) {
        output_left = output_right = 0;
        return false;
      }
      const double p = lengths[phase] > 0 ? time_in_phase / lengths[phase] : 1.0;
      double level = 0;
      switch (phase) {
        case 0: level = peak * p; break;
        case 1: level = peak + (sustain_level - peak) * p; break;
        case 2: level = sustain_level; break;
        default: level = sustain_level * (1 - p); break;
      }
      output_left = level * std::clamp(1 - pan, 0.0, 1.0);
      output_right = level * std::clamp(1 + pan, 0.0, 1.0);
      return true;
    }
  }
  return false;
}

// Only a connected player with one gamepad vibrates; a pause stops the clock of every event that
// isn't forced but keeps it.
void Player::tick_vibration() {
  if (!connected || sys().source_mode == kModeMixed || sys().source_mode == kModeMultidevice) return;
  const double step = sys().current_time - sys().previous_current_time;
  double left = 0, right = 0;
  for (auto event = vibration_events.begin(); event != vibration_events.end();) {
    if (!vibration_paused || event->force) {
      if (!event->tick(step)) {
        event->curve.release();
        event = vibration_events.erase(event);
        continue;
      }
      left += event->output_left;
      right += event->output_right;
    }
    ++event;
  }
  const std::optional<int32_t> pad = source_get_gamepad();
  Gamepad* g = pad ? gamepad(*pad) : nullptr;
  if (g == nullptr || !INPUT_VIBRATION_ALLOWED || !g->vibration_support) return;
  g->vibration_left = std::clamp(left, 0.0, 1.0) * vibration_strength;
  g->vibration_right = std::clamp(right, 0.0, 1.0) * vibration_strength;
  g->vibration_received_this_frame = true;
}

}  // namespace input

using namespace input;

namespace {

void add_event(Player& p, VibrationEvent event) {
  if (p.vibration_paused && !event.force) {
    trace("Warning! New vibration event ignored, player " + std::to_string(p.index) + " vibration is paused");
    event.curve.release();
    return;
  }
  p.vibration_events.push_back(std::move(event));
}

double strength_arg(int argc, RValue** argv, int n) { return std::clamp(arg_real(argc, argv, n, 0), 0.0, 1.0); }
double pan_arg(int argc, RValue** argv, int n) { return std::clamp(arg_real(argc, argv, n, 0), -1.0, 1.0); }
double time_arg(int argc, RValue** argv, int n) { return std::max(0.0, arg_real(argc, argv, n, 0)); }

}  // namespace

// input_vibrate_constant(strength, pan, duration, player_index = 0, force = false)
INPUT_SCRIPT(input_vibrate_constant) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_constant", self, result);
  for (Player* p : players_at(argc, argv, 3)) {
    VibrationEvent e;
    e.kind = VibrationEvent::kConstant;
    e.strength = strength_arg(argc, argv, 0);
    e.pan = pan_arg(argc, argv, 1);
    e.duration = time_arg(argc, argv, 2);
    e.force = arg_bool(argc, argv, 4, false);
    add_event(*p, std::move(e));
  }
  return result;
}

// input_vibrate_pulse(strength, pan, repeats, duration, player_index = 0, force = false)
INPUT_SCRIPT(input_vibrate_pulse) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_pulse", self, result);
  for (Player* p : players_at(argc, argv, 4)) {
    VibrationEvent e;
    e.kind = VibrationEvent::kPulse;
    e.strength = strength_arg(argc, argv, 0);
    e.pan = pan_arg(argc, argv, 1);
    e.repeats = std::max(0.0, arg_real(argc, argv, 2, 1));
    e.duration = time_arg(argc, argv, 3);
    e.force = arg_bool(argc, argv, 5, false);
    add_event(*p, std::move(e));
  }
  return result;
}

// input_vibrate_curve(strength, curve, pan, duration, player_index = 0, force = false): the curve's
// channels shape the motors over the duration.
INPUT_SCRIPT(input_vibrate_curve) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_curve", self, result);
  for (Player* p : players_at(argc, argv, 4)) {
    VibrationEvent e;
    e.kind = VibrationEvent::kCurve;
    e.strength = strength_arg(argc, argv, 0);
    const RValue& curve = input::arg(argc, argv, 1);
    e.curve = is_struct(curve) ? Value::Copy(curve) : builtin(f_animcurve_get, {curve});
    hold("curve_" + std::to_string(sys().held_serial++), *e.curve);
    e.pan = pan_arg(argc, argv, 2);
    e.duration = time_arg(argc, argv, 3);
    e.force = arg_bool(argc, argv, 5, false);
    add_event(*p, std::move(e));
  }
  return result;
}

// input_vibrate_adsr(peak, sustain_level, pan, attack, decay, sustain, release, player_index = 0,
// force = false)
INPUT_SCRIPT(input_vibrate_adsr) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_adsr", self, result);
  for (Player* p : players_at(argc, argv, 7)) {
    VibrationEvent e;
    e.kind = VibrationEvent::kAdsr;
    e.peak = strength_arg(argc, argv, 0);
    e.sustain_level = strength_arg(argc, argv, 1);
    e.pan = pan_arg(argc, argv, 2);
    e.attack = time_arg(argc, argv, 3);
    e.decay = time_arg(argc, argv, 4);
    e.sustain = time_arg(argc, argv, 5);
    e.release_time = time_arg(argc, argv, 6);
    e.force = arg_bool(argc, argv, 8, false);
    add_event(*p, std::move(e));
  }
  return result;
}

INPUT_SCRIPT(input_vibrate_stop) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_stop", self, result);
  for (Player* p : players_at(argc, argv, 0)) {
    for (VibrationEvent& e : p->vibration_events) e.curve.release();
    p->vibration_events.clear();
  }
  return result;
}

INPUT_SCRIPT(input_vibrate_set_pause) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_set_pause", self, result);
  for (Player* p : players_at(argc, argv, 1)) p->vibration_paused = RV_ToBool(input::arg(argc, argv, 0));
  return result;
}

INPUT_SCRIPT(input_vibrate_get_pause) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_get_pause", self, result);
  return give_bool(scope, player_at(argc, argv, 0).vibration_paused);
}

INPUT_SCRIPT(input_vibrate_set_strength) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_set_strength", self, result);
  for (Player* p : players_at(argc, argv, 1)) p->vibration_strength = strength_arg(argc, argv, 0);
  return result;
}

INPUT_SCRIPT(input_vibrate_get_strength) {
  tsl::ScriptScope scope("tsl_Script_input_vibrate_get_strength", self, result);
  return scope.give(real(player_at(argc, argv, 0).vibration_strength));
}

// ---- Trigger effects ----------------------------------------------------------------------------
// Only the adaptive triggers of one pad family apply them; elsewhere the library keeps the state a
// game sets and reads back.

namespace {

Value trigger_effect(const char* mode_name, int32_t mode, std::initializer_list<std::pair<const char*, double>> params) {
  const Value effect = new_struct();
  set_member(*effect, "__mode_name", *text(mode_name));
  set_member(*effect, "__mode", RV_Real(mode));
  const Value values = new_struct();
  for (const auto& [name, value] : params) set_member(*values, name, RV_Real(value));
  set_member(*effect, "__params", *values);
  return effect;
}

// The trigger argument: left (32775) or right (32776).
bool trigger_arg(int argc, RValue** argv, int n, bool* left) {
  const RValue& trigger = input::arg(argc, argv, n);
  const double value = is_number(trigger) ? RV_ToDouble(trigger) : -1;
  if (value != 32775 && value != 32776) {
    error("Value " + shown(trigger) + " not a gamepad trigger");
    return false;
  }
  *left = value == 32775;
  return true;
}

void set_effect(Player& p, bool left, const Value& effect) {
  (left ? p.trigger_effect_left : p.trigger_effect_right) = effect;
  hold(std::string(left ? "trigger_left_" : "trigger_right_") + std::to_string(p.index), *effect);
}

}  // namespace

INPUT_SCRIPT(input_trigger_effect_off) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_off", self, result);
  bool left = false;
  if (!trigger_arg(argc, argv, 0, &left)) return result;
  for (Player* p : players_at(argc, argv, 1)) set_effect(*p, left, trigger_effect("off", 0, {}));
  return result;
}

// input_trigger_effect_feedback(trigger, position, strength, player_index = 0)
INPUT_SCRIPT(input_trigger_effect_feedback) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_feedback", self, result);
  bool left = false;
  if (!trigger_arg(argc, argv, 0, &left)) return result;
  const double position = std::clamp(arg_real(argc, argv, 1, 0), 0.0, 1.0);
  const double strength = std::clamp(arg_real(argc, argv, 2, 0), 0.0, 1.0);
  for (Player* p : players_at(argc, argv, 3)) {
    set_effect(*p, left, trigger_effect("feedback", 1, {{"position", position}, {"strength", strength}}));
  }
  return result;
}

// input_trigger_effect_weapon(trigger, start_position, end_position, strength, player_index = 0)
INPUT_SCRIPT(input_trigger_effect_weapon) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_weapon", self, result);
  bool left = false;
  if (!trigger_arg(argc, argv, 0, &left)) return result;
  const double start = std::clamp(arg_real(argc, argv, 1, 0), 0.0, 1.0);
  const double end = std::clamp(arg_real(argc, argv, 2, 0), 0.0, 1.0);
  const double strength = std::clamp(arg_real(argc, argv, 3, 0), 0.0, 1.0);
  for (Player* p : players_at(argc, argv, 4)) {
    set_effect(*p, left,
               trigger_effect("weapon", 2, {{"start_position", start}, {"end_position", end}, {"strength", strength}}));
  }
  return result;
}

// input_trigger_effect_vibration(trigger, position, amplitude, frequency, player_index = 0)
INPUT_SCRIPT(input_trigger_effect_vibration) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_vibration", self, result);
  bool left = false;
  if (!trigger_arg(argc, argv, 0, &left)) return result;
  const double position = std::clamp(arg_real(argc, argv, 1, 0), 0.0, 1.0);
  const double amplitude = std::clamp(arg_real(argc, argv, 2, 0), 0.0, 1.0);
  const double frequency = std::clamp(arg_real(argc, argv, 3, 0), 0.0, 1.0);
  for (Player* p : players_at(argc, argv, 4)) {
    set_effect(*p, left,
               trigger_effect("vibration", 3, {{"position", position}, {"amplitude", amplitude}, {"frequency", frequency}}));
  }
  return result;
}

INPUT_SCRIPT(input_trigger_effect_get_state) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_get_state", self, result);
  bool left = false;
  if (!trigger_arg(argc, argv, 0, &left)) return result;
  const Player& p = player_at(argc, argv, 1);
  return scope.give(left ? p.trigger_effect_left : p.trigger_effect_right);
}

INPUT_SCRIPT(input_trigger_effect_set_pause) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_set_pause", self, result);
  for (Player* p : players_at(argc, argv, 1)) p->trigger_effect_paused = RV_ToBool(input::arg(argc, argv, 0));
  return result;
}

INPUT_SCRIPT(input_trigger_effect_get_pause) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_get_pause", self, result);
  return give_bool(scope, player_at(argc, argv, 0).trigger_effect_paused);
}

INPUT_SCRIPT(input_trigger_effect_set_strength) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_set_strength", self, result);
  for (Player* p : players_at(argc, argv, 1)) p->trigger_effect_strength = strength_arg(argc, argv, 0);
  return result;
}

INPUT_SCRIPT(input_trigger_effect_get_strength) {
  tsl::ScriptScope scope("tsl_Script_input_trigger_effect_get_strength", self, result);
  return scope.give(real(player_at(argc, argv, 0).trigger_effect_strength));
}

// ---- Colours ------------------------------------------------------------------------------------

INPUT_SCRIPT(input_color_set) {
  tsl::ScriptScope scope("tsl_Script_input_color_set", self, result);
  for (Player* p : players_at(argc, argv, 1)) {
    p->color = Value::Copy(input::arg(argc, argv, 0));
    hold("color_" + std::to_string(p->index), *p->color);
    for (const Source& source : p->sources) {
      if (source.kind == kSourceGamepad) builtin(f_gamepad_set_colour, {RV_Real(source.gamepad), *p->color});
    }
  }
  return result;
}

INPUT_SCRIPT(input_color_get) {
  tsl::ScriptScope scope("tsl_Script_input_color_get", self, result);
  return scope.give(player_at(argc, argv, 0).color);
}

INPUT_SCRIPT(input_color_reset) {
  tsl::ScriptScope scope("tsl_Script_input_color_reset", self, result);
  for (Player* p : players_at(argc, argv, 0)) p->color = Value();
  return result;
}

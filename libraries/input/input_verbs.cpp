// Input verbs: the per-frame life of a verb state (clear, the reading of the player's sources, the
// edges, double and long presses, quick flicks, toggles and cool-downs), chords and combos.
#include <algorithm>

#include "input/input_internal.h"

namespace input {

void VerbState::clear() {
  previous_value = value;
  previous_raw_analogue = raw_analogue;
  value = 0;
  raw = 0;
  press = held = release = false;
  double_press = double_release = false;
  long_press = long_release = false;
  quick_press = false;
  toggle_prev_value = toggle_value;
  toggle_value = 0;
}

void VerbState::tick() {
  System& s = sys();
  const double time = get_time();
  toggle_value = value;
  if (s.toggle_momentary_state && type == VerbType::kBasic && s.toggle_momentary_verbs.count(name) != 0) {
    if (toggle_prev_value < 0.1 && toggle_value > 0.1) toggle_state = !toggle_state;
    value = toggle_state ? 1 : 0;
    raw = value;
  }
  if (s.cooldown_state && type == VerbType::kBasic && s.cooldown_verbs.count(name) != 0) {
    if (time < release_time + RV_ToDouble(*builtin(f_game_get_speed, {RV_Real(0)})) * 0.5) {
      value = 0;
      raw = 0;
    }
  }
  if (value > 0) {
    player->last_input_time = s.current_time;
    held = true;
    held_time = time;
  }
  if (held != previous_held) {
    if (held) {
      if (consumed) trace("Un-consuming verb \"" + name + "\"");
      consumed = false;
      if (time - press_time < INPUT_DOUBLE_DELAY) {
        double_press = true;
        double_press_time = time;
        double_held = true;
        double_held_time = time;
      }
      press = true;
      press_time = time;
    } else {
      release = true;
      release_time = time;
      if (double_held) {
        double_held = false;
        double_release = true;
        double_release_time = time;
      }
    }
  }
  if (held) {
    if (time - press_time > INPUT_LONG_DELAY) {
      if (!long_held) {
        long_press = true;
        long_press_time = time;
      }
      long_held = true;
      long_held_time = time;
    }
  } else {
    if (long_held) {
      long_release = true;
      long_release_time = time;
    }
    long_held = false;
  }
  previous_held = held;
  if (double_held) double_held_time = time;
  if (long_held) long_held_time = time;

  const bool new_inactive = group_inactive || consumed;
  bool clear_history = new_inactive && !inactive;
  if (raw_analogue) {
    std::rotate(raw_history.rbegin(), raw_history.rbegin() + 1, raw_history.rend());
    raw_history[0] = raw;
    if (previous_value < max_threshold && value >= max_threshold) {
      for (size_t i = 1; i <= INPUT_QUICK_BUFFER; ++i) {
        if (raw_history[i] <= min_threshold) {
          quick_press = true;
          quick_press_time = time;
          break;
        }
      }
    }
  } else if (raw_analogue != previous_raw_analogue) {
    clear_history = true;
  }
  inactive = new_inactive;
  if (clear_history) raw_history.fill(0);
}

VerbState& Player::verb(const std::string& name) {
  auto found = verbs.find(name);
  if (found != verbs.end()) return found->second;
  VerbState& made = verbs[name];
  made.name = name;
  made.player = this;
  const auto type = sys().verb_types.find(name);
  made.type = type != sys().verb_types.end() ? type->second : VerbType::kBasic;
  return made;
}

VerbState* Player::find_verb(const std::string& name) {
  auto found = verbs.find(name);
  return found != verbs.end() ? &found->second : nullptr;
}

// __input_player_tick_sources: each basic verb of the active profile takes the strongest reading of
// its bindings over the player's sources.
void Player::tick_sources() {
  System& s = sys();
  const Profile* profile = nullptr;
  if (profile_name) {
    auto found = profiles.find(*profile_name);
    if (found != profiles.end()) profile = &found->second;
  }
  for (const std::string& name : s.basic_verbs) {
    VerbState& state = verb(name);
    double value = 0, raw = 0;
    std::optional<bool> raw_analogue, analogue;
    std::optional<double> min_threshold, max_threshold;
    if (state.force_value) {
      value = *state.force_value;
      raw = value;
      analogue = state.force_analogue.value_or(false);
      raw_analogue = analogue;
      state.force_value.reset();
      state.force_analogue.reset();
    } else if (profile != nullptr) {
      const auto bindings = profile->find(name);
      for (const Source& source : sources) {
        if (bindings == profile->end()) break;
        for (const Binding& binding : bindings->second) {
          if (binding.empty()) continue;
          const std::string kind = binding.source_type();
          const bool keyboard_mouse = source.kind == kSourceKeyboard || source.kind == kSourceMouse;
          // A source reads the bindings of its own device; keyboard and mouse go together.
          if (kind == "keyboard" && !(source.kind == kSourceKeyboard ||
                                      (INPUT_ASSIGN_KEYBOARD_AND_MOUSE_TOGETHER && keyboard_mouse))) {
            continue;
          }
          if (kind == "mouse" && !(source.kind == kSourceMouse ||
                                   (INPUT_ASSIGN_KEYBOARD_AND_MOUSE_TOGETHER && keyboard_mouse))) {
            continue;
          }
          if (kind == "gamepad" && source.kind != kSourceGamepad) continue;
          double reading = 0;
          if (binding.type == "key") {
            reading = keyboard_check(static_cast<int32_t>(binding.value)) ? 1 : 0;
          } else if (binding.type == "mouse button") {
            reading = mouse_check(static_cast<int32_t>(binding.value)) ? 1 : 0;
          } else if (binding.type == "mouse wheel up") {
            reading = !s.mouse_blocked && RV_ToBool(*builtin(f_mouse_wheel_up)) ? 1 : 0;
          } else if (binding.type == "mouse wheel down") {
            reading = !s.mouse_blocked && RV_ToBool(*builtin(f_mouse_wheel_down)) ? 1 : 0;
          } else if (binding.type == "gamepad button") {
            const int32_t pad = binding.gamepad_index.value_or(source.gamepad);
            const Gamepad* g = gamepad(pad);
            reading = g != nullptr && s.window_focus && g->get_held(binding.value) ? 1 : 0;
          } else if (binding.type == "gamepad axis") {
            const int32_t pad = binding.gamepad_index.value_or(source.gamepad);
            const Gamepad* g = gamepad(pad);
            double axis_raw = g != nullptr && s.window_focus ? g->get_value(binding.value) : 0;
            if (binding.axis_negative) axis_raw = -axis_raw;
            const AxisThreshold defaults = axis_threshold_get(binding.value);
            const double mini = binding.threshold_min.value_or(defaults.mini);
            const double maxi = binding.threshold_max.value_or(defaults.maxi);
            const double scaled = std::clamp((axis_raw - mini) / (maxi - mini), 0.0, 1.0);
            if (scaled > value || (value == 0 && axis_raw > raw)) {
              value = std::max(value, scaled);
              raw = axis_raw;
              raw_analogue = true;
              analogue = true;
              min_threshold = mini;
              max_threshold = maxi;
            }
            continue;
          } else {
            error("Binding unsupported for " + source.name() + " (" + binding.type + ")");
            return;
          }
          // Digital readings count as full strength.
          if (reading > 0 && value < 1) {
            value = 1;
            raw = 1;
            raw_analogue = false;
            analogue = false;
            min_threshold = 0;
            max_threshold = 1;
          }
        }
      }
    }
    state.value = value;
    state.raw = raw;
    if (raw_analogue) state.raw_analogue = *raw_analogue;
    if (analogue) state.analogue = *analogue;
    if (min_threshold) state.min_threshold = *min_threshold;
    if (max_threshold) state.max_threshold = *max_threshold;
  }
}

void Player::tick_basic_verbs() {
  for (const std::string& name : sys().basic_verbs) verb(name).tick();
}

void Player::tick_chord_verbs() {
  for (const std::string& name : sys().chord_verbs) {
    VerbState& state = verb(name);
    if (chords[name].evaluate(*this, sys().chord_defs[name])) {
      state.value = 1;
      state.raw = 1;
    }
    state.tick();
  }
}

void Player::tick_combo_verbs() {
  for (const std::string& name : sys().combo_verbs) {
    VerbState& state = verb(name);
    const std::shared_ptr<ComboDef> def = sys().combo_defs[name];
    if (def != nullptr && combos[name].tick(*this, *def)) {
      state.value = 1;
      state.raw = 1;
    }
    state.tick();
  }
}

// ---- Chords -------------------------------------------------------------------------------------

bool ChordState::evaluate(Player& p, const ChordDef& def) {
  auto any_held = [&] {
    for (const std::string& v : def.verbs) {
      if (p.verb(v).held) return true;
    }
    return false;
  };
  auto all_held = [&] {
    for (const std::string& v : def.verbs) {
      if (!p.verb(v).held) return false;
    }
    return true;
  };
  switch (state) {
    case 0:
      if (!any_held()) return false;
      start_time = get_time();
      state = 1;
      return evaluate(p, def);
    case 1:
      if (get_time() - start_time > def.max_time) {
        state = 3;
        return false;
      }
      if (all_held()) {
        state = 2;
        return true;
      }
      return false;
    case 2:
      if (all_held()) return true;
      state = 3;
      return false;
    case 3:
      if (any_held()) return false;
      start_time = kInfinity;
      state = 0;
      return false;
    default:
      error("State \"" + std::to_string(state) + "\" not recognised");
      return false;
  }
}

// ---- Combos -------------------------------------------------------------------------------------

void ComboState::reset() {
  initialized = false;
  success = false;
  phase = 0;
  phase_start_time = get_time();
  held_verbs.clear();
  pressed_verbs.clear();
}

void ComboState::initialize_phase(Player& p) {
  initialized = true;
  phase_start_time = get_time();
  // Verbs already down when a phase starts are not new presses of that phase.
  pressed_verbs.clear();
  for (const std::string& v : sys().basic_verbs) {
    if (p.verb(v).held) pressed_verbs.push_back(v);
  }
  for (const std::string& v : sys().chord_verbs) {
    if (p.verb(v).held) pressed_verbs.push_back(v);
  }
}

bool ComboState::tick(Player& p, const ComboDef& def) {
  if (def.phases.empty()) {
    error("Combo \"" + def.name + "\" has no phases\nPlease add phases with either the .press() or .hold_start() method");
    return false;
  }
  if (!initialized) initialize_phase(p);
  if (success) {
    bool any_held = false;
    for (const ComboPhase& phase_def : def.phases) any_held = any_held || p.verb(phase_def.verb).held;
    if (!any_held) {
      reset();
      return false;
    }
    return true;
  }
  for (const std::string& v : held_verbs) {
    if (!p.verb(v).held) {
      reset();
      return false;
    }
  }
  const ComboPhase& current = def.phases[static_cast<size_t>(phase)];
  const double time = get_time();
  if (time - phase_start_time > current.timeout) {
    reset();
    return false;
  }
  pressed_verbs.erase(std::remove_if(pressed_verbs.begin(), pressed_verbs.end(),
                                     [&](const std::string& v) { return !p.verb(v).held; }),
                      pressed_verbs.end());
  const VerbState& target = p.verb(current.verb);
  bool passed = false;
  switch (current.type) {
    case kComboPress: passed = target.press; break;
    case kComboRelease: passed = target.release; break;
    case kComboPressOrRelease: passed = target.press || target.release; break;
    case kComboHold:
      passed = target.press;
      if (passed) held_verbs.push_back(current.verb);
      break;
    default:
      error("Combo phase type \"" + std::to_string(current.type) + "\" not recognised");
      return false;
  }
  // Any other verb newly pressed is a wrong key and the combo fails.
  auto wrong_key = [&](const std::vector<std::string>& names) {
    for (const std::string& v : names) {
      if (v == current.verb) continue;
      const VerbState& other_state = p.verb(v);
      if (!other_state.press) continue;
      if (std::find(held_verbs.begin(), held_verbs.end(), v) != held_verbs.end()) continue;
      if (std::find(pressed_verbs.begin(), pressed_verbs.end(), v) != pressed_verbs.end()) continue;
      return true;
    }
    return false;
  };
  if (wrong_key(sys().basic_verbs) || wrong_key(sys().chord_verbs)) {
    reset();
    return false;
  }
  if (!passed) return false;
  // The other new presses of this frame are captured by the phase.
  for (const std::string& v : sys().basic_verbs) {
    if (p.verb(v).press && std::find(pressed_verbs.begin(), pressed_verbs.end(), v) == pressed_verbs.end()) {
      pressed_verbs.push_back(v);
    }
  }
  phase += 1;
  phase_start_time = get_time();
  if (phase < static_cast<int32_t>(def.phases.size())) {
    const std::vector<std::string> keep = pressed_verbs;
    initialize_phase(p);
    pressed_verbs = keep;
    return false;
  }
  success = true;
  phase = 0;
  return true;
}

}  // namespace input

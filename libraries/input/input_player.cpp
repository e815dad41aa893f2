// Input players: profiles and their bindings, the sources a player holds, the player's frame, and
// the source modes that hand devices to players (hot-swap and joining).
#include <algorithm>

#include "input/input_internal.h"

namespace input {

// ---- Profiles -----------------------------------------------------------------------------------

namespace {

bool is_default_profile(const std::string& name) {
  const std::vector<std::string>& defaults = sys().default_profiles;
  return std::find(defaults.begin(), defaults.end(), name) != defaults.end();
}

std::string index_text(const Player& p) { return std::to_string(p.index); }

}  // namespace

void Player::profile_create(const std::string& name, bool is_default) {
  if (profiles.count(name) != 0) {
    error("Profile \"" + name + "\" already exists for player " + index_text(*this));
    return;
  }
  (void)is_default;
  Profile& made = profiles[name];
  for (const std::string& verb : sys().basic_verbs) made[verb] = std::vector<Binding>(INPUT_MAX_ALTERNATE_BINDINGS);
}

void Player::profile_destroy(const std::string& name) {
  if (is_default_profile(name)) {
    error("Cannot remove profile \"" + name + "\" as it is a default profile");
    return;
  }
  if (profiles.erase(name) == 0) return;
  if (profile_name && *profile_name == name) {
    profile_name.reset();
    profile_set(profile_get_auto());
  }
}

bool Player::profile_exists(const std::string& name) const { return profiles.count(name) != 0; }

void Player::profile_set(const std::optional<std::string>& name) {
  if (!name) {
    trace("Warning! Failed to set profile for player " + index_text(*this) + " (was undefined)");
    return;
  }
  if (profiles.count(*name) == 0) {
    error("Profile \"" + *name + "\" doesn't exist for player " + index_text(*this));
    return;
  }
  if (!profile_name || *profile_name != *name) trace("Setting player " + index_text(*this) + " profile to \"" + *name + "\"");
  profile_name = *name;
}

std::optional<std::string> Player::profile_get_auto() const {
  const System& s = sys();
  if (s.source_mode == kModeMixed) return std::string(INPUT_AUTO_PROFILE_FOR_MIXED);
  if (s.source_mode == kModeMultidevice) return std::string(INPUT_AUTO_PROFILE_FOR_MULTIDEVICE);
  if (sources.empty()) return std::nullopt;
  switch (sources.front().kind) {
    case kSourceKeyboard: return std::string(INPUT_AUTO_PROFILE_FOR_KEYBOARD);
    case kSourceMouse: return std::string(INPUT_AUTO_PROFILE_FOR_MOUSE);
    case kSourceGamepad: return std::string(INPUT_AUTO_PROFILE_FOR_GAMEPAD);
    default:
      error("Invalid source (" + sources.front().name() + ")");
      return std::nullopt;
  }
}

void Player::profile_set_auto() { profile_set(profile_get_auto()); }

std::string Player::profile_resolve(const RValue& name) const {
  if (is_undefined(name)) {
    if (!profile_name) {
      error("No profile set for player " + index_text(*this));
      return "";
    }
    return *profile_name;
  }
  const std::string given = shown(name);
  if (profiles.count(given) == 0) {
    error("Profile \"" + given + "\" doesn't exist for player " + index_text(*this));
    return "";
  }
  return given;
}

void Player::profile_reset_bindings(const std::string& name) {
  if (!is_default_profile(name)) {
    error("Profile \"" + name + "\" doesn't exist as a default profile");
    return;
  }
  for (const std::string& verb : sys().basic_verbs) {
    for (int32_t alternate = 0; alternate < INPUT_MAX_ALTERNATE_BINDINGS; ++alternate) binding_reset(name, verb, alternate);
  }
}

// ---- Bindings -----------------------------------------------------------------------------------

Binding Player::binding_get(const std::string& profile, const std::string& verb, int32_t alternate) const {
  const auto found = profiles.find(profile);
  if (found == profiles.end()) return Binding();
  const auto bindings = found->second.find(verb);
  if (bindings == found->second.end() || alternate < 0 || alternate >= static_cast<int32_t>(bindings->second.size())) {
    return Binding();
  }
  return bindings->second[static_cast<size_t>(alternate)];
}

void Player::binding_set(const std::string& profile, const std::string& verb, int32_t alternate, const Binding& binding) {
  const std::string source = binding.source_type();
  // Standard profiles take only the bindings of their devices.
  const char* refused = nullptr;
  if (profile == INPUT_AUTO_PROFILE_FOR_KEYBOARD && source == "gamepad") refused = "Gamepad";
  if (profile == INPUT_AUTO_PROFILE_FOR_GAMEPAD && source == "keyboard") refused = "Keyboard";
  if (profile == INPUT_AUTO_PROFILE_FOR_GAMEPAD && source == "mouse") refused = "Mouse";
  if (refused != nullptr) {
    const std::string message =
        std::string(refused) + " binding \"" + binding.label + "\" not supported for profile \"" + profile + "\"";
    if (sys().strict_binding_check) {
      error(message);
      return;
    }
    trace("Warning! " + message);
  }
  std::vector<Binding>& alternates = profiles[profile][verb];
  if (alternate >= static_cast<int32_t>(alternates.size())) alternates.resize(static_cast<size_t>(alternate) + 1);
  alternates[static_cast<size_t>(alternate)] = binding;
  System& s = sys();
  if (source == "keyboard") s.any_keyboard_binding = true;
  if (source == "mouse") s.any_mouse_binding = true;
  if (source == "gamepad") s.any_gamepad_binding = true;
}

void Player::binding_reset(const std::string& profile, const std::string& verb, int32_t alternate) {
  if (!is_default_profile(profile)) {
    error("Profile \"" + profile + "\" doesn't exist as a default profile");
    return;
  }
  std::vector<Binding>& alternates = profiles[profile][verb];
  if (alternate >= static_cast<int32_t>(alternates.size())) alternates.resize(static_cast<size_t>(alternate) + 1);
  alternates[static_cast<size_t>(alternate)] = sys().default_player.binding_get(profile, verb, alternate);
}

bool axis_is_directional(double axis) { return axis >= 32785 && axis <= 32788; }

AxisThreshold Player::axis_threshold_get(double axis) {
  auto found = axis_thresholds.find(axis);
  if (found != axis_thresholds.end()) return found->second;
  if (axis_is_directional(axis)) {
    axis_threshold_set(axis, INPUT_DEFAULT_AXIS_MIN_THRESHOLD, INPUT_DEFAULT_AXIS_MAX_THRESHOLD);
  } else {
    axis_threshold_set(axis, INPUT_DEFAULT_TRIGGER_MIN_THRESHOLD, INPUT_DEFAULT_TRIGGER_MAX_THRESHOLD);
  }
  return axis_thresholds[axis];
}

void Player::axis_threshold_set(double axis, double mini, double maxi) { axis_thresholds[axis] = AxisThreshold{mini, maxi}; }

void Player::verb_group_active(const std::string& group, bool state) {
  verb_group_state[group] = state;
  const auto verbs_of = sys().group_to_verbs.find(group);
  if (verbs_of == sys().group_to_verbs.end()) return;
  for (const std::string& name : verbs_of->second) {
    VerbState& v = verb(name);
    v.group_inactive = !state;
    if (!state) {
      v.previous_held = true;
      v.inactive = true;
      v.toggle_state = false;
    }
  }
}

// ---- Sources ------------------------------------------------------------------------------------

bool Player::source_contains(const Source& source) const {
  return std::find(sources.begin(), sources.end(), source) != sources.end();
}

int32_t Player::source_add(const Source& source) {
  if (rebind_state != 0) {
    binding_scan_failure(-11);
  }
  if (source_contains(source)) return 0;
  sources.push_back(source);
  last_input_time = sys().current_time;
  if (source.kind == kSourceGamepad && !is_undefined(*color)) {
    builtin(f_gamepad_set_colour, {RV_Real(source.gamepad), *color});
  }
  return 1;
}

void Player::source_remove(const Source& source) {
  auto found = std::find(sources.begin(), sources.end(), source);
  if (found == sources.end()) return;
  sources.erase(found);
}

void Player::sources_clear() {
  sources.clear();
  last_input_time = sys().current_time;
}

std::optional<int32_t> Player::source_get_gamepad() const {
  for (const Source& source : sources) {
    if (source.kind == kSourceGamepad) return source.gamepad;
  }
  return std::nullopt;
}

void source_relinquish(const Source& source) {
  for (Player& p : sys().players) p.source_remove(source);
}

// ---- The player's frame -------------------------------------------------------------------------

void Player::tick() {
  if (ghost) {
    connected = true;
    post_disconnection_tick = false;
  } else {
    connected = false;
    for (const Source& source : sources) {
      if (source.is_connected()) {
        connected = true;
        break;
      }
    }
    if (connected) post_disconnection_tick = false;
  }
  if (!connected && post_disconnection_tick) return;
  if (rebind_state != 0) tick_binding_scan();
  for (const std::string& name : sys().all_verbs) verb(name).clear();
  tick_sources();
  tick_basic_verbs();
  tick_chord_verbs();
  tick_combo_verbs();
  cursor.tick();
  tick_vibration();
  if (!connected) post_disconnection_tick = true;
}

// __reset: default profiles back to their default bindings, the others gone, thresholds and
// strengths back to their start.
void Player::reset() {
  System& s = sys();
  std::vector<std::string> names;
  for (const auto& [name, profile] : profiles) names.push_back(name);
  for (const std::string& name : names) {
    if (!is_default_profile(name)) profiles.erase(name);
  }
  for (const std::string& name : s.default_profiles) {
    if (profiles.count(name) == 0) profile_create(name);
    profiles[name] = s.default_player.profiles[name];
  }
  for (const std::string& name : s.all_verbs) verb(name);
  axis_thresholds.clear();
  vibration_strength = INPUT_VIBRATION_DEFAULT_STRENGTH;
  gyro_axis_x = 0;
  gyro_axis_y = 0;
  gyro_sensitivity_x = 2;
  gyro_sensitivity_y = -2;
  if (profile_name && profiles.count(*profile_name) == 0) profile_name.reset();
}

// ---- Hot-swap -----------------------------------------------------------------------------------

namespace {

const double kHotswapButtons[] = {32769, 32770, 32771, 32772, 32773, 32774, 32775, 32776, 32777, 32778, 32779,
                                  32780, 32781, 32782, 32783, 32784, 32892, 32893, 32894, 32895};
const double kHotswapAxes[] = {32785, 32786, 32787, 32788};

bool pad_shows_input(int32_t index, bool need_delta, Player& p) {
  const Gamepad* pad = gamepad(index);
  if (pad == nullptr) return false;
  for (double button : kHotswapButtons) {
    if (need_delta ? pad->get_pressed(button) : pad->get_held(button)) return true;
  }
  if (INPUT_HOTSWAP_ON_GAMEPAD_AXIS) {
    for (double axis : kHotswapAxes) {
      const double mini = p.axis_threshold_get(axis).mini;
      if (std::abs(pad->get_value(axis)) > mini && (!need_delta || pad->get_delta(axis) != 0)) return true;
    }
  }
  return false;
}

std::optional<Source> hotswap_tick_input() {
  System& s = sys();
  Player& first = s.players[0];
  if (s.any_gamepad_binding) {
    for (int32_t i = 0; i < static_cast<int32_t>(s.gamepads.size()); ++i) {
      if (!gamepad_connected(i) || !first.source_contains(Source{kSourceGamepad, i})) continue;
      if (pad_shows_input(i, false, first)) first.last_input_time = s.current_time;
    }
    for (int32_t i = 0; i < static_cast<int32_t>(s.gamepads.size()); ++i) {
      if (!gamepad_connected(i) || first.source_contains(Source{kSourceGamepad, i})) continue;
      if (pad_shows_input(i, true, first)) return Source{kSourceGamepad, i};
    }
  }
  if (s.any_keyboard_binding && RV_ToBool(*builtin(f_keyboard_check_pressed, {RV_Real(1)}))) {
    const int32_t key = RV_ToInt32(*tsl::get(tsl::global(), v_keyboard_lastkey));
    if (!key_is_ignored(key)) return Source{kSourceKeyboard, -1};
  }
  if (s.any_mouse_binding && source_detect_input(Source{kSourceMouse, -1}, INPUT_HOTSWAP_ON_MOUSE_MOVEMENT)) {
    return Source{kSourceMouse, -1};
  }
  return std::nullopt;
}

}  // namespace

void source_set(const Source& source, Player& p, bool auto_profile);

void hotswap_tick() {
  System& s = sys();
  Player& first = s.players[0];
  if (first.ghost) {
    trace("Warning! Cannot hotswap because player 0 is a ghost");
    return;
  }
  if (!(first.last_input_time < 0 || s.current_time - first.last_input_time > INPUT_HOTSWAP_DELAY)) return;
  const std::optional<Source> source = hotswap_tick_input();
  if (!source || first.source_contains(*source)) return;
  source_set(*source, first, INPUT_HOTSWAP_AUTO_PROFILE);
  // The game's INPUT_HOTSWAP_CALLBACK, a function or script run after each swap; undefined for none.
  const Value callback = global_value("INPUT_HOTSWAP_CALLBACK");
  if (is_undefined(*callback)) return;
  if (!is_callable(*callback)) {
    error("INPUT_HOTSWAP_CALLBACK set to an illegal value (typeof=" + shown(*builtin(f_typeof, {*callback})) + ")");
    return;
  }
  call_function(*callback);
}

bool source_detect_input(const Source& source, bool allow_mouse_move) {
  System& s = sys();
  switch (source.kind) {
    case kSourceKeyboard: {
      if (!RV_ToBool(*builtin(f_keyboard_check_pressed, {RV_Real(1)}))) return false;
      return !key_is_ignored(RV_ToInt32(*tsl::get(tsl::global(), v_keyboard_lastkey)));
    }
    case kSourceMouse: {
      if (s.mouse_blocked) return false;
      if (allow_mouse_move && s.mouse_moved) return true;
      for (int32_t button = 1; button <= 5; ++button) {
        if (RV_ToBool(*builtin(f_mouse_check_button_pressed, {RV_Real(button)}))) return true;
      }
      return RV_ToBool(*builtin(f_mouse_wheel_up)) || RV_ToBool(*builtin(f_mouse_wheel_down));
    }
    case kSourceGamepad: {
      const Gamepad* pad = gamepad(source.gamepad);
      if (pad == nullptr) return false;
      for (double button : kHotswapButtons) {
        if (button == 32775 || button == 32776 || button == 32777 || button == 32778 || button == 32779 || button == 32780) {
          continue;
        }
        if (pad->get_pressed(button)) return true;
      }
      return false;
    }
    default:
      return false;
  }
}

// The claim check of a source and the hand-over: the source leaves every other player.
void source_set(const Source& source, Player& p, bool auto_profile) {
  System& s = sys();
  const bool together = INPUT_ASSIGN_KEYBOARD_AND_MOUSE_TOGETHER && source.kind != kSourceGamepad;
  if ((source.kind == kSourceKeyboard || together) && !s.any_keyboard_binding && !s.any_mouse_binding) {
    error("Cannot claim " + source.name() + ", no keyboard or mouse bindings have been created in a default profile");
    return;
  }
  if (source.kind == kSourceMouse && !together && !s.any_mouse_binding) {
    error("Cannot claim " + source.name() + ", no mouse bindings have been created in a default profile");
    return;
  }
  if (source.kind == kSourceGamepad && !s.any_gamepad_binding) {
    error("Cannot claim " + source.name() + ", no gamepad bindings have been created in a default profile");
    return;
  }
  source_relinquish(source);
  if (together) {
    source_relinquish(Source{kSourceKeyboard, -1});
    source_relinquish(Source{kSourceMouse, -1});
  }
  p.sources_clear();
  if (together) {
    p.source_add(Source{kSourceKeyboard, -1});
    p.source_add(Source{kSourceMouse, -1});
  } else {
    p.source_add(source);
  }
  if (auto_profile) p.profile_set_auto();
}

std::optional<Source> source_detect_new() {
  System& s = sys();
  auto taken = [&](const Source& source) {
    for (const Player& p : s.players) {
      if (p.source_contains(source)) return true;
    }
    return false;
  };
  if (s.any_keyboard_binding || s.any_mouse_binding) {
    for (const Source& source : {Source{kSourceKeyboard, -1}, Source{kSourceMouse, -1}}) {
      if (!taken(source) && source_detect_input(source, false)) return source;
    }
  }
  if (s.any_gamepad_binding) {
    for (int32_t i = 0; i < static_cast<int32_t>(s.gamepads.size()); ++i) {
      const Source source{kSourceGamepad, i};
      if (gamepad_connected(i) && !taken(source) && source_detect_input(source, false)) return source;
    }
  }
  return std::nullopt;
}

void consume_all(Player& p) {
  for (const std::string& name : sys().all_verbs) {
    VerbState& v = p.verb(name);
    v.consumed = true;
    v.previous_held = true;
    v.inactive = true;
    v.toggle_state = false;
  }
}

int32_t connected_count() {
  int32_t connected = 0;
  for (const Player& p : sys().players) connected += p.connected ? 1 : 0;
  return connected;
}

bool multiplayer_is_finished() {
  const System& s = sys();
  return s.source_mode != kModeJoin || connected_count() >= s.multiplayer_min;
}

void multiplayer_assignment_tick() {
  System& s = sys();
  if (INPUT_MULTIPLAYER_LEAVE_VERB[0] != '\0' && !is_verb(INPUT_MULTIPLAYER_LEAVE_VERB)) {
    error("INPUT_MULTIPLAYER_LEAVE_VERB \"" INPUT_MULTIPLAYER_LEAVE_VERB "\" doesn't exist");
    return;
  }
  if (s.multiplayer_abort && !is_callable(*s.multiplayer_abort_callback)) {
    error("INPUT_MULTIPLAYER_ABORT_CALLBACK has not been defined to a function or script");
    return;
  }
  if (s.multiplayer_drop_down) {
    for (int32_t a = 1; a < INPUT_MAX_PLAYERS; ++a) {
      Player& from = s.players[static_cast<size_t>(a)];
      if (!from.connected || from.sources.empty()) continue;
      for (int32_t b = 0; b < a; ++b) {
        Player& to = s.players[static_cast<size_t>(b)];
        if (to.connected || !to.sources.empty() || to.ghost) continue;
        trace("Assignment: Moving player " + std::to_string(a) + " (connected) to " + std::to_string(b) + " (disconnected)");
        std::swap(to.sources, from.sources);
        to.profile_set_auto();
        break;
      }
    }
  }
  for (int32_t i = s.multiplayer_max; i < INPUT_MAX_PLAYERS; ++i) s.players[static_cast<size_t>(i)].sources_clear();
  for (int32_t i = 0; i < s.multiplayer_max; ++i) {
    Player& p = s.players[static_cast<size_t>(i)];
    if (!p.sources.empty() || p.ghost) continue;
    const std::optional<Source> source = source_detect_new();
    if (!source) break;
    const bool together = INPUT_ASSIGN_KEYBOARD_AND_MOUSE_TOGETHER && source->kind != kSourceGamepad;
    if (together) {
      p.source_add(Source{kSourceKeyboard, -1});
      p.source_add(Source{kSourceMouse, -1});
    } else {
      p.source_add(*source);
    }
    p.profile_set_auto();
    p.tick();
    trace("Assignment: Player " + std::to_string(i) + " joined");
    consume_all(p);
  }
  bool aborted = false;
  if (s.multiplayer_abort && connected_count() <= 1) {
    const VerbState* leave = s.players[0].find_verb(INPUT_MULTIPLAYER_LEAVE_VERB);
    if (leave != nullptr && leave->press && !leave->inactive) {
      trace("Assignment: Player 0 aborted source assignment");
      aborted = true;
    }
  }
  if (!aborted && s.multiplayer_leave_verb) {
    for (Player& p : s.players) {
      const VerbState* leave = p.find_verb(INPUT_MULTIPLAYER_LEAVE_VERB);
      if (p.connected && !p.sources.empty() && leave != nullptr && leave->press && !leave->inactive) {
        trace("Assignment: Player " + std::to_string(p.index) + " left");
        p.sources_clear();
      }
    }
  }
  // Every slot up to the maximum holds a player: joining is over.
  bool full = true;
  for (int32_t i = 0; i < s.multiplayer_max; ++i) {
    const Player& p = s.players[static_cast<size_t>(i)];
    if (p.sources.empty() && !p.ghost) full = false;
  }
  if (aborted || full) {
    trace("Assignment: Restoring source mode " + std::to_string(s.previous_source_mode));
    s.source_mode = s.previous_source_mode;
    if (aborted) call_function(*s.multiplayer_abort_callback);
  }
}

namespace {

int32_t status_of(bool was, bool is) {
  if (is) return was ? 2 : 1;
  return was ? -2 : -1;
}

}  // namespace

void build_status() {
  System& s = sys();
  s.players_status = Status{};
  for (size_t i = 0; i < s.players.size(); ++i) {
    const bool is = s.players[i].connected;
    const bool was = s.players_were_connected[i];
    if (is && !was) s.players_status.new_connections.push_back(static_cast<int32_t>(i));
    if (!is && was) s.players_status.new_disconnections.push_back(static_cast<int32_t>(i));
    s.players_status.states.push_back(status_of(was, is));
    s.players_were_connected[i] = is;
  }
  Status pads;
  s.gamepads_were_connected.resize(s.gamepads.size(), false);
  for (size_t i = 0; i < s.gamepads.size(); ++i) {
    const bool is = s.gamepads[i] != nullptr;
    const bool was = s.gamepads_were_connected[i];
    if (is && !was) pads.new_connections.push_back(static_cast<int32_t>(i));
    if (!is && was) pads.new_disconnections.push_back(static_cast<int32_t>(i));
    pads.states.push_back(status_of(was, is));
    s.gamepads_were_connected[i] = is;
  }
  s.gamepads_status = pads;
}

}  // namespace input

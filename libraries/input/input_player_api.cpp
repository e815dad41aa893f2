// Input scripts over players: profiles, sources and source modes, bindings of a player's profiles,
// axis thresholds, ghosts, and the connection queries.
#include <algorithm>

#include "input/input_args.h"
#include "input/input_internal.h"

using namespace input;

namespace input {
void source_set(const Source& source, Player& p, bool auto_profile);
}

namespace {

std::string verb_arg(int argc, RValue** argv, int n) {
  const RValue& verb = input::arg(argc, argv, n);
  const std::string name = shown(verb);
  if (!is_string(verb) || sys().verb_types.count(name) == 0 || sys().verb_types[name] != VerbType::kBasic) {
    error("Verb not recognised (" + name + ")");
  }
  return name;
}

int32_t alternate_arg(int argc, RValue** argv, int n) {
  const double alternate = arg_real(argc, argv, n, 0);
  if (alternate < 0 || alternate >= INPUT_MAX_ALTERNATE_BINDINGS || alternate != std::floor(alternate)) {
    error("Invalid \"alternate\" argument (" + shown(RV_Real(alternate)) + ")\nShould be an integer from 0 to " +
          std::to_string(INPUT_MAX_ALTERNATE_BINDINGS - 1));
    return 0;
  }
  return static_cast<int32_t>(alternate);
}

}  // namespace

// ---- Profiles -----------------------------------------------------------------------------------

INPUT_SCRIPT(input_profile_create) {
  tsl::ScriptScope scope("tsl_Script_input_profile_create", self, result);
  const std::string name = shown(input::arg(argc, argv, 0));
  for (Player* p : players_at(argc, argv, 1)) p->profile_create(name);
  return result;
}

INPUT_SCRIPT(input_profile_destroy) {
  tsl::ScriptScope scope("tsl_Script_input_profile_destroy", self, result);
  const std::string name = shown(input::arg(argc, argv, 0));
  for (Player* p : players_at(argc, argv, 1)) p->profile_destroy(name);
  return result;
}

INPUT_SCRIPT(input_profile_exists) {
  tsl::ScriptScope scope("tsl_Script_input_profile_exists", self, result);
  return give_bool(scope, player_at(argc, argv, 1).profile_exists(shown(input::arg(argc, argv, 0))));
}

INPUT_SCRIPT(input_profile_get) {
  tsl::ScriptScope scope("tsl_Script_input_profile_get", self, result);
  const Player& p = player_at(argc, argv, 0);
  return p.profile_name ? scope.give(text(*p.profile_name)) : scope.give(Value());
}

INPUT_SCRIPT(input_profile_set) {
  tsl::ScriptScope scope("tsl_Script_input_profile_set", self, result);
  const RValue& name = input::arg(argc, argv, 0);
  for (Player* p : players_at(argc, argv, 1)) {
    p->profile_set(is_undefined(name) ? std::nullopt : std::optional<std::string>(shown(name)));
  }
  return result;
}

INPUT_SCRIPT(input_profile_get_array) {
  tsl::ScriptScope scope("tsl_Script_input_profile_get_array", self, result);
  const Player& p = player_at(argc, argv, 0);
  std::vector<Value> names;
  for (const auto& [name, profile] : p.profiles) names.push_back(text(name));
  return scope.give(make_array(names));
}

INPUT_SCRIPT(input_profile_auto) {
  tsl::ScriptScope scope("tsl_Script_input_profile_auto", self, result);
  const std::optional<std::string> name = player_at(argc, argv, 0).profile_get_auto();
  return name ? scope.give(text(*name)) : scope.give(Value());
}

// input_profile_copy(player_from, profile_from, player_to, profile_to)
INPUT_SCRIPT(input_profile_copy) {
  tsl::ScriptScope scope("tsl_Script_input_profile_copy", self, result);
  Player& from = player_at(argc, argv, 0);
  const std::string from_name = from.profile_resolve(input::arg(argc, argv, 1));
  Player& to = player_at(argc, argv, 2);
  const std::string to_name = shown(input::arg(argc, argv, 3));
  if (!to.profile_exists(to_name)) to.profile_create(to_name);
  to.profiles[to_name] = from.profiles[from_name];
  return result;
}

INPUT_SCRIPT(input_profile_reset_bindings) {
  tsl::ScriptScope scope("tsl_Script_input_profile_reset_bindings", self, result);
  for (Player* p : players_at(argc, argv, 1)) p->profile_reset_bindings(p->profile_resolve(input::arg(argc, argv, 0)));
  return result;
}

// ---- Source modes and sources -------------------------------------------------------------------

INPUT_SCRIPT(input_source_mode_get) {
  tsl::ScriptScope scope("tsl_Script_input_source_mode_get", self, result);
  return scope.give(real(sys().source_mode));
}

INPUT_SCRIPT(input_source_mode_set) {
  tsl::ScriptScope scope("tsl_Script_input_source_mode_set", self, result);
  const double given = RV_ToDouble(input::arg(argc, argv, 0));
  if (given < 0 || given > 4 || given != std::floor(given)) {
    error("Source mode " + shown(input::arg(argc, argv, 0)) + " not recognised");
    return result;
  }
  const auto mode = static_cast<int32_t>(given);
  System& s = sys();
  if (mode == kModeJoin && s.source_mode != kModeJoin) s.previous_source_mode = s.source_mode;
  s.source_mode = mode;
  if (mode == kModeMixed || mode == kModeMultidevice) {
    // One player holds every device under the mode's own profile.
    Player& first = s.players[0];
    for (Player& p : s.players) p.sources_clear();
    first.source_add(Source{kSourceKeyboard, -1});
    first.source_add(Source{kSourceMouse, -1});
    for (int32_t i = 0; i < static_cast<int32_t>(s.gamepads.size()); ++i) {
      if (gamepad_connected(i)) first.source_add(Source{kSourceGamepad, i});
    }
    const std::optional<std::string> name = first.profile_get_auto();
    if (name && first.profile_exists(*name)) first.profile_set(name);
  } else if (mode == kModeJoin) {
    for (Player& p : s.players) p.sources_clear();
  }
  return result;
}

// input_source_set(source, player_index = 0, auto_profile = true)
INPUT_SCRIPT(input_source_set) {
  tsl::ScriptScope scope("tsl_Script_input_source_set", self, result);
  const std::vector<Source> sources = sources_arg(input::arg(argc, argv, 0));
  const bool auto_profile = arg_bool(argc, argv, 2, true);
  for (Player* p : players_at(argc, argv, 1)) {
    bool first = true;
    for (const Source& source : sources) {
      if (first) {
        source_set(source, *p, false);
        first = false;
      } else {
        source_relinquish(source);
        p->source_add(source);
      }
    }
    if (auto_profile) p->profile_set_auto();
  }
  return result;
}

// input_source_add(source, player_index = 0, auto_profile = true): beside what the player holds.
INPUT_SCRIPT(input_source_add) {
  tsl::ScriptScope scope("tsl_Script_input_source_add", self, result);
  const std::vector<Source> sources = sources_arg(input::arg(argc, argv, 0));
  Player& p = player_at(argc, argv, 1);
  for (const Source& source : sources) {
    source_relinquish(source);
    p.source_add(source);
  }
  if (arg_bool(argc, argv, 2, true)) p.profile_set_auto();
  return result;
}

// input_source_share(source, player_index = 0, auto_profile = true): without taking it from others.
INPUT_SCRIPT(input_source_share) {
  tsl::ScriptScope scope("tsl_Script_input_source_share", self, result);
  const std::vector<Source> sources = sources_arg(input::arg(argc, argv, 0));
  Player& p = player_at(argc, argv, 1);
  for (const Source& source : sources) p.source_add(source);
  if (arg_bool(argc, argv, 2, true)) p.profile_set_auto();
  return result;
}

INPUT_SCRIPT(input_source_clear) {
  tsl::ScriptScope scope("tsl_Script_input_source_clear", self, result);
  for (Player* p : players_at(argc, argv, 0)) p->sources_clear();
  return result;
}

INPUT_SCRIPT(input_source_using) {
  tsl::ScriptScope scope("tsl_Script_input_source_using", self, result);
  const std::vector<Source> sources = sources_arg(input::arg(argc, argv, 0));
  const Player& p = player_at(argc, argv, 1);
  for (const Source& source : sources) {
    if (p.source_contains(source)) return give_bool(scope, true);
  }
  return give_bool(scope, false);
}

// Connected and held by no player.
INPUT_SCRIPT(input_source_is_available) {
  tsl::ScriptScope scope("tsl_Script_input_source_is_available", self, result);
  const std::vector<Source> sources = sources_arg(input::arg(argc, argv, 0));
  for (const Source& source : sources) {
    if (!source.is_connected()) return give_bool(scope, false);
    for (const Player& p : sys().players) {
      if (p.source_contains(source)) return give_bool(scope, false);
    }
  }
  return give_bool(scope, true);
}

INPUT_SCRIPT(input_source_get_array) {
  tsl::ScriptScope scope("tsl_Script_input_source_get_array", self, result);
  const Player& p = player_at(argc, argv, 0);
  std::vector<Value> sources;
  for (const Source& source : p.sources) sources.push_back(source_struct(source));
  return scope.give(make_array(sources));
}

INPUT_SCRIPT(input_source_detect_input) {
  tsl::ScriptScope scope("tsl_Script_input_source_detect_input", self, result);
  const std::vector<Source> sources = sources_arg(input::arg(argc, argv, 0));
  const bool allow_mouse_move = arg_bool(argc, argv, 1, true);
  for (const Source& source : sources) {
    if (source_detect_input(source, allow_mouse_move)) return give_bool(scope, true);
  }
  return give_bool(scope, false);
}

INPUT_SCRIPT(input_source_detect_new) {
  tsl::ScriptScope scope("tsl_Script_input_source_detect_new", self, result);
  const std::optional<Source> source = source_detect_new();
  return source ? scope.give(source_struct(*source)) : scope.give(Value());
}

INPUT_SCRIPT(input_source_hotswap_tick) {
  tsl::ScriptScope scope("tsl_Script_input_source_hotswap_tick", self, result);
  hotswap_tick();
  return result;
}

INPUT_SCRIPT(input_source_assignment_tick) {
  tsl::ScriptScope scope("tsl_Script_input_source_assignment_tick", self, result);
  multiplayer_assignment_tick();
  return result;
}

// ---- Players ------------------------------------------------------------------------------------

INPUT_SCRIPT(input_player_connected) {
  tsl::ScriptScope scope("tsl_Script_input_player_connected", self, result);
  return give_bool(scope, player_at(argc, argv, 0).connected);
}

INPUT_SCRIPT(input_player_connected_count) {
  tsl::ScriptScope scope("tsl_Script_input_player_connected_count", self, result);
  int32_t count = 0;
  for (const Player& p : sys().players) count += p.connected ? 1 : 0;
  return scope.give(real(count));
}

INPUT_SCRIPT(input_players_connected) {
  tsl::ScriptScope scope("tsl_Script_input_players_connected", self, result);
  std::vector<Value> indexes;
  for (const Player& p : sys().players) {
    if (p.connected) indexes.push_back(real(p.index));
  }
  return scope.give(make_array(indexes));
}

INPUT_SCRIPT(input_player_ghost_set) {
  tsl::ScriptScope scope("tsl_Script_input_player_ghost_set", self, result);
  Player& p = player_at(argc, argv, 1);
  p.ghost = RV_ToBool(input::arg(argc, argv, 0));
  if (p.ghost) p.sources_clear();
  return result;
}

INPUT_SCRIPT(input_player_ghost_get) {
  tsl::ScriptScope scope("tsl_Script_input_player_ghost_get", self, result);
  return give_bool(scope, player_at(argc, argv, 0).ghost);
}

INPUT_SCRIPT(input_player_get_gamepad) {
  tsl::ScriptScope scope("tsl_Script_input_player_get_gamepad", self, result);
  const std::optional<int32_t> pad = player_at(argc, argv, 0).source_get_gamepad();
  return scope.give(real(pad ? *pad : -1));
}

INPUT_SCRIPT(input_player_get_gamepad_type) {
  tsl::ScriptScope scope("tsl_Script_input_player_get_gamepad_type", self, result);
  const std::optional<int32_t> pad = player_at(argc, argv, 0).source_get_gamepad();
  const Gamepad* g = pad ? gamepad(*pad) : nullptr;
  return scope.give(text(g != nullptr ? g->simple_type : "unknown"));
}

INPUT_SCRIPT(input_player_reset) {
  tsl::ScriptScope scope("tsl_Script_input_player_reset", self, result);
  for (Player* p : players_at(argc, argv, 0)) p->reset();
  return result;
}

// input_player_swap(a, b): everything the two players hold changes places.
INPUT_SCRIPT(input_player_swap) {
  tsl::ScriptScope scope("tsl_Script_input_player_swap", self, result);
  Player& a = player_at(argc, argv, 0);
  Player& b = player_at(argc, argv, 1);
  if (&a == &b) return result;
  std::swap(a.sources, b.sources);
  std::swap(a.profiles, b.profiles);
  std::swap(a.profile_name, b.profile_name);
  std::swap(a.axis_thresholds, b.axis_thresholds);
  std::swap(a.ghost, b.ghost);
  std::swap(a.vibration_strength, b.vibration_strength);
  return result;
}

// input_player_copy(from, to): the profiles, thresholds and strengths, not the sources.
INPUT_SCRIPT(input_player_copy) {
  tsl::ScriptScope scope("tsl_Script_input_player_copy", self, result);
  Player& from = player_at(argc, argv, 0);
  Player& to = player_at(argc, argv, 1);
  if (&from == &to) return result;
  to.profiles = from.profiles;
  to.profile_name = from.profile_name;
  to.axis_thresholds = from.axis_thresholds;
  to.vibration_strength = from.vibration_strength;
  return result;
}

INPUT_SCRIPT(input_axis_threshold_set) {
  tsl::ScriptScope scope("tsl_Script_input_axis_threshold_set", self, result);
  const double axis = RV_ToDouble(input::arg(argc, argv, 0));
  for (Player* p : players_at(argc, argv, 3)) {
    p->axis_threshold_set(axis, RV_ToDouble(input::arg(argc, argv, 1)), RV_ToDouble(input::arg(argc, argv, 2)));
  }
  return result;
}

INPUT_SCRIPT(input_axis_threshold_get) {
  tsl::ScriptScope scope("tsl_Script_input_axis_threshold_get", self, result);
  const AxisThreshold t = player_at(argc, argv, 1).axis_threshold_get(RV_ToDouble(input::arg(argc, argv, 0)));
  const Value out = new_struct();
  set_member(*out, "mini", RV_Real(t.mini));
  set_member(*out, "maxi", RV_Real(t.maxi));
  return scope.give(out);
}

INPUT_SCRIPT(input_swap_gamepad_ab) {
  tsl::ScriptScope scope("tsl_Script_input_swap_gamepad_ab", self, result);
  const bool state = RV_ToBool(input::arg(argc, argv, 0));
  System& s = sys();
  if (state == s.swap_ab) return result;
  s.swap_ab = state;
  // Default bindings of A and B change places, and with them every player's.
  auto swap_in = [](Player& p) {
    for (auto& [name, profile] : p.profiles) {
      for (auto& [verb, bindings] : profile) {
        for (Binding& b : bindings) {
          if (b.type != "gamepad button") continue;
          if (b.value == 32769) b.set_gamepad_button(32770);
          else if (b.value == 32770) b.set_gamepad_button(32769);
        }
      }
    }
  };
  swap_in(s.default_player);
  for (Player& p : s.players) swap_in(p);
  return result;
}

// ---- Bindings of a player -----------------------------------------------------------------------

// input_binding_get(verb, player_index = 0, alternate = 0, profile_name = active)
INPUT_SCRIPT(input_binding_get) {
  tsl::ScriptScope scope("tsl_Script_input_binding_get", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  Player& p = player_at(argc, argv, 1);
  const int32_t alternate = alternate_arg(argc, argv, 2);
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 3));
  return scope.give(binding_to_struct(p.binding_get(profile, verb, alternate)));
}

// input_binding_set(verb, binding, player_index = 0, alternate = 0, profile_name = active)
INPUT_SCRIPT(input_binding_set) {
  tsl::ScriptScope scope("tsl_Script_input_binding_set", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  const std::optional<Binding> binding = binding_from_struct(input::arg(argc, argv, 1));
  if (!binding) {
    error("Value provided is not a binding (typeof=" + shown(*builtin(f_typeof, {input::arg(argc, argv, 1)})) + ")");
    return result;
  }
  Player& p = player_at(argc, argv, 2);
  const int32_t alternate = alternate_arg(argc, argv, 3);
  p.binding_set(p.profile_resolve(input::arg(argc, argv, 4)), verb, alternate, *binding);
  return result;
}

namespace {

struct Collision {
  std::string verb;
  int32_t alternate;
};

std::vector<Collision> collisions(const Player& p, const std::string& profile, const Binding& binding) {
  std::vector<Collision> out;
  if (binding.empty()) return out;
  const auto found = p.profiles.find(profile);
  if (found == p.profiles.end()) return out;
  for (const std::string& verb : sys().basic_verbs) {
    const auto bindings = found->second.find(verb);
    if (bindings == found->second.end()) continue;
    for (size_t i = 0; i < bindings->second.size(); ++i) {
      if (bindings->second[i] == binding) out.push_back(Collision{verb, static_cast<int32_t>(i)});
    }
  }
  return out;
}

}  // namespace

// input_binding_set_safe(verb, binding, player_index, alternate, profile_name): a binding that is
// already in use elsewhere in the profile swaps places with the one it replaces.
INPUT_SCRIPT(input_binding_set_safe) {
  tsl::ScriptScope scope("tsl_Script_input_binding_set_safe", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  const std::optional<Binding> binding = binding_from_struct(input::arg(argc, argv, 1));
  if (!binding) {
    error("Value provided is not a binding (typeof=" + shown(*builtin(f_typeof, {input::arg(argc, argv, 1)})) + ")");
    return result;
  }
  Player& p = player_at(argc, argv, 2);
  const int32_t alternate = alternate_arg(argc, argv, 3);
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 4));
  const Binding previous = p.binding_get(profile, verb, alternate);
  const std::vector<Collision> found = collisions(p, profile, *binding);
  for (const Collision& c : found) {
    if (c.verb == verb && c.alternate == alternate) continue;
    trace("Binding collision with verb \"" + c.verb + "\" alternate " + std::to_string(c.alternate) +
          ", swapping bindings");
    p.binding_set(profile, c.verb, c.alternate, previous);
  }
  p.binding_set(profile, verb, alternate, *binding);
  return result;
}

INPUT_SCRIPT(input_binding_remove) {
  tsl::ScriptScope scope("tsl_Script_input_binding_remove", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  Player& p = player_at(argc, argv, 1);
  const int32_t alternate = alternate_arg(argc, argv, 2);
  p.binding_set(p.profile_resolve(input::arg(argc, argv, 3)), verb, alternate, Binding());
  return result;
}

// input_binding_swap(verb_a, alternate_a, verb_b, alternate_b, player_index = 0, profile_name)
INPUT_SCRIPT(input_binding_swap) {
  tsl::ScriptScope scope("tsl_Script_input_binding_swap", self, result);
  const std::string verb_a = verb_arg(argc, argv, 0);
  const int32_t alternate_a = alternate_arg(argc, argv, 1);
  const std::string verb_b = verb_arg(argc, argv, 2);
  const int32_t alternate_b = alternate_arg(argc, argv, 3);
  Player& p = player_at(argc, argv, 4);
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 5));
  const Binding a = p.binding_get(profile, verb_a, alternate_a);
  const Binding b = p.binding_get(profile, verb_b, alternate_b);
  p.binding_set(profile, verb_a, alternate_a, b);
  p.binding_set(profile, verb_b, alternate_b, a);
  return result;
}

// input_binding_test_collisions(verb, binding, player_index = 0, profile_name): [{verb, alternate}]
// of the other entries that hold the same binding.
INPUT_SCRIPT(input_binding_test_collisions) {
  tsl::ScriptScope scope("tsl_Script_input_binding_test_collisions", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  const std::optional<Binding> binding = binding_from_struct(input::arg(argc, argv, 1));
  Player& p = player_at(argc, argv, 2);
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 3));
  std::vector<Value> out;
  if (binding) {
    for (const Collision& c : collisions(p, profile, *binding)) {
      const Value entry = new_struct();
      set_member(*entry, "verb", *text(c.verb));
      set_member(*entry, "alternate", RV_Real(c.alternate));
      out.push_back(entry);
    }
  }
  return scope.give(make_array(out));
}

// input_binding_is_valid(binding, player_index = 0): a binding the player's devices can read.
INPUT_SCRIPT(input_binding_is_valid) {
  tsl::ScriptScope scope("tsl_Script_input_binding_is_valid", self, result);
  const std::optional<Binding> binding = binding_from_struct(input::arg(argc, argv, 0));
  if (!binding || binding->empty()) return give_bool(scope, false);
  const Player& p = player_at(argc, argv, 1);
  const std::string source = binding->source_type();
  for (const Source& s : p.sources) {
    if (source == "gamepad" && s.kind == kSourceGamepad) {
      const Gamepad* pad = gamepad(s.gamepad);
      if (pad == nullptr || pad->answers(binding->value)) return give_bool(scope, true);
    }
    if (source != "gamepad" && s.kind != kSourceGamepad) return give_bool(scope, true);
  }
  return give_bool(scope, false);
}

// input_binding_threshold_set(verb, min, max, player_index, alternate, profile_name)
INPUT_SCRIPT(input_binding_threshold_set) {
  tsl::ScriptScope scope("tsl_Script_input_binding_threshold_set", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  Player& p = player_at(argc, argv, 3);
  const int32_t alternate = alternate_arg(argc, argv, 4);
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 5));
  Binding b = p.binding_get(profile, verb, alternate);
  b.threshold_min = RV_ToDouble(input::arg(argc, argv, 1));
  b.threshold_max = RV_ToDouble(input::arg(argc, argv, 2));
  p.binding_set(profile, verb, alternate, b);
  return result;
}

// input_binding_threshold_get(verb, player_index, alternate, profile_name): {mini, maxi}
INPUT_SCRIPT(input_binding_threshold_get) {
  tsl::ScriptScope scope("tsl_Script_input_binding_threshold_get", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  Player& p = player_at(argc, argv, 1);
  const int32_t alternate = alternate_arg(argc, argv, 2);
  const Binding b = p.binding_get(p.profile_resolve(input::arg(argc, argv, 3)), verb, alternate);
  AxisThreshold t{0, 1};
  if (b.type == "gamepad axis") t = p.axis_threshold_get(b.value);
  const Value out = new_struct();
  set_member(*out, "mini", RV_Real(b.threshold_min.value_or(t.mini)));
  set_member(*out, "maxi", RV_Real(b.threshold_max.value_or(t.maxi)));
  return scope.give(out);
}

// input_binding_gamepad_set(verb, gamepad, player_index, alternate, profile_name)
INPUT_SCRIPT(input_binding_gamepad_set) {
  tsl::ScriptScope scope("tsl_Script_input_binding_gamepad_set", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  Player& p = player_at(argc, argv, 2);
  const int32_t alternate = alternate_arg(argc, argv, 3);
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 4));
  Binding b = p.binding_get(profile, verb, alternate);
  const RValue& pad = input::arg(argc, argv, 1);
  if (is_undefined(pad)) {
    b.gamepad_index.reset();
    b.gamepad_description.reset();
  } else {
    b.gamepad_index = RV_ToInt32(pad);
    const Gamepad* g = gamepad(*b.gamepad_index);
    if (g != nullptr) b.gamepad_description = g->description;
  }
  p.binding_set(profile, verb, alternate, b);
  return result;
}

INPUT_SCRIPT(input_binding_gamepad_get) {
  tsl::ScriptScope scope("tsl_Script_input_binding_gamepad_get", self, result);
  const std::string verb = verb_arg(argc, argv, 0);
  Player& p = player_at(argc, argv, 1);
  const int32_t alternate = alternate_arg(argc, argv, 2);
  const Binding b = p.binding_get(p.profile_resolve(input::arg(argc, argv, 3)), verb, alternate);
  return b.gamepad_index ? scope.give(real(*b.gamepad_index)) : scope.give(Value());
}

// ---- Connection reports -------------------------------------------------------------------------

namespace {

Value status_struct(const Status& status, const char* list_name) {
  const Value out = new_struct();
  set_member(*out, "any_changed", RV_Bool(!status.new_connections.empty() || !status.new_disconnections.empty()));
  auto numbers = [](const std::vector<int32_t>& list) {
    std::vector<Value> items;
    for (int32_t i : list) items.push_back(real(i));
    return make_array(items);
  };
  const Value connected = numbers(status.new_connections);
  const Value disconnected = numbers(status.new_disconnections);
  const Value states = numbers(status.states);
  set_member(*out, "new_connections", *connected);
  set_member(*out, "new_disconnections", *disconnected);
  set_member(*out, list_name, *states);
  return out;
}

}  // namespace

INPUT_SCRIPT(input_players_get_status) {
  tsl::ScriptScope scope("tsl_Script_input_players_get_status", self, result);
  return scope.give(status_struct(sys().players_status, "players"));
}

INPUT_SCRIPT(input_gamepads_get_status) {
  tsl::ScriptScope scope("tsl_Script_input_gamepads_get_status", self, result);
  return scope.give(status_struct(sys().gamepads_status, "gamepads"));
}

// ---- Joining ------------------------------------------------------------------------------------

// input_multiplayer_params_set(min = 1, max = INPUT_MAX_PLAYERS, leave_verb = true, abort = false,
// drop_down = true): how many players join mode takes, whether the leave verb drops a player,
// whether player 0 may abort (true for INPUT_MULTIPLAYER_ABORT_CALLBACK, or the function to run),
// and whether players move down into empty slots.
INPUT_SCRIPT(input_multiplayer_params_set) {
  tsl::ScriptScope scope("tsl_Script_input_multiplayer_params_set", self, result);
  const double min = arg_real(argc, argv, 0, 1);
  const double max = arg_real(argc, argv, 1, INPUT_MAX_PLAYERS);
  if (min < 1 || min > INPUT_MAX_PLAYERS || min != std::floor(min)) {
    error("Minimum number of players must be an integer from 1 to " + std::to_string(INPUT_MAX_PLAYERS) + " (was " +
          shown(RV_Real(min)) + ")");
    return result;
  }
  if (max < min || max > INPUT_MAX_PLAYERS || max != std::floor(max)) {
    error("Maximum number of players must be an integer from " + shown(RV_Real(min)) + " to " +
          std::to_string(INPUT_MAX_PLAYERS) + " (was " + shown(RV_Real(max)) + ")");
    return result;
  }
  System& s = sys();
  s.multiplayer_min = static_cast<int32_t>(min);
  s.multiplayer_max = static_cast<int32_t>(max);
  s.multiplayer_leave_verb = arg_bool(argc, argv, 2, true);
  const RValue& abort = input::arg(argc, argv, 3);
  if (RV_ToBool(*builtin(f_is_method, {abort}))) {
    s.multiplayer_abort = true;
    s.multiplayer_abort_callback = Value::Copy(abort);
    hold("multiplayer_abort", abort);
  } else {
    s.multiplayer_abort = !is_undefined(abort) && RV_ToBool(abort);
    s.multiplayer_abort_callback = global_value("INPUT_MULTIPLAYER_ABORT_CALLBACK");
  }
  s.multiplayer_drop_down = arg_bool(argc, argv, 4, true);
  return result;
}

// input_multiplayer_params_get(): {min, max, leave_verb, abort, drop_down}.
INPUT_SCRIPT(input_multiplayer_params_get) {
  tsl::ScriptScope scope("tsl_Script_input_multiplayer_params_get", self, result);
  const System& s = sys();
  const Value out = new_struct();
  set_member(*out, "min", RV_Real(s.multiplayer_min));
  set_member(*out, "max", RV_Real(s.multiplayer_max));
  set_member(*out, "leave_verb", RV_Bool(s.multiplayer_leave_verb));
  set_member(*out, "abort", RV_Bool(s.multiplayer_abort));
  set_member(*out, "drop_down", RV_Bool(s.multiplayer_drop_down));
  return scope.give(out);
}

INPUT_SCRIPT(input_multiplayer_is_finished) {
  tsl::ScriptScope scope("tsl_Script_input_multiplayer_is_finished", self, result);
  return give_bool(scope, multiplayer_is_finished());
}

// input_player_get_invalid_gamepad_bindings(player_index = 0, profile_name = active):
// [{verb, alternate, tv}] of the gamepad bindings whose constant the player's pad doesn't answer.
INPUT_SCRIPT(input_player_get_invalid_gamepad_bindings) {
  tsl::ScriptScope scope("tsl_Script_input_player_get_invalid_gamepad_bindings", self, result);
  Player& p = player_at(argc, argv, 0);
  std::vector<Value> out;
  const std::optional<int32_t> index = p.source_get_gamepad();
  const Gamepad* pad = index ? gamepad(*index) : nullptr;
  if (pad == nullptr || (is_undefined(input::arg(argc, argv, 1)) && !p.profile_name)) return scope.give(make_array(out));
  const std::string profile = p.profile_resolve(input::arg(argc, argv, 1));
  for (const std::string& verb : sys().basic_verbs) {
    for (int32_t alternate = 0; alternate < INPUT_MAX_ALTERNATE_BINDINGS; ++alternate) {
      const Binding b = p.binding_get(profile, verb, alternate);
      if (b.source_type() != "gamepad" || pad->answers(b.value)) continue;
      const Value entry = new_struct();
      set_member(*entry, "verb", *text(verb));
      set_member(*entry, "alternate", RV_Real(alternate));
      set_member(*entry, "tv", RV_Real(b.value));
      out.push_back(entry);
    }
  }
  return scope.give(make_array(out));
}

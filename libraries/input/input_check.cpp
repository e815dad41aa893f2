// Input checks: the input_check family over verb states, values and 2D vectors, consumption,
// momentary clearing, forced values, chords and combos, and the accessibility switches.
#include <algorithm>
#include <functional>

#include "input/input_args.h"
#include "input/input_internal.h"

using namespace input;

INPUT_SCRIPT(__input_class_combo_press);
INPUT_SCRIPT(__input_class_combo_release);
INPUT_SCRIPT(__input_class_combo_press_or_release);
INPUT_SCRIPT(__input_class_combo_hold);
INPUT_SCRIPT(__input_class_combo_timeout);

namespace {

// A combo's phases wait this many frames when its definition names no timeout.
constexpr double kComboDefaultTimeout = 60;

// The verb state a check reads: "Verb not recognised" for a name that has none.
VerbState* verb_state(Player& p, const RValue& verb) {
  VerbState* state = is_string(verb) ? p.find_verb(RV_StringText(verb)) : nullptr;
  if (state == nullptr) error("Verb not recognised (" + shown(verb) + ")");
  return state;
}

// One member of the family: (verb, player_index = 0, buffer_duration = 0).
using Reader = std::function<bool(const VerbState&, double buffer)>;

bool check(int argc, RValue** argv, bool momentary, const Reader& read) {
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  const double buffer = arg_real(argc, argv, 2, 0);
  const RValue& verb = input::arg(argc, argv, 0);
  Player& p = player(index);
  auto one = [&](const RValue& name) {
    const VerbState* state = verb_state(p, name);
    if (state == nullptr || state->inactive) return false;
    if (momentary && sys().cleared) return false;
    return read(*state, buffer);
  };
  if (is_array(verb)) {
    for (int32_t i = 0; i < array_length(verb); ++i) {
      if (one(verb.pArray->pArray[i])) return true;
    }
    return false;
  }
  return one(verb);
}

// An edge with no buffer, else its time within the buffer.
bool recent(bool flag, double at, double buffer) {
  if (buffer <= 0) return flag;
  return at >= 0 && get_time() - at <= buffer;
}

#define INPUT_CHECK(name, momentary, flag, time)                                                   \
  INPUT_SCRIPT(name) {                                                                             \
    tsl::ScriptScope scope("tsl_Script_" #name, self, result);                                     \
    return give_bool(scope, check(argc, argv, momentary, [](const VerbState& v, double buffer) { \
                       return recent(v.flag, v.time, buffer);                                      \
                     }));                                                                          \
  }

}  // namespace

INPUT_CHECK(input_check, false, held, held_time)
INPUT_CHECK(input_check_pressed, true, press, press_time)
INPUT_CHECK(input_check_released, true, release, release_time)
INPUT_CHECK(input_check_double, false, double_held, double_held_time)
INPUT_CHECK(input_check_double_pressed, true, double_press, double_press_time)
INPUT_CHECK(input_check_double_released, true, double_release, double_release_time)
INPUT_CHECK(input_check_long, false, long_held, long_held_time)
INPUT_CHECK(input_check_long_pressed, true, long_press, long_press_time)
INPUT_CHECK(input_check_long_released, true, long_release, long_release_time)
INPUT_CHECK(input_check_quick_pressed, true, quick_press, quick_press_time)
#undef INPUT_CHECK

namespace {

bool repeat_of(const VerbState& v, double delay, double predelay) {
  if (sys().cleared || v.inactive || !v.held) return false;
  const double t = get_time() - v.press_time - predelay;
  if (t < 0) return false;
  const double p = get_previous_time() - v.press_time - predelay;
  return std::floor(t / delay) > std::floor(p / delay);
}

}  // namespace

// input_check_repeat(verb, player_index = 0, delay = 10, predelay = 30)
INPUT_SCRIPT(input_check_repeat) {
  tsl::ScriptScope scope("tsl_Script_input_check_repeat", self, result);
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  const double delay = arg_real(argc, argv, 2, INPUT_REPEAT_DEFAULT_DELAY);
  const double predelay = arg_real(argc, argv, 3, INPUT_REPEAT_DEFAULT_PREDELAY);
  const RValue& verb = input::arg(argc, argv, 0);
  Player& p = player(index);
  auto one = [&](const RValue& name) {
    const VerbState* state = verb_state(p, name);
    return state != nullptr && repeat_of(*state, delay, predelay);
  };
  if (is_array(verb)) {
    for (int32_t i = 0; i < array_length(verb); ++i) {
      if (one(verb.pArray->pArray[i])) return give_bool(scope, true);
    }
    return give_bool(scope, false);
  }
  return give_bool(scope, one(verb));
}

// input_value(verb, player_index = 0): the value, 0 when inactive; an array sums.
INPUT_SCRIPT(input_value) {
  tsl::ScriptScope scope("tsl_Script_input_value", self, result);
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  const RValue& verb = input::arg(argc, argv, 0);
  Player& p = player(index);
  auto one = [&](const RValue& name) {
    const VerbState* state = verb_state(p, name);
    return state == nullptr || state->inactive ? 0.0 : state->value;
  };
  if (is_array(verb)) {
    double sum = 0;
    for (int32_t i = 0; i < array_length(verb); ++i) sum += one(verb.pArray->pArray[i]);
    return scope.give(real(sum));
  }
  return scope.give(real(one(verb)));
}

namespace {

RValue* held_time(tsl::ScriptScope& scope, int argc, RValue** argv, bool from_release) {
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  const VerbState* state = verb_state(player(index), input::arg(argc, argv, 0));
  if (state == nullptr || !state->held) return scope.give(real(-1));
  return scope.give(real(get_time() - (from_release ? state->release_time : state->press_time)));
}

}  // namespace

INPUT_SCRIPT(input_held_time) {
  tsl::ScriptScope scope("tsl_Script_input_held_time", self, result);
  return held_time(scope, argc, argv, false);
}

INPUT_SCRIPT(input_held_time_released) {
  tsl::ScriptScope scope("tsl_Script_input_held_time_released", self, result);
  return held_time(scope, argc, argv, true);
}

// input_check_press_most_recent(verbs = all basic verbs, player_index = 0)
INPUT_SCRIPT(input_check_press_most_recent) {
  tsl::ScriptScope scope("tsl_Script_input_check_press_most_recent", self, result);
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  Player& p = player(index);
  std::vector<std::string> names;
  const RValue& verbs = input::arg(argc, argv, 0);
  if (is_undefined(verbs)) {
    names = sys().basic_verbs;
  } else if (is_array(verbs)) {
    for (int32_t i = 0; i < array_length(verbs); ++i) names.push_back(shown(verbs.pArray->pArray[i]));
  } else {
    names.push_back(shown(verbs));
  }
  std::optional<std::string> best;
  double best_time = -kInfinity;
  for (const std::string& name : names) {
    const VerbState* state = verb_state(p, *text(name));
    if (state == nullptr || state->inactive || !state->held) continue;
    if (state->press_time > best_time) {
      best_time = state->press_time;
      best = name;
    }
  }
  return best ? scope.give(text(*best)) : scope.give(Value());
}

namespace {

// -1, 0 or 1 for two opposite verbs, by the test given.
RValue* opposing(tsl::ScriptScope& scope, int argc, RValue** argv,
                 const std::function<bool(const RValue& verb, double index)>& test) {
  const double index = arg_real(argc, argv, 2, 0);
  verify_player_index(index);
  const bool most_recent = arg_bool(argc, argv, 3, false);
  const RValue& negative = input::arg(argc, argv, 0);
  const RValue& positive = input::arg(argc, argv, 1);
  const bool n = test(negative, index);
  const bool p = test(positive, index);
  if (n && p) {
    if (!most_recent) return scope.give(real(0));
    const VerbState* ns = verb_state(player(index), negative);
    const VerbState* ps = verb_state(player(index), positive);
    if (ns == nullptr || ps == nullptr) return scope.give(real(0));
    return scope.give(real(ps->press_time > ns->press_time ? 1 : ps->press_time < ns->press_time ? -1 : 0));
  }
  return scope.give(real(n ? -1 : p ? 1 : 0));
}

bool plain_check(const RValue& verb, double index, bool pressed) {
  const VerbState* state = verb_state(player(index), verb);
  if (state == nullptr || state->inactive) return false;
  if (pressed) return !sys().cleared && state->press;
  return state->held;
}

}  // namespace

INPUT_SCRIPT(input_check_opposing) {
  tsl::ScriptScope scope("tsl_Script_input_check_opposing", self, result);
  return opposing(scope, argc, argv, [](const RValue& verb, double index) { return plain_check(verb, index, false); });
}

INPUT_SCRIPT(input_check_opposing_pressed) {
  tsl::ScriptScope scope("tsl_Script_input_check_opposing_pressed", self, result);
  return opposing(scope, argc, argv, [](const RValue& verb, double index) { return plain_check(verb, index, true); });
}

// input_check_opposing_repeat(negative, positive, player_index, most_recent, delay, predelay)
INPUT_SCRIPT(input_check_opposing_repeat) {
  tsl::ScriptScope scope("tsl_Script_input_check_opposing_repeat", self, result);
  const double delay = arg_real(argc, argv, 4, INPUT_REPEAT_DEFAULT_DELAY);
  const double predelay = arg_real(argc, argv, 5, INPUT_REPEAT_DEFAULT_PREDELAY);
  return opposing(scope, argc, argv, [&](const RValue& verb, double index) {
    const VerbState* state = verb_state(player(index), verb);
    return state != nullptr && repeat_of(*state, delay, predelay);
  });
}

// ---- 2D vectors ---------------------------------------------------------------------------------

namespace {

struct Vector2 {
  double x = 0, y = 0;
};

Vector2 xy(int argc, RValue** argv) {
  const double index = arg_real(argc, argv, 4, 0);
  verify_player_index(index);
  const bool most_recent = arg_bool(argc, argv, 5, false);
  Player& p = player(index);
  const VerbState* states[4] = {};
  double values[4] = {};
  bool digital = false;
  for (int i = 0; i < 4; ++i) {
    states[i] = verb_state(p, input::arg(argc, argv, i));
    if (states[i] == nullptr) return Vector2{};
    values[i] = states[i]->inactive ? 0 : states[i]->raw;
    if (values[i] > 0 && !states[i]->raw_analogue) digital = true;
  }
  // left, right, up, down
  double dx = values[1] - values[0];
  double dy = values[3] - values[2];
  if (most_recent) {
    if (values[0] > 0 && values[1] > 0) dx = states[1]->press_time > states[0]->press_time ? values[1] : -values[0];
    if (values[2] > 0 && values[3] > 0) dy = states[3]->press_time > states[2]->press_time ? values[3] : -values[2];
  }
  double d = std::sqrt(dx * dx + dy * dy);
  if (d <= 0) return Vector2{};
  if (INPUT_2D_CLAMP || !digital) {
    dx /= std::max(1.0, d);
    dy /= std::max(1.0, d);
    d = std::min(1.0, d);
  }
  if (digital) return Vector2{dx, dy};
  double mini = 0, maxi = 0;
  int counted = 0;
  for (int i = 0; i < 4; ++i) {
    if (values[i] <= 0) continue;
    mini += states[i]->min_threshold;
    maxi += states[i]->max_threshold;
    ++counted;
  }
  mini /= std::max(1, counted);
  maxi /= std::max(1, counted);
  if (d <= mini) return Vector2{};
  const double scale = std::clamp((d - mini) / (maxi - mini), 0.0, 1.0);
  return Vector2{dx / d * scale, dy / d * scale};
}

// The one static struct input_xy gives, shared by all calls.
Value& xy_struct() {
  static Value shared;
  static const System* made_for = nullptr;
  if (made_for != &sys() || !is_struct(*shared)) {
    shared.release();
    shared = new_struct();
    made_for = &sys();
    tsl::set(tsl::global(), "__input_xy_struct", *shared);
  }
  return shared;
}

}  // namespace

INPUT_SCRIPT(input_xy) {
  tsl::ScriptScope scope("tsl_Script_input_xy", self, result);
  const Vector2 v = xy(argc, argv);
  Value& shared = xy_struct();
  set_member(*shared, "x", RV_Real(v.x));
  set_member(*shared, "y", RV_Real(v.y));
  return scope.give(shared);
}

INPUT_SCRIPT(input_x) {
  tsl::ScriptScope scope("tsl_Script_input_x", self, result);
  return scope.give(real(xy(argc, argv).x));
}

INPUT_SCRIPT(input_y) {
  tsl::ScriptScope scope("tsl_Script_input_y", self, result);
  return scope.give(real(xy(argc, argv).y));
}

INPUT_SCRIPT(input_direction) {
  tsl::ScriptScope scope("tsl_Script_input_direction", self, result);
  const Vector2 v = xy(argc, argv);
  if (v.x == 0 && v.y == 0) return scope.give(Value());
  return scope.give(builtin(f_point_direction, {RV_Real(0), RV_Real(0), RV_Real(v.x), RV_Real(v.y)}));
}

INPUT_SCRIPT(input_distance) {
  tsl::ScriptScope scope("tsl_Script_input_distance", self, result);
  const Vector2 v = xy(argc, argv);
  return scope.give(real(std::sqrt(v.x * v.x + v.y * v.y)));
}

// ---- Consumption, clearing and forcing ----------------------------------------------------------

namespace {

void consume(Player& p, const std::string& name) {
  VerbState* v = p.find_verb(name);
  if (v == nullptr) {
    error("Verb not recognised (" + name + ")");
    return;
  }
  v->consumed = true;
  v->previous_held = true;
  v->inactive = true;
  v->toggle_state = false;
  if (v->type == VerbType::kCombo) p.combos[name].reset();
}

}  // namespace

// input_consume(verb, player_index = 0): verb may be an array or all verbs (-3); so may the player.
INPUT_SCRIPT(input_consume) {
  tsl::ScriptScope scope("tsl_Script_input_consume", self, result);
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index, true);
  const RValue& verb = input::arg(argc, argv, 0);
  std::vector<std::string> names;
  if (is_array(verb)) {
    for (int32_t i = 0; i < array_length(verb); ++i) names.push_back(shown(verb.pArray->pArray[i]));
  } else if (is_number(verb) && RV_ToDouble(verb) == kAllPlayers) {
    names = sys().all_verbs;
  } else {
    names.push_back(shown(verb));
  }
  for (int32_t i = 0; i < INPUT_MAX_PLAYERS; ++i) {
    if (index != kAllPlayers && i != index) continue;
    for (const std::string& name : names) consume(player(i), name);
  }
  return result;
}

INPUT_SCRIPT(input_clear_momentary) {
  tsl::ScriptScope scope("tsl_Script_input_clear_momentary", self, result);
  sys().cleared = RV_ToBool(input::arg(argc, argv, 0));
  return result;
}

// input_verb_set(verb, value, player_index = 0, analogue = false)
INPUT_SCRIPT(input_verb_set) {
  tsl::ScriptScope scope("tsl_Script_input_verb_set", self, result);
  const double index = arg_real(argc, argv, 2, 0);
  verify_player_index(index);
  VerbState* state = verb_state(player(index), input::arg(argc, argv, 0));
  if (state == nullptr) return result;
  state->force_value = RV_ToDouble(input::arg(argc, argv, 1));
  state->force_analogue = arg_bool(argc, argv, 3, false);
  return result;
}

// ---- Groups -------------------------------------------------------------------------------------

// input_verb_group_active(group, player_index = 0, state = true, exclusive = false)
INPUT_SCRIPT(input_verb_group_active) {
  tsl::ScriptScope scope("tsl_Script_input_verb_group_active", self, result);
  const std::string group = shown(input::arg(argc, argv, 0));
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index, true);
  const bool state = arg_bool(argc, argv, 2, true);
  const bool exclusive = arg_bool(argc, argv, 3, false);
  if (sys().group_to_verbs.count(group) == 0) {
    error("Verb group \"" + group + "\" doesn't exist");
    return result;
  }
  for (int32_t i = 0; i < INPUT_MAX_PLAYERS; ++i) {
    if (index != kAllPlayers && i != index) continue;
    Player& p = player(i);
    if (exclusive) {
      for (const std::string& other_group : sys().verb_groups) p.verb_group_active(other_group, false);
    }
    p.verb_group_active(group, state);
  }
  return result;
}

INPUT_SCRIPT(input_verb_group_is_active) {
  tsl::ScriptScope scope("tsl_Script_input_verb_group_is_active", self, result);
  const std::string group = shown(input::arg(argc, argv, 0));
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  const auto found = player(index).verb_group_state.find(group);
  return give_bool(scope, found == player(index).verb_group_state.end() || found->second);
}

INPUT_SCRIPT(input_verb_get_group) {
  tsl::ScriptScope scope("tsl_Script_input_verb_get_group", self, result);
  const auto found = sys().verb_to_group.find(shown(input::arg(argc, argv, 0)));
  return found == sys().verb_to_group.end() ? scope.give(Value()) : scope.give(text(found->second));
}

// ---- Chords and combos --------------------------------------------------------------------------

// input_chord_create(name, max_time_between_presses = 4, verbs...)
INPUT_SCRIPT(input_chord_create) {
  tsl::ScriptScope scope("tsl_Script_input_chord_create", self, result);
  initialize();
  const std::string name = shown(input::arg(argc, argv, 0));
  ensure_unique_verb_name(name);
  ChordDef def;
  def.name = name;
  def.max_time = arg_real(argc, argv, 1, INPUT_CHORD_DEFAULT_TIME);
  for (int i = 2; i < argc; ++i) {
    const std::string verb = shown(*argv[i]);
    if (!is_verb(verb) || sys().verb_types[verb] != VerbType::kBasic) {
      error("Chord \"" + name + "\" uses verb \"" + verb + "\" which is not a basic verb");
      return result;
    }
    def.verbs.push_back(verb);
  }
  System& s = sys();
  s.verb_types[name] = VerbType::kChord;
  s.chord_defs[name] = def;
  s.chord_verbs.push_back(name);
  s.all_verbs.push_back(name);
  for (Player& p : s.players) p.verb(name);
  return result;
}

namespace {

std::shared_ptr<ComboDef> combo_of(CInstance* self) {
  const Value name = tsl::get(self, v___input_combo_name);
  const auto found = sys().combo_defs.find(shown(*name));
  return found == sys().combo_defs.end() ? nullptr : found->second;
}

RValue* add_phase(tsl::ScriptScope& scope, CInstance* self, int argc, RValue** argv, int32_t type) {
  const std::shared_ptr<ComboDef> def = combo_of(self);
  const std::string verb = shown(input::arg(argc, argv, 0));
  if (def != nullptr) {
    const auto kind = sys().verb_types.find(verb);
    if (kind == sys().verb_types.end()) {
      error("Verb \"" + verb + "\" not found either as a basic verb or a chord. Please define verbs and chords before combos");
    } else if (kind->second == VerbType::kCombo) {
      error("Combos only accept basic verbs and chords when defining phases. Combo \"" + verb + "\" cannot be used");
    } else {
      def->phases.push_back(ComboPhase{type, def->default_timeout, verb});
    }
  }
  return scope.give(Value::Object(KV_AsObject(self)));
}

}  // namespace

// input_combo_create(name, default_timeout): the definition, with chainable phase methods.
INPUT_SCRIPT(input_combo_create) {
  tsl::ScriptScope scope("tsl_Script_input_combo_create", self, result);
  initialize();
  const std::string name = shown(input::arg(argc, argv, 0));
  ensure_unique_verb_name(name);
  System& s = sys();
  auto def = std::make_shared<ComboDef>();
  def->name = name;
  def->default_timeout = arg_real(argc, argv, 1, kComboDefaultTimeout);
  s.verb_types[name] = VerbType::kCombo;
  s.combo_defs[name] = def;
  s.combo_verbs.push_back(name);
  s.all_verbs.push_back(name);
  for (Player& p : s.players) p.verb(name);
  return scope.give(tsl::call(f_new_struct, nullptr, nullptr, {RV_Real(f_class_combo.id), *text(name)}));
}

// __input_class_combo(name): the definition struct, its methods bound to it.
INPUT_SCRIPT(__input_class_combo) {
  tsl::ScriptScope scope("tsl_Script___input_class_combo", self, result);
  tsl::set(self, v___input_combo_name, input::arg(argc, argv, 0));
  const struct {
    const char* name;
    KVScriptFunction function;
  } methods[] = {{"press", tsl_Script___input_class_combo_press},
                 {"release", tsl_Script___input_class_combo_release},
                 {"press_or_release", tsl_Script___input_class_combo_press_or_release},
                 {"hold", tsl_Script___input_class_combo_hold},
                 {"timeout", tsl_Script___input_class_combo_timeout}};
  for (const auto& method : methods) {
    Value made;
    KVCreateMethod(made.get(), method.function, self);
    tsl::set(self, method.name, *made);
  }
  return result;
}

INPUT_SCRIPT(__input_class_combo_press) {
  tsl::ScriptScope scope("tsl_Script___input_class_combo_press", self, result);
  return add_phase(scope, self, argc, argv, kComboPress);
}

INPUT_SCRIPT(__input_class_combo_release) {
  tsl::ScriptScope scope("tsl_Script___input_class_combo_release", self, result);
  return add_phase(scope, self, argc, argv, kComboRelease);
}

INPUT_SCRIPT(__input_class_combo_press_or_release) {
  tsl::ScriptScope scope("tsl_Script___input_class_combo_press_or_release", self, result);
  return add_phase(scope, self, argc, argv, kComboPressOrRelease);
}

INPUT_SCRIPT(__input_class_combo_hold) {
  tsl::ScriptScope scope("tsl_Script___input_class_combo_hold", self, result);
  return add_phase(scope, self, argc, argv, kComboHold);
}

INPUT_SCRIPT(__input_class_combo_timeout) {
  tsl::ScriptScope scope("tsl_Script___input_class_combo_timeout", self, result);
  const std::shared_ptr<ComboDef> def = combo_of(self);
  if (def != nullptr) {
    if (def->phases.empty()) {
      error("Cannot change the timeout for previous phase, no phases have been added");
    } else {
      def->phases.back().timeout = RV_ToDouble(input::arg(argc, argv, 0));
    }
  }
  return scope.give(Value::Object(KV_AsObject(self)));
}

// input_combo_get_phase(combo, player_index = 0), input_combo_get_phase_count(combo)
INPUT_SCRIPT(input_combo_get_phase) {
  tsl::ScriptScope scope("tsl_Script_input_combo_get_phase", self, result);
  const double index = arg_real(argc, argv, 1, 0);
  verify_player_index(index);
  const std::string name = shown(input::arg(argc, argv, 0));
  if (sys().combo_defs.count(name) == 0) {
    error("Combo \"" + name + "\" doesn't exist");
    return result;
  }
  return scope.give(real(player(index).combos[name].phase));
}

INPUT_SCRIPT(input_combo_get_phase_count) {
  tsl::ScriptScope scope("tsl_Script_input_combo_get_phase_count", self, result);
  const std::string name = shown(input::arg(argc, argv, 0));
  const auto found = sys().combo_defs.find(name);
  if (found == sys().combo_defs.end()) {
    error("Combo \"" + name + "\" doesn't exist");
    return result;
  }
  return scope.give(real(static_cast<double>(found->second->phases.size())));
}

// ---- Accessibility ------------------------------------------------------------------------------

INPUT_SCRIPT(input_accessibility_global_toggle_set) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_global_toggle_set", self, result);
  sys().toggle_momentary_state = RV_ToBool(input::arg(argc, argv, 0));
  return result;
}

INPUT_SCRIPT(input_accessibility_global_toggle_get) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_global_toggle_get", self, result);
  return give_bool(scope, sys().toggle_momentary_state);
}

INPUT_SCRIPT(input_accessibility_verb_toggle_set) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_verb_toggle_set", self, result);
  const std::string verb = shown(input::arg(argc, argv, 0));
  if (RV_ToBool(input::arg(argc, argv, 1))) {
    sys().toggle_momentary_verbs.insert(verb);
  } else {
    sys().toggle_momentary_verbs.erase(verb);
  }
  return result;
}

INPUT_SCRIPT(input_accessibility_verb_toggle_get) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_verb_toggle_get", self, result);
  return give_bool(scope, sys().toggle_momentary_verbs.count(shown(input::arg(argc, argv, 0))) != 0);
}

INPUT_SCRIPT(input_accessibility_global_cooldown_set) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_global_cooldown_set", self, result);
  sys().cooldown_state = RV_ToBool(input::arg(argc, argv, 0));
  return result;
}

INPUT_SCRIPT(input_accessibility_global_cooldown_get) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_global_cooldown_get", self, result);
  return give_bool(scope, sys().cooldown_state);
}

INPUT_SCRIPT(input_accessibility_verb_cooldown_set) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_verb_cooldown_set", self, result);
  const std::string verb = shown(input::arg(argc, argv, 0));
  if (RV_ToBool(input::arg(argc, argv, 1))) {
    sys().cooldown_verbs.insert(verb);
  } else {
    sys().cooldown_verbs.erase(verb);
  }
  return result;
}

INPUT_SCRIPT(input_accessibility_verb_cooldown_get) {
  tsl::ScriptScope scope("tsl_Script_input_accessibility_verb_cooldown_get", self, result);
  return give_bool(scope, sys().cooldown_verbs.count(shown(input::arg(argc, argv, 0))) != 0);
}

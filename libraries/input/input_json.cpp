// Input profiles as JSON: a player's profiles, thresholds and strengths exported to a struct or
// text and imported back with the library's checks; the same for one profile and for the system.
#include <algorithm>

#include "input/input_args.h"
#include "input/input_internal.h"

namespace input {

namespace {

// A failed check raises when importing and only answers false when verifying.
struct Checker {
  bool raise = true;
  bool ok = true;
  bool fail(const std::string& message) {
    ok = false;
    if (raise) error(message);
    return false;
  }
};

Value profile_export(const Player& p, const std::string& name) {
  const Value out = new_struct();
  const auto found = p.profiles.find(name);
  if (found == p.profiles.end()) return out;
  for (const std::string& verb : sys().basic_verbs) {
    std::vector<Value> items;
    const auto bindings = found->second.find(verb);
    for (int32_t i = 0; i < INPUT_MAX_ALTERNATE_BINDINGS; ++i) {
      const bool has = bindings != found->second.end() && i < static_cast<int32_t>(bindings->second.size());
      items.push_back(binding_export(has ? bindings->second[static_cast<size_t>(i)] : Binding()));
    }
    set_member(*out, verb.c_str(), *make_array(items));
  }
  return out;
}

// One exported binding back into a record.
bool binding_import(const RValue& data, Binding* out, Checker& check) {
  *out = Binding();
  if (!is_struct(data)) {
    if (check.raise) trace("Warning! Binding is not a struct, clearing it");
    return true;
  }
  if (struct_names(data).empty()) return true;
  const Value type = member(data, "type");
  if (!is_string(*type)) return check.fail("Binding \"type\" not found; binding is corrupted");
  const std::string kind = RV_StringText(*type);
  const Value value = member(data, "value");
  const bool wheel = kind == "mouse wheel up" || kind == "mouse wheel down";
  if (!wheel && !is_number(*value)) return check.fail("Binding \"value\" not found; binding is corrupted");
  double v = wheel ? 0 : RV_ToDouble(*value);
  if (kind == "key") {
    out->set_key(v);
  } else if (kind == "mouse button") {
    out->set_mouse_button(v);
  } else if (kind == "mouse wheel up") {
    out->set_mouse_wheel_up();
  } else if (kind == "mouse wheel down") {
    out->set_mouse_wheel_down();
  } else if (kind == "gamepad button" || kind == "gamepad axis") {
    if (v >= 32789 && v <= 32795) {
      v += 100;
      if (check.raise) trace("Warning! Legacy gamepad constant found, updating value (= " + shown(RV_Real(v)) + ")");
    }
    if (kind == "gamepad axis") {
      const Value negative = member(data, "axis_negative");
      if (is_undefined(*negative)) return check.fail("Binding \"axis_negative\" not found; binding is corrupted");
      out->set_gamepad_axis(v, RV_ToBool(*negative));
    } else {
      out->set_gamepad_button(v);
    }
  } else {
    return check.fail("Binding type \"" + kind + "\" not recognised; binding is corrupted");
  }
  const Value description = member(data, "gamepad_description");
  if (is_string(*description)) {
    out->gamepad_description = RV_StringText(*description);
    for (const auto& pad : sys().gamepads) {
      if (pad != nullptr && pad->description == *out->gamepad_description) {
        out->gamepad_index = pad->index;
        break;
      }
    }
  }
  const Value low = member(data, "threshold_min");
  const Value high = member(data, "threshold_max");
  if (is_number(*low)) out->threshold_min = RV_ToDouble(*low);
  if (is_number(*high)) out->threshold_max = RV_ToDouble(*high);
  return true;
}

bool profile_import(Player& p, const std::string& name, const RValue& data, Checker& check) {
  const std::string who = std::to_string(p.index);
  if (!is_struct(data)) return check.fail("Player " + who + " profiles are corrupted");
  Profile imported;
  for (const std::string& verb : sys().basic_verbs) {
    if (!has_member(data, verb.c_str())) return check.fail("Player " + who + " data is missing verb \"" + verb + "\"");
    const Value list = member(data, verb.c_str());
    std::vector<Binding> bindings(INPUT_MAX_ALTERNATE_BINDINGS);
    if (is_array(*list)) {
      const int32_t count = array_length(*list);
      if (count != INPUT_MAX_ALTERNATE_BINDINGS) {
        return check.fail("JSON malformed, player " + who + " verb \"" + verb + "\" should have " +
                          std::to_string(INPUT_MAX_ALTERNATE_BINDINGS) + " alternate bindings, but it had " +
                          std::to_string(count));
      }
      for (int32_t i = 0; i < count; ++i) {
        if (!binding_import(*array_get(*list, i), &bindings[static_cast<size_t>(i)], check)) return false;
      }
    }
    imported[verb] = bindings;
  }
  if (check.raise) p.profiles[name] = imported;
  return true;
}

// A string is parsed first; anything else than a struct or array is refused.
bool json_value(const RValue& input, Value* out, Checker& check) {
  if (is_string(input)) {
    *out = builtin(f_json_parse, {input});
  } else {
    *out = Value::Copy(input);
  }
  if (!is_struct(**out) && !is_array(**out)) {
    return check.fail("Input must be valid JSON (typeof=" + shown(*builtin(f_typeof, {input})) + ")");
  }
  return true;
}

bool import_player(Player& p, const RValue& data, Checker& check) {
  const std::string who = std::to_string(p.index);
  const Value profiles = member(data, "profiles");
  if (!is_struct(*profiles)) return check.fail("Player " + who + " profiles are corrupted");
  const Value thresholds = member(data, "axis_thresholds");
  if (!is_struct(*thresholds)) return check.fail("Player " + who + " gamepad axis thresholds are corrupted");
  const Value gyro = member(data, "gyro");
  if (!is_undefined(*gyro) && !is_struct(*gyro)) return check.fail("Player " + who + " gyro parameters are corrupted");
  const Value vibration = member(data, "vibration_strength");
  if (!is_undefined(*vibration) && !is_number(*vibration)) {
    return check.fail("Player " + who + " vibration strength is corrupted");
  }
  const Value trigger = member(data, "trigger_effect_strength");
  if (!is_undefined(*trigger) && !is_number(*trigger)) {
    return check.fail("Player " + who + " trigger effect strength is corrupted");
  }
  for (const std::string& name : struct_names(*profiles)) {
    if (!profile_import(p, name, *member(*profiles, name.c_str()), check)) return false;
  }
  if (!check.raise) return true;
  p.axis_thresholds.clear();
  for (const std::string& axis : struct_names(*thresholds)) {
    const Value t = member(*thresholds, axis.c_str());
    p.axis_threshold_set(std::atof(axis.c_str()), RV_ToDouble(*member(*t, "mini")), RV_ToDouble(*member(*t, "maxi")));
  }
  if (is_struct(*gyro)) {
    p.gyro_axis_x = RV_ToDouble(*member(*gyro, "axis_x"));
    p.gyro_axis_y = RV_ToDouble(*member(*gyro, "axis_y"));
    p.gyro_sensitivity_x = RV_ToDouble(*member(*gyro, "sensitivity_x"));
    p.gyro_sensitivity_y = RV_ToDouble(*member(*gyro, "sensitivity_y"));
  } else {
    trace("Warning! Player " + who + " gyro parameters not found, using defaults");
    p.gyro_axis_x = 0;
    p.gyro_axis_y = 0;
    p.gyro_sensitivity_x = 2;
    p.gyro_sensitivity_y = -2;
  }
  if (is_number(*vibration)) {
    p.vibration_strength = std::clamp(RV_ToDouble(*vibration), 0.0, 1.0);
  } else {
    trace("Warning! Player " + who + " vibration strength not found, using default");
    p.vibration_strength = 1;
  }
  if (is_number(*trigger)) {
    p.trigger_effect_strength = std::clamp(RV_ToDouble(*trigger), 0.0, 1.0);
  } else {
    trace("Warning! Player " + who + " trigger effect strength not found, using default");
    p.trigger_effect_strength = 1;
  }
  if (p.profile_name && p.profiles.count(*p.profile_name) == 0) p.profile_set_auto();
  return true;
}

// __input_snap_to_json: JSON text of a struct or array; pretty text puts each member on its own line,
// indented by four spaces a level, and alphabetised text sorts each struct's names. Each value that
// is neither struct nor array is written as json_stringify writes it.
void snap_to_json(const RValue& data, bool pretty, bool alphabetise, const std::string& indent, std::string* out) {
  const std::string inner = indent + "    ";
  const char* newline = pretty ? "\n" : "";
  if (is_struct(data)) {
    std::vector<std::string> names = struct_names(data);
    if (alphabetise) std::sort(names.begin(), names.end());
    if (names.empty()) {
      *out += "{}";
      return;
    }
    *out += "{";
    *out += newline;
    for (size_t i = 0; i < names.size(); ++i) {
      if (pretty) *out += inner;
      *out += shown(*builtin(f_json_stringify, {*text(names[i])}));
      *out += pretty ? ": " : ":";
      snap_to_json(*member(data, names[i].c_str()), pretty, alphabetise, inner, out);
      if (i + 1 < names.size()) *out += ",";
      *out += newline;
    }
    if (pretty) *out += indent;
    *out += "}";
  } else if (is_array(data)) {
    const int32_t count = array_length(data);
    if (count == 0) {
      *out += "[]";
      return;
    }
    *out += "[";
    *out += newline;
    for (int32_t i = 0; i < count; ++i) {
      if (pretty) *out += inner;
      snap_to_json(*array_get(data, i), pretty, alphabetise, inner, out);
      if (i + 1 < count) *out += ",";
      *out += newline;
    }
    if (pretty) *out += indent;
    *out += "]";
  } else {
    *out += shown(*builtin(f_json_stringify, {data}));
  }
}

// The struct itself, or its text: pretty and alphabetised when prettify is asked for, else as
// json_stringify writes it.
Value as_output(const Value& data, bool as_string, bool prettify) {
  if (!as_string) return data;
  if (!prettify) return builtin(f_json_stringify, {*data});
  std::string out;
  snap_to_json(*data, true, true, "", &out);
  return text(out);
}

}  // namespace

Value player_export(const Player& p) {
  const Value out = new_struct();
  const Value profiles = new_struct();
  for (const auto& [name, profile] : p.profiles) set_member(*profiles, name.c_str(), *profile_export(p, name));
  set_member(*out, "profiles", *profiles);
  const Value thresholds = new_struct();
  for (const auto& [axis, t] : p.axis_thresholds) {
    const Value entry = new_struct();
    set_member(*entry, "mini", RV_Real(t.mini));
    set_member(*entry, "maxi", RV_Real(t.maxi));
    set_member(*thresholds, std::to_string(static_cast<int64_t>(axis)).c_str(), *entry);
  }
  set_member(*out, "axis_thresholds", *thresholds);
  const Value gyro = new_struct();
  set_member(*gyro, "axis_x", RV_Real(p.gyro_axis_x));
  set_member(*gyro, "axis_y", RV_Real(p.gyro_axis_y));
  set_member(*gyro, "sensitivity_x", RV_Real(p.gyro_sensitivity_x));
  set_member(*gyro, "sensitivity_y", RV_Real(p.gyro_sensitivity_y));
  set_member(*out, "gyro", *gyro);
  set_member(*out, "vibration_strength", RV_Real(p.vibration_strength));
  set_member(*out, "trigger_effect_strength", RV_Real(p.trigger_effect_strength));
  return out;
}

void player_import(Player& p, const RValue& data) {
  Checker check;
  Value parsed;
  if (json_value(data, &parsed, check)) import_player(p, *parsed, check);
}

}  // namespace input

using namespace input;

// input_player_export(player_index = 0, string = true, prettify = false)
INPUT_SCRIPT(input_player_export) {
  tsl::ScriptScope scope("tsl_Script_input_player_export", self, result);
  return scope.give(as_output(player_export(player_at(argc, argv, 0)), arg_bool(argc, argv, 1, true), arg_bool(argc, argv, 2, false)));
}

// input_player_import(json, player_index = 0)
INPUT_SCRIPT(input_player_import) {
  tsl::ScriptScope scope("tsl_Script_input_player_import", self, result);
  player_import(player_at(argc, argv, 1), input::arg(argc, argv, 0));
  return result;
}

INPUT_SCRIPT(input_player_verify) {
  tsl::ScriptScope scope("tsl_Script_input_player_verify", self, result);
  Checker check{false};
  Value parsed;
  Player scratch = player_at(argc, argv, 1);
  const bool ok = json_value(input::arg(argc, argv, 0), &parsed, check) && import_player(scratch, *parsed, check);
  return scope.give(Value::Bool(ok));
}

// input_profile_export(profile_name, player_index = 0, string = true, prettify = false)
INPUT_SCRIPT(input_profile_export) {
  tsl::ScriptScope scope("tsl_Script_input_profile_export", self, result);
  Player& p = player_at(argc, argv, 1);
  const std::string name = p.profile_resolve(input::arg(argc, argv, 0));
  return scope.give(as_output(profile_export(p, name), arg_bool(argc, argv, 2, true), arg_bool(argc, argv, 3, false)));
}

// input_profile_import(json, profile_name, player_index = 0)
INPUT_SCRIPT(input_profile_import) {
  tsl::ScriptScope scope("tsl_Script_input_profile_import", self, result);
  Player& p = player_at(argc, argv, 2);
  Checker check;
  Value parsed;
  if (!json_value(input::arg(argc, argv, 0), &parsed, check)) return result;
  const RValue& name = input::arg(argc, argv, 1);
  const std::string profile = is_undefined(name) ? p.profile_resolve(name) : shown(name);
  profile_import(p, profile, *parsed, check);
  return result;
}

INPUT_SCRIPT(input_profile_verify) {
  tsl::ScriptScope scope("tsl_Script_input_profile_verify", self, result);
  Checker check{false};
  Value parsed;
  Player scratch = player_at(argc, argv, 1);
  const bool ok = json_value(input::arg(argc, argv, 0), &parsed, check) && profile_import(scratch, "", *parsed, check);
  return scope.give(Value::Bool(ok));
}

namespace {

Value system_export() {
  System& s = sys();
  const Value out = new_struct();
  auto names = [](const std::set<std::string>& set) {
    std::vector<Value> items;
    for (const std::string& name : set) items.push_back(text(name));
    return make_array(items);
  };
  const Value accessibility = new_struct();
  set_member(*accessibility, "momentary_state", RV_Bool(s.toggle_momentary_state));
  set_member(*accessibility, "momentary_verbs", *names(s.toggle_momentary_verbs));
  set_member(*accessibility, "cooldown_state", RV_Bool(s.cooldown_state));
  set_member(*accessibility, "cooldown_verbs", *names(s.cooldown_verbs));
  set_member(*out, "accessibility", *accessibility);
  const Value mouse = new_struct();
  set_member(*mouse, "capture", RV_Bool(s.mouse_capture));
  set_member(*mouse, "sensitivity", RV_Real(s.mouse_capture_sensitivity));
  set_member(*out, "mouse", *mouse);
  std::vector<Value> players;
  for (const Player& p : s.players) players.push_back(player_export(p));
  set_member(*out, "players", *make_array(players));
  return out;
}

bool system_import(const RValue& input, Checker& check) {
  Value parsed;
  if (!json_value(input, &parsed, check)) return false;
  const Value players = member(*parsed, "players");
  if (!is_array(*players)) return check.fail("System players are corrupted");
  System& s = sys();
  for (int32_t i = 0; i < std::min(array_length(*players), INPUT_MAX_PLAYERS); ++i) {
    Player scratch = s.players[static_cast<size_t>(i)];
    Player& target = check.raise ? s.players[static_cast<size_t>(i)] : scratch;
    if (!import_player(target, *array_get(*players, i), check)) return false;
  }
  if (!check.raise) return true;
  const Value accessibility = member(*parsed, "accessibility");
  if (is_struct(*accessibility)) {
    s.toggle_momentary_state = RV_ToBool(*member(*accessibility, "momentary_state"));
    s.cooldown_state = RV_ToBool(*member(*accessibility, "cooldown_state"));
    auto read = [](const Value& list, std::set<std::string>* into) {
      into->clear();
      for (int32_t i = 0; i < array_length(*list); ++i) into->insert(shown(*array_get(*list, i)));
    };
    read(member(*accessibility, "momentary_verbs"), &s.toggle_momentary_verbs);
    read(member(*accessibility, "cooldown_verbs"), &s.cooldown_verbs);
  }
  const Value mouse = member(*parsed, "mouse");
  if (is_struct(*mouse)) {
    s.mouse_capture = RV_ToBool(*member(*mouse, "capture"));
    s.mouse_capture_sensitivity = RV_ToDouble(*member(*mouse, "sensitivity"));
  }
  return true;
}

}  // namespace

// input_system_export(string = true, prettify = false)
INPUT_SCRIPT(input_system_export) {
  tsl::ScriptScope scope("tsl_Script_input_system_export", self, result);
  return scope.give(as_output(system_export(), arg_bool(argc, argv, 0, true), arg_bool(argc, argv, 1, false)));
}

INPUT_SCRIPT(input_system_import) {
  tsl::ScriptScope scope("tsl_Script_input_system_import", self, result);
  Checker check;
  system_import(input::arg(argc, argv, 0), check);
  return result;
}

INPUT_SCRIPT(input_system_verify) {
  tsl::ScriptScope scope("tsl_Script_input_system_verify", self, result);
  Checker check{false};
  return scope.give(Value::Bool(system_import(input::arg(argc, argv, 0), check)));
}

INPUT_SCRIPT(input_system_reset) {
  tsl::ScriptScope scope("tsl_Script_input_system_reset", self, result);
  System& s = sys();
  for (Player& p : s.players) p.reset();
  s.toggle_momentary_state = false;
  s.cooldown_state = false;
  s.toggle_momentary_verbs.clear();
  s.cooldown_verbs.clear();
  s.mouse_capture = false;
  s.mouse_capture_sensitivity = 1;
  return result;
}

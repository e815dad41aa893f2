// Input gamepads: the library's record of each pad, read through the device layer's standard
// constants or through a mapping of its own, and the gamepad scripts.
#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "input/input_args.h"
#include "input/input_internal.h"

namespace input {

Gamepad* gamepad(int32_t index) {
  System& s = sys();
  if (index < 0 || index >= static_cast<int32_t>(s.gamepads.size())) return nullptr;
  return s.gamepads[static_cast<size_t>(index)].get();
}

// A blacklisted pad stays known (its description and type) but reads as absent.
bool gamepad_connected(int32_t index) {
  const Gamepad* pad = gamepad(index);
  return pad != nullptr && !pad->blacklisted;
}

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

namespace {

// The SDL names of the standard constants.
struct SdlName {
  const char* name;
  double tv;
};
const SdlName kSdlNames[] = {
    {"a", 32769},          {"b", 32770},          {"x", 32771},         {"y", 32772},
    {"leftshoulder", 32773}, {"rightshoulder", 32774}, {"lefttrigger", 32775}, {"righttrigger", 32776},
    {"back", 32777},       {"start", 32778},      {"leftstick", 32779}, {"rightstick", 32780},
    {"dpup", 32781},       {"dpdown", 32782},     {"dpleft", 32783},    {"dpright", 32784},
    {"leftx", 32785},      {"lefty", 32786},      {"rightx", 32787},    {"righty", 32788},
    {"guide", 32889},      {"misc1", 32890},      {"touchpad", 32891},  {"paddle1", 32892},
    {"paddle2", 32893},    {"paddle3", 32894},    {"paddle4", 32895},
};

std::optional<double> sdl_constant(const std::string& name) {
  for (const SdlName& entry : kSdlNames) {
    if (name == entry.name) return entry.tv;
  }
  return std::nullopt;
}

bool is_trigger(double tv) { return tv == 32775 || tv == 32776; }

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool contains(const std::string& haystack, const char* needle) { return lower(haystack).find(needle) != std::string::npos; }

// The type of a pad guessed from its description: (needle, raw type), first match wins.
const std::pair<const char*, const char*> kTypeGuesses[] = {
    {"8bitdo", "8BitDoController"},   {"snes", "SNESController"},       {"saturn", "SaturnController"},
    {"stadia", "StadiaController"},   {"luna", "LunaController"},       {"amazon game", "LunaController"},
    {"xbox 360", "XBox360Controller"}, {"xbox one", "XBoxOneController"}, {"xbox", "XBoxOneController"},
    {"dualsense", "PS5Controller"},   {"ps5", "PS5Controller"},         {"dualshock 4", "PS4Controller"},
    {"ps4", "PS4Controller"},         {"ps3", "PS3Controller"},         {"playstation", "PS4Controller"},
    {"joy-con", "SwitchJoyConPair"},  {"pro controller", "SwitchProController"},
    {"switch", "SwitchProController"}, {"gamecube", "GameCube"},         {"n64", "N64Controller"},
};

// raw type -> simple type
const std::pair<const char*, const char*> kSimpleTypes[] = {
    {"XBox360Controller", "xbox 360"},   {"XBoxOneController", "xbox one"},  {"PS5Controller", "ps5"},
    {"PS4Controller", "ps4"},            {"PS3Controller", "psx"},           {"SwitchProController", "switch"},
    {"SwitchJoyConPair", "switch"},      {"SwitchJoyConLeft", "switch joycon left"},
    {"SwitchJoyConRight", "switch joycon right"}, {"GameCube", "gamecube"},  {"N64Controller", "n64"},
    {"SNESController", "snes"},          {"SaturnController", "saturn"},     {"8BitDoController", "xbox 360"},
    {"StadiaController", "stadia"},      {"LunaController", "luna"},
};

}  // namespace

GuidParts guid_parse(const std::string& guid, bool legacy, bool suppress) {
  GuidParts parts;
  if (guid.size() != 32) {
    if (!suppress) trace("Warning! GUID \"" + guid + "\" does not fit expected pattern. VID+PID cannot be extracted");
    return parts;
  }
  if (guid == "00000000000000000000000000000000") {
    if (!suppress) trace("Warning! GUID was empty");
    return parts;
  }
  if (legacy) {
    parts.vendor = guid.substr(0, 4);
    parts.product = guid.substr(4, 4);
    parts.valid = true;
  } else if (guid.substr(12, 4) == "0000" && guid.substr(20, 4) == "0000") {
    parts.vendor = guid.substr(8, 4);
    parts.product = guid.substr(16, 4);
    parts.valid = true;
  } else if (!suppress) {
    trace("Warning! GUID \"" + guid + "\" does not fit expected pattern. VID+PID cannot be extracted");
  }
  return parts;
}

void Gamepad::discover() {
  builtin(f_gamepad_set_axis_deadzone, {RV_Real(index), RV_Real(0)});
  mapping.clear();
  custom_mapping = false;
  sdl2_definition.reset();
  button_count = RV_ToInt32(*builtin(f_gamepad_button_count, {RV_Real(index)}));
  axis_count = RV_ToInt32(*builtin(f_gamepad_axis_count, {RV_Real(index)}));
  hat_count = RV_ToInt32(*builtin(f_gamepad_hat_count, {RV_Real(index)}));
  const Value g = builtin(f_gamepad_get_guid, {RV_Real(index)});
  guid = is_string(*g) ? RV_StringText(*g) : "";
  // The four fixed slots read through the device layer's standard layout, as XInput pads do.
  xinput = index < 4;

  // __input_gamepad_set_vid_pid and __input_gamepad_set_description
  const GuidParts parts = guid_parse(guid, false, xinput);
  vendor = parts.vendor;
  product = parts.product;
  const Value d = builtin(f_gamepad_get_description, {RV_Real(index)});
  description = is_string(*d) ? RV_StringText(*d) : "";

  // __input_gamepad_set_blacklist, ahead of the database: a blacklisted pad is looked up nowhere.
  const std::string reason = blacklist_reason(*this);
  blacklisted = !reason.empty();
  if (blacklisted) trace("Warning! Gamepad " + std::to_string(index) + " is blacklisted (" + reason + ")");

  // __input_gamepad_find_in_sdl2_database
  if (!blacklisted && !xinput) {
    const Sdl2Database& db = sys().sdl2;
    const std::vector<size_t>* rows = nullptr;
    auto look = [&](const std::map<std::string, std::vector<size_t>>& table, const std::string& key) {
      if (rows != nullptr) return;
      const auto found = table.find(key);
      if (found != table.end() && !found->second.empty()) rows = &found->second;
    };
    look(db.by_guid, guid);
    look(db.by_description, guid.substr(0, 20));
    if (!vendor.empty()) look(db.by_vendor_product, vendor + product);
    if (rows != nullptr) {
      const std::vector<std::string>& row = db.rows[rows->front()];
      sdl2_definition = row;
      if (row.size() > 1) description = row[1];
    } else {
      trace("Warning! No SDL definition found for " + guid + " (vendor=" + vendor + ", product=" + product + ")");
      description = "Unknown";
    }
  }

  // __input_gamepad_set_type
  const auto known = sys().raw_type_dictionary.find(vendor + product);
  raw_type = "Unknown";
  guessed_type = false;
  if (known != sys().raw_type_dictionary.end()) {
    raw_type = known->second;
  } else {
    for (const auto& [needle, type] : kTypeGuesses) {
      if (contains(description, needle)) {
        raw_type = type;
        guessed_type = true;
        trace("Warning! Controller type was not found, this may indicate an incompatible controller. Guessing \"" + raw_type +
              "\" from description \"" + description + "\"");
        break;
      }
    }
  }
  simple_type = "unknown";
  for (const auto& [raw, simple] : kSimpleTypes) {
    if (raw_type == raw) simple_type = simple;
  }

  // __input_gamepad_set_mapping
  if (sdl2_definition && INPUT_SDL2_REMAPPING) {
    set_mapping_from_definition();
  } else if (!xinput) {
    const Value engine = builtin(f_gamepad_get_mapping, {RV_Real(index)});
    trace("No SDL2 remapping available, falling back to Tolvarine's mapping (" + shown(*engine) + ")");
  }
  scale_trigger = false;
  vibration_support = true;
  trace("Gamepad " + std::to_string(index) + " discovered, type = \"" + simple_type + "\" (" + raw_type +
        ", guessed=" + (guessed_type ? "true" : "false") + "), description = \"" + description + "\" (vendor=" + vendor +
        ", product=" + product + ")");
}

// Each entry of the definition, "name:value": the value an optional half ("+" or "-"), a kind
// letter (b button, a axis, h hat with "index.mask") and an optional "~" for reversed.
void Gamepad::set_mapping_from_definition() {
  const std::vector<std::string>& row = *sdl2_definition;
  std::map<double, bool> seen_whole;
  for (size_t i = 2; i < row.size(); ++i) {
    const std::string& entry = row[i];
    const size_t colon = entry.find(':');
    if (colon == std::string::npos) {
      if (!entry.empty()) trace("Warning! Mapping entry could not be parsed (full string was \"" + entry + "\")");
      continue;
    }
    std::string name = entry.substr(0, colon);
    std::string value = entry.substr(colon + 1);
    if (name == "platform" || name == "crc" || name == "hint" || name == "sdk>=" || name == "sdk<=") continue;
    // A half of the target's range: "+leftx:" or "-leftx:".
    int32_t target_half = 0;
    if (!name.empty() && (name[0] == '+' || name[0] == '-')) {
      target_half = name[0] == '+' ? 1 : -1;
      name = name.substr(1);
    }
    const std::optional<double> tv = sdl_constant(name);
    if (!tv) {
      trace("Warning! Entry name \"" + name + "\" not recognised (full string was \"" + entry + "\")");
      continue;
    }
    int32_t source_half = 0;
    bool reversed = false;
    if (!value.empty() && (value[0] == '+' || value[0] == '-')) {
      source_half = value[0] == '+' ? 1 : -1;
      value = value.substr(1);
    }
    if (!value.empty() && value.back() == '~') {
      reversed = true;
      value.pop_back();
    }
    int32_t kind = -1;
    int32_t raw = 0, mask = 0;
    bool parsed = false;
    if (value.size() >= 2 && (value[0] == 'b' || value[0] == 'a')) {
      char* end = nullptr;
      raw = static_cast<int32_t>(std::strtol(value.c_str() + 1, &end, 10));
      parsed = end != nullptr && *end == '\0';
      kind = value[0] == 'b' ? kMapButton : kMapAxis;
    } else if (value.size() >= 4 && value[0] == 'h') {
      const size_t dot = value.find('.');
      if (dot != std::string::npos) {
        char* end = nullptr;
        const std::string index_text = value.substr(1, dot - 1);
        raw = static_cast<int32_t>(std::strtol(index_text.c_str(), &end, 10));
        const bool index_ok = end != nullptr && *end == '\0' && dot > 1;
        mask = static_cast<int32_t>(std::strtol(value.c_str() + dot + 1, &end, 10));
        parsed = index_ok && end != nullptr && *end == '\0';
        kind = kMapHat;
      }
    }
    if (!parsed) {
      trace("Warning! Mapping entry could not be parsed (full string was \"" + entry + "\")");
      continue;
    }
    const bool target_is_axis = *tv >= 32785 && *tv <= 32788;
    if (target_half != 0) {
      // One half of a split axis; the other half may already stand.
      auto found = mapping.find(*tv);
      GamepadMapping* m = nullptr;
      if (found != mapping.end() && found->second.type == kMapSplitAxis) {
        m = &found->second;
      } else {
        if (found != mapping.end()) {
          trace("Warning! Mapping for \"" + name + "\" is a redefinition of entry name \"" + name + "\"");
        }
        m = &set_mapping(*tv, raw, kMapSplitAxis, name);
      }
      if (target_half > 0) {
        m->raw_positive = raw;
        m->type_positive = kind;
        m->hat_mask_positive = mask;
        m->positive_clamp_negative = source_half < 0;
        m->positive_clamp_positive = source_half > 0;
      } else {
        m->raw_negative = raw;
        m->type_negative = kind;
        m->hat_mask_negative = mask;
        m->negative_clamp_negative = source_half < 0;
        m->negative_clamp_positive = source_half > 0;
      }
      continue;
    }
    if (seen_whole.count(*tv) != 0) {
      trace("Warning! Mapping for \"" + name + "\" is a redefinition of entry name \"" + name + "\"");
      continue;
    }
    seen_whole[*tv] = true;
    GamepadMapping& m = set_mapping(*tv, raw, kind, name);
    m.hat_mask = mask;
    m.reverse = reversed;
    if (kind == kMapHat && target_is_axis) m.type = kMapHatOnAxis;
    if (kind == kMapAxis && is_trigger(*tv)) {
      // A trigger on a whole axis rests at -1: its range is brought to 0 to 1.
      if (source_half == 0) m.extended_range = true;
      if (source_half > 0) m.clamp_positive = true;
      if (source_half < 0) {
        m.clamp_negative = true;
        m.reverse = !m.reverse;
      }
    } else if (kind == kMapAxis && !target_is_axis) {
      // An axis standing for a button: only its half counts, read as a positive strength.
      if (source_half < 0) {
        m.clamp_positive = true;
        m.reverse = !m.reverse;
      } else {
        m.clamp_positive = true;
      }
    } else if (kind == kMapAxis && source_half != 0) {
      if (source_half > 0) m.clamp_positive = true;
      if (source_half < 0) m.clamp_negative = true;
    }
  }
}

GamepadMapping& Gamepad::set_mapping(double tv, int32_t raw, int32_t type, const std::string& sdl_name) {
  // The library's mapping replaces the device layer's for this pad.
  if (!custom_mapping) builtin(f_gamepad_remove_mapping, {RV_Real(index)});
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
  for (auto& [tv, m] : mapping) m.tick(index);
  // The motors take what the players sent since the last tick, and stop without it.
  if (sys().window_focus && vibration_received_this_frame) {
    builtin(f_gamepad_set_vibration, {RV_Real(index), RV_Real(vibration_left), RV_Real(vibration_right)});
  } else {
    builtin(f_gamepad_set_vibration, {RV_Real(index), RV_Real(0), RV_Real(0)});
  }
  vibration_received_this_frame = false;
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

namespace {

// The names scripts see for the standard constants.
const std::pair<double, const char*> kConstantNames[] = {
    {32769, "gamepad face south"},    {32770, "gamepad face east"},     {32771, "gamepad face west"},
    {32772, "gamepad face north"},    {32773, "gamepad shoulder l"},    {32774, "gamepad shoulder r"},
    {32775, "gamepad trigger l"},     {32776, "gamepad trigger r"},     {32777, "gamepad select"},
    {32778, "gamepad start"},         {32779, "gamepad thumbstick l click"}, {32780, "gamepad thumbstick r click"},
    {32781, "gamepad dpad up"},       {32782, "gamepad dpad down"},     {32783, "gamepad dpad left"},
    {32784, "gamepad dpad right"},    {32785, "gamepad thumbstick l horizontal"},
    {32786, "gamepad thumbstick l vertical"}, {32787, "gamepad thumbstick r horizontal"},
    {32788, "gamepad thumbstick r vertical"}, {32889, "gamepad guide"}, {32890, "gamepad misc 1"},
    {32891, "gamepad touchpad"},      {32892, "gamepad paddle 1"},      {32893, "gamepad paddle 2"},
    {32894, "gamepad paddle 3"},      {32895, "gamepad paddle 4"},
};

}  // namespace

std::string gamepad_constant_name(double tv) {
  for (const auto& [constant, name] : kConstantNames) {
    if (constant == tv) return name;
  }
  return "unknown";
}

bool Gamepad::answers(double tv) const {
  if (custom_mapping) return mapping.count(tv) != 0;
  return tv >= 32769 && tv <= 32788;
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

}  // namespace input

using namespace input;

namespace {

const Gamepad* pad_arg(int argc, RValue** argv) { return gamepad(static_cast<int32_t>(arg_real(argc, argv, 0, -1))); }

// The pad of a read: none when it is blacklisted.
const Gamepad* live_pad_arg(int argc, RValue** argv) {
  const Gamepad* pad = pad_arg(argc, argv);
  return pad != nullptr && !pad->blacklisted ? pad : nullptr;
}

}  // namespace

#define INPUT_GAMEPAD_QUERY(name, kind, method, none)                                   \
  INPUT_SCRIPT(name) {                                                                  \
    tsl::ScriptScope scope("tsl_Script_" #name, self, result);                          \
    const Gamepad* pad = live_pad_arg(argc, argv);                                      \
    if (pad == nullptr || !sys().window_focus) return scope.give(kind(none));           \
    return scope.give(kind(pad->method(RV_ToDouble(input::arg(argc, argv, 1)))));       \
  }
INPUT_GAMEPAD_QUERY(input_gamepad_check, Value::Bool, get_held, false)
INPUT_GAMEPAD_QUERY(input_gamepad_check_pressed, Value::Bool, get_pressed, false)
INPUT_GAMEPAD_QUERY(input_gamepad_check_released, Value::Bool, get_released, false)
INPUT_GAMEPAD_QUERY(input_gamepad_value, Value::Real, get_value, 0)
INPUT_GAMEPAD_QUERY(input_gamepad_delta, Value::Real, get_delta, 0)
#undef INPUT_GAMEPAD_QUERY

INPUT_SCRIPT(input_gamepad_is_axis) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_is_axis", self, result);
  const Gamepad* pad = pad_arg(argc, argv);
  return give_bool(scope, pad != nullptr && pad->is_axis(RV_ToDouble(input::arg(argc, argv, 1))));
}

INPUT_SCRIPT(input_gamepad_is_connected) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_is_connected", self, result);
  return give_bool(scope, live_pad_arg(argc, argv) != nullptr);
}

INPUT_SCRIPT(input_gamepad_get_description) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_get_description", self, result);
  const Gamepad* pad = pad_arg(argc, argv);
  return scope.give(text(pad != nullptr ? pad->description : "Unknown"));
}

INPUT_SCRIPT(input_gamepad_get_type) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_get_type", self, result);
  const Gamepad* pad = pad_arg(argc, argv);
  return scope.give(text(pad != nullptr ? pad->simple_type : "unknown"));
}

// How the pad's directional pad is built: a hat, four buttons, or axes.
INPUT_SCRIPT(input_gamepad_get_dpad_style) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_get_dpad_style", self, result);
  const Gamepad* pad = pad_arg(argc, argv);
  if (pad == nullptr) return scope.give(Value());
  if (!pad->custom_mapping) return scope.give(text("buttons"));
  const auto up = pad->mapping.find(32781);
  if (up == pad->mapping.end()) return scope.give(text("none"));
  switch (up->second.type) {
    case kMapHat: return scope.give(text("hat"));
    case kMapAxis: case kMapSplitAxis: return scope.give(text("axis"));
    default: return scope.give(text("buttons"));
  }
}

// input_gamepad_get_map(index): {constant: raw index} of the standard constants the pad answers.
INPUT_SCRIPT(input_gamepad_get_map) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_get_map", self, result);
  const Gamepad* pad = pad_arg(argc, argv);
  const Value out = new_struct();
  if (pad == nullptr) return scope.give(out);
  for (const auto& [tv, name] : kConstantNames) {
    const std::string key = std::to_string(static_cast<int64_t>(tv));
    if (!pad->answers(tv)) continue;
    const auto found = pad->mapping.find(tv);
    set_member(*out, key.c_str(), RV_Real(found != pad->mapping.end() ? found->second.raw : tv));
  }
  return scope.give(out);
}

INPUT_SCRIPT(input_gamepad_constant_get_name) {
  tsl::ScriptScope scope("tsl_Script_input_gamepad_constant_get_name", self, result);
  return scope.give(text(gamepad_constant_name(arg_real(argc, argv, 0, -1))));
}

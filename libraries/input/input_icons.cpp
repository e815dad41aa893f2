// Input icons and motion: the icon tables a game fills through input_icons (a category of device,
// then binding label to icon) and the icon of a binding, and the gyro settings of each player. The
// device layer of this platform reports no motion sensors, so no pad has motion data: the gyro can
// be set up and saved with a player's profile, but it has nothing to read.
#include "input/input_args.h"
#include "input/input_internal.h"

using namespace input;

namespace {

constexpr const char* kKeyboardCategory = "keyboard and mouse";
constexpr const char* kGamepadFallback = "gamepad fallback";

// category.add(label, icon): the icon of a label in the struct's category; returns the struct so
// that calls chain.
RValue* icon_category_add(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script___input_class_icon_category_add", self, result);
  const std::string category = shown(*tsl::get(self, "__category"));
  const std::string label = shown(input::arg(argc, argv, 0));
  const RValue& icon = input::arg(argc, argv, 1);
  sys().icons[category][label] = Value::Copy(icon);
  hold("icon_" + category + "_" + label, icon);
  return scope.give(Value::Object(KV_AsObject(self)));
}

// The icon category of a binding for a player: keys and the mouse share one; a pad's type names
// its own, and a type with no table falls back on the common gamepad table.
std::string category_of(const Binding& binding, const Player& p) {
  const std::string source = binding.source_type();
  const bool on_pad = source == "gamepad" || (source.empty() && !p.sources.empty() && p.sources.front().kind == kSourceGamepad);
  if (!on_pad) return kKeyboardCategory;
  std::optional<int32_t> pad_index = binding.gamepad_index;
  if (!pad_index) pad_index = p.source_get_gamepad();
  const Gamepad* pad = pad_index ? gamepad(*pad_index) : nullptr;
  const std::string type = pad != nullptr ? pad->simple_type : "unknown";
  return sys().icons.count(type) != 0 ? type : kGamepadFallback;
}

}  // namespace

// input_icons(category): the struct through which a category's table is filled, with add(label,
// icon).
INPUT_SCRIPT(input_icons) {
  tsl::ScriptScope scope("tsl_Script_input_icons", self, result);
  const RValue& category = input::arg(argc, argv, 0);
  if (!is_string(category)) {
    error("Icon category should be a string (typeof=" + shown(*builtin(f_typeof, {category})) + ")");
    return result;
  }
  sys().icons[RV_StringText(category)];
  const Value out = new_struct();
  set_member(*out, "__category", category);
  Value add;
  KVCreateMethod(add.get(), icon_category_add, KV_AsInstance(out.object()));
  set_member(*out, "add", *add);
  return scope.give(out);
}

// input_binding_get_icon(binding, player_index = 0): the icon of the binding's label in its
// category, else the label itself; "not a binding" for another value.
INPUT_SCRIPT(input_binding_get_icon) {
  tsl::ScriptScope scope("tsl_Script_input_binding_get_icon", self, result);
  const std::optional<Binding> b = binding_from_struct(input::arg(argc, argv, 0));
  if (!b) return scope.give(text("not a binding"));
  const Player& p = player_at(argc, argv, 1);
  const auto& tables = sys().icons;
  for (const std::string& category : {category_of(*b, p), std::string(kGamepadFallback)}) {
    const auto table = tables.find(category);
    if (table == tables.end()) continue;
    const auto icon = table->second.find(b->label);
    if (icon != table->second.end()) return scope.give(icon->second);
    if (category == kKeyboardCategory) break;
  }
  return scope.give(text(b->label));
}

// ---- Gyro -----------------------------------------------------------------------------------------

// input_gyro_enabled_set(state, player_index = 0): the gyro reads the player's pad, which must
// have motion data.
INPUT_SCRIPT(input_gyro_enabled_set) {
  tsl::ScriptScope scope("tsl_Script_input_gyro_enabled_set", self, result);
  const bool state = RV_ToBool(input::arg(argc, argv, 0));
  for (Player* p : players_at(argc, argv, 1)) {
    if (!state) {
      p->gyro_enabled = false;
      p->gyro_gamepad.reset();
      continue;
    }
    const std::optional<int32_t> pad = p->source_get_gamepad();
    const Gamepad* g = pad ? gamepad(*pad) : nullptr;
    if (g == nullptr || !g->motion) {
      trace("Warning! Gyro not available for player " + std::to_string(p->index) + ", its gamepad has no motion data");
      p->gyro_enabled = false;
      p->gyro_gamepad.reset();
      continue;
    }
    p->gyro_enabled = true;
    p->gyro_gamepad = pad;
  }
  return result;
}

INPUT_SCRIPT(input_gyro_enabled_get) {
  tsl::ScriptScope scope("tsl_Script_input_gyro_enabled_get", self, result);
  return give_bool(scope, player_at(argc, argv, 0).gyro_enabled);
}

// input_gyro_params_set(axis_x, axis_y, sensitivity_x, sensitivity_y, player_index = 0): the axes
// of rotation (0 yaw, 1 pitch, 2 roll) that move the cursor across and down, and their scales.
INPUT_SCRIPT(input_gyro_params_set) {
  tsl::ScriptScope scope("tsl_Script_input_gyro_params_set", self, result);
  const double axis_x = arg_real(argc, argv, 0, 0);
  const double axis_y = arg_real(argc, argv, 1, 0);
  for (const double axis : {axis_x, axis_y}) {
    if (axis != 0 && axis != 1 && axis != 2) {
      error("Gyro axis " + shown(RV_Real(axis)) + " not recognised, should be 0 (yaw), 1 (pitch) or 2 (roll)");
      return result;
    }
  }
  for (Player* p : players_at(argc, argv, 4)) {
    p->gyro_axis_x = axis_x;
    p->gyro_axis_y = axis_y;
    p->gyro_sensitivity_x = arg_real(argc, argv, 2, 2);
    p->gyro_sensitivity_y = arg_real(argc, argv, 3, -2);
  }
  return result;
}

// input_gyro_params_get(player_index = 0): {axis_x, axis_y, sensitivity_x, sensitivity_y}.
INPUT_SCRIPT(input_gyro_params_get) {
  tsl::ScriptScope scope("tsl_Script_input_gyro_params_get", self, result);
  const Player& p = player_at(argc, argv, 0);
  const Value out = new_struct();
  set_member(*out, "axis_x", RV_Real(p.gyro_axis_x));
  set_member(*out, "axis_y", RV_Real(p.gyro_axis_y));
  set_member(*out, "sensitivity_x", RV_Real(p.gyro_sensitivity_x));
  set_member(*out, "sensitivity_y", RV_Real(p.gyro_sensitivity_y));
  return scope.give(out);
}

// input_motion_data_get(player_index = 0): the motion of the player's pad, undefined when it has
// none, as every pad here has none.
INPUT_SCRIPT(input_motion_data_get) {
  tsl::ScriptScope scope("tsl_Script_input_motion_data_get", self, result);
  player_at(argc, argv, 0);
  return scope.give(Value());
}

// Input bindings: the binding record and its script struct (`__input_class_binding`), key labels,
// sources' script structs (`__input_class_source`), and the scripts that make bindings.
#include <algorithm>
#include <cctype>

#include "core/object.h"
#include "input/input_internal.h"

namespace input {

// ---- The record ---------------------------------------------------------------------------------

void Binding::set_empty() { *this = Binding(); }

void Binding::set_key(double key) {
  set_empty();
  type = "key";
  value = key;
  has_value = true;
  label = key_label(static_cast<int32_t>(key));
}

void Binding::set_mouse_button(double button) {
  set_empty();
  type = "mouse button";
  value = button;
  has_value = true;
  switch (static_cast<int32_t>(button)) {
    case 1: label = "mouse button left"; break;
    case 2: label = "mouse button right"; break;
    case 3: label = "mouse button middle"; break;
    case 4: label = "mouse button back"; break;
    case 5: label = "mouse button forward"; break;
    default: label = "mouse button unknown"; break;
  }
}

void Binding::set_mouse_wheel_up() {
  set_empty();
  type = "mouse wheel up";
  label = "mouse wheel up";
}

void Binding::set_mouse_wheel_down() {
  set_empty();
  type = "mouse wheel down";
  label = "mouse wheel down";
}

void Binding::set_gamepad_button(double button) {
  set_empty();
  type = "gamepad button";
  value = button;
  has_value = true;
  label = gamepad_constant_name(button);
}

namespace {

// A stick's half reads as its direction ("gamepad thumbstick l left"); other axes by their name.
std::string axis_label(double axis, bool negative) {
  const int32_t stick = static_cast<int32_t>(axis) - 32785;
  if (stick < 0 || stick > 3 || axis != std::floor(axis)) return gamepad_constant_name(axis);
  const char* side = stick < 2 ? "l" : "r";
  const bool horizontal = stick % 2 == 0;
  const char* direction = horizontal ? (negative ? "left" : "right") : (negative ? "up" : "down");
  return std::string("gamepad thumbstick ") + side + " " + direction;
}

}  // namespace

void Binding::set_gamepad_axis(double axis, bool negative) {
  set_empty();
  type = "gamepad axis";
  value = axis;
  has_value = true;
  axis_negative = negative;
  has_axis_negative = true;
  label = axis_label(axis, negative);
}

std::string Binding::source_type() const {
  if (type == "key") return "keyboard";
  if (type == "mouse button" || type == "mouse wheel up" || type == "mouse wheel down") return "mouse";
  if (type == "gamepad button" || type == "gamepad axis") return "gamepad";
  return "";
}

bool Binding::operator==(const Binding& other) const {
  if (type != other.type) return false;
  if (type.empty()) return true;
  if (has_value != other.has_value || (has_value && value != other.value)) return false;
  if (type == "gamepad axis" && axis_negative != other.axis_negative) return false;
  return true;
}

std::string key_label(int32_t key) {
  switch (key) {
    case 8: return "backspace";
    case 9: return "tab";
    case 13: return "enter";
    case 16: return "shift";
    case 17: return "ctrl";
    case 18: return "alt";
    case 19: return "pause";
    case 20: return "caps lock";
    case 27: return "escape";
    case 32: return "space";
    case 33: return "page up";
    case 34: return "page down";
    case 35: return "end";
    case 36: return "home";
    case 37: return "arrow left";
    case 38: return "arrow up";
    case 39: return "arrow right";
    case 40: return "arrow down";
    case 45: return "insert";
    case 46: return "delete";
    case 91: return "left meta";
    case 92: return "right meta";
    case 93: return "menu";
    case 106: return "numpad *";
    case 107: return "numpad +";
    case 109: return "numpad -";
    case 110: return "numpad .";
    case 111: return "numpad /";
    case 144: return "num lock";
    case 145: return "scroll lock";
    case 160: return "left shift";
    case 161: return "right shift";
    case 162: return "left ctrl";
    case 163: return "right ctrl";
    case 164: return "left alt";
    case 165: return "right alt";
    case 186: return ";";
    case 187: return "=";
    case 188: return ",";
    case 189: return "-";
    case 190: return ".";
    case 191: return "/";
    case 192: return "`";
    case 219: return "[";
    case 220: return "\\";
    case 221: return "]";
    case 222: return "'";
    default: break;
  }
  if (key >= 112 && key <= 135) return "f" + std::to_string(key - 111);
  if (key >= 96 && key <= 105) return "numpad " + std::to_string(key - 96);
  if ((key >= 48 && key <= 57) || (key >= 65 && key <= 90)) return std::string(1, static_cast<char>(key));
  return "unknown key " + std::to_string(key);
}

// ---- Script structs -----------------------------------------------------------------------------

namespace {

Value optional_real(const std::optional<double>& v) { return v ? real(*v) : Value(); }

}  // namespace

Value binding_to_struct(const Binding& b) {
  const Value made = tsl::call(f_new_struct, nullptr, nullptr, {RV_Real(f_class_binding.id)});
  CInstance* s = KV_AsInstance(made.object());
  tsl::set(s, v_type, b.empty() ? RV_Undefined() : *text(b.type));
  tsl::set(s, v_value, b.has_value ? RV_Real(b.value) : RV_Undefined());
  tsl::set(s, v_axis_negative, b.has_axis_negative ? RV_Bool(b.axis_negative) : RV_Undefined());
  tsl::set(s, v___label, *text(b.label));
  tsl::set(s, v___gamepad_index, b.gamepad_index ? RV_Real(*b.gamepad_index) : RV_Undefined());
  tsl::set(s, v___gamepad_description, b.gamepad_description ? *text(*b.gamepad_description) : RV_Undefined());
  tsl::set(s, v___android_lowercase, RV_Bool(b.android_lowercase));
  tsl::set(s, v___threshold_min, *optional_real(b.threshold_min));
  tsl::set(s, v___threshold_max, *optional_real(b.threshold_max));
  return made;
}

bool value_is_binding(const RValue& value) {
  if (!is_struct(value)) return false;
  const char* name = RV_ObjectOf(value)->className;
  return name != nullptr && std::string(name).find("__input_class_binding") != std::string::npos;
}

std::optional<Binding> binding_from_struct(const RValue& value) {
  if (!value_is_binding(value)) return std::nullopt;
  Binding b;
  const Value type = member(value, "type");
  b.type = is_string(*type) ? RV_StringText(*type) : "";
  const Value v = member(value, "value");
  b.has_value = is_number(*v);
  b.value = b.has_value ? RV_ToDouble(*v) : 0;
  const Value negative = member(value, "axis_negative");
  b.has_axis_negative = !is_undefined(*negative);
  b.axis_negative = b.has_axis_negative && RV_ToBool(*negative);
  const Value label = member(value, "__label");
  b.label = is_string(*label) ? RV_StringText(*label) : "empty binding";
  const Value pad = member(value, "__gamepad_index");
  if (is_number(*pad)) b.gamepad_index = RV_ToInt32(*pad);
  const Value description = member(value, "__gamepad_description");
  if (is_string(*description)) b.gamepad_description = RV_StringText(*description);
  b.android_lowercase = RV_ToBool(*member(value, "__android_lowercase"));
  const Value low = member(value, "__threshold_min");
  const Value high = member(value, "__threshold_max");
  if (is_number(*low)) b.threshold_min = RV_ToDouble(*low);
  if (is_number(*high)) b.threshold_max = RV_ToDouble(*high);
  return b;
}

Value binding_export(const Binding& b) {
  const Value out = new_struct();
  if (!b.empty()) set_member(*out, "type", *text(b.type));
  if (b.has_value) set_member(*out, "value", RV_Real(b.value));
  if (b.has_axis_negative) set_member(*out, "axis_negative", RV_Bool(b.axis_negative));
  if (b.gamepad_description) set_member(*out, "gamepad_description", *text(*b.gamepad_description));
  if (b.threshold_min) set_member(*out, "threshold_min", RV_Real(*b.threshold_min));
  if (b.threshold_max) set_member(*out, "threshold_max", RV_Real(*b.threshold_max));
  return out;
}

std::string Source::name() const {
  return kind == kSourceGamepad ? "gamepad " + std::to_string(gamepad) : "keyboard and mouse";
}

bool Source::is_connected() const { return kind != kSourceGamepad || gamepad_connected(gamepad); }

// The library's single struct of a source: INPUT_KEYBOARD, INPUT_MOUSE, INPUT_GAMEPAD[n].
Value source_struct(const Source& source) {
  if (source.kind == kSourceKeyboard) {
    const Value held = global_value("__input_source_keyboard");
    if (is_struct(*held)) return held;
  } else if (source.kind == kSourceMouse) {
    const Value held = global_value("__input_source_mouse");
    if (is_struct(*held)) return held;
  } else {
    const Value pads = global_value("__input_source_gamepad");
    const Value held = array_get(*pads, source.gamepad);
    if (is_struct(*held)) return held;
  }
  const Value made =
      tsl::call(f_new_struct, nullptr, nullptr,
                {RV_Real(f_class_source.id), RV_Real(source.kind), source.kind == kSourceGamepad ? RV_Real(source.gamepad) : RV_Undefined()});
  if (source.kind == kSourceGamepad && source.gamepad >= 0) {
    // INPUT_GAMEPAD[n] is the one struct of pad n from now on.
    const Value pads = global_value("__input_source_gamepad");
    std::vector<Value> items;
    const int32_t length = std::max(array_length(*pads), source.gamepad + 1);
    for (int32_t i = 0; i < length; ++i) items.push_back(i == source.gamepad ? made : array_get(*pads, i));
    tsl::set(tsl::global(), v___input_source_gamepad, *make_array(items));
  }
  return made;
}

std::optional<Source> source_from_value(const RValue& value) {
  if (!is_struct(value) || !has_member(value, "__source")) return std::nullopt;
  const char* name = RV_ObjectOf(value)->className;
  if (name == nullptr || std::string(name).find("__input_class_source") == std::string::npos) return std::nullopt;
  Source source;
  source.kind = RV_ToInt32(*member(value, "__source"));
  if (source.kind < kSourceKeyboard || source.kind > kSourceGamepad) return std::nullopt;
  if (source.kind == kSourceGamepad) source.gamepad = RV_ToInt32(*member(value, "__gamepad"));
  return source;
}

}  // namespace input

using namespace input;

// __input_class_binding(): an empty binding.
INPUT_SCRIPT(__input_class_binding) {
  tsl::ScriptScope scope("tsl_Script___input_class_binding", self, result);
  tsl::set(self, v_type, RV_Undefined());
  tsl::set(self, v_value, RV_Undefined());
  tsl::set(self, v_axis_negative, RV_Undefined());
  tsl::set(self, v___label, *text("empty binding"));
  tsl::set(self, v___gamepad_index, RV_Undefined());
  tsl::set(self, v___gamepad_description, RV_Undefined());
  tsl::set(self, v___android_lowercase, RV_Bool(false));
  tsl::set(self, v___threshold_min, RV_Undefined());
  tsl::set(self, v___threshold_max, RV_Undefined());
  return result;
}

// __input_class_source(source, gamepad = undefined)
INPUT_SCRIPT(__input_class_source) {
  tsl::ScriptScope scope("tsl_Script___input_class_source", self, result);
  const int32_t kind = RV_ToInt32(input::arg(argc, argv, 0));
  tsl::set(self, v___source, RV_Real(kind));
  tsl::set(self, v___gamepad, input::arg(argc, argv, 1));
  const Source source{kind, kind == kSourceGamepad ? RV_ToInt32(input::arg(argc, argv, 1)) : -1};
  tsl::set(self, v___name, *text(source.name()));
  return result;
}

namespace {

RValue* give_binding(tsl::ScriptScope& scope, const Binding& binding) { return scope.give(binding_to_struct(binding)); }

double key_of(const RValue& key) {
  if (is_string(key)) {
    const char* chars = RV_StringText(key);
    return chars[0] == '\0' ? 0 : std::toupper(static_cast<unsigned char>(chars[0]));
  }
  return RV_ToDouble(key);
}

}  // namespace

INPUT_SCRIPT(input_binding_empty) {
  tsl::ScriptScope scope("tsl_Script_input_binding_empty", self, result);
  initialize();
  return give_binding(scope, Binding());
}

INPUT_SCRIPT(input_binding_key) {
  tsl::ScriptScope scope("tsl_Script_input_binding_key", self, result);
  initialize();
  Binding b;
  b.set_key(key_of(input::arg(argc, argv, 0)));
  return give_binding(scope, b);
}

INPUT_SCRIPT(input_binding_mouse_button) {
  tsl::ScriptScope scope("tsl_Script_input_binding_mouse_button", self, result);
  initialize();
  Binding b;
  b.set_mouse_button(RV_ToDouble(input::arg(argc, argv, 0)));
  return give_binding(scope, b);
}

INPUT_SCRIPT(input_binding_mouse_wheel_up) {
  tsl::ScriptScope scope("tsl_Script_input_binding_mouse_wheel_up", self, result);
  initialize();
  Binding b;
  b.set_mouse_wheel_up();
  return give_binding(scope, b);
}

INPUT_SCRIPT(input_binding_mouse_wheel_down) {
  tsl::ScriptScope scope("tsl_Script_input_binding_mouse_wheel_down", self, result);
  initialize();
  Binding b;
  b.set_mouse_wheel_down();
  return give_binding(scope, b);
}

INPUT_SCRIPT(input_binding_gamepad_button) {
  tsl::ScriptScope scope("tsl_Script_input_binding_gamepad_button", self, result);
  initialize();
  Binding b;
  double button = RV_ToDouble(input::arg(argc, argv, 0));
  if (sys().swap_ab && button == 32769) button = 32770;
  else if (sys().swap_ab && button == 32770) button = 32769;
  b.set_gamepad_button(button);
  return give_binding(scope, b);
}

INPUT_SCRIPT(input_binding_gamepad_axis) {
  tsl::ScriptScope scope("tsl_Script_input_binding_gamepad_axis", self, result);
  initialize();
  Binding b;
  b.set_gamepad_axis(RV_ToDouble(input::arg(argc, argv, 0)), arg_bool(argc, argv, 1, false));
  return give_binding(scope, b);
}

// The default_* forms are the same bindings, for the configuration's tables.
INPUT_SCRIPT(input_default_key) { return tsl_Script_input_binding_key(self, other, result, argc, argv); }
INPUT_SCRIPT(input_default_mouse_button) { return tsl_Script_input_binding_mouse_button(self, other, result, argc, argv); }
INPUT_SCRIPT(input_default_mouse_wheel_up) {
  return tsl_Script_input_binding_mouse_wheel_up(self, other, result, argc, argv);
}
INPUT_SCRIPT(input_default_mouse_wheel_down) {
  return tsl_Script_input_binding_mouse_wheel_down(self, other, result, argc, argv);
}
INPUT_SCRIPT(input_default_gamepad_button) {
  return tsl_Script_input_binding_gamepad_button(self, other, result, argc, argv);
}
INPUT_SCRIPT(input_default_gamepad_axis) { return tsl_Script_input_binding_gamepad_axis(self, other, result, argc, argv); }
INPUT_SCRIPT(input_default_joycon_button) {
  return tsl_Script_input_binding_gamepad_button(self, other, result, argc, argv);
}
INPUT_SCRIPT(input_default_joycon_axis) { return tsl_Script_input_binding_gamepad_axis(self, other, result, argc, argv); }

INPUT_SCRIPT(input_value_is_binding) {
  tsl::ScriptScope scope("tsl_Script_input_value_is_binding", self, result);
  return scope.give(Value::Bool(value_is_binding(input::arg(argc, argv, 0))));
}

INPUT_SCRIPT(input_binding_get_name) {
  tsl::ScriptScope scope("tsl_Script_input_binding_get_name", self, result);
  const std::optional<Binding> b = binding_from_struct(input::arg(argc, argv, 0));
  if (!b) return scope.give(text("not a binding"));
  return scope.give(text(b->label));
}

INPUT_SCRIPT(input_binding_get_source_type) {
  tsl::ScriptScope scope("tsl_Script_input_binding_get_source_type", self, result);
  const std::optional<Binding> b = binding_from_struct(input::arg(argc, argv, 0));
  if (!b || b->empty()) return scope.give(Value());
  return scope.give(text(b->source_type()));
}

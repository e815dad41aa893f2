#include "input/io_hooks.h"

#include <string>
#include <vector>

#include "core/builtin_var.h"
#include "core/utf8.h"
#include "graphics/window.h"
#include "input/io.h"
#include "input/io_coords.h"
#include "world/collision.h"
#include "world/room.h"
#include "world/step_input.h"

namespace {

IoFrameState& frame() { return IO_State().frame; }
IoRawState& raw() { return IO_State().raw; }

bool flag(const uint8_t* bytes, int32_t index, int32_t count) { return index >= 0 && index < count && bytes[index] != 0; }

bool key_down(int32_t key) { return flag(frame().keyDown, key, kIoKeyCount); }
bool key_pressed(int32_t key) { return flag(frame().keyPressed, key, kIoKeyCount); }
bool key_released(int32_t key) { return flag(frame().keyReleased, key, kIoKeyCount); }
bool mouse_down(int32_t b) { return flag(frame().mouseDown, b - 1, kIoButtonCount); }
bool mouse_pressed(int32_t b) { return flag(frame().mousePressed, b - 1, kIoButtonCount); }
bool mouse_released(int32_t b) { return flag(frame().mouseReleased, b - 1, kIoButtonCount); }
bool wheel_up() { return frame().wheelUp[0] != 0; }
bool wheel_down() { return frame().wheelDown[0] != 0; }
// The local mouse events reach the instances the pointer hits by the precise collision test.
bool pointer_hits(CInstance* instance, float x, float y) { return Instance_CollidePoint(instance, x, y, true); }

void mouse_room(float* x, float* y) {
  IO_WindowToRoom(static_cast<float>(frame().pointerX[0]), static_cast<float>(frame().pointerY[0]), x, y);
}

std::string utf8_of(const uint32_t* codes) {
  std::string text;
  for (; *codes != 0; ++codes) {
    char bytes[4];
    const int size = utf8_encode(*codes, bytes);
    text.append(bytes, static_cast<size_t>(size));
  }
  return text;
}

bool real(RValue* out, double value) {
  *out = RV_Real(value);
  return true;
}

bool get_mouse_x(CInstance*, int32_t, RValue* out) {
  float x = 0, y = 0;
  mouse_room(&x, &y);
  return real(out, x);
}

bool get_mouse_y(CInstance*, int32_t, RValue* out) {
  float x = 0, y = 0;
  mouse_room(&x, &y);
  return real(out, y);
}

bool get_mouse_button(CInstance*, int32_t, RValue* out) { return real(out, frame().mouseButton[0]); }
bool set_mouse_button(CInstance*, int32_t, RValue* value) {
  frame().mouseButton[0] = raw().mouseButton = BuiltinVar_Int(value);
  return true;
}

bool get_mouse_lastbutton(CInstance*, int32_t, RValue* out) { return real(out, frame().mouseLastButton[0]); }
bool set_mouse_lastbutton(CInstance*, int32_t, RValue* value) {
  frame().mouseLastButton[0] = raw().mouseLastButton = BuiltinVar_Int(value);
  return true;
}

bool get_keyboard_key(CInstance*, int32_t, RValue* out) { return real(out, frame().key); }
bool set_keyboard_key(CInstance*, int32_t, RValue* value) {
  const int32_t key = BuiltinVar_Int(value);
  if (key < kIoKeyCount) frame().key = key;
  return true;
}

bool get_keyboard_lastkey(CInstance*, int32_t, RValue* out) { return real(out, frame().lastKey); }
bool set_keyboard_lastkey(CInstance*, int32_t, RValue* value) {
  frame().lastKey = raw().lastKey = BuiltinVar_Int(value);
  raw().currentKey = 0;
  return true;
}

bool get_keyboard_lastchar(CInstance*, int32_t, RValue* out) {
  const uint32_t codes[2] = {static_cast<uint32_t>(frame().lastChar), 0};
  RV_SetString(out, utf8_of(codes).c_str());
  return true;
}
bool set_keyboard_lastchar(CInstance*, int32_t, RValue* value) {
  int32_t code = 0;
  if (RV_Kind(*value) == kRVString) {
    code = static_cast<uint8_t>(RV_StringText(*value)[0]);
  } else {
    code = BuiltinVar_Int(value);
  }
  frame().lastChar = raw().lastChar = code;
  return true;
}

bool get_keyboard_string(CInstance*, int32_t, RValue* out) {
  RV_SetString(out, utf8_of(frame().keyboardString).c_str());
  return true;
}
bool set_keyboard_string(CInstance*, int32_t, RValue* value) {
  std::vector<uint32_t> codes;
  if (RV_Kind(*value) == kRVString) {
    const std::string_view text = RV_StringText(*value);
    size_t at = 0;
    while (at < text.size() && codes.size() < static_cast<size_t>(kIoStringCapacity - 1)) {
      size_t size = 1;
      codes.push_back(utf8_decode(text, at, &size));
      at += size == 0 ? 1 : size;
    }
  }
  IO_State().SetKeyboardString(codes.data(), static_cast<int32_t>(codes.size()));
  return true;
}

}  // namespace

void IO_InstallHooks() {
  Window_SetInputSink(IO_HandleMessage);
  g_StepKeyboard = StepKeyboardState{key_down, key_pressed, key_released, nullptr};
  g_StepMouse = StepMouseState{true, mouse_down, mouse_pressed, mouse_released, wheel_up, wheel_down, mouse_room,
                               VirtualKeys_Update};
  g_StepMouseHit = pointer_hits;
  g_RoomHooks.inputClear = IO_Clear;
  g_RoomHooks.virtualKeysReset = VirtualKeys_Reset;
  Variable_BuiltIn_Replace("mouse_x", get_mouse_x, nullptr);
  Variable_BuiltIn_Replace("mouse_y", get_mouse_y, nullptr);
  Variable_BuiltIn_Replace("mouse_button", get_mouse_button, set_mouse_button);
  Variable_BuiltIn_Replace("mouse_lastbutton", get_mouse_lastbutton, set_mouse_lastbutton);
  Variable_BuiltIn_Replace("keyboard_key", get_keyboard_key, set_keyboard_key);
  Variable_BuiltIn_Replace("keyboard_lastkey", get_keyboard_lastkey, set_keyboard_lastkey);
  Variable_BuiltIn_Replace("keyboard_lastchar", get_keyboard_lastchar, set_keyboard_lastchar);
  Variable_BuiltIn_Replace("keyboard_string", get_keyboard_string, set_keyboard_string);
}

void IO_RemoveHooks() {
  Window_SetInputSink(nullptr);
  g_StepKeyboard = StepKeyboardState{};
  g_StepMouse = StepMouseState{};
  g_StepMouseHit = nullptr;
  g_RoomHooks.inputClear = nullptr;
  g_RoomHooks.virtualKeysReset = nullptr;
}

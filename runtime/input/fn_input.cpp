// Keyboard, mouse, virtual key and gesture builtins.
#include "input/fn_input.h"

#include <cmath>
#include <utility>

#include "core/error.h"
#include "core/function_table.h"
#include "core/rvalue.h"
#include "graphics/window.h"
#include "input/io.h"
#include "input/io_coords.h"

namespace {

constexpr int32_t kVkNumLock = 144;
constexpr int32_t kDirectScanFirst = 8;
constexpr int32_t kDirectScanLast = 254;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

int32_t arg_int(int argc, RValue* argv, int n) { return n < argc ? KVGetInt32(argv, n) : 0; }
void real(RValue* result, double value) { *result = RV_Real(value); }
void flag(RValue* result, bool value) { *result = RV_Real(value ? 1.0 : 0.0); }

IoFrameState& frame() { return IO_State().frame; }

// keyboard_check and its kin over one of the frame's key arrays.
bool key_state(const uint8_t* keys, int32_t key) {
  if (key == 0 || key == 1) {
    bool any = false;
    for (int32_t k = 0; k < kIoKeyCount && !any; ++k) any = keys[k] != 0;
    return key == 1 ? any : !any;
  }
  return key > 1 && key < kIoKeyCount && keys[key] != 0;
}

// device_mouse_check_button and its kin: b -1 any of the five, 0 none, 1 to 5 that button.
bool button_state(const uint8_t* buttons, int32_t device, int32_t button) {
  if (device < 0 || device >= kIoDeviceCount) return false;
  const uint8_t* of_device = buttons + device * kIoButtonCount;
  if (button == -1 || button == 0) {
    bool any = false;
    for (int32_t b = 0; b < kIoButtonCount; ++b) any = any || of_device[b] != 0;
    return button == -1 ? any : !any;
  }
  return button >= 1 && button <= kIoButtonCount && of_device[button - 1] != 0;
}

bool valid_device(int32_t device) { return device >= 0 && device < kIoDeviceCount; }

KV_BUILTIN(F_KeyboardCheck) { flag(result, key_state(frame().keyDown, arg_int(argc, argv, 0))); }
KV_BUILTIN(F_KeyboardCheckPressed) { flag(result, key_state(frame().keyPressed, arg_int(argc, argv, 0))); }
KV_BUILTIN(F_KeyboardCheckReleased) { flag(result, key_state(frame().keyReleased, arg_int(argc, argv, 0))); }

KV_BUILTIN(F_KeyboardCheckDirect) {
  IWindowHost* host = Window_Host();
  const int32_t key = arg_int(argc, argv, 0);
  bool held = false;
  if (host != nullptr && key == 1) {
    for (int32_t k = kDirectScanFirst; k <= kDirectScanLast && !held; ++k) held = host->KeyHeld(k);
  } else if (host != nullptr && key > 1 && key < kIoKeyCount) {
    held = host->KeyHeld(key);
  }
  flag(result, held);
}

void post_key(int argc, RValue* argv, bool down) {
  IWindowHost* host = Window_Host();
  const int32_t key = arg_int(argc, argv, 0);
  if (host != nullptr && key > 0 && key < kIoKeyCount) host->PostKey(key, down);
}
KV_BUILTIN(F_KeyboardKeyPress) {
  post_key(argc, argv, true);
  *result = RV_Undefined();
}
KV_BUILTIN(F_KeyboardKeyRelease) {
  post_key(argc, argv, false);
  *result = RV_Undefined();
}

KV_BUILTIN(F_KeyboardGetNumlock) { flag(result, Window_Host() != nullptr && Window_Host()->NumLock()); }
KV_BUILTIN(F_KeyboardSetNumlock) {
  IWindowHost* host = Window_Host();
  const bool on = argc > 0 && KVGetBool(argv, 0);
  if (host != nullptr && host->NumLock() != on) {
    host->SetNumLock(on);
    host->PostKey(kVkNumLock, true);
    host->PostKey(kVkNumLock, false);
  }
  *result = RV_Undefined();
}

KV_BUILTIN(F_KeyboardSetMap) {
  const int32_t from = arg_int(argc, argv, 0);
  if (from >= 0 && from < kIoKeyCount) IO_State().keyMap[from] = arg_int(argc, argv, 1);
  *result = RV_Undefined();
}
KV_BUILTIN(F_KeyboardGetMap) {
  const int32_t key = arg_int(argc, argv, 0);
  real(result, key >= 0 && key < kIoKeyCount ? IO_State().keyMap[key] : 0);
}
KV_BUILTIN(F_KeyboardUnsetMap) {
  for (int32_t k = 0; k < kIoKeyCount; ++k) IO_State().keyMap[k] = k;
  *result = RV_Undefined();
}

KV_BUILTIN(F_KeyboardClear) {
  Window_PumpMessages();
  IO_State().ClearKey(arg_int(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_MouseCheckButton) { flag(result, button_state(frame().mouseDown, 0, arg_int(argc, argv, 0))); }
KV_BUILTIN(F_MouseCheckButtonPressed) { flag(result, button_state(frame().mousePressed, 0, arg_int(argc, argv, 0))); }
KV_BUILTIN(F_MouseCheckButtonReleased) { flag(result, button_state(frame().mouseReleased, 0, arg_int(argc, argv, 0))); }
KV_BUILTIN(F_DeviceMouseCheckButton) {
  flag(result, button_state(frame().mouseDown, arg_int(argc, argv, 0), arg_int(argc, argv, 1)));
}
KV_BUILTIN(F_DeviceMouseCheckButtonPressed) {
  flag(result, button_state(frame().mousePressed, arg_int(argc, argv, 0), arg_int(argc, argv, 1)));
}
KV_BUILTIN(F_DeviceMouseCheckButtonReleased) {
  flag(result, button_state(frame().mouseReleased, arg_int(argc, argv, 0), arg_int(argc, argv, 1)));
}
KV_BUILTIN(F_MouseWheelUp) { flag(result, frame().wheelUp[0] != 0); }
KV_BUILTIN(F_MouseWheelDown) { flag(result, frame().wheelDown[0] != 0); }

KV_BUILTIN(F_MouseClear) {
  Window_PumpMessages();
  IO_State().ClearMouseButton(arg_int(argc, argv, 0));
  *result = RV_Undefined();
}
KV_BUILTIN(F_IoClear) {
  Window_PumpMessages();
  IO_Clear();
  *result = RV_Undefined();
}

// The device's position through a mapping; 0 for a device outside the table.
template <class Map>
double device_position(int argc, RValue* argv, bool want_y, Map map) {
  const int32_t d = arg_int(argc, argv, 0);
  if (!valid_device(d)) return 0.0;
  float x = 0, y = 0;
  map(static_cast<float>(frame().pointerX[d]), static_cast<float>(frame().pointerY[d]), &x, &y);
  return want_y ? y : x;
}
KV_BUILTIN(F_DeviceMouseX) { real(result, device_position(argc, argv, false, IO_WindowToRoom)); }
KV_BUILTIN(F_DeviceMouseY) { real(result, device_position(argc, argv, true, IO_WindowToRoom)); }
KV_BUILTIN(F_DeviceMouseRawX) {
  const int32_t d = arg_int(argc, argv, 0);
  real(result, valid_device(d) ? frame().pointerX[d] : 0);
}
KV_BUILTIN(F_DeviceMouseRawY) {
  const int32_t d = arg_int(argc, argv, 0);
  real(result, valid_device(d) ? frame().pointerY[d] : 0);
}
KV_BUILTIN(F_DeviceMouseXToGui) { real(result, std::floor(device_position(argc, argv, false, IO_WindowToGui))); }
KV_BUILTIN(F_DeviceMouseYToGui) { real(result, std::floor(device_position(argc, argv, true, IO_WindowToGui))); }

bool g_double_click_enabled = true;
KV_BUILTIN(F_DeviceMouseDbclickEnable) {
  g_double_click_enabled = argc > 0 && KVGetBool(argv, 0);
  *result = RV_Undefined();
}

KV_BUILTIN(F_VirtualKeyAdd) {
  real(result, VirtualKey_Add(arg_int(argc, argv, 0), arg_int(argc, argv, 1), arg_int(argc, argv, 2),
                              arg_int(argc, argv, 3), arg_int(argc, argv, 4)));
}

VirtualKey* key_or_raise(int argc, RValue* argv) {
  VirtualKey* key = VirtualKey_Get(arg_int(argc, argv, 0));
  if (key == nullptr) KVError("Illegal virtual key handle");
  return key;
}
KV_BUILTIN(F_VirtualKeyDelete) {
  if (key_or_raise(argc, argv) != nullptr) VirtualKey_Delete(arg_int(argc, argv, 0));
  *result = RV_Undefined();
}
KV_BUILTIN(F_VirtualKeyShow) {
  if (VirtualKey* key = key_or_raise(argc, argv)) key->flags |= kVirtualKeyVisible;
  *result = RV_Undefined();
}
KV_BUILTIN(F_VirtualKeyHide) {
  if (VirtualKey* key = key_or_raise(argc, argv)) key->flags &= static_cast<uint16_t>(~kVirtualKeyVisible);
  *result = RV_Undefined();
}

// No on-screen keyboard, tilt sensor or keypad on this platform.
KV_BUILTIN(F_Nothing) { *result = RV_Undefined(); }
KV_BUILTIN(F_Zero) { real(result, 0.0); }

// ---- Gesture parameters -------------------------------------------------------------------------
// Times are kept in microseconds and given in seconds; distances in inches of the display.
struct GestureParameter {
  const char* setter;
  const char* getter;
  double value;
  bool time;
};
GestureParameter g_gestures[] = {
    {"gesture_drag_time", "gesture_get_drag_time", 160000.0, true},
    {"gesture_drag_distance", "gesture_get_drag_distance", 0.1, false},
    {"gesture_flick_speed", "gesture_get_flick_speed", 2.0, false},
    {"gesture_double_tap_time", "gesture_get_double_tap_time", 100000.0, true},
    {"gesture_double_tap_distance", "gesture_get_double_tap_distance", 0.1, false},
    {"gesture_pinch_distance", "gesture_get_pinch_distance", 0.1, false},
    {"gesture_pinch_angle_towards", "gesture_get_pinch_angle_towards", 45.0, false},
    {"gesture_pinch_angle_away", "gesture_get_pinch_angle_away", 45.0, false},
    {"gesture_rotate_time", "gesture_get_rotate_time", 160000.0, true},
    {"gesture_rotate_angle", "gesture_get_rotate_angle", 5.0, false},
    {"gesture_tap_count", "gesture_get_tap_count", 1.0, false},
};
constexpr int kGestureCount = static_cast<int>(sizeof g_gestures / sizeof g_gestures[0]);

template <int I>
void gesture_set(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  GestureParameter& p = g_gestures[I];
  if (argc > 0) p.value = p.time ? std::floor(KVGetReal(argv, 0) * 1000000.0) : KVGetReal(argv, 0);
  *result = RV_Undefined();
}
template <int I>
void gesture_get(RValue* result, CInstance*, CInstance*, int, RValue*) {
  const GestureParameter& p = g_gestures[I];
  *result = RV_Real(p.time ? p.value / 1000000.0 : p.value);
}

template <int... I>
void register_gestures(std::integer_sequence<int, I...>) {
  (Function_Add(g_gestures[I].setter, gesture_set<I>, 1, 0), ...);
  (Function_Add(g_gestures[I].getter, gesture_get<I>, 0, 0), ...);
}

#undef KV_BUILTIN

}  // namespace

void IO_RegisterBuiltins() {
  struct Row {
    const char* name;
    TSL_Builtin fn;
    int argc;
  };
  static const Row kRows[] = {
      {"keyboard_check", F_KeyboardCheck, 1},
      {"keyboard_check_pressed", F_KeyboardCheckPressed, 1},
      {"keyboard_check_released", F_KeyboardCheckReleased, 1},
      {"keyboard_check_direct", F_KeyboardCheckDirect, 1},
      {"keyboard_key_press", F_KeyboardKeyPress, 1},
      {"keyboard_key_release", F_KeyboardKeyRelease, 1},
      {"keyboard_get_numlock", F_KeyboardGetNumlock, 0},
      {"keyboard_set_numlock", F_KeyboardSetNumlock, 1},
      {"keyboard_set_map", F_KeyboardSetMap, 2},
      {"keyboard_get_map", F_KeyboardGetMap, 1},
      {"keyboard_unset_map", F_KeyboardUnsetMap, 0},
      {"keyboard_clear", F_KeyboardClear, 1},
      {"mouse_check_button", F_MouseCheckButton, 1},
      {"mouse_check_button_pressed", F_MouseCheckButtonPressed, 1},
      {"mouse_check_button_released", F_MouseCheckButtonReleased, 1},
      {"device_mouse_check_button", F_DeviceMouseCheckButton, 2},
      {"device_mouse_check_button_pressed", F_DeviceMouseCheckButtonPressed, 2},
      {"device_mouse_check_button_released", F_DeviceMouseCheckButtonReleased, 2},
      {"mouse_wheel_up", F_MouseWheelUp, 0},
      {"mouse_wheel_down", F_MouseWheelDown, 0},
      {"mouse_clear", F_MouseClear, 1},
      {"io_clear", F_IoClear, 0},
      {"device_mouse_x", F_DeviceMouseX, 1},
      {"device_mouse_y", F_DeviceMouseY, 1},
      {"device_mouse_raw_x", F_DeviceMouseRawX, 1},
      {"device_mouse_raw_y", F_DeviceMouseRawY, 1},
      {"device_mouse_x_to_gui", F_DeviceMouseXToGui, 1},
      {"device_mouse_y_to_gui", F_DeviceMouseYToGui, 1},
      {"device_mouse_dbclick_enable", F_DeviceMouseDbclickEnable, 1},
      {"virtual_key_add", F_VirtualKeyAdd, 5},
      {"virtual_key_delete", F_VirtualKeyDelete, 1},
      {"virtual_key_show", F_VirtualKeyShow, 1},
      {"virtual_key_hide", F_VirtualKeyHide, 1},
      {"keyboard_virtual_show", F_Nothing, -1},
      {"keyboard_virtual_hide", F_Nothing, 0},
      {"keyboard_virtual_status", F_Zero, 0},
      {"keyboard_virtual_height", F_Zero, 0},
      {"device_get_tilt_x", F_Zero, 0},
      {"device_get_tilt_y", F_Zero, 0},
      {"device_get_tilt_z", F_Zero, 0},
      {"device_is_keypad_open", F_Zero, 0},
  };
  for (const Row& row : kRows) Function_Add(row.name, row.fn, row.argc, 0);
  register_gestures(std::make_integer_sequence<int, kGestureCount>{});
}

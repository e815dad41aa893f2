#pragma once
// The input stages of the frame step, in their order (stages 11 to 13): keyboard events over the
// key state of the input layer, the old joystick events, and the mouse events with their hit
// tests. The input layer installs what the stages read; until it does, no key is down, pressed or
// released (so only the "<no key>" passes run) and the mouse and joystick events are off.
#include <cstdint>

struct StepKeyboardState {
  bool (*down)(int32_t key) = nullptr;      // held, or pressed in this frame
  bool (*pressed)(int32_t key) = nullptr;   // pressed in this frame
  bool (*released)(int32_t key) = nullptr;  // released in this frame
  bool (*anyKey)() = nullptr;               // the input layer's own "any key" state
};
extern StepKeyboardState g_StepKeyboard;

// For key codes 8 to 255 ascending: Pass(5, key) for a key down, Pass(9, key) for one pressed,
// Pass(10, key) for one released; then Pass(5, k), Pass(9, k) and Pass(10, k) with k 1 when any
// key of that kind applied, else 0.
void Step_KeyboardEvents();
void Step_JoystickEvents();
void Step_MouseEvents();

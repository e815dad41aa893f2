#pragma once
// The input stages of the frame step, in their order (stages 11 to 13): keyboard events over the
// key state of the input layer, the old joystick events, and the mouse events with their hit
// tests. The input layer installs what the stages read; until it does, no key is down, pressed or
// released (so only the "<no key>" passes run) and the mouse and joystick events are off.
#include <cstdint>

class CInstance;

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

// What the mouse stage reads: device 0's buttons 1 to 5 of this frame, the wheel, and the pointer
// in room coordinates. enabled is the input layer's switch for mouse events.
struct StepMouseState {
  bool enabled = false;
  bool (*down)(int32_t button) = nullptr;      // held, or pressed in this frame
  bool (*pressed)(int32_t button) = nullptr;
  bool (*released)(int32_t button) = nullptr;
  bool (*wheelUp)() = nullptr;
  bool (*wheelDown)() = nullptr;
  void (*position)(float* x, float* y) = nullptr;
  void (*updateVirtualKeys)() = nullptr;  // generation 2 updates them ahead of the events
};
extern StepMouseState g_StepMouse;
// Whether the point hits the instance by the collision test with precise masks; installed by the
// input layer. Without it no instance is hit, so only the global mouse events run.
extern bool (*g_StepMouseHit)(CInstance* instance, float x, float y);
// The pointer in room coordinates read by the last mouse stage, and the one before it.
void Step_MousePosition(float* x, float* y, float* previous_x, float* previous_y);

void Step_JoystickEvents();
// Generation 2: pressed (per button 1 to 3: the local event of the button, Pass(6, 12), the global
// one), held (local, global; "no button" when none), released, mouse enter and leave, wheel.
// Generation 1 runs the held stage first. A local event runs only on instances the pointer hits.
void Step_MouseEvents();

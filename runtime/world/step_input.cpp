// The keyboard stage over the input layer's key state; the joystick and mouse stages belong to the
// input layer, which has no joystick slots of the old kind and switches mouse events on itself.
#include "world/step_input.h"

#include "world/event.h"
#include "world/step.h"

StepKeyboardState g_StepKeyboard;

namespace {

constexpr int32_t kFirstKey = 8;
constexpr int32_t kLastKey = 255;

bool ask(bool (*query)(int32_t), int32_t key) { return query != nullptr && query(key); }

}  // namespace

void Step_KeyboardEvents() {
  const StepKeyboardState& keys = g_StepKeyboard;
  bool any_down = keys.anyKey != nullptr && keys.anyKey();
  bool any_pressed = false;
  bool any_released = false;
  for (int32_t key = kFirstKey; key <= kLastKey; ++key) {
    const bool pressed = ask(keys.pressed, key);
    if (pressed || ask(keys.down, key)) {
      any_down = true;
      Pass(kEventKeyboard, key);
      if (pressed) {
        any_pressed = true;
        Pass(kEventKeyPress, key);
      }
    }
    if (ask(keys.released, key)) {
      any_released = true;
      Pass(kEventKeyRelease, key);
    }
  }
  Pass(kEventKeyboard, any_down ? 1 : 0);
  Pass(kEventKeyPress, any_pressed ? 1 : 0);
  Pass(kEventKeyRelease, any_released ? 1 : 0);
}

void Step_JoystickEvents() {}
void Step_MouseEvents() {}

// The keyboard and mouse stages over the input layer's state. There are no joystick slots of the
// old kind, so the joystick stage raises nothing.
#include "world/step_input.h"

#include "data/game_data.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/step.h"

StepKeyboardState g_StepKeyboard;
StepMouseState g_StepMouse;
bool (*g_StepMouseHit)(CInstance* instance, float x, float y) = nullptr;

namespace {

constexpr int32_t kFirstKey = 8;
constexpr int32_t kLastKey = 255;

bool ask(bool (*query)(int32_t), int32_t key) { return query != nullptr && query(key); }
bool ask(bool (*query)()) { return query != nullptr && query(); }

// Mouse event subtypes.
constexpr int32_t kMouseLocalHeldBase = -1;      // + button: left 0, right 1, middle 2
constexpr int32_t kMouseNoButton = 3;
constexpr int32_t kMouseLocalPressedBase = 3;    // + button: 4, 5, 6
constexpr int32_t kMouseLocalReleasedBase = 6;   // + button: 7, 8, 9
constexpr int32_t kMouseEnter = 10;
constexpr int32_t kMouseLeave = 11;
constexpr int32_t kMousePressedAny = 12;
constexpr int32_t kMouseReleasedAny = 13;
constexpr int32_t kMouseGlobalHeldBase = 49;     // + button: 50, 51, 52
constexpr int32_t kMouseGlobalPressedBase = 52;  // + button: 53, 54, 55
constexpr int32_t kMouseGlobalReleasedBase = 55;  // + button: 56, 57, 58
constexpr int32_t kMouseWheelUp = 60;
constexpr int32_t kMouseWheelDown = 61;
constexpr int32_t kStageButtons = 3;  // left, right, middle

float g_mouse_x = 0.0f, g_mouse_y = 0.0f;
float g_previous_x = 0.0f, g_previous_y = 0.0f;

bool hit(CInstance* instance) { return g_StepMouseHit != nullptr && g_StepMouseHit(instance, g_mouse_x, g_mouse_y); }
void local_pass(int32_t subtype) { PassWhere(kEventMouse, subtype, hit); }

void pressed_stage() {
  for (int32_t b = 1; b <= kStageButtons; ++b) {
    if (!ask(g_StepMouse.pressed, b)) continue;
    local_pass(kMouseLocalPressedBase + b);
    Pass(kEventMouse, kMousePressedAny);
    Pass(kEventMouse, kMouseGlobalPressedBase + b);
  }
}

void held_stage() {
  bool any = false;
  for (int32_t b = 1; b <= kStageButtons; ++b) {
    if (!ask(g_StepMouse.down, b) && !ask(g_StepMouse.pressed, b)) continue;
    any = true;
    local_pass(kMouseLocalHeldBase + b);
    Pass(kEventMouse, kMouseGlobalHeldBase + b);
  }
  if (!any) local_pass(kMouseNoButton);
}

void released_stage() {
  for (int32_t b = 1; b <= kStageButtons; ++b) {
    if (!ask(g_StepMouse.released, b)) continue;
    local_pass(kMouseLocalReleasedBase + b);
    Pass(kEventMouse, kMouseReleasedAny);
    Pass(kEventMouse, kMouseGlobalReleasedBase + b);
  }
}

// Marks each instance with an Enter or Leave event once: bits 0 and 1 say whether the pointer is
// over it now (1) or not (2), bits 2 and 3 the change from the last stage.
void update_over_state(int32_t subtype, int64_t stamp) {
  int32_t count = 0;
  const int32_t* objects = Object_EventObjects(kEventMouse, subtype, &count);
  for (int32_t i = 0; i < count; ++i) {
    const CObjectTV* object = Object_Find(objects[i]);
    if (object == nullptr) continue;
    for (const ObjectInstanceNode* node = object->instances.head; node != nullptr;) {
      CInstance* instance = node->instance;
      node = node->next;
      if (!Instance_IsLive(instance) || instance->createCounter >= stamp) continue;
      instance->createCounter = stamp;
      const int32_t now = hit(instance) ? 1 : 2;
      const int32_t before = instance->mouseOverState & 3;
      instance->mouseOverState = static_cast<uint16_t>(((before ^ now) << 2) | now);
    }
  }
}

void enter_leave_stage() {
  const int64_t stamp = PassCounter++;
  update_over_state(kMouseEnter, stamp);
  update_over_state(kMouseLeave, stamp);
  PassWhere(kEventMouse, kMouseEnter, [](CInstance* i) { return (i->mouseOverState & 0x5) == 0x5; });
  PassWhere(kEventMouse, kMouseLeave, [](CInstance* i) { return (i->mouseOverState & 0xA) == 0xA; });
}

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

void Step_MouseEvents() {
  if (!g_StepMouse.enabled) return;
  const bool generation2 = GameData_Header().generation >= 2;
  if (generation2 && g_StepMouse.updateVirtualKeys != nullptr) g_StepMouse.updateVirtualKeys();
  g_previous_x = g_mouse_x;
  g_previous_y = g_mouse_y;
  if (g_StepMouse.position != nullptr) g_StepMouse.position(&g_mouse_x, &g_mouse_y);
  if (generation2) {
    pressed_stage();
    held_stage();
  } else {
    held_stage();
    pressed_stage();
  }
  released_stage();
  enter_leave_stage();
  if (ask(g_StepMouse.wheelUp)) Pass(kEventMouse, kMouseWheelUp);
  if (ask(g_StepMouse.wheelDown)) Pass(kEventMouse, kMouseWheelDown);
}

void Step_MousePosition(float* x, float* y, float* previous_x, float* previous_y) {
  *x = g_mouse_x;
  *y = g_mouse_y;
  *previous_x = g_previous_x;
  *previous_y = g_previous_y;
}

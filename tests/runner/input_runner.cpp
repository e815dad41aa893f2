// The real runner with a small compiled code table for the input process tests. The data file,
// written by the test, has an object whose events are these rows (by index):
//   0 Step: every key and mouse edge of the frame goes to the console as a trace line; with the
//     token "-feed" on the command line, the step types keys itself through keyboard_key_press
//     and keyboard_key_release (they arrive by the window's road, so a recording sees them)
//   1 Global Left Pressed: "click <mouse_x> <mouse_y>" and x grows by 10
//   2 Keyboard Press <any key>: "keypress <keyboard_lastkey>" and y grows by 1
// The trace lines are on the output console, numbered by the frame count the step keeps itself.
#include <cstring>
#include <string>

#include "core/console.h"
#include "core/script_api.h"
#include "script_runner.h"

namespace {

int g_frame = 0;

bool asked_to_feed() {
  const tsl::Value count = tsl::call("parameter_count", nullptr, nullptr);
  for (int i = 0; i <= static_cast<int>(count.real()); ++i) {
    const tsl::Value token = tsl::call("parameter_string", nullptr, nullptr, {RV_Real(i)});
    if (RV_Kind(*token) == kRVString && std::strcmp(RV_StringText(*token), "-feed") == 0) return true;
  }
  return false;
}

bool check(const char* builtin, CInstance* self, double what) {
  return tsl::call(builtin, self, self, {RV_Real(what)}).real() != 0.0;
}

void Step(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_probe_Step_0", self);
  // Keys 65, 66 and 32 typed over the frames 3 to 9; 66 held across frames, 32 pressed and
  // released in the same frame.
  if (asked_to_feed()) {
    struct Feed {
      int frame;
      int key;
      bool down;
    };
    static constexpr Feed kFeed[] = {{3, 65, true}, {4, 65, false}, {5, 66, true}, {8, 66, false},
                                     {9, 32, true}, {9, 32, false}};
    for (const Feed& f : kFeed) {
      if (f.frame == g_frame) tsl::call(f.down ? "keyboard_key_press" : "keyboard_key_release", self, other, {RV_Real(f.key)});
    }
  }
  for (int key = 8; key < 256; ++key) {
    const bool pressed = check("keyboard_check_pressed", self, key);
    const bool released = check("keyboard_check_released", self, key);
    if (pressed || released) {
      g_OutputConsole->Output("trace %d key %d%s%s%s\n", g_frame, key, pressed ? " pressed" : "", released ? " released" : "",
                              check("keyboard_check", self, key) ? " down" : "");
    }
  }
  for (int button = 1; button <= 3; ++button) {
    const bool pressed = check("mouse_check_button_pressed", self, button);
    const bool released = check("mouse_check_button_released", self, button);
    if (pressed || released) {
      g_OutputConsole->Output("trace %d button %d%s%s\n", g_frame, button, pressed ? " pressed" : "", released ? " released" : "");
    }
  }
  ++g_frame;
}

void GlobalLeftPressed(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_probe_Mouse_53", self);
  const double mx = tsl::get(self, "mouse_x").real();
  const double my = tsl::get(self, "mouse_y").real();
  g_OutputConsole->Output("trace %d click %g %g\n", g_frame, mx, my);
  tsl::set(self, "x", RV_Real(tsl::get(self, "x").real() + 10));
}

void KeyPress(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_probe_KeyPress_1", self);
  g_OutputConsole->Output("trace %d keypress %g\n", g_frame, tsl::get(self, "keyboard_lastkey").real());
  tsl::set(self, "y", RV_Real(tsl::get(self, "y").real() + 1));
}

KVScriptRow g_rows[] = {
    {"tsl_Object_obj_probe_Step_0", reinterpret_cast<KVCodeFunction>(Step), nullptr},
    {"tsl_Object_obj_probe_Mouse_53", reinterpret_cast<KVCodeFunction>(GlobalLeftPressed), nullptr},
    {"tsl_Object_obj_probe_KeyPress_1", reinterpret_cast<KVCodeFunction>(KeyPress), nullptr},
};

}  // namespace

int main(int argc, char** argv) { return RunWithScripts(argc, argv, g_rows); }

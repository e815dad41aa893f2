#pragma once
// The input library as the game meets it: build/data.win is loaded with the program's compiled code
// tables on the fake window host and the null device, the global scripts run (the library's
// start-up among them), the device layer is started, and each frame() delivers the fake events a
// test queued, updates the device layer and runs the runner's frame (the library's time source
// ticks inside the step). Public functions are called by name through the script table, as
// compiled game code calls them.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/script_api.h"
#include "platform/fake/fake_clock.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/draw_game.h"

class InputLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Events of the next frame.
  void key_down(int32_t key);
  void key_up(int32_t key);
  void mouse_move(int32_t x, int32_t y);
  void mouse_down(int32_t button);
  void mouse_up(int32_t button);
  // A controller (fixed layout) or a plain joystick (raw buttons, axes and hats) attached with the
  // host's id; the device layer gives it a slot at the next frame.
  FakeWindowHost::FakePad& attach_controller(int32_t id, const std::string& name = "Test Pad");
  FakeWindowHost::FakePad& attach_joystick(int32_t id, const std::string& guid, const std::string& name = "Plain Stick");
  void detach_pads();
  FakeWindowHost::FakePad& pad(int32_t id) { return *host_.Pad(id); }
  // One frame of the runner, after the queued events; the clock moves on by a 60th of a second.
  void frame();
  void frames(int count) {
    for (int i = 0; i < count; ++i) frame();
  }

  // A public function of the library by name, e.g. call("input_check", {verb("select")}).
  tsl::Value call(const char* name, std::initializer_list<RValue> args = {});
  tsl::Value call_with(const char* name, std::vector<RValue> args);
  bool check(const char* function, const char* verb, double player = 0);
  static tsl::Value text(const char* s) { return tsl::Value::String(s); }
  // The message of the error a call raises, "" when it raises none.
  std::string error_of(const char* name, std::initializer_list<RValue> args = {});

  FakeClock clock_{1000000};
  FakeWindowHost host_;
  NullDevice device_{640, 360};
  DrawGame game_;
  std::string start_output_;
};

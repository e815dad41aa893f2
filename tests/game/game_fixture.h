#pragma once
// The game as the runner starts it, for the game's tests: build/data.win loaded with the program's
// compiled code tables on the fake window host and the null device in a 640 x 360 window, the
// global scripts run, the first room started and the device layer's input started; with a mixing
// layer in memory when a test listens to the sounds. Frame() delivers the window messages a test
// queued on host_, updates the input and runs one frame of the runner. Helpers read the game's
// values, instances and state machines through the script-visible variables.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/script_api.h"
#include "core/with.h"
#include "graphics/window.h"
#include "input/io.h"
#include "platform/fake/fake_audio.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/builtin_call.h"
#include "support/game_file.h"

class GameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Window_UsePlatform(&host_, &device_);
    if (with_audio_) game_.audio = FakeAudio_Platform();
    StartGameFile(&game_, Compiled_CodeTables());
    if (HasFatalFailure()) return;
    IO_Init(IoSettings{});
    host_.input_focus = true;
  }
  void TearDown() override {
    IO_End();
    game_.Stop();
    Window_UsePlatform(nullptr, nullptr);
  }

  void Frame() {
    Window_PumpMessages();
    IO_Update();
    game_.Frame();
  }
  void Frames(int n) {
    for (int i = 0; i < n; ++i) Frame();
  }
  // Window messages for the next frame.
  void MoveTo(int32_t x, int32_t y) { host_.Push(WindowMessageKind::kMouseMove, x, y); }
  void Press(int32_t button) { host_.Push(WindowMessageKind::kMouseDown, button); }
  void Release(int32_t button) { host_.Push(WindowMessageKind::kMouseUp, button); }

  FakeWindowHost host_;
  NullDevice device_{640, 360};
  DrawGame game_;
  bool with_audio_ = false;
};

// The text of a string value, or a mark for anything else.
inline std::string Text(const tsl::Value& v) {
  return RV_Kind(*v) == kRVString ? RV_StringText(*v) : "<not a string>";
}
// A struct's member, and a global variable.
inline tsl::Value Member(const tsl::Value& record, const char* name) {
  return tsl::get(KV_AsInstance(record.object()), name);
}
inline tsl::Value Global(const char* name) { return tsl::get(tsl::global(), name); }
inline double Num(CInstance* who, const char* name) { return tsl::get(who, name).real(); }

// Every live instance of an object, in the order the world lists them.
inline std::vector<CInstance*> All(int32_t object) {
  std::vector<CInstance*> found;
  CInstance* self = nullptr;
  CInstance* other = nullptr;
  for (KVWith w(&self, &other, object); w.Next();) found.push_back(self);
  return found;
}

// The current state of an instance's state machine (its fsm).
inline std::string StateOf(CInstance* who) {
  const tsl::Value machine = tsl::get(who, "fsm");
  return Text(tsl::call_method(*tsl::get(KV_AsInstance(machine.object()), "get_current_state"), who, who));
}

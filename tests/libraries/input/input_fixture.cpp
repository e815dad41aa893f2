#include "input_fixture.h"

#include <vector>

#include "compiled_code.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/object.h"
#include "graphics/window.h"
#include "input/io.h"
#include "platform/clock.h"
#include "support/builtin_call.h"
#include "support/fake_pads.h"
#include "support/game_file.h"

void InputLibraryTest::SetUp() {
  Platform_SetClock(&clock_);
  Window_UsePlatform(&host_, &device_);
  ConsoleCapture capture;
  try {
    StartGameFile(&game_, Compiled_CodeTables());
    if (HasFatalFailure()) return;
  } catch (const KVTSLException& e) {
    FAIL() << "the start-up raised: " << e.message() << "\n" << capture.text();
  }
  start_output_ = capture.text();
  // The tests play in the title room: its controller is set aside, so their keys and clicks don't
  // fade it out into the game room.
  tsl::call("instance_deactivate_object", nullptr, nullptr, {RV_Real(8)});
  IO_Init(IoSettings{});
  host_.input_focus = true;
}

void InputLibraryTest::TearDown() {
  IO_End();
  game_.Stop();
  Window_UsePlatform(nullptr, nullptr);
  Platform_SetClock(nullptr);
}

FakeWindowHost::FakePad& InputLibraryTest::attach_controller(int32_t id, const std::string& name) {
  host_.pads.push_back(FakeController(id, name));
  host_.Push(WindowMessageKind::kDevicesChanged);
  return host_.pads.back();
}

FakeWindowHost::FakePad& InputLibraryTest::attach_joystick(int32_t id, const std::string& guid, const std::string& name) {
  host_.pads.push_back(FakeJoystick(id, guid, name));
  host_.Push(WindowMessageKind::kDevicesChanged);
  return host_.pads.back();
}

void InputLibraryTest::detach_pads() {
  host_.pads.clear();
  host_.Push(WindowMessageKind::kDevicesChanged);
}

void InputLibraryTest::key_down(int32_t key) { host_.Push(WindowMessageKind::kKeyDown, key); }
void InputLibraryTest::key_up(int32_t key) { host_.Push(WindowMessageKind::kKeyUp, key); }
void InputLibraryTest::mouse_move(int32_t x, int32_t y) { host_.Push(WindowMessageKind::kMouseMove, x, y); }
void InputLibraryTest::mouse_down(int32_t button) { host_.Push(WindowMessageKind::kMouseDown, button); }
void InputLibraryTest::mouse_up(int32_t button) { host_.Push(WindowMessageKind::kMouseUp, button); }

void InputLibraryTest::frame() {
  clock_.Advance(16667);
  Window_PumpMessages();
  IO_Update();
  game_.Frame();
}

tsl::Value InputLibraryTest::call(const char* name, std::initializer_list<RValue> args) {
  int32_t index = -1;
  EXPECT_TRUE(Function_Find(name, &index)) << name;
  return tsl::call(index, tsl::global(), tsl::global(), args);
}

tsl::Value InputLibraryTest::call_with(const char* name, std::vector<RValue> args) {
  int32_t index = -1;
  EXPECT_TRUE(Function_Find(name, &index)) << name;
  std::vector<RValue*> pointers;
  for (RValue& a : args) pointers.push_back(&a);
  tsl::Value out;
  const KVScriptRow* row = KVGetScriptRow(index);
  if (row != nullptr && row->function != nullptr) {
    reinterpret_cast<KVScriptFunction>(row->function)(tsl::global(), tsl::global(), out.get(),
                                                      static_cast<int>(pointers.size()), pointers.data());
  }
  return out;
}

bool InputLibraryTest::check(const char* function, const char* verb, double player) {
  return RV_ToBool(*call(function, {*text(verb), RV_Real(player)}));
}

std::string InputLibraryTest::error_of(const char* name, std::initializer_list<RValue> args) {
  return ErrorRaisedBy([&] { call(name, args); });
}

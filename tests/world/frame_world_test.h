#pragma once
// A world test that runs rooms through the real frame driver on a fake clock: the room builtins
// registered, layers ready, sleep timing, and the driver reading the current room's speed.
// Subclasses register more builtins after SetUp and free their own subjects before TearDown.
#include "core/builtin_families.h"
#include "core/frame_state.h"
#include "core/timing.h"
#include "platform/fake/fake_clock.h"
#include "platform/process.h"
#include "run/run_frame.h"
#include "run/run_present.h"
#include "support/world_fixture.h"
#include "world/layer.h"
#include "world/room.h"

class FrameWorldTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Run_Room = nullptr;
    Builtins_AddRegistrar(kFamilyResource, Room_RegisterBuiltins);
    Layer_Init();
    Layer_ResetState();
    Platform_SetClock(&clock_);
    Timing_Reset();
    FrameState_Reset();
    Frame_SetMainThread();
    Frame_Pacer().Reset();
    Run_UseGameTimer = false;
    SleepTimingForced = true;
    Frame_SetRoomSpeedReader(room_speed);
  }
  void TearDown() override {
    Room_FreeAll();
    Layer_ResetState();
    Frame_SetRoomSpeedReader(nullptr);
    Platform_SetClock(nullptr);
    FrameState_Reset();
    WorldTest::TearDown();
  }

  FakeClock clock_{5000000, 3};

 private:
  static int32_t* room_speed(void* room) {
    static int32_t no_room = 0;
    return room != nullptr ? &static_cast<CRoom*>(room)->speed : &no_room;
  }
};

#include <gtest/gtest.h>

#include <string>

#include "core/console.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "run/run_builtins.h"
#include "platform/system.h"
#include "storage/ds_core.h"
#include "storage/ds_map.h"
#include "storage/fn_ds.h"

namespace {

class RunBuiltinsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Function_Clear();
    Run_RegisterGameBuiltins();
    Run_RegisterDisplayTimingBuiltins();
    FrameState_Reset();
    saved_margin_ = SleepMargin;
    Run_GameTimer = GameTimer{};
  }
  void TearDown() override {
    SleepMargin = saved_margin_;
    FrameState_Reset();
    DS_FreeAll();  // the structures a test made, so that the next one counts from none
    Function_Clear();
  }

  RValue call(const char* name, std::initializer_list<RValue> args) {
    int32_t index = -1;
    EXPECT_TRUE(Function_Find(name, &index)) << name;
    RValue argv[4];
    int argc = 0;
    for (const RValue& arg : args) argv[argc++] = arg;
    RValue result = RV_Undefined();
    g_CurrentFunction = Function_Row(index);
    Function_Row(index)->handler(&result, nullptr, nullptr, argc, argv);
    g_CurrentFunction = nullptr;
    return result;
  }

  int32_t saved_margin_ = 10;
};

TEST_F(RunBuiltinsTest, GameEndStoresTheCodeAnnouncesItAndRequestsTheEnd) {
  ConsoleCapture capture;
  call("game_end", {RV_Real(3)});
  EXPECT_EQ(New_Room, kNewRoomEndGame);
  EXPECT_EQ(Run_ExitCode, 3);
  EXPECT_EQ(capture.text(), "###game_end###3\n");

  FrameState_Reset();
  capture.clear();
  call("game_end", {});
  EXPECT_EQ(Run_ExitCode, 0);
  EXPECT_EQ(capture.text(), "###game_end###0\n");
}

TEST_F(RunBuiltinsTest, GameRestartRequestsARestart) {
  call("game_restart", {});
  EXPECT_EQ(New_Room, kNewRoomRestart);
}

TEST_F(RunBuiltinsTest, GameSpeedInFramesOrMicrosecondsAndNeverBackwards) {
  call("game_set_speed", {RV_Real(30), RV_Real(0)});
  EXPECT_DOUBLE_EQ(RV_ToDouble(call("game_get_speed", {RV_Real(0)})), 30.0);
  EXPECT_NEAR(RV_ToDouble(call("game_get_speed", {RV_Real(1)})), 33333.33, 0.01);

  call("game_set_speed", {RV_Real(20000), RV_Real(1)});
  EXPECT_DOUBLE_EQ(RV_ToDouble(call("game_get_speed", {RV_Real(0)})), 50.0);

  call("game_set_speed", {RV_Real(25), RV_Real(7)});  // an unknown type changes nothing
  EXPECT_DOUBLE_EQ(Run_GameTimer.fps, 50.0);

  call("game_set_speed", {RV_Real(0), RV_Real(0)});
  EXPECT_DOUBLE_EQ(RV_ToDouble(call("game_get_speed", {RV_Real(0)})), 0.0);

  try {
    call("game_set_speed", {RV_Real(-1), RV_Real(0)});
    ADD_FAILURE() << "a negative speed must raise";
  } catch (const KVTSLException& error) {
    EXPECT_EQ(error.message(), "game_set_speed() - game time can't run backwards");
  }
}

TEST_F(RunBuiltinsTest, DisplayTimingMethodMarginAndReset) {
  call("display_set_timing_method", {RV_Real(0)});
  EXPECT_TRUE(SleepTimingForced);
  EXPECT_EQ(RV_ToDouble(call("display_get_timing_method", {})), 0.0);
  call("display_set_timing_method", {RV_Real(5)});  // other values change nothing
  EXPECT_TRUE(SleepTimingForced);
  call("display_set_timing_method", {RV_Real(1)});
  EXPECT_EQ(RV_ToDouble(call("display_get_timing_method", {})), 1.0);

  call("display_set_sleep_margin", {RV_Real(-4)});  // stored unclamped
  EXPECT_EQ(RV_ToDouble(call("display_get_sleep_margin", {})), -4.0);

  call("display_reset", {RV_Real(4), RV_Bool(true)});
  EXPECT_EQ(Run_ResetCountdown, 1);
  EXPECT_TRUE(VsyncOn);
  VsyncOn = false;
}

TEST_F(RunBuiltinsTest, ReleaseModeSwapsTheGridCellBuiltinsAndBack) {
  DS_RegisterBuiltins();
  int32_t get = -1;
  ASSERT_TRUE(Function_Find("ds_grid_get", &get));
  const TSL_Builtin checked = Function_Row(get)->handler;
  call("tsl_release_mode", {RV_Real(1)});
  EXPECT_NE(Function_Row(get)->handler, checked);
  call("tsl_release_mode", {RV_Real(0.25)});
  EXPECT_EQ(Function_Row(get)->handler, checked);
}

double Field(const RValue& structure, const char* name) {
  RValue out = RV_Undefined();
  EXPECT_TRUE(Object_GetVar(RV_ObjectOf(structure), Variable_GetSlot(name), kIndexWholeValue, &out)) << name;
  return RV_ToDouble(out);
}

TEST_F(RunBuiltinsTest, DebugEventTurnsItsSwitchesAndCountsDataStructures) {
  Run_RegisterDebugEventBuiltins();
  DS_RegisterBuiltins();
  Debug_Flags() = DebugFlags{};
  g_GCThreadedWanted = true;
  struct Switch {
    const char* word;
    bool (*read)();
    bool expected;
  };
  const Switch switches[] = {
      {"VMTraceOn", [] { return Debug_Flags().vmTrace; }, true},
      {"VMTraceOff", [] { return Debug_Flags().vmTrace; }, false},
      {"VMBadRefsCrash", [] { return Debug_Flags().badRefsCrash; }, true},
      {"VMBadRefsIgnore", [] { return Debug_Flags().badRefsCrash; }, false},
      {"MultithreadGCOff", [] { return g_GCThreadedWanted; }, false},
      {"MultithreadGCOn", [] { return g_GCThreadedWanted; }, true},
      {"BreakOnError", [] { return Debug_Flags().breakOnError; }, true},
  };
  for (const Switch& s : switches) {
    RValue word = RV_Undefined();
    RV_SetString(&word, s.word);
    const RValue result = call("debug_event", {word});
    RV_Free(&word);
    EXPECT_EQ(RV_Kind(result), kRVObject) << s.word;
    EXPECT_EQ(s.read(), s.expected) << s.word;
  }

  call("ds_list_create", {});
  call("ds_list_create", {});
  const RValue map = call("ds_map_create", {});
  RValue word = RV_Undefined();
  RV_SetString(&word, "ResourceCounts");
  const RValue counts = call("debug_event", {word});
  RV_Free(&word);
  EXPECT_EQ(Field(counts, "listCount"), 2.0);
  EXPECT_EQ(Field(counts, "listMaxIndex"), 1.0);
  EXPECT_GE(Field(counts, "listArrayAllocatedSize"), 2.0);
  EXPECT_EQ(Field(counts, "mapCount"), 1.0);
  EXPECT_EQ(Field(counts, "gridCount"), 0.0);
  EXPECT_EQ(Field(counts, "gridMaxIndex"), -1.0);
  call("ds_map_destroy", {map});
  GC_Reset();
}

TEST_F(RunBuiltinsTest, OsGetInfoMakesANewMapOfDeviceFacts) {
  Run_RegisterSystemBuiltins();
  DS_RegisterBuiltins();
  const RValue first = call("os_get_info", {});
  const RValue second = call("os_get_info", {});
  EXPECT_NE(RV_ToInt32(first), RV_ToInt32(second)) << "each call makes a new map";
  const CDS_Map* map = DS_Find<CDS_Map>(RV_ToInt32(first));
  ASSERT_NE(map, nullptr);
  RValue key = RV_Undefined();
  RV_SetString(&key, "is64bit");
  ASSERT_NE(map->find(key), nullptr);
  EXPECT_EQ(RV_ToDouble(*map->find(key)), 1.0);
  RV_Free(&key);
  RV_SetString(&key, "udid");
  const std::string udid = Platform_MachineId();
  if (udid.empty()) {
    EXPECT_EQ(map->find(key), nullptr) << "no id, no key";
  } else {
    ASSERT_NE(map->find(key), nullptr);
    EXPECT_STREQ(RV_StringText(*map->find(key)), udid.c_str());
  }
  RV_Free(&key);
  call("ds_map_destroy", {first});
  call("ds_map_destroy", {second});

  RValue missing = RV_Undefined();
  RV_SetString(&missing, "no_such_file_for_a_digest.bin");
  for (const char* name : {"md5_file", "sha1_file"}) {
    RValue digest = call(name, {missing});
    EXPECT_STREQ(RV_StringText(digest), "") << name;
    RV_Free(&digest);
  }
  RV_Free(&missing);
}

}  // namespace

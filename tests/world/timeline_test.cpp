// Timelines: the table built from TMLN, the moments the stage runs for each speed, looping, the
// event values during a moment, the timeline builtins and the instance variables.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/builtin_var.h"
#include "core/console.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_world.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/builtin_var_rows.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/timeline.h"

namespace {

// A moment records the timeline values that scripts see while it runs.
void Moment(CInstance* self, CInstance*) {
  Log().push_back(std::to_string(CurrentEventType) + "/" + std::to_string(CurrentEventObject) + "/" +
                  std::to_string(CurrentEventNumber) + " " + std::to_string(self->id));
}
// A script row (script shape) for timeline_moment_add_script.
void ScriptMoment(CInstance* self, CInstance*, RValue*, int, RValue**) {
  Log().push_back("script " + std::to_string(CurrentEventNumber) + " " + std::to_string(self->id));
}
// Jumps the timeline to 20 from its moment.
void Jump(CInstance* self, CInstance* other) {
  Moment(self, other);
  self->pathState->timelinePosition = 20.0f;
}

class TimelineTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyTime, TimeLine_RegisterBuiltins);
    const int32_t moment = code("tl_moment", Moment);
    const int32_t jump = code("tl_jump", Jump);
    script_row_ = code("tsl_Script_moment_script", reinterpret_cast<TestEventFn>(reinterpret_cast<void (*)()>(ScriptMoment)));
    ASSERT_TRUE(load({datawin::TimelineRecord{"tl_main", {{0, moment}, {10, moment}, {15, moment}}},
                                        datawin::TimelineRecord{"tl_jump", {{2, jump}, {12, moment}, {25, moment}}}}));
    ASSERT_TRUE(TimeLine_BuildFromAssets());
    BuiltinVar_RegisterAll();
  }
  void TearDown() override {
    TimeLine_FreeAll();
    Variable_BuiltIn_Reset();
    WorldTest::TearDown();
  }

  // load_objects with a TMLN chunk beside OBJT.
  bool load(const std::vector<datawin::TimelineRecord>& timelines) {
    datawin::Writer writer = MakeMinimalGame();
    datawin::add_objt(writer, {ObjectDef("player")});
    std::vector<std::optional<datawin::TimelineRecord>> records(timelines.begin(), timelines.end());
    datawin::add_tmln(writer, records);
    datawin::RoomRecord room;
    room.name = "rm_timelines";
    datawin::add_room(writer, {room});
    return load_and_start(writer);
  }

  // An instance playing timeline index from position with speed, as scripts set it up.
  CInstance* player(int32_t index, float position, float speed, bool loop = false) {
    CInstance* instance = make(0);
    InstancePathState* state = InstancePath_Get(instance);
    state->timelineIndex = index;
    state->timelinePosition = position;
    state->timelineSpeed = speed;
    instance->flags |= kInstTimelineRuns | (loop ? kInstTimelineLoops : 0u);
    return instance;
  }
  std::string name_of(CInstance* self, int32_t index) {
    RValue name = call("timeline_get_name", self, {RV_Real(index)});
    std::string text = RV_StringText(name);
    RV_FreeToUndefined(&name);
    return text;
  }
  void steps(int count) {
    for (int i = 0; i < count; ++i) TimeLine_Stage();
  }

  int32_t script_row_ = -1;
};

TEST_F(TimelineTest, TableComesFromTheTimelineRecords) {
  ASSERT_EQ(TimeLine_Count(), 2);
  const CTimeLine* main = TimeLine_Find(0);
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(main->name, "tl_main");
  EXPECT_EQ(main->moments, (std::vector<int32_t>{0, 10, 15}));
  EXPECT_EQ(main->First(10.5), 2);
  EXPECT_EQ(main->Last(10.5), 1);
  EXPECT_EQ(main->Last(-1), -1);
}

TEST_F(TimelineTest, SpeedOneRunsEachMomentInTheStepThatStartsAtItsTime) {
  CInstance* instance = player(0, 0.0f, 1.0f);
  steps(1);
  EXPECT_EQ(Log(), (std::vector<std::string>{"100000/0/0 100001"}));
  steps(9);
  EXPECT_EQ(Log().size(), 1u);  // position 10 now: the moment at 10 is next step's
  steps(1);
  EXPECT_EQ(Log().back(), "100000/0/10 100001");
  EXPECT_FLOAT_EQ(instance->pathState->timelinePosition, 11.0f);
  EXPECT_FLOAT_EQ(instance->pathState->timelinePrevious, 10.0f);
  // Outside a moment the values are back to what they were.
  EXPECT_EQ(CurrentEventType, -1);
}

TEST_F(TimelineTest, SpeedZeroRunsNothingUntilThePositionIsMoved) {
  CInstance* instance = player(0, 0.0f, 0.0f);
  steps(3);
  EXPECT_TRUE(Log().empty());
  instance->pathState->timelinePosition = 12.0f;
  steps(1);
  // From the previous position (0) to the new one: moments 0 and 10, once.
  EXPECT_EQ(Log(), (std::vector<std::string>{"100000/0/0 100001", "100000/0/10 100001"}));
  steps(2);
  EXPECT_EQ(Log().size(), 2u);
}

TEST_F(TimelineTest, NegativeSpeedRunsMomentsDescending) {
  player(0, 16.0f, -8.0f);
  player(0, 15.0f, -20.0f);
  steps(1);
  // From Last(p) down to First(q) + 1: 16 -> 8 runs 15 only (10 is First(8)); 15 -> -5 runs 15
  // and 10 (First(-5) is the moment at 0).
  EXPECT_EQ(Log(), (std::vector<std::string>{"100000/0/15 100001", "100000/0/15 100002", "100000/0/10 100002"}));
}

TEST_F(TimelineTest, LoopingRestartsAtZeroOncePastTheLastMoment) {
  CInstance* instance = player(0, 14.0f, 1.0f, true);
  steps(1);  // runs nothing (14 -> 15)
  steps(1);  // runs 15, 15 -> 16, which is past the last moment: back to 0
  EXPECT_FLOAT_EQ(instance->pathState->timelinePosition, 0.0f);
  steps(1);
  EXPECT_EQ(Log(), (std::vector<std::string>{"100000/0/15 100001", "100000/0/0 100001"}));
  CInstance* backwards = player(0, 0.5f, -1.0f, true);
  steps(1);
  EXPECT_FLOAT_EQ(backwards->pathState->timelinePosition, 15.0f);
}

TEST_F(TimelineTest, MomentThatSetsThePositionJumpsTheTimeline) {
  CInstance* instance = player(1, 2.0f, 1.0f);
  steps(1);
  EXPECT_FLOAT_EQ(instance->pathState->timelinePosition, 20.0f);  // kept, not advanced to 3
  steps(6);
  // The moment at 12 was jumped over; 25 comes in the step that starts there.
  EXPECT_EQ(Log(), (std::vector<std::string>{"100000/1/2 100001", "100000/1/25 100001"}));
}

TEST_F(TimelineTest, StageSkipsStoppedDeadAndMissingTimelines) {
  CInstance* stopped = player(0, 0.0f, 1.0f);
  stopped->flags &= ~kInstTimelineRuns;
  CInstance* dead = player(0, 0.0f, 1.0f);
  Instance_Destroy(dead, false);
  player(7, 0.0f, 1.0f);
  player(-1, 0.0f, 1.0f);
  steps(1);
  EXPECT_TRUE(Log().empty());
  EXPECT_FLOAT_EQ(stopped->pathState->timelinePosition, 0.0f);
}

TEST_F(TimelineTest, NoMomentRunsWhileARoomChangeIsPending) {
  CInstance* instance = player(0, 0.0f, 1.0f);
  New_Room = 1;
  steps(1);
  EXPECT_TRUE(Log().empty());
  EXPECT_FLOAT_EQ(instance->pathState->timelinePosition, 1.0f);
}

TEST_F(TimelineTest, TimelineBuiltinsEditTheTable) {
  CInstance* self = make(0);
  const int32_t made = static_cast<int32_t>(call("timeline_add", self, {}).val);
  EXPECT_EQ(made, 2);
  EXPECT_TRUE(call("timeline_exists", self, {RV_Real(made)}).val != 0.0);
  EXPECT_EQ(name_of(self, made), "__newtimeline2");
  const RValue script = RV_Real(100000 + script_row_);
  for (double step : {30.0, 5.0, 30.0, 12.0}) call("timeline_moment_add_script", self, {RV_Real(made), RV_Real(step), script});
  EXPECT_EQ(call("timeline_size", self, {RV_Real(made)}).val, 3.0);
  EXPECT_EQ(call("timeline_max_moment", self, {RV_Real(made)}).val, 30.0);
  call("timeline_moment_clear", self, {RV_Real(made), RV_Real(30)});
  EXPECT_EQ(call("timeline_max_moment", self, {RV_Real(made)}).val, 12.0);

  // A script moment runs with the instance as self.
  CInstance* instance = player(made, 5.0f, 1.0f);
  steps(1);
  EXPECT_EQ(Log(), (std::vector<std::string>{"script 5 " + std::to_string(instance->id)}));

  call("timeline_clear", self, {RV_Real(made)});
  EXPECT_EQ(call("timeline_size", self, {RV_Real(made)}).val, 0.0);
  call("timeline_delete", self, {RV_Real(0)});
  EXPECT_FALSE(call("timeline_exists", self, {RV_Real(0)}).val != 0.0);
  EXPECT_EQ(name_of(self, 0), "<undefined>");
  EXPECT_EQ(static_cast<int32_t>(call("timeline_add", self, {}).val), 0);  // the lowest free slot
  ConsoleCapture capture;
  call("timeline_moment_add", self, {RV_Real(0), RV_Real(1), RV_Real(0)});
  EXPECT_EQ(capture.text(), "timeline_moment_add :: deprecated function\n");
}

TEST_F(TimelineTest, InstanceVariablesMakeThePathRecordOnWrite) {
  CInstance* instance = make(0);
  auto row = [](const char* name) { return Variable_BuiltIn_Row(Variable_BuiltIn_Find(name)); };
  RValue out = RV_Undefined();
  row("timeline_index")->get(instance, -1, &out);
  EXPECT_EQ(out.val, -1.0);
  row("timeline_speed")->get(instance, -1, &out);
  EXPECT_EQ(out.val, 1.0);
  EXPECT_EQ(instance->pathState, nullptr);
  struct Write {
    const char* name;
    double value;
    double reads;
  };
  for (const Write& write : {Write{"timeline_index", 1.4, 1.0}, Write{"timeline_position", 2.5, 2.5},
                             Write{"timeline_speed", -0.5, -0.5}, Write{"timeline_running", 0.6, 1.0},
                             Write{"timeline_loop", 0.4, 0.0}}) {
    SCOPED_TRACE(write.name);
    RValue value = RV_Real(write.value);
    row(write.name)->set(instance, -1, &value);
    row(write.name)->get(instance, -1, &out);
    EXPECT_EQ(out.val, write.reads);
  }
  ASSERT_NE(instance->pathState, nullptr);
  EXPECT_EQ(instance->pathState->timelineIndex, 1);
  EXPECT_NE(instance->flags & kInstTimelineRuns, 0u);
}

}  // namespace

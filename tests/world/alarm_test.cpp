// Alarms: the countdown rules of the alarm stage, its place in the step, and alarm_get/alarm_set.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/console.h"
#include "core/frame_state.h"
#include "support/world_fixture.h"
#include "world/alarm.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/step.h"
#include "world/timeline.h"

namespace {

constexpr int32_t kTimer = 0, kSilent = 1;
int32_t g_rearm = -1;  // alarm 0 sets itself again to this when not -1
int32_t g_spawn = -1;

void Note(CInstance* self, const char* what) {
  Log().push_back(std::string(what) + " " + std::to_string(self->id));
}
void CreateArms(CInstance* self, CInstance*) { self->alarm[0] = 1; }
void BeginStep(CInstance* self, CInstance*) { Note(self, "begin"); }
void Step(CInstance* self, CInstance*) { Note(self, "step"); }
void AlarmZero(CInstance* self, CInstance*) {
  Note(self, "alarm0");
  if (g_rearm >= 0) self->alarm[0] = g_rearm;
  if (g_spawn >= 0) {
    CInstance* made = Create_Instance(g_spawn, 0, 0, 0);
    made->alarm[0] = 1;
    made->alarm[1] = 1;
    g_spawn = -1;
  }
}
void AlarmOne(CInstance* self, CInstance*) { Note(self, "alarm1"); }

class AlarmTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    g_rearm = -1;
    g_spawn = -1;
    Builtins_AddRegistrar(kFamilyTime, Alarm_RegisterBuiltins);
    const int32_t create = code("create", CreateArms);
    const int32_t begin = code("begin", BeginStep);
    const int32_t step = code("step", Step);
    const int32_t alarm0 = code("alarm0", AlarmZero);
    const int32_t alarm1 = code("alarm1", AlarmOne);
    ASSERT_TRUE(load_objects({ObjectDef("timer", -1, {{0, 0, create}, {3, 1, begin}, {3, 0, step}, {2, 0, alarm0},
                                                      {2, 1, alarm1}}),
                              ObjectDef("silent")}));
  }
};

TEST_F(AlarmTest, AlarmSetToOneInCreateFiresInTheFirstStepAfterBeginStep) {
  make(kTimer);
  Run_Step();
  EXPECT_EQ(Log(), (std::vector<std::string>{"begin 100001", "alarm0 100001", "step 100001"}));
}

TEST_F(AlarmTest, CountdownRules) {
  struct Case {
    const char* name;
    int32_t start;
    int32_t steps;
    int32_t fired;
    int32_t left;
  };
  const Case cases[] = {
      {"off stays off", -1, 3, 0, -1},
      {"set to 0 by a script goes to -1 without firing", 0, 1, 0, -1},
      {"one fires in the next stage", 1, 1, 1, 0},
      {"three fires on the third stage and then stops", 3, 5, 1, -1},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    Log().clear();
    CInstance* timer = make(kTimer);
    for (CInstance* at = room_->active.head; at != nullptr; at = at->next) at->alarm[0] = -1;
    timer->alarm[0] = test.start;
    for (int32_t i = 0; i < test.steps; ++i) Alarm_Stage();
    EXPECT_EQ(static_cast<int32_t>(Log().size()), test.fired);
    EXPECT_EQ(timer->alarm[0], test.left);
  }
}

TEST_F(AlarmTest, AlarmCountsOnlyWhereTheObjectHasTheEvent) {
  CInstance* silent = make(kSilent);
  silent->alarm[0] = 2;
  CInstance* timer = make(kTimer);
  timer->alarm[5] = 2;  // timer has no Alarm 5 event
  Alarm_Stage();
  EXPECT_EQ(silent->alarm[0], 2);
  EXPECT_EQ(timer->alarm[5], 2);
}

TEST_F(AlarmTest, AllAlarmsOfOneNumberRunBeforeTheNext) {
  CInstance* first = make(kTimer);
  CInstance* second = make(kTimer);
  first->alarm[0] = -1;
  first->alarm[1] = 1;
  second->alarm[0] = 1;
  Alarm_Stage();
  EXPECT_EQ(Log(), (std::vector<std::string>{"alarm0 100002", "alarm1 100001"}));
}

TEST_F(AlarmTest, AlarmSetAgainInItsEventKeepsCounting) {
  CInstance* timer = make(kTimer);
  g_rearm = 2;
  Alarm_Stage();  // fires, set to 2
  Alarm_Stage();  // 1
  EXPECT_EQ(Log().size(), 1u);
  g_rearm = -1;
  Alarm_Stage();  // fires again
  EXPECT_EQ(Log().size(), 2u);
  EXPECT_EQ(timer->alarm[0], 0);
}

TEST_F(AlarmTest, InstanceMadeInAnAlarmWaitsForTheNextStage) {
  make(kTimer);
  g_spawn = kTimer;
  Alarm_Stage();
  // The new instance's alarms 0 and 1 are 1 but it takes no part in this stage.
  EXPECT_EQ(Log(), (std::vector<std::string>{"alarm0 100001"}));
  Log().clear();
  Alarm_Stage();
  EXPECT_EQ(Log(), (std::vector<std::string>{"alarm0 100002", "alarm1 100002"}));
}

TEST_F(AlarmTest, AlarmGetAndSetReadAndWriteSelfAndRefuseBadIndexes) {
  CInstance* timer = make(kTimer);
  call("alarm_set", timer, {RV_Real(4), RV_Real(30)});
  EXPECT_EQ(timer->alarm[4], 30);
  EXPECT_EQ(call("alarm_get", timer, {RV_Real(4)}).val, 30.0);
  ConsoleCapture capture;
  for (double index : {-1.0, 12.0}) {
    EXPECT_EQ(call("alarm_get", timer, {RV_Real(index)}).val, -1.0);
    call("alarm_set", timer, {RV_Real(index), RV_Real(5)});
  }
  EXPECT_NE(capture.text().find("alarm_set: alarm index 12 is outside 0 to 11\n"), std::string::npos);
  for (int32_t a = 0; a < kInstanceAlarmCount; ++a) EXPECT_NE(timer->alarm[a], 5) << a;
}

}  // namespace

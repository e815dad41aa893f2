// The frame step: the iteration rules of a pass, the stops at a pending room request, the flush,
// the motion walk and the image update with Animation End.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/builtin_var.h"
#include "core/frame_state.h"
#include "core/timing.h"
#include "support/world_fixture.h"
#include "world/event.h"
#include "world/event_async.h"
#include "world/instance.h"
#include "world/builtin_var_rows.h"
#include "world/object_type.h"
#include "world/room.h"
#include "world/room_draw.h"
#include "world/step.h"
#include "world/step_input.h"

namespace {

constexpr int32_t kA = 0, kB = 1, kC = 2, kD = 3, kE = 4, kF = 5, kG = 6;

// What the event functions do besides logging; set by each test.
int32_t g_spawn = -1;            // object to create once from A's Step
int32_t g_begin_spawn = -1;      // object to create once from A's Begin Step
CInstance* g_victim = nullptr;   // instance to destroy from A's Step
CInstance* g_sleeper = nullptr;  // instance to deactivate from A's Step
int32_t g_request = kNewRoomNone;

std::string tag(CInstance* self) {
  return Object_GetName(self->objectIndex) + std::string(":") + std::to_string(self->id);
}
void log_event(CInstance* self, const char* what) { Log().push_back(std::string(what) + " " + tag(self)); }

void BeginStep(CInstance* self, CInstance*) {
  log_event(self, "begin");
  if (g_begin_spawn >= 0 && self->objectIndex == kA) {
    const int32_t object = g_begin_spawn;
    g_begin_spawn = -1;
    Create_Instance(object, 0, 0, 0);
  }
}
void Step(CInstance* self, CInstance*) {
  log_event(self, "step");
  if (self->objectIndex != kA) return;
  if (g_spawn >= 0) {
    const int32_t object = g_spawn;
    g_spawn = -1;
    Create_Instance(object, 0, 0, 0);
  }
  if (g_victim != nullptr) Instance_Destroy(g_victim, true);
  if (g_sleeper != nullptr) Instance_Deactivate(g_sleeper);
  if (g_request != kNewRoomNone) New_Room = g_request;
}
void EndStep(CInstance* self, CInstance*) { log_event(self, "end"); }
void AnimationEnd(CInstance* self, CInstance*) { log_event(self, "animation-end"); }
void AlarmZero(CInstance* self, CInstance*) { log_event(self, "alarm0"); }
void Outside(CInstance* self, CInstance*) { log_event(self, "outside"); }
void Boundary(CInstance* self, CInstance*) { log_event(self, "boundary"); }
void Key(CInstance*, CInstance*) {
  Log().push_back(std::to_string(CurrentEventType) + "/" + std::to_string(CurrentEventNumber));
}
// An asynchronous result: logs async_load; the first one asks for a room change.
void Async(CInstance* self, CInstance*) {
  log_event(self, ("async " + std::to_string(Step_AsyncLoadMap())).c_str());
  if (New_Room == kNewRoomNone) New_Room = 3;
}
// view_current as a Draw event reads it through its builtin row (when the rows are registered).
std::vector<double> g_views_drawn;
void Draw(CInstance* self, CInstance*) {
  Log().push_back(std::to_string(CurrentEventNumber) + " " + std::to_string(self->id));
  const int32_t row = Variable_BuiltIn_Find("view_current");
  if (CurrentEventNumber != 0 || row < 0) return;
  RValue out = RV_Unset();
  Variable_GetBuiltIn(nullptr, row, -1, &out);
  g_views_drawn.push_back(RV_ToDouble(out));
}

class StepTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    g_spawn = -1;
    g_begin_spawn = -1;
    g_victim = nullptr;
    g_sleeper = nullptr;
    g_request = kNewRoomNone;
    g_StepSpriteAnimation = nullptr;
    g_InstanceWorldHooks = InstanceWorldHooks{};
    const int32_t begin = code("begin", BeginStep);
    const int32_t step = code("step", Step);
    const int32_t end = code("end", EndStep);
    const int32_t anim = code("anim", AnimationEnd);
    const int32_t alarm = code("alarm0", AlarmZero);
    const int32_t outside = code("outside", Outside);
    const int32_t boundary = code("boundary", Boundary);
    const int32_t draw = code("draw", Draw);
    const int32_t key = code("key", Key);
    const int32_t async = code("async", Async);
    ASSERT_TRUE(load_objects({ObjectDef("A", -1, {{3, 1, begin}, {3, 0, step}, {3, 2, end}}),
                              ObjectDef("B", -1, {{3, 0, step}, {3, 2, end}, {2, 0, alarm}}),
                              ObjectDef("C", -1, {{7, 7, anim}}),
                              ObjectDef("D", -1, {{7, 0, outside}, {7, 1, boundary}, {8, 0, draw}, {8, 64, draw},
                                                  {8, 76, draw}, {8, 73, draw}}),
                              ObjectDef("E", -1, {{8, 0, draw}}),
                              ObjectDef("F", -1, {{5, 0, key}, {5, 1, key}, {5, 65, key}, {9, 0, key}, {9, 1, key},
                                                  {9, 65, key}, {10, 0, key}, {10, 1, key}, {10, 66, key}}),
                              ObjectDef("G", -1, {{7, 62, async}})}));
  }
  void TearDown() override {
    g_StepSpriteAnimation = nullptr;
    g_StepKeyboard = StepKeyboardState{};
    WorldTest::TearDown();
  }
  std::vector<std::string> take_log() {
    std::vector<std::string> log = Log();
    Log().clear();
    return log;
  }
};

TEST_F(StepTest, PassGoesByObjectIndexThenCreationWhateverTheDepth) {
  CInstance* b = make(kB, 0, 0, -100);
  CInstance* a2 = make(kA, 0, 0, 50);
  CInstance* a1 = make(kA, 0, 0, -50);
  Pass(kEventStep, kStepNormal);
  EXPECT_EQ(take_log(), (std::vector<std::string>{"step " + tag(a2), "step " + tag(a1), "step " + tag(b)}));
}

TEST_F(StepTest, InstanceCreatedInStepSkipsThatPassButGetsEndStep) {
  make(kA);
  g_spawn = kB;
  Run_Step();
  const std::vector<std::string> log = take_log();
  // B (id 100002) was made in A's Step: no Step in this step, but End Step.
  EXPECT_EQ(log, (std::vector<std::string>{"begin A:100001", "step A:100001", "end A:100001", "end B:100002"}));
  Run_Step();
  EXPECT_EQ(take_log(), (std::vector<std::string>{"begin A:100001", "step A:100001", "step B:100002", "end A:100001",
                                                  "end B:100002"}));
}

TEST_F(StepTest, InstanceCreatedInBeginStepRunsStepInTheSameStep) {
  make(kA);
  // A:1 makes A:2 in Begin Step; the creation pass counter is below the Step pass's.
  g_begin_spawn = kA;
  Pass(kEventStep, kStepBegin);
  Pass(kEventStep, kStepNormal);
  EXPECT_EQ(take_log(), (std::vector<std::string>{"begin A:100001", "step A:100001", "step A:100002"}));
}

TEST_F(StepTest, DestroyedInstanceLaterInTheListIsSkippedAndStaysUntilThePurge) {
  make(kA);
  CInstance* b1 = make(kB);
  CInstance* b2 = make(kB);
  g_victim = b2;
  Pass(kEventStep, kStepNormal);
  EXPECT_EQ(take_log(), (std::vector<std::string>{"step A:100001", "step B:100002"}));
  EXPECT_EQ(room_->active.count, 3);  // still listed until the purge
  Room_PurgeMarked(room_);
  EXPECT_EQ(room_->active.count, 2);
  EXPECT_EQ(b1->flags & kInstMarked, 0u);
}

TEST_F(StepTest, RoomRequestInStepStopsTheStepAtTheNextCheck) {
  make(kA);
  make(kA);
  make(kB);
  g_request = 3;
  Run_Step();
  // The rest of the Step pass is filtered, and End Step never runs.
  EXPECT_EQ(take_log(), (std::vector<std::string>{"begin A:100001", "begin A:100002", "step A:100001"}));
  EXPECT_EQ(New_Room, 3);
}

TEST_F(StepTest, RoomRequestBeforeTheStepMeansNoAlarmsAndNoStep) {
  CInstance* b = make(kB);
  b->alarm[0] = 1;
  New_Room = 2;
  Run_Step();
  EXPECT_TRUE(take_log().empty());
  EXPECT_EQ(b->alarm[0], 1);
}

TEST_F(StepTest, DeactivatedInStepSkipsLaterEventsAndDoesNotMove) {
  make(kA);
  CInstance* b = make(kB, 10, 10);
  b->hspeed = 3;
  g_sleeper = b;
  Run_Step();
  EXPECT_EQ(take_log(), (std::vector<std::string>{"begin A:100001", "step A:100001", "end A:100001"}));
  EXPECT_FLOAT_EQ(b->x, 10.0f);
  EXPECT_NE(b->flags & kInstOnInactiveList, 0u);
  EXPECT_EQ(room_->inactive.count, 1);
}

TEST_F(StepTest, MotionMovesEvenDestroyedInstancesAndKeepsPreviousPosition) {
  make(kA);
  CInstance* b = make(kB, 10, 20);
  b->hspeed = 2;
  b->vspeed = -1;
  g_victim = b;
  Run_Step();
  EXPECT_FLOAT_EQ(b->x, 12.0f);
  EXPECT_FLOAT_EQ(b->y, 19.0f);
  EXPECT_FLOAT_EQ(b->xprevious, 10.0f);
  EXPECT_FLOAT_EQ(b->yprevious, 20.0f);
}

TEST_F(StepTest, FlushAppliesDeactivationsObjectChangesAndDepthChanges) {
  CInstance* a = make(kA, 0, 0, 10);
  CInstance* b = make(kB, 0, 0, 20);
  CInstance* c = make(kC, 0, 0, 30);
  Instance_Deactivate(a);
  Instance_ChangeObject(b, kC, false);
  Instance_SetDepth(c, -5);
  // Nothing moves before the flush.
  EXPECT_EQ(Object_Find(kB)->instances.count, 1);
  EXPECT_EQ(room_->active.head, a);
  Run_Flush();
  EXPECT_EQ(room_->inactive.head, a);
  EXPECT_EQ(Object_Find(kA)->instances.count, 0);
  EXPECT_EQ(Object_Find(kB)->instances.count, 0);
  EXPECT_EQ(Object_Find(kC)->instances.count, 2);
  EXPECT_EQ(b->flags & kInstChangingObject, 0u);
  // Generation 2: a depth change never reorders the active list, also with no layer owner.
  EXPECT_EQ(room_->active.head, b);
  EXPECT_EQ(c->depth, -5.0f);
  EXPECT_EQ(Instance_PendingDeactivations(), 0);
  EXPECT_EQ(Instance_PendingChanges(), 0);
}

// ---- Image update --------------------------------------------------------------------------------

StepSpriteAnimation g_sprite;
bool test_sprite(int32_t index, StepSpriteAnimation* out) {
  if (index != 0) return false;
  *out = g_sprite;
  return true;
}

TEST_F(StepTest, ImageUpdateAdvancesAndWrapsOnceWithAnimationEnd) {
  struct Case {
    const char* name;
    int32_t sprite;
    StepSpriteAnimation animation;
    float speed, index;
    float expected;
    bool animation_end;
  };
  const Case cases[] = {
      {"no sprite wraps by nothing and ends every step", -1, {}, 1.0f, 0.0f, 1.0f, true},
      {"no sprite with speed 0 still ends", -1, {}, 0.0f, 0.0f, 0.0f, true},
      {"one image ends every step", 0, {false, 1.0f, 1, 1}, 1.0f, 0.0f, 0.0f, true},
      {"speed 0 above the count wraps once", 0, {false, 1.0f, 1, 4}, 0.0f, 5.5f, 1.5f, true},
      {"the wrap takes off the count once, not modulo", 0, {false, 1.0f, 1, 4}, 0.0f, 9.0f, 5.0f, true},
      {"negative speed wraps below 0", 0, {false, 1.0f, 1, 4}, -1.0f, 0.0f, 3.0f, true},
      {"frames per game frame scale the speed", 0, {false, 2.0f, 1, 4}, 0.5f, 1.0f, 2.0f, false},
      {"frames per second divide by the game speed", 0, {false, 30.0f, 0, 4}, 1.0f, 0.0f, 0.5f, false},
      {"a sequence sprite is left to its track", 0, {true, 1.0f, 1, 4}, 1.0f, 3.5f, 3.5f, false},
  };
  g_StepSpriteAnimation = test_sprite;
  Run_GameTimer.fps = 60.0;
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    g_sprite = test.animation;
    CInstance* c = make(kC);
    c->spriteIndex = test.sprite;
    c->imageSpeed = test.speed;
    c->imageIndex = test.index;
    Log().clear();
    Step_ImageUpdate(c);
    EXPECT_FLOAT_EQ(c->imageIndex, test.expected);
    EXPECT_EQ(Log().size(), test.animation_end ? 1u : 0u);
  }
}

TEST_F(StepTest, ImageUpdateRunsForEveryInstanceAtTheTopOfTheStep) {
  CInstance* c = make(kC);
  c->imageSpeed = 0.25f;
  // Destroyed but not yet purged: the walk doesn't skip it.
  CInstance* doomed = make(kC, 0, 0, 10);
  Instance_Destroy(doomed, true);
  ASSERT_FALSE(Instance_IsLive(doomed));
  Run_Step();
  Run_Step();
  // No sprite: the index keeps growing and Animation End comes every step.
  EXPECT_FLOAT_EQ(c->imageIndex, 0.5f);
  EXPECT_EQ(take_log(), (std::vector<std::string>{"animation-end C:100001", "animation-end C:100002", "animation-end C:100001",
                                                  "animation-end C:100002"}));
}

TEST_F(StepTest, OutsideRoomFiresOnceOnLeavingAndIntersectEveryStep) {
  room_->width = 100;
  room_->height = 100;
  CInstance* d = make(kD, 50, 50);
  d->hspeed = 40;
  for (int i = 0; i < 3; ++i) Run_Step();
  // Moves to 90, 130 (outside: both fire), 170 (still outside: only the boundary event).
  EXPECT_EQ(take_log(), (std::vector<std::string>{"outside D:100001", "boundary D:100001", "boundary D:100001"}));
  EXPECT_NE(d->flags & kInstWasOutside, 0u);
}

TEST_F(StepTest, ViewCurrentFollowsTheViewLoopOfTheDrawWalk) {
  if (Variable_BuiltIn_Find("view_current") < 0) BuiltinVar_RegisterAll();
  make(kE);
  room_->enableViews = true;
  for (CViewGM* view : room_->views) view->visible = false;
  room_->views[1]->visible = true;
  room_->views[3]->visible = true;
  g_views_drawn.clear();
  Room_Draw();
  EXPECT_EQ(g_views_drawn, (std::vector<double>{1, 3}));
  EXPECT_EQ(ViewCurrent, 0) << "back to 0 once the frame is drawn";
  room_->enableViews = false;
  g_views_drawn.clear();
  Room_Draw();
  EXPECT_EQ(g_views_drawn, (std::vector<double>{0}));
}

TEST_F(StepTest, DrawEventsGoFromTheHighestDepthToTheLowestInTheirOrder) {
  make(kD, 0, 0, -10);
  make(kE, 0, 0, 10);
  CInstance* hidden = make(kD, 0, 0, 0);
  hidden->flags &= ~kInstVisible;
  Room_Draw();
  EXPECT_EQ(Log(), (std::vector<std::string>{"76 100001", "0 100002", "0 100001", "73 100001", "64 100001"}));
}

TEST_F(StepTest, AsyncStageRaisesEveryQueuedResultEvenAfterARoomRequest) {
  struct Case {
    const char* name;
    bool persistent;
    std::vector<int32_t> maps;  // the async_load of each event G gets
  };
  const Case cases[] = {
      {"a persistent instance gets the results after the request", true, {10, 11}},
      {"others are filtered once the request is made", false, {10}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    New_Room = kNewRoomNone;
    CInstance* g = make(kG);
    if (test.persistent) g->flags |= kInstPersistent;
    Event_QueueAsync(10, 62);
    Event_QueueAsync(11, 62);
    Log().clear();
    Step_AsyncEvents();
    std::vector<std::string> expected;
    for (int32_t map : test.maps) expected.push_back("async " + std::to_string(map) + " " + tag(g));
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(New_Room, 3);
    EXPECT_EQ(Step_AsyncLoadMap(), -1);
    EXPECT_TRUE(Event_TakeAsyncRequests().empty());
    New_Room = kNewRoomNone;
    Instance_Destroy(g, false);
    Room_PurgeMarked(room_);
  }
}

TEST_F(StepTest, KeyboardStageRunsKeysAscendingThenTheAnyAndNoKeyPasses) {
  make(kF);
  Step_KeyboardEvents();
  // Without key state only the "<no key>" passes apply.
  EXPECT_EQ(take_log(), (std::vector<std::string>{"5/0", "9/0", "10/0"}));
  g_StepKeyboard.pressed = [](int32_t key) { return key == 65; };
  g_StepKeyboard.released = [](int32_t key) { return key == 66; };
  Step_KeyboardEvents();
  EXPECT_EQ(take_log(), (std::vector<std::string>{"5/65", "9/65", "10/66", "5/1", "9/1", "10/1"}));
}

}  // namespace

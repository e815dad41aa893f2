// Instances: creation and the room list, destruction and the purge, `with` over sets, the live
// test, queries, activation and object changes.
#include <gtest/gtest.h>

#include <string>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/instance_hooks.h"
#include "core/variable_names.h"
#include "core/with.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_rooms.h"
#include "run/run_game.h"
#include "run/run_subjects.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"

// Records are built with designated initialisers that name only the fields a test cares about.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

constexpr int32_t kA = 0, kB = 1, kChild = 2;

void Record(CInstance* self, CInstance*) {
  Log().push_back(std::to_string(self->id) + ":" + std::to_string(CurrentEventType));
}
void DestroySelfInCreate(CInstance* self, CInstance*) {
  Log().push_back("create");
  Instance_Destroy(self, true);
  Log().push_back("create-goes-on");
}

std::vector<int32_t> ids_of(const std::vector<CInstance*>& list) {
  std::vector<int32_t> ids;
  for (CInstance* instance : list) ids.push_back(instance->id);
  return ids;
}

class InstanceTest : public WorldTest {
 protected:
  // A (0) with Step, Create, Destroy and CleanUp; B (1) plain; Child (2) a child of A.
  void load() {
    const int32_t rec = code("record", Record);
    const int32_t st = code("step", Record);
    ASSERT_TRUE(load_objects({ObjectDef("A", -1, {{3, 0, st}, {0, 0, rec}, {1, 0, rec}, {12, 0, rec}}),
                              ObjectDef("B"), ObjectDef("Child", kA)}));
  }
  std::vector<int32_t> room_ids() {
    std::vector<int32_t> ids;
    for (CInstance* at = room_->active.head; at != nullptr; at = at->next) ids.push_back(at->id);
    return ids;
  }
};

TEST_F(InstanceTest, ConstructionTakesTheObjectsDefaultsAndRunsPreCreateAndCreate) {
  load();
  CInstance* a = make(kA, 10, 20, 5);
  EXPECT_EQ(a->id, 100001);
  EXPECT_EQ(a->object, Object_Find(kA));
  EXPECT_EQ(a->flags & (kInstCreated | kInstVisible | kInstMarked), kInstCreated | kInstVisible);
  EXPECT_FLOAT_EQ(a->xstart, 10);
  EXPECT_FLOAT_EQ(a->gravityDirection, 270);
  EXPECT_EQ(a->alarm[11], -1);
  EXPECT_EQ(Log(), std::vector<std::string>{"100001:0"});
  EXPECT_EQ(Instance_Find(100001), a);
  EXPECT_EQ(Instance_Find(-5), nullptr);
  EXPECT_THROW(make(40), KVTSLException);
  Run_Room = nullptr;
  EXPECT_EQ(make(kA), nullptr);
}

// Ids come from the data file: the first instance a script makes takes the header's highest placed
// id plus one, so every rule that reads a number as an id or an object index sees an id.
TEST_F(InstanceTest, FirstScriptMadeInstanceTakesTheIdAfterTheHeadersHighest) {
  const int32_t rec = code("record", Record);
  datawin::Gen8Record header = MinimalHeader(17, 2, 60.0f);
  header.last_instance_id = 100250;
  datawin::Writer writer;
  datawin::add_gen8(writer, header);
  datawin::add_objt(writer, {ObjectDef("A", -1, {{0, 0, rec}}), ObjectDef("B")}, 17);
  datawin::add_room(writer, {datawin::RoomRecord{.name = "rm_ids", .placements = {{.object = kB, .id = 100007}}}});
  ASSERT_TRUE(load_and_start(writer));
  ASSERT_NE(Instance_Find(100007), nullptr);

  const RValue made = call("instance_create_depth", nullptr, {RV_Real(0), RV_Real(0), RV_Real(0), RV_Real(kA)});
  const int32_t id = Instance_SetNumber(made);
  EXPECT_EQ(id, 100251);
  CInstance* self = Instance_Find(100007);
  CInstance* other = nullptr;
  std::vector<int32_t> visited;
  for (KVWith with(&self, &other, made); with.Next();) visited.push_back(self->id);
  for (KVWith with(&self, &other, RV_Real(id)); with.Next();) visited.push_back(self->id);
  EXPECT_EQ(visited, (std::vector<int32_t>{100251, 100251}));
  EXPECT_EQ(RV_ToDouble(call("instance_number", nullptr, {RV_Real(id)})), 1.0);
  EXPECT_EQ(RV_ToDouble(call("instance_number", nullptr, {RV_Real(kB)})), 1.0);

  // game_restart's round: the game ends its room, then restarts, taking the header's ids again.
  Room_EndCurrent(true);
  Run_Restart_Game();
  room_ = Run_Room;
  ASSERT_NE(room_, nullptr);
  const RValue again = call("instance_create_depth", nullptr, {RV_Real(0), RV_Real(0), RV_Real(0), RV_Real(kA)});
  EXPECT_EQ(Instance_SetNumber(again), 100251);
}

TEST_F(InstanceTest, ActiveListIsOrderedByDepthThenCreation) {
  load();
  make(kB, 0, 0, 10);  // 100001
  make(kB, 0, 0, -5);  // 100002
  make(kB, 0, 0, 10);  // 100003
  make(kB, 0, 0, 0);   // 100004
  EXPECT_EQ(room_ids(), (std::vector<int32_t>{100002, 100004, 100001, 100003}));
  // A depth change applies at the flush; the same value costs nothing.
  CInstance* first = Instance_Find(100002);
  Instance_SetDepth(first, -5);
  EXPECT_EQ(Instance_PendingChanges(), 0);
  Instance_SetDepth(first, 20);
  EXPECT_EQ(room_ids().front(), 100002);
  Instance_Flush();
  // Generation 2: the instance moves to the layer of its depth; the active list keeps its order.
  EXPECT_EQ(room_ids(), (std::vector<int32_t>{100002, 100004, 100001, 100003}));
  EXPECT_EQ(Instance_Count(), 4);
  EXPECT_EQ(Instance_IdAt(0), 100002);
  EXPECT_EQ(Instance_IdAt(4), -4);
}

TEST_F(InstanceTest, GenerationOneReordersTheActiveListOnADepthChange) {
  ASSERT_TRUE(load_objects({ObjectDef("A")}, 17, 1));
  make(kA, 0, 0, 10);  // 100001
  make(kA, 0, 0, 20);  // 100002
  Instance_SetDepth(Instance_Find(100002), 5);
  EXPECT_EQ(room_ids(), (std::vector<int32_t>{100001, 100002}));
  Instance_Flush();
  EXPECT_EQ(room_ids(), (std::vector<int32_t>{100002, 100001}));
}

TEST_F(InstanceTest, DestroyRunsOnceAndThePurgeRemovesMarkedInstances) {
  load();
  CInstance* a = make(kA);
  CInstance* b = make(kA);
  Log().clear();
  call("instance_destroy", a, {});
  call("instance_destroy", a, {});
  EXPECT_EQ(Log(), (std::vector<std::string>{"100001:1", "100001:12"}));
  EXPECT_FALSE(RV_ToBool(call("instance_exists", b, {Instance_Ref(100001)})));
  EXPECT_EQ(Instance_Number(nullptr, nullptr, kA), 1);
  EXPECT_EQ(Instance_Count(), 2);  // marked instances still count until the purge
  // Without executeDestroy only CleanUp runs.
  Log().clear();
  call("instance_destroy", a, {Instance_Ref(b->id), RV_Bool(false)});
  EXPECT_EQ(Log(), std::vector<std::string>{"100002:12"});
  EXPECT_EQ(MarkedCount, 2);
  Room_PurgeMarked(room_);
  EXPECT_EQ(Instance_Count(), 0);
  EXPECT_EQ(Object_Find(kA)->instances.count, 0);
  EXPECT_EQ(Instance_Find(100001), nullptr);
  EXPECT_EQ(MarkedCount, 0);
}

TEST_F(InstanceTest, DestroyInCreateRunsAtOnceAndCreateGoesOn) {
  const int32_t create = code("create", DestroySelfInCreate);
  const int32_t rec = code("record", Record);
  ASSERT_TRUE(load_objects({ObjectDef("D", -1, {{0, 0, create}, {1, 0, rec}})}));
  CInstance* d = make(0);
  EXPECT_EQ(Log().size(), 3u);
  EXPECT_EQ(Log()[1].substr(Log()[1].find(':')), ":1");
  EXPECT_EQ(Log()[2], "create-goes-on");
  EXPECT_EQ(d->flags & (kInstCreated | kInstMarked), kInstCreated | kInstMarked);
}

TEST_F(InstanceTest, WithOverAnObjectVisitsTheSnapshotNewestFirstAndDestroyedOnesToo) {
  load();
  make(kA);        // 100001
  make(kChild);    // 100002
  make(kB);        // 100003
  make(kA);        // 100004
  CInstance* outer = Instance_Find(100003);
  CInstance* self = outer;
  CInstance* other = nullptr;
  std::vector<int32_t> visited;
  {
    KVWith with(&self, &other, kA);
    while (with.Next()) {
      visited.push_back(self->id);
      EXPECT_EQ(other, outer);
      // Destroying one still to come doesn't drop it; instances made here don't join.
      if (self->id == 100004) Instance_Destroy(Instance_Find(100002), true);
      Create_Instance(kA, 0, 0, 0);
    }
  }
  EXPECT_EQ(self, outer);
  EXPECT_EQ(visited, (std::vector<int32_t>{100004, 100002, 100001}));
}

TEST_F(InstanceTest, WithOverIdsAndAllThroughTheHooks) {
  load();
  make(kA, 0, 0, 5);   // 100001
  make(kB, 0, 0, -5);  // 100002
  make(kB, 0, 0, 1);   // 100003
  Instance_Deactivate(Instance_Find(100003));
  Instance_Flush();
  std::vector<CInstance*> all;
  g_InstanceHooks.collectAll(&all);
  EXPECT_EQ(ids_of(all), (std::vector<int32_t>{100002, 100001}));
  EXPECT_EQ(g_InstanceHooks.findLive(100001), Instance_Find(100001));
  EXPECT_EQ(g_InstanceHooks.findLive(100003), nullptr);  // deactivated
  EXPECT_EQ(g_InstanceHooks.findLive(99), nullptr);
  CInstance* self = Instance_Find(100002);
  CInstance* other = nullptr;
  std::vector<int32_t> visited;
  for (KVWith with(&self, &other, 100001); with.Next();) visited.push_back(self->id);
  for (KVWith with(&self, &other, -3); with.Next();) visited.push_back(self->id);
  EXPECT_EQ(visited, (std::vector<int32_t>{100001, 100001, 100002}));
}

TEST_F(InstanceTest, GatherMovesAnInstanceMetTwiceToTheEnd) {
  load();
  CInstance* a = make(kA);  // 100001
  make(kA);                 // 100002
  // Changing into Child keeps it on A's lists until the flush and puts it on the change list.
  Instance_ChangeObject(a, kChild, false);
  std::vector<CInstance*> gathered;
  Instance_GatherObject(kA, &gathered);
  EXPECT_EQ(ids_of(gathered), (std::vector<int32_t>{100002, 100001}));
  EXPECT_EQ(Instance_Number(nullptr, nullptr, kA), 2);
  EXPECT_EQ(Instance_Number(nullptr, nullptr, kChild), 1);
  Instance_Flush();
  EXPECT_EQ(Object_Find(kChild)->instances.count, 1);
  EXPECT_EQ(Object_Find(kA)->instances.count, 1);
  EXPECT_EQ(a->flags & kInstChangingObject, 0u);
  EXPECT_EQ(a->previousObject, nullptr);
}

TEST_F(InstanceTest, InstanceChangeWithPerformRunsDestroyThenCreate) {
  load();
  CInstance* b = make(kB);
  Log().clear();
  call("instance_change", b, {RV_Real(kA), RV_Bool(true)});
  EXPECT_EQ(Log(), (std::vector<std::string>{"100001:0"}));  // B has no Destroy; A's Create runs
  EXPECT_EQ(b->objectIndex, kA);
  EXPECT_THROW(call("instance_change", b, {RV_Real(33), RV_Bool(true)}), KVTSLException);
}

TEST_F(InstanceTest, QueriesApplyTheLiveTest) {
  load();
  make(kA, 0, 0);     // 100001
  make(kChild, 3, 4); // 100002
  make(kB, 1, 1);     // 100003
  make(kA, -3, -4);   // 100004: as far as 100002, found later
  struct Case {
    const char* name;
    std::vector<RValue> args;
    double expected;
  };
  const Case cases[] = {
      {"instance_number", {RV_Real(kA)}, 3},
      {"instance_number", {RV_Real(-3)}, 4},
      {"instance_number", {RV_Real(kChild)}, 1},
      {"instance_exists", {RV_Real(kB)}, 1},
      {"instance_exists", {RV_Undefined()}, 0},
      {"instance_exists", {RV_Real(100009)}, 0},
      {"instance_find", {RV_Real(kA), RV_Real(1)}, 100002},
      {"instance_find", {RV_Real(kA), RV_Real(3)}, -4},
      {"instance_nearest", {RV_Real(2), RV_Real(2), RV_Real(kA)}, 100002},
      {"instance_furthest", {RV_Real(0), RV_Real(0), RV_Real(kA)}, 100002},
      {"instance_nearest", {RV_Real(0), RV_Real(0), RV_Real(100001)}, -4},
      {"instance_nearest", {RV_Real(0), RV_Real(0), RV_Real(-3)}, 100001},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(RV_ToDouble(call(c.name, nullptr, c.args)), c.expected) << c.name;
  }
  Instance_Destroy(Instance_Find(100002), true);
  EXPECT_EQ(RV_ToDouble(call("instance_nearest", nullptr, {RV_Real(2), RV_Real(2), RV_Real(kA)})), 100001);
  EXPECT_EQ(RV_ToDouble(call("instance_number", nullptr, {RV_Real(kA)})), 2);
}

TEST_F(InstanceTest, DeactivationTakesEffectAtTheFlushAndKeepsTheId) {
  load();
  CInstance* a = make(kA);
  CInstance* b = make(kB);
  CInstance* c = make(kChild);
  call("instance_deactivate_all", a, {RV_Bool(true)});
  EXPECT_EQ(a->flags & kInstDeactivated, 0u);
  EXPECT_NE(b->flags & kInstDeactivated, 0u);
  // Before the flush the lists are unchanged, but the instances are no longer live.
  EXPECT_EQ(room_->active.count, 3);
  EXPECT_FALSE(Instance_Exists(nullptr, nullptr, kB));
  Instance_Flush();
  EXPECT_EQ(room_->active.count, 1);
  EXPECT_EQ(room_->inactive.count, 2);
  EXPECT_EQ(Object_Find(kA)->instancesRecursive.count, 1);
  EXPECT_EQ(Instance_Find(c->id), c);
  // Deactivated instances don't run Destroy when destroyed.
  Log().clear();
  Instance_Destroy(c, true);
  EXPECT_TRUE(Log().empty());
  call("instance_activate_object", a, {RV_Real(kA)});
  EXPECT_EQ(c->flags & kInstDeactivated, 0u);
  EXPECT_NE(b->flags & kInstDeactivated, 0u);
  Instance_Flush();
  EXPECT_EQ(room_->active.count, 2);
  EXPECT_EQ(Object_Find(kA)->instancesRecursive.count, 2);
  call("instance_activate_all", a, {});
  Instance_Flush();
  EXPECT_EQ(room_->inactive.count, 0);
}

TEST_F(InstanceTest, RegionDeactivationUsesThePointWithoutSprite) {
  load();
  CInstance* in = make(kB, 5, 5);
  CInstance* out = make(kB, 50, 50);
  call("instance_deactivate_region", nullptr, {RV_Real(0), RV_Real(0), RV_Real(10), RV_Real(10), RV_Bool(true), RV_Bool(false)});
  EXPECT_NE(in->flags & kInstDeactivated, 0u);
  EXPECT_EQ(out->flags & kInstDeactivated, 0u);
  Instance_Flush();
  call("instance_activate_region", nullptr, {RV_Real(0), RV_Real(0), RV_Real(10), RV_Real(10), RV_Bool(true)});
  EXPECT_EQ(in->flags & kInstDeactivated, 0u);
}

TEST_F(InstanceTest, CreateWithAStructTakesItsVariablesBeforeCreate) {
  load();
  EXPECT_THROW(call("instance_create_depth", nullptr, {RV_Real(0), RV_Real(0), RV_Real(0), RV_Real(kB), RV_Real(3)}),
               KVTSLException);
  KVObjectBase* vars = Object_NewStruct();
  Object_SetReal(vars, "hp", 7);
  const RValue made = call("instance_create_depth", nullptr, {RV_Real(1), RV_Real(2), RV_Real(3), RV_Real(kB), RV_Object(vars)});
  ASSERT_EQ(RV_Kind(made), kRVRef);
  CInstance* instance = Instance_Find(made.v32);
  ASSERT_NE(instance, nullptr);
  EXPECT_FLOAT_EQ(instance->depth, 3);
  RValue hp = RV_Undefined();
  KVGetVariable(&made, Variable_GetSlot("hp"), kIndexWholeValue, &hp, false, false);
  EXPECT_EQ(RV_ToDouble(hp), 7);
  EXPECT_THROW(call("instance_create_depth", nullptr, {RV_Real(0), RV_Real(0), RV_Real(0), RV_Real(77)}), KVTSLException);
}

}  // namespace

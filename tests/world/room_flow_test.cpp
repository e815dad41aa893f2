// Room transitions on a three-room game written by the writer: the event order of a room start and
// end, placement and room creation code, persistent instances and rooms, room_goto and its odd
// cases, room_restart and the end of the game.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/builtin_var.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_rooms.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/builtin_var_rows.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/object_type.h"
#include "world/layer.h"
#include "world/room.h"

// Records are built with designated initialisers that name only the fields a test cares about.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

std::string name_of(CInstance* self) { return std::to_string(self->objectIndex) + "@" + std::to_string(self->id); }

void Note(CInstance* self, const char* what) { Log().push_back(name_of(self) + " " + what); }
void OnPreCreate(CInstance* self, CInstance*) { Note(self, "precreate"); }
void OnCreate(CInstance* self, CInstance*) { Note(self, "create"); }
void OnPreCode(CInstance* self, CInstance*) { Note(self, "precode"); }
void OnCode(CInstance* self, CInstance*) { Note(self, "code"); }
void OnGameStart(CInstance* self, CInstance*) { Note(self, "gamestart"); }
void OnGameEnd(CInstance* self, CInstance*) { Note(self, "gameend"); }
void OnRoomStart(CInstance* self, CInstance*) { Note(self, "roomstart"); }
// An instance that a CleanUp event deactivates, for the case of a deactivation left pending.
CInstance* g_deactivate_in_cleanup = nullptr;
// An id that a CleanUp event looks up, to tell whether that instance is still in the id table.
int32_t g_find_in_cleanup = -1;
void OnCleanUp(CInstance* self, CInstance*) {
  Note(self, "cleanup");
  if (g_deactivate_in_cleanup != nullptr) Instance_Deactivate(g_deactivate_in_cleanup);
  if (g_find_in_cleanup >= 0) {
    const bool found = Instance_Find(g_find_in_cleanup) != nullptr;
    Log().push_back((found ? "finds " : "misses ") + std::to_string(g_find_in_cleanup));
  }
}
// event_type, event_number and event_object as the room's creation code reads them (when the
// builtin variable rows are registered).
std::vector<double> g_room_code_event;
double read_row(const char* name) {
  RValue out = RV_Unset();
  Variable_GetBuiltIn(nullptr, Variable_BuiltIn_Find(name), -1, &out);
  const double value = RV_ToDouble(out);
  RV_FreeToUndefined(&out);
  return value;
}
void OnRoomCode(CInstance*, CInstance*) {
  Log().push_back("room code " + std::to_string(Run_RoomIndex));
  if (Variable_BuiltIn_Find("event_type") >= 0) {
    g_room_code_event = {read_row("event_type"), read_row("event_number"), read_row("event_object")};
  }
}

// A request made from inside an event, for the cases that call room_goto there.
int32_t g_goto_in_create = -1;
int32_t g_goto_in_room_end = -1;
void OnCreateGoto(CInstance* self, CInstance*) {
  Note(self, "create");
  if (g_goto_in_create >= 0) Room_Goto(g_goto_in_create);
}
void OnRoomEndGoto(CInstance* self, CInstance*) {
  Note(self, "roomend");
  Log().push_back("New_Room in Room End " + std::to_string(New_Room));
  if (g_goto_in_room_end >= 0) Room_Goto(g_goto_in_room_end);
}

class RoomFlow : public WorldTest {
 protected:
  // Objects: 0 "plain", 1 "kept" (persistent), 2 "jumper" (room_goto in Create). Rooms: 0 start,
  // 1 holding a placement with the kept instance's id, 2 persistent. Room order {0, 1, 2}.
  void SetUp() override {
    WorldTest::SetUp();
    Run_Room = nullptr;
    g_goto_in_create = -1;
    g_goto_in_room_end = -1;
    g_deactivate_in_cleanup = nullptr;
    g_find_in_cleanup = -1;
    Builtins_AddRegistrar(kFamilyResource, Room_RegisterBuiltins);
    Layer_Init();
    Layer_ResetState();
  }

  void TearDown() override {
    Room_FreeAll();
    Layer_ResetState();
    WorldTest::TearDown();
  }

  std::vector<ObjectEvent> events(int32_t create) {
    return {{14, 0, code("precreate", OnPreCreate)}, {0, 0, create},
            {7, 2, code("gamestart", OnGameStart)},  {7, 3, code("gameend", OnGameEnd)},
            {7, 4, code("roomstart", OnRoomStart)},  {7, 5, code("roomend", OnRoomEndGoto)},
            {12, 0, code("cleanup", OnCleanUp)}};
  }

  void load_game(std::vector<RoomRecord> rooms = {}) {
    ObjectRecord plain = ObjectDef("plain", -1, events(code("create", OnCreate)));
    ObjectRecord kept = ObjectDef("kept", -1, events(code("create", OnCreate)));
    kept.persistent = true;
    ObjectRecord jumper = ObjectDef("jumper", -1, events(code("create_goto", OnCreateGoto)));
    if (rooms.empty()) {
      const int32_t pre = code("tsl_Room_pre", OnPreCode);
      const int32_t post = code("tsl_Room_post", OnCode);
      const int32_t room_code = code("tsl_Room_code", OnRoomCode);
      rooms.push_back(RoomRecord{.name = "rm_start", .width = 320, .height = 200, .speed = 30,
                                 .creation_code = room_code,
                                 .placements = {{.x = 10, .y = 20, .object = 0, .id = 100001, .creation_code = post,
                                                 .pre_create_code = pre},
                                                {.x = 30, .object = 1, .id = 100002}}});
      rooms.push_back(RoomRecord{.name = "rm_middle", .creation_code = room_code,
                                 .placements = {{.object = 1, .id = 100002}, {.object = 0, .id = 100003}}});
      rooms.push_back(RoomRecord{.name = "rm_kept", .persistent = true, .creation_code = room_code,
                                 .placements = {{.x = 5, .object = 0, .id = 100004}}});
    }
    tables_ = KVCodeTables{};
    tables_.scriptCount = static_cast<int32_t>(rows_.size());
    tables_.scriptTable = rows_.data();
    g_CodeTables = &tables_;
    Gen8Record header = MinimalHeader(17, 2, 60.0f);
    header.room_order.clear();
    for (size_t i = 0; i < rooms.size(); ++i) header.room_order.push_back(static_cast<uint32_t>(i));
    header.last_instance_id = 100010;
    Writer writer;
    add_gen8(writer, header);
    add_objt(writer, {plain, kept, jumper}, 17);
    std::vector<std::optional<RoomRecord>> written(rooms.begin(), rooms.end());
    add_room(writer, written);
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    ASSERT_TRUE(HeaderScan(image_.data(), size));
    ASSERT_TRUE(LoadGameData(image_.data(), size));
    Room_LoadTemplates();
  }

  void switch_to(int32_t index) {
    Log().clear();
    Room_Switch(index);
  }
};

TEST_F(RoomFlow, FirstRoomRunsPlacementsThenGameStartThenCreationCodeThenRoomStart) {
  load_game();
  Room_Start(0, true);
  const std::vector<std::string> expected = {
      "0@100001 precreate", "0@100001 precode", "0@100001 create", "0@100001 code",
      "1@100002 precreate", "1@100002 create",  "0@100001 gamestart", "1@100002 gamestart",
      "room code 0",        "0@100001 roomstart", "1@100002 roomstart"};
  EXPECT_EQ(Log(), expected);
  ASSERT_NE(Run_Room, nullptr);
  EXPECT_EQ(Run_RoomIndex, 0);
  EXPECT_EQ(Run_Room->width, 320);
  EXPECT_EQ(Run_Room->speed, 30);
  EXPECT_TRUE(Run_Room->placedIds.empty());
  CInstance* placed = Instance_Find(100001);
  ASSERT_NE(placed, nullptr);
  EXPECT_FLOAT_EQ(placed->x, 10.0f);
  EXPECT_NE(placed->flags & kInstCreated, 0u);
  EXPECT_EQ(Run_Room->active.count, 2);
}

TEST_F(RoomFlow, RoomCreationCodeReadsItsOwnCurrentEventValues) {
  load_game();
  if (Variable_BuiltIn_Find("event_type") < 0) BuiltinVar_RegisterAll();
  g_room_code_event.clear();
  Room_Start(0, true);
  // Set around the code: type -2, number -1, object -1, not the last event's context.
  EXPECT_EQ(g_room_code_event, (std::vector<double>{-2, -1, -1}));
  EXPECT_EQ(read_row("event_type"), -1.0) << "restored afterwards";
}

// A carried instance enters the active list by the depth it brings and takes its layer's depth
// only once it stands there.
TEST_F(RoomFlow, CarriedInstanceJoinsTheListByItsOwnDepthThenTakesItsLayers) {
  RoomRecord from{.name = "rm_from", .placements = {{.x = 30, .object = 1, .id = 100002}}};
  RoomRecord to{.name = "rm_to", .placements = {{.object = 0, .id = 100003}}};
  to.layers = {{.name = "Walls", .id = 20, .kind = layer::kKindInstances, .depth = 100, .instances = {100003}},
               {.name = "Carry", .id = 21, .kind = layer::kKindInstances, .depth = 5}};
  load_game({from, to});
  Room_Start(0, true);
  CInstance* kept = Instance_Find(100002);
  CLayer* dynamic = Layer_Create(Run_Room, 300, "Carry");
  Layer_RemoveInstance(Run_Room, kept);
  Layer_AddInstance(Run_Room, dynamic, kept);
  ASSERT_EQ(kept->depth, 300.0f);
  switch_to(1);
  ASSERT_EQ(Instance_Find(100002), kept);
  EXPECT_EQ(Run_Room->active.head, Instance_Find(100003));
  EXPECT_EQ(Run_Room->active.tail, kept);
  EXPECT_EQ(kept->currentDepth, 300.0f);
  EXPECT_EQ(kept->depth, 5.0f);
  EXPECT_EQ(kept->layerId, 21);
}

// A persistent room that kept its own instance of the carried one's id: the whole carried state
// goes over it, the object, the path and timeline record and the variables included.
TEST_F(RoomFlow, CarriedStateGoesWhollyOverTheRoomsOwnCopyOfItsId) {
  RoomRecord start{.name = "rm_start", .placements = {{.x = 30, .object = 1, .id = 100002}}};
  RoomRecord kept_room{.name = "rm_kept", .persistent = true, .placements = {{.object = 0, .id = 100002}}};
  load_game({start, kept_room});
  Room_Start(1, true);
  CInstance* resident = Instance_Find(100002);
  ASSERT_EQ(resident->objectIndex, 0);
  switch_to(0);
  CInstance* carried = Instance_Find(100002);
  ASSERT_NE(carried, resident);
  carried->x = 77;
  carried->alarm[3] = 9;
  InstancePath_Get(carried)->timelineIndex = 4;
  InstancePath_Get(carried)->pathSpeed = 2.5f;
  const RValue hp = RV_Real(12);
  Object_SetVar(KV_AsObject(carried), Variable_FindOrAddSlot("hp"), kIndexWholeValue, &hp);
  switch_to(1);
  ASSERT_EQ(Instance_Find(100002), resident);
  EXPECT_EQ(resident->objectIndex, 1);
  EXPECT_EQ(resident->object, Object_Find(1));
  EXPECT_EQ(Object_Find(0)->instances.count, 0);
  EXPECT_EQ(Object_Find(1)->instances.count, 1);
  EXPECT_FLOAT_EQ(resident->x, 77.0f);
  EXPECT_EQ(resident->alarm[3], 9);
  ASSERT_NE(resident->pathState, nullptr);
  EXPECT_EQ(resident->pathState->timelineIndex, 4);
  EXPECT_FLOAT_EQ(resident->pathState->pathSpeed, 2.5f);
  RValue out = RV_Unset();
  EXPECT_TRUE(Object_GetVar(KV_AsObject(resident), Variable_FindOrAddSlot("hp"), kIndexWholeValue, &out));
  EXPECT_EQ(RV_ToDouble(out), 12.0);
  EXPECT_NE(resident->flags & kInstPersistent, 0u);
}

TEST_F(RoomFlow, LeavingARoomCarriesPersistentInstancesAndFreesTheOthers) {
  load_game();
  Room_Start(0, true);
  CInstance* kept = Instance_Find(100002);
  kept->x = 77;
  g_find_in_cleanup = 100002;
  switch_to(1);
  g_find_in_cleanup = -1;
  // Room End with New_Room -1, then the plain instance's CleanUp as the copy goes, while the kept
  // one is still in the id table; the kept one stands in for room 1's placement of its id and gets
  // no Create, but does get Room Start. It joins the active list after the placed instance of the
  // same depth.
  const std::vector<std::string> expected = {
      "0@100001 roomend", "New_Room in Room End -1", "1@100002 roomend", "New_Room in Room End -1",
      "0@100001 cleanup", "finds 100002", "0@100003 precreate", "0@100003 create", "room code 1",
      "0@100003 roomstart", "1@100002 roomstart"};
  EXPECT_EQ(Log(), expected);
  EXPECT_EQ(Room_Working(0), nullptr);
  EXPECT_EQ(Room_Working(1), Run_Room);
  EXPECT_EQ(Instance_Find(100002), kept);
  EXPECT_FLOAT_EQ(kept->x, 77.0f);
  EXPECT_EQ(Instance_Find(100001), nullptr);
  EXPECT_EQ(Run_Room->active.count, 2);
  EXPECT_EQ(Room_CarriedCount(), 0);
}

TEST_F(RoomFlow, DeactivationsLeftPendingAtRoomEndAreDroppedUnapplied) {
  load_game();
  Room_Start(0, true);
  CInstance* kept = Instance_Find(100002);
  // The plain instance's CleanUp, as the working copy goes, asks to deactivate the carried one.
  g_deactivate_in_cleanup = kept;
  Room_End(false);
  g_deactivate_in_cleanup = nullptr;
  EXPECT_EQ(Instance_PendingDeactivations(), 0);
  Room_Start(1, false);
  // No flush of the new room applies the dropped request: the carried instance stays active.
  EXPECT_EQ(Run_Room->active.count, 2);
  EXPECT_EQ(Run_Room->inactive.count, 0);
  EXPECT_EQ(kept->flags & kInstOnInactiveList, 0u);
}

TEST_F(RoomFlow, PersistentRoomIsKeptAndReturnedToWithoutCreate) {
  load_game();
  Room_Start(0, true);
  switch_to(2);
  CInstance* resident = Instance_Find(100004);
  ASSERT_NE(resident, nullptr);
  resident->x = 123;
  CRoom* kept_room = Run_Room;
  switch_to(1);
  // No CleanUp for the persistent room's instance: it waits, out of the id table.
  for (const std::string& line : Log()) EXPECT_EQ(line.find("100004 cleanup"), std::string::npos) << line;
  EXPECT_EQ(Instance_Find(100004), nullptr);
  EXPECT_EQ(Room_Working(2), kept_room);
  switch_to(2);
  EXPECT_EQ(Run_Room, kept_room);
  EXPECT_EQ(Instance_Find(100004), resident);
  EXPECT_FLOAT_EQ(resident->x, 123.0f);
  // Room Start again, but no Create and no creation code on a return.
  for (const std::string& line : Log()) {
    EXPECT_EQ(line.find("create"), std::string::npos) << line;
    EXPECT_EQ(line.find("room code"), std::string::npos) << line;
  }
  EXPECT_NE(std::find(Log().begin(), Log().end(), "0@100004 roomstart"), Log().end());
}

TEST_F(RoomFlow, RoomRestartOfAPlainRoomCreatesPlacementsAfreshAndKeepsPersistentOnes) {
  load_game();
  Room_Start(0, true);
  CInstance* plain = Instance_Find(100001);
  CInstance* kept = Instance_Find(100002);
  plain->x = 99;
  call("room_restart", plain, {});
  EXPECT_EQ(New_Room, 0);
  switch_to(New_Room);
  CInstance* fresh = Instance_Find(100001);
  ASSERT_NE(fresh, nullptr);
  EXPECT_FLOAT_EQ(fresh->x, 10.0f);
  EXPECT_EQ(Instance_Find(100002), kept);
  const auto creates = std::count(Log().begin(), Log().end(), "0@100001 create");
  EXPECT_EQ(creates, 1);
  EXPECT_EQ(std::count(Log().begin(), Log().end(), "1@100002 create"), 0);
}

TEST_F(RoomFlow, RoomGotoRequestsAndItsRefusals) {
  load_game();
  Room_Start(0, true);
  CInstance* self = Instance_Find(100001);
  struct Case {
    int32_t before;
    int32_t target;
    int32_t after;
    bool raises;
  };
  const Case cases[] = {
      {kNewRoomNone, 2, 2, false},
      {kNewRoomNone, 7, kNewRoomAbort, true},
      {kNewRoomNone, -3, kNewRoomAbort, true},
      {kNewRoomEndGame, 1, kNewRoomEndGame, false},
      {kNewRoomAbort, 1, kNewRoomAbort, false},
      {kNewRoomRestart, 1, 1, false},
  };
  for (const Case& c : cases) {
    New_Room = c.before;
    bool raised = false;
    try {
      call("room_goto", self, {RV_Real(c.target)});
    } catch (const KVTSLException&) {
      raised = true;
    }
    EXPECT_EQ(New_Room, c.after) << c.target;
    EXPECT_EQ(raised, c.raises) << c.target;
  }
  New_Room = kNewRoomNone;
}

TEST_F(RoomFlow, GotoNextAndPreviousStopAtTheEndsOfTheOrder) {
  load_game();
  Room_Start(0, true);
  CInstance* self = Instance_Find(100001);
  EXPECT_THROW(call("room_goto_previous", self, {}), KVTSLException);
  EXPECT_EQ(New_Room, kNewRoomAbort);
  New_Room = kNewRoomNone;
  call("room_goto_next", self, {});
  EXPECT_EQ(New_Room, 1);
  New_Room = kNewRoomNone;
  struct Case {
    const char* name;
    int32_t room;
    int32_t expected;
  };
  const Case cases[] = {{"room_next", 0, 1}, {"room_next", 1, 2}, {"room_next", 2, -1}, {"room_next", 9, -1},
                        {"room_previous", 2, 1}, {"room_previous", 0, -1}, {"room_previous", -1, -1}};
  for (const Case& c : cases) {
    EXPECT_DOUBLE_EQ(RV_ToDouble(call(c.name, self, {RV_Real(c.room)})), c.expected) << c.name << " " << c.room;
  }
}

TEST_F(RoomFlow, GotoInsideRoomEndIsOverwrittenByTheSavedRequest) {
  load_game();
  Room_Start(0, true);
  g_goto_in_room_end = 2;
  New_Room = 1;
  Log().clear();
  Room_Switch(New_Room);
  EXPECT_EQ(Run_RoomIndex, 1);
  EXPECT_EQ(New_Room, kNewRoomNone);  // Room_Start clears the request
}

TEST_F(RoomFlow, GotoInCreateOfTheFirstRoomIsLeftForTheCaller) {
  load_game({RoomRecord{.name = "rm_a", .placements = {{.object = 2, .id = 100001}}},
             RoomRecord{.name = "rm_b", .placements = {{.object = 0, .id = 100002}}}});
  g_goto_in_create = 1;
  Room_Start(0, true);
  // The room start finishes (Room Start is filtered while the request stands); the caller switches.
  EXPECT_EQ(New_Room, 1);
  EXPECT_EQ(std::count(Log().begin(), Log().end(), "2@100001 roomstart"), 0);
  g_goto_in_create = -1;
  Room_Switch(New_Room);
  EXPECT_EQ(Run_RoomIndex, 1);
  EXPECT_NE(Instance_Find(100002), nullptr);
}

TEST_F(RoomFlow, GameEndRunsRoomEndGameEndAndPersistentCleanUpThenFreesEverything) {
  load_game();
  Room_Start(0, true);
  switch_to(2);
  Log().clear();
  Room_EndGame();
  const std::vector<std::string> expected = {
      "0@100004 roomend", "New_Room in Room End -1", "1@100002 roomend", "New_Room in Room End -1",
      "0@100004 gameend", "1@100002 gameend", "1@100002 cleanup"};
  EXPECT_EQ(Log(), expected);
  EXPECT_EQ(Run_Room, nullptr);
  EXPECT_EQ(Room_Working(2), nullptr);
  EXPECT_EQ(Room_CarriedCount(), 0);
  EXPECT_EQ(Instance_Find(100002), nullptr);
  EXPECT_EQ(Instance_Find(100004), nullptr);
}

TEST_F(RoomFlow, ScriptMadeRoomsTakeTheirPlacementsIntoTheWorkingCopy) {
  load_game();
  Room_Start(0, true);
  CInstance* self = Instance_Find(100001);
  const int32_t added = static_cast<int32_t>(RV_ToDouble(call("room_add", self, {})));
  EXPECT_EQ(added, 3);
  EXPECT_TRUE(RV_ToBool(call("room_exists", self, {RV_Real(added)})));
  call("room_set_width", self, {RV_Real(added), RV_Real(256)});
  const RValue ref = call("room_instance_add", self, {RV_Real(added), RV_Real(8), RV_Real(9), RV_Real(0)});
  const int32_t id = Instance_SetNumber(ref);
  EXPECT_GT(id, 100010);
  const int32_t copy = static_cast<int32_t>(RV_ToDouble(call("room_duplicate", self, {RV_Real(added)})));
  EXPECT_EQ(copy, 4);
  EXPECT_EQ(RV_ToDouble(call("room_duplicate", self, {RV_Real(42)})), -1.0);
  switch_to(added);
  EXPECT_EQ(Run_Room->width, 256);
  EXPECT_TRUE(Run_Room->scriptMade);
  CInstance* placed = Instance_Find(id);
  ASSERT_NE(placed, nullptr);
  EXPECT_FLOAT_EQ(placed->y, 9.0f);
  EXPECT_NE(std::find(Log().begin(), Log().end(), "0@" + std::to_string(id) + " create"), Log().end());
  EXPECT_THROW(call("room_assign", self, {RV_Real(added), RV_Real(40)}), KVTSLException);
  for (const auto& [room, name] : {std::pair<int32_t, const char*>{40, "<undefined>"}, {1, "rm_middle"}}) {
    RValue text = call("room_get_name", self, {RV_Real(room)});
    EXPECT_STREQ(RV_StringText(text), name);
    RV_FreeToUndefined(&text);
  }
}

}  // namespace

namespace {

class RoomVariables : public RoomFlow {
 protected:
  double read(const char* name) {
    RValue out = RV_Unset();
    EXPECT_TRUE(Variable_GetValue(KV_AsObject(self_), Variable_BuiltIn_Find(name), -1, &out)) << name;
    const double value = RV_ToDouble(out);
    RV_FreeToUndefined(&out);
    return value;
  }
  void write(const char* name, double value) {
    const RValue v = RV_Real(value);
    Variable_SetValue(KV_AsObject(self_), Variable_BuiltIn_Find(name), -1, &v);
  }
  CInstance* self_ = nullptr;
};

TEST_F(RoomVariables, RoomRowsReadAndWriteTheCurrentWorkingCopy) {
  load_game();
  if (Variable_BuiltIn_Find("room_width") < 0) BuiltinVar_RegisterAll();
  Room_Start(0, true);
  self_ = Instance_Find(100001);
  EXPECT_EQ(read("room"), 0.0);
  EXPECT_EQ(read("room_first"), 0.0);
  EXPECT_EQ(read("room_last"), 2.0);
  EXPECT_EQ(read("room_width"), 320.0);
  EXPECT_EQ(read("room_height"), 200.0);
  EXPECT_EQ(read("room_persistent"), 0.0);
  write("room_width", 512);
  write("room_persistent", 0.7);
  EXPECT_EQ(Run_Room->width, 512);
  EXPECT_TRUE(Run_Room->persistent);
  EXPECT_EQ(Room_Template(0)->width, 320);  // the template stays as the file has it
  write("transition_kind", 5);
  EXPECT_EQ(read("transition_kind"), 0.0);
  write("room", 2);
  EXPECT_EQ(New_Room, 2);
  New_Room = kNewRoomNone;
  EXPECT_THROW(write("room_speed", 0), KVTSLException);
}

}  // namespace

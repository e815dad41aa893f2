#include "support/world_fixture.h"

#include "core/builtin_families.h"
#include "core/error.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_rooms.h"
#include "graphics/camera.h"
#include "graphics/surface.h"
#include "run/asset_readers.h"
#include "run/run_subjects.h"
#include "support/fixture.h"
#include "world/asset_objects.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/world_init.h"

std::vector<std::string>& Log() {
  static std::vector<std::string> log;
  return log;
}

void WorldTest::SetUp() {
  ResetLoaderState();
  Assets_InstallReaders();
  Builtins_AddRegistrar(kFamilyResource, ObjectType_RegisterBuiltins);
  Builtins_AddRegistrar(kFamilyInteraction, Instance_RegisterBuiltins);
  Builtins_AddRegistrar(kFamilyInteraction, Event_RegisterBuiltins);
  World_Init();
  Instance_ResetState();
  Event_ResetState();
  New_Room = kNewRoomNone;
  Run_Room = nullptr;
  rows_.reserve(256);
  Log().clear();
}

void WorldTest::TearDown() {
  // The rooms release their instances (each leaves its object's lists), then the tables go.
  Room_FreeAll();
  room_ = nullptr;
  Camera_FreeAll();  // the default camera the start-up made, as the runner's game end frees it
  Surface_Reset();  // the application surface a drawn room made
  ResetLoaderState();
  Instance_ResetState();
  Object_ClearAssets();
  g_CodeTables = nullptr;
  New_Room = kNewRoomNone;
  // The start-up named events and objects for error texts; tests after this one expect none.
  Event_ResetState();
  g_EventNameSources = KVEventNameSources{};
}

int32_t WorldTest::code(const char* name, TestEventFn fn) {
  rows_.push_back(KVScriptRow{name, reinterpret_cast<KVCodeFunction>(fn), nullptr});
  return static_cast<int32_t>(rows_.size()) - 1;
}

bool WorldTest::load_objects(const std::vector<std::optional<datawin::ObjectRecord>>& objects, int version,
                             uint32_t generation) {
  datawin::Writer writer = MakeMinimalGame(version, generation);
  datawin::add_objt(writer, objects, version);
  datawin::RoomRecord room;
  room.name = "rm_world";
  datawin::add_room(writer, {room});
  return load_and_start(writer);
}

bool WorldTest::load_and_start(const datawin::Writer& writer) {
  tables_ = KVCodeTables{};
  tables_.scriptCount = static_cast<int32_t>(rows_.size());
  tables_.scriptTable = rows_.data();
  g_CodeTables = &tables_;
  image_ = BuildImage(writer);
  const auto size = static_cast<uint32_t>(image_.size());
  const bool scanned = HeaderScan(image_.data(), size);
  if (!LoadGameData(image_.data(), size) || !scanned) return false;
  // The runner's start-up from here: the rooms are prepared and the first one starts.
  if (!Room_Prepare() || !Room_StartFirst()) return false;
  room_ = Run_Room;
  return room_ != nullptr;
}

CInstance* WorldTest::make(int32_t object, float x, float y, float depth) {
  return Create_Instance(object, x, y, depth);
}

RValue WorldTest::call(const char* name, CInstance* self, const std::vector<RValue>& args, CInstance* other) {
  int32_t id = -1;
  EXPECT_TRUE(Function_Find(name, &id)) << name;
  RValue result = RV_Undefined();
  if (id < 0) return result;
  std::vector<RValue> argv = args;
  Function_Row(id)->handler(&result, self, other != nullptr ? other : self, static_cast<int>(argv.size()),
                            argv.data());
  return result;
}

datawin::ObjectRecord ObjectDef(const std::string& name, int32_t parent, std::vector<datawin::ObjectEvent> events) {
  datawin::ObjectRecord record;
  record.name = name;
  record.parent = parent;
  record.events = std::move(events);
  return record;
}

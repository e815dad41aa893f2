// The saved game on a three-room game written by the writer and run through the real frame
// driver: a save, then a changed world (instances moved, destroyed and made, variables and globals
// changed, other rooms entered), then a load at the frame's start must bring everything back; the
// version check and the warnings; a persistent room's kept state.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/console.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "datawin/writer/chunk_rooms.h"
#include "graphics/camera.h"
#include "run/saved_game.h"
#include "storage/buffer.h"
#include "storage/file_paths.h"
#include "support/fixture.h"
#include "world/builtin_var_rows.h"
#include "world/frame_world_test.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/layer.h"
#include "world/object_type.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

constexpr int32_t kHero = 0;
constexpr int32_t kHeroA = 100001, kHeroB = 100002, kVaultHero = 100003;

void Note(CInstance* self, const char* what) { Log().push_back(std::to_string(self->id) + " " + what); }
void OnCreate(CInstance* self, CInstance*) { Note(self, "create"); }
void OnRoomStart(CInstance* self, CInstance*) { Note(self, "roomstart"); }

// A load that a Step event asks for, once: the builtin and its argument.
const char* g_load_builtin = nullptr;
RValue g_load_argument = RV_Undefined();
void OnStep(CInstance* self, CInstance*) {
  if (g_load_builtin == nullptr) return;
  int32_t id = -1;
  ASSERT_TRUE(Function_Find(g_load_builtin, &id));
  g_load_builtin = nullptr;
  RValue result = RV_Undefined();
  Function_Row(id)->handler(&result, self, self, 1, &g_load_argument);
  RV_FreeToUndefined(&g_load_argument);
}

// A value read for a check, let go of when the check is done.
struct Held {
  RValue v = RV_Unset();
  Held() = default;
  Held(Held&& other) noexcept : v(other.v) { other.v = RV_Unset(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() { RV_FreeToUndefined(&v); }
  operator const RValue&() const { return v; }
};

Held var(KVObjectBase* object, const char* name) {
  Held out;
  Object_GetVar(object, Variable_FindOrAddSlot(name), kIndexWholeValue, &out.v);
  return out;
}
// Stores value, which the call then lets go of.
void set_var(KVObjectBase* object, const char* name, RValue value) {
  Object_SetVar(object, Variable_FindOrAddSlot(name), kIndexWholeValue, &value);
  RV_FreeToUndefined(&value);
}
std::string text_of(const RValue& value) {
  char* text = RV_ToText(value);
  std::string out = text;
  KV_FREE(text);
  return out;
}
RValue str(const char* text) {
  RValue out = RV_Undefined();
  RV_SetString(&out, text);
  return out;
}
// A new array holding items, which the call lets go of.
RValue array_of(std::vector<RValue> items) {
  RValue out = RV_Undefined();
  RV_SetArray(&out, RV_NewArray(0));
  --out.pArray->refCount;  // RV_NewArray's own count is the one out holds
  for (size_t i = 0; i < items.size(); ++i) {
    RV_ArrayWrite(&out, static_cast<int32_t>(i), &items[i]);
    RV_FreeToUndefined(&items[i]);
  }
  return out;
}

class SavedGameTest : public FrameWorldTest {
 protected:
  void SetUp() override {
    FrameWorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyFile, SavedGame_RegisterBuiltins);
    SavedGame_Reset();
    g_load_builtin = nullptr;
    RunVariables_Reset();
    save_dir_ = std::filesystem::canonical(save_area_.path()).string() + "/";
    Files_SetRoots(std::filesystem::current_path().string() + "/", std::filesystem::current_path().string() + "/",
                   save_dir_, "");
  }
  void TearDown() override {
    SavedGame_Reset();
    Files_Reset();
    Buffer_FreeAll();
    FrameWorldTest::TearDown();
  }

  // Rooms: 0 a field with two heroes on "Actors" and an empty "Ground", 1 a persistent vault with
  // one hero, 2 an empty room.
  void load_game() {
    const std::vector<ObjectEvent> events = {
        {0, 0, code("create", OnCreate)}, {7, 4, code("roomstart", OnRoomStart)}, {3, 0, code("step", OnStep)}};
    RoomRecord field{.name = "rm_field", .width = 800, .height = 600, .enable_views = true,
                     .views = {{.enabled = true, .view_width = 320, .view_height = 180}},
                     .placements = {{.x = 10, .y = 20, .object = kHero, .id = kHeroA},
                                    {.x = 50, .y = 60, .object = kHero, .id = kHeroB}}};
    field.layers = {{.name = "Actors", .id = 10, .kind = layer::kKindInstances, .depth = 0, .instances = {kHeroA, kHeroB}},
                    {.name = "Ground", .id = 11, .kind = layer::kKindInstances, .depth = 200},
                    {.name = "Backdrop", .id = 12, .kind = layer::kKindBackground, .depth = 300},
                    {.name = "Tiles", .id = 13, .kind = layer::kKindTileMap, .depth = 250,
                     .tile_map = {.tile_set = 0, .width = 2, .height = 2, .cells = {1, 2, 3, 4}}},
                    {.name = "Props", .id = 14, .kind = layer::kKindAssets, .depth = 100, .sprites = {{.x = 3}}}};
    RoomRecord vault{.name = "rm_vault", .persistent = true, .placements = {{.x = 5, .y = 5, .object = kHero, .id = kVaultHero}}};
    vault.layers = {{.name = "Actors", .id = 20, .kind = layer::kKindInstances, .depth = 0, .instances = {kVaultHero}}};
    RoomRecord other{.name = "rm_other"};
    Gen8Record header = MinimalHeader(17, 2, 60.0f);
    header.room_order = {0, 1, 2};
    header.last_instance_id = 100010;
    Writer writer;
    add_gen8(writer, header);
    add_objt(writer, {ObjectDef("hero", -1, events)}, 17);
    add_room(writer, {field, vault, other});
    ASSERT_TRUE(load_and_start(writer));
    Run_Running = true;
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
  }

  RValue call_builtin(const char* name, const RValue& argument) { return call(name, nullptr, {argument}); }

  void frame() { Frame_Drive(); }

  // Saves through the file or through a buffer, and later asks for the load the same way.
  void save(bool through_buffer) {
    if (through_buffer) {
      buffer_ = Buffer_Create(16, kBufferGrow, 1);
      EXPECT_TRUE(RV_ToBool(call_builtin("game_save_buffer", RV_Real(buffer_))));
    } else {
      RValue name = str("slots/one.sav");
      EXPECT_TRUE(RV_ToBool(call_builtin("game_save", name)));
      RV_FreeToUndefined(&name);
    }
  }
  // The load request: now, or from the next Step event.
  void ask_load(bool through_buffer, bool in_step = false) {
    RValue argument = through_buffer ? RV_Real(buffer_) : str("slots/one.sav");
    const char* builtin = through_buffer ? "game_load_buffer" : "game_load";
    if (in_step) {
      g_load_builtin = builtin;
      g_load_argument = argument;
      return;
    }
    call_builtin(builtin, argument);
    RV_FreeToUndefined(&argument);
  }

  CInstance* find(int32_t id) { return Instance_Find(id); }

  TempDir save_area_;
  std::string save_dir_;
  int32_t buffer_ = -1;
};

// The world a round trip is checked against: set after the game starts, changed after the save.
struct RoundTrip {
  const char* name;
  bool throughBuffer;
  bool loadInStep;  // game_load from a Step event, as a game calls it, rather than between frames
};

class SavedGameRoundTrip : public SavedGameTest, public ::testing::WithParamInterface<RoundTrip> {};

TEST_P(SavedGameRoundTrip, LoadBringsBackRoomsInstancesAndGlobals) {
  const RoundTrip& trip = GetParam();
  load_game();
  // The vault is visited and left changed, so that it is kept.
  Room_Switch(1);
  Instance_SetPosition(find(kVaultHero), 33, 44);
  set_var(KV_AsObject(find(kVaultHero)), "loot", RV_Real(3));
  Room_Switch(0);

  CInstance* a = find(kHeroA);
  CInstance* b = find(kHeroB);
  Instance_SetPosition(a, 100, 120);
  a->alarm[2] = 7;
  a->direction = 45;
  a->imageAlpha = 0.5f;
  InstancePathState* path = InstancePath_Get(a);
  path->timelineIndex = 3;
  path->timelinePosition = 12.5f;
  path->pathSpeed = 2;
  set_var(KV_AsObject(a), "title", str("Sir Ector"));
  set_var(KV_AsObject(a), "partner", RV_Object(KV_AsObject(b)));
  CLayer* sky = Layer_Create(Run_Room, -50, "Sky");
  const int32_t sky_id = sky->id;
  Layer_RemoveInstance(Run_Room, b);
  Layer_AddInstance(Run_Room, sky, b);
  set_var(Object_Global(), "gold", RV_Real(250));
  set_var(Object_Global(), "banner", str("Kova Keep"));
  g_RunVariables.score = 42;
  Log().clear();

  save(trip.throughBuffer);

  // Everything changes: positions, variables, a destroyed and a new instance, the globals, the
  // vault's kept state, and the current room.
  Instance_SetPosition(a, 1, 1);
  a->alarm[2] = -1;
  InstancePath_Get(a)->timelineIndex = -1;
  set_var(KV_AsObject(a), "title", str("nobody"));
  set_var(KV_AsObject(a), "extra", RV_Real(1));
  Instance_Destroy(b, true);
  Room_PurgeMarked(Run_Room);
  CInstance* newcomer = Create_Instance(kHero, 7, 7, 0);
  const int32_t newcomer_id = newcomer->id;
  set_var(Object_Global(), "gold", RV_Real(0));
  g_RunVariables.score = 0;
  Room_Switch(1);
  Instance_SetPosition(find(kVaultHero), 999, 999);
  Room_Switch(2);
  Log().clear();

  if (trip.loadInStep) {
    Room_Switch(0);  // a hero's Step event asks for the load
    ask_load(trip.throughBuffer, true);
    frame();
    EXPECT_TRUE(SavedGame_LoadPending()) << "queued at the frame's end, run as the next one begins";
    EXPECT_EQ(New_Room, kNewRoomNone);
    Log().clear();
  } else {
    ask_load(trip.throughBuffer);
    EXPECT_EQ(New_Room, kNewRoomLoad);
  }
  frame();  // the load runs as the frame begins, then the frame steps once

  EXPECT_FALSE(SavedGame_LoadPending());
  ASSERT_EQ(Run_RoomIndex, 0);
  EXPECT_EQ(Run_Room->width, 800);
  a = find(kHeroA);
  b = find(kHeroB);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(find(newcomer_id), nullptr);
  EXPECT_EQ(Object_Find(kHero)->instances.count, 2);
  EXPECT_EQ(Run_Room->active.count, 2);
  EXPECT_FLOAT_EQ(a->x, 100);
  EXPECT_FLOAT_EQ(a->y, 120);
  EXPECT_EQ(a->alarm[2], 7) << "the hero has no alarm event to count it down";
  EXPECT_FLOAT_EQ(a->direction, 45);
  EXPECT_FLOAT_EQ(a->imageAlpha, 0.5f);
  ASSERT_NE(a->pathState, nullptr);
  EXPECT_EQ(a->pathState->timelineIndex, 3);
  EXPECT_FLOAT_EQ(a->pathState->timelinePosition, 12.5f);
  EXPECT_FLOAT_EQ(a->pathState->pathSpeed, 2);
  EXPECT_EQ(text_of(var(KV_AsObject(a), "title")), "Sir Ector");
  EXPECT_EQ(RV_ObjectOf(var(KV_AsObject(a), "partner")), KV_AsObject(b));
  EXPECT_EQ(a->layerId, 10);
  EXPECT_EQ(b->layerId, sky_id);
  EXPECT_FLOAT_EQ(b->depth, -50);
  CLayer* restored_sky = Layer_Find(Run_Room, sky_id);
  ASSERT_NE(restored_sky, nullptr);
  EXPECT_EQ(restored_sky->name, "Sky");
  EXPECT_NE(Layer_InstanceElement(Run_Room, kHeroB), nullptr);
  EXPECT_EQ(RV_ToDouble(var(Object_Global(), "gold")), 250);
  EXPECT_EQ(text_of(var(Object_Global(), "banner")), "Kova Keep");
  EXPECT_EQ(g_RunVariables.score, 42);
  for (const std::string& line : Log()) {
    EXPECT_EQ(line.find("create"), std::string::npos) << line;
    EXPECT_EQ(line.find("roomstart"), std::string::npos) << line;
  }
  // Room 2 had no working copy at the save; the vault comes back as it was left.
  ASSERT_GE(Run_Rooms.size(), 3u);
  EXPECT_EQ(Run_Rooms[2], nullptr);
  ASSERT_NE(Run_Rooms[1], nullptr);
  Room_Switch(1);
  CInstance* kept = find(kVaultHero);
  ASSERT_NE(kept, nullptr);
  EXPECT_FLOAT_EQ(kept->x, 33);
  EXPECT_EQ(RV_ToDouble(var(KV_AsObject(kept), "loot")), 3);
}

INSTANTIATE_TEST_SUITE_P(Ways, SavedGameRoundTrip,
                         ::testing::Values(RoundTrip{"file", false, false}, RoundTrip{"buffer", true, false},
                                           RoundTrip{"file_from_step", false, true},
                                           RoundTrip{"buffer_from_step", true, true}),
                         [](const ::testing::TestParamInfo<RoundTrip>& info) { return std::string(info.param.name); });

// Values of every shape come back with their contents, and references that were shared, circular
// or to instances come back as references.
TEST_F(SavedGameTest, VariablesOfEveryShapeComeBack) {
  load_game();
  CInstance* a = find(kHeroA);
  CInstance* b = find(kHeroB);
  KVObjectBase* self = KV_AsObject(a);
  KVObjectBase* inner = Object_NewStruct();
  set_var(inner, "c", str("d"));
  KVObjectBase* outer = Object_NewStruct();
  set_var(outer, "a", RV_Real(1));
  set_var(outer, "b", RV_Object(inner));
  set_var(outer, "me", RV_Object(outer));
  RValue shared = array_of({RV_Real(1), str("two"), array_of({RV_Real(3)})});
  struct Row {
    const char* name;
    RValue value;
  };
  const std::vector<Row> rows = {
      {"real", RV_Real(2.5)},          {"int32", RV_Int32(-7)},
      {"int64", RV_Int64(1ll << 40)},  {"flag", RV_Bool(true)},
      {"none", RV_Undefined()},        {"nothing", RV_Null()},
      {"text", str("with \"quotes\"")}, {"list", shared},
      {"same_list", shared},           {"tree", RV_Object(outer)},
      {"ref", Instance_Ref(kHeroB)},   {"other", RV_Object(KV_AsObject(b))},
      {"method", RV_Object(Method_ForBuiltin(0))},
  };
  std::vector<std::string> before;
  for (const Row& row : rows) {
    Object_SetVar(self, Variable_FindOrAddSlot(row.name), kIndexWholeValue, &row.value);
    before.push_back(text_of(var(self, row.name)));
  }
  for (const Row& row : rows) {
    if (std::strcmp(row.name, "same_list") == 0) continue;  // one count for both rows
    RValue held = row.value;
    RV_FreeToUndefined(&held);
  }
  save(true);
  for (const Row& row : rows) set_var(self, row.name, RV_Real(0));
  ask_load(true);
  frame();

  self = KV_AsObject(find(kHeroA));
  for (size_t i = 0; i < rows.size(); ++i) {
    const Held now = var(self, rows[i].name);
    EXPECT_EQ(RV_Kind(now.v), RV_Kind(rows[i].value)) << rows[i].name;
    EXPECT_EQ(text_of(now), before[i]) << rows[i].name;
  }
  EXPECT_EQ(var(self, "list").v.pArray, var(self, "same_list").v.pArray) << "one array, held twice";
  KVObjectBase* tree = RV_ObjectOf(var(self, "tree"));
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(RV_ObjectOf(var(tree, "me")), tree) << "the cycle closes on the new struct";
  EXPECT_EQ(RV_ObjectOf(var(self, "other")), KV_AsObject(find(kHeroB)));
  EXPECT_EQ(RV_ObjectOf(var(self, "method"))->kind, kObjScriptRef);
}

// A stream of another version, or a damaged one, is refused with its console line and changes
// nothing.
TEST_F(SavedGameTest, ForeignOrDamagedStreamLeavesTheGameAsItWas) {
  struct Case {
    const char* name;
    int32_t version;  // written over the first word
    size_t cut;       // bytes dropped from the end
    const char* message;
  };
  const Case cases[] = {{"older", 851, 0, "Save game format has changed\n"},
                        {"newer", 853, 0, "Save game format has changed\n"},
                        {"truncated", kSavedGameVersion, 9, "WARNING: Game load failed, the saved game is damaged\n"}};
  load_game();
  std::vector<uint8_t> good;
  ASSERT_TRUE(SavedGame_Write(&good));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<uint8_t> bytes(good.begin(), good.end() - static_cast<std::ptrdiff_t>(c.cut));
    std::memcpy(bytes.data(), &c.version, 4);
    const int32_t id = Buffer_CreateFromBytes(bytes.data(), static_cast<int32_t>(bytes.size()), kBufferFixed, 1);
    Instance_SetPosition(find(kHeroA), 300, 301);
    ConsoleCapture capture;
    call_builtin("game_load_buffer", RV_Real(id));
    frame();
    EXPECT_NE(capture.text().find(c.message), std::string::npos) << capture.text();
    ASSERT_NE(find(kHeroA), nullptr);
    EXPECT_FLOAT_EQ(find(kHeroA)->x, 300);
    EXPECT_EQ(Run_RoomIndex, 0);
    Buffer_Delete(id);
  }
}

TEST_F(SavedGameTest, EachRefusalPrintsItsWarning) {
  struct Case {
    const char* name;
    const char* builtin;
    RValue argument;
    const char* expected;
  };
  load_game();
  const std::vector<Case> cases = {
      {"null name", "game_load", RV_Undefined(), "WARNING: Game load failed, null filename passed\n"},
      {"missing file", "game_load", str("nowhere.sav"), "WARNING: Game load failed, nowhere.sav not found\n"},
      {"no buffer to load", "game_load_buffer", RV_Real(77), "WARNING: No buffer available for 77\n"},
      {"no buffer to save", "game_save_buffer", RV_Real(78), "WARNING: No buffer available for 78\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ConsoleCapture capture;
    const RValue result = call_builtin(c.builtin, c.argument);
    RValue argument = c.argument;
    RV_FreeToUndefined(&argument);
    EXPECT_EQ(capture.text(), c.expected);
    EXPECT_FALSE(RV_ToBool(result));
    EXPECT_FALSE(SavedGame_LoadPending());
    EXPECT_EQ(New_Room, kNewRoomNone);
  }
  // A second load before the first has run is ignored.
  save(false);
  ask_load(false);
  ConsoleCapture capture;
  ask_load(false);
  EXPECT_EQ(capture.text(), "WARNING: Load game being ignored due to load game already queued\n");
  EXPECT_TRUE(SavedGame_LoadPending());
}

template <class T>
T* first_element(int32_t layer_id, int32_t kind) {
  CLayer* layer = Layer_Find(Run_Room, layer_id);
  for (CLayerElementBase* at = layer != nullptr ? layer->elementsHead : nullptr; at != nullptr; at = at->next) {
    if (at->kind == kind) return static_cast<T*>(at);
  }
  return nullptr;
}

// Layers keep their depth and visibility, drawn elements their state (a cell of a tile map, a
// background's colour, a sprite's place), elements made by the game come back under their ids and
// a deactivated instance stays deactivated.
TEST_F(SavedGameTest, LayersElementsAndDeactivatedInstancesComeBack) {
  load_game();
  auto* background = first_element<CLayerBackgroundElement>(12, kLayerElementBackground);
  auto* map = first_element<CLayerTilemapElement>(13, kLayerElementTilemap);
  auto* prop = first_element<CLayerSpriteElement>(14, kLayerElementSprite);
  ASSERT_NE(background, nullptr);
  ASSERT_NE(map, nullptr);
  ASSERT_NE(prop, nullptr);
  background->background->blend = 0x00FF00;
  map->cells[3] = 9;
  prop->x = 77;
  CLayer* ground = Layer_Find(Run_Room, 11);
  Layer_SetDepth(Run_Room, ground, 150, false);
  ground->visible = false;
  auto* added = static_cast<CLayerSpriteElement*>(Layer_NewElement(kLayerElementSprite));
  added->x = 5;
  const int32_t added_id = Layer_AddElement(Run_Room, ground, added);
  Instance_Deactivate(find(kHeroB));
  Instance_FlushDeactivation();
  Camera* camera = Camera_Get(Run_Room->views[0]->cameraId);
  ASSERT_NE(camera, nullptr);
  camera->viewX = 40;
  save(true);
  camera->viewX = 0;

  background->background->blend = 0xFFFFFF;
  map->cells[3] = 0;
  prop->x = 0;
  Layer_RemoveElement(Run_Room, ground, added, false);
  Layer_SetDepth(Run_Room, ground, 200, false);
  ground->visible = true;
  Layer_Destroy(Run_Room, 13);
  Instance_Activate(find(kHeroB));
  Instance_FlushDeactivation();
  ask_load(true);
  frame();

  background = first_element<CLayerBackgroundElement>(12, kLayerElementBackground);
  map = first_element<CLayerTilemapElement>(13, kLayerElementTilemap);
  prop = first_element<CLayerSpriteElement>(14, kLayerElementSprite);
  ASSERT_NE(background, nullptr);
  ASSERT_NE(map, nullptr);
  ASSERT_NE(prop, nullptr);
  EXPECT_EQ(background->background->blend, 0x00FF00u);
  ASSERT_NE(map->cells, nullptr);
  EXPECT_EQ(std::vector<uint32_t>(map->cells, map->cells + 4), (std::vector<uint32_t>{1, 2, 3, 9}));
  EXPECT_FLOAT_EQ(prop->x, 77);
  ground = Layer_Find(Run_Room, 11);
  EXPECT_EQ(ground->depth, 150);
  EXPECT_FALSE(ground->visible);
  auto* restored = static_cast<CLayerSpriteElement*>(Layer_FindElement(Run_Room, added_id, kLayerElementSprite));
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(restored->layer, ground);
  EXPECT_FLOAT_EQ(restored->x, 5);
  camera = Camera_Get(Run_Room->views[0]->cameraId);
  ASSERT_NE(camera, nullptr);
  EXPECT_FLOAT_EQ(camera->viewX, 40);
  EXPECT_FLOAT_EQ(camera->viewW, 320);
  CInstance* b = find(kHeroB);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(Instance_FindLive(kHeroB), nullptr);
  EXPECT_EQ(Run_Room->inactive.head, b);
  EXPECT_EQ(Run_Room->active.count, 1);
  Instance_Activate(b);
  Instance_FlushDeactivation();
  EXPECT_EQ(Instance_FindLive(kHeroB), b);
  EXPECT_EQ(Object_Find(kHero)->instances.count, 2);
}

// A persistent room left before the save keeps its own state through the load, whatever happened
// to it in between, and its instances wait out of the game's tables until the room is entered.
TEST_F(SavedGameTest, PersistentRoomKeepsItsStoredState) {
  load_game();
  Room_Switch(1);
  CInstance* vault_hero = find(kVaultHero);
  Instance_SetPosition(vault_hero, 40, 41);
  vault_hero->alarm[0] = 9;
  Layer_Create(Run_Room, 30, "Treasure");
  Room_Switch(0);
  save(false);
  Room_Switch(1);
  Instance_Destroy(find(kVaultHero), true);
  Room_PurgeMarked(Run_Room);
  Room_Switch(2);
  ask_load(false);
  frame();

  ASSERT_EQ(Run_RoomIndex, 0);
  EXPECT_EQ(find(kVaultHero), nullptr) << "a kept room's instances are not in the id table";
  ASSERT_NE(Run_Rooms[1], nullptr);
  EXPECT_EQ(Run_Rooms[1]->active.count, 1);
  Log().clear();
  Room_Switch(1);
  vault_hero = find(kVaultHero);
  ASSERT_NE(vault_hero, nullptr);
  EXPECT_FLOAT_EQ(vault_hero->x, 40);
  EXPECT_EQ(vault_hero->alarm[0], 9);
  EXPECT_NE(Layer_FindByName(Run_Room, "Treasure"), nullptr);
  EXPECT_EQ(Log(), std::vector<std::string>{"100003 roomstart"}) << "a return, not a new room";
}

}  // namespace

// A room's layers from a written ROOM record: the layers sorted by depth with their elements, the
// placed instances on their file layer, ids of new layers after the file's highest, the working
// copy's own tile cells, and the target room of the builtins; particle systems crossing rooms.
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "core/builtin_families.h"
#include "core/frame_state.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_rooms.h"
#include "graphics/particles.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/particles_layer.h"
#include "world/room.h"
#include "world/step.h"

// Records are built with designated initialisers that name only the fields a test cares about.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

class LayerRoomTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Run_Room = nullptr;
    Layer_ResetState();
    Builtins_AddRegistrar(kFamilyResource, Room_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyResource, Layer_RegisterBuiltins);
  }
  void TearDown() override {
    Room_FreeAll();
    Layer_ResetState();
    WorldTest::TearDown();
  }

  void load_game() {
    RoomRecord room{.name = "rm_layers"};
    // 101025 comes after 100002 in the room's list but before it in the id table (its bucket,
    // id AND 1023, is 100001's, one below 100002's).
    room.placements = {{.x = 8, .object = 0, .id = 100001},
                       {.x = 9, .object = 0, .id = 100002},
                       {.x = 10, .object = 0, .id = 101025}};
    room.layers = {
        {.name = "Instances", .id = 7, .kind = layer::kKindInstances, .depth = 100, .instances = {100001}},
        {.name = "Backdrop", .id = 3, .kind = layer::kKindBackground, .depth = 500,
         .background = {.sprite = 5, .animation_speed = 2, .speed_type = 1}},
        {.name = "Assets", .id = 12, .kind = layer::kKindAssets, .depth = 200, .hspeed = 2,
         .sprites = {{.name = "torch", .sprite = 6, .x = 40, .y = 41}}},
        {.name = "Tiles", .id = 4, .kind = layer::kKindTileMap, .depth = 300,
         .tile_map = {.tile_set = 2, .width = 3, .height = 2, .cells = {1, 2, 3, 4, 5, 6}}}};
    tables_ = KVCodeTables{};
    g_CodeTables = &tables_;
    Gen8Record header = MinimalHeader(17, 2, 60.0f);
    header.room_order = {0, 1};
    header.last_instance_id = 100010;
    Writer writer;
    add_gen8(writer, header);
    add_objt(writer, {ObjectDef("thing")}, 17);
    // The other room's sequence list names no sequence that exists.
    add_room(writer, {room, RoomRecord{.name = "rm_other", .sequences = {42}}});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    ASSERT_TRUE(HeaderScan(image_.data(), size));
    ASSERT_TRUE(LoadGameData(image_.data(), size));
    Room_LoadTemplates();
  }

  static std::vector<int32_t> ids(const CRoom* room) {
    std::vector<int32_t> out;
    for (CLayer* at = room->layersHead; at != nullptr; at = at->next) out.push_back(at->id);
    return out;
  }
};

TEST_F(LayerRoomTest, RoomStartBuildsLayersFromTheRecord) {
  load_game();
  Room_Start(0, true);
  ASSERT_NE(Run_Room, nullptr);
  // The file layers sorted by depth, then a managed layer for the placement without a file layer
  // (depth 0 from its object): ids of new layers follow the file's highest id, 12, and the other
  // room's "Sequence" layer took 13 when the templates were built.
  EXPECT_EQ(ids(Run_Room), (std::vector<int32_t>{14, 7, 12, 4, 3}));
  EXPECT_TRUE(Layer_Find(Run_Room, 14)->managed);

  CInstance* placed = Instance_Find(100001);
  ASSERT_NE(placed, nullptr);
  EXPECT_EQ(placed->layerId, 7);
  EXPECT_NE(placed->flags & kInstHasLayerElement, 0u);
  EXPECT_EQ(placed->depth, 100.0f);
  EXPECT_EQ(Instance_Find(100002)->layerId, 14);
  EXPECT_EQ(Instance_Find(101025)->layerId, 14);
  // Placements without a layer reach their layer in the order of the id table; each new instance
  // element goes to the head, so the one placed last stands first.
  std::vector<int32_t> loose;
  for (CLayerElementBase* at = Layer_Find(Run_Room, 14)->elementsHead; at != nullptr; at = at->next) {
    loose.push_back(static_cast<CLayerInstanceElement*>(at)->instanceId);
  }
  EXPECT_EQ(loose, (std::vector<int32_t>{100002, 101025}));

  CLayer* assets = Layer_Find(Run_Room, 12);
  ASSERT_EQ(assets->elementCount, 1);
  const auto* torch = static_cast<CLayerSpriteElement*>(assets->elementsHead);
  EXPECT_EQ(torch->kind, kLayerElementSprite);
  EXPECT_EQ(torch->name, "torch");
  EXPECT_EQ(torch->x, 40.0f);
  EXPECT_TRUE(torch->live);
  const auto* backdrop = static_cast<CLayerBackgroundElement*>(Layer_Find(Run_Room, 3)->elementsHead);
  ASSERT_NE(backdrop->background, nullptr);
  EXPECT_EQ(backdrop->background->spriteIndex, 5);

  // The step scrolls the file layer's offset by its speed.
  Layer_Animate(Run_Room);
  EXPECT_EQ(assets->xOffset, 2.0f);
}

TEST_F(LayerRoomTest, ASequenceListMakesTheSequenceLayerEvenWithNoSequenceInIt) {
  load_game();
  const CLayer* sequences = Layer_FindByName(Room_Template(1), "Sequence");
  ASSERT_NE(sequences, nullptr);
  EXPECT_EQ(sequences->depth, 0);
  EXPECT_EQ(sequences->elementCount, 0);
  EXPECT_EQ(Layer_FindByName(Room_Template(0), "Sequence"), nullptr) << "no list, no layer";
}

TEST_F(LayerRoomTest, TheWorkingCopyEditsItsOwnCells) {
  load_game();
  Room_Start(0, true);
  auto* map = static_cast<CLayerTilemapElement*>(Layer_Find(Run_Room, 4)->elementsHead);
  ASSERT_EQ(map->kind, kLayerElementTilemap);
  EXPECT_EQ(map->cells[4], 5u);
  call("tilemap_set", nullptr, {RV_Real(map->id), RV_Real(9), RV_Real(1), RV_Real(1)});
  EXPECT_EQ(map->cells[4], 9u);
  const auto* original = static_cast<CLayerTilemapElement*>(Layer_Find(Room_Template(0), 4)->elementsHead);
  EXPECT_EQ(original->cells[4], 5u);
}

TEST_F(LayerRoomTest, TheTargetRoomRedirectsTheBuiltins) {
  load_game();
  Room_Start(0, true);
  // Room 1 exists but has no working copy: the builtins act on none, not on its template and not
  // on the current room.
  const int32_t template_layers = Room_Template(1)->layerCount;
  call("layer_set_target_room", nullptr, {RV_Real(1)});
  EXPECT_EQ(call("layer_get_target_room", nullptr, {}).val, 1.0);
  EXPECT_EQ(call("layer_create", nullptr, {RV_Real(5)}).val, -1.0);
  EXPECT_EQ(Room_Template(1)->layerCount, template_layers);
  EXPECT_EQ(call("layer_exists", nullptr, {RV_Real(7)}).val, 0.0);
  // A target room with a working copy is acted on through it.
  call("layer_set_target_room", nullptr, {RV_Real(0)});
  const double made = call("layer_create", nullptr, {RV_Real(5)}).val;
  EXPECT_NE(Layer_Find(Room_Working(0), static_cast<int32_t>(made)), nullptr);
  call("layer_reset_target_room", nullptr, {});
  EXPECT_EQ(call("layer_get_target_room", nullptr, {}).val, 0.0);
  EXPECT_EQ(call("layer_exists", nullptr, {RV_Real(made)}).val, 1.0);
}

// ---- Particle systems across rooms ----------------------------------------------------------------
// Systems keep the name of their layer and find (or make) a layer of that name in the next room,
// systems made to die with the room go, and systems queued for a depth land on an automatic layer
// at the flush. Files without layers order systems by depth.

class ParticlesRoomTest : public LayerRoomTest {
 protected:
  void TearDown() override {
    Room_FreeAll();
    ParticleLayer_FreeAll();
    LayerRoomTest::TearDown();
  }

  bool load_rooms() {
    Writer writer = MakeMinimalGame(17, 2);
    add_objt(writer, {ObjectDef("thing")}, 17);
    RoomRecord first{.name = "rm_first"};
    first.layers = {{.name = "Effects", .id = 3, .kind = layer::kKindInstances, .depth = 0},
                    {.name = "Ground", .id = 4, .kind = layer::kKindInstances, .depth = 200}};
    RoomRecord second{.name = "rm_second"};
    second.layers = {{.name = "Ground", .id = 5, .kind = layer::kKindInstances, .depth = 100}};
    add_room(writer, {first, second});
    return load_and_start(writer);
  }

  // The layer a system's element stands on in the current room, or null.
  static const CLayer* layer_of(int32_t ps) { return Layer_Find(Run_Room, ParticleSystem_GetLayer(ps)); }
};

TEST_F(ParticlesRoomTest, SystemsFollowTheGameIntoTheNextRoomOnALayerOfTheirLayersName) {
  ASSERT_TRUE(load_rooms());
  const int32_t kept = ParticleSystem_Create();
  ASSERT_NE(layer_of(kept), nullptr);
  EXPECT_EQ(layer_of(kept)->name, "Effects") << "a new system stands on the room's layer at depth 0";
  const int32_t ground = ParticleSystem_CreateOnLayer(Layer_FindByName(Run_Room, "Ground"), true);
  const int32_t dies = ParticleSystem_CreateOnLayer(Layer_FindByName(Run_Room, "Ground"), false);
  EXPECT_EQ(ParticleSystem_Get(ground)->depth, 200.0f) << "the layer's depth is copied";
  const int32_t deep = ParticleSystem_Create();
  ParticleSystem_SetDepth(deep, 40.0f);
  Run_Flush();
  ASSERT_NE(layer_of(deep), nullptr);
  EXPECT_TRUE(layer_of(deep)->managed);
  EXPECT_EQ(layer_of(deep)->depth, 40);

  Room_Switch(1);
  ASSERT_NE(layer_of(kept), nullptr);
  EXPECT_EQ(layer_of(kept)->name, "Effects") << "made in the new room";
  EXPECT_EQ(layer_of(kept)->depth, 0);
  EXPECT_EQ(layer_of(ground)->id, 5) << "the new room's own layer of that name";
  EXPECT_EQ(ParticleSystem_Get(ground)->depth, 100.0f);
  EXPECT_EQ(ParticleSystem_Get(dies), nullptr) << "a non-persistent system ends with its room";
  ASSERT_NE(layer_of(deep), nullptr);
  EXPECT_TRUE(layer_of(deep)->managed) << "an automatic layer's name isn't kept";
  EXPECT_EQ(layer_of(deep)->depth, 40);

  Room_Switch(0);
  EXPECT_EQ(layer_of(kept)->id, 3) << "back on the first room's own layer";
}

TEST_F(ParticlesRoomTest, DestroyingALayerDetachesItsSystem) {
  ASSERT_TRUE(load_rooms());
  const int32_t ps = ParticleSystem_CreateOnLayer(Layer_FindByName(Run_Room, "Ground"), true);
  Layer_Destroy(Run_Room, 4);
  EXPECT_EQ(ParticleSystem_GetLayer(ps), -1);
  EXPECT_NE(ParticleSystem_Get(ps), nullptr) << "the system itself stays";
  ParticleSystem_SetLayer(ps, Layer_FindByName(Run_Room, "Effects"));
  EXPECT_EQ(ParticleSystem_GetLayer(ps), 3);
}

TEST_F(ParticlesRoomTest, WithoutLayersSystemsAreOrderedByDepthForTheRoomDraw) {
  ASSERT_TRUE(load_objects({ObjectDef("thing")}, 17, 1));
  EXPECT_EQ(ParticleSystem_MaxDepth(), kParticleNoDepth);
  std::vector<int32_t> ids;
  for (float depth : {5.0f, -3.0f, 5.0f, 10.0f, 99.0f}) {
    const int32_t ps = ParticleSystem_Create();
    EXPECT_EQ(ParticleSystem_GetLayer(ps), -1) << "no layers in this file";
    ParticleSystem_SetDepth(ps, depth);
    ids.push_back(ps);
  }
  Run_Flush();
  ParticleSystem_Get(ids[4])->automaticDraw = false;
  std::vector<float> order;
  for (float d = ParticleSystem_MaxDepth(); d > kParticleNoDepth; d = ParticleSystem_NextDepth(d)) order.push_back(d);
  EXPECT_EQ(order, (std::vector<float>{10.0f, 5.0f, -3.0f}));
}

}  // namespace

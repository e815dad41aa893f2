// Particle systems crossing rooms: systems keep the name of their layer and find (or make) a layer
// of that name in the next room, systems made to die with the room go, and systems queued for a
// depth land on an automatic layer at the flush. Files without layers order systems by depth.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/frame_state.h"
#include "datawin/writer/chunk_rooms.h"
#include "graphics/particles.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/layer.h"
#include "world/particles_layer.h"
#include "world/room.h"
#include "world/step.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

class ParticlesRoomTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Layer_ResetState();
  }
  void TearDown() override {
    Room_FreeAll();
    ParticleLayer_FreeAll();
    Layer_ResetState();
    WorldTest::TearDown();
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

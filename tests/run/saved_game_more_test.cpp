// What a saved game keeps besides rooms, instances and globals: the particle types and systems
// (emitters, live particles, the layer each stands on), sequence elements made at run time with
// their play state, and the scripts of the views' cameras. Each test saves, changes the world,
// loads the stream back and looks at what the game sees.
#include <gtest/gtest.h>

#include <vector>

#include "core/builtin_families.h"
#include "core/object.h"
#include "datawin/writer/chunk_rooms.h"
#include "graphics/camera.h"
#include "graphics/particles.h"
#include "run/saved_game.h"
#include "support/fixture.h"
#include "world/frame_world_test.h"
#include "world/layer.h"
#include "world/object_type.h"
#include "world/particles_layer.h"
#include "world/room.h"
#include "world/sequence.h"
#include "world/sequence_instance.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

class SavedGameMoreTest : public FrameWorldTest {
 protected:
  void SetUp() override {
    FrameWorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyResource, Layer_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyResource, Sequence_RegisterBuiltins);
  }
  void TearDown() override {
    Room_FreeAll();
    ParticleLayer_FreeAll();
    Sequence_FreeSubjects();
    FrameWorldTest::TearDown();
  }

  // One room with a view, an "Effects" layer at depth 0 and a "Ground" layer at depth 200, and a
  // looping sequence of length 10 whose one instance track makes a "thing" (object 0).
  void load_game() {
    SequenceTrackRecord actor{.kind = seqn::kTrackInstance, .name = "actor"};
    actor.keyframes = {{.frame = 0, .length = 10, .channels = {{.object_index = 0}}}};
    SequenceRecord sequence{.name = "seq_idle", .loopmode = 1, .playback_speed = 1, .playback_speed_type = 1,
                            .length = 10};
    sequence.tracks = {actor};
    RoomRecord room{.name = "rm_keep", .width = 640, .height = 360, .enable_views = true,
                    .views = {{.enabled = true, .view_width = 320, .view_height = 180}}};
    room.layers = {{.name = "Effects", .id = 3, .kind = layer::kKindInstances, .depth = 0},
                   {.name = "Ground", .id = 4, .kind = layer::kKindInstances, .depth = 200}};
    Writer writer = MakeMinimalGame(17, 2);
    add_objt(writer, {ObjectDef("thing")}, 17);
    add_seqn(writer, {sequence});
    add_room(writer, {room});
    ASSERT_TRUE(load_and_start(writer));
    ASSERT_TRUE(Sequence_Prepare());
  }

  std::vector<uint8_t> save() {
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(SavedGame_Write(&bytes));
    return bytes;
  }
  static void load(const std::vector<uint8_t>& bytes) { ASSERT_TRUE(SavedGame_Restore(bytes.data(), bytes.size())); }

  static const CLayer* layer_of(int32_t ps) { return Layer_Find(Run_Room, ParticleSystem_GetLayer(ps)); }
};

TEST_F(SavedGameMoreTest, ParticleTypesSystemsEmittersAndParticlesComeBack) {
  load_game();
  const int32_t spark = ParticleType_Create();
  ParticleType* type = ParticleType_Get(spark);
  type->lifeMin = type->lifeMax = 50;
  type->speedMin = type->speedMax = 2.0f;
  type->colourKind = kParticleColourTwo;
  type->colours[1] = 0x00FF00;
  type->additive = true;
  const int32_t gone_type = ParticleType_Create();
  const int32_t ground = ParticleSystem_CreateOnLayer(Layer_FindByName(Run_Room, "Ground"), true);
  ParticleSystem_Get(ground)->xDraw = 7.0f;
  ParticleSystem_Get(ground)->automaticDraw = false;
  const int32_t emitter = ParticleEmitter_Create(ground);
  ParticleEmitter_Get(ground, emitter)->xMax = 30.0f;
  ParticleEmitter_Stream(ground, emitter, spark, 2);
  Particles_Create(ground, 10.0f, 20.0f, spark, 3);
  ParticleSystem_Update(ground);
  const std::vector<Particle> particles = ParticleSystem_Get(ground)->particles;
  ASSERT_EQ(particles.size(), 5u) << "three made, two streamed";
  const int32_t deep = ParticleSystem_Create();
  ParticleSystem_SetDepth(deep, 40.0f);  // still queued at the save
  ParticleType_Destroy(gone_type);
  const std::vector<uint8_t> bytes = save();

  ParticleSystem_Destroy(ground);
  ParticleSystem_Destroy(deep);
  ParticleType_Destroy(spark);
  ParticleSystem_Create();  // on "Effects", which the load leaves empty
  for (int i = 0; i < 3; ++i) ParticleType_Create();
  load(bytes);

  ASSERT_NE(ParticleType_Get(spark), nullptr);
  EXPECT_EQ(ParticleType_Get(spark)->lifeMin, 50);
  EXPECT_FLOAT_EQ(ParticleType_Get(spark)->speedMax, 2.0f);
  EXPECT_EQ(ParticleType_Get(spark)->colourKind, kParticleColourTwo);
  EXPECT_EQ(ParticleType_Get(spark)->colours[1], 0x00FF00);
  EXPECT_TRUE(ParticleType_Get(spark)->additive);
  EXPECT_EQ(ParticleType_Get(gone_type), nullptr) << "a free id stays free";
  EXPECT_EQ(ParticleType_TableSize(), 2);

  const ParticleSystem* system = ParticleSystem_Get(ground);
  ASSERT_NE(system, nullptr);
  EXPECT_FLOAT_EQ(system->xDraw, 7.0f);
  EXPECT_FALSE(system->automaticDraw);
  EXPECT_FALSE(system->destroyAtRoomEnd);
  ASSERT_NE(layer_of(ground), nullptr);
  EXPECT_EQ(layer_of(ground)->id, 4) << "back on the layer it stood on";
  ASSERT_EQ(system->particles.size(), particles.size());
  for (size_t i = 0; i < particles.size(); ++i) {
    const Particle& was = particles[i];
    const Particle& is = system->particles[i];
    EXPECT_TRUE(is.alive);
    EXPECT_EQ(is.type, was.type);
    EXPECT_EQ(is.age, was.age);
    EXPECT_EQ(is.life, was.life);
    EXPECT_FLOAT_EQ(is.x, was.x);
    EXPECT_FLOAT_EQ(is.y, was.y);
    EXPECT_FLOAT_EQ(is.direction, was.direction);
    EXPECT_EQ(is.colour, was.colour);
    EXPECT_EQ(is.random, was.random);
  }
  const ParticleEmitter* stream = ParticleEmitter_Get(ground, emitter);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(stream->number, 2);
  EXPECT_EQ(stream->type, spark);
  EXPECT_FLOAT_EQ(stream->xMax, 30.0f);

  ASSERT_NE(ParticleSystem_Get(deep), nullptr);
  ASSERT_NE(layer_of(deep), nullptr);
  EXPECT_TRUE(layer_of(deep)->managed) << "a queued depth lands on an automatic layer";
  EXPECT_EQ(layer_of(deep)->depth, 40);
  EXPECT_EQ(ParticleSystem_TableSize(), 2);
  EXPECT_EQ(Layer_FindByName(Run_Room, "Effects")->elementCount, 0);

  // The loaded system runs on: its stream keeps adding particles.
  ParticleSystem_Update(ground);
  EXPECT_EQ(ParticleSystem_Get(ground)->particles.size(), particles.size() + 2);
}

TEST_F(SavedGameMoreTest, SequenceElementMadeAtRunTimeComesBackWithItsPlayState) {
  load_game();
  const RValue made = call("layer_sequence_create", nullptr, {RV_Real(3), RV_Real(10), RV_Real(20), RV_Real(0)});
  const auto id = static_cast<int32_t>(RV_ToDouble(made));
  auto* element = static_cast<CLayerSequenceElement*>(Layer_FindElement(Run_Room, id, kLayerElementSequence));
  ASSERT_NE(element, nullptr);
  CSequenceInstance* playing = SequenceInstance_OfElement(element);
  ASSERT_NE(playing, nullptr);
  Sequence_AdvanceRoom(Run_Room);  // starts it: its track makes the thing
  ASSERT_EQ(Object_Find(0)->instances.count, 1);
  playing->headPosition = 4.0f;
  playing->speedScale = 2.0f;
  playing->paused = true;
  element->xscale = 3.0f;
  const std::vector<uint8_t> bytes = save();

  call("layer_sequence_destroy", nullptr, {RV_Real(id)});
  ASSERT_EQ(Layer_FindElement(Run_Room, id, kLayerElementSequence), nullptr);
  load(bytes);

  element = static_cast<CLayerSequenceElement*>(Layer_FindElement(Run_Room, id, kLayerElementSequence));
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(element->layer->id, 3);
  EXPECT_EQ(element->sequenceIndex, 0);
  EXPECT_FLOAT_EQ(element->x, 10.0f);
  EXPECT_FLOAT_EQ(element->y, 20.0f);
  EXPECT_FLOAT_EQ(element->xscale, 3.0f);
  playing = SequenceInstance_OfElement(element);
  ASSERT_NE(playing, nullptr) << "the resumed room plays it again";
  EXPECT_FLOAT_EQ(playing->headPosition, 4.0f);
  EXPECT_FLOAT_EQ(playing->speedScale, 2.0f);
  EXPECT_TRUE(playing->paused);
  EXPECT_EQ(Object_Find(0)->instances.count, 0) << "the sequence's own instance isn't saved apart from it";
  Sequence_AdvanceRoom(Run_Room);
  EXPECT_EQ(Object_Find(0)->instances.count, 1) << "the sequence makes it again as it plays on";
}

TEST_F(SavedGameMoreTest, CameraScriptsComeBack) {
  load_game();
  Camera* camera = Camera_Get(Run_Room->views[0]->cameraId);
  ASSERT_NE(camera, nullptr);
  camera->SetScript(&camera->updateScript, RV_Real(100002));
  camera->SetScript(&camera->beginScript, RV_Object(Method_ForBuiltin(0)));
  const std::vector<uint8_t> bytes = save();

  camera->SetScript(&camera->updateScript, RV_Real(-1));
  camera->SetScript(&camera->beginScript, RV_Real(-1));
  camera->SetScript(&camera->endScript, RV_Real(100001));
  load(bytes);

  camera = Camera_Get(Run_Room->views[0]->cameraId);
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(RV_ToDouble(camera->updateScript), 100002);
  ASSERT_EQ(RV_Kind(camera->beginScript), kRVObject);
  EXPECT_EQ(RV_ObjectOf(camera->beginScript)->kind, kObjScriptRef);
  EXPECT_EQ(RV_ToDouble(camera->endScript), -1) << "never set before the save";
}

}  // namespace

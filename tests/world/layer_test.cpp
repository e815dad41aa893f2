// Layers in a running room: managed layers for instances by depth, deferred depth changes, element
// order inside a layer, merging, element moves, destruction, the builtins' messages and the step's
// scrolling; tile maps.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/builtin_var.h"
#include "core/console.h"
#include "core/error.h"
#include "core/object.h"
#include "support/world_fixture.h"
#include "world/instance.h"
#include "world/builtin_var_rows.h"
#include "world/layer.h"
#include "world/tilemap.h"

namespace {

constexpr int32_t kA = 0, kB = 1;

// A string argument that frees itself.
struct Text {
  explicit Text(const char* text) { RV_SetString(&value, text); }
  ~Text() { RV_Free(&value); }
  RValue value = RV_Undefined();
};

void OnDestroy(CInstance* self, CInstance*) { Log().push_back("destroy " + std::to_string(self->id)); }

class LayerTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Layer_ResetState();
    Builtins_AddRegistrar(kFamilyResource, Layer_RegisterBuiltins);
    const int32_t destroy = code("destroy", OnDestroy);
    ASSERT_TRUE(load_objects({ObjectDef("A", -1, {{1, 0, destroy}}), ObjectDef("B")}));
  }
  void TearDown() override {
    WorldTest::TearDown();
    Layer_ResetState();
  }

  CLayer* layer_of(CInstance* instance) { return Layer_Find(room_, instance->layerId); }
  std::vector<int32_t> depths() {
    std::vector<int32_t> out;
    for (CLayer* at = room_->layersHead; at != nullptr; at = at->next) out.push_back(at->depth);
    return out;
  }
  // Element ids of a layer, instance elements as their instance ids.
  static std::vector<int32_t> order(const CLayer* layer) {
    std::vector<int32_t> out;
    for (CLayerElementBase* at = layer->elementsHead; at != nullptr; at = at->next) {
      const auto* ie = at->kind == kLayerElementInstance ? static_cast<CLayerInstanceElement*>(at) : nullptr;
      out.push_back(ie != nullptr ? ie->instanceId : at->id);
    }
    return out;
  }
  CLayerElementBase* add_sprite(CLayer* layer) {
    CLayerElementBase* element = Layer_NewElement(kLayerElementSprite);
    Layer_AddElement(room_, layer, element);
    return element;
  }
  std::string console_of(const char* name, const std::vector<RValue>& args, RValue* result = nullptr) {
    ConsoleCapture capture;
    RValue value = call(name, nullptr, args);
    if (result != nullptr) *result = value;
    return capture.text();
  }
};

TEST_F(LayerTest, InstancesByDepthShareAManagedLayerThatGoesWithTheLast) {
  CInstance* a = make(kB, 0, 0, 100);
  CInstance* b = make(kB, 0, 0, 100);
  CInstance* c = make(kB, 0, 0, 50.7f);
  ASSERT_NE(layer_of(a), nullptr);
  EXPECT_EQ(a->layerId, b->layerId);
  EXPECT_TRUE(layer_of(a)->managed);
  EXPECT_TRUE(layer_of(a)->name.empty());
  EXPECT_EQ(layer_of(a)->elementCount, 2);
  EXPECT_NE(a->flags & kInstHasLayerElement, 0u);
  EXPECT_EQ(layer_of(c)->depth, 50);
  EXPECT_EQ(depths(), (std::vector<int32_t>{50, 100}));

  const int32_t shared = a->layerId;
  Instance_Destroy(a, true);
  Room_PurgeMarked(room_);
  EXPECT_NE(Layer_Find(room_, shared), nullptr);
  Instance_Destroy(b, true);
  Room_PurgeMarked(room_);
  EXPECT_EQ(Layer_Find(room_, shared), nullptr);
  EXPECT_EQ(depths(), (std::vector<int32_t>{50}));
}

TEST_F(LayerTest, DepthChangesApplyAtTheFlush) {
  struct Case {
    float to;
    bool same_layer;
  };
  for (const Case& test : {Case{110, true}, Case{81, true}, Case{120, false}, Case{80, false}}) {
    CInstance* instance = make(kB, 0, 0, 100);
    const int32_t before = instance->layerId;
    Instance_SetDepth(instance, test.to);
    EXPECT_EQ(layer_of(instance)->depth, 100) << test.to;  // nothing moves before the flush
    Instance_Flush();
    ASSERT_NE(layer_of(instance), nullptr);
    EXPECT_EQ(layer_of(instance)->depth, static_cast<int32_t>(test.to)) << test.to;
    EXPECT_EQ(instance->layerId == before, test.same_layer) << test.to;
    if (!test.same_layer) {
      EXPECT_EQ(Layer_Find(room_, before), nullptr) << test.to;
    }
    Instance_Destroy(instance, true);
    Room_PurgeMarked(room_);
    EXPECT_EQ(room_->layerCount, 0) << test.to;
  }
}

TEST_F(LayerTest, AnInstanceOnANamedLayerLeavesItForAManagedOne) {
  CLayer* named = Layer_Create(room_, 100, "Actors");
  CInstance* instance = Create_Instance_OnLayer(kB, 0, 0, named->id);
  EXPECT_EQ(instance->layerId, named->id);
  EXPECT_EQ(instance->depth, 100.0f);
  Instance_SetDepth(instance, 105);
  Instance_Flush();
  EXPECT_NE(instance->layerId, named->id);
  EXPECT_TRUE(layer_of(instance)->managed);
  EXPECT_EQ(named->elementCount, 0);
  EXPECT_NE(Layer_Find(room_, named->id), nullptr);  // a named layer stays when it empties
}

TEST_F(LayerTest, NearbyManagedLayersMerge) {
  CInstance* a = make(kB, 0, 0, 100);
  CInstance* b = make(kB, 0, 0, 105);
  ASSERT_NE(a->layerId, b->layerId);
  Instance_SetDepth(b, 100);
  Instance_Flush();
  EXPECT_EQ(b->layerId, a->layerId);
  EXPECT_EQ(room_->layerCount, 1);
  EXPECT_EQ(layer_of(a)->elementCount, 2);
}

TEST_F(LayerTest, ElementOrderKeepsActiveInstancesFirstNewestAtTheHead) {
  CLayer* layer = Layer_Create(room_, 0, "Mixed");
  CLayerElementBase* first = add_sprite(layer);
  CInstance* a = Create_Instance_OnLayer(kB, 0, 0, layer->id);
  CInstance* b = Create_Instance_OnLayer(kB, 0, 0, layer->id);
  CLayerElementBase* second = add_sprite(layer);
  EXPECT_EQ(order(layer), (std::vector<int32_t>{b->id, a->id, first->id, second->id}));

  Instance_Deactivate(a);
  EXPECT_EQ(order(layer).front(), b->id);  // deferred to the flush
  Instance_Flush();
  EXPECT_EQ(order(layer), (std::vector<int32_t>{b->id, first->id, second->id, a->id}));
  CLayerElementBase* third = add_sprite(layer);  // behind the active part, before the inactive one
  EXPECT_EQ(order(layer), (std::vector<int32_t>{b->id, first->id, second->id, third->id, a->id}));

  Instance_Activate(a);
  Instance_Flush();
  EXPECT_EQ(order(layer), (std::vector<int32_t>{a->id, b->id, first->id, second->id, third->id}));
}

TEST_F(LayerTest, AddingAnInstanceTwicePrintsAndKeepsOneElement) {
  CInstance* instance = make(kB, 0, 0, 10);
  CLayer* layer = layer_of(instance);
  ConsoleCapture capture;
  Layer_AddInstance(room_, layer, instance);
  EXPECT_EQ(capture.text(), "Attempting to add instance " + std::to_string(instance->id) + " multiple times to a layer\n");
  EXPECT_EQ(layer->elementCount, 1);
}

TEST_F(LayerTest, AddInstanceMovesItAndHasInstanceSeesIt) {
  CInstance* a = make(kB, 0, 0, 10);
  const int32_t managed = a->layerId;
  CLayer* named = Layer_Create(room_, 50, "Named");
  call("layer_add_instance", nullptr, {RV_Real(named->id), Instance_Ref(a->id)});
  EXPECT_EQ(a->layerId, named->id);
  EXPECT_EQ(Layer_Find(room_, managed), nullptr);
  EXPECT_NE(call("layer_has_instance", nullptr, {RV_Real(named->id), Instance_Ref(a->id)}).val, 0.0);
  EXPECT_NE(call("layer_has_instance", nullptr, {RV_Real(named->id), RV_Real(kB)}).val, 0.0);  // by object
  EXPECT_EQ(call("layer_has_instance", nullptr, {RV_Real(named->id), RV_Real(kA)}).val, 0.0);
  call("layer_add_instance", nullptr, {RV_Real(named->id), Instance_Ref(a->id)});  // already there
  EXPECT_EQ(named->elementCount, 1);
}

TEST_F(LayerTest, ALayerIdThatDoesNotMatchIsAnIntegrityFailure) {
  CInstance* instance = make(kB, 0, 0, 10);
  CLayer* managed = layer_of(instance);
  CLayer* other = Layer_Create(room_, 20, "Other");
  instance->layerId = other->id;
  ConsoleCapture capture;
  Layer_RemoveInstance(room_, instance);
  EXPECT_EQ(capture.text(), "Layer system integrity compromised, instance " + std::to_string(instance->id) +
                                " not on layer " + std::to_string(other->id) + "\n");
  EXPECT_EQ(managed->elementCount, 1);
  EXPECT_NE(instance->flags & kInstHasLayerElement, 0u);
  instance->layerId = managed->id;
}

TEST_F(LayerTest, DestroyingALayerDestroysItsInstancesWithEvents) {
  CLayer* layer = Layer_Create(room_, 0, "Doomed");
  CInstance* a = Create_Instance_OnLayer(kA, 0, 0, layer->id);
  add_sprite(layer);
  const int32_t id = layer->id;
  Log().clear();
  call("layer_destroy", nullptr, {RV_Real(id)});
  EXPECT_EQ(Log(), (std::vector<std::string>{"destroy " + std::to_string(a->id)}));
  EXPECT_NE(a->flags & kInstMarked, 0u);
  EXPECT_EQ(a->layerId, -1);
  EXPECT_EQ(Layer_Find(room_, id), nullptr);
}

TEST_F(LayerTest, DestroyInstancesKeepsTheLayerAndOtherElements) {
  CLayer* layer = Layer_Create(room_, 0, "Keep");
  CInstance* a = Create_Instance_OnLayer(kA, 0, 0, layer->id);
  CInstance* asleep = Create_Instance_OnLayer(kA, 0, 0, layer->id);
  CInstance* gone = Create_Instance_OnLayer(kA, 0, 0, layer->id);
  add_sprite(layer);
  Instance_Deactivate(asleep);
  Instance_FlushDeactivation();
  Instance_Destroy(gone, false);
  ASSERT_EQ(MarkedCount, 1);
  Log().clear();
  call("layer_destroy_instances", nullptr, {RV_Real(layer->id)});
  // A deactivated instance is destroyed too (its element stands at the tail); one already marked
  // gets no Destroy and is not counted twice.
  EXPECT_EQ(Log(), (std::vector<std::string>{"destroy " + std::to_string(a->id),
                                             "destroy " + std::to_string(asleep->id)}));
  EXPECT_NE(asleep->flags & kInstMarked, 0u);
  EXPECT_EQ(MarkedCount, 3);
  Room_PurgeMarked(room_);
  EXPECT_EQ(layer->elementCount, 1);
  EXPECT_EQ(layer->elementsHead->kind, kLayerElementSprite);
}

TEST_F(LayerTest, ElementMoveRelinksByTheOrderRule) {
  CLayer* from = Layer_Create(room_, 0, "From");
  CLayer* to = Layer_Create(room_, 10, "To");
  CLayerElementBase* sprite = add_sprite(from);
  CInstance* a = Create_Instance_OnLayer(kB, 0, 0, from->id);
  CInstance* b = Create_Instance_OnLayer(kB, 0, 0, to->id);
  const CLayerInstanceElement* element = Layer_InstanceElement(room_, a->id);
  call("layer_element_move", nullptr, {RV_Real(sprite->id), RV_Real(to->id)});
  const Text to_name("To");
  call("layer_element_move", nullptr, {RV_Real(element->id), to_name.value});
  EXPECT_EQ(a->layerId, to->id);
  EXPECT_EQ(order(to), (std::vector<int32_t>{a->id, b->id, sprite->id}));
  EXPECT_EQ(from->elementCount, 0);
  EXPECT_EQ(call("layer_get_element_layer", nullptr, {RV_Real(sprite->id)}).val, to->id);
  EXPECT_EQ(call("layer_get_element_type", nullptr, {RV_Real(element->id)}).val, kLayerElementInstance);
}

TEST_F(LayerTest, LayerDepthReordersTheListAndQueriesSkipManagedLayers) {
  CLayer* low = Layer_Create(room_, 10, "Low");
  CLayer* high = Layer_Create(room_, 30, "High");
  make(kB, 0, 0, 20);
  EXPECT_EQ(depths(), (std::vector<int32_t>{10, 20, 30}));
  const Text low_name("low");
  call("layer_depth", nullptr, {low_name.value, RV_Real(40)});  // names match ignoring case
  EXPECT_EQ(depths(), (std::vector<int32_t>{20, 30, 40}));
  EXPECT_EQ(room_->layersTail, low);
  call("layer_depth", nullptr, {RV_Real(high->id), RV_Real(20)});
  EXPECT_EQ(depths(), (std::vector<int32_t>{20, 20, 40}));

  RValue at20 = call("layer_get_id_at_depth", nullptr, {RV_Real(20)});
  ASSERT_EQ(RV_Kind(at20), kRVArray);
  ASSERT_EQ(at20.pArray->length, 1);
  EXPECT_EQ(at20.pArray->pArray[0].val, high->id);
  RV_Free(&at20);
  RValue none = call("layer_get_id_at_depth", nullptr, {RV_Real(99)});
  ASSERT_EQ(none.pArray->length, 1);
  EXPECT_EQ(none.pArray->pArray[0].val, -1.0);
  RV_Free(&none);
}

TEST_F(LayerTest, BuiltinsReportMissingLayersAndWrongCounts) {
  RValue result;
  EXPECT_EQ(console_of("layer_depth", {RV_Real(999), RV_Real(1)}, &result),
            "layer_depth() - can't find specified layer\n");
  EXPECT_EQ(result.val, -1.0);
  const Text nowhere("nowhere");
  EXPECT_EQ(console_of("layer_sprite_create", {nowhere.value, RV_Real(0), RV_Real(0), RV_Real(0)}, &result),
            "layer_sprite_create() - could not find specified layer in current room\n");
  EXPECT_EQ(result.val, -1.0);
  EXPECT_EQ(console_of("layer_exists", {RV_Real(999)}, &result), "");
  EXPECT_EQ(result.val, 0.0);
  const Text missing("missing");
  EXPECT_EQ(call("layer_get_id", nullptr, {missing.value}).val, -1.0);
  try {
    call("layer_x", nullptr, {RV_Real(1)});
    FAIL() << "no error raised";
  } catch (const KVTSLException& error) {
    EXPECT_NE(error.message().find("layer_x() - wrong number of arguments"), std::string::npos);
  }
}

TEST_F(LayerTest, LayersScrollEachStepEvenWhenInvisible) {
  CLayer* layer = Layer_Create(room_, 0, "Scroll");
  call("layer_hspeed", nullptr, {RV_Real(layer->id), RV_Real(1)});
  call("layer_vspeed", nullptr, {RV_Real(layer->id), RV_Real(-0.5)});
  call("layer_set_visible", nullptr, {RV_Real(layer->id), RV_Bool(false)});
  Layer_Animate(room_);
  Layer_Animate(room_);
  EXPECT_EQ(call("layer_get_x", nullptr, {RV_Real(layer->id)}).val, 2.0);
  EXPECT_EQ(call("layer_get_y", nullptr, {RV_Real(layer->id)}).val, -1.0);
}

// A background behind a layer's instances animates whether the instances stand active in front of
// it or inactive behind it; a layer of instances alone just scrolls.
TEST_F(LayerTest, BackgroundsBehindInstancesAnimate) {
  struct Case {
    const char* name;
    bool deactivate;
  };
  for (const Case& c : {Case{"active instances", false}, Case{"an inactive instance", true}}) {
    SCOPED_TRACE(c.name);
    CLayer* layer = Layer_Create(room_, 0, c.name);
    CInstance* a = Create_Instance_OnLayer(kB, 0, 0, layer->id);
    Create_Instance_OnLayer(kB, 0, 0, layer->id);
    const double background = call("layer_background_create", nullptr, {RV_Real(layer->id), RV_Real(-1)}).val;
    call("layer_background_speed", nullptr, {RV_Real(background), RV_Real(2)});
    if (c.deactivate) {
      Instance_Deactivate(a);
      Instance_Flush();
    }
    const double before = call("layer_background_get_index", nullptr, {RV_Real(background)}).val;
    Layer_Animate(room_);
    EXPECT_GT(call("layer_background_get_index", nullptr, {RV_Real(background)}).val, before);
  }
  CLayer* instances_only = Layer_Create(room_, 0, "Instances");
  Create_Instance_OnLayer(kB, 0, 0, instances_only->id);
  call("layer_hspeed", nullptr, {RV_Real(instances_only->id), RV_Real(3)});
  Layer_Animate(room_);
  EXPECT_EQ(call("layer_get_x", nullptr, {RV_Real(instances_only->id)}).val, 3.0);
}

TEST_F(LayerTest, NewLayersTakeIdsAboveTheCounter) {
  CLayer* first = Layer_Create(room_, 0, "One");
  CLayer* second = Layer_Create(room_, 0, "Two");
  EXPECT_EQ(second->id, first->id + 1);
  EXPECT_EQ(Layer_FindByName(room_, "two"), second);
  EXPECT_EQ(room_->layersHead, first);  // equal depths keep insertion order
  RValue all = call("layer_get_all", nullptr, {});
  ASSERT_EQ(all.pArray->length, 2);
  EXPECT_EQ(all.pArray->pArray[1].val, second->id);
  RV_Free(&all);
}

}  // namespace

namespace {

double LayerVariable(CInstance* instance) {
  RValue out = RV_Undefined();
  EXPECT_TRUE(Variable_GetValue(KV_AsObject(instance), Variable_BuiltIn_Find("layer"), -1, &out));
  return RV_ToDouble(out);
}

TEST_F(LayerTest, LayerVariableHidesTheManagedLayerOfAnInstanceMadeByDepth) {
  BuiltinVar_RegisterAll();
  CInstance* by_depth = make(kB, 0, 0, 100);
  CLayer* named = Layer_Create(room_, 10, "Named");
  CInstance* on_named = Create_Instance_OnLayer(kB, 0, 0, named->id);
  EXPECT_NE(by_depth->layerId, -1);
  EXPECT_EQ(LayerVariable(by_depth), -1.0);
  EXPECT_EQ(LayerVariable(on_named), static_cast<double>(named->id));
  Variable_BuiltIn_Reset();
}

// ---- Tile maps ------------------------------------------------------------------------------------
// Setting and reading cells with their edge messages, resizing that keeps the overlap, the pixel
// readers without a tile set, and the tile data bits.

class TilemapTest : public LayerTest {
 protected:
  void SetUp() override {
    LayerTest::SetUp();
    layer_ = Layer_Create(room_, 0, "Tiles");
  }
  int32_t create(int32_t width, int32_t height) {
    return static_cast<int32_t>(call("layer_tilemap_create", nullptr,
                                     {RV_Real(layer_->id), RV_Real(0), RV_Real(0), RV_Real(-1), RV_Real(width),
                                      RV_Real(height)})
                                    .val);
  }
  double get(int32_t map, int32_t x, int32_t y) {
    return call("tilemap_get", nullptr, {RV_Real(map), RV_Real(x), RV_Real(y)}).val;
  }
  CLayer* layer_ = nullptr;
};

TEST_F(TilemapTest, CellsSetAndReadWithinTheMapOnly) {
  const int32_t map = create(3, 2);
  EXPECT_EQ(call("tilemap_get_width", nullptr, {RV_Real(map)}).val, 3.0);
  EXPECT_EQ(call("tilemap_get_height", nullptr, {RV_Real(map)}).val, 2.0);
  struct Case {
    int32_t x, y;
    bool stored;
  };
  for (const Case& test : {Case{0, 0, true}, Case{2, 1, true}, Case{3, 0, false}, Case{0, 2, false},
                           Case{-1, 0, false}}) {
    RValue done = call("tilemap_set", nullptr, {RV_Real(map), RV_Real(7), RV_Real(test.x), RV_Real(test.y)});
    EXPECT_EQ(done.val != 0.0, test.stored) << test.x << "," << test.y;
    EXPECT_EQ(get(map, test.x, test.y), test.stored ? 7.0 : -1.0) << test.x << "," << test.y;
  }
  call("tilemap_clear", nullptr, {RV_Real(map), RV_Real(2)});
  EXPECT_EQ(get(map, 1, 1), 2.0);
}

TEST_F(TilemapTest, ResizingKeepsTheOverlapRowByRow) {
  const int32_t map = create(3, 2);
  for (int32_t y = 0; y < 2; ++y) {
    for (int32_t x = 0; x < 3; ++x) {
      call("tilemap_set", nullptr, {RV_Real(map), RV_Real(1 + x + 10 * y), RV_Real(x), RV_Real(y)});
    }
  }
  call("tilemap_set_width", nullptr, {RV_Real(map), RV_Real(2)});
  call("tilemap_set_height", nullptr, {RV_Real(map), RV_Real(3)});
  EXPECT_EQ(get(map, 0, 0), 1.0);
  EXPECT_EQ(get(map, 1, 0), 2.0);
  EXPECT_EQ(get(map, 0, 1), 11.0);
  EXPECT_EQ(get(map, 1, 1), 12.0);
  EXPECT_EQ(get(map, 0, 2), 0.0);
  EXPECT_EQ(get(map, 2, 0), -1.0);
  call("tilemap_set_width", nullptr, {RV_Real(map), RV_Real(0)});  // at least one cell wide
  EXPECT_EQ(call("tilemap_get_width", nullptr, {RV_Real(map)}).val, 1.0);
  EXPECT_EQ(get(map, 0, 1), 11.0);
}

TEST_F(TilemapTest, EdgeMessages) {
  auto* empty = static_cast<CLayerTilemapElement*>(Layer_NewElement(kLayerElementTilemap));
  const int32_t id = Layer_AddElement(room_, layer_, empty);
  const int32_t map = create(2, 2);
  struct Case {
    const char* name;
    std::vector<RValue> args;
    std::string text;
  };
  const std::vector<Case> cases = {
      {"tilemap_set", {RV_Real(id), RV_Real(1), RV_Real(0), RV_Real(0)},
       "tilemap_set() - tilemap is 0 by 0, not setting anything\n"},
      {"tilemap_get_at_pixel", {RV_Real(map), RV_Real(4), RV_Real(4)},
       "tilemap_get_at_pixel() - could not find tileset for this map\n"},
      {"tilemap_set_at_pixel", {RV_Real(map), RV_Real(1), RV_Real(4), RV_Real(4)},
       "tilemap_set_at_pixel() - could not find tileset for this map\n"},
      {"tilemap_get_width", {RV_Real(12345)}, "tilemap_get_width() - can't find specified element\n"},
  };
  for (const Case& test : cases) {
    ConsoleCapture capture;
    RValue result = call(test.name, nullptr, test.args);
    EXPECT_EQ(capture.text(), test.text) << test.name;
    EXPECT_TRUE(result.val == 0.0 || result.val == -1.0) << test.name;
  }
}

TEST_F(TilemapTest, TileDataBits) {
  struct Case {
    const char* name;
    double data, argument;
    double expected;
  };
  const double full = 0x7FFFFFFF;
  for (const Case& test : {Case{"tile_set_empty", full, 0, static_cast<double>(0x7FFFFFFF & ~0x7FFFF)},
                           Case{"tile_set_index", 0x10000003, 5, 0x10000005},
                           Case{"tile_set_mirror", 1, 1, 0x10000001},
                           Case{"tile_set_flip", 1, 0.7, 0x20000001},
                           Case{"tile_set_rotate", 0x40000001, 0.5, 1},
                           Case{"tile_get_index", 0x70000009, 0, 9},
                           Case{"tile_get_flip", 0x20000000, 0, 1},
                           Case{"tile_get_empty", 0x20000000, 0, 1}}) {
    std::vector<RValue> args = {RV_Real(test.data)};
    if (std::string(test.name).find("_set_") != std::string::npos && std::string(test.name) != "tile_set_empty") {
      args.push_back(RV_Real(test.argument));
    }
    EXPECT_EQ(call(test.name, nullptr, args).val, test.expected) << test.name;
  }
}

TEST_F(TilemapTest, DestroyedMapsAreGoneFromTheirLayer) {
  const int32_t map = create(2, 2);
  EXPECT_EQ(call("layer_tilemap_get_id", nullptr, {RV_Real(layer_->id)}).val, map);
  EXPECT_NE(call("layer_tilemap_exists", nullptr, {RV_Real(layer_->id), RV_Real(map)}).val, 0.0);
  call("layer_tilemap_destroy", nullptr, {RV_Real(map)});
  EXPECT_EQ(call("layer_tilemap_exists", nullptr, {RV_Real(layer_->id), RV_Real(map)}).val, 0.0);
  EXPECT_EQ(layer_->elementCount, 0);
}

}  // namespace

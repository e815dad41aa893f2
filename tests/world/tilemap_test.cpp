// Tile maps: setting and reading cells with their edge messages, resizing that keeps the overlap,
// the pixel readers without a tile set, and the tile data bits.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/console.h"
#include "support/world_fixture.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/tilemap.h"

namespace {

class TilemapTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Layer_ResetState();
    Builtins_AddRegistrar(kFamilyResource, Layer_RegisterBuiltins);
    ASSERT_TRUE(load_objects({ObjectDef("A")}));
    layer_ = Layer_Create(room_, 0, "Tiles");
  }
  void TearDown() override {
    WorldTest::TearDown();
    Layer_ResetState();
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

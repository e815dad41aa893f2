// Rooms through the chunk load: every list and layer kind written by the writer and read back,
// record versions against DataVersions, effect parameters, and damaged records.
#include <string>
#include <vector>

#include "datawin/format/room_layout.h"
#include "datawin/writer/chunk_rooms.h"
#include "loader_test_util.h"
#include "world/asset_rooms.h"

// Records are built with designated initialisers that name only the fields a test cares about.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

class AssetRooms : public AssetLoaderTest {
 protected:
  // The first room record and its layer list's first layer, by offset.
  uint32_t room_record() const { return WordAt(image_, FindPayload(image_, "ROOM") + 4); }
  uint32_t layer_record(uint32_t index) const {
    const uint32_t list = WordAt(image_, room_record() + room::kLayers);
    return WordAt(image_, list + 4 + 4 * index);
  }
  bool reload() { return LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())); }
};

RoomRecord full_room() {
  RoomRecord room{.name = "rm_field", .caption = "Field", .width = 800, .height = 480, .speed = 30};
  room.persistent = true;
  room.colour = 0x00112233;
  room.show_colour = false;
  room.creation_code = 7;
  room.enable_views = true;
  room.clear_display_buffer = false;
  room.backgrounds = {{.visible = true, .index = 2, .x = 5, .y = -6, .htiled = true, .hspeed = 3, .stretch = true}};
  room.views = {
      {.enabled = true, .view_x = 10, .view_width = 320, .view_height = 180, .port_y = 4, .hborder = 8, .object = 3}};
  room.placements = {{.x = 32, .y = 64, .object = 1, .id = 100001, .creation_code = 11, .xscale = 2, .yscale = -1,
                      .image_speed = 0.5f, .image_index = 3, .colour = 0x80FF0000u, .angle = 90, .pre_create_code = 12},
                     {.x = 1, .y = 2, .object = 0, .id = 100002}};
  room.tiles = {{.x = 16, .y = 32, .index = 4, .left = 8, .top = 9, .width = 10, .height = 11, .depth = 1000, .id = 10000001,
                 .xscale = 2, .yscale = 3, .colour = 0xFF00FF00u}};
  room.physics_enabled = true;
  room.physics_gravity_x = -2.7f;
  room.physics_gravity_y = 9.8f;
  room.pixels_to_metres = 0.05f;
  room.layers = {
      {.name = "Instances", .id = 7, .kind = layer::kKindInstances, .depth = 100, .x_offset = 1.5f, .hspeed = -1,
       .visible = false, .effect_enabled = false, .instances = {100001, 100002}},
      {.name = "Backdrop", .id = 3, .kind = layer::kKindBackground, .depth = 500,
       .background = {.sprite = 5, .htiled = true, .stretch = true, .colour = 0x40ABCDEFu, .first_frame = 2,
                      .animation_speed = 8, .speed_type = 1}},
      {.name = "Assets", .id = 12, .kind = layer::kKindAssets, .depth = 200,
       .tiles = {{.x = 3, .index = 1, .width = 8, .height = 8, .depth = 55, .id = 77}},
       .sprites = {{.name = "torch", .sprite = 6, .x = 40, .y = 41, .xscale = 2, .colour = 0xFF0000FFu,
                    .animation_speed = 0.25f, .speed_type = 1, .frame = 2, .rotation = 45}},
       .sequences = {{.name = "flag", .sequence = 1, .x = -5, .y = 6, .yscale = 3, .animation_speed = 2, .head_position = 4,
                      .rotation = 30}}},
      {.name = "Tiles", .id = 4, .kind = layer::kKindTileMap, .depth = 300,
       .tile_map = {.tile_set = 2, .width = 3, .height = 2, .cells = {1, 2, 3, 4, 5, 0x10000006u}}},
      {.name = "Glow", .id = 5, .kind = layer::kKindEffect, .depth = -100, .effect_type = "fx_glow"},
      {.name = "Odd", .id = 6, .kind = 5, .depth = 0}};
  room.sequences = {0, 4};
  return room;
}

}  // namespace

TEST_F(AssetRooms, EveryFieldAndListComesBack) {
  Writer writer = MakeMinimalGame();
  add_room(writer, {full_room(), std::nullopt, RoomRecord{.name = "rm_end"}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(RoomAsset_Count(), 3);
  EXPECT_EQ(RoomAsset_Get(1), nullptr);
  EXPECT_EQ(RoomAsset_Find("rm_end"), 2);
  EXPECT_EQ(RoomAsset_Find("rm_none"), -1);
  EXPECT_EQ(RoomAsset_HighestFileLayerId(), 12);

  const RoomAsset* room = RoomAsset_Get(0);
  ASSERT_NE(room, nullptr);
  EXPECT_STREQ(room->name, "rm_field");
  EXPECT_STREQ(room->caption, "Field");
  EXPECT_EQ(room->width, 800);
  EXPECT_EQ(room->height, 480);
  EXPECT_EQ(room->speed, 30);
  EXPECT_TRUE(room->persistent);
  EXPECT_EQ(room->colour, 0x00112233u);
  EXPECT_FALSE(room->showColour);
  EXPECT_EQ(room->creation_code, 7);
  EXPECT_EQ(room->version, 3u);
  EXPECT_TRUE(room->enableViews);
  EXPECT_FALSE(room->clearViewBackground);
  EXPECT_FALSE(room->clearDisplayBuffer);
  EXPECT_TRUE(room->physicsEnabled);
  EXPECT_EQ(room->physicsGravityX, -2);
  EXPECT_EQ(room->physicsGravityY, 9);
  EXPECT_FLOAT_EQ(room->physicsPixelsToMetres, 0.05f);

  ASSERT_EQ(room->backgrounds.size(), 1u);
  const RoomBackgroundAsset& back = room->backgrounds[0];
  EXPECT_TRUE(back.visible && back.htiled && back.stretch);
  EXPECT_FALSE(back.foreground || back.vtiled);
  EXPECT_EQ(back.index, 2);
  EXPECT_EQ(back.y, -6);
  EXPECT_EQ(back.hspeed, 3);

  ASSERT_EQ(room->views.size(), 1u);
  EXPECT_TRUE(room->views[0].enabled);
  EXPECT_FLOAT_EQ(room->views[0].x, 10);
  EXPECT_FLOAT_EQ(room->views[0].w, 320);
  EXPECT_EQ(room->views[0].port_y, 4);
  EXPECT_EQ(room->views[0].port_w, 640);
  EXPECT_EQ(room->views[0].hborder, 8);
  EXPECT_EQ(room->views[0].hspeed, -1);
  EXPECT_EQ(room->views[0].object, 3);

  ASSERT_EQ(room->placements.size(), 2u);
  const RoomPlacementAsset& placed = room->placements[0];
  EXPECT_EQ(placed.x, 32);
  EXPECT_EQ(placed.object_index, 1);
  EXPECT_EQ(placed.id, 100001);
  EXPECT_EQ(placed.createCode, 11);
  EXPECT_EQ(placed.preCreateCode, 12);
  EXPECT_FLOAT_EQ(placed.imageXScale, 2);
  EXPECT_FLOAT_EQ(placed.imageYScale, -1);
  EXPECT_FLOAT_EQ(placed.imageSpeed, 0.5f);
  EXPECT_EQ(placed.imageIndex, 3);
  EXPECT_EQ(placed.imageBlend, 0xFF0000u);
  EXPECT_NEAR(placed.imageAlpha, 128.0f / 255.0f, 1e-6);
  EXPECT_FLOAT_EQ(placed.imageAngle, 90);
  EXPECT_EQ(room->placements[1].createCode, -1);
  EXPECT_FLOAT_EQ(room->placements[1].imageAlpha, 1.0f);

  ASSERT_EQ(room->tiles.size(), 1u);
  const RoomTileAsset& tile = room->tiles[0];
  EXPECT_EQ(tile.spriteIndex, 4);
  EXPECT_EQ(tile.left, 8);
  EXPECT_EQ(tile.height, 11);
  EXPECT_EQ(tile.depth, 1000);
  EXPECT_EQ(tile.id, 10000001);
  EXPECT_FLOAT_EQ(tile.yscale, 3);
  EXPECT_EQ(tile.blend, 0x00FF00u);
  EXPECT_FLOAT_EQ(tile.alpha, 1.0f);

  EXPECT_EQ(room->sequences, (std::vector<int32_t>{0, 4}));
  ASSERT_EQ(room->layers.size(), 6u);
  const RoomLayerAsset& instances = room->layers[0];
  EXPECT_STREQ(instances.name, "Instances");
  EXPECT_EQ(instances.id, 7);
  EXPECT_EQ(instances.depth, 100);
  EXPECT_FLOAT_EQ(instances.xOffset, 1.5f);
  EXPECT_FLOAT_EQ(instances.hSpeed, -1);
  EXPECT_FALSE(instances.visible);
  EXPECT_FALSE(instances.effectEnabled);
  EXPECT_EQ(instances.effect_type, nullptr);
  EXPECT_EQ(instances.instance_ids, (std::vector<int32_t>{100001, 100002}));

  const LayerBackgroundAsset& backdrop = room->layers[1].background;
  EXPECT_EQ(backdrop.spriteIndex, 5);
  EXPECT_TRUE(backdrop.visible && backdrop.htiled && backdrop.stretch);
  EXPECT_EQ(backdrop.blend, 0xABCDEFu);
  EXPECT_NEAR(backdrop.alpha, 64.0f / 255.0f, 1e-6);
  EXPECT_FLOAT_EQ(backdrop.imageIndex, 2);
  EXPECT_FLOAT_EQ(backdrop.speed, 8);
  EXPECT_EQ(backdrop.speedType, 1);

  const RoomLayerAsset& assets = room->layers[2];
  ASSERT_EQ(assets.tiles.size(), 1u);
  EXPECT_EQ(assets.tiles[0].x, 3);
  EXPECT_EQ(assets.tiles[0].depth, 0);  // not read for a tile element
  EXPECT_EQ(assets.tiles[0].id, 0);
  ASSERT_EQ(assets.sprites.size(), 1u);
  const LayerSpriteAsset& torch = assets.sprites[0];
  EXPECT_STREQ(torch.name, "torch");
  EXPECT_EQ(torch.index, 6);
  EXPECT_FLOAT_EQ(torch.y, 41);
  EXPECT_FLOAT_EQ(torch.xscale, 2);
  EXPECT_EQ(torch.blend, 0x0000FFu);
  EXPECT_FLOAT_EQ(torch.speed, 0.25f);
  EXPECT_EQ(torch.speedType, 1);
  EXPECT_FLOAT_EQ(torch.position, 2);
  EXPECT_FLOAT_EQ(torch.angle, 45);
  ASSERT_EQ(assets.sequences.size(), 1u);
  const LayerSequenceAsset& flag = assets.sequences[0];
  EXPECT_STREQ(flag.name, "flag");
  EXPECT_EQ(flag.index, 1);
  EXPECT_FLOAT_EQ(flag.x, -5);
  EXPECT_FLOAT_EQ(flag.yscale, 3);
  EXPECT_FLOAT_EQ(flag.speed, 2);
  EXPECT_FLOAT_EQ(flag.position, 4);
  EXPECT_FLOAT_EQ(flag.angle, 30);

  const LayerTileMapAsset& map = room->layers[3].tile_map;
  EXPECT_EQ(map.tileSet, 2);
  EXPECT_EQ(map.width, 3);
  EXPECT_EQ(map.height, 2);
  ASSERT_NE(map.cells, nullptr);
  EXPECT_EQ(load_u32(map.cells + 4 * 5), 0x10000006u);
  EXPECT_TRUE(map.cells > image_.data() && map.cells < image_.data() + image_.size());  // used in place

  EXPECT_STREQ(room->layers[4].effect_type, "fx_glow");
  EXPECT_EQ(room->layers[5].kind, 5);
  EXPECT_TRUE(room->layers[5].instance_ids.empty() && room->layers[5].sprites.empty());

  const RoomAsset* plain = RoomAsset_Get(2);
  EXPECT_TRUE(plain->layers.empty() && plain->placements.empty() && plain->sequences.empty());
  EXPECT_TRUE(plain->clearDisplayBuffer);
}

// Physics words by DataVersion, layers and the sequence list by the record version.
TEST_F(AssetRooms, RecordVersionsAndDataVersions) {
  struct Case {
    int data_version;
    uint32_t record_version;
    bool physics;
    bool layers;
    bool sequences;
  };
  const Case cases[] = {{5, 1, false, false, false}, {6, 1, true, false, false}, {17, 1, true, false, false},
                        {17, 2, true, true, false},  {5, 3, false, true, true},  {17, 3, true, true, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "DataVersion " << c.data_version << ", R " << c.record_version);
    ResetLoaderState();
    Assets_InstallReaders();
    Writer writer = MakeMinimalGame(c.data_version, c.data_version >= 8 ? 2 : 1);
    RoomRecord room = full_room();
    room.version = c.record_version;
    add_room(writer, {room});
    ASSERT_TRUE(load(writer));
    const RoomAsset* read = RoomAsset_Get(0);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->version, c.record_version);
    EXPECT_EQ(read->physicsEnabled, c.physics);
    EXPECT_EQ(read->physicsGravityX, c.physics ? -2 : 0);
    EXPECT_EQ(read->physicsGravityY, c.physics ? 9 : 10);
    EXPECT_FLOAT_EQ(read->physicsPixelsToMetres, c.physics ? 0.05f : 0.1f);
    EXPECT_EQ(read->layers.size(), c.layers ? 6u : 0u);
    EXPECT_EQ(RoomAsset_HighestFileLayerId(), c.layers ? 12 : 0);
    EXPECT_EQ(read->sequences.size(), c.sequences ? 2u : 0u);
    EXPECT_EQ(read->placements.size(), 2u);
  }
}

TEST_F(AssetRooms, EffectPropertiesBecomeParameters) {
  Writer writer = MakeMinimalGame();
  RoomRecord room{.name = "rm_fx"};
  room.layers = {{.name = "Fx", .id = 1, .kind = layer::kKindEffect, .effect_type = "fx_tint",
                  .effect_properties = {{layer::kPropertyColour, "g_Tint", "#FF804020"},
                                        {layer::kPropertyColour, "g_Tint", "#000000FF"},
                                        {layer::kPropertyFloat, "g_Strength", "0.75"},
                                        {layer::kPropertySampler, "g_Map", "noise.png"},
                                        {layer::kPropertySampler, "g_Ramp", "spr_ramp"},
                                        {layer::kPropertyFloat, "g_Empty", ""},
                                        {layer::kPropertyColour, "g_Plain", "red"}}}};
  add_room(writer, {room});
  ASSERT_TRUE(load(writer));
  const std::vector<LayerEffectParameterAsset>& params = RoomAsset_Get(0)->layers[0].effect_parameters;
  ASSERT_EQ(params.size(), 4u);
  EXPECT_STREQ(params[0].name, "g_Tint");
  ASSERT_EQ(params[0].values.size(), 8u);
  const float tint[8] = {0x20 / 255.0f, 0x40 / 255.0f, 0x80 / 255.0f, 1.0f, 1.0f, 0, 0, 0};
  for (int i = 0; i < 8; ++i) EXPECT_FLOAT_EQ(params[0].values[i], tint[i]) << i;
  EXPECT_STREQ(params[1].name, "g_Strength");
  EXPECT_EQ(params[1].values, (std::vector<float>{0.75f}));
  EXPECT_STREQ(params[2].name, "g_Ramp");
  ASSERT_EQ(params[2].texts.size(), 1u);
  EXPECT_STREQ(params[2].texts[0], "spr_ramp");
  EXPECT_STREQ(params[3].name, "g_Plain");
  EXPECT_EQ(params[3].values, (std::vector<float>(4, 0.0f)));
}

// Zero offsets and counts below 1 in an asset layer add nothing; a tile map without a tile set
// has no cells; a zero view entry keeps the later views' numbers.
TEST_F(AssetRooms, EmptyListsAndEntries) {
  Writer writer = MakeMinimalGame();
  RoomRecord room{.name = "rm_sparse"};
  room.views = {RoomViewRecord{.view_x = 1}, RoomViewRecord{.view_x = 2}};
  room.layers = {{.name = "A", .id = 1, .kind = layer::kKindAssets, .tiles = {RoomTileRecord{}},
                  .sprites = {LayerSpriteRecord{}}, .sequences = {LayerSequenceRecord{}}},
                 {.name = "T", .id = 2, .kind = layer::kKindTileMap, .tile_map = {.tile_set = -1, .width = 4, .height = 4}}};
  add_room(writer, {room});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(RoomAsset_Get(0)->layers[1].tile_map.cells, nullptr);

  const uint32_t assets = layer_record(0) + layer::data_offset(0);
  store_u32(image_.data() + assets, 0);                                         // tiles: no list
  store_i32(image_.data() + WordAt(image_, assets + 4), -3);                    // sprites: count below 1
  const uint32_t views = WordAt(image_, room_record() + room::kViews);
  store_u32(image_.data() + views + 4, 0);                                      // first view entry empty
  ASSERT_TRUE(reload());
  const RoomAsset* read = RoomAsset_Get(0);
  EXPECT_TRUE(read->layers[0].tiles.empty());
  EXPECT_TRUE(read->layers[0].sprites.empty());
  EXPECT_EQ(read->layers[0].sequences.size(), 1u);
  ASSERT_EQ(read->views.size(), 2u);
  EXPECT_FALSE(read->views[0].enabled);
  EXPECT_FLOAT_EQ(read->views[1].x, 2);
}

TEST_F(AssetRooms, DamagedRecordsFailWithAMessage) {
  constexpr int32_t kRoom = -1;  // the word is in the room record, not in a layer
  struct Case {
    int32_t layer;
    uint32_t field;
    uint32_t value;
    const char* message;
  };
  const Case cases[] = {
      {kRoom, room::kName, 0x7FFFFFF0u, "ROOM: bad string"},
      {kRoom, room::kPlacements, 0xFFFFFF00u, "ROOM: count cut off"},
      {kRoom, room::kLayers, 0x7FFFFFFFu, "ROOM: count cut off"},
      {kRoom, room::kSequences, 0xFFFFFFF0u, "ROOM: room sequence list passes the end"},
      {0, layer::kName, 0xFFFFFFF0u, "ROOM: layer record cut off or bad name"},
      {0, layer::kEffectPropertyCount, 0x10000000u, "ROOM: effect properties pass"},
      {0, layer::data_offset(0), 0xFFFFFFFFu, "ROOM: instance list passes"},
      {2, layer::data_offset(0) + 4, 0x7FFFFFF0u, "ROOM: asset list cut off"},
      {3, layer::data_offset(0) + 4, 0x00100000u, "ROOM: tile map cells pass"},
      {3, layer::data_offset(0) + 4, 0xFFFFFFFFu, "ROOM: tile map of a negative size"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    ResetLoaderState();
    Assets_InstallReaders();
    Writer writer = MakeMinimalGame();
    add_room(writer, {full_room()});
    ASSERT_TRUE(load(writer));
    const uint32_t record = c.layer == kRoom ? room_record() : layer_record(static_cast<uint32_t>(c.layer));
    store_u32(image_.data() + record + c.field, c.value);
    LoaderConsole console;
    EXPECT_FALSE(reload());
    EXPECT_NE(console.text().find(c.message), std::string::npos) << console.text();
  }
}

// Sprites and tile sets through the chunk load: every record form and version, masks, sequence
// origins, nine-slice data, vector and skeleton bodies, the cull radius, BGND in both generations,
// and damaged records failing cleanly.
#include <cmath>
#include <string>
#include <vector>

#include "data/game_data.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "graphics/asset_backgrounds.h"
#include "graphics/asset_sprites.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"

using namespace datawin;

namespace {

class AssetSprites : public AssetLoaderTest {
 protected:
  // A game of `generation` with four page entries, whose labels records can point at.
  Writer game(uint32_t generation) {
    Writer writer = MakeMinimalGame(17, generation);
    std::vector<std::optional<TpagEntry>> entries;
    for (uint16_t i = 0; i < 4; ++i) entries.push_back(TpagEntry{i, 0, 8, 8, 0, 0, 8, 8, static_cast<uint16_t>(20 + i), 30, 0});
    entries_ = add_tpag(writer, entries);
    return writer;
  }
  // The address of page entry i in the loaded image.
  const uint8_t* entry(uint32_t i) const { return image_.data() + WordAt(image_, FindPayload(image_, "TPAG") + 4 + 4 * i); }

  std::vector<Label> entries_;
};

SpriteRecord bitmap_sprite(const std::string& name, const std::vector<Label>& frames) {
  SpriteRecord sprite;
  sprite.name = name;
  sprite.width = 9;
  sprite.height = 3;
  sprite.bbox_left = 1;
  sprite.bbox_right = 7;
  sprite.bbox_bottom = 2;
  sprite.bbox_top = 0;
  sprite.collision_kind = sprt::kCollisionPrecise;
  sprite.x_origin = 4;
  sprite.y_origin = 1;
  for (Label frame : frames) sprite.frames.push_back(frame + 0);
  return sprite;
}

// A mask of 9 x 3 (rows of 2 bytes) whose first byte is `tag`.
std::vector<uint8_t> mask(uint8_t tag) {
  std::vector<uint8_t> bits(sprt::mask_bytes(9, 3), 0);
  bits[0] = tag;
  return bits;
}

}  // namespace

TEST_F(AssetSprites, EveryFormReadsItsFramesAndMasks) {
  struct Case {
    uint32_t generation;
    SpriteForm form;
    uint32_t version;
  };
  const Case cases[] = {{2, SpriteForm::kNew, 3}, {2, SpriteForm::kNew, 2}, {2, SpriteForm::kNew, 1},
                        {2, SpriteForm::kNew, 0}, {1, SpriteForm::kNew, 1}, {1, SpriteForm::kNew, 3},
                        {2, SpriteForm::kOld, 0}, {1, SpriteForm::kOld, 0}, {2, SpriteForm::kZeroWord, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE("generation " + std::to_string(c.generation) + " form " + std::to_string(static_cast<int>(c.form)) +
                 " version " + std::to_string(c.version));
    Writer writer = game(c.generation);
    SpriteRecord sprite = bitmap_sprite("spr_case", {entries_[2], entries_[0]});
    sprite.form = c.form;
    sprite.version = c.version;
    sprite.speed = 30.0f;
    sprite.speed_type = 1;
    sprite.masks = {mask(0xA0), mask(0xB0)};
    add_sprt(writer, c.generation, {std::nullopt, sprite});
    ASSERT_TRUE(load(writer));
    ASSERT_EQ(Sprite_Table().count(), 2);
    EXPECT_EQ(Sprite_Get(0), nullptr);
    const SpriteAsset* read = Sprite_Get(1);
    ASSERT_NE(read, nullptr);
    EXPECT_STREQ(Sprite_Table().name(1), "spr_case");
    EXPECT_EQ(read->width, 9);
    EXPECT_FLOAT_EQ(read->bbox_right, 7.0f);
    EXPECT_TRUE(read->useMask);
    EXPECT_FALSE(read->rotatedMask);
    EXPECT_EQ(read->xOrigin, 4);
    EXPECT_EQ(read->new_form, c.form == SpriteForm::kNew);
    ASSERT_EQ(read->frames.size(), 2u);
    EXPECT_EQ(read->frames[0], entry(2));
    EXPECT_EQ(read->frames[1], entry(0));
    EXPECT_EQ(read->mask_count, 2u);
    EXPECT_EQ(read->mask_row_bytes, 2u);
    EXPECT_EQ(Sprite_Mask(read, 1)[0], 0xB0);
    if (c.form == SpriteForm::kNew && c.generation >= 2) {
      EXPECT_FLOAT_EQ(read->speed, 30.0f);
      EXPECT_EQ(read->speed_type, 1);
    }
    EXPECT_EQ(read->cullRadius, Sprite_CullRadius(9, 3, 4, 1));
  }
}

TEST_F(AssetSprites, OneMaskServesEveryFrameAndFramesWrapModuloTheMaskCount) {
  Writer writer = game(2);
  std::vector<Label> ten(10, entries_[1]);
  SpriteRecord shared = bitmap_sprite("spr_shared", ten);
  shared.masks = {mask(1)};
  SpriteRecord own = bitmap_sprite("spr_own", ten);
  for (uint8_t i = 0; i < 10; ++i) own.masks.push_back(mask(static_cast<uint8_t>(10 + i)));
  add_sprt(writer, 2, {shared, own});
  ASSERT_TRUE(load(writer));
  const SpriteAsset* one = Sprite_Get(0);
  const SpriteAsset* each = Sprite_Get(1);
  struct Case {
    int32_t frame;
    uint8_t shared_tag, own_tag;
  };
  const Case cases[] = {{0, 1, 10}, {3, 1, 13}, {9, 1, 19}, {12, 1, 12}, {-1, 1, 19}, {-13, 1, 17}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.frame);
    EXPECT_EQ(Sprite_Mask(one, c.frame)[0], c.shared_tag);
    EXPECT_EQ(Sprite_Mask(each, c.frame)[0], c.own_tag);
  }
  EXPECT_EQ(Sprite_Mask(each, 3) - Sprite_Mask(each, 0), 3 * 6);  // 2-byte rows, 3 rows a mask
}

TEST_F(AssetSprites, SequenceOriginNineSliceAndCullRadius) {
  Writer writer = game(2);
  SpriteRecord sprite = bitmap_sprite("spr_seq", {entries_[0]});
  sprite.width = 10;
  sprite.height = 20;
  sprite.x_origin = 1;
  sprite.sequence = SpriteSequence{"seq", 2.0f, -3, 25};
  NineSliceRecord nine;
  nine.left = 2;
  nine.bottom = 5;
  nine.tile_modes[4] = 3;
  sprite.nine_slice = nine;
  sprite.collision_kind = sprt::kCollisionRotatedBox;
  add_sprt(writer, 2, {sprite});
  ASSERT_TRUE(load(writer));
  const SpriteAsset* read = Sprite_Get(0);
  EXPECT_EQ(read->xOrigin, -3);
  EXPECT_EQ(read->yOrigin, 25);
  ASSERT_NE(read->sequence, nullptr);
  EXPECT_STREQ(reinterpret_cast<const char*>(GameData_Image() + load_u32(read->sequence)), "seq");
  ASSERT_TRUE(read->nine_slice_set);
  EXPECT_EQ(read->nine_slice.left, 2);
  EXPECT_EQ(read->nine_slice.bottom, 5);
  EXPECT_TRUE(read->nine_slice.enabled);
  EXPECT_EQ(read->nine_slice.tile_modes[4], 3);
  EXPECT_TRUE(read->rotatedMask);
  // The farthest corner from (-3, 25) in a 10 x 20 box is (10, 0): ceil(sqrt(13^2 + 25^2)) = 29.
  EXPECT_EQ(read->cullRadius, 29);
  EXPECT_EQ(Sprite_CullRadius(4, 4, 2, 2), 3);  // ceil(sqrt(8))
}

// Size and origin are whole words of the record: a damaged one can put a corner beyond 2^31.
TEST_F(AssetSprites, CullRadiusOfADamagedRecordStopsAtTheLargestInt) {
  const struct {
    int32_t width, height, x_origin, y_origin;
    int32_t radius;
  } rows[] = {
      {INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN, INT32_MAX},
      {INT32_MAX, 0, 0, 0, INT32_MAX},
      {0, 0, INT32_MIN, 0, INT32_MAX},
      {0, 0, -2147483647, 0, INT32_MAX},
      {0, 0, -1073741824, 0, 1073741824},
  };
  for (const auto& row : rows) {
    Writer writer = game(2);
    SpriteRecord sprite = bitmap_sprite("spr_damaged", {entries_[0]});
    sprite.collision_kind = 0;
    sprite.width = row.width;
    sprite.height = row.height;
    sprite.x_origin = row.x_origin;
    sprite.y_origin = row.y_origin;
    add_sprt(writer, 2, {sprite});
    ASSERT_TRUE(load(writer));
    EXPECT_EQ(Sprite_Get(0)->cullRadius, row.radius) << row.width << "x" << row.height << " at " << row.x_origin;
    ResetLoaderState();
    Assets_InstallReaders();
  }
}

TEST_F(AssetSprites, VectorAndSkeletonBodiesStayInPlace) {
  Writer writer = game(2);
  SpriteRecord vector = bitmap_sprite("spr_vector", {entries_[3]});
  vector.kind = sprt::kKindVector;
  vector.vector_data = {1, 2, 3, 4};
  SpriteRecord old_vector = vector;
  old_vector.vector_version = 7;
  SpriteRecord skeleton = bitmap_sprite("spr_skeleton", {});
  skeleton.kind = sprt::kKindSkeleton;
  skeleton.skeleton_json = "{\"bones\":[]}";
  skeleton.skeleton_atlas = "atlas.png";
  SpriteRecord old_skeleton = skeleton;
  old_skeleton.skeleton_version = 1;
  add_sprt(writer, 2, {vector, old_vector, skeleton, old_skeleton});
  ASSERT_TRUE(load(writer));
  const SpriteAsset* v = Sprite_Get(0);
  ASSERT_EQ(v->frames.size(), 1u);
  EXPECT_EQ(v->frames[0], entry(3));
  EXPECT_EQ(v->vector_data[2], 3);
  EXPECT_TRUE(Sprite_Get(1)->frames.empty());
  EXPECT_EQ(Sprite_Get(1)->vector_data[0], 1);
  for (int32_t index : {2, 3}) {
    const SpriteAsset* s = Sprite_Get(index);
    EXPECT_EQ(s->frame_count, 0x7FFFFFFFu);
    EXPECT_EQ(std::string(s->skeleton_json, s->skeleton_json_length), "{\"bones\":[]}");
    EXPECT_EQ(std::string(s->skeleton_atlas, s->skeleton_atlas_length), "atlas.png");
  }
}

TEST_F(AssetSprites, DamagedSpritesFailTheChunkWithItsLine) {
  struct Case {
    const char* what;
    uint32_t field;  // offset in the record of the word to overwrite
    uint32_t value;  // ~0u: the file size
  };
  // The record is the new form of version 3 in generation 2: body (frame count) at 84.
  const Case cases[] = {{"frame list passes the end of the file", 84, 0x40000000u},
                        {"frame page entry outside the file", 88, ~0u},
                        {"masks pass the end of the file", 92, 0x01000000u},
                        {"sequence outside the file", sprt::kSequence, ~0u},
                        {"sprite record cut off or bad name", sprt::kName, 3}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Writer writer = game(2);
    SpriteRecord sprite = bitmap_sprite("spr_bad", {entries_[0]});
    sprite.masks = {mask(1)};
    add_sprt(writer, 2, {sprite, bitmap_sprite("spr_after", {entries_[1]})});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    const uint32_t record = WordAt(image_, FindPayload(image_, "SPRT") + 4);
    store_u32(image_.data() + record + c.field, c.value == ~0u ? size : c.value);
    LoaderConsole console;
    HeaderScan(image_.data(), size);
    EXPECT_FALSE(LoadGameData(image_.data(), size));
    EXPECT_NE(console.text().find(std::string("Error loading game data: SPRT: ") + c.what), std::string::npos);
    EXPECT_EQ(Sprite_Get(1), nullptr);
  }
}

TEST_F(AssetSprites, TileSetsInBothGenerations) {
  for (uint32_t generation : {1u, 2u}) {
    SCOPED_TRACE(generation);
    Writer writer = game(generation);
    BackgroundRecord tiles;
    tiles.name = "ts_ground";
    tiles.smooth = true;
    tiles.page_entry = entries_[1] + 0;
    tiles.tile_width = 16;
    tiles.tile_height = 8;
    tiles.columns = 4;
    tiles.frames_per_tile = 2;
    tiles.tile_count = 3;
    tiles.frame_time = 250000;
    tiles.animation = {0, 1, 1, 2, 2, 0};
    BackgroundRecord plain;
    plain.name = "bg_plain";
    plain.version = 1;
    add_bgnd(writer, generation, {tiles, std::nullopt, plain});
    ASSERT_TRUE(load(writer));
    const BackgroundAsset* read = Background_Get(0);
    ASSERT_NE(read, nullptr);
    EXPECT_STREQ(Background_Table().name(0), "ts_ground");
    EXPECT_TRUE(read->smooth);
    EXPECT_EQ(read->page_entry, entry(1));
    EXPECT_EQ(read->width, 21);  // the entry's original size
    EXPECT_EQ(read->height, 30);
    EXPECT_EQ(Background_Get(1), nullptr);
    EXPECT_EQ(Background_Get(2)->page_entry, nullptr);
    EXPECT_FALSE(Background_Get(2)->tiles);
    EXPECT_EQ(read->tiles, generation == 2);
    if (generation == 2) {
      EXPECT_EQ(read->tile_width, 16);
      EXPECT_EQ(read->frames_per_tile, 2);
      EXPECT_EQ(read->frame_time, 250000u);
      EXPECT_EQ(Background_TileFrame(read, 1, 1), 2u);
      EXPECT_EQ(Background_TileFrame(read, 2, 3), 0u);
    }
    EXPECT_EQ(Background_TileFrame(read, 7, 0), 7u);
  }
}

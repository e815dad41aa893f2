// Record layouts the asset-chunk writers produce, checked on the built bytes against the shared
// layouts: where each form and version puts its fields, empty slots, and the writer's refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "datawin/format/byte_order.h"
#include "datawin/format/font_shader_layout.h"
#include "datawin/format/options_layout.h"
#include "datawin/format/sprite_layout.h"
#include "datawin/format/texture_layout.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"

using namespace datawin;

namespace {

// The payload of the first chunk (the writers under test add theirs first).
constexpr uint32_t kFirstPayload = 16;

uint32_t word(const std::vector<uint8_t>& file, uint32_t offset) { return load_u32(file.data() + offset); }
// The record that entry `index` of the pointer list at the first payload points at.
uint32_t record(const std::vector<uint8_t>& file, uint32_t index) { return word(file, kFirstPayload + 4 + 4 * index); }
std::string text(const std::vector<uint8_t>& file, uint32_t offset) {
  return std::string(reinterpret_cast<const char*>(file.data() + word(file, offset)));
}

}  // namespace

TEST(ChunkRecords, OptionsNewAndOldForm) {
  OptnRecord options;
  options.flags = optn::kOptionFreezeOnLostFocus | optn::kOptionShowCursor;
  options.window_colour = 0x123456;
  options.string52 = "s";
  options.constants = {{"name", "value"}};
  {
    Writer writer;
    add_optn(writer, options);
    const std::vector<uint8_t> file = writer.build();
    const uint32_t p = kFirstPayload;
    EXPECT_EQ(static_cast<int32_t>(word(file, p + optn::kMarker)), -1);
    EXPECT_EQ(word(file, p + optn::kFormVersion), 2u);
    EXPECT_EQ(word(file, p + optn::kFlags), options.flags);
    EXPECT_EQ(word(file, p + optn::kWindowColour), 0x123456u);
    EXPECT_EQ(text(file, p + optn::kString52), "s");
    EXPECT_EQ(word(file, p + optn::kConstantCount), 1u);
    EXPECT_EQ(text(file, p + optn::kConstants + 4), "value");
  }
  options.old_form = true;
  Writer writer;
  add_optn(writer, options);
  const std::vector<uint8_t> file = writer.build();
  const uint32_t p = kFirstPayload;
  EXPECT_EQ(word(file, p + 4 * 22), 1u);  // bit 15's word
  EXPECT_EQ(word(file, p + 4 * 4), 1u);   // bit 4's word
  EXPECT_EQ(word(file, p + 4 * 2), 0u);   // bit 2's word
  EXPECT_EQ(word(file, p + 4 * optn::kOldWindowColour), 0x123456u);
  EXPECT_EQ(text(file, p + 4 * optn::kOldString52), "s");
  EXPECT_EQ(word(file, p + 4 * optn::kOldConstantCount), 1u);
  EXPECT_EQ(text(file, p + optn::kOldConstants), "name");
}

TEST(ChunkRecords, SpriteBodyFollowsGenerationAndVersion) {
  struct Case {
    uint32_t generation;
    SpriteForm form;
    uint32_t version;
    uint32_t frame_count_at;
  };
  const Case cases[] = {{2, SpriteForm::kNew, 0, 84}, {2, SpriteForm::kNew, 1, 76}, {2, SpriteForm::kNew, 2, 80},
                        {2, SpriteForm::kNew, 3, 84}, {2, SpriteForm::kNew, 5, 84}, {1, SpriteForm::kNew, 3, 68},
                        {2, SpriteForm::kOld, 0, 56}, {2, SpriteForm::kZeroWord, 0, 60}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.generation) + "/" + std::to_string(c.version));
    Writer writer;
    const std::vector<Label> entries = new_labels(writer, 1);
    SpriteRecord sprite;
    sprite.name = "spr";
    sprite.width = 3;
    sprite.height = 1;
    sprite.form = c.form;
    sprite.version = c.version;
    sprite.frames = {entries[0] + 0, entries[0] + 0};
    sprite.masks = {{0x80}};
    add_sprt(writer, c.generation, {std::nullopt, sprite});
    add_tpag(writer, {TpagEntry{}}, entries);
    const std::vector<uint8_t> file = writer.build();
    EXPECT_EQ(record(file, 0), 0u);
    const uint32_t r = record(file, 1);
    if (c.form == SpriteForm::kNew) {
      EXPECT_EQ(sprt::sprite_body_offset(c.generation, c.version), c.frame_count_at);
      EXPECT_EQ(word(file, r + sprt::kFormWord), sprt::kNewFormMarker);
    }
    EXPECT_EQ(word(file, r + c.frame_count_at), 2u);
    EXPECT_NE(word(file, r + c.frame_count_at + 4), 0u);
    EXPECT_EQ(word(file, r + c.frame_count_at + 12), 1u);  // mask count behind the frames
    EXPECT_EQ(file[r + c.frame_count_at + 16], 0x80);
  }
}

TEST(ChunkRecords, SpriteAndTileSetWritersRefuseInconsistentRecords) {
  Writer writer;
  SpriteRecord sprite;
  sprite.name = "spr";
  sprite.width = 9;
  sprite.height = 2;
  sprite.masks = {std::vector<uint8_t>(3)};  // needs 4 bytes
  EXPECT_THROW(add_sprt(writer, 2, {sprite}), WriteError);
  sprite.masks.clear();
  sprite.form = SpriteForm::kOld;  // no frames: would read as the zero-word form
  EXPECT_THROW(add_sprt(writer, 2, {sprite}), WriteError);
  BackgroundRecord tiles;
  tiles.tile_count = 2;
  tiles.frames_per_tile = 2;
  tiles.animation = {0, 1, 2};
  EXPECT_THROW(add_bgnd(writer, 2, {tiles}), WriteError);
}

TEST(ChunkRecords, TexturePagesGroupsAndEntries) {
  Writer writer;
  const std::vector<uint8_t> data = {'f', 'i', 'o', 'q', 1, 0, 1, 0, 0, 0, 0, 0, 0x40};
  add_txtr(writer, {TxtrRecord{1, 2, 1, 1, 7, data}, std::nullopt, TxtrRecord{0, 1, 64, 32, 9, {}}});
  TginRecord group;
  group.name = "grp";
  group.load_type = tgin::kLoadDynamic;
  group.lists[tgin::kListFonts] = {4, 5};
  add_tgin(writer, {group, std::nullopt});
  add_tpag(writer, {TpagEntry{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -1}});
  const std::vector<uint8_t> file = writer.build();

  const uint32_t page = record(file, 0);
  EXPECT_EQ(word(file, page + txtr::kFlags), 1u);
  EXPECT_EQ(word(file, page + txtr::kDataSize), data.size());
  EXPECT_EQ(word(file, page + txtr::kFileIndex), 7u);
  const uint32_t data_at = word(file, page + txtr::kData);
  EXPECT_EQ(data_at % 4, 0u);
  EXPECT_EQ(std::vector<uint8_t>(file.begin() + data_at, file.begin() + data_at + data.size()), data);
  EXPECT_EQ(record(file, 1), 0u);
  EXPECT_EQ(word(file, record(file, 2) + txtr::kData), 0u);
  EXPECT_EQ(word(file, record(file, 2) + txtr::kWidth), 64u);

  uint32_t tgin = kFirstPayload + word(file, kFirstPayload - 4) + 8;
  EXPECT_EQ(load_u64(file.data() + tgin), uint64_t{2} << 32 | 1);
  EXPECT_EQ(word(file, tgin + 12), 0u);  // the empty slot
  const uint32_t g = word(file, tgin + 8);
  EXPECT_EQ(text(file, g + tgin::kName), "grp");
  EXPECT_EQ(word(file, g + tgin::kLoadType), 1u);
  const uint32_t fonts = word(file, g + tgin::kFonts);
  EXPECT_EQ(word(file, fonts), 2u);
  EXPECT_EQ(word(file, fonts + 8), 5u);

  const uint32_t tpag = tgin + word(file, tgin - 4) + 8;
  const uint32_t entry = word(file, tpag + 4);
  for (uint32_t field = 0; field < 10; ++field) EXPECT_EQ(load_u16(file.data() + entry + 2 * field), field + 1);
  EXPECT_EQ(static_cast<int16_t>(load_u16(file.data() + entry + tpag::kTexture)), -1);
}

TEST(ChunkRecords, FontGlyphListMovesWithTheVersion) {
  for (int version : {16, 17}) {
    Writer writer;
    FontRecord font;
    font.name = "fnt";
    font.glyphs = {{'x', 1, 2, 3, 4, 5, 6, {{'y', -7}}}};
    add_font(writer, version, {font});
    const std::vector<uint8_t> file = writer.build();
    const uint32_t r = record(file, 0);
    const uint32_t count_at = font::glyph_count_offset(version);
    EXPECT_EQ(count_at, version >= 17 ? 48u : 40u);
    EXPECT_EQ(word(file, r + count_at), 1u);
    const uint32_t glyph = word(file, r + count_at + 4);
    EXPECT_EQ(load_u16(file.data() + glyph + font::kGlyphChar), 'x');
    EXPECT_EQ(load_u16(file.data() + glyph + font::kGlyphKerningCount), 1u);
    EXPECT_EQ(static_cast<int16_t>(load_u16(file.data() + glyph + font::kGlyphBytes + 2)), -7);
  }
}

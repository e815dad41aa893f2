// Record layouts the writers produce, checked on the built bytes against the shared layouts: where
// each form and version puts its fields, empty slots, and the writer's refusals; GEN8 by version,
// CODE in both forms and the chain encodings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "datawin/format/byte_order.h"
#include "datawin/format/font_shader_layout.h"
#include "datawin/format/gen8_layout.h"
#include "datawin/format/link_layout.h"
#include "datawin/format/options_layout.h"
#include "datawin/format/sprite_layout.h"
#include "datawin/format/texture_layout.h"
#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_links.h"
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

TEST(Gen8Layout, RecordWidthFollowsTheVersion) {
  struct Case {
    int version;
    uint32_t generation;
    uint32_t room_order_at;
    uint32_t payload_size;  // with a room order of two entries
  };
  const Case cases[] = {
      {7, 2, 44, 56},   {8, 2, 100, 112},  {9, 1, 100, 112},  {10, 2, 104, 116}, {11, 2, 112, 124},
      {12, 2, 120, 132}, {13, 2, 124, 136}, {14, 1, 128, 140}, {14, 2, 128, 184}, {17, 2, 128, 184},
  };
  for (const Case& c : cases) {
    Writer writer;
    Gen8Record record;
    record.version = static_cast<uint8_t>(c.version);
    record.generation = c.generation;
    record.room_order = {5, 6};
    record.game_speed = 30.0f;
    record.display_name = "Shown";
    record.window_width = 320;
    add_gen8(writer, record);
    const std::vector<uint8_t> file = writer.build();
    const uint8_t* payload = file.data() + kFirstPayload;
    SCOPED_TRACE("version " + std::to_string(c.version) + " generation " + std::to_string(c.generation));
    EXPECT_EQ(gen8::room_order_offset(c.version), c.room_order_at);
    EXPECT_EQ(load_u32(file.data() + kFirstPayload - 4), c.payload_size);
    EXPECT_EQ(payload[gen8::kVersion], c.version);
    EXPECT_EQ(load_u32(payload + c.room_order_at), 2u);
    EXPECT_EQ(load_u32(payload + c.room_order_at + 8), 6u);
    if (c.version >= 8) {
      EXPECT_EQ(load_u32(payload + gen8::kGeneration), c.generation);
      EXPECT_EQ(load_i32(payload + gen8::kWindowWidth), 320);
    }
    if (gen8::has_game_speed(c.version, c.generation)) {
      EXPECT_EQ(load_f32(payload + gen8::game_speed_offset(c.version, 2)), 30.0f);
    }
  }
}

TEST(CodeLayout, BothFormsPointAtTheirBytecode) {
  for (int version : {14, 15}) {
    Writer writer;
    const std::vector<Label> starts = add_code(writer, version, {{"first", {1, 2, 3, 4, 5}}, {"second", {9, 9}}});
    Blob& probe = writer.add_chunk(make_tag("PROB"));
    probe.offset(starts[0]);
    probe.offset(starts[1]);
    const std::vector<uint8_t> file = writer.build();
    const uint32_t code = kFirstPayload;
    const uint32_t probe_payload = code + load_u32(file.data() + code - 4) + 8;
    ASSERT_EQ(load_u32(file.data() + code), 2u);
    for (uint32_t i = 0; i < 2; ++i) {
      SCOPED_TRACE("version " + std::to_string(version) + " record " + std::to_string(i));
      const uint32_t record = load_u32(file.data() + code + 4 + 4 * i);
      const uint32_t bytecode = load_u32(file.data() + probe_payload + 4 * i);
      EXPECT_EQ(load_u32(file.data() + record + 4), i == 0 ? 5u : 2u);
      if (version >= 15) {
        const uint32_t field = record + link::kCodeOffsetField;
        EXPECT_EQ(field + load_i32(file.data() + field), bytecode);
      } else {
        EXPECT_EQ(record + link::kCodeOldRecordBytes, bytecode);
      }
      EXPECT_EQ(file[bytecode], i == 0 ? 1 : 9);
    }
  }
}

TEST(LinkLayout, ChainWordsKeepTheirTopBits) {
  struct Case {
    uint32_t word;
    int version;
    int32_t distance;
  };
  const Case cases[] = {
      {0x00000010u, 15, 16},  {0xF0000010u, 15, 16},  {0x0FFFFFF0u, 15, -16}, {0x08000000u, 15, -134217728},
      {0x00000010u, 14, 16},  {0xE0000010u, 14, 16},  {0x1FFFFFF0u, 14, -16}, {0x0FFFFFF0u, 14, 0x0FFFFFF0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(link::vari_distance(c.word, c.version), c.distance) << std::hex << c.word << " v" << std::dec << c.version;
  }
  EXPECT_EQ(link::vari_bind(0xA8000000u, 100123), 0xA8000000u | 100123u);
  EXPECT_EQ(link::vari_bind(0x00000000u, 0x0FFFFFFF), 0x07FFFFFFu) << "ids keep to 27 bits";
}

TEST(LinkLayout, WriterChainsStoreDistancesInTheMaskedBits) {
  Writer writer;
  Blob& code = writer.add_raw_chunk(make_tag("BYTE"));
  const Label base = code.here();
  for (uint32_t i = 0; i < 8; ++i) code.u32(0xF0000000u);  // opcode bits everywhere
  add_vari(writer, 15, VariHead{}, {{"v", 0, 0, {base + 0, base + 16, base + 8}}});
  add_func(writer, 14, {{"f", {base + 4, base + 24}}});
  const std::vector<uint8_t> file = writer.build();
  const uint32_t b = kFirstPayload;
  EXPECT_EQ(load_u32(file.data() + b + 4), 0xF0000010u) << "VARI link 0 -> 16, at reference + 4";
  EXPECT_EQ(load_u32(file.data() + b + 20), 0xF0000000u | (static_cast<uint32_t>(-8) & 0x0FFFFFFFu));
  EXPECT_EQ(load_u32(file.data() + b + 8), 20u) << "FUNC (old form) link 4 -> 24 at reference + 4, whole word";
}

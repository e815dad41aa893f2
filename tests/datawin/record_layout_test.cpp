// Record layouts the writer produces: GEN8 by version, CODE in both forms and the chain encodings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "datawin/format/byte_order.h"
#include "datawin/format/gen8_layout.h"
#include "datawin/format/link_layout.h"
#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_links.h"

using namespace datawin;

namespace {

// The payload offset of the first chunk of the built file.
constexpr uint32_t kFirstPayload = 16;

}  // namespace

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

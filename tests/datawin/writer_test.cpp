// The writer's container mechanics, checked on the bytes it builds.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "datawin/format/byte_order.h"
#include "datawin/format/chunk_tags.h"
#include "datawin/writer/writer.h"

using namespace datawin;

namespace {

struct ChunkView {
  std::string tag;
  uint32_t payload;
  uint32_t size;
};

std::vector<ChunkView> chunks_of(const std::vector<uint8_t>& file) {
  std::vector<ChunkView> out;
  for (uint32_t at = 8; at + 8 <= file.size();) {
    const uint32_t size = load_u32(file.data() + at + 4);
    out.push_back({std::string(reinterpret_cast<const char*>(file.data() + at), 4), at + 8, size});
    at += 8 + size;
  }
  return out;
}

std::string text_at(const std::vector<uint8_t>& file, uint32_t offset) {
  return std::string(reinterpret_cast<const char*>(file.data() + offset));
}

}  // namespace

TEST(Writer, FormHeaderAndChunksInOrderRawExactStructuredPadded) {
  Writer writer;
  writer.add_raw_chunk(make_tag("ABCD"), {1, 2, 3});
  Blob& padded = writer.add_chunk(make_tag("EFGH"));
  padded.u8(7);
  writer.add_raw_chunk(make_tag("IJKL"));
  const std::vector<uint8_t> file = writer.build();

  EXPECT_EQ(load_u32(file.data()), kFormTag);
  EXPECT_EQ(load_u32(file.data() + 4), file.size() - 8);
  const auto chunks = chunks_of(file);
  ASSERT_EQ(chunks.size(), 3u);
  EXPECT_EQ(chunks[0].tag, "ABCD");
  EXPECT_EQ(chunks[0].size, 3u);
  EXPECT_EQ(file[chunks[0].payload + 2], 3);
  EXPECT_EQ(chunks[1].tag, "EFGH");
  EXPECT_EQ(chunks[1].size, 4u);
  EXPECT_EQ(file[chunks[1].payload], 7);
  EXPECT_EQ(chunks[2].tag, "IJKL");
  EXPECT_EQ(chunks[2].size, 0u);
  EXPECT_EQ(chunks[2].payload, file.size());
}

TEST(Writer, StringsAreWrittenOnceAndFieldsPointAtTheText) {
  Writer writer;
  Blob& a = writer.add_chunk(make_tag("AAAA"));
  a.string("alpha");
  a.string("beta");
  Blob& b = writer.add_chunk(make_tag("BBBB"));
  b.string("alpha");
  b.string("");
  const std::vector<uint8_t> file = writer.build();

  const auto chunks = chunks_of(file);
  ASSERT_EQ(chunks.size(), 3u);
  ASSERT_EQ(chunks[2].tag, "STRG");  // appended when not placed
  const uint32_t strg = chunks[2].payload;
  ASSERT_EQ(load_u32(file.data() + strg), 3u);
  const std::vector<std::string> expected = {"alpha", "beta", ""};
  for (uint32_t i = 0; i < 3; ++i) {
    const uint32_t entry = load_u32(file.data() + strg + 4 + 4 * i);
    EXPECT_EQ(load_u32(file.data() + entry), expected[i].size()) << "entries point at the length word";
    EXPECT_EQ(text_at(file, entry + 4), expected[i]);
    EXPECT_EQ(file[entry + 4 + expected[i].size()], 0);
  }
  const uint32_t alpha_a = load_u32(file.data() + chunks[0].payload);
  const uint32_t alpha_b = load_u32(file.data() + chunks[1].payload);
  EXPECT_EQ(alpha_a, alpha_b);
  EXPECT_EQ(alpha_a, load_u32(file.data() + strg + 4) + 4);
  EXPECT_EQ(text_at(file, load_u32(file.data() + chunks[0].payload + 4)), "beta");
  EXPECT_EQ(writer.strings().size(), 3u);
}

TEST(Writer, StringsChunkGoesWhereItIsPlaced) {
  Writer writer;
  writer.add_strings_chunk();
  writer.add_chunk(make_tag("AAAA")).string("late");
  const auto chunks = chunks_of(writer.build());
  ASSERT_EQ(chunks.size(), 2u);
  EXPECT_EQ(chunks[0].tag, "STRG");
  EXPECT_EQ(chunks[1].tag, "AAAA");
  EXPECT_THROW(writer.add_strings_chunk(), WriteError);
}

TEST(Writer, PointerListKeepsEmptySlotsAndResolvesLabels) {
  Writer writer;
  Blob& blob = writer.add_chunk(make_tag("LIST"));
  PointerList list = blob.pointer_list(3);
  list.set(0, blob.here());
  blob.u32(0xAAAA);
  list.set(2, blob.here());
  blob.u32(0xCCCC);
  const std::vector<uint8_t> file = writer.build();
  const uint32_t payload = chunks_of(file)[0].payload;
  EXPECT_EQ(load_u32(file.data() + payload), 3u);
  EXPECT_EQ(load_u32(file.data() + load_u32(file.data() + payload + 4)), 0xAAAAu);
  EXPECT_EQ(load_u32(file.data() + payload + 8), 0u);
  EXPECT_EQ(load_u32(file.data() + load_u32(file.data() + payload + 12)), 0xCCCCu);
}

TEST(Writer, ForwardLabelsAcrossChunksAndAddends) {
  Writer writer;
  const Label later = writer.new_label();
  Blob& first = writer.add_chunk(make_tag("FRST"));
  first.offset(later);
  first.offset(later + 4);
  first.offset(Ref{});
  Blob& second = writer.add_chunk(make_tag("SCND"));
  second.u32(1);
  second.bind(later);
  second.u32(0x11223344);
  second.u32(0x55667788);
  const std::vector<uint8_t> file = writer.build();
  const auto chunks = chunks_of(file);
  EXPECT_EQ(load_u32(file.data() + chunks[0].payload), chunks[1].payload + 4);
  EXPECT_EQ(load_u32(file.data() + load_u32(file.data() + chunks[0].payload + 4)), 0x55667788u);
  EXPECT_EQ(load_u32(file.data() + chunks[0].payload + 8), 0u);
}

TEST(Writer, PlaceholdersAlignmentAndDistancePatches) {
  Writer writer;
  Blob& blob = writer.add_chunk(make_tag("MISC"));
  const uint32_t count_at = blob.placeholder_u32();
  blob.u8(1);
  blob.align(8);
  EXPECT_EQ(blob.size(), 8u);
  const Label from = blob.here();
  blob.u32(0xF8000000u);  // opcode bits that a chain link must keep
  const Label to = blob.here();
  blob.u32(0);
  blob.patch_u32(count_at, 42);
  writer.patch_distance(from + 0, from + 0, to + 0, 0x07FFFFFFu);
  const std::vector<uint8_t> file = writer.build();
  const uint32_t payload = chunks_of(file)[0].payload;
  EXPECT_EQ(load_u32(file.data() + payload), 42u);
  EXPECT_EQ(load_u32(file.data() + payload + 8), 0xF8000004u);
}

TEST(Writer, MisuseIsReported) {
  {
    Writer writer;
    writer.add_chunk(make_tag("AAAA")).offset(writer.new_label());
    EXPECT_THROW(writer.build(), WriteError) << "unbound label";
  }
  {
    Writer writer;
    Blob& blob = writer.add_chunk(make_tag("AAAA"));
    const Label label = writer.new_label();
    blob.bind(label);
    EXPECT_THROW(blob.bind(label), WriteError) << "label bound twice";
    EXPECT_THROW(blob.align(3), WriteError);
    EXPECT_THROW(blob.patch_u32(0, 1), WriteError) << "patch past the payload";
    EXPECT_THROW(blob.pointer_list(1).set(1, label), WriteError);
  }
  {
    Writer writer;
    Blob& blob = writer.add_chunk(make_tag("AAAA"));
    blob.offset(blob.here() + 1000);
    EXPECT_THROW(writer.build(), WriteError) << "reference past the end of the file";
  }
}

TEST(Writer, MovedWriterKeepsItsChunks) {
  Writer writer;
  Blob& blob = writer.add_chunk(make_tag("AAAA"));
  Writer moved = std::move(writer);
  blob.string("still here");
  const std::vector<uint8_t> file = moved.build();
  EXPECT_EQ(text_at(file, load_u32(file.data() + 16)), "still here");
  EXPECT_EQ(moved.chunk_count(), 2u);
}

TEST(ChunkTags, TableRoundTripsAndCaseMatters) {
  for (int32_t id = 0; id < kChunkIdCount; ++id) {
    const uint32_t tag = chunk_tag(static_cast<ChunkId>(id));
    EXPECT_EQ(find_chunk(tag), id) << kChunkNames[id];
    EXPECT_STREQ(tag_text(tag).text, kChunkNames[id]);
    EXPECT_EQ(std::memcmp(&tag, kChunkNames[id], 4), 0) << "a tag reads as its four file bytes";
  }
  EXPECT_EQ(find_chunk(make_tag("gen8")), kChunkIdCount);
  EXPECT_EQ(find_chunk(make_tag("Gen8")), kChunkIdCount);
  EXPECT_EQ(find_chunk(kFormTag), kChunkIdCount);
  EXPECT_EQ(kChunkNames[kLastDispatchChunk], std::string("NINE"));
}

// Reading the game file into an image, and the debug side file beside it.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "core/memory.h"
#include "data/debug_file.h"
#include "data/game_data.h"
#include "data/game_file.h"
#include "loader_test_util.h"

using namespace datawin;

using GameFile = LoaderTest;

TEST_F(GameFile, ReadsTheWholeFileWithSlackAndLoadsIt) {
  const std::vector<uint8_t> bytes = BuildImage(MakeMinimalGame());
  const std::string path = WriteFixture(MakeMinimalGame());
  GameImage image;
  ASSERT_EQ(GameFile_Read(path, &image), GameFileStatus::kOk);
  ASSERT_EQ(image.size, bytes.size());
  EXPECT_EQ(std::vector<uint8_t>(image.data, image.data + image.size), bytes);
  EXPECT_GE(MemoryManager::GetSize(image.data), image.size + kGameImageSlack);
  EXPECT_EQ(image.data[image.size + kGameImageSlack - 1], 0);
  EXPECT_TRUE(HeaderScan(image.data, image.size));
  EXPECT_TRUE(LoadGameData(image.data, image.size));
  EXPECT_STREQ(GameData_Header().file_name, "fixture");
  GameData_Reset();
  GameFile_Free(&image);
  EXPECT_EQ(image.data, nullptr);
}

TEST_F(GameFile, MagicInEitherByteOrderAndRefusals) {
  TempDir dir;
  struct Case {
    std::vector<uint8_t> bytes;
    GameFileStatus status;
  };
  std::vector<uint8_t> reversed = BuildImage(MakeMinimalGame());
  std::copy_n("MROF", 4, reversed.begin());
  const Case cases[] = {
      {BuildImage(MakeMinimalGame()), GameFileStatus::kOk},
      {reversed, GameFileStatus::kOk},
      {{'R', 'I', 'F', 'F', 0, 0, 0, 0}, GameFileStatus::kNotGameFile},
      {{'F', 'O', 'R'}, GameFileStatus::kNotGameFile},
      {{}, GameFileStatus::kNotGameFile},
  };
  int n = 0;
  for (const Case& c : cases) {
    const std::string path = dir.file("case" + std::to_string(n++));
    WriteTextFile(path, c.bytes);
    GameImage image;
    EXPECT_EQ(GameFile_Read(path, &image), c.status) << path;
    EXPECT_EQ(image.data != nullptr, c.status == GameFileStatus::kOk);
    GameFile_Free(&image);
  }
  GameImage image;
  EXPECT_EQ(GameFile_Read(dir.file("missing.win"), &image), GameFileStatus::kUnreadable);
  EXPECT_EQ(GameFile_Read(dir.path(), &image), GameFileStatus::kUnreadable) << "a directory";
  EXPECT_EQ(image.data, nullptr);
}

// A file whose length is not its FORM size + 8 is refused from its first 8 bytes and its length,
// without being read: sparse files of several GiB stand in for huge ones (the first word of a
// file with no magic decides before its size does).
TEST_F(GameFile, ImpossibleSizesAreRefusedBeforeTheFileIsRead) {
  TempDir dir;
  struct Case {
    uint64_t length;
    const char* magic;
    uint32_t form_size;
    GameFileStatus status;
  };
  const Case cases[] = {
      {3ull << 30, "FORM", 56, GameFileStatus::kWrongSize},
      {(5ull << 30) + 8, "FORM", 1u << 30, GameFileStatus::kWrongSize},  // the FORM size wraps at 4 GiB
      {(4ull << 30) + 7, "FORM", 0xFFFFFFFFu, GameFileStatus::kWrongSize},  // matches, but no image holds it
      {64, "MROF", 64, GameFileStatus::kWrongSize},
      {3ull << 30, "RIFF", 56, GameFileStatus::kNotGameFile},
  };
  for (const Case& c : cases) {
    const std::string path = dir.file("huge.win");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    uint8_t head[8];
    std::memcpy(head, c.magic, 4);
    for (int i = 0; i < 4; ++i) head[4 + i] = static_cast<uint8_t>(c.form_size >> (8 * i));
    ASSERT_EQ(std::fwrite(head, 1, sizeof head, file), sizeof head);
    std::fclose(file);
    std::filesystem::resize_file(path, c.length);
    GameImage image;
    GameFileSizes sizes;
    const int64_t in_use = MemoryManager::Stats().bytes_in_use;
    EXPECT_EQ(GameFile_Read(path, &image, &sizes), c.status) << c.length;
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(MemoryManager::Stats().bytes_in_use, in_use) << c.length;
    if (c.status == GameFileStatus::kWrongSize) {
      EXPECT_EQ(sizes.length, c.length);
      EXPECT_EQ(sizes.form_size, c.form_size);
    }
    std::filesystem::remove(path);
  }
}

TEST_F(GameFile, DebugSideFileKeepsItsThreeTables) {
  Writer writer;
  Blob& dbgi = writer.add_chunk(make_tag("DBGI"));
  dbgi.u32(3);
  dbgi.i32(1);
  dbgi.i32(-1);
  dbgi.i32(0);
  PointerList records = dbgi.pointer_list(2);
  records.set(0, dbgi.here());
  dbgi.u32(2);
  dbgi.u32(10);
  dbgi.u32(20);
  Blob& scpt = writer.add_chunk(make_tag("SCPT"));
  PointerList sources = scpt.pointer_list(2);
  sources.set(1, scpt.here());
  scpt.string("show_message(1);");
  writer.add_raw_chunk(make_tag("GEN8"), {1, 2, 3});  // ignored here
  Blob& inst = writer.add_chunk(make_tag("INST"));
  inst.u32(2);
  inst.u32(0xAB);
  const std::string path = WriteFixture(writer, ".kvdebug");

  ASSERT_TRUE(GameData_LoadDebugSideFile(path));
  const DebugInfo& info = DebugFile_Info();
  EXPECT_EQ(info.record_of_code, (std::vector<int32_t>{1, -1, 0}));
  ASSERT_EQ(info.records.size(), 2u);
  ASSERT_EQ(info.records[0].count, 2u);
  EXPECT_EQ(load_u32(info.records[0].words + 4), 20u);
  EXPECT_EQ(info.records[1].words, nullptr);
  ASSERT_EQ(info.sources.size(), 2u);
  EXPECT_EQ(info.sources[0], nullptr);
  EXPECT_STREQ(info.sources[1], "show_message(1);");
  EXPECT_EQ(info.instance_count, 2u);
  EXPECT_EQ(info.instance_table_size, 4u);
  EXPECT_FALSE(GameData_LoadDebugSideFile(path + ".none"));
}

TEST_F(GameFile, DamagedDebugTablesAreDroppedAndTheRestKept) {
  Writer writer;
  Blob& dbgi = writer.add_chunk(make_tag("DBGI"));
  dbgi.u32(0x40000000);  // more entries than the chunk holds
  Blob& scpt = writer.add_chunk(make_tag("SCPT"));
  scpt.u32(1);
  scpt.u32(0xFFFFFF00u);  // a record outside the file
  Blob& inst = writer.add_chunk(make_tag("INST"));
  inst.u32(5);
  LoaderConsole console;
  EXPECT_FALSE(DebugFile_LoadImage(writer.build()));
  EXPECT_TRUE(DebugFile_Info().record_of_code.empty());
  EXPECT_TRUE(DebugFile_Info().sources.empty());
  EXPECT_EQ(DebugFile_Info().instance_count, 5u);
  EXPECT_NE(console.text().find("DBGI"), std::string::npos);
  EXPECT_NE(console.text().find("SCPT"), std::string::npos);
}

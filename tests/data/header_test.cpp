// The header record through both walks: every version's layout written by the writer and read by
// the loader, the fallbacks, the options that touch it, and the FORM size check.
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/error.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "datawin/format/gen8_layout.h"
#include "loader_test_util.h"

using namespace datawin;

using Header = LoaderTest;

TEST_F(Header, EveryVersionRoundTrips) {
  struct Case {
    int version;
    uint32_t generation;
    bool window;        // generation, window and InfoFlags present (version 8 on)
    bool display_name;  // version 10 on
    bool classes;       // version 12 on
    bool speed;         // version 14 on, generation 2
  };
  const Case cases[] = {
      {7, 2, false, false, false, false}, {8, 2, true, false, false, false},  {9, 1, true, false, false, false},
      {10, 2, true, true, false, false},  {11, 2, true, true, false, false},  {12, 2, true, true, true, false},
      {13, 2, true, true, true, false},   {14, 2, true, true, true, true},    {14, 1, true, true, true, false},
      {15, 2, true, true, true, true},    {17, 1, true, true, true, false},   {17, 2, true, true, true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE("version " + std::to_string(c.version) + " generation " + std::to_string(c.generation));
    ResetLoaderState();
    Run_UseGameTimer = false;
    Run_GameTimer = GameTimer{};
    Writer writer;
    Gen8Record record = MinimalHeader(c.version, c.generation, 45.0f);
    record.debug_off = 1;
    record.last_instance_id = 100123;
    record.last_tile_id = 10000456;
    record.game_id = -77;
    record.guid[3] = 0xABCDEF01u;
    record.info_flags = gen8::kInfoShowCursor | gen8::kInfoFullScreen;
    record.build_time = 1700000000;
    record.function_classes = 0x4;
    record.room_order = {3, 1, 2};
    add_gen8(writer, record);
    ASSERT_TRUE(load(writer));

    const GameHeader& h = GameData_Header();
    EXPECT_EQ(DataVersion, c.version);
    EXPECT_EQ(NewCodeForm, c.version >= 15);
    EXPECT_EQ(h.debug_off, 1);
    EXPECT_STREQ(h.file_name, "fixture");
    EXPECT_STREQ(h.project_name, "fixture_project");
    EXPECT_EQ(h.last_instance_id, 100123u);
    EXPECT_EQ(h.last_tile_id, 10000456u);
    EXPECT_EQ(h.game_id, -77);
    EXPECT_EQ(h.guid[3], 0xABCDEF01u);
    EXPECT_EQ(h.room_order, (std::vector<int32_t>{3, 1, 2}));
    EXPECT_EQ(h.generation, c.window ? c.generation : 1u);
    EXPECT_EQ(h.window_width, c.window ? 640 : 0);
    EXPECT_EQ(h.info_flags, c.window ? record.info_flags : 0u);
    EXPECT_EQ(h.build_time, c.window ? 1700000000u : 0u);
    EXPECT_STREQ(h.display_name, c.display_name ? "Fixture Game" : "Made with Tolvarine");
    EXPECT_EQ(FunctionClasses, c.classes ? 0x4u : ~uint64_t{0});
    EXPECT_EQ(Run_UseGameTimer, c.window && c.generation >= 2);
    EXPECT_EQ(GameSpeed, c.speed ? 45.0f : 0.0f);
    EXPECT_EQ(Run_GameTimer.fps, c.speed ? 45.0 : 0.0) << "the timer starts only with a game speed";
    EXPECT_EQ(h.record, image_.data() + 16);
  }
}

TEST_F(Header, RoomOrderOffsetOfVersions13And14) {
  // The record carries no length: only the version says where the room order is.
  for (const auto& [version, offset] : {std::pair{13, 124u}, std::pair{14, 128u}}) {
    ASSERT_TRUE(load(MakeMinimalGame(version, 1, 60.0f)));
    EXPECT_EQ(WordAt(image_, 16 + offset), 1u) << "room count of version " << version;
    EXPECT_EQ(WordAt(image_, 16 + offset + 4), 0u);
    EXPECT_EQ(GameData_Header().room_order, std::vector<int32_t>{0});
  }
}

TEST_F(Header, GenerationOneNeverReadsAGameSpeed) {
  // A generation-1 record of version 17 ends at its room order; bytes behind it are another chunk.
  Writer writer = MakeMinimalGame(17, 1, 60.0f);
  writer.add_raw_chunk(make_tag("DAFL"), std::vector<uint8_t>(48, 0xFF));
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(GameSpeed, 0.0f);
  EXPECT_FALSE(Run_UseGameTimer);
}

TEST_F(Header, MissingNamesUseTheirFallbacks) {
  Writer writer;
  Gen8Record record = MinimalHeader(17, 2, 60.0f);
  record.file_name.clear();
  record.display_name.clear();
  record.project_name.clear();
  add_gen8(writer, record);
  ASSERT_TRUE(load(writer));
  EXPECT_STREQ(GameData_Header().file_name, "Default");
  EXPECT_STREQ(GameData_Header().display_name, "Made with Tolvarine");
  EXPECT_STREQ(GameData_Header().project_name, "");
}

TEST_F(Header, InAWindowClearsFullScreenOnEveryRead) {
  Writer writer;
  Gen8Record record = MinimalHeader(17, 2, 60.0f);
  record.info_flags = gen8::kInfoFullScreen | gen8::kInfoResizable;
  add_gen8(writer, record);
  std::vector<uint8_t> image = BuildImage(writer);
  GameData_SetInAWindow(true);
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  EXPECT_EQ(GameData_Header().info_flags, gen8::kInfoResizable);
  ASSERT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size())));
  EXPECT_EQ(GameData_Header().info_flags, gen8::kInfoResizable);
  EXPECT_EQ(WordAt(image, 16 + gen8::kInfoFlags), record.info_flags) << "the image keeps the file's flags";
  GameData_SetInAWindow(false);
}

TEST_F(Header, ScanPrintsItsLinesAndRegistersBuiltinsOnce) {
  static int registrations = 0;
  registrations = 0;
  Builtins_AddRegistrar(kFamilyGame, [] { ++registrations; });
  Writer writer = MakeMinimalGame();
  writer.add_chunk(make_tag("CODE")).u32(0);
  add_gen8(writer, MinimalHeader(16, 2, 30.0f));
  std::vector<uint8_t> image = BuildImage(writer);
  LoaderConsole console;
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  EXPECT_EQ(registrations, 1);
  const std::string& text = console.text();
  const size_t header = text.find("Get Header Information\n");
  const size_t init = text.find("InitTSLFunctions\n");
  const size_t code = text.find("Code_Load()\n");
  ASSERT_NE(header, std::string::npos);
  ASSERT_NE(init, std::string::npos);
  ASSERT_NE(code, std::string::npos);
  EXPECT_LT(header, init);
  EXPECT_LT(init, code);
  EXPECT_NE(text.find("Get Header Information\n", code), std::string::npos) << "the second record is read too";
  EXPECT_TRUE(GameData_CodeChunkSeen());
  EXPECT_EQ(DataVersion, 16) << "the later record wins";
}

TEST_F(Header, WrongFormSizeRaisesAndTheLoadWalksNothing) {
  std::vector<uint8_t> image = BuildImage(MakeMinimalGame(17, 2, 30.0f));
  store_u32(image.data() + 4, static_cast<uint32_t>(image.size()));  // should be size - 8
  try {
    HeaderScan(image.data(), static_cast<uint32_t>(image.size()));
    FAIL() << "expected the size error";
  } catch (const KVTSLException& error) {
    EXPECT_EQ(error.message(), "Error attempting to load wad file with unexpected size " +
                                   std::to_string(image.size()) + " szFORM " + std::to_string(image.size()) + "\n");
  }
  LoaderConsole console;
  EXPECT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size())));
  EXPECT_EQ(console.text().find("Process Chunk"), std::string::npos);
  EXPECT_EQ(GameSpeed, 0.0f);
}

TEST_F(Header, FilesWithoutChunksLoadEmpty) {
  for (uint32_t size : {0u, 4u, 8u}) {
    std::vector<uint8_t> image = {'F', 'O', 'R', 'M', 0, 0, 0, 0};
    image.resize(size);
    EXPECT_TRUE(HeaderScan(image.data(), size)) << size;
    EXPECT_TRUE(LoadGameData(image.data(), size)) << size;
    EXPECT_EQ(GameData_Header().version, 0);
  }
}

TEST_F(Header, ShortRecordsFailWithAMessage) {
  struct Case {
    int version;
    uint32_t keep;  // payload bytes kept
    const char* message;
  };
  const Case cases[] = {
      {17, 1, "GEN8: header record truncated"},
      {17, 127, "GEN8: header record shorter than its version's fields"},
      {17, 132, "GEN8: room order count larger than the record"},
      {17, 140, "GEN8: game speed missing"},
      {7, 43, "GEN8: header record shorter than its version's fields"},
  };
  for (const Case& c : cases) {
    ResetLoaderState();
    Gen8Record record = MinimalHeader(c.version, 2, 60.0f);
    record.file_name.clear();  // no strings: the record is copied into a file without them
    record.project_name.clear();
    record.display_name.clear();
    Writer source;
    add_gen8(source, record);
    const std::vector<uint8_t> full = BuildImage(source);
    Writer writer;
    writer.add_raw_chunk(make_tag("GEN8"), std::vector<uint8_t>(full.begin() + 16, full.begin() + 16 + c.keep));
    std::vector<uint8_t> image = BuildImage(writer);
    LoaderConsole console;
    const bool scanned = HeaderScan(image.data(), static_cast<uint32_t>(image.size()));
    const bool loaded = LoadGameData(image.data(), static_cast<uint32_t>(image.size()));
    EXPECT_FALSE(scanned && loaded) << c.message;
    EXPECT_NE(console.text().find(c.message), std::string::npos) << console.text();
  }
}

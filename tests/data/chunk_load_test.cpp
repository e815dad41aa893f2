// The chunk load: dispatch by tag, plug-in readers, the lists the container keeps, the console
// lines of both walks.
#include <string>
#include <vector>

#include "data/game_data.h"
#include "datawin/writer/chunk_code_lists.h"
#include "loader_test_util.h"

using namespace datawin;

namespace {

struct ReaderCall {
  std::vector<uint8_t> payload;
  const uint8_t* image_base;
};
std::vector<ReaderCall> g_calls;
bool g_reader_result = true;

bool recording_reader(const uint8_t* payload, uint32_t size, const uint8_t* image_base) {
  g_calls.push_back({std::vector<uint8_t>(payload, payload + size), image_base});
  return g_reader_result;
}

class ChunkLoad : public LoaderTest {
 protected:
  void SetUp() override {
    LoaderTest::SetUp();
    g_calls.clear();
    g_reader_result = true;
  }
};

}  // namespace

TEST_F(ChunkLoad, ConsoleLinesOfBothWalksInOrder) {
  Writer writer = MakeMinimalGame(17, 2, 60.0f);
  writer.add_chunk(kChunkCODE).u32(0);
  writer.add_raw_chunk(make_tag("VARI"), std::vector<uint8_t>(12, 0));
  writer.add_raw_chunk(make_tag("NINE"), {1, 2, 3, 4});
  writer.add_raw_chunk(make_tag("HELP"));
  writer.add_strings_chunk();
  LoaderConsole console;
  ASSERT_TRUE(load(writer));
  const std::string& text = console.text();

  const size_t scan_lines[] = {text.find("Get Header Information\n"), text.find("InitTSLFunctions\n"),
                               text.find("Fini\n"), text.find("Code_Load()\n"), text.find("VARI_Load()\n")};
  for (size_t i = 1; i < std::size(scan_lines); ++i) {
    ASSERT_NE(scan_lines[i], std::string::npos) << i;
    EXPECT_LT(scan_lines[i - 1], scan_lines[i]) << i;
  }
  const size_t load_start = text.find("initialise everything! ");
  ASSERT_NE(load_start, std::string::npos);
  EXPECT_GT(load_start, scan_lines[4]);
  const std::string strg_size = std::to_string(WordAt(image_, FindPayload(image_, "STRG") - 4));
  const std::string expected_load =
      "Process Chunk: GEN8   180  (0.00MB)\n"
      "Process Chunk: CODE   4  (0.00MB)\n"
      "Process Chunk: VARI   12  (0.00MB)\n"
      "Process Chunk: NINE   4  (0.00MB)\n"
      "Nine-slice resource type not handled yet\n"
      "Process Chunk: HELP   0  (0.00MB)\n"
      "Process Chunk: STRG   " + strg_size + "  (0.00MB)\n";
  const size_t after_init = text.find('\n', load_start) + 1;
  EXPECT_EQ(text.substr(after_init), expected_load);
  char init_line[96];
  std::snprintf(init_line, sizeof init_line, "initialise everything! %p, %u\n", static_cast<void*>(image_.data()),
                static_cast<unsigned>(image_.size()));
  EXPECT_EQ(text.substr(load_start, after_init - load_start), init_line);
}

TEST_F(ChunkLoad, KnownChunkOfSizeZeroRunsNoReader) {
  ASSERT_TRUE(Chunk_SetReader(make_tag("SPRT"), recording_reader));
  Writer writer = MakeMinimalGame();
  writer.add_raw_chunk(make_tag("SPRT"));
  writer.add_raw_chunk(make_tag("SPRT"), {5, 6, 7});
  ASSERT_TRUE(load(writer));
  ASSERT_EQ(g_calls.size(), 1u);
  EXPECT_EQ(g_calls[0].payload, (std::vector<uint8_t>{5, 6, 7}));
  EXPECT_EQ(g_calls[0].image_base, image_.data());
}

TEST_F(ChunkLoad, UnknownAndCaseDifferentTagsFailTheLoadButTheWalkGoesOn) {
  ASSERT_TRUE(Chunk_SetReader(make_tag("SPRT"), recording_reader));
  const char* const unknown[] = {"sprt", "Sprt", "XYZW", "DBGI", "GEN7"};
  for (const char* tag : unknown) {
    ResetLoaderState();
    ASSERT_TRUE(Chunk_SetReader(make_tag("SPRT"), recording_reader));
    g_calls.clear();
    Writer writer = MakeMinimalGame();
    writer.add_raw_chunk(make_tag(tag[0], tag[1], tag[2], tag[3]), {1, 2, 3, 4, 5});
    add_glob(writer, {7, 8});
    writer.add_raw_chunk(make_tag("SPRT"), {9});
    writer.add_raw_chunk(make_tag("QQQQ"));  // size 0: skipped whatever its tag
    LoaderConsole console;
    EXPECT_FALSE(load(writer)) << tag;
    EXPECT_NE(console.text().find(std::string("unknown Chunk ") + tag + ":5\n"), std::string::npos) << console.text();
    EXPECT_EQ(console.text().find("unknown Chunk QQQQ"), std::string::npos);
    EXPECT_EQ(GameData_GlobalInitCode(), (std::vector<int32_t>{7, 8})) << "chunks after it are still read";
    EXPECT_EQ(g_calls.size(), 1u);
  }
}

TEST_F(ChunkLoad, FailingReaderFailsTheLoadAndTheWalkGoesOn) {
  ASSERT_TRUE(Chunk_SetReader(make_tag("OBJT"), recording_reader));
  ASSERT_TRUE(Chunk_SetReader(make_tag("ROOM"), recording_reader));
  g_reader_result = false;
  Writer writer = MakeMinimalGame();
  writer.add_raw_chunk(make_tag("OBJT"), {1});
  writer.add_raw_chunk(make_tag("ROOM"), {2});
  EXPECT_FALSE(load(writer));
  EXPECT_EQ(g_calls.size(), 2u);
}

TEST_F(ChunkLoad, OnlyAssetChunksTakeReaders) {
  struct Case {
    const char* tag;
    bool accepted;
  };
  const Case cases[] = {
      {"SPRT", true},  {"EMBI", true},  {"TXTR", true},  {"OPTN", true},  {"GEN8", false}, {"VARI", false},
      {"FUNC", false}, {"STRG", false}, {"TPAG", false}, {"NINE", false}, {"PSPS", false}, {"sprt", false},
      {"DBGI", false}, {"GENL", false},
  };
  for (const Case& c : cases) {
    const uint32_t tag = make_tag(c.tag[0], c.tag[1], c.tag[2], c.tag[3]);
    EXPECT_EQ(Chunk_SetReader(tag, recording_reader), c.accepted) << c.tag;
    EXPECT_EQ(Chunk_Reader(tag) == recording_reader, c.accepted) << c.tag;
  }
}

TEST_F(ChunkLoad, KnownChunksWithoutReadersAreSkipped) {
  Writer writer = MakeMinimalGame();
  for (const char* tag : {"SOND", "SPRT", "ROOM", "DAFL", "STAT", "HELP", "RASP", "PSPS"}) {
    writer.add_raw_chunk(make_tag(tag[0], tag[1], tag[2], tag[3]), {0xFF, 0xFF, 0xFF, 0xFF});
  }
  LoaderConsole console;
  EXPECT_TRUE(load(writer));
  EXPECT_EQ(console.text().find("unknown"), std::string::npos);
}

TEST_F(ChunkLoad, CodeListsFeaturesAndStrings) {
  Writer writer = MakeMinimalGame();
  add_glob(writer, {3, 0, 1498});
  add_gmen(writer, {12});
  add_feat(writer, {"feature_a", "feature_b", "feature_a"});
  add_code(writer, 17, {{"code_one", {1, 2, 3, 4}}, {"code_two", {}}});
  writer.add_strings_chunk();
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(GameData_GlobalInitCode(), (std::vector<int32_t>{3, 0, 1498}));
  EXPECT_EQ(GameData_GameEndCode(), std::vector<int32_t>{12});
  ASSERT_EQ(GameData_Features().size(), 3u);
  EXPECT_STREQ(GameData_Features()[1], "feature_b");
  EXPECT_EQ(GameData_Features()[0], GameData_Features()[2]) << "one string, used in place";
  ASSERT_EQ(GameData_CodeOffsets().size(), 2u);
  EXPECT_STREQ(reinterpret_cast<const char*>(ImagePointer(WordAt(image_, GameData_CodeOffsets()[1]))), "code_two");
  EXPECT_TRUE(GameData_CodeChunkSeen());
  ASSERT_EQ(GameData_StringCount(), writer.strings().size());
  for (uint32_t i = 0; i < GameData_StringCount(); ++i) EXPECT_EQ(GameData_String(i), writer.strings()[i]);
  EXPECT_EQ(GameData_String(GameData_StringCount()), nullptr);
}

TEST_F(ChunkLoad, SecondLoadStartsFromEmptyTablesAndRunsClearHooks) {
  static int clears = 0;
  clears = 0;
  GameData_AddClearHook([] { ++clears; });
  Writer first = MakeMinimalGame();
  add_glob(first, {1, 2});
  add_feat(first, {"x"});
  first.add_raw_chunk(make_tag("TPAG"), {1, 2, 3, 4, 5, 6});
  ASSERT_TRUE(load(first));
  const uint8_t* pages = nullptr;
  uint32_t pages_size = 0;
  ASSERT_TRUE(GameData_TexturePageChunk(&pages, &pages_size));
  EXPECT_EQ(pages, image_.data() + FindPayload(image_, "TPAG"));
  EXPECT_EQ(pages_size, 6u);
  EXPECT_EQ(clears, 1);
  ASSERT_TRUE(load(MakeMinimalGame()));
  EXPECT_EQ(clears, 2);
  EXPECT_TRUE(GameData_GlobalInitCode().empty());
  EXPECT_TRUE(GameData_Features().empty());
  EXPECT_FALSE(GameData_TexturePageChunk(&pages, &pages_size));
}

TEST_F(ChunkLoad, FallbackTextureLookupOnlyWithAnEmbeddedImageReader) {
  static int lookups = 0;
  lookups = 0;
  GameData_SetFallbackTextureHook([] { ++lookups; });
  ASSERT_TRUE(load(MakeMinimalGame()));
  EXPECT_EQ(lookups, 0);
  ASSERT_TRUE(Chunk_SetReader(make_tag("EMBI"), recording_reader));
  ASSERT_TRUE(load(MakeMinimalGame()));
  EXPECT_EQ(lookups, 1);
}

TEST_F(ChunkLoad, ImagePointerAndPayloadCursor) {
  ASSERT_TRUE(load(MakeMinimalGame()));
  EXPECT_EQ(ImagePointer(0), nullptr);
  EXPECT_EQ(ImagePointer(8), image_.data() + 8);
  EXPECT_EQ(ImagePointer(static_cast<uint32_t>(image_.size())), nullptr);
  ByteCursor cur = GameData_Cursor(image_.data() + 16, 8);
  uint32_t word = 0;
  EXPECT_EQ(cur.offset(), 16u);
  EXPECT_TRUE(cur.read_u32(&word));
  EXPECT_TRUE(cur.read_u32(&word));
  EXPECT_FALSE(cur.read_u32(&word)) << "the cursor stops at the payload's end";
  const char* name = nullptr;
  ByteCursor fields = GameData_Cursor(image_.data() + 16 + 8, 4);
  ASSERT_TRUE(fields.read_string(&name));
  EXPECT_STREQ(name, "fixture");
}

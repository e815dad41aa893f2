// Damaged data files: valid fixtures with chunks, strings, lists and VARI/FUNC chains, and one
// holding every asset chunk, mutated thousands of times with a fixed seed, each loaded through
// both walks from a heap block of exactly the file's size. The loader must return, never crash and
// never read outside the block (the AddressSanitizer build, make test-asan, turns any stray read
// into a failure), and an asset reader's failure must name its chunk.
#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/function_table.h"
#include "data/debug_file.h"
#include "data/game_data.h"
#include "graphics/asset_sprites.h"
#include "graphics/texture_table.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"
#include "support/fixture_games.h"

using namespace datawin;

namespace {

void no_op_builtin(RValue*, CInstance*, CInstance*, int, RValue*) {}
void ignore_fatal(int) {}

// A reader in the shape later asset readers take: a pointer list of {name, width, height}.
uint32_t g_sprite_names = 0;
bool sprite_reader(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t offset = 0;
    cur.read_u32(&offset);
    if (offset == 0) continue;
    ByteCursor record(cur.image(), cur.image_size(), offset, cur.image_size());
    const char* name = nullptr;
    uint32_t width = 0, height = 0;
    if (!record.read_string(&name) || !record.read_u32(&width) || !record.read_u32(&height)) return false;
    if (name != nullptr) g_sprite_names += static_cast<uint32_t>(std::strlen(name));
  }
  return true;
}

Writer debug_side_file() {
  Writer writer;
  Blob& dbgi = writer.add_chunk(make_tag("DBGI"));
  dbgi.u32(2);
  dbgi.i32(0);
  dbgi.i32(1);
  PointerList records = dbgi.pointer_list(2);
  for (uint32_t i = 0; i < 2; ++i) {
    records.set(i, dbgi.here());
    dbgi.u32(2);
    dbgi.u32(i);
    dbgi.u32(i + 1);
  }
  Blob& scpt = writer.add_chunk(make_tag("SCPT"));
  PointerList sources = scpt.pointer_list(1);
  sources.set(0, scpt.here());
  scpt.string("var a = 1;");
  writer.add_chunk(make_tag("INST")).u32(0);
  return writer;
}

// A data file through LoadExactCopy, or a debug side file through its own load.
bool load_exact(const std::vector<uint8_t>& bytes, bool side_file) {
  return side_file ? DebugFile_LoadImage(bytes) : LoadExactCopy(bytes);
}

class Mutator {
 public:
  explicit Mutator(uint32_t seed) : random_(seed) {}

  uint32_t below(uint32_t bound) { return bound == 0 ? 0 : static_cast<uint32_t>(random_() % bound); }

  std::vector<uint8_t> mutate(const std::vector<uint8_t>& valid) {
    std::vector<uint8_t> bytes = valid;
    const auto size = static_cast<uint32_t>(bytes.size());
    switch (below(5)) {
      case 0:  // random bytes
        for (uint32_t n = 1 + below(8); n > 0; --n) bytes[8 + below(size - 8)] = static_cast<uint8_t>(random_());
        break;
      case 1: {  // huge or edge values where counts and offsets live
        const uint32_t values[] = {0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, size, size - 1, size + 1, size - 4, 0x40000000u};
        for (uint32_t n = 1 + below(3); n > 0; --n) store_u32(bytes.data() + 8 + 4 * below((size - 8) / 4), values[below(8)]);
        break;
      }
      case 2: {  // offsets that point somewhere else in the file
        for (uint32_t n = 1 + below(4); n > 0; --n) store_u32(bytes.data() + 8 + 4 * below((size - 8) / 4), below(size + 8));
        break;
      }
      case 3: {  // a chunk size past the end of the file
        std::vector<uint32_t> headers;
        for (uint32_t at = 8; at + 8 <= size; at += 8 + load_u32(bytes.data() + at + 4)) headers.push_back(at);
        const uint32_t at = headers[below(static_cast<uint32_t>(headers.size()))];
        store_u32(bytes.data() + at + 4, size - at - 8 + 1 + below(64));
        break;
      }
      default: {  // truncation, with the FORM size made to match so the walk meets the cut
        bytes.resize(8 + below(size - 8));
        store_u32(bytes.data() + 4, static_cast<uint32_t>(bytes.size()) - 8);
        break;
      }
    }
    return bytes;
  }

 private:
  std::mt19937 random_;
};

class Corruption : public LoaderTest {
 protected:
  void SetUp() override {
    LoaderTest::SetUp();
    Function_Add("first_builtin", no_op_builtin, 0, 0);
    Function_Add("show_message", no_op_builtin, 1, 0);
    GameData_SetFatalHandler(ignore_fatal);
    ASSERT_TRUE(Chunk_SetReader(make_tag("SPRT"), sprite_reader));
  }
};

class AssetCorruption : public AssetLoaderTest {};

}  // namespace

TEST_F(Corruption, ValidFixturesLoad) {
  for (int version : {10, 14, 15, 17}) {
    std::vector<uint8_t> image = BuildImage(CodeChainsGame(version));
    g_sprite_names = 0;
    LoaderConsole console;
    EXPECT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size()))) << console.text();
    EXPECT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size()))) << console.text();
    EXPECT_EQ(console.text().find("Error loading"), std::string::npos) << console.text();
    EXPECT_EQ(g_sprite_names, 18u);
    EXPECT_EQ(GameData_Features().size(), 2u);
    GameData_Reset();
  }
  EXPECT_TRUE(DebugFile_LoadImage(debug_side_file().build()));
}

TEST_F(Corruption, EveryTruncationIsSafe) {
  ConsoleCapture quiet;
  for (int version : {14, 15}) {
    const std::vector<uint8_t> valid = BuildImage(CodeChainsGame(version));
    for (uint32_t length = 0; length < valid.size(); ++length) {
      std::vector<uint8_t> cut(valid.begin(), valid.begin() + length);
      load_exact(cut, false);  // the FORM size no longer matches
      if (length >= 8) {
        store_u32(cut.data() + 4, length - 8);
        load_exact(cut, false);  // it matches: the walk meets the cut
      }
      quiet.clear();
    }
  }
  const std::vector<uint8_t> side = debug_side_file().build();
  for (uint32_t length = 0; length < side.size(); ++length) {
    load_exact(std::vector<uint8_t>(side.begin(), side.begin() + length), true);
  }
  SUCCEED();
}

TEST_F(Corruption, ThousandsOfMutationsAreSafe) {
  ConsoleCapture quiet;
  Mutator mutator(20240611u);
  const std::vector<uint8_t> fixtures[] = {BuildImage(CodeChainsGame(14)), BuildImage(CodeChainsGame(15)),
                                           BuildImage(CodeChainsGame(10))};
  const std::vector<uint8_t> side = debug_side_file().build();
  constexpr int kRounds = 5000;
  int refused = 0;
  int side_refused = 0;
  for (int round = 0; round < kRounds; ++round) {
    for (const std::vector<uint8_t>& valid : fixtures) refused += load_exact(mutator.mutate(valid), false) ? 0 : 1;
    side_refused += load_exact(mutator.mutate(side), true) ? 0 : 1;
    quiet.clear();
  }
  // The checks must actually fire: many damaged files are refused, and many damaged bytes lie
  // where nothing reads them.
  EXPECT_GT(refused, kRounds / 2);
  EXPECT_LT(refused, 3 * kRounds);
  EXPECT_GT(side_refused, kRounds / 10);
}

TEST_F(AssetCorruption, TheFixtureLoadsCleanly) {
  LoaderConsole console;
  ASSERT_TRUE(load(EveryChunkGame())) << console.text();
  EXPECT_EQ(console.text().find("Error loading"), std::string::npos) << console.text();
  EXPECT_EQ(console.text().find("what!!!!"), std::string::npos);
  EXPECT_EQ(Sprite_Table().count(), 2);
  EXPECT_EQ(Texture_Count(), 2);
  Assets_ClearTables();
}

TEST_F(AssetCorruption, MutatedFilesFailCleanly) {
  const std::vector<uint8_t> valid = BuildImage(EveryChunkGame());
  Mutator mutator(20240611u);
  ConsoleCapture quiet;
  int failures = 0;
  for (int round = 0; round < 3000; ++round) {
    quiet.clear();
    if (!LoadExactCopy(mutator.mutate(valid))) {
      ++failures;
      // A reader's failure names its chunk; the container's lines name theirs.
      const std::string& text = quiet.text();
      const bool named = text.find("Error loading game data: ") != std::string::npos ||
                         text.find("unknown Chunk") != std::string::npos || text.find("Error on load") != std::string::npos;
      EXPECT_TRUE(named) << "round " << round;
    }
  }
  EXPECT_GT(failures, 100);
}

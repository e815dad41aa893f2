// Damaged data files holding every asset chunk: a valid fixture mutated thousands of times with a
// fixed seed, loaded from a heap block of exactly its size. The readers must return, never crash
// and never read outside the block (the sanitizer build turns a stray read into a failure), and a
// failure must name its chunk.
#include <random>
#include <string>
#include <vector>

#include "data/game_data.h"
#include "graphics/asset_sprites.h"
#include "graphics/texture_table.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"
#include "support/fixture_games.h"

using namespace datawin;

namespace {

class AssetCorruption : public AssetLoaderTest {};

}  // namespace

TEST_F(AssetCorruption, TheFixtureLoadsCleanly) {
  std::vector<uint8_t> image = BuildImage(EveryChunkGame());
  LoaderConsole console;
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  ASSERT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size()))) << console.text();
  EXPECT_EQ(console.text().find("Error loading"), std::string::npos) << console.text();
  EXPECT_EQ(console.text().find("what!!!!"), std::string::npos);
  EXPECT_EQ(Sprite_Table().count(), 2);
  EXPECT_EQ(Texture_Count(), 2);
  Assets_ClearTables();
}

TEST_F(AssetCorruption, MutatedFilesFailCleanly) {
  const std::vector<uint8_t> valid = BuildImage(EveryChunkGame());
  const auto size = static_cast<uint32_t>(valid.size());
  std::mt19937 random(20240611u);
  const auto below = [&random](uint32_t bound) { return bound == 0 ? 0 : static_cast<uint32_t>(random() % bound); };
  ConsoleCapture quiet;
  int failures = 0;
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> bytes = valid;
    const uint32_t values[] = {0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, size, size - 1, size - 4, 0x40000000u, 0xFFFF};
    for (uint32_t n = 1 + below(4); n > 0; --n) {
      const uint32_t at = 8 + 4 * below((size - 8) / 4);
      switch (below(3)) {
        case 0:
          bytes[at + below(4)] = static_cast<uint8_t>(random());
          break;
        case 1:
          store_u32(bytes.data() + at, values[below(8)]);
          break;
        default:
          store_u32(bytes.data() + at, below(size + 8));
          break;
      }
    }
    quiet.clear();
    if (!LoadExactCopy(bytes)) {
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

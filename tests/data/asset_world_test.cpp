// Paths and timelines through the chunk load.
#include <string>
#include <vector>

#include "data/game_data.h"
#include "datawin/writer/chunk_world.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"
#include "world/asset_paths.h"
#include "world/asset_timelines.h"

using namespace datawin;

namespace {

class AssetWorld : public AssetLoaderTest {};

}  // namespace

TEST_F(AssetWorld, PathsKeepTheirPoints) {
  Writer writer = MakeMinimalGame();
  add_path(writer, {PathRecord{"pth_lane", 1, true, 8, {{0, 0, 100}, {64, 32, 50}}}, std::nullopt,
                    PathRecord{"pth_straight", 0, false, 4, {}}});
  ASSERT_TRUE(load(writer));
  const CPath* lane = Path_Get(0);
  ASSERT_NE(lane, nullptr);
  EXPECT_STREQ(Path_Table().name(0), "pth_lane");
  EXPECT_EQ(lane->kind, 1);
  EXPECT_TRUE(lane->closed);
  EXPECT_EQ(lane->precision, 8);
  ASSERT_EQ(lane->count(), 2);
  EXPECT_FLOAT_EQ(lane->points[1].x, 64.0f);
  EXPECT_FLOAT_EQ(lane->points[1].y, 32.0f);
  EXPECT_FLOAT_EQ(lane->points[1].speed, 50.0f);
  EXPECT_FALSE(lane->internal.empty());
  EXPECT_EQ(Path_Get(1), nullptr);
  EXPECT_EQ(Path_Get(2)->kind, 0);
  EXPECT_EQ(Path_Get(2)->count(), 0);

  // A point count past the end of the file fails the chunk.
  const uint32_t record = WordAt(image_, FindPayload(image_, "PATH") + 4);
  store_u32(image_.data() + record + 16, 0x10000000u);
  LoaderConsole console;
  EXPECT_FALSE(LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())));
  EXPECT_NE(console.text().find("PATH: point list passes the end of the file"), std::string::npos);
}

TEST_F(AssetWorld, TimelineMomentsWithTheirCodeIndices) {
  Writer writer = MakeMinimalGame();
  add_tmln(writer, {std::nullopt, TimelineRecord{"tl_wave", {{0, 12}, {60, -1}, {120, 1400}}}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(TimeLine_Get(0), nullptr);
  const TimelineAsset* wave = TimeLine_Get(1);
  ASSERT_NE(wave, nullptr);
  EXPECT_STREQ(TimeLine_Table().name(1), "tl_wave");
  ASSERT_EQ(wave->moments.size(), 3u);
  EXPECT_EQ(wave->moments[0].code_index, 12);
  EXPECT_EQ(wave->moments[1].time, 60);
  EXPECT_EQ(wave->moments[1].code_index, -1);
  EXPECT_NE(wave->moments[1].event, nullptr);
  EXPECT_EQ(wave->moments[2].code_index, 1400);
}

// The kova-datawin command, run as the build runs it: a manifest in, a data file or one error line
// out. The program sits in the build directory, one level above this test program.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/console.h"
#include "data/game_data.h"
#include "datawin/format/gen8_layout.h"
#include "support/fixture.h"

namespace {

std::string builder_path() {
  char self[PATH_MAX] = {};
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return "";
  std::string dir(self, static_cast<size_t>(length));
  dir = dir.substr(0, dir.find_last_of('/'));
  return dir.substr(0, dir.find_last_of('/')) + "/kova-datawin";
}

// The repository root, from this file's own path.
std::string source_dir() {
  const std::string self = __FILE__;
  return self.substr(0, self.rfind("/tests/datawin/"));
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct RunResult {
  int status;
  std::string errors;
};

RunResult run_builder(const TempDir& dir, const std::string& manifest) {
  std::ofstream(dir.file("manifest.txt"), std::ios::binary) << manifest;
  const std::string command =
      "'" + builder_path() + "' '" + dir.path() + "' '" + dir.file("out.win") + "' 2> '" + dir.file("errors.txt") + "'";
  const int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, read_file(dir.file("errors.txt"))};
}

class Builder : public ::testing::Test {
 protected:
  void SetUp() override {
    if (access(builder_path().c_str(), X_OK) != 0) {
      GTEST_FAIL() << "build the kova-datawin target first: " << builder_path();
    }
  }
};

}  // namespace

TEST_F(Builder, GameManifestLoadsAsTheGameItDescribes) {
  TempDir dir;
  const RunResult result = run_builder(dir, read_file(source_dir() + "/assets/manifest.txt"));
  ASSERT_EQ(result.status, 0) << result.errors;
  const std::string file = read_file(dir.file("out.win"));
  ASSERT_GE(file.size(), 24u);
  std::vector<uint8_t> image(file.begin(), file.end());
  ResetLoaderState();
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  ASSERT_TRUE(LoadGameData(image.data(), static_cast<uint32_t>(image.size())));
  const GameHeader& header = GameData_Header();
  EXPECT_STREQ(header.file_name, "kova");
  EXPECT_STREQ(header.display_name, "Kova Keep");
  EXPECT_STREQ(header.project_name, "kova_keep");
  EXPECT_EQ(header.window_width, 640);
  EXPECT_EQ(header.window_height, 360);
  EXPECT_EQ(header.version, 17);
  EXPECT_EQ(header.generation, 2u);
  EXPECT_EQ(header.info_flags, datawin::gen8::kInfoShowCursor | datawin::gen8::kInfoResizable);
  EXPECT_TRUE(header.room_order.empty());
  EXPECT_EQ(GameSpeed, 60.0f);
  ResetLoaderState();
  Console_Reset();
}

TEST_F(Builder, BadManifestLinesNameTheLineAndExit1) {
  struct Case {
    const char* manifest;
    const char* message;
  };
  const Case cases[] = {
      {"name = a\nwindow_width 640\n", "manifest.txt:2: expected `key = value`"},
      {"name = a\n# fine\ncolour = red\n", "manifest.txt:3: unknown key \"colour\""},
      {"name = a\nwindow_height = tall\n", "manifest.txt:2: \"window_height\" must be a whole number"},
      {"name = a\nversion = 300\n", "manifest.txt:2: \"version\" must be a whole number from 1 to 255"},
      {"name = a\nname = b\n", "manifest.txt:2: key \"name\" given twice"},
      {"name = a\n\nflags = show_cursor, sparkle\n", "manifest.txt:3: unknown flag \"sparkle\""},
      {"name = a\nroom_order = 1, x\n", "manifest.txt:2: bad room number \"x\""},
      {"name = a\nspeed = -1\n", "manifest.txt:2: \"speed\" must be a number"},
      {"display_name = a\n", "manifest.txt: \"name\" is required"},
  };
  for (const Case& c : cases) {
    TempDir dir;
    const RunResult result = run_builder(dir, c.manifest);
    EXPECT_EQ(result.status, 1) << c.manifest;
    EXPECT_NE(result.errors.find(c.message), std::string::npos) << "got: " << result.errors;
    EXPECT_EQ(access(dir.file("out.win").c_str(), F_OK), -1) << "no file is written on error";
  }
}

TEST_F(Builder, MissingManifestOrBadArgumentsExit1) {
  TempDir dir;
  const std::string builder = builder_path();
  EXPECT_EQ(WEXITSTATUS(std::system(("'" + builder + "' '" + dir.path() + "' x.win 2>/dev/null").c_str())), 1);
  EXPECT_EQ(WEXITSTATUS(std::system(("'" + builder + "' 2>/dev/null").c_str())), 1);
}

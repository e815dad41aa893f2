#pragma once
// The fixture of the file tests: a game started as the runner starts one, from a data file written
// into a temporary bundle folder, with the user's data folder (XDG_DATA_HOME) pointed at a
// temporary folder, so the save area is <temp>/data/Fixture Game/. The current directory is the
// temporary root, so relative names reach the bundle and the save area as in a game started from
// a shell. Builtins are called by name through the function table.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/value_test_support.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_options.h"
#include "run/asset_readers.h"
#include "run/run_game.h"
#include "storage/file_paths.h"
#include "support/fixture.h"

namespace file_test {

using value_test::Val;

namespace fs = std::filesystem;

class FilesTest : public value_test::ValueBuiltinsTest {
 protected:
  // The data file's OPTN flags; the default leaves the sandbox on.
  uint32_t optn_flags = datawin::optn::kDefaultFlags;

  void SetUp() override {
    value_test::ValueBuiltinsTest::SetUp();
    const char* xdg = std::getenv("XDG_DATA_HOME");
    had_xdg_ = xdg != nullptr;
    if (had_xdg_) old_xdg_ = xdg;
    old_cwd_ = fs::current_path();
    root_ = fs::canonical(temp_.path());
    fs::create_directories(root_ / "game");
    fs::create_directories(root_ / "data");
    ::setenv("XDG_DATA_HOME", (root_ / "data").c_str(), 1);
    fs::current_path(root_);
  }

  // Starts the game; tests that change optn_flags call it themselves after the change.
  void Start() {
    datawin::Writer writer = MakeMinimalGame();
    datawin::OptnRecord options;
    options.flags = optn_flags;
    datawin::add_optn(writer, options);
    const std::string game = (root_ / "game" / "data.win").string();
    WriteFixtureTo(writer, game);
    ResetLoaderState();
    ASSERT_TRUE(InitGame());
    image_ = BuildImage(writer);
    ASSERT_TRUE(HeaderScan(image_.data(), static_cast<uint32_t>(image_.size())));
    Assets_InstallReaders();
    ASSERT_TRUE(LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())));
    Run_SetFileRoots(game, "");
    started_ = true;
  }

  void TearDown() override {
    if (started_) ShutDownGame();
    fs::current_path(old_cwd_);
    if (had_xdg_) {
      ::setenv("XDG_DATA_HOME", old_xdg_.c_str(), 1);
    } else {
      ::unsetenv("XDG_DATA_HOME");
    }
    value_test::ValueBuiltinsTest::TearDown();
  }

  fs::path bundle() const { return root_ / "game"; }
  fs::path save() const { return root_ / "data" / "Fixture Game"; }
  const fs::path& root() const { return root_; }

  static void Put(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    WriteTextFile(path, bytes);
  }
  static std::string Get(const fs::path& path) { return ReadTextFile(path); }

  double Real(const char* name, std::vector<Val> args = {}) { return RV_ToDouble(*Call(name, args)); }
  std::string Text(const char* name, std::vector<Val> args = {}) { return Call(name, args).text(); }
  static Val S(const std::string& text) { return Val::Str(text.c_str()); }
  static Val R(double value) { return Val::Real(value); }

 private:
  TempDir temp_;
  fs::path root_;
  fs::path old_cwd_;
  std::string old_xdg_;
  bool had_xdg_ = false;
  bool started_ = false;
  std::vector<uint8_t> image_;
};

}  // namespace file_test

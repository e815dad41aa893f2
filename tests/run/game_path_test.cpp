#include "run/game_path.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

std::set<std::string> g_readable;

bool fake_readable(const std::string& path) { return g_readable.count(path) != 0; }

// Relative paths land under /cwd; "." segments are folded so the call is visibly applied.
std::string fake_full_path(const std::string& path) {
  std::string full = !path.empty() && path[0] == '/' ? path : "/cwd/" + path;
  for (size_t at; (at = full.find("/./")) != std::string::npos;) full.erase(at, 2);
  return full;
}

struct ChooseCase {
  const char* name;
  std::set<std::string> readable;
  const char* default_game;
  const char* line;
  const char* expected;
};

TEST(GamePath, ChoosesDefaultThenCommandLineThenFullPath) {
  const ChooseCase cases[] = {
      {"default beside the executable", {"/opt/game/data.win"}, "/opt/game/data.win", "runner", "/opt/game/data.win"},
      {"-game replaces the default", {"/opt/game/data.win"}, "/opt/game/data.win", "runner -game /x/y.win",
       "/x/y.win"},
      {"-game without a default", {}, "/opt/game/data.win", "runner -game y.win", "/cwd/y.win"},
      {"relative -game made absolute", {}, "/opt/game/data.win", "runner -game ./sub/y.win", "/cwd/sub/y.win"},
      {"no default and no -game", {}, "/opt/game/data.win", "runner", ""},
      {"no executable path", {""}, "", "runner", ""},
      {"-game not checked for readability", {}, "/opt/game/data.win", "-game /missing.win", "/missing.win"},
  };
  for (const ChooseCase& c : cases) {
    g_readable = c.readable;
    RunOptions options;
    const std::string chosen = GamePath_Choose(c.default_game, c.line, &options, fake_readable, fake_full_path);
    EXPECT_EQ(chosen, c.expected) << c.name;
    EXPECT_EQ(options.game_path, c.expected) << c.name;
  }
}

TEST(GamePath, DefaultFromAnEarlierRoundIsNotKept) {
  RunOptions options;
  g_readable = {"/opt/game/data.win"};
  GamePath_Choose("/opt/game/data.win", "runner", &options, fake_readable, fake_full_path);
  g_readable.clear();
  EXPECT_EQ(GamePath_Choose("/opt/game/data.win", "runner", &options, fake_readable, fake_full_path), "");
}

TEST(GamePath, DebugSwitchSeesTheDefaultAsKnown) {
  RunOptions options;
  g_readable = {"/opt/game/data.win"};
  GamePath_Choose("/opt/game/data.win", "runner -debug", &options, fake_readable, fake_full_path);
  EXPECT_FALSE(options.debug_mode);
  g_readable.clear();
  GamePath_Choose("/opt/game/data.win", "runner -debug", &options, fake_readable, fake_full_path);
  EXPECT_TRUE(options.debug_mode);
}

TEST(GamePath, DefaultSitsBesideTheExecutable) {
  EXPECT_EQ(GamePath_Default("/opt/game/runner"), "/opt/game/data.win");
  EXPECT_EQ(GamePath_Default("runner"), "data.win");
  EXPECT_EQ(GamePath_Default(""), "");
}

TEST(GamePath, SideFilesAndWorkingDirectory) {
  const struct {
    const char* game;
    const char* working;
    const char* ini;
    const char* debug;
  } cases[] = {
      {"/opt/game/data.win", "/opt/game/", "/opt/game/options.ini", "/opt/game/data.kvdebug"},
      {"/g/my.game.win", "/g/", "/g/options.ini", "/g/my.game.kvdebug"},
      {"/g/noext", "/g/", "/g/options.ini", "/g/noext.kvdebug"},
      {"/g.d/noext", "/g.d/", "/g.d/options.ini", "/g.d/noext.kvdebug"},
      {"/g/.hidden", "/g/", "/g/options.ini", "/g/.hidden.kvdebug"},
      {"data.win", "", "options.ini", "data.kvdebug"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GamePath_WorkingDirectory(c.game), c.working) << c.game;
    EXPECT_EQ(GamePath_OptionsIni(c.game), c.ini) << c.game;
    EXPECT_EQ(GamePath_DebugSideFile(c.game), c.debug) << c.game;
  }
}

}  // namespace

#include "run/run_options_ini.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "core/console.h"
#include "core/timing.h"
#include "storage/ini_file.h"
#include "support/fixture.h"

namespace {

namespace fs = std::filesystem;

// Keeps the process-wide sleep margin as the test found it.
class SleepMarginScope {
 public:
  SleepMarginScope() : saved_(SleepMargin) {}
  ~SleepMarginScope() { SleepMargin = saved_; }

 private:
  int32_t saved_;
};

OptionsIniSettings apply_text(const std::string& text, const RunOptions& options = RunOptions{}) {
  IniFile ini;
  ini.LoadFromData(text.data(), text.size());
  return OptionsIni_Apply(ini, options);
}

TEST(OptionsIniSwitch, Words) {
  const struct {
    const char* text;
    int value;
  } cases[] = {{"True", 1}, {"False", 0}, {"1", 1}, {"0", 0}, {"-3", 1}, {"0.0", 0}, {"0.5", 1},
               {"true", -1}, {"TRUE", -1}, {"False ", -1}, {"", -1}, {"yes", -1}, {"1x", -1}, {".", -1}};
  for (const auto& c : cases) EXPECT_EQ(OptionsIni_ParseSwitch(c.text), c.value) << '"' << c.text << '"';
  EXPECT_EQ(OptionsIni_ParseSwitch(nullptr), -1);
}

struct ApplyCase {
  const char* name;
  std::string text;
  std::function<void(RunOptions*)> command_line;
  std::function<bool(const OptionsIniSettings&)> holds;
};

TEST(OptionsIniApply, Table) {
  const ApplyCase cases[] = {
      {"empty file sets nothing", "", nullptr,
       [](const OptionsIniSettings& s) {
         return !s.vertex_buffer_method && !s.alternate_sync && !s.sleep_margin && !s.debug && !s.trace &&
                !s.orient_landscape && !s.pre_graphics_init_file;
       }},
      {"vertex buffer method 2", "[Windows]\nVertexBufferMethod=2\n", nullptr,
       [](const OptionsIniSettings& s) { return s.vertex_buffer_method == 2; }},
      {"vertex buffer method 0 from text", "[Windows]\nVertexBufferMethod=fast\n", nullptr,
       [](const OptionsIniSettings& s) { return s.vertex_buffer_method == 0; }},
      {"vertex buffer method 3 changes nothing", "[Windows]\nVertexBufferMethod=3\n", nullptr,
       [](const OptionsIniSettings& s) { return !s.vertex_buffer_method; }},
      {"vertex buffer method -1 changes nothing", "[Windows]\nVertexBufferMethod=-1\n", nullptr,
       [](const OptionsIniSettings& s) { return !s.vertex_buffer_method; }},
      {"vertex buffer method skipped after -novb", "[Windows]\nVertexBufferMethod=0\n",
       [](RunOptions* o) { Options_Parse("-novb", o); },
       [](const OptionsIniSettings& s) { return !s.vertex_buffer_method; }},
      {"alternate sync on", "[Windows]\nAlternateSyncMethod=True\n", nullptr,
       [](const OptionsIniSettings& s) { return s.alternate_sync == true; }},
      {"alternate sync skipped after -manualvsync", "[Windows]\nAlternateSyncMethod=1\n",
       [](RunOptions* o) { Options_Parse("-manualvsync", o); },
       [](const OptionsIniSettings& s) { return !s.alternate_sync; }},
      {"sleep margin", "[Windows]\nSleepMargin=4\n", nullptr,
       [](const OptionsIniSettings& s) { return s.sleep_margin == 4; }},
      {"sleep margin not below 0", "[Windows]\nSleepMargin=-7\n", nullptr,
       [](const OptionsIniSettings& s) { return s.sleep_margin == 0; }},
      {"sleep margin skipped after -sleepmargin", "[Windows]\nSleepMargin=4\n",
       [](RunOptions* o) { Options_Parse("-sleepmargin 2", o); },
       [](const OptionsIniSettings& s) { return !s.sleep_margin; }},
      {"Windows keys only in [Windows]", "[DEFAULT]\nSleepMargin=4\nVertexBufferMethod=1\n", nullptr,
       [](const OptionsIniSettings& s) { return !s.sleep_margin && !s.vertex_buffer_method; }},
      {"orientations",
       "[DEFAULT]\nOrientLandscape=True\nOrientLandscapeFlipped=False\nOrientPortrait=1\nOrientPortraitFlipped=0\n",
       nullptr,
       [](const OptionsIniSettings& s) {
         return s.orient_landscape == true && s.orient_landscape_flipped == false && s.orient_portrait == true &&
                s.orient_portrait_flipped == false;
       }},
      {"lower-case words are no switch", "[DEFAULT]\nOrientLandscape=true\nDebug=false\n", nullptr,
       [](const OptionsIniSettings& s) { return !s.orient_landscape && !s.debug; }},
      {"debug and trace", "[DEFAULT]\nDebug=\"True\"\nTrace=2\n", nullptr,
       [](const OptionsIniSettings& s) { return s.debug == true && s.trace == true; }},
      {"section names are case-sensitive", "[default]\nDebug=True\n[windows]\nSleepMargin=1\n", nullptr,
       [](const OptionsIniSettings& s) { return !s.debug && !s.sleep_margin; }},
      {"pre-graphics extension in any section", "[Mine]\nPreGraphicsInitFile=ext.so\nPreGraphicsInitArg=go\n",
       nullptr,
       [](const OptionsIniSettings& s) {
         return s.pre_graphics_init_file == std::string("ext.so") && s.pre_graphics_init_arg == std::string("go");
       }},
  };
  SleepMarginScope keep;
  ConsoleCapture capture;
  for (const ApplyCase& c : cases) {
    RunOptions options;
    if (c.command_line) c.command_line(&options);
    EXPECT_TRUE(c.holds(apply_text(c.text, options))) << c.name;
  }
}

TEST(OptionsIniApply, SleepMarginReachesTheGlobalUnlessFixed) {
  SleepMarginScope keep;
  SleepMargin = 10;
  apply_text("[Windows]\nSleepMargin=3\n");
  EXPECT_EQ(SleepMargin, 3);

  RunOptions fixed;
  Options_Parse("-sleepmargin 7", &fixed);
  SleepMargin = 7;
  apply_text("[Windows]\nSleepMargin=1\n", fixed);
  EXPECT_EQ(SleepMargin, 7);

  apply_text("[Windows]\nVertexBufferMethod=1\n");
  EXPECT_EQ(SleepMargin, 7) << "no key, no change";
}

TEST(OptionsIniApply, ConsoleLinesForExtensionsAndBadWords) {
  ConsoleCapture capture;
  apply_text("[DEFAULT]\nOrientPortrait=maybe\n[X]\nPreGraphicsInitFile=lib.so\n");
  EXPECT_NE(capture.text().find("PreGraphicsInitFile lib.so: extension libraries can't be loaded"), std::string::npos);
  EXPECT_NE(capture.text().find("[DEFAULT] OrientPortrait = \"maybe\""), std::string::npos);
}

// Shows the silent debug console's text for one test.
class DebugConsoleScope {
 public:
  DebugConsoleScope() { g_DebugConsole = g_ReleaseConsole; }
  ~DebugConsoleScope() { Console_Reset(); }
};

TEST(OptionsIniLoad, ExistingFileIsAnnouncedReadAndKept) {
  SleepMarginScope keep;
  TempDir dir;
  const std::string path = (dir / "options.ini").string();
  std::ofstream(path) << "[Windows]\r\nSleepMargin=2\r\n[DEFAULT]\r\nDebug=True\r\n";

  DebugConsoleScope debug;
  ConsoleCapture capture;
  OptionsIniSettings settings;
  EXPECT_TRUE(Options_ApplyIni(path, RunOptions{}, &settings));
  EXPECT_TRUE(settings.exists);
  EXPECT_EQ(settings.sleep_margin, 2);
  EXPECT_EQ(settings.debug, true);
  EXPECT_EQ(SleepMargin, 2);
  ASSERT_NE(Options_Ini(), nullptr);
  EXPECT_STREQ(Options_Ini()->GetValue("DEFAULT", "Debug"), "True");
  EXPECT_EQ(capture.text(),
            "Checking if INIFile exists at " + path + "\nINIFile " + path + " Exists, loading....\n");
  Options_ReleaseIni();
  EXPECT_EQ(Options_Ini(), nullptr);
}

TEST(OptionsIniLoad, MissingFileIsOnlyChecked) {
  TempDir dir;
  const std::string path = (dir / "options.ini").string();
  std::ofstream(dir / "found.ini") << "[DEFAULT]\nTrace=1\n";
  OptionsIniSettings settings;
  ASSERT_TRUE(Options_ApplyIni((dir / "found.ini").string(), RunOptions{}, &settings));

  DebugConsoleScope debug;
  ConsoleCapture capture;
  EXPECT_FALSE(Options_ApplyIni(path, RunOptions{}, &settings));
  EXPECT_FALSE(settings.exists);
  EXPECT_FALSE(settings.trace) << "settings of the earlier file are gone";
  EXPECT_EQ(Options_Ini(), nullptr);
  EXPECT_EQ(capture.text(), "Checking if INIFile exists at " + path + "\n");
}

}  // namespace

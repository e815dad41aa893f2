#include "run/options.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/function_table.h"
#include "core/rvalue.h"

namespace {

std::vector<std::string> tokens_of(const char* line) {
  RunOptions options;
  Options_Parse(line, &options);
  std::vector<std::string> tokens;
  for (int i = 0; i < parameter_count(); ++i) tokens.push_back(parameter_string(i));
  return tokens;
}

struct TokenCase {
  const char* name;
  std::string line;
  std::vector<std::string> tokens;
};

TEST(OptionsTokens, SplitsLikeTheRunner) {
  const TokenCase cases[] = {
      {"empty", "", {}},
      {"only blanks", " \t\r\n  ", {}},
      {"many blanks", "   a     b\t\tc  ", {"a", "b", "c"}},
      {"quote toggles and is dropped", "a\"b c\"d", {"ab cd"}},
      {"empty quotes make an empty token", "x \"\" y", {"x", "", "y"}},
      {"quoted blank run", "\"  \"", {"  "}},
      {"unterminated quote runs to the end", "a \"b c", {"a", "b c"}},
      {"quotes open twice in one token", "\"a b\"c\"d e\"", {"a bcd e"}},
      {"high bytes outside quotes are blanks", "a\xC3\xA9z", {"a", "z"}},
      {"high bytes inside quotes stay", "\"a\xC3\xA9z\"", {"a\xC3\xA9z"}},
      {"control bytes are blanks", "a\x01" "b\x1f" "c", {"a", "b", "c"}},
      {"program path comes first", "/opt/game/runner -game x.win", {"/opt/game/runner", "-game", "x.win"}},
  };
  for (const TokenCase& c : cases) {
    EXPECT_EQ(tokens_of(c.line.c_str()), c.tokens) << c.name;
  }
}

TEST(OptionsTokens, NullLineParsesAsEmpty) {
  RunOptions options;
  Options_Parse(nullptr, &options);
  EXPECT_EQ(parameter_count(), 0);
}

TEST(OptionsTokens, OverLongTokenIsCutAndTheNextStaysWhole) {
  const std::string line = std::string(5000, 'x') + " next \"" + std::string(4200, 'q') + "\" -game g";
  RunOptions options;
  Options_Parse(line.c_str(), &options);
  ASSERT_EQ(parameter_count(), 5);
  EXPECT_EQ(parameter_string(0), std::string(kTokenBufferSize - 1, 'x'));
  EXPECT_EQ(parameter_string(1), "next");
  EXPECT_EQ(parameter_string(2), std::string(kTokenBufferSize - 1, 'q'));
  EXPECT_EQ(options.game_path, "g");
}

TEST(OptionsTokens, TableHoldsAHundredAndRestartsEachParse) {
  std::string line;
  for (int i = 0; i < 150; ++i) line += "t" + std::to_string(i) + " ";
  line += "-game late.win";
  RunOptions options;
  Options_Parse(line.c_str(), &options);
  EXPECT_EQ(parameter_count(), kParameterTableSize);
  EXPECT_EQ(parameter_string(99), "t99");
  EXPECT_EQ(parameter_string(100), "");
  EXPECT_EQ(parameter_string(-1), "");
  EXPECT_EQ(options.game_path, "late.win") << "tokens past the table are still parsed";

  Options_Parse("one two", &options);
  EXPECT_EQ(parameter_count(), 2);
  EXPECT_EQ(parameter_string(2), "");
}

struct SwitchCase {
  const char* line;
  std::function<bool(const RunOptions&)> holds;
};

TEST(OptionsSwitches, EachSwitchHasItsEffect) {
  const SwitchCase cases[] = {
      {"-game /g/x.win", [](const RunOptions& o) { return o.game_path == "/g/x.win"; }},
      {"-exit next.win", [](const RunOptions& o) { return o.exit_set && o.exit_path == "next.win"; }},
      {"-debug", [](const RunOptions& o) { return o.debug_mode && o.audio_debug == 2; }},
      {"-trace", [](const RunOptions& o) { return o.trace; }},
      {"-vmtrace", [](const RunOptions& o) { return o.vm_trace; }},
      {"-ext", [](const RunOptions& o) { return o.ext_trace; }},
      {"-noerrors", [](const RunOptions& o) { return o.no_errors; }},
      {"-oldexec", [](const RunOptions& o) { return !o.new_execution_path; }},
      {"-noaudio", [](const RunOptions& o) { return o.no_audio; }},
      {"-inawindow", [](const RunOptions& o) { return o.in_a_window; }},
      {"-minidump", [](const RunOptions& o) { return o.crash_dump == kCrashDumpSmall; }},
      {"-fullminidump", [](const RunOptions& o) { return o.crash_dump == kCrashDumpFull; }},
      {"-minidumpdir /tmp/d", [](const RunOptions& o) { return o.minidump_dir == "/tmp/d"; }},
      {"-outputdebugstring", [](const RunOptions& o) { return o.output_debug_string; }},
      {"-audiodebug", [](const RunOptions& o) { return o.audio_debug == 16; }},
      {"-debug -audiodebug", [](const RunOptions& o) { return o.audio_debug == 18; }},
      {"-audiodebug -debug", [](const RunOptions& o) { return o.audio_debug == 2; }},
      {"-networkdebug", [](const RunOptions& o) { return o.network_debug; }},
      {"-steam", [](const RunOptions& o) { return o.steam; }},
      {"-record in.rec", [](const RunOptions& o) { return o.record && o.record_path == "in.rec" && !o.playback; }},
      {"-playback in.rec", [](const RunOptions& o) { return o.playback && o.playback_path == "in.rec"; }},
      {"-output out.txt", [](const RunOptions& o) { return o.output_path == "out.txt"; }},
      {"-debugoutput dbg.txt", [](const RunOptions& o) { return o.debug_output_path == "dbg.txt"; }},
      {"-headless", [](const RunOptions& o) { return o.headless && o.crash_dump == kCrashDumpSmall; }},
      {"-fullminidump -headless", [](const RunOptions& o) { return o.crash_dump == kCrashDumpFull; }},
      {"-profiledump prof.json 5",
       [](const RunOptions& o) { return o.profile_dump && o.profile_dump_path == "prof.json" && o.profile_dump_seconds == 5; }},
      {"-profiledump prof.json soon", [](const RunOptions& o) { return !o.profile_dump; }},
      {"-sleepmargin 3", [](const RunOptions& o) { return o.sleep_margin_fixed && o.sleep_margin == 3; }},
      {"-sleepmargin -4", [](const RunOptions& o) { return o.sleep_margin_fixed && o.sleep_margin == 0; }},
      {"-sleepmargin lots", [](const RunOptions& o) { return !o.sleep_margin_fixed && o.sleep_margin == 10; }},
      {"-multivb", [](const RunOptions& o) { return o.vertex_buffer_method_fixed && o.vertex_buffer_method == 1; }},
      {"-novb", [](const RunOptions& o) { return o.vertex_buffer_method_fixed && o.vertex_buffer_method == 2; }},
      {"-manualvsync", [](const RunOptions& o) { return o.manual_vsync; }},
      {"-nodirectinput", [](const RunOptions& o) { return o.no_direct_input; }},
      {"-dir somewhere", [](const RunOptions& o) { return o.dir == "somewhere"; }},
      {"-kvdebugpath dbg", [](const RunOptions& o) { return o.kvdebug_path == "dbg"; }},
      {"-GAME x.win", [](const RunOptions& o) { return o.game_path.empty(); }},
  };
  ConsoleCapture capture;  // bad numbers warn on the release console
  for (const SwitchCase& c : cases) {
    RunOptions options;
    Options_Parse(c.line, &options);
    EXPECT_TRUE(c.holds(options)) << c.line;
  }
  EXPECT_NE(capture.text().find("-sleepmargin expects a number, got \"lots\""), std::string::npos);
}

TEST(OptionsSwitches, SwitchesWithoutEffectChangeNothing) {
  RunOptions plain;
  Options_Parse("", &plain);
  RunOptions options;
  Options_Parse("-software -intel -vanillaGFX -compresstextures -runTest", &options);
  EXPECT_EQ(parameter_count(), 5);
  EXPECT_EQ(options.game_path, plain.game_path);
  EXPECT_EQ(options.debug_mode, plain.debug_mode);
  EXPECT_EQ(options.no_audio, plain.no_audio);
  EXPECT_EQ(options.headless, plain.headless);
  EXPECT_EQ(options.crash_dump, plain.crash_dump);
}

TEST(OptionsSwitches, ResetRulesOnEveryParse) {
  RunOptions options;
  Options_Parse("-debug -audiodebug -ext -noaudio -inawindow -record r.rec -oldexec -noerrors -headless -output o.txt",
                &options);
  ASSERT_TRUE(options.debug_mode && options.ext_trace && options.no_audio && options.in_a_window && options.record);
  Options_Parse("", &options);
  EXPECT_FALSE(options.debug_mode);
  EXPECT_EQ(options.audio_debug, 0);
  EXPECT_FALSE(options.ext_trace);
  EXPECT_FALSE(options.no_audio);
  EXPECT_FALSE(options.in_a_window);
  EXPECT_FALSE(options.record);
  EXPECT_TRUE(options.new_execution_path);
  // Not in the reset list: kept.
  EXPECT_TRUE(options.no_errors);
  EXPECT_TRUE(options.headless);
  EXPECT_EQ(options.output_path, "o.txt");
}

TEST(OptionsSwitches, DebugOnlyBeforeAGamePathIsKnown) {
  const struct {
    const char* known;
    const char* line;
    bool debug;
  } cases[] = {
      {"", "-debug -game g.win", true},
      {"", "-game g.win -debug", false},
      {"/opt/data.win", "-debug", false},
      {"", "-debug", true},
  };
  for (const auto& c : cases) {
    RunOptions options;
    options.game_path = c.known;
    Options_Parse(c.line, &options);
    EXPECT_EQ(options.debug_mode, c.debug) << c.line;
    EXPECT_EQ(options.audio_debug, c.debug ? 2 : 0) << c.line;
  }
}

TEST(OptionsSwitches, PlaybackWinsOverRecordInEitherOrder) {
  for (const char* line : {"-record a.rec -playback b.rec", "-playback b.rec -record a.rec"}) {
    RunOptions options;
    Options_Parse(line, &options);
    EXPECT_TRUE(options.playback) << line;
    EXPECT_FALSE(options.record) << line;
    EXPECT_EQ(options.playback_path, "b.rec") << line;
  }
}

TEST(OptionsSwitches, MissingValueAtTheEndIsIgnored) {
  const struct {
    const char* line;
    int tokens;
  } cases[] = {{"-game", 1}, {"-record", 1}, {"-profiledump prof.json", 2}, {"-exit", 1}, {"-sleepmargin", 1}};
  for (const auto& c : cases) {
    RunOptions options;
    options.game_path = "kept.win";
    Options_Parse(c.line, &options);
    EXPECT_EQ(options.game_path, "kept.win") << c.line;
    EXPECT_FALSE(options.record || options.profile_dump || options.exit_set || options.sleep_margin_fixed) << c.line;
    EXPECT_EQ(parameter_count(), c.tokens) << c.line;
  }
}

TEST(OptionsSwitches, ValueTokenIsTakenEvenWhenItLooksLikeASwitch) {
  RunOptions options;
  Options_Parse("-game -noaudio", &options);
  EXPECT_EQ(options.game_path, "-noaudio");
  EXPECT_FALSE(options.no_audio);
}

TEST(OptionsSwitches, UnknownTokensStayVisible) {
  RunOptions options;
  Options_Parse("runner --fancy -noaudio level=3", &options);
  ASSERT_EQ(parameter_count(), 4);
  EXPECT_EQ(parameter_string(0), "runner");
  EXPECT_EQ(parameter_string(1), "--fancy");
  EXPECT_EQ(parameter_string(3), "level=3");
  EXPECT_TRUE(options.no_audio);
}

TEST(OptionsBuiltins, CountAndStringThroughRValues) {
  RunOptions options;
  Options_Parse("runner -game \"my game.win\"", &options);
  RValue result = RV_Undefined();
  F_ParameterCount(&result, nullptr, nullptr, 0, nullptr);
  EXPECT_EQ(RV_Kind(result), kRVReal);
  EXPECT_EQ(result.val, 3.0);

  const struct {
    double index;
    const char* text;
  } cases[] = {{0, "runner"}, {2, "my game.win"}, {3, ""}, {-1, ""}};
  for (const auto& c : cases) {
    RValue arg = RV_Real(c.index);
    F_ParameterString(&result, nullptr, nullptr, 1, &arg);
    ASSERT_EQ(RV_Kind(result), kRVString);
    EXPECT_STREQ(RV_StringText(result), c.text) << c.index;
  }
  F_ParameterString(&result, nullptr, nullptr, 0, nullptr);
  EXPECT_STREQ(RV_StringText(result), "");
  RV_FreeToUndefined(&result);
}

TEST(OptionsBuiltins, RegisteredUnderTheirNames) {
  Options_RegisterBuiltins();
  int32_t id = -1;
  ASSERT_TRUE(Function_Find("parameter_count", &id));
  EXPECT_EQ(Function_Row(id)->handler, &F_ParameterCount);
  EXPECT_EQ(Function_Row(id)->argc, 0);
  ASSERT_TRUE(Function_Find("parameter_string", &id));
  EXPECT_EQ(Function_Row(id)->handler, &F_ParameterString);
  EXPECT_EQ(Function_Row(id)->argc, 1);
}

TEST(OptionsJoinArgs, RoundTripsThroughTheTokeniser) {
  const std::vector<std::vector<std::string>> cases = {
      {"/usr/bin/runner"},
      {"runner", "-game", "/home/me/My Games/data.win"},
      {"runner", "", "after-empty"},
      {"runner", "tab\there", "new\nline", "caf\xC3\xA9"},
      {"runner", "-output", "a b", "-record", "x"},
  };
  for (const auto& args : cases) {
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    const std::string line = Options_JoinArgs(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(tokens_of(line.c_str()), args) << line;
  }
}

TEST(OptionsJoinArgs, QuotesInsideAnArgumentAreDroppedWithoutHurtingOthers) {
  std::vector<std::string> args = {"runner", "say\"hi", "\"\"", "-noaudio"};
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  const std::string line = Options_JoinArgs(static_cast<int>(argv.size()), argv.data());
  EXPECT_EQ(tokens_of(line.c_str()), (std::vector<std::string>{"runner", "sayhi", "", "-noaudio"}));
}

TEST(OptionsExit, RestartLineNamesTheExitGame) {
  RunOptions options;
  options.game_path = "/first/data.win";
  Options_Parse(Options_ExitCommandLine("/games/second one/data.win").c_str(), &options);
  EXPECT_EQ(options.game_path, "/games/second one/data.win");
  EXPECT_EQ(parameter_string(0), "-game");

  const std::string line = Options_ExitCommandLine(std::string(5000, 'p'));
  EXPECT_EQ(line.size(), static_cast<size_t>(kTokenBufferSize - 1));
  Options_Parse(line.c_str(), &options);
  EXPECT_EQ(options.game_path, std::string(kTokenBufferSize - 1 - 7, 'p'));
}

}  // namespace

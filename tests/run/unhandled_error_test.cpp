// The unhandled-error path: the framed text, the handler's exit status, ShowError's latch and the
// error state, the dialog text; and the runner with a raising global initialiser, run as a process.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/error_report.h"
#include "core/fn_script.h"
#include "core/frame_state.h"
#include "core/frames.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "datawin/writer/chunk_code_lists.h"
#include "platform/process.h"
#include "support/fixture.h"

namespace {

int g_status = -1;
void record_exit(int status) { g_status = status; }

class UnhandledErrorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    Function_Clear();
    Error_RegisterBuiltins();
    ErrorReport_SetExit(record_exit);
    ErrorReport_Reset();
    g_status = -1;
  }
  void TearDown() override {
    ErrorReport_SetExit(nullptr);
    ErrorReport_Reset();
    New_Room = kNewRoomNone;
    Run_ExitCode = 0;
    g_ErrorsMuted = false;
    Platform_TakeQuitSignal();
    Function_Clear();
    GC_Reset();
    Variable_ResetNames();
  }
};

KVTSLException raise_in_script() {
  TSLFrameScope frame("tsl_Script_boom");
  frame.set_line(5);
  try {
    KVError("bad thing %d", 9);
  } catch (const KVTSLException& e) {
    return e;
  }
  return KVTSLException(RV_Undefined());
}

TEST_F(UnhandledErrorTest, FramedTextShowsOnceAndExitsWithOne) {
  const KVTSLException e = raise_in_script();
  const std::string hashes(92, '#');
  const std::string expected = hashes + "\nERROR in\naction number 1\nof <Unknown Event>\nfor object :\n\n\nbad thing 9" +
                               "at tsl_Script_boom\n" + hashes + "\ntsl_Script_boom (line 5)\n";
  EXPECT_EQ(Exception_Text(e), expected);
  ConsoleCapture capture;
  Exception_Unhandled(e);
  EXPECT_EQ(g_status, 1);
  EXPECT_EQ(Run_ExitCode, 1);
  EXPECT_EQ(New_Room, kNewRoomAbort);
  EXPECT_EQ(capture.text(), "ERROR!!! :: " + expected + "\n");
  EXPECT_EQ(Error_Last(), expected);
  EXPECT_TRUE(Error_Occurred());
  capture.clear();
  ShowError("second", true);
  EXPECT_EQ(capture.text(), "") << "nothing is shown after the first abort";
}

TEST_F(UnhandledErrorTest, OtherThrownValuesPrintTheirText) {
  RValue text = RV_Undefined();
  RV_SetString(&text, "plain");
  const KVTSLException e(text);
  RV_FreeToUndefined(&text);
  EXPECT_EQ(Exception_Text(e), "plain\n");
}

TEST_F(UnhandledErrorTest, HandlerDecidesTheExitStatus) {
  int32_t index = -1;
  ASSERT_TRUE(Function_Find("@@finish_finally@@", &index));  // any builtin: its result is undefined -> 0
  Error_SetUnhandledHandler(RV_Real(index), nullptr);
  ConsoleCapture capture;
  Exception_Unhandled(raise_in_script());
  EXPECT_EQ(g_status, 0);
  EXPECT_TRUE(g_ErrorsMuted);
  EXPECT_EQ(capture.text(), "") << "the handler replaces the report";
  Error_SetUnhandledHandler(RV_Undefined(), nullptr);
}

TEST_F(UnhandledErrorTest, ErrorsThatMayBeIgnoredLetTheGameGoOn) {
  ConsoleCapture capture;
  ErrorReport("recoverable", false, true);
  EXPECT_EQ(g_status, -1);
  EXPECT_EQ(New_Room, kNewRoomNone);
  EXPECT_NE(capture.text().find("ERROR!!! :: "), std::string::npos);
  EXPECT_NE(Error_Last().find("recoverable"), std::string::npos);
}

TEST_F(UnhandledErrorTest, DialogTextIsReflowed) {
  const std::string rule = "\r\n" + std::string(43, '_') + "\r\n";
  struct Case {
    const char* text;
    std::string expected;
  };
  const Case cases[] = {
      {"a\nb", rule + "a\r\nb"},          {"a\r\nb", rule + "a\r\nb"}, {"a\n\rb", rule + "a\r\nb"},
      {"a\n\nb", rule + "a\r\n\r\nb"},    {"a\rb", rule + "a\r\nb"},   {"\tx", rule + "       x"},
  };
  for (const Case& c : cases) EXPECT_EQ(ErrorReport_DialogText(c.text), c.expected) << c.text;
}

// Runs the raising runner on a game whose GLOB list is glob; returns the status, fills output.
int run_raising_runner(const std::vector<int32_t>& glob, std::string* output) {
  TempDir dir;
  datawin::Writer writer = MakeMinimalGame();
  datawin::add_glob(writer, glob);
  const std::string game = dir.file("game.win");
  WriteFixtureTo(writer, game);
  const std::string out_path = dir.file("stdout.txt");
  const pid_t pid = fork();
  if (pid == 0) {
    if (std::freopen(out_path.c_str(), "w", stdout) == nullptr) _exit(127);
    std::string runner = std::string(KOVA_BINARY_DIR) + "/kova-raising-runner";
    std::string game_flag = "-game", noerrors = "-noerrors", headless = "-headless";
    char* argv[] = {runner.data(), game_flag.data(), const_cast<char*>(game.c_str()), noerrors.data(), headless.data(),
                    nullptr};
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    execv(runner.c_str(), argv);
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  *output = ReadTextFile(out_path);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(RaisingRunner, UnhandledErrorPrintsTheFramedTextAndExitsWithOne) {
  std::string output;
  EXPECT_EQ(run_raising_runner({0}, &output), 1) << output;
  const std::string hashes(92, '#');
  // The heading names the event context, which the world layer fills in; the rest is fixed.
  EXPECT_EQ(output.find("ERROR!!! :: " + hashes + "\nERROR in\naction number 1\n"), 0u) << output;
  const std::string expected = "Variable hp not set before reading it.at tsl_Script_leaf\n" + hashes +
                               "\ntsl_Script_leaf (line 3)\ntsl_GlobalScript_boot (line 1)\n\n";
  EXPECT_NE(output.find(expected), std::string::npos) << output;
}

TEST(RaisingRunner, UnhandledHandlerSetsTheExitStatus) {
  std::string output;
  EXPECT_EQ(run_raising_runner({2}, &output), 7) << output;
  EXPECT_NE(output.find("handled: Variable hp not set before reading it.\n"), std::string::npos) << output;
  EXPECT_EQ(output.find("ERROR!!!"), std::string::npos) << output;
}

}  // namespace

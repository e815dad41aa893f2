// Runs the real kova-runner on data files made by the writer and checks what a user sees: the
// start-up trace in order, the exit status of each way to end, and the messages for bad files.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/fixture.h"

namespace {

struct ProcessResult {
  int status = -1;
  std::string output;
};

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs the runner with args; after interrupt_after_ms (when >= 0) sends SIGINT. Output is stdout.
ProcessResult run_runner(const std::vector<std::string>& args, int interrupt_after_ms, const TempDir& dir) {
  const std::string out_path = dir.file("stdout.txt");
  const pid_t pid = fork();
  if (pid == 0) {
    if (std::freopen(out_path.c_str(), "w", stdout) == nullptr) _exit(127);
    std::vector<char*> argv;
    std::string runner = std::string(KOVA_BINARY_DIR) + "/kova-runner";
    argv.push_back(runner.data());
    std::vector<std::string> copies = args;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);
    if (chdir(dir.path().c_str()) != 0) _exit(127);
    // Without a display the window layer's probe leaves allocations inside the system's display
    // libraries, which a sanitizer build would report as the runner's own; our code's leaks are
    // covered by the in-process tests.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    execv(runner.c_str(), argv.data());
    _exit(127);
  }
  ProcessResult result;
  if (interrupt_after_ms >= 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(interrupt_after_ms));
    kill(pid, SIGINT);
  }
  // A runner that ignores the interrupt would hang the suite; give it ten seconds.
  for (int i = 0; i < 1000; ++i) {
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid) {
      result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      result.output = read_file(out_path);
      return result;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  ADD_FAILURE() << "runner did not end";
  return result;
}

void expect_in_order(const std::string& text, const std::vector<std::string>& lines) {
  size_t at = 0;
  for (const std::string& line : lines) {
    const size_t found = text.find(line, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << line << "\nin:\n" << text;
    at = found + line.size();
  }
}

TEST(RunnerProcess, RunsFramesUntilInterruptedAndTracesStartUpInOrder) {
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  const std::string log = dir.file("trace.txt");
  const ProcessResult result = run_runner({"-game", game, "-debugoutput", log}, 500, dir);
  EXPECT_EQ(result.status, 0) << result.output;
  expect_in_order(result.output, {
                                     "Setting scheduler resolution to 1\n",
                                     "Create Error Form\n",
                                     "*     Kova Games Runner v",
                                     "Get Resolution\n",
                                     "Get Header Information\n",
                                     "InitTSLFunctions\n",
                                     "Fini\n",
                                     "Create Window\n",
                                     "Init Graphics\n",
                                     "IO Init\n",
                                     "Process Messages\n",
                                     "Splash!\n",
                                     "Start Frame\n",
                                     "Do The Work\n",
                                     "initialise everything!",
                                     "Process Chunk: GEN8",
                                     "Run_Start\n",
                                     "Entering main loop.\n",
                                     "Unsetting previous scheduler resolution of 1\n",
                                 });
  // The trace also went to the -debugoutput file.
  EXPECT_NE(read_file(log).find("Entering main loop.\n"), std::string::npos);
}

TEST(RunnerProcess, MissingDataFileEndsWithStatusOne) {
  TempDir dir;
  const ProcessResult result = run_runner({"-game", dir.file("missing.win")}, -1, dir);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("Unable to find game!!: " + dir.file("missing.win")), std::string::npos)
      << result.output;
}

TEST(RunnerProcess, FilesThatAreNotGameDataEndWithStatusOne) {
  TempDir dir;
  struct Case {
    const char* name;
    std::string bytes;
    const char* message;
  };
  std::string wrong_size = "FORM";
  wrong_size += std::string("\x40\x00\x00\x00", 4);
  wrong_size += "GEN8";
  wrong_size += std::string(4, '\0');
  const Case cases[] = {
      {"text.win", "this is not a data file", "is not a game data file"},
      {"empty.win", "", "is not a game data file"},
      {"size.win", wrong_size, "Error attempting to load wad file with unexpected size 16 szFORM 64"},
  };
  for (const Case& c : cases) {
    const std::string path = dir.file(c.name);
    std::ofstream(path, std::ios::binary) << c.bytes;
    const ProcessResult result = run_runner({"-game", path, "-noerrors"}, -1, dir);
    EXPECT_EQ(result.status, 1) << c.name << ": " << result.output;
    EXPECT_NE(result.output.find(c.message), std::string::npos) << c.name << ": " << result.output;
  }
}

TEST(RunnerProcess, HeadlessStartsAndShutsDownWithoutAMainLoop) {
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  const ProcessResult result = run_runner({"-game", game, "-headless"}, -1, dir);
  EXPECT_EQ(result.status, 0) << result.output;
}

TEST(RunnerProcess, ExitChainsIntoTheNextGameWithFreshTables) {
  TempDir dir;
  const std::string first = dir.file("first.win");
  const std::string second = dir.file("second.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), first);
  WriteFixtureTo(MakeMinimalGame(17, 1, 60.0f), second);  // a generation-1 header is shorter
  const ProcessResult result =
      run_runner({"-game", first, "-headless", "-exit", second, "-debugoutput", dir.file("trace.txt")}, -1, dir);
  EXPECT_EQ(result.status, 0) << result.output;
  const std::string& text = result.output;
  const size_t first_round = text.find("Process Chunk: GEN8   180");
  const size_t second_round = text.find("Process Chunk: GEN8   136", first_round);
  ASSERT_NE(first_round, std::string::npos) << text;
  ASSERT_NE(second_round, std::string::npos) << text;
  // Each round registers the builtins anew.
  EXPECT_NE(text.find("InitTSLFunctions\n", text.find("InitTSLFunctions\n") + 1), std::string::npos);
}

TEST(RunnerProcess, AtNamedFilesInTheWorkingDirectoryAreMovedAtStart) {
  TempDir dir;
  std::ofstream(dir.file("x@y.dat")) << "moved";
  const ProcessResult result = run_runner({"-game", dir.file("none.win")}, -1, dir);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(read_file(dir.file("x/y.dat")), "moved");
}

}  // namespace

// Runs the real kova-runner on data files made by the writer and checks what a user sees: the
// start-up trace in order, the exit status of each way to end (the display going away included),
// and the messages for bad files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "datawin/writer/chunk_code_lists.h"
#include "support/fixture.h"

namespace {

struct ProcessResult {
  int status = -1;
  std::string output;
};

// What else a run needs: variables for the runner's environment ("NAME=value"), and something to
// do while it runs (after the interrupt, if any), given its pid and the path of its output.
struct RunnerExtras {
  std::vector<std::string> env;
  std::function<void(pid_t runner, const std::string& output_path)> while_running;
};

// When the test sends SIGINT: never; at once, while the child is still being made (the signal is
// blocked across the exec, so it waits in the runner until the runner takes quit signals); or as
// soon as the runner's output shows a line.
struct Interrupt {
  enum Kind { kNever, kAtSpawn, kAfterLine } kind = kNever;
  std::string line;
};

// Runs the runner with args in dir and returns its exit status and what it printed on stdout.
ProcessResult run_runner(const std::vector<std::string>& args, const Interrupt& interrupt, const TempDir& dir,
                         const RunnerExtras& extras = {}) {
  const std::string out_path = dir.file("stdout.txt");
  std::filesystem::remove(out_path);  // a line from an earlier run must not trigger the interrupt
  sigset_t interrupt_only, previous;
  sigemptyset(&interrupt_only);
  sigaddset(&interrupt_only, SIGINT);
  if (interrupt.kind == Interrupt::kAtSpawn) pthread_sigmask(SIG_BLOCK, &interrupt_only, &previous);
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
    for (const std::string& variable : extras.env) {
      const size_t equals = variable.find('=');
      setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
    }
    execv(runner.c_str(), argv.data());
    _exit(127);
  }
  if (interrupt.kind == Interrupt::kAtSpawn) {
    kill(pid, SIGINT);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  }
  if (extras.while_running) extras.while_running(pid, out_path);
  bool interrupted = interrupt.kind != Interrupt::kAfterLine;
  ProcessResult result;
  // A runner that ignores the interrupt would hang the suite; give it thirty seconds.
  for (int i = 0; i < 3000; ++i) {
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid) {
      result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      result.output = ReadTextFile(out_path);
      return result;
    }
    if (!interrupted && ReadTextFile(out_path).find(interrupt.line) != std::string::npos) {
      kill(pid, SIGINT);
      interrupted = true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  ADD_FAILURE() << "runner did not end";
  result.output = ReadTextFile(out_path);
  return result;
}

ProcessResult run_runner(const std::vector<std::string>& args, const TempDir& dir) {
  return run_runner(args, Interrupt{}, dir);
}

// An X server of the test's own on a free display number, killed at will the way a crashing or
// closed server goes away.
class PrivateXServer {
 public:
  PrivateXServer() {
    int fds[2];
    if (pipe(fds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(fds[0]);
      const int quiet = open("/dev/null", O_WRONLY);
      dup2(quiet, STDOUT_FILENO);
      dup2(quiet, STDERR_FILENO);
      const std::string fd = std::to_string(fds[1]);
      execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "640x480x24", "-nolisten", "tcp",
             static_cast<char*>(nullptr));
      _exit(127);
    }
    close(fds[1]);
    // The server writes its display number, then a newline, once it accepts clients. The pipe
    // stays open until the newline is in: a server whose second write fails ends itself.
    std::string number;
    pollfd ready{fds[0], POLLIN, 0};
    char c = 0;
    while (pid_ > 0 && poll(&ready, 1, 10000) == 1 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    if (c == '\n' && !number.empty()) display_ = ":" + number;
    close(fds[0]);
  }
  ~PrivateXServer() { Kill(); }
  PrivateXServer(const PrivateXServer&) = delete;
  PrivateXServer& operator=(const PrivateXServer&) = delete;

  const std::string& display() const { return display_; }  // empty when it didn't start
  void Kill() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  std::string display_;
};

// Waits up to ten seconds for text in a file that is being written.
bool wait_for_text(const std::string& path, const std::string& text) {
  for (int i = 0; i < 1000; ++i) {
    if (ReadTextFile(path).find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
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
  const ProcessResult result =
      run_runner({"-game", game, "-debugoutput", log}, Interrupt{Interrupt::kAfterLine, "Entering main loop.\n"}, dir);
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
  EXPECT_NE(ReadTextFile(log).find("Entering main loop.\n"), std::string::npos);
}

TEST(RunnerProcess, TheDisplayGoingAwayEndsTheGameWithALineAndStatusOne) {
  if (std::system("command -v Xvfb > /dev/null 2>&1") != 0) GTEST_SKIP() << "Xvfb is not installed";
  PrivateXServer server;
  ASSERT_FALSE(server.display().empty()) << "the private X server didn't start";
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  RunnerExtras extras;
  extras.env = {"DISPLAY=" + server.display(), "LIBGL_ALWAYS_SOFTWARE=1"};
  extras.while_running = [&server](pid_t, const std::string& output) {
    ASSERT_TRUE(wait_for_text(output, "Entering main loop.\n")) << ReadTextFile(output);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // frames are shown
    server.Kill();
  };
  const ProcessResult result =
      run_runner({"-game", game, "-debugoutput", dir.file("trace.txt")}, Interrupt{}, dir, extras);
  EXPECT_EQ(result.status, 1) << result.output;
  EXPECT_NE(result.output.find("Lost the connection to the display - the game ends\n"), std::string::npos)
      << result.output;
}

// A script error with the window and its GL device open: the report, then the process ends with
// the error's status (1, or what the unhandled-error handler gives) and nothing on the way out
// touches GL without its context. The raising runner is the real runner with a failing global
// initialiser; -noerrors keeps the dialog away.
TEST(RunnerProcess, AScriptErrorWithTheWindowOpenExitsWithItsStatusAndNoAbort) {
  if (std::system("command -v Xvfb > /dev/null 2>&1") != 0) GTEST_SKIP() << "Xvfb is not installed";
  PrivateXServer server;
  ASSERT_FALSE(server.display().empty()) << "the private X server didn't start";
  struct Case {
    int32_t boot_row;
    int status;
    const char* report;
  };
  const Case cases[] = {{0, 1, "ERROR!!! :: "}, {2, 7, "handled: Variable hp not set before reading it.\n"}};
  for (const Case& c : cases) {
    SCOPED_TRACE("boot row " + std::to_string(c.boot_row));
    TempDir dir;
    datawin::Writer writer = MakeMinimalGame();
    datawin::add_glob(writer, {c.boot_row});
    WriteFixtureTo(writer, dir.file("game.win"));
    const std::string out = dir.file("out.txt");
    const int status = RunCommand("cd " + dir.path() + " && DISPLAY=" + server.display() +
                                  " LIBGL_ALWAYS_SOFTWARE=1 ASAN_OPTIONS=detect_leaks=0 " + KOVA_BINARY_DIR +
                                  "/kova-raising-runner -game game.win -noerrors -noaudio > " + out + " 2>&1");
    const std::string output = ReadTextFile(out);
    EXPECT_EQ(status, c.status) << output;
    EXPECT_NE(output.find(c.report), std::string::npos) << output;
    EXPECT_EQ(output.find("No display available"), std::string::npos) << "the window must be open: " << output;
    EXPECT_EQ(output.find("Couldn't find current"), std::string::npos) << output;
  }
}

TEST(RunnerProcess, ADisplayThatCannotBeReachedIsNoDisplayAndSaysSo) {
  if (std::system("command -v Xvfb > /dev/null 2>&1") != 0) GTEST_SKIP() << "Xvfb is not installed";
  std::string display;
  {
    PrivateXServer gone;  // a display number that names no server once this one has ended
    display = gone.display();
  }
  ASSERT_FALSE(display.empty()) << "the private X server didn't start";
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  RunnerExtras extras;
  extras.env = {"DISPLAY=" + display, "LIBGL_ALWAYS_SOFTWARE=1"};
  const ProcessResult result = run_runner({"-game", game, "-debugoutput", dir.file("trace.txt")},
                                          Interrupt{Interrupt::kAfterLine, "Entering main loop.\n"}, dir, extras);
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_NE(result.output.find("No display available - running without a window\n"), std::string::npos)
      << result.output;
}

// Ctrl-C ends the run with status 0 and a full shutdown whenever it comes: before the runner
// takes quit signals at all, during each stretch of start-up, or in the main loop.
TEST(RunnerProcess, AnInterruptAtAnyMomentEndsTheRunCleanly) {
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  const Interrupt moments[] = {
      {Interrupt::kAtSpawn, ""},
      {Interrupt::kAfterLine, "Create Error Form\n"},
      {Interrupt::kAfterLine, "Create Window\n"},
      {Interrupt::kAfterLine, "Splash!\n"},
      {Interrupt::kAfterLine, "Do The Work\n"},
      {Interrupt::kAfterLine, "Run_Start\n"},
      {Interrupt::kAfterLine, "Entering main loop.\n"},
  };
  for (const Interrupt& moment : moments) {
    const ProcessResult result = run_runner({"-game", game, "-debugoutput", dir.file("trace.txt")}, moment, dir);
    const std::string when = moment.kind == Interrupt::kAtSpawn ? "at spawn" : "after " + moment.line;
    EXPECT_EQ(result.status, 0) << when << ":\n" << result.output;
    EXPECT_NE(result.output.find("Unsetting previous scheduler resolution of 1\n"), std::string::npos)
        << when << ":\n" << result.output;
  }
}

// A missing file, or one that is no game data, ends the run with status 1 and says why. A data
// file of several GiB is refused from its length with its true size, without being read (a sparse
// file stands in for a huge one).
TEST(RunnerProcess, MissingOrBadDataFilesEndWithStatusOne) {
  TempDir dir;
  struct Case {
    const char* name;
    bool exists;
    std::string bytes;
    uint64_t length;  // the bytes, then zeros up to this length
    std::string message;
  };
  const std::string text = "this is not a data file";
  const Case cases[] = {
      {"missing.win", false, "", 0, "Unable to find game!!: " + dir.file("missing.win")},
      {"text.win", true, text, text.size(), "is not a game data file"},
      {"empty.win", true, "", 0, "is not a game data file"},
      {"size.win", true, std::string("FORM\x40\0\0\0GEN8", 12), 16,
       "Error attempting to load wad file with unexpected size 16 szFORM 64"},
      {"huge.win", true, std::string("FORM\x38\0\0\0", 8), 5ull << 30,
       "Error attempting to load wad file with unexpected size 5368709120 szFORM 56"},
  };
  for (const Case& c : cases) {
    const std::string path = dir.file(c.name);
    if (c.exists) {
      std::ofstream(path, std::ios::binary) << c.bytes;
      std::filesystem::resize_file(path, c.length);
    }
    const ProcessResult result = run_runner({"-game", path, "-noerrors"}, dir);
    EXPECT_EQ(result.status, 1) << c.name << ": " << result.output;
    EXPECT_NE(result.output.find(c.message), std::string::npos) << c.name << ": " << result.output;
  }
}

// An -output file that can't be written is said once on the console, after the text it missed.
TEST(RunnerProcess, AnOutputFileThatCannotBeWrittenIsReported) {
  TempDir dir;
  const std::string output = dir.file("missing/out.txt");
  const ProcessResult result = run_runner({"-game", dir.file("none.win"), "-output", output}, dir);
  EXPECT_EQ(result.status, 1) << result.output;
  const std::string line = "Unable to append console output to " + output + "\n";
  const size_t at = result.output.find(line);
  ASSERT_NE(at, std::string::npos) << result.output;
  EXPECT_LT(result.output.find("Unable to find game!!"), at) << result.output;
  EXPECT_EQ(result.output.find(line, at + 1), std::string::npos) << "said more than once:\n" << result.output;
}

TEST(RunnerProcess, HeadlessStartsAndShutsDownWithoutAMainLoop) {
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  const ProcessResult result = run_runner({"-game", game, "-headless"}, dir);
  EXPECT_EQ(result.status, 0) << result.output;
}

TEST(RunnerProcess, ExitChainsIntoTheNextGameWithFreshTables) {
  TempDir dir;
  const std::string first = dir.file("first.win");
  const std::string second = dir.file("second.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), first);
  WriteFixtureTo(MakeMinimalGame(17, 1, 60.0f), second);  // a generation-1 header is shorter
  const ProcessResult result =
      run_runner({"-game", first, "-headless", "-exit", second, "-debugoutput", dir.file("trace.txt")}, dir);
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
  const ProcessResult result = run_runner({"-game", dir.file("none.win")}, dir);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(ReadTextFile(dir.file("x/y.dat")), "moved");
}

}  // namespace

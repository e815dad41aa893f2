// The CPU one frame of the real runner costs on a near-empty room at 60 frames per second, on the
// display the bench runs under (xvfb-run with Mesa's software renderer). The runner starts on a
// data file the writer makes (one empty room at speed 60), is left to settle, and its CPU time,
// all threads together as /proc/<pid>/stat counts it, is read over a window of whole seconds; the
// frames of the window are counted from the room speed. Without a display the bench is skipped.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "datawin/writer/chunk_rooms.h"
#include "support/fixture.h"

namespace {

constexpr int kRoomSpeed = 60;

std::filesystem::path runner_path() {
  // Bench programs live in <build>/bench/, the runner in <build>/.
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "kova-runner";
}

void write_empty_room_game(const std::string& path) {
  datawin::Writer writer = MakeMinimalGame(17, 2, static_cast<float>(kRoomSpeed));
  datawin::RoomRecord room;
  room.name = "rm_empty";
  room.speed = kRoomSpeed;
  room.layers = {datawin::RoomLayerRecord{}};
  datawin::add_room(writer, {room});
  WriteFixtureTo(writer, path);
}

// utime + stime of every thread of the process, in seconds.
double process_cpu_seconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const size_t close = text.rfind(')');
  if (close == std::string::npos) return -1.0;
  std::istringstream fields(text.substr(close + 2));
  std::string field;
  unsigned long long utime = 0, stime = 0;
  // Fields after the name start at 3 (state); utime is 14 and stime 15.
  for (int index = 3; index <= 15 && fields >> field; ++index) {
    if (index == 14) utime = std::stoull(field);
    if (index == 15) stime = std::stoull(field);
  }
  return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void BM_RunnerNearEmptyRoom(benchmark::State& state) {
  if (std::getenv("DISPLAY") == nullptr) {
    state.SkipWithError("needs a display (run under xvfb-run)");
    return;
  }
  const std::filesystem::path runner = runner_path();
  const TempDir dir;
  const std::string game = dir.file("game.win");
  write_empty_room_game(game);
  const auto settle = std::chrono::milliseconds(2000);
  const auto window = std::chrono::seconds(state.range(0));
  for (auto _ : state) {
    const pid_t pid = fork();
    if (pid == 0) {
      if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(127);
      execl(runner.c_str(), runner.c_str(), "-game", game.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    std::this_thread::sleep_for(settle);
    const auto start = std::chrono::steady_clock::now();
    const double cpu_before = process_cpu_seconds(pid);
    std::this_thread::sleep_for(window);
    const double cpu_after = process_cpu_seconds(pid);
    const bool ended_early = waitpid(pid, nullptr, WNOHANG) == pid;
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!ended_early) {
      kill(pid, SIGTERM);
      waitpid(pid, nullptr, 0);
    }
    if (ended_early || cpu_before < 0 || cpu_after < 0) {
      state.SkipWithError("the runner ended early");
      break;
    }
    const double frames = wall * kRoomSpeed;
    const double ms_per_frame = (cpu_after - cpu_before) * 1000.0 / frames;
    state.SetIterationTime(ms_per_frame / 1000.0);
    state.counters["cpu_ms_per_frame"] = ms_per_frame;
    state.counters["cpu_share"] = (cpu_after - cpu_before) / wall;
  }
}
BENCHMARK(BM_RunnerNearEmptyRoom)->Arg(5)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

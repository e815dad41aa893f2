// One frame of the game at its heaviest: build/data.win started with the program's compiled code
// as the runner starts it (on the fake window host and the recording null device, so the time is the
// CPU's outside the present), the game room entered at level 10, a tower on every lane and six
// enemies walking each lane. Between timed frames the lanes are topped up (new enemies come in at
// the right edge, a fallen tower is rebuilt, a lost run is taken back), so every timed frame has
// every lane busy. The bench main starts the memory manager; this bench sets the scheduler
// resolution. Target: under 1 ms of CPU a frame.
#include <benchmark/benchmark.h>

#include <fstream>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/frame_state.h"
#include "core/script_api.h"
#include "core/timing.h"
#include "core/with.h"
#include "graphics/window.h"
#include "input/io.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/draw_game.h"
#include "world/room.h"

namespace {

constexpr int32_t kObjController = 1;
constexpr int32_t kObjEnemy = 4;
constexpr int32_t kObjTower = 6;
constexpr double kRoomGame = 1;
constexpr int kEnemiesPerLane = 6;
const double kLanes[] = {80, 160, 240, 320};

RValue R(double v) { return RV_Real(v); }

std::vector<CInstance*> All(int32_t object) {
  std::vector<CInstance*> found;
  CInstance* self = nullptr;
  CInstance* other = nullptr;
  for (KVWith w(&self, &other, object); w.Next();) found.push_back(self);
  return found;
}

// instance_create_depth(x, y, 0, object).initialise(table[kind]), as the controller makes them.
void Make(int32_t object, double x, double y, const char* table, const char* kind) {
  const tsl::Value made = tsl::call("instance_create_depth", nullptr, nullptr, {R(x), R(y), R(0), R(object)});
  CInstance* instance = nullptr;
  for (CInstance* candidate : All(object)) {
    if (RV_ToInt32(*tsl::get(candidate, "id")) == RV_ToInt32(*made)) instance = candidate;
  }
  if (instance == nullptr) return;
  const tsl::Value record = tsl::get(KV_AsInstance(tsl::get(tsl::global(), table).object()), kind);
  tsl::call_method(*tsl::get(instance, "initialise"), instance, instance, {*record});
}

// Every lane with its tower and its enemies; a lost run taken back.
void TopUp() {
  tsl::set(tsl::global(), "loss", RV_Bool(false));
  New_Room = kNewRoomNone;
  for (CInstance* controller : All(kObjController)) {
    tsl::set(controller, "fade_alpha", R(0));
    tsl::set(controller, "level", R(10));
  }
  int towers[4] = {};
  int enemies[4] = {};
  for (CInstance* tower : All(kObjTower)) {
    for (int lane = 0; lane < 4; ++lane) towers[lane] += tsl::get(tower, "y").real() == kLanes[lane] ? 1 : 0;
  }
  for (CInstance* enemy : All(kObjEnemy)) {
    for (int lane = 0; lane < 4; ++lane) enemies[lane] += tsl::get(enemy, "y").real() == kLanes[lane] ? 1 : 0;
  }
  for (int lane = 0; lane < 4; ++lane) {
    if (towers[lane] == 0) Make(kObjTower, 200, kLanes[lane], "tower_data", lane % 2 == 0 ? "ballista" : "onager");
    for (int n = enemies[lane]; n < kEnemiesPerLane; ++n) {
      Make(kObjEnemy, 640 - 40 * (n - enemies[lane]), kLanes[lane], "enemy_data", n % 2 == 0 ? "brute" : "mule");
    }
  }
}

void BM_GameFrameAtLevel10(benchmark::State& state) {
  Timing_SetSchedulerResolution(1);
  FakeWindowHost host;
  NullDevice device(640, 360);
  device.set_keep_vertices(false);
  Window_UsePlatform(&host, &device);
  std::ifstream in(std::string(KOVA_BINARY_DIR) + "/data.win", std::ios::binary);
  std::vector<uint8_t> image{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  DrawGame game;
  game.window_width = 640;
  game.window_height = 360;
  if (image.empty() || !game.StartImage(std::move(image), Compiled_CodeTables())) {
    state.SkipWithError("build/data.win did not start");
    Window_UsePlatform(nullptr, nullptr);
    return;
  }
  IO_Init(IoSettings{});
  Room_Switch(static_cast<int32_t>(kRoomGame));
  New_Room = kNewRoomNone;
  for (int i = 0; i < 60; ++i) {
    TopUp();
    IO_Update();
    game.Frame();
  }
  size_t instances = 0;
  for (auto _ : state) {
    state.PauseTiming();
    TopUp();
    device.clear_record();
    state.ResumeTiming();
    IO_Update();
    game.Frame();
    state.PauseTiming();
    instances = All(kObjEnemy).size() + All(kObjTower).size();
    state.ResumeTiming();
  }
  state.counters["enemies_and_towers"] = static_cast<double>(instances);
  IO_End();
  game.Stop();
  Window_UsePlatform(nullptr, nullptr);
}

BENCHMARK(BM_GameFrameAtLevel10)->Unit(benchmark::kMicrosecond);

}  // namespace

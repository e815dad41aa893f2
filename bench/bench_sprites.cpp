// The sprite benchmark: the real frame (the step, the room draw through the application surface,
// the present with vsync off) on a room of N instances of one object, each moving and bouncing off
// the room's edges in its Step event and drawn by its Draw event with draw_sprite_ext, all from one
// texture page, on the SDL window with the OpenGL device. Positions and speeds come from a fixed
// seed, on the device the runner uses (the OpenGL device on its render thread). Reported: frames
// per second (the manual time of an iteration is one whole frame) and the main thread's CPU
// microseconds per instance per frame outside the present (step, draw events and batching, up to
// the last flush of the frame); beside them the main thread's CPU milliseconds in the present and
// those of the process's other threads per frame (the render thread, where a software renderer
// does its vertex work inside the draw calls, and the renderer's rasteriser threads), which bound
// the frame rate on a machine of few cores whatever the runtime does. The bench main starts the
// memory manager; this bench sets the scheduler resolution. Run it under xvfb-run with Mesa's
// software renderer (LIBGL_ALWAYS_SOFTWARE=1); without a display the bench is skipped.
#include <benchmark/benchmark.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <random>

#include "core/builtin_var.h"
#include "core/function_table.h"
#include "core/script_api.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "graphics/batcher.h"
#include "graphics/window.h"
#include "platform/fake/fake_display.h"
#include "platform/gl/gl_device.h"
#include "platform/process.h"
#include "platform/sdl/sdl_window_host.h"
#include "run/run_frame.h"
#include "support/draw_game.h"
#include "world/instance.h"

namespace {

constexpr int32_t kRoomWidth = 640;
constexpr int32_t kRoomHeight = 360;
constexpr int32_t kLayerId = 1;
constexpr int kWarmUpFrames = 10;

// What the compiled events read: the builtin's row and the slots of the instance variables, as
// the loader would fill a compiled unit's entries; and the sprite the room draws.
int32_t g_draw_sprite_ext = -1;
int32_t g_dx = -1;
int32_t g_dy = -1;
int32_t g_x = -1;
int32_t g_y = -1;
int32_t g_sprite = kSprBig;

RValue R(double v) { return RV_Real(v); }

// Step: x += dx, y += dy, turning back at the room's edges.
void MoverStep(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_mover_Step_0", self);
  double dx = tsl::get(self, g_dx).real();
  double dy = tsl::get(self, g_dy).real();
  double x = self->x + dx;
  double y = self->y + dy;
  if (x < 0 || x > kRoomWidth) {
    dx = -dx;
    tsl::set(self, g_dx, dx);
  }
  if (y < 0 || y > kRoomHeight) {
    dy = -dy;
    tsl::set(self, g_dy, dy);
  }
  const RValue new_x = R(x), new_y = R(y);
  Variable_SetValue(self, g_x, -1, &new_x);
  Variable_SetValue(self, g_y, -1, &new_y);
}

void MoverDraw(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_mover_Draw_0", self);
  tsl::call(g_draw_sprite_ext, self, other,
            {R(g_sprite), R(0), R(self->x), R(self->y), R(1), R(1), R(0), R(0xFFFFFF), R(1)});
}

double cpu_seconds(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct FrameCpu {
  double drawing = 0.0;  // the main thread before the present
  double present = 0.0;  // the main thread in the present
  double others = 0.0;   // the process's other threads
};

// One frame as the frame driver runs it, with where its CPU time went.
FrameCpu frame() {
  const double start = cpu_seconds(CLOCK_THREAD_CPUTIME_ID);
  const double process_start = cpu_seconds(CLOCK_PROCESS_CPUTIME_ID);
  Start_Frame();
  DoAStep();
  GR_Flush();
  const double drawn = cpu_seconds(CLOCK_THREAD_CPUTIME_ID);
  Device_EndFrame(true);
  Device_Present(0);
  const double end = cpu_seconds(CLOCK_THREAD_CPUTIME_ID);
  const double process = cpu_seconds(CLOCK_PROCESS_CPUTIME_ID) - process_start;
  return FrameCpu{drawn - start, end - drawn, process - (end - start)};
}

void BM_SpriteRoom(benchmark::State& state) {
  if (std::getenv("DISPLAY") == nullptr) {
    state.SkipWithError("needs a display (run under xvfb-run)");
    return;
  }
  const auto count = static_cast<int32_t>(state.range(0));
  g_sprite = state.range(1) == 32 ? kSprBig : kSprDot;
  Timing_SetSchedulerResolution(kSchedulerResolutionMs);
  Window_UsePlatform(nullptr, nullptr);
  Window_SetDisplayPlatform(DisplayPlatform{{SdlWindowHost_Create, GlDevice_CreateThreaded}, FakeDisplay_Backend()});
  Frame_SetMainThread();

  DrawGame game;
  game.window_width = kRoomWidth;
  game.window_height = kRoomHeight;
  datawin::ObjectRecord mover;
  mover.name = "obj_mover";
  mover.events = {datawin::ObjectEvent{3, 0, game.code("tsl_Object_obj_mover_Step_0", MoverStep)},
                  datawin::ObjectEvent{8, 0, game.code("tsl_Object_obj_mover_Draw_0", MoverDraw)}};
  game.objects = {mover};
  datawin::RoomRecord room;
  room.name = "rm_sprites";
  room.width = kRoomWidth;
  room.height = kRoomHeight;
  datawin::RoomLayerRecord layer;
  layer.name = "Instances";
  layer.id = kLayerId;
  layer.kind = datawin::layer::kKindInstances;
  room.layers = {layer};
  game.rooms = {room};
  if (!game.Start() || !Window_State().real_display) {
    state.SkipWithError("the game did not start on a real display");
    return;
  }
  if (!Function_Find("draw_sprite_ext", &g_draw_sprite_ext)) std::abort();
  g_dx = Variable_FindOrAddSlot("dx");
  g_dy = Variable_FindOrAddSlot("dy");
  g_x = Variable_BuiltIn_Find("x");
  g_y = Variable_BuiltIn_Find("y");

  std::mt19937 random(20261124u);
  std::uniform_real_distribution<float> across(0.0f, kRoomWidth), down(0.0f, kRoomHeight);
  std::uniform_real_distribution<double> speed(-3.0, 3.0);
  for (int32_t i = 0; i < count; ++i) {
    CInstance* instance = Create_Instance_OnLayer(0, across(random), down(random), kLayerId);
    tsl::set(instance, g_dx, speed(random));
    tsl::set(instance, g_dy, speed(random));
  }
  for (int i = 0; i < kWarmUpFrames; ++i) frame();

  FrameCpu cpu;
  double wall = 0.0;
  int64_t frames = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const FrameCpu used = frame();
    cpu.drawing += used.drawing;
    cpu.present += used.present;
    cpu.others += used.others;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    state.SetIterationTime(seconds);
    wall += seconds;
    ++frames;
  }
  state.counters["fps"] = static_cast<double>(frames) / wall;
  state.counters["cpu_us_per_instance"] = cpu.drawing * 1e6 / static_cast<double>(frames) / count;
  state.counters["present_ms"] = cpu.present * 1e3 / static_cast<double>(frames);
  state.counters["other_threads_ms"] = cpu.others * 1e3 / static_cast<double>(frames);
  state.counters["draw_calls"] = GR_Batch_Stats().draws_last_frame;
  game.Stop();
  Platform_TakeQuitSignal();
}
BENCHMARK(BM_SpriteRoom)
    ->ArgNames({"n", "size"})
    ->ArgsProduct({{1000, 10000, 50000}, {32, 4}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

// Runs the real frame driver on the real clock, set up as the runner sets it up (memory manager
// started, scheduler resolution set, the wait pumping the main thread's messages): 120 frames at
// 60 frames per second should take two seconds, and the fps count should sit at the target.
// Reported as counters, not asserted, with the CPU time a frame costs (mostly the precise wait).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "core/frame_state.h"
#include "core/memory.h"
#include "core/timing.h"
#include "run/run_frame.h"
#include "run/run_present.h"

namespace {

double process_cpu_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void BM_FramesAtSixty(benchmark::State& state) {
  MemoryManager::Start();
  Timing_SetSchedulerResolution(kSchedulerResolutionMs);
  constexpr int kFrames = 120;
  for (auto _ : state) {
    FrameState_Reset();
    Frame_SetMainThread();
    Frame_Pacer().Reset();
    Run_UseGameTimer = true;
    GameTimer_Reset(&Run_GameTimer, 60.0, Timing_Time());
    Run_Running = true;
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
    const double cpu_start = process_cpu_seconds();
    const int64_t start = Timing_Time();
    for (int i = 0; i < kFrames; ++i) Frame_Drive();
    const double seconds = static_cast<double>(Timing_Time() - start) / 1e6;
    state.SetIterationTime(seconds);
    state.counters["seconds_for_120"] = seconds;
    state.counters["cpu_us_per_frame"] = (process_cpu_seconds() - cpu_start) * 1e6 / kFrames;
    state.counters["fps"] = Run_Fps;
    state.counters["sleep_margin_ms"] = SleepMargin;
    state.counters["sleep_fallback"] = SleepTimingFallback ? 1 : 0;
  }
  Timing_SetSchedulerResolution(0);
}
BENCHMARK(BM_FramesAtSixty)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

// Runs the real frame driver on the real clock: 120 frames at 60 frames per second should take
// two seconds, and the fps count should sit at the target. Reported as counters, not asserted.
#include <benchmark/benchmark.h>

#include "core/frame_state.h"
#include "core/timing.h"
#include "run/run_frame.h"
#include "run/run_present.h"

namespace {

void BM_FramesAtSixty(benchmark::State& state) {
  for (auto _ : state) {
    FrameState_Reset();
    Frame_SetMainThread();
    Frame_Pacer().Reset();
    Run_UseGameTimer = true;
    GameTimer_Reset(&Run_GameTimer, 60.0, Timing_Time());
    Run_Running = true;
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
    const int64_t start = Timing_Time();
    for (int i = 0; i < 120; ++i) Frame_Drive();
    const double seconds = static_cast<double>(Timing_Time() - start) / 1e6;
    state.SetIterationTime(seconds);
    state.counters["seconds_for_120"] = seconds;
    state.counters["fps"] = Run_Fps;
    state.counters["sleep_fallback"] = SleepTimingFallback ? 1 : 0;
  }
}
BENCHMARK(BM_FramesAtSixty)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

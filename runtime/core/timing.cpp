#include "core/timing.h"

#include <algorithm>
#include <cmath>

#include "core/console.h"
#include "platform/clock.h"

int32_t SleepMargin = 10;
GameTimer Run_GameTimer;
bool Run_UseGameTimer = false;

namespace {

constexpr int64_t kMaxWait = 3000000;
// The spin's naps: short enough that the wait still ends within a slice of its deadline.
constexpr int64_t kSpinSliceMicros = 100;
constexpr int32_t kMaxSchedulerPeriod = 1000000;
int64_t g_base = 0;
bool g_base_set = false;
void (*g_pump)() = nullptr;
int32_t g_scheduler_period = 0;
int32_t g_margin_before_scheduler = 10;

}  // namespace

int64_t Timing_Time() {
  const int64_t now = Platform_Clock().NowMicros();
  if (!g_base_set) {
    g_base = now;
    g_base_set = true;
  }
  return now - g_base;
}

void Timing_Reset() {
  g_base = Platform_Clock().NowMicros();
  g_base_set = true;
}

void Timing_SetPump(void (*pump)()) { g_pump = pump; }

void Timing_Wait(int64_t micros, bool precise) {
  if (micros <= 0) return;
  if (micros > kMaxWait) micros = kMaxWait;
  IClock& clock = Platform_Clock();
  if (!precise) {
    clock.SleepMicros(micros);
    return;
  }
  const int64_t start = Timing_Time();
  int64_t coarse_ms = (micros - static_cast<int64_t>(SleepMargin) * 1000) / 1000;
  if (coarse_ms > 0) clock.SleepMicros(coarse_ms * 1000);
  // Spin out the rest, pumping messages between clock reads and napping a slice between them; a
  // clock that runs backward leaves the range and ends the loop too.
  for (;;) {
    if (g_pump != nullptr) g_pump();
    const int64_t now = Timing_Time();
    if (now < start || now >= start + micros) break;
    clock.SleepMicros(std::min(kSpinSliceMicros, start + micros - now));
  }
}

void Timing_SetSchedulerResolution(int32_t period_ms) {
  if (g_scheduler_period > 0) {
    g_DebugConsole->Output("Unsetting previous scheduler resolution of %d\n", g_scheduler_period);
    SleepMargin = g_margin_before_scheduler;
    g_scheduler_period = 0;
  }
  if (period_ms <= 0) return;
  period_ms = std::clamp(period_ms, kSchedulerResolutionMs, kMaxSchedulerPeriod);
  g_scheduler_period = period_ms;
  g_DebugConsole->Output("Setting scheduler resolution to %d\n", period_ms);
  g_margin_before_scheduler = SleepMargin;
  if (period_ms < SleepMargin) SleepMargin = period_ms;
}

void GameTimer_Reset(GameTimer* timer, double fps, int64_t now) {
  timer->elapsed = 0;
  timer->lastTime = now;
  timer->paused = false;
  timer->fps = fps;
  timer->delta = 0;
}

void GameTimer_Tick(GameTimer* timer, int64_t now) {
  const int64_t old_time = timer->lastTime;
  if (timer->fps > 0.0) {
    timer->lastTime += static_cast<int64_t>(std::floor(1000000.0 / timer->fps));
  } else {
    timer->lastTime = now;
  }
  timer->delta = timer->lastTime - old_time;
  if (!timer->paused) timer->elapsed += static_cast<uint64_t>(timer->delta);
}

double GameTimer_GetSpeed(const GameTimer& timer, int type) {
  if (timer.fps <= 0.0) return 0.0;
  return type == 0 ? timer.fps : 1000000.0 / timer.fps;
}

int64_t Frame_ComputeWait(int32_t rate, int64_t spent) {
  if (rate <= 0) return 0;
  float wait = 1000000.0f / static_cast<float>(rate) - static_cast<float>(spent);
  if (!(wait > 0.0f)) wait = 0.0f;
  int64_t micros = static_cast<int64_t>(wait);
  return micros > 1000000 ? 1000000 : micros;
}

bool Frame_ComputePresentInterval(float refresh_rate, int32_t rate, bool rate_fixed, bool vsync_on, int32_t* interval) {
  *interval = vsync_on ? 1 : 0;
  if (!rate_fixed || rate <= 0) return false;
  const float r = refresh_rate / static_cast<float>(rate);
  float d = r - std::floor(r);
  float n = std::floor(r);
  if (d > 1.0f - d) {
    n = std::ceil(r);
    d = 1.0f - d;
  }
  if (d < 0.1f && static_cast<int>(n) < 5) {
    if (static_cast<int32_t>(n) > *interval) *interval = static_cast<int32_t>(n);
    return true;
  }
  return false;
}

#pragma once
// The one monotonic microsecond clock of the runtime, and the coarse sleep behind the frame wait.
// The real clock reads CLOCK_MONOTONIC; tests install a fake clock whose sleep advances its time.
#include <cstdint>

class IClock {
 public:
  virtual ~IClock() = default;
  virtual int64_t NowMicros() = 0;
  // Sleeps about this long; may return early or late by the scheduler's resolution.
  virtual void SleepMicros(int64_t micros) = 0;
};

// The process clock; the real one unless a test installed another.
IClock& Platform_Clock();
void Platform_SetClock(IClock* clock);  // null restores the real clock
IClock& Platform_RealClock();

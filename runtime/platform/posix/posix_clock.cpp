#include <time.h>

#include "platform/clock.h"

namespace {

class PosixClock final : public IClock {
 public:
  int64_t NowMicros() override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
  }

  void SleepMicros(int64_t micros) override {
    if (micros <= 0) return;
    timespec span{static_cast<time_t>(micros / 1000000), static_cast<long>((micros % 1000000) * 1000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &span, &span) != 0) {
    }
  }
};

PosixClock g_real_clock;
IClock* g_clock = &g_real_clock;

}  // namespace

IClock& Platform_Clock() { return *g_clock; }
void Platform_SetClock(IClock* clock) { g_clock = clock != nullptr ? clock : &g_real_clock; }
IClock& Platform_RealClock() { return g_real_clock; }

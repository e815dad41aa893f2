#pragma once
// A clock for tests: time moves only when told to, or by what a sleep asks for. Each read can also
// advance by a fixed step, which lets spin loops finish.
#include <cstdint>

#include "platform/clock.h"

class FakeClock final : public IClock {
 public:
  explicit FakeClock(int64_t start = 0, int64_t step_per_read = 0) : now_(start), step_(step_per_read) {}
  int64_t NowMicros() override {
    const int64_t now = now_;
    now_ += step_;
    return now;
  }
  void SleepMicros(int64_t micros) override {
    if (micros > 0) {
      now_ += micros;
      slept_ += micros;
    }
  }
  void Advance(int64_t micros) { now_ += micros; }
  void Set(int64_t now) { now_ = now; }
  int64_t slept() const { return slept_; }

 private:
  int64_t now_;
  int64_t step_;
  int64_t slept_ = 0;
};

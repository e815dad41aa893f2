#include <gtest/gtest.h>

#include "core/timing.h"
#include "platform/fake/fake_clock.h"

namespace {

struct WaitCase {
  int32_t rate;
  int64_t spent;
  int64_t expected;
};

TEST(FrameWait, BudgetLessTimeSpentClampedToOneSecond) {
  const WaitCase cases[] = {
      {60, 0, 16666},        // 1e6/60 in single precision, truncated
      {60, 6666, 10000},
      {60, 20000, 0},        // over budget: no wait, no catching up
      {60, -5000000, 1000000},  // a clock that stepped back never waits more than a second
      {1, 0, 1000000},
      {30, 1, 33332},
      {0, 0, 0},             // an unfixed timer never waits
  };
  for (const WaitCase& c : cases) {
    EXPECT_EQ(Frame_ComputeWait(c.rate, c.spent), c.expected) << "rate " << c.rate << " spent " << c.spent;
  }
}

struct IntervalCase {
  float refresh;
  int32_t rate;
  bool vsync;
  bool paced_by_display;
  int32_t interval;
};

TEST(PresentInterval, DisplayPacesWhenTheRatioIsNearAWholeNumberBelowFive) {
  const IntervalCase cases[] = {
      {60.0f, 60, false, true, 1},
      {60.0f, 30, false, true, 2},   // the refresh paces the game, no sleep
      {60.0f, 29, false, true, 2},   // ratio 2.07 still counts as 2
      {60.0f, 45, false, false, 0},  // ratio 1.33: the sleep paces
      {60.0f, 45, true, false, 1},   // vsync asked for keeps an interval of 1
      {60.0f, 12, false, false, 0},  // ratio 5 is paced by the sleep
      {60.0f, 15, false, true, 4},
      {144.0f, 60, false, false, 0},  // 2.4
      {120.0f, 61, false, true, 2},   // 1.97 rounds up
  };
  for (const IntervalCase& c : cases) {
    int32_t interval = -1;
    EXPECT_EQ(Frame_ComputePresentInterval(c.refresh, c.rate, true, c.vsync, &interval), c.paced_by_display)
        << c.refresh << " Hz at " << c.rate;
    EXPECT_EQ(interval, c.interval) << c.refresh << " Hz at " << c.rate;
  }
  int32_t interval = -1;
  EXPECT_FALSE(Frame_ComputePresentInterval(60.0f, 60, false, true, &interval));
  EXPECT_EQ(interval, 1);
}

TEST(GameTimer, FixedRateAdvancesInWholeStepsAndPauseStopsElapsed) {
  GameTimer timer;
  GameTimer_Reset(&timer, 60.0, 1000);
  GameTimer_Tick(&timer, 999999);
  EXPECT_EQ(timer.lastTime, 1000 + 16666);
  EXPECT_EQ(timer.delta, 16666);
  EXPECT_EQ(timer.elapsed, 16666u);
  timer.paused = true;
  GameTimer_Tick(&timer, 0);
  EXPECT_EQ(timer.elapsed, 16666u);

  GameTimer_Reset(&timer, 0.0, 500);
  GameTimer_Tick(&timer, 2500);
  EXPECT_EQ(timer.lastTime, 2500);
  EXPECT_EQ(timer.delta, 2000);
}

TEST(GameTimer, SpeedInFramesOrMicrosecondsAndZeroWhenFreeRunning) {
  GameTimer timer;
  GameTimer_Reset(&timer, 50.0, 0);
  EXPECT_DOUBLE_EQ(GameTimer_GetSpeed(timer, 0), 50.0);
  EXPECT_DOUBLE_EQ(GameTimer_GetSpeed(timer, 1), 20000.0);
  timer.fps = 0.0;
  EXPECT_DOUBLE_EQ(GameTimer_GetSpeed(timer, 0), 0.0);
}

class TimingWaitTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Platform_SetClock(&clock_);
    Timing_Reset();
    saved_margin_ = SleepMargin;
  }
  void TearDown() override {
    SleepMargin = saved_margin_;
    Timing_SetPump(nullptr);
    Platform_SetClock(nullptr);
  }
  FakeClock clock_{1000000, 7};
  int32_t saved_margin_ = 10;
};

// Records every read and sleep of the wait; time moves only by the sleeps.
class RecordingClock final : public IClock {
 public:
  struct Event {
    bool sleep;
    int64_t value;  // the time read, or the sleep asked for
  };
  int64_t NowMicros() override {
    events.push_back({false, now});
    if (events.size() > kEventLimit) now += 1000;  // a wait that never sleeps still ends
    return now;
  }
  void SleepMicros(int64_t micros) override {
    events.push_back({true, micros});
    if (micros > 0) now += micros;
  }
  static constexpr size_t kEventLimit = 100000;
  int64_t now = 1000000;
  std::vector<Event> events;
};

// The coarse sleep stops SleepMargin ahead of the deadline; the spin pumps before every clock read
// and naps at most 100 microseconds between reads, and the wait ends at the first read past the
// deadline, which it therefore never overshoots by more than one nap.
TEST_F(TimingWaitTest, CoarseSleepThenAPumpedSpinInShortNapsUpToTheFirstReadPastTheDeadline) {
  RecordingClock clock;
  Platform_SetClock(&clock);
  Timing_Reset();
  static int pumps;
  pumps = 0;
  Timing_SetPump([] { ++pumps; });
  for (const int32_t margin : {2, 10}) {
    SleepMargin = margin;
    clock.events.clear();
    pumps = 0;
    const int64_t start = clock.now;
    Timing_Wait(16666, true);
    ASSERT_GE(clock.events.size(), 2u);
    ASSERT_LT(clock.events.size(), RecordingClock::kEventLimit) << "the spin never slept";
    EXPECT_EQ(clock.events[0].value, start);  // the wait's start read
    size_t i = 1;
    const int64_t coarse = (16666 - margin * 1000) / 1000 * 1000;
    if (coarse > 0) {
      EXPECT_TRUE(clock.events[1].sleep);
      EXPECT_EQ(clock.events[1].value, coarse) << margin;
      i = 2;
    }
    int reads = 0;
    for (; i < clock.events.size(); ++i) {
      const RecordingClock::Event& e = clock.events[i];
      const bool last = i + 1 == clock.events.size();
      if (e.sleep) {
        EXPECT_GT(e.value, 0);
        EXPECT_LE(e.value, 100) << "nap " << i;
      } else {
        ++reads;
        EXPECT_EQ(e.value - start >= 16666, last) << "read " << i << " at " << e.value - start;
      }
    }
    EXPECT_FALSE(clock.events.back().sleep);
    EXPECT_EQ(clock.events.back().value - start, 16666) << margin;
    EXPECT_EQ(pumps, reads) << margin;
  }
}

TEST_F(TimingWaitTest, NothingForZeroAndCappedAtThreeSeconds) {
  Timing_Wait(0, true);
  Timing_Wait(-5, false);
  EXPECT_EQ(clock_.slept(), 0);
  Timing_Wait(10000000, false);
  EXPECT_EQ(clock_.slept(), 3000000);
}

TEST_F(TimingWaitTest, MarginLargerThanTheWaitOnlySpins) {
  RecordingClock clock;
  Platform_SetClock(&clock);
  SleepMargin = 10;
  Timing_Wait(5000, true);
  for (const RecordingClock::Event& e : clock.events) {
    if (e.sleep) {
      EXPECT_LE(e.value, 100);
    }
  }
}

TEST_F(TimingWaitTest, ClockRunningBackwardEndsTheSpin) {
  SleepMargin = 100;
  static FakeClock* clock;
  clock = &clock_;
  Timing_SetPump([] { clock->Advance(-1000); });
  const int64_t before = Timing_Time();
  Timing_Wait(50000, true);  // would spin forever if a backward clock did not end the loop
  EXPECT_LT(Timing_Time(), before);
}

}  // namespace

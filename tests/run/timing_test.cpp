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

TEST_F(TimingWaitTest, CoarseSleepStopsAtTheMarginThenSpinsToTheDeadline) {
  SleepMargin = 2;
  static int pumps;
  pumps = 0;
  Timing_SetPump([] { ++pumps; });
  const int64_t start = Timing_Time();
  Timing_Wait(16666, true);
  EXPECT_EQ(clock_.slept(), 14000);  // (16666 - 2000) / 1000 whole milliseconds
  EXPECT_GE(Timing_Time() - start, 16666);
  EXPECT_GT(pumps, 0);
}

TEST_F(TimingWaitTest, NothingForZeroAndCappedAtThreeSeconds) {
  Timing_Wait(0, true);
  Timing_Wait(-5, false);
  EXPECT_EQ(clock_.slept(), 0);
  Timing_Wait(10000000, false);
  EXPECT_EQ(clock_.slept(), 3000000);
}

TEST_F(TimingWaitTest, MarginLargerThanTheWaitOnlySpins) {
  SleepMargin = 10;
  Timing_Wait(5000, true);
  EXPECT_EQ(clock_.slept(), 0);
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

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/console.h"
#include "core/frame_state.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "graphics/window.h"
#include "platform/fake/fake_clock.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "platform/process.h"
#include "run/run_frame.h"
#include "run/run_present.h"
#include "support/fixture.h"
#include "world/room.h"

namespace {

class FrameDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Platform_SetClock(&clock_);
    Timing_Reset();
    FrameState_Reset();
    Frame_SetMainThread();
    Frame_Pacer().Reset();
    Run_UseGameTimer = false;
    Run_Running = true;
    SleepTimingForced = true;  // sleep timing unless a test asks for the vsync counter
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
  }
  void TearDown() override {
    Platform_SetClock(nullptr);
    Frame_SetRoomSpeedReader(nullptr);
    FrameState_Reset();
    Run_UseGameTimer = false;
  }

  // Runs frames and returns the time at the top of each (after its wait).
  std::vector<int64_t> run_frames(int count) {
    std::vector<int64_t> starts;
    for (int i = 0; i < count && Run_Running; ++i) {
      Frame_Drive();
      starts.push_back(Run_FrameStart);
    }
    return starts;
  }

  FakeClock clock_{5000000, 3};
};

TEST_F(FrameDriverTest, FramesArePacedToTheSpeedTimerWithoutCatchingUp) {
  Run_UseGameTimer = true;
  GameTimer_Reset(&Run_GameTimer, 60.0, Timing_Time());
  std::vector<int64_t> starts = run_frames(10);
  ASSERT_EQ(starts.size(), 10u);
  for (size_t i = 1; i < starts.size(); ++i) {
    EXPECT_NEAR(starts[i] - starts[i - 1], 16666, 60) << "frame " << i;
  }
  // A frame that overran its budget is followed by no wait: the next starts at once.
  clock_.Advance(50000);
  const int64_t before = Timing_Time();
  Frame_Drive();
  EXPECT_LT(Run_FrameStart - before, 200);
  EXPECT_EQ(Run_RoomSpeed, 60);
  EXPECT_EQ(Run_TotalFrames, 11);
}

TEST_F(FrameDriverTest, FpsCountsTheFramesOfTheLastWholeSecond) {
  Run_UseGameTimer = true;
  GameTimer_Reset(&Run_GameTimer, 30.0, Timing_Time());
  run_frames(100);
  EXPECT_NEAR(Run_Fps, 30, 1);
}

TEST_F(FrameDriverTest, FreeRunningTimerDoesNotWait) {
  Run_UseGameTimer = true;
  GameTimer_Reset(&Run_GameTimer, 0.0, Timing_Time());
  run_frames(5);
  EXPECT_EQ(clock_.slept(), 0);
  EXPECT_EQ(Run_RoomSpeed, 60);
}

TEST_F(FrameDriverTest, RoomSpeedZeroIsRewrittenToOne) {
  static int32_t speed;
  speed = 0;
  static CRoom room;
  Run_Room = &room;
  Frame_SetRoomSpeedReader([](void*) { return &speed; });
  Frame_Drive();
  EXPECT_EQ(speed, 1);
  EXPECT_EQ(Run_RoomSpeed, 1);
}

TEST_F(FrameDriverTest, ADrawnStepScrollsTheBackgroundsAndCountsItself) {
  static CRoom room;
  static CBackGM background;
  background = CBackGM{};
  background.hspeed = 1.5f;
  background.vspeed = -2.0f;
  room.backgrounds[3] = &background;
  Run_Room = &room;
  DoAStep();
  DoAStep();
  EXPECT_FLOAT_EQ(background.x, 3.0f);
  EXPECT_FLOAT_EQ(background.y, -4.0f);
  EXPECT_EQ(DrawnSteps, 2);
  New_Room = 2;  // a step with a room request is neither drawn nor scrolled
  DoAStep();
  EXPECT_FLOAT_EQ(background.x, 3.0f);
  EXPECT_EQ(DrawnSteps, 2);
  room.backgrounds[3] = nullptr;
  Run_Room = nullptr;
}

TEST_F(FrameDriverTest, EndRequestsStopTheLoopBeforeTheFrameCounts) {
  for (int32_t request : {kNewRoomEndGame, kNewRoomAbort}) {
    Run_Running = true;
    Run_TotalFrames = 0;
    New_Room = request;
    Frame_Drive();
    EXPECT_FALSE(Run_Running) << request;
    EXPECT_EQ(Run_TotalFrames, 0) << request;
  }
}

TEST_F(FrameDriverTest, QuitSignalEndsTheLoopThroughTheMessagePump) {
  run_frames(2);
  Platform_PostQuit();
  ProcessMessages();
  EXPECT_FALSE(Run_Running);
  EXPECT_TRUE(Run_QuitSeen);
}

TEST_F(FrameDriverTest, ClockSteppingBackRepairsTheFrameStart) {
  run_frames(2);
  clock_.Advance(-10000000);
  Frame_Drive();
  // The frame start follows the clock back, so the wait is one ordinary frame, never negative
  // and never the ten seconds the clock jumped.
  EXPECT_NEAR(Run_FrameStart - Run_FrameNow, 16666, 100);
}

TEST_F(FrameDriverTest, VsyncCountingFallsBackToSleepTimingWithoutBlankWaits) {
  SleepTimingForced = false;
  ConsoleCapture capture;
  run_frames(3);
  EXPECT_TRUE(SleepTimingFallback);
  const std::string& text = capture.text();
  const std::string line =
      "Vsync timing not supported in this output configuration - reverting to sleep-based timing\n";
  ASSERT_NE(text.find(line), std::string::npos);
  EXPECT_EQ(text.find(line), text.rfind(line));  // said once
}

struct PacerClock {
  static int64_t now;
  static int blanks;
  static int64_t blank_cost;
  static int presents;
};
int64_t PacerClock::now = 0;
int PacerClock::blanks = 0;
int64_t PacerClock::blank_cost = 0;
int PacerClock::presents = 0;

const VsyncPacerHooks kPacerHooks = {
    [] { return PacerClock::now; },
    [](int64_t micros, bool) { PacerClock::now += micros; },
    [] {
      ++PacerClock::blanks;
      PacerClock::now += PacerClock::blank_cost;
      return true;
    },
    [](int32_t) {
      ++PacerClock::presents;
      return true;
    },
    nullptr,
};

TEST(VsyncPacer, LongBlankWaitsRevertToSleepTimingAfterTen) {
  SleepTimingFallback = false;
  PacerClock::now = 0;
  PacerClock::blank_cost = 19000;  // above 1.1 refresh periods of 16.6 ms
  VsyncPacer pacer;
  ConsoleCapture capture;
  // At 30 frames per second on a 60 Hz display each frame still has time for its blank wait.
  for (int i = 0; i < 9; ++i) pacer.Present(kPacerHooks, 30, 60.0f, 2);
  EXPECT_EQ(pacer.missed_frames(), 0);
  EXPECT_FALSE(SleepTimingFallback);
  pacer.Present(kPacerHooks, 30, 60.0f, 2);
  EXPECT_TRUE(SleepTimingFallback);
  EXPECT_NE(capture.text().find("Vsync wait times out of bounds - reverting to sleep based timing\n"),
            std::string::npos);
  SleepTimingFallback = false;
}

TEST(VsyncPacer, LateFrameIsPresentedAtOnceAndCountedMissed) {
  PacerClock::now = 0;
  PacerClock::blank_cost = 100;
  PacerClock::blanks = 0;
  VsyncPacer pacer;
  pacer.Present(kPacerHooks, 60, 60.0f, 1);
  const int blanks = PacerClock::blanks;
  PacerClock::now += 40000;
  pacer.Present(kPacerHooks, 60, 60.0f, 1);
  EXPECT_EQ(pacer.missed_frames(), 1);
  EXPECT_EQ(PacerClock::blanks, blanks);
}

// A clock that moves a microsecond a read and by what sleeps ask for, and which puts the window's
// quit message in the queue once the time reaches a mark.
class QuitAtMarkClock final : public IClock {
 public:
  QuitAtMarkClock(FakeWindowHost* host, int64_t mark) : host_(host), mark_(mark) {}
  int64_t NowMicros() override {
    if (!posted_ && now_ >= mark_) {
      host_->Push(WindowMessageKind::kQuit);
      posted_ = true;
    }
    return now_++;
  }
  void SleepMicros(int64_t micros) override { now_ += micros > 0 ? micros : 0; }
  bool posted() const { return posted_; }

 private:
  FakeWindowHost* host_;
  int64_t mark_;
  int64_t now_ = 0;
  bool posted_ = false;
};

// The frame's wait pumps the window while it spins: a quit message that comes during the wait is
// taken there, the wait still runs to its deadline, and the frame ends before its body runs.
TEST(FrameDriverWait, TheWaitPumpsTheWindowAndAQuitDuringItEndsTheFrame) {
  ResetLoaderState();
  FrameState_Reset();
  std::vector<uint8_t> image = BuildImage(MakeMinimalGame(17, 2, 60.0f));
  ASSERT_TRUE(HeaderScan(image.data(), static_cast<uint32_t>(image.size())));
  FakeWindowHost host;
  NullDevice device;
  Window_UsePlatform(&host, &device);
  ASSERT_TRUE(Window_Create(64, 64));
  ASSERT_TRUE(Graphics_Init());
  QuitAtMarkClock clock(&host, 12000);  // inside the spin: the coarse sleep ends at 6 ms
  Platform_SetClock(&clock);
  Timing_Reset();
  Frame_SetMainThread();
  SleepTimingForced = true;
  Run_UseGameTimer = false;
  Run_Running = true;
  Run_FrameStart = Timing_Time();
  Frame_Drive();
  EXPECT_TRUE(clock.posted());
  EXPECT_TRUE(host.queue.empty());
  EXPECT_FALSE(Run_Running);
  EXPECT_TRUE(Run_QuitSeen);
  EXPECT_EQ(Run_TotalFrames, 0);
  EXPECT_GE(Timing_Time(), 16666);
  Platform_SetClock(nullptr);
  Window_Destroy();
  Window_UsePlatform(nullptr, nullptr);
  FrameState_Reset();
  Platform_TakeQuitSignal();
}

}  // namespace

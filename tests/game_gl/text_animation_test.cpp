// Animated text through the runner's frame: build/data.win runs on the OpenGL device, frames go
// through Frame_Drive on a fake clock (each frame exactly 1/60 s, so the animation time grows by
// one a frame), a layer script draws a waving and a still string of the text library each frame,
// and the window's picture is read after each frame.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/script_api.h"
#include "core/timing.h"
#include "graphics/draw.h"
#include "platform/clock.h"
#include "platform/fake/fake_clock.h"
#include "run/run_frame.h"
#include "game_gl_start.h"
#include "room_draw_probe.h"
#include "text/scribble.h"

namespace {

using tsl::Value;

// Two strings of the title font, each glyph in its own column band of the capture.
constexpr const char* kWaving = "[fnt_title][c_white][wave]MMMM";
constexpr const char* kStill = "[fnt_title][c_white]MMMM";
constexpr int kLeft = 40, kTop = 60, kWidth = 240, kHeight = 160;
constexpr int kWavingY = 100, kStillY = 180;  // the strings' tops, window y

// Per frame: the centre of the lit pixels of each string (x and y, window pixels).
struct Centres {
  double wave_x = 0, wave_y = 0, still_x = 0, still_y = 0;
  int wave_lit = 0, still_lit = 0;
};

void draw_text(const char* text, double y) {
  const Value words = Value::String(text);
  Value drawn;
  RValue x = RV_Real(kLeft + 10), top = RV_Real(y), string = *words;
  RValue* args[] = {&x, &top, &string};
  tsl_Script_draw_text_scribble(tsl::global(), tsl::global(), drawn.get(), 3, args);
}

Centres centres(const RoomDrawProbe& probe) {
  Centres c;
  for (int y = kTop; y < kTop + kHeight; ++y) {
    for (int x = kLeft; x < kLeft + kWidth; ++x) {
      if ((probe.At(x, y) & 0xFF) < 128) continue;
      const bool waving = y < (kWavingY + kStillY) / 2 + 8;
      (waving ? c.wave_x : c.still_x) += x;
      (waving ? c.wave_y : c.still_y) += y;
      ++(waving ? c.wave_lit : c.still_lit);
    }
  }
  if (c.wave_lit > 0) c.wave_x /= c.wave_lit, c.wave_y /= c.wave_lit;
  if (c.still_lit > 0) c.still_x /= c.still_lit, c.still_y /= c.still_lit;
  return c;
}

class TextAnimationTest : public GameGlTest {
 protected:
  void SetUp() override {
    GameGlTest::SetUp();
    if (IsSkipped()) return;
    RoomDrawProbe_Install(&game_, kLeft, kTop, kWidth, kHeight);
    RoomDrawProbe_Current().draw = [] {
      Draw_SetAlpha(1);
      Draw_Rectangle(kLeft, kTop, kLeft + kWidth, kTop + kHeight, 0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFF000000u,
                     false);
      Draw_SetColour(0xFFFFFF);
      draw_text(kWaving, kWavingY);
      draw_text(kStill, kStillY);
    };
    Platform_SetClock(&clock_);
    Run_Running = true;
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
  }
  void TearDown() override {
    RoomDrawProbe_Current() = RoomDrawProbe{};
    GameGlTest::TearDown();
    Platform_SetClock(nullptr);
  }

  FakeClock clock_{Platform_RealClock().NowMicros()};
};

TEST_F(TextAnimationTest, AWavingStringRisesAndFallsFrameByFrameAndAStillOneStays) {
  // Two periods of the wave at its speed of 0.2 a frame, and a few frames to settle.
  std::vector<Centres> frames;
  for (int i = 0; i < 70 && Run_Running; ++i) {
    Frame_Drive();
    RoomDrawProbe_Current().Read();
    if (i >= 4) frames.push_back(centres(RoomDrawProbe_Current()));
  }
  ASSERT_EQ(frames.size(), 66u);
  double wave_low = 1e9, wave_high = -1e9, still_low = 1e9, still_high = -1e9, wave_x_low = 1e9, wave_x_high = -1e9;
  int changes = 0;
  for (size_t i = 0; i < frames.size(); ++i) {
    const Centres& c = frames[i];
    ASSERT_GT(c.wave_lit, 50) << "frame " << i;
    ASSERT_GT(c.still_lit, 50) << "frame " << i;
    wave_low = std::min(wave_low, c.wave_y);
    wave_high = std::max(wave_high, c.wave_y);
    still_low = std::min(still_low, c.still_y);
    still_high = std::max(still_high, c.still_y);
    wave_x_low = std::min(wave_x_low, c.wave_x);
    wave_x_high = std::max(wave_x_high, c.wave_x);
    if (i > 0 && std::fabs(c.wave_y - frames[i - 1].wave_y) > 0.05) ++changes;
    EXPECT_EQ(c.still_lit, frames[0].still_lit) << "frame " << i;
  }
  // Glyphs move up and down by up to the wave's size of 4 pixels, each a little ahead of the one
  // before it, so the string's centre swings by less than twice that; sideways they stay.
  EXPECT_GT(wave_high - wave_low, 1.0);
  EXPECT_LT(wave_high - wave_low, 8.5);
  EXPECT_GT(changes, static_cast<int>(frames.size()) / 2) << "the string moves from frame to frame";
  EXPECT_LT(wave_x_high - wave_x_low, 0.5);
  EXPECT_EQ(still_high, still_low) << "the still string doesn't move";
}

}  // namespace

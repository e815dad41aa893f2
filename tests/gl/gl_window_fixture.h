#pragma once
// A real window of kGlSize x kGlSize with the OpenGL device, made from a minimal data file and
// drawing into the main render target; tests skip when no display exists. RunDisplayFrame
// (support/display_frame.h) runs the display part of a frame as the frame driver does.
// GlDrawGameTest: the draw game (support/draw_game.h) on the same window and device.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/frame_state.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_gen8.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/window.h"
#include "platform/process.h"
#include "support/display_frame.h"
#include "support/draw_game.h"
#include "support/fixture.h"
#include "support/gl_display.h"
#include "support/pixels.h"

constexpr int kGlSize = 64;

class GlWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetLoaderState();
    FrameState_Reset();
    datawin::Writer writer;
    datawin::Gen8Record record = MinimalHeader(17, 2, 60.0f);
    record.window_width = kGlSize;
    record.window_height = kGlSize;
    record.info_flags = HeaderFlags();
    datawin::add_gen8(writer, record);
    image_ = BuildImage(writer);
    ASSERT_TRUE(HeaderScan(image_.data(), static_cast<uint32_t>(image_.size())));
    UseGlDisplay();
    ASSERT_TRUE(Window_Create(kGlSize, kGlSize));
    ASSERT_TRUE(Graphics_Init());
    if (!Window_State().real_display) GTEST_SKIP() << "no display";
  }

  // The header's flags (resizable, borderless, ...) for the window the test gets.
  virtual uint32_t HeaderFlags() const { return 0; }

  void TearDown() override {
    Window_Destroy();
    FrameState_Reset();
    Platform_TakeQuitSignal();
  }

  // Opens a frame drawing over the whole window.
  static void StartFullView() {
    Start_Frame();
    GR_Set_View(0, 0, kGlSize, kGlSize, 0);
  }

  std::vector<uint8_t> image_;
};

class GlDrawGameTest : public ::testing::Test {
 protected:
  void SetUp() override { UseGlDisplay(); }
  void TearDown() override {
    game_.Stop();
    Platform_TakeQuitSignal();
  }

  // Starts the game; false (the test skips) without a display.
  bool Start() {
    EXPECT_TRUE(game_.Start());
    return Window_State().real_display && !::testing::Test::HasFailure();
  }

  DrawGame game_;
};

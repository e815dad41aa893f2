// The window logic on the fake host: creation sizes, the first present, size requests and the
// reset countdown, full screen, focus and the message table.
#include <algorithm>

#include "core/console.h"
#include "graphics/gr_texture.h"
#include "graphics_fixture.h"

namespace {

constexpr uint32_t kKeepAspect = 0x10;
constexpr uint32_t kResizable = 0x40;
constexpr uint32_t kBorderless = 0x4000;
constexpr uint32_t kFullscreen = 0x1;

using WindowTest = GraphicsTest;

TEST_F(WindowTest, AHeaderLargerThanTheScreenYieldsAWindowThatFits) {
  struct Case {
    uint32_t flags;
    int32_t w, h;
    int32_t want_w, want_h;
  };
  // The fake screen is 1920 x 1080 with a frame of 31 pixels in height.
  const Case cases[] = {
      {0, 800, 600, 800, 600},
      {0, 3840, 600, 1920, 600},
      {kKeepAspect, 3840, 600, 1920, 300},
      {0, 800, 2000, 800, 1049},
      {kKeepAspect, 800, 2098, 400, 1049},
      {kBorderless, 800, 2000, 800, 1080},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h) + " flags " + std::to_string(c.flags));
    Close();
    Open(HeaderSpec{c.flags, c.w, c.h});
    EXPECT_EQ(host_.width, c.want_w);
    EXPECT_EQ(host_.height, c.want_h);
    EXPECT_EQ(Window_State().windowed_width, c.w) << "the windowed size is the header's";
    EXPECT_EQ(host_.x, (1920 - c.want_w) / 2);
  }
}

TEST_F(WindowTest, TheWindowIsShownAtTheFirstPresentedFrameOnly) {
  EXPECT_FALSE(host_.visible);
  Frame(false);
  EXPECT_FALSE(host_.visible) << "a frame that isn't presented doesn't show it";
  Frame(true);
  EXPECT_TRUE(host_.visible);
  Frame(true);
  EXPECT_EQ(host_.shows, 1);
  EXPECT_EQ(device_.count(DeviceCallKind::kPresent), 2);
}

TEST_F(WindowTest, PresentCopiesTheMainTargetToTheBackBufferWithoutADraw) {
  Frame(true);
  EXPECT_EQ(device_.count(DeviceCallKind::kDraw), 0);
  const auto& calls = device_.calls();
  const auto copy = std::find_if(calls.begin(), calls.end(),
                                 [](const DeviceCall& c) { return c.kind == DeviceCallKind::kCopyToBackBuffer; });
  ASSERT_NE(copy, calls.end());
  EXPECT_EQ(copy->a, GR_MainRenderTarget());
  EXPECT_EQ(copy->b, 0) << "filtered as stage 0 samples: point by default";
  const auto present = std::find_if(calls.begin(), calls.end(),
                                    [](const DeviceCall& c) { return c.kind == DeviceCallKind::kPresent; });
  EXPECT_LT(copy - calls.begin(), present - calls.begin());
  EXPECT_EQ(device_.target(), GR_MainRenderTarget()) << "drawing stays on the main target";
}

TEST_F(WindowTest, SetSizeToTheCurrentSizeStartsNoCountdown) {
  GR_Window_Set_Size(640, 360);
  EXPECT_EQ(Run_ResetCountdown, 0);
  GR_Window_Set_Size(800, 600);
  EXPECT_EQ(Run_ResetCountdown, 10);
  for (int i = 0; i < 10; ++i) Frame();
  EXPECT_EQ(Run_ResetCountdown, 0);
  EXPECT_EQ(host_.width, 800);
  EXPECT_EQ(Window_State().display_width, 800);
  EXPECT_EQ(Window_State().requested_width, -1);
  int32_t w = 0, h = 0;
  ASSERT_TRUE(device_.texture_size(GR_MainRenderTarget(), &w, &h));
  EXPECT_EQ(w, 800);
  EXPECT_EQ(h, 600);
}

TEST_F(WindowTest, AUserResizeSettlesAfterItsLastSizeAndStands) {
  host_.Push(WindowMessageKind::kResized, 700, 400);
  Window_PumpMessages();
  EXPECT_EQ(Run_ResetCountdown, 0) << "the first size message only clears its flag";
  host_.Push(WindowMessageKind::kMinimized);
  Window_PumpMessages();
  EXPECT_EQ(Run_ResetCountdown, 0);

  // The user drags the frame: the system reports each new size, and nothing marks the drag's end.
  const int32_t sizes[][2] = {{710, 410}, {760, 430}, {720, 420}};
  for (const auto& size : sizes) {
    host_.width = size[0];
    host_.height = size[1];
    host_.Push(WindowMessageKind::kResized, size[0], size[1]);
    Window_PumpMessages();
    EXPECT_EQ(Run_ResetCountdown, 10) << "each new size starts the settling again";
    Frame();
    Frame();
  }
  EXPECT_EQ(Window_State().requested_width, 720);
  for (int i = 0; i < 7; ++i) Frame();
  EXPECT_EQ(Window_State().display_width, 640) << "no reset until ten frames after the last size";
  Frame();
  EXPECT_EQ(Run_ResetCountdown, 0);
  EXPECT_EQ(Window_State().display_width, 720);
  EXPECT_EQ(Window_State().display_height, 420);
  int32_t w = 0, h = 0;
  ASSERT_TRUE(device_.texture_size(GR_MainRenderTarget(), &w, &h));
  EXPECT_EQ(w, 720);
  EXPECT_EQ(h, 420);
  EXPECT_EQ(host_.set_size_calls, 0) << "the window the user sized isn't sized again";
  EXPECT_EQ(host_.width, 720);
}

TEST_F(WindowTest, FullscreenRoundTripRestoresTheWindowedSize) {
  Window_Set_Fullscreen(true);
  EXPECT_EQ(Run_ResetCountdown, 10);
  for (int i = 0; i < 10; ++i) Frame();
  EXPECT_TRUE(host_.fullscreen);
  EXPECT_TRUE(Window_State().fullscreen_active);
  EXPECT_EQ(Window_State().display_width, 1920);
  // A size asked for while full screen becomes the windowed size.
  GR_Window_Set_Size(1000, 500);
  Window_Set_Fullscreen(false);
  for (int i = 0; i < 10; ++i) Frame();
  EXPECT_FALSE(host_.fullscreen);
  EXPECT_EQ(Window_State().display_width, 1000);
  EXPECT_EQ(host_.width, 1000);
  EXPECT_EQ(host_.height, 500);
}

TEST_F(WindowTest, RefusedFullscreenStaysWantedAndFocusRetries) {
  host_.refuse_fullscreen = true;
  ConsoleCapture capture;
  Window_Set_Fullscreen(true);
  for (int i = 0; i < 10; ++i) Frame();
  EXPECT_TRUE(Window_State().want_fullscreen);
  EXPECT_FALSE(Window_State().fullscreen_active);
  EXPECT_NE(capture.text().find("Couldn't set app to fullscreen"), std::string::npos);
  host_.Push(WindowMessageKind::kFocusGained);
  Window_PumpMessages();
  EXPECT_EQ(Run_ResetCountdown, 10);
  EXPECT_NE(capture.text().find("Trying to reset display as we're not in fullscreen\n"), std::string::npos);
}

TEST_F(WindowTest, AltEnterTogglesOnlyWithTheOptionAndIsEatenEitherWay) {
  static int forwarded = 0;
  forwarded = 0;
  Window_SetInputSink([](const WindowMessage&) { ++forwarded; });
  for (bool option : {false, true}) {
    Window_SetOptions(true, option, false);
    WindowMessage enter;
    enter.kind = WindowMessageKind::kKeyDown;
    enter.a = 13;
    enter.alt = true;
    host_.Push(enter);
    Window_PumpMessages();
    EXPECT_EQ(Window_State().want_fullscreen, option);
  }
  EXPECT_EQ(forwarded, 0);
  Window_SetInputSink(nullptr);
  Window_SetOptions(true, true, false);
}

TEST_F(WindowTest, AltAndControlArriveTwiceWithTheSidedKey) {
  static std::vector<int32_t> keys;
  keys.clear();
  Window_SetInputSink([](const WindowMessage& m) { keys.push_back(m.a); });
  host_.Push(WindowMessageKind::kKeyDown, 18, 1);
  host_.Push(WindowMessageKind::kKeyUp, 17, 0);
  host_.Push(WindowMessageKind::kKeyDown, 16, 1);
  host_.Push(WindowMessageKind::kKeyDown, 'A', 0);
  Window_PumpMessages();
  Window_SetInputSink(nullptr);
  EXPECT_EQ(keys, (std::vector<int32_t>{18, 0xA5, 17, 0xA2, 16, 'A'}));
}

TEST_F(WindowTest, CloseAndQuitRaiseTheQuitRequest) {
  for (WindowMessageKind kind : {WindowMessageKind::kClose, WindowMessageKind::kQuit}) {
    host_.Push(kind);
    Window_PumpMessages();
    EXPECT_TRUE(Platform_TakeQuitSignal());
  }
}

TEST_F(WindowTest, FocusFollowsMessagesAndFreezesOnlyWithTheOption) {
  host_.Push(WindowMessageKind::kFocusLost);
  Window_PumpMessages();
  EXPECT_FALSE(Window_State().has_focus);
  EXPECT_FALSE(Window_FreezeForLostFocus());
  Window_SetOptions(true, true, true);
  EXPECT_TRUE(Window_FreezeForLostFocus());
  host_.Push(WindowMessageKind::kFocusGained);
  Window_PumpMessages();
  EXPECT_FALSE(Window_FreezeForLostFocus());
  Window_SetOptions(true, true, false);
}

TEST_F(WindowTest, DisplayResetTakesOnlySampleCountsTheDeviceHas) {
  Window_State().msaa_levels = 2 | 4;
  Display_Reset(8, true);
  EXPECT_EQ(Window_State().msaa_samples, 0u);
  EXPECT_TRUE(VsyncOn);
  EXPECT_EQ(Run_ResetCountdown, 1);
  Run_ResetCountdown = 0;
  // Asked for during a frame: that frame isn't presented, the next one resets the device.
  Start_Frame();
  Display_Reset(4, false);
  EXPECT_EQ(Window_State().msaa_samples, 4u);
  Device_EndFrame(true);
  Device_Present(0);
  EXPECT_EQ(device_.count(DeviceCallKind::kPresent), 0);
  Frame();
  EXPECT_EQ(Run_ResetCountdown, 0);
  EXPECT_EQ(device_.count(DeviceCallKind::kPresent), 1);
}

TEST_F(WindowTest, ALostDeviceIsRebuiltWithoutEndingTheGame) {
  device_.set_present_result(false);
  const uint32_t before = Window_State().device_generation;
  Frame();
  EXPECT_EQ(Window_State().device_generation, before + 1);
  EXPECT_NE(GR_MainRenderTarget(), 0u);
  device_.set_present_result(true);
}

TEST_F(WindowTest, StartFrameBindsWhiteEverywhereAndOpensTheScene) {
  Start_Frame();
  EXPECT_EQ(Window_State().scene_open, 1);
  for (int stage = 0; stage < kTextureStages; ++stage) EXPECT_EQ(device_.bound(stage), GR_WhiteTexture()->device_);
  EXPECT_EQ(device_.target(), GR_MainRenderTarget());
  const uint32_t frames = Window_State().frame_number;
  Start_Frame();
  EXPECT_EQ(Window_State().frame_number, frames) << "a second start inside the scene does nothing";
  Device_EndFrame(false);
  EXPECT_EQ(Window_State().scene_open, 0);
}

TEST_F(WindowTest, StartsFullscreenWhenTheHeaderSaysSo) {
  Close();
  Open(HeaderSpec{kFullscreen | kResizable, 800, 600});
  EXPECT_TRUE(host_.fullscreen);
  EXPECT_TRUE(Window_State().want_fullscreen);
  EXPECT_EQ(Window_State().saved_width, 800);
  Window_Set_Fullscreen(false);
  for (int i = 0; i < 10; ++i) Frame();
  EXPECT_EQ(host_.width, 800);
  EXPECT_EQ(host_.height, 600);
}

}  // namespace

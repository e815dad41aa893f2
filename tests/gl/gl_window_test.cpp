// The real window under a display, resized from outside the process the way a user's drag does it:
// xdotool sets the X window's size, and SDL reports each new size with no start or end of a drag.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "graphics/draw.h"
#include "graphics/gr_texture.h"
#include "gl/gl_window_fixture.h"

namespace {

constexpr uint32_t kResizable = 0x40;

class GlResizeTest : public GlWindowTest {
 protected:
  uint32_t HeaderFlags() const override { return kResizable; }

  void SetUp() override {
    GlWindowTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    if (std::system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool is not installed";
    caption_ = "kova resize test " + std::to_string(getpid());
    Window_SetCaption(caption_);
  }

  // Runs an xdotool command on our window; its standard output.
  std::string Xdotool(const std::string& command) const {
    const std::string line = "xdotool search --name '" + caption_ + "' " + command + " 2>/dev/null";
    std::string out;
    if (FILE* pipe = popen(line.c_str(), "r")) {
      char buffer[256];
      while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
      pclose(pipe);
    }
    return out;
  }

  // The user's resize: the X server's window takes the size; frames run until the window layer has
  // taken it as its request.
  void UserResize(int32_t width, int32_t height) {
    Xdotool("windowsize %@ " + std::to_string(width) + " " + std::to_string(height));
    for (int i = 0; i < 200 && Window_State().requested_width != width; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      Window_PumpMessages();
    }
    ASSERT_EQ(Window_State().requested_width, width) << "the resize never arrived";
    ASSERT_EQ(Window_State().requested_height, height);
  }

  // The window's size as the X server has it.
  std::string ServerGeometry() const {
    const std::string text = Xdotool("getwindowgeometry");
    const size_t at = text.find("Geometry: ");
    return at == std::string::npos ? text : text.substr(at + 10, text.find('\n', at) - at - 10);
  }

  // A pixel of the window's back buffer after a frame's copy, before it is shown.
  static uint32_t BackBufferPixel(int32_t x, int32_t y) {
    Graphics_Device()->SetRenderTarget(0);
    uint32_t pixel = 0;
    EXPECT_TRUE(Graphics_Device()->ReadPixels(DeviceRect{x, y, 1, 1}, &pixel));
    Graphics_Device()->SetRenderTarget(GR_MainRenderTarget());
    return pixel;
  }

  std::string caption_;
};

TEST_F(GlResizeTest, TheSizeTheUserLeavesStandsAndTheDisplayFollowsIt) {
  RunDisplayFrame();  // the first presented frame shows the window
  UserResize(200, 150);
  // While the size settles the main target keeps its size; the present scales it to the window,
  // the right way up.
  StartFullView();
  Draw_Clear(0xFF000000u);
  Draw_Rectangle(0, 0, kGlSize - 1, kGlSize / 4 - 1, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, false);
  Device_EndFrame(true);
  EXPECT_EQ(BackBufferPixel(100, 10) & 0xFFFFFFu, 0x0000FFu) << "top of the window";
  EXPECT_EQ(BackBufferPixel(100, 140) & 0xFFFFFFu, 0u) << "bottom of the window";
  Device_Present(0);
  for (int i = 0; i < 3; ++i) RunDisplayFrame();
  UserResize(220, 170);
  for (int i = 0; i < 12; ++i) RunDisplayFrame();
  EXPECT_EQ(Run_ResetCountdown, 0);
  EXPECT_EQ(Window_State().display_width, 220);
  EXPECT_EQ(Window_State().display_height, 170);
  EXPECT_EQ(GR_MainRenderTexture()->width_, 220);
  EXPECT_EQ(GR_MainRenderTexture()->height_, 170);

  for (int i = 0; i < 10; ++i) {
    RunDisplayFrame();
    Window_PumpMessages();
  }
  EXPECT_EQ(ServerGeometry(), "220x170") << "the window was sized back";
  EXPECT_EQ(Window_Get_Client_Width(), 220);
  EXPECT_EQ(Window_Get_Client_Height(), 170);

  // The picture covers the whole resized window.
  Start_Frame();
  GR_Set_View(0, 0, 220, 170, 0);
  Draw_Rectangle(0, 0, 219, 169, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, false);
  Device_EndFrame(true);
  EXPECT_EQ(BackBufferPixel(215, 165) & 0xFFFFFFu, 0x0000FFu);
  Device_Present(0);
}

TEST_F(GlResizeTest, AFullscreenRoundTripEndsAtTheSizeAskedForMeanwhile) {
  RunDisplayFrame();
  Window_Set_Fullscreen(true);
  for (int i = 0; i < 12; ++i) {
    RunDisplayFrame();
    Window_PumpMessages();
  }
  // A bare X server has no window manager to make the window cover the screen; what matters here
  // is where the window ends up afterwards.
  EXPECT_TRUE(Window_State().fullscreen_active);
  GR_Window_Set_Size(100, 80);
  Window_Set_Fullscreen(false);
  for (int i = 0; i < 30; ++i) {
    RunDisplayFrame();
    Window_PumpMessages();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_FALSE(Window_State().fullscreen_active);
  EXPECT_EQ(Run_ResetCountdown, 0);
  EXPECT_EQ(ServerGeometry(), "100x80");
  EXPECT_EQ(Window_State().display_width, 100);
  EXPECT_EQ(Window_State().display_height, 80);
}

}  // namespace

// Real input through SDL under a display: xdotool moves the pointer into the window, clicks the
// X server's buttons and types a key, and the window's messages carry the runtime's numbers
// (SDL's middle and right swap places; the first extra button is 4) into the input state.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "gl/gl_window_fixture.h"
#include "input/io.h"

namespace {

std::vector<WindowMessage> g_messages;

void capture(const WindowMessage& message) {
  g_messages.push_back(message);
  IO_HandleMessage(message);
}

class GlInputTest : public GlWindowTest {
 protected:
  void SetUp() override {
    GlWindowTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    if (std::system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool is not installed";
    caption_ = "kova input test " + std::to_string(getpid());
    Window_SetCaption(caption_);
    IO_State().Reset();
    g_messages.clear();
    Window_SetInputSink(capture);
  }
  void TearDown() override {
    Window_SetInputSink(nullptr);
    GlWindowTest::TearDown();
  }

  void Xdotool(const std::string& command) const {
    const std::string line = "xdotool search --sync --name '" + caption_ + "' " + command + " > /dev/null 2>&1";
    ASSERT_EQ(std::system(line.c_str()), 0) << line;
  }

  // Pumps until a message of this kind (and first argument) arrived.
  bool WaitFor(WindowMessageKind kind, int32_t a) {
    for (int i = 0; i < 400; ++i) {
      for (const WindowMessage& m : g_messages) {
        if (m.kind == kind && m.a == a) return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      Window_PumpMessages();
    }
    return false;
  }

  std::string caption_;
};

TEST_F(GlInputTest, ButtonsKeysAndTextArriveInTheRuntimesNumbers) {
  RunDisplayFrame();  // the first presented frame shows the window
  Xdotool("mousemove --window %1 20 30");
  ASSERT_TRUE(WaitFor(WindowMessageKind::kMouseMove, 20)) << "the pointer never came in";
  const struct {
    int x_button;
    int32_t runtime;
  } buttons[] = {{1, 1}, {3, 2}, {2, 3}, {8, 4}, {9, 5}};
  for (const auto& b : buttons) {
    Xdotool("click " + std::to_string(b.x_button));
    EXPECT_TRUE(WaitFor(WindowMessageKind::kMouseUp, b.runtime)) << "X button " << b.x_button;
  }
  IoState& io = IO_State();
  io.BeginFrame();
  io.TakeRaw(false, false, 0, 0);
  for (int32_t b = 0; b < kIoButtonCount; ++b) {
    EXPECT_EQ(io.frame.mousePressed[b], 1) << b + 1;
    EXPECT_EQ(io.frame.mouseReleased[b], 1) << b + 1;
  }
  EXPECT_EQ(io.frame.pointerX[0], 20);
  EXPECT_EQ(io.frame.pointerY[0], 30);

  Xdotool("key a");
  ASSERT_TRUE(WaitFor(WindowMessageKind::kKeyUp, 'A'));
  WaitFor(WindowMessageKind::kText, 0);  // the text message, if it comes after the key
  io.BeginFrame();
  io.TakeRaw(false, false, 0, 0);
  EXPECT_EQ(io.frame.keyPressed['A'], 1);
  EXPECT_EQ(io.frame.keyReleased['A'], 1);
  EXPECT_EQ(io.frame.lastKey, 'A');
  EXPECT_EQ(io.frame.keyboardString[0], static_cast<uint32_t>('a'));
}

}  // namespace

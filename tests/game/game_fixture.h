#pragma once
// The game as the runner starts it, for the game's tests: build/data.win loaded with the program's
// compiled code tables on the fake window host and the null device in a 640 x 360 window, the
// global scripts run, the first room started and the device layer's input started; with a mixing
// layer in memory when a test listens to the sounds. Frame() delivers the window messages a test
// queued on host_, updates the input and runs one frame of the runner.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/script_api.h"
#include "graphics/window.h"
#include "input/io.h"
#include "platform/fake/fake_audio.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/draw_game.h"

class GameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Window_UsePlatform(&host_, &device_);
    std::ifstream in(std::string(KOVA_BINARY_DIR) + "/data.win", std::ios::binary);
    std::vector<uint8_t> image{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    ASSERT_GT(image.size(), 1024u) << "build the data_win target first";
    if (with_audio_) game_.audio = FakeAudio_Platform();
    game_.window_width = 640;
    game_.window_height = 360;
    ASSERT_TRUE(game_.StartImage(std::move(image), Compiled_CodeTables()));
    IO_Init(IoSettings{});
    host_.input_focus = true;
  }
  void TearDown() override {
    IO_End();
    game_.Stop();
    Window_UsePlatform(nullptr, nullptr);
  }

  void Frame() {
    Window_PumpMessages();
    IO_Update();
    game_.Frame();
  }

  FakeWindowHost host_;
  NullDevice device_{640, 360};
  DrawGame game_;
  bool with_audio_ = false;
};

// The text of a string value, or a mark for anything else.
inline std::string Text(const tsl::Value& v) {
  return RV_Kind(*v) == kRVString ? RV_StringText(*v) : "<not a string>";
}
// A struct's member, and a global variable.
inline tsl::Value Member(const tsl::Value& record, const char* name) {
  return tsl::get(KV_AsInstance(record.object()), name);
}
inline tsl::Value Global(const char* name) { return tsl::get(tsl::global(), name); }

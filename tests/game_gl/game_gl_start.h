#pragma once
// Starts the game's own data file (build/data.win) as the runner does, on the SDL window host and
// the OpenGL device under the test's display, in a 640x360 window. GameGlTest is a fixture that
// does so for each test, stops the game after it, and calls the game's compiled scripts.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/script_api.h"
#include "graphics/window.h"
#include "platform/fake/fake_display.h"
#include "platform/gl/gl_device.h"
#include "platform/process.h"
#include "platform/sdl/sdl_window_host.h"
#include "support/draw_game.h"

inline void StartGameOnGl(DrawGame* game) {
  Window_UsePlatform(nullptr, nullptr);
  Window_SetDisplayPlatform(DisplayPlatform{{SdlWindowHost_Create, GlDevice_Create}, FakeDisplay_Backend()});
  std::ifstream in(std::string(KOVA_BINARY_DIR) + "/data.win", std::ios::binary);
  std::vector<uint8_t> image{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  ASSERT_GT(image.size(), 1024u) << "build the data_win target first";
  game->window_width = 640;
  game->window_height = 360;
  ASSERT_TRUE(game->StartImage(std::move(image), Compiled_CodeTables()));
}

class GameGlTest : public ::testing::Test {
 protected:
  void SetUp() override { StartGameOnGl(&game_); }
  void TearDown() override {
    game_.Stop();
    Platform_TakeQuitSignal();
  }

  // A compiled script called as game code calls it, with the global object as self and other.
  static tsl::Value call(KVScriptFunction script, std::vector<RValue> args) {
    std::vector<RValue*> pointers;
    for (RValue& a : args) pointers.push_back(&a);
    tsl::Value result;
    CInstance* global = tsl::global();
    script(global, global, result.get(), static_cast<int>(pointers.size()), pointers.data());
    return result;
  }

  DrawGame game_;
};

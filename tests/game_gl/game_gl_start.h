#pragma once
// GameGlTest: the game's own data file (build/data.win) started for each test as the runner starts
// it, on the SDL window host and the OpenGL device under the test's display, in a 640x360 window,
// and stopped after it; tests skip without a display. call() runs the game's compiled scripts.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "compiled_code.h"
#include "core/script_api.h"
#include "platform/process.h"
#include "support/game_file.h"
#include "support/gl_display.h"

class GameGlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UseGlDisplay();
    StartGameFile(&game_, Compiled_CodeTables());
    if (!Window_State().real_display) GTEST_SKIP() << "no display";
  }
  void TearDown() override {
    game_.Stop();
    Platform_TakeQuitSignal();
  }

  // A compiled script called as game code calls it, with the global object as self and other.
  static tsl::Value call(KVScriptFunction script, std::vector<RValue> args) {
    return CallScript(script, std::move(args));
  }

  DrawGame game_;
};

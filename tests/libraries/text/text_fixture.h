#pragma once
// The text library as the game meets it: build/data.win is started with the program's compiled
// code tables on the fake window host and the null device (the library's start-up runs among the
// global scripts and registers the game's three fonts), and the library's scripts are called as
// compiled game code calls them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/console.h"
#include "core/error.h"
#include "core/script_api.h"
#include "graphics/window.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/builtin_call.h"
#include "support/draw_game.h"
#include "text/scribble.h"

class TextLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A script of the library called with the global object as self.
  tsl::Value call(KVScriptFunction script, std::vector<RValue> args = {});
  // target.name(args...), with the global object as self.
  tsl::Value method(const tsl::Value& target, const char* name, std::vector<RValue> args = {});
  // The error text a call raises; "" when it raises none.
  std::string error_of(KVScriptFunction script, std::vector<RValue> args = {});
  static tsl::Value str(const char* text) { return tsl::Value::String(text); }

  FakeWindowHost host_;
  NullDevice device_{640, 360};
  DrawGame game_;
};

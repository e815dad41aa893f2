// The input library on the game's data file: a scripted click, turned into a -playback file by
// kova-inputscript and played back through the device layer, is a press of the game's `select`
// verb on the click's frame and on no other; its release comes on the next frame, and the cursor
// stands where the click was. build/data.win runs with the program's compiled code tables.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/function_table.h"
#include "core/script_api.h"
#include "graphics/window.h"
#include "input/io.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/fixture.h"
#include "support/game_file.h"

namespace {

tsl::Value call(const char* name, std::initializer_list<RValue> args = {}) {
  int32_t index = -1;
  EXPECT_TRUE(Function_Find(name, &index)) << name;
  return tsl::call(index, tsl::global(), tsl::global(), args);
}

TEST(InputSelectTest, AScriptedClickIsASelectPressOnItsFrameOnly) {
  TempDir dir;
  const std::string bin = KOVA_BINARY_DIR;
  const std::string rec = dir.file("select.rec");
  ASSERT_EQ(std::system((bin + "/kova-inputscript " + std::string(KOVA_SOURCE_DIR) + "/tests/e2e/select_click.txt " +
                         rec + " > /dev/null")
                            .c_str()),
            0);

  FakeWindowHost host;
  NullDevice device{640, 360};
  Window_UsePlatform(&host, &device);
  DrawGame game;
  StartGameFile(&game, Compiled_CodeTables());
  IO_Init(IoSettings{"", rec, {}});

  std::string pressed, held, released, cancel;
  for (int frame = 0; frame < 20; ++frame) {
    IO_Update();
    game.Frame();
    const tsl::Value select = tsl::Value::String("select");
    const tsl::Value escape = tsl::Value::String("cancel");
    pressed += RV_ToBool(*call("input_check_pressed", {*select})) ? '1' : '.';
    held += RV_ToBool(*call("input_check", {*select})) ? '1' : '.';
    released += RV_ToBool(*call("input_check_released", {*select})) ? '1' : '.';
    cancel += RV_ToBool(*call("input_check_pressed", {*escape})) ? '1' : '.';
    if (frame == 10) {
      EXPECT_EQ(call("input_cursor_x").real(), 320);
      EXPECT_EQ(call("input_cursor_y").real(), 180);
    }
  }
  //                  0123456789012345678
  EXPECT_EQ(pressed, "..........1.........");
  EXPECT_EQ(held, "..........1.........");
  EXPECT_EQ(released, "...........1........");
  EXPECT_EQ(cancel, "...............1....");

  IO_End();
  game.Stop();
  Window_UsePlatform(nullptr, nullptr);
}

}  // namespace

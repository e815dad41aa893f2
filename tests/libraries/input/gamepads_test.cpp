// Gamepads through the library: a plain joystick remapped by a controller database line from
// SDL_GAMECONTROLLERCONFIG (buttons, axes, hats, a trigger on a whole axis, and the warnings of bad
// entries), a pad with no line, vibration summed into the motors, and the status reports; the
// database, type table and blacklist files beside the game; bindings a pad can't answer; icon
// tables; gyro settings.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "input_fixture.h"
#include "support/fixture.h"

namespace {

constexpr double kFaceSouth = 32769, kFaceEast = 32770, kTriggerL = 32775, kDpadUp = 32781, kAxisLH = 32785;
constexpr const char* kGuid = "0300000034120000cdab000000000000";

class InputGamepadsTest : public InputLibraryTest {
 protected:
  void SetUp() override {
    setenv("SDL_GAMECONTROLLERCONFIG",
           "# a comment line\n"
           "0300000034120000cdab000000000000,Plain Stick Db,a:b2,b:b1,leftx:a0,lefty:a1,dpup:h0.1,"
           "lefttrigger:a2,bogus:b3,x:q7,platform:Linux,\n"
           "0300000034120000cdab000000000000,Windows Twin,a:b0,platform:Windows,\n",
           1);
    InputLibraryTest::SetUp();
  }
  void TearDown() override {
    InputLibraryTest::TearDown();
    unsetenv("SDL_GAMECONTROLLERCONFIG");
  }
  bool pad_check(double index, double constant) {
    return RV_ToBool(*call("input_gamepad_check", {RV_Real(index), RV_Real(constant)}));
  }
  double pad_value(double index, double constant) {
    return call("input_gamepad_value", {RV_Real(index), RV_Real(constant)}).real();
  }
  // Controller 7 claimed by player 0 with its face button, bound to select in the gamepad profile.
  void claim_pad() {
    const tsl::Value b = call("input_binding_gamepad_button", {RV_Real(kFaceSouth)});
    call("input_binding_set", {*text("select"), *b, RV_Real(0), RV_Real(0), *text("gamepad")});
    attach_controller(7);
    frames(4);
    pad(7).reading.button[0] = 1;
    frame();
    ASSERT_EQ(call("input_player_get_gamepad").real(), 0);
  }
};

TEST_F(InputGamepadsTest, ADatabaseLineRemapsAPlainJoystick) {
  EXPECT_NE(start_output_.find("Input: External SDL2 string found"), std::string::npos) << start_output_;
  ConsoleCapture capture;
  attach_joystick(3, kGuid);
  frame();
  const std::string said = capture.text();
  EXPECT_NE(said.find("Input: Gamepad 4 discovered"), std::string::npos) << said;
  EXPECT_NE(said.find("description = \"Plain Stick Db\" (vendor=3412, product=cdab)"), std::string::npos) << said;
  EXPECT_NE(said.find("Input: Warning! Entry name \"bogus\" not recognised"), std::string::npos) << said;
  EXPECT_NE(said.find("Input: Warning! Mapping entry could not be parsed (full string was \"x:q7\")"), std::string::npos)
      << said;
  EXPECT_STREQ(RV_StringText(*call("input_gamepad_get_description", {RV_Real(4)})), "Plain Stick Db");

  pad(3).reading.raw_button[2] = 1;
  pad(3).reading.raw_axis[0] = 16384;
  pad(3).reading.raw_axis[2] = -32768;  // a trigger at rest
  pad(3).reading.raw_hat[0] = 1;
  frame();
  EXPECT_TRUE(pad_check(4, kFaceSouth)) << "raw button 2 is A";
  EXPECT_TRUE(RV_ToBool(*call("input_gamepad_check_pressed", {RV_Real(4), RV_Real(kFaceSouth)})));
  EXPECT_FALSE(pad_check(4, kFaceEast));
  EXPECT_NEAR(pad_value(4, kAxisLH), 0.5, 0.01);
  EXPECT_TRUE(RV_ToBool(*call("input_gamepad_is_axis", {RV_Real(4), RV_Real(kAxisLH)})));
  EXPECT_TRUE(pad_check(4, kDpadUp)) << "hat 0 bit 1 is the cross's up";
  EXPECT_NEAR(pad_value(4, kTriggerL), 0, 0.01) << "a trigger on a whole axis rests at 0";
  pad(3).reading.raw_axis[2] = 32767;
  pad(3).reading.raw_button[2] = 0;
  frame();
  EXPECT_NEAR(pad_value(4, kTriggerL), 1, 0.01);
  EXPECT_TRUE(RV_ToBool(*call("input_gamepad_check_released", {RV_Real(4), RV_Real(kFaceSouth)})));
  EXPECT_NEAR(call("input_gamepad_delta", {RV_Real(4), RV_Real(kTriggerL)}).real(), 1, 0.01);
}

TEST_F(InputGamepadsTest, APadWithoutALineKeepsTheDeviceLayersMapping) {
  ConsoleCapture capture;
  attach_joystick(3, "03000000aaaa0000bbbb000000000000", "Other Stick");
  frame();
  EXPECT_NE(capture.text().find("Input: Warning! No SDL definition found for 03000000aaaa0000bbbb000000000000 "
                                "(vendor=aaaa, product=bbbb)"),
            std::string::npos)
      << capture.text();
  EXPECT_NE(capture.text().find("No SDL2 remapping available, falling back to"), std::string::npos);
  EXPECT_STREQ(RV_StringText(*call("input_gamepad_get_type", {RV_Real(4)})), "unknown");
}

TEST_F(InputGamepadsTest, ConnectionsShowInTheStatusReports) {
  attach_controller(7);
  frame();
  const tsl::Value status = call("input_gamepads_get_status");
  EXPECT_TRUE(RV_ToBool(*tsl::get(KV_AsInstance(status.object()), "any_changed")));
  const tsl::Value connections = tsl::get(KV_AsInstance(status.object()), "new_connections");
  ASSERT_EQ(connections.get()->pArray->length, 1);
  EXPECT_EQ(RV_ToDouble(connections.get()->pArray->pArray[0]), 0);
  frame();
  EXPECT_FALSE(RV_ToBool(*tsl::get(KV_AsInstance(call("input_gamepads_get_status").object()), "any_changed")));
  detach_pads();
  frame();
  const tsl::Value gone = tsl::get(KV_AsInstance(call("input_gamepads_get_status").object()), "new_disconnections");
  ASSERT_EQ(gone.get()->pArray->length, 1);
}

TEST_F(InputGamepadsTest, VibrationReachesThePlayersPadAndEnds) {
  claim_pad();
  if (HasFatalFailure()) return;
  // Full strength panned right for 100 ms.
  call("input_vibrate_constant", {RV_Real(1), RV_Real(1), RV_Real(100)});
  frames(3);
  EXPECT_NEAR(pad(7).rumble_low, 0.0f, 1e-4);
  EXPECT_NEAR(pad(7).rumble_high, 1.0f, 1e-4);
  call("input_vibrate_set_strength", {RV_Real(0.5)});
  frames(3);  // the motors hear of it at the device layer's next poll
  EXPECT_NEAR(pad(7).rumble_high, 0.5f, 1e-4);
  frames(8);
  EXPECT_NEAR(pad(7).rumble_high, 0.0f, 1e-4) << "the event ended";
  call("input_vibrate_set_pause", {RV_Bool(true)});
  ConsoleCapture capture;
  call("input_vibrate_constant", {RV_Real(1), RV_Real(0), RV_Real(100)});
  EXPECT_NE(capture.text().find("Input: Warning! New vibration event ignored, player 0 vibration is paused"),
            std::string::npos);
  EXPECT_NE(error_of("input_trigger_effect_off", {RV_Real(32769)}).find("Value 32769 not a gamepad trigger"),
            std::string::npos);
}

TEST_F(InputGamepadsTest, BindingsThePadCannotAnswerAreListed) {
  const tsl::Value guide = call("input_binding_gamepad_button", {RV_Real(32889)});
  call("input_binding_set", {*text("refund"), *guide, RV_Real(0), RV_Real(1), *text("gamepad")});
  claim_pad();
  if (HasFatalFailure()) return;
  const tsl::Value invalid = call("input_player_get_invalid_gamepad_bindings");
  ASSERT_EQ(invalid.get()->pArray->length, 1) << "the device layer's layout has no guide button";
  KVObjectBase* entry = RV_ObjectOf(invalid.get()->pArray->pArray[0]);
  EXPECT_STREQ(RV_StringText(*tsl::get(KV_AsInstance(entry), "verb")), "refund");
  EXPECT_EQ(RV_ToDouble(*tsl::get(KV_AsInstance(entry), "alternate")), 1);
  EXPECT_EQ(RV_ToDouble(*tsl::get(KV_AsInstance(entry), "tv")), 32889);
  EXPECT_EQ(call("input_player_get_invalid_gamepad_bindings", {RV_Real(1)}).get()->pArray->length, 0)
      << "player 1 has no pad";
}

TEST_F(InputGamepadsTest, IconsComeFromTheTablesOfTheBindingsDevice) {
  const tsl::Value keys = call("input_icons", {*tsl::Value::String("keyboard and mouse")});
  const tsl::Value add = tsl::get(KV_AsInstance(keys.object()), "add");
  const tsl::Value chained =
      tsl::call_method(*add, tsl::global(), tsl::global(), {*tsl::Value::String("escape"), *tsl::Value::String("ESC")});
  EXPECT_EQ(chained.object(), keys.object()) << "add chains";
  const tsl::Value pads = call("input_icons", {*tsl::Value::String("gamepad fallback")});
  tsl::call_method(*tsl::get(KV_AsInstance(pads.object()), "add"), tsl::global(), tsl::global(),
                   {*tsl::Value::String("gamepad face south"), RV_Real(12)});
  struct Case {
    tsl::Value binding;
    const char* text;
    double number;
  };
  const Case cases[] = {
      {call("input_binding_key", {RV_Real(27)}), "ESC", 0},
      {call("input_binding_key", {RV_Real(32)}), "space", 0},
      {call("input_binding_gamepad_button", {RV_Real(kFaceSouth)}), nullptr, 12},
      {call("input_binding_gamepad_button", {RV_Real(kFaceEast)}), "gamepad face east", 0},
      {tsl::Value::String("nothing"), "not a binding", 0},
  };
  for (const Case& c : cases) {
    const tsl::Value icon = call("input_binding_get_icon", {*c.binding});
    if (c.text != nullptr) {
      ASSERT_EQ(RV_Kind(*icon), static_cast<uint32_t>(kRVString));
      EXPECT_STREQ(RV_StringText(*icon), c.text);
    } else {
      EXPECT_EQ(icon.real(), c.number);
    }
  }
  EXPECT_NE(error_of("input_icons", {RV_Real(3)}).find("Icon category should be a string"), std::string::npos);
}

TEST_F(InputGamepadsTest, GyroSettingsKeepWithoutMotionData) {
  call("input_gyro_params_set", {RV_Real(1), RV_Real(2), RV_Real(3), RV_Real(-4)});
  const tsl::Value params = call("input_gyro_params_get");
  EXPECT_EQ(RV_ToDouble(*tsl::get(KV_AsInstance(params.object()), "axis_x")), 1);
  EXPECT_EQ(RV_ToDouble(*tsl::get(KV_AsInstance(params.object()), "axis_y")), 2);
  EXPECT_EQ(RV_ToDouble(*tsl::get(KV_AsInstance(params.object()), "sensitivity_x")), 3);
  EXPECT_EQ(RV_ToDouble(*tsl::get(KV_AsInstance(params.object()), "sensitivity_y")), -4);
  ConsoleCapture capture;
  call("input_gyro_enabled_set", {RV_Bool(true)});
  EXPECT_NE(capture.text().find("Input: Warning! Gyro not available for player 0"), std::string::npos);
  EXPECT_FALSE(RV_ToBool(*call("input_gyro_enabled_get")));
  EXPECT_EQ(RV_Kind(*call("input_motion_data_get")), static_cast<uint32_t>(kRVUndefined));
  EXPECT_NE(error_of("input_gyro_params_set", {RV_Real(5)}).find("Gyro axis 5 not recognised"), std::string::npos);
}

// The game's included files: the controller database, the type table and the blacklist, read from
// the working directory at start-up.
class InputDatabaseFilesTest : public InputLibraryTest {
 protected:
  void SetUp() override {
    previous_ = std::filesystem::current_path();
    std::ofstream(dir_.file("sdl2.txt")) << "0300000034120000cdab000000000000,File Stick,a:b1,platform:Linux,\n";
    std::ofstream(dir_.file("controllertypes.csv")) << "# vendor,product,type\n"
                                                       "vendor,product,type\n"
                                                       "0x1234,0xabcd,PS5Controller,a stick that says it is a PS5 pad\n";
    std::ofstream(dir_.file("controllerblacklist.csv")) << "linux,description contains,Bad Board\n"
                                                           "windows,vid+pid,3412+cdab\n"
                                                           "all,gizmo,whatever\n";
    std::filesystem::current_path(dir_.path());
    InputLibraryTest::SetUp();
  }
  void TearDown() override {
    InputLibraryTest::TearDown();
    std::filesystem::current_path(previous_);
  }

  TempDir dir_;
  std::filesystem::path previous_;
};

TEST_F(InputDatabaseFilesTest, TheFilesNameTypesMappingsAndBlacklistedPads) {
  EXPECT_EQ(start_output_.find("not found in Included Files"), std::string::npos) << start_output_;
  EXPECT_NE(start_output_.find("Input: Warning! Blacklist rule \"gizmo\" not recognised"), std::string::npos);
  ConsoleCapture capture;
  attach_joystick(3, kGuid);
  attach_joystick(4, "03000000aaaa0000bbbb000000000000", "Bad Board Deluxe");
  frame();
  const std::string said = capture.text();
  EXPECT_NE(said.find("type = \"ps5\" (PS5Controller, guessed=false), description = \"File Stick\""), std::string::npos)
      << said;
  EXPECT_STREQ(RV_StringText(*call("input_gamepad_get_type", {RV_Real(4)})), "ps5");
  pad(3).reading.raw_button[1] = 1;
  frame();
  EXPECT_TRUE(RV_ToBool(*call("input_gamepad_check", {RV_Real(4), RV_Real(kFaceSouth)}))) << "raw button 1 is A";

  EXPECT_NE(said.find("Input: Warning! Gamepad 5 is blacklisted (description contains bad board)"), std::string::npos)
      << said;
  EXPECT_FALSE(RV_ToBool(*call("input_gamepad_is_connected", {RV_Real(5)})));
  pad(4).reading.raw_button[0] = 1;
  frame();
  EXPECT_FALSE(RV_ToBool(*call("input_gamepad_check", {RV_Real(5), RV_Real(kFaceSouth)})));
}

}  // namespace

// Gamepads through the fake host's controllers and joysticks: slots, the fixed layout and its
// constants, deadzones and thresholds, the mapping of a pool pad, connect and lose events, motors.
#include "input/gamepad.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/fake_pads.h"
#include "storage/ds_core.h"
#include "storage/ds_map.h"
#include "support/fixture.h"
#include "world/event_async.h"

namespace {

constexpr int32_t kGpFace1 = 32769;      // A
constexpr int32_t kGpShoulderLB = 32773;
constexpr int32_t kGpStart = 32778;
constexpr int32_t kGpPadU = 32781;
constexpr int32_t kGpTriggerL = 32775;
constexpr int32_t kGpAxisLH = 32785;
constexpr int32_t kGpAxisLV = 32786;

// {event_type, pad_index} of each queued system event, in order.
std::vector<std::pair<std::string, int>> take_events() {
  std::vector<std::pair<std::string, int>> events;
  for (const EventAsyncRequest& request : Event_TakeAsyncRequests()) {
    EXPECT_EQ(request.subtype, 75);
    DsLock lock(DsMutex());
    CDS_Map* map = DS_Find<CDS_Map>(request.map);
    if (map == nullptr) continue;
    RValue key = RV_Undefined();
    RV_SetString(&key, "event_type");
    const RValue* type = map->find(key);
    RV_FreeToUndefined(&key);
    RV_SetString(&key, "pad_index");
    const RValue* index = map->find(key);
    RV_FreeToUndefined(&key);
    events.emplace_back(type != nullptr ? RV_StringText(*type) : "?", index != nullptr ? static_cast<int>(index->val) : -1);
  }
  return events;
}

class GamePadTest : public ::testing::Test {
 protected:
  void SetUp() override { Event_TakeAsyncRequests(); }
  void TearDown() override {
    GamePads_End();
    Event_TakeAsyncRequests();
    unsetenv("SDL_GAMECONTROLLERCONFIG");
  }
  void start(bool pool = true) { GamePads_Init(&host_, GamePadSettings{pool, dir_.path() + "/", ""}); }
  FakeWindowHost::FakePad& pad(int32_t id) { return *host_.Pad(id); }

  FakeWindowHost host_;
  TempDir dir_;
};

TEST_F(GamePadTest, TableSizeFollowsThePoolSwitch) {
  start(false);
  EXPECT_EQ(GamePads_Count(), 4);
  GamePads_End();
  start(true);
  EXPECT_EQ(GamePads_Count(), 12);
  EXPECT_EQ(GamePads_Slot(12), nullptr);
  EXPECT_EQ(GamePads_Slot(-1), nullptr);
  EXPECT_EQ(GamePads_Slot(0)->buttonCount, 16);
  EXPECT_EQ(GamePads_Slot(0)->axisCount, 4);
}

TEST_F(GamePadTest, ControllerReadsThroughTheFixedLayout) {
  host_.pads.push_back(FakeController(5));
  start();
  GamePads_Poll();
  EXPECT_EQ(take_events(), (std::vector<std::pair<std::string, int>>{{"gamepad discovered", 0}}));
  const GamePad& slot = *GamePads_Slot(0);
  ASSERT_TRUE(slot.connected);
  EXPECT_EQ(slot.description, "Test Pad");
  EXPECT_EQ(slot.guid, "03000000de2800000112000001000000");

  PadReading& r = pad(5).reading;
  r.button[static_cast<int>(PadButton::kA)] = 1;
  r.button[static_cast<int>(PadButton::kStart)] = 1;
  r.button[static_cast<int>(PadButton::kDpadUp)] = 1;
  r.axis[static_cast<int>(PadAxis::kLeftX)] = 16384;
  r.axis[static_cast<int>(PadAxis::kLeftY)] = -32768;  // pushed up: the system's y grows downward
  r.axis[static_cast<int>(PadAxis::kLeftTrigger)] = 32767;
  GamePads_Poll();
  struct Case {
    int32_t constant;
    float value;
  };
  const Case buttons[] = {{kGpFace1, 1.0f}, {kGpStart, 1.0f}, {kGpPadU, 1.0f}, {kGpShoulderLB, 0.0f}};
  for (const Case& c : buttons) {
    EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 0, c.constant), c.value) << c.constant;
    EXPECT_EQ(GamePad_ButtonPressed(slot, 0, c.constant), c.value > 0.5f) << c.constant;
  }
  EXPECT_NEAR(GamePad_ButtonValue(slot, 0, kGpTriggerL), 255 * 0.00390625, 1e-6);
  EXPECT_NEAR(GamePad_AxisValue(slot, 0, kGpAxisLH), 0.5, 1e-3);
  EXPECT_LT(GamePad_AxisValue(slot, 0, kGpAxisLV), -0.99f) << "up reads negative through the constant";
  EXPECT_GT(GamePad_AxisValue(slot, 0, 1), 0.99f) << "the raw axis grows upward";
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 0, 32790), 0.0f) << "other constants read 0 on the fixed layout";

  GamePads_Poll();
  EXPECT_TRUE(GamePad_ButtonCheck(slot, 0, kGpFace1));
  EXPECT_FALSE(GamePad_ButtonPressed(slot, 0, kGpFace1)) << "pressed only in the first frame";
  r.button[static_cast<int>(PadButton::kA)] = 0;
  GamePads_Poll();
  EXPECT_TRUE(GamePad_ButtonReleased(slot, 0, kGpFace1));
}

TEST_F(GamePadTest, TriggerPressFiresOnCrossingTheThreshold) {
  host_.pads.push_back(FakeController(1));
  start();
  const GamePad& slot = *GamePads_Slot(0);
  const int16_t steps[] = {8000, 20000, 30000, 32767, 10000};
  const bool pressed[] = {false, true, false, false, false};
  const bool released[] = {false, false, false, false, true};
  for (size_t i = 0; i < std::size(steps); ++i) {
    pad(1).reading.axis[static_cast<int>(PadAxis::kLeftTrigger)] = steps[i];
    GamePads_Poll();
    EXPECT_EQ(GamePad_ButtonPressed(slot, 0, kGpTriggerL), pressed[i]) << i;
    EXPECT_EQ(GamePad_ButtonReleased(slot, 0, kGpTriggerL), released[i]) << i;
  }
}

TEST_F(GamePadTest, DeadzoneScalesWhatLiesOutsideIt) {
  host_.pads.push_back(FakeController(1));
  start();
  GamePad& slot = *GamePads_Slot(0);
  const struct {
    float deadzone;
    int16_t raw;
    float expected;
  } cases[] = {{0.2f, 19661, 0.5f}, {0.2f, 3000, 0.0f}, {0.2f, -19661, -0.5f}, {0.0f, 3277, 0.1f}, {1.0f, -100, 0.0f}, {1.0f, -32768, -1.0f}};
  for (const auto& c : cases) {
    slot.axisDeadzone = c.deadzone;
    pad(1).reading.axis[static_cast<int>(PadAxis::kLeftX)] = c.raw;
    GamePads_Poll();
    EXPECT_NEAR(GamePad_AxisValue(slot, 0, kGpAxisLH), c.expected, 1e-3) << c.deadzone << " " << c.raw;
  }
}

TEST_F(GamePadTest, LostPadQueuesTheEventAndReadsZero) {
  host_.pads.push_back(FakeController(3));
  start();
  pad(3).reading.button[static_cast<int>(PadButton::kA)] = 1;
  GamePads_Poll();
  take_events();
  host_.pads.clear();
  GamePads_Refresh();
  GamePads_Poll();
  EXPECT_EQ(take_events(), (std::vector<std::pair<std::string, int>>{{"gamepad lost", 0}}));
  const GamePad& slot = *GamePads_Slot(0);
  EXPECT_FALSE(slot.connected);
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 0, kGpFace1), 0.0f);

  // It comes back to the first free fixed slot.
  host_.pads.push_back(FakeController(4));
  GamePads_Refresh();
  GamePads_Poll();
  EXPECT_EQ(take_events(), (std::vector<std::pair<std::string, int>>{{"gamepad discovered", 0}}));
}

TEST_F(GamePadTest, BackgroundPadsKeepTheirValues) {
  host_.pads.push_back(FakeController(1));
  start();
  pad(1).reading.button[static_cast<int>(PadButton::kB)] = 1;
  GamePads_Poll();
  host_.input_focus = false;
  pad(1).reading.button[static_cast<int>(PadButton::kB)] = 0;
  GamePads_Poll();
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(*GamePads_Slot(0), 0, 32770), 1.0f);
}

TEST_F(GamePadTest, VibrationGoesToTheMotorsAtTheNextPoll) {
  host_.pads.push_back(FakeController(1));
  start();
  GamePads_Poll();
  GamePad& slot = *GamePads_Slot(0);
  slot.vibrationLeft = 0.25f;
  slot.vibrationRight = 1.0f;
  EXPECT_EQ(pad(1).rumble_high, 0.0f);
  GamePads_Poll();
  EXPECT_FLOAT_EQ(pad(1).rumble_low, 0.25f);
  EXPECT_FLOAT_EQ(pad(1).rumble_high, 1.0f);
  const int32_t calls = pad(1).rumble_calls;
  GamePads_Poll();
  EXPECT_EQ(pad(1).rumble_calls, calls) << "unchanged strengths aren't sent again each frame";
}

TEST_F(GamePadTest, JoystickTakesAPoolSlotThroughTheDatabaseFile) {
  const std::string guid = "0300000011110000aaaa000000000000";
  {
    std::FILE* file = std::fopen((dir_.path() + "/gamecontrollerdb.txt").c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fprintf(file, "# test pads\n%s,Mapped Stick,a:b1,b:b0,dpup:h0.1,leftx:a2,lefty:a0,platform:linux,\n",
                 guid.c_str());
    std::fclose(file);
  }
  host_.pads.push_back(FakeJoystick(9, guid, "Plain Stick", 4, 3));
  start();
  ASSERT_EQ(host_.pad_mappings.size(), 1u) << "the file's lines reach the system's database too";
  GamePads_Poll();
  EXPECT_EQ(take_events(), (std::vector<std::pair<std::string, int>>{{"gamepad discovered", 4}}));
  GamePad& slot = *GamePads_Slot(4);
  EXPECT_EQ(slot.description, "Mapped Stick");
  PadReading& r = pad(9).reading;
  r.raw_button[1] = 1;      // "a"
  r.raw_button[2] = 1;      // the first unmapped button: button 17
  r.raw_hat[0] = 1;         // up
  r.raw_axis[2] = -32767;   // leftx
  r.raw_axis[1] = 32767;    // unmapped: axis 4
  GamePads_Poll();
  EXPECT_EQ(slot.buttonCount, 4 - 2 + 17);
  EXPECT_EQ(slot.axisCount, 3 - 2 + 4);
  EXPECT_EQ(slot.hatCount, 0);
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 4, kGpFace1), 1.0f) << "constants are the mapped index on a pool slot";
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 4, 12), 1.0f) << "dpup from the hat";
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 4, 17), 1.0f);
  EXPECT_NEAR(GamePad_AxisValue(slot, 4, kGpAxisLH), -1.0f, 1e-4);
  EXPECT_NEAR(GamePad_AxisValue(slot, 4, 4), 1.0f, 1e-4);
}

TEST_F(GamePadTest, UnmappedJoystickReadsItsRawState) {
  host_.pads.push_back(FakeJoystick(2, "03000000ffff0000eeee000000000000", "Plain Stick", 4, 3));
  start();
  GamePads_Poll();
  GamePad& slot = *GamePads_Slot(4);
  EXPECT_EQ(slot.description, "Plain Stick");
  pad(2).reading.raw_hat[0] = 6;
  pad(2).reading.raw_button[2] = 1;
  GamePads_Poll();
  EXPECT_EQ(slot.buttonCount, 4);
  EXPECT_EQ(slot.hatCount, 1);
  EXPECT_EQ(slot.hatNow[0], 6);
  EXPECT_FLOAT_EQ(GamePad_ButtonValue(slot, 4, 2), 1.0f);
}

TEST_F(GamePadTest, EnvironmentMappingsComeAfterTheFile) {
  const std::string guid = "0300000022220000bbbb000000000000";
  setenv("SDL_GAMECONTROLLERCONFIG", (guid + ",From Env,a:b0,platform:linux").c_str(), 1);
  host_.pads.push_back(FakeJoystick(2, guid, "Plain Stick", 4, 3));
  start();
  EXPECT_EQ(GamePads_Slot(4)->description, "From Env");
  EXPECT_NE(GamePads_Database().AllLines().find("From Env"), std::string::npos);
}

}  // namespace

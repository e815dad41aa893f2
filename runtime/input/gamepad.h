#pragma once
// The gamepad table: fixed slots that scripts read pads through, filled from the window host's
// controllers and joysticks.
//
// Slots 0 to 3 have the fixed layout: 16 buttons (0 to 3 the pad's cross up, down, left, right;
// 4 start, 5 back, 6 and 7 the stick presses, 8 and 9 the shoulders, 10 and 11 the triggers from
// 0 to about 1, 12 to 15 the face buttons A, B, X, Y) and 4 axes (left x, left y, right x, right y;
// y grows upward), no hats. Controllers the system knows the layout of take them, in the order they
// arrive. Slots 4 to 11 are a pool for every other pad (and controllers beyond the fourth): raw
// buttons, axes (-1 to 1) and hats as the system numbers them, mapped through the database of
// mappings when it has a line for the pad's guid. -nodirectinput leaves only the four fixed slots.
//
// Polling happens in IO_Update, only while the game's window has focus (pads keep their last
// values in the background) and, for the fixed slots, only when the data file uses gamepad
// functions. A slot whose connected state changes queues the asynchronous System Event with
// {"event_type": "gamepad discovered" or "gamepad lost", "pad_index": slot}; a lost pad reads all
// zero. Vibration goes to the motors at the next poll. Main thread only.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/rvalue.h"
#include "input/gamepad_mapping.h"

class IWindowHost;

constexpr int32_t kFixedPadSlots = 4;
constexpr int32_t kPoolPadSlots = 8;
constexpr int32_t kFixedPadButtons = 16;
constexpr int32_t kFixedPadAxes = 4;

struct GamePadOption {
  std::string name;
  RValue value = RV_Undefined();
  bool changed = false;
};

struct GamePad {
  bool connected = false;
  int32_t buttonCount = 0, axisCount = 0, hatCount = 0;
  std::vector<float> buttonPrev, buttonNow;
  std::vector<float> axisNow, axisPrev;
  std::vector<int32_t> hatNow, hatPrev;
  const GamePadMapping* mapping = nullptr;  // the database's, or ownMapping
  std::unique_ptr<GamePadMapping> ownMapping;  // made by gamepad_test_mapping
  std::string guid;                         // "" when none
  float buttonThreshold = 0.5f;
  float axisDeadzone = 0.0f;
  float vibrationLeft = 0.0f, vibrationRight = 0.0f;
  std::string description;
  std::vector<GamePadOption> options;

  // The device behind the slot: the host's pad id, -1 for none.
  int32_t device = -1;
  bool reportedConnected = false;  // the state last announced by an event
  float sentLeft = -1.0f, sentRight = -1.0f;
  int32_t rumbleAge = 0;
};

struct GamePadSettings {
  bool pool = true;            // false with -nodirectinput
  std::string bundleDirectory;  // where "gamecontrollerdb.txt" is looked for first
  std::string saveDirectory;    // then here
};

// Sets up the table and the mapping database (the built-in text, "gamecontrollerdb.txt" beside
// the game or in the save area, then SDL_GAMECONTROLLERCONFIG), hands the file's lines to the host,
// and finds the pads attached now.
void GamePads_Init(IWindowHost* host, const GamePadSettings& settings);
void GamePads_End();
// A device came or went: slots are given to new pads and taken back from those that left.
void GamePads_Refresh();
// Reads every pad with a slot; queues the connect and lose events.
void GamePads_Poll();
// A game restart: "gamepad discovered" again for every connected slot.
void GamePads_Reannounce();

int32_t GamePads_Count();
GamePad* GamePads_Slot(int32_t slot);  // null outside the table
bool GamePads_Supported();             // the host offers pads at all
GamePadDatabase& GamePads_Database();
// Hands database lines to the host as well, so that the pads they describe become controllers.
void GamePads_AddHostMappings(const std::string& text);

// ---- Reading a pad (the rules of the builtins, on a slot) ----------------------------------------
// Standard constants (32769 and up) go through the slot kind's table; smaller values are raw.
float GamePad_ButtonValue(const GamePad& pad, int32_t slot, int32_t index);
bool GamePad_ButtonCheck(const GamePad& pad, int32_t slot, int32_t index);
bool GamePad_ButtonPressed(const GamePad& pad, int32_t slot, int32_t index);
bool GamePad_ButtonReleased(const GamePad& pad, int32_t slot, int32_t index);
float GamePad_AxisValue(const GamePad& pad, int32_t slot, int32_t index);

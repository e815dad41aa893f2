#pragma once
// The input subject: keyboard, mouse and pointer state (io_state.h) fed by the window's messages,
// turned into the frame state once per frame by IO_Update, the virtual keys, the gamepads
// (gamepad.h), and recording and playback of every frame's input.
//
// IO_Update, once per frame: count the frame and clear its edges; then either read one record of
// the playback file into the frame state, or take the raw state over, poll the gamepads and test
// the virtual keys; last, with recording on, write the frame's record. A recorded run played back
// sees the same frame state in every frame, so it takes the same course.
//
// Playback: records are read until the file ends; a truncated or damaged record ends playback
// with a console line and the frame state keeps the last good record. While playing back, live
// input never reaches the frame state. Recording stops with a console line when a write fails.
//
// IO_Init also installs what the rest of the runtime reads input through: the window's input sink,
// the keyboard and mouse stages of the frame step, the room's clearing hooks and the builtin
// variables keyboard_* and mouse_*. Main thread only.
#include <cstdint>
#include <string>

#include "input/gamepad.h"
#include "input/io_state.h"
#include "platform/window_host.h"

struct IoSettings {
  std::string recordPath;    // "" for none
  std::string playbackPath;  // "" for none; wins over recording
  GamePadSettings pads;
};

void IO_Init(const IoSettings& settings);
void IO_Update();
// Closes the recording or playback file, frees the gamepads and the virtual keys.
void IO_End();

// What the window reports (the window's input sink calls these).
void IO_HandleMessage(const WindowMessage& message);
void IO_Key_Down(int32_t key, bool repeat);
void IO_Key_Up(int32_t key);
void IO_Char(uint32_t code);
void IO_Mouse_Down(int32_t button, int32_t x, int32_t y);
void IO_Mouse_Up(int32_t button, int32_t x, int32_t y);
void IO_Wheel_Up();
void IO_Wheel_Down();
// Focus changes: the keyboard state of both sets, so held keys don't stick.
void IO_Clear_State();
// All keyboard state with both strings and mouse device 0 (io_clear, a load, the first room).
void IO_Clear();
void IO_Clear_Device(int32_t device);

IoState& IO_State();

// Playback: whether a file is being played (also after it ended), and whether it has ended.
bool IO_PlaybackActive();
bool IO_PlaybackEnded();
bool IO_RecordingActive();

// ---- Virtual keys -------------------------------------------------------------------------------
constexpr int32_t kVirtualKeyCount = 128;
constexpr uint16_t kVirtualKeyInUse = 0x2;
constexpr uint16_t kVirtualKeyVisible = 0x4;

struct VirtualKey {
  uint16_t flags = 0;
  uint16_t index = 0;
  int32_t left = 0, top = 0, right = 0, bottom = 0;  // GUI space
  int32_t width = 0, height = 0;
  int32_t key = 0;     // 0: a mouse button instead
  int32_t button = 0;
};

// The first free key: its index + 1, or -1 when none is free.
int32_t VirtualKey_Add(int32_t x, int32_t y, int32_t w, int32_t h, int32_t key);
// The key of a handle, null for a bad one.
VirtualKey* VirtualKey_Get(int32_t handle);
void VirtualKey_Delete(int32_t handle);
// Tests the pointers of the frame against the keys in use and sets their keys' state.
void VirtualKeys_Update();
// Frees every key (a room end).
void VirtualKeys_Reset();
// Draws the visible keys as white rectangles over the game (frame step 16).
void VirtualKeys_Draw();

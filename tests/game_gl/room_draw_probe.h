#pragma once
// Drawing inside the game's own room draw: the game room is entered and emptied of its instances,
// and a layer above every other one gets an end script that runs the test's drawing once a frame
// (the layer is walked by each draw pass). After the frame, Read takes the window's picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "core/frame_state.h"
#include "core/script_api.h"
#include "graphics/surface.h"
#include "support/draw_game.h"

struct RoomDrawProbe {
  std::function<void()> draw;  // the drawing of a frame; none draws nothing
  int32_t left = 0, top = 0, width = 0, height = 0;  // the window rectangle read after it
  std::vector<uint32_t> pixels;  // red in the lowest byte, rows from the top
  int64_t drawn_frame = -1;

  // The rectangle of the picture of the last frame.
  void Read() {
    SpriteBitmap shot;
    ASSERT_TRUE(Screen_Read_Rect(left, top, width, height, &shot));
    pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0);
    std::memcpy(pixels.data(), shot.pixels.data(), std::min(shot.pixels.size(), pixels.size() * 4));
  }

  uint32_t At(int32_t x, int32_t y) const {
    return pixels[static_cast<size_t>(y - top) * static_cast<size_t>(width) + static_cast<size_t>(x - left)] &
           0xFFFFFFu;
  }
};

inline RoomDrawProbe& RoomDrawProbe_Current() {
  static RoomDrawProbe probe;
  return probe;
}

inline RValue* RoomDrawProbe_Script(CInstance*, CInstance*, RValue* result, int, RValue**) {
  RoomDrawProbe& probe = RoomDrawProbe_Current();
  // Once a frame: DrawGame::Frame doesn't count frames, so its calls are told apart by DrawnSteps.
  const int64_t frame = Run_TotalFrames * 1000000 + DrawnSteps;
  if (!probe.draw || probe.drawn_frame == frame) return result;
  probe.drawn_frame = frame;
  probe.draw();
  return result;
}

// The game room entered (with its backdrop) and emptied of its own instances.
inline void EnterEmptiedGameRoom(DrawGame* game) {
  tsl::call("room_goto", nullptr, nullptr, {RV_Real(1)});
  game->Frame();
  tsl::call("instance_destroy", nullptr, nullptr, {RV_Real(-3)});
  game->Frame();
}

// Enters the game room, empties it and installs the probe's layer; the probe starts without drawing.
inline void RoomDrawProbe_Install(DrawGame* game, int32_t left, int32_t top, int32_t width, int32_t height) {
  RoomDrawProbe& probe = RoomDrawProbe_Current();
  probe = RoomDrawProbe{};
  probe.left = left;
  probe.top = top;
  probe.width = width;
  probe.height = height;
  EnterEmptiedGameRoom(game);
  const tsl::Value layer = tsl::call("layer_create", nullptr, nullptr, {RV_Real(-10000)});
  tsl::Value script;
  KVCreateMethod(script.get(), RoomDrawProbe_Script, tsl::global());
  tsl::call("layer_script_end", nullptr, nullptr, {*layer, *script});
}

#pragma once
// Readable input scripts turned into the runner's -playback files.
//
// A script is lines of "frame N: action; action ...", frames counted from 0 as the runner counts
// them (record N is what frame N reads). Blank lines and lines starting with "#" are skipped.
// Actions:
//   move to X,Y                 the pointer moves (window client coordinates)
//   click at X,Y                moves, presses the left button in frame N and lets go in frame N+1
//   press B [at X,Y]            a mouse button down: left, right, middle or 1 to 5
//   release B [at X,Y]          and up
//   wheel up | wheel down
//   key down K | key up K       K: a letter, a digit, a name (space, enter, escape, left, f1 ...)
//                               or a virtual-key number
//   tap K                       down in frame N, up in frame N+1
//   type "text"                 the characters of the text (UTF-8), as typed
// A line "frames N" asks for at least N records; without it the file ends two frames after the
// last action, so that the last release is seen.
//
// The records are made by the runner's own rules for the frame state (input/io_state.h): the
// actions of a frame are the window's messages before that frame's update.
#include <cstdint>
#include <string>
#include <vector>

struct InputAction {
  enum Kind : int32_t { kMove, kButtonDown, kButtonUp, kWheelUp, kWheelDown, kKeyDown, kKeyUp, kType };
  int64_t frame = 0;
  Kind kind = kMove;
  int32_t value = 0;  // button or key
  int32_t x = 0, y = 0;
  bool moves = false;  // the pointer moves to x, y first
  std::string text;
};

struct InputScript {
  std::vector<InputAction> actions;  // in the order of their frames, stable within one
  int64_t frames = 0;                 // records to write
};

// Parses a script; false with "line N: what is wrong" in *error.
bool InputScript_Parse(const std::string& text, InputScript* out, std::string* error);
// The key of a name as scripts write it; -1 when unknown.
int32_t InputScript_KeyOfName(const std::string& name);
// The playback file's bytes: one record a frame.
std::vector<uint8_t> InputScript_Records(const InputScript& script);

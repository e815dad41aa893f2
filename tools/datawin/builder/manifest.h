#pragma once
// The builder's manifest: `key = value` lines, blank lines and whole-line `#` comments. Every key
// may appear once; an unknown key, a line without `=`, a bad number or a duplicate is an error
// that names the file and the line. Later work adds asset keys here.
//   name, display_name, project      strings (name is required)
//   window_width, window_height      1 .. 16384
//   version                          GEN8 format version, 1 .. 255
//   generation, game_id, debug_off   integers
//   speed                            frames per second, 0 or above (0: free running)
//   flags                            InfoFlags: names (show_cursor, resizable, ...) or numbers,
//                                    separated by `,` or `|`
//   room_order                       room numbers separated by `,`; may be empty
// From the first `[section]` line on the manifest holds its orders (tools/manifest/manifest_orders.h):
// the function table order decides the code indexes of SCPT, GLOB and CODE.
#include <cstdint>
#include <string>
#include <vector>

#include "manifest/manifest_orders.h"

namespace datawin {

struct Manifest {
  std::string name;
  std::string display_name;
  std::string project;
  int32_t window_width = 640;
  int32_t window_height = 480;
  int version = 17;
  uint32_t generation = 2;
  float speed = 60.0f;
  uint32_t info_flags = 0;
  std::vector<uint32_t> room_order;
  int32_t game_id = 0;
  uint8_t debug_off = 0;
  manifest::Orders orders;
};

// Parses `text`; on failure returns false with "<source>:<line>: <what>" in *error.
bool parse_manifest(const std::string& text, const std::string& source, Manifest* out, std::string* error);

}  // namespace datawin

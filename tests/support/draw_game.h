#pragma once
// A small game for drawing tests, written with the data-file writer and started the way the runner
// starts one (InitGame's tables, the header, window and device, the load, the prepare steps and the
// first room), on whatever window and device the test installs.
//
// Its one texture page is 64 x 64 in cells of 16 x 16:
//   row 0: red, green, blue, white         sprite 0 "spr_frames" (three frames), sprite 1 "spr_white"
//   row 1: empty, yellow                   tile set 0 "ts_tiles": tile 0 empty, tile 1 yellow
//   row 2: magenta                         sprite 2 "spr_back"
//   row 3: a cyan 8 x 8 square at (4, 52)  sprite 3 "spr_trimmed": a 16 x 16 box trimmed to the square
// and, for the sprite benchmark, sprite 4 "spr_big" (the 32 x 32 green square at (32, 32)) and
// sprite 5 "spr_dot" (the 4 x 4 white square at (32, 16)).
// Event code of the objects is the test's own functions, by code index (code()).
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/code_tables.h"
#include "platform/audio_device.h"
#include "datawin/writer/chunk_objects.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"

class CInstance;

constexpr int32_t kSprFrames = 0;
constexpr int32_t kSprWhite = 1;
constexpr int32_t kSprBack = 2;
constexpr int32_t kSprTrimmed = 3;
constexpr int32_t kSprBig = 4;
constexpr int32_t kSprDot = 5;
constexpr int32_t kTileSet = 0;

constexpr uint32_t kRed = 0xFF0000FFu;  // words with red in the lowest byte
constexpr uint32_t kGreen = 0xFF00FF00u;
constexpr uint32_t kBlue = 0xFFFF0000u;
constexpr uint32_t kWhite = 0xFFFFFFFFu;
constexpr uint32_t kYellow = 0xFF00FFFFu;
constexpr uint32_t kMagenta = 0xFFFF00FFu;
constexpr uint32_t kCyan = 0xFFFFFF00u;

using DrawEventFn = void (*)(CInstance* self, CInstance* other);

class DrawGame {
 public:
  DrawGame();
  ~DrawGame();
  DrawGame(const DrawGame&) = delete;
  DrawGame& operator=(const DrawGame&) = delete;

  // A code index that runs fn; every code must be added before Start.
  int32_t code(const char* name, DrawEventFn fn);

  int32_t window_width = 64;
  int32_t window_height = 64;
  uint32_t info_flags = 0;
  float sprite_speed = 1.0f;  // spr_frames: frames per game frame
  std::vector<std::optional<datawin::ObjectRecord>> objects;
  std::vector<std::optional<datawin::RoomRecord>> rooms;
  // Embedded images (chunk EMBI): a name and the number of the page entry it shows, in the
  // order the page's cells are listed above (0 red, 1 green, 2 blue, 3 white, 4 the tile row,
  // 5 magenta).
  std::vector<std::pair<std::string, int32_t>> embedded;
  // Option constants of the data file ("@@DrawColour" and the like); none: no OPTN chunk.
  std::vector<datawin::OptnConstant> constants;
  // The mixing layer the game opens at start, as the runner's; none: the game runs silent.
  AudioPlatform audio;

  // Writes, loads and starts the game on the installed platform; false at the first step that fails.
  bool Start();
  // Loads and starts another data file (image) with the given code tables the same way, the global
  // scripts run before the first room as at a game's start.
  bool StartImage(std::vector<uint8_t> image, KVCodeTables* tables);
  // One frame of the runner: the step, the purge, the room draw, the end of the frame and a
  // requested room change.
  void Frame();
  // The window's picture (the main render target) at (x, y), as a word with red in the lowest byte.
  uint32_t Pixel(int32_t x, int32_t y);
  // Ends the room and shuts the game down as the runner does.
  void Stop();

 private:
  std::vector<KVScriptRow> rows_;
  KVCodeTables tables_;
  std::vector<uint8_t> image_;
  bool started_ = false;
};

// The 64 x 64 page of the draw game, RGBA.
std::vector<uint8_t> DrawGame_PagePixels();

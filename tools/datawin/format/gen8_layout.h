#pragma once
// The header record (chunk GEN8): field offsets from the start of the payload, the InfoFlags bits
// and the version rules that decide the record's width. The record carries no length of its own:
// the format version at offset 1 says which fields exist, and the room order follows the last one.
//   version < 8    fields up to offset 44; the word at 44 is the room order's count, no generation
//   8, 9           room order at 100;  10: display name, order at 104;  11: u64 reserved, at 112
//   12             FunctionClasses, order at 120;  13: reserved word, at 124;  14 on: at 128
// From version 14 with generation 2 or above, a 40-byte reserved block and the f32 game speed
// follow the room order list.
#include <cstddef>
#include <cstdint>

namespace datawin::gen8 {

constexpr uint32_t kDebugOff = 0;  // u8
constexpr uint32_t kVersion = 1;   // u8
constexpr uint32_t kFileName = 8;
constexpr uint32_t kLastInstanceId = 12;
constexpr uint32_t kLastTileId = 16;
constexpr uint32_t kGameId = 20;
constexpr uint32_t kGuid = 24;  // four u32
constexpr uint32_t kProjectName = 40;
constexpr uint32_t kGeneration = 44;
constexpr uint32_t kVersionWords = 48;  // three u32, not read
constexpr uint32_t kWindowWidth = 60;
constexpr uint32_t kWindowHeight = 64;
constexpr uint32_t kInfoFlags = 68;
constexpr uint32_t kChecksum = 72;
constexpr uint32_t kDigest = 76;  // 16 bytes
constexpr uint32_t kBuildTime = 92;  // u64 seconds
constexpr uint32_t kDisplayName = 100;       // version 10 on
constexpr uint32_t kReserved11 = 104;        // u64, version 11 on
constexpr uint32_t kFunctionClasses = 112;   // u64, version 12 on
constexpr uint32_t kReserved13 = 120;        // version 13 on
constexpr uint32_t kReserved14 = 124;        // version 14 on

constexpr uint32_t kGuidWords = 4;
constexpr uint32_t kDigestBytes = 16;
constexpr uint32_t kReservedBlockBytes = 40;

// Versions at which fields appear.
constexpr int kVersionWindow = 8;  // generation, window size, InfoFlags, checksum, digest, build time
constexpr int kVersionDisplayName = 10;
constexpr int kVersionReserved11 = 11;
constexpr int kVersionFunctionClasses = 12;
constexpr int kVersionReserved13 = 13;
constexpr int kVersionReserved14 = 14;
constexpr int kVersionGameSpeed = 14;
constexpr int kVersionNewCodeForm = 15;

// Files below version 12 count as having every function class.
constexpr uint64_t kAllFunctionClasses = ~uint64_t{0};

// Offset of the room order's count word; every field the version has lies before it.
constexpr uint32_t room_order_offset(int version) {
  if (version < 8) return 44;
  if (version < 10) return 100;
  if (version == 10) return 104;
  if (version == 11) return 112;
  if (version == 12) return 120;
  if (version == 13) return 124;
  return 128;
}

constexpr bool has_game_speed(int version, uint32_t generation) {
  return version >= kVersionGameSpeed && generation >= 2;
}

// Offset of the reserved block and of the game speed for a room order of `count` entries.
constexpr uint32_t reserved_block_offset(int version, uint32_t count) {
  return room_order_offset(version) + 4 + 4 * count;
}
constexpr uint32_t game_speed_offset(int version, uint32_t count) {
  return reserved_block_offset(version, count) + kReservedBlockBytes;
}

static_assert(game_speed_offset(14, 0) == 172);
static_assert(room_order_offset(13) == 124 && room_order_offset(14) == 128);

// InfoFlags bits.
enum InfoFlag : uint32_t {
  kInfoFullScreen = 0x1,
  kInfoVsync = 0x2,
  kInfoInterpolate = 0x8,
  kInfoKeepAspect = 0x10,
  kInfoShowCursor = 0x20,
  kInfoResizable = 0x40,
  kInfoNoExternalCalls = 0x1000,
  kInfoRoamingSave = 0x2000,
  kInfoBorderless = 0x4000,
  kInfoSplash = 0x10000,
};

struct InfoFlagName {
  InfoFlag flag;
  const char* name;  // the spelling the builder's manifest uses
};
inline constexpr InfoFlagName kInfoFlagNames[] = {
    {kInfoFullScreen, "full_screen"},   {kInfoVsync, "vsync"},
    {kInfoInterpolate, "interpolate"},  {kInfoKeepAspect, "keep_aspect"},
    {kInfoShowCursor, "show_cursor"},   {kInfoResizable, "resizable"},
    {kInfoNoExternalCalls, "no_external_calls"}, {kInfoRoamingSave, "roaming_save"},
    {kInfoBorderless, "borderless"},    {kInfoSplash, "splash"},
};
constexpr size_t kInfoFlagCount = 10;
static_assert(sizeof(kInfoFlagNames) / sizeof(kInfoFlagNames[0]) == kInfoFlagCount);

}  // namespace datawin::gen8

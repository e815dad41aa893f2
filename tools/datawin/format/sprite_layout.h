#pragma once
// Layouts of SPRT (sprites) and BGND (tile sets).
//
// A sprite record has a fixed head up to offset 56; the word at 56 picks the form:
//   frame count N   old form: N page-entry offsets at 60, then the masks
//   0xFFFFFFFF      new form: version V at 60, kind at 64; generation 2 adds speed and speed type,
//                   V above 1 a sequence offset, V above 2 a nine-slice offset; the body follows
//                   (sprite_body_offset)
//   0 in gen 2      the body (count, offsets, masks) follows at 60
// The body of a bitmap sprite is a u32 frame count, the frame offsets, a u32 mask count M and M
// masks of one bit a pixel, rows of (width + 7) / 8 bytes, packed one behind the other.
#include <cstdint>

namespace datawin::sprt {

constexpr uint32_t kName = 0;
constexpr uint32_t kWidth = 4;
constexpr uint32_t kHeight = 8;
constexpr uint32_t kBboxLeft = 12;
constexpr uint32_t kBboxRight = 16;
constexpr uint32_t kBboxBottom = 20;
constexpr uint32_t kBboxTop = 24;
constexpr uint32_t kTransparent = 28;
constexpr uint32_t kSmooth = 32;
constexpr uint32_t kPreload = 36;
constexpr uint32_t kBboxMode = 40;
constexpr uint32_t kCollisionKind = 44;
constexpr uint32_t kXOrigin = 48;
constexpr uint32_t kYOrigin = 52;
constexpr uint32_t kFormWord = 56;
constexpr uint32_t kOldFrames = 60;
constexpr uint32_t kNewVersion = 60;
constexpr uint32_t kNewKind = 64;
constexpr uint32_t kSpeed = 68;      // generation 2
constexpr uint32_t kSpeedType = 72;  // generation 2
constexpr uint32_t kSequence = 76;   // generation 2, V above 1
constexpr uint32_t kNineSlice = 80;  // generation 2, V above 2
constexpr uint32_t kHeadBytes = 60;

constexpr uint32_t kNewFormMarker = 0xFFFFFFFFu;

enum CollisionKind : int32_t { kCollisionPrecise = 1, kCollisionRotatedBox = 2 };

enum SpriteKind : uint32_t { kKindBitmap = 0, kKindVector = 1, kKindSkeleton = 2, kSpriteKindCount };
inline constexpr const char* kSpriteKindNames[] = {"bitmap", "vector", "skeleton"};
static_assert(sizeof(kSpriteKindNames) / sizeof(kSpriteKindNames[0]) == kSpriteKindCount);

// Where the body of a new-form record starts.
constexpr uint32_t sprite_body_offset(uint32_t generation, uint32_t version) {
  if (generation < 2) return 68;
  if (version == 1) return 76;
  if (version == 2) return 80;
  return 84;
}
constexpr bool has_sequence(uint32_t generation, uint32_t version) { return generation >= 2 && version > 1; }
constexpr bool has_nine_slice(uint32_t generation, uint32_t version) { return generation >= 2 && version > 2; }

// Vector sprites carry frame offsets from this body version on.
constexpr int32_t kVectorFramesVersion = 8;

// Skeleton body: word 0 version, word 2 JSON length, word 3 atlas length; the text starts at 28
// below version 2 (words 4 to 6 further sizes) and at 20 for versions 2 and 3.
constexpr uint32_t kSkeletonJsonLength = 8;
constexpr uint32_t kSkeletonAtlasLength = 12;
constexpr uint32_t skeleton_text_offset(uint32_t version) { return version < 2 ? 28 : 20; }
constexpr uint32_t kSkeletonFrameCount = 0x7FFFFFFFu;

// A sequence offset leads to one unread word, then the sequence record; its origin words.
constexpr uint32_t kSequenceRecord = 4;
constexpr uint32_t kSequenceXOrigin = 20;
constexpr uint32_t kSequenceYOrigin = 24;

// Nine-slice data: left, top, right, bottom, enabled, five tile modes.
constexpr uint32_t kNineSliceWords = 10;
constexpr uint32_t kNineSliceTileModes = 5;

constexpr uint32_t mask_row_bytes(int32_t width) { return (static_cast<uint32_t>(width) + 7) / 8; }
constexpr uint64_t mask_bytes(int32_t width, int32_t height) {
  return static_cast<uint64_t>(mask_row_bytes(width)) * static_cast<uint32_t>(height);
}
static_assert(mask_row_bytes(9) == 2 && mask_row_bytes(8) == 1);

}  // namespace datawin::sprt

namespace datawin::bgnd {

constexpr uint32_t kName = 0;
constexpr uint32_t kTransparent = 4;
constexpr uint32_t kSmooth = 8;
constexpr uint32_t kPreload = 12;
constexpr uint32_t kPageEntry = 16;
constexpr uint32_t kHeadBytes = 20;
// Generation 2 with a version of 2 or above at 20.
constexpr uint32_t kVersion = 20;
constexpr uint32_t kTileWidth = 24;
constexpr uint32_t kTileHeight = 28;
constexpr uint32_t kBorderX = 32;
constexpr uint32_t kBorderY = 36;
constexpr uint32_t kTileColumns = 40;
constexpr uint32_t kFramesPerTile = 44;
constexpr uint32_t kTileCount = 48;
constexpr uint32_t kFrameTime = 56;  // u64 microseconds
constexpr uint32_t kAnimation = 64;  // u32 per tile and frame
constexpr uint32_t kTileVersion = 2;

}  // namespace datawin::bgnd

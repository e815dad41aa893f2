#pragma once
// Layouts of the texture chunks.
//   TPAG  a u32 count and offsets of page entries: 11 fields of 16 bits naming a rectangle on a
//         page. Sprites, tile sets, fonts and embedded images point at entries directly; the last
//         field holds the page number in the file and is rewritten to the texture id on load.
//   TXTR  a u32 count and offsets of 28-byte page records, each with the offset and size of the
//         page's image data (page_image.h).
//   TGIN  a u64 (low half version, at most 1; high half count) and offsets of group records, each
//         with five lists {u32 count, count i32}.
//   EMBI  a version word (1), a count and {name string, page-entry offset} pairs.
#include <cstdint>

namespace datawin::tpag {

constexpr uint32_t kX = 0;
constexpr uint32_t kY = 2;
constexpr uint32_t kW = 4;
constexpr uint32_t kH = 6;
constexpr uint32_t kXOffset = 8;
constexpr uint32_t kYOffset = 10;
constexpr uint32_t kCropWidth = 12;
constexpr uint32_t kCropHeight = 14;
constexpr uint32_t kOriginalWidth = 16;
constexpr uint32_t kOriginalHeight = 18;
constexpr uint32_t kTexture = 20;
constexpr uint32_t kEntryBytes = 22;

}  // namespace datawin::tpag

namespace datawin::txtr {

constexpr uint32_t kFlags = 0;
constexpr uint32_t kScale = 4;
constexpr uint32_t kDataSize = 8;
constexpr uint32_t kWidth = 12;   // 16 bits used
constexpr uint32_t kHeight = 16;  // 16 bits used
constexpr uint32_t kFileIndex = 20;  // group or texture id: the number in an external page's file name
constexpr uint32_t kData = 24;
constexpr uint32_t kRecordBytes = 28;

// Record flag bit 0: the page is marked for mips.
constexpr uint32_t kFlagMips = 1;

}  // namespace datawin::txtr

namespace datawin::tgin {

constexpr uint32_t kMaxVersion = 1;
constexpr uint32_t kName = 0;
constexpr uint32_t kDirectory = 4;
constexpr uint32_t kExtension = 8;
constexpr uint32_t kLoadType = 12;
constexpr uint32_t kTextures = 16;
constexpr uint32_t kSprites = 20;
constexpr uint32_t kSkeletonSprites = 24;
constexpr uint32_t kFonts = 28;
constexpr uint32_t kTilesets = 32;
constexpr uint32_t kRecordBytes = 36;

enum LoadType : int32_t { kLoadWithDataFile = 0, kLoadDynamic = 1 };

// The lists of a record, in record order.
enum GroupList : uint32_t { kListTextures, kListSprites, kListSkeletonSprites, kListFonts, kListTilesets, kGroupListCount };
inline constexpr const char* kGroupListNames[] = {"textures", "sprites", "skeleton sprites", "fonts", "tilesets"};
static_assert(sizeof(kGroupListNames) / sizeof(kGroupListNames[0]) == kGroupListCount);

}  // namespace datawin::tgin

namespace datawin::embi {

constexpr uint32_t kVersion = 1;
constexpr uint32_t kPairs = 8;
constexpr uint32_t kPairBytes = 8;

}  // namespace datawin::embi

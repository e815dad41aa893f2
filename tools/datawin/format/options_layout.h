#pragma once
// Layouts of the game-wide chunks: OPTN (options and constants, in a new and an old form), LANG
// (language tables), EXTN (extension packages), SCPT (script records), TAGS (asset tags) and FEDS
// (effect descriptions). Offsets are from the first byte of the payload or record.
//
// OPTN comes in two forms, told apart by the payload's first i32:
//   negative  the new form: a form version word that must be 2, one u32 of option flags, a few
//             values, the constant count at 60 and the {name, value} pairs from 64.
//   0 or more the old form: an array of words, each flag and value in a word of its own; the
//             constant count is word 35 and the pairs start at 144.
#include <cstddef>
#include <cstdint>

namespace datawin::optn {

// New form.
constexpr uint32_t kMarker = 0;
constexpr uint32_t kFormVersion = 4;
constexpr uint32_t kFlags = 8;
constexpr uint32_t kValue16 = 16;
constexpr uint32_t kWindowColour = 20;
constexpr uint32_t kValue36 = 36;
constexpr uint32_t kValue40 = 40;
constexpr uint32_t kString52 = 52;
constexpr uint32_t kByte56 = 56;
constexpr uint32_t kConstantCount = 60;
constexpr uint32_t kConstants = 64;
constexpr uint32_t kNewFormVersion = 2;
constexpr uint32_t kConstantBytes = 8;

// Option flag bits. The named ones are read elsewhere in the runtime; the rest are kept.
enum OptionFlag : uint32_t {
  kOptionFullScreen = 1u << 0,
  kOptionAudio = 1u << 2,
  kOptionShowCursor = 1u << 4,
  kOptionAltEnterFullScreen = 1u << 9,
  kOptionFreezeOnLostFocus = 1u << 15,
  kOptionErrorsEndGame = 1u << 21,
  kOptionVersion5Bit = 1u << 23,  // kept; only files of DataVersion 5 on carry it
  kOptionCollisionCompat = 1u << 27,
  kOptionNoSandbox = 1u << 28,
  kOptionCopyOnWrite = 1u << 29,
};
constexpr int kVersionBit23 = 5;

// The defaults stand until the chunk is read.
constexpr uint32_t kDefaultFlags = kOptionAudio | kOptionShowCursor | kOptionAltEnterFullScreen | 1u << 10 |
                                   1u << 11 | 1u << 12 | 1u << 13 | 1u << 14 | 1u << 16 | 1u << 18;
// Bits the old form has no word for: 24 and 25 read as 0, 27 to 29 keep their defaults.
constexpr uint32_t kOldFormZeroed = 1u << 24 | 1u << 25;

constexpr uint32_t kDefaultValue16 = 100;

// Old form: the word that holds each flag bit.
struct OldFlagWord {
  uint32_t word;
  uint32_t bit;
};
inline constexpr OldFlagWord kOldFlagWords[] = {
    {0, 0},   {1, 1},   {2, 2},   {3, 3},   {4, 4},   {6, 5},   {7, 6},   {13, 8},  {15, 9},  {16, 10},
    {17, 11}, {18, 12}, {19, 13}, {20, 14}, {22, 15}, {23, 16}, {27, 17}, {29, 18}, {31, 20}, {32, 21},
    {33, 22}, {34, 23},
};
constexpr size_t kOldFlagWordCount = 22;
static_assert(sizeof(kOldFlagWords) / sizeof(kOldFlagWords[0]) == kOldFlagWordCount);

// Old form: the words that hold the values (index into the word array).
constexpr uint32_t kOldValue16 = 5;
constexpr uint32_t kOldWindowColour = 8;
constexpr uint32_t kOldValue36 = 14;
constexpr uint32_t kOldValue40 = 21;
constexpr uint32_t kOldString52 = 26;
constexpr uint32_t kOldByte56 = 28;
constexpr uint32_t kOldConstantCount = 35;
constexpr uint32_t kOldConstants = 144;
static_assert(kOldConstants == 4 * (kOldConstantCount + 1));

// Constants the reader consumes instead of keeping.
constexpr const char* kSleepMarginConstant = "@@SleepMargin";
constexpr const char* kDrawColourConstant = "@@DrawColour";
constexpr const char* kVersionMajorConstant = "VersionMajor";
constexpr const char* kVersionMinorConstant = "VersionMinor";

}  // namespace datawin::optn

namespace datawin::lang {
constexpr uint32_t kLanguageCount = 4;
constexpr uint32_t kEntryCount = 8;
constexpr uint32_t kKeys = 12;
// Each language: name, region, then one value string per entry.
constexpr uint32_t kLanguageHeadWords = 2;
}  // namespace datawin::lang

namespace datawin::extn {
// Package record.
constexpr uint32_t kPackageName = 0;
constexpr uint32_t kPackageSetter1 = 4;
constexpr uint32_t kPackageSetter2 = 8;
constexpr uint32_t kPackageFiles = 12;
constexpr uint32_t kPackageOptions = 16;
constexpr uint32_t kPackageBytes = 20;
// File record: name, init, final, kind, function count, function offsets.
constexpr uint32_t kFileFunctions = 20;
// Function record: name, id, kind, return type, external name, argument count, argument types.
constexpr uint32_t kFunctionArgTypes = 24;
// Option record: name, value, kind.
constexpr uint32_t kOptionBytes = 12;
}  // namespace datawin::extn

namespace datawin::scpt {
constexpr uint32_t kRecordBytes = 8;  // name, code index
constexpr uint32_t kCodeIndexMask = 0x7FFFFFFFu;
}  // namespace datawin::scpt

namespace datawin::tags {
constexpr uint32_t kVersion = 1;
// 0 version, 4 tag count, 8 tag names; then a count and offsets of {u32 asset key, i32 count,
// count strings}.
constexpr uint32_t kNames = 8;
}  // namespace datawin::tags

namespace datawin::feds {
// 0 not read, 4 count, 8 offsets of {name string, description string}.
constexpr uint32_t kCount = 4;
constexpr uint32_t kRecordBytes = 8;
}  // namespace datawin::feds

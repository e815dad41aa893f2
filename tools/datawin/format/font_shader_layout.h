#pragma once
// Layouts of FONT (fonts with glyphs used in place) and SHDR (shader records).
//
// A font record of DataVersion 17 on has the ascender words at 40 and 44 and the glyph count at
// 48; below 17 the count is at 40. A glyph is 16 bytes of i16 fields plus K kerning pairs.
// A shader's kind word has its top bit set when an extended block of blobs follows the attribute
// names.
#include <cstdint>

namespace datawin::font {

constexpr uint32_t kName = 0;
constexpr uint32_t kDisplayName = 4;
constexpr uint32_t kSize = 8;  // f32; negative is made positive
constexpr uint32_t kBold = 12;
constexpr uint32_t kItalic = 16;
constexpr uint32_t kPacked = 20;
constexpr uint32_t kLastChar = 24;
constexpr uint32_t kPageEntry = 28;
constexpr uint32_t kScaleX = 32;
constexpr uint32_t kScaleY = 36;
constexpr uint32_t kAscenderOffset = 40;  // version 17 on
constexpr uint32_t kAscender = 44;        // version 17 on
constexpr int kVersionAscender = 17;

constexpr uint32_t glyph_count_offset(int version) { return version >= kVersionAscender ? 48 : 40; }

// The packed word at 20.
constexpr uint32_t packed_first_char(uint32_t word) { return word & 0xFFFF; }
constexpr uint32_t packed_charset(uint32_t word) { return (word >> 16) & 0xFF; }
constexpr uint32_t packed_antialias(uint32_t word) { return (word >> 24) & 0xFF; }  // level + 1; 0 none
constexpr uint32_t pack(uint32_t first, uint32_t charset, uint32_t antialias_plus_one) {
  return (first & 0xFFFF) | (charset & 0xFF) << 16 | (antialias_plus_one & 0xFF) << 24;
}

// Glyph: u16 character, i16 x, y, w, h, shift, offset, kerning count, then {i16 other, i16 amount}.
constexpr uint32_t kGlyphChar = 0;
constexpr uint32_t kGlyphX = 2;
constexpr uint32_t kGlyphY = 4;
constexpr uint32_t kGlyphW = 6;
constexpr uint32_t kGlyphH = 8;
constexpr uint32_t kGlyphShift = 10;
constexpr uint32_t kGlyphOffset = 12;
constexpr uint32_t kGlyphKerningCount = 14;
constexpr uint32_t kGlyphBytes = 16;
constexpr uint32_t kKerningPairBytes = 4;

}  // namespace datawin::font

namespace datawin::shdr {

constexpr uint32_t kName = 0;
constexpr uint32_t kKind = 4;
constexpr uint32_t kPrograms = 8;  // four pairs {vertex, fragment}
constexpr uint32_t kProgramPairs = 4;
constexpr uint32_t kAttributeCount = 40;
constexpr uint32_t kAttributes = 44;
constexpr uint32_t kExtendedBit = 0x80000000u;

// Extended block, from the word behind the attributes.
constexpr uint32_t kBlockVersion = 0;
constexpr uint32_t kBlobs = 4;        // four {offset, size} pairs, block version 1 on
constexpr uint32_t kSizedBlobs = 4;
constexpr uint32_t kBlob5 = 36;       // block version 2 on
constexpr uint32_t kBlob6 = 44;       // block version 2 on
constexpr uint32_t kBlockBytesV1 = 36;
constexpr uint32_t kBlockBytesV2 = 48;

}  // namespace datawin::shdr

#pragma once
// Texture page file images: the bytes a TXTR record (or an external page file) points at. The
// first four bytes pick the form:
//   "RAW "        u32 magic, u32 width, u32 height, u32 kind; pixels from 16 (kind 1: 16-bit)
//   0x89 "PNG"    a PNG file
//   "fioq"        u32 magic, u16 width, u16 height, u32 code bytes; codes from 12 (below)
//   "2zoq"        u32 magic, u16 width, u16 height, u32 unpacked size; from 12 a bzip2 stream
//                 whose unpacked bytes are a complete "fioq" image
//
// The "fioq" codes compress 32-bit RGBA (red first in memory) against the previous pixel p, which
// starts as opaque black, and a table of 64 colours, which starts all zero:
//   00xxxxxx              p = table[x], written once; the table is left alone
//   010xxxxx              p written x + 1 times
//   011xxxxx b2           p written ((x << 8) | b2) + 33 times
//   10rrggbb              r, g, b += 2-bit differences
//   110rrrrr ggggbbbb     r += 5-bit, g and b += 4-bit differences
//   1110rrrr rgggggbb bbbaaaaa   r, g, b, a += 5-bit differences
//   1111rgba              the flagged channels take the following bytes, in r, g, b, a order
// A difference field stores the difference plus half its range (2-bit: +2, 4-bit: +8, 5-bit:
// +16), so an all-zero field means -2, -8 or -16. Channel sums wrap within the byte. After each
// of the last four codes p is written once and stored at table[(r ^ g ^ b ^ a) & 63].
//
// The encoder here is what the builder writes pages with; the runtime's decoder is tested against
// it and against hand-worked pages.
#include <cstdint>
#include <vector>

#include "datawin/format/chunk_tags.h"

namespace datawin::page {

constexpr uint32_t kMagicRaw = make_tag('R', 'A', 'W', ' ');
constexpr uint32_t kMagicPng = make_tag('\x89', 'P', 'N', 'G');
constexpr uint32_t kMagicQoi = make_tag('f', 'i', 'o', 'q');
constexpr uint32_t kMagicBz2Qoi = make_tag('2', 'z', 'o', 'q');

enum PageForm : int32_t { kFormRaw, kFormPng, kFormQoi, kFormBz2Qoi, kFormUnknown, kPageFormCount };
inline constexpr const char* kPageFormNames[] = {"raw", "png", "qoi", "bz2", "unknown"};
static_assert(sizeof(kPageFormNames) / sizeof(kPageFormNames[0]) == kPageFormCount);

// The form of an image from its first bytes; kFormUnknown when shorter than 4 bytes.
PageForm page_form(const uint8_t* data, uint32_t size);

// Raw images.
constexpr uint32_t kRawWidth = 4;
constexpr uint32_t kRawHeight = 8;
constexpr uint32_t kRawKind = 12;
constexpr uint32_t kRawPixels = 16;
constexpr uint32_t kRawKind16Bit = 1;

// "fioq" and "2zoq" headers.
constexpr uint32_t kQoiWidth = 4;   // u16
constexpr uint32_t kQoiHeight = 6;  // u16
constexpr uint32_t kQoiLength = 8;  // code bytes ("fioq") or unpacked size ("2zoq")
constexpr uint32_t kQoiCodes = 12;
constexpr uint32_t kQoiHeaderBytes = 12;

// Code tags and masks.
constexpr uint8_t kOpIndex = 0x00, kOpIndexMask = 0xC0;
constexpr uint8_t kOpRun = 0x40, kOpRunMask = 0xE0;
constexpr uint8_t kOpLongRun = 0x60, kOpLongRunMask = 0xE0;
constexpr uint8_t kOpDiff8 = 0x80, kOpDiff8Mask = 0xC0;
constexpr uint8_t kOpDiff16 = 0xC0, kOpDiff16Mask = 0xE0;
constexpr uint8_t kOpDiff24 = 0xE0, kOpDiff24Mask = 0xF0;
constexpr uint8_t kOpColour = 0xF0, kOpColourMask = 0xF0;
constexpr uint32_t kRunMax = 32;
constexpr uint32_t kLongRunMin = 33;
constexpr uint32_t kLongRunMax = 0x1FFF + kLongRunMin;
constexpr uint32_t kTableSize = 64;

constexpr uint32_t colour_hash(uint8_t r, uint8_t g, uint8_t b, uint8_t a) { return (r ^ g ^ b ^ a) & 63u; }

// Biases of the difference fields.
constexpr int kBias2 = 2;
constexpr int kBias4 = 8;
constexpr int kBias5 = 16;

// A "fioq" image of width x height RGBA pixels (4 bytes each, red first).
std::vector<uint8_t> encode_qoi(const uint8_t* rgba, uint16_t width, uint16_t height);
// A raw image; kind kRawKind16Bit takes 2 bytes a pixel, any other kind 4.
std::vector<uint8_t> encode_raw(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t kind);
// The 12-byte head of a "2zoq" image; the caller appends the bzip2 stream of a "fioq" image of
// `unpacked_size` bytes.
std::vector<uint8_t> bz2_header(uint16_t width, uint16_t height, uint32_t unpacked_size);

}  // namespace datawin::page

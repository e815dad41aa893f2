#pragma once
// Decoders of texture page images (the forms of datawin/format/page_image.h) into pixels in
// memory, plus the two CPU reductions of pages: the global-scale halving and the mip chain.
// Decoded pixels are rows from the top; 32-bit pixels are RGBA with red in the lowest byte.
// Decoders are pure and thread-safe: the load manager runs them on job workers. Every size and
// count in an image is checked against the bytes given: a damaged image fails with one release-
// console line and no pixels, never a read outside the buffer.
#include <cstdint>
#include <vector>

#include "datawin/format/page_image.h"

// Texture formats of the table (format field of Texture).
enum TextureFormat : uint32_t {
  kTextureFormatBlock1 = 1,
  kTextureFormatBlock2 = 2,
  kTextureFormatBlock3 = 3,
  kTextureFormatBlock4 = 4,
  kTextureFormatBlock5 = 5,
  kTextureFormatRGBA = 6,
  kTextureFormatR16F = 9,
  kTextureFormatR32F = 10,
  kTextureFormatRGB565 = 11,
};
// Bytes per pixel as the table counts them: 4 for formats 6 and 10, 2 for 9, 1 for the others.
uint32_t Texture_FormatBytes(uint32_t format);

// What the first bytes of an image tell: its form, size and texture format. Width and height are
// 0 when the form is unknown or the header is cut off.
struct PageHeader {
  datawin::page::PageForm form = datawin::page::kFormUnknown;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t format = kTextureFormatRGBA;
};
PageHeader Texture_ReadPageHeader(const uint8_t* data, uint32_t size);

struct DecodedImage {
  std::vector<uint8_t> pixels;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t format = kTextureFormatRGBA;
};

// Each returns false (and prints its line) on a damaged image.
bool Texture_DecodeRaw(const uint8_t* data, uint32_t size, DecodedImage* out);
// libpng: 16-bit channels reduced to 8, palettes expanded, opaque alpha added to RGB and grey
// images without transparency. "Not a PNG\n" for a bad signature; any libpng error prints
// "ReadPNG :: a PNG error occured\n".
bool Texture_DecodePng(const uint8_t* data, uint32_t size, DecodedImage* out);
bool Texture_DecodeQoi(const uint8_t* data, uint32_t size, DecodedImage* out);
bool Texture_DecodeBz2Qoi(const uint8_t* data, uint32_t size, DecodedImage* out);
// Picks the decoder by form; false for an unknown form.
bool Texture_DecodePage(const uint8_t* data, uint32_t size, DecodedImage* out);

// One 2 x 2 box-filter halving of a 32-bit image (each channel the truncated mean of its block).
void Texture_Halve(DecodedImage* image);
// Halves while `scale` is 2 or more (halving it each round) and both sides are at least 2.
void Texture_ApplyScale(DecodedImage* image, int32_t scale);

// The mip chain of a 32-bit image: level 0 is the image itself, then floor(log2(max(w, h))) more
// levels, at most `mip_limit` more when it is above 0. A level whose source has a side of 1
// averages pairs along the other side; else 2 x 2 blocks. Channels are truncated means.
std::vector<DecodedImage> Texture_MakeMipChain(const DecodedImage& image, int32_t mip_limit);

// Page image decoders (raw, PNG through libpng, the "fioq" codes, bzip2-packed "fioq"), the
// global-scale halving and the mip chain.
#include "graphics/texture_decode.h"

#include <bzlib.h>
#include <png.h>

#include <csetjmp>
#include <cstring>

#include "core/console.h"
#include "datawin/format/byte_order.h"

using namespace datawin;
using namespace datawin::page;

namespace {

// The largest side a page may have; larger headers are damaged files.
constexpr uint32_t kMaxSide = 16384;

bool decode_error(const char* what) {
  g_ReleaseConsole->Output("an error occured\n");
  g_DebugConsole->Output("texture page: %s\n", what);
  return false;
}

// ---- PNG ----------------------------------------------------------------------------------------

struct PngSource {
  const uint8_t* data;
  uint32_t size;
  uint32_t at;
};

void png_read_memory(png_structp png, png_bytep out, png_size_t length) {
  auto* source = static_cast<PngSource*>(png_get_io_ptr(png));
  if (length > source->size - source->at) png_error(png, "read past the end of the image");
  std::memcpy(out, source->data + source->at, length);
  source->at += static_cast<uint32_t>(length);
}

void png_warning_silent(png_structp, png_const_charp) {}

// libpng's own handler would print; ours only unwinds to the setjmp of the read in progress.
[[noreturn]] void png_error_quiet(png_structp png, png_const_charp) { png_longjmp(png, 1); }

// Reads the header and sets the transforms that give 8-bit RGBA; false on a libpng error.
bool png_read_head(png_structp png, png_infop info, uint32_t* width, uint32_t* height) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  int depth = 0, colour = 0, interlace = 0;
  png_uint_32 w = 0, h = 0;
  png_get_IHDR(png, info, &w, &h, &depth, &colour, &interlace, nullptr, nullptr);
  if (depth == 16) png_set_strip_16(png);
  if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
  const bool transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  if (transparency) png_set_tRNS_to_alpha(png);
  if (colour == PNG_COLOR_TYPE_GRAY || colour == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
  if (!transparency && (colour == PNG_COLOR_TYPE_RGB || colour == PNG_COLOR_TYPE_GRAY || colour == PNG_COLOR_TYPE_PALETTE)) {
    png_set_filler(png, 0xFF, PNG_FILLER_AFTER);
  }
  if (interlace != PNG_INTERLACE_NONE) png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != static_cast<png_size_t>(w) * 4) return false;
  *width = w;
  *height = h;
  return true;
}

bool png_read_rows(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

// ---- "fioq" codes -------------------------------------------------------------------------------

struct Pixel {
  uint8_t r, g, b, a;
};

// Decodes `length` code bytes into width x height pixels; false when the codes end early.
bool decode_codes(const uint8_t* codes, uint32_t length, uint32_t width, uint32_t height, uint8_t* out) {
  Pixel table[kTableSize] = {};
  Pixel p{0, 0, 0, 255};
  const uint64_t total = static_cast<uint64_t>(width) * height;
  uint64_t written = 0;
  uint32_t at = 0;
  const auto put = [&](uint64_t times) {
    if (times > total - written) times = total - written;
    for (uint64_t i = 0; i < times; ++i) std::memcpy(out + 4 * (written + i), &p, 4);
    written += times;
  };
  while (written < total) {
    if (at >= length) return false;
    const uint8_t b1 = codes[at++];
    if ((b1 & kOpIndexMask) == kOpIndex) {
      p = table[b1 & 63];
      put(1);
      continue;
    }
    if ((b1 & kOpRunMask) == kOpRun) {
      put((b1 & 0x1F) + 1u);
      continue;
    }
    if ((b1 & kOpLongRunMask) == kOpLongRun) {
      if (at >= length) return false;
      put((static_cast<uint32_t>(b1 & 0x1F) << 8 | codes[at++]) + kLongRunMin);
      continue;
    }
    if ((b1 & kOpDiff8Mask) == kOpDiff8) {
      p.r = static_cast<uint8_t>(p.r + ((b1 >> 4) & 3) - kBias2);
      p.g = static_cast<uint8_t>(p.g + ((b1 >> 2) & 3) - kBias2);
      p.b = static_cast<uint8_t>(p.b + (b1 & 3) - kBias2);
    } else if ((b1 & kOpDiff16Mask) == kOpDiff16) {
      if (at >= length) return false;
      const uint8_t b2 = codes[at++];
      p.r = static_cast<uint8_t>(p.r + (b1 & 0x1F) - kBias5);
      p.g = static_cast<uint8_t>(p.g + (b2 >> 4) - kBias4);
      p.b = static_cast<uint8_t>(p.b + (b2 & 0x0F) - kBias4);
    } else if ((b1 & kOpDiff24Mask) == kOpDiff24) {
      if (length - at < 2) return false;
      const uint32_t bits = static_cast<uint32_t>(b1 & 0x0F) << 16 | static_cast<uint32_t>(codes[at]) << 8 | codes[at + 1];
      at += 2;
      p.r = static_cast<uint8_t>(p.r + ((bits >> 15) & 0x1F) - kBias5);
      p.g = static_cast<uint8_t>(p.g + ((bits >> 10) & 0x1F) - kBias5);
      p.b = static_cast<uint8_t>(p.b + ((bits >> 5) & 0x1F) - kBias5);
      p.a = static_cast<uint8_t>(p.a + (bits & 0x1F) - kBias5);
    } else {
      uint8_t* channels[4] = {&p.r, &p.g, &p.b, &p.a};
      for (int c = 0; c < 4; ++c) {
        if ((b1 & (8 >> c)) == 0) continue;
        if (at >= length) return false;
        *channels[c] = codes[at++];
      }
    }
    put(1);
    table[colour_hash(p.r, p.g, p.b, p.a)] = p;
  }
  return true;
}

// The largest "fioq" image a width x height page can take: the header and five bytes a pixel.
uint64_t max_qoi_bytes(uint32_t width, uint32_t height) {
  return kQoiHeaderBytes + 5 * static_cast<uint64_t>(width) * height;
}

uint32_t average4(uint32_t a, uint32_t b, uint32_t c, uint32_t d) { return (a + b + c + d) / 4; }

}  // namespace

uint32_t Texture_FormatBytes(uint32_t format) {
  if (format == kTextureFormatRGBA || format == kTextureFormatR32F) return 4;
  if (format == kTextureFormatR16F) return 2;
  return 1;
}

PageHeader Texture_ReadPageHeader(const uint8_t* data, uint32_t size) {
  PageHeader header;
  header.form = page_form(data, size);
  switch (header.form) {
    case kFormRaw:
      if (size < kRawPixels) return PageHeader{};
      header.width = load_u32(data + kRawWidth);
      header.height = load_u32(data + kRawHeight);
      header.format = load_u32(data + kRawKind) == kRawKind16Bit ? kTextureFormatRGB565 : kTextureFormatRGBA;
      break;
    case kFormPng:
      // IHDR: big-endian width and height at bytes 16 and 20.
      if (size < 24) return PageHeader{};
      header.width = static_cast<uint32_t>(data[16]) << 24 | data[17] << 16 | data[18] << 8 | data[19];
      header.height = static_cast<uint32_t>(data[20]) << 24 | data[21] << 16 | data[22] << 8 | data[23];
      break;
    case kFormQoi:
    case kFormBz2Qoi:
      if (size < kQoiHeaderBytes) return PageHeader{};
      header.width = load_u16(data + kQoiWidth);
      header.height = load_u16(data + kQoiHeight);
      break;
    default:
      break;
  }
  return header;
}

bool Texture_DecodeRaw(const uint8_t* data, uint32_t size, DecodedImage* out) {
  const PageHeader header = Texture_ReadPageHeader(data, size);
  if (header.form != kFormRaw) return decode_error("raw image header cut off");
  const uint32_t pixel_bytes = header.format == kTextureFormatRGB565 ? 2 : 4;
  const uint64_t bytes = static_cast<uint64_t>(header.width) * header.height * pixel_bytes;
  if (bytes > size - kRawPixels) return decode_error("raw image pixels cut off");
  out->pixels.assign(data + kRawPixels, data + kRawPixels + bytes);
  out->width = header.width;
  out->height = header.height;
  out->format = header.format;
  return true;
}

bool Texture_DecodePng(const uint8_t* data, uint32_t size, DecodedImage* out) {
  if (size < 8 || png_sig_cmp(data, 0, 8) != 0) {
    g_ReleaseConsole->Output("Not a PNG\n");
    return false;
  }
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, png_error_quiet, png_warning_silent);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  bool ok = info != nullptr;
  PngSource source{data, size, 0};
  uint32_t width = 0, height = 0;
  std::vector<uint8_t> pixels;
  std::vector<png_bytep> rows;
  if (ok) {
    png_set_read_fn(png, &source, png_read_memory);
    png_set_user_limits(png, kMaxSide, kMaxSide);
    ok = png_read_head(png, info, &width, &height);
  }
  // Inflate packs at most about 1032 bytes into one and a 1-bit palette row widens 32 times, so a
  // header asking for more pixels than that is damaged: refused before the buffer is sized.
  if (ok && static_cast<uint64_t>(width) * height * 4 > static_cast<uint64_t>(size) * 1032 * 32 + 65536) ok = false;
  if (ok) {
    pixels.resize(static_cast<size_t>(width) * height * 4);
    rows.resize(height);
    for (uint32_t y = 0; y < height; ++y) rows[y] = pixels.data() + static_cast<size_t>(y) * width * 4;
    ok = png_read_rows(png, rows.data());
  }
  png_destroy_read_struct(png != nullptr ? &png : nullptr, info != nullptr ? &info : nullptr, nullptr);
  if (!ok) {
    g_ReleaseConsole->Output("ReadPNG :: a PNG error occured\n");
    return false;
  }
  out->pixels = std::move(pixels);
  out->width = width;
  out->height = height;
  out->format = kTextureFormatRGBA;
  return true;
}

bool Texture_DecodeQoi(const uint8_t* data, uint32_t size, DecodedImage* out) {
  const PageHeader header = Texture_ReadPageHeader(data, size);
  if (header.form != kFormQoi) return decode_error("compressed image header cut off");
  const uint32_t length = load_u32(data + kQoiLength);
  const uint32_t available = size - kQoiCodes;
  const uint32_t codes = length < available ? length : available;
  // A code byte stands for at most (kLongRunMax / 2) pixels, so too few codes fail before the
  // pixel buffer is sized from the header.
  const uint64_t pixel_count = static_cast<uint64_t>(header.width) * header.height;
  if (header.width > kMaxSide || header.height > kMaxSide || pixel_count > static_cast<uint64_t>(codes) * kLongRunMax) {
    return decode_error("compressed image too large for its codes");
  }
  std::vector<uint8_t> pixels(static_cast<size_t>(header.width) * header.height * 4);
  if (!decode_codes(data + kQoiCodes, codes, header.width, header.height, pixels.data())) {
    return decode_error("compressed image codes end early");
  }
  out->pixels = std::move(pixels);
  out->width = header.width;
  out->height = header.height;
  out->format = kTextureFormatRGBA;
  return true;
}

bool Texture_DecodeBz2Qoi(const uint8_t* data, uint32_t size, DecodedImage* out) {
  const PageHeader header = Texture_ReadPageHeader(data, size);
  if (header.form != kFormBz2Qoi) return decode_error("packed image header cut off");
  const uint32_t unpacked_size = load_u32(data + kQoiLength);
  if (header.width > kMaxSide || header.height > kMaxSide || unpacked_size < kQoiHeaderBytes ||
      unpacked_size > max_qoi_bytes(header.width, header.height)) {
    return decode_error("packed image has an impossible unpacked size");
  }
  std::vector<uint8_t> unpacked(unpacked_size);
  unsigned int unpacked_length = unpacked_size;
  auto* source = reinterpret_cast<char*>(const_cast<uint8_t*>(data + kQoiCodes));
  const int result = BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(unpacked.data()), &unpacked_length, source,
                                                size - kQoiCodes, 0, 0);
  if (result != BZ_OK) return decode_error("packed image does not unpack");
  if (!Texture_DecodeQoi(unpacked.data(), unpacked_length, out)) return false;
  if (out->width != header.width || out->height != header.height) return decode_error("packed image sizes disagree");
  return true;
}

bool Texture_DecodePage(const uint8_t* data, uint32_t size, DecodedImage* out) {
  switch (page_form(data, size)) {
    case kFormRaw:
      return Texture_DecodeRaw(data, size, out);
    case kFormPng:
      return Texture_DecodePng(data, size, out);
    case kFormQoi:
      return Texture_DecodeQoi(data, size, out);
    case kFormBz2Qoi:
      return Texture_DecodeBz2Qoi(data, size, out);
    default:
      return decode_error("unknown page image form");
  }
}

void Texture_Halve(DecodedImage* image) {
  const uint32_t w = image->width / 2, h = image->height / 2;
  const uint32_t stride = image->width * 4;
  std::vector<uint8_t> out(static_cast<size_t>(w) * h * 4);
  const uint8_t* in = image->pixels.data();
  for (uint32_t y = 0; y < h; ++y) {
    const uint8_t* top = in + static_cast<size_t>(2 * y) * stride;
    const uint8_t* bottom = top + stride;
    uint8_t* row = out.data() + static_cast<size_t>(y) * w * 4;
    for (uint32_t x = 0; x < w; ++x) {
      for (uint32_t c = 0; c < 4; ++c) {
        row[4 * x + c] = static_cast<uint8_t>(
            average4(top[8 * x + c], top[8 * x + 4 + c], bottom[8 * x + c], bottom[8 * x + 4 + c]));
      }
    }
  }
  image->pixels = std::move(out);
  image->width = w;
  image->height = h;
}

void Texture_ApplyScale(DecodedImage* image, int32_t scale) {
  while (scale >= 2 && image->width >= 2 && image->height >= 2) {
    Texture_Halve(image);
    scale /= 2;
  }
}

std::vector<DecodedImage> Texture_MakeMipChain(const DecodedImage& image, int32_t mip_limit) {
  std::vector<DecodedImage> levels;
  levels.push_back(image);
  uint32_t largest = image.width > image.height ? image.width : image.height;
  uint32_t more = 0;
  while (largest > 1) {
    largest >>= 1;
    ++more;
  }
  if (mip_limit > 0 && more > static_cast<uint32_t>(mip_limit)) more = static_cast<uint32_t>(mip_limit);
  for (uint32_t level = 0; level < more; ++level) {
    const DecodedImage& src = levels.back();
    if (src.width > 1 && src.height > 1) {
      DecodedImage next = src;
      Texture_Halve(&next);
      levels.push_back(std::move(next));
      continue;
    }
    // One side is 1: average pairs along the other side.
    DecodedImage next;
    const uint32_t length = src.width > 1 ? src.width : src.height;
    next.width = src.width > 1 ? src.width / 2 : 1;
    next.height = src.height > 1 ? src.height / 2 : 1;
    next.format = src.format;
    next.pixels.resize(static_cast<size_t>(length / 2) * 4);
    for (uint32_t i = 0; i < length / 2; ++i) {
      for (uint32_t c = 0; c < 4; ++c) {
        next.pixels[4 * i + c] = static_cast<uint8_t>((src.pixels[8 * i + c] + src.pixels[8 * i + 4 + c]) / 2);
      }
    }
    levels.push_back(std::move(next));
  }
  return levels;
}

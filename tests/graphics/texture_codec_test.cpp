// Texture page decoding: the "fioq" codes against hand-worked pages and against the builder's
// encoder, PNG pages made with libpng, bzip2-packed pages made with libbz2's compressor, raw pages,
// damaged images, the global-scale halving and the mip chain.
#include <bzlib.h>
#include <gtest/gtest.h>
#include <png.h>

#include <random>
#include <string>
#include <vector>

#include "core/console.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/page_image.h"
#include "graphics/texture_decode.h"

using namespace datawin;

namespace {

using Pixels = std::vector<uint8_t>;

Pixels rgba(std::initializer_list<std::initializer_list<int>> pixels) {
  Pixels out;
  for (const auto& p : pixels) {
    for (int c : p) out.push_back(static_cast<uint8_t>(c));
  }
  return out;
}

std::vector<uint8_t> qoi_file(uint16_t w, uint16_t h, const std::vector<uint8_t>& codes) {
  std::vector<uint8_t> file(page::kQoiHeaderBytes);
  store_u32(file.data(), page::kMagicQoi);
  store_u16(file.data() + page::kQoiWidth, w);
  store_u16(file.data() + page::kQoiHeight, h);
  store_u32(file.data() + page::kQoiLength, static_cast<uint32_t>(codes.size()));
  file.insert(file.end(), codes.begin(), codes.end());
  return file;
}

// An 8 x 5 page worked by hand: one code of every kind.
const std::vector<uint8_t> kHandCodes = {
    0xFF, 10, 20, 30, 40,  // every channel spelled out: (10, 20, 30, 40), stored at table[40]
    0x41,                  // two more of it
    0xB2,                  // r + 1, g - 2, b + 0 (fields 3, 0, 2 less 2)
    0xC0, 0xF0,            // r - 16, g + 7, b - 8
    0xEF, 0x82, 0x0F,      // r + 15, g - 16, b + 0, a - 1
    0x28,                  // table[40]: the first colour again
    0x60, 0x00,            // 33 more of it
};

Pixels hand_pixels() {
  Pixels out = rgba({{10, 20, 30, 40}, {10, 20, 30, 40}, {10, 20, 30, 40}, {11, 18, 30, 40}, {251, 25, 22, 40},
                     {10, 9, 22, 39}});
  for (int i = 0; i < 34; ++i) out.insert(out.end(), {10, 20, 30, 40});
  return out;
}

struct PngSink {
  std::vector<uint8_t> bytes;
};

void png_write_sink(png_structp png, png_bytep data, png_size_t length) {
  auto* sink = static_cast<PngSink*>(png_get_io_ptr(png));
  sink->bytes.insert(sink->bytes.end(), data, data + length);
}

// A PNG of the given colour type and depth; `rows` holds the samples as libpng takes them.
std::vector<uint8_t> encode_png(uint32_t w, uint32_t h, int colour, int depth, const std::vector<uint8_t>& rows,
                                const std::vector<png_color>& palette = {}, const std::vector<uint8_t>& trns = {}) {
  PngSink sink;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &sink, png_write_sink, nullptr);
  png_set_IHDR(png, info, w, h, depth, colour, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!palette.empty()) png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
  if (!trns.empty()) png_set_tRNS(png, info, trns.data(), static_cast<int>(trns.size()), nullptr);
  png_write_info(png, info);
  const size_t stride = rows.size() / h;
  for (uint32_t y = 0; y < h; ++y) png_write_row(png, const_cast<png_bytep>(rows.data() + y * stride));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return sink.bytes;
}

std::vector<uint8_t> bz2_page(uint16_t w, uint16_t h, const std::vector<uint8_t>& qoi) {
  std::vector<uint8_t> packed(qoi.size() * 2 + 600);
  unsigned int length = static_cast<unsigned int>(packed.size());
  EXPECT_EQ(BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(packed.data()), &length,
                                     reinterpret_cast<char*>(const_cast<uint8_t*>(qoi.data())),
                                     static_cast<unsigned int>(qoi.size()), 9, 0, 0),
            BZ_OK);
  std::vector<uint8_t> file = page::bz2_header(w, h, static_cast<uint32_t>(qoi.size()));
  file.insert(file.end(), packed.begin(), packed.begin() + length);
  return file;
}

Pixels noise(uint32_t count, uint32_t seed, int spread) {
  std::mt19937 random(seed);
  Pixels out(count * 4);
  uint8_t base[4] = {128, 64, 200, 255};
  for (uint32_t i = 0; i < count; ++i) {
    for (int c = 0; c < 4; ++c) {
      base[c] = static_cast<uint8_t>(base[c] + static_cast<int>(random() % (2 * spread + 1)) - spread);
      out[4 * i + c] = base[c];
    }
  }
  return out;
}

}  // namespace

TEST(TextureCodec, HandWorkedPagesDecode) {
  struct Case {
    const char* name;
    uint16_t w, h;
    std::vector<uint8_t> codes;
    Pixels expected;
  };
  const Case cases[] = {
      {"every code", 8, 5, kHandCodes, hand_pixels()},
      {"one channel spelled out", 1, 1, {0xF4, 200}, rgba({{0, 200, 0, 255}})},
      {"empty table hit is transparent black", 2, 1, {0x00, 0x40}, rgba({{0, 0, 0, 0}, {0, 0, 0, 0}})},
      {"zero fields mean the least difference", 1, 1, {0x80}, rgba({{254, 254, 254, 255}})},
      {"sums wrap within the byte", 1, 1, {0xE0, 0x00, 0x1F}, rgba({{240, 240, 240, 14}})},
      {"runs stop at the last pixel", 3, 1, {0xF1, 7, 0x7F, 0xFF}, rgba({{0, 0, 0, 7}, {0, 0, 0, 7}, {0, 0, 0, 7}})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DecodedImage image;
    ASSERT_TRUE(Texture_DecodeQoi(qoi_file(c.w, c.h, c.codes).data(), static_cast<uint32_t>(c.codes.size() + 12), &image));
    EXPECT_EQ(image.width, c.w);
    EXPECT_EQ(image.height, c.h);
    EXPECT_EQ(image.pixels, c.expected);
  }
}

TEST(TextureCodec, TheEncoderWritesTheHandWorkedCodes) {
  const Pixels pixels = hand_pixels();
  const std::vector<uint8_t> file = page::encode_qoi(pixels.data(), 8, 5);
  EXPECT_EQ(file, qoi_file(8, 5, kHandCodes));
}

TEST(TextureCodec, EncoderAndDecoderRoundTrip) {
  struct Case {
    const char* name;
    uint16_t w, h;
    Pixels pixels;
  };
  std::vector<Case> cases = {
      {"single pixel", 1, 1, rgba({{1, 2, 3, 4}})},
      {"small steps", 64, 16, noise(64 * 16, 1, 1)},
      {"medium steps", 33, 7, noise(33 * 7, 2, 12)},
      {"large steps", 16, 16, noise(256, 3, 127)},
      {"long runs", 100, 100, Pixels(100 * 100 * 4, 77)},
      {"empty", 0, 0, {}},
  };
  Pixels runs_then_noise = Pixels(9000 * 4, 255);
  const Pixels tail = noise(500, 4, 40);
  runs_then_noise.insert(runs_then_noise.end(), tail.begin(), tail.end());
  cases.push_back({"a run longer than one code", 950, 10, runs_then_noise});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<uint8_t> file = page::encode_qoi(c.pixels.data(), c.w, c.h);
    DecodedImage image;
    ASSERT_TRUE(Texture_DecodePage(file.data(), static_cast<uint32_t>(file.size()), &image));
    EXPECT_EQ(image.pixels, c.pixels);
    EXPECT_EQ(image.format, kTextureFormatRGBA);
    // The packed form holds the same image.
    const std::vector<uint8_t> packed = bz2_page(c.w, c.h, file);
    DecodedImage unpacked;
    ASSERT_TRUE(Texture_DecodePage(packed.data(), static_cast<uint32_t>(packed.size()), &unpacked));
    EXPECT_EQ(unpacked.pixels, c.pixels);
  }
}

TEST(TextureCodec, PngPagesBecomeEightBitRgba) {
  struct Case {
    const char* name;
    int colour, depth;
    std::vector<uint8_t> rows;  // 2 x 1 samples
    std::vector<png_color> palette;
    std::vector<uint8_t> trns;
    Pixels expected;
  };
  const Case cases[] = {
      {"rgba", PNG_COLOR_TYPE_RGBA, 8, {1, 2, 3, 4, 5, 6, 7, 8}, {}, {}, rgba({{1, 2, 3, 4}, {5, 6, 7, 8}})},
      {"rgb gains opaque alpha", PNG_COLOR_TYPE_RGB, 8, {1, 2, 3, 4, 5, 6}, {}, {}, rgba({{1, 2, 3, 255}, {4, 5, 6, 255}})},
      {"grey", PNG_COLOR_TYPE_GRAY, 8, {9, 200}, {}, {}, rgba({{9, 9, 9, 255}, {200, 200, 200, 255}})},
      {"grey with alpha", PNG_COLOR_TYPE_GRAY_ALPHA, 8, {9, 10, 200, 0}, {}, {}, rgba({{9, 9, 9, 10}, {200, 200, 200, 0}})},
      {"palette with transparency", PNG_COLOR_TYPE_PALETTE, 8, {1, 0}, {{10, 20, 30}, {40, 50, 60}}, {128},
       rgba({{40, 50, 60, 255}, {10, 20, 30, 128}})},
      {"16-bit channels", PNG_COLOR_TYPE_RGBA, 16, {1, 255, 2, 0, 3, 0, 4, 0, 250, 0, 251, 0, 252, 0, 253, 0}, {}, {},
       rgba({{1, 2, 3, 4}, {250, 251, 252, 253}})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<uint8_t> png = encode_png(2, 1, c.colour, c.depth, c.rows, c.palette, c.trns);
    const PageHeader header = Texture_ReadPageHeader(png.data(), static_cast<uint32_t>(png.size()));
    EXPECT_EQ(header.form, page::kFormPng);
    EXPECT_EQ(header.width, 2u);
    EXPECT_EQ(header.height, 1u);
    DecodedImage image;
    ASSERT_TRUE(Texture_DecodePage(png.data(), static_cast<uint32_t>(png.size()), &image));
    EXPECT_EQ(image.pixels, c.expected);
  }
}

TEST(TextureCodec, DamagedImagesFailWithTheirLines) {
  const Pixels pixels = noise(64, 5, 60);
  const std::vector<uint8_t> qoi = page::encode_qoi(pixels.data(), 8, 8);
  const std::vector<uint8_t> png = encode_png(2, 1, PNG_COLOR_TYPE_RGB, 8, {1, 2, 3, 4, 5, 6});
  std::vector<uint8_t> bad_signature = png;
  bad_signature[5] ^= 0xFF;  // the signature's second half; the first four bytes still say PNG
  std::vector<uint8_t> big_header = qoi;
  store_u16(big_header.data() + page::kQoiWidth, 0xFFFF);
  store_u16(big_header.data() + page::kQoiHeight, 0xFFFF);
  std::vector<uint8_t> packed = bz2_page(8, 8, qoi);
  std::vector<uint8_t> bad_stream = packed;
  bad_stream[20] ^= 0xFF;
  std::vector<uint8_t> lying_size = packed;
  store_u32(lying_size.data() + page::kQoiLength, 0x7FFFFFFF);
  std::vector<uint8_t> raw = page::encode_raw(pixels.data(), 8, 8, 0);
  struct Case {
    const char* name;
    std::vector<uint8_t> bytes;
    const char* line;
  };
  const Case cases[] = {
      {"codes cut short", std::vector<uint8_t>(qoi.begin(), qoi.end() - 10), "an error occured\n"},
      {"a header far larger than its codes", big_header, "an error occured\n"},
      {"png cut short", std::vector<uint8_t>(png.begin(), png.end() - 12), "ReadPNG :: a PNG error occured\n"},
      {"png signature", bad_signature, "Not a PNG\n"},
      {"packed stream", bad_stream, "an error occured\n"},
      {"packed size", lying_size, "an error occured\n"},
      {"raw cut short", std::vector<uint8_t>(raw.begin(), raw.end() - 1), "an error occured\n"},
      {"unknown", {'a', 'b', 'c', 'd', 0, 0, 0, 0}, "an error occured\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ConsoleCapture capture;
    DecodedImage image;
    EXPECT_FALSE(Texture_DecodePage(c.bytes.data(), static_cast<uint32_t>(c.bytes.size()), &image));
    EXPECT_EQ(capture.text(), c.line);
    EXPECT_TRUE(image.pixels.empty());
  }
}

TEST(TextureCodec, RawPagesInBothKinds) {
  const Pixels pixels = rgba({{1, 2, 3, 4}, {5, 6, 7, 8}});
  const std::vector<uint8_t> wide = page::encode_raw(pixels.data(), 2, 1, 0);
  const std::vector<uint8_t> narrow = page::encode_raw(pixels.data(), 2, 1, page::kRawKind16Bit);
  DecodedImage image;
  ASSERT_TRUE(Texture_DecodePage(wide.data(), static_cast<uint32_t>(wide.size()), &image));
  EXPECT_EQ(image.format, kTextureFormatRGBA);
  EXPECT_EQ(image.pixels, pixels);
  ASSERT_TRUE(Texture_DecodePage(narrow.data(), static_cast<uint32_t>(narrow.size()), &image));
  EXPECT_EQ(image.format, kTextureFormatRGB565);
  EXPECT_EQ(image.pixels, Pixels(pixels.begin(), pixels.begin() + 4));
  EXPECT_EQ(Texture_ReadPageHeader(narrow.data(), static_cast<uint32_t>(narrow.size())).format, kTextureFormatRGB565);
  EXPECT_EQ(Texture_FormatBytes(kTextureFormatR16F), 2u);
  EXPECT_EQ(Texture_FormatBytes(kTextureFormatRGB565), 1u);
}

TEST(TextureCodec, GlobalScaleHalvesByTruncatedBoxMeans) {
  DecodedImage image;
  image.width = 4;
  image.height = 2;
  image.pixels = rgba({{0, 0, 0, 0}, {1, 1, 1, 1}, {10, 20, 30, 40}, {11, 21, 31, 41},
                       {2, 2, 2, 2}, {4, 4, 4, 255}, {12, 22, 32, 42}, {13, 23, 33, 43}});
  DecodedImage once = image;
  Texture_Halve(&once);
  EXPECT_EQ(once.width, 2u);
  EXPECT_EQ(once.height, 1u);
  EXPECT_EQ(once.pixels, rgba({{1, 1, 1, 64}, {11, 21, 31, 41}}));
  // A scale of 4 would halve twice, but a side of 1 stops it after the first round.
  DecodedImage scaled = image;
  Texture_ApplyScale(&scaled, 4);
  EXPECT_EQ(scaled.pixels, once.pixels);
  DecodedImage big;
  big.width = big.height = 8;
  big.pixels = Pixels(8 * 8 * 4, 90);
  Texture_ApplyScale(&big, 4);
  EXPECT_EQ(big.width, 2u);
  EXPECT_EQ(big.pixels, Pixels(2 * 2 * 4, 90));
}

TEST(TextureCodec, MipChains) {
  DecodedImage square;
  square.width = square.height = 4;
  square.pixels = noise(16, 6, 50);
  const std::vector<DecodedImage> full = Texture_MakeMipChain(square, 0);
  ASSERT_EQ(full.size(), 3u);
  EXPECT_EQ(full[2].width, 1u);
  EXPECT_EQ(Texture_MakeMipChain(square, 1).size(), 2u);

  DecodedImage column;  // 1 x 4: pairs along the long side
  column.width = 1;
  column.height = 4;
  column.pixels = rgba({{0, 0, 0, 0}, {3, 5, 7, 9}, {100, 100, 100, 100}, {201, 1, 2, 3}});
  const std::vector<DecodedImage> chain = Texture_MakeMipChain(column, 0);
  ASSERT_EQ(chain.size(), 3u);
  EXPECT_EQ(chain[1].width, 1u);
  EXPECT_EQ(chain[1].height, 2u);
  EXPECT_EQ(chain[1].pixels, rgba({{1, 2, 3, 4}, {150, 50, 51, 51}}));
  EXPECT_EQ(chain[2].pixels, rgba({{75, 26, 27, 27}}));
}

// The page image encoders: raw and the "fioq" code stream. Encoding picks, per pixel, the
// shortest code the decoder accepts: a run of the previous pixel, a table hit, a small difference
// or the changed channels spelled out.
#include "datawin/format/page_image.h"

#include <cstring>

#include "datawin/format/byte_order.h"

namespace datawin::page {

namespace {

struct Rgba {
  uint8_t r = 0, g = 0, b = 0, a = 255;
  bool operator==(const Rgba&) const = default;
};

bool in_range(int value, int bias) { return value >= -bias && value < bias; }

// The difference b - a as a signed byte, matching the decoder's wrapping sums.
int byte_diff(uint8_t to, uint8_t from) { return static_cast<int8_t>(static_cast<uint8_t>(to - from)); }

void put_run(std::vector<uint8_t>* out, uint32_t run) {
  while (run > 0) {
    if (run <= kRunMax) {
      out->push_back(static_cast<uint8_t>(kOpRun | (run - 1)));
      return;
    }
    const uint32_t take = run < kLongRunMax ? run : kLongRunMax;
    const uint32_t field = take - kLongRunMin;
    out->push_back(static_cast<uint8_t>(kOpLongRun | (field >> 8)));
    out->push_back(static_cast<uint8_t>(field & 0xFF));
    run -= take;
  }
}

void put_change(std::vector<uint8_t>* out, const Rgba& prev, const Rgba& px) {
  const int dr = byte_diff(px.r, prev.r), dg = byte_diff(px.g, prev.g);
  const int db = byte_diff(px.b, prev.b), da = byte_diff(px.a, prev.a);
  if (da == 0 && in_range(dr, kBias2) && in_range(dg, kBias2) && in_range(db, kBias2)) {
    out->push_back(static_cast<uint8_t>(kOpDiff8 | (dr + kBias2) << 4 | (dg + kBias2) << 2 | (db + kBias2)));
    return;
  }
  if (da == 0 && in_range(dr, kBias5) && in_range(dg, kBias4) && in_range(db, kBias4)) {
    out->push_back(static_cast<uint8_t>(kOpDiff16 | (dr + kBias5)));
    out->push_back(static_cast<uint8_t>((dg + kBias4) << 4 | (db + kBias4)));
    return;
  }
  if (in_range(dr, kBias5) && in_range(dg, kBias5) && in_range(db, kBias5) && in_range(da, kBias5)) {
    const uint32_t bits = static_cast<uint32_t>(dr + kBias5) << 15 | static_cast<uint32_t>(dg + kBias5) << 10 |
                          static_cast<uint32_t>(db + kBias5) << 5 | static_cast<uint32_t>(da + kBias5);
    out->push_back(static_cast<uint8_t>(kOpDiff24 | (bits >> 16)));
    out->push_back(static_cast<uint8_t>(bits >> 8));
    out->push_back(static_cast<uint8_t>(bits));
    return;
  }
  const uint8_t flags = static_cast<uint8_t>((px.r != prev.r) << 3 | (px.g != prev.g) << 2 | (px.b != prev.b) << 1 |
                                             (px.a != prev.a));
  out->push_back(static_cast<uint8_t>(kOpColour | flags));
  if (px.r != prev.r) out->push_back(px.r);
  if (px.g != prev.g) out->push_back(px.g);
  if (px.b != prev.b) out->push_back(px.b);
  if (px.a != prev.a) out->push_back(px.a);
}

}  // namespace

PageForm page_form(const uint8_t* data, uint32_t size) {
  if (data == nullptr || size < 4) return kFormUnknown;
  switch (load_u32(data)) {
    case kMagicRaw:
      return kFormRaw;
    case kMagicPng:
      return kFormPng;
    case kMagicQoi:
      return kFormQoi;
    case kMagicBz2Qoi:
      return kFormBz2Qoi;
    default:
      return kFormUnknown;
  }
}

std::vector<uint8_t> encode_qoi(const uint8_t* rgba, uint16_t width, uint16_t height) {
  std::vector<uint8_t> out(kQoiHeaderBytes, 0);
  store_u32(out.data(), kMagicQoi);
  store_u16(out.data() + kQoiWidth, width);
  store_u16(out.data() + kQoiHeight, height);

  Rgba table[kTableSize];
  for (Rgba& entry : table) entry = Rgba{0, 0, 0, 0};
  Rgba prev;
  uint32_t run = 0;
  const size_t count = static_cast<size_t>(width) * height;
  for (size_t i = 0; i < count; ++i) {
    const Rgba px{rgba[4 * i], rgba[4 * i + 1], rgba[4 * i + 2], rgba[4 * i + 3]};
    if (px == prev) {
      ++run;
      continue;
    }
    put_run(&out, run);
    run = 0;
    const uint32_t slot = colour_hash(px.r, px.g, px.b, px.a);
    if (table[slot] == px) {
      out.push_back(static_cast<uint8_t>(kOpIndex | slot));
    } else {
      put_change(&out, prev, px);
      table[slot] = px;
    }
    prev = px;
  }
  put_run(&out, run);
  store_u32(out.data() + kQoiLength, static_cast<uint32_t>(out.size() - kQoiHeaderBytes));
  return out;
}

std::vector<uint8_t> encode_raw(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t kind) {
  const size_t bytes = static_cast<size_t>(width) * height * (kind == kRawKind16Bit ? 2 : 4);
  std::vector<uint8_t> out(kRawPixels + bytes, 0);
  store_u32(out.data(), kMagicRaw);
  store_u32(out.data() + kRawWidth, width);
  store_u32(out.data() + kRawHeight, height);
  store_u32(out.data() + kRawKind, kind);
  if (bytes > 0) std::memcpy(out.data() + kRawPixels, pixels, bytes);
  return out;
}

std::vector<uint8_t> bz2_header(uint16_t width, uint16_t height, uint32_t unpacked_size) {
  std::vector<uint8_t> out(kQoiHeaderBytes, 0);
  store_u32(out.data(), kMagicBz2Qoi);
  store_u16(out.data() + kQoiWidth, width);
  store_u16(out.data() + kQoiHeight, height);
  store_u32(out.data() + kQoiLength, unpacked_size);
  return out;
}

}  // namespace datawin::page

#pragma once
// ByteCursor: the one way loader code reads bytes from a data image. It reads little-endian
// numbers from a window [begin, end) of the image and never past the window's end; every read
// returns false instead, leaving the cursor where it was. Offsets are absolute (from the start of
// the image), so error messages name the byte a reader stopped at.
// Strings are offsets to text inside the image; read_string checks that the text really is one of
// the file's strings (a u32 length in front, a NUL behind, all inside the image) before handing out
// a pointer. Everything is inline: a read is a compare, a memcpy and an add.
#include <cstdint>

#include "datawin/format/byte_order.h"

class ByteCursor {
 public:
  // A cursor over [begin, end) of an image of `image_size` bytes; the window must lie inside it.
  ByteCursor(const uint8_t* image, uint32_t image_size, uint32_t begin, uint32_t end)
      : image_(image), image_size_(image_size), end_(end <= image_size ? end : image_size), pos_(begin <= end_ ? begin : end_) {}

  uint32_t offset() const { return pos_; }
  uint32_t remaining() const { return end_ - pos_; }
  uint32_t end() const { return end_; }
  const uint8_t* here() const { return image_ + pos_; }
  const uint8_t* image() const { return image_; }
  uint32_t image_size() const { return image_size_; }

  bool read_u8(uint8_t* out) {
    if (remaining() < 1) return false;
    *out = image_[pos_++];
    return true;
  }
  bool read_u16(uint16_t* out) { return take(2) && (*out = datawin::load_u16(image_ + pos_ - 2), true); }
  bool read_u32(uint32_t* out) { return take(4) && (*out = datawin::load_u32(image_ + pos_ - 4), true); }
  bool read_i32(int32_t* out) { return take(4) && (*out = datawin::load_i32(image_ + pos_ - 4), true); }
  bool read_u64(uint64_t* out) { return take(8) && (*out = datawin::load_u64(image_ + pos_ - 8), true); }
  bool read_f32(float* out) { return take(4) && (*out = datawin::load_f32(image_ + pos_ - 4), true); }

  bool skip(uint32_t count) { return take(count); }
  // Moves to an absolute offset inside the window (the end itself included).
  bool seek(uint32_t offset) {
    if (offset > end_) return false;
    pos_ = offset;
    return true;
  }

  // Reads a string field: 0 gives *out = nullptr and succeeds; otherwise the offset must name a
  // well-formed string of the image.
  bool read_string(const char** out) {
    uint32_t offset = 0;
    if (!read_u32(&offset)) return false;
    if (offset == 0) {
      *out = nullptr;
      return true;
    }
    if (!string_at(offset, out)) {
      pos_ -= 4;
      return false;
    }
    return true;
  }

  // Whether `offset` is the text of a string of the image: a u32 length at offset - 4, that many
  // bytes and a NUL, all inside the image.
  bool string_at(uint32_t offset, const char** out) const {
    if (offset < 4 || offset > image_size_) return false;
    const uint32_t length = datawin::load_u32(image_ + offset - 4);
    if (length >= image_size_ - offset || image_[offset + length] != 0) return false;
    *out = reinterpret_cast<const char*>(image_ + offset);
    return true;
  }

  // Whether `count` items of `item_size` bytes fit in what is left; guards counts read from the file.
  bool fits(uint32_t count, uint32_t item_size) const {
    return static_cast<uint64_t>(count) * item_size <= remaining();
  }

 private:
  bool take(uint32_t count) {
    if (remaining() < count) return false;
    pos_ += count;
    return true;
  }

  const uint8_t* image_;
  uint32_t image_size_;
  uint32_t end_;
  uint32_t pos_;
};

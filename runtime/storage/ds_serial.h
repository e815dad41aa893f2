#pragma once
// The serial form of the data structures (ds_*_write, ds_*_read): a little-endian byte stream
// shown as text, each byte as two upper-case hexadecimal digits.
//
// A value is an int32 kind, then by kind: real and bool an 8-byte double; string an int32 length
// and the bytes (a null string has length 0); array an int32 length and each element; pointer,
// int64 and ref 8 bytes; undefined nothing; int32 4 bytes. Any other kind writes only its kind word
// and prints "Attempting to WriteValue for unsupported type %d\n"; reading one prints "Attempting to
// ReadValue for unsupported type %d\n" and gives undefined. Nesting marks are not stored.
//
// Each structure starts with its int32 version. The current versions write the layout above; the
// three versions before each are still read, with the older value layout: an int32 kind where 0 is
// a real (8-byte double) and anything else a string (int32 length, bytes). A true legacy flag reads
// that older value layout whatever the version says.
//
// Reading is bounds-checked throughout: a count that the remaining bytes can't hold, a stream that
// ends early, nesting deeper than kDsSerialMaxDepth or text that isn't hexadecimal fails the read,
// and the caller leaves the structure empty. Arrays nested deeper than that limit, or met again
// inside themselves, are written as undefined.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/rvalue.h"

constexpr int32_t kDsStackVersion = 103;
constexpr int32_t kDsQueueVersion = 203;
constexpr int32_t kDsListVersion = 303;
constexpr int32_t kDsMapVersion = 403;
constexpr int32_t kDsPriorityVersion = 503;
constexpr int32_t kDsGridVersion = 603;
// How many versions before the current one a reader still takes.
constexpr int32_t kDsOlderVersions = 3;
constexpr int kDsSerialMaxDepth = 256;

class DsWriter {
 public:
  void put_i32(int32_t v);
  void put_i64(int64_t v);
  void put_f64(double v);
  void put_value(const RValue& v);
  // The stream as hex text.
  std::string hex() const;
  // The hex text as a new string value in out (out is freed first).
  void to_value(RValue* out) const;
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  void put_bytes(const void* data, size_t size);
  void put_value_at(const RValue& v, int depth);
  std::vector<uint8_t> bytes_;
  std::vector<const void*> open_arrays_;
};

class DsReader {
 public:
  // Decodes hex text (either case); false when its length is odd or a character isn't a digit.
  bool load_hex(const char* text);
  void load_bytes(const uint8_t* data, size_t size);

  bool get_i32(int32_t* v);
  bool get_i64(int64_t* v);
  bool get_f64(double* v);
  // Reads one value into out, which holds nothing to free; on failure out is undefined.
  bool get_value(RValue* out, bool old_layout);
  // A count read from the stream that the remaining bytes could hold, at min_bytes each.
  bool count_fits(int32_t count, size_t min_bytes) const;
  size_t remaining() const { return bytes_.size() - offset_; }

  // Reads the version word: true with *old_layout set for the current version (old layout only
  // when legacy) and for the older ones it still takes; false for anything else.
  bool get_version(int32_t current, bool legacy, bool* old_layout);

 private:
  bool get_bytes(void* out, size_t size);
  bool get_value_at(RValue* out, bool old_layout, int depth);
  std::vector<uint8_t> bytes_;
  size_t offset_ = 0;
};

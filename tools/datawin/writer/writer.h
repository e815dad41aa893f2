#pragma once
// datawin::Writer builds a data file in memory: the FORM header, chunks in the order they are
// added, and a STRG chunk holding every string once. Chunk payloads are Blobs: byte buffers that
// may hold symbolic references (labels, pooled strings) which build() resolves to absolute file
// offsets after the layout is known, so records can point forward, backward and across chunks.
//
// Costs: everything stays in memory; build() copies each payload once and walks each fix-up once.
// Odd cases: a reference to a label that was never bound, two STRG chunks, or a file over 4 GiB
// throws WriteError from build(). Structured chunks are padded to a multiple of 4 bytes so the
// next chunk stays word-aligned; raw chunks keep their bytes exactly (tests use them to build
// unusual files). Blob::align() aligns relative to the payload start, which is absolute as long as
// no raw chunk of odd length comes earlier.
//
// One file per chunk kind (writer/chunk_<tag>.cpp) adds the record writers on top of this.
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "datawin/format/chunk_tags.h"

namespace datawin {

class WriteError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A position in the finished file, named before or after it is written. id 0 is "no label".
struct Label {
  uint32_t id = 0;
  bool valid() const { return id != 0; }
};

// A label plus a byte distance from it; a Ref with no label resolves to offset 0 ("none").
struct Ref {
  Label label;
  int32_t addend = 0;
};
inline Ref operator+(Label label, int32_t addend) { return Ref{label, addend}; }

class WriterState;
class Blob;

// The placeholder words of a pointer list; entries left unset stay 0 (an empty asset slot).
class PointerList {
 public:
  uint32_t size() const { return count_; }
  // Points entry `index` at `target`.
  void set(uint32_t index, Ref target);
  void set(uint32_t index, Label target) { set(index, Ref{target, 0}); }

 private:
  friend class Blob;
  PointerList(Blob* blob, uint32_t first, uint32_t count) : blob_(blob), first_(first), count_(count) {}
  Blob* blob_;
  uint32_t first_;
  uint32_t count_;
};

class Blob {
 public:
  Blob(const Blob&) = delete;
  Blob& operator=(const Blob&) = delete;

  uint32_t size() const { return static_cast<uint32_t>(data_.size()); }
  const std::vector<uint8_t>& data() const { return data_; }

  void u8(uint8_t value);
  void u16(uint16_t value);
  void u32(uint32_t value);
  void i32(int32_t value);
  void u64(uint64_t value);
  void f32(float value);
  void bytes(const void* data, size_t size);
  void zeros(size_t count);
  // Pads with zeros to a multiple of `alignment` (a power of two) from the payload start.
  void align(uint32_t alignment);

  // A u32 to be filled in later by patch_u32; returns its position in the payload.
  uint32_t placeholder_u32();
  void patch_u32(uint32_t at, uint32_t value);

  // A label at the current end of the payload.
  Label here();
  // Binds a label made by Writer::new_label to the current end; a label binds once.
  void bind(Label label);

  // A u32 that becomes the absolute file offset of `target` (0 for a Ref without a label).
  void offset(Ref target);
  void offset(Label target) { offset(Ref{target, 0}); }
  // A u32 that becomes the offset of the pooled text of `text` (the byte after its length word).
  void string(std::string_view text);
  // As string(), but an empty text writes offset 0 ("none").
  void string_or_none(std::string_view text);

  // A u32 count and `count` placeholder offsets.
  PointerList pointer_list(uint32_t count);

 private:
  friend class Writer;
  friend class WriterState;
  friend class PointerList;
  struct Fixup {
    uint32_t at;
    Ref target;
    int32_t string_id;  // >= 0: the pooled string's text instead of target
  };
  Blob(WriterState* state, uint32_t index) : state_(state), index_(index) {}

  WriterState* state_;
  uint32_t index_;
  std::vector<uint8_t> data_;
  std::vector<Fixup> fixups_;
};

class Writer {
 public:
  Writer();
  ~Writer();
  Writer(Writer&&) noexcept;
  Writer& operator=(Writer&&) noexcept;

  // A chunk whose payload is built through the returned Blob (stable for the writer's life).
  Blob& add_chunk(uint32_t tag);
  Blob& add_chunk(ChunkId id) { return add_chunk(chunk_tag(id)); }
  // A chunk whose payload is exactly `bytes` plus whatever is appended to the Blob; never padded.
  Blob& add_raw_chunk(uint32_t tag, std::vector<uint8_t> bytes = {});
  // Places the STRG chunk here. Without this call build() appends it at the end when any string
  // was used. A second call throws WriteError.
  void add_strings_chunk();

  Label new_label();
  // At build time, the word at `word` becomes (word & ~mask) | ((offset(to) - offset(from)) & mask):
  // how reference chains store the distance to their next link.
  void patch_distance(Ref word, Ref from, Ref to, uint32_t mask);

  size_t chunk_count() const;
  uint32_t chunk_tag_at(size_t index) const;
  // Pooled strings in first-use order.
  const std::vector<std::string>& strings() const;

  std::vector<uint8_t> build() const;
  // Builds and writes the file; throws WriteError naming the path on failure.
  void write_file(const std::string& path) const;

 private:
  std::unique_ptr<WriterState> state_;
};

}  // namespace datawin

// Blob: the payload builder of one chunk. Numbers go in little-endian; references are recorded as
// fix-ups with a zero placeholder and resolved by Writer::build().
#include <cstring>

#include "datawin/format/byte_order.h"
#include "datawin/writer/writer.h"
#include "datawin/writer/writer_state.h"

namespace datawin {

void Blob::u8(uint8_t value) { data_.push_back(value); }

void Blob::u16(uint16_t value) {
  uint8_t b[2];
  store_u16(b, value);
  bytes(b, sizeof b);
}

void Blob::u32(uint32_t value) {
  uint8_t b[4];
  store_u32(b, value);
  bytes(b, sizeof b);
}

void Blob::i32(int32_t value) { u32(static_cast<uint32_t>(value)); }

void Blob::u64(uint64_t value) {
  uint8_t b[8];
  store_u64(b, value);
  bytes(b, sizeof b);
}

void Blob::f32(float value) {
  uint8_t b[4];
  store_f32(b, value);
  bytes(b, sizeof b);
}

void Blob::bytes(const void* data, size_t size) {
  const auto* p = static_cast<const uint8_t*>(data);
  data_.insert(data_.end(), p, p + size);
}

void Blob::zeros(size_t count) { data_.resize(data_.size() + count, 0); }

void Blob::align(uint32_t alignment) {
  if (alignment == 0 || (alignment & (alignment - 1)) != 0) throw WriteError("alignment must be a power of two");
  while (data_.size() % alignment != 0) data_.push_back(0);
}

uint32_t Blob::placeholder_u32() {
  const uint32_t at = size();
  u32(0);
  return at;
}

void Blob::patch_u32(uint32_t at, uint32_t value) {
  if (static_cast<size_t>(at) + 4 > data_.size()) throw WriteError("patch outside the payload");
  store_u32(data_.data() + at, value);
}

Label Blob::here() {
  state_->labels.push_back(WriterState::LabelSite{static_cast<int32_t>(index_), size()});
  return Label{static_cast<uint32_t>(state_->labels.size())};
}

void Blob::bind(Label label) {
  if (!label.valid() || label.id > state_->labels.size()) throw WriteError("binding a label the writer did not make");
  WriterState::LabelSite& site = state_->labels[label.id - 1];
  if (site.chunk >= 0) throw WriteError("label bound twice");
  site.chunk = static_cast<int32_t>(index_);
  site.offset = size();
}

void Blob::offset(Ref target) {
  const uint32_t at = placeholder_u32();
  if (target.label.valid()) fixups_.push_back(Fixup{at, target, -1});
}

void Blob::string(std::string_view text) {
  const int32_t id = state_->pool.intern(text);
  const uint32_t at = placeholder_u32();
  fixups_.push_back(Fixup{at, Ref{}, id});
}

void Blob::string_or_none(std::string_view text) {
  if (text.empty()) {
    u32(0);
  } else {
    string(text);
  }
}

PointerList Blob::pointer_list(uint32_t count) {
  u32(count);
  const uint32_t first = size();
  zeros(static_cast<size_t>(count) * 4);
  return PointerList(this, first, count);
}

void PointerList::set(uint32_t index, Ref target) {
  if (index >= count_) throw WriteError("pointer list index out of range");
  // Fix-ups apply in order, so setting an entry again overrides the earlier target.
  blob_->fixups_.push_back(Blob::Fixup{first_ + 4 * index, target, -1});
}

}  // namespace datawin

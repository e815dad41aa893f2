// Writer: chunk order, the STRG chunk and the layout pass that turns labels and pooled strings
// into absolute offsets.
#include <cstdio>
#include <cstring>
#include <limits>

#include "datawin/format/byte_order.h"
#include "datawin/writer/writer.h"
#include "datawin/writer/writer_state.h"

namespace datawin {

namespace {

constexpr uint64_t kMaxFileSize = std::numeric_limits<uint32_t>::max();

uint32_t padded(uint64_t size) { return static_cast<uint32_t>((size + 3) & ~uint64_t{3}); }

// Where everything lands in the finished file.
struct Layout {
  std::vector<uint32_t> payload_start;  // per chunk
  std::vector<uint32_t> payload_size;   // per chunk, after padding
  std::vector<uint32_t> string_entry;   // per pooled string: offset of its length word
  int32_t strings_chunk = -1;
  uint32_t file_size = 0;
};

uint32_t strings_payload_size(const StringPool& pool) {
  uint64_t size = 4 + 4 * static_cast<uint64_t>(pool.strings().size());
  for (const std::string& text : pool.strings()) size += StringPool::entry_bytes(text);
  if (size > kMaxFileSize) throw WriteError("string pool too large for the data file");
  return static_cast<uint32_t>(size);
}

Layout lay_out(const WriterState& state, bool append_strings) {
  Layout layout;
  const size_t chunks = state.chunks.size() + (append_strings ? 1 : 0);
  layout.payload_start.resize(chunks);
  layout.payload_size.resize(chunks);
  uint64_t pos = 8;
  for (size_t i = 0; i < chunks; ++i) {
    const bool is_strings = i == state.chunks.size() || state.chunks[i].kind == WriterState::ChunkKind::kStrings;
    uint64_t size = 0;
    if (is_strings) {
      size = strings_payload_size(state.pool);
      layout.strings_chunk = static_cast<int32_t>(i);
    } else if (state.chunks[i].kind == WriterState::ChunkKind::kRaw) {
      size = state.chunks[i].blob->size();
    } else {
      size = padded(state.chunks[i].blob->size());
    }
    pos += 8;
    if (pos + size > kMaxFileSize) throw WriteError("data file larger than 4 GiB");
    layout.payload_start[i] = static_cast<uint32_t>(pos);
    layout.payload_size[i] = static_cast<uint32_t>(size);
    pos += size;
  }
  layout.file_size = static_cast<uint32_t>(pos);
  if (layout.strings_chunk >= 0) {
    uint32_t at = layout.payload_start[layout.strings_chunk] + 4 + 4 * static_cast<uint32_t>(state.pool.strings().size());
    for (const std::string& text : state.pool.strings()) {
      layout.string_entry.push_back(at);
      at += StringPool::entry_bytes(text);
    }
  }
  return layout;
}

uint32_t resolve(const WriterState& state, const Layout& layout, Ref ref) {
  if (!ref.label.valid()) return 0;
  if (ref.label.id > state.labels.size()) throw WriteError("reference to a label the writer did not make");
  const WriterState::LabelSite& site = state.labels[ref.label.id - 1];
  if (site.chunk < 0) throw WriteError("reference to a label that was never bound");
  const int64_t at = static_cast<int64_t>(layout.payload_start[site.chunk]) + site.offset + ref.addend;
  if (at < 0 || at > layout.file_size) throw WriteError("reference points outside the file");
  return static_cast<uint32_t>(at);
}

void write_strings(const StringPool& pool, const Layout& layout, uint8_t* payload) {
  const auto count = static_cast<uint32_t>(pool.strings().size());
  store_u32(payload, count);
  for (uint32_t i = 0; i < count; ++i) store_u32(payload + 4 + 4 * i, layout.string_entry[i]);
  uint8_t* out = payload + 4 + 4 * count;
  for (const std::string& text : pool.strings()) {
    store_u32(out, static_cast<uint32_t>(text.size()));
    std::memcpy(out + 4, text.data(), text.size());
    out += StringPool::entry_bytes(text);  // the NUL and the padding are already zero
  }
}

}  // namespace

Writer::Writer() : state_(std::make_unique<WriterState>()) {}
Writer::~Writer() = default;
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;

Blob& Writer::add_chunk(uint32_t tag) { return state_->new_blob(tag, WriterState::ChunkKind::kStructured); }

Blob& Writer::add_raw_chunk(uint32_t tag, std::vector<uint8_t> bytes) {
  Blob& blob = state_->new_blob(tag, WriterState::ChunkKind::kRaw);
  blob.data_ = std::move(bytes);
  return blob;
}

void Writer::add_strings_chunk() {
  if (state_->strings_placed) throw WriteError("the STRG chunk was placed twice");
  state_->strings_placed = true;
  state_->chunks.push_back(WriterState::Chunk{chunk_tag(kChunkSTRG), WriterState::ChunkKind::kStrings, nullptr});
}

Label Writer::new_label() {
  state_->labels.push_back(WriterState::LabelSite{});
  return Label{static_cast<uint32_t>(state_->labels.size())};
}

void Writer::patch_distance(Ref word, Ref from, Ref to, uint32_t mask) {
  state_->patches.push_back(WriterState::DistancePatch{word, from, to, mask});
}

size_t Writer::chunk_count() const {
  return state_->chunks.size() + (!state_->strings_placed && !state_->pool.empty() ? 1 : 0);
}

uint32_t Writer::chunk_tag_at(size_t index) const {
  if (index < state_->chunks.size()) return state_->chunks[index].tag;
  return chunk_tag(kChunkSTRG);
}

const std::vector<std::string>& Writer::strings() const { return state_->pool.strings(); }

std::vector<uint8_t> Writer::build() const {
  const WriterState& state = *state_;
  const bool append_strings = !state.strings_placed && !state.pool.empty();
  const Layout layout = lay_out(state, append_strings);

  std::vector<uint8_t> file(layout.file_size, 0);
  store_u32(file.data(), kFormTag);
  store_u32(file.data() + 4, layout.file_size - 8);
  for (size_t i = 0; i < layout.payload_start.size(); ++i) {
    uint8_t* payload = file.data() + layout.payload_start[i];
    store_u32(payload - 8, i < state.chunks.size() ? state.chunks[i].tag : chunk_tag(kChunkSTRG));
    store_u32(payload - 4, layout.payload_size[i]);
    if (static_cast<int32_t>(i) == layout.strings_chunk) {
      write_strings(state.pool, layout, payload);
      continue;
    }
    const Blob& blob = *state.chunks[i].blob;
    if (!blob.data_.empty()) std::memcpy(payload, blob.data_.data(), blob.data_.size());
    for (const Blob::Fixup& fixup : blob.fixups_) {
      const uint32_t value = fixup.string_id >= 0 ? layout.string_entry[fixup.string_id] + 4
                                                  : resolve(state, layout, fixup.target);
      store_u32(payload + fixup.at, value);
    }
  }
  for (const WriterState::DistancePatch& patch : state.patches) {
    const uint32_t at = resolve(state, layout, patch.word);
    if (!patch.word.label.valid() || static_cast<uint64_t>(at) + 4 > layout.file_size) {
      throw WriteError("chain link word outside the file");
    }
    const uint32_t distance = resolve(state, layout, patch.to) - resolve(state, layout, patch.from);
    const uint32_t word = load_u32(file.data() + at);
    store_u32(file.data() + at, (word & ~patch.mask) | (distance & patch.mask));
  }
  return file;
}

void Writer::write_file(const std::string& path) const {
  const std::vector<uint8_t> file = build();
  FILE* out = std::fopen(path.c_str(), "wb");
  if (out == nullptr) throw WriteError("cannot open " + path + " for writing");
  const size_t written = std::fwrite(file.data(), 1, file.size(), out);
  const bool closed = std::fclose(out) == 0;
  if (written != file.size() || !closed) throw WriteError("cannot write " + path);
}

}  // namespace datawin

// TPAG: a pointer list of 22-byte page entries.
#include "datawin/writer/chunk_textures.h"

namespace datawin {

std::vector<Label> new_labels(Writer& writer, size_t count) {
  std::vector<Label> labels;
  labels.reserve(count);
  for (size_t i = 0; i < count; ++i) labels.push_back(writer.new_label());
  return labels;
}

std::vector<Label> add_tpag(Writer& writer, const std::vector<std::optional<TpagEntry>>& entries,
                            std::vector<Label> labels) {
  if (labels.empty()) labels = new_labels(writer, entries.size());
  if (labels.size() != entries.size()) throw WriteError("TPAG: one label per entry is needed");
  Blob& blob = writer.add_chunk(kChunkTPAG);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(entries.size()));
  for (uint32_t i = 0; i < entries.size(); ++i) {
    if (!entries[i]) continue;
    const TpagEntry& e = *entries[i];
    blob.bind(labels[i]);
    list.set(i, labels[i]);
    for (uint16_t field : {e.x, e.y, e.w, e.h, e.x_offset, e.y_offset, e.crop_width, e.crop_height, e.original_width,
                           e.original_height}) {
      blob.u16(field);
    }
    blob.u16(static_cast<uint16_t>(e.texture));
  }
  return labels;
}

}  // namespace datawin

// TXTR: a pointer list of 28-byte page records, then each page's image data, 4-aligned.
#include "datawin/writer/chunk_textures.h"

namespace datawin {

Blob& add_txtr(Writer& writer, const std::vector<std::optional<TxtrRecord>>& pages) {
  Blob& blob = writer.add_chunk(kChunkTXTR);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(pages.size()));
  std::vector<Label> data(pages.size());
  for (uint32_t i = 0; i < pages.size(); ++i) {
    if (!pages[i]) continue;
    const TxtrRecord& page = *pages[i];
    list.set(i, blob.here());
    blob.u32(page.flags);
    blob.u32(page.scale);
    blob.u32(static_cast<uint32_t>(page.data.size()));
    blob.i32(page.width);
    blob.i32(page.height);
    blob.i32(page.file_index);
    if (!page.data.empty()) data[i] = writer.new_label();
    blob.offset(data[i]);
  }
  for (uint32_t i = 0; i < pages.size(); ++i) {
    if (!data[i].valid()) continue;
    blob.align(4);
    blob.bind(data[i]);
    blob.bytes(pages[i]->data.data(), pages[i]->data.size());
  }
  return blob;
}

}  // namespace datawin

// AUDO: a u32 count and offsets of sound blobs {u32 byte count, bytes}.
#include "datawin/writer/chunk_audio.h"

namespace datawin {

void put_audio_blobs(Blob& blob, const std::vector<std::optional<std::vector<uint8_t>>>& blobs) {
  PointerList list = blob.pointer_list(static_cast<uint32_t>(blobs.size()));
  for (uint32_t i = 0; i < blobs.size(); ++i) {
    if (!blobs[i]) continue;
    blob.align(4);
    list.set(i, blob.here());
    blob.u32(static_cast<uint32_t>(blobs[i]->size()));
    blob.bytes(blobs[i]->data(), blobs[i]->size());
  }
}

Blob& add_audo(Writer& writer, const std::vector<std::optional<std::vector<uint8_t>>>& blobs) {
  Blob& blob = writer.add_chunk(kChunkAUDO);
  put_audio_blobs(blob, blobs);
  return blob;
}

}  // namespace datawin

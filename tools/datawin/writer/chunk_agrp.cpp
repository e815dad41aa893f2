// AGRP: a pointer list of audio group records, one name each.
#include "datawin/writer/chunk_audio.h"

namespace datawin {

Blob& add_agrp(Writer& writer, const std::vector<std::optional<std::string>>& groups) {
  Blob& blob = writer.add_chunk(kChunkAGRP);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(groups.size()));
  for (uint32_t i = 0; i < groups.size(); ++i) {
    if (!groups[i]) continue;
    list.set(i, blob.here());
    blob.string(*groups[i]);
  }
  return blob;
}

}  // namespace datawin

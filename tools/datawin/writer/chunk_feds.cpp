// FEDS: an unread word, a count and offsets of {name, description} records.
#include "datawin/writer/chunk_options.h"

namespace datawin {

Blob& add_feds(Writer& writer, const std::vector<std::optional<EffectDescription>>& effects) {
  Blob& blob = writer.add_chunk(kChunkFEDS);
  blob.u32(0);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(effects.size()));
  for (uint32_t i = 0; i < effects.size(); ++i) {
    if (!effects[i]) continue;
    list.set(i, blob.here());
    blob.string(effects[i]->name);
    blob.string(effects[i]->description);
  }
  return blob;
}

}  // namespace datawin

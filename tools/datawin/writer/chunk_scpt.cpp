// SCPT: a pointer list of {name, code index} records.
#include "datawin/writer/chunk_options.h"

namespace datawin {

Blob& add_scpt(Writer& writer, const std::vector<std::optional<ScriptRecord>>& scripts) {
  Blob& blob = writer.add_chunk(kChunkSCPT);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(scripts.size()));
  for (uint32_t i = 0; i < scripts.size(); ++i) {
    if (!scripts[i]) continue;
    list.set(i, blob.here());
    blob.string(scripts[i]->name);
    blob.u32(scripts[i]->code_index);
  }
  return blob;
}

}  // namespace datawin

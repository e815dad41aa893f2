// TAGS: the version, every tag name, then a pointer list of {asset key, tag names} records.
#include "datawin/writer/chunk_options.h"

namespace datawin {

Blob& add_tags(Writer& writer, const std::vector<std::string>& names, const std::vector<TagsAsset>& assets,
               uint32_t version) {
  Blob& blob = writer.add_chunk(kChunkTAGS);
  blob.u32(version);
  blob.i32(static_cast<int32_t>(names.size()));
  for (const std::string& name : names) blob.string(name);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(assets.size()));
  for (uint32_t i = 0; i < assets.size(); ++i) {
    list.set(i, blob.here());
    blob.u32(assets[i].key);
    blob.i32(static_cast<int32_t>(assets[i].tags.size()));
    for (const std::string& tag : assets[i].tags) blob.string(tag);
  }
  return blob;
}

}  // namespace datawin

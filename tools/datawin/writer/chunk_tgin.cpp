// TGIN: a u64 of version and count, the group offsets, then each record with its five lists.
#include "datawin/writer/chunk_textures.h"

namespace datawin {

Blob& add_tgin(Writer& writer, const std::vector<std::optional<TginRecord>>& groups, uint32_t version) {
  Blob& blob = writer.add_chunk(kChunkTGIN);
  blob.u64(static_cast<uint64_t>(groups.size()) << 32 | version);
  std::vector<Label> records(groups.size());
  for (size_t i = 0; i < groups.size(); ++i) {
    if (groups[i]) records[i] = writer.new_label();
    blob.offset(records[i]);
  }
  for (uint32_t i = 0; i < groups.size(); ++i) {
    if (!groups[i]) continue;
    const TginRecord& group = *groups[i];
    Label lists[tgin::kGroupListCount];
    blob.bind(records[i]);
    blob.string(group.name);
    blob.string_or_none(group.directory);
    blob.string_or_none(group.extension);
    blob.i32(group.load_type);
    for (Label& list : lists) {
      list = writer.new_label();
      blob.offset(list);
    }
    for (uint32_t l = 0; l < tgin::kGroupListCount; ++l) {
      blob.bind(lists[l]);
      blob.u32(static_cast<uint32_t>(group.lists[l].size()));
      for (int32_t index : group.lists[l]) blob.i32(index);
    }
  }
  return blob;
}

}  // namespace datawin

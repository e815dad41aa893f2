#include "datawin/writer/chunk_code_lists.h"

#include "datawin/format/link_layout.h"

namespace datawin {

namespace {

Blob& add_index_list(Writer& writer, ChunkId id, const std::vector<int32_t>& code_indices) {
  Blob& blob = writer.add_chunk(id);
  blob.u32(static_cast<uint32_t>(code_indices.size()));
  for (int32_t index : code_indices) blob.i32(index);
  return blob;
}

}  // namespace

Blob& add_glob(Writer& writer, const std::vector<int32_t>& code_indices) {
  return add_index_list(writer, kChunkGLOB, code_indices);
}

Blob& add_gmen(Writer& writer, const std::vector<int32_t>& code_indices) {
  return add_index_list(writer, kChunkGMEN, code_indices);
}

Blob& add_feat(Writer& writer, const std::vector<std::string>& features) {
  Blob& blob = writer.add_chunk(kChunkFEAT);
  blob.u32(static_cast<uint32_t>(features.size()));
  for (const std::string& feature : features) blob.string(feature);
  return blob;
}

std::vector<Label> add_code(Writer& writer, int version, const std::vector<CodeRecord>& records) {
  Blob& blob = writer.add_chunk(kChunkCODE);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(records.size()));
  std::vector<Label> code_starts;
  if (version >= link::kVersionNewForm) {
    // Records first, then the bytecode blocks they point at.
    std::vector<uint32_t> offset_fields;
    for (uint32_t i = 0; i < records.size(); ++i) {
      const CodeRecord& record = records[i];
      list.set(i, blob.here());
      blob.string(record.name);
      blob.u32(static_cast<uint32_t>(record.bytecode.size()));
      blob.u16(record.locals);
      blob.u16(record.arguments);
      offset_fields.push_back(blob.placeholder_u32());
      blob.u32(record.shared);
    }
    for (uint32_t i = 0; i < records.size(); ++i) {
      blob.align(4);
      blob.patch_u32(offset_fields[i], blob.size() - offset_fields[i]);
      code_starts.push_back(blob.here());
      blob.bytes(records[i].bytecode.data(), records[i].bytecode.size());
    }
  } else {
    for (uint32_t i = 0; i < records.size(); ++i) {
      const CodeRecord& record = records[i];
      blob.align(4);
      list.set(i, blob.here());
      blob.string(record.name);
      blob.u32(static_cast<uint32_t>(record.bytecode.size()));
      code_starts.push_back(blob.here());
      blob.bytes(record.bytecode.data(), record.bytecode.size());
    }
  }
  return code_starts;
}

}  // namespace datawin

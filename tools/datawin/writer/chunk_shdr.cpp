// SHDR: shader records with their program strings, attribute names and the optional blob block.
#include "datawin/writer/chunk_shdr.h"

namespace datawin {

namespace {

Ref put_later(Writer& writer, std::vector<std::pair<Label, const std::vector<uint8_t>*>>* later,
              const std::vector<uint8_t>& bytes) {
  if (bytes.empty()) return Ref{};
  const Label label = writer.new_label();
  later->push_back({label, &bytes});
  return Ref{label, 0};
}

}  // namespace

Blob& add_shdr(Writer& writer, const std::vector<std::optional<ShaderRecord>>& shaders) {
  Blob& blob = writer.add_chunk(kChunkSHDR);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(shaders.size()));
  for (uint32_t i = 0; i < shaders.size(); ++i) {
    if (!shaders[i]) continue;
    const ShaderRecord& shader = *shaders[i];
    list.set(i, blob.here());
    blob.string(shader.name);
    blob.u32(shader.blocks ? shader.kind | shdr::kExtendedBit : shader.kind & ~shdr::kExtendedBit);
    for (const std::string& program : shader.programs) blob.string_or_none(program);
    blob.i32(static_cast<int32_t>(shader.attributes.size()));
    for (const std::string& attribute : shader.attributes) blob.string(attribute);
    if (!shader.blocks) continue;
    const ShaderBlocks& blocks = *shader.blocks;
    std::vector<std::pair<Label, const std::vector<uint8_t>*>> later;
    blob.i32(blocks.version);
    if (blocks.version >= 1) {
      for (const std::vector<uint8_t>& sized : blocks.sized) {
        blob.offset(put_later(writer, &later, sized));
        blob.u32(static_cast<uint32_t>(sized.size()));
      }
    }
    if (blocks.version >= 2) {
      blob.offset(put_later(writer, &later, blocks.blob5));
      blob.u32(0);
      blob.offset(put_later(writer, &later, blocks.blob6));
    }
    for (const auto& [label, bytes] : later) {
      blob.align(4);
      blob.bind(label);
      blob.bytes(bytes->data(), bytes->size());
    }
    blob.align(4);
  }
  return blob;
}

}  // namespace datawin

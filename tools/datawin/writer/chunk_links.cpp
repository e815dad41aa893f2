#include "datawin/writer/chunk_links.h"

#include "datawin/format/link_layout.h"

namespace datawin {

namespace {

Ref shifted(Ref ref, int32_t by) { return Ref{ref.label, ref.addend + by}; }

// Stores in each link the distance to the next one; the last link's word is left as written.
void chain(Writer& writer, const std::vector<Ref>& references, uint32_t word_offset, uint32_t mask) {
  for (size_t i = 0; i + 1 < references.size(); ++i) {
    writer.patch_distance(shifted(references[i], static_cast<int32_t>(word_offset)), references[i],
                          references[i + 1], mask);
  }
}

void first_reference(Blob& blob, const std::vector<Ref>& references) {
  if (references.empty()) {
    blob.u32(0);
  } else {
    blob.offset(references.front());
  }
}

}  // namespace

Blob& add_vari(Writer& writer, int version, const VariHead& head, const std::vector<VariEntry>& entries) {
  Blob& blob = writer.add_chunk(kChunkVARI);
  const bool new_form = version >= link::kVersionNewForm;
  if (new_form) {
    blob.u32(head.global_count);
    blob.u32(head.instance_count);
    blob.u32(head.max_locals);
  }
  for (const VariEntry& entry : entries) {
    blob.string(entry.name);
    if (new_form) {
      blob.i32(entry.instance_kind);
      blob.i32(entry.id);
    }
    blob.u32(static_cast<uint32_t>(entry.references.size()));
    first_reference(blob, entry.references);
    chain(writer, entry.references, link::kVariReferenceWord, link::vari_distance_mask(version));
  }
  return blob;
}

Blob& add_func(Writer& writer, int version, const std::vector<FuncEntry>& entries,
               const std::vector<CodeLocals>& locals) {
  Blob& blob = writer.add_chunk(kChunkFUNC);
  const bool new_form = version >= link::kVersionNewForm;
  if (new_form) blob.u32(static_cast<uint32_t>(entries.size()));
  for (const FuncEntry& entry : entries) {
    blob.string(entry.name);
    blob.u32(static_cast<uint32_t>(entry.references.size()));
    first_reference(blob, entry.references);
    chain(writer, entry.references, link::func_reference_word(version), 0xFFFFFFFFu);
  }
  if (new_form) {
    blob.u32(static_cast<uint32_t>(locals.size()));
    for (const CodeLocals& code : locals) {
      blob.i32(static_cast<int32_t>(code.locals.size()));
      blob.string(code.code_name);
      for (const auto& [index, name] : code.locals) {
        blob.i32(index);
        blob.string(name);
      }
    }
  }
  return blob;
}

}  // namespace datawin

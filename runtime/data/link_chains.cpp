// VARI and FUNC: bind the names that bytecode references by rewriting each reference's word with
// the name's id, following the chain of distances through the image. The chains are the one place
// where the loader writes into the image.
//
// A damaged chain could loop (a distance of 0) or jump anywhere, so every link is checked against
// the image, and the links of one chunk together may not outnumber the image's words: a valid file
// never visits a word twice, so this bounds the work by the file's size.
#include "core/function_table.h"
#include "core/variable_names.h"
#include "data/loader_internal.h"
#include "datawin/format/link_layout.h"

using namespace datawin;

namespace {

struct ChainWalk {
  const char* chunk;
  uint32_t record_offset;  // for messages
  uint32_t word_offset;    // where the link word sits, from the reference
  uint64_t* budget;        // links left for this chunk
};

// Visits `count` links from `first`; rewrite(word) returns {new word, distance to the next}.
template <class Rewrite>
bool walk_chain(const ChainWalk& walk, uint32_t first, int32_t count, Rewrite rewrite) {
  int64_t reference = first;
  for (int32_t i = 0; i < count; ++i) {
    if (*walk.budget == 0) return load_error(walk.chunk, "reference chain longer than the file", walk.record_offset);
    --*walk.budget;
    const int64_t at = reference + walk.word_offset;
    if (reference < 0 || at + 4 > static_cast<int64_t>(g_loader.size)) {
      return load_error(walk.chunk, "reference outside the file", walk.record_offset);
    }
    uint8_t* word = g_loader.image + at;
    const auto [bound, distance] = rewrite(load_u32(word));
    store_u32(word, bound);
    reference += distance;
  }
  return true;
}

bool read_name(ByteCursor& cur, const char* chunk, const char** name) {
  if (!cur.read_string(name)) return load_error(chunk, "name is not a string of the file", cur.offset());
  return true;
}

bool read_locals(ByteCursor& cur) {
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return load_error("FUNC", "local-variable table count missing", cur.offset());
  if (!cur.fits(count, 8)) return load_error("FUNC", "local-variable table count larger than the chunk", cur.offset() - 4);
  g_loader.code_locals.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    int32_t local_count = 0;
    const char* code_name = nullptr;
    if (!cur.read_i32(&local_count) || !read_name(cur, "FUNC", &code_name)) {
      return load_error("FUNC", "local-variable table truncated", cur.offset());
    }
    if (local_count < 0 || !cur.fits(static_cast<uint32_t>(local_count), 8)) {
      return load_error("FUNC", "local count larger than the chunk", cur.offset() - 8);
    }
    CodeLocalNames& table = g_loader.code_locals.emplace_back();
    table.code_name = code_name != nullptr ? code_name : "";
    for (int32_t j = 0; j < local_count; ++j) {
      int32_t index = 0;
      const char* name = nullptr;
      cur.read_i32(&index);
      if (!read_name(cur, "FUNC", &name)) return false;
      table.locals.emplace_back(index, name != nullptr ? name : "");
    }
  }
  return true;
}

}  // namespace

bool apply_variable_chain(uint32_t payload, uint32_t size) {
  if (size <= link::kVariMaxEmptySize) {
    Variable_SizeNameTables(0, 0);
    g_loader.global_var_count = 0;
    g_loader.var_count = 0;
    return true;
  }
  const int version = DataVersion;
  const bool new_form = version >= link::kVersionNewForm;
  ByteCursor cur = payload_cursor(payload, size);
  if (new_form) {
    uint32_t globals = 0, instances = 0, max_locals = 0;
    cur.read_u32(&globals);  // the chunk holds at least 32 bytes here
    cur.read_u32(&instances);
    cur.read_u32(&max_locals);
    if (globals > size) return load_error("VARI", "global variable count larger than the chunk", payload);
    g_loader.global_var_count = static_cast<int32_t>(globals);
    g_loader.var_count = static_cast<int32_t>((size + 7) / link::kVariRecordBytes);
    g_loader.vari_instance_count = instances == 0 ? 2 : static_cast<int32_t>(instances);
    g_loader.vari_max_locals = static_cast<int32_t>(max_locals);
    Variable_SizeNameTables(g_loader.global_var_count, g_loader.var_count);
  }
  const uint32_t record_bytes = new_form ? link::kVariRecordBytes : link::kVariOldRecordBytes;
  uint64_t budget = g_loader.size / 4;
  while (cur.remaining() >= record_bytes) {
    const uint32_t record = cur.offset();
    const char* name = nullptr;
    if (!read_name(cur, "VARI", &name)) return false;
    if (name == nullptr) break;
    if (new_form) cur.skip(8);  // instance kind and id: the lookup decides the id
    int32_t count = 0;
    uint32_t first = 0;
    cur.read_i32(&count);
    cur.read_u32(&first);
    const int32_t id = Variable_FindOrAddSlot(name);
    if (id < 0) return fatal_lookup("variable", name);
    const ChainWalk walk{"VARI", record, link::kVariReferenceWord, &budget};
    const bool ok = walk_chain(walk, first, count, [id, version](uint32_t word) {
      return std::pair<uint32_t, int32_t>(link::vari_bind(word, id), link::vari_distance(word, version));
    });
    if (!ok) return false;
  }
  return true;
}

bool apply_function_chain(uint32_t payload, uint32_t size) {
  const int version = DataVersion;
  const bool new_form = version >= link::kVersionNewForm;
  ByteCursor cur = payload_cursor(payload, size);
  uint32_t count = UINT32_MAX;  // older form: records up to the end of the chunk
  if (new_form) {
    if (!cur.read_u32(&count)) return load_error("FUNC", "count missing", cur.offset());
    if (!cur.fits(count, link::kFuncRecordBytes)) return load_error("FUNC", "function count larger than the chunk", payload);
  }
  uint64_t budget = g_loader.size / 4;
  for (uint32_t i = 0; i < count && cur.remaining() >= link::kFuncRecordBytes; ++i) {
    const uint32_t record = cur.offset();
    const char* name = nullptr;
    if (!read_name(cur, "FUNC", &name)) return false;
    if (name == nullptr) {
      if (new_form) return load_error("FUNC", "function name missing", record);
      break;
    }
    int32_t references = 0;
    uint32_t first = 0;
    cur.read_i32(&references);
    cur.read_u32(&first);
    int32_t id = -1;
    Function_Find(name, &id);
    if (id < 0) return fatal_lookup("function", name);
    const ChainWalk walk{"FUNC", record, link::func_reference_word(version), &budget};
    const bool ok = walk_chain(walk, first, references, [id](uint32_t word) {
      return std::pair<uint32_t, int32_t>(static_cast<uint32_t>(id), static_cast<int32_t>(word));
    });
    if (!ok) return false;
  }
  return new_form ? read_locals(cur) : true;
}

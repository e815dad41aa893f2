#pragma once
// Internal to the data module: the loader's state, the chunk walk shared by both walks and the
// debug side file, and the readers of the chunks the container handles itself.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "data/cursor.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/chunk_tags.h"

struct LoaderState {
  uint8_t* image = nullptr;
  uint32_t size = 0;
  GameHeader header;
  bool in_a_window = false;
  bool builtins_registered = false;
  bool code_seen = false;
  uint32_t string_table = 0;  // offset of STRG's first entry, 0 when none
  uint32_t string_count = 0;
  uint32_t texture_pages = 0;  // TPAG payload offset, 0 when none
  uint32_t texture_pages_size = 0;
  std::vector<int32_t> global_init;
  std::vector<int32_t> game_end;
  std::vector<const char*> features;
  std::vector<uint32_t> code_offsets;
  std::vector<CodeLocalNames> code_locals;
  int32_t global_var_count = 0;
  int32_t var_count = 0;
  int32_t vari_instance_count = 0;
  int32_t vari_max_locals = 0;
  int32_t global_object_slots = 0;
};
extern LoaderState g_loader;

// Prints "Error loading game data: <chunk>: <what> (offset <n>)" on the release console and
// returns false, so readers can `return load_error(...)`.
bool load_error(const char* chunk, const char* what, uint32_t offset);
// Prints the fatal lookup message for a chain name and runs the fatal handler; returns false.
bool fatal_lookup(const char* kind, const char* name);

// A cursor over a payload given by absolute offset and size.
inline ByteCursor payload_cursor(uint32_t payload, uint32_t size) {
  return ByteCursor(g_loader.image, g_loader.size, payload, payload + size);
}

// Walks the chunks of [8, size): calls visit(tag, payload_offset, payload_size) for each. A chunk
// header or payload that passes the end stops the walk with a message; returns false then, or when
// a visit returned false (the walk goes on after those).
template <class Visit>
bool walk_chunks(const uint8_t* image, uint32_t size, const char* file_kind, Visit&& visit) {
  bool ok = true;
  uint32_t at = 8;
  while (at < size) {
    if (size - at < 8) {
      const std::string what = std::string(file_kind) + " chunk header cut off by the end of the file";
      return load_error("FORM", what.c_str(), at);
    }
    const uint32_t tag = datawin::load_u32(image + at);
    const uint32_t chunk_size = datawin::load_u32(image + at + 4);
    if (chunk_size > size - at - 8) {
      return load_error(datawin::tag_text(tag).text, "chunk size passes the end of the file", at + 4);
    }
    if (!visit(tag, at + 8, chunk_size)) ok = false;
    at += 8 + chunk_size;
  }
  return ok;
}

// GEN8: `full` is the chunk load's read (room order, game speed, the timer start).
bool read_header(uint32_t payload, uint32_t size, bool full);
bool read_string_table(uint32_t payload, uint32_t size);
bool read_code_list(datawin::ChunkId id, uint32_t payload, uint32_t size);  // GLOB, GMEN
bool read_features(uint32_t payload, uint32_t size);
bool read_code_offsets(uint32_t payload, uint32_t size);
bool apply_variable_chain(uint32_t payload, uint32_t size);  // VARI
bool apply_function_chain(uint32_t payload, uint32_t size);  // FUNC

// The compiled link block: step 1 before the walk, step 5 after it.
void link_block_begin();
void link_block_finish();

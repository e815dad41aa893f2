// GLOB, GMEN, FEAT and CODE: lists the container keeps for the scripts layer. Code indices are kept
// as the file gives them; whether a row exists is checked where the code runs.
#include "data/loader_internal.h"

using namespace datawin;

bool read_code_list(ChunkId id, uint32_t payload, uint32_t size) {
  const char* chunk = kChunkNames[id];
  ByteCursor cur = payload_cursor(payload, size);
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return load_error(chunk, "count missing", cur.offset());
  if (!cur.fits(count, 4)) return load_error(chunk, "code index count larger than the chunk", payload);
  std::vector<int32_t>& list = id == kChunkGLOB ? g_loader.global_init : g_loader.game_end;
  list.resize(count);
  for (int32_t& index : list) cur.read_i32(&index);
  return true;
}

bool read_features(uint32_t payload, uint32_t size) {
  ByteCursor cur = payload_cursor(payload, size);
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return load_error("FEAT", "count missing", cur.offset());
  if (!cur.fits(count, 4)) return load_error("FEAT", "feature count larger than the chunk", payload);
  g_loader.features.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    const char* name = nullptr;
    if (!cur.read_string(&name)) {
      g_loader.features.clear();
      return load_error("FEAT", "feature name is not a string of the file", cur.offset());
    }
    g_loader.features.push_back(name != nullptr ? name : "");
  }
  return true;
}

bool read_code_offsets(uint32_t payload, uint32_t size) {
  ByteCursor cur = payload_cursor(payload, size);
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return load_error("CODE", "count missing", cur.offset());
  if (!cur.fits(count, 4)) return load_error("CODE", "record count larger than the chunk", payload);
  g_loader.code_offsets.resize(count);
  for (uint32_t& offset : g_loader.code_offsets) {
    cur.read_u32(&offset);
    // Both record forms begin with a name and a length word.
    if (offset != 0 && (offset > g_loader.size || g_loader.size - offset < 8)) {
      g_loader.code_offsets.clear();
      return load_error("CODE", "record offset outside the file", cur.offset() - 4);
    }
  }
  return true;
}

// The chunk load (the second walk): the dispatch by tag, the reader table that subsystems fill,
// and the hooks around the walk.
#include <algorithm>

#include "core/console.h"
#include "core/object.h"
#include "data/game_data.h"
#include "data/loader_internal.h"

using namespace datawin;

namespace {

ChunkReader g_readers[kChunkIdCount] = {};
std::vector<void (*)()> g_clear_hooks;
void (*g_fallback_texture_hook)() = nullptr;

// Tags the container reads (or deliberately skips) itself; they take no plug-in reader.
bool read_by_container(ChunkId id) {
  switch (id) {
    case kChunkGEN8:
    case kChunkGLOB:
    case kChunkGMEN:
    case kChunkFEAT:
    case kChunkCODE:
    case kChunkFUNC:
    case kChunkVARI:
    case kChunkSTRG:
    case kChunkTPAG:
    case kChunkNINE:
    case kChunkDAFL:
    case kChunkSTAT:
    case kChunkHELP:
    case kChunkRASP:
    case kChunkPSPS:
      return true;
    default:
      return false;
  }
}

bool dispatch(uint32_t tag, uint32_t payload, uint32_t size) {
  const ChunkId id = find_chunk(tag);
  if (id > kLastDispatchChunk) {
    g_ReleaseConsole->Output("unknown Chunk %s:%d\n", tag_text(tag).text, static_cast<int>(size));
    return false;
  }
  switch (id) {
    case kChunkGEN8:
      return read_header(payload, size, true);
    case kChunkGLOB:
    case kChunkGMEN:
      return read_code_list(id, payload, size);
    case kChunkFEAT:
      return read_features(payload, size);
    case kChunkCODE:
      return read_code_offsets(payload, size);
    case kChunkFUNC:
      return apply_function_chain(payload, size);
    case kChunkTPAG:
      g_loader.texture_pages = payload;
      g_loader.texture_pages_size = size;
      return true;
    case kChunkNINE:
      g_ReleaseConsole->Output("Nine-slice resource type not handled yet\n");
      return true;
    default:
      break;  // VARI and STRG were read by the header scan; the rest go to their readers
  }
  if (ChunkReader reader = g_readers[id]) return reader(g_loader.image + payload, size, g_loader.image);
  return true;
}

void clear_tables() {
  g_loader.global_init.clear();
  g_loader.game_end.clear();
  g_loader.features.clear();
  g_loader.code_offsets.clear();
  g_loader.code_locals.clear();
  g_loader.texture_pages = 0;
  g_loader.texture_pages_size = 0;
  for (void (*hook)() : g_clear_hooks) hook();
}

}  // namespace

bool Chunk_SetReader(uint32_t tag, ChunkReader reader) {
  const ChunkId id = find_chunk(tag);
  if (id > kLastDispatchChunk || read_by_container(id)) return false;
  g_readers[id] = reader;
  return true;
}

ChunkReader Chunk_Reader(uint32_t tag) {
  const ChunkId id = find_chunk(tag);
  return id > kLastDispatchChunk ? nullptr : g_readers[id];
}

void Chunk_ClearReaders() { std::fill(std::begin(g_readers), std::end(g_readers), nullptr); }

// Every start installs its hooks again: a hook already in the list is not added twice.
void GameData_AddClearHook(void (*hook)()) {
  if (std::find(g_clear_hooks.begin(), g_clear_hooks.end(), hook) == g_clear_hooks.end()) g_clear_hooks.push_back(hook);
}

void GameData_SetFallbackTextureHook(void (*hook)()) { g_fallback_texture_hook = hook; }

void GameData_ClearHooks() {
  g_clear_hooks.clear();
  g_fallback_texture_hook = nullptr;
}

bool LoadGameData(uint8_t* image, uint32_t size) {
  g_DebugConsole->Output("initialise everything! %p, %u\n", static_cast<void*>(image), size);
  g_loader.image = image;
  g_loader.size = image != nullptr ? size : 0;
  clear_tables();
  link_block_begin();
  g_loader.global_object_slots = std::max(g_loader.var_count, g_loader.global_var_count);
  Object_CreateGlobal(g_loader.global_object_slots);

  bool ok = true;
  if (image != nullptr && size >= 8 && load_u32(image + 4) == size - 8) {
    ok = walk_chunks(image, size, "data file", [](uint32_t tag, uint32_t payload, uint32_t chunk_size) {
      const double megabytes = static_cast<double>(chunk_size) / (1024.0 * 1024.0);
      g_DebugConsole->Output("Process Chunk: %s   %u  (%4.2fMB)\n", tag_text(tag).text, chunk_size, megabytes);
      if (chunk_size == 0) return true;
      return dispatch(tag, payload, chunk_size);
    });
  }
  if (g_readers[kChunkEMBI] != nullptr && g_fallback_texture_hook != nullptr) g_fallback_texture_hook();
  link_block_finish();
  return ok;
}

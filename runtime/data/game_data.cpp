// The loader's state and its accessors, the error lines, and the fatal path of the chains.
#include "data/game_data.h"

#include <cstdlib>

#include "core/console.h"
#include "data/loader_internal.h"
#include "datawin/format/gen8_layout.h"

LoaderState g_loader;

int32_t DataVersion = 0;
uint64_t FunctionClasses = datawin::gen8::kAllFunctionClasses;
float GameSpeed = 0.0f;
bool NewCodeForm = false;

namespace {

void exit_process(int status) { std::exit(status); }

DataFatalHandler g_fatal_handler = exit_process;

}  // namespace

bool load_error(const char* chunk, const char* what, uint32_t offset) {
  g_ReleaseConsole->Output("Error loading game data: %s: %s (offset %u)\n", chunk, what, offset);
  return false;
}

bool fatal_lookup(const char* kind, const char* name) {
  g_ReleaseConsole->Output("Error on load\nUnable to find %s %s\n", kind, name);
  g_fatal_handler(1);
  return false;
}

void GameData_SetFatalHandler(DataFatalHandler handler) { g_fatal_handler = handler != nullptr ? handler : exit_process; }

const uint8_t* ImagePointer(uint32_t offset) {
  if (offset == 0 || g_loader.image == nullptr || offset >= g_loader.size) return nullptr;
  return g_loader.image + offset;
}

const uint8_t* GameData_Image() { return g_loader.image; }
uint32_t GameData_ImageSize() { return g_loader.size; }

ByteCursor GameData_Cursor(const uint8_t* payload, uint32_t size) {
  // A payload handed to a reader lies inside the image; anything else gets an empty cursor.
  if (g_loader.image == nullptr || payload < g_loader.image || payload > g_loader.image + g_loader.size) {
    return ByteCursor(g_loader.image, g_loader.size, 0, 0);
  }
  const auto begin = static_cast<uint32_t>(payload - g_loader.image);
  const uint32_t end = size <= g_loader.size - begin ? begin + size : g_loader.size;
  return ByteCursor(g_loader.image, g_loader.size, begin, end);
}

const GameHeader& GameData_Header() { return g_loader.header; }

void GameData_SetInAWindow(bool on) { g_loader.in_a_window = on; }

const std::vector<int32_t>& GameData_GlobalInitCode() { return g_loader.global_init; }
const std::vector<int32_t>& GameData_GameEndCode() { return g_loader.game_end; }
const std::vector<const char*>& GameData_Features() { return g_loader.features; }
bool GameData_CodeChunkSeen() { return g_loader.code_seen; }
const std::vector<uint32_t>& GameData_CodeOffsets() { return g_loader.code_offsets; }
const std::vector<CodeLocalNames>& GameData_CodeLocals() { return g_loader.code_locals; }

uint32_t GameData_StringCount() { return g_loader.string_count; }

const char* GameData_String(uint32_t index) {
  if (index >= g_loader.string_count) return nullptr;
  // Entries point at the length word; read_string_table checked every one of them.
  const uint32_t entry = datawin::load_u32(g_loader.image + g_loader.string_table + 4 * index);
  return entry == 0 ? nullptr : reinterpret_cast<const char*>(g_loader.image + entry + 4);
}

bool GameData_TexturePageChunk(const uint8_t** payload, uint32_t* size) {
  if (g_loader.texture_pages == 0) return false;
  *payload = g_loader.image + g_loader.texture_pages;
  *size = g_loader.texture_pages_size;
  return true;
}

int32_t GameData_GlobalVarCount() { return g_loader.global_var_count; }
int32_t GameData_VarCount() { return g_loader.var_count; }
int32_t GameData_VariInstanceCount() { return g_loader.vari_instance_count; }
int32_t GameData_VariMaxLocals() { return g_loader.vari_max_locals; }
int32_t GameData_GlobalObjectSlots() { return g_loader.global_object_slots; }

void GameData_Reset() {
  const bool in_a_window = g_loader.in_a_window;
  g_loader = LoaderState{};
  g_loader.in_a_window = in_a_window;
  DataVersion = 0;
  FunctionClasses = datawin::gen8::kAllFunctionClasses;
  GameSpeed = 0.0f;
  NewCodeForm = false;
}

#pragma once
// The game data file: one block of memory (the image) that holds every asset and stays for the
// life of the process. Records, strings and pixel data are used in place; runtime objects keep
// pointers into it. The container is walked twice:
//   HeaderScan    before the window exists: the header record (GEN8), the string table, the CODE
//                 flag and the VARI chain; it also registers the builtin functions.
//   LoadGameData  builds the runtime tables: every chunk goes to its reader by tag.
// Both walks rewrite reference words in the image (the VARI and FUNC chains), so the image is
// writable. They check every chunk size, count, offset and string against the image and never
// read outside it: a damaged chunk prints one line on the release console naming the chunk and the
// offset and makes the walk's result false, and the walk goes on with the next chunk.
// Subsystems plug their readers in with Chunk_SetReader before LoadGameData runs.
// Everything here runs on the main thread during start-up.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "data/cursor.h"

// The header record's fields as the runtime uses them. Names point into the image or at the
// fallback texts; the room order is a copy.
struct GameHeader {
  uint8_t debug_off = 0;   // 0: the debug link and the profiler may run
  int32_t version = 0;
  const char* file_name = "Default";
  uint32_t last_instance_id = 0;
  uint32_t last_tile_id = 0;
  int32_t game_id = 0;
  uint32_t guid[4] = {0, 0, 0, 0};
  const char* project_name = "";
  const char* display_name = "Made with Tolvarine";
  uint32_t generation = 1;   // files below version 8 have no generation word: 1
  int32_t window_width = 0;  // 0 below version 8
  int32_t window_height = 0;
  uint32_t info_flags = 0;   // bit 0 already cleared under -inawindow
  uint32_t checksum = 0;
  uint8_t digest[16] = {};
  uint64_t build_time = 0;
  std::vector<int32_t> room_order;  // filled by the chunk load
  const uint8_t* record = nullptr;  // the GEN8 payload
  uint32_t record_size = 0;
};

// Header values other subsystems read.
extern int32_t DataVersion;
extern uint64_t FunctionClasses;  // all bits set below version 12
extern float GameSpeed;           // 0 unless version 14+ generation 2 set it
extern bool NewCodeForm;          // version 15 or above

// The first walk. Raises "Error attempting to load wad file with unexpected size %d szFORM %d\n"
// through KVError when the FORM size word isn't size - 8. Returns false when a chunk it read was
// damaged (the message is on the release console).
bool HeaderScan(uint8_t* image, uint32_t size);
// The second walk; false when a chunk was not understood or was damaged. The caller then prints
// "Failed to load the game\n".
bool LoadGameData(uint8_t* image, uint32_t size);

// image base + offset; null for 0 and for offsets outside the image.
const uint8_t* ImagePointer(uint32_t offset);
const uint8_t* GameData_Image();
uint32_t GameData_ImageSize();
// A cursor over a chunk payload that a reader was handed; string checks use the whole image.
ByteCursor GameData_Cursor(const uint8_t* payload, uint32_t size);

const GameHeader& GameData_Header();
// Reads the debug side file ("<game>.kvdebug") when it exists; false when there is none or it
// can't be read. Its tables are in data/debug_file.h.
bool GameData_LoadDebugSideFile(const std::string& path);
// The -inawindow option: InfoFlags bit 0 (full screen) is cleared as soon as it is read.
void GameData_SetInAWindow(bool on);

// Chunk readers. A reader gets the payload, its size and the image base, and returns false when it
// could not read the chunk. Only the asset chunks take readers; the container reads GEN8, GLOB,
// GMEN, FEAT, CODE, FUNC, VARI, STRG, TPAG and the skipped tags itself. A known tag without a reader
// is accepted and skipped. Returns false for an unknown tag or one the container reads itself.
using ChunkReader = bool (*)(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
bool Chunk_SetReader(uint32_t tag, ChunkReader reader);
ChunkReader Chunk_Reader(uint32_t tag);
void Chunk_ClearReaders();

// Called at the start of every chunk load, where the asset tables are emptied; hooks read
// GameData_Header().generation to reset the generation-2 managers too.
void GameData_AddClearHook(void (*hook)());
// Called after the walk when an EMBI reader is installed: looks up "fallbacktexture".
void GameData_SetFallbackTextureHook(void (*hook)());
// Removes the clear hooks and the fallback-texture hook.
void GameData_ClearHooks();

// The fatal path of an unresolvable VARI or FUNC name: the message is printed on the release
// console, then the handler runs with exit status 1. The default calls exit; a handler that
// returns makes the walk stop that chain and report failure. Null restores the default.
using DataFatalHandler = void (*)(int status);
void GameData_SetFatalHandler(DataFatalHandler handler);

// What the code chunks said.
const std::vector<int32_t>& GameData_GlobalInitCode();  // GLOB: code indices, in run order
const std::vector<int32_t>& GameData_GameEndCode();     // GMEN
const std::vector<const char*>& GameData_Features();    // FEAT
bool GameData_CodeChunkSeen();                          // a CODE chunk was in the header scan
const std::vector<uint32_t>& GameData_CodeOffsets();    // CODE: offsets of bytecode records (0: none)
// STRG: entry `index` as text, null outside the table or for an empty entry.
uint32_t GameData_StringCount();
const char* GameData_String(uint32_t index);
// TPAG: where its payload is; false when the file has none.
bool GameData_TexturePageChunk(const uint8_t** payload, uint32_t* size);

// FUNC's local-variable tables (version 15 on), kept for the debugger.
struct CodeLocalNames {
  std::string code_name;
  std::vector<std::pair<int32_t, std::string>> locals;
};
const std::vector<CodeLocalNames>& GameData_CodeLocals();

// Variable counts: from VARI (version 15), replaced by the link block's counts above 0.
int32_t GameData_GlobalVarCount();
int32_t GameData_VarCount();
// VARI's head (version 15): instance-variable count (0 read as 2) and the largest local count.
int32_t GameData_VariInstanceCount();
int32_t GameData_VariMaxLocals();
// Slots the global object is to be made with: max(varCount, globalVarCount) at the chunk load.
int32_t GameData_GlobalObjectSlots();

// Forgets the image and everything read from it; readers and hooks stay installed.
void GameData_Reset();

// The system queries that need more than the core: os_get_config reads the data file's header,
// os_get_info answers with a new ds_map, and md5_file and sha1_file read a file the way the file
// builtins find it (the save area first, then the game's own folder).
#include <string>
#include <vector>

#include "core/fn_system.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/rvalue.h"
#include "data/game_data.h"
#include "platform/system.h"
#include "run/run_builtins.h"
#include "storage/ds_map.h"
#include "storage/file_paths.h"

namespace {

void set_text_key(CDS_Map* map, const char* key, const std::string& text) {
  RValue k = RV_Undefined(), v = RV_Undefined();
  RV_SetString(&k, key);
  RV_SetString(&v, text.c_str());
  map->set(k, v);
  RV_FreeToUndefined(&k);
  RV_FreeToUndefined(&v);
}

void set_real_key(CDS_Map* map, const char* key, double value) {
  RValue k = RV_Undefined();
  RV_SetString(&k, key);
  map->set(k, RV_Real(value));
  RV_FreeToUndefined(&k);
}

void F_OsGetConfig(RValue* result, CInstance*, CInstance*, int, RValue*) {
  RV_SetString(result, GameData_Header().file_name);
}

// Facts about the device: its id when the system keeps one, and the word size.
void F_OsGetInfo(RValue* result, CInstance*, CInstance*, int, RValue*) {
  DsLock lock(DsMutex());
  CDS_Map* map = KV_NEW(CDS_Map);
  const std::string udid = Platform_MachineId();
  if (!udid.empty()) set_text_key(map, "udid", udid);
  set_real_key(map, "is64bit", sizeof(void*) == 8 ? 1.0 : 0.0);
  *result = RV_Real(DS_Register(map));
}

// The digest of a file's bytes in lower-case hexadecimal; "" for a file that can't be read.
template <bool Sha1>
void F_DigestFile(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  std::vector<uint8_t> bytes;
  const char* name = argc > 0 ? KVGetString(argv, 0) : "";
  if (!File_ReadWhole(name, &bytes)) {
    RV_SetString(result, "");
    return;
  }
  const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  RV_SetString(result, (Sha1 ? System_Sha1Hex(view) : System_Md5Hex(view)).c_str());
}

}  // namespace

void Run_RegisterSystemBuiltins() {
  Function_Add("md5_file", F_DigestFile<false>, 1, 0);
  Function_Add("sha1_file", F_DigestFile<true>, 1, 0);
  Function_Add("os_get_config", F_OsGetConfig, 0, 0);
  Function_Add("os_get_info", F_OsGetInfo, 0, 0);
}

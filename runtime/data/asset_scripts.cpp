// SCPT reader.
#include "data/asset_scripts.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/options_layout.h"

namespace {
AssetTable<ScriptAsset> g_scripts;
}  // namespace

const AssetTable<ScriptAsset>& Script_Table() { return g_scripts; }
int32_t Script_Find(const char* name) { return g_scripts.find(name); }
void Script_Clear() { g_scripts.clear(); }

bool Script_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_scripts.clear();
  if (!Asset_ReadPointerList(cur, "SCPT", &offsets)) return false;
  g_scripts.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    ByteCursor record = Asset_RecordCursor(offsets[i]);
    auto script = std::make_unique<ScriptAsset>();
    uint32_t code = 0;
    if (!record.read_string(&script->name) || !record.read_u32(&code)) {
      return Asset_LoadError("SCPT", "script record cut off or bad name", offsets[i]);
    }
    script->code_index = static_cast<int32_t>(code & datawin::scpt::kCodeIndexMask);
    const char* name = script->name;
    g_scripts.set(i, std::move(script), name);
  }
  return true;
}

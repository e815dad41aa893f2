#include "core/code_tables.h"

#include <cstring>

KVCodeTables* g_CodeTables = nullptr;

const KVScriptRow* CodeTables_Row(int32_t code_index) {
  if (g_CodeTables == nullptr || g_CodeTables->scriptTable == nullptr) return nullptr;
  if (code_index < 0 || code_index >= g_CodeTables->scriptCount) return nullptr;
  return &g_CodeTables->scriptTable[code_index];
}

bool CodeTables_IsScriptName(const char* name) {
  if (name == nullptr) return false;
  return std::strncmp(name, "tsl_Script", 10) == 0 || std::strncmp(name, "tsl_GlobalScript", 16) == 0;
}

#include "compiled_code.h"

#include <vector>

#include "input/input.h"
#include "scripts/game_code.h"
#include "scripts/globals.h"
#include "state/snowstate.h"

extern const KVScriptRow g_CompiledScriptRows[];
extern const int32_t g_CompiledScriptRowCount;

namespace {

template <class Entry>
void append(std::vector<Entry*>* all, Entry** entries) {
  for (; entries != nullptr && *entries != nullptr; ++entries) all->push_back(*entries);
}

}  // namespace

KVCodeTables* Compiled_CodeTables() {
  static KVCodeTables tables;
  static std::vector<KVVariableEntry*> variables;
  static std::vector<KVFunctionEntry*> functions;
  if (tables.scriptTable != nullptr) return &tables;
  append(&variables, SnowState_VariableEntries());
  append(&variables, Input_VariableEntries());
  append(&variables, GameGlobals_VariableEntries());
  append(&functions, SnowState_FunctionEntries());
  append(&functions, Input_FunctionEntries());
  append(&functions, GameGlobals_FunctionEntries());
  GameCode_Entries(&variables, &functions);
  variables.push_back(nullptr);
  functions.push_back(nullptr);
  tables.variableCount = static_cast<int32_t>(variables.size()) - 1;
  tables.functionSlotCount = static_cast<int32_t>(functions.size()) - 1;
  tables.variableTable = variables.data();
  tables.functionSlotTable = functions.data();
  tables.scriptCount = g_CompiledScriptRowCount;
  tables.scriptTable = g_CompiledScriptRows;
  return &tables;
}

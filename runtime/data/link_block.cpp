// The compiled link block's part of the chunk load: before the walk the variable counts and the
// global names are taken over; after it every reference entry that compiled code reads gets its id.
// Entries come from the program, not the file, so they are trusted like any other static data.
#include <algorithm>

#include "core/code_tables.h"
#include "core/function_table.h"
#include "core/variable_names.h"
#include "data/loader_internal.h"

namespace {

// A name's id for a global or an entry without a compiled slot: a fixed slot of 100000 or more is
// bound as it stands; anything else goes through the name lookup (builtin, or a new user name).
int32_t variable_id(const KVVariableEntry& entry) {
  if (entry.id >= kFirstUserVariableSlot) {
    Variable_BindSlot(entry.name, entry.id);
    return entry.id;
  }
  return Variable_FindOrAddSlot(entry.name);
}

}  // namespace

void link_block_begin() {
  const KVCodeTables* tables = g_CodeTables;
  if (tables == nullptr) return;
  if (tables->globalVarCount > 0) g_loader.global_var_count = tables->globalVarCount;
  if (tables->varCount > 0) g_loader.var_count = tables->varCount;
  Variable_SizeNameTables(g_loader.global_var_count, g_loader.var_count);
  if (tables->variableTable == nullptr) return;
  // Slots the compiler fixed are entered first (step 5 enters them again), so a global that needs
  // a new slot can't be handed a row that a later entry owns.
  for (KVVariableEntry** entry = tables->variableTable; *entry != nullptr; ++entry) {
    if ((*entry)->name != nullptr && (*entry)->id >= kFirstUserVariableSlot) variable_id(**entry);
  }
  for (int32_t i = 0; i < g_loader.global_var_count; ++i) {
    const KVVariableEntry* entry = tables->variableTable[i];
    if (entry == nullptr) break;
    if (entry->name == nullptr) continue;
    variable_id(*entry);
    Variable_AddGlobalName(entry->name);
  }
}

void link_block_finish() {
  const KVCodeTables* tables = g_CodeTables;
  if (tables == nullptr) return;
  Variable_AllocInstanceNames(g_loader.var_count);
  if (tables->variableTable != nullptr) {
    // Fixed slots first, so a name that still needs a slot can't be handed a row that a later
    // entry's fixed slot claims.
    for (KVVariableEntry** entry = tables->variableTable; *entry != nullptr; ++entry) {
      if ((*entry)->name != nullptr && (*entry)->id >= kFirstUserVariableSlot) variable_id(**entry);
    }
    for (KVVariableEntry** entry = tables->variableTable; *entry != nullptr; ++entry) {
      if ((*entry)->name != nullptr && (*entry)->id < kFirstUserVariableSlot) {
        (*entry)->id = Variable_FindOrAddSlot((*entry)->name);
      }
    }
  }
  if (tables->functionSlotTable != nullptr) {
    for (KVFunctionEntry** entry = tables->functionSlotTable; *entry != nullptr; ++entry) {
      int32_t id = -1;
      if ((*entry)->name != nullptr) Function_Find((*entry)->name, &id);
      (*entry)->id = id;
    }
  }
  if (tables->scriptTable != nullptr) {
    for (int32_t row = 0; row < tables->scriptCount; ++row) {
      const KVScriptRow& script = tables->scriptTable[row];
      if (script.slot == nullptr || script.name == nullptr) continue;
      int32_t id = -1;
      // Only a result above 0 is written: row 0 of the builtin table never binds a script slot.
      if (Function_Find(script.name, &id) && id > 0) script.slot->id = id;
    }
  }
}

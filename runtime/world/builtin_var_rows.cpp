// The registration of the whole builtin variable table, in manifest order: instance rows, the end
// of the instance rows, then the global rows (with the os_* and rollback rows at their end).
#include "world/builtin_var_rows.h"

#include "core/builtin_var.h"
#include "core/builtin_var_ids.h"
#include "core/console.h"

static_assert(kBuiltinInstanceVariableCount == 91, "the manifest must list the 91 instance rows");

void BuiltinVar_RegisterAll() {
  Variable_BuiltIn_Reset();
  BuiltinVar_AddInstanceRows();
  Variable_BuiltIn_EndInstanceRows();
  BuiltinVar_AddGlobalRows();
  if (g_InstanceVariableCount != kBuiltinInstanceVariableCount || Variable_BuiltIn_Count() != kBuiltinVariableCount) {
    g_ReleaseConsole->Output("builtin variables: %d rows (%d instance rows) registered, the manifest lists %d (%d)\n",
                             Variable_BuiltIn_Count(), g_InstanceVariableCount, kBuiltinVariableCount,
                             kBuiltinInstanceVariableCount);
  }
  Variable_BuiltIn_InstallInObjects();
}

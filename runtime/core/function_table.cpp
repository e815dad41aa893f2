#include "core/function_table.h"

#include <cstring>

#include "core/memory.h"

namespace {

constexpr int32_t kGrowRows = 500;

RFunction* g_rows = nullptr;
int32_t g_count = 0;
int32_t g_capacity = 0;
NameLookup g_script_lookup = nullptr;
NameLookup g_extension_lookup = nullptr;

}  // namespace

const RFunction* g_CurrentFunction = nullptr;

void Function_Add(const char* name, TSL_Builtin handler, int argc, int /*pure*/) {
  if (g_count == g_capacity) {
    g_capacity += kGrowRows;
    g_rows = static_cast<RFunction*>(KV_REALLOC(g_rows, sizeof(RFunction) * static_cast<size_t>(g_capacity)));
  }
  RFunction& row = g_rows[g_count++];
  std::strncpy(row.name, name, sizeof row.name - 1);
  row.name[sizeof row.name - 1] = '\0';
  row.handler = handler;
  row.argc = argc;
  row.usage = -1;
}

bool Function_Set(const char* name, TSL_Builtin handler) {
  for (int32_t i = 0; i < g_count; ++i) {
    if (std::strcmp(g_rows[i].name, name) == 0) {
      g_rows[i].handler = handler;
      return true;
    }
  }
  return false;
}

bool Function_Find(const char* name, int32_t* id) {
  if (g_script_lookup != nullptr) {
    const int32_t script = g_script_lookup(name);
    if (script >= 0) {
      *id = 100000 + script;
      return true;
    }
  }
  if (g_extension_lookup != nullptr) {
    const int32_t extension = g_extension_lookup(name);
    if (extension >= 0) {
      *id = 500000 + extension;
      return true;
    }
  }
  for (int32_t i = 0; i < g_count; ++i) {
    if (std::strcmp(g_rows[i].name, name) == 0) {
      *id = i;
      return true;
    }
  }
  *id = -1;
  return false;
}

int32_t Function_Count() { return g_count; }

const RFunction* Function_Row(int32_t index) {
  return index >= 0 && index < g_count ? &g_rows[index] : nullptr;
}

void Function_Clear() {
  KV_FREE(g_rows);
  g_rows = nullptr;
  g_count = 0;
  g_capacity = 0;
  g_CurrentFunction = nullptr;
}

void Function_SetScriptLookup(NameLookup lookup) { g_script_lookup = lookup; }
void Function_SetExtensionLookup(NameLookup lookup) { g_extension_lookup = lookup; }

const char* Function_CurrentName() { return g_CurrentFunction != nullptr ? g_CurrentFunction->name : "<unknown>"; }

#pragma once
// The builtin table: one growing array of rows in registration order; a row's index is the
// builtin's index. Rows are only ever appended; Function_Set swaps a handler in place.
// Families register themselves in a fixed order while the data file's header is read.
#include <cstdint>

#include "core/rvalue.h"

using TSL_Builtin = void (*)(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv);

struct RFunction {
  char name[64];
  TSL_Builtin handler;
  int32_t argc;   // -1 variable; 998 for the message builtins; not enforced at call time
  int32_t usage;  // -1 at registration
};
static_assert(sizeof(RFunction) == 80);

void Function_Add(const char* name, TSL_Builtin handler, int argc, int pure);
bool Function_Set(const char* name, TSL_Builtin handler);
// Scripts give 100000 + index, extension functions 500000 + index, builtins their row index.
bool Function_Find(const char* name, int32_t* id);
int32_t Function_Count();
const RFunction* Function_Row(int32_t index);
void Function_Clear();

// Hooks for the later tables that Function_Find consults first; null until they exist.
using NameLookup = int32_t (*)(const char* name);  // index, or -1
void Function_SetScriptLookup(NameLookup lookup);
void Function_SetExtensionLookup(NameLookup lookup);

// The row of the running builtin; its name is the %s of argument errors.
extern const RFunction* g_CurrentFunction;
const char* Function_CurrentName();

#pragma once
// KVCodeTables: the descriptor of what was compiled into the program, the link block between the
// data file and the compiled scripts. It lists the variable and function reference entries that
// compiled code reads at run time (the loader fills in their ids) and the script table, whose
// row position is the code index the data file uses. Binding is by position only: the file and
// the program come from one build, and nothing detects a file from another.
//
// g_CodeTables is null when the program carries no compiled scripts; the loader then skips the
// link steps. The tables live in writable static data owned by the compiled code; the runtime
// never frees them.
#include <cstdint>

#include "core/rvalue.h"

// A reference entry: compiled code reads `id` at each use; the loader writes it once.
struct KVVariableEntry {
  const char* name;
  int32_t id;
};
struct KVFunctionEntry {
  const char* name;
  int32_t id;
};

// The two shapes a compiled code row can have; a row stores its entry untyped and the caller
// picks the shape by what the row is (a script, or an object event and room creation code).
using KVScriptFunction = RValue* (*)(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
using KVEventFunction = void (*)(CInstance* self, CInstance* other);
using KVCodeFunction = void (*)();

struct KVScriptRow {
  const char* name;         // "tsl_Script_...", "tsl_GlobalScript_...", "tsl_Object_<obj>_<event>_<n>", ...
  KVCodeFunction function;  // the native entry
  KVFunctionEntry* slot;    // this script's function entry, or null
};
static_assert(sizeof(KVScriptRow) == 24);

struct KVCodeTables {
  const uint8_t* dataFile = nullptr;  // a linked-in data image; null: the file is read from disk
  uint32_t dataFileSize = 0;
  int32_t globalVarCount = 0;  // global-variable names: the first entries of variableTable
  int32_t varCount = 0;        // variable slots of instances and structs
  int32_t variableCount = 0;   // entries in variableTable, without the closing null
  int32_t functionSlotCount = 0;
  int32_t scriptCount = 0;
  KVVariableEntry** variableTable = nullptr;     // null-terminated
  KVFunctionEntry** functionSlotTable = nullptr;  // null-terminated
  const KVScriptRow* scriptTable = nullptr;       // scriptCount rows
  void* frameChainHead = nullptr;                 // address of the frame chain's head
  void* extra = nullptr;                          // not read by the loader
};

extern KVCodeTables* g_CodeTables;

// The row of a code index, or null without tables or outside them.
const KVScriptRow* CodeTables_Row(int32_t code_index);

// Whether code of this name is a script (its name begins with "tsl_Script" or "tsl_GlobalScript")
// rather than an event body.
bool CodeTables_IsScriptName(const char* name);

#pragma once
// The process-wide variable names. A name maps to one int32 slot shared by every object:
//   0 .. 9999      builtin variables, numbered in registration order
//   100000 and up  every other name; row (slot - 100000) of the user name table
// Beside the user table stand the two tables the loader sizes from the data file and the compiled
// link block: the global-variable name table (filled first free row first) and the
// instance-variable name table (row = slot - 100000, like the user table).
//
// Names are duplicated on entry and owned here until Variable_ResetNames. Lookups by name are one
// hash probe; by slot an index. A new user name takes the row after the highest one in use, so a
// slot that the compiler fixed (Variable_BindSlot) is never handed out to another name.
// Unknown slots read as "<unknown variable>". Single-threaded: the loader and the main thread.
#include <cstdint>

class KVObjectBase;

constexpr int32_t kBuiltinVariableLimit = 10000;
constexpr int32_t kFirstUserVariableSlot = 100000;

// Registers a builtin variable name; returns its id (below 10000), the existing id for a name
// already registered, or -1 when the builtin range is full.
int32_t Variable_AddBuiltinName(const char* name);
int32_t Variable_BuiltinNameCount();

// The slot of a name, builtin or user; -1 if the name is unknown.
int32_t Variable_GetSlot(const char* name);
// The builtin id of a builtin name; otherwise the user slot, made on first use.
int32_t Variable_FindOrAddSlot(const char* name);
const char* Variable_NameOf(int32_t slot);
// The forms the object model uses: slot numbers are shared by every object, so the object only
// names whose variable is meant.
inline int32_t Variable_FindOrAddSlot(KVObjectBase* /*object*/, const char* name) { return Variable_FindOrAddSlot(name); }
inline const char* Variable_NameOf(KVObjectBase* /*object*/, int32_t slot) { return Variable_NameOf(slot); }

// Enters `name` at a slot fixed elsewhere (100000 or above): into row slot - 100000 of the user
// and the instance name tables, growing them as needed, and into the name map. Returns false for
// a slot below 100000.
bool Variable_BindSlot(const char* name, int32_t slot);
// Rows in use in the user table: the highest used row plus one.
int32_t Variable_UserSlotCount();

// Sizes the name tables: the global table is emptied and made `global_count` rows long; the user
// table keeps its names and reserves `instance_count` rows.
void Variable_SizeNameTables(int32_t global_count, int32_t instance_count);
// Puts a duplicate of `name` into the first free row of the global table (growing it when every
// row is taken); returns the row.
int32_t Variable_AddGlobalName(const char* name);
int32_t Variable_GlobalNameRows();
const char* Variable_GlobalName(int32_t row);  // null for a free or missing row

// Allocates the instance-variable name table with `rows` empty rows; names bound earlier into the
// user table are carried over.
void Variable_AllocInstanceNames(int32_t rows);
int32_t Variable_InstanceNameRows();
const char* Variable_InstanceName(int32_t row);  // null for a free or missing row

// Frees every name, builtin ones included.
void Variable_ResetNames();

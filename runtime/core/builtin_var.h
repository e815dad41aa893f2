#pragma once
// The builtin variable table: every variable the runtime provides to scripts (x, alarm, room_speed,
// current_time, undefined, ...) is one row with a getter and an optional setter, so the runtime's
// own fields stay the truth and values are made on demand. A row's id is its registration order;
// the first g_InstanceVariableCount rows apply to instances only, the rest are global rows whose
// functions ignore their instance argument. The order of the rows is fixed by the assets manifest
// and checked against it by the test suite.
//
// Costs: a read by id is one bounds check and one indirect call, with no hashing and no allocation
// unless the value is a string. Lookup by name is one probe of a string map. Main thread only.
//
// Odd cases: a 501st row is refused with "INTERNAL ERROR: Adding too many variables"; an unknown id
// names "<unknown built-in variable>"; an id above 9999 is never a builtin row; a read-only row
// raises "unable to set built in variable %s\n" when written. Names also enter the shared variable
// name table (core/variable_names.h) at the same id, so compiled code linked by name and the loader
// agree with the table.
#include <cstdint>

#include "core/rvalue.h"

using BuiltinVariableGet = bool (*)(CInstance* self, int32_t arrayIndex, RValue* out);
using BuiltinVariableSet = bool (*)(CInstance* self, int32_t arrayIndex, RValue* value);

struct BuiltinVariable {
  char* name = nullptr;  // owned
  BuiltinVariableGet get = nullptr;
  BuiltinVariableSet set = nullptr;
  bool canSet = false;
};

constexpr int32_t kBuiltinVariableRowLimit = 500;
constexpr int32_t kBuiltinVariableIdLimit = 10000;  // ids from here on are user variables

// Rows 0 .. g_InstanceVariableCount-1 are the instance rows (91 once the table is filled).
extern int32_t g_InstanceVariableCount;

// Empties every row and the name map; g_InstanceVariableCount returns to 0.
void Variable_BuiltIn_Reset();
// Adds a row and returns its id; -1 (with the console line) once the table is full.
int32_t Variable_BuiltIn_Add(const char* name, BuiltinVariableGet get, BuiltinVariableSet set);
// Gives an existing row the functions of the subsystem that owns its state (a row is registered
// with neutral functions before that subsystem starts); false when no row has the name.
bool Variable_BuiltIn_Replace(const char* name, BuiltinVariableGet get, BuiltinVariableSet set);
// Ends the instance rows: g_InstanceVariableCount becomes the number of rows so far.
void Variable_BuiltIn_EndInstanceRows();
int32_t Variable_BuiltIn_Find(const char* name);
const char* Variable_BuiltIn_Name(int32_t id);
int32_t Variable_BuiltIn_Count();
// The row of an id, or null.
const BuiltinVariable* Variable_BuiltIn_Row(int32_t id);
// Routes the object model's builtin slots (Object_GetVar / Object_SetVar) to this table.
void Variable_BuiltIn_InstallInObjects();

// Reads row `id` into out, which starts unset. False for an id above 9999 or one with no row.
bool Variable_GetBuiltIn(CInstance* instance, int32_t id, int32_t arrayIndex, RValue* out);
// The compiled-code form of the read above.
bool KVGetBuiltinVariable(CInstance* self, int32_t id, int32_t arrayIndex, RValue* out);

// The read of `object.<id>[index]` (index -1 for none): instance rows for instances and global rows
// from any object; otherwise the object's slot, the prototype's, then the static struct of the
// running function. With create, a missing slot is made holding a new array owned by the object.
bool Variable_GetValue(KVObjectBase* object, int32_t id, int32_t arrayIndex, RValue* out, bool create = false);
// The write of `object.<id>[index] = value`, with the managed-object checks first; builtin rows run
// their setter (a global row from any self, never making a user slot), other ids go to the slot.
void Variable_SetValue(KVObjectBase* object, int32_t id, int32_t arrayIndex, const RValue* value);

// The static struct that Variable_GetValue looks in last: set by the call layer while a function
// with statics runs. StaticScope puts the previous one back on every exit.
extern KVObjectBase* g_VariableStaticScope;
class StaticScope {
 public:
  explicit StaticScope(KVObjectBase* statics) : saved_(g_VariableStaticScope) { g_VariableStaticScope = statics; }
  ~StaticScope() { g_VariableStaticScope = saved_; }
  StaticScope(const StaticScope&) = delete;
  StaticScope& operator=(const StaticScope&) = delete;

 private:
  KVObjectBase* saved_;
};

// The managed-object mode of the rollback layer. The world installs isManaged and objectName; the
// mode is on when the data file selects it. While writesAllowed is false every write to a managed
// instance raises, with readOnlyReason as the message's last part.
struct ManagedObjectCheck {
  bool enabled = false;
  bool writesAllowed = true;
  const char* readOnlyReason = "";
  bool (*isManaged)(KVObjectBase* object) = nullptr;  // an instance whose type is managed
  const char* (*objectName)(KVObjectBase* object) = nullptr;
  KVObjectBase* (*instanceOfValue)(const RValue& value) = nullptr;  // the instance a value refers to
};
extern ManagedObjectCheck g_ManagedObjectCheck;

// The conversions every setter applies: a real is read as it is, anything else through
// RV_ToDouble; integer fields take rint (ties to even), boolean fields rint and then > 0.5.
double BuiltinVar_Real(const RValue* value);
int32_t BuiltinVar_Int(const RValue* value);
bool BuiltinVar_Bool(const RValue* value);
// Array indexes of indexed rows: anything outside 0 .. count-1 counts as 0.
inline int32_t BuiltinVar_Index(int32_t arrayIndex, int32_t count) {
  return arrayIndex >= 0 && arrayIndex < count ? arrayIndex : 0;
}

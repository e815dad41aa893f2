#include "core/builtin_var.h"

#include <cmath>
#include <cstring>

#include "core/console.h"
#include "core/error.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/variable_names.h"

int32_t g_InstanceVariableCount = 0;
KVObjectBase* g_VariableStaticScope = nullptr;
ManagedObjectCheck g_ManagedObjectCheck;

namespace {

constexpr int32_t kNameMapStart = 128;

BuiltinVariable g_rows[kBuiltinVariableRowLimit];
int32_t g_row_count = 0;

// Keys point at the rows' own names, so the map never outlives them.
CHashMap<const char*, int32_t>& name_map() {
  static CHashMap<const char*, int32_t> map(kNameMapStart);
  return map;
}

bool is_instance(CInstance* self) { return self != nullptr && KV_AsObject(self)->kind == kObjInstance; }

// The object model's view of the table.
int32_t instance_rows() { return g_InstanceVariableCount; }
int32_t all_rows() { return g_row_count; }
bool row_get(CInstance* self, int32_t id, int32_t index, RValue* out) { return Variable_GetBuiltIn(self, id, index, out); }
bool row_set(CInstance* self, int32_t id, int32_t index, RValue* value) {
  const BuiltinVariable* row = Variable_BuiltIn_Row(id);
  if (row == nullptr || !row->canSet) return false;
  if (id < g_InstanceVariableCount && !is_instance(self)) return false;
  return row->set(self, index, value);
}
bool row_can_set(int32_t id) {
  const BuiltinVariable* row = Variable_BuiltIn_Row(id);
  return row != nullptr && row->canSet;
}

// Whole-value accesses of the object model use kIndexWholeValue; the rows take -1.
int32_t object_index(int32_t arrayIndex) { return arrayIndex < 0 ? kIndexWholeValue : arrayIndex; }

const char* managed_name(KVObjectBase* object) {
  const char* name = g_ManagedObjectCheck.objectName != nullptr ? g_ManagedObjectCheck.objectName(object) : nullptr;
  return name != nullptr ? name : "<unknown>";
}

// The checks of the rollback layer's managed mode; false once one has raised.
bool managed_write_allowed(KVObjectBase* object, int32_t id, const RValue* value) {
  const ManagedObjectCheck& check = g_ManagedObjectCheck;
  if (!check.enabled || check.isManaged == nullptr || object->kind != kObjInstance || !check.isManaged(object)) {
    return true;
  }
  if (!check.writesAllowed) {
    KVError("Writing to variable '%s' in managed object '%s' which is read-only. %s", Variable_NameOf(id),
            managed_name(object), check.readOnlyReason != nullptr ? check.readOnlyReason : "");
    return false;
  }
  KVObjectBase* target = check.instanceOfValue != nullptr ? check.instanceOfValue(*value) : nullptr;
  if (target == nullptr && RV_Kind(*value) == kRVObject && value->pObj != nullptr &&
      value->pObj->kind == kObjInstance) {
    target = value->pObj;
  }
  if (target != nullptr && !check.isManaged(target)) {
    KVError("Writing reference to unmanaged object '%s' to variable '%s' in managed object '%s'.", managed_name(target),
            Variable_NameOf(id), managed_name(object));
    return false;
  }
  return true;
}

}  // namespace

void Variable_BuiltIn_Reset() {
  name_map().Clear();
  for (int32_t id = 0; id < g_row_count; ++id) {
    KV_FREE(g_rows[id].name);
    g_rows[id] = BuiltinVariable{};
  }
  g_row_count = 0;
  g_InstanceVariableCount = 0;
}

int32_t Variable_BuiltIn_Add(const char* name, BuiltinVariableGet get, BuiltinVariableSet set) {
  if (g_row_count >= kBuiltinVariableRowLimit) {
    g_ReleaseConsole->Output("INTERNAL ERROR: Adding too many variables\n");
    return -1;
  }
  const int32_t id = g_row_count++;
  BuiltinVariable& row = g_rows[id];
  const size_t length = std::strlen(name);
  row.name = static_cast<char*>(KV_ALLOC(length + 1));
  std::memcpy(row.name, name, length + 1);
  row.get = get;
  row.set = set;
  row.canSet = set != nullptr;
  name_map().Insert(row.name, id);
  // The shared name table hands out builtin ids in the same order; a table that was filled before
  // (a second registration without a name reset) gives back the same ids.
  const int32_t shared = Variable_AddBuiltinName(name);
  if (shared != id) g_ReleaseConsole->Output("builtin variable %s has id %d in the name table, %d here\n", name, shared, id);
  return id;
}

bool Variable_BuiltIn_Replace(const char* name, BuiltinVariableGet get, BuiltinVariableSet set) {
  const int32_t id = Variable_BuiltIn_Find(name);
  if (id < 0) return false;
  BuiltinVariable& row = g_rows[id];
  row.get = get;
  row.set = set;
  row.canSet = set != nullptr;
  return true;
}

void Variable_BuiltIn_EndInstanceRows() { g_InstanceVariableCount = g_row_count; }

int32_t Variable_BuiltIn_Find(const char* name) {
  if (name == nullptr) return -1;
  const int32_t* id = name_map().Find(name);
  return id != nullptr ? *id : -1;
}

const char* Variable_BuiltIn_Name(int32_t id) {
  const BuiltinVariable* row = Variable_BuiltIn_Row(id);
  return row != nullptr ? row->name : "<unknown built-in variable>";
}

int32_t Variable_BuiltIn_Count() { return g_row_count; }

const BuiltinVariable* Variable_BuiltIn_Row(int32_t id) {
  return id >= 0 && id < g_row_count ? &g_rows[id] : nullptr;
}

void Variable_BuiltIn_InstallInObjects() {
  ObjectBuiltinVariables table;
  table.instance_rows = instance_rows;
  table.rows = all_rows;
  table.get = row_get;
  table.set = row_set;
  table.can_set = row_can_set;
  Object_SetBuiltinVariables(table);
}

bool Variable_GetBuiltIn(CInstance* instance, int32_t id, int32_t arrayIndex, RValue* out) {
  if (RV_NeedsFree(*out)) RV_Free(out);
  *out = RV_Unset();
  if (id >= kBuiltinVariableIdLimit) return false;
  const BuiltinVariable* row = Variable_BuiltIn_Row(id);
  if (row == nullptr || row->get == nullptr) return false;
  if (id < g_InstanceVariableCount && !is_instance(instance)) {
    // Instance rows read instance fields; any other self has none. The root struct's `id` is -1.
    const KVObjectBase* object = KV_AsObject(instance);
    if (object == nullptr || std::strcmp(row->name, "id") != 0 || object->className == nullptr ||
        std::strcmp(object->className, "Object") != 0) {
      return false;
    }
    *out = RV_Real(-1.0);
    return true;
  }
  return row->get(instance, arrayIndex, out);
}

bool KVGetBuiltinVariable(CInstance* self, int32_t id, int32_t arrayIndex, RValue* out) {
  return Variable_GetBuiltIn(self, id, arrayIndex, out);
}

bool Variable_GetValue(KVObjectBase* object, int32_t id, int32_t arrayIndex, RValue* out, bool create) {
  if (RV_NeedsFree(*out)) RV_Free(out);
  *out = RV_Unset();
  if (object == nullptr) return false;
  // Without create the statics are a third place to look; with it, the object makes its own slot.
  if (!create && !Object_IsBuiltinSlot(object, id) && object->FindSlot(id) == nullptr &&
      g_VariableStaticScope != nullptr && g_VariableStaticScope->FindOwnSlot(id) != nullptr) {
    return Object_GetVar(g_VariableStaticScope, id, object_index(arrayIndex), out);
  }
  return Object_GetVar(object, id, object_index(arrayIndex), out, create);
}

void Variable_SetValue(KVObjectBase* object, int32_t id, int32_t arrayIndex, const RValue* value) {
  if (object == nullptr) return;
  if (!managed_write_allowed(object, id, value)) return;
  // A settable instance row of an instance, the usual write of compiled events (x, image_index and
  // the like), goes to its setter at once: the row the object model would choose.
  if (id >= 0 && id < g_InstanceVariableCount && id < g_row_count && object->kind == kObjInstance &&
      g_rows[id].canSet && g_rows[id].set != nullptr) {
    RValue copy = *value;  // the setter reads it; the caller keeps its reference
    g_ArrayIndexFailure.set = false;
    if (!g_rows[id].set(KV_AsInstance(object), arrayIndex < 0 ? -1 : arrayIndex, &copy)) {
      Object_RaiseSetIndexFailure(object, id);
    }
    return;
  }
  Object_SetVarOrRaise(object, id, object_index(arrayIndex), value);
}

double BuiltinVar_Real(const RValue* value) {
  return RV_Kind(*value) == kRVReal ? value->val : RV_ToDouble(*value);
}

int32_t BuiltinVar_Int(const RValue* value) {
  const double rounded = std::nearbyint(BuiltinVar_Real(value));
  if (std::isnan(rounded)) return 0;
  if (rounded <= static_cast<double>(INT32_MIN)) return INT32_MIN;
  if (rounded >= static_cast<double>(INT32_MAX)) return INT32_MAX;
  return static_cast<int32_t>(rounded);
}

bool BuiltinVar_Bool(const RValue* value) { return std::nearbyint(BuiltinVar_Real(value)) > 0.5; }

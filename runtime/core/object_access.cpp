// Variable access by slot for the runtime and compiled code: Object_GetVar / Object_SetVar with the
// builtin-variable rows, properties and array elements, their raising forms, and instance
// selection by id.
#include <cstdint>

#include "core/error.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/object_internal.h"
#include "core/variable_names.h"
#include "core/with.h"

namespace {

ObjectBuiltinVariables g_builtin_variables;
InstanceSelector g_instance_selector = nullptr;

int32_t builtin_rows() { return g_builtin_variables.rows != nullptr ? g_builtin_variables.rows() : 0; }

int32_t instance_rows() {
  return g_builtin_variables.instance_rows != nullptr ? g_builtin_variables.instance_rows() : 0;
}

// The builtin tables take -1 for "no index".
int32_t builtin_index(int32_t index) { return index == kIndexWholeValue ? -1 : index; }

// A new empty array in slot, owned by object, as the preparing read makes it.
void prepare_array(KVObjectBase* object, RValue* slot) {
  const int64_t saved_owner = g_CurrentArrayOwner;
  g_CurrentArrayOwner = static_cast<int64_t>(reinterpret_cast<intptr_t>(object));
  GC_PushSelf(object);
  RefDynamicArrayOfRValue* array = RV_NewArray(0);
  GC_PopSelf();
  g_CurrentArrayOwner = saved_owner;
  if (RV_NeedsFree(*slot)) RV_Free(slot);
  slot->pArray = array;  // the new array's one count is the slot's
  slot->flags = 0;
  slot->kind = kRVArray;
}

// The number an object shows in the index message: -5 for the global object, else its table id.
int32_t shown_id(const KVObjectBase* object) { return object == g_GlobalObject ? -5 : object->slotId; }

// With errors muted KVError returns, and so does this: the reader goes on with its unset value.
void raise_get_failure(KVObjectBase* object, int32_t slot) {
  if (g_ArrayIndexFailure.set) {
    const ArrayIndexFailure failure = g_ArrayIndexFailure;
    g_ArrayIndexFailure = ArrayIndexFailure{};
    KVError("Variable Index [%d] out of range [%d] - %d.%d(%d,%d)", failure.index, failure.length, shown_id(object),
            slot, slot, failure.index);
  } else {
    KVError("Unable to get variable %s from object %p\n", Variable_NameOf(slot), static_cast<void*>(object));
  }
}

struct PushedSelf {
  explicit PushedSelf(KVObjectBase* object) { GC_PushSelf(object); }
  ~PushedSelf() { GC_PopSelf(); }
  PushedSelf(const PushedSelf&) = delete;
  PushedSelf& operator=(const PushedSelf&) = delete;
};

}  // namespace

void Object_SetBuiltinVariables(const ObjectBuiltinVariables& table) { g_builtin_variables = table; }

bool Object_IsBuiltinSlot(const KVObjectBase* object, int32_t slot) {
  if (slot < 0 || slot >= kBuiltinVariableLimit || slot >= builtin_rows()) return false;
  // Instance rows apply to instances only; global rows to any object.
  return (object != nullptr && object->kind == kObjInstance) || slot >= instance_rows();
}

bool Object_GetVar(KVObjectBase* object, int32_t slot, int32_t index, RValue* out, bool prepare, bool grow_arrays) {
  if (RV_NeedsFree(*out)) RV_Free(out);
  *out = RV_Unset();
  if (object == nullptr) return false;
  if (Object_IsBuiltinSlot(object, slot)) {
    return g_builtin_variables.get != nullptr &&
           g_builtin_variables.get(KV_AsInstance(object), slot, builtin_index(index), out);
  }
  // An own slot, else the prototype's (one step), else the "with" target's statics; a slot that is
  // there counts as found even while it holds nothing, so a read through a child sees what its
  // prototype is given later.
  RValue* value = object->FindSlot(slot);
  if (value == nullptr) value = With_StaticSlot(slot);
  if (prepare && (value == nullptr || RV_Kind(*value) == kRVUnset)) {
    value = object->GetVarRefForWrite(slot);
    prepare_array(object, value);
  }
  if (value == nullptr) return false;
  if (Object_IsProperty(*value)) {
    Property_Get(value->pObj, object, index, out);
    return true;
  }
  if (index == kIndexWholeValue) {
    RV_CopyRef(out, value);
    return true;
  }
  if (index < 0) {
    g_ArrayIndexFailure.set = true;
    g_ArrayIndexFailure.index = index;
    g_ArrayIndexFailure.length = RV_Kind(*value) == kRVArray && value->pArray != nullptr ? value->pArray->length : 0;
    return false;
  }
  if (grow_arrays && RV_Kind(*value) == kRVArray && value->pArray != nullptr && index >= value->pArray->length) {
    PushedSelf pushed(object);
    RV_ArraySetLength(value->pArray, index + 1);
  }
  const RValue* element = RV_ArrayElementForRead(value, index);
  if (element == nullptr) return false;  // only with errors muted
  RV_CopyRef(out, element);
  return true;
}

bool Object_SetVar(KVObjectBase* object, int32_t slot, int32_t index, const RValue* value) {
  if (object == nullptr) return false;
  if (Object_IsBuiltinSlot(object, slot)) {
    const bool settable = g_builtin_variables.set != nullptr &&
                          (g_builtin_variables.can_set == nullptr || g_builtin_variables.can_set(slot));
    if (!settable) {
      KVError("unable to set built in variable %s\n", Variable_NameOf(slot));
      return false;
    }
    RValue copy = *value;  // the setter reads it; the caller keeps its reference
    return g_builtin_variables.set(KV_AsInstance(object), slot, builtin_index(index), &copy);
  }
  RValue* own = object->FindOwnSlot(slot);
  if (own == nullptr && object->prototype != nullptr) {
    RValue* inherited = object->prototype->FindOwnSlot(slot);
    if (inherited != nullptr && Object_IsProperty(*inherited)) {
      Property_Set(inherited->pObj, object, index, value);
      return true;
    }
  }
  PushedSelf pushed(object);
  RValue* target = own != nullptr ? own : object->GetVarRefForWrite(slot);
  if (index == kIndexWholeValue) {
    RV_Assign(target, value);
    return true;
  }
  g_ArrayIndexFailure.set = false;
  RV_ArrayWrite(target, index, value);
  return !g_ArrayIndexFailure.set;
}

void Object_GetVarOrRaise(KVObjectBase* object, int32_t slot, int32_t index, RValue* out) {
  g_ArrayIndexFailure.set = false;
  if (!Object_GetVar(object, slot, index, out)) raise_get_failure(object, slot);
}

void Object_SetVarOrRaise(KVObjectBase* object, int32_t slot, int32_t index, const RValue* value) {
  g_ArrayIndexFailure.set = false;
  if (!Object_SetVar(object, slot, index, value)) Object_RaiseSetIndexFailure(object, slot);
}

void Object_RaiseSetIndexFailure(KVObjectBase* object, int32_t slot) {
  if (!g_ArrayIndexFailure.set) return;
  const ArrayIndexFailure failure = g_ArrayIndexFailure;
  g_ArrayIndexFailure = ArrayIndexFailure{};
  KVError("Variable Index [%d] out of range [%d] - %d.%d(%d,%d)", failure.index, failure.length, shown_id(object),
          slot, slot, failure.index);
}

void KVGetVariable(const RValue* value, int32_t slot, int32_t index, RValue* out, bool prepare, bool grow) {
  KVObjectBase* object = nullptr;
  if (RV_Kind(*value) == kRVObject) {
    object = value->pObj;
  } else {
    const int32_t id = RV_ToInt32(*value);
    object = Object_FirstInstance(id);
    if (object == nullptr) {
      KVError("Unable to find any instance for object index '%d' name '%s'", id, Variable_NameOf(slot));
      return;
    }
  }
  g_ArrayIndexFailure.set = false;
  if (!Object_GetVar(object, slot, index, out, prepare, grow)) raise_get_failure(object, slot);
}

// ---- Instances ------------------------------------------------------------------------------------

void Object_SetInstanceSelector(InstanceSelector selector) { g_instance_selector = selector; }

void Object_SelectInstances(int32_t id, InstanceVisitor visit, void* context) {
  if (g_instance_selector != nullptr) g_instance_selector(id, visit, context);
}

KVObjectBase* Object_FirstInstance(int32_t id) {
  KVObjectBase* found = nullptr;
  Object_SelectInstances(
      id,
      [](KVObjectBase* instance, void* context) {
        *static_cast<KVObjectBase**>(context) = instance;
        return false;
      },
      &found);
  return found;
}

// The variable builtins that take a name as a string: variable_global_*, and variable_instance_*
// with their variable_struct_* twins, which share one handler each.
#include <vector>

#include "core/error.h"
#include "core/fn_object.h"
#include "core/fn_object_internal.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/hash_map.h"
#include "core/object.h"
#include "core/variable_names.h"

namespace fn_object {

namespace {

// Whether the object, or its prototype one step up, holds something in slot (unset counts as
// absent).
bool holds(KVObjectBase* object, int32_t slot) {
  const RValue* own = object->FindOwnSlot(slot);
  if (own != nullptr && RV_Kind(*own) != kRVUnset) return true;
  const RValue* inherited = object->prototype != nullptr ? object->prototype->FindOwnSlot(slot) : nullptr;
  return inherited != nullptr && RV_Kind(*inherited) != kRVUnset;
}

// The object's own slots that hold something: flat slots in order, then the slot map's order.

// The value of a read, unset made undefined.
void read_into(KVObjectBase* object, int32_t slot, RValue* result) {
  HeldValue value;
  const bool found = object != nullptr && slot >= 0 && Object_GetVar(object, slot, kIndexWholeValue, &value.v);
  if (!found || RV_Kind(value.v) == kRVUnset) {
    set_result(result, RV_Undefined());
    return;
  }
  set_result(result, value.v);
  value.v = RV_Undefined();
}

// ---- Global -------------------------------------------------------------------------------------

void F_GlobalExists(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int32_t slot = Variable_GetSlot(KVGetString(argv, 0));
  const RValue* value = slot >= 0 ? Object_Global()->FindOwnSlot(slot) : nullptr;
  set_result(result, RV_Bool(value != nullptr && RV_Kind(*value) != kRVUnset));
}

void F_GlobalGet(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int32_t slot = Variable_GetSlot(KVGetString(argv, 0));
  // A builtin name is no variable of the global object.
  if (slot < kBuiltinVariableLimit) {
    set_result(result, RV_Undefined());
    return;
  }
  const RValue* value = Object_Global()->FindOwnSlot(slot);
  set_result(result, RV_Undefined());
  if (value != nullptr && RV_Kind(*value) != kRVUnset) RV_Assign(result, value);
}

void F_GlobalSet(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int32_t slot = Variable_FindOrAddSlot(KVGetString(argv, 0));
  Object_SetVarOrRaise(Object_Global(), slot, kIndexWholeValue, &arg(argc, argv, 1));
  set_result(result, RV_Undefined());
}

// ---- Instances and structs ------------------------------------------------------------------------

void F_Exists(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  const int32_t slot = Variable_GetSlot(KVGetString(argv, 1));
  bool exists = false;
  if (slot >= 0) {
    for_each_target(arg(argc, argv, 0), self, other, [slot, &exists](KVObjectBase* object) {
      exists = (object->kind == kObjInstance && Object_IsBuiltinSlot(object, slot)) || holds(object, slot);
      return !exists;
    });
  }
  set_result(result, RV_Bool(exists));
}

void F_Get(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  const int32_t slot = Variable_GetSlot(KVGetString(argv, 1));
  read_into(first_target(arg(argc, argv, 0), self, other), slot, result);
}

enum class SetGives { kNothing, kOld, kNew };

void set_named(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv, SetGives gives) {
  const int32_t slot = Variable_FindOrAddSlot(KVGetString(argv, 1));
  HeldValue value;
  RV_CopyRef(&value.v, &arg(argc, argv, 2));
  HeldValue old;
  bool first = true;
  for_each_target(arg(argc, argv, 0), self, other, [&](KVObjectBase* object) {
    if (first && gives == SetGives::kOld) read_into(object, slot, &old.v);
    first = false;
    Object_SetVarOrRaise(object, slot, kIndexWholeValue, &value.v);
    return true;
  });
  switch (gives) {
    case SetGives::kNothing:
      set_result(result, RV_Undefined());
      break;
    case SetGives::kOld:
      set_result(result, old.v);
      old.v = RV_Undefined();
      break;
    case SetGives::kNew:
      set_result(result, value.v);
      value.v = RV_Undefined();
      break;
  }
}

void F_Set(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  set_named(result, self, other, argc, argv, SetGives::kNothing);
}
void F_SetPre(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  set_named(result, self, other, argc, argv, SetGives::kOld);
}
void F_SetPost(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  set_named(result, self, other, argc, argv, SetGives::kNew);
}

void F_GetNames(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  KVObjectBase* object = first_target(arg(argc, argv, 0), self, other);
  const std::vector<int32_t> slots = object != nullptr ? Object_OwnSlots(object) : std::vector<int32_t>{};
  RValue names = RV_Undefined();
  names.pArray = RV_NewArray(static_cast<int32_t>(slots.size()));
  names.kind = kRVArray;
  for (size_t i = 0; i < slots.size(); ++i) RV_SetString(&names.pArray->pArray[i], Variable_NameOf(slots[i]));
  set_result(result, names);
}

void F_NamesCount(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  KVObjectBase* object = first_target(arg(argc, argv, 0), self, other);
  set_result(result, RV_Real(object != nullptr ? static_cast<double>(Object_OwnSlots(object).size()) : 0.0));
}

void F_Remove(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  const int32_t slot = Variable_GetSlot(KVGetString(argv, 1));
  if (slot >= 0) {
    for_each_target(arg(argc, argv, 0), self, other, [slot](KVObjectBase* object) {
      object->RemoveSlot(slot);
      return true;
    });
  }
  set_result(result, RV_Undefined());
}

// The name argument is read with KVGetString, which raises for a missing one; these wrappers give
// the handlers at least the arguments they read.
template <TSL_Builtin F, int Need>
void padded(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  if (argc >= Need) {
    F(result, self, other, argc, argv);
    return;
  }
  RValue block[Need];
  for (int i = 0; i < Need; ++i) block[i] = i < argc ? argv[i] : RV_Undefined();
  F(result, self, other, Need, block);
}

}  // namespace

}  // namespace fn_object

void Object_RegisterVariableBuiltins() {
  using namespace fn_object;
  Function_Add("variable_global_exists", padded<F_GlobalExists, 1>, 1, 1);
  Function_Add("variable_global_get", padded<F_GlobalGet, 1>, 1, 1);
  Function_Add("variable_global_set", padded<F_GlobalSet, 2>, 2, 0);
  Function_Add("variable_instance_exists", padded<F_Exists, 2>, 2, 1);
  Function_Add("variable_instance_get", padded<F_Get, 2>, 2, 1);
  Function_Add("variable_instance_set", padded<F_Set, 3>, 3, 0);
  Function_Add("variable_instance_get_names", padded<F_GetNames, 1>, 1, 1);
  Function_Add("variable_instance_names_count", padded<F_NamesCount, 1>, 1, 1);
  Function_Add("variable_struct_exists", padded<F_Exists, 2>, 2, 1);
  Function_Add("variable_struct_get", padded<F_Get, 2>, 2, 1);
  Function_Add("variable_struct_set", padded<F_Set, 3>, 3, 0);
  Function_Add("variable_struct_set_pre", padded<F_SetPre, 3>, 3, 0);
  Function_Add("variable_struct_set_post", padded<F_SetPost, 3>, 3, 0);
  Function_Add("variable_struct_get_names", padded<F_GetNames, 1>, 1, 1);
  Function_Add("variable_struct_names_count", padded<F_NamesCount, 1>, 1, 1);
  Function_Add("variable_struct_remove", padded<F_Remove, 2>, 2, 0);
}

std::vector<int32_t> Object_OwnSlots(KVObjectBase* object) {
  std::vector<int32_t> slots;
  for (int32_t i = 0; object->flatSlots != nullptr && i < object->flatSlotCount; ++i) {
    if (RV_Kind(object->flatSlots[i]) != kRVUnset) slots.push_back(100000 + i);
  }
  if (object->slotMap != nullptr) {
    int32_t position = 0;
    int32_t slot = 0;
    RValue** value = nullptr;
    while (object->slotMap->Next(&position, &slot, &value)) {
      if (RV_Kind(**value) != kRVUnset) slots.push_back(slot);
    }
  }
  return slots;
}

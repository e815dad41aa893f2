// Builtins of object types (object_*) and of event dispatch (event_*).
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "world/event.h"
#include "world/event_async.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/world_init.h"

namespace {

// ---- Typed logic ---------------------------------------------------------------------------------

void set_flag(CObjectTV* object, uint32_t mask, bool on) {
  object->flags = on ? (object->flags | mask) : (object->flags & ~mask);
}

// object_set_parent: inherited rows go, the new parent is checked, and inheritance runs again.
void set_parent(int32_t index, int32_t parent_index) {
  CObjectTV* object = Object_Find(index);
  if (object == nullptr || index == parent_index) return;
  Object_RemoveInheritedEvents(object);
  if (parent_index < 0) {
    object->parentIndex = -1;
    object->parent = nullptr;
  } else {
    CObjectTV* parent = Object_Find(parent_index);
    if (parent == nullptr) {
      Object_InheritEvents(object);
      KVError("Setting a non-existing parent.");
      return;
    }
    if (Object_IsAncestor(parent_index, index)) {
      Object_InheritEvents(object);
      KVError("Creating a cycle in the parent relation.");
      return;
    }
    object->parentIndex = parent_index;
    object->parent = parent;
    Object_Lists_Build();
  }
  Object_InheritEvents(object);
}

// ---- Argument reading ----------------------------------------------------------------------------

CObjectTV* object_arg(RValue* argv) { return Object_Find(KVGetInt32(argv, 0)); }

void F_ObjectExists(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Bool(Object_Exists(KVGetInt32(argv, 0)));
}

void F_ObjectGetName(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  RV_SetString(result, Object_GetName(KVGetInt32(argv, 0)));
}

void F_ObjectGetSprite(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Real(object->spriteIndex);
}
void F_ObjectGetMask(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Real(object->maskIndex);
}
void F_ObjectGetParent(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Real(object->parentIndex);
}
void F_ObjectGetSolid(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Bool((object->flags & kObjTypeSolid) != 0);
}
void F_ObjectGetVisible(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Bool((object->flags & kObjTypeVisible) != 0);
}
void F_ObjectGetPersistent(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Bool((object->flags & kObjTypePersistent) != 0);
}
void F_ObjectGetPhysics(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) *result = RV_Bool(object->physics.usesPhysics);
}

void F_ObjectIsAncestor(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Bool(Object_IsAncestor(KVGetInt32(argv, 0), KVGetInt32(argv, 1)));
}

void F_ObjectSetSprite(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) object->spriteIndex = KVGetInt32(argv, 1);
  *result = RV_Undefined();
}
void F_ObjectSetMask(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) object->maskIndex = KVGetInt32(argv, 1);
  *result = RV_Undefined();
}
void F_ObjectSetSolid(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) set_flag(object, kObjTypeSolid, KVGetBool(argv, 1));
  *result = RV_Undefined();
}
void F_ObjectSetVisible(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) set_flag(object, kObjTypeVisible, KVGetBool(argv, 1));
  *result = RV_Undefined();
}
void F_ObjectSetPersistent(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (CObjectTV* object = object_arg(argv)) set_flag(object, kObjTypePersistent, KVGetBool(argv, 1));
  *result = RV_Undefined();
}
void F_ObjectSetParent(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  set_parent(KVGetInt32(argv, 0), KVGetInt32(argv, 1));
}

void F_ObjectAdd(RValue* result, CInstance*, CInstance*, int, RValue*) { *result = RV_Real(Object_Add()->objectIndex); }

void F_ObjectDelete(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int32_t index = KVGetInt32(argv, 0);
  *result = RV_Bool(false);
  if (!Object_Exists(index)) {
    KVError("Trying to delete non-existing object.");
    return;
  }
  *result = RV_Bool(Object_Delete(index));
}

void F_ObjectEventClear(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  CObjectTV* object = object_arg(argv);
  if (object != nullptr && object->FindOwnEvent(KVGetInt32(argv, 1), KVGetInt32(argv, 2)) != nullptr) {
    Object_Lists_Build();
  }
}

void F_ObjectEventAdd(RValue* result, CInstance*, CInstance*, int, RValue*) {
  g_ReleaseConsole->Output("object_event_add :: deprecated function\n");
  *result = RV_Undefined();
}

// ---- Events --------------------------------------------------------------------------------------

void F_EventPerform(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Undefined();
  PerformEventOnInstance(self, other, KVGetInt32(argv, 0), KVGetInt32(argv, 1));
}

void F_EventPerformObject(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Undefined();
  PerformEvent(self, other, KVGetInt32(argv, 0), KVGetInt32(argv, 1), KVGetInt32(argv, 2));
}

void F_EventPerformAsync(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  Event_QueueAsync(KVGetInt32(argv, 1), KVGetInt32(argv, 0));
}

void F_EventInherited(RValue* result, CInstance* self, CInstance* other, int, RValue*) {
  *result = RV_Undefined();
  CObjectTV* current = Object_Find(CurrentEventObject);
  if (current == nullptr || !Object_Exists(current->parentIndex)) return;
  PerformEvent(self, other, current->parentIndex, CurrentEventType, CurrentEventNumber);
}

void F_EventUser(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Undefined();
  PerformEventOnInstance(self, other, kEventOther, KVGetInt32(argv, 0) + kOtherUserDefined0);
}

}  // namespace

void ObjectType_RegisterBuiltins() {
  Function_Add("object_exists", F_ObjectExists, 1, 1);
  Function_Add("object_get_name", F_ObjectGetName, 1, 1);
  Function_Add("object_get_sprite", F_ObjectGetSprite, 1, 1);
  Function_Add("object_get_solid", F_ObjectGetSolid, 1, 1);
  Function_Add("object_get_visible", F_ObjectGetVisible, 1, 1);
  Function_Add("object_get_persistent", F_ObjectGetPersistent, 1, 1);
  Function_Add("object_get_mask", F_ObjectGetMask, 1, 1);
  Function_Add("object_get_parent", F_ObjectGetParent, 1, 1);
  Function_Add("object_get_physics", F_ObjectGetPhysics, 1, 1);
  Function_Add("object_is_ancestor", F_ObjectIsAncestor, 2, 1);
  Function_Add("object_set_sprite", F_ObjectSetSprite, 2, 0);
  Function_Add("object_set_solid", F_ObjectSetSolid, 2, 0);
  Function_Add("object_set_visible", F_ObjectSetVisible, 2, 0);
  Function_Add("object_set_persistent", F_ObjectSetPersistent, 2, 0);
  Function_Add("object_set_mask", F_ObjectSetMask, 2, 0);
  Function_Add("object_set_parent", F_ObjectSetParent, 2, 0);
  Function_Add("object_add", F_ObjectAdd, 0, 0);
  Function_Add("object_delete", F_ObjectDelete, 1, 0);
  Function_Add("object_event_clear", F_ObjectEventClear, 3, 0);
  Function_Add("object_event_add", F_ObjectEventAdd, 4, 0);
}

void Event_RegisterBuiltins() {
  Function_Add("event_perform", F_EventPerform, 2, 0);
  Function_Add("event_perform_object", F_EventPerformObject, 3, 0);
  Function_Add("event_perform_async", F_EventPerformAsync, 2, 0);
  Function_Add("event_inherited", F_EventInherited, 0, 0);
  Function_Add("event_user", F_EventUser, 1, 0);
}

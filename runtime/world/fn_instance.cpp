// Builtins of instances: creation, destruction, change, queries and activation.
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/world_init.h"

namespace {

constexpr double kNoone = -4.0;

bool is_instance(CInstance* self) { return self != nullptr && KV_AsObject(self)->kind == kObjInstance; }

// The instances a set argument names, taken before anything runs on them: events run meanwhile may
// create instances, and those don't join.
std::vector<CInstance*> take_set(CInstance* self, CInstance* other, int32_t value, bool includeInactive = false) {
  std::vector<CInstance*> set;
  InstanceSetIterator it(self, other, value, includeInactive);
  while (CInstance* instance = it.Next()) set.push_back(instance);
  return set;
}

int32_t set_arg(RValue* argv, int n) { return Instance_SetNumber(argv[n]); }

RValue ref_or_noone(CInstance* instance) { return instance != nullptr ? Instance_Ref(instance->id) : RV_Real(kNoone); }

// A null creation result: a reference whose low 32 bits hold `low`.
RValue null_ref(int32_t low) { return Instance_Ref(low); }

KVObjectBase* struct_arg(int argc, RValue* argv) {
  if (argc < 5) return nullptr;
  KVObjectBase* vars = RV_ObjectOf(argv[4]);
  if (vars == nullptr || vars->kind != kObjStruct) {
    KVError("argument 5 needs to be a struct");
    return nullptr;
  }
  return vars;
}

void F_InstanceCreateDepth(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const float x = KVGetFloat(argv, 0);
  const float y = KVGetFloat(argv, 1);
  const float depth = KVGetFloat(argv, 2);
  const int32_t object = KVGetInt32(argv, 3);
  KVObjectBase* vars = struct_arg(argc, argv);
  CInstance* instance = Create_Instance(object, x, y, depth, vars);
  *result = instance != nullptr ? Instance_Ref(instance->id) : null_ref(-1);
}

void F_InstanceCreateLayer(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const float x = KVGetFloat(argv, 0);
  const float y = KVGetFloat(argv, 1);
  const int32_t object = KVGetInt32(argv, 3);
  KVObjectBase* vars = struct_arg(argc, argv);
  *result = null_ref(-4);
  int32_t layer = -1;
  if (RV_Kind(argv[2]) == kRVString) {
    const char* name = KVGetString(argv, 2);
    layer = g_InstanceWorldHooks.layerFind != nullptr ? g_InstanceWorldHooks.layerFind(name) : -1;
    if (layer < 0) {
      KVError("instance_create_layer :: specified layer \"%s\" does not exist", name);
      return;
    }
  } else {
    layer = KVGetInt32(argv, 2);
    if (g_InstanceWorldHooks.layerExists != nullptr && !g_InstanceWorldHooks.layerExists(layer)) {
      g_ReleaseConsole->Output("Specified layer does not exist\n");
      return;
    }
  }
  if (CInstance* instance = Create_Instance_OnLayer(object, x, y, layer, vars)) *result = Instance_Ref(instance->id);
}

void F_InstanceCopy(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  const bool perform = KVGetBool(argv, 0);
  CInstance* copy = is_instance(self) ? Instance_Copy(self, perform) : nullptr;
  *result = copy != nullptr ? Instance_Ref(copy->id) : RV_Real(-1.0);
}

void F_InstanceChange(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  const int32_t object = KVGetInt32(argv, 0);
  const bool perform = KVGetBool(argv, 1);
  if (!Object_Exists(object)) {
    KVError("Asking to change into non-existing object: %d", object);
    return;
  }
  if (!is_instance(self)) {
    KVError("not an instance");
    return;
  }
  Instance_ChangeObject(self, object, perform);
}

void F_InstanceDestroy(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  *result = RV_Undefined();
  const bool execute = argc >= 2 ? KVGetBool(argv, 1) : true;
  if (argc == 0) {
    if (is_instance(self)) Instance_Destroy(self, execute);
    return;
  }
  for (CInstance* instance : take_set(self, other, set_arg(argv, 0))) Instance_Destroy(instance, execute);
}

void F_InstanceExists(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  if (RV_Kind(argv[0]) == kRVUndefined) {
    *result = RV_Bool(false);
    return;
  }
  *result = RV_Bool(Instance_Exists(self, other, set_arg(argv, 0)));
}

void F_InstanceNumber(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Real(Instance_Number(self, other, set_arg(argv, 0)));
}

void F_InstanceFind(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = ref_or_noone(Instance_FindNth(self, other, set_arg(argv, 0), KVGetInt32(argv, 1)));
}

void F_InstanceNearest(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = ref_or_noone(Instance_Nearest(KVGetFloat(argv, 0), KVGetFloat(argv, 1), set_arg(argv, 2), false));
}

void F_InstanceFurthest(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = ref_or_noone(Instance_Nearest(KVGetFloat(argv, 0), KVGetFloat(argv, 1), set_arg(argv, 2), true));
}

void F_InstanceIdGet(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int32_t id = Instance_IdAt(KVGetInt32(argv, 0));
  *result = id >= 0 ? Instance_Ref(id) : RV_Real(kNoone);
}

// ---- Activation ----------------------------------------------------------------------------------

void reactivate_self(CInstance* self) {
  if (is_instance(self) && (self->flags & (kInstMarked | kInstDelayedDestroy)) == 0) Instance_Activate(self);
}

void F_InstanceDeactivateAll(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  const bool notme = KVGetBool(argv, 0);
  int32_t count = 0;
  const CInstance* const* rows = Instance_ActiveSnapshot(&count);
  const std::vector<const CInstance*> snapshot(rows, rows + count);
  for (const CInstance* row : snapshot) Instance_Deactivate(const_cast<CInstance*>(row));
  if (notme) reactivate_self(self);
}

void F_InstanceDeactivateObject(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Undefined();
  for (CInstance* instance : take_set(self, other, set_arg(argv, 0))) {
    if (Instance_IsLive(instance)) Instance_Deactivate(instance);
  }
}

void F_InstanceDeactivateRegion(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  Instance_DeactivateRegion(self, KVGetFloat(argv, 0), KVGetFloat(argv, 1), KVGetFloat(argv, 2), KVGetFloat(argv, 3),
                            KVGetBool(argv, 4), KVGetBool(argv, 5));
}

void F_InstanceActivateAll(RValue* result, CInstance*, CInstance*, int, RValue*) {
  *result = RV_Undefined();
  int32_t count = 0;
  const CInstance* const* rows = Instance_InactiveSnapshot(&count);
  const std::vector<const CInstance*> snapshot(rows, rows + count);
  for (const CInstance* row : snapshot) Instance_Activate(const_cast<CInstance*>(row));
}

void F_InstanceActivateObject(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Undefined();
  const int32_t value = set_arg(argv, 0);
  for (CInstance* instance : take_set(self, other, value, true)) {
    if ((instance->flags & (kInstMarked | kInstDelayedDestroy)) != 0) continue;
    if (value >= 0 && value < kInstanceIdBase && (instance->flags & kInstDeactivated) == 0) continue;
    Instance_Activate(instance);
  }
}

void F_InstanceActivateRegion(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Undefined();
  Instance_ActivateRegion(KVGetFloat(argv, 0), KVGetFloat(argv, 1), KVGetFloat(argv, 2), KVGetFloat(argv, 3),
                          KVGetBool(argv, 4));
}

}  // namespace

void Instance_RegisterBuiltins() {
  Function_Add("instance_find", F_InstanceFind, 2, 0);
  Function_Add("instance_exists", F_InstanceExists, 1, 0);
  Function_Add("instance_number", F_InstanceNumber, 1, 0);
  Function_Add("instance_nearest", F_InstanceNearest, 3, 0);
  Function_Add("instance_furthest", F_InstanceFurthest, 3, 0);
  Function_Add("instance_create_depth", F_InstanceCreateDepth, -1, 0);
  Function_Add("instance_create_layer", F_InstanceCreateLayer, -1, 0);
  Function_Add("instance_copy", F_InstanceCopy, 1, 0);
  Function_Add("instance_change", F_InstanceChange, 2, 0);
  Function_Add("instance_destroy", F_InstanceDestroy, -1, 0);
  Function_Add("instance_id_get", F_InstanceIdGet, 1, 0);
  Function_Add("instance_deactivate_all", F_InstanceDeactivateAll, 1, 0);
  Function_Add("instance_deactivate_object", F_InstanceDeactivateObject, 1, 0);
  Function_Add("instance_deactivate_region", F_InstanceDeactivateRegion, 6, 0);
  Function_Add("instance_activate_all", F_InstanceActivateAll, 0, 0);
  Function_Add("instance_activate_object", F_InstanceActivateObject, 1, 0);
  Function_Add("instance_activate_region", F_InstanceActivateRegion, 5, 0);
}

// Builtins of layers: lookup and creation, offsets and speeds, scripts and shader, the target
// room, listing, depth, element moves, forced drawing depth, activation by layer and effects.
#include <cmath>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/object.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/layer_builtins.h"
#include "world/layer_internal.h"
#include "world/room.h"

#define LAYER_FN(fn)                                                                                   \
  void fn([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self,                           \
          [[maybe_unused]] CInstance* other, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

// ---- Shared argument readers ---------------------------------------------------------------------

bool LayerArg_Count(const char* name, int argc, int low, int high) {
  if (argc >= low && argc <= high) return true;
  KVError("%s() - wrong number of arguments", name);
  return false;
}

CLayer* LayerArg_Layer(CRoom* room, const RValue* argv, int n) {
  if (room == nullptr) return nullptr;
  if (RV_Kind(argv[n]) == kRVString) return Layer_FindByName(room, RV_StringText(argv[n]));
  return Layer_Find(room, KVGetInt32(argv, n));
}

CLayer* LayerArg_LayerOrSay(CRoom* room, const RValue* argv, int n, const char* name) {
  CLayer* layer = LayerArg_Layer(room, argv, n);
  if (layer == nullptr) g_ReleaseConsole->Output("%s() - can't find specified layer\n", name);
  return layer;
}

CLayerElementBase* LayerArg_Element(CRoom* room, const RValue* argv, int n, int32_t kind, const char* name) {
  CLayerElementBase* element = Layer_FindElement(room, KVGetInt32(argv, n), kind);
  if (element == nullptr) g_ReleaseConsole->Output("%s() - can't find specified element\n", name);
  return element;
}

void LayerResult_Real(RValue* result, double value) {
  RV_FreeToUndefined(result);
  *result = RV_Real(value);
}

void LayerResult_Bool(RValue* result, bool value) {
  RV_FreeToUndefined(result);
  *result = RV_Bool(value);
}

void LayerResult_Array(RValue* result, const std::vector<double>& values) {
  RV_FreeToUndefined(result);
  result->pArray = RV_NewArray(static_cast<int32_t>(values.size()));
  result->flags = 0;
  result->kind = kRVArray;
  for (size_t i = 0; i < values.size(); ++i) result->pArray->pArray[i] = RV_Real(values[i]);
}

namespace {

// The usual start of a builtin on one layer: count check, then the layer or the failure result.
CLayer* layer_of(const char* name, RValue* result, int argc, RValue* argv, int count) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count(name, argc, count)) return nullptr;
  return LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, name);
}

// ---- Lookup and creation -------------------------------------------------------------------------

LAYER_FN(F_LayerGetId) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_get_id", argc, 1)) return;
  CLayer* layer = Layer_FindByName(Layer_TargetRoom(), KVGetString(argv, 0));
  if (layer != nullptr) LayerResult_Real(result, layer->id);
}

LAYER_FN(F_LayerGetIdAtDepth) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_get_id_at_depth", argc, 1)) return;
  const int32_t depth = KVGetInt32(argv, 0);
  std::vector<double> ids;
  CRoom* room = Layer_TargetRoom();
  for (CLayer* layer = room != nullptr ? room->layersHead : nullptr; layer != nullptr; layer = layer->next) {
    if (layer->depth == depth && !layer->managed) ids.push_back(layer->id);
  }
  if (ids.empty()) ids.push_back(-1.0);
  LayerResult_Array(result, ids);
}

LAYER_FN(F_LayerGetDepth) {
  if (CLayer* layer = layer_of("layer_get_depth", result, argc, argv, 1)) LayerResult_Real(result, layer->depth);
}

LAYER_FN(F_LayerCreate) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_create", argc, 1, 2)) return;
  CRoom* room = Layer_TargetRoom();
  if (room == nullptr) return;
  const char* name = argc > 1 ? KVGetString(argv, 1) : nullptr;
  CLayer* layer = Layer_Create(room, KVGetInt32(argv, 0), name);
  if (layer != nullptr) LayerResult_Real(result, layer->id);
}

LAYER_FN(F_LayerDestroy) {
  if (CLayer* layer = layer_of("layer_destroy", result, argc, argv, 1)) {
    Layer_Destroy(Layer_TargetRoom(), layer->id);
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerDestroyInstances) {
  if (CLayer* layer = layer_of("layer_destroy_instances", result, argc, argv, 1)) {
    Layer_DestroyInstances(Layer_TargetRoom(), layer);
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerAddInstance) {
  CLayer* layer = layer_of("layer_add_instance", result, argc, argv, 2);
  if (layer == nullptr) return;
  CRoom* room = Layer_TargetRoom();
  CInstance* instance = Instance_Find(Instance_SetNumber(argv[1]));
  if (instance == nullptr || (instance->flags & kInstMarked) != 0) {
    g_ReleaseConsole->Output("layer_add_instance() - can't find specified instance\n");
    return;
  }
  CLayerInstanceElement* held = Layer_InstanceElement(room, instance->id);
  if (held != nullptr && held->instance == instance && held->layer == layer) {
    LayerResult_Real(result, 0.0);
    return;
  }
  // Leaving may destroy an emptied managed layer; the target is looked up again afterwards.
  const int32_t target = layer->id;
  if ((instance->flags & kInstHasLayerElement) != 0) Layer_RemoveInstance(room, instance);
  layer = Layer_Find(room, target);
  if (layer == nullptr) return;
  Layer_AddInstance(room, layer, instance);
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerHasInstance) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("layer_has_instance", argc, 2)) return;
  CRoom* room = Layer_TargetRoom();
  CLayer* layer = LayerArg_LayerOrSay(room, argv, 0, "layer_has_instance");
  if (layer == nullptr) return;
  InstanceSetIterator it(self, other, Instance_SetNumber(argv[1]), true);
  while (CInstance* instance = it.Next()) {
    CLayerInstanceElement* element = Layer_InstanceElement(room, instance->id);
    if (element != nullptr && element->instance == instance && element->layer == layer) {
      LayerResult_Bool(result, true);
      return;
    }
  }
}

LAYER_FN(F_LayerExists) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("layer_exists", argc, 1)) return;
  LayerResult_Bool(result, LayerArg_Layer(Layer_TargetRoom(), argv, 0) != nullptr);
}

// ---- Plain fields --------------------------------------------------------------------------------

LAYER_FN(F_LayerSetVisible) {
  if (CLayer* layer = layer_of("layer_set_visible", result, argc, argv, 2)) {
    layer->visible = KVGetBool(argv, 1);
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerGetVisible) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("layer_get_visible", argc, 1)) return;
  if (CLayer* layer = LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, "layer_get_visible")) {
    LayerResult_Bool(result, layer->visible);
  }
}

#define LAYER_FLOAT_SETTER(fn, name, field)                                  \
  LAYER_FN(fn) {                                                             \
    if (CLayer* layer = layer_of(name, result, argc, argv, 2)) {             \
      layer->field = KVGetFloat(argv, 1);                                    \
      LayerResult_Real(result, 0.0);                                         \
    }                                                                        \
  }
#define LAYER_FLOAT_GETTER(fn, name, field)                                                     \
  LAYER_FN(fn) {                                                                                \
    if (CLayer* layer = layer_of(name, result, argc, argv, 1)) LayerResult_Real(result, layer->field); \
  }

LAYER_FLOAT_SETTER(F_LayerX, "layer_x", xOffset)
LAYER_FLOAT_SETTER(F_LayerY, "layer_y", yOffset)
LAYER_FLOAT_SETTER(F_LayerHspeed, "layer_hspeed", hSpeed)
LAYER_FLOAT_SETTER(F_LayerVspeed, "layer_vspeed", vSpeed)
LAYER_FLOAT_GETTER(F_LayerGetX, "layer_get_x", xOffset)
LAYER_FLOAT_GETTER(F_LayerGetY, "layer_get_y", yOffset)
LAYER_FLOAT_GETTER(F_LayerGetHspeed, "layer_get_hspeed", hSpeed)
LAYER_FLOAT_GETTER(F_LayerGetVspeed, "layer_get_vspeed", vSpeed)
LAYER_FLOAT_GETTER(F_LayerGetShader, "layer_get_shader", shader)

#undef LAYER_FLOAT_SETTER
#undef LAYER_FLOAT_GETTER

LAYER_FN(F_LayerShader) {
  if (CLayer* layer = layer_of("layer_shader", result, argc, argv, 2)) {
    layer->shader = KVGetInt32(argv, 1);
    LayerResult_Real(result, 0.0);
  }
}

// A script value held by a layer: a method object stays rooted while the layer holds it.
void store_script(RValue* slot, const RValue* value) {
  KVObjectBase* old = RV_ObjectOf(*slot);
  RV_Assign(slot, value);
  Layer_HoldObject(RV_ObjectOf(*slot));
  Layer_ReleaseObject(old);
}

LAYER_FN(F_LayerScriptBegin) {
  if (CLayer* layer = layer_of("layer_script_begin", result, argc, argv, 2)) {
    store_script(&layer->beginScript, &argv[1]);
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerScriptEnd) {
  if (CLayer* layer = layer_of("layer_script_end", result, argc, argv, 2)) {
    store_script(&layer->endScript, &argv[1]);
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerGetScriptBegin) {
  if (CLayer* layer = layer_of("layer_get_script_begin", result, argc, argv, 1)) RV_Assign(result, &layer->beginScript);
}

LAYER_FN(F_LayerGetScriptEnd) {
  if (CLayer* layer = layer_of("layer_get_script_end", result, argc, argv, 1)) RV_Assign(result, &layer->endScript);
}

LAYER_FN(F_LayerGetName) {
  CLayer* layer = layer_of("layer_get_name", result, argc, argv, 1);
  if (layer == nullptr) return;
  RV_FreeToUndefined(result);
  RV_SetString(result, layer->name.c_str());
}

// ---- Target room ---------------------------------------------------------------------------------

LAYER_FN(F_LayerSetTargetRoom) {
  LayerResult_Real(result, 0.0);
  if (!LayerArg_Count("layer_set_target_room", argc, 1)) return;
  const int32_t room = KVGetInt32(argv, 0);
  if (!Room_Exists(room)) {
    g_ReleaseConsole->Output("layer_set_target_room() - room %d does not exist\n", room);
    return;
  }
  LayerTargetRoom = room;
}

LAYER_FN(F_LayerGetTargetRoom) {
  if (!LayerArg_Count("layer_get_target_room", argc, 0)) return;
  LayerResult_Real(result, LayerTargetRoom != -1 ? LayerTargetRoom : Run_RoomIndex);
}

LAYER_FN(F_LayerResetTargetRoom) {
  if (!LayerArg_Count("layer_reset_target_room", argc, 0)) return;
  LayerTargetRoom = -1;
  LayerResult_Real(result, 0.0);
}

// ---- Listing -------------------------------------------------------------------------------------

LAYER_FN(F_LayerGetAll) {
  if (!LayerArg_Count("layer_get_all", argc, 0)) return;
  std::vector<double> ids;
  CRoom* room = Layer_TargetRoom();
  for (CLayer* layer = room != nullptr ? room->layersHead : nullptr; layer != nullptr; layer = layer->next) {
    ids.push_back(layer->id);
  }
  LayerResult_Array(result, ids);
}

LAYER_FN(F_LayerGetAllElements) {
  CLayer* layer = layer_of("layer_get_all_elements", result, argc, argv, 1);
  if (layer == nullptr) return;
  std::vector<double> ids;
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    ids.push_back(element->id);
  }
  LayerResult_Array(result, ids);
}

// ---- Depth and moves -----------------------------------------------------------------------------

LAYER_FN(F_LayerDepth) {
  CLayer* layer = layer_of("layer_depth", result, argc, argv, 2);
  if (layer == nullptr) return;
  const int32_t depth = KVGetInt32(argv, 1);
  Layer_SetDepth(Layer_TargetRoom(), layer, depth, false);
  // The instances on the layer report its depth.
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    if (element->kind != kLayerElementInstance) continue;
    CInstance* instance = static_cast<CLayerInstanceElement*>(element)->instance;
    if (instance != nullptr) instance->depth = static_cast<float>(depth);
  }
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerGetElementLayer) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_get_element_layer", argc, 1)) return;
  CLayerElementBase* element = LayerArg_Element(Layer_TargetRoom(), argv, 0, 0, "layer_get_element_layer");
  if (element != nullptr && element->layer != nullptr) LayerResult_Real(result, element->layer->id);
}

LAYER_FN(F_LayerGetElementType) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_get_element_type", argc, 1)) return;
  CLayerElementBase* element = LayerArg_Element(Layer_TargetRoom(), argv, 0, 0, "layer_get_element_type");
  if (element != nullptr) LayerResult_Real(result, element->kind);
}

LAYER_FN(F_LayerElementMove) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_element_move", argc, 2)) return;
  CRoom* room = Layer_TargetRoom();
  CLayerElementBase* element = LayerArg_Element(room, argv, 0, 0, "layer_element_move");
  if (element == nullptr) return;
  CLayer* layer = LayerArg_LayerOrSay(room, argv, 1, "layer_element_move");
  if (layer == nullptr) return;
  Layer_MoveElement(room, element, layer);
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerForceDrawDepth) {
  if (!LayerArg_Count("layer_force_draw_depth", argc, 2)) return;
  Layer_ForceDrawDepth = KVGetBool(argv, 0);
  Layer_ForcedDepth = KVGetInt32(argv, 1);
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerIsDrawDepthForced) {
  if (!LayerArg_Count("layer_is_draw_depth_forced", argc, 0)) return;
  LayerResult_Bool(result, Layer_ForceDrawDepth);
}

LAYER_FN(F_LayerGetForcedDepth) {
  if (!LayerArg_Count("layer_get_forced_depth", argc, 0)) return;
  LayerResult_Real(result, Layer_ForcedDepth);
}

// ---- Activation by layer -------------------------------------------------------------------------

void set_layer_active(const char* name, RValue* result, int argc, RValue* argv, bool active) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count(name, argc, 1)) return;
  CLayer* layer = LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, name);
  if (layer == nullptr) return;
  std::vector<CInstance*> instances;
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    if (element->kind != kLayerElementInstance) continue;
    CInstance* instance = static_cast<CLayerInstanceElement*>(element)->instance;
    if (instance != nullptr && (instance->flags & kInstMarked) == 0) instances.push_back(instance);
  }
  for (CInstance* instance : instances) {
    if (active) {
      Instance_Activate(instance);
    } else {
      Instance_Deactivate(instance);
    }
  }
  LayerResult_Bool(result, true);
}

LAYER_FN(F_InstanceActivateLayer) { set_layer_active("instance_activate_layer", result, argc, argv, true); }
LAYER_FN(F_InstanceDeactivateLayer) { set_layer_active("instance_deactivate_layer", result, argc, argv, false); }

// ---- Effects -------------------------------------------------------------------------------------
// The layer holds the effect object a script hands it (rooted meanwhile); drawing applies it.

LAYER_FN(F_LayerSetFx) {
  CLayer* layer = layer_of("layer_set_fx", result, argc, argv, 2);
  if (layer == nullptr) return;
  KVObjectBase* old = static_cast<KVObjectBase*>(layer->effect);
  KVObjectBase* effect = RV_ObjectOf(argv[1]);
  layer->effect = effect;
  Layer_HoldObject(effect);
  Layer_ReleaseObject(old);
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerGetFx) {
  CLayer* layer = layer_of("layer_get_fx", result, argc, argv, 1);
  if (layer == nullptr || layer->effect == nullptr) return;
  RV_FreeToUndefined(result);
  *result = RV_Object(static_cast<KVObjectBase*>(layer->effect));
}

LAYER_FN(F_LayerClearFx) {
  CLayer* layer = layer_of("layer_clear_fx", result, argc, argv, 1);
  if (layer == nullptr) return;
  Layer_ReleaseObject(static_cast<KVObjectBase*>(layer->effect));
  layer->effect = nullptr;
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerEnableFx) {
  CLayer* layer = layer_of("layer_enable_fx", result, argc, argv, 2);
  if (layer == nullptr) return;
  layer->effectEnabledPending = KVGetBool(argv, 1);
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_LayerFxIsEnabled) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("layer_fx_is_enabled", argc, 1)) return;
  if (CLayer* layer = LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, "layer_fx_is_enabled")) {
    LayerResult_Bool(result, layer->effectEnabledPending);
  }
}

}  // namespace

void Layer_RegisterBuiltins() {
  Function_Add("layer_get_id", F_LayerGetId, 1, 0);
  Function_Add("layer_get_id_at_depth", F_LayerGetIdAtDepth, 1, 0);
  Function_Add("layer_get_depth", F_LayerGetDepth, 1, 0);
  Function_Add("layer_create", F_LayerCreate, 2, 0);
  Function_Add("layer_destroy", F_LayerDestroy, 1, 0);
  Function_Add("layer_destroy_instances", F_LayerDestroyInstances, 1, 0);
  Function_Add("layer_add_instance", F_LayerAddInstance, 2, 0);
  Function_Add("layer_has_instance", F_LayerHasInstance, 2, 0);
  Function_Add("layer_set_visible", F_LayerSetVisible, 2, 0);
  Function_Add("layer_get_visible", F_LayerGetVisible, 1, 0);
  Function_Add("layer_exists", F_LayerExists, 1, 0);
  Function_Add("layer_x", F_LayerX, 2, 0);
  Function_Add("layer_y", F_LayerY, 2, 0);
  Function_Add("layer_get_x", F_LayerGetX, 1, 0);
  Function_Add("layer_get_y", F_LayerGetY, 1, 0);
  Function_Add("layer_hspeed", F_LayerHspeed, 2, 0);
  Function_Add("layer_vspeed", F_LayerVspeed, 2, 0);
  Function_Add("layer_get_hspeed", F_LayerGetHspeed, 1, 0);
  Function_Add("layer_get_vspeed", F_LayerGetVspeed, 1, 0);
  Function_Add("layer_script_begin", F_LayerScriptBegin, 2, 0);
  Function_Add("layer_script_end", F_LayerScriptEnd, 2, 0);
  Function_Add("layer_shader", F_LayerShader, 2, 0);
  Function_Add("layer_get_script_begin", F_LayerGetScriptBegin, 1, 0);
  Function_Add("layer_get_script_end", F_LayerGetScriptEnd, 1, 0);
  Function_Add("layer_get_shader", F_LayerGetShader, 1, 0);
  Function_Add("layer_set_target_room", F_LayerSetTargetRoom, 1, 0);
  Function_Add("layer_get_target_room", F_LayerGetTargetRoom, 0, 0);
  Function_Add("layer_reset_target_room", F_LayerResetTargetRoom, 0, 0);
  Function_Add("layer_get_all", F_LayerGetAll, 0, 0);
  Function_Add("layer_get_all_elements", F_LayerGetAllElements, 1, 0);
  Function_Add("layer_get_name", F_LayerGetName, 1, 0);
  Function_Add("layer_depth", F_LayerDepth, 2, 0);
  Function_Add("layer_get_element_layer", F_LayerGetElementLayer, 1, 0);
  Function_Add("layer_get_element_type", F_LayerGetElementType, 1, 0);
  Function_Add("layer_element_move", F_LayerElementMove, 2, 0);
  Function_Add("layer_force_draw_depth", F_LayerForceDrawDepth, 2, 0);
  Function_Add("layer_is_draw_depth_forced", F_LayerIsDrawDepthForced, 0, 0);
  Function_Add("layer_get_forced_depth", F_LayerGetForcedDepth, 0, 0);
  Function_Add("instance_activate_layer", F_InstanceActivateLayer, 1, 0);
  Function_Add("instance_deactivate_layer", F_InstanceDeactivateLayer, 1, 0);
  Layer_RegisterElementBuiltins();
  Layer_RegisterTilemapBuiltins();
  Function_Add("layer_set_fx", F_LayerSetFx, 2, 0);
  Function_Add("layer_get_fx", F_LayerGetFx, 1, 0);
  Function_Add("layer_clear_fx", F_LayerClearFx, 1, 0);
  Function_Add("layer_enable_fx", F_LayerEnableFx, 2, 0);
  Function_Add("layer_fx_is_enabled", F_LayerFxIsEnabled, 1, 0);
}

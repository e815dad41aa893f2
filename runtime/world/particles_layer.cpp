// Particle systems as layer elements, their depth queue, their passage between rooms, the step's
// particle stages and the part_system_* builtins that touch layers.
#include "world/particles_layer.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

#include "core/frame_state.h"
#include "core/function_table.h"
#include "graphics/particles.h"
#include "world/layer.h"
#include "world/layer_builtins.h"
#include "world/layer_internal.h"
#include "world/room.h"
#include "world/step_stages.h"

namespace {

std::vector<int32_t> g_depth_queue;

bool layers_in(const CRoom* room) { return room != nullptr && Layer_Generation2(); }
bool layers_in_use() { return layers_in(Run_Room); }

CLayerParticleElement* element_of(CRoom* room, const ParticleSystem* system) {
  if (room == nullptr || system->elementId < 0) return nullptr;
  return static_cast<CLayerParticleElement*>(Layer_FindElement(room, system->elementId, kLayerElementParticleSystem));
}

void add_to_layer(CRoom* room, CLayer* layer, int32_t id) {
  ParticleSystem* system = ParticleSystem_Get(id);
  auto* element = static_cast<CLayerParticleElement*>(Layer_NewElement(kLayerElementParticleSystem));
  element->systemId = id;
  system->elementId = Layer_AddElement(room, layer, element);
  system->depth = static_cast<float>(layer->depth);
}

// The element leaves its layer (the layer's detach hook clears elementId); an automatic layer
// left empty goes with it.
void take_off_layer(CRoom* room, ParticleSystem* system) {
  CLayerParticleElement* element = element_of(room, system);
  system->elementId = -1;
  if (element == nullptr) return;
  CLayer* layer = element->layer;
  Layer_RemoveElement(room, layer, element, false);
  if (layer->managed && layer->elementCount == 0) Layer_Destroy(room, layer->id);
}

// The automatic layer at a depth: the first one in list order, else a new one.
CLayer* automatic_layer(CRoom* room, float depth) {
  const auto d = static_cast<int32_t>(depth);
  for (CLayer* layer = room->layersHead; layer != nullptr && layer->depth <= d; layer = layer->next) {
    if (layer->managed && layer->depth == d) return layer;
  }
  return Layer_CreateManaged(room, d);
}

// The layer a new or cleared system stands on: the first at depth 0, else an automatic one.
CLayer* depth_zero_layer(CRoom* room) {
  for (CLayer* layer = room->layersHead; layer != nullptr && layer->depth <= 0; layer = layer->next) {
    if (layer->depth == 0) return layer;
  }
  return Layer_CreateManaged(room, 0);
}

void forget_queued(int32_t id) {
  g_depth_queue.erase(std::remove(g_depth_queue.begin(), g_depth_queue.end(), id), g_depth_queue.end());
}

void detach(int32_t id) {
  if (ParticleSystem* system = ParticleSystem_Get(id)) system->elementId = -1;
}

}  // namespace

int32_t ParticleSystem_Create() {
  const int32_t id = ParticleSystem_New();
  ParticleSystem_Get(id)->destroyAtRoomEnd = false;
  if (layers_in_use()) add_to_layer(Run_Room, depth_zero_layer(Run_Room), id);
  return id;
}

int32_t ParticleSystem_CreateOnLayer(CLayer* layer, bool persistent) {
  if (layer == nullptr || Run_Room == nullptr) return -1;
  const int32_t id = ParticleSystem_New();
  ParticleSystem_Get(id)->destroyAtRoomEnd = !persistent;
  add_to_layer(Run_Room, layer, id);
  return id;
}

void ParticleSystem_Destroy(int32_t id) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return;
  ParticleSystem_Reset(system);
  take_off_layer(Run_Room, system);
  forget_queued(id);
  ParticleSystem_Delete(id);
}

void ParticleSystem_Clear(int32_t id) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return;
  ParticleSystem_Reset(system);
  if (!layers_in_use()) return;
  const CLayerParticleElement* element = element_of(Run_Room, system);
  if (element != nullptr && element->layer->depth == 0) return;
  take_off_layer(Run_Room, system);
  add_to_layer(Run_Room, depth_zero_layer(Run_Room), id);
}

void ParticleSystem_SetDepth(int32_t id, float depth) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return;
  system->depth = depth;
  if (std::find(g_depth_queue.begin(), g_depth_queue.end(), id) == g_depth_queue.end()) g_depth_queue.push_back(id);
}

void ParticleSystem_SetLayer(int32_t id, CLayer* layer) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr || layer == nullptr || Run_Room == nullptr) return;
  if (CLayerParticleElement* element = element_of(Run_Room, system)) {
    Layer_MoveElement(Run_Room, element, layer);
    system->depth = static_cast<float>(layer->depth);
  } else {
    add_to_layer(Run_Room, layer, id);
  }
}

int32_t ParticleSystem_GetLayer(int32_t id) {
  const ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return -1;
  const CLayerParticleElement* element = element_of(Run_Room, system);
  return element != nullptr && element->layer != nullptr ? element->layer->id : -1;
}

void ParticleSystem_ApplyDepths() {
  if (g_depth_queue.empty()) return;
  std::vector<int32_t> queue;
  queue.swap(g_depth_queue);
  if (!layers_in_use()) return;
  for (int32_t id : queue) {
    ParticleSystem* system = ParticleSystem_Get(id);
    if (system == nullptr) continue;
    const float depth = system->depth;
    take_off_layer(Run_Room, system);
    add_to_layer(Run_Room, automatic_layer(Run_Room, depth), id);
    system->depth = depth;
  }
}

void ParticleSystem_LeaveRoom(CRoom* room) {
  if (!layers_in(room)) return;
  for (int32_t id = 0; id < ParticleSystem_TableSize(); ++id) {
    ParticleSystem* system = ParticleSystem_Get(id);
    if (system == nullptr) continue;
    const CLayerParticleElement* element = element_of(room, system);
    if (element != nullptr) system->layerName = element->layer->managed ? "" : element->layer->name;
    take_off_layer(room, system);
    if (system->destroyAtRoomEnd) {
      ParticleSystem_Reset(system);
      forget_queued(id);
      ParticleSystem_Delete(id);
    }
  }
}

void ParticleSystem_EnterRoom(CRoom* room) {
  if (!layers_in(room)) return;
  for (int32_t id = 0; id < ParticleSystem_TableSize(); ++id) {
    ParticleSystem* system = ParticleSystem_Get(id);
    if (system == nullptr || system->elementId >= 0) continue;
    const float depth = system->depth;
    CLayer* layer = nullptr;
    if (!system->layerName.empty()) {
      layer = Layer_FindByName(room, system->layerName.c_str());
      if (layer == nullptr) layer = Layer_Create(room, static_cast<int32_t>(depth), system->layerName.c_str());
    }
    if (layer != nullptr) {
      add_to_layer(room, layer, id);
      continue;
    }
    add_to_layer(room, automatic_layer(room, depth), id);
    system->depth = depth;
  }
}

std::string ParticleSystem_KeptLayerName(int32_t id) {
  const ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return {};
  if (std::find(g_depth_queue.begin(), g_depth_queue.end(), id) != g_depth_queue.end()) return {};
  if (system->elementId < 0) return system->layerName;
  const CLayerParticleElement* element = element_of(Run_Room, system);
  return element != nullptr && !element->layer->managed ? element->layer->name : std::string();
}

void ParticleLayer_Replace(std::vector<std::optional<ParticleType>> types,
                           std::vector<std::optional<ParticleSystem>> systems) {
  g_depth_queue.clear();
  Effect_Forget();
  Particles_ReplaceTables(std::move(types), std::move(systems));
}

void ParticleLayer_Init() {
  g_LayerElementHooks.particleDetach = detach;
  g_RoomHooks.particlesRoomEnd = ParticleSystem_LeaveRoom;
  g_RoomHooks.particlesRoomStart = ParticleSystem_EnterRoom;
}

void ParticleLayer_FreeAll() {
  g_depth_queue.clear();
  Effect_Forget();
  Particles_FreeAll();
}

// The step's particle stages.
void Step_ParticlesAdvance() { ParticleSystem_UpdateAll(); }
void Flush_ParticleDepths() { ParticleSystem_ApplyDepths(); }

// ---- Builtins ------------------------------------------------------------------------------------

namespace {

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

int32_t int_arg(int argc, RValue* argv, int n) { return n < argc ? KVGetInt32(argv, n) : 0; }
CLayer* layer_arg(int argc, RValue* argv, int n) { return n < argc ? LayerArg_Layer(Run_Room, argv, n) : nullptr; }

KV_BUILTIN(F_PartSystemCreate) { *result = RV_Real(ParticleSystem_Create()); }
KV_BUILTIN(F_PartSystemCreateLayer) {
  *result = RV_Real(ParticleSystem_CreateOnLayer(layer_arg(argc, argv, 0), argc > 1 && KVGetBool(argv, 1)));
}
KV_BUILTIN(F_PartSystemDestroy) {
  *result = RV_Undefined();
  ParticleSystem_Destroy(int_arg(argc, argv, 0));
}
KV_BUILTIN(F_PartSystemClear) {
  *result = RV_Undefined();
  ParticleSystem_Clear(int_arg(argc, argv, 0));
}
KV_BUILTIN(F_PartSystemDepth) {
  *result = RV_Undefined();
  ParticleSystem_SetDepth(int_arg(argc, argv, 0), argc > 1 ? static_cast<float>(KVGetReal(argv, 1)) : 0.0f);
}
KV_BUILTIN(F_PartSystemLayer) {
  *result = RV_Undefined();
  ParticleSystem_SetLayer(int_arg(argc, argv, 0), layer_arg(argc, argv, 1));
}
KV_BUILTIN(F_PartSystemGetLayer) { *result = RV_Real(ParticleSystem_GetLayer(int_arg(argc, argv, 0))); }

void effect(bool above, int argc, RValue* argv) {
  Effect_Create(above, int_arg(argc, argv, 0), argc > 1 ? static_cast<float>(KVGetReal(argv, 1)) : 0.0f,
                argc > 2 ? static_cast<float>(KVGetReal(argv, 2)) : 0.0f, int_arg(argc, argv, 3),
                static_cast<int32_t>(argc > 4 ? KVGetUint32(argv, 4) & 0xFFFFFFu : 0));
}
KV_BUILTIN(F_EffectCreateBelow) {
  *result = RV_Undefined();
  effect(false, argc, argv);
}
KV_BUILTIN(F_EffectCreateAbove) {
  *result = RV_Undefined();
  effect(true, argc, argv);
}

#undef KV_BUILTIN

struct Row {
  const char* name;
  TSL_Builtin handler;
  int argc;
};

const Row kRows[] = {
    {"effect_create_below", F_EffectCreateBelow, 5},
    {"effect_create_above", F_EffectCreateAbove, 5},
    {"part_system_create", F_PartSystemCreate, 0},
    {"part_system_create_layer", F_PartSystemCreateLayer, 2},
    {"part_system_destroy", F_PartSystemDestroy, 1},
    {"part_system_clear", F_PartSystemClear, 1},
    {"part_system_depth", F_PartSystemDepth, 2},
    {"part_system_layer", F_PartSystemLayer, 2},
    {"part_system_get_layer", F_PartSystemGetLayer, 1},
};

}  // namespace

void ParticleLayer_RegisterBuiltins() {
  for (const Row& row : kRows) Function_Add(row.name, row.handler, row.argc, 0);
}

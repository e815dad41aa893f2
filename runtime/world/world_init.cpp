#include "world/world_init.h"

#include <string>
#include <vector>

#include "core/error.h"
#include "core/event_context.h"
#include "core/instance_hooks.h"
#include "core/object.h"
#include "data/game_data.h"
#include "world/collision.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/object_type.h"
#include "world/particles_layer.h"

namespace {

WorldUnhandledFn g_unhandled = nullptr;

void collect_object(int32_t object, std::vector<CInstance*>* out) { Instance_GatherObject(object, out); }

void select_instances(int32_t id, InstanceVisitor visit, void* context) {
  InstanceSetIterator it(nullptr, nullptr, id);
  while (CInstance* instance = it.Next()) {
    if (!Instance_IsLive(instance)) continue;
    if (!visit(KV_AsObject(instance), context)) return;
  }
}

std::string object_name(int32_t index) { return Object_GetName(index); }
std::string event_name(int32_t type, int32_t subtype) { return Event_Name(type, subtype); }

}  // namespace

void World_Init(WorldUnhandledFn unhandled) {
  g_unhandled = unhandled;
  g_InstanceHooks.findLive = Instance_FindLive;
  g_InstanceHooks.collectAll = Instance_GatherAll;
  g_InstanceHooks.collectObject = collect_object;
  Object_SetInstanceSelector(select_instances);
  g_EventNameSources.objectName = object_name;
  g_EventNameSources.eventName = event_name;
  Layer_Init();
  ParticleLayer_Init();
  Collision_Init();
  GameData_AddClearHook(Instance_ResetIds);
}

void World_UnhandledException(const KVTSLException& exception) {
  if (g_unhandled == nullptr) throw exception;
  g_unhandled(exception);
}

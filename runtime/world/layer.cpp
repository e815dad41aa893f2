// The layer model: pools, the room's layer list and maps, elements and their order, instances on
// layers and the depth rules.
#include "world/layer.h"

#include <climits>
#include <cmath>
#include <memory>
#include <strings.h>
#include <unordered_map>
#include <vector>

#include "core/console.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/object.h"
#include "data/game_data.h"
#include "world/asset_rooms.h"
#include "world/instance.h"
#include "world/layer_internal.h"
#include "world/room.h"

int32_t LayerIdCounter = 0;
int32_t ElementIdCounter = 0;
int32_t LayerTargetRoom = -1;
bool Layer_ForceDrawDepth = false;
int32_t Layer_ForcedDepth = 0;
LayerElementHooks g_LayerElementHooks;

namespace {

// The room whose elements have been started (Layer_RoomStart until Layer_RoomEnd).
const CRoom* g_started_room = nullptr;

// A free list of nodes that doubles when empty. Nodes never move, so pointers to them stay valid.
template <class T>
class NodePool {
 public:
  explicit NodePool(size_t first) : next_block_(first) {}
  T* Take() {
    if (free_.empty()) Grow();
    T* node = free_.back();
    free_.pop_back();
    return node;
  }
  void Give(T* node) {
    *node = T{};
    free_.push_back(node);
  }

 private:
  void Grow() {
    blocks_.push_back(std::make_unique<T[]>(next_block_));
    T* block = blocks_.back().get();
    for (size_t i = next_block_; i-- > 0;) free_.push_back(&block[i]);
    next_block_ *= 2;
  }
  std::vector<std::unique_ptr<T[]>> blocks_;
  std::vector<T*> free_;
  size_t next_block_;
};

NodePool<CLayer> g_layers(32);
NodePool<CLayerBackgroundElement> g_backgrounds(16);
NodePool<CLayerInstanceElement> g_instances(256);
NodePool<CLayerSpriteElement> g_sprites(64);
NodePool<CLayerTilemapElement> g_tilemaps(16);
NodePool<CLayerParticleElement> g_particles(16);
NodePool<CLayerTileElement> g_tiles(128);
NodePool<CLayerSequenceElement> g_sequences(16);

int32_t trunc_depth(float depth) {
  if (!(depth == depth)) return 0;
  if (depth >= 2147483520.0f) return INT32_MAX;
  if (depth <= -2147483648.0f) return INT32_MIN;
  return static_cast<int32_t>(depth);
}

CLayerInstanceElement* as_instance(CLayerElementBase* element) {
  return element != nullptr && element->kind == kLayerElementInstance ? static_cast<CLayerInstanceElement*>(element)
                                                                       : nullptr;
}

bool on_inactive_list(const CInstance* instance) {
  return instance != nullptr && (instance->flags & kInstOnInactiveList) != 0;
}

bool is_inactive_instance_element(const CLayerElementBase* element) {
  if (element->kind != kLayerElementInstance) return false;
  return on_inactive_list(static_cast<const CLayerInstanceElement*>(element)->instance);
}

void link_after(CLayer* layer, CLayerElementBase* after, CLayerElementBase* element) {
  element->previous = after;
  element->next = after != nullptr ? after->next : layer->elementsHead;
  if (element->next != nullptr) {
    element->next->previous = element;
  } else {
    layer->elementsTail = element;
  }
  if (after != nullptr) {
    after->next = element;
  } else {
    layer->elementsHead = element;
  }
}

void unlink_layer(CRoom* room, CLayer* layer) {
  if (layer->previous != nullptr) {
    layer->previous->next = layer->next;
  } else if (room->layersHead == layer) {
    room->layersHead = layer->next;
  }
  if (layer->next != nullptr) {
    layer->next->previous = layer->previous;
  } else if (room->layersTail == layer) {
    room->layersTail = layer->previous;
  }
  layer->next = nullptr;
  layer->previous = nullptr;
  --room->layerCount;
}

void link_layer_after(CRoom* room, CLayer* after, CLayer* layer) {
  layer->previous = after;
  layer->next = after != nullptr ? after->next : room->layersHead;
  if (layer->next != nullptr) {
    layer->next->previous = layer;
  } else {
    room->layersTail = layer;
  }
  if (after != nullptr) {
    after->next = layer;
  } else {
    room->layersHead = layer;
  }
  ++room->layerCount;
}

// Takes an element out of both maps and its layer, releases what it owns and returns it to its pool.
// The instance of an instance element is handed back to the caller (null otherwise).
CInstance* drop_element(CRoom* room, CLayerElementBase* element) {
  ElementMap_Of(room).Delete(element->id);
  if (room->lastElement == element) room->lastElement = nullptr;
  CInstance* instance = nullptr;
  switch (element->kind) {
    case kLayerElementBackground: {
      auto* background = static_cast<CLayerBackgroundElement*>(element);
      delete background->background;
      background->background = nullptr;
      break;
    }
    case kLayerElementInstance: {
      auto* ie = static_cast<CLayerInstanceElement*>(element);
      CLayerElementBase** mapped = InstanceMap_Of(room).Find(ie->instanceId);
      if (mapped != nullptr && *mapped == element) InstanceMap_Of(room).Delete(ie->instanceId);
      instance = ie->instance;
      if (instance != nullptr) {
        instance->flags &= ~kInstHasLayerElement;
        instance->layerId = -1;
      }
      break;
    }
    case kLayerElementTilemap: {
      auto* map = static_cast<CLayerTilemapElement*>(element);
      delete[] map->cells;
      map->cells = nullptr;
      break;
    }
    case kLayerElementParticleSystem: {
      auto* system = static_cast<CLayerParticleElement*>(element);
      if (system->systemId >= 0 && g_LayerElementHooks.particleDetach != nullptr) {
        g_LayerElementHooks.particleDetach(system->systemId);
      }
      break;
    }
    case kLayerElementSequence: {
      auto* sequence = static_cast<CLayerSequenceElement*>(element);
      if (sequence->instance >= 0 && g_LayerElementHooks.sequenceDestroy != nullptr) {
        g_LayerElementHooks.sequenceDestroy(sequence->instance);
      }
      break;
    }
    default:
      break;
  }
  if (element->layer != nullptr) Layer_UnlinkElement(element);
  Layer_FreeElementNode(element);
  return instance;
}

// Moves an element to another layer by the order rule; its instance follows the layer's id.
void relink_element(CLayerElementBase* element, CLayer* target) {
  Layer_UnlinkElement(element);
  Layer_LinkElement(target, element);
  if (CLayerInstanceElement* ie = as_instance(element)) {
    if (ie->instance != nullptr) ie->instance->layerId = target->id;
  }
}

void destroy_if_empty_managed(CRoom* room, CLayer* layer) {
  if (layer != nullptr && layer->managed && !layer->deleting && layer->elementCount == 0) {
    Layer_Destroy(room, layer->id);
  }
}

}  // namespace

// ---- Shared helpers ------------------------------------------------------------------------------

bool Layer_Generation2() { return GameData_Header().generation >= 2; }

LayerIdMap& LayerMap_Of(CRoom* room) {
  if (room->layerIdMap == nullptr) room->layerIdMap = new LayerIdMap(16);
  return *room->layerIdMap;
}

ElementIdMap& ElementMap_Of(CRoom* room) {
  if (room->elementIdMap == nullptr) room->elementIdMap = new ElementIdMap(64);
  return *room->elementIdMap;
}

ElementIdMap& InstanceMap_Of(CRoom* room) {
  if (room->instanceElementMap == nullptr) room->instanceElementMap = new ElementIdMap(64);
  return *room->instanceElementMap;
}

namespace {
std::unordered_map<KVObjectBase*, int32_t>& held_objects() {
  static std::unordered_map<KVObjectBase*, int32_t> held;
  return held;
}
}  // namespace

void Layer_HoldObject(KVObjectBase* object) {
  if (object == nullptr) return;
  if (held_objects()[object]++ == 0) GCAddRoot(object);
}

void Layer_ReleaseObject(KVObjectBase* object) {
  if (object == nullptr) return;
  auto found = held_objects().find(object);
  if (found == held_objects().end()) return;
  if (--found->second == 0) {
    held_objects().erase(found);
    GCRemoveRoot(object);
  }
}

CLayer* Layer_TakeNode() { return g_layers.Take(); }

void Layer_FreeNode(CLayer* layer) {
  Layer_ReleaseObject(RV_ObjectOf(layer->beginScript));
  Layer_ReleaseObject(RV_ObjectOf(layer->endScript));
  Layer_ReleaseObject(static_cast<KVObjectBase*>(layer->effect));
  RV_Free(&layer->beginScript);
  RV_Free(&layer->endScript);
  g_layers.Give(layer);
}

void Layer_FreeElementNode(CLayerElementBase* element) {
  switch (element->kind) {
    case kLayerElementBackground: g_backgrounds.Give(static_cast<CLayerBackgroundElement*>(element)); break;
    case kLayerElementInstance: g_instances.Give(static_cast<CLayerInstanceElement*>(element)); break;
    case kLayerElementSprite: g_sprites.Give(static_cast<CLayerSpriteElement*>(element)); break;
    case kLayerElementTilemap: g_tilemaps.Give(static_cast<CLayerTilemapElement*>(element)); break;
    case kLayerElementParticleSystem: g_particles.Give(static_cast<CLayerParticleElement*>(element)); break;
    case kLayerElementTile: g_tiles.Give(static_cast<CLayerTileElement*>(element)); break;
    case kLayerElementSequence: g_sequences.Give(static_cast<CLayerSequenceElement*>(element)); break;
    default: break;
  }
}

CLayerElementBase* Layer_NewElement(int32_t kind) {
  CLayerElementBase* element = nullptr;
  switch (kind) {
    case kLayerElementBackground: element = g_backgrounds.Take(); break;
    case kLayerElementInstance: element = g_instances.Take(); break;
    case kLayerElementSprite: element = g_sprites.Take(); break;
    case kLayerElementTilemap: element = g_tilemaps.Take(); break;
    case kLayerElementParticleSystem: element = g_particles.Take(); break;
    case kLayerElementTile: element = g_tiles.Take(); break;
    case kLayerElementSequence: element = g_sequences.Take(); break;
    default: return nullptr;
  }
  element->kind = kind;
  return element;
}

void Layer_LinkSorted(CRoom* room, CLayer* layer) {
  CLayer* after = room->layersTail;
  while (after != nullptr && after->depth > layer->depth) after = after->previous;
  link_layer_after(room, after, layer);
  LayerMap_Of(room).Insert(layer->id, layer);
}

void Layer_LinkElement(CLayer* layer, CLayerElementBase* element) {
  element->layer = layer;
  if (element->kind == kLayerElementInstance) {
    if (is_inactive_instance_element(element)) {
      link_after(layer, layer->elementsTail, element);
    } else {
      link_after(layer, nullptr, element);
    }
  } else {
    CLayerElementBase* after = layer->elementsTail;
    while (after != nullptr && is_inactive_instance_element(after)) after = after->previous;
    link_after(layer, after, element);
  }
  ++layer->elementCount;
}

void Layer_UnlinkElement(CLayerElementBase* element) {
  CLayer* layer = element->layer;
  if (element->previous != nullptr) {
    element->previous->next = element->next;
  } else {
    layer->elementsHead = element->next;
  }
  if (element->next != nullptr) {
    element->next->previous = element->previous;
  } else {
    layer->elementsTail = element->previous;
  }
  element->next = nullptr;
  element->previous = nullptr;
  element->layer = nullptr;
  --layer->elementCount;
}

int32_t Layer_NextId() {
  const int32_t highest = RoomAsset_HighestFileLayerId();
  LayerIdCounter = (LayerIdCounter > highest ? LayerIdCounter : highest) + 1;
  return LayerIdCounter;
}

bool Layer_IsActiveInstanceElement(const CLayerElementBase* element) {
  if (element == nullptr || element->kind != kLayerElementInstance) return false;
  const CInstance* instance = static_cast<const CLayerInstanceElement*>(element)->instance;
  return instance != nullptr && !on_inactive_list(instance);
}

bool Layer_RoomRunning(const CRoom* room) { return room != nullptr && room == Run_Room && room == g_started_room; }

void Layer_StartElement(CRoom* room, CLayerElementBase* element) {
  switch (element->kind) {
    case kLayerElementInstance: {
      auto* ie = static_cast<CLayerInstanceElement*>(element);
      CInstance* instance = ie->instance != nullptr ? ie->instance : Instance_Find(ie->instanceId);
      if (instance == nullptr) return;
      CLayerElementBase** held = InstanceMap_Of(room).Find(instance->id);
      if ((instance->flags & kInstHasLayerElement) != 0 && (held == nullptr || *held != element)) {
        Layer_RemoveInstance(room, instance);
      }
      ie->instance = instance;
      ie->instanceId = instance->id;
      InstanceMap_Of(room).Insert(instance->id, element);
      instance->flags |= kInstHasLayerElement;
      instance->layerId = element->layer->id;
      element->live = true;
      // A deactivated instance's element belongs at the tail.
      if (on_inactive_list(instance)) {
        CLayer* layer = element->layer;
        Layer_UnlinkElement(element);
        Layer_LinkElement(layer, element);
      }
      return;
    }
    case kLayerElementSequence: {
      auto* sequence = static_cast<CLayerSequenceElement*>(element);
      const int32_t made =
          g_LayerElementHooks.sequenceCreate != nullptr ? g_LayerElementHooks.sequenceCreate(sequence) : -1;
      if (made < 0) {
        g_ReleaseConsole->Output("Couldn't create new sequence instance for layer element\n");
        return;
      }
      sequence->instance = made;
      element->live = true;
      return;
    }
    default:
      element->live = true;
      return;
  }
}

void Layer_MarkRoomStarted(const CRoom* room) { g_started_room = room; }

void Layer_ForgetRoom(const CRoom* room) {
  if (g_started_room == room) g_started_room = nullptr;
}

// ---- Lookup --------------------------------------------------------------------------------------

CRoom* Layer_TargetRoom() {
  // A target room that exists is used through its working copy; while it has none (never
  // entered, or left while not persistent) the builtins find no layer there.
  if (LayerTargetRoom != -1 && Room_Exists(LayerTargetRoom)) return Room_Working(LayerTargetRoom);
  return Run_Room;
}

CLayer* Layer_Find(CRoom* room, int32_t id) {
  if (room == nullptr || room->layerIdMap == nullptr) return nullptr;
  CLayer** found = room->layerIdMap->Find(id);
  return found != nullptr ? *found : nullptr;
}

CLayer* Layer_FindByName(CRoom* room, const char* name) {
  if (room == nullptr || name == nullptr) return nullptr;
  for (CLayer* layer = room->layersHead; layer != nullptr; layer = layer->next) {
    if (!layer->name.empty() && strcasecmp(layer->name.c_str(), name) == 0) return layer;
  }
  return nullptr;
}

CLayerElementBase* Layer_FindElement(CRoom* room, int32_t id, int32_t kind) {
  if (room == nullptr) return nullptr;
  CLayerElementBase* element = nullptr;
  if (room->lastElement != nullptr && room->lastElement->id == id) {
    element = room->lastElement;
  } else if (room->elementIdMap != nullptr) {
    CLayerElementBase** found = room->elementIdMap->Find(id);
    if (found != nullptr) element = *found;
  }
  if (element == nullptr || (kind != 0 && element->kind != kind)) return nullptr;
  room->lastElement = element;
  return element;
}

CLayerInstanceElement* Layer_InstanceElement(CRoom* room, int32_t instanceId) {
  if (room == nullptr || room->instanceElementMap == nullptr) return nullptr;
  CLayerElementBase** found = room->instanceElementMap->Find(instanceId);
  return found != nullptr ? as_instance(*found) : nullptr;
}

// ---- Layers --------------------------------------------------------------------------------------

CLayer* Layer_Create(CRoom* room, int32_t depth, const char* name) {
  if (room == nullptr) return nullptr;
  CLayer* layer = Layer_TakeNode();
  layer->id = Layer_NextId();
  layer->depth = depth;
  if (name != nullptr) layer->name = name;
  Layer_LinkSorted(room, layer);
  return layer;
}

CLayer* Layer_CreateManaged(CRoom* room, int32_t depth) {
  CLayer* layer = Layer_Create(room, depth, nullptr);
  if (layer != nullptr) layer->managed = true;
  return layer;
}

void Layer_Destroy(CRoom* room, int32_t id) {
  CLayer* layer = Layer_Find(room, id);
  if (layer == nullptr || layer->deleting) return;
  layer->deleting = true;
  // Destroy events may add elements to this layer; they go too.
  while (layer->elementsHead != nullptr) Layer_RemoveElement(room, layer, layer->elementsHead, true);
  unlink_layer(room, layer);
  LayerMap_Of(room).Delete(layer->id);
  Layer_FreeNode(layer);
}

void Layer_SetDepth(CRoom* room, CLayer* layer, int32_t depth, bool merge) {
  if (room == nullptr || layer == nullptr) return;
  const int32_t old = layer->depth;
  layer->depth = depth;
  if (depth == old) return;
  const bool merging = merge && layer->managed;
  CLayer* after = nullptr;
  if (depth > old) {
    after = layer;
    for (CLayer* at = layer->next; at != nullptr && at->depth <= depth; at = at->next) {
      if (merging && at->managed && !at->deleting && at->depth == depth) {
        for (CLayerElementBase* element = layer->elementsTail; element != nullptr;) {
          CLayerElementBase* previous = element->previous;
          relink_element(element, at);
          element = previous;
        }
        Layer_Destroy(room, layer->id);
        return;
      }
      after = at;
    }
    if (after == layer) return;
  } else {
    after = layer->previous;
    while (after != nullptr && after->depth > depth) after = after->previous;
    if (merging && after != nullptr && after->managed && !after->deleting && after->depth == depth) {
      for (CLayerElementBase* element = layer->elementsTail; element != nullptr;) {
        CLayerElementBase* previous = element->previous;
        relink_element(element, after);
        element = previous;
      }
      Layer_Destroy(room, layer->id);
      return;
    }
    if (after == layer->previous) return;
  }
  unlink_layer(room, layer);
  link_layer_after(room, after, layer);
}

// ---- Elements ------------------------------------------------------------------------------------

int32_t Layer_AddElement(CRoom* room, CLayer* layer, CLayerElementBase* element) {
  if (room == nullptr || layer == nullptr || element == nullptr) return -1;
  element->id = ElementIdCounter++;
  Layer_LinkElement(layer, element);
  ElementMap_Of(room).Insert(element->id, element);
  if (CLayerInstanceElement* ie = as_instance(element)) {
    if (ie->instance == nullptr) InstanceMap_Of(room).Insert(ie->instanceId, element);
  }
  if (Layer_RoomRunning(room)) Layer_StartElement(room, element);
  return element->id;
}

void Layer_RemoveElement(CRoom* room, CLayer*, CLayerElementBase* element, bool destroyInstance) {
  if (room == nullptr || element == nullptr) return;
  CInstance* instance = drop_element(room, element);
  if (destroyInstance && instance != nullptr) Destroy_Instance(instance);
}

void Layer_MoveElement(CRoom* room, CLayerElementBase* element, CLayer* target) {
  if (room == nullptr || element == nullptr || target == nullptr || element->layer == target) return;
  CLayer* source = element->layer;
  relink_element(element, target);
  if (CLayerInstanceElement* ie = as_instance(element)) {
    if (ie->instance != nullptr) Layer_ReorderInstance(room, ie->instance);
  }
  destroy_if_empty_managed(room, source);
}

void Layer_DestroyInstances(CRoom* room, CLayer* layer) {
  if (room == nullptr || layer == nullptr) return;
  // Destroy events may change the list: gather first.
  std::vector<int32_t> ids;
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    if (CLayerInstanceElement* ie = as_instance(element)) {
      if (ie->instance != nullptr) ids.push_back(ie->instance->id);
    }
  }
  // Every instance on the layer goes, deactivated ones included; one already marked is destroyed
  // already and gets no second round of events.
  for (int32_t id : ids) {
    CInstance* instance = Instance_Find(id);
    if (instance != nullptr && (instance->flags & kInstMarked) == 0) Destroy_Instance(instance);
  }
}

// ---- Instances -----------------------------------------------------------------------------------

void Layer_AddInstance(CRoom* room, CLayer* layer, CInstance* instance) {
  if (room == nullptr || layer == nullptr || instance == nullptr) return;
  CLayerInstanceElement* element = Layer_InstanceElement(room, instance->id);
  if (element != nullptr && element->instance != nullptr) {
    g_ReleaseConsole->Output("Attempting to add instance %d multiple times to a layer\n", instance->id);
    return;
  }
  bool fresh = false;
  if (element == nullptr) {
    element = static_cast<CLayerInstanceElement*>(Layer_NewElement(kLayerElementInstance));
    element->id = ElementIdCounter++;
    element->instanceId = instance->id;
    fresh = true;
  }
  element->instance = instance;
  element->live = true;
  instance->flags |= kInstHasLayerElement;
  instance->layerId = layer->id;
  instance->depth = static_cast<float>(layer->depth);
  if (fresh) {
    Layer_LinkElement(layer, element);
    ElementMap_Of(room).Insert(element->id, element);
    InstanceMap_Of(room).Insert(instance->id, element);
  } else if (element->layer != layer || on_inactive_list(instance)) {
    if (element->layer != nullptr) Layer_UnlinkElement(element);
    Layer_LinkElement(layer, element);
  }
}

void Layer_AddInstanceByDepth(CRoom* room, CInstance* instance) {
  if (room == nullptr || instance == nullptr || !Layer_Generation2()) return;
  if ((instance->flags & kInstHasLayerElement) != 0) return;
  CLayer* layer = instance->layerId != -1 ? Layer_Find(room, instance->layerId) : nullptr;
  if (layer != nullptr && layer->deleting) layer = nullptr;
  if (layer == nullptr) {
    const int32_t depth = trunc_depth(instance->depth);
    for (CLayer* at = room->layersHead; at != nullptr && at->depth <= depth; at = at->next) {
      if (at->managed && !at->deleting && at->depth == depth) {
        layer = at;
        break;
      }
    }
    if (layer == nullptr) layer = Layer_CreateManaged(room, depth);
  }
  Layer_AddInstance(room, layer, instance);
}

void Layer_RemoveInstance(CRoom* room, CInstance* instance) {
  if (room == nullptr || instance == nullptr) return;
  CLayerInstanceElement* element = Layer_InstanceElement(room, instance->id);
  if (element == nullptr || element->instance != instance) {
    instance->flags &= ~kInstHasLayerElement;
    return;
  }
  CLayer* layer = Layer_Find(room, instance->layerId);
  if (element->layer == nullptr || element->layer != layer) {
    g_ReleaseConsole->Output("Layer system integrity compromised, instance %d not on layer %d\n", instance->id,
                             instance->layerId);
    return;
  }
  drop_element(room, element);
  destroy_if_empty_managed(room, layer);
}

void Layer_MoveInstanceForDepth(CRoom* room, CInstance* instance) {
  if (room == nullptr || instance == nullptr || (instance->flags & kInstHasLayerElement) == 0) return;
  CLayer* layer = Layer_Find(room, instance->layerId);
  const int32_t depth = trunc_depth(instance->depth);
  if (layer != nullptr && layer->depth == depth) return;
  if (layer == nullptr || std::fabs(instance->depth - static_cast<float>(layer->depth)) >= 20.0f ||
      !layer->managed || layer->elementCount > 1) {
    const float wanted = instance->depth;
    Layer_RemoveInstance(room, instance);
    if ((instance->flags & kInstHasLayerElement) != 0) return;  // integrity failure: state stays
    instance->layerId = -1;
    instance->depth = wanted;
    Layer_AddInstanceByDepth(room, instance);
    return;
  }
  Layer_SetDepth(room, layer, depth, true);
}

void Layer_ReorderInstance(CRoom* room, CInstance* instance) {
  CLayerInstanceElement* element = Layer_InstanceElement(room, instance != nullptr ? instance->id : -1);
  if (element == nullptr || element->layer == nullptr || element->instance != instance) return;
  CLayer* layer = element->layer;
  Layer_UnlinkElement(element);
  Layer_LinkElement(layer, element);
}

// ---- Hooks into the instances --------------------------------------------------------------------

namespace {

void hook_enter(CInstance* instance, int32_t layerId) {
  CRoom* room = Run_Room;
  if (room == nullptr || !Layer_Generation2()) return;
  CLayer* layer = layerId != -1 ? Layer_Find(room, layerId) : nullptr;
  if (layer != nullptr && (instance->flags & kInstHasLayerElement) == 0) {
    Layer_AddInstance(room, layer, instance);
  } else {
    Layer_AddInstanceByDepth(room, instance);
  }
}

void hook_leave(CInstance* instance) {
  if (Run_Room == nullptr || (instance->flags & kInstHasLayerElement) == 0) return;
  Layer_RemoveInstance(Run_Room, instance);
}

void hook_set_active(CInstance* instance, bool) {
  if (Run_Room != nullptr) Layer_ReorderInstance(Run_Room, instance);
}

void hook_depth_changed(CInstance* instance) {
  if (Run_Room != nullptr) Layer_MoveInstanceForDepth(Run_Room, instance);
}

int32_t hook_find(const char* name) {
  CLayer* layer = Layer_FindByName(Run_Room, name);
  return layer != nullptr ? layer->id : -1;
}

bool hook_exists(int32_t id) { return Layer_Find(Run_Room, id) != nullptr; }

float hook_depth(int32_t id) {
  CLayer* layer = Layer_Find(Run_Room, id);
  return layer != nullptr ? static_cast<float>(layer->depth) : 0.0f;
}

}  // namespace

void Layer_Init() {
  g_InstanceWorldHooks.layerEnter = hook_enter;
  g_InstanceWorldHooks.layerLeave = hook_leave;
  g_InstanceWorldHooks.layerSetActive = hook_set_active;
  g_InstanceWorldHooks.layerDepthChanged = hook_depth_changed;
  g_InstanceWorldHooks.layerFind = hook_find;
  g_InstanceWorldHooks.layerExists = hook_exists;
  g_InstanceWorldHooks.layerDepth = hook_depth;
}

void Layer_ResetState() {
  LayerIdCounter = 0;
  ElementIdCounter = 0;
  LayerTargetRoom = -1;
  held_objects().clear();
  Layer_ForceDrawDepth = false;
  Layer_ForcedDepth = 0;
  g_started_room = nullptr;
}

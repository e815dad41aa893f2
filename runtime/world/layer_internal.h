#pragma once
// Shared between the layer sources: the pools of nodes, the room's maps made on first use, and the
// link rule of elements. Not for other subsystems.
#include <cstdint>

#include "core/hash_map.h"
#include "world/layer.h"

using LayerIdMap = CHashMap<int32_t, CLayer*>;
using ElementIdMap = CHashMap<int32_t, CLayerElementBase*>;

LayerIdMap& LayerMap_Of(CRoom* room);
ElementIdMap& ElementMap_Of(CRoom* room);
ElementIdMap& InstanceMap_Of(CRoom* room);

// A layer node from the pool with its fields at their initial values; Layer_FreeNode resets it.
CLayer* Layer_TakeNode();
void Layer_FreeNode(CLayer* layer);
// Returns an element node (unlinked, out of the maps) to its pool.
void Layer_FreeElementNode(CLayerElementBase* element);

// Links a layer into the room's list behind the last layer whose depth is <= its own, and enters it
// in the layer map.
void Layer_LinkSorted(CRoom* room, CLayer* layer);
// Links an element into a layer by the order rule and counts it.
void Layer_LinkElement(CLayer* layer, CLayerElementBase* element);
void Layer_UnlinkElement(CLayerElementBase* element);
// The next layer id: max(LayerIdCounter, HighestFileLayerId) + 1.
int32_t Layer_NextId();
// Whether the element is an active instance's (the walkers stop at the first that isn't).
bool Layer_IsActiveInstanceElement(const CLayerElementBase* element);
// Starts an element in a running room (see Layer_AddElement).
void Layer_StartElement(CRoom* room, CLayerElementBase* element);
bool Layer_Generation2();
// Objects that layers hold (script methods, effects) stay rooted while any layer holds them.
class KVObjectBase;
void Layer_HoldObject(KVObjectBase* object);
void Layer_ReleaseObject(KVObjectBase* object);
// Records the room whose elements Layer_RoomStart started (null: none).
void Layer_MarkRoomStarted(const CRoom* room);
// Clears the started room if it is this one.
void Layer_ForgetRoom(const CRoom* room);

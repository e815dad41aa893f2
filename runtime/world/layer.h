#pragma once
// Layers: in generation 2 everything a room shows stands on a layer. A room keeps its layers in one
// list sorted by depth ascending (equal depths in insertion order) with three maps beside it
// (layer id, element id, instance id -> element; the fields live in CRoom). A layer holds a
// doubly linked list of elements: elements of active instances first (the newest at the head),
// then the other elements in insertion order, then the elements of deactivated instances. The
// instance walkers of the step and of drawing stop at the first element that isn't an active
// instance's.
//
// Costs: elements and layers come from pools (free lists that double when empty), lookups go
// through the maps, and the room's lastElement is tried before the element map.
// Odd cases: an instance added twice prints "Attempting to add instance %d multiple times to a
// layer\n" and changes nothing; an instance whose element isn't on its layer prints "Layer system
// integrity compromised, instance %d not on layer %d\n" and leaves the state as it was. A managed
// layer (made by the runtime for instances by depth) is destroyed when its last element leaves.
//
// Elements that draw only record what they will draw; drawing walks these records.
#include <cstdint>
#include <string>

#include "core/rvalue.h"

struct CRoom;
struct RoomAsset;
class CInstance;

// Element kinds (the value of layer_get_element_type).
constexpr int32_t kLayerElementUndefined = 0;
constexpr int32_t kLayerElementBackground = 1;
constexpr int32_t kLayerElementInstance = 2;
constexpr int32_t kLayerElementSprite = 4;
constexpr int32_t kLayerElementTilemap = 5;
constexpr int32_t kLayerElementParticleSystem = 6;
constexpr int32_t kLayerElementTile = 7;
constexpr int32_t kLayerElementSequence = 8;

struct CLayer;

// The head every element kind shares. `layer` is null while the node is free.
struct CLayerElementBase {
  int32_t kind = kLayerElementUndefined;
  int32_t id = -1;
  bool live = false;  // started in a running room
  std::string name;
  CLayer* layer = nullptr;
  CLayerElementBase* next = nullptr;  // the layer's list, or the pool's free list
  CLayerElementBase* previous = nullptr;
};

// The background a background element draws.
struct CLayerBackground {
  bool visible = true;
  bool foreground = false;
  int32_t spriteIndex = -1;
  bool htiled = false;
  bool vtiled = false;
  float xscale = 1.0f;
  float yscale = 1.0f;
  bool stretch = false;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1.0f;
  float imageIndex = 0.0f;
  float speed = 0.0f;
  int32_t speedType = 0;  // 1: frames per step, else frames per second
};

struct CLayerBackgroundElement : CLayerElementBase {
  CLayerBackground* background = nullptr;  // owned
};

struct CLayerInstanceElement : CLayerElementBase {
  int32_t instanceId = -1;
  CInstance* instance = nullptr;  // null for an element the room file made, until its instance comes
};

struct CLayerSpriteElement : CLayerElementBase {
  int32_t spriteIndex = -1;
  float sequencePosition = 0.0f;
  float sequenceDirection = 1.0f;
  float imageIndex = 0.0f;
  float imageSpeed = 1.0f;
  int32_t speedType = 0;
  float xscale = 1.0f;
  float yscale = 1.0f;
  float angle = 0.0f;
  uint32_t blend = 0xFFFFFFFF;  // -1 as the initial value
  float alpha = 1.0f;
  float x = 0.0f;
  float y = 0.0f;
};

struct CLayerTilemapElement : CLayerElementBase {
  int32_t tileSet = -1;
  float x = 0.0f;
  float y = 0.0f;
  int32_t width = 0;
  int32_t height = 0;
  float frame = 0.0f;
  uint32_t* cells = nullptr;  // width x height, row by row; owned (a copy of the file's cells)
  uint32_t tileMask = 0xFFFFFFFF;
};

struct CLayerParticleElement : CLayerElementBase {
  int32_t systemId = -1;
};

struct CLayerTileElement : CLayerElementBase {
  int32_t spriteIndex = -1;
  float x = 0.0f;
  float y = 0.0f;
  int32_t xo = 0, yo = 0, w = 0, h = 0;  // source rectangle
  float xscale = 1.0f;
  float yscale = 1.0f;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1.0f;
  bool visible = true;
};

struct CLayerSequenceElement : CLayerElementBase {
  int32_t sequenceIndex = -1;
  int32_t instance = -1;  // the sequence instance
  float speed = 1.0f;
  int32_t speedType = 0;
  float xscale = 1.0f;
  float yscale = 1.0f;
  float angle = 0.0f;
  uint32_t blend = 0xFFFFFFFF;
  float alpha = 1.0f;
  float x = 0.0f;
  float y = 0.0f;
  float headPosition = 0.0f;
  // The play state while the element has no sequence instance; the instance takes it when the
  // element starts and hands it back when it goes.
  float headDirection = 1.0f;
  bool paused = false;
};

struct CLayer {
  int32_t id = -1;
  int32_t depth = 0;
  float xOffset = 0.0f;
  float yOffset = 0.0f;
  float hSpeed = 0.0f;
  float vSpeed = 0.0f;
  bool visible = true;
  bool deleting = false;
  bool managed = false;
  std::string name;  // empty: none (managed layers never have one)
  RValue beginScript = RV_Real(-1.0);
  RValue endScript = RV_Real(-1.0);
  bool effectEnabled = true;
  bool effectEnabledPending = true;
  void* effect = nullptr;
  int32_t shader = -1;
  CLayerElementBase* elementsHead = nullptr;
  CLayerElementBase* elementsTail = nullptr;
  int32_t elementCount = 0;
  CLayer* next = nullptr;
  CLayer* previous = nullptr;
};

// ---- Ids -----------------------------------------------------------------------------------------
extern int32_t LayerIdCounter;    // the last layer id given
extern int32_t ElementIdCounter;  // counts elements from the start of the process
extern int32_t LayerTargetRoom;   // -1: builtins act on the current room

// The room the builtins act on: the target room's working copy when set and the room exists
// (null while that room has no working copy), else Run_Room. May be null.
CRoom* Layer_TargetRoom();

// ---- Layers --------------------------------------------------------------------------------------
CLayer* Layer_Find(CRoom* room, int32_t id);
// First in list order whose name matches, ignoring case; null for none.
CLayer* Layer_FindByName(CRoom* room, const char* name);
CLayer* Layer_Create(CRoom* room, int32_t depth, const char* name);
CLayer* Layer_CreateManaged(CRoom* room, int32_t depth);
// Removes every element (instances destroyed with their events), unlinks and frees the layer.
void Layer_Destroy(CRoom* room, int32_t id);
// Moves the layer to its new depth; with merge, a managed layer that meets a managed layer of the
// target depth on its way hands its elements over and is destroyed.
void Layer_SetDepth(CRoom* room, CLayer* layer, int32_t depth, bool merge);

// ---- Instances -----------------------------------------------------------------------------------
void Layer_AddInstanceByDepth(CRoom* room, CInstance* instance);
void Layer_AddInstance(CRoom* room, CLayer* layer, CInstance* instance);
void Layer_RemoveInstance(CRoom* room, CInstance* instance);
// After `depth` changed (the depth flush): moves the instance, or its private managed layer.
void Layer_MoveInstanceForDepth(CRoom* room, CInstance* instance);
// After a change of the active state: moves the element to the active or the deactivated part.
void Layer_ReorderInstance(CRoom* room, CInstance* instance);
// The element of an instance, or null.
CLayerInstanceElement* Layer_InstanceElement(CRoom* room, int32_t instanceId);

// ---- Elements ------------------------------------------------------------------------------------
// A fresh node of the kind from its pool (not yet on a layer, id -1).
CLayerElementBase* Layer_NewElement(int32_t kind);
// Gives the element an id, links it in by the order rule, enters it in the element map; in a
// running room also starts it. Returns the id.
int32_t Layer_AddElement(CRoom* room, CLayer* layer, CLayerElementBase* element);
void Layer_RemoveElement(CRoom* room, CLayer* layer, CLayerElementBase* element, bool destroyInstance);
// By id, through lastElement then the map; null for none. With kind != 0 only that kind.
CLayerElementBase* Layer_FindElement(CRoom* room, int32_t id, int32_t kind = 0);
// layer_element_move: the element goes to the target layer by the order rule.
void Layer_MoveElement(CRoom* room, CLayerElementBase* element, CLayer* target);
// layer_destroy_instances: every instance on the layer is destroyed with its events.
void Layer_DestroyInstances(CRoom* room, CLayer* layer);

// ---- Rooms ---------------------------------------------------------------------------------------
// Builds a template's layers from its ROOM record: a layer per record sorted in by depth, its
// elements (instance elements hold only the placement's id), and the dynamic "Sequence" layer for
// the room's sequence list.
void Layer_BuildFromAsset(CRoom* room, const RoomAsset& asset);
// Copies the layers and elements of source into dest (which has none): same ids for layers and
// elements, instance elements without instances.
void Layer_CopyRoom(CRoom* dest, const CRoom* source);
// Starts every element in list order, then puts instances without a layer element on one (by
// depth), in the order of the room's lists.
void Layer_RoomStart(CRoom* room);
// Releases the elements' runtime state (sequence instances, particle systems, instance links).
void Layer_RoomEnd(CRoom* room);
// Frees every layer, element and map of the room (a working copy or template that goes).
void Layer_FreeRoom(CRoom* room);
// Whether room is the current one and has been started (elements start on add).
bool Layer_RoomRunning(const CRoom* room);

// ---- Step ----------------------------------------------------------------------------------------
// Once per step: layer offsets scroll; backgrounds, sprite elements and tile maps animate.
void Layer_Animate(CRoom* room);

// layer_force_draw_depth state, read by drawing.
extern bool Layer_ForceDrawDepth;
extern int32_t Layer_ForcedDepth;

// ---- Subjects that elements start and stop (each may be null) ------------------------------------
struct LayerElementHooks {
  // Creates the sequence instance of an element; -1 for failure.
  int32_t (*sequenceCreate)(CLayerSequenceElement* element) = nullptr;
  void (*sequenceDestroy)(int32_t instance) = nullptr;
  void (*particleDetach)(int32_t systemId) = nullptr;
};
extern LayerElementHooks g_LayerElementHooks;


// Installs the layer operations into the instance hooks (instance.h). Harmless to call again.
void Layer_Init();
// Forgets ids, the target room and the forced depth (a new game round, and tests).
void Layer_ResetState();
void Layer_RegisterBuiltins();

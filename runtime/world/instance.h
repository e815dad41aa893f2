#pragma once
// CInstance: a live thing in a room. A script-visible object (kind 1) with variable slots, plus a
// fixed block of builtin state: position, sprite, motion, alarms, flags and the links of the lists
// that hold it (the room's active or inactive list, its object's instance lists, the gathering
// lists of `with` and of collision).
//
// Lifetime: made by Instance_Create* (instance_registry.h), marked by a destroy, unlinked and freed
// by the purge; a marked instance keeps its state until then, so a pass holding it never dangles.
// The live test used by every walker is Instance_IsLive: (flags AND 0x100003) == 0.
#include <cstdint>
#include <vector>

#include "core/object.h"
#include "world/object_type.h"

class CObjectTV;
class CCode;
struct ObjectInstanceNode;
struct InstancePathState;

// flags of an instance.
constexpr uint32_t kInstMarked = 0x1;             // destroyed, waits for the purge
constexpr uint32_t kInstDeactivated = 0x2;
constexpr uint32_t kInstCreated = 0x4;            // Create has run
constexpr uint32_t kInstBBoxDirty = 0x8;
constexpr uint32_t kInstVisible = 0x10;
constexpr uint32_t kInstSolid = 0x20;
constexpr uint32_t kInstPersistent = 0x40;
constexpr uint32_t kInstDestroyStarted = 0x80;
constexpr uint32_t kInstCarriedOver = 0x100;      // came into the room from the previous one
constexpr uint32_t kInstPreciseMask = 0x200;  // the box was computed for a precise sprite
constexpr uint32_t kInstHasLayerElement = 0x400;
constexpr uint32_t kInstTimelineRuns = 0x800;
constexpr uint32_t kInstTimelineLoops = 0x1000;
constexpr uint32_t kInstWasOutside = 0x2000;
constexpr uint32_t kInstPlainDraw = 0x4000;
constexpr uint32_t kInstInCollisionTree = 0x8000;
constexpr uint32_t kInstSequenceA = 0x10000;
constexpr uint32_t kInstInSequence = 0x20000;     // builtin `in_sequence`
constexpr uint32_t kInstSequenceB = 0x800000;
constexpr uint32_t kInstChangingObject = 0x40000;  // on ChangedObjectList
constexpr uint32_t kInstOnInactiveList = 0x80000;
constexpr uint32_t kInstDelayedDestroy = 0x100000;
constexpr uint32_t kInstManaged = 0x200000;
constexpr uint32_t kInstDelayedRunsDestroy = 0x400000;
constexpr uint32_t kInstInitial = 0x1000000;

constexpr uint32_t kInstNotLiveMask = kInstMarked | kInstDeactivated | kInstDelayedDestroy;
constexpr int32_t kInstanceAlarmCount = 12;
// Ids of instances start here; smaller numbers name objects and the special sets.
constexpr int32_t kInstanceIdBase = 100000;

// A self-linked node of a gathering list: empty when next == previous == this.
struct InstanceGatherNode {
  InstanceGatherNode* next = this;
  InstanceGatherNode* previous = this;
  CInstance* instance = nullptr;
  bool Linked() const { return next != this; }
};

class CInstance final : public KVObjectBase {
 public:
  // Fields as listed; the object is attached by Instance_Attach (instance_registry.h), which needs
  // the object table. addToObject enters it in the object's instance lists.
  CInstance(float x, float y, int32_t id, int32_t objectIndex, bool addToObject);
  ~CInstance() override;
  // A purged instance is no longer a root of the collector: the next pass frees it.
  bool Mark(uint32_t* bitmap, int32_t bits) override;

  int64_t createCounter = 0;
  CObjectTV* object = nullptr;
  void* physicsObject = nullptr;
  void* skeleton = nullptr;
  KVObjectBase* sequenceInstance = nullptr;
  uint32_t flags = kInstInitial;  // hides KVObjectBase::flags, which keeps the object-model bits
  int32_t id = 0;
  int32_t objectIndex = 0;
  int32_t spriteIndex = -1;
  float sequencePosition = 0.0f;
  float lastSequencePosition = 0.0f;
  float sequenceSpeed = 1.0f;
  float imageIndex = 0.0f;
  float imageSpeed = 1.0f;
  float imageXScale = 1.0f;
  float imageYScale = 1.0f;
  float imageAngle = 0.0f;
  float imageAlpha = 1.0f;
  uint32_t imageBlend = 0xFFFFFF;
  float x = 0.0f;
  float y = 0.0f;
  float xstart = 0.0f;
  float ystart = 0.0f;
  float xprevious = 0.0f;
  float yprevious = 0.0f;
  float direction = 0.0f;
  float speed = 0.0f;
  float friction = 0.0f;
  float gravityDirection = 270.0f;
  float gravity = 0.0f;
  float hspeed = 0.0f;
  float vspeed = 0.0f;
  float bboxLeft = 0.0f;
  float bboxTop = 0.0f;
  float bboxRight = 0.0f;
  float bboxBottom = 0.0f;
  float treeBox[4] = {0, 0, 0, 0};  // the box its collision-tree entry was filed under
  int32_t alarm[kInstanceAlarmCount] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  int64_t rollbackFrame = -1;
  InstancePathState* pathState = nullptr;
  CCode* createCode = nullptr;
  CCode* preCreateCode = nullptr;
  CObjectTV* previousObject = nullptr;
  int32_t layerId = -1;
  int32_t maskIndex = -1;
  uint16_t mouseOverState = 2;
  CInstance* next = nullptr;      // room list; hides KVObjectBase::next (the collector's chain)
  CInstance* previous = nullptr;
  InstanceGatherNode withNode;       // gathering list of `with`
  InstanceGatherNode collisionNode;  // gathering lists of collision queries
  InstanceGatherNode treeNode;       // pending collision-tree update
  float depth = 0.0f;
  float currentDepth = 0.0f;
  float lastImageNumber = -1.0f;
  int32_t collisionStamp = -1;

  // The nodes of this instance in its object's lists (exact and recursive), chained through
  // ObjectInstanceNode::nextOfInstance, so leaving them costs the depth of the parent chain. The
  // two of its own object live here, so that the event passes walking those lists touch the
  // instances they dispatch to and no separate nodes; those of the ancestors are allocated.
  ObjectInstanceNode* objectNodes = nullptr;
  ObjectInstanceNode ownNodes[2];
  // Where it stands on the pending lists, so that each holds it at most once.
  bool onDepthChangeList = false;
  bool onDeactivationList = false;
  bool purged = false;  // out of every list; memory left to the collector
};

inline bool Instance_IsLive(const CInstance* instance) { return (instance->flags & kInstNotLiveMask) == 0; }

// ---- Counters ------------------------------------------------------------------------------------
struct CRoom;

extern uint32_t LastInstanceId;  // each new instance takes ++LastInstanceId
extern int64_t PassCounter;      // incremented by each event pass
extern int32_t MarkedCount;      // instances marked since the last purge

// New ids continue from the data file's highest placed instance id (its header): taken when the
// file is loaded (World_Init hooks this into the chunk load) and again at every game restart
// (Instance_ResetState).
void Instance_ResetIds();

// ---- What layers and the collision tree do for instances (installed by those subsystems) ---------
// Every hook may be null; without the layer hooks an instance keeps only its layerId and depth.
struct InstanceWorldHooks {
  // Enters the instance's layer element: by depth (layerId -1) or into the given layer.
  void (*layerEnter)(CInstance* instance, int32_t layerId) = nullptr;
  void (*layerLeave)(CInstance* instance) = nullptr;
  void (*layerSetActive)(CInstance* instance, bool active) = nullptr;
  // Moves the instance to the layer of its new depth (generation 2 depth change).
  void (*layerDepthChanged)(CInstance* instance) = nullptr;
  // A layer id for a name, and whether a layer id exists, for instance_create_layer.
  int32_t (*layerFind)(const char* name) = nullptr;
  bool (*layerExists)(int32_t layerId) = nullptr;
  float (*layerDepth)(int32_t layerId) = nullptr;
  void (*treeUpdate)(CInstance* instance) = nullptr;
  void (*treeRemove)(CInstance* instance) = nullptr;
  void (*treeReset)() = nullptr;  // drop the tree before a large purge
  void (*treeRebuild)() = nullptr;
  // Brings the bounding box up to date (flag 0x8); without it the box is the point (x, y).
  void (*bboxUpdate)(CInstance* instance) = nullptr;
};
extern InstanceWorldHooks g_InstanceWorldHooks;

// ---- Moving an instance -------------------------------------------------------------------------
// The one way the runtime moves an instance or changes what its box depends on: the box is marked
// for recomputation (flag 0x8) and the collision tree is told. Instance_SetPosition does nothing
// when the position stays (unless the instance has a skeleton); the others only on a real change.
void Instance_SetPosition(CInstance* instance, float x, float y);
void Instance_SetSprite(CInstance* instance, int32_t sprite);
void Instance_SetMask(CInstance* instance, int32_t mask);
void Instance_SetScale(CInstance* instance, float xscale, float yscale);
void Instance_SetAngle(CInstance* instance, float angle);
void Instance_SetImageIndex(CInstance* instance, float index);
// Something else the box depends on changed (object, copied state, a room's placement).
void Instance_BoxChanged(CInstance* instance);

// ---- Id table and lookup -------------------------------------------------------------------------
// The instance with this id, deactivated and marked ones included; null for a negative or unknown id.
CInstance* Instance_Find(int32_t id);
// The same, only if live.
CInstance* Instance_FindLive(int32_t id);
void Instance_IdTableAdd(CInstance* instance);
void Instance_IdTableRemove(CInstance* instance);
int32_t Instance_IdTableCount();
// Every instance of the id table, in the table's own order (bucket by bucket, each chain in the
// order of entry): the order in which the room's start hands loose instances to their layers.
std::vector<CInstance*> Instance_IdTableInOrder();
// Drops the id table without touching the instances (part of Instance_ResetState).
void Instance_ForgetIdTable();

// ---- Object lists --------------------------------------------------------------------------------
// Appends the instance to object->instances and to instancesRecursive of the object and each
// ancestor; leaving unlinks all of them.
void Instance_EnterObjectLists(CInstance* instance);
void Instance_LeaveObjectLists(CInstance* instance);
// Sets objectIndex, object, mask, sprite and the object's flags, as construction and a change do.
void Instance_TakeObject(CInstance* instance, int32_t objectIndex, bool takeDepth);

// ---- Creation and destruction --------------------------------------------------------------------
// Both need a current room and an existing object: "Creating instance for non-existing object: %d"
// is raised otherwise and null given. vars, if not null, is a struct whose variables the instance
// takes before Create runs. Create_Instance_OnLayer takes the layer's depth, and flags that the
// instance has from the start (a sequence's instances are in the sequence before Create runs).
CInstance* Create_Instance(int32_t object, float x, float y, float depth, KVObjectBase* vars = nullptr);
CInstance* Create_Instance_OnLayer(int32_t object, float x, float y, int32_t layerId, KVObjectBase* vars = nullptr,
                                   uint32_t flags = 0);
// Destroy and CleanUp (once), then mark.
void Destroy_Instance(CInstance* instance);
// instance_destroy for one instance: a marked or deactivated one is left alone; without
// executeDestroy only CleanUp runs before the mark.
void Instance_Destroy(CInstance* instance, bool executeDestroy);
// Unlinks every marked instance from the lists, the id table and its layer, and hands it to the
// collector.
void Room_PurgeMarked(CRoom* room);
// Takes an instance out of everything (id table, lists, layer) and hands it to the collector,
// whatever its flags; for room ends and restarts.
void Instance_Release(CRoom* room, CInstance* instance);

// instance_change: raises for an unknown object; perform runs Destroy/CleanUp/PreCreate/Create.
void Instance_ChangeObject(CInstance* instance, int32_t object, bool perform);
// Copies source's state over target: the builtin block (position, image, motion, alarms, the path
// and timeline record, mask, placement code and the state flags) and the variables. The id, the
// object, depth, layer, links and list places stay target's own, as do the flags that say where
// target stands (layer element, inactive list, pending change, collision tree).
void Instance_CopyState(CInstance* target, const CInstance* source);
// instance_copy: null without a room.
CInstance* Instance_Copy(CInstance* instance, bool perform);
// The `depth` setter: queues the instance for the depth flush unless the value is the same.
void Instance_SetDepth(CInstance* instance, float depth);

// ---- Activation ----------------------------------------------------------------------------------
void Instance_Deactivate(CInstance* instance);
void Instance_Activate(CInstance* instance);

// ---- The flush of pending lists (Run_Flush calls them in this order) -----------------------------
void Instance_FlushDeactivation();
void Instance_FlushChangedObjects();
void Instance_FlushDepthChanges();
void Instance_Flush();
// Empties DeactivationList without applying it (the end of a room).
void Instance_DropDeactivations();
int32_t Instance_PendingDeactivations();
int32_t Instance_PendingChanges();
const std::vector<CInstance*>& Instance_ChangedList();       // ChangedObjectList
const std::vector<CInstance*>& Instance_DeactivationList();  // DeactivationList

// instance_deactivate_region / instance_activate_region: an instance is outside when its bounding
// box (the point without sprite and mask) misses the rectangle; it changes state when that differs
// from inside. notme activates a deactivated self again.
void Instance_DeactivateRegion(CInstance* self, float left, float top, float width, float height, bool inside,
                               bool notme);
void Instance_ActivateRegion(float left, float top, float width, float height, bool inside);

// ---- Snapshots -----------------------------------------------------------------------------------
// Live instances of the active list, then (with a pending deactivation) live ones of the inactive
// list; and the deactivated ones. Rebuilt on use when dirty.
const CInstance* const* Instance_ActiveSnapshot(int32_t* count);
const CInstance* const* Instance_InactiveSnapshot(int32_t* count);
void Instance_SnapshotsDirty();

// ---- Instance sets -------------------------------------------------------------------------------
// The one iterator over "object or instance" arguments: -1 self, -2 other, -3 the room's active list,
// an id of 100000 and above that instance, any other number an object with its descendants
// (instancesRecursive, then pending changes and pending activations). -5 (the global object) names
// no instance here. Callers apply the live test; nothing is allocated.
class InstanceSetIterator {
 public:
  InstanceSetIterator(CInstance* self, CInstance* other, int32_t value, bool includeInactive = false);
  CInstance* Next();

 private:
  CInstance* self_;
  CInstance* other_;
  int32_t value_;
  bool includeInactive_;
  int32_t stage_ = 0;
  int32_t index_ = 0;
  const void* cursor_ = nullptr;
};

// The number a builtin argument names: instance references give their id.
int32_t Instance_SetNumber(const RValue& value);
// A reference value (kind 15) for an id.
RValue Instance_Ref(int32_t id);

bool Instance_Exists(CInstance* self, CInstance* other, int32_t value);
int32_t Instance_Number(CInstance* self, CInstance* other, int32_t value);
CInstance* Instance_FindNth(CInstance* self, CInstance* other, int32_t value, int32_t n);
// Nearest (furthest when `furthest`) live instance of an object, or -3 for all; null for none.
CInstance* Instance_Nearest(float x, float y, int32_t value, bool furthest);
// instance_count (-1 without a room) and instance_id[i] (-4 out of range).
int32_t Instance_Count();
int32_t Instance_IdAt(int32_t index);

// The gathering of `with` over an object index: live instances of instancesRecursive, then of the
// pending changes and activations that descend from it; an instance met twice moves to the end.
void Instance_GatherObject(int32_t object, std::vector<CInstance*>* out);
void Instance_GatherAll(std::vector<CInstance*>* out);

// Forgets every pending list, the id table and the counters, and takes the ids from the header
// again (a new game round, and tests).
void Instance_ResetState();

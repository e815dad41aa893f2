#pragma once
// CObjectTV: an object type, the class of a game instance. It holds the defaults an instance takes at
// creation (sprite, mask, depth, flags), its parent and direct children, the event map of its own and
// inherited events, the physics block of its record and the lists of its live instances.
//
// The table maps object index -> CObjectTV in 512 chained buckets (bucket = index AND 511). Object
// types live from the OBJT load until Object_ClearTable; the table owns them, their names, their own
// CEvents and their instance-list nodes (never the instances). The OBJT objects are 0 .. n-1 and an
// internal object, "__KVInternalObject__<n>", follows at n. Lookups of unknown indices give null.
#include <cstdint>

#include "world/event_map.h"

class CInstance;
template <class K, class V>
class CHashMap;

// Object flags.
constexpr uint32_t kObjTypeSolid = 0x1;
constexpr uint32_t kObjTypeVisible = 0x2;
constexpr uint32_t kObjTypePersistent = 0x4;
constexpr uint32_t kObjTypeCollides = 0x8;           // an instance of it takes part in collision events
constexpr uint32_t kObjTypeAlways = 0x10;
constexpr uint32_t kObjTypeChildCollides = 0x20;     // a descendant takes part in collision events
constexpr uint32_t kObjTypeCollisionInherited = 0x40;
constexpr uint32_t kObjTypeManaged = 0x80;
constexpr uint32_t kObjTypeInitialFlags = kObjTypeVisible | kObjTypeAlways;

// A node of an object's instance list. nextOfInstance chains the nodes one instance has in the
// lists of its object and its ancestors, so that it leaves them without a search.
struct ObjectInstanceList;
struct ObjectInstanceNode {
  ObjectInstanceNode* next = nullptr;
  ObjectInstanceNode* previous = nullptr;
  CInstance* instance = nullptr;
  ObjectInstanceNode* nextOfInstance = nullptr;
  ObjectInstanceList* list = nullptr;
};

// Doubly linked, appended at the tail: creation order.
struct ObjectInstanceList {
  ObjectInstanceNode* head = nullptr;
  ObjectInstanceNode* tail = nullptr;
  int32_t count = 0;
};

struct ObjectPhysics {
  bool usesPhysics = false;
  bool isSensor = false;
  int32_t collisionShape = 0;
  float density = 0.0f;
  float restitution = 0.0f;
  int32_t collisionGroup = 0;
  float linearDamping = 0.0f;
  float angularDamping = 0.0f;
  float friction = 0.2f;
  bool awake = true;
  bool kinematic = false;
  int32_t shapePointCount = 0;
  float* shapePoints = nullptr;  // shapePointCount pairs {x, y}, owned
};

class CObjectTV {
 public:
  CObjectTV();
  ~CObjectTV();
  CObjectTV(const CObjectTV&) = delete;
  CObjectTV& operator=(const CObjectTV&) = delete;

  // Map lookup, own or inherited; null when the object has no such event.
  CEvent* FindEvent(int32_t type, int32_t subtype) const { return eventMap.Find(Event_Key(type, subtype)); }
  bool HasEvent(int32_t type, int32_t subtype) const { return FindEvent(type, subtype) != nullptr; }
  // As FindEvent, but null for an inherited row.
  CEvent* FindOwnEvent(int32_t type, int32_t subtype) const;
  // Adds an own event running code-table row code_index (replacing what the key held).
  CEvent* AddOwnEvent(int32_t type, int32_t subtype, int32_t code_index);

  char* name = nullptr;
  CObjectTV* parent = nullptr;
  CHashMap<int32_t, CObjectTV*>* children = nullptr;  // direct children, made with 4 rows
  CEventMap eventMap;
  ObjectPhysics physics;
  ObjectInstanceList instances;
  ObjectInstanceList instancesRecursive;
  uint32_t flags = kObjTypeInitialFlags;
  int32_t spriteIndex = -1;
  int32_t depth = 0;
  int32_t parentIndex = -1;
  int32_t maskIndex = -1;
  int32_t objectIndex = -1;

  // The CEvents this object wrote, freed with it.
  CEvent** ownEvents_ = nullptr;
  int32_t ownEventCount_ = 0;
  int32_t ownEventCapacity_ = 0;
};

// ---- The object table ----------------------------------------------------------------------------
bool Object_Exists(int32_t index);
CObjectTV* Object_Find(int32_t index);
// Walks the whole table; -1 when no object has that name.
int32_t Object_FindByName(const char* name);
// "<undefined>" for an unknown index.
const char* Object_GetName(int32_t index);
// The next free index.
int32_t Object_Count();
int32_t Object_InternalIndex();
void Object_SetInternalIndex(int32_t index);
// Moves ObjectCount up to count (indices a file reserved, even for empty slots).
void Object_ReserveIndices(int32_t count);
// A new object at the next free index, named "__KVInternalObject__<index>".
CObjectTV* Object_Add();
// Enters an object at index (replacing and freeing what stood there); sets its objectIndex and
// moves ObjectCount past it.
CObjectTV* Object_Insert(int32_t index, CObjectTV* object);
// Removes and frees the object; false for an unknown index.
bool Object_Delete(int32_t index);
// Frees every object type; ObjectCount and the event lists go back to empty.
void Object_ClearTable();
// Calls fn for each object of the table, in ascending index.
void Object_ForEach(void (*fn)(CObjectTV* object, void* context), void* context);

// Whether ancestor stands on object's chain of parentIndex (an object isn't its own ancestor).
bool Object_IsAncestor(int32_t object, int32_t ancestor);
// object is ancestor or a descendant of it.
bool Object_IsOrDescends(const CObjectTV* object, int32_t ancestor);

// ---- Inheritance -----------------------------------------------------------------------------------
// Parents, ordinary events and collision events of every object, as at the end of the OBJT load.
void Object_PrepareEvents();
// Copies into object every row of its ancestors' maps that it lacks (nearest ancestor first).
void Object_InheritEvents(CObjectTV* object);
// Removes the inherited rows of the object's map.
void Object_RemoveInheritedEvents(CObjectTV* object);

// ---- Event object lists --------------------------------------------------------------------------
constexpr int32_t kEventTypeCount = 15;
constexpr int32_t kEventSubtypeCount = 256;
// Rebuilds EventObjects for every type and subtype range, and the collision lists.
void Object_Lists_Build();
// The objects whose map holds (type, subtype), in ascending index; count through *count. Types
// without lists and subtypes outside the filled ranges give an empty list.
const int32_t* Object_EventObjects(int32_t type, int32_t subtype, int32_t* count);
// Objects that take part in collision events, with the objects each collides with.
const int32_t* Object_CollisionObjects(int32_t* count);

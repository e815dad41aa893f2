// The object table, inheritance of events and the event object lists.
#include "world/object_type.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/chained_hash.h"
#include "core/code.h"
#include "core/console.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "world/instance.h"

namespace {

using ChildMap = CHashMap<int32_t, CObjectTV*>;
constexpr int32_t kObjectBuckets = 512;
constexpr int32_t kMaxAncestry = 10000;
constexpr int32_t kListStep = 5;

CHash<CObjectTV*>* g_objects = nullptr;
int32_t g_object_count = 0;  // ObjectCount
int32_t g_internal_index = -1;

struct EventObjectList {
  int32_t* rows = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;
};
EventObjectList g_event_objects[kEventTypeCount][kEventSubtypeCount];
std::vector<int32_t> g_collision_objects;

CHash<CObjectTV*>& table() {
  if (g_objects == nullptr) g_objects = KV_NEW(CHash<CObjectTV*>, kObjectBuckets);
  return *g_objects;
}

// The last subtype of a type that has an event object list; -1 for types without one.
int32_t list_last_subtype(int32_t type) {
  switch (type) {
    case 0: case 1: case 14: return 0;
    case 2: return 12;
    case 3: return 16;
    case 5: case 6: case 7: case 9: case 10: case 13: return 128;
    case 8: return 77;
    default: return -1;
  }
}

void list_append(EventObjectList* list, int32_t object) {
  if (list->count == list->capacity) {
    list->capacity += kListStep;
    list->rows = static_cast<int32_t*>(KV_REALLOC(list->rows, sizeof(int32_t) * list->capacity));
  }
  list->rows[list->count++] = object;
}

void clear_lists() {
  for (auto& type : g_event_objects) {
    for (EventObjectList& list : type) {
      KV_FREE(list.rows);
      list = EventObjectList{};
    }
  }
  g_collision_objects.clear();
}

bool has_key(const CObjectTV* object, uint64_t key) { return object->eventMap.Contains(key); }

// Adds (4, c) rows for the children of the collision target, recursively; a child that has a row
// already stops the descent along that branch.
void spread_to_children(CObjectTV* object, CObjectTV* target, CEvent* event, int32_t depth) {
  if (target->children == nullptr || depth > kMaxAncestry) return;
  std::vector<CObjectTV*> children;
  target->children->ForEach([&children](const int32_t&, CObjectTV* const& child) { children.push_back(child); });
  for (CObjectTV* child : children) {
    const uint64_t key = Event_Key(4, child->objectIndex);
    if (has_key(object, key)) continue;
    object->eventMap.Insert(key, event);
    spread_to_children(object, child, event, depth + 1);
  }
}

void inherit_collisions(CObjectTV* object, int32_t depth) {
  if ((object->flags & kObjTypeCollisionInherited) != 0 || depth > kMaxAncestry) return;
  CObjectTV* parent = object->parent;
  if (parent != nullptr && (parent->flags & kObjTypeCollisionInherited) == 0) inherit_collisions(parent, depth + 1);
  struct Row {
    CObjectTV* target;
    CEvent* event;
  };
  std::vector<Row> rows;
  for (int32_t i = 0; i < object->eventMap.Capacity(); ++i) {
    const CEventMap::Row& row = object->eventMap.RowAt(i);
    if (row.hash == 0 || Event_KeyType(row.key) != 4) continue;
    CObjectTV* target = Object_Find(Event_KeySubtype(row.key));
    if (target != nullptr && target->children != nullptr && target->children->Count() > 0) {
      rows.push_back(Row{target, row.value});
    }
  }
  for (const Row& row : rows) spread_to_children(object, row.target, row.event, 0);
  if (parent != nullptr) {
    std::vector<std::pair<uint64_t, CEvent*>> inherited;
    for (int32_t i = 0; i < parent->eventMap.Capacity(); ++i) {
      const CEventMap::Row& row = parent->eventMap.RowAt(i);
      if (row.hash != 0 && Event_KeyType(row.key) == 4) inherited.emplace_back(row.key, row.value);
    }
    for (const auto& [key, event] : inherited) {
      if (!has_key(object, key)) object->eventMap.Insert(key, event);
    }
  }
  object->flags |= kObjTypeCollisionInherited;
}

void free_object(CObjectTV* object) {
  if (object == nullptr) return;
  // Instances still in its lists let go of them first, so no node outlives its list.
  while (object->instancesRecursive.head != nullptr) {
    Instance_LeaveObjectLists(object->instancesRecursive.head->instance);
  }
  KV_Delete(object);
}

}  // namespace

// ---- CObjectTV -----------------------------------------------------------------------------------

CObjectTV::CObjectTV() = default;

CObjectTV::~CObjectTV() {
  KV_FREE(name);
  KV_Delete(children);
  KV_FREE(physics.shapePoints);
  for (int32_t i = 0; i < ownEventCount_; ++i) {
    KV_Delete(ownEvents_[i]->code);
    KV_Delete(ownEvents_[i]);
  }
  KV_FREE(ownEvents_);
}

CEvent* CObjectTV::FindOwnEvent(int32_t type, int32_t subtype) const {
  CEvent* event = FindEvent(type, subtype);
  return event != nullptr && event->ownerObject == objectIndex ? event : nullptr;
}

CEvent* CObjectTV::AddOwnEvent(int32_t type, int32_t subtype, int32_t code_index) {
  CEvent* event = KV_NEW(CEvent);
  event->ownerObject = objectIndex;
  event->codeIndex = code_index;
  event->code = KV_NEW(CCode, code_index);
  if (ownEventCount_ == ownEventCapacity_) {
    ownEventCapacity_ = ownEventCapacity_ == 0 ? 4 : ownEventCapacity_ * 2;
    ownEvents_ = static_cast<CEvent**>(KV_REALLOC(ownEvents_, sizeof(CEvent*) * ownEventCapacity_));
  }
  ownEvents_[ownEventCount_++] = event;
  eventMap.Insert(Event_Key(type, subtype), event);
  return event;
}

// ---- Table ---------------------------------------------------------------------------------------

bool Object_Exists(int32_t index) { return Object_Find(index) != nullptr; }

CObjectTV* Object_Find(int32_t index) {
  if (g_objects == nullptr) return nullptr;
  CObjectTV** found = g_objects->Find(index);
  return found != nullptr ? *found : nullptr;
}

int32_t Object_FindByName(const char* name) {
  if (name == nullptr || g_objects == nullptr) return -1;
  for (auto* node = g_objects->First(); node != nullptr; node = g_objects->Next(node)) {
    if (node->value != nullptr && node->value->name != nullptr && std::strcmp(node->value->name, name) == 0) {
      return node->key;
    }
  }
  return -1;
}

const char* Object_GetName(int32_t index) {
  CObjectTV* object = Object_Find(index);
  return object != nullptr && object->name != nullptr ? object->name : "<undefined>";
}

int32_t Object_Count() { return g_object_count; }
int32_t Object_InternalIndex() { return g_internal_index; }

CObjectTV* Object_Insert(int32_t index, CObjectTV* object) {
  if (auto* node = table().FindNode(index)) {
    free_object(node->value);
    table().DeleteNode(node);
  }
  object->objectIndex = index;
  for (int32_t i = 0; i < object->ownEventCount_; ++i) object->ownEvents_[i]->ownerObject = index;
  table().Insert(index, object);
  if (index >= g_object_count) g_object_count = index + 1;
  return object;
}

CObjectTV* Object_Add() {
  const int32_t index = g_object_count;
  CObjectTV* object = KV_NEW(CObjectTV);
  char text[48];
  std::snprintf(text, sizeof(text), "__KVInternalObject__%d", index);
  object->name = static_cast<char*>(KV_ALLOC(std::strlen(text) + 1));
  std::memcpy(object->name, text, std::strlen(text) + 1);
  return Object_Insert(index, object);
}

void Object_ReserveIndices(int32_t count) {
  if (count > g_object_count) g_object_count = count;
}

void Object_SetInternalIndex(int32_t index) { g_internal_index = index; }

bool Object_Delete(int32_t index) {
  auto* node = g_objects != nullptr ? g_objects->FindNode(index) : nullptr;
  if (node == nullptr) return false;
  CObjectTV* object = node->value;
  g_objects->DeleteNode(node);
  // Other maps may point at its events: drop those rows, and its place among children.
  for (auto* at = g_objects->First(); at != nullptr; at = g_objects->Next(at)) {
    CObjectTV* other = at->value;
    if (other->children != nullptr) other->children->Delete(index);
    if (other->parent == object) other->parent = nullptr;
    for (int32_t i = 0; i < other->eventMap.Capacity();) {
      const CEventMap::Row& row = other->eventMap.RowAt(i);
      if (row.hash != 0 && row.value != nullptr && row.value->ownerObject == index) {
        other->eventMap.Remove(row.key);
        continue;  // the backward shift may have moved another row here
      }
      ++i;
    }
  }
  free_object(object);
  Object_Lists_Build();
  return true;
}

void Object_ClearTable() {
  if (g_objects != nullptr) {
    for (auto* node = g_objects->First(); node != nullptr; node = g_objects->Next(node)) free_object(node->value);
    KV_Delete(g_objects);
    g_objects = nullptr;
  }
  g_object_count = 0;
  g_internal_index = -1;
  clear_lists();
}

void Object_ForEach(void (*fn)(CObjectTV* object, void* context), void* context) {
  for (int32_t i = 0; i < g_object_count; ++i) {
    if (CObjectTV* object = Object_Find(i)) fn(object, context);
  }
}

bool Object_IsAncestor(int32_t object, int32_t ancestor) {
  CObjectTV* at = Object_Find(object);
  for (int32_t steps = 0; at != nullptr && steps < kMaxAncestry; ++steps) {
    if (at->parentIndex == ancestor) return true;
    at = Object_Find(at->parentIndex);
  }
  return false;
}

bool Object_IsOrDescends(const CObjectTV* object, int32_t ancestor) {
  int32_t steps = 0;
  for (const CObjectTV* at = object; at != nullptr && steps < kMaxAncestry; at = at->parent, ++steps) {
    if (at->objectIndex == ancestor) return true;
  }
  return false;
}

// ---- Inheritance ---------------------------------------------------------------------------------

void Object_InheritEvents(CObjectTV* object) {
  int32_t steps = 0;
  for (CObjectTV* p = object->parent; p != nullptr && p != object && steps < kMaxAncestry; p = p->parent, ++steps) {
    std::vector<std::pair<uint64_t, CEvent*>> rows;
    for (int32_t i = 0; i < p->eventMap.Capacity(); ++i) {
      const CEventMap::Row& row = p->eventMap.RowAt(i);
      if (row.hash != 0) rows.emplace_back(row.key, row.value);
    }
    for (const auto& [key, event] : rows) {
      if (!has_key(object, key)) object->eventMap.Insert(key, event);
    }
  }
}

void Object_RemoveInheritedEvents(CObjectTV* object) {
  for (int32_t i = 0; i < object->eventMap.Capacity();) {
    const CEventMap::Row& row = object->eventMap.RowAt(i);
    if (row.hash != 0 && (row.value == nullptr || row.value->ownerObject != object->objectIndex)) {
      object->eventMap.Remove(row.key);
      continue;
    }
    ++i;
  }
}

void Object_PrepareEvents() {
  std::vector<CObjectTV*> objects;
  Object_ForEach([](CObjectTV* object, void* context) { static_cast<std::vector<CObjectTV*>*>(context)->push_back(object); },
                 &objects);
  for (CObjectTV* object : objects) {
    // Compared unsigned: -1 has no parent.
    if (static_cast<uint32_t>(object->parentIndex) > 99999u) continue;
    CObjectTV* parent = Object_Find(object->parentIndex);
    if (parent == nullptr || parent == object) continue;
    object->parent = parent;
    if (parent->children == nullptr) parent->children = KV_NEW(ChildMap, 4);
    parent->children->Insert(object->objectIndex, object);
  }
  for (CObjectTV* object : objects) Object_InheritEvents(object);
  const auto start = std::chrono::steady_clock::now();
  for (CObjectTV* object : objects) inherit_collisions(object, 0);
  const long elapsed = static_cast<long>(
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count());
  g_ReleaseConsole->Output("Collision Event time(microsecs)=%ld\n", elapsed);
}

// ---- Event object lists --------------------------------------------------------------------------

void Object_Lists_Build() {
  clear_lists();
  for (int32_t index = 0; index < g_object_count; ++index) {
    CObjectTV* object = Object_Find(index);
    if (object == nullptr) continue;
    bool collides = false;
    for (int32_t i = 0; i < object->eventMap.Capacity(); ++i) {
      const CEventMap::Row& row = object->eventMap.RowAt(i);
      if (row.hash == 0) continue;
      const int32_t type = Event_KeyType(row.key);
      const int32_t subtype = Event_KeySubtype(row.key);
      if (type == 4) {
        collides = true;
        continue;
      }
      if (type < 0 || type >= kEventTypeCount || subtype < 0 || subtype > list_last_subtype(type)) continue;
      // Objects come in ascending index, so every list stays in ascending order.
      list_append(&g_event_objects[type][subtype], index);
    }
    if (collides) {
      object->flags |= kObjTypeCollides;
      g_collision_objects.push_back(index);
      int32_t steps = 0;
      for (CObjectTV* p = object->parent; p != nullptr && p != object && steps < kMaxAncestry; p = p->parent, ++steps) {
        p->flags |= kObjTypeChildCollides;
      }
    }
  }
}

const int32_t* Object_EventObjects(int32_t type, int32_t subtype, int32_t* count) {
  if (type < 0 || type >= kEventTypeCount || subtype < 0 || subtype >= kEventSubtypeCount) {
    *count = 0;
    return nullptr;
  }
  const EventObjectList& list = g_event_objects[type][subtype];
  *count = list.count;
  return list.rows;
}

const int32_t* Object_CollisionObjects(int32_t* count) {
  *count = static_cast<int32_t>(g_collision_objects.size());
  return g_collision_objects.data();
}

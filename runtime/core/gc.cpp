// First form of the collector: objects are registered in one table; arrays, the only objects that
// carry their own count, are found dead when no RValue holds them any more. Dead objects are freed
// (their references dropped) and parked; their storage is deleted in the frame's idle time or at
// the next full collection.
#include "core/gc.h"

#include <vector>

#include "core/memory.h"
#include "core/object.h"

KVObjectBase* g_GlobalObject = nullptr;

namespace {

std::vector<KVObjectBase*> g_objects;  // indexed by slotId; null for a free entry
std::vector<int32_t> g_free_ids;
std::vector<KVObjectBase*> g_self_stack;
std::vector<KVObjectBase*> g_parked[kObjKindCount];

void destroy_storage(KVObjectBase* object) {
  object->~KVObjectBase();
  MemoryManager::Free(object);
}

void unregister(KVObjectBase* object) {
  if (object->slotId >= 0 && static_cast<size_t>(object->slotId) < g_objects.size()) {
    g_objects[object->slotId] = nullptr;
    g_free_ids.push_back(object->slotId);
  }
  object->slotId = -1;
}

bool is_dead(const KVObjectBase* object) {
  return object->kind == kObjArray && static_cast<const RefDynamicArrayOfRValue*>(object)->refCount <= 0;
}

// Frees dead arrays until none is left; freeing one may drop the last count of another.
size_t collect_dead() {
  size_t freed = 0;
  bool again = true;
  while (again) {
    again = false;
    for (KVObjectBase* object : g_objects) {
      if (object == nullptr || !is_dead(object)) continue;
      unregister(object);
      object->Free(true);
      const int32_t kind = object->kind >= 0 && object->kind < kObjKindCount ? object->kind : kObjStruct;
      g_parked[kind].push_back(object);
      ++freed;
      again = true;
    }
  }
  return freed;
}

}  // namespace

void GC_AddObject(KVObjectBase* object) {
  if (!g_free_ids.empty()) {
    object->slotId = g_free_ids.back();
    g_free_ids.pop_back();
    g_objects[object->slotId] = object;
  } else {
    object->slotId = static_cast<int32_t>(g_objects.size());
    g_objects.push_back(object);
  }
}

void GCWriteBarrier(KVObjectBase* /*parent*/, KVObjectBase* /*child*/) {
  // Edges matter only to a generational collector; the counting form needs none.
}

void GC_PushSelf(KVObjectBase* object) { g_self_stack.push_back(object); }

void GC_PopSelf(int count) {
  while (count-- > 0 && !g_self_stack.empty()) g_self_stack.pop_back();
}

KVObjectBase* GC_CurrentObject() { return g_self_stack.empty() ? g_GlobalObject : g_self_stack.back(); }

void GCStep(int /*mode*/) { collect_dead(); }

void GCCollectAll() {
  collect_dead();
  for (auto& list : g_parked) {
    for (KVObjectBase* object : list) destroy_storage(object);
    list.clear();
  }
}

size_t GC_ObjectCount() { return g_objects.size() - g_free_ids.size(); }

void GC_Reset() {
  GCCollectAll();
  // Whatever is still registered is held only by tables being torn down.
  for (KVObjectBase* object : g_objects) {
    if (object == nullptr) continue;
    object->slotId = -1;
    object->Free(true);
  }
  for (KVObjectBase* object : g_objects) {
    if (object != nullptr) destroy_storage(object);
  }
  g_objects.clear();
  g_free_ids.clear();
  g_self_stack.clear();
  g_GlobalObject = nullptr;
}

int64_t GC_DeleteParked(int64_t budget_us, int64_t (*clock)()) {
  const int64_t t0 = clock();
  int deletions = 0;
  for (auto& list : g_parked) {
    while (!list.empty()) {
      destroy_storage(list.back());
      list.pop_back();
      if (++deletions % 8 == 0 && clock() - t0 > budget_us) return clock() - t0;
    }
  }
  return deletions == 0 ? 0 : clock() - t0;
}

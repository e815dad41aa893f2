// Instances in the room: the active and inactive lists, creation, destruction and the purge,
// object changes, depth changes, activation, and the flush that applies the pending lists.
#include <algorithm>
#include <vector>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/hash_map.h"
#include "data/game_data.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/object_type.h"
#include "world/room.h"

namespace {

std::vector<CInstance*> g_changed;       // ChangedObjectList
std::vector<CInstance*> g_deactivation;  // DeactivationList
std::vector<CInstance*> g_depth_changes; // DepthChangeList

struct Snapshot {
  std::vector<const CInstance*> rows;
  bool dirty = true;
};
Snapshot g_active_snapshot;
Snapshot g_inactive_snapshot;

bool generation2() { return GameData_Header().generation >= 2; }

void list_unlink(CInstanceList* list, CInstance* instance) {
  if (instance->previous != nullptr) {
    instance->previous->next = instance->next;
  } else if (list->head == instance) {
    list->head = instance->next;
  }
  if (instance->next != nullptr) {
    instance->next->previous = instance->previous;
  } else if (list->tail == instance) {
    list->tail = instance->previous;
  }
  instance->next = nullptr;
  instance->previous = nullptr;
  --list->count;
}

void erase_from(std::vector<CInstance*>* list, CInstance* instance) {
  list->erase(std::remove(list->begin(), list->end(), instance), list->end());
}

void run_event(CInstance* instance, int32_t type) { PerformEventOnInstance(instance, instance, type, 0); }

// Copies the variables of a struct into the instance; methods bound to the struct are bound anew
// to the instance.
void take_struct_variables(CInstance* instance, KVObjectBase* vars) {
  if (vars == nullptr || vars->slotMap == nullptr) return;
  std::vector<std::pair<int32_t, RValue*>> slots;
  vars->slotMap->ForEach([&slots](const int32_t& slot, RValue* const& value) { slots.emplace_back(slot, value); });
  for (const auto& [slot, value] : slots) {
    CScriptRef* function = RV_ScriptRefOf(*value);
    if (function != nullptr && RV_ObjectOf(function->boundSelf) == vars) {
      CScriptRef* rebound = Method_FromValue(value, KV_AsObject(instance));
      if (rebound != nullptr) {
        const RValue method = RV_Object(rebound);
        Object_SetVar(KV_AsObject(instance), slot, kIndexWholeValue, &method);
        continue;
      }
    }
    Object_SetVar(KV_AsObject(instance), slot, kIndexWholeValue, value);
  }
}

// Steps 5 onwards of creation, shared by both creators.
CInstance* enter_and_create(CInstance* instance, int32_t layerId, KVObjectBase* vars) {
  Room_InsertByDepth(Run_Room, instance, instance->depth);
  Instance_IdTableAdd(instance);
  instance->layerId = layerId;
  if (g_InstanceWorldHooks.layerEnter != nullptr) g_InstanceWorldHooks.layerEnter(instance, layerId);
  CObjectTV* object = instance->object;
  if ((object->flags & (kObjTypeCollides | kObjTypeChildCollides)) == 0) {
    for (CObjectTV* at = object->parent; at != nullptr && at != object; at = at->parent) {
      if ((at->flags & (kObjTypeCollides | kObjTypeChildCollides)) != 0) {
        object->flags |= kObjTypeChildCollides;
        break;
      }
    }
  }
  Instance_BoxChanged(instance);
  run_event(instance, kEventPreCreate);
  take_struct_variables(instance, vars);
  run_event(instance, kEventCreate);
  instance->flags |= kInstCreated;
  return instance;
}

bool check_object(int32_t object) {
  if (Object_Exists(object)) return true;
  KVError("Creating instance for non-existing object: %d", object);
  return false;
}

void mark(CInstance* instance) {
  instance->flags |= kInstMarked;
  ++MarkedCount;
  Instance_SnapshotsDirty();
}

// Takes a marked or released instance out of every list and leaves its memory to the collector.
void release(CRoom* room, CInstance* instance) {
  erase_from(&g_depth_changes, instance);
  erase_from(&g_changed, instance);
  erase_from(&g_deactivation, instance);
  if (g_InstanceWorldHooks.layerLeave != nullptr) g_InstanceWorldHooks.layerLeave(instance);
  if (g_InstanceWorldHooks.treeRemove != nullptr) g_InstanceWorldHooks.treeRemove(instance);
  Instance_IdTableRemove(instance);
  if (room != nullptr) Room_Unlink(room, instance);
  Instance_LeaveObjectLists(instance);
  instance->object = nullptr;
  instance->previousObject = nullptr;
  instance->purged = true;
}

bool overlaps(CInstance* instance, float left, float top, float right, float bottom) {
  if ((instance->flags & kInstBBoxDirty) != 0 && g_InstanceWorldHooks.bboxUpdate != nullptr) {
    g_InstanceWorldHooks.bboxUpdate(instance);
  }
  if (instance->spriteIndex < 0 && instance->maskIndex < 0) {
    return instance->x >= left && instance->x <= right && instance->y >= top && instance->y <= bottom;
  }
  return !(instance->bboxRight < left || instance->bboxLeft > right || instance->bboxBottom < top ||
           instance->bboxTop > bottom);
}

void rebuild(Snapshot* snapshot, bool active) {
  snapshot->rows.clear();
  if (snapshot->rows.capacity() < 32) snapshot->rows.reserve(32);
  snapshot->dirty = false;
  if (Run_Room == nullptr) return;
  const bool pending = !g_deactivation.empty();
  auto take = [snapshot, active](const CInstanceList& list) {
    for (CInstance* at = list.head; at != nullptr; at = at->next) {
      const bool wanted = active ? Instance_IsLive(at) : (at->flags & kInstNotLiveMask) == kInstDeactivated;
      if (wanted) snapshot->rows.push_back(at);
    }
  };
  if (active) {
    take(Run_Room->active);
    if (pending) take(Run_Room->inactive);
  } else {
    if (pending) take(Run_Room->active);
    take(Run_Room->inactive);
  }
}

}  // namespace

// ---- Room lists ----------------------------------------------------------------------------------

void Room_InsertByDepth(CRoom* room, CInstance* instance, float depth) {
  CInstanceList& list = room->active;
  CInstance* after = list.tail;
  while (after != nullptr && after->currentDepth > depth) after = after->previous;
  instance->currentDepth = depth;
  instance->previous = after;
  instance->next = after != nullptr ? after->next : list.head;
  if (instance->next != nullptr) {
    instance->next->previous = instance;
  } else {
    list.tail = instance;
  }
  if (after != nullptr) {
    after->next = instance;
  } else {
    list.head = instance;
  }
  ++list.count;
  Instance_SnapshotsDirty();
}

void Room_AppendInactive(CRoom* room, CInstance* instance) {
  CInstanceList& list = room->inactive;
  instance->next = nullptr;
  instance->previous = list.tail;
  if (list.tail != nullptr) {
    list.tail->next = instance;
  } else {
    list.head = instance;
  }
  list.tail = instance;
  ++list.count;
  Instance_SnapshotsDirty();
}

void Room_Unlink(CRoom* room, CInstance* instance) {
  CInstanceList& list = (instance->flags & kInstOnInactiveList) != 0 ? room->inactive : room->active;
  if (instance->next == nullptr && instance->previous == nullptr && list.head != instance) return;
  list_unlink(&list, instance);
  Instance_SnapshotsDirty();
}

// ---- Creation ------------------------------------------------------------------------------------

CInstance* Create_Instance(int32_t object, float x, float y, float depth, KVObjectBase* vars) {
  if (!check_object(object) || Run_Room == nullptr) return nullptr;
  auto* instance = new CInstance(x, y, static_cast<int32_t>(++LastInstanceId), object, true);
  instance->depth = depth;
  return enter_and_create(instance, -1, vars);
}

CInstance* Create_Instance_OnLayer(int32_t object, float x, float y, int32_t layerId, KVObjectBase* vars,
                                   uint32_t flags) {
  if (!check_object(object) || Run_Room == nullptr) return nullptr;
  auto* instance = new CInstance(x, y, static_cast<int32_t>(++LastInstanceId), object, true);
  instance->flags |= flags;
  if (g_InstanceWorldHooks.layerDepth != nullptr) instance->depth = g_InstanceWorldHooks.layerDepth(layerId);
  return enter_and_create(instance, layerId, vars);
}

// ---- Destruction ---------------------------------------------------------------------------------

void Destroy_Instance(CInstance* instance) {
  if ((instance->flags & kInstDestroyStarted) != 0) return;
  instance->flags |= kInstDestroyStarted;
  run_event(instance, kEventDestroy);
  run_event(instance, kEventCleanUp);
  mark(instance);
}

void Instance_Destroy(CInstance* instance, bool executeDestroy) {
  if ((instance->flags & (kInstMarked | kInstDeactivated)) != 0) return;
  if (executeDestroy) {
    Destroy_Instance(instance);
    return;
  }
  run_event(instance, kEventCleanUp);
  mark(instance);
}

void Room_PurgeMarked(CRoom* room) {
  if (room == nullptr) {
    MarkedCount = 0;
    return;
  }
  const bool rebuild_tree = MarkedCount > 250;
  if (rebuild_tree && g_InstanceWorldHooks.treeReset != nullptr) g_InstanceWorldHooks.treeReset();
  int32_t remaining = MarkedCount;
  for (CInstance* at = room->active.head; at != nullptr && remaining > 0;) {
    CInstance* next = at->next;
    if ((at->flags & kInstMarked) != 0) {
      release(room, at);
      --remaining;
    }
    at = next;
  }
  for (CInstance* at = room->inactive.head; at != nullptr && remaining > 0;) {
    CInstance* next = at->next;
    if ((at->flags & kInstMarked) != 0) {
      release(room, at);
      --remaining;
    }
    at = next;
  }
  if (rebuild_tree && g_InstanceWorldHooks.treeRebuild != nullptr) g_InstanceWorldHooks.treeRebuild();
  MarkedCount = 0;
}

void Instance_Release(CRoom* room, CInstance* instance) {
  if (instance == nullptr || instance->purged) return;
  release(room, instance);
}

// ---- Object change -------------------------------------------------------------------------------

namespace {

void change_object(CInstance* instance, int32_t object) {
  if ((instance->flags & kInstChangingObject) == 0) {
    g_changed.push_back(instance);
    instance->flags |= kInstChangingObject;
  }
  if (instance->previousObject == nullptr) instance->previousObject = instance->object;
  Instance_TakeObject(instance, object, !generation2());
}

}  // namespace

void Instance_ChangeObject(CInstance* instance, int32_t object, bool perform) {
  if (!Object_Exists(object)) {
    KVError("Asking to change into non-existing object: %d", object);
    return;
  }
  if (object == instance->objectIndex) return;
  if (perform && (instance->flags & kInstDestroyStarted) == 0) {
    run_event(instance, kEventDestroy);
    run_event(instance, kEventCleanUp);
  }
  change_object(instance, object);
  if (perform) {
    run_event(instance, kEventPreCreate);
    run_event(instance, kEventCreate);
  }
}

void Instance_CopyState(CInstance* target, const CInstance* source) {
  const uint32_t own = kInstHasLayerElement | kInstOnInactiveList | kInstChangingObject | kInstInCollisionTree;
  target->flags = (target->flags & own) | (source->flags & ~own);
  target->spriteIndex = source->spriteIndex;
  target->sequencePosition = source->sequencePosition;
  target->lastSequencePosition = source->lastSequencePosition;
  target->sequenceSpeed = source->sequenceSpeed;
  target->imageIndex = source->imageIndex;
  target->imageSpeed = source->imageSpeed;
  target->imageXScale = source->imageXScale;
  target->imageYScale = source->imageYScale;
  target->imageAngle = source->imageAngle;
  target->imageAlpha = source->imageAlpha;
  target->imageBlend = source->imageBlend;
  target->x = source->x;
  target->y = source->y;
  target->xstart = source->xstart;
  target->ystart = source->ystart;
  target->xprevious = source->xprevious;
  target->yprevious = source->yprevious;
  target->direction = source->direction;
  target->speed = source->speed;
  target->friction = source->friction;
  target->gravityDirection = source->gravityDirection;
  target->gravity = source->gravity;
  target->hspeed = source->hspeed;
  target->vspeed = source->vspeed;
  std::copy(source->alarm, source->alarm + kInstanceAlarmCount, target->alarm);
  target->rollbackFrame = source->rollbackFrame;
  InstancePath_Free(target->pathState);
  target->pathState = InstancePath_Clone(source->pathState);
  target->createCode = source->createCode;
  target->preCreateCode = source->preCreateCode;
  target->maskIndex = source->maskIndex;
  target->mouseOverState = source->mouseOverState;
  target->lastImageNumber = source->lastImageNumber;
  if (source->slotMap != nullptr) {
    std::vector<std::pair<int32_t, RValue*>> slots;
    source->slotMap->ForEach([&slots](const int32_t& slot, RValue* const& value) { slots.emplace_back(slot, value); });
    for (const auto& [slot, value] : slots) Object_SetVar(KV_AsObject(target), slot, kIndexWholeValue, value);
  }
  Instance_BoxChanged(target);
}

CInstance* Instance_Copy(CInstance* source, bool perform) {
  if (Run_Room == nullptr || source->object == nullptr) return nullptr;
  const int32_t id = static_cast<int32_t>(++LastInstanceId);
  auto* copy = new CInstance(source->x, source->y, id, source->objectIndex, true);
  Instance_CopyState(copy, source);
  copy->depth = source->depth;
  copy->layerId = source->layerId;
  Room_InsertByDepth(Run_Room, copy, copy->depth);
  Instance_IdTableAdd(copy);
  if (g_InstanceWorldHooks.layerEnter != nullptr) g_InstanceWorldHooks.layerEnter(copy, copy->layerId);
  Instance_BoxChanged(copy);
  if (perform) {
    run_event(copy, kEventPreCreate);
    run_event(copy, kEventCreate);
    copy->flags |= kInstCreated;
  }
  return copy;
}

void Instance_SetDepth(CInstance* instance, float depth) {
  if (instance->depth == depth) return;
  instance->depth = depth;
  if (!instance->onDepthChangeList) {
    instance->onDepthChangeList = true;
    g_depth_changes.push_back(instance);
  }
}

// ---- Activation ----------------------------------------------------------------------------------

void Instance_Deactivate(CInstance* instance) {
  if ((instance->flags & kInstOnInactiveList) == 0 && !instance->onDeactivationList) {
    instance->onDeactivationList = true;
    g_deactivation.push_back(instance);
  }
  instance->flags |= kInstDeactivated;
  Instance_SnapshotsDirty();
}

void Instance_Activate(CInstance* instance) {
  if ((instance->flags & kInstOnInactiveList) != 0 && !instance->onDeactivationList) {
    instance->onDeactivationList = true;
    g_deactivation.push_back(instance);
  }
  if ((instance->flags & kInstDeactivated) != 0) Instance_BoxChanged(instance);
  instance->flags &= ~kInstDeactivated;
  Instance_SnapshotsDirty();
}

// ---- Flush ---------------------------------------------------------------------------------------

void Instance_FlushDeactivation() {
  if (g_deactivation.empty()) return;
  CRoom* room = Run_Room;
  if (room != nullptr) {
    for (CInstance* at = room->inactive.head; at != nullptr;) {
      CInstance* next = at->next;
      if ((at->flags & kInstDeactivated) == 0) {
        list_unlink(&room->inactive, at);
        at->flags &= ~kInstOnInactiveList;
        Room_InsertByDepth(room, at, at->depth);
        Instance_EnterObjectLists(at);
        if (g_InstanceWorldHooks.layerSetActive != nullptr) g_InstanceWorldHooks.layerSetActive(at, true);
      }
      at = next;
    }
    for (CInstance* at = room->active.head; at != nullptr;) {
      CInstance* next = at->next;
      if ((at->flags & kInstDeactivated) != 0) {
        list_unlink(&room->active, at);
        Room_AppendInactive(room, at);
        Instance_LeaveObjectLists(at);
        at->flags |= kInstOnInactiveList;
        if (g_InstanceWorldHooks.layerSetActive != nullptr) g_InstanceWorldHooks.layerSetActive(at, false);
      }
      at = next;
    }
  }
  for (CInstance* instance : g_deactivation) instance->onDeactivationList = false;
  g_deactivation.clear();
  Instance_SnapshotsDirty();
}

void Instance_FlushChangedObjects() {
  // Events run by a later change may queue more: walk by index.
  for (size_t i = 0; i < g_changed.size(); ++i) {
    CInstance* instance = g_changed[i];
    Instance_LeaveObjectLists(instance);
    if ((instance->flags & kInstOnInactiveList) == 0) {
      Instance_EnterObjectLists(instance);
      if (Run_Room != nullptr) {
        Room_Unlink(Run_Room, instance);
        Room_InsertByDepth(Run_Room, instance, instance->depth);
      }
    }
    instance->previousObject = nullptr;
    instance->flags &= ~kInstChangingObject;
  }
  g_changed.clear();
}

void Instance_FlushDepthChanges() {
  if (g_depth_changes.empty()) return;
  // Generation 2: each instance moves to the layer of its new depth, and the active list keeps
  // its order. Generation 1: the active list is ordered by depth again.
  const bool by_layer = generation2();
  for (CInstance* instance : g_depth_changes) {
    instance->onDepthChangeList = false;
    if (by_layer) {
      if (g_InstanceWorldHooks.layerDepthChanged != nullptr) g_InstanceWorldHooks.layerDepthChanged(instance);
    } else if (Run_Room != nullptr && (instance->flags & kInstOnInactiveList) == 0) {
      Room_Unlink(Run_Room, instance);
      Room_InsertByDepth(Run_Room, instance, instance->depth);
    }
  }
  g_depth_changes.clear();
}

void Instance_Flush() {
  Instance_FlushDeactivation();
  Instance_FlushChangedObjects();
  Instance_FlushDepthChanges();
}

void Instance_DropDeactivations() {
  for (CInstance* instance : g_deactivation) instance->onDeactivationList = false;
  g_deactivation.clear();
}

int32_t Instance_PendingDeactivations() { return static_cast<int32_t>(g_deactivation.size()); }
int32_t Instance_PendingChanges() { return static_cast<int32_t>(g_changed.size()); }
const std::vector<CInstance*>& Instance_ChangedList() { return g_changed; }
const std::vector<CInstance*>& Instance_DeactivationList() { return g_deactivation; }

// ---- Snapshots -----------------------------------------------------------------------------------

void Instance_SnapshotsDirty() {
  g_active_snapshot.dirty = true;
  g_inactive_snapshot.dirty = true;
}

const CInstance* const* Instance_ActiveSnapshot(int32_t* count) {
  if (g_active_snapshot.dirty) rebuild(&g_active_snapshot, true);
  *count = static_cast<int32_t>(g_active_snapshot.rows.size());
  return g_active_snapshot.rows.data();
}

const CInstance* const* Instance_InactiveSnapshot(int32_t* count) {
  if (g_inactive_snapshot.dirty) rebuild(&g_inactive_snapshot, false);
  *count = static_cast<int32_t>(g_inactive_snapshot.rows.size());
  return g_inactive_snapshot.rows.data();
}

// ---- Regions -------------------------------------------------------------------------------------

void Instance_DeactivateRegion(CInstance* self, float left, float top, float width, float height, bool inside,
                               bool notme) {
  if (Run_Room == nullptr) return;
  const float right = left + width;
  const float bottom = top + height;
  auto visit = [&](const CInstanceList& list) {
    for (CInstance* at = list.head; at != nullptr; at = at->next) {
      if (!Instance_IsLive(at)) continue;
      const bool outside = !overlaps(at, left, top, right, bottom);
      if (outside != inside) Instance_Deactivate(at);
    }
  };
  visit(Run_Room->active);
  if (!g_deactivation.empty()) visit(Run_Room->inactive);
  if (notme && self != nullptr && KV_AsObject(self)->kind == kObjInstance && (self->flags & kInstDeactivated) != 0 &&
      (self->flags & kInstMarked) == 0) {
    Instance_Activate(self);
  }
}

void Instance_ActivateRegion(float left, float top, float width, float height, bool inside) {
  int32_t count = 0;
  const CInstance* const* rows = Instance_InactiveSnapshot(&count);
  const std::vector<const CInstance*> snapshot(rows, rows + count);
  const float right = left + width;
  const float bottom = top + height;
  for (const CInstance* row : snapshot) {
    auto* instance = const_cast<CInstance*>(row);
    const bool outside = !overlaps(instance, left, top, right, bottom);
    if (outside != inside) Instance_Activate(instance);
  }
}

void Instance_ResetIds() { LastInstanceId = GameData_Header().last_instance_id; }

void Instance_ResetState() {
  g_changed.clear();
  g_deactivation.clear();
  g_depth_changes.clear();
  Instance_SnapshotsDirty();
  Instance_ResetIds();
  PassCounter = 0;
  MarkedCount = 0;
  Instance_ForgetIdTable();
  if (g_InstanceWorldHooks.treeReset != nullptr) g_InstanceWorldHooks.treeReset();
}

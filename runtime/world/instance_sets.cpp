// Instance sets named by numbers (self, other, all, an id, an object with its descendants), the
// queries over them, and the gathering that `with` iterates.
#include <vector>

#include "core/frame_state.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/room.h"

namespace {

constexpr int32_t kSetSelf = -1;
constexpr int32_t kSetOther = -2;
constexpr int32_t kSetAll = -3;

enum Stage : int32_t {
  kStageStart,
  kStageRecursive,
  kStageChanged,
  kStagePending,
  kStageInactive,
  kStageActiveList,
  kStageInactiveList,
  kStageDone,
};

bool is_instance(const CInstance* instance) {
  return instance != nullptr && KV_AsObject(const_cast<CInstance*>(instance))->kind == kObjInstance;
}

bool descends(const CInstance* instance, int32_t object) {
  return instance->object != nullptr && Object_IsOrDescends(instance->object, object);
}

// Appends instance to the gathering list; one met before moves to the end.
void gather_push(InstanceGatherNode* head, CInstance* instance) {
  InstanceGatherNode* node = &instance->withNode;
  if (node->Linked()) {
    node->previous->next = node->next;
    node->next->previous = node->previous;
  }
  node->previous = head->previous;
  node->next = head;
  head->previous->next = node;
  head->previous = node;
}

}  // namespace

InstanceSetIterator::InstanceSetIterator(CInstance* self, CInstance* other, int32_t value, bool includeInactive)
    : self_(self), other_(other), value_(value), includeInactive_(includeInactive) {}

CInstance* InstanceSetIterator::Next() {
  for (;;) {
    switch (stage_) {
      case kStageStart:
        stage_ = kStageDone;
        if (value_ == kSetSelf) return is_instance(self_) ? self_ : nullptr;
        if (value_ == kSetOther) return is_instance(other_) ? other_ : nullptr;
        if (value_ >= kInstanceIdBase) return Instance_Find(value_);
        if (value_ == kSetAll) {
          if (Run_Room == nullptr) return nullptr;
          cursor_ = Run_Room->active.head;
          stage_ = kStageActiveList;
          break;
        }
        if (value_ < 0) return nullptr;
        if (CObjectTV* object = Object_Find(value_)) {
          cursor_ = object->instancesRecursive.head;
          stage_ = kStageRecursive;
        }
        break;
      case kStageRecursive: {
        const auto* node = static_cast<const ObjectInstanceNode*>(cursor_);
        if (node == nullptr) {
          stage_ = kStageChanged;
          index_ = 0;
          break;
        }
        cursor_ = node->next;
        return node->instance;
      }
      case kStageChanged: {
        const std::vector<CInstance*>& list = Instance_ChangedList();
        while (index_ < static_cast<int32_t>(list.size())) {
          CInstance* instance = list[index_++];
          if (descends(instance, value_)) return instance;
        }
        stage_ = kStagePending;
        index_ = 0;
        break;
      }
      case kStagePending: {
        const std::vector<CInstance*>& list = Instance_DeactivationList();
        while (index_ < static_cast<int32_t>(list.size())) {
          CInstance* instance = list[index_++];
          if ((instance->flags & kInstOnInactiveList) != 0 && descends(instance, value_)) return instance;
        }
        stage_ = kStageDone;
        if (includeInactive_ && Run_Room != nullptr) {
          cursor_ = Run_Room->inactive.head;
          stage_ = kStageInactive;
        }
        break;
      }
      case kStageInactive: {
        auto* instance = static_cast<CInstance*>(const_cast<void*>(cursor_));
        if (instance == nullptr) {
          stage_ = kStageDone;
          break;
        }
        cursor_ = instance->next;
        if (!instance->onDeactivationList && descends(instance, value_)) return instance;
        break;
      }
      case kStageActiveList: {
        auto* instance = static_cast<CInstance*>(const_cast<void*>(cursor_));
        if (instance == nullptr) {
          stage_ = kStageDone;
          if (includeInactive_ && Run_Room != nullptr) {
            cursor_ = Run_Room->inactive.head;
            stage_ = kStageInactiveList;
          }
          break;
        }
        cursor_ = instance->next;
        return instance;
      }
      case kStageInactiveList: {
        auto* instance = static_cast<CInstance*>(const_cast<void*>(cursor_));
        if (instance == nullptr) {
          stage_ = kStageDone;
          break;
        }
        cursor_ = instance->next;
        return instance;
      }
      default:
        return nullptr;
    }
  }
}

int32_t Instance_SetNumber(const RValue& value) { return RV_ToInt32(value); }

RValue Instance_Ref(int32_t id) {
  RValue v;
  v.v64 = static_cast<int64_t>(0x7FF8000000000000ull | static_cast<uint32_t>(id));
  v.flags = 0;
  v.kind = kRVRef;
  return v;
}

bool Instance_Exists(CInstance* self, CInstance* other, int32_t value) {
  InstanceSetIterator it(self, other, value);
  while (CInstance* instance = it.Next()) {
    if (Instance_IsLive(instance)) return true;
  }
  return false;
}

int32_t Instance_Number(CInstance* self, CInstance* other, int32_t value) {
  if (Run_Room == nullptr) return 0;
  if (value == kSetSelf) return is_instance(self) && Instance_IsLive(self) ? 1 : 0;
  if (value == kSetOther) return is_instance(other) && Instance_IsLive(other) ? 1 : 0;
  if (value == kSetAll) {
    int32_t count = 0;
    for (CInstance* at = Run_Room->active.head; at != nullptr; at = at->next) count += Instance_IsLive(at) ? 1 : 0;
    return count;
  }
  if (value >= kInstanceIdBase) return Instance_FindLive(value) != nullptr ? 1 : 0;
  CObjectTV* object = Object_Find(value);
  if (value < 0 || object == nullptr) return 0;
  int32_t count = 0;
  for (ObjectInstanceNode* node = object->instancesRecursive.head; node != nullptr; node = node->next) {
    const CInstance* instance = node->instance;
    if (Instance_IsLive(instance) && (instance->flags & kInstChangingObject) == 0) ++count;
  }
  for (CInstance* instance : Instance_ChangedList()) {
    if (Instance_IsLive(instance) && descends(instance, value)) ++count;
  }
  for (CInstance* instance : Instance_DeactivationList()) {
    if ((instance->flags & kInstOnInactiveList) != 0 && Instance_IsLive(instance) && descends(instance, value)) {
      ++count;
    }
  }
  return count;
}

CInstance* Instance_FindNth(CInstance* self, CInstance* other, int32_t value, int32_t n) {
  InstanceSetIterator it(self, other, value);
  int32_t seen = 0;
  while (CInstance* instance = it.Next()) {
    if (!Instance_IsLive(instance)) continue;
    if (seen++ == n) return instance;
  }
  return nullptr;
}

CInstance* Instance_Nearest(float x, float y, int32_t value, bool furthest) {
  if (Run_Room == nullptr || value >= kInstanceIdBase) return nullptr;
  CInstance* best = nullptr;
  float best_distance = 0.0f;
  auto consider = [&](CInstance* instance) {
    if (!Instance_IsLive(instance)) return;
    const float dx = instance->x - x;
    const float dy = instance->y - y;
    const float distance = dx * dx + dy * dy;
    if (best == nullptr || (furthest ? distance > best_distance : distance < best_distance)) {
      best = instance;
      best_distance = distance;
    }
  };
  if (value == kSetAll) {
    for (CInstance* at = Run_Room->active.head; at != nullptr; at = at->next) consider(at);
    return best;
  }
  CObjectTV* object = value >= 0 ? Object_Find(value) : nullptr;
  if (object == nullptr) return nullptr;
  for (ObjectInstanceNode* node = object->instancesRecursive.head; node != nullptr; node = node->next) {
    consider(node->instance);
  }
  return best;
}

int32_t Instance_Count() { return Run_Room != nullptr ? Run_Room->active.count : -1; }

int32_t Instance_IdAt(int32_t index) {
  if (Run_Room == nullptr || index < 0) return -4;
  CInstance* at = Run_Room->active.head;
  for (int32_t i = 0; at != nullptr && i < index; ++i) at = at->next;
  return at != nullptr ? at->id : -4;
}

void Instance_GatherObject(int32_t object, std::vector<CInstance*>* out) {
  InstanceGatherNode head;
  CObjectTV* type = object >= 0 ? Object_Find(object) : nullptr;
  if (type != nullptr) {
    for (ObjectInstanceNode* node = type->instancesRecursive.head; node != nullptr; node = node->next) {
      if (Instance_IsLive(node->instance)) gather_push(&head, node->instance);
    }
  }
  for (CInstance* instance : Instance_ChangedList()) {
    if (Instance_IsLive(instance) && descends(instance, object)) gather_push(&head, instance);
  }
  for (CInstance* instance : Instance_DeactivationList()) {
    if (Instance_IsLive(instance) && descends(instance, object)) gather_push(&head, instance);
  }
  for (InstanceGatherNode* node = head.next; node != &head;) {
    InstanceGatherNode* next = node->next;
    out->push_back(node->instance);
    node->next = node->previous = node;
    node = next;
  }
}

void Instance_GatherAll(std::vector<CInstance*>* out) {
  if (Run_Room == nullptr) return;
  for (CInstance* at = Run_Room->active.head; at != nullptr; at = at->next) {
    if (Instance_IsLive(at)) out->push_back(at);
  }
}

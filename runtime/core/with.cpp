#include "core/with.h"

#include <vector>

#include "core/error.h"
#include "core/instance_hooks.h"
#include "core/memory.h"
#include "core/object.h"

namespace {

constexpr int32_t kWithSelf = -1;
constexpr int32_t kWithOther = -2;
constexpr int32_t kWithAll = -3;
constexpr int32_t kWithNoone = -4;
constexpr int32_t kWithGlobal = -5;
constexpr int32_t kWithSelfAlias = -6;
constexpr int32_t kWithLocal = -7;
constexpr int32_t kWithValueObject = -9;
constexpr int64_t kFirstInstanceId = 100000;

KVObjectBase* g_with_target = nullptr;

// One round over object (none when it is null).
int single(KVWithIterator* iterator, KVObjectBase* object) {
  iterator->items = iterator->inline_items;
  iterator->items[0] = nullptr;
  iterator->items[1] = object;
  iterator->position = object != nullptr ? 2 : 1;
  return object != nullptr ? 1 : 0;
}

int list(KVWithIterator* iterator, const std::vector<CInstance*>& instances) {
  if (instances.size() <= 1) return single(iterator, instances.empty() ? nullptr : KV_AsObject(instances[0]));
  const size_t entries = instances.size() + 1;
  iterator->items = static_cast<KVObjectBase**>(KV_ALLOC(entries * sizeof(KVObjectBase*)));
  iterator->items[0] = nullptr;
  for (size_t i = 0; i < instances.size(); ++i) iterator->items[i + 1] = KV_AsObject(instances[i]);
  iterator->position = static_cast<int32_t>(entries);
  return static_cast<int>(instances.size());
}

bool is_number(uint32_t kind) {
  return kind == kRVReal || kind == kRVInt32 || kind == kRVInt64 || kind == kRVBool || kind == kRVRef;
}

}  // namespace

int KVWithBegin(KVWithIterator* iterator, CInstance** self, CInstance** other, const RValue* target) {
  iterator->savedSelf = *self;
  iterator->savedOther = *other;
  iterator->savedTarget = g_with_target;
  iterator->items = nullptr;
  iterator->position = 0;
  const uint32_t kind = RV_Kind(*target);
  if (kind == kRVUndefined) return -1;
  if (kind == kRVObject) {
    if (target->pObj == nullptr) return -1;
    return single(iterator, target->pObj);
  }
  if (!is_number(kind)) {
    KVError("invalid with reference");
    return -1;
  }
  const int64_t id = RV_ToInt64(*target);
  std::vector<CInstance*> instances;
  switch (id) {
    case kWithSelf:
    case kWithSelfAlias:
      return single(iterator, KV_AsObject(*self));
    case kWithOther:
      return single(iterator, KV_AsObject(*other));
    case kWithAll:
      if (g_InstanceHooks.collectAll != nullptr) g_InstanceHooks.collectAll(&instances);
      return list(iterator, instances);
    case kWithNoone:
    case kWithGlobal:
    case kWithLocal:
      return -1;
    case kWithValueObject: {
      // The value stands for an object: the one it holds, or, for a plain number, which holds
      // none, the current self; either way the body runs once.
      KVObjectBase* object = RV_ObjectOf(*target);
      return single(iterator, object != nullptr ? object : KV_AsObject(*self));
    }
    default:
      break;
  }
  if (id < 0) return single(iterator, nullptr);
  if (id >= kFirstInstanceId) {
    CInstance* found = g_InstanceHooks.findLive != nullptr && id <= INT32_MAX
                           ? g_InstanceHooks.findLive(static_cast<int32_t>(id))
                           : nullptr;
    return single(iterator, KV_AsObject(found));
  }
  if (g_InstanceHooks.collectObject != nullptr) g_InstanceHooks.collectObject(static_cast<int32_t>(id), &instances);
  return list(iterator, instances);
}

bool KVWithNext(KVWithIterator* iterator, CInstance** self, CInstance** other) {
  // Every collected object takes its turn, also an instance destroyed by an earlier round: its
  // memory lives until the purge, which never runs inside a pass.
  if (iterator->position <= 0) return false;
  KVObjectBase* next = iterator->items[--iterator->position];
  if (next == nullptr) {
    iterator->position = 0;
    return false;
  }
  *self = KV_AsInstance(next);
  *other = iterator->savedSelf;
  g_with_target = next;
  return true;
}

void KVWithEnd(KVWithIterator* iterator, CInstance** self, CInstance** other) {
  if (iterator->items != nullptr && iterator->items != iterator->inline_items) KV_FREE(iterator->items);
  iterator->items = nullptr;
  iterator->position = 0;
  *self = iterator->savedSelf;
  *other = iterator->savedOther;
  g_with_target = iterator->savedTarget;
}

KVObjectBase* With_CurrentTarget() { return g_with_target; }

RValue* With_StaticSlot(int32_t slot) {
  if (g_with_target == nullptr || g_with_target->kind != kObjScriptRef) return nullptr;
  KVObjectBase* statics = static_cast<CScriptRef*>(g_with_target)->prototypeObject;
  return statics != nullptr ? statics->FindOwnSlot(slot) : nullptr;
}

KVWith::KVWith(CInstance** self, CInstance** other, KVObjectBase* target)
    : KVWith(self, other, RV_Object(target)) {}

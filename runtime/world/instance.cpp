// CInstance construction, the id table, and the instance's places in its object's lists.
#include "world/instance.h"

#include "core/chained_hash.h"
#include "core/gc.h"
#include "core/memory.h"
#include "world/instance_path.h"
#include "world/object_type.h"
#include "world/room.h"

uint32_t LastInstanceId = 0;
int64_t PassCounter = 0;
int32_t MarkedCount = 0;
InstanceWorldHooks g_InstanceWorldHooks;

namespace {

constexpr int32_t kIdBuckets = 1024;
// A parent chain longer than this is a cycle: the lists stop climbing there.
constexpr int32_t kMaxAncestry = 10000;

CHash<CInstance*>* g_ids = nullptr;
KVObjectBase* g_prototype = nullptr;
KVObjectBase* g_prototype_global = nullptr;

CHash<CInstance*>& ids() {
  if (g_ids == nullptr) g_ids = KV_NEW(CHash<CInstance*>, kIdBuckets);
  return *g_ids;
}

// The shared "[[Instance]]" prototype, made again after the collector was reset (a new global).
KVObjectBase* instance_prototype() {
  if (g_prototype == nullptr || g_prototype_global != g_GlobalObject) {
    g_prototype = Object_NewStruct();
    g_prototype->prototype = nullptr;
    KVSetClassName(g_prototype, "[[Instance]]");
    GCAddRoot(g_prototype);
    g_prototype_global = g_GlobalObject;
  }
  return g_prototype;
}

// Appends the instance to a list with the given node, or an allocated one.
void append_node(ObjectInstanceList* list, CInstance* instance, ObjectInstanceNode* node = nullptr) {
  if (node != nullptr) {
    *node = ObjectInstanceNode{};
  } else {
    node = KV_NEW(ObjectInstanceNode);
  }
  node->instance = instance;
  node->list = list;
  node->previous = list->tail;
  if (list->tail != nullptr) {
    list->tail->next = node;
  } else {
    list->head = node;
  }
  list->tail = node;
  ++list->count;
  node->nextOfInstance = instance->objectNodes;
  instance->objectNodes = node;
}

void unlink_node(ObjectInstanceNode* node) {
  ObjectInstanceList* list = node->list;
  if (node->previous != nullptr) {
    node->previous->next = node->next;
  } else {
    list->head = node->next;
  }
  if (node->next != nullptr) {
    node->next->previous = node->previous;
  } else {
    list->tail = node->previous;
  }
  --list->count;
}

}  // namespace

CInstance::CInstance(float x_at, float y_at, int32_t new_id, int32_t object_index, bool addToObject)
    : KVObjectBase(kObjInstance) {
  withNode.instance = this;
  collisionNode.instance = this;
  treeNode.instance = this;
  createCounter = PassCounter;
  id = new_id;
  x = xstart = xprevious = x_at;
  y = ystart = yprevious = y_at;
  flags = kInstInitial | kInstPlainDraw;
  prototype = instance_prototype();
  GC_AddObject(this);
  Instance_TakeObject(this, object_index, true);
  if (addToObject) Instance_EnterObjectLists(this);
  currentDepth = depth;
}

CInstance::~CInstance() {
  Instance_LeaveObjectLists(this);
  InstancePath_Free(pathState);
}

bool CInstance::Mark(uint32_t* bitmap, int32_t bits) {
  if (purged) return false;
  if (!KVObjectBase::Mark(bitmap, bits)) return false;
  // The sequence instance that drives this instance lives as long as the instance holds it.
  if (sequenceInstance != nullptr) GCMarkObject(sequenceInstance, false);
  return true;
}

void Instance_TakeObject(CInstance* instance, int32_t object_index, bool takeDepth) {
  CObjectTV* object = Object_Find(object_index);
  instance->objectIndex = object_index == -1 ? 0 : object_index;
  instance->object = object;
  if (object == nullptr) return;
  instance->maskIndex = object->maskIndex;
  if (takeDepth) instance->depth = static_cast<float>(object->depth);
  const InstanceWorldHooks& hooks = g_InstanceWorldHooks;
  if ((object->flags & kObjTypeSolid) != 0) {
    instance->flags |= kInstSolid;
  } else {
    instance->flags &= ~kInstSolid;
    if ((object->flags & (kObjTypeCollides | kObjTypeChildCollides)) == 0 && hooks.treeRemove != nullptr) {
      hooks.treeRemove(instance);
    }
  }
  auto copy_flag = [instance](bool on, uint32_t mask) {
    instance->flags = on ? (instance->flags | mask) : (instance->flags & ~mask);
  };
  copy_flag((object->flags & kObjTypeVisible) != 0, kInstVisible);
  copy_flag((object->flags & kObjTypePersistent) != 0, kInstPersistent);
  copy_flag((object->flags & kObjTypeManaged) != 0, kInstManaged);
  instance->spriteIndex = object->spriteIndex;
  Instance_BoxChanged(instance);
}

void Instance_BoxChanged(CInstance* instance) {
  instance->flags |= kInstBBoxDirty;
  if (g_InstanceWorldHooks.treeUpdate != nullptr) g_InstanceWorldHooks.treeUpdate(instance);
}

void Instance_SetPosition(CInstance* instance, float x, float y) {
  if (instance->x == x && instance->y == y && instance->skeleton == nullptr) return;
  instance->x = x;
  instance->y = y;
  Instance_BoxChanged(instance);
}

void Instance_SetSprite(CInstance* instance, int32_t sprite) {
  if (instance->spriteIndex == sprite) return;
  instance->spriteIndex = sprite;
  Instance_BoxChanged(instance);
}

void Instance_SetMask(CInstance* instance, int32_t mask) {
  if (instance->maskIndex == mask) return;
  instance->maskIndex = mask;
  Instance_BoxChanged(instance);
}

void Instance_SetScale(CInstance* instance, float xscale, float yscale) {
  if (instance->imageXScale == xscale && instance->imageYScale == yscale) return;
  instance->imageXScale = xscale;
  instance->imageYScale = yscale;
  Instance_BoxChanged(instance);
}

void Instance_SetAngle(CInstance* instance, float angle) {
  if (instance->imageAngle == angle) return;
  instance->imageAngle = angle;
  Instance_BoxChanged(instance);
}

void Instance_SetImageIndex(CInstance* instance, float index) {
  if (instance->imageIndex == index) return;
  instance->imageIndex = index;
  Instance_BoxChanged(instance);
}

void Instance_EnterObjectLists(CInstance* instance) {
  CObjectTV* object = instance->object;
  if (object == nullptr || instance->objectNodes != nullptr) return;
  append_node(&object->instances, instance, &instance->ownNodes[0]);
  int32_t steps = 0;
  for (CObjectTV* at = object; at != nullptr && steps < kMaxAncestry; at = at->parent, ++steps) {
    append_node(&at->instancesRecursive, instance, at == object ? &instance->ownNodes[1] : nullptr);
  }
}

void Instance_LeaveObjectLists(CInstance* instance) {
  ObjectInstanceNode* node = instance->objectNodes;
  instance->objectNodes = nullptr;
  while (node != nullptr) {
    ObjectInstanceNode* next = node->nextOfInstance;
    unlink_node(node);
    if (node != &instance->ownNodes[0] && node != &instance->ownNodes[1]) KV_Delete(node);
    node = next;
  }
}

// ---- Id table ------------------------------------------------------------------------------------

CInstance* Instance_Find(int32_t id) {
  if (id < 0 || g_ids == nullptr) return nullptr;
  CInstance** found = g_ids->Find(id);
  return found != nullptr ? *found : nullptr;
}

CInstance* Instance_FindLive(int32_t id) {
  CInstance* instance = Instance_Find(id);
  return instance != nullptr && Instance_IsLive(instance) ? instance : nullptr;
}

void Instance_IdTableAdd(CInstance* instance) {
  if (Instance_Find(instance->id) == instance) return;
  ids().Insert(instance->id, instance);
}

void Instance_IdTableRemove(CInstance* instance) {
  if (g_ids == nullptr) return;
  for (auto* node = g_ids->FindNode(instance->id); node != nullptr; node = g_ids->FindNext(node)) {
    if (node->value == instance) {
      g_ids->DeleteNode(node);
      return;
    }
  }
}

int32_t Instance_IdTableCount() { return g_ids != nullptr ? g_ids->Count() : 0; }

std::vector<CInstance*> Instance_IdTableInOrder() {
  std::vector<CInstance*> out;
  if (g_ids == nullptr) return out;
  out.reserve(static_cast<size_t>(g_ids->Count()));
  g_ids->ForEach([&out](int32_t, CInstance*& instance) { out.push_back(instance); });
  return out;
}

void Instance_ForgetIdTable() {
  KV_Delete(g_ids);
  g_ids = nullptr;
  g_prototype = nullptr;
  g_prototype_global = nullptr;
}

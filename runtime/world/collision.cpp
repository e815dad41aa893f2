// The collision tree and its lists, the collision stage with its dispatch, and the queries that
// choose between the tree and a walk over the instances.
#include "world/collision.h"

#include <algorithm>
#include <memory>

#include "core/error.h"
#include "core/frame_state.h"
#include "graphics/asset_sprites.h"
#include "world/collision_internal.h"
#include "world/collision_tree.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/object_type.h"
#include "world/path.h"
#include "world/room.h"

uint32_t TreeExclusionMask = kInstMarked | kInstDeactivated | kInstInCollisionTree | kInstDelayedDestroy;
bool TreeHoldsAll = false;

namespace {

constexpr int32_t kAll = -3;
// Marked, deactivated or waiting for a delayed destroy: every walk and visitor passes it over.
constexpr uint32_t kSkipMask = kInstMarked | kInstDeactivated | kInstDelayedDestroy;

std::unique_ptr<CollisionTree> g_tree;
InstanceGatherNode g_tree_updates;  // TreeUpdates
InstanceGatherNode g_candidates;    // CollisionCandidates
int32_t g_stamp = 0;                // CollisionStamp

struct Pair {
  CInstance* a;
  CInstance* b;
};
std::vector<Pair> g_pairs;

void unlink(InstanceGatherNode* node) {
  node->previous->next = node->next;
  node->next->previous = node->previous;
  node->next = node->previous = node;
}

void push_head(InstanceGatherNode* list, InstanceGatherNode* node) {
  if (node->Linked()) unlink(node);
  node->next = list->next;
  node->previous = list;
  list->next->previous = node;
  list->next = node;
}

void empty(InstanceGatherNode* list) {
  while (list->next != list) unlink(list->next);
}

CollisionRect rect_of(const CInstance* i) { return {i->bboxLeft, i->bboxTop, i->bboxRight, i->bboxBottom}; }

CollisionRect& tree_rect(CInstance* i) { return *reinterpret_cast<CollisionRect*>(i->treeBox); }

bool is_member(const CInstance* i) {
  const CObjectTV* object = i->object;
  return (object != nullptr && (object->flags & (kObjTypeCollides | kObjTypeChildCollides)) != 0) ||
         (i->flags & kInstSolid) != 0;
}

CollisionTree* tree() {
  if (!g_tree) g_tree = std::make_unique<CollisionTree>();
  return g_tree.get();
}

// The collision event subtype of a's object for b: b's object or its nearest ancestor with one.
int32_t event_for(const CInstance* a, const CInstance* b) {
  if (a->object == nullptr) return -1;
  int32_t index = b->objectIndex;
  for (int32_t steps = 0; index >= 0 && steps < 64; ++steps) {
    if (a->object->HasEvent(kEventCollision, index)) return index;
    const CObjectTV* o = Object_Find(index);
    if (o == nullptr) break;
    index = o->parentIndex;
  }
  return -1;
}

bool has_frames(const CInstance* i) {
  const SpriteAsset* s = Collision_SpriteOf(i);
  return s != nullptr && s->frame_count > 0;
}

void enter_instance(CInstance* i) {
  if ((i->flags & TreeExclusionMask) != 0) return;
  Collision_ComputeBox(i, true);
}

// An object and all its descendants enter the tree; with its instances.
void enter_object(CObjectTV* object, int32_t index) {
  const int32_t count = Object_Count();
  for (int32_t o = 0; o < count; ++o) {
    CObjectTV* at = Object_Find(o);
    if (at != nullptr && (o == index || Object_IsAncestor(o, index))) at->flags |= kObjTypeChildCollides;
  }
  for (ObjectInstanceNode* n = object->instancesRecursive.head; n != nullptr; n = n->next) enter_instance(n->instance);
}

void enter_all() {
  TreeHoldsAll = true;
  const int32_t count = Object_Count();
  for (int32_t o = 0; o < count; ++o) {
    CObjectTV* object = Object_Find(o);
    if (object == nullptr) continue;
    object->flags |= kObjTypeChildCollides;
    for (ObjectInstanceNode* n = object->instances.head; n != nullptr; n = n->next) {
      if (has_frames(n->instance)) enter_instance(n->instance);
    }
  }
}

// Whether candidate is one of target's: an id, an object or one of its children, or anything.
bool matches(const CInstance* candidate, int32_t target) {
  if (target == kAll) return true;
  if (target >= kInstanceIdBase) return candidate->id == target;
  return candidate->objectIndex == target || Object_IsAncestor(candidate->objectIndex, target);
}

// Calls visit on every live instance of the target by a walk: the active list for all, the id
// table for an id, the object's instances with its children's otherwise. Stops when visit says so.
template <class Visit>
void walk(int32_t target, Visit&& visit) {
  if (target == kAll) {
    if (Run_Room == nullptr) return;
    for (CInstance* at = Run_Room->active.head; at != nullptr;) {
      CInstance* next = at->next;
      if ((at->flags & kSkipMask) == 0 && !visit(at)) return;
      at = next;
    }
  } else if (target >= kInstanceIdBase) {
    CInstance* at = Instance_Find(target);
    if (at != nullptr && (at->flags & kSkipMask) == 0) visit(at);
  } else if (CObjectTV* object = Object_Find(target)) {
    for (ObjectInstanceNode* n = object->instancesRecursive.head; n != nullptr;) {
      ObjectInstanceNode* next = n->next;
      if ((n->instance->flags & kSkipMask) == 0 && !visit(n->instance)) return;
      n = next;
    }
  }
}

void restore_previous(CInstance* i) {
  Instance_SetPosition(i, i->xprevious, i->yprevious);
  if (i->pathState != nullptr) i->pathState->pathPosition = i->pathState->pathPositionPrevious;
}

void dispatch(CInstance* a, CInstance* b) {
  if (!Instance_Collide(a, b, true)) return;
  if (((a->flags | b->flags) & kInstDeactivated) != 0) return;
  Collision_QueueCandidate(b);
  const bool solid = ((a->flags | b->flags) & kInstSolid) != 0;
  if (solid) {
    restore_previous(a);
    restore_previous(b);
  }
  const int32_t ab = event_for(a, b);
  if (ab >= 0) PerformEventOnInstance(a, b, kEventCollision, ab);
  const int32_t ba = event_for(b, a);
  if (ba >= 0) PerformEventOnInstance(b, a, kEventCollision, ba);
  if (!solid) return;
  // What the step would have done, once more: an instance the events turned aside keeps moving.
  Path_Step(a);
  Path_Step(b);
  Instance_SetPosition(a, a->x + a->hspeed, a->y + a->vspeed);
  Instance_SetPosition(b, b->x + b->hspeed, b->y + b->vspeed);
  if (Instance_Collide(a, b, true)) {
    restore_previous(a);
    restore_previous(b);
  }
}

}  // namespace

CollisionTree* Collision_Tree() { return g_tree.get(); }

void Collision_ComputeBox(CInstance* instance, bool updateTree) {
  Collision_BoxOf(instance);
  if (!updateTree) return;
  CollisionTree* t = tree();
  if ((instance->flags & kInstInCollisionTree) != 0) t->Remove(tree_rect(instance), instance);
  tree_rect(instance) = rect_of(instance);
  t->Insert(tree_rect(instance), instance);
  instance->flags |= kInstInCollisionTree;
}

void Collision_QueueUpdate(CInstance* instance) {
  if (is_member(instance)) push_head(&g_tree_updates, &instance->treeNode);
  Collision_QueueCandidate(instance);
}

void Collision_QueueCandidate(CInstance* instance) {
  if (instance->object != nullptr && (instance->object->flags & kObjTypeCollides) != 0) {
    push_head(&g_candidates, &instance->collisionNode);
  }
}

void Collision_Add(CInstance* instance) {
  tree();
  Collision_QueueUpdate(instance);
}

void Collision_Remove(CInstance* instance) {
  if ((instance->flags & kInstInCollisionTree) != 0 && g_tree) g_tree->Remove(tree_rect(instance), instance);
  instance->flags &= ~kInstInCollisionTree;
  if (instance->treeNode.Linked()) unlink(&instance->treeNode);
  if (instance->collisionNode.Linked()) unlink(&instance->collisionNode);
}

void Collision_FlushUpdates() {
  while (g_tree_updates.next != &g_tree_updates) {
    InstanceGatherNode* node = g_tree_updates.next;
    unlink(node);
    if (Instance_IsLive(node->instance)) Collision_ComputeBox(node->instance, true);
  }
}

void Collision_Rebuild(bool clearObjects) {
  g_tree = std::make_unique<CollisionTree>();
  empty(&g_tree_updates);
  if (clearObjects) {
    TreeHoldsAll = false;
    const int32_t count = Object_Count();
    for (int32_t o = 0; o < count; ++o) {
      if (CObjectTV* object = Object_Find(o)) object->flags &= ~kObjTypeChildCollides;
    }
  }
  if (Run_Room == nullptr) return;
  for (CInstance* at = Run_Room->inactive.head; at != nullptr; at = at->next) at->flags &= ~kInstInCollisionTree;
  for (CInstance* at = Run_Room->active.head; at != nullptr; at = at->next) {
    at->flags = (at->flags & ~kInstInCollisionTree) | kInstBBoxDirty;
    if (is_member(at) && (at->flags & kSkipMask) == 0) Collision_ComputeBox(at, true);
    // A rebuilt tree has seen no move: every instance with collision events is checked once.
    Collision_QueueCandidate(at);
  }
}

void Collision_Reset() {
  g_tree.reset();
  TreeHoldsAll = false;
  empty(&g_tree_updates);
  empty(&g_candidates);
  g_pairs.clear();
}

void Collision_Stage() {
  if (!g_tree && g_tree_updates.next == &g_tree_updates && g_candidates.next == &g_candidates) return;
  tree();
  g_pairs.clear();
  Collision_FlushUpdates();
  std::vector<CInstance*> animated;
  while (g_candidates.next != &g_candidates) {
    InstanceGatherNode* node = g_candidates.next;
    CInstance* a = node->instance;
    unlink(node);
    if ((a->flags & kSkipMask) != 0) continue;
    Collision_RefreshBox(a);
    g_tree->Search(rect_of(a), [a](CInstance* b) {
      if (b == a || b->collisionStamp == g_stamp) return true;
      if (event_for(a, b) >= 0 || event_for(b, a) >= 0) g_pairs.push_back({a, b});
      return true;
    });
    // A precise mask of several frames changes by itself: checked again next time.
    const SpriteAsset* s = Collision_SpriteOf(a);
    if ((a->flags & kInstPreciseMask) != 0 && s != nullptr && s->frame_count >= 2) animated.push_back(a);
    a->collisionStamp = g_stamp;
  }
  ++g_stamp;
  for (auto it = animated.rbegin(); it != animated.rend(); ++it) push_head(&g_candidates, &(*it)->collisionNode);
  const std::vector<Pair> pairs = g_pairs;
  for (const Pair& pair : pairs) dispatch(pair.a, pair.b);
}

int32_t Collision_Strategy(int32_t target) {
  if (target >= kInstanceIdBase) return kCollisionBrute;
  if (target == kAll) {
    tree();
    if (!TreeHoldsAll) enter_all();
    return kCollisionTree;
  }
  CObjectTV* object = Object_Find(target);
  if (object == nullptr || object->instancesRecursive.count == 0) return kCollisionNone;
  CollisionTree* t = tree();
  if (object->instancesRecursive.count < t->RootLevel()) return kCollisionBrute;
  if ((object->flags & (kObjTypeCollides | kObjTypeChildCollides)) != 0 || TreeHoldsAll) return kCollisionTree;
  enter_object(object, target);
  return kCollisionTree;
}

CInstance* Command_InstancePlace(CInstance* self, float x, float y, int32_t target, std::vector<CInstance*>* list) {
  if (Run_Room == nullptr || target == -4) return nullptr;
  if (self == nullptr || KV_AsObject(self)->kind != kObjInstance) {
    KVError("current self is not an instance");
    return nullptr;
  }
  const int32_t strategy = Collision_Strategy(target);
  if (strategy == kCollisionNone) return nullptr;
  CInstance* found = nullptr;
  auto hit = [&](CInstance* candidate) {
    found = found != nullptr ? found : candidate;
    if (list == nullptr) return false;
    list->push_back(candidate);
    return true;
  };
  if (strategy == kCollisionBrute) {
    const float sx = self->x, sy = self->y;
    Instance_SetPosition(self, x, y);
    walk(target, [&](CInstance* candidate) { return candidate == self || !Instance_Collide(candidate, self, true) || hit(candidate); });
    Instance_SetPosition(self, sx, sy);
    return found;
  }
  Collision_FlushUpdates();
  Collision_RefreshBox(self);
  const float sx = self->x, sy = self->y;
  const float box[4] = {self->bboxLeft, self->bboxTop, self->bboxRight, self->bboxBottom};
  const uint32_t flags = self->flags;
  self->x = x;
  self->y = y;
  Collision_BoxOf(self);
  g_tree->Search(rect_of(self), [&](CInstance* candidate) {
    if (candidate == self || (candidate->flags & kSkipMask) != 0 || !matches(candidate, target)) return true;
    return !Instance_Collide(candidate, self, true) || hit(candidate);
  });
  self->x = sx;
  self->y = sy;
  self->bboxLeft = box[0], self->bboxTop = box[1], self->bboxRight = box[2], self->bboxBottom = box[3];
  self->flags = flags;
  return found;
}

bool Command_IsFree(CInstance* self, float x, float y) {
  if (Run_Room == nullptr) return true;
  if (self == nullptr || KV_AsObject(self)->kind != kObjInstance) {
    KVError("current self is not an instance");
    return true;
  }
  const float sx = self->x, sy = self->y;
  Instance_SetPosition(self, x, y);
  bool free = true;
  walk(kAll, [&](CInstance* candidate) {
    if (candidate != self && (candidate->flags & kInstSolid) != 0 && Instance_Collide(candidate, self, true)) free = false;
    return free;
  });
  Instance_SetPosition(self, sx, sy);
  return free;
}

bool Command_IsEmpty(CInstance* self, float x, float y, int32_t target) {
  return Command_InstancePlace(self, x, y, target, nullptr) == nullptr;
}

CInstance* Collision_Shape(CInstance* self, CInstance* other, CollisionShape shape, float x1, float y1, float x2,
                           float y2, int32_t target, bool precise, bool notme, std::vector<CInstance*>* list) {
  (void)other;
  if (Run_Room == nullptr || target == -4) return nullptr;
  auto test = [&](CInstance* i) {
    switch (shape) {
      case CollisionShape::kPoint: return Instance_CollidePoint(i, x1, y1, precise);
      case CollisionShape::kRectangle: return Instance_CollideRectangle(i, x1, y1, x2, y2, precise);
      case CollisionShape::kEllipse: return Instance_CollideEllipse(i, x1, y1, x2, y2, precise);
      case CollisionShape::kLine: return Instance_CollideLine(i, x1, y1, x2, y2, precise);
    }
    return false;
  };
  CInstance* found = nullptr;
  auto visit = [&](CInstance* i) {
    if (notme && i == self) return true;
    if (!test(i)) return true;
    found = found != nullptr ? found : i;
    if (list == nullptr) return false;
    list->push_back(i);
    return true;
  };
  int32_t strategy = kCollisionBrute;
  if (shape == CollisionShape::kRectangle || shape == CollisionShape::kLine) strategy = Collision_Strategy(target);
  if (strategy == kCollisionNone) return nullptr;
  if (strategy == kCollisionTree) {
    Collision_FlushUpdates();
    const CollisionRect box{std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2)};
    g_tree->Search(box, [&](CInstance* i) {
      if ((i->flags & kSkipMask) != 0 || !matches(i, target)) return true;
      return visit(i);
    });
  } else {
    walk(target, visit);
  }
  return found;
}

void Collision_Init() {
  g_InstanceWorldHooks.treeUpdate = Collision_QueueUpdate;
  g_InstanceWorldHooks.treeRemove = Collision_Remove;
  g_InstanceWorldHooks.treeReset = Collision_Reset;
  g_InstanceWorldHooks.treeRebuild = +[]() { Collision_Rebuild(false); };
  g_InstanceWorldHooks.bboxUpdate = Collision_RefreshBox;
}

#pragma once
// Asks the cache for the parts of an instance that the per-instance walks of a frame read: the
// slot map pointer, flags and object, position and image, the room list and the object list
// nodes. Instances are large and scattered, so a walk that asks for the next one while it works on
// this one no longer waits on memory at each step. Reads nothing; null is allowed.
#include "world/instance.h"

inline void Instance_Prefetch(const CInstance* instance) {
  if (instance == nullptr) return;
  __builtin_prefetch(&instance->slotMap);
  __builtin_prefetch(&instance->flags);
  __builtin_prefetch(&instance->x);
  __builtin_prefetch(&instance->next);
  __builtin_prefetch(&instance->ownNodes[0]);
}

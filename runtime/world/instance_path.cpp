#include "world/instance_path.h"

#include "core/memory.h"
#include "world/instance.h"

InstancePathState* InstancePath_Get(CInstance* instance) {
  if (instance->pathState == nullptr) instance->pathState = KV_NEW(InstancePathState);
  return instance->pathState;
}

InstancePathState* InstancePath_Clone(const InstancePathState* state) {
  if (state == nullptr) return nullptr;
  InstancePathState* copy = KV_NEW(InstancePathState);
  *copy = *state;
  return copy;
}

void InstancePath_Free(InstancePathState* state) {
  if (state != nullptr) KV_Delete(state);
}

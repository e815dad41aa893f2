#pragma once
// What the core asks of the world without depending on it: the world installs these at start-up
// (and tests install their own). Until it does, id lookups find nothing and instance sets are empty.
#include <cstdint>
#include <vector>

class CInstance;

struct KVInstanceHooks {
  // The instance with this id (100000 and above) if it exists and is live, else null.
  CInstance* (*findLive)(int32_t id) = nullptr;
  // Appends, in list order, every instance of the room that is neither inactive nor marked.
  void (*collectAll)(std::vector<CInstance*>* out) = nullptr;
  // Appends, in list order, every live instance of the object and of its descendants.
  void (*collectObject)(int32_t objectIndex, std::vector<CInstance*>* out) = nullptr;
};

extern KVInstanceHooks g_InstanceHooks;

#pragma once
// DS_GCProxy: the collector's stand-in for a data structure, which is no collected object itself.
// A proxy is made when a structure first stores an array, object or accessor, and is a collector
// root for as long as the structure lives; its Mark marks every value the structure holds. The
// structure and its proxy point at each other; whichever goes first clears the other's link, so a
// collector reset that frees the proxy under a living structure (game_restart) leaves no dangling
// pointer, and the structure makes a new proxy at its next such store.
#include "core/object.h"
#include "storage/ds_core.h"

class DS_GCProxy final : public KVObjectBase {
 public:
  explicit DS_GCProxy(DsStructure* structure);
  ~DS_GCProxy() override;
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;

  // The structure's type value (ds_type: 1 map .. 6 priority), 0 once it is gone.
  int32_t ds_type() const { return structure_ != nullptr ? structure_->ds_kind() : 0; }

 private:
  friend void DS_ReleaseProxy(DsStructure* structure);
  void detach();
  DsStructure* structure_;
};

// Makes and roots the proxy of a structure; null when the memory can't be had.
KVObjectBase* DS_CreateProxy(DsStructure* structure);
// Unroots the structure's proxy, if it has one, and breaks the link both ways.
void DS_ReleaseProxy(DsStructure* structure);

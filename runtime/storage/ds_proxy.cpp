// DS_GCProxy: marking a data structure's values for the collector.
#include "storage/ds_proxy.h"

#include "core/gc.h"

namespace {

void mark_value(const RValue& value, void*) { GCMarkValue(value); }

}  // namespace

DS_GCProxy::DS_GCProxy(DsStructure* structure) : KVObjectBase(kObjContainer), structure_(structure) {}

DS_GCProxy::~DS_GCProxy() { detach(); }

void DS_GCProxy::detach() {
  if (structure_ != nullptr && structure_->proxy_ == this) structure_->proxy_ = nullptr;
  structure_ = nullptr;
}

bool DS_GCProxy::Mark(uint32_t* bitmap, int32_t bits) {
  if (!KVObjectBase::Mark(bitmap, bits)) return false;
  // Other threads may be filling maps for asynchronous events meanwhile.
  DsLock lock(DsMutex());
  if (structure_ != nullptr) structure_->for_each_value(mark_value, nullptr);
  return true;
}

void DS_GCProxy::Free(bool free_now) {
  detach();
  KVObjectBase::Free(free_now);
}

KVObjectBase* DS_CreateProxy(DsStructure* structure) {
  auto* proxy = new DS_GCProxy(structure);
  GC_AddObject(proxy);
  GCAddRoot(proxy);
  return proxy;
}

void DS_ReleaseProxy(DsStructure* structure) {
  auto* proxy = static_cast<DS_GCProxy*>(structure->proxy_);
  if (proxy == nullptr) return;
  proxy->detach();
  GCRemoveRoot(proxy);
}

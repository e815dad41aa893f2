// Id tables, DsMutex, nested destruction and the value store shared by every structure kind.
#include "storage/ds_core.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "core/error.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/random.h"
#include "storage/ds_proxy.h"

const char* const kDsKindNames[kDsKindCount] = {"none", "map", "list", "stack", "queue", "grid", "priority"};
static_assert(sizeof(kDsKindNames) / sizeof(kDsKindNames[0]) == kDsKindCount);

double g_DsPrecision = 0.00000001;

namespace {

constexpr int32_t kTableGrowth = 16;

struct Table {
  DsStructure** slots = nullptr;
  int32_t length = 0;
  int32_t capacity = 0;
  int32_t first_free = 0;  // no free entry lies below it
};

Table g_tables[kDsKindCount];
uint32_t g_destroy_stamp = 0;

Table* table_of(DsKind kind) { return kind > kDsNone && kind < kDsKindCount ? &g_tables[kind] : nullptr; }

DsStructure* take(Table& table, int32_t id) {
  DsStructure* structure = table.slots[id];
  table.slots[id] = nullptr;
  table.first_free = std::min(table.first_free, id);
  return structure;
}

struct NestedWork {
  std::vector<std::pair<DsKind, int32_t>> pending;
};

void collect_marked(const RValue& value, void* context) {
  if ((value.kind & kDsMarkMask) == 0) return;
  const int32_t id = DS_MarkedId(value);
  if (id < 0) return;
  auto* work = static_cast<NestedWork*>(context);
  // A value with both marks names a map: the map mark is tested first wherever marks are read.
  work->pending.emplace_back((value.kind & kDsMarkMap) != 0 ? kDsMap : kDsList, id);
}

bool nests(const DsStructure* structure) {
  return structure->ds_kind() == kDsMap || structure->ds_kind() == kDsList;
}

// Destroys everything marked inside root (and root itself when root_id >= 0). Each structure met
// gets this pass's stamp, so one that two others mark, or that marks root back, goes only once.
void destroy_marked(DsStructure* root, int32_t root_id) {
  const uint32_t stamp = ++g_destroy_stamp;
  root->destroy_stamp_ = stamp;
  NestedWork work;
  root->for_each_value(collect_marked, &work);
  if (root_id >= 0) {
    KV_Delete(take(g_tables[root->ds_kind()], root_id));
  } else {
    root->clear_values();
  }
  while (!work.pending.empty()) {
    const auto [kind, id] = work.pending.back();
    work.pending.pop_back();
    DsStructure* nested = DS_Lookup(kind, id);
    if (nested == nullptr || nested->destroy_stamp_ == stamp) continue;
    nested->destroy_stamp_ = stamp;
    nested->for_each_value(collect_marked, &work);
    KV_Delete(take(g_tables[kind], id));
  }
}

}  // namespace

std::recursive_mutex& DsMutex() {
  // Made on first use and never destroyed: worker threads may still lock it during shutdown.
  static std::recursive_mutex* mutex = new std::recursive_mutex;
  return *mutex;
}

int32_t DS_MarkedId(const RValue& v) {
  double number;
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool: number = v.val; break;
    case kRVInt32:
    case kRVRef: return v.v32 >= 0 ? v.v32 : -1;
    case kRVInt64: return v.v64 >= 0 && v.v64 <= INT32_MAX ? static_cast<int32_t>(v.v64) : -1;
    default: return -1;
  }
  if (!(number >= 0.0 && number < 2147483648.0)) return -1;
  return static_cast<int32_t>(number);
}

int64_t DS_Random(int64_t n) { return n > 0 ? RandomInt64(n) : 0; }

DsStructure::~DsStructure() { DS_ReleaseProxy(this); }

void DsStructure::store(RValue* dst, const RValue& src) {
  const bool collected = ((1u << (src.kind & 31)) & kDsCollectedKindMask) != 0;
  if (collected && proxy_ == nullptr) proxy_ = DS_CreateProxy(this);
  if (collected && proxy_ != nullptr) {
    GC_PushSelf(proxy_);
    RV_CopyRef(dst, &src);
    GC_PopSelf();
  } else {
    RV_CopyRef(dst, &src);
  }
  dst->flags = 0;
}

void DsStructure::assign(RValue* dst, const RValue& src) {
  RValue copy;
  store(&copy, src);  // the reference is taken before dst lets go: src may live in dst
  if (RV_NeedsFree(*dst)) RV_Free(dst);
  *dst = copy;
}

bool DS_GrowValues(RValue** block, int64_t count) {
  const int64_t limit = static_cast<int64_t>(UINT32_MAX / 2 / sizeof(RValue));
  void* grown = count > 0 && count <= limit ? KV_REALLOC(*block, static_cast<size_t>(count) * sizeof(RValue)) : nullptr;
  if (grown == nullptr) {
    KVError("Out of memory: data structure can't grow to %lld entries", static_cast<long long>(count));
    return false;
  }
  *block = static_cast<RValue*>(grown);
  return true;
}

DsValueBlock::~DsValueBlock() {
  truncate(0);
  KV_FREE(data);
}

bool DsValueBlock::reserve(int64_t needed) {
  if (needed <= capacity) return true;
  int64_t grown = capacity;
  while (grown < needed) grown += std::max<int64_t>(grown / 8, 16);
  if (grown > INT32_MAX) grown = needed;
  if (!DS_GrowValues(&data, grown)) return false;
  capacity = static_cast<int32_t>(grown);
  return true;
}

void DsValueBlock::truncate(int32_t keep) {
  for (int32_t i = keep; i < length; ++i) RV_FreeToUndefined(&data[i]);
  if (keep < length) {
    // Entries past the length read as real 0 when the block grows back over them.
    std::memset(static_cast<void*>(data + keep), 0, static_cast<size_t>(length - keep) * sizeof(RValue));
    length = keep;
  }
}

DsStructure* DS_Lookup(DsKind kind, int64_t id) {
  const Table* table = table_of(kind);
  if (table == nullptr || id < 0 || id >= table->length) return nullptr;
  return table->slots[id];
}

DsStructure* DS_LookupOrRaise(DsKind kind, int64_t id) {
  DsStructure* structure = DS_Lookup(kind, id);
  if (structure == nullptr) KVError("Data structure with index does not exist.");
  return structure;
}

int32_t DS_Register(DsStructure* structure) {
  DsLock lock(DsMutex());
  Table& table = g_tables[structure->ds_kind()];
  int32_t id = table.first_free;
  while (id < table.length && table.slots[id] != nullptr) ++id;
  if (id == table.length) {
    if (table.length == table.capacity) {
      const size_t bytes = static_cast<size_t>(table.capacity + kTableGrowth) * sizeof(DsStructure*);
      void* grown = KV_REALLOC(table.slots, bytes);
      if (grown == nullptr) {
        KV_Delete(structure);
        KVError("Out of memory: no id left for a new data structure");
        return -1;
      }
      table.slots = static_cast<DsStructure**>(grown);
      table.capacity += kTableGrowth;
    }
    ++table.length;
  }
  table.slots[id] = structure;
  table.first_free = id + 1;
  return id;
}

int32_t DS_TableLength(DsKind kind) {
  const Table* table = table_of(kind);
  return table != nullptr ? table->length : 0;
}

int32_t DS_TableCapacity(DsKind kind) {
  const Table* table = table_of(kind);
  return table != nullptr ? table->capacity : 0;
}

bool DS_Destroy(DsKind kind, int64_t id) {
  DsLock lock(DsMutex());
  DsStructure* structure = DS_Lookup(kind, id);
  if (structure == nullptr) return false;
  if (nests(structure)) {
    destroy_marked(structure, static_cast<int32_t>(id));
  } else {
    KV_Delete(take(g_tables[kind], static_cast<int32_t>(id)));
  }
  return true;
}

void DS_ClearNested(DsStructure* structure) {
  DsLock lock(DsMutex());
  if (nests(structure)) {
    destroy_marked(structure, -1);
  } else {
    structure->clear_values();
  }
}

bool DS_Exists(int64_t id, int32_t type) {
  if (type <= kDsNone || type >= kDsKindCount) return false;
  DsLock lock(DsMutex());
  return DS_Lookup(static_cast<DsKind>(type), id) != nullptr;
}

void DS_FreeAll() {
  DsLock lock(DsMutex());
  for (Table& table : g_tables) {
    for (int32_t id = 0; id < table.length; ++id) {
      if (table.slots[id] != nullptr) KV_Delete(take(table, id));
    }
    KV_FREE(table.slots);
    table = Table{};
  }
}

#pragma once
// Common ground of the script data structures (maps, lists, stacks, queues, grids, priorities):
// their kinds, the process-wide id tables, DsMutex, the comparison precision, the nesting marks,
// the collector proxy and the value store that keeps the reference rules.
//
// Ids: each kind has one table of pointers; a new structure takes the lowest free id, or the table
// grows by one (its capacity by 16). Destroying a structure frees its id at once. Structures are
// not collected: they live until *_destroy or DS_FreeAll at shutdown, and survive game_restart.
// Locking: DsMutex is recursive. Map, list and priority operations and every table change hold it
// (DsLock); grid operations run on the main thread without it. The typed classes don't lock by
// themselves: the builtins and the JSON walkers take the lock around whole operations.
// Collector: the first store of an array, object or accessor gives a structure its proxy
// (DS_GCProxy), a collector root whose marking reaches every stored value; stores push it as the
// write barrier's parent. Destroying the structure removes the root.
// Nesting: bit 31 of a stored value's kind word marks a map id, bit 30 a list id. Destroying or
// clearing a map or list also destroys the structures marked inside it, iteratively and once per
// structure, so cycles and deep chains end without recursion.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "core/memory.h"
#include "core/rvalue.h"

enum DsKind : int32_t {
  kDsNone = 0,
  kDsMap = 1,
  kDsList = 2,
  kDsStack = 3,
  kDsQueue = 4,
  kDsGrid = 5,
  kDsPriority = 6,
  kDsKindCount = 7,
};
extern const char* const kDsKindNames[kDsKindCount];

constexpr uint32_t kDsMarkMap = 0x80000000u;
constexpr uint32_t kDsMarkList = 0x40000000u;
constexpr uint32_t kDsMarkMask = kDsMarkMap | kDsMarkList;
// Kinds the collector must see inside a structure: array, object, accessor.
constexpr uint32_t kDsCollectedKindMask = 0x844;

std::recursive_mutex& DsMutex();
using DsLock = std::lock_guard<std::recursive_mutex>;

// Precision of every comparison among stored values; ds_set_precision keeps its absolute value.
extern double g_DsPrecision;
inline int DS_Compare(const RValue& a, const RValue& b) { return RV_Compare(&a, &b, g_DsPrecision, 0); }

// The value with its nesting marks taken off.
inline RValue DS_Unmarked(const RValue& v) {
  RValue out = v;
  out.kind &= ~kDsMarkMask;
  return out;
}
// The id a marked number names; -1 when the value holds no usable id.
int32_t DS_MarkedId(const RValue& v);

// A random position in [0, n) for the shuffles, from the script random generator, so that a
// seed repeats a shuffle; 0 for n below 1.
int64_t DS_Random(int64_t n);

using DsValueVisitor = void (*)(const RValue& value, void* context);

class DsStructure {
 public:
  explicit DsStructure(DsKind kind) : kind_(kind) {}
  virtual ~DsStructure();
  DsStructure(const DsStructure&) = delete;
  DsStructure& operator=(const DsStructure&) = delete;

  DsKind ds_kind() const { return kind_; }
  KVObjectBase* proxy() const { return proxy_; }
  // Every stored value (map keys and values, cells, priorities), for the collector's marking and
  // for nested destruction.
  virtual void for_each_value(DsValueVisitor visit, void* context) const = 0;
  // Frees every stored value; nested structures are left alone.
  virtual void clear_values() = 0;

  uint32_t destroy_stamp_ = 0;

 protected:
  friend class DS_GCProxy;
  friend void DS_ReleaseProxy(DsStructure* structure);
  // Copies src into dst, which holds nothing to free, with references; a collected value is stored
  // with the structure's proxy as the write barrier's parent. The value's flags are not kept.
  void store(RValue* dst, const RValue& src);
  // As store, freeing what dst held first (safe when src lives inside dst's array).
  void assign(RValue* dst, const RValue& src);

 private:
  KVObjectBase* proxy_ = nullptr;
  DsKind kind_;
};

// A value referenced on its way into a structure. The reference is taken before growth (the value
// may live in the storage that growth moves), and growth may raise: unless the value was placed
// with release(), the holder lets the reference go again, on the way out of a raise too.
class DsHeldValue {
 public:
  DsHeldValue() = default;
  ~DsHeldValue() { RV_FreeToUndefined(&value_); }
  DsHeldValue(const DsHeldValue&) = delete;
  DsHeldValue& operator=(const DsHeldValue&) = delete;

  RValue* slot() { return &value_; }
  const RValue& get() const { return value_; }
  RValue release() {
    const RValue value = value_;
    value_ = RV_Undefined();
    return value;
  }

 private:
  RValue value_ = RV_Undefined();
};

// Grows a block of values to count entries; the new entries read as real 0. Raises and returns
// false when the memory can't be had (the block is then unchanged).
bool DS_GrowValues(RValue** block, int64_t count);

// A growable run of values, the storage of lists, stacks, queues and priorities. Growth adds
// max(capacity / 8, 16) entries at a time; new entries read as real 0. The owner stores values
// through DsStructure::store and frees them through truncate.
struct DsValueBlock {
  RValue* data = nullptr;
  int32_t length = 0;
  int32_t capacity = 0;

  DsValueBlock() = default;
  DsValueBlock(const DsValueBlock&) = delete;
  DsValueBlock& operator=(const DsValueBlock&) = delete;
  ~DsValueBlock();

  // Room for needed entries; raises and returns false when it can't be had.
  bool reserve(int64_t needed);
  // Frees the values from index keep on and sets the length to keep.
  void truncate(int32_t keep);
};

// ---- Id tables ----------------------------------------------------------------------------------
// The structure at id, or null when the id is negative, past the table or free.
DsStructure* DS_Lookup(DsKind kind, int64_t id);
// As DS_Lookup, raising "Data structure with index does not exist." when there is none.
DsStructure* DS_LookupOrRaise(DsKind kind, int64_t id);
// Enters a new structure under the lowest free id of its kind.
int32_t DS_Register(DsStructure* structure);
int32_t DS_TableLength(DsKind kind);
// Slots the table of a kind has room for before it grows.
int32_t DS_TableCapacity(DsKind kind);
// Frees the structure at id and clears its entry; a map or list takes its marked structures with
// it. False when there was none.
bool DS_Destroy(DsKind kind, int64_t id);
// Clears a map's or list's values, destroying the structures marked inside it.
void DS_ClearNested(DsStructure* structure);
// ds_exists: the pointer at id is set, for type values 1 to 6.
bool DS_Exists(int64_t id, int32_t type);
// Frees every structure of every kind and the tables themselves (shutdown).
void DS_FreeAll();

// Owns a structure that isn't registered yet.
struct DsDeleter {
  void operator()(DsStructure* structure) const { KV_Delete(structure); }
};
template <class T>
using DsOwned = std::unique_ptr<T, DsDeleter>;

template <class T>
T* DS_Find(int64_t id) {
  return static_cast<T*>(DS_Lookup(T::kKind, id));
}
template <class T>
T* DS_Get(int64_t id) {
  return static_cast<T*>(DS_LookupOrRaise(T::kKind, id));
}
template <class T>
int32_t DS_New() {
  return DS_Register(KV_NEW(T));
}

// ---- Sorting ------------------------------------------------------------------------------------
// A stable merge sort that only ever moves the items it was given, so an order that isn't
// consistent (the value comparison across kinds isn't) can't make it misbehave. comes_after(x, y)
// says y must come before x. It sorts a bitwise copy and writes it back only at the end, so a
// comparison that raises leaves the items as they were.
template <class T, class ComesAfter>
void DS_MergeSort(T* items, size_t count, ComesAfter comes_after) {
  if (count < 2) return;
  std::vector<T> work(items, items + count);
  std::vector<T> buffer(count / 2 + 1);
  struct Sorter {
    ComesAfter& after;
    T* buffer;
    void sort(T* part, size_t n) {
      if (n < 2) return;
      const size_t mid = n / 2;
      sort(part, mid);
      sort(part + mid, n - mid);
      if (!after(part[mid - 1], part[mid])) return;
      std::memcpy(static_cast<void*>(buffer), part, mid * sizeof(T));
      size_t left = 0;
      size_t right = mid;
      size_t out = 0;
      while (left < mid && right < n) part[out++] = after(buffer[left], part[right]) ? part[right++] : buffer[left++];
      while (left < mid) part[out++] = buffer[left++];
    }
  } sorter{comes_after, buffer.data()};
  sorter.sort(work.data(), count);
  std::memcpy(static_cast<void*>(items), work.data(), count * sizeof(T));
}

#pragma once
// CHashMap<K, V>: open addressing with robin-hood probing, for the hot lookups of the runtime
// (object slot maps, name tables, the collector's sets). An entry is {value, key, hash}; a stored
// hash of 0 marks an empty entry. The capacity is a power of two; before an insert, a count above
// growThreshold = trunc(capacity * 0.6) doubles it. Probing keeps entries ordered by their
// distance from their home position, so a lookup stops at an empty entry or as soon as its own
// distance passes the resident's, and a removal shifts the following run back by one.
//
// Keys: int32_t and uint32_t (integer hash), const char* and char* (compared by content, hashed
// with MurmurHash3; the map keeps the pointer, it does not copy the text), any other pointer type
// (by address). Keys and values are plain data (trivially copyable).
// Ownership: the optional delete function receives every entry that leaves the map: on Delete,
// Clear, destruction, and the old key and value when Insert replaces an existing key (inserting the
// very same key and value again changes nothing). It must not touch the map.
// Storage comes from the memory manager when the map is made. Iteration is in table order from
// position 0, and any insert or delete may reorder the table. No locks: the owner guards it.
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "core/hash_functions.h"
#include "core/memory.h"

template <class K>
struct CHashMapKey;

template <>
struct CHashMapKey<int32_t> {
  static uint32_t Hash(int32_t key) { return Hash_Int32(key); }
  static bool Equal(int32_t a, int32_t b) { return a == b; }
};

template <>
struct CHashMapKey<uint32_t> {
  static uint32_t Hash(uint32_t key) { return Hash_Int32(static_cast<int32_t>(key)); }
  static bool Equal(uint32_t a, uint32_t b) { return a == b; }
};

template <>
struct CHashMapKey<const char*> {
  static uint32_t Hash(const char* key) { return Hash_String(key); }
  static bool Equal(const char* a, const char* b) {
    return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
  }
};

template <>
struct CHashMapKey<char*> : CHashMapKey<const char*> {};

template <class T>
struct CHashMapKey<T*> {
  static uint32_t Hash(const T* key) { return Hash_Address(key); }
  static bool Equal(const T* a, const T* b) { return a == b; }
};

template <class K, class V>
class CHashMap {
  static_assert(std::is_trivially_copyable_v<K> && std::is_trivially_copyable_v<V>,
                "CHashMap moves keys and values as plain bytes");
  using Key = CHashMapKey<K>;

 public:
  using DeleteFn = void (*)(K* key, V* value);

  struct Entry {
    V value;
    K key;
    uint32_t hash;  // 0: empty
  };

  explicit CHashMap(int32_t initial_capacity = 8, DeleteFn on_delete = nullptr) : delete_fn_(on_delete) {
    Allocate(RoundCapacity(initial_capacity));
  }
  ~CHashMap() {
    Clear();
    if (entries_ != EmptyTable()) KV_FREE(entries_);
  }
  CHashMap(const CHashMap&) = delete;
  CHashMap& operator=(const CHashMap&) = delete;

  void Insert(K key, V value) {
    if (capacity_ == 0 && !Allocate(min_capacity_)) return;  // the failure handler has reported it
    if (count_ > grow_threshold_) Rehash(capacity_ * 2);
    if (count_ == capacity_) return;  // growth failed and there is no room: the insert is dropped
    Place(HashOf(key), key, value, true);
  }

  V* Find(K key) {
    Entry* entry = FindEntry(key);
    return entry != nullptr ? &entry->value : nullptr;
  }
  const V* Find(K key) const {
    const Entry* entry = FindEntry(key);
    return entry != nullptr ? &entry->value : nullptr;
  }
  bool Contains(K key) const { return FindEntry(key) != nullptr; }

  bool Delete(K key) {
    Entry* entry = FindEntry(key);
    if (entry == nullptr) return false;
    if (delete_fn_ != nullptr) delete_fn_(&entry->key, &entry->value);
    RemoveAt(static_cast<int32_t>(entry - entries_));
    return true;
  }

  // Empties the map, keeping its capacity.
  void Clear() {
    for (int32_t i = 0; i < capacity_; ++i) {
      Entry& entry = entries_[i];
      if (entry.hash == 0) continue;
      if (delete_fn_ != nullptr) delete_fn_(&entry.key, &entry.value);
      std::memset(static_cast<void*>(&entry), 0, sizeof(Entry));
    }
    count_ = 0;
  }

  int32_t Count() const { return count_; }
  int32_t Capacity() const { return capacity_; }
  int32_t GrowThreshold() const { return grow_threshold_; }

  // fn(const K&, const V&) for every entry, in table order.
  template <class Fn>
  void ForEach(Fn&& fn) const {
    for (int32_t i = 0; i < capacity_; ++i) {
      if (entries_[i].hash != 0) fn(static_cast<const K&>(entries_[i].key), static_cast<const V&>(entries_[i].value));
    }
  }

  // Iteration that can stop early: start with *position = 0; each call gives the next entry in
  // table order and moves *position past it. The map must not change during the walk.
  bool Next(int32_t* position, K* key, V** value) {
    for (int32_t i = *position < 0 ? 0 : *position; i < capacity_; ++i) {
      if (entries_[i].hash == 0) continue;
      *key = entries_[i].key;
      *value = &entries_[i].value;
      *position = i + 1;
      return true;
    }
    *position = capacity_;
    return false;
  }

  // For tests of the table's invariants: the stored hash (0 when empty) and the probe distance
  // (-1 when empty) at a position.
  uint32_t DebugHash(int32_t position) const {
    if (position < 0 || position >= capacity_) return 0;
    return entries_[position].hash;
  }
  int32_t DebugDistance(int32_t position) const {
    const uint32_t hash = DebugHash(position);
    return hash == 0 ? -1 : DistanceOf(hash, position);
  }

 private:
  // The key's hash as stored: 31 bits and never 0, whatever the key's traits give.
  static uint32_t HashOf(const K& key) { return Hash_NonZero(Key::Hash(key) & kHashMask); }

  static int32_t RoundCapacity(int32_t wanted) {
    int32_t capacity = 1;
    while (capacity < wanted && capacity < (1 << 30)) capacity <<= 1;
    return capacity;
  }

  // Stands in for the entries while there are none (only after a failed allocation), so that
  // lookups need no test of their own: its one entry is empty and the mask is 0.
  static Entry* EmptyTable() {
    alignas(Entry) static unsigned char storage[sizeof(Entry)] = {};
    return reinterpret_cast<Entry*>(storage);
  }

  bool Allocate(int32_t capacity) {
    min_capacity_ = capacity;
    auto* entries = static_cast<Entry*>(KV_CALLOC(sizeof(Entry) * static_cast<size_t>(capacity)));
    if (entries == nullptr) return false;
    entries_ = entries;
    SetCapacity(capacity);
    return true;
  }

  void SetCapacity(int32_t capacity) {
    capacity_ = capacity;
    mask_ = capacity - 1;
    grow_threshold_ = static_cast<int32_t>(capacity * 0.6);
  }

  int32_t DistanceOf(uint32_t hash, int32_t position) const {
    return (position - static_cast<int32_t>(hash & static_cast<uint32_t>(mask_))) & mask_;
  }

  // The walk ends at an empty entry, or once d passes the resident's distance; d reaches the
  // capacity at the latest, which is above every distance, so even a full table ends the walk.
  // Most keys sit at their home position, so that probe is taken out of the loop.
  Entry* FindEntry(K key) const {
    const uint32_t hash = HashOf(key);
    const auto mask = static_cast<uint32_t>(mask_);
    uint32_t position = hash & mask;
    Entry* entry = &entries_[position];
    if (entry->hash == hash && Key::Equal(entry->key, key)) return entry;
    for (int32_t d = 0; entry->hash != 0 && d <= DistanceOf(entry->hash, static_cast<int32_t>(position)); ++d) {
      position = (position + 1) & mask;
      entry = &entries_[position];
      if (entry->hash == hash && Key::Equal(entry->key, key)) return entry;
    }
    return nullptr;
  }

  // The robin-hood walk: an entry closer to its home than the item being carried gives up its
  // place, and the walk goes on with the evicted entry.
  void Place(uint32_t hash, K key, V value, bool may_replace) {
    int32_t position = static_cast<int32_t>(hash & static_cast<uint32_t>(mask_));
    int32_t d = 0;
    for (;;) {
      Entry& entry = entries_[position];
      if (entry.hash == 0) {
        entry.value = value;
        entry.key = key;
        entry.hash = hash;
        ++count_;
        return;
      }
      const int32_t resident = DistanceOf(entry.hash, position);
      if (resident < d) {
        std::swap(entry.hash, hash);
        std::swap(entry.key, key);
        std::swap(entry.value, value);
        d = resident;
        may_replace = false;  // the evicted entry is unique in the table
      } else if (may_replace && resident == d && entry.hash == hash && Key::Equal(entry.key, key)) {
        Replace(&entry, key, value);
        return;
      }
      position = (position + 1) & mask_;
      ++d;
    }
  }

  void Replace(Entry* entry, const K& key, const V& value) {
    const bool same = std::memcmp(&entry->key, &key, sizeof(K)) == 0 && std::memcmp(&entry->value, &value, sizeof(V)) == 0;
    if (same) return;
    if (delete_fn_ != nullptr) delete_fn_(&entry->key, &entry->value);
    entry->key = key;
    entry->value = value;
  }

  // Backward-shift removal: each following entry that is away from its home moves back by one.
  void RemoveAt(int32_t position) {
    for (int32_t step = 0; step < mask_; ++step) {
      const int32_t next = (position + 1) & mask_;
      const Entry& following = entries_[next];
      if (following.hash == 0 || DistanceOf(following.hash, next) == 0) break;
      entries_[position] = following;
      position = next;
    }
    std::memset(static_cast<void*>(&entries_[position]), 0, sizeof(Entry));
    --count_;
  }

  void Rehash(int32_t capacity) {
    if (capacity > (1 << 30)) return;
    auto* fresh = static_cast<Entry*>(KV_CALLOC(sizeof(Entry) * static_cast<size_t>(capacity)));
    if (fresh == nullptr) return;  // keep the old table; the failure handler has reported it
    Entry* old = entries_;
    const int32_t old_capacity = capacity_;
    entries_ = fresh;
    SetCapacity(capacity);
    count_ = 0;
    for (int32_t i = 0; i < old_capacity; ++i) {
      if (old[i].hash != 0) Place(old[i].hash, old[i].key, old[i].value, false);
    }
    if (old != EmptyTable()) KV_FREE(old);
  }

  int32_t capacity_ = 0;  // 0 while entries_ is the empty stand-in
  int32_t count_ = 0;
  int32_t mask_ = 0;
  int32_t grow_threshold_ = 0;
  Entry* entries_ = EmptyTable();
  DeleteFn delete_fn_ = nullptr;
  int32_t min_capacity_ = 0;
};

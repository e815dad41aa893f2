#pragma once
// CDS_Map: the script map. A chained hash table with a fixed power-of-two bucket count (256 unless
// ds_map_create asks otherwise; it never grows), so with 100000 keys a lookup walks a chain of a
// few hundred entries. A bucket's chain is kept as a packed run of (hash, record) pairs, so the walk
// reads consecutive hashes and touches a record only when its hash matches. New keys go to the
// chain's tail; deleting closes the gap, keeping the order of the rest.
//
// Key hash: a string's CRC over its bytes (empty and null strings 0xFFFFFFFF); array, pointer and
// object keys the CRC of their 8 value bytes; undefined 0; a real the CRC of its 8 bytes; int32,
// int64, bool and ref converted to double first. The CRC starts at 0xFFFFFFFF with no final
// inversion. Two keys match when their hashes are equal and they compare equal under
// g_DsPrecision, so 1 and int32 1 are one key, 1 and "1" two, and 1 and 1.000000001 two whatever
// the precision. Other key kinds raise "Illegal key type for ds_map".
//
// Iteration order (first, next, keys, values, write) is buckets in ascending order, each chain from
// head to tail: the same inserts give the same order on every run. Values keep their nesting marks
// inside; the accessors that hand values out clear them.
#include <cstdint>

#include "storage/ds_core.h"

class DsReader;
class DsWriter;

class CDS_Map final : public DsStructure {
 public:
  static constexpr DsKind kKind = kDsMap;
  static constexpr int32_t kDefaultBuckets = 256;
  static constexpr int32_t kMaxBuckets = 1 << 20;

  // A bucket count that isn't a power of two is rounded up to one; below 1 gives the default and
  // above kMaxBuckets gives kMaxBuckets.
  explicit CDS_Map(int32_t buckets = kDefaultBuckets);
  ~CDS_Map() override;

  int32_t size() const { return count_; }
  int32_t bucket_count() const { return static_cast<int32_t>(mask_ + 1); }

  // The key's hash; raises "Illegal key type for ds_map" and returns false for other kinds.
  static bool key_hash(const RValue& key, uint32_t* hash);

  // The stored value (marks kept), or null when absent or the key is illegal.
  RValue* find(const RValue& key) const;
  // Adds a new key; false with no change when it exists (or the key is illegal).
  bool add(const RValue& key, const RValue& value);
  // Adds or overwrites. old, when given, receives the previous value (marks kept; undefined for a
  // new key) and must hold nothing to free.
  void set(const RValue& key, const RValue& value, RValue* old = nullptr);
  bool remove(const RValue& key);

  // Keys in iteration order; null at the ends and for a key that isn't present.
  const RValue* first_key() const;
  const RValue* last_key() const;
  const RValue* next_key(const RValue& key) const;
  const RValue* previous_key(const RValue& key) const;

  // Calls visit(key, value) for each record in iteration order.
  template <class Visit>
  void for_each(Visit&& visit) const {
    for (uint32_t b = 0; b <= mask_; ++b) {
      const Bucket& bucket = buckets_[b];
      for (int32_t i = 0; i < bucket.count; ++i) visit(bucket.entries[i].record->key, bucket.entries[i].record->value);
    }
  }

  // Clears this map and copies src's records with their marks, keeping this map's bucket count.
  void copy_from(const CDS_Map& src);
  void clear_values() override;
  void for_each_value(DsValueVisitor visit, void* context) const override;

  void write(DsWriter& out) const;
  // Replaces the contents; false (and empty) when the stream is damaged.
  bool read(DsReader& in, bool legacy);

 private:
  // A record is the 32 bytes of key and value; a chain entry pairs it with the key's hash.
  struct Record {
    RValue key;
    RValue value;
  };
  struct Entry {
    uint32_t hash;
    Record* record;
  };
  struct Bucket {
    Entry* entries;
    int32_t count;
    int32_t capacity;
  };
  // Where a key sits: its bucket and its index in the chain.
  struct Place {
    uint32_t bucket;
    int32_t index;
  };

  bool locate(const RValue& key, uint32_t hash, Place* place) const;
  bool locate(const RValue& key, Place* place) const;
  Record* record_at(Place place) const { return buckets_[place.bucket].entries[place.index].record; }
  void append(const RValue& key, uint32_t hash, const RValue& value);
  void free_record(Record* record);
  // The first entry at or after bucket b, or the last one before it; null when there is none.
  const Record* first_from(uint32_t b) const;
  const Record* last_before(uint32_t b) const;

  Bucket* buckets_ = nullptr;
  uint32_t mask_ = 0;
  int32_t count_ = 0;
};

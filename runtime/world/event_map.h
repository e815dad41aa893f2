#pragma once
// CEvent and CEventMap: the code of one event of an object type, and the map from event key
// ((type << 32) | subtype) to CEvent* that every object type holds, its own rows and the inherited
// ones alike. An inherited row points at the ancestor's CEvent, whose ownerObject differs from the
// object whose map holds it.
//
// The map is open addressing with Robin Hood displacement. hash = ((key * 0x9E3779B97F4A7C55) >> 32)
// + 1, AND 0x7FFFFFFF, on the full 64-bit product; a hash of 0 marks an empty row. The slot is hash
// AND (capacity - 1); capacity starts at 8 and doubles, with every row inserted again, when the count
// before an insertion is above (int)(capacity * 0.6). Lookups stop at an empty row or when their
// probe distance passes the resident's; a removal shifts the following run back by one. The map does
// not own the CEvents it points at: they belong to the object type that wrote them.
#include <cstdint>

class CCode;

struct CEvent {
  CCode* code = nullptr;
  int32_t ownerObject = -1;
  int32_t codeIndex = -1;  // the first action's code index; code is made from it
};

inline uint64_t Event_Key(int32_t type, int32_t subtype) {
  return (static_cast<uint64_t>(static_cast<uint32_t>(type)) << 32) | static_cast<uint32_t>(subtype);
}
inline int32_t Event_KeyType(uint64_t key) { return static_cast<int32_t>(key >> 32); }
inline int32_t Event_KeySubtype(uint64_t key) { return static_cast<int32_t>(key & 0xFFFFFFFFu); }

class CEventMap {
 public:
  struct Row {
    CEvent* value;
    uint64_t key;
    uint32_t hash;  // 0: empty
  };

  CEventMap();
  ~CEventMap();
  CEventMap(const CEventMap&) = delete;
  CEventMap& operator=(const CEventMap&) = delete;

  static uint32_t Hash(uint64_t key);

  // Inserts or replaces.
  void Insert(uint64_t key, CEvent* value);
  CEvent* Find(uint64_t key) const;
  bool Contains(uint64_t key) const { return Find(key) != nullptr; }
  bool Remove(uint64_t key);
  void Clear();

  int32_t Count() const { return count_; }
  int32_t Capacity() const { return capacity_; }
  // Rows in table order, empty ones included (hash 0); any insert or removal may reorder them.
  const Row& RowAt(int32_t index) const { return rows_[index]; }

 private:
  void Grow();
  void Place(uint64_t key, CEvent* value, uint32_t hash);
  int32_t Distance(uint32_t hash, int32_t slot) const {
    return (slot + capacity_ - static_cast<int32_t>(hash & static_cast<uint32_t>(capacity_ - 1))) &
           (capacity_ - 1);
  }

  Row* rows_ = nullptr;
  int32_t capacity_ = 0;
  int32_t count_ = 0;
  int32_t limit_ = 0;
};

#include "world/event_map.h"

#include "core/memory.h"

namespace {

constexpr int32_t kInitialCapacity = 8;

int32_t limit_of(int32_t capacity) { return static_cast<int32_t>(capacity * 0.6); }

}  // namespace

CEventMap::CEventMap() {
  capacity_ = kInitialCapacity;
  limit_ = limit_of(capacity_);
  rows_ = static_cast<Row*>(KV_CALLOC(sizeof(Row) * capacity_));
}

CEventMap::~CEventMap() { KV_FREE(rows_); }

uint32_t CEventMap::Hash(uint64_t key) {
  const uint64_t product = key * 0x9E3779B97F4A7C55ull;
  return (static_cast<uint32_t>(product >> 32) + 1u) & 0x7FFFFFFFu;
}

void CEventMap::Grow() {
  Row* old = rows_;
  const int32_t old_capacity = capacity_;
  capacity_ *= 2;
  limit_ = limit_of(capacity_);
  rows_ = static_cast<Row*>(KV_CALLOC(sizeof(Row) * capacity_));
  count_ = 0;
  for (int32_t i = 0; i < old_capacity; ++i) {
    if (old[i].hash != 0) Place(old[i].key, old[i].value, old[i].hash);
  }
  KV_FREE(old);
}

void CEventMap::Place(uint64_t key, CEvent* value, uint32_t hash) {
  const int32_t mask = capacity_ - 1;
  int32_t slot = static_cast<int32_t>(hash & static_cast<uint32_t>(mask));
  int32_t distance = 0;
  Row carry{value, key, hash};
  for (;;) {
    Row& row = rows_[slot];
    if (row.hash == 0) {
      row = carry;
      ++count_;
      return;
    }
    if (row.hash == carry.hash && row.key == carry.key) {
      row.value = carry.value;
      return;
    }
    const int32_t resident = Distance(row.hash, slot);
    if (resident < distance) {
      const Row swapped = row;
      row = carry;
      carry = swapped;
      distance = resident;
    }
    slot = (slot + 1) & mask;
    ++distance;
  }
}

void CEventMap::Insert(uint64_t key, CEvent* value) {
  if (count_ > limit_) Grow();
  Place(key, value, Hash(key));
}

CEvent* CEventMap::Find(uint64_t key) const {
  const uint32_t hash = Hash(key);
  const int32_t mask = capacity_ - 1;
  int32_t slot = static_cast<int32_t>(hash & static_cast<uint32_t>(mask));
  for (int32_t distance = 0;; ++distance) {
    const Row& row = rows_[slot];
    if (row.hash == 0 || distance > Distance(row.hash, slot)) return nullptr;
    if (row.hash == hash && row.key == key) return row.value;
    slot = (slot + 1) & mask;
  }
}

bool CEventMap::Remove(uint64_t key) {
  const uint32_t hash = Hash(key);
  const int32_t mask = capacity_ - 1;
  int32_t slot = static_cast<int32_t>(hash & static_cast<uint32_t>(mask));
  for (int32_t distance = 0;; ++distance) {
    const Row& row = rows_[slot];
    if (row.hash == 0 || distance > Distance(row.hash, slot)) return false;
    if (row.hash == hash && row.key == key) break;
    slot = (slot + 1) & mask;
  }
  // Backward shift: pull the following run one row closer to home until an empty row or a row
  // that already stands at home.
  for (;;) {
    const int32_t next = (slot + 1) & mask;
    if (rows_[next].hash == 0 || Distance(rows_[next].hash, next) == 0) {
      rows_[slot] = Row{nullptr, 0, 0};
      break;
    }
    rows_[slot] = rows_[next];
    slot = next;
  }
  --count_;
  return true;
}

void CEventMap::Clear() {
  for (int32_t i = 0; i < capacity_; ++i) rows_[i] = Row{nullptr, 0, 0};
  count_ = 0;
}

#pragma once
// List<T>: a list of T pointers in 16 bytes (the storage pointer, the capacity and the used count),
// made with room for 32 and doubling when full. It is what the lists of active instances are: they
// are cleared and rebuilt when marked dirty, so the common operations are Clear and Add. Storage
// comes from the memory manager; a list whose first block could not be had starts empty and tries
// again on the first Add. The list doesn't own what its pointers point at. No locks.
#include <cassert>
#include <cstdint>
#include <cstring>

#include "core/memory.h"

template <class T>
class List {
 public:
  static constexpr int32_t kInitialCapacity = 32;

  List() { Reserve(kInitialCapacity); }
  ~List() { KV_FREE(items_); }
  List(const List&) = delete;
  List& operator=(const List&) = delete;

  // Appends item, doubling the storage when full; false when memory ran out.
  bool Add(T* item) {
    if (used_ == capacity_) {
      if (capacity_ >= (1 << 30) || !Reserve(capacity_ > 0 ? capacity_ * 2 : kInitialCapacity)) return false;
    }
    items_[used_++] = item;
    return true;
  }

  // Removes the element at index, keeping the order of the rest.
  void RemoveAt(int32_t index) {
    assert(index >= 0 && index < used_);
    std::memmove(&items_[index], &items_[index + 1], sizeof(T*) * static_cast<size_t>(used_ - index - 1));
    --used_;
  }

  // Removes the first occurrence of item; false when absent.
  bool Remove(const T* item) {
    const int32_t index = IndexOf(item);
    if (index < 0) return false;
    RemoveAt(index);
    return true;
  }

  int32_t IndexOf(const T* item) const {
    for (int32_t i = 0; i < used_; ++i) {
      if (items_[i] == item) return i;
    }
    return -1;
  }
  bool Contains(const T* item) const { return IndexOf(item) >= 0; }

  // Forgets the elements, keeping the storage.
  void Clear() { used_ = 0; }

  int32_t Count() const { return used_; }
  int32_t Capacity() const { return capacity_; }
  T* operator[](int32_t index) const {
    assert(index >= 0 && index < used_);
    return items_[index];
  }
  T** begin() const { return items_; }
  T** end() const { return items_ + used_; }

 private:
  bool Reserve(int32_t capacity) {
    auto* grown = static_cast<T**>(KV_REALLOC(items_, sizeof(T*) * static_cast<size_t>(capacity)));
    if (grown == nullptr) return false;
    items_ = grown;
    capacity_ = capacity;
    return true;
  }

  T** items_ = nullptr;
  int32_t capacity_ = 0;
  int32_t used_ = 0;
};
static_assert(sizeof(List<void>) == 16);

#pragma once
// cArray<T>: the growing array of asset and resource tables, where an element's index is its id.
// A deleted element stays in place as null, so indices never shift; setting the length reallocates
// through the memory manager, which zero-fills the new tail (new elements are null), and shrinking
// deletes the elements that fall off first. Virtual operations, in slot order: the deleting
// destructor, DeleteElement.
// cOwningArrayDelete<T> owns objects made with KV_NEW and destroys them with KV_Delete (single
// inheritance: the pointer must be the object's start); cOwningArrayFree<T> owns blocks of the
// memory manager and frees them. Both delete every element in their destructor.
// Out-of-range reads give null, out-of-range writes are refused; operator[] is for checked indices.
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "core/memory.h"

template <class T>
class cArray {
  static_assert(std::is_trivially_copyable_v<T>, "cArray elements are moved as plain bytes");

 public:
  cArray() = default;
  explicit cArray(int64_t initial_length) { SetLength(initial_length); }
  virtual ~cArray() { KV_FREE(data); }
  cArray(const cArray&) = delete;
  cArray& operator=(const cArray&) = delete;

  // Clears the element at index; false for an index outside the array or an array without data.
  virtual bool DeleteElement(int64_t index) {
    if (!InRange(index)) return false;
    data[index] = T{};
    return true;
  }

  // Reallocates to n elements. Elements past n are deleted first; new elements are null. False
  // (nothing changed) for a negative or unrepresentable length, or when memory ran out.
  bool SetLength(int64_t n) {
    if (n < 0 || static_cast<uint64_t>(n) > SIZE_MAX / sizeof(T)) return false;
    for (int64_t i = n; i < length; ++i) DeleteElement(i);
    if (n == 0) {
      KV_FREE(data);
      data = nullptr;
      length = 0;
      return true;
    }
    T* grown = static_cast<T*>(KV_REALLOC(data, static_cast<size_t>(n) * sizeof(T)));
    if (grown == nullptr) return false;
    data = grown;
    length = n;
    return true;
  }

  bool InRange(int64_t index) const { return data != nullptr && index >= 0 && index < length; }

  T Get(int64_t index) const { return InRange(index) ? data[index] : T{}; }
  bool Set(int64_t index, T value) {
    if (!InRange(index)) return false;
    data[index] = value;
    return true;
  }
  T& operator[](int64_t index) {
    assert(InRange(index));
    return data[index];
  }
  const T& operator[](int64_t index) const {
    assert(InRange(index));
    return data[index];
  }

  // Appends one element; its index, or -1 when memory ran out.
  int64_t Add(T value) {
    const int64_t index = length;
    if (!SetLength(length + 1)) return -1;
    data[index] = value;
    return index;
  }

  // The lowest index holding null, or -1 when every element is in use.
  int64_t FindFree() const {
    for (int64_t i = 0; i < length; ++i) {
      if (data[i] == T{}) return i;
    }
    return -1;
  }

  // Stores value at the lowest free index, growing by one when there is none; -1 when memory ran out.
  int64_t Put(T value) {
    const int64_t index = FindFree();
    if (index < 0) return Add(value);
    data[index] = value;
    return index;
  }

  int64_t length = 0;
  T* data = nullptr;
};

template <class T>
class cOwningArrayDelete : public cArray<T> {
  static_assert(std::is_pointer_v<T>, "cOwningArrayDelete holds pointers to objects");

 public:
  using cArray<T>::cArray;
  ~cOwningArrayDelete() override {
    for (int64_t i = 0; i < this->length; ++i) DeleteElement(i);
  }

  bool DeleteElement(int64_t index) override {
    if (!this->InRange(index)) return false;
    KV_Delete(this->data[index]);
    this->data[index] = nullptr;
    return true;
  }
};

template <class T>
class cOwningArrayFree : public cArray<T> {
  static_assert(std::is_pointer_v<T>, "cOwningArrayFree holds pointers to blocks");

 public:
  using cArray<T>::cArray;
  ~cOwningArrayFree() override {
    for (int64_t i = 0; i < this->length; ++i) DeleteElement(i);
  }

  bool DeleteElement(int64_t index) override {
    if (!this->InRange(index)) return false;
    MemoryManager::Free(const_cast<void*>(static_cast<const void*>(this->data[index])));
    this->data[index] = nullptr;
    return true;
  }
};

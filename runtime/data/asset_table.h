#pragma once
// AssetTable<T>: the table of one asset kind, filled from a pointer-list chunk. A slot's number is
// its position in the file's list; a zero offset leaves the slot empty and later assets keep their
// numbers. Beside each object stands its name, a copy the running game may change; objects keep
// pointers into the data image for everything else. get() and name() give null for an empty or
// out-of-range slot. Loading runs on the main thread; nothing here locks.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

template <class T>
class AssetTable {
 public:
  // Empties the table and makes `count` empty slots.
  void reset(uint32_t count) {
    slots_.clear();
    slots_.resize(count);
  }
  void clear() { slots_.clear(); }

  // Fills slot `index` (which reset made); a null name is kept as "".
  T* set(uint32_t index, std::unique_ptr<T> item, const char* name) {
    if (index >= slots_.size()) return nullptr;
    slots_[index].item = std::move(item);
    slots_[index].name = name != nullptr ? name : "";
    return slots_[index].item.get();
  }
  // Appends a slot (assets made while the game runs).
  int32_t add(std::unique_ptr<T> item, const char* name) {
    slots_.push_back(Slot{std::move(item), name != nullptr ? name : ""});
    return static_cast<int32_t>(slots_.size()) - 1;
  }
  // Empties one slot; its number stays taken.
  void remove(int32_t index) {
    if (in_range(index)) slots_[index] = Slot{};
  }

  int32_t count() const { return static_cast<int32_t>(slots_.size()); }
  T* get(int32_t index) const { return in_range(index) ? slots_[index].item.get() : nullptr; }
  const char* name(int32_t index) const {
    return in_range(index) && slots_[index].item ? slots_[index].name.c_str() : nullptr;
  }
  bool set_name(int32_t index, const char* name) {
    if (!in_range(index) || !slots_[index].item) return false;
    slots_[index].name = name != nullptr ? name : "";
    return true;
  }
  // The first filled slot with exactly this name, or -1.
  int32_t find(const char* name) const {
    if (name == nullptr) return -1;
    for (size_t i = 0; i < slots_.size(); ++i) {
      if (slots_[i].item && std::strcmp(slots_[i].name.c_str(), name) == 0) return static_cast<int32_t>(i);
    }
    return -1;
  }

 private:
  struct Slot {
    std::unique_ptr<T> item;
    std::string name;
  };
  bool in_range(int32_t index) const { return index >= 0 && static_cast<size_t>(index) < slots_.size(); }

  std::vector<Slot> slots_;
};

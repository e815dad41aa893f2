#pragma once
// The common ground of animation curves and sequences: every one of their script-visible objects
// is a CSequenceBaseClass, a KVObjectBase of the struct kind with a class name and two stamps for
// cached results, and its fields reach scripts as properties of one shared prototype per class.
//
// Stamps: GlobalChangeCounter grows with each edit; an edited object takes the new value as its
// changeStamp, and a cache remembers in checkStamp when it last compared. IsDirtySince(stamp) asks
// whether the object or one of its parts changed after the stamp, so the common case of a cache
// that is still good costs one integer compare.
//
// Properties: a ScriptStructClass holds the struct name and the property rows of a class; its
// prototype is made on first use, held by the collector's roots, and forgets itself when the
// collector frees it at a reset. Getters and setters check that self really is of the class (a
// script may lend the prototype to another struct) and do nothing for anything else.
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "core/gc.h"
#include "core/object.h"

extern uint32_t GlobalChangeCounter;

class CSequenceBaseClass : public KVObjectBase {
 public:
  CSequenceBaseClass() : KVObjectBase(kObjStruct) {}
  // Whether this object or a part of it changed after stamp.
  virtual bool IsDirtySince(uint32_t stamp) const { return changeStamp > stamp; }
  // Records an edit.
  void Touch() { changeStamp = ++GlobalChangeCounter; }

  uint32_t changeStamp = 0;
  uint32_t checkStamp = 0;
};

struct ScriptStructProperty {
  const char* name;
  KVPropertyFn get;
  KVPropertyFn set;  // null: read-only ("Unable to set property")
};

class ScriptStructClass {
 public:
  ScriptStructClass(const char* name, std::initializer_list<ScriptStructProperty> properties)
      : name_(name), properties_(properties) {}
  ScriptStructClass(const ScriptStructClass&) = delete;
  ScriptStructClass& operator=(const ScriptStructClass&) = delete;

  const char* name() const { return name_; }
  // The shared prototype holding the property objects.
  KVObjectBase* prototype();
  // Gives a new object its class name and prototype and registers it with the collector.
  void adopt(KVObjectBase* object);
  // A new object of class T, adopted.
  template <class T>
  T* make() {
    T* object = new T();
    adopt(object);
    return object;
  }

 private:
  friend class ScriptStructPrototype;
  const char* name_;
  std::vector<ScriptStructProperty> properties_;
  KVObjectBase* prototype_ = nullptr;
};

// The shape of a property getter or setter (KVPropertyFn).
#define SEQUENCE_PROPERTY(fn)                                                                                 \
  void fn([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
          [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv, [[maybe_unused]] int32_t index)

// The object of a property call as T, or null when self is something else.
template <class T>
T* Sequence_Self(CInstance* self) {
  return dynamic_cast<T*>(KV_AsObject(self));
}

// Property helpers. A property that isn't an array refuses an index with "trying to index a
// property which is not an array" (true: the caller stops).
bool SequenceProperty_RefuseIndex(int32_t index);
// Sequence_Self for a property that isn't an array: null after refusing an index.
template <class T>
T* SequenceProperty_Self(CInstance* self, int32_t index) {
  if (SequenceProperty_RefuseIndex(index)) return nullptr;
  return Sequence_Self<T>(self);
}
void SequenceProperty_SetString(RValue* result, const char* text);
// A new array of the objects, in order (null entries read as undefined).
template <class T>
void SequenceProperty_SetObjects(RValue* result, const std::vector<T*>& objects);
void SequenceProperty_SetObjectArray(RValue* result, KVObjectBase* const* objects, size_t count);
template <class T>
void SequenceProperty_SetObjects(RValue* result, const std::vector<T*>& objects) {
  SequenceProperty_SetObjectArray(result, reinterpret_cast<KVObjectBase* const*>(objects.data()), objects.size());
}
// Reads an array of objects of class T for the property setter of `what` ("tracks", "points",
// ...): each entry must be a T, else "Entry %d in array passed to <what> property is not <noun>"
// is raised and false returned. A value that isn't an array raises the same for entry 0.
template <class T>
bool SequenceProperty_ReadObjects(const RValue& value, const char* what, const char* noun, std::vector<T*>* out);
bool SequenceProperty_ArrayEntry(const RValue& value, int32_t i, KVObjectBase** out);
int32_t SequenceProperty_ArrayLength(const RValue& value);
void SequenceProperty_RaiseEntry(int32_t i, const char* what, const char* noun);

template <class T>
bool SequenceProperty_ReadObjects(const RValue& value, const char* what, const char* noun, std::vector<T*>* out) {
  const int32_t length = SequenceProperty_ArrayLength(value);
  if (length < 0) {
    SequenceProperty_RaiseEntry(0, what, noun);
    return false;
  }
  std::vector<T*> read;
  read.reserve(static_cast<size_t>(length));
  for (int32_t i = 0; i < length; ++i) {
    KVObjectBase* object = nullptr;
    T* typed = SequenceProperty_ArrayEntry(value, i, &object) ? dynamic_cast<T*>(object) : nullptr;
    if (typed == nullptr) {
      SequenceProperty_RaiseEntry(i, what, noun);
      return false;
    }
    read.push_back(typed);
  }
  *out = std::move(read);
  return true;
}

// Stores a child object under parent: the collector learns of the edge.
void Sequence_LinkChild(KVObjectBase* parent, KVObjectBase* child);
// Marks every object of the list (the Mark override of a holder).
template <class T>
void Sequence_MarkAll(const std::vector<T*>& objects);
void Sequence_MarkObject(KVObjectBase* object);
template <class T>
void Sequence_MarkAll(const std::vector<T*>& objects) {
  for (T* object : objects) Sequence_MarkObject(object);
}

// A table of script-visible objects by id: the data file's objects stand at their positions in the
// chunk's list and are held by the collector's roots; objects made while the game runs take the
// lowest free slot and are left to the collector, which takes them out when it frees them. T has an
// `index` field, -1 while it is in no table.
template <class T>
class ScriptObjectTable {
 public:
  T* get(int32_t id) const {
    return id >= 0 && static_cast<size_t>(id) < slots_.size() ? slots_[static_cast<size_t>(id)] : nullptr;
  }
  int32_t add(T* object) {
    size_t slot = 0;
    while (slot < slots_.size() && slots_[slot] != nullptr) ++slot;
    if (slot == slots_.size()) slots_.push_back(nullptr);
    slots_[slot] = object;
    object->index = static_cast<int32_t>(slot);
    return object->index;
  }
  void remove(T* object) {
    if (get(object->index) == object) slots_[static_cast<size_t>(object->index)] = nullptr;
    object->index = -1;
  }
  bool is_asset(const T* object) const {
    return object != nullptr && object->index >= 0 && static_cast<size_t>(object->index) < assets_;
  }
  // Empties the table and makes `count` slots for the data file's objects.
  void reset_assets(size_t count) {
    free_all();
    slots_.assign(count, nullptr);
    assets_ = count;
  }
  // Puts a data file's object at its slot, held for the game.
  void set_asset(int32_t id, T* object) {
    GCAddRoot(object);
    slots_[static_cast<size_t>(id)] = object;
    object->index = id;
  }
  // Empties the table and lets go of the data file's objects.
  void free_all() {
    const std::vector<T*> held = slots_;
    for (size_t i = 0; i < held.size(); ++i) {
      if (held[i] == nullptr) continue;
      if (i < assets_) GCRemoveRoot(held[i]);
      remove(held[i]);
    }
    slots_.clear();
    assets_ = 0;
  }

 private:
  std::vector<T*> slots_;  // null for a free slot
  size_t assets_ = 0;      // slots below this hold the data file's objects
};

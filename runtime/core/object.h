#pragma once
// KVObjectBase: the base of everything a script can reference (structs, instances, arrays, function
// objects, weak references, proxies). Objects belong to the collector: they are registered at
// creation and freed by it, never by the code that made them.
#include <cstdint>

#include "core/rvalue.h"

enum KVObjectKind : int32_t {
  kObjStruct = 0,
  kObjInstance = 1,
  kObjAccessor = 2,
  kObjScriptRef = 3,
  kObjProperty = 4,
  kObjArray = 5,
  kObjWeakRef = 6,
  kObjContainer = 7,
  kObjKindCount = 8,
};

class CWeakRef;

class CInstanceBase {
 public:
  virtual ~CInstanceBase() = default;
};

class KVObjectBase : public CInstanceBase {
 public:
  explicit KVObjectBase(int32_t kind) : kind(kind) {}
  ~KVObjectBase() override = default;

  // Frees what the object owns; the collector calls it before the storage goes back.
  virtual void Free(bool /*free_now*/) {}
  virtual void FreeOnThread() {}
  virtual void PreFree() {}

  RValue* flatSlots = nullptr;
  KVObjectBase* next = nullptr;
  KVObjectBase* prev = nullptr;
  KVObjectBase* prototype = nullptr;
  const char* className = nullptr;
  void* getOwnProperty = nullptr;
  void* deleteProperty = nullptr;
  void* defineOwnProperty = nullptr;
  void* slotMap = nullptr;
  CWeakRef** weakRefs = nullptr;
  int32_t weakRefCount = 0;
  int32_t flatSlotCount = 0;
  uint32_t flags = 1;
  int32_t capacity = 0;
  uint32_t markStamp = 0;
  int32_t generation = 0;
  uint32_t birthStamp = 0;
  int32_t slotId = -1;
  int32_t kind;
  uint32_t defaultKind = kRVUnset;
};

// The script array: counted by the RValues that hold it, owned by the collector. owner is the mark
// that decides copy-on-write; 0 means none yet.
class RefDynamicArrayOfRValue final : public KVObjectBase {
 public:
  RefDynamicArrayOfRValue() : KVObjectBase(kObjArray) {}
  ~RefDynamicArrayOfRValue() override;
  void Free(bool free_now) override;

  int32_t refCount = 0;
  int32_t arrayFlags = 0;  // bit 0: immutable
  RValue* pArray = nullptr;
  int64_t owner = 0;
  int32_t length = 0;
};

constexpr int32_t kArrayImmutable = 1;

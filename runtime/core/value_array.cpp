// Array element access for compiled scripts: the write with create-in-place, copy-on-write by
// owner mark and zero-filled growth, and the checked read. Storage comes from the memory manager;
// its block size is the capacity, and every slot past length is kept real 0 so growth within the
// capacity needs no allocation.
#include <cstdint>
#include <cstring>

#include "core/error.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"

bool g_CopyOnWrite = true;
ArrayIndexFailure g_ArrayIndexFailure;

namespace {

// The memory manager's largest block, less its header.
constexpr int64_t kMaxElements = (static_cast<int64_t>(UINT32_MAX) - 64) / static_cast<int64_t>(sizeof(RValue));

int64_t capacity_of(const RefDynamicArrayOfRValue* array) {
  if (array->pArray == nullptr) return 0;
  return static_cast<int64_t>(MemoryManager::GetSize(array->pArray) / sizeof(RValue));
}

// Makes room for length elements, growing by half again so that appends are amortised.
bool reserve(RefDynamicArrayOfRValue* array, int32_t length) {
  const int64_t capacity = capacity_of(array);
  if (length <= capacity) return true;
  int64_t want = capacity + capacity / 2;
  if (want < length) want = length;
  if (want > kMaxElements) want = length;
  const size_t bytes = static_cast<size_t>(want) * sizeof(RValue);
  RValue* grown = length <= kMaxElements ? static_cast<RValue*>(KV_REALLOC(array->pArray, bytes)) : nullptr;
  if (grown == nullptr) {
    KVError("Memory allocation failed: Attempting to allocate %llu bytes", static_cast<unsigned long long>(bytes));
    return false;
  }
  array->pArray = grown;
  return true;
}

RefDynamicArrayOfRValue* copy_of(const RefDynamicArrayOfRValue* source) {
  RefDynamicArrayOfRValue* copy = RV_NewArray(source->length);
  GC_PushSelf(copy);
  for (int32_t i = 0; i < source->length; ++i) RV_CopyRef(&copy->pArray[i], &source->pArray[i]);
  GC_PopSelf();
  return copy;
}

bool points_into(const RValue* p, const RValue* base, int32_t length) {
  const auto at = reinterpret_cast<uintptr_t>(p);
  const auto start = reinterpret_cast<uintptr_t>(base);
  return base != nullptr && at >= start && at < start + static_cast<uintptr_t>(length) * sizeof(RValue);
}

// The element write of `a[i] = v`. rebase, when given, is re-pointed if it lay inside
// the array and the storage moved.
RValue* slot_for_write(RValue* value, int32_t index, const RValue** rebase) {
  RefDynamicArrayOfRValue* array = RV_Kind(*value) == kRVArray ? value->pArray : nullptr;
  if (array == nullptr) {
    if (RV_NeedsFree(*value)) RV_Free(value);
    array = RV_NewArray(0);
    value->pArray = array;
    value->flags = 0;
    value->kind = kRVArray;
  } else if (g_CopyOnWrite && array->owner != g_CurrentArrayOwner && array->refCount != 1) {
    RefDynamicArrayOfRValue* copy = copy_of(array);
    --array->refCount;
    value->pArray = array = copy;
  }
  if ((array->arrayFlags & kArrayImmutable) != 0) {
    KVError("Unable to write to immutable array");
    return nullptr;
  }
  if (index < 0) {
    g_ArrayIndexFailure.set = true;
    g_ArrayIndexFailure.index = index;
    g_ArrayIndexFailure.length = array->length;
    return nullptr;
  }
  if (index >= array->length) {
    if (index >= kMaxElements) {
      KVError("Memory allocation failed: Attempting to allocate %llu bytes",
              static_cast<unsigned long long>(index + 1) * sizeof(RValue));
      return nullptr;
    }
    const RValue* old_storage = array->pArray;
    const int32_t old_length = array->length;
    RV_ArraySetLength(array, index + 1);
    if (array->length != index + 1) return nullptr;  // the allocation failed with errors muted
    if (rebase != nullptr && array->pArray != old_storage && points_into(*rebase, old_storage, old_length)) {
      *rebase = array->pArray + (*rebase - old_storage);
    }
  }
  return &array->pArray[index];
}

}  // namespace

RefDynamicArrayOfRValue* RV_NewArray(int32_t length) {
  RefDynamicArrayOfRValue* array = KVCreateArray();
  array->owner = g_CurrentArrayOwner;
  GCWriteBarrier(GC_CurrentObject(), array);
  if (length > 0) RV_ArraySetLength(array, length);
  return array;
}

void RV_ArraySetLength(RefDynamicArrayOfRValue* array, int32_t length) {
  if (length < 0) length = 0;
  const int32_t old_length = array->length;
  if (length > old_length) {
    if (!reserve(array, length)) return;
    // Normally zero already; cleared again in case other code shrank the array without clearing.
    std::memset(static_cast<void*>(array->pArray + old_length), 0,
                static_cast<size_t>(length - old_length) * sizeof(RValue));
    array->length = length;
  } else if (length < old_length) {
    array->length = length;
    for (int32_t i = length; i < old_length; ++i) {
      RValue* element = &array->pArray[i];
      if (RV_NeedsFree(*element)) RV_Free(element);
      *element = RV_Real(0.0);
    }
  }
}

RValue* RV_ArrayElementForWrite(RValue* array_value, int32_t index) {
  return slot_for_write(array_value, index, nullptr);
}

void RV_ArrayWrite(RValue* array_value, int32_t index, const RValue* value) {
  // `a[i] = a`: the value is read before the write turns or copies it.
  struct Held {
    RValue v = RV_Undefined();
    ~Held() { RV_FreeToUndefined(&v); }
  } held;
  const RValue* source = value;
  if (value == array_value) {
    RV_CopyRef(&held.v, value);
    source = &held.v;
  }
  RValue* slot = slot_for_write(array_value, index, &source);
  if (slot != nullptr) RV_Assign(slot, source);
}

RValue* RV_ArrayElementForRead(RValue* array_value, int32_t index) {
  if (RV_Kind(*array_value) != kRVArray || array_value->pArray == nullptr) {
    KVError("trying to index variable that is not an array");
    return nullptr;
  }
  RefDynamicArrayOfRValue* array = array_value->pArray;
  if (array->owner == 0) array->owner = g_CurrentArrayOwner;
  if (index < 0 || index >= array->length) {
    KVError("index out of bounds request %d maximum size is %d", index, array->length);
    return nullptr;
  }
  return &array->pArray[index];
}

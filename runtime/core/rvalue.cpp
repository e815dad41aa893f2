// Construction, copy and free of values: the reference rules every other routine builds on.
#include "core/rvalue.h"

#include <cstring>
#include <mutex>

#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"

const RValue g_Undefined = RV_Undefined();
int64_t g_CurrentArrayOwner = 0;

namespace {

constexpr int32_t kConstantBit = static_cast<int32_t>(0x80000000u);

// Constant-initialised and never on the heap, so it costs no block of the memory manager.
std::mutex& string_mutex() {
  static constinit std::mutex mutex;
  return mutex;
}

// Empty texts share one constant: a record of size 0 without the constant bit would never free its
// text (only a size above 0 is freed).
constexpr char kEmptyText[] = "";

_RefThing* new_record(const char* text, int32_t size) {
  auto* record = static_cast<_RefThing*>(KV_ALLOC(sizeof(_RefThing)));
  record->text = text;
  record->refCount = 1;
  record->size = size;
  return record;
}

_RefThing* new_string_record(const char* text, int32_t length) {
  if (length <= 0) return new_record(kEmptyText, kConstantBit);
  auto* record = static_cast<_RefThing*>(KV_ALLOC(sizeof(_RefThing)));
  char* copy = static_cast<char*>(KV_ALLOC(static_cast<size_t>(length) + 1));
  if (length > 0) std::memcpy(copy, text, static_cast<size_t>(length));
  copy[length] = '\0';
  record->text = copy;
  record->refCount = 1;
  record->size = length;
  return record;
}

void take_array_owner(RefDynamicArrayOfRValue* array) {
  if (array->owner == 0) array->owner = g_CurrentArrayOwner;
}

}  // namespace

void RV_SetString(RValue* out, const char* text) {
  RV_SetStringLen(out, text, text != nullptr ? static_cast<int32_t>(std::strlen(text)) : 0);
}

void RV_SetStringLen(RValue* out, const char* text, int32_t length) {
  // The record is made before out is freed: text may be out's own.
  _RefThing* record = new_string_record(text != nullptr ? text : "", text != nullptr ? length : 0);
  if (RV_NeedsFree(*out)) RV_Free(out);
  out->pRefString = record;
  out->flags = 0;
  out->kind = kRVString;
}

void RV_SetStringConst(RValue* out, const char* text) {
  out->pRefString = new_record(text, text != nullptr ? (static_cast<int32_t>(std::strlen(text)) | kConstantBit) : 0);
  out->flags = 0;
  out->kind = kRVString;
}

void RV_SetStringOwned(RValue* out, char* text, int32_t length) {
  _RefThing* record;
  if (text == nullptr || length <= 0) {
    KV_FREE(text);
    record = new_record(kEmptyText, kConstantBit);
  } else {
    record = new_record(text, length);
  }
  if (RV_NeedsFree(*out)) RV_Free(out);
  out->pRefString = record;
  out->flags = 0;
  out->kind = kRVString;
}

const char* RV_StringText(const RValue& v) {
  if (RV_Kind(v) != kRVString || v.pRefString == nullptr || v.pRefString->text == nullptr) return "";
  return v.pRefString->text;
}

void RV_CopyRef(RValue* dst, const RValue* src) {
  *dst = *src;
  switch (RV_Kind(*src)) {
    case kRVString:
      if (src->pRefString != nullptr) __atomic_add_fetch(&src->pRefString->refCount, 1, __ATOMIC_RELAXED);
      break;
    case kRVArray:
      if (src->pArray != nullptr) {
        ++src->pArray->refCount;
        take_array_owner(src->pArray);
        GCWriteBarrier(GC_CurrentObject(), src->pArray);
      }
      break;
    case kRVObject:
      if (src->pObj != nullptr) GCWriteBarrier(GC_CurrentObject(), src->pObj);
      break;
    default:
      break;
  }
}

void RV_Free(RValue* v) {
  switch (RV_Kind(*v)) {
    case kRVString: {
      _RefThing* record = v->pRefString;
      v->pRefString = nullptr;
      if (record == nullptr) break;
      std::lock_guard<std::mutex> lock(string_mutex());
      if (--record->refCount <= 0) {
        if (record->size > 0) KV_FREE(const_cast<char*>(record->text));
        std::memset(record, 0, sizeof *record);
        KV_FREE(record);
      }
      break;
    }
    case kRVArray:
      if (v->pArray != nullptr) {
        take_array_owner(v->pArray);
        --v->pArray->refCount;
      }
      break;
    case kRVPtr:
      if ((v->flags & kRVFlagOwnsPointer) != 0 && v->ptr != nullptr) {
        KVObjectBase* object = static_cast<KVObjectBase*>(v->ptr);
        object->~KVObjectBase();
        KV_FREE(object);
        v->ptr = nullptr;
      }
      break;
    default:
      break;
  }
}

void RV_Assign(RValue* dst, const RValue* src) {
  if (dst == src) return;
  RefDynamicArrayOfRValue* protect = RV_Kind(*src) == kRVArray ? src->pArray : nullptr;
  if (protect != nullptr) ++protect->refCount;
  if (RV_NeedsFree(*dst)) RV_Free(dst);
  if (protect != nullptr) --protect->refCount;
  RV_CopyRef(dst, src);
}

void RV_SetArray(RValue* out, RefDynamicArrayOfRValue* array) {
  RValue value;
  value.pArray = array;
  value.flags = 0;
  value.kind = kRVArray;
  RV_Assign(out, &value);
}

RefDynamicArrayOfRValue* KVCreateArray() {
  auto* array = KV_NEW(RefDynamicArrayOfRValue);
  array->refCount = 1;
  GC_AddObject(array);
  return array;
}

RefDynamicArrayOfRValue::~RefDynamicArrayOfRValue() = default;

void RefDynamicArrayOfRValue::Free(bool /*free_now*/) {
  RValue* elements = pArray;
  const int32_t count = length;
  pArray = nullptr;
  length = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (RV_NeedsFree(elements[i])) RV_Free(&elements[i]);
  }
  KV_FREE(elements);
}

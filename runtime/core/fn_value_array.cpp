// The array builtins. Element reads and writes go through the compiled scripts' own routines
// (copy-on-write included); push, pop, insert, delete, resize and sort work on the caller's array
// in place. Builtins that store elements push the array as the collector's current object, so the
// write barrier sees the right parent.
#include <cstring>
#include <utility>
#include <vector>

#include "core/error.h"
#include "core/fn_value.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/rvalue.h"

namespace {

ValueCallHook g_call_hook = nullptr;

RefDynamicArrayOfRValue* array_of(const RValue& v) { return RV_Kind(v) == kRVArray ? v.pArray : nullptr; }

class GCSelfScope {
 public:
  explicit GCSelfScope(KVObjectBase* object) { GC_PushSelf(object); }
  ~GCSelfScope() { GC_PopSelf(); }
  GCSelfScope(const GCSelfScope&) = delete;
  GCSelfScope& operator=(const GCSelfScope&) = delete;
};

// A value that owns its reference until it goes out of scope.
struct HeldValue {
  RValue v = RV_Undefined();
  HeldValue() = default;
  HeldValue(const HeldValue&) = delete;
  HeldValue& operator=(const HeldValue&) = delete;
  ~HeldValue() { RV_FreeToUndefined(&v); }
};

bool refuse_resize(const RefDynamicArrayOfRValue* array) {
  if ((array->arrayFlags & kArrayImmutable) == 0) return false;
  KVError("Unable to resize an immutable array");
  return true;
}

enum class SetResult { kNone, kOld, kNew };

void set_element(RValue* result, RValue* array_value, int32_t index, const RValue* value, SetResult give) {
  RValue* slot = RV_ArrayElementForWrite(array_value, index);
  if (slot == nullptr) return;
  if (give == SetResult::kOld) RV_Assign(result, slot);
  RV_Assign(slot, value);
  if (give == SetResult::kNew) RV_Assign(result, slot);
}

void set_element_2d(RValue* result, RValue* argv, SetResult give) {
  RValue* row = RV_ArrayElementForWrite(&argv[0], KVGetInt32(argv, 1));
  if (row == nullptr) return;
  set_element(result, row, KVGetInt32(argv, 2), &argv[3], give);
}

// ---- array_sort --------------------------------------------------------------------------------

// Sorts items stably; comes_after(x, y) says y must come before x. Safe with any comparator,
// consistent or not: it only ever moves the values it was given.
template <class ComesAfter>
void merge_sort(RValue* items, RValue* buffer, size_t count, ComesAfter& comes_after) {
  if (count < 2) return;
  const size_t mid = count / 2;
  merge_sort(items, buffer, mid, comes_after);
  merge_sort(items + mid, buffer, count - mid, comes_after);
  if (!comes_after(items[mid - 1], items[mid])) return;
  std::memcpy(static_cast<void*>(buffer), items, mid * sizeof(RValue));
  size_t left = 0;
  size_t right = mid;
  size_t out = 0;
  while (left < mid && right < count) {
    items[out++] = comes_after(buffer[left], items[right]) ? items[right++] : buffer[left++];
  }
  while (left < mid) items[out++] = buffer[left++];
}

// Sorts a bitwise copy and writes it back only when sorting ended, so an error part way leaves the
// array as it was.
template <class ComesAfter>
void sort_array(RefDynamicArrayOfRValue* array, ComesAfter comes_after) {
  const size_t count = static_cast<size_t>(array->length);
  std::vector<RValue> items(array->pArray, array->pArray + count);
  std::vector<RValue> buffer(count / 2 + 1);
  merge_sort(items.data(), buffer.data(), count, comes_after);
  std::memcpy(static_cast<void*>(array->pArray), items.data(), count * sizeof(RValue));
}

class RestoreCurrentFunction {
 public:
  RestoreCurrentFunction() : saved_(g_CurrentFunction) {}
  ~RestoreCurrentFunction() { g_CurrentFunction = saved_; }
  RestoreCurrentFunction(const RestoreCurrentFunction&) = delete;
  RestoreCurrentFunction& operator=(const RestoreCurrentFunction&) = delete;

 private:
  const RFunction* saved_;
};

double call_comparator(const RValue& function, const RValue& x, const RValue& y, CInstance* self, CInstance* other) {
  HeldValue args[2];
  RV_CopyRef(&args[0].v, &x);
  RV_CopyRef(&args[1].v, &y);
  RValue argv[2] = {args[0].v, args[1].v};  // the callee may change its arguments; ours stay owned
  HeldValue result;
  bool called = false;
  if (g_call_hook != nullptr) {
    called = g_call_hook(&function, 2, argv, &result.v);
  } else {
    const uint32_t kind = RV_Kind(function);
    if (kind == kRVReal || kind == kRVInt32 || kind == kRVInt64) {
      const int64_t index = RV_ToInt64(function);
      if (index >= 0 && index < Function_Count()) {
        const RFunction* row = Function_Row(static_cast<int32_t>(index));
        RestoreCurrentFunction restore;
        g_CurrentFunction = row;
        row->handler(&result.v, self, other, 2, argv);
        called = true;
      }
    }
  }
  if (!called) {
    KVError("argument is not a method, unable to call");
    return 0.0;
  }
  return RV_ToDouble(result.v);
}

// ---- array_equals -------------------------------------------------------------------------------

// Pairs being compared further up; a pair met again (arrays that hold themselves) counts as equal
// instead of recursing for ever.
using ArrayPair = std::pair<const RefDynamicArrayOfRValue*, const RefDynamicArrayOfRValue*>;

bool arrays_equal(const RefDynamicArrayOfRValue* a, const RefDynamicArrayOfRValue* b, double epsilon,
                  std::vector<ArrayPair>& open) {
  const int32_t la = a != nullptr ? a->length : 0;
  const int32_t lb = b != nullptr ? b->length : 0;
  if (la != lb) return false;
  for (const ArrayPair& pair : open) {
    if (pair.first == a && pair.second == b) return true;
  }
  open.emplace_back(a, b);
  bool equal = true;
  for (int32_t i = 0; i < la && equal; ++i) {
    const RValue& x = a->pArray[i];
    const RValue& y = b->pArray[i];
    if (RV_Kind(x) == kRVArray && RV_Kind(y) == kRVArray) {
      equal = arrays_equal(x.pArray, y.pArray, epsilon, open);
    } else {
      equal = RV_Compare(&x, &y, epsilon, 0) == 0;
    }
  }
  open.pop_back();
  return equal;
}

}  // namespace

void Value_SetCallHook(ValueCallHook hook) { g_call_hook = hook; }

namespace fn_value {

void F_ArrayCreate(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int32_t count = KVGetInt32(argv, 0);
  RefDynamicArrayOfRValue* array = RV_NewArray(count > 0 ? count : 0);
  RValue made;
  made.pArray = array;
  made.flags = 0;
  made.kind = kRVArray;
  set_result(result, made);  // the new array's one count is the result's
  if (argc > 1) {
    GCSelfScope scope(array);
    for (int32_t i = array->length - 1; i >= 0; --i) RV_CopyRef(&array->pArray[i], &argv[1]);
  }
}

void F_ArrayLength(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const RefDynamicArrayOfRValue* array = array_of(argv[0]);
  set_result(result, RV_Real(array != nullptr ? array->length : 0));
}

void F_ArrayLength2D(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const RefDynamicArrayOfRValue* array = array_of(argv[0]);
  const int32_t index = KVGetInt32(argv, 1);
  int32_t length = 0;
  if (array != nullptr && index >= 0 && index < array->length) {
    const RefDynamicArrayOfRValue* row = array_of(array->pArray[index]);
    if (row != nullptr) length = row->length;
  }
  set_result(result, RV_Real(length));
}

void F_ArrayGet(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const RValue* element = RV_ArrayElementForRead(&argv[0], KVGetInt32(argv, 1));
  if (element != nullptr) RV_Assign(result, element);
}

void F_ArraySet(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_element(result, &argv[0], KVGetInt32(argv, 1), &argv[2], SetResult::kNone);
}

void F_ArraySetPre(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_element(result, &argv[0], KVGetInt32(argv, 1), &argv[2], SetResult::kOld);
}

void F_ArraySetPost(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_element(result, &argv[0], KVGetInt32(argv, 1), &argv[2], SetResult::kNew);
}

void F_ArrayGet2D(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  RValue* row = RV_ArrayElementForRead(&argv[0], KVGetInt32(argv, 1));
  if (row == nullptr) return;
  const RValue* element = RV_ArrayElementForRead(row, KVGetInt32(argv, 2));
  if (element != nullptr) RV_Assign(result, element);
}

void F_ArraySet2D(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_element_2d(result, argv, SetResult::kNone);
}

void F_ArraySet2DPre(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_element_2d(result, argv, SetResult::kOld);
}

void F_ArraySet2DPost(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_element_2d(result, argv, SetResult::kNew);
}

void F_ArrayPush(RValue*, CInstance*, CInstance*, int argc, RValue* argv) {
  RefDynamicArrayOfRValue* array = array_of(argv[0]);
  if (array == nullptr || argc < 2) return;
  // Written as the array's own owner, so copy-on-write never copies it.
  struct OwnerScope {
    int64_t saved = g_CurrentArrayOwner;
    ~OwnerScope() { g_CurrentArrayOwner = saved; }
  } owner_scope;
  g_CurrentArrayOwner = array->owner;
  GCSelfScope scope(array);
  const int32_t base = array->length;
  for (int k = argc - 1; k >= 1; --k) {
    RValue* slot = RV_ArrayElementForWrite(&argv[0], base + k - 1);
    if (slot == nullptr) return;
    RV_Assign(slot, &argv[k]);
  }
}

void F_ArrayPop(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  RefDynamicArrayOfRValue* array = array_of(argv[0]);
  if (array == nullptr || array->length == 0) {
    set_result(result, RV_Undefined());
    return;
  }
  if (refuse_resize(array)) return;
  RValue* last = &array->pArray[array->length - 1];
  set_result(result, *last);  // the element's reference moves to the result
  *last = RV_Real(0.0);
  --array->length;
}

void F_ArrayInsert(RValue*, CInstance*, CInstance*, int argc, RValue* argv) {
  RefDynamicArrayOfRValue* array = array_of(argv[0]);
  const int32_t index = KVGetInt32(argv, 1);
  if (index < 0) {
    KVError("array_insert :: base index cannot be negative");
    return;
  }
  if (array == nullptr || argc < 3) return;
  if (refuse_resize(array)) return;
  const int32_t count = argc - 2;
  const int32_t length = array->length;
  const int32_t start_length = index > length ? index : length;
  RV_ArraySetLength(array, start_length + count);
  if (array->length != start_length + count) return;
  RValue* elements = array->pArray;
  if (index < length) {
    std::memmove(static_cast<void*>(elements + index + count), elements + index,
                 static_cast<size_t>(length - index) * sizeof(RValue));
  }
  GCSelfScope scope(array);
  for (int32_t k = 0; k < count; ++k) RV_CopyRef(&elements[index + k], &argv[2 + k]);
}

void F_ArrayDelete(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  RefDynamicArrayOfRValue* array = array_of(argv[0]);
  const int32_t index = KVGetInt32(argv, 1);
  int32_t count = KVGetInt32(argv, 2);
  if (index < 0) {
    KVError("array_delete :: base index cannot be negative");
    return;
  }
  if (count < 0) {
    KVError("array_delete :: count delete cannot be negative");
    return;
  }
  if (array == nullptr) return;
  if (index >= array->length) {
    KVError("array_delete :: index is not within the array bounds");
    return;
  }
  if (refuse_resize(array)) return;
  if (count > array->length - index) count = array->length - index;
  if (count == 0) return;
  RValue* elements = array->pArray;
  for (int32_t i = index; i < index + count; ++i) {
    if (RV_NeedsFree(elements[i])) RV_Free(&elements[i]);
  }
  const int32_t tail = array->length - index - count;
  std::memmove(static_cast<void*>(elements + index), elements + index + count, static_cast<size_t>(tail) * sizeof(RValue));
  std::memset(static_cast<void*>(elements + array->length - count), 0, static_cast<size_t>(count) * sizeof(RValue));
  array->length -= count;
}

void F_ArrayResize(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  RefDynamicArrayOfRValue* array = array_of(argv[0]);
  const int32_t length = KVGetInt32(argv, 1);
  if (array == nullptr || refuse_resize(array)) return;
  RV_ArraySetLength(array, length);
}

void F_ArrayCopy(RValue*, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc != 5) {
    KVError("array_copy :: takes 5 arguments");
    return;
  }
  const int32_t dest_index = KVGetInt32(argv, 1);
  const int32_t src_index = KVGetInt32(argv, 3);
  int32_t count = KVGetInt32(argv, 4);
  const RefDynamicArrayOfRValue* source = array_of(argv[2]);
  if (source == nullptr || src_index < 0 || dest_index < 0 || src_index >= source->length) return;
  if (count > source->length - src_index) count = source->length - src_index;
  if (count <= 0) return;
  // Copying within one array: take the values first, the writes may move or copy its storage.
  std::vector<HeldValue> taken(RV_Kind(argv[0]) == kRVArray && argv[0].pArray == source ? count : 0);
  for (size_t i = 0; i < taken.size(); ++i) RV_CopyRef(&taken[i].v, &source->pArray[src_index + static_cast<int32_t>(i)]);
  for (int32_t k = count - 1; k >= 0; --k) {
    RValue* slot = RV_ArrayElementForWrite(&argv[0], dest_index + k);
    if (slot == nullptr) return;
    GCSelfScope scope(argv[0].pArray);
    RV_Assign(slot, taken.empty() ? &source->pArray[src_index + k] : &taken[static_cast<size_t>(k)].v);
  }
}

void F_ArraySort(RValue*, CInstance* self, CInstance* other, int, RValue* argv) {
  RefDynamicArrayOfRValue* array = array_of(argv[0]);
  if (array == nullptr || array->length < 2) return;
  const RValue& how = argv[1];
  if (RV_Kind(how) == kRVBool) {
    const double epsilon = Math_GetEpsilon();
    const bool ascending = how.val != 0.0;
    sort_array(array, [epsilon, ascending](const RValue& x, const RValue& y) {
      return ascending ? RV_Compare(&x, &y, epsilon, 0) > 0 : RV_Compare(&y, &x, epsilon, 0) > 0;
    });
    return;
  }
  // A callable comparator runs script code, which may change the array: sort references of our
  // own and store them back into whatever length the array has afterwards.
  const int32_t count = array->length;
  std::vector<HeldValue> held(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) RV_CopyRef(&held[static_cast<size_t>(i)].v, &array->pArray[i]);
  std::vector<RValue> items(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) items[static_cast<size_t>(i)] = held[static_cast<size_t>(i)].v;
  std::vector<RValue> buffer(static_cast<size_t>(count) / 2 + 1);
  auto comes_after = [&how, self, other](const RValue& x, const RValue& y) {
    return call_comparator(how, x, y, self, other) > 0;
  };
  merge_sort(items.data(), buffer.data(), items.size(), comes_after);
  RefDynamicArrayOfRValue* target = array_of(argv[0]);
  if (target == nullptr) return;
  GCSelfScope scope(target);
  for (int32_t i = 0; i < count && i < target->length; ++i) RV_Assign(&target->pArray[i], &items[static_cast<size_t>(i)]);
}

void F_ArrayEquals(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc != 2) {
    KVError("array_equals :: takes 2 arguments");
    return;
  }
  if (RV_Kind(argv[0]) != kRVArray) {
    KVError("array_equals :: argument 0 is not an array");
    return;
  }
  if (RV_Kind(argv[1]) != kRVArray) {
    KVError("array_equals :: argument 1 is not an array");
    return;
  }
  std::vector<ArrayPair> open;
  set_result(result, RV_Bool(arrays_equal(argv[0].pArray, argv[1].pArray, Math_GetEpsilon(), open)));
}

}  // namespace fn_value

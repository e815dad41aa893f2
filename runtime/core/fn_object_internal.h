#pragma once
// Shared by the object model's builtin files: argument access that never reads past argc, result
// setting, and the objects a struct-or-id argument names.
#include <cstdint>

#include "core/object.h"
#include "core/rvalue.h"

namespace fn_object {

// Argument n, or undefined when the call gave fewer.
inline const RValue& arg(int argc, const RValue* argv, int n) { return n < argc ? argv[n] : g_Undefined; }

inline void set_result(RValue* result, const RValue& value) {
  if (RV_NeedsFree(*result)) RV_Free(result);
  *result = value;
}

// A value that frees its reference when it goes.
struct HeldValue {
  RValue v = RV_Undefined();
  HeldValue() = default;
  HeldValue(const HeldValue&) = delete;
  HeldValue& operator=(const HeldValue&) = delete;
  ~HeldValue() { RV_FreeToUndefined(&v); }
};

// Calls visit(object) for each object a struct-or-id value names, until it gives false: a struct
// value names itself; -1 self, -2 other, -5 the global object; other numbers go to the instance
// selector. Other values name nothing.
template <class Visit>
void for_each_target(const RValue& value, CInstance* self, CInstance* other, Visit&& visit) {
  switch (RV_Kind(value)) {
    case kRVObject:
      if (value.pObj != nullptr) visit(value.pObj);
      return;
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
    case kRVRef:
      break;
    default:
      return;
  }
  const int32_t id = RV_ToInt32(value);
  KVObjectBase* direct = nullptr;
  if (id == -1) direct = KV_AsObject(self);
  if (id == -2) direct = KV_AsObject(other);
  if (id == -5) direct = Object_Global();
  if (id == -1 || id == -2 || id == -5) {
    if (direct != nullptr) visit(direct);
    return;
  }
  Object_SelectInstances(
      id, [](KVObjectBase* instance, void* context) { return (*static_cast<Visit*>(context))(instance); }, &visit);
}

// The first object a struct-or-id value names, or null.
inline KVObjectBase* first_target(const RValue& value, CInstance* self, CInstance* other) {
  KVObjectBase* found = nullptr;
  for_each_target(value, self, other, [&found](KVObjectBase* object) {
    found = object;
    return false;
  });
  return found;
}

}  // namespace fn_object

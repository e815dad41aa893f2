#pragma once
// Result setters and the argument padding wrapper shared by the builtin families of the core
// (values, arrays, strings, math), and the array builtins' handlers for registration.
#include <cstring>

#include "core/function_table.h"
#include "core/rvalue.h"

namespace fn_value {

// A value of a number kind: real, int32, int64 or bool.
inline bool is_number(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
      return true;
    default:
      return false;
  }
}

inline void set_result(RValue* result, const RValue& value) {
  if (RV_NeedsFree(*result)) RV_Free(result);
  *result = value;
}

// Calls F with at least Need arguments: missing ones read as undefined. The given ones are lent
// to the padded block bitwise and given back afterwards, also when F raises, so writes a builtin
// makes through argv[0] reach the caller.
template <TSL_Builtin F, int Need>
void with_args(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  if (argc >= Need) {
    F(result, self, other, argc, argv);
    return;
  }
  struct Padded {
    RValue v[Need];
    int given;
    RValue* original;
    ~Padded() {
      if (given > 0) std::memcpy(static_cast<void*>(original), v, sizeof(RValue) * static_cast<size_t>(given));
      for (int i = given; i < Need; ++i) RV_FreeToUndefined(&v[i]);
    }
  } padded;
  padded.given = argc > 0 ? argc : 0;
  padded.original = argv;
  if (padded.given > 0) std::memcpy(static_cast<void*>(padded.v), argv, sizeof(RValue) * static_cast<size_t>(padded.given));
  for (int i = padded.given; i < Need; ++i) padded.v[i] = RV_Undefined();
  F(result, self, other, Need, padded.v);
}

#define FN_VALUE_HANDLER(name) void name(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv)
FN_VALUE_HANDLER(F_ArrayCreate);
FN_VALUE_HANDLER(F_ArrayLength);
FN_VALUE_HANDLER(F_ArrayLength2D);
FN_VALUE_HANDLER(F_ArrayGet);
FN_VALUE_HANDLER(F_ArraySet);
FN_VALUE_HANDLER(F_ArraySetPre);
FN_VALUE_HANDLER(F_ArraySetPost);
FN_VALUE_HANDLER(F_ArrayGet2D);
FN_VALUE_HANDLER(F_ArraySet2D);
FN_VALUE_HANDLER(F_ArraySet2DPre);
FN_VALUE_HANDLER(F_ArraySet2DPost);
FN_VALUE_HANDLER(F_ArrayPush);
FN_VALUE_HANDLER(F_ArrayPop);
FN_VALUE_HANDLER(F_ArrayInsert);
FN_VALUE_HANDLER(F_ArrayDelete);
FN_VALUE_HANDLER(F_ArrayResize);
FN_VALUE_HANDLER(F_ArrayCopy);
FN_VALUE_HANDLER(F_ArraySort);
FN_VALUE_HANDLER(F_ArrayEquals);
#undef FN_VALUE_HANDLER

}  // namespace fn_value

#pragma once
// Small helpers the graphics builtins share: results, optional arguments and array arguments.
// Arguments past argc are never read: a missing optional argument takes its default.
#include <cstdint>

#include "core/object.h"
#include "core/rvalue.h"

namespace gfx_fn {

inline void Real(RValue* result, double value) { *result = RV_Real(value); }
inline void Bool(RValue* result, bool value) { *result = RV_Real(value ? 1.0 : 0.0); }

// Readers that see a missing argument as undefined (0, false, "").
// Reals, what drawing is nearly always given, are read in place; other kinds go through KVGetReal.
inline double Arg(int argc, const RValue* argv, int n) {
  if (n >= argc) return 0.0;
  return RV_Kind(argv[n]) == kRVReal ? argv[n].val : KVGetReal(argv, n);
}
inline int32_t ArgInt(int argc, const RValue* argv, int n) { return n < argc ? KVGetInt32(argv, n) : 0; }
inline uint32_t ArgColour(int argc, const RValue* argv, int n) { return n < argc ? KVGetUint32(argv, n) : 0; }
inline bool ArgBool(int argc, const RValue* argv, int n) { return n < argc && KVGetBool(argv, n); }
inline const char* ArgString(int argc, const RValue* argv, int n) { return n < argc ? KVGetString(argv, n) : ""; }

inline double RealOr(int argc, const RValue* argv, int n, double fallback) {
  return n < argc ? KVGetReal(argv, n) : fallback;
}
inline int32_t IntOr(int argc, const RValue* argv, int n, int32_t fallback) {
  return n < argc ? KVGetInt32(argv, n) : fallback;
}

// The array of an argument, null when it is not an array.
inline RefDynamicArrayOfRValue* ArrayArg(int argc, RValue* argv, int n) {
  if (n >= argc || RV_Kind(argv[n]) != kRVArray) return nullptr;
  return argv[n].pArray;
}

// A new array result of count reals.
inline void RealArray(RValue* result, const double* values, int32_t count) {
  RefDynamicArrayOfRValue* array = RV_NewArray(count);
  for (int32_t i = 0; i < count; ++i) array->pArray[i] = RV_Real(values[i]);
  result->pArray = array;
  result->flags = 0;
  result->kind = kRVArray;
}

inline double ArrayReal(const RefDynamicArrayOfRValue* array, int32_t index) {
  return index < array->length ? RV_ToDouble(array->pArray[index]) : 0.0;
}

}  // namespace gfx_fn

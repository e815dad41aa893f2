// Type words, type tests, conversions, the owner mark and the math epsilon, and the registration of
// every value builtin (the array ones live in fn_value_array.cpp).
#include "core/fn_value.h"

#include <cmath>

#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/object.h"
#include "core/rvalue.h"

namespace fn_value {

namespace {

bool is_method(const RValue& v) {
  return RV_Kind(v) == kRVObject && v.pObj != nullptr && v.pObj->kind == kObjScriptRef;
}

void F_Typeof(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (RV_Kind(argv[0]) == kRVUnset) {
    KVError("typeof : argument is unset");
    return;
  }
  set_result(result, RV_Undefined());
  RV_SetStringConst(result, RV_KindName(argv[0]));
}

// One test per kind: is_<name>(value) gives a bool.
template <bool (*Test)(const RValue&)>
void F_IsKind(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Bool(Test(argv[0])));
}

template <uint32_t Kind>
bool kind_is(const RValue& v) {
  return RV_Kind(v) == Kind;
}

bool numeric(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
    case kRVRef: return true;
    default: return false;
  }
}

bool struct_value(const RValue& v) { return RV_Kind(v) == kRVObject && !is_method(v); }
bool nan_value(const RValue& v) { return RV_Kind(v) == kRVReal && std::isnan(v.val); }
bool infinite_value(const RValue& v) { return RV_Kind(v) == kRVReal && std::isinf(v.val); }

void F_String(RValue* result, CInstance*, CInstance*, int, RValue* argv) { RV_SetStringFromValue(result, argv[0]); }

void F_Real(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Real(RV_ToDouble(argv[0])));
}

void F_Bool(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Bool(RV_ToBool(argv[0])));
}

void F_Int64(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Int64(RV_ToInt64(argv[0])));
}

void F_Ptr(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Ptr(RV_ToPointer(argv[0])));
}

void F_ArraySetOwner(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  g_CurrentArrayOwner = RV_Kind(argv[0]) == kRVPtr ? static_cast<int64_t>(reinterpret_cast<intptr_t>(argv[0].ptr))
                                                   : KVGetInt64(argv, 0);
}

// Only an epsilon in [0, 1) is taken; 0 stands for the smallest useful one.
void F_MathSetEpsilon(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  const double epsilon = KVGetReal(argv, 0);
  if (!(epsilon >= 0.0 && epsilon < 1.0)) return;
  Math_SetEpsilon(epsilon == 0.0 ? 1e-11 : epsilon);
}

void F_MathGetEpsilon(RValue* result, CInstance*, CInstance*, int, RValue*) {
  set_result(result, RV_Real(Math_GetEpsilon()));
}

}  // namespace

}  // namespace fn_value

void Value_RegisterBuiltins() {
  using namespace fn_value;
  // The order fixes the rows' indexes within the family; add new names at the end.
  Function_Add("array_create", with_args<F_ArrayCreate, 1>, -1, 1);
  Function_Add("array_length", with_args<F_ArrayLength, 1>, 1, 1);
  Function_Add("array_length_1d", with_args<F_ArrayLength, 1>, 1, 1);
  Function_Add("array_length_2d", with_args<F_ArrayLength2D, 2>, 2, 1);
  Function_Add("array_height_2d", with_args<F_ArrayLength, 1>, 1, 1);
  Function_Add("array_get", with_args<F_ArrayGet, 2>, 2, 1);
  Function_Add("array_set", with_args<F_ArraySet, 3>, 3, 0);
  Function_Add("array_set_pre", with_args<F_ArraySetPre, 3>, 3, 0);
  Function_Add("array_set_post", with_args<F_ArraySetPost, 3>, 3, 0);
  Function_Add("array_get_2D", with_args<F_ArrayGet2D, 3>, 3, 1);
  Function_Add("array_set_2D", with_args<F_ArraySet2D, 4>, 4, 0);
  Function_Add("array_set_2D_pre", with_args<F_ArraySet2DPre, 4>, 4, 0);
  Function_Add("array_set_2D_post", with_args<F_ArraySet2DPost, 4>, 4, 0);
  Function_Add("array_push", with_args<F_ArrayPush, 1>, -1, 0);
  Function_Add("array_pop", with_args<F_ArrayPop, 1>, 1, 0);
  Function_Add("array_insert", with_args<F_ArrayInsert, 2>, -1, 0);
  Function_Add("array_delete", with_args<F_ArrayDelete, 3>, 3, 0);
  Function_Add("array_resize", with_args<F_ArrayResize, 2>, 2, 0);
  Function_Add("array_copy", F_ArrayCopy, 5, 0);  // checks its own count
  Function_Add("array_sort", with_args<F_ArraySort, 2>, 2, 0);
  Function_Add("array_equals", F_ArrayEquals, 2, 1);  // checks its own count
  Function_Add("typeof", with_args<F_Typeof, 1>, 1, 1);
  Function_Add("is_real", with_args<F_IsKind<kind_is<kRVReal>>, 1>, 1, 1);
  Function_Add("is_numeric", with_args<F_IsKind<numeric>, 1>, 1, 1);
  Function_Add("is_string", with_args<F_IsKind<kind_is<kRVString>>, 1>, 1, 1);
  Function_Add("is_array", with_args<F_IsKind<kind_is<kRVArray>>, 1>, 1, 1);
  Function_Add("is_bool", with_args<F_IsKind<kind_is<kRVBool>>, 1>, 1, 1);
  Function_Add("is_undefined", with_args<F_IsKind<kind_is<kRVUndefined>>, 1>, 1, 1);
  Function_Add("is_int32", with_args<F_IsKind<kind_is<kRVInt32>>, 1>, 1, 1);
  Function_Add("is_int64", with_args<F_IsKind<kind_is<kRVInt64>>, 1>, 1, 1);
  Function_Add("is_ptr", with_args<F_IsKind<kind_is<kRVPtr>>, 1>, 1, 1);
  Function_Add("is_vec3", with_args<F_IsKind<kind_is<kRVVec3>>, 1>, 1, 1);
  Function_Add("is_vec4", with_args<F_IsKind<kind_is<kRVVec4>>, 1>, 1, 1);
  Function_Add("is_matrix", with_args<F_IsKind<kind_is<kRVMatrix>>, 1>, 1, 1);
  Function_Add("is_struct", with_args<F_IsKind<struct_value>, 1>, 1, 1);
  Function_Add("is_method", with_args<F_IsKind<is_method>, 1>, 1, 1);
  Function_Add("is_nan", with_args<F_IsKind<nan_value>, 1>, 1, 1);
  Function_Add("is_infinity", with_args<F_IsKind<infinite_value>, 1>, 1, 1);
  Function_Add("string", with_args<F_String, 1>, 1, 1);
  Function_Add("real", with_args<F_Real, 1>, 1, 1);
  Function_Add("bool", with_args<F_Bool, 1>, 1, 1);
  Function_Add("int64", with_args<F_Int64, 1>, 1, 1);
  Function_Add("ptr", with_args<F_Ptr, 1>, 1, 1);
  Function_Add("@@array_set_owner@@", with_args<F_ArraySetOwner, 1>, 1, 0);
}

void Value_RegisterEpsilonBuiltins() {
  using namespace fn_value;
  Function_Add("math_set_epsilon", with_args<F_MathSetEpsilon, 1>, 1, 0);
  Function_Add("math_get_epsilon", F_MathGetEpsilon, 0, 1);
}

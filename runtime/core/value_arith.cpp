// The compound operators that compiled scripts call for `a op b` (on a copy of a) and `a op= b`.
// Integer arithmetic wraps (it is done on unsigned values); real and bool keep their kind; a pointer
// on the right of / or % is never converted. Division by an integer zero raises, by a real zero not.
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "core/error.h"
#include "core/memory.h"
#include "core/rvalue.h"
#include "core/value_internal.h"

namespace {

int32_t add32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
int32_t sub32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
int32_t mul32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
int64_t add64(int64_t a, int64_t b) { return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b)); }
int64_t sub64(int64_t a, int64_t b) { return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b)); }
int64_t mul64(int64_t a, int64_t b) { return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b)); }

// Quotient and remainder that wrap where the hardware would trap (the minimum divided by -1).
template <class T>
T wrap_div(T a, T b) {
  return b == -1 ? static_cast<T>(-static_cast<std::make_unsigned_t<T>>(a)) : a / b;
}
template <class T>
T wrap_mod(T a, T b) {
  return b == -1 ? 0 : a % b;
}

void become_real(RValue* v, double d) {
  if (RV_NeedsFree(*v)) RV_Free(v);
  v->val = d;
  v->kind = kRVReal;
}

void become_int64(RValue* v, int64_t i) {
  v->v64 = i;
  v->kind = kRVInt64;
}

std::string text_of(const RValue& v) {
  char* text = RV_ToText(v);
  std::string result = text;
  KV_FREE(text);
  return result;
}

void invalid_type(const char* op, const RValue& left, const RValue& right) {
  const std::string lt = text_of(left);
  const std::string rt = text_of(right);
  KVError("invalid type for %s lhs=%s (type=%d), rhs=%s (type=%d)", op, lt.c_str(), static_cast<int>(RV_Kind(left)),
          rt.c_str(), static_cast<int>(RV_Kind(right)));
}

double right_as_double(const RValue& right) { return RV_Kind(right) == kRVReal ? right.val : RV_ToDouble(right); }

bool is_numeric_left(uint32_t kind) {
  return kind == kRVReal || kind == kRVBool || kind == kRVInt32 || kind == kRVInt64;
}

void concatenate(RValue* left, const RValue& right) {
  const bool left_null = value_detail::is_string_null(*left);
  const bool right_null = value_detail::is_string_null(right);
  if (left_null && right_null) {
    // The empty record with null text, as the runtime makes it.
    if (RV_NeedsFree(*left)) RV_Free(left);
    RV_SetStringConst(left, nullptr);
    return;
  }
  const char* a = left_null ? "" : left->pRefString->text;
  const char* b = right_null ? "" : right.pRefString->text;
  const size_t la = std::strlen(a);
  const size_t lb = std::strlen(b);
  char* joined = static_cast<char*>(KV_ALLOC(la + lb + 1));
  std::memcpy(joined, a, la);
  std::memcpy(joined + la, b, lb + 1);
  RV_SetStringOwned(left, joined, static_cast<int32_t>(la + lb));
}

// number * string: the string repeated (number as int32) times; none for 0 or fewer.
void repeat(RValue* left, const RValue& right) {
  const int32_t count = RV_ToInt32(*left);
  const char* text = value_detail::is_string_null(right) ? "" : right.pRefString->text;
  const size_t length = std::strlen(text);
  const size_t total = count > 0 ? length * static_cast<size_t>(count) : 0;
  if (total == 0) {
    RV_SetString(left, "");
    return;
  }
  char* joined = static_cast<char*>(KV_ALLOC(total + 1));
  if (joined == nullptr) return;
  for (int32_t i = 0; i < count; ++i) std::memcpy(joined + static_cast<size_t>(i) * length, text, length);
  joined[total] = '\0';
  RV_SetStringOwned(left, joined, static_cast<int32_t>(total));
}

}  // namespace

void RV_AddAssign(RValue* left, const RValue* right) {
  switch (RV_Kind(*left)) {
    case kRVReal:
    case kRVBool:
      left->val += right_as_double(*right);
      return;
    case kRVString:
      if (RV_Kind(*right) != kRVString) {
        KVError("unable to add a number to string");
        return;
      }
      concatenate(left, *right);
      return;
    case kRVInt32:
      if (RV_Kind(*right) == kRVReal) {
        become_real(left, static_cast<double>(left->v32) + right->val);
      } else {
        left->v32 = add32(left->v32, RV_ToInt32(*right));
      }
      return;
    case kRVInt64:
      if (RV_Kind(*right) == kRVReal) {
        become_real(left, static_cast<double>(left->v64) + right->val);
      } else {
        left->v64 = add64(left->v64, RV_ToInt64(*right));
      }
      return;
    default:
      invalid_type("+=", *left, *right);
      return;
  }
}

void RV_SubAssign(RValue* left, const RValue* right) {
  switch (RV_Kind(*left)) {
    case kRVReal:
    case kRVBool:
      left->val -= right_as_double(*right);
      return;
    case kRVString: {
      const double d = RV_ToDouble(*left);
      become_real(left, d - right_as_double(*right));
      return;
    }
    case kRVInt32:
      if (RV_Kind(*right) == kRVReal) {
        become_real(left, static_cast<double>(left->v32) - right->val);
      } else {
        left->v32 = sub32(left->v32, RV_ToInt32(*right));
      }
      return;
    case kRVInt64:
      if (RV_Kind(*right) == kRVReal) {
        become_real(left, static_cast<double>(left->v64) - right->val);
      } else {
        left->v64 = sub64(left->v64, RV_ToInt64(*right));
      }
      return;
    default:
      invalid_type("-=", *left, *right);
      return;
  }
}

void RV_MulAssign(RValue* left, const RValue* right) {
  const uint32_t kind = RV_Kind(*left);
  const uint32_t right_kind = RV_Kind(*right);
  if (right_kind == kRVString && is_numeric_left(kind)) {
    repeat(left, *right);
    return;
  }
  switch (kind) {
    case kRVReal:
    case kRVBool:
      left->val *= right_as_double(*right);
      return;
    case kRVInt32:
      if (right_kind == kRVReal) {
        become_real(left, static_cast<double>(left->v32) * right->val);
      } else if (right_kind == kRVInt64) {
        become_int64(left, mul64(left->v32, right->v64));
      } else {
        left->v32 = mul32(left->v32, RV_ToInt32(*right));
      }
      return;
    case kRVInt64:
      if (right_kind == kRVReal) {
        become_real(left, static_cast<double>(left->v64) * right->val);
      } else {
        left->v64 = mul64(left->v64, RV_ToInt64(*right));
      }
      return;
    default:
      invalid_type("*=", *left, *right);
      return;
  }
}

void RV_DivAssign(RValue* left, const RValue* right) {
  const uint32_t right_kind = RV_Kind(*right);
  switch (RV_Kind(*left)) {
    case kRVReal:
    case kRVBool:
      if (right_kind == kRVPtr) break;
      left->val /= right_as_double(*right);
      return;
    case kRVString: {
      if (right_kind == kRVPtr) break;
      const double d = RV_ToDouble(*left);
      become_real(left, d / right_as_double(*right));
      return;
    }
    case kRVInt32: {
      if (right_kind == kRVPtr) break;
      if (right_kind == kRVReal) {
        become_real(left, static_cast<double>(left->v32) / right->val);
      } else if (right_kind == kRVInt64) {
        if (right->v64 == 0) {
          KVError("divide by zero");
          return;
        }
        become_int64(left, wrap_div<int64_t>(left->v32, right->v64));
      } else {
        const int32_t divisor = RV_ToInt32(*right);
        if (divisor == 0) {
          KVError("divide by zero");
          return;
        }
        left->v32 = wrap_div(left->v32, divisor);
      }
      return;
    }
    case kRVInt64: {
      if (right_kind == kRVPtr) break;
      if (right_kind == kRVReal) {
        become_real(left, static_cast<double>(left->v64) / right->val);
        return;
      }
      const int64_t divisor = RV_ToInt64(*right);
      if (divisor == 0) {
        KVError("divide by zero");
        return;
      }
      left->v64 = wrap_div(left->v64, divisor);
      return;
    }
    default:
      break;
  }
  invalid_type("/=", *left, *right);
}

void RV_ModAssign(RValue* left, const RValue* right) {
  const uint32_t right_kind = RV_Kind(*right);
  switch (RV_Kind(*left)) {
    case kRVReal:
    case kRVBool:
    case kRVString: {
      if (right_kind == kRVPtr) break;
      const double d = RV_Kind(*left) == kRVString ? RV_ToDouble(*left) : left->val;
      const double divisor = right_as_double(*right);
      if (divisor == 0.0) {
        KVError("unable to mod by 0");
        return;
      }
      if (RV_Kind(*left) == kRVString) {
        become_real(left, std::fmod(d, divisor));
      } else {
        left->val = std::fmod(d, divisor);
      }
      return;
    }
    case kRVInt32: {
      if (right_kind == kRVPtr) break;
      if (right_kind == kRVReal) {
        if (right->val == 0.0) {
          KVError("unable to mod by 0");
          return;
        }
        become_real(left, std::fmod(static_cast<double>(left->v32), right->val));
      } else if (right_kind == kRVInt64) {
        if (right->v64 == 0) {
          KVError("unable to mod by 0");
          return;
        }
        become_int64(left, wrap_mod<int64_t>(left->v32, right->v64));
      } else {
        const int32_t divisor = RV_ToInt32(*right);
        if (divisor == 0) {
          KVError("unable to mod by 0");
          return;
        }
        left->v32 = wrap_mod(left->v32, divisor);
      }
      return;
    }
    case kRVInt64: {
      if (right_kind == kRVPtr) break;
      if (right_kind == kRVReal) {
        if (right->val == 0.0) {
          KVError("unable to mod by 0");
          return;
        }
        become_real(left, std::fmod(static_cast<double>(left->v64), right->val));
        return;
      }
      const int64_t divisor = RV_ToInt64(*right);
      if (divisor == 0) {
        KVError("unable to mod by 0");
        return;
      }
      left->v64 = wrap_mod(left->v64, divisor);
      return;
    }
    default:
      break;
  }
  invalid_type("%=", *left, *right);
}

void RV_PostIncrement(RValue* result, RValue* value) {
  RV_Assign(result, value);
  RV_AddAssign(value, 1.0);
}

void RV_PostDecrement(RValue* result, RValue* value) {
  RV_Assign(result, value);
  RV_AddAssign(value, -1.0);
}

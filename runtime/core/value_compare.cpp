// RV_Compare: the one comparison behind all six relational operators. The pair of kinds picks the
// rule exactly; a pair the table doesn't name gives -1 when a is a real, else 1.
// int32 and ref behave alike everywhere. -2 means the pair cannot be ordered (undefined against a
// number or an object), which callers read as false for <, <=, > and >=.
#include <cmath>
#include <cstring>

#include "core/error.h"
#include "core/rvalue.h"
#include "core/value_internal.h"

namespace {

using value_detail::trunc_i32;
using value_detail::trunc_i64;

double g_epsilon = 0.00001;

enum class Class { kReal, kBool, kInt, kInt64, kString, kArray, kUndefined, kObject, kPtr, kUnset, kOther };

Class classify(uint32_t kind) {
  switch (kind) {
    case kRVReal: return Class::kReal;
    case kRVBool: return Class::kBool;
    case kRVInt32:
    case kRVRef: return Class::kInt;
    case kRVInt64: return Class::kInt64;
    case kRVString: return Class::kString;
    case kRVArray: return Class::kArray;
    case kRVUndefined: return Class::kUndefined;
    case kRVObject: return Class::kObject;
    case kRVPtr: return Class::kPtr;
    case kRVUnset: return Class::kUnset;
    default: return Class::kOther;
  }
}

int default_rule(Class a) { return a == Class::kReal ? -1 : 1; }

template <class T>
int exact(T a, T b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

int with_epsilon(double d, double epsilon) {
  if (epsilon >= std::fabs(d)) return 0;
  return d < 0 ? -1 : 1;
}

int real_real(double a, double b, double epsilon) {
  double d = a - b;
  // Infinities of one sign differ by NaN and are equal; any other NaN is never within epsilon.
  if (std::isnan(d)) d = std::isinf(a) && std::isinf(b) ? 0.0 : 2.0 * epsilon;
  return with_epsilon(d, epsilon);
}

int single_precision(double a, double b, double epsilon) {
  const float d = static_cast<float>(a) - static_cast<float>(b);
  return with_epsilon(d, epsilon);
}

const char* string_text(const RValue& v) { return value_detail::is_string_null(v) ? "" : v.pRefString->text; }

// The string of a string-number pair did not parse: unequal, or an error for ordering.
int parse_failure(const char* text, const char* target, int strict) {
  if (strict != 0) KVError("unable to convert string \"%s\" to %s", text, target);
  return 1;
}

// real against string (mirrored: string against real). No epsilon on this path.
int real_string(double real, const RValue& s, int strict, bool string_first) {
  const char* text = string_text(s);
  double value = 0.0;
  if (!value_detail::parse_double(text, &value)) return parse_failure(text, "float", strict);
  if (std::isinf(real) && std::isinf(value)) return 0;
  const double d = string_first ? value - real : real - value;
  if (std::isnan(d)) return 1;
  return d < 0 ? -1 : (d > 0 ? 1 : 0);
}

int integer_string(int64_t integer, const RValue& s, int strict, bool string_first) {
  const char* text = string_text(s);
  int64_t value = 0;
  if (!value_detail::parse_int64(text, 10, &value)) return parse_failure(text, "int64", strict);
  return string_first ? exact(value, integer) : exact(integer, value);
}

int bool_string(double boolean, const RValue& s, int strict, bool string_first) {
  const char* text = string_text(s);
  bool value = false;
  if (!value_detail::parse_bool(text, &value)) return parse_failure(text, "bool", strict);
  const int32_t b = trunc_i32(boolean);
  const int32_t v = value ? 1 : 0;
  return string_first ? exact(v, b) : exact(b, v);
}

int string_string(const RValue& a, const RValue& b) {
  if (a.pRefString == b.pRefString) return 0;
  const char* ta = string_text(a);
  const char* tb = string_text(b);
  if (*ta == '\0' && *tb == '\0') return 0;
  const int c = std::strcmp(ta, tb);  // compares bytes as unsigned char
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

int array_scalar(int strict) {
  if (strict != 0) KVError("Illegal array use");
  return 1;
}

// Pointers and objects: a below b gives 1, a above b gives -1.
int address_order(const void* a, const void* b) {
  if (a == b) return 0;
  return a < b ? 1 : -1;
}

bool unset_partner(Class c) {
  switch (c) {
    case Class::kReal:
    case Class::kArray:
    case Class::kObject:
    case Class::kInt:
    case Class::kInt64:
    case Class::kBool:
    case Class::kUnset: return true;
    default: return false;
  }
}

}  // namespace

double Math_GetEpsilon() { return g_epsilon; }
void Math_SetEpsilon(double epsilon) { g_epsilon = epsilon; }

int RV_Compare(const RValue* a, const RValue* b, double epsilon, int strict) {
  const Class ca = classify(RV_Kind(*a));
  const Class cb = classify(RV_Kind(*b));

  if (ca == Class::kUnset || cb == Class::kUnset) {
    if (unset_partner(ca == Class::kUnset ? cb : ca)) {
      KVError("Cannot compare unset variables");
      return 0;
    }
    return default_rule(ca);
  }

  switch (ca) {
    case Class::kReal:
    case Class::kBool: {
      const bool real = ca == Class::kReal;
      switch (cb) {
        case Class::kReal:
        case Class::kBool: return real_real(a->val, b->val, epsilon);
        case Class::kInt:
          return real ? single_precision(a->val, b->v32, epsilon) : exact(trunc_i32(a->val), b->v32);
        case Class::kInt64:
          return real ? with_epsilon(a->val - static_cast<double>(b->v64), epsilon) : exact(trunc_i64(a->val), b->v64);
        case Class::kString:
          return real ? real_string(a->val, *b, strict, false) : bool_string(a->val, *b, strict, false);
        case Class::kArray: return array_scalar(strict);
        case Class::kUndefined: return -2;
        default: return default_rule(ca);
      }
    }
    case Class::kInt:
      switch (cb) {
        case Class::kReal: return single_precision(a->v32, b->val, epsilon);
        case Class::kBool: return exact(a->v32, trunc_i32(b->val));
        case Class::kInt: return exact(a->v32, b->v32);
        case Class::kInt64: return exact(static_cast<int64_t>(a->v32), b->v64);
        case Class::kString: return integer_string(a->v32, *b, strict, false);
        case Class::kArray: return array_scalar(strict);
        case Class::kUndefined: return -2;
        default: return default_rule(ca);
      }
    case Class::kInt64:
      switch (cb) {
        case Class::kReal: return with_epsilon(static_cast<double>(a->v64) - b->val, epsilon);
        case Class::kBool: return exact(a->v64, trunc_i64(b->val));
        case Class::kInt: return exact(a->v64, static_cast<int64_t>(b->v32));
        case Class::kInt64: return exact(a->v64, b->v64);
        case Class::kString: return integer_string(a->v64, *b, strict, false);
        case Class::kArray: return array_scalar(strict);
        case Class::kUndefined: return -2;
        default: return default_rule(ca);
      }
    case Class::kString:
      switch (cb) {
        case Class::kReal: return real_string(b->val, *a, strict, true);
        case Class::kBool: return bool_string(b->val, *a, strict, true);
        case Class::kString: return string_string(*a, *b);
        case Class::kInt: return integer_string(b->v32, *a, strict, true);
        case Class::kInt64: return integer_string(b->v64, *a, strict, true);
        default: return default_rule(ca);
      }
    case Class::kArray:
      switch (cb) {
        case Class::kArray: return a->pArray != nullptr && a->pArray == b->pArray ? 0 : 1;
        case Class::kReal:
        case Class::kInt:
        case Class::kInt64:
        case Class::kBool:
        case Class::kObject: return array_scalar(strict);
        case Class::kUndefined: return a->pArray == nullptr ? 0 : 1;
        default: return default_rule(ca);
      }
    case Class::kUndefined:
      switch (cb) {
        case Class::kUndefined: return 0;
        case Class::kArray: return b->pArray == nullptr ? 0 : 1;
        case Class::kReal:
        case Class::kObject:
        case Class::kInt:
        case Class::kInt64:
        case Class::kBool: return -2;
        default: return default_rule(ca);
      }
    case Class::kObject:
      switch (cb) {
        case Class::kObject: return address_order(a->pObj, b->pObj);
        case Class::kArray: return array_scalar(strict);
        case Class::kUndefined: return -2;
        default: return default_rule(ca);
      }
    case Class::kPtr:
      return cb == Class::kPtr ? address_order(a->ptr, b->ptr) : default_rule(ca);
    default:
      return default_rule(ca);
  }
}

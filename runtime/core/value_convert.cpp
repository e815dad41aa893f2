// Conversions of values used by the language, and the builtin argument readers (KVGet*).
// Every message is the runtime's own and is raised through KVError.
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <strings.h>

#include "core/error.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/rvalue.h"
#include "core/value_internal.h"

namespace value_detail {

namespace {

locale_t c_locale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

bool starts_with(const char* text, const char* prefix) { return std::strncmp(text, prefix, std::strlen(prefix)) == 0; }

}  // namespace

int64_t trunc_i64(double d) {
  // -2^63 is exact in a double; 2^63 is the first value out of range.
  if (!(d >= -9223372036854775808.0 && d < 9223372036854775808.0)) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(d);
}

bool parse_double(const char* text, double* out) {
  if (text == nullptr) return false;
  char* end = nullptr;
  const double value = strtod_l(text, &end, c_locale());
  if (end == text) return false;
  *out = value;
  return true;
}

bool parse_int64(const char* text, int base, int64_t* out) {
  if (text == nullptr) return false;
  char* end = nullptr;
  const long long value = strtoll_l(text, &end, base, c_locale());
  if (end == text) return false;
  *out = value;
  return true;
}

bool parse_bool(const char* text, bool* out) {
  double number = 0.0;
  if (parse_double(text, &number)) {
    *out = number > 0.5;
    return true;
  }
  if (text == nullptr) return false;
  if (strcasecmp(text, "true") == 0) {
    *out = true;
    return true;
  }
  if (strcasecmp(text, "false") == 0) {
    *out = false;
    return true;
  }
  return false;
}

double object_number(const RValue& v) {
  char* text = RV_ToText(v);
  const double number = RV_ToNumber(text);
  KV_FREE(text);
  return number;
}

}  // namespace value_detail

using value_detail::is_string_null;
using value_detail::trunc_i32;
using value_detail::trunc_i64;

double RV_ToNumber(const char* text) {
  if (text == nullptr) return 0.0;
  while (value_detail::is_blank(*text)) ++text;
  if (*text == '\0') return 0.0;
  if (value_detail::starts_with(text, "Infinity") || value_detail::starts_with(text, "+Infinity")) {
    return std::numeric_limits<double>::infinity();
  }
  if (value_detail::starts_with(text, "-Infinity")) return -std::numeric_limits<double>::infinity();
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    const unsigned long long hex = strtoull_l(text + 2, nullptr, 16, value_detail::c_locale());
    return static_cast<double>(hex);
  }
  return strtod_l(text, nullptr, value_detail::c_locale());
}

// ---- Language conversions -------------------------------------------------------------------------

bool RV_ToBool(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool:
      return v.val > 0.5;
    case kRVString: {
      if (is_string_null(v)) return false;
      bool result = false;
      if (!value_detail::parse_bool(v.pRefString->text, &result)) {
        KVError("unable to convert string \"%s\" to bool", v.pRefString->text);
        return false;
      }
      return result;
    }
    case kRVArray:
      KVError("bool argument is array");
      return false;
    case kRVPtr:
      return v.ptr != nullptr;
    case kRVUndefined:
      return false;
    case kRVObject:
      return v.pObj != nullptr;
    case kRVInt32:
    case kRVRef:
      return v.v32 > 0;
    case kRVInt64:
      return v.v64 > 0;
    case kRVUnset:
      KVError("bool argument is unset");
      return false;
    default:
      KVError("bool argument incorrect type %d", static_cast<int>(RV_Kind(v)));
      return false;
  }
}

double RV_ToDouble(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool:
      return v.val;
    case kRVString: {
      if (is_string_null(v)) return 0.0;
      double result = 0.0;
      if (!value_detail::parse_double(v.pRefString->text, &result)) {
        KVError("unable to convert string \"%s\" to number", v.pRefString->text);
        return 0.0;
      }
      return result;
    }
    case kRVObject:
      return value_detail::object_number(v);
    case kRVInt32:
    case kRVRef:
      return v.v32;
    case kRVInt64:
      return static_cast<double>(v.v64);
    case kRVUnset:
      KVError("REAL argument is unset");
      return 0.0;
    default:  // array, pointer, undefined and the reserved kinds
      KVError("REAL argument incorrect type %s", RV_KindName(v));
      return 0.0;
  }
}

int32_t RV_ToInt32(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool:
      return trunc_i32(v.val);
    case kRVString: {
      if (is_string_null(v)) return 0;
      double result = 0.0;
      if (!value_detail::parse_double(v.pRefString->text, &result)) {
        KVError("unable to convert string \"%s\" to integer", v.pRefString->text);
        return 0;
      }
      return trunc_i32(result);
    }
    case kRVArray:
      KVError("I32 argument is array");
      return 0;
    case kRVPtr:
      return static_cast<int32_t>(reinterpret_cast<uintptr_t>(v.ptr));
    case kRVUndefined:
      KVError("I32 argument is undefined");
      return 0;
    case kRVObject:
      return trunc_i32(value_detail::object_number(v));
    case kRVInt32:
    case kRVRef:
      return v.v32;
    case kRVInt64:
      return static_cast<int32_t>(static_cast<uint64_t>(v.v64));
    case kRVUnset:
      KVError("I32 argument is unset");
      return 0;
    default:
      KVError("I32 argument incorrect type %d", static_cast<int>(RV_Kind(v)));
      return 0;
  }
}

int64_t RV_ToInt64(const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool:
      return trunc_i64(v.val);
    case kRVString: {
      if (is_string_null(v)) return 0;
      int64_t result = 0;
      if (!value_detail::parse_int64(v.pRefString->text, 10, &result)) {
        KVError("unable to convert string \"%s\" to int64", v.pRefString->text);
        return 0;
      }
      return result;
    }
    case kRVArray:
      KVError("INT64 argument is array");
      return 0;
    case kRVPtr:
      return static_cast<int64_t>(reinterpret_cast<intptr_t>(v.ptr));
    case kRVUndefined:
      KVError("I64 argument is undefined");
      return 0;
    case kRVObject:
      return trunc_i64(value_detail::object_number(v));
    case kRVInt32:
    case kRVRef:
      return v.v32;
    case kRVInt64:
      return v.v64;
    case kRVUnset:
      KVError("I64 argument is unset");
      return 0;
    default:
      KVError("I64 argument incorrect type %d", static_cast<int>(RV_Kind(v)));
      return 0;
  }
}

void* RV_ToPointer(const RValue& v) {
  const auto from_int = [](int64_t i) { return reinterpret_cast<void*>(static_cast<intptr_t>(i)); };
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool:
      return from_int(trunc_i64(v.val));
    case kRVString: {
      if (is_string_null(v)) return nullptr;
      int64_t result = 0;
      // The Part names no message of its own for pointers; strtoll's is the int64 one.
      if (!value_detail::parse_int64(v.pRefString->text, 16, &result)) {
        KVError("unable to convert string \"%s\" to int64", v.pRefString->text);
        return nullptr;
      }
      return from_int(result);
    }
    case kRVArray:
    case kRVPtr:
    case kRVObject:
      return v.ptr;
    case kRVUndefined:
      KVError("PTR argument is undefined");
      return nullptr;
    case kRVInt32:
    case kRVRef:
      return from_int(v.v32);
    case kRVInt64:
      return from_int(v.v64);
    case kRVUnset:
      KVError("PTR argument is unset");
      return nullptr;
    default:
      KVError("PTR argument incorrect type %d", static_cast<int>(RV_Kind(v)));
      return nullptr;
  }
}

// ---- Builtin argument readers -----------------------------------------------------------------------

namespace {

// A numeric argument: integral kinds keep their exact integer, the others a double.
struct NumberArg {
  bool ok = false;
  bool integral = false;
  int64_t i = 0;
  double d = 0.0;

  int32_t as_i32() const { return integral ? static_cast<int32_t>(static_cast<uint64_t>(i)) : trunc_i32(d); }
  int64_t as_i64() const { return integral ? i : trunc_i64(d); }
  double as_double() const { return integral ? static_cast<double>(i) : d; }
};

NumberArg read_number(const RValue& v) {
  NumberArg arg;
  switch (RV_Kind(v)) {
    case kRVReal:
    case kRVBool:
      arg.ok = true;
      arg.d = v.val;
      break;
    case kRVInt32:
    case kRVRef:
      arg.ok = arg.integral = true;
      arg.i = v.v32;
      break;
    case kRVInt64:
      arg.ok = arg.integral = true;
      arg.i = v.v64;
      break;
    case kRVString:
      // Only a string that starts with a decimal digit counts as a number here.
      if (!is_string_null(v) && v.pRefString->text[0] >= '0' && v.pRefString->text[0] <= '9') {
        arg.ok = true;
        arg.d = RV_ToNumber(v.pRefString->text);
      }
      break;
    case kRVObject:
      arg.ok = true;
      arg.d = value_detail::object_number(v);
      break;
    default:
      break;
  }
  return arg;
}

void argument_error(const RValue* argv, int n, const char* expecting) {
  KVError("%s argument %d incorrect type (%s) expecting a %s", Function_CurrentName(), n + 1, RV_KindName(argv[n]),
          expecting);
}

constexpr char kEmptyString[] = "";

}  // namespace

bool KVGetBool(const RValue* argv, int n) {
  const RValue& v = argv[n];
  switch (RV_Kind(v)) {
    case kRVReal:
      return v.val > 0.5;
    case kRVBool:
      return v.val != 0.0;
    case kRVInt32:
    case kRVRef:
      return v.v32 > 0;
    case kRVInt64:
      return v.v64 > 0;
    case kRVPtr:
    case kRVObject:
      return v.ptr != nullptr;
    case kRVUndefined:
      return false;
    default:
      argument_error(argv, n, "Boolean (KVGB)");
      return false;
  }
}

int32_t KVGetInt32(const RValue* argv, int n) {
  if (RV_Kind(argv[n]) == kRVReal) return trunc_i32(argv[n].val);  // the usual argument
  const NumberArg arg = read_number(argv[n]);
  if (!arg.ok) {
    argument_error(argv, n, "Number (KVGI32)");
    return 0;
  }
  return arg.as_i32();
}

uint32_t KVGetUint32(const RValue* argv, int n) {
  if (RV_Kind(argv[n]) == kRVReal) return static_cast<uint32_t>(trunc_i32(argv[n].val));
  const NumberArg arg = read_number(argv[n]);
  if (!arg.ok) {
    argument_error(argv, n, "Number (KVGU32)");
    return 0;
  }
  // A negative real goes through int32; the low 32 bits of the truncation give exactly that.
  return static_cast<uint32_t>(arg.as_i32());
}

int64_t KVGetInt64(const RValue* argv, int n) {
  const NumberArg arg = read_number(argv[n]);
  if (!arg.ok) {
    argument_error(argv, n, "Number");
    return 0;
  }
  return arg.as_i64();
}

double KVGetReal(const RValue* argv, int n) {
  const NumberArg arg = read_number(argv[n]);
  if (!arg.ok) {
    argument_error(argv, n, "Number (KVGR)");
    return 0.0;
  }
  return arg.as_double();
}

float KVGetFloat(const RValue* argv, int n) {
  const NumberArg arg = read_number(argv[n]);
  if (!arg.ok) {
    argument_error(argv, n, "Number (KVGF)");
    return 0.0f;
  }
  return static_cast<float>(arg.as_double());
}

void* KVGetPtr(const RValue* argv, int n) {
  if (RV_Kind(argv[n]) != kRVPtr) {
    argument_error(argv, n, "Pointer");
    return nullptr;
  }
  return argv[n].ptr;
}

int64_t KVGetPtrOrInt(const RValue* argv, int n) {
  const RValue& v = argv[n];
  switch (RV_Kind(v)) {
    case kRVPtr:
      return static_cast<int64_t>(reinterpret_cast<intptr_t>(v.ptr));
    case kRVReal:
      return trunc_i64(v.val);
    case kRVInt32:
      return v.v32;
    case kRVInt64:
      return v.v64;
    default:
      argument_error(argv, n, "Number or Pointer");
      return -1;
  }
}

const char* KVGetString(const RValue* argv, int n) {
  const RValue& v = argv[n];
  switch (RV_Kind(v)) {
    case kRVString:
      return is_string_null(v) ? kEmptyString : v.pRefString->text;
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
    case kRVRef: {
      char buffer[value_detail::kScalarTextMax];
      const int length = value_detail::scalar_text(v, buffer);
      char* text = Scratch_Alloc(static_cast<size_t>(length) + 1);
      std::memcpy(text, buffer, static_cast<size_t>(length) + 1);
      return text;
    }
    case kRVObject: {
      char* owned = RV_ToText(v);
      const size_t length = std::strlen(owned);
      char* text = Scratch_Alloc(length + 1);
      std::memcpy(text, owned, length + 1);
      KV_FREE(owned);
      return text;
    }
    default:
      argument_error(argv, n, "String (KVGS)");
      return kEmptyString;
  }
}

// Text of values and the typeof words. Reals print as integers when integral, else "%.2f"; both go
// through std::to_chars, which matches printf in the "C" locale whatever the process locale is.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/error.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "core/value_internal.h"

struct ValueText {
  explicit ValueText(size_t first_capacity) : capacity(first_capacity) {
    data = static_cast<char*>(KV_ALLOC(capacity));
    data[0] = '\0';
  }
  ~ValueText() { KV_FREE(data); }
  ValueText(const ValueText&) = delete;
  ValueText& operator=(const ValueText&) = delete;

  char* release() {
    char* result = data;
    data = nullptr;
    return result;
  }

  char* data;
  size_t length = 0;
  size_t capacity;
  int depth = 0;
  std::vector<const void*> entered;  // sorted, for binary search
};

namespace {

constexpr const char* kKindNames[kRVKindCount] = {
    "number", "string", "array", "ptr",  "vec3",     "undefined", "struct", "int32",
    "vec4",   "vec44",  "int64", "accessor", "null", "bool",      "iterator", "ref",
};
static_assert(sizeof(kKindNames) / sizeof(kKindNames[0]) == kRVKindCount);

ValueObjectTextHook g_object_text_hook = nullptr;

int copy_literal(char* buffer, const char* text) {
  const size_t length = std::strlen(text);
  std::memcpy(buffer, text, length + 1);
  return static_cast<int>(length);
}

int finish(char* buffer, char* end) {
  *end = '\0';
  return static_cast<int>(end - buffer);
}

int real_text(double value, char* buffer) {
  if (std::isnan(value)) return copy_literal(buffer, "NaN");
  if (std::isinf(value)) return copy_literal(buffer, value < 0 ? "-inf" : "inf");
  char* const last = buffer + value_detail::kScalarTextMax - 1;
  const int64_t whole = value_detail::trunc_i64(value);
  if (static_cast<double>(whole) == value) return finish(buffer, std::to_chars(buffer, last, whole).ptr);
  return finish(buffer, std::to_chars(buffer, last, value, std::chars_format::fixed, 2).ptr);
}

void append_string_value(ValueText* text, const RValue& v) {
  if (text->depth > 0) ValueText_Append(text, "\"", 1);
  if (!value_detail::is_string_null(v)) ValueText_AppendCString(text, v.pRefString->text);
  if (text->depth > 0) ValueText_Append(text, "\"", 1);
}

void append_array(ValueText* text, const RefDynamicArrayOfRValue* array) {
  if (array != nullptr && !ValueText_Enter(text, array)) {
    ValueText_AppendCString(text, "\"Warning: recursive array found\"");
    return;
  }
  ValueText_Append(text, "[ ", 2);
  // A null array prints as an empty one; it was not entered.
  const int32_t length = array != nullptr ? array->length : 0;
  for (int32_t i = 0; i < length; ++i) {
    if (i > 0) ValueText_Append(text, ",", 1);
    ValueText_AppendValue(text, array->pArray[i]);
  }
  ValueText_Append(text, " ]", 2);
  if (array != nullptr) ValueText_Leave(text);
}

}  // namespace

namespace value_detail {

int scalar_text(const RValue& v, char* buffer) {
  char* const last = buffer + kScalarTextMax - 1;
  switch (RV_Kind(v)) {
    case kRVReal:
      return real_text(v.val, buffer);
    case kRVInt32:
      return finish(buffer, std::to_chars(buffer, last, v.v32).ptr);
    case kRVInt64:
      return finish(buffer, std::to_chars(buffer, last, v.v64).ptr);
    case kRVBool:
      // A NaN bool is not 0, so it prints 1.
      return copy_literal(buffer, v.val == 0.0 ? "0" : "1");
    case kRVRef:
      std::memcpy(buffer, "ref ", 4);
      return finish(buffer, std::to_chars(buffer + 4, last, v.v32).ptr);
    case kRVPtr:
      if (v.ptr == nullptr) return copy_literal(buffer, "null");
      return std::snprintf(buffer, kScalarTextMax, "%p", v.ptr);
    case kRVUndefined:
      return copy_literal(buffer, "undefined");
    default:
      return -1;
  }
}

}  // namespace value_detail

void ValueText_Append(ValueText* text, const char* bytes, size_t length) {
  if (text->length + length + 1 > text->capacity) {
    size_t capacity = text->capacity * 2;
    if (capacity < text->length + length + 1) capacity = text->length + length + 1;
    char* grown = static_cast<char*>(KV_ALLOC(capacity));
    std::memcpy(grown, text->data, text->length);
    KV_FREE(text->data);
    text->data = grown;
    text->capacity = capacity;
  }
  std::memcpy(text->data + text->length, bytes, length);
  text->length += length;
  text->data[text->length] = '\0';
}

void ValueText_AppendCString(ValueText* text, const char* bytes) { ValueText_Append(text, bytes, std::strlen(bytes)); }

bool ValueText_Enter(ValueText* text, const void* container) {
  const auto at = std::lower_bound(text->entered.begin(), text->entered.end(), container);
  if (at != text->entered.end() && *at == container) return false;
  text->entered.insert(at, container);
  ++text->depth;
  return true;
}

void ValueText_Leave(ValueText* text) {
  if (text->depth > 0) --text->depth;
}

void ValueText_AppendValue(ValueText* text, const RValue& v) {
  switch (RV_Kind(v)) {
    case kRVString:
      append_string_value(text, v);
      return;
    case kRVArray:
      append_array(text, v.pArray);
      return;
    case kRVObject:
      if (v.pObj == nullptr) {
        ValueText_AppendCString(text, "null");
      } else if (g_object_text_hook != nullptr) {
        g_object_text_hook(v.pObj, text);
      } else {
        ValueText_AppendCString(text, "{ }");
      }
      return;
    case kRVUnset:
      KVError("STRING argument is unset");
      return;
    default: {
      char buffer[value_detail::kScalarTextMax];
      const int length = value_detail::scalar_text(v, buffer);
      if (length > 0) ValueText_Append(text, buffer, static_cast<size_t>(length));
      return;  // the reserved kinds print nothing
    }
  }
}

void Value_SetObjectTextHook(ValueObjectTextHook hook) { g_object_text_hook = hook; }

char* RV_ToText(const RValue& v) {
  const uint32_t kind = RV_Kind(v);
  const bool container = kind == kRVArray || kind == kRVObject || kind == kRVString;
  ValueText text(container ? 256 : 16);
  ValueText_AppendValue(&text, v);
  return text.release();
}

void RV_SetStringFromValue(RValue* out, const RValue& v) {
  if (RV_Kind(v) == kRVString) {
    if (value_detail::is_string_null(v)) {
      RV_SetString(out, "");
    } else {
      RV_Assign(out, &v);
    }
    return;
  }
  char buffer[value_detail::kScalarTextMax];
  const int length = value_detail::scalar_text(v, buffer);
  if (length >= 0) {
    RV_SetStringLen(out, buffer, length);
    return;
  }
  char* text = RV_ToText(v);
  RV_SetStringOwned(out, text, static_cast<int32_t>(std::strlen(text)));
}

const char* RV_KindName(const RValue& v) {
  const uint32_t kind = RV_Kind(v);
  if (kind == kRVObject) {
    return v.pObj != nullptr && v.pObj->kind == kObjScriptRef ? "method" : "struct";
  }
  if (kind < kRVKindCount) return kKindNames[kind];
  if (kind == kRVUnset) return "unset";
  return "unknown";
}

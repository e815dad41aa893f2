#pragma once
// Helpers shared by the value routines (value_*.cpp, fn_value*.cpp); not for other subsystems.
// Parsing goes through a "C" locale object so that a process locale with a comma decimal separator
// changes nothing; truncation of doubles follows the x86 rule (NaN and out of range give INT64_MIN)
// instead of undefined behaviour.
#include <cstdint>

#include "core/rvalue.h"

namespace value_detail {

int64_t trunc_i64(double d);
// Low 32 bits of trunc_i64: 4294967295.0 gives -1, as colours with alpha need.
inline int32_t trunc_i32(double d) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(trunc_i64(d)))); }

// strtod / strtoll over the leading part of text in the "C" locale; false when no number starts
// the text (leading blanks are skipped, as strtod does). A null text fails.
bool parse_double(const char* text, double* out);
bool parse_int64(const char* text, int base, int64_t* out);
// A number above 0.5, or "true" / "false" in any case; false when neither.
bool parse_bool(const char* text, bool* out);

// An object's number: ToNumber of its text.
double object_number(const RValue& v);

// Text of a scalar kind (real, int32, int64, bool, ref, pointer, undefined) into buffer, which
// must hold kScalarTextMax bytes; the length, or -1 for other kinds.
constexpr int kScalarTextMax = 400;
int scalar_text(const RValue& v, char* buffer);

inline bool is_string_null(const RValue& v) { return v.pRefString == nullptr || v.pRefString->text == nullptr; }

}  // namespace value_detail

// Wrappers of the string builtins: they read and check the arguments, call the typed routines of
// fn_string_ops.cpp and make the result string. Every argument is read before anything is built.
#include "core/fn_string.h"

#include <cstring>
#include <limits>

#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "core/rvalue.h"
#include "core/utf8.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

// The longest text a string record can hold (its size is an int32 with the top bit reserved).
constexpr size_t kMaxStringBytes = static_cast<size_t>(std::numeric_limits<int32_t>::max()) - 1;
// Widths and precisions beyond this in string_format are refused instead of padding gigabytes.
constexpr int32_t kMaxFormatPlaces = 1 << 20;

void raise_too_long() { KVError("%s : resulting string is too long", Function_CurrentName()); }

void set_text(RValue* result, std::string_view text) {
  if (text.size() > kMaxStringBytes) {
    raise_too_long();
    return;
  }
  RV_SetStringLen(result, text.data(), static_cast<int32_t>(text.size()));
}

std::string_view read_text(const RValue* argv, int n) { return std::string_view(KVGetString(argv, n)); }

void F_StringFormat(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (RV_Kind(argv[0]) == kRVString) {
    RV_Assign(result, &argv[0]);
    return;
  }
  const double value = KVGetReal(argv, 0);
  const int32_t total = KVGetInt32(argv, 1);
  const int32_t decimals = KVGetInt32(argv, 2);
  if (total > kMaxFormatPlaces || decimals > kMaxFormatPlaces) {
    KVError("string_format : total or decimals is too large");
    return;
  }
  set_text(result, String_FormatNumber(value, total, decimals));
}

void F_Chr(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_text(result, String_FromCodePoint(KVGetInt32(argv, 0)));
}

void F_AnsiChar(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char byte = static_cast<char>(KVGetInt32(argv, 0) & 0xFF);
  // A zero byte ends the text where it stands.
  set_text(result, std::string_view(&byte, byte == '\0' ? 0 : 1));
}

void F_Ord(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  set_result(result, RV_Real(text.empty() ? 0.0 : static_cast<double>(utf8_decode(text, 0))));
}

void F_StringLength(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Real(static_cast<double>(utf8_count(read_text(argv, 0)))));
}

void F_StringPos(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view sub = read_text(argv, 0);
  const std::string_view text = read_text(argv, 1);
  set_result(result, RV_Real(static_cast<double>(String_Pos(sub, text, 0))));
}

void F_StringPosExt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view sub = read_text(argv, 0);
  const std::string_view text = read_text(argv, 1);
  const int32_t start = KVGetInt32(argv, 2);
  set_result(result, RV_Real(static_cast<double>(String_Pos(sub, text, start))));
}

void F_StringLastPos(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view sub = read_text(argv, 0);
  const std::string_view text = read_text(argv, 1);
  const int64_t found = String_LastPos(sub, text, std::numeric_limits<int64_t>::max());
  set_result(result, RV_Real(static_cast<double>(found)));
}

void F_StringLastPosExt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view sub = read_text(argv, 0);
  const std::string_view text = read_text(argv, 1);
  const int32_t start = KVGetInt32(argv, 2);
  set_result(result, RV_Real(static_cast<double>(String_LastPos(sub, text, start))));
}

void F_StringCopy(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t index = KVGetInt32(argv, 1);
  const int32_t count = KVGetInt32(argv, 2);
  set_text(result, String_Copy(text, index, count));
}

void F_StringCharAt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t index = KVGetInt32(argv, 1);
  set_text(result, String_Copy(text, index, 1));
}

void F_StringOrdAt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t index = KVGetInt32(argv, 1);
  const size_t offset = index <= 1 ? 0 : utf8_offset(text, static_cast<size_t>(index) - 1);
  const double code = offset < text.size() ? static_cast<double>(utf8_decode(text, offset)) : -1.0;
  set_result(result, RV_Real(code));
}

void F_StringByteLength(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Real(static_cast<double>(read_text(argv, 0).size())));
}

void F_StringByteAt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t index = KVGetInt32(argv, 1);
  // The index is clamped to the bytes there are; an empty text has only its terminator, 0.
  double byte = 0.0;
  if (!text.empty()) {
    size_t at = index < 1 ? 0 : static_cast<size_t>(index) - 1;
    if (at >= text.size()) at = text.size() - 1;
    byte = static_cast<uint8_t>(text[at]);
  }
  set_result(result, RV_Real(byte));
}

void F_StringSetByteAt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t index = KVGetInt32(argv, 1);
  const char byte = static_cast<char>(KVGetInt32(argv, 2) & 0xFF);
  // An index below 1 counts as 1, as string_byte_at reads it.
  const size_t at = index < 1 ? 0 : static_cast<size_t>(index) - 1;
  if (at >= text.size()) {
    KVError("string_set_byte_at : index beyond end of string");
    return;
  }
  std::string changed(text);
  changed[at] = byte;
  // A zero byte ends the text where it stands.
  if (byte == '\0') changed.resize(at);
  set_text(result, changed);
}

void F_StringDelete(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t index = KVGetInt32(argv, 1);
  const int32_t count = KVGetInt32(argv, 2);
  set_text(result, String_Delete(text, index, count));
}

void F_StringInsert(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view sub = read_text(argv, 0);
  const std::string_view text = read_text(argv, 1);
  const int32_t index = KVGetInt32(argv, 2);
  if (sub.size() + text.size() > kMaxStringBytes) {
    raise_too_long();
    return;
  }
  set_text(result, String_Insert(sub, text, index));
}

template <bool Upper>
void F_StringCase(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_text(result, String_ChangeCase(read_text(argv, 0), Upper));
}

void F_StringRepeat(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const int32_t count = KVGetInt32(argv, 1);
  if (count <= 0 || text.empty()) {
    set_text(result, std::string_view());
    return;
  }
  if (text.size() > kMaxStringBytes / static_cast<size_t>(count)) {
    raise_too_long();
    return;
  }
  const size_t size = text.size() * static_cast<size_t>(count);
  char* bytes = static_cast<char*>(KV_ALLOC(size + 1));
  for (int32_t i = 0; i < count; ++i) std::memcpy(bytes + text.size() * static_cast<size_t>(i), text.data(), text.size());
  bytes[size] = '\0';
  RV_SetStringOwned(result, bytes, static_cast<int32_t>(size));
}

template <bool Letters, bool Digits>
void F_StringFilter(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_text(result, String_Filter(read_text(argv, 0), Letters, Digits));
}

template <bool All>
void F_StringReplace(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view text = read_text(argv, 0);
  const std::string_view sub = read_text(argv, 1);
  const std::string_view with = read_text(argv, 2);
  set_text(result, String_Replace(text, sub, with, All));
}

void F_StringCount(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const std::string_view sub = read_text(argv, 0);
  const std::string_view text = read_text(argv, 1);
  set_result(result, RV_Real(static_cast<double>(String_Count(sub, text))));
}

void F_StringHashToNewline(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (RV_Kind(argv[0]) == kRVString) {
    set_text(result, String_HashToNewline(RV_StringText(argv[0])));
    return;
  }
  // Any other value is printed first, as string() would.
  char* printed = RV_ToText(argv[0]);
  const std::string converted = String_HashToNewline(printed);
  KV_FREE(printed);
  set_text(result, converted);
}

}  // namespace

void String_RegisterBuiltins() {
  Function_Add("string_format", with_args<F_StringFormat, 3>, 3, 1);
  Function_Add("chr", with_args<F_Chr, 1>, 1, 1);
  Function_Add("ansi_char", with_args<F_AnsiChar, 1>, 1, 1);
  Function_Add("ord", with_args<F_Ord, 1>, 1, 1);
  Function_Add("string_length", with_args<F_StringLength, 1>, 1, 1);
  Function_Add("string_pos", with_args<F_StringPos, 2>, 2, 1);
  Function_Add("string_pos_ext", with_args<F_StringPosExt, 3>, 3, 1);
  Function_Add("string_last_pos", with_args<F_StringLastPos, 2>, 2, 1);
  Function_Add("string_last_pos_ext", with_args<F_StringLastPosExt, 3>, 3, 1);
  Function_Add("string_copy", with_args<F_StringCopy, 3>, 3, 1);
  Function_Add("string_char_at", with_args<F_StringCharAt, 2>, 2, 1);
  Function_Add("string_ord_at", with_args<F_StringOrdAt, 2>, 2, 1);
  Function_Add("string_byte_length", with_args<F_StringByteLength, 1>, 1, 1);
  Function_Add("string_byte_at", with_args<F_StringByteAt, 2>, 2, 1);
  Function_Add("string_set_byte_at", with_args<F_StringSetByteAt, 3>, 3, 1);
  Function_Add("string_delete", with_args<F_StringDelete, 3>, 3, 1);
  Function_Add("string_insert", with_args<F_StringInsert, 3>, 3, 1);
  Function_Add("string_lower", with_args<F_StringCase<false>, 1>, 1, 1);
  Function_Add("string_upper", with_args<F_StringCase<true>, 1>, 1, 1);
  Function_Add("string_repeat", with_args<F_StringRepeat, 2>, 2, 1);
  Function_Add("string_letters", with_args<F_StringFilter<true, false>, 1>, 1, 1);
  Function_Add("string_digits", with_args<F_StringFilter<false, true>, 1>, 1, 1);
  Function_Add("string_lettersdigits", with_args<F_StringFilter<true, true>, 1>, 1, 1);
  Function_Add("string_replace", with_args<F_StringReplace<false>, 3>, 3, 1);
  Function_Add("string_replace_all", with_args<F_StringReplace<true>, 3>, 3, 1);
  Function_Add("string_count", with_args<F_StringCount, 2>, 2, 1);
  Function_Add("string_hash_to_newline", with_args<F_StringHashToNewline, 1>, 1, 1);
}

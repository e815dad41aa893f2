// The typed string routines: search and edit by character position, replacement, case mapping and
// number formatting. Nothing here knows of RValue.
#include <charconv>
#include <clocale>
#include <cwctype>

#include <locale.h>

#include "core/fn_string.h"
#include "core/utf8.h"

namespace {

// Whether sub matches text at byte pos, code point by code point.
bool matches_at(std::string_view text, size_t pos, std::string_view sub) {
  size_t at = 0;
  while (at < sub.size()) {
    if (pos >= text.size()) return false;
    size_t text_size = 0;
    size_t sub_size = 0;
    if (utf8_decode(text, pos, &text_size) != utf8_decode(sub, at, &sub_size)) return false;
    pos += text_size;
    at += sub_size;
  }
  return true;
}

// Byte offset of the character at position (from 1); positions below 1 count as 1, positions past
// the end give the end of the text.
size_t position_offset(std::string_view text, int64_t position) {
  return position <= 1 ? 0 : utf8_offset(text, static_cast<size_t>(position - 1));
}

// The byte length of up to count characters from byte start.
size_t span_of(std::string_view text, size_t start, int64_t count) {
  if (count <= 0 || start >= text.size()) return 0;
  return utf8_offset(text.substr(start), static_cast<size_t>(count));
}

// The user's locale for the wide character tables; the "C" tables when it can't be had.
locale_t user_ctype_locale() {
  static const locale_t locale = [] {
    locale_t user = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
    if (user == static_cast<locale_t>(nullptr)) user = newlocale(LC_CTYPE_MASK, "C", static_cast<locale_t>(nullptr));
    return user;
  }();
  return locale;
}

}  // namespace

int64_t String_Pos(std::string_view sub, std::string_view text, int64_t skip) {
  if (sub.empty() || text.empty()) return 0;
  if (skip < 0) skip = 0;
  if (skip >= static_cast<int64_t>(text.size())) return 0;  // no character left to start at
  int64_t index = skip;
  for (size_t pos = position_offset(text, skip + 1); pos < text.size(); pos += utf8_char_size(text, pos), ++index) {
    if (matches_at(text, pos, sub)) return index + 1;
  }
  return 0;
}

int64_t String_LastPos(std::string_view sub, std::string_view text, int64_t from) {
  if (sub.empty() || text.empty() || from < 0) return 0;
  int64_t found = 0;
  int64_t index = 0;
  for (size_t pos = 0; pos < text.size() && index <= from; pos += utf8_char_size(text, pos), ++index) {
    if (matches_at(text, pos, sub)) found = index + 1;
  }
  return found;
}

std::string_view String_Copy(std::string_view text, int64_t index, int64_t count) {
  const size_t start = position_offset(text, index);
  return text.substr(start, span_of(text, start, count));
}

std::string String_Delete(std::string_view text, int64_t index, int64_t count) {
  std::string result(text);
  if (count < 1 || index < 1) return result;
  const size_t start = position_offset(text, index);
  if (start >= text.size()) return result;
  result.erase(start, span_of(text, start, count));
  return result;
}

std::string String_Insert(std::string_view sub, std::string_view text, int64_t index) {
  // An index past the end finds no character, so the offset is the end of the text.
  const size_t at = position_offset(text, index);
  std::string result;
  result.reserve(text.size() + sub.size());
  result.append(text.substr(0, at)).append(sub).append(text.substr(at));
  return result;
}

std::string String_Replace(std::string_view text, std::string_view sub, std::string_view with, bool all) {
  if (sub.empty()) return std::string(text);
  std::string result;
  size_t pos = 0;
  for (;;) {
    const size_t hit = text.find(sub, pos);
    if (hit == std::string_view::npos) break;
    result.append(text.substr(pos, hit - pos)).append(with);
    pos = hit + sub.size();
    if (!all) break;
  }
  result.append(text.substr(pos));
  return result;
}

int64_t String_Count(std::string_view sub, std::string_view text) {
  if (sub.empty() || sub.size() > text.size()) return 0;
  int64_t count = 0;
  size_t pos = 0;
  for (;;) {
    const size_t hit = text.find(sub, pos);
    if (hit == std::string_view::npos) return count;
    ++count;
    pos = hit + utf8_char_size(text, hit);
  }
}

std::string String_HashToNewline(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '#' && (i == 0 || text[i - 1] != '\\')) {
      result.append("\r\n");
    } else {
      result.push_back(text[i]);
    }
  }
  return result;
}

std::string String_Filter(std::string_view text, bool letters, bool digits) {
  std::string result;
  for (const char c : text) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool digit = c >= '0' && c <= '9';
    if ((letters && letter) || (digits && digit)) result.push_back(c);
  }
  return result;
}

std::string String_ChangeCase(std::string_view text, bool upper) {
  const locale_t locale = user_ctype_locale();
  std::string result;
  result.reserve(text.size());
  for (size_t pos = 0; pos < text.size();) {
    size_t size = 0;
    const uint32_t code_point = utf8_decode(text, pos, &size);
    uint32_t mapped = code_point;
    if (code_point < 0x10000 && locale != static_cast<locale_t>(nullptr)) {
      const wint_t wide = static_cast<wint_t>(code_point);
      mapped = static_cast<uint32_t>(upper ? towupper_l(wide, locale) : towlower_l(wide, locale));
    }
    if (mapped == code_point) {
      result.append(text.substr(pos, size));
    } else {
      char bytes[4];
      result.append(bytes, static_cast<size_t>(utf8_encode(mapped, bytes)));
    }
    pos += size;
  }
  return result;
}

std::string String_FormatNumber(double value, int32_t total, int32_t decimals) {
  const int32_t precision = decimals > 0 ? decimals : 0;
  const int64_t places = total > 0 ? total : 0;
  const int64_t width = precision > 0 ? places + 1 + precision : places;
  // Room for 309 whole digits of the largest double, sign, point and the decimals.
  std::string digits(static_cast<size_t>(precision) + 328, '\0');
  const std::to_chars_result printed =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, precision);
  digits.resize(static_cast<size_t>(printed.ptr - digits.data()));
  if (static_cast<int64_t>(digits.size()) >= width) return digits;
  std::string result(static_cast<size_t>(width) - digits.size(), ' ');
  result += digits;
  return result;
}

std::string String_FromCodePoint(int32_t code_point) {
  char bytes[4];
  int size = 0;
  if (code_point <= 127) {
    bytes[0] = static_cast<char>(code_point & 0x7F);
    size = 1;
  } else {
    size = utf8_encode(static_cast<uint32_t>(code_point), bytes);
  }
  // A zero byte would end the text where it stands: chr(0) is the empty string.
  if (bytes[0] == '\0') return std::string();
  return std::string(bytes, static_cast<size_t>(size));
}

#pragma once
// The string builtins (string_format .. string_hash_to_newline), and the typed routines behind
// them. String_RegisterBuiltins adds the builtins in one fixed order; the family order that gives
// them their indexes is decided by whoever calls it.
// Positions count characters (code points by the lead byte, see core/utf8.h) from 1, and every
// positional routine walks from the start of the text, so it is linear in the string. Only the
// result strings are allocated. Arguments that aren't strings are read as their text, except where
// a routine says otherwise; a null string reads as "". Case mapping goes through the wide
// character tables of the user's locale (LC_ALL / LC_CTYPE / LANG), read through a locale object so
// that the process locale is never switched and number text stays locale-free.
#include <cstdint>
#include <string>
#include <string_view>

void String_RegisterBuiltins();

// ---- Typed routines ------------------------------------------------------------------------------
// Search is by code points and case-sensitive; 0 means not found, and an empty sub or text is
// never found. String_Pos starts at character index skip (the first skip characters are stepped
// over); String_LastPos takes the last match starting at character index from or before it.
int64_t String_Pos(std::string_view sub, std::string_view text, int64_t skip);
int64_t String_LastPos(std::string_view sub, std::string_view text, int64_t from);
// Up to count characters from position index; an index below 1 counts as 1, a count below 0 as 0.
std::string_view String_Copy(std::string_view text, int64_t index, int64_t count);
// Removes count characters at position index, cut at the end; the text as it is for a count below
// 1 or an index outside 1 .. the character count.
std::string String_Delete(std::string_view text, int64_t index, int64_t count);
// sub before position index, clamped to 1 .. the character count + 1.
std::string String_Insert(std::string_view sub, std::string_view text, int64_t index);
// Replaces the first (or every, left to right, without rescanning) byte-wise occurrence of sub;
// an empty sub leaves the text as it is.
std::string String_Replace(std::string_view text, std::string_view sub, std::string_view with, bool all);
// Occurrences of sub, moving on one character from each hit, so overlapping ones count.
int64_t String_Count(std::string_view sub, std::string_view text);
// Every '#' not behind a '\' becomes CR LF.
std::string String_HashToNewline(std::string_view text);
// Keeps the ASCII letters and/or digits.
std::string String_Filter(std::string_view text, bool letters, bool digits);
// Maps each code point below 0x10000 through the locale's towupper or towlower; characters the
// mapping leaves alone keep their bytes exactly.
std::string String_ChangeCase(std::string_view text, bool upper);
// value printed with "%*.*f": precision max(decimals, 0); width max(total, 0), plus 1 and the
// precision when that is above 0; blanks pad on the left.
std::string String_FormatNumber(double value, int32_t total, int32_t decimals);
// chr: code points up to 127 as one byte with bit 7 cleared, then two, three or four bytes.
std::string String_FromCodePoint(int32_t code_point);

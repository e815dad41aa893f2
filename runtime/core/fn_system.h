#pragma once
// The builtins that ask the system something and need nothing above the core: the date_* family,
// get_timer and sleep, the user's language and region, the string digests and Base64, and the
// url_* / os_* calls of mobile and web builds, which answer neutrally here. System_RegisterBuiltins
// adds them in one fixed order. The clipboard lives with the window (graphics/fn_window.cpp), the
// builtins that read the data file's header, build a ds_map or read a script-named file
// (md5_file, sha1_file) with the spine.
#include <string>
#include <string_view>

void System_RegisterBuiltins();

// ---- Typed routines ------------------------------------------------------------------------------
// The user's locale name: LC_ALL, else LANG; "C" when neither is set.
std::string System_UserLocaleName();
// The language code for a locale name such as "pt_BR.UTF-8": the language is looked up in the
// system's table of language ids, and the code of the first row with that id is the answer (so
// Norwegian Nynorsk answers "nb"). "C" and "POSIX" are English. "--" when the table lacks it.
std::string System_LanguageCode(std::string_view locale_name);
// The territory of a locale name as two upper-case letters ("BR"); "US" for "C" and "POSIX";
// "--" when the name has none.
std::string System_RegionCode(std::string_view locale_name);

// The bytes hashed by the *_unicode digests: one 16-bit little-endian unit per code point, the
// low 16 bits, and for a code point above 0xFFFF a second unit holding the bits above those.
std::string System_Utf16Units(std::string_view utf8);
std::string System_Md5Hex(std::string_view bytes);
std::string System_Sha1Hex(std::string_view bytes);
std::string System_Base64Encode(std::string_view bytes);
// Standard Base64 with or without padding; false for text that isn't Base64.
bool System_Base64Decode(std::string_view text, std::string* bytes);

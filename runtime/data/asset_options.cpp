// OPTN and LANG readers.
#include "data/asset_options.h"

#include <cstdlib>
#include <cstring>

#include "core/rvalue.h"
#include "core/timing.h"
#include "data/asset_load.h"
#include "data/game_data.h"
#include "data/loader_internal.h"

using namespace datawin::optn;

namespace {

GameOptions g_options;
LanguageTables g_languages;

// Reads {name, value} string pairs; consumed constants set their settings, the rest are kept.
bool read_constants(ByteCursor& cur, uint32_t count) {
  if (!cur.fits(count, kConstantBytes)) return Asset_LoadError("OPTN", "constant list passes the end of the chunk", cur.offset());
  for (uint32_t i = 0; i < count; ++i) {
    const char* name = nullptr;
    const char* value = nullptr;
    const uint32_t at = cur.offset();
    if (!cur.read_string(&name) || !cur.read_string(&value)) return Asset_LoadError("OPTN", "bad constant string", at);
    if (name == nullptr) name = "";
    if (value == nullptr) value = "";
    if (std::strcmp(name, kSleepMarginConstant) == 0) {
      SleepMargin = std::atoi(value);
      continue;
    }
    if (std::strcmp(name, kDrawColourConstant) == 0) {
      g_options.draw_colour = static_cast<uint32_t>(std::strtoul(value, nullptr, 0));
      g_options.draw_colour_set = true;
      continue;
    }
    if (std::strcmp(name, kVersionMajorConstant) == 0) g_options.version_major = std::atoi(value);
    if (std::strcmp(name, kVersionMinorConstant) == 0) g_options.version_minor = std::atoi(value);
    g_options.constant_names.emplace_back(name);
    g_options.constant_values.emplace_back(value);
  }
  return true;
}

bool read_new_form(ByteCursor& cur, uint32_t start) {
  uint32_t form = 0, flags = 0, window_colour = 0, byte56 = 0, count = 0;
  int32_t value16 = 0, value36 = 0, value40 = 0;
  const char* string52 = nullptr;
  if (!cur.seek(start + kFormVersion) || !cur.read_u32(&form)) return Asset_LoadError("OPTN", "record cut off", cur.offset());
  if (form != kNewFormVersion) return Asset_LoadError("OPTN", "form version is not 2", start + kFormVersion);
  if (!cur.read_u32(&flags) || !cur.seek(start + kValue16) || !cur.read_i32(&value16) || !cur.read_u32(&window_colour) ||
      !cur.seek(start + kValue36) || !cur.read_i32(&value36) || !cur.read_i32(&value40) ||
      !cur.seek(start + kString52) || !cur.read_string(&string52) || !cur.read_u32(&byte56) || !cur.read_u32(&count)) {
    return Asset_LoadError("OPTN", "record cut off or bad string", cur.offset());
  }
  if (DataVersion < kVersionBit23) flags = (flags & ~kOptionVersion5Bit) | (kDefaultFlags & kOptionVersion5Bit);
  g_options.flags = flags;
  g_options.value16 = value16;
  g_options.window_colour = window_colour;
  g_options.value36 = value36;
  g_options.value40 = value40;
  g_options.string52 = string52;
  g_options.byte56 = byte56 != 0;
  return read_constants(cur, count);
}

bool read_old_form(ByteCursor& cur, uint32_t start) {
  uint32_t words[kOldConstantCount + 1] = {};
  for (uint32_t& word : words) {
    if (!cur.read_u32(&word)) return Asset_LoadError("OPTN", "record cut off", cur.offset());
  }
  const char* string52 = nullptr;
  if (words[kOldString52] != 0 && !cur.string_at(words[kOldString52], &string52)) {
    return Asset_LoadError("OPTN", "bad string", start + 4 * kOldString52);
  }
  uint32_t flags = kDefaultFlags & ~kOldFormZeroed;
  for (const OldFlagWord& flag : kOldFlagWords) {
    if (flag.bit == 23 && DataVersion < kVersionBit23) continue;
    flags = (flags & ~(1u << flag.bit)) | (words[flag.word] != 0 ? 1u << flag.bit : 0);
  }
  g_options.flags = flags;
  g_options.value16 = static_cast<int32_t>(words[kOldValue16]);
  g_options.window_colour = words[kOldWindowColour];
  g_options.value36 = static_cast<int32_t>(words[kOldValue36]);
  g_options.value40 = static_cast<int32_t>(words[kOldValue40]);
  g_options.string52 = string52;
  g_options.byte56 = words[kOldByte56] != 0;
  return read_constants(cur, words[kOldConstantCount]);
}

}  // namespace

const GameOptions& Options_Get() { return g_options; }
bool Options_Flag(uint32_t mask) { return (g_options.flags & mask) != 0; }
uint32_t Options_WindowClearColour() { return g_options.window_colour | 0xFF000000u; }
const LanguageTables& Language_Get() { return g_languages; }

void Options_Clear() {
  g_options = GameOptions{};
  g_languages = LanguageTables{};
}

bool Options_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  const uint32_t start = cur.offset();
  int32_t marker = 0;
  if (!cur.read_i32(&marker)) return Asset_LoadError("OPTN", "record cut off", start);
  g_options = GameOptions{};
  bool ok = false;
  if (marker < 0) {
    ok = read_new_form(cur, start);
  } else {
    cur.seek(start);  // the old form's marker is its first flag word
    ok = read_old_form(cur, start);
  }
  if (g_loader.in_a_window) g_options.flags &= ~kOptionFullScreen;
  g_CopyOnWrite = (g_options.flags & kOptionCopyOnWrite) != 0;
  return ok;
}

bool Language_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  using namespace datawin::lang;
  ByteCursor cur = GameData_Cursor(payload, size);
  const uint32_t start = cur.offset();
  int32_t languages = 0, entries = 0;
  g_languages = LanguageTables{};
  if (!cur.skip(kLanguageCount) || !cur.read_i32(&languages) || !cur.read_i32(&entries)) {
    return Asset_LoadError("LANG", "head cut off", start);
  }
  if (languages < 1 || entries < 1) return true;
  const uint64_t strings = static_cast<uint64_t>(entries) + static_cast<uint64_t>(languages) * (entries + kLanguageHeadWords);
  if (strings * 4 > cur.remaining()) return Asset_LoadError("LANG", "tables pass the end of the chunk", cur.offset());
  LanguageTables tables;
  const auto read = [&cur](const char** out) {
    const uint32_t at = cur.offset();
    if (cur.read_string(out)) return true;
    return Asset_LoadError("LANG", "bad string", at);
  };
  tables.keys.resize(entries);
  for (const char*& key : tables.keys) {
    if (!read(&key)) return false;
  }
  tables.languages.resize(languages);
  for (LanguageTable& language : tables.languages) {
    language.values.resize(entries);
    if (!read(&language.name) || !read(&language.region)) return false;
    for (const char*& value : language.values) {
      if (!read(&value)) return false;
    }
  }
  tables.current = 0;
  g_languages = std::move(tables);
  return true;
}

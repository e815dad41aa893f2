#include "storage/ini_file.h"

#include <cstring>
#include <vector>

#include "core/console.h"
#include "core/memory.h"
#include "platform/files.h"

namespace {

constexpr const char* kSystemSection = "SYSTEM_COMMAND";
constexpr const char* kFlushKey = "INI_FILE_FLUSH";
constexpr const char* kFlushValue = "NOW";

bool is_white(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' ' || c == '#' || c == ';'; }
bool is_line_end(char c) { return c == '\r' || c == '\n'; }

void free_keys(IniKey* key) {
  while (key != nullptr) {
    IniKey* next = key->next;
    KV_Delete(key);
    key = next;
  }
}

IniKey* find_key(const IniSection* section, const char* key) {
  for (IniKey* entry = section->keys; entry != nullptr; entry = entry->next) {
    if (entry->key == key) return entry;
  }
  return nullptr;
}

}  // namespace

IniFile::IniFile() = default;

IniFile::IniFile(const char* name, bool read_now) : filename(name != nullptr ? name : "") {
  if (read_now) LoadFromFile();
}

IniFile::~IniFile() { Clear(); }

void IniFile::Clear() {
  while (sections != nullptr) {
    IniSection* next = sections->next;
    free_keys(sections->keys);
    KV_Delete(sections);
    sections = next;
  }
  if (data != nullptr) {
    KV_FREE(data);
    data = nullptr;
  }
}

bool IniFile::LoadFromFile() {
  if (filename.empty()) return false;
  std::vector<uint8_t> bytes;
  if (!Platform_ReadWholeFile(filename, &bytes)) return false;
  LoadFromData(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return true;
}

void IniFile::LoadFromData(const char* text, size_t length) {
  if (text == nullptr) length = 0;
  if (length >= static_cast<size_t>(INT32_MAX)) {
    g_ReleaseConsole->Output("IniFile: text of %zu bytes is too large to parse; ignored\n", length);
    return;
  }
  size = static_cast<int32_t>(length);
  data = static_cast<char*>(KV_ALLOC(length + 1));
  if (length > 0) std::memcpy(data, text, length);
  data[length] = '\0';
  Parse();
  KV_FREE(data);
  data = nullptr;
}

void IniFile::SkipWhiteSpace() {
  while (cursor < size && is_white(data[cursor])) {
    const char c = data[cursor];
    if (c == '#' || c == ';') {
      while (cursor < size && !is_line_end(data[cursor])) ++cursor;
      continue;
    }
    if (c == '\n') ++lineCount;
    ++cursor;
  }
}

IniSection* IniFile::AddSection(const char* name, size_t length) {
  IniSection* section = KV_NEW(IniSection);
  section->name.assign(name, length);
  section->next = sections;
  sections = section;
  return section;
}

IniSection* IniFile::ReadSectionName() {
  ++cursor;  // the '['
  const int32_t start = cursor;
  while (cursor < size && data[cursor] != ']') {
    if (data[cursor] == '\n') ++lineCount;
    ++cursor;
  }
  IniSection* section = AddSection(data + start, static_cast<size_t>(cursor - start));
  if (cursor < size) ++cursor;  // the ']'
  return section;
}

void IniFile::ReadEntry(IniSection* section) {
  const int32_t key_start = cursor;
  while (cursor < size && data[cursor] != '=') {
    if (data[cursor] == '\n') ++lineCount;
    ++cursor;
  }
  if (cursor >= size) return;  // no '=' before the end: the text is no entry
  int32_t key_end = cursor;
  while (key_end > key_start && is_white(data[key_end - 1])) --key_end;
  ++cursor;  // the '='

  // "key=" at a line's end makes no key: the next line is read as an entry of its own.
  const int32_t value_search = cursor;
  SkipWhiteSpace();
  if (cursor >= size) return;
  for (int32_t i = value_search; i < cursor; ++i) {
    if (is_line_end(data[i])) return;
  }

  int32_t value_start = cursor;
  int32_t value_end;
  const char quote = data[cursor];
  if (quote == '"' || quote == '\'') {
    value_start = ++cursor;
    while (cursor < size && data[cursor] != quote && !is_line_end(data[cursor])) ++cursor;
    value_end = cursor;
    while (cursor < size && !is_line_end(data[cursor])) ++cursor;
  } else {
    while (cursor < size && !is_line_end(data[cursor]) && data[cursor] != '#' && data[cursor] != ';') ++cursor;
    value_end = cursor;
    while (value_end > value_start && (data[value_end - 1] == ' ' || data[value_end - 1] == '\t')) --value_end;
  }

  IniKey* key = KV_NEW(IniKey);
  key->key.assign(data + key_start, static_cast<size_t>(key_end - key_start));
  key->value.assign(data + value_start, static_cast<size_t>(value_end - value_start));
  key->next = section->keys;
  section->keys = key;
}

void IniFile::Parse() {
  cursor = 0;
  if (size >= 3 && static_cast<uint8_t>(data[0]) == 0xEF && static_cast<uint8_t>(data[1]) == 0xBB &&
      static_cast<uint8_t>(data[2]) == 0xBF) {
    cursor = 3;
  }
  SkipWhiteSpace();
  while (cursor < size && data[cursor] != '[') {
    if (data[cursor] == '\n') ++lineCount;
    ++cursor;
  }
  if (cursor >= size) return;  // no section at all
  IniSection* section = ReadSectionName();
  while (cursor < size) {
    SkipWhiteSpace();
    if (cursor >= size) break;
    if (data[cursor] == '[') {
      section = ReadSectionName();
    } else {
      ReadEntry(section);
    }
  }
}

IniSection* IniFile::GetSection(const char* section) const {
  if (section == nullptr) return nullptr;
  for (IniSection* entry = sections; entry != nullptr; entry = entry->next) {
    if (entry->name == section) return entry;
  }
  return nullptr;
}

IniKey* IniFile::GetKey(const char* section, const char* key) const {
  if (key == nullptr) return nullptr;
  const IniSection* found = GetSection(section);
  return found != nullptr ? find_key(found, key) : nullptr;
}

const char* IniFile::GetValue(const char* section, const char* key) const {
  const IniKey* found = GetKey(section, key);
  return found != nullptr ? found->value.c_str() : nullptr;
}

void IniFile::SetKey(const char* section, const char* key, const char* value) {
  if (section == nullptr || key == nullptr) return;
  dirty = true;
  if (std::strcmp(section, kSystemSection) == 0) {
    if (std::strcmp(key, kFlushKey) == 0 && value != nullptr && std::strcmp(value, kFlushValue) == 0) {
      WriteIniFile();
    }
    return;
  }
  IniSection* target = GetSection(section);
  if (target == nullptr) target = AddSection(section, std::strlen(section));
  IniKey* entry = find_key(target, key);
  if (entry == nullptr) {
    entry = KV_NEW(IniKey);
    entry->key = key;
    entry->next = target->keys;
    target->keys = entry;
  }
  entry->value = value != nullptr ? value : "";
}

bool IniFile::DeleteKey(const char* section, const char* key) {
  if (key == nullptr) return false;
  IniSection* found = GetSection(section);
  if (found == nullptr) return false;
  for (IniKey** link = &found->keys; *link != nullptr; link = &(*link)->next) {
    if ((*link)->key != key) continue;
    IniKey* gone = *link;
    *link = gone->next;
    KV_Delete(gone);
    dirty = true;
    return true;
  }
  return false;
}

bool IniFile::DeleteSection(const char* section) {
  if (section == nullptr) return false;
  for (IniSection** link = &sections; *link != nullptr; link = &(*link)->next) {
    if ((*link)->name != section) continue;
    IniSection* gone = *link;
    *link = gone->next;
    free_keys(gone->keys);
    KV_Delete(gone);
    dirty = true;
    return true;
  }
  return false;
}

std::string IniFile::WriteIniFile() {
  std::string text;
  for (const IniSection* section = sections; section != nullptr; section = section->next) {
    text += '[';
    text += section->name;
    text += "]\r\n";
    for (const IniKey* key = section->keys; key != nullptr; key = key->next) {
      text += key->key;
      text += "=\"";
      text += key->value;
      text += "\"\r\n";
    }
  }
  size = text.size() < static_cast<size_t>(INT32_MAX) ? static_cast<int32_t>(text.size()) : INT32_MAX;
  if (dirty && !filename.empty()) {
    if (Platform_WriteWholeFile(filename, text.data(), text.size())) {
      dirty = false;
    } else {
      g_ReleaseConsole->Output("IniFile: can't write %s\n", filename.c_str());
    }
  }
  return text;
}

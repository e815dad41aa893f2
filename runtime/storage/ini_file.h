#pragma once
// IniFile: an ini text held as singly linked lists of sections and keys, with its byte parser and
// its writer. Owns every record and string it holds; records come from the memory manager.
//
// Parsing: a UTF-8 mark is skipped; white space is tab, LF, CR, blank, '#' and ';', where '#' and
// ';' run to the line's end. Text before the first '[' is dropped. A key runs up to the next '='
// across line ends; its trailing white space is cut. "key=" at a line's end makes no key. Values
// in '"' or '\'' run to the same quote or the line's end (the rest of the line is skipped);
// unquoted values end at CR, LF, '#' or ';' with trailing blanks and tabs cut. New sections and
// keys go to the head of their lists, so of a repeated name the one later in the text is found
// first, and a rewritten file comes out in reverse order. Lookups are exact and case-sensitive.
//
// Writing: "[name]" CR LF per section and `key="value"` CR LF per key, walked from the heads; no
// escapes, so a value holding '"' doesn't read back whole. The text goes to the file only when
// dirty and a file name is present (parent directories made); a failed write keeps dirty set and
// prints a release-console line. Costs: parsing and writing are linear in the text; lookups walk
// the lists.
#include <cstddef>
#include <cstdint>
#include <string>

struct IniKey {
  IniKey* next = nullptr;
  std::string key;
  std::string value;
};

struct IniSection {
  IniSection* next = nullptr;
  IniKey* keys = nullptr;
  std::string name;
};

class IniFile {
 public:
  // An empty file with no name: nothing is ever written from it.
  IniFile();
  // A file bound to filename; with read_now its text is parsed at once (a missing or unreadable
  // file gives an empty IniFile that still writes to filename).
  IniFile(const char* filename, bool read_now);
  ~IniFile();
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  // Parses text; its sections go in front of any already held.
  void LoadFromData(const char* text, size_t length);
  // Reads and parses filename; false when it can't be read.
  bool LoadFromFile();

  IniSection* GetSection(const char* section) const;
  // The key inside the first section of that name.
  IniKey* GetKey(const char* section, const char* key) const;
  // The key's value, or null when there is no such key.
  const char* GetValue(const char* section, const char* key) const;

  // Stores value (null stores "") and sets dirty. In section "SYSTEM_COMMAND" nothing is stored:
  // key "INI_FILE_FLUSH" with value "NOW" runs the writer. A null section or key stores nothing.
  void SetKey(const char* section, const char* key, const char* value);
  // Remove the first match; true (and dirty set) when something was removed.
  bool DeleteKey(const char* section, const char* key);
  bool DeleteSection(const char* section);

  // The writer: gives the text back, and writes it to filename when dirty.
  std::string WriteIniFile();

  std::string filename;  // "" for text given by string
  int32_t size = 0;      // bytes of the last text parsed or written
  IniSection* sections = nullptr;
  int32_t cursor = 0;
  char* data = nullptr;  // the text while it is parsed
  int32_t lineCount = 0;  // LF bytes the parser has passed
  bool dirty = false;

 private:
  void Parse();
  void SkipWhiteSpace();
  IniSection* ReadSectionName();
  void ReadEntry(IniSection* section);
  IniSection* AddSection(const char* name, size_t length);
  void Clear();
};

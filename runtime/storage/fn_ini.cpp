// The ini builtins over the one open IniFile, and load_csv. An ini file opened by name is read
// from the save area when it is there, else from the bundle, and is written back (when changed)
// to its place in the save area.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "platform/files.h"
#include "storage/ds_grid.h"
#include "storage/file_paths.h"
#include "storage/fn_file_internal.h"
#include "storage/ini_file.h"

namespace {

using fn_file::name_arg;
using fn_file::set_text;
using fn_value::set_result;
using fn_value::with_args;

IniFile* g_ini = nullptr;

void free_ini() {
  if (g_ini != nullptr) KV_Delete(g_ini);
  g_ini = nullptr;
}

IniFile* ini_or_raise(const char* message) {
  if (g_ini == nullptr) KVError("%s", message);
  return g_ini;
}

constexpr const char* kReadMessage = "Trying to read from undefined INI file";
constexpr const char* kWriteMessage = "Trying to write to undefined INI file";
constexpr const char* kChangeMessage = "Trying to change undefined INI file";

// Writes an open file back when it changed, then frees it.
void close_open_ini() {
  if (g_ini == nullptr) return;
  g_ini->WriteIniFile();
  free_ini();
}

void F_IniOpen(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  if (name == nullptr || name[0] == '\0') return;
  close_open_ini();
  IniFile* ini = KV_NEW(IniFile);
  ini->filename = ResolveSavePath(name);
  std::vector<uint8_t> bytes;
  const std::string source = File_FindForRead(name);
  if (!source.empty() && Platform_ReadWholeFile(source, &bytes)) {
    ini->LoadFromData(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  g_ini = ini;
}

void F_IniOpenFromString(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  const char* text = name_arg(argv, 0);
  close_open_ini();
  IniFile* ini = KV_NEW(IniFile);
  if (text != nullptr) ini->LoadFromData(text, std::char_traits<char>::length(text));
  g_ini = ini;
}

void F_IniClose(RValue* result, CInstance*, CInstance*, int, RValue*) {
  if (g_ini == nullptr) {
    set_text(result, "");
    return;
  }
  const std::string text = g_ini->WriteIniFile();
  free_ini();
  set_text(result, text);
}

void F_IniReadString(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kReadMessage);
  if (ini == nullptr) return;
  const char* value = ini->GetValue(KVGetString(argv, 0), KVGetString(argv, 1));
  if (value != nullptr) {
    set_text(result, value);
    return;
  }
  char* text = RV_ToText(argv[2]);
  set_text(result, text);
  KV_FREE(text);
}

void F_IniReadReal(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kReadMessage);
  if (ini == nullptr) return;
  const char* value = ini->GetValue(KVGetString(argv, 0), KVGetString(argv, 1));
  set_result(result, RV_Real(value != nullptr ? std::atof(value) : KVGetReal(argv, 2)));
}

void F_IniWriteString(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kWriteMessage);
  if (ini != nullptr) ini->SetKey(KVGetString(argv, 0), KVGetString(argv, 1), name_arg(argv, 2));
}

void F_IniWriteReal(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kWriteMessage);
  if (ini == nullptr) return;
  char text[400];
  std::snprintf(text, sizeof(text), "%f", KVGetReal(argv, 2));
  ini->SetKey(KVGetString(argv, 0), KVGetString(argv, 1), text);
}

void F_IniKeyExists(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kReadMessage);
  if (ini != nullptr) {
    set_result(result, RV_Real(ini->GetKey(KVGetString(argv, 0), KVGetString(argv, 1)) != nullptr ? 1.0 : 0.0));
  }
}

void F_IniSectionExists(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kReadMessage);
  if (ini != nullptr) set_result(result, RV_Real(ini->GetSection(KVGetString(argv, 0)) != nullptr ? 1.0 : 0.0));
}

void F_IniKeyDelete(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kChangeMessage);
  if (ini != nullptr) ini->DeleteKey(KVGetString(argv, 0), KVGetString(argv, 1));
}

void F_IniSectionDelete(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  IniFile* ini = ini_or_raise(kChangeMessage);
  if (ini != nullptr) ini->DeleteSection(KVGetString(argv, 0));
}

// ---- load_csv ---------------------------------------------------------------------------------

// The text's lines: CR, LF and CR LF each end one; empty lines are left out.
std::vector<std::string> csv_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::string line;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\r' || c == '\n') {
      if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      if (!line.empty()) lines.push_back(line);
      line.clear();
      continue;
    }
    line.push_back(c);
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

// The cells of one line. A quote opens a cell only at the line's start or behind a comma, and
// closes on a quote followed by a comma or the line's end; inside, two quotes make one.
std::vector<std::string> csv_cells(const std::string& line) {
  std::vector<std::string> cells;
  std::string cell;
  size_t i = 0;
  for (;;) {
    cell.clear();
    if (i < line.size() && line[i] == '"') {
      ++i;
      while (i < line.size()) {
        if (line[i] == '"') {
          if (i + 1 >= line.size() || line[i + 1] == ',') {
            ++i;
            break;
          }
          if (line[i + 1] == '"') ++i;
        }
        cell.push_back(line[i++]);
      }
    } else {
      while (i < line.size() && line[i] != ',') cell.push_back(line[i++]);
    }
    cells.push_back(cell);
    if (i >= line.size()) break;
    ++i;  // the comma
    if (i == line.size()) {
      cells.emplace_back();
      break;
    }
  }
  return cells;
}

void F_LoadCsv(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (RV_Kind(argv[0]) != kRVString) {
    KVError("load_csv - parameter should be a filename");
    return;
  }
  set_result(result, RV_Real(-1.0));
  const std::string path = File_FindForRead(RV_StringText(argv[0]));
  std::vector<uint8_t> bytes;
  if (path.empty() || !Platform_ReadWholeFile(path, &bytes) || bytes.empty()) return;
  const std::vector<std::string> lines = csv_lines(std::string(bytes.begin(), bytes.end()));
  if (lines.empty()) return;
  const auto width = static_cast<int32_t>(csv_cells(lines[0]).size());
  const auto height = static_cast<int32_t>(lines.size());
  const int32_t id = DS_New<CDS_Grid>();
  CDS_Grid* grid = DS_Find<CDS_Grid>(id);
  if (grid == nullptr) return;
  if (!grid->resize(width, height)) {
    DS_Destroy(kDsGrid, id);
    return;
  }
  for (int32_t y = 0; y < height; ++y) {
    const std::vector<std::string> cells = csv_cells(lines[static_cast<size_t>(y)]);
    for (int32_t x = 0; x < width && x < static_cast<int32_t>(cells.size()); ++x) {
      RValue cell = RV_Undefined();
      RV_SetStringLen(&cell, cells[static_cast<size_t>(x)].data(), static_cast<int32_t>(cells[static_cast<size_t>(x)].size()));
      grid->apply(kDsCellSet, x, y, cell);
      RV_Free(&cell);
    }
  }
  set_result(result, RV_Real(id));
}

}  // namespace

namespace fn_file {

void RegisterIniBuiltins() {
  Function_Add("ini_open", with_args<F_IniOpen, 1>, 1, 0);
  Function_Add("ini_open_from_string", with_args<F_IniOpenFromString, 1>, 1, 0);
  Function_Add("ini_close", F_IniClose, 0, 0);
  Function_Add("ini_read_string", with_args<F_IniReadString, 3>, 3, 0);
  Function_Add("ini_read_real", with_args<F_IniReadReal, 3>, 3, 0);
  Function_Add("ini_write_string", with_args<F_IniWriteString, 3>, 3, 0);
  Function_Add("ini_write_real", with_args<F_IniWriteReal, 3>, 3, 0);
  Function_Add("ini_key_exists", with_args<F_IniKeyExists, 2>, 2, 0);
  Function_Add("ini_section_exists", with_args<F_IniSectionExists, 1>, 1, 0);
  Function_Add("ini_key_delete", with_args<F_IniKeyDelete, 2>, 2, 0);
  Function_Add("ini_section_delete", with_args<F_IniSectionDelete, 1>, 1, 0);
  Function_Add("load_csv", with_args<F_LoadCsv, 1>, 1, 0);
}

void DropIniFile() { free_ini(); }

}  // namespace fn_file

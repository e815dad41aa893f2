#include "storage/file_paths.h"

#include <cwctype>
#include <memory>

#include "core/console.h"
#include "core/utf8.h"
#include "platform/files.h"
#include "storage/buffer.h"

namespace {

struct AllowEntry {
  std::unique_ptr<AllowEntry> next;
  std::string pattern;
  bool wildcard = false;
};

struct Roots {
  std::string bundle;
  std::string working;
  std::string save;
  std::string parent;
  bool no_sandbox = false;
  std::unique_ptr<AllowEntry> read_allow;
  std::unique_ptr<AllowEntry> write_allow;
};

Roots& roots() {
  static Roots state;
  return state;
}

std::string with_slashes(const char* name) {
  std::string text = name;
  for (char& c : text) {
    if (c == '\\') c = '/';
  }
  return text;
}

// The canonical form of a directory with exactly one trailing '/'; "" stays "".
std::string canonical_directory(const std::string& directory) {
  if (directory.empty()) return std::string();
  std::string full = Platform_FullPath(with_slashes(directory.c_str()));
  if (full.empty() || full.back() != '/') full += '/';
  return full;
}

// When full lies inside directory (given with or without its trailing '/'), the part behind the
// directory and its separator; the comparison is exact and stops at a separator, so "/a/bc" is
// not inside "/a/b".
bool inside(const std::string& full, const std::string& directory, std::string* rest) {
  if (directory.empty()) return false;
  const size_t length = directory.back() == '/' ? directory.size() - 1 : directory.size();
  if (full.compare(0, length, directory, 0, length) != 0) return false;
  if (full.size() == length) {
    rest->clear();
    return true;
  }
  if (full[length] != '/' && length != 0) return false;
  *rest = full.substr(length == 0 ? 1 : length + 1);
  return true;
}

uint32_t fold(uint32_t code_point) { return static_cast<uint32_t>(std::towlower(static_cast<wint_t>(code_point))); }

bool equal_ignoring_case(const std::string& a, const std::string& b) {
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() && j < b.size()) {
    size_t step_a = 1;
    size_t step_b = 1;
    if (fold(utf8_decode(a, i, &step_a)) != fold(utf8_decode(b, j, &step_b))) return false;
    i += step_a > 0 ? step_a : 1;
    j += step_b > 0 ? step_b : 1;
  }
  return i == a.size() && j == b.size();
}

bool list_matches(const AllowEntry* entry, const std::string& name) {
  for (; entry != nullptr; entry = entry->next.get()) {
    if (entry->wildcard ? name.compare(0, entry->pattern.size(), entry->pattern) == 0
                        : equal_ignoring_case(entry->pattern, name)) {
      return true;
    }
  }
  return false;
}

void list_add(std::unique_ptr<AllowEntry>* head, const char* name, bool wildcard) {
  if (name == nullptr || name[0] == '\0') return;
  const std::string pattern = with_slashes(name);
  if (list_matches(head->get(), pattern)) return;
  auto entry = std::make_unique<AllowEntry>();
  entry->pattern = pattern;
  entry->wildcard = wildcard;
  entry->next = std::move(*head);
  *head = std::move(entry);
}

std::string full_path_of(const char* name) { return Platform_FullPath(with_slashes(name)); }

bool read_whole_for_buffer(const char* name, std::vector<uint8_t>* out) {
  // A name that resolves nowhere is read from the save area's side first, as every script read.
  const std::string found = File_FindForRead(name);
  if (!found.empty()) return Platform_ReadWholeFile(found, out);
  return File_ReadWhole(name, out);
}

bool write_whole_for_buffer(const char* name, const void* bytes, size_t size) {
  return File_WriteWhole(name, bytes, size);
}

const BufferFileAccess kBufferAccess = {read_whole_for_buffer, write_whole_for_buffer};

size_t last_separator(const std::string& name) { return name.find_last_of("/\\"); }

}  // namespace

void Files_SetRoots(const std::string& bundle, const std::string& working, const std::string& save,
                    const std::string& parent) {
  Roots& r = roots();
  r.bundle = canonical_directory(bundle);
  r.working = canonical_directory(working);
  r.save = canonical_directory(save);
  r.parent = canonical_directory(parent);
}

void Files_SetNoSandbox(bool no_sandbox) { roots().no_sandbox = no_sandbox; }

void Files_Reset() {
  Roots& r = roots();
  r.bundle.clear();
  r.working.clear();
  r.save.clear();
  r.parent.clear();
  r.no_sandbox = false;
  r.read_allow.reset();
  r.write_allow.reset();
}

const std::string& Files_BundleDirectory() { return roots().bundle; }
const std::string& Files_SaveDirectory() { return roots().save; }
const std::string& Files_WorkingDirectory() { return roots().working; }

void Files_AllowRead(const char* name, bool wildcard) { list_add(&roots().read_allow, name, wildcard); }
void Files_AllowWrite(const char* name, bool wildcard) { list_add(&roots().write_allow, name, wildcard); }
bool Files_ReadAllowed(const char* name) {
  return name != nullptr && list_matches(roots().read_allow.get(), with_slashes(name));
}
bool Files_WriteAllowed(const char* name) {
  return name != nullptr && list_matches(roots().write_allow.get(), with_slashes(name));
}

// Before a game has set its roots there is nothing to resolve against: names are used as they
// stand, as the buffers' default file access takes them.
namespace {
bool no_roots(const Roots& r) { return r.bundle.empty() && r.save.empty(); }
}  // namespace

std::string ResolveBundlePath(const char* name) {
  if (name == nullptr || name[0] == '\0') return std::string();
  const Roots& r = roots();
  const std::string full = full_path_of(name);
  if (no_roots(r)) return full;
  std::string rest;
  if (inside(full, r.bundle, &rest)) return full;
  // A name in the save area is no bundle file, even when the save area lies below the current
  // directory.
  if (!inside(full, r.save, &rest)) {
    if (inside(full, r.working, &rest)) return r.bundle + rest;
    if (inside(full, Platform_CurrentDirectory(), &rest)) return r.bundle + rest;
  }
  if (r.no_sandbox || list_matches(r.read_allow.get(), full)) return full;
  return std::string();
}

std::string ResolveSavePath(const char* name) {
  if (name == nullptr || name[0] == '\0') return std::string();
  const Roots& r = roots();
  const std::string full = full_path_of(name);
  if (no_roots(r)) return full;
  const bool allowed = list_matches(r.write_allow.get(), full);
  std::string rest;
  std::string result;
  // The save area is looked at first: on this platform it may well lie below the current
  // directory (a game started from the home directory), and a name inside it stays where it is.
  if (!r.save.empty() && inside(full, r.save, &rest)) {
    result = full;
  } else if (!r.save.empty() &&
             (inside(full, r.working, &rest) || inside(full, Platform_CurrentDirectory(), &rest))) {
    result = r.save + rest;
  } else if (inside(full, r.parent, &rest)) {
    if (allowed) {
      g_ReleaseConsole->Output("Warning! Save location - redirected to  parent app working dir: '%s'\n", full.c_str());
    }
    return full;
  } else {
    if (r.no_sandbox || allowed) return full;
    g_ReleaseConsole->Output("Error! not allowing file operation with filename '%s'.\n", name);
    return std::string();
  }
  if (allowed) g_ReleaseConsole->Output("Warning! Save location - redirected to: '%s'\n", result.c_str());
  return result;
}

bool File_ExistsInBundle(const char* name) { return Platform_IsFile(ResolveBundlePath(name)); }
bool File_ExistsInSave(const char* name) { return Platform_IsFile(ResolveSavePath(name)); }

std::string File_FindForRead(const char* name) {
  std::string path = ResolveSavePath(name);
  if (Platform_IsFile(path)) return path;
  path = ResolveBundlePath(name);
  return Platform_IsFile(path) ? path : std::string();
}

bool File_ReadWhole(const char* name, std::vector<uint8_t>* out) {
  out->clear();
  const std::string bundle = ResolveBundlePath(name);
  if (!bundle.empty() && Platform_ReadWholeFile(bundle, out)) return true;
  const std::string save = ResolveSavePath(name);
  return !save.empty() && Platform_ReadWholeFile(save, out);
}

bool File_WriteWhole(const char* name, const void* bytes, size_t size) {
  const std::string path = ResolveSavePath(name);
  return !path.empty() && Platform_WriteWholeFile(path, bytes, size);
}

bool File_MakeDirectories(const std::string& path) {
  if (path.empty()) return false;
  std::string name = with_slashes(path.c_str());
  if (name.size() > 1 && name.back() == '/') name.pop_back();
  if (name.size() < 3 || Platform_IsDirectory(name)) return true;
  const std::string parent = Filename_Path(name);
  if (!parent.empty() && parent != name && !File_MakeDirectories(parent)) return false;
  return Platform_MakeDirectories(name);
}

std::string Filename_Name(const std::string& name) {
  const size_t separator = last_separator(name);
  return separator == std::string::npos ? name : name.substr(separator + 1);
}

std::string Filename_Ext(const std::string& name) {
  const size_t separator = last_separator(name);
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || (separator != std::string::npos && dot < separator)) return std::string();
  return name.substr(dot);
}

std::string Filename_Path(const std::string& name) {
  const size_t separator = last_separator(name);
  return separator == std::string::npos ? std::string() : name.substr(0, separator + 1);
}

std::string Filename_Dir(const std::string& name) {
  std::string path = Filename_Path(name);
  if (path.empty()) {
    if (name.empty()) return std::string();
    path = File_FindForRead(name.c_str());
    path = Filename_Path(path);
    if (path.empty()) return std::string();
  }
  path.pop_back();
  return path;
}

std::string Filename_Drive(const std::string&) { return std::string(); }

std::string Filename_ChangeExt(const std::string& name, const std::string& ext) {
  const size_t separator = last_separator(name);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && (separator == std::string::npos || dot > separator)) {
    return name.substr(0, dot) + ext;
  }
  if (ext.empty() || ext[0] == '.') return name + ext;
  return name + "." + ext;
}

void Files_InstallBufferAccess() { Buffer_SetFileAccess(&kBufferAccess); }

// The file builtins that work on names: path parts, existence, delete, rename, copy, directories,
// the search list and attributes. The handle families (text, binary, ini, csv) live beside this
// file and register from here.
#include "storage/fn_file.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "platform/files.h"
#include "storage/file_paths.h"
#include "storage/fn_file_internal.h"

namespace {

using fn_file::name_arg;
using fn_file::set_text;
using fn_value::set_result;
using fn_value::with_args;

constexpr uint32_t kAttributeMask = 55;
constexpr uint32_t kAttributeDirectory = 16;

// The search list of file_find_first and file_find_next.
struct FindList {
  std::vector<std::string> names;
  size_t next = 0;
};

FindList& find_list() {
  static FindList list;
  return list;
}

// The path of a name that exists as a file or directory: the save area's, else the bundle's.
std::string existing_path(const char* name) {
  std::string path = ResolveSavePath(name);
  if (!path.empty() && (Platform_IsFile(path) || Platform_IsDirectory(path))) return path;
  path = ResolveBundlePath(name);
  if (!path.empty() && (Platform_IsFile(path) || Platform_IsDirectory(path))) return path;
  return std::string();
}

void find_pass(const std::string& resolved_mask, uint32_t attributes, FindList* list) {
  if (resolved_mask.empty()) return;
  const std::string directory = Filename_Path(resolved_mask);
  const std::string name = Filename_Name(resolved_mask);
  const std::string pattern = name.empty() ? std::string(1, '*') : name;
  for (const PlatformDirEntry& entry : Platform_ListDirectory(directory, pattern)) {
    const uint32_t bits = entry.attributes & kAttributeMask;
    if ((bits & kAttributeDirectory) != 0) {
      if ((attributes & kAttributeDirectory) == 0) continue;
    } else if ((attributes & ~kAttributeDirectory) != 0 && (bits & attributes) == 0) {
      continue;
    }
    bool seen = false;
    for (const std::string& name : list->names) seen = seen || name == entry.name;
    if (!seen) list->names.push_back(entry.name);
  }
}

void F_FileExists(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  set_result(result, RV_Real(name != nullptr && (File_ExistsInSave(name) || File_ExistsInBundle(name)) ? 1.0 : 0.0));
}

void F_FileDelete(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const std::string path = name != nullptr ? ResolveSavePath(name) : std::string();
  set_result(result, RV_Real(Platform_IsFile(path) && Platform_DeleteFile(path) ? 1.0 : 0.0));
}

void F_FileRename(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* from_name = name_arg(argv, 0);
  const char* to_name = name_arg(argv, 1);
  const std::string from = from_name != nullptr ? ResolveSavePath(from_name) : std::string();
  if (from.empty() || (!Platform_IsFile(from) && !Platform_IsDirectory(from))) {
    set_result(result, RV_Real(0.0));
    return;
  }
  const std::string to = to_name != nullptr ? ResolveSavePath(to_name) : std::string();
  set_result(result, RV_Real(!to.empty() && Platform_Rename(from, to) ? 1.0 : 0.0));
}

void F_FileCopy(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* from_name = name_arg(argv, 0);
  const char* to_name = name_arg(argv, 1);
  set_result(result, RV_Real(-1.0));
  const std::string from = from_name != nullptr ? File_FindForRead(from_name) : std::string();
  std::vector<uint8_t> bytes;
  if (from.empty() || !Platform_ReadWholeFile(from, &bytes)) {
    g_ReleaseConsole->Output("Unable to open source file %s\n", from_name != nullptr ? from_name : "");
    return;
  }
  const std::string to = to_name != nullptr ? ResolveSavePath(to_name) : std::string();
  if (to.empty() || !Platform_WriteWholeFile(to, bytes.data(), bytes.size())) {
    g_ReleaseConsole->Output("Unable to open destination file %s\n", to_name != nullptr ? to_name : "");
    return;
  }
  set_result(result, RV_Real(0.0));
}

void F_DirectoryExists(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const bool found = name != nullptr && (Platform_IsDirectory(ResolveSavePath(name)) ||
                                         Platform_IsDirectory(ResolveBundlePath(name)));
  set_result(result, RV_Real(found ? 1.0 : 0.0));
}

void F_DirectoryCreate(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const std::string path = name != nullptr ? ResolveSavePath(name) : std::string();
  set_result(result, RV_Real(!path.empty() && File_MakeDirectories(path) ? 1.0 : 0.0));
}

void F_DirectoryDestroy(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const std::string path = name != nullptr ? ResolveSavePath(name) : std::string();
  set_result(result, RV_Real(!path.empty() && Platform_RemoveTree(path) ? 1.0 : 0.0));
}

void find_take_next(RValue* result) {
  FindList& list = find_list();
  if (list.next >= list.names.size()) {
    set_text(result, "");
    return;
  }
  set_text(result, list.names[list.next++]);
}

void F_FileFindFirst(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* mask = name_arg(argv, 0);
  const auto attributes = static_cast<uint32_t>(KVGetInt32(argv, 1));
  FindList& list = find_list();
  list = FindList{};
  if (mask != nullptr) {
    find_pass(ResolveSavePath(mask), attributes, &list);
    find_pass(ResolveBundlePath(mask), attributes, &list);
  }
  find_take_next(result);
}

void F_FileFindNext(RValue* result, CInstance*, CInstance*, int, RValue*) { find_take_next(result); }

void F_FileFindClose(RValue*, CInstance*, CInstance*, int, RValue*) { find_list() = FindList{}; }

void F_FileAttributes(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const auto mask = static_cast<uint32_t>(KVGetInt32(argv, 1));
  const std::string path = name != nullptr ? existing_path(name) : std::string();
  const uint32_t bits = path.empty() ? 0 : Platform_FileAttributes(path) & kAttributeMask;
  set_result(result, RV_Real(static_cast<double>(bits & mask)));
}

void F_FilenameName(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  set_text(result, name != nullptr ? Filename_Name(name) : std::string());
}

void F_FilenamePath(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  if (name == nullptr) {
    KVError("null string passed to filename_path");
    return;
  }
  set_text(result, Filename_Path(name));
}

void F_FilenameDir(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  if (name == nullptr) {
    KVError("null string passed to filename_dir");
    return;
  }
  set_text(result, Filename_Dir(name));
}

void F_FilenameDrive(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  set_text(result, name != nullptr ? Filename_Drive(name) : std::string());
}

void F_FilenameExt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  set_text(result, name != nullptr ? Filename_Ext(name) : std::string());
}

void F_FilenameChangeExt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const char* ext = name_arg(argv, 1);
  set_text(result, name != nullptr ? Filename_ChangeExt(name, ext != nullptr ? ext : "") : std::string());
}

void F_EnvironmentGetVariable(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const char* value = name != nullptr ? std::getenv(name) : nullptr;
  set_text(result, value != nullptr ? value : "");
}

}  // namespace

void File_RegisterBuiltins() {
  Function_Add("file_exists", with_args<F_FileExists, 1>, 1, 0);
  Function_Add("file_delete", with_args<F_FileDelete, 1>, 1, 0);
  Function_Add("file_rename", with_args<F_FileRename, 2>, 2, 0);
  Function_Add("file_copy", with_args<F_FileCopy, 2>, 2, 0);
  Function_Add("directory_exists", with_args<F_DirectoryExists, 1>, 1, 0);
  Function_Add("directory_create", with_args<F_DirectoryCreate, 1>, 1, 0);
  Function_Add("directory_destroy", with_args<F_DirectoryDestroy, 1>, 1, 0);
  Function_Add("file_find_first", with_args<F_FileFindFirst, 2>, 2, 0);
  Function_Add("file_find_next", F_FileFindNext, 0, 0);
  Function_Add("file_find_close", F_FileFindClose, 0, 0);
  Function_Add("file_attributes", with_args<F_FileAttributes, 2>, 2, 0);
  Function_Add("filename_name", with_args<F_FilenameName, 1>, 1, 0);
  Function_Add("filename_path", with_args<F_FilenamePath, 1>, 1, 0);
  Function_Add("filename_dir", with_args<F_FilenameDir, 1>, 1, 0);
  Function_Add("filename_drive", with_args<F_FilenameDrive, 1>, 1, 0);
  Function_Add("filename_ext", with_args<F_FilenameExt, 1>, 1, 0);
  Function_Add("filename_change_ext", with_args<F_FilenameChangeExt, 2>, 2, 0);
  Function_Add("environment_get_variable", with_args<F_EnvironmentGetVariable, 1>, 1, 0);
  fn_file::RegisterTextFileBuiltins();
  fn_file::RegisterBinaryFileBuiltins();
  fn_file::RegisterIniBuiltins();
  fn_file::RegisterZipAndDialogBuiltins();
}

void File_CloseAll() {
  find_list() = FindList{};
  fn_file::CloseTextAndBinaryFiles();
  fn_file::DropIniFile();
}

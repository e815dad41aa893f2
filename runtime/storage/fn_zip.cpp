// zip_unzip and the file dialogs. An archive is found in the save area first, then in the bundle;
// each entry is read whole and written into the save area under "<directory>/<entry name>".
#include <unzip.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "storage/file_paths.h"
#include "storage/fn_file_internal.h"

namespace {

using fn_file::name_arg;
using fn_file::set_text;
using fn_value::set_result;
using fn_value::with_args;

struct UnzipCloser {
  void operator()(void* archive) const { unzClose(archive); }
};
using UnzipHandle = std::unique_ptr<void, UnzipCloser>;

// The entries taken out of the archive at path; -1 when it can't be opened.
int32_t unzip_into(const std::string& path, const std::string& directory) {
  UnzipHandle archive(unzOpen64(path.c_str()));
  if (archive == nullptr) return -1;
  int32_t count = 0;
  for (int status = unzGoToFirstFile(archive.get()); status == UNZ_OK; status = unzGoToNextFile(archive.get())) {
    unz_file_info64 info{};
    char name[1024];
    if (unzGetCurrentFileInfo64(archive.get(), &info, name, sizeof(name), nullptr, 0, nullptr, 0) != UNZ_OK) break;
    ++count;
    const std::string entry = name;
    // Folder entries hold nothing; their files make them when written.
    if (entry.empty() || entry.back() == '/') continue;
    if (unzOpenCurrentFile(archive.get()) != UNZ_OK) {
      KVError("read underflow detected");
      return count;
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(info.uncompressed_size));
    size_t done = 0;
    while (done < bytes.size()) {
      const size_t chunk = std::min<size_t>(bytes.size() - done, 1u << 30);
      const int got = unzReadCurrentFile(archive.get(), bytes.data() + done, static_cast<unsigned>(chunk));
      if (got <= 0) break;
      done += static_cast<size_t>(got);
    }
    const bool whole = unzCloseCurrentFile(archive.get()) == UNZ_OK;
    if (done < bytes.size() || !whole) {
      KVError("read underflow detected");
      return count;
    }
    const std::string target = directory + "/" + entry;
    if (!File_WriteWhole(target.c_str(), bytes.data(), bytes.size())) {
      g_ReleaseConsole->Output("UNZIP: Failed to write compressed file entry :o\n");
    }
  }
  return count;
}

void F_ZipUnzip(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* archive = name_arg(argv, 0);
  const char* directory = name_arg(argv, 1);
  const std::string path = archive != nullptr ? File_FindForRead(archive) : std::string();
  const int32_t count = path.empty() ? -1 : unzip_into(path, directory != nullptr ? directory : "");
  set_result(result, RV_Real(count));
}

// This platform has no file dialog to show: every dialog answers as if it was cancelled, so no
// name joins the allow lists.
void F_NoDialog(RValue* result, CInstance*, CInstance*, int, RValue*) { set_text(result, ""); }

}  // namespace

namespace fn_file {

void RegisterZipAndDialogBuiltins() {
  Function_Add("zip_unzip", with_args<F_ZipUnzip, 2>, 2, 0);
  Function_Add("get_open_filename", F_NoDialog, 2, 0);
  Function_Add("get_open_filename_ext", F_NoDialog, 4, 0);
  Function_Add("get_save_filename", F_NoDialog, 2, 0);
  Function_Add("get_save_filename_ext", F_NoDialog, 4, 0);
}

}  // namespace fn_file

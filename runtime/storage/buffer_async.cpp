// Groups, options and request ids of the asynchronous buffer builtins, and the hand-over to the
// transport that the file subsystem installs.
#include "storage/buffer_async.h"

#include <cstring>

#include "core/console.h"
#include "storage/file_paths.h"
#include "core/error.h"
#include "storage/buffer.h"

namespace {

// Options of platform save dialogs: accepted, kept, and of no effect on a desktop.
const char* const kKnownOptions[] = {
    "subtitle",          "slottitle",          "showdialog",
    "savepadindex",      "saveslotsize",       "temprloc",
    "ps_create_backup",  "ps5_nospace_dialog", "ps5_retrysavewhennospace",
    "vita_outofspace_msg", "accountindex",
};

struct OpenGroup {
  bool open = false;
  bool has_mode = false;
  BufferAsyncRequest request;
};

BufferAsyncTransport g_transport = nullptr;
OpenGroup g_group;
std::vector<std::pair<std::string, std::string>> g_options;
int32_t g_next_id = 0;

int32_t submit(BufferAsyncRequest& request, const char* builtin) {
  if (g_transport == nullptr) {
    g_ReleaseConsole->Output("%s: asynchronous file transfer is not available\n", builtin);
    return -1;
  }
  for (const BufferAsyncFile& file : request.files) Buffer_AddRef(file.buffer);
  if (!g_transport(request)) {
    for (const BufferAsyncFile& file : request.files) Buffer_Release(file.buffer);
    return -1;
  }
  return request.id;
}

}  // namespace

void Buffer_SetAsyncTransport(BufferAsyncTransport transport) { g_transport = transport; }

void BufferAsync_GroupBegin(const char* name) {
  if (g_group.open) {
    KVError("only one buffer group at a time");
    return;
  }
  for (const char* c = name; *c != '\0'; ++c) {
    if (*c == ' ' || *c == '\t' || *c == '\n' || *c == '\r' || *c == '\v' || *c == '\f' || *c == '/' || *c == '\\') {
      KVError("Group name should not contain whitespace or slash characters.");
      return;
    }
  }
  g_group = OpenGroup{};
  g_group.open = true;
  g_group.request.id = g_next_id++;
  g_group.request.group = *name != '\0' ? name : "default";
}

int32_t BufferAsync_GroupEnd() {
  if (!g_group.open) {
    KVError("no matching buffer_group_begin");
    return -1;
  }
  if (g_group.request.files.empty()) {
    BufferAsync_Reset();
    KVError("no content in group to save");
    return -1;
  }
  BufferAsyncRequest request = std::move(g_group.request);
  request.options = std::move(g_options);
  g_group = OpenGroup{};
  g_options.clear();
  return submit(request, "buffer_async_group_end");
}

void BufferAsync_GroupOption(const char* option, const std::string& value) {
  for (const char* known : kKnownOptions) {
    if (std::strcmp(option, known) == 0) {
      g_options.emplace_back(option, value);
      // A temporary-file location the game names is a place its saves may be written.
      if (std::strcmp(option, "temprloc") == 0) Files_AllowWrite(value.c_str(), true);
      return;
    }
  }
  g_ReleaseConsole->Output("unknown option %s passed to F_BUFFER_Async_Group_Option\n", option);
}

int32_t BufferAsync_Add(const char* builtin, bool save, int32_t buffer, const char* filename, int32_t offset,
                        int32_t size) {
  BufferAsyncFile file{buffer, filename, offset, size};
  if (g_group.open) {
    if (g_group.has_mode && g_group.request.save != save) {
      KVError("mixing async save and loads in the same group");
      return -1;
    }
    g_group.has_mode = true;
    g_group.request.save = save;
    g_group.request.files.push_back(std::move(file));
    return g_group.request.id;
  }
  BufferAsyncRequest request;
  request.id = g_next_id++;
  request.save = save;
  request.files.push_back(std::move(file));
  return submit(request, builtin);
}

void BufferAsync_Reset() {
  g_group = OpenGroup{};
  g_options.clear();
}

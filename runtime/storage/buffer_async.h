#pragma once
// Asynchronous buffer saves and loads: the bookkeeping of the builtins (groups, options, request
// ids, use counts) and the seam where the file subsystem plugs in the transfer itself.
//
// A request is one save or load outside a group, or every file of a group, handed over at
// buffer_async_group_end. Before the hand-over each buffer of the request gets a use, so that
// buffer_delete refuses it; the transport runs the transfer on a job, releases each use with
// Buffer_Release when it is done, and queues the save and load event with `id` and `status`.
// Without a transport the builtins print one console line each and give -1.
// Messages: "only one buffer group at a time", "no matching buffer_group_begin", "no content in
// group to save", "Group name should not contain whitespace or slash characters.", "mixing async
// save and loads in the same group" (all raised); an unknown group option prints
// "unknown option %s passed to F_BUFFER_Async_Group_Option\n". The known options are kept with the
// request; "temprloc" also lets writes reach every name under its value (a wildcard write-allow entry).
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct BufferAsyncFile {
  int32_t buffer = -1;
  std::string filename;
  int32_t offset = 0;
  int32_t size = -1;
};

struct BufferAsyncRequest {
  int32_t id = -1;
  bool save = true;
  std::string group;  // "" for a request outside a group
  std::vector<BufferAsyncFile> files;
  std::vector<std::pair<std::string, std::string>> options;  // name, the value's text
};

// Starts the transfer; false when it can't, and the uses taken for it are then released again.
using BufferAsyncTransport = bool (*)(const BufferAsyncRequest& request);
void Buffer_SetAsyncTransport(BufferAsyncTransport transport);

// The builtins' work, after their arguments are read. Each returns the request id or -1.
void BufferAsync_GroupBegin(const char* name);
int32_t BufferAsync_GroupEnd();
void BufferAsync_GroupOption(const char* option, const std::string& value);
int32_t BufferAsync_Add(const char* builtin, bool save, int32_t buffer, const char* filename, int32_t offset,
                        int32_t size);
// Forgets an open group and its options (shutdown, tests).
void BufferAsync_Reset();

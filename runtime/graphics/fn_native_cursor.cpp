// The cursor extension's raw builtins. Each takes the address and size of the wrapper's argument
// buffer (and a path where the table below says so), reads its little-endian fields and writes a
// new cursor's u64 handle back into its first 8 bytes. A buffer smaller than its layout is refused
// with a console line and nothing is read. The pixel form's own buffer is read from its start:
// width x height RGBA pixels, which its size must cover.
//
//   create_empty, create_from_full_path     8 bytes: out u64 handle (0 when nothing was made)
//   add_from_full_path                      u64 handle
//   create_from_buffer                      41 bytes: u64 pixels address, s32 size, s32 position,
//                                           s32 width, height, hot x, hot y, bool has rate, f64 rate
//   add_from_buffer                         40 bytes: u64 handle, then the first 32 bytes above
//   set, get_frame, get_framerate, destroy  u64 handle
//   set_frame, set_framerate                u64 handle, s32 value
//   reset                                   1 byte, unread
#include <cstring>
#include <string>

#include "core/console.h"
#include "core/function_table.h"
#include "core/rvalue.h"
#include "graphics/native_cursor.h"
#include "graphics/window.h"
#include "platform/files.h"

namespace {

constexpr int32_t kPixelFieldsSize = 32;
constexpr int32_t kCreateFromBufferSize = 41;
constexpr int32_t kAddFromBufferSize = 40;
constexpr int32_t kMaxCursorSide = 4096;

// The argument buffer of one call.
struct Args {
  uint8_t* bytes = nullptr;
  int32_t size = 0;

  template <class T>
  T read(int32_t offset) const {
    T value{};
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
  }
  void write_u64(int32_t offset, uint64_t value) const { std::memcpy(bytes + offset, &value, sizeof value); }
};

// The buffer of argv[0] and argv[1]; false (with a console line) when it is missing or smaller than
// the layout needs.
bool args_of(const char* name, int argc, RValue* argv, int32_t need, Args* args) {
  if (argc >= 2) {
    args->bytes = reinterpret_cast<uint8_t*>(static_cast<intptr_t>(KVGetPtrOrInt(argv, 0)));
    args->size = KVGetInt32(argv, 1);
  }
  if (args->bytes == nullptr || args->size < need) {
    g_ReleaseConsole->Output("%s: argument buffer of %d bytes, %d needed\n", name, args->size, need);
    return false;
  }
  return true;
}

std::string path_arg(int argc, RValue* argv, int n) { return n < argc ? KVGetString(argv, n) : ""; }

// Adds the frame that the pixel fields at offset describe.
bool add_pixels(uint64_t cursor, const Args& args, int32_t offset) {
  auto* pixels = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(args.read<uint64_t>(offset)));
  const auto size = args.read<int32_t>(offset + 8);
  const auto width = args.read<int32_t>(offset + 16);
  const auto height = args.read<int32_t>(offset + 20);
  const auto hot_x = args.read<int32_t>(offset + 24);
  const auto hot_y = args.read<int32_t>(offset + 28);
  if (pixels == nullptr || width <= 0 || height <= 0 || width > kMaxCursorSide || height > kMaxCursorSide ||
      static_cast<int64_t>(size) < static_cast<int64_t>(width) * height * 4) {
    g_ReleaseConsole->Output("native_cursor: no %dx%d picture in a buffer of %d bytes\n", width, height, size);
    return false;
  }
  return NativeCursor_AddFrame(cursor, pixels, width, height, hot_x, hot_y);
}

void set_real(RValue* result, double value) { *result = RV_Real(value); }

#define KV_BUILTIN(name) void name(RValue* result, CInstance*, CInstance*, int argc, RValue* argv)

KV_BUILTIN(F_CreateEmptyRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_create_empty_raw", argc, argv, 8, &args)) return;
  const uint64_t cursor = NativeCursor_Create();
  args.write_u64(0, cursor);
  set_real(result, cursor != 0 ? 1 : 0);
}

KV_BUILTIN(F_CreateFromFullPathRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_create_from_full_path_raw", argc, argv, 8, &args)) return;
  uint64_t cursor = NativeCursor_Create();
  if (cursor != 0 && !NativeCursor_AddFile(cursor, path_arg(argc, argv, 2))) {
    NativeCursor_Destroy(cursor);
    cursor = 0;
  }
  args.write_u64(0, cursor);
  set_real(result, cursor != 0 ? 1 : 0);
}

KV_BUILTIN(F_AddFromFullPathRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_add_from_full_path_raw", argc, argv, 8, &args)) return;
  set_real(result, NativeCursor_AddFile(args.read<uint64_t>(0), path_arg(argc, argv, 2)) ? 1 : 0);
}

KV_BUILTIN(F_CreateFromBufferRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_create_from_buffer_raw", argc, argv, kCreateFromBufferSize, &args)) return;
  uint64_t cursor = NativeCursor_Create();
  if (cursor != 0 && !add_pixels(cursor, args, 0)) {
    NativeCursor_Destroy(cursor);
    cursor = 0;
  }
  if (cursor != 0 && args.read<uint8_t>(kPixelFieldsSize) != 0) {
    NativeCursor_SetFramerate(cursor, args.read<double>(kPixelFieldsSize + 1));
  }
  args.write_u64(0, cursor);
  set_real(result, cursor != 0 ? 1 : 0);
}

KV_BUILTIN(F_AddFromBufferRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_add_from_buffer_raw", argc, argv, kAddFromBufferSize, &args)) return;
  set_real(result, add_pixels(args.read<uint64_t>(0), args, 8) ? 1 : 0);
}

KV_BUILTIN(F_SetRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_set_raw", argc, argv, 8, &args)) return;
  set_real(result, NativeCursor_Set(args.read<uint64_t>(0)) ? 1 : 0);
}

KV_BUILTIN(F_ResetRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_reset_raw", argc, argv, 1, &args)) return;
  NativeCursor_Reset();
  set_real(result, 1);
}

KV_BUILTIN(F_GetFrameRaw) {
  Args args;
  set_real(result, -1);
  if (!args_of("native_cursor_get_frame_raw", argc, argv, 8, &args)) return;
  set_real(result, NativeCursor_GetFrame(args.read<uint64_t>(0)));
}

KV_BUILTIN(F_SetFrameRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_set_frame_raw", argc, argv, 12, &args)) return;
  set_real(result, NativeCursor_SetFrame(args.read<uint64_t>(0), args.read<int32_t>(8)) ? 1 : 0);
}

KV_BUILTIN(F_GetFramerateRaw) {
  Args args;
  set_real(result, -1);
  if (!args_of("native_cursor_get_framerate_raw", argc, argv, 8, &args)) return;
  set_real(result, NativeCursor_GetFramerate(args.read<uint64_t>(0)));
}

KV_BUILTIN(F_SetFramerateRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_set_framerate_raw", argc, argv, 12, &args)) return;
  set_real(result, NativeCursor_SetFramerate(args.read<uint64_t>(0), args.read<int32_t>(8)) ? 1 : 0);
}

KV_BUILTIN(F_DestroyRaw) {
  Args args;
  set_real(result, 0);
  if (!args_of("native_cursor_destroy_raw", argc, argv, 8, &args)) return;
  set_real(result, NativeCursor_Destroy(args.read<uint64_t>(0)) ? 1 : 0);
}

// The window the cursors belong to: this runtime has the one window of its host, so the call only
// confirms that the handle is that window's.
KV_BUILTIN(F_PreinitRaw) {
  const bool ours = argc > 0 && RV_Kind(argv[0]) == kRVPtr && argv[0].ptr == Window_Host() && Window_Host() != nullptr;
  set_real(result, ours ? 1 : 0);
}

KV_BUILTIN(F_CheckFullPath) { *result = RV_Bool(Platform_FileReadable(path_arg(argc, argv, 0))); }

#undef KV_BUILTIN

}  // namespace

void NativeCursor_RegisterBuiltins() {
  struct Row {
    const char* name;
    TSL_Builtin handler;
    int argc;
  };
  static const Row kRows[] = {
      {"native_cursor_preinit_raw", F_PreinitRaw, 1},
      {"native_cursor_check_full_path", F_CheckFullPath, 1},
      {"native_cursor_create_empty_raw", F_CreateEmptyRaw, 2},
      {"native_cursor_create_from_full_path_raw", F_CreateFromFullPathRaw, 3},
      {"native_cursor_add_from_full_path_raw", F_AddFromFullPathRaw, 3},
      {"native_cursor_create_from_buffer_raw", F_CreateFromBufferRaw, 2},
      {"native_cursor_add_from_buffer_raw", F_AddFromBufferRaw, 2},
      {"native_cursor_set_raw", F_SetRaw, 2},
      {"native_cursor_reset_raw", F_ResetRaw, 2},
      {"native_cursor_get_frame_raw", F_GetFrameRaw, 2},
      {"native_cursor_set_frame_raw", F_SetFrameRaw, 2},
      {"native_cursor_get_framerate_raw", F_GetFramerateRaw, 2},
      {"native_cursor_set_framerate_raw", F_SetFramerateRaw, 2},
      {"native_cursor_destroy_raw", F_DestroyRaw, 2},
  };
  for (const Row& row : kRows) Function_Add(row.name, row.handler, row.argc, 0);
}

// The cursor wrapper: scripts that set the system's mouse cursor to the game's own images, still or
// animated, through the cursor extension's `*_raw` functions. Every call packs its arguments into
// one shared little-endian buffer and hands the extension that buffer's address and size; results
// come back in the same buffer. A cursor is a `native_cursor` struct holding the extension's handle
// in `__ptr__` (0 once destroyed). The older `window_set_cursor_*` family keeps one cursor of its
// own and destroys the one it replaces.
#include <cmath>

#include "scripts/game_code.h"

#define CURSOR_SCRIPT(name) RValue* tsl_Script_##name(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
CURSOR_SCRIPT(native_cursor)
CURSOR_SCRIPT(native_cursor_create_empty)
CURSOR_SCRIPT(native_cursor_create_from_full_path)
CURSOR_SCRIPT(native_cursor_add_from_full_path)
CURSOR_SCRIPT(native_cursor_create_from_buffer)
CURSOR_SCRIPT(native_cursor_add_from_buffer)
CURSOR_SCRIPT(native_cursor_set)
CURSOR_SCRIPT(native_cursor_reset)
CURSOR_SCRIPT(native_cursor_get_frame)
CURSOR_SCRIPT(native_cursor_set_frame)
CURSOR_SCRIPT(native_cursor_get_framerate)
CURSOR_SCRIPT(native_cursor_set_framerate)
CURSOR_SCRIPT(native_cursor_destroy)
CURSOR_SCRIPT(native_cursor_preinit)
CURSOR_SCRIPT(native_cursor_resolve_full_path)
CURSOR_SCRIPT(native_cursor_create_from_file)
CURSOR_SCRIPT(native_cursor_add_from_file)
CURSOR_SCRIPT(native_cursor_create_from_sprite)
CURSOR_SCRIPT(native_cursor_create_from_sprite_ext)
CURSOR_SCRIPT(native_cursor_add_from_sprite_ext)
CURSOR_SCRIPT(native_cursor_create_from_surface)
CURSOR_SCRIPT(native_cursor_add_from_surface)
CURSOR_SCRIPT(native_cursor_prepare_buffer)
CURSOR_SCRIPT(native_cursor_compat_preinit)
CURSOR_SCRIPT(window_set_cursor_normal)
CURSOR_SCRIPT(window_set_cursor_sprite)
CURSOR_SCRIPT(window_set_cursor_sprite_ext)
CURSOR_SCRIPT(window_set_cursor_surface)
#undef CURSOR_SCRIPT
RValue* tsl_GlobalScript_native_cursor_start(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

namespace {

#define CURSOR_VARIABLES(X)                                                                                  \
  X(ptr_t_native_cursor) X(g_native_cursor_buf) X(g_native_cursor_dir) X(g_native_cursor_dirs)               \
  X(g_native_cursor_dirn) X(__native_cursor_buffer) X(__native_cursor_compat_current) X(__ptr__)             \
  X(working_directory) X(game_save_id)
#define CURSOR_BUILTINS(X)                                                                                     \
  X(buffer_create) X(buffer_resize) X(buffer_seek) X(buffer_write) X(buffer_read) X(buffer_get_address)        \
  X(buffer_exists) X(buffer_get_size) X(buffer_tell) X(buffer_get_surface) X(instanceof) X(show_error)         \
  X(string) X(string_ord_at) X(string_length) X(ptr) X(int64) X(filename_dir) X(parameter_string)             \
  X(os_get_info) X(ds_map_exists) X(ds_map_destroy) X(window_handle) X(sprite_get_speed)                      \
  X(sprite_get_speed_type) X(game_get_speed) X(sprite_get_width) X(sprite_get_height) X(sprite_get_xoffset)   \
  X(sprite_get_yoffset) X(sprite_get_number) X(surface_create) X(surface_set_target) X(surface_reset_target)  \
  X(surface_get_width) X(surface_get_height) X(draw_clear_alpha) X(gpu_set_blendmode_ext) X(gpu_set_blendmode) \
  X(draw_sprite_ext) X(native_cursor_create_empty_raw) X(native_cursor_create_from_full_path_raw)             \
  X(native_cursor_add_from_full_path_raw) X(native_cursor_create_from_buffer_raw)                             \
  X(native_cursor_add_from_buffer_raw) X(native_cursor_set_raw) X(native_cursor_reset_raw)                    \
  X(native_cursor_get_frame_raw) X(native_cursor_set_frame_raw) X(native_cursor_get_framerate_raw)            \
  X(native_cursor_set_framerate_raw) X(native_cursor_destroy_raw) X(native_cursor_preinit_raw)                \
  X(native_cursor_check_full_path) X(native_cursor)
GAME_CODE_ENTRIES(CURSOR_VARIABLES, CURSOR_BUILTINS)
KVFunctionEntry f_new_object = {"@@NewTSLObject@@", -1};
KVFunctionEntry f_new_array = {"@@NewTSLArray@@", -1};
KVFunctionEntry* g_language_entries[] = {&f_new_object, &f_new_array, nullptr};
const GameCodeRegistration g_language_registration(nullptr, g_language_entries);

using game::R;
using tsl::Value;

// Buffer kinds and item types.
constexpr double kBufferGrow = 1;
constexpr double kSeekStart = 0;
constexpr double kS32 = 6;
constexpr double kF64 = 9;
constexpr double kBool = 10;
constexpr double kU64 = 12;
constexpr double kFramesPerGameFrame = 1;
constexpr double kGameSpeedFps = 0;
constexpr double kBlendOne = 2;
constexpr double kBlendZero = 1;
constexpr double kBlendNormal = 0;

CInstance* global() { return tsl::global(); }
bool defined(const Value& v) { return !game::is_undefined(v); }

Value call(const KVFunctionEntry& entry, CInstance* self, CInstance* other, std::initializer_list<RValue> args = {}) {
  return tsl::call(entry, self, other, args);
}

void write(CInstance* self, CInstance* other, const Value& buffer, double type, const RValue& value) {
  call(f_buffer_write, self, other, {*buffer, R(type), value});
}

// The shared argument buffer of at least size bytes, at its start.
Value prepare(CInstance* self, CInstance* other, double size) {
  return tsl::call(tsl_Script_native_cursor_prepare_buffer, self, other, {R(size)});
}

// The extension's raw call with the buffer's address and size, and a string when it takes one.
Value raw(const KVFunctionEntry& function, CInstance* self, CInstance* other, const Value& buffer, double size) {
  const Value address = call(f_buffer_get_address, self, other, {*buffer});
  return call(function, self, other, {*address, R(size)});
}
Value raw(const KVFunctionEntry& function, CInstance* self, CInstance* other, const Value& buffer, double size,
          const RValue& text) {
  const Value address = call(f_buffer_get_address, self, other, {*buffer});
  return call(function, self, other, {*address, R(size), text});
}

// A handle argument: a live native_cursor, or the game stops with the wrapper's message.
void check_cursor(CInstance* self, CInstance* other, const RValue& cursor) {
  const Value kind = call(f_instanceof, self, other, {cursor});
  if (!game::is_text(kind, "native_cursor")) {
    const Value shown = call(f_string, self, other, {cursor});
    call(f_show_error, self, other, {*game::join({*game::text("Expected a native_cursor, got "), *shown}), RV_Bool(true)});
    return;
  }
  const Value handle = game::member(Value::Copy(cursor), v___ptr__);
  if (call(f_int64, self, other, {*handle}).real() == 0) {
    call(f_show_error, self, other, {*game::text("This native_cursor is destroyed."), RV_Bool(true)});
  }
}

// The handle as the u64 the extension reads.
void write_handle(CInstance* self, CInstance* other, const Value& buffer, const RValue& cursor) {
  const Value handle = game::member(Value::Copy(cursor), v___ptr__);
  write(self, other, buffer, kU64, *call(f_int64, self, other, {*handle}));
}

// The handle the extension left in the buffer's first 8 bytes as a new cursor; undefined for 0.
Value read_cursor(CInstance* self, CInstance* other, const Value& buffer) {
  call(f_buffer_seek, self, other, {*buffer, R(kSeekStart), R(0)});
  const Value handle = call(f_buffer_read, self, other, {*buffer, R(kU64)});
  if (call(f_int64, self, other, {*handle}).real() == 0) return Value();
  const Value pointer = call(f_ptr, self, other, {*handle});
  return tsl::call(f_new_object, self, other, {R(f_native_cursor.id), *pointer});
}

// The fields from offset 0 of the pixel buffer form: address, size, position, size in pixels,
// hotspot; then, when asked, the frame-rate flag and the rate.
void write_pixels(CInstance* self, CInstance* other, const Value& args, const RValue& buffer, const RValue& width,
                  const RValue& height, const RValue& hot_x, const RValue& hot_y) {
  if (RV_ToBool(*call(f_buffer_exists, self, other, {buffer}))) {
    write(self, other, args, kU64, *call(f_buffer_get_address, self, other, {buffer}));
    write(self, other, args, kS32, *call(f_buffer_get_size, self, other, {buffer}));
    write(self, other, args, kS32, *call(f_buffer_tell, self, other, {buffer}));
  } else {
    write(self, other, args, kU64, R(0));
    write(self, other, args, kS32, R(0));
    write(self, other, args, kS32, R(0));
  }
  write(self, other, args, kS32, width);
  write(self, other, args, kS32, height);
  write(self, other, args, kS32, hot_x);
  write(self, other, args, kS32, hot_y);
}

// A folder with a final "/" or "\".
Value with_separator(CInstance* self, CInstance* other, const Value& folder) {
  const double length = call(f_string_length, self, other, {*folder}).real();
  const double last = length > 0 ? call(f_string_ord_at, self, other, {*folder, R(length)}).real() : 0;
  if (last == 47 || last == 92) return folder;
  return game::join({*folder, *game::text("/")});
}

// The surface's pixels in g_native_cursor_buf, grown when too small.
Value surface_pixels(CInstance* self, CInstance* other, const RValue& surface, Value* width, Value* height) {
  *width = call(f_surface_get_width, self, other, {surface});
  *height = call(f_surface_get_height, self, other, {surface});
  const Value pixels = tsl::get(global(), v_g_native_cursor_buf);
  const double size = width->real() * height->real() * 4;
  if (call(f_buffer_get_size, self, other, {*pixels}).real() < size) {
    call(f_buffer_resize, self, other, {*pixels, R(size)});
  }
  call(f_buffer_get_surface, self, other, {*pixels, surface, R(0)});
  return pixels;
}

// Keeps cursor as the older family's one cursor and destroys the one held before.
void compat_keep(CInstance* self, CInstance* other, const Value& cursor) {
  const Value before = tsl::get(global(), v___native_cursor_compat_current);
  tsl::set(global(), v___native_cursor_compat_current, *cursor);
  if (defined(before)) tsl::call(tsl_Script_native_cursor_destroy, self, other, {*before});
}

}  // namespace

// function native_cursor(ptr) constructor
RValue* tsl_Script_native_cursor(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor", self, result);
  tsl::set(self, v___ptr__, tsl::arg(argc, argv, 0));
  return scope.result();
}

RValue* tsl_Script_native_cursor_prepare_buffer(CInstance* self, CInstance* other, RValue* result, int argc,
                                                RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_prepare_buffer", self, result);
  const RValue& size = tsl::arg(argc, argv, 0);
  Value buffer = tsl::get(global(), v___native_cursor_buffer);
  if (!defined(buffer)) {
    buffer = call(f_buffer_create, self, other, {size, R(kBufferGrow), R(1)});
    tsl::set(global(), v___native_cursor_buffer, *buffer);
  } else if (call(f_buffer_get_size, self, other, {*buffer}).real() < RV_ToDouble(size)) {
    call(f_buffer_resize, self, other, {*buffer, size});
  }
  call(f_buffer_seek, self, other, {*buffer, R(kSeekStart), R(0)});
  return scope.give(buffer);
}

RValue* tsl_Script_native_cursor_create_empty(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_empty", self, result);
  const Value buffer = prepare(self, other, 8);
  raw(f_native_cursor_create_empty_raw, self, other, buffer, 8);
  return scope.give(read_cursor(self, other, buffer));
}

RValue* tsl_Script_native_cursor_create_from_full_path(CInstance* self, CInstance* other, RValue* result, int argc,
                                                       RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_from_full_path", self, result);
  const Value buffer = prepare(self, other, 8);
  raw(f_native_cursor_create_from_full_path_raw, self, other, buffer, 8, tsl::arg(argc, argv, 0));
  return scope.give(read_cursor(self, other, buffer));
}

RValue* tsl_Script_native_cursor_add_from_full_path(CInstance* self, CInstance* other, RValue* result, int argc,
                                                    RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_add_from_full_path", self, result);
  const RValue& cursor = tsl::arg(argc, argv, 0);
  check_cursor(self, other, cursor);
  const Value buffer = prepare(self, other, 9);
  write_handle(self, other, buffer, cursor);
  raw(f_native_cursor_add_from_full_path_raw, self, other, buffer, 9, tsl::arg(argc, argv, 1));
  return scope.result();
}

// native_cursor_create_from_buffer(buffer, width, height, hotspot_x, hotspot_y, [framerate])
RValue* tsl_Script_native_cursor_create_from_buffer(CInstance* self, CInstance* other, RValue* result, int argc,
                                                    RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_from_buffer", self, result);
  const Value buffer = prepare(self, other, 41);
  write_pixels(self, other, buffer, tsl::arg(argc, argv, 0), tsl::arg(argc, argv, 1), tsl::arg(argc, argv, 2),
               tsl::arg(argc, argv, 3), tsl::arg(argc, argv, 4));
  const bool has_rate = argc > 5;
  write(self, other, buffer, kBool, RV_Bool(has_rate));
  if (has_rate) write(self, other, buffer, kF64, tsl::arg(argc, argv, 5));
  raw(f_native_cursor_create_from_buffer_raw, self, other, buffer, 41);
  return scope.give(read_cursor(self, other, buffer));
}

// native_cursor_add_from_buffer(cursor, buffer, width, height, hotspot_x, hotspot_y)
RValue* tsl_Script_native_cursor_add_from_buffer(CInstance* self, CInstance* other, RValue* result, int argc,
                                                 RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_add_from_buffer", self, result);
  const RValue& cursor = tsl::arg(argc, argv, 0);
  check_cursor(self, other, cursor);
  const Value buffer = prepare(self, other, 40);
  write_handle(self, other, buffer, cursor);
  write_pixels(self, other, buffer, tsl::arg(argc, argv, 1), tsl::arg(argc, argv, 2), tsl::arg(argc, argv, 3),
               tsl::arg(argc, argv, 4), tsl::arg(argc, argv, 5));
  raw(f_native_cursor_add_from_buffer_raw, self, other, buffer, 40);
  return scope.result();
}

namespace {

// The scripts whose buffer is the handle alone (and an s32 after it for the setters); they give
// what the raw function returns.
Value handle_call(const KVFunctionEntry& function, CInstance* self, CInstance* other, int argc, RValue** argv,
                  bool with_number) {
  const RValue& cursor = tsl::arg(argc, argv, 0);
  check_cursor(self, other, cursor);
  const double size = with_number ? 12 : 8;
  const Value buffer = prepare(self, other, size);
  write_handle(self, other, buffer, cursor);
  if (with_number) write(self, other, buffer, kS32, tsl::arg(argc, argv, 1));
  return raw(function, self, other, buffer, size);
}

}  // namespace

RValue* tsl_Script_native_cursor_set(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_set", self, result);
  handle_call(f_native_cursor_set_raw, self, other, argc, argv, false);
  return scope.result();
}

RValue* tsl_Script_native_cursor_reset(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_reset", self, result);
  const Value buffer = prepare(self, other, 1);
  raw(f_native_cursor_reset_raw, self, other, buffer, 1);
  return scope.result();
}

RValue* tsl_Script_native_cursor_get_frame(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_get_frame", self, result);
  return scope.give(handle_call(f_native_cursor_get_frame_raw, self, other, argc, argv, false));
}

RValue* tsl_Script_native_cursor_set_frame(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_set_frame", self, result);
  handle_call(f_native_cursor_set_frame_raw, self, other, argc, argv, true);
  return scope.result();
}

RValue* tsl_Script_native_cursor_get_framerate(CInstance* self, CInstance* other, RValue* result, int argc,
                                               RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_get_framerate", self, result);
  return scope.give(handle_call(f_native_cursor_get_framerate_raw, self, other, argc, argv, false));
}

RValue* tsl_Script_native_cursor_set_framerate(CInstance* self, CInstance* other, RValue* result, int argc,
                                               RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_set_framerate", self, result);
  handle_call(f_native_cursor_set_framerate_raw, self, other, argc, argv, true);
  return scope.result();
}

RValue* tsl_Script_native_cursor_destroy(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_destroy", self, result);
  handle_call(f_native_cursor_destroy_raw, self, other, argc, argv, false);
  CInstance* cursor = game::instance_of(tsl::arg(argc, argv, 0));
  tsl::set(cursor, v___ptr__, *call(f_ptr, self, other, {R(0)}));
  return scope.result();
}

// native_cursor_preinit(): the type name, the scratch buffer, the folders searched for files; then
// the extension learns the window.
RValue* tsl_Script_native_cursor_preinit(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_preinit", self, result);
  scope.line(1);
  tsl::set(global(), v_ptr_t_native_cursor, *tsl::call(f_new_array, self, other, {*game::text("native_cursor")}));
  tsl::set(global(), v_g_native_cursor_buf, *call(f_buffer_create, self, other, {R(16), R(kBufferGrow), R(1)}));
  scope.line(2);
  const Value program = call(f_parameter_string, self, other, {R(0)});
  const Value dir = with_separator(self, other, call(f_filename_dir, self, other, {*program}));
  tsl::set(global(), v_g_native_cursor_dir, *dir);
  const Value working = with_separator(self, other, tsl::get(global(), v_working_directory));
  const Value save = with_separator(self, other, tsl::get(global(), v_game_save_id));
  tsl::set(global(), v_g_native_cursor_dirs, *tsl::call(f_new_array, self, other, {*dir, *working, *save}));
  tsl::set(global(), v_g_native_cursor_dirn, R(3));
  scope.line(3);
  const Value info = call(f_os_get_info, self, other);
  if (RV_ToBool(*call(f_ds_map_exists, self, other, {*info, *game::text("video_adapter_0_name")}))) {
    call(f_ds_map_destroy, self, other, {*info});
  }
  scope.line(4);
  call(f_native_cursor_preinit_raw, self, other, {*call(f_window_handle, self, other)});
  return scope.result();
}

RValue* tsl_Script_native_cursor_resolve_full_path(CInstance* self, CInstance* other, RValue* result, int argc,
                                                   RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_resolve_full_path", self, result);
  const RValue& path = tsl::arg(argc, argv, 0);
  const int32_t count = RV_ToInt32(*tsl::get(global(), v_g_native_cursor_dirn));
  for (int32_t i = 0; i < count; ++i) {
    const Value full = game::join({*tsl::get_element(global(), v_g_native_cursor_dirs.id, i), path});
    if (RV_ToBool(*call(f_native_cursor_check_full_path, self, other, {*full}))) return scope.give(full);
  }
  return scope.give(Value::Copy(path));
}

RValue* tsl_Script_native_cursor_create_from_file(CInstance* self, CInstance* other, RValue* result, int argc,
                                                  RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_from_file", self, result);
  const Value full = tsl::call(tsl_Script_native_cursor_resolve_full_path, self, other, {tsl::arg(argc, argv, 0)});
  return scope.give(tsl::call(tsl_Script_native_cursor_create_from_full_path, self, other, {*full}));
}

RValue* tsl_Script_native_cursor_add_from_file(CInstance* self, CInstance* other, RValue* result, int argc,
                                               RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_add_from_file", self, result);
  const Value full = tsl::call(tsl_Script_native_cursor_resolve_full_path, self, other, {tsl::arg(argc, argv, 1)});
  tsl::call(tsl_Script_native_cursor_add_from_full_path, self, other, {tsl::arg(argc, argv, 0), *full});
  return scope.result();
}

// native_cursor_create_from_sprite(sprite, subimg, framerate)
RValue* tsl_Script_native_cursor_create_from_sprite(CInstance* self, CInstance* other, RValue* result, int argc,
                                                    RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_from_sprite", self, result);
  return scope.give(tsl::call(tsl_Script_native_cursor_create_from_sprite_ext, self, other,
                              {tsl::arg(argc, argv, 0), tsl::arg(argc, argv, 1), R(1), R(1), R(kColourWhite), R(1),
                               tsl::arg(argc, argv, 2)}));
}

// native_cursor_create_from_sprite_ext(sprite, subimg, xscale, yscale, blend, alpha, framerate): a
// cursor of the sprite's frames (or the one frame), at the sprite's own speed when neither a frame
// nor a rate is given.
RValue* tsl_Script_native_cursor_create_from_sprite_ext(CInstance* self, CInstance* other, RValue* result, int argc,
                                                        RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_from_sprite_ext", self, result);
  const RValue& sprite = tsl::arg(argc, argv, 0);
  const RValue& subimg = tsl::arg(argc, argv, 1);
  const Value cursor = tsl::call(tsl_Script_native_cursor_create_empty, self, other);
  if (!defined(cursor)) return scope.result();
  Value framerate = Value::Copy(tsl::arg(argc, argv, 6));
  if (!defined(framerate) && game::is_undefined(Value::Copy(subimg))) {
    double speed = call(f_sprite_get_speed, self, other, {sprite}).real();
    if (call(f_sprite_get_speed_type, self, other, {sprite}).real() == kFramesPerGameFrame) {
      speed *= call(f_game_get_speed, self, other, {R(kGameSpeedFps)}).real();
    }
    framerate = Value::Real(speed);
  }
  if (defined(framerate)) tsl::call(tsl_Script_native_cursor_set_framerate, self, other, {*cursor, *framerate});
  tsl::call(tsl_Script_native_cursor_add_from_sprite_ext, self, other,
            {*cursor, sprite, subimg, tsl::arg(argc, argv, 2), tsl::arg(argc, argv, 3), tsl::arg(argc, argv, 4),
             tsl::arg(argc, argv, 5)});
  return scope.give(cursor);
}

// native_cursor_add_from_sprite_ext(cursor, sprite, subimg, xscale, yscale, blend, alpha): each frame
// drawn alone on a surface of the scaled size, its alpha kept as drawn, and added from the surface.
RValue* tsl_Script_native_cursor_add_from_sprite_ext(CInstance* self, CInstance* other, RValue* result, int argc,
                                                     RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_add_from_sprite_ext", self, result);
  const RValue& cursor = tsl::arg(argc, argv, 0);
  const RValue& sprite = tsl::arg(argc, argv, 1);
  const RValue& subimg = tsl::arg(argc, argv, 2);
  const double xscale = RV_ToDouble(tsl::arg(argc, argv, 3));
  const double yscale = RV_ToDouble(tsl::arg(argc, argv, 4));
  const double width = call(f_sprite_get_width, self, other, {sprite}).real();
  const double height = call(f_sprite_get_height, self, other, {sprite}).real();
  const Value surface =
      call(f_surface_create, self, other, {R(std::ceil(width * xscale)), R(std::ceil(height * yscale))});
  const double origin_x = call(f_sprite_get_xoffset, self, other, {sprite}).real() * xscale;
  const double origin_y = call(f_sprite_get_yoffset, self, other, {sprite}).real() * yscale;
  int32_t first = 0;
  int32_t last = RV_ToInt32(*call(f_sprite_get_number, self, other, {sprite})) - 1;
  if (!game::is_undefined(Value::Copy(subimg))) first = last = RV_ToInt32(subimg);
  for (int32_t frame = first; frame <= last; ++frame) {
    call(f_surface_set_target, self, other, {*surface});
    call(f_draw_clear_alpha, self, other, {R(0), R(0)});
    call(f_gpu_set_blendmode_ext, self, other, {R(kBlendOne), R(kBlendZero)});
    call(f_draw_sprite_ext, self, other,
         {sprite, R(frame), R(origin_x), R(origin_y), R(xscale), R(yscale), R(0), tsl::arg(argc, argv, 5),
          tsl::arg(argc, argv, 6)});
    call(f_gpu_set_blendmode, self, other, {R(kBlendNormal)});
    call(f_surface_reset_target, self, other);
    tsl::call(tsl_Script_native_cursor_add_from_surface, self, other, {cursor, *surface, R(origin_x), R(origin_y)});
  }
  return scope.result();
}

// native_cursor_create_from_surface(surface, hotspot_x, hotspot_y, framerate = 30)
RValue* tsl_Script_native_cursor_create_from_surface(CInstance* self, CInstance* other, RValue* result, int argc,
                                                     RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_create_from_surface", self, result);
  Value framerate = Value::Copy(tsl::arg(argc, argv, 3));
  if (!defined(framerate)) framerate = Value::Real(30);
  Value width, height;
  const Value pixels = surface_pixels(self, other, tsl::arg(argc, argv, 0), &width, &height);
  return scope.give(tsl::call(tsl_Script_native_cursor_create_from_buffer, self, other,
                              {*pixels, *width, *height, tsl::arg(argc, argv, 1), tsl::arg(argc, argv, 2), *framerate}));
}

// native_cursor_add_from_surface(cursor, surface, hotspot_x, hotspot_y)
RValue* tsl_Script_native_cursor_add_from_surface(CInstance* self, CInstance* other, RValue* result, int argc,
                                                  RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_add_from_surface", self, result);
  Value width, height;
  const Value pixels = surface_pixels(self, other, tsl::arg(argc, argv, 1), &width, &height);
  tsl::call(tsl_Script_native_cursor_add_from_buffer, self, other,
            {tsl::arg(argc, argv, 0), *pixels, *width, *height, tsl::arg(argc, argv, 2), tsl::arg(argc, argv, 3)});
  return scope.result();
}

RValue* tsl_Script_native_cursor_compat_preinit(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_native_cursor_compat_preinit", self, result);
  tsl::set(global(), v___native_cursor_compat_current, RV_Undefined());
  return scope.result();
}

RValue* tsl_Script_window_set_cursor_normal(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_window_set_cursor_normal", self, result);
  tsl::call(tsl_Script_native_cursor_reset, self, other);
  compat_keep(self, other, Value());
  return scope.result();
}

RValue* tsl_Script_window_set_cursor_sprite(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_window_set_cursor_sprite", self, result);
  const Value cursor = tsl::call(tsl_Script_native_cursor_create_from_sprite, self, other,
                                 {tsl::arg(argc, argv, 0), tsl::arg(argc, argv, 1)});
  tsl::call(tsl_Script_native_cursor_set, self, other, {*cursor});
  compat_keep(self, other, cursor);
  return scope.result();
}

RValue* tsl_Script_window_set_cursor_sprite_ext(CInstance* self, CInstance* other, RValue* result, int argc,
                                                RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_window_set_cursor_sprite_ext", self, result);
  const Value cursor = tsl::call(tsl_Script_native_cursor_create_from_sprite_ext, self, other,
                                 {tsl::arg(argc, argv, 0), tsl::arg(argc, argv, 1), tsl::arg(argc, argv, 2),
                                  tsl::arg(argc, argv, 3), tsl::arg(argc, argv, 4), tsl::arg(argc, argv, 5)});
  tsl::call(tsl_Script_native_cursor_set, self, other, {*cursor});
  compat_keep(self, other, cursor);
  return scope.result();
}

RValue* tsl_Script_window_set_cursor_surface(CInstance* self, CInstance* other, RValue* result, int argc,
                                             RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_window_set_cursor_surface", self, result);
  const Value cursor = tsl::call(tsl_Script_native_cursor_create_from_surface, self, other,
                                 {tsl::arg(argc, argv, 0), tsl::arg(argc, argv, 1), tsl::arg(argc, argv, 2)});
  tsl::call(tsl_Script_native_cursor_set, self, other, {*cursor});
  compat_keep(self, other, cursor);
  return scope.result();
}

// The extension's start-up: no argument buffer yet (the first call makes it), the wrapper's
// globals and the window, then the older family's one cursor, which starts out empty.
RValue* tsl_GlobalScript_native_cursor_start(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_native_cursor_start", self, result);
  scope.line(1);
  tsl::set(global(), v___native_cursor_buffer, RV_Undefined());
  tsl::call(tsl_Script_native_cursor_preinit, self, other);
  scope.line(2);
  tsl::call(tsl_Script_native_cursor_compat_preinit, self, other);
  return scope.result();
}

#include "graphics/image_files.h"

#include <png.h>

#include <csetjmp>
#include <string>

#include "platform/files.h"

namespace {

bool default_read(const char* name, std::vector<uint8_t>* out) { return Platform_ReadWholeFile(name, out); }
bool default_write(const char* name, const void* bytes, size_t size) {
  return Platform_WriteWholeFile(name, bytes, size);
}

const GraphicsFileAccess kDefaultAccess = {default_read, default_write};
const GraphicsFileAccess* g_access = &kDefaultAccess;

void png_write_memory(png_structp png, png_bytep data, png_size_t length) {
  auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + length);
}
void png_flush_nothing(png_structp) {}
[[noreturn]] void png_error_quiet(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void png_warning_silent(png_structp, png_const_charp) {}

bool write_rows(png_structp png, png_infop info, png_bytepp rows, int32_t width, int32_t height) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, nullptr);
  return true;
}

}  // namespace

void Graphics_SetFileAccess(const GraphicsFileAccess* access) { g_access = access != nullptr ? access : &kDefaultAccess; }

bool Graphics_ReadFile(const char* name, std::vector<uint8_t>* out) {
  return name != nullptr && g_access->read_whole != nullptr && g_access->read_whole(name, out);
}

bool Graphics_WriteFile(const char* name, const void* bytes, size_t size) {
  return name != nullptr && g_access->write_whole != nullptr && g_access->write_whole(name, bytes, size);
}

bool Image_EncodePng(const uint8_t* rgba, int32_t width, int32_t height, std::vector<uint8_t>* out) {
  out->clear();
  if (rgba == nullptr || width <= 0 || height <= 0) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, png_error_quiet, png_warning_silent);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  std::vector<png_bytep> rows(static_cast<size_t>(height));
  for (int32_t y = 0; y < height; ++y) {
    rows[static_cast<size_t>(y)] = const_cast<png_bytep>(rgba + static_cast<size_t>(y) * width * 4);
  }
  png_set_write_fn(png, out, png_write_memory, png_flush_nothing);
  const bool ok = write_rows(png, info, rows.data(), width, height);
  png_destroy_write_struct(&png, &info);
  if (!ok) out->clear();
  return ok;
}

bool Image_SavePng(const char* name, const uint8_t* rgba, int32_t width, int32_t height) {
  std::vector<uint8_t> file;
  return Image_EncodePng(rgba, width, height, &file) && Graphics_WriteFile(name, file.data(), file.size());
}

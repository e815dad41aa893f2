#include "image/image.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace kimage {

void Image::paste(const Image& source, int x, int y, bool blend) {
  for (int sy = 0; sy < source.height; ++sy) {
    for (int sx = 0; sx < source.width; ++sx) {
      if (!inside(x + sx, y + sy)) continue;
      const Rgba& s = source.at(sx, sy);
      Rgba& d = at(x + sx, y + sy);
      if (!blend || s.a == 255) {
        if (!blend || s.a != 0) d = s;
        continue;
      }
      if (s.a == 0) continue;
      const int a = s.a;
      const int out_a = a + d.a * (255 - a) / 255;
      auto mix = [&](uint8_t sc, uint8_t dc) {
        return static_cast<uint8_t>(out_a == 0 ? 0 : (sc * a + dc * d.a * (255 - a) / 255) / out_a);
      };
      d = Rgba{mix(s.r, d.r), mix(s.g, d.g), mix(s.b, d.b), static_cast<uint8_t>(out_a)};
    }
  }
}

Image Image::crop(int x, int y, int w, int h) const {
  const int x0 = std::max(x, 0), y0 = std::max(y, 0);
  const int x1 = std::min(x + w, width), y1 = std::min(y + h, height);
  Image out(std::max(x1 - x0, 0), std::max(y1 - y0, 0));
  for (int yy = y0; yy < y1; ++yy) {
    for (int xx = x0; xx < x1; ++xx) out.at(xx - x0, yy - y0) = at(xx, yy);
  }
  return out;
}

Image Image::scaled(int factor) const {
  Image out(width * factor, height * factor);
  for (int y = 0; y < out.height; ++y) {
    for (int x = 0; x < out.width; ++x) out.at(x, y) = at(x / factor, y / factor);
  }
  return out;
}

bool opaque_bounds(const Image& image, Bounds* out) {
  Bounds b{image.width, image.height, -1, -1};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (image.at(x, y).a == 0) continue;
      b.left = std::min(b.left, x);
      b.right = std::max(b.right, x);
      b.top = std::min(b.top, y);
      b.bottom = std::max(b.bottom, y);
    }
  }
  if (b.right < 0) return false;
  *out = b;
  return true;
}

namespace {

struct ReadSource {
  const uint8_t* data;
  size_t size;
  size_t at;
};

void read_from_memory(png_structp png, png_bytep out, png_size_t count) {
  auto* source = static_cast<ReadSource*>(png_get_io_ptr(png));
  if (count > source->size - source->at) png_error(png, "file ends inside the image");
  std::memcpy(out, source->data + source->at, count);
  source->at += count;
}

void write_to_vector(png_structp png, png_bytep data, png_size_t count) {
  auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + count);
}

void flush_nothing(png_structp) {}

bool read_whole(const std::string& path, std::vector<uint8_t>* bytes) {
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) return false;
  uint8_t buffer[65536];
  size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) bytes->insert(bytes->end(), buffer, buffer + got);
  return std::ferror(file.get()) == 0;
}

}  // namespace

bool decode_png(const uint8_t* data, size_t size, Image* out, std::string* error) {
  if (size < 8 || png_sig_cmp(data, 0, 8) != 0) {
    *error = "not a PNG image";
    return false;
  }
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    *error = "out of memory";
    return false;
  }
  ReadSource source{data, size, 0};
  Image image;
  std::vector<png_bytep> rows;
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    *error = "damaged PNG image";
    return false;
  }
  png_set_read_fn(png, &source, read_from_memory);
  png_read_info(png, info);
  const png_uint_32 width = png_get_image_width(png, info);
  const png_uint_32 height = png_get_image_height(png, info);
  if (width == 0 || height == 0 || width > 16384 || height > 16384) png_error(png, "bad size");
  png_set_expand(png);
  png_set_strip_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  image = Image(static_cast<int>(width), static_cast<int>(height));
  rows.resize(height);
  for (png_uint_32 y = 0; y < height; ++y) rows[y] = reinterpret_cast<png_bytep>(&image.pixels[y * width]);
  png_read_image(png, rows.data());
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  *out = std::move(image);
  return true;
}

bool read_png(const std::string& path, Image* out, std::string* error) {
  std::vector<uint8_t> bytes;
  if (!read_whole(path, &bytes)) {
    *error = path + ": cannot read the file";
    return false;
  }
  if (!decode_png(bytes.data(), bytes.size(), out, error)) {
    *error = path + ": " + *error;
    return false;
  }
  return true;
}

std::vector<uint8_t> encode_png(const Image& image) {
  std::vector<uint8_t> out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    return {};
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return {};
  }
  png_set_write_fn(png, &out, write_to_vector, flush_nothing);
  png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
               PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 6);
  png_write_info(png, info);
  for (int y = 0; y < image.height; ++y) {
    png_write_row(png, reinterpret_cast<png_const_bytep>(&image.pixels[static_cast<size_t>(y) * image.width]));
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return out;
}

bool write_png(const std::string& path, const Image& image, std::string* error) {
  const std::vector<uint8_t> bytes = encode_png(image);
  if (bytes.empty()) {
    *error = path + ": cannot encode the image";
    return false;
  }
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
    *error = path + ": cannot write the file";
    return false;
  }
  return true;
}

}  // namespace kimage

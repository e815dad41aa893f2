#pragma once
// RGBA images for the asset tools: 8 bits a channel, red first, rows from the top. PNG files go
// through libpng; a failed read or write returns false with a message that names the file.
#include <cstdint>
#include <string>
#include <vector>

namespace kimage {

struct Rgba {
  uint8_t r = 0, g = 0, b = 0, a = 0;
  bool operator==(const Rgba&) const = default;
};

// 0xRRGGBB, opaque.
constexpr Rgba rgb(uint32_t hex) {
  return Rgba{static_cast<uint8_t>(hex >> 16), static_cast<uint8_t>(hex >> 8), static_cast<uint8_t>(hex), 255};
}

struct Image {
  int width = 0;
  int height = 0;
  std::vector<Rgba> pixels;

  Image() = default;
  Image(int w, int h, Rgba fill = {}) : width(w), height(h), pixels(static_cast<size_t>(w) * h, fill) {}
  bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  Rgba& at(int x, int y) { return pixels[static_cast<size_t>(y) * width + x]; }
  const Rgba& at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
  // Copies `source` with its top left at (x, y); pixels outside are dropped. With `blend` a source
  // pixel is drawn over the destination by its alpha, else it replaces it.
  void paste(const Image& source, int x, int y, bool blend = false);
  // The part at (x, y, w, h), clipped to the image.
  Image crop(int x, int y, int w, int h) const;
  // Scaled by a whole number, nearest neighbour.
  Image scaled(int factor) const;
};

// The smallest box (edges inclusive) around the pixels whose alpha isn't 0; false, leaving *out
// alone, when there is none.
struct Bounds {
  int left = 0, top = 0, right = -1, bottom = -1;
};
bool opaque_bounds(const Image& image, Bounds* out);

bool read_png(const std::string& path, Image* out, std::string* error);
bool decode_png(const uint8_t* data, size_t size, Image* out, std::string* error);
bool write_png(const std::string& path, const Image& image, std::string* error);
std::vector<uint8_t> encode_png(const Image& image);

}  // namespace kimage

#pragma once
// Pixel-art drawing for the game's sprites. Everything is drawn in the one 32-colour palette of the
// art direction; shapes are filled with a material (dark, mid, light tones) and shaded as lit from
// the top left: a shape's pixels whose upper or left neighbour lies outside it take the light tone,
// those whose lower or right neighbour lies outside take the dark tone. outline() then rings the
// opaque pixels with the outline colour. Coordinates are pixels; shapes include their edges.
#include <cstdint>
#include <vector>

#include "image/image.h"

namespace assetgen {

using kimage::Image;
using kimage::Rgba;

// The palette, by the names the drawing code uses.
namespace pal {
constexpr Rgba kBlack = kimage::rgb(0x000000);
constexpr Rgba kOutline = kimage::rgb(0x222034);
constexpr Rgba kPlum = kimage::rgb(0x45283c);
constexpr Rgba kBrownDark = kimage::rgb(0x663931);
constexpr Rgba kBrown = kimage::rgb(0x8f563b);
constexpr Rgba kOrange = kimage::rgb(0xdf7126);
constexpr Rgba kTan = kimage::rgb(0xd9a066);
constexpr Rgba kSkin = kimage::rgb(0xeec39a);
constexpr Rgba kYellow = kimage::rgb(0xfbf236);
constexpr Rgba kLime = kimage::rgb(0x99e550);
constexpr Rgba kGreen = kimage::rgb(0x6abe30);
constexpr Rgba kTeal = kimage::rgb(0x37946e);
constexpr Rgba kOlive = kimage::rgb(0x4b692f);
constexpr Rgba kMud = kimage::rgb(0x524b24);
constexpr Rgba kSlate = kimage::rgb(0x323c39);
constexpr Rgba kNavy = kimage::rgb(0x3f3f74);
constexpr Rgba kBlue = kimage::rgb(0x306082);
constexpr Rgba kRoyal = kimage::rgb(0x5b6ee1);
constexpr Rgba kSky = kimage::rgb(0x639bff);
constexpr Rgba kCyan = kimage::rgb(0x5fcde4);
constexpr Rgba kPale = kimage::rgb(0xcbdbfc);
constexpr Rgba kWhite = kimage::rgb(0xffffff);
constexpr Rgba kSilver = kimage::rgb(0x9badb7);
constexpr Rgba kGrey = kimage::rgb(0x847e87);
constexpr Rgba kIron = kimage::rgb(0x696a6a);
constexpr Rgba kStone = kimage::rgb(0x595652);
constexpr Rgba kPurple = kimage::rgb(0x76428a);
constexpr Rgba kRed = kimage::rgb(0xac3232);
constexpr Rgba kRose = kimage::rgb(0xd95763);
constexpr Rgba kPink = kimage::rgb(0xd77bba);
constexpr Rgba kMoss = kimage::rgb(0x8f974a);
constexpr Rgba kGold = kimage::rgb(0x8a6f30);
constexpr Rgba kClear = Rgba{0, 0, 0, 0};
}  // namespace pal

// Whether a colour is one of the palette's 32 (alpha ignored).
bool in_palette(Rgba colour);

struct Material {
  Rgba dark, mid, light;
};
namespace mat {
constexpr Material kWood{pal::kBrownDark, pal::kBrown, pal::kTan};
constexpr Material kDarkWood{pal::kPlum, pal::kBrownDark, pal::kBrown};
constexpr Material kIron{pal::kStone, pal::kGrey, pal::kSilver};
constexpr Material kDarkIron{pal::kSlate, pal::kStone, pal::kGrey};
constexpr Material kStone{pal::kStone, pal::kGrey, pal::kSilver};
constexpr Material kRope{pal::kGold, pal::kTan, pal::kSkin};
constexpr Material kSkin{pal::kTan, pal::kSkin, pal::kWhite};
constexpr Material kGreenSkin{pal::kOlive, pal::kGreen, pal::kLime};
constexpr Material kRed{pal::kPlum, pal::kRed, pal::kRose};
constexpr Material kBlue{pal::kNavy, pal::kBlue, pal::kSky};
constexpr Material kGold{pal::kGold, pal::kOrange, pal::kYellow};
constexpr Material kBrass{pal::kGold, pal::kTan, pal::kYellow};
constexpr Material kCloth{pal::kMud, pal::kMoss, pal::kTan};
constexpr Material kPurple{pal::kPlum, pal::kPurple, pal::kPink};
constexpr Material kLeather{pal::kBrownDark, pal::kBrown, pal::kTan};
constexpr Material kGrass{pal::kOlive, pal::kGreen, pal::kLime};
constexpr Material kTeal{pal::kSlate, pal::kTeal, pal::kGreen};
constexpr Material kFlat(Rgba c) { return Material{c, c, c}; }
}  // namespace mat

// A set of pixels a shape covers, before it is painted.
class Shape {
 public:
  Shape(int width, int height) : width_(width), height_(height), bits_(static_cast<size_t>(width) * height, 0) {}
  bool has(int x, int y) const { return x >= 0 && y >= 0 && x < width_ && y < height_ && bits_[idx(x, y)] != 0; }
  void set(int x, int y) {
    if (x >= 0 && y >= 0 && x < width_ && y < height_) bits_[idx(x, y)] = 1;
  }
  void clear(int x, int y) {
    if (x >= 0 && y >= 0 && x < width_ && y < height_) bits_[idx(x, y)] = 0;
  }
  int width() const { return width_; }
  int height() const { return height_; }

  Shape& rect(int x, int y, int w, int h);
  Shape& ellipse(double cx, double cy, double rx, double ry);
  Shape& circle(double cx, double cy, double r) { return ellipse(cx, cy, r, r); }
  // A filled polygon (even-odd), points in pixel centres.
  Shape& polygon(const std::vector<std::pair<double, double>>& points);
  // A straight bar of the given thickness from (x0, y0) to (x1, y1).
  Shape& bar(double x0, double y0, double x1, double y1, double thickness);
  Shape& line(int x0, int y0, int x1, int y1);
  // Removes the pixels of `other`.
  Shape& cut(const Shape& other);

 private:
  size_t idx(int x, int y) const { return static_cast<size_t>(y) * width_ + x; }
  int width_, height_;
  std::vector<uint8_t> bits_;
};

class Canvas {
 public:
  Canvas(int width, int height) : image_(width, height) {}
  int width() const { return image_.width; }
  int height() const { return image_.height; }
  Shape shape() const { return Shape(image_.width, image_.height); }

  // Paints a shape lit from the top left with the material's three tones.
  void paint(const Shape& shape, const Material& material);
  // Paints a shape in one colour.
  void fill(const Shape& shape, Rgba colour);
  void pixel(int x, int y, Rgba colour) {
    if (image_.inside(x, y)) image_.at(x, y) = colour;
  }
  Rgba get(int x, int y) const { return image_.inside(x, y) ? image_.at(x, y) : pal::kClear; }
  // Rings every opaque pixel with the outline colour, on its transparent neighbours (4-connected).
  void outline(Rgba colour = pal::kOutline);
  void paste(const Image& image, int x, int y) { image_.paste(image, x, y, true); }

  const Image& image() const { return image_; }
  Image& image() { return image_; }

 private:
  Image image_;
};

// A horizontal strip of equal frames, the form the builder slices sprites from.
Image strip(const std::vector<Image>& frames);

}  // namespace assetgen

// The screens and the heads-up display: the board and lanes behind the game, the band of the
// heads-up display, the title and loss pictures, panels, the shop button and the small icons.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "assetgen/lettering.h"
#include "assetgen/pen.h"
#include "assetgen/sprites.h"

namespace assetgen {

namespace {

// A repeatable hash of a position, 0 .. 1.
double noise(int x, int y, uint32_t seed) {
  uint32_t h = static_cast<uint32_t>(x) * 374761393u + static_cast<uint32_t>(y) * 668265263u + seed * 2246822519u;
  h = (h ^ (h >> 13)) * 1274126177u;
  return ((h ^ (h >> 16)) & 0xFFFF) / 65535.0;
}

// Value noise smoothed between grid points `cell` pixels apart, 0 .. 1.
double smooth_noise(int x, int y, int cell, uint32_t seed) {
  const int gx = x / cell, gy = y / cell;
  const double fx = static_cast<double>(x % cell) / cell, fy = static_cast<double>(y % cell) / cell;
  const double sx = fx * fx * (3 - 2 * fx), sy = fy * fy * (3 - 2 * fy);
  const double top = noise(gx, gy, seed) + (noise(gx + 1, gy, seed) - noise(gx, gy, seed)) * sx;
  const double bottom = noise(gx, gy + 1, seed) + (noise(gx + 1, gy + 1, seed) - noise(gx, gy + 1, seed)) * sx;
  return top + (bottom - top) * sy;
}

// Ordered dither between two colours: `t` of the pixels take `b`.
Rgba dither(int x, int y, double t, Rgba a, Rgba b) {
  static const int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  return (kBayer[y & 3][x & 3] + 0.5) / 16.0 < t ? b : a;
}

// A vertical sky of colour bands, dithered where they meet.
void sky(Canvas& c, int top, int bottom, const std::vector<Rgba>& bands) {
  const double step = static_cast<double>(bottom - top) / static_cast<double>(bands.size() - 1);
  for (int y = top; y < bottom; ++y) {
    const double f = (y - top) / step;
    const int i = std::min(static_cast<int>(f), static_cast<int>(bands.size()) - 2);
    const double t = std::clamp((f - i - 0.5) * 2.0, 0.0, 1.0);
    for (int x = 0; x < c.width(); ++x) c.pixel(x, y, dither(x, y, t, bands[i], bands[i + 1]));
  }
}

// A ridge line of hills filled below, in one colour.
void hills(Canvas& c, int base, double amplitude, double wavelength, double phase, Rgba colour) {
  for (int x = 0; x < c.width(); ++x) {
    const double h = base - amplitude * (0.6 * std::sin(x / wavelength + phase) + 0.4 * std::sin(x / (wavelength * 0.43) + phase * 2.1));
    for (int y = static_cast<int>(h); y < c.height(); ++y) c.pixel(x, y, colour);
  }
}

// The keep: a square tower between two round ones, with lit windows and banners.
void keep(Canvas& c, int cx, int ground, double size, bool ruined) {
  Pen p(c, size, cx - 80 * size, ground - 150 * size);
  const Material stone = ruined ? mat::kDarkIron : mat::kStone;
  p.rect(stone, 20, 70, 120, 80);                 // curtain wall
  p.rect(stone, 50, 20, 60, 130);                 // keep
  p.rect(stone, 6, 50, 30, 100);                  // left tower
  p.rect(stone, 124, 50, 30, 100);                // right tower
  for (int i = 0; i < 6; ++i) {
    if (ruined && (i == 1 || i == 4)) continue;
    p.rect(stone, 50 + i * 10, 12, 6, 8);
  }
  for (int i = 0; i < 3; ++i) {
    p.rect(stone, 6 + i * 11, 44, 7, 6);
    p.rect(stone, 124 + i * 11, 44, 7, 6);
  }
  for (int i = 0; i < 12; ++i) p.rect(stone, 20 + i * 10, 64, 6, 6);
  p.poly(mat::kDarkWood, {{68, 150}, {68, 118}, {80, 108}, {92, 118}, {92, 150}});  // gate
  const Material window = ruined ? mat::kFlat(pal::kOrange) : mat::kFlat(pal::kYellow);
  for (auto [wx, wy] : std::vector<std::pair<int, int>>{{62, 40}, {94, 40}, {78, 60}, {16, 80}, {134, 80}, {62, 80}, {94, 80}}) {
    p.rect(mat::kFlat(pal::kOutline), wx - 1, wy - 1, 6, 10);
    p.rect(window, wx, wy, 4, 8);
  }
  // Courses of masonry on the flat faces of the walls.
  for (int y = static_cast<int>(p.y(0)); y < ground; ++y) {
    for (int x = static_cast<int>(p.x(0)); x < static_cast<int>(p.x(160)); ++x) {
      if (c.get(x, y) != stone.mid) continue;
      const int course = y / 5;
      if (y % 5 == 0 || (x + course * 4) % 9 == 0) c.pixel(x, y, stone.dark);
    }
  }
  if (ruined) {
    p.poly(mat::kFlat(pal::kOutline), {{100, 20}, {112, 20}, {112, 60}, {96, 40}});
    for (auto [fx, fy] : std::vector<std::pair<int, int>>{{104, 14}, {18, 42}, {60, 8}}) {
      p.poly(mat::kGold, {{fx - 8.0, fy + 6.0}, {fx - 2.0, fy - 14.0}, {fx + 1.0, fy - 4.0}, {fx + 5.0, fy - 18.0}, {fx + 9.0, fy + 6.0}});
      p.poly(mat::kFlat(pal::kYellow), {{fx - 3.0, fy + 6.0}, {fx + 1.0, fy - 6.0}, {fx + 4.0, fy + 6.0}});
    }
  } else {
    p.bar(mat::kWood, 80, 20, 80, -6, 2);
    p.poly(mat::kRed, {{81, -6}, {98, -2}, {81, 3}});
    p.bar(mat::kWood, 21, 44, 21, 26, 2);
    p.poly(mat::kBlue, {{22, 26}, {34, 29}, {22, 33}});
    p.bar(mat::kWood, 139, 44, 139, 26, 2);
    p.poly(mat::kBlue, {{140, 26}, {152, 29}, {140, 33}});
  }
}

void lettering(Canvas& c, const std::string& font, int size, const std::string& text, int cx, int top, const Material& fill) {
  const TextBox box = measure_text(font, size, text);
  const int x = cx - box.width / 2;
  Shape letters = text_shape(c, font, size, text, x, top);
  Shape shadow = c.shape();
  for (int y = 0; y < c.height(); ++y) {
    for (int xx = 0; xx < c.width(); ++xx) {
      if (letters.has(xx - 2, y - 2)) shadow.set(xx, y);
    }
  }
  c.fill(shadow, pal::kOutline);
  // A thick outline: the letters grown by two pixels in the outline colour, then the fill.
  Shape ring = c.shape();
  for (int y = 0; y < c.height(); ++y) {
    for (int xx = 0; xx < c.width(); ++xx) {
      for (int dy = -2; dy <= 2 && !ring.has(xx, y); ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
          if (std::abs(dx) + std::abs(dy) <= 3 && letters.has(xx + dx, y + dy)) {
            ring.set(xx, y);
            break;
          }
        }
      }
    }
  }
  c.fill(ring, pal::kOutline);
  c.paint(letters, fill);
}

}  // namespace

kimage::Image background() {
  // 640x321, drawn at (0, 39): local y = screen y - 39. Lane centres at screen 80, 160, 240, 320.
  Canvas c(640, 321);
  constexpr int kLaneY[] = {41, 121, 201, 281};
  // Grass in soft patches (a coarse noise dithered between two greens) with small tufts.
  for (int y = 0; y < c.height(); ++y) {
    for (int x = 0; x < c.width(); ++x) {
      const double patch = 0.65 * smooth_noise(x, y, 40, 13) + 0.35 * smooth_noise(x, y, 13, 14);
      c.pixel(x, y, dither(x, y, std::clamp((patch - 0.58) * 2.5, 0.0, 0.5), pal::kGreen, pal::kOlive));
    }
  }
  for (int y = 2; y < c.height(); ++y) {
    for (int x = 1; x < c.width() - 1; ++x) {
      const double n = noise(x, y, 1);
      if (n < 0.012) {  // a tuft: two dark blades
        c.pixel(x, y, pal::kOlive);
        c.pixel(x - 1, y - 1, pal::kOlive);
        c.pixel(x + 1, y - 1, pal::kOlive);
      } else if (n > 0.992) {
        c.pixel(x, y, pal::kLime);
        c.pixel(x, y - 1, pal::kLime);
      }
    }
  }
  // Roads along the lanes, a distinct band of packed earth with ruts.
  for (int lane : kLaneY) {
    for (int y = lane - 17; y <= lane + 17; ++y) {
      for (int x = 0; x < 640; ++x) {
        const double n = noise(x, y, 2);
        Rgba colour = n < 0.08 ? pal::kBrown : (n > 0.97 ? pal::kSkin : pal::kTan);
        if (y == lane - 17 || y == lane + 17) colour = n < 0.5 ? pal::kGold : pal::kTan;
        if (y == lane - 16 || y == lane + 16) colour = pal::kGold;
        if ((y == lane - 7 || y == lane + 8) && noise(x / 3, y, 3) < 0.7) colour = pal::kBrown;
        c.pixel(x, y, colour);
      }
    }
  }
  // Grass verges: tufts, flowers, stones and bushes only between the roads.
  auto verge = [&](int top, int bottom, uint32_t seed) {
    for (int x = 252; x < 628; ++x) {
      for (int y = top; y < bottom; ++y) {
        const double n = noise(x, y, seed);
        if (n < 0.003) {
          c.pixel(x, y, noise(x, y, seed + 40) < 0.5 ? pal::kYellow : pal::kPale);
          c.pixel(x + 1, y + 1, pal::kOlive);
        } else if (n > 0.9992 && y > top + 6 && y < bottom - 6) {
          const double kind = noise(x, y, seed + 9);
          Canvas deco(16, 12);
          Pen dp(deco);
          if (kind < 0.45) {  // a bush
            dp.ellipse(mat::kTeal, 5, 6, 4.5, 3.5);
            dp.ellipse(mat::kGrass, 9, 5, 5, 4);
          } else if (kind < 0.75) {  // a stone
            dp.ellipse(mat::kStone, 7, 7, 4, 2.5);
          } else {  // a tuft of tall grass
            for (int k = 0; k < 4; ++k) dp.line(k % 2 == 0 ? pal::kOlive : pal::kLime, 4 + 2 * k, 10, 3 + 2 * k + (k % 3), 4 + k % 2);
          }
          deco.outline();
          c.paste(deco.image(), x - 8, y - 6);
        }
      }
    }
  };
  verge(0, kLaneY[0] - 22, 4);
  for (int i = 0; i < 3; ++i) verge(kLaneY[i] + 22, kLaneY[i + 1] - 22, 5 + i);
  verge(kLaneY[3] + 22, 321, 8);
  // The board: 3 x 4 courtyard cells of 80 x 80 with dark joints, paved in flagstones.
  for (int row = 0; row < 4; ++row) {
    for (int col = 0; col < 3; ++col) {
      const int x0 = col * 80, y0 = 1 + row * 80;
      for (int y = y0; y < y0 + 80; ++y) {
        for (int x = x0; x < x0 + 80; ++x) {
          const int fx = (x - x0) / 16, fy = (y - y0) / 16;
          const double tone = noise(fx + col * 5, fy + row * 5, 10);
          Rgba colour = tone < 0.33 ? pal::kIron : (tone < 0.66 ? pal::kGrey : pal::kStone);
          const int lx = (x - x0) % 16, ly = (y - y0) % 16;
          if (lx == 0 || ly == 0) colour = pal::kSlate;
          else if (lx == 1 || ly == 1) colour = tone < 0.66 ? pal::kSilver : pal::kGrey;
          if (noise(x, y, 11) < 0.02) colour = pal::kStone;
          const bool edge = x == x0 || y == y0 || x == x0 + 79 || y == y0 + 79;
          const bool rim = x == x0 + 1 || y == y0 + 1 || x == x0 + 78 || y == y0 + 78;
          if (edge) colour = pal::kOutline;
          else if (rim) colour = pal::kSlate;
          c.pixel(x, y, colour);
        }
      }
    }
  }
  // The keep's wall at the left edge, and low walls between the roads where the board meets the field.
  for (int y = 0; y < 321; ++y) {
    for (int x = 0; x < 8; ++x) {
      const bool joint = (y % 10 == 0) || (x == ((y / 10) % 2 == 0 ? 3 : 6));
      c.pixel(x, y, x == 7 ? pal::kOutline : (joint ? pal::kSlate : (x < 2 ? pal::kSilver : pal::kGrey)));
    }
  }
  for (int i = 0; i <= 4; ++i) {
    const int y0 = i == 0 ? 0 : kLaneY[i - 1] + 22;
    const int y1 = i == 4 ? 321 : kLaneY[i] - 22;
    if (y1 - y0 < 4) continue;
    Pen p(c);
    p.rect(mat::kStone, 240, y0, 6, y1 - y0);
  }
  return c.image();
}

kimage::Image hud_band() {
  Canvas c(640, 40);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 640; ++x) {
      Rgba colour = (y % 13 == 0) ? pal::kPlum : pal::kBrownDark;
      if (y % 13 == 1) colour = pal::kBrown;
      if (noise(x / 6, y, 12) < 0.15 && y % 13 > 2) colour = pal::kPlum;
      if (y >= 38) colour = pal::kOutline;
      c.pixel(x, y, colour);
    }
  }
  for (int x = 6; x < 640; x += 40) {
    for (int y : {5, 18, 31}) {
      c.pixel(x, y, pal::kGrey);
      c.pixel(x + 1, y + 1, pal::kStone);
    }
  }
  return c.image();
}

kimage::Image panel() {
  // 48x48, drawn at x scale 2 and y scale 2/3: borders are thick enough to survive the squash.
  Canvas c(48, 48);
  Pen p(c);
  p.rect(mat::kBrass, 0, 0, 48, 48);
  p.rect(mat::kFlat(pal::kGold), 2, 3, 44, 42);
  p.rect(mat::kFlat(pal::kOutline), 3, 5, 42, 38);
  p.rect(mat::kFlat(pal::kNavy), 4, 6, 40, 36);
  for (int x = 4; x < 44; ++x) c.pixel(x, 41, pal::kSlate);
  return c.image();
}

kimage::Image shop_button() {
  // 48x48 drawn at 2/3: a wooden plaque whose rim shows around the shop icon.
  Canvas c(48, 48);
  Pen p(c);
  p.rect(mat::kWood, 0, 0, 48, 48);
  p.rect(mat::kFlat(pal::kBrownDark), 4, 4, 40, 40);
  p.rect(mat::kFlat(pal::kPlum), 6, 6, 36, 36);
  for (int x : {1, 46}) {
    for (int y : {1, 46}) c.pixel(x, y, pal::kSilver);
  }
  return c.image();
}

kimage::Image coin_icon() {
  Canvas c(16, 16);
  Pen p(c);
  p.circle(mat::kGold, 7.5, 7.5, 6);
  p.ellipse(mat::kFlat(pal::kGold), 7.5, 7.5, 3, 4);
  p.ellipse(mat::kFlat(pal::kYellow), 7, 7, 1, 3);
  c.outline();
  return c.image();
}

kimage::Image score_icon() {
  Canvas c(16, 16);
  Pen p(c);
  p.poly(mat::kGold, {{2, 12}, {2, 4}, {5, 8}, {8, 2}, {11, 8}, {14, 4}, {14, 12}});
  p.rect(mat::kGold, 2, 11, 13, 3);
  p.dot(pal::kRed, 8, 9);
  p.dot(pal::kSky, 4.5, 12);
  p.dot(pal::kSky, 11.5, 12);
  c.outline();
  return c.image();
}

kimage::Image maker_emblem() {
  // A pennant on its pole, flying right, beside the credit line.
  Canvas c(80, 28);
  Pen p(c);
  p.bar(mat::kWood, 2, 1, 2, 27, 2);
  p.circle(mat::kBrass, 2, 2, 1.5);
  p.poly(mat::kRed, {{4, 4}, {76, 8}, {64, 13}, {76, 18}, {4, 22}});
  p.rect(mat::kFlat(pal::kYellow), 12, 11, 3, 5);
  p.rect(mat::kFlat(pal::kYellow), 11, 9, 1, 2);
  p.rect(mat::kFlat(pal::kYellow), 13, 9, 1, 2);
  p.rect(mat::kFlat(pal::kYellow), 15, 9, 1, 2);
  c.outline();
  return c.image();
}

kimage::Image title_screen(const std::string& title_font) {
  Canvas c(640, 360);
  sky(c, 0, 300, {pal::kOutline, pal::kNavy, pal::kPurple, pal::kRose, pal::kOrange});
  for (int i = 0; i < 60; ++i) {
    const int x = static_cast<int>(noise(i, 0, 20) * 640), y = static_cast<int>(noise(i, 1, 20) * 110);
    c.pixel(x, y, noise(i, 2, 20) < 0.5 ? pal::kPale : pal::kWhite);
  }
  hills(c, 262, 18, 60, 0.3, pal::kPurple);
  hills(c, 282, 14, 45, 1.7, pal::kNavy);
  keep(c, 320, 300, 1.2, false);
  hills(c, 300, 6, 90, 2.2, pal::kSlate);
  for (int y = 300; y < 360; ++y) {
    for (int x = 0; x < 640; ++x) c.pixel(x, y, dither(x, y, (y - 300) / 60.0, pal::kSlate, pal::kOutline));
  }
  lettering(c, title_font, 72, "Kova Keep", 320, 34, mat::kGold);
  return c.image();
}

kimage::Image loss_screen(const std::string& title_font) {
  Canvas c(640, 360);
  sky(c, 0, 300, {pal::kOutline, pal::kPlum, pal::kRed, pal::kOrange});
  // Embers drifting up from the fire.
  for (int i = 0; i < 90; ++i) {
    const int x = 180 + static_cast<int>(noise(i, 0, 31) * 280), y = 120 + static_cast<int>(noise(i, 1, 31) * 180);
    c.pixel(x, y, noise(i, 2, 31) < 0.5 ? pal::kYellow : pal::kOrange);
  }
  hills(c, 276, 16, 55, 1.1, pal::kPlum);
  // The ruined keep on the horizon, below the banner, its fires rising behind it.
  keep(c, 320, 306, 0.72, true);
  hills(c, 306, 5, 80, 0.4, pal::kOutline);
  for (int y = 306; y < 360; ++y) {
    for (int x = 0; x < 640; ++x) c.pixel(x, y, pal::kOutline);
  }
  lettering(c, title_font, 44, "The Keep Has Fallen", 320, 40, Material{pal::kRed, pal::kRose, pal::kSkin});
  // A banner across the middle, where the score stands.
  Pen p(c);
  p.poly(mat::kFlat(pal::kOutline), {{150, 150}, {490, 150}, {472, 180}, {490, 210}, {150, 210}, {168, 180}});
  p.poly(mat::kPurple, {{154, 154}, {486, 154}, {468, 180}, {486, 206}, {154, 206}, {172, 180}});
  p.rect(mat::kFlat(pal::kOutline), 172, 158, 296, 44);
  p.rect(mat::kFlat(pal::kPlum), 174, 160, 292, 40);
  return c.image();
}

kimage::Image fade_square() { return kimage::Image(64, 64, pal::kBlack); }

kimage::Image health_back() { return kimage::Image(1, 4, pal::kOutline); }

kimage::Image health_fill() {
  kimage::Image image(1, 2, pal::kRed);
  image.at(0, 0) = pal::kRose;
  return image;
}

kimage::Image health_shine() { return kimage::Image(1, 1, pal::kWhite); }

}  // namespace assetgen

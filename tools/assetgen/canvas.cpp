#include "assetgen/canvas.h"

#include <algorithm>
#include <cmath>

namespace assetgen {

bool in_palette(Rgba colour) {
  static const Rgba kAll[] = {
      pal::kBlack, pal::kOutline, pal::kPlum,  pal::kBrownDark, pal::kBrown,  pal::kOrange, pal::kTan,   pal::kSkin,
      pal::kYellow, pal::kLime,   pal::kGreen, pal::kTeal,      pal::kOlive,  pal::kMud,    pal::kSlate, pal::kNavy,
      pal::kBlue,  pal::kRoyal,   pal::kSky,   pal::kCyan,      pal::kPale,   pal::kWhite,  pal::kSilver, pal::kGrey,
      pal::kIron,  pal::kStone,   pal::kPurple, pal::kRed,      pal::kRose,   pal::kPink,   pal::kMoss,  pal::kGold,
  };
  for (const Rgba& c : kAll) {
    if (c.r == colour.r && c.g == colour.g && c.b == colour.b) return true;
  }
  return false;
}

Shape& Shape::rect(int x, int y, int w, int h) {
  for (int yy = y; yy < y + h; ++yy) {
    for (int xx = x; xx < x + w; ++xx) set(xx, yy);
  }
  return *this;
}

Shape& Shape::ellipse(double cx, double cy, double rx, double ry) {
  for (int y = static_cast<int>(std::floor(cy - ry)); y <= static_cast<int>(std::ceil(cy + ry)); ++y) {
    for (int x = static_cast<int>(std::floor(cx - rx)); x <= static_cast<int>(std::ceil(cx + rx)); ++x) {
      const double dx = (x - cx) / (rx + 0.5), dy = (y - cy) / (ry + 0.5);
      if (dx * dx + dy * dy <= 1.0) set(x, y);
    }
  }
  return *this;
}

Shape& Shape::polygon(const std::vector<std::pair<double, double>>& points) {
  if (points.size() < 3) return *this;
  double top = points[0].second, bottom = points[0].second;
  for (const auto& p : points) {
    top = std::min(top, p.second);
    bottom = std::max(bottom, p.second);
  }
  for (int y = static_cast<int>(std::floor(top)); y <= static_cast<int>(std::ceil(bottom)); ++y) {
    const double sy = y;
    std::vector<double> xs;
    for (size_t i = 0; i < points.size(); ++i) {
      const auto& a = points[i];
      const auto& b = points[(i + 1) % points.size()];
      if ((a.second <= sy && b.second > sy) || (b.second <= sy && a.second > sy)) {
        xs.push_back(a.first + (sy - a.second) / (b.second - a.second) * (b.first - a.first));
      }
    }
    std::sort(xs.begin(), xs.end());
    for (size_t i = 0; i + 1 < xs.size(); i += 2) {
      for (int x = static_cast<int>(std::ceil(xs[i] - 0.5)); x <= static_cast<int>(std::floor(xs[i + 1] + 0.5)); ++x) set(x, y);
    }
  }
  return *this;
}

Shape& Shape::bar(double x0, double y0, double x1, double y1, double thickness) {
  const double dx = x1 - x0, dy = y1 - y0;
  const double length = std::max(std::hypot(dx, dy), 1e-6);
  const double nx = -dy / length * thickness / 2, ny = dx / length * thickness / 2;
  if (thickness <= 1.01) return line(static_cast<int>(std::lround(x0)), static_cast<int>(std::lround(y0)),
                                     static_cast<int>(std::lround(x1)), static_cast<int>(std::lround(y1)));
  polygon({{x0 + nx, y0 + ny}, {x1 + nx, y1 + ny}, {x1 - nx, y1 - ny}, {x0 - nx, y0 - ny}});
  return line(static_cast<int>(std::lround(x0)), static_cast<int>(std::lround(y0)), static_cast<int>(std::lround(x1)),
              static_cast<int>(std::lround(y1)));
}

Shape& Shape::line(int x0, int y0, int x1, int y1) {
  const int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
  const int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
  int err = dx + dy;
  while (true) {
    set(x0, y0);
    if (x0 == x1 && y0 == y1) break;
    const int e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x0 += sx;
    }
    if (e2 <= dx) {
      err += dx;
      y0 += sy;
    }
  }
  return *this;
}

Shape& Shape::cut(const Shape& other) {
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      if (other.has(x, y)) clear(x, y);
    }
  }
  return *this;
}

void Canvas::paint(const Shape& shape, const Material& material) {
  for (int y = 0; y < image_.height; ++y) {
    for (int x = 0; x < image_.width; ++x) {
      if (!shape.has(x, y)) continue;
      Rgba tone = material.mid;
      if (!shape.has(x - 1, y) || !shape.has(x, y - 1)) {
        tone = material.light;
      } else if (!shape.has(x + 1, y) || !shape.has(x, y + 1)) {
        tone = material.dark;
      }
      image_.at(x, y) = tone;
    }
  }
}

void Canvas::fill(const Shape& shape, Rgba colour) {
  for (int y = 0; y < image_.height; ++y) {
    for (int x = 0; x < image_.width; ++x) {
      if (shape.has(x, y)) image_.at(x, y) = colour;
    }
  }
}

void Canvas::outline(Rgba colour) {
  const Image before = image_;
  auto opaque = [&](int x, int y) { return before.inside(x, y) && before.at(x, y).a != 0; };
  for (int y = 0; y < image_.height; ++y) {
    for (int x = 0; x < image_.width; ++x) {
      if (opaque(x, y)) continue;
      if (opaque(x - 1, y) || opaque(x + 1, y) || opaque(x, y - 1) || opaque(x, y + 1)) image_.at(x, y) = colour;
    }
  }
}

Image strip(const std::vector<Image>& frames) {
  if (frames.empty()) return Image();
  Image out(frames[0].width * static_cast<int>(frames.size()), frames[0].height);
  for (size_t i = 0; i < frames.size(); ++i) out.paste(frames[i], static_cast<int>(i) * frames[0].width, 0);
  return out;
}

}  // namespace assetgen

#pragma once
// A pen over a canvas with a scale and an offset, so one drawing routine serves a sprite at full
// size and its small shop icon. Every call paints one shaded shape (canvas.h); sizes shrink with
// the scale but never below one pixel.
#include <cmath>
#include <utility>
#include <vector>

#include "assetgen/canvas.h"

namespace assetgen {

class Pen {
 public:
  explicit Pen(Canvas& canvas, double scale = 1.0, double ox = 0.0, double oy = 0.0)
      : canvas_(canvas), s_(scale), ox_(ox), oy_(oy) {}

  double x(double v) const { return ox_ + v * s_; }
  double y(double v) const { return oy_ + v * s_; }
  double len(double v) const { return std::max(1.0, v * s_); }

  void rect(const Material& m, double x0, double y0, double w, double h) {
    Shape shape = canvas_.shape();
    const int left = static_cast<int>(std::lround(x(x0))), top = static_cast<int>(std::lround(y(y0)));
    shape.rect(left, top, std::max(1, static_cast<int>(std::lround(w * s_))), std::max(1, static_cast<int>(std::lround(h * s_))));
    canvas_.paint(shape, m);
  }
  void bar(const Material& m, double x0, double y0, double x1, double y1, double thickness) {
    Shape shape = canvas_.shape();
    shape.bar(x(x0), y(y0), x(x1), y(y1), thickness * s_);
    canvas_.paint(shape, m);
  }
  void ellipse(const Material& m, double cx, double cy, double rx, double ry) {
    Shape shape = canvas_.shape();
    shape.ellipse(x(cx), y(cy), std::max(0.5, rx * s_), std::max(0.5, ry * s_));
    canvas_.paint(shape, m);
  }
  void circle(const Material& m, double cx, double cy, double r) { ellipse(m, cx, cy, r, r); }
  void poly(const Material& m, const std::vector<std::pair<double, double>>& points) {
    std::vector<std::pair<double, double>> scaled;
    for (const auto& p : points) scaled.emplace_back(x(p.first), y(p.second));
    Shape shape = canvas_.shape();
    shape.polygon(scaled);
    canvas_.paint(shape, m);
  }
  // A one-pixel line in one colour.
  void line(Rgba colour, double x0, double y0, double x1, double y1) {
    Shape shape = canvas_.shape();
    shape.line(static_cast<int>(std::lround(x(x0))), static_cast<int>(std::lround(y(y0))),
               static_cast<int>(std::lround(x(x1))), static_cast<int>(std::lround(y(y1))));
    canvas_.fill(shape, colour);
  }
  void dot(Rgba colour, double px, double py) {
    canvas_.pixel(static_cast<int>(std::lround(x(px))), static_cast<int>(std::lround(y(py))), colour);
  }

  Canvas& canvas() { return canvas_; }
  double scale() const { return s_; }

 private:
  Canvas& canvas_;
  double s_, ox_, oy_;
};

}  // namespace assetgen

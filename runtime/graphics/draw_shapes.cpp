#include <algorithm>
#include <cmath>
#include <vector>

#include "graphics/batcher.h"
#include "graphics/draw.h"
#include "graphics/gr_texture.h"
#include "graphics/surface.h"
#include "platform/device.h"
#include "graphics/window.h"

namespace {

constexpr float kShift = 1.0f;

uint32_t g_colour = 0xFF000000u;  // black, opaque
int32_t g_precision = 24;
std::vector<float> g_cos, g_sin;  // precision + 1 entries

void build_table() {
  g_cos.resize(static_cast<size_t>(g_precision) + 1);
  g_sin.resize(static_cast<size_t>(g_precision) + 1);
  for (int32_t i = 0; i <= g_precision; ++i) {
    const double angle = i * 2.0 * 3.14159265358979323846 / g_precision;
    g_cos[static_cast<size_t>(i)] = static_cast<float>(std::cos(angle));
    g_sin[static_cast<size_t>(i)] = static_cast<float>(std::sin(angle));
  }
}

VertexColour* colour_verts(int32_t prim, int32_t count) {
  return static_cast<VertexColour*>(GR_Alloc_Verts(prim, GR_WhiteTexture(), kFormatColour, count));
}

VertexTextured* textured_verts(int32_t prim, int32_t count) {
  return static_cast<VertexTextured*>(GR_Alloc_Verts(prim, GR_WhiteTexture(), kFormatTextured, count));
}

void put(VertexColour* v, float x, float y, uint32_t c) { *v = VertexColour{x, y, GR_Depth(), c}; }
void put(VertexTextured* v, float x, float y, uint32_t c) { *v = VertexTextured{0.0f, 0.0f, c, x, y, GR_Depth()}; }

// A whole-number far edge grows by 0.01 so that the last pixel row or column is covered.
float widen(float v) { return std::floor(v) == v ? v + 0.01f : v; }

void order_corners(float* x1, float* y1, float* x2, float* y2) {
  if (*x1 > *x2) std::swap(*x1, *x2);
  if (*y1 > *y2) std::swap(*y1, *y2);
  *x2 = widen(*x2);
  *y2 = widen(*y2);
}

uint32_t channel_mix(uint32_t a, uint32_t b, double t) {
  uint32_t out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const double ca = (a >> shift) & 0xFF, cb = (b >> shift) & 0xFF;
    out |= static_cast<uint32_t>(std::clamp(ca + (cb - ca) * t, 0.0, 255.0)) << shift;
  }
  return out;
}

}  // namespace

void Draw_SetColour(uint32_t rgb) { g_colour = (g_colour & 0xFF000000u) | (rgb & 0xFFFFFFu); }
uint32_t Draw_GetColour() { return g_colour & 0xFFFFFFu; }

void Draw_SetAlpha(double alpha) {
  const uint32_t a = static_cast<uint32_t>(std::clamp(alpha, 0.0, 1.0) * 255.0);
  g_colour = (g_colour & 0xFFFFFFu) | (a << 24);
}

double Draw_GetAlpha() { return static_cast<double>(g_colour >> 24) / 255.0; }
uint32_t Draw_MergedColour() { return g_colour; }
uint32_t Draw_WithAlpha(uint32_t rgb) { return (rgb & 0xFFFFFFu) | (g_colour & 0xFF000000u); }

void Draw_SetCirclePrecision(int32_t precision) {
  if (precision < 4) precision = 4;
  if (precision > 64) precision = 64;
  g_precision = precision / 4 * 4;
  build_table();
}

int32_t Draw_GetCirclePrecision() { return g_precision; }

void Draw_ResetState() {
  g_colour = 0xFF000000u;
  Draw_SetCirclePrecision(24);
}

void Draw_Point(float x, float y, uint32_t colour) {
  put(colour_verts(kPrimPointList, 1), x + kShift, y + kShift, colour);
}

void Draw_Line(float x1, float y1, float x2, float y2, uint32_t c1, uint32_t c2) {
  VertexColour* v = colour_verts(kPrimLineList, 2);
  put(&v[0], x1 + kShift, y1 + kShift, c1);
  put(&v[1], x2 + kShift, y2 + kShift, c2);
}

void Draw_LineWidth(float x1, float y1, float x2, float y2, float width, uint32_t c1, uint32_t c2) {
  const float dx = x2 - x1, dy = y2 - y1;
  const float length = std::sqrt(dx * dx + dy * dy);
  if (length == 0.0f) return;
  const float nx = -dy / length * width / 2.0f, ny = dx / length * width / 2.0f;
  VertexTextured* v = textured_verts(kPrimTriangleFan, 4);
  put(&v[0], x1 + nx + kShift, y1 + ny + kShift, c1);
  put(&v[1], x2 + nx + kShift, y2 + ny + kShift, c2);
  put(&v[2], x2 - nx + kShift, y2 - ny + kShift, c2);
  put(&v[3], x1 - nx + kShift, y1 - ny + kShift, c1);
}

void Draw_Rectangle(float x1, float y1, float x2, float y2, uint32_t c1, uint32_t c2, uint32_t c3, uint32_t c4,
                    bool outline) {
  x2 += kShift;
  y2 += kShift;
  order_corners(&x1, &y1, &x2, &y2);
  const float xs[5] = {x1, x2, x2, x1, x1};
  const float ys[5] = {y1, y1, y2, y2, y1};
  const uint32_t cs[5] = {c1, c2, c3, c4, c1};
  VertexTextured* v = textured_verts(outline ? kPrimLineStrip : kPrimTriangleFan, 5);
  for (int i = 0; i < 5; ++i) put(&v[i], xs[i], ys[i], cs[i]);
  if (!outline) return;
  VertexTextured* corners = textured_verts(kPrimPointList, 4);
  for (int i = 0; i < 4; ++i) put(&corners[i], xs[i], ys[i], cs[i]);
}

void Draw_Triangle(float x1, float y1, float x2, float y2, float x3, float y3, uint32_t c1, uint32_t c2, uint32_t c3,
                   bool outline) {
  const float xs[4] = {x1, x2, x3, x1};
  const float ys[4] = {y1, y2, y3, y1};
  const uint32_t cs[4] = {c1, c2, c3, c1};
  const int32_t count = outline ? 4 : 3;
  VertexTextured* v = textured_verts(outline ? kPrimLineStrip : kPrimTriangleList, count);
  for (int i = 0; i < count; ++i) put(&v[i], xs[i] + kShift, ys[i] + kShift, cs[i]);
}

void Draw_Ellipse(float x1, float y1, float x2, float y2, uint32_t centre, uint32_t edge, bool outline) {
  if (g_cos.empty()) build_table();
  const float cx = (x1 + x2) / 2.0f + kShift, cy = (y1 + y2) / 2.0f + kShift;
  const float rx = std::fabs(x2 - x1) / 2.0f, ry = std::fabs(y2 - y1) / 2.0f;
  const int32_t n = g_precision;
  if (outline) {
    VertexColour* v = colour_verts(kPrimLineStrip, n + 1);
    for (int32_t i = 0; i <= n; ++i) put(&v[i], cx + rx * g_cos[i], cy + ry * g_sin[i], edge);
    return;
  }
  VertexColour* v = colour_verts(kPrimTriangleList, n * 3);
  for (int32_t i = 0; i < n; ++i) {
    put(&v[i * 3], cx, cy, centre);
    put(&v[i * 3 + 1], cx + rx * g_cos[i], cy + ry * g_sin[i], edge);
    put(&v[i * 3 + 2], cx + rx * g_cos[i + 1], cy + ry * g_sin[i + 1], edge);
  }
}

void Draw_RoundRect(float x1, float y1, float x2, float y2, float rx, float ry, uint32_t centre, uint32_t edge,
                    bool outline) {
  if (g_cos.empty()) build_table();
  x1 += kShift;
  y1 += kShift;
  x2 += kShift;
  y2 += kShift;
  order_corners(&x1, &y1, &x2, &y2);
  rx = std::clamp(rx, 0.0f, x2 - x1);
  ry = std::clamp(ry, 0.0f, y2 - y1);
  const int32_t n = g_precision;
  const int32_t quarter = n / 4;
  const float hx = rx / 2.0f, hy = ry / 2.0f;
  // Arc centres: right bottom, left bottom, left top, right top; each takes its quarter of the table.
  const float acx[4] = {x2 - hx, x1 + hx, x1 + hx, x2 - hx};
  const float acy[4] = {y2 - hy, y2 - hy, y1 + hy, y1 + hy};
  const int32_t total = n + 6;
  VertexTextured* v = textured_verts(outline ? kPrimLineStrip : kPrimTriangleFan, total);
  int32_t k = 1;
  for (int corner = 0; corner < 4; ++corner) {
    for (int32_t i = corner * quarter; i <= (corner + 1) * quarter; ++i) {
      put(&v[k++], acx[corner] + hx * g_cos[i], acy[corner] + hy * g_sin[i], edge);
    }
  }
  v[k] = v[1];
  if (outline) {
    v[0] = v[1];
  } else {
    put(&v[0], (x1 + x2) / 2.0f, (y1 + y2) / 2.0f, centre);
  }
}

void Draw_Arrow(float x1, float y1, float x2, float y2, float size, uint32_t colour) {
  const float dx = x2 - x1, dy = y2 - y1;
  const float length = std::sqrt(dx * dx + dy * dy);
  if (length == 0.0f) return;
  size = std::min(size, length);
  const float ux = dx / length, uy = dy / length;
  const float bx = x2 - ux * size, by = y2 - uy * size;
  const float nx = -uy * size / 3.0f, ny = ux * size / 3.0f;
  Draw_Line(x1, y1, bx, by, colour, colour);
  Draw_Triangle(x2, y2, bx + nx, by + ny, bx - nx, by - ny, colour, colour, colour, false);
}

void Draw_Button(float x1, float y1, float x2, float y2, bool up, uint32_t face) {
  if (x1 > x2) std::swap(x1, x2);
  if (y1 > y2) std::swap(y1, y2);
  const uint32_t alpha = face & 0xFF000000u;
  const uint32_t light = alpha | 0xFFFFFFu;
  const uint32_t dark = alpha | 0x808080u;
  const uint32_t top_left = up ? light : dark;
  const uint32_t bottom_right = up ? dark : light;
  Draw_Rectangle(x1, y1, x2, y2, face, face, face, face, false);
  Draw_Line(x1, y1, x2, y1, top_left, top_left);
  Draw_Line(x1, y1, x1, y2, top_left, top_left);
  Draw_Line(x1, y2, x2, y2, bottom_right, bottom_right);
  Draw_Line(x2, y1, x2, y2, bottom_right, bottom_right);
}

void Draw_Healthbar(float x1, float y1, float x2, float y2, float amount, uint32_t back, uint32_t min_colour,
                    uint32_t max_colour, int32_t direction, bool show_back, bool show_border) {
  amount = std::clamp(amount, 0.0f, 100.0f);
  const uint32_t alpha = Draw_MergedColour() & 0xFF000000u;
  const uint32_t black = alpha;
  if (show_back) {
    const uint32_t b = (back & 0xFFFFFFu) | alpha;
    Draw_Rectangle(x1, y1, x2, y2, b, b, b, b, false);
    if (show_border) Draw_Rectangle(x1, y1, x2, y2, black, black, black, black, true);
  }
  if (amount <= 0.0f) return;
  const uint32_t middle = Colour_Merge(min_colour, max_colour, 0.5);
  const uint32_t bar = (amount <= 50.0f ? Colour_Merge(min_colour, middle, amount / 50.0)
                                        : Colour_Merge(middle, max_colour, (amount - 50.0) / 50.0)) |
                       alpha;
  const float t = amount / 100.0f;
  float bx1 = x1, by1 = y1, bx2 = x2, by2 = y2;
  switch (direction) {
    case 1: bx1 = x2 - (x2 - x1) * t; break;
    case 2: by2 = y1 + (y2 - y1) * t; break;
    case 3: by1 = y2 - (y2 - y1) * t; break;
    default: bx2 = x1 + (x2 - x1) * t; break;
  }
  Draw_Rectangle(bx1, by1, bx2, by2, bar, bar, bar, bar, false);
  if (show_border) Draw_Rectangle(bx1, by1, bx2, by2, black, black, black, black, true);
}

void Draw_Clear(uint32_t colour) { Draw_Clear(colour, 1.0f, 0, kClearColour | kClearDepth | kClearStencil); }

uint32_t Colour_MakeRGB(double r, double g, double b) {
  const auto channel = [](double v) { return static_cast<uint32_t>(std::clamp(v, 0.0, 255.0)); };
  return channel(r) | (channel(g) << 8) | (channel(b) << 16);
}

uint32_t Colour_MakeHSV(double h, double s, double v) {
  h = std::clamp(h, 0.0, 255.0) / 255.0 * 360.0;
  s = std::clamp(s, 0.0, 255.0) / 255.0;
  v = std::clamp(v, 0.0, 255.0) / 255.0;
  const double c = v * s;
  const double hp = std::fmod(h / 60.0, 6.0);
  const double x = c * (1.0 - std::fabs(std::fmod(hp, 2.0) - 1.0));
  double r = 0, g = 0, b = 0;
  if (hp < 1) { r = c; g = x; }
  else if (hp < 2) { r = x; g = c; }
  else if (hp < 3) { g = c; b = x; }
  else if (hp < 4) { g = x; b = c; }
  else if (hp < 5) { r = x; b = c; }
  else { r = c; b = x; }
  const double m = v - c;
  return Colour_MakeRGB(std::round((r + m) * 255.0), std::round((g + m) * 255.0), std::round((b + m) * 255.0));
}

uint32_t Colour_Merge(uint32_t a, uint32_t b, double amount) {
  return channel_mix(a & 0xFFFFFFu, b & 0xFFFFFFu, std::clamp(amount, 0.0, 1.0));
}

namespace {

void rgb_of(uint32_t colour, double* r, double* g, double* b) {
  *r = (colour & 0xFF) / 255.0;
  *g = ((colour >> 8) & 0xFF) / 255.0;
  *b = ((colour >> 16) & 0xFF) / 255.0;
}

}  // namespace

double Colour_Hue(uint32_t colour) {
  double r, g, b;
  rgb_of(colour, &r, &g, &b);
  const double max = std::max({r, g, b}), min = std::min({r, g, b});
  const double d = max - min;
  if (d <= 0.0) return 0.0;
  double h = 0.0;
  if (max == r) {
    h = std::fmod((g - b) / d, 6.0);
  } else if (max == g) {
    h = (b - r) / d + 2.0;
  } else {
    h = (r - g) / d + 4.0;
  }
  h *= 60.0;
  if (h < 0.0) h += 360.0;
  return std::round(h / 360.0 * 255.0);
}

double Colour_Saturation(uint32_t colour) {
  double r, g, b;
  rgb_of(colour, &r, &g, &b);
  const double max = std::max({r, g, b}), min = std::min({r, g, b});
  return max <= 0.0 ? 0.0 : std::round((max - min) / max * 255.0);
}

double Colour_Value(uint32_t colour) {
  double r, g, b;
  rgb_of(colour, &r, &g, &b);
  return std::round(std::max({r, g, b}) * 255.0);
}

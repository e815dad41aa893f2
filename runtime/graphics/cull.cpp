#include "graphics/cull.h"

#include <algorithm>
#include <cmath>

#include "graphics/device_state.h"

bool NoCull = false;
bool InGuiPass = false;

namespace {

struct CullState {
  ViewRect view;
  CullRect rect;
  bool dirty = true;
  bool perspective = false;
};

CullState g_cull;

// The corners of the view, turned about its centre by its angle.
void view_corners(const ViewRect& v, float xs[4], float ys[4]) {
  const float cx = v.x + v.w * 0.5f, cy = v.y + v.h * 0.5f;
  const float hw = v.w * 0.5f, hh = v.h * 0.5f;
  const float corner_x[4] = {-hw, hw, hw, -hw};
  const float corner_y[4] = {-hh, -hh, hh, hh};
  const double radians = static_cast<double>(v.angle) * M_PI / 180.0;
  const auto c = static_cast<float>(std::cos(radians));
  const auto s = static_cast<float>(std::sin(radians));
  for (int i = 0; i < 4; ++i) {
    if (v.angle == 0.0f) {
      xs[i] = cx + corner_x[i];
      ys[i] = cy + corner_y[i];
    } else {
      xs[i] = cx + corner_x[i] * c - corner_y[i] * s;
      ys[i] = cy + corner_x[i] * s + corner_y[i] * c;
    }
  }
}

void recompute() {
  float xs[4], ys[4];
  view_corners(g_cull.view, xs, ys);
  float world[16], inverse[16];
  GR_Get_Matrix(kMatrixWorld, world);
  if (Matrix_Inverse(world, inverse)) {
    for (int i = 0; i < 4; ++i) {
      const float x = xs[i], y = ys[i];
      xs[i] = x * inverse[0] + y * inverse[4] + inverse[12];
      ys[i] = x * inverse[1] + y * inverse[5] + inverse[13];
    }
  }
  g_cull.rect.left = std::floor(*std::min_element(xs, xs + 4));
  g_cull.rect.right = std::ceil(*std::max_element(xs, xs + 4));
  g_cull.rect.top = std::floor(*std::min_element(ys, ys + 4));
  g_cull.rect.bottom = std::ceil(*std::max_element(ys, ys + 4));
  g_cull.dirty = false;
}

}  // namespace

void Cull_SetView(float x, float y, float w, float h, float angle) {
  g_cull.view = ViewRect{x, y, w, h, angle};
  g_cull.dirty = true;
}

const ViewRect& Cull_View() { return g_cull.view; }

void Cull_SetRect(const CullRect& rect) {
  g_cull.rect = rect;
  g_cull.dirty = false;
}

void Cull_WorldChanged() { g_cull.dirty = true; }
void Cull_SetPerspective(bool perspective) { g_cull.perspective = perspective; }
bool Cull_Perspective() { return g_cull.perspective; }

const CullRect& Cull_Rect() {
  if (g_cull.dirty) recompute();
  return g_cull.rect;
}

bool Cull_Outside(float x, float y, float radius) {
  if (NoCull || InGuiPass || g_cull.perspective) return false;
  const CullRect& r = Cull_Rect();
  return r.top - y > radius || y - r.bottom > radius || r.left - x > radius || x - r.right > radius;
}

void Cull_Reset() {
  g_cull = CullState{};
  NoCull = false;
  InGuiPass = false;
}

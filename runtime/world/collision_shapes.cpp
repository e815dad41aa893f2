// Boxes of instances and the tests of an instance against shapes and other instances: the box
// tests with their edges, oriented boxes for sprites whose box turns, and the mask walks.
#include <algorithm>
#include <cmath>

#include "core/rvalue.h"
#include "data/asset_options.h"
#include "graphics/asset_sprites.h"
#include "world/collision.h"
#include "world/collision_internal.h"
#include "world/instance.h"

namespace {

constexpr float kPi = 3.1415927f;

// The box of a sprite relative to the origin and scaled: (a, c) top left, (b, d) bottom right.
struct Scaled {
  float a, b, c, d;
};

Scaled scaled_box(const SpriteAsset* s, float sx, float sy) {
  const float L = std::min(s->bbox_left, s->bbox_right), R = std::max(s->bbox_left, s->bbox_right);
  const float T = std::min(s->bbox_top, s->bbox_bottom), B = std::max(s->bbox_top, s->bbox_bottom);
  return {(L - s->xOrigin) * sx, (R - s->xOrigin + 1) * sx, (T - s->yOrigin) * sy, (B - s->yOrigin + 1) * sy};
}

// Four corners, clockwise from the top left.
struct Quad {
  float x[4], y[4];
};

Quad oriented_box(const CInstance* instance, const SpriteAsset* s) {
  const Scaled k = scaled_box(s, instance->imageXScale, instance->imageYScale);
  const float t = -instance->imageAngle * kPi / 180.0f;
  const float C = std::cos(t), S = std::sin(t);
  const float x = instance->x - 0.5f, y = instance->y - 0.5f;
  Quad q;
  q.x[0] = x + C * k.a - S * k.c, q.y[0] = y + C * k.c + S * k.a;
  q.x[1] = x + C * k.b - S * k.c, q.y[1] = y + C * k.c + S * k.b;
  q.x[2] = x + C * k.b - S * k.d, q.y[2] = y + C * k.d + S * k.b;
  q.x[3] = x + C * k.a - S * k.d, q.y[3] = y + C * k.d + S * k.a;
  return q;
}

Quad rect_quad(float l, float t, float r, float b) { return {{l, r, r, l}, {t, t, b, b}}; }

// Separating axes: the normals of the first two edges of each convex polygon (n points, 2 to 4).
bool separated_on(const float* ax, const float* ay, int an, const float* bx, const float* by, int bn, float nx,
                  float ny) {
  float amin = 0, amax = 0, bmin = 0, bmax = 0;
  for (int i = 0; i < an; ++i) {
    const float p = ax[i] * nx + ay[i] * ny;
    amin = i == 0 ? p : std::min(amin, p);
    amax = i == 0 ? p : std::max(amax, p);
  }
  for (int i = 0; i < bn; ++i) {
    const float p = bx[i] * nx + by[i] * ny;
    bmin = i == 0 ? p : std::min(bmin, p);
    bmax = i == 0 ? p : std::max(bmax, p);
  }
  return amax < bmin || bmax < amin;
}

bool polygons_overlap(const float* ax, const float* ay, int an, const float* bx, const float* by, int bn) {
  const int aedges = an >= 3 ? 2 : 1, bedges = bn >= 3 ? 2 : 1;
  for (int i = 0; i < aedges; ++i) {
    if (separated_on(ax, ay, an, bx, by, bn, -(ay[i + 1] - ay[i]), ax[i + 1] - ax[i])) return false;
  }
  for (int i = 0; i < bedges; ++i) {
    if (separated_on(ax, ay, an, bx, by, bn, -(by[i + 1] - by[i]), bx[i + 1] - bx[i])) return false;
  }
  return true;
}

bool quads_overlap(const Quad& a, const Quad& b) { return polygons_overlap(a.x, a.y, 4, b.x, b.y, 4); }

bool point_in_quad(const Quad& q, float px, float py) {
  const float x[1] = {px}, y[1] = {py};
  for (int i = 0; i < 2; ++i) {
    if (separated_on(q.x, q.y, 4, x, y, 1, -(q.y[i + 1] - q.y[i]), q.x[i + 1] - q.x[i])) return false;
  }
  return true;
}

bool line_crosses_quad(const Quad& q, float x1, float y1, float x2, float y2) {
  const float x[2] = {x1, x2}, y[2] = {y1, y2};
  if (x1 == x2 && y1 == y2) return point_in_quad(q, x1, y1);
  return polygons_overlap(q.x, q.y, 4, x, y, 2);
}

// Whether the ellipse within (x1, y1)-(x2, y2) touches the quad: in the space where the ellipse is
// the unit circle the quad is a parallelogram; the circle touches it when its centre is inside or
// an edge comes within distance 1.
bool ellipse_touches_quad(const Quad& q, float x1, float y1, float x2, float y2) {
  const double cx = (x1 + x2) * 0.5, cy = (y1 + y2) * 0.5;
  const double rx = std::max(1e-6, std::fabs(x2 - x1) * 0.5), ry = std::max(1e-6, std::fabs(y2 - y1) * 0.5);
  double px[4], py[4];
  for (int i = 0; i < 4; ++i) px[i] = (q.x[i] - cx) / rx, py[i] = (q.y[i] - cy) / ry;
  bool inside = true;
  double sign = 0;
  for (int i = 0; i < 4; ++i) {
    const int j = (i + 1) & 3;
    const double cross = (px[j] - px[i]) * (0 - py[i]) - (py[j] - py[i]) * (0 - px[i]);
    if (cross != 0) {
      if (sign == 0) sign = cross;
      if ((cross > 0) != (sign > 0)) inside = false;
    }
    const double ex = px[j] - px[i], ey = py[j] - py[i];
    const double len = ex * ex + ey * ey;
    double t = len > 0 ? -(px[i] * ex + py[i] * ey) / len : 0;
    t = std::clamp(t, 0.0, 1.0);
    const double dx = px[i] + t * ex, dy = py[i] + t * ey;
    if (dx * dx + dy * dy <= 1.0) return true;
  }
  return inside;
}

const SpriteAsset* usable(const CInstance* instance) {
  const SpriteAsset* s = Collision_SpriteOf(instance);
  return s != nullptr && s->frame_count > 0 ? s : nullptr;
}

bool gone(const CInstance* instance) { return (instance->flags & (kInstMarked | kInstDelayedDestroy)) != 0; }

const uint8_t* frame_mask(const CInstance* instance, const SpriteAsset* s) {
  if (s->masks == nullptr || s->mask_count == 0) return nullptr;
  return Sprite_Mask(s, static_cast<int32_t>(std::trunc(instance->imageIndex)));
}

bool bit(const SpriteAsset* s, const uint8_t* mask, int32_t u, int32_t v) {
  const uint32_t row = (static_cast<uint32_t>(s->width) + 7) >> 3;
  return (mask[static_cast<uint32_t>(v) * row + (static_cast<uint32_t>(u) >> 3)] & (0x80u >> (u & 7))) != 0;
}

// The walk's mapping of world pixels into the sprite.
struct MaskWalk {
  const CInstance* instance;
  const SpriteAsset* sprite;
  const uint8_t* mask;
  double sin_a, cos_a, ox, oy;

  MaskWalk(const CInstance* i, const SpriteAsset* s) : instance(i), sprite(s), mask(frame_mask(i, s)) {
    const double a = -static_cast<double>(i->imageAngle) * kPi / 180.0;
    sin_a = std::sin(a);
    cos_a = std::cos(a);
    ox = std::round(i->x) - 0.5;
    oy = std::round(i->y) - 0.5;
  }
  bool hit(double px, double py) const {
    const double dx = px - ox, dy = py - oy;
    const double u = std::floor((dy * sin_a + dx * cos_a) / instance->imageXScale + sprite->xOrigin);
    const double v = std::floor((dy * cos_a - dx * sin_a) / instance->imageYScale + sprite->yOrigin);
    if (u < 0 || v < 0 || u >= sprite->width || v >= sprite->height) return false;
    return bit(sprite, mask, static_cast<int32_t>(u), static_cast<int32_t>(v));
  }
};

bool walk_rectangle(const CInstance* i, const SpriteAsset* s, float l, float t, float r, float b) {
  const MaskWalk walk(i, s);
  if (walk.mask == nullptr) return true;
  const double x0 = std::ceil(std::max(i->bboxLeft, l)), x1 = std::floor(std::min(i->bboxRight, r));
  const double y0 = std::ceil(std::max(i->bboxTop, t)), y1 = std::floor(std::min(i->bboxBottom, b));
  for (double py = y0; py <= y1; py += 1) {
    for (double px = x0; px <= x1; px += 1) {
      if (walk.hit(px, py)) return true;
    }
  }
  return false;
}

bool in_ellipse(double px, double py, double cx, double cy, double rx, double ry) {
  const double u = (px - cx) / rx, v = (py - cy) / ry;
  return u * u + v * v <= 1.0;
}

bool walk_ellipse(const CInstance* i, const SpriteAsset* s, float l, float t, float r, float b) {
  const MaskWalk walk(i, s);
  if (walk.mask == nullptr) return true;
  const double el = std::round(l), et = std::round(t), er = std::round(r), eb = std::round(b);
  const double cx = (el + er) * 0.5, cy = (et + eb) * 0.5, rx = (er - el) * 0.5, ry = (eb - et) * 0.5;
  const double x0 = std::ceil(std::max<double>(i->bboxLeft, el)), x1 = std::floor(std::min<double>(i->bboxRight, er));
  const double y0 = std::ceil(std::max<double>(i->bboxTop, et)), y1 = std::floor(std::min<double>(i->bboxBottom, eb));
  for (double py = y0; py <= y1; py += 1) {
    for (double px = x0; px <= x1; px += 1) {
      if (in_ellipse(px, py, cx, cy, rx, ry) && walk.hit(px, py)) return true;
    }
  }
  return false;
}

bool walk_line(const CInstance* i, const SpriteAsset* s, float fx1, float fy1, float fx2, float fy2) {
  const double x1 = std::round(fx1), y1 = std::round(fy1), x2 = std::round(fx2), y2 = std::round(fy2);
  if (x1 == x2 || y1 == y2) {
    return walk_rectangle(i, s, static_cast<float>(std::min(x1, x2)), static_cast<float>(std::min(y1, y2)),
                          static_cast<float>(std::max(x1, x2)), static_cast<float>(std::max(y1, y2)));
  }
  const MaskWalk walk(i, s);
  if (walk.mask == nullptr) return true;
  const double dx = x2 - x1, dy = y2 - y1;
  if (std::fabs(dx) < std::fabs(dy)) {
    const double lo = std::max<double>(std::ceil(i->bboxTop), std::min(y1, y2));
    const double hi = std::min<double>(std::floor(i->bboxBottom), std::max(y1, y2));
    for (double py = lo; py <= hi; py += 1) {
      if (walk.hit((py - y1) * (dx / dy) + x1, py)) return true;
    }
  } else {
    const double lo = std::max<double>(std::ceil(i->bboxLeft), std::min(x1, x2));
    const double hi = std::min<double>(std::floor(i->bboxRight), std::max(x1, x2));
    for (double px = lo; px <= hi; px += 1) {
      if (walk.hit(px, (px - x1) * (dy / dx) + y1)) return true;
    }
  }
  return false;
}

double floor_biased(double v) { return std::trunc(v + 32768.0) - 32768.0; }
double ceil_biased(double v) { return 32768.0 - std::trunc(32768.0 - v); }

// The mapping of a world point into one sprite of the pair test, with its limits.
struct PairSide {
  const CInstance* instance;
  const SpriteAsset* sprite;
  const uint8_t* mask;
  bool rotated;
  double sin_a, cos_a, lo_u, hi_u, lo_v, hi_v;

  PairSide(const CInstance* i, const SpriteAsset* s) : instance(i), sprite(s), mask(nullptr) {
    if (s->useMask) mask = frame_mask(i, s);
    rotated = std::fabs(i->imageAngle) > Math_GetEpsilon();
    const double a = -static_cast<double>(i->imageAngle) * kPi / 180.0;
    sin_a = std::sin(a);
    cos_a = std::cos(a);
    lo_u = std::min(s->bbox_left, s->bbox_right);
    hi_u = std::max(s->bbox_left, s->bbox_right) + 1;
    lo_v = std::min(s->bbox_top, s->bbox_bottom);
    hi_v = std::max(s->bbox_top, s->bbox_bottom) + 1;
    if (s->useMask) {
      lo_u = std::max(lo_u, 0.0), lo_v = std::max(lo_v, 0.0);
      hi_u = std::min<double>(hi_u, s->width), hi_v = std::min<double>(hi_v, s->height);
    }
  }
  bool set(double px, double py) const {
    const double dx = px - instance->x, dy = py - instance->y;
    double u, v;
    if (rotated) {
      u = (dy * sin_a + dx * cos_a) / instance->imageXScale + sprite->xOrigin;
      v = (dy * cos_a - dx * sin_a) / instance->imageYScale + sprite->yOrigin;
    } else {
      u = dx / instance->imageXScale + sprite->xOrigin;
      v = dy / instance->imageYScale + sprite->yOrigin;
    }
    if (!(u >= lo_u && u < hi_u && v >= lo_v && v < hi_v)) return false;
    if (mask == nullptr) return true;
    const auto iu = static_cast<int32_t>(std::floor(u)), iv = static_cast<int32_t>(std::floor(v));
    if (iu < 0 || iv < 0 || iu >= sprite->width || iv >= sprite->height) return false;
    return bit(sprite, mask, iu, iv);
  }
  // Compatibility mode: whole pixels, by integers when the instance is neither scaled nor turned.
  bool set_whole(int32_t x, int32_t y) const {
    const double eps = Math_GetEpsilon();
    const bool plain = !rotated && std::fabs(instance->imageXScale - 1.0) <= eps &&
                       std::fabs(instance->imageYScale - 1.0) <= eps;
    int32_t u, v;
    if (plain) {
      u = x - static_cast<int32_t>(std::lround(instance->x)) + sprite->xOrigin;
      v = y - static_cast<int32_t>(std::lround(instance->y)) + sprite->yOrigin;
    } else {
      const double ix = instance->x - (instance->imageXScale < 0 ? 1 : 0);
      const double iy = instance->y - (instance->imageYScale < 0 ? 1 : 0);
      const double dx = x - ix, dy = y - iy;
      const double rx = 1.0 / instance->imageXScale, ry = 1.0 / instance->imageYScale;
      const double fu = rotated ? (dy * sin_a + dx * cos_a) * rx : dx * rx;
      const double fv = rotated ? (dy * cos_a - dx * sin_a) * ry : dy * ry;
      u = static_cast<int32_t>(std::floor(fu + sprite->xOrigin));
      v = static_cast<int32_t>(std::floor(fv + sprite->yOrigin));
    }
    if (u < 0 || v < 0 || u >= sprite->width || v >= sprite->height) return false;
    if (u < lo_u || u >= hi_u || v < lo_v || v >= hi_v) return false;
    return mask == nullptr || bit(sprite, mask, u, v);
  }
};

bool masks_meet(const CInstance* a, const SpriteAsset* sa, const CInstance* b, const SpriteAsset* sb) {
  if (a->imageXScale == 0 || a->imageYScale == 0 || b->imageXScale == 0 || b->imageYScale == 0) return false;
  const PairSide pa(a, sa), pb(b, sb);
  const float left = std::max(a->bboxLeft, b->bboxLeft), top = std::max(a->bboxTop, b->bboxTop);
  const float right = std::min(a->bboxRight, b->bboxRight), bottom = std::min(a->bboxBottom, b->bboxBottom);
  if (Collision_CompatMode()) {
    for (auto y = static_cast<int32_t>(std::trunc(top)); y <= static_cast<int32_t>(std::trunc(bottom)); ++y) {
      for (auto x = static_cast<int32_t>(std::trunc(left)); x <= static_cast<int32_t>(std::trunc(right)); ++x) {
        if (pa.set_whole(x, y) && pb.set_whole(x, y)) return true;
      }
    }
    return false;
  }
  const double x0 = floor_biased(left), y0 = floor_biased(top), x1 = ceil_biased(right), y1 = ceil_biased(bottom);
  for (double py = y0 + 0.5; py < y1; py += 1) {
    for (double px = x0 + 0.5; px < x1; px += 1) {
      if (pa.set(px, py) && pb.set(px, py)) return true;
    }
  }
  return false;
}

bool holds_pixel_centre(float left, float top, float right, float bottom) {
  return std::floor(left + 0.5f) != std::floor(right + 0.5f) && std::floor(top + 0.5f) != std::floor(bottom + 0.5f);
}

float point_edge() { return Collision_CompatMode() ? kCollisionCompatEdge : kCollisionPointEdge; }
float box_edge() { return Collision_CompatMode() ? kCollisionCompatEdge : 0.0f; }

}  // namespace

bool Collision_CompatMode() { return Options_Flag(datawin::optn::kOptionCollisionCompat); }

const SpriteAsset* Collision_SpriteOf(const CInstance* instance) {
  return Sprite_Get(instance->maskIndex >= 0 ? instance->maskIndex : instance->spriteIndex);
}

void Collision_BoxOf(CInstance* instance) {
  const SpriteAsset* s = usable(instance);
  if (s == nullptr) {
    instance->bboxLeft = instance->bboxRight = instance->x;
    instance->bboxTop = instance->bboxBottom = instance->y;
    instance->flags &= ~(kInstBBoxDirty | kInstPreciseMask);
    return;
  }
  const bool compat = Collision_CompatMode();
  const float x = instance->x, y = instance->y, sx = instance->imageXScale, sy = instance->imageYScale;
  float left, top, right, bottom;
  if (instance->imageAngle == 0.0f) {
    left = (s->bbox_left - s->xOrigin) * sx + x;
    right = left + sx * (s->bbox_right - s->bbox_left + 1);
    top = (s->bbox_top - s->yOrigin) * sy + y;
    bottom = top + sy * (s->bbox_bottom - s->bbox_top + 1);
    if (compat) left = std::round(left), right = std::round(right), top = std::round(top), bottom = std::round(bottom);
    if (left > right) std::swap(left, right);
    if (top > bottom) std::swap(top, bottom);
    if (compat) right -= 1, bottom -= 1;
  } else {
    const Scaled k = scaled_box(s, sx, sy);
    const float t = instance->imageAngle * kPi / 180.0f;
    const float C = std::cos(t), S = std::sin(t);
    left = x + std::min(C * k.a, C * k.b) + std::min(S * k.c, S * k.d);
    right = x + std::max(C * k.a, C * k.b) + std::max(S * k.c, S * k.d);
    top = y + std::min(C * k.c, C * k.d) - std::max(S * k.a, S * k.b);
    bottom = y + std::max(C * k.c, C * k.d) - std::min(S * k.a, S * k.b);
    if (compat) left = std::round(left), right = std::round(right), top = std::round(top), bottom = std::round(bottom);
  }
  instance->bboxLeft = left;
  instance->bboxTop = top;
  instance->bboxRight = right;
  instance->bboxBottom = bottom;
  if (s->useMask) {
    instance->flags |= kInstPreciseMask;
  } else {
    instance->flags &= ~kInstPreciseMask;
  }
  instance->flags &= ~kInstBBoxDirty;
}

void Collision_RefreshBox(CInstance* instance) {
  if ((instance->flags & kInstBBoxDirty) != 0) Collision_BoxOf(instance);
}

bool Instance_CollidePoint(CInstance* i, float x, float y, bool precise) {
  Collision_RefreshBox(i);
  const float e = point_edge();
  if (x >= i->bboxRight + e || i->bboxLeft > x || y >= i->bboxBottom + e || i->bboxTop > y) return false;
  if (gone(i)) return false;
  const SpriteAsset* s = usable(i);
  if (s == nullptr) return false;
  if (s->rotatedMask && !point_in_quad(oriented_box(i, s), x, y)) return false;
  if (!precise || !s->useMask) return true;
  const double ix = std::round(i->x), iy = std::round(i->y);
  double dx = std::round(x) - (ix - 0.5), dy = std::round(y) - (iy - 0.5);
  if (std::fabs(i->imageAngle) >= 0.0001f) {
    const double a = -static_cast<double>(i->imageAngle) * kPi / 180.0;
    const double rx = dy * std::sin(a) + dx * std::cos(a);
    const double ry = dy * std::cos(a) - dx * std::sin(a);
    dx = rx, dy = ry;
  }
  const double u = std::floor(dx / i->imageXScale + s->xOrigin), v = std::floor(dy / i->imageYScale + s->yOrigin);
  if (!(u >= 0 && v >= 0 && u < s->width && v < s->height)) return false;
  const uint8_t* mask = frame_mask(i, s);
  return mask == nullptr || bit(s, mask, static_cast<int32_t>(u), static_cast<int32_t>(v));
}

bool Instance_CollideRectangle(CInstance* i, float x1, float y1, float x2, float y2, bool precise) {
  const float l = std::min(x1, x2), r = std::max(x1, x2), t = std::min(y1, y2), b = std::max(y1, y2);
  Collision_RefreshBox(i);
  const float e = box_edge();
  if (l >= i->bboxRight + e || i->bboxLeft > r || t >= i->bboxBottom + e || i->bboxTop > b) return false;
  if (gone(i)) return false;
  const SpriteAsset* s = usable(i);
  if (s == nullptr) return false;
  if (s->rotatedMask && !quads_overlap(oriented_box(i, s), rect_quad(l, t, r, b))) return false;
  const bool compat = Collision_CompatMode();
  if (precise && (i->flags & kInstPreciseMask) != 0) {
    if (compat) return walk_rectangle(i, s, std::round(l), std::round(t), std::round(r), std::round(b));
    return walk_rectangle(i, s, l, t, r, b);
  }
  if (compat) return true;
  return holds_pixel_centre(std::max(l, i->bboxLeft), std::max(t, i->bboxTop), std::min(r, i->bboxRight),
                            std::min(b, i->bboxBottom));
}

bool Instance_CollideLine(CInstance* i, float x1, float y1, float x2, float y2, bool precise) {
  if (x1 > x2) std::swap(x1, x2), std::swap(y1, y2);
  Collision_RefreshBox(i);
  const float e = point_edge();
  if (x1 >= i->bboxRight + e || i->bboxLeft > x2 || std::min(y1, y2) >= i->bboxBottom + e ||
      i->bboxTop > std::max(y1, y2)) {
    return false;
  }
  // Clipped at the box's left and right.
  float cx1 = x1, cy1 = y1, cx2 = x2, cy2 = y2;
  if (x2 != x1) {
    const float slope = (y2 - y1) / (x2 - x1);
    if (cx1 < i->bboxLeft) cy1 = y1 + (i->bboxLeft - x1) * slope, cx1 = i->bboxLeft;
    if (cx2 > i->bboxRight) cy2 = y1 + (i->bboxRight - x1) * slope, cx2 = i->bboxRight;
  }
  if (cy1 < i->bboxTop && cy2 < i->bboxTop) return false;
  if (cy1 >= i->bboxBottom + e && cy2 >= i->bboxBottom + e) return false;
  if (gone(i)) return false;
  const SpriteAsset* s = usable(i);
  if (s == nullptr) return false;
  if (s->rotatedMask && !line_crosses_quad(oriented_box(i, s), cx1, cy1, cx2, cy2)) return false;
  if (!precise || (i->flags & kInstPreciseMask) == 0) return true;
  return walk_line(i, s, cx1, cy1, cx2, cy2);
}

bool Instance_CollideEllipse(CInstance* i, float x1, float y1, float x2, float y2, bool precise) {
  const float l = std::min(x1, x2), r = std::max(x1, x2), t = std::min(y1, y2), b = std::max(y1, y2);
  Collision_RefreshBox(i);
  const float e = point_edge();
  if (l >= i->bboxRight + e || i->bboxLeft > r || t >= i->bboxBottom + e || i->bboxTop > b) return false;
  if (gone(i)) return false;
  if (std::round(l) == std::round(r) || std::round(t) == std::round(b)) {
    return Instance_CollideRectangle(i, l, t, r, b, precise);
  }
  const float mx = (l + r) * 0.5f, my = (t + b) * 0.5f;
  const bool spans = (mx >= i->bboxLeft && mx <= i->bboxRight) || (my >= i->bboxTop && my <= i->bboxBottom);
  if (!spans) {
    const double el = std::round(l), et = std::round(t), er = std::round(r), eb = std::round(b);
    const double cx = (el + er) * 0.5, cy = (et + eb) * 0.5, rx = (er - el) * 0.5, ry = (eb - et) * 0.5;
    const double xs[2] = {i->bboxLeft, i->bboxRight}, ys[2] = {i->bboxTop, i->bboxBottom};
    bool corner = false;
    for (double px : xs) {
      for (double py : ys) corner = corner || in_ellipse(px, py, cx, cy, rx, ry);
    }
    if (!corner) return false;
  }
  const SpriteAsset* s = usable(i);
  if (s == nullptr) return false;
  if (s->rotatedMask && !ellipse_touches_quad(oriented_box(i, s), l, t, r, b)) return false;
  if (!precise || (i->flags & kInstPreciseMask) == 0) return true;
  return walk_ellipse(i, s, l, t, r, b);
}

bool Instance_Collide(CInstance* a, CInstance* b, bool refreshBoxes) {
  if (a == b) return false;
  if (((a->flags | b->flags) & (kInstMarked | kInstDelayedDestroy)) != 0) return false;
  if (refreshBoxes) {
    Collision_RefreshBox(a);
    Collision_RefreshBox(b);
  }
  const float e = box_edge();
  if (b->bboxLeft >= a->bboxRight + e || a->bboxLeft >= b->bboxRight + e || b->bboxTop >= a->bboxBottom + e ||
      a->bboxTop >= b->bboxBottom + e) {
    return false;
  }
  const SpriteAsset* sa = usable(a);
  const SpriteAsset* sb = usable(b);
  if (sa == nullptr || sb == nullptr) return false;
  if ((sa->rotatedMask || sb->rotatedMask) && !quads_overlap(oriented_box(a, sa), oriented_box(b, sb))) return false;
  if (sa->useMask || sb->useMask) return masks_meet(a, sa, b, sb);
  if (Collision_CompatMode()) return true;
  return holds_pixel_centre(std::max(a->bboxLeft, b->bboxLeft), std::max(a->bboxTop, b->bboxTop),
                            std::min(a->bboxRight, b->bboxRight), std::min(a->bboxBottom, b->bboxBottom));
}

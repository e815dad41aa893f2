// Paths: the polyline of a path, positions along it, the editing operations, the path table's
// runtime slots, and instances following paths.
#include "world/path.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "world/asset_paths.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/motion.h"

namespace {

constexpr float kPi = 3.1415927f;
// Curve pieces shorter than 4 pixels (16 squared) are not subdivided further.
constexpr float kSubdivideMinSquared = 16.0f;

enum EndAction { kEndStop = 0, kEndRestart = 1, kEndContinue = 2, kEndReverse = 3 };

void add_internal(CPath* path, float x, float y, float speed) { path->internal.push_back({x, y, speed, 0.0f}); }

float squared(float ax, float ay, float bx, float by) { return (ax - bx) * (ax - bx) + (ay - by) * (ay - by); }

// The quadratic curve from a with control b to c: its middle point, with the halves before and
// after it subdivided while they are long enough and depth remains.
void subdivide(CPath* path, int32_t depth, CPathPoint a, CPathPoint b, CPathPoint c) {
  if (depth <= 0) return;
  const CPathPoint mid{(a.x + 2 * b.x + c.x) / 4, (a.y + 2 * b.y + c.y) / 4, (a.speed + 2 * b.speed + c.speed) / 4};
  if (squared(a.x, a.y, b.x, b.y) > kSubdivideMinSquared) {
    subdivide(path, depth - 1, a, CPathPoint{(a.x + b.x) / 2, (a.y + b.y) / 2, (a.speed + b.speed) / 2}, mid);
  }
  add_internal(path, mid.x, mid.y, mid.speed);
  if (squared(b.x, b.y, c.x, c.y) > kSubdivideMinSquared) {
    subdivide(path, depth - 1, mid, CPathPoint{(b.x + c.x) / 2, (b.y + c.y) / 2, (b.speed + c.speed) / 2}, c);
  }
}

CPathPoint middle(const CPathPoint& a, const CPathPoint& b) {
  return CPathPoint{(a.x + b.x) / 2, (a.y + b.y) / 2, (a.speed + b.speed) / 2};
}

void build_smooth(CPath* path) {
  const int32_t n = path->count();
  if (!path->closed) add_internal(path, path->points[0].x, path->points[0].y, path->points[0].speed);
  const int32_t pieces = path->closed ? n : n - 2;
  for (int32_t i = 0; i < pieces; ++i) {
    const CPathPoint& a = path->points[i % n];
    const CPathPoint& b = path->points[(i + 1) % n];
    const CPathPoint& c = path->points[(i + 2) % n];
    subdivide(path, path->precision, middle(a, b), b, middle(b, c));
  }
  if (!path->closed) {
    add_internal(path, path->points[n - 1].x, path->points[n - 1].y, path->points[n - 1].speed);
  } else if (!path->internal.empty()) {
    const CPathInternalPoint first = path->internal.front();
    add_internal(path, first.x, first.y, first.speed);
  }
}

// Moves every control point by fn(x, y) and rebuilds.
template <class Fn>
void transform(CPath* path, Fn fn) {
  for (CPathPoint& p : path->points) fn(&p.x, &p.y);
  Path_Build(path);
}

CPathInternalPoint first_point(const CPath* path) { return Path_PositionAt(path, 0.0f); }

float clamp_position(float t) {
  if (!(t > 0.0f)) return 0.0f;  // NaN too
  return t < 1.0f ? t : 1.0f;
}

}  // namespace

void Path_Build(CPath* path) {
  path->internal.clear();
  path->length = 0.0f;
  if (path->points.empty()) return;
  if (path->kind == kPathKindSmooth) {
    build_smooth(path);
  } else {
    for (const CPathPoint& p : path->points) add_internal(path, p.x, p.y, p.speed);
    if (path->closed) add_internal(path, path->points[0].x, path->points[0].y, path->points[0].speed);
  }
  float distance = 0.0f;
  for (size_t i = 1; i < path->internal.size(); ++i) {
    const CPathInternalPoint& a = path->internal[i - 1];
    CPathInternalPoint& b = path->internal[i];
    distance += std::sqrt(squared(a.x, a.y, b.x, b.y));
    b.distance = distance;
  }
  path->length = distance;
}

CPathInternalPoint Path_PositionAt(const CPath* path, float t) {
  if (path == nullptr || path->internal.empty()) return CPathInternalPoint{0, 0, 100, 0};
  const std::vector<CPathInternalPoint>& in = path->internal;
  if (in.size() == 1 || path->length == 0.0f) return in.front();
  t = clamp_position(t);
  if (t >= 1.0f) return in.back();
  const float d = t * path->length;
  size_t i = 0;
  while (i + 2 < in.size() && !(in[i + 1].distance > d)) ++i;
  const CPathInternalPoint& a = in[i];
  const CPathInternalPoint& b = in[i + 1];
  const float span = b.distance - a.distance;
  const float f = span > 0.0f ? (d - a.distance) / span : 0.0f;
  return CPathInternalPoint{a.x + (b.x - a.x) * f, a.y + (b.y - a.y) * f, a.speed + (b.speed - a.speed) * f, d};
}

void Path_Center(const CPath* path, float* x, float* y) {
  *x = 0.0f;
  *y = 0.0f;
  if (path->points.empty()) return;
  float left = path->points[0].x, right = left, top = path->points[0].y, bottom = top;
  for (const CPathPoint& p : path->points) {
    left = std::min(left, p.x);
    right = std::max(right, p.x);
    top = std::min(top, p.y);
    bottom = std::max(bottom, p.y);
  }
  *x = (left + right) / 2;
  *y = (top + bottom) / 2;
}

void Path_Reverse(CPath* path) {
  std::reverse(path->points.begin(), path->points.end());
  Path_Build(path);
}

void Path_Mirror(CPath* path) {
  float cx, cy;
  Path_Center(path, &cx, &cy);
  transform(path, [cx](float* x, float*) { *x = 2 * cx - *x; });
}

void Path_Flip(CPath* path) {
  float cx, cy;
  Path_Center(path, &cx, &cy);
  transform(path, [cy](float*, float* y) { *y = 2 * cy - *y; });
}

void Path_Rotate(CPath* path, float angle) {
  float cx, cy;
  Path_Center(path, &cx, &cy);
  const float a = angle * kPi / 180.0f;
  const float c = std::cos(a), s = std::sin(a);
  transform(path, [=](float* x, float* y) {
    const float dx = *x - cx, dy = *y - cy;
    *x = cx + dx * c + dy * s;
    *y = cy + dy * c - dx * s;
  });
}

void Path_Rescale(CPath* path, float xscale, float yscale) {
  float cx, cy;
  Path_Center(path, &cx, &cy);
  transform(path, [=](float* x, float* y) {
    *x = cx + (*x - cx) * xscale;
    *y = cy + (*y - cy) * yscale;
  });
}

void Path_Shift(CPath* path, float dx, float dy) {
  transform(path, [=](float* x, float* y) {
    *x += dx;
    *y += dy;
  });
}

CPath* Path_Find(int32_t index) { return Path_Get(index); }

int32_t Path_Add() {
  AssetTable<CPath>& table = Path_EditTable();
  int32_t slot = 0;
  while (slot < table.count() && table.get(slot) != nullptr) ++slot;
  const std::string name = "__newpath" + std::to_string(slot);
  auto path = std::make_unique<CPath>();
  if (slot < table.count()) {
    table.set(static_cast<uint32_t>(slot), std::move(path), name.c_str());
    return slot;
  }
  return table.add(std::move(path), name.c_str());
}

int32_t Path_Duplicate(int32_t source) {
  const CPath* from = Path_Find(source);
  if (from == nullptr) return -1;
  const CPath copy = *from;
  const int32_t index = Path_Add();
  *Path_Find(index) = copy;
  return index;
}

bool Path_Delete(int32_t index) {
  if (Path_Find(index) == nullptr) return false;
  Path_EditTable().remove(index);
  return true;
}

void Path_Start(CInstance* instance, int32_t path_index, float speed, int32_t endaction, bool absolute) {
  InstancePathState* state = InstancePath_Get(instance);
  const CPath* path = Path_Find(path_index);
  if (path == nullptr) {
    state->pathIndex = -1;
    return;
  }
  state->pathIndex = path_index;
  state->pathSpeed = speed;
  state->pathPosition = speed >= 0.0f ? 0.0f : 1.0f;
  state->pathPositionPrevious = state->pathPosition;
  state->pathScale = 1.0f;
  state->pathOrientation = 0.0f;
  state->pathEndAction = endaction;
  if (absolute) {
    const CPathInternalPoint first = first_point(path);
    const CPathInternalPoint at = Path_PositionAt(path, state->pathPosition);
    state->pathOffsetX = first.x;
    state->pathOffsetY = first.y;
    Instance_SetPosition(instance, at.x, at.y);
  } else {
    state->pathOffsetX = instance->x;
    state->pathOffsetY = instance->y;
  }
}

void Path_End(CInstance* instance) {
  if (instance->pathState != nullptr) instance->pathState->pathIndex = -1;
}

bool Path_Step(CInstance* instance) {
  InstancePathState* state = instance->pathState;
  if (state == nullptr) return false;
  const CPath* path = Path_Find(state->pathIndex);
  if (path == nullptr || path->length <= 0.0f || path->internal.size() < 2) return false;
  const float a = state->pathOrientation * kPi / 180.0f;
  const float ca = std::cos(a), sa = std::sin(a);

  const float s = Path_PositionAt(path, state->pathPosition).speed;
  state->pathPosition = clamp_position(state->pathPosition +
                                       ((s / (state->pathScale * 100.0f)) * state->pathSpeed) / path->length);

  const CPathInternalPoint first = first_point(path);
  const bool far_end = state->pathPosition >= 1.0f && state->pathSpeed > 0.0f;
  const bool near_end = state->pathPosition <= 0.0f && state->pathSpeed < 0.0f;
  const bool ended = far_end || near_end;
  if (ended) {
    const float sign = far_end ? 1.0f : -1.0f;
    switch (state->pathEndAction) {
      case kEndStop: state->pathIndex = -1; break;
      case kEndRestart: state->pathPosition -= sign; break;
      case kEndContinue: {
        const CPathInternalPoint last = path->internal.back();
        const float dx = last.x - first.x, dy = last.y - first.y;
        state->pathOffsetX += sign * (dx * ca + dy * sa) * state->pathScale;
        state->pathOffsetY += sign * (dy * ca - dx * sa) * state->pathScale;
        state->pathPosition -= sign;
        break;
      }
      case kEndReverse:
        if (far_end) {
          state->pathPosition = 2.0f - state->pathPosition;
          state->pathSpeed = -std::fabs(state->pathSpeed);
        } else {
          state->pathPosition = -state->pathPosition;
          state->pathSpeed = std::fabs(state->pathSpeed);
        }
        break;
      default:
        state->pathPosition = 1.0f;
        state->pathIndex = -1;
        break;
    }
  }

  const CPathInternalPoint p = Path_PositionAt(path, state->pathPosition);
  const float dx = p.x - first.x, dy = p.y - first.y;
  const float x = (dx * ca + dy * sa) * state->pathScale + state->pathOffsetX;
  const float y = (dy * ca - dx * sa) * state->pathScale + state->pathOffsetY;
  // The direction follows the path while the instance's own speed stays 0.
  Motion_SetHSpeed(instance, x - instance->x);
  Motion_SetVSpeed(instance, y - instance->y);
  if (instance->speed != 0.0f) Motion_SetSpeed(instance, 0.0f);
  Instance_SetPosition(instance, x, y);
  return ended;
}

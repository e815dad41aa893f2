#pragma once
// Paths: the control points of a path asset and the polyline built from them, which every position
// on the path comes from. A straight path is its points in order; a smooth one is subdivided
// quadratic curves between the middles of its edges. A closed path comes back to its start. The
// polyline is rebuilt by Path_Build after every change; positions along it are by distance, so a
// position t in 0..1 is t x length from the start.
//
// Paths live in the asset table (asset_paths.h), those of the data file and those made while the
// game runs alike; an index that names no path is treated as no path everywhere.
#include <cstdint>
#include <string>
#include <vector>

class CInstance;

struct CPathPoint {
  float x = 0, y = 0, speed = 100;  // speed: a percentage of the path speed
};

struct CPathInternalPoint {
  float x = 0, y = 0, speed = 100;
  float distance = 0;  // length of the polyline from the start to here
};

constexpr int32_t kPathKindSmooth = 1;
constexpr int32_t kPathDefaultPrecision = 4;

struct CPath {
  std::vector<CPathPoint> points;
  int32_t kind = 0;  // 1 smooth, else straight
  bool closed = true;
  int32_t precision = kPathDefaultPrecision;
  std::vector<CPathInternalPoint> internal;
  float length = 0;

  int32_t count() const { return static_cast<int32_t>(points.size()); }
};

// Rebuilds the polyline and the length from the control points.
void Path_Build(CPath* path);
// The point at t (clamped to 0..1) along the polyline: (0, 0, speed 100) with no points, the only
// point for one point or a zero length.
CPathInternalPoint Path_PositionAt(const CPath* path, float t);
// The middle of the box around the control points, (0, 0) for none.
void Path_Center(const CPath* path, float* x, float* y);

// ---- Editing (each ends with Path_Build) -----------------------------------------------------------
void Path_Reverse(CPath* path);
void Path_Mirror(CPath* path);  // left and right swapped about the middle
void Path_Flip(CPath* path);    // top and bottom swapped about the middle
// Turns the points about the middle by angle degrees, counterclockwise on the screen.
void Path_Rotate(CPath* path, float angle);
void Path_Rescale(CPath* path, float xscale, float yscale);
void Path_Shift(CPath* path, float dx, float dy);

// ---- The table --------------------------------------------------------------------------------------
CPath* Path_Find(int32_t index);  // null for an index that names no path
// A new empty path (straight, closed, precision 4) in the lowest free slot, named "__newpath<n>".
int32_t Path_Add();
// A copy of an existing path in a new slot; -1 if source names none.
int32_t Path_Duplicate(int32_t source);
bool Path_Delete(int32_t index);

// ---- Instances on paths -----------------------------------------------------------------------------
// path_start: an unknown path ends the instance's path. absolute puts the instance on the path's
// point at the start position; otherwise the path is laid out from where the instance stands.
void Path_Start(CInstance* instance, int32_t path, float speed, int32_t endaction, bool absolute);
void Path_End(CInstance* instance);
// The path step of the motion walk: advance, the end action, the new position. True when the end
// of the path was reached this step (End Of Path then follows).
bool Path_Step(CInstance* instance);

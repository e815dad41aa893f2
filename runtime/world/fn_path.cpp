// The path builtins: queries and edits of path assets. An index that names no path gives the
// neutral result (false, "<undefined>", -1) and changes nothing; a point index outside the path
// reads 0 and is ignored by the edits.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "graphics/draw.h"
#include "world/asset_paths.h"
#include "world/motion.h"
#include "world/path.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

constexpr int32_t kMinPrecision = 1;
constexpr int32_t kMaxPrecision = 8;

#define FN_PATH(name)                                                                                             \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

CPath* path_arg(RValue* argv, int n = 0) { return Path_Find(KVGetInt32(argv, n)); }
float F(RValue* argv, int n) { return KVGetFloat(argv, n); }

// The point a builtin names, null outside the path.
const CPathPoint* point_arg(const CPath* path, RValue* argv, int n) {
  const int32_t index = KVGetInt32(argv, n);
  return index >= 0 && index < path->count() ? &path->points[static_cast<size_t>(index)] : nullptr;
}

// A query of a path: value(path), or -1 without one.
template <double (*Value)(const CPath*)>
FN_PATH(F_PathQuery) {
  const CPath* path = path_arg(argv);
  set_result(result, RV_Real(path != nullptr ? Value(path) : -1.0));
}
double length_of(const CPath* p) { return p->length; }
double kind_of(const CPath* p) { return p->kind; }
double precision_of(const CPath* p) { return p->precision; }
double number_of(const CPath* p) { return p->count(); }

// A control point's field: -1 without the path, 0 outside it.
template <float CPathPoint::*Field>
FN_PATH(F_PathPointField) {
  const CPath* path = path_arg(argv);
  if (path == nullptr) {
    set_result(result, RV_Real(-1.0));
    return;
  }
  const CPathPoint* point = point_arg(path, argv, 1);
  set_result(result, RV_Real(point != nullptr ? point->*Field : 0.0));
}

// A field of the position at t along the path.
template <float CPathInternalPoint::*Field>
FN_PATH(F_PathPositionField) {
  const CPath* path = path_arg(argv);
  set_result(result, RV_Real(path != nullptr ? Path_PositionAt(path, F(argv, 1)).*Field : -1.0));
}

FN_PATH(F_PathExists) { set_result(result, RV_Bool(path_arg(argv) != nullptr)); }

FN_PATH(F_PathGetName) {
  const char* name = Path_Table().name(KVGetInt32(argv, 0));
  RValue text = RV_Undefined();
  RV_SetString(&text, name != nullptr ? name : "<undefined>");
  set_result(result, text);
}

FN_PATH(F_PathGetClosed) {
  const CPath* path = path_arg(argv);
  set_result(result, RV_Bool(path != nullptr && path->closed));
}

// An edit of one path: edit(path, argv), then the polyline is rebuilt.
template <void (*Edit)(CPath*, RValue*)>
FN_PATH(F_PathEdit) {
  set_result(result, RV_Undefined());
  CPath* path = path_arg(argv);
  if (path == nullptr) return;
  Edit(path, argv);
  Path_Build(path);
}

void set_kind(CPath* p, RValue* argv) { p->kind = KVGetInt32(argv, 1); }
void set_closed(CPath* p, RValue* argv) { p->closed = KVGetBool(argv, 1); }
void set_precision(CPath* p, RValue* argv) {
  p->precision = std::clamp(KVGetInt32(argv, 1), kMinPrecision, kMaxPrecision);
}
void add_point(CPath* p, RValue* argv) { p->points.push_back(CPathPoint{F(argv, 1), F(argv, 2), F(argv, 3)}); }
void insert_point(CPath* p, RValue* argv) {
  const int32_t at = std::clamp(KVGetInt32(argv, 1), 0, p->count());
  p->points.insert(p->points.begin() + at, CPathPoint{F(argv, 2), F(argv, 3), F(argv, 4)});
}
void change_point(CPath* p, RValue* argv) {
  const int32_t at = KVGetInt32(argv, 1);
  if (at >= 0 && at < p->count()) p->points[static_cast<size_t>(at)] = CPathPoint{F(argv, 2), F(argv, 3), F(argv, 4)};
}
void delete_point(CPath* p, RValue* argv) {
  const int32_t at = KVGetInt32(argv, 1);
  if (at >= 0 && at < p->count()) p->points.erase(p->points.begin() + at);
}
void clear_points(CPath* p, RValue*) { p->points.clear(); }
void reverse(CPath* p, RValue*) { Path_Reverse(p); }
void mirror(CPath* p, RValue*) { Path_Mirror(p); }
void flip(CPath* p, RValue*) { Path_Flip(p); }
void rotate(CPath* p, RValue* argv) { Path_Rotate(p, F(argv, 1)); }
void rescale(CPath* p, RValue* argv) { Path_Rescale(p, F(argv, 1), F(argv, 2)); }
void shift(CPath* p, RValue* argv) { Path_Shift(p, F(argv, 1), F(argv, 2)); }

FN_PATH(F_PathAdd) { set_result(result, RV_Real(Path_Add())); }

FN_PATH(F_PathDuplicate) { set_result(result, RV_Real(Path_Duplicate(KVGetInt32(argv, 0)))); }

// path_assign(target, source): the target takes the source's points and settings, keeping its name.
FN_PATH(F_PathAssign) {
  set_result(result, RV_Undefined());
  CPath* target = path_arg(argv, 0);
  const CPath* source = path_arg(argv, 1);
  if (target == nullptr || source == nullptr || target == source) return;
  *target = *source;
}

// path_append(target, source): the source's points added after the target's.
FN_PATH(F_PathAppend) {
  set_result(result, RV_Undefined());
  CPath* target = path_arg(argv, 0);
  const CPath* source = path_arg(argv, 1);
  if (target == nullptr || source == nullptr) return;
  const std::vector<CPathPoint> points = source->points;
  target->points.insert(target->points.end(), points.begin(), points.end());
  Path_Build(target);
}

FN_PATH(F_PathDelete) {
  set_result(result, RV_Undefined());
  Path_Delete(KVGetInt32(argv, 0));
}

// draw_path draws the polyline, which already comes back to the start of a closed path.
bool path_points(int32_t index, std::vector<float>* xy, bool* closed) {
  const CPath* path = Path_Find(index);
  if (path == nullptr) return false;
  xy->clear();
  for (const CPathInternalPoint& p : path->internal) {
    xy->push_back(p.x);
    xy->push_back(p.y);
  }
  *closed = false;
  return true;
}

#undef FN_PATH

}  // namespace

void Path_InstallDrawHook() { Draw_SetPathPointsHook(path_points); }

void Path_RegisterBuiltins() {
  Path_InstallDrawHook();
  Function_Add("path_exists", with_args<F_PathExists, 1>, 1, 0);
  Function_Add("path_get_name", with_args<F_PathGetName, 1>, 1, 0);
  Function_Add("path_get_length", with_args<F_PathQuery<length_of>, 1>, 1, 0);
  Function_Add("path_get_kind", with_args<F_PathQuery<kind_of>, 1>, 1, 0);
  Function_Add("path_get_closed", with_args<F_PathGetClosed, 1>, 1, 0);
  Function_Add("path_get_precision", with_args<F_PathQuery<precision_of>, 1>, 1, 0);
  Function_Add("path_get_number", with_args<F_PathQuery<number_of>, 1>, 1, 0);
  Function_Add("path_get_point_x", with_args<F_PathPointField<&CPathPoint::x>, 2>, 2, 0);
  Function_Add("path_get_point_y", with_args<F_PathPointField<&CPathPoint::y>, 2>, 2, 0);
  Function_Add("path_get_point_speed", with_args<F_PathPointField<&CPathPoint::speed>, 2>, 2, 0);
  Function_Add("path_get_x", with_args<F_PathPositionField<&CPathInternalPoint::x>, 2>, 2, 0);
  Function_Add("path_get_y", with_args<F_PathPositionField<&CPathInternalPoint::y>, 2>, 2, 0);
  Function_Add("path_get_speed", with_args<F_PathPositionField<&CPathInternalPoint::speed>, 2>, 2, 0);
  Function_Add("path_set_kind", with_args<F_PathEdit<set_kind>, 2>, 2, 0);
  Function_Add("path_set_closed", with_args<F_PathEdit<set_closed>, 2>, 2, 0);
  Function_Add("path_set_precision", with_args<F_PathEdit<set_precision>, 2>, 2, 0);
  Function_Add("path_add", F_PathAdd, 0, 0);
  Function_Add("path_duplicate", with_args<F_PathDuplicate, 1>, 1, 0);
  Function_Add("path_assign", with_args<F_PathAssign, 2>, 2, 0);
  Function_Add("path_append", with_args<F_PathAppend, 2>, 2, 0);
  Function_Add("path_delete", with_args<F_PathDelete, 1>, 1, 0);
  Function_Add("path_add_point", with_args<F_PathEdit<add_point>, 4>, 4, 0);
  Function_Add("path_insert_point", with_args<F_PathEdit<insert_point>, 5>, 5, 0);
  Function_Add("path_change_point", with_args<F_PathEdit<change_point>, 5>, 5, 0);
  Function_Add("path_delete_point", with_args<F_PathEdit<delete_point>, 2>, 2, 0);
  Function_Add("path_clear_points", with_args<F_PathEdit<clear_points>, 1>, 1, 0);
  Function_Add("path_reverse", with_args<F_PathEdit<reverse>, 1>, 1, 0);
  Function_Add("path_mirror", with_args<F_PathEdit<mirror>, 1>, 1, 0);
  Function_Add("path_flip", with_args<F_PathEdit<flip>, 1>, 1, 0);
  Function_Add("path_rotate", with_args<F_PathEdit<rotate>, 2>, 2, 0);
  Function_Add("path_rescale", with_args<F_PathEdit<rescale>, 3>, 3, 0);
  Function_Add("path_shift", with_args<F_PathEdit<shift>, 3>, 3, 0);
}

// The collision builtins: place_*, position_*, instance_place*, instance_position* and collision_*.
#include <algorithm>
#include <cmath>
#include <vector>

#include "core/call.h"
#include "core/function_table.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "world/collision.h"
#include "world/instance.h"

namespace {

constexpr double kNoone = -4.0;
constexpr int32_t kDsTypeList = 2;

bool is_instance(CInstance* i) { return i != nullptr && KV_AsObject(i)->kind == kObjInstance; }

// The target of a query: self and other become their ids; noone (-4) stays and finds nothing.
int32_t target_arg(CInstance* self, CInstance* other, RValue* argv, int n) {
  const int32_t target = Instance_SetNumber(argv[n]);
  if (target == -1) return is_instance(self) ? self->id : -4;
  if (target == -2) return is_instance(other) ? other->id : -4;
  return target;
}

RValue ref_or_noone(CInstance* instance) { return instance != nullptr ? Instance_Ref(instance->id) : RV_Real(kNoone); }

// Appends what was found to the caller's ds list as references, nearest to (x, y) first when
// ordered; the count found. An invalid list takes nothing and raises nothing.
double to_list(std::vector<CInstance*>* found, RValue* argv, int list_arg, int ordered_arg, float x, float y) {
  const double list = KVGetReal(argv, list_arg);
  RValue exists = CallBuiltinNamed("ds_exists", {RV_Real(list), RV_Real(kDsTypeList)});
  if (!RV_ToBool(exists)) return 0;
  if (KVGetBool(argv, ordered_arg)) {
    auto distance = [x, y](const CInstance* i) {
      const double dx = i->x - x, dy = i->y - y;
      return dx * dx + dy * dy;
    };
    std::stable_sort(found->begin(), found->end(),
                     [&](const CInstance* a, const CInstance* b) { return distance(a) < distance(b); });
  }
  for (CInstance* i : *found) {
    RValue result = CallBuiltinNamed("ds_list_add", {RV_Real(list), Instance_Ref(i->id)});
    RV_FreeToUndefined(&result);
  }
  return static_cast<double>(found->size());
}

// ---- place_* and instance_place* ----------------------------------------------------------------

void F_PlaceFree(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  *result = RV_Bool(Command_IsFree(self, KVGetFloat(argv, 0), KVGetFloat(argv, 1)));
}

void F_PlaceEmpty(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  const int32_t target = argc > 2 ? target_arg(self, other, argv, 2) : -3;
  *result = RV_Bool(Command_IsEmpty(self, KVGetFloat(argv, 0), KVGetFloat(argv, 1), target));
}

void F_PlaceMeeting(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  const int32_t target = target_arg(self, other, argv, 2);
  *result = RV_Bool(Command_InstancePlace(self, KVGetFloat(argv, 0), KVGetFloat(argv, 1), target, nullptr) != nullptr);
}

bool on_grid(double value, double snap) {
  if (snap <= 0) return true;
  return std::fabs(value - std::round(value / snap) * snap) < 0.001;
}

void F_PlaceSnapped(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  if (!is_instance(self)) {
    *result = RV_Bool(false);
    return;
  }
  *result = RV_Bool(on_grid(self->x, KVGetReal(argv, 0)) && on_grid(self->y, KVGetReal(argv, 1)));
}

void F_InstancePlace(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  const int32_t target = target_arg(self, other, argv, 2);
  *result = ref_or_noone(Command_InstancePlace(self, KVGetFloat(argv, 0), KVGetFloat(argv, 1), target, nullptr));
}

void F_InstancePlaceList(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  const float x = KVGetFloat(argv, 0), y = KVGetFloat(argv, 1);
  std::vector<CInstance*> found;
  Command_InstancePlace(self, x, y, target_arg(self, other, argv, 2), &found);
  *result = RV_Real(to_list(&found, argv, 3, 4, x, y));
}

// ---- Shapes -------------------------------------------------------------------------------------

struct ShapeArgs {
  CollisionShape shape;
  int coords;  // arguments before the target
};

CInstance* shape_query(const ShapeArgs& s, CInstance* self, CInstance* other, RValue* argv,
                       std::vector<CInstance*>* list) {
  float c[4] = {0, 0, 0, 0};
  for (int i = 0; i < s.coords; ++i) c[i] = KVGetFloat(argv, i);
  if (s.coords == 3) {  // a circle: the ellipse around it
    const float r = c[2];
    c[2] = c[0] + r, c[3] = c[1] + r, c[0] -= r, c[1] -= r;
  }
  const int32_t target = target_arg(self, other, argv, s.coords);
  const bool precise = KVGetBool(argv, s.coords + 1);
  const bool notme = KVGetBool(argv, s.coords + 2);
  return Collision_Shape(self, other, s.shape, c[0], c[1], c[2], c[3], target, precise, notme, list);
}

template <CollisionShape Shape, int Coords>
void F_CollisionShape(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = ref_or_noone(shape_query({Shape, Coords}, self, other, argv, nullptr));
}

template <CollisionShape Shape, int Coords>
void F_CollisionShapeList(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  std::vector<CInstance*> found;
  shape_query({Shape, Coords}, self, other, argv, &found);
  // Ordered by distance from the query's first point (a circle's centre).
  const float x = KVGetFloat(argv, 0), y = KVGetFloat(argv, 1);
  *result = RV_Real(to_list(&found, argv, Coords + 3, Coords + 4, x, y));
}

// ---- position_* and instance_position* ----------------------------------------------------------

CInstance* at_point(CInstance* self, CInstance* other, float x, float y, int32_t target, std::vector<CInstance*>* list) {
  return Collision_Shape(self, other, CollisionShape::kPoint, x, y, x, y, target, true, false, list);
}

void F_InstancePosition(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  const int32_t target = target_arg(self, other, argv, 2);
  *result = ref_or_noone(at_point(self, other, KVGetFloat(argv, 0), KVGetFloat(argv, 1), target, nullptr));
}

void F_InstancePositionList(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  const float x = KVGetFloat(argv, 0), y = KVGetFloat(argv, 1);
  std::vector<CInstance*> found;
  at_point(self, other, x, y, target_arg(self, other, argv, 2), &found);
  *result = RV_Real(to_list(&found, argv, 3, 4, x, y));
}

void F_PositionEmpty(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  *result = RV_Bool(at_point(self, other, KVGetFloat(argv, 0), KVGetFloat(argv, 1), -3, nullptr) == nullptr);
}

void F_PositionMeeting(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  const int32_t target = target_arg(self, other, argv, 2);
  *result = RV_Bool(at_point(self, other, KVGetFloat(argv, 0), KVGetFloat(argv, 1), target, nullptr) != nullptr);
}

void F_PositionDestroy(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  std::vector<CInstance*> found;
  at_point(self, other, KVGetFloat(argv, 0), KVGetFloat(argv, 1), -3, &found);
  for (CInstance* i : found) Instance_Destroy(i, true);
  *result = RV_Undefined();
}

void F_PositionChange(RValue* result, CInstance* self, CInstance* other, int, RValue* argv) {
  std::vector<CInstance*> found;
  at_point(self, other, KVGetFloat(argv, 0), KVGetFloat(argv, 1), -3, &found);
  const int32_t object = KVGetInt32(argv, 2);
  const bool perform = KVGetBool(argv, 3);
  for (CInstance* i : found) Instance_ChangeObject(i, object, perform);
  *result = RV_Undefined();
}

}  // namespace

void Collision_RegisterBuiltins() {
  using S = CollisionShape;
  Function_Add("place_free", F_PlaceFree, 2, 0);
  Function_Add("place_empty", F_PlaceEmpty, -1, 0);
  Function_Add("place_meeting", F_PlaceMeeting, 3, 0);
  Function_Add("place_snapped", F_PlaceSnapped, 2, 0);
  Function_Add("instance_place", F_InstancePlace, 3, 0);
  Function_Add("instance_place_list", F_InstancePlaceList, 5, 0);
  Function_Add("instance_position", F_InstancePosition, 3, 0);
  Function_Add("instance_position_list", F_InstancePositionList, 5, 0);
  Function_Add("position_empty", F_PositionEmpty, 2, 0);
  Function_Add("position_meeting", F_PositionMeeting, 3, 0);
  Function_Add("position_destroy", F_PositionDestroy, 2, 0);
  Function_Add("position_change", F_PositionChange, 4, 0);
  Function_Add("collision_point", F_CollisionShape<S::kPoint, 2>, 5, 0);
  Function_Add("collision_rectangle", F_CollisionShape<S::kRectangle, 4>, 7, 0);
  Function_Add("collision_circle", F_CollisionShape<S::kEllipse, 3>, 6, 0);
  Function_Add("collision_ellipse", F_CollisionShape<S::kEllipse, 4>, 7, 0);
  Function_Add("collision_line", F_CollisionShape<S::kLine, 4>, 7, 0);
  Function_Add("collision_point_list", F_CollisionShapeList<S::kPoint, 2>, 7, 0);
  Function_Add("collision_rectangle_list", F_CollisionShapeList<S::kRectangle, 4>, 9, 0);
  Function_Add("collision_circle_list", F_CollisionShapeList<S::kEllipse, 3>, 8, 0);
  Function_Add("collision_ellipse_list", F_CollisionShapeList<S::kEllipse, 4>, 9, 0);
  Function_Add("collision_line_list", F_CollisionShapeList<S::kLine, 4>, 9, 0);
}

// The motion builtins: motion_*, move_*, distance_* and path_start/path_end. Motion needs an
// instance self; for a struct self the vector builtins do nothing, and the moves that test places
// raise "current self is not an instance" as the place tests do.
#include <cstdint>

#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/object.h"
#include "world/instance.h"
#include "world/motion.h"
#include "world/path.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

#define FN_MOTION(name)                                                                                           \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

bool is_instance(CInstance* self) { return self != nullptr && KV_AsObject(self)->kind == kObjInstance; }

float F(RValue* argv, int n) { return KVGetFloat(argv, n); }

FN_MOTION(F_MotionSet) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Motion_Set(self, F(argv, 0), F(argv, 1));
}

FN_MOTION(F_MotionAdd) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Motion_Add(self, F(argv, 0), F(argv, 1));
}

FN_MOTION(F_MoveTowardsPoint) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Motion_TowardsPoint(self, F(argv, 0), F(argv, 1), F(argv, 2));
}

FN_MOTION(F_MoveSnap) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Motion_Snap(self, F(argv, 0), F(argv, 1));
}

FN_MOTION(F_MoveWrap) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Motion_Wrap(self, KVGetBool(argv, 0), KVGetBool(argv, 1), F(argv, 2));
}

FN_MOTION(F_MoveRandom) {
  set_result(result, RV_Undefined());
  Motion_Random(self, F(argv, 0), F(argv, 1));
}

template <MotionBlockers B>
FN_MOTION(F_MoveContact) {
  set_result(result, RV_Undefined());
  Motion_MoveContact(self, F(argv, 0), F(argv, 1), B);
}

template <MotionBlockers B>
FN_MOTION(F_MoveOutside) {
  set_result(result, RV_Undefined());
  Motion_MoveOutside(self, F(argv, 0), F(argv, 1), B);
}

template <MotionBlockers B>
FN_MOTION(F_MoveBounce) {
  set_result(result, RV_Undefined());
  Motion_Bounce(self, KVGetBool(argv, 0), B);
}

FN_MOTION(F_DistanceToPoint) {
  set_result(result, RV_Real(is_instance(self) ? Motion_DistanceToPoint(self, F(argv, 0), F(argv, 1)) : 0.0));
}

FN_MOTION(F_DistanceToObject) {
  const int32_t target = Instance_SetNumber(argv[0]);
  set_result(result, RV_Real(is_instance(self) ? Motion_DistanceToObject(self, other, target) : kMotionNoDistance));
}

FN_MOTION(F_PathStart) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Path_Start(self, KVGetInt32(argv, 0), F(argv, 1), KVGetInt32(argv, 2), KVGetBool(argv, 3));
}

FN_MOTION(F_PathEnd) {
  set_result(result, RV_Undefined());
  if (is_instance(self)) Path_End(self);
}

#undef FN_MOTION

}  // namespace

void Motion_RegisterBuiltins() {
  using B = MotionBlockers;
  Function_Add("motion_set", with_args<F_MotionSet, 2>, 2, 0);
  Function_Add("motion_add", with_args<F_MotionAdd, 2>, 2, 0);
  Function_Add("move_towards_point", with_args<F_MoveTowardsPoint, 3>, 3, 0);
  Function_Add("move_snap", with_args<F_MoveSnap, 2>, 2, 0);
  Function_Add("move_wrap", with_args<F_MoveWrap, 3>, 3, 0);
  Function_Add("move_random", with_args<F_MoveRandom, 2>, 2, 0);
  Function_Add("move_contact_solid", with_args<F_MoveContact<B::kSolid>, 2>, 2, 0);
  Function_Add("move_contact_all", with_args<F_MoveContact<B::kAll>, 2>, 2, 0);
  Function_Add("move_outside_solid", with_args<F_MoveOutside<B::kSolid>, 2>, 2, 0);
  Function_Add("move_outside_all", with_args<F_MoveOutside<B::kAll>, 2>, 2, 0);
  Function_Add("move_bounce_solid", with_args<F_MoveBounce<B::kSolid>, 1>, 1, 0);
  Function_Add("move_bounce_all", with_args<F_MoveBounce<B::kAll>, 1>, 1, 0);
  Function_Add("distance_to_point", with_args<F_DistanceToPoint, 2>, 2, 0);
  Function_Add("distance_to_object", with_args<F_DistanceToObject, 1>, 1, 0);
  Function_Add("path_start", with_args<F_PathStart, 4>, 4, 0);
  Function_Add("path_end", F_PathEnd, 0, 0);
}

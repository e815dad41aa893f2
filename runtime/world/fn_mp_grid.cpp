// The motion planning builtins: mp_grid_* over the grid table, mp_linear_* and mp_potential_*.
// An unknown grid or path gives false (-1 for a cell) and changes nothing; the steering builtins
// test places as the place builtins do, so a struct self raises "current self is not an instance".
#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/call.h"
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "world/instance.h"
#include "world/motion.h"
#include "world/mp_grid.h"
#include "world/path.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

constexpr double kDsTypeGrid = 5;

#define FN_MP(name)                                                                                               \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

float F(RValue* argv, int n) { return KVGetFloat(argv, n); }
MotionGrid* grid_arg(RValue* argv) { return MotionGrid_Find(KVGetInt32(argv, 0)); }

double builtin_real(const char* name, std::vector<RValue> args) {
  RValue result = CallBuiltinNamed(name, std::move(args));
  const double value = RV_ToDouble(result);
  RV_FreeToUndefined(&result);
  return value;
}

// Obstacles named by a builtin: checkall (solids or everything), or an object or instance.
MotionObstacles checkall_arg(RValue* argv, int n) {
  return KVGetBool(argv, n) ? MotionObstacles{MotionObstacles::kTarget, -3} : MotionObstacles{};
}
MotionObstacles object_arg(CInstance* self, CInstance* other, RValue* argv, int n) {
  int32_t target = Instance_SetNumber(argv[n]);
  if (target == -1 && self != nullptr) target = self->id;
  if (target == -2) target = other != nullptr ? other->id : -4;
  return MotionObstacles{MotionObstacles::kTarget, target};
}

FN_MP(F_GridCreate) {
  set_result(result, RV_Real(MotionGrid_Create(KVGetInt32(argv, 0), KVGetInt32(argv, 1), KVGetInt32(argv, 2),
                                               KVGetInt32(argv, 3), KVGetInt32(argv, 4), KVGetInt32(argv, 5))));
}

FN_MP(F_GridDestroy) {
  set_result(result, RV_Undefined());
  MotionGrid_Destroy(KVGetInt32(argv, 0));
}

FN_MP(F_GridClearAll) {
  set_result(result, RV_Undefined());
  if (MotionGrid* grid = grid_arg(argv)) std::fill(grid->cells.begin(), grid->cells.end(), 0);
}

template <int32_t Value>
FN_MP(F_GridSetCell) {
  MotionGrid* grid = grid_arg(argv);
  const int32_t c = KVGetInt32(argv, 1), r = KVGetInt32(argv, 2);
  const bool inside = grid != nullptr && grid->inside(c, r);
  if (inside) grid->at(c, r) = Value;
  set_result(result, RV_Bool(inside));
}

FN_MP(F_GridGetCell) {
  const MotionGrid* grid = grid_arg(argv);
  const int32_t c = KVGetInt32(argv, 1), r = KVGetInt32(argv, 2);
  set_result(result, RV_Real(grid != nullptr && grid->inside(c, r) ? grid->at(c, r) : kMotionGridBlocked));
}

template <int32_t Value>
FN_MP(F_GridFillRectangle) {
  set_result(result, RV_Undefined());
  if (MotionGrid* grid = grid_arg(argv)) MotionGrid_FillRectangle(grid, F(argv, 1), F(argv, 2), F(argv, 3), F(argv, 4), Value);
}

FN_MP(F_GridAddInstances) {
  set_result(result, RV_Undefined());
  if (MotionGrid* grid = grid_arg(argv)) {
    MotionGrid_AddInstances(grid, self, other, Instance_SetNumber(argv[1]), KVGetBool(argv, 2));
  }
}

FN_MP(F_GridPath) {
  const MotionGrid* grid = grid_arg(argv);
  CPath* path = Path_Find(KVGetInt32(argv, 1));
  const bool found = grid != nullptr && path != nullptr &&
                     MotionGrid_Path(*grid, path, F(argv, 2), F(argv, 3), F(argv, 4), F(argv, 5), KVGetBool(argv, 6));
  set_result(result, RV_Bool(found));
}

FN_MP(F_GridDraw) {
  set_result(result, RV_Undefined());
  if (const MotionGrid* grid = grid_arg(argv)) MotionGrid_Draw(*grid);
}

// mp_grid_to_ds_grid(source, destination): the row declares one argument, but the copy needs the
// data structure grid it fills as the second; a call without one names no destination.
FN_MP(F_GridToDsGrid) {
  set_result(result, RV_Bool(false));
  const MotionGrid* grid = grid_arg(argv);
  const double target = argc >= 2 ? KVGetReal(argv, 1) : -1.0;
  RValue exists = argc >= 2 ? CallBuiltinNamed("ds_exists", {RV_Real(target), RV_Real(kDsTypeGrid)}) : RV_Bool(false);
  const bool target_exists = RV_ToBool(exists);
  RV_FreeToUndefined(&exists);
  if (grid == nullptr || !target_exists) {
    KVError("Invalid source or destination grid");
    return;
  }
  if (builtin_real("ds_grid_width", {RV_Real(target)}) != grid->hcells ||
      builtin_real("ds_grid_height", {RV_Real(target)}) != grid->vcells) {
    KVError("Error, grid sizes do not match (mp_grid_to_ds_grid) ");
    return;
  }
  for (int32_t c = 0; c < grid->hcells; ++c) {
    for (int32_t r = 0; r < grid->vcells; ++r) {
      RValue done = CallBuiltinNamed("ds_grid_set", {RV_Real(target), RV_Real(c), RV_Real(r), RV_Real(grid->at(c, r))});
      RV_FreeToUndefined(&done);
    }
  }
  set_result(result, RV_Bool(true));
}

// One step towards (x, y) by a planner (linear or potential), past solids or past the named object.
using PlanStep = bool (*)(CInstance*, float, float, float, MotionObstacles);
template <PlanStep Step, bool Object>
FN_MP(F_PlanStep) {
  const MotionObstacles o = Object ? object_arg(self, other, argv, 3) : checkall_arg(argv, 3);
  set_result(result, RV_Bool(Step(self, F(argv, 0), F(argv, 1), F(argv, 2), o)));
}

template <bool Object>
FN_MP(F_LinearPath) {
  CPath* path = Path_Find(KVGetInt32(argv, 0));
  const MotionObstacles o = Object ? object_arg(self, other, argv, 4) : checkall_arg(argv, 4);
  set_result(result, RV_Bool(path != nullptr && MotionPlan_LinearPath(self, path, F(argv, 1), F(argv, 2), F(argv, 3), o)));
}

FN_MP(F_PotentialSettings) {
  set_result(result, RV_Undefined());
  MotionPlan_SetPotential(PotentialSettings{F(argv, 0), F(argv, 1), F(argv, 2), KVGetBool(argv, 3)});
}

template <bool Object>
FN_MP(F_PotentialPath) {
  CPath* path = Path_Find(KVGetInt32(argv, 0));
  const MotionObstacles o = Object ? object_arg(self, other, argv, 5) : checkall_arg(argv, 5);
  set_result(result, RV_Bool(path != nullptr && MotionPlan_PotentialPath(self, path, F(argv, 1), F(argv, 2), F(argv, 3),
                                                                         F(argv, 4), o)));
}

#undef FN_MP

}  // namespace

void MotionPlanning_RegisterBuiltins() {
  Function_Add("mp_grid_create", with_args<F_GridCreate, 6>, 6, 0);
  Function_Add("mp_grid_destroy", with_args<F_GridDestroy, 1>, 1, 0);
  Function_Add("mp_grid_clear_all", with_args<F_GridClearAll, 1>, 1, 0);
  Function_Add("mp_grid_clear_cell", with_args<F_GridSetCell<0>, 3>, 3, 0);
  Function_Add("mp_grid_clear_rectangle", with_args<F_GridFillRectangle<0>, 5>, 5, 0);
  Function_Add("mp_grid_add_cell", with_args<F_GridSetCell<kMotionGridBlocked>, 3>, 3, 0);
  Function_Add("mp_grid_get_cell", with_args<F_GridGetCell, 3>, 3, 0);
  Function_Add("mp_grid_add_rectangle", with_args<F_GridFillRectangle<kMotionGridBlocked>, 5>, 5, 0);
  Function_Add("mp_grid_add_instances", with_args<F_GridAddInstances, 3>, 3, 0);
  Function_Add("mp_grid_path", with_args<F_GridPath, 7>, 7, 0);
  Function_Add("mp_grid_draw", with_args<F_GridDraw, 1>, 1, 0);
  Function_Add("mp_grid_to_ds_grid", with_args<F_GridToDsGrid, 1>, 1, 0);
  Function_Add("mp_linear_step", with_args<F_PlanStep<MotionPlan_LinearStep, false>, 4>, 4, 0);
  Function_Add("mp_linear_path", with_args<F_LinearPath<false>, 5>, 5, 0);
  Function_Add("mp_linear_step_object", with_args<F_PlanStep<MotionPlan_LinearStep, true>, 4>, 4, 0);
  Function_Add("mp_linear_path_object", with_args<F_LinearPath<true>, 5>, 5, 0);
  Function_Add("mp_potential_settings", with_args<F_PotentialSettings, 4>, 4, 0);
  Function_Add("mp_potential_step", with_args<F_PlanStep<MotionPlan_PotentialStep, false>, 4>, 4, 0);
  Function_Add("mp_potential_path", with_args<F_PotentialPath<false>, 6>, 6, 0);
  Function_Add("mp_potential_step_object", with_args<F_PlanStep<MotionPlan_PotentialStep, true>, 4>, 4, 0);
  Function_Add("mp_potential_path_object", with_args<F_PotentialPath<true>, 6>, 6, 0);
}

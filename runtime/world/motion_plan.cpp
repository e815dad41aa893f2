// Steering towards a goal: straight steps, and potential-field steps that turn round obstacles.
// Both are written once over a walker state so that the *_path forms can plan without moving the
// instance, and the *_step forms apply one step.
#include <algorithm>
#include <cmath>

#include "world/collision.h"
#include "world/instance.h"
#include "world/motion.h"
#include "world/mp_grid.h"
#include "world/path.h"

namespace {

constexpr float kPi = 3.1415927f;
constexpr int32_t kMaxPlannedSteps = 100000;

PotentialSettings g_potential;

struct Walker {
  float x, y, direction;
};

bool place_free(CInstance* self, float x, float y, const MotionObstacles& obstacles) {
  if (obstacles.kind == MotionObstacles::kSolid) return Motion_PlaceFree(self, x, y, MotionBlockers::kSolid);
  return Command_IsEmpty(self, x, y, obstacles.target);
}

float direction_to(float x, float y, float xgoal, float ygoal) {
  float d = std::atan2(-(ygoal - y), xgoal - x) * 180.0f / kPi;
  return d < 0 ? d + 360.0f : d;
}

// The signed turn from one direction to another, in -180..180.
float turn_between(float from, float to) {
  float d = std::fmod(to - from, 360.0f);
  if (d > 180.0f) d -= 360.0f;
  if (d < -180.0f) d += 360.0f;
  return d;
}

// One straight step; true once at the goal. A blocked step leaves the walker where it is.
bool linear_step(CInstance* self, Walker* w, float xgoal, float ygoal, float stepsize, const MotionObstacles& o) {
  if (w->x == xgoal && w->y == ygoal) return true;
  const float dx = xgoal - w->x, dy = ygoal - w->y;
  const float distance = std::sqrt(dx * dx + dy * dy);
  float nx = xgoal, ny = ygoal;
  if (distance > stepsize) {
    nx = w->x + dx * stepsize / distance;
    ny = w->y + dy * stepsize / distance;
  }
  if (!place_free(self, nx, ny, o)) return false;
  w->direction = direction_to(w->x, w->y, nx, ny);
  w->x = nx;
  w->y = ny;
  return nx == xgoal && ny == ygoal;
}

// Whether the walker can go `ahead` steps in a direction.
bool free_ahead(CInstance* self, const Walker& w, float direction, float stepsize, const MotionObstacles& o) {
  const float t = direction * kPi / 180.0f;
  const int32_t steps = std::max(1, static_cast<int32_t>(std::lround(g_potential.ahead)));
  for (int32_t k = 1; k <= steps; ++k) {
    if (!place_free(self, w.x + std::cos(t) * stepsize * k, w.y - std::sin(t) * stepsize * k, o)) return false;
  }
  return true;
}

// One potential step: the direction nearest the goal's that is free ahead, tried alternately to
// either side in rotstep spacing; the walker turns towards it by at most maxrot and steps when the
// turned direction is free. With nothing free it turns on the spot when onspot allows.
bool potential_step(CInstance* self, Walker* w, float xgoal, float ygoal, float stepsize, const MotionObstacles& o) {
  if (w->x == xgoal && w->y == ygoal) return true;
  const float dx = xgoal - w->x, dy = ygoal - w->y;
  if (std::sqrt(dx * dx + dy * dy) <= stepsize && place_free(self, xgoal, ygoal, o)) {
    w->direction = direction_to(w->x, w->y, xgoal, ygoal);
    w->x = xgoal;
    w->y = ygoal;
    return true;
  }
  const float goal = direction_to(w->x, w->y, xgoal, ygoal);
  const float rotstep = g_potential.rotstep > 0 ? g_potential.rotstep : 10.0f;
  for (float spread = 0; spread <= 180.0f; spread += rotstep) {
    for (float side : {1.0f, -1.0f}) {
      if (spread == 0 && side < 0) continue;
      const float wanted = goal + side * spread;
      if (!free_ahead(self, *w, wanted, stepsize, o)) continue;
      const float turn = std::fmax(-g_potential.maxrot, std::fmin(g_potential.maxrot, turn_between(w->direction, wanted)));
      const float direction = std::fmod(w->direction + turn + 360.0f, 360.0f);
      const float t = direction * kPi / 180.0f;
      const float nx = w->x + std::cos(t) * stepsize, ny = w->y - std::sin(t) * stepsize;
      if (place_free(self, nx, ny, o)) {
        w->x = nx;
        w->y = ny;
        w->direction = direction;
      } else if (g_potential.onspot) {
        w->direction = direction;
      }
      return false;
    }
  }
  if (g_potential.onspot) w->direction = std::fmod(w->direction + g_potential.maxrot, 360.0f);
  return false;
}

using StepFn = bool (*)(CInstance*, Walker*, float, float, float, const MotionObstacles&);

bool apply_step(StepFn step, CInstance* self, float xgoal, float ygoal, float stepsize, MotionObstacles o) {
  Walker w{self->x, self->y, self->direction};
  const bool reached = step(self, &w, xgoal, ygoal, stepsize, o);
  if (w.direction != self->direction) Motion_SetDirection(self, w.direction);
  Instance_SetPosition(self, w.x, w.y);
  return reached;
}

// The steps from the instance's place written into the path, at most `limit` of them, the
// instance untouched.
bool plan_path(StepFn step, CInstance* self, CPath* path, float xgoal, float ygoal, float stepsize, int32_t limit,
               MotionObstacles o) {
  Walker w{self->x, self->y, self->direction};
  path->points.clear();
  path->closed = false;
  path->points.push_back(CPathPoint{w.x, w.y, 100});
  bool reached = w.x == xgoal && w.y == ygoal;
  for (int32_t k = 0; k < limit && !reached; ++k) {
    const float px = w.x, py = w.y;
    reached = step(self, &w, xgoal, ygoal, stepsize, o);
    if (w.x != px || w.y != py) path->points.push_back(CPathPoint{w.x, w.y, 100});
    else if (step == linear_step) break;  // blocked for good
  }
  Path_Build(path);
  return reached;
}

int32_t step_limit(CInstance* self, float xgoal, float ygoal, float stepsize, float factor) {
  if (!(stepsize > 0)) return 0;
  const double dx = xgoal - self->x, dy = ygoal - self->y;
  const double steps = std::ceil(factor * std::sqrt(dx * dx + dy * dy) / stepsize) + 1;
  return steps > kMaxPlannedSteps ? kMaxPlannedSteps : static_cast<int32_t>(steps);
}

}  // namespace

bool MotionPlan_LinearStep(CInstance* self, float xgoal, float ygoal, float stepsize, MotionObstacles obstacles) {
  return apply_step(linear_step, self, xgoal, ygoal, stepsize, obstacles);
}

bool MotionPlan_LinearPath(CInstance* self, CPath* path, float xgoal, float ygoal, float stepsize,
                           MotionObstacles obstacles) {
  return plan_path(linear_step, self, path, xgoal, ygoal, stepsize, step_limit(self, xgoal, ygoal, stepsize, 1.0f),
                   obstacles);
}

void MotionPlan_SetPotential(const PotentialSettings& settings) {
  g_potential = settings;
  g_potential.maxrot = std::fmax(1.0f, settings.maxrot);
  g_potential.rotstep = std::fmax(1.0f, settings.rotstep);
  g_potential.ahead = std::fmax(1.0f, settings.ahead);
}

bool MotionPlan_PotentialStep(CInstance* self, float xgoal, float ygoal, float stepsize, MotionObstacles obstacles) {
  return apply_step(potential_step, self, xgoal, ygoal, stepsize, obstacles);
}

bool MotionPlan_PotentialPath(CInstance* self, CPath* path, float xgoal, float ygoal, float stepsize, float factor,
                              MotionObstacles obstacles) {
  return plan_path(potential_step, self, path, xgoal, ygoal, stepsize,
                   step_limit(self, xgoal, ygoal, stepsize, std::fmax(1.0f, factor)), obstacles);
}

// Motion of instances: the vector rules, friction and gravity, the position update, and the move_*
// commands over the collision tests.
#include "world/motion.h"

#include <cmath>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/object.h"
#include "core/random.h"
#include "world/collision.h"
#include "world/instance.h"
#include "world/path.h"
#include "world/room.h"

namespace {

constexpr float kPi = 3.1415927f;
constexpr double kSnap = 0.0001;
constexpr int32_t kAll = -3;
constexpr int32_t kDefaultMaxDistance = 1000;
constexpr int32_t kRandomTries = 100;
// Advanced bounces look for free directions in steps of this many degrees, up to half a turn.
constexpr float kBounceProbeStep = 10.0f;

float snap(double value) {
  const double nearest = std::round(value);
  return static_cast<float>(std::fabs(value - nearest) < kSnap ? nearest : value);
}

float radians(float degrees) { return degrees * kPi / 180.0f; }

// The unit vector of a direction in degrees, as (cos, sin). Whole quarter turns are exact, so that
// adding a vector straight up, down or sideways leaves the other component as it was instead of
// moving it by the rounding of pi (cos of 270 degrees in single precision is -4.4e-8, not 0).
void unit_vector(float degrees, float* c, float* s) {
  const double turn = std::fmod(static_cast<double>(degrees), 360.0);
  const double quarters = turn / 90.0;
  if (quarters == std::floor(quarters)) {
    static constexpr float kCos[4] = {1.0f, 0.0f, -1.0f, 0.0f};
    static constexpr float kSin[4] = {0.0f, 1.0f, 0.0f, -1.0f};
    const int quarter = (static_cast<int>(quarters) % 4 + 4) % 4;
    *c = kCos[quarter];
    *s = kSin[quarter];
    return;
  }
  const float t = radians(degrees);
  *c = std::cos(t);
  *s = std::sin(t);
}

// Adds the vector (direction, length) to the instance's speed components, then derives the polar form.
void add_vector(CInstance* instance, float direction, float length) {
  float c = 0.0f, s = 0.0f;
  unit_vector(direction, &c, &s);
  instance->hspeed += c * length;
  instance->vspeed -= s * length;
  Motion_CartesianToPolar(instance);
}

void vector_changed(CInstance* instance) {
  instance->flags |= kInstBBoxDirty;
  Collision_QueueUpdate(instance);
}

bool is_instance(CInstance* self) { return self != nullptr && KV_AsObject(self)->kind == kObjInstance; }

bool require_instance(CInstance* self) {
  if (is_instance(self)) return true;
  KVError("current self is not an instance");
  return false;
}

int32_t max_steps(float maxdist) {
  return maxdist > 0.0f ? static_cast<int32_t>(std::lround(maxdist)) : kDefaultMaxDistance;
}

// The box of an instance brought up to date (the point (x, y) without a collision sprite).
void box_of(CInstance* instance, float box[4]) {
  Collision_RefreshBox(instance);
  box[0] = instance->bboxLeft;
  box[1] = instance->bboxTop;
  box[2] = instance->bboxRight;
  box[3] = instance->bboxBottom;
}

// How far one interval lies from another along an axis: 0 where they overlap.
double gap(double low_a, double high_a, double low_b, double high_b) {
  if (high_a < low_b) return low_b - high_a;
  if (high_b < low_a) return low_a - high_b;
  return 0.0;
}

// The first free direction turning away from `direction` to one side, in degrees from it; 180
// when the half turn holds none.
float free_turn(CInstance* self, float direction, float reach, float side, MotionBlockers blockers) {
  for (float turn = kBounceProbeStep; turn < 180.0f; turn += kBounceProbeStep) {
    const float t = radians(direction + side * turn);
    if (Motion_PlaceFree(self, self->x + std::cos(t) * reach, self->y - std::sin(t) * reach, blockers)) return turn;
  }
  return 180.0f;
}

}  // namespace

void Motion_PolarToCartesian(CInstance* instance) {
  const float t = radians(instance->direction);
  instance->hspeed = snap(std::cos(t) * instance->speed);
  instance->vspeed = snap(-std::sin(t) * instance->speed);
  vector_changed(instance);
}

void Motion_CartesianToPolar(CInstance* instance) {
  double direction = 0.0;
  if (instance->hspeed != 0.0f) {
    const double a = std::atan2(static_cast<double>(instance->vspeed), static_cast<double>(instance->hspeed)) * 180.0 / kPi;
    direction = a <= 0.0 ? -a : 360.0 - a;
  } else if (instance->vspeed > 0.0f) {
    direction = 270.0;
  } else if (instance->vspeed < 0.0f) {
    direction = 90.0;
  }
  instance->direction = static_cast<float>(std::fmod(static_cast<double>(snap(direction)), 360.0));
  instance->speed = snap(std::sqrt(static_cast<double>(instance->hspeed) * instance->hspeed +
                                   static_cast<double>(instance->vspeed) * instance->vspeed));
  vector_changed(instance);
}

void Motion_SetSpeed(CInstance* instance, float speed) {
  instance->speed = speed;
  Motion_PolarToCartesian(instance);
}

void Motion_SetDirection(CInstance* instance, float direction) {
  instance->direction = direction;
  Motion_PolarToCartesian(instance);
}

void Motion_SetHSpeed(CInstance* instance, float hspeed) {
  if (hspeed == instance->hspeed) return;
  instance->hspeed = hspeed;
  Motion_CartesianToPolar(instance);
}

void Motion_SetVSpeed(CInstance* instance, float vspeed) {
  if (vspeed == instance->vspeed) return;
  instance->vspeed = vspeed;
  Motion_CartesianToPolar(instance);
}

void Motion_Set(CInstance* instance, float direction, float speed) {
  instance->direction = direction;
  instance->speed = speed;
  Motion_PolarToCartesian(instance);
}

void Motion_Add(CInstance* instance, float direction, float speed) { add_vector(instance, direction, speed); }

void Motion_TowardsPoint(CInstance* instance, float x, float y, float speed) {
  Motion_SetHSpeed(instance, x - instance->x);
  Motion_SetVSpeed(instance, y - instance->y);
  Motion_SetSpeed(instance, speed);
}

void Motion_ApplyFrictionGravity(CInstance* instance) {
  if (instance->friction != 0.0f) {
    const float v = instance->speed;
    const float w = v > 0.0f ? v - instance->friction : v + instance->friction;
    if ((v > 0.0f && w < 0.0f) || (v < 0.0f && w > 0.0f)) {
      Motion_SetSpeed(instance, 0.0f);
    } else if (v != 0.0f && w != v) {
      Motion_SetSpeed(instance, w);
    }
  }
  if (instance->gravity != 0.0f) add_vector(instance, instance->gravityDirection, instance->gravity);
}

bool Motion_Advance(CInstance* instance) {
  Motion_ApplyFrictionGravity(instance);
  return Path_Step(instance);
}

void Motion_Move(CInstance* instance) {
  if (instance->hspeed == 0.0f && instance->vspeed == 0.0f) return;
  Instance_SetPosition(instance, instance->x + instance->hspeed, instance->y + instance->vspeed);
}

// ---- Moves against other instances ------------------------------------------------------------------

bool Motion_PlaceFree(CInstance* self, float x, float y, MotionBlockers blockers) {
  if (!require_instance(self)) return false;
  return blockers == MotionBlockers::kSolid ? Command_IsFree(self, x, y) : Command_IsEmpty(self, x, y, kAll);
}

void Motion_MoveContact(CInstance* self, float direction, float maxdist, MotionBlockers blockers) {
  if (!require_instance(self)) return;
  const int32_t steps = max_steps(maxdist);
  const float t = radians(direction);
  const float dx = std::cos(t), dy = -std::sin(t);
  if (!Motion_PlaceFree(self, self->x, self->y, blockers)) return;
  for (int32_t i = 0; i < steps; ++i) {
    const float nx = self->x + dx, ny = self->y + dy;
    if (!Motion_PlaceFree(self, nx, ny, blockers)) return;
    Instance_SetPosition(self, nx, ny);
  }
}

void Motion_MoveOutside(CInstance* self, float direction, float maxdist, MotionBlockers blockers) {
  if (!require_instance(self)) return;
  const int32_t steps = max_steps(maxdist);
  const float t = radians(direction);
  const float dx = std::cos(t), dy = -std::sin(t);
  if (Motion_PlaceFree(self, self->x, self->y, blockers)) return;
  for (int32_t i = 0; i < steps; ++i) {
    Instance_SetPosition(self, self->x + dx, self->y + dy);
    if (Motion_PlaceFree(self, self->x, self->y, blockers)) return;
  }
}

void Motion_Bounce(CInstance* self, bool advanced, MotionBlockers blockers) {
  if (!require_instance(self)) return;
  const float x = self->x, y = self->y;
  const float hs = self->hspeed, vs = self->vspeed;
  if (Motion_PlaceFree(self, x + hs, y + vs, blockers)) return;
  if (!advanced) {
    bool flip_h = !Motion_PlaceFree(self, x + hs, y, blockers);
    bool flip_v = !Motion_PlaceFree(self, x, y + vs, blockers);
    // A corner: each axis alone is free, only the diagonal meets the blocker.
    if (!flip_h && !flip_v) flip_h = flip_v = true;
    if (flip_h) Motion_SetHSpeed(self, -hs);
    if (flip_v) Motion_SetVSpeed(self, -vs);
    return;
  }
  // The blocked arc around the motion runs from `right` degrees clockwise to `left` degrees
  // counterclockwise; the surface normal points away from its middle, and the motion is mirrored
  // about that normal.
  const float reach = std::fmax(1.0f, self->speed);
  const float left = free_turn(self, self->direction, reach, 1.0f, blockers);
  const float right = free_turn(self, self->direction, reach, -1.0f, blockers);
  const float normal = self->direction + (left - right) / 2.0f + 180.0f;
  float reflected = std::fmod(2.0f * normal - (self->direction + 180.0f), 360.0f);
  if (reflected < 0.0f) reflected += 360.0f;
  Motion_SetDirection(self, snap(reflected));
}

void Motion_Snap(CInstance* self, float hsnap, float vsnap) {
  float x = self->x, y = self->y;
  if (hsnap > 0.0f) x = static_cast<float>(std::round(static_cast<double>(x) / hsnap) * hsnap);
  if (vsnap > 0.0f) y = static_cast<float>(std::round(static_cast<double>(y) / vsnap) * vsnap);
  Instance_SetPosition(self, x, y);
}

void Motion_Wrap(CInstance* self, bool horizontal, bool vertical, float margin) {
  if (Run_Room == nullptr) return;
  const float width = static_cast<float>(Run_Room->width), height = static_cast<float>(Run_Room->height);
  float x = self->x, y = self->y;
  if (horizontal) {
    if (x < -margin) x += width + 2 * margin;
    if (x > width + margin) x -= width + 2 * margin;
  }
  if (vertical) {
    if (y < -margin) y += height + 2 * margin;
    if (y > height + margin) y -= height + 2 * margin;
  }
  Instance_SetPosition(self, x, y);
}

void Motion_Random(CInstance* self, float hsnap, float vsnap) {
  if (!require_instance(self) || Run_Room == nullptr) return;
  // Places where the whole box stays inside the room.
  float box[4];
  box_of(self, box);
  const double xmin = self->x - box[0], ymin = self->y - box[1];
  const double xmax = Run_Room->width - (box[2] - self->x), ymax = Run_Room->height - (box[3] - self->y);
  auto pick = [](double low, double high, float step) {
    double v = low + Random_Real() * std::fmax(0.0, high - low);
    if (step > 0.0f) {
      v = std::floor(v / step) * step;
      if (v < low) v += step;
    }
    return static_cast<float>(v);
  };
  for (int32_t i = 0; i < kRandomTries; ++i) {
    const float x = pick(xmin, xmax, hsnap), y = pick(ymin, ymax, vsnap);
    if (Command_IsFree(self, x, y)) {
      Instance_SetPosition(self, x, y);
      return;
    }
  }
}

double Motion_DistanceToPoint(CInstance* self, float x, float y) {
  float box[4];
  box_of(self, box);
  const double dx = gap(box[0], box[2], x, x), dy = gap(box[1], box[3], y, y);
  return std::sqrt(dx * dx + dy * dy);
}

double Motion_DistanceToObject(CInstance* self, CInstance* other, int32_t target) {
  float own[4];
  box_of(self, own);
  double best = kMotionNoDistance;
  InstanceSetIterator it(self, other, target);
  while (CInstance* other = it.Next()) {
    if (other == self || !Instance_IsLive(other)) continue;
    float box[4];
    box_of(other, box);
    const double dx = gap(own[0], own[2], box[0], box[2]), dy = gap(own[1], own[3], box[1], box[3]);
    best = std::fmin(best, std::sqrt(dx * dx + dy * dy));
  }
  return best;
}

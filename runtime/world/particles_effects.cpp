// The effect presets of effect_create_below and effect_create_above. Each kind sets fixed values on
// its own particle types (made once, again when destroyed) and creates particles of the call's
// colour on one of two systems: the one below the instances and the one above. Speeds and
// lifetimes scale with the frame rate, so an effect lasts as long in time at any game speed.
#include <algorithm>
#include <cmath>

#include "core/frame_state.h"
#include "core/random.h"
#include "core/timing.h"
#include "graphics/particles.h"
#include "world/layer_internal.h"
#include "world/particles_layer.h"
#include "world/room.h"

namespace {

constexpr int32_t kEffectKinds = 12;
constexpr int32_t kTypesPerKind = 2;
constexpr float kDepthBelow = 50.0f, kDepthAbove = -15000.0f;
constexpr float kOldDepthBelow = 100000.0f, kOldDepthAbove = -100000.0f;

enum Shape : int32_t {
  kPixel, kDisk, kSquare, kLine, kStar, kCircle, kRing, kSphere, kFlare, kSpark, kExplosion, kCloud, kSmoke, kSnow,
};

int32_t g_systems[2] = {-1, -1};  // below, above
int32_t g_types[kEffectKinds][kTypesPerKind];
bool g_types_made = false;

// 1 at 30 frames a second or below; otherwise what brings the effect back to 30 frames' timing.
float speed_factor() {
  const double game = Run_UseGameTimer || Layer_Generation2() ? GameTimer_GetSpeed(Run_GameTimer, 0) : Run_RoomSpeed;
  const double actual = Run_Fps;
  if (game <= 30.0 || actual <= 30.0) return 1.0f;
  if (game / actual >= 1.2) return static_cast<float>(30.0 / actual);
  return static_cast<float>(30.0 / game);
}

int32_t effect_system(bool above) {
  int32_t& id = g_systems[above ? 1 : 0];
  if (ParticleSystem_Get(id) != nullptr) return id;
  id = ParticleSystem_Create();
  const bool layered = Layer_Generation2();
  ParticleSystem_SetDepth(id, above ? (layered ? kDepthAbove : kOldDepthAbove) : (layered ? kDepthBelow : kOldDepthBelow));
  return id;
}

// The kind's private type n, cleared to its defaults before the kind sets it.
ParticleType& effect_type(int32_t kind, int32_t n) {
  if (!g_types_made) {
    for (auto& row : g_types) std::fill(std::begin(row), std::end(row), -1);
    g_types_made = true;
  }
  int32_t& id = g_types[kind][n];
  if (ParticleType_Get(id) == nullptr) id = ParticleType_Create();
  ParticleType& type = *ParticleType_Get(id);
  type = ParticleType{};
  return type;
}

int32_t lifetime(float steps, float f) { return static_cast<int32_t>(std::lround(steps / f)); }

void life(ParticleType& t, float min, float max, float f) {
  t.lifeMin = lifetime(min, f);
  t.lifeMax = lifetime(max, f);
}
// One setting's range and per-step change: a type's size, speed or spin.
void range(float& lo, float& hi, float& step, float min, float max, float incr) {
  lo = min;
  hi = max;
  step = incr;
}
void size(ParticleType& t, float min, float max, float incr) { range(t.sizeMin, t.sizeMax, t.sizeIncr, min, max, incr); }
void speed(ParticleType& t, float min, float max, float incr) { range(t.speedMin, t.speedMax, t.speedIncr, min, max, incr); }
void direction(ParticleType& t, float min, float max) {
  t.dirMin = min;
  t.dirMax = max;
}
void spin(ParticleType& t, float min, float max, float incr) { range(t.angMin, t.angMax, t.angIncr, min, max, incr); }
void alpha(ParticleType& t, float a1, float a3) {
  t.alpha1 = a1;
  t.alpha2 = (a1 + a3) / 2.0f;
  t.alpha3 = a3;
}

struct Call {
  int32_t system;
  float x, y;
  int32_t colour;
  float f;
  int32_t grade;  // 0 small, 1 medium, 2 large
};

void emit(const Call& c, int32_t kind, int32_t n, int32_t count) {
  Particles_Create(c.system, c.x, c.y, g_types[kind][n], count, c.colour);
}

// Particles spread over the room's area (weather).
void emit_over_room(const Call& c, int32_t kind, int32_t count) {
  const CRoom* room = Run_Room;
  const float w = room != nullptr ? static_cast<float>(room->width) : 640.0f;
  const float h = room != nullptr ? static_cast<float>(room->height) : 360.0f;
  for (int32_t i = 0; i < count; ++i) {
    const auto x = static_cast<float>(Random_Real() * (w + 200.0f) - 100.0f);
    const auto y = static_cast<float>(Random_Real() * h * 1.2 - h * 0.2);
    Particles_Create(c.system, x, y, g_types[kind][0], 1, c.colour);
  }
}

void explosion(const Call& c) {
  constexpr float kSize[] = {0.1f, 0.3f, 0.4f};
  constexpr float kIncr[] = {0.05f, 0.1f, 0.2f};
  constexpr float kSpeed[] = {2.0f, 4.0f, 7.0f};
  constexpr float kSlow[] = {-0.1f, -0.2f, -0.35f};
  constexpr int32_t kCount[] = {20, 40, 60};
  const int g = c.grade;
  ParticleType& a = effect_type(0, 0);
  a.shape = kExplosion;
  size(a, kSize[g], kSize[g], kIncr[g] * c.f);
  spin(a, 0.0f, 360.0f, 0.0f);
  direction(a, 0.0f, 360.0f);
  speed(a, kSpeed[g] * c.f, kSpeed[g] * c.f, kSlow[g] * c.f);
  alpha(a, 0.6f, 0.0f);
  life(a, 10.0f + 2.0f * g, 15.0f + 3.0f * g, c.f);
  emit(c, 0, 0, kCount[g]);
  ParticleType& b = effect_type(0, 1);
  b.shape = kExplosion;
  size(b, kSize[g], kSize[g], 2.0f * kIncr[g] * c.f);
  spin(b, 0.0f, 360.0f, 0.0f);
  alpha(b, 0.8f, 0.0f);
  life(b, 15.0f + 3.0f * g, 15.0f + 3.0f * g, c.f);
  emit(c, 0, 1, 1);
}

// A ring (kind 1) or a flattened ring (kind 2) that widens and fades.
void ring(const Call& c, int32_t kind, float yscale) {
  constexpr float kIncr[] = {0.15f, 0.25f, 0.4f};
  ParticleType& t = effect_type(kind, 0);
  t.shape = kRing;
  t.yscale = yscale;
  size(t, 0.0f, 0.0f, kIncr[c.grade] * c.f);
  alpha(t, 1.0f, 0.0f);
  life(t, 10.0f, 12.0f, c.f);
  emit(c, kind, 0, 1);
}

void firework(const Call& c) {
  constexpr int32_t kCount[] = {100, 150, 250};
  constexpr float kSpeed[] = {3.0f, 5.0f, 7.0f};
  ParticleType& t = effect_type(3, 0);
  t.shape = kFlare;
  size(t, 0.1f, 0.2f, 0.0f);
  speed(t, 0.5f * kSpeed[c.grade] * c.f, kSpeed[c.grade] * c.f, -0.04f * c.f);
  direction(t, 0.0f, 360.0f);
  alpha(t, 1.0f, 0.0f);
  life(t, 15.0f, 25.0f, c.f);
  emit(c, 3, 0, kCount[c.grade]);
}

// A lingering puff (kind 4), or one that rises (kind 5).
void smoke(const Call& c, int32_t kind, bool rising) {
  constexpr float kSize[] = {0.2f, 0.4f, 0.7f};
  constexpr int32_t kCount[] = {5, 10, 16};
  ParticleType& t = effect_type(kind, 0);
  t.shape = kSmoke;
  size(t, kSize[c.grade] * 0.8f, kSize[c.grade], 0.005f * c.f);
  spin(t, 0.0f, 360.0f, 0.5f * c.f);
  if (rising) {
    speed(t, 1.0f * c.f, 2.0f * c.f, 0.0f);
    direction(t, 80.0f, 100.0f);
  } else {
    speed(t, 0.1f * c.f, 0.4f * c.f, 0.0f);
    direction(t, 0.0f, 360.0f);
  }
  alpha(t, 0.5f, 0.0f);
  life(t, 25.0f + 5.0f * c.grade, 35.0f + 10.0f * c.grade, c.f);
  emit(c, kind, 0, kCount[c.grade]);
}

// One image that blooms and fades: star (6), spark (7), flare (8).
void bloom(const Call& c, int32_t kind, int32_t shape, float turn) {
  constexpr float kSize[] = {0.4f, 0.8f, 1.4f};
  ParticleType& t = effect_type(kind, 0);
  t.shape = shape;
  size(t, kSize[c.grade], kSize[c.grade], -kSize[c.grade] / 20.0f * c.f);
  spin(t, 0.0f, 360.0f, turn * c.f);
  alpha(t, 1.0f, 0.0f);
  life(t, 20.0f, 20.0f, c.f);
  t.additive = true;
  emit(c, kind, 0, 1);
}

void cloud(const Call& c) {
  constexpr float kSize[] = {1.0f, 2.0f, 4.0f};
  ParticleType& t = effect_type(9, 0);
  t.shape = kCloud;
  size(t, kSize[c.grade], kSize[c.grade], 0.0f);
  t.alpha1 = 0.0f;
  t.alpha2 = 0.3f;
  t.alpha3 = 0.0f;
  life(t, 100.0f, 100.0f, c.f);
  emit(c, 9, 0, 1);
}

void rain(const Call& c) {
  constexpr int32_t kCount[] = {2, 5, 9};
  ParticleType& t = effect_type(10, 0);
  t.shape = kLine;
  size(t, 0.2f, 0.3f, 0.0f);
  speed(t, 7.0f * c.f, 7.0f * c.f, 0.0f);
  direction(t, 260.0f, 260.0f);
  spin(t, 0.0f, 0.0f, 0.0f);
  t.angRelative = true;
  alpha(t, 0.4f, 0.4f);
  life(t, 20.0f, 40.0f, c.f);
  emit_over_room(c, 10, kCount[c.grade]);
}

void snow(const Call& c) {
  constexpr int32_t kCount[] = {1, 3, 6};
  ParticleType& t = effect_type(11, 0);
  t.shape = kSnow;
  size(t, 0.1f, 0.25f, 0.0f);
  speed(t, 1.0f * c.f, 2.0f * c.f, 0.0f);
  direction(t, 240.0f, 300.0f);
  t.dirWiggle = 20.0f;
  spin(t, 0.0f, 360.0f, 1.0f * c.f);
  alpha(t, 0.8f, 0.8f);
  life(t, 60.0f, 120.0f, c.f);
  emit_over_room(c, 11, kCount[c.grade]);
}

}  // namespace

void Effect_Create(bool above, int32_t kind, float x, float y, int32_t grade, int32_t colour) {
  if (kind < 0 || kind >= kEffectKinds) return;
  const Call c{effect_system(above), x, y, colour, speed_factor(), grade == 0 ? 0 : (grade == 2 ? 2 : 1)};
  switch (kind) {
    case 0: explosion(c); break;
    case 1: ring(c, 1, 1.0f); break;
    case 2: ring(c, 2, 0.5f); break;
    case 3: firework(c); break;
    case 4: smoke(c, 4, false); break;
    case 5: smoke(c, 5, true); break;
    case 6: bloom(c, 6, kStar, 4.0f); break;
    case 7: bloom(c, 7, kSpark, 0.0f); break;
    case 8: bloom(c, 8, kFlare, 0.0f); break;
    case 9: cloud(c); break;
    case 10: rain(c); break;
    default: snow(c); break;
  }
}

// The presets forget their systems and types when the tables go.
void Effect_Forget() {
  g_systems[0] = g_systems[1] = -1;
  g_types_made = false;
}

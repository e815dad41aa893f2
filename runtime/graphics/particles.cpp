// Particle tables, creation, emitters and the update of a system in its fixed order.
#include "graphics/particles.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "core/console.h"
#include "core/error.h"
#include "core/random.h"
#include "graphics/draw.h"

namespace {

constexpr size_t kParticleGrowth = 100;

std::vector<std::unique_ptr<ParticleType>> g_types;
std::vector<std::unique_ptr<ParticleSystem>> g_systems;

template <typename T>
int32_t take_entry(std::vector<std::unique_ptr<T>>& table) {
  size_t id = 0;
  while (id < table.size() && table[id] != nullptr) ++id;
  if (id == table.size()) table.emplace_back();
  table[id] = std::make_unique<T>();
  return static_cast<int32_t>(id);
}

template <typename T>
T* entry(const std::vector<std::unique_ptr<T>>& table, int32_t id) {
  return id >= 0 && static_cast<size_t>(id) < table.size() ? table[static_cast<size_t>(id)].get() : nullptr;
}

// A uniform value, drawn only when the range is not empty.
float uniform(float min, float max) {
  return max > min ? static_cast<float>(min + Random_Real() * (max - min)) : min;
}

int32_t uniform_int(int32_t min, int32_t max) {
  return max > min ? static_cast<int32_t>(min + Random_Real() * (max - min)) : min;
}

// The colour a particle starts with.
int32_t start_colour(const ParticleType& type) {
  const int32_t* c = type.colours;
  switch (type.colourKind) {
    case kParticleColourRgb:
      return uniform_int(c[0], c[1]) | (uniform_int(c[2], c[3]) << 8) | (uniform_int(c[4], c[5]) << 16);
    case kParticleColourHsv: {
      const float h = uniform(static_cast<float>(c[0]), static_cast<float>(c[1]));
      const float s = uniform(static_cast<float>(c[2]), static_cast<float>(c[3]));
      const float v = uniform(static_cast<float>(c[4]), static_cast<float>(c[5]));
      return static_cast<int32_t>(Colour_MakeHSV(h, s, v));
    }
    case kParticleColourMix:
      return static_cast<int32_t>(
          Colour_Merge(static_cast<uint32_t>(c[0]), static_cast<uint32_t>(c[1]), Random_Real()));
    default:
      return c[0];
  }
}

// The colour over life of the two- and three-colour kinds; others keep theirs.
void age_colour(const ParticleType& type, Particle& p) {
  if (p.age <= 0 || p.life <= 0) {
    if (type.colourKind <= kParticleColourThree) p.colour = type.colours[0];
    return;
  }
  const auto c = [&](int i) { return static_cast<uint32_t>(type.colours[i]); };
  const double age = p.age, life = p.life;
  if (type.colourKind == kParticleColourTwo) {
    p.colour = static_cast<int32_t>(Colour_Merge(c(0), c(1), std::min(age / life, 1.0)));
  } else if (type.colourKind == kParticleColourThree) {
    const double t = std::min(2.0 * age / life, 2.0);
    p.colour = static_cast<int32_t>(t < 1.0 ? Colour_Merge(c(0), c(1), t) : Colour_Merge(c(1), c(2), t - 1.0));
  }
}


void spawn(ParticleSystem* system, const Particle& at, int32_t type, int32_t number) {
  for (int32_t i = 0; i < number; ++i) Particle_Create(system, at.x, at.y, type);
}

void phase_life(ParticleSystem* system) {
  std::vector<Particle>& parts = system->particles;
  for (size_t i = 0; i < parts.size(); ++i) {
    Particle p = parts[i];
    ++p.age;
    parts[i].age = p.age;
    const ParticleType* type = ParticleType_Get(p.type);
    if (p.age >= p.life) {
      parts[i].alive = false;
      if (type == nullptr) continue;
      if (type->deathNumber > 0) {
        spawn(system, p, type->deathKind, type->deathNumber);
      } else if (type->deathNumber < 0 && Random_Real() * -type->deathNumber == 0.0) {
        spawn(system, p, type->deathKind, 1);
      }
      continue;
    }
    if (type == nullptr || type->stepNumber == 0) continue;
    if (type->stepKind == p.type) KVError("Error: a particle cannot spawn another of the same type");
    if (type->stepNumber > 0) {
      spawn(system, p, type->stepKind, type->stepNumber);
    } else if (static_cast<int64_t>(Random_Real() * -type->stepNumber) == 0) {
      spawn(system, p, type->stepKind, 1);
    }
  }
  const auto dead = std::remove_if(parts.begin(), parts.end(), [](const Particle& p) { return !p.alive; });
  parts.erase(dead, parts.end());
}

void move(const ParticleType& type, Particle& p) {
  p.prevX = p.x;
  p.prevY = p.y;
  p.speed = std::max(p.speed + type.speedIncr, 0.0f);
  p.direction += type.dirIncr;
  p.angle += type.angIncr;
  if (type.gravityAmount != 0.0f) {
    const double d = p.direction * kParticleDegreesToRadians, g = type.gravityDirection * kParticleDegreesToRadians;
    const double vx = std::cos(d) * p.speed + std::cos(g) * type.gravityAmount;
    const double vy = -std::sin(d) * p.speed - std::sin(g) * type.gravityAmount;
    p.speed = static_cast<float>(std::sqrt(vx * vx + vy * vy));
    if (vx == 0.0) {
      p.direction = vy > 0.0 ? 270.0f : 90.0f;
    } else {
      double direction = std::atan2(-vy, vx) / kParticleDegreesToRadians;
      if (direction < 0.0) direction += 360.0;
      p.direction = static_cast<float>(direction);
    }
  }
  const float w1 = Particle_Fold(static_cast<float>((p.age + 3 * p.random) % 24) / 6.0f);
  const float w2 = Particle_Fold(static_cast<float>((p.age + 4 * p.random) % 20) / 5.0f);
  const double direction = (p.direction + w1 * type.dirWiggle) * kParticleDegreesToRadians;
  const double speed = p.speed + w2 * type.speedWiggle;
  p.x += static_cast<float>(std::cos(direction) * speed);
  p.y -= static_cast<float>(std::sin(direction) * speed);
}

void look(const ParticleType& type, Particle& p) {
  p.size = std::max(p.size + type.sizeIncr, 0.0f);
  age_colour(type, p);
  const float t = p.life != 0 ? 2.0f * static_cast<float>(p.age) / static_cast<float>(p.life) : 1.0f;
  p.alpha = t < 1.0f ? (1.0f - t) * type.alpha1 + t * type.alpha2 : (t - 1.0f) * type.alpha3 + (2.0f - t) * type.alpha2;
}

// The point of a burst inside the emitter's region.
void region_point(const ParticleEmitter& em, float* x, float* y) {
  double u = 0.0, v = 0.0;
  for (;;) {
    u = Particle_Random(0.0, 1.0, em.distribution);
    v = Particle_Random(0.0, 1.0, em.distribution);
    if (em.distribution == kDistributionInverse && em.regionShape != kRegionLine) {
      if (Random_Real() < 0.5) {
        u = Random_Real();
      } else {
        v = Random_Real();
      }
    }
    if (em.regionShape == kRegionEllipse && (u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5) > 0.25) continue;
    if (em.regionShape == kRegionDiamond && std::fabs(u - 0.5) + std::fabs(v - 0.5) > 0.5) continue;
    break;
  }
  *x = static_cast<float>(em.xMin + (em.xMax - em.xMin) * u);
  *y = static_cast<float>(em.yMin + (em.yMax - em.yMin) * (em.regionShape == kRegionLine ? u : v));
}

void burst(ParticleSystem* system, const ParticleEmitter& em, int32_t type, int32_t number) {
  if (number < 0) {
    if (RandomInt64(-number) != 0) return;
    number = 1;
  }
  std::vector<Particle>& parts = system->particles;
  if (parts.size() + static_cast<size_t>(number) > parts.capacity()) parts.reserve(parts.size() + number);
  for (int32_t i = 0; i < number; ++i) {
    float x = 0.0f, y = 0.0f;
    region_point(em, &x, &y);
    if (!Particle_Create(system, x, y, type)) {
      g_ReleaseConsole->Output("part_particles_create :: particle type does not exist!\n");
      return;
    }
  }
}

}  // namespace

// ---- Tables --------------------------------------------------------------------------------------

int32_t ParticleType_Create() { return take_entry(g_types); }

void ParticleType_Destroy(int32_t id) {
  if (entry(g_types, id) != nullptr) g_types[static_cast<size_t>(id)].reset();
}

ParticleType* ParticleType_Get(int32_t id) { return entry(g_types, id); }
int32_t ParticleType_TableSize() { return static_cast<int32_t>(g_types.size()); }

int32_t ParticleSystem_New() { return take_entry(g_systems); }
ParticleSystem* ParticleSystem_Get(int32_t id) { return entry(g_systems, id); }
int32_t ParticleSystem_TableSize() { return static_cast<int32_t>(g_systems.size()); }

void ParticleSystem_Delete(int32_t id) {
  if (entry(g_systems, id) != nullptr) g_systems[static_cast<size_t>(id)].reset();
}

void ParticleSystem_Reset(ParticleSystem* system) {
  std::vector<Particle>().swap(system->particles);
  std::vector<ParticleEmitter>().swap(system->emitters);
  system->oldToNew = true;
  system->depth = 0.0f;
  system->xDraw = system->yDraw = 0.0f;
  system->automaticUpdate = system->automaticDraw = true;
}

void Particles_FreeAll() {
  for (auto& system : g_systems) {
    if (system == nullptr) continue;
    std::vector<Particle>().swap(system->particles);
    std::vector<ParticleEmitter>().swap(system->emitters);
  }
  g_types.clear();
  g_systems.clear();
  ParticleImages_Free();
}

namespace {

template <typename T>
void replace_table(std::vector<std::unique_ptr<T>>& table, std::vector<std::optional<T>>& entries) {
  table.clear();
  table.reserve(entries.size());
  for (std::optional<T>& entry : entries) {
    table.push_back(entry.has_value() ? std::make_unique<T>(std::move(*entry)) : nullptr);
  }
}

}  // namespace

void Particles_ReplaceTables(std::vector<std::optional<ParticleType>> types,
                             std::vector<std::optional<ParticleSystem>> systems) {
  replace_table(g_types, types);
  replace_table(g_systems, systems);
  for (auto& system : g_systems) {
    if (system != nullptr) system->elementId = -1;
  }
}

// ---- Particles -----------------------------------------------------------------------------------

double Particle_Random(double min, double max, int32_t distribution) {
  if (max <= min) return min;
  if (distribution == kDistributionLinear) return min + Random_Real() * (max - min);
  double s = 0.0;
  do {
    s = (Random_Real() - 0.5) * 6.0;
  } while (!(std::exp(-s * s / 2.0) > Random_Real()));
  const double value = distribution == kDistributionGaussian ? s + 3.0 : (s < 0.0 ? s + 6.0 : s);
  return min + (value / 6.0) * (max - min);
}

bool Particle_Create(ParticleSystem* system, float x, float y, int32_t type_id) {
  const ParticleType* type = ParticleType_Get(type_id);
  if (system == nullptr || type == nullptr) return false;
  Particle p;
  p.alive = true;
  p.type = type_id;
  p.x = p.prevX = x;
  p.y = p.prevY = y;
  p.speed = uniform(type->speedMin, type->speedMax);
  p.direction = uniform(type->dirMin, type->dirMax);
  p.angle = uniform(type->angMin, type->angMax);
  p.age = 0;
  p.life = uniform_int(type->lifeMin, type->lifeMax);
  p.colour = start_colour(*type);
  p.alpha = type->alpha1;
  p.size = uniform(type->sizeMin, type->sizeMax);
  p.frame = type->randomFrame ? static_cast<int32_t>(RandomInt64(10000)) : 0;
  p.random = static_cast<int32_t>(RandomInt64(100000));
  std::vector<Particle>& parts = system->particles;
  if (parts.size() == parts.capacity()) parts.reserve(parts.capacity() + kParticleGrowth);
  parts.push_back(p);
  return true;
}

void Particles_Create(int32_t id, float x, float y, int32_t type, int32_t number, int64_t colour) {
  if (number < 1) return;
  ParticleSystem* system = ParticleSystem_Get(id);
  if (ParticleType_Get(type) == nullptr) {
    g_ReleaseConsole->Output("part_particles_create :: particle type does not exist!\n");
    return;
  }
  if (system == nullptr) {
    g_ReleaseConsole->Output("part_particles_create :: particle system does not exist!\n");
    return;
  }
  for (int32_t i = 0; i < number; ++i) {
    Particle_Create(system, x, y, type);
    if (colour >= 0) system->particles.back().colour = static_cast<int32_t>(colour);
  }
}

// ---- Emitters ------------------------------------------------------------------------------------

int32_t ParticleEmitter_Create(int32_t id) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return -1;
  std::vector<ParticleEmitter>& ems = system->emitters;
  size_t at = 0;
  while (at < ems.size() && ems[at].exists) ++at;
  if (at == ems.size()) ems.emplace_back();
  ems[at] = ParticleEmitter{};
  ems[at].exists = true;
  return static_cast<int32_t>(at);
}

ParticleEmitter* ParticleEmitter_Get(int32_t id, int32_t emitter) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr || emitter < 0 || static_cast<size_t>(emitter) >= system->emitters.size()) return nullptr;
  ParticleEmitter& em = system->emitters[static_cast<size_t>(emitter)];
  return em.exists ? &em : nullptr;
}

void ParticleEmitter_Burst(int32_t id, int32_t emitter, int32_t type, int32_t number) {
  const ParticleEmitter* em = ParticleEmitter_Get(id, emitter);
  if (em != nullptr) burst(ParticleSystem_Get(id), *em, type, number);
}

void ParticleEmitter_Stream(int32_t id, int32_t emitter, int32_t type, int32_t number) {
  if (ParticleSystem_Get(id) == nullptr) {
    g_ReleaseConsole->Output("part_emitter_stream :: particle system does not exist!\n");
    return;
  }
  ParticleEmitter* em = ParticleEmitter_Get(id, emitter);
  if (em == nullptr) {
    g_ReleaseConsole->Output("part_emitter_stream :: specified emitter does not exist\n");
    return;
  }
  em->type = type;
  em->number = number;
}

// ---- Update --------------------------------------------------------------------------------------

void ParticleSystem_Update(int32_t id) {
  ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr) return;
  phase_life(system);
  for (Particle& p : system->particles) {
    const ParticleType* type = ParticleType_Get(p.type);
    if (type != nullptr) move(*type, p);
  }
  for (Particle& p : system->particles) {
    const ParticleType* type = ParticleType_Get(p.type);
    if (type != nullptr) look(*type, p);
  }
  for (size_t i = 0; i < system->emitters.size(); ++i) {
    const ParticleEmitter em = system->emitters[i];
    if (em.exists && em.number != 0) burst(system, em, em.type, em.number);
  }
}

void ParticleSystem_UpdateAll() {
  for (size_t id = 0; id < g_systems.size(); ++id) {
    const ParticleSystem* system = g_systems[id].get();
    if (system != nullptr && system->automaticUpdate) ParticleSystem_Update(static_cast<int32_t>(id));
  }
}

// ---- Depths of rooms without layers --------------------------------------------------------------

float ParticleSystem_MaxDepth() { return ParticleSystem_NextDepth(HUGE_VALF); }

float ParticleSystem_NextDepth(float below) {
  float best = kParticleNoDepth;
  for (const auto& system : g_systems) {
    if (system != nullptr && system->automaticDraw && system->depth < below && system->depth > best) {
      best = system->depth;
    }
  }
  return best;
}

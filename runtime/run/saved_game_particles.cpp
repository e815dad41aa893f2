// The particles of a saved game: every particle type, and every system with its settings, its
// emitters and its live particles. A system is written with the layer name it would look for in
// the next room (empty for an automatic layer) and its depth, so that the resumed room puts it
// back where it stood.
#include <string>
#include <utility>

#include "run/saved_game_records.h"
#include "world/particles_layer.h"

namespace {

template <class IO>
void fields(IO& io, ParticleType& r) {
  io(r.sprite), io(r.animate), io(r.stretch), io(r.randomFrame), io(r.shape);
  io(r.sizeMin), io(r.sizeMax), io(r.sizeIncr), io(r.sizeWiggle), io(r.xscale), io(r.yscale);
  io(r.lifeMin), io(r.lifeMax), io(r.deathKind), io(r.deathNumber), io(r.stepKind), io(r.stepNumber);
  io(r.speedMin), io(r.speedMax), io(r.speedIncr), io(r.speedWiggle);
  io(r.dirMin), io(r.dirMax), io(r.dirIncr), io(r.dirWiggle), io(r.gravityAmount), io(r.gravityDirection);
  io(r.angMin), io(r.angMax), io(r.angIncr), io(r.angWiggle), io(r.angRelative), io(r.colourKind);
  for (int32_t& colour : r.colours) io(colour);
  io(r.alpha1), io(r.alpha2), io(r.alpha3), io(r.additive);
}

template <class IO>
void fields(IO& io, ParticleEmitter& r) {
  io(r.exists), io(r.number), io(r.xMin), io(r.xMax), io(r.yMin), io(r.yMax), io(r.distribution);
  io(r.regionShape), io(r.type);
}

template <class IO>
void fields(IO& io, Particle& r) {
  io(r.type), io(r.age), io(r.life), io(r.x), io(r.y), io(r.prevX), io(r.prevY), io(r.speed), io(r.direction);
  io(r.angle), io(r.colour), io(r.alpha), io(r.size), io(r.frame), io(r.random);
}

// The settings of a system and the name of the layer it returns to; its emitters and particles
// follow, each behind its count.
template <class IO>
void fields(IO& io, ParticleSystem& r, std::string& layer) {
  io(r.oldToNew), io(r.depth), io(r.xDraw), io(r.yDraw), io(r.automaticUpdate), io(r.automaticDraw);
  io(r.destroyAtRoomEnd), io(layer);
}

// At least as many bytes as an emitter and a particle take in the stream, for the counts' checks.
constexpr size_t kEmitterBytes = 4 * 5;
constexpr size_t kParticleBytes = 4 * 15;

// A table by id: its size, then per entry a flag (1 for an entry, 0 for a free id) and the entry,
// which read_entry reads.
template <class T, class ReadEntry>
bool read_table(SaveReader* in, std::vector<std::optional<T>>* table, ReadEntry read_entry) {
  int32_t size = 0;
  if (!in->count(&size, 4)) return false;
  table->resize(static_cast<size_t>(size));
  for (std::optional<T>& entry : *table) {
    int32_t present = 0;
    if (!in->s32(&present) || (present != 0 && present != 1)) return false;
    if (present == 0) continue;
    if (!read_entry(&entry.emplace())) return false;
  }
  return true;
}

template <class T>
bool read_list(SaveReader* in, std::vector<T>* list, size_t min_bytes) {
  int32_t count = 0;
  if (!in->count(&count, min_bytes)) return false;
  list->resize(static_cast<size_t>(count));
  FieldIn io{in};
  for (T& item : *list) fields(io, item);
  return io.ok;
}

}  // namespace

void SavedParticles_Write(SaveWriter* out) {
  FieldOut io{out};
  const int32_t types = ParticleType_TableSize();
  out->s32(types);
  for (int32_t id = 0; id < types; ++id) {
    ParticleType* type = ParticleType_Get(id);
    out->s32(type != nullptr ? 1 : 0);
    if (type != nullptr) fields(io, *type);
  }
  const int32_t systems = ParticleSystem_TableSize();
  out->s32(systems);
  for (int32_t id = 0; id < systems; ++id) {
    ParticleSystem* system = ParticleSystem_Get(id);
    out->s32(system != nullptr ? 1 : 0);
    if (system == nullptr) continue;
    std::string layer = ParticleSystem_KeptLayerName(id);
    fields(io, *system, layer);
    out->s32(static_cast<int32_t>(system->emitters.size()));
    for (ParticleEmitter& emitter : system->emitters) fields(io, emitter);
    out->s32(static_cast<int32_t>(system->particles.size()));
    for (Particle& particle : system->particles) fields(io, particle);
  }
}

bool SavedParticles_Read(SaveReader* in, SavedParticles* particles) {
  FieldIn io{in};
  const auto read_type = [&io](ParticleType* type) {
    fields(io, *type);
    return io.ok;
  };
  const auto read_system = [&io, in](ParticleSystem* system) {
    fields(io, *system, system->layerName);
    if (!io.ok || !read_list(in, &system->emitters, kEmitterBytes) ||
        !read_list(in, &system->particles, kParticleBytes)) {
      return false;
    }
    for (Particle& particle : system->particles) particle.alive = true;
    return true;
  };
  return read_table(in, &particles->types, read_type) && read_table(in, &particles->systems, read_system);
}

void SavedParticles_Apply(SavedParticles particles) {
  ParticleLayer_Replace(std::move(particles.types), std::move(particles.systems));
}

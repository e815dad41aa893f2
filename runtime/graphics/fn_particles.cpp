// The part_type_*, part_emitter_*, part_particles_* builtins and the part_system_* builtins that
// don't touch layers (the others are the world's, world/particles_layer.cpp). Unknown ids are quiet.
#include <iterator>

#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/particles.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgBool;
using gfx_fn::ArgColour;
using gfx_fn::ArgInt;
using gfx_fn::Bool;
using gfx_fn::Real;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)
#define F(n) static_cast<float>(Arg(argc, argv, n))
#define I(n) ArgInt(argc, argv, n)

ParticleType* type_arg(int argc, RValue* argv) { return ParticleType_Get(ArgInt(argc, argv, 0)); }
ParticleSystem* system_arg(int argc, RValue* argv) { return ParticleSystem_Get(ArgInt(argc, argv, 0)); }

// A setter's body runs only for a known type; the result is undefined either way.
#define TYPE_SETTER(name, body)                   \
  KV_BUILTIN(name) {                              \
    *result = RV_Undefined();                     \
    ParticleType* t = type_arg(argc, argv);       \
    if (t == nullptr) return;                     \
    body;                                         \
  }

#define SYSTEM_SETTER(name, body)                 \
  KV_BUILTIN(name) {                              \
    *result = RV_Undefined();                     \
    ParticleSystem* s = system_arg(argc, argv);   \
    if (s == nullptr) return;                     \
    body;                                         \
  }

// ---- Types ---------------------------------------------------------------------------------------

KV_BUILTIN(F_PartTypeCreate) { Real(result, ParticleType_Create()); }
KV_BUILTIN(F_PartTypeDestroy) {
  *result = RV_Undefined();
  ParticleType_Destroy(I(0));
}
KV_BUILTIN(F_PartTypeExists) { Bool(result, type_arg(argc, argv) != nullptr); }
TYPE_SETTER(F_PartTypeClear, *t = ParticleType{})
TYPE_SETTER(F_PartTypeShape, t->shape = I(1); t->sprite = -1)
TYPE_SETTER(F_PartTypeSprite, t->sprite = I(1); t->animate = ArgBool(argc, argv, 2); t->stretch = ArgBool(argc, argv, 3);
            t->randomFrame = ArgBool(argc, argv, 4))
TYPE_SETTER(F_PartTypeSize, t->sizeMin = F(1); t->sizeMax = F(2); t->sizeIncr = F(3); t->sizeWiggle = F(4))
TYPE_SETTER(F_PartTypeScale, t->xscale = F(1); t->yscale = F(2))
TYPE_SETTER(F_PartTypeLife, t->lifeMin = I(1); t->lifeMax = I(2))
TYPE_SETTER(F_PartTypeStep, t->stepNumber = I(1); t->stepKind = I(2))
TYPE_SETTER(F_PartTypeDeath, t->deathNumber = I(1); t->deathKind = I(2))
TYPE_SETTER(F_PartTypeSpeed, t->speedMin = F(1); t->speedMax = F(2); t->speedIncr = F(3); t->speedWiggle = F(4))
TYPE_SETTER(F_PartTypeDirection, t->dirMin = F(1); t->dirMax = F(2); t->dirIncr = F(3); t->dirWiggle = F(4))
TYPE_SETTER(F_PartTypeOrientation, t->angMin = F(1); t->angMax = F(2); t->angIncr = F(3); t->angWiggle = F(4);
            t->angRelative = ArgBool(argc, argv, 5))
TYPE_SETTER(F_PartTypeGravity, t->gravityAmount = F(1); t->gravityDirection = F(2))
TYPE_SETTER(F_PartTypeBlend, t->additive = ArgBool(argc, argv, 1))

void set_colours(ParticleType* t, int32_t kind, int argc, RValue* argv, int count) {
  t->colourKind = kind;
  for (int i = 0; i < count; ++i) t->colours[i] = static_cast<int32_t>(ArgColour(argc, argv, i + 1));
}

TYPE_SETTER(F_PartTypeColour1, set_colours(t, kParticleColourOne, argc, argv, 1))
TYPE_SETTER(F_PartTypeColour2, set_colours(t, kParticleColourTwo, argc, argv, 2))
TYPE_SETTER(F_PartTypeColour3, set_colours(t, kParticleColourThree, argc, argv, 3))
TYPE_SETTER(F_PartTypeColourMix, set_colours(t, kParticleColourMix, argc, argv, 2))
TYPE_SETTER(F_PartTypeColourRgb, set_colours(t, kParticleColourRgb, argc, argv, 6))
TYPE_SETTER(F_PartTypeColourHsv, set_colours(t, kParticleColourHsv, argc, argv, 6))
TYPE_SETTER(F_PartTypeAlpha1, t->alpha1 = t->alpha2 = t->alpha3 = F(1))
TYPE_SETTER(F_PartTypeAlpha2, t->alpha1 = F(1); t->alpha2 = (F(1) + F(2)) / 2.0f; t->alpha3 = F(2))
TYPE_SETTER(F_PartTypeAlpha3, t->alpha1 = F(1); t->alpha2 = F(2); t->alpha3 = F(3))

// ---- Systems -------------------------------------------------------------------------------------

KV_BUILTIN(F_PartSystemExists) { Bool(result, system_arg(argc, argv) != nullptr); }
SYSTEM_SETTER(F_PartSystemDrawOrder, s->oldToNew = ArgBool(argc, argv, 1))
SYSTEM_SETTER(F_PartSystemPosition, s->xDraw = F(1); s->yDraw = F(2))
SYSTEM_SETTER(F_PartSystemAutomaticUpdate, s->automaticUpdate = ArgBool(argc, argv, 1))
SYSTEM_SETTER(F_PartSystemAutomaticDraw, s->automaticDraw = ArgBool(argc, argv, 1))
KV_BUILTIN(F_PartSystemUpdate) {
  *result = RV_Undefined();
  ParticleSystem_Update(I(0));
}
KV_BUILTIN(F_PartSystemDrawit) {
  *result = RV_Undefined();
  ParticleSystem_DrawSystem(I(0), true);
}

// ---- Particles -----------------------------------------------------------------------------------

KV_BUILTIN(F_PartParticlesCreate) {
  *result = RV_Undefined();
  Particles_Create(I(0), F(1), F(2), I(3), I(4));
}
KV_BUILTIN(F_PartParticlesCreateColour) {
  *result = RV_Undefined();
  Particles_Create(I(0), F(1), F(2), I(3), I(5), ArgColour(argc, argv, 4) & 0xFFFFFFu);
}
SYSTEM_SETTER(F_PartParticlesClear, s->particles.clear())
KV_BUILTIN(F_PartParticlesCount) {
  const ParticleSystem* s = system_arg(argc, argv);
  Real(result, s != nullptr ? static_cast<double>(s->particles.size()) : 0.0);
}

// ---- Emitters ------------------------------------------------------------------------------------

ParticleEmitter* emitter_arg(int argc, RValue* argv) { return ParticleEmitter_Get(I(0), I(1)); }

KV_BUILTIN(F_PartEmitterCreate) { Real(result, ParticleEmitter_Create(I(0))); }
KV_BUILTIN(F_PartEmitterDestroy) {
  *result = RV_Undefined();
  if (ParticleEmitter* em = emitter_arg(argc, argv)) em->exists = false;
}
SYSTEM_SETTER(F_PartEmitterDestroyAll, for (ParticleEmitter& em : s->emitters) em.exists = false)
KV_BUILTIN(F_PartEmitterExists) { Bool(result, emitter_arg(argc, argv) != nullptr); }
KV_BUILTIN(F_PartEmitterClear) {
  *result = RV_Undefined();
  if (ParticleEmitter* em = emitter_arg(argc, argv)) {
    *em = ParticleEmitter{};
    em->exists = true;
  }
}
KV_BUILTIN(F_PartEmitterRegion) {
  *result = RV_Undefined();
  ParticleEmitter* em = emitter_arg(argc, argv);
  if (em == nullptr) return;
  em->xMin = F(2);
  em->xMax = F(3);
  em->yMin = F(4);
  em->yMax = F(5);
  em->regionShape = I(6);
  em->distribution = I(7);
}
KV_BUILTIN(F_PartEmitterBurst) {
  *result = RV_Undefined();
  ParticleEmitter_Burst(I(0), I(1), I(2), I(3));
}
KV_BUILTIN(F_PartEmitterStream) {
  *result = RV_Undefined();
  ParticleEmitter_Stream(I(0), I(1), I(2), I(3));
}

#undef SYSTEM_SETTER
#undef TYPE_SETTER
#undef I
#undef F
#undef KV_BUILTIN

const BuiltinRow kRows[] = {
    {"part_type_create", F_PartTypeCreate, 0},
    {"part_type_destroy", F_PartTypeDestroy, 1},
    {"part_type_exists", F_PartTypeExists, 1},
    {"part_type_clear", F_PartTypeClear, 1},
    {"part_type_shape", F_PartTypeShape, 2},
    {"part_type_sprite", F_PartTypeSprite, 5},
    {"part_type_size", F_PartTypeSize, 5},
    {"part_type_scale", F_PartTypeScale, 3},
    {"part_type_life", F_PartTypeLife, 3},
    {"part_type_step", F_PartTypeStep, 3},
    {"part_type_death", F_PartTypeDeath, 3},
    {"part_type_speed", F_PartTypeSpeed, 5},
    {"part_type_direction", F_PartTypeDirection, 5},
    {"part_type_orientation", F_PartTypeOrientation, 6},
    {"part_type_gravity", F_PartTypeGravity, 3},
    {"part_type_colour_mix", F_PartTypeColourMix, 3},
    {"part_type_colour_rgb", F_PartTypeColourRgb, 7},
    {"part_type_colour_hsv", F_PartTypeColourHsv, 7},
    {"part_type_colour1", F_PartTypeColour1, 2},
    {"part_type_colour2", F_PartTypeColour2, 3},
    {"part_type_colour3", F_PartTypeColour3, 4},
    {"part_type_alpha1", F_PartTypeAlpha1, 2},
    {"part_type_alpha2", F_PartTypeAlpha2, 3},
    {"part_type_alpha3", F_PartTypeAlpha3, 4},
    {"part_type_blend", F_PartTypeBlend, 2},
    {"part_system_exists", F_PartSystemExists, 1},
    {"part_system_draw_order", F_PartSystemDrawOrder, 2},
    {"part_system_position", F_PartSystemPosition, 3},
    {"part_system_automatic_update", F_PartSystemAutomaticUpdate, 2},
    {"part_system_automatic_draw", F_PartSystemAutomaticDraw, 2},
    {"part_system_update", F_PartSystemUpdate, 1},
    {"part_system_drawit", F_PartSystemDrawit, 1},
    {"part_particles_create", F_PartParticlesCreate, 5},
    {"part_particles_create_colour", F_PartParticlesCreateColour, 6},
    {"part_particles_create_color", F_PartParticlesCreateColour, 6},
    {"part_particles_clear", F_PartParticlesClear, 1},
    {"part_particles_count", F_PartParticlesCount, 1},
    {"part_emitter_create", F_PartEmitterCreate, 1},
    {"part_emitter_destroy", F_PartEmitterDestroy, 2},
    {"part_emitter_destroy_all", F_PartEmitterDestroyAll, 1},
    {"part_emitter_exists", F_PartEmitterExists, 2},
    {"part_emitter_clear", F_PartEmitterClear, 2},
    {"part_emitter_region", F_PartEmitterRegion, 8},
    {"part_emitter_burst", F_PartEmitterBurst, 4},
    {"part_emitter_stream", F_PartEmitterStream, 4},
    // The other spelling, which the table holds as well.
    {"part_type_color_mix", F_PartTypeColourMix, 3},
    {"part_type_color_rgb", F_PartTypeColourRgb, 7},
    {"part_type_color_hsv", F_PartTypeColourHsv, 7},
    {"part_type_color1", F_PartTypeColour1, 2},
    {"part_type_color2", F_PartTypeColour2, 3},
    {"part_type_color3", F_PartTypeColour3, 4},
};

}  // namespace

void Particles_RegisterBuiltins() { Graphics_AddRows(kRows, static_cast<int>(std::size(kRows))); }

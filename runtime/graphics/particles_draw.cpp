// Drawing a particle system: each particle through its type's sprite, the shape sprite of the
// embedded images, or the built-in shape image as one quad of the batcher.
#include <algorithm>
#include <cmath>

#include "graphics/batcher.h"
#include "graphics/gpu_state.h"
#include "graphics/particles.h"
#include "graphics/particles_images.h"
#include "graphics/sprite.h"
#include "graphics/sprite_draw.h"

namespace {

constexpr float kHalfShape = 32.0f;
constexpr float kNoRotation = 0.0001f;
constexpr float kMaxMergedDepth = 11000.0f;


uint32_t vertex_colour(int32_t colour, float alpha) {
  const int32_t a = std::clamp(static_cast<int32_t>(alpha * 255.0f), 0, 255);
  return (static_cast<uint32_t>(colour) & 0xFFFFFFu) | (static_cast<uint32_t>(a) << 24);
}

// The built-in image: a 64 x 64 quad centred on the truncated position.
void draw_builtin(GRTexture* image, float x, float y, float xs, float ys, float degrees, uint32_t colour) {
  auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, image, kFormatTextured, 6));
  if (v == nullptr) return;
  const float px = std::trunc(x), py = std::trunc(y);
  const float left = -kHalfShape * xs, right = left + 2.0f * kHalfShape * xs;
  const float top = -kHalfShape * ys, bottom = top + 2.0f * kHalfShape * ys;
  const float lx[4] = {left, right, right, left};
  const float ly[4] = {top, top, bottom, bottom};
  float cx[4], cy[4];
  if (std::fabs(degrees) >= kNoRotation) {
    const auto radians = static_cast<float>(degrees * kParticleDegreesToRadians);
    const float c = std::cos(radians), s = std::sin(radians);
    for (int i = 0; i < 4; ++i) {
      cx[i] = px + c * lx[i] + s * ly[i];
      cy[i] = py - s * lx[i] + c * ly[i];
    }
  } else {
    for (int i = 0; i < 4; ++i) {
      cx[i] = px + lx[i];
      cy[i] = py + ly[i];
    }
  }
  const float u[4] = {0.0f, 1.0f, 1.0f, 0.0f};
  const float w[4] = {0.0f, 0.0f, 1.0f, 1.0f};
  constexpr int kCorner[6] = {0, 1, 2, 2, 3, 0};
  const float z = GR_Depth();
  for (int i = 0; i < 6; ++i) {
    const int k = kCorner[i];
    v[i] = VertexTextured{u[k], w[k], colour, cx[k], cy[k], z};
  }
}

void set_additive(bool additive) { Gpu_SetBlendMode(additive ? 1 : 0); }

// One particle; false ends the pass.
bool draw_particle(const ParticleSystem& system, const Particle& p, bool* additive) {
  if (p.life < 1) return false;
  const ParticleType* type = ParticleType_Get(p.type);
  if (type == nullptr) return true;
  const CSprite* sprite = Sprite_Data(type->sprite);
  const SpriteFrame* embedded = nullptr;
  GRTexture* builtin = nullptr;
  if (sprite == nullptr) {
    if (type->shape < 0 || type->shape >= kParticleShapeCount) return false;
    embedded = ParticleImages_Embedded(type->shape);
    if (embedded == nullptr) builtin = ParticleImages_Builtin(type->shape);
    if (embedded == nullptr && builtin == nullptr) return true;
  } else if (sprite->numFrames <= 0) {
    return false;
  }
  int32_t frame = p.frame;
  if (type->animate) frame = type->stretch && sprite != nullptr ? sprite->numFrames * p.age / p.life + p.frame : p.age + p.frame;
  float angle = p.angle;
  if (type->angRelative) angle += p.direction;
  angle += Particle_Fold(static_cast<float>((p.age + 2 * p.random) % 16) * 0.25f) * type->angWiggle;
  const float size = p.size + Particle_Fold(static_cast<float>((p.age + p.random) % 16) * 0.25f) * type->sizeWiggle;
  const float xs = size * type->xscale, ys = size * type->yscale;
  if (type->additive != *additive) {
    *additive = type->additive;
    set_additive(*additive);
  }
  const float x = system.xDraw + p.x, y = system.yDraw + p.y;
  if (sprite != nullptr) {
    sprite->Draw(static_cast<float>(frame), x, y, xs, ys, angle, static_cast<uint32_t>(p.colour), p.alpha);
  } else if (embedded != nullptr) {
    FrameTexture texture;
    if (!Sprite_FrameTexture(*embedded, &texture)) return true;
    uint32_t colours[4];
    GR_Corner_Colours(static_cast<uint32_t>(p.colour), p.alpha, colours);
    Quad_DrawExt(texture, *embedded, kHalfShape, kHalfShape, x, y, xs, ys,
                 static_cast<float>(angle * kParticleDegreesToRadians), colours);
  } else {
    draw_builtin(builtin, x, y, xs, ys, angle, vertex_colour(p.colour, p.alpha));
  }
  return true;
}

}  // namespace

void ParticleSystem_DrawSystem(int32_t id, bool force) {
  const ParticleSystem* system = ParticleSystem_Get(id);
  if (system == nullptr || (!force && !system->automaticDraw)) return;
  bool additive = false;
  const std::vector<Particle>& parts = system->particles;
  const size_t count = parts.size();
  for (size_t i = 0; i < count; ++i) {
    const Particle& p = parts[system->oldToNew ? i : count - 1 - i];
    if (!draw_particle(*system, p, &additive)) break;
  }
  set_additive(false);
}

void ParticleSystem_DrawAtDepth(float depth) {
  const float saved = GR_Depth();
  GR_Set_Depth(std::min(depth, kMaxMergedDepth));
  for (int32_t id = 0; id < ParticleSystem_TableSize(); ++id) {
    const ParticleSystem* system = ParticleSystem_Get(id);
    if (system != nullptr && std::fabs(system->depth - depth) < 0.01f) ParticleSystem_Draw(id);
  }
  GR_Set_Depth(saved);
}

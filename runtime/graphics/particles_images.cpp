// The shape images of particles: the embedded shape sprites of the data file, and the runtime's
// own images drawn here in code. Each built-in image is white, its form in the alpha channel with
// soft edges (particles are effects, so partial alpha is wanted), lit from the top left where a
// form has volume. Drawing never touches the runtime's random generator, so images are the same
// in every run and loading them changes no game's random sequence.
#include "graphics/particles_images.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "datawin/format/page_image.h"
#include "graphics/asset_embedded.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/sprite.h"
#include "graphics/texture_decode.h"
#include "graphics/texture_table.h"

namespace {

constexpr const char* kShapeNames[] = {
    "pt_shape_pixel", "pt_shape_disk",  "pt_shape_square",    "pt_shape_line",  "pt_shape_star",
    "pt_shape_circle", "pt_shape_ring", "pt_shape_sphere",    "pt_shape_flare", "pt_shape_spark",
    "pt_shape_explosion", "pt_shape_cloud", "pt_shape_smoke", "pt_shape_snow",
};
static_assert(std::size(kShapeNames) == kParticleShapeCount);

constexpr int kSide = kParticleImageSide;
constexpr float kCentre = kSide / 2.0f;
constexpr int kSamples = 4;  // per axis, for the edges
constexpr float kPi = 3.14159265f;

std::array<Texture*, kParticleShapeCount> g_builtin{};
Texture* g_white = nullptr;
std::array<SpriteFrame, kParticleShapeCount> g_embedded_frames{};
std::array<bool, kParticleShapeCount> g_embedded{};

// A repeatable hash of a lattice point, 0 to 1.
float lattice(int x, int y, int seed) {
  uint32_t h = static_cast<uint32_t>(x) * 374761393u + static_cast<uint32_t>(y) * 668265263u +
               static_cast<uint32_t>(seed) * 2246822519u;
  h = (h ^ (h >> 13)) * 1274126177u;
  return static_cast<float>((h ^ (h >> 16)) & 0xFFFFu) / 65535.0f;
}

// Smooth value noise at a cell size, 0 to 1.
float noise(float x, float y, float cell, int seed) {
  const float gx = x / cell, gy = y / cell;
  const int ix = static_cast<int>(std::floor(gx)), iy = static_cast<int>(std::floor(gy));
  float fx = gx - static_cast<float>(ix), fy = gy - static_cast<float>(iy);
  fx = fx * fx * (3.0f - 2.0f * fx);
  fy = fy * fy * (3.0f - 2.0f * fy);
  const float top = lattice(ix, iy, seed) + (lattice(ix + 1, iy, seed) - lattice(ix, iy, seed)) * fx;
  const float bottom = lattice(ix, iy + 1, seed) + (lattice(ix + 1, iy + 1, seed) - lattice(ix, iy + 1, seed)) * fx;
  return top + (bottom - top) * fy;
}

float clamp01(float v) { return std::clamp(v, 0.0f, 1.0f); }
float smooth_edge(float distance_inside) { return clamp01(distance_inside + 0.5f); }

// Distance from (x, y) to the segment (ax, ay)-(bx, by).
float segment_distance(float x, float y, float ax, float ay, float bx, float by) {
  const float dx = bx - ax, dy = by - ay;
  const float t = clamp01(((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy));
  return std::hypot(x - (ax + t * dx), y - (ay + t * dy));
}

// Hard-edged forms: coverage of one sample point (x, y relative to the centre), 0 or 1.
float star_inside(float x, float y) {
  const float r = std::hypot(x, y);
  float a = std::atan2(-y, x) - kPi / 2.0f;
  const float sector = 2.0f * kPi / 5.0f;
  a = std::fmod(std::fabs(a) + 100.0f * sector, sector);
  const float t = std::fabs(a - sector / 2.0f) / (sector / 2.0f);  // 0 between points, 1 at a point
  return r <= 12.0f + 18.5f * t * t ? 1.0f : 0.0f;
}

float snow_inside(float x, float y) {
  for (int arm = 0; arm < 6; ++arm) {
    const float a = static_cast<float>(arm) * kPi / 3.0f;
    const float c = std::cos(a), s = std::sin(a);
    const float ex = c * 29.0f, ey = s * 29.0f;
    if (segment_distance(x, y, 0.0f, 0.0f, ex, ey) <= 1.6f) return 1.0f;
    for (float along : {12.0f, 20.0f}) {
      const float bx = c * along, by = s * along;
      const float reach = along < 15.0f ? 7.0f : 5.0f;
      for (float turn : {kPi / 4.0f, -kPi / 4.0f}) {
        const float tx = bx + std::cos(a + turn) * reach, ty = by + std::sin(a + turn) * reach;
        if (segment_distance(x, y, bx, by, tx, ty) <= 1.3f) return 1.0f;
      }
    }
  }
  return std::hypot(x, y) <= 3.5f ? 1.0f : 0.0f;
}

// Alpha of shape at the pixel centre (x, y) relative to the image centre.
float shape_alpha(int32_t shape, float x, float y) {
  const float r = std::hypot(x, y);
  switch (shape) {
    case 0:  // a small square dot
      return std::fabs(x) < 2.0f && std::fabs(y) < 2.0f ? 1.0f : 0.0f;
    case 1:  // disk
      return smooth_edge(30.0f - r);
    case 2:  // square
      return std::fabs(x) < 30.0f && std::fabs(y) < 30.0f ? 1.0f : 0.0f;
    case 3: {  // a thin bar across, fading at its ends
      const float along = clamp01((31.5f - std::fabs(x)) / 6.0f);
      return std::fabs(y) < 2.0f ? along : 0.0f;
    }
    case 4: {  // five-pointed star, supersampled
      float sum = 0.0f;
      for (int sy = 0; sy < kSamples; ++sy) {
        for (int sx = 0; sx < kSamples; ++sx) {
          sum += star_inside(x + (static_cast<float>(sx) + 0.5f) / kSamples - 0.5f,
                             y + (static_cast<float>(sy) + 0.5f) / kSamples - 0.5f);
        }
      }
      return sum / (kSamples * kSamples);
    }
    case 5:  // thin circle outline
      return smooth_edge(1.6f - std::fabs(r - 28.5f));
    case 6:  // soft ring
      return std::exp(-((r - 22.0f) / 6.0f) * ((r - 22.0f) / 6.0f)) * smooth_edge(31.0f - r);
    case 7: {  // sphere: solid body, brighter towards the top left
      const float body = smooth_edge(30.0f - r);
      const float light = 1.0f - clamp01(std::hypot(x + 10.0f, y + 10.0f) / 44.0f);
      return body * (0.55f + 0.45f * light);
    }
    case 8: {  // flare: a hot core, a glow and four thin rays
      const float core = std::exp(-(r / 5.0f) * (r / 5.0f));
      const float glow = std::pow(clamp01(1.0f - r / 31.0f), 2.0f) * 0.55f;
      const float rays = (std::exp(-(y * y) / 1.2f) + std::exp(-(x * x) / 1.2f)) * clamp01(1.0f - r / 31.0f) * 0.7f;
      return clamp01(core + glow + rays);
    }
    case 9: {  // spark: four-pointed glint
      const float ax = std::fabs(x), ay = std::fabs(y);
      const float horizontal = clamp01(1.0f - ax / 30.0f) * clamp01(1.0f - ay / (1.0f + 5.0f * clamp01(1.0f - ax / 30.0f)));
      const float vertical = clamp01(1.0f - ay / 30.0f) * clamp01(1.0f - ax / (1.0f + 5.0f * clamp01(1.0f - ay / 30.0f)));
      return clamp01(std::max(horizontal, vertical) * 1.2f + std::exp(-(r / 4.0f) * (r / 4.0f)));
    }
    case 10: {  // explosion: a ragged burst, denser inside
      const float a = std::atan2(y, x);
      const float edge = 24.0f + 4.0f * std::sin(a * 7.0f) + 2.5f * std::sin(a * 13.0f + 1.0f) +
                         2.0f * (noise(x + 32.0f, y + 32.0f, 6.0f, 10) - 0.5f);
      const float inside = smooth_edge(std::min(edge, 31.0f) - r);
      return inside * (0.55f + 0.45f * noise(x + 32.0f, y + 32.0f, 5.0f, 11));
    }
    case 11: {  // cloud: overlapping soft puffs, flat at the bottom
      constexpr float kPuffs[][3] = {{-14.0f, 4.0f, 13.0f}, {0.0f, -6.0f, 16.0f}, {14.0f, 3.0f, 13.0f},
                                     {-4.0f, 8.0f, 13.0f},  {6.0f, 9.0f, 12.0f}};
      float alpha = 0.0f;
      for (const auto& p : kPuffs) {
        const float d = std::hypot(x - p[0], y - p[1]);
        alpha = std::max(alpha, clamp01((p[2] - d) / 5.0f));
      }
      return alpha * (0.75f + 0.25f * noise(x + 32.0f, y + 32.0f, 7.0f, 12)) * smooth_edge(17.0f - y);
    }
    case 12: {  // smoke: a faint, uneven puff
      const float body = std::pow(clamp01(1.0f - r / 30.0f), 1.4f);
      return body * (0.35f + 0.65f * noise(x + 32.0f, y + 32.0f, 9.0f, 13)) * 0.8f;
    }
    case 13: {  // snow: six-armed flake, supersampled
      float sum = 0.0f;
      for (int sy = 0; sy < kSamples; ++sy) {
        for (int sx = 0; sx < kSamples; ++sx) {
          sum += snow_inside(x + (static_cast<float>(sx) + 0.5f) / kSamples - 0.5f,
                             y + (static_cast<float>(sy) + 0.5f) / kSamples - 0.5f);
        }
      }
      return sum / (kSamples * kSamples);
    }
    default:
      return 0.0f;
  }
}

Texture* make_texture(const std::vector<uint8_t>& pixels) {
  Texture* texture = Texture_Create(kSide, kSide, kTextureFormatRGBA, kCreateKeepOnFlush);
  if (texture != nullptr) Texture_Update(texture, pixels.data(), kSide, kSide);
  return texture;
}

// The white texture goes through the raw image form, as any page the loader reads.
Texture* make_white() {
  const std::vector<uint8_t> white(static_cast<size_t>(kSide) * kSide * 4, 0xFF);
  const std::vector<uint8_t> image = datawin::page::encode_raw(white.data(), kSide, kSide, 0);
  DecodedImage decoded;
  if (!Texture_DecodeRaw(image.data(), static_cast<uint32_t>(image.size()), &decoded)) return nullptr;
  return make_texture(decoded.pixels);
}

}  // namespace

const char* ParticleImages_Name(int32_t shape) {
  return shape >= 0 && shape < kParticleShapeCount ? kShapeNames[shape] : nullptr;
}

std::vector<uint8_t> ParticleImages_Pixels(int32_t shape) {
  std::vector<uint8_t> pixels;
  if (shape < 0 || shape >= kParticleShapeCount) return pixels;
  pixels.resize(static_cast<size_t>(kSide) * kSide * 4);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const float alpha = shape_alpha(shape, static_cast<float>(x) + 0.5f - kCentre, static_cast<float>(y) + 0.5f - kCentre);
      uint8_t* p = &pixels[(static_cast<size_t>(y) * kSide + x) * 4];
      p[0] = p[1] = p[2] = 0xFF;
      p[3] = static_cast<uint8_t>(std::lround(clamp01(alpha) * 255.0f));
    }
  }
  return pixels;
}

void ParticleImages_Load() {
  for (int32_t shape = 0; shape < kParticleShapeCount; ++shape) {
    if (g_builtin[shape] == nullptr) g_builtin[shape] = make_texture(ParticleImages_Pixels(shape));
  }
  if (g_white == nullptr) g_white = make_white();
}

void ParticleImages_Free() {
  for (Texture*& texture : g_builtin) {
    Texture_Free(texture);
    texture = nullptr;
  }
  Texture_Free(g_white);
  g_white = nullptr;
}

GRTexture* ParticleImages_Builtin(int32_t shape) {
  if (shape < 0 || shape >= kParticleShapeCount) return nullptr;
  if (g_builtin[shape] == nullptr) ParticleImages_Load();
  return g_builtin[shape];
}

GRTexture* ParticleImages_White() {
  if (g_white == nullptr) ParticleImages_Load();
  return g_white;
}

const SpriteFrame* ParticleImages_Embedded(int32_t shape) {
  if (shape < 0 || shape >= kParticleShapeCount || !g_embedded[shape]) return nullptr;
  return &g_embedded_frames[shape];
}

void ParticleImages_FindEmbedded() {
  for (int32_t shape = 0; shape < kParticleShapeCount; ++shape) {
    const uint8_t* entry = EmbeddedImage_Find(kShapeNames[shape], false);
    g_embedded[shape] = entry != nullptr;
    if (entry != nullptr) g_embedded_frames[shape] = SpriteFrame_FromEntry(entry);
  }
}

void ParticleImages_ForgetEmbedded() { g_embedded.fill(false); }

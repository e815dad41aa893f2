#include "graphics/device_state.h"

#include <cmath>
#include <cstring>

#include "graphics/batcher.h"
#include "graphics/cull.h"
#include "graphics/render_state.h"
#include "platform/device.h"

namespace {

struct DeviceStateLayer {
  uint32_t render[kRenderStateCount] = {};
  uint32_t sampler[kSamplerWords] = {};
  uint32_t dirty = kDirtyAll;
  float matrices[kMatrixCount][16] = {};
  uint32_t ambient = 0;
  LightSlot lights[kMaxLights];
};

DeviceStateLayer g_ds;

float byte_unit(uint32_t colour, int shift) { return static_cast<float>((colour >> shift) & 0xFF) / 255.0f; }

// Colour-only factors have no meaning for alpha; they take their alpha forms.
uint8_t alpha_factor(uint32_t factor) {
  switch (factor) {
    case 3: return 5;
    case 4: return 6;
    case 9: return 7;
    case 10: return 8;
    default: return static_cast<uint8_t>(factor);
  }
}

void recompute_products() {
  Matrix_Multiply(g_ds.matrices[kMatrixWorld], g_ds.matrices[kMatrixView], g_ds.matrices[kMatrixWorldView]);
  Matrix_Multiply(g_ds.matrices[kMatrixWorldView], g_ds.matrices[kMatrixProjection],
                  g_ds.matrices[kMatrixWorldViewProjection]);
}

BlendDesc blend_desc() {
  BlendDesc d;
  d.enable = g_ds.render[kRSBlendEnable] != 0;
  d.src = static_cast<uint8_t>(g_ds.render[kRSSrcBlend]);
  d.dest = static_cast<uint8_t>(g_ds.render[kRSDestBlend]);
  d.src_alpha = alpha_factor(g_ds.render[kRSSrcBlendAlpha]);
  d.dest_alpha = alpha_factor(g_ds.render[kRSDestBlendAlpha]);
  d.write_mask = static_cast<uint8_t>(g_ds.render[kRSColourWriteEnable] & 15);
  return d;
}

DepthStencilDesc depth_desc() {
  DepthStencilDesc d;
  d.depth_test = g_ds.render[kRSZEnable] != 0;
  d.depth_write = g_ds.render[kRSZWriteEnable] != 0;
  d.depth_func = static_cast<uint8_t>(g_ds.render[kRSZFunc]);
  d.stencil = g_ds.render[kRSStencilEnable] != 0;
  d.stencil_fail = static_cast<uint8_t>(g_ds.render[kRSStencilFail]);
  d.stencil_depth_fail = static_cast<uint8_t>(g_ds.render[kRSStencilZFail]);
  d.stencil_pass = static_cast<uint8_t>(g_ds.render[kRSStencilPass]);
  d.stencil_func = static_cast<uint8_t>(g_ds.render[kRSStencilFunc]);
  d.stencil_ref = static_cast<uint8_t>(g_ds.render[kRSStencilRef]);
  d.stencil_read_mask = static_cast<uint8_t>(g_ds.render[kRSStencilReadMask]);
  d.stencil_write_mask = static_cast<uint8_t>(g_ds.render[kRSStencilWriteMask]);
  return d;
}

RasterDesc raster_desc() {
  RasterDesc d;
  const uint32_t fill = g_ds.render[kRSFillMode];
  d.wireframe = fill == 1 || fill == 2;
  const uint32_t cull = g_ds.render[kRSCullMode];
  d.cull = cull == 1 || cull == 2 ? static_cast<int32_t>(cull) : 0;
  return d;
}

SamplerDesc sampler_desc(int stage) {
  const uint32_t* f = &g_ds.sampler[stage * kSamplerFields];
  SamplerDesc d;
  d.mag_linear = f[kSampMagFilter] != 0;
  d.min_linear = f[kSampMinFilter] != 0;
  d.mip_filter = static_cast<int32_t>(f[kSampMipFilter]);
  d.repeat_u = f[kSampAddressU] == 0;
  d.repeat_v = f[kSampAddressV] == 0;
  d.min_lod = RenderState_BitsFloat(f[kSampMinMip]);
  d.max_lod = RenderState_BitsFloat(f[kSampMaxMip]);
  d.lod_bias = RenderState_BitsFloat(f[kSampMipBias]);
  d.max_anisotropy = static_cast<int32_t>(f[kSampMaxAniso]);
  return d;
}

void fill_constants(ShaderConstants* c) {
  std::memcpy(c->view, g_ds.matrices[kMatrixView], sizeof(c->view));
  std::memcpy(c->projection, g_ds.matrices[kMatrixProjection], sizeof(c->projection));
  std::memcpy(c->world, g_ds.matrices[kMatrixWorld], sizeof(c->world));
  std::memcpy(c->world_view, g_ds.matrices[kMatrixWorldView], sizeof(c->world_view));
  std::memcpy(c->world_view_projection, g_ds.matrices[kMatrixWorldViewProjection], sizeof(c->world_view_projection));
  c->lighting = g_ds.render[kRSLighting] != 0;
  c->fog = g_ds.render[kRSFogEnable] != 0;
  const float start = RenderState_BitsFloat(g_ds.render[kRSFogStart]);
  const float end = RenderState_BitsFloat(g_ds.render[kRSFogEnd]);
  c->fog_start = start;
  c->rcp_fog_range = end - start > 0.0f ? 1.0f / (end - start) : 1.0f;
  const uint32_t fog = g_ds.render[kRSFogColour];
  c->fog_colour[0] = byte_unit(fog, 0);
  c->fog_colour[1] = byte_unit(fog, 8);
  c->fog_colour[2] = byte_unit(fog, 16);
  c->alpha_test = g_ds.render[kRSAlphaTestEnable] != 0;
  c->alpha_ref = static_cast<float>(g_ds.render[kRSAlphaRef] & 0xFF) / 255.0f;
  c->ambient[0] = byte_unit(g_ds.ambient, 0);
  c->ambient[1] = byte_unit(g_ds.ambient, 8);
  c->ambient[2] = byte_unit(g_ds.ambient, 16);
  c->ambient[3] = byte_unit(g_ds.ambient, 24);
  for (int i = 0; i < kMaxLights; ++i) {
    const LightSlot& l = g_ds.lights[i];
    // A light that is off, or of the other kind, sits in its slot as a harmless light.
    const float off_dir[4] = {0.0f, 1.0f, 0.0f, 0.0f};
    std::memcpy(c->dir_light_dir[i], off_dir, sizeof(off_dir));
    std::memcpy(c->point_light_pos[i], off_dir, sizeof(off_dir));
    std::memset(c->dir_light_colour[i], 0, sizeof(c->dir_light_colour[i]));
    std::memset(c->point_light_colour[i], 0, sizeof(c->point_light_colour[i]));
    if (!l.enabled) continue;
    const float colour[4] = {byte_unit(l.colour, 0), byte_unit(l.colour, 8), byte_unit(l.colour, 16),
                             byte_unit(l.colour, 24)};
    if (l.type == 0) {
      const float len = std::sqrt(l.x * l.x + l.y * l.y + l.z * l.z);
      const float inv = len > 0.0f ? 1.0f / len : 0.0f;
      const float dir[4] = {l.x * inv, l.y * inv, l.z * inv, 0.0f};
      std::memcpy(c->dir_light_dir[i], dir, sizeof(dir));
      std::memcpy(c->dir_light_colour[i], colour, sizeof(colour));
    } else {
      const float pos[4] = {l.x, l.y, l.z, l.range};
      std::memcpy(c->point_light_pos[i], pos, sizeof(pos));
      std::memcpy(c->point_light_colour[i], colour, sizeof(colour));
    }
  }
}

}  // namespace

void DeviceState_SetRenderState(int32_t id, uint32_t value) {
  if (id < 0 || id >= kRenderStateCount) return;
  g_ds.render[id] = value;
  switch (id) {
    case kRSBlendEnable:
    case kRSSrcBlend:
    case kRSDestBlend:
    case kRSSrcBlendAlpha:
    case kRSDestBlendAlpha:
    case kRSColourWriteEnable:
      g_ds.dirty |= kDirtyBlend;
      break;
    case kRSZEnable:
    case kRSZWriteEnable:
    case kRSZFunc:
    case kRSStencilEnable:
    case kRSStencilFail:
    case kRSStencilZFail:
    case kRSStencilPass:
    case kRSStencilFunc:
    case kRSStencilRef:
    case kRSStencilReadMask:
    case kRSStencilWriteMask:
      g_ds.dirty |= kDirtyDepthStencil;
      break;
    case kRSFillMode:
    case kRSCullMode:
      g_ds.dirty |= kDirtyRaster;
      break;
    case kRSAlphaTestEnable:
    case kRSAlphaRef:
    case kRSFogColour:
      g_ds.dirty |= kDirtyPixelMaterial;
      break;
    case kRSFogEnable:
    case kRSFogStart:
    case kRSFogEnd:
      g_ds.dirty |= kDirtyPixelMaterial | kDirtyVertexMaterial;
      break;
    case kRSLighting:
      g_ds.dirty |= kDirtyVertexMaterial;
      break;
    default:
      break;
  }
}

void DeviceState_SetSamplerState(int32_t stage, int32_t field, uint32_t value) {
  if (stage < 0 || stage >= kSamplerStages || field < 0 || field >= kSamplerFields) return;
  g_ds.sampler[stage * kSamplerFields + field] = value;
  g_ds.dirty |= kDirtySamplerStage0 << stage;
}

void DeviceState_Commit(IDevice* device) {
  const uint32_t dirty = g_ds.dirty;
  if (dirty == 0 || device == nullptr) return;
  if (dirty & (kDirtyMatrices | kDirtyPixelMaterial | kDirtyVertexMaterial | kDirtyLights)) {
    ShaderConstants constants;
    fill_constants(&constants);
    device->SetConstants(constants);
  }
  if (dirty & kDirtyBlend) device->SetBlend(blend_desc());
  if (dirty & kDirtyDepthStencil) device->SetDepthStencil(depth_desc());
  if (dirty & kDirtyRaster) device->SetRaster(raster_desc());
  for (int stage = 0; stage < kSamplerStages; ++stage) {
    if (dirty & (kDirtySamplerStage0 << stage)) device->SetSampler(stage, sampler_desc(stage));
  }
  g_ds.dirty = 0;
}

void DeviceState_MarkDirty(uint32_t bits) { g_ds.dirty |= bits; }
uint32_t DeviceState_Dirty() { return g_ds.dirty; }
bool DeviceState_LightingOn() { return g_ds.render[kRSLighting] != 0; }

void DeviceState_Reset() {
  g_ds = DeviceStateLayer{};
  for (int id = 0; id < kRenderStateCount; ++id) g_ds.render[id] = RenderState_Default(id);
  for (int i = 0; i < kSamplerWords; ++i) g_ds.sampler[i] = SamplerState_Default(i % kSamplerFields);
  for (float* m : g_ds.matrices) Matrix_Identity(m);
  g_ds.dirty = kDirtyAll;
}

namespace {
const bool g_initialised = (DeviceState_Reset(), true);
}  // namespace

// ---- Matrices -----------------------------------------------------------------------------------

void Matrix_Identity(float out[16]) {
  std::memset(out, 0, 16 * sizeof(float));
  out[0] = out[5] = out[10] = out[15] = 1.0f;
}

void Matrix_Multiply(const float a[16], const float b[16], float out[16]) {
  float r[16];
  for (int row = 0; row < 4; ++row) {
    for (int col = 0; col < 4; ++col) {
      float sum = 0.0f;
      for (int k = 0; k < 4; ++k) sum += a[row * 4 + k] * b[k * 4 + col];
      r[row * 4 + col] = sum;
    }
  }
  std::memcpy(out, r, sizeof(r));
}

bool Matrix_Inverse(const float m[16], float out[16]) {
  // Cofactor expansion in double precision, so that room-sized translations keep their digits.
  double a[16];
  for (int i = 0; i < 16; ++i) a[i] = m[i];
  double inv[16];
  inv[0] = a[5] * a[10] * a[15] - a[5] * a[11] * a[14] - a[9] * a[6] * a[15] + a[9] * a[7] * a[14] +
           a[13] * a[6] * a[11] - a[13] * a[7] * a[10];
  inv[4] = -a[4] * a[10] * a[15] + a[4] * a[11] * a[14] + a[8] * a[6] * a[15] - a[8] * a[7] * a[14] -
           a[12] * a[6] * a[11] + a[12] * a[7] * a[10];
  inv[8] = a[4] * a[9] * a[15] - a[4] * a[11] * a[13] - a[8] * a[5] * a[15] + a[8] * a[7] * a[13] +
           a[12] * a[5] * a[11] - a[12] * a[7] * a[9];
  inv[12] = -a[4] * a[9] * a[14] + a[4] * a[10] * a[13] + a[8] * a[5] * a[14] - a[8] * a[6] * a[13] -
            a[12] * a[5] * a[10] + a[12] * a[6] * a[9];
  inv[1] = -a[1] * a[10] * a[15] + a[1] * a[11] * a[14] + a[9] * a[2] * a[15] - a[9] * a[3] * a[14] -
           a[13] * a[2] * a[11] + a[13] * a[3] * a[10];
  inv[5] = a[0] * a[10] * a[15] - a[0] * a[11] * a[14] - a[8] * a[2] * a[15] + a[8] * a[3] * a[14] +
           a[12] * a[2] * a[11] - a[12] * a[3] * a[10];
  inv[9] = -a[0] * a[9] * a[15] + a[0] * a[11] * a[13] + a[8] * a[1] * a[15] - a[8] * a[3] * a[13] -
           a[12] * a[1] * a[11] + a[12] * a[3] * a[9];
  inv[13] = a[0] * a[9] * a[14] - a[0] * a[10] * a[13] - a[8] * a[1] * a[14] + a[8] * a[2] * a[13] +
            a[12] * a[1] * a[10] - a[12] * a[2] * a[9];
  inv[2] = a[1] * a[6] * a[15] - a[1] * a[7] * a[14] - a[5] * a[2] * a[15] + a[5] * a[3] * a[14] +
           a[13] * a[2] * a[7] - a[13] * a[3] * a[6];
  inv[6] = -a[0] * a[6] * a[15] + a[0] * a[7] * a[14] + a[4] * a[2] * a[15] - a[4] * a[3] * a[14] -
           a[12] * a[2] * a[7] + a[12] * a[3] * a[6];
  inv[10] = a[0] * a[5] * a[15] - a[0] * a[7] * a[13] - a[4] * a[1] * a[15] + a[4] * a[3] * a[13] +
            a[12] * a[1] * a[7] - a[12] * a[3] * a[5];
  inv[14] = -a[0] * a[5] * a[14] + a[0] * a[6] * a[13] + a[4] * a[1] * a[14] - a[4] * a[2] * a[13] -
            a[12] * a[1] * a[6] + a[12] * a[2] * a[5];
  inv[3] = -a[1] * a[6] * a[11] + a[1] * a[7] * a[10] + a[5] * a[2] * a[11] - a[5] * a[3] * a[10] -
           a[9] * a[2] * a[7] + a[9] * a[3] * a[6];
  inv[7] = a[0] * a[6] * a[11] - a[0] * a[7] * a[10] - a[4] * a[2] * a[11] + a[4] * a[3] * a[10] +
           a[8] * a[2] * a[7] - a[8] * a[3] * a[6];
  inv[11] = -a[0] * a[5] * a[11] + a[0] * a[7] * a[9] + a[4] * a[1] * a[11] - a[4] * a[3] * a[9] -
            a[8] * a[1] * a[7] + a[8] * a[3] * a[5];
  inv[15] = a[0] * a[5] * a[10] - a[0] * a[6] * a[9] - a[4] * a[1] * a[10] + a[4] * a[2] * a[9] +
            a[8] * a[1] * a[6] - a[8] * a[2] * a[5];
  const double det = a[0] * inv[0] + a[1] * inv[4] + a[2] * inv[8] + a[3] * inv[12];
  if (det == 0.0) return false;
  for (int i = 0; i < 16; ++i) out[i] = static_cast<float>(inv[i] / det);
  return true;
}

void Matrix_LookAt(float fx, float fy, float fz, float tx, float ty, float tz, float ux, float uy, float uz,
                   float out[16]) {
  float zx = tx - fx, zy = ty - fy, zz = tz - fz;
  float len = std::sqrt(zx * zx + zy * zy + zz * zz);
  if (len > 0.0f) {
    zx /= len;
    zy /= len;
    zz /= len;
  }
  // x = up x z, y = z x x (a left-handed look-at).
  float xx = uy * zz - uz * zy, xy = uz * zx - ux * zz, xz = ux * zy - uy * zx;
  len = std::sqrt(xx * xx + xy * xy + xz * xz);
  if (len > 0.0f) {
    xx /= len;
    xy /= len;
    xz /= len;
  }
  const float yx = zy * xz - zz * xy, yy = zz * xx - zx * xz, yz = zx * xy - zy * xx;
  const float m[16] = {xx,  yx,  zx,  0.0f, xy, yy, zy, 0.0f, xz, yz, zz, 0.0f,
                       -(xx * fx + xy * fy + xz * fz), -(yx * fx + yy * fy + yz * fz),
                       -(zx * fx + zy * fy + zz * fz), 1.0f};
  std::memcpy(out, m, sizeof(m));
}

void Matrix_Ortho(float w, float h, float znear, float zfar, float out[16]) {
  Matrix_Identity(out);
  if (w == 0.0f || h == 0.0f || znear == zfar) return;
  out[0] = 2.0f / w;
  out[5] = 2.0f / h;
  out[10] = 1.0f / (zfar - znear);
  out[14] = znear / (znear - zfar);
  out[15] = 1.0f;
}

void Matrix_Perspective(float w, float h, float znear, float zfar, float out[16]) {
  Matrix_Identity(out);
  if (w == 0.0f || h == 0.0f || znear == zfar) return;
  std::memset(out, 0, 16 * sizeof(float));
  out[0] = 2.0f * znear / w;
  out[5] = 2.0f * znear / h;
  out[10] = zfar / (zfar - znear);
  out[11] = 1.0f;
  out[14] = znear * zfar / (znear - zfar);
}

void Matrix_PerspectiveFov(float fov_y_degrees, float aspect, float znear, float zfar, float out[16]) {
  Matrix_Identity(out);
  const float half = fov_y_degrees * 3.14159265358979f / 360.0f;
  if (aspect == 0.0f || znear == zfar || std::tan(half) == 0.0f) return;
  const float y_scale = 1.0f / std::tan(half);
  std::memset(out, 0, 16 * sizeof(float));
  out[0] = y_scale / aspect;
  out[5] = y_scale;
  out[10] = zfar / (zfar - znear);
  out[11] = 1.0f;
  out[14] = znear * zfar / (znear - zfar);
}

void GR_Set_Matrix(int32_t index, const float matrix[16]) {
  if (index < 0 || index > kMatrixWorld || matrix == nullptr) return;
  GR_Flush();
  std::memcpy(g_ds.matrices[index], matrix, 16 * sizeof(float));
  recompute_products();
  g_ds.dirty |= kDirtyMatrices;
  if (index == kMatrixWorld) Cull_WorldChanged();
}

void GR_Get_Matrix(int32_t index, float out[16]) {
  if (index < 0 || index >= kMatrixCount) {
    Matrix_Identity(out);
    return;
  }
  std::memcpy(out, g_ds.matrices[index], 16 * sizeof(float));
}

ClipSpaceScope::ClipSpaceScope() {
  GR_Get_Matrix(kMatrixWorld, saved_[0]);
  GR_Get_Matrix(kMatrixView, saved_[1]);
  GR_Get_Matrix(kMatrixProjection, saved_[2]);
  float identity[16];
  Matrix_Identity(identity);
  GR_Set_Matrices(identity, identity, identity);
}

ClipSpaceScope::~ClipSpaceScope() {
  GR_Flush();
  GR_Set_Matrices(saved_[0], saved_[1], saved_[2]);
}

void GR_Set_Matrices(const float* world, const float* view, const float* projection) {
  if (world == nullptr && view == nullptr && projection == nullptr) return;
  GR_Flush();
  if (world != nullptr) {
    std::memcpy(g_ds.matrices[kMatrixWorld], world, 16 * sizeof(float));
    Cull_WorldChanged();
  }
  if (view != nullptr) std::memcpy(g_ds.matrices[kMatrixView], view, 16 * sizeof(float));
  if (projection != nullptr) std::memcpy(g_ds.matrices[kMatrixProjection], projection, 16 * sizeof(float));
  recompute_products();
  g_ds.dirty |= kDirtyMatrices;
}

void GR_Set_View(float x, float y, float w, float h, float angle) {
  const float radians = -angle * 3.14159265358979f / 180.0f;
  float view[16];
  float projection[16];
  Matrix_LookAt(x + w / 2.0f, y + h / 2.0f, -16000.0f, x + w / 2.0f, y + h / 2.0f, 0.0f, std::sin(radians),
                std::cos(radians), 0.0f, view);
  Matrix_Ortho(w, -h, 1.0f, 32000.0f, projection);
  GR_Set_Matrices(nullptr, view, projection);
  Cull_SetView(x, y, w, h, angle);
  Cull_SetPerspective(false);
}

// ---- Lights -------------------------------------------------------------------------------------

void Light_DefineAmbient(uint32_t colour) {
  g_ds.ambient = colour;
  g_ds.dirty |= kDirtyLights;
}

uint32_t Light_Ambient() { return g_ds.ambient; }

void Light_DefineDirection(int32_t index, float dx, float dy, float dz, uint32_t colour) {
  if (index < 0 || index >= kMaxLights) return;
  LightSlot& l = g_ds.lights[index];
  l.type = 0;
  l.x = dx;
  l.y = dy;
  l.z = dz;
  l.range = 0.0f;
  l.colour = colour;
  g_ds.dirty |= kDirtyLights;
}

void Light_DefinePoint(int32_t index, float x, float y, float z, float range, uint32_t colour) {
  if (index < 0 || index >= kMaxLights) return;
  LightSlot& l = g_ds.lights[index];
  l.type = 1;
  l.x = x;
  l.y = y;
  l.z = z;
  l.range = range;
  l.colour = colour;
  g_ds.dirty |= kDirtyLights;
}

void Light_Enable(int32_t index, bool enable) {
  if (index < 0 || index >= kMaxLights) return;
  g_ds.lights[index].enabled = enable;
  g_ds.dirty |= kDirtyLights;
}

bool Light_Get(int32_t index, LightSlot* out) {
  if (index < 0 || index >= kMaxLights) return false;
  *out = g_ds.lights[index];
  return true;
}

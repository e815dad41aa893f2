#pragma once
// The device state layer: the applied render and sampler words turned into the device's blend,
// depth-stencil, rasterizer and sampler descriptions, plus the constants of the built-in shaders
// (the world, view and projection matrices with their products, the material words and the
// lights). Changes only mark dirty bits; DeviceState_Commit sends what is dirty just before a draw,
// so a run of state changes between two draws costs one device call per description.
// Matrices are 16 floats, row-major, for row vectors (position x world x view x projection).
#include <cstdint>

class IDevice;

// Dirty bits of the layer.
constexpr uint32_t kDirtyMatrices = 1;
constexpr uint32_t kDirtyBlend = 2;
constexpr uint32_t kDirtyDepthStencil = 4;
constexpr uint32_t kDirtyRaster = 8;
constexpr uint32_t kDirtySamplerStage0 = 0x10;  // << stage
constexpr uint32_t kDirtyPixelMaterial = 0x1000;
constexpr uint32_t kDirtyVertexMaterial = 0x2000;
constexpr uint32_t kDirtyLights = 0x4000;
constexpr uint32_t kDirtyAll = 0x7FFF;

void DeviceState_SetRenderState(int32_t id, uint32_t value);
void DeviceState_SetSamplerState(int32_t stage, int32_t field, uint32_t value);
// Sends everything dirty to the device, then clears the bits.
void DeviceState_Commit(IDevice* device);
void DeviceState_MarkDirty(uint32_t bits);
uint32_t DeviceState_Dirty();
// Whether the lit shader set applies (render state 21 as applied).
bool DeviceState_LightingOn();
// The layer's own defaults: descriptions from the default words, identity matrices, no lights.
void DeviceState_Reset();

enum MatrixIndex : int32_t {
  kMatrixView = 0,
  kMatrixProjection = 1,
  kMatrixWorld = 2,
  kMatrixWorldView = 3,
  kMatrixWorldViewProjection = 4,
  kMatrixCount = 5,
};

// Setting a matrix flushes the batch and recomputes the products. Only 0..2 can be set.
void GR_Set_Matrix(int32_t index, const float matrix[16]);
void GR_Get_Matrix(int32_t index, float out[16]);
void GR_Set_Matrices(const float* world, const float* view, const float* projection);

// Drawing in clip space: identity world, view and projection matrices for the scope's life; at its
// end the batch is flushed and the previous matrices come back.
class ClipSpaceScope {
 public:
  ClipSpaceScope();
  ~ClipSpaceScope();
  ClipSpaceScope(const ClipSpaceScope&) = delete;
  ClipSpaceScope& operator=(const ClipSpaceScope&) = delete;

 private:
  float saved_[3][16];
};

// Matrix helpers shared with the builtins.
void Matrix_Identity(float out[16]);
void Matrix_Multiply(const float a[16], const float b[16], float out[16]);  // a x b
// False (out untouched) for a singular matrix.
bool Matrix_Inverse(const float m[16], float out[16]);
void Matrix_LookAt(float from_x, float from_y, float from_z, float to_x, float to_y, float to_z, float up_x,
                   float up_y, float up_z, float out[16]);
// Ortho from width, height, near, far; identity when w, h are 0 or near equals far.
void Matrix_Ortho(float w, float h, float znear, float zfar, float out[16]);
void Matrix_Perspective(float w, float h, float znear, float zfar, float out[16]);
void Matrix_PerspectiveFov(float fov_y_degrees, float aspect, float znear, float zfar, float out[16]);
// The 2D set-up of a view: look-at from above the rectangle's centre, up rotated by angle
// (degrees), and ortho(w, -h, 1, 32000); the rectangle becomes the culling view (cull.h).
void GR_Set_View(float x, float y, float w, float h, float angle);

// Lights: 8 slots, each directional (type 0) or point (type 1).
struct LightSlot {
  bool enabled = false;
  int32_t type = 0;
  float x = 0.0f, y = 0.0f, z = 0.0f;  // direction or position
  float range = 0.0f;
  uint32_t colour = 0;
};
void Light_DefineAmbient(uint32_t colour);
uint32_t Light_Ambient();
void Light_DefineDirection(int32_t index, float dx, float dy, float dz, uint32_t colour);
void Light_DefinePoint(int32_t index, float x, float y, float z, float range, uint32_t colour);
void Light_Enable(int32_t index, bool enable);
// False for an index outside 0..7.
bool Light_Get(int32_t index, LightSlot* out);

#pragma once
// The graphics device: primitives only. It owns textures, render targets and vertex buffers under
// small integer ids, sets whole state descriptions, draws vertex arrays and presents. It never sees
// a sprite, a batch or a numbered render state: the shared graphics layer turns those into the
// descriptions below and calls these operations only when something really changed.
//
// Conventions every device keeps:
//   - Texel row 0 is the top of an image. Drawing into a render target keeps that: pixel (x, y) of
//     the target, y counted from the top, is texel row y. Viewports and scissors are given from the
//     top-left corner of the current target. ReadPixels returns rows top-down.
//   - Colours are 32-bit words with red in the low byte; vertex colours are four normalised bytes.
//   - The matrices map depth 0..1 (near..far); the device maps that onto its own range.
//   - A clear ignores the scissor and the colour, depth and stencil write masks.
// Ids are never 0; 0 means "none" (for a render target: the window's back buffer). Operations on
// an unknown id do nothing. All calls come from one thread: the runtime calls its device from the
// main thread, and a device may carry the calls out on a thread of its own (the OpenGL backend
// runs its device on a render thread that holds the context).
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

using DeviceTextureId = uint32_t;
using DeviceBufferId = uint32_t;

// Primitive types as the batcher numbers them; triangle fans never reach a device.
enum class PrimitiveType : int32_t {
  kPointList = 1,
  kLineList = 2,
  kLineStrip = 3,
  kTriangleList = 4,
  kTriangleStrip = 5,
};

// Built-in shader sets: what the pixel stage samples and how the vertex stage colours.
enum class ShaderSet : int32_t {
  kColour = 0,     // position, colour
  kTextured = 1,   // position, colour, uv: sample x colour
  kNormalUnlit = 2,
  kNormalLit = 3,  // per-vertex lights from the constants
  kCount = 4,
};
inline constexpr const char* kShaderSetNames[] = {"colour", "textured", "normal_unlit", "normal_lit"};
static_assert(std::size(kShaderSetNames) == static_cast<size_t>(ShaderSet::kCount));

// One vertex attribute: what it is, where it lies in a vertex, how many components.
enum class VertexAttribute : int32_t {
  kPosition = 0,  // 2 or 3 floats
  kColour = 1,    // 4 normalised unsigned bytes
  kTexCoord = 2,  // 2 floats
  kNormal = 3,    // 3 floats
  kCount = 4,
};
inline constexpr const char* kVertexAttributeNames[] = {"in_Position", "in_Colour", "in_TextureCoord", "in_Normal"};
static_assert(std::size(kVertexAttributeNames) == static_cast<size_t>(VertexAttribute::kCount));

// How an element's components are stored: floats, bytes read as 0..1, or bytes read as 0..255.
enum class ElementStorage : int32_t { kFloat = 0, kUnorm8 = 1, kUint8 = 2 };

struct VertexElement {
  VertexAttribute attribute = VertexAttribute::kPosition;
  int32_t components = 0;  // 0: the element is absent
  int32_t offset = 0;      // bytes from the start of a vertex
  ElementStorage storage = ElementStorage::kFloat;  // colour is always kUnorm8
};

// Attributes beyond the four built-in ones reach user programs only, at the locations after them:
// the second to fourth texture coordinates (in_TextureCoord1..3), a second colour (in_Colour1) and
// the remaining elements of a custom format.
constexpr int kExtraVertexAttributes = 6;
inline constexpr const char* kExtraAttributeNames[kExtraVertexAttributes] = {
    "in_TextureCoord1", "in_TextureCoord2", "in_TextureCoord3", "in_Colour1", "in_BlendWeight", "in_BlendIndices"};

struct VertexLayout {
  int32_t stride = 0;
  VertexElement elements[static_cast<int>(VertexAttribute::kCount)] = {};  // indexed by attribute
  VertexElement extra[kExtraVertexAttributes] = {};  // indexed as kExtraAttributeNames
};

// User programs: GLSL pairs from the data file, linked with their attributes at fixed locations
// (the four built-in names, then kExtraAttributeNames). Their uniforms are listed by the device.
using DeviceProgramId = uint32_t;
enum class UniformType : int32_t { kFloat = 0, kInt = 1, kMatrix = 2, kSampler = 3 };
struct DeviceUniform {
  char name[64] = {};
  int32_t location = -1;
  UniformType type = UniformType::kFloat;
  int32_t columns = 1;   // components of a vector, or of a matrix row
  int32_t rows = 1;      // 4 for a 4 x 4 matrix
  int32_t elements = 0;  // array length; 0 for a plain uniform
  int32_t sampler_unit = -1;  // the stage a sampler reads
};

// Blend factors and compare functions in the numbering of the render states (1 zero ... 15); the
// blend factor of 14 and 15 is the constant (1, 1, 1, 1).
struct BlendDesc {
  bool enable = true;
  uint8_t src = 5, dest = 6, src_alpha = 5, dest_alpha = 6;
  uint8_t write_mask = 15;  // R 1, G 2, B 4, A 8
};

struct DepthStencilDesc {
  bool depth_test = false;
  bool depth_write = true;
  uint8_t depth_func = 4;  // 1 never ... 8 always
  bool stencil = false;
  uint8_t stencil_fail = 1, stencil_depth_fail = 1, stencil_pass = 1;  // 1 keep, 2 zero, 3 replace, ...
  uint8_t stencil_func = 8;
  uint8_t stencil_ref = 0;
  uint8_t stencil_read_mask = 0xFF, stencil_write_mask = 0xFF;
};

struct RasterDesc {
  bool wireframe = false;
  int32_t cull = 0;  // 0 none; 1 culls triangles that run clockwise in the picture (y down), 2 counter-clockwise
};

struct SamplerDesc {
  bool mag_linear = true;
  bool min_linear = true;
  int32_t mip_filter = 1;  // 0 point, 1 linear, 2 anisotropic
  bool repeat_u = false;
  bool repeat_v = false;
  float min_lod = 0.0f;
  float max_lod = 16.0f;
  float lod_bias = 0.0f;
  int32_t max_anisotropy = 16;
};

constexpr int kMaxLights = 8;
constexpr int kTextureStages = 8;

// The constants of the built-in shader sets, matrices row-major with row vectors.
struct ShaderConstants {
  float view[16] = {};
  float projection[16] = {};
  float world[16] = {};
  float world_view[16] = {};
  float world_view_projection[16] = {};
  bool lighting = false;
  bool fog = false;
  float fog_start = 0.0f;
  float rcp_fog_range = 1.0f;
  float fog_colour[3] = {};
  bool alpha_test = false;
  float alpha_ref = 0.0f;  // 0..1: a pixel is kept only when its alpha is above this
  float ambient[4] = {};
  float dir_light_dir[kMaxLights][4] = {};
  float dir_light_colour[kMaxLights][4] = {};
  float point_light_pos[kMaxLights][4] = {};  // w: range
  float point_light_colour[kMaxLights][4] = {};
};

struct DeviceRect {
  int32_t x = 0, y = 0, w = 0, h = 0;
};

enum ClearFlags : uint32_t {
  kClearColour = 1,
  kClearDepth = 2,
  kClearStencil = 4,
};

class IDevice {
 public:
  virtual ~IDevice() = default;

  // Size of the window's back buffer (the drawable) now.
  virtual void BackBufferSize(int32_t* width, int32_t* height) = 0;
  // Largest side of a texture.
  virtual int32_t MaxTextureSize() = 0;
  // Mask of supported multisample counts: bits 2, 4, 8, 16.
  virtual uint32_t MultisampleLevels() = 0;

  // RGBA8 textures. pixels (w x h words, row 0 the top) may be null: contents undefined.
  // A render target can be drawn into; with_depth adds a depth-stencil buffer.
  virtual DeviceTextureId CreateTexture(int32_t width, int32_t height, const void* pixels, bool render_target,
                                        bool with_depth) = 0;
  virtual void UpdateTexture(DeviceTextureId texture, int32_t x, int32_t y, int32_t width, int32_t height,
                             const void* pixels) = 0;
  // Gives a texture mip level `level` (1 and above; level 0 is what CreateTexture took), w x h words
  // laid out as CreateTexture takes them, each side half the previous level's (rounded down, at
  // least 1). Levels go up in order; sampling reads only the levels given so far, whatever the
  // sampler's mip settings ask. Render targets and unknown ids ignore it.
  virtual void SetTextureMipLevel(DeviceTextureId texture, int32_t level, int32_t width, int32_t height,
                                  const void* pixels) = 0;
  virtual void DestroyTexture(DeviceTextureId texture) = 0;
  virtual void BindTexture(int32_t stage, DeviceTextureId texture) = 0;

  // 0 binds the back buffer. The viewport and scissor keep their values across target changes.
  virtual void SetRenderTarget(DeviceTextureId target) = 0;
  virtual void SetViewport(const DeviceRect& rect) = 0;
  virtual void SetScissor(const DeviceRect& rect) = 0;
  // colour: red in the low byte. Covers the whole target.
  virtual void Clear(uint32_t flags, uint32_t colour, float depth, uint8_t stencil) = 0;

  virtual void SetBlend(const BlendDesc& desc) = 0;
  virtual void SetDepthStencil(const DepthStencilDesc& desc) = 0;
  virtual void SetRaster(const RasterDesc& desc) = 0;
  virtual void SetSampler(int32_t stage, const SamplerDesc& desc) = 0;
  virtual void SetConstants(const ShaderConstants& constants) = 0;

  // Vertex buffers for streaming. discard: the old contents may be thrown away (the write starts a
  // fresh use of the buffer); otherwise the bytes outside the written range stay as they were.
  virtual DeviceBufferId CreateVertexBuffer(size_t bytes) = 0;
  virtual void WriteVertexBuffer(DeviceBufferId buffer, size_t offset, const void* data, size_t bytes,
                                 bool discard) = 0;
  virtual void DestroyVertexBuffer(DeviceBufferId buffer) = 0;
  // Writing in place: the bytes [offset, offset + bytes) of a buffer as memory the caller fills,
  // or null when the buffer can't be mapped (the caller then writes a copy). discard as for
  // WriteVertexBuffer; without it the range must not hold anything drawn since the buffer's last
  // discard. The mapped bytes start undefined. UnmapVertexBuffer ends the mapping, keeping the
  // first `written` bytes of the range; a buffer is drawn from only while it isn't mapped, and
  // one buffer at a time is mapped.
  virtual uint8_t* MapVertexBuffer(DeviceBufferId buffer, size_t offset, size_t bytes, bool discard) = 0;
  virtual void UnmapVertexBuffer(DeviceBufferId buffer, size_t written) = 0;
  virtual void Draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer,
                    size_t first_byte, int32_t vertex_count) = 0;
  // quad_count quads stored as four vertices each from first_byte (top left, top right, bottom
  // right, bottom left), drawn as the triangle list of corners 0 1 2 2 3 0 of every quad: the same
  // triangles, windings and pixels as those six vertices drawn with Draw.
  virtual void DrawQuads(const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer, size_t first_byte,
                         int32_t quad_count) = 0;

  // A user program from GLSL 330 sources; 0 with the compiler's or linker's log in *log when it
  // fails. The uniforms it has (arrays once, by their name without "[0]") go to *uniforms, the
  // samplers given the stages 0, 1, ... in the order listed.
  virtual DeviceProgramId CreateProgram(const char* /*vertex*/, const char* /*fragment*/, std::string* log,
                                        std::vector<DeviceUniform>* /*uniforms*/) {
    *log = "shaders are not supported by this device";
    return 0;
  }
  virtual void DestroyProgram(DeviceProgramId /*program*/) {}
  // The program Draw uses from now on; 0 goes back to the built-in sets. While a user program is
  // in use its `tv_Matrices[5]` (view, projection, world, world-view, world-view-projection) follow
  // the constants, with the device's clip conventions applied.
  virtual void UseProgram(DeviceProgramId /*program*/) {}
  // count values (floats, ints, or 16-float row-major matrices) from the uniform's first element.
  virtual void SetProgramUniform(DeviceProgramId /*program*/, int32_t /*location*/, UniformType /*type*/,
                                 int32_t /*columns*/, int32_t /*count*/, const void* /*data*/) {}

  // A named span of device work for graphics debuggers, with a colour (0xRRGGBB); spans nest, and
  // each BeginEvent is closed by one EndEvent. Nothing is drawn or flushed by them.
  virtual void BeginEvent(const char* /*name*/, uint32_t /*colour*/) {}
  virtual void EndEvent() {}

  // Reads a rectangle of the current target as RGBA words, rows top-down. False when the
  // rectangle leaves the target or nothing can be read.
  virtual bool ReadPixels(const DeviceRect& rect, uint32_t* out) = 0;
  // Finishes queued work (before a read or at the end of a frame).
  virtual void Flush() = 0;
  // Copies a render target over the whole back buffer, scaled to its size (linear: filtered, else
  // nearest texel), the target's top row at the top of the window. The cheapest copy the device
  // has; the viewport, scissor, blending, write masks and the bound target are neither used nor
  // changed. An id that isn't a render target does nothing.
  virtual void CopyToBackBuffer(DeviceTextureId target, bool linear) = 0;
  // Shows the back buffer; sync_interval 0 doesn't wait for the display. False when the device
  // was lost and must be rebuilt.
  virtual bool Present(int32_t sync_interval) = 0;
};

#pragma once
// A device that draws nothing and records everything: each call becomes a DeviceCall, and each
// draw also keeps the state it would have been drawn with and a copy of its vertices. Tests read
// the record to check batching and state traffic; the runner uses it when there is no display.
// Textures and buffers keep their sizes and bytes so that writes can be checked; ReadPixels has
// nothing to read and fails. Every user program "compiles" (a fresh id, no uniforms), so a game's
// shader_set runs without a display as it does with one.
#include <cstdint>
#include <string>
#include <vector>

#include "platform/device.h"

enum class DeviceCallKind : int32_t {
  kCreateTexture = 0,
  kUpdateTexture,
  kDestroyTexture,
  kBindTexture,
  kSetRenderTarget,
  kSetViewport,
  kSetScissor,
  kClear,
  kSetBlend,
  kSetDepthStencil,
  kSetRaster,
  kSetSampler,
  kSetConstants,
  kCreateVertexBuffer,
  kWriteVertexBuffer,
  kDestroyVertexBuffer,
  kDraw,
  kReadPixels,
  kFlush,
  kPresent,
  kSetTextureMipLevel,
  kCopyToBackBuffer,
  kBeginEvent,
  kEndEvent,
  kMapVertexBuffer,
  kUnmapVertexBuffer,
  kCount,
};
inline constexpr const char* kDeviceCallKindNames[] = {
    "CreateTexture", "UpdateTexture", "DestroyTexture", "BindTexture", "SetRenderTarget", "SetViewport",
    "SetScissor", "Clear", "SetBlend", "SetDepthStencil", "SetRaster", "SetSampler", "SetConstants",
    "CreateVertexBuffer", "WriteVertexBuffer", "DestroyVertexBuffer", "Draw", "ReadPixels", "Flush", "Present",
    "SetTextureMipLevel", "CopyToBackBuffer", "BeginEvent", "EndEvent", "MapVertexBuffer",
    "UnmapVertexBuffer"};
static_assert(sizeof(kDeviceCallKindNames) / sizeof(kDeviceCallKindNames[0]) ==
              static_cast<size_t>(DeviceCallKind::kCount));

struct DeviceCall {
  DeviceCallKind kind = DeviceCallKind::kFlush;
  int64_t a = 0;  // the id, stage, flags, bytes or sync interval the call was given
  int64_t b = 0;  // a second number: buffer offset, clear colour, ...
};

struct RecordedDraw {
  PrimitiveType type = PrimitiveType::kTriangleList;
  ShaderSet shader = ShaderSet::kColour;
  VertexLayout layout;
  int32_t vertex_count = 0;   // as the triangles are assembled: six for each quad of DrawQuads
  int32_t quads = 0;          // DrawQuads: the quads of four stored vertices (0 for Draw)
  DeviceBufferId buffer = 0;
  size_t first_byte = 0;
  DeviceTextureId texture = 0;  // stage 0
  DeviceTextureId target = 0;
  BlendDesc blend;
  DepthStencilDesc depth;
  RasterDesc raster;
  SamplerDesc sampler0;
  ShaderConstants constants;
  DeviceRect viewport;
  // vertex_count x stride bytes, as the device assembles them into primitives (a quad's corners
  // in the order 0 1 2 2 3 0)
  std::vector<uint8_t> vertices;
};

class NullDevice final : public IDevice {
 public:
  NullDevice(int32_t back_width = 640, int32_t back_height = 480) : back_w_(back_width), back_h_(back_height) {}

  void BackBufferSize(int32_t* width, int32_t* height) override;
  int32_t MaxTextureSize() override { return max_texture_size_; }
  uint32_t MultisampleLevels() override { return msaa_levels_; }
  DeviceTextureId CreateTexture(int32_t width, int32_t height, const void* pixels, bool render_target,
                                bool with_depth) override;
  void UpdateTexture(DeviceTextureId texture, int32_t x, int32_t y, int32_t width, int32_t height,
                     const void* pixels) override;
  void SetTextureMipLevel(DeviceTextureId texture, int32_t level, int32_t width, int32_t height,
                          const void* pixels) override;
  void DestroyTexture(DeviceTextureId texture) override;
  void BindTexture(int32_t stage, DeviceTextureId texture) override;
  void SetRenderTarget(DeviceTextureId target) override;
  void SetViewport(const DeviceRect& rect) override;
  void SetScissor(const DeviceRect& rect) override;
  void Clear(uint32_t flags, uint32_t colour, float depth, uint8_t stencil) override;
  void SetBlend(const BlendDesc& desc) override;
  void SetDepthStencil(const DepthStencilDesc& desc) override;
  void SetRaster(const RasterDesc& desc) override;
  void SetSampler(int32_t stage, const SamplerDesc& desc) override;
  void SetConstants(const ShaderConstants& constants) override;
  DeviceBufferId CreateVertexBuffer(size_t bytes) override;
  void WriteVertexBuffer(DeviceBufferId buffer, size_t offset, const void* data, size_t bytes, bool discard) override;
  void DestroyVertexBuffer(DeviceBufferId buffer) override;
  // Recorded as (bytes, offset or -1 for a discard) and (written, buffer).
  uint8_t* MapVertexBuffer(DeviceBufferId buffer, size_t offset, size_t bytes, bool discard) override;
  void UnmapVertexBuffer(DeviceBufferId buffer, size_t written) override;
  void Draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer,
            size_t first_byte, int32_t vertex_count) override;
  void DrawQuads(const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer, size_t first_byte,
                 int32_t quad_count) override;
  DeviceProgramId CreateProgram(const char* vertex, const char* fragment, std::string* log,
                                std::vector<DeviceUniform>* uniforms) override;
  void UseProgram(DeviceProgramId program) override { program_ = program; }
  // A span's colour goes in the call's a, its name to event_names().
  void BeginEvent(const char* name, uint32_t colour) override {
    if (!recording_) return;
    record(DeviceCallKind::kBeginEvent, colour);
    event_names_.emplace_back(name);
  }
  void EndEvent() override { record(DeviceCallKind::kEndEvent); }
  bool ReadPixels(const DeviceRect& rect, uint32_t* out) override;
  void Flush() override;
  void CopyToBackBuffer(DeviceTextureId target, bool linear) override;
  bool Present(int32_t sync_interval) override;

  // The record.
  const std::vector<DeviceCall>& calls() const { return calls_; }
  const std::vector<RecordedDraw>& draws() const { return draws_; }
  const std::vector<std::string>& event_names() const { return event_names_; }
  int count(DeviceCallKind kind) const;
  void clear_record();
  // When false, draws keep no copy of their vertices (benchmarks).
  void set_keep_vertices(bool keep) { keep_vertices_ = keep; }
  // When false, nothing is recorded at all: a game run without a window draws for as long as it
  // runs, and a record of every call would grow without end.
  void set_recording(bool on) { recording_ = on; }

  // Current state, as the last calls left it.
  const BlendDesc& blend() const { return blend_; }
  const DepthStencilDesc& depth() const { return depth_; }
  const RasterDesc& raster() const { return raster_; }
  const SamplerDesc& sampler(int stage) const { return samplers_[stage]; }
  const ShaderConstants& constants() const { return constants_; }
  DeviceTextureId bound(int stage) const { return bound_[stage]; }
  DeviceTextureId target() const { return target_; }
  DeviceProgramId program() const { return program_; }
  const DeviceRect& viewport() const { return viewport_; }
  const DeviceRect& scissor() const { return scissor_; }
  size_t buffer_size(DeviceBufferId buffer) const;
  size_t live_textures() const;
  bool texture_size(DeviceTextureId texture, int32_t* width, int32_t* height) const;
  // Levels the texture holds (1 + the mip levels given in order); 0 for an unknown id.
  int32_t texture_levels(DeviceTextureId texture) const;

  // Knobs for tests.
  void set_back_buffer(int32_t width, int32_t height) { back_w_ = width; back_h_ = height; }
  void set_msaa_levels(uint32_t levels) { msaa_levels_ = levels; }
  void set_max_texture_size(int32_t side) { max_texture_size_ = side; }
  void set_present_result(bool ok) { present_ok_ = ok; }
  // When true, MapVertexBuffer fails (as a driver may): callers must write copies instead.
  void set_map_refused(bool refused) { map_refused_ = refused; }

 private:
  struct Texture {
    int32_t width = 0, height = 0;
    int32_t levels = 1;
    bool live = false;
    bool target = false;
  };
  struct Buffer {
    std::vector<uint8_t> bytes;
    bool live = false;
    bool mapped = false;
  };
  // A draw's record with the current state; the vertices are the caller's to fill.
  RecordedDraw record_draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer,
                           size_t first_byte, int32_t vertex_count);
  // The stored bytes [first_byte, first_byte + bytes) of a live buffer, or null.
  const uint8_t* buffer_bytes(DeviceBufferId buffer, size_t first_byte, size_t bytes) const;
  void record(DeviceCallKind kind, int64_t a = 0, int64_t b = 0) {
    if (recording_) calls_.push_back(DeviceCall{kind, a, b});
  }

  int32_t back_w_, back_h_;
  uint32_t msaa_levels_ = 2 | 4 | 8;
  int32_t max_texture_size_ = 16384;
  bool present_ok_ = true;
  bool map_refused_ = false;
  bool keep_vertices_ = true;
  bool recording_ = true;
  std::vector<DeviceCall> calls_;
  std::vector<RecordedDraw> draws_;
  std::vector<std::string> event_names_;
  std::vector<Texture> textures_;
  std::vector<Buffer> buffers_;
  BlendDesc blend_;
  DepthStencilDesc depth_;
  RasterDesc raster_;
  SamplerDesc samplers_[kTextureStages];
  ShaderConstants constants_;
  DeviceTextureId bound_[kTextureStages] = {};
  DeviceTextureId target_ = 0;
  DeviceProgramId programs_made_ = 0;
  DeviceProgramId program_ = 0;
  DeviceRect viewport_;
  DeviceRect scissor_;
};

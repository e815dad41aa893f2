#include "platform/fake/null_device.h"

#include <algorithm>
#include <cstring>

void NullDevice::BackBufferSize(int32_t* width, int32_t* height) {
  *width = back_w_;
  *height = back_h_;
}

DeviceTextureId NullDevice::CreateTexture(int32_t width, int32_t height, const void*, bool render_target, bool) {
  record(DeviceCallKind::kCreateTexture, width, height);
  if (width <= 0 || height <= 0 || width > max_texture_size_ || height > max_texture_size_) return 0;
  Texture t{width, height, 1, true, render_target};
  for (size_t i = 0; i < textures_.size(); ++i) {
    if (!textures_[i].live) {
      textures_[i] = t;
      return static_cast<DeviceTextureId>(i + 1);
    }
  }
  textures_.push_back(t);
  return static_cast<DeviceTextureId>(textures_.size());
}

void NullDevice::UpdateTexture(DeviceTextureId texture, int32_t x, int32_t y, int32_t, int32_t, const void*) {
  record(DeviceCallKind::kUpdateTexture, texture, (static_cast<int64_t>(x) << 32) | static_cast<uint32_t>(y));
}

void NullDevice::SetTextureMipLevel(DeviceTextureId texture, int32_t level, int32_t width, int32_t height,
                                    const void*) {
  record(DeviceCallKind::kSetTextureMipLevel, texture, level);
  if (texture == 0 || texture > textures_.size() || !textures_[texture - 1].live || level < 1 || level > 30) return;
  Texture& t = textures_[texture - 1];
  const int32_t want_w = std::max(t.width >> level, 1), want_h = std::max(t.height >> level, 1);
  if (t.target || level != t.levels || width != want_w || height != want_h) return;
  t.levels = level + 1;
}

void NullDevice::DestroyTexture(DeviceTextureId texture) {
  record(DeviceCallKind::kDestroyTexture, texture);
  if (texture == 0 || texture > textures_.size()) return;
  textures_[texture - 1] = Texture{};
  if (target_ == texture) target_ = 0;
  for (DeviceTextureId& bound : bound_) {
    if (bound == texture) bound = 0;
  }
}

void NullDevice::BindTexture(int32_t stage, DeviceTextureId texture) {
  record(DeviceCallKind::kBindTexture, stage, texture);
  if (stage >= 0 && stage < kTextureStages) bound_[stage] = texture;
}

void NullDevice::SetRenderTarget(DeviceTextureId target) {
  record(DeviceCallKind::kSetRenderTarget, target);
  target_ = target;
}

void NullDevice::SetViewport(const DeviceRect& rect) {
  record(DeviceCallKind::kSetViewport, rect.w, rect.h);
  viewport_ = rect;
}

void NullDevice::SetScissor(const DeviceRect& rect) {
  record(DeviceCallKind::kSetScissor, rect.w, rect.h);
  scissor_ = rect;
}

void NullDevice::Clear(uint32_t flags, uint32_t colour, float, uint8_t) { record(DeviceCallKind::kClear, flags, colour); }

void NullDevice::SetBlend(const BlendDesc& desc) {
  record(DeviceCallKind::kSetBlend, desc.enable);
  blend_ = desc;
}

void NullDevice::SetDepthStencil(const DepthStencilDesc& desc) {
  record(DeviceCallKind::kSetDepthStencil, desc.depth_test);
  depth_ = desc;
}

void NullDevice::SetRaster(const RasterDesc& desc) {
  record(DeviceCallKind::kSetRaster, desc.cull);
  raster_ = desc;
}

void NullDevice::SetSampler(int32_t stage, const SamplerDesc& desc) {
  record(DeviceCallKind::kSetSampler, stage);
  if (stage >= 0 && stage < kTextureStages) samplers_[stage] = desc;
}

void NullDevice::SetConstants(const ShaderConstants& constants) {
  record(DeviceCallKind::kSetConstants);
  constants_ = constants;
}

DeviceBufferId NullDevice::CreateVertexBuffer(size_t bytes) {
  record(DeviceCallKind::kCreateVertexBuffer, static_cast<int64_t>(bytes));
  Buffer b;
  b.bytes.assign(bytes, 0);
  b.live = true;
  for (size_t i = 0; i < buffers_.size(); ++i) {
    if (!buffers_[i].live) {
      buffers_[i] = std::move(b);
      return static_cast<DeviceBufferId>(i + 1);
    }
  }
  buffers_.push_back(std::move(b));
  return static_cast<DeviceBufferId>(buffers_.size());
}

void NullDevice::WriteVertexBuffer(DeviceBufferId buffer, size_t offset, const void* data, size_t bytes, bool discard) {
  record(DeviceCallKind::kWriteVertexBuffer, static_cast<int64_t>(bytes), discard ? -1 : static_cast<int64_t>(offset));
  if (buffer == 0 || buffer > buffers_.size() || !buffers_[buffer - 1].live) return;
  std::vector<uint8_t>& target = buffers_[buffer - 1].bytes;
  if (offset + bytes > target.size()) return;
  if (keep_vertices_) std::memcpy(target.data() + offset, data, bytes);
}

uint8_t* NullDevice::MapVertexBuffer(DeviceBufferId buffer, size_t offset, size_t bytes, bool discard) {
  record(DeviceCallKind::kMapVertexBuffer, static_cast<int64_t>(bytes), discard ? -1 : static_cast<int64_t>(offset));
  if (buffer == 0 || buffer > buffers_.size() || !buffers_[buffer - 1].live) return nullptr;
  Buffer& b = buffers_[buffer - 1];
  if (map_refused_ || b.mapped || bytes == 0 || offset + bytes > b.bytes.size()) return nullptr;
  for (const Buffer& other : buffers_) {
    if (other.mapped) return nullptr;
  }
  b.mapped = true;
  return b.bytes.data() + offset;
}

void NullDevice::UnmapVertexBuffer(DeviceBufferId buffer, size_t written) {
  record(DeviceCallKind::kUnmapVertexBuffer, static_cast<int64_t>(written), buffer);
  if (buffer == 0 || buffer > buffers_.size()) return;
  buffers_[buffer - 1].mapped = false;
}

void NullDevice::DestroyVertexBuffer(DeviceBufferId buffer) {
  record(DeviceCallKind::kDestroyVertexBuffer, buffer);
  if (buffer == 0 || buffer > buffers_.size()) return;
  buffers_[buffer - 1] = Buffer{};
}

RecordedDraw NullDevice::record_draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader,
                                      DeviceBufferId buffer, size_t first_byte, int32_t vertex_count) {
  RecordedDraw d;
  d.type = type;
  d.shader = shader;
  d.layout = layout;
  d.vertex_count = vertex_count;
  d.buffer = buffer;
  d.first_byte = first_byte;
  d.texture = bound_[0];
  d.target = target_;
  d.blend = blend_;
  d.depth = depth_;
  d.raster = raster_;
  d.sampler0 = samplers_[0];
  d.constants = constants_;
  d.viewport = viewport_;
  return d;
}

const uint8_t* NullDevice::buffer_bytes(DeviceBufferId buffer, size_t first_byte, size_t bytes) const {
  // A mapped buffer can't be drawn from: such a draw records no vertices.
  if (buffer == 0 || buffer > buffers_.size() || !buffers_[buffer - 1].live || buffers_[buffer - 1].mapped) {
    return nullptr;
  }
  const std::vector<uint8_t>& stored = buffers_[buffer - 1].bytes;
  return first_byte + bytes <= stored.size() ? stored.data() + first_byte : nullptr;
}

void NullDevice::Draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer,
                      size_t first_byte, int32_t vertex_count) {
  record(DeviceCallKind::kDraw, vertex_count, static_cast<int64_t>(type));
  if (!recording_) return;
  RecordedDraw d = record_draw(type, layout, shader, buffer, first_byte, vertex_count);
  const size_t size = static_cast<size_t>(vertex_count) * static_cast<size_t>(std::max(layout.stride, 0));
  const uint8_t* bytes = keep_vertices_ ? buffer_bytes(buffer, first_byte, size) : nullptr;
  if (bytes != nullptr) d.vertices.assign(bytes, bytes + size);
  draws_.push_back(std::move(d));
}

void NullDevice::DrawQuads(const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer, size_t first_byte,
                           int32_t quad_count) {
  if (quad_count <= 0) return;
  record(DeviceCallKind::kDraw, 6 * static_cast<int64_t>(quad_count), static_cast<int64_t>(PrimitiveType::kTriangleList));
  if (!recording_) return;
  RecordedDraw d = record_draw(PrimitiveType::kTriangleList, layout, shader, buffer, first_byte, 6 * quad_count);
  d.quads = quad_count;
  const size_t stride = static_cast<size_t>(std::max(layout.stride, 0));
  const uint8_t* bytes = keep_vertices_ ? buffer_bytes(buffer, first_byte, 4 * stride * quad_count) : nullptr;
  if (bytes != nullptr) {
    static constexpr int kCorners[6] = {0, 1, 2, 2, 3, 0};
    d.vertices.resize(6 * stride * quad_count);
    uint8_t* out = d.vertices.data();
    for (int32_t q = 0; q < quad_count; ++q) {
      for (int corner : kCorners) {
        std::memcpy(out, bytes + (4 * static_cast<size_t>(q) + corner) * stride, stride);
        out += stride;
      }
    }
  }
  draws_.push_back(std::move(d));
}

bool NullDevice::ReadPixels(const DeviceRect& rect, uint32_t*) {
  record(DeviceCallKind::kReadPixels, rect.w, rect.h);
  return false;
}

void NullDevice::Flush() { record(DeviceCallKind::kFlush); }

DeviceProgramId NullDevice::CreateProgram(const char*, const char*, std::string*, std::vector<DeviceUniform>*) {
  return ++programs_made_;
}

void NullDevice::CopyToBackBuffer(DeviceTextureId target, bool linear) {
  record(DeviceCallKind::kCopyToBackBuffer, target, linear ? 1 : 0);
}

bool NullDevice::Present(int32_t sync_interval) {
  record(DeviceCallKind::kPresent, sync_interval);
  return present_ok_;
}

int NullDevice::count(DeviceCallKind kind) const {
  return static_cast<int>(std::count_if(calls_.begin(), calls_.end(), [kind](const DeviceCall& c) { return c.kind == kind; }));
}

void NullDevice::clear_record() {
  calls_.clear();
  draws_.clear();
  event_names_.clear();
}

size_t NullDevice::buffer_size(DeviceBufferId buffer) const {
  if (buffer == 0 || buffer > buffers_.size() || !buffers_[buffer - 1].live) return 0;
  return buffers_[buffer - 1].bytes.size();
}

size_t NullDevice::live_textures() const {
  return static_cast<size_t>(std::count_if(textures_.begin(), textures_.end(), [](const Texture& t) { return t.live; }));
}

bool NullDevice::texture_size(DeviceTextureId texture, int32_t* width, int32_t* height) const {
  if (texture == 0 || texture > textures_.size() || !textures_[texture - 1].live) return false;
  *width = textures_[texture - 1].width;
  *height = textures_[texture - 1].height;
  return true;
}

int32_t NullDevice::texture_levels(DeviceTextureId texture) const {
  if (texture == 0 || texture > textures_.size() || !textures_[texture - 1].live) return 0;
  return textures_[texture - 1].levels;
}

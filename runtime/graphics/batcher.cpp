#include "graphics/batcher.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "core/console.h"
#include "graphics/device_state.h"
#include "graphics/gr_texture.h"
#include "graphics/render_state.h"

namespace {

struct DynamicVertexBuffer {
  DeviceBufferId buffer = 0;
  size_t bytes = 0;
  size_t write_offset = 0;
  uint32_t last_frame = 0;
};

struct VertexBatch {
  int32_t prim = -1;
  GRTexture* texture = nullptr;
  uint32_t format = 0;
  int32_t stride = 0;
  int32_t vertex_count = 0;
  bool no_merge = true;
  std::vector<uint8_t> staging;
  int32_t staging_verts = 0;
  uint32_t frame_index = 0;
  int32_t drawn_this_frame = 0;
  int32_t max_drawn_per_frame = 0;
  int32_t max_batch_verts = 0;
  int32_t draws_this_frame = 0;
  int32_t draws_last_frame = 0;
};

VertexBatch g_batch;
std::vector<DynamicVertexBuffer> g_ring;  // in ring order; the walk wraps at the end
size_t g_current = 0;
std::vector<uint8_t> g_fan_scratch;
IDevice* g_device = nullptr;
CustomFormatResolver g_format_resolver = nullptr;
float g_depth = 0.0f;
DeviceProgramId g_user_program = 0;

constexpr VertexLayout layout_colour() {
  VertexLayout l;
  l.stride = 16;
  l.elements[0] = {VertexAttribute::kPosition, 3, 0};
  l.elements[1] = {VertexAttribute::kColour, 4, 12};
  return l;
}

constexpr VertexLayout layout_textured() {
  VertexLayout l;
  l.stride = 24;
  l.elements[0] = {VertexAttribute::kPosition, 3, 12};
  l.elements[1] = {VertexAttribute::kColour, 4, 8};
  l.elements[2] = {VertexAttribute::kTexCoord, 2, 0};
  return l;
}

constexpr VertexLayout layout_normal() {
  VertexLayout l;
  l.stride = 36;
  l.elements[0] = {VertexAttribute::kPosition, 3, 0};
  l.elements[1] = {VertexAttribute::kColour, 4, 24};
  l.elements[2] = {VertexAttribute::kTexCoord, 2, 28};
  l.elements[3] = {VertexAttribute::kNormal, 3, 12};
  return l;
}

constexpr uint32_t kMaskPosition = 2;
constexpr uint32_t kMaskColour = 4;
constexpr uint32_t kMaskNormal = 8;
constexpr uint32_t kMaskTexCoord = 16;

// The layout and shader set of a format; false when no built-in set can draw it.
bool resolve_format(uint32_t format, VertexLayout* layout, ShaderSet* shader) {
  uint32_t mask = 0;
  if ((format & kFormatCustomBit) == 0) {
    switch (format) {
      case kFormatColour:
        *layout = layout_colour();
        mask = kMaskPosition | kMaskColour;
        break;
      case kFormatTextured:
        *layout = layout_textured();
        mask = kMaskPosition | kMaskColour | kMaskTexCoord;
        break;
      case kFormatNormal:
        *layout = layout_normal();
        mask = kMaskPosition | kMaskColour | kMaskTexCoord | kMaskNormal;
        break;
      default:
        return false;
    }
  } else if (g_format_resolver == nullptr || !g_format_resolver(format, layout, &mask)) {
    return false;
  }
  if (g_user_program != 0) {
    *shader = ShaderSet::kTextured;
    return true;
  }
  switch (mask) {
    case kMaskPosition | kMaskColour:
      *shader = ShaderSet::kColour;
      return true;
    case kMaskPosition | kMaskColour | kMaskTexCoord:
      *shader = ShaderSet::kTextured;
      return true;
    case kMaskPosition | kMaskColour | kMaskTexCoord | kMaskNormal:
      *shader = DeviceState_LightingOn() ? ShaderSet::kNormalLit : ShaderSet::kNormalUnlit;
      return true;
    default:
      return false;
  }
}

size_t next_power_of_two(size_t n) { return n <= 1 ? 1 : std::bit_ceil(n); }

void ensure_staging(int32_t must_fit) {
  const size_t bytes = static_cast<size_t>(must_fit) * static_cast<size_t>(g_batch.stride);
  if (bytes > g_batch.staging.size()) g_batch.staging.resize(next_power_of_two(bytes));
  g_batch.staging_verts = static_cast<int32_t>(g_batch.staging.size() / static_cast<size_t>(g_batch.stride));
}

// The buffer and offset that take `bytes` more bytes this frame.
DynamicVertexBuffer* take_buffer(size_t bytes, size_t* offset) {
  const size_t stride = static_cast<size_t>(g_batch.stride);
  if (!g_ring.empty()) {
    DynamicVertexBuffer& current = g_ring[g_current];
    const size_t at = (current.write_offset + stride - 1) / stride * stride;
    if (at + bytes <= current.bytes) {
      *offset = at;
      return &current;
    }
    for (size_t step = 1; step <= g_ring.size(); ++step) {
      const size_t index = (g_current + step) % g_ring.size();
      DynamicVertexBuffer& candidate = g_ring[index];
      if (candidate.bytes >= bytes && candidate.last_frame + 1 <= g_batch.frame_index) {
        g_current = index;
        *offset = 0;
        return &candidate;
      }
    }
  }
  DynamicVertexBuffer fresh;
  fresh.bytes = std::max(bytes, kMinVertexBufferBytes) / stride * stride;
  fresh.buffer = g_device->CreateVertexBuffer(fresh.bytes);
  if (fresh.buffer == 0) return nullptr;
  g_ring.push_back(fresh);
  g_current = g_ring.size() - 1;
  *offset = 0;
  return &g_ring.back();
}

void close_batch() {
  g_batch.vertex_count = 0;
  g_batch.prim = -1;
  g_batch.no_merge = true;
}

void bind_stage0(GRTexture* texture) {
  const DeviceTextureId id = texture != nullptr ? texture->DeviceTexture() : 0;
  g_device->BindTexture(0, id);
}

}  // namespace

int32_t GR_FormatStride(uint32_t format) {
  if ((format & kFormatCustomBit) == 0) return static_cast<int32_t>(format);
  VertexLayout layout;
  uint32_t mask = 0;
  if (g_format_resolver != nullptr && g_format_resolver(format, &layout, &mask) && layout.stride > 0) {
    return layout.stride;
  }
  g_ReleaseConsole->Output("Invalid vertex format: 0x%x\n", format);
  return 1;
}

void* GR_Alloc_Verts(int32_t prim, GRTexture* texture, uint32_t format, int32_t count) {
  if (count < 0) count = 0;
  const bool joins = g_batch.prim != -1 && texture == g_batch.texture && prim == g_batch.prim &&
                     format == g_batch.format && RenderState_AnyDirty() == 0 && !g_batch.no_merge &&
                     g_batch.vertex_count + count <= g_batch.staging_verts;
  // A call that joins fits the staging memory by the test above; only a new batch may grow it.
  if (!joins) {
    const int32_t previous = g_batch.vertex_count;
    const int32_t old_capacity = g_batch.staging_verts;
    GR_Flush();
    g_batch.prim = prim;
    g_batch.texture = texture;
    g_batch.format = format;
    g_batch.stride = std::max(GR_FormatStride(format), 1);
    g_batch.no_merge = prim == kPrimLineStrip || prim == kPrimTriangleStrip || prim == kPrimTriangleFan;
    int32_t must_fit = count;
    if (previous + count > old_capacity && previous + count <= kMaxBatchVerts) must_fit = previous + count;
    ensure_staging(must_fit);
  }
  uint8_t* memory = g_batch.staging.data() + static_cast<size_t>(g_batch.vertex_count) * g_batch.stride;
  g_batch.vertex_count += count;
  return memory;
}

void GR_Return_Verts(int32_t count) {
  if (count <= 0) return;
  g_batch.vertex_count = std::max(0, g_batch.vertex_count - count);
}

void GR_Flush() {
  if (g_batch.prim == -1) {
    RenderState_Apply();
    return;
  }
  g_batch.max_batch_verts = std::max(g_batch.max_batch_verts, g_batch.vertex_count);
  const int32_t n = g_batch.vertex_count;
  const bool fan = g_batch.prim == kPrimTriangleFan;
  const int32_t drawn = fan ? std::max(0, n - 2) * 3 : n;
  if (g_device == nullptr || drawn <= 0) {
    close_batch();
    RenderState_Apply();
    return;
  }
  const size_t stride = static_cast<size_t>(g_batch.stride);
  const size_t bytes = static_cast<size_t>(drawn) * stride;
  const uint8_t* source = g_batch.staging.data();
  if (fan) {
    g_fan_scratch.resize(bytes);
    uint8_t* out = g_fan_scratch.data();
    for (int32_t i = 1; i + 1 < n; ++i) {
      std::memcpy(out, source, stride);
      std::memcpy(out + stride, source + static_cast<size_t>(i) * stride, stride * 2);
      out += stride * 3;
    }
    source = g_fan_scratch.data();
  }
  size_t offset = 0;
  DynamicVertexBuffer* buffer = take_buffer(bytes, &offset);
  if (buffer == nullptr) {
    close_batch();
    RenderState_Apply();
    return;
  }
  g_device->WriteVertexBuffer(buffer->buffer, offset, source, bytes, offset == 0);
  buffer->last_frame = g_batch.frame_index;
  bind_stage0(g_batch.texture);
  GR_Draw_Submitted(fan ? kPrimTriangleList : g_batch.prim, drawn, offset, g_batch.format, buffer->buffer);
  g_batch.drawn_this_frame += drawn;
  buffer->write_offset = offset + bytes;
  close_batch();
  RenderState_Apply();
}

void GR_Draw_Submitted(int32_t prim, int32_t vertex_count, size_t start_byte, uint32_t format, DeviceBufferId buffer) {
  if (g_device == nullptr || vertex_count <= 0) return;
  VertexLayout layout;
  ShaderSet shader = ShaderSet::kColour;
  if (!resolve_format(format, &layout, &shader)) {
    g_ReleaseConsole->Output("Draw failed due to invalid input layout\n");
    return;
  }
  if (prim < kPrimPointList || prim > kPrimTriangleStrip) return;
  DeviceState_Commit(g_device);
  g_device->UseProgram(g_user_program);
  g_device->Draw(static_cast<PrimitiveType>(prim), layout, shader, buffer, start_byte, vertex_count);
  ++g_batch.draws_this_frame;
}

void GR_End_Batch_Frame() {
  ++g_batch.frame_index;
  g_batch.prim = -1;
  g_batch.max_drawn_per_frame = std::max(g_batch.max_drawn_per_frame, g_batch.drawn_this_frame);
  g_batch.drawn_this_frame = 0;
  g_batch.draws_last_frame = g_batch.draws_this_frame;
  g_batch.draws_this_frame = 0;
  g_batch.vertex_count = 0;
  g_batch.no_merge = true;
}

void GR_SetCustomFormatResolver(CustomFormatResolver resolver) { g_format_resolver = resolver; }

void GR_SetUserProgram(DeviceProgramId program) { g_user_program = program; }
DeviceProgramId GR_UserProgram() { return g_user_program; }

void GR_BeginEvent(const char* name, uint32_t colour) {
  if (g_device != nullptr) g_device->BeginEvent(name, colour);
}
void GR_EndEvent() {
  if (g_device != nullptr) g_device->EndEvent();
}

void GR_Set_Depth(float z) { g_depth = std::clamp(z, -16000.0f, 16000.0f); }
float GR_Depth() { return g_depth; }

BatchStats GR_Batch_Stats() {
  BatchStats s;
  s.frame_index = g_batch.frame_index;
  s.vertex_count = g_batch.vertex_count;
  s.prim_type = g_batch.prim;
  s.drawn_this_frame = g_batch.drawn_this_frame;
  s.max_drawn_per_frame = g_batch.max_drawn_per_frame;
  s.max_batch_verts = g_batch.max_batch_verts;
  s.draws_this_frame = g_batch.draws_this_frame;
  s.draws_last_frame = g_batch.draws_last_frame;
  s.buffers = static_cast<int32_t>(g_ring.size());
  return s;
}

void GR_Batch_SetDevice(IDevice* device) {
  if (device == g_device) return;
  GR_Batch_ReleaseDevice();
  g_device = device;
}

void GR_Batch_ReleaseDevice() {
  if (g_device != nullptr) {
    for (const DynamicVertexBuffer& b : g_ring) g_device->DestroyVertexBuffer(b.buffer);
  }
  g_ring.clear();
  g_current = 0;
  close_batch();
  g_batch.texture = nullptr;
}

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

// A stretch of the open batch's stored vertices: plain ones, or quads of four corners each, in a
// device buffer from first_byte, or in the staging memory (buffer 0) from first_byte there.
struct Run {
  DeviceBufferId buffer = 0;
  size_t first_byte = 0;
  int32_t count = 0;  // stored vertices
  bool quads = false;
};

struct VertexBatch {
  int32_t prim = -1;
  GRTexture* texture = nullptr;
  uint32_t format = 0;
  int32_t stride = 0;
  int32_t vertex_count = 0;  // as triangle-list vertices: six for each quad
  int32_t stored_count = 0;  // vertices written: four for each quad
  std::vector<Run> runs;     // the stored vertices in order; mostly one run
  bool no_merge = true;
  // The batch writes into the staging memory instead of a mapped device buffer: a fan (drawn
  // expanded), no device, or a buffer that couldn't be mapped.
  bool staged = false;
  size_t staged_bytes = 0;  // of the staging memory in use
  size_t capacity_bytes = 0;  // the size reckoning: a batch joins while it fits this many bytes
  int32_t staging_verts = 0;
  std::vector<uint8_t> staging;
  uint32_t frame_index = 0;
  int32_t drawn_this_frame = 0;
  int32_t drawn_since_submit = 0;  // vertices drawn since the device was last handed its queue
  int32_t max_drawn_per_frame = 0;
  int32_t max_batch_verts = 0;
  int32_t draws_this_frame = 0;
  int32_t draws_last_frame = 0;
};

// The device buffer the open batch writes into, mapped from `start` for `room` bytes.
struct Mapping {
  bool active = false;
  size_t ring_index = 0;
  DeviceBufferId buffer = 0;
  uint8_t* data = nullptr;
  size_t start = 0;
  size_t room = 0;
  size_t used = 0;
};

VertexBatch g_batch;
Mapping g_map;
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

// The batch size reckoning is never smaller than the largest batch it keeps, so a fresh process
// joins its first sprites and glyphs as a warm one does instead of growing a step a flush. The
// staging memory follows it only when a batch is staged.
void reckon_capacity(int32_t must_fit) {
  const size_t bytes = static_cast<size_t>(std::max(must_fit, kMaxBatchVerts)) * static_cast<size_t>(g_batch.stride);
  if (bytes > g_batch.capacity_bytes) g_batch.capacity_bytes = next_power_of_two(bytes);
  g_batch.staging_verts = static_cast<int32_t>(g_batch.capacity_bytes / static_cast<size_t>(g_batch.stride));
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
  g_batch.stored_count = 0;
  g_batch.runs.clear();
  g_batch.prim = -1;
  g_batch.no_merge = true;
  g_batch.staged = false;
  g_batch.staged_bytes = 0;
}

void bind_stage0(GRTexture* texture) {
  const DeviceTextureId id = texture != nullptr ? texture->DeviceTexture() : 0;
  g_device->BindTexture(0, id);
}

// Unmaps the buffer of the open batch, keeping what was written; the buffer is appended to from
// there on.
void end_mapping() {
  if (!g_map.active) return;
  DynamicVertexBuffer& b = g_ring[g_map.ring_index];
  g_device->UnmapVertexBuffer(b.buffer, g_map.used);
  b.write_offset = g_map.start + g_map.used;
  g_map = Mapping{};
}

// Maps room for `bytes` more bytes of the open batch: the rest of the current buffer when they fit
// there, else the buffer the ring walk gives. False when no buffer could be had or mapped.
bool map_room(size_t bytes) {
  end_mapping();
  size_t offset = 0;
  DynamicVertexBuffer* b = take_buffer(bytes, &offset);
  if (b == nullptr) return false;
  uint8_t* data = g_device->MapVertexBuffer(b->buffer, offset, b->bytes - offset, offset == 0);
  if (data == nullptr) return false;
  b->last_frame = g_batch.frame_index;
  g_map.active = true;
  g_map.ring_index = static_cast<size_t>(b - g_ring.data());
  g_map.buffer = b->buffer;
  g_map.data = data;
  g_map.start = offset;
  g_map.room = b->bytes - offset;
  g_map.used = 0;
  return true;
}

// Adds `stored` vertices at first_byte of `buffer` (0: the staging memory) to the batch's runs.
[[gnu::always_inline]] inline void add_run(DeviceBufferId buffer, size_t first_byte, int32_t stored, bool quads) {
  if (stored <= 0) return;
  g_batch.stored_count += stored;
  if (!g_batch.runs.empty()) {
    Run& last = g_batch.runs.back();
    if (last.quads == quads && last.buffer == buffer &&
        last.first_byte + static_cast<size_t>(last.count) * static_cast<size_t>(g_batch.stride) == first_byte) {
      last.count += stored;
      return;
    }
  }
  g_batch.runs.push_back(Run{buffer, first_byte, stored, quads});
}

// `count` triangle-list vertices of room (`stored` of them kept, as quads or plain). The memory is
// the mapped device buffer itself, so a vertex is written once, where it is drawn from; a batch
// that outgrows the rest of its buffer goes on in another one.
uint8_t* alloc(int32_t prim, GRTexture* texture, uint32_t format, int32_t count, int32_t stored, bool quads) {
  const bool joins = g_batch.prim != -1 && texture == g_batch.texture && prim == g_batch.prim &&
                     format == g_batch.format && RenderState_AnyDirty() == 0 && !g_batch.no_merge &&
                     g_batch.vertex_count + count <= g_batch.staging_verts;
  // A call that joins fits the size reckoning by the test above (a quad stores fewer vertices than
  // it counts); only a new batch may grow it.
  if (!joins) {
    const int32_t previous = g_batch.vertex_count;
    const int32_t old_capacity = g_batch.staging_verts;
    GR_Flush();
    g_batch.prim = prim;
    g_batch.texture = texture;
    g_batch.format = format;
    g_batch.stride = std::max(GR_FormatStride(format), 1);
    g_batch.no_merge = prim == kPrimLineStrip || prim == kPrimTriangleStrip || prim == kPrimTriangleFan;
    g_batch.staged = prim == kPrimTriangleFan || g_device == nullptr;
    int32_t must_fit = count;
    if (previous + count > old_capacity && previous + count <= kMaxBatchVerts) must_fit = previous + count;
    reckon_capacity(must_fit);
  }
  g_batch.vertex_count += count;
  const size_t bytes = static_cast<size_t>(stored) * static_cast<size_t>(g_batch.stride);
  if (!g_batch.staged && (g_map.used + bytes <= g_map.room || bytes == 0 || map_room(bytes)) && g_map.active) {
    uint8_t* memory = g_map.data + g_map.used;
    add_run(g_map.buffer, g_map.start + g_map.used, stored, quads);
    g_map.used += bytes;
    return memory;
  }
  // Staged, or nothing to store before the batch has a buffer.
  if (!g_map.active && bytes > 0) g_batch.staged = true;
  const size_t need = std::max(g_batch.staged_bytes + bytes, g_batch.capacity_bytes);
  if (g_batch.staging.size() < need) g_batch.staging.resize(need);
  uint8_t* memory = g_batch.staging.data() + g_batch.staged_bytes;
  if (g_batch.staged) {
    add_run(0, g_batch.staged_bytes, stored, quads);
    g_batch.staged_bytes += bytes;
  }
  return memory;
}

// Moves what the batch staged into a device buffer (a fan expanded to its triangle list) and points
// its runs there; false when no buffer could be had.
bool upload_staged(bool fan, int32_t drawn) {
  if (g_batch.staged_bytes == 0) return true;
  const size_t stride = static_cast<size_t>(g_batch.stride);
  const uint8_t* source = g_batch.staging.data();
  size_t bytes = g_batch.staged_bytes;
  if (fan) {
    const int32_t n = g_batch.stored_count;
    bytes = static_cast<size_t>(drawn) * stride;
    g_fan_scratch.resize(bytes);
    uint8_t* out = g_fan_scratch.data();
    for (int32_t i = 1; i + 1 < n; ++i) {
      std::memcpy(out, source, stride);
      std::memcpy(out + stride, source + static_cast<size_t>(i) * stride, stride * 2);
      out += stride * 3;
    }
    source = g_fan_scratch.data();
    g_batch.runs.assign(1, Run{0, 0, drawn, false});
  }
  size_t offset = 0;
  DynamicVertexBuffer* buffer = take_buffer(bytes, &offset);
  if (buffer == nullptr) return false;
  g_device->WriteVertexBuffer(buffer->buffer, offset, source, bytes, offset == 0);
  buffer->last_frame = g_batch.frame_index;
  buffer->write_offset = offset + bytes;
  for (Run& run : g_batch.runs) {
    if (run.buffer != 0) continue;
    run.buffer = buffer->buffer;
    run.first_byte += offset;
  }
  return true;
}

// The layout and shader of a draw of `prim` in `format`, with the device state committed; false
// (with the console line when no layout can draw the format) for a primitive the device can't draw
// or a format without a layout.
bool begin_draw(int32_t prim, uint32_t format, VertexLayout* layout, ShaderSet* shader) {
  if (!resolve_format(format, layout, shader)) {
    g_ReleaseConsole->Output("Draw failed due to invalid input layout\n");
    return false;
  }
  if (prim < kPrimPointList || prim > kPrimTriangleStrip) return false;
  DeviceState_Commit(g_device);
  g_device->UseProgram(g_user_program);
  return true;
}

// The batch's runs (mostly one; quads among plain vertices, or a batch that went on in another
// buffer, make more): each run is drawn from where it lies, as one draw of the batch.
void draw_runs(int32_t prim) {
  VertexLayout layout;
  ShaderSet shader = ShaderSet::kColour;
  if (!begin_draw(prim, g_batch.format, &layout, &shader)) return;
  for (const Run& run : g_batch.runs) {
    if (run.quads) {
      g_device->DrawQuads(layout, shader, run.buffer, run.first_byte, run.count / 4);
    } else {
      g_device->Draw(static_cast<PrimitiveType>(prim), layout, shader, run.buffer, run.first_byte, run.count);
    }
  }
  ++g_batch.draws_this_frame;
}

// Hands the device what was queued once a frame has drawn kSubmitVerts vertices since the last
// time, so that the device (or a software renderer's own threads) starts on the first part of a
// large frame while the rest is still being built, instead of taking the whole frame at its end.
void submit_when_large(int32_t drawn) {
  g_batch.drawn_since_submit += drawn;
  if (g_batch.drawn_since_submit < kSubmitVerts) return;
  g_batch.drawn_since_submit = 0;
  g_device->Flush();
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
  return alloc(prim, texture, format, count, count, false);
}

void* GR_Alloc_Quads(GRTexture* texture, uint32_t format, int32_t quads) {
  if (quads < 0) quads = 0;
  return alloc(kPrimTriangleList, texture, format, 6 * quads, 4 * quads, true);
}

void GR_Return_Verts(int32_t count) {
  if (count <= 0) return;
  count = std::min(count, g_batch.vertex_count);
  g_batch.vertex_count -= count;
  // The stored vertices go back from the end; a quad goes as soon as any of its six does, so the
  // stored vertices never outnumber the counted ones. Their room is handed out again.
  const size_t stride = static_cast<size_t>(g_batch.stride);
  while (count > 0 && !g_batch.runs.empty()) {
    Run& run = g_batch.runs.back();
    int32_t counted = 0, stored = 0;
    if (run.quads) {
      counted = std::min(count, run.count / 4 * 6);
      stored = (counted + 5) / 6 * 4;
    } else {
      counted = stored = std::min(count, run.count);
    }
    const size_t bytes = static_cast<size_t>(stored) * stride;
    if (run.buffer == 0) {
      g_batch.staged_bytes -= bytes;
    } else if (g_map.active && run.buffer == g_map.buffer && run.first_byte >= g_map.start) {
      g_map.used -= bytes;
    }
    run.count -= stored;
    g_batch.stored_count -= stored;
    count -= counted;
    if (run.count == 0) g_batch.runs.pop_back();
  }
}

void GR_Flush() {
  if (g_batch.prim == -1) {
    RenderState_Apply();
    return;
  }
  g_batch.max_batch_verts = std::max(g_batch.max_batch_verts, g_batch.vertex_count);
  if (g_device != nullptr) end_mapping();
  const int32_t n = g_batch.stored_count;
  const bool fan = g_batch.prim == kPrimTriangleFan;
  const bool has_quads = std::any_of(g_batch.runs.begin(), g_batch.runs.end(), [](const Run& r) { return r.quads; });
  int32_t drawn = fan ? std::max(0, n - 2) * 3 : n;
  if (has_quads) drawn = g_batch.vertex_count;
  if (g_device == nullptr || drawn <= 0 || n <= 0 || !upload_staged(fan, drawn)) {
    close_batch();
    RenderState_Apply();
    return;
  }
  bind_stage0(g_batch.texture);
  draw_runs(fan ? kPrimTriangleList : g_batch.prim);
  g_batch.drawn_this_frame += drawn;
  submit_when_large(drawn);
  close_batch();
  RenderState_Apply();
}

void GR_Draw_Submitted(int32_t prim, int32_t vertex_count, size_t start_byte, uint32_t format, DeviceBufferId buffer) {
  if (g_device == nullptr || vertex_count <= 0) return;
  VertexLayout layout;
  ShaderSet shader = ShaderSet::kColour;
  if (!begin_draw(prim, format, &layout, &shader)) return;
  g_device->Draw(static_cast<PrimitiveType>(prim), layout, shader, buffer, start_byte, vertex_count);
  ++g_batch.draws_this_frame;
}

void GR_End_Batch_Frame() {
  ++g_batch.frame_index;
  g_batch.prim = -1;
  g_batch.max_drawn_per_frame = std::max(g_batch.max_drawn_per_frame, g_batch.drawn_this_frame);
  g_batch.drawn_this_frame = 0;
  g_batch.drawn_since_submit = 0;  // the present hands everything over
  g_batch.draws_last_frame = g_batch.draws_this_frame;
  g_batch.draws_this_frame = 0;
  if (g_device != nullptr) end_mapping();
  close_batch();
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
    end_mapping();
    for (const DynamicVertexBuffer& b : g_ring) g_device->DestroyVertexBuffer(b.buffer);
  }
  g_ring.clear();
  g_current = 0;
  g_map = Mapping{};
  close_batch();
  g_batch.texture = nullptr;
}

// Surfaces, the target stack beneath them, reads and writes of their pixels, and the clear.
#include "graphics/surface.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "core/console.h"
#include "core/error.h"
#include "data/game_data.h"
#include "graphics/batcher.h"
#include "graphics/camera.h"
#include "graphics/cull.h"
#include "graphics/device_state.h"
#include "graphics/image_files.h"
#include "graphics/render_state.h"
#include "graphics/sprite_draw.h"
#include "graphics/texture_decode.h"
#include "graphics/texture_table.h"
#include "graphics/view.h"
#include "graphics/window.h"

namespace {

constexpr int32_t kMaxSurfaceSide = 8192;

struct StackEntry {
  DeviceRect viewport;
  ViewRect view;
  bool hadCamera = false;
  Camera* camera = nullptr;
  float viewMat[16];
  float projMat[16];
  bool noCull = false;
  int32_t targets[kSurfaceTargetSlots];
};

struct SurfaceSystem {
  std::map<int32_t, SurfaceRecord> records;
  int32_t nextId = 0;
  bool depthDisabled = false;
  int32_t targets[kSurfaceTargetSlots] = {-1, -1, -1, -1};
  StackEntry stack[kSurfaceStackSize];
  int32_t depth = 0;
  std::vector<DeviceTextureId> deviceStack;  // the targets bound before each push
  AppSurfaceState app;
};

SurfaceSystem g_s;

IDevice* device() { return Graphics_Device(); }

SurfaceRecord* find(int32_t id) {
  const auto it = g_s.records.find(id);
  return it != g_s.records.end() ? &it->second : nullptr;
}

Texture* texture_of(const SurfaceRecord* record) {
  const TextureSlot* slot = record != nullptr ? Texture_Slot(record->textureSlot) : nullptr;
  return slot != nullptr ? static_cast<Texture*>(slot->texture) : nullptr;
}

DeviceTextureId device_texture(const SurfaceRecord* record) {
  Texture* texture = texture_of(record);
  return texture != nullptr ? texture->DeviceTexture() : 0;
}

DeviceTextureId current_device_target() {
  return g_s.deviceStack.empty() || g_s.targets[0] < 0 ? GR_MainRenderTarget() : device_texture(find(g_s.targets[0]));
}

bool generation2() { return GameData_Header().generation >= 2; }

// Binds target for a read and hands back what was bound.
DeviceTextureId bind_for_read(DeviceTextureId target) {
  const DeviceTextureId previous = current_device_target();
  if (target != previous) device()->SetRenderTarget(target);
  return previous;
}

void unbind_after_read(DeviceTextureId target, DeviceTextureId previous) {
  if (target != previous) device()->SetRenderTarget(previous);
}

void clear_new_surface(const SurfaceRecord& record) {
  IDevice* d = device();
  const DeviceTextureId id = device_texture(&record);
  if (d == nullptr || id == 0) return;
  GR_Flush();
  const DeviceTextureId previous = bind_for_read(id);
  d->Clear(kClearColour | kClearDepth | kClearStencil, 0, 1.0f, 0);
  unbind_after_read(id, previous);
}

void free_record_texture(SurfaceRecord* record) {
  if (record->textureSlot >= 0) Texture_FreeSlot(record->textureSlot);
  record->textureSlot = -1;
}

// The 2D view state or, in generation 2 with a camera current, the camera's rectangle.
ViewRect current_view_rect() {
  const Camera* camera = Camera_Active();
  if (generation2() && camera != nullptr) {
    return ViewRect{camera->viewX, camera->viewY, camera->viewW, camera->viewH, camera->angle};
  }
  return Cull_View();
}

void set_view(const ViewRect& r) {
  if (generation2()) {
    Camera_Set_View_Temp(r.x, r.y, r.w, r.h, r.angle);
  } else {
    GR_Set_View(r.x, r.y, r.w, r.h, r.angle);
  }
}

}  // namespace

AppSurfaceState& AppSurface() { return g_s.app; }
bool AppSurface_On() { return g_s.app.enabled && find(g_s.app.id) != nullptr; }

// ---- Surfaces ------------------------------------------------------------------------------------

int32_t Surface_Create(int32_t width, int32_t height, int32_t id) {
  if (id == -1) {
    id = g_s.nextId;
    while (find(id) != nullptr) ++id;
    g_s.nextId = id + 1;
  }
  SurfaceRecord& record = g_s.records[id];
  record = SurfaceRecord{id, -1, width, height};
  const int32_t slot_index = Texture_AllocSlot();
  uint32_t flags = kCreateRenderTarget | kCreateKeepOnFlush;
  if (!g_s.depthDisabled) flags |= kCreateDepth;
  Texture* texture = Texture_Create(static_cast<uint32_t>(width), static_cast<uint32_t>(height), kTextureFormatRGBA, flags);
  texture->slot = slot_index;
  TextureSlot* slot = Texture_Slot(slot_index);
  slot->texture = texture;
  Texture_SetSlotSize(slot, static_cast<uint32_t>(width), static_cast<uint32_t>(height));
  record.textureSlot = slot_index;
  const bool made = Texture_BuildDevice(texture) && (device() == nullptr || texture->device_ != 0);
  if (id == g_s.app.id) {
    g_s.app.width = made ? width : 1;
    g_s.app.height = made ? height : 1;
  }
  if (!made) {
    Texture_FreeSlot(slot_index);
    g_s.records.erase(id);
    return -1;
  }
  clear_new_surface(record);
  return id;
}

const SurfaceRecord* Surface_Get(int32_t id) { return find(id); }
bool Surface_Exists(int32_t id) { return find(id) != nullptr; }

int32_t Surface_Get_Width(int32_t id) {
  const SurfaceRecord* r = find(id);
  return r != nullptr ? r->width : -1;
}

int32_t Surface_Get_Height(int32_t id) {
  const SurfaceRecord* r = find(id);
  return r != nullptr ? r->height : -1;
}

int32_t Surface_Get_Texture(int32_t id) {
  const SurfaceRecord* r = find(id);
  return r != nullptr ? r->textureSlot : -1;
}

bool Surface_In_Use(int32_t id) {
  for (int32_t t : g_s.targets) {
    if (t == id) return true;
  }
  for (int32_t i = 0; i < g_s.depth; ++i) {
    for (int32_t t : g_s.stack[i].targets) {
      if (t == id) return true;
    }
  }
  return false;
}

bool Surface_Free(int32_t id, bool force) {
  if (id < 0) return false;
  SurfaceRecord* record = find(id);
  if (record == nullptr) return false;
  if (Surface_In_Use(id)) {
    KVError("Surface in use via surface_set_target(). It can not be freed until it has been removed from the surface stack.");
    return false;
  }
  if (id == g_s.app.id && !force) return false;
  GR_Flush();
  free_record_texture(record);
  g_s.records.erase(id);
  if (id == g_s.app.id) g_s.app.id = kNoSurface;
  return true;
}

bool Surface_Resize(int32_t id, int32_t width, int32_t height) {
  if (width < 1 || height < 1 || width > kMaxSurfaceSide || height > kMaxSurfaceSide) {
    KVError("Invalid surface dimensions");
    return false;
  }
  if (id == g_s.app.id) {
    g_s.app.pendingWidth = width;
    g_s.app.pendingHeight = height;
    g_s.app.resizePending = true;
    return true;
  }
  SurfaceRecord* record = find(id);
  if (record == nullptr) {
    KVError("Surface does not exist");
    return false;
  }
  if (Surface_In_Use(id)) {
    KVError("Surface in use via surface_set_target(). It can not be resized until it has been removed from the surface stack.");
    return false;
  }
  GR_Flush();
  free_record_texture(record);
  g_s.records.erase(id);
  return Surface_Create(width, height, id) == id;
}

void Surface_Free_All() {
  GR_Flush();
  for (auto& [id, record] : g_s.records) {
    if (g_s.depth > 0 && g_s.targets[0] == id) Surface_Pop_Target();
    free_record_texture(&record);
  }
  g_s.records.clear();
  g_s.deviceStack.clear();
  g_s.depth = 0;
  for (int32_t& t : g_s.targets) t = -1;
  g_s.app.id = kNoSurface;
}

void Surface_Reset() {
  for (auto& [id, record] : g_s.records) free_record_texture(&record);
  g_s = SurfaceSystem{};
}

void Surface_SetDepthDisabled(bool disabled) { g_s.depthDisabled = disabled; }
bool Surface_DepthDisabled() { return g_s.depthDisabled; }

// ---- Targets --------------------------------------------------------------------------------------

bool Surface_Set_Target(int32_t slot, int32_t id) {
  if (slot < 0 || slot >= kSurfaceTargetSlots) return false;
  const bool changed = id != g_s.targets[slot];
  if (changed) {
    if (device() == nullptr) return false;
    GR_Flush();
  }
  SurfaceRecord* record = find(id);
  if (record == nullptr) {
    KVError("Trying to set a surface target that does not exist.");
    return false;
  }
  const DeviceTextureId texture = device_texture(record);
  if (texture == 0) return false;
  if (g_s.depth >= kSurfaceStackSize) {
    KVError("Surface stack is full - ensure surface_reset_target() is called for each surface_set_target().");
    return false;
  }
  if (slot != 0) {
    // The device binds colour target 0 only: the other slots are kept for the stack's bookkeeping.
    g_s.targets[slot] = id;
    return true;
  }
  if (changed && static_cast<int32_t>(g_s.deviceStack.size()) >= kDeviceTargetStackSize) {
    KVError("surface stack is full - ensure surface_reset_target() is called for each surface_set_target().");
    return false;
  }
  StackEntry& e = g_s.stack[g_s.depth++];
  e.viewport = GR_Viewport();
  e.view = current_view_rect();
  e.camera = Camera_Active();
  e.hadCamera = e.camera != nullptr;
  if (e.hadCamera) {
    std::memcpy(e.viewMat, e.camera->viewMat, sizeof e.viewMat);
    std::memcpy(e.projMat, e.camera->projMat, sizeof e.projMat);
  }
  e.noCull = NoCull;
  std::memcpy(e.targets, g_s.targets, sizeof e.targets);
  if (!changed) return true;
  g_s.deviceStack.push_back(current_device_target());
  g_s.targets[0] = id;
  device()->SetRenderTarget(texture);
  GR_SetViewport(0, 0, record->width, record->height);
  set_view(ViewRect{0.0f, 0.0f, static_cast<float>(record->width), static_cast<float>(record->height), 0.0f});
  DeviceState_MarkDirty(kDirtyRaster);
  return true;
}

bool Surface_Pop_Target() {
  if (g_s.depth < 1) {
    KVError("Unbalanced surface stack. you are trying to pop a surface that has not been set.");
    return false;
  }
  StackEntry& e = g_s.stack[g_s.depth - 1];
  const bool target0_changed = e.targets[0] != g_s.targets[0];
  if (target0_changed) {
    if (device() == nullptr || g_s.deviceStack.empty()) return false;
    GR_Flush();
    const DeviceTextureId previous = g_s.deviceStack.back();
    g_s.deviceStack.pop_back();
    device()->SetRenderTarget(previous);
  }
  --g_s.depth;
  std::memcpy(g_s.targets, e.targets, sizeof g_s.targets);
  NoCull = e.noCull;
  if (!target0_changed) return true;
  DeviceState_MarkDirty(kDirtyRaster);
  if (InGuiPass && g_s.depth == 0) {
    Gui_Setup();
    return true;
  }
  GR_SetViewport(e.viewport.x, e.viewport.y, e.viewport.w, e.viewport.h);
  if (generation2()) {
    Camera_Set_View_Temp(e.view.x, e.view.y, e.view.w, e.view.h, e.view.angle);
    if (e.hadCamera && e.camera != nullptr) {
      Camera_Set_Active(e.camera);
      std::memcpy(e.camera->viewMat, e.viewMat, sizeof e.viewMat);
      e.camera->SetProjMat(e.projMat);
      Camera_Apply(e.camera);
    }
  } else {
    GR_Set_View(e.view.x, e.view.y, e.view.w, e.view.h, e.view.angle);
  }
  return true;
}

int32_t Surface_Target(int32_t slot) { return slot >= 0 && slot < kSurfaceTargetSlots ? g_s.targets[slot] : -1; }
int32_t Surface_StackDepth() { return g_s.depth; }

void Surface_TargetSize(int32_t* width, int32_t* height) {
  const SurfaceRecord* record = g_s.targets[0] >= 0 ? find(g_s.targets[0]) : nullptr;
  if (record != nullptr && !g_s.deviceStack.empty()) {
    *width = record->width;
    *height = record->height;
    return;
  }
  *width = Window_State().display_width;
  *height = Window_State().display_height;
}

// ---- Pixels ---------------------------------------------------------------------------------------

namespace {

// Reads the rectangle of a w x h target into out, zero outside the target.
bool read_target(DeviceTextureId texture, int32_t tw, int32_t th, int32_t x, int32_t y, int32_t w, int32_t h,
                 SpriteBitmap* out) {
  out->width = w;
  out->height = h;
  out->pixels.assign(static_cast<size_t>(w) * h * 4, 0);
  if (x < 0 || y < 0 || x + w > tw || y + h > th) {
    g_ReleaseConsole->Output("Trying to grab data from outside surface bounds: x = %d, y = %d, w = %d, h = %d\n", x, y,
                             w, h);
  }
  const int32_t left = std::max(x, 0), top = std::max(y, 0);
  const int32_t right = std::min(x + w, tw), bottom = std::min(y + h, th);
  IDevice* d = device();
  if (d == nullptr || texture == 0) return false;
  if (right <= left || bottom <= top) return true;
  GR_Flush();
  std::vector<uint32_t> inside(static_cast<size_t>(right - left) * (bottom - top));
  const DeviceTextureId previous = bind_for_read(texture);
  const bool read = d->ReadPixels(DeviceRect{left, top, right - left, bottom - top}, inside.data());
  unbind_after_read(texture, previous);
  if (!read) return false;
  for (int32_t row = top; row < bottom; ++row) {
    std::memcpy(out->pixels.data() + (static_cast<size_t>(row - y) * w + (left - x)) * 4,
                inside.data() + static_cast<size_t>(row - top) * (right - left), static_cast<size_t>(right - left) * 4);
  }
  return true;
}

}  // namespace

bool Surface_Read_Rect(int32_t id, int32_t x, int32_t y, int32_t w, int32_t h, SpriteBitmap* out) {
  const SurfaceRecord* record = find(id);
  if (record == nullptr || w < 0 || h < 0) return false;
  return read_target(device_texture(record), record->width, record->height, x, y, w, h, out);
}

bool Screen_Read_Rect(int32_t x, int32_t y, int32_t w, int32_t h, SpriteBitmap* out) {
  if (w < 0 || h < 0) return false;
  return read_target(GR_MainRenderTarget(), Window_State().display_width, Window_State().display_height, x, y, w, h,
                     out);
}

bool Surface_Write(int32_t id, const uint8_t* pixels) {
  const SurfaceRecord* record = find(id);
  const DeviceTextureId texture = device_texture(record);
  if (record == nullptr || texture == 0 || device() == nullptr) return false;
  GR_Flush();
  device()->UpdateTexture(texture, 0, 0, record->width, record->height, pixels);
  return true;
}

uint32_t Surface_GetPixel(int32_t id, int32_t x, int32_t y) {
  const SurfaceRecord* record = find(id);
  if (record == nullptr || x < 0 || y < 0 || x >= record->width || y >= record->height) return 0;
  SpriteBitmap pixel;
  if (!Surface_Read_Rect(id, x, y, 1, 1, &pixel)) return 0;
  uint32_t value = 0;
  std::memcpy(&value, pixel.pixels.data(), 4);
  return value;
}

bool Surface_Save(int32_t id, const char* file, int32_t x, int32_t y, int32_t w, int32_t h) {
  SpriteBitmap pixels;
  if (!Surface_Read_Rect(id, x, y, w, h, &pixels) || w <= 0 || h <= 0) return false;
  return Image_SavePng(file, pixels.pixels.data(), w, h);
}

bool Surface_Frame(int32_t id, SpriteFrame* frame, FrameTexture* texture) {
  const SurfaceRecord* record = find(id);
  const TextureSlot* slot = record != nullptr ? Texture_Slot(record->textureSlot) : nullptr;
  if (slot == nullptr || slot->texture == nullptr) return false;
  *frame = SpriteFrame{};
  frame->slot = record->textureSlot;
  frame->sw = frame->tw = frame->bw = static_cast<float>(record->width);
  frame->sh = frame->th = frame->bh = static_cast<float>(record->height);
  texture->texture = slot->texture;
  texture->texelWidth = slot->texelWidth;
  texture->texelHeight = slot->texelHeight;
  return true;
}

void Surface_Copy(int32_t dest, float x, float y, int32_t src, int32_t xs, int32_t ys, int32_t ws, int32_t hs) {
  SpriteFrame frame;
  FrameTexture texture;
  const SurfaceRecord* target = find(dest);
  if (target == nullptr || !Surface_Frame(src, &frame, &texture)) {
    KVError("Trying to use non-existing surface.");
    return;
  }
  if (!Surface_Set_Target(0, dest)) return;
  RenderState_Push();
  RenderState_Set(kRSBlendEnable, 0);
  RenderState_Set(kRSZEnable, 0);
  float saved[3][16];
  GR_Get_Matrix(kMatrixWorld, saved[0]);
  GR_Get_Matrix(kMatrixView, saved[1]);
  GR_Get_Matrix(kMatrixProjection, saved[2]);
  const ViewRect saved_view = Cull_View();
  float identity[16];
  Matrix_Identity(identity);
  GR_Set_Matrix(kMatrixWorld, identity);
  GR_Set_View(0.0f, 0.0f, static_cast<float>(target->width), static_cast<float>(target->height), 0.0f);
  const uint32_t white[4] = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
  Quad_DrawPart(texture, frame, static_cast<float>(xs), static_cast<float>(ys), static_cast<float>(ws),
                static_cast<float>(hs), x, y, 1.0f, 1.0f, 0.0f, white);
  GR_Flush();
  GR_Set_Matrices(saved[0], saved[1], saved[2]);
  Cull_SetView(saved_view.x, saved_view.y, saved_view.w, saved_view.h, saved_view.angle);
  const DeviceRect port = GR_Viewport();
  GR_SetViewport(port.x, port.y, port.w, port.h);
  RenderState_Pop();
  Surface_Pop_Target();
}

// ---- Clearing -------------------------------------------------------------------------------------

void Draw_Clear(uint32_t colour, float depth, uint8_t stencil, uint32_t flags) {
  GR_Flush();
  IDevice* d = device();
  if (d == nullptr) return;
  int32_t tw = 0, th = 0;
  Surface_TargetSize(&tw, &th);
  const DeviceRect port = GR_Viewport();
  if (port.x <= 0 && port.y <= 0 && port.x + port.w >= tw && port.y + port.h >= th) {
    d->Clear(flags & (kClearColour | kClearDepth | kClearStencil), colour, depth, stencil);
    return;
  }
  static const int32_t kIds[] = {kRSBlendEnable, kRSAlphaTestEnable, kRSCullMode,  kRSColourWriteEnable,
                                 kRSZEnable,     kRSZFunc,           kRSZWriteEnable};
  constexpr int kCount = 7;
  uint32_t saved_states[kCount];
  for (int i = 0; i < kCount; ++i) saved_states[i] = RenderState_Get(kIds[i]);
  const bool depth_too = (flags & kClearDepth) != 0;
  const uint32_t values[kCount] = {0, 0, 0, (flags & kClearColour) != 0 ? 15u : 0u, depth_too ? 1u : 0u, 8, depth_too ? 1u : 0u};
  for (int i = 0; i < kCount; ++i) RenderState_Set(kIds[i], values[i]);
  Draw_FillViewport(colour, depth);
  for (int i = 0; i < kCount; ++i) RenderState_Set(kIds[i], saved_states[i]);
}

void Draw_FillViewport(uint32_t colour, float depth) {
  ClipSpaceScope clip;
  auto* v = static_cast<VertexColour*>(GR_Alloc_Verts(kPrimTriangleStrip, GR_WhiteTexture(), kFormatColour, 4));
  v[0] = VertexColour{-1.0f, 1.0f, depth, colour};
  v[1] = VertexColour{1.0f, 1.0f, depth, colour};
  v[2] = VertexColour{-1.0f, -1.0f, depth, colour};
  v[3] = VertexColour{1.0f, -1.0f, depth, colour};
}

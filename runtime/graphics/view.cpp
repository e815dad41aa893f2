// The frame's viewport and view ports, the GUI space, the fit of the application surface into the
// window and the mapping of window coordinates.
#include "graphics/view.h"

#include <cmath>
#include <cstring>

#include "data/game_data.h"
#include "graphics/batcher.h"
#include "graphics/camera.h"
#include "graphics/cull.h"
#include "graphics/device_state.h"
#include "graphics/gr_texture.h"
#include "graphics/render_state.h"
#include "graphics/sprite_draw.h"
#include "graphics/surface.h"
#include "graphics/window.h"

namespace {

ViewFrameState g_view;
GuiState g_gui;

const WindowState& W() { return Window_State(); }

bool generation2() { return GameData_Header().generation >= 2; }

// Step 1 of the view mapping: the pixel of the application surface under the client point.
void surface_pixel(float wx, float wy, float* px, float* py) {
  int32_t ox = 0, oy = 0;
  View_FitOffsets(&ox, &oy);
  const AppSurfaceState& app = AppSurface();
  const float cw = static_cast<float>(W().client_width - 2 * ox);
  const float ch = static_cast<float>(W().client_height - 2 * oy);
  const float sx = cw != 0.0f ? static_cast<float>(app.width) / cw : 1.0f;
  const float sy = ch != 0.0f ? static_cast<float>(app.height) / ch : 1.0f;
  *px = std::trunc(sx / g_view.portScaleX * (wx - static_cast<float>(ox)));
  *py = std::trunc(sy / g_view.portScaleY * (wy - static_cast<float>(oy)));
}

bool map_view(int32_t index, float wx, float wy, float* rx, float* ry, float* px, float* py) {
  if (index < 0 || index >= kViewPortCount) return false;
  const ViewPortEntry& e = g_view.ports[index];
  if (!e.used || e.portW == 0.0f || e.portH == 0.0f) return false;
  surface_pixel(wx, wy, px, py);
  float x = *px - std::trunc(e.portX);
  float y = *py - std::trunc(e.portY);
  Camera* camera = generation2() ? Camera_Get(e.cameraId) : nullptr;
  if (camera != nullptr) {
    if (camera->dirty) camera->Rebuild();
    const float u = x / e.portW, v = y / e.portH;
    const float cx = 2.0f * u - 1.0f, cy = 2.0f * v - 1.0f;
    const float* m = camera->invViewProjMat;
    const float room_x = cx * m[0] + cy * m[4] + m[12];
    const float room_y = cx * m[1] + cy * m[5] + m[13];
    *rx = std::trunc(room_x + 0.5f);
    *ry = std::trunc(room_y + 0.5f);
    return true;
  }
  const float sx = x * e.viewW / e.portW, sy = y * e.viewH / e.portH;
  if (std::fabs(e.angle) < 0.0001f) {
    *rx = std::rint(e.viewX + sx);
    *ry = std::rint(e.viewY + sy);
    return true;
  }
  const float a = -e.angle * 3.1415927f / 180.0f;
  const float dx = sx - e.viewW / 2.0f, dy = sy - e.viewH / 2.0f;
  *rx = std::rint(std::cos(a) * dx + e.viewX + e.viewW / 2.0f + std::sin(a) * dy);
  *ry = std::rint(e.viewY + e.viewH / 2.0f - std::sin(a) * dx + std::cos(a) * dy);
  return true;
}

}  // namespace

ViewFrameState& View_State() { return g_view; }

void GR_SetViewport(int32_t x, int32_t y, int32_t w, int32_t h) {
  GR_Flush();
  g_view.viewport = DeviceRect{x, y, w, h};
  IDevice* device = Graphics_Device();
  if (device == nullptr) return;
  device->SetViewport(g_view.viewport);
  device->SetScissor(g_view.viewport);
}

DeviceRect GR_Viewport() { return g_view.viewport; }

void View_ClearPorts() {
  for (ViewPortEntry& e : g_view.ports) e = ViewPortEntry{};
}

void View_SetPort(int32_t index, const ViewPortEntry& entry) {
  if (index < 0 || index >= kViewPortCount) return;
  g_view.ports[index] = entry;
  g_view.ports[index].used = true;
}

void View_SetRoom(bool exists, float width, float height) {
  g_view.roomExists = exists;
  g_view.roomWidth = width;
  g_view.roomHeight = height;
}

// ---- GUI ------------------------------------------------------------------------------------------

GuiState::GuiState() {
  Matrix_Identity(matrix);
  Matrix_Identity(inverse);
}

GuiState& Gui_State() { return g_gui; }

int32_t Gui_Width() { return g_gui.width >= 0 ? g_gui.width : AppSurface().width; }
int32_t Gui_Height() { return g_gui.height >= 0 ? g_gui.height : AppSurface().height; }

void Gui_SetSize(int32_t width, int32_t height) {
  g_gui.width = width;
  g_gui.height = height;
  g_gui.maximised = false;
  g_gui.xoffset = g_gui.yoffset = kGuiOffsetNotGiven;
  g_gui.xscale = g_gui.yscale = 1.0f;
  if (InGuiPass) Gui_Setup();
}

void Gui_SetMaximise(int32_t count, const double* values) {
  g_gui.maximised = true;
  g_gui.width = g_gui.height = -1;
  g_gui.xoffset = g_gui.yoffset = kGuiOffsetNotGiven;
  g_gui.xscale = g_gui.yscale = 1.0f;
  const bool both_minus_one = count == 2 && values[0] == -1.0 && values[1] == -1.0;
  if (!both_minus_one) {
    float* fields[4] = {&g_gui.xscale, &g_gui.yscale, &g_gui.xoffset, &g_gui.yoffset};
    for (int32_t i = 0; i < count && i < 4; ++i) *fields[i] = static_cast<float>(values[i]);
  }
  if (InGuiPass) Gui_Setup();
}

void Gui_Setup() {
  const float dw = static_cast<float>(W().display_width), dh = static_cast<float>(W().display_height);
  GR_SetViewport(0, 0, W().display_width, W().display_height);
  float projection[16];
  Matrix_Ortho(dw, -dh, 1.0f, 32000.0f, projection);
  const AppSurfaceState& app = AppSurface();
  const bool surface = AppSurface_On();
  float gw = static_cast<float>(g_gui.width >= 0 ? g_gui.width : (surface ? app.width : W().display_width));
  float gh = static_cast<float>(g_gui.height >= 0 ? g_gui.height : (surface ? app.height : W().display_height));
  if (gw <= 0.0f) gw = 1.0f;
  if (gh <= 0.0f) gh = 1.0f;
  float left = 0, top = 0, right = dw, bottom = dh;
  View_AppSurfaceRect(&left, &top, &right, &bottom);
  const float pw = right - left, ph = bottom - top;
  float xs = 0, ys = 0, xoff = 0, yoff = 0;
  if (g_gui.maximised) {
    xs = g_gui.xscale;
    ys = g_gui.yscale;
    xoff = -std::floor(dw * 0.5f) + (g_gui.xoffset != kGuiOffsetNotGiven ? g_gui.xoffset : 0.0f);
    yoff = -std::floor(dh * 0.5f) + (g_gui.yoffset != kGuiOffsetNotGiven ? g_gui.yoffset : 0.0f);
  } else {
    xs = pw / gw;
    ys = ph / gh;
    xoff = -(pw * 0.5f);
    yoff = -(ph * 0.5f);
  }
  float view[16];
  Matrix_Identity(view);
  view[0] = xs;
  view[5] = ys;
  view[12] = xoff;
  view[13] = yoff;
  view[14] = 16000.0f;
  std::memcpy(g_gui.matrix, view, sizeof(view));
  if (!Matrix_Inverse(view, g_gui.inverse)) Matrix_Identity(g_gui.inverse);
  GR_Set_Matrices(nullptr, view, projection);
  const float hw = dw * 0.5f, hh = dh * 0.5f;
  if (xs == 0.0f) xs = 1.0f;
  if (ys == 0.0f) ys = 1.0f;
  Cull_SetPerspective(false);
  Cull_SetRect(CullRect{std::floor((-hw - xoff) / xs), std::floor((-hh - yoff) / ys), std::ceil((hw - xoff) / xs),
                        std::ceil((hh - yoff) / ys)});
}

// ---- The window ----------------------------------------------------------------------------------

void View_AppSurfaceRect(float* left, float* top, float* right, float* bottom) {
  const float dw = static_cast<float>(W().display_width), dh = static_cast<float>(W().display_height);
  *left = 0, *top = 0, *right = dw, *bottom = dh;
  const AppSurfaceState& app = AppSurface();
  if (!W().keep_aspect || !AppSurface_On() || app.width <= 0 || app.height <= 0) return;
  const float aspect = static_cast<float>(app.width) / static_cast<float>(app.height);
  if (dh > dw / aspect) {
    *top = std::trunc((dh - static_cast<float>(app.height) / static_cast<float>(app.width) * dw) * 0.5f);
    *bottom = dh - *top;
  } else {
    *left = std::trunc((dw - aspect * dh) * 0.5f);
    *right = dw - *left;
  }
}

void View_FitAppSurface() {
  GR_Flush();
  SpriteFrame frame;
  FrameTexture texture;
  if (!Surface_Frame(AppSurface().id, &frame, &texture) || texture.texture->DeviceTexture() == 0) return;
  const float pw = static_cast<float>(W().display_width), ph = static_cast<float>(W().display_height);
  GR_SetViewport(0, 0, W().display_width, W().display_height);
  GR_Set_View(0.0f, 0.0f, pw, ph, 0.0f);
  static const int32_t kIds[] = {kRSCullMode,  kRSZEnable,         kRSLighting,      kRSFogEnable,
                                 kRSBlendEnable, kRSAlphaTestEnable, kRSStencilEnable};
  uint32_t saved[7];
  for (int i = 0; i < 7; ++i) {
    saved[i] = RenderState_Get(kIds[i]);
    RenderState_Set(kIds[i], 0);
  }
  float left = 0, top = 0, right = pw, bottom = ph;
  if (W().keep_aspect && frame.sw > 0 && frame.sh > 0) {
    const float aspect = frame.sw / frame.sh;
    if (ph > pw / aspect) {
      const float h2 = frame.sh / frame.sw * pw;
      top = (ph - h2) * 0.5f;
      bottom = top + h2;
    } else if (pw / aspect > ph) {
      const float w2 = aspect * ph;
      left = (pw - w2) * 0.5f;
      right = left + w2;
    }
  }
  const uint32_t white[4] = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
  Quad_DrawExt(texture, frame, 0.0f, 0.0f, left, top, (right - left) / frame.tw, (bottom - top) / frame.th, 0.0f,
               white);
  GR_Flush();
  for (int i = 0; i < 7; ++i) RenderState_Set(kIds[i], saved[i]);
  RenderState_Force_All();
}

// ---- Mapping --------------------------------------------------------------------------------------

void View_FitOffsets(int32_t* ox, int32_t* oy) {
  *ox = *oy = 0;
  const AppSurfaceState& app = AppSurface();
  if (!W().keep_aspect || !app.wasEnabled || app.width <= 0 || app.height <= 0) return;
  const float dw = static_cast<float>(W().display_width), dh = static_cast<float>(W().display_height);
  const float aspect = static_cast<float>(app.width) / static_cast<float>(app.height);
  if (dh > dw / aspect) {
    *oy = static_cast<int32_t>((dh - static_cast<float>(app.height) / static_cast<float>(app.width) * dw) * 0.5f);
  } else {
    *ox = static_cast<int32_t>((dw - aspect * dh) * 0.5f);
  }
}

bool Window_To_View(int32_t view, float wx, float wy, float* rx, float* ry) {
  float px = 0, py = 0;
  return map_view(view, wx, wy, rx, ry, &px, &py);
}

void Window_To_Room(float wx, float wy, float* rx, float* ry) {
  *rx = wx;
  *ry = wy;
  if (!g_view.roomExists) return;
  bool any = false;
  for (const ViewPortEntry& e : g_view.ports) any = any || (e.used && e.mapsMouse);
  if (any) {
    const bool gen2 = generation2();
    for (int32_t i = kViewPortCount - 1; i >= 0; --i) {
      const ViewPortEntry& e = g_view.ports[i];
      if (!e.used || !e.mapsMouse) continue;
      float x = 0, y = 0, px = 0, py = 0;
      if (!map_view(i, wx, wy, &x, &y, &px, &py)) continue;
      *rx = x;
      *ry = y;
      const bool hit = gen2 ? (e.portX <= px && px < e.portX + e.portW && e.portY <= py && py < e.portY + e.portH)
                            : (e.viewX <= x && x < e.viewX + e.viewW && e.viewY <= y && y < e.viewY + e.viewH);
      if (hit) return;
    }
    return;
  }
  int32_t ox = 0, oy = 0;
  View_FitOffsets(&ox, &oy);
  const float cw = static_cast<float>(W().client_width - 2 * ox), ch = static_cast<float>(W().client_height - 2 * oy);
  *rx = std::trunc(cw != 0.0f ? (wx - static_cast<float>(ox)) * g_view.roomWidth / cw : wx);
  *ry = std::trunc(ch != 0.0f ? (wy - static_cast<float>(oy)) * g_view.roomHeight / ch : wy);
}

void Window_To_Gui(float wx, float wy, float* gx, float* gy) {
  // Client pixels to the GUI pass's view space (origin at the window's centre), then back through
  // the inverse of the GUI's view matrix.
  const float vx = wx - static_cast<float>(W().display_width) * 0.5f;
  const float vy = wy - static_cast<float>(W().display_height) * 0.5f;
  const float* m = g_gui.inverse;
  *gx = vx * m[0] + vy * m[4] + 16000.0f * m[8] + m[12];
  *gy = vx * m[1] + vy * m[5] + 16000.0f * m[9] + m[13];
}

void Gui_To_Window(float gx, float gy, float* wx, float* wy) {
  const float* m = g_gui.matrix;
  *wx = gx * m[0] + gy * m[4] + m[12] + static_cast<float>(W().display_width) * 0.5f;
  *wy = gx * m[1] + gy * m[5] + m[13] + static_cast<float>(W().display_height) * 0.5f;
}

void View_Reset() {
  g_view = ViewFrameState{};
  g_gui = GuiState{};
}

// The device side of the window: creation of the device and its main render target, the frame
// bracket, the flip of the main target to the back buffer, present, reset and rebuild.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/frame_state.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/gr_texture.h"
#include "graphics/native_cursor.h"
#include "graphics/render_state.h"
#include "graphics/shader.h"
#include "graphics/texture_decode.h"
#include "graphics/texture_load.h"
#include "graphics/vertex_buffer.h"
#include "graphics/view.h"
#include "graphics/window.h"
#include "graphics/window_internal.h"
#include "platform/files.h"

namespace {

constexpr uint32_t kFlagFullscreen = 0x1;
constexpr uint32_t kFlagVsync = 0x2;
constexpr uint32_t kFlagLinearFilter = 0x8;
constexpr uint32_t kFlagKeepAspect = 0x10;
constexpr uint32_t kOpaqueBlack = 0xFF000000u;

std::unique_ptr<IDevice> g_owned_device;
IDevice* g_device = nullptr;
GRTexture g_white;
GRTexture g_main_target;
GRTextureResolver g_resolver = nullptr;
void (*g_surface_release)() = nullptr;
std::string g_splash_path;

WindowState& S() { return Window_State(); }

bool make_device(std::string* error) {
  IWindowHost* host = Window_Host();
  if (Window_TestDevice() != nullptr) {
    g_device = Window_TestDevice();
    return true;
  }
  const DisplayPlatform& platform = Window_Platform();
  const DisplayBackend& backend = S().real_display ? platform.display : platform.no_display;
  if (backend.create_device == nullptr) {
    *error = "no device for this window";
    return false;
  }
  g_owned_device = backend.create_device(host, error);
  g_device = g_owned_device.get();
  return g_device != nullptr;
}

void make_white_texture() {
  const uint32_t white = 0xFFFFFFFFu;
  g_white.device_ = g_device->CreateTexture(1, 1, &white, false, false);
  g_white.width_ = g_white.height_ = 1;
}

void release_textures() {
  if (g_device == nullptr) return;
  if (g_main_target.device_ != 0) g_device->DestroyTexture(g_main_target.device_);
  if (g_white.device_ != 0) g_device->DestroyTexture(g_white.device_);
  g_main_target.device_ = 0;
  g_white.device_ = 0;
}

// The device layer's own defaults, blending on, nothing on stage 0, filters from the header.
void setup_default_state() {
  DeviceState_Reset();
  RenderState_Set(kRSBlendEnable, 1);
  g_device->BindTexture(0, 0);
  const uint32_t linear = S().linear_filter_default ? 1 : 0;
  for (int stage = 0; stage < kSamplerStages; ++stage) {
    SamplerState_Set(stage, kSampMagFilter, linear);
    SamplerState_Set(stage, kSampMinFilter, linear);
  }
  GR_Flush();
  RenderState_Force_All();
}

void clear_black() {
  g_device->Clear(kClearColour | kClearDepth | kClearStencil, kOpaqueBlack, 1.0f, 0);
}

// The flip: the main target onto the whole back buffer, the right way up, filtered as stage 0
// samples. The device copies it directly, without a draw, so no render state is touched and the
// main target stays bound.
void copy_main_target_to_back_buffer() {
  g_device->CopyToBackBuffer(g_main_target.device_, SamplerState_Get(0, kSampMagFilter) != 0);
}

void create_main_target() {
  const int32_t w = std::max(S().display_width, 1);
  const int32_t h = std::max(S().display_height, 1);
  g_main_target.device_ = g_device->CreateTexture(w, h, nullptr, true, true);
  g_main_target.width_ = w;
  g_main_target.height_ = h;
}

// One splash pass: the image centred on the display, scaled down to fit, faded in over the passes.
void draw_splash_pass(GRTexture* splash, int pass, int passes) {
  const WindowState& s = S();
  const float display_w = static_cast<float>(s.display_width), display_h = static_cast<float>(s.display_height);
  const float w = static_cast<float>(splash->width_), h = static_cast<float>(splash->height_);
  const float scale = std::min({1.0f, display_w / w, display_h / h});
  const float dw = w * scale, dh = h * scale;
  const float x0 = (display_w - dw) / 2.0f, y0 = (display_h - dh) / 2.0f;
  const uint32_t alpha = static_cast<uint32_t>(255 * (pass + 1) / passes);
  const uint32_t colour = (alpha << 24) | 0xFFFFFFu;
  GR_Set_View(0.0f, 0.0f, display_w, display_h, 0.0f);
  auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, splash, kFormatTextured, 6));
  const float us[6] = {0, 1, 0, 1, 1, 0};
  const float vs[6] = {0, 0, 1, 0, 1, 1};
  for (int i = 0; i < 6; ++i) v[i] = VertexTextured{us[i], vs[i], colour, x0 + us[i] * dw, y0 + vs[i] * dh, 0.0f};
}

}  // namespace

GRTexture* GR_WhiteTexture() { return &g_white; }
GRTexture* GR_MainRenderTexture() { return &g_main_target; }
DeviceTextureId GR_MainRenderTarget() { return g_main_target.device_; }
IDevice* Graphics_Device() { return g_device; }

void GR_SetTextureResolver(GRTextureResolver resolver) { g_resolver = resolver; }

GRTexture* GR_ResolveTexture(int64_t handle, GRTexturePageRect* page_rect, bool* is_page_entry) {
  *is_page_entry = false;
  *page_rect = GRTexturePageRect{};
  if (handle == -1 || g_resolver == nullptr) return nullptr;
  return g_resolver(handle, page_rect, is_page_entry);
}

void Window_SetSurfaceReleaseHook(void (*hook)()) { g_surface_release = hook; }
void Window_SetSplashPath(const std::string& path) { g_splash_path = path; }

bool Graphics_Init() {
  WindowState& s = S();
  IWindowHost* host = Window_Host();
  if (host == nullptr) return false;
  std::string error;
  if (!make_device(&error)) {
    g_ReleaseConsole->Output("Failed to create the graphics device: %s\n", error.c_str());
    return false;
  }
  const uint32_t flags = GameData_Header().info_flags;
  const bool fullscreen = (flags & kFlagFullscreen) != 0;
  DisplayRect monitor;
  if (!host->DisplayBounds(&monitor) || monitor.w <= 0) monitor = DisplayRect{0, 0, s.client_width, s.client_height};
  s.want_fullscreen = s.fullscreen_active = s.border_hidden = fullscreen;
  s.msaa_samples = 0;
  VsyncOn = (flags & kFlagVsync) != 0;
  if (fullscreen) {
    s.saved_width = s.windowed_width;
    s.saved_height = s.windowed_height;
    if (!host->SetFullscreen(true)) {
      g_ReleaseConsole->Output(
          "Couldn't set app to fullscreen as it's occluded by something. Will try again later...\n");
      s.fullscreen_active = false;
    } else {
      s.client_width = monitor.w;
      s.client_height = monitor.h;
    }
  }
  s.desktop_width = monitor.x + monitor.w;
  s.desktop_height = monitor.y + monitor.h;
  g_device->BackBufferSize(&s.back_buffer_width, &s.back_buffer_height);
  if (s.back_buffer_width <= 0 || s.back_buffer_height <= 0) {
    s.back_buffer_width = s.client_width;
    s.back_buffer_height = s.client_height;
  }
  s.display_width = s.back_buffer_width;
  s.display_height = s.back_buffer_height;
  s.display_index = host->DisplayIndex();

  RenderState_Reset();
  GR_Batch_SetDevice(g_device);
  create_main_target();
  make_white_texture();
  s.linear_filter_default = (flags & kFlagLinearFilter) != 0;
  s.keep_aspect = (flags & kFlagKeepAspect) != 0;
  setup_default_state();
  s.msaa_levels = g_device->MultisampleLevels() & (2 | 4 | 8 | 16);

  g_device->SetRenderTarget(0);
  g_device->SetViewport(DeviceRect{0, 0, s.back_buffer_width, s.back_buffer_height});
  g_device->SetScissor(DeviceRect{0, 0, s.back_buffer_width, s.back_buffer_height});
  clear_black();
  g_device->SetRenderTarget(g_main_target.device_);
  GR_Set_View_Size(s.display_width, s.display_height);
  clear_black();
  s.requested_width = s.requested_height = -1;
  const int32_t refresh = host->DisplayRefreshRate();
  RefreshRate = refresh > 0 ? static_cast<float>(refresh) : 60.0f;
  return true;
}

void GR_Set_View_Size(int32_t width, int32_t height) {
  if (g_device == nullptr) return;
  const WindowState& s = S();
  const int32_t w = s.client_width > 0 ? std::min(width, s.client_width) : width;
  const int32_t h = s.client_height > 0 ? std::min(height, s.client_height) : height;
  GR_SetViewport(0, 0, w, h);
}

void Start_Frame() {
  WindowState& s = S();
  if (s.scene_open != 0 || g_device == nullptr) return;
  ++s.frame_number;
  const DeviceTextureId white = g_white.DeviceTexture();
  for (int stage = 0; stage < kTextureStages; ++stage) g_device->BindTexture(stage, white);
  g_device->SetRenderTarget(g_main_target.device_);
  GR_Set_View_Size(s.display_width, s.display_height);
  s.scene_open = 1;
  NativeCursor_Tick(Timing_Time());
}

void Device_EndFrame(bool present) {
  WindowState& s = S();
  if (g_device == nullptr) return;
  GR_Flush();
  GR_End_Batch_Frame();
  s.scene_open = 0;
  if (!present) return;
  if (s.first_presents_left) {
    // The window appears only once a frame has been drawn into it.
    Window_Host()->Show();
    s.first_size_message = false;
    Window_PumpMessages();
    s.first_presents_left = false;
  }
  copy_main_target_to_back_buffer();
}

bool Device_Present(int32_t sync_interval) {
  WindowState& s = S();
  if (g_device == nullptr) return false;
  if (s.scene_open != 0) Device_EndFrame(true);
  if (Run_ResetCountdown == 1) return true;
  if (!g_device->Present(sync_interval)) {
    Device_Rebuild();
    return true;
  }
  IWindowHost* host = Window_Host();
  const int32_t refresh = host->DisplayRefreshRate();
  RefreshRate = refresh > 0 ? static_cast<float>(refresh) : 60.0f;
  const int32_t display = host->DisplayIndex();
  if (display != s.display_index) {
    s.display_index = display;
    SleepTimingFallback = false;
  }
  return true;
}

bool Device_WaitForVBlank() { return false; }

void Window_ResizeSwapChain(int32_t width, int32_t height) {
  WindowState& s = S();
  g_DebugConsole->Output("Resizing swap chain...\n");
  s.swap_chain_busy = true;
  s.back_buffer_width = width;
  s.back_buffer_height = height;
  s.swap_chain_busy = false;
  if (g_device == nullptr) return;
  g_device->SetRenderTarget(0);
  int32_t bw = 0, bh = 0;
  g_device->BackBufferSize(&bw, &bh);
  g_device->SetViewport(DeviceRect{0, 0, bw > 0 ? bw : width, bh > 0 ? bh : height});
  g_device->Clear(kClearColour, kOpaqueBlack, 1.0f, 0);
}

void Window_RecreateMainTarget() {
  if (g_device == nullptr) return;
  GR_Flush();
  if (g_main_target.device_ != 0) g_device->DestroyTexture(g_main_target.device_);
  create_main_target();
  g_device->SetRenderTarget(g_main_target.device_);
  clear_black();
}

void Device_Reset() {
  if (g_device == nullptr || Window_Host() == nullptr) return;
  GR_Flush();
  if (g_surface_release != nullptr) g_surface_release();
  Window_ModeChange();
  clear_black();
  if (GameData_Header().generation >= 2) {
    DeviceState_MarkDirty(kDirtyAll);
    RenderState_Force_All();
  } else {
    setup_default_state();
  }
}

void Device_Rebuild() {
  WindowState& s = S();
  if (g_device == nullptr) return;
  g_ReleaseConsole->Output("Rebuilding the graphics device\n");
  GR_Batch_ReleaseDevice();
  Shader_ReleaseDevice();
  Vertex_Free_Device_Buffers();
  if (g_surface_release != nullptr) g_surface_release();
  release_textures();
  std::string error;
  if (g_owned_device != nullptr) {
    g_owned_device.reset();
    g_device = nullptr;
    if (!make_device(&error)) {
      g_ReleaseConsole->Output("Failed to create the graphics device: %s\n", error.c_str());
      return;
    }
  }
  ++s.device_generation;
  GR_Batch_SetDevice(g_device);
  create_main_target();
  make_white_texture();
  DeviceState_MarkDirty(kDirtyAll);
  RenderState_Force_All();
  g_device->SetRenderTarget(g_main_target.device_);
  GR_Set_View_Size(s.display_width, s.display_height);
  Shader_CompileAll();
}

void Window_Destroy() {
  if (g_device != nullptr) {
    GR_Batch_ReleaseDevice();
    Shader_ReleaseDevice();
    Vertex_Free_Device_Buffers();
    GR_Batch_SetDevice(nullptr);
    release_textures();
  }
  g_owned_device.reset();
  g_device = nullptr;
  S().scene_open = 0;
  NativeCursor_ReleaseAll();
  Window_CloseHost();
}

void RenderState_ApplyPending() {
  GR_Flush();
  RenderState_Force_All();
}

void Splash_Show() {
  constexpr uint32_t kFlagSplash = 0x10000;
  constexpr int kSplashPasses = 5;
  if (g_device == nullptr) return;
  const bool file_there = !g_splash_path.empty() && Platform_FileReadable(g_splash_path);
  if (!file_there && (GameData_Header().info_flags & kFlagSplash) == 0) return;
  GRTexture splash;
  if (file_there) {
    std::vector<uint8_t> file;
    DecodedImage image;
    if (Platform_ReadWholeFile(g_splash_path, &file) &&
        Texture_DecodePng(file.data(), static_cast<uint32_t>(file.size()), &image) && image.width > 0 &&
        image.height > 0) {
      splash.width_ = static_cast<int32_t>(image.width);
      splash.height_ = static_cast<int32_t>(image.height);
      splash.device_ = g_device->CreateTexture(splash.width_, splash.height_, image.pixels.data(), false, false);
    }
  }
  for (int pass = 0; pass < kSplashPasses; ++pass) {
    Start_Frame();
    g_device->Clear(kClearColour | kClearDepth | kClearStencil, kOpaqueBlack, 1.0f, 0);
    if (splash.device_ != 0) draw_splash_pass(&splash, pass, kSplashPasses);
    Device_EndFrame(true);
    Device_Present(VsyncOn ? 1 : 0);
    Window_PumpMessages();
    TextureLoad_Tick();
  }
  GR_Flush();
  if (splash.device_ != 0) g_device->DestroyTexture(splash.device_);
}

bool Window_ShowErrorDialog(const std::string& text, bool may_ignore) {
  IWindowHost* host = Window_Host();
  if (host == nullptr || !S().real_display) return !may_ignore;
  static const char* const kButtons[] = {"Abort", "Ignore", "Copy"};
  while (true) {
    const char* const with_ignore[] = {kButtons[0], kButtons[1], kButtons[2]};
    const char* const abort_only[] = {kButtons[0], kButtons[2]};
    const int32_t pressed = may_ignore ? host->ShowMessageBox("Code Error", text, with_ignore, 3, true)
                                       : host->ShowMessageBox("Code Error", text, abort_only, 2, true);
    const char* chosen = pressed < 0 ? nullptr : (may_ignore ? with_ignore : abort_only)[pressed];
    if (chosen == nullptr) return !may_ignore;
    if (std::strcmp(chosen, "Copy") == 0) {
      host->SetClipboardText(text);
      continue;
    }
    return std::strcmp(chosen, "Abort") == 0;
  }
}

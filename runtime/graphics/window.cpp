// Window creation, the size and full-screen bookkeeping, the reset countdown and the message table.
#include "graphics/window.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "core/console.h"
#include "core/frame_state.h"
#include "data/game_data.h"
#include "graphics/window_internal.h"
#include "platform/process.h"

namespace {

constexpr uint32_t kFlagFullscreen = 0x1;
constexpr uint32_t kFlagKeepAspect = 0x10;
constexpr uint32_t kFlagShowCursor = 0x20;
constexpr uint32_t kFlagResizable = 0x40;
constexpr uint32_t kFlagBorderless = 0x4000;
constexpr int32_t kVkReturn = 13;
constexpr int32_t kVkShift = 16;
constexpr int32_t kVkControl = 17;
constexpr int32_t kVkAlt = 18;
constexpr int32_t kVkLeftControl = 0xA2;
constexpr int32_t kVkLeftAlt = 0xA4;

WindowState g_state;
WindowInputSink g_input_sink = nullptr;
IWindowHost* g_test_host = nullptr;
IDevice* g_test_device = nullptr;
DisplayPlatform g_platform;
bool g_headless = false;
std::unique_ptr<IWindowHost> g_owned_host;
IWindowHost* g_host = nullptr;

void forward(const WindowMessage& message) {
  if (g_input_sink != nullptr) g_input_sink(message);
}

bool windowed() { return !g_state.want_fullscreen && !g_state.fullscreen_active; }

// The host's message for a client size the user or the system chose. No host reports the start
// and end of a drag, only each new size, so every such message is taken as the end of a drag:
// the size becomes the request, the window itself is left as the user made it, and the settling
// countdown starts again. The device reset thus comes ten frames after the last change, at the
// size the user left, and a reset already under way takes the newest size.
void on_size(int32_t width, int32_t height) {
  if (g_state.want_fullscreen || g_state.swap_chain_busy) return;
  if (g_state.first_size_message) {
    g_state.first_size_message = false;
    return;
  }
  // A report of the size the display already has, with nothing pending, changes nothing.
  if (width == g_state.client_width && height == g_state.client_height && g_state.requested_width < 0) return;
  g_state.no_window_move = true;
  if (width != 0 && height != 0) {
    g_state.requested_width = width;
    g_state.requested_height = height;
  } else {
    g_state.requested_width = g_state.requested_height = -1;
  }
  if (Run_ResetCountdown != 1) Run_ResetCountdown = 10;
}

void on_key(const WindowMessage& message) {
  const bool down = message.kind == WindowMessageKind::kKeyDown;
  if (down && message.a == kVkReturn && message.alt) {
    // Alt+Enter is eaten whether or not it may switch.
    if (g_state.fullscreen_switch_option) Window_Set_Fullscreen(!g_state.want_fullscreen);
    return;
  }
  WindowMessage copy = message;
  if (message.a == kVkAlt || message.a == kVkControl) {
    copy.b = 0;
    forward(copy);
    copy.a = (message.a == kVkAlt ? kVkLeftAlt : kVkLeftControl) | (message.b != 0 ? 1 : 0);
    forward(copy);
    return;
  }
  if (message.a == kVkShift) copy.b = 0;
  forward(copy);
}

void handle(const WindowMessage& m) {
  switch (m.kind) {
    case WindowMessageKind::kQuit:
      Platform_PostQuit();
      break;
    case WindowMessageKind::kClose:
      std::fputs("###game_end###254\n", stderr);
      Platform_PostQuit();
      break;
    case WindowMessageKind::kResized:
    case WindowMessageKind::kMaximized:
    case WindowMessageKind::kRestored:
      on_size(m.a, m.b);
      break;
    case WindowMessageKind::kMinimized:
      break;
    case WindowMessageKind::kFocusGained:
      g_state.has_focus = true;
      if (g_state.want_fullscreen && !g_state.fullscreen_active) {
        g_ReleaseConsole->Output("Trying to reset display as we're not in fullscreen\n");
        Run_ResetCountdown = 10;
      }
      forward(m);
      break;
    case WindowMessageKind::kFocusLost:
      g_state.has_focus = false;
      forward(m);
      break;
    case WindowMessageKind::kActivated:
      g_state.has_focus = m.a != 0;
      forward(m);
      break;
    case WindowMessageKind::kMoved:
      break;
    case WindowMessageKind::kDisplayChanged:
      SleepTimingFallback = false;
      break;
    case WindowMessageKind::kKeyDown:
    case WindowMessageKind::kKeyUp:
      on_key(m);
      break;
    case WindowMessageKind::kMouseMove:
      g_state.mouse_x = static_cast<int16_t>(m.a);
      g_state.mouse_y = static_cast<int16_t>(m.b);
      forward(m);
      break;
    default:
      forward(m);
      break;
  }
}

// A client height above the screen's height less the frame's becomes that height; with keep
// aspect the width shrinks in proportion.
void fit_height(int32_t* w, int32_t* h, int32_t screen_h, int32_t frame, bool keep) {
  if (*h <= screen_h - frame) return;
  if (keep) *w = static_cast<int32_t>(static_cast<float>(screen_h - frame) / static_cast<float>(*h) * static_cast<float>(*w));
  *h = screen_h - frame;
}

// The display went away under the game: nothing can be shown or pumped any more, and the host
// ends the process (status 1) once this line is out.
void on_display_lost() { g_ReleaseConsole->Output("Lost the connection to the display - the game ends\n"); }

// The display the window is on, and its right and bottom edges as the desktop size.
DisplayRect display_bounds() {
  DisplayRect r;
  if (!g_host->DisplayBounds(&r) || r.w <= 0 || r.h <= 0) r = DisplayRect{0, 0, g_state.client_width, g_state.client_height};
  return r;
}

void centre_client(int32_t w, int32_t h) {
  const DisplayRect d = display_bounds();
  g_host->SetClientPosition(d.x + (d.w - w) / 2, d.y + (d.h - h) / 2);
}

}  // namespace

WindowState& Window_State() { return g_state; }

void Window_UsePlatform(IWindowHost* host, IDevice* device) {
  g_test_host = host;
  g_test_device = device;
}

void Window_SetHeadless(bool headless) { g_headless = headless; }
IWindowHost* Window_Host() { return g_host; }

int32_t Window_ShowMessageBox(const std::string& text, const char* const* buttons, int32_t count) {
  if (g_host == nullptr || (!g_state.real_display && g_host != g_test_host)) return -1;
  return g_host->ShowMessageBox(g_state.caption, text, buttons, count, false);
}
void Window_SetInputSink(WindowInputSink sink) { g_input_sink = sink; }
IDevice* Window_TestDevice() { return g_test_device; }
void Window_SetDisplayPlatform(const DisplayPlatform& platform) { g_platform = platform; }
const DisplayPlatform& Window_Platform() { return g_platform; }

bool Window_Create(int32_t width, int32_t height) {
  if (g_host != nullptr) Window_Destroy();
  const bool keep_options[3] = {g_state.show_cursor_option, g_state.fullscreen_switch_option,
                                g_state.freeze_on_lost_focus};
  g_state = WindowState{};
  g_state.show_cursor_option = keep_options[0];
  g_state.fullscreen_switch_option = keep_options[1];
  g_state.freeze_on_lost_focus = keep_options[2];
  const GameHeader& header = GameData_Header();
  const uint32_t flags = header.info_flags;
  if (width <= 0 || height <= 0) {
    width = 640;
    height = 480;
  }
  const bool keep = (flags & kFlagKeepAspect) != 0;
  g_state.borderless_style = (flags & kFlagBorderless) != 0;
  g_state.resizable_style = (flags & kFlagResizable) != 0;

  WindowOpenDesc desc;
  desc.borderless = g_state.borderless_style;
  desc.resizable = g_state.resizable_style;
  desc.caption = header.display_name != nullptr ? header.display_name : "";
  g_state.caption = desc.caption;

  if (g_test_host != nullptr) {
    g_host = g_test_host;
  } else if (!g_headless && g_platform.display.create_host != nullptr) {
    g_owned_host = g_platform.display.create_host();
    g_host = g_owned_host.get();
  }
  if (g_host != nullptr) g_host->SetDisplayLostHandler(on_display_lost);

  // The size is fitted to the screen: the width first, then the height below the frame. The
  // frame's height is known only once the window exists, so the window opens fitted without it
  // and is fitted again with the real frame.
  int32_t w = width, h = height;
  DisplayRect screen;
  const bool fits_screen = g_host != nullptr && g_host->DisplayBounds(&screen) && screen.w > 0 && screen.h > 0;
  if (fits_screen) {
    if (w > screen.w) {
      if (keep) h = static_cast<int32_t>(static_cast<float>(screen.w) / static_cast<float>(w) * static_cast<float>(h));
      w = screen.w;
    }
  } else {
    screen = DisplayRect{0, 0, w, h};
  }
  const int32_t fitted_w = w, fitted_h = h;
  if (fits_screen) fit_height(&w, &h, screen.h, 0, keep);
  if ((flags & kFlagFullscreen) != 0) {
    g_state.saved_width = width;
    g_state.saved_height = height;
  }
  g_state.windowed_width = width;
  g_state.windowed_height = height;
  desc.x = screen.x + (screen.w - w) / 2;
  desc.y = screen.y + (screen.h - h) / 2;
  desc.width = w;
  desc.height = h;

  bool opened = g_host != nullptr && g_host->Open(desc);
  g_state.real_display = opened && g_test_host == nullptr;
  if (!opened) {
    if (g_test_host != nullptr) {
      g_ReleaseConsole->Output("Failed to create mainwindow\n");
      g_host = nullptr;
      return false;
    }
    if (!g_headless) g_ReleaseConsole->Output("No display available - running without a window\n");
    g_owned_host = g_platform.no_display.create_host != nullptr ? g_platform.no_display.create_host() : nullptr;
    g_host = g_owned_host.get();
    if (g_host == nullptr || !g_host->Open(desc)) {
      g_ReleaseConsole->Output("Failed to create mainwindow\n");
      g_owned_host.reset();
      g_host = nullptr;
      return false;
    }
  }
  if (opened && fits_screen && !g_state.borderless_style) {
    int32_t frame_w = 0, frame_h = 0;
    g_host->FrameSize(&frame_w, &frame_h);
    int32_t framed_w = fitted_w, framed_h = fitted_h;
    fit_height(&framed_w, &framed_h, screen.h, frame_h, keep);
    if (framed_w != w || framed_h != h) {
      w = framed_w;
      h = framed_h;
      g_host->SetClientSize(w, h);
      g_host->SetClientPosition(screen.x + (screen.w - w) / 2, screen.y + (screen.h - h) / 2);
    }
  }
  g_state.client_width = w;
  g_state.client_height = h;
  g_state.created = true;
  // Cursor: the arrow when the header and the option both ask for it, else none.
  const bool show = (flags & kFlagShowCursor) != 0 && g_state.show_cursor_option;
  g_state.cursor = show ? 0 : -1;
  g_host->SetCursor(show ? WindowCursor::kArrow : WindowCursor::kNone);
  return true;
}

void Window_SetOptions(bool show_cursor, bool fullscreen_switch, bool freeze_on_lost_focus) {
  g_state.show_cursor_option = show_cursor;
  g_state.fullscreen_switch_option = fullscreen_switch;
  g_state.freeze_on_lost_focus = freeze_on_lost_focus;
}

void Window_SetColour(uint32_t rgb) { g_state.colour = rgb | 0xFF000000u; }

void Window_PumpMessages() {
  if (g_host == nullptr) return;
  WindowMessage message;
  while (g_host->PollMessage(&message)) handle(message);
}

bool Window_FreezeForLostFocus() { return g_state.freeze_on_lost_focus && !g_state.has_focus; }

int32_t Window_Get_Client_Width() {
  int32_t w = 0, h = 0;
  if (g_host != nullptr) g_host->ClientSize(&w, &h);
  return w;
}

int32_t Window_Get_Client_Height() {
  int32_t w = 0, h = 0;
  if (g_host != nullptr) g_host->ClientSize(&w, &h);
  return h;
}

void GR_Window_Set_Size(int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) return;
  g_state.requested_width = width;
  g_state.requested_height = height;
  if (Window_Get_Client_Width() == width && Window_Get_Client_Height() == height) return;
  if (windowed() && Run_ResetCountdown < 11 && Run_ResetCountdown != 1) Run_ResetCountdown = 10;
}

void Window_Set_Fullscreen(bool on) {
  if (on == g_state.want_fullscreen) return;
  if (on) {
    g_state.saved_width = g_state.display_width;
    g_state.saved_height = g_state.display_height;
  }
  g_state.want_fullscreen = on;
  Run_ResetCountdown = 10;
}

void Window_SetPosition(int32_t x, int32_t y) {
  if (g_host == nullptr || g_state.want_fullscreen) return;
  g_host->SetClientPosition(x, y);
}

void Window_SetRectangle(int32_t x, int32_t y, int32_t width, int32_t height) {
  Window_SetPosition(x, y);
  GR_Window_Set_Size(width, height);
  g_state.no_window_move = true;
}

void Window_Center() {
  if (g_host == nullptr || g_state.want_fullscreen) return;
  const DisplayRect d = display_bounds();
  const int32_t w = Window_Get_Client_Width();
  const int32_t h = Window_Get_Client_Height();
  g_host->SetClientPosition(d.x + (g_state.desktop_width - d.x - w) / 2, d.y + (g_state.desktop_height - d.y - h) / 2);
}

void Window_SetCaption(const std::string& caption) {
  g_state.caption = caption;
  if (g_host != nullptr) g_host->SetCaption(caption);
}

void Window_SetSizeLimit(int32_t which, int32_t value) {
  int32_t* limits[4] = {&g_state.min_client_width, &g_state.max_client_width, &g_state.min_client_height,
                        &g_state.max_client_height};
  if (which < 0 || which > 3) return;
  *limits[which] = value;
  if (g_host != nullptr) {
    g_host->SetSizeLimits(g_state.min_client_width, g_state.min_client_height, g_state.max_client_width,
                          g_state.max_client_height);
  }
}

WindowCursor Window_CursorFor(int32_t cursor) {
  switch (cursor) {
    case 0:
    case -2: return WindowCursor::kArrow;
    case -3: return WindowCursor::kCross;
    case -4: return WindowCursor::kIBeam;
    case -6: return WindowCursor::kSizeNESW;
    case -7: return WindowCursor::kSizeNS;
    case -8: return WindowCursor::kSizeNWSE;
    case -9: return WindowCursor::kSizeWE;
    case -10: return WindowCursor::kUpArrow;
    case -11: return WindowCursor::kWait;
    case -12:
    case -21: return WindowCursor::kHand;
    case -19: return WindowCursor::kAppStarting;
    case -22: return WindowCursor::kSizeAll;
    default:
      if (cursor <= -13 && cursor >= -18) return WindowCursor::kNo;
      return WindowCursor::kCount;  // -1, -5 and unknown values: see Window_SetCursor
  }
}

void Window_SetCursor(int32_t cursor) {
  g_state.cursor = cursor;
  if (!g_state.show_cursor_option || g_host == nullptr) return;
  const WindowCursor c = Window_CursorFor(cursor);
  if (cursor == -1 || cursor == -5) {
    g_host->SetCursor(WindowCursor::kNone);
  } else if (c != WindowCursor::kCount) {
    g_host->SetCursor(c);
  }
}

void Window_ApplyPendingSize() {
  if (g_host == nullptr || !windowed() || g_state.requested_width <= 0 || g_state.requested_height <= 0) return;
  // The window takes the requested size where it stands (window_set_rectangle placed it already);
  // a size the user dragged the window to is already its size and isn't set again.
  if (Window_Get_Client_Width() != g_state.requested_width || Window_Get_Client_Height() != g_state.requested_height) {
    g_host->SetClientSize(g_state.requested_width, g_state.requested_height);
  }
  GR_Set_View_Size(g_state.requested_width, g_state.requested_height);
}

void Window_ResetCountdownStep() {
  if (Run_ResetCountdown > 1) {
    Window_ApplyPendingSize();
    --Run_ResetCountdown;
  } else if (Run_ResetCountdown == 1) {
    Device_Reset();
    Run_ResetCountdown = 0;
  }
}

void Display_Reset(int32_t antialias, bool vsync) {
  const uint32_t aa = static_cast<uint32_t>(antialias) & 0xFF;
  g_state.msaa_samples = (aa & g_state.msaa_levels) != 0 ? aa : 0;
  VsyncOn = vsync;
  Run_ResetCountdown = 1;
}

// The mode change of a device reset: full screen in or out, or a new windowed size.
void Window_ModeChange() {
  WindowState& s = g_state;
  SleepTimingFallback = false;
  bool leaving_fullscreen = s.fullscreen_active;
  if (!s.want_fullscreen && s.saved_width != -1) {
    if (s.requested_width < 0) {
      s.requested_width = s.saved_width;
      s.requested_height = s.saved_height;
    }
    s.saved_width = s.saved_height = -1;
    leaving_fullscreen = true;
  }
  const bool already_full = s.want_fullscreen && s.fullscreen_active;
  const bool has_request = s.requested_width > 0 && s.requested_height > 0;
  int32_t tw = s.display_width, th = s.display_height;
  if (has_request && !already_full) {
    tw = s.requested_width;
    th = s.requested_height;
  }
  const bool size_same = (tw == s.display_width && th == s.display_height) || already_full;
  if (size_same) s.no_window_move = true;

  if (!s.want_fullscreen) {
    if (leaving_fullscreen) {
      g_host->SetFullscreen(false);
      g_host->SetBorderless(s.borderless_style);
      s.fullscreen_active = false;
    }
    s.border_hidden = false;
    if (!has_request && !size_same) {
      s.client_width = s.windowed_width;
      s.client_height = s.windowed_height;
    }
  } else if (!already_full) {
    const bool ok = g_host->SetFullscreen(true);
    if (!ok) {
      g_ReleaseConsole->Output(
          "Couldn't set app to fullscreen as it's occluded by something. Will try again later...\n");
    }
    s.fullscreen_active = ok;
    s.border_hidden = true;
    DisplayRect d;
    if (!g_host->DisplayBounds(&d) || d.w <= 0) d = DisplayRect{0, 0, s.display_width, s.display_height};
    s.display_width = s.client_width = s.desktop_width = d.w;
    s.display_height = s.client_height = s.desktop_height = d.h;
  }
  if (has_request && !already_full) {
    if (!s.want_fullscreen) {
      s.display_width = s.requested_width;
      s.display_height = s.requested_height;
    } else {
      s.windowed_width = s.requested_width;
      s.windowed_height = s.requested_height;
    }
  }
  if (s.want_fullscreen) {
    if (!s.no_window_move) g_DebugConsole->Output("Resizing fullscreen window...");
    Window_ResizeSwapChain(s.display_width, s.display_height);
  } else {
    const int32_t sw = has_request ? s.requested_width : s.windowed_width;
    const int32_t sh = has_request ? s.requested_height : s.windowed_height;
    s.windowed_width = sw;
    s.windowed_height = sh;
    if (!size_same) {
      s.client_width = s.display_width = sw;
      s.client_height = s.display_height = sh;
    }
    // A size the user gave the window stays as it is; only a size the game asked for changes it.
    if (!s.no_window_move) g_host->SetClientSize(s.client_width, s.client_height);
    Window_ResizeSwapChain(s.display_width, s.display_height);
    if (!s.no_window_move) {
      g_DebugConsole->Output("Resizing window...");
      centre_client(s.client_width, s.client_height);
    }
  }
  s.no_window_move = false;
  Window_RecreateMainTarget();
  GR_Set_View_Size(s.display_width, s.display_height);
  if (!already_full) s.requested_width = s.requested_height = -1;
}

void Window_CloseHost() {
  if (g_host != nullptr) g_host->Close();
  g_owned_host.reset();
  g_host = nullptr;
  g_state.created = false;
}

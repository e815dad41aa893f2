#pragma once
// The window and display logic: one top-level window on a window host, one device, and the
// bookkeeping between them: the sizes the game asked for, the full-screen state, the display reset
// countdown (Run_ResetCountdown: above 1 a size change is settling, 1 the device is reset at the
// next frame), focus, and the messages of the window turned into runtime state. Input messages
// go on to the input layer through a sink.
//
// The window layer names no backend: the runner hands it the platform (Window_SetDisplayPlatform),
// whose display pair is tried first. Without a display (no X server, or -headless) the window runs
// on the platform's no-display pair: the game runs, paced by sleep timing, and nothing is shown;
// one console line says so. Tests install their own host and device with Window_UsePlatform.
#include <cstdint>
#include <string>

#include "platform/device.h"
#include "platform/display.h"
#include "platform/window_host.h"

class GRTexture;

struct WindowState {
  bool created = false;
  bool real_display = false;  // a real host opened its window
  bool want_fullscreen = false;
  bool fullscreen_active = false;
  bool border_hidden = false;
  bool borderless_style = false;  // the windowed style has no frame (header flag 0x4000)
  bool resizable_style = false;   // header flag 0x40
  int32_t display_width = 0, display_height = 0;
  int32_t back_buffer_width = 0, back_buffer_height = 0;
  int32_t client_width = 0, client_height = 0;
  int32_t windowed_width = 0, windowed_height = 0;
  int32_t saved_width = -1, saved_height = -1;
  int32_t requested_width = -1, requested_height = -1;
  bool no_window_move = false;
  bool swap_chain_busy = false;
  bool first_size_message = true;
  bool has_focus = true;
  int32_t min_client_width = 0, max_client_width = 0, min_client_height = 0, max_client_height = 0;
  int32_t desktop_width = 0, desktop_height = 0;
  bool linear_filter_default = false;
  bool keep_aspect = false;
  uint32_t msaa_levels = 0;
  uint32_t msaa_samples = 0;
  uint32_t device_generation = 0;
  bool first_presents_left = true;
  int32_t scene_open = 0;
  uint32_t frame_number = 0;
  int32_t display_index = 0;
  // Script-visible window values (window_* builtins).
  std::string caption;
  uint32_t colour = 0xFF000000u;
  int32_t cursor = 0;
  bool visible = true;
  int32_t mouse_x = 0, mouse_y = 0;  // last client position of the pointer
  bool alternate_sync = false;
  // Options of the data file (OPTN): show the cursor, Alt+Enter toggles, freeze without focus.
  bool show_cursor_option = true;
  bool fullscreen_switch_option = true;
  bool freeze_on_lost_focus = false;
};

WindowState& Window_State();

// The entry points the frame driver and start-up call.
bool Window_Create(int32_t width, int32_t height);  // false when graphics cannot start
bool Graphics_Init();
void Window_ApplyPendingSize();
void Device_Reset();
// The display reset countdown's part of a frame: while a size change settles (above 1) the pending
// size is applied and the countdown steps down; at 1 the device is reset and the countdown ends.
void Window_ResetCountdownStep();
void Start_Frame();
// Shows the back buffer with a sync interval; false when there is no device.
bool Device_Present(int32_t sync_interval);
// Waits for the next vertical blank; false when the output cannot do it.
bool Device_WaitForVBlank();
void Splash_Show();
void Window_Destroy();
// Drains the window's messages into runtime state; a quit message (the close button) raises the
// same quit request as SIGINT (Platform_PostQuit).
void Window_PumpMessages();
// The device side of End_Frame, before any present: flushes the batch, ends the batch frame,
// closes the scene and, when presenting, copies the main render target to the back buffer.
void Device_EndFrame(bool present);
void RenderState_ApplyPending();
bool Window_FreezeForLostFocus();  // the option is on and the game's window isn't active

// The backends the next Window_Create and Graphics_Init use (kept until replaced).
void Window_SetDisplayPlatform(const DisplayPlatform& platform);

// Tests: use this host and device (borrowed) for the next Window_Create / Graphics_Init; null
// goes back to the platform handed in by Window_SetDisplayPlatform.
void Window_UsePlatform(IWindowHost* host, IDevice* device);
// -headless: never try the real display.
void Window_SetHeadless(bool headless);
IWindowHost* Window_Host();   // null before Window_Create
IDevice* Graphics_Device();   // null before Graphics_Init and after Window_Destroy
// The main render target the game draws into, and its texture.
DeviceTextureId GR_MainRenderTarget();
GRTexture* GR_MainRenderTexture();

// Receives every input message (keys, text, mouse, wheel, focus, device changes) after the window
// logic has seen it; null drops them.
using WindowInputSink = void (*)(const WindowMessage& message);
void Window_SetInputSink(WindowInputSink sink);

// Size, position and full screen, as scripts ask for them.
void GR_Window_Set_Size(int32_t width, int32_t height);
void Window_Set_Fullscreen(bool on);
void Window_SetRectangle(int32_t x, int32_t y, int32_t width, int32_t height);
void Window_SetPosition(int32_t x, int32_t y);
void Window_Center();
int32_t Window_Get_Client_Width();
int32_t Window_Get_Client_Height();
void Window_SetCaption(const std::string& caption);
void Window_SetCursor(int32_t cursor);
void Window_SetSizeLimit(int32_t which, int32_t value);  // 0 min width, 1 max width, 2 min height, 3 max height
// Options from the data file's OPTN chunk, and its window colour (RGB).
void Window_SetOptions(bool show_cursor, bool fullscreen_switch, bool freeze_on_lost_focus);
void Window_SetColour(uint32_t rgb);

// display_reset(aa, vsync): samples if the device can, vsync, and a device reset next frame.
void Display_Reset(int32_t antialias, bool vsync);
// Rebuilds the device after it was lost; textures come back lazily.
void Device_Rebuild();
// The viewport for drawing into the main target: the display size clamped to the client size.
void GR_Set_View_Size(int32_t width, int32_t height);

// Error dialog: text with "Abort" (and "Ignore" when may_ignore). True: abort. Without a display,
// false and nothing is shown (the console already carries the text).
bool Window_ShowErrorDialog(const std::string& text, bool may_ignore);
// A modal box with the window's caption as its title and up to three buttons, the first the
// default: the index pressed, or -1 when no box can be shown (no display; a test's host shows it).
int32_t Window_ShowMessageBox(const std::string& text, const char* const* buttons, int32_t count);

// Hook of the surfaces: they drop their device textures before a reset or rebuild.
void Window_SetSurfaceReleaseHook(void (*hook)());
// The start-up splash (Splash_Show): the path of "splash.png" beside the game. The splash runs
// when that file exists or the header has flag 0x10000: five passes of start frame, clear to
// opaque black, draw pass n, end frame with present, pump messages and a load-manager tick. Pass n
// (0 to 4) draws the image centred at alpha (n + 1) / 5, scaled down to fit the display; an image
// that can't be read or decoded leaves the passes black.
void Window_SetSplashPath(const std::string& path);

// Builtins of the window and display families.
void Window_RegisterBuiltins();

#pragma once
// Where drawing lands in the window: the current viewport, the port scales of the application
// surface, the table of view ports that the mouse is mapped through, the GUI space, the fitting of
// the application surface into the window, and the mapping from window coordinates to the room,
// to one view and to the GUI.
//
// The room draw fills the ViewPorts table at every frame (View_SetPort) together with the room's
// size; the mapping functions read only this table and the surface and window state, so the input
// layer can map the mouse without knowing rooms. Main thread only.
#include <cstdint>

#include "platform/device.h"

constexpr int32_t kViewPortCount = 32;

struct ViewPortEntry {
  bool used = false;
  float viewX = 0, viewY = 0, viewW = 0, viewH = 0;
  float portX = 0, portY = 0, portW = 0, portH = 0;
  float angle = 0;
  int32_t cameraId = -1;
  bool mapsMouse = false;  // the view is visible in the room and has no surface of its own
};

struct ViewFrameState {
  DeviceRect viewport;
  float portScaleX = 1.0f, portScaleY = 1.0f;  // ViewPortScaleX, ViewPortScaleY
  ViewPortEntry ports[kViewPortCount];
  bool roomExists = false;
  float roomWidth = 0, roomHeight = 0;
};
ViewFrameState& View_State();

// The viewport of the current target, as the device has it (viewport and scissor).
void GR_SetViewport(int32_t x, int32_t y, int32_t w, int32_t h);
DeviceRect GR_Viewport();

// ---- The ViewPorts table --------------------------------------------------------------------------
void View_ClearPorts();
void View_SetPort(int32_t index, const ViewPortEntry& entry);
// The room's size for the mapping; exists false without a room.
void View_SetRoom(bool exists, float width, float height);

// ---- GUI ------------------------------------------------------------------------------------------
constexpr float kGuiOffsetNotGiven = 2147483648.0f;
struct GuiState {
  int32_t width = -1, height = -1;
  bool maximised = false;
  float xscale = 1.0f, yscale = 1.0f;
  float xoffset = -1.0f, yoffset = -1.0f;
  float matrix[16];   // the GUI pass's view matrix: GUI coordinates to its view space
  float inverse[16];  // and back
  GuiState();
};
GuiState& Gui_State();
// display_get_gui_width / height: the set size, else the application surface's.
int32_t Gui_Width();
int32_t Gui_Height();
void Gui_SetSize(int32_t width, int32_t height);
// display_set_gui_maximise with its given arguments (count 0 to 4).
void Gui_SetMaximise(int32_t count, const double* values);
// The GUI pass's set-up: viewport over the display, the GUI's view and projection, the cull
// rectangle of the window.
void Gui_Setup();

// ---- The window ----------------------------------------------------------------------------------
// The application surface's rectangle in the window (the fit with KeepAspect).
void View_AppSurfaceRect(float* left, float* top, float* right, float* bottom);
// Draws the application surface into the window (Fitting the application surface).
void View_FitAppSurface();

// ---- Mapping --------------------------------------------------------------------------------------
// Client coordinates to room coordinates through view i of the ViewPorts table; false (and no
// change) when the entry isn't used or has a port of size 0.
bool Window_To_View(int32_t view, float wx, float wy, float* rx, float* ry);
// Client coordinates to room coordinates through every view that maps the mouse, from the highest
// index down (mouse_x, mouse_y); without a room the client coordinates themselves.
void Window_To_Room(float wx, float wy, float* rx, float* ry);
// Client coordinates to GUI coordinates (device_mouse_x_to_gui and its kin).
void Window_To_Gui(float wx, float wy, float* gx, float* gy);
// GUI coordinates to client coordinates, the inverse of Window_To_Gui (where the GUI pass draws a
// point).
void Gui_To_Window(float gx, float gy, float* wx, float* wy);
// The fit offsets of the picture in the window (black bars with KeepAspect).
void View_FitOffsets(int32_t* ox, int32_t* oy);

// Back to the start (a new game round, tests).
void View_Reset();

// Builtins of the window and display families: argument reading here, the logic in window.cpp.
#include <algorithm>
#include <vector>

#include "core/frame_state.h"
#include "core/function_table.h"
#include "graphics/fn_support.h"
#include "graphics/view.h"
#include "graphics/window.h"

namespace {

using gfx_fn::Bool;
using gfx_fn::Real;

// The pointer's client position through one view, or through all of them (view -1).
void mouse_in_view(int32_t view, double* x, double* y) {
  const WindowState& s = Window_State();
  float rx = static_cast<float>(s.mouse_x), ry = static_cast<float>(s.mouse_y);
  if (view < 0) {
    Window_To_Room(rx, ry, &rx, &ry);
  } else {
    Window_To_View(view, rx, ry, &rx, &ry);
  }
  *x = rx;
  *y = ry;
}

#define KV_BUILTIN(name) void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

KV_BUILTIN(F_WindowCenter) {
  Window_Center();
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowSetPosition) {
  Window_SetPosition(gfx_fn::ArgInt(argc, argv, 0), gfx_fn::ArgInt(argc, argv, 1));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowGetX) {
  int32_t x = 0, y = 0;
  if (Window_Host() != nullptr) Window_Host()->ClientPosition(&x, &y);
  Real(result, x);
}

KV_BUILTIN(F_WindowGetY) {
  int32_t x = 0, y = 0;
  if (Window_Host() != nullptr) Window_Host()->ClientPosition(&x, &y);
  Real(result, y);
}

KV_BUILTIN(F_WindowGetWidth) { Real(result, Window_Get_Client_Width()); }
KV_BUILTIN(F_WindowGetHeight) { Real(result, Window_Get_Client_Height()); }

KV_BUILTIN(F_WindowSetSize) {
  GR_Window_Set_Size(gfx_fn::ArgInt(argc, argv, 0), gfx_fn::ArgInt(argc, argv, 1));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowSetRectangle) {
  Window_SetRectangle(gfx_fn::ArgInt(argc, argv, 0), gfx_fn::ArgInt(argc, argv, 1), gfx_fn::ArgInt(argc, argv, 2), gfx_fn::ArgInt(argc, argv, 3));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowSetCaption) {
  Window_SetCaption(gfx_fn::ArgString(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowGetCaption) { RV_SetString(result, Window_State().caption.c_str()); }

KV_BUILTIN(F_WindowSetColour) {
  Window_SetColour(gfx_fn::ArgColour(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowGetColour) { Real(result, Window_State().colour & 0xFFFFFFu); }

KV_BUILTIN(F_WindowSetFullscreen) {
  Window_Set_Fullscreen(gfx_fn::ArgBool(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowGetFullscreen) { Bool(result, Window_State().want_fullscreen); }

void set_limit(RValue* result, int argc, RValue* argv, int32_t which) {
  Window_SetSizeLimit(which, gfx_fn::ArgInt(argc, argv, 0));
  *result = RV_Undefined();
}
KV_BUILTIN(F_WindowSetMinWidth) { set_limit(result, argc, argv, 0); }
KV_BUILTIN(F_WindowSetMaxWidth) { set_limit(result, argc, argv, 1); }
KV_BUILTIN(F_WindowSetMinHeight) { set_limit(result, argc, argv, 2); }
KV_BUILTIN(F_WindowSetMaxHeight) { set_limit(result, argc, argv, 3); }

KV_BUILTIN(F_WindowGetVisible) { Bool(result, Window_State().visible); }
KV_BUILTIN(F_WindowNothing) { *result = RV_Undefined(); }
KV_BUILTIN(F_WindowZero) { Real(result, 0.0); }

KV_BUILTIN(F_WindowMouseGetX) { Real(result, Window_State().mouse_x); }
KV_BUILTIN(F_WindowMouseGetY) { Real(result, Window_State().mouse_y); }

KV_BUILTIN(F_WindowMouseSet) {
  *result = RV_Undefined();
  if (!Window_State().has_focus || Window_Host() == nullptr) return;
  Window_Host()->SetMousePosition(gfx_fn::ArgInt(argc, argv, 0), gfx_fn::ArgInt(argc, argv, 1));
}

KV_BUILTIN(F_WindowViewMouseGetX) {
  double x = 0.0, y = 0.0;
  mouse_in_view(gfx_fn::ArgInt(argc, argv, 0), &x, &y);
  Real(result, x);
}

KV_BUILTIN(F_WindowViewMouseGetY) {
  double x = 0.0, y = 0.0;
  mouse_in_view(gfx_fn::ArgInt(argc, argv, 0), &x, &y);
  Real(result, y);
}

KV_BUILTIN(F_WindowViewsMouseGetX) {
  double x = 0.0, y = 0.0;
  mouse_in_view(-1, &x, &y);
  Real(result, x);
}

KV_BUILTIN(F_WindowViewsMouseGetY) {
  double x = 0.0, y = 0.0;
  mouse_in_view(-1, &x, &y);
  Real(result, y);
}

KV_BUILTIN(F_WindowSetCursor) {
  Window_SetCursor(gfx_fn::ArgInt(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_WindowGetCursor) { Real(result, Window_State().cursor); }
KV_BUILTIN(F_WindowHandle) { *result = RV_Ptr(Window_Host()); }
KV_BUILTIN(F_WindowDevice) { *result = RV_Ptr(Graphics_Device()); }
KV_BUILTIN(F_WindowHasFocus) { Bool(result, Window_State().has_focus); }
KV_BUILTIN(F_OsIsPaused) { Bool(result, Run_PauseEvent); }

KV_BUILTIN(F_WindowGetVisibleRects) {
  const int32_t x1 = gfx_fn::ArgInt(argc, argv, 0), y1 = gfx_fn::ArgInt(argc, argv, 1);
  const int32_t x2 = gfx_fn::ArgInt(argc, argv, 2), y2 = gfx_fn::ArgInt(argc, argv, 3);
  IWindowHost* host = Window_Host();
  const int32_t count = host != nullptr ? host->DisplayCount() : 0;
  std::vector<double> values;
  for (int32_t i = 0; i < count; ++i) {
    DisplayRect d;
    host->DisplayBoundsAt(i, &d);
    const int32_t left = std::max(x1, d.x), top = std::max(y1, d.y);
    const int32_t right = std::min(x2, d.x + d.w), bottom = std::min(y2, d.y + d.h);
    const bool overlap = left < right && top < bottom;
    const double entry[8] = {overlap ? left : 0.0, overlap ? top : 0.0, overlap ? right : 0.0, overlap ? bottom : 0.0,
                             static_cast<double>(d.x), static_cast<double>(d.y), static_cast<double>(d.x + d.w),
                             static_cast<double>(d.y + d.h)};
    values.insert(values.end(), entry, entry + 8);
  }
  gfx_fn::RealArray(result, values.data(), static_cast<int32_t>(values.size()));
}

KV_BUILTIN(F_DisplayGetWidth) { Real(result, Window_State().desktop_width); }
KV_BUILTIN(F_DisplayGetHeight) { Real(result, Window_State().desktop_height); }
KV_BUILTIN(F_DisplayGetFrequency) { Real(result, RefreshRate); }

KV_BUILTIN(F_DisplayMouseGetX) {
  int32_t x = 0, y = 0;
  if (Window_Host() != nullptr) Window_Host()->GlobalMousePosition(&x, &y);
  Real(result, x);
}

KV_BUILTIN(F_DisplayMouseGetY) {
  int32_t x = 0, y = 0;
  if (Window_Host() != nullptr) Window_Host()->GlobalMousePosition(&x, &y);
  Real(result, y);
}

KV_BUILTIN(F_DisplayMouseSet) {
  *result = RV_Undefined();
  IWindowHost* host = Window_Host();
  if (host == nullptr) return;
  int32_t wx = 0, wy = 0;
  host->ClientPosition(&wx, &wy);
  host->SetMousePosition(gfx_fn::ArgInt(argc, argv, 0) - wx, gfx_fn::ArgInt(argc, argv, 1) - wy);
}

KV_BUILTIN(F_DisplayGetOrientation) { Real(result, 0.0); }  // always landscape
KV_BUILTIN(F_DisplaySetUiVisibility) { Real(result, 0.0); }

KV_BUILTIN(F_DisplaySetWindowsAlternateSync) {
  Window_State().alternate_sync = gfx_fn::ArgBool(argc, argv, 0);
  *result = RV_Undefined();
}

// The clipboard of the window's system. Setting empties it first, so an empty text leaves it
// empty; without a window host there is no clipboard and nothing is there.
KV_BUILTIN(F_ClipboardSetText) {
  if (IWindowHost* host = Window_Host()) host->SetClipboardText(gfx_fn::ArgString(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_ClipboardGetText) {
  IWindowHost* host = Window_Host();
  RV_SetString(result, host != nullptr ? host->ClipboardText().c_str() : "");
}

KV_BUILTIN(F_ClipboardHasText) {
  IWindowHost* host = Window_Host();
  Bool(result, host != nullptr && !host->ClipboardText().empty());
}

#undef KV_BUILTIN

}  // namespace

void Window_RegisterBuiltins() {
  struct Row {
    const char* name;
    TSL_Builtin handler;
    int argc;
  };
  static const Row kRows[] = {
      {"window_center", F_WindowCenter, 0},
      {"window_set_position", F_WindowSetPosition, 2},
      {"window_get_x", F_WindowGetX, 0},
      {"window_get_y", F_WindowGetY, 0},
      {"window_get_width", F_WindowGetWidth, 0},
      {"window_get_height", F_WindowGetHeight, 0},
      {"window_set_size", F_WindowSetSize, 2},
      {"window_set_rectangle", F_WindowSetRectangle, 4},
      {"window_set_caption", F_WindowSetCaption, 1},
      {"window_get_caption", F_WindowGetCaption, 0},
      {"window_set_colour", F_WindowSetColour, 1},
      {"window_set_color", F_WindowSetColour, 1},
      {"window_get_colour", F_WindowGetColour, 0},
      {"window_get_color", F_WindowGetColour, 0},
      {"window_set_fullscreen", F_WindowSetFullscreen, 1},
      {"window_get_fullscreen", F_WindowGetFullscreen, 0},
      {"window_set_min_width", F_WindowSetMinWidth, 1},
      {"window_set_max_width", F_WindowSetMaxWidth, 1},
      {"window_set_min_height", F_WindowSetMinHeight, 1},
      {"window_set_max_height", F_WindowSetMaxHeight, 1},
      {"window_get_visible", F_WindowGetVisible, 0},
      {"window_set_visible", F_WindowNothing, 1},
      {"window_set_showborder", F_WindowNothing, 1},
      {"window_set_showicons", F_WindowNothing, 1},
      {"window_set_sizeable", F_WindowNothing, 1},
      {"window_set_stayontop", F_WindowNothing, 1},
      {"window_default", F_WindowNothing, -1},
      {"window_view_mouse_set", F_WindowNothing, 3},
      {"window_views_mouse_set", F_WindowNothing, 2},
      {"window_get_showborder", F_WindowZero, 0},
      {"window_get_showicons", F_WindowZero, 0},
      {"window_get_sizeable", F_WindowZero, 0},
      {"window_get_stayontop", F_WindowZero, 0},
      {"window_mouse_get_x", F_WindowMouseGetX, 0},
      {"window_mouse_get_y", F_WindowMouseGetY, 0},
      {"window_mouse_set", F_WindowMouseSet, 2},
      {"window_view_mouse_get_x", F_WindowViewMouseGetX, 1},
      {"window_view_mouse_get_y", F_WindowViewMouseGetY, 1},
      {"window_views_mouse_get_x", F_WindowViewsMouseGetX, 0},
      {"window_views_mouse_get_y", F_WindowViewsMouseGetY, 0},
      {"window_set_cursor", F_WindowSetCursor, 1},
      {"window_get_cursor", F_WindowGetCursor, 0},
      {"window_handle", F_WindowHandle, 0},
      {"window_device", F_WindowDevice, 0},
      {"window_has_focus", F_WindowHasFocus, 0},
      {"os_is_paused", F_OsIsPaused, 0},
      {"window_get_visible_rects", F_WindowGetVisibleRects, 4},
      {"display_get_width", F_DisplayGetWidth, 0},
      {"display_get_height", F_DisplayGetHeight, 0},
      {"display_get_frequency", F_DisplayGetFrequency, 0},
      {"display_mouse_get_x", F_DisplayMouseGetX, 0},
      {"display_mouse_get_y", F_DisplayMouseGetY, 0},
      {"display_mouse_set", F_DisplayMouseSet, 2},
      {"display_get_orientation", F_DisplayGetOrientation, 0},
      {"display_set_ui_visibility", F_DisplaySetUiVisibility, 1},
      {"display_set_windows_alternate_sync", F_DisplaySetWindowsAlternateSync, 1},
      {"clipboard_has_text", F_ClipboardHasText, 0},
      {"clipboard_get_text", F_ClipboardGetText, 0},
      {"clipboard_set_text", F_ClipboardSetText, 1},
  };
  for (const Row& row : kRows) Function_Add(row.name, row.handler, row.argc, 0);
}

// Builtins of surfaces, the draw_surface family, the application surface, the GUI size and the
// screen saves: argument reading here, the logic in surface.cpp and view.cpp.
#include <cmath>
#include <iterator>
#include <vector>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "graphics/batcher.h"
#include "graphics/draw.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/image_files.h"
#include "graphics/sprite_draw.h"
#include "graphics/surface.h"
#include "graphics/view.h"
#include "graphics/window.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgBool;
using gfx_fn::ArgColour;
using gfx_fn::ArgInt;
using gfx_fn::ArgString;
using gfx_fn::Bool;
using gfx_fn::Real;

constexpr float kDegToRad = 0.017453292f;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)
#define A(n) static_cast<float>(Arg(argc, argv, n))

KV_BUILTIN(F_SurfaceCreate) {
  const int32_t w = ArgInt(argc, argv, 0), h = ArgInt(argc, argv, 1);
  if (w < 1 || h < 1) {
    KVError("Can't create a surface with either a width or height with a value less than or equal to zero");
    Real(result, -1);
    return;
  }
  Real(result, Surface_Create(w, h, -1));
}

KV_BUILTIN(F_SurfaceCreateExt) {
  Real(result, -1);
  KVError("surface_create_ext() not supported");
}

KV_BUILTIN(F_SurfaceFree) {
  Surface_Free(ArgInt(argc, argv, 0), false);
  *result = RV_Undefined();
}

KV_BUILTIN(F_SurfaceResize) {
  Bool(result, Surface_Resize(ArgInt(argc, argv, 0), ArgInt(argc, argv, 1), ArgInt(argc, argv, 2)));
}

KV_BUILTIN(F_SurfaceExists) { Bool(result, Surface_Exists(ArgInt(argc, argv, 0))); }
KV_BUILTIN(F_SurfaceGetWidth) { Real(result, Surface_Get_Width(ArgInt(argc, argv, 0))); }
KV_BUILTIN(F_SurfaceGetHeight) { Real(result, Surface_Get_Height(ArgInt(argc, argv, 0))); }

KV_BUILTIN(F_SurfaceGetTexture) {
  const int32_t slot = Surface_Get_Texture(ArgInt(argc, argv, 0));
  if (slot < 0) {
    Real(result, -1);
    return;
  }
  *result = RV_Ptr(reinterpret_cast<void*>(static_cast<intptr_t>(slot)));
}

KV_BUILTIN(F_SurfaceGetTarget) { Real(result, Surface_Target(0)); }
KV_BUILTIN(F_SurfaceGetTargetExt) { Real(result, Surface_Target(ArgInt(argc, argv, 0))); }
KV_BUILTIN(F_SurfaceSetTarget) { Bool(result, Surface_Set_Target(0, ArgInt(argc, argv, 0))); }
KV_BUILTIN(F_SurfaceSetTargetExt) { Bool(result, Surface_Set_Target(ArgInt(argc, argv, 0), ArgInt(argc, argv, 1))); }
KV_BUILTIN(F_SurfaceResetTarget) { Real(result, Surface_Pop_Target() ? 1 : 0); }

KV_BUILTIN(F_SurfaceDepthDisable) {
  Surface_SetDepthDisabled(ArgBool(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SurfaceGetDepthDisable) { Bool(result, Surface_DepthDisabled()); }

KV_BUILTIN(F_SurfaceGetpixel) {
  Real(result, Surface_GetPixel(ArgInt(argc, argv, 0), ArgInt(argc, argv, 1), ArgInt(argc, argv, 2)) & 0xFFFFFFu);
}

KV_BUILTIN(F_SurfaceGetpixelExt) {
  Real(result, Surface_GetPixel(ArgInt(argc, argv, 0), ArgInt(argc, argv, 1), ArgInt(argc, argv, 2)));
}

KV_BUILTIN(F_SurfaceSave) {
  const int32_t id = ArgInt(argc, argv, 0);
  Surface_Save(id, ArgString(argc, argv, 1), 0, 0, Surface_Get_Width(id), Surface_Get_Height(id));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SurfaceSavePart) {
  Surface_Save(ArgInt(argc, argv, 0), ArgString(argc, argv, 1), ArgInt(argc, argv, 2), ArgInt(argc, argv, 3),
               ArgInt(argc, argv, 4), ArgInt(argc, argv, 5));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SurfaceCopy) {
  const int32_t src = ArgInt(argc, argv, 3);
  Surface_Copy(ArgInt(argc, argv, 0), A(1), A(2), src, 0, 0, Surface_Get_Width(src), Surface_Get_Height(src));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SurfaceCopyPart) {
  Surface_Copy(ArgInt(argc, argv, 0), A(1), A(2), ArgInt(argc, argv, 3), ArgInt(argc, argv, 4), ArgInt(argc, argv, 5),
               ArgInt(argc, argv, 6), ArgInt(argc, argv, 7));
  *result = RV_Undefined();
}

// ---- draw_surface ----------------------------------------------------------------------------------

// The frame of the surface argument; raises for an unknown surface. False for nothing to draw.
bool surface_arg(int argc, RValue* argv, SpriteFrame* frame, FrameTexture* texture) {
  if (!Surface_Frame(ArgInt(argc, argv, 0), frame, texture)) {
    KVError("Trying to use non-existing surface.");
    return false;
  }
  return frame->tw >= 1.0f && frame->th >= 1.0f;
}

void colours_of(uint32_t colour, float alpha, uint32_t out[4]) { GR_Corner_Colours(colour, alpha, out); }

// A surface argument ready to draw as a quad: its frame, texture and the four corner colours.
struct SurfaceQuad {
  SpriteFrame f;
  FrameTexture t;
  uint32_t c[4];
};

// Reads the surface argument and colours every corner with `colour` at `alpha`. False for
// nothing to draw.
bool surface_quad(int argc, RValue* argv, uint32_t colour, float alpha, SurfaceQuad* q) {
  if (!surface_arg(argc, argv, &q->f, &q->t)) return false;
  colours_of(colour, alpha, q->c);
  return true;
}

float draw_alpha() { return static_cast<float>(Draw_GetAlpha()); }

KV_BUILTIN(F_DrawSurface) {
  *result = RV_Undefined();
  SpriteFrame f;
  FrameTexture t;
  if (surface_arg(argc, argv, &f, &t)) Quad_DrawSimple(t, f, 0.0f, 0.0f, A(1), A(2), Draw_WithAlpha(0xFFFFFF));
}

KV_BUILTIN(F_DrawSurfaceExt) {
  *result = RV_Undefined();
  SurfaceQuad q;
  if (surface_quad(argc, argv, ArgColour(argc, argv, 6), A(7), &q))
    Quad_DrawExt(q.t, q.f, 0.0f, 0.0f, A(1), A(2), A(3), A(4), A(5) * kDegToRad, q.c);
}

void draw_stretched(int argc, RValue* argv, uint32_t colour, float alpha) {
  const float w = A(3), h = A(4);
  SurfaceQuad q;
  if (surface_quad(argc, argv, colour, alpha, &q) && w > 0.0f && h > 0.0f)
    Quad_DrawExt(q.t, q.f, 0.0f, 0.0f, A(1), A(2), w / q.f.tw, h / q.f.th, 0.0f, q.c);
}

KV_BUILTIN(F_DrawSurfaceStretched) {
  *result = RV_Undefined();
  draw_stretched(argc, argv, 0xFFFFFF, draw_alpha());
}

KV_BUILTIN(F_DrawSurfaceStretchedExt) {
  *result = RV_Undefined();
  draw_stretched(argc, argv, ArgColour(argc, argv, 5), A(6));
}

KV_BUILTIN(F_DrawSurfacePart) {
  *result = RV_Undefined();
  SurfaceQuad q;
  if (surface_quad(argc, argv, 0xFFFFFF, draw_alpha(), &q))
    Quad_DrawPart(q.t, q.f, A(1), A(2), A(3), A(4), A(5), A(6), 1.0f, 1.0f, 0.0f, q.c);
}

KV_BUILTIN(F_DrawSurfacePartExt) {
  *result = RV_Undefined();
  SurfaceQuad q;
  if (surface_quad(argc, argv, ArgColour(argc, argv, 9), A(10), &q))
    Quad_DrawPart(q.t, q.f, A(1), A(2), A(3), A(4), A(5), A(6), A(7), A(8), 0.0f, q.c);
}

KV_BUILTIN(F_DrawSurfaceGeneral) {
  *result = RV_Undefined();
  SpriteFrame f;
  FrameTexture t;
  if (!surface_arg(argc, argv, &f, &t)) return;
  uint32_t c[4];
  const float alpha = A(14);
  for (int i = 0; i < 4; ++i) {
    uint32_t one[4];
    colours_of(ArgColour(argc, argv, 10 + i), alpha, one);
    c[i] = one[i];
  }
  Quad_DrawPart(t, f, A(1), A(2), A(3), A(4), A(5), A(6), A(7), A(8), A(9) * kDegToRad, c);
}

KV_BUILTIN(F_DrawSurfaceTiled) {
  *result = RV_Undefined();
  SurfaceQuad q;
  if (surface_quad(argc, argv, 0xFFFFFF, draw_alpha(), &q))
    Quad_DrawTiled(q.t, q.f, 0.0f, 0.0f, A(1), A(2), 1.0f, 1.0f, true, true, q.c);
}

KV_BUILTIN(F_DrawSurfaceTiledExt) {
  *result = RV_Undefined();
  SurfaceQuad q;
  if (surface_quad(argc, argv, ArgColour(argc, argv, 5), A(6), &q))
    Quad_DrawTiled(q.t, q.f, 0.0f, 0.0f, A(1), A(2), A(3), A(4), true, true, q.c);
}

// ---- The application surface and the GUI -----------------------------------------------------------

KV_BUILTIN(F_ApplicationSurfaceEnable) {
  AppSurfaceState& app = AppSurface();
  if (app.enabled) {
    app.savedWidth = app.width;
    app.savedHeight = app.height;
  }
  app.enabled = Arg(argc, argv, 0) > 0.5;
  *result = RV_Undefined();
}

KV_BUILTIN(F_ApplicationSurfaceIsEnabled) { Bool(result, AppSurface().enabled); }

KV_BUILTIN(F_ApplicationSurfaceDrawEnable) {
  AppSurface().drawEnabled = Arg(argc, argv, 0) > 0.5;
  *result = RV_Undefined();
}

KV_BUILTIN(F_DisplayGetGuiWidth) { Real(result, Gui_Width()); }
KV_BUILTIN(F_DisplayGetGuiHeight) { Real(result, Gui_Height()); }

KV_BUILTIN(F_DisplaySetGuiSize) {
  Gui_SetSize(ArgInt(argc, argv, 0), ArgInt(argc, argv, 1));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DisplaySetGuiMaximise) {
  double values[4] = {};
  const int32_t count = argc < 4 ? argc : 4;
  for (int32_t i = 0; i < count; ++i) values[i] = Arg(argc, argv, i);
  Gui_SetMaximise(count, values);
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawEnableDrawevent) {
  Run_DrawEnabled = ArgBool(argc, argv, 0);
  *result = RV_Undefined();
}

void save_screen(const char* file, int32_t x, int32_t y, int32_t w, int32_t h) {
  SpriteBitmap pixels;
  if (Screen_Read_Rect(x, y, w, h, &pixels)) Image_SavePng(file, pixels.pixels.data(), w, h);
}

KV_BUILTIN(F_ScreenSave) {
  save_screen(ArgString(argc, argv, 0), 0, 0, Window_State().display_width, Window_State().display_height);
  *result = RV_Undefined();
}

KV_BUILTIN(F_ScreenSavePart) {
  save_screen(ArgString(argc, argv, 0), ArgInt(argc, argv, 1), ArgInt(argc, argv, 2), ArgInt(argc, argv, 3),
              ArgInt(argc, argv, 4));
  *result = RV_Undefined();
}

#undef A
#undef KV_BUILTIN

const BuiltinRow kSurfaceRows[] = {
    {"surface_create", F_SurfaceCreate, 2},
    {"surface_create_ext", F_SurfaceCreateExt, 3},
    {"surface_free", F_SurfaceFree, 1},
    {"surface_resize", F_SurfaceResize, 3},
    {"surface_exists", F_SurfaceExists, 1},
    {"surface_get_width", F_SurfaceGetWidth, 1},
    {"surface_get_height", F_SurfaceGetHeight, 1},
    {"surface_get_texture", F_SurfaceGetTexture, 1},
    {"surface_get_target", F_SurfaceGetTarget, 0},
    {"surface_get_target_ext", F_SurfaceGetTargetExt, 1},
    {"surface_set_target", F_SurfaceSetTarget, 1},
    {"surface_set_target_ext", F_SurfaceSetTargetExt, 2},
    {"surface_reset_target", F_SurfaceResetTarget, 0},
    {"surface_depth_disable", F_SurfaceDepthDisable, 1},
    {"surface_get_depth_disable", F_SurfaceGetDepthDisable, 0},
    {"surface_getpixel", F_SurfaceGetpixel, 3},
    {"surface_getpixel_ext", F_SurfaceGetpixelExt, 3},
    {"surface_save", F_SurfaceSave, 2},
    {"surface_save_part", F_SurfaceSavePart, 6},
    {"surface_copy", F_SurfaceCopy, 4},
    {"surface_copy_part", F_SurfaceCopyPart, 8},
    {"draw_surface", F_DrawSurface, 3},
    {"draw_surface_ext", F_DrawSurfaceExt, 8},
    {"draw_surface_stretched", F_DrawSurfaceStretched, 5},
    {"draw_surface_stretched_ext", F_DrawSurfaceStretchedExt, 7},
    {"draw_surface_part", F_DrawSurfacePart, 7},
    {"draw_surface_part_ext", F_DrawSurfacePartExt, 11},
    {"draw_surface_general", F_DrawSurfaceGeneral, 15},
    {"draw_surface_tiled", F_DrawSurfaceTiled, 3},
    {"draw_surface_tiled_ext", F_DrawSurfaceTiledExt, 7},
    {"application_surface_enable", F_ApplicationSurfaceEnable, 1},
    {"application_surface_is_enabled", F_ApplicationSurfaceIsEnabled, 0},
    {"application_surface_draw_enable", F_ApplicationSurfaceDrawEnable, 1},
    {"display_get_gui_width", F_DisplayGetGuiWidth, 0},
    {"display_get_gui_height", F_DisplayGetGuiHeight, 0},
    {"display_set_gui_size", F_DisplaySetGuiSize, 2},
    {"display_set_gui_maximise", F_DisplaySetGuiMaximise, -1},
    {"display_set_gui_maximize", F_DisplaySetGuiMaximise, -1},
    {"draw_enable_drawevent", F_DrawEnableDrawevent, 1},
    {"screen_save", F_ScreenSave, 1},
    {"screen_save_part", F_ScreenSavePart, 5},
};

}  // namespace

void Surface_RegisterBuiltins() { Graphics_AddRows(kSurfaceRows, static_cast<int>(std::size(kSurfaceRows))); }

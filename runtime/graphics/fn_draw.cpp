// Builtins of the draw family: colours, shapes, primitives and the registration of the whole
// family (gpu, matrix and light builtins included) in its fixed order.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>
#include <string>

#include "core/console.h"
#include "core/error.h"
#include "graphics/batcher.h"
#include "graphics/draw.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/gr_texture.h"
#include "graphics/window.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgBool;
using gfx_fn::ArgColour;
using gfx_fn::ArgInt;
using gfx_fn::Real;

void (*g_texture_flush_hook)() = nullptr;
bool (*g_path_points)(int32_t path, std::vector<float>* xy, bool* closed) = nullptr;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)
#define A(n) static_cast<float>(Arg(argc, argv, n))
#define C(n) Draw_WithAlpha(ArgColour(argc, argv, n))

uint32_t merged() { return Draw_MergedColour(); }

KV_BUILTIN(F_DrawFlush) {
  GR_Flush();
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawTextureFlush) {
  GR_Flush();
  if (g_texture_flush_hook != nullptr) g_texture_flush_hook();
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawSetColour) {
  Draw_SetColour(ArgColour(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawGetColour) { Real(result, Draw_GetColour()); }

KV_BUILTIN(F_DrawSetAlpha) {
  Draw_SetAlpha(Arg(argc, argv, 0));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawGetAlpha) { Real(result, Draw_GetAlpha()); }

KV_BUILTIN(F_DrawClear) {
  Draw_Clear(ArgColour(argc, argv, 0) | 0xFF000000u);
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawClearAlpha) {
  const double alpha = std::clamp(Arg(argc, argv, 1), 0.0, 1.0);
  Draw_Clear((ArgColour(argc, argv, 0) & 0xFFFFFFu) | (static_cast<uint32_t>(alpha * 255.0) << 24));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawPoint) {
  Draw_Point(A(0), A(1), merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawPointColour) {
  Draw_Point(A(0), A(1), C(2));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawLine) {
  Draw_Line(A(0), A(1), A(2), A(3), merged(), merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawLineColour) {
  Draw_Line(A(0), A(1), A(2), A(3), C(4), C(5));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawLineWidth) {
  Draw_LineWidth(A(0), A(1), A(2), A(3), A(4), merged(), merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawLineWidthColour) {
  Draw_LineWidth(A(0), A(1), A(2), A(3), A(4), C(5), C(6));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawRectangle) {
  const uint32_t c = merged();
  Draw_Rectangle(A(0), A(1), A(2), A(3), c, c, c, c, ArgBool(argc, argv, 4));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawRectangleColour) {
  Draw_Rectangle(A(0), A(1), A(2), A(3), C(4), C(5), C(6), C(7), ArgBool(argc, argv, 8));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawRoundrect) {
  Draw_RoundRect(A(0), A(1), A(2), A(3), 10.0f, 10.0f, merged(), merged(), ArgBool(argc, argv, 4));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawRoundrectColour) {
  Draw_RoundRect(A(0), A(1), A(2), A(3), 10.0f, 10.0f, C(4), C(5), ArgBool(argc, argv, 6));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawRoundrectExt) {
  Draw_RoundRect(A(0), A(1), A(2), A(3), A(4), A(5), merged(), merged(), ArgBool(argc, argv, 6));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawRoundrectColourExt) {
  Draw_RoundRect(A(0), A(1), A(2), A(3), A(4), A(5), C(6), C(7), ArgBool(argc, argv, 8));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawTriangle) {
  const uint32_t c = merged();
  Draw_Triangle(A(0), A(1), A(2), A(3), A(4), A(5), c, c, c, ArgBool(argc, argv, 6));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawTriangleColour) {
  Draw_Triangle(A(0), A(1), A(2), A(3), A(4), A(5), C(6), C(7), C(8), ArgBool(argc, argv, 9));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawCircle) {
  const float x = A(0), y = A(1), r = A(2);
  Draw_Ellipse(x - r, y - r, x + r, y + r, merged(), merged(), ArgBool(argc, argv, 3));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawCircleColour) {
  const float x = A(0), y = A(1), r = A(2);
  Draw_Ellipse(x - r, y - r, x + r, y + r, C(3), C(4), ArgBool(argc, argv, 5));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawEllipse) {
  Draw_Ellipse(A(0), A(1), A(2), A(3), merged(), merged(), ArgBool(argc, argv, 4));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawEllipseColour) {
  Draw_Ellipse(A(0), A(1), A(2), A(3), C(4), C(5), ArgBool(argc, argv, 6));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawArrow) {
  Draw_Arrow(A(0), A(1), A(2), A(3), A(4), merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawButton) {
  Draw_Button(A(0), A(1), A(2), A(3), ArgBool(argc, argv, 4), merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawHealthbar) {
  Draw_Healthbar(A(0), A(1), A(2), A(3), A(4), ArgColour(argc, argv, 5), ArgColour(argc, argv, 6),
                 ArgColour(argc, argv, 7), ArgInt(argc, argv, 8), ArgBool(argc, argv, 9), ArgBool(argc, argv, 10));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawPath) {
  *result = RV_Undefined();
  std::vector<float> xy;
  bool closed = false;
  if (g_path_points == nullptr || !g_path_points(ArgInt(argc, argv, 0), &xy, &closed) || xy.size() < 4) return;
  // Relative paths are drawn with their first point at (x, y).
  float dx = 0.0f, dy = 0.0f;
  if (!ArgBool(argc, argv, 3)) {
    dx = A(1) - xy[0];
    dy = A(2) - xy[1];
  }
  const uint32_t c = merged();
  const size_t points = xy.size() / 2;
  for (size_t i = 0; i + 1 < points; ++i) {
    Draw_Line(xy[i * 2] + dx, xy[i * 2 + 1] + dy, xy[i * 2 + 2] + dx, xy[i * 2 + 3] + dy, c, c);
  }
  if (closed) Draw_Line(xy[xy.size() - 2] + dx, xy.back() + dy, xy[0] + dx, xy[1] + dy, c, c);
}

KV_BUILTIN(F_DrawGetCirclePrecision) { Real(result, Draw_GetCirclePrecision()); }

KV_BUILTIN(F_DrawSetCirclePrecision) {
  Draw_SetCirclePrecision(ArgInt(argc, argv, 0));
  *result = RV_Undefined();
}

void begin_primitive(int argc, RValue* argv, bool textured) {
  GRTexture* texture = nullptr;
  GRTexturePageRect rect;
  bool page = false;
  if (textured) {
    const int64_t handle = argc > 1 ? KVGetPtrOrInt(argv, 1) : -1;
    texture = GR_ResolveTexture(handle, &rect, &page);
    if (texture == nullptr && handle != -1 && handle >= 0 && handle < 16385) KVError("Illegal texture supplied.");
  }
  Draw_PrimitiveBegin(ArgInt(argc, argv, 0), texture, page, rect.source_x, rect.source_y, rect.target_width,
                      rect.target_height);
}

KV_BUILTIN(F_DrawPrimitiveBegin) {
  begin_primitive(argc, argv, false);
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawPrimitiveBeginTexture) {
  begin_primitive(argc, argv, true);
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawPrimitiveEnd) {
  Draw_PrimitiveEnd();
  *result = RV_Undefined();
}

uint32_t colour_alpha(int argc, RValue* argv, int n) {
  const double alpha = std::clamp(Arg(argc, argv, n + 1), 0.0, 1.0);
  return (ArgColour(argc, argv, n) & 0xFFFFFFu) | (static_cast<uint32_t>(alpha * 255.0) << 24);
}

KV_BUILTIN(F_DrawVertex) {
  Draw_PrimitiveVertex(A(0), A(1), 0.0f, 0.0f, merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawVertexColour) {
  Draw_PrimitiveVertex(A(0), A(1), 0.0f, 0.0f, colour_alpha(argc, argv, 2));
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawVertexTexture) {
  Draw_PrimitiveVertex(A(0), A(1), A(2), A(3), merged());
  *result = RV_Undefined();
}

KV_BUILTIN(F_DrawVertexTextureColour) {
  Draw_PrimitiveVertex(A(0), A(1), A(2), A(3), colour_alpha(argc, argv, 4));
  *result = RV_Undefined();
}

KV_BUILTIN(F_MakeColourRgb) { Real(result, Colour_MakeRGB(Arg(argc, argv, 0), Arg(argc, argv, 1), Arg(argc, argv, 2))); }
KV_BUILTIN(F_MakeColourHsv) { Real(result, Colour_MakeHSV(Arg(argc, argv, 0), Arg(argc, argv, 1), Arg(argc, argv, 2))); }
KV_BUILTIN(F_ColourGetRed) { Real(result, ArgColour(argc, argv, 0) & 0xFF); }
KV_BUILTIN(F_ColourGetGreen) { Real(result, (ArgColour(argc, argv, 0) >> 8) & 0xFF); }
KV_BUILTIN(F_ColourGetBlue) { Real(result, (ArgColour(argc, argv, 0) >> 16) & 0xFF); }
KV_BUILTIN(F_ColourGetHue) { Real(result, Colour_Hue(ArgColour(argc, argv, 0))); }
KV_BUILTIN(F_ColourGetSaturation) { Real(result, Colour_Saturation(ArgColour(argc, argv, 0))); }
KV_BUILTIN(F_ColourGetValue) { Real(result, Colour_Value(ArgColour(argc, argv, 0))); }

KV_BUILTIN(F_MergeColour) {
  Real(result, Colour_Merge(ArgColour(argc, argv, 0), ArgColour(argc, argv, 1), Arg(argc, argv, 2)));
}

// One pixel of the current target, read back after the batch is drawn.
bool read_pixel(int argc, RValue* argv, uint32_t* pixel) {
  GR_Flush();
  IDevice* device = Graphics_Device();
  *pixel = 0;
  return device != nullptr &&
         device->ReadPixels(DeviceRect{ArgInt(argc, argv, 0), ArgInt(argc, argv, 1), 1, 1}, pixel);
}

KV_BUILTIN(F_DrawGetpixel) {
  uint32_t pixel = 0;
  read_pixel(argc, argv, &pixel);
  Real(result, pixel & 0xFFFFFFu);
}

KV_BUILTIN(F_DrawGetpixelExt) {
  uint32_t pixel = 0;
  read_pixel(argc, argv, &pixel);
  Real(result, pixel);
}

// Skeletons, vector sprites and the high-score table are not built on this platform.
KV_BUILTIN(F_NotAvailable) {
  static std::set<std::string> said;
  const char* name = Function_CurrentName();
  if (name != nullptr && said.insert(name).second) {
    g_ReleaseConsole->Output("%s: not available on this platform\n", name);
  }
  *result = RV_Undefined();
}

#undef A
#undef C
#undef KV_BUILTIN

const BuiltinRow kFlushRows[] = {
    {"draw_flush", F_DrawFlush, 0},
    {"draw_texture_flush", F_DrawTextureFlush, 0},
};

const BuiltinRow kDrawRows[] = {
    {"draw_set_colour", F_DrawSetColour, 1},
    {"draw_set_color", F_DrawSetColour, 1},
    {"draw_get_colour", F_DrawGetColour, 0},
    {"draw_get_color", F_DrawGetColour, 0},
    {"draw_set_alpha", F_DrawSetAlpha, 1},
    {"draw_get_alpha", F_DrawGetAlpha, 0},
    {"draw_clear", F_DrawClear, 1},
    {"draw_clear_alpha", F_DrawClearAlpha, 2},
    {"draw_point", F_DrawPoint, 2},
    {"draw_line", F_DrawLine, 4},
    {"draw_line_width", F_DrawLineWidth, 5},
    {"draw_rectangle", F_DrawRectangle, 5},
    {"draw_roundrect", F_DrawRoundrect, 5},
    {"draw_roundrect_ext", F_DrawRoundrectExt, 7},
    {"draw_triangle", F_DrawTriangle, 7},
    {"draw_circle", F_DrawCircle, 4},
    {"draw_ellipse", F_DrawEllipse, 5},
    {"draw_arrow", F_DrawArrow, 5},
    {"draw_button", F_DrawButton, 5},
    {"draw_healthbar", F_DrawHealthbar, 11},
    {"draw_path", F_DrawPath, 4},
    {"draw_point_colour", F_DrawPointColour, 3},
    {"draw_line_colour", F_DrawLineColour, 6},
    {"draw_line_width_colour", F_DrawLineWidthColour, 7},
    {"draw_rectangle_colour", F_DrawRectangleColour, 9},
    {"draw_roundrect_colour", F_DrawRoundrectColour, 7},
    {"draw_roundrect_colour_ext", F_DrawRoundrectColourExt, 9},
    {"draw_triangle_colour", F_DrawTriangleColour, 10},
    {"draw_circle_colour", F_DrawCircleColour, 6},
    {"draw_ellipse_colour", F_DrawEllipseColour, 7},
    {"draw_get_circle_precision", F_DrawGetCirclePrecision, 0},
    {"draw_set_circle_precision", F_DrawSetCirclePrecision, 1},
    {"draw_primitive_begin", F_DrawPrimitiveBegin, 1},
    {"draw_primitive_begin_texture", F_DrawPrimitiveBeginTexture, 2},
    {"draw_primitive_end", F_DrawPrimitiveEnd, 0},
    {"draw_vertex", F_DrawVertex, 2},
    {"draw_vertex_colour", F_DrawVertexColour, 4},
    {"draw_vertex_color", F_DrawVertexColour, 4},
    {"draw_vertex_texture", F_DrawVertexTexture, 4},
    {"draw_vertex_texture_colour", F_DrawVertexTextureColour, 6},
    {"draw_vertex_texture_color", F_DrawVertexTextureColour, 6},
    {"make_colour_rgb", F_MakeColourRgb, 3},
    {"make_colour_hsv", F_MakeColourHsv, 3},
    {"colour_get_red", F_ColourGetRed, 1},
    {"merge_colour", F_MergeColour, 3},
};

// The names the table holds besides the list above, in the table's order.
const BuiltinRow kAlsoRows[] = {
    {"draw_getpixel", F_DrawGetpixel, 2},
    {"draw_getpixel_ext", F_DrawGetpixelExt, 2},
    {"make_color_rgb", F_MakeColourRgb, 3},
    {"make_color_hsv", F_MakeColourHsv, 3},
    {"color_get_red", F_ColourGetRed, 1},
    {"color_get_green", F_ColourGetGreen, 1},
    {"colour_get_green", F_ColourGetGreen, 1},
    {"color_get_blue", F_ColourGetBlue, 1},
    {"colour_get_blue", F_ColourGetBlue, 1},
    {"color_get_hue", F_ColourGetHue, 1},
    {"colour_get_hue", F_ColourGetHue, 1},
    {"color_get_saturation", F_ColourGetSaturation, 1},
    {"colour_get_saturation", F_ColourGetSaturation, 1},
    {"color_get_value", F_ColourGetValue, 1},
    {"colour_get_value", F_ColourGetValue, 1},
    {"merge_color", F_MergeColour, 3},
    {"draw_point_color", F_DrawPointColour, 3},
    {"draw_line_color", F_DrawLineColour, 6},
    {"draw_line_width_color", F_DrawLineWidthColour, 7},
    {"draw_rectangle_color", F_DrawRectangleColour, 9},
    {"draw_roundrect_color", F_DrawRoundrectColour, 7},
    {"draw_roundrect_color_ext", F_DrawRoundrectColourExt, 9},
    {"draw_triangle_color", F_DrawTriangleColour, 10},
    {"draw_circle_color", F_DrawCircleColour, 6},
    {"draw_ellipse_color", F_DrawEllipseColour, 7},
    {"draw_skeleton", F_NotAvailable, -1},
    {"draw_skeleton_time", F_NotAvailable, -1},
    {"draw_skeleton_instance", F_NotAvailable, -1},
    {"draw_skeleton_collision", F_NotAvailable, -1},
    {"draw_enable_skeleton_blendmodes", F_NotAvailable, 1},
    {"draw_get_enable_skeleton_blendmodes", F_NotAvailable, 0},
    {"draw_enable_swf_aa", F_NotAvailable, 1},
    {"draw_set_swf_aa_level", F_NotAvailable, 1},
    {"draw_highscore", F_NotAvailable, 4},
};

}  // namespace

void Graphics_NotAvailable(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  F_NotAvailable(result, self, other, argc, argv);
}

void Graphics_AddRows(const BuiltinRow* rows, int count) {
  for (int i = 0; i < count; ++i) {
    int32_t id = 0;
    if (Function_Find(rows[i].name, &id)) continue;
    Function_Add(rows[i].name, rows[i].handler, rows[i].argc, 0);
  }
}

void Draw_SetTextureFlushHook(void (*hook)()) { g_texture_flush_hook = hook; }
void Draw_SetPathPointsHook(bool (*hook)(int32_t path, std::vector<float>* xy, bool* closed)) { g_path_points = hook; }

void Draw_RegisterBuiltins() {
  Gpu_RegisterBuiltins();
  Matrix_RegisterBuiltins();
  Graphics_AddRows(kFlushRows, static_cast<int>(std::size(kFlushRows)));
  Light_RegisterBuiltins();
  Graphics_AddRows(kDrawRows, static_cast<int>(std::size(kDrawRows)));
  Graphics_AddRows(kAlsoRows, static_cast<int>(std::size(kAlsoRows)));
  Gpu_RegisterLateBuiltins();
}

#pragma once
// 2D drawing of shapes and script primitives through the batcher, and the draw colour state.
// All shapes draw with the white texture at the current GR_Depth; their colours carry the draw
// alpha in the top byte (colour words have red in the low byte). Points, lines, triangles,
// circles, ellipses and round rectangles are shifted by +1 in x and y; a rectangle shifts only its
// second corner and then widens a whole-number far edge by 0.01, so that draw_rectangle(10, 10,
// 20, 20) covers 10 to 21.01. Outlines are line strips (they never join a batch); filled circles
// are triangle lists and do. Main thread only.
#include <cstdint>
#include <vector>

class GRTexture;

// The draw colour and alpha, held as one merged word (alpha in the top byte).
void Draw_SetColour(uint32_t rgb);
uint32_t Draw_GetColour();  // RGB
void Draw_SetAlpha(double alpha);  // clamp(alpha, 0, 1) x 255, truncated
double Draw_GetAlpha();
uint32_t Draw_MergedColour();  // the draw colour with the draw alpha
// An RGB colour with the draw alpha.
uint32_t Draw_WithAlpha(uint32_t rgb);
void Draw_SetCirclePrecision(int32_t precision);
int32_t Draw_GetCirclePrecision();
// The draw state back to its start: black, opaque, precision 24.
void Draw_ResetState();

// Colours are full words (alpha included) here.
void Draw_Point(float x, float y, uint32_t colour);
void Draw_Line(float x1, float y1, float x2, float y2, uint32_t c1, uint32_t c2);
void Draw_LineWidth(float x1, float y1, float x2, float y2, float width, uint32_t c1, uint32_t c2);
void Draw_Rectangle(float x1, float y1, float x2, float y2, uint32_t c1, uint32_t c2, uint32_t c3, uint32_t c4,
                    bool outline);
void Draw_Triangle(float x1, float y1, float x2, float y2, float x3, float y3, uint32_t c1, uint32_t c2, uint32_t c3,
                   bool outline);
void Draw_Ellipse(float x1, float y1, float x2, float y2, uint32_t centre, uint32_t edge, bool outline);
void Draw_RoundRect(float x1, float y1, float x2, float y2, float rx, float ry, uint32_t centre, uint32_t edge,
                    bool outline);
void Draw_Arrow(float x1, float y1, float x2, float y2, float size, uint32_t colour);
void Draw_Button(float x1, float y1, float x2, float y2, bool up, uint32_t face);
void Draw_Healthbar(float x1, float y1, float x2, float y2, float amount, uint32_t back, uint32_t min_colour,
                    uint32_t max_colour, int32_t direction, bool show_back, bool show_border);

// Flushes the batch and clears the current target (colour with its alpha, depth 1, stencil 0).
void Draw_Clear(uint32_t colour);

// draw_primitive_*: up to 1001 vertices of layout 24, drawn at draw_primitive_end.
constexpr int32_t kPrimitiveMaxVertices = 1001;
void Draw_PrimitiveBegin(int32_t kind, GRTexture* texture, bool page_relative, float source_x, float source_y,
                         float target_width, float target_height);
void Draw_PrimitiveVertex(float x, float y, float u, float v, uint32_t colour);
void Draw_PrimitiveEnd();

// Colours of scripts: RGB words, 0..255 channels.
uint32_t Colour_MakeRGB(double r, double g, double b);
uint32_t Colour_MakeHSV(double h, double s, double v);
uint32_t Colour_Merge(uint32_t a, uint32_t b, double amount);
double Colour_Hue(uint32_t colour);
double Colour_Saturation(uint32_t colour);
double Colour_Value(uint32_t colour);

// Hooks of later subsystems: draw_texture_flush frees the texture table's device objects;
// draw_path asks the path table for a path's points (x, y pairs) and whether it is closed.
void Draw_SetTextureFlushHook(void (*hook)());
void Draw_SetPathPointsHook(bool (*hook)(int32_t path, std::vector<float>* xy, bool* closed));

// The draw family's builtins (draw_*, gpu_*, matrix_*, colours) in their fixed order.
void Draw_RegisterBuiltins();

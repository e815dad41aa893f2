#pragma once
// Arithmetic, angle and geometry builtins, and the typed routines behind the ones that other
// subsystems share (motion and drawing use the same direction and distance rules).
// Math_RegisterArithmeticBuiltins adds abs .. lerp; math_set_epsilon and math_get_epsilon, which
// close that list, come from Value_RegisterEpsilonBuiltins. Math_RegisterAngleBuiltins adds sin ..
// angle_difference, then point_in_triangle, point_in_circle, rectangle_in_rectangle and
// rectangle_in_triangle. Math_RegisterBuiltins does both in that order.
// Numbers are doubles, except the screen-angle group (point_direction, point_distance,
// lengthdir_x/y, angle_difference, the normalised dot products), which works in single precision
// with pi = 3.1415927 as the runtime always has. Trigonometric results smaller in size than the
// math epsilon snap to exactly 0. Nothing allocates except median with more than 32 arguments.
#include <cstdint>

void Math_RegisterArithmeticBuiltins();
void Math_RegisterAngleBuiltins();
void Math_RegisterBuiltins();

// ---- Typed routines ------------------------------------------------------------------------------
// value, or exactly 0 when its size is below the math epsilon.
double Math_Snap(double value);
// Nearest integer with ties to even; NaN and values outside int64 give INT64_MIN, as the
// hardware conversion does.
double Math_Round(double value);

float Math_PointDistance(float x1, float y1, float x2, float y2);
// Degrees counter-clockwise on screen (y points down) from 0 pointing right, in [0, 360).
float Math_PointDirection(float x1, float y1, float x2, float y2);
// len * cos(dir) and -len * sin(dir) with dir in degrees; a result within 0.0001 of its whole
// part is cut to it.
float Math_LengthdirX(float len, float dir);
float Math_LengthdirY(float len, float dir);
// a - b wrapped into [-180, 180).
float Math_AngleDifference(float a, float b);

// Inside or on the edge of the triangle.
bool Math_PointInTriangle(double px, double py, double x1, double y1, double x2, double y2, double x3, double y3);
// Within radius of the centre, the circle's edge included.
bool Math_PointInCircle(double px, double py, double cx, double cy, double radius);
// Between the left-top corner (x1, y1) and the right-bottom corner (x2, y2), the edges included.
bool Math_PointInRectangle(double px, double py, double x1, double y1, double x2, double y2);
// 0: apart, 1: the source rectangle lies wholly inside the other, 2: they overlap. Corners may be
// given in any order; touching edges overlap.
int Math_RectangleInRectangle(double sx1, double sy1, double sx2, double sy2, double dx1, double dy1, double dx2,
                              double dy2);
// The same for a rectangle against a triangle.
int Math_RectangleInTriangle(double sx1, double sy1, double sx2, double sy2, double x1, double y1, double x2, double y2,
                             double x3, double y3);

// Arithmetic, trigonometry, screen angles and the small geometry tests. Wrappers read every
// argument first (the readers raise on kinds that don't convert), then call plain routines.
#include "core/fn_math.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/rvalue.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

constexpr double kPi = 3.141592653589793;
constexpr float kPiF = 3.1415927f;

void set_real(RValue* result, double value) { set_result(result, RV_Real(value)); }

// ---- Arithmetic ------------------------------------------------------------------------------------

template <double (*Op)(double)>
void F_Unary(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Op(KVGetReal(argv, 0)));
}

template <double (*Op)(double)>
void F_UnarySnapped(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Math_Snap(Op(KVGetReal(argv, 0))));
}

double op_abs(double x) { return std::fabs(x); }
double op_floor(double x) { return std::floor(x); }
double op_ceil(double x) { return std::ceil(x); }
double op_sign(double x) { return x > 0.0 ? 1.0 : (x == 0.0 ? 0.0 : -1.0); }  // NaN counts as below 0
double op_frac(double x) {
  double whole = 0.0;
  return std::modf(x, &whole);
}
double op_sqr(double x) { return x * x; }
double op_exp(double x) { return std::exp(x); }
double op_ln(double x) { return std::log(x); }
double op_log2(double x) { return std::log(x) / std::log(2.0); }
double op_log10(double x) { return std::log10(x); }

void F_Sqrt(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double x = KVGetReal(argv, 0);
  if (std::isnan(x)) {
    KVError("Cannot apply sqrt to NaN");
    return;
  }
  if (x < 0.0) {
    KVError("Cannot apply sqrt to negative number.");
    return;
  }
  set_real(result, std::sqrt(x));
}

void F_Logn(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double n = KVGetReal(argv, 0);
  const double x = KVGetReal(argv, 1);
  set_real(result, std::log(x) / std::log(n));
}

void F_Power(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double x = KVGetReal(argv, 0);
  const double n = KVGetReal(argv, 1);
  set_real(result, std::pow(x, n));
}

// min and max give the winning argument itself, kind and all; ties keep the earlier one.
template <bool Lower>
void F_Extreme(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc <= 0) {
    set_real(result, 0.0);
    return;
  }
  int best = 0;
  double best_value = KVGetReal(argv, 0);
  for (int i = 1; i < argc; ++i) {
    const double value = KVGetReal(argv, i);
    if (Lower ? value < best_value : value > best_value) {
      best = i;
      best_value = value;
    }
  }
  RV_Assign(result, &argv[best]);
}

void F_Mean(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc <= 0) {
    set_real(result, 0.0);
    return;
  }
  double sum = 0.0;
  for (int i = 0; i < argc; ++i) sum += KVGetReal(argv, i);
  set_real(result, sum / argc);
}

int compare_doubles(const void* a, const void* b) {
  const double x = *static_cast<const double*>(a);
  const double y = *static_cast<const double*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

void F_Median(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc <= 0) {
    set_real(result, 0.0);
    return;
  }
  constexpr int kInline = 32;
  double inline_values[kInline];
  std::vector<double> spilled;
  double* values = inline_values;
  if (argc > kInline) {
    spilled.resize(static_cast<size_t>(argc));
    values = spilled.data();
  }
  for (int i = 0; i < argc; ++i) values[i] = KVGetReal(argv, i);
  std::qsort(values, static_cast<size_t>(argc), sizeof(double), compare_doubles);
  // With an even count this is the upper of the two middle values.
  set_real(result, values[argc / 2]);
}

void F_Clamp(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double x = KVGetReal(argv, 0);
  const double lo = KVGetReal(argv, 1);
  const double hi = KVGetReal(argv, 2);
  const double raised = x > lo ? x : lo;
  set_real(result, raised < hi ? raised : hi);  // lo above hi gives hi
}

void F_Lerp(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double a = KVGetReal(argv, 0);
  const double b = KVGetReal(argv, 1);
  const double t = KVGetReal(argv, 2);
  set_real(result, a + (b - a) * t);
}

// ---- Trigonometry in double precision ------------------------------------------------------------

double deg_to_rad(double x) { return x * kPi / 180.0; }
double rad_to_deg(double x) { return x * 180.0 / kPi; }

double op_sin(double x) { return std::sin(x); }
double op_cos(double x) { return std::cos(x); }
double op_tan(double x) { return std::tan(x); }
double op_atan(double x) { return std::atan(x); }
double op_dsin(double x) { return std::sin(deg_to_rad(x)); }
double op_dcos(double x) { return std::cos(deg_to_rad(x)); }
double op_dtan(double x) { return std::tan(deg_to_rad(x)); }
double op_datan(double x) { return rad_to_deg(std::atan(x)); }

// An argument of arcsin or arccos just outside [-1, 1] (within the epsilon) is pulled in; one
// further out raises message. False when it raised.
bool inverse_argument(double* x, const char* message) {
  const double epsilon = Math_GetEpsilon();
  if (*x > 1.0) {
    if (*x - 1.0 > epsilon) {
      KVError("%s", message);
      return false;
    }
    *x = 1.0;
  } else if (*x < -1.0) {
    if (-1.0 - *x > epsilon) {
      KVError("%s", message);
      return false;
    }
    *x = -1.0;
  }
  return true;
}

template <double (*Inverse)(double), bool Degrees>
void F_Inverse(RValue* result, CInstance*, CInstance*, int, RValue* argv, const char* message) {
  double x = KVGetReal(argv, 0);
  if (!inverse_argument(&x, message)) return;
  const double angle = Inverse(x);
  set_real(result, Math_Snap(Degrees ? rad_to_deg(angle) : angle));
}

double op_asin(double x) { return std::asin(x); }
double op_acos(double x) { return std::acos(x); }

template <bool Degrees>
void F_Arcsin(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  F_Inverse<op_asin, Degrees>(result, self, other, argc, argv, "Error in function arcsin().");
}

template <bool Degrees>
void F_Arccos(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  F_Inverse<op_acos, Degrees>(result, self, other, argc, argv, "Error in function arccos().");
}

template <bool Degrees>
void F_Arctan2(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double y = KVGetReal(argv, 0);
  const double x = KVGetReal(argv, 1);
  const double angle = std::atan2(y, x);
  set_real(result, Math_Snap(Degrees ? rad_to_deg(angle) : angle));
}

// ---- Screen angles and vectors ----------------------------------------------------------------------

void F_PointDistance(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Math_PointDistance(KVGetFloat(argv, 0), KVGetFloat(argv, 1), KVGetFloat(argv, 2), KVGetFloat(argv, 3)));
}

void F_PointDirection(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Math_PointDirection(KVGetFloat(argv, 0), KVGetFloat(argv, 1), KVGetFloat(argv, 2), KVGetFloat(argv, 3)));
}

void F_LengthdirX(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Math_LengthdirX(KVGetFloat(argv, 0), KVGetFloat(argv, 1)));
}

void F_LengthdirY(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Math_LengthdirY(KVGetFloat(argv, 0), KVGetFloat(argv, 1)));
}

void F_AngleDifference(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_real(result, Math_AngleDifference(KVGetFloat(argv, 0), KVGetFloat(argv, 1)));
}

void read_reals(const RValue* argv, int count, double* out) {
  for (int i = 0; i < count; ++i) out[i] = KVGetReal(argv, i);
}

void F_PointDistance3D(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[6];
  read_reals(argv, 6, v);
  const double dx = v[3] - v[0], dy = v[4] - v[1], dz = v[5] - v[2];
  set_real(result, std::sqrt(dx * dx + dy * dy + dz * dz));
}

void F_DotProduct(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[4];
  read_reals(argv, 4, v);
  set_real(result, v[0] * v[2] + v[1] * v[3]);
}

void F_DotProduct3D(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[6];
  read_reals(argv, 6, v);
  set_real(result, v[0] * v[3] + v[1] * v[4] + v[2] * v[5]);
}

// The normalised forms divide by the product of the lengths in single precision; a zero-length
// vector gives NaN, as the division does.
template <int Dimensions>
void F_DotProductNormalised(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  float a[Dimensions];
  float b[Dimensions];
  for (int i = 0; i < Dimensions; ++i) a[i] = KVGetFloat(argv, i);
  for (int i = 0; i < Dimensions; ++i) b[i] = KVGetFloat(argv, Dimensions + i);
  float dot = 0.0f, length_a = 0.0f, length_b = 0.0f;
  for (int i = 0; i < Dimensions; ++i) {
    dot += a[i] * b[i];
    length_a += a[i] * a[i];
    length_b += b[i] * b[i];
  }
  set_real(result, dot / (std::sqrt(length_a) * std::sqrt(length_b)));
}

// ---- Geometry tests --------------------------------------------------------------------------------

void F_PointInTriangle(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[8];
  read_reals(argv, 8, v);
  set_result(result, RV_Bool(Math_PointInTriangle(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7])));
}

void F_PointInCircle(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[5];
  read_reals(argv, 5, v);
  set_result(result, RV_Bool(Math_PointInCircle(v[0], v[1], v[2], v[3], v[4])));
}

void F_PointInRectangle(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[6];
  read_reals(argv, 6, v);
  set_result(result, RV_Bool(Math_PointInRectangle(v[0], v[1], v[2], v[3], v[4], v[5])));
}

void F_RectangleInRectangle(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[8];
  read_reals(argv, 8, v);
  set_real(result, Math_RectangleInRectangle(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]));
}

void F_RectangleInTriangle(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  double v[10];
  read_reals(argv, 10, v);
  set_real(result, Math_RectangleInTriangle(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9]));
}

double cross(double ax, double ay, double bx, double by, double px, double py) {
  return (bx - ax) * (py - ay) - (by - ay) * (px - ax);
}

// Whether segments p1-p2 and q1-q2 share a point, ends included.
bool segments_meet(double p1x, double p1y, double p2x, double p2y, double q1x, double q1y, double q2x, double q2y) {
  const double d1 = cross(q1x, q1y, q2x, q2y, p1x, p1y);
  const double d2 = cross(q1x, q1y, q2x, q2y, p2x, p2y);
  const double d3 = cross(p1x, p1y, p2x, p2y, q1x, q1y);
  const double d4 = cross(p1x, p1y, p2x, p2y, q2x, q2y);
  if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return true;
  auto on_segment = [](double ax, double ay, double bx, double by, double px, double py) {
    return std::fmin(ax, bx) <= px && px <= std::fmax(ax, bx) && std::fmin(ay, by) <= py && py <= std::fmax(ay, by);
  };
  return (d1 == 0 && on_segment(q1x, q1y, q2x, q2y, p1x, p1y)) || (d2 == 0 && on_segment(q1x, q1y, q2x, q2y, p2x, p2y)) ||
         (d3 == 0 && on_segment(p1x, p1y, p2x, p2y, q1x, q1y)) || (d4 == 0 && on_segment(p1x, p1y, p2x, p2y, q2x, q2y));
}

struct Box {
  double left, top, right, bottom;
  Box(double x1, double y1, double x2, double y2)
      : left(std::fmin(x1, x2)), top(std::fmin(y1, y2)), right(std::fmax(x1, x2)), bottom(std::fmax(y1, y2)) {}
  bool contains(double x, double y) const { return left <= x && x <= right && top <= y && y <= bottom; }
};

}  // namespace

// ---- Typed routines ------------------------------------------------------------------------------

double Math_Snap(double value) { return std::fabs(value) < Math_GetEpsilon() ? 0.0 : value; }

double Math_Round(double value) {
  if (!(value >= -9223372036854775808.0 && value < 9223372036854775808.0)) {
    return static_cast<double>(std::numeric_limits<int64_t>::min());
  }
  return static_cast<double>(std::llrint(value));
}

float Math_PointDistance(float x1, float y1, float x2, float y2) {
  const float dx = x2 - x1;
  const float dy = y2 - y1;
  return std::sqrt(dx * dx + dy * dy);
}

float Math_PointDirection(float x1, float y1, float x2, float y2) {
  const float dx = x2 - x1;
  const float dy = y2 - y1;
  if (dx == 0.0f) {
    if (dy > 0.0f) return 270.0f;
    if (dy < 0.0f) return 90.0f;
    return 0.0f;
  }
  const float a = std::atan2(dy, dx) * 180.0f / kPiF;
  // + 0.0f turns the -0 of a level direction into 0.
  return a <= 0.0f ? -a + 0.0f : 360.0f - a;
}

namespace {

// A result within 0.0001 of its whole part is cut to it, so that axis-aligned directions give
// whole numbers instead of rounding noise.
float cut_to_whole(float value) {
  const float whole = std::trunc(value);
  if (std::fabs(value - whole) < 0.0001f) return whole + 0.0f;
  return value;
}

}  // namespace

float Math_LengthdirX(float len, float dir) { return cut_to_whole(len * std::cos(dir * kPiF / 180.0f)); }

float Math_LengthdirY(float len, float dir) { return cut_to_whole(-len * std::sin(dir * kPiF / 180.0f)); }

float Math_AngleDifference(float a, float b) {
  return std::fmod(std::fmod(a - b, 360.0f) + 540.0f, 360.0f) - 180.0f;
}

bool Math_PointInTriangle(double px, double py, double x1, double y1, double x2, double y2, double x3, double y3) {
  // The bounding box keeps a flat triangle from taking in its whole line.
  const double left = std::fmin(x1, std::fmin(x2, x3)), right = std::fmax(x1, std::fmax(x2, x3));
  const double top = std::fmin(y1, std::fmin(y2, y3)), bottom = std::fmax(y1, std::fmax(y2, y3));
  if (!(left <= px && px <= right && top <= py && py <= bottom)) return false;
  const double a = cross(x1, y1, x2, y2, px, py);
  const double b = cross(x2, y2, x3, y3, px, py);
  const double c = cross(x3, y3, x1, y1, px, py);
  const bool negative = a < 0 || b < 0 || c < 0;
  const bool positive = a > 0 || b > 0 || c > 0;
  return !(negative && positive);
}

bool Math_PointInCircle(double px, double py, double cx, double cy, double radius) {
  const double dx = px - cx;
  const double dy = py - cy;
  return dx * dx + dy * dy <= radius * radius;
}

bool Math_PointInRectangle(double px, double py, double x1, double y1, double x2, double y2) {
  return px >= x1 && px <= x2 && py >= y1 && py <= y2;
}

int Math_RectangleInRectangle(double sx1, double sy1, double sx2, double sy2, double dx1, double dy1, double dx2,
                              double dy2) {
  const Box s(sx1, sy1, sx2, sy2);
  const Box d(dx1, dy1, dx2, dy2);
  if (s.right < d.left || s.left > d.right || s.bottom < d.top || s.top > d.bottom) return 0;
  if (d.contains(s.left, s.top) && d.contains(s.right, s.bottom)) return 1;
  return 2;
}

int Math_RectangleInTriangle(double sx1, double sy1, double sx2, double sy2, double x1, double y1, double x2, double y2,
                             double x3, double y3) {
  const Box s(sx1, sy1, sx2, sy2);
  const double cx[4] = {s.left, s.right, s.right, s.left};
  const double cy[4] = {s.top, s.top, s.bottom, s.bottom};
  int inside = 0;
  for (int i = 0; i < 4; ++i) inside += Math_PointInTriangle(cx[i], cy[i], x1, y1, x2, y2, x3, y3) ? 1 : 0;
  if (inside == 4) return 1;
  if (inside > 0) return 2;
  const double tx[3] = {x1, x2, x3};
  const double ty[3] = {y1, y2, y3};
  for (int i = 0; i < 3; ++i) {
    if (s.contains(tx[i], ty[i])) return 2;
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) {
      if (segments_meet(tx[i], ty[i], tx[(i + 1) % 3], ty[(i + 1) % 3], cx[j], cy[j], cx[(j + 1) % 4], cy[(j + 1) % 4])) {
        return 2;
      }
    }
  }
  return 0;
}

// ---- Registration ------------------------------------------------------------------------------------

void Math_RegisterArithmeticBuiltins() {
  Function_Add("abs", with_args<F_Unary<op_abs>, 1>, 1, 1);
  Function_Add("round", with_args<F_Unary<Math_Round>, 1>, 1, 1);
  Function_Add("floor", with_args<F_Unary<op_floor>, 1>, 1, 1);
  Function_Add("ceil", with_args<F_Unary<op_ceil>, 1>, 1, 1);
  Function_Add("sign", with_args<F_Unary<op_sign>, 1>, 1, 1);
  Function_Add("frac", with_args<F_Unary<op_frac>, 1>, 1, 1);
  Function_Add("sqrt", with_args<F_Sqrt, 1>, 1, 1);
  Function_Add("sqr", with_args<F_Unary<op_sqr>, 1>, 1, 1);
  Function_Add("exp", with_args<F_Unary<op_exp>, 1>, 1, 1);
  Function_Add("ln", with_args<F_Unary<op_ln>, 1>, 1, 1);
  Function_Add("log2", with_args<F_Unary<op_log2>, 1>, 1, 1);
  Function_Add("log10", with_args<F_Unary<op_log10>, 1>, 1, 1);
  Function_Add("logn", with_args<F_Logn, 2>, 2, 1);
  Function_Add("power", with_args<F_Power, 2>, 2, 1);
  Function_Add("min", F_Extreme<true>, -1, 1);
  Function_Add("max", F_Extreme<false>, -1, 1);
  Function_Add("mean", F_Mean, -1, 1);
  Function_Add("median", F_Median, -1, 1);
  Function_Add("clamp", with_args<F_Clamp, 3>, 3, 1);
  Function_Add("lerp", with_args<F_Lerp, 3>, 3, 1);
}

void Math_RegisterAngleBuiltins() {
  Function_Add("sin", with_args<F_UnarySnapped<op_sin>, 1>, 1, 1);
  Function_Add("cos", with_args<F_UnarySnapped<op_cos>, 1>, 1, 1);
  Function_Add("tan", with_args<F_UnarySnapped<op_tan>, 1>, 1, 1);
  Function_Add("arcsin", with_args<F_Arcsin<false>, 1>, 1, 1);
  Function_Add("arccos", with_args<F_Arccos<false>, 1>, 1, 1);
  Function_Add("arctan", with_args<F_UnarySnapped<op_atan>, 1>, 1, 1);
  Function_Add("arctan2", with_args<F_Arctan2<false>, 2>, 2, 1);
  Function_Add("dsin", with_args<F_UnarySnapped<op_dsin>, 1>, 1, 1);
  Function_Add("dcos", with_args<F_UnarySnapped<op_dcos>, 1>, 1, 1);
  Function_Add("dtan", with_args<F_UnarySnapped<op_dtan>, 1>, 1, 1);
  Function_Add("darcsin", with_args<F_Arcsin<true>, 1>, 1, 1);
  Function_Add("darccos", with_args<F_Arccos<true>, 1>, 1, 1);
  Function_Add("darctan", with_args<F_UnarySnapped<op_datan>, 1>, 1, 1);
  Function_Add("darctan2", with_args<F_Arctan2<true>, 2>, 2, 1);
  Function_Add("degtorad", with_args<F_Unary<deg_to_rad>, 1>, 1, 1);
  Function_Add("radtodeg", with_args<F_Unary<rad_to_deg>, 1>, 1, 1);
  Function_Add("point_distance", with_args<F_PointDistance, 4>, 4, 1);
  Function_Add("point_direction", with_args<F_PointDirection, 4>, 4, 1);
  Function_Add("lengthdir_x", with_args<F_LengthdirX, 2>, 2, 1);
  Function_Add("lengthdir_y", with_args<F_LengthdirY, 2>, 2, 1);
  Function_Add("point_distance_3d", with_args<F_PointDistance3D, 6>, 6, 1);
  Function_Add("dot_product", with_args<F_DotProduct, 4>, 4, 1);
  Function_Add("dot_product_normalised", with_args<F_DotProductNormalised<2>, 4>, 4, 1);
  Function_Add("dot_product_normalized", with_args<F_DotProductNormalised<2>, 4>, 4, 1);
  Function_Add("dot_product_3d", with_args<F_DotProduct3D, 6>, 6, 1);
  Function_Add("dot_product_3d_normalised", with_args<F_DotProductNormalised<3>, 6>, 6, 1);
  Function_Add("dot_product_3d_normalized", with_args<F_DotProductNormalised<3>, 6>, 6, 1);
  Function_Add("angle_difference", with_args<F_AngleDifference, 2>, 2, 1);
  Function_Add("point_in_triangle", with_args<F_PointInTriangle, 8>, 8, 1);
  Function_Add("point_in_circle", with_args<F_PointInCircle, 5>, 5, 1);
  Function_Add("rectangle_in_rectangle", with_args<F_RectangleInRectangle, 8>, 8, 1);
  Function_Add("rectangle_in_triangle", with_args<F_RectangleInTriangle, 10>, 10, 1);
  Function_Add("point_in_rectangle", with_args<F_PointInRectangle, 6>, 6, 1);
}

void Math_RegisterBuiltins() {
  Math_RegisterArithmeticBuiltins();
  Math_RegisterAngleBuiltins();
}

// matrix_* builtins, the script matrix stack, and the light builtins.
#include <cmath>
#include <cstring>
#include <iterator>

#include "core/error.h"
#include "graphics/device_state.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/render_state.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgBool;
using gfx_fn::ArgColour;
using gfx_fn::ArgInt;
using gfx_fn::Real;

constexpr int kMatrixStackPushes = 50;

// Entry 0 is the identity; the stack never touches the device.
struct MatrixStack {
  float entries[kMatrixStackPushes + 1][16];
  int32_t depth = 0;
  MatrixStack() { Matrix_Identity(entries[0]); }
};
MatrixStack g_stack;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)
#define F(n) static_cast<float>(Arg(argc, argv, n))

void matrix_result(RValue* result, const float m[16]) {
  double values[16];
  for (int i = 0; i < 16; ++i) values[i] = m[i];
  gfx_fn::RealArray(result, values, 16);
}

// Reads a 16-number array argument; raises not_array or bad_length when it isn't one.
void read_matrix(int argc, RValue* argv, int n, float out[16], const char* not_array, const char* bad_length) {
  const RefDynamicArrayOfRValue* array = gfx_fn::ArrayArg(argc, argv, n);
  if (array == nullptr) KVError("%s", not_array);
  if (array->length != 16) KVError("%s", bad_length);
  for (int i = 0; i < 16; ++i) out[i] = static_cast<float>(RV_ToDouble(array->pArray[i]));
}

int32_t matrix_type(int argc, RValue* argv) {
  const int32_t type = ArgInt(argc, argv, 0);
  if (type < kMatrixView || type > kMatrixWorld) KVError("Illegal matrix type");
  return type;
}

KV_BUILTIN(F_MatrixGet) {
  float m[16];
  GR_Get_Matrix(matrix_type(argc, argv), m);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixSet) {
  const int32_t type = matrix_type(argc, argv);
  float m[16];
  read_matrix(argc, argv, 1, m, "Illegal argument type, expecting matrix", "Illegal matrix");
  GR_Set_Matrix(type, m);
  *result = RV_Undefined();
}

KV_BUILTIN(F_MatrixBuildIdentity) {
  float m[16];
  Matrix_Identity(m);
  matrix_result(result, m);
}

// Scale, then rotation about x, y and z (degrees), then translation.
KV_BUILTIN(F_MatrixBuild) {
  const float deg = 3.14159265358979f / 180.0f;
  const float ax = F(3) * deg, ay = F(4) * deg, az = F(5) * deg;
  float s[16], rx[16], ry[16], rz[16], m[16];
  Matrix_Identity(s);
  s[0] = F(6);
  s[5] = F(7);
  s[10] = F(8);
  Matrix_Identity(rx);
  rx[5] = std::cos(ax); rx[6] = std::sin(ax); rx[9] = -std::sin(ax); rx[10] = std::cos(ax);
  Matrix_Identity(ry);
  ry[0] = std::cos(ay); ry[2] = -std::sin(ay); ry[8] = std::sin(ay); ry[10] = std::cos(ay);
  Matrix_Identity(rz);
  rz[0] = std::cos(az); rz[1] = std::sin(az); rz[4] = -std::sin(az); rz[5] = std::cos(az);
  Matrix_Multiply(s, rx, m);
  Matrix_Multiply(m, ry, m);
  Matrix_Multiply(m, rz, m);
  m[12] += F(0);
  m[13] += F(1);
  m[14] += F(2);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixBuildLookat) {
  float m[16];
  Matrix_LookAt(F(0), F(1), F(2), F(3), F(4), F(5), F(6), F(7), F(8), m);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixBuildOrtho) {
  float m[16];
  Matrix_Ortho(F(0), F(1), F(2), F(3), m);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixBuildPerspective) {
  float m[16];
  Matrix_Perspective(F(0), F(1), F(2), F(3), m);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixBuildPerspectiveFov) {
  float m[16];
  Matrix_PerspectiveFov(F(0), F(1), F(2), F(3), m);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixMultiply) {
  float a[16], b[16], m[16];
  read_matrix(argc, argv, 0, a, "Illegal argument type, expecting matrix", "Illegal matrix");
  read_matrix(argc, argv, 1, b, "Illegal argument type, expecting matrix", "Illegal matrix");
  Matrix_Multiply(a, b, m);
  matrix_result(result, m);
}

KV_BUILTIN(F_MatrixTransformVertex) {
  float m[16];
  read_matrix(argc, argv, 0, m, "Illegal argument type, expecting matrix", "Illegal matrix");
  const float in[4] = {F(1), F(2), F(3), argc > 4 ? F(4) : 1.0f};
  double out[4];
  for (int col = 0; col < 4; ++col) {
    out[col] = in[0] * m[col] + in[1] * m[4 + col] + in[2] * m[8 + col] + in[3] * m[12 + col];
  }
  gfx_fn::RealArray(result, out, argc > 4 ? 4 : 3);
}

KV_BUILTIN(F_MatrixStackPush) {
  *result = RV_Undefined();
  if (g_stack.depth >= kMatrixStackPushes) KVError("matrix_stack_push() - stack is full");
  const float* top = g_stack.entries[g_stack.depth];
  float* next = g_stack.entries[g_stack.depth + 1];
  if (argc == 0) {
    std::memcpy(next, top, sizeof(float) * 16);
  } else {
    float m[16];
    read_matrix(argc, argv, 0, m, "matrix_stack_push() - argument must be matrix", "matrix_stack_push() - matrix not valid");
    Matrix_Multiply(m, top, next);
  }
  ++g_stack.depth;
}

KV_BUILTIN(F_MatrixStackPop) {
  *result = RV_Undefined();
  if (--g_stack.depth < 0) {
    g_stack.depth = 0;
    Matrix_Identity(g_stack.entries[0]);
  }
}

KV_BUILTIN(F_MatrixStackSet) {
  read_matrix(argc, argv, 0, g_stack.entries[g_stack.depth], "matrix_stack_set() - expects matrix",
              "matrix_stack_set() - Illegal matrix");
  *result = RV_Undefined();
}

KV_BUILTIN(F_MatrixStackClear) {
  g_stack.depth = 0;
  Matrix_Identity(g_stack.entries[0]);
  *result = RV_Undefined();
}

KV_BUILTIN(F_MatrixStackTop) { matrix_result(result, g_stack.entries[g_stack.depth]); }
KV_BUILTIN(F_MatrixStackIsEmpty) { gfx_fn::Bool(result, g_stack.depth == 0); }

// ---- Lights -------------------------------------------------------------------------------------

KV_BUILTIN(F_LightDefineAmbient) {
  Light_DefineAmbient(ArgColour(argc, argv, 0) | 0xFF000000u);
  *result = RV_Undefined();
}

KV_BUILTIN(F_LightDefineDirection) {
  Light_DefineDirection(ArgInt(argc, argv, 0), F(1), F(2), F(3), ArgColour(argc, argv, 4) | 0xFF000000u);
  *result = RV_Undefined();
}

KV_BUILTIN(F_LightDefinePoint) {
  Light_DefinePoint(ArgInt(argc, argv, 0), F(1), F(2), F(3), F(4), ArgColour(argc, argv, 5) | 0xFF000000u);
  *result = RV_Undefined();
}

KV_BUILTIN(F_LightEnable) {
  Light_Enable(ArgInt(argc, argv, 0), ArgBool(argc, argv, 1));
  *result = RV_Undefined();
}

KV_BUILTIN(F_SetLighting) {
  RenderState_Set(kRSLighting, ArgBool(argc, argv, 0) ? 1 : 0);
  *result = RV_Undefined();
}

KV_BUILTIN(F_LightGetAmbient) { Real(result, Light_Ambient() & 0xFFFFFFu); }

// [enabled, type, x, y, z, range, colour]; undefined for an index outside 0..7.
KV_BUILTIN(F_LightGet) {
  LightSlot l;
  if (!Light_Get(ArgInt(argc, argv, 0), &l)) {
    *result = RV_Undefined();
    return;
  }
  const double values[7] = {l.enabled ? 1.0 : 0.0, static_cast<double>(l.type), l.x, l.y, l.z, l.range,
                            static_cast<double>(l.colour & 0xFFFFFFu)};
  gfx_fn::RealArray(result, values, 7);
}

KV_BUILTIN(F_GetLighting) { Real(result, RenderState_Get(kRSLighting)); }

#undef F
#undef KV_BUILTIN

const BuiltinRow kMatrixRows[] = {
    {"matrix_get", F_MatrixGet, 1},
    {"matrix_set", F_MatrixSet, 2},
    {"matrix_build_identity", F_MatrixBuildIdentity, 0},
    {"matrix_build", F_MatrixBuild, 9},
    {"matrix_build_lookat", F_MatrixBuildLookat, 9},
    {"matrix_build_projection_ortho", F_MatrixBuildOrtho, 4},
    {"matrix_build_projection_perspective", F_MatrixBuildPerspective, 4},
    {"matrix_build_projection_perspective_fov", F_MatrixBuildPerspectiveFov, 4},
    {"matrix_multiply", F_MatrixMultiply, 2},
    {"matrix_transform_vertex", F_MatrixTransformVertex, -1},
    {"matrix_stack_push", F_MatrixStackPush, -1},
    {"matrix_stack_pop", F_MatrixStackPop, 0},
    {"matrix_stack_set", F_MatrixStackSet, 1},
    {"matrix_stack_clear", F_MatrixStackClear, 0},
    {"matrix_stack_top", F_MatrixStackTop, 0},
    {"matrix_stack_is_empty", F_MatrixStackIsEmpty, 0},
};

const BuiltinRow kLightRows[] = {
    {"draw_light_define_ambient", F_LightDefineAmbient, 1},
    {"draw_light_define_direction", F_LightDefineDirection, 5},
    {"draw_light_define_point", F_LightDefinePoint, 6},
    {"draw_light_enable", F_LightEnable, 2},
    {"draw_set_lighting", F_SetLighting, 1},
    {"draw_light_get_ambient", F_LightGetAmbient, 0},
    {"draw_light_get", F_LightGet, 1},
    {"draw_get_lighting", F_GetLighting, 0},
};

}  // namespace

void Matrix_RegisterBuiltins() { Graphics_AddRows(kMatrixRows, static_cast<int>(std::size(kMatrixRows))); }
void Light_RegisterBuiltins() { Graphics_AddRows(kLightRows, static_cast<int>(std::size(kLightRows))); }

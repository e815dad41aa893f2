// Builtins of cameras: argument counts and reading here, the logic in camera.cpp. A wrong count
// raises "<name>() - wrong number of arguments"; an unknown camera does nothing and a getter gives -1.
#include <cstring>
#include <iterator>

#include "core/error.h"
#include "core/function_table.h"
#include "graphics/camera.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"

namespace {

using gfx_fn::Real;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

bool count_is(int argc, int want) {
  if (argc == want) return true;
  KVError("%s() - wrong number of arguments", Function_CurrentName());
  return false;
}

// The camera of argument 0 after the count check; null for none.
Camera* camera_arg(int argc, RValue* argv, int want) {
  if (!count_is(argc, want)) return nullptr;
  return Camera_Get(KVGetInt32(argv, 0));
}

KV_BUILTIN(F_CameraCreate) {
  Real(result, -1);
  if (argc != 0) {
    KVError("camera_create() - doesn't take any arguments");
    return;
  }
  Real(result, Camera_Create()->id);
}

KV_BUILTIN(F_CameraCreateView) {
  Real(result, -1);
  if (argc < 4) {
    KVError("camera_create_view() - must have at least 4 arguments");
    return;
  }
  Camera* camera = Camera_Create();
  camera->viewX = KVGetFloat(argv, 0);
  camera->viewY = KVGetFloat(argv, 1);
  camera->viewW = KVGetFloat(argv, 2);
  camera->viewH = KVGetFloat(argv, 3);
  camera->angle = argc > 4 ? KVGetFloat(argv, 4) : 0.0f;
  camera->target = argc > 5 ? KVGetInt32(argv, 5) : -1;
  camera->speedX = argc > 6 ? KVGetFloat(argv, 6) : -1.0f;
  camera->speedY = argc > 7 ? KVGetFloat(argv, 7) : -1.0f;
  camera->borderX = argc > 8 ? KVGetFloat(argv, 8) : 0.0f;
  camera->borderY = argc > 9 ? KVGetFloat(argv, 9) : 0.0f;
  camera->Rebuild();
  Real(result, camera->id);
}

KV_BUILTIN(F_CameraDestroy) {
  *result = RV_Undefined();
  if (count_is(argc, 1)) Camera_Destroy(KVGetInt32(argv, 0));
}

KV_BUILTIN(F_CameraApply) {
  *result = RV_Undefined();
  if (Camera* camera = camera_arg(argc, argv, 1)) Camera_Apply(camera);
}

KV_BUILTIN(F_CameraGetActive) {
  Real(result, -1);
  if (!count_is(argc, 0)) return;
  const Camera* camera = Camera_Active();
  Real(result, camera != nullptr ? camera->id : -1);
}

KV_BUILTIN(F_CameraGetDefault) {
  Real(result, -1);
  if (!count_is(argc, 0)) return;
  Real(result, Camera_Get(DefaultCamera) != nullptr ? DefaultCamera : -1);
}

KV_BUILTIN(F_CameraSetDefault) {
  *result = RV_Undefined();
  if (Camera* camera = camera_arg(argc, argv, 1)) DefaultCamera = camera->id;
}

// A 16-entry matrix argument; raises the two messages of the setters.
bool matrix_arg(RValue* argv, float out[16]) {
  const char* name = Function_CurrentName();
  if (RV_Kind(argv[1]) != kRVArray || argv[1].pArray == nullptr) {
    KVError("%s() - array invalid (has it been created properly?)", name);
    return false;
  }
  const RefDynamicArrayOfRValue* array = argv[1].pArray;
  if (array->length != 16) {
    KVError("%s() - must be 16 entries in array", name);
    return false;
  }
  for (int i = 0; i < 16; ++i) out[i] = static_cast<float>(RV_ToDouble(array->pArray[i]));
  return true;
}

template <bool View>
KV_BUILTIN(F_CameraSetMat) {
  *result = RV_Undefined();
  Camera* camera = camera_arg(argc, argv, 2);
  float m[16];
  if (camera == nullptr || !matrix_arg(argv, m)) return;
  if (camera->dirty) camera->Rebuild();
  if (View) {
    camera->SetViewMat(m);
  } else {
    camera->SetProjMat(m);
  }
}

template <bool View>
KV_BUILTIN(F_CameraGetMat) {
  Real(result, -1);
  Camera* camera = camera_arg(argc, argv, 1);
  if (camera == nullptr) return;
  if (camera->dirty) camera->Rebuild();
  double values[16];
  const float* m = View ? camera->viewMat : camera->projMat;
  for (int i = 0; i < 16; ++i) values[i] = m[i];
  gfx_fn::RealArray(result, values, 16);
}

RValue Camera::*const kScriptFields[] = {&Camera::updateScript, &Camera::beginScript, &Camera::endScript};

template <int Field>
KV_BUILTIN(F_CameraSetScript) {
  *result = RV_Undefined();
  Camera* camera = camera_arg(argc, argv, 2);
  if (camera == nullptr) return;
  const RValue& value = argv[1];
  const uint32_t kind = RV_Kind(value);
  const bool number = kind == kRVReal || kind == kRVInt32 || kind == kRVInt64 || kind == kRVBool;
  if (!number && RV_ScriptRefOf(value) == nullptr) {
    KVError("%s :: invalid script reference", Function_CurrentName());
    return;
  }
  camera->SetScript(&(camera->*kScriptFields[Field]), value);
}

template <int Field>
KV_BUILTIN(F_CameraGetScript) {
  Real(result, -1);
  Camera* camera = camera_arg(argc, argv, 1);
  if (camera != nullptr) RV_CopyRef(result, &(camera->*kScriptFields[Field]));
}

template <float Camera::*A, float Camera::*B, bool Dirty>
KV_BUILTIN(F_CameraSetPair) {
  *result = RV_Undefined();
  Camera* camera = camera_arg(argc, argv, 3);
  if (camera == nullptr) return;
  camera->*A = KVGetFloat(argv, 1);
  camera->*B = KVGetFloat(argv, 2);
  if (Dirty) camera->dirty = true;
}

KV_BUILTIN(F_CameraSetViewAngle) {
  *result = RV_Undefined();
  Camera* camera = camera_arg(argc, argv, 2);
  if (camera == nullptr) return;
  camera->angle = KVGetFloat(argv, 1);
  camera->dirty = true;
}

KV_BUILTIN(F_CameraSetViewTarget) {
  *result = RV_Undefined();
  Camera* camera = camera_arg(argc, argv, 2);
  if (camera != nullptr) camera->target = KVGetInt32(argv, 1);
}

template <float Camera::*Field>
KV_BUILTIN(F_CameraGetFloat) {
  Real(result, -1);
  const Camera* camera = camera_arg(argc, argv, 1);
  if (camera != nullptr) Real(result, camera->*Field);
}

KV_BUILTIN(F_CameraGetViewTarget) {
  Real(result, -1);
  const Camera* camera = camera_arg(argc, argv, 1);
  if (camera != nullptr) Real(result, camera->target);
}

#undef KV_BUILTIN

const BuiltinRow kCameraRows[] = {
    {"camera_create", F_CameraCreate, -1},
    {"camera_create_view", F_CameraCreateView, -1},
    {"camera_destroy", F_CameraDestroy, 1},
    {"camera_apply", F_CameraApply, 1},
    {"camera_get_active", F_CameraGetActive, 0},
    {"camera_get_default", F_CameraGetDefault, 0},
    {"camera_set_default", F_CameraSetDefault, 1},
    {"camera_set_view_mat", F_CameraSetMat<true>, 2},
    {"camera_set_proj_mat", F_CameraSetMat<false>, 2},
    {"camera_set_update_script", F_CameraSetScript<0>, 2},
    {"camera_set_begin_script", F_CameraSetScript<1>, 2},
    {"camera_set_end_script", F_CameraSetScript<2>, 2},
    {"camera_set_view_pos", F_CameraSetPair<&Camera::viewX, &Camera::viewY, true>, 3},
    {"camera_set_view_size", F_CameraSetPair<&Camera::viewW, &Camera::viewH, true>, 3},
    {"camera_set_view_speed", F_CameraSetPair<&Camera::speedX, &Camera::speedY, false>, 3},
    {"camera_set_view_border", F_CameraSetPair<&Camera::borderX, &Camera::borderY, false>, 3},
    {"camera_set_view_angle", F_CameraSetViewAngle, 2},
    {"camera_set_view_target", F_CameraSetViewTarget, 2},
    {"camera_get_view_mat", F_CameraGetMat<true>, 1},
    {"camera_get_proj_mat", F_CameraGetMat<false>, 1},
    {"camera_get_update_script", F_CameraGetScript<0>, 1},
    {"camera_get_begin_script", F_CameraGetScript<1>, 1},
    {"camera_get_end_script", F_CameraGetScript<2>, 1},
    {"camera_get_view_x", F_CameraGetFloat<&Camera::viewX>, 1},
    {"camera_get_view_width", F_CameraGetFloat<&Camera::viewW>, 1},
    {"camera_get_view_height", F_CameraGetFloat<&Camera::viewH>, 1},
    // The names the table holds after the list above.
    {"camera_get_view_y", F_CameraGetFloat<&Camera::viewY>, 1},
    {"camera_get_view_speed_x", F_CameraGetFloat<&Camera::speedX>, 1},
    {"camera_get_view_speed_y", F_CameraGetFloat<&Camera::speedY>, 1},
    {"camera_get_view_border_x", F_CameraGetFloat<&Camera::borderX>, 1},
    {"camera_get_view_border_y", F_CameraGetFloat<&Camera::borderY>, 1},
    {"camera_get_view_angle", F_CameraGetFloat<&Camera::angle>, 1},
    {"camera_get_view_target", F_CameraGetViewTarget, 1},
};

}  // namespace

void Camera_RegisterBuiltins() { Graphics_AddRows(kCameraRows, static_cast<int>(std::size(kCameraRows))); }

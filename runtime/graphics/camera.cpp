// The camera manager: cameras by id, the room cameras, following, apply and the temporary cameras.
#include "graphics/camera.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "core/call.h"
#include "core/event_context.h"
#include "core/gc.h"
#include "core/object.h"
#include "graphics/cull.h"
#include "graphics/device_state.h"
#include "graphics/window.h"

CameraWorldHooks g_CameraWorldHooks;
int32_t DefaultCamera = -1;

namespace {

constexpr float kDegToRad = 0.017453292f;
constexpr int kTempCameraCount = 16;
constexpr int kRoomCameraCount = 9;

// The collector's view of a camera's script values.
class Camera_GCProxy final : public KVObjectBase {
 public:
  explicit Camera_GCProxy(Camera* camera) : KVObjectBase(kObjContainer), camera_(camera) {}
  bool Mark(uint32_t* bitmap, int32_t bits) override {
    if (!KVObjectBase::Mark(bitmap, bits)) return false;
    if (camera_ != nullptr) {
      GCMarkValue(camera_->updateScript);
      GCMarkValue(camera_->beginScript);
      GCMarkValue(camera_->endScript);
    }
    return true;
  }
  void Detach() { camera_ = nullptr; }

 private:
  Camera* camera_;
};

struct TempCamera {
  float x = 0, y = 0, w = 0, h = 0, angle = 0;
  float viewMat[16], projMat[16], viewProjMat[16], invProjMat[16], invViewMat[16], invViewProjMat[16];
  int64_t frame = -1;  // the frame of its last use; -1 empty
};

struct CameraManager {
  Camera* active = nullptr;
  std::vector<Camera*> cameras = std::vector<Camera*>(1, nullptr);
  int32_t lastFound = -1;
  Camera* roomCameras[kRoomCameraCount] = {};
  TempCamera temps[kTempCameraCount];
};

CameraManager g_manager;

void identity(float m[16]) { Matrix_Identity(m); }

void transform_point(const float m[16], float x, float y, float z, float out[3]) {
  float r[4];
  for (int c = 0; c < 4; ++c) r[c] = x * m[c] + y * m[4 + c] + z * m[8 + c] + m[12 + c];
  const float w = r[3] != 0.0f ? r[3] : 1.0f;
  out[0] = r[0] / w;
  out[1] = r[1] / w;
  out[2] = r[2] / w;
}

void recompute(Camera* c) {
  Matrix_Multiply(c->viewMat, c->projMat, c->viewProjMat);
  if (!Matrix_Inverse(c->projMat, c->invProjMat)) identity(c->invProjMat);
  if (!Matrix_Inverse(c->viewMat, c->invViewMat)) identity(c->invViewMat);
  if (!Matrix_Inverse(c->viewProjMat, c->invViewProjMat)) identity(c->invViewProjMat);
  const float* p = c->projMat;
  const float* v = c->viewMat;
  c->is2D = p[11] == 0 && p[4] == 0 && p[8] == 0 && p[1] == 0 && p[9] == 0 && p[2] == 0 && p[6] == 0 && v[2] == 0 &&
            v[6] == 0;
  c->dirty = false;
}

void rebuild_room_cameras(const int32_t view_cameras[8]) {
  g_manager.roomCameras[0] = Camera_Get(DefaultCamera);
  for (int i = 0; i < 8; ++i) g_manager.roomCameras[i + 1] = view_cameras != nullptr ? Camera_Get(view_cameras[i]) : nullptr;
}

void forget_room_camera(const Camera* camera) {
  for (Camera*& c : g_manager.roomCameras) {
    if (c == camera) c = nullptr;
  }
}

bool room_size(float* w, float* h) {
  return g_CameraWorldHooks.roomSize != nullptr && g_CameraWorldHooks.roomSize(w, h);
}

void copy_matrices_to(TempCamera* t, const Camera& c) {
  std::memcpy(t->viewMat, c.viewMat, sizeof t->viewMat);
  std::memcpy(t->projMat, c.projMat, sizeof t->projMat);
  std::memcpy(t->viewProjMat, c.viewProjMat, sizeof t->viewProjMat);
  std::memcpy(t->invProjMat, c.invProjMat, sizeof t->invProjMat);
  std::memcpy(t->invViewMat, c.invViewMat, sizeof t->invViewMat);
  std::memcpy(t->invViewProjMat, c.invViewProjMat, sizeof t->invViewProjMat);
}

void copy_matrices_from(Camera* c, const TempCamera& t) {
  std::memcpy(c->viewMat, t.viewMat, sizeof t.viewMat);
  std::memcpy(c->projMat, t.projMat, sizeof t.projMat);
  std::memcpy(c->viewProjMat, t.viewProjMat, sizeof t.viewProjMat);
  std::memcpy(c->invProjMat, t.invProjMat, sizeof t.invProjMat);
  std::memcpy(c->invViewMat, t.invViewMat, sizeof t.invViewMat);
  std::memcpy(c->invViewProjMat, t.invViewProjMat, sizeof t.invViewProjMat);
  const float* p = c->projMat;
  const float* v = c->viewMat;
  c->is2D = p[11] == 0 && p[4] == 0 && p[8] == 0 && p[1] == 0 && p[9] == 0 && p[2] == 0 && p[6] == 0 && v[2] == 0 &&
            v[6] == 0;
  c->dirty = false;
}

bool near(float a, float b, double epsilon) { return std::fabs(static_cast<double>(a) - b) <= epsilon; }

}  // namespace

// ---- Camera --------------------------------------------------------------------------------------

Camera::Camera() : updateScript(RV_Real(-1.0)), beginScript(RV_Real(-1.0)), endScript(RV_Real(-1.0)) {
  identity(projMat);
  identity(viewMat);
  identity(viewProjMat);
  identity(invProjMat);
  identity(invViewMat);
  identity(invViewProjMat);
}

Camera::~Camera() {
  if (gcProxy != nullptr) {
    static_cast<Camera_GCProxy*>(gcProxy)->Detach();
    GCRemoveRoot(gcProxy);
    gcProxy = nullptr;
  }
  RV_FreeToUndefined(&updateScript);
  RV_FreeToUndefined(&beginScript);
  RV_FreeToUndefined(&endScript);
}

void Camera::SetViewMat(const float m[16]) {
  std::memcpy(viewMat, m, sizeof viewMat);
  recompute(this);
}

void Camera::SetProjMat(const float m[16]) {
  std::memcpy(projMat, m, sizeof projMat);
  recompute(this);
}

void Camera::RebuildAround(float cx, float cy) {
  const float radians = -angle * kDegToRad;
  const float ux = std::sin(radians), uy = std::cos(radians);
  if (projMat[11] == 0.0f) {
    Matrix_LookAt(cx, cy, -16000.0f, cx, cy, 0.0f, ux, uy, 0.0f, viewMat);
    Matrix_Ortho(viewW, viewH, 0.0f, 32000.0f, projMat);
  } else {
    Matrix_LookAt(cx, cy, -viewW, cx, cy, 0.0f, ux, uy, 0.0f, viewMat);
    Matrix_Perspective(1.0f, viewW != 0.0f ? -viewH / viewW : 1.0f, 1.0f, 32000.0f, projMat);
  }
  recompute(this);
}

void Camera::Rebuild() { RebuildAround(viewX + viewW * 0.5f, viewY + viewH * 0.5f); }

void Camera::SetScript(RValue* field, const RValue& value) {
  RV_Assign(field, &value);
  if (gcProxy == nullptr && RV_Kind(value) == kRVObject) {
    auto* proxy = new Camera_GCProxy(this);
    GC_AddObject(proxy);
    GCAddRoot(proxy);
    gcProxy = proxy;
  }
}

void Camera::CopyFrom(const Camera& s) {
  viewX = s.viewX, viewY = s.viewY, viewW = s.viewW, viewH = s.viewH;
  speedX = s.speedX, speedY = s.speedY;
  borderX = s.borderX, borderY = s.borderY;
  angle = s.angle;
  target = s.target;
  SetScript(&updateScript, s.updateScript);
  SetScript(&beginScript, s.beginScript);
  SetScript(&endScript, s.endScript);
  std::memcpy(projMat, s.projMat, sizeof projMat);
  std::memcpy(viewMat, s.viewMat, sizeof viewMat);
  recompute(this);
  dirty = s.dirty;
}

// ---- The manager ---------------------------------------------------------------------------------

Camera* Camera_Create() {
  std::vector<Camera*>& cameras = g_manager.cameras;
  size_t index = 0;
  while (index < cameras.size() && cameras[index] != nullptr) ++index;
  if (index == cameras.size()) cameras.resize(cameras.size() * 2, nullptr);
  auto* camera = new Camera();
  camera->id = static_cast<int32_t>(index);
  cameras[index] = camera;
  return camera;
}

Camera* Camera_Get(int32_t id) {
  if (id < 0) return nullptr;
  std::vector<Camera*>& cameras = g_manager.cameras;
  const int32_t last = g_manager.lastFound;
  if (last >= 0 && static_cast<size_t>(last) < cameras.size() && cameras[static_cast<size_t>(last)] != nullptr &&
      cameras[static_cast<size_t>(last)]->id == id) {
    return cameras[static_cast<size_t>(last)];
  }
  for (Camera* c : g_manager.roomCameras) {
    if (c != nullptr && c->id == id) {
      g_manager.lastFound = id;
      return c;
    }
  }
  if (static_cast<size_t>(id) >= cameras.size() || cameras[static_cast<size_t>(id)] == nullptr) return nullptr;
  g_manager.lastFound = id;
  return cameras[static_cast<size_t>(id)];
}

void Camera_Destroy(int32_t id) {
  Camera* camera = Camera_Get(id);
  if (camera == nullptr) return;
  if (g_manager.active == camera) g_manager.active = nullptr;
  forget_room_camera(camera);
  g_manager.cameras[static_cast<size_t>(id)] = nullptr;
  if (g_manager.lastFound == id) g_manager.lastFound = -1;
  delete camera;
  g_manager.roomCameras[0] = Camera_Get(DefaultCamera);
}

int32_t Camera_Create_From_View(float x, float y, float w, float h, float speedX, float speedY, float borderX,
                                float borderY, int32_t target) {
  Camera* camera = Camera_Create();
  camera->viewX = x, camera->viewY = y, camera->viewW = w, camera->viewH = h;
  camera->speedX = speedX, camera->speedY = speedY;
  camera->borderX = borderX, camera->borderY = borderY;
  camera->target = target;
  camera->angle = 0.0f;
  camera->Rebuild();
  return camera->id;
}

int32_t Camera_Clone(int32_t id) {
  const Camera* source = Camera_Get(id);
  if (source == nullptr) return -1;
  Camera* copy = Camera_Create();
  copy->CopyFrom(*source);
  copy->cloned = true;
  copy->roomPersists = source->roomPersists;
  return copy->id;
}

Camera* Camera_Active() { return g_manager.active; }
void Camera_Set_Active(Camera* camera) { g_manager.active = camera; }

void Camera_Set_Room_Cameras(const int32_t viewCameras[8]) { rebuild_room_cameras(viewCameras); }

void Camera_Room_Start(const int32_t viewCameras[8]) {
  if (g_CameraWorldHooks.dummyInstance != nullptr) g_CameraWorldHooks.dummyInstance();
  rebuild_room_cameras(viewCameras);
}

void Camera_Room_End() {
  if (g_CameraWorldHooks.freeDummyInstance != nullptr) g_CameraWorldHooks.freeDummyInstance();
  for (size_t i = 0; i < g_manager.cameras.size(); ++i) {
    const Camera* camera = g_manager.cameras[i];
    if (camera != nullptr && camera->cloned && !camera->roomPersists) Camera_Destroy(static_cast<int32_t>(i));
  }
  for (Camera*& c : g_manager.roomCameras) c = nullptr;
  g_manager.active = nullptr;
}

void Camera_FreeAll() {
  if (g_CameraWorldHooks.freeDummyInstance != nullptr) g_CameraWorldHooks.freeDummyInstance();
  for (Camera* camera : g_manager.cameras) delete camera;
  g_manager = CameraManager{};
  DefaultCamera = -1;
}

int32_t Camera_Count() { return static_cast<int32_t>(g_manager.cameras.size()); }

// ---- Using cameras --------------------------------------------------------------------------------

void Camera_Apply(Camera* camera) {
  if (camera == nullptr) return;
  if (camera->dirty) camera->Rebuild();
  if (camera->projMat[11] != 0.0f) {
    float w = 1.0f, h = 1.0f;
    if (!room_size(&w, &h)) w = h = 1.0f;
    Cull_SetView(0.0f, 0.0f, w, h, 0.0f);
    Cull_SetPerspective(true);
  } else {
    const float cx = camera->invViewMat[12], cy = camera->invViewMat[13];
    float p[4][3];
    transform_point(camera->invViewProjMat, -1.0f, 0.0f, 0.0f, p[0]);
    transform_point(camera->invViewProjMat, 1.0f, 0.0f, 0.0f, p[1]);
    transform_point(camera->invViewProjMat, 0.0f, -1.0f, 0.0f, p[2]);
    transform_point(camera->invViewProjMat, 0.0f, 1.0f, 0.0f, p[3]);
    const auto distance = [](const float* a, const float* b) {
      return std::sqrt((b[0] - a[0]) * (b[0] - a[0]) + (b[1] - a[1]) * (b[1] - a[1]) + (b[2] - a[2]) * (b[2] - a[2]));
    };
    const float w = distance(p[0], p[1]), h = distance(p[2], p[3]);
    float degrees = 0.0f;
    if (h > 0.0f) {
      const float dx = p[3][0] - p[2][0], dy = p[3][1] - p[2][1];
      float a = std::acos(std::clamp(dy / h, -1.0f, 1.0f));
      if (dx / h < 0.0f) a = 6.2831855f - a;
      degrees = a / 6.2831855f * 360.0f;
    }
    Cull_SetView(cx - w * 0.5f, cy - h * 0.5f, w, h, degrees);
    Cull_SetPerspective(false);
  }
  float projection[16];
  std::memcpy(projection, camera->projMat, sizeof projection);
  // Render targets run y down: the projection is multiplied by diag(1, -1, 1, 1).
  for (int r = 0; r < 4; ++r) projection[r * 4 + 1] = -projection[r * 4 + 1];
  GR_Set_Matrices(nullptr, camera->viewMat, projection);
}

void Camera_RunScript(Camera* camera, const RValue& script) {
  if (camera == nullptr || !Call_IsCallable(script)) return;
  if (RV_Kind(script) != kRVObject && RV_ToDouble(script) == -1.0) return;
  CInstance* dummy = g_CameraWorldHooks.dummyInstance != nullptr ? g_CameraWorldHooks.dummyInstance() : nullptr;
  const int32_t saved = g_EventContext.objectIndex;
  struct Restore {
    int32_t saved;
    ~Restore() { g_EventContext.objectIndex = saved; }
  } restore{saved};
  g_EventContext.objectIndex = camera->id;
  RValue method = script;
  RValue result = RV_Undefined();
  CallMethod(dummy, dummy, &result, 0, &method, nullptr);
  RV_FreeToUndefined(&result);
}

void View_Follow(float* x_io, float* y_io, float w, float h, float tx, float ty, float borderX, float borderY,
                 float speedX, float speedY, bool clamp, float roomWidth, float roomHeight) {
  const float view_x = *x_io, view_y = *y_io;
  float x = view_x, y = view_y;
  if (2.0f * borderX >= w) {
    x = tx - w / 2.0f;
  } else if (view_x > tx - borderX) {
    x = tx - borderX;
  } else if (tx + borderX > view_x + w) {
    x = tx + borderX - w;
  }
  if (2.0f * borderY >= h) {
    y = ty - h / 2.0f;
  } else if (view_y > ty - borderY) {
    y = ty - borderY;
  } else if (ty + borderY > view_y + h) {
    y = ty + borderY - h;
  }
  if (clamp) {
    // The right clamp comes after the left one: a view wider than the room goes negative.
    x = std::max(x, 0.0f);
    if (x + w > roomWidth) x = roomWidth - w;
    y = std::max(y, 0.0f);
    if (y + h > roomHeight) y = roomHeight - h;
  }
  if (speedX >= 0.0f) {
    if (view_x > x && view_x - x > speedX) x = view_x - speedX;
    if (x > view_x && x - view_x > speedX) x = view_x + speedX;
  }
  if (speedY >= 0.0f) {
    if (view_y > y && view_y - y > speedY) y = view_y - speedY;
    if (y > view_y && y - view_y > speedY) y = view_y + speedY;
  }
  *x_io = x;
  *y_io = y;
}

void Camera_Update(Camera* camera) {
  if (camera == nullptr) return;
  const bool scripted = RV_Kind(camera->updateScript) == kRVObject || RV_ToDouble(camera->updateScript) != -1.0;
  float tx = 0.0f, ty = 0.0f;
  if (scripted && Call_IsCallable(camera->updateScript)) {
    Camera_RunScript(camera, camera->updateScript);
  } else if (camera->target >= 0 && g_CameraWorldHooks.targetPosition != nullptr &&
             g_CameraWorldHooks.targetPosition(camera->target, &tx, &ty)) {
    float x = camera->viewX, y = camera->viewY;
    float room_w = 0.0f, room_h = 0.0f;
    const bool room = room_size(&room_w, &room_h);
    View_Follow(&x, &y, camera->viewW, camera->viewH, tx, ty, camera->borderX, camera->borderY, camera->speedX,
                camera->speedY, room, room_w, room_h);
    camera->viewX = x;
    camera->viewY = y;
    camera->RebuildAround(x + camera->viewW / 2.0f, y + camera->viewH / 2.0f);
  }
  if (camera->dirty) camera->Rebuild();
}

void Camera_Set_View_Temp(float x, float y, float w, float h, float angle, Camera* camera) {
  if (camera == nullptr) {
    camera = Camera_Get(DefaultCamera);
    if (camera == nullptr) return;
    g_manager.active = camera;
  }
  if (!camera->is2D) {
    const float radians = -angle * kDegToRad;
    float view[16], projection[16];
    Matrix_LookAt(x + w * 0.5f, y + h * 0.5f, -w, x + w * 0.5f, y + h * 0.5f, 0.0f, std::sin(radians),
                  std::cos(radians), 0.0f, view);
    Matrix_Perspective(1.0f, w != 0.0f ? -(h / w) : 1.0f, 1.0f, 32000.0f, projection);
    std::memcpy(camera->viewMat, view, sizeof view);
    camera->SetProjMat(projection);
    Camera_Apply(camera);
    Cull_SetView(x, y, w, h, angle);
    return;
  }
  const int64_t frame = Window_State().frame_number;
  const double epsilon = Math_GetEpsilon();
  for (TempCamera& t : g_manager.temps) {
    if (t.frame < 0 || !near(t.x, x, epsilon) || !near(t.y, y, epsilon) || !near(t.w, w, epsilon) ||
        !near(t.h, h, epsilon) || !near(t.angle, angle, epsilon)) {
      continue;
    }
    t.frame = frame;
    copy_matrices_from(camera, t);
    camera->viewX = x, camera->viewY = y, camera->viewW = w, camera->viewH = h, camera->angle = angle;
    Camera_Apply(camera);
    return;
  }
  camera->viewX = x, camera->viewY = y, camera->viewW = w, camera->viewH = h, camera->angle = angle;
  camera->Rebuild();
  Camera_Apply(camera);
  TempCamera* slot = nullptr;
  for (TempCamera& t : g_manager.temps) {
    if (t.frame < 0) {
      slot = &t;
      break;
    }
    if (slot == nullptr || t.frame < slot->frame) slot = &t;
  }
  slot->x = x, slot->y = y, slot->w = w, slot->h = h, slot->angle = angle;
  slot->frame = frame;
  copy_matrices_to(slot, *camera);
}

#pragma once
// Cameras: a view rectangle with a view and a projection matrix (row-major, row vectors), their
// product and the three inverses kept current, and the following of a target. One process-wide
// CameraManager holds them by id (a new camera takes the lowest free index); lookups try the last
// one found, then the nine room cameras (the default camera, then the cameras of views 0 to 7),
// then scan. Camera_Apply makes a camera the source of the device's view and projection and of the
// culling view; TempCameras cache the matrices of recent plain 2D rectangles, so a surface target
// set every frame with the same rectangle costs a copy instead of a rebuild.
//
// What cameras need of the world (the position of a target, the room's size, the instance that
// camera scripts run on) comes through CameraWorldHooks; without them a target is never found and
// the room is 1 x 1. Main thread only.
#include <cstdint>

#include "core/rvalue.h"

class CInstance;
class KVObjectBase;

struct Camera {
  KVObjectBase* gcProxy = nullptr;  // made when a script value is first stored
  float projMat[16];
  float viewMat[16];
  float viewProjMat[16];
  float invProjMat[16];
  float invViewMat[16];
  float invViewProjMat[16];
  float viewX = 0, viewY = 0, viewW = 0, viewH = 0;
  float speedX = 0, speedY = 0;
  float borderX = 0, borderY = 0;
  float angle = 0;
  int32_t target = -1;
  int32_t id = -1;
  RValue updateScript;
  RValue beginScript;
  RValue endScript;
  bool is2D = true;
  bool dirty = false;
  bool cloned = false;
  bool roomPersists = false;

  Camera();
  ~Camera();
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  // Setting a matrix recomputes the product, the inverses and is2D, and clears dirty.
  void SetViewMat(const float m[16]);
  void SetProjMat(const float m[16]);
  // The matrices from the rectangle: look-at around the centre with the angle as up, orthographic
  // (projection [11] is 0) or perspective.
  void Rebuild();
  void RebuildAround(float cx, float cy);
  // Stores a script value (number or method) in one of the three script fields.
  void SetScript(RValue* field, const RValue& value);
  // Copies rectangle, speeds, borders, target, angle, scripts and matrices.
  void CopyFrom(const Camera& source);
};

// ---- The manager ---------------------------------------------------------------------------------
Camera* Camera_Create();
Camera* Camera_Get(int32_t id);
// Removes the camera (active becomes null when it was active) and rebuilds the room cameras.
void Camera_Destroy(int32_t id);
// The rectangle, speeds, borders and target of a room view, angle 0; returns the id.
int32_t Camera_Create_From_View(float x, float y, float w, float h, float speedX, float speedY, float borderX,
                                float borderY, int32_t target);
// A copy for a room's working copy, marked cloned; -1 for an unknown id.
int32_t Camera_Clone(int32_t id);
Camera* Camera_Active();
void Camera_Set_Active(Camera* camera);
extern int32_t DefaultCamera;  // camera_set_default; -1 none
// The room's cameras for the lookups: the default camera, then those of views 0 to 7 (-1 none).
void Camera_Set_Room_Cameras(const int32_t viewCameras[8]);
// Room start: the dummy instance is made if needed and the room cameras rebuilt.
void Camera_Room_Start(const int32_t viewCameras[8]);
// Room end: the dummy instance goes, clones of rooms that don't persist are destroyed, the room
// cameras are cleared.
void Camera_Room_End();
// Every camera, the temporary cameras, the default and the dummy instance go (end of the game).
void Camera_FreeAll();
int32_t Camera_Count();  // the table's length, holes included

// ---- Using cameras --------------------------------------------------------------------------------
// Rebuilds a dirty camera, sets the culling view from the camera and hands the device its view and
// the y-flipped projection; the world matrix stays.
void Camera_Apply(Camera* camera);
// The following of one frame: the update script, or the target within the borders and speeds,
// clamped to the room; then a dirty camera is rebuilt.
void Camera_Update(Camera* camera);
// One step of following a target at (tx, ty), floored: the view (x, y, w, h) keeps the borders to
// it, is clamped to the room when clamp is set, and moves at most the speeds (negative: no limit).
void View_Follow(float* x, float* y, float w, float h, float tx, float ty, float borderX, float borderY,
                 float speedX, float speedY, bool clamp, float roomWidth, float roomHeight);
// Runs one of the camera's script fields (begin or end script) on the dummy instance.
void Camera_RunScript(Camera* camera, const RValue& script);
// The temporary camera path for a rectangle without a room view (surface targets, a room without
// views): the given camera, or the default camera, which then becomes active. Nothing without one.
void Camera_Set_View_Temp(float x, float y, float w, float h, float angle, Camera* camera = nullptr);

struct CameraWorldHooks {
  // The floored position of a target (an instance id from 100000, else the first live instance of
  // an object), its bounding box brought up to date; false when there is none.
  bool (*targetPosition)(int32_t target, float* x, float* y) = nullptr;
  // The current room's size; false without a room.
  bool (*roomSize)(float* width, float* height) = nullptr;
  // The instance camera scripts run on, made on first use; null when none can be made.
  CInstance* (*dummyInstance)() = nullptr;
  void (*freeDummyInstance)() = nullptr;
};
extern CameraWorldHooks g_CameraWorldHooks;

// camera_* builtins in their table order.
void Camera_RegisterBuiltins();

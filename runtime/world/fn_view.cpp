// The fields of the current room's views for the view_* variables and the view_get_* and
// view_set_* builtins.
#include <iterator>

#include "core/frame_state.h"
#include "core/function_table.h"
#include "data/game_data.h"
#include "graphics/camera.h"
#include "world/room.h"
#include "world/room_draw.h"

namespace {

CViewGM* view_of(int32_t index) {
  if (Run_Room == nullptr) return nullptr;
  if (index < 0 || index >= kRoomViewCount) index = 0;
  return Run_Room->views[index];
}

// The camera that holds a generation 2 view's rectangle, or null.
Camera* camera_of(const CViewGM* view) {
  return GameData_Header().generation >= 2 ? Camera_Get(view->cameraId) : nullptr;
}

bool held_by_camera(ViewField field) {
  return (field >= kViewXView && field <= kViewHView) || (field >= kViewAngle && field <= kViewObject);
}

double camera_field(const Camera& c, ViewField field) {
  switch (field) {
    case kViewXView: return c.viewX;
    case kViewYView: return c.viewY;
    case kViewWView: return c.viewW;
    case kViewHView: return c.viewH;
    case kViewAngle: return c.angle;
    case kViewHBorder: return c.borderX;
    case kViewVBorder: return c.borderY;
    case kViewHSpeed: return c.speedX;
    case kViewVSpeed: return c.speedY;
    case kViewObject: return c.target;
    default: return -1.0;
  }
}

void set_camera_field(Camera* c, ViewField field, double value) {
  const auto f = static_cast<float>(value);
  switch (field) {
    case kViewXView: c->viewX = f; break;
    case kViewYView: c->viewY = f; break;
    case kViewWView: c->viewW = f; break;
    case kViewHView: c->viewH = f; break;
    case kViewAngle: c->angle = f; break;
    case kViewHBorder: c->borderX = f; return;
    case kViewVBorder: c->borderY = f; return;
    case kViewHSpeed: c->speedX = f; return;
    case kViewVSpeed: c->speedY = f; return;
    case kViewObject: c->target = static_cast<int32_t>(value); return;
    default: return;
  }
  c->dirty = true;
}

template <ViewField F>
void F_ViewGet(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Real(View_GetField(F, argc > 0 ? KVGetInt32(argv, 0) : 0));
}

template <ViewField F>
void F_ViewSet(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc >= 2) View_SetField(F, KVGetInt32(argv, 0), KVGetReal(argv, 1));
  *result = RV_Undefined();
}

}  // namespace

double View_GetField(ViewField field, int32_t index) {
  if (Run_Room == nullptr) return field == kViewCamera ? 0.0 : -1.0;
  if (field == kViewEnabled) return Run_Room->enableViews ? 1.0 : 0.0;
  const CViewGM* view = view_of(index);
  if (view == nullptr) return field == kViewCamera ? 0.0 : -1.0;
  if (held_by_camera(field)) {
    if (const Camera* camera = camera_of(view)) return camera_field(*camera, field);
  }
  switch (field) {
    case kViewVisible: return view->visible ? 1.0 : 0.0;
    case kViewXView: return view->x;
    case kViewYView: return view->y;
    case kViewWView: return view->w;
    case kViewHView: return view->h;
    case kViewXPort: return view->portX;
    case kViewYPort: return view->portY;
    case kViewWPort: return view->portW;
    case kViewHPort: return view->portH;
    case kViewAngle: return view->angle;
    case kViewHBorder: return view->hborder;
    case kViewVBorder: return view->vborder;
    case kViewHSpeed: return view->hspeed;
    case kViewVSpeed: return view->vspeed;
    case kViewObject: return view->object;
    case kViewSurfaceId: return view->surfaceId;
    case kViewCamera: return view->cameraId;
    default: return -1.0;
  }
}

void View_SetField(ViewField field, int32_t index, double value) {
  if (Run_Room == nullptr) return;
  if (field == kViewEnabled) {
    Run_Room->enableViews = value >= 0.5;
    return;
  }
  CViewGM* view = view_of(index);
  if (view == nullptr) return;
  if (held_by_camera(field)) {
    if (Camera* camera = camera_of(view)) {
      set_camera_field(camera, field, value);
      return;
    }
  }
  const auto f = static_cast<float>(value);
  const auto i = static_cast<int32_t>(value);
  switch (field) {
    case kViewVisible: view->visible = value >= 0.5; break;
    case kViewXView: view->x = f; break;
    case kViewYView: view->y = f; break;
    case kViewWView: view->w = f; break;
    case kViewHView: view->h = f; break;
    case kViewXPort: view->portX = i; break;
    case kViewYPort: view->portY = i; break;
    case kViewWPort: view->portW = i; break;
    case kViewHPort: view->portH = i; break;
    case kViewAngle: view->angle = f; break;
    case kViewHBorder: view->hborder = i; break;
    case kViewVBorder: view->vborder = i; break;
    case kViewHSpeed: view->hspeed = i; break;
    case kViewVSpeed: view->vspeed = i; break;
    case kViewObject: view->object = i; break;
    case kViewSurfaceId: view->surfaceId = i; break;
    case kViewCamera: view->cameraId = i; break;
    default: break;
  }
}

void View_RegisterBuiltins() {
  struct Row {
    const char* name;
    TSL_Builtin handler;
    int argc;
  };
  static const Row kRows[] = {
      {"view_get_camera", F_ViewGet<kViewCamera>, 1},     {"view_get_visible", F_ViewGet<kViewVisible>, 1},
      {"view_get_xport", F_ViewGet<kViewXPort>, 1},       {"view_get_yport", F_ViewGet<kViewYPort>, 1},
      {"view_get_wport", F_ViewGet<kViewWPort>, 1},       {"view_get_hport", F_ViewGet<kViewHPort>, 1},
      {"view_get_surface_id", F_ViewGet<kViewSurfaceId>, 1},
      {"view_set_camera", F_ViewSet<kViewCamera>, 2},     {"view_set_visible", F_ViewSet<kViewVisible>, 2},
      {"view_set_xport", F_ViewSet<kViewXPort>, 2},       {"view_set_yport", F_ViewSet<kViewYPort>, 2},
      {"view_set_wport", F_ViewSet<kViewWPort>, 2},       {"view_set_hport", F_ViewSet<kViewHPort>, 2},
      {"view_set_surface_id", F_ViewSet<kViewSurfaceId>, 2},
  };
  for (const Row& row : kRows) Function_Add(row.name, row.handler, row.argc, 0);
}

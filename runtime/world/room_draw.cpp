// The room draw of one frame, the view following and ports, and what cameras and the sprite
// builtins read of the world.
#include "world/room_draw.h"

#include <algorithm>
#include <cmath>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "data/game_data.h"
#include "graphics/batcher.h"
#include "graphics/camera.h"
#include "graphics/cull.h"
#include "graphics/device_state.h"
#include "graphics/sprite_draw.h"
#include "graphics/surface.h"
#include "graphics/tile_draw.h"
#include "graphics/view.h"
#include "graphics/window.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/room.h"

int32_t ViewCurrent = 0;

namespace {

constexpr int32_t kDrawNormal = 0;
constexpr int32_t kDrawGui = 64;
constexpr int32_t kDrawBegin = 72;
constexpr int32_t kDrawEnd = 73;
constexpr int32_t kDrawGuiBegin = 74;
constexpr int32_t kDrawGuiEnd = 75;
constexpr int32_t kDrawPre = 76;
constexpr int32_t kDrawPost = 77;
constexpr uint32_t kClearAll = kClearColour | kClearDepth | kClearStencil;

CInstance* g_dummy = nullptr;
int32_t g_cursor_frame = 0;

bool generation2() { return GameData_Header().generation >= 2; }

void clear_to_window_colour() { Draw_Clear(Window_State().colour, 1.0f, 0, kClearAll); }

void view_setup(float x, float y, float w, float h, float angle) {
  if (generation2()) {
    Camera_Set_View_Temp(x, y, w, h, angle);
  } else {
    GR_Set_View(x, y, w, h, angle);
  }
}

void draw_backgrounds(const CRoom* room, bool foregrounds) {
  for (const CBackGM* b : room->backgrounds) {
    if (b == nullptr || !b->visible || b->foreground != foregrounds || !Sprite_Exists(b->index)) continue;
    BackgroundDraw draw;
    draw.sprite = b->index;
    draw.x = b->x;
    draw.y = b->y;
    draw.htiled = b->htiled;
    draw.vtiled = b->vtiled;
    draw.xscale = b->xscale;
    draw.yscale = b->yscale;
    draw.colour = b->blend & 0xFFFFFFu;
    draw.alpha = b->alpha;
    Background_DrawLayer(draw, static_cast<float>(room->width), static_cast<float>(room->height));
  }
}

// The drawing of one view (or of the room without views) into the current viewport and view.
void per_view_draw(const CRoom* room) {
  uint32_t flags = 0;
  uint32_t colour = 0;
  if (room->clearDisplayBuffer) flags |= kClearDepth;
  if (room->showColour) {
    flags |= kClearColour;
    colour = room->colour | 0xFF000000u;
  }
  if (flags != 0) Draw_Clear(colour, 1.0f, 0, flags | kClearDepth | kClearStencil);
  Step_DrawWalk(kDrawBegin);
  if (room->layersHead != nullptr) {
    Step_DrawWalk(kDrawNormal);
    Step_DrawWalk(kDrawEnd);
    return;
  }
  GR_Set_Depth(12000.0f);
  draw_backgrounds(room, false);
  Step_DrawWalk(kDrawNormal);
  GR_Set_Depth(-12000.0f);
  draw_backgrounds(room, true);
  GR_Set_Depth(-13000.0f);
  Step_DrawWalk(kDrawEnd);
}

// Creates, re-creates or resizes the application surface as its settings ask (steps 1 to 3).
void prepare_app_surface() {
  AppSurfaceState& app = AppSurface();
  WindowState& window = Window_State();
  if (!app.enabled) {
    app.width = window.display_width;
    app.height = window.display_height;
    if (Surface_Exists(app.id)) Surface_Free(app.id, true);
    app.id = kNoSurface;
  } else {
    if (!app.wasEnabled && app.savedWidth > 0 && app.savedHeight > 0) {
      app.width = app.savedWidth;
      app.height = app.savedHeight;
    }
    if (app.id < 0 || !Surface_Exists(app.id)) {
      if (app.width < 1 || app.height < 1) {
        app.width = std::max(window.windowed_width, 1);
        app.height = std::max(window.windowed_height, 1);
      }
      const int32_t id = Surface_Create(app.width, app.height, -1);
      app.id = id >= 0 ? id : kNoSurface;
      window.windowed_width = app.width;
      window.windowed_height = app.height;
    }
    if (app.resizePending) {
      app.resizePending = false;
      const int32_t id = app.id;
      Surface_Free(id, true);
      app.id = id;
      Surface_Create(app.pendingWidth, app.pendingHeight, id);
      app.width = app.pendingWidth;
      app.height = app.pendingHeight;
    }
  }
  app.wasEnabled = app.enabled;
}

void draw_views(const CRoom* room) {
  const ViewFrameState& state = View_State();
  const bool gen2 = generation2();
  if (room->clearViewBackground) clear_to_window_colour();
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    const CViewGM* view = room->views[i];
    if (view == nullptr || !view->visible) continue;
    ViewCurrent = i;
    Camera* camera = gen2 ? Camera_Get(view->cameraId) : nullptr;
    bool own_surface = false;
    DeviceRect port{static_cast<int32_t>(static_cast<float>(view->portX) * state.portScaleX),
                    static_cast<int32_t>(static_cast<float>(view->portY) * state.portScaleY),
                    static_cast<int32_t>(static_cast<float>(view->portW) * state.portScaleX),
                    static_cast<int32_t>(static_cast<float>(view->portH) * state.portScaleY)};
    if (view->surfaceId >= 0 && Surface_Exists(view->surfaceId)) {
      GR_Flush();
      if (gen2) Camera_Set_Active(camera);
      own_surface = Surface_Set_Target(0, view->surfaceId);
      port = DeviceRect{0, 0, Surface_Get_Width(view->surfaceId), Surface_Get_Height(view->surfaceId)};
    }
    GR_SetViewport(port.x, port.y, port.w, port.h);
    if (gen2 && camera != nullptr) {
      Camera_Set_Active(camera);
      Camera_RunScript(camera, camera->beginScript);
      Camera_Apply(camera);
    } else {
      GR_Set_View(view->x, view->y, view->w, view->h, view->angle);
    }
    per_view_draw(room);
    if (gen2) {
      if (camera != nullptr) Camera_RunScript(camera, camera->endScript);
      Camera_Set_Active(nullptr);
    }
    if (own_surface) Surface_Pop_Target();
  }
  GR_Flush();
}

void draw_cursor() {
  const CSprite* sprite = Sprite_Data(g_RunVariables.cursorSprite);
  const int32_t frame = g_cursor_frame++;
  if (g_RunVariables.cursorSprite < 0 || sprite == nullptr) return;
  const WindowState& w = Window_State();
  float view[16];
  Matrix_Identity(view);
  view[12] = -static_cast<float>(w.display_width) / 2.0f;
  view[13] = -static_cast<float>(w.display_height) / 2.0f;
  view[14] = 16000.0f;
  GR_Set_Matrix(kMatrixView, view);
  const bool saved = NoCull;
  NoCull = true;
  sprite->Draw(static_cast<float>(frame), static_cast<float>(w.mouse_x), static_cast<float>(w.mouse_y), 1.0f, 1.0f,
               0.0f, 0xFFFFFF, 1.0f);
  NoCull = saved;
}

// The GUI pass flag stays set only while the GUI events run, also when one raises.
struct GuiPassScope {
  GuiPassScope() { InGuiPass = true; }
  ~GuiPassScope() { InGuiPass = false; }
};

// ---- What cameras and the sprite builtins read of the world ----------------------------------------

bool target_position(int32_t target, float* x, float* y) {
  CInstance* instance = nullptr;
  if (target >= kInstanceIdBase) {
    instance = Instance_FindLive(target);
  } else if (const CObjectTV* object = Object_Find(target)) {
    for (const ObjectInstanceNode* node = object->instancesRecursive.head; node != nullptr; node = node->next) {
      if (node->instance != nullptr && Instance_IsLive(node->instance)) {
        instance = node->instance;
        break;
      }
    }
  }
  if (instance == nullptr) return false;
  if ((instance->flags & kInstBBoxDirty) != 0 && g_InstanceWorldHooks.bboxUpdate != nullptr) {
    g_InstanceWorldHooks.bboxUpdate(instance);
  }
  *x = std::floor(instance->x);
  *y = std::floor(instance->y);
  return true;
}

bool room_size(float* width, float* height) {
  if (Run_Room == nullptr) return false;
  *width = static_cast<float>(Run_Room->width);
  *height = static_cast<float>(Run_Room->height);
  return true;
}

CInstance* dummy_instance() {
  if (g_dummy == nullptr) {
    g_dummy = new CInstance(0.0f, 0.0f, 0, -1, false);
    GCAddRoot(g_dummy);
  }
  return g_dummy;
}

void free_dummy_instance() {
  if (g_dummy == nullptr) return;
  GCRemoveRoot(g_dummy);
  g_dummy = nullptr;
}

bool read_instance(CInstance* self, SpriteInstanceState* out) {
  if (self == nullptr || KV_AsObject(self)->kind != kObjInstance) return false;
  out->sprite = self->spriteIndex;
  out->imageIndex = self->imageIndex;
  out->x = self->x;
  out->y = self->y;
  out->xscale = self->imageXScale;
  out->yscale = self->imageYScale;
  out->angle = self->imageAngle;
  out->blend = self->imageBlend;
  out->alpha = self->imageAlpha;
  return true;
}

void view_cameras(const CRoom* room, int32_t out[kRoomViewCount]) {
  for (int32_t i = 0; i < kRoomViewCount; ++i) out[i] = room->views[i] != nullptr ? room->views[i]->cameraId : -1;
}

}  // namespace

void Room_Draw() {
  CRoom* room = Run_Room;
  if (room == nullptr) return;
  const WindowState& window = Window_State();
  const auto display_w = static_cast<float>(window.display_width);
  const auto display_h = static_cast<float>(window.display_height);
  ViewFrameState& state = View_State();
  prepare_app_surface();
  GR_SetViewport(0, 0, window.display_width, window.display_height);
  view_setup(0.0f, 0.0f, display_w, display_h, 0.0f);
  state.portScaleX = state.portScaleY = 1.0f;

  bool clear_pending = false;
  const bool ran = Step_DrawWalk(kDrawPre, room->clearDisplayBuffer ? clear_to_window_colour : nullptr);
  if (room->clearDisplayBuffer && !ran) {
    if (AppSurface_On()) {
      clear_pending = true;
    } else {
      clear_to_window_colour();
    }
  }

  const bool surface_on = AppSurface_On();
  const bool pushed = surface_on && Surface_Set_Target(0, AppSurface().id);
  Views_Update();
  if (room->enableViews) {
    draw_views(room);
  } else {
    ViewCurrent = 0;
    GR_Flush();
    GR_SetViewport(0, 0, AppSurface().width, AppSurface().height);
    view_setup(0.0f, 0.0f, static_cast<float>(room->width), static_cast<float>(room->height), 0.0f);
    per_view_draw(room);
  }
  if (pushed) Surface_Pop_Target();

  const float scale_x = state.portScaleX, scale_y = state.portScaleY;
  GR_SetViewport(0, 0, window.display_width, window.display_height);
  GR_Set_View(0.0f, 0.0f, display_w, display_h, 0.0f);
  state.portScaleX = state.portScaleY = 1.0f;
  if (clear_pending) clear_to_window_colour();
  Step_DrawWalk(kDrawPost);
  if (Surface_StackDepth() != 0) {
    KVError("Unbalanced surface stack. You MUST use surface_reset_target() for each set.");
    return;
  }
  state.portScaleX = scale_x;
  state.portScaleY = scale_y;
  if (generation2()) GR_Set_Depth(0.0f);
  if (AppSurface().drawEnabled && AppSurface_On()) View_FitAppSurface();
  {
    GuiPassScope gui;
    Gui_Setup();
    Step_DrawWalk(kDrawGuiBegin);
    Step_DrawWalk(kDrawGui);
    Step_DrawWalk(kDrawGuiEnd);
  }
  draw_cursor();
  ViewCurrent = 0;
}

void Views_Update() {
  CRoom* room = Run_Room;
  if (room == nullptr) {
    View_SetRoom(false, 0.0f, 0.0f);
    return;
  }
  View_SetRoom(true, static_cast<float>(room->width), static_cast<float>(room->height));
  ViewFrameState& state = View_State();
  if (!room->enableViews) {
    View_ClearPorts();
    return;
  }
  const bool gen2 = generation2();
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    CViewGM* view = room->views[i];
    if (view == nullptr || !view->visible) continue;
    if (gen2) {
      ViewCurrent = i;
      if (Camera* camera = Camera_Get(view->cameraId)) Camera_Update(camera);
      continue;
    }
    float tx = 0.0f, ty = 0.0f;
    if (view->object >= 0 && target_position(view->object, &tx, &ty)) {
      View_Follow(&view->x, &view->y, view->w, view->h, tx, ty, static_cast<float>(view->hborder),
                  static_cast<float>(view->vborder), static_cast<float>(view->hspeed), static_cast<float>(view->vspeed),
                  true, static_cast<float>(room->width), static_cast<float>(room->height));
    }
  }
  if (gen2) ViewCurrent = 0;
  float left = 999999.0f, top = 999999.0f, right = -999999.0f, bottom = -999999.0f;
  View_ClearPorts();
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    const CViewGM* view = room->views[i];
    if (view == nullptr || !view->visible) continue;
    ViewPortEntry e;
    const Camera* camera = gen2 ? Camera_Get(view->cameraId) : nullptr;
    if (camera != nullptr) {
      e.viewX = camera->viewX, e.viewY = camera->viewY, e.viewW = camera->viewW, e.viewH = camera->viewH;
      e.angle = camera->angle;
    } else {
      e.viewX = view->x, e.viewY = view->y, e.viewW = view->w, e.viewH = view->h;
      e.angle = view->angle;
    }
    e.portX = static_cast<float>(view->portX), e.portY = static_cast<float>(view->portY);
    e.portW = static_cast<float>(view->portW), e.portH = static_cast<float>(view->portH);
    e.cameraId = view->cameraId;
    e.mapsMouse = !(view->surfaceId >= 0 && Surface_Exists(view->surfaceId));
    View_SetPort(i, e);
    left = std::min(left, e.portX);
    top = std::min(top, e.portY);
    right = std::max(right, e.portX + e.portW);
    bottom = std::max(bottom, e.portY + e.portH);
  }
  if (right > left) state.portScaleX = static_cast<float>(AppSurface().width) / (right - left);
  if (bottom > top) state.portScaleY = static_cast<float>(AppSurface().height) / (bottom - top);
}

void Room_SetWindowSize(CRoom* room) {
  if (room == nullptr) return;
  int32_t w = room->width, h = room->height;
  if (room->enableViews) {
    w = h = 8;
    for (const CViewGM* view : room->views) {
      if (view == nullptr || !view->visible) continue;
      w = std::max(w, view->portX + view->portW);
      h = std::max(h, view->portY + view->portH);
    }
  }
  const WindowState& window = Window_State();
  if (window.client_width > 0) w = std::min(w, window.client_width);
  if (window.client_height > 0) h = std::min(h, window.client_height);
  if (w != window.windowed_width || h != window.windowed_height) GR_Set_View_Size(w, h);
}

void RoomDraw_Init() {
  g_RoomHooks.cameraForView = [](const CViewGM* v) {
    return Camera_Create_From_View(v->x, v->y, v->w, v->h, static_cast<float>(v->hspeed),
                                   static_cast<float>(v->vspeed), static_cast<float>(v->hborder),
                                   static_cast<float>(v->vborder), v->object);
  };
  g_RoomHooks.cameraClone = Camera_Clone;
  g_RoomHooks.cameraSetPersistent = [](int32_t id, bool persistent) {
    if (Camera* camera = Camera_Get(id)) camera->roomPersists = persistent;
  };
  g_RoomHooks.cameraRoomEnd = [](CRoom*) { Camera_Room_End(); };
  g_RoomHooks.cameraRoomStart = [](CRoom* room) {
    int32_t cameras[kRoomViewCount];
    view_cameras(room, cameras);
    Camera_Room_Start(cameras);
  };
  g_RoomHooks.windowForRoom = Room_SetWindowSize;
  g_CameraWorldHooks.targetPosition = target_position;
  g_CameraWorldHooks.roomSize = room_size;
  g_CameraWorldHooks.dummyInstance = dummy_instance;
  g_CameraWorldHooks.freeDummyInstance = free_dummy_instance;
  Sprite_SetInstanceReader(read_instance);
  g_cursor_frame = 0;
}

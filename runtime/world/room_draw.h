#pragma once
// The room draw of one frame: Pre-Draw with the window as target, the application surface as the
// target of the views, per visible view (or once) its camera's update and apply, the clear, Draw
// Begin, the layers (their elements and the Draw events or default drawing of their instances) and
// Draw End, then Post-Draw, the application surface fitted into the window, the three GUI events
// and the cursor sprite.
//
// The drawing walks go over the layers from the highest depth to the lowest, each layer drawn at
// its own depth (or the forced one), to visible live instances whose object has the event; a walk
// for an event no object has costs one count test. The walk of Draw (8, 0) also draws the layer's
// elements: backgrounds, sprites, tile maps and tiles. Main thread only.
#include <cstdint>

class CInstance;
struct CRoom;

// view_current: the view being drawn (0 to 7), 0 outside the view loop and after the frame's drawing.
extern int32_t ViewCurrent;

void Room_Draw();
// One drawing walk of an event of type 8 over the current room. beforeFirstEvent, when given, runs
// just before the first event is dispatched; the result tells whether any event ran.
bool Step_DrawWalk(int32_t subtype, void (*beforeFirstEvent)() = nullptr);
// The default draw of an instance without a Draw event: its sprite, culled by its position.
void Draw_InstanceDefault(CInstance* instance);
// The view following of one frame and the view ports the mouse is mapped through.
void Views_Update();
// The window size of a room (its visible ports with views, else its size), at room start.
void Room_SetWindowSize(CRoom* room);

// Installs what the room draw needs of the world: the room hooks of cameras and the window size,
// the camera world hooks, and the instance reader of the sprite builtins.
void RoomDraw_Init();

// The view_* variables: a field of view `index` of the current room (an index outside 0..7 reads
// view 0), through the view's camera for the rectangle, angle, borders, speeds and target in
// generation 2. Without a room reads give -1 (view_camera 0) and writes do nothing.
enum ViewField : int32_t {
  kViewEnabled = 0,
  kViewVisible,
  kViewXView,
  kViewYView,
  kViewWView,
  kViewHView,
  kViewXPort,
  kViewYPort,
  kViewWPort,
  kViewHPort,
  kViewAngle,
  kViewHBorder,
  kViewVBorder,
  kViewHSpeed,
  kViewVSpeed,
  kViewObject,
  kViewSurfaceId,
  kViewCamera,
  kViewFieldCount,
};
double View_GetField(ViewField field, int32_t index);
void View_SetField(ViewField field, int32_t index, double value);

// view_get_* and view_set_*, sharing their code with the view_* variables.
void View_RegisterBuiltins();

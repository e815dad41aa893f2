#pragma once
// The frame step: the exact order of one room step (Run_Step), the event pass that walks instances
// while events change the world (Pass) and the flush of deferred changes between passes
// (Run_Flush). The drawing events run in the room draw (room_draw.h).
//
// Pass(type, subtype) reads c = PassCounter and increments it, then walks the objects of
// EventObjects[type][subtype] in ascending index and each object's exact instance list from the
// head, taking the next node before dispatching: instances that aren't live or whose
// createCounter is above c are skipped. Nothing leaves a list during a pass, so a walker never
// dangles; lists change only at a flush. A stage costs one count test when no object has its
// event, and walkers allocate nothing.
//
// After each stage the step "checks": Run_Flush, then it returns at once if New_Room holds a
// request. Without a current room the step does nothing. Main thread only.
#include <cstdint>

class CInstance;
struct CRoom;

void Run_Step();
// Deactivations, object changes, depth changes (through the layers), then the particle and audio
// queues. The purge of marked instances is separate (Room_PurgeMarked).
void Run_Flush();
void Pass(int32_t type, int32_t subtype);
// Pass with a test of its own before each dispatch: only instances for which test is true get it.
void PassWhere(int32_t type, int32_t subtype, bool (*test)(CInstance* instance));

// Set by the window when its size changed; the next step clears it and raises the resize event.
extern bool Step_WindowSizeChanged;

// What the image update needs of a sprite; installed by the sprites subject. Without it, or for a
// sprite it doesn't know, the sprite counts as missing: the index grows by image_speed and the
// image count is 0.
struct StepSpriteAnimation {
  bool isSequence = false;  // driven by its sequence track, not by the image update
  float speed = 1.0f;
  int32_t speedType = 1;    // 1 frames per game frame, 0 frames per second
  int32_t frames = 0;
};
extern bool (*g_StepSpriteAnimation)(int32_t sprite, StepSpriteAnimation* out);

// Stage pieces, public for tests: the image update of one instance (may raise Animation End), the
// room boundary events, and the async pass.
void Step_ImageUpdate(CInstance* instance);
void Step_BoundaryEvents(CRoom* room);
void Step_AsyncEvents();
// One asynchronous event: Pass(7, subtype) with async_load reading map.
void Step_AsyncEvent(int32_t map, int32_t subtype);
// async_load reads map while the scope lasts.
class AsyncLoadScope {
 public:
  explicit AsyncLoadScope(int32_t map);
  ~AsyncLoadScope();
  AsyncLoadScope(const AsyncLoadScope&) = delete;
  AsyncLoadScope& operator=(const AsyncLoadScope&) = delete;

 private:
  int32_t outer_;
};
// The ds_map of the asynchronous event being delivered (async_load), -1 outside one.
int32_t Step_AsyncLoadMap();

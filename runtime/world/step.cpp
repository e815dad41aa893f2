// The frame step: Run_Step in its order, the event pass, the flush, the image update, the room
// boundary and async stages.
#include "world/step.h"

#include <algorithm>
#include <cmath>

#include "core/call.h"
#include "core/frame_state.h"
#include "core/object.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "world/alarm.h"
#include "world/event.h"
#include "world/event_async.h"
#include "world/instance.h"
#include "world/instance_prefetch.h"
#include "world/instance_path.h"
#include "world/layer.h"
#include "world/motion.h"
#include "world/object_type.h"
#include "world/room.h"
#include "world/step_collision.h"
#include "world/step_input.h"
#include "world/step_stages.h"
#include "world/time_source.h"
#include "world/timeline.h"

bool Step_WindowSizeChanged = false;
bool (*g_StepSpriteAnimation)(int32_t sprite, StepSpriteAnimation* out) = nullptr;

namespace {

constexpr int32_t kOtherOutsideRoom = 0;
constexpr int32_t kOtherIntersectBoundary = 1;
constexpr int32_t kOtherAnimationEnd = 7;
constexpr int32_t kOtherEndOfPath = 8;
constexpr int32_t kOtherOutsideView0 = 40;
constexpr int32_t kOtherBoundaryView0 = 50;
constexpr int32_t kDrawResize = 65;

int32_t g_async_map = -1;

bool pending_request() { return New_Room != kNewRoomNone; }

// The iteration rules with a test of its own before each dispatch.
template <class Test>
void pass_where(int32_t type, int32_t subtype, Test test) {
  const int64_t c = PassCounter++;
  int32_t count = 0;
  const int32_t* objects = Object_EventObjects(type, subtype, &count);
  // The event of the last object seen: a run of instances of one object looks it up once.
  int32_t seen_object = -1;
  const CEvent* event = nullptr;
  for (int32_t i = 0; i < count; ++i) {
    const CObjectTV* object = Object_Find(objects[i]);
    if (object == nullptr) continue;
    for (const ObjectInstanceNode* node = object->instances.head; node != nullptr;) {
      CInstance* instance = node->instance;
      node = node->next;
      // The list runs through the instances themselves: ask for the node after next, and for the
      // next instance, whose node was asked for one turn ago.
      if (node != nullptr) {
        if (node->next != nullptr) __builtin_prefetch(node->next);
        Instance_Prefetch(node->instance);
      }
      if (!Instance_IsLive(instance) || instance->createCounter > c) continue;
      if (!test(instance)) continue;
      if (instance->objectIndex != seen_object) {
        seen_object = instance->objectIndex;
        event = Event_Find(seen_object, type, subtype);
      }
      if (event != nullptr) PerformEventFound(instance, event, type, subtype);
    }
  }
}

// ---- Stages 2 and 3 ------------------------------------------------------------------------------

struct WalkNotes {
  bool timeline = false;
  bool path = false;
};

WalkNotes previous_values_and_images(CRoom* room) {
  WalkNotes notes;
  for (CInstance* at = room->active.head; at != nullptr;) {
    CInstance* next = at->next;
    Instance_Prefetch(next);
    at->xprevious = at->x;
    at->yprevious = at->y;
    if (InstancePathState* state = at->pathState) {
      state->pathPositionPrevious = state->pathPosition;
      if (state->pathIndex >= 0) notes.path = true;
    }
    if ((at->flags & kInstTimelineRuns) != 0) notes.timeline = true;
    Step_ImageUpdate(at);
    at = next;
  }
  return notes;
}

// ---- Stage 19 ------------------------------------------------------------------------------------

void motion(CRoom* room) {
  const int64_t c = PassCounter++;
  for (CInstance* at = room->active.head; at != nullptr;) {
    CInstance* next = at->next;
    Instance_Prefetch(next);
    if (Motion_Advance(at) && at->createCounter <= c) PerformEventOnInstance(at, at, kEventOther, kOtherEndOfPath);
    Motion_Move(at);
    at = next;
  }
}

// ---- Stage 21 ------------------------------------------------------------------------------------

struct Rect {
  float left, top, right, bottom;
};

// The box of an instance with a usable sprite or mask, brought up to date; false for a point.
bool instance_box(CInstance* instance, Rect* box) {
  if (instance->spriteIndex < 0 && instance->maskIndex < 0) return false;
  if (g_InstanceWorldHooks.bboxUpdate == nullptr) return false;
  if ((instance->flags & kInstBBoxDirty) != 0) g_InstanceWorldHooks.bboxUpdate(instance);
  *box = Rect{instance->bboxLeft, instance->bboxTop, instance->bboxRight, instance->bboxBottom};
  return true;
}

bool outside(CInstance* instance, const Rect& area) {
  Rect box;
  if (!instance_box(instance, &box)) {
    return instance->x < area.left || instance->x > area.right || instance->y < area.top || instance->y > area.bottom;
  }
  return box.right < area.left || box.left > area.right || box.bottom < area.top || box.top > area.bottom;
}

bool crosses_boundary(CInstance* instance, const Rect& area) {
  Rect box;
  if (!instance_box(instance, &box)) return outside(instance, area);
  return box.left < area.left || box.right > area.right || box.top < area.top || box.bottom > area.bottom;
}

// The axis-aligned box of a view's rectangle turned by its angle about its centre.
Rect view_rect(const CViewGM& view) {
  const float cx = view.x + view.w * 0.5f;
  const float cy = view.y + view.h * 0.5f;
  const double radians = static_cast<double>(view.angle) * M_PI / 180.0;
  const auto c = static_cast<float>(std::fabs(std::cos(radians)));
  const auto s = static_cast<float>(std::fabs(std::sin(radians)));
  const float half_w = (view.w * c + view.h * s) * 0.5f;
  const float half_h = (view.w * s + view.h * c) * 0.5f;
  return Rect{cx - half_w, cy - half_h, cx + half_w, cy + half_h};
}

}  // namespace

// ---- Passes and the flush ------------------------------------------------------------------------

void Pass(int32_t type, int32_t subtype) {
  pass_where(type, subtype, [](CInstance*) { return true; });
}

void PassWhere(int32_t type, int32_t subtype, bool (*test)(CInstance* instance)) { pass_where(type, subtype, test); }

void Run_Flush() {
  Instance_Flush();
  Flush_ParticleDepths();
  Flush_AudioQueue();
}

// ---- The image update ----------------------------------------------------------------------------

void Step_ImageUpdate(CInstance* instance) {
  StepSpriteAnimation sprite;
  const bool known = g_StepSpriteAnimation != nullptr && instance->spriteIndex >= 0 &&
                     g_StepSpriteAnimation(instance->spriteIndex, &sprite);
  if (known && sprite.isSequence) return;
  const int32_t frames = known ? sprite.frames : 0;
  if (!known || GameData_Header().generation < 2) {
    instance->imageIndex += instance->imageSpeed;
  } else if (sprite.speedType == 1) {
    instance->imageIndex += instance->imageSpeed * sprite.speed;
  } else {
    const double game_speed = Run_GameTimer.fps;
    if (game_speed != 0.0) {
      instance->imageIndex += static_cast<float>(sprite.speed / game_speed * instance->imageSpeed);
    }
  }
  const auto n = static_cast<float>(frames);
  bool ended = false;
  if (instance->imageIndex >= n) {
    instance->imageIndex -= n;
    ended = true;
  } else if (instance->imageIndex < 0.0f) {
    instance->imageIndex += n;
    ended = true;
  }
  // The walk skips no instance: one destroyed since the last purge still has its Animation End.
  // Most games give few objects that event; when none has it, nothing is dispatched.
  if (ended) {
    int32_t with_event = 0;
    Object_EventObjects(kEventOther, kOtherAnimationEnd, &with_event);
    if (with_event > 0) PerformEventOnInstance(instance, instance, kEventOther, kOtherAnimationEnd);
  }
}

// ---- Boundary and async stages -------------------------------------------------------------------

void Step_BoundaryEvents(CRoom* room) {
  const Rect area{0.0f, 0.0f, static_cast<float>(room->width), static_cast<float>(room->height)};
  pass_where(kEventOther, kOtherOutsideRoom, [&area](CInstance* instance) {
    const bool now = outside(instance, area);
    const bool was = (instance->flags & kInstWasOutside) != 0;
    instance->flags = now ? (instance->flags | kInstWasOutside) : (instance->flags & ~kInstWasOutside);
    return now && !was;
  });
  pass_where(kEventOther, kOtherIntersectBoundary,
             [&area](CInstance* instance) { return crosses_boundary(instance, area); });
  if (!room->enableViews) return;
  for (int32_t n = 0; n < kRoomViewCount; ++n) {
    const CViewGM* view = room->views[n];
    if (view == nullptr || !view->visible) continue;
    const Rect rect = view_rect(*view);
    // A view keeps no edge state: Outside View fires at each step on which the instance is out.
    pass_where(kEventOther, kOtherOutsideView0 + n, [&rect](CInstance* instance) { return outside(instance, rect); });
    pass_where(kEventOther, kOtherBoundaryView0 + n,
               [&rect](CInstance* instance) { return crosses_boundary(instance, rect); });
  }
}

// Every queued result is raised, even after a handler asked for a room change: the filter of
// PerformEvent then lets only persistent instances (or a persistent room) have them.
void Step_AsyncEvents() {
  const std::vector<EventAsyncRequest> requests = Event_TakeAsyncRequests();
  for (const EventAsyncRequest& request : requests) Step_AsyncEvent(request.map, request.subtype);
}

void Step_AsyncEvent(int32_t map, int32_t subtype) {
  const AsyncLoadScope scope(map);
  Pass(kEventOther, subtype);
}

AsyncLoadScope::AsyncLoadScope(int32_t map) : outer_(g_async_map) { g_async_map = map; }
AsyncLoadScope::~AsyncLoadScope() { g_async_map = outer_; }

int32_t Step_AsyncLoadMap() { return g_async_map; }

// ---- Run_Step ------------------------------------------------------------------------------------

void Run_Step() {
  CRoom* room = Run_Room;
  if (room == nullptr) return;
  // A check: the flush, then leave when a room change or end is pending.
  auto check = [] {
    Run_Flush();
    return pending_request();
  };

  if (Step_WindowSizeChanged) {
    Step_WindowSizeChanged = false;
    Room_PurgeMarked(room);
    PerformEventAll(kEventDraw, kDrawResize);
    Run_Flush();
    Room_PurgeMarked(room);
  }
  const WalkNotes notes = previous_values_and_images(room);
  Layer_Animate(room);
  Step_SequencePass(kStepBegin);
  Pass(kEventStep, kStepBegin);
  if (check()) return;
  Step_PollSockets();
  if (check()) return;
  if (notes.timeline) {
    TimeLine_Stage();
    if (check()) return;
  }
  TimeSource_Step(Run_DeltaTime);
  if (check()) return;
  Alarm_Stage();
  if (check()) return;
  Step_KeyboardEvents();
  if (check()) return;
  Step_JoystickEvents();
  if (check()) return;
  Step_MouseEvents();
  if (check()) return;
  Step_LayerEffects(room);
  Step_SequencesAdvance(room);
  Step_SequencePass(kStepNormal);
  Pass(kEventStep, kStepNormal);
  if (check()) return;
  Step_SequenceMoments(room);
  // Without a physics world the instances move; the physics subsystem doesn't exist here.
  if (room->physicsWorld == nullptr) motion(room);
  if (check()) return;
  Step_BoundaryEvents(room);
  if (check()) return;
  Step_AsyncEvents();
  if (check()) return;
  if (room->physicsWorld == nullptr) Step_CollisionEvents();
  if (check()) return;
  Step_SequencePass(kStepEnd);
  Pass(kEventStep, kStepEnd);
  if (check()) return;
  Step_ParticlesAdvance();
}

// The event dispatcher.
#include "world/event.h"

#include <vector>

#include "core/code.h"
#include "core/error.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "world/event_async.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/room.h"
#include "world/world_init.h"

int32_t CurrentEventType = -1;
int32_t CurrentEventNumber = -1;
int32_t CurrentEventObject = -1;
int32_t EventDepth = 0;

namespace {

// Create, Destroy, Alarm, Other and PreCreate: what may still run while a room change is pending.
constexpr uint32_t kPendingRoomTypes = 0x4087;

struct DepthGuard {
  DepthGuard() { ++EventDepth; }
  ~DepthGuard() { --EventDepth; }
};

struct CurrentEventScope {
  int32_t type = CurrentEventType;
  int32_t number = CurrentEventNumber;
  int32_t object = CurrentEventObject;
  ~CurrentEventScope() {
    CurrentEventType = type;
    CurrentEventNumber = number;
    CurrentEventObject = object;
  }
};

}  // namespace

bool Event_Allowed(const CInstance* self, int32_t type) {
  if (type == kEventCleanUp) return !g_EventErrorReporting;
  if (New_Room == kNewRoomNone) return true;
  if (type < 0 || type > 31 || ((kPendingRoomTypes >> type) & 1u) == 0) return false;
  return (self->flags & kInstPersistent) != 0 || (Run_Room != nullptr && Run_Room->persistent);
}

void Event_RunCode(const CEvent* event, CInstance* self, CInstance* other) {
  Code_Execute(self, other, event->code, nullptr, 0);
}

namespace {

void run_event(CInstance* self, CInstance* other, const CEvent* event, int32_t type, int32_t subtype) {
  DepthGuard depth;
  if (EventDepth > kMaxEventDepth) {
    KVError("PerformEvent recursion depth failure - check for infinite loops, check objects for parenting");
    return;
  }
  CurrentEventScope saved;
  CurrentEventObject = event->ownerObject;
  CurrentEventType = type;
  CurrentEventNumber = subtype;
  EventContextScope context(event->ownerObject, type, subtype);
  Event_RunCode(event, self, other);
}

}  // namespace

const CEvent* Event_Find(int32_t object, int32_t type, int32_t subtype) {
  const CObjectTV* type_object = Object_Find(object);
  return type_object != nullptr ? type_object->FindEvent(type, subtype) : nullptr;
}

void PerformEventDirect(CInstance* self, CInstance* other, int32_t object, int32_t type, int32_t subtype) {
  const CEvent* event = Event_Find(object, type, subtype);
  if (event != nullptr) run_event(self, other, event, type, subtype);
}

void PerformEvent(CInstance* self, CInstance* other, int32_t object, int32_t type, int32_t subtype) {
  if (self == nullptr || KV_AsObject(self)->kind != kObjInstance) {
    KVError("Attempt to dispatch event on non-instance object");
    return;
  }
  if (Run_Room == nullptr) return;
  if (!Event_Allowed(self, type)) return;
  PerformEventDirect(self, other, object, type, subtype);
}

void PerformEventOnInstance(CInstance* self, CInstance* other, int32_t type, int32_t subtype) {
  if (self == nullptr) return;
  try {
    PerformEvent(self, other, self->objectIndex, type, subtype);
  } catch (const KVTSLException& exception) {
    World_UnhandledException(exception);
  }
}

void PerformEventFound(CInstance* self, const CEvent* event, int32_t type, int32_t subtype) {
  try {
    if (Run_Room == nullptr || !Event_Allowed(self, type)) return;
    run_event(self, self, event, type, subtype);
  } catch (const KVTSLException& exception) {
    World_UnhandledException(exception);
  }
}

void PerformEventAll(int32_t type, int32_t subtype) {
  if (New_Room != kNewRoomNone || Run_Room == nullptr) return;
  for (CInstance* at = Run_Room->active.head; at != nullptr;) {
    CInstance* next = at->next;
    if (Instance_IsLive(at)) PerformEventOnInstance(at, at, type, subtype);
    at = next;
  }
}

void Event_ResetState() {
  CurrentEventType = -1;
  CurrentEventNumber = -1;
  CurrentEventObject = -1;
  EventDepth = 0;
  g_EventErrorReporting = false;
}

// ---- Async requests ------------------------------------------------------------------------------

namespace {
std::vector<EventAsyncRequest> g_async_requests;
}  // namespace

void Event_QueueAsync(int32_t map, int32_t subtype) { g_async_requests.push_back(EventAsyncRequest{map, subtype, -1, 7}); }

std::vector<EventAsyncRequest> Event_TakeAsyncRequests() {
  std::vector<EventAsyncRequest> taken;
  taken.swap(g_async_requests);
  return taken;
}

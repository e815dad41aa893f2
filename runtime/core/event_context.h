#pragma once
// The event being run, recorded by the event dispatcher for error texts. eventType has three
// special values beside the event types: room creation code, shader compile and timeline.
#include <cstdint>
#include <string>

constexpr int32_t kEventContextRoomCreation = -2;
constexpr int32_t kEventContextShaderCompile = -1;
constexpr int32_t kEventContextTimeline = 100000;

struct KVEventContext {
  int32_t objectIndex = -1;   // object (or, for room code, room; for a timeline, timeline) index
  int32_t eventType = 0;
  int32_t eventSubtype = 0;   // for a timeline, the time step
  int32_t actionNumber = 0;   // zero-based; the text shows it plus one
};

extern KVEventContext g_EventContext;

// Names for the error text, supplied by the subsystems that own them; an unset source gives "".
struct KVEventNameSources {
  std::string (*objectName)(int32_t objectIndex) = nullptr;
  std::string (*roomName)(int32_t roomIndex) = nullptr;
  std::string (*timelineName)(int32_t timelineIndex) = nullptr;
  std::string (*shaderName)(int32_t shaderIndex) = nullptr;
  // "Create Event", "Alarm Event for alarm 3", "Key Press Event for <Enter>", ...
  std::string (*eventName)(int32_t eventType, int32_t eventSubtype) = nullptr;
};

extern KVEventNameSources g_EventNameSources;

// Saves the context on entry and puts it back on every exit, unwinding included.
class EventContextScope {
 public:
  EventContextScope(int32_t objectIndex, int32_t eventType, int32_t eventSubtype, int32_t actionNumber = 0)
      : saved_(g_EventContext) {
    g_EventContext = KVEventContext{objectIndex, eventType, eventSubtype, actionNumber};
  }
  ~EventContextScope() { g_EventContext = saved_; }
  EventContextScope(const EventContextScope&) = delete;
  EventContextScope& operator=(const EventContextScope&) = delete;

 private:
  KVEventContext saved_;
};

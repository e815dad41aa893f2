#pragma once
// Event numbers, their names, and the dispatcher that runs an object's event code on an instance.
//
// PerformEvent checks that self is an instance, that a room exists and that the room-change filter
// lets the type through, then finds the event in the object's map (own or inherited) and runs it
// with the current-event values and the error context set around it. Nested dispatch is limited to
// 32 open levels; the 33rd raises "PerformEvent recursion depth failure - ...". A dispatch that
// finds no event costs one map lookup. Main thread only.
#include <cstdint>
#include <string>

class CInstance;
class CObjectTV;
struct CEvent;

enum EventType : int32_t {
  kEventCreate = 0,
  kEventDestroy = 1,
  kEventAlarm = 2,
  kEventStep = 3,
  kEventCollision = 4,
  kEventKeyboard = 5,
  kEventMouse = 6,
  kEventOther = 7,
  kEventDraw = 8,
  kEventKeyPress = 9,
  kEventKeyRelease = 10,
  kEventUnused11 = 11,
  kEventCleanUp = 12,
  kEventGesture = 13,
  kEventPreCreate = 14,
  kEventTypeNamesCount = 15,
};

// Subtypes used by the runtime itself.
constexpr int32_t kStepNormal = 0;
constexpr int32_t kStepBegin = 1;
constexpr int32_t kStepEnd = 2;
constexpr int32_t kOtherUserDefined0 = 10;
constexpr int32_t kOtherBroadcastMessage = 76;  // sequence and sprite messages
constexpr int32_t kMaxEventDepth = 32;

// The current-event values, read by scripts as event_type, event_number and event_object.
extern int32_t CurrentEventType;
extern int32_t CurrentEventNumber;
extern int32_t CurrentEventObject;
extern int32_t EventDepth;
// g_EventErrorReporting (core/error.h) is set while a non-fatal script error is reported: CleanUp
// events are then dropped.

// "Create Event", "Alarm Event for alarm 3", "Key Press Event for <Enter> Key", ... as messages
// name them; the object's name is used for collision events.
std::string Event_Name(int32_t type, int32_t subtype);
const char* Event_KeyName(int32_t key);
const char* Event_MouseName(int32_t subtype);
const char* Event_OtherName(int32_t subtype);  // "" for subtypes without a name

// The dispatch. object is an object index; a missing object or event does nothing.
void PerformEvent(CInstance* self, CInstance* other, int32_t object, int32_t type, int32_t subtype);
// PerformEvent with the object of self; null self does nothing. A script exception coming out of
// the code goes to the unhandled-exception path.
void PerformEventOnInstance(CInstance* self, CInstance* other, int32_t type, int32_t subtype);
// Every instance of the room's active list, head to tail, next taken first; skipped entirely while
// a room change is pending, and instances that aren't live are skipped.
void PerformEventAll(int32_t type, int32_t subtype);
// PerformEvent without the instance, room and filter checks.
void PerformEventDirect(CInstance* self, CInstance* other, int32_t object, int32_t type, int32_t subtype);

// The event that instances of object run for (type, subtype), own or inherited; null for none.
const CEvent* Event_Find(int32_t object, int32_t type, int32_t subtype);
// PerformEventOnInstance with self as other and the event already found (Event_Find of self's
// object): the passes look an event up once for a run of instances of one object.
void PerformEventFound(CInstance* self, const CEvent* event, int32_t type, int32_t subtype);

// Whether the room-change filter lets an event of this type run on self now.
bool Event_Allowed(const CInstance* self, int32_t type);

// Runs the code of one event with self and other, without touching the current-event values.
void Event_RunCode(const CEvent* event, CInstance* self, CInstance* other);

// Puts the current-event values and the depth back to their start values.
void Event_ResetState();

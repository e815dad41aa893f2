// The sequence stages of the frame step: the sequence pass beside the step events, the advance of
// the room's sequence instances, and the delivery of the messages and moments the heads passed.
#include <cmath>

#include "core/call.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/function_table.h"
#include "core/object.h"
#include "core/timing.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/room.h"
#include "world/sequence_instance.h"
#include "world/step.h"
#include "world/step_stages.h"

namespace {

struct Collected {
  int32_t instance;  // sequence instance id
  int32_t element;
  const CSequenceKeyframe* keyframe;
};
std::vector<Collected> g_messages;
std::vector<Collected> g_moments;

// A range of head positions passed in one step, its ends in or out.
struct Range {
  float lo, hi;
  bool lo_in, hi_in;
  bool holds(float frame) const {
    return (lo_in ? frame >= lo : frame > lo) && (hi_in ? frame <= hi : frame < hi);
  }
};

// The ranges the head passed from last to head: forward [last, head), backward (head, last]; the
// end of the sequence counts where the head stopped on it or wrapped over it.
std::vector<Range> passed_ranges(int32_t loopmode, float length, float last, float head, float direction_before,
                                 bool wrapped, bool finished) {
  const bool forward = direction_before >= 0.0f;
  if (!wrapped) {
    if (forward) return {{last, head, true, finished && head >= length}};
    return {{head, last, finished && head <= 0.0f, true}};
  }
  switch (loopmode) {
    case 0:
      return forward ? std::vector<Range>{{last, length, true, true}} : std::vector<Range>{{0.0f, last, true, true}};
    case 1:
      if (forward) return {{last, length, true, true}, {0.0f, head, true, false}};
      return {{0.0f, last, true, true}, {head, length, false, true}};
    default:  // ping-pong: up to the end and back to the head, the end counted once
      if (forward) return {{last, length, true, true}, {head, length, false, false}};
      return {{0.0f, last, true, true}, {0.0f, head, false, false}};
  }
}

void collect(std::vector<Collected>* into, const std::vector<CSequenceKeyframe*>& keyframes,
             const std::vector<Range>& ranges, const CSequenceInstance* instance) {
  for (const Range& range : ranges) {
    for (const CSequenceKeyframe* keyframe : keyframes) {
      if (!keyframe->disabled && range.holds(keyframe->frame)) {
        into->push_back({instance->id, instance->elementID, keyframe});
      }
    }
  }
}

// Calls a method of script kind with the sequence instance as self.
void call_with_instance(const RValue& method, CSequenceInstance* instance, int argc, RValue** argv) {
  const CScriptRef* function = RV_ScriptRefOf(method);
  if (function == nullptr || (function->compiled == nullptr && function->script == nullptr)) return;
  RValue callee = method;
  RValue result = RV_Undefined();
  CInstance* self = KV_AsInstance(instance);
  GC_PushSelf(instance);
  struct Release {
    RValue* result;
    ~Release() {
      RV_FreeToUndefined(result);
      GC_PopSelf();
    }
  } release{&result};
  CallMethod(self, self, &result, argc, &callee, argv);
}

double game_speed() { return GameTimer_GetSpeed(Run_GameTimer, 0); }

int32_t builtin_index(const char* name) {
  int32_t index = -1;
  return Function_Find(name, &index) ? index : -1;
}

// A ds map {"event_type", "element_id", "message"} through the data-structure builtins; -1 when
// they aren't there.
int32_t message_map(const char* kind, int32_t element, const char* message) {
  const int32_t create = builtin_index("ds_map_create");
  const int32_t add = builtin_index("ds_map_add");
  if (create < 0 || add < 0) return -1;
  RValue result = RV_Undefined();
  CallBuiltin(nullptr, nullptr, &result, 0, create, nullptr);
  const int32_t map = RV_ToInt32(result);
  RV_FreeToUndefined(&result);
  auto put = [&](const char* key, const RValue& value) {
    RValue map_value = RV_Real(map);
    RValue key_value = RV_Undefined();
    RV_SetString(&key_value, key);
    RValue entry = value;
    RValue* args[3] = {&map_value, &key_value, &entry};
    CallBuiltin(nullptr, nullptr, &result, 3, add, args);
    RV_FreeToUndefined(&result);
    RV_FreeToUndefined(&key_value);
  };
  RValue text = RV_Undefined();
  RV_SetString(&text, kind);
  put("event_type", text);
  RV_SetString(&text, message);
  put("message", text);
  RV_FreeToUndefined(&text);
  put("element_id", RV_Real(element));
  return map;
}

void destroy_map(int32_t map) {
  const int32_t destroy = builtin_index("ds_map_destroy");
  if (map < 0 || destroy < 0) return;
  RValue map_value = RV_Real(map);
  RValue* args[1] = {&map_value};
  RValue result = RV_Undefined();
  CallBuiltin(nullptr, nullptr, &result, 1, destroy, args);
  RV_FreeToUndefined(&result);
}

void advance(CSequenceInstance* instance) {
  CLayerSequenceElement* element = SequenceInstance_Element(instance);
  CSequence* sequence = instance->Sequence();
  if (element == nullptr || sequence == nullptr) return;
  if (!instance->pendingChange && (instance->finished || (instance->paused && instance->started))) return;
  instance->wrapped = false;
  if (!instance->started) {
    Sequence_StartInstance(instance);
    instance->started = true;
    call_with_instance(sequence->events[kSeqEventCreate], instance, 0, nullptr);
    // The create event may have destroyed the element.
    if (SequenceInstance_Get(instance->id) != instance) return;
  }
  const float direction_before = instance->headDirection;
  instance->lastHeadPosition = instance->headPosition;
  const bool moving = !instance->paused && !instance->finished;
  if (moving) {
    double speed = sequence->playbackSpeed;
    if (sequence->playbackSpeedType == 0) {
      const double fps = game_speed();
      speed = fps > 0.0 ? speed / fps : 0.0;
    }
    instance->headPosition += static_cast<float>(instance->headDirection * instance->speedScale * speed);
  }
  SequenceHead head{instance->headPosition, instance->headDirection};
  Sequence_WrapHead(sequence->loopmode, sequence->length, &head);
  instance->headPosition = head.position;
  instance->headDirection = head.direction;
  instance->wrapped = head.wrapped;
  Sequence_Evaluate(instance, instance->pendingChange);
  if (moving) {
    const std::vector<Range> ranges = passed_ranges(sequence->loopmode, sequence->length, instance->lastHeadPosition,
                                                    instance->headPosition, direction_before, head.wrapped,
                                                    head.finished);
    collect(&g_messages, sequence->messageEventKeyframes, ranges, instance);
    collect(&g_moments, sequence->momentKeyframes, ranges, instance);
  }
  // Sounds of audio tracks would stop here when the instance finishes; nothing plays them yet.
  instance->finished = head.finished;
  instance->pendingChange = false;
}

}  // namespace

void Sequence_SendEvent(int32_t type, int32_t subtype) {
  const int32_t slot = Sequence_EventOf(type, subtype);
  if (slot < 0 || Run_Room == nullptr) return;
  for (CSequenceInstance* instance : SequenceInstance_OfRoom(Run_Room)) {
    if (SequenceInstance_Get(instance->id) != instance || instance->paused || instance->finished) continue;
    const CSequence* sequence = instance->Sequence();
    if (sequence != nullptr) call_with_instance(sequence->events[slot], instance, 0, nullptr);
  }
}

void Sequence_StepPass(int32_t step_subtype) { Sequence_SendEvent(kEventStep, step_subtype); }

void Sequence_AdvanceRoom(CRoom* room) {
  for (CSequenceInstance* instance : SequenceInstance_OfRoom(room)) {
    if (SequenceInstance_Get(instance->id) == instance) advance(instance);
  }
}

void Sequence_DeliverEvents() {
  const std::vector<Collected> messages = std::move(g_messages);
  const std::vector<Collected> moments = std::move(g_moments);
  g_messages.clear();
  g_moments.clear();
  for (const Collected& collected : messages) {
    for (const CSequenceKey* key : collected.keyframe->channels) {
      for (const std::string& message : key->events) {
        const int32_t map = message_map("sequence event", collected.element, message.c_str());
        {
          const AsyncLoadScope scope(map);
          Sequence_SendEvent(kEventOther, kOtherBroadcastMessage);
          Pass(kEventOther, kOtherBroadcastMessage);
        }
        destroy_map(map);
      }
    }
  }
  for (const Collected& collected : moments) {
    CSequenceInstance* instance = SequenceInstance_Get(collected.instance);
    if (instance == nullptr) continue;
    for (const CSequenceKey* key : collected.keyframe->channels) call_with_instance(key->event, instance, 0, nullptr);
  }
}

void Step_SequencePass(int32_t step_subtype) { Sequence_StepPass(step_subtype); }
void Step_SequencesAdvance(CRoom* room) { Sequence_AdvanceRoom(room); }
void Step_SequenceMoments(CRoom*) { Sequence_DeliverEvents(); }

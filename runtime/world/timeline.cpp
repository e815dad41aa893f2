// The timeline table, its moments, and the timeline stage of the step.
#include "world/timeline.h"

#include <algorithm>
#include <string>

#include "core/call.h"
#include "core/code.h"
#include "core/code_tables.h"
#include "core/error.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "core/memory.h"
#include "world/asset_timelines.h"
#include "world/event.h"
#include "world/event_map.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/room.h"
#include "world/world_init.h"

namespace {

std::vector<CTimeLine*> g_timelines;

uintptr_t script_entry(int32_t script_index) {
  return (static_cast<uintptr_t>(static_cast<uint32_t>(script_index)) << 1) | 1u;
}

std::string timeline_name(int32_t index) {
  const CTimeLine* timeline = TimeLine_Find(index);
  return timeline != nullptr ? timeline->name : std::string();
}

// Restores the current-event values on every exit, unwinding included.
struct CurrentEventSave {
  int32_t type = CurrentEventType;
  int32_t number = CurrentEventNumber;
  int32_t object = CurrentEventObject;
  ~CurrentEventSave() {
    CurrentEventType = type;
    CurrentEventNumber = number;
    CurrentEventObject = object;
  }
};

}  // namespace

// ---- CTimeLine -----------------------------------------------------------------------------------

CTimeLine::~CTimeLine() { Clear(); }

int32_t CTimeLine::First(double t) const {
  const auto at = std::lower_bound(moments.begin(), moments.end(), t,
                                   [](int32_t moment, double value) { return moment < value; });
  return static_cast<int32_t>(at - moments.begin());
}

int32_t CTimeLine::Last(double t) const {
  const auto at = std::upper_bound(moments.begin(), moments.end(), t,
                                   [](double value, int32_t moment) { return value < moment; });
  return static_cast<int32_t>(at - moments.begin()) - 1;
}

int32_t CTimeLine::MomentAt(int32_t time) {
  const auto at = std::lower_bound(moments.begin(), moments.end(), time);
  const auto index = at - moments.begin();
  if (at == moments.end() || *at != time) {
    moments.insert(at, time);
    events.insert(events.begin() + index, 0);
  }
  return static_cast<int32_t>(index);
}

void CTimeLine::free_entry(uintptr_t entry) {
  if (entry == 0 || TimeLine_EntryIsScript(entry)) return;
  auto* event = reinterpret_cast<CEvent*>(entry);
  KV_Delete(event->code);
  KV_Delete(event);
}

void CTimeLine::SetScript(int32_t time, int32_t script_index) {
  const int32_t index = MomentAt(time);
  free_entry(events[index]);
  events[index] = script_entry(script_index);
}

void CTimeLine::SetCode(int32_t time, int32_t code_index) {
  const int32_t index = MomentAt(time);
  free_entry(events[index]);
  CEvent* event = KV_NEW(CEvent);
  event->codeIndex = code_index;
  event->code = KV_NEW(CCode, code_index);
  events[index] = reinterpret_cast<uintptr_t>(event);
}

bool CTimeLine::ClearMoment(int32_t time) {
  const auto at = std::lower_bound(moments.begin(), moments.end(), time);
  if (at == moments.end() || *at != time) return false;
  const auto index = at - moments.begin();
  free_entry(events[index]);
  moments.erase(at);
  events.erase(events.begin() + index);
  return true;
}

void CTimeLine::Clear() {
  for (uintptr_t entry : events) free_entry(entry);
  moments.clear();
  events.clear();
}

// ---- The table -----------------------------------------------------------------------------------

bool TimeLine_BuildFromAssets() {
  TimeLine_FreeAll();
  g_EventNameSources.timelineName = timeline_name;
  const AssetTable<TimelineAsset>& assets = TimeLine_Table();
  const int32_t count = assets.count();
  g_timelines.assign(static_cast<size_t>(count), nullptr);
  const int32_t rows = g_CodeTables != nullptr ? g_CodeTables->scriptCount : 0;
  for (int32_t i = 0; i < count; ++i) {
    const TimelineAsset* asset = TimeLine_Get(i);
    if (asset == nullptr) continue;
    auto* timeline = new CTimeLine();
    timeline->name = assets.name(i);
    g_timelines[static_cast<size_t>(i)] = timeline;
    for (const TimelineAssetMoment& moment : asset->moments) {
      // A moment without actions, or a program without compiled code: present, runs nothing.
      if (moment.code_index < 0 || g_CodeTables == nullptr) {
        timeline->MomentAt(moment.time);
        continue;
      }
      if (moment.code_index >= rows) return false;
      timeline->SetCode(moment.time, moment.code_index);
    }
  }
  return true;
}

void TimeLine_FreeAll() {
  for (CTimeLine* timeline : g_timelines) delete timeline;
  g_timelines.clear();
}

int32_t TimeLine_Count() { return static_cast<int32_t>(g_timelines.size()); }

CTimeLine* TimeLine_Find(int32_t index) {
  if (index < 0 || index >= TimeLine_Count()) return nullptr;
  return g_timelines[static_cast<size_t>(index)];
}

int32_t TimeLine_Add() {
  g_EventNameSources.timelineName = timeline_name;
  auto free_slot = std::find(g_timelines.begin(), g_timelines.end(), nullptr);
  if (free_slot == g_timelines.end()) free_slot = g_timelines.insert(g_timelines.end(), nullptr);
  const auto index = static_cast<int32_t>(free_slot - g_timelines.begin());
  auto* timeline = new CTimeLine();
  timeline->name = "__newtimeline" + std::to_string(index);
  *free_slot = timeline;
  return index;
}

bool TimeLine_Delete(int32_t index) {
  CTimeLine* timeline = TimeLine_Find(index);
  if (timeline == nullptr) return false;
  delete timeline;
  g_timelines[static_cast<size_t>(index)] = nullptr;
  return true;
}

// ---- The stage -----------------------------------------------------------------------------------

void TimeLine_RunMoment(CInstance* instance, int32_t timeline_index, const CTimeLine& timeline, int32_t moment) {
  if (New_Room != kNewRoomNone) return;
  const uintptr_t entry = timeline.events[static_cast<size_t>(moment)];
  if (entry == 0) return;
  const int32_t time = timeline.moments[static_cast<size_t>(moment)];
  CurrentEventSave saved;
  CurrentEventType = kEventContextTimeline;
  CurrentEventObject = timeline_index;
  CurrentEventNumber = time;
  EventContextScope context(timeline_index, kEventContextTimeline, time);
  try {
    if (TimeLine_EntryIsScript(entry)) {
      RValue script = RV_Real(TimeLine_EntryScript(entry));
      RValue result = RV_Undefined();
      CallMethod(instance, instance, &result, 0, &script, nullptr);
      RV_FreeToUndefined(&result);
    } else {
      Event_RunCode(TimeLine_EntryEvent(entry), instance, instance);
    }
  } catch (const KVTSLException& exception) {
    World_UnhandledException(exception);
  }
}

namespace {

// The moments an instance's timeline crosses in this step, then its new position.
void advance(CInstance* instance, InstancePathState* state, const CTimeLine& timeline) {
  const int32_t index = state->timelineIndex;
  const float p = state->timelinePosition;
  const float s = state->timelineSpeed;
  float q = p;
  if (s > 0.0f) {
    q = p + s;
    const int32_t b = timeline.First(q);
    for (int32_t m = timeline.First(p); m < b; ++m) TimeLine_RunMoment(instance, index, timeline, m);
  } else if (s == 0.0f) {
    const int32_t b = timeline.First(q);
    for (int32_t m = timeline.First(state->timelinePrevious); m < b; ++m) {
      TimeLine_RunMoment(instance, index, timeline, m);
    }
  } else {
    q = p + s;
    const int32_t b = timeline.First(q);
    for (int32_t m = timeline.Last(p); m > b; --m) TimeLine_RunMoment(instance, index, timeline, m);
  }
  // A moment may have freed the timeline or the record's owner may have changed it: re-read.
  state = instance->pathState;
  if (state == nullptr) return;
  if (state->timelinePosition == p) state->timelinePosition = q;
  state->timelinePrevious = p;
  if ((instance->flags & kInstTimelineLoops) == 0) return;
  const CTimeLine* now = TimeLine_Find(state->timelineIndex);
  if (now == nullptr || now->Count() == 0) return;
  const auto last = static_cast<float>(now->moments.back());
  if (s >= 0.0f) {
    if (state->timelinePosition > last) state->timelinePosition = 0.0f;
  } else if (state->timelinePosition < 0.0f) {
    state->timelinePosition = last;
  }
}

}  // namespace

void TimeLine_Stage() {
  const int64_t c = PassCounter++;
  if (Run_Room == nullptr) return;
  for (CInstance* at = Run_Room->active.head; at != nullptr;) {
    CInstance* next = at->next;
    InstancePathState* state = at->pathState;
    if ((at->flags & kInstTimelineRuns) != 0 && Instance_IsLive(at) && at->createCounter <= c && state != nullptr &&
        state->timelineIndex >= 0) {
      const CTimeLine* timeline = TimeLine_Find(state->timelineIndex);
      if (timeline != nullptr && timeline->Count() > 0) advance(at, state, *timeline);
    }
    at = next;
  }
}

#pragma once
// Timelines: assets of moments played per instance. A CTimeLine keeps its moments in two parallel
// arrays sorted by ascending time: `moments` (the time in steps) and `events`, where an entry is a
// CEvent* of the timeline's own, or, with the lowest bit set, a script index shifted left by one.
// The table owns its timelines, and each timeline owns the CEvents (and their code) it holds.
//
// The table is built from the TMLN records when the game is prepared; timeline_add appends or
// reuses the lowest free slot, timeline_delete leaves a gap. An instance names its timeline by
// index in its path record (world/instance_path.h); an index that names nothing is skipped by the
// stage. Main thread only.
#include <cstdint>
#include <string>
#include <vector>

class CInstance;
struct CEvent;

class CTimeLine {
 public:
  CTimeLine() = default;
  ~CTimeLine();
  CTimeLine(const CTimeLine&) = delete;
  CTimeLine& operator=(const CTimeLine&) = delete;

  // Index of the first moment with time >= t, or the moment count.
  int32_t First(double t) const;
  // Index of the last moment with time <= t, or -1.
  int32_t Last(double t) const;
  int32_t Count() const { return static_cast<int32_t>(moments.size()); }
  // Makes the moment at exactly time run the script (replacing what it ran), inserting a moment
  // in sorted place when there is none.
  void SetScript(int32_t time, int32_t script_index);
  // Makes the moment at time run compiled code row code_index (the form the data file gives).
  void SetCode(int32_t time, int32_t code_index);
  // Removes the moment at exactly time; false when there is none.
  bool ClearMoment(int32_t time);
  void Clear();
  // Index of the moment at exactly time, inserted in sorted place with no event if missing.
  int32_t MomentAt(int32_t time);

  std::string name;
  std::vector<int32_t> moments;
  std::vector<uintptr_t> events;

 private:
  void free_entry(uintptr_t entry);
};

inline bool TimeLine_EntryIsScript(uintptr_t entry) { return (entry & 1u) != 0; }
inline int32_t TimeLine_EntryScript(uintptr_t entry) { return static_cast<int32_t>(static_cast<intptr_t>(entry) >> 1); }
inline const CEvent* TimeLine_EntryEvent(uintptr_t entry) { return reinterpret_cast<const CEvent*>(entry); }

// ---- The table -----------------------------------------------------------------------------------
// Builds the table from the TMLN records read by the loader; false when a moment names code the
// compiled table lacks.
bool TimeLine_BuildFromAssets();
// Frees every timeline.
void TimeLine_FreeAll();
int32_t TimeLine_Count();
// null for an unknown or deleted index.
CTimeLine* TimeLine_Find(int32_t index);
// A new empty timeline in the lowest free slot, named "__newtimeline<index>"; its index.
int32_t TimeLine_Add();
bool TimeLine_Delete(int32_t index);

// ---- The stage of the step -----------------------------------------------------------------------
// One walk over the room's active list that advances every running timeline and runs the moments
// it crosses (PassCounter is read and incremented once).
void TimeLine_Stage();
// Runs one moment on the instance as self and other, with the current-event values set to the
// timeline, unless a room change is pending.
void TimeLine_RunMoment(CInstance* instance, int32_t timeline_index, const CTimeLine& timeline, int32_t moment);

// ---- Builtins ------------------------------------------------------------------------------------
// timeline_* (fn_timeline.cpp) and alarm_get/alarm_set (fn_alarm.cpp), of the time family.
void TimeLine_RegisterBuiltins();
void Alarm_RegisterBuiltins();

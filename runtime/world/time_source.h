#pragma once
// Time sources: a tree of timers that call a function after a period counted in microseconds or in
// game steps. Three roots exist for the whole process: 0 (global) collects the frame driver's real
// time in every frame, 1 (game, stateful) collects the time between steps, 2 is the hidden parent
// of call_later's sources. Nothing counts outside the step: the roots only collect, and the time
// stage of the step (TimeSource_Step) hands the collected time down and fires what has expired.
//
// Ownership: a parent owns its children, in creation order; removing a source deletes its subtree.
// A source whose callback is running (or one with such a descendant) is never deleted on request:
// it is marked and removed at the next walk, and a marked source counts as absent for every lookup.
// Callbacks and their argument copies stay alive through a TSCallback_GCProxy, a collector root for
// as long as the source holds a callback; a collector reset that frees the proxy first drops the
// source's callback, so the source then fires without calling anything.
//
// Costs: lookups by id walk the tree depth first; the step visits every source once and allocates
// only the copy of each children list it walks. Main thread only.
#include <cstdint>

#include "core/carray.h"
#include "core/rvalue.h"

enum TimeSourceKind : int32_t {
  kTimeSourceRoot = 0,
  kTimeSourceStatefulRoot = 1,
  kTimeSourceConfigurable = 2,
  kTimeSourceSelfDestructing = 3,
  kTimeSourceKindCount = 4,
};

enum TimeSourceState : int32_t {
  kTimeSourceInitial = 0,
  kTimeSourceActive = 1,
  kTimeSourcePaused = 2,
  kTimeSourceStopped = 3,
  kTimeSourceStateCount = 4,
};

enum TimeSourceUnits : int32_t {
  kTimeSourceSeconds = 0,
  kTimeSourceFrames = 1,
  kTimeSourceUnitsCount = 2,
};

enum TimeSourceExpiry : int32_t {
  kTimeSourceNearest = 0,
  kTimeSourceAfter = 1,
  kTimeSourceExpiryCount = 2,
};

constexpr int32_t kTimeSourceGlobalRoot = 0;
constexpr int32_t kTimeSourceGameRoot = 1;
constexpr int32_t kTimeSourceCallLaterRoot = 2;

class TSCallback_GCProxy;

class CTimeSource {
 public:
  CTimeSource(int32_t source_kind, int32_t source_id) : kind(source_kind), id(source_id) {}
  CTimeSource(const CTimeSource&) = delete;
  CTimeSource& operator=(const CTimeSource&) = delete;

  // Unlinks child and deletes it with its subtree.
  virtual void RemoveChild(CTimeSource* child);
  virtual CTimeSource* GetParent() { return nullptr; }
  // A root adds d to what it has collected; a configurable source counts and passes d on.
  virtual void Tick(uint64_t d);
  // Whether this source or a descendant is inside its callback.
  virtual bool FindRunningCallback();
  virtual void MarkForDestruction(bool recursive);
  virtual void Start() {}
  virtual ~CTimeSource();
  virtual void Fire() {}

  // Each child gets Tick(delta); the collected delta goes to 0.
  void TickChildren();
  // Removes marked children and fires the expired ones, depth first; see time_source.cpp.
  void Expire();
  // Sets every stateful descendant to state (the recursive half of start).
  void SetDescendantState(int32_t state);
  // Appends a child; false when memory ran out.
  bool AddChild(CTimeSource* child);
  bool HasChild(const CTimeSource* child) const;
  // Children that are not marked for destruction.
  int32_t LiveChildCount() const;

  uint64_t delta = 0;
  cArray<CTimeSource*> children;
  int32_t kind;
  int32_t id;
};

class CStatefulTimeSource : public CTimeSource {
 public:
  CStatefulTimeSource(int32_t source_kind, int32_t source_id) : CTimeSource(source_kind, source_id) {}
  void Start() override;

  int32_t state = kTimeSourceInitial;
};

class CConfigurableTimeSource : public CStatefulTimeSource {
 public:
  CConfigurableTimeSource(int32_t source_kind, int32_t source_id, CTimeSource* parent_source)
      : CStatefulTimeSource(source_kind, source_id), parent(parent_source) {}
  ~CConfigurableTimeSource() override;

  CTimeSource* GetParent() override { return parent; }
  // Besides passing d on, a configurable source keeps d in delta until its next tick: that is the
  // expected size of the coming tick, which nearest expiry compares the time remaining with.
  void Tick(uint64_t d) override;
  bool FindRunningCallback() override;
  void MarkForDestruction(bool recursive) override;
  // Reloads the repetitions of a spent source, then activates it and every descendant.
  void Start() override;
  void Fire() override;

  // The recursive state operations of the builtins.
  void Stop();
  void Pause();
  void Resume();
  void Reset();

  // Replaces the callback and its argument copies; the old proxy is released. False when memory ran
  // out (the source then has no callback).
  bool SetCallback(const RValue& method, const RValue* values, int32_t count);
  // Releases the proxy and frees the callback and arguments.
  void ClearCallback();

  int64_t elapsed = 0;
  int64_t period = 1;
  bool markedForDestruction = false;
  CTimeSource* parent;
  RValue callback = RV_Undefined();
  TSCallback_GCProxy* callbackProxy = nullptr;
  RValue* arguments = nullptr;
  int32_t argumentCount = 0;
  int32_t units = kTimeSourceSeconds;
  int64_t reps = 1;
  int64_t repsRemaining = 0;
  int64_t repsCompleted = 0;
  int32_t expiry = kTimeSourceAfter;
  bool inCallback = false;

 protected:
  // Steps 1 to 4 of a firing; a spent source stops, or marks itself when self_destruct.
  void fire(bool self_destruct);

 private:
  friend class TSCallback_GCProxy;
  // The collector freed the proxy (a collector reset): the values it kept alive are dropped.
  void proxy_gone();
};

// call_later's source: marks itself for destruction when its repetitions are spent.
class CSelfDestructingTimeSource final : public CConfigurableTimeSource {
 public:
  using CConfigurableTimeSource::CConfigurableTimeSource;
  void Fire() override { fire(true); }
};

extern int32_t NextTimeSourceId;

// The root with that id (0 to 2), or null.
CTimeSource* TimeSource_Root(int32_t id);
// A root by id, or a user source under roots 0 and 1; null when absent or marked.
CTimeSource* TimeSource_Find(int32_t id);
// A source of call_later (under root 2); null when absent or marked.
CConfigurableTimeSource* TimeSource_FindCallLater(int32_t id);

// A checked configuration, periods in microseconds or steps.
struct TimeSourceSettings {
  int64_t period = 1;
  int32_t units = kTimeSourceSeconds;
  int64_t reps = 1;
  int32_t expiry = kTimeSourceAfter;
};
// Checks a configuration given by a script, in this order: units, period (warnings on the error
// console for a period that is clipped or truncated), callback and arguments (null: none given),
// repetitions, expiry. Raises the script errors of the checks; false when one was raised while
// errors are muted.
bool TimeSource_CheckSettings(double period, int32_t units, const RValue& callback, const RValue* arguments,
                              int64_t reps, int32_t expiry, TimeSourceSettings* out);

// time_source_create: a configurable source in state 0 appended to parent's children. Prints the
// error and gives -1 for an unknown parent or when memory runs out.
int32_t TimeSource_Create(int32_t parent_id, const TimeSourceSettings& settings, const RValue& callback,
                          const RValue* arguments);
// time_source_reconfigure: new settings and callback; the source goes back to state 0 with its
// counters cleared, and its children keep theirs.
void TimeSource_Reconfigure(int32_t id, const TimeSourceSettings& settings, const RValue& callback,
                            const RValue* arguments);
void TimeSource_Destroy(int32_t id, bool destroy_children);
void TimeSource_Start(int32_t id);
void TimeSource_Stop(int32_t id);
void TimeSource_Pause(int32_t id);
void TimeSource_Resume(int32_t id);
void TimeSource_Reset(int32_t id);
// The getters' source: a configurable source, or null after printing the index error.
CConfigurableTimeSource* TimeSource_FindConfigurable(int32_t id);

// call_later: an active self-destructing source under root 2; its id, or -1 when memory ran out.
int32_t TimeSource_CallLater(const TimeSourceSettings& settings, const RValue& callback);
// call_cancel: a source in its callback is marked, otherwise removed now; unknown ids are ignored.
void TimeSource_CallCancel(int32_t id);

// The frame driver's part, in every frame: roots 0 and 2 collect the time since the last frame
// (a negative delta, from a clock that stepped back, counts as 0).
void TimeSource_FrameTick(int64_t delta_us);
// The time stage of the step (Run_Step passes Run_DeltaTime, the time between the starts of the
// last two steps): hands the collected time down, root 1 collects and hands down its step, then
// roots 0, 2 and 1 expire in that order.
void TimeSource_Step(int64_t last_step_delta_us);

// Deletes every user source, clears the roots and restarts the id counter: the end of a game round.
void TimeSource_ResetAll();

// Registers the time-source builtins (the time family).
void TimeSource_RegisterBuiltins();

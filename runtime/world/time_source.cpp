// The time-source tree: the classes, the callback proxy, the roots, the step's tick and expiry
// walk, and the typed operations behind the builtins.
#include "world/time_source.h"

#include <cmath>
#include <cstring>

#include "core/call.h"
#include "core/console.h"
#include "core/error.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"

int32_t NextTimeSourceId = 3;

// Keeps a source's callback and argument copies alive for the collector. It is a root while the
// source holds it; the source and the proxy point at each other until either lets go.
class TSCallback_GCProxy final : public KVObjectBase {
 public:
  explicit TSCallback_GCProxy(CConfigurableTimeSource* source) : KVObjectBase(kObjContainer), source_(source) {}
  ~TSCallback_GCProxy() override { release_source(); }

  bool Mark(uint32_t* bitmap, int32_t bits) override {
    if (!KVObjectBase::Mark(bitmap, bits)) return false;
    if (source_ != nullptr) {
      GCMarkValue(source_->callback);
      for (int32_t i = 0; i < source_->argumentCount; ++i) GCMarkValue(source_->arguments[i]);
    }
    return true;
  }
  void Free(bool free_now) override {
    release_source();
    KVObjectBase::Free(free_now);
  }
  void detach() { source_ = nullptr; }

 private:
  // Only a collector reset frees a proxy that is still attached: the source drops its values
  // while their storage still exists.
  void release_source() {
    CConfigurableTimeSource* source = source_;
    source_ = nullptr;
    if (source != nullptr) source->proxy_gone();
  }

  CConfigurableTimeSource* source_;
};

namespace {

constexpr int64_t kMaxPeriod = 0x7FFFFFFFFFFFFC00;
constexpr double kMaxPeriodAsDouble = 9223372036854774784.0;
constexpr double kMinSecondsPeriod = 0.000001;

struct Roots {
  CTimeSource global{kTimeSourceRoot, kTimeSourceGlobalRoot};
  CStatefulTimeSource game{kTimeSourceStatefulRoot, kTimeSourceGameRoot};
  CTimeSource later{kTimeSourceRoot, kTimeSourceCallLaterRoot};
};

// The roots live for the whole process and are never destroyed, so no exit-time destructor runs
// after the memory manager has gone.
Roots& roots() {
  static Roots* made = [] {
    Roots* r = KV_NEW(Roots);
    r->game.state = kTimeSourceActive;
    return r;
  }();
  return *made;
}

// A block of values owned for the length of a scope; small counts stay on the stack.
class ValueBlock {
 public:
  explicit ValueBlock(int32_t count) : count_(count) {
    values_ = count <= kLocal ? local_ : static_cast<RValue*>(KV_ALLOC(sizeof(RValue) * static_cast<size_t>(count)));
    if (values_ == nullptr) count_ = 0;
    for (int32_t i = 0; i < count_; ++i) values_[i] = RV_Undefined();
  }
  ~ValueBlock() {
    for (int32_t i = 0; i < count_; ++i) RV_FreeToUndefined(&values_[i]);
    if (values_ != local_) KV_FREE(values_);
  }
  ValueBlock(const ValueBlock&) = delete;
  ValueBlock& operator=(const ValueBlock&) = delete;
  RValue* values() { return values_; }
  int32_t count() const { return count_; }

 private:
  static constexpr int32_t kLocal = 8;
  RValue local_[kLocal];
  RValue* values_;
  int32_t count_;
};

// The children of a source as they were when a walk began, each with its id: an entry is still
// the same child only if the pointer is still among the children and carries the same id.
class ChildSnapshot {
 public:
  explicit ChildSnapshot(const cArray<CTimeSource*>& children) : count_(children.length) {
    entries_ = count_ <= kLocal ? local_ : static_cast<Entry*>(KV_ALLOC(sizeof(Entry) * static_cast<size_t>(count_)));
    if (entries_ == nullptr) count_ = 0;
    for (int64_t i = 0; i < count_; ++i) entries_[i] = {children.data[i], children.data[i]->id};
  }
  ~ChildSnapshot() {
    if (entries_ != local_) KV_FREE(entries_);
  }
  ChildSnapshot(const ChildSnapshot&) = delete;
  ChildSnapshot& operator=(const ChildSnapshot&) = delete;

  int64_t count() const { return count_; }
  bool still_child(const CTimeSource& parent, int64_t i) const {
    return parent.HasChild(entries_[i].source) && entries_[i].source->id == entries_[i].id;
  }
  CTimeSource* source(int64_t i) const { return entries_[i].source; }

 private:
  struct Entry {
    CTimeSource* source;
    int32_t id;
  };
  static constexpr int64_t kLocal = 8;
  Entry local_[kLocal];
  Entry* entries_;
  int64_t count_;
};

inline CConfigurableTimeSource* as_configurable(CTimeSource* source) {
  return source != nullptr && source->kind >= kTimeSourceConfigurable ? static_cast<CConfigurableTimeSource*>(source)
                                                                      : nullptr;
}

void barrier(KVObjectBase* parent, const RValue& value) {
  if (RV_Kind(value) == kRVObject && value.pObj != nullptr) GCWriteBarrier(parent, value.pObj);
  if (RV_Kind(value) == kRVArray && value.pArray != nullptr) GCWriteBarrier(parent, value.pArray);
}

void print_index_error(int32_t id) {
  g_ReleaseConsole->Output("Error: Index %d does not correspond to an existing time source\n", id);
}

CTimeSource* find_under(CTimeSource& node, int32_t id) {
  for (int64_t i = 0; i < node.children.length; ++i) {
    CConfigurableTimeSource* child = as_configurable(node.children.data[i]);
    if (child == nullptr || child->markedForDestruction) continue;
    if (child->id == id) return child;
    if (CTimeSource* found = find_under(*child, id)) return found;
  }
  return nullptr;
}

void apply_settings(CConfigurableTimeSource* source, const TimeSourceSettings& settings) {
  source->period = settings.period;
  source->units = settings.units;
  source->reps = settings.reps;
  source->expiry = settings.expiry;
  source->state = kTimeSourceInitial;
  source->elapsed = 0;
  source->repsRemaining = 0;
  source->repsCompleted = 0;
}

// The argument copies of a script array value; none for null.
void argument_values(const RValue* arguments, const RValue** values, int32_t* count) {
  *values = nullptr;
  *count = 0;
  if (arguments == nullptr || RV_Kind(*arguments) != kRVArray || arguments->pArray == nullptr) return;
  *values = arguments->pArray->pArray;
  *count = arguments->pArray->length;
}

// Removes a user source now, or marks it (its whole subtree when recursive) if a callback runs in it.
void destroy_source(CConfigurableTimeSource* source, bool recursive) {
  if (source->FindRunningCallback()) {
    source->MarkForDestruction(recursive);
    return;
  }
  source->parent->RemoveChild(source);
}

}  // namespace

// ---- CTimeSource ---------------------------------------------------------------------------------

CTimeSource::~CTimeSource() {
  for (int64_t i = 0; i < children.length; ++i) KV_Delete(children.data[i]);
}

void CTimeSource::RemoveChild(CTimeSource* child) {
  for (int64_t i = 0; i < children.length; ++i) {
    if (children.data[i] != child) continue;
    std::memmove(&children.data[i], &children.data[i + 1],
                 sizeof(CTimeSource*) * static_cast<size_t>(children.length - i - 1));
    children.data[children.length - 1] = nullptr;
    children.SetLength(children.length - 1);
    KV_Delete(child);
    return;
  }
}

void CTimeSource::Tick(uint64_t d) { delta += d; }

bool CTimeSource::FindRunningCallback() {
  for (int64_t i = 0; i < children.length; ++i) {
    if (children.data[i]->FindRunningCallback()) return true;
  }
  return false;
}

void CTimeSource::MarkForDestruction(bool recursive) {
  if (!recursive) return;
  for (int64_t i = 0; i < children.length; ++i) children.data[i]->MarkForDestruction(true);
}

void CTimeSource::TickChildren() {
  const uint64_t d = delta;
  for (int64_t i = 0; i < children.length; ++i) children.data[i]->Tick(d);
  delta = 0;
}

// Callbacks may create, destroy or mark sources anywhere, so the walk goes over a copy of the
// children and skips entries that have left. Nothing on the walk's stack can be deleted meanwhile:
// destroying an ancestor of the running source only marks it.
void CTimeSource::Expire() {
  if (children.length == 0) return;
  const ChildSnapshot snapshot(children);
  for (int64_t i = 0; i < snapshot.count(); ++i) {
    if (!snapshot.still_child(*this, i)) continue;
    CConfigurableTimeSource* child = as_configurable(snapshot.source(i));
    if (child == nullptr) continue;
    if (child->markedForDestruction) {
      RemoveChild(child);
      continue;
    }
    if (child->state == kTimeSourceActive) {
      if (child->elapsed >= child->period) {
        child->Fire();
      } else if (child->expiry == kTimeSourceNearest && child->units == kTimeSourceSeconds) {
        // Early by r now, or late by d - r after the coming tick: fire at the nearer of the two.
        const int64_t r = child->period - child->elapsed;
        const int64_t d =
            child->delta > static_cast<uint64_t>(kMaxPeriod) ? kMaxPeriod : static_cast<int64_t>(child->delta);
        if (r <= d && r < d - r) child->Fire();
      }
    }
    child->Expire();
    if (child->markedForDestruction) RemoveChild(child);
  }
}

void CTimeSource::SetDescendantState(int32_t state) {
  for (int64_t i = 0; i < children.length; ++i) {
    CTimeSource* child = children.data[i];
    if (child->kind >= kTimeSourceStatefulRoot) static_cast<CStatefulTimeSource*>(child)->state = state;
    child->SetDescendantState(state);
  }
}

bool CTimeSource::AddChild(CTimeSource* child) { return children.Add(child) >= 0; }

bool CTimeSource::HasChild(const CTimeSource* child) const {
  for (int64_t i = 0; i < children.length; ++i) {
    if (children.data[i] == child) return true;
  }
  return false;
}

int32_t CTimeSource::LiveChildCount() const {
  int32_t count = 0;
  for (int64_t i = 0; i < children.length; ++i) {
    const CConfigurableTimeSource* child = as_configurable(children.data[i]);
    if (child != nullptr && !child->markedForDestruction) ++count;
  }
  return count;
}

void CStatefulTimeSource::Start() {
  state = kTimeSourceActive;
  SetDescendantState(kTimeSourceActive);
}

// ---- CConfigurableTimeSource -------------------------------------------------------------------

CConfigurableTimeSource::~CConfigurableTimeSource() { ClearCallback(); }

void CConfigurableTimeSource::Tick(uint64_t d) {
  delta = d;
  if (state == kTimeSourceActive) elapsed += units == kTimeSourceSeconds ? static_cast<int64_t>(d) : 1;
  for (int64_t i = 0; i < children.length; ++i) children.data[i]->Tick(d);
}

bool CConfigurableTimeSource::FindRunningCallback() { return inCallback || CTimeSource::FindRunningCallback(); }

void CConfigurableTimeSource::MarkForDestruction(bool recursive) {
  markedForDestruction = true;
  CTimeSource::MarkForDestruction(recursive);
}

void CConfigurableTimeSource::Start() {
  if (repsRemaining == 0) {
    repsRemaining = reps;
    elapsed = 0;
  }
  CStatefulTimeSource::Start();
}

void CConfigurableTimeSource::Fire() { fire(false); }

void CConfigurableTimeSource::fire(bool self_destruct) {
  ++repsCompleted;
  if (repsRemaining > 0) --repsRemaining;
  if (repsRemaining != 0) {
    // Repeating keeps the remainder, so the source doesn't drift; an early firing leaves a debt.
    if (elapsed >= period) {
      elapsed %= period;
    } else {
      elapsed -= period;
    }
  } else if (self_destruct) {
    markedForDestruction = true;
  } else {
    state = kTimeSourceStopped;
  }
  const uint32_t callback_kind = RV_Kind(callback);
  if (callback_kind == kRVUndefined || callback_kind == kRVUnset) return;

  // The callback may reconfigure or destroy this source: it is called through copies.
  ValueBlock copies(1 + argumentCount);
  if (copies.count() == 0) return;
  RValue* values = copies.values();
  RV_CopyRef(&values[0], &callback);
  RValue* pointers_local[8];
  RValue** pointers = argumentCount <= 8
                          ? pointers_local
                          : static_cast<RValue**>(KV_ALLOC(sizeof(RValue*) * static_cast<size_t>(argumentCount)));
  if (pointers == nullptr) return;
  for (int32_t i = 0; i < argumentCount; ++i) {
    RV_CopyRef(&values[i + 1], &arguments[i]);
    pointers[i] = &values[i + 1];
  }
  const int32_t argc = copies.count() - 1;

  struct CallbackGuard {
    CConfigurableTimeSource* source;
    RValue** pointers;
    RValue** local;
    RValue result = RV_Undefined();
    ~CallbackGuard() {
      source->inCallback = false;
      RV_FreeToUndefined(&result);
      if (pointers != local) KV_FREE(pointers);
    }
  } guard{this, pointers, pointers_local};
  inCallback = true;
  CInstance* global = KV_AsInstance(Object_Global());
  CallMethod(global, global, &guard.result, argc, &values[0], argc > 0 ? pointers : nullptr);
}

void CConfigurableTimeSource::Stop() {
  if (state != kTimeSourceInitial && repsRemaining != 0) {
    state = kTimeSourceStopped;
    elapsed = 0;
  }
  for (int64_t i = 0; i < children.length; ++i) {
    if (CConfigurableTimeSource* child = as_configurable(children.data[i])) child->Stop();
  }
}

void CConfigurableTimeSource::Pause() {
  if (state == kTimeSourceActive) state = kTimeSourcePaused;
  for (int64_t i = 0; i < children.length; ++i) {
    if (CConfigurableTimeSource* child = as_configurable(children.data[i])) child->Pause();
  }
}

void CConfigurableTimeSource::Resume() {
  if (state == kTimeSourcePaused) state = kTimeSourceActive;
  for (int64_t i = 0; i < children.length; ++i) {
    if (CConfigurableTimeSource* child = as_configurable(children.data[i])) child->Resume();
  }
}

void CConfigurableTimeSource::Reset() {
  state = kTimeSourceInitial;
  repsRemaining = reps;
  elapsed = 0;
  repsCompleted = 0;
  for (int64_t i = 0; i < children.length; ++i) {
    if (CConfigurableTimeSource* child = as_configurable(children.data[i])) child->Reset();
  }
}

bool CConfigurableTimeSource::SetCallback(const RValue& method, const RValue* values, int32_t count) {
  // Copy first: the new values may be held only by the old ones.
  ValueBlock incoming(1 + (count > 0 ? count : 0));
  if (incoming.count() == 0) return false;
  RV_CopyRef(&incoming.values()[0], &method);
  for (int32_t i = 0; i < count; ++i) RV_CopyRef(&incoming.values()[i + 1], &values[i]);
  ClearCallback();

  RValue* kept = nullptr;
  if (count > 0) {
    kept = static_cast<RValue*>(KV_ALLOC(sizeof(RValue) * static_cast<size_t>(count)));
    if (kept == nullptr) return false;
  }
  auto* proxy = new TSCallback_GCProxy(this);
  GC_AddObject(proxy);
  GCAddRoot(proxy);
  callbackProxy = proxy;
  // The copies move into the source; the block is left holding nothing to free.
  callback = incoming.values()[0];
  incoming.values()[0] = RV_Undefined();
  barrier(proxy, callback);
  for (int32_t i = 0; i < count; ++i) {
    kept[i] = incoming.values()[i + 1];
    incoming.values()[i + 1] = RV_Undefined();
    barrier(proxy, kept[i]);
  }
  arguments = kept;
  argumentCount = count;
  return true;
}

void CConfigurableTimeSource::ClearCallback() {
  if (callbackProxy != nullptr) {
    callbackProxy->detach();
    GCRemoveRoot(callbackProxy);
    callbackProxy = nullptr;
  }
  RV_FreeToUndefined(&callback);
  for (int32_t i = 0; i < argumentCount; ++i) RV_FreeToUndefined(&arguments[i]);
  KV_FREE(arguments);
  arguments = nullptr;
  argumentCount = 0;
}

void CConfigurableTimeSource::proxy_gone() {
  callbackProxy = nullptr;
  ClearCallback();
}

// ---- Lookup ----------------------------------------------------------------------------------------

CTimeSource* TimeSource_Root(int32_t id) {
  switch (id) {
    case kTimeSourceGlobalRoot:
      return &roots().global;
    case kTimeSourceGameRoot:
      return &roots().game;
    case kTimeSourceCallLaterRoot:
      return &roots().later;
    default:
      return nullptr;
  }
}

CTimeSource* TimeSource_Find(int32_t id) {
  if (CTimeSource* root = TimeSource_Root(id)) return root;
  if (CTimeSource* found = find_under(roots().global, id)) return found;
  return find_under(roots().game, id);
}

CConfigurableTimeSource* TimeSource_FindCallLater(int32_t id) {
  if (id < NextTimeSourceId && id >= 3) return as_configurable(find_under(roots().later, id));
  return nullptr;
}

CConfigurableTimeSource* TimeSource_FindConfigurable(int32_t id) {
  CConfigurableTimeSource* source = as_configurable(TimeSource_Find(id));
  if (source == nullptr) print_index_error(id);
  return source;
}

// ---- Configuration -----------------------------------------------------------------------------

bool TimeSource_CheckSettings(double period, int32_t units, const RValue& callback, const RValue* arguments,
                              int64_t reps, int32_t expiry, TimeSourceSettings* out) {
  if (units != kTimeSourceSeconds && units != kTimeSourceFrames) {
    KVError("Illegal time source unit type: %d", units);
    return false;
  }
  double stored;
  if (units == kTimeSourceSeconds) {
    if (!(period >= kMinSecondsPeriod)) {
      g_ReleaseConsole->Output(
          "Warning: Second-based time source period was too low and will be clipped (min: 1e-6).\n");
      period = kMinSecondsPeriod;
    }
    stored = std::round(period * 1000000.0);
  } else {
    if (!(period >= 1.0)) {
      g_ReleaseConsole->Output("Warning: Frame-based time source period was too low and will be clipped (min: 1).\n");
      period = 1.0;
    } else if (period != std::trunc(period)) {
      g_ReleaseConsole->Output(
          "Warning: Non-integral period for a frame-based time source will be converted to an integer.\n");
    }
    stored = std::trunc(period);
  }
  if (!Call_IsCallable(callback)) {
    KVError("Time source callback must be a method or function");
    return false;
  }
  if (arguments != nullptr && RV_Kind(*arguments) != kRVArray) {
    KVError("Time source callback arguments must be an array");
    return false;
  }
  if (reps == 0 || reps < -1) {
    KVError("Illegal time source repetition value: %d", static_cast<int32_t>(reps));
    return false;
  }
  if (expiry != kTimeSourceNearest && expiry != kTimeSourceAfter) {
    KVError("Illegal time source expiry type: %d", expiry);
    return false;
  }
  out->period = stored > kMaxPeriodAsDouble ? kMaxPeriod : static_cast<int64_t>(stored);
  out->units = units;
  out->reps = reps;
  out->expiry = expiry;
  return true;
}

// ---- Operations of the builtins --------------------------------------------------------------------

int32_t TimeSource_Create(int32_t parent_id, const TimeSourceSettings& settings, const RValue& callback,
                          const RValue* arguments) {
  CTimeSource* parent = parent_id == kTimeSourceCallLaterRoot ? nullptr : TimeSource_Find(parent_id);
  if (parent == nullptr) {
    print_index_error(parent_id);
    return -1;
  }
  const RValue* values = nullptr;
  int32_t count = 0;
  argument_values(arguments, &values, &count);
  auto* source = KV_NEW(CConfigurableTimeSource, kTimeSourceConfigurable, NextTimeSourceId, parent);
  if (source == nullptr || !source->SetCallback(callback, values, count) || !parent->AddChild(source)) {
    KV_Delete(source);
    g_ReleaseConsole->Output("Error: Failed to create the time source\n");
    return -1;
  }
  ++NextTimeSourceId;
  apply_settings(source, settings);
  return source->id;
}

void TimeSource_Reconfigure(int32_t id, const TimeSourceSettings& settings, const RValue& callback,
                            const RValue* arguments) {
  CConfigurableTimeSource* source = TimeSource_FindConfigurable(id);
  if (source == nullptr) return;
  const RValue* values = nullptr;
  int32_t count = 0;
  argument_values(arguments, &values, &count);
  if (!source->SetCallback(callback, values, count)) {
    g_ReleaseConsole->Output("Error: Failed to create the time source\n");
  }
  apply_settings(source, settings);
}

void TimeSource_Destroy(int32_t id, bool destroy_children) {
  CTimeSource* found = TimeSource_Find(id);
  if (found == nullptr) {
    print_index_error(id);
    return;
  }
  CConfigurableTimeSource* source = as_configurable(found);
  if (source == nullptr) {
    g_ReleaseConsole->Output("Error: Cannot destroy a built-in time source\n");
    return;
  }
  if (!destroy_children && source->LiveChildCount() > 0) {
    g_ReleaseConsole->Output(
        "Error: Cannot destroy the time source (index %d) until its children have been destroyed\n", id);
    return;
  }
  destroy_source(source, destroy_children);
}

void TimeSource_Start(int32_t id) {
  CTimeSource* source = TimeSource_Find(id);
  if (source == nullptr) {
    print_index_error(id);
  } else if (source->kind == kTimeSourceRoot) {
    g_ReleaseConsole->Output("Error: Cannot change the state of a stateless built-in time source\n");
  } else {
    source->Start();
  }
}

void TimeSource_Stop(int32_t id) {
  CTimeSource* source = TimeSource_Find(id);
  if (source == nullptr) {
    print_index_error(id);
  } else if (CConfigurableTimeSource* configurable = as_configurable(source)) {
    configurable->Stop();
  } else {
    g_ReleaseConsole->Output("Error: Cannot stop a built-in time source\n");
  }
}

void TimeSource_Pause(int32_t id) {
  CTimeSource* source = TimeSource_Find(id);
  if (source == nullptr) {
    print_index_error(id);
  } else if (CConfigurableTimeSource* configurable = as_configurable(source)) {
    configurable->Pause();
  } else if (source->kind == kTimeSourceStatefulRoot) {
    auto* game = static_cast<CStatefulTimeSource*>(source);
    if (game->state == kTimeSourceActive) game->state = kTimeSourcePaused;
    for (int64_t i = 0; i < game->children.length; ++i) as_configurable(game->children.data[i])->Pause();
  } else {
    g_ReleaseConsole->Output("Error: Cannot change the state of a stateless built-in time source\n");
  }
}

void TimeSource_Resume(int32_t id) {
  CTimeSource* source = TimeSource_Find(id);
  if (source == nullptr) {
    print_index_error(id);
  } else if (CConfigurableTimeSource* configurable = as_configurable(source)) {
    configurable->Resume();
  } else if (source->kind == kTimeSourceStatefulRoot) {
    auto* game = static_cast<CStatefulTimeSource*>(source);
    if (game->state == kTimeSourcePaused) game->state = kTimeSourceActive;
    for (int64_t i = 0; i < game->children.length; ++i) as_configurable(game->children.data[i])->Resume();
  } else {
    g_ReleaseConsole->Output("Error: Cannot change the state of a stateless built-in time source\n");
  }
}

void TimeSource_Reset(int32_t id) {
  CTimeSource* source = TimeSource_Find(id);
  if (source == nullptr) {
    print_index_error(id);
  } else if (CConfigurableTimeSource* configurable = as_configurable(source)) {
    configurable->Reset();
  } else {
    g_ReleaseConsole->Output("Error: Cannot reset a built-in time source\n");
  }
}

int32_t TimeSource_CallLater(const TimeSourceSettings& settings, const RValue& callback) {
  CTimeSource& parent = roots().later;
  auto* source = KV_NEW(CSelfDestructingTimeSource, kTimeSourceSelfDestructing, NextTimeSourceId, &parent);
  if (source == nullptr || !source->SetCallback(callback, nullptr, 0) || !parent.AddChild(source)) {
    KV_Delete(source);
    g_ReleaseConsole->Output("Error: Failed to create the time source\n");
    return -1;
  }
  ++NextTimeSourceId;
  apply_settings(source, settings);
  source->state = kTimeSourceActive;
  source->repsRemaining = source->reps;
  return source->id;
}

void TimeSource_CallCancel(int32_t id) {
  if (CConfigurableTimeSource* source = TimeSource_FindCallLater(id)) destroy_source(source, true);
}

// ---- The frame and the step ------------------------------------------------------------------------

void TimeSource_FrameTick(int64_t delta_us) {
  const uint64_t d = delta_us > 0 ? static_cast<uint64_t>(delta_us) : 0;
  roots().global.Tick(d);
  roots().later.Tick(d);
}

void TimeSource_Step(int64_t last_step_delta_us) {
  Roots& r = roots();
  r.global.TickChildren();
  r.later.TickChildren();
  r.game.Tick(last_step_delta_us > 0 ? static_cast<uint64_t>(last_step_delta_us) : 0);
  r.game.TickChildren();
  r.global.Expire();
  r.later.Expire();
  r.game.Expire();
}

void TimeSource_ResetAll() {
  Roots& r = roots();
  for (CTimeSource* root : {static_cast<CTimeSource*>(&r.global), static_cast<CTimeSource*>(&r.game),
                            static_cast<CTimeSource*>(&r.later)}) {
    while (root->children.length > 0) root->RemoveChild(root->children.data[root->children.length - 1]);
    root->delta = 0;
  }
  r.game.state = kTimeSourceActive;
  NextTimeSourceId = 3;
}

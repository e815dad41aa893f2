// First form of the collector: one table of all objects, whole mark-and-sweep passes from the
// roots paced over the frames' steps, finalisers before the sweep, parked lists by kind,
// remembered sets fed by the write barrier, and the generation fields and id ranges of every
// object. Arrays count as roots while a value outside every object still holds them: their count
// is compared with the references that objects hold.
#include "core/gc.h"

#include <algorithm>
#include <typeinfo>
#include <vector>

#include "core/call.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/object_internal.h"
#include "core/timing.h"
#include "core/variable_names.h"

KVObjectBase* g_GlobalObject = nullptr;
KVObjectBase* g_ObjectContainer = nullptr;
bool g_GCAvailable = true;
bool g_GCEnabled = true;
bool g_GCForce = false;
bool g_GCThreadedWanted = true;
uint32_t g_GCStamp = 1;
int32_t g_GCFrame = 0;
int32_t g_GCMarkLimit = kGCGenerations;
bool g_GCForceNext = false;
int32_t g_AllocGeneration = 0;
int32_t g_GCMarkedCount = 0;
int32_t g_GCGeneration = 0;
int32_t g_GCLastGeneration = 0;
int64_t g_GCTargetTime = 100;
bool g_GCPassDone = false;

namespace {

using ObjectSet = CHashMap<KVObjectBase*, bool>;

// The holder of the roots: marking it marks every object in its set.
class GCObjectContainer final : public KVObjectBase {
 public:
  GCObjectContainer() : KVObjectBase(kObjContainer) {}
  ~GCObjectContainer() override { KV_Delete(members_); }
  bool Mark(uint32_t* bitmap, int32_t bits) override {
    if (!KVObjectBase::Mark(bitmap, bits)) return false;
    members_->ForEach([](KVObjectBase* const& member, const bool&) { GCMarkObject(member, true); });
    return true;
  }
  void Free(bool free_now) override {
    members_->Clear();
    KVObjectBase::Free(free_now);
  }
  void add(KVObjectBase* object) { members_->Insert(object, true); }
  void remove(KVObjectBase* object) { members_->Delete(object); }

 private:
  ObjectSet* members_ = KV_NEW(ObjectSet, 8);
};

// A generation's range of ids and the record of its passes, from which the next pass's generation
// is chosen. The base fields hold the baseline a pass is compared with: the first pass of the
// generation, or the first after a pass of an older generation ran.
struct Generation {
  ObjectSet* remembered = nullptr;
  int32_t min_id = 0x7FFFFFFF;
  int32_t max_id = -1;
  int32_t last_pass = -1;  // g_GCFrame at the last pass
  int32_t base_touched = 0;
  int32_t base_freed = 0;
  int32_t touched = 0;  // objects marked in the last pass
  int32_t freed = 0;    // objects freed in the last pass
  float free_ratio = 4096.0f;
  int32_t base_generation = 0;
  int64_t time_spent = 0;  // microseconds of marking and finding the dead in the last pass
};

struct QueueEntry {
  KVObjectBase* object;
  bool forced;
};

std::vector<KVObjectBase*> g_objects;  // indexed by slotId; null for a free entry
std::vector<int32_t> g_free_ids;
size_t g_made_since_step = 0;  // objects registered since the last step
size_t g_work_credit = 0;      // marking work earned by steps and not yet spent, in objects
size_t g_count = 0;
size_t g_array_count = 0;  // arrays in the table: without any, no array can be a root of its own
std::vector<KVObjectBase*> g_self_stack;
KVObjectBase* g_parked[kGCParkedKinds] = {};
size_t g_parked_count[kGCParkedKinds] = {};
Generation g_generations[kGCGenerations];
std::vector<QueueEntry> g_queue;
std::vector<uint32_t> g_bitmap;
int64_t g_collection_time = 0;  // microseconds the last pass spent freeing; 0 when it freed nothing
bool g_headless = false;        // -headless: GCCollectAll does nothing

bool reusable_kind(int32_t kind) { return kind == kObjStruct || kind == kObjAccessor || kind == kObjProperty; }

// Only plain objects of the reusable kinds wait for CreateObject; everything else the sweep frees
// (arrays, weak references, function objects, and the classes derived from the plain object such
// as curves and sequences, which can't be handed out again as plain objects) is deleted by the
// sweep itself, so a game that makes and drops arrays every frame holds no more of them than one
// pass frees, whether or not its frames have idle time.
bool parks(const KVObjectBase* object) { return reusable_kind(object->kind) && typeid(*object) == typeid(KVObjectBase); }

// Parked objects a kind may keep beyond what CreateObject takes back; above it each step deletes
// at most kParkedTrimPerStep of them, so a burst of garbage is given back over a few frames even
// when no frame has idle time.
constexpr size_t kParkedKeep = 1024;
constexpr int32_t kParkedTrimPerStep = 256;

void park(KVObjectBase* object) {
  const int32_t kind = object->kind;
  object->prev = nullptr;
  object->next = g_parked[kind];
  if (object->next != nullptr) object->next->prev = object;
  g_parked[kind] = object;
  ++g_parked_count[kind];
}

KVObjectBase* unpark(int32_t kind) {
  KVObjectBase* object = g_parked[kind];
  if (object == nullptr) return nullptr;
  g_parked[kind] = object->next;
  if (object->next != nullptr) object->next->prev = nullptr;
  object->next = nullptr;
  object->prev = nullptr;
  --g_parked_count[kind];
  return object;
}

void destroy_storage(KVObjectBase* object) { delete object; }

void unregister(KVObjectBase* object) {
  if (object->slotId >= 0 && static_cast<size_t>(object->slotId) < g_objects.size() &&
      g_objects[object->slotId] == object) {
    g_objects[object->slotId] = nullptr;
    g_free_ids.push_back(object->slotId);
    --g_count;
    if (object->kind == kObjArray) --g_array_count;
  }
  object->slotId = -1;
  object->generation = 0;
}

void forget_remembered(KVObjectBase* object) {
  for (Generation& generation : g_generations) {
    if (generation.remembered != nullptr) generation.remembered->Delete(object);
  }
}

GCObjectContainer* container() {
  if (g_ObjectContainer == nullptr) {
    auto* made = new GCObjectContainer();
    GC_AddObject(made);
    g_ObjectContainer = made;
  }
  return static_cast<GCObjectContainer*>(g_ObjectContainer);
}

bool is_marked(int32_t id) { return (g_bitmap[static_cast<size_t>(id) >> 5] & (1u << (id & 31))) != 0; }

void drain_queue();

// Counts, per array, the references that collected objects hold, and gathers the arrays. Every
// instance is a root: it is marked (with what it reaches) as the walk passes it, while the object
// is still in the cache, so that each object is walked once. The order of marking doesn't matter:
// an object is entered once whatever reaches it first.
std::vector<int32_t> inner_array_counts(std::vector<KVObjectBase*>* arrays) {
  std::vector<int32_t> counts(g_array_count > 0 ? g_objects.size() : 0, 0);
  auto count = [&counts](const RValue& value) {
    if (RV_Kind(value) != kRVArray || value.pArray == nullptr) return;
    const int32_t id = value.pArray->slotId;
    if (id >= 0 && static_cast<size_t>(id) < counts.size()) ++counts[static_cast<size_t>(id)];
  };
  const size_t size = g_objects.size();
  constexpr size_t kAhead = 8;  // objects are scattered: ask for the next ones early
  for (size_t i = 0; i < size; ++i) {
    if (i + kAhead < size && g_objects[i + kAhead] != nullptr) {
      const KVObjectBase* ahead = g_objects[i + kAhead];
      __builtin_prefetch(ahead);
      __builtin_prefetch(&ahead->slotMap);
    }
    KVObjectBase* object = g_objects[i];
    if (object == nullptr) continue;
    if (g_array_count > 0) {
      if (object->kind == kObjArray) arrays->push_back(object);
      if (object->slotMap != nullptr) {
        object->slotMap->ForEach([&count](const int32_t&, RValue* const& value) { count(*value); });
      }
      for (int32_t j = 0; object->flatSlots != nullptr && j < object->flatSlotCount; ++j) count(object->flatSlots[j]);
      if (object->kind == kObjArray) {
        const auto* array = static_cast<const RefDynamicArrayOfRValue*>(object);
        for (int32_t j = 0; j < array->length; ++j) count(array->pArray[j]);
      } else if (object->kind == kObjScriptRef) {
        count(static_cast<const CScriptRef*>(object)->tag);
      }
    }
    if (object->kind == kObjInstance) {
      GCMarkObject(object, true);
      drain_queue();
    }
  }
  return counts;
}

void mark_roots() {
  if (g_GlobalObject != nullptr) GCMarkObject(g_GlobalObject, true);
  if (g_ObjectContainer != nullptr) GCMarkObject(g_ObjectContainer, true);
  for (KVObjectBase* object : g_self_stack) {
    if (object != nullptr) GCMarkObject(object, true);
  }
  std::vector<KVObjectBase*> arrays;
  const std::vector<int32_t> inner = inner_array_counts(&arrays);
  for (KVObjectBase* object : arrays) {
    if (static_cast<RefDynamicArrayOfRValue*>(object)->refCount > inner[static_cast<size_t>(object->slotId)]) {
      GCMarkObject(object, true);
    }
  }
}

void drain_queue() {
  const int32_t bits = static_cast<int32_t>(g_objects.size());
  for (size_t head = 0; head < g_queue.size(); ++head) {
    const QueueEntry entry = g_queue[head];
    if (entry.forced) g_GCForceNext = true;
    entry.object->Mark(g_bitmap.data(), bits);
    g_GCForceNext = false;
    entry.object->flags &= ~kObjFlagQueued;
  }
  g_queue.clear();
}

// The finaliser of a dead object: its "@@Dispose@@" value, or for a plain struct a callable
// "dispose" along its prototypes.
bool finaliser_of(KVObjectBase* object, RValue* out) {
  if (object->GetDispose(out)) return true;
  if (object->kind != kObjStruct || object->flatSlots != nullptr) return false;
  const int32_t slot = Variable_GetSlot("dispose");
  if (slot < 0) return false;
  int steps = 0;
  for (KVObjectBase* at = object; at != nullptr && steps < 1000; at = at->prototype, ++steps) {
    RValue* value = at->FindOwnSlot(slot);
    if (value != nullptr && RV_Kind(*value) == kRVObject && Call_IsCallable(*value)) {
      RV_Assign(out, value);
      return true;
    }
  }
  return false;
}

// Runs the finalisers of the dead; true when any ran (they may have made objects reachable again).
bool run_finalisers(const std::vector<KVObjectBase*>& dead) {
  bool ran = false;
  for (KVObjectBase* object : dead) {
    if ((object->flags & kObjFlagFinalised) != 0) continue;
    RValue finaliser = RV_Undefined();
    if (!finaliser_of(object, &finaliser)) continue;
    object->flags |= kObjFlagFinalised;
    ran = true;
    RValue result = RV_Undefined();
    struct Release {
      RValue* a;
      RValue* b;
      ~Release() {
        RV_FreeToUndefined(a);
        RV_FreeToUndefined(b);
      }
    } release{&finaliser, &result};
    CallMethod(KV_AsInstance(object), KV_AsInstance(object), &result, 0, &finaliser, nullptr);
  }
  return ran;
}

// The free path of the objects the pass found dead: every one lets go of what it holds first, then
// those that aren't parked are deleted (last, since a weak reference freed in the loop may still
// have pointed at one of them).
void free_dead(const std::vector<KVObjectBase*>& dead) {
  std::vector<KVObjectBase*> gone;
  for (KVObjectBase* object : dead) {
    forget_remembered(object);
    unregister(object);
    object->PreFree();
    object->className = nullptr;
    object->prototype = nullptr;
    object->flags = kObjFlagExtensible;
    object->Free(true);
    if (parks(object)) {
      park(object);
    } else {
      gone.push_back(object);
    }
  }
  for (KVObjectBase* object : gone) destroy_storage(object);
}

void delete_all_parked() {
  for (int32_t kind = 0; kind < kGCParkedKinds; ++kind) {
    while (KVObjectBase* object = unpark(kind)) destroy_storage(object);
  }
}

void trim_parked() {
  int32_t budget = kParkedTrimPerStep;
  for (int32_t kind = 0; kind < kGCParkedKinds && budget > 0; ++kind) {
    while (g_parked_count[kind] > kParkedKeep && budget-- > 0) destroy_storage(unpark(kind));
  }
}

// The pace of the frame's step. A pass marks every live object, which on a large heap costs more
// than a frame's budget; the step then earns the work of its budget (the objects a pass marks and
// sweeps in g_GCTargetTime microseconds, at the rate the passes so far were measured to run, and
// kStepWork objects a 100 microseconds before any pass was long enough to measure) plus three
// objects for each object made since the last step, and runs the whole pass once the earnings
// cover the table. A small heap is collected at every step, a large one every few steps, so that
// the passes take about the budget a frame whatever the objects cost to mark (an instance with its
// variables costs several times a bare struct); a game that allocates fast is collected as often
// as it needs; with a budget of 0 only allocation earns work. Each pass is whole and atomic, as
// before: skipping a step only leaves garbage for longer.
constexpr size_t kStepWork = 4096;
constexpr int64_t kStepWorkTime = 100;  // the budget that kStepWork stands for, in microseconds
constexpr size_t kMadeWork = 3;
// Only a pass over at least kStepWork objects that took at least kRateMinTime is measured: shorter
// ones say little (the clock counts whole microseconds, and one preemption can outlast the pass),
// and a heap that small is collected at every step at the default rate. A measured rate stays
// within a factor of kRateRange of the default, so one slow pass can't stop the collection of a
// large heap.
constexpr int64_t kRateMinTime = 200;
constexpr double kDefaultRate = static_cast<double>(kStepWork) / static_cast<double>(kStepWorkTime);
constexpr double kRateRange = 8.0;

double g_objects_per_us = kDefaultRate;  // the measured rate of whole passes
bool g_rate_measured = false;

size_t step_work() {
  constexpr int64_t kMaxTime = int64_t{1} << 40;  // far beyond any table; keeps the product in range
  const double work = static_cast<double>(std::min(g_GCTargetTime, kMaxTime)) * g_objects_per_us;
  return work >= 1e18 ? static_cast<size_t>(1e18) : static_cast<size_t>(work);
}

// Takes a pass's objects and time into the rate, as a running mean that follows changes in the
// heap's make-up within a few passes.
void measure_rate(size_t objects, int64_t time) {
  if (time < kRateMinTime || objects < kStepWork) return;
  const double rate = std::clamp(static_cast<double>(objects) / static_cast<double>(time), kDefaultRate / kRateRange,
                                 kDefaultRate * kRateRange);
  g_objects_per_us = g_rate_measured ? 0.5 * (g_objects_per_us + rate) : rate;
  g_rate_measured = true;
}

bool pass_due() {
  const size_t work = step_work();
  g_work_credit += work + kMadeWork * g_made_since_step;
  g_made_since_step = 0;
  if (g_work_credit < g_count) return false;
  g_work_credit = std::min(g_work_credit - g_count, work);
  return true;
}

// The record of a finished pass of generation g that marked `touched` objects: the baseline is
// set by the generation's first pass, and taken again when an older generation ran since its last.
void record_pass(int32_t g, int32_t touched, int64_t time) {
  Generation& gen = g_generations[g];
  const int32_t frame = g_GCFrame;
  if (gen.last_pass == -1) {
    gen.base_freed = gen.freed;
    gen.base_touched = touched;
    gen.base_generation = g;
  } else if (frame > gen.last_pass + 1) {
    gen.base_generation = g;
    for (int32_t j = g + 1; j < kGCGenerations; ++j) {
      if (g_generations[j].last_pass <= gen.last_pass) continue;
      gen.base_touched = touched;
      gen.free_ratio = touched == 0 ? 4096.0f : static_cast<float>(gen.freed) / static_cast<float>(touched);
      gen.base_generation = j;
    }
  }
  gen.last_pass = frame;
  gen.touched = touched;
  gen.time_spent += time;
}

// The generation of the next pass after a pass of g: 0, unless the pass did much more work than its
// baseline, freed a falling share of what it touched, or took much longer than a pass of the
// generation below; then g + 1, where 4 stands back at 3 (only an explicit pass collects 4).
int32_t next_generation(int32_t g) {
  Generation& gen = g_generations[g];
  const auto promote = [g] {
    if (g + 1 < kGCGenerations - 1) return g + 1;
    Generation& third = g_generations[kGCGenerations - 2];
    third.base_touched = third.touched;
    return kGCGenerations - 2;
  };
  if (gen.base_touched == 0) return 0;
  if (gen.touched <= 200 && gen.time_spent <= 500) return 0;
  const int32_t base_live = gen.base_touched - gen.base_freed;
  if (base_live > 0 && static_cast<double>(gen.touched - gen.freed) / base_live > 2.0) return promote();
  if (g < 3 && gen.touched > 0) {
    if (gen.free_ratio == 0.0f) return promote();
    if (gen.free_ratio > 0.0f) {
      const float ratio = static_cast<float>(gen.freed) / static_cast<float>(gen.touched);
      const float old = gen.free_ratio;
      gen.free_ratio *= 1.1f;
      if (ratio < 4.0f && ratio / old < 0.5f) return promote();
    }
  }
  if ((g == 1 || g == 2) && g_generations[g - 1].time_spent > 0 &&
      static_cast<double>(gen.time_spent) / static_cast<double>(g_generations[g - 1].time_spent) > 2.0) {
    return promote();
  }
  return 0;
}

// A whole pass of generation g. This form marks and sweeps every generation whatever g is; g names
// the record that takes the pass's statistics and the pacing of the next generation. Counting costs
// three clock reads a pass and nothing per object beyond the mark count.
void run_pass(int32_t g) {
  const int64_t start = Timing_Time();
  const size_t table = g_count;
  ++g_GCStamp;
  g_GCMarkedCount = 0;
  g_GCMarkLimit = kGCGenerations;
  g_bitmap.assign((g_objects.size() + 31) / 32 + 1, 0);
  mark_roots();
  drain_queue();
  std::vector<KVObjectBase*> dead;
  for (size_t id = 0; id < g_objects.size(); ++id) {
    KVObjectBase* object = g_objects[id];
    if (object != nullptr && !is_marked(static_cast<int32_t>(id))) dead.push_back(object);
  }
  Generation& gen = g_generations[g];
  gen.freed = 0;
  gen.time_spent = 0;
  const bool finalised = !dead.empty() && run_finalisers(dead);
  const int64_t marked = Timing_Time();
  g_collection_time = 0;
  // A pass in which finalisers ran ends without freeing or statistics: they may have saved objects.
  if (!finalised) {
    if (!dead.empty()) {
      gen.freed = static_cast<int32_t>(dead.size());
      free_dead(dead);
      g_collection_time = Timing_Time() - marked;
    }
    record_pass(g, g_GCMarkedCount, marked - start);
    g_GCPassDone = true;
  }
  measure_rate(table, Timing_Time() - start);
  g_GCLastGeneration = g;
  g_GCGeneration = next_generation(g);
  ++g_GCFrame;
}

void count_generations(int32_t counts[kGCGenerations]) {
  for (const KVObjectBase* object : g_objects) {
    if (object != nullptr && object->generation >= 0 && object->generation < kGCGenerations) {
      ++counts[object->generation];
    }
  }
}

}  // namespace

void GC_AddObject(KVObjectBase* object) {
  if (!g_free_ids.empty()) {
    object->slotId = g_free_ids.back();
    g_free_ids.pop_back();
    g_objects[object->slotId] = object;
  } else {
    object->slotId = static_cast<int32_t>(g_objects.size());
    g_objects.push_back(object);
  }
  ++g_count;
  if (object->kind == kObjArray) ++g_array_count;
  ++g_made_since_step;
  const int32_t generation = g_AllocGeneration >= 0 && g_AllocGeneration < kGCGenerations ? g_AllocGeneration : 0;
  object->generation = generation;
  object->birthStamp = g_GCStamp;
  Generation& range = g_generations[generation];
  if (object->slotId < range.min_id) range.min_id = object->slotId;
  if (object->slotId > range.max_id) range.max_id = object->slotId;
}

void GCWriteBarrier(KVObjectBase* parent, KVObjectBase* child) {
  if (!g_GCAvailable || parent == nullptr || child == nullptr) return;
  if (parent->generation <= child->generation || child->slotId < 0) return;
  // A pass of child's generation (or of any generation below parent's) must count child as a root.
  for (int32_t generation = child->generation; generation < parent->generation && generation < kGCGenerations;
       ++generation) {
    Generation& target = g_generations[generation];
    if (target.remembered == nullptr) target.remembered = KV_NEW(ObjectSet, 16);
    target.remembered->Insert(child, true);
  }
}

void GC_PushSelf(KVObjectBase* object) {
  if (g_GCAvailable) g_self_stack.push_back(object);
}

void GC_PopSelf(int count) {
  while (count-- > 0 && !g_self_stack.empty()) g_self_stack.pop_back();
}

KVObjectBase* GC_CurrentObject() { return g_self_stack.empty() ? g_GlobalObject : g_self_stack.back(); }

void GCMarkObject(KVObjectBase* object, bool forced) {
  if (object == nullptr || (object->flags & kObjFlagQueued) != 0) return;
  object->flags |= kObjFlagQueued;
  g_queue.push_back({object, forced});
}

void GCMarkValue(const RValue& value) {
  switch (RV_Kind(value)) {
    case kRVArray:
    case kRVObject:
    case kRVAccessor:
      if (value.pObj != nullptr) GCMarkObject(value.pObj, false);
      break;
    default:
      break;
  }
}

void GCAddRoot(KVObjectBase* object) {
  if (object == nullptr) return;
  GCObjectContainer* roots = container();
  roots->add(object);
  GCWriteBarrier(roots, object);
}

void GCRemoveRoot(KVObjectBase* object) {
  if (object != nullptr && g_ObjectContainer != nullptr) container()->remove(object);
}

KVObjectBase* GC_ObjectContainer() { return container(); }

KVObjectBase* GC_TakeParked(int32_t kind) { return reusable_kind(kind) ? unpark(kind) : nullptr; }

size_t GC_ParkedCount(int32_t kind) { return kind >= 0 && kind < kGCParkedKinds ? g_parked_count[kind] : 0; }

void GCStep(int mode) {
  g_GCPassDone = false;
  if (!g_GCAvailable) return;
  if (!g_GCEnabled && !g_GCForce) return;
  const bool whole = g_GCForce || mode >= 0;
  g_GCForce = false;
  if (mode >= 0) g_GCGeneration = std::min(mode, kGCGenerations - 1);
  if (pass_due() || whole) run_pass(g_GCGeneration);
  trim_parked();
}

size_t GC_StepWork() { return step_work(); }

void GC_Collect() {
  g_GCForce = true;
  g_GCGeneration = kGCGenerations - 2;
}

GCStats GC_GetStats() {
  GCStats stats;
  if (g_GCPassDone) {
    const Generation& last = g_generations[g_GCLastGeneration];
    stats.touched = last.touched;
    stats.collected = last.freed;
    stats.traversal_time = last.time_spent;
  }
  stats.collection_time = g_collection_time;
  stats.frame = g_GCFrame;
  stats.generation = g_GCLastGeneration;
  count_generations(stats.generation_counts);
  return stats;
}

void GCCollectAll() {
  if (g_headless) return;
  const bool enabled = g_GCEnabled;
  g_GCEnabled = true;
  GCStep(kGCGenerations - 1);
  g_GCEnabled = enabled;
  delete_all_parked();
}

size_t GC_ObjectCount() { return g_count; }

bool GC_IsRemembered(const KVObjectBase* object, int32_t generation) {
  if (generation < 0 || generation >= kGCGenerations || g_generations[generation].remembered == nullptr) return false;
  return g_generations[generation].remembered->Contains(const_cast<KVObjectBase*>(object));
}

int32_t GC_GenerationObjectCount(int32_t generation) {
  int32_t counts[kGCGenerations] = {};
  count_generations(counts);
  return generation >= 0 && generation < kGCGenerations ? counts[generation] : 0;
}

void GC_Reset() {
  GCCollectAll();
  // Whatever is still registered is held only by tables being torn down: every object lets go of
  // what it holds first, then the storage goes.
  std::vector<KVObjectBase*> remaining;
  for (KVObjectBase* object : g_objects) {
    if (object != nullptr) remaining.push_back(object);
  }
  for (KVObjectBase* object : remaining) {
    object->slotId = -1;
    object->PreFree();
    object->Free(true);
  }
  for (KVObjectBase* object : remaining) destroy_storage(object);
  delete_all_parked();
  g_objects.clear();
  g_free_ids.clear();
  g_count = 0;
  g_array_count = 0;
  g_made_since_step = 0;
  g_work_credit = 0;
  g_objects_per_us = kDefaultRate;
  g_rate_measured = false;
  g_self_stack.clear();
  g_queue.clear();
  for (Generation& generation : g_generations) {
    KV_Delete(generation.remembered);
    const int32_t last_pass = generation.last_pass;
    generation = Generation{};
    generation.last_pass = last_pass;
  }
  g_GlobalObject = nullptr;
  g_ObjectContainer = nullptr;
  g_GCForce = false;
  g_GCPassDone = false;
  g_GCGeneration = 0;
  g_GCFrame = 0;
  g_collection_time = 0;
  g_GCEnabled = true;
  g_AllocGeneration = 0;
  g_headless = false;
  Object_ForgetCachedObjects();
}

void GC_StartGame(bool headless) {
  g_headless = headless;
  g_GCEnabled = !headless;
  g_GCForce = false;
  g_AllocGeneration = kGCGenerations - 1;
}

void GC_StartupDone() { g_AllocGeneration = 0; }

int64_t GC_DeleteParked(int64_t budget_us, int64_t (*clock)()) {
  const int64_t t0 = clock();
  int deletions = 0;
  for (int32_t kind = 0; kind < kGCParkedKinds; ++kind) {
    while (KVObjectBase* object = unpark(kind)) {
      destroy_storage(object);
      if (++deletions % 8 == 0 && clock() - t0 > budget_us) return clock() - t0;
    }
  }
  return deletions == 0 ? 0 : clock() - t0;
}

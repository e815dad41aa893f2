#pragma once
// The collector's interface to the rest of the runtime. Every object is registered here when it
// is made; the collector owns it from then on. Stores of objects into other objects go through
// GCWriteBarrier so the collector learns of the new edge.
//
// What keeps an object alive: the global object, the roots (GCAddRoot: the objects held by the
// container stored on the global object), the objects pushed with GC_PushSelf, instances (they
// belong to their room), arrays that some value outside every object still counts (a local, a
// data structure), and whatever those reach. A pass marks from them and frees the rest, running
// "@@Dispose@@" and "dispose" finalisers first (a pass in which any ran frees nothing). Freed plain
// objects of kinds 0, 2 and 4 are parked for CreateObject to reuse; everything else is deleted by
// the sweep. Parked objects are deleted in the frame's idle time (GC_DeleteParked), by each step
// while a kind holds more than a thousand or so (a bounded number a step), and by GCCollectAll.
// Weak references to a freed object are cleared before its slots are freed.
//
// The collector only runs between frames, when no script holds anything on the native stack:
// code that keeps an object in a C++ variable across a step must root it or store it in an object.
// Main thread only.
#include <cstddef>
#include <cstdint>

class KVObjectBase;
struct RValue;

constexpr int32_t kGCGenerations = 5;
constexpr int32_t kGCParkedKinds = 24;

void GC_AddObject(KVObjectBase* object);
void GCWriteBarrier(KVObjectBase* parent, KVObjectBase* child);
void GC_PushSelf(KVObjectBase* object);
void GC_PopSelf(int count = 1);
KVObjectBase* GC_CurrentObject();  // the top of the pushed selves, or the global object

// Marking: queue an object (forced: even if older than the pass) or the object a value holds
// (kinds array, object, accessor). Called from the objects' Mark.
void GCMarkObject(KVObjectBase* object, bool forced);
void GCMarkValue(const RValue& value);

// Roots live in the object container (kind 7), which is stored on the global object under
// "ObjectContainer"; it is made on first use.
void GCAddRoot(KVObjectBase* object);
void GCRemoveRoot(KVObjectBase* object);
KVObjectBase* GC_ObjectContainer();

// The head of the parked list of kind (0, 2 or 4), unlinked; null when the list is empty.
KVObjectBase* GC_TakeParked(int32_t kind);
size_t GC_ParkedCount(int32_t kind);

// The frame's step (-1), or a whole pass of generation 0 to 4. This form always collects every
// generation: a generation number forces the pass and names the record its statistics go to. The
// frame's step runs the pass when the work it has earned covers the table (every step on a small
// heap, every few steps on a large one; see pass_due in gc.cpp), as generation g_GCGeneration,
// which each pass chooses for the next; a forced pass runs at once. Does nothing while the
// collector is disabled, unless gc_collect asked for a pass (g_GCForce).
void GCStep(int mode);
// The objects a frame's step earns from its budget: what a pass marks and sweeps in g_GCTargetTime
// microseconds at the rate measured from the passes so far.
size_t GC_StepWork();
// At shutdown: a whole pass of generation 4 with the collector enabled for the call, then the
// parked objects deleted. Does nothing in a headless run.
void GCCollectAll();
// gc_collect: the next step (the frame's, at its end) runs a whole pass of generation 3, also
// while the collector is disabled.
void GC_Collect();

// What gc_get_stats reports. The figures of the last pass are 0 unless the latest step finished
// one; collection_time is the freeing of the last pass (0 when it freed nothing).
struct GCStats {
  int32_t touched = 0;          // objects marked
  int32_t collected = 0;        // objects freed
  int64_t traversal_time = 0;   // microseconds of marking and finding the dead
  int64_t collection_time = 0;  // microseconds of freeing
  int32_t frame = 0;            // g_GCFrame
  int32_t generation = 0;       // g_GCLastGeneration
  int32_t generation_counts[kGCGenerations] = {};  // objects in the table by generation
};
GCStats GC_GetStats();
size_t GC_ObjectCount();
// Whether object stands in the remembered set of generation (a root of that generation's passes).
bool GC_IsRemembered(const KVObjectBase* object, int32_t generation);
// Objects of a generation in the table.
int32_t GC_GenerationObjectCount(int32_t generation);
// Frees every object, registered or parked, and empties the table; the next game round starts clean
// (the collector enabled, new objects of generation 0, not headless).
void GC_Reset();

// The start of a game round, before anything is made: the collector is enabled unless the run is
// headless (-headless switches it off and makes GCCollectAll do nothing), and the objects made
// during start-up (the global object, the library states, whatever the global initialisers make)
// are of the oldest generation until GC_StartupDone, from where new objects are of generation 0.
void GC_StartGame(bool headless);
void GC_StartupDone();

// Idle-time release of parked objects: deletes while the clock allows, returns microseconds used.
int64_t GC_DeleteParked(int64_t budget_us, int64_t (*clock)());

extern KVObjectBase* g_GlobalObject;
extern KVObjectBase* g_ObjectContainer;
extern bool g_GCAvailable;
extern bool g_GCEnabled;
extern bool g_GCForce;
// Whether sweeps should free on a background thread; read when a sweep finishes. This collector
// frees on the main thread, so the wish is only kept.
extern bool g_GCThreadedWanted;
extern uint32_t g_GCStamp;       // goes up by one for each pass
extern int32_t g_GCFrame;        // passes finished
extern int32_t g_GCMarkLimit;    // marking doesn't enter objects of a higher generation
extern bool g_GCForceNext;       // the next Mark ignores the limit
extern int32_t g_AllocGeneration;  // generation of new objects: 4 during start-up, then 0
extern int32_t g_GCMarkedCount;  // objects marked in the running pass
extern int32_t g_GCGeneration;      // generation of the next pass
extern int32_t g_GCLastGeneration;  // generation of the last finished pass
extern int64_t g_GCTargetTime;      // microseconds of collector work a frame (gc_target_frame_time)
extern bool g_GCPassDone;           // the latest step finished a pass

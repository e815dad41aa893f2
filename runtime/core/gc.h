#pragma once
// The collector's interface to the rest of the runtime. Every object is registered here when it
// is made; the collector owns it from then on. Stores of objects into other objects go through
// GCWriteBarrier so the collector learns of the new edge. GCCollectAll frees every object that
// is no longer held; at shutdown, with the roots released, that is all of them.
#include <cstddef>
#include <cstdint>

class KVObjectBase;

void GC_AddObject(KVObjectBase* object);
void GCWriteBarrier(KVObjectBase* parent, KVObjectBase* child);
void GC_PushSelf(KVObjectBase* object);
void GC_PopSelf(int count = 1);
KVObjectBase* GC_CurrentObject();  // the top of the pushed selves, or the global object

// The frame's budgeted step (-1), or a fuller one; see the collector for the meanings of other values.
void GCStep(int mode);
void GCCollectAll();
size_t GC_ObjectCount();
void GC_Reset();

// Idle-time release of parked objects: deletes while the clock allows, returns microseconds used.
int64_t GC_DeleteParked(int64_t budget_us, int64_t (*clock)());

extern KVObjectBase* g_GlobalObject;

// debug_event(word): switches of the runtime's debug state, a memory report and the counts of
// the data-structure tables. Every word gives a struct; words that report fill it, the others
// leave it empty. An unknown word changes nothing.
#include <string>

#include "core/console.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "run/run_builtins.h"
#include "storage/ds_core.h"

namespace {

void put_total_used(void* context, const char* key, int64_t value) {
  Object_SetReal(static_cast<KVObjectBase*>(context), key, static_cast<double>(value));
}

// For each kind of data structure: how many exist, the highest id in use and the table's size.
void put_resource_counts(KVObjectBase* out) {
  static const DsKind kKinds[] = {kDsList, kDsMap, kDsQueue, kDsGrid, kDsPriority, kDsStack};
  for (DsKind kind : kKinds) {
    int32_t count = 0;
    int32_t max_index = -1;
    const int32_t length = DS_TableLength(kind);
    for (int32_t id = 0; id < length; ++id) {
      if (DS_Lookup(kind, id) == nullptr) continue;
      ++count;
      max_index = id;
    }
    const std::string name = kDsKindNames[kind];
    Object_SetReal(out, (name + "Count").c_str(), count);
    Object_SetReal(out, (name + "MaxIndex").c_str(), max_index);
    Object_SetReal(out, (name + "ArrayAllocatedSize").c_str(), DS_TableCapacity(kind));
  }
}

void F_DebugEvent(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  KVObjectBase* out = Object_NewStruct();
  *result = RV_Object(out);
  if (argc < 1) return;
  const std::string word = KVGetString(argv, 0);
  DebugFlags& flags = Debug_Flags();
  if (word == "DumpMemory") {
    MemoryManager::DumpMemory(put_total_used, out, false);
  } else if (word == "VMTraceOn" || word == "VMTraceOff") {
    flags.vmTrace = word == "VMTraceOn";
  } else if (word == "VMBadRefsIgnore" || word == "VMBadRefsCrash") {
    flags.badRefsCrash = word == "VMBadRefsCrash";
  } else if (word == "MultithreadGCOn" || word == "MultithreadGCOff") {
    g_GCThreadedWanted = word == "MultithreadGCOn";
  } else if (word == "OutputDebugOn" || word == "OutputDebugOff") {
    Console_SetMirrorToStderr(word == "OutputDebugOn");
  } else if (word == "BreakOnError") {
    flags.breakOnError = true;
  } else if (word == "ResourceCounts") {
    put_resource_counts(out);
  }
  // "gg_callback" belongs to a service that this platform lacks: it is accepted and does nothing.
}

}  // namespace

DebugFlags& Debug_Flags() {
  static DebugFlags flags;
  return flags;
}

void Run_RegisterDebugEventBuiltins() { Function_Add("debug_event", F_DebugEvent, 1, 0); }

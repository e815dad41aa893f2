// The collector's builtins: switching it on and off, forcing a pass, its frame budget and the
// statistics of its last pass.
#include "core/fn_gc.h"

#include <algorithm>

#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/rvalue.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

void F_GCEnable(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  g_GCEnabled = KVGetBool(argv, 0);
  set_result(result, RV_Undefined());
}

void F_GCIsEnabled(RValue* result, CInstance*, CInstance*, int, RValue*) {
  set_result(result, RV_Real(g_GCEnabled ? 1.0 : 0.0));
}

void F_GCCollect(RValue* result, CInstance*, CInstance*, int, RValue*) {
  GC_Collect();
  set_result(result, RV_Undefined());
}

void F_GCTargetFrameTime(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  g_GCTargetTime = std::max<int64_t>(KVGetInt64(argv, 0), 0);
  set_result(result, RV_Undefined());
}

void F_GCGetTargetFrameTime(RValue* result, CInstance*, CInstance*, int, RValue*) {
  set_result(result, RV_Int64(g_GCTargetTime));
}

void F_GCGetStats(RValue* result, CInstance*, CInstance*, int, RValue*) {
  const GCStats stats = GC_GetStats();
  // The counts are taken before the struct and its array are made, so they don't count themselves.
  KVObjectBase* out = Object_NewStruct();
  set_result(result, RV_Object(out));
  Object_SetReal(out, "objects_touched", stats.touched);
  Object_SetReal(out, "objects_collected", stats.collected);
  Object_SetInt(out, "traversal_time", stats.traversal_time);
  Object_SetInt(out, "collection_time", stats.collection_time);
  Object_SetReal(out, "gc_frame", stats.frame);
  Object_SetReal(out, "generation_collected", stats.generation);
  Object_SetReal(out, "num_generations", kGCGenerations);
  RValue counts;
  counts.pArray = RV_NewArray(kGCGenerations);
  counts.flags = 0;
  counts.kind = kRVArray;
  for (int32_t g = 0; g < kGCGenerations; ++g) counts.pArray->pArray[g] = RV_Real(stats.generation_counts[g]);
  Object_SetRValue(out, "num_objects_in_generation", &counts);
  RV_FreeToUndefined(&counts);  // the struct holds its own count now
}

}  // namespace

void GC_RegisterBuiltins() {
  Function_Add("gc_enable", with_args<F_GCEnable, 1>, 1, 0);
  Function_Add("gc_is_enabled", F_GCIsEnabled, 0, 0);
  Function_Add("gc_collect", F_GCCollect, 0, 0);
  Function_Add("gc_target_frame_time", with_args<F_GCTargetFrameTime, 1>, 1, 0);
  Function_Add("gc_get_target_frame_time", F_GCGetTargetFrameTime, 0, 0);
  Function_Add("gc_get_stats", F_GCGetStats, 0, 0);
}

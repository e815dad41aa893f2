// The time-source builtins of the time family: argument reading and counts here, the tree's
// operations in time_source.cpp. Missing arguments read as undefined.
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/object.h"
#include "world/time_source.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

#define FN_TS(name)                                                                                               \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

// Reads the configuration that create and reconfigure share from argv[1..]: period, units,
// callback, then the optional arguments array, repetitions and expiry.
bool read_settings(int argc, RValue* argv, TimeSourceSettings* settings) {
  const double period = KVGetReal(argv, 1);
  const int32_t units = KVGetInt32(argv, 2);
  const int64_t reps = argc > 5 ? KVGetInt64(argv, 5) : 1;
  const int32_t expiry = argc > 6 ? KVGetInt32(argv, 6) : kTimeSourceAfter;
  return TimeSource_CheckSettings(period, units, argv[3], argc > 4 ? &argv[4] : nullptr, reps, expiry, settings);
}

FN_TS(F_TimeSourceCreate) {
  set_result(result, RV_Real(-1));
  if (argc < 4 || argc > 7) {
    KVError("time_source_create: 4-7 arguments are required");
    return;
  }
  TimeSourceSettings settings;
  if (!read_settings(argc, argv, &settings)) return;
  set_result(result, RV_Real(TimeSource_Create(KVGetInt32(argv, 0), settings, argv[3], argc > 4 ? &argv[4] : nullptr)));
}

FN_TS(F_TimeSourceReconfigure) {
  set_result(result, RV_Undefined());
  if (argc < 4 || argc > 7) {
    KVError("time_source_reconfigure: 4-7 arguments are required");
    return;
  }
  TimeSourceSettings settings;
  if (!read_settings(argc, argv, &settings)) return;
  TimeSource_Reconfigure(KVGetInt32(argv, 0), settings, argv[3], argc > 4 ? &argv[4] : nullptr);
}

FN_TS(F_TimeSourceDestroy) {
  set_result(result, RV_Undefined());
  TimeSource_Destroy(KVGetInt32(argv, 0), argc > 1 && KVGetBool(argv, 1));
}

template <void (*Operation)(int32_t)>
FN_TS(F_StateOperation) {
  set_result(result, RV_Undefined());
  Operation(KVGetInt32(argv, 0));
}

// The getters give undefined after printing the index error for a root or an unknown id.
template <double (*Read)(const CConfigurableTimeSource&)>
FN_TS(F_Getter) {
  set_result(result, RV_Undefined());
  if (const CConfigurableTimeSource* source = TimeSource_FindConfigurable(KVGetInt32(argv, 0))) {
    set_result(result, RV_Real(Read(*source)));
  }
}

// Microseconds or steps as the script sees them: seconds or frames.
double in_units(const CConfigurableTimeSource& source, int64_t amount) {
  return source.units == kTimeSourceSeconds ? static_cast<double>(amount) / 1000000.0 : static_cast<double>(amount);
}
double read_period(const CConfigurableTimeSource& s) { return in_units(s, s.period); }
double read_reps_completed(const CConfigurableTimeSource& s) { return static_cast<double>(s.repsCompleted); }
double read_reps_remaining(const CConfigurableTimeSource& s) { return static_cast<double>(s.repsRemaining); }
double read_units(const CConfigurableTimeSource& s) { return s.units; }
double read_time_remaining(const CConfigurableTimeSource& s) {
  return s.elapsed >= s.period ? 0.0 : in_units(s, s.period - s.elapsed);
}
double read_parent(const CConfigurableTimeSource& s) { return s.parent->id; }

// The state is also readable on the game root, the one root that has one.
FN_TS(F_TimeSourceGetState) {
  set_result(result, RV_Undefined());
  const int32_t id = KVGetInt32(argv, 0);
  CTimeSource* source = TimeSource_Find(id);
  if (source != nullptr && source->kind == kTimeSourceStatefulRoot) {
    set_result(result, RV_Real(static_cast<CStatefulTimeSource*>(source)->state));
  } else if (const CConfigurableTimeSource* configurable = TimeSource_FindConfigurable(id)) {
    set_result(result, RV_Real(configurable->state));
  }
}

FN_TS(F_TimeSourceGetChildren) {
  set_result(result, RV_Undefined());
  const CConfigurableTimeSource* source = TimeSource_FindConfigurable(KVGetInt32(argv, 0));
  if (source == nullptr) return;
  RefDynamicArrayOfRValue* array = RV_NewArray(source->LiveChildCount());
  RValue made;
  made.pArray = array;
  made.flags = 0;
  made.kind = kRVArray;
  set_result(result, made);  // the new array's one count is the result's
  int32_t at = 0;
  for (int64_t i = 0; i < source->children.length; ++i) {
    const auto* child = static_cast<const CConfigurableTimeSource*>(source->children.data[i]);
    if (!child->markedForDestruction) array->pArray[at++] = RV_Real(child->id);
  }
}

FN_TS(F_TimeSourceExists) { set_result(result, RV_Bool(TimeSource_Find(KVGetInt32(argv, 0)) != nullptr)); }

FN_TS(F_CallLater) {
  set_result(result, RV_Real(-1));
  if (argc < 3 || argc > 4) {
    KVError("call_later: 3-4 arguments are required");
    return;
  }
  const bool repeat = argc > 3 && KVGetBool(argv, 3);
  TimeSourceSettings settings;
  if (!TimeSource_CheckSettings(KVGetReal(argv, 0), KVGetInt32(argv, 1), argv[2], nullptr, repeat ? -1 : 1,
                                kTimeSourceAfter, &settings)) {
    return;
  }
  set_result(result, RV_Real(TimeSource_CallLater(settings, argv[2])));
}

FN_TS(F_CallCancel) {
  set_result(result, RV_Undefined());
  TimeSource_CallCancel(KVGetInt32(argv, 0));
}

// Beats per minute and seconds per beat are each other's reciprocal over a minute.
FN_TS(F_TimeSecondsToBpm) { set_result(result, RV_Real(60.0 / KVGetReal(argv, 0))); }
FN_TS(F_TimeBpmToSeconds) { set_result(result, RV_Real(60.0 / KVGetReal(argv, 0))); }

#undef FN_TS

}  // namespace

void TimeSource_RegisterBuiltins() {
  Function_Add("time_source_create", F_TimeSourceCreate, -1, 0);
  Function_Add("time_source_destroy", with_args<F_TimeSourceDestroy, 1>, -1, 0);
  Function_Add("time_source_start", with_args<F_StateOperation<TimeSource_Start>, 1>, 1, 0);
  Function_Add("time_source_stop", with_args<F_StateOperation<TimeSource_Stop>, 1>, 1, 0);
  Function_Add("time_source_pause", with_args<F_StateOperation<TimeSource_Pause>, 1>, 1, 0);
  Function_Add("time_source_resume", with_args<F_StateOperation<TimeSource_Resume>, 1>, 1, 0);
  Function_Add("time_source_reset", with_args<F_StateOperation<TimeSource_Reset>, 1>, 1, 0);
  Function_Add("time_source_reconfigure", F_TimeSourceReconfigure, -1, 0);
  Function_Add("time_source_get_period", with_args<F_Getter<read_period>, 1>, 1, 0);
  Function_Add("time_source_get_reps_completed", with_args<F_Getter<read_reps_completed>, 1>, 1, 0);
  Function_Add("time_source_get_reps_remaining", with_args<F_Getter<read_reps_remaining>, 1>, 1, 0);
  Function_Add("time_source_get_units", with_args<F_Getter<read_units>, 1>, 1, 0);
  Function_Add("time_source_get_state", with_args<F_TimeSourceGetState, 1>, 1, 0);
  Function_Add("time_source_get_time_remaining", with_args<F_Getter<read_time_remaining>, 1>, 1, 0);
  Function_Add("time_source_get_parent", with_args<F_Getter<read_parent>, 1>, 1, 0);
  Function_Add("time_source_get_children", with_args<F_TimeSourceGetChildren, 1>, 1, 0);
  Function_Add("time_source_exists", with_args<F_TimeSourceExists, 1>, 1, 0);
  Function_Add("call_later", F_CallLater, -1, 0);
  Function_Add("call_cancel", with_args<F_CallCancel, 1>, 1, 0);
  Function_Add("time_seconds_to_bpm", with_args<F_TimeSecondsToBpm, 1>, 1, 0);
  Function_Add("time_bpm_to_seconds", with_args<F_TimeBpmToSeconds, 1>, 1, 0);
}

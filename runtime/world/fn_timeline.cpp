// The timeline builtins: argument reading here, the table and its moments in timeline.cpp. An
// unknown timeline gives the neutral result (false, 0, "<undefined>") and changes nothing.
#include <cstdint>

#include "core/code.h"
#include "core/code_tables.h"
#include "core/console.h"
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/object.h"
#include "world/timeline.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

constexpr int32_t kFirstScriptIndex = 100000;

#define FN_TL(name)                                                                                               \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

// The script index a value names: a number, or a method of a compiled script; -1 for neither.
int32_t script_index_of(const RValue& value) {
  if (const CScriptRef* method = RV_ScriptRefOf(value)) {
    if (method->script == nullptr || g_CodeTables == nullptr || g_CodeTables->scriptTable == nullptr) return -1;
    const auto row = method->script - g_CodeTables->scriptTable;
    if (row < 0 || row >= g_CodeTables->scriptCount) return -1;
    return kFirstScriptIndex + static_cast<int32_t>(row);
  }
  const int32_t index = KVGetInt32(&value, 0);
  return Script_Exists(index) ? index : -1;
}

FN_TL(F_TimelineExists) { set_result(result, RV_Bool(TimeLine_Find(KVGetInt32(argv, 0)) != nullptr)); }

FN_TL(F_TimelineGetName) {
  const CTimeLine* timeline = TimeLine_Find(KVGetInt32(argv, 0));
  RValue name = RV_Undefined();
  RV_SetString(&name, timeline != nullptr ? timeline->name.c_str() : "<undefined>");
  set_result(result, name);
}

FN_TL(F_TimelineAdd) { set_result(result, RV_Real(TimeLine_Add())); }

FN_TL(F_TimelineDelete) {
  set_result(result, RV_Undefined());
  TimeLine_Delete(KVGetInt32(argv, 0));
}

FN_TL(F_TimelineClear) {
  set_result(result, RV_Undefined());
  if (CTimeLine* timeline = TimeLine_Find(KVGetInt32(argv, 0))) timeline->Clear();
}

FN_TL(F_TimelineSize) {
  const CTimeLine* timeline = TimeLine_Find(KVGetInt32(argv, 0));
  set_result(result, RV_Real(timeline != nullptr ? timeline->Count() : 0));
}

FN_TL(F_TimelineMaxMoment) {
  const CTimeLine* timeline = TimeLine_Find(KVGetInt32(argv, 0));
  set_result(result, RV_Real(timeline != nullptr && timeline->Count() > 0 ? timeline->moments.back() : 0));
}

FN_TL(F_TimelineMomentClear) {
  set_result(result, RV_Undefined());
  if (CTimeLine* timeline = TimeLine_Find(KVGetInt32(argv, 0))) timeline->ClearMoment(KVGetInt32(argv, 1));
}

FN_TL(F_TimelineMomentAddScript) {
  set_result(result, RV_Undefined());
  CTimeLine* timeline = TimeLine_Find(KVGetInt32(argv, 0));
  if (timeline == nullptr) return;
  const int32_t script = script_index_of(argv[2]);
  if (script < 0) {
    KVError("timeline_moment_add_script: argument 3 is not a script or method");
    return;
  }
  timeline->SetScript(KVGetInt32(argv, 1), script);
}

FN_TL(F_TimelineMomentAdd) {
  set_result(result, RV_Undefined());
  g_ReleaseConsole->Output("timeline_moment_add :: deprecated function\n");
}

#undef FN_TL

}  // namespace

void TimeLine_RegisterBuiltins() {
  Function_Add("timeline_exists", with_args<F_TimelineExists, 1>, 1, 0);
  Function_Add("timeline_get_name", with_args<F_TimelineGetName, 1>, 1, 0);
  Function_Add("timeline_add", F_TimelineAdd, 0, 0);
  Function_Add("timeline_delete", with_args<F_TimelineDelete, 1>, 1, 0);
  Function_Add("timeline_clear", with_args<F_TimelineClear, 1>, 1, 0);
  Function_Add("timeline_size", with_args<F_TimelineSize, 1>, 1, 0);
  Function_Add("timeline_max_moment", with_args<F_TimelineMaxMoment, 1>, 1, 0);
  Function_Add("timeline_moment_clear", with_args<F_TimelineMomentClear, 2>, 2, 0);
  Function_Add("timeline_moment_add_script", with_args<F_TimelineMomentAddScript, 3>, 3, 0);
  Function_Add("timeline_moment_add", F_TimelineMomentAdd, -1, 0);
}

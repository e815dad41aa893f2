// alarm_get and alarm_set: the alarms of self. An index outside 0 to 11, or a self that is no
// instance, is refused with a line on the release console: alarm_get then gives -1.
#include <cmath>
#include <cstdint>

#include "core/console.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/object.h"
#include "world/alarm.h"
#include "world/instance.h"
#include "world/timeline.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

CInstance* instance_self(CInstance* self, const char* name) {
  if (self != nullptr && KV_AsObject(self)->kind == kObjInstance) return self;
  g_ReleaseConsole->Output("%s: self is not an instance\n", name);
  return nullptr;
}

void F_AlarmGet(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  set_result(result, RV_Real(-1));
  CInstance* instance = instance_self(self, "alarm_get");
  if (instance == nullptr) return;
  const int32_t index = KVGetInt32(argv, 0);
  int32_t value = -1;
  if (!Alarm_Get(instance, index, &value)) {
    g_ReleaseConsole->Output("alarm_get: alarm index %d is outside 0 to 11\n", index);
    return;
  }
  set_result(result, RV_Real(value));
}

void F_AlarmSet(RValue* result, CInstance* self, CInstance*, int, RValue* argv) {
  set_result(result, RV_Undefined());
  CInstance* instance = instance_self(self, "alarm_set");
  if (instance == nullptr) return;
  const int32_t index = KVGetInt32(argv, 0);
  if (!Alarm_Set(instance, index, KVGetInt32(argv, 1))) {
    g_ReleaseConsole->Output("alarm_set: alarm index %d is outside 0 to 11\n", index);
  }
}

}  // namespace

void Alarm_RegisterBuiltins() {
  Function_Add("alarm_get", with_args<F_AlarmGet, 1>, 1, 0);
  Function_Add("alarm_set", with_args<F_AlarmSet, 2>, 2, 0);
}

// The alarm stage of the step.
#include "world/alarm.h"

#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"

void Alarm_Stage() {
  const int64_t c = PassCounter++;
  for (int32_t alarm = 0; alarm < kInstanceAlarmCount; ++alarm) {
    int32_t count = 0;
    const int32_t* objects = Object_EventObjects(kEventAlarm, alarm, &count);
    for (int32_t i = 0; i < count; ++i) {
      const CObjectTV* object = Object_Find(objects[i]);
      if (object == nullptr) continue;
      for (const ObjectInstanceNode* node = object->instances.head; node != nullptr;) {
        CInstance* instance = node->instance;
        node = node->next;
        if (!Instance_IsLive(instance) || instance->createCounter > c) continue;
        if (instance->alarm[alarm] < 0) continue;
        if (--instance->alarm[alarm] == 0) PerformEventOnInstance(instance, instance, kEventAlarm, alarm);
      }
    }
  }
}

bool Alarm_Get(const CInstance* instance, int32_t index, int32_t* value) {
  if (index < 0 || index >= kInstanceAlarmCount) return false;
  *value = instance->alarm[index];
  return true;
}

bool Alarm_Set(CInstance* instance, int32_t index, int32_t value) {
  if (index < 0 || index >= kInstanceAlarmCount) return false;
  instance->alarm[index] = value;
  return true;
}

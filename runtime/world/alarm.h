#pragma once
// Alarms: twelve countdowns per instance (CInstance::alarm, -1 when off), counted down by the
// alarm stage of the step. The stage reads and increments PassCounter once; for each alarm number
// from 0 to 11 it walks the instances of the objects that have that Alarm event, by the iteration
// rules of the step: an alarm at 0 or above is decremented, and the event fires when it reaches
// exactly 0. So an alarm counts only where its object has the event, an alarm set to 1 fires in
// the next step, and one set to 0 by a script goes to -1 without firing. Main thread only.
#include <cstdint>

class CInstance;

void Alarm_Stage();
// alarm_get / alarm_set on an instance; false for an index outside 0 to 11.
bool Alarm_Get(const CInstance* instance, int32_t index, int32_t* value);
bool Alarm_Set(CInstance* instance, int32_t index, int32_t value);

// One room step: a room of 2000 instances of two objects, one with Step and Alarm 0 events (its
// alarm re-arms itself every 4 steps) and one with no events at all, which should cost nothing
// beyond the image update. The time per iteration is the microseconds of one Run_Step.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench_game.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/room.h"
#include "world/step.h"

namespace {

constexpr int32_t kInstances = 2000;

int64_t g_work = 0;
void StepEvent(CInstance* self, CInstance*) { g_work += self->id & 1; }
void AlarmEvent(CInstance* self, CInstance*) { self->alarm[0] = 4; }

KVScriptRow g_rows[] = {{"tsl_Object_obj_busy_Step_0", reinterpret_cast<KVCodeFunction>(StepEvent), nullptr},
                        {"tsl_Object_obj_busy_Alarm_0", reinterpret_cast<KVCodeFunction>(AlarmEvent), nullptr}};
KVCodeTables g_tables;

void SetUpRoom() {
  static bool done = false;
  if (done) return;
  done = true;
  g_tables.scriptCount = 2;
  g_tables.scriptTable = g_rows;
  datawin::ObjectRecord busy;
  busy.name = "obj_busy";
  busy.events = {{kEventStep, kStepNormal, 0}, {kEventAlarm, 0, 1}};
  datawin::ObjectRecord idle;
  idle.name = "obj_idle";
  if (!Bench_StartGame({busy, idle}, &g_tables)) std::abort();
  for (int32_t i = 0; i < kInstances; ++i) {
    CInstance* instance = Create_Instance(i % 2, static_cast<float>(i % 640), static_cast<float>(i / 640), 0);
    instance->alarm[0] = 1 + i % 4;
    instance->imageSpeed = 0.0f;
  }
}

void BM_RunStep2000(benchmark::State& state) {
  SetUpRoom();
  for (auto _ : state) {
    Run_Step();
    benchmark::DoNotOptimize(g_work);
  }
  state.SetItemsProcessed(state.iterations() * kInstances);
}
BENCHMARK(BM_RunStep2000)->Unit(benchmark::kMicrosecond);

}  // namespace

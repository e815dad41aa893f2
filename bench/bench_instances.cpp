// Instances: create and destroy 10000 (one depth, so the list insert stays at the tail), a Step
// pass over 1000, `with` over 1000. Items are instances, so items per second reads as the cost of
// one operation.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench_game.h"
#include "core/gc.h"
#include "core/with.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/room.h"

namespace {

int64_t g_steps = 0;
void StepEvent(CInstance* self, CInstance*) { g_steps += self->id & 1; }

KVScriptRow g_rows[] = {{"tsl_Object_obj_bench_Step_0", reinterpret_cast<KVCodeFunction>(StepEvent), nullptr}};
KVCodeTables g_tables;

void SetUpWorld() {
  static bool done = false;
  if (done) return;
  done = true;
  g_tables.scriptCount = 1;
  g_tables.scriptTable = g_rows;
  datawin::ObjectRecord bench;
  bench.name = "obj_bench";
  bench.events = {{kEventStep, kStepNormal, 0}};
  if (!Bench_StartGame({bench}, &g_tables)) std::abort();
}

void ClearRoom() {
  for (CInstance* at = Run_Room->active.head; at != nullptr; at = at->next) Instance_Destroy(at, false);
  Room_PurgeMarked(Run_Room);
  GCCollectAll();
}

void BM_CreateDestroy10000(benchmark::State& state) {
  SetUpWorld();
  for (auto _ : state) {
    for (int i = 0; i < 10000; ++i) Create_Instance(0, static_cast<float>(i), 0, 0);
    for (CInstance* at = Run_Room->active.head; at != nullptr; at = at->next) Instance_Destroy(at, true);
    Room_PurgeMarked(Run_Room);
    state.PauseTiming();
    GCCollectAll();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_CreateDestroy10000)->Unit(benchmark::kMicrosecond);

void BM_StepPass1000(benchmark::State& state) {
  SetUpWorld();
  for (int i = 0; i < 1000; ++i) Create_Instance(0, 0, 0, 0);
  for (auto _ : state) {
    const int64_t c = PassCounter++;
    int32_t count = 0;
    const int32_t* objects = Object_EventObjects(kEventStep, kStepNormal, &count);
    for (int32_t o = 0; o < count; ++o) {
      for (ObjectInstanceNode* node = Object_Find(objects[o])->instances.head; node != nullptr;) {
        CInstance* instance = node->instance;
        node = node->next;
        if (!Instance_IsLive(instance) || instance->createCounter > c) continue;
        PerformEventOnInstance(instance, instance, kEventStep, kStepNormal);
      }
    }
  }
  benchmark::DoNotOptimize(g_steps);
  state.SetItemsProcessed(state.iterations() * 1000);
  ClearRoom();
}
BENCHMARK(BM_StepPass1000)->Unit(benchmark::kMicrosecond);

void BM_With1000(benchmark::State& state) {
  SetUpWorld();
  for (int i = 0; i < 1000; ++i) Create_Instance(0, static_cast<float>(i), 0, 0);
  CInstance* self = Run_Room->active.head;
  CInstance* other = nullptr;
  float sum = 0;
  for (auto _ : state) {
    for (KVWith with(&self, &other, 0); with.Next();) sum += self->x;
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * 1000);
  ClearRoom();
}
BENCHMARK(BM_With1000)->Unit(benchmark::kMicrosecond);

}  // namespace

// The main of every benchmark program. Before any benchmark runs it sets up what the runner sets up
// first thing, on the thread that will run the benchmarks: the memory manager started (buckets on,
// its lock favouring this thread, the heap's release policy) and allocation failures raised as
// script errors. Without it allocation would be measured on the start-up heap path, which the
// game never runs on.
#include <benchmark/benchmark.h>

#include "core/error.h"
#include "core/memory.h"

namespace {

void raise_allocation_failure(const char* message) { KVError("%s", message); }

}  // namespace

int main(int argc, char** argv) {
  MemoryManager::Start();
  MemoryManager::SetFailureHandler(raise_allocation_failure);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

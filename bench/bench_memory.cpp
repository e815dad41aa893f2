// new/delete through the memory manager's global operators against malloc/free, for 16 and 64
// bytes (bucket items) and 1024 bytes (the heap path with its header). Two shapes: one block made
// and dropped at a time (a pop and a push), and a batch of 256 live blocks dropped in reverse order
// (the shape of a frame that builds temporaries); the batch also runs on two threads, to show what
// the one manager lock costs under contention. In a sanitizer build (KOVA_SYSTEM_NEW) `new` is the
// system's and both columns measure the system allocator.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <new>

#include "core/memory.h"

namespace {

constexpr int kBatch = 256;

void* make_new(size_t size) { return ::operator new(size); }
void drop_new(void* p, size_t size) { ::operator delete(p, size); }
void* make_malloc(size_t size) { return std::malloc(size); }
void drop_malloc(void* p, size_t) { std::free(p); }

template <void* (*Make)(size_t), void (*Drop)(void*, size_t)>
void BM_OneAtATime(benchmark::State& state) {
  MemoryManager::Start();
  const auto size = static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    void* p = Make(size);
    benchmark::DoNotOptimize(p);
    Drop(p, size);
  }
  state.SetItemsProcessed(state.iterations());
}

template <void* (*Make)(size_t), void (*Drop)(void*, size_t)>
void BM_Batch(benchmark::State& state) {
  MemoryManager::Start();
  const auto size = static_cast<size_t>(state.range(0));
  void* blocks[kBatch];
  for (auto _ : state) {
    for (void*& p : blocks) p = Make(size);
    benchmark::DoNotOptimize(blocks);
    for (int i = kBatch - 1; i >= 0; --i) Drop(blocks[i], size);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

BENCHMARK(BM_OneAtATime<make_new, drop_new>)->Name("OneAtATime/new")->Arg(16)->Arg(64)->Arg(1024);
BENCHMARK(BM_OneAtATime<make_malloc, drop_malloc>)->Name("OneAtATime/malloc")->Arg(16)->Arg(64)->Arg(1024);
BENCHMARK(BM_Batch<make_new, drop_new>)->Name("Batch/new")->Arg(16)->Arg(64)->Arg(1024)->Threads(1)->Threads(2);
BENCHMARK(BM_Batch<make_malloc, drop_malloc>)->Name("Batch/malloc")->Arg(16)->Arg(64)->Arg(1024)->Threads(1)->Threads(2);

}  // namespace

// new/delete through the memory manager's global operators against malloc/free side by side, for
// 16 and 64 bytes (bucket items) and 1024 bytes (the heap path with its header, 1056 bytes from
// the system heap). Three shapes: one block made and dropped at a time (a pop and a push), a batch
// of 256 live blocks dropped in reverse order (the shape of a frame that builds temporaries), and
// a batch of mixed bucket sizes dropped in a scattered order (so that Free has to search the page
// table). The batches also run on two threads, to show what the one manager lock costs under
// contention. The manager is started by the benchmark main, as the runner starts it. In a
// sanitizer build (KOVA_SYSTEM_NEW) `new` is the system's and both columns measure the system
// allocator.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <random>

namespace {

constexpr int kBatch = 256;

void* make_new(size_t size) { return ::operator new(size); }
void drop_new(void* p, size_t size) { ::operator delete(p, size); }
void* make_malloc(size_t size) { return std::malloc(size); }
void drop_malloc(void* p, size_t) { std::free(p); }

template <void* (*Make)(size_t), void (*Drop)(void*, size_t)>
void BM_OneAtATime(benchmark::State& state) {
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
  const auto size = static_cast<size_t>(state.range(0));
  void* blocks[kBatch];
  for (auto _ : state) {
    for (void*& p : blocks) p = Make(size);
    benchmark::DoNotOptimize(blocks);
    for (int i = kBatch - 1; i >= 0; --i) Drop(blocks[i], size);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

// 256 blocks of sizes 1 to 512 (every bucket), freed in a fixed scattered order.
template <void* (*Make)(size_t), void (*Drop)(void*, size_t)>
void BM_MixedSizes(benchmark::State& state) {
  size_t sizes[kBatch];
  int order[kBatch];
  std::mt19937 random(7);
  for (int i = 0; i < kBatch; ++i) {
    sizes[i] = random() % 512 + 1;
    order[i] = i;
  }
  std::shuffle(order, order + kBatch, random);
  void* blocks[kBatch];
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) blocks[i] = Make(sizes[i]);
    benchmark::DoNotOptimize(blocks);
    for (int i : order) Drop(blocks[i], sizes[i]);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

BENCHMARK(BM_OneAtATime<make_new, drop_new>)->Name("OneAtATime/new")->Arg(16)->Arg(64)->Arg(1024);
BENCHMARK(BM_OneAtATime<make_malloc, drop_malloc>)->Name("OneAtATime/malloc")->Arg(16)->Arg(64)->Arg(1024);
BENCHMARK(BM_Batch<make_new, drop_new>)->Name("Batch/new")->Arg(16)->Arg(64)->Arg(1024)->Threads(1)->Threads(2);
BENCHMARK(BM_Batch<make_malloc, drop_malloc>)->Name("Batch/malloc")->Arg(16)->Arg(64)->Arg(1024)->Threads(1)->Threads(2);

BENCHMARK(BM_MixedSizes<make_new, drop_new>)->Name("MixedSizes/new")->Threads(1)->Threads(2);
BENCHMARK(BM_MixedSizes<make_malloc, drop_malloc>)->Name("MixedSizes/malloc")->Threads(1)->Threads(2);

}  // namespace

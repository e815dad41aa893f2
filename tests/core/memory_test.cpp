// The memory manager: the size rule of the buckets, item alignment, the zero tail of ReAlloc, heap
// headers and counters, aligned blocks, blocks made before Start, the failure path, the slot pool.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/console.h"
#include "core/memory.h"

namespace {

// Made by static initialisation, before any test turns the buckets on.
void* const g_made_before_start = KV_ALLOC(24);

uint32_t word_before(const void* p, int back) { return static_cast<const uint32_t*>(p)[-back]; }

bool all_bytes(const void* p, size_t from, size_t to, uint8_t value) {
  for (size_t i = from; i < to; ++i) {
    if (static_cast<const uint8_t*>(p)[i] != value) return false;
  }
  return true;
}

int32_t item_size_of(const void* p) {
  CBucketBase* bucket = MemoryManager::FindBucket(p);
  return bucket != nullptr ? bucket->ItemSize() : 0;
}

class MemoryTest : public ::testing::Test {
 protected:
  void SetUp() override { MemoryManager::Start(); }
  void TearDown() override { MemoryManager::SetFailureHandler(nullptr); }
};

TEST_F(MemoryTest, BlockMadeBeforeStartIsFreedByItsHeader) {
  ASSERT_EQ(item_size_of(g_made_before_start), 0);
  // The header: size at offset 8, the magic words at 12 and 16 of the 32 bytes in front.
  EXPECT_EQ(word_before(g_made_before_start, 6), 24u);
  EXPECT_EQ(word_before(g_made_before_start, 5), 0xDEADC0DEu);
  EXPECT_EQ(word_before(g_made_before_start, 4), 0xBAADB00Bu);
  const MemoryStats before = MemoryManager::Stats();
  KV_FREE(g_made_before_start);
  EXPECT_EQ(MemoryManager::Stats().heap_blocks, before.heap_blocks - 1);
  EXPECT_EQ(MemoryManager::Stats().bytes_in_use, before.bytes_in_use - 24);
}

TEST_F(MemoryTest, ZeroSizesAndNullPointers) {
  EXPECT_EQ(KV_ALLOC(0), nullptr);
  EXPECT_EQ(MemoryManager::AllocAligned(0, 64, __FILE__, __LINE__, false), nullptr);
  KV_FREE(nullptr);
  EXPECT_FALSE(MemoryManager::IsAllocated(nullptr));
  void* p = KV_REALLOC(nullptr, 3000);
  EXPECT_TRUE(all_bytes(p, 0, 3000, 0));
  EXPECT_EQ(KV_REALLOC(p, 0), nullptr);
}

TEST_F(MemoryTest, SizesGoToTheirBucketsAlignedToTheItemSize) {
  const struct {
    size_t size;
    int32_t item;  // 0: the heap
  } cases[] = {{1, 8},     {8, 8},     {9, 16},   {16, 16},    {17, 32},        {33, 64},   {65, 128},
               {129, 256}, {257, 512}, {512, 512}, {513, 0},   {16383, 0},      {16384, 16384}, {16385, 0}};
  for (const auto& c : cases) {
    void* p = KV_ALLOC(c.size);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(item_size_of(p), c.item) << c.size;
    EXPECT_TRUE(MemoryManager::IsAllocated(p));
    if (c.item > 0) {
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % static_cast<uintptr_t>(c.item), 0u) << c.size;
      EXPECT_EQ(MemoryManager::GetSize(p), static_cast<size_t>(c.item));
    } else {
      EXPECT_EQ(MemoryManager::GetSize(p), c.size);
      EXPECT_EQ(word_before(p, 5), 0xDEADC0DEu);
    }
    KV_FREE(p);
  }
}

// Every kind of move keeps the old bytes and zeroes the rest: within one item, bucket to bucket,
// bucket to heap, heap to heap, heap to bucket, and shrinking.
TEST_F(MemoryTest, ReAllocKeepsDataAndZeroesTheGrownTail) {
  const struct {
    size_t from;
    size_t to;
  } cases[] = {{5, 8},        {20, 32},       {20, 24},    {20, 100},  {100, 600}, {600, 2000},
               {2000, 16384}, {16384, 20000}, {3000, 300}, {600, 300}, {300, 7},   {17, 32}};
  for (const auto& c : cases) {
    // Leave garbage in the item or heap chunk that the next allocation is likely to reuse.
    void* dirty = KV_ALLOC(c.from);
    std::memset(dirty, 0xCD, MemoryManager::GetSize(dirty));
    KV_FREE(dirty);
    auto* p = static_cast<uint8_t*>(KV_ALLOC(c.from));
    std::memset(p, 0xAB, c.from);
    const bool same_item = item_size_of(p) > 0 && MemoryManager::GetSize(p) == c.to;
    auto* q = static_cast<uint8_t*>(KV_REALLOC(p, c.to));
    ASSERT_NE(q, nullptr);
    if (same_item) {
      EXPECT_EQ(q, p) << c.from << " -> " << c.to;
    }
    const size_t kept = std::min(c.from, c.to);
    EXPECT_TRUE(all_bytes(q, 0, kept, 0xAB)) << c.from << " -> " << c.to;
    EXPECT_TRUE(all_bytes(q, kept, MemoryManager::GetSize(q), 0)) << c.from << " -> " << c.to;
    KV_FREE(q);
  }
}

TEST_F(MemoryTest, HeapCountersFollowAllocReAllocAndFree) {
  const MemoryStats base = MemoryManager::Stats();
  void* p = KV_REALLOC(KV_ALLOC(1000), 5000);
  MemoryStats s = MemoryManager::Stats();
  EXPECT_EQ(s.bytes_in_use, base.bytes_in_use + 5000);
  EXPECT_EQ(s.heap_bytes, base.heap_bytes + 5000);
  EXPECT_EQ(s.heap_blocks, base.heap_blocks + 1);
  EXPECT_EQ(s.total_allocated, base.total_allocated + 6000);
  KV_FREE(p);
  s = MemoryManager::Stats();
  EXPECT_EQ(s.bytes_in_use, base.bytes_in_use);
  EXPECT_EQ(s.heap_blocks, base.heap_blocks);
  EXPECT_GE(s.peak_in_use, base.bytes_in_use + 5000);
}

TEST_F(MemoryTest, AlignedBlocksAreFreedAndReallocatedThroughTheAlignmentWords) {
  const struct {
    size_t size;
    size_t alignment;
    size_t effective;
  } cases[] = {{1, 16, 16}, {3, 32, 32}, {100, 256, 256}, {7, 48, 64}, {5000, 4096, 4096}, {2000, 1024, 1024}};
  int with_words = 0;
  auto round = [&] {
    for (bool clear : {true, false}) {
      for (const auto& c : cases) {
        auto* p = static_cast<uint8_t*>(MemoryManager::AllocAligned(c.size, c.alignment, __FILE__, __LINE__, clear));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % c.effective, 0u) << c.size << "/" << c.alignment;
        EXPECT_TRUE(MemoryManager::IsAllocated(p));
        if (item_size_of(p) == 0 && word_before(p, 2) == 0x1234ABCDu) {
          ++with_words;
          EXPECT_NE(word_before(p, 1) & 0x80000000u, 0u);
        }
        std::memset(p, 0x77, c.size);
        auto* q = static_cast<uint8_t*>(KV_REALLOC(p, c.size + 3000));
        EXPECT_TRUE(all_bytes(q, 0, c.size, 0x77));
        EXPECT_TRUE(all_bytes(q, c.size, c.size + 3000, 0));
        KV_FREE(q);
        KV_FREE(MemoryManager::AllocAligned(c.size, c.alignment, __FILE__, __LINE__, clear));
      }
    }
  };
  // The first round may carve bucket pages, which stay; the second must give back all it took.
  round();
  const MemoryStats base = MemoryManager::Stats();
  round();
  EXPECT_GT(with_words, 0);
  EXPECT_EQ(MemoryManager::Stats().heap_blocks, base.heap_blocks);
  EXPECT_EQ(MemoryManager::Stats().heap_bytes, base.heap_bytes);
}

TEST_F(MemoryTest, ForeignAndInteriorPointersAreRefused) {
  alignas(16) static uint8_t foreign[96] = {};
  auto* item = static_cast<uint8_t*>(KV_ALLOC(64));
  EXPECT_FALSE(MemoryManager::IsAllocated(foreign + 48));
  EXPECT_FALSE(MemoryManager::IsAllocated(item + 8));
  const int64_t used = MemoryManager::FindBucket(item)->used_count();
  ConsoleCapture capture;
  KV_FREE(item + 8);  // an interior pointer would corrupt the free list
  EXPECT_EQ(MemoryManager::FindBucket(item)->used_count(), used);
  EXPECT_NE(capture.text().find("points inside a block"), std::string::npos);
  KV_FREE(item);
  capture.clear();
  auto* moved = static_cast<uint8_t*>(KV_REALLOC(foreign + 48, 40));
  EXPECT_EQ(capture.text(), "Why are we reallocing a block that we didn't alloc?!\n");
  EXPECT_TRUE(all_bytes(moved, 0, 40, 0));
  KV_FREE(moved);
}

std::string g_failure;
void remember_failure(const char* message) { g_failure = message; }

std::string memory_lines(const MemoryStats& s) {
  char text[256];
  std::snprintf(text, sizeof text, "Total memory used = %lld(0x%08llx) bytes %.2fMB\nPeak memory used = %lld(0x%08llx) bytes %.2fMB\n",
                static_cast<long long>(s.bytes_in_use), static_cast<unsigned long long>(s.bytes_in_use),
                static_cast<double>(static_cast<float>(s.bytes_in_use) / 1024.0f / 1024.0f), static_cast<long long>(s.peak_in_use),
                static_cast<unsigned long long>(s.peak_in_use), static_cast<double>(static_cast<float>(s.peak_in_use) / 1024.0f / 1024.0f));
  return text;
}

TEST_F(MemoryTest, FailedAllocationAndDumpPrintTheFigures) {
  const size_t huge = size_t{1} << 32;  // beyond what a block header can describe
  ConsoleCapture capture;
  EXPECT_EQ(KV_ALLOC(huge), nullptr);  // no handler: just null
  EXPECT_EQ(capture.text(), "");
  MemoryManager::SetFailureHandler(remember_failure);
  void* small = KV_ALLOC(100);
  for (int round = 0; round < 2; ++round) {
    g_failure.clear();
    capture.clear();
    // The text of the figures is itself allocated after the figures are read: make its item once
    // beforehand, so that no page is carved between the reading and the failure.
    memory_lines(MemoryManager::Stats());
    const std::string figures = memory_lines(MemoryManager::Stats());
    EXPECT_EQ(round == 0 ? KV_ALLOC(huge) : KV_REALLOC(small, huge), nullptr);
    EXPECT_EQ(g_failure, "Memory allocation failed: Attempting to allocate 4294967296 bytes\n");
    EXPECT_EQ(capture.text(), figures);
  }
  KV_FREE(small);  // a failed ReAlloc leaves the old block alone
  capture.clear();
  MemoryManager::DumpMemory(nullptr, nullptr, true);
  EXPECT_EQ(capture.text(), "");
  MemoryManager::DumpMemory(nullptr, nullptr, false);
  EXPECT_EQ(capture.text(), memory_lines(MemoryManager::Stats()));
}

// Keeps what the writer is given without allocating: an allocation in between could carve a
// bucket page and move the figure.
struct Figure {
  const char* key = nullptr;
  int64_t value = -1;
};
void write_figure(void* context, const char* key, int64_t value) { *static_cast<Figure*>(context) = Figure{key, value}; }

TEST_F(MemoryTest, DumpMemoryGivesTotalUsedToTheWriter) {
  Figure figure;
  MemoryManager::DumpMemory(write_figure, &figure, true);
  const int64_t in_use = MemoryManager::Stats().bytes_in_use;
  EXPECT_STREQ(figure.key, "totalUsed");
  EXPECT_EQ(figure.value, in_use);
}

TEST_F(MemoryTest, PagesAreCarvedAtOnceAndVerifyFindsStrays) {
  std::vector<void*> blocks;
  for (int i = 0; i < 40; ++i) blocks.push_back(KV_ALLOC(16384));
  CBucketBase* bucket = MemoryManager::FindBucket(blocks[0]);
  const int64_t used = bucket->used_count();
  // A page of 256 KiB plus one item of slack holds 16 items, or 15 when its start is unlucky.
  const int64_t items = used + bucket->free_count();
  EXPECT_GE(bucket->page_count(), 3);
  EXPECT_LE(items, 16 * bucket->page_count());
  EXPECT_GE(items, 15 * bucket->page_count());
  KV_FREE(blocks.back());
  EXPECT_EQ(bucket->used_count(), used - 1);
  EXPECT_EQ(KV_ALLOC(16384), blocks.back());  // last freed, first out
  for (void* p : blocks) KV_FREE(p);

  void* stray = std::aligned_alloc(16384, 16384);
  EXPECT_TRUE(bucket->Free(stray));  // the size buckets push without checking
  EXPECT_EQ(bucket->Verify(), 1);
  EXPECT_EQ(KV_ALLOC(16384), stray);
  EXPECT_EQ(MemoryManager::VerifyBuckets(), 0);
  std::free(stray);
}

TEST_F(MemoryTest, SlotPoolGivesZeroedStableSlotsAndRefusesForeignOnes) {
  CBucketBase* pool = MemoryManager::SlotBucket();
  const int64_t used = pool->used_count();
  std::vector<uint64_t*> slots;
  bool zeroed = true;
  for (uint64_t i = 0; i < 70000; ++i) {  // more than one page of 65536 slots
    auto* slot = static_cast<uint64_t*>(MemoryManager::AllocSlot());
    zeroed &= slot[0] == 0 && slot[1] == 0;
    slot[0] = i;
    slots.push_back(slot);
  }
  EXPECT_TRUE(zeroed);
  EXPECT_GE(pool->page_count(), 2);
  EXPECT_EQ(MemoryManager::FindBucket(slots.back()), pool);
  EXPECT_FALSE(MemoryManager::FreeSlot(reinterpret_cast<uint8_t*>(slots[5]) + 8));
  bool kept = true;
  for (uint64_t i = 0; i < slots.size(); ++i) kept &= slots[i][0] == i && MemoryManager::FreeSlot(slots[i]);
  EXPECT_TRUE(kept);
  EXPECT_EQ(pool->used_count(), used);
  EXPECT_EQ(pool->Verify(), 0);
}

TEST_F(MemoryTest, ThreadsAllocatingAndFreeingTogetherLeaveSoundBuckets) {
  std::atomic<bool> shared_block{false};
  auto churn = [&shared_block](uint8_t seed) {
    std::vector<uint8_t*> live;
    uint32_t x = seed * 2654435761u + 1;
    for (int i = 0; i < 20000; ++i) {
      x ^= x << 13;
      x ^= x >> 17;
      x ^= x << 5;
      if (live.size() < 64 && (x & 3) != 0) {
        live.push_back(static_cast<uint8_t*>(KV_ALLOC((x >> 8) % 700 + 1)));
        live.back()[0] = seed;
      } else if (!live.empty()) {
        const size_t at = (x >> 4) % live.size();
        if (live[at][0] != seed) shared_block = true;
        KV_FREE(live[at]);
        live[at] = live.back();
        live.pop_back();
      }
    }
    for (uint8_t* p : live) KV_FREE(p);
  };
  std::vector<std::thread> threads;
  for (uint8_t t = 1; t <= 4; ++t) threads.emplace_back(churn, t);
  for (std::thread& t : threads) t.join();
  EXPECT_FALSE(shared_block.load());
  EXPECT_EQ(MemoryManager::VerifyBuckets(), 0);
}

// The main thread (the one that started the manager, which the lock favours) churns without a
// pause while another thread comes and goes in short bursts, so the lock keeps passing between
// its fast path, the way in that every thread shares, and back. No block may be handed to both
// threads, and every count must come back: a lost update would show there.
TEST_F(MemoryTest, MainThreadAndABurstyWorkerNeverShareABlock) {
  constexpr size_t kLive = 48;
  struct Churn {
    uint8_t mark;
    uint32_t x;
    std::array<std::pair<uint8_t*, size_t>, kLive> live{};
    size_t count = 0;
    bool overlapped = false;
    void run(int rounds) {
      for (int i = 0; i < rounds; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        if (count < kLive && (x & 3) != 0) {
          const size_t size = (x >> 8) % 8 == 0 ? (x >> 4) % 3000 + 513 : (x >> 8) % 512 + 1;
          auto* p = static_cast<uint8_t*>(KV_ALLOC(size));
          p[0] = p[size - 1] = mark;
          live[count++] = {p, size};
        } else if (count > 0) {
          const size_t at = (x >> 4) % count;
          const auto [p, size] = live[at];
          overlapped |= p[0] != mark || p[size - 1] != mark;
          KV_FREE(p);
          live[at] = live[--count];
        }
      }
    }
    void drop_all() {
      while (count > 0) KV_FREE(live[--count].first);
    }
  };
  // With free items in every bucket beforehand no page is carved while the threads run.
  std::vector<CBucketBase*> buckets;
  for (size_t size = 8; size <= 512; size *= 2) {
    std::vector<void*> warm(2 * kLive);
    for (void*& p : warm) p = KV_ALLOC(size);
    buckets.push_back(MemoryManager::FindBucket(warm[0]));
    for (void* p : warm) KV_FREE(p);
  }
  // Into an array: a vector of the counts would itself be a bucket item.
  const auto used = [&buckets] {
    std::array<int64_t, 7> counts{};
    for (size_t i = 0; i < counts.size(); ++i) counts[i] = buckets[i]->used_count();
    return counts;
  };
  // The worker is running before the counts are taken and still alive when they are taken again,
  // so that only the blocks of the churn come and go in between.
  enum Phase { kStarting, kReady, kGo, kStop, kDone, kExit };
  std::atomic<int> phase{kStarting};
  const auto wait_for = [&phase](int p) {
    while (phase.load() != p) std::this_thread::yield();
  };
  Churn other{2, 0x9E3779B9u};
  std::thread worker([&] {
    phase = kReady;
    wait_for(kGo);
    while (phase.load() == kGo) {
      other.run(64);
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    other.drop_all();
    phase = kDone;
    wait_for(kExit);
  });
  wait_for(kReady);
  const MemoryStats before = MemoryManager::Stats();
  const auto used_before = used();
  phase = kGo;
  Churn main{1, 12345u};
  main.run(400000);
  main.drop_all();
  phase = kStop;
  wait_for(kDone);
  const MemoryStats after = MemoryManager::Stats();
  const auto used_after = used();
  phase = kExit;
  worker.join();

  EXPECT_FALSE(main.overlapped || other.overlapped) << "a block was handed to both threads";
  EXPECT_EQ(after.heap_blocks, before.heap_blocks);
  EXPECT_EQ(after.heap_bytes, before.heap_bytes);
  EXPECT_EQ(after.bytes_in_use, before.bytes_in_use);
  EXPECT_EQ(used_after, used_before);
  EXPECT_EQ(MemoryManager::VerifyBuckets(), 0);
}

}  // namespace

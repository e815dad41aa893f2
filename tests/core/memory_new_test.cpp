// The global operator new and delete go through the memory manager: std containers land in the
// buckets or in headed heap blocks, every form frees correctly, failures follow the standard, the
// operators are safe from static initialisation on and under threads, and whole runs of the game
// in one process do not make the manager grow. Sanitizer builds keep the system's operators.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "core/memory.h"
#include "platform/fake/fake_display.h"
#include "run/run_game.h"
#include "support/fixture.h"

namespace {

// Made during static initialisation, before main and before the buckets are on.
std::string* const g_made_before_main = new std::string(200, 'k');

int32_t item_size_of(const void* p) {
  CBucketBase* bucket = MemoryManager::FindBucket(p);
  return bucket != nullptr ? bucket->ItemSize() : 0;
}

constexpr size_t kBucketSizes[] = {8, 16, 32, 64, 128, 256, 512, 16384};
constexpr size_t kBucketCount = std::size(kBucketSizes);
using UsedCounts = std::array<int64_t, kBucketCount + 1>;

// The size buckets, found through the page table (buckets must be on), and the slot pool.
std::array<CBucketBase*, kBucketCount + 1> all_buckets() {
  std::array<CBucketBase*, kBucketCount + 1> buckets{};
  for (size_t i = 0; i < kBucketCount; ++i) {
    void* probe = KV_ALLOC(kBucketSizes[i]);
    buckets[i] = MemoryManager::FindBucket(probe);
    KV_FREE(probe);
  }
  buckets[kBucketCount] = MemoryManager::SlotBucket();
  return buckets;
}

// On the stack: a vector of counts would itself sit in a bucket while the counts are read.
UsedCounts used_counts(const std::array<CBucketBase*, kBucketCount + 1>& buckets) {
  UsedCounts counts{};
  for (size_t i = 0; i < buckets.size(); ++i) counts[i] = buckets[i]->used_count();
  return counts;
}

class MemoryNewTest : public ::testing::Test {
 protected:
  void SetUp() override {
#if defined(KOVA_SYSTEM_NEW)
    GTEST_SKIP() << "sanitizer build: operator new is the system's";
#endif
    MemoryManager::Start();
  }
  void TearDown() override { MemoryManager::SetFailureHandler(nullptr); }
};

TEST_F(MemoryNewTest, StringMadeBeforeMainIsAHeadedHeapBlock) {
  const char* text = g_made_before_main->data();
  EXPECT_EQ(item_size_of(text), 0);
  EXPECT_TRUE(MemoryManager::IsAllocated(text));
  EXPECT_EQ(MemoryManager::GetSize(text), 201u);
  const MemoryStats before = MemoryManager::Stats();
  delete g_made_before_main;
  const MemoryStats after = MemoryManager::Stats();
  EXPECT_EQ(after.heap_blocks, before.heap_blocks - 2);  // the text and the string object
  EXPECT_EQ(after.heap_bytes, before.heap_bytes - 201 - static_cast<int64_t>(sizeof(std::string)));
}

TEST_F(MemoryNewTest, VectorOfAThousandIntsRaisesBytesInUse) {
  const MemoryStats before = MemoryManager::Stats();
  {
    std::vector<int> numbers(1000, 7);
    const MemoryStats during = MemoryManager::Stats();
    EXPECT_EQ(during.bytes_in_use, before.bytes_in_use + 4000);
    EXPECT_EQ(during.heap_blocks, before.heap_blocks + 1);
    EXPECT_EQ(MemoryManager::GetSize(numbers.data()), 4000u);
  }
  EXPECT_EQ(MemoryManager::Stats().bytes_in_use, before.bytes_in_use);
  EXPECT_EQ(MemoryManager::Stats().heap_blocks, before.heap_blocks);
}

TEST_F(MemoryNewTest, EveryFormLandsInItsBucketOrOnTheHeapAndFreesAgain) {
  struct alignas(64) Line {
    char bytes[40];
  };
  struct alignas(4096) Page {
    char bytes[5000];
  };
  const struct {
    const char* form;
    void* (*make)();
    void (*drop)(void*);
    int32_t item;    // bucket item size, 0 for the heap
    size_t align;
  } cases[] = {
      {"vector<int>(100)", [] { return static_cast<void*>(new std::vector<int>(100)); },
       [](void* p) { delete static_cast<std::vector<int>*>(p); }, static_cast<int32_t>(sizeof(std::vector<int>) <= 32 ? 32 : 64), 8},
      {"new char[24]", [] { return static_cast<void*>(new char[24]); }, [](void* p) { delete[] static_cast<char*>(p); }, 32, 32},
      {"new char[0]", [] { return static_cast<void*>(new char[0]); }, [](void* p) { delete[] static_cast<char*>(p); }, 8, 8},
      {"new array<char,300>", [] { return static_cast<void*>(new std::array<char, 300>()); },
       [](void* p) { delete static_cast<std::array<char, 300>*>(p); }, 512, 512},
      {"new char[16384]", [] { return static_cast<void*>(new char[16384]); }, [](void* p) { delete[] static_cast<char*>(p); }, 16384, 16384},
      {"new char[16385]", [] { return static_cast<void*>(new char[16385]); }, [](void* p) { delete[] static_cast<char*>(p); }, 0, 16},
      {"nothrow char[700]", [] { return static_cast<void*>(new (std::nothrow) char[700]); },
       [](void* p) { delete[] static_cast<char*>(p); }, 0, 16},
      {"alignas(64)", [] { return static_cast<void*>(new Line()); }, [](void* p) { delete static_cast<Line*>(p); }, 128, 64},
      {"alignas(4096)", [] { return static_cast<void*>(new Page()); }, [](void* p) { delete static_cast<Page*>(p); }, 0, 4096},
      {"alignas(4096)[2]", [] { return static_cast<void*>(new Page[2]); }, [](void* p) { delete[] static_cast<Page*>(p); }, 0, 4096},
  };
  for (const auto& c : cases) {
    // Twice: the first round may carve a page, which stays; the second must give back all it took.
    for (int round = 0; round < 2; ++round) {
      const MemoryStats before = MemoryManager::Stats();
      void* p = c.make();
      ASSERT_NE(p, nullptr) << c.form;
      EXPECT_TRUE(MemoryManager::IsAllocated(p)) << c.form;
      EXPECT_EQ(item_size_of(p), c.item) << c.form;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % c.align, 0u) << c.form;
      c.drop(p);
      if (round == 1) {
        EXPECT_EQ(MemoryManager::Stats().heap_blocks, before.heap_blocks) << c.form;
        EXPECT_EQ(MemoryManager::Stats().bytes_in_use, before.bytes_in_use) << c.form;
      }
    }
  }
  // A std::vector's elements go where their byte count says: 100 ints are a 512-byte item.
  std::vector<int> hundred(100);
  EXPECT_EQ(item_size_of(hundred.data()), 512);
}

struct RaisedByHandler {};
[[noreturn]] void raise_failure(const char*) { throw RaisedByHandler{}; }

int g_new_handler_calls = 0;
void give_up_handler() {
  ++g_new_handler_calls;
  std::set_new_handler(nullptr);
}

TEST_F(MemoryNewTest, FailedNewThrowsCallsTheNewHandlerAndNothrowGivesNull) {
  const size_t huge = size_t{1} << 33;  // beyond what a block header can describe
  EXPECT_THROW(static_cast<void>(::operator new(huge)), std::bad_alloc);
  EXPECT_THROW(static_cast<void>(::operator new[](huge, std::align_val_t{64})), std::bad_alloc);
  EXPECT_EQ(::operator new(huge, std::nothrow), nullptr);
  EXPECT_EQ(::operator new[](huge, std::align_val_t{256}, std::nothrow), nullptr);

  g_new_handler_calls = 0;
  std::set_new_handler(give_up_handler);
  EXPECT_THROW(static_cast<void>(::operator new(huge)), std::bad_alloc);
  EXPECT_EQ(g_new_handler_calls, 1);

  // The game's failure handler raises a script error; the throwing forms let it through.
  MemoryManager::SetFailureHandler(raise_failure);
  EXPECT_THROW(static_cast<void>(::operator new(huge)), RaisedByHandler);
  EXPECT_EQ(::operator new(huge, std::nothrow), nullptr);
}

// Two threads make and drop small and large blocks through new and delete; afterwards every
// counter and every bucket's used count is back where it started.
TEST_F(MemoryNewTest, TwoThreadsNewingAndDeletingLeaveTheCountersAsTheyWere) {
  // Each thread holds at most 96 blocks: with that many free items in every bucket beforehand, no
  // page is carved while the threads run, and the heap counters must come back exactly.
  constexpr int kLiveBlocks = 96;
  for (size_t size : kBucketSizes) {
    std::vector<std::unique_ptr<char[]>> warm(2 * kLiveBlocks);
    for (auto& block : warm) block.reset(new char[size]);
  }
  const auto buckets = all_buckets();
  std::vector<std::thread> threads;
  threads.reserve(2);
  const MemoryStats before = MemoryManager::Stats();
  const UsedCounts used_before = used_counts(buckets);

  std::atomic<bool> overlapped{false};
  auto churn = [&overlapped](uint32_t seed) {
    std::vector<std::unique_ptr<char[]>> live(kLiveBlocks);
    std::vector<size_t> sizes(live.size());
    uint32_t x = seed;
    for (int i = 0; i < 30000; ++i) {
      x ^= x << 13;
      x ^= x >> 17;
      x ^= x << 5;
      const size_t at = x % live.size();
      if (live[at] != nullptr) {
        const char mark = static_cast<char>(seed);
        if (live[at][0] != mark || live[at][sizes[at] - 1] != mark) overlapped = true;
        live[at].reset();
        continue;
      }
      // Mostly bucket sizes, one in eight a heap block of up to 40 KB, now and then a bucket of 16384.
      size_t size = (x >> 8) % 512 + 1;
      if ((x >> 20) % 8 == 0) size = (x >> 4) % 40000 + 513;
      if ((x >> 24) % 32 == 0) size = 16384;
      live[at].reset(new char[size]);
      sizes[at] = size;
      live[at][0] = live[at][size - 1] = static_cast<char>(seed);
    }
  };
  threads.emplace_back(churn, 0x1234567u);
  threads.emplace_back(churn, 0x89ABCDEu);
  for (std::thread& t : threads) t.join();
  threads.clear();

  EXPECT_FALSE(overlapped.load()) << "a block was handed to both threads";
  const MemoryStats after = MemoryManager::Stats();
  EXPECT_EQ(after.heap_blocks, before.heap_blocks);
  EXPECT_EQ(after.heap_bytes, before.heap_bytes);
  EXPECT_EQ(after.bytes_in_use, before.bytes_in_use);
  EXPECT_GT(after.total_allocated, before.total_allocated) << "the large blocks came from the heap";
  EXPECT_EQ(used_counts(buckets), used_before);
  EXPECT_EQ(MemoryManager::VerifyBuckets(), 0);
}

// The runtime can run game after game in one process (-exit chaining, restarts): once the first
// round has carved the pages it needs, later rounds reuse them and give back every heap block.
// Runs in the sanitizer build too, where the manager still serves the runtime's explicit blocks.
TEST(MemoryRestartTest, WholeGameRunsInOneProcessDoNotGrowTheManager) {
  MemoryManager::Start();
  TempDir dir;
  const std::string game = dir.file("game.win");
  WriteFixtureTo(MakeMinimalGame(17, 2, 60.0f), game);
  std::vector<std::string> args = {"kova-runner", "-game", game, "-headless"};
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());

  const auto buckets = all_buckets();
  struct Round {
    int64_t heap_blocks;
    int64_t bytes_in_use;
    UsedCounts used;
  };
  std::vector<Round> rounds;
  rounds.reserve(4);
  for (int round = 0; round < 4; ++round) {
    ASSERT_EQ(Kova_Main(static_cast<int>(argv.size()), argv.data(), DisplayPlatform{{}, FakeDisplay_Backend()}), 0);
    const MemoryStats stats = MemoryManager::Stats();
    rounds.push_back(Round{stats.heap_blocks, stats.bytes_in_use, used_counts(buckets)});
  }
  // Bucket pages are part of bytes_in_use: a page carved in a later round shows there.
  for (int round = 2; round < 4; ++round) {
    EXPECT_EQ(rounds[round].heap_blocks, rounds[1].heap_blocks) << "round " << round;
    EXPECT_EQ(rounds[round].bytes_in_use, rounds[1].bytes_in_use) << "round " << round;
    EXPECT_EQ(rounds[round].used, rounds[1].used) << "round " << round;
  }
}

}  // namespace

#include "core/memory.h"

#include <atomic>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "core/console.h"
#include "platform/heap.h"
#include "platform/threads.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
// Free bucket items are poisoned so that the address sanitizer sees use after free inside pages.
#define KV_POISON(address, size) ASAN_POISON_MEMORY_REGION((address), (size))
#define KV_UNPOISON(address, size) ASAN_UNPOISON_MEMORY_REGION((address), (size))
#else
#define KV_POISON(address, size) ((void)(address), (void)(size))
#define KV_UNPOISON(address, size) ((void)(address), (void)(size))
#endif

namespace {

constexpr uint32_t kMagicA = 0xDEADC0DE;
constexpr uint32_t kMagicB = 0xBAADB00B;
constexpr uint32_t kAlignMagic = 0x1234ABCD;
constexpr uint32_t kAlignDistanceBit = 0x80000000u;
constexpr size_t kHeaderSize = 32;
constexpr size_t kMaxHeapSize = UINT32_MAX - kHeaderSize;
constexpr int32_t kFirstPageTableSize = 16;

struct BlockHeader {
  uint64_t zero;
  uint32_t size;
  uint32_t magic_a;
  uint32_t magic_b;
  uint8_t unused[12];
};
static_assert(sizeof(BlockHeader) == kHeaderSize);
// The alignment words need 8 bytes in front of an aligned pointer; every block we hand out is at
// least 8-aligned, so a non-zero distance to the aligned pointer is always 8 or more.
static_assert(alignof(std::max_align_t) >= 8);

// ---- MemoryManagerMutex ----------------------------------------------------------------------------
// The one lock over buckets, page table and counters, taken for every Alloc, Free and ReAlloc and
// recursive (ReAlloc and Alloc call each other under it).
//
// An atomic read-modify-write costs about as much as a whole glibc malloc and free on the machines
// this runs on, and the main thread makes nearly every allocation. So the lock is biased towards
// the thread that started the manager (the main thread): that thread enters with a plain store to
// `owner_in_` and a plain load of `shared_`, no locked instruction at all, as long as no other
// thread has used the lock. Any other thread enters through `others_`, an ordinary spin lock; the
// first time it raises `shared_` and makes a process-wide barrier (Thread_ProcessBarrier), which
// stands in for the fence the favoured side leaves out: afterwards either the favoured thread
// sees `shared_` or its `owner_in_` is visible, so the two can't both enter (Dekker's protocol
// with the heavy fence on the rare side). `shared_` stays up and the favoured thread enters
// through `others_` as well, until it has done so kRebiasStreak times in a row with no other
// thread in between; then it lowers `shared_` (holding `others_`) and is back on its fast path.
//
// Without a process barrier (the system refuses it) nothing is biased: every thread takes
// `others_`. The lock is constant-initialised, so it works before any static constructor has run.
class MemoryManagerMutex {
 public:
  constexpr MemoryManagerMutex() = default;

  // The calling thread becomes the favoured one, where the system allows it.
  void bias_to_calling_thread() {
    if (!Thread_EnableProcessBarrier()) return;
    const bool fast = lock();
    favoured_.store(thread_token(), std::memory_order_relaxed);
    unlock(fast);
  }

  // True when the favoured thread came in on its fast path; the answer goes back to unlock.
  [[gnu::always_inline]] bool lock() {
    const uintptr_t me = thread_token();
    if (me == favoured_.load(std::memory_order_relaxed)) {
      // owner_in_ counts the favoured thread's nested entries on its fast path; only it writes it.
      const uint32_t depth = owner_in_.load(std::memory_order_relaxed);
      if (depth != 0) {
        owner_in_.store(depth + 1, std::memory_order_relaxed);
        return true;
      }
      // Also taken when this thread is already inside through others_ and shared_ is down (it
      // has just lowered it): others_ is still held then, so nobody else can be inside.
      owner_in_.store(1, std::memory_order_relaxed);
      // Compiler ordering only: the other side's process barrier supplies the hardware fence.
      std::atomic_signal_fence(std::memory_order_seq_cst);
      if (shared_.load(std::memory_order_acquire) == 0) [[likely]] return true;
      owner_in_.store(0, std::memory_order_release);
    }
    lock_slow(me);
    return false;
  }

  // The favoured thread's way in when it holds nothing yet and no other thread uses the lock;
  // false, holding nothing, otherwise. unlock_fast undoes it.
  [[gnu::always_inline]] bool try_lock_fast() {
    if (thread_token() != favoured_.load(std::memory_order_relaxed)) return false;
    if (owner_in_.load(std::memory_order_relaxed) != 0) return false;
    owner_in_.store(1, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (shared_.load(std::memory_order_acquire) == 0) [[likely]] return true;
    owner_in_.store(0, std::memory_order_release);
    return false;
  }
  [[gnu::always_inline]] void unlock_fast() { owner_in_.store(0, std::memory_order_release); }

  [[gnu::always_inline]] void unlock(bool fast) {
    if (fast) [[likely]] {
      owner_in_.store(owner_in_.load(std::memory_order_relaxed) - 1, std::memory_order_release);
      return;
    }
    if (--depth_ > 0) return;
    holder_.store(0, std::memory_order_relaxed);
    others_.store(0, std::memory_order_release);
  }

 private:
  static constexpr uint32_t kRebiasStreak = 4096;

  // A value no two live threads share: the address of a thread-local byte.
  static uintptr_t thread_token() {
    static thread_local constinit char token = 0;
    return reinterpret_cast<uintptr_t>(&token);
  }

  static void pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }

  // Every way in but the favoured thread's fast path: a recursive entry, or others_.
  [[gnu::noinline]] void lock_slow(uintptr_t me) {
    if (holder_.load(std::memory_order_relaxed) == me) {
      ++depth_;
      return;
    }
    lock_others();
    if (me == favoured_.load(std::memory_order_relaxed)) {
      if (last_holder_ == me && ++streak_ >= kRebiasStreak) {
        shared_.store(0, std::memory_order_relaxed);
        streak_ = 0;
      }
    } else {
      streak_ = 0;
      if (shared_.load(std::memory_order_relaxed) == 0 && favoured_.load(std::memory_order_relaxed) != 0) {
        shared_.store(1, std::memory_order_relaxed);
        Thread_ProcessBarrier();
        while (owner_in_.load(std::memory_order_acquire) != 0) {
          pause();
          std::this_thread::yield();
        }
      }
    }
    last_holder_ = me;
    holder_.store(me, std::memory_order_relaxed);
    depth_ = 1;
  }

  // Test and test-and-set: a short spin, then the waiter gives its time slice away, which also
  // lets a holder that was preempted on a busy machine finish.
  void lock_others() {
    for (int spins = 0;; ++spins) {
      if (others_.load(std::memory_order_relaxed) == 0 && others_.exchange(1, std::memory_order_acquire) == 0) return;
      if (spins < 64) {
        pause();
      } else {
        std::this_thread::yield();
      }
    }
  }

  std::atomic<uint32_t> owner_in_{0};   // the favoured thread's depth on its fast path (or 1 on its way in)
  std::atomic<uint32_t> shared_{0};     // another thread has used the lock: all go through others_
  std::atomic<uint32_t> others_{0};     // the spin lock of every way in but the fast one
  std::atomic<uintptr_t> favoured_{0};  // token of the favoured thread; 0 while nothing is biased
  std::atomic<uintptr_t> holder_{0};    // token of the thread inside through others_, for recursion
  // Written only by the thread inside through others_.
  uint32_t depth_ = 0;
  uintptr_t last_holder_ = 0;  // who last came through others_
  uint32_t streak_ = 0;        // the favoured thread's entries through others_ in a row
};

constinit MemoryManagerMutex g_manager_mutex;

class ManagerLock {
 public:
  ManagerLock() : fast_(g_manager_mutex.lock()) {}
  ~ManagerLock() { g_manager_mutex.unlock(fast_); }
  ManagerLock(const ManagerLock&) = delete;
  ManagerLock& operator=(const ManagerLock&) = delete;

 private:
  const bool fast_;
};

MemoryStats g_stats;
bool g_buckets_on = false;
std::atomic<int64_t> g_frames{0};
std::atomic<MemoryManager::FailureHandler> g_failure_handler{nullptr};

uint8_t* bytes(const void* p) { return static_cast<uint8_t*>(const_cast<void*>(p)); }

// ---- Heap blocks ---------------------------------------------------------------------------------

BlockHeader* header_of(const void* block) { return reinterpret_cast<BlockHeader*>(bytes(block) - kHeaderSize); }

bool header_valid(const BlockHeader* header) { return header->magic_a == kMagicA && header->magic_b == kMagicB; }

void count_new_bytes(size_t size) {
  g_stats.bytes_in_use += static_cast<int64_t>(size);
  g_stats.total_allocated += static_cast<int64_t>(size);
  g_stats.heap_bytes += static_cast<int64_t>(size);
  if (g_stats.bytes_in_use > g_stats.peak_in_use) g_stats.peak_in_use = g_stats.bytes_in_use;
}

[[gnu::noinline]] void* heap_alloc_locked(size_t size, bool clear) {
  if (size > kMaxHeapSize) return nullptr;
  auto* raw = static_cast<uint8_t*>(clear ? std::calloc(1, size + kHeaderSize) : std::malloc(size + kHeaderSize));
  if (raw == nullptr) return nullptr;
  auto* header = reinterpret_cast<BlockHeader*>(raw);
  std::memset(header, 0, kHeaderSize);
  header->size = static_cast<uint32_t>(size);
  header->magic_a = kMagicA;
  header->magic_b = kMagicB;
  g_stats.heap_blocks += 1;
  count_new_bytes(size);
  return raw + kHeaderSize;
}

void heap_free_locked(BlockHeader* header) {
  g_stats.bytes_in_use -= header->size;
  g_stats.heap_blocks -= 1;
  g_stats.heap_bytes -= header->size;
  header->magic_a = 0;
  header->magic_b = 0;
  std::free(header);
}

// Grows or shrinks a heap block in place where the system can; the tail past the old size is zeroed.
void* heap_resize_locked(BlockHeader* header, size_t size) {
  if (size > kMaxHeapSize) return nullptr;
  const size_t old_size = header->size;
  auto* raw = static_cast<uint8_t*>(std::realloc(header, size + kHeaderSize));
  if (raw == nullptr) return nullptr;
  header = reinterpret_cast<BlockHeader*>(raw);
  header->size = static_cast<uint32_t>(size);
  if (size > old_size) std::memset(raw + kHeaderSize + old_size, 0, size - old_size);
  g_stats.heap_bytes -= static_cast<int64_t>(old_size);
  g_stats.bytes_in_use -= static_cast<int64_t>(old_size);
  count_new_bytes(size);
  return raw + kHeaderSize;
}

// The start of the block behind an aligned pointer, or null when the alignment words are absent.
void* aligned_base(const void* block) {
  const auto* words = reinterpret_cast<const uint32_t*>(block);
  if (words[-2] != kAlignMagic || (words[-1] & kAlignDistanceBit) == 0) return nullptr;
  const uint32_t distance = words[-1] & ~kAlignDistanceBit;
  if (distance < 8) return nullptr;
  return bytes(block) - distance;
}

// ---- Page table ----------------------------------------------------------------------------------

class BucketCore;

// One page of a bucket: its bytes [start, end), the run of items carved from it, [first, limit),
// and their size (a copy of the bucket's, so that Free needn't reach the bucket to check a pointer).
struct PageRange {
  uintptr_t start;
  uintptr_t end;
  uintptr_t first;
  uintptr_t limit;
  uintptr_t item_size;
  BucketCore* bucket;
};

PageRange* g_page_table = nullptr;
int32_t g_page_count = 0;
int32_t g_page_capacity = 0;
// The range the last lookup found. Frees come in runs from one page often enough that checking it
// first skips most searches; any change to the table forgets it.
const PageRange* g_last_range = nullptr;

// The last range starting at or below address, if address lies inside it. The search has no
// branch on the data, so it costs the same whatever the pattern of frees.
[[gnu::noinline]] const PageRange* page_table_search(uintptr_t address) {
  if (g_page_count == 0) return nullptr;
  const PageRange* base = g_page_table;
  for (int32_t n = g_page_count; n > 1;) {
    const int32_t half = n / 2;
    base = base[half].start <= address ? base + half : base;
    n -= half;
  }
  return base->start <= address && address < base->end ? base : nullptr;
}

[[gnu::always_inline]] inline const PageRange* page_table_find(const void* p) {
  const auto address = reinterpret_cast<uintptr_t>(p);
  const PageRange* last = g_last_range;
  if (last != nullptr && address - last->start < last->end - last->start) return last;
  const PageRange* range = page_table_search(address);
  if (range != nullptr) g_last_range = range;
  return range;
}

bool page_table_add(const PageRange& page) {
  if (g_page_count == g_page_capacity) {
    const int32_t capacity = g_page_capacity == 0 ? kFirstPageTableSize : g_page_capacity + g_page_capacity / 2;
    auto* grown = static_cast<PageRange*>(heap_alloc_locked(sizeof(PageRange) * static_cast<size_t>(capacity), false));
    if (grown == nullptr) return false;
    if (g_page_count > 0) std::memcpy(grown, g_page_table, sizeof(PageRange) * static_cast<size_t>(g_page_count));
    if (g_page_table != nullptr) heap_free_locked(header_of(g_page_table));
    g_page_table = grown;
    g_page_capacity = capacity;
  }
  int32_t at = g_page_count;
  while (at > 0 && g_page_table[at - 1].start > page.start) --at;
  std::memmove(&g_page_table[at + 1], &g_page_table[at], sizeof(PageRange) * static_cast<size_t>(g_page_count - at));
  g_page_table[at] = page;
  ++g_page_count;
  g_last_range = nullptr;
  return true;
}

void page_table_remove(uintptr_t start) {
  for (int32_t i = 0; i < g_page_count; ++i) {
    if (g_page_table[i].start != start) continue;
    std::memmove(&g_page_table[i], &g_page_table[i + 1], sizeof(PageRange) * static_cast<size_t>(g_page_count - i - 1));
    --g_page_count;
    g_last_range = nullptr;
    return;
  }
}

// ---- Buckets -------------------------------------------------------------------------------------

struct PageHead {
  PageHead* next;
  CBucketBase* bucket;
};

uintptr_t first_item_of(uintptr_t page, uintptr_t item_size) {
  return (page + sizeof(PageHead) + item_size - 1) & ~(item_size - 1);
}

// True when p is the start of one of the items carved from the page. Items start on multiples of
// their (power-of-two) size.
bool is_item_start(const PageRange& range, uintptr_t address) {
  return address >= range.first && address < range.limit && (address & (range.item_size - 1)) == 0;
}

// What every bucket shares below its template arguments: the item size and the push of a freed
// item, so that Free can hand an item back without knowing which template the bucket is.
class BucketCore : public CBucketBase {
 public:
  void Push(void* item) {
    *static_cast<void**>(item) = free_list_;
    free_list_ = item;
    --used_count_;
    ++free_count_;
    KV_POISON(item, item_size_);
  }

  // True when item is the start of an item in one of this bucket's pages.
  bool Holds(const void* item) const {
    const PageRange* range = page_table_find(item);
    return range != nullptr && range->bucket == this && is_item_start(*range, reinterpret_cast<uintptr_t>(item));
  }

 protected:
  constexpr explicit BucketCore(uintptr_t item_size) : item_size_(item_size) {}
  ~BucketCore() = default;

 private:
  uintptr_t item_size_;
};

template <int kItemSize, int kPageSize, int kUnchecked>
class CBucket final : public BucketCore {
  static_assert(std::has_single_bit(static_cast<unsigned>(kItemSize)), "items are aligned to their size");
  static constexpr size_t kPageBytes = static_cast<size_t>(kPageSize) + kItemSize;

 public:
  constexpr CBucket() : BucketCore(kItemSize) {}

  void Clear() override {
    PageHead* page = static_cast<PageHead*>(pages_);
    while (page != nullptr) {
      PageHead* next = page->next;
      page_table_remove(reinterpret_cast<uintptr_t>(page));
      KV_UNPOISON(page, kPageBytes);
      heap_free_locked(header_of(page));
      page = next;
    }
    pages_ = nullptr;
    free_list_ = nullptr;
    used_count_ = 0;
    free_count_ = 0;
    page_count_ = 0;
  }

  int64_t Verify() override {
    int64_t strays = 0;
    void* item = free_list_;
    // A free list longer than free_count_ is corrupt (an item freed twice makes a cycle): stop there.
    for (int64_t walked = 0; item != nullptr && walked < free_count_; ++walked) {
      if (!Holds(item)) ++strays;
      KV_UNPOISON(item, sizeof(void*));
      void* next = *static_cast<void**>(item);
      KV_POISON(item, sizeof(void*));
      item = next;
    }
    return strays;
  }

  int32_t ItemSize() const override { return kItemSize; }

  bool Free(void* item) override {
    if (kUnchecked == 0 && !Holds(item)) return false;
    Push(item);
    return true;
  }

  // Takes an item, carving a new page when the free list is empty. The bytes past `requested` are
  // zeroed even without `clear`, so a later ReAlloc to the item size finds a zero tail.
  void* Pop(size_t requested, bool clear) {
    if (free_list_ == nullptr && !AddPage()) [[unlikely]] return nullptr;
    return TakeFirst(requested, clear);
  }

  // As Pop, but null when the free list is empty.
  void* TryPop(size_t requested, bool clear) {
    if (free_list_ == nullptr) [[unlikely]] return nullptr;
    return TakeFirst(requested, clear);
  }

 private:
  void* TakeFirst(size_t requested, bool clear) {
    void* item = free_list_;
    KV_UNPOISON(item, kItemSize);
    free_list_ = *static_cast<void**>(item);
    ++used_count_;
    --free_count_;
    if (clear) {
      std::memset(item, 0, kItemSize);
    } else if (requested < static_cast<size_t>(kItemSize)) {
      std::memset(bytes(item) + requested, 0, kItemSize - requested);
    }
    return item;
  }

  // A page comes from the heap path with one item of slack, so the first item can start on a
  // multiple of the item size. All its items go on the free list at once, in address order.
  [[gnu::noinline]] bool AddPage() {
    auto* page = static_cast<PageHead*>(heap_alloc_locked(kPageBytes, false));
    if (page == nullptr) return false;
    const auto start = reinterpret_cast<uintptr_t>(page);
    const uintptr_t first = first_item_of(start, kItemSize);
    const int64_t count = static_cast<int64_t>((start + kPageBytes - first) / kItemSize);
    const uintptr_t limit = first + static_cast<uintptr_t>(count) * kItemSize;
    if (!page_table_add(PageRange{start, start + kPageBytes, first, limit, kItemSize, this})) {
      heap_free_locked(header_of(page));
      return false;
    }
    page->next = static_cast<PageHead*>(pages_);
    page->bucket = this;
    pages_ = page;
    ++page_count_;
    for (int64_t i = 0; i < count; ++i) {
      void** item = reinterpret_cast<void**>(first + static_cast<uintptr_t>(i) * kItemSize);
      *item = i + 1 < count ? reinterpret_cast<void*>(first + static_cast<uintptr_t>(i + 1) * kItemSize) : free_list_;
    }
    free_list_ = reinterpret_cast<void*>(first);
    free_count_ += count;
    KV_POISON(reinterpret_cast<void*>(first), static_cast<size_t>(count) * kItemSize);
    return true;
  }
};

constinit CBucket<8, 0x20000, 1> g_bucket_8;
constinit CBucket<16, 0x40000, 1> g_bucket_16;
constinit CBucket<32, 0x40000, 1> g_bucket_32;
constinit CBucket<64, 0x80000, 1> g_bucket_64;
constinit CBucket<128, 0x80000, 1> g_bucket_128;
constinit CBucket<256, 0x100000, 1> g_bucket_256;
constinit CBucket<512, 0x200000, 1> g_bucket_512;
constinit CBucket<16384, 0x40000, 1> g_bucket_16384;
constinit CBucket<16, 0x100000, 0> g_slot_bucket;

CBucketBase* const g_all_buckets[] = {&g_bucket_8,   &g_bucket_16,  &g_bucket_32,    &g_bucket_64,  &g_bucket_128,
                                      &g_bucket_256, &g_bucket_512, &g_bucket_16384, &g_slot_bucket};

// Which size bucket serves size: 0 to 6 for 1..512, 7 for exactly 16384, -1 for the heap.
[[gnu::always_inline]] inline int bucket_index(size_t size) {
  if (!g_buckets_on || size == 0) return -1;
  if (size <= 8) return 0;
  if (size <= 512) return static_cast<int>(std::bit_width(size - 1)) - 3;
  return size == 16384 ? 7 : -1;
}

// Bucket sizes 1 to 512 only, with the buckets on: an item, or null when that free list is empty.
[[gnu::always_inline]] inline void* small_bucket_try_pop(size_t size, bool clear) {
  switch (size <= 8 ? 0 : static_cast<int>(std::bit_width(size - 1)) - 3) {
    case 0: return g_bucket_8.TryPop(size, clear);
    case 1: return g_bucket_16.TryPop(size, clear);
    case 2: return g_bucket_32.TryPop(size, clear);
    case 3: return g_bucket_64.TryPop(size, clear);
    case 4: return g_bucket_128.TryPop(size, clear);
    case 5: return g_bucket_256.TryPop(size, clear);
    default: return g_bucket_512.TryPop(size, clear);
  }
}

[[gnu::always_inline]] inline void* bucket_pop(int index, size_t size, bool clear) {
  switch (index) {
    case 0: return g_bucket_8.Pop(size, clear);
    case 1: return g_bucket_16.Pop(size, clear);
    case 2: return g_bucket_32.Pop(size, clear);
    case 3: return g_bucket_64.Pop(size, clear);
    case 4: return g_bucket_128.Pop(size, clear);
    case 5: return g_bucket_256.Pop(size, clear);
    case 6: return g_bucket_512.Pop(size, clear);
    default: return g_bucket_16384.Pop(size, clear);
  }
}

// ---- The operations, with the lock held ----------------------------------------------------------

[[gnu::always_inline]] inline void* alloc_locked(size_t size, bool clear) {
  const int index = bucket_index(size);
  if (index >= 0) return bucket_pop(index, size, clear);
  return heap_alloc_locked(size, clear);
}

enum class BlockKind { kBucket, kHeap, kAligned, kInterior, kForeign };

struct BlockInfo {
  BlockKind kind = BlockKind::kForeign;
  BucketCore* bucket = nullptr;
  BlockHeader* header = nullptr;  // heap blocks and aligned blocks: the underlying block's header
  void* base = nullptr;           // aligned blocks: the start of the underlying block
  size_t size = 0;                // usable bytes from the pointer on
};

BlockInfo classify(const void* block) {
  BlockInfo info;
  if (const PageRange* range = page_table_find(block)) {
    info.kind = is_item_start(*range, reinterpret_cast<uintptr_t>(block)) ? BlockKind::kBucket : BlockKind::kInterior;
    info.bucket = range->bucket;
    info.size = range->item_size;
    return info;
  }
  if (BlockHeader* header = header_of(block); header_valid(header)) {
    info.kind = BlockKind::kHeap;
    info.header = header;
    info.size = header->size;
    return info;
  }
  if (void* base = aligned_base(block)) {
    const size_t offset = static_cast<size_t>(bytes(block) - bytes(base));
    if (const PageRange* range = page_table_find(base)) {
      if (is_item_start(*range, reinterpret_cast<uintptr_t>(base)) && offset < range->item_size) {
        info = BlockInfo{BlockKind::kAligned, range->bucket, nullptr, base, range->item_size - offset};
      }
    } else if (BlockHeader* header = header_of(base); header_valid(header) && offset < header->size) {
      info = BlockInfo{BlockKind::kAligned, nullptr, header, base, header->size - offset};
    }
  }
  return info;
}

void free_classified(void* block, const BlockInfo& info) {
  switch (info.kind) {
    case BlockKind::kBucket: info.bucket->Push(block); return;
    case BlockKind::kHeap: heap_free_locked(info.header); return;
    case BlockKind::kAligned:
      if (info.bucket != nullptr) {
        info.bucket->Push(info.base);
      } else {
        heap_free_locked(info.header);
      }
      return;
    case BlockKind::kInterior:
      g_ReleaseConsole->Output("MemoryManager::Free: %p points inside a block, not at its start\n", block);
      return;
    case BlockKind::kForeign:
      g_ReleaseConsole->Output("MemoryManager::Free: %p was not allocated by the memory manager\n", block);
      return;
  }
}

// Free of anything but an item start found through the page table.
[[gnu::noinline]] void free_other(void* block) { free_classified(block, classify(block)); }

double megabytes(int64_t bytes_count) { return static_cast<double>(static_cast<float>(bytes_count) / 1024.0f / 1024.0f); }

// The two lines of the memory report: bytes, the same in hex, and megabytes in single precision.
void print_memory_figures(const MemoryStats& stats) {
  g_ReleaseConsole->Output("Total memory used = %lld(0x%08llx) bytes %.2fMB\n", static_cast<long long>(stats.bytes_in_use),
                           static_cast<unsigned long long>(stats.bytes_in_use), megabytes(stats.bytes_in_use));
  g_ReleaseConsole->Output("Peak memory used = %lld(0x%08llx) bytes %.2fMB\n", static_cast<long long>(stats.peak_in_use),
                           static_cast<unsigned long long>(stats.peak_in_use), megabytes(stats.peak_in_use));
}

[[gnu::noinline]] void report_failure(size_t size) {
  const MemoryManager::FailureHandler handler = g_failure_handler.load();
  if (handler == nullptr) return;
  print_memory_figures(MemoryManager::Stats());
  char message[160];
  std::snprintf(message, sizeof message, "Memory allocation failed: Attempting to allocate %llu bytes\n",
                static_cast<unsigned long long>(size));
  handler(message);
}

// Alloc in general: any size, any thread, nested or not.
[[gnu::noinline]] void* alloc_general(size_t size, bool clear) {
  if (size == 0) return nullptr;
  void* block;
  {
    ManagerLock lock;
    block = alloc_locked(size, clear);
  }
  if (block == nullptr) [[unlikely]] report_failure(size);
  return block;
}

// Alloc's commonest case written out in full, so that it needs no call and no saved register: the
// favoured thread, not nested, a bucket size, an item on the free list. Null for anything else,
// which then goes the general way.
[[gnu::always_inline]] inline void* alloc_fast(size_t size, bool clear) {
  if (size - 1 >= 512 || !g_manager_mutex.try_lock_fast()) return nullptr;
  void* item = g_buckets_on ? small_bucket_try_pop(size, clear) : nullptr;
  g_manager_mutex.unlock_fast();
  return item;
}

// Alloc's body.
[[gnu::always_inline]] inline void* alloc_block(size_t size, bool clear) {
  if (void* item = alloc_fast(size, clear)) [[likely]] return item;
  return alloc_general(size, clear);
}

// Free in general: any pointer, any thread.
[[gnu::noinline]] void free_general(void* block) {
  ManagerLock lock;
  // The common case first: the start of an item in a bucket's page.
  const PageRange* range = page_table_find(block);
  if (range != nullptr && is_item_start(*range, reinterpret_cast<uintptr_t>(block))) [[likely]] {
    range->bucket->Push(block);
    return;
  }
  free_other(block);
}

// Free's body, likewise inlined into the global operator delete, with its commonest case written
// out: the favoured thread, not nested, an item of the page that the last lookup found.
[[gnu::always_inline]] inline void free_block(void* block) {
  if (block == nullptr) return;
  if (g_manager_mutex.try_lock_fast()) {
    const PageRange* range = g_last_range;
    const auto address = reinterpret_cast<uintptr_t>(block);
    const bool item = range != nullptr && address - range->start < range->end - range->start && is_item_start(*range, address);
    if (item) range->bucket->Push(block);
    g_manager_mutex.unlock_fast();
    if (item) [[likely]] return;
  }
  free_general(block);
}

}  // namespace

namespace MemoryManager {

void Start() {
  {
    ManagerLock lock;
    if (g_buckets_on) return;
    g_buckets_on = true;
  }
  // Heap blocks of a few hundred bytes to a few kilobytes are made and dropped by the hundred
  // every frame; by default the system heap would give its top back and take it again each time.
  Heap_RetainFreedMemory();
  g_manager_mutex.bias_to_calling_thread();
}

bool Started() {
  ManagerLock lock;
  return g_buckets_on;
}

void* Alloc(size_t size, const char* /*file*/, int /*line*/, bool clear) { return alloc_block(size, clear); }

void* AllocAligned(size_t size, size_t alignment, const char* file, int line, bool clear) {
  if (size == 0) return nullptr;
  if (alignment <= 1) return Alloc(size, file, line, clear);
  // A stricter alignment than asked serves as well: round odd values up to a power of two.
  alignment = std::bit_ceil(alignment);
  if (alignment > kAlignDistanceBit || size > kMaxHeapSize - (alignment - 1)) {
    report_failure(size + alignment - 1);
    return nullptr;
  }
  const size_t total = size + alignment - 1;
  auto* block = static_cast<uint8_t*>(Alloc(total, file, line, clear));
  if (block == nullptr) return nullptr;
  const uintptr_t start = reinterpret_cast<uintptr_t>(block);
  auto* aligned = reinterpret_cast<uint8_t*>((start + alignment - 1) & ~static_cast<uintptr_t>(alignment - 1));
  // The slack behind the caller's bytes counts as part of the block for ReAlloc: keep it zero.
  if (!clear) std::memset(aligned + size, 0, static_cast<size_t>(block + total - (aligned + size)));
  if (aligned != block) {
    // The slack in front is read when the pointer is classified (as a would-be header): no stale
    // magic words may stand there.
    if (!clear) std::memset(block, 0, static_cast<size_t>(aligned - block));
    auto* words = reinterpret_cast<uint32_t*>(aligned);
    words[-2] = kAlignMagic;
    words[-1] = static_cast<uint32_t>(aligned - block) | kAlignDistanceBit;
  }
  return aligned;
}

void Free(void* block) { free_block(block); }

bool IsAllocated(const void* block) {
  if (block == nullptr) return false;
  ManagerLock lock;
  const BlockKind kind = classify(block).kind;
  return kind == BlockKind::kBucket || kind == BlockKind::kHeap || kind == BlockKind::kAligned;
}

size_t GetSize(const void* block) {
  if (block == nullptr) return 0;
  ManagerLock lock;
  const BlockInfo info = classify(block);
  return info.kind == BlockKind::kInterior ? 0 : info.size;
}

void* ReAlloc(void* block, size_t size, const char* file, int line, int /*flags*/) {
  if (block == nullptr) return Alloc(size, file, line, true);
  void* result = nullptr;
  {
    ManagerLock lock;
    const BlockInfo info = classify(block);
    const bool ours = info.kind == BlockKind::kBucket || info.kind == BlockKind::kHeap || info.kind == BlockKind::kAligned;
    if (!ours) g_ReleaseConsole->Output("Why are we reallocing a block that we didn't alloc?!\n");
    if (size == 0) {
      if (ours) free_classified(block, info);
      return nullptr;
    }
    const size_t old_size = ours ? info.size : 0;
    if (size == old_size) return block;
    const int index = bucket_index(size);
    if (info.kind == BlockKind::kBucket && index >= 0 && g_all_buckets[index] == info.bucket) {
      // Same item size: shrink in place, keeping the tail zero for later growth.
      std::memset(bytes(block) + size, 0, old_size - size);
      return block;
    }
    if (info.kind == BlockKind::kHeap && index < 0) {
      result = heap_resize_locked(info.header, size);
    } else {
      result = alloc_locked(size, true);
      if (result != nullptr) {
        std::memcpy(result, block, old_size < size ? old_size : size);
        if (ours) free_classified(block, info);
      }
    }
  }
  if (result == nullptr) report_failure(size);
  return result;
}

void SetLength(void** block, size_t size, const char* file, int line) {
  *block = ReAlloc(*block, size, file, line);
}

MemoryStats Stats() {
  ManagerLock lock;
  return g_stats;
}

CBucketBase* FindBucket(const void* block) {
  if (block == nullptr) return nullptr;
  ManagerLock lock;
  const PageRange* range = page_table_find(block);
  return range != nullptr ? range->bucket : nullptr;
}

int64_t VerifyBuckets() {
  ManagerLock lock;
  int64_t strays = 0;
  for (CBucketBase* bucket : g_all_buckets) strays += bucket->Verify();
  return strays;
}

void* AllocSlot() {
  void* slot;
  {
    ManagerLock lock;
    slot = g_slot_bucket.Pop(0, true);
  }
  if (slot == nullptr) report_failure(16);
  return slot;
}

bool FreeSlot(void* slot) {
  if (slot == nullptr) return false;
  ManagerLock lock;
  return g_slot_bucket.Free(slot);
}

CBucketBase* SlotBucket() { return &g_slot_bucket; }

void SetFailureHandler(FailureHandler handler) { g_failure_handler.store(handler); }

void DumpMemory(void (*writer)(void* context, const char* key, int64_t value), void* context, bool quiet) {
  const MemoryStats stats = Stats();
  if (writer != nullptr) writer(context, "totalUsed", stats.bytes_in_use);
  if (!quiet) print_memory_figures(stats);
}

void CountFrame() { g_frames.fetch_add(1, std::memory_order_relaxed); }

int64_t FrameCount() { return g_frames.load(std::memory_order_relaxed); }

}  // namespace MemoryManager

// ---- Global operator new and delete --------------------------------------------------------------
// Every `new` of the process goes to Alloc with clear off and every `delete` to Free; the sized
// forms only carry the size and behave the same. The operators are link-time replacements, so they
// are in place before the first static constructor runs: nothing made by the system's operator new
// can reach our delete. That is also why the manager must work before any of its own statics are
// constructed: the buckets, the page table and the counters are constant-initialised, and the
// mutex is made on first use with malloc. A block made before Start comes from the heap and is
// freed by its header, whenever that happens.
//
// Sanitizer builds define KOVA_SYSTEM_NEW (cmake/KovaOptions.cmake) and keep the system's
// operators: inside a bucket page the address sanitizer could not see an overflow into the next
// item, a double delete or a mismatched free, and its leak report would see pages, not objects.
// The runtime's explicit Alloc/Free calls still go through the manager there.
#if !defined(KOVA_SYSTEM_NEW)

namespace {

constexpr const char* kNewSite = "operator new";

// The standard loop: on failure call the new-handler and try again, or throw without one.
[[gnu::noinline]] void* new_block_general(size_t size) {
  for (;;) {
    if (void* block = alloc_general(size, false)) return block;
    std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

// A zero size still gives a distinct block.
void* new_block(size_t size) {
  if (size == 0) size = 1;
  if (void* block = alloc_fast(size, false)) [[likely]] return block;
  return new_block_general(size);
}

void* new_aligned_block(size_t size, std::align_val_t alignment) {
  if (size == 0) size = 1;
  for (;;) {
    if (void* block = MemoryManager::AllocAligned(size, static_cast<size_t>(alignment), kNewSite, 0, false)) return block;
    std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

// The nothrow forms give null where the others throw, whatever the failure handler raises.
void* new_block_nothrow(size_t size) noexcept {
  try {
    return new_block(size);
  } catch (...) {
    return nullptr;
  }
}

void* new_aligned_block_nothrow(size_t size, std::align_val_t alignment) noexcept {
  try {
    return new_aligned_block(size, alignment);
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

void* operator new(size_t size) { return new_block(size); }
void* operator new[](size_t size) { return new_block(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return new_block_nothrow(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return new_block_nothrow(size); }
void* operator new(size_t size, std::align_val_t alignment) { return new_aligned_block(size, alignment); }
void* operator new[](size_t size, std::align_val_t alignment) { return new_aligned_block(size, alignment); }
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return new_aligned_block_nothrow(size, alignment);
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return new_aligned_block_nothrow(size, alignment);
}

void operator delete(void* block) noexcept { free_block(block); }
void operator delete[](void* block) noexcept { free_block(block); }
void operator delete(void* block, size_t) noexcept { free_block(block); }
void operator delete[](void* block, size_t) noexcept { free_block(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { free_block(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { free_block(block); }
// Free finds the block behind an aligned pointer through the alignment words.
void operator delete(void* block, std::align_val_t) noexcept { free_block(block); }
void operator delete[](void* block, std::align_val_t) noexcept { free_block(block); }
void operator delete(void* block, size_t, std::align_val_t) noexcept { free_block(block); }
void operator delete[](void* block, size_t, std::align_val_t) noexcept { free_block(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept { free_block(block); }
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept { free_block(block); }

#endif  // !KOVA_SYSTEM_NEW

#pragma once
// Every allocation of the runtime goes through MemoryManager. Small sizes (1 to 512, and exactly
// 16384) come from fixed-size buckets once MemoryManager::Start has run; everything else, and
// everything made before Start, comes from the system heap with a 32-byte header in front of the
// caller's bytes. The header carries the requested size and two magic words, so Free and ReAlloc
// can tell our heap blocks from foreign ones; bucket items are found through a sorted table of
// page ranges instead.
//
// Costs: a bucket Alloc is a pop under one recursive lock, a Free a look-up in the page table
// (the page found last is tried before the binary search) and a push. The lock favours the thread
// that called Start: there it costs no atomic instruction until another thread takes it, so the
// main thread's small blocks cost about what glibc's malloc and free do. Other threads pay one
// atomic exchange per call, and a process-wide barrier (microseconds) each time they take the
// lock from the favoured thread after a long pause. Bucket items are aligned to their
// (power-of-two) size and never go back to the heap. Odd cases: Alloc(0) gives null; Free(null) does nothing; ReAlloc(null, n) is a
// zeroing Alloc; ReAlloc(p, 0) frees; ReAlloc to the same size returns p; growth zero-fills the
// new tail whichever way the block was made (the unused tail of a bucket item is kept zero for
// that reason). A failed allocation prints the memory figures on the release console and calls
// the failure handler, or returns null when none is set.
// The global operator new and delete (every form) are replaced by Alloc with clear off and Free,
// so std containers and every `new` of the process land here; sanitizer builds (KOVA_SYSTEM_NEW)
// keep the system's operators. KV_NEW / KV_Delete make objects in zeroed blocks.
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

class tagIConsole;

struct MemoryStats {
  int64_t bytes_in_use = 0;     // heap blocks (bucket pages included), in requested bytes
  int64_t peak_in_use = 0;
  int64_t total_allocated = 0;  // every heap block ever made
  int64_t heap_blocks = 0;      // live heap blocks
  int64_t heap_bytes = 0;       // bytes of those
};

// A pool of equal-sized items carved from large pages. Pages are linked through their first word
// and carry a pointer to their bucket in the second. The virtual operations keep this order:
// Clear, Verify, ItemSize, Free. They take no lock: the manager calls them under its mutex, and
// a direct call (tests, diagnostics) is only safe while no other thread allocates.
class CBucketBase {
 public:
  // Gives every page back to the heap; only valid when no item is in use.
  virtual void Clear() = 0;
  // Walks the free list and counts the items that lie in none of this bucket's pages.
  virtual int64_t Verify() = 0;
  virtual int32_t ItemSize() const = 0;
  // Returns an item to the free list. A checked bucket answers false for a foreign item.
  virtual bool Free(void* item) = 0;

  int64_t used_count() const { return used_count_; }
  int64_t free_count() const { return free_count_; }
  int64_t page_count() const { return page_count_; }

 protected:
  constexpr CBucketBase() = default;
  ~CBucketBase() = default;

  void* pages_ = nullptr;
  void* free_list_ = nullptr;
  int64_t used_count_ = 0;
  int64_t free_count_ = 0;
  int64_t page_count_ = 0;
};

namespace MemoryManager {
// Turns the buckets on, sets the system heap's release policy and makes the calling thread the one
// the lock favours; called once by the process start, on the main thread. Later calls do nothing.
void Start();
bool Started();

void* Alloc(size_t size, const char* file, int line, bool clear);
void* AllocAligned(size_t size, size_t alignment, const char* file, int line, bool clear);
void* ReAlloc(void* block, size_t size, const char* file, int line, int flags = 0);
void SetLength(void** block, size_t size, const char* file, int line);
void Free(void* block);
bool IsAllocated(const void* block);
// The usable size: the item size for a bucket item, the requested size for a heap block (less
// the alignment offset), 0 for a pointer that is not ours.
size_t GetSize(const void* block);
MemoryStats Stats();

// The bucket whose page holds block, or null for a heap block or a foreign pointer.
CBucketBase* FindBucket(const void* block);
// Verify summed over every bucket: 0 when all free lists are sound.
int64_t VerifyBuckets();

// The pool of 16-byte value slots shared by all objects. A slot never moves while it lives; it
// comes back zeroed. Works before Start as well. FreeSlot answers false for a pointer that is not
// a slot of the pool.
void* AllocSlot();
bool FreeSlot(void* slot);
CBucketBase* SlotBucket();

// Called with a message when an allocation fails; the game sets it to the script error path.
using FailureHandler = void (*)(const char* message);
void SetFailureHandler(FailureHandler handler);

// Gives the "totalUsed" figure to writer and, unless quiet, prints two lines on the release console.
void DumpMemory(void (*writer)(void* context, const char* key, int64_t value), void* context, bool quiet);

// Frames counted by the frame driver, for reports.
void CountFrame();
int64_t FrameCount();
}  // namespace MemoryManager

#define KV_ALLOC(size) MemoryManager::Alloc((size), __FILE__, __LINE__, false)
#define KV_CALLOC(size) MemoryManager::Alloc((size), __FILE__, __LINE__, true)
#define KV_REALLOC(block, size) MemoryManager::ReAlloc((block), (size), __FILE__, __LINE__)
#define KV_FREE(block) MemoryManager::Free(block)

// Objects whose storage comes from the manager: constructed in a zeroed block, destroyed and freed
// by KV_Delete. A failed allocation has already gone through the failure handler; without one the
// result is null.
template <class T, class... Args>
T* KV_New(const char* file, int line, Args&&... args) {
  void* storage = alignof(T) > 16 ? MemoryManager::AllocAligned(sizeof(T), alignof(T), file, line, true)
                                  : MemoryManager::Alloc(sizeof(T), file, line, true);
  if (storage == nullptr) return nullptr;
  return new (storage) T(std::forward<Args>(args)...);
}
template <class T>
void KV_Delete(T* object) {
  if (object == nullptr) return;
  object->~T();
  MemoryManager::Free(object);
}
#define KV_NEW(T, ...) KV_New<T>(__FILE__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

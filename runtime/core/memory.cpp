#include "core/memory.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "core/console.h"

namespace {

constexpr uint32_t kMagicA = 0xDEADC0DE;
constexpr uint32_t kMagicB = 0xBAADB00B;
constexpr uint32_t kAlignMagic = 0x1234ABCD;
constexpr size_t kHeaderSize = 32;

struct BlockHeader {
  uint64_t zero;
  uint32_t size;
  uint32_t magic_a;
  uint32_t magic_b;
  uint8_t unused[12];
};
static_assert(sizeof(BlockHeader) == kHeaderSize);

// Made on first use: the manager must work before static constructors of other units have run.
std::mutex& manager_mutex() {
  static std::mutex* mutex = new std::mutex;
  return *mutex;
}

MemoryStats g_stats;
int64_t g_frames = 0;
MemoryManager::FailureHandler g_failure_handler = nullptr;

BlockHeader* header_of(const void* block) {
  return reinterpret_cast<BlockHeader*>(static_cast<uint8_t*>(const_cast<void*>(block)) - kHeaderSize);
}

bool header_valid(const void* block) {
  const BlockHeader* header = header_of(block);
  return header->magic_a == kMagicA && header->magic_b == kMagicB;
}

// An aligned pointer that is not its block's start has two words in front: the magic and the
// distance back to the block with bit 31 set.
const void* unalign(const void* block) {
  const uint32_t* words = static_cast<const uint32_t*>(block);
  if (words[-2] == kAlignMagic && (words[-1] & 0x80000000u) != 0) {
    return static_cast<const uint8_t*>(block) - (words[-1] & 0x7FFFFFFFu);
  }
  return block;
}

void report_failure(size_t size) {
  if (g_failure_handler == nullptr) return;
  const double mb_used = static_cast<float>(g_stats.bytes_in_use) / 1024.0f / 1024.0f;
  const double mb_peak = static_cast<float>(g_stats.peak_in_use) / 1024.0f / 1024.0f;
  g_ReleaseConsole->Output("Total memory used = %lld(0x%08llx) bytes %.2fMB\n",
                           static_cast<long long>(g_stats.bytes_in_use),
                           static_cast<unsigned long long>(g_stats.bytes_in_use), mb_used);
  g_ReleaseConsole->Output("Peak memory used = %lld(0x%08llx) bytes %.2fMB\n",
                           static_cast<long long>(g_stats.peak_in_use),
                           static_cast<unsigned long long>(g_stats.peak_in_use), mb_peak);
  char message[160];
  std::snprintf(message, sizeof message, "Memory allocation failed: Attempting to allocate %llu bytes\n",
                static_cast<unsigned long long>(size));
  g_failure_handler(message);
}

void* heap_alloc_locked(size_t size, bool clear) {
  if (size > UINT32_MAX - kHeaderSize) return nullptr;
  auto* raw = static_cast<uint8_t*>(clear ? std::calloc(1, size + kHeaderSize) : std::malloc(size + kHeaderSize));
  if (raw == nullptr) return nullptr;
  auto* header = reinterpret_cast<BlockHeader*>(raw);
  header->zero = 0;
  header->size = static_cast<uint32_t>(size);
  header->magic_a = kMagicA;
  header->magic_b = kMagicB;
  g_stats.bytes_in_use += static_cast<int64_t>(size);
  g_stats.total_allocated += static_cast<int64_t>(size);
  g_stats.heap_blocks += 1;
  g_stats.heap_bytes += static_cast<int64_t>(size);
  if (g_stats.bytes_in_use > g_stats.peak_in_use) g_stats.peak_in_use = g_stats.bytes_in_use;
  return raw + kHeaderSize;
}

void heap_free_locked(void* block) {
  BlockHeader* header = header_of(block);
  g_stats.bytes_in_use -= header->size;
  g_stats.heap_blocks -= 1;
  g_stats.heap_bytes -= header->size;
  header->magic_a = 0;
  header->magic_b = 0;
  std::free(header);
}

}  // namespace

namespace MemoryManager {

void* Alloc(size_t size, const char* /*file*/, int /*line*/, bool clear) {
  if (size == 0) return nullptr;
  void* block;
  {
    std::lock_guard<std::mutex> lock(manager_mutex());
    block = heap_alloc_locked(size, clear);
  }
  if (block == nullptr) report_failure(size);
  return block;
}

void* AllocAligned(size_t size, size_t alignment, const char* file, int line, bool clear) {
  if (alignment <= 16) return Alloc(size, file, line, clear);
  auto* block = static_cast<uint8_t*>(Alloc(size + alignment - 1 + 8, file, line, clear));
  if (block == nullptr) return nullptr;
  const uintptr_t base = reinterpret_cast<uintptr_t>(block) + 8;
  auto* aligned = reinterpret_cast<uint8_t*>((base + alignment - 1) & ~(uintptr_t)(alignment - 1));
  auto* words = reinterpret_cast<uint32_t*>(aligned);
  words[-2] = kAlignMagic;
  words[-1] = static_cast<uint32_t>(aligned - block) | 0x80000000u;
  return aligned;
}

void Free(void* block) {
  if (block == nullptr) return;
  void* start = const_cast<void*>(unalign(block));
  std::lock_guard<std::mutex> lock(manager_mutex());
  if (header_valid(start)) heap_free_locked(start);
}

bool IsAllocated(const void* block) {
  if (block == nullptr) return false;
  return header_valid(unalign(block));
}

size_t GetSize(const void* block) {
  if (!IsAllocated(block)) return 0;
  const void* start = unalign(block);
  return header_of(start)->size - static_cast<size_t>(static_cast<const uint8_t*>(block) - static_cast<const uint8_t*>(start));
}

void* ReAlloc(void* block, size_t size, const char* file, int line, int /*flags*/) {
  if (block == nullptr) return Alloc(size, file, line, true);
  size_t old_size = 0;
  if (IsAllocated(block)) {
    old_size = GetSize(block);
  } else {
    g_ReleaseConsole->Output("Why are we reallocing a block that we didn't alloc?!\n");
  }
  if (size == old_size) return block;
  if (size == 0) {
    Free(block);
    return nullptr;
  }
  void* grown = Alloc(size, file, line, true);
  if (grown == nullptr) return nullptr;
  if (old_size > 0) std::memcpy(grown, block, old_size < size ? old_size : size);
  Free(block);
  return grown;
}

void SetLength(void** block, size_t size, const char* file, int line) {
  *block = ReAlloc(*block, size, file, line);
}

MemoryStats Stats() {
  std::lock_guard<std::mutex> lock(manager_mutex());
  return g_stats;
}

void SetFailureHandler(FailureHandler handler) { g_failure_handler = handler; }

void DumpMemory(void (*writer)(void* context, const char* key, int64_t value), void* context, bool quiet) {
  const MemoryStats stats = Stats();
  if (writer != nullptr) writer(context, "totalUsed", stats.bytes_in_use);
  if (quiet) return;
  g_ReleaseConsole->Output("Total memory used = %lld(0x%08llx) bytes %.2fMB\n", static_cast<long long>(stats.bytes_in_use),
                           static_cast<unsigned long long>(stats.bytes_in_use),
                           static_cast<double>(static_cast<float>(stats.bytes_in_use) / 1024.0f / 1024.0f));
  g_ReleaseConsole->Output("Peak memory used = %lld(0x%08llx) bytes %.2fMB\n", static_cast<long long>(stats.peak_in_use),
                           static_cast<unsigned long long>(stats.peak_in_use),
                           static_cast<double>(static_cast<float>(stats.peak_in_use) / 1024.0f / 1024.0f));
}

void CountFrame() {
  std::lock_guard<std::mutex> lock(manager_mutex());
  ++g_frames;
}

}  // namespace MemoryManager

#pragma once
// Every allocation of the runtime goes through MemoryManager, which keeps the counters that the
// memory reports print. A heap block carries a 32-byte header in front of what the caller gets,
// marked by two magic words, so Free and ReAlloc can tell our blocks from foreign ones.
// Growth through ReAlloc always zero-fills the new tail: code that grows arrays relies on it.
// All operations are thread-safe under one mutex.
#include <cstddef>
#include <cstdint>

class tagIConsole;

struct MemoryStats {
  int64_t bytes_in_use = 0;
  int64_t peak_in_use = 0;
  int64_t total_allocated = 0;
  int64_t heap_blocks = 0;
  int64_t heap_bytes = 0;
};

namespace MemoryManager {
void* Alloc(size_t size, const char* file, int line, bool clear);
void* AllocAligned(size_t size, size_t alignment, const char* file, int line, bool clear);
void* ReAlloc(void* block, size_t size, const char* file, int line, int flags = 0);
void SetLength(void** block, size_t size, const char* file, int line);
void Free(void* block);
bool IsAllocated(const void* block);
size_t GetSize(const void* block);
MemoryStats Stats();

// Called with a message when an allocation fails; the game sets it to the script error path.
using FailureHandler = void (*)(const char* message);
void SetFailureHandler(FailureHandler handler);

// Prints the "totalUsed" figure through writer and, unless quiet, two lines on the release console.
void DumpMemory(void (*writer)(void* context, const char* key, int64_t value), void* context, bool quiet);

// Frames counted by the frame driver, for reports.
void CountFrame();
}  // namespace MemoryManager

#define KV_ALLOC(size) MemoryManager::Alloc((size), __FILE__, __LINE__, false)
#define KV_CALLOC(size) MemoryManager::Alloc((size), __FILE__, __LINE__, true)
#define KV_REALLOC(block, size) MemoryManager::ReAlloc((block), (size), __FILE__, __LINE__)
#define KV_FREE(block) MemoryManager::Free(block)

// Placement helpers for objects whose storage comes from the manager.
template <class T, class... Args>
T* KV_New(const char* file, int line, Args&&... args);
#include <new>
#include <utility>
template <class T, class... Args>
T* KV_New(const char* file, int line, Args&&... args) {
  void* storage = MemoryManager::Alloc(sizeof(T), file, line, true);
  return new (storage) T(std::forward<Args>(args)...);
}
template <class T>
void KV_Delete(T* object) {
  if (object == nullptr) return;
  object->~T();
  MemoryManager::Free(object);
}
#define KV_NEW(T, ...) KV_New<T>(__FILE__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

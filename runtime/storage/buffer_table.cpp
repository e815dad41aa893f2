// The buffer id table under g_pBufferMutex, the use counts of asynchronous operations, and the
// surface and file access other subsystems install.
#include <cstring>

#include "core/console.h"
#include "core/error.h"
#include "core/memory.h"
#include "platform/files.h"
#include "storage/buffer.h"
#include "storage/buffer_async.h"

namespace {

std::mutex g_buffer_mutex;

// A slot taken by a buffer that is still being built.
IBuffer* const kReserved = reinterpret_cast<IBuffer*>(static_cast<uintptr_t>(1));
constexpr int32_t kFirstSlots = 32;

IBuffer** g_table = nullptr;
int32_t g_capacity = 0;

bool live(IBuffer* slot) { return slot != nullptr && slot != kReserved; }

// The lowest free slot, reserved; -1 when the table can't grow. Under the mutex.
int32_t reserve_slot() {
  for (int32_t i = 0; i < g_capacity; ++i) {
    if (g_table[i] == nullptr) {
      g_table[i] = kReserved;
      return i;
    }
  }
  const int32_t grown = g_capacity == 0 ? kFirstSlots : g_capacity * 2;
  void* block = KV_REALLOC(g_table, sizeof(IBuffer*) * static_cast<size_t>(grown));
  if (block == nullptr) return -1;
  g_table = static_cast<IBuffer**>(block);
  const int32_t slot = g_capacity;
  g_capacity = grown;
  g_table[slot] = kReserved;
  return slot;
}

bool read_file(const char* name, std::vector<uint8_t>* out) { return Platform_ReadWholeFile(name, out); }
bool write_file(const char* name, const void* bytes, size_t size) { return Platform_WriteWholeFile(name, bytes, size); }

const BufferFileAccess kDefaultFileAccess = {read_file, write_file};
const BufferFileAccess* g_file_access = &kDefaultFileAccess;
const BufferSurfaceAccess* g_surface_access = nullptr;

}  // namespace

std::mutex* const g_pBufferMutex = &g_buffer_mutex;

IBuffer* Buffer_Get(int64_t id) {
  std::lock_guard<std::mutex> lock(*g_pBufferMutex);
  if (id < 0 || id >= g_capacity) return nullptr;
  IBuffer* slot = g_table[id];
  return live(slot) ? slot : nullptr;
}

int32_t Buffer_Register(IBuffer* buffer) {
  if (buffer == nullptr) return -1;
  std::lock_guard<std::mutex> lock(*g_pBufferMutex);
  const int32_t id = reserve_slot();
  if (id < 0) {
    KV_Delete(buffer);
    return -1;
  }
  g_table[id] = buffer;
  return id;
}

int32_t Buffer_Create(int32_t size, BufferType type, int32_t alignment) {
  int32_t id;
  {
    std::lock_guard<std::mutex> lock(*g_pBufferMutex);
    id = reserve_slot();
  }
  if (id < 0) return -1;
  IBuffer* buffer = Buffer_New(size, type, alignment);
  std::lock_guard<std::mutex> lock(*g_pBufferMutex);
  g_table[id] = buffer;
  return buffer != nullptr ? id : -1;
}

int32_t Buffer_CreateFromBytes(const void* bytes, int32_t size, BufferType type, int32_t alignment) {
  const int32_t id = Buffer_Create(size, type, alignment);
  IBuffer* buffer = Buffer_Get(id);
  if (buffer == nullptr) return -1;
  if (size > 0) std::memcpy(buffer->data, bytes, static_cast<size_t>(size));
  buffer->used = size;
  return id;
}

bool Buffer_Delete(int64_t id) {
  IBuffer* buffer = nullptr;
  int32_t users = 0;
  {
    std::lock_guard<std::mutex> lock(*g_pBufferMutex);
    if (id < 0 || id >= g_capacity || !live(g_table[id])) return false;
    users = g_table[id]->refCount;
    if (users <= 0) {
      buffer = g_table[id];
      g_table[id] = nullptr;
    }
  }
  if (buffer == nullptr) {
    KVError("Cannot delete buffer, it's in use by %d others", users);
    return false;
  }
  KV_Delete(buffer);
  return true;
}

void Buffer_AddRef(int64_t id) {
  std::lock_guard<std::mutex> lock(*g_pBufferMutex);
  if (id >= 0 && id < g_capacity && live(g_table[id])) ++g_table[id]->refCount;
}

void Buffer_Release(int64_t id) {
  std::lock_guard<std::mutex> lock(*g_pBufferMutex);
  if (id < 0 || id >= g_capacity) {
    g_ReleaseConsole->Output("Attempting to dec buffer ref count on buffer with invalid index %d\n", static_cast<int>(id));
    return;
  }
  IBuffer* buffer = g_table[id];
  if (!live(buffer)) {
    g_ReleaseConsole->Output("Attempting to dec buffer ref count on buffer that doesn't exist index: %d\n",
                             static_cast<int>(id));
    return;
  }
  if (--buffer->refCount < 0) {
    g_ReleaseConsole->Output("Decrementing buffer ref count to less than zero\n");
    buffer->refCount = 0;
  }
}

int32_t Buffer_TableLength() {
  std::lock_guard<std::mutex> lock(*g_pBufferMutex);
  return g_capacity;
}

void Buffer_FreeAll() {
  IBuffer** table;
  int32_t capacity;
  {
    std::lock_guard<std::mutex> lock(*g_pBufferMutex);
    table = g_table;
    capacity = g_capacity;
    g_table = nullptr;
    g_capacity = 0;
  }
  for (int32_t i = 0; i < capacity; ++i) {
    if (live(table[i])) KV_Delete(table[i]);
  }
  KV_FREE(table);
  BufferAsync_Reset();
}

void Buffer_SetSurfaceAccess(const BufferSurfaceAccess* access) { g_surface_access = access; }
const BufferSurfaceAccess* Buffer_GetSurfaceAccess() { return g_surface_access; }

bool Buffer_SurfaceBytes(int32_t surface, size_t* bytes) {
  int32_t width = 0;
  int32_t height = 0;
  if (g_surface_access == nullptr || !g_surface_access->size(surface, &width, &height)) return false;
  *bytes = static_cast<size_t>(width > 0 ? width : 0) * static_cast<size_t>(height > 0 ? height : 0) * 4;
  return true;
}

void Buffer_SetFileAccess(const BufferFileAccess* access) {
  g_file_access = access != nullptr ? access : &kDefaultFileAccess;
}
const BufferFileAccess& Buffer_GetFileAccess() { return *g_file_access; }

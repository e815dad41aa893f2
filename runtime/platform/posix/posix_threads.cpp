#include <linux/membarrier.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "platform/threads.h"

namespace {

// Linux refuses names of 16 bytes or more (with the terminator) outright.
constexpr size_t kMaxNameBytes = 15;

}  // namespace

void Thread_SetName(const char* name) {
  char cut[kMaxNameBytes + 1] = {};
  if (name != nullptr) std::strncpy(cut, name, kMaxNameBytes);
  pthread_setname_np(pthread_self(), cut);
}

void Thread_GetName(char* out, int32_t capacity) {
  if (out == nullptr || capacity <= 0) return;
  char name[kMaxNameBytes + 1] = {};
  if (pthread_getname_np(pthread_self(), name, sizeof name) != 0) name[0] = '\0';
  std::strncpy(out, name, static_cast<size_t>(capacity) - 1);
  out[capacity - 1] = '\0';
}

int32_t Thread_HardwareCount() {
  const long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? static_cast<int32_t>(count) : 1;
}

bool Thread_EnableProcessBarrier() {
  static const bool enabled = [] {
    const long commands = syscall(__NR_membarrier, MEMBARRIER_CMD_QUERY, 0, 0);
    if (commands < 0 || (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) == 0) return false;
    return syscall(__NR_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
  }();
  return enabled;
}

void Thread_ProcessBarrier() {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  syscall(__NR_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
  std::atomic_thread_fence(std::memory_order_seq_cst);
}

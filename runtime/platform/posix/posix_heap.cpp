#include <malloc.h>

#include "platform/heap.h"

namespace {

// glibc's own upper limits for its sliding thresholds: blocks below 32 MiB come from the heap, and
// the top is trimmed only once twice that lies free. Setting either fixes both.
constexpr int kMapThreshold = 32 * 1024 * 1024;
constexpr int kTrimThreshold = 2 * kMapThreshold;

}  // namespace

void Heap_RetainFreedMemory() {
  mallopt(M_MMAP_THRESHOLD, kMapThreshold);
  mallopt(M_TRIM_THRESHOLD, kTrimThreshold);
}

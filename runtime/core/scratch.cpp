// The scratch area: a bump allocator for text that lives until the next frame start. A full block
// is retired, not moved, so pointers already handed out this frame stay good; the reset frees the
// retired blocks and keeps the largest, which has grown by 1.5x per overflow to fit a frame's text.
#include <cstdint>
#include <vector>

#include "core/memory.h"
#include "core/rvalue.h"

namespace {

constexpr size_t kFirstBlock = 4096;
constexpr size_t kAlign = 8;

struct Scratch {
  char* block = nullptr;
  size_t capacity = 0;
  size_t used = 0;
  std::vector<char*> retired;
};

Scratch& scratch() {
  static Scratch* state = new Scratch;
  return *state;
}

}  // namespace

char* Scratch_Alloc(size_t size) {
  Scratch& s = scratch();
  const size_t need = (size + kAlign - 1) & ~(kAlign - 1);
  if (s.block == nullptr || s.capacity - s.used < need) {
    size_t capacity = s.capacity == 0 ? kFirstBlock : s.capacity + s.capacity / 2;
    while (capacity < need) capacity += capacity / 2;
    char* block = static_cast<char*>(KV_ALLOC(capacity));
    if (block == nullptr) return nullptr;
    if (s.block != nullptr) s.retired.push_back(s.block);
    s.block = block;
    s.capacity = capacity;
    s.used = 0;
  }
  char* result = s.block + s.used;
  s.used += need;
  return result;
}

void Scratch_Reset() {
  Scratch& s = scratch();
  for (char* block : s.retired) KV_FREE(block);
  s.retired.clear();
  s.used = 0;
}

#include "core/random.h"

#include <array>

namespace {

constexpr uint32_t kSeedMultiplier = 214013u;
constexpr uint32_t kSeedIncrement = 2531011u;

constexpr void seed_words(uint32_t* state, uint32_t seed) {
  uint32_t x = seed;
  for (int i = 0; i < 16; ++i) {
    x = (x * kSeedMultiplier + kSeedIncrement) >> 16;
    state[i] = x;
  }
}

constexpr std::array<uint32_t, 16> kStartState = [] {
  std::array<uint32_t, 16> state{};
  seed_words(state.data(), 0);
  return state;
}();

}  // namespace

void well512_seed(uint32_t state[16], uint32_t* index, uint32_t seed) {
  seed_words(state, seed);
  *index = 0;
}

uint32_t well512_next(uint32_t state[16], uint32_t* index) {
  uint32_t i = *index;
  uint32_t a = state[i];
  uint32_t c = state[(i + 13) & 15];
  const uint32_t b = a ^ c ^ (a << 16) ^ (c << 15);
  c = state[(i + 9) & 15];
  c ^= c >> 11;
  a = b ^ c;
  state[i] = a;
  const uint32_t d = a ^ ((a << 5) & 0xDA442D24u);
  i = (i + 15) & 15;
  a = state[i];
  state[i] = a ^ b ^ d ^ (a << 2) ^ (b << 18) ^ (c << 28);
  *index = i;
  return state[i];
}

uint32_t g_RandomState[16] = {
    kStartState[0], kStartState[1], kStartState[2],  kStartState[3],  kStartState[4],  kStartState[5],
    kStartState[6], kStartState[7], kStartState[8],  kStartState[9],  kStartState[10], kStartState[11],
    kStartState[12], kStartState[13], kStartState[14], kStartState[15],
};
uint32_t g_RandomIndex = 0;
uint32_t g_RandomSeed = 0;
bool g_RandomSeedLocked = false;

void SetSeed(uint32_t seed) {
  g_RandomSeed = seed;
  well512_seed(g_RandomState, &g_RandomIndex, seed);
}

uint32_t Random_NextWord() { return well512_next(g_RandomState, &g_RandomIndex); }

double Random_Real() { return static_cast<double>(Random_NextWord()) * 2.3283064365386963e-10; }

int64_t RandomInt64(int64_t n) {
  const uint64_t first = Random_NextWord();
  const uint64_t second = Random_NextWord();
  const uint64_t r = ((second << 32) | first) & 0x7FFFFFFFFFFFFFFFull;
  if (n == 0) return 0;
  // The size of n in unsigned arithmetic, so that INT64_MIN has one too.
  const uint64_t size = n < 0 ? 0 - static_cast<uint64_t>(n) : static_cast<uint64_t>(n);
  const uint64_t below = r % size;
  return n < 0 ? static_cast<int64_t>(0 - below) : static_cast<int64_t>(below);
}

uint32_t Random_SeedFromCounter(uint64_t t) {
  return static_cast<uint32_t>(((t >> 32) + t) ^ ((t >> 16) & 0xFFFF) ^ (t << 16));
}

void Random_Reset() {
  SetSeed(0);
  g_RandomSeedLocked = false;
}

RandomSnapshot Random_Save() {
  RandomSnapshot snapshot{};
  for (int i = 0; i < 16; ++i) snapshot.state[i] = g_RandomState[i];
  snapshot.index = g_RandomIndex;
  snapshot.seed = g_RandomSeed;
  return snapshot;
}

void Random_Restore(const RandomSnapshot& snapshot) {
  for (int i = 0; i < 16; ++i) g_RandomState[i] = snapshot.state[i];
  g_RandomIndex = snapshot.index & 15;
  g_RandomSeed = snapshot.seed;
}

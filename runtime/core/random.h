#pragma once
// The process-wide random generator: WELL512 over 16 words of state with a fixed seeding rule, so
// a seed gives the same sequence on every run and machine. At process start the state is that of
// SetSeed(0) (built at compile time), so a game that never randomises repeats its numbers.
// Main thread only; nothing is locked. Each draw costs one or two WELL512 steps, no allocation.
// The rollback layer may lock the seed (g_RandomSeedLocked) and saves and restores the state,
// index and seed as one block (Random_Save / Random_Restore).
#include <cstdint>

// ---- The generator as plain functions over a state block --------------------------------------
// Fills the 16 words from seed: x = seed, then each word in order gets x = (x * 214013 + 2531011)
// >> 16 in 32 bits, so each holds 16 bits. The index goes back to 0.
void well512_seed(uint32_t state[16], uint32_t* index, uint32_t seed);
// One WELL512 step: updates two words and the index, returns the new word.
uint32_t well512_next(uint32_t state[16], uint32_t* index);

// ---- The process generator -----------------------------------------------------------------------
extern uint32_t g_RandomState[16];
extern uint32_t g_RandomIndex;  // 0 to 15
extern uint32_t g_RandomSeed;   // the seed last set
extern bool g_RandomSeedLocked;  // set by the rollback layer: the seed builtins then raise

// Seeds the process generator and records the seed.
void SetSeed(uint32_t seed);
// The next 32-bit word of the process generator.
uint32_t Random_NextWord();
// A real in [0, 1): the next word times 2^-32.
double Random_Real();
// An integer below n in size with the sign of n, from two words (63 bits); 0 for an n of 0.
int64_t RandomInt64(int64_t n);
// The seed randomize derives from a raw microsecond counter t:
// low 32 bits of ((t >> 32) + t) ^ ((t >> 16) & 0xFFFF) ^ (t << 16).
uint32_t Random_SeedFromCounter(uint64_t t);
// Back to the start state: SetSeed(0), seed 0, unlocked.
void Random_Reset();

struct RandomSnapshot {
  uint32_t state[16];
  uint32_t index;
  uint32_t seed;
};
RandomSnapshot Random_Save();
void Random_Restore(const RandomSnapshot& snapshot);

#pragma once
// What the audio builtins share: argument readers that see a missing argument as absent, results,
// and the guard that gives the neutral result while audio is off.
#include <cstdint>

#include "core/function_table.h"
#include "core/rvalue.h"

namespace audio_fn {

#define AUDIO_FN(name) \
  void name([[maybe_unused]] RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

inline void Real(RValue* result, double value) { *result = RV_Real(value); }
inline bool Given(int argc, const RValue* argv, int n) { return n < argc && RV_Kind(argv[n]) != kRVUndefined; }
inline double Num(int argc, const RValue* argv, int n, double fallback = 0.0) {
  return n < argc ? KVGetReal(argv, n) : fallback;
}
inline int32_t Int(int argc, const RValue* argv, int n, int32_t fallback = 0) {
  return n < argc ? KVGetInt32(argv, n) : fallback;
}
inline float Float(int argc, const RValue* argv, int n, float fallback = 0.0f) {
  return static_cast<float>(Num(argc, argv, n, fallback));
}

}  // namespace audio_fn

// Registration of the two halves, in this order.
void Audio_RegisterSoundBuiltins();
void Audio_RegisterSpaceBuiltins();

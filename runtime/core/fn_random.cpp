// Wrappers of the random builtins: they read their arguments, then draw from the process
// generator, so a call that raises on a bad argument consumes nothing.
#include "core/fn_random.h"

#include <cmath>
#include <cstdint>

#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/random.h"
#include "core/rvalue.h"
#include "platform/clock.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

// Integer arithmetic of the builtins wraps in 64 bits instead of overflowing.
int64_t wrap_add(int64_t a, int64_t b) { return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b)); }
int64_t wrap_sub(int64_t a, int64_t b) { return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b)); }

bool seed_refused() {
  if (!g_RandomSeedLocked) return false;
  KVError("The random number seed is set to be read-only");
  return true;
}

void F_Random(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double scale = KVGetReal(argv, 0);
  set_result(result, RV_Real(scale * Random_Real()));
}

void F_RandomRange(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const double a = KVGetReal(argv, 0);
  const double b = KVGetReal(argv, 1);
  const double lo = a < b ? a : b;
  const double hi = a < b ? b : a;
  set_result(result, RV_Real(lo + Random_Real() * (hi - lo)));
}

void F_Irandom(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int64_t n = KVGetInt64(argv, 0);
  // Both ends can come up: the bound reaches one past n, away from 0.
  const int64_t bound = n < 0 ? wrap_sub(n, 1) : wrap_add(n, 1);
  set_result(result, RV_Real(static_cast<double>(RandomInt64(bound))));
}

void F_IrandomRange(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const int64_t a = KVGetInt64(argv, 0);
  const int64_t b = KVGetInt64(argv, 1);
  const int64_t lo = a < b ? a : b;
  const int64_t hi = a < b ? b : a;
  const int64_t offset = RandomInt64(wrap_add(wrap_sub(hi, lo), 1));
  set_result(result, RV_Real(static_cast<double>(wrap_add(lo, offset))));
}

void F_RandomSetSeed(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  if (seed_refused()) return;
  SetSeed(KVGetUint32(argv, 0));
}

void F_RandomGetSeed(RValue* result, CInstance*, CInstance*, int, RValue*) {
  set_result(result, RV_Real(static_cast<double>(g_RandomSeed)));
}

void F_Randomize(RValue* result, CInstance*, CInstance*, int, RValue*) {
  if (seed_refused()) return;
  // The microsecond clock plus its start value is the raw counter itself.
  const uint64_t counter = static_cast<uint64_t>(Platform_Clock().NowMicros());
  const uint32_t seed = Random_SeedFromCounter(counter);
  SetSeed(seed);
  set_result(result, RV_Real(static_cast<double>(seed)));
}

void F_Choose(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  if (argc <= 0) {
    set_result(result, RV_Real(0.0));
    return;
  }
  const uint32_t word = Random_NextWord();
  int index = static_cast<int>(std::floor(static_cast<float>(word % static_cast<uint32_t>(argc))));
  if (index > argc - 1) index = argc - 1;
  RV_Assign(result, &argv[index]);
}

}  // namespace

void Random_RegisterBuiltins() {
  Function_Add("random", with_args<F_Random, 1>, 1, 0);
  Function_Add("random_range", with_args<F_RandomRange, 2>, 2, 0);
  Function_Add("irandom", with_args<F_Irandom, 1>, 1, 0);
  Function_Add("irandom_range", with_args<F_IrandomRange, 2>, 2, 0);
  Function_Add("random_set_seed", with_args<F_RandomSetSeed, 1>, 1, 0);
  Function_Add("random_get_seed", F_RandomGetSeed, 0, 0);
  Function_Add("randomize", F_Randomize, 0, 0);
  Function_Add("randomise", F_Randomize, 0, 0);
  Function_Add("choose", F_Choose, -1, 0);
}

#pragma once
// The random builtins: random, random_range, irandom, irandom_range, random_set_seed,
// random_get_seed, randomize, randomise and choose, over the process generator of core/random.h.
// Random_RegisterBuiltins adds them in that order; the family order that gives them their indexes
// is decided by whoever calls it. The seed builtins raise "The random number seed is set to be
// read-only" while the rollback layer holds the seed; randomize seeds from the raw microsecond
// counter of the platform clock.

void Random_RegisterBuiltins();

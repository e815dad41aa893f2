#pragma once
// Shared by the fn_ds*.cpp builtin files: argument padding, result setters and the per-family
// registration order. Not for other subsystems.
#include <cstring>

#include "core/function_table.h"
#include "core/rvalue.h"
#include "storage/ds_core.h"

namespace fn_ds {

inline void set_result(RValue* result, const RValue& value) {
  if (RV_NeedsFree(*result)) RV_Free(result);
  *result = value;
}

// The result is a copy of a stored value with its nesting marks cleared; undefined for null.
inline void set_result_copy(RValue* result, const RValue* stored) {
  if (RV_NeedsFree(*result)) RV_Free(result);
  if (stored == nullptr) {
    *result = RV_Undefined();
    return;
  }
  const RValue unmarked = DS_Unmarked(*stored);
  RV_CopyRef(result, &unmarked);
  result->flags = 0;
}

// Takes over a value that the caller owned (popped or dequeued), clearing its marks.
inline void set_result_moved(RValue* result, const RValue& owned) { set_result(result, DS_Unmarked(owned)); }

// Calls F with at least Need arguments: missing ones read as undefined. The given ones are lent to
// the padded block bitwise and handed back afterwards, also when F raises.
template <TSL_Builtin F, int Need>
void with_args(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv) {
  if (argc >= Need) {
    F(result, self, other, argc, argv);
    return;
  }
  struct Padded {
    RValue v[Need];
    int given;
    RValue* original;
    ~Padded() {
      if (given > 0) std::memcpy(static_cast<void*>(original), v, sizeof(RValue) * static_cast<size_t>(given));
      for (int i = given; i < Need; ++i) RV_FreeToUndefined(&v[i]);
    }
  } padded;
  padded.given = argc > 0 ? argc : 0;
  padded.original = argv;
  if (padded.given > 0) std::memcpy(static_cast<void*>(padded.v), argv, sizeof(RValue) * static_cast<size_t>(padded.given));
  for (int i = padded.given; i < Need; ++i) padded.v[i] = RV_Undefined();
  F(result, self, other, Need, padded.v);
}

// Registration of each family, in the order DS_RegisterBuiltins calls them.
void RegisterMapBuiltins();
void RegisterListBuiltins();
void RegisterStackQueuePriorityBuiltins();
void RegisterGridBuiltins();

}  // namespace fn_ds

#define FN_DS(name)                                                                            \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

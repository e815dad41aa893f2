#pragma once
// Shared by the fn_ds*.cpp builtin files: argument padding, result setters and the per-family
// registration order. Not for other subsystems.
#include <cstring>

#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/rvalue.h"
#include "storage/ds_core.h"

namespace fn_ds {

using fn_value::set_result;

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

// Missing arguments read as undefined, as in every core family.
using fn_value::with_args;

// Registration of each family, in the order DS_RegisterBuiltins calls them.
void RegisterMapBuiltins();
void RegisterListBuiltins();
void RegisterStackQueuePriorityBuiltins();
void RegisterGridBuiltins();

}  // namespace fn_ds

#define FN_DS(name)                                                                            \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

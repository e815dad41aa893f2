#pragma once
// One typed item of a buffer as bytes: the conversion of a script value for writing (with the
// argument reader of its data type) and the value a read gives. Shared by the buffer operations;
// not for other subsystems.
#include <cstdint>

#include "core/rvalue.h"

struct BufferItem {
  // The item's bytes: scratch for numbers, the string's own text for the strings (valid until the
  // next text conversion). False for an unknown data type or a null string.
  bool encode(int32_t data_type, const RValue* value);

  const uint8_t* bytes = nullptr;
  int64_t count = 0;
  uint8_t scratch[8] = {};
};

// The value of a numeric item: int32 for the small integers and bool, int64 for u32 and u64, real
// for the floats; undefined for the strings and unknown types.
RValue BufferItem_Decode(int32_t data_type, const uint8_t* bytes);

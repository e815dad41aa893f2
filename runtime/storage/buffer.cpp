// Buffer construction, the typed item encoding, and the positional operations: write, read, seek,
// peek, poke, resize and growth. Operations over ranges and files live in buffer_ops.cpp.
#include "storage/buffer.h"

#include <algorithm>
#include <cstring>

#include "core/memory.h"
#include "storage/buffer_item.h"

namespace {

constexpr int32_t kSizes[kBufferDataTypeCount] = {0, 1, 1, 2, 2, 4, 4, 2, 4, 8, 1, 0, 8, 0};

int32_t normalise_alignment(int32_t alignment) {
  uint32_t a = static_cast<uint32_t>(alignment) & 0x1FF;
  if (a == 0) return 1;
  --a;
  a |= a >> 1;
  a |= a >> 2;
  a |= a >> 4;
  a |= a >> 8;
  return static_cast<int32_t>(a + 1);
}

int32_t clamp_position(int64_t position) {
  return static_cast<int32_t>(std::clamp<int64_t>(position, 0, INT32_MAX));
}

bool is_string_type(int32_t data_type) { return data_type == kBufferString || data_type == kBufferText; }

// Gives the block of size bytes (plus alignment slack) that a buffer of this alignment keeps.
bool allocate(int32_t size, int32_t alignment, uint8_t** allocation, uint8_t** data) {
  const size_t bytes = static_cast<size_t>(size) + static_cast<size_t>(alignment);
  auto* block = static_cast<uint8_t*>(KV_CALLOC(bytes));
  if (block == nullptr) return false;
  const uintptr_t mask = static_cast<uintptr_t>(alignment) - 1;
  *allocation = block;
  *data = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(block) + mask) & ~mask);
  return true;
}

}  // namespace

int32_t Buffer_SizeOf(int32_t data_type) {
  return data_type >= 0 && data_type < kBufferDataTypeCount ? kSizes[data_type] : 0;
}

uint16_t Buffer_FloatToHalf(float value) {
  uint32_t x;
  std::memcpy(&x, &value, sizeof x);
  const uint32_t sign = (x >> 16) & 0x8000u;
  const uint32_t exponent = (x >> 23) & 0xFFu;
  uint32_t mantissa = x & 0x7FFFFFu;
  if (exponent == 0xFF) return static_cast<uint16_t>(sign | 0x7C00u | (mantissa != 0 ? 0x200u | (mantissa >> 13) : 0));
  const int32_t e = static_cast<int32_t>(exponent) - 127 + 15;
  if (e >= 31) return static_cast<uint16_t>(sign | 0x7C00u);
  if (e <= 0) {
    // Below the normal range: a subnormal half, or zero when even rounding can't reach one.
    if (e < -10) return static_cast<uint16_t>(sign);
    mantissa |= 0x800000u;
    const uint32_t shift = static_cast<uint32_t>(14 - e);
    uint32_t half = mantissa >> shift;
    const uint32_t rest = mantissa & ((1u << shift) - 1);
    const uint32_t halfway = 1u << (shift - 1);
    if (rest > halfway || (rest == halfway && (half & 1) != 0)) ++half;
    return static_cast<uint16_t>(sign | half);
  }
  uint32_t half = (static_cast<uint32_t>(e) << 10) | (mantissa >> 13);
  const uint32_t rest = mantissa & 0x1FFFu;
  // A carry out of the mantissa moves into the exponent, up to infinity, as it should.
  if (rest > 0x1000u || (rest == 0x1000u && (half & 1) != 0)) ++half;
  return static_cast<uint16_t>(sign | half);
}

float Buffer_HalfToFloat(uint16_t half) {
  const uint32_t sign = static_cast<uint32_t>(half & 0x8000u) << 16;
  const uint32_t exponent = (half >> 10) & 0x1Fu;
  const uint32_t mantissa = half & 0x3FFu;
  uint32_t bits;
  if (exponent == 0) {
    const float magnitude = static_cast<float>(mantissa) * (1.0f / 16777216.0f);
    return sign != 0 ? -magnitude : magnitude;
  }
  if (exponent == 31) {
    bits = sign | 0x7F800000u | (mantissa << 13);
  } else {
    bits = sign | ((exponent + 112) << 23) | (mantissa << 13);
  }
  float out;
  std::memcpy(&out, &bits, sizeof out);
  return out;
}

// ---- Items --------------------------------------------------------------------------------------

namespace {

template <class T>
bool put(BufferItem* item, T value) {
  std::memcpy(item->scratch, &value, sizeof value);
  item->count = sizeof value;
  return true;
}

template <class T>
T get(const uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

}  // namespace

bool BufferItem::encode(int32_t data_type, const RValue* value) {
  bytes = scratch;
  switch (data_type) {
    case kBufferU8:
    case kBufferS8: return put(this, static_cast<uint8_t>(KVGetInt32(value, 0)));
    case kBufferU16: return put(this, static_cast<uint16_t>(KVGetUint32(value, 0)));
    case kBufferS16: return put(this, static_cast<int16_t>(KVGetInt32(value, 0)));
    case kBufferU32: return put(this, KVGetUint32(value, 0));
    case kBufferS32: return put(this, KVGetInt32(value, 0));
    case kBufferF16: return put(this, Buffer_FloatToHalf(KVGetFloat(value, 0)));
    case kBufferF32: return put(this, KVGetFloat(value, 0));
    case kBufferF64: return put(this, KVGetReal(value, 0));
    case kBufferBool: return put(this, static_cast<uint8_t>(KVGetBool(value, 0) ? 1 : 0));
    case kBufferU64: return put(this, RV_ToInt64(*value));
    case kBufferString:
    case kBufferText: {
      if (RV_Kind(*value) == kRVString && (value->pRefString == nullptr || value->pRefString->text == nullptr)) {
        return false;
      }
      const char* text = KVGetString(value, 0);
      bytes = reinterpret_cast<const uint8_t*>(text);
      count = static_cast<int64_t>(std::strlen(text)) + (data_type == kBufferString ? 1 : 0);
      return true;
    }
    default: return false;
  }
}

RValue BufferItem_Decode(int32_t data_type, const uint8_t* b) {
  switch (data_type) {
    case kBufferU8: return RV_Int32(b[0]);
    case kBufferS8: return RV_Int32(static_cast<int8_t>(b[0]));
    case kBufferU16: return RV_Int32(get<uint16_t>(b));
    case kBufferS16: return RV_Int32(get<int16_t>(b));
    case kBufferU32: return RV_Int64(get<uint32_t>(b));
    case kBufferS32: return RV_Int32(get<int32_t>(b));
    case kBufferF16: return RV_Real(Buffer_HalfToFloat(get<uint16_t>(b)));
    case kBufferF32: return RV_Real(get<float>(b));
    case kBufferF64: return RV_Real(get<double>(b));
    case kBufferBool: return RV_Int32(b[0] != 0 ? 1 : 0);
    case kBufferU64: return RV_Int64(get<int64_t>(b));
    default: return RV_Undefined();
  }
}

// ---- Construction -------------------------------------------------------------------------------

IBuffer::~IBuffer() {
  if (owns) KV_FREE(allocation);
}

Buffer_Standard::~Buffer_Standard() = default;
Buffer_Fast::~Buffer_Fast() = default;

IBuffer* Buffer_New(int32_t size, BufferType type, int32_t alignment) {
  if (size < 0 || size > kBufferMaxSize) return nullptr;
  const int32_t aligned = normalise_alignment(alignment);
  uint8_t* allocation = nullptr;
  uint8_t* data = nullptr;
  if (!allocate(size, aligned, &allocation, &data)) return nullptr;
  IBuffer* buffer = type == kBufferFast ? static_cast<IBuffer*>(KV_NEW(Buffer_Fast)) : KV_NEW(Buffer_Standard);
  if (buffer == nullptr) {
    KV_FREE(allocation);
    return nullptr;
  }
  buffer->allocation = allocation;
  buffer->allocationSize = size + aligned;
  buffer->data = data;
  buffer->size = size;
  buffer->alignment = aligned;
  buffer->type = type;
  return buffer;
}

IBuffer* Buffer_Adopt(uint8_t* block, int32_t size, BufferType type) {
  IBuffer* buffer = type == kBufferFast ? static_cast<IBuffer*>(KV_NEW(Buffer_Fast)) : KV_NEW(Buffer_Standard);
  if (buffer == nullptr) {
    KV_FREE(block);
    return nullptr;
  }
  buffer->allocation = block;
  buffer->allocationSize = size;
  buffer->data = block;
  buffer->size = block != nullptr ? size : 0;
  buffer->used = buffer->size;
  buffer->type = type;
  return buffer;
}

// ---- Positions ----------------------------------------------------------------------------------

void IBuffer::AlignPosition() {
  if (alignment <= 1) return;
  const int64_t mask = alignment - 1;
  position = clamp_position(((static_cast<int64_t>(position) + wrapOffset + mask) & ~mask) - wrapOffset);
}

void IBuffer::WrapPosition() {
  if (type != kBufferWrap || size <= 0 || position < size) return;
  // The same as going back by the size turn after turn, each turn moving the grid by the size.
  const int64_t turns = position / size;
  position %= size;
  wrapOffset = static_cast<int32_t>((wrapOffset + (turns % alignment) * (size % alignment)) % alignment);
}

void IBuffer::RaiseUsed(int64_t end) {
  used = static_cast<int32_t>(std::min<int64_t>(size, std::max<int64_t>(used, end)));
}

bool IBuffer::GrowTo(int64_t needed) {
  if (needed <= size) return true;
  if (type != kBufferGrow || needed > kBufferMaxSize) return false;
  int64_t grown = size == 0 ? 4 : size;
  while (grown < needed) grown *= 2;
  return Resize(static_cast<int32_t>(std::min<int64_t>(grown, kBufferMaxSize))) == kBufferOk;
}

int IBuffer::PutBytes(const uint8_t* bytes, int64_t count) {
  const int64_t end = static_cast<int64_t>(position) + count;
  if (end > size) {
    if (type == kBufferWrap) {
      for (int64_t i = 0; i < count; ++i) {
        if (position >= size) {
          used = size;
          position = 0;
          wrapOffset = static_cast<int32_t>((static_cast<int64_t>(wrapOffset) + size) % alignment);
        }
        data[position++] = bytes[i];
      }
      RaiseUsed(position);
      return kBufferOk;
    }
    if (!GrowTo(end)) return kBufferNoRoom;
  }
  if (count > 0) std::memcpy(data + position, bytes, static_cast<size_t>(count));
  position = static_cast<int32_t>(end);
  RaiseUsed(position);
  return kBufferOk;
}

int IBuffer::Write(int32_t data_type, const RValue* value) {
  AlignPosition();
  WrapPosition();
  if (type != kBufferGrow && position >= size) return kBufferNoRoom;
  BufferItem item;
  if (!item.encode(data_type, value)) return kBufferBadType;
  return PutBytes(item.bytes, item.count);
}

int IBuffer::WriteRaw(int32_t data_type, const void* bytes, int32_t count) {
  if (data_type != kBufferU8) return kBufferRawNotU8;
  if (count < 0 || (bytes == nullptr && count > 0)) return kBufferBadType;
  AlignPosition();
  WrapPosition();
  if (type != kBufferGrow && position >= size) return kBufferNoRoom;
  return PutBytes(static_cast<const uint8_t*>(bytes), count);
}

int IBuffer::Read(int32_t data_type, RValue* out) {
  AlignPosition();
  WrapPosition();
  if (position >= size) {
    *out = RV_Real(kBufferReadPastEndValue);
    return kBufferBadType;
  }
  if (data_type < 1 || data_type >= kBufferDataTypeCount) return kBufferBadType;
  if (is_string_type(data_type)) {
    const uint8_t* start = data + position;
    const size_t room = static_cast<size_t>(size - position);
    const auto* nul = static_cast<const uint8_t*>(std::memchr(start, 0, room));
    const size_t length = nul != nullptr ? static_cast<size_t>(nul - start) : room;
    *out = RV_Undefined();
    RV_SetStringLen(out, reinterpret_cast<const char*>(start), static_cast<int32_t>(length));
    position += static_cast<int32_t>(nul != nullptr ? length + 1 : length);
    return kBufferOk;
  }
  const int32_t count = kSizes[data_type];
  uint8_t item[8];
  if (static_cast<int64_t>(position) + count <= size) {
    std::memcpy(item, data + position, static_cast<size_t>(count));
    position += count;
  } else if (type == kBufferWrap) {
    for (int32_t i = 0; i < count; ++i) {
      if (position >= size) {
        position = 0;
        wrapOffset = static_cast<int32_t>((static_cast<int64_t>(wrapOffset) + size) % alignment);
      }
      item[i] = data[position++];
    }
  } else {
    *out = RV_Real(kBufferReadPastEndValue);
    return kBufferBadType;
  }
  *out = BufferItem_Decode(data_type, item);
  return kBufferOk;
}

int IBuffer::Seek(int32_t base, int32_t offset) {
  switch (base) {
    case 0:
      position = std::max(offset, 0);
      wrapOffset = 0;
      break;
    case 1: {
      int64_t target = static_cast<int64_t>(position) + offset;
      if (type != kBufferWrap || size <= 0) {
        position = clamp_position(target);
        break;
      }
      // Into range a whole number of sizes at a time, the grid moving with each one.
      int64_t turns = target >= 0 ? target / size : -((-target + size - 1) / size);
      target -= turns * size;
      const int64_t shift = ((turns % alignment) * (size % alignment)) % alignment;
      wrapOffset = static_cast<int32_t>(((wrapOffset + shift) % alignment + alignment) % alignment);
      position = static_cast<int32_t>(target);
      break;
    }
    case 2:
      position = size - std::min(std::max(offset, 0), size);
      wrapOffset = 0;
      break;
    default: break;
  }
  return position;
}

void IBuffer::Peek(int32_t offset, int32_t data_type, RValue* out) {
  if (offset < 0 || data_type < 1 || data_type >= kBufferDataTypeCount || size <= 0) return;
  if (type == kBufferWrap) offset %= size;
  if (is_string_type(data_type)) {
    if (offset >= size) return;
    const uint8_t* start = data + offset;
    const size_t room = static_cast<size_t>(size - offset);
    const auto* nul = static_cast<const uint8_t*>(std::memchr(start, 0, room));
    *out = RV_Undefined();
    RV_SetStringLen(out, reinterpret_cast<const char*>(start), static_cast<int32_t>(nul != nullptr ? nul - start : room));
    return;
  }
  const int32_t count = kSizes[data_type];
  uint8_t item[8];
  if (static_cast<int64_t>(offset) + count <= size) {
    std::memcpy(item, data + offset, static_cast<size_t>(count));
  } else if (type == kBufferWrap) {
    for (int32_t i = 0; i < count; ++i) item[i] = data[(offset + i) % size];
  } else {
    return;
  }
  *out = BufferItem_Decode(data_type, item);
}

void IBuffer::Poke(int32_t offset, int32_t data_type, const RValue* value) {
  if (offset < 0 || size <= 0) return;
  BufferItem item;
  if (!item.encode(data_type, value)) return;
  if (type == kBufferWrap) {
    offset %= size;
    if (offset + item.count > size) {
      for (int64_t i = 0; i < item.count; ++i) data[(offset + i) % size] = item.bytes[i];
      used = size;
      return;
    }
  } else if (static_cast<int64_t>(offset) + item.count > size) {
    return;
  }
  if (item.count > 0) std::memcpy(data + offset, item.bytes, static_cast<size_t>(item.count));
  RaiseUsed(static_cast<int64_t>(offset) + item.count);
}

int IBuffer::Resize(int32_t new_size) {
  if (new_size < 0) return kBufferBadType;
  if (new_size > kBufferMaxSize) return kBufferNoRoom;
  uint8_t* new_allocation = nullptr;
  uint8_t* new_data = nullptr;
  if (!allocate(new_size, alignment, &new_allocation, &new_data)) return kBufferNoRoom;
  const int32_t kept = std::min(size, new_size);
  if (kept > 0) std::memcpy(new_data, data, static_cast<size_t>(kept));
  if (owns) KV_FREE(allocation);
  allocation = new_allocation;
  allocationSize = new_size + alignment;
  data = new_data;
  size = new_size;
  owns = true;
  if (position >= size) {
    position = 0;
    wrapOffset = 0;
  }
  used = std::min(used, size);
  return kBufferOk;
}

bool IBuffer::PutBytesAt(int64_t offset, const uint8_t* bytes, size_t count) {
  if (offset < 0) return false;
  if (count == 0) return true;
  if (type == kBufferWrap) {
    if (size <= 0) return false;
    size_t at = static_cast<size_t>(offset % size);
    size_t left = count;
    bool wrapped = false;
    while (left > 0) {
      const size_t run = std::min(left, static_cast<size_t>(size) - at);
      std::memmove(data + at, bytes, run);
      bytes += run;
      left -= run;
      at += run;
      if (at >= static_cast<size_t>(size)) {
        at = 0;
        wrapped = true;
      }
    }
    if (wrapped) used = size;
    else RaiseUsed(static_cast<int64_t>(at));
    return true;
  }
  const int64_t end = offset + static_cast<int64_t>(count);
  if (end > size && type == kBufferGrow && !GrowTo(end)) return false;
  if (offset >= size) return false;
  const size_t run = static_cast<size_t>(std::min<int64_t>(end, size) - offset);
  std::memmove(data + offset, bytes, run);
  RaiseUsed(offset + static_cast<int64_t>(run));
  return true;
}

// ---- Byte access only -----------------------------------------------------------------------------

int Buffer_Fast::Write(int32_t data_type, const RValue* value) {
  if (data_type != kBufferU8) return kBufferOk;
  const int32_t byte = KVGetInt32(value, 0);
  if (position < 0 || position >= size) return kBufferNoRoom;
  if (position >= used) used = position + 1;
  data[position++] = static_cast<uint8_t>(byte);
  return kBufferOk;
}

int Buffer_Fast::Read(int32_t data_type, RValue* out) {
  if (data_type != kBufferU8) {
    *out = RV_Real(0.0);
    return kBufferOk;
  }
  if (position < 0 || position >= size) {
    *out = RV_Real(kBufferReadPastEndValue);
    return kBufferBadType;
  }
  *out = RV_Real(data[position++]);
  return kBufferOk;
}

void Buffer_Fast::Peek(int32_t offset, int32_t data_type, RValue* out) {
  if (data_type != kBufferU8) {
    *out = RV_Real(0.0);
    return;
  }
  if (offset >= 0 && offset < size) *out = RV_Real(data[offset]);
}

void Buffer_Fast::Poke(int32_t offset, int32_t data_type, const RValue* value) {
  if (data_type != kBufferU8) return;
  const int32_t byte = KVGetInt32(value, 0);
  if (offset < 0 || offset >= size) return;
  data[offset] = static_cast<uint8_t>(byte);
  if (offset >= used) used = offset + 1;
}

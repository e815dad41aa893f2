#pragma once
// Little-endian reads and writes at any alignment. Every number in the data file is little-endian;
// these helpers go through memcpy so unaligned fields are fine on every target, and they check
// nothing: callers bound-check first (the runtime through its cursor, the writer by construction).
#include <bit>
#include <cstdint>
#include <cstring>

namespace datawin {

static_assert(std::endian::native == std::endian::little, "the data file helpers assume a little-endian host");

inline uint16_t load_u16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline uint32_t load_u32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline uint64_t load_u64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline int32_t load_i32(const uint8_t* p) { return static_cast<int32_t>(load_u32(p)); }
inline float load_f32(const uint8_t* p) { return std::bit_cast<float>(load_u32(p)); }

inline void store_u16(uint8_t* p, uint16_t v) { std::memcpy(p, &v, sizeof v); }
inline void store_u32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, sizeof v); }
inline void store_u64(uint8_t* p, uint64_t v) { std::memcpy(p, &v, sizeof v); }
inline void store_i32(uint8_t* p, int32_t v) { store_u32(p, static_cast<uint32_t>(v)); }
inline void store_f32(uint8_t* p, float v) { store_u32(p, std::bit_cast<uint32_t>(v)); }

}  // namespace datawin

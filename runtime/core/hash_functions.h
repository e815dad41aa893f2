#pragma once
// The hash functions of the runtime's tables. Every result is masked to 31 bits; the tables take a
// stored hash of 0 as an empty entry, so the rare key whose masked hash is 0 is given kHashOfZero
// instead, which starts its probe at the same position (its low 30 bits are 0 as well).
// Integer keys: key * 0x9E3779B1 + 1 in 32 bits. Addresses: (address >> 6) * 7 + 1. Strings:
// MurmurHash3 (x86, 32 bits, seed 0) over the bytes without the terminator.
#include <cstddef>
#include <cstdint>
#include <cstring>

constexpr uint32_t kHashMask = 0x7FFFFFFF;
constexpr uint32_t kHashOfZero = 0x40000000;

inline uint32_t Hash_NonZero(uint32_t masked) { return masked != 0 ? masked : kHashOfZero; }

inline uint32_t Hash_Int32(int32_t key) {
  return Hash_NonZero((static_cast<uint32_t>(key) * 0x9E3779B1u + 1u) & kHashMask);
}

inline uint32_t Hash_Address(const void* address) {
  const auto value = reinterpret_cast<uintptr_t>(address);
  return Hash_NonZero(static_cast<uint32_t>(((value >> 6) * 7u + 1u) & kHashMask));
}

// MurmurHash3, x86 32-bit variant, without the final masking.
inline uint32_t MurmurHash3_x86_32(const void* data, size_t length, uint32_t seed) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  constexpr uint32_t c1 = 0xCC9E2D51u;
  constexpr uint32_t c2 = 0x1B873593u;
  auto rotl = [](uint32_t x, int r) { return (x << r) | (x >> (32 - r)); };
  uint32_t h = seed;
  const size_t blocks = length / 4;
  for (size_t i = 0; i < blocks; ++i) {
    uint32_t k;
    std::memcpy(&k, bytes + i * 4, 4);  // native order: the runtime targets little-endian machines
    k *= c1;
    k = rotl(k, 15);
    k *= c2;
    h ^= k;
    h = rotl(h, 13);
    h = h * 5u + 0xE6546B64u;
  }
  const uint8_t* tail = bytes + blocks * 4;
  uint32_t k = 0;
  switch (length & 3) {
    case 3: k ^= static_cast<uint32_t>(tail[2]) << 16; [[fallthrough]];
    case 2: k ^= static_cast<uint32_t>(tail[1]) << 8; [[fallthrough]];
    case 1:
      k ^= tail[0];
      k *= c1;
      k = rotl(k, 15);
      k *= c2;
      h ^= k;
  }
  h ^= static_cast<uint32_t>(length);
  h ^= h >> 16;
  h *= 0x85EBCA6Bu;
  h ^= h >> 13;
  h *= 0xC2B2AE35u;
  h ^= h >> 16;
  return h;
}

// A null string hashes as the empty one.
inline uint32_t Hash_String(const char* text) {
  if (text == nullptr) text = "";
  return Hash_NonZero(MurmurHash3_x86_32(text, std::strlen(text), 0) & kHashMask);
}

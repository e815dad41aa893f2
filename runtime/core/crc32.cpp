#include "core/crc32.h"

namespace {

uint32_t g_table[256];
bool g_built = false;

}  // namespace

void Crc32_BuildTable() {
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t c = n;
    for (int k = 0; k < 8; ++k) c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    g_table[n] = c;
  }
  g_built = true;
}

uint32_t Crc32(const void* data, size_t size, uint32_t crc) {
  if (!g_built) Crc32_BuildTable();
  const auto* bytes = static_cast<const uint8_t*>(data);
  crc = ~crc;
  for (size_t i = 0; i < size; ++i) crc = g_table[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

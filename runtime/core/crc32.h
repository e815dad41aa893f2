#pragma once
// CRC-32 (polynomial 0xEDB88320) used by the data file checks. The table is built once at start.
#include <cstddef>
#include <cstdint>

void Crc32_BuildTable();
uint32_t Crc32(const void* data, size_t size, uint32_t crc = 0);

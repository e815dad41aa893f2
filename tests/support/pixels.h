#pragma once
// Read-back pixels (words with red in the lowest byte) compared by their colour channels; the alpha
// of the window's picture is not shown, so it is not compared.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

inline std::string Hex(uint32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X", word);
  return text;
}

inline void ExpectColour(uint32_t got, uint32_t want, const std::string& what, int tolerance = 2) {
  for (int shift = 0; shift < 24; shift += 8) {
    const int g = static_cast<int>((got >> shift) & 0xFF), w = static_cast<int>((want >> shift) & 0xFF);
    EXPECT_NEAR(g, w, tolerance) << what << ": got " << Hex(got) << ", want " << Hex(want);
  }
}

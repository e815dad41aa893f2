#pragma once
// Golden images: a read-back picture compared with a small reviewed PNG under tests/golden/. Each
// channel may differ by `tolerance`; with KOVA_UPDATE_GOLDEN=1 in the environment the picture is
// written as the new golden file instead (review it before committing).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "image/image.h"

inline void ExpectGolden(const std::string& name, int width, int height, const std::vector<uint32_t>& pixels,
                         int tolerance = 8) {
  const std::string path = std::string(KOVA_SOURCE_DIR) + "/tests/golden/" + name + ".png";
  kimage::Image got(width, height);
  for (int i = 0; i < width * height; ++i) {
    const uint32_t p = pixels[static_cast<size_t>(i)];
    got.pixels[static_cast<size_t>(i)] = kimage::Rgba{static_cast<uint8_t>(p), static_cast<uint8_t>(p >> 8),
                                                      static_cast<uint8_t>(p >> 16), 255};
  }
  std::string error;
  const char* update = std::getenv("KOVA_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    ASSERT_TRUE(kimage::write_png(path, got, &error)) << error;
    return;
  }
  kimage::Image want;
  ASSERT_TRUE(kimage::read_png(path, &want, &error)) << error;
  ASSERT_EQ(want.width, width) << name;
  ASSERT_EQ(want.height, height) << name;
  int differing = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const kimage::Rgba a = got.at(x, y), b = want.at(x, y);
      if (std::abs(a.r - b.r) > tolerance || std::abs(a.g - b.g) > tolerance || std::abs(a.b - b.b) > tolerance) {
        if (++differing <= 5) ADD_FAILURE() << name << ": pixel " << x << "," << y << " differs";
      }
    }
  }
  EXPECT_EQ(differing, 0) << name;
}

#pragma once
// Shared by the loader tests: a fixture that starts and ends every test with an empty loader and
// loads built images, and a capture of the debug console (silent by default) together with the
// release console.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/gc.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "run/asset_readers.h"
#include "support/fixture.h"

// load() scans and loads the built image, kept in image_.
class LoaderTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetLoaderState(); }
  void TearDown() override {
    ResetLoaderState();
    Console_Reset();
  }
  bool load(const datawin::Writer& writer) {
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    const bool scanned = HeaderScan(image_.data(), size);
    return LoadGameData(image_.data(), size) && scanned;
  }
  std::vector<uint8_t> image_;
};

// A loader fixture with every asset reader plugged in.
class AssetLoaderTest : public LoaderTest {
 protected:
  void SetUp() override {
    LoaderTest::SetUp();
    Assets_InstallReaders();
  }
};

// Routes the debug console to the release console and captures both while alive.
class LoaderConsole {
 public:
  LoaderConsole() { g_DebugConsole = g_ReleaseConsole; }
  ~LoaderConsole() { Console_Reset(); }
  const std::string& text() const { return capture_.text(); }

 private:
  ConsoleCapture capture_;
};

// Offset of the payload of the first chunk with this tag, or 0.
inline uint32_t FindPayload(const std::vector<uint8_t>& image, const char (&tag)[5]) {
  uint32_t at = 8;
  while (at + 8 <= image.size()) {
    const uint32_t size = datawin::load_u32(image.data() + at + 4);
    if (std::memcmp(image.data() + at, tag, 4) == 0) return at + 8;
    at += 8 + size;
  }
  return 0;
}

// Both walks over a copy of bytes in a block of exactly their size, as the runner holds a file,
// whatever the bytes say: a FORM size that doesn't match ends the header scan with its error and
// the chunk load then walks nothing. Afterwards the asset tables and the loader are emptied, so
// that nothing keeps pointing into the block. True when both walks succeeded.
inline bool LoadExactCopy(const std::vector<uint8_t>& bytes) {
  const auto size = static_cast<uint32_t>(bytes.size());
  std::unique_ptr<uint8_t[]> block(new uint8_t[size == 0 ? 1 : size]);
  std::copy(bytes.begin(), bytes.end(), block.get());
  GameData_Reset();
  bool scanned = false;
  try {
    scanned = HeaderScan(block.get(), size);
  } catch (const KVTSLException&) {
    // the FORM size check
  }
  const bool loaded = LoadGameData(block.get(), size);
  Assets_ClearTables();
  GameData_Reset();
  GC_Reset();
  return scanned && loaded;
}

inline uint32_t WordAt(const std::vector<uint8_t>& image, uint32_t offset) {
  return datawin::load_u32(image.data() + offset);
}

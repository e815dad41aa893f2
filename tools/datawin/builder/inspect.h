#pragma once
// Reads a data file on its own, without the runtime, for `kova-datawin info` and `sheet`: every
// chunk, every asset of the kinds this builder writes with its index and name, and the problems
// found on the way. Every read is bounds-checked; a damaged file gives errors, never a crash.
// Checked: the FORM size, chunks inside the file, every offset and string inside the file, asset
// indexes in range (sprites, parents, objects of placements, code indexes, page numbers, audio
// blobs), page entries inside their pages, names unique within a kind.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace datawin {

struct InspectedAsset {
  int32_t index = 0;
  std::string name;
  std::string detail;  // a short description: size, frames, channels ...
};

struct InspectedEntry {  // a page entry, for the contact sheet
  uint16_t x = 0, y = 0, w = 0, h = 0, x_offset = 0, y_offset = 0, original_width = 0, original_height = 0;
  int16_t page = 0;
};

struct InspectedSprite {
  int32_t index = 0;
  std::string name;
  int32_t width = 0, height = 0;
  std::vector<InspectedEntry> frames;
};

struct Inspection {
  struct Chunk {
    std::string tag;
    uint32_t offset = 0, size = 0;
  };
  std::vector<Chunk> chunks;
  // Asset kinds by their table name ("sprites", "sounds", ...), each in index order.
  std::map<std::string, std::vector<InspectedAsset>> assets;
  std::vector<InspectedSprite> sprites;
  std::vector<std::vector<uint8_t>> pages;  // image bytes of each texture page
  std::vector<std::string> errors;
};

Inspection inspect_data_file(const std::vector<uint8_t>& file);

}  // namespace datawin

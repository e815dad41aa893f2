#pragma once
// Writer of SHDR (datawin/format/font_shader_layout.h): a u32 count and offsets of shader records.
// Program texts are pooled strings; an empty one writes offset 0. With `extended` set the kind's
// top bit is set and the block of blobs follows the attribute names; the blobs' bytes are written
// behind the record.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/format/font_shader_layout.h"
#include "datawin/writer/writer.h"

namespace datawin {

struct ShaderBlocks {
  int32_t version = 2;
  std::vector<uint8_t> sized[shdr::kSizedBlobs];  // blobs 1 to 4, with their sizes
  std::vector<uint8_t> blob5;                     // version 2 on
  std::vector<uint8_t> blob6;                     // version 2 on
};

struct ShaderRecord {
  std::string name;
  uint32_t kind = 1;  // without the extended bit; the writer sets it when `blocks` is given
  std::string programs[2 * shdr::kProgramPairs];  // {vertex, fragment} per shading language
  std::vector<std::string> attributes;
  std::optional<ShaderBlocks> blocks;
};
Blob& add_shdr(Writer& writer, const std::vector<std::optional<ShaderRecord>>& shaders);

}  // namespace datawin

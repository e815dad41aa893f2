#pragma once
// Writer of FONT (datawin/format/font_shader_layout.h): a pointer list of font records in the form
// of the file's DataVersion (the ascender words from 17 on), each with its glyphs behind it.
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

struct GlyphRecord {
  uint16_t character = 0;
  int16_t x = 0, y = 0, w = 0, h = 0;
  int16_t shift = 0;
  int16_t offset = 0;
  std::vector<std::pair<int16_t, int16_t>> kerning;  // {other character, amount}
};

struct FontRecord {
  std::string name;
  std::string display_name;
  float size = 12.0f;
  bool bold = false, italic = false;
  uint32_t first_char = 32;
  uint32_t charset = 0;
  uint32_t antialias = 0;  // level + 1; 0 for none
  int32_t last_char = 127;
  Ref page_entry;
  float scale_x = 1.0f, scale_y = 1.0f;
  int32_t ascender_offset = 0;  // version 17 on
  int32_t ascender = 0;         // version 17 on
  std::vector<GlyphRecord> glyphs;
};
Blob& add_font(Writer& writer, int version, const std::vector<std::optional<FontRecord>>& fonts);

}  // namespace datawin

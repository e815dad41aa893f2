#pragma once
// The fonts of chunk FONT, as read: the font's fields and its glyphs, which are used in place
// (16 bytes of i16 fields and the kerning pairs behind them). The atlas is a page entry whose
// on-page size is the atlas size; the font's height is the tallest glyph. Records of DataVersion
// 17 on carry the ascender words.
#include <cstdint>
#include <vector>

#include "data/asset_table.h"

struct FontGlyph {
  uint16_t character = 0;
  int16_t x = 0, y = 0, w = 0, h = 0;
  int16_t shift = 0;   // horizontal advance
  int16_t offset = 0;  // left bearing
  int16_t kerning_count = 0;
  const uint8_t* kerning = nullptr;  // kerning_count pairs {i16 other, i16 amount}
};
FontGlyph Glyph_Read(const uint8_t* glyph);
// The kerning amount against `other`, 0 when the glyph has no pair for it.
int16_t Glyph_Kerning(const FontGlyph& glyph, uint16_t other);

struct FontAsset {
  const uint8_t* record = nullptr;
  const char* display_name = nullptr;
  float size = 0;  // made positive
  bool bold = false;
  bool italic = false;
  uint32_t first_char = 0;
  uint32_t charset = 0;
  uint32_t antialias = 0;  // level + 1; 0 none
  int32_t last_char = 0;
  const uint8_t* page_entry = nullptr;
  int32_t atlas_width = 0;
  int32_t atlas_height = 0;
  float scale_x = 1, scale_y = 1;
  int32_t ascenderOffset = 0;
  int32_t ascender = 0;
  int32_t height = 0;  // tallest glyph
  std::vector<const uint8_t*> glyphs;  // null for a zero offset
};

const AssetTable<FontAsset>& Font_Table();
FontAsset* Font_Get(int32_t index);

bool Font_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Font_Clear();

#include "datawin/builder/font_raster.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <stdexcept>

namespace datawin {

namespace {

struct Library {
  FT_Library library = nullptr;
  FT_Face face = nullptr;
  ~Library() {
    if (face != nullptr) FT_Done_Face(face);
    if (library != nullptr) FT_Done_FreeType(library);
  }
};

struct Bitmap {
  int width = 0, rows = 0, left = 0, top = 0, advance = 0;
  std::vector<uint8_t> coverage;  // 0 .. 255
};

}  // namespace

RasterFont rasterise_font(const std::string& path, int pixel_size, int first, int last, bool smooth) {
  Library ft;
  if (FT_Init_FreeType(&ft.library) != 0) throw std::runtime_error("FreeType did not start");
  if (FT_New_Face(ft.library, path.c_str(), 0, &ft.face) != 0) throw std::runtime_error(path + ": not a font file FreeType can read");
  if (FT_Set_Pixel_Sizes(ft.face, 0, static_cast<FT_UInt>(pixel_size)) != 0) {
    throw std::runtime_error(path + ": the font has no size " + std::to_string(pixel_size));
  }
  RasterFont out;
  out.family = ft.face->family_name != nullptr ? ft.face->family_name : "";
  out.bold = (ft.face->style_flags & FT_STYLE_FLAG_BOLD) != 0;
  out.italic = (ft.face->style_flags & FT_STYLE_FLAG_ITALIC) != 0;
  out.ascender = static_cast<int>((ft.face->size->metrics.ascender + 63) >> 6);
  const int descender = static_cast<int>((-ft.face->size->metrics.descender + 63) >> 6);
  out.line_height = out.ascender + descender;

  std::vector<std::pair<int, Bitmap>> bitmaps;
  for (int c = first; c <= last; ++c) {
    const FT_UInt index = FT_Get_Char_Index(ft.face, static_cast<FT_ULong>(c));
    if (index == 0) continue;
    const FT_Int32 flags = FT_LOAD_RENDER | (smooth ? FT_LOAD_TARGET_NORMAL : (FT_LOAD_TARGET_MONO | FT_LOAD_MONOCHROME));
    if (FT_Load_Glyph(ft.face, index, flags) != 0) continue;
    const FT_GlyphSlot slot = ft.face->glyph;
    Bitmap b;
    b.width = static_cast<int>(slot->bitmap.width);
    b.rows = static_cast<int>(slot->bitmap.rows);
    b.left = slot->bitmap_left;
    b.top = slot->bitmap_top;
    b.advance = static_cast<int>((slot->advance.x + 32) >> 6);
    b.coverage.resize(static_cast<size_t>(b.width) * b.rows);
    for (int y = 0; y < b.rows; ++y) {
      const unsigned char* row = slot->bitmap.buffer + y * slot->bitmap.pitch;
      for (int x = 0; x < b.width; ++x) {
        const bool mono = slot->bitmap.pixel_mode == FT_PIXEL_MODE_MONO;
        b.coverage[static_cast<size_t>(y) * b.width + x] = mono ? ((row[x / 8] & (0x80 >> (x % 8))) != 0 ? 255 : 0) : row[x];
      }
    }
    bitmaps.emplace_back(c, std::move(b));
  }
  if (bitmaps.empty()) throw std::runtime_error(path + ": the font has none of the characters " + std::to_string(first) + " to " + std::to_string(last));

  // Cells in rows of an atlas about square, each cell one line high with a transparent gap of 2.
  constexpr int kGap = 2;
  int total_width = 0;
  for (const auto& [c, b] : bitmaps) total_width += std::max(b.width, 1) + kGap;
  int atlas_width = 64;
  while (atlas_width < 2048 && atlas_width * atlas_width < total_width * (out.line_height + kGap)) atlas_width *= 2;
  int x = kGap, y = kGap;
  std::vector<std::pair<int, int>> places;
  for (const auto& [c, b] : bitmaps) {
    const int w = std::max(b.width, 1);
    if (x + w + kGap > atlas_width) {
      x = kGap;
      y += out.line_height + kGap;
    }
    places.emplace_back(x, y);
    x += w + kGap;
  }
  out.atlas = kimage::Image(atlas_width, y + out.line_height + kGap);
  for (size_t i = 0; i < bitmaps.size(); ++i) {
    const auto& [c, b] = bitmaps[i];
    const auto [gx, gy] = places[i];
    for (int by = 0; by < b.rows; ++by) {
      const int ty = gy + out.ascender - b.top + by;
      if (ty < gy || ty >= gy + out.line_height) continue;  // clipped to the line
      for (int bx = 0; bx < b.width; ++bx) {
        const uint8_t a = b.coverage[static_cast<size_t>(by) * b.width + bx];
        if (a != 0) out.atlas.at(gx + bx, ty) = kimage::Rgba{255, 255, 255, a};
      }
    }
    GlyphRecord glyph;
    glyph.character = static_cast<uint16_t>(c);
    glyph.x = static_cast<int16_t>(gx);
    glyph.y = static_cast<int16_t>(gy);
    glyph.w = static_cast<int16_t>(b.width == 0 ? 0 : b.width);
    glyph.h = static_cast<int16_t>(out.line_height);
    glyph.shift = static_cast<int16_t>(b.advance);
    glyph.offset = static_cast<int16_t>(b.left);
    out.glyphs.push_back(glyph);
  }
  if (FT_HAS_KERNING(ft.face)) {
    for (GlyphRecord& glyph : out.glyphs) {
      const FT_UInt right = FT_Get_Char_Index(ft.face, glyph.character);
      for (const GlyphRecord& other : out.glyphs) {
        FT_Vector kern;
        if (FT_Get_Kerning(ft.face, FT_Get_Char_Index(ft.face, other.character), right, FT_KERNING_DEFAULT, &kern) != 0) continue;
        const int amount = static_cast<int>(kern.x >> 6);
        if (amount != 0) glyph.kerning.emplace_back(static_cast<int16_t>(other.character), static_cast<int16_t>(amount));
      }
    }
  }
  return out;
}

}  // namespace datawin

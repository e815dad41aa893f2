#pragma once
// Rasterises a font file with FreeType into an atlas and the glyph records of a FONT entry. Every
// glyph cell is one line high (ascender to descender) so the glyph's rectangle places it on the
// line; `x` and `y` are relative to the atlas, which the builder puts on a page whole. Without
// `smooth` glyphs are rendered one bit a pixel in white, which keeps text crisp at 1:1.
#include <string>
#include <vector>

#include "datawin/writer/chunk_font.h"
#include "image/image.h"

namespace datawin {

struct RasterFont {
  kimage::Image atlas;
  std::vector<GlyphRecord> glyphs;  // ascending by character
  int ascender = 0;
  int line_height = 0;
  std::string family;
  bool bold = false, italic = false;
};

// Throws std::runtime_error naming `path` when the file is not a font or has none of the characters.
RasterFont rasterise_font(const std::string& path, int pixel_size, int first, int last, bool smooth);

}  // namespace datawin

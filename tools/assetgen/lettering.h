#pragma once
// Lettering drawn into sprites with FreeType: glyphs rendered without smoothing (one bit a pixel),
// so the letters stay pixel art in the palette.
#include <string>

#include "assetgen/canvas.h"

namespace assetgen {

struct TextBox {
  int width = 0;
  int height = 0;  // ascender to baseline
};

// Measures `text` at `pixel_size`; throws std::runtime_error naming the font file when it can't be read.
TextBox measure_text(const std::string& font_path, int pixel_size, const std::string& text);
// Draws `text` with its top left at (x, y) (y is the top of the ascender) into a fresh shape.
Shape text_shape(const Canvas& canvas, const std::string& font_path, int pixel_size, const std::string& text, int x, int y);

}  // namespace assetgen

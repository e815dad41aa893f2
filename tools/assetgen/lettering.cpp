#include "assetgen/lettering.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <memory>
#include <stdexcept>

namespace assetgen {

namespace {

struct Face {
  FT_Library library = nullptr;
  FT_Face face = nullptr;
  Face(const std::string& path, int pixel_size) {
    if (FT_Init_FreeType(&library) != 0) throw std::runtime_error("FreeType did not start");
    if (FT_New_Face(library, path.c_str(), 0, &face) != 0) {
      FT_Done_FreeType(library);
      throw std::runtime_error(path + ": not a font file FreeType can read");
    }
    FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(pixel_size));
  }
  ~Face() {
    FT_Done_Face(face);
    FT_Done_FreeType(library);
  }
  Face(const Face&) = delete;
  Face& operator=(const Face&) = delete;
};

// Calls draw(bitmap, left, top) for each glyph with the pen's position; returns the advance.
template <typename Draw>
int walk(Face& f, const std::string& text, Draw draw) {
  int pen = 0;
  FT_UInt previous = 0;
  for (unsigned char c : text) {
    const FT_UInt index = FT_Get_Char_Index(f.face, c);
    if (previous != 0 && index != 0 && FT_HAS_KERNING(f.face)) {
      FT_Vector kern;
      FT_Get_Kerning(f.face, previous, index, FT_KERNING_DEFAULT, &kern);
      pen += static_cast<int>(kern.x >> 6);
    }
    if (FT_Load_Glyph(f.face, index, FT_LOAD_RENDER | FT_LOAD_TARGET_MONO) != 0) continue;
    const FT_GlyphSlot slot = f.face->glyph;
    draw(slot->bitmap, pen + slot->bitmap_left, slot->bitmap_top);
    pen += static_cast<int>(slot->advance.x >> 6);
    previous = index;
  }
  return pen;
}

}  // namespace

TextBox measure_text(const std::string& font_path, int pixel_size, const std::string& text) {
  Face f(font_path, pixel_size);
  TextBox box;
  box.width = walk(f, text, [](const FT_Bitmap&, int, int) {});
  box.height = static_cast<int>(f.face->size->metrics.ascender >> 6);
  return box;
}

Shape text_shape(const Canvas& canvas, const std::string& font_path, int pixel_size, const std::string& text, int x, int y) {
  Face f(font_path, pixel_size);
  Shape shape = canvas.shape();
  const int baseline = y + static_cast<int>(f.face->size->metrics.ascender >> 6);
  walk(f, text, [&](const FT_Bitmap& bitmap, int left, int top) {
    for (unsigned row = 0; row < bitmap.rows; ++row) {
      for (unsigned col = 0; col < bitmap.width; ++col) {
        const unsigned char byte = bitmap.buffer[row * static_cast<unsigned>(bitmap.pitch) + col / 8];
        if ((byte & (0x80 >> (col % 8))) != 0) {
          shape.set(x + left + static_cast<int>(col), baseline - top + static_cast<int>(row));
        }
      }
    }
  });
  return shape;
}

}  // namespace assetgen

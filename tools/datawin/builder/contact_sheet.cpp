#include "datawin/builder/contact_sheet.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <stdexcept>

namespace datawin {

namespace {

constexpr int kLabelHeight = 14;
constexpr int kPad = 6;

class Labeller {
 public:
  explicit Labeller(const std::string& path) {
    if (FT_Init_FreeType(&library_) != 0) throw std::runtime_error("FreeType did not start");
    if (FT_New_Face(library_, path.c_str(), 0, &face_) != 0) {
      FT_Done_FreeType(library_);
      throw std::runtime_error(path + ": not a font file FreeType can read");
    }
    FT_Set_Pixel_Sizes(face_, 0, 11);
  }
  ~Labeller() {
    FT_Done_Face(face_);
    FT_Done_FreeType(library_);
  }
  Labeller(const Labeller&) = delete;
  Labeller& operator=(const Labeller&) = delete;

  int width(const std::string& text) { return draw(nullptr, text, 0, 0); }
  // Draws at (x, y) = top left; returns the advance.
  int draw(kimage::Image* image, const std::string& text, int x, int y) {
    int pen = x;
    const int baseline = y + 10;
    for (unsigned char c : text) {
      if (FT_Load_Char(face_, c, FT_LOAD_RENDER | FT_LOAD_TARGET_MONO | FT_LOAD_MONOCHROME) != 0) continue;
      const FT_Bitmap& b = face_->glyph->bitmap;
      if (image != nullptr) {
        for (unsigned row = 0; row < b.rows; ++row) {
          for (unsigned col = 0; col < b.width; ++col) {
            if ((b.buffer[row * static_cast<unsigned>(b.pitch) + col / 8] & (0x80 >> (col % 8))) == 0) continue;
            const int px = pen + face_->glyph->bitmap_left + static_cast<int>(col);
            const int py = baseline - face_->glyph->bitmap_top + static_cast<int>(row);
            if (image->inside(px, py)) image->at(px, py) = kimage::rgb(0xcbdbfc);
          }
        }
      }
      pen += static_cast<int>(face_->glyph->advance.x >> 6);
    }
    return pen - x;
  }

 private:
  FT_Library library_ = nullptr;
  FT_Face face_ = nullptr;
};

struct Block {
  const InspectedSprite* sprite;
  std::string label;
  int width = 0, height = 0;
  int per_row = 1;
  int x = 0, y = 0;
};

}  // namespace

kimage::Image contact_sheet(const Inspection& file, const std::string& label_font) {
  std::vector<kimage::Image> pages(file.pages.size());
  for (size_t i = 0; i < file.pages.size(); ++i) {
    if (file.pages[i].empty()) continue;
    std::string error;
    if (!kimage::decode_png(file.pages[i].data(), file.pages[i].size(), &pages[i], &error)) {
      throw std::runtime_error("texture page " + std::to_string(i) + ": " + error);
    }
  }
  Labeller labels(label_font);
  std::vector<Block> blocks;
  for (const InspectedSprite& sprite : file.sprites) {
    Block b;
    b.sprite = &sprite;
    b.label = std::to_string(sprite.index) + " " + sprite.name + " " + std::to_string(sprite.width) + "x" +
              std::to_string(sprite.height) + (sprite.frames.size() > 1 ? " x" + std::to_string(sprite.frames.size()) : "");
    const int frame_w = std::max(sprite.width, 1) + 2;
    const int count = static_cast<int>(std::max<size_t>(sprite.frames.size(), 1));
    b.per_row = std::max(1, std::min(count, (kSheetWidth - 2 * kPad) / frame_w));
    const int rows = (count + b.per_row - 1) / b.per_row;
    b.width = std::max(b.per_row * frame_w, labels.width(b.label) + 4);
    b.height = kLabelHeight + rows * (std::max(sprite.height, 1) + 2);
    blocks.push_back(b);
  }
  // Flow layout.
  int x = kPad, y = kPad, row_height = 0;
  for (Block& b : blocks) {
    if (x + b.width > kSheetWidth - kPad && x > kPad) {
      x = kPad;
      y += row_height + kPad;
      row_height = 0;
    }
    b.x = x;
    b.y = y;
    x += b.width + kPad * 2;
    row_height = std::max(row_height, b.height);
  }
  kimage::Image sheet(kSheetWidth, y + row_height + kPad);
  for (int py = 0; py < sheet.height; ++py) {
    for (int px = 0; px < sheet.width; ++px) sheet.at(px, py) = ((px / 8 + py / 8) % 2 == 0) ? kimage::rgb(0x2a2838) : kimage::rgb(0x323044);
  }
  for (const Block& b : blocks) {
    labels.draw(&sheet, b.label, b.x, b.y);
    const InspectedSprite& s = *b.sprite;
    for (size_t f = 0; f < s.frames.size(); ++f) {
      const InspectedEntry& e = s.frames[f];
      const int fx = b.x + static_cast<int>(f % static_cast<size_t>(b.per_row)) * (s.width + 2);
      const int fy = b.y + kLabelHeight + static_cast<int>(f / static_cast<size_t>(b.per_row)) * (s.height + 2);
      // A frame's box, then its pixels from the page at their trimmed place.
      for (int px = fx - 1; px <= fx + s.width; ++px) {
        for (int py : {fy - 1, fy + s.height}) {
          if (sheet.inside(px, py)) sheet.at(px, py) = kimage::rgb(0x45283c);
        }
      }
      if (e.page < 0 || static_cast<size_t>(e.page) >= pages.size() || pages[e.page].width == 0) continue;
      const kimage::Image piece = pages[e.page].crop(e.x, e.y, e.w, e.h);
      sheet.paste(piece, fx + e.x_offset, fy + e.y_offset, true);
    }
  }
  return sheet;
}

}  // namespace datawin

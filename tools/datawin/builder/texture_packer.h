#pragma once
// Packs images onto texture pages. Each image is trimmed to its opaque pixels (the page entry keeps
// the margins it lost), identical trimmed images share one place, and the pieces go onto shelves,
// tallest first, with a gap of two transparent pixels so neighbours never bleed into each other.
// A page is at most kMaxPage pixels square; its height is cut to the used rows, rounded up to a
// power of two. An image bigger than a page is an error for the caller to report.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "image/image.h"

namespace datawin {

struct PagePlacement {
  int page = 0;
  int x = 0, y = 0, w = 0, h = 0;  // on the page
  int x_offset = 0, y_offset = 0;  // margins trimmed away at the left and top
  int original_width = 0, original_height = 0;
};

class TexturePacker {
 public:
  static constexpr int kMaxPage = 2048;
  static constexpr int kGap = 2;

  // Adds an image; `trim` false keeps it whole (font atlases, whose glyph positions are relative to
  // the whole image). Returns its handle.
  int add(const kimage::Image& image, bool trim = true);
  // Places everything; false when an image is larger than a page.
  bool pack();
  const PagePlacement& placement(int handle) const { return placements_[handle]; }
  const std::vector<kimage::Image>& pages() const { return pages_; }
  size_t unique_count() const { return pieces_.size(); }

 private:
  struct Piece {
    kimage::Image image;
    int page = 0, x = 0, y = 0;
  };
  std::vector<Piece> pieces_;
  std::vector<int> piece_of_;  // per handle
  std::map<std::string, int> index_of_;  // piece by its pixels
  std::vector<PagePlacement> placements_;
  std::vector<kimage::Image> pages_;
};

}  // namespace datawin

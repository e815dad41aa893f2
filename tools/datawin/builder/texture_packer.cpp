#include "datawin/builder/texture_packer.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <string>

namespace datawin {

namespace {

std::string key_of(const kimage::Image& image) {
  std::string key(reinterpret_cast<const char*>(&image.width), sizeof image.width);
  key.append(reinterpret_cast<const char*>(&image.height), sizeof image.height);
  key.append(reinterpret_cast<const char*>(image.pixels.data()), image.pixels.size() * sizeof(kimage::Rgba));
  return key;
}

int round_up_pow2(int value) {
  int out = 1;
  while (out < value) out *= 2;
  return out;
}

}  // namespace

int TexturePacker::add(const kimage::Image& image, bool trim) {
  PagePlacement placement;
  placement.original_width = image.width;
  placement.original_height = image.height;
  // Trimmed to the opaque pixels; a wholly clear image keeps one clear pixel.
  kimage::Bounds box{0, 0, image.width - 1, image.height - 1};
  if (trim && !kimage::opaque_bounds(image, &box)) box = kimage::Bounds{0, 0, 0, 0};
  const int left = box.left, top = box.top, right = box.right, bottom = box.bottom;
  placement.x_offset = left;
  placement.y_offset = top;
  const kimage::Image piece = image.crop(left, top, right - left + 1, bottom - top + 1);
  placement.w = piece.width;
  placement.h = piece.height;
  const auto [found, fresh] = index_of_.emplace(key_of(piece), static_cast<int>(pieces_.size()));
  const int index = found->second;
  if (fresh) pieces_.push_back(Piece{piece});
  piece_of_.push_back(index);
  placements_.push_back(placement);
  return static_cast<int>(placements_.size()) - 1;
}

bool TexturePacker::pack() {
  std::vector<size_t> order(pieces_.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    if (pieces_[a].image.height != pieces_[b].image.height) return pieces_[a].image.height > pieces_[b].image.height;
    return pieces_[a].image.width > pieces_[b].image.width;
  });
  struct Shelf {
    int y, height, x;
  };
  std::vector<std::vector<Shelf>> shelves(1);
  std::vector<int> used_height(1, 0);
  for (size_t i : order) {
    Piece& piece = pieces_[i];
    const int w = piece.image.width + kGap, h = piece.image.height + kGap;
    if (w > kMaxPage || h > kMaxPage) return false;
    bool placed = false;
    for (size_t page = 0; page < shelves.size() && !placed; ++page) {
      for (Shelf& shelf : shelves[page]) {
        if (shelf.height >= h && shelf.x + w <= kMaxPage) {
          piece.page = static_cast<int>(page);
          piece.x = shelf.x;
          piece.y = shelf.y;
          shelf.x += w;
          placed = true;
          break;
        }
      }
      if (!placed && used_height[page] + h <= kMaxPage) {
        shelves[page].push_back(Shelf{used_height[page], h, w});
        piece.page = static_cast<int>(page);
        piece.x = 0;
        piece.y = used_height[page];
        used_height[page] += h;
        placed = true;
      }
    }
    if (!placed) {
      shelves.push_back({Shelf{0, h, w}});
      used_height.push_back(h);
      piece.page = static_cast<int>(shelves.size()) - 1;
      piece.x = 0;
      piece.y = 0;
    }
  }
  pages_.clear();
  for (size_t page = 0; page < shelves.size(); ++page) {
    int width = 0;
    for (const Shelf& shelf : shelves[page]) width = std::max(width, shelf.x);
    pages_.emplace_back(round_up_pow2(std::max(width, 1)), round_up_pow2(std::max(used_height[page], 1)));
  }
  for (const Piece& piece : pieces_) pages_[piece.page].paste(piece.image, piece.x, piece.y);
  for (size_t handle = 0; handle < placements_.size(); ++handle) {
    const Piece& piece = pieces_[piece_of_[handle]];
    placements_[handle].page = piece.page;
    placements_[handle].x = piece.x;
    placements_[handle].y = piece.y;
  }
  return true;
}

}  // namespace datawin

// Nine-slice drawing: the corners keep their size, the edges and the centre stretch, repeat or
// mirror their slice, or stay empty. Slices go through the clipped quad, so a trimmed frame cuts
// them as it cuts any part.
#include <algorithm>
#include <cmath>

#include "graphics/sprite_draw.h"

namespace {

enum TileMode : int32_t { kStretch = 0, kRepeat = 1, kMirror = 2, kBlank = 3, kHide = 4 };

struct Span {
  float source = 0, size = 0;  // in the frame's box
  float dest = 0, length = 0;  // on the target
};

// One slice over a target rectangle: stretched, or stepped by its source size with the last step
// clipped (mirror flips every other step).
void draw_slice(const FrameTexture& t, const SpriteFrame& f, const Span& sx, const Span& sy, int32_t modeX,
                int32_t modeY, const uint32_t colours[4]) {
  if (sx.size <= 0 || sy.size <= 0 || sx.length <= 0 || sy.length <= 0) return;
  if (modeX == kBlank || modeX == kHide || modeY == kBlank || modeY == kHide) return;
  const bool step_x = modeX == kRepeat || modeX == kMirror;
  const bool step_y = modeY == kRepeat || modeY == kMirror;
  const float cell_w = step_x ? sx.size : sx.length, cell_h = step_y ? sy.size : sy.length;
  int32_t i = 0;
  for (float x = 0; x < sx.length; x += cell_w, ++i) {
    const float w = std::min(cell_w, sx.length - x);
    int32_t j = 0;
    for (float y = 0; y < sy.length; y += cell_h, ++j) {
      const float h = std::min(cell_h, sy.length - y);
      const bool flip_x = modeX == kMirror && (i % 2) == 1;
      const bool flip_y = modeY == kMirror && (j % 2) == 1;
      const float part_w = step_x ? w : sx.size, part_h = step_y ? h : sy.size;
      const float scale_x = (step_x ? 1.0f : sx.length / sx.size) * (flip_x ? -1.0f : 1.0f);
      const float scale_y = (step_y ? 1.0f : sy.length / sy.size) * (flip_y ? -1.0f : 1.0f);
      const float at_x = sx.dest + x + (flip_x ? w : 0.0f);
      const float at_y = sy.dest + y + (flip_y ? h : 0.0f);
      const float src_x = flip_x ? sx.source + sx.size - part_w : sx.source;
      const float src_y = flip_y ? sy.source + sy.size - part_h : sy.source;
      Quad_DrawPart(t, f, src_x, src_y, part_w, part_h, at_x, at_y, scale_x, scale_y, 0.0f, colours);
    }
  }
}

}  // namespace

bool Sprite_DrawNineSlice(const CSprite& sprite, float subimage, float x, float y, float w, float h,
                          const uint32_t colours[4]) {
  const SpriteFrame* frame = sprite.Frame(subimage);
  if (frame == nullptr) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  const CNineSliceData* n = sprite.nineSlice.get();
  const float sw = static_cast<float>(sprite.width), sh = static_cast<float>(sprite.height);
  if (n == nullptr || sprite.kind != 0 || (n->left == 0 && n->top == 0 && n->right == 0 && n->bottom == 0) ||
      sw <= 0 || sh <= 0) {
    Quad_DrawExt(t, *frame, 0.0f, 0.0f, x, y, w / sw, h / sh, 0.0f, colours);
    return true;
  }
  const float l = static_cast<float>(n->left), r = static_cast<float>(n->right);
  const float tp = static_cast<float>(n->top), b = static_cast<float>(n->bottom);
  const float mid_w = std::max(w - l - r, 0.0f), mid_h = std::max(h - tp - b, 0.0f);
  const Span cols[3] = {{0, l, x, std::min(l, w)}, {l, sw - l - r, x + l, mid_w}, {sw - r, r, x + w - r, std::min(r, w)}};
  const Span rows[3] = {{0, tp, y, std::min(tp, h)}, {tp, sh - tp - b, y + tp, mid_h}, {sh - b, b, y + h - b, std::min(b, h)}};
  // Modes by slice: corners stretch (they keep their size), edges and the centre by tilemode.
  const int32_t* m = n->tilemode;
  const int32_t mode_x[3][3] = {{kStretch, m[1], kStretch}, {m[0], m[4], m[2]}, {kStretch, m[3], kStretch}};
  const int32_t mode_y[3][3] = {{kStretch, m[1], kStretch}, {m[0], m[4], m[2]}, {kStretch, m[3], kStretch}};
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      // An edge repeats along its length only; across it the slice keeps its size.
      int32_t mx = mode_x[row][col], my = mode_y[row][col];
      if (row != 1 && col == 1 && mx != kBlank && mx != kHide) my = kStretch;  // top and bottom edges
      if (col != 1 && row == 1 && my != kBlank && my != kHide) mx = kStretch;  // left and right edges
      draw_slice(t, *frame, cols[col], rows[row], mx, my, colours);
    }
  }
  return true;
}

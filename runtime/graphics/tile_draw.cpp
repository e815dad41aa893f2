#include "graphics/tile_draw.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "graphics/asset_backgrounds.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/batcher.h"
#include "graphics/cull.h"
#include "graphics/device_state.h"
#include "graphics/gr_texture.h"
#include "graphics/render_state.h"
#include "graphics/sprite_draw.h"
#include "graphics/surface.h"

namespace {

constexpr uint32_t kTileIndexBits = 0x7FFFF;
constexpr uint32_t kMirror = 0x10000000;
constexpr uint32_t kFlip = 0x20000000;
constexpr uint32_t kRotate = 0x40000000;
constexpr uint32_t kWhite = 0xFFFFFFFFu;

struct TileSetView {
  const BackgroundAsset* set = nullptr;
  SpriteFrame frame;
  FrameTexture texture;
  float ratio_x = 1, ratio_y = 1;
  bool cropped = false;
};

bool tile_set(int32_t index, TileSetView* out) {
  const BackgroundAsset* set = Background_Get(index);
  if (set == nullptr || set->page_entry == nullptr || set->tile_width <= 0 || set->tile_height <= 0 ||
      set->columns <= 0) {
    return false;
  }
  out->set = set;
  const TexturePageEntry e = PageEntry_Read(set->page_entry);
  SpriteFrame& f = out->frame;
  f.entry = set->page_entry;
  f.slot = e.texture;
  f.sx = e.x, f.sy = e.y, f.sw = e.w, f.sh = e.h;
  f.tx = e.x_offset, f.ty = e.y_offset, f.tw = e.crop_width, f.th = e.crop_height;
  f.bw = e.original_width, f.bh = e.original_height;
  out->cropped = e.x_offset != 0 || e.y_offset != 0;
  out->ratio_x = f.bw > 0 ? f.sw / f.bw : 1.0f;
  out->ratio_y = f.bh > 0 ? f.sh / f.bh : 1.0f;
  return Sprite_FrameTexture(f, &out->texture);
}

// The tile a cell shows after the mask and the animation table; 0 for nothing.
uint32_t tile_of(const TileSetView& v, uint32_t cell, int32_t frame) {
  const uint32_t index = cell & kTileIndexBits;
  if (index == 0) return 0;
  return Background_TileFrame(v.set, static_cast<int32_t>(index), frame);
}

void write_tile(VertexTextured* q, const TileSetView& v, uint32_t id, uint32_t cell, float px, float py) {
  const BackgroundAsset& s = *v.set;
  const auto column = static_cast<float>(id % static_cast<uint32_t>(s.columns));
  const auto row = static_cast<float>(id / static_cast<uint32_t>(s.columns));
  const float tw = static_cast<float>(s.tile_width), th = static_cast<float>(s.tile_height);
  const float bx = static_cast<float>(s.border_x), by = static_cast<float>(s.border_y);
  const float tu = v.texture.texelWidth, tv = v.texture.texelHeight;
  float u0 = v.frame.sx * tu + (bx + column * (tw + 2 * bx)) * v.ratio_x * tu;
  float v0 = v.frame.sy * tv + (by + row * (th + 2 * by)) * v.ratio_y * tv;
  float u1 = u0 + tw * v.ratio_x * tu;
  float v1 = v0 + th * v.ratio_y * tv;
  if ((cell & kMirror) != 0) std::swap(u0, u1);
  if ((cell & kFlip) != 0) std::swap(v0, v1);
  // Corner uvs: top left, top right, bottom right, bottom left.
  float us[4] = {u0, u1, u1, u0};
  float vs[4] = {v0, v0, v1, v1};
  if ((cell & kRotate) != 0) {
    const float u_last = us[3], v_last = vs[3];
    for (int i = 3; i > 0; --i) {
      us[i] = us[i - 1];
      vs[i] = vs[i - 1];
    }
    us[0] = u_last;
    vs[0] = v_last;
  }
  const float z = GR_Depth();
  const float xs[4] = {px, px + tw, px + tw, px};
  const float ys[4] = {py, py, py + th, py + th};
  for (int c = 0; c < 4; ++c) q[c] = VertexTextured{us[c], vs[c], kWhite, xs[c], ys[c], z};
}

// A cropped tile set: the tile's part of the set through the clipped quad, turned about the cell's
// centre by its transform bits.
void draw_tile_part(const TileSetView& v, uint32_t id, uint32_t cell, float px, float py) {
  const BackgroundAsset& s = *v.set;
  const float tw = static_cast<float>(s.tile_width), th = static_cast<float>(s.tile_height);
  const float column = static_cast<float>(id % static_cast<uint32_t>(s.columns));
  const float row = static_cast<float>(id / static_cast<uint32_t>(s.columns));
  const float left = static_cast<float>(s.border_x) + column * (tw + 2.0f * static_cast<float>(s.border_x));
  const float top = static_cast<float>(s.border_y) + row * (th + 2.0f * static_cast<float>(s.border_y));
  float xs = (cell & kMirror) != 0 ? -1.0f : 1.0f;
  float ys = (cell & kFlip) != 0 ? -1.0f : 1.0f;
  float radians = 0.0f;
  if ((cell & kRotate) != 0) radians = -1.5707964f;
  // The part's top left, so that the scaled and turned part covers the cell.
  const float cx = px + tw * 0.5f, cy = py + th * 0.5f;
  const float hx = -tw * 0.5f * xs, hy = -th * 0.5f * ys;
  const float c = std::cos(radians), sn = std::sin(radians);
  const float x = cx + c * hx + sn * hy, y = cy - sn * hx + c * hy;
  const uint32_t white[4] = {kWhite, kWhite, kWhite, kWhite};
  Quad_DrawPart(v.texture, v.frame, left, top, tw, th, x, y, xs, ys, radians, white);
}

}  // namespace

void Tilemap_Draw(int32_t tileSet, const uint32_t* cells, int32_t width, int32_t height, uint32_t mask, float frame,
                  float x, float y) {
  TileSetView v;
  if (cells == nullptr || width <= 0 || height <= 0 || !tile_set(tileSet, &v)) return;
  const float tw = static_cast<float>(v.set->tile_width), th = static_cast<float>(v.set->tile_height);
  const CullRect& cull = Cull_Rect();
  const float ox = std::trunc(x), oy = std::trunc(y);
  const int32_t first_x = std::max(0, static_cast<int32_t>((cull.left - ox) / tw));
  const int32_t end_x = std::min(width, static_cast<int32_t>((cull.right - ox + tw) / tw));
  const int32_t first_y = std::max(0, static_cast<int32_t>((cull.top - oy) / th));
  const int32_t end_y = std::min(height, static_cast<int32_t>((cull.bottom - oy + th) / th));
  if (first_x >= end_x || first_y >= end_y) return;
  const auto animation_frame = static_cast<int32_t>(frame);
  const int32_t max_quads = kMaxBatchVerts / 6;
  const int32_t columns = end_x - first_x;
  int32_t remaining = columns * (end_y - first_y);
  VertexTextured* block = nullptr;
  int32_t left_in_block = 0;
  for (int32_t row = first_y; row < end_y; ++row) {
    const uint32_t* line = cells + static_cast<size_t>(row) * width;
    for (int32_t col = first_x; col < end_x; ++col, --remaining) {
      const uint32_t cell = line[col] & mask;
      const uint32_t id = tile_of(v, cell, animation_frame);
      if (id == 0) continue;
      const float px = static_cast<float>(col) * tw + x, py = static_cast<float>(row) * th + y;
      if (v.cropped) {
        draw_tile_part(v, id, cell, px, py);
        continue;
      }
      if (left_in_block == 0) {
        left_in_block = std::min(remaining, max_quads);
        block = static_cast<VertexTextured*>(GR_Alloc_Quads(v.texture.texture, kFormatTextured, left_in_block));
      }
      write_tile(block, v, id, cell, px, py);
      block += 4;
      --left_in_block;
    }
  }
  if (left_in_block > 0) GR_Return_Verts(6 * left_in_block);
}

void Tile_Draw(int32_t tileSet, uint32_t data, int32_t frame, float x, float y) {
  TileSetView v;
  if (!tile_set(tileSet, &v)) return;
  const uint32_t id = tile_of(v, data, frame);
  if (id == 0) return;
  if (v.cropped) {
    draw_tile_part(v, id, data, x, y);
    return;
  }
  auto* q = static_cast<VertexTextured*>(GR_Alloc_Quads(v.texture.texture, kFormatTextured, 1));
  write_tile(q, v, id, data, x, y);
}

void Background_DrawLayer(const BackgroundDraw& b, float roomWidth, float roomHeight) {
  uint32_t colours[4];
  GR_Corner_Colours(b.colour, b.alpha, colours);
  const CSprite* sprite = Sprite_Data(b.sprite);
  if (sprite != nullptr) {
    const SpriteFrame* frame = sprite->Frame(b.imageIndex);
    FrameTexture texture;
    if (frame == nullptr || !Sprite_FrameTexture(*frame, &texture)) return;
    float xs = b.xscale, ys = b.yscale;
    if (b.stretch && sprite->width > 0 && sprite->height > 0) {
      xs = roomWidth / static_cast<float>(sprite->width);
      ys = roomHeight / static_cast<float>(sprite->height);
    }
    Quad_DrawTiled(texture, *frame, 0.0f, 0.0f, b.x, b.y, xs, ys, b.htiled, b.vtiled, colours);
    return;
  }
  // No sprite: the colour fills the view.
  RenderState_Push();
  RenderState_Set(kRSCullMode, 0);
  RenderState_Set(kRSFogEnable, 0);
  Draw_FillViewport(colours[0], 1.0f);
  RenderState_Pop();
}

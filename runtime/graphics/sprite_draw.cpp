// The quad family and the sprite entries that choose a frame, cull and call it.
#include "graphics/sprite_draw.h"

#include <algorithm>
#include <cmath>

#include "core/console.h"
#include "graphics/batcher.h"
#include "graphics/cull.h"
#include "graphics/draw.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"

namespace {

constexpr float kNoRotation = 0.001f;
constexpr float kDegreesToRadians = 0.017453292f;

bool g_corner_ids = false;
SpriteInstanceReader g_instance_reader = nullptr;

struct Uv {
  float u0, v0, u1, v1;
};

Uv frame_uv(const FrameTexture& t, const SpriteFrame& f) {
  return Uv{f.sx * t.texelWidth, f.sy * t.texelHeight, (f.sx + f.sw) * t.texelWidth, (f.sy + f.sh) * t.texelHeight};
}

// The four corners (top left, top right, bottom right, bottom left) with their uv and colours; the
// batcher draws them as the triangles 0 1 2 and 2 3 0.
void write_quad(VertexTextured* v, const float px[4], const float py[4], const Uv& uv, const uint32_t c[4]) {
  const float z = GR_Depth();
  v[0] = VertexTextured{uv.u0, uv.v0, c[0], px[0], py[0], z};
  v[1] = VertexTextured{uv.u1, uv.v0, c[1], px[1], py[1], z};
  v[2] = VertexTextured{uv.u1, uv.v1, c[2], px[2], py[2], z};
  v[3] = VertexTextured{uv.u0, uv.v1, c[3], px[3], py[3], z};
}

VertexTextured* alloc_quads(const FrameTexture& t, int32_t quads) {
  return static_cast<VertexTextured*>(GR_Alloc_Quads(t.texture, kFormatTextured, quads));
}

// The corners of the rectangle (left, top)-(right, bottom) about (x, y), turned by radians.
void place_corners(float left, float top, float right, float bottom, float x, float y, float radians, float px[4],
                   float py[4]) {
  if (std::fabs(radians) < kNoRotation) {
    px[0] = x + left, py[0] = y + top;
    px[1] = x + right, py[1] = y + top;
    px[2] = x + right, py[2] = y + bottom;
    px[3] = x + left, py[3] = y + bottom;
    return;
  }
  const float c = std::cos(radians), s = std::sin(radians);
  const float lx[4] = {left, right, right, left};
  const float ly[4] = {top, top, bottom, bottom};
  for (int i = 0; i < 4; ++i) {
    px[i] = c * lx[i] + s * ly[i] + x;
    py[i] = y - s * lx[i] + c * ly[i];
  }
}

// The general quad's corners (step 2 and 3 of the rule), with a zero target side made 1.
void general_corners(const SpriteFrame& f, float xo, float yo, float x, float y, float xs, float ys, float radians,
                     float px[4], float py[4]) {
  const float tw = f.tw != 0.0f ? f.tw : 1.0f;
  const float th = f.th != 0.0f ? f.th : 1.0f;
  const float left = (xo - f.tx) * -xs;
  const float top = (yo - f.ty) * -ys;
  place_corners(left, top, tw * xs + left, th * ys + top, x, y, radians, px, py);
}

void same_colour(uint32_t colour, uint32_t out[4]) { out[0] = out[1] = out[2] = out[3] = colour; }

}  // namespace

void GR_Corner_Colours(uint32_t colour, float alpha, uint32_t out[4]) {
  const int32_t a = std::clamp(static_cast<int32_t>(alpha * 255.0f), 0, 255);
  same_colour((colour & 0xFFFFFFu) | (static_cast<uint32_t>(a) << 24), out);
  if (!g_corner_ids) return;
  constexpr uint32_t kRedBit = 0x1, kBlueBit = 0x10000;
  out[0] &= ~(kRedBit | kBlueBit);
  out[1] = (out[1] & ~kBlueBit) | kRedBit;
  out[2] = (out[2] & ~kRedBit) | kBlueBit;
  out[3] |= kRedBit | kBlueBit;
}

void GR_SetCornerIds(bool on) { g_corner_ids = on; }
bool GR_CornerIds() { return g_corner_ids; }

void Quad_DrawExt(const FrameTexture& t, const SpriteFrame& f, float xo, float yo, float x, float y, float xs,
                  float ys, float radians, const uint32_t colours[4]) {
  float px[4], py[4];
  general_corners(f, xo, yo, x, y, xs, ys, radians, px, py);
  write_quad(alloc_quads(t, 1), px, py, frame_uv(t, f), colours);
}

void Quad_DrawSimple(const FrameTexture& t, const SpriteFrame& f, float xo, float yo, float x, float y,
                     uint32_t colour) {
  const float left = x - xo + f.tx, top = y - yo + f.ty;
  const float px[4] = {left, left + f.tw, left + f.tw, left};
  const float py[4] = {top, top, top + f.th, top + f.th};
  uint32_t c[4];
  same_colour(colour, c);
  write_quad(alloc_quads(t, 1), px, py, frame_uv(t, f), c);
}

void Quad_DrawPart(const FrameTexture& t, const SpriteFrame& f, float left, float top, float w, float h, float x,
                   float y, float xs, float ys, float radians, const uint32_t colours[4]) {
  const float s = std::sin(radians), c = std::cos(radians);
  float page_left = left - f.tx;
  if (f.tx > left) {
    const float cut = f.tx - left;
    w -= cut;
    x += cut * c * xs;
    y -= cut * s * ys;
    page_left = 0.0f;
  }
  float page_top = top - f.ty;
  if (f.ty > top) {
    const float cut = f.ty - top;
    h -= cut;
    x += cut * s * xs;
    y += cut * c * ys;
    page_top = 0.0f;
  }
  w = std::min(w, f.tw - page_left);
  h = std::min(h, f.th - page_top);
  if (w <= 0.0f || h <= 0.0f) return;
  float px[4], py[4];
  place_corners(0.0f, 0.0f, w * xs, h * ys, x, y, radians, px, py);
  const float ratio_x = f.tw != 0.0f ? f.sw / f.tw : 1.0f;
  const float ratio_y = f.th != 0.0f ? f.sh / f.th : 1.0f;
  const float su = f.sx + page_left * ratio_x, sv = f.sy + page_top * ratio_y;
  const Uv uv{su * t.texelWidth, sv * t.texelHeight, (su + ratio_x * w) * t.texelWidth, (sv + ratio_y * h) * t.texelHeight};
  write_quad(alloc_quads(t, 1), px, py, uv, colours);
}

void Quad_DrawPos(const FrameTexture& t, const SpriteFrame& f, const float xs[4], const float ys[4], uint32_t colour) {
  uint32_t c[4];
  same_colour(colour, c);
  write_quad(alloc_quads(t, 1), xs, ys, frame_uv(t, f), c);
}

bool Quad_DrawTiled(const FrameTexture& t, const SpriteFrame& f, float xo, float yo, float x, float y, float xs,
                    float ys, bool htiled, bool vtiled, const uint32_t colours[4]) {
  if (std::fabs(xs) < 0.0001f || std::fabs(ys) < 0.0001f) return false;
  const float step_x = f.bw * std::fabs(xs), step_y = f.bh * std::fabs(ys);
  if (Cull_Perspective() || (!htiled && !vtiled) || step_x <= 0.0f || step_y <= 0.0f) {
    Quad_DrawExt(t, f, xo, yo, x, y, xs, ys, 0.0f, colours);
    return true;
  }
  const CullRect& view = Cull_Rect();
  const float view_w = view.right - view.left, view_h = view.bottom - view.top;
  int32_t columns = 1, rows = 1;
  float start_x = x, start_y = y;
  if (htiled) {
    columns = static_cast<int32_t>((view_w + step_x - 1.0f) / step_x) + 2;
    start_x = std::fmod(x - view.left, step_x) + view.left - step_x;
  }
  if (vtiled) {
    rows = static_cast<int32_t>((view_h + step_y - 1.0f) / step_y) + 2;
    start_y = std::fmod(y - view.top, step_y) + view.top - step_y;
  }
  if (columns <= 0 || rows <= 0) return true;
  const Uv uv = frame_uv(t, f);
  // Large fills go in blocks that the batcher can hold.
  const int32_t max_quads = kMaxBatchVerts / 6;
  int32_t left_in_block = 0;
  VertexTextured* v = nullptr;
  int32_t remaining = columns * rows;
  for (int32_t i = 0; i < columns; ++i) {
    for (int32_t j = 0; j < rows; ++j) {
      if (left_in_block == 0) {
        left_in_block = std::min(remaining, max_quads);
        v = alloc_quads(t, left_in_block);
      }
      float px[4], py[4];
      general_corners(f, xo, yo, start_x + static_cast<float>(i) * step_x, start_y + static_cast<float>(j) * step_y,
                      xs, ys, 0.0f, px, py);
      write_quad(v, px, py, uv, colours);
      v += 4;
      --left_in_block;
      --remaining;
    }
  }
  return true;
}

// ---- Sprites -------------------------------------------------------------------------------------

bool Sprite_FrameTexture(const SpriteFrame& frame, FrameTexture* out) {
  TextureSlot* slot = Texture_Slot(frame.slot);
  if (slot == nullptr) return false;
  if (!Texture_SlotReady(slot)) {
    slot = Texture_Get(frame.slot, true, false, false, true);
    if (slot == nullptr || slot->texture == nullptr) return false;
  }
  out->texture = slot->texture;
  out->texelWidth = slot->texelWidth;
  out->texelHeight = slot->texelHeight;
  return true;
}

bool Sprite_DrawExt(const CSprite& sprite, float subimage, float x, float y, float xs, float ys, float degrees,
                    const uint32_t colours[4]) {
  const SpriteFrame* frame = sprite.Frame(subimage);
  if (frame == nullptr) return true;
  const float r = static_cast<float>(sprite.cullRadius) * std::max(std::fabs(xs), std::fabs(ys));
  if (Cull_Outside(x, y, r)) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  Quad_DrawExt(t, *frame, static_cast<float>(sprite.xOrigin), static_cast<float>(sprite.yOrigin), x, y, xs, ys,
               degrees * kDegreesToRadians, colours);
  return true;
}

bool CSprite::Draw(float subimage, float x, float y, float xscale, float yscale, float angle, uint32_t colour,
                   float alpha) const {
  uint32_t c[4];
  GR_Corner_Colours(colour, alpha, c);
  return Sprite_DrawExt(*this, subimage, x, y, xscale, yscale, angle, c);
}

bool CSprite::DrawSimple(float subimage, float x, float y) const {
  const SpriteFrame* frame = Frame(subimage);
  if (frame == nullptr || Cull_Outside(x, y, static_cast<float>(cullRadius))) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  Quad_DrawSimple(t, *frame, static_cast<float>(xOrigin), static_cast<float>(yOrigin), x, y,
                  Draw_WithAlpha(0xFFFFFF));
  return true;
}

bool Sprite_DrawPart(const CSprite& sprite, float subimage, float left, float top, float w, float h, float x,
                     float y, float xs, float ys, float degrees, const uint32_t colours[4]) {
  const SpriteFrame* frame = sprite.Frame(subimage);
  if (frame == nullptr) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  Quad_DrawPart(t, *frame, left, top, w, h, x, y, xs, ys, degrees * kDegreesToRadians, colours);
  return true;
}

bool Sprite_DrawPos(const CSprite& sprite, float subimage, const float xs[4], const float ys[4], float alpha) {
  const SpriteFrame* frame = sprite.Frame(subimage);
  if (frame == nullptr) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  uint32_t c[4];
  GR_Corner_Colours(0xFFFFFF, alpha, c);
  Quad_DrawPos(t, *frame, xs, ys, c[0]);
  return true;
}

bool Sprite_DrawTiled(const CSprite& sprite, float subimage, float x, float y, float xs, float ys, bool htiled,
                      bool vtiled, const uint32_t colours[4]) {
  const SpriteFrame* frame = sprite.Frame(subimage);
  if (frame == nullptr) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  Quad_DrawTiled(t, *frame, static_cast<float>(sprite.xOrigin), static_cast<float>(sprite.yOrigin), x, y, xs, ys,
                 htiled, vtiled, colours);
  return true;
}

bool Sprite_DrawStretched(const CSprite& sprite, float subimage, float x, float y, float w, float h,
                          const uint32_t colours[4]) {
  if (sprite.nineSlice != nullptr && sprite.nineSlice->enabled) {
    return Sprite_DrawNineSlice(sprite, subimage, x, y, w, h, colours);
  }
  const SpriteFrame* frame = sprite.Frame(subimage);
  if (frame == nullptr || sprite.width == 0 || sprite.height == 0) return true;
  FrameTexture t;
  if (!Sprite_FrameTexture(*frame, &t)) return false;
  const float xs = w / static_cast<float>(sprite.width), ys = h / static_cast<float>(sprite.height);
  const float xo = static_cast<float>(sprite.xOrigin), yo = static_cast<float>(sprite.yOrigin);
  Quad_DrawExt(t, *frame, xo, yo, x + xo * xs, y + yo * ys, xs, ys, 0.0f, colours);
  return true;
}

void Sprite_DrawInstance(const SpriteInstanceState& state) {
  const CSprite* sprite = Sprite_Data(state.sprite);
  if (sprite == nullptr) return;
  bool drawn = true;
  if (state.plain) {
    const SpriteFrame* frame = sprite->Frame(state.imageIndex);
    if (frame == nullptr || Cull_Outside(state.x, state.y, static_cast<float>(sprite->cullRadius))) return;
    FrameTexture t;
    drawn = Sprite_FrameTexture(*frame, &t);
    if (drawn) {
      Quad_DrawSimple(t, *frame, static_cast<float>(sprite->xOrigin), static_cast<float>(sprite->yOrigin), state.x,
                      state.y, 0xFFFFFFFFu);
    }
  } else {
    drawn = sprite->Draw(state.imageIndex, state.x, state.y, state.xscale, state.yscale, state.angle, state.blend,
                         state.alpha);
  }
  if (!drawn) g_ReleaseConsole->Output("Error attempting to draw sprite %s\n", sprite->name.c_str());
}

void Sprite_SetInstanceReader(SpriteInstanceReader reader) { g_instance_reader = reader; }

bool Sprite_ReadInstance(CInstance* self, SpriteInstanceState* out) {
  return self != nullptr && g_instance_reader != nullptr && g_instance_reader(self, out);
}

#pragma once
// The quad family: a frame (a rectangle on a texture, placed inside its box) becomes vertices for
// the batcher. Sprites, tiles, backgrounds and surfaces all draw through these, six vertices of
// layout 24 a quad (triangle list: top left, top right, bottom right, bottom right, bottom left,
// top left), at the current GR_Depth, so quads of one page and state join one batch.
//
// Geometry comes from the frame's target rectangle, uv from its source rectangle and the texture's
// texel size. Angles here are radians, positive turning counter-clockwise on the screen (y down).
// Colours are full words: RGB with the alpha in the top byte, red in the lowest byte.
#include <cstdint>

#include "graphics/sprite.h"

class CInstance;

// The four corner colours of a quad (top left, top right, bottom right, bottom left) from an RGB
// colour and an alpha of 0 to 1; with corner ids on, the lowest bits of red and blue carry the
// corner's number.
void GR_Corner_Colours(uint32_t colour, float alpha, uint32_t out[4]);
void GR_SetCornerIds(bool on);
bool GR_CornerIds();

// The general quad: origin (xo, yo) of the frame's box at (x, y), scaled, turned about (x, y).
// A target width or height of 0 counts as 1. Rotations below 0.001 radians take the straight path.
void Quad_DrawExt(const FrameTexture& texture, const SpriteFrame& frame, float xo, float yo, float x, float y,
                  float xs, float ys, float radians, const uint32_t colours[4]);
// Scale 1, no rotation: the target rectangle at (x - xo + tx, y - yo + ty), one colour.
void Quad_DrawSimple(const FrameTexture& texture, const SpriteFrame& frame, float xo, float yo, float x, float y,
                     uint32_t colour);
// The part (left, top, w, h) of the frame's box, its top left at (x, y), scaled and turned about
// (x, y). A part that lies wholly in the trimmed margin draws nothing.
void Quad_DrawPart(const FrameTexture& texture, const SpriteFrame& frame, float left, float top, float w, float h,
                   float x, float y, float xs, float ys, float radians, const uint32_t colours[4]);
// Four free corners (top left, top right, bottom right, bottom left), one colour.
void Quad_DrawPos(const FrameTexture& texture, const SpriteFrame& frame, const float xs[4], const float ys[4],
                  uint32_t colour);
// Repeats the frame from (x, y) at its scaled box size over the cull state's view, horizontally
// and/or vertically, plus one cell before the start; with neither (or under a perspective camera)
// one general quad. False when a scale is below 0.0001 (nothing drawn).
bool Quad_DrawTiled(const FrameTexture& texture, const SpriteFrame& frame, float xo, float yo, float x, float y,
                    float xs, float ys, bool htiled, bool vtiled, const uint32_t colours[4]);

// The sprite entries with the sprite's frame rule and culling; false when the frame's texture
// can't be had (nothing drawn), true otherwise (drawn, culled, or nothing to draw).
bool Sprite_DrawExt(const CSprite& sprite, float subimage, float x, float y, float xs, float ys, float degrees,
                    const uint32_t colours[4]);
bool Sprite_DrawPart(const CSprite& sprite, float subimage, float left, float top, float w, float h, float x,
                     float y, float xs, float ys, float degrees, const uint32_t colours[4]);
bool Sprite_DrawPos(const CSprite& sprite, float subimage, const float xs[4], const float ys[4], float alpha);
bool Sprite_DrawTiled(const CSprite& sprite, float subimage, float x, float y, float xs, float ys, bool htiled,
                      bool vtiled, const uint32_t colours[4]);
// Stretched to w x h with its box's top left at (x, y); a nine-slice sprite goes to its slices.
bool Sprite_DrawStretched(const CSprite& sprite, float subimage, float x, float y, float w, float h,
                          const uint32_t colours[4]);
// The nine slices of a sprite with nine-slice data, over w x h at (x, y) (nineslice.cpp).
bool Sprite_DrawNineSlice(const CSprite& sprite, float subimage, float x, float y, float w, float h,
                          const uint32_t colours[4]);

// What drawing reads of an instance (draw_self and an instance's default draw).
struct SpriteInstanceState {
  int32_t sprite = -1;
  float imageIndex = 0;
  float x = 0, y = 0;
  float xscale = 1, yscale = 1;
  float angle = 0;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1;
  bool plain = false;  // flag 0x4000: scale 1, no rotation, white, alpha 1
};
// The default draw of an instance with a sprite: culled by its position; a missing frame texture
// prints its error line.
void Sprite_DrawInstance(const SpriteInstanceState& state);

// The calling instance's state for draw_self and for subimages below 0; installed by the world.
// Without it (or for a self that is no instance) there is no instance.
using SpriteInstanceReader = bool (*)(CInstance* self, SpriteInstanceState* out);
void Sprite_SetInstanceReader(SpriteInstanceReader reader);
bool Sprite_ReadInstance(CInstance* self, SpriteInstanceState* out);

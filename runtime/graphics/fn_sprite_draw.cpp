// The draw_sprite family and draw_self: argument reading, the sprite's checks and the error lines;
// the quads come from sprite_draw.cpp.
#include <cmath>
#include <iterator>

#include "core/console.h"
#include "core/error.h"
#include "graphics/draw.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/sprite_draw.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgColour;
using gfx_fn::ArgInt;

#define KV_BUILTIN(name) \
  void name(RValue* result, CInstance* self, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)
#define A(n) static_cast<float>(Arg(argc, argv, n))

constexpr int32_t kKindSkeleton = 2;

// The sprite of argument 0: an id outside the table raises, an empty slot prints its line.
const CSprite* sprite_arg(int argc, RValue* argv) {
  const int32_t id = ArgInt(argc, argv, 0);
  if (id < 0 || id >= Sprite_TableCount()) {
    KVError("Trying to draw non-existing sprite.");
    return nullptr;
  }
  const CSprite* sprite = Sprite_Data(id);
  if (sprite == nullptr) g_ReleaseConsole->Output("Unable to render sprite %d\n", id);
  return sprite;
}

// A subimage below 0 is the calling instance's image index.
float subimage_arg(CInstance* self, int argc, RValue* argv, int n) {
  const float subimage = A(n);
  if (subimage >= 0.0f) return subimage;
  SpriteInstanceState state;
  return Sprite_ReadInstance(self, &state) ? state.imageIndex : 0.0f;
}

bool refuse_nine_slice(const CSprite& sprite) {
  if (sprite.nineSlice == nullptr || !sprite.nineSlice->enabled) return false;
  KVError("This function can't be used to draw sprites that have nine-slice drawing enabled");
  return true;
}

bool refuse_skeleton(const CSprite& sprite, const char* name) {
  if (sprite.kind != kKindSkeleton) return false;
  KVError("%s: not supported for skeleton based sprites", name);
  return true;
}

void failed(const CSprite& sprite, int variant) {
  if (variant == 0) {
    g_ReleaseConsole->Output("Error attempting to draw sprite %s\n", sprite.name.c_str());
  } else {
    g_ReleaseConsole->Output("Error attempting to draw sprite (%d) %s\n", variant, sprite.name.c_str());
  }
}

void colours(uint32_t colour, float alpha, uint32_t out[4]) { GR_Corner_Colours(colour, alpha, out); }
float draw_alpha() { return static_cast<float>(Draw_GetAlpha()); }

KV_BUILTIN(F_DrawSelf) {
  *result = RV_Undefined();
  SpriteInstanceState s;
  const CSprite* sprite = Sprite_ReadInstance(self, &s) ? Sprite_Data(s.sprite) : nullptr;
  if (sprite == nullptr) {
    KVError("Trying to draw non-existing sprite.");
    return;
  }
  if (!sprite->Draw(s.imageIndex, s.x, s.y, s.xscale, s.yscale, s.angle, s.blend, s.alpha)) failed(*sprite, 0);
}

KV_BUILTIN(F_DrawSprite) {
  *result = RV_Undefined();
  const CSprite* sprite = sprite_arg(argc, argv);
  if (sprite != nullptr && !sprite->DrawSimple(subimage_arg(self, argc, argv, 1), A(2), A(3))) failed(*sprite, 1);
}

KV_BUILTIN(F_DrawSpriteExt) {
  *result = RV_Undefined();
  const CSprite* sprite = sprite_arg(argc, argv);
  if (sprite == nullptr) return;
  if (!sprite->Draw(subimage_arg(self, argc, argv, 1), A(2), A(3), A(4), A(5), A(6), ArgColour(argc, argv, 7), A(8))) {
    failed(*sprite, 0);
  }
}

void stretched(CInstance* self, int argc, RValue* argv, uint32_t colour, float alpha, const char* name) {
  const CSprite* sprite = sprite_arg(argc, argv);
  if (sprite == nullptr || refuse_skeleton(*sprite, name)) return;
  uint32_t c[4];
  colours(colour, alpha, c);
  if (!Sprite_DrawStretched(*sprite, subimage_arg(self, argc, argv, 1), A(2), A(3), A(4), A(5), c)) {
    failed(*sprite, 3);
  }
}

KV_BUILTIN(F_DrawSpriteStretched) {
  *result = RV_Undefined();
  stretched(self, argc, argv, 0xFFFFFF, draw_alpha(), "draw_sprite_stretched");
}

KV_BUILTIN(F_DrawSpriteStretchedExt) {
  *result = RV_Undefined();
  stretched(self, argc, argv, ArgColour(argc, argv, 6), A(7), "draw_sprite_stretched");
}

void part(CInstance* self, int argc, RValue* argv, float xs, float ys, float degrees, const uint32_t c[4]) {
  const CSprite* sprite = sprite_arg(argc, argv);
  if (sprite == nullptr || refuse_nine_slice(*sprite)) return;
  if (!Sprite_DrawPart(*sprite, subimage_arg(self, argc, argv, 1), A(2), A(3), A(4), A(5), A(6), A(7), xs, ys,
                       degrees, c)) {
    failed(*sprite, 5);
  }
}

KV_BUILTIN(F_DrawSpritePart) {
  *result = RV_Undefined();
  uint32_t c[4];
  colours(0xFFFFFF, draw_alpha(), c);
  part(self, argc, argv, 1.0f, 1.0f, 0.0f, c);
}

KV_BUILTIN(F_DrawSpritePartExt) {
  *result = RV_Undefined();
  uint32_t c[4];
  colours(ArgColour(argc, argv, 10), A(11), c);
  part(self, argc, argv, A(8), A(9), 0.0f, c);
}

KV_BUILTIN(F_DrawSpriteGeneral) {
  *result = RV_Undefined();
  uint32_t c[4];
  const float alpha = A(15);
  for (int i = 0; i < 4; ++i) {
    uint32_t one[4];
    colours(ArgColour(argc, argv, 11 + i), alpha, one);
    c[i] = one[i];
  }
  part(self, argc, argv, A(8), A(9), A(10), c);
}

KV_BUILTIN(F_DrawSpritePos) {
  *result = RV_Undefined();
  const CSprite* sprite = sprite_arg(argc, argv);
  if (sprite == nullptr || refuse_nine_slice(*sprite)) return;
  const float xs[4] = {A(2), A(4), A(6), A(8)};
  const float ys[4] = {A(3), A(5), A(7), A(9)};
  if (!Sprite_DrawPos(*sprite, subimage_arg(self, argc, argv, 1), xs, ys, A(10))) failed(*sprite, 7);
}

void tiled(CInstance* self, int argc, RValue* argv, float xs, float ys, uint32_t colour, float alpha) {
  const CSprite* sprite = sprite_arg(argc, argv);
  if (sprite == nullptr || refuse_skeleton(*sprite, "draw_sprite_tiled")) return;
  uint32_t c[4];
  colours(colour, alpha, c);
  if (!Sprite_DrawTiled(*sprite, subimage_arg(self, argc, argv, 1), A(2), A(3), xs, ys, true, true, c)) {
    failed(*sprite, 9);
  }
}

KV_BUILTIN(F_DrawSpriteTiled) {
  *result = RV_Undefined();
  tiled(self, argc, argv, 1.0f, 1.0f, 0xFFFFFF, draw_alpha());
}

KV_BUILTIN(F_DrawSpriteTiledExt) {
  *result = RV_Undefined();
  tiled(self, argc, argv, A(4), A(5), ArgColour(argc, argv, 6), A(7));
}

#undef A
#undef KV_BUILTIN

const BuiltinRow kRows[] = {
    {"draw_self", F_DrawSelf, 0},
    {"draw_sprite", F_DrawSprite, 4},
    {"draw_sprite_pos", F_DrawSpritePos, 11},
    {"draw_sprite_ext", F_DrawSpriteExt, 9},
    {"draw_sprite_stretched", F_DrawSpriteStretched, 6},
    {"draw_sprite_stretched_ext", F_DrawSpriteStretchedExt, 8},
    {"draw_sprite_part", F_DrawSpritePart, 8},
    {"draw_sprite_part_ext", F_DrawSpritePartExt, 12},
    {"draw_sprite_general", F_DrawSpriteGeneral, 16},
    {"draw_sprite_tiled", F_DrawSpriteTiled, 4},
    {"draw_sprite_tiled_ext", F_DrawSpriteTiledExt, 8},
};

}  // namespace

void SpriteDraw_RegisterBuiltins() { Graphics_AddRows(kRows, static_cast<int>(std::size(kRows))); }

// Sprite fonts: a font whose glyphs are the frames of a sprite, one character a frame, and the
// builtins that make and replace them (font_add_sprite, font_add_sprite_ext, font_replace_sprite,
// font_replace_sprite_ext).
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "core/error.h"
#include "core/function_table.h"
#include "core/utf8.h"
#include "graphics/fn_support.h"
#include "graphics/font.h"
#include "graphics/sprite.h"

namespace {

using gfx_fn::ArgBool;
using gfx_fn::ArgInt;
using gfx_fn::ArgString;

constexpr uint32_t kSpace = 32;

// The left and right edges of frame i's pixels in the sprite's box: the page entry's crop, or for a
// run-time frame the tight box of its pixels (nothing for a frame with no visible pixel).
void frame_edges(const CSprite& sprite, size_t i, float* left, float* right) {
  const SpriteFrame& frame = sprite.frames[i];
  if (frame.entry != nullptr || i >= sprite.frameBitmaps.size()) {
    *left = frame.tx;
    *right = frame.tx + frame.tw;
    return;
  }
  const SpriteBitmap& bitmap = sprite.frameBitmaps[i];
  int32_t low = bitmap.width, high = -1;
  for (int32_t y = 0; y < bitmap.height; ++y) {
    const uint8_t* row = bitmap.pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(bitmap.width) * 4;
    for (int32_t x = 0; x < bitmap.width; ++x) {
      if (row[x * 4 + 3] == 0) continue;
      low = std::min(low, x);
      high = std::max(high, x);
    }
  }
  *left = high < low ? 0.0f : static_cast<float>(low);
  *right = high < low ? 0.0f : static_cast<float>(high + 1);
}

std::vector<uint32_t> first_on(int32_t first, size_t count) {
  std::vector<uint32_t> map(count);
  for (size_t i = 0; i < count; ++i) map[i] = static_cast<uint32_t>(first + static_cast<int32_t>(i));
  return map;
}

std::vector<uint32_t> decoded(std::string_view text) {
  std::vector<uint32_t> map;
  for (size_t at = 0; at < text.size();) {
    size_t size = 0;
    map.push_back(utf8_decode(text, at, &size));
    at += std::max<size_t>(size, 1);
  }
  return map;
}

size_t frame_count(int32_t sprite) {
  const CSprite* s = Sprite_Data(sprite);
  return s != nullptr ? s->frames.size() : 0;
}

void add_sprite_font(RValue* result, int32_t sprite, const std::vector<uint32_t>& map, bool prop, int32_t sep) {
  *result = RV_Real(-1);
  if (!Sprite_Exists(sprite)) {
    KVError("Trying to create font from non-existing sprite.");
    return;
  }
  std::unique_ptr<TextFont> font = Font_FromSprite(sprite, map, prop, sep);
  if (font->valid) *result = RV_Real(Font_AddRuntime(std::move(font)));
}

void replace_sprite_font(RValue* result, int32_t id, int32_t sprite, const std::vector<uint32_t>& map, bool prop,
                         int32_t sep) {
  *result = RV_Real(0);
  if (!Font_Valid(id)) {
    KVError("Trying to replace non-existing font.");
    return;
  }
  if (!Sprite_Exists(sprite)) {
    KVError("Trying to replace font from non-existing sprite.");
    return;
  }
  std::unique_ptr<TextFont> font = Font_FromSprite(sprite, map, prop, sep);
  if (font->valid && Font_Replace(id, std::move(font))) *result = RV_Real(1);
}

// font_add_sprite(sprite, first, prop, sep)
void F_FontAddSprite(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int32_t sprite = ArgInt(argc, argv, 0);
  add_sprite_font(result, sprite, first_on(ArgInt(argc, argv, 1), frame_count(sprite)), ArgBool(argc, argv, 2),
                  ArgInt(argc, argv, 3));
}

// font_add_sprite_ext(sprite, string map, prop, sep)
void F_FontAddSpriteExt(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  add_sprite_font(result, ArgInt(argc, argv, 0), decoded(ArgString(argc, argv, 1)), ArgBool(argc, argv, 2),
                  ArgInt(argc, argv, 3));
}

// font_replace_sprite(font, sprite, first, prop, sep)
void F_FontReplaceSprite(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  const int32_t sprite = ArgInt(argc, argv, 1);
  replace_sprite_font(result, ArgInt(argc, argv, 0), sprite, first_on(ArgInt(argc, argv, 2), frame_count(sprite)),
                      ArgBool(argc, argv, 3), ArgInt(argc, argv, 4));
}

// font_replace_sprite_ext(font, sprite, string map, prop, sep)
void F_FontReplaceSpriteExt(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  replace_sprite_font(result, ArgInt(argc, argv, 0), ArgInt(argc, argv, 1), decoded(ArgString(argc, argv, 2)),
                      ArgBool(argc, argv, 3), ArgInt(argc, argv, 4));
}

}  // namespace

std::unique_ptr<TextFont> Font_FromSprite(int32_t sprite_id, const std::vector<uint32_t>& map, bool prop, int32_t sep) {
  auto font = std::make_unique<TextFont>();
  const CSprite* sprite = Sprite_Data(sprite_id);
  if (sprite == nullptr || sprite->frames.empty()) {
    font->valid = false;
    return font;
  }
  font->fontName = sprite->name;
  font->spriteIndex = sprite_id;
  const size_t count = std::min(map.size(), sprite->frames.size());
  std::vector<uint32_t> codes(map.begin(), map.begin() + static_cast<std::ptrdiff_t>(count));
  const bool added_space = std::find(codes.begin(), codes.end(), kSpace) == codes.end();
  if (added_space) codes.push_back(kSpace);
  int32_t widest = -999;
  for (size_t i = 0; i < codes.size(); ++i) {
    float left = 0.0f, right = static_cast<float>(sprite->width);
    if (i < count && prop) frame_edges(*sprite, i, &left, &right);
    FontGlyph g;
    g.character = static_cast<uint16_t>(codes[i]);
    g.w = static_cast<int16_t>(i);  // the frame
    g.h = static_cast<int16_t>(sprite->height);
    g.shift = static_cast<int16_t>(static_cast<int32_t>(right - left + static_cast<float>(sep)));
    g.offset = static_cast<int16_t>(static_cast<int32_t>(-left));
    font->maxHeight = std::max(font->maxHeight, static_cast<int32_t>(g.h));
    if (codes[i] != kSpace) widest = std::max(widest, static_cast<int32_t>(g.shift));
    font->glyphs.push_back(g);
  }
  if (added_space) font->glyphs.back().shift = static_cast<int16_t>(widest);
  std::stable_sort(font->glyphs.begin(), font->glyphs.end(),
                   [](const FontGlyph& a, const FontGlyph& b) { return a.character < b.character; });
  font->first = font->glyphs.front().character;
  font->last = font->first + static_cast<int32_t>(font->glyphs.size());
  return font;
}

void Font_RegisterSpriteBuiltins() {
  static const struct {
    const char* name;
    TSL_Builtin handler;
    int argc;
  } kRows[] = {
      {"font_add_sprite", F_FontAddSprite, 4},
      {"font_add_sprite_ext", F_FontAddSpriteExt, 4},
      {"font_replace_sprite", F_FontReplaceSprite, 5},
      {"font_replace_sprite_ext", F_FontReplaceSpriteExt, 5},
  };
  for (const auto& row : kRows) {
    int32_t id = 0;
    if (!Function_Find(row.name, &id)) Function_Add(row.name, row.handler, row.argc, 0);
  }
}

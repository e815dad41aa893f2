// Fonts baked by the text library through the game's bake shaders on the OpenGL device: the baked
// sprite's pixels hold each glyph inside a ring of the outline colour, and the new font's rows
// cover the padded cells.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/script_api.h"
#include "graphics/texture_table.h"
#include "game_gl_start.h"
#include "support/builtin_call.h"
#include "text/scribble.h"

namespace {

using tsl::Value;

// Glyph columns as scripts name them.
constexpr double kXOffset = 3, kWidth = 5, kHeight = 6, kSeparation = 8, kTexture = 11, kU0 = 12, kU1 = 13, kV0 = 14,
                 kV1 = 15;

class TextBakeTest : public GameGlTest {
 protected:
  double glyph(const char* font, const char* character, double column) {
    return call(tsl_Script_scribble_glyph_get, {*Value::String(font), *Value::String(character), RV_Real(column)})
        .real();
  }
  static Value str(const char* text) { return Value::String(text); }
};

// Each outline bake grows the cells by its padding and rings the glyph out to it: the round bake of
// thickness 3 reaches at least two pixels beyond the glyph's own rectangle.
TEST_F(TextBakeTest, OutlineBakesRingEachGlyphInTheOutlineColour) {
  const Value regular = Value::String("fnt_regular"), outlined = Value::String("fnt_outlined");
  struct Case {
    KVScriptFunction script;
    std::vector<RValue> args;
    int32_t padding;
  };
  const Case cases[] = {
      {tsl_Script_scribble_font_bake_outline_4dir,
       {*regular, *outlined, RV_Real(0x0000FF), RV_Bool(false), RV_Real(256)}, 1},
      {tsl_Script_scribble_font_bake_outline,
       {*regular, *outlined, RV_Real(3), RV_Real(0x0000FF), RV_Bool(false), RV_Real(256)}, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.padding);
    Start_Frame();
    call(c.script, c.args);
    Device_EndFrame(false);
    const int32_t pad = c.padding;
    EXPECT_EQ(glyph("fnt_outlined", "A", kWidth), glyph("fnt_regular", "A", kWidth) + 2 * pad);
    EXPECT_EQ(glyph("fnt_outlined", "A", kHeight), glyph("fnt_regular", "A", kHeight) + 2 * pad);
    EXPECT_EQ(glyph("fnt_outlined", "A", kXOffset), glyph("fnt_regular", "A", kXOffset) - pad);
    EXPECT_EQ(glyph("fnt_outlined", "A", kSeparation), glyph("fnt_regular", "A", kSeparation) + 2 * pad);
    EXPECT_EQ(glyph("fnt_outlined", " ", kSeparation), glyph("fnt_regular", " ", kSeparation) + 2 * pad);

    // The baked sprite's texture: a run-time texture with the surface's pixels.
    const auto handle = static_cast<int64_t>(glyph("fnt_outlined", "A", kTexture));
    ASSERT_NE(handle, static_cast<int64_t>(glyph("fnt_regular", "A", kTexture)));
    const TextureSlot* slot = Texture_Slot(Texture_SlotOfHandle(handle));
    ASSERT_NE(slot, nullptr);
    ASSERT_NE(slot->texture, nullptr);
    const Texture& t = *slot->texture;
    ASSERT_FALSE(t.pixels.empty());
    const auto* pixels = reinterpret_cast<const uint32_t*>(t.pixels.data());
    const auto x0 = static_cast<int32_t>(std::lround(glyph("fnt_outlined", "A", kU0) * t.width));
    const auto x1 = static_cast<int32_t>(std::lround(glyph("fnt_outlined", "A", kU1) * t.width));
    const auto y0 = static_cast<int32_t>(std::lround(glyph("fnt_outlined", "A", kV0) * t.height));
    const auto y1 = static_cast<int32_t>(std::lround(glyph("fnt_outlined", "A", kV1) * t.height));
    ASSERT_GT(x1 - x0, 2 * pad);
    int red = 0, far_red = 0, white = 0, outside = 0;
    for (int32_t y = y0 - 4; y < y1 + 4; ++y) {
      for (int32_t x = x0 - 4; x < x1 + 4; ++x) {
        const uint32_t p = pixels[static_cast<size_t>(y) * t.width + static_cast<size_t>(x)];
        const bool inside = x >= x0 && x < x1 && y >= y0 && y < y1;
        if ((p >> 24) < 128) continue;
        if (!inside) ++outside;
        const uint32_t r = p & 0xFF, g = (p >> 8) & 0xFF, b = (p >> 16) & 0xFF;
        // How far the pixel lies outside the glyph's own rectangle, the cell less its padding.
        const int32_t beyond = std::max({x0 + pad - x, x - (x1 - pad - 1), y0 + pad - y, y - (y1 - pad - 1), 0});
        if (r > 200 && g < 60 && b < 60) {
          ++red;
          if (beyond >= pad - 1) ++far_red;
        }
        if (r > 200 && g > 200 && b > 200) ++white;
      }
    }
    EXPECT_GT(red, 10) << "the ring";
    EXPECT_GT(far_red, 0) << "the ring's full thickness";
    EXPECT_GT(white, 10) << "the glyph";
    EXPECT_EQ(outside, 0) << "nothing spills into the empty border";
  }
}

// Fonts made from a baked font draw from the baked font's sprite, which lives until the last font
// holding it is deleted: its texture slot is not handed to another texture while any font uses it.
TEST_F(TextBakeTest, BakedSpritesLiveUntilTheLastFontUsingThemGoes) {
  if (!Window_State().real_display) GTEST_SKIP() << "no display";
  Start_Frame();
  call(tsl_Script_scribble_font_bake_outline_4dir,
       {*str("fnt_regular"), *str("fnt_outlined"), RV_Real(0x0000FF), RV_Bool(false), RV_Real(256)});
  Device_EndFrame(false);
  const double handle = glyph("fnt_outlined", "A", kTexture);
  ASSERT_NE(glyph("fnt_regular", "A", kTexture), handle);
  const int32_t slot = Texture_SlotOfHandle(static_cast<int64_t>(handle));
  ASSERT_GE(slot, 0);
  call(tsl_Script_scribble_font_combine, {*str("fnt_combined"), *str("fnt_outlined"), *str("fnt_regular")});
  call(tsl_Script_scribble_super_create, {*str("fnt_super")});
  call(tsl_Script_scribble_super_glyph_copy, {*str("fnt_super"), *str("fnt_combined"), RV_Bool(true), *str("A")});
  call(tsl_Script_scribble_font_duplicate, {*str("fnt_super"), *str("fnt_copy")});
  const auto in_use = [slot] {
    const TextureSlot* texture = Texture_Slot(slot);
    return texture != nullptr && texture->inUse != 0;
  };
  struct Step {
    KVScriptFunction script;
    const char* font;
    bool in_use;  // the baked texture afterwards
  };
  const Step steps[] = {
      {tsl_Script_scribble_font_delete, "fnt_outlined", true},
      {tsl_Script_scribble_font_delete, "fnt_combined", true},
      {tsl_Script_scribble_super_clear, "fnt_super", true},
      {tsl_Script_scribble_font_delete, "fnt_copy", false},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.font);
    call(step.script, {*str(step.font)});
    EXPECT_EQ(in_use(), step.in_use);
    if (step.in_use) {
      EXPECT_EQ(glyph("fnt_copy", "A", kTexture), handle);
    }
  }
}

TEST_F(TextBakeTest, BakesRefuseSharedNamesAndSurfacesTooSmall) {
  const Value regular = Value::String("fnt_regular"), other = Value::String("fnt_x"), nope = Value::String("c_nope");
  const KVScriptFunction eight = tsl_Script_scribble_font_bake_outline_8dir;
  const KVScriptFunction round = tsl_Script_scribble_font_bake_outline;
  struct Case {
    KVScriptFunction script;
    std::vector<RValue> args;
    const char* message;
  };
  const Case cases[] = {
      {eight, {*regular, *regular, RV_Real(0), RV_Bool(false)}, "Source font and new font cannot share the same name"},
      {eight, {RV_Real(1), *other, RV_Real(0), RV_Bool(false)}, "Fonts should be specified using their name"},
      {eight, {*regular, *other, *nope, RV_Bool(false)}, "Colour \"c_nope\" not recognised"},
      {eight, {*regular, *other, RV_Real(0), RV_Bool(false), RV_Real(16)}, "don't fit on a 16 x 16 surface"},
      {round, {*regular, *other, RV_Real(0), RV_Real(0), RV_Bool(false)}, "thickness should be a number greater than 0"},
      {round, {*regular, *other, RV_Real(17), RV_Real(0), RV_Bool(false)}, "at most 16 (was 17)"},
      {round, {*regular, *other, *nope, RV_Real(0), RV_Bool(false)}, "(was c_nope)"},
      {round, {*regular, *other, RV_Real(2), *nope, RV_Bool(false)}, "Colour \"c_nope\" not recognised"},
  };
  for (const Case& c : cases) {
    const std::string message = ErrorRaisedBy([&] { call(c.script, c.args); });
    EXPECT_NE(message.find(c.message), std::string::npos) << message;
  }
}

}  // namespace

// Fonts baked by the text library through the game's bake shaders on the OpenGL device: the baked
// sprite's pixels hold each glyph inside a ring of the outline colour, and the new font's rows
// cover the padded cells.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/error.h"
#include "core/script_api.h"
#include "graphics/texture_table.h"
#include "graphics/window.h"
#include "platform/process.h"
#include "game_gl_start.h"
#include "support/draw_game.h"
#include "text/scribble.h"

namespace {

using tsl::Value;

// Glyph columns as scripts name them.
constexpr double kXOffset = 3, kWidth = 5, kHeight = 6, kSeparation = 8, kTexture = 11, kU0 = 12, kU1 = 13, kV0 = 14,
                 kV1 = 15;

class TextBakeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    StartGameOnGl(&game_);
  }
  void TearDown() override {
    game_.Stop();
    Platform_TakeQuitSignal();
  }

  Value call(KVScriptFunction script, std::vector<RValue> args) {
    std::vector<RValue*> pointers;
    for (RValue& a : args) pointers.push_back(&a);
    Value result;
    CInstance* global = tsl::global();
    script(global, global, result.get(), static_cast<int>(pointers.size()), pointers.data());
    return result;
  }
  double glyph(const char* font, const char* character, double column) {
    return call(tsl_Script_scribble_glyph_get, {*Value::String(font), *Value::String(character), RV_Real(column)})
        .real();
  }

  DrawGame game_;
};

TEST_F(TextBakeTest, AnOutlineBakeRingsEachGlyphInTheOutlineColour) {
  if (!Window_State().real_display) GTEST_SKIP() << "no display";
  Start_Frame();
  call(tsl_Script_scribble_font_bake_outline_4dir,
       {*Value::String("fnt_regular"), *Value::String("fnt_outlined"), RV_Real(0x0000FF), RV_Bool(false),
        RV_Real(256)});
  Device_EndFrame(false);
  EXPECT_EQ(glyph("fnt_outlined", "A", kWidth), glyph("fnt_regular", "A", kWidth) + 2);
  EXPECT_EQ(glyph("fnt_outlined", "A", kHeight), glyph("fnt_regular", "A", kHeight) + 2);
  EXPECT_EQ(glyph("fnt_outlined", "A", kXOffset), glyph("fnt_regular", "A", kXOffset) - 1);
  EXPECT_EQ(glyph("fnt_outlined", "A", kSeparation), glyph("fnt_regular", "A", kSeparation) + 2);
  EXPECT_EQ(glyph("fnt_outlined", " ", kSeparation), glyph("fnt_regular", " ", kSeparation) + 2);

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
  ASSERT_GT(x1 - x0, 2);
  int red = 0, white = 0, outside = 0;
  for (int32_t y = y0 - 4; y < y1 + 4; ++y) {
    for (int32_t x = x0 - 4; x < x1 + 4; ++x) {
      const uint32_t p = pixels[static_cast<size_t>(y) * t.width + static_cast<size_t>(x)];
      const bool inside = x >= x0 && x < x1 && y >= y0 && y < y1;
      if ((p >> 24) < 128) continue;
      if (!inside) ++outside;
      const uint32_t r = p & 0xFF, g = (p >> 8) & 0xFF, b = (p >> 16) & 0xFF;
      if (r > 200 && g < 60 && b < 60) ++red;
      if (r > 200 && g > 200 && b > 200) ++white;
    }
  }
  EXPECT_GT(red, 10) << "the ring";
  EXPECT_GT(white, 10) << "the glyph";
  EXPECT_EQ(outside, 0) << "nothing spills into the empty border";
}

TEST_F(TextBakeTest, BakesRefuseSharedNamesAndSurfacesTooSmall) {
  if (!Window_State().real_display) GTEST_SKIP() << "no display";
  const Value regular = Value::String("fnt_regular"), other = Value::String("fnt_x"), nope = Value::String("c_nope");
  struct Case {
    std::vector<RValue> args;
    const char* message;
  };
  const Case cases[] = {
      {{*regular, *regular, RV_Real(0), RV_Bool(false)}, "Source font and new font cannot share the same name"},
      {{RV_Real(1), *other, RV_Real(0), RV_Bool(false)}, "Fonts should be specified using their name as a string."},
      {{*regular, *other, *nope, RV_Bool(false)}, "Colour \"c_nope\" not recognised"},
      {{*regular, *other, RV_Real(0), RV_Bool(false), RV_Real(16)}, "don't fit on a 16 x 16 surface"},
  };
  for (const Case& c : cases) {
    std::string message;
    try {
      call(tsl_Script_scribble_font_bake_outline_8dir, c.args);
    } catch (const KVTSLException& e) {
      message = e.message();
    }
    EXPECT_NE(message.find(c.message), std::string::npos) << message;
  }
}

}  // namespace

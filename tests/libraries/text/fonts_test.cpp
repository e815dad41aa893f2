// The font store: the game's fonts as registered at start-up (glyph rows against the runtime's
// atlas), the default font, scaling, glyph and kerning edits, superfonts, and the library's errors.
#include <cstdio>
#include <fstream>
#include <string>

#include "data/asset_names.h"
#include "graphics/font.h"
#include "text/scribble_internal.h"
#include "text_fixture.h"

namespace {

// Glyph columns as scripts name them (SCRIBBLE_GLYPH).
constexpr double kCharacter = 0, kBidi = 2, kXOffset = 3, kWidth = 5, kHeight = 6, kFontHeight = 7,
                 kSeparation = 8, kU0 = 12, kU1 = 13, kV0 = 14, kV1 = 15;

const TextFont* runtime_font(const char* name) {
  const AssetRef asset = Asset_Lookup(name);
  return asset.kind == datawin::kAssetFont ? Font_At(asset.index) : nullptr;
}

class FontsTest : public TextLibraryTest {
 protected:
  double glyph(const char* font, const char* character, double column) {
    return call(tsl_Script_scribble_glyph_get, {*str(font), *str(character), RV_Real(column)}).real();
  }
  bool exists(const char* font) { return RV_ToBool(*call(tsl_Script_scribble_font_exists, {*str(font)})); }
};

TEST_F(FontsTest, GameFontsAreRegisteredAtStartWithTheFirstAsDefault) {
  for (const char* name : {"fnt_regular", "fnt_regular_small", "fnt_title"}) EXPECT_TRUE(exists(name)) << name;
  EXPECT_FALSE(exists("fnt_missing"));
  const tsl::Value def = call(tsl_Script_scribble_font_get_default);
  ASSERT_EQ(RV_Kind(*def), static_cast<uint32_t>(kRVString));
  EXPECT_STREQ(RV_StringText(*def), "fnt_regular");
}

TEST_F(FontsTest, GlyphRowsMatchTheRuntimeAtlas) {
  for (const char* name : {"fnt_regular", "fnt_regular_small", "fnt_title"}) {
    SCOPED_TRACE(name);
    const TextFont* font = runtime_font(name);
    ASSERT_NE(font, nullptr);
    float texel_w = 0, texel_h = 0;
    ASSERT_NE(Font_Texture(*font, &texel_w, &texel_h), nullptr);
    for (const char* ch : {"A", "g", "7", " "}) {
      SCOPED_TRACE(ch);
      const FontGlyph* g = font->GetGlyph(static_cast<uint32_t>(ch[0]));
      ASSERT_NE(g, nullptr);
      int32_t px = 0, py = 0;
      Font_GlyphPagePosition(*font, *g, &px, &py);
      EXPECT_EQ(glyph(name, ch, kCharacter), ch[0]);
      EXPECT_EQ(glyph(name, ch, kWidth), g->w);
      EXPECT_EQ(glyph(name, ch, kHeight), g->h);
      EXPECT_EQ(glyph(name, ch, kSeparation), g->shift);
      EXPECT_EQ(glyph(name, ch, kXOffset), g->offset);
      EXPECT_NEAR(glyph(name, ch, kU0), px * texel_w, 1e-6);
      EXPECT_NEAR(glyph(name, ch, kV0), py * texel_h, 1e-6);
      EXPECT_NEAR(glyph(name, ch, kU1), (px + g->w) * texel_w, 1e-6);
      EXPECT_NEAR(glyph(name, ch, kV1), (py + g->h) * texel_h, 1e-6);
    }
    // Classes: whitespace, symbol, left-to-right.
    EXPECT_EQ(glyph(name, " ", kBidi), 0);
    EXPECT_EQ(glyph(name, "!", kBidi), 1);
    EXPECT_EQ(glyph(name, "A", kBidi), 4);
  }
}

TEST_F(FontsTest, HasCharacterOnlyForGlyphsOfTheFont) {
  EXPECT_TRUE(RV_ToBool(*call(tsl_Script_scribble_font_has_character, {*str("fnt_regular"), *str("A")})));
  EXPECT_TRUE(RV_ToBool(*call(tsl_Script_scribble_font_has_character, {*str("fnt_regular"), RV_Real(65)})));
  EXPECT_FALSE(RV_ToBool(*call(tsl_Script_scribble_font_has_character, {*str("fnt_regular"), RV_Real(0x4E00)})));
}

TEST_F(FontsTest, ScalingTwiceMultipliesMetricsAndHeight) {
  const double sep = glyph("fnt_regular", "A", kSeparation);
  const double height = glyph("fnt_regular", " ", kFontHeight);
  const double u0 = glyph("fnt_regular", "A", kU0);
  call(tsl_Script_scribble_font_scale, {*str("fnt_regular"), RV_Real(2)});
  call(tsl_Script_scribble_font_scale, {*str("fnt_regular"), RV_Real(2)});
  EXPECT_EQ(glyph("fnt_regular", "A", kSeparation), 4 * sep);
  EXPECT_EQ(glyph("fnt_regular", " ", kFontHeight), 4 * height);
  EXPECT_EQ(glyph("fnt_regular", "A", kU0), u0);  // the atlas doesn't change
}

TEST_F(FontsTest, AddingAFontAgainReplacesItWithAWarningAndKeepsTheDefault) {
  call(tsl_Script_scribble_font_scale, {*str("fnt_title"), RV_Real(3)});
  const double scaled = glyph("fnt_title", "A", kSeparation);
  ConsoleCapture capture;
  call(tsl_Script_scribble_font_add, {*str("fnt_title")});
  EXPECT_NE(capture.text().find("Warning! A font for \"fnt_title\" has already been added. Destroying the old font "
                                "and creating a new one"),
            std::string::npos);
  EXPECT_EQ(glyph("fnt_title", "A", kSeparation) * 3, scaled);
  EXPECT_STREQ(RV_StringText(*call(tsl_Script_scribble_font_get_default)), "fnt_regular");
}

TEST_F(FontsTest, DefaultFontIsSetByName) {
  ConsoleCapture capture;
  call(tsl_Script_scribble_font_set_default, {*str("fnt_title")});
  EXPECT_NE(capture.text().find("Setting default font to \"fnt_title\""), std::string::npos);
  EXPECT_STREQ(RV_StringText(*call(tsl_Script_scribble_font_get_default)), "fnt_title");
}

TEST_F(FontsTest, ErrorsCarryTheLibrarysTexts) {
  struct Case {
    KVScriptFunction script;
    std::vector<RValue> args;
    const char* text;
  };
  const tsl::Value regular = str("fnt_regular"), missing = str("fnt_nope"), q = str("\xE4\xB8\x80");
  const Case cases[] = {
      {tsl_Script_scribble_font_set_default, {RV_Real(3)},
       "The default font should be defined using its name as a string.\n(Input was an invalid datatype)"},
      {tsl_Script_scribble_font_has_character, {*missing, RV_Real(65)}, "Font \"fnt_nope\" not recognised"},
      {tsl_Script_scribble_glyph_get, {*regular, *q, RV_Real(8)}, "Character \"\xE4\xB8\x80\" not found for font \"fnt_regular\""},
      {tsl_Script_scribble_font_scale, {RV_Real(0), RV_Real(2)},
       "Fonts should be specified using their name as a string.\n(Input was an invalid datatype)"},
      {tsl_Script_scribble_super_clear, {*regular}, "Cannot clear non-superfont fonts"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_NE(error_of(c.script, c.args).find(c.text), std::string::npos);
  }
}

TEST_F(FontsTest, GlyphSetEditsOneOrAllGlyphs) {
  const double a = glyph("fnt_regular", "A", kSeparation);
  const double b = glyph("fnt_regular", "B", kSeparation);
  call(tsl_Script_scribble_glyph_set, {*str("fnt_regular"), *str("A"), RV_Real(kSeparation), RV_Real(5), RV_Bool(true)});
  EXPECT_EQ(glyph("fnt_regular", "A", kSeparation), a + 5);
  EXPECT_EQ(glyph("fnt_regular", "B", kSeparation), b);
  call(tsl_Script_scribble_glyph_set, {*str("fnt_regular"), *str("all"), RV_Real(kSeparation), RV_Real(9), RV_Bool(false)});
  EXPECT_EQ(glyph("fnt_regular", "A", kSeparation), 9);
  EXPECT_EQ(glyph("fnt_regular", "B", kSeparation), 9);
  // The space's font height is every glyph's.
  call(tsl_Script_scribble_glyph_set, {*str("fnt_regular"), *str(" "), RV_Real(kFontHeight), RV_Real(40), RV_Bool(false)});
  EXPECT_EQ(glyph("fnt_regular", "Q", kFontHeight), 40);
}

TEST_F(FontsTest, KerningPairsAreSetAndRead) {
  const auto pair = [&](const char* a, const char* b) {
    return call(tsl_Script_scribble_kerning_pair_get, {*str("fnt_regular"), *str(a), *str(b)}).real();
  };
  call(tsl_Script_scribble_kerning_pair_set, {*str("fnt_regular"), *str("x"), *str("y"), RV_Real(-3), RV_Bool(false)});
  EXPECT_EQ(pair("x", "y"), -3);
  call(tsl_Script_scribble_kerning_pair_set, {*str("fnt_regular"), *str("x"), *str("y"), RV_Real(1), RV_Bool(true)});
  EXPECT_EQ(pair("x", "y"), -2);
  EXPECT_EQ(pair("y", "x"), 0);
}

TEST_F(FontsTest, SuperfontsTakeCopiedGlyphs) {
  call(tsl_Script_scribble_super_create, {*str("fnt_super")});
  const tsl::Value range = tsl::call("@@NewTSLArray@@", nullptr, nullptr, {*str("A"), *str("C")});
  call(tsl_Script_scribble_super_glyph_copy, {*str("fnt_super"), *str("fnt_title"), RV_Bool(true), *range, *str(" ")});
  const auto has = [&](const char* ch) {
    return RV_ToBool(*call(tsl_Script_scribble_font_has_character, {*str("fnt_super"), *str(ch)}));
  };
  EXPECT_TRUE(has("A"));
  EXPECT_TRUE(has("C"));
  EXPECT_TRUE(has(" "));
  EXPECT_FALSE(has("D"));
  EXPECT_EQ(glyph("fnt_super", "B", kSeparation), glyph("fnt_title", "B", kSeparation));
  // Without overwrite a glyph already there stays.
  call(tsl_Script_scribble_super_glyph_copy, {*str("fnt_super"), *str("fnt_regular"), RV_Bool(false), *str("B")});
  EXPECT_EQ(glyph("fnt_super", "B", kSeparation), glyph("fnt_title", "B", kSeparation));
  call(tsl_Script_scribble_super_glyph_delete, {*str("fnt_super"), *str("B")});
  EXPECT_FALSE(has("B"));
  EXPECT_TRUE(has("C"));
  call(tsl_Script_scribble_super_clear, {*str("fnt_super")});
  EXPECT_FALSE(has("A"));
}

// A combined font takes each character from the first font that has it, and a kerning pair only
// where both of its glyphs came from the font that holds the pair.
TEST_F(FontsTest, CombinedFontsTakeTheFirstFontsGlyphs) {
  call(tsl_Script_scribble_super_create, {*str("fnt_ab")});
  call(tsl_Script_scribble_super_glyph_copy, {*str("fnt_ab"), *str("fnt_title"), RV_Bool(true), *str("AB ")});
  const auto kern = [&](const char* font, const char* a, const char* b, double amount) {
    call(tsl_Script_scribble_kerning_pair_set, {*str(font), *str(a), *str(b), RV_Real(amount), RV_Bool(false)});
  };
  kern("fnt_ab", "A", "B", 5);
  kern("fnt_regular", "A", "C", -3);
  kern("fnt_regular", "C", "D", 2);
  call(tsl_Script_scribble_font_combine, {*str("fnt_mix"), *str("fnt_ab"), *str("fnt_regular")});
  struct Case {
    const char* character;
    const char* from;
  };
  for (const Case& c : {Case{"A", "fnt_title"}, Case{"B", "fnt_title"}, Case{" ", "fnt_title"}, Case{"C", "fnt_regular"},
                        Case{"z", "fnt_regular"}}) {
    SCOPED_TRACE(c.character);
    for (const double column : {kWidth, kSeparation, kU0, kV1}) {
      EXPECT_EQ(glyph("fnt_mix", c.character, column), glyph(c.from, c.character, column));
    }
  }
  const auto pair = [&](const char* a, const char* b) {
    return call(tsl_Script_scribble_kerning_pair_get, {*str("fnt_mix"), *str(a), *str(b)}).real();
  };
  EXPECT_EQ(pair("A", "B"), 5);
  EXPECT_EQ(pair("C", "D"), 2);
  EXPECT_EQ(pair("A", "C"), 0) << "fnt_regular's pair, but its A lost to fnt_ab's";
  // The sources stay as they were, and the new font is used like any other.
  EXPECT_TRUE(exists("fnt_ab"));
  EXPECT_NE(glyph("fnt_regular", "A", kWidth), glyph("fnt_mix", "A", kWidth));
  const tsl::Value mix = str("fnt_mix"), x = str("fnt_x"), nope = str("fnt_nope");
  const struct {
    std::vector<RValue> args;
    const char* message;
  } errors[] = {
      {{*mix}, "No fonts given to combine into \"fnt_mix\""},
      {{*mix, *mix}, "Source font and new font cannot share the same name"},
      {{*x, RV_Real(0)}, "Fonts should be specified using their name as a string."},
      {{*x, *nope}, "Font \"fnt_nope\" not recognised"},
  };
  for (const auto& e : errors) {
    const std::string got = error_of(tsl_Script_scribble_font_combine, e.args);
    EXPECT_NE(got.find(e.message), std::string::npos) << got;
  }
}

TEST_F(FontsTest, DuplicateRenameAndDelete) {
  call(tsl_Script_scribble_font_duplicate, {*str("fnt_regular"), *str("fnt_copy")});
  EXPECT_EQ(glyph("fnt_copy", "A", kSeparation), glyph("fnt_regular", "A", kSeparation));
  call(tsl_Script_scribble_font_rename, {*str("fnt_copy"), *str("fnt_renamed")});
  EXPECT_FALSE(exists("fnt_copy"));
  EXPECT_TRUE(exists("fnt_renamed"));
  call(tsl_Script_scribble_font_delete, {*str("fnt_renamed")});
  EXPECT_FALSE(exists("fnt_renamed"));
  // Deleting the default font leaves none set.
  call(tsl_Script_scribble_font_delete, {*str("fnt_regular")});
  EXPECT_EQ(RV_Kind(*call(tsl_Script_scribble_font_get_default)), static_cast<uint32_t>(kRVUndefined));
}

// The first sprite of the game with at least three frames.
double sprite_with_frames() {
  for (double index = 0; index < 200; ++index) {
    if (!RV_ToBool(*tsl::call("sprite_exists", nullptr, nullptr, {RV_Real(index)}))) continue;
    if (tsl::call("sprite_get_number", nullptr, nullptr, {RV_Real(index)}).real() >= 3) return index;
  }
  return -1;
}

TEST_F(FontsTest, SpriteFontsMapFramesToCharacters) {
  const double sprite = sprite_with_frames();
  ASSERT_GE(sprite, 0);
  const double width = tsl::call("sprite_get_width", nullptr, nullptr, {RV_Real(sprite)}).real();
  const double height = tsl::call("sprite_get_height", nullptr, nullptr, {RV_Real(sprite)}).real();
  call(tsl_Script_scribble_font_add_from_sprite, {*str("fnt_sprite"), RV_Real(sprite), *str("xyz"), RV_Real(2), RV_Undefined(), RV_Bool(false)});
  EXPECT_TRUE(exists("fnt_sprite"));
  for (const char* ch : {"x", "y", "z", " "}) {
    SCOPED_TRACE(ch);
    EXPECT_EQ(glyph("fnt_sprite", ch, kSeparation), width + 2);
    EXPECT_EQ(glyph("fnt_sprite", ch, kFontHeight), height);
  }
  const tsl::Value uvs = tsl::call("sprite_get_uvs", nullptr, nullptr, {RV_Real(sprite), RV_Real(1)});
  EXPECT_EQ(glyph("fnt_sprite", "y", kU0), RV_ToDouble(uvs.get()->pArray->pArray[0]));
  EXPECT_EQ(glyph("fnt_sprite", "y", kV1), RV_ToDouble(uvs.get()->pArray->pArray[3]));
  EXPECT_FALSE(RV_ToBool(*call(tsl_Script_scribble_font_has_character, {*str("fnt_sprite"), *str("w")})));
  EXPECT_NE(error_of(tsl_Script_scribble_font_add_from_sprite, {*str("fnt_more"), RV_Real(sprite), *str("abcdefghijklmnopqrstuvwxyz0123456789"), RV_Real(0)})
                .find("frames, fewer than the 36 characters of the mapping string"),
            std::string::npos);
}

// A distance-field font: a sprite for the atlas and the generator's metrics file (top origin).
TEST_F(FontsTest, MsdfFontsTakeTheirGlyphsFromTheMetricsFile) {
  const double sprite = sprite_with_frames();
  ASSERT_GE(sprite, 0);
  const std::string path = testing::TempDir() + "fnt_msdf_metrics.json";
  {
    std::ofstream out(path);
    out << R"({"atlas": {"type": "msdf", "distanceRange": 4, "size": 32, "width": 64, "height": 64, "yOrigin": "top"},
      "metrics": {"emSize": 1, "lineHeight": 1.25, "ascender": -0.75, "descender": 0.25},
      "glyphs": [{"unicode": 32, "advance": 0.25},
                 {"unicode": 65, "advance": 0.5, "planeBounds": {"left": 0.0625, "top": -0.75, "right": 0.5625, "bottom": 0},
                  "atlasBounds": {"left": 16, "top": 8, "right": 32, "bottom": 32}}],
      "kerning": [{"unicode1": 65, "unicode2": 65, "advance": -0.0625}]})";
  }
  call(tsl_Script_scribble_font_add_msdf, {*str("fnt_msdf"), RV_Real(sprite), *str(path.c_str())});
  ASSERT_TRUE(exists("fnt_msdf"));
  EXPECT_EQ(glyph("fnt_msdf", "A", kSeparation), 16);
  EXPECT_EQ(glyph("fnt_msdf", "A", kWidth), 16);
  EXPECT_EQ(glyph("fnt_msdf", "A", kHeight), 24);
  EXPECT_EQ(glyph("fnt_msdf", "A", kXOffset), 2);
  EXPECT_EQ(glyph("fnt_msdf", "A", 4), 0) << "the glyph's top on the ascender";
  EXPECT_EQ(glyph("fnt_msdf", " ", kSeparation), 8);
  EXPECT_EQ(glyph("fnt_msdf", "A", kFontHeight), 40);
  EXPECT_EQ(glyph("fnt_msdf", "A", 16), 4) << "the distance range";
  const tsl::Value uvs = tsl::call("sprite_get_uvs", nullptr, nullptr, {RV_Real(sprite), RV_Real(0)});
  const double l = RV_ToDouble(uvs.get()->pArray->pArray[0]), r = RV_ToDouble(uvs.get()->pArray->pArray[2]);
  const double t = RV_ToDouble(uvs.get()->pArray->pArray[1]), b = RV_ToDouble(uvs.get()->pArray->pArray[3]);
  EXPECT_NEAR(glyph("fnt_msdf", "A", kU0), l + 0.25 * (r - l), 1e-9);
  EXPECT_NEAR(glyph("fnt_msdf", "A", kU1), l + 0.5 * (r - l), 1e-9);
  EXPECT_NEAR(glyph("fnt_msdf", "A", kV0), t + 0.125 * (b - t), 1e-9);
  EXPECT_NEAR(glyph("fnt_msdf", "A", kV1), t + 0.5 * (b - t), 1e-9);
  EXPECT_EQ(call(tsl_Script_scribble_kerning_pair_get, {*str("fnt_msdf"), *str("A"), *str("A")}).real(), -2);
  // A distance-field font's glyphs don't mix with standard ones in a superfont.
  call(tsl_Script_scribble_super_create, {*str("fnt_super")});
  call(tsl_Script_scribble_super_glyph_copy, {*str("fnt_super"), *str("fnt_regular"), RV_Bool(true), *str("B")});
  EXPECT_NE(error_of(tsl_Script_scribble_super_glyph_copy, {*str("fnt_super"), *str("fnt_msdf"), RV_Bool(true), *str("A")})
                .find("Cannot mix standard and MSDF glyphs"),
            std::string::npos);
  EXPECT_NE(error_of(tsl_Script_scribble_font_combine, {*str("fnt_both"), *str("fnt_regular"), *str("fnt_msdf")})
                .find("Cannot mix standard and MSDF glyphs"),
            std::string::npos);
  EXPECT_NE(error_of(tsl_Script_scribble_font_add_msdf, {*str("fnt_msdf2"), RV_Real(sprite), *str("no_such_metrics.json")})
                .find("Could not find \"no_such_metrics.json\""),
            std::string::npos);
  std::remove(path.c_str());
}

TEST(KrutidevTablesTest, LongestRunOfUpToFourCodesWins) {
  struct Case {
    std::u32string text;
    size_t length;
    std::u32string krutidev;
  };
  const Case cases[] = {
      {U"\u0915\u094D\u0937", 3, U"{k"},                  // ksha
      {U"\u0915\u094D\u0937\u094D", 4, U"{"},            // half ksha
      {U"\u092A\u094D\u0930\u093E", 3, U"\u00E7"},       // pra, the aa sign left for the next run
      {U"\u0915", 1, U"d"},                                 // ka
      {U"\u0924\u094D\u0924\u094D", 4, U"\u00D9"},       // half tta
      {U"\u091C\u093C", 2, U"t"},                          // za, as the parser leaves it: ja and nukta
      {U"\u0906", 1, U"vk"},                                // aa
      {U"\u0967", 1, U"\u0192"},                            // digit one
      {U"\u201C", 1, U"\u00DF"},                            // opening quote, as a straight one opens
      {U"\u201D", 1, U"\u00DE"},                            // closing quote
      {U"\u092C\u094D\u0930", 3, U"cz"},                  // ba with the ra sign, before half ba
      {U"\u0920\u094D\u0930", 3, U"B\u00AA"},            // a round letter takes the other ra sign
      {U"\u094D ", 1, U"~"},                                 // a virama before a space leaves the space
      {U"\u093C", 1, U"+"},                                  // a lone nukta
      {U"x", 0, U""},
  };
  for (const Case& c : cases) {
    const std::vector<uint32_t> codes(c.text.begin(), c.text.end());
    size_t length = 99;
    const std::vector<uint32_t>* got = scribble::krutidev_lookup(codes.data(), codes.size(), &length);
    EXPECT_EQ(length, c.length);
    if (c.length == 0) {
      EXPECT_EQ(got, nullptr);
      continue;
    }
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(std::u32string(got->begin(), got->end()), c.krutidev);
  }
  EXPECT_TRUE(scribble::krutidev_matra(0x093E));
  EXPECT_TRUE(scribble::krutidev_matra(0x0902));
  EXPECT_FALSE(scribble::krutidev_matra(0x0915));
}

}  // namespace

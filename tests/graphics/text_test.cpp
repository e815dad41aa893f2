// Text state, measuring and line splitting with the runtime's default font, through the builtins.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/gc.h"
#include "graphics/draw.h"
#include "graphics/font.h"
#include "graphics/graphics_fixture.h"
#include "graphics/texture_table.h"

namespace {

// Calls a builtin and frees its arguments and its result; the number it gave.
double Number(const char* name, std::vector<RValue> args) {
  RValue result = CallBuiltin(name, args);
  const double n = RV_Kind(result) == kRVReal ? RV_ToDouble(result) : 0.0;
  RV_FreeToUndefined(&result);
  for (RValue& a : args) RV_FreeToUndefined(&a);
  return n;
}
// The same for a string result.
std::string Text(const char* name, std::vector<RValue> args) {
  RValue result = CallBuiltin(name, args);
  std::string text = RV_StringText(result);
  RV_FreeToUndefined(&result);
  for (RValue& a : args) RV_FreeToUndefined(&a);
  return text;
}

class TextTest : public GraphicsTest {
 protected:
  void SetUp() override {
    GraphicsTest::SetUp();
    Font_RegisterBuiltins();
    Texture_InstallResolver();
    Draw_ResetState();
    Text_ResetState();
    ASSERT_NE(Font_Default(), nullptr);
    // A frame of text first: the batch's staging memory grows to hold a long line, as it has in
    // a game that has drawn before, so later batches break only where drawing asks them to.
    Start_Frame();
    Text_Draw(0, 0, std::string(300, 'x').c_str(), -1, -1);
    GR_Flush();
    Device_EndFrame(false);
  }
  void TearDown() override {
    Font_FreeAll();
    Font_ReleaseDefault();
    GraphicsTest::TearDown();
    GC_Reset();
  }
  // A frame begun over the whole window, with nothing recorded yet.
  void OpenFrame() {
    Start_Frame();
    GR_Set_View(0, 0, 640, 360, 0);
    GR_Flush();
    device_.clear_record();
  }
};

TEST_F(TextTest, BadFontsAndAlignmentsFallBack) {
  CallBuiltin("draw_set_font", {R(-5)});
  EXPECT_EQ(Number("draw_get_font", {}), -1);
  CallBuiltin("draw_set_halign", {R(7)});
  EXPECT_EQ(Number("draw_get_halign", {}), 0);
  CallBuiltin("draw_set_valign", {R(2)});
  EXPECT_EQ(Number("draw_get_valign", {}), 2);
  EXPECT_EQ(Number("font_exists", {R(0)}), 0);
  EXPECT_EQ(Text("font_get_name", {R(3)}), "<undefined>");
  EXPECT_EQ(Number("font_get_first", {R(3)}), -1);
  EXPECT_EQ(BuiltinError("font_delete", {R(3)}), "Trying to delete non-existing font.");
  EXPECT_EQ(BuiltinError("font_get_uvs", {R(3)}), "trying to get texture from non-existing font");
}

TEST_F(TextTest, LinesBreakAtCrLfAndTheirPairsOnly) {
  const double line = Number("string_height", {S("x")});
  ASSERT_GT(line, 0);
  struct Case {
    const char* text;
    double lines;
  };
  const Case cases[] = {
      {"", 0}, {"a", 1}, {"a\n", 1}, {"a\n\n", 2}, {"a\r\nb", 2}, {"a\n\rb", 2}, {"a\r\rb", 3}, {"a#b", 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Number("string_height", {S(c.text)}), c.lines == 0 ? 0 : c.lines * line) << "'" << c.text << "'";
  }
  EXPECT_EQ(Number("string_width", {S("")}), 0);
  const double one = Number("string_width", {S("m")});
  EXPECT_EQ(Number("string_width", {S("mm\nm")}), 2 * one) << "the widest line, monospace";
  EXPECT_EQ(Number("string_height_ext", {S("a\nb"), R(30), R(-1)}), 30 + line) << "sep between lines";
}

TEST_F(TextTest, WrappingKeepsWordsWholeAndOverflowsOnlyAWordTooLong) {
  const double m = Number("string_width", {S("m")});
  const double line = Number("string_height", {S("x")});
  const int width = static_cast<int>(m * 5);
  EXPECT_EQ(Number("string_height_ext", {S("aa bb cc"), R(-1), R(width)}), 2 * line) << "'aa bb' then 'cc'";
  EXPECT_EQ(Number("string_width_ext", {S("aa bb cc"), R(-1), R(width)}), 5 * m);
  EXPECT_EQ(Number("string_height_ext", {S("abcdefghij k"), R(-1), R(width)}), 2 * line);
  EXPECT_EQ(Number("string_width_ext", {S("abcdefghij k"), R(-1), R(width)}), 10 * m) << "the long word overflows";
  testing::internal::CaptureStdout();
  EXPECT_EQ(Number("string_height_ext", {S("abc"), R(-1), R(0)}), 0);
  const std::string console = testing::internal::GetCapturedStdout();
  EXPECT_NE(console.find("string \"abc\" with width 0 - unable to fit"), std::string::npos) << console;
}

TEST_F(TextTest, FontsAddedAtRunTimeTakeNewIdsAndDeleteForGood) {
  const double id = Number("font_add", {S("DejaVuSans.ttf"), R(12), R(0), R(0), R(32), R(127)});
  ASSERT_GE(id, 0);
  EXPECT_EQ(Text("font_get_name", {R(id)}), "__newfont" + std::to_string(static_cast<int>(id)));
  EXPECT_EQ(Number("font_get_size", {R(id)}), 12);
  EXPECT_EQ(Number("font_get_last", {R(id)}), 127);
  Number("draw_set_font", {R(id)});
  EXPECT_GT(Number("string_width", {S("W")}), Number("string_width", {S("i")})) << "proportional";
  testing::internal::CaptureStdout();
  EXPECT_EQ(Number("font_add", {S("no_such_font"), R(12), R(0), R(0), R(32), R(127)}), -1);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("FreeType :: unable to find font file no_such_font"),
            std::string::npos);
  EXPECT_EQ(Number("font_delete", {R(id)}), 1);
  EXPECT_EQ(BuiltinError("font_delete", {R(id)}), "Trying to delete non-existing font.");
  EXPECT_EQ(Number("font_exists", {R(id)}), 0);
}

// A FreeType font's glyphs wait for their first use, then take the least recently used cell of
// the font's cache; cells drawn this frame are reused only after a flush.
class GlyphCacheTest : public TextTest {
 protected:
  void TearDown() override {
    Font_SetTexturePageSize(1024);
    TextTest::TearDown();
  }
  // A run-time font on a cache page of side `page` (font_texture_page_size).
  int32_t AddFont(int32_t page) {
    Font_SetTexturePageSize(page);
    const double id = Number("font_add", {S("DejaVuSans.ttf"), R(12), R(0), R(0), R(32), R(127)});
    EXPECT_GE(id, 0);
    Number("draw_set_font", {R(id)});
    return static_cast<int32_t>(id);
  }
  // A glyph's record as it stands, without a lookup that would cache it.
  static const FontGlyph& Glyph(const TextFont& f, uint32_t code) {
    return *std::find_if(f.glyphs.begin(), f.glyphs.end(), [&](const FontGlyph& g) { return g.character == code; });
  }
};

TEST_F(GlyphCacheTest, GlyphsAreRenderedOnFirstUseAndTheWholeCharmapIsThere) {
  TextFont* f = Font_At(AddFont(1024));
  ASSERT_NE(f, nullptr);
  ASSERT_NE(f->cache, nullptr);
  EXPECT_GT(f->glyphs.size(), 1000u) << "every charmap code below 0x10000, whatever first and last say";
  EXPECT_EQ(f->cache->renders, 0u) << "nothing is rendered at load";
  EXPECT_EQ(Glyph(*f, 'Q').x, -1);
  Number("string_width", {S("Q")});
  EXPECT_EQ(f->cache->renders, 1u) << "measuring fills the cache";
  EXPECT_NE(Glyph(*f, 'Q').x, -1);
  Number("string_width", {S("QQ")});
  EXPECT_EQ(f->cache->renders, 1u) << "a cached glyph isn't rendered again";
  EXPECT_EQ(Glyph(*f, 0x416).x, -1);
  RValue cached = CallBuiltin("font_cache_glyph", {R(Font_Count() - 1), R(0x416)});
  EXPECT_EQ(RV_Kind(cached), kRVObject);
  RV_FreeToUndefined(&cached);
  EXPECT_GE(Glyph(*f, 0x416).x, 2) << "a Cyrillic glyph outside first..last is cached on request";
  EXPECT_GT(Number("string_width", {S("\u0416")}), 0);
  EXPECT_EQ(f->dynamicTexture, f->cache->slot);
  EXPECT_EQ(f->texelPad, 0.0f);
}

TEST_F(GlyphCacheTest, ASmallCacheFlushesAtEachReuseOfACellOfThisFrameAndUploadsOnlyCells) {
  TextFont* f = Font_At(AddFont(64));
  ASSERT_NE(f, nullptr);
  const GlyphCache& cache = *f->cache;
  ASSERT_LT(cache.capacity, 10) << "a 64-texel page holds few cells";
  Frame();
  OpenFrame();
  Number("draw_text", {R(0), R(0), S("abcdefghijklmnop")});
  GR_Flush();
  EXPECT_GT(device_.count(DeviceCallKind::kDraw), 1) << "16 glyphs through " << cache.capacity << " cells";
  EXPECT_EQ(Glyph(*f, 'a').x, -1) << "the first glyph lost its cell";
  EXPECT_NE(Glyph(*f, 'p').x, -1);
  for (const DeviceCall& call : device_.calls()) {
    if (call.kind != DeviceCallKind::kUpdateTexture) continue;
    const int32_t x = static_cast<int32_t>(call.b >> 32), y = static_cast<int32_t>(call.b & 0xFFFFFFFF);
    EXPECT_EQ((x - cache.padX) % (cache.cellWidth + cache.padX), 0) << "uploads start at cells";
    EXPECT_EQ((y - cache.padY) % (cache.cellHeight + cache.padY), 0);
  }
  Device_EndFrame(false);
  // Next frame the cells of the last frame are reused without a flush.
  OpenFrame();
  Number("draw_text", {R(0), R(0), S("ab")});
  EXPECT_EQ(device_.count(DeviceCallKind::kDraw), 0) << "no flush for cells of an earlier frame";
  GR_Flush();
  EXPECT_EQ(device_.count(DeviceCallKind::kDraw), 1);
  Device_EndFrame(false);
}

TEST_F(TextTest, PlainFormsOpenATextEventSpanAndColourFormsDont) {
  struct Case {
    const char* name;
    std::vector<RValue> args;
    bool span;
  };
  Frame();
  Start_Frame();
  const Case cases[] = {
      {"draw_text", {R(0), R(0), S("hi")}, true},
      {"draw_text_ext_transformed", {R(0), R(0), S("hi"), R(-1), R(-1), R(1), R(1), R(0)}, true},
      {"draw_text_colour", {R(0), R(0), S("hi"), R(255), R(255), R(255), R(255), R(1)}, false},
      {"draw_text_transformed_colour", {R(0), R(0), S("hi"), R(1), R(1), R(0), R(255), R(255), R(255), R(255), R(1)},
       false},
  };
  for (const Case& c : cases) {
    device_.clear_record();
    Number(c.name, c.args);
    EXPECT_EQ(device_.count(DeviceCallKind::kBeginEvent), c.span ? 1 : 0) << c.name;
    EXPECT_EQ(device_.count(DeviceCallKind::kEndEvent), c.span ? 1 : 0) << c.name;
    if (c.span) {
      EXPECT_EQ(device_.event_names(), std::vector<std::string>{"Text"});
      for (const DeviceCall& call : device_.calls()) {
        if (call.kind == DeviceCallKind::kBeginEvent) {
          EXPECT_EQ(call.a, 0xffff00);
        }
      }
    }
  }
  Device_EndFrame(false);
}

// Box layout with the default monospace font: every advance is m and the line height h.
TEST_F(TextTest, BoxLayoutWrapsParagraphsAndPlacesLinesByAlignment) {
  TextFont* f = Font_Default();
  const float m = static_cast<float>(f->GetGlyph('m')->shift);
  const float h = static_cast<float>(f->maxHeight);
  struct Line {
    const char* text;
    float x, y, gap;
    bool last;
  };
  struct Case {
    const char* text;
    float box_w, box_h;
    int32_t align;
    bool wrap;
    float line_sp, para_sp;
    std::vector<Line> lines;
    float height;
  };
  const Case cases[] = {
      {"aa bb cc", 5 * m, 0, 0, true, 0, 0, {{"aa bb", 0, 0, 0, false}, {"cc", 0, h, 0, true}}, 2 * h},
      {"aa   bb", 10 * m, 0, 0, true, 0, 0, {{"aa bb", 0, 0, 0, true}}, h},
      {"  abcdefgh x", 4 * m, 0, 0, true, 0, 0, {{"abcdefgh", 0, 0, 0, false}, {"x", 0, h, 0, true}}, 2 * h},
      {"aa b\r\n\n\rcc", 10 * m, 0, 2, true, 3, 5,
       {{"aa b", 6 * m, 0, 0, true}, {"cc", 8 * m, h + 3 + 5, 0, true}}, 2 * h + 3 + 5},
      {"aa b cc", 5 * m, 0, 3, true, 0, 0, {{"aa b", 0, 0, m, false}, {"cc", 0, h, 0, true}}, 2 * h},
      {"ab", 10 * m, 5 * h, 0x101, true, 0, 0, {{"ab", 4 * m, 2 * h, 0, true}}, h},
      {"ab", 10 * m, 5 * h, 0x200, true, 0, 0, {{"ab", 0, 4 * h, 0, true}}, h},
      {"abcd\nab", 0, 5 * h, 0x202, false, 0, 0, {{"abcd", 0, 0, 0, false}, {"ab", 2 * m, h, 0, true}}, 2 * h},
      {"a\n   \nb", 10 * m, 0, 0, true, 1, 2, {{"a", 0, 0, 0, true}, {"b", 0, 2 * (h + 3), 0, true}}, 3 * h + 6},
  };
  for (const Case& c : cases) {
    TextBox box;
    Text_LayoutBox(c.text, *f, c.box_w, c.box_h, c.align, c.wrap, 0, c.line_sp, c.para_sp, &box);
    ASSERT_EQ(box.lines.size(), c.lines.size()) << c.text;
    for (size_t i = 0; i < c.lines.size(); ++i) {
      const TextBoxLine& got = box.lines[i];
      std::string line;
      for (uint32_t code : got.codes) line += static_cast<char>(code);
      EXPECT_EQ(line, c.lines[i].text) << c.text;
      EXPECT_FLOAT_EQ(got.x, c.lines[i].x) << c.text << " line " << i;
      EXPECT_FLOAT_EQ(got.y, c.lines[i].y) << c.text << " line " << i;
      EXPECT_FLOAT_EQ(got.extraGap, c.lines[i].gap) << c.text << " line " << i;
      EXPECT_EQ(got.isLast, c.lines[i].last) << c.text << " line " << i;
    }
    EXPECT_FLOAT_EQ(box.height, c.height) << c.text;
  }
}

TEST_F(TextTest, SpacedLinesMoveThePenBySpacingAndGapsBehindSpaces) {
  TextFont* f = Font_Default();
  const float m = static_cast<float>(f->GetGlyph('m')->shift);
  const uint32_t codes[] = {'a', ' ', 'b', 'c'};
  Frame();
  OpenFrame();
  Font_DrawSpaced(*f, 10, 20, codes, 4, 0xFFFFFFFFu, 2, 7);
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 1u);
  const RecordedDraw& draw = device_.draws()[0];
  ASSERT_EQ(draw.vertex_count, 24) << "the space is a quad too";
  const auto* v = reinterpret_cast<const VertexTextured*>(draw.vertices.data());
  auto left = [&](int quad) { return v[quad * 6].x - static_cast<float>(f->GetGlyph(codes[quad])->offset); };
  EXPECT_FLOAT_EQ(left(1) - left(0), m + 2);
  EXPECT_FLOAT_EQ(left(2) - left(1), m + 2 + 7) << "the gap follows a space";
  EXPECT_FLOAT_EQ(left(3) - left(2), m + 2);
  EXPECT_FLOAT_EQ(v[0].y, 20 + static_cast<float>(f->maxHeight - f->ascender - f->ascenderOffset) - 1);
  Device_EndFrame(false);
}

}  // namespace

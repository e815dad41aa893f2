// Text state, measuring and line splitting with the runtime's default font, through the builtins.
#include <gtest/gtest.h>

#include "core/gc.h"
#include "graphics/font.h"
#include "graphics/graphics_fixture.h"

namespace {

RValue R(double v) { return RV_Real(v); }
RValue S(const char* text) {
  RValue v = RV_Undefined();
  RV_SetString(&v, text);
  return v;
}
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
    Text_ResetState();
    ASSERT_NE(Font_Default(), nullptr);
  }
  void TearDown() override {
    Font_FreeAll();
    Font_ReleaseDefault();
    GraphicsTest::TearDown();
    GC_Reset();
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

}  // namespace

// Text and user shaders on the real OpenGL device: draw_text read back against golden pictures
// with the game's own fonts, the glyph tables of those fonts against their atlas, and a vertex
// buffer drawn under a shader of a writer-made data file, next to one that doesn't compile.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/console.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_shdr.h"
#include "graphics/asset_fonts.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/draw.h"
#include "graphics/font.h"
#include "graphics/graphics_fixture.h"
#include "graphics/shader.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"
#include "graphics/vertex_buffer.h"
#include "graphics/window.h"
#include "platform/process.h"
#include "run/asset_readers.h"
#include "support/game_file.h"
#include "support/gl_display.h"
#include "support/golden.h"
#include "text/scribble.h"

namespace {

constexpr int kWidth = 128;
constexpr int kHeight = 64;

// A real window over a loaded data file: the game's own (with its fonts and shaders) or one the
// writer made.
class GlGameTest : public ::testing::Test {
 protected:
  void Load(std::vector<uint8_t> image) {
    ResetLoaderState();
    FrameState_Reset();
    image_ = std::move(image);
    Assets_InstallReaders();
    ASSERT_TRUE(HeaderScan(image_.data(), static_cast<uint32_t>(image_.size())));
    UseGlDisplay();
    ASSERT_TRUE(Window_Create(kWidth, kHeight));
    ASSERT_TRUE(Graphics_Init());
    if (!Window_State().real_display) GTEST_SKIP() << "no display";
    ASSERT_TRUE(LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())));
    Shader_CompileAll();
    Draw_RegisterBuiltins();
    Font_RegisterBuiltins();
    Vertex_RegisterBuiltins();
    Text_ResetState();
    Draw_ResetState();
    Start_Frame();
    GR_Set_View(0, 0, kWidth, kHeight, 0);
    Draw_Clear(0xFF000000u);
  }

  void TearDown() override {
    Vertex_FreeAll();
    Shader_FreeAll();
    Font_FreeAll();
    Font_ReleaseDefault();
    Window_Destroy();
    FrameState_Reset();
    Platform_TakeQuitSignal();
    GC_Reset();
  }

  std::vector<uint32_t> ReadBack() {
    GR_Flush();
    std::vector<uint32_t> pixels(static_cast<size_t>(kWidth) * kHeight);
    EXPECT_TRUE(Graphics_Device()->ReadPixels(DeviceRect{0, 0, kWidth, kHeight}, pixels.data()));
    return pixels;
  }

  std::vector<uint8_t> image_;
};

class GlGameTextTest : public GlGameTest {
 protected:
  void SetUp() override {
    std::vector<uint8_t> file = GameFileImage();
    ASSERT_GT(file.size(), 1024u) << "build the data_win target first";
    Load(std::move(file));
  }
  static double FontIndex(const char* name) { return Font_Table().find(name); }
};

TEST_F(GlGameTextTest, DrawTextPlacesLinesByAlignmentAndWraps) {
  CallBuiltin("draw_set_font", {R(FontIndex("fnt_regular"))});
  CallBuiltin("draw_set_colour", {R(0xFFFFFF)});
  CallBuiltin("draw_text", {R(2), R(2), S("Left")});
  CallBuiltin("draw_set_halign", {R(1)});
  CallBuiltin("draw_set_colour", {R(0x00FFFF)});
  CallBuiltin("draw_text", {R(64), R(2), S("Mid")});
  CallBuiltin("draw_set_halign", {R(2)});
  CallBuiltin("draw_set_colour", {R(0xFF8000)});
  CallBuiltin("draw_text", {R(126), R(2), S("Right")});
  CallBuiltin("draw_set_halign", {R(0)});
  CallBuiltin("draw_set_colour", {R(0x80FF80)});
  CallBuiltin("draw_text_ext", {R(2), R(20), S("lanes hold the keep"), R(-1), R(70)});
  const double width = RV_ToDouble(CallBuiltin("string_width_ext", {S("lanes hold the keep"), R(-1), R(70)}));
  EXPECT_LE(width, 70) << "every wrapped line fits";
  const double one = RV_ToDouble(CallBuiltin("string_height", {S("x")}));
  const double wrapped = RV_ToDouble(CallBuiltin("string_height_ext", {S("lanes hold the keep"), R(-1), R(70)}));
  EXPECT_GT(wrapped, one) << "more than one line";
  EXPECT_EQ(static_cast<int>(wrapped) % static_cast<int>(one), 0) << "whole lines of the font's height";
  ExpectGolden("text_align_wrap", kWidth, kHeight, ReadBack());
}

TEST_F(GlGameTextTest, ColourAndTransformedFormsDrawTheirGradientsAndTurns) {
  CallBuiltin("draw_set_font", {R(FontIndex("fnt_title"))});
  CallBuiltin("draw_text_colour",
              {R(2), R(2), S("KOVA"), R(0x0000FF), R(0xFF0000), R(0xFF0000), R(0x0000FF), R(1)});
  CallBuiltin("draw_set_font", {R(FontIndex("fnt_regular_small"))});
  CallBuiltin("draw_set_colour", {R(0xFFFFFF)});
  CallBuiltin("draw_text_transformed", {R(100), R(60), S("up"), R(2), R(2), R(90)});
  ExpectGolden("text_colour_transformed", kWidth, kHeight, ReadBack());
}

TEST_F(GlGameTextTest, GlyphsOfTheGameFontsSitOnTheirAtlasWithAClearBorder) {
  for (const char* name : {"fnt_regular", "fnt_regular_small", "fnt_title"}) {
    const TextFont* font = Font_At(static_cast<int32_t>(FontIndex(name)));
    ASSERT_NE(font, nullptr) << name;
    ASSERT_NE(font->pageEntry, nullptr) << name;
    const TexturePageEntry entry = PageEntry_Read(font->pageEntry);
    TextureSlot* slot = Texture_Get(entry.texture, true, true, true, false);
    ASSERT_NE(slot, nullptr);
    DecodedImage page;
    ASSERT_TRUE(Texture_DecodeSource(slot->texture, &page)) << name;
    auto alpha = [&](int x, int y) { return page.pixels[(static_cast<size_t>(y) * page.width + x) * 4 + 3]; };
    EXPECT_NE(font->GetGlyph('A'), nullptr) << name;
    for (const FontGlyph& g : font->glyphs) {
      int32_t x = 0, y = 0;
      Font_GlyphPagePosition(*font, g, &x, &y);
      ASSERT_GE(x - 1, entry.x) << name << " " << g.character;
      ASSERT_GE(y - 1, entry.y) << name << " " << g.character;
      ASSERT_LE(x + g.w + 1, entry.x + entry.w) << name << " " << g.character;
      ASSERT_LE(y + g.h + 1, entry.y + entry.h) << name << " " << g.character;
      int inside = 0;
      for (int py = y; py < y + g.h; ++py) {
        for (int px = x; px < x + g.w; ++px) inside += alpha(px, py) != 0;
      }
      int border = 0;
      for (int px = x - 1; px <= x + g.w; ++px) border += (alpha(px, y - 1) != 0) + (alpha(px, y + g.h) != 0);
      for (int py = y; py < y + g.h; ++py) border += (alpha(x - 1, py) != 0) + (alpha(x + g.w, py) != 0);
      if (g.character > 32 && g.character < 127) {
        EXPECT_GT(inside, 0) << name << ": '" << char(g.character) << "'";
      }
      EXPECT_EQ(border, 0) << name << ": '" << char(g.character) << "' bleeds past its rectangle";
    }
  }
}

// A tagged page of the text library drawn through its own text shader: fonts, colours, alpha,
// scale and alignment from tags, and draw_text_scribble with the draw state's centring and colour.
TEST_F(GlGameTextTest, TextLibraryDrawsATaggedPageThroughItsShader) {
  ASSERT_TRUE(Shader_IsCompiled(1));
  auto element = [](const char* text) {
    RValue arg = S(text);
    RValue* args[] = {&arg};
    RValue made = RV_Undefined();
    tsl_Script_scribble(nullptr, nullptr, &made, 1, args);
    RV_FreeToUndefined(&arg);
    return made;
  };
  RValue page = element("[fnt_title][c_red]KO[c_lime]VA[/c]\n[fnt_regular_small][alpha,0.5]half [/a][scale,2]big");
  RValue draw_method = RV_Undefined();
  KVGetVariable(&page, Variable_FindOrAddSlot("draw"), kIndexWholeValue, &draw_method, false, false);
  RValue x = R(2), y = R(2);
  RValue* at[] = {&x, &y};
  RValue drawn = RV_Undefined();
  CallMethod(nullptr, nullptr, &drawn, 2, &draw_method, at);
  CallBuiltin("draw_set_halign", {R(1)});
  CallBuiltin("draw_set_colour", {R(0xFFFF00)});
  RValue cx = R(96), cy = R(48), text = S("[fnt_regular]keep");
  RValue* centred[] = {&cx, &cy, &text};
  tsl_Script_draw_text_scribble(nullptr, nullptr, &drawn, 3, centred);
  const std::vector<uint32_t> pixels = ReadBack();
  // The title's first letters are red and its last green; the centred word is tinted cyan.
  auto count = [&](int x0, int x1, int y0, int y1, auto test) {
    int n = 0;
    for (int py = y0; py < y1; ++py) {
      for (int px = x0; px < x1; ++px) n += test(pixels[static_cast<size_t>(py) * kWidth + px]) ? 1 : 0;
    }
    return n;
  };
  auto red = [](uint32_t p) { return (p & 0xFF) > 160 && ((p >> 8) & 0xFF) < 60; };
  auto green = [](uint32_t p) { return ((p >> 8) & 0xFF) > 160 && (p & 0xFF) < 60 && ((p >> 16) & 0xFF) < 60; };
  auto cyan = [](uint32_t p) { return ((p >> 8) & 0xFF) > 160 && ((p >> 16) & 0xFF) > 160 && (p & 0xFF) < 60; };
  EXPECT_GT(count(0, 30, 0, 30, red), 10);
  EXPECT_EQ(count(0, 30, 0, 30, green), 0);
  EXPECT_GT(count(30, 80, 0, 30, green), 10);
  EXPECT_GT(count(70, 122, 40, 64, cyan), 10);
  EXPECT_GT(count(0, 96, 40, 64, cyan), 0) << "centred on x = 96";
  RV_FreeToUndefined(&page);
  RV_FreeToUndefined(&draw_method);
  RV_FreeToUndefined(&drawn);
  RV_FreeToUndefined(&text);
  ExpectGolden("text_library_page", kWidth, kHeight, pixels);
}

// A data file of two shaders: a tint with a uniform, and one with a syntax error.
std::vector<uint8_t> shader_file() {
  datawin::Writer writer;
  datawin::Gen8Record record = MinimalHeader(17, 2, 60.0f);
  record.window_width = kWidth;
  record.window_height = kHeight;
  datawin::add_gen8(writer, record);
  datawin::ShaderRecord tint;
  tint.name = "shd_tint";
  tint.programs[0] =
      "#version 330 core\nin vec3 in_Position;\nin vec4 in_Colour;\nuniform mat4 tv_Matrices[5];\n"
      "out vec4 v_colour;\nvoid main() { gl_Position = tv_Matrices[4] * vec4(in_Position, 1.0); v_colour = "
      "in_Colour; }\n";
  tint.programs[1] =
      "#version 330 core\nin vec4 v_colour;\nuniform vec4 u_vTint;\nuniform float u_fLevels[3];\nout vec4 "
      "out_colour;\nvoid main() { out_colour = v_colour * u_vTint + vec4(u_fLevels[2], 0.0, 0.0, 0.0); }\n";
  tint.attributes = {"in_Position", "in_Colour"};
  datawin::ShaderRecord broken = tint;
  broken.name = "shd_broken";
  broken.programs[1] = "#version 330 core\nout vec4 out_colour;\nvoid main() { out_colour = vec4(1.0) }\n";
  datawin::add_shdr(writer, {tint, broken});
  return BuildImage(writer);
}

class GlShaderTest : public GlGameTest {
 protected:
  void SetUp() override { Load(shader_file()); }
};

TEST_F(GlShaderTest, AVertexBufferDrawsUnderAShaderWithItsUniforms) {
  CallBuiltin("vertex_format_begin");
  CallBuiltin("vertex_format_add_position");
  CallBuiltin("vertex_format_add_colour");
  const double format = RV_ToDouble(CallBuiltin("vertex_format_end"));
  const double buffer = RV_ToDouble(CallBuiltin("vertex_create_buffer"));
  CallBuiltin("vertex_begin", {R(buffer), R(format)});
  const double corners[6][3] = {{8, 8, 0x0000FF}, {120, 8, 0x00FF00}, {8, 56, 0xFF0000},
                                {120, 8, 0x00FF00}, {120, 56, 0xFFFFFF}, {8, 56, 0xFF0000}};
  for (const auto& c : corners) {
    CallBuiltin("vertex_position", {R(buffer), R(c[0]), R(c[1])});
    CallBuiltin("vertex_colour", {R(buffer), R(c[2]), R(1)});
  }
  CallBuiltin("vertex_end", {R(buffer)});
  const double shader = Shader_FindUniform(0, "u_vTint") >= 0 ? 0 : -1;
  ASSERT_EQ(shader, 0) << "the tint shader has its uniform";
  EXPECT_EQ(RV_ToDouble(CallBuiltin("shader_is_compiled", {R(0)})), 1);
  CallBuiltin("shader_set", {R(0)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("shader_current")), 0);
  const double tint = RV_ToDouble(CallBuiltin("shader_get_uniform", {R(0), S("u_vTint")}));
  const double levels = RV_ToDouble(CallBuiltin("shader_get_uniform", {R(0), S("u_fLevels")}));
  CallBuiltin("shader_set_uniform_f", {R(tint), R(1), R(0.5), R(1), R(1)});
  // More values than the array holds leave it alone: the red lift stays 0.
  testing::internal::CaptureStdout();
  CallBuiltin("shader_set_uniform_f", {R(-1), R(1)});
  RefDynamicArrayOfRValue* four = RV_NewArray(4);
  for (int i = 0; i < 4; ++i) four->pArray[i] = R(1);
  RValue array = RV_Undefined();
  array.pArray = four;
  array.flags = 0;
  array.kind = kRVArray;
  CallBuiltin("shader_set_uniform_f_array", {R(levels), array});
  const std::string console = testing::internal::GetCapturedStdout();
  EXPECT_NE(console.find("Trying to set too much data for shader uniform u_fLevels"), std::string::npos) << console;
  CallBuiltin("vertex_submit", {R(buffer), R(4), R(-1)});
  CallBuiltin("shader_reset");
  EXPECT_EQ(RV_ToDouble(CallBuiltin("shader_current")), -1);
  ExpectGolden("vertex_buffer_tint_shader", kWidth, kHeight, ReadBack());
}

TEST_F(GlShaderTest, SettingAUniformLeavesTheShapesDrawnBeforeItAsTheyWere) {
  CallBuiltin("shader_set", {R(0)});
  const double tint = RV_ToDouble(CallBuiltin("shader_get_uniform", {R(0), S("u_vTint")}));
  const uint32_t white = 0xFFFFFFFFu;
  CallBuiltin("shader_set_uniform_f", {R(tint), R(1), R(0), R(0), R(1)});
  Draw_Rectangle(0, 0, 20, 20, white, white, white, white, false);
  CallBuiltin("shader_set_uniform_f", {R(tint), R(0), R(0), R(1), R(1)});
  Draw_Rectangle(30, 0, 50, 20, white, white, white, white, false);
  CallBuiltin("shader_reset");
  const std::vector<uint32_t> pixels = ReadBack();
  EXPECT_EQ(pixels[static_cast<size_t>(10 * kWidth + 10)] & 0xFFFFFFu, 0x0000FFu) << "drawn under the red tint";
  EXPECT_EQ(pixels[static_cast<size_t>(10 * kWidth + 40)] & 0xFFFFFFu, 0xFF0000u) << "drawn under the blue tint";
}

TEST_F(GlShaderTest, AShaderThatFailsToCompileIsReportedAndDrawingGoesOn) {
  EXPECT_EQ(RV_ToDouble(CallBuiltin("shader_is_compiled", {R(1)})), 0);
  const std::string error = BuiltinError("shader_set", {R(1)});
  EXPECT_NE(error.find("fragment shader"), std::string::npos) << error;
  EXPECT_NE(error.find("rror"), std::string::npos) << "the compiler's log: " << error;
  Draw_Rectangle(0, 0, 20, 20, 0xFF00FF00u, 0xFF00FF00u, 0xFF00FF00u, 0xFF00FF00u, false);
  const std::vector<uint32_t> pixels = ReadBack();
  EXPECT_EQ(pixels[static_cast<size_t>(10 * kWidth + 10)] & 0xFFFFFFu, 0x00FF00u) << "the built-in shader drew";
}

}  // namespace

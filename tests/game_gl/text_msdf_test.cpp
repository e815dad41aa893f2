// Distance-field text of the text library drawn through the game's distance-field shader on the
// OpenGL device: a font made at test time from a generated field (a square glyph) and its metrics
// file, drawn with and without feather, border and shadow, and read back at chosen pixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "core/script_api.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/draw.h"
#include "graphics/image_files.h"
#include "graphics/shader.h"
#include "graphics/surface.h"
#include "game_gl_start.h"
#include "room_draw_probe.h"
#include "support/pixels.h"
#include "text/scribble.h"

namespace {

using tsl::Value;

// The field: 64 x 64 texels, a square from texel 16.5 to 47.5 on both axes (its edges fall between
// texel centres, so point sampling would smear them over whole texels), a range of 8 texels. The
// glyph "A" is the whole atlas, one text pixel per texel, advancing 32 pixels: two glyphs side by
// side touch.
constexpr int kAtlas = 64;
constexpr double kLow = 16.5, kHigh = 47.5, kRange = 8;

void write_field(const std::string& path) {
  std::vector<uint8_t> rgba(static_cast<size_t>(kAtlas) * kAtlas * 4);
  for (int y = 0; y < kAtlas; ++y) {
    for (int x = 0; x < kAtlas; ++x) {
      const double px = x + 0.5, py = y + 0.5;
      // Signed distance to the square's edge, positive inside.
      const double dx = std::max(kLow - px, px - kHigh), dy = std::max(kLow - py, py - kHigh);
      const double outside = std::hypot(std::max(dx, 0.0), std::max(dy, 0.0));
      const double inside = -std::min(std::max(dx, dy), 0.0);
      const double value = std::clamp(0.5 + (inside - outside) / kRange, 0.0, 1.0);
      uint8_t* p = &rgba[(static_cast<size_t>(y) * kAtlas + x) * 4];
      p[0] = p[1] = p[2] = static_cast<uint8_t>(std::lround(value * 255));
      p[3] = 255;
    }
  }
  std::vector<uint8_t> png;
  ASSERT_TRUE(Image_EncodePng(rgba.data(), kAtlas, kAtlas, &png));
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(png.data()), static_cast<long>(png.size()));
}

void write_metrics(const std::string& path) {
  std::ofstream(path) << R"({"atlas": {"type": "msdf", "distanceRange": 8, "size": 64, "width": 64, "height": 64, "yOrigin": "top"},
    "metrics": {"emSize": 1, "lineHeight": 1, "ascender": 0, "descender": 1},
    "glyphs": [{"unicode": 32, "advance": 0.25},
               {"unicode": 65, "advance": 0.5, "planeBounds": {"left": 0, "top": 0, "right": 1, "bottom": 1},
                "atlasBounds": {"left": 0, "top": 0, "right": 64, "bottom": 64}}]})";
}

// Words with red in the lowest byte.
constexpr uint32_t kBlack = 0x000000, kWhiteFill = 0xFFFFFF, kRedBorder = 0x0000FF, kBlueShadow = 0xFF0000;

int channel(uint32_t p, int shift) { return static_cast<int>((p >> shift) & 0xFF); }
bool near_colour(uint32_t got, uint32_t want) {
  for (int shift = 0; shift < 24; shift += 8) {
    if (std::abs(channel(got, shift) - channel(want, shift)) > 40) return false;
  }
  return true;
}

class TextMsdfTest : public GameGlTest {
 protected:
  void SetUp() override {
    GameGlTest::SetUp();
    if (IsSkipped()) return;
    RoomDrawProbe_Install(&game_, 0, 0, 640, 360);
    const std::string png = testing::TempDir() + "kova_msdf_square.png";
    const std::string json = testing::TempDir() + "kova_msdf_square.json";
    write_field(png);
    write_metrics(json);
    const Value sprite = tsl::call("sprite_add", nullptr, nullptr,
                                   {*Value::String(png.c_str()), RV_Real(1), RV_Bool(false), RV_Bool(false), RV_Real(0),
                                    RV_Real(0)});
    ASSERT_GE(sprite.real(), 0) << "the field's sprite";
    call(tsl_Script_scribble_font_add_msdf, {*Value::String("fnt_square"), *sprite, *Value::String(json.c_str())});
    std::remove(png.c_str());
    std::remove(json.c_str());
    ASSERT_TRUE(Shader_IsCompiled(6)) << "the distance-field shader compiles";
  }
  void TearDown() override {
    RoomDrawProbe_Current() = RoomDrawProbe{};
    GameGlTest::TearDown();
  }

  // element.name(args...), returning what the method returns.
  static Value method(const Value& element, const char* name, std::initializer_list<RValue> args) {
    CInstance* self = KV_AsInstance(element.object());
    return tsl::call_method(*tsl::get(self, name), self, self, args);
  }

  // A frame of the game whose room draw ends with the element of text and id drawn at (x, y) on
  // black, set up by `style`; the window's picture after.
  void Draw(const char* text, const char* id, double x, double y, const std::function<void(const Value&)>& style) {
    RoomDrawProbe& probe = RoomDrawProbe_Current();
    probe.draw = [&] {
      Draw_Rectangle(0, 0, 640, 360, 0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFF000000u, false);
      const Value element = call(tsl_Script_scribble, {*Value::String(text), *Value::String(id)});
      if (style) style(element);
      method(element, "draw", {RV_Real(x), RV_Real(y)});
      EXPECT_EQ(Shader_Current(), -1) << "the text leaves no shader set";
    };
    game_.Frame();
    probe.draw = nullptr;
    probe.Read();
  }
  uint32_t At(int x, int y) const { return RoomDrawProbe_Current().At(x, y); }
  // Pixels of row y from x0 to x1 that are neither background nor fully lit.
  int Partial(int y, int x0, int x1) const {
    int n = 0;
    for (int x = x0; x < x1; ++x) {
      const int r = channel(At(x, y), 0);
      n += r > 25 && r < 230 ? 1 : 0;
    }
    return n;
  }
};

// Drawn at (100, 100): the square's fill covers x and y from 116.5 to 147.5.
struct Probe {
  int x, y;
  uint32_t colour;
};
struct Case {
  const char* name;
  const char* text;
  double scale;
  std::function<void(const Value&)> style;
  std::vector<Probe> probes;
};

TEST_F(TextMsdfTest, FillBorderAndShadowLieWhereTheirSettingsPutThem) {
  const auto white = [](const Value& e) {
    TextMsdfTest::method(e, "starting_format", {*Value::String("fnt_square"), RV_Real(0xFFFFFF)});
  };
  const Case cases[] = {
      {"plain fill", "A", 1, white,
       {{132, 132, kWhiteFill}, {118, 132, kWhiteFill}, {114, 132, kBlack}, {150, 132, kBlack}, {132, 150, kBlack}}},
      {"border of 3 pixels",
       "A",
       1,
       [&](const Value& e) {
         white(e);
         method(e, "msdf_border", {RV_Real(0x0000FF), RV_Real(3)});
       },
       {{132, 132, kWhiteFill}, {115, 132, kRedBorder}, {149, 132, kRedBorder}, {132, 114, kRedBorder},
        {111, 132, kBlack}, {153, 132, kBlack}}},
      {"shadow moved by (6, 6)",
       "A",
       1,
       [&](const Value& e) {
         white(e);
         method(e, "msdf_shadow", {RV_Real(0xFF0000), RV_Real(1), RV_Real(6), RV_Real(6), RV_Real(0)});
       },
       {{132, 132, kWhiteFill}, {150, 140, kBlueShadow}, {140, 150, kBlueShadow}, {150, 119, kBlack},
        {119, 150, kBlack}, {156, 140, kBlack}}},
      {"border over shadow",
       "A",
       1,
       [&](const Value& e) {
         white(e);
         method(e, "msdf_border", {RV_Real(0x0000FF), RV_Real(3)});
         method(e, "msdf_shadow", {RV_Real(0xFF0000), RV_Real(1), RV_Real(6), RV_Real(6), RV_Real(0)});
       },
       {{132, 132, kWhiteFill}, {149, 140, kRedBorder}, {155, 140, kBlueShadow}, {115, 132, kRedBorder},
        {158, 140, kBlack}}},
      // Two touching glyphs: the second's border lies over the first's fill until the fills are
      // laid again.
      {"fills over the neighbour's border",
       "AA",
       1,
       [&](const Value& e) {
         white(e);
         method(e, "msdf_border", {RV_Real(0x0000FF), RV_Real(3)});
       },
       {{146, 132, kWhiteFill}, {149, 132, kWhiteFill}, {115, 132, kRedBorder}, {181, 132, kRedBorder}}},
      // Four times as large: the edge at 100 + 4 * 16.5 = 166 is sharp only with bilinear sampling.
      {"scaled by 4",
       "A",
       4,
       white,
       {{164, 240, kBlack}, {165, 240, kBlack}, {166, 240, kWhiteFill}, {167, 240, kWhiteFill}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const double scale = c.scale;
    Draw(c.text, c.name, 100, 100, [&](const Value& e) {
      c.style(e);
      method(e, "transform", {RV_Real(scale), RV_Real(scale), RV_Real(0)});
    });
    for (const Probe& p : c.probes) {
      EXPECT_TRUE(near_colour(At(p.x, p.y), p.colour))
          << "at (" << p.x << ", " << p.y << "): " << Hex(At(p.x, p.y)) << ", want " << Hex(p.colour);
    }
  }
}

TEST_F(TextMsdfTest, TheFeatherWidensTheSoftEdgeAroundTheSameLine) {
  const auto feathered = [&](double feather) {
    Draw("A", "feathered", 100, 100, [&](const Value& e) {
      method(e, "starting_format", {*Value::String("fnt_square"), RV_Real(0xFFFFFF)});
      method(e, "msdf_feather", {RV_Real(feather)});
    });
  };
  feathered(1);
  EXPECT_LE(Partial(132, 105, 130), 2) << "a one-pixel edge";
  feathered(8);
  EXPECT_GE(Partial(132, 105, 130), 6) << "an edge eight pixels wide";
  // Either way the edge's middle stays on the square's side, at x = 116.5.
  EXPECT_NEAR(channel(At(116, 132), 0), 128, 40);
  EXPECT_LT(channel(At(112, 132), 0), channel(At(116, 132), 0));
  EXPECT_GT(channel(At(121, 132), 0), channel(At(116, 132), 0));
}

TEST_F(TextMsdfTest, StandardAndDistanceFieldFontsDrawInOneText) {
  Draw("[fnt_regular]xx[fnt_square]A", "mixed", 100, 100, [&](const Value& e) {
    method(e, "msdf_border", {RV_Real(0x0000FF), RV_Real(2)});
  });
  int standard = 0;
  for (int y = 100; y < 170; ++y) {
    for (int x = 100; x < 114; ++x) standard += channel(At(x, y), 0) > 128 ? 1 : 0;
  }
  EXPECT_GT(standard, 10) << "the standard glyphs";
  int fill = 0, border = 0;
  for (int y = 100; y < 170; ++y) {
    for (int x = 110; x < 200; ++x) {
      fill += near_colour(At(x, y), kWhiteFill) ? 1 : 0;
      border += near_colour(At(x, y), kRedBorder) ? 1 : 0;
    }
  }
  EXPECT_GT(fill, 500) << "the distance-field glyph";
  EXPECT_GT(border, 100) << "and its border";
}

}  // namespace

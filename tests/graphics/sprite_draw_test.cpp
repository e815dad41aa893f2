// The quad family and the sprite builtins on the recording null device: where quads land, which
// frame is drawn, what is culled, and that a page's sprites share one batch.
#include <cmath>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/script_api.h"
#include "graphics/cull.h"
#include "graphics/draw.h"
#include "graphics/sprite_draw.h"
#include "graphics/tile_draw.h"
#include "graphics_fixture.h"

using namespace datawin;

namespace {

struct Quad {
  float x[6], y[6], u[6], v[6];
  uint32_t colour[6];
};

class SpriteDrawTest : public DrawGameTest {
 protected:
  void SetUp() override {
    DrawGameTest::SetUp();
    Start_Frame();
    GR_Set_View(0, 0, 64, 64, 0);
    GR_Flush();
    device_.clear_record();
  }

  // The quads drawn since the last call.
  std::vector<Quad> Quads() {
    const std::vector<VertexTextured> v = TexturedVertices();
    std::vector<Quad> quads;
    for (size_t q = 0; q + 6 <= v.size(); q += 6) {
      Quad quad;
      for (size_t i = 0; i < 6; ++i) {
        quad.x[i] = v[q + i].x, quad.y[i] = v[q + i].y;
        quad.u[i] = v[q + i].u, quad.v[i] = v[q + i].v;
        quad.colour[i] = v[q + i].colour;
      }
      quads.push_back(quad);
    }
    return quads;
  }

  static tsl::Value Call(const char* name, std::initializer_list<RValue> args) {
    return tsl::call(name, nullptr, nullptr, args);
  }
};

TEST(SpriteFrameIndex, WrapsBothWaysAndRefusesEmptySprites) {
  struct Case {
    float subimage;
    int32_t frames, want;
  };
  const Case cases[] = {{2.9f, 3, 2}, {-0.5f, 3, 2}, {-1.0f, 3, 2}, {3.0f, 3, 0}, {7.5f, 2, 1},
                        {-4.0f, 3, 2}, {0.0f, 0, -1}, {1.0f, -2, -1}};
  for (const Case& c : cases) {
    EXPECT_EQ(Sprite_FrameIndex(c.subimage, c.frames), c.want) << c.subimage << " of " << c.frames;
  }
}

TEST_F(SpriteDrawTest, ATrimmedFrameLandsAtItsTargetOffsetScaledAroundTheOrigin) {
  // spr_trimmed: a 16 x 16 box with its origin at (8, 8), its 8 x 8 pixels at (4, 4).
  Call("draw_sprite_ext", {R(kSprTrimmed), R(0), R(20), R(20), R(2), R(2), R(0), R(0xFFFFFF), R(1)});
  const std::vector<Quad> quads = Quads();
  ASSERT_EQ(quads.size(), 1u);
  const Quad& q = quads[0];
  EXPECT_FLOAT_EQ(q.x[0], 20 + 2 * (4 - 8));  // top left
  EXPECT_FLOAT_EQ(q.y[0], 12);
  EXPECT_FLOAT_EQ(q.x[2], 28);  // bottom right
  EXPECT_FLOAT_EQ(q.y[2], 28);
  EXPECT_FLOAT_EQ(q.u[0], 4.0f / 64);
  EXPECT_FLOAT_EQ(q.v[0], 52.0f / 64);
  EXPECT_FLOAT_EQ(q.u[2], 12.0f / 64);
  EXPECT_EQ(q.colour[0], 0xFFFFFFFFu);
}

// The drawing builtins that take a part, free corners, a box, a turn or a tiling: each argument
// reaches its corner. Corners are top left, top right, bottom right, bottom left (quad vertices 0 1 2 4).
TEST_F(SpriteDrawTest, EachSpriteDrawBuiltinPutsItsArgumentsOnTheRightCorners) {
  const double c1 = 0x112233, c2 = 0x445566, c3 = 0x778899, c4 = 0xAABBCC;
  struct Case {
    const char* name;
    std::vector<double> args;
    size_t quads, index;  // how many quads, and the one checked
    float x[4], y[4];
    uint32_t colour[4];
    float u0, v0;  // at the top left, in texels of the 64 x 64 page
  };
  const uint32_t half = 0x7FFFFFFFu;  // white at the draw alpha of 0.5
  const Case cases[] = {
      {"draw_sprite_part", {kSprWhite, 0, 4, 2, 8, 6, 10, 20}, 1, 0, {10, 18, 18, 10}, {20, 20, 26, 26},
       {half, half, half, half}, 52, 2},
      {"draw_sprite_part_ext", {kSprWhite, 0, 4, 2, 8, 6, 10, 20, 2, 3, c1, 0.25}, 1, 0, {10, 26, 26, 10},
       {20, 20, 38, 38}, {0x3F112233u, 0x3F112233u, 0x3F112233u, 0x3F112233u}, 52, 2},
      {"draw_sprite_general", {kSprWhite, 0, 4, 2, 8, 6, 10, 20, 2, 3, 0, c1, c2, c3, c4, 1}, 1, 0,
       {10, 26, 26, 10}, {20, 20, 38, 38}, {0xFF112233u, 0xFF445566u, 0xFF778899u, 0xFFAABBCCu}, 52, 2},
      {"draw_sprite_general", {kSprWhite, 0, 4, 2, 8, 6, 10, 20, 2, 3, 90, c1, c2, c3, c4, 0.5}, 1, 0,
       {10, 10, 28, 28}, {20, 4, 4, 20}, {0x7F112233u, 0x7F445566u, 0x7F778899u, 0x7FAABBCCu}, 52, 2},
      {"draw_sprite_pos", {kSprWhite, 0, 1, 2, 30, 3, 28, 25, 2, 20, 0.25}, 1, 0, {1, 30, 28, 2}, {2, 3, 25, 20},
       {0x3FFFFFFFu, 0x3FFFFFFFu, 0x3FFFFFFFu, 0x3FFFFFFFu}, 48, 0},
      // spr_trimmed: 16 x 16 with origin (8, 8), its pixels 8 x 8 at (4, 4); the box's top left
      // stays at (10, 10) and the pixels start 4 box pixels in, at scale 2 by 3.
      {"draw_sprite_stretched", {kSprTrimmed, 0, 10, 10, 32, 48}, 1, 0, {18, 34, 34, 18}, {22, 22, 46, 46},
       {half, half, half, half}, 4, 52},
      {"draw_sprite_stretched_ext", {kSprTrimmed, 0, 10, 10, 32, 48, c2, 0.25}, 1, 0, {18, 34, 34, 18},
       {22, 22, 46, 46}, {0x3F445566u, 0x3F445566u, 0x3F445566u, 0x3F445566u}, 4, 52},
      // Turned about the origin: 0.0005 radians is below the straight path's limit of 0.001.
      {"draw_sprite_ext", {kSprWhite, 0, 10, 10, 1, 1, 0.0005 * 180.0 / M_PI, 0xFFFFFF, 0.5}, 1, 0, {10, 26, 26, 10},
       {10, 10, 26, 26}, {half, half, half, half}, 48, 0},
      {"draw_sprite_ext", {kSprWhite, 0, 10, 10, 1, 1, 90, 0xFFFFFF, 0.5}, 1, 0, {10, 10, 26, 26}, {10, -6, -6, 10},
       {half, half, half, half}, 48, 0},
      // Steps of 32 by 8 over the 64 x 64 view: 4 columns, 10 rows, from (5 - 32, 5 - 8).
      {"draw_sprite_tiled_ext", {kSprWhite, 0, 5, 5, 2, 0.5, c3, 1}, 40, 1, {-27, 5, 5, -27}, {5, 5, 13, 13},
       {0xFF778899u, 0xFF778899u, 0xFF778899u, 0xFF778899u}, 48, 0},
  };
  Call("draw_set_alpha", {R(0.5)});
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " #" + std::to_string(&c - cases));
    CallNumber(c.name, c.args);
    const std::vector<Quad> quads = Quads();
    ASSERT_EQ(quads.size(), c.quads);
    const Quad& q = quads[c.index];
    const int corner[4] = {0, 1, 2, 4};
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(q.x[corner[i]], c.x[i], 1e-4) << "corner " << i;
      EXPECT_NEAR(q.y[corner[i]], c.y[i], 1e-4) << "corner " << i;
      EXPECT_EQ(q.colour[corner[i]], c.colour[i]) << "corner " << i;
    }
    EXPECT_FLOAT_EQ(q.u[0], c.u0 / 64);
    EXPECT_FLOAT_EQ(q.v[0], c.v0 / 64);
  }
  Call("draw_set_alpha", {R(1)});
}

TEST_F(SpriteDrawTest, SubimagesWrapAndBelowZeroTakeTheCallersImage) {
  struct Case {
    double subimage;
    float u0;
  };
  const Case cases[] = {{0, 0}, {1.9, 16}, {2.9, 32}, {4, 16}, {-0.5, 0}};  // -0.5 without an instance: image 0
  for (const Case& c : cases) {
    Call("draw_sprite", {R(kSprFrames), R(c.subimage), R(0), R(0)});
    const std::vector<Quad> quads = Quads();
    ASSERT_EQ(quads.size(), 1u) << c.subimage;
    EXPECT_FLOAT_EQ(quads[0].u[0], c.u0 / 64) << c.subimage;
  }
}

TEST_F(SpriteDrawTest, APartInsideTheTrimmedMarginDrawsNothingAndSaysNothing) {
  ConsoleCapture console;
  Call("draw_sprite_part", {R(kSprTrimmed), R(0), R(0), R(0), R(4), R(4), R(0), R(0)});
  EXPECT_TRUE(Quads().empty());
  // A part across the margin keeps the inside: (2, 2)-(10, 10) of the box is (4, 4)-(10, 10).
  Call("draw_sprite_part", {R(kSprTrimmed), R(0), R(2), R(2), R(8), R(8), R(30), R(30)});
  const std::vector<Quad> quads = Quads();
  ASSERT_EQ(quads.size(), 1u);
  EXPECT_FLOAT_EQ(quads[0].x[0], 32);
  EXPECT_FLOAT_EQ(quads[0].x[2], 38);
  EXPECT_FLOAT_EQ(quads[0].u[0], 4.0f / 64);
  EXPECT_FLOAT_EQ(quads[0].u[2], 10.0f / 64);
  EXPECT_EQ(console.text().find("Error attempting"), std::string::npos);
}

TEST_F(SpriteDrawTest, TiledFillsOnlyTheViewPlusOneCellBefore) {
  GR_Set_View(0, 0, 32, 32, 0);
  Call("draw_sprite_tiled", {R(kSprWhite), R(0), R(5), R(5)});
  const std::vector<Quad> quads = Quads();
  // (32 + 15) / 16 + 2 = 4 columns and rows from 5 - 16 = -11.
  ASSERT_EQ(quads.size(), 16u);
  EXPECT_FLOAT_EQ(quads[0].x[0], -11);
  EXPECT_FLOAT_EQ(quads[0].y[0], -11);
  EXPECT_FLOAT_EQ(quads[1].x[0], -11);  // column-major: the next cell is below
  EXPECT_FLOAT_EQ(quads[1].y[0], 5);
}

TEST_F(SpriteDrawTest, SpritesOutsideTheViewAreCulledAndOnePageMakesOneBatch) {
  // The vertex buffer grows to its working size on first use, flushing as it grows; a frame's
  // worth of quads first, so that the batches counted below are the page's alone.
  for (int i = 0; i < 60; ++i) Call("draw_sprite", {R(kSprWhite), R(0), R(0), R(0)});
  Quads();
  for (int i = 0; i < 50; ++i) Call("draw_sprite", {R(kSprWhite), R(0), R(i), R(i % 40)});
  Call("draw_sprite", {R(kSprWhite), R(0), R(200), R(200)});  // beyond the cull radius
  GR_Flush();
  EXPECT_EQ(device_.count(DeviceCallKind::kDraw), 1);
  EXPECT_EQ(Quads().size(), 50u);
  NoCull = true;
  Call("draw_sprite", {R(kSprWhite), R(0), R(200), R(200)});
  NoCull = false;
  EXPECT_EQ(Quads().size(), 1u);
}

TEST_F(SpriteDrawTest, MissingSpritesRaiseOrSay) {
  EXPECT_THROW(Call("draw_sprite", {R(99), R(0), R(0), R(0)}), KVTSLException);
  EXPECT_THROW(Call("draw_self", {}), KVTSLException);
  EXPECT_EQ(Call("sprite_delete", {R(kSprBack)}).real(), 1);
  EXPECT_EQ(Call("sprite_delete", {R(kSprBack)}).real(), -1);
  ConsoleCapture console;
  Call("draw_sprite", {R(kSprBack), R(0), R(0), R(0)});
  EXPECT_NE(console.text().find("Unable to render sprite 2\n"), std::string::npos);
  EXPECT_FALSE(Call("sprite_exists", {R(kSprBack)}).real());
}

TEST_F(SpriteDrawTest, TileMapsSkipEmptyCellsAndTurnUvCornersByTheirBits) {
  constexpr uint32_t kMirror = 0x10000000, kRotate = 0x40000000;
  // Row 0: empty, tile 1, tile 1 mirrored and rotated; row 1: empty.
  const uint32_t cells[6] = {0, 1, 1 | kMirror | kRotate, 0, 0, 0};
  Tilemap_Draw(kTileSet, cells, 3, 2, 0xFFFFFFFFu, 0, 0, 0);
  const std::vector<Quad> quads = Quads();
  ASSERT_EQ(quads.size(), 2u);  // the block's unused vertices went back
  const float u0 = 16.0f / 64, u1 = 32.0f / 64, v0 = 16.0f / 64, v1 = 32.0f / 64;
  EXPECT_FLOAT_EQ(quads[0].x[0], 16);
  EXPECT_FLOAT_EQ(quads[0].u[0], u0);
  EXPECT_FLOAT_EQ(quads[0].v[0], v0);
  // Mirrored: top left shows u1; then turned: the top left takes the bottom left's corner.
  EXPECT_FLOAT_EQ(quads[1].x[0], 32);
  EXPECT_FLOAT_EQ(quads[1].u[0], u1);
  EXPECT_FLOAT_EQ(quads[1].v[0], v1);
  EXPECT_FLOAT_EQ(quads[1].u[1], u1);  // top right: the old top left
  EXPECT_FLOAT_EQ(quads[1].v[1], v0);
  // A mask that clears the index makes every cell empty.
  Tilemap_Draw(kTileSet, cells, 3, 2, ~0x7FFFFu, 0, 0, 0);
  EXPECT_TRUE(Quads().empty());
}

// A string argument that lives to the end of the call's full expression.
#define S(text) (*tsl::Value::String(text))

std::string Str(const tsl::Value& v) { return RV_StringText(*v); }

tsl::Value Member(const tsl::Value& object, const char* key) {
  return tsl::call("variable_struct_get", nullptr, nullptr, {*object, S(key)});
}

// draw_tile draws one cell the way a tile map draws it, at the place given; draw_tilemap draws a
// map element of the room at a new place. Both go straight to the batch, outside the layer walk.
TEST_F(SpriteDrawTest, DrawTileAndDrawTilemapDrawOutsideTheLayerWalk) {
  constexpr double kMirror = 0x10000000;
  const float u0 = 16.0f / 64, u1 = 32.0f / 64, v0 = 16.0f / 64;
  struct Case {
    const char* what;
    double set, data, result;
    size_t quads;
    float u;  // of the top left corner
  };
  const Case cases[] = {
      {"tile 1", kTileSet, 1, 0, 1, u0},
      {"tile 1 mirrored", kTileSet, 1 + kMirror, 0, 1, u1},
      {"the empty tile", kTileSet, 0, 0, 0, 0},
      {"no such tile set", 9, 1, -1, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(CallNumber("draw_tile", {c.set, c.data, 0, 40, 8}), c.result);
    const std::vector<Quad> quads = Quads();
    ASSERT_EQ(quads.size(), c.quads);
    if (c.quads == 0) continue;
    EXPECT_FLOAT_EQ(quads[0].x[0], 40);
    EXPECT_FLOAT_EQ(quads[0].y[0], 8);
    EXPECT_FLOAT_EQ(quads[0].x[1], 56);
    EXPECT_FLOAT_EQ(quads[0].u[0], c.u);
    EXPECT_FLOAT_EQ(quads[0].v[0], v0);
  }
  EXPECT_EQ(BuiltinError("draw_tile", {R(kTileSet), R(1), R(0), R(40)}), "draw_tile() - wrong number of arguments");

  const double layer = CallNumber("layer_create", std::vector<double>{0});
  const double map = CallNumber("layer_tilemap_create", {layer, 0, 0, kTileSet, 2, 1});
  CallNumber("tilemap_set", {map, 1, 1, 0});
  Quads();
  EXPECT_EQ(CallNumber("draw_tilemap", {map, 8, 4}), 0);
  const std::vector<Quad> quads = Quads();
  ASSERT_EQ(quads.size(), 1u);
  EXPECT_FLOAT_EQ(quads[0].x[0], 24);  // the second cell
  EXPECT_FLOAT_EQ(quads[0].y[0], 4);
  EXPECT_FLOAT_EQ(quads[0].u[0], u0);
}

TEST_F(SpriteDrawTest, SpriteFontsMeasureByFrameOrBoxAndAddASpace) {
  struct Case {
    const char* what;
    int32_t sprite;
    bool prop;
    int32_t sep;
    double width_a, width_space;  // string_width of "a" and of " "
  };
  // spr_frames: three 16 x 16 frames; spr_trimmed: a 16 x 16 box whose frame holds 8 columns from 4.
  const Case cases[] = {
      {"fixed widths", kSprFrames, false, 2, 18, 18},
      {"proportional, whole frames", kSprFrames, true, 0, 16, 16},
      {"proportional, a trimmed frame", kSprTrimmed, true, 1, 9, 9},
      {"fixed, a trimmed frame", kSprTrimmed, false, -3, 13, 13},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const double font = Call("font_add_sprite", {R(c.sprite), R('a'), R(c.prop), R(c.sep)}).real();
    ASSERT_GE(font, 0);
    Call("draw_set_font", {R(font)});
    EXPECT_EQ(Call("string_width", {S("a")}).real(), c.width_a);
    EXPECT_EQ(Call("string_width", {S(" ")}).real(), c.width_space);
    EXPECT_EQ(Call("string_height", {S("a")}).real(), 16);
    EXPECT_EQ(Call("font_get_first", {R(font)}).real(), ' ');
    EXPECT_EQ(Str(Call("font_get_fontname", {R(font)})), c.sprite == kSprFrames ? "spr_frames" : "spr_trimmed");
  }
  // The map's codes beyond the frames are dropped; a map with a space keeps its own.
  const double ext = Call("font_add_sprite_ext", {R(kSprFrames), S("x \xC3\xA9zq"), R(0), R(0)}).real();
  Call("draw_set_font", {R(ext)});
  EXPECT_EQ(Call("string_width", {S("x \xC3\xA9")}).real(), 48);
  EXPECT_EQ(Call("string_width", {S("z")}).real(), 0);
  const tsl::Value glyphs = Member(Call("font_get_info", {R(ext)}), "glyphs");
  EXPECT_EQ(Member(Member(glyphs, "\xC3\xA9"), "char").real(), 2);  // its frame
  EXPECT_EQ(Member(Member(glyphs, " "), "char").real(), 1);
  EXPECT_EQ(Call("font_get_last", {R(ext)}).real(), ' ' + 3);
}

TEST_F(SpriteDrawTest, SpriteFontTextDrawsEachFrameAndSpacesOnlyMove) {
  const double font = Call("font_add_sprite", {R(kSprFrames), R('a'), R(0), R(2)}).real();
  Call("draw_set_font", {R(font)});
  Call("draw_text", {R(10), R(20), S("a c")});
  std::vector<Quad> quads = Quads();
  ASSERT_EQ(quads.size(), 2u);
  EXPECT_EQ(quads[0].x[0], 10);
  EXPECT_EQ(quads[0].y[0], 20);
  EXPECT_EQ(quads[0].x[1], 26);
  EXPECT_EQ(quads[0].u[0], 0.0f);  // frame 0: red at (0, 0)
  EXPECT_EQ(quads[1].x[0], 10 + 2 * 18);
  EXPECT_EQ(quads[1].u[0], 32.0f / 64);  // frame 2: blue at (32, 0)

  // The trimmed frame: the pen starts at the origin, the glyph moves back by its offset, and the
  // frame's pixels land at their place in the box.
  const double trimmed = Call("font_add_sprite", {R(kSprTrimmed), R('a'), R(1), R(0)}).real();
  Call("draw_set_font", {R(trimmed)});
  Call("draw_text", {R(10), R(20), S("a")});
  quads = Quads();
  ASSERT_EQ(quads.size(), 1u);
  EXPECT_EQ(quads[0].x[0], 10 + 8 - 4 + 4);
  EXPECT_EQ(quads[0].y[0], 20 + 8 + 4);
  EXPECT_EQ(quads[0].x[1], 10 + 8 - 4 + 4 + 8);

  // The colour form puts the frame at the same place with colours across the line.
  Call("draw_set_font", {R(font)});
  Call("draw_text_colour", {R(10), R(20), S("aa"), R(0x0000FF), R(0x0000FF), R(0xFF0000), R(0xFF0000), R(1)});
  quads = Quads();
  ASSERT_EQ(quads.size(), 2u);
  EXPECT_EQ(quads[0].x[0], 10);
  EXPECT_EQ(quads[0].y[0], 20);
  EXPECT_EQ(quads[1].x[0], 28);
  EXPECT_EQ(quads[0].colour[0], 0xFF0000FFu);
  EXPECT_EQ(quads[0].colour[4], 0xFFFF0000u);  // bottom left
}

// The coloured and transformed text forms read their colours, alpha, scales and line distance
// from their own places: with one glyph a line, every glyph quad has c1 to c4 on its corners
// (top left, top right, bottom right, bottom left).
TEST_F(SpriteDrawTest, TextFormsTakeTheirColoursScalesAndSeparationFromTheirArguments) {
  const double font = Call("font_add_sprite", {R(kSprFrames), R('a'), R(0), R(2)}).real();
  Call("draw_set_font", {R(font)});
  Call("draw_set_colour", {R(0x00FF00)});
  const tsl::Value one = tsl::Value::String("a");
  const tsl::Value two = tsl::Value::String("a\nb");
  const RValue c1 = R(0x112233), c2 = R(0x445566), c3 = R(0x778899), c4 = R(0xAABBCC), half = R(0.5);
  const uint32_t coloured[4] = {0x7F112233u, 0x7F445566u, 0x7F778899u, 0x7FAABBCCu};
  const uint32_t plain[4] = {0xFF00FF00u, 0xFF00FF00u, 0xFF00FF00u, 0xFF00FF00u};
  struct Case {
    const char* name;
    std::vector<RValue> args;
    size_t quads;
    float width, height;  // of each glyph quad
    float second_y;       // top of the second line's quad
    const uint32_t* colours;
  };
  const Case cases[] = {
      {"draw_text_colour", {R(10), R(20), *one, c1, c2, c3, c4, half}, 1, 16, 16, 0, coloured},
      {"draw_text_color", {R(10), R(20), *one, c1, c2, c3, c4, half}, 1, 16, 16, 0, coloured},
      {"draw_text_ext_colour", {R(10), R(20), *two, R(30), R(-1), c1, c2, c3, c4, half}, 2, 16, 16, 50, coloured},
      {"draw_text_ext_color", {R(10), R(20), *two, R(30), R(-1), c1, c2, c3, c4, half}, 2, 16, 16, 50, coloured},
      {"draw_text_transformed_colour", {R(10), R(20), *one, R(2), R(3), R(0), c1, c2, c3, c4, half}, 1, 32, 48, 0,
       coloured},
      {"draw_text_transformed_color", {R(10), R(20), *one, R(2), R(3), R(0), c1, c2, c3, c4, half}, 1, 32, 48, 0,
       coloured},
      {"draw_text_ext_transformed_colour",
       {R(10), R(20), *two, R(30), R(-1), R(2), R(1), R(0), c1, c2, c3, c4, half}, 2, 32, 16, 50, coloured},
      {"draw_text_ext_transformed_color",
       {R(10), R(20), *two, R(30), R(-1), R(2), R(1), R(0), c1, c2, c3, c4, half}, 2, 32, 16, 50, coloured},
      {"draw_text_ext_transformed", {R(10), R(20), *two, R(30), R(-1), R(2), R(1), R(0)}, 2, 32, 16, 50, plain},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CallNumber(c.name, c.args);
    const std::vector<Quad> quads = Quads();
    ASSERT_EQ(quads.size(), c.quads);
    EXPECT_NEAR(quads[0].x[0], 10, 1e-3);
    EXPECT_NEAR(quads[0].y[0], 20, 1e-3);
    EXPECT_NEAR(quads[0].x[1] - quads[0].x[0], c.width, 1e-3);
    EXPECT_NEAR(quads[0].y[4] - quads[0].y[0], c.height, 1e-3);
    if (c.quads > 1) {
      EXPECT_NEAR(quads[1].y[0], c.second_y, 1e-3);
    }
    const int corner[4] = {0, 1, 2, 4};
    for (const Quad& q : quads) {
      for (int i = 0; i < 4; ++i) EXPECT_EQ(q.colour[corner[i]], c.colours[i]) << "corner " << i;
    }
  }
}

TEST_F(SpriteDrawTest, SpriteFontsAreReplacedInPlaceAndBadIdsRaise) {
  const double font = Call("font_add_sprite", {R(kSprFrames), R('a'), R(0), R(0)}).real();
  const std::string name = Str(Call("font_get_name", {R(font)}));
  EXPECT_EQ(Call("font_replace_sprite_ext", {R(font), R(kSprTrimmed), S("Q"), R(1), R(0)}).real(), 1);
  EXPECT_EQ(Str(Call("font_get_name", {R(font)})), name);
  EXPECT_EQ(Str(Call("font_get_fontname", {R(font)})), "spr_trimmed");
  Call("draw_set_font", {R(font)});
  EXPECT_EQ(Call("string_width", {S("Q")}).real(), 8);
  EXPECT_EQ(Call("font_replace_sprite", {R(font), R(kSprFrames), R('A'), R(0), R(1)}).real(), 1);
  EXPECT_EQ(Call("string_width", {S("C")}).real(), 17);

  EXPECT_EQ(BuiltinError("font_add_sprite", {R(42), R('a'), R(0), R(0)}), "Trying to create font from non-existing sprite.");
  EXPECT_EQ(BuiltinError("font_add_sprite_ext", {R(-1), S("a"), R(0), R(0)}), "Trying to create font from non-existing sprite.");
  EXPECT_EQ(BuiltinError("font_replace_sprite", {R(99), R(kSprFrames), R('a'), R(0), R(0)}), "Trying to replace non-existing font.");
  EXPECT_EQ(BuiltinError("font_replace_sprite_ext", {R(font), R(42), S("a"), R(0), R(0)}),
            "Trying to replace font from non-existing sprite.");
  EXPECT_EQ(Str(Call("font_get_fontname", {R(font)})), "spr_frames");
}

// Sprite setters and the getters that read them back, in order: each builtin reads its own
// argument and each getter its own field.
TEST_F(SpriteDrawTest, SpriteSettersReachTheirGetters) {
  constexpr double kAny = -1234;  // a call whose result isn't checked
  struct Step {
    const char* name;
    std::vector<double> args;
    double want;
  };
  const Step steps[] = {
      {"sprite_set_bbox", {kSprWhite, 1, 2, 13, 14}, kAny},
      {"sprite_get_bbox_mode", {kSprWhite}, 2},
      {"sprite_get_bbox_left", {kSprWhite}, 1},
      {"sprite_get_bbox_top", {kSprWhite}, 2},
      {"sprite_get_bbox_right", {kSprWhite}, 13},
      {"sprite_get_bbox_bottom", {kSprWhite}, 14},
      {"sprite_set_bbox_mode", {kSprWhite, 1}, kAny},  // full image
      {"sprite_get_bbox_mode", {kSprWhite}, 1},
      {"sprite_get_bbox_left", {kSprWhite}, 0},
      {"sprite_get_bbox_bottom", {kSprWhite}, 15},
      {"sprite_collision_mask", {kSprWhite, 0, 2, 3, 4, 5, 6, 1, 0}, kAny},
      {"sprite_get_bbox_mode", {kSprWhite}, 2},
      {"sprite_get_bbox_left", {kSprWhite}, 3},
      {"sprite_get_bbox_top", {kSprWhite}, 4},
      {"sprite_get_bbox_right", {kSprWhite}, 5},
      {"sprite_get_bbox_bottom", {kSprWhite}, 6},
      {"sprite_set_bbox_mode", {kSprWhite, 0}, kAny},  // automatic: the record's box again
      {"sprite_get_bbox_top", {kSprWhite}, 0},
      {"sprite_get_bbox_right", {kSprWhite}, 15},
      {"sprite_set_speed", {kSprFrames, 12, 0}, kAny},
      {"sprite_get_speed", {kSprFrames}, 12},
      {"sprite_get_speed_type", {kSprFrames}, 0},
      {"sprite_get_speed", {42}, -1},
      {"sprite_get_bbox_left", {42}, -1},
      {"sprite_prefetch", {kSprWhite}, 0},
      {"sprite_prefetch", {42}, -1},
      {"sprite_flush", {kSprFrames}, 0},
  };
  for (const Step& step : steps) {
    const double got = CallNumber(step.name, step.args);
    if (step.want != kAny) {
      EXPECT_EQ(got, step.want) << step.name << " " << step.args[0];
    }
  }
  const tsl::Value copy = Call("sprite_duplicate", {R(kSprWhite)});
  Call("sprite_merge", {*copy, R(kSprFrames)});
  EXPECT_EQ(Call("sprite_get_number", {*copy}).real(), 4);
  EXPECT_TRUE(Call("sprite_assign", {*copy, R(kSprTrimmed)}).real());
  EXPECT_EQ(Call("sprite_get_number", {*copy}).real(), 1);
  EXPECT_EQ(Call("sprite_get_xoffset", {*copy}).real(), 8);
}

// sprite_get_info: the fields, the trimmed frame's page entry, and no speed without a sequence.
TEST_F(SpriteDrawTest, SpriteInfoTellsTheFieldsAndTheFramesPageEntries) {
  const tsl::Value info = Call("sprite_get_info", {R(kSprTrimmed)});
  CInstance* object = KV_AsInstance(RV_ObjectOf(*info));
  ASSERT_NE(object, nullptr);
  const std::pair<const char*, double> fields[] = {
      {"width", 16},        {"height", 16},    {"xoffset", 8},       {"yoffset", 8}, {"type", 0},
      {"num_subimages", 1}, {"bbox_right", 15}, {"frame_speed", 0}, {"frame_type", -1},
  };
  for (const auto& [key, want] : fields) EXPECT_EQ(tsl::get(object, key).real(), want) << key;
  EXPECT_EQ(std::string(RV_StringText(*tsl::get(object, "name"))), "spr_trimmed");
  const tsl::Value frames = tsl::get(object, "frames");
  ASSERT_EQ(RV_Kind(*frames), static_cast<uint32_t>(kRVArray));
  CInstance* frame = KV_AsInstance(RV_ObjectOf(frames.get()->pArray->pArray[0]));
  const std::pair<const char*, double> entry[] = {
      {"x", 4},        {"y", 52},           {"w", 8},           {"h", 8},
      {"x_offset", 4}, {"y_offset", 4},     {"crop_width", 8},  {"crop_height", 8},
      {"original_width", 16}, {"original_height", 16},
  };
  for (const auto& [key, want] : entry) EXPECT_EQ(tsl::get(frame, key).real(), want) << key;
  EXPECT_THROW(Call("sprite_get_texture", {R(42), R(0)}), KVTSLException);
  ConsoleCapture console;
  Call("sprite_set_nineslice", {R(kSprWhite), R(3)});
  EXPECT_NE(console.text().find(
                "Invalid second argument passed to sprite_set_nineslice() - should be a nineslice object\n"),
            std::string::npos);
}

TEST_F(SpriteDrawTest, SpriteQueriesAndRunTimeSprites) {
  EXPECT_EQ(Call("sprite_get_number", {R(kSprFrames)}).real(), 3);
  EXPECT_EQ(Call("sprite_get_width", {R(kSprTrimmed)}).real(), 16);
  EXPECT_EQ(Call("sprite_get_xoffset", {R(kSprTrimmed)}).real(), 8);
  EXPECT_EQ(Call("sprite_get_width", {R(42)}).real(), -1);
  Call("sprite_set_offset", {R(kSprWhite), R(4), R(6)});
  EXPECT_EQ(Call("sprite_get_yoffset", {R(kSprWhite)}).real(), 6);
  const tsl::Value copy = Call("sprite_duplicate", {R(kSprFrames)});
  EXPECT_EQ(copy.real(), kSprDot + 1);
  EXPECT_EQ(Call("sprite_get_number", {*copy}).real(), 3);
  const tsl::Value uvs = Call("sprite_get_uvs", {R(kSprTrimmed), R(0)});
  ASSERT_EQ(RV_Kind(*uvs), static_cast<uint32_t>(kRVArray));
  EXPECT_DOUBLE_EQ(RV_ToDouble(uvs.get()->pArray->pArray[0]), 4.0 / 64);
  EXPECT_DOUBLE_EQ(RV_ToDouble(uvs.get()->pArray->pArray[4]), 4.0);
  EXPECT_THROW(Call("sprite_get_uvs", {R(42), R(0)}), KVTSLException);
  EXPECT_EQ(Call("sprite_delete", {*copy}).real(), 1);
  EXPECT_EQ(Call("sprite_duplicate", {R(kSprWhite)}).real(), kSprDot + 1);  // the freed id comes back
}

// A new game's draw state: the data file's "@@DrawColour" when it has one, black otherwise, always
// opaque, whatever the game before it left behind.
TEST(GameStartDrawStateTest, TheDataFilesDrawColourStartsEachGame) {
  struct Case {
    std::vector<OptnConstant> constants;
    uint32_t colour;
  };
  const Case cases[] = {
      {{}, 0x000000},
      {{{"@@DrawColour", "0xFF8000"}}, 0xFF8000},
      {{{"k", "v"}, {"@@DrawColour", "4294967295"}}, 0xFFFFFF},
  };
  for (const Case& c : cases) {
    FakeWindowHost host;
    NullDevice device{64, 64};
    Window_UsePlatform(&host, &device);
    Draw_SetColour(0x123456);
    Draw_SetAlpha(0.5);
    DrawGame game;
    RoomRecord room;
    room.name = "rm_empty";
    game.rooms = {room};
    game.constants = c.constants;
    ASSERT_TRUE(game.Start());
    EXPECT_EQ(Draw_GetColour(), c.colour) << c.constants.size();
    EXPECT_DOUBLE_EQ(Draw_GetAlpha(), 1.0);
    game.Stop();
    Window_UsePlatform(nullptr, nullptr);
  }
}

}  // namespace

// The real window and OpenGL device under a display (xvfb with a software renderer): drawing goes
// through the batcher into the main render target and is read back pixel by pixel.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "core/frame_state.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_gen8.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/draw.h"
#include "graphics/gpu_state.h"
#include "graphics/gr_texture.h"
#include "graphics/render_state.h"
#include "graphics/view.h"
#include "graphics/window.h"
#include "platform/process.h"
#include "gl/gl_window_fixture.h"

namespace {

constexpr int kSize = kGlSize;

struct Rgb {
  int r, g, b;
};

class GlDrawTest : public GlWindowTest {
 protected:
  void SetUp() override {
    GlWindowTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    Draw_ResetState();
    StartFullView();
    Draw_Clear(0xFF000000u);
  }

  // The pixel of the current target at (x, y), y from the top.
  Rgb Pixel(int x, int y) {
    GR_Flush();
    uint32_t p = 0;
    EXPECT_TRUE(Graphics_Device()->ReadPixels(DeviceRect{x, y, 1, 1}, &p));
    return Rgb{static_cast<int>(p & 0xFF), static_cast<int>((p >> 8) & 0xFF), static_cast<int>((p >> 16) & 0xFF)};
  }

  static void ExpectNear(const Rgb& got, const Rgb& want, const std::string& what) {
    EXPECT_NEAR(got.r, want.r, 2) << what;
    EXPECT_NEAR(got.g, want.g, 2) << what;
    EXPECT_NEAR(got.b, want.b, 2) << what;
  }

  static void Fill(float x1, float y1, float x2, float y2, uint32_t colour) {
    Draw_Rectangle(x1, y1, x2, y2, colour, colour, colour, colour, false);
  }

};

TEST_F(GlDrawTest, RowZeroIsTheTopAndRectanglesCoverTheirLastPixel) {
  Fill(0, 0, 9, 4, 0xFF0000FFu);  // red, covers 0..10.01 x 0..5.01
  ExpectNear(Pixel(0, 0), {255, 0, 0}, "top left");
  ExpectNear(Pixel(9, 4), {255, 0, 0}, "the pixel at the second corner");
  ExpectNear(Pixel(11, 6), {0, 0, 0}, "outside");
  ExpectNear(Pixel(0, kSize - 1), {0, 0, 0}, "bottom row");
}

TEST_F(GlDrawTest, PrimitivesLandWhereTheyAreDrawn) {
  Draw_Point(19.5f, 19.5f, 0xFF00FF00u);  // shifted by one: the centre of pixel 20, 20
  Draw_Line(0, 29.5f, 63, 29.5f, 0xFFFF0000u, 0xFFFF0000u);
  Draw_Triangle(40, 40, 60, 40, 40, 60, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, false);
  Draw_Ellipse(2, 40, 22, 60, 0xFF00FFFFu, 0xFF00FFFFu, false);
  ExpectNear(Pixel(20, 20), {0, 255, 0}, "point");
  ExpectNear(Pixel(32, 30), {0, 0, 255}, "line");
  ExpectNear(Pixel(45, 45), {255, 255, 255}, "triangle inside");
  ExpectNear(Pixel(60, 60), {0, 0, 0}, "triangle outside");
  ExpectNear(Pixel(13, 51), {255, 255, 0}, "circle centre");
  ExpectNear(Pixel(3, 41), {0, 0, 0}, "circle corner");
}

// Each blend mode mixes as its factors say; factor 14 is the blend factor (1, 1, 1, 1) and 15 its
// inverse (0, 0, 0, 0).
TEST_F(GlDrawTest, BlendModesAndFactorsMixAsTheySay) {
  struct Case {
    int mode;  // -1: the factors src and dest for colour and alpha
    uint8_t src, dest;
    Rgb want;
  };
  // Destination (100, 100, 100); source (200, 50, 0) at alpha 0.5.
  const Case cases[] = {
      {0, 0, 0, {150, 75, 50}},    {1, 0, 0, {200, 125, 100}},   {2, 0, 0, {122, 105, 100}},
      {3, 0, 0, {22, 80, 100}},    {-1, 14, 1, {200, 50, 0}},    {-1, 15, 2, {100, 100, 100}},
      {-1, 2, 14, {255, 150, 100}}, {-1, 5, 15, {100, 25, 0}},
  };
  for (const Case& c : cases) {
    Gpu_SetBlendMode(0);
    Draw_Clear(0xFF646464u);
    if (c.mode >= 0) {
      Gpu_SetBlendMode(c.mode);
    } else {
      Gpu_SetBlendFactors(c.src, c.dest, c.src, c.dest, false);
    }
    Fill(10, 10, 20, 20, 0x800032C8u);
    ExpectNear(Pixel(15, 15), c.want,
               c.mode >= 0 ? "mode " + std::to_string(c.mode)
                           : "factors " + std::to_string(c.src) + ", " + std::to_string(c.dest));
  }
  Gpu_SetBlendMode(0);
}

TEST_F(GlDrawTest, CullModesDropTheWindingTheyNameOnTargetsAndTheWindow) {
  struct Case {
    uint32_t mode;
    bool clockwise_drawn, counter_clockwise_drawn;
  };
  const Case cases[] = {{0, true, true}, {1, false, true}, {2, true, false}};
  // Render targets are drawn flipped and the window isn't: both must agree on what the picture shows.
  const DeviceTextureId targets[] = {GR_MainRenderTarget(), 0};
  for (const DeviceTextureId target : targets) {
    for (const Case& c : cases) {
      const std::string what = std::string(target == 0 ? "window" : "render target") + ", mode " +
                               std::to_string(c.mode);
      Graphics_Device()->SetRenderTarget(target);
      GR_Set_View(0, 0, kSize, kSize, 0);
      Draw_Clear(0xFF000000u);
      RenderState_Set(kRSCullMode, c.mode);
      // Clockwise as the picture shows it (y down): right, then down-left.
      Draw_Triangle(4, 4, 28, 4, 4, 28, 0xFF0000FFu, 0xFF0000FFu, 0xFF0000FFu, false);
      // Counter-clockwise: down, then up-right.
      Draw_Triangle(34, 4, 34, 28, 58, 4, 0xFF00FF00u, 0xFF00FF00u, 0xFF00FF00u, false);
      ExpectNear(Pixel(10, 10), c.clockwise_drawn ? Rgb{255, 0, 0} : Rgb{0, 0, 0}, what + ", clockwise");
      ExpectNear(Pixel(40, 10), c.counter_clockwise_drawn ? Rgb{0, 255, 0} : Rgb{0, 0, 0}, what + ", counter-clockwise");
    }
  }
  RenderState_Set(kRSCullMode, 0);
  Graphics_Device()->SetRenderTarget(GR_MainRenderTarget());
}

TEST_F(GlDrawTest, ClearsIgnoreTheWriteMaskAndTheScissor) {
  RenderState_Set(kRSColourWriteEnable, 0);
  Graphics_Device()->SetScissor(DeviceRect{0, 0, 8, 8});
  Draw_Clear(0xFF00FF00u);
  Fill(0, 0, 63, 63, 0xFF0000FFu);  // masked out
  ExpectNear(Pixel(40, 40), {0, 255, 0}, "clear reached outside the scissor");
  ExpectNear(Pixel(2, 2), {0, 255, 0}, "the masked draw wrote nothing");
  RenderState_Set(kRSColourWriteEnable, 15);
  Graphics_Device()->SetScissor(DeviceRect{0, 0, kSize, kSize});
}

// Shapes that cross the edges of a smaller viewport, or reach far past them, cover exactly the
// pixels inside it: even and odd port sizes, since the device widens even ones for clipping.
TEST_F(GlDrawTest, ShapesCrossingAPortsEdgesCoverOnlyThePort) {
  struct Case {
    int x, y, w, h;
  };
  for (const Case& c : {Case{16, 8, 32, 40}, Case{7, 9, 31, 33}}) {
    const std::string what = std::to_string(c.w) + " x " + std::to_string(c.h);
    Draw_Clear(0xFF000000u);
    GR_SetViewport(c.x, c.y, c.w, c.h);
    Graphics_Device()->SetScissor(DeviceRect{0, 0, kSize, kSize});  // wider than the port
    GR_Set_View(0, 0, static_cast<float>(c.w), static_cast<float>(c.h), 0);
    Fill(-10, -10, 4, static_cast<float>(c.h) + 10, 0xFF0000FFu);                  // red over the left edge
    Fill(static_cast<float>(c.w) - 3, 5, static_cast<float>(c.w) + 3000, 6, 0xFF00FF00u);  // green far right
    ExpectNear(Pixel(c.x, c.y), {255, 0, 0}, what + ": the port's corner");
    ExpectNear(Pixel(c.x + 4, c.y + c.h - 1), {255, 0, 0}, what + ": red's last column, bottom row");
    ExpectNear(Pixel(c.x + 5, c.y + 10), {0, 0, 0}, what + ": right of red");
    ExpectNear(Pixel(c.x - 1, c.y + 10), {0, 0, 0}, what + ": left of the port");
    ExpectNear(Pixel(c.x + 2, c.y - 1), {0, 0, 0}, what + ": above the port");
    ExpectNear(Pixel(c.x + 2, c.y + c.h), {0, 0, 0}, what + ": below the port");
    ExpectNear(Pixel(c.x + c.w - 3, c.y + 5), {0, 255, 0}, what + ": green's first column");
    ExpectNear(Pixel(c.x + c.w - 1, c.y + 6), {0, 255, 0}, what + ": green at the port's edge");
    ExpectNear(Pixel(c.x + c.w, c.y + 5), {0, 0, 0}, what + ": right of the port");
    ExpectNear(Pixel(c.x + c.w - 1, c.y + 7), {0, 0, 0}, what + ": under green");
  }
  GR_SetViewport(0, 0, kSize, kSize);
}

// The target's depth buffer keeps what depth-tested draws wrote, and takes every clear, also the
// clears made while no draw tested depth.
TEST_F(GlDrawTest, DepthTestsSeeEarlierDrawsAndEveryClear) {
  RenderState_Set(kRSZEnable, 1);
  RenderState_Set(kRSZWriteEnable, 1);
  GR_Set_Depth(100.0f);
  Fill(0, 0, 31, 31, 0xFF0000FFu);
  GR_Set_Depth(200.0f);
  Fill(0, 0, 63, 63, 0xFF00FF00u);  // farther: hidden behind red
  ExpectNear(Pixel(10, 10), {255, 0, 0}, "the nearer draw stands");
  ExpectNear(Pixel(40, 40), {0, 255, 0}, "the farther draw where nothing was nearer");

  Draw_Clear(0xFF000000u);
  ExpectNear(Pixel(10, 10), {0, 0, 0}, "cleared");
  Fill(0, 0, 31, 31, 0xFFFF0000u);
  ExpectNear(Pixel(10, 10), {0, 0, 255}, "the clear emptied the depth buffer");

  GR_Set_Depth(100.0f);
  Fill(0, 0, 31, 31, 0xFF0000FFu);
  RenderState_Set(kRSZEnable, 0);
  Draw_Clear(0xFF000000u);
  Fill(40, 40, 50, 50, 0xFFFFFFFFu);  // a draw without the depth test between the clear and the next test
  RenderState_Set(kRSZEnable, 1);
  GR_Set_Depth(200.0f);
  Fill(0, 0, 31, 31, 0xFF00FF00u);
  ExpectNear(Pixel(10, 10), {0, 255, 0}, "a clear made while nothing tested depth still emptied it");
  ExpectNear(Pixel(45, 45), {255, 255, 255}, "the untested draw");

  RenderState_Set(kRSZEnable, 0);
  GR_Set_Depth(0.0f);
}

TEST_F(GlDrawTest, AlphaTestWithReferenceZeroDropsOnlyTransparentPixels) {
  RenderState_Set(kRSAlphaTestEnable, 1);
  RenderState_Set(kRSAlphaRef, 0);
  Gpu_SetBlendFactors(2, 1, 2, 1, false);  // one, zero: what passes replaces the target
  Fill(0, 0, 9, 9, 0x000000FFu);
  Fill(20, 0, 29, 9, 0x010000FFu);
  ExpectNear(Pixel(5, 5), {0, 0, 0}, "alpha 0 discarded");
  ExpectNear(Pixel(25, 5), {255, 0, 0}, "alpha 1 kept");
  RenderState_Set(kRSAlphaTestEnable, 0);
  Gpu_SetBlendMode(0);
}

TEST_F(GlDrawTest, TexturesSampleRowZeroAtTheTop) {
  const uint32_t pixels[4] = {0xFF0000FFu, 0xFF00FF00u, 0xFFFF0000u, 0xFFFFFFFFu};  // red green / blue white
  GRTexture texture;
  texture.device_ = Graphics_Device()->CreateTexture(2, 2, pixels, false, false);
  texture.width_ = texture.height_ = 2;
  SamplerState_Set(0, kSampMagFilter, 0);
  SamplerState_Set(0, kSampMinFilter, 0);
  Draw_PrimitiveBegin(kPrimTriangleStrip, &texture, false, 0, 0, 0, 0);
  Draw_PrimitiveVertex(0, 0, 0, 0, 0xFFFFFFFFu);
  Draw_PrimitiveVertex(32, 0, 1, 0, 0xFFFFFFFFu);
  Draw_PrimitiveVertex(0, 32, 0, 1, 0xFFFFFFFFu);
  Draw_PrimitiveVertex(32, 32, 1, 1, 0xFFFFFFFFu);
  Draw_PrimitiveEnd();
  ExpectNear(Pixel(8, 8), {255, 0, 0}, "top left texel");
  ExpectNear(Pixel(24, 8), {0, 255, 0}, "top right texel");
  ExpectNear(Pixel(8, 24), {0, 0, 255}, "bottom left texel");
  GR_Flush();
  Graphics_Device()->DestroyTexture(texture.device_);
}

// Quads go to the device as four corners and a shared index pattern, plain triangle lists as
// they are; in one batch and one frame each lands where it was drawn, also past the device's
// pieces of 170 quads, and strips and fans between them are untouched.
TEST_F(GlDrawTest, QuadsAndOtherPrimitivesOfOneFrameEachLandWhereTheyAreDrawn) {
  GRTexture* white = GR_WhiteTexture();
  auto quad = [&](float x, float y, float side, uint32_t colour) {
    auto* v = static_cast<VertexTextured*>(GR_Alloc_Quads(white, kFormatTextured, 1));
    v[0] = VertexTextured{0, 0, colour, x, y, 0};
    v[1] = VertexTextured{0, 0, colour, x + side, y, 0};
    v[2] = VertexTextured{0, 0, colour, x + side, y + side, 0};
    v[3] = VertexTextured{0, 0, colour, x, y + side, 0};
  };
  auto triangle = [&](float x, float y, uint32_t colour) {
    auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, white, kFormatTextured, 3));
    v[0] = VertexTextured{0, 0, colour, x, y, 0};
    v[1] = VertexTextured{0, 0, colour, x + 8, y, 0};
    v[2] = VertexTextured{0, 0, colour, x, y + 8, 0};
  };
  constexpr uint32_t kRed = 0xFF0000FFu, kGreen = 0xFF00FF00u, kBlue = 0xFFFF0000u, kWhite = 0xFFFFFFFFu;
  GR_Flush();
  const int32_t draws_before = GR_Batch_Stats().draws_this_frame;
  // Rows 0..15: 1024 quads of 1 x 1 pixel, red and green by column parity (more than one piece).
  for (int i = 0; i < 1024; ++i) {
    quad(static_cast<float>(i % 64), static_cast<float>(i / 64), 1.0f, i % 2 == 0 ? kRed : kGreen);
  }
  triangle(0, 40, kBlue);     // joins the quads' batch as a plain run
  quad(16, 40, 8, kWhite);    // and quads again
  Fill(32, 40, 39, 47, kGreen);  // a fan: its own batch
  quad(48, 40, 8, kBlue);
  GR_Flush();
  EXPECT_EQ(GR_Batch_Stats().draws_this_frame - draws_before, 3) << "quads and triangles of one page share a draw";
  for (int i : {0, 1, 169, 170, 171, 681, 682, 1000, 1023}) {
    const int x = i % 64, y = i / 64;
    ExpectNear(Pixel(x, y), i % 2 == 0 ? Rgb{255, 0, 0} : Rgb{0, 255, 0}, "small quad " + std::to_string(i));
  }
  ExpectNear(Pixel(32, 20), {0, 0, 0}, "below the small quads");
  ExpectNear(Pixel(1, 41), {0, 0, 255}, "triangle");
  ExpectNear(Pixel(7, 47), {0, 0, 0}, "beyond the triangle's long side");
  ExpectNear(Pixel(20, 44), {255, 255, 255}, "quad after the triangle");
  ExpectNear(Pixel(15, 44), {0, 0, 0}, "left of that quad");
  ExpectNear(Pixel(36, 44), {0, 255, 0}, "rectangle");
  ExpectNear(Pixel(55, 47), {0, 0, 255}, "quad after the rectangle, its last pixel");
  ExpectNear(Pixel(56, 48), {0, 0, 0}, "beyond it");
}

TEST_F(GlDrawTest, PresentShowsTheMainTargetTheRightWayUp) {
  Fill(0, 0, 63, 9, 0xFF0000FFu);
  Device_EndFrame(true);
  // The flip left the back buffer drawn; read it before the swap.
  Graphics_Device()->SetRenderTarget(0);
  ExpectNear(Pixel(30, 2), {255, 0, 0}, "top of the window");
  ExpectNear(Pixel(30, 60), {0, 0, 0}, "bottom of the window");
  Graphics_Device()->SetRenderTarget(GR_MainRenderTarget());
  EXPECT_TRUE(Device_Present(0));
}

TEST_F(GlDrawTest, TheCloseButtonsQuitMessageEndsTheGame) {
  Window_Host()->PostQuit();
  Window_PumpMessages();
  EXPECT_TRUE(Platform_TakeQuitSignal());
}

}  // namespace

// Mip levels on the OpenGL device: a texture marked for mips samples its reduced levels when drawn
// small, and a texture without levels stays complete under mipmapping filters.
#include <gtest/gtest.h>

#include <vector>

#include "core/frame_state.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_gen8.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/render_state.h"
#include "graphics/texture_table.h"
#include "graphics/window.h"
#include "platform/process.h"
#include "gl/gl_window_fixture.h"

namespace {

constexpr int kSize = kGlSize;

class GlMipTest : public GlWindowTest {
 protected:
  void SetUp() override {
    GlWindowTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    StartFullView();
    // Point sampling everywhere, so each pixel reads one texel of one level.
    SamplerState_Set(0, kSampMagFilter, 0);
    SamplerState_Set(0, kSampMinFilter, 0);
    SamplerState_Set(0, kSampMipFilter, 0);
  }

  void TearDown() override {
    for (Texture* texture : textures_) Texture_Free(texture);
    GlWindowTest::TearDown();
  }

  // A 64 x 64 texture: opaque white where keep(x) holds, opaque black elsewhere.
  Texture* Columns(bool marked, bool (*keep)(int x)) {
    Texture* texture = Texture_Create(kSize, kSize, kTextureFormatRGBA, marked ? static_cast<uint32_t>(kCreateMips) : 0u);
    for (int y = 0; y < kSize; ++y) {
      for (int x = 0; x < kSize; ++x) {
        uint8_t* p = texture->pixels.data() + (static_cast<size_t>(y) * kSize + x) * 4;
        const uint8_t v = keep(x) ? 255 : 0;
        p[0] = p[1] = p[2] = v;
        p[3] = 255;
      }
    }
    textures_.push_back(texture);
    return texture;
  }

  // Draws the whole texture into the square (0, 0)..(side, side).
  static void Quad(Texture* texture, float side) {
    auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, texture, kFormatTextured, 6));
    const float us[6] = {0, 1, 0, 1, 1, 0};
    const float vs[6] = {0, 0, 1, 0, 1, 1};
    for (int i = 0; i < 6; ++i) v[i] = VertexTextured{us[i], vs[i], 0xFFFFFFFFu, us[i] * side, vs[i] * side, 0.0f};
  }

  static int Grey(int x, int y) {
    GR_Flush();
    uint32_t p = 0;
    EXPECT_TRUE(Graphics_Device()->ReadPixels(DeviceRect{x, y, 1, 1}, &p));
    return static_cast<int>(p & 0xFF);
  }

  std::vector<Texture*> textures_;
};

bool every_fourth(int x) { return x % 4 == 0; }
bool all(int) { return true; }

}  // namespace

TEST_F(GlMipTest, AMarkedTextureDrawnAtAQuarterSamplesLevelTwo) {
  Texture* texture = Columns(true, every_fourth);
  Quad(texture, 16);
  // Level 2 averages each run of four columns: (255 + 0) / 2 = 127, then (127 + 0) / 2 = 63.
  for (int x = 0; x < 16; x += 5) EXPECT_NEAR(Grey(x, 8), 63, 2) << x;
  EXPECT_TRUE(texture->device_mips);

  // Full size reads level 0 as it is.
  Quad(texture, 64);
  EXPECT_NEAR(Grey(32, 32), 255, 2);
  EXPECT_NEAR(Grey(33, 32), 0, 2);
}

TEST_F(GlMipTest, UnmarkedTexturesSampleLevelZeroAndStayComplete) {
  // Point sampling at a quarter of the size reads texel 4i + 2 of level 0: black.
  Texture* columns = Columns(false, every_fourth);
  Quad(columns, 16);
  EXPECT_NEAR(Grey(8, 8), 0, 2);
  EXPECT_FALSE(columns->device_mips);

  // A mipmapping filter on a texture with one level still samples it (an incomplete texture
  // would read black).
  SamplerState_Set(0, kSampMipFilter, 1);
  Texture* white = Columns(false, all);
  Quad(white, 16);
  EXPECT_NEAR(Grey(8, 8), 255, 2);
}

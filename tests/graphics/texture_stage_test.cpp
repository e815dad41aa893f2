// Texture stages, draw_texture_flush and mip levels on the recording null device.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "datawin/format/page_image.h"
#include "datawin/format/texture_layout.h"
#include "graphics/draw.h"
#include "graphics/gr_texture.h"
#include "graphics/texture_builtins.h"
#include "graphics/texture_table.h"
#include "graphics_fixture.h"

namespace {

class TextureStage : public GraphicsTest {
 protected:
  void SetUp() override {
    GraphicsTest::SetUp();
    Texture_InstallResolver();
    Draw_RegisterBuiltins();
    Texture_RegisterStageBuiltins();
  }
  void TearDown() override {
    Texture_ClearTable();
    for (Texture* texture : loose_) Texture_Free(texture);
    GR_SetTextureResolver(nullptr);
    Draw_SetTextureFlushHook(nullptr);
    GraphicsTest::TearDown();
  }

  // A slot owning a new w x h RGBA object.
  int32_t Slot(uint32_t w, uint32_t h, uint32_t create_flags = 0) {
    const int32_t index = Texture_AllocSlot();
    Texture* texture = Texture_Create(w, h, kTextureFormatRGBA, create_flags);
    texture->slot = index;
    Texture_Slot(index)->texture = texture;
    Texture_SetSlotSize(Texture_Slot(index), w, h);
    return index;
  }
  Texture* Loose(uint32_t w, uint32_t h, uint32_t create_flags) {
    loose_.push_back(Texture_Create(w, h, kTextureFormatRGBA, create_flags));
    return loose_.back();
  }
  static void MipEnable(int32_t stage, uint32_t value) {
    SamplerState_Set(stage, kSampMipEnable, value);
    GR_Flush();  // applies it
  }

  std::vector<Texture*> loose_;
};

}  // namespace

TEST_F(TextureStage, DrawTextureFlushKeepsMarkedTargetsAndTheWindowTextures) {
  Texture* plain = Loose(4, 4, 0);
  Texture* kept = Loose(4, 4, kCreateRenderTarget | kCreateKeepOnFlush);
  const DeviceTextureId plain_id = plain->DeviceTexture();
  ASSERT_NE(plain_id, 0u);
  ASSERT_NE(kept->DeviceTexture(), 0u);
  Draw_Rectangle(0, 0, 5, 5, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, false);
  device_.clear_record();

  CallBuiltin("draw_texture_flush");
  EXPECT_EQ(device_.count(DeviceCallKind::kDraw), 1);  // the open batch went out first
  EXPECT_EQ(device_.count(DeviceCallKind::kDestroyTexture), 1);
  EXPECT_EQ(plain->device_, 0u);
  EXPECT_EQ(plain->flags & kTextureDeviceBuilt, 0u);
  int32_t w = 0, h = 0;
  EXPECT_FALSE(device_.texture_size(plain_id, &w, &h));
  EXPECT_TRUE(device_.texture_size(kept->device_, &w, &h));
  EXPECT_TRUE(device_.texture_size(GR_MainRenderTarget(), &w, &h));
  EXPECT_TRUE(device_.texture_size(GR_WhiteTexture()->device_, &w, &h));
  // The flushed texture comes back at its next use.
  EXPECT_NE(plain->DeviceTexture(), 0u);
}

TEST_F(TextureStage, SetStageFlushesBindsAndClears) {
  const int32_t slot = Slot(8, 8);
  Draw_Rectangle(0, 0, 5, 5, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, false);
  device_.clear_record();
  CallBuiltin("texture_set_stage", {RV_Real(3), RV_Real(slot)});
  // The open batch is drawn before the stage changes.
  const std::vector<DeviceCall>& calls = device_.calls();
  size_t draw_at = calls.size(), bind_at = calls.size();
  for (size_t i = 0; i < calls.size(); ++i) {
    if (calls[i].kind == DeviceCallKind::kDraw && draw_at == calls.size()) draw_at = i;
    if (calls[i].kind == DeviceCallKind::kBindTexture && calls[i].a == 3) bind_at = i;
  }
  EXPECT_LT(draw_at, bind_at);
  ASSERT_LT(bind_at, calls.size());
  const DeviceTextureId id = Texture_Slot(slot)->texture->device_;
  ASSERT_NE(id, 0u);
  EXPECT_EQ(device_.bound(3), id);

  struct Case {
    double stage;
    double handle;
    DeviceTextureId want;  // what stage 3 holds afterwards
  };
  const DeviceTextureId white = GR_WhiteTexture()->device_;
  const Case cases[] = {
      {8, -1, id},        // no such stage: nothing happens
      {-1, -1, id},
      {3, 999, white},    // nothing resolves: the stage shows white
      {3, static_cast<double>(slot), id},
      {3, -1, white},
  };
  for (const Case& c : cases) {
    CallBuiltin("texture_set_stage", {RV_Real(c.stage), RV_Real(c.handle)});
    EXPECT_EQ(device_.bound(3), c.want) << c.stage << " " << c.handle;
  }
}

TEST_F(TextureStage, MipLevelsFollowTheStageSettingAndTheMark) {
  struct Case {
    uint32_t mip_enable;
    uint32_t create_flags;
    int32_t limit;
    int32_t levels;  // an 8 x 4 image: 8x4, 4x2, 2x1, 1x1
  };
  const Case cases[] = {
      {0, kCreateMips, 0, 1},
      {1, 0, 0, 4},
      {2, 0, 0, 1},
      {2, kCreateMips, 0, 4},
      {2, kCreateMips, 2, 3},
      {2, kCreateMips | kCreateRenderTarget, 0, 1},
  };
  for (const Case& c : cases) {
    MipEnable(0, c.mip_enable);
    Texture* texture = Loose(8, 4, c.create_flags);
    texture->mipLevels = c.limit;
    device_.clear_record();
    const DeviceTextureId id = texture->DeviceTexture();
    ASSERT_NE(id, 0u);
    EXPECT_EQ(device_.texture_levels(id), c.levels) << c.mip_enable << " " << c.create_flags;
    EXPECT_EQ(device_.count(DeviceCallKind::kSetTextureMipLevel), c.levels - 1);
  }
}

TEST_F(TextureStage, ChangingTheMipSettingRebuildsAtTheNextBind) {
  Texture* texture = Loose(16, 16, 0);
  MipEnable(0, 2);
  const DeviceTextureId plain = texture->DeviceTexture();
  EXPECT_EQ(device_.texture_levels(plain), 1);
  EXPECT_EQ(texture->DeviceTexture(), plain);  // no change, no rebuild

  MipEnable(0, 1);
  const DeviceTextureId mipped = texture->DeviceTexture();
  EXPECT_EQ(device_.texture_levels(mipped), 5);
  EXPECT_EQ(device_.live_textures(), 3u);  // the white texture, the main target and this one

  // A stage of its own: texture_set_stage builds for that stage's setting.
  MipEnable(5, 1);
  const int32_t slot = Slot(2, 1);
  CallBuiltin("texture_set_stage", {RV_Real(5), RV_Real(slot)});
  EXPECT_EQ(device_.texture_levels(device_.bound(5)), 2);
}

TEST_F(TextureStage, DataFilePagesMarkedForMipsUploadTheirLevels) {
  std::vector<uint8_t> pixels(4 * 4 * 4, 200);
  const std::vector<uint8_t> image = datawin::page::encode_qoi(pixels.data(), 4, 4);
  const auto size = static_cast<uint32_t>(image.size());
  const int32_t marked = Texture_Load_Page(image.data(), size, datawin::txtr::kFlagMips, true);
  const int32_t plain = Texture_Load_Page(image.data(), size, 0, true);
  MipEnable(0, 2);
  EXPECT_EQ(device_.texture_levels(Texture_Slot(marked)->texture->DeviceTexture()), 3);
  EXPECT_EQ(device_.texture_levels(Texture_Slot(plain)->texture->DeviceTexture()), 1);
}

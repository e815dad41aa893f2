// The sprite rows of an instance (image_number, sprite_width, sprite_height, sprite_xoffset,
// sprite_yoffset) over a sprite loaded from a written game, once the objects are prepared.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/builtin_var.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "run/asset_readers.h"
#include "run/run_subjects.h"
#include "support/fixture.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/step.h"

using namespace datawin;

namespace {

class BuiltinVarSpriteTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetLoaderState();
    Assets_InstallReaders();
    Variable_ResetNames();
    Instance_ResetState();
    BuiltinVar_RegisterAll();
    instance_ = new CInstance(10.0f, 20.0f, kInstanceIdBase + 7, -1, false);
  }
  void TearDown() override {
    g_BuiltinVarSpriteMetrics = nullptr;
    g_StepSpriteAnimation = nullptr;
    Object_SetBuiltinVariables({});
    Variable_BuiltIn_Reset();
    Instance_ResetState();
    ResetLoaderState();
    Variable_ResetNames();
  }

  // A game whose sprite 1 is 9 x 3 with three frames and its origin at (4, 1); sprite 0 is empty.
  bool load_sprites() {
    Writer writer = MakeMinimalGame(17, 2);
    std::vector<std::optional<TpagEntry>> entries;
    for (uint16_t i = 0; i < 3; ++i) entries.push_back(TpagEntry{i, 0, 8, 8, 0, 0, 8, 8, 20, 30, 0});
    const std::vector<Label> labels = add_tpag(writer, entries);
    SpriteRecord sprite;
    sprite.name = "spr_three";
    sprite.width = 9;
    sprite.height = 3;
    sprite.bbox_right = 8;
    sprite.bbox_bottom = 2;
    sprite.x_origin = 4;
    sprite.y_origin = 1;
    for (Label frame : labels) sprite.frames.push_back(frame + 0);
    add_sprt(writer, 2, {std::nullopt, sprite});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    const bool scanned = HeaderScan(image_.data(), size);
    return LoadGameData(image_.data(), size) && scanned;
  }

  double Read(const char* name) {
    const int32_t id = Variable_BuiltIn_Find(name);
    EXPECT_GE(id, 0) << name;
    RValue out = RV_Unset();
    EXPECT_TRUE(Variable_GetValue(instance_, id, -1, &out)) << name;
    const double value = RV_ToDouble(out);
    RV_FreeToUndefined(&out);
    return value;
  }

  CInstance* instance_ = nullptr;
  std::vector<uint8_t> image_;
};

TEST_F(BuiltinVarSpriteTest, SpriteRowsReadTheSpriteWithTheSizeScaled) {
  ASSERT_TRUE(load_sprites());
  ASSERT_TRUE(Object_Prepare());
  struct Case {
    int32_t sprite;
    float xscale, yscale;
    double frames, width, height, xoffset, yoffset;
  };
  const Case cases[] = {
      {1, 1.0f, 1.0f, 3, 9, 3, 4, 1},
      {1, 2.0f, -0.5f, 3, 18, -1.5, 4, 1},  // the origin is not scaled
      {-1, 2.0f, 2.0f, 0, 0, 0, 0, 0},      // no sprite
      {0, 1.0f, 1.0f, 0, 0, 0, 0, 0},       // an empty slot of the table
      {7, 1.0f, 1.0f, 0, 0, 0, 0, 0},       // past the table
  };
  for (const Case& c : cases) {
    SCOPED_TRACE("sprite " + std::to_string(c.sprite) + " scale " + std::to_string(c.xscale));
    instance_->spriteIndex = c.sprite;
    instance_->imageXScale = c.xscale;
    instance_->imageYScale = c.yscale;
    EXPECT_DOUBLE_EQ(Read("image_number"), c.frames);
    EXPECT_DOUBLE_EQ(Read("sprite_width"), c.width);
    EXPECT_DOUBLE_EQ(Read("sprite_height"), c.height);
    EXPECT_DOUBLE_EQ(Read("sprite_xoffset"), c.xoffset);
    EXPECT_DOUBLE_EQ(Read("sprite_yoffset"), c.yoffset);
  }
}

}  // namespace

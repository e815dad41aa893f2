// The registered builtin variable table against the assets manifest (names, order, read-only
// marks, the 91 instance rows), and the rows that are more than plain accessors, read and written
// as compiled code does: through Variable_GetValue / Variable_SetValue on instances and structs;
// the sprite rows over a sprite loaded from a written game, once the objects are prepared.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "core/builtin_var.h"
#include "core/builtin_var_ids.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/timing.h"
#include "core/value_test_support.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "manifest/manifest_orders.h"
#include "run/asset_readers.h"
#include "run/run_subjects.h"
#include "support/fixture.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/step.h"

namespace {

class BuiltinVarRowsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    Variable_ResetNames();
    Instance_ResetState();
    RunVariables_Reset();
    BuiltinVar_RegisterAll();
    instance_ = new CInstance(10.0f, 20.0f, kInstanceIdBase + 7, -1, false);
  }
  void TearDown() override {
    Object_SetBuiltinVariables({});
    Variable_BuiltIn_Reset();
    Instance_ResetState();
    GC_Reset();
    Variable_ResetNames();
    New_Room = kNewRoomNone;
  }

  static int32_t Id(const char* name) {
    const int32_t id = Variable_BuiltIn_Find(name);
    EXPECT_GE(id, 0) << name;
    return id;
  }
  double Read(KVObjectBase* self, const char* name, int32_t index = -1) {
    RValue out = RV_Unset();
    EXPECT_TRUE(Variable_GetValue(self, Id(name), index, &out)) << name;
    const double value = RV_ToDouble(out);
    RV_FreeToUndefined(&out);
    return value;
  }
  void Write(KVObjectBase* self, const char* name, double value, int32_t index = -1) {
    const RValue v = RV_Real(value);
    Variable_SetValue(self, Id(name), index, &v);
  }

  CInstance* instance_ = nullptr;
};

TEST_F(BuiltinVarRowsTest, RowsFollowTheManifestInNameOrderAndWritability) {
  manifest::Orders orders;
  std::string error;
  ASSERT_TRUE(manifest::parse_orders(ReadTextFile(std::string(KOVA_SOURCE_DIR) + "/assets/manifest.txt"), "manifest.txt", &orders, &error)) << error;
  ASSERT_EQ(orders.instance_variables.size(), 91u);
  EXPECT_EQ(g_InstanceVariableCount, 91);
  std::vector<manifest::VariableRow> rows = orders.instance_variables;
  rows.insert(rows.end(), orders.global_variables.begin(), orders.global_variables.end());
  ASSERT_EQ(Variable_BuiltIn_Count(), static_cast<int32_t>(rows.size()));
  EXPECT_EQ(Variable_BuiltIn_Count(), kBuiltinVariableCount);
  for (int32_t id = 0; id < static_cast<int32_t>(rows.size()); ++id) {
    EXPECT_EQ(Variable_BuiltIn_Name(id), rows[id].name) << "row " << id;
    EXPECT_EQ(Variable_BuiltIn_Row(id)->canSet, !rows[id].read_only) << rows[id].name;
    EXPECT_EQ(Variable_BuiltIn_Find(rows[id].name.c_str()), id);
  }
  EXPECT_EQ(Id("x"), kBuiltinVar_x);
  EXPECT_EQ(Id("rollback_api_server"), kBuiltinVar_rollback_api_server);
  // The shared colour spellings share their functions.
  EXPECT_EQ(Variable_BuiltIn_Row(Id("background_color"))->get, Variable_BuiltIn_Row(Id("background_colour"))->get);
  EXPECT_EQ(Variable_BuiltIn_Row(Id("background_showcolor"))->set,
            Variable_BuiltIn_Row(Id("background_showcolour"))->set);
}

TEST_F(BuiltinVarRowsTest, ConstantRowsHaveTheirExactBits) {
  struct Case {
    const char* name;
    uint32_t kind;
    int64_t bits;
  };
  const Case cases[] = {
      {"NaN", kRVReal, 0x7FF8000000000000LL},     {"infinity", kRVReal, 0x7FF0000000000000LL},
      {"pointer_null", kRVPtr, 0},                {"pointer_invalid", kRVPtr, -1},
      {"undefined", kRVUndefined, 0},             {"argument5", kRVUndefined, 0},
  };
  for (const Case& c : cases) {
    RValue out = RV_Unset();
    ASSERT_TRUE(Variable_GetBuiltIn(nullptr, Id(c.name), -1, &out)) << c.name;
    EXPECT_EQ(RV_Kind(out), c.kind) << c.name;
    if (c.kind != kRVUndefined) {
      EXPECT_EQ(out.v64, c.bits) << c.name;
    }
  }
  EXPECT_EQ(Read(instance_, "argument_count"), 0.0);
  EXPECT_EQ(Read(instance_, "os_type"), 0.0);
  EXPECT_EQ(Read(instance_, "os_browser"), -1.0);
  RValue out = RV_Unset();
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_GetBuiltIn(nullptr, Id("argument"), 2, &out); }),
            "illegal access of argument, argument is not provided to script");
}

TEST_F(BuiltinVarRowsTest, GlobalRunVariablesAreWrittenFromAnySelfWithoutMakingSlots) {
  KVObjectBase* s = Object_NewStruct();
  Write(s, "score", 2.5);
  EXPECT_EQ(g_RunVariables.score, 2);
  Write(instance_, "score", 3.5);
  EXPECT_EQ(g_RunVariables.score, 4);
  Write(Object_Global(), "lives", -0.5);
  EXPECT_EQ(g_RunVariables.lives, 0);
  Write(s, "health", 12.25);
  EXPECT_EQ(g_RunVariables.health, 12.25);
  for (const char* name : {"score", "lives", "health"}) {
    EXPECT_EQ(s->FindOwnSlot(Id(name)), nullptr) << name;
    EXPECT_EQ(instance_->FindOwnSlot(Id(name)), nullptr) << name;
  }
  EXPECT_EQ(Read(s, "score"), 4.0);
  EXPECT_EQ(Read(s, "health"), 12.25);
}

TEST_F(BuiltinVarRowsTest, ReadOnlyRowsAndIgnoredWritesBehaveAsDocumented) {
  KVObjectBase* s = Object_NewStruct();
  EXPECT_EQ(ErrorRaisedBy([&] { Write(instance_, "id", 5); }), "unable to set built in variable id\n");
  EXPECT_EQ(ErrorRaisedBy([&] { Write(s, "fps", 5); }), "unable to set built in variable fps\n");
  Write(s, "transition_kind", 5);
  EXPECT_EQ(Read(s, "transition_kind"), 0.0);
  EXPECT_EQ(Read(s, "view_xview", 9), -1.0);
  EXPECT_EQ(Read(s, "view_camera", 3), 0.0);
  EXPECT_EQ(Read(s, "room_width"), -1.0);
  Run_UseGameTimer = true;
  GameTimer_Reset(&Run_GameTimer, 60.0, 0);
  EXPECT_EQ(ErrorRaisedBy([&] { Write(s, "room_speed", 0.4); }), "Trying to set the room speed to a value <= 0.");
  EXPECT_EQ(Read(s, "room_speed"), 60.0);
  Write(s, "room_speed", 30);
  EXPECT_EQ(Read(s, "room_speed"), 30.0);
  Run_UseGameTimer = false;
  EXPECT_EQ(Read(s, "room"), -1.0);
  EXPECT_EQ(Read(s, "instance_count"), -1.0);
  EXPECT_EQ(Read(s, "instance_id", 0), -4.0);
}

TEST_F(BuiltinVarRowsTest, InstanceRowsReachInstanceFieldsOnly) {
  KVObjectBase* s = Object_NewStruct();
  Write(s, "x", 99);
  EXPECT_EQ(instance_->x, 10.0f);
  ASSERT_NE(s->FindOwnSlot(Id("x")), nullptr) << "`x` in a struct is a plain slot";
  EXPECT_EQ(Read(s, "x"), 99.0);
  Write(instance_, "x", 42);
  EXPECT_EQ(instance_->x, 42.0f);
  EXPECT_EQ(instance_->FindOwnSlot(Id("x")), nullptr);
  EXPECT_NE(instance_->flags & kInstBBoxDirty, 0u);
}

TEST_F(BuiltinVarRowsTest, IdIsAReferenceWhoseNumberIsTheInstanceId) {
  RValue out = RV_Unset();
  ASSERT_TRUE(Variable_GetValue(instance_, Id("id"), -1, &out));
  EXPECT_EQ(RV_Kind(out), kRVRef);
  EXPECT_EQ(RV_ToDouble(out), kInstanceIdBase + 7);
  EXPECT_EQ(static_cast<uint64_t>(out.v64) & 0x7FF8000000000000ull, 0x7FF8000000000000ull);
  ASSERT_TRUE(Variable_GetBuiltIn(KV_AsInstance(Object_RootPrototype()), Id("id"), -1, &out));
  EXPECT_EQ(RV_Kind(out), kRVReal);
  EXPECT_EQ(out.val, -1.0);
}

TEST_F(BuiltinVarRowsTest, AlarmsDepthAndImageRowsFollowTheirRules) {
  Write(instance_, "alarm", 5.7, 12);
  EXPECT_EQ(instance_->alarm[0], 5);
  Write(instance_, "alarm", 3, 11);
  EXPECT_EQ(instance_->alarm[11], 3);
  EXPECT_EQ(Read(instance_, "alarm", -3), 5.0);

  instance_->depth = 100.0f;
  Write(instance_, "depth", 100);
  EXPECT_FALSE(instance_->onDepthChangeList);
  Write(instance_, "depth", 110);
  EXPECT_TRUE(instance_->onDepthChangeList);
  EXPECT_EQ(instance_->depth, 110.0f);

  Write(instance_, "image_single", 3);
  EXPECT_EQ(instance_->imageIndex, 3.0f);
  EXPECT_EQ(instance_->imageSpeed, 0.0f);
  EXPECT_EQ(Read(instance_, "image_single"), 3.0);
  Write(instance_, "image_single", -1);
  EXPECT_EQ(instance_->imageSpeed, 1.0f);
  EXPECT_EQ(Read(instance_, "image_single"), -1.0);
  EXPECT_EQ(Read(instance_, "image_number"), 0.0) << "no sprite";

  Write(instance_, "visible", 0.5);  // rint(0.5) is 0
  EXPECT_EQ(instance_->flags & kInstVisible, 0u);
  Write(instance_, "visible", 1.5);
  EXPECT_NE(instance_->flags & kInstVisible, 0u);
}

TEST_F(BuiltinVarRowsTest, MotionRowsKeepBothFormsOfTheVectorInStep) {
  Write(instance_, "direction", 90);
  Write(instance_, "speed", 2);
  EXPECT_EQ(instance_->hspeed, 0.0f);
  EXPECT_EQ(instance_->vspeed, -2.0f);
  Write(instance_, "vspeed", 0);
  Write(instance_, "hspeed", -1);
  EXPECT_EQ(instance_->direction, 180.0f);
  EXPECT_EQ(instance_->speed, 1.0f);
  // A written direction is kept as written; only the one derived from the speeds is reduced.
  for (double written : {-90.0, 450.0, 720.5}) {
    Write(instance_, "direction", written);
    EXPECT_EQ(Read(instance_, "direction"), written);
  }
  Write(instance_, "direction", -90);
  EXPECT_EQ(instance_->vspeed, 1.0f);
  Write(instance_, "hspeed", -1);
  EXPECT_GE(instance_->direction, 0.0f);
  EXPECT_LT(instance_->direction, 360.0f);
}

// ---- Sprite rows ----------------------------------------------------------------------------------

class BuiltinVarSpriteTest : public BuiltinVarRowsTest {
 protected:
  void SetUp() override {
    ResetLoaderState();
    Assets_InstallReaders();
    BuiltinVarRowsTest::SetUp();
  }
  void TearDown() override {
    g_BuiltinVarSpriteMetrics = nullptr;
    g_StepSpriteAnimation = nullptr;
    BuiltinVarRowsTest::TearDown();
    ResetLoaderState();
  }

  // A game whose sprite 1 is 9 x 3 with three frames and its origin at (4, 1); sprite 0 is empty.
  bool load_sprites() {
    datawin::Writer writer = MakeMinimalGame(17, 2);
    std::vector<std::optional<datawin::TpagEntry>> entries;
    for (uint16_t i = 0; i < 3; ++i) entries.push_back(datawin::TpagEntry{i, 0, 8, 8, 0, 0, 8, 8, 20, 30, 0});
    const std::vector<datawin::Label> labels = datawin::add_tpag(writer, entries);
    datawin::SpriteRecord sprite;
    sprite.name = "spr_three";
    sprite.width = 9;
    sprite.height = 3;
    sprite.bbox_right = 8;
    sprite.bbox_bottom = 2;
    sprite.x_origin = 4;
    sprite.y_origin = 1;
    for (datawin::Label frame : labels) sprite.frames.push_back(frame + 0);
    datawin::add_sprt(writer, 2, {std::nullopt, sprite});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    const bool scanned = HeaderScan(image_.data(), size);
    return LoadGameData(image_.data(), size) && scanned;
  }

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
    for (const auto& [row, expected] : {std::pair{"image_number", c.frames}, {"sprite_width", c.width},
                                        {"sprite_height", c.height}, {"sprite_xoffset", c.xoffset},
                                        {"sprite_yoffset", c.yoffset}}) {
      EXPECT_DOUBLE_EQ(Read(instance_, row), expected) << row;
    }
  }
}

}  // namespace

// Vectors added along whole quarter turns (motion_add, gravity) leave the other speed component
// exactly as it was: no rounding remainder of pi turns a vertical fall into a slow drift.
#include <gtest/gtest.h>

#include "core/builtin_families.h"
#include "core/builtin_var.h"
#include "support/world_fixture.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/motion.h"
#include "world/step.h"

namespace {

class MotionExactTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyInteraction, Motion_RegisterBuiltins);
    ASSERT_TRUE(load_objects({ObjectDef("obj_ghost")}));
    BuiltinVar_RegisterAll();
  }
  void TearDown() override {
    Variable_BuiltIn_Reset();
    WorldTest::TearDown();
  }
  void set(CInstance* i, const char* name, double value) {
    const RValue v = RV_Real(value);
    Variable_SetValue(KV_AsObject(i), Variable_BuiltIn_Find(name), -1, &v);
  }
};

TEST_F(MotionExactTest, QuarterTurnVectorsKeepTheOtherComponentExact) {
  struct Case {
    const char* name;
    double set_direction, set_speed;  // motion_set first
    double add_direction, add_speed;  // motion_add, or gravity for one step when gravity is set
    bool gravity;
    float hspeed, vspeed, speed;
  };
  const Case cases[] = {
      {"add down from rest", 0, 0, 270, 4, false, 0, 4, 4},
      {"add up to a rightward motion", 0, 3, 90, 2, false, 3, -2, 3.6055512f},
      {"add against the motion", 0, 2, 180, 2, false, 0, 0, 0},
      {"add a negative quarter turn", 0, 0, -90, 1, false, 0, 1, 1},
      {"add a direction past a whole turn", 180, 1, 450, 1, false, -1, -1, 1.4142135f},
      {"gravity down from rest", 0, 0, 270, 0.5, true, 0, 0.5f, 0.5f},
      {"gravity down on a rightward motion", 0, 2, 270, 2, true, 2, 2, 2.828427f},
      {"gravity to the left", 90, 1, 180, 1, true, -1, -1, 1.4142135f},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CInstance* i = make(0, 100, 100);
    call("motion_set", i, {RV_Real(c.set_direction), RV_Real(c.set_speed)});
    if (c.gravity) {
      set(i, "gravity_direction", c.add_direction);
      set(i, "gravity", c.add_speed);
      Run_Step();
    } else {
      call("motion_add", i, {RV_Real(c.add_direction), RV_Real(c.add_speed)});
    }
    EXPECT_EQ(i->hspeed, c.hspeed);
    EXPECT_EQ(i->vspeed, c.vspeed);
    EXPECT_FLOAT_EQ(i->speed, c.speed);
  }
}

}  // namespace

// Motion and paths: a written game with a mover, a solid wall and paths, loaded and started. The
// vector rules through the variables and motion_* builtins, friction and gravity in the frame step,
// the polylines of straight, smooth and closed paths, the path step with its end actions,
// orientation and scale, the move_* builtins against solids, the path editing builtins, and motion
// planning: grid cells, grid paths round blocked cells, linear and potential steering.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/builtin_var.h"
#include "core/error.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "datawin/writer/chunk_world.h"
#include "storage/fn_ds.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/asset_paths.h"
#include "world/builtin_var_rows.h"
#include "world/collision.h"
#include "world/instance.h"
#include "world/motion.h"
#include "world/mp_grid.h"
#include "world/path.h"
#include "world/step.h"

using namespace datawin;

namespace {

enum Object { kObjMover, kObjWall, kObjGhost };
enum PathIndex { kPathLine, kPathCorner, kPathCornerClosed, kPathSmooth, kPathSmoothClosed, kPathSlow };

int g_path_ends = 0;
void EndOfPath(CInstance*, CInstance*) { ++g_path_ends; }

SpriteRecord box_sprite(Label frame) {
  SpriteRecord s;
  s.name = "spr_box16";
  s.width = 16;
  s.height = 16;
  s.bbox_right = 15;
  s.bbox_bottom = 15;
  s.frames.push_back(frame + 0);
  return s;
}

PathRecord path(const std::string& name, int32_t kind, bool closed, int32_t precision, std::vector<PathPoint> points) {
  return PathRecord{name, kind, closed, precision, std::move(points)};
}

class MotionTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyResource, Path_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyInteraction, Collision_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyInteraction, Motion_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyInteraction, MotionPlanning_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyDS, DS_RegisterBuiltins);
    g_path_ends = 0;
    const int32_t end = code("end_of_path", EndOfPath);
    Writer writer = MakeMinimalGame(17, 2);
    const std::vector<Label> labels = add_tpag(writer, {TpagEntry{0, 0, 16, 16, 0, 0, 16, 16, 16, 16, 0}});
    add_sprt(writer, 2, {box_sprite(labels[0])});
    ObjectRecord mover = ObjectDef("obj_mover", -1, {{7, 8, end}});
    mover.sprite = 0;
    ObjectRecord wall = ObjectDef("obj_wall");
    wall.sprite = 0;
    wall.solid = true;
    ObjectRecord ghost = ObjectDef("obj_ghost");
    ghost.sprite = 0;
    add_objt(writer, {mover, wall, ghost}, 17);
    const std::vector<PathPoint> corner = {{0, 0, 100}, {100, 0, 100}, {100, 100, 100}};
    add_path(writer, {path("pth_line", 0, false, 4, {{0, 0, 100}, {100, 0, 100}}), path("pth_corner", 0, false, 4, corner),
                      path("pth_corner_closed", 0, true, 4, corner), path("pth_smooth", 1, false, 2, corner),
                      path("pth_smooth_closed", 1, true, 1, corner),
                      path("pth_slow", 0, false, 4, {{0, 0, 100}, {100, 0, 50}})});
    RoomRecord room;
    room.name = "rm_world";
    room.width = 320;
    room.height = 240;
    add_room(writer, {room});
    ASSERT_TRUE(load_and_start(writer));
    BuiltinVar_RegisterAll();
  }
  void TearDown() override {
    Collision_Reset();
    Variable_BuiltIn_Reset();
    WorldTest::TearDown();
  }

  double get(CInstance* i, const char* name) {
    RValue out = RV_Undefined();
    EXPECT_TRUE(Variable_GetBuiltIn(i, Variable_BuiltIn_Find(name), -1, &out)) << name;
    return out.val;
  }
  void set(CInstance* i, const char* name, double value) {
    const RValue v = RV_Real(value);
    Variable_SetValue(KV_AsObject(i), Variable_BuiltIn_Find(name), -1, &v);
  }
  double num(const char* name, CInstance* self, std::vector<RValue> args) { return call(name, self, args).val; }
  static std::vector<RValue> reals(std::initializer_list<double> values) {
    std::vector<RValue> out;
    for (double v : values) out.push_back(RV_Real(v));
    return out;
  }
};

TEST_F(MotionTest, WritesKeepBothFormsOfTheVector) {
  struct Case {
    const char* first;
    double first_value;
    const char* second;
    double second_value;
    double hspeed, vspeed, direction, speed;
  };
  const Case cases[] = {
      {"direction", 90, "speed", 2, 0, -2, 90, 2},  // the snap makes cos(90) exactly 0
      {"hspeed", -1, "vspeed", 0, -1, 0, 180, 1},
      {"hspeed", 3, "vspeed", 4, 3, 4, 306.869898, 5},
      {"hspeed", 0, "vspeed", 5, 0, 5, 270, 5},
      {"speed", -2, "direction", 0, -2, 0, 0, -2},  // a negative speed goes backwards
      {"direction", 450, "speed", 1, 0, -1, 450, 1},  // a written direction is stored as written
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.first) + " then " + c.second);
    CInstance* i = make(kObjGhost);
    set(i, c.first, c.first_value);
    set(i, c.second, c.second_value);
    EXPECT_EQ(get(i, "hspeed"), c.hspeed);
    EXPECT_EQ(get(i, "vspeed"), c.vspeed);
    EXPECT_NEAR(get(i, "direction"), c.direction, 1e-4);
    EXPECT_NEAR(get(i, "speed"), c.speed, 1e-6);
  }
}

TEST_F(MotionTest, MotionBuiltinsAddAndSetVectors) {
  struct Case {
    double dir1, speed1, dir2, speed2;
    double hspeed, vspeed, direction, speed;
  };
  const Case cases[] = {
      {0, 3, 270, 4, 3, 4, 306.869898, 5},
      {180, 2, 0, 1, -1, 0, 180, 1},  // against the motion
      {90, 1, 90, 2, 0, -3, 90, 3},
      {45, 2, 225, 1, 0.707107, -0.707107, 45, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.dir2));
    CInstance* i = make(kObjGhost);
    call("motion_set", i, reals({c.dir1, c.speed1}));
    call("motion_add", i, reals({c.dir2, c.speed2}));
    EXPECT_NEAR(i->hspeed, c.hspeed, 1e-5);
    EXPECT_NEAR(i->vspeed, c.vspeed, 1e-5);
    EXPECT_NEAR(i->direction, c.direction, 1e-4);
    EXPECT_NEAR(i->speed, c.speed, 1e-5);
  }
  CInstance* i = make(kObjGhost, 10, 10);
  call("move_towards_point", i, reals({13, 14, 10}));
  EXPECT_NEAR(i->hspeed, 6, 1e-5);
  EXPECT_NEAR(i->vspeed, 8, 1e-5);
  EXPECT_NEAR(i->direction, 306.869898, 1e-4);
}

TEST_F(MotionTest, FrictionAndGravityRunInTheStepBeforeTheMove) {
  struct Case {
    const char* name;
    double speed, direction, friction, gravity, gravity_direction;
    double x_after, y_after, speed_after, direction_after, vspeed_after;
  };
  const Case cases[] = {
      {"friction stops at zero", 0.5, 0, 1, 0, 270, 100, 100, 0, 0, 0},
      {"friction slows", 3, 0, 1, 0, 270, 102, 100, 2, 0, 0},
      {"backwards towards zero", -2, 0, 0.5, 0, 270, 98.5, 100, -1.5, 0, 0},
      {"gravity down", 0, 0, 0, 0.5, 270, 100, 100.5, 0.5, 270, 0.5},
      {"gravity on a rightward motion", 2, 0, 0, 2, 270, 102, 102, 2.828427, 315, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CInstance* i = make(kObjGhost, 100, 100);
    set(i, "speed", c.speed);
    set(i, "direction", c.direction);
    set(i, "friction", c.friction);
    set(i, "gravity", c.gravity);
    set(i, "gravity_direction", c.gravity_direction);
    Run_Step();
    EXPECT_NEAR(i->x, c.x_after, 1e-4);
    EXPECT_NEAR(i->y, c.y_after, 1e-4);
    EXPECT_NEAR(i->speed, c.speed_after, 1e-5);
    EXPECT_NEAR(i->direction, c.direction_after, 1e-4);
    EXPECT_NEAR(i->vspeed, c.vspeed_after, 1e-5);
    Instance_Destroy(i, false);
    Room_PurgeMarked(room_);
  }
}

TEST_F(MotionTest, PolylinesOfStraightSmoothAndClosedPaths) {
  struct Case {
    int32_t path;
    std::vector<std::pair<float, float>> internal;
    float length;
  };
  const float diagonal = std::sqrt(2.0f) * 100.0f;
  const Case cases[] = {
      {kPathCorner, {{0, 0}, {100, 0}, {100, 100}}, 200},
      {kPathCornerClosed, {{0, 0}, {100, 0}, {100, 100}, {0, 0}}, 200 + diagonal},  // one point more
      {kPathSmooth, {{0, 0}, {71.875f, 3.125f}, {87.5f, 12.5f}, {96.875f, 28.125f}, {100, 100}}, -1},
      {kPathSmoothClosed, {{87.5f, 12.5f}, {87.5f, 75}, {25, 12.5f}, {87.5f, 12.5f}}, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    const CPath* p = Path_Get(c.path);
    ASSERT_NE(p, nullptr);
    ASSERT_EQ(p->internal.size(), c.internal.size());
    for (size_t k = 0; k < c.internal.size(); ++k) {
      EXPECT_FLOAT_EQ(p->internal[k].x, c.internal[k].first) << k;
      EXPECT_FLOAT_EQ(p->internal[k].y, c.internal[k].second) << k;
    }
    if (c.length >= 0) {
      EXPECT_NEAR(p->length, c.length, 1e-3);
    }
    EXPECT_FLOAT_EQ(p->internal.back().distance, p->length);
    EXPECT_EQ(num("path_get_length", nullptr, reals({double(c.path)})), p->length);
  }
}

TEST_F(MotionTest, PositionsAlongPathsByDistance) {
  struct Case {
    int32_t path;
    double t;
    double x, y, speed;
  };
  const Case cases[] = {
      {kPathCorner, 0.25, 50, 0, 100},     {kPathCorner, 0.75, 100, 50, 100},  {kPathCorner, 1, 100, 100, 100},
      {kPathCorner, -3, 0, 0, 100},        {kPathCorner, 7, 100, 100, 100},    {kPathCornerClosed, 1, 0, 0, 100},
      {kPathSlow, 0.5, 50, 0, 75},         {kPathSlow, 1, 100, 0, 50},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.path) + " at " + std::to_string(c.t));
    EXPECT_NEAR(num("path_get_x", nullptr, reals({double(c.path), c.t})), c.x, 1e-3);
    EXPECT_NEAR(num("path_get_y", nullptr, reals({double(c.path), c.t})), c.y, 1e-3);
    EXPECT_NEAR(num("path_get_speed", nullptr, reals({double(c.path), c.t})), c.speed, 1e-3);
  }
  // No points: the origin at full speed; one point: that point.
  const double empty = num("path_add", nullptr, {});
  EXPECT_EQ(num("path_get_x", nullptr, reals({empty, 0.5})), 0);
  EXPECT_EQ(num("path_get_speed", nullptr, reals({empty, 0.5})), 100);
  call("path_add_point", nullptr, reals({empty, 7, 9, 40}));
  EXPECT_EQ(num("path_get_y", nullptr, reals({empty, 0.5})), 9);
  EXPECT_EQ(num("path_get_speed", nullptr, reals({empty, 0.5})), 40);
}

TEST_F(MotionTest, EndActionsAtTheFarEnd) {
  struct Case {
    int32_t action;
    std::vector<double> xs;  // x after each step, starting at 10 on a 100-long line at speed 30
    double index_after;
    double speed_after;
    int ends;
  };
  const Case cases[] = {
      {0, {40, 70, 100, 110, 110}, -1, 30, 1},    // stop at the end
      {1, {40, 70, 100, 10, 40}, kPathLine, 30, 1},  // restart
      {2, {40, 70, 100, 110, 140}, kPathLine, 30, 1},  // continue from the end
      {3, {40, 70, 100, 110, 80}, kPathLine, -30, 1},  // reverse
      {7, {40, 70, 100, 110, 110}, -1, 30, 1},    // unknown: as stop
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.action);
    g_path_ends = 0;
    CInstance* i = make(kObjMover, 10, 20);
    call("path_start", i, reals({kPathLine, 30, double(c.action), 0}));
    for (size_t s = 0; s < c.xs.size(); ++s) {
      Run_Step();
      EXPECT_NEAR(i->x, c.xs[s], 1e-3) << "step " << s;
      EXPECT_NEAR(i->y, 20, 1e-4);
    }
    EXPECT_EQ(get(i, "path_index"), c.index_after);
    EXPECT_EQ(get(i, "path_speed"), c.speed_after);
    EXPECT_EQ(g_path_ends, c.ends);
    // The path moves the instance; its own speed stays 0 while direction follows the path.
    EXPECT_EQ(i->speed, 0.0f);
    Instance_Destroy(i, false);
    Room_PurgeMarked(room_);
  }
}

TEST_F(MotionTest, ReverseAtTheNearEndAndNegativeStart) {
  CInstance* i = make(kObjMover, 0, 0);
  call("path_start", i, reals({kPathLine, -50, 3, 1}));  // absolute, from the far end
  EXPECT_EQ(get(i, "path_position"), 1);
  EXPECT_EQ(i->x, 100);
  Run_Step();
  EXPECT_NEAR(i->x, 50, 1e-4);
  EXPECT_NEAR(i->direction, 180, 1e-4);
  Run_Step();
  EXPECT_NEAR(i->x, 0, 1e-4);
  EXPECT_EQ(get(i, "path_speed"), 50);
  EXPECT_EQ(g_path_ends, 1);
  Run_Step();
  EXPECT_NEAR(i->x, 50, 1e-4);
  EXPECT_NEAR(i->direction, 0, 1e-4);
}

TEST_F(MotionTest, PointSpeedOrientationAndScaleShapeTheStep) {
  struct Case {
    int32_t path;
    double speed, orientation, scale;
    double dx, dy;  // from the start after one step
  };
  const Case cases[] = {
      {kPathLine, 50, 0, 1, 50, 0},
      {kPathLine, 100, 90, 2, 0, -100},    // turned counterclockwise, twice as large, same fraction
      {kPathLine, 50, 180, 1, -50, 0},
      {kPathSlow, 20, 0, 1, 20, 0},        // starts at 100 percent
      {kPathCorner, 50, 0, 0.5, 50, 0},    // a smaller path is covered faster
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.path) + " orientation " + std::to_string(c.orientation));
    CInstance* i = make(kObjMover, 50, 60);
    call("path_start", i, reals({double(c.path), c.speed, 0, 0}));
    set(i, "path_orientation", c.orientation);
    set(i, "path_scale", c.scale);
    Run_Step();
    EXPECT_NEAR(i->x - 50, c.dx, 1e-3);
    EXPECT_NEAR(i->y - 60, c.dy, 1e-3);
    Instance_Destroy(i, false);
    Room_PurgeMarked(room_);
  }
  // The slow end: at 60 percent of the way the point speed is 70 percent.
  CInstance* i = make(kObjMover, 0, 0);
  call("path_start", i, reals({kPathSlow, 10, 0, 1}));
  set(i, "path_position", 0.6);
  Run_Step();
  EXPECT_NEAR(get(i, "path_position"), 0.67, 1e-5);
  set(i, "path_position", 4);
  EXPECT_EQ(get(i, "path_position"), 1);  // writes are clamped
}

TEST_F(MotionTest, UnknownPathEndsThePath) {
  CInstance* i = make(kObjMover, 5, 5);
  call("path_start", i, reals({kPathLine, 10, 0, 0}));
  EXPECT_EQ(get(i, "path_index"), kPathLine);
  call("path_start", i, reals({99, 10, 0, 0}));
  EXPECT_EQ(get(i, "path_index"), -1);
  Run_Step();
  EXPECT_EQ(i->x, 5);
  call("path_start", i, reals({kPathLine, 10, 0, 0}));
  call("path_end", i, {});
  EXPECT_EQ(get(i, "path_index"), -1);
}

TEST_F(MotionTest, MoveContactAndOutsideStopAtSolids) {
  struct Case {
    const char* name;
    float start_x;
    double direction, maxdist;
    bool outside;
    double x_after;
  };
  // The wall's box covers 50 to 66; the mover is 16 wide.
  const Case cases[] = {
      {"contact stops touching", 0, 0, 100, false, 34},
      {"contact limited", 0, 0, 10, false, 10},
      {"contact rounds the limit", 0, 0, 9.6, false, 10},
      {"contact away", 20, 180, 5, false, 15},
      {"zero means far", 0, 0, 0, false, 34},
      {"contact from inside stays", 40, 0, 100, false, 40},
      {"outside leaves", 40, 180, 100, true, 34},
      {"outside the other way", 60, 0, 100, true, 66},
      {"outside limited", 40, 180, 3, true, 37},
      {"outside when free stays", 10, 0, 100, true, 10},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CInstance* wall = make(kObjWall, 50, 0);
    CInstance* i = make(kObjMover, c.start_x, 0);
    call(c.outside ? "move_outside_solid" : "move_contact_solid", i, reals({c.direction, c.maxdist}));
    EXPECT_NEAR(i->x, c.x_after, 1e-3);
    EXPECT_NEAR(i->y, 0, 1e-4);
    Instance_Destroy(i, false);
    Instance_Destroy(wall, false);
    Room_PurgeMarked(room_);
  }
}

TEST_F(MotionTest, AllVariantsStopAtAnyInstance) {
  make(kObjGhost, 50, 0);  // not solid
  CInstance* i = make(kObjMover, 0, 0);
  call("move_contact_solid", i, reals({0, 40}));
  EXPECT_EQ(i->x, 40);
  Instance_SetPosition(i, 0, 0);
  call("move_contact_all", i, reals({0, 100}));
  EXPECT_NEAR(i->x, 34, 1e-3);
  Instance_SetPosition(i, 40, 0);
  call("move_outside_all", i, reals({180, 100}));
  EXPECT_NEAR(i->x, 34, 1e-3);
}

TEST_F(MotionTest, BouncesReflectTheBlockedAxes) {
  struct Case {
    const char* name;
    float x, y;
    double hspeed, vspeed;
    bool advanced;
    double hspeed_after, vspeed_after;
  };
  // A solid block at 100..116 x 100..116.
  const Case cases[] = {
      {"from the left", 80, 100, 6, 0, false, -6, 0},
      {"from above", 100, 80, 0, 6, false, 0, -6},
      {"sliding along the top", 90, 80, 3, 6, false, 3, -6},
      {"into the corner", 80, 80, 6, 6, false, -6, -6},
      {"free ahead", 40, 40, 6, 0, false, 6, 0},
      {"advanced from the left", 80, 100, 6, 0, true, -6, 0},
      {"advanced from above", 100, 80, 0, 6, true, 0, -6},
  };
  make(kObjWall, 100, 100);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CInstance* i = make(kObjMover, c.x, c.y);
    set(i, "hspeed", c.hspeed);
    set(i, "vspeed", c.vspeed);
    call("move_bounce_solid", i, reals({c.advanced ? 1.0 : 0.0}));
    EXPECT_NEAR(i->hspeed, c.hspeed_after, 1e-3);
    EXPECT_NEAR(i->vspeed, c.vspeed_after, 1e-3);
    Instance_Destroy(i, false);
    Room_PurgeMarked(room_);
  }
}

TEST_F(MotionTest, AdvancedBounceOffAWideFloorKeepsTheAlongMotion) {
  CInstance* floor = make(kObjWall, 0, 100);
  Instance_SetScale(floor, 20, 1);  // 0..320 wide
  CInstance* i = make(kObjMover, 100, 83);
  call("motion_set", i, reals({315, 6}));  // down and to the right
  call("move_bounce_solid", i, reals({1}));
  EXPECT_NEAR(i->direction, 45, 10);  // up and to the right
  EXPECT_NEAR(i->speed, 6, 1e-4);
}

TEST_F(MotionTest, SnapWrapAndRandomKeepToTheRoom) {
  CInstance* i = make(kObjMover, 37, 51);
  call("move_snap", i, reals({16, 0}));
  EXPECT_EQ(i->x, 32);
  EXPECT_EQ(i->y, 51);
  call("move_snap", i, reals({0, 20}));
  EXPECT_EQ(i->y, 60);
  struct Wrap {
    float x, y;
    bool hor, vert;
    double margin;
    float x_after, y_after;
  };
  for (const Wrap& w : {Wrap{-20, 50, true, true, 10, 320, 50}, Wrap{335, 50, true, false, 10, -5, 50},
                        Wrap{-5, -5, true, true, 10, -5, -5}, Wrap{50, 260, false, true, 0, 50, 20},
                        Wrap{-20, 50, false, true, 10, -20, 50}}) {
    Instance_SetPosition(i, w.x, w.y);
    call("move_wrap", i, {RV_Bool(w.hor), RV_Bool(w.vert), RV_Real(w.margin)});
    EXPECT_EQ(i->x, w.x_after) << w.x;
    EXPECT_EQ(i->y, w.y_after) << w.y;
  }
  make(kObjWall, 0, 0);
  for (int k = 0; k < 20; ++k) {
    call("move_random", i, reals({8, 8}));
    EXPECT_GE(i->x, 0);
    EXPECT_LE(i->x, 304);
    EXPECT_GE(i->y, 0);
    EXPECT_LE(i->y, 224);
    EXPECT_EQ(std::fmod(i->x, 8.0f), 0);
    EXPECT_EQ(std::fmod(i->y, 8.0f), 0);
    EXPECT_TRUE(Command_IsFree(i, i->x, i->y));
  }
}

TEST_F(MotionTest, DistancesFromTheBox) {
  CInstance* i = make(kObjMover, 0, 0);  // box 0..16
  struct Point {
    double x, y, distance;
  };
  for (const Point& p : {Point{8, 8, 0}, Point{20, 8, 4}, Point{-3, -4, 5}, Point{19, 20, 5}}) {
    EXPECT_NEAR(num("distance_to_point", i, reals({p.x, p.y})), p.distance, 1e-4) << p.x << "," << p.y;
  }
  EXPECT_EQ(num("distance_to_object", i, reals({kObjWall})), kMotionNoDistance);
  make(kObjWall, 40, 0);
  CInstance* near = make(kObjWall, 19, 20);
  EXPECT_NEAR(num("distance_to_object", i, reals({kObjWall})), 5, 1e-4);
  EXPECT_NEAR(num("distance_to_object", i, {Instance_Ref(near->id)}), 5, 1e-4);
  EXPECT_NEAR(num("distance_to_object", i, reals({-3})), 5, 1e-4);
}

TEST_F(MotionTest, PathEditingBuiltins) {
  using Points = std::vector<std::pair<double, double>>;
  struct Case {
    const char* op;
    std::vector<double> args;  // after the path index
    Points points;
  };
  // Each starts from a copy of the corner path (0,0) (100,0) (100,100), whose middle is (50, 50).
  const Case cases[] = {
      {"path_reverse", {}, {{100, 100}, {100, 0}, {0, 0}}},
      {"path_mirror", {}, {{100, 0}, {0, 0}, {0, 100}}},
      {"path_flip", {}, {{0, 100}, {100, 100}, {100, 0}}},
      {"path_shift", {5, -5}, {{5, -5}, {105, -5}, {105, 95}}},
      {"path_rescale", {2, 0.5}, {{-50, 25}, {150, 25}, {150, 75}}},
      {"path_rotate", {90}, {{0, 100}, {0, 0}, {100, 0}}},
      {"path_add_point", {7, 8, 100}, {{0, 0}, {100, 0}, {100, 100}, {7, 8}}},
      {"path_insert_point", {1, 7, 8, 100}, {{0, 0}, {7, 8}, {100, 0}, {100, 100}}},
      {"path_change_point", {2, 7, 8, 100}, {{0, 0}, {100, 0}, {7, 8}}},
      {"path_change_point", {3, 7, 8, 100}, {{0, 0}, {100, 0}, {100, 100}}},
      {"path_delete_point", {0}, {{100, 0}, {100, 100}}},
      {"path_clear_points", {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.op);
    const double p = num("path_duplicate", nullptr, reals({kPathCorner}));
    ASSERT_GE(p, 0);
    std::vector<RValue> args = reals({p});
    for (double a : c.args) args.push_back(RV_Real(a));
    call(c.op, nullptr, args);
    ASSERT_EQ(num("path_get_number", nullptr, reals({p})), static_cast<double>(c.points.size()));
    for (size_t k = 0; k < c.points.size(); ++k) {
      EXPECT_NEAR(num("path_get_point_x", nullptr, reals({p, double(k)})), c.points[k].first, 1e-3) << k;
      EXPECT_NEAR(num("path_get_point_y", nullptr, reals({p, double(k)})), c.points[k].second, 1e-3) << k;
    }
    // The polyline follows every edit.
    if (c.points.size() >= 2) {
      EXPECT_NEAR(num("path_get_x", nullptr, reals({p, 1})), c.points.back().first, 1e-3);
    }
    call("path_delete", nullptr, reals({p}));
    EXPECT_FALSE(RV_ToBool(call("path_exists", nullptr, reals({p}))));
  }
}

TEST_F(MotionTest, PathTableSlotsAndSettings) {
  const double a = num("path_add", nullptr, {});
  EXPECT_EQ(a, 6);  // after the file's six
  EXPECT_TRUE(RV_ToBool(call("path_get_closed", nullptr, reals({a}))));
  EXPECT_EQ(num("path_get_kind", nullptr, reals({a})), 0);
  EXPECT_EQ(num("path_get_precision", nullptr, reals({a})), 4);
  call("path_set_precision", nullptr, reals({a, 20}));
  EXPECT_EQ(num("path_get_precision", nullptr, reals({a})), 8);
  call("path_assign", nullptr, reals({a, kPathCornerClosed}));
  EXPECT_EQ(num("path_get_number", nullptr, reals({a})), 3);
  EXPECT_NEAR(num("path_get_length", nullptr, reals({a})), Path_Get(kPathCornerClosed)->length, 1e-4);
  call("path_set_closed", nullptr, {RV_Real(a), RV_Bool(false)});
  EXPECT_NEAR(num("path_get_length", nullptr, reals({a})), 200, 1e-4);
  call("path_append", nullptr, reals({a, kPathLine}));
  EXPECT_EQ(num("path_get_number", nullptr, reals({a})), 5);
  RValue name = call("path_get_name", nullptr, reals({a}));
  EXPECT_STREQ(RV_StringText(name), "__newpath6");
  RV_Free(&name);
  // A deleted slot is reused first.
  call("path_delete", nullptr, reals({kPathSmooth}));
  EXPECT_EQ(num("path_add", nullptr, {}), kPathSmooth);
  // Unknown paths.
  EXPECT_EQ(num("path_get_length", nullptr, reals({42})), -1);
  EXPECT_FALSE(RV_ToBool(call("path_exists", nullptr, reals({-1}))));
  RValue unknown = call("path_get_name", nullptr, reals({42}));
  EXPECT_STREQ(RV_StringText(unknown), "<undefined>");
  RV_Free(&unknown);
  call("path_shift", nullptr, reals({42, 1, 1}));  // nothing to change, no error
}

// ---- Motion grids and steering ------------------------------------------------------------------

class MotionGridTest : public MotionTest {
 protected:
  void TearDown() override {
    MotionGrid_FreeAll();
    MotionTest::TearDown();
  }
  // A 5 x 5 grid of 10-pixel cells at (0, 0) with the given cells blocked.
  double grid_with(const std::vector<std::pair<int, int>>& blocked) {
    const double g = num("mp_grid_create", nullptr, reals({0, 0, 5, 5, 10, 10}));
    for (const auto& [c, r] : blocked) call("mp_grid_add_cell", nullptr, reals({g, double(c), double(r)}));
    return g;
  }
  bool blocked(double g, double x, double y) {
    return num("mp_grid_get_cell", nullptr, reals({g, std::floor(x / 10), std::floor(y / 10)})) < 0;
  }
};

TEST_F(MotionGridTest, CellsRectanglesAndTheTable) {
  const double g = num("mp_grid_create", nullptr, reals({100, 50, 4, 3, 16, 8}));
  EXPECT_EQ(g, 0);
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 3, 2})), 0);
  EXPECT_TRUE(RV_ToBool(call("mp_grid_add_cell", nullptr, reals({g, 3, 2}))));
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 3, 2})), -1);
  EXPECT_FALSE(RV_ToBool(call("mp_grid_add_cell", nullptr, reals({g, 4, 0}))));  // outside
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, -1, 0})), -1);            // outside reads blocked
  call("mp_grid_clear_cell", nullptr, reals({g, 3, 2}));
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 3, 2})), 0);
  // Room coordinates: x 100..164 in columns of 16, y 50..74 in rows of 8; corners in any order.
  call("mp_grid_add_rectangle", nullptr, reals({g, 130, 60, 101, 51}));
  std::string cells;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) cells += num("mp_grid_get_cell", nullptr, reals({g, double(c), double(r)})) < 0 ? '#' : '.';
    cells += '/';
  }
  EXPECT_EQ(cells, "##../##../..../");
  call("mp_grid_clear_rectangle", nullptr, reals({g, 0, 0, 120, 55}));
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 0, 0})), 0);
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 0, 1})), -1);
  call("mp_grid_clear_all", nullptr, reals({g}));
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 1, 1})), 0);
  // The lowest free index is reused.
  EXPECT_EQ(num("mp_grid_create", nullptr, reals({0, 0, 1, 1, 1, 1})), 1);
  call("mp_grid_destroy", nullptr, reals({g}));
  EXPECT_EQ(num("mp_grid_get_cell", nullptr, reals({g, 0, 0})), -1);
  EXPECT_EQ(num("mp_grid_create", nullptr, reals({0, 0, 1, 1, 1, 1})), 0);
}

TEST_F(MotionGridTest, PathsGoRoundBlockedCells) {
  using Cells = std::vector<std::pair<int, int>>;
  struct Case {
    const char* name;
    Cells blocked;
    double x1, y1, x2, y2;
    bool diagonal;
    bool found;
    int points;  // -1: not checked
  };
  // A wall down column 2 with a gap at the bottom row.
  const Cells wall = {{2, 0}, {2, 1}, {2, 2}, {2, 3}};
  const Case cases[] = {
      {"open row", {}, 5, 5, 45, 5, false, true, 5},
      {"same cell", {}, 3, 4, 7, 8, false, true, 2},
      {"round the wall", wall, 5, 5, 45, 5, false, true, 13},
      {"round the wall with diagonals", wall, 5, 5, 45, 5, true, true, -1},
      {"open diagonal", {}, 5, 5, 45, 45, true, true, 5},
      {"no corner cutting", {{1, 0}, {0, 1}}, 5, 5, 15, 15, true, false, 0},
      {"walled in", {{2, 0}, {2, 1}, {2, 2}, {2, 3}, {2, 4}}, 5, 5, 45, 5, true, false, 0},
      {"blocked goal", {{4, 0}}, 5, 5, 45, 5, false, false, 0},
      {"goal outside", {}, 5, 5, 55, 5, false, false, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const double g = grid_with(c.blocked);
    const double p = num("path_add", nullptr, {});
    call("path_add_point", nullptr, reals({p, 1, 1, 100}));
    const bool found = RV_ToBool(call("mp_grid_path", nullptr, {RV_Real(g), RV_Real(p), RV_Real(c.x1), RV_Real(c.y1),
                                                                 RV_Real(c.x2), RV_Real(c.y2), RV_Bool(c.diagonal)}));
    EXPECT_EQ(found, c.found);
    const int n = static_cast<int>(num("path_get_number", nullptr, reals({p})));
    if (!c.found) {
      EXPECT_EQ(n, 1);  // left alone
      continue;
    }
    if (c.points >= 0) {
      EXPECT_EQ(n, c.points);
    }
    EXPECT_FALSE(RV_ToBool(call("path_get_closed", nullptr, reals({p}))));
    EXPECT_EQ(num("path_get_point_x", nullptr, reals({p, 0})), c.x1);
    EXPECT_EQ(num("path_get_point_y", nullptr, reals({p, 0})), c.y1);
    EXPECT_EQ(num("path_get_point_x", nullptr, reals({p, double(n - 1)})), c.x2);
    EXPECT_EQ(num("path_get_point_y", nullptr, reals({p, double(n - 1)})), c.y2);
    // Every step goes to a free neighbour, a diagonal one only past two free cells.
    for (int k = 1; k < n; ++k) {
      const double ax = num("path_get_point_x", nullptr, reals({p, double(k - 1)}));
      const double ay = num("path_get_point_y", nullptr, reals({p, double(k - 1)}));
      const double bx = num("path_get_point_x", nullptr, reals({p, double(k)}));
      const double by = num("path_get_point_y", nullptr, reals({p, double(k)}));
      EXPECT_FALSE(blocked(g, bx, by)) << k;
      const int dc = static_cast<int>(std::floor(bx / 10) - std::floor(ax / 10));
      const int dr = static_cast<int>(std::floor(by / 10) - std::floor(ay / 10));
      EXPECT_LE(std::abs(dc) + std::abs(dr), c.diagonal ? 2 : 1) << k;
      EXPECT_TRUE(std::abs(dc) <= 1 && std::abs(dr) <= 1) << k;
      if (dc != 0 && dr != 0) {
        EXPECT_FALSE(blocked(g, bx, ay)) << k;
        EXPECT_FALSE(blocked(g, ax, by)) << k;
      }
    }
  }
  // Diagonals shorten the way round the wall.
  const double g = grid_with(wall);
  const double straight = num("path_add", nullptr, {}), diagonal = num("path_add", nullptr, {});
  call("mp_grid_path", nullptr, {RV_Real(g), RV_Real(straight), RV_Real(5), RV_Real(5), RV_Real(45), RV_Real(5), RV_Bool(false)});
  call("mp_grid_path", nullptr, {RV_Real(g), RV_Real(diagonal), RV_Real(5), RV_Real(5), RV_Real(45), RV_Real(5), RV_Bool(true)});
  EXPECT_NEAR(num("path_get_length", nullptr, reals({straight})), 120, 1e-3);
  EXPECT_LT(num("path_get_length", nullptr, reals({diagonal})), 120);
}

TEST_F(MotionGridTest, InstancesBlockTheCellsTheyOverlap) {
  const double g = num("mp_grid_create", nullptr, reals({0, 0, 6, 4, 16, 16}));
  make(kObjWall, 16, 16);   // exactly cell (1, 1)
  make(kObjWall, 56, 40);   // 56..72 x 40..56: columns 3 and 4, rows 2 and 3
  make(kObjGhost, 80, 0);   // not named
  call("mp_grid_add_instances", nullptr, {RV_Real(g), RV_Real(kObjWall), RV_Bool(false)});
  std::string cells;
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 6; ++c) cells += num("mp_grid_get_cell", nullptr, reals({g, double(c), double(r)})) < 0 ? '#' : '.';
    cells += '/';
  }
  EXPECT_EQ(cells, "....../.#..../...##./...##./");
}

TEST_F(MotionGridTest, CopiesToADataStructureGrid) {
  const double g = grid_with({{1, 2}, {4, 4}});
  const double ds = num("ds_grid_create", nullptr, reals({5, 5}));
  EXPECT_TRUE(RV_ToBool(call("mp_grid_to_ds_grid", nullptr, reals({g, ds}))));
  EXPECT_EQ(num("ds_grid_get", nullptr, reals({ds, 1, 2})), -1);
  EXPECT_EQ(num("ds_grid_get", nullptr, reals({ds, 4, 4})), -1);
  EXPECT_EQ(num("ds_grid_get", nullptr, reals({ds, 2, 1})), 0);
  struct ErrorCase {
    std::vector<double> args;
    const char* message;
  };
  const double small = num("ds_grid_create", nullptr, reals({4, 5}));
  for (const ErrorCase& c : {ErrorCase{{g, small}, "Error, grid sizes do not match (mp_grid_to_ds_grid) "},
                             ErrorCase{{7, ds}, "Invalid source or destination grid"},
                             ErrorCase{{g, 99}, "Invalid source or destination grid"},
                             ErrorCase{{g}, "Invalid source or destination grid"}}) {
    try {
      std::vector<RValue> args;
      for (const double a : c.args) args.push_back(RV_Real(a));
      call("mp_grid_to_ds_grid", nullptr, args);
      ADD_FAILURE() << "no error";
    } catch (const KVTSLException& e) {
      EXPECT_EQ(e.message(), c.message);
    }
  }
}

TEST_F(MotionGridTest, LinearStepsStopBeforeObstacles) {
  make(kObjWall, 60, 0);
  struct Case {
    const char* fn;
    double goal_x;
    RValue last;  // checkall, or the object
    std::vector<double> xs;
    bool reached;
  };
  const Case cases[] = {
      {"mp_linear_step", 30, RV_Bool(false), {10, 20, 30, 30}, true},
      {"mp_linear_step", 100, RV_Bool(false), {10, 20, 30, 40, 40}, false},  // the wall starts at 60
      {"mp_linear_step_object", 100, RV_Real(kObjGhost), {10, 20, 30, 40, 50, 60}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.fn) + " to " + std::to_string(c.goal_x));
    CInstance* i = make(kObjMover, 0, 0);
    bool reached = false;
    for (double x : c.xs) {
      reached = RV_ToBool(call(c.fn, i, {RV_Real(c.goal_x), RV_Real(0), RV_Real(10), c.last}));
      EXPECT_NEAR(i->x, x, 1e-4);
    }
    EXPECT_EQ(reached, c.reached);
    Instance_Destroy(i, false);
    Room_PurgeMarked(room_);
  }
  // The path form plans the same steps without moving the instance.
  CInstance* i = make(kObjMover, 0, 0);
  const double p = num("path_add", nullptr, {});
  EXPECT_FALSE(RV_ToBool(call("mp_linear_path", i, {RV_Real(p), RV_Real(100), RV_Real(0), RV_Real(10), RV_Bool(false)})));
  EXPECT_EQ(i->x, 0);
  EXPECT_EQ(num("path_get_number", nullptr, reals({p})), 5);  // 0, 10, 20, 30, 40
  EXPECT_EQ(num("path_get_point_x", nullptr, reals({p, 4})), 40);
  EXPECT_TRUE(RV_ToBool(call("mp_linear_path", i, {RV_Real(p), RV_Real(25), RV_Real(0), RV_Real(10), RV_Bool(true)})));
  EXPECT_EQ(num("path_get_point_x", nullptr, reals({p, 3})), 25);
}

TEST_F(MotionGridTest, PotentialStepsSteerRoundAnObstacle) {
  // A wall straight ahead between the mover and its goal.
  make(kObjWall, 60, 40);
  CInstance* i = make(kObjMover, 0, 40);
  call("mp_potential_settings", i, {RV_Real(45), RV_Real(10), RV_Real(2), RV_Bool(true)});
  bool reached = false;
  for (int k = 0; k < 200 && !reached; ++k) {
    reached = RV_ToBool(call("mp_potential_step", i, {RV_Real(140), RV_Real(40), RV_Real(4), RV_Bool(false)}));
    EXPECT_TRUE(Command_IsFree(i, i->x, i->y)) << k;
  }
  EXPECT_TRUE(reached);
  EXPECT_EQ(i->x, 140);
  EXPECT_EQ(i->y, 40);
  // The planned path reaches the goal too, from the start, and leaves the instance where it is.
  Instance_SetPosition(i, 0, 40);
  const double p = num("path_add", nullptr, {});
  EXPECT_TRUE(RV_ToBool(call("mp_potential_path", i, {RV_Real(p), RV_Real(140), RV_Real(40), RV_Real(4), RV_Real(4), RV_Bool(false)})));
  EXPECT_EQ(i->x, 0);
  const int n = static_cast<int>(num("path_get_number", nullptr, reals({p})));
  EXPECT_EQ(num("path_get_point_x", nullptr, reals({p, double(n - 1)})), 140);
  EXPECT_GT(num("path_get_length", nullptr, reals({p})), 140);  // it went round
}

}  // namespace

// Collision: a written game with box, precise and rotated sprites, loaded and started; the edge
// tolerances of the tests, masks, the tree against brute force on random scenes that move and
// destroy instances, the queries' targets and lists, and collision events in the frame step.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/frame_state.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "storage/fn_ds.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/collision.h"
#include "world/instance.h"
#include "world/step.h"

using namespace datawin;

namespace {

enum Sprite { kBox10, kBox32, kPrecise, kRotated, kBox16 };
enum Object { kObjBox, kObjPrecise, kObjRotated, kObjHitter, kObjTarget, kObjWall, kObjEmpty };

// 8 x 8, only the left half set.
std::vector<uint8_t> left_half_mask() { return std::vector<uint8_t>(8, 0xF0); }

SpriteRecord sprite(const std::string& name, int32_t w, int32_t h, Label frame, int32_t kind = 0, int32_t ox = 0,
                    int32_t oy = 0) {
  SpriteRecord s;
  s.name = name;
  s.width = w;
  s.height = h;
  s.bbox_right = w - 1;
  s.bbox_bottom = h - 1;
  s.collision_kind = kind;
  s.x_origin = ox;
  s.y_origin = oy;
  s.frames.push_back(frame + 0);
  return s;
}

void HitterCollides(CInstance* self, CInstance* other) {
  Log().push_back("hitter " + std::to_string(self->id) + " meets " + std::to_string(other->id));
}
void TargetCollides(CInstance* self, CInstance* other) {
  Log().push_back("target " + std::to_string(self->id) + " meets " + std::to_string(other->id));
}

class CollisionTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyInteraction, Collision_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyDS, DS_RegisterBuiltins);
  }

  void load(bool compat = false) {
    const int32_t hitter = code("hitter_collides", HitterCollides);
    const int32_t target = code("target_collides", TargetCollides);
    Writer writer = MakeMinimalGame(17, 2);
    if (compat) {
      OptnRecord options;
      options.flags |= optn::kOptionCollisionCompat;
      add_optn(writer, options);
    }
    const std::vector<Label> labels = add_tpag(writer, {TpagEntry{0, 0, 8, 8, 0, 0, 8, 8, 8, 8, 0}});
    SpriteRecord precise = sprite("spr_precise", 8, 8, labels[0], sprt::kCollisionPrecise);
    precise.masks.push_back(left_half_mask());
    add_sprt(writer, 2,
             {sprite("spr_box10", 10, 10, labels[0]), sprite("spr_box32", 32, 32, labels[0]), precise,
              sprite("spr_rotated", 16, 8, labels[0], sprt::kCollisionRotatedBox, 8, 4),
              sprite("spr_box16", 16, 16, labels[0])});
    auto def = [](const std::string& name, int32_t sprite, std::vector<ObjectEvent> events = {}) {
      ObjectRecord o = ObjectDef(name, -1, std::move(events));
      o.sprite = sprite;
      return o;
    };
    ObjectRecord wall = def("obj_wall", kBox16, {{4, kObjHitter, target}});
    wall.solid = true;
    add_objt(writer,
             {def("obj_box", kBox10), def("obj_precise", kPrecise), def("obj_rotated", kRotated),
              def("obj_hitter", kBox16, {{4, kObjTarget, hitter}}), def("obj_target", kBox16, {{4, kObjHitter, target}}),
              wall, def("obj_empty", kBox10)},
             17);
    RoomRecord room;
    room.name = "rm_world";
    add_room(writer, {room});
    ASSERT_TRUE(load_and_start(writer));
  }
  void TearDown() override {
    Collision_Reset();
    WorldTest::TearDown();
  }

  CInstance* put(int32_t object, float x, float y, int32_t sprite = -2) {
    CInstance* i = make(object, x, y);
    if (sprite != -2) Instance_SetSprite(i, sprite);
    return i;
  }
  int32_t id_of(const RValue& ref) { return Instance_SetNumber(ref); }
};

TEST_F(CollisionTest, PointEdgesFollowTheMode) {
  struct Case {
    bool compat;
    int32_t sprite;
    float x;
    bool inside;
  };
  const Case cases[] = {
      {false, kBox10, 10.0f, false}, {false, kBox10, 9.9999f, true}, {false, kBox10, 0.0f, true},
      {false, kBox10, -0.001f, false}, {true, kBox32, 31.5f, true},   {true, kBox32, 32.0f, false},
  };
  for (bool compat : {false, true}) {
    load(compat);
    CInstance* i = put(kObjBox, 0, 0, compat ? kBox32 : kBox10);
    Collision_RefreshBox(i);
    EXPECT_FLOAT_EQ(i->bboxLeft, 0.0f);
    EXPECT_FLOAT_EQ(i->bboxRight, compat ? 31.0f : 10.0f);
    for (const Case& c : cases) {
      if (c.compat != compat) continue;
      EXPECT_EQ(Instance_CollidePoint(i, c.x, 5.0f, false), c.inside) << c.x << (compat ? " compat" : "");
    }
    TearDown();
    SetUp();
  }
}

TEST_F(CollisionTest, BoxesMeetOnlyOverAPixelCentreOutsideCompatibilityMode) {
  for (bool compat : {false, true}) {
    load(compat);
    CInstance* a = put(kObjBox, 0, 0, kBox16);
    CInstance* b = put(kObjBox, 15.75f, 0, kBox16);
    // Off, the boxes [0, 16] and [15.75, 31.75] share a quarter pixel holding no centre; on, the
    // boxes are rounded and inclusive ([0, 15] and [16, 31]): whole pixels apart.
    EXPECT_FALSE(Instance_Collide(a, b, true));
    // A rectangle over that quarter pixel needs a centre only outside compatibility mode.
    EXPECT_EQ(Instance_CollideRectangle(a, 15.75f, 0, 16.0f, 4, false), compat);
    Instance_SetPosition(b, 15.25f, 0);
    EXPECT_TRUE(Instance_Collide(a, b, true));
    TearDown();
    SetUp();
  }
}

TEST_F(CollisionTest, PreciseMasksRotatedBoxesAndScales) {
  load();
  CInstance* p = put(kObjPrecise, 100, 100);
  // Only the left half of the 8 x 8 mask is set.
  EXPECT_TRUE(Instance_CollidePoint(p, 101, 103, true));
  EXPECT_FALSE(Instance_CollidePoint(p, 106, 103, true));
  EXPECT_TRUE(Instance_CollidePoint(p, 106, 103, false));
  // Turned half round about its origin (0, 0), the set half lies left of and above the position.
  Instance_SetAngle(p, 180);
  EXPECT_TRUE(Instance_CollidePoint(p, 98, 97, true));
  EXPECT_FALSE(Instance_CollidePoint(p, 101, 103, true));
  Instance_SetAngle(p, 0);
  // Mask against box: a box over the empty half only misses.
  CInstance* box = put(kObjBox, 104.5f, 100);
  EXPECT_FALSE(Instance_Collide(p, box, true));
  Instance_SetPosition(box, 102, 100);
  EXPECT_TRUE(Instance_Collide(p, box, true));
  Instance_SetScale(box, 0, 1);
  EXPECT_FALSE(Instance_Collide(p, box, true));

  // A 16 x 8 box turned by 90 degrees stands 8 wide and 16 high; its corners don't count.
  CInstance* r = put(kObjRotated, 200, 200);
  Instance_SetAngle(r, 45);
  Collision_RefreshBox(r);
  EXPECT_TRUE(Instance_CollidePoint(r, 200, 200, false));
  EXPECT_FALSE(Instance_CollidePoint(r, r->bboxLeft + 0.5f, r->bboxTop + 0.5f, false));
  EXPECT_TRUE(Instance_CollideLine(r, 150, 200, 250, 200, false));
  EXPECT_FALSE(Instance_CollideLine(r, r->bboxLeft, r->bboxTop + 1, r->bboxLeft + 1, r->bboxTop, false));
  EXPECT_TRUE(Instance_CollideEllipse(r, 195, 195, 205, 205, false));
}

TEST_F(CollisionTest, MasksMeetOnTheSamePixelsInBothModes) {
  // The precise sprite's set half covers x 100..103 at x = 100; a box from 103 reaches it, one
  // from 104 doesn't, whether pixel centres (off) or whole pixels (on) are scanned.
  for (bool compat : {false, true}) {
    load(compat);
    CInstance* p = put(kObjPrecise, 100, 100);
    CInstance* box = put(kObjBox, 104, 100);
    EXPECT_FALSE(Instance_Collide(p, box, true)) << compat;
    Instance_SetPosition(box, 103, 100);
    EXPECT_TRUE(Instance_Collide(p, box, true)) << compat;
    EXPECT_TRUE(Instance_Collide(box, p, true)) << compat;
    // A mask frame past the mask count uses the single mask.
    Instance_SetImageIndex(p, 5);
    EXPECT_TRUE(Instance_Collide(p, box, true)) << compat;
    TearDown();
    SetUp();
  }
}

// Brute force over every live instance, for comparison with the tree.
std::set<int32_t> brute(CRoom* room, const std::function<bool(CInstance*)>& test) {
  std::set<int32_t> ids;
  for (CInstance* at = room->active.head; at != nullptr; at = at->next) {
    if (Instance_IsLive(at) && test(at)) ids.insert(at->id);
  }
  return ids;
}

TEST_F(CollisionTest, TheTreeAnswersAsBruteForceOnRandomScenes) {
  load();
  std::mt19937 rng(1234);
  std::uniform_real_distribution<float> pos(0, 2000), angle(0, 360), scale(-2.5f, 2.5f), unit(0, 1);
  std::vector<CInstance*> all;
  const int32_t objects[] = {kObjBox, kObjPrecise, kObjRotated};
  for (int i = 0; i < 3000; ++i) {
    CInstance* at = put(objects[i % 3], pos(rng), pos(rng));
    if (unit(rng) < 0.5f) Instance_SetAngle(at, angle(rng));
    if (unit(rng) < 0.5f) Instance_SetScale(at, scale(rng), scale(rng));
    all.push_back(at);
  }
  CInstance* self = put(kObjBox, 0, 0, kBox32);
  const int32_t list = static_cast<int32_t>(RV_ToDouble(call("ds_list_create", nullptr, {})));
  auto listed = [&]() {
    std::set<int32_t> ids;
    const int32_t n = static_cast<int32_t>(RV_ToDouble(call("ds_list_size", nullptr, {RV_Real(list)})));
    for (int32_t k = 0; k < n; ++k) ids.insert(id_of(call("ds_list_find_value", nullptr, {RV_Real(list), RV_Real(k)})));
    call("ds_list_clear", nullptr, {RV_Real(list)});
    return ids;
  };
  size_t hits = 0;
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // Some move, turn or go between the queries: the tree follows through its update list.
    for (int k = 0; k < 200; ++k) {
      CInstance* at = all[rng() % all.size()];
      if (!Instance_IsLive(at)) continue;
      if (k % 50 == 0) {
        Instance_Destroy(at, true);
      } else if (k % 3 == 0) {
        Instance_SetAngle(at, angle(rng));
      } else {
        Instance_SetPosition(at, pos(rng), pos(rng));
      }
    }
    const float x1 = pos(rng), y1 = pos(rng), x2 = x1 + pos(rng) / 10, y2 = y1 + pos(rng) / 10;
    const bool precise = round % 2 == 0;
    call("collision_rectangle_list", nullptr,
         {RV_Real(x1), RV_Real(y1), RV_Real(x2), RV_Real(y2), RV_Real(-3), RV_Bool(precise), RV_Bool(false),
          RV_Real(list), RV_Bool(false)});
    const std::set<int32_t> in_rectangle = listed();
    hits += in_rectangle.size();
    EXPECT_EQ(in_rectangle, brute(room_, [&](CInstance* i) { return Instance_CollideRectangle(i, x1, y1, x2, y2, precise); }));
    call("collision_line_list", nullptr,
         {RV_Real(x1), RV_Real(y2), RV_Real(x2), RV_Real(y1), RV_Real(kObjRotated), RV_Bool(precise), RV_Bool(false),
          RV_Real(list), RV_Bool(false)});
    EXPECT_EQ(listed(), brute(room_, [&](CInstance* i) {
                return i->objectIndex == kObjRotated && Instance_CollideLine(i, x1, y2, x2, y1, precise);
              }));
    call("instance_place_list", self, {RV_Real(x1), RV_Real(y1), RV_Real(kObjPrecise), RV_Real(list), RV_Bool(false)});
    const float sx = self->x, sy = self->y;
    Instance_SetPosition(self, x1, y1);
    const std::set<int32_t> expected =
        brute(room_, [&](CInstance* i) { return i != self && i->objectIndex == kObjPrecise && Instance_Collide(i, self, true); });
    Instance_SetPosition(self, sx, sy);
    EXPECT_EQ(listed(), expected);
    Room_PurgeMarked(room_);
  }
  EXPECT_GT(hits, 200u);  // the queries did meet things
}

TEST_F(CollisionTest, QueriesTakeTheirTargetsAndOrderTheirLists) {
  load();
  CInstance* self = put(kObjBox, 0, 0);
  CInstance* near = put(kObjBox, 52, 50);
  CInstance* far = put(kObjPrecise, 48, 48);
  // An object without instances, noone and a struct self.
  EXPECT_EQ(RV_ToDouble(call("instance_place", self, {RV_Real(50), RV_Real(50), RV_Real(kObjEmpty)})), -4.0);
  EXPECT_FALSE(RV_ToBool(call("place_meeting", self, {RV_Real(50), RV_Real(50), RV_Real(-4)})));
  EXPECT_TRUE(RV_ToBool(call("place_meeting", self, {RV_Real(50), RV_Real(50), RV_Real(kObjPrecise)})));
  // place_empty with two arguments looks at all.
  EXPECT_FALSE(RV_ToBool(call("place_empty", self, {RV_Real(50), RV_Real(50)})));
  EXPECT_TRUE(RV_ToBool(call("place_empty", self, {RV_Real(500), RV_Real(500)})));
  // An id target, and self and other.
  EXPECT_EQ(id_of(call("instance_place", self, {RV_Real(50), RV_Real(50), Instance_Ref(near->id)})), near->id);
  EXPECT_EQ(id_of(call("collision_point", self, {RV_Real(55), RV_Real(55), RV_Real(-1), RV_Bool(false), RV_Bool(false)})), -4);
  EXPECT_EQ(id_of(call("collision_point", near, {RV_Real(55), RV_Real(55), RV_Real(-1), RV_Bool(false), RV_Bool(false)})),
            near->id);
  EXPECT_EQ(id_of(call("collision_point", near, {RV_Real(55), RV_Real(55), RV_Real(-1), RV_Bool(false), RV_Bool(true)})), -4);
  // Ordered lists: nearest to the query point first.
  const double list = RV_ToDouble(call("ds_list_create", nullptr, {}));
  const double count = RV_ToDouble(call("collision_circle_list", self,
                                        {RV_Real(60), RV_Real(60), RV_Real(20), RV_Real(-3), RV_Bool(false),
                                         RV_Bool(true), RV_Real(list), RV_Bool(true)}));
  ASSERT_EQ(count, 2.0);
  EXPECT_EQ(id_of(call("ds_list_find_value", nullptr, {RV_Real(list), RV_Real(0)})), near->id);
  EXPECT_EQ(id_of(call("ds_list_find_value", nullptr, {RV_Real(list), RV_Real(1)})), far->id);
  // An invalid list takes nothing and raises nothing.
  EXPECT_EQ(RV_ToDouble(call("collision_point_list", self,
                             {RV_Real(55), RV_Real(55), RV_Real(-3), RV_Bool(false), RV_Bool(false), RV_Real(99),
                              RV_Bool(false)})),
            0.0);
  // Precise positions: the precise instance's right half is empty.
  EXPECT_EQ(id_of(call("instance_position", self, {RV_Real(54), RV_Real(50), RV_Real(kObjPrecise)})), -4);
  EXPECT_EQ(id_of(call("instance_position", self, {RV_Real(49), RV_Real(50), RV_Real(kObjPrecise)})), far->id);
}

TEST_F(CollisionTest, TheStepRaisesCollisionEventsOncePerPair) {
  load();
  CInstance* hitter = put(kObjHitter, 0, 0);
  CInstance* target = put(kObjTarget, 100, 0);
  Run_Step();
  EXPECT_TRUE(Log().empty());
  // Both are candidates after the move, yet the pair fires once, a's event then b's.
  Instance_SetPosition(hitter, 90, 0);
  Run_Step();
  const std::vector<std::string> once = {
      "hitter " + std::to_string(hitter->id) + " meets " + std::to_string(target->id),
      "target " + std::to_string(target->id) + " meets " + std::to_string(hitter->id)};
  EXPECT_EQ(Log(), once);
  // While they overlap the pair fires once a step: the dispatch queued the target, which is now
  // the subject, so the pair is found the other way round.
  Log().clear();
  Run_Step();
  EXPECT_EQ(Log(), (std::vector<std::string>{once[1], once[0]}));
  // Apart, nothing more.
  Log().clear();
  Instance_SetPosition(hitter, 0, 0);
  Run_Step();
  Run_Step();
  EXPECT_TRUE(Log().empty());
}

TEST_F(CollisionTest, ASolidCollisionPutsBothBackWhenTheEventsChangeNothing) {
  load();
  CInstance* wall = put(kObjWall, 100, 0);
  CInstance* hitter = put(kObjHitter, 70, 0);
  Run_Step();
  hitter->hspeed = 10;
  for (int i = 0; i < 3; ++i) Run_Step();
  // It moved to 80; each step to 90 meets the wall, whose event changes nothing: back at 80, and
  // the second try of the same move meets it again.
  EXPECT_FLOAT_EQ(hitter->x, 80.0f);
  EXPECT_FLOAT_EQ(wall->x, 100.0f);
  EXPECT_EQ(Log().size(), 2u);
}

}  // namespace

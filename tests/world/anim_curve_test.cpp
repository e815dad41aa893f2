// Animation curves: a game with ACRV records written by the writer and loaded, then evaluated
// through the builtins against hand-worked values for every interpolation, the game's "walk"
// channel among them; the rebuild after an edit; the builtins' errors.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/console.h"
#include "core/error.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_rooms.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/anim_curve.h"
#include "world/sequence.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

CurveChannelRecord Channel(const std::string& name, int32_t type, int32_t iterations,
                           std::vector<CurvePointRecord> points) {
  CurveChannelRecord channel;
  channel.name = name;
  channel.type = type;
  channel.iterations = iterations;
  channel.points = std::move(points);
  return channel;
}

// The game's walk: a rocking angle over one stride, smooth through five points.
CurveChannelRecord WalkChannel() {
  return Channel("walk", acrv::kTypeCatmullRom, 16, {{0, 0}, {0.25, 5}, {0.5, 0}, {0.75, -5}, {1, 0}});
}

class AnimCurveTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    Builtins_AddRegistrar(kFamilyResource, AnimCurve_RegisterBuiltins);
  }
  void TearDown() override {
    Sequence_FreeSubjects();
    WorldTest::TearDown();
  }

  void load(const std::vector<std::optional<AnimCurveRecord>>& curves) {
    Writer writer = MakeMinimalGame();
    add_acrv(writer, curves);
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    ASSERT_TRUE(HeaderScan(image_.data(), size));
    ASSERT_TRUE(LoadGameData(image_.data(), size));
    ASSERT_TRUE(Sequence_Prepare());
  }

  RValue channel(int32_t curve, const char* name) {
    RValue named = RV_Undefined();
    RV_SetString(&named, name);
    RValue found = call("animcurve_get_channel", nullptr, {RV_Real(curve), named});
    RV_FreeToUndefined(&named);
    return found;
  }

  double evaluate(const RValue& channel, double position) {
    RValue value = call("animcurve_channel_evaluate", nullptr, {channel, RV_Real(position)});
    return RV_ToDouble(value);
  }
};

struct Expected {
  double position;
  double value;
};

struct CurveCase {
  const char* what;
  CurveChannelRecord channel;
  std::vector<Expected> expected;
};

TEST_F(AnimCurveTest, EvaluatesEveryInterpolationAsWorkedByHand) {
  // Bezier: p = (0, 0) with its out handle at (+0.5, 0), q = (1, 1) with its in handle at (0, -0.5),
  // one iteration, so two samples per pair: t = 0 gives p, t = 0.5 gives
  // x = 3(0.5)(0.25)(0.5) + 3(1)(0.5)(0.25) + 0.125 = 0.6875, y = 3(0.5)(0.5)(0.25) + 0.125 = 0.3125,
  // and q closes the list. Between samples the value is the straight line.
  CurveChannelRecord bezier = Channel("b", acrv::kTypeBezier, 1, {{0, 0, 0, 0, 0.5f, 0}, {1, 1, 0, -0.5f, 0, 0}});
  const std::vector<CurveCase> cases = {
      {"linear, two points", Channel("l", acrv::kTypeLinear, 16, {{0, 0}, {1, 1}}),
       {{0.3, 0.3}, {0.0, 0.0}, {1.0, 1.0}, {-2.0, 0.0}, {3.0, 1.0}}},
      {"linear, three points", Channel("l3", acrv::kTypeLinear, 16, {{0, 0}, {0.5f, 1}, {1, -1}}),
       {{0.25, 0.5}, {0.5, 1.0}, {0.75, 0.0}, {1.0, -1.0}}},
      {"linear, equal x", Channel("eq", acrv::kTypeLinear, 16, {{0.5f, 2}, {0.5f, 8}}), {{0.5, 2.0}, {0.9, 2.0}}},
      {"bezier", bezier,
       {{0.0, 0.0}, {0.6875, 0.3125}, {0.5, 0.5 * 0.3125 / 0.6875}, {0.8, 0.3125 + 0.36 * 0.6875}, {1.0, 1.0}}},
      // The walk: the samples run through every point, so the points' values come back exactly;
      // the values between were worked through the centripetal pyramid on paper (16 samples per
      // segment, the ends standing twice, values normalised by the spread of 10).
      {"catmull-rom walk", WalkChannel(),
       {{0.0, 0.0},
        {0.25, 5.0},
        {0.5, 0.0},
        {0.75, -5.0},
        {1.0, 0.0},
        {0.1, 2.633849963399292},
        {0.125, 3.2084976088889396},
        {0.3, 4.6357421875},
        {0.6, -2.4790039062499996},
        {0.9, -2.6338501611654093}}},
  };
  std::vector<std::optional<AnimCurveRecord>> curves;
  for (const CurveCase& c : cases) curves.push_back(AnimCurveRecord{c.what, {c.channel}});
  load(curves);
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(cases[i].what);
    const RValue found = channel(static_cast<int32_t>(i), cases[i].channel.name.c_str());
    ASSERT_NE(RV_ObjectOf(found), nullptr);
    for (const Expected& e : cases[i].expected) EXPECT_NEAR(evaluate(found, e.position), e.value, 1e-5) << e.position;
  }
}

TEST_F(AnimCurveTest, SplinesNeedTwoPoints) {
  load({AnimCurveRecord{"short", {Channel("b", acrv::kTypeBezier, 4, {{0.2f, 7}}),
                                  Channel("c", acrv::kTypeCatmullRom, 4, {{0.2f, 7}})}}});
  ConsoleCapture capture;
  EXPECT_EQ(evaluate(channel(0, "b"), 0.5), 0.0);
  EXPECT_EQ(evaluate(channel(0, "c"), 0.5), 0.0);
  EXPECT_EQ(capture.text(),
            "Cannot evaluate bezier animation curve, a minimum of 2 points is required\n"
            "Cannot evaluate catmull-rom animation curve, a minimum of 2 points is required\n");
}

TEST_F(AnimCurveTest, AnEditedPointRebuildsTheCache) {
  load({AnimCurveRecord{"line", {Channel("l", acrv::kTypeLinear, 16, {{0, 0}, {1, 1}})}}});
  const RValue line = channel(0, "l");
  EXPECT_NEAR(evaluate(line, 0.5), 0.5, 1e-12);
  // line.points[1].value = 3, as a script writes it.
  auto* object = static_cast<CAnimCurveChannel*>(RV_ObjectOf(line));
  RValue three = RV_Real(3);
  ASSERT_TRUE(Object_SetVar(object->points[1], Variable_FindOrAddSlot("value"), kIndexWholeValue, &three));
  EXPECT_NEAR(evaluate(line, 0.5), 1.5, 1e-12);
  // A new point list through the channel's property rebuilds too.
  RValue points = RV_Undefined();
  ASSERT_TRUE(Object_GetVar(object, Variable_FindOrAddSlot("points"), kIndexWholeValue, &points));
  ASSERT_EQ(points.pArray->length, 2);
  RValue reversed = RV_Undefined();
  reversed.pArray = RV_NewArray(2);
  reversed.flags = 0;
  reversed.kind = kRVArray;
  reversed.pArray->pArray[0] = points.pArray->pArray[1];
  reversed.pArray->pArray[1] = points.pArray->pArray[0];
  // The points are now (1, 3) then (0, 0): the search finds no segment before 1, so the first
  // segment's line is extended.
  ASSERT_TRUE(Object_SetVar(object, Variable_FindOrAddSlot("points"), kIndexWholeValue, &reversed));
  EXPECT_NEAR(evaluate(line, 0.5), 1.5, 1e-12);
  RV_FreeToUndefined(&points);
  RV_FreeToUndefined(&reversed);
}

TEST_F(AnimCurveTest, BuiltinsFindCreateAndDestroyCurves) {
  load({AnimCurveRecord{"ac_enemy_walk", {Channel("sway", 0, 16, {{0, 0}, {1, 1}}), WalkChannel()}}});
  const RValue curve = call("animcurve_get", nullptr, {RV_Real(0)});
  auto* object = dynamic_cast<CAnimCurve*>(RV_ObjectOf(curve));
  ASSERT_NE(object, nullptr);
  EXPECT_STREQ(object->className, "AnimationCurve");
  EXPECT_EQ(object->name, "ac_enemy_walk");
  // A channel by name, by index, and the index of a name; the curve struct serves as well as its id.
  RValue walk = RV_Undefined();
  RV_SetString(&walk, "walk");
  EXPECT_EQ(RV_ObjectOf(call("animcurve_get_channel", nullptr, {curve, walk})), object->channels[1]);
  EXPECT_EQ(RV_ObjectOf(call("animcurve_get_channel", nullptr, {RV_Real(0), RV_Real(0)})), object->channels[0]);
  EXPECT_EQ(RV_ToDouble(call("animcurve_get_channel_index", nullptr, {RV_Real(0), walk})), 1.0);
  RValue missing = RV_Undefined();
  RV_SetString(&missing, "run");
  EXPECT_EQ(RV_ToDouble(call("animcurve_get_channel_index", nullptr, {RV_Real(0), missing})), -1.0);
  RV_FreeToUndefined(&walk);
  RV_FreeToUndefined(&missing);

  EXPECT_TRUE(RV_ToBool(call("animcurve_exists", nullptr, {RV_Real(0)})));
  EXPECT_FALSE(RV_ToBool(call("animcurve_exists", nullptr, {RV_Real(1)})));
  // A made curve takes the next free id; destroyed, it no longer exists.
  const RValue made = call("animcurve_create", nullptr, {});
  auto* made_curve = dynamic_cast<CAnimCurve*>(RV_ObjectOf(made));
  ASSERT_NE(made_curve, nullptr);
  EXPECT_EQ(made_curve->index, 1);
  EXPECT_TRUE(RV_ToBool(call("animcurve_exists", nullptr, {RV_Real(1)})));
  call("animcurve_destroy", nullptr, {made});
  EXPECT_FALSE(RV_ToBool(call("animcurve_exists", nullptr, {made})));
  // The game's own curve stays.
  ConsoleCapture capture;
  call("animcurve_destroy", nullptr, {RV_Real(0)});
  EXPECT_TRUE(RV_ToBool(call("animcurve_exists", nullptr, {RV_Real(0)})));
  EXPECT_NE(capture.text().find("animcurve_destroy()"), std::string::npos);

  // A script-built curve evaluates like a loaded one.
  const RValue built_channel = call("animcurve_channel_new", nullptr, {});
  const RValue a = call("animcurve_point_new", nullptr, {});
  const RValue b = call("animcurve_point_new", nullptr, {});
  auto* built = static_cast<CAnimCurveChannel*>(RV_ObjectOf(built_channel));
  static_cast<CCurvePoint*>(RV_ObjectOf(b))->posx = 1;
  static_cast<CCurvePoint*>(RV_ObjectOf(b))->value = 4;
  built->SetPoints({static_cast<CCurvePoint*>(RV_ObjectOf(a)), static_cast<CCurvePoint*>(RV_ObjectOf(b))});
  EXPECT_NEAR(evaluate(built_channel, 0.25), 1.0, 1e-12);
}

TEST_F(AnimCurveTest, BuiltinErrors) {
  load({AnimCurveRecord{"c", {Channel("l", 0, 16, {{0, 0}, {1, 1}})}}});
  struct ErrorCase {
    const char* what;
    const char* builtin;
    std::vector<RValue> args;
    std::string message;
  };
  const RValue line = channel(0, "l");
  const RValue curve = call("animcurve_get", nullptr, {RV_Real(0)});
  const std::vector<ErrorCase> cases = {
      {"not a channel", "animcurve_channel_evaluate", {curve, RV_Real(0.5)},
       "animcurvechannel_evaluate() - first parameter is not valid animation curve channel"},
      {"a number", "animcurve_channel_evaluate", {RV_Real(0), RV_Real(0.5)},
       "animcurvechannel_evaluate() - first parameter is not valid animation curve channel"},
      {"one argument", "animcurve_channel_evaluate", {line}, "animcurvechannel_evaluate() - wrong number of arguments"},
      {"three arguments", "animcurve_channel_evaluate", {line, RV_Real(0), RV_Real(0)},
       "animcurvechannel_evaluate() - wrong number of arguments"},
      {"unknown curve", "animcurve_get", {RV_Real(5)}, "animcurve_get() - specified animation curve does not exist"},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.what);
    try {
      call(c.builtin, nullptr, c.args);
      ADD_FAILURE() << "no error";
    } catch (const KVTSLException& e) {
      EXPECT_EQ(e.message(), c.message);
    }
  }
}

}  // namespace

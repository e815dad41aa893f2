// Arithmetic, trigonometry, screen angles and geometry builtins, called by name: exact results,
// epsilon snapping, the kinds min and max hand back, and the messages.
#include <cmath>
#include <iterator>
#include <limits>

#include "core/fn_math.h"
#include "value_test_support.h"

namespace value_test {
namespace {

constexpr double kPi = 3.141592653589793;

class FnMathTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    first_ = Function_Count();
    Math_RegisterBuiltins();
  }
  double Number(const char* name, std::vector<Val> args) {
    Val result = Call(name, args);
    EXPECT_TRUE(result.kind() == kRVReal || result.kind() == kRVBool) << name << " kind " << result.kind();
    return result->val;
  }
  static std::vector<Val> Reals(std::initializer_list<double> values) {
    std::vector<Val> args;
    for (double v : values) args.push_back(Val::Real(v));
    return args;
  }

  int32_t first_ = 0;
};

struct Case {
  const char* name;
  std::initializer_list<double> args;
  double expected;
};

TEST_F(FnMathTest, RegisteredInListOrder) {
  const char* names[] = {
      "abs", "round", "floor", "ceil", "sign", "frac", "sqrt", "sqr", "exp", "ln", "log2", "log10", "logn", "power",
      "min", "max", "mean", "median", "clamp", "lerp", "sin", "cos", "tan", "arcsin", "arccos", "arctan", "arctan2",
      "dsin", "dcos", "dtan", "darcsin", "darccos", "darctan", "darctan2", "degtorad", "radtodeg", "point_distance",
      "point_direction", "lengthdir_x", "lengthdir_y", "point_distance_3d", "dot_product", "dot_product_normalised",
      "dot_product_normalized", "dot_product_3d", "dot_product_3d_normalised", "dot_product_3d_normalized",
      "angle_difference", "point_in_triangle", "point_in_circle", "rectangle_in_rectangle", "rectangle_in_triangle",
      "point_in_rectangle",
  };
  ASSERT_EQ(Function_Count() - first_, static_cast<int32_t>(std::size(names)));
  for (int32_t i = 0; i < static_cast<int32_t>(std::size(names)); ++i) {
    EXPECT_STREQ(Function_Row(first_ + i)->name, names[i]);
  }
}

TEST_F(FnMathTest, ArithmeticResults) {
  const double nan = std::nan("");
  const Case cases[] = {
      {"abs", {-2.5}, 2.5},
      {"round", {0.5}, 0},
      {"round", {1.5}, 2},
      {"round", {2.5}, 2},
      {"round", {3.5}, 4},
      {"round", {-2.5}, -2},
      {"round", {2.51}, 3},
      {"round", {1e300}, -9223372036854775808.0},
      {"floor", {-1.5}, -2},
      {"ceil", {-1.5}, -1},
      {"sign", {-3}, -1},
      {"sign", {0}, 0},
      {"sign", {7}, 1},
      {"sign", {nan}, -1},
      {"frac", {2.75}, 0.75},
      {"frac", {-2.75}, -0.75},
      {"sqrt", {16}, 4},
      {"sqr", {-3}, 9},
      {"exp", {0}, 1},
      {"ln", {1}, 0},
      {"log2", {8}, std::log(8.0) / std::log(2.0)},
      {"log10", {1000}, 3},
      {"logn", {10, 1000}, 2.9999999999999996},
      {"power", {2, 10}, 1024},
      {"mean", {1, 2, 6}, 3},
      {"mean", {}, 0},
      {"median", {5, 1, 3}, 3},
      {"median", {4, 1, 3, 2}, 3},
      {"median", {}, 0},
      {"clamp", {5, 10, 0}, 0},
      {"clamp", {5, 0, 10}, 5},
      {"clamp", {-5, 0, 10}, 0},
      {"lerp", {0, 10, 1.5}, 15},
      {"lerp", {10, 20, 0.25}, 12.5},
  };
  for (const Case& c : cases) EXPECT_EQ(Number(c.name, Reals(c.args)), c.expected) << c.name;

  std::vector<Val> many;
  for (int i = 40; i > 0; --i) many.push_back(Val::Real(i));
  EXPECT_EQ(Number("median", many), 21.0);
}

TEST_F(FnMathTest, SqrtMessages) {
  EXPECT_EQ(Raised("sqrt", Reals({-1})), "Cannot apply sqrt to negative number.");
  EXPECT_EQ(Raised("sqrt", Reals({std::nan("")})), "Cannot apply sqrt to NaN");
  EXPECT_EQ(Raised("abs"), "abs argument 1 incorrect type (undefined) expecting a Number (KVGR)");
}

TEST_F(FnMathTest, MinAndMaxHandBackTheArgumentItself) {
  Val low = Call("min", {Val::Str("5"), Val::Real(3)});
  EXPECT_EQ(low.kind(), kRVReal);
  EXPECT_EQ(low->val, 3.0);
  Val high = Call("max", {Val::Str("5"), Val::Real(3)});
  ASSERT_EQ(high.kind(), kRVString);
  EXPECT_STREQ(RV_StringText(*high), "5");
  // Ties keep the earlier argument, kind and all.
  Val tie = Call("max", {Val::Int32(2), Val::Real(2), Val::Int64(1)});
  EXPECT_EQ(tie.kind(), kRVInt32);
  Val none = Call("min");
  EXPECT_EQ(none.kind(), kRVReal);
  EXPECT_EQ(none->val, 0.0);
  EXPECT_EQ(Raised("min", {Val::Real(1), Val::Str("x")}),
            "min argument 2 incorrect type (string) expecting a Number (KVGR)");
}

TEST_F(FnMathTest, TrigonometrySnapsBelowTheEpsilon) {
  const Case cases[] = {
      {"sin", {kPi}, 0},         {"cos", {kPi / 2}, 0},      {"tan", {kPi}, 0},          {"dsin", {180}, 0},
      {"dcos", {90}, 0},         {"dtan", {180}, 0},         {"dsin", {90}, 1},          {"dcos", {180}, -1},
      {"arctan", {1}, kPi / 4},  {"darctan", {1}, 45},       {"arctan2", {0, -1}, kPi},  {"darctan2", {-1, 0}, -90},
      {"arcsin", {1.000001}, kPi / 2}, {"darcsin", {-1.000001}, -90}, {"arccos", {-1.000001}, kPi},
      {"darccos", {0.5}, 60.00000000000001}, {"degtorad", {180}, kPi}, {"radtodeg", {kPi}, 180},
      {"arcsin", {0.000001}, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(Number(c.name, Reals(c.args)), c.expected) << c.name << " " << *c.args.begin();

  // The snapping follows the current epsilon.
  Math_SetEpsilon(1e-20);
  EXPECT_NE(Number("dsin", Reals({180})), 0.0);
  EXPECT_NE(Number("sin", Reals({kPi})), 0.0);
  Math_SetEpsilon(0.1);
  EXPECT_EQ(Number("sin", Reals({0.05})), 0.0);
  EXPECT_EQ(Number("arcsin", Reals({1.05})), kPi / 2);
}

TEST_F(FnMathTest, InverseTrigonometryOutOfRangeRaises) {
  const std::pair<const char*, const char*> rows[] = {
      {"arcsin", "Error in function arcsin()."},
      {"darcsin", "Error in function arcsin()."},
      {"arccos", "Error in function arccos()."},
      {"darccos", "Error in function arccos()."},
  };
  for (const auto& [name, message] : rows) {
    EXPECT_EQ(Raised(name, Reals({2})), message) << name;
    EXPECT_EQ(Raised(name, Reals({-1.001})), message) << name;
  }
}

TEST_F(FnMathTest, ScreenAnglesInSinglePrecision) {
  const Case cases[] = {
      {"point_direction", {0, 0, 0, 10}, 270},
      {"point_direction", {0, 0, 10, 0}, 0},
      {"point_direction", {0, 0, 0, -10}, 90},
      {"point_direction", {0, 0, -10, 0}, 180},
      {"point_direction", {0, 0, 10, 10}, 315},
      {"point_direction", {0, 0, 10, -10}, 45},
      {"point_direction", {5, 5, 5, 5}, 0},
      {"point_distance", {1, 1, 4, 5}, 5},
      {"lengthdir_x", {10, 90}, 0},
      {"lengthdir_y", {10, 90}, -10},
      // 4.9999995: its fractional part is not small, so it is not cut.
      {"lengthdir_x", {10, 60}, static_cast<double>(4.99999952f)},
      {"lengthdir_x", {5.00005, 0}, 5},
      {"lengthdir_x", {5.0002, 0}, static_cast<double>(5.0002f)},
      {"lengthdir_y", {10, 180}, 0},
      {"lengthdir_x", {10, 45}, static_cast<double>(10.0f * std::cos(45.0f * 3.1415927f / 180.0f))},
      {"angle_difference", {10, 350}, 20},
      {"angle_difference", {350, 10}, -20},
      {"angle_difference", {0, 180}, -180},
      {"angle_difference", {720, 1}, -1},
      {"dot_product", {1, 2, 3, 4}, 11},
      {"dot_product_3d", {1, 2, 3, 4, 5, 6}, 32},
      {"dot_product_normalised", {2, 0, 0, 3}, 0},
      {"dot_product_normalized", {2, 0, 5, 0}, 1},
      {"dot_product_3d_normalised", {0, 0, 2, 0, 0, -7}, -1},
      {"point_distance_3d", {0, 0, 0, 2, 3, 6}, 7},
  };
  for (const Case& c : cases) EXPECT_EQ(Number(c.name, Reals(c.args)), c.expected) << c.name;

  // Arguments are read as floats: a real of 16777217 lands on 16777216.
  EXPECT_EQ(Number("point_distance", Reals({0, 0, 16777217, 0})), 16777216.0);
  // No negative zero escapes a level direction.
  EXPECT_FALSE(std::signbit(Number("point_direction", Reals({0, 0, 10, 0}))));
  EXPECT_FALSE(std::signbit(Number("lengthdir_x", Reals({10, 90}))));
}

TEST_F(FnMathTest, GeometryTests) {
  const Case cases[] = {
      {"point_in_triangle", {1, 1, 0, 0, 4, 0, 0, 4}, 1},
      {"point_in_triangle", {3, 3, 0, 0, 4, 0, 0, 4}, 0},
      {"point_in_triangle", {2, 0, 0, 0, 4, 0, 0, 4}, 1},
      {"point_in_triangle", {9, 0, 0, 0, 4, 0, 8, 0}, 0},
      {"point_in_circle", {3, 4, 0, 0, 5}, 1},
      {"point_in_circle", {3, 4.1, 0, 0, 5}, 0},
      {"point_in_rectangle", {2, 2, 2, 2, 6, 6}, 1},
      {"point_in_rectangle", {6, 4, 2, 2, 6, 6}, 1},
      {"point_in_rectangle", {6.01, 4, 2, 2, 6, 6}, 0},
      {"point_in_rectangle", {4, 1.9, 2, 2, 6, 6}, 0},
      {"rectangle_in_rectangle", {1, 1, 2, 2, 0, 0, 10, 10}, 1},
      {"rectangle_in_rectangle", {12, 12, 2, 2, 0, 0, 10, 10}, 2},
      {"rectangle_in_rectangle", {11, 11, 12, 12, 10, 10, 0, 0}, 0},
      {"rectangle_in_triangle", {1, 1, 2, 2, 0, 0, 10, 0, 0, 10}, 1},
      {"rectangle_in_triangle", {4, 4, 8, 8, 0, 0, 10, 0, 0, 10}, 2},
      {"rectangle_in_triangle", {-5, -5, 20, 20, 1, 1, 2, 1, 1, 2}, 2},
      {"rectangle_in_triangle", {-5, 3, 20, 4, 0, 0, 10, 0, 0, 10}, 2},
      {"rectangle_in_triangle", {8, 8, 9, 9, 0, 0, 10, 0, 0, 10}, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(Number(c.name, Reals(c.args)), c.expected) << c.name << " " << *c.args.begin();
  EXPECT_EQ(Call("point_in_circle", Reals({0, 0, 0, 0, 1})).kind(), kRVBool);
}

}  // namespace
}  // namespace value_test

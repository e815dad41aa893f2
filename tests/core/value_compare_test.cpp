// RV_Compare pair by pair (the pair table and its edge cases), and the math epsilon.
#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "value_test_support.h"

namespace value_test {
namespace {

constexpr char kNoError[] = "";
constexpr double kEps = 0.00001;
const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

using Maker = std::function<Val()>;

struct CompareRow {
  const char* name;
  Maker a;
  Maker b;
  int strict;
  int expected;
  const char* message = kNoError;
};

Maker R(double d) { return [d] { return Val::Real(d); }; }
Maker B(double d) { return [d] { return Val::BoolRaw(d); }; }
Maker I(int32_t i) { return [i] { return Val::Int32(i); }; }
Maker F(int32_t i) { return [i] { return Val::Ref(i); }; }
Maker L(int64_t i) { return [i] { return Val::Int64(i); }; }
Maker S(const char* s) { return [s] { return Val::Str(s); }; }
Maker U() { return [] { return Val::Undefined(); }; }
Maker X() { return [] { return Val::Unset(); }; }
Maker K(uint32_t kind) { return [kind] { return Val::Kind(kind); }; }
Maker P(uintptr_t p) { return [p] { return Val::Ptr(reinterpret_cast<void*>(p)); }; }
Maker NullString() { return [] { return Val::NullString(); }; }
Maker NullText() { return [] { return Val::NullText(); }; }
Maker A() { return [] { return Val::Array({Val::Real(1)}); }; }
Maker NullArray() { return [] { return Val::NullArray(); }; }

KVObjectBase g_objects[2] = {KVObjectBase(kObjStruct), KVObjectBase(kObjStruct)};
Maker O(int i) { return [i] { return Val::Object(&g_objects[i]); }; }

class ValueCompareTest : public ValueTest {
 protected:
  void Run(const std::vector<CompareRow>& rows) {
    for (const CompareRow& row : rows) {
      SCOPED_TRACE(row.name);
      Val a = row.a();
      Val b = row.b();
      int got = 99;
      EXPECT_EQ(ErrorRaisedBy([&] { got = RV_Compare(a.get(), b.get(), kEps, row.strict); }), row.message);
      if (std::string(row.message) == kNoError) {
        EXPECT_EQ(got, row.expected);
      }
    }
  }
};

TEST_F(ValueCompareTest, RealAndBoolPairs) {
  Run({
      {"equal reals", R(1), R(1), 0, 0},
      {"within epsilon", R(1), R(1.000001), 0, 0},
      {"epsilon itself is equal", R(1), R(1 + kEps / 2), 1, 0},
      {"less", R(1), R(2), 1, -1},
      {"greater", R(2), R(1), 1, 1},
      {"inf equals inf", R(kInf), R(kInf), 0, 0},
      {"-inf equals -inf", R(-kInf), R(-kInf), 0, 0},
      {"inf above -inf", R(kInf), R(-kInf), 0, 1},
      {"NaN never equal", R(kNaN), R(kNaN), 0, 1},
      {"NaN against number", R(kNaN), R(1), 0, 1},
      {"bool against real", B(1), R(1), 0, 0},
      {"real against bool", R(0), B(1), 0, -1},
      {"bool against bool", B(0), B(1), 0, -1},
  });
}

TEST_F(ValueCompareTest, IntegerPairs) {
  Run({
      {"int32 single precision", I(16777216), R(16777217), 0, 0},
      {"real single precision", R(16777217), I(16777216), 0, 0},
      {"real int32 less", R(1.5), I(2), 1, -1},
      {"ref against real", F(3), R(3), 0, 0},
      {"real against int64 exact double", R(16777217), L(16777216), 0, 1},
      {"int64 against real", L(5), R(5.000001), 0, 0},
      {"int64 against real less", L(4), R(5), 1, -1},
      {"int32 against int32", I(-3), I(2), 1, -1},
      {"int32 against ref", I(2), F(2), 0, 0},
      {"int32 against int64", I(-1), L(1LL << 40), 1, -1},
      {"int64 against ref", L(1LL << 40), F(1), 1, 1},
      {"int64 against int64", L(7), L(7), 0, 0},
      {"int32 against bool truncated", I(1), B(1.9), 0, 0},
      {"ref against bool", F(0), B(1), 1, -1},
      {"int64 against bool", L(2), B(1), 1, 1},
      {"bool against int32", B(1), I(1), 0, 0},
      {"bool against int64", B(0), L(1), 1, -1},
  });
}

TEST_F(ValueCompareTest, StringPairs) {
  Run({
      {"\"1\" == 1", S("1"), R(1), 0, 0},
      {"1 == \"1\"", R(1), S("1"), 0, 0},
      {"string path has no epsilon", S("1.000001"), R(1), 0, 1},
      {"real side without epsilon", R(1), S("1.000001"), 0, -1},
      {"leading part parses", S("2abc"), R(2), 0, 0},
      {"abc == 1 is unequal", S("abc"), R(1), 0, 1},
      {"1 == abc is unequal", R(1), S("abc"), 0, 1},
      {"abc < 1 raises", S("abc"), R(1), 1, 0, "unable to convert string \"abc\" to float"},
      {"1 < abc raises", R(1), S("abc"), 1, 0, "unable to convert string \"abc\" to float"},
      {"both infinite", R(kInf), S("inf"), 0, 0},
      {"both infinite of other signs", R(-kInf), S("inf"), 0, 0},
      {"NaN difference", R(1), S("nan"), 0, 1},
      {"empty string against real", S(""), R(0), 0, 1},
      {"same text", S("abc"), S("abc"), 0, 0},
      {"byte order", S("abc"), S("abd"), 1, -1},
      {"unsigned bytes", S("\xc3\xa9"), S("z"), 1, 1},
      {"prefix is less", S("ab"), S("abc"), 1, -1},
      {"null record equals empty", NullString(), S(""), 0, 0},
      {"null text equals null record", NullText(), NullString(), 0, 0},
      {"null against text", NullString(), S("a"), 1, -1},
      {"string against int32", S("12"), I(12), 0, 0},
      {"string against int32 truncates", S("1.9"), I(1), 0, 0},
      {"string against ref", S("4"), F(5), 1, -1},
      {"string against int64", S("99999999999"), L(99999999999LL), 0, 0},
      {"int32 against string", I(3), S("2"), 1, 1},
      {"int64 against string", L(3), S("4"), 1, -1},
      {"bad string against int32", S("x"), I(1), 0, 1},
      {"bad string against int32 strict", S("x"), I(1), 1, 0, "unable to convert string \"x\" to int64"},
      {"int64 against bad string strict", L(1), S("y"), 1, 0, "unable to convert string \"y\" to int64"},
      {"string against bool", S("true"), B(1), 0, 0},
      {"string number against bool", S("0.7"), B(1), 0, 0},
      {"FALSE against bool", S("FALSE"), B(1), 1, -1},
      {"bool against string", B(1), S("false"), 1, 1},
      {"bad string against bool", S("maybe"), B(1), 0, 1},
      {"bad string against bool strict", S("maybe"), B(1), 1, 0, "unable to convert string \"maybe\" to bool"},
      {"string against undefined: default", S("a"), U(), 0, 1},
      {"string against array: default", S("a"), A(), 1, 1},
      {"string against pointer: default", S("a"), P(0), 0, 1},
  });
}

TEST_F(ValueCompareTest, ArrayPairs) {
  Val shared = Val::Array({Val::Real(1)});
  Val alias = shared;
  EXPECT_EQ(RV_Compare(shared.get(), alias.get(), kEps, 0), 0);
  Val twin = Val::Array({Val::Real(1)});
  EXPECT_EQ(RV_Compare(shared.get(), twin.get(), kEps, 0), 1);
  Run({
      {"two null arrays are unequal", NullArray(), NullArray(), 0, 1},
      {"array against real", A(), R(1), 0, 1},
      {"array against real strict", A(), R(1), 1, 0, "Illegal array use"},
      {"array against int32 strict", A(), I(1), 1, 0, "Illegal array use"},
      {"array against int64", A(), L(1), 0, 1},
      {"array against bool strict", A(), B(1), 1, 0, "Illegal array use"},
      {"array against ref", A(), F(1), 0, 1},
      {"array against object strict", A(), O(0), 1, 0, "Illegal array use"},
      {"real against array", R(1), A(), 0, 1},
      {"int32 against array strict", I(1), A(), 1, 0, "Illegal array use"},
      {"object against array", O(0), A(), 0, 1},
      {"null array equals undefined", NullArray(), U(), 0, 0},
      {"array against undefined", A(), U(), 0, 1},
      {"undefined equals null array", U(), NullArray(), 0, 0},
      {"undefined against array", U(), A(), 0, 1},
      {"array against string: default", A(), S("1"), 0, 1},
  });
}

TEST_F(ValueCompareTest, UndefinedPairs) {
  Run({
      {"undefined == undefined", U(), U(), 0, 0},
      {"undefined == 0", U(), R(0), 0, -2},
      {"undefined < 0", U(), R(0), 1, -2},
      {"0 >= undefined", R(0), U(), 1, -2},
      {"object against undefined", O(0), U(), 0, -2},
      {"int32 against undefined", I(0), U(), 0, -2},
      {"int64 against undefined", L(0), U(), 0, -2},
      {"bool against undefined", B(0), U(), 0, -2},
      {"ref against undefined", F(0), U(), 0, -2},
      {"undefined against object", U(), O(0), 0, -2},
      {"undefined against int32", U(), I(0), 0, -2},
      {"undefined against int64", U(), L(0), 0, -2},
      {"undefined against bool", U(), B(1), 0, -2},
      {"undefined against ref", U(), F(1), 0, -2},
      {"undefined against string: default", U(), S(""), 0, 1},
      {"undefined against pointer: default", U(), P(0), 0, 1},
  });
}

TEST_F(ValueCompareTest, PointerObjectAndDefaultPairs) {
  Run({
      {"same pointer", P(16), P(16), 0, 0},
      {"lower pointer gives 1", P(16), P(32), 1, 1},
      {"higher pointer gives -1", P(32), P(16), 1, -1},
      {"same object", O(0), O(0), 0, 0},
      {"object order", O(0), O(1), 1, 1},
      {"object order mirrored", O(1), O(0), 1, -1},
      {"real against pointer: default -1", R(1), P(0), 0, -1},
      {"real against object: default -1", R(1), O(0), 0, -1},
      {"pointer against real: default 1", P(0), R(1), 0, 1},
      {"object against real: default 1", O(0), R(1), 0, 1},
      {"object against string: default 1", O(0), S("a"), 0, 1},
      {"real against vec3: default -1", R(1), K(kRVVec3), 0, -1},
      {"vec3 against real: default 1", K(kRVVec3), R(1), 0, 1},
      {"null kind against null kind", K(kRVNull), K(kRVNull), 0, 1},
      {"int32 against pointer", I(1), P(0), 0, 1},
  });
}

TEST_F(ValueCompareTest, UnsetPairs) {
  const char* message = "Cannot compare unset variables";
  Run({
      {"unset against real", X(), R(1), 0, 0, message},
      {"real against unset", R(1), X(), 0, 0, message},
      {"unset against array", X(), A(), 0, 0, message},
      {"unset against object", X(), O(0), 0, 0, message},
      {"int32 against unset", I(1), X(), 0, 0, message},
      {"unset against int64", X(), L(1), 0, 0, message},
      {"bool against unset", B(1), X(), 0, 0, message},
      {"unset against ref", X(), F(1), 0, 0, message},
      {"unset against unset", X(), X(), 0, 0, message},
      {"unset against string: default", X(), S("a"), 0, 1},
      {"string against unset: default", S("a"), X(), 0, 1},
      {"unset against undefined: default", X(), U(), 0, 1},
      {"undefined against unset: default", U(), X(), 0, 1},
      {"pointer against unset: default", P(0), X(), 0, 1},
  });
}

TEST_F(ValueCompareTest, MutedUnsetGivesZero) {
  Val a = Val::Unset();
  Val b = Val::Real(1);
  g_ErrorsMuted = true;
  EXPECT_EQ(RV_Compare(a.get(), b.get(), kEps, 0), 0);
  g_ErrorsMuted = false;
  g_ErrorPending = false;
}

TEST_F(ValueCompareTest, KindMarkerBitsAreMasked) {
  Val a = Val::Real(2);
  a->kind |= 0x80000000u;
  Val b = Val::Real(2);
  EXPECT_EQ(RV_Compare(a.get(), b.get(), kEps, 0), 0);
}

TEST_F(ValueCompareTest, EpsilonIsTheCallersAndDefaultsToOneHundredThousandth) {
  EXPECT_EQ(Math_GetEpsilon(), 0.00001);
  Val a = Val::Real(1);
  Val b = Val::Real(1.01);
  EXPECT_EQ(RV_Compare(a.get(), b.get(), Math_GetEpsilon(), 0), -1);
  Math_SetEpsilon(0.1);
  EXPECT_EQ(RV_Compare(a.get(), b.get(), Math_GetEpsilon(), 0), 0);
  Val s = Val::Str("1.01");
  EXPECT_EQ(RV_Compare(a.get(), s.get(), Math_GetEpsilon(), 0), -1);  // never for strings
}

}  // namespace
}  // namespace value_test

// The compound operators, row by row: result kind and text, or the message raised.
#include <climits>
#include <functional>
#include <string>

#include "value_test_support.h"

namespace value_test {
namespace {

constexpr char kNoError[] = "";

using Maker = std::function<Val()>;
using Operator = void (*)(RValue*, const RValue*);

struct ArithRow {
  const char* name;
  Maker left;
  Operator op;
  Maker right;
  uint32_t kind;       // of the left value afterwards
  const char* text;    // its text afterwards
  const char* message = kNoError;
};

Maker R(double d) { return [d] { return Val::Real(d); }; }
Maker B(bool b) { return [b] { return Val::Bool(b); }; }
Maker I(int32_t i) { return [i] { return Val::Int32(i); }; }
Maker L(int64_t i) { return [i] { return Val::Int64(i); }; }
Maker S(const char* s) { return [s] { return Val::Str(s); }; }
Maker Ref(int32_t i) { return [i] { return Val::Ref(i); }; }
Maker Undef() { return [] { return Val::Undefined(); }; }
Maker Unset() { return [] { return Val::Unset(); }; }
Maker NullPtr() { return [] { return Val::Ptr(nullptr); }; }
Maker NullText() { return [] { return Val::NullText(); }; }
Maker Arr1() { return [] { return Val::Array({Val::Real(1)}); }; }

class ValueArithTest : public ValueTest {
 protected:
  void Run(const std::vector<ArithRow>& rows) {
    for (const ArithRow& row : rows) {
      SCOPED_TRACE(row.name);
      Val left = row.left();
      Val right = row.right();
      EXPECT_EQ(ErrorRaisedBy([&] { row.op(left.get(), right.get()); }), row.message);
      if (std::string(row.message) != kNoError) continue;
      EXPECT_EQ(left.kind(), row.kind);
      EXPECT_EQ(left.text(), row.text);
    }
  }
};

TEST_F(ValueArithTest, AddTable) {
  Run({
      {"real + real", R(1), RV_AddAssign, R(2), kRVReal, "3"},
      {"bool + real keeps bool", B(true), RV_AddAssign, R(2), kRVBool, "1"},
      {"real + int32", R(1.5), RV_AddAssign, I(2), kRVReal, "3.50"},
      {"real + int64", R(1), RV_AddAssign, L(1LL << 40), kRVReal, "1099511627777"},
      {"real + bool", R(1), RV_AddAssign, B(true), kRVReal, "2"},
      {"real + numeric string", R(1), RV_AddAssign, S("2.5"), kRVReal, "3.50"},
      {"real + bad string", R(1), RV_AddAssign, S("ab"), 0, "", "unable to convert string \"ab\" to number"},
      {"real + undefined", R(1), RV_AddAssign, Undef(), 0, "", "REAL argument incorrect type undefined"},
      {"real + array", R(1), RV_AddAssign, Arr1(), 0, "", "REAL argument incorrect type array"},
      {"string + string", S("ab"), RV_AddAssign, S("cd"), kRVString, "abcd"},
      {"null + string", NullText(), RV_AddAssign, S("cd"), kRVString, "cd"},
      {"string + null", S("ab"), RV_AddAssign, NullText(), kRVString, "ab"},
      {"string + number", S("ab"), RV_AddAssign, R(1), 0, "", "unable to add a number to string"},
      {"string + undefined", S("ab"), RV_AddAssign, Undef(), 0, "", "unable to add a number to string"},
      {"int32 + real becomes real", I(5), RV_AddAssign, R(0.5), kRVReal, "5.50"},
      {"int32 + int32", I(5), RV_AddAssign, I(6), kRVInt32, "11"},
      {"int32 + int32 wraps", I(INT_MAX), RV_AddAssign, I(1), kRVInt32, "-2147483648"},
      {"int32 + int64 low bits", I(1), RV_AddAssign, L(0x100000002LL), kRVInt32, "3"},
      {"int32 + bool", I(1), RV_AddAssign, B(true), kRVInt32, "2"},
      {"int32 + string", I(1), RV_AddAssign, S("2.9"), kRVInt32, "3"},
      {"int32 + bad string", I(1), RV_AddAssign, S("z"), 0, "", "unable to convert string \"z\" to integer"},
      {"int32 + undefined", I(1), RV_AddAssign, Undef(), 0, "", "I32 argument is undefined"},
      {"int64 + real becomes real", L(2), RV_AddAssign, R(0.25), kRVReal, "2.25"},
      {"int64 + int32", L(2), RV_AddAssign, I(3), kRVInt64, "5"},
      {"int64 + int64 wraps", L(LLONG_MAX), RV_AddAssign, L(1), kRVInt64, "-9223372036854775808"},
      {"ref on the left", Ref(3), RV_AddAssign, R(1), 0, "",
       "invalid type for += lhs=ref 3 (type=15), rhs=1 (type=0)"},
      {"undefined on the left", Undef(), RV_AddAssign, R(1), 0, "",
       "invalid type for += lhs=undefined (type=5), rhs=1 (type=0)"},
      {"array on the left", Arr1(), RV_AddAssign, S("x"), 0, "",
       "invalid type for += lhs=[ 1 ] (type=2), rhs=x (type=1)"},
      {"pointer on the left", NullPtr(), RV_AddAssign, R(1.5), 0, "",
       "invalid type for += lhs=null (type=3), rhs=1.50 (type=0)"},
      // The message takes both values' text, and an unset value has none: its own error wins.
      {"unset on the left", Unset(), RV_AddAssign, R(1), 0, "", "STRING argument is unset"},
  });
}

TEST_F(ValueArithTest, TwoNullStringsGiveTheEmptyRecordWithNullText) {
  Val left = Val::NullText();
  Val right = Val::NullString();
  RV_AddAssign(left.get(), right.get());
  ASSERT_EQ(left.kind(), kRVString);
  ASSERT_NE(left->pRefString, nullptr);
  EXPECT_EQ(left->pRefString->text, nullptr);
  EXPECT_EQ(left->pRefString->size, 0);
}

TEST_F(ValueArithTest, SelfConcatenation) {
  Val s = Val::Str("ab");
  RV_AddAssign(s.get(), s.get());
  EXPECT_EQ(s.text(), "abab");
}

TEST_F(ValueArithTest, SubtractTable) {
  Run({
      {"real - real", R(5), RV_SubAssign, R(2), kRVReal, "3"},
      {"bool - real", B(true), RV_SubAssign, R(1), kRVBool, "0"},
      {"string - real", S("5"), RV_SubAssign, R(2), kRVReal, "3"},
      {"string - string converts", S("5"), RV_SubAssign, S("2"), kRVReal, "3"},
      {"bad string - real", S("five"), RV_SubAssign, R(2), 0, "", "unable to convert string \"five\" to number"},
      {"real - string", R(5), RV_SubAssign, S("1.5"), kRVReal, "3.50"},
      {"int32 - real", I(5), RV_SubAssign, R(0.5), kRVReal, "4.50"},
      {"int32 - int32 wraps", I(INT_MIN), RV_SubAssign, I(1), kRVInt32, "2147483647"},
      {"int64 - int32", L(10), RV_SubAssign, I(3), kRVInt64, "7"},
      {"int64 - real", L(10), RV_SubAssign, R(0.5), kRVReal, "9.50"},
      {"undefined on the left", Undef(), RV_SubAssign, R(1), 0, "",
       "invalid type for -= lhs=undefined (type=5), rhs=1 (type=0)"},
  });
}

TEST_F(ValueArithTest, MultiplyTable) {
  Run({
      {"real * real", R(2.5), RV_MulAssign, R(2), kRVReal, "5"},
      {"bool * real", B(true), RV_MulAssign, R(3), kRVBool, "1"},
      {"real * int32", R(1.5), RV_MulAssign, I(3), kRVReal, "4.50"},
      {"number * string repeats", R(3), RV_MulAssign, S("ab"), kRVString, "ababab"},
      {"truncated count", R(3.9), RV_MulAssign, S("ab"), kRVString, "ababab"},
      {"int32 * string", I(2), RV_MulAssign, S("xy"), kRVString, "xyxy"},
      {"int64 * string", L(2), RV_MulAssign, S("z"), kRVString, "zz"},
      {"bool * string", B(true), RV_MulAssign, S("ab"), kRVString, "ab"},
      {"zero times", R(0), RV_MulAssign, S("ab"), kRVString, ""},
      {"negative times", I(-2), RV_MulAssign, S("ab"), kRVString, ""},
      {"string * number", S("ab"), RV_MulAssign, R(3), 0, "",
       "invalid type for *= lhs=ab (type=1), rhs=3 (type=0)"},
      {"int32 * int32", I(6), RV_MulAssign, I(7), kRVInt32, "42"},
      {"int32 * int32 wraps", I(65536), RV_MulAssign, I(65536), kRVInt32, "0"},
      {"int32 * int64", I(3), RV_MulAssign, L(1LL << 33), kRVInt64, "25769803776"},
      {"int64 * int32", L(1LL << 33), RV_MulAssign, I(3), kRVInt64, "25769803776"},
      {"int64 * int64 wraps", L(1LL << 62), RV_MulAssign, L(4), kRVInt64, "0"},
      {"int32 * real", I(3), RV_MulAssign, R(0.5), kRVReal, "1.50"},
      {"int64 * real", L(3), RV_MulAssign, R(0.5), kRVReal, "1.50"},
      {"undefined on the left", Undef(), RV_MulAssign, R(2), 0, "",
       "invalid type for *= lhs=undefined (type=5), rhs=2 (type=0)"},
  });
}

TEST_F(ValueArithTest, DivideTable) {
  Run({
      {"real / real", R(7), RV_DivAssign, R(2), kRVReal, "3.50"},
      {"real / 0 is infinite", R(1), RV_DivAssign, R(0), kRVReal, "inf"},
      {"negative / 0", R(-1), RV_DivAssign, R(0), kRVReal, "-inf"},
      {"0 / 0 is NaN", R(0), RV_DivAssign, R(0), kRVReal, "NaN"},
      {"real / int32 zero", R(1), RV_DivAssign, I(0), kRVReal, "inf"},
      {"bool / real", B(true), RV_DivAssign, R(4), kRVBool, "1"},
      {"real / pointer", R(1), RV_DivAssign, NullPtr(), 0, "",
       "invalid type for /= lhs=1 (type=0), rhs=null (type=3)"},
      {"string / real", S("6"), RV_DivAssign, R(4), kRVReal, "1.50"},
      {"int32 / int32", I(7), RV_DivAssign, I(2), kRVInt32, "3"},
      {"int32 / negative", I(-7), RV_DivAssign, I(2), kRVInt32, "-3"},
      {"int32 / 0", I(7), RV_DivAssign, I(0), 0, "", "divide by zero"},
      {"int32 min / -1 wraps", I(INT_MIN), RV_DivAssign, I(-1), kRVInt32, "-2147483648"},
      {"int32 / int64", I(9), RV_DivAssign, L(2), kRVInt64, "4"},
      {"int32 / int64 zero", I(9), RV_DivAssign, L(0), 0, "", "divide by zero"},
      {"int64 / int32", L(9), RV_DivAssign, I(2), kRVInt64, "4"},
      {"int64 / int32 zero", L(9), RV_DivAssign, I(0), 0, "", "divide by zero"},
      {"int64 min / -1 wraps", L(LLONG_MIN), RV_DivAssign, L(-1), kRVInt64, "-9223372036854775808"},
      {"int32 / real", I(7), RV_DivAssign, R(2), kRVReal, "3.50"},
      {"int64 / real", L(7), RV_DivAssign, R(2), kRVReal, "3.50"},
      {"int32 / real zero", I(7), RV_DivAssign, R(0), kRVReal, "inf"},
      {"int32 / pointer", I(7), RV_DivAssign, NullPtr(), 0, "",
       "invalid type for /= lhs=7 (type=7), rhs=null (type=3)"},
      {"undefined on the left", Undef(), RV_DivAssign, R(2), 0, "",
       "invalid type for /= lhs=undefined (type=5), rhs=2 (type=0)"},
  });
}

TEST_F(ValueArithTest, ModTable) {
  Run({
      {"real % real", R(7.5), RV_ModAssign, R(2), kRVReal, "1.50"},
      {"negative real", R(-7), RV_ModAssign, R(3), kRVReal, "-1"},
      {"real % 0", R(7), RV_ModAssign, R(0), 0, "", "unable to mod by 0"},
      {"real % int32 0", R(7), RV_ModAssign, I(0), 0, "", "unable to mod by 0"},
      {"string % real", S("7"), RV_ModAssign, R(4), kRVReal, "3"},
      {"int32 % int32", I(7), RV_ModAssign, I(3), kRVInt32, "1"},
      {"int32 % 0", I(7), RV_ModAssign, I(0), 0, "", "unable to mod by 0"},
      {"int32 min % -1", I(INT_MIN), RV_ModAssign, I(-1), kRVInt32, "0"},
      {"int32 % real 0", I(7), RV_ModAssign, R(0), 0, "", "unable to mod by 0"},
      {"int32 % real", I(7), RV_ModAssign, R(2.5), kRVReal, "2"},
      {"int32 % int64", I(7), RV_ModAssign, L(4), kRVInt64, "3"},
      {"int64 % int32", L(7), RV_ModAssign, I(4), kRVInt64, "3"},
      {"int64 % 0", L(7), RV_ModAssign, L(0), 0, "", "unable to mod by 0"},
      {"real % pointer", R(1), RV_ModAssign, NullPtr(), 0, "",
       "invalid type for %= lhs=1 (type=0), rhs=null (type=3)"},
      {"undefined on the left", Undef(), RV_ModAssign, R(2), 0, "",
       "invalid type for %= lhs=undefined (type=5), rhs=2 (type=0)"},
  });
}

TEST_F(ValueArithTest, ConstantRightForms) {
  Val v = Val::Int32(5);
  RV_AddAssign(v.get(), int32_t{2});
  EXPECT_EQ(v.kind(), kRVInt32);
  EXPECT_EQ(v->v32, 7);
  RV_MulAssign(v.get(), int64_t{3});
  EXPECT_EQ(v.kind(), kRVInt64);
  EXPECT_EQ(v->v64, 21);
  RV_SubAssign(v.get(), 0.5);
  EXPECT_EQ(v.kind(), kRVReal);
  EXPECT_EQ(v->val, 20.5);
  RV_DivAssign(v.get(), 2.0);
  RV_ModAssign(v.get(), 4.0);
  EXPECT_EQ(v->val, 2.25);
  Val u = Val::Undefined();
  EXPECT_EQ(ErrorRaisedBy([&] { RV_AddAssign(u.get(), int32_t{5}); }),
            "invalid type for += lhs=undefined (type=5), rhs=5 (type=7)");
  EXPECT_EQ(ErrorRaisedBy([&] { RV_DivAssign(u.get(), int64_t{5}); }),
            "invalid type for /= lhs=undefined (type=5), rhs=5 (type=10)");
}

TEST_F(ValueArithTest, PostIncrementAndDecrement) {
  Val v = Val::Real(5);
  Val old;
  RV_PostIncrement(old.get(), v.get());
  EXPECT_EQ(old->val, 5);
  EXPECT_EQ(v->val, 6);
  RV_PostDecrement(old.get(), v.get());
  EXPECT_EQ(old->val, 6);
  EXPECT_EQ(v->val, 5);

  Val i = Val::Int32(INT_MAX);
  RV_PostIncrement(old.get(), i.get());
  EXPECT_EQ(old.kind(), kRVInt32);
  EXPECT_EQ(old->v32, INT_MAX);
  EXPECT_EQ(i.kind(), kRVReal);  // int32 + real 1 becomes real
  EXPECT_EQ(i->val, 2147483648.0);

  Val s = Val::Str("a");
  EXPECT_EQ(ErrorRaisedBy([&] { RV_PostIncrement(old.get(), s.get()); }), "unable to add a number to string");
  EXPECT_EQ(old.text(), "a");  // the old value was copied first
  EXPECT_EQ(ErrorRaisedBy([&] { RV_PostDecrement(old.get(), s.get()); }), "unable to add a number to string");
}

TEST_F(ValueArithTest, StringResultsDoNotLeak) {
  const int64_t before = MemoryManager::Stats().bytes_in_use;
  {
    Val s = Val::Str("ab");
    for (int i = 0; i < 10; ++i) {
      Val t = Val::Str("cd");
      RV_AddAssign(s.get(), t.get());
    }
    Val three = Val::Real(3);
    RV_MulAssign(three.get(), s.get());
    EXPECT_EQ(three.text().size(), 66u);
    Val empty = Val::Str("");
    RV_AddAssign(empty.get(), empty.get());
  }
  EXPECT_EQ(MemoryManager::Stats().bytes_in_use, before);
}

}  // namespace
}  // namespace value_test

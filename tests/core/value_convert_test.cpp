// Conversions (RV_To*, ToNumber), the KVGet* argument readers with their messages, the
// scratch area, and number text and parsing under a comma-decimal process locale.
#include <clocale>
#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <string>

#include "value_test_support.h"

namespace value_test {
namespace {

constexpr char kNoError[] = "";

class ValueConvertTest : public ValueTest {};

// One row: a value, what a conversion gives, or the message it raises.
struct ConvertRow {
  const char* name;
  std::function<Val()> make;
  double expected;
  const char* message;  // kNoError when it converts
};

template <class Convert>
void RunRows(const std::vector<ConvertRow>& rows, Convert convert) {
  for (const ConvertRow& row : rows) {
    SCOPED_TRACE(row.name);
    Val v = row.make();
    double got = 0;
    EXPECT_EQ(ErrorRaisedBy([&] { got = convert(*v); }), row.message);
    if (std::string(row.message) == kNoError) {
      if (std::isnan(row.expected)) {
        EXPECT_TRUE(std::isnan(got));
      } else {
        EXPECT_EQ(got, row.expected);
      }
    }
  }
}

KVObjectBase g_struct(kObjStruct);

TEST_F(ValueConvertTest, ToBoolTable) {
  RunRows(
      {
          {"real above half", [] { return Val::Real(0.6); }, 1, kNoError},
          {"real half", [] { return Val::Real(0.5); }, 0, kNoError},
          {"bool true", [] { return Val::Bool(true); }, 1, kNoError},
          {"string number", [] { return Val::Str("0.75"); }, 1, kNoError},
          {"string small number", [] { return Val::Str("0.4"); }, 0, kNoError},
          {"string leading part", [] { return Val::Str("1xyz"); }, 1, kNoError},
          {"string TRUE", [] { return Val::Str("TRUE"); }, 1, kNoError},
          {"string False", [] { return Val::Str("False"); }, 0, kNoError},
          {"string other", [] { return Val::Str("yes"); }, 0, "unable to convert string \"yes\" to bool"},
          {"null string record", [] { return Val::NullString(); }, 0, kNoError},
          {"null string text", [] { return Val::NullText(); }, 0, kNoError},
          {"array", [] { return Val::Array({}); }, 0, "bool argument is array"},
          {"pointer", [] { return Val::Ptr(&g_struct); }, 1, kNoError},
          {"null pointer", [] { return Val::Ptr(nullptr); }, 0, kNoError},
          {"undefined", [] { return Val::Undefined(); }, 0, kNoError},
          {"object", [] { return Val::Object(&g_struct); }, 1, kNoError},
          {"int32 positive", [] { return Val::Int32(1); }, 1, kNoError},
          {"int32 negative", [] { return Val::Int32(-1); }, 0, kNoError},
          {"ref", [] { return Val::Ref(2); }, 1, kNoError},
          {"int64", [] { return Val::Int64(5); }, 1, kNoError},
          {"vec3", [] { return Val::Kind(kRVVec3); }, 0, "bool argument incorrect type 4"},
          {"null kind", [] { return Val::Kind(kRVNull); }, 0, "bool argument incorrect type 12"},
          {"unset", [] { return Val::Unset(); }, 0, "bool argument is unset"},
      },
      [](const RValue& v) { return RV_ToBool(v) ? 1.0 : 0.0; });
}

TEST_F(ValueConvertTest, ToDoubleTable) {
  const double inf = std::numeric_limits<double>::infinity();
  RunRows(
      {
          {"real", [] { return Val::Real(2.5); }, 2.5, kNoError},
          {"bool", [] { return Val::Bool(true); }, 1, kNoError},
          {"string", [] { return Val::Str("12.5"); }, 12.5, kNoError},
          {"string leading part", [] { return Val::Str(" 12abc"); }, 12, kNoError},
          {"string inf", [] { return Val::Str("inf"); }, inf, kNoError},
          {"string bad", [] { return Val::Str("abc"); }, 0, "unable to convert string \"abc\" to number"},
          {"string empty", [] { return Val::Str(""); }, 0, "unable to convert string \"\" to number"},
          {"null string", [] { return Val::NullText(); }, 0, kNoError},
          {"array", [] { return Val::Array({}); }, 0, "REAL argument incorrect type array"},
          {"pointer", [] { return Val::Ptr(nullptr); }, 0, "REAL argument incorrect type ptr"},
          {"undefined", [] { return Val::Undefined(); }, 0, "REAL argument incorrect type undefined"},
          {"object default text", [] { return Val::Object(&g_struct); }, 0, kNoError},
          {"int32", [] { return Val::Int32(-7); }, -7, kNoError},
          {"ref", [] { return Val::Ref(9); }, 9, kNoError},
          {"int64", [] { return Val::Int64(1LL << 40); }, static_cast<double>(1LL << 40), kNoError},
          {"vec4", [] { return Val::Kind(kRVVec4); }, 0, "REAL argument incorrect type vec4"},
          {"matrix", [] { return Val::Kind(kRVMatrix); }, 0, "REAL argument incorrect type vec44"},
          {"unset", [] { return Val::Unset(); }, 0, "REAL argument is unset"},
      },
      [](const RValue& v) { return RV_ToDouble(v); });
}

TEST_F(ValueConvertTest, ToInt32Table) {
  RunRows(
      {
          {"real truncated", [] { return Val::Real(3.9); }, 3, kNoError},
          {"negative real truncated", [] { return Val::Real(-3.9); }, -3, kNoError},
          {"real wraps to low 32 bits", [] { return Val::Real(4294967295.0); }, -1, kNoError},
          {"string", [] { return Val::Str("7.8"); }, 7, kNoError},
          {"string bad", [] { return Val::Str("x"); }, 0, "unable to convert string \"x\" to integer"},
          {"null string", [] { return Val::NullString(); }, 0, kNoError},
          {"array", [] { return Val::Array({}); }, 0, "I32 argument is array"},
          {"pointer low bits", [] { return Val::Ptr(reinterpret_cast<void*>(0x100000007)); }, 7, kNoError},
          {"undefined", [] { return Val::Undefined(); }, 0, "I32 argument is undefined"},
          {"int32", [] { return Val::Int32(-5); }, -5, kNoError},
          {"int64 low bits", [] { return Val::Int64(0x100000005LL); }, 5, kNoError},
          {"vec4", [] { return Val::Kind(kRVVec4); }, 0, "I32 argument incorrect type 8"},
          {"unset", [] { return Val::Unset(); }, 0, "I32 argument is unset"},
      },
      [](const RValue& v) { return static_cast<double>(RV_ToInt32(v)); });
}

TEST_F(ValueConvertTest, ToInt64Table) {
  RunRows(
      {
          {"real truncated", [] { return Val::Real(-2.7); }, -2, kNoError},
          {"string", [] { return Val::Str("123456789012"); }, 123456789012.0, kNoError},
          {"string leading part", [] { return Val::Str("1.9"); }, 1, kNoError},
          {"string bad", [] { return Val::Str("q"); }, 0, "unable to convert string \"q\" to int64"},
          {"array", [] { return Val::Array({}); }, 0, "INT64 argument is array"},
          {"pointer", [] { return Val::Ptr(reinterpret_cast<void*>(0x1234)); }, 0x1234, kNoError},
          {"undefined", [] { return Val::Undefined(); }, 0, "I64 argument is undefined"},
          {"int32 sign-extended", [] { return Val::Int32(-5); }, -5, kNoError},
          {"vec3", [] { return Val::Kind(kRVVec3); }, 0, "I64 argument incorrect type 4"},
          {"unset", [] { return Val::Unset(); }, 0, "I64 argument is unset"},
      },
      [](const RValue& v) { return static_cast<double>(RV_ToInt64(v)); });
}

TEST_F(ValueConvertTest, ToPointerTable) {
  RunRows(
      {
          {"real", [] { return Val::Real(16.9); }, 16, kNoError},
          {"string base 16", [] { return Val::Str("ff"); }, 255, kNoError},
          {"string 0x", [] { return Val::Str("0x10"); }, 16, kNoError},
          {"string bad", [] { return Val::Str("zz"); }, 0, "unable to convert string \"zz\" to int64"},
          {"undefined", [] { return Val::Undefined(); }, 0, "PTR argument is undefined"},
          {"int32 sign-extended", [] { return Val::Int32(-1); }, -1, kNoError},
          {"int64", [] { return Val::Int64(77); }, 77, kNoError},
          {"vec3", [] { return Val::Kind(kRVVec3); }, 0, "PTR argument incorrect type 4"},
          {"unset", [] { return Val::Unset(); }, 0, "PTR argument is unset"},
      },
      [](const RValue& v) { return static_cast<double>(reinterpret_cast<intptr_t>(RV_ToPointer(v))); });
  Val array = Val::Array({});
  EXPECT_EQ(RV_ToPointer(*array), static_cast<void*>(array.array()));
  EXPECT_EQ(RV_ToPointer(*Val::Object(&g_struct)), static_cast<void*>(&g_struct));
}

TEST_F(ValueConvertTest, ToNumberIsLenient) {
  EXPECT_EQ(RV_ToNumber("  12"), 12);
  EXPECT_EQ(RV_ToNumber(""), 0);
  EXPECT_EQ(RV_ToNumber(" \t\n"), 0);
  EXPECT_EQ(RV_ToNumber(nullptr), 0);
  EXPECT_EQ(RV_ToNumber("Infinity"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(RV_ToNumber("+Infinity"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(RV_ToNumber(" -Infinity"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(RV_ToNumber("0x1F"), 31);
  EXPECT_EQ(RV_ToNumber("0X10"), 16);
  EXPECT_EQ(RV_ToNumber("1e3"), 1000);
  EXPECT_EQ(RV_ToNumber("abc"), 0);
}

void NumberText(KVObjectBase*, ValueText* text) { ValueText_AppendCString(text, "42"); }

TEST_F(ValueConvertTest, ObjectsConvertThroughTheirText) {
  Value_SetObjectTextHook(NumberText);
  Val object = Val::Object(&g_struct);
  EXPECT_EQ(RV_ToDouble(*object), 42);
  EXPECT_EQ(RV_ToInt32(*object), 42);
  EXPECT_EQ(RV_ToInt64(*object), 42);
}

// ---- KVGet* readers -------------------------------------------------------------------------------

class ValueArgumentTest : public ValueTest {
 protected:
  void SetUp() override {
    std::strcpy(row_.name, "test_fn");
    g_CurrentFunction = &row_;
  }
  RFunction row_{};
};

TEST_F(ValueArgumentTest, NumberReadersAcceptTheirKinds) {
  Val args[] = {Val::Real(-2.5), Val::Bool(true), Val::Int32(-9), Val::Int64(1LL << 40), Val::Ref(4),
                Val::Str("12abc"), Val::Object(&g_struct)};
  RValue argv[7];
  for (int i = 0; i < 7; ++i) argv[i] = *args[i];
  EXPECT_EQ(KVGetInt32(argv, 0), -2);
  EXPECT_EQ(KVGetInt32(argv, 1), 1);
  EXPECT_EQ(KVGetInt32(argv, 2), -9);
  EXPECT_EQ(KVGetInt32(argv, 3), 0);  // low 32 bits of 2^40
  EXPECT_EQ(KVGetInt32(argv, 4), 4);
  EXPECT_EQ(KVGetInt32(argv, 5), 12);
  EXPECT_EQ(KVGetInt32(argv, 6), 0);  // "{ }" reads as 0
  EXPECT_EQ(KVGetInt64(argv, 3), 1LL << 40);
  EXPECT_EQ(KVGetReal(argv, 0), -2.5);
  EXPECT_EQ(KVGetReal(argv, 2), -9.0);
  EXPECT_EQ(KVGetFloat(argv, 0), -2.5f);
  EXPECT_EQ(KVGetUint32(argv, 2), 0xFFFFFFF7u);
  EXPECT_EQ(KVGetUint32(argv, 0), 0xFFFFFFFEu);  // a negative real goes through int32
}

TEST_F(ValueArgumentTest, ReaderMessages) {
  Val args[] = {Val::Real(1), Val::Str("abc"), Val::Undefined(), Val::Str(""), Val::Array({}), Val::Bool(true),
                Val::NullString()};
  RValue argv[7];
  for (int i = 0; i < 7; ++i) argv[i] = *args[i];
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { KVGetInt32(argv, 1); }, "test_fn argument 2 incorrect type (string) expecting a Number (KVGI32)"},
      {[&] { KVGetInt32(argv, 3); }, "test_fn argument 4 incorrect type (string) expecting a Number (KVGI32)"},
      {[&] { KVGetInt32(argv, 6); }, "test_fn argument 7 incorrect type (string) expecting a Number (KVGI32)"},
      {[&] { KVGetUint32(argv, 2); }, "test_fn argument 3 incorrect type (undefined) expecting a Number (KVGU32)"},
      {[&] { KVGetInt64(argv, 4); }, "test_fn argument 5 incorrect type (array) expecting a Number"},
      {[&] { KVGetReal(argv, 1); }, "test_fn argument 2 incorrect type (string) expecting a Number (KVGR)"},
      {[&] { KVGetFloat(argv, 2); }, "test_fn argument 3 incorrect type (undefined) expecting a Number (KVGF)"},
      {[&] { KVGetPtr(argv, 0); }, "test_fn argument 1 incorrect type (number) expecting a Pointer"},
      {[&] { KVGetPtrOrInt(argv, 5); }, "test_fn argument 6 incorrect type (bool) expecting a Number or Pointer"},
      {[&] { KVGetBool(argv, 1); }, "test_fn argument 2 incorrect type (string) expecting a Boolean (KVGB)"},
      {[&] { KVGetString(argv, 2); }, "test_fn argument 3 incorrect type (undefined) expecting a String (KVGS)"},
      {[&] { KVGetString(argv, 4); }, "test_fn argument 5 incorrect type (array) expecting a String (KVGS)"},
  };
  for (const auto& [read, message] : cases) EXPECT_EQ(ErrorRaisedBy(read), message);
}

TEST_F(ValueArgumentTest, MutedErrorsGiveNeutralValues) {
  Val args[] = {Val::Undefined()};
  RValue argv[1] = {*args[0]};
  g_ErrorsMuted = true;
  g_ErrorPending = false;
  EXPECT_EQ(KVGetPtrOrInt(argv, 0), -1);
  EXPECT_TRUE(g_ErrorPending);
  EXPECT_EQ(KVGetInt32(argv, 0), 0);
  EXPECT_STREQ(KVGetString(argv, 0), "");
  g_ErrorsMuted = false;
  g_ErrorPending = false;
}

TEST_F(ValueArgumentTest, BoolReader) {
  KVObjectBase object(kObjStruct);
  Val args[] = {Val::Real(0.6), Val::Real(0.5), Val::BoolRaw(0.25), Val::Int32(-1), Val::Int64(3), Val::Ref(0),
                Val::Ptr(&object), Val::Object(&object), Val::Undefined()};
  RValue argv[9];
  for (int i = 0; i < 9; ++i) argv[i] = *args[i];
  const bool expected[] = {true, false, true, false, true, false, true, true, false};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(KVGetBool(argv, i), expected[i]) << i;
}

TEST_F(ValueArgumentTest, PtrReaders) {
  int target = 0;
  Val args[] = {Val::Ptr(&target), Val::Real(7.9), Val::Int32(-3), Val::Int64(1LL << 33)};
  RValue argv[4];
  for (int i = 0; i < 4; ++i) argv[i] = *args[i];
  EXPECT_EQ(KVGetPtr(argv, 0), &target);
  EXPECT_EQ(KVGetPtrOrInt(argv, 0), reinterpret_cast<intptr_t>(&target));
  EXPECT_EQ(KVGetPtrOrInt(argv, 1), 7);
  EXPECT_EQ(KVGetPtrOrInt(argv, 2), -3);
  EXPECT_EQ(KVGetPtrOrInt(argv, 3), 1LL << 33);
}

TEST_F(ValueArgumentTest, StringReaderConvertsIntoScratch) {
  Val args[] = {Val::Str("own"), Val::Real(1.5), Val::Int32(7), Val::Int64(-8), Val::Bool(true), Val::Ref(3),
                Val::Object(&g_struct), Val::NullString(), Val::NullText(), Val::Real(2)};
  RValue argv[10];
  for (int i = 0; i < 10; ++i) argv[i] = *args[i];
  EXPECT_EQ(KVGetString(argv, 0), args[0]->pRefString->text);  // its own text, no copy
  EXPECT_STREQ(KVGetString(argv, 1), "1.50");
  EXPECT_STREQ(KVGetString(argv, 2), "7");
  EXPECT_STREQ(KVGetString(argv, 3), "-8");
  EXPECT_STREQ(KVGetString(argv, 4), "1");
  EXPECT_STREQ(KVGetString(argv, 5), "ref 3");
  EXPECT_STREQ(KVGetString(argv, 6), "{ }");
  EXPECT_STREQ(KVGetString(argv, 7), "");
  EXPECT_EQ(KVGetString(argv, 7), KVGetString(argv, 8));  // the shared empty constant
  EXPECT_STREQ(KVGetString(argv, 9), "2");
}

TEST_F(ValueArgumentTest, CurrentNameWithoutABuiltin) {
  g_CurrentFunction = nullptr;
  Val args[] = {Val::Undefined()};
  RValue argv[1] = {*args[0]};
  EXPECT_EQ(ErrorRaisedBy([&] { KVGetReal(argv, 0); }),
            "<unknown> argument 1 incorrect type (undefined) expecting a Number (KVGR)");
}

// ---- Scratch ---------------------------------------------------------------------------------------

TEST_F(ValueConvertTest, ScratchPointersStayGoodUntilReset) {
  std::vector<std::pair<char*, std::string>> handed;
  for (int i = 0; i < 2000; ++i) {
    const std::string text = "text number " + std::to_string(i);
    char* p = Scratch_Alloc(text.size() + 1);
    std::memcpy(p, text.c_str(), text.size() + 1);
    handed.emplace_back(p, text);
  }
  char* big = Scratch_Alloc(100000);  // larger than the grown block: grows until it fits
  std::memset(big, 'x', 100000);
  for (const auto& [p, text] : handed) ASSERT_STREQ(p, text.c_str());
  Scratch_Reset();
  char* again = Scratch_Alloc(16);
  EXPECT_NE(again, nullptr);
}

// ---- Locale ----------------------------------------------------------------------------------------

TEST_F(ValueConvertTest, NumbersIgnoreTheProcessLocale) {
  const char* candidates[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "ru_RU.UTF-8",
                              "nl_NL.UTF-8", "es_ES.UTF-8", "it_IT.UTF-8", "pt_BR.UTF-8"};
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  const char* found = nullptr;
  for (const char* name : candidates) {
    if (std::setlocale(LC_ALL, name) != nullptr && std::localeconv()->decimal_point[0] == ',') {
      found = name;
      break;
    }
  }
  if (found == nullptr) {
    std::setlocale(LC_ALL, saved.c_str());
    GTEST_SKIP() << "no locale with a comma decimal separator is installed";
  }
  Val half = Val::Str("1.5");
  Val real = Val::Real(2.25);
  const double parsed = RV_ToDouble(*half);
  const std::string text = real.text();
  const double number = RV_ToNumber("3.75");
  std::setlocale(LC_ALL, saved.c_str());
  EXPECT_EQ(parsed, 1.5) << found;
  EXPECT_EQ(text, "2.25") << found;
  EXPECT_EQ(number, 3.75) << found;
}

}  // namespace
}  // namespace value_test

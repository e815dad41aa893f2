// Text of values (RV_ToText and string()), the typeof words and the object text hook.
#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "value_test_support.h"

namespace value_test {
namespace {

class ValueTextTest : public ValueTest {};

struct TextRow {
  const char* name;
  std::function<Val()> make;
  const char* text;
};

KVObjectBase g_struct(kObjStruct);
KVObjectBase g_method(kObjScriptRef);

TEST_F(ValueTextTest, TextTable) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<TextRow> rows = {
      {"1.5", [] { return Val::Real(1.5); }, "1.50"},
      {"2.0", [] { return Val::Real(2.0); }, "2"},
      {"-0.0", [] { return Val::Real(-0.0); }, "0"},
      {"-3", [] { return Val::Real(-3); }, "-3"},
      {"rounding", [] { return Val::Real(0.125); }, "0.12"},
      {"small", [] { return Val::Real(0.001); }, "0.00"},
      {"negative fraction", [] { return Val::Real(-2.5); }, "-2.50"},
      {"2^53", [] { return Val::Real(9007199254740992.0); }, "9007199254740992"},
      {"-2^63 is integral", [] { return Val::Real(-9223372036854775808.0); }, "-9223372036854775808"},
      {"2^63 is past int64", [] { return Val::Real(9223372036854775808.0); }, "9223372036854775808.00"},
      {"NaN", [] { return Val::Real(std::nan("")); }, "NaN"},
      {"inf", [inf] { return Val::Real(inf); }, "inf"},
      {"-inf", [inf] { return Val::Real(-inf); }, "-inf"},
      {"string", [] { return Val::Str("hi \"there\""); }, "hi \"there\""},
      {"null string", [] { return Val::NullString(); }, ""},
      {"empty array", [] { return Val::Array({}); }, "[  ]"},
      {"array", [] { return Val::Array({Val::Real(1), Val::Real(2.5), Val::Str("a")}); }, "[ 1,2.50,\"a\" ]"},
      {"nested arrays",
       [] { return Val::Array({Val::Array({Val::Int32(1), Val::Str("x")}), Val::Array({}), Val::Undefined()}); },
       "[ [ 1,\"x\" ],[  ],undefined ]"},
      {"null string inside", [] { return Val::Array({Val::NullString()}); }, "[ \"\" ]"},
      {"null array", [] { return Val::NullArray(); }, "[  ]"},
      {"null pointer", [] { return Val::Ptr(nullptr); }, "null"},
      {"undefined", [] { return Val::Undefined(); }, "undefined"},
      {"struct default", [] { return Val::Object(&g_struct); }, "{ }"},
      {"null object", [] { return Val::Object(nullptr); }, "null"},
      {"int32", [] { return Val::Int32(-42); }, "-42"},
      {"int64", [] { return Val::Int64(-9000000000LL); }, "-9000000000"},
      {"bool false", [] { return Val::Bool(false); }, "0"},
      {"bool true", [] { return Val::Bool(true); }, "1"},
      {"NaN bool", [] { return Val::BoolRaw(std::nan("")); }, "1"},
      {"ref", [] { return Val::Ref(12); }, "ref 12"},
      {"vec3 prints nothing", [] { return Val::Kind(kRVVec3); }, ""},
      {"null kind prints nothing", [] { return Val::Kind(kRVNull); }, ""},
      {"reserved inside an array", [] { return Val::Array({Val::Kind(kRVIterator), Val::Real(1)}); }, "[ ,1 ]"},
  };
  for (const TextRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.make().text(), row.text);
  }
}

TEST_F(ValueTextTest, HugeRealsUseFixedNotation) {
  const std::string text = Val::Real(1e300).text();
  EXPECT_EQ(text.size(), 301u + 3u);
  EXPECT_EQ(text.substr(0, 17), "10000000000000000");
  EXPECT_EQ(text.substr(text.size() - 3), ".00");
  char expected[400];
  std::snprintf(expected, sizeof expected, "%.2f", 1e300);  // the test process runs in the C locale
  EXPECT_EQ(text, expected);
}

TEST_F(ValueTextTest, PointersPrintWithPercentP) {
  int target = 0;
  char expected[64];
  std::snprintf(expected, sizeof expected, "%p", static_cast<void*>(&target));
  EXPECT_EQ(Val::Ptr(&target).text(), expected);
}

TEST_F(ValueTextTest, RecursiveArraysPrintAWarning) {
  Val a = Val::Array({Val::Real(1)});
  RV_ArrayWrite(a.get(), 1, a.get());
  EXPECT_EQ(a.text(), "[ 1,\"Warning: recursive array found\" ]");
  // The table empties when the outermost print ends: a second print is the same.
  EXPECT_EQ(a.text(), "[ 1,\"Warning: recursive array found\" ]");
  RV_ArraySetLength(a.array(), 1);  // break the cycle so the collector can free it
}

TEST_F(ValueTextTest, AnArrayMetTwiceInOnePrintIsReportedAsRecursive) {
  Val inner = Val::Array({Val::Int32(1)});
  Val outer = Val::Array({inner, inner});
  EXPECT_EQ(outer.text(), "[ [ 1 ],\"Warning: recursive array found\" ]");
}

TEST_F(ValueTextTest, UnsetRaisesAtAnyDepth) {
  EXPECT_EQ(ErrorRaisedBy([] { Val::Unset().text(); }), "STRING argument is unset");
  Val a = Val::Array({Val::Real(1), Val::Unset()});
  EXPECT_EQ(ErrorRaisedBy([&] { a.text(); }), "STRING argument is unset");
}

// The object model's text: a struct printing "{ name : value }" with members through the builder.
struct FakeStruct : KVObjectBase {
  FakeStruct() : KVObjectBase(kObjStruct) { member = RV_Undefined(); }
  RValue member;
};

void FakeStructText(KVObjectBase* object, ValueText* text) {
  if (!ValueText_Enter(text, object)) {
    ValueText_AppendCString(text, "\"Warning: recursive struct found\"");
    return;
  }
  ValueText_AppendCString(text, "{ m : ");
  ValueText_AppendValue(text, static_cast<FakeStruct*>(object)->member);
  ValueText_AppendCString(text, " }");
  ValueText_Leave(text);
}

TEST_F(ValueTextTest, ObjectsPrintThroughTheHook) {
  Value_SetObjectTextHook(FakeStructText);
  FakeStruct s;
  RV_SetString(&s.member, "x");
  Val v = Val::Object(&s);
  EXPECT_EQ(v.text(), "{ m : \"x\" }");
  Val in_array = Val::Array({v, Val::Str("y")});
  EXPECT_EQ(in_array.text(), "[ { m : \"x\" },\"y\" ]");
  RV_Assign(&s.member, v.get());
  EXPECT_EQ(v.text(), "{ m : \"Warning: recursive struct found\" }");
  EXPECT_EQ(Val::Object(nullptr).text(), "null");  // null never reaches the hook
  RV_FreeToUndefined(&s.member);
}

TEST_F(ValueTextTest, StringOfAValue) {
  Val out;
  RV_SetStringFromValue(out.get(), *Val::Real(1.5));
  EXPECT_EQ(out.text(), "1.50");
  Val s = Val::Str("shared");
  RV_SetStringFromValue(out.get(), *s);
  EXPECT_EQ(out->pRefString, s->pRefString);
  EXPECT_EQ(s->pRefString->refCount, 2);
  RV_SetStringFromValue(out.get(), *Val::NullString());
  ASSERT_EQ(out.kind(), kRVString);
  EXPECT_STREQ(out->pRefString->text, "");
  RV_SetStringFromValue(out.get(), *Val::Array({Val::Str("a")}));
  EXPECT_EQ(out.text(), "[ \"a\" ]");
  RV_SetStringFromValue(out.get(), *out);  // its own text
  EXPECT_EQ(out.text(), "[ \"a\" ]");
}

TEST_F(ValueTextTest, KindNames) {
  const std::pair<uint32_t, const char*> names[] = {
      {kRVReal, "number"},   {kRVString, "string"}, {kRVArray, "array"},   {kRVPtr, "ptr"},
      {kRVVec3, "vec3"},     {kRVUndefined, "undefined"}, {kRVInt32, "int32"}, {kRVVec4, "vec4"},
      {kRVMatrix, "vec44"},  {kRVInt64, "int64"},   {kRVAccessor, "accessor"}, {kRVNull, "null"},
      {kRVBool, "bool"},     {kRVIterator, "iterator"}, {kRVRef, "ref"},  {kRVUnset, "unset"},
      {16, "unknown"},       {0x123456, "unknown"},
  };
  for (const auto& [kind, name] : names) EXPECT_STREQ(RV_KindName(*Val::Kind(kind)), name) << kind;
  EXPECT_STREQ(RV_KindName(*Val::Object(&g_struct)), "struct");
  EXPECT_STREQ(RV_KindName(*Val::Object(&g_method)), "method");
  EXPECT_STREQ(RV_KindName(*Val::Object(nullptr)), "struct");
  Val marked = Val::Real(1);
  marked->kind |= 0x01000000u;
  EXPECT_STREQ(RV_KindName(*marked), "number");
}

}  // namespace
}  // namespace value_test

// json_stringify and json_parse: the printer's number texts and escapes, values of every kind,
// structs and arrays with cycles, the tokener's leniency as shipped, errors and round trips; and
// json_decode and json_encode over maps and lists.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/variable_names.h"
#include "ds_test_fixture.h"
#include "storage/ds_core.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"
#include "storage/json.h"

namespace value_test {
namespace {

class JsonTest : public DsBuiltinsTest {
 protected:
  std::string Stringify(const Val& v) { return Call("json_stringify", std::vector<Val>{v}).text(); }
  Val Parse(const char* text) { return Call("json_parse", std::vector<Val>{Val::Str(text)}); }
  static Val Struct(std::initializer_list<std::pair<const char*, Val>> members) {
    KVObjectBase* object = Object_NewStruct();
    for (const auto& [name, value] : members) Object_SetRValue(object, name, value.get());
    return Val::Object(object);
  }
  // A member of a struct value, or unset when absent.
  static Val Member(const Val& object, const char* name) {
    const int32_t slot = Variable_GetSlot(name);
    RValue* found = slot >= 0 ? object->pObj->FindOwnSlot(slot) : nullptr;
    Val out;
    if (found != nullptr) RV_Assign(out.get(), found);
    return found != nullptr ? out : Val::Unset();
  }
};

TEST_F(JsonTest, ScalarTexts) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    Val value;
    const char* text;
  } rows[] = {
      {Val::Real(1.5), "1.5"},
      {Val::Real(2), "2.0"},
      {Val::Int32(2), "2"},
      {Val::Real(-0.0), "-0.0"},
      // "%.32g" writes exponents only from 1e32 on, and then with a '.' among 32 digits.
      {Val::Real(1e20), "100000000000000000000.0"},
      {Val::Real(1e40), "1.0000000000000000303786028427004e+40"},
      {Val::Real(0.1), "0.10000000000000000555111512312578"},
      {Val::Real(inf), "\"infinity\""},
      {Val::Real(-inf), "\"-infinity\""},
      {Val::Real(std::nan("")), "\"nan\""},
      {Val::Bool(true), "true"},
      {Val::BoolRaw(std::nan("")), "true"},
      {Val::Bool(false), "false"},
      {Val::Ref(12), "12"},
      {Val::Int64(2147483647), "2147483647"},
      {Val::Int64(-2147483648LL), "-2147483648.0"},
      {Val::Int64(1LL << 40), "1099511627776.0"},
      {Val::Int64((1LL << 60) + 1), "\"@i64@1000000000000001$i64$\""},
      {Val::Int64(-((1LL << 60) + 1)), "\"@i64@efffffffffffffff$i64$\""},
      {Val::Undefined(), "null"},
      {Val::Ptr(nullptr), "null"},
      {Val::Kind(kRVVec3), "null"},
      {Val::Str(""), "\"\""},
      {Val::NullString(), "\"\""},
      {Val::Str("a/b\"c\\d\b\t\n\r\x01\x1f\x7f"), "\"a\\/b\\\"c\\\\d\\b\\t\\n\\r\\u0001\\u001f\x7f\""},
      {Val::Str("caf\xc3\xa9"), "\"caf\xc3\xa9\""},
  };
  for (const auto& row : rows) EXPECT_EQ(Stringify(row.value), row.text) << row.value.text();
  EXPECT_EQ(Raised("json_stringify"), "json_stringify expects a parameter");
}

TEST_F(JsonTest, ArraysAndStructs) {
  EXPECT_EQ(Stringify(Val::Array({})), "[ ]");
  EXPECT_EQ(Stringify(Val::Array({Val::Real(1), Val::Str("x"), Val::Array({Val::Int32(3)})})), "[ 1.0, \"x\", [ 3 ] ]");
  EXPECT_EQ(Stringify(Val::NullArray()), "null");
  EXPECT_EQ(Stringify(Struct({})), "{ }");
  EXPECT_EQ(Stringify(Struct({{"only", Val::Int32(1)}})), "{ \"only\": 1 }");
  const std::string two = Stringify(Struct({{"a", Val::Int32(1)}, {"b", Val::Int32(2)}}));
  EXPECT_TRUE(two == "{ \"a\": 1, \"b\": 2 }" || two == "{ \"b\": 2, \"a\": 1 }") << two;
}

TEST_F(JsonTest, MethodsAndUnsetSlotsAreLeftOutAndCyclesPrintNull) {
  Val object = Struct({{"keep", Val::Int32(1)}, {"gone", Val::Unset()}});
  Object_SetObject(object->pObj, "fn", Method_ForBuiltin(0));
  Object_SetRValue(object->pObj, "me", object.get());
  const std::string text = Stringify(object);
  EXPECT_NE(text.find("\"keep\": 1"), std::string::npos) << text;
  EXPECT_NE(text.find("\"me\": null"), std::string::npos) << text;
  EXPECT_EQ(text.find("fn"), std::string::npos) << text;
  EXPECT_EQ(text.find("gone"), std::string::npos) << text;

  Val array = Val::Array({Val::Real(1)});
  RV_ArrayWrite(array.get(), 1, array.get());
  EXPECT_EQ(Stringify(array), "[ 1.0, null ]");
  RV_ArrayWrite(array.get(), 1, Val::Undefined().get());
  // One array met twice side by side is no cycle: both print.
  Val shared = Val::Array({Val::Int32(5)});
  EXPECT_EQ(Stringify(Val::Array({shared, shared})), "[ [ 5 ], [ 5 ] ]");
}

TEST_F(JsonTest, NestingDeeperThanTheLimitEndsInNull) {
  Val outer = Val::Array({});
  for (int i = 0; i < kJsonMaxDepth + 10; ++i) outer = Val::Array({outer});
  const std::string text = Stringify(outer);
  EXPECT_EQ(std::count(text.begin(), text.end(), '['), kJsonMaxDepth);
  EXPECT_NE(text.find("[ null ]"), std::string::npos);
}

TEST_F(JsonTest, ParseGivesValuesOfEveryNodeKind) {
  const Val array = Parse("[1, 2.5, true, false, \"s\", null, [], -7, {}, 12345678901234567890]");
  ASSERT_NE(array.array(), nullptr);
  ASSERT_EQ(array.array()->length, 10);
  const RValue* e = array.array()->pArray;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(RV_Kind(e[i]), static_cast<uint32_t>(kRVReal)) << i;
  EXPECT_EQ(TextOf(e[1]) + TextOf(e[2]) + TextOf(e[3]) + TextOf(e[4]) + TextOf(e[6]) + TextOf(e[7]), "2.5010s[  ]-7");
  EXPECT_EQ(RV_Kind(e[5]), static_cast<uint32_t>(kRVPtr));
  EXPECT_EQ(e[5].ptr, nullptr);
  EXPECT_EQ(RV_Kind(e[8]), static_cast<uint32_t>(kRVObject));
  EXPECT_EQ(e[9].val, 12345678901234567890.0);

  const Val object = Parse("{\"n\": 3, \"inner\": {\"deep\": [\"x\"]}, \"nothing\": null}");
  ASSERT_EQ(object.kind(), kRVObject);
  EXPECT_STREQ(object->pObj->className, "___struct___");
  EXPECT_EQ(Member(object, "n")->val, 3.0);
  EXPECT_EQ(Member(Member(object, "inner"), "deep").text(), "[ \"x\" ]");
  EXPECT_EQ(Member(object, "nothing").kind(), kRVPtr);

  EXPECT_EQ(Parse("\"@i64@1000000000000001$i64$\"")->v64, (1LL << 60) + 1);
  EXPECT_EQ(Parse("\"@i64@1000000000000001$i64$\"").kind(), kRVInt64);
  EXPECT_EQ(Parse("\"@i64@zz$i64$\"").kind(), kRVString);
  EXPECT_EQ(Parse("\"@i64@$i64$\"").kind(), kRVString);  // shorter than 11
  EXPECT_EQ(Parse("\"infinity\"").text(), "infinity");
  EXPECT_EQ(Parse("1e+20.0")->val, 1e20);
  EXPECT_EQ(Parse("\"a\\/b\\u00e9\"").text(), "a/b\xc3\xa9");
}

// json-c 0.16's leniency, pinned: what we ship accepts these.
TEST_F(JsonTest, TokenerLeniencyAsShipped) {
  const struct {
    const char* text;
    const char* value;
  } rows[] = {
      {"  12  ", "12"},          {"[1] trailing", "[ 1 ]"}, {"'single'", "single"}, {"[1,]", "[ 1 ]"},
      {"/* c */ [2]", "[ 2 ]"},  {"1.5.5", "1.50"},         {"01", "1"},           {"NaN", "NaN"},
      {"-Infinity", "-inf"},
  };
  for (const auto& row : rows) EXPECT_EQ(Parse(row.text).text(), row.value) << row.text;
}

TEST_F(JsonTest, ParseErrors) {
  EXPECT_EQ(ErrorRaisedBy([&] { Parse("null"); }), "JSON parse error");
  EXPECT_EQ(Parse("[null]").text(), "[ null ]");
  ConsoleCapture capture;
  EXPECT_EQ(ErrorRaisedBy([&] { Parse("[1 2]"); }), "JSON parse error");
  EXPECT_EQ(capture.text(), "json_tokener_parse_ex: error array value separator ',' expected at offset 3\n");
  for (const char* bad : {"", "{", "{a:1}", "tru", "\"open"}) {
    EXPECT_EQ(ErrorRaisedBy([&] { Parse(bad); }), "JSON parse error") << bad;
  }
  EXPECT_EQ(Raised("json_parse", std::vector<Val>{Val::Real(1)}), "json_parse : expects a string argument");
  EXPECT_EQ(Raised("json_parse"), "json_parse : expects a string argument");
  EXPECT_EQ(Call("json_parse", std::vector<Val>{Val::NullString()}).kind(), kRVUndefined);
}

TEST_F(JsonTest, RoundTripsThroughText) {
  const char* texts[] = {
      "[ 1.0, 2.5, \"x\", [ ], { } ]",
      "{ \"a\": [ \"b\", { \"c\": true } ] }",
      "[ \"\\u0001\\/\\\\\" ]",
      "[ -1.0e-300 ]",
  };
  for (const char* text : texts) {
    const std::string once = Stringify(Parse(text));
    EXPECT_EQ(Stringify(Parse(once.c_str())), once) << text;
  }
  // Booleans come back as reals.
  EXPECT_EQ(Stringify(Parse("[true]")), "[ 1.0 ]");
  const Val big = Val::Int64((1LL << 62) + 3);
  EXPECT_EQ(Parse(Stringify(big).c_str())->v64, (1LL << 62) + 3);
}

TEST_F(JsonTest, MarkedCellsInArraysPrintTheirStructures) {
  const double list = Call("ds_list_create")->val;
  Call("ds_list_add", std::vector<Val>{Val::Real(list), Val::Real(4)});
  RValue marked = RV_Real(list);
  marked.kind |= kDsMarkList;
  EXPECT_EQ(Json_Stringify(marked), "[ 4.0 ]");
  marked = RV_Real(77);
  marked.kind |= kDsMarkMap;
  EXPECT_EQ(Json_Stringify(marked), "null");
}

// ---- json_decode and json_encode ------------------------------------------------------------------
// The wrapping steps, maps and lists made from trees with their marks, nulls in maps and lists,
// numbers given as values, encoding with nesting and cycles.

class JsonDecodeTest : public DsBuiltinsTest {
 protected:
  double Decode(const Val& v) { return Call("json_decode", Args({v}))->val; }
  Val Find(double map, const char* key) { return Call("ds_map_find_value", Args({Val::Real(map), Val::Str(key)})); }
  bool IsList(double map, const char* key) {
    return Call("ds_map_is_list", Args({Val::Real(map), Val::Str(key)}))->val != 0.0;
  }
  bool IsMap(double map, const char* key) {
    return Call("ds_map_is_map", Args({Val::Real(map), Val::Str(key)}))->val != 0.0;
  }
};

TEST_F(JsonDecodeTest, TextThatIsNoObjectIsWrappedUnderDefault) {
  const struct {
    const char* text;
    const char* value;  // text of "default", or "" when it is a marked list
  } rows[] = {
      {"hello", "hello"},
      {"  padded  ", "  padded  "},
      {"", ""},
      {"42", "42"},         // a string, not a number: the text is wrapped in quotes
      {"{bad}", "{bad}"},   // the object form fails, its quoted form doesn't
      {"\xEF\xBB\xBFmarked", "marked"},
  };
  for (const auto& row : rows) {
    const double map = Decode(Val::Str(row.text));
    ASSERT_GE(map, 0.0) << row.text;
    const Val value = Find(map, "default");
    EXPECT_EQ(value.kind(), kRVString) << row.text;
    EXPECT_EQ(value.text(), row.value) << row.text;
    EXPECT_EQ(Call("ds_map_size", Args({Val::Real(map)}))->val, 1.0);
  }
}

TEST_F(JsonDecodeTest, ArraysAreWrappedAsMarkedLists) {
  const double map = Decode(Val::Str(" [1, \"two\", null, [3], {\"k\": null}] "));
  ASSERT_GE(map, 0.0);
  ASSERT_TRUE(IsList(map, "default"));
  const double list = Find(map, "default")->val;
  const CDS_List* l = DS_Find<CDS_List>(static_cast<int64_t>(list));
  ASSERT_NE(l, nullptr);
  ASSERT_EQ(l->size(), 5);
  EXPECT_EQ(l->at(0)->val, 1.0);
  EXPECT_EQ(TextOf(*l->at(1)), "two");
  EXPECT_EQ(RV_Kind(*l->at(2)), static_cast<uint32_t>(kRVUndefined));  // null in a list
  EXPECT_EQ(Call("ds_list_is_list", Args({Val::Real(list), Val::Real(3)}))->val, 1.0);
  EXPECT_EQ(Call("ds_list_is_map", Args({Val::Real(list), Val::Real(4)}))->val, 1.0);
  const double inner = DS_MarkedId(*l->at(4));
  EXPECT_EQ(RV_Kind(*DS_Find<CDS_Map>(static_cast<int64_t>(inner))->find(*Val::Str("k"))),
            static_cast<uint32_t>(kRVPtr));  // null in a map
  // Destroying the outer map takes everything decoded with it.
  Call("ds_map_destroy", Args({Val::Real(map)}));
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(list), Val::Real(2)}))->val, 0.0);
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(inner), Val::Real(1)}))->val, 0.0);
}

TEST_F(JsonDecodeTest, ObjectsBecomeMapsWithTheirMembers) {
  const double map = Decode(Val::Str("{ \"n\": 1.5, \"b\": true, \"s\": \"t\", \"o\": {\"x\": 2}, \"big\": \"@i64@ffffffffffffffff$i64$\" }"));
  ASSERT_GE(map, 0.0);
  EXPECT_EQ(Find(map, "n")->val, 1.5);
  EXPECT_EQ(Find(map, "b")->val, 1.0);
  EXPECT_EQ(Find(map, "b").kind(), kRVReal);
  EXPECT_EQ(Find(map, "s").text(), "t");
  EXPECT_TRUE(IsMap(map, "o"));
  EXPECT_EQ(Call("ds_map_find_value", Args({Find(map, "o"), Val::Str("x")}))->val, 2.0);
  EXPECT_EQ(Find(map, "big").kind(), kRVInt64);
  EXPECT_EQ(Find(map, "big")->v64, -1);
}

TEST_F(JsonDecodeTest, NumbersAndFailures) {
  const double map = Decode(Val::Real(12.345));
  EXPECT_EQ(Find(map, "default").text(), "12.35");
  EXPECT_EQ(Find(Decode(Val::Int32(-3)), "default").text(), "-3.00");
  EXPECT_EQ(Decode(Val::NullString()), -1.0);
  // A quote inside breaks the string wrapping both times.
  EXPECT_EQ(Decode(Val::Str("say \"hi\"")), -1.0);
  EXPECT_EQ(Decode(Val::Str("[1,]]")), -1.0);
}

TEST_F(JsonDecodeTest, EncodePrintsMapsWithTheirNesting) {
  const double map = Call("ds_map_create")->val;
  const double list = Call("ds_list_create")->val;
  Call("ds_list_add", Args({Val::Real(list), Val::Real(1), Val::Str("x")}));
  Call("ds_map_add_list", Args({Val::Real(map), Val::Str("items"), Val::Real(list)}));
  EXPECT_EQ(Call("json_encode", Args({Val::Real(map)})).text(), "{ \"items\": [ 1.0, \"x\" ] }");

  // Non-string keys print through the value text; a map that holds itself prints null inside.
  const double keys = Call("ds_map_create", Args({Val::Real(1)}))->val;
  Call("ds_map_set", Args({Val::Real(keys), Val::Real(2), Val::Real(1.5)}));
  Call("ds_map_add_map", Args({Val::Real(keys), Val::Str("self"), Val::Real(keys)}));
  EXPECT_EQ(Call("json_encode", Args({Val::Real(keys)})).text(), "{ \"2\": 1.5, \"self\": null }");

  EXPECT_EQ(Call("json_encode", Args({Val::Real(99)})).text(), "");
  EXPECT_EQ(Call("json_encode", Args({Val::Real(-1)})).text(), "");
}

TEST_F(JsonDecodeTest, DecodeThenEncodeIsStable) {
  const char* text = "{ \"a\": [ 1.0, { \"b\": \"c\" }, [ ] ] }";
  const double map = Decode(Val::Str(text));
  EXPECT_EQ(Call("json_encode", Args({Val::Real(map)})).text(), text);
}

}  // namespace
}  // namespace value_test

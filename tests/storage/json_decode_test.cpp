// json_decode and json_encode: the wrapping steps, maps and lists made from trees with their
// marks, nulls in maps and lists, numbers given as values, encoding with nesting and cycles.
#include <string>
#include <vector>

#include "ds_test_fixture.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"

namespace value_test {
namespace {

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

// ds_map: key identity and hashing, add/set/replace, iteration order, arrays of keys and values,
// nesting marks with their destruction, ids, errors and the serial form.
#include <algorithm>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/crc32.h"
#include "ds_test_fixture.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"

namespace value_test {
namespace {

class DsMapTest : public DsBuiltinsTest {
 protected:
  double NewMap() { return Call("ds_map_create")->val; }
  double NewList() { return Call("ds_list_create")->val; }
};

TEST_F(DsMapTest, KeysMatchByHashThenComparison) {
  struct Row {
    Val a;
    Val b;
    bool same;
  };
  const Row rows[] = {
      {Val::Real(1), Val::Int32(1), true},          // both hash the double 1.0
      {Val::Real(1), Val::Int64(1), true},
      {Val::Real(1), Val::Bool(true), true},
      {Val::Real(1), Val::Str("1"), false},         // different hashes
      {Val::Real(1), Val::Real(1.000000001), false},  // equal under the precision, hashes differ
      {Val::Str("abc"), Val::Str("abc"), true},
      {Val::Str(""), Val::NullText(), true},
      {Val::Undefined(), Val::Undefined(), true},
      {Val::Real(0.0), Val::Real(-0.0), false},     // the bytes of the doubles differ
  };
  for (const Row& row : rows) {
    const double map = NewMap();
    Call("ds_map_set", Args({Val::Real(map), row.a, Val::Str("first")}));
    Call("ds_map_set", Args({Val::Real(map), row.b, Val::Str("second")}));
    EXPECT_EQ(Call("ds_map_size", Args({Val::Real(map)}))->val, row.same ? 1.0 : 2.0) << row.a.text() << " vs " << row.b.text();
  }
}

TEST_F(DsMapTest, HashIsRawCrcOfTheKeyBytes) {
  uint32_t hash = 0;
  ASSERT_TRUE(CDS_Map::key_hash(*Val::Str("abc"), &hash));
  EXPECT_EQ(hash, ~Crc32("abc", 3));
  ASSERT_TRUE(CDS_Map::key_hash(*Val::Str(""), &hash));
  EXPECT_EQ(hash, 0xFFFFFFFFu);
  ASSERT_TRUE(CDS_Map::key_hash(*Val::Undefined(), &hash));
  EXPECT_EQ(hash, 0u);
  const double two = 2.0;
  ASSERT_TRUE(CDS_Map::key_hash(*Val::Int32(2), &hash));
  EXPECT_EQ(hash, ~Crc32(&two, sizeof two));
}

TEST_F(DsMapTest, IllegalKeyKindsRaise) {
  const double map = NewMap();
  for (uint32_t kind : {uint32_t{kRVVec3}, uint32_t{kRVAccessor}, uint32_t{kRVNull}, uint32_t{kRVIterator}}) {
    EXPECT_EQ(Raised("ds_map_set", {Val::Real(map), Val::Kind(kind), Val::Real(1)}), "Illegal key type for ds_map");
  }
}

TEST_F(DsMapTest, AddKeepsSetOverwritesAndPrePostGiveOldAndNew) {
  const double map = NewMap();
  EXPECT_EQ(Call("ds_map_add", Args({Val::Real(map), Val::Str("k"), Val::Real(1)}))->val, 1.0);
  EXPECT_EQ(Call("ds_map_add", Args({Val::Real(map), Val::Str("k"), Val::Real(2)}))->val, 0.0);
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(map), Val::Str("k")}))->val, 1.0);
  EXPECT_EQ(Call("ds_map_set_pre", Args({Val::Real(map), Val::Str("k"), Val::Real(3)}))->val, 1.0);
  EXPECT_EQ(Call("ds_map_set_post", Args({Val::Real(map), Val::Str("k"), Val::Real(4)}))->val, 4.0);
  EXPECT_EQ(Call("ds_map_set_pre", Args({Val::Real(map), Val::Str("new"), Val::Real(5)})).kind(), kRVUndefined);
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(map), Val::Str("absent")})).kind(), kRVUndefined);
  EXPECT_EQ(Call("ds_map_exists", Args({Val::Real(map), Val::Str("k")})).kind(), kRVBool);
  Call("ds_map_delete", Args({Val::Real(map), Val::Str("k")}));
  EXPECT_EQ(Call("ds_map_exists", Args({Val::Real(map), Val::Str("k")}))->val, 0.0);
  EXPECT_EQ(Call("ds_map_size", Args({Val::Real(map)}))->val, 1.0);
}

// The order every walk shares: buckets ascending, each chain in insertion order.
TEST_F(DsMapTest, IterationFollowsBucketsThenChains) {
  const double map = NewMap();
  std::vector<std::pair<uint32_t, int>> expected;  // (bucket, key)
  for (int key = 0; key < 600; ++key) {
    Call("ds_map_set", Args({Val::Real(map), Val::Real(key), Val::Real(key * 10)}));
    uint32_t hash = 0;
    CDS_Map::key_hash(*Val::Real(key), &hash);
    expected.emplace_back(hash & 255u, key);
  }
  std::stable_sort(expected.begin(), expected.end(), [](auto& a, auto& b) { return a.first < b.first; });

  std::vector<int> forward;
  for (Val key = Call("ds_map_find_first", Args({Val::Real(map)})); key.kind() != kRVUndefined;
       key = Call("ds_map_find_next", Args({Val::Real(map), key}))) {
    forward.push_back(static_cast<int>(key->val));
  }
  std::vector<int> backward;
  for (Val key = Call("ds_map_find_last", Args({Val::Real(map)})); key.kind() != kRVUndefined;
       key = Call("ds_map_find_previous", Args({Val::Real(map), key}))) {
    backward.insert(backward.begin(), static_cast<int>(key->val));
  }
  ASSERT_EQ(forward.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(forward[i], expected[i].second) << i;
  EXPECT_EQ(backward, forward);

  Val values = Call("ds_map_values_to_array", Args({Val::Real(map)}));
  ASSERT_NE(values.array(), nullptr);
  ASSERT_EQ(values.array()->length, 600);
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(values.array()->pArray[i].val, expected[i].second * 10.0);
}

TEST_F(DsMapTest, FindNextOfADeletedKeyIsUndefined) {
  const double map = NewMap();
  for (const char* key : {"a", "b", "c"}) Call("ds_map_set", Args({Val::Real(map), Val::Str(key), Val::Real(1)}));
  const Val first = Call("ds_map_find_first", Args({Val::Real(map)}));
  Call("ds_map_delete", Args({Val::Real(map), first}));
  EXPECT_EQ(Call("ds_map_find_next", Args({Val::Real(map), first})).kind(), kRVUndefined);
  EXPECT_EQ(Call("ds_map_find_first", Args({Val::Real(NewMap())})).kind(), kRVUndefined);
}

TEST_F(DsMapTest, KeysToArrayAppendsOrMakesAndChecksItsArgument) {
  const double map = NewMap();
  EXPECT_EQ(Call("ds_map_keys_to_array", Args({Val::Real(map)})).kind(), kRVUndefined);
  Call("ds_map_set", Args({Val::Real(map), Val::Str("only"), Val::Real(7)}));
  std::vector<Val> args = Args({Val::Real(map), Val::Array({Val::Real(1)})});
  const Val appended = Call("ds_map_keys_to_array", args);
  ASSERT_NE(args[1].array(), nullptr);
  EXPECT_EQ(args[1].text(), "[ 1,\"only\" ]");
  EXPECT_EQ(appended.array(), args[1].array());
  EXPECT_EQ(Raised("ds_map_keys_to_array", {Val::Real(map), Val::Str("x")}), "expected array got string\n");
}

TEST_F(DsMapTest, BucketCountIsTakenRoundedAndKeptByCopy) {
  const double small = Call("ds_map_create", Args({Val::Real(1)}))->val;
  const double odd = Call("ds_map_create", Args({Val::Real(100)}))->val;
  EXPECT_EQ(DS_Find<CDS_Map>(static_cast<int64_t>(small))->bucket_count(), 1);
  EXPECT_EQ(DS_Find<CDS_Map>(static_cast<int64_t>(odd))->bucket_count(), 128);
  // One bucket: iteration is insertion order.
  for (int key : {5, 3, 9}) Call("ds_map_set", Args({Val::Real(small), Val::Real(key), Val::Real(key)}));
  EXPECT_EQ(Call("ds_map_keys_to_array", Args({Val::Real(small)})).text(), "[ 5,3,9 ]");
  Call("ds_map_copy", Args({Val::Real(odd), Val::Real(small)}));
  EXPECT_EQ(DS_Find<CDS_Map>(static_cast<int64_t>(odd))->bucket_count(), 128);
  EXPECT_EQ(Call("ds_map_size", Args({Val::Real(odd)}))->val, 3.0);

  // Counts below 1 take the default and huge ones the largest table; none may hang the call.
  const struct {
    double asked;
    int32_t buckets;
  } rows[] = {{0, 256}, {-1, 256}, {-2147483648.0, 256}, {2147483647.0, CDS_Map::kMaxBuckets}};
  for (const auto& row : rows) {
    const double id = Call("ds_map_create", Args({Val::Real(row.asked)}))->val;
    EXPECT_EQ(DS_Find<CDS_Map>(static_cast<int64_t>(id))->bucket_count(), row.buckets) << row.asked;
    Call("ds_map_destroy", Args({Val::Real(id)}));
  }
}

TEST_F(DsMapTest, NestedMarksAreReportedAndClearedOnTheWayOut) {
  const double map = NewMap();
  const double inner = NewMap();
  const double list = NewList();
  Call("ds_map_add_map", Args({Val::Real(map), Val::Str("m"), Val::Real(inner)}));
  Call("ds_map_add_list", Args({Val::Real(map), Val::Str("l"), Val::Real(list)}));
  Call("ds_map_set", Args({Val::Real(map), Val::Str("plain"), Val::Real(inner)}));
  EXPECT_EQ(Call("ds_map_is_map", Args({Val::Real(map), Val::Str("m")}))->val, 1.0);
  EXPECT_EQ(Call("ds_map_is_list", Args({Val::Real(map), Val::Str("m")}))->val, 0.0);
  EXPECT_EQ(Call("ds_map_is_list", Args({Val::Real(map), Val::Str("l")}))->val, 1.0);
  EXPECT_EQ(Call("ds_map_is_map", Args({Val::Real(map), Val::Str("plain")}))->val, 0.0);
  EXPECT_EQ(Call("ds_map_is_map", Args({Val::Real(map), Val::Str("absent")})).kind(), kRVUndefined);
  const Val found = Call("ds_map_find_value", Args({Val::Real(map), Val::Str("m")}));
  EXPECT_EQ(found->kind, static_cast<uint32_t>(kRVReal));
  EXPECT_EQ(found->val, inner);
  // replace takes the mark away.
  Call("ds_map_replace", Args({Val::Real(map), Val::Str("m"), Val::Real(inner)}));
  EXPECT_EQ(Call("ds_map_is_map", Args({Val::Real(map), Val::Str("m")}))->val, 0.0);
}

TEST_F(DsMapTest, NestedAddsCheckTheirValue) {
  const double map = NewMap();
  const double list = NewList();
  const struct {
    const char* name;
    Val value;
    const char* message;
  } rows[] = {
      {"ds_map_add_list", Val::Real(99), "Invalid list index for value"},
      {"ds_map_add_list", Val::Str("0"), "Invalid list index for value"},
      {"ds_map_add_map", Val::Real(list + 5), "Invalid map index for value"},
      {"ds_map_replace_map", Val::Real(map), "Unable to use same map for replace"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Raised(row.name, {Val::Real(map), Val::Str("k"), row.value}), row.message)
        << row.name;
  }
}

TEST_F(DsMapTest, DestroyAndClearTakeMarkedStructuresAlongEvenInCycles) {
  const double outer = NewMap();
  const double inner = NewMap();
  const double list = NewList();
  const double loose = NewList();
  Call("ds_map_add_map", Args({Val::Real(outer), Val::Str("inner"), Val::Real(inner)}));
  Call("ds_map_add_map", Args({Val::Real(inner), Val::Str("back"), Val::Real(outer)}));  // a cycle
  Call("ds_map_add_list", Args({Val::Real(inner), Val::Str("list"), Val::Real(list)}));
  Call("ds_map_set", Args({Val::Real(inner), Val::Str("unmarked"), Val::Real(loose)}));
  Call("ds_map_destroy", Args({Val::Real(outer)}));
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(outer), Val::Real(1)}))->val, 0.0);
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(inner), Val::Real(1)}))->val, 0.0);
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(list), Val::Real(2)}))->val, 0.0);
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(loose), Val::Real(2)}))->val, 1.0);

  // clear of a map that marks itself keeps the map.
  const double self = NewMap();
  const double child = NewList();
  Call("ds_map_add_map", Args({Val::Real(self), Val::Str("me"), Val::Real(self)}));
  Call("ds_map_add_list", Args({Val::Real(self), Val::Str("c"), Val::Real(child)}));
  Call("ds_map_clear", Args({Val::Real(self)}));
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(self), Val::Real(1)}))->val, 1.0);
  EXPECT_EQ(Call("ds_map_size", Args({Val::Real(self)}))->val, 0.0);
  EXPECT_EQ(Call("ds_exists", Args({Val::Real(child), Val::Real(2)}))->val, 0.0);
}

TEST_F(DsMapTest, LowestFreeIdIsReusedAndBadIdsRaise) {
  const double a = NewMap();
  const double b = NewMap();
  const double c = NewMap();
  EXPECT_EQ(a + 1, b);
  Call("ds_map_destroy", Args({Val::Real(b)}));
  Call("ds_map_destroy", Args({Val::Real(a)}));
  EXPECT_EQ(NewMap(), a);
  EXPECT_EQ(NewMap(), b);
  EXPECT_EQ(NewMap(), c + 1);
  Call("ds_map_destroy", Args({Val::Real(b)}));
  for (const double id : {-1.0, b, c + 50}) {
    for (const char* name : {"ds_map_size", "ds_map_destroy", "ds_map_find_first", "ds_map_write"}) {
      EXPECT_EQ(Raised(name, {Val::Real(id)}), "Data structure with index does not exist.")
          << name << " " << id;
    }
  }
}

TEST_F(DsMapTest, SecureBuiltinsRaise) {
  EXPECT_EQ(Raised("ds_map_secure_save", {Val::Real(NewMap()), Val::Str("f")}),
            "ds_map_secure_save: not available on this platform");
}

TEST_F(DsMapTest, WriteGivesTheExactStreamAndReadRestoresIt) {
  const double map = NewMap();
  Call("ds_map_set", Args({Val::Real(map), Val::Str("a"), Val::Real(1)}));
  const std::string text = Call("ds_map_write", Args({Val::Real(map)})).text();
  // version 403, count 1, key: string "a", value: real 1.0
  EXPECT_EQ(text, "9301000001000000" "010000000100000061" "00000000000000000000F03F");

  Call("ds_map_set", Args({Val::Real(map), Val::Int64(-5), Val::Array({Val::Int32(7), Val::Undefined()})}));
  Call("ds_map_set", Args({Val::Real(map), Val::Str("b"), Val::Bool(true)}));
  const Val written = Call("ds_map_write", Args({Val::Real(map)}));
  const double copy = NewMap();
  Call("ds_map_read", Args({Val::Real(copy), written}));
  EXPECT_EQ(Call("ds_map_write", Args({Val::Real(copy)})).text(), written.text());
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(copy), Val::Int64(-5)})).text(), "[ 7,undefined ]");
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(copy), Val::Str("b")})).kind(), kRVBool);

  // Lower-case digits are read too; text that isn't hex leaves the map empty.
  Call("ds_map_read", Args({Val::Real(copy), Val::Str("9301000001000000" "010000000100000061" "00000000" "000000000000f03f")}));
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(copy), Val::Str("a")}))->val, 1.0);
  for (const char* bad : {"93010000zz", "930", "9301000005000000", "63000000"}) {
    Call("ds_map_read", Args({Val::Real(copy), Val::Str(bad)}));
    EXPECT_EQ(Call("ds_map_size", Args({Val::Real(copy)}))->val, 0.0) << bad;
  }
}

TEST_F(DsMapTest, OlderVersionsAndTheLegacyFlagReadTheOlderValueLayout) {
  // version 402, one record: key kind 1 "k", value kind 0 real 2.0
  const char* older = "9201000001000000" "01000000010000006B" "000000000000000000000040";
  const double map = NewMap();
  Call("ds_map_read", Args({Val::Real(map), Val::Str(older)}));
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(map), Val::Str("k")}))->val, 2.0);
  // Current version with the legacy flag: any kind but 0 is a string.
  const char* flagged = "9301000001000000" "05000000010000006B" "000000000000000000000040";
  Call("ds_map_read", Args({Val::Real(map), Val::Str(flagged), Val::Bool(true)}));
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(map), Val::Str("k")}))->val, 2.0);
}

TEST_F(DsMapTest, UnsupportedKindsWriteOnlyTheirKindWord) {
  KVObjectBase* object = Object_NewStruct();
  const double map = NewMap();
  Call("ds_map_set", Args({Val::Real(map), Val::Str("s"), Val::Object(object)}));
  ConsoleCapture capture;
  const std::string text = Call("ds_map_write", Args({Val::Real(map)})).text();
  EXPECT_EQ(capture.text(), "Attempting to WriteValue for unsupported type 6\n");
  EXPECT_EQ(text.substr(text.size() - 8), "06000000");
  capture.clear();
  Call("ds_map_read", Args({Val::Real(map), Val::Str(text.c_str())}));
  EXPECT_EQ(capture.text(), "Attempting to ReadValue for unsupported type 6\n");
  EXPECT_EQ(Call("ds_map_find_value", Args({Val::Real(map), Val::Str("s")})).kind(), kRVUndefined);
}

TEST_F(DsMapTest, AccessorEntriesReadAndWrite) {
  const double map = NewMap();
  DS_MapAccessWrite(*Val::Real(map), *Val::Str("k"), *Val::Str("v"));
  Val out;
  DS_MapAccessRead(out.get(), *Val::Real(map), *Val::Str("k"));
  EXPECT_EQ(out.text(), "v");
  DS_MapAccessRead(out.get(), *Val::Real(map), *Val::Str("none"));
  EXPECT_EQ(out.kind(), kRVUndefined);
}

}  // namespace
}  // namespace value_test

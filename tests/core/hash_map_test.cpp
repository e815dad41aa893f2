// CHashMap and the hash functions: known hash values, robin-hood order under churn checked against
// std::unordered_map, keys that all collide, growth at the threshold, table-order iteration and
// the delete function's calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/hash_functions.h"
#include "core/hash_map.h"

// A key whose hash the test chooses, so that every key can land on one home position.
struct CollidingKey {
  int32_t id;
};
template <>
struct CHashMapKey<CollidingKey> {
  static uint32_t Hash(CollidingKey) { return 0x1234; }
  static bool Equal(CollidingKey a, CollidingKey b) { return a.id == b.id; }
};

namespace {

TEST(HashFunctionsTest, KnownValues) {
  EXPECT_EQ(Hash_Int32(0), 1u);
  EXPECT_EQ(Hash_Int32(1), 0x1E3779B2u);
  EXPECT_EQ(Hash_Int32(-1), (0u - 0x9E3779B1u + 1u) & 0x7FFFFFFFu);
  EXPECT_EQ(Hash_Address(reinterpret_cast<const void*>(0x1000)), 0x40u * 7u + 1u);
  // MurmurHash3 x86 32 reference values.
  const struct {
    const char* text;
    size_t length;
    uint32_t seed;
    uint32_t hash;
  } murmur[] = {{"", 0, 0, 0},           {"", 0, 1, 0x514E28B7},        {"", 0, 0xFFFFFFFF, 0x81F16F39},
                {"\0\0\0\0", 4, 0, 0x2362F9DE}, {"aaaa", 4, 0x9747B28C, 0x5A97808A}, {"abc", 3, 0, 0xB3DD93FA},
                {"abcd", 4, 0x9747B28C, 0xF0478627}, {"Hello, world!", 13, 0x9747B28C, 0x24884CBA},
                {"The quick brown fox jumps over the lazy dog", 43, 0x9747B28C, 0x2FA826CD}};
  for (const auto& m : murmur) EXPECT_EQ(MurmurHash3_x86_32(m.text, m.length, m.seed), m.hash) << m.text;
  EXPECT_EQ(Hash_String("abc"), 0xB3DD93FAu & 0x7FFFFFFFu);
  EXPECT_EQ(Hash_String(nullptr), Hash_String(""));
}

// -244002641 hashes to 0, the mark of an empty entry: it is stored under a substitute.
TEST(HashMapTest, KeyWhoseHashIsZeroIsStoredAndFound) {
  CHashMap<int32_t, int32_t> map(8);
  map.Insert(-244002641, 11);
  map.Insert(0, 22);
  ASSERT_NE(map.Find(-244002641), nullptr);
  EXPECT_EQ(*map.Find(-244002641), 11);
  EXPECT_TRUE(map.Delete(-244002641));
  EXPECT_FALSE(map.Contains(-244002641));
  EXPECT_EQ(*map.Find(0), 22);
}

// Every live entry: its stored hash is its key's, its distance is measured from its own home,
// nothing between home and entry is empty, and no entry is followed by one whose distance
// exceeds its own by more than one.
template <class K, class V>
void expect_robin_hood_order(CHashMap<K, V>& map) {
  const int32_t capacity = map.Capacity();
  const int32_t mask = capacity - 1;
  int32_t position = 0;
  K key;
  V* value;
  int32_t live = 0;
  while (map.Next(&position, &key, &value)) {
    const int32_t at = position - 1;
    ++live;
    const uint32_t hash = CHashMapKey<K>::Hash(key);
    ASSERT_EQ(map.DebugHash(at), hash);
    const int32_t home = static_cast<int32_t>(hash & static_cast<uint32_t>(mask));
    const int32_t distance = (at - home + capacity) & mask;
    ASSERT_EQ(map.DebugDistance(at), distance);
    for (int32_t d = 0; d < distance; ++d) ASSERT_GE(map.DebugDistance((home + d) & mask), 0);
    ASSERT_EQ(map.Find(key), value);
  }
  ASSERT_EQ(live, map.Count());
  for (int32_t at = 0; at < capacity; ++at) {
    const int32_t next = map.DebugDistance((at + 1) & mask);
    const int32_t here = map.DebugDistance(at);
    if (next >= 0) {
      ASSERT_LE(next, here < 0 ? 0 : here + 1) << "at " << at;
    }
  }
}

template <class K, class Make>
void churn_against_reference(Make make_key, int32_t key_range, uint32_t seed) {
  std::mt19937 rng(seed);
  CHashMap<K, int32_t> map;
  std::unordered_map<std::string, int32_t> reference;
  auto name = [](K key) {
    if constexpr (std::is_same_v<K, int32_t>) {
      return std::to_string(key);
    } else {
      return std::string(key);
    }
  };
  for (int op = 0; op < 40000; ++op) {
    const K key = make_key(static_cast<int32_t>(rng() % static_cast<uint32_t>(key_range)));
    const uint32_t roll = rng() % 100;
    if (roll < 55) {
      map.Insert(key, op);
      reference[name(key)] = op;
    } else if (roll < 85) {
      ASSERT_EQ(map.Delete(key), reference.erase(name(key)) == 1);
      expect_robin_hood_order(map);
      if (::testing::Test::HasFatalFailure()) return;
    } else {
      const int32_t* found = map.Find(key);
      const auto it = reference.find(name(key));
      ASSERT_EQ(found != nullptr, it != reference.end());
      if (found != nullptr) {
        ASSERT_EQ(*found, it->second);
      }
    }
    ASSERT_EQ(map.Count(), static_cast<int32_t>(reference.size()));
  }
  map.ForEach([&](const K& key, const int32_t& value) { EXPECT_EQ(reference.at(name(key)), value); });
}

TEST(HashMapTest, IntKeysUnderChurnMatchTheReference) {
  churn_against_reference<int32_t>([](int32_t i) { return i * 7919 - 5000; }, 3000, 12345);
}

TEST(HashMapTest, StringKeysUnderChurnMatchTheReferenceByContent) {
  std::vector<std::string> names;
  for (int i = 0; i < 2500; ++i) names.push_back("name_" + std::to_string(i));
  // Lookups and deletes use copies, so a match has to be by content, not by pointer.
  std::vector<std::string> copies = names;
  uint32_t calls = 0;
  churn_against_reference<const char*>(
      [&](int32_t i) { return (++calls & 1) != 0 ? names[static_cast<size_t>(i)].c_str() : copies[static_cast<size_t>(i)].c_str(); },
      2500, 777);
}

TEST(HashMapTest, AllKeysCollidingStayInDistanceOrderAfterRemovals) {
  CHashMap<CollidingKey, int32_t> map(128);
  const int32_t home = 0x1234 & 127;
  for (int32_t i = 0; i < 60; ++i) map.Insert(CollidingKey{i}, i * 10);
  std::mt19937 rng(99);
  std::vector<int32_t> order(60);
  for (int32_t i = 0; i < 60; ++i) order[static_cast<size_t>(i)] = i;
  std::shuffle(order.begin(), order.end(), rng);
  for (size_t step = 0; step < order.size(); ++step) {
    ASSERT_TRUE(map.Delete(CollidingKey{order[step]}));
    const int32_t left = 60 - static_cast<int32_t>(step) - 1;
    ASSERT_EQ(map.Count(), left);
    // The run is packed at the home position with distances 0, 1, 2, ...
    for (int32_t d = 0; d < left; ++d) ASSERT_EQ(map.DebugDistance((home + d) & 127), d);
    ASSERT_EQ(map.DebugDistance((home + left) & 127), -1);
    for (size_t later = step + 1; later < order.size(); ++later) {
      const int32_t* value = map.Find(CollidingKey{order[later]});
      ASSERT_NE(value, nullptr);
      ASSERT_EQ(*value, order[later] * 10);
    }
    ASSERT_FALSE(map.Contains(CollidingKey{order[step]}));
  }
}

TEST(HashMapTest, CapacityRoundsUpAndGrowsOnlyAboveTheThreshold) {
  const struct {
    int32_t asked;
    int32_t capacity;
    int32_t threshold;
  } cases[] = {{8, 8, 4}, {5, 8, 4}, {16, 16, 9}, {100, 128, 76}, {128, 128, 76}, {1, 1, 0}};
  for (const auto& c : cases) {
    CHashMap<int32_t, int32_t> map(c.asked);
    EXPECT_EQ(map.Capacity(), c.capacity);
    EXPECT_EQ(map.GrowThreshold(), c.threshold);
    // An insert made while count is at the threshold still fits; the next one doubles first.
    for (int32_t i = 0; i <= c.threshold; ++i) map.Insert(i, i);
    EXPECT_EQ(map.Capacity(), c.capacity) << c.asked;
    map.Insert(c.threshold + 1, 0);
    EXPECT_EQ(map.Capacity(), c.capacity * 2) << c.asked;
    for (int32_t i = 0; i <= c.threshold + 1; ++i) EXPECT_TRUE(map.Contains(i));
    expect_robin_hood_order(map);
  }
}

TEST(HashMapTest, IterationIsInTableOrder) {
  CHashMap<const void*, int32_t> map(64);
  static char objects[30 * 64];
  for (int32_t i = 0; i < 30; ++i) map.Insert(&objects[i * 64], i);
  std::vector<int32_t> occupied;
  for (int32_t at = 0; at < map.Capacity(); ++at) {
    if (map.DebugHash(at) != 0) occupied.push_back(at);
  }
  std::vector<int32_t> by_next;
  int32_t position = 0;
  const void* key;
  int32_t* value;
  while (map.Next(&position, &key, &value)) by_next.push_back(position - 1);
  EXPECT_EQ(by_next, occupied);
  std::vector<int32_t> by_for_each;
  map.ForEach([&](const void* const&, const int32_t& v) { by_for_each.push_back(v); });
  EXPECT_EQ(by_for_each.size(), occupied.size());
}

struct DeleteLog {
  static std::vector<std::pair<int32_t, int32_t>> calls;
  static void Record(int32_t* key, int32_t* value) { calls.emplace_back(*key, *value); }
};
std::vector<std::pair<int32_t, int32_t>> DeleteLog::calls;

TEST(HashMapTest, DeleteFunctionSeesEveryEntryThatLeaves) {
  static_assert(sizeof(CHashMap<int32_t, void*>::Entry) == 16);
  static_assert(sizeof(CHashMap<const char*, void*>::Entry) == 24);
  DeleteLog::calls.clear();
  {
    CHashMap<int32_t, int32_t> map(8, DeleteLog::Record);
    for (int32_t key : {1, 2, 3}) map.Insert(key, key * 10);
    map.Insert(2, 21);  // replaces: the old value goes to the delete function, count stays
    map.Insert(2, 21);  // the very same entry again: nothing to delete
    EXPECT_EQ(map.Count(), 3);
    EXPECT_EQ(*map.Find(2), 21);
    EXPECT_TRUE(map.Delete(1));
    EXPECT_FALSE(map.Delete(1));
    EXPECT_EQ(DeleteLog::calls, (std::vector<std::pair<int32_t, int32_t>>{{2, 20}, {1, 10}}));
    map.Clear();
    EXPECT_EQ(map.Count(), 0);
    EXPECT_EQ(map.Find(3), nullptr);
    map.Insert(7, 70);
  }
  ASSERT_EQ(DeleteLog::calls.size(), 5u);  // Clear gave two, the destructor the last one
  EXPECT_EQ(DeleteLog::calls.back(), std::make_pair(7, 70));
}

}  // namespace

// The shared containers: CHash chains in tail order, cArray's stable indices with null holes and
// its owning forms, SLinkedList, the pointer List, and TStringList's text and width rule.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "core/carray.h"
#include "core/chained_hash.h"
#include "core/linked_list.h"
#include "core/memory.h"
#include "core/pointer_list.h"
#include "core/string_list.h"

namespace {

template <class T>
std::vector<int32_t> chain_keys(const CHash<T>& table, int32_t bucket, bool backwards = false) {
  std::vector<int32_t> keys;
  const auto* b = table.BucketAt(bucket);
  for (auto* node = backwards ? b->tail : b->head; node != nullptr; node = backwards ? node->previous : node->next) {
    keys.insert(backwards ? keys.begin() : keys.end(), node->key);
  }
  return keys;
}

TEST(ChainedHashTest, NewNodesGoToTheTailAndLookupsStartAtTheHead) {
  CHash<int32_t> table(3);  // rounded up to 4 buckets
  EXPECT_EQ(table.BucketCount(), 4);
  for (int32_t key : {1, 5, 9, 2, 5, -3}) table.Insert(key, key * 100);
  EXPECT_EQ(chain_keys(table, 1), (std::vector<int32_t>{1, 5, 9, 5, -3}));  // -3 & 3 is 1
  // Equal keys: the older node is found first, FindNext walks on to the newer.
  auto* first = table.FindNode(5);
  first->value = 501;
  EXPECT_EQ(table.FindNext(first)->value, 500);
  EXPECT_EQ(table.FindNext(table.FindNext(first)), nullptr);
  EXPECT_EQ(table.Find(7), nullptr);
  // Removing head, middle and tail keeps both directions of the chain linked.
  for (int32_t key : {1, 9, -3}) EXPECT_TRUE(table.Delete(key));
  EXPECT_FALSE(table.Delete(9));
  EXPECT_EQ(chain_keys(table, 1), (std::vector<int32_t>{5, 5}));
  EXPECT_EQ(chain_keys(table, 1, true), (std::vector<int32_t>{5, 5}));
  EXPECT_EQ(table.Count(), 3);
}

TEST(ChainedHashTest, WalkVisitsBucketsInOrderAndClearFreesTheNodes) {
  MemoryManager::Start();
  void* probe = KV_ALLOC(sizeof(CHash<int32_t>::Node));
  CBucketBase* nodes = MemoryManager::FindBucket(probe);
  KV_FREE(probe);
  const int64_t used = nodes->used_count();
  CHash<int32_t> table(512);
  for (int32_t id = 3000; id >= 1000; --id) table.Insert(id, id);
  std::vector<int32_t> walked;
  table.ForEach([&](int32_t key, int32_t&) { walked.push_back(key); });
  ASSERT_EQ(walked.size(), 2001u);
  for (size_t i = 1; i < walked.size(); ++i) ASSERT_LE(walked[i - 1] & 511, walked[i] & 511);
  EXPECT_EQ(walked[0], 2560);  // bucket 0 starts with the first id inserted there
  table.Clear();
  EXPECT_EQ(table.First(), nullptr);
  EXPECT_EQ(nodes->used_count(), used);
}

int g_destroyed = 0;
struct Tracked {
  explicit Tracked(int v) : value(v) {}
  ~Tracked() { ++g_destroyed; }
  int value;
};

TEST(CArrayTest, DeletedElementsLeaveNullHolesAndIndicesStayPut) {
  g_destroyed = 0;
  {
    cOwningArrayDelete<Tracked*> assets;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(assets.Add(KV_NEW(Tracked, i)), i);
    EXPECT_TRUE(assets.DeleteElement(2));
    EXPECT_TRUE(assets.DeleteElement(2));  // deleting a hole again is harmless
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(assets.length, 5);
    EXPECT_EQ(assets.Get(2), nullptr);
    for (int i : {0, 1, 3, 4}) EXPECT_EQ(assets[i]->value, i);
    EXPECT_EQ(assets.Put(KV_NEW(Tracked, 22)), 2);  // the lowest hole is reused first
    EXPECT_EQ(assets.Put(KV_NEW(Tracked, 55)), 5);
    EXPECT_TRUE(assets.SetLength(4));  // shrinking deletes what falls off
    EXPECT_EQ(g_destroyed, 3);
    EXPECT_TRUE(assets.SetLength(9));  // growing adds nulls
    for (int i = 4; i < 9; ++i) EXPECT_EQ(assets.Get(i), nullptr);
  }
  EXPECT_EQ(g_destroyed, 7);  // the destructor deleted the four that were left
}

TEST(CArrayTest, DeleteElementRefusesIndicesOutsideAndMissingData) {
  cArray<char*> plain;
  const struct {
    int64_t length, index;
    bool deleted;
  } cases[] = {{0, 0, false}, {3, -1, false}, {3, 3, false}, {3, 2, true}, {3, 0, true}};
  for (const auto& c : cases) {
    ASSERT_TRUE(plain.SetLength(c.length));
    EXPECT_EQ(plain.DeleteElement(c.index), c.deleted) << c.length << "/" << c.index;
  }
  EXPECT_FALSE(plain.SetLength(-1));
  EXPECT_FALSE(plain.Set(7, nullptr));
}

TEST(CArrayTest, OwningFreeArrayFreesItsBlocks) {
  MemoryManager::Start();
  for (size_t size : {8, 16, 32, 64}) KV_FREE(KV_ALLOC(size));  // the array's storage needs no new page
  const MemoryStats base = MemoryManager::Stats();
  {
    cOwningArrayFree<char*> names;
    for (int i = 0; i < 6; ++i) names.Add(static_cast<char*>(KV_CALLOC(1000)));  // heap-sized blocks
    EXPECT_EQ(MemoryManager::Stats().heap_blocks, base.heap_blocks + 6);
    EXPECT_TRUE(names.DeleteElement(0));
    EXPECT_EQ(MemoryManager::Stats().heap_blocks, base.heap_blocks + 5);
  }
  EXPECT_EQ(MemoryManager::Stats().heap_blocks, base.heap_blocks);
}

TEST(LinkedListTest, TailOrderRemovalsAndCount) {
  int values[4] = {1, 2, 3, 4};
  SLinkedList<int*> list;
  for (int& v : values) list.Add(&v);
  EXPECT_EQ(list.last->value, &values[3]);
  for (int i : {0, 2, 3}) EXPECT_TRUE(list.RemoveValue(&values[i]));  // head, middle, tail
  EXPECT_FALSE(list.RemoveValue(&values[3]));
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(list.first, list.last);
  EXPECT_EQ(list.first->previous, nullptr);
  EXPECT_EQ(list.first->next, nullptr);
  EXPECT_EQ(*list.first->value, 2);  // values are not owned
  list.Add(&values[0]);
  EXPECT_EQ(list.last->previous, list.first);
  list.Clear();
  EXPECT_EQ(list.first, nullptr);
}

TEST(PointerListTest, StartsWithRoomFor32AndDoubles) {
  static_assert(sizeof(List<int>) == 16);
  List<int> list;
  int items[70];
  const struct {
    int count, capacity;
  } steps[] = {{0, 32}, {32, 32}, {33, 64}, {65, 128}};
  for (const auto& step : steps) {
    while (list.Count() < step.count) list.Add(&items[list.Count()]);
    EXPECT_EQ(list.Capacity(), step.capacity) << step.count;
  }
  list.RemoveAt(0);
  EXPECT_TRUE(list.Remove(&items[10]));
  EXPECT_FALSE(list.Contains(&items[10]));
  EXPECT_EQ(list[9], &items[11]);  // order kept
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.Capacity(), 128);
}

TEST(StringListTest, NegativeWidthMeansNoWrapping) {
  const struct {
    int32_t width, limit;
    bool wraps;
  } cases[] = {{-1, 10000000, false}, {-200, 10000000, false}, {0, 0, true}, {150, 150, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(TStringList::WidthLimit(c.width), c.limit) << c.width;
    EXPECT_EQ(TStringList::Wraps(c.width), c.wraps) << c.width;
  }
}

TEST(StringListTest, DecodesTextAndCutsLinesInPlace) {
  TStringList list;
  // a, e acute (2 bytes), euro sign (3 bytes), an emoji (4 bytes), newline, b
  ASSERT_EQ(list.SetText("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\nb"), 6);
  const uint32_t expected[] = {'a', 0xE9, 0x20AC, 0x1F600, '\n', 'b', 0};
  EXPECT_EQ(std::memcmp(list.Codes(), expected, sizeof expected), 0);
  list.Codes()[4] = 0;  // the break becomes the end of the first line
  ASSERT_TRUE(list.AddLine(0));
  ASSERT_TRUE(list.AddLine(5));
  EXPECT_FALSE(list.AddLine(7));
  std::vector<std::string> lines;
  for (const TStringList::Node* line = list.First(); line != nullptr; line = line->next) {
    char* text = TStringList::LineToUtf8(line);
    lines.emplace_back(text);
    KV_FREE(text);
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "b"}));
  EXPECT_EQ(list.StartOf(list.First()->next), 5);
  // New text drops the old lines; a sequence cut short by the terminator ends the text.
  EXPECT_EQ(list.SetText("xy\xE2\x82"), 2);
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.SetText(nullptr), 0);
}

}  // namespace

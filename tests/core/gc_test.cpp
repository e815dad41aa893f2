#include <gtest/gtest.h>

#include "core/gc.h"
#include "core/object.h"
#include "core/rvalue.h"

namespace {

int64_t g_fake_now = 0;
int g_clock_reads = 0;
int64_t counting_clock() {
  ++g_clock_reads;
  return g_fake_now;
}

class CollectorTest : public ::testing::Test {
 protected:
  void SetUp() override { GC_Reset(); }
  void TearDown() override { GC_Reset(); }
};

TEST_F(CollectorTest, ArraysNoValueHoldsAreFreedAndParkedUntilIdleTime) {
  RValue kept = RV_Undefined();
  RV_SetArray(&kept, KVCreateArray());
  kept.pArray->refCount = 1;  // RV_SetArray took a second count on the new array
  for (int i = 0; i < 20; ++i) {
    RValue dropped = RV_Undefined();
    dropped.pArray = KVCreateArray();
    dropped.kind = kRVArray;
    RV_FreeToUndefined(&dropped);
  }
  EXPECT_EQ(GC_ObjectCount(), 21u);
  GCStep(-1);
  EXPECT_EQ(GC_ObjectCount(), 1u);

  // The clock is read once at the start and then only after every 8th deletion; the budget is
  // over at the second check, so 16 of the 20 parked arrays go now.
  g_fake_now = 0;
  g_clock_reads = 0;
  static int reads_before_overrun;
  reads_before_overrun = 2;
  const int64_t used = GC_DeleteParked(100, [] {
    const int64_t now = counting_clock();
    return g_clock_reads > reads_before_overrun ? now + 1000 : now;
  });
  EXPECT_GT(used, 100);
  EXPECT_EQ(g_clock_reads, 4);  // start, after 8, after 16 (over), and the time used
  EXPECT_EQ(GC_DeleteParked(1000000, counting_clock), 0);  // the other 4 need no check
  EXPECT_EQ(GC_DeleteParked(1000000, counting_clock), 0);
  RV_FreeToUndefined(&kept);
}

TEST_F(CollectorTest, FreeingAnArrayDropsTheCountsOfArraysInside) {
  RValue outer = RV_Undefined();
  outer.pArray = KVCreateArray();
  outer.kind = kRVArray;
  RValue* slot = RV_ArrayElementForWrite(&outer, 0);
  slot->pArray = KVCreateArray();
  slot->flags = 0;
  slot->kind = kRVArray;
  RV_FreeToUndefined(&outer);
  GCCollectAll();
  EXPECT_EQ(GC_ObjectCount(), 0u);
}

}  // namespace

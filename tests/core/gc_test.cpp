#include <gtest/gtest.h>

#include <vector>

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

// Structs nothing holds: dead at the next pass.
void drop_structs(int count) {
  for (int i = 0; i < count; ++i) CreateObject(0, kRVUndefined, kObjStruct, false);
}

TEST_F(CollectorTest, ArraysNoValueHoldsAreDeletedByTheSweepNotParked) {
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
  for (int32_t kind = 0; kind < kGCParkedKinds; ++kind) EXPECT_EQ(GC_ParkedCount(kind), 0u) << kind;
  RV_FreeToUndefined(&kept);
}

TEST_F(CollectorTest, IdleTimeDeletesParkedStructsCheckingTheClockEveryEighth) {
  drop_structs(20);
  GCStep(-1);
  ASSERT_EQ(GC_ParkedCount(kObjStruct), 20u);
  // The clock is read once at the start and then only after every 8th deletion; the budget is
  // over at the second check, so 16 of the 20 parked structs go now.
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
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 4u);
  EXPECT_EQ(GC_DeleteParked(1000000, counting_clock), 0);  // the other 4 need no check
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 0u);
  EXPECT_EQ(GC_DeleteParked(1000000, counting_clock), 0);
}

// Without idle time the steps themselves give back what is parked beyond what reuse needs, a
// bounded number at a time.
TEST_F(CollectorTest, StepsTrimAParkedListAboveItsKeepInBoundedSlices) {
  drop_structs(1200);
  GCStep(-1);
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 1024u);  // 176 beyond the keep, under one slice
  drop_structs(2000);  // 1024 of them reused from the list
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 0u);
  GCStep(-1);
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 2000u - 256u);
  size_t last = GC_ParkedCount(kObjStruct);
  int steps = 0;
  while (GC_ParkedCount(kObjStruct) > 1024u && steps < 100) {
    GCStep(-1);
    EXPECT_GE(GC_ParkedCount(kObjStruct) + 256u, last);
    last = GC_ParkedCount(kObjStruct);
    ++steps;
  }
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 1024u);
  EXPECT_EQ(steps, 3);  // 720 beyond the keep: two whole slices and a part
  // What is kept is what CreateObject hands out again.
  drop_structs(1);
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 1023u);
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

// On a heap larger than a step's work the frame's step collects within the steps whose budget pays
// for a pass at the measured rate; a forced pass and a step after a burst of allocation collect at
// once.
TEST_F(CollectorTest, LargeHeapsAreCollectedWithinFewStepsAndForcedPassesAtOnce) {
  struct Case {
    const char* name;
    int burst;        // structs made and dropped before the first step
    int mode;         // the step's mode
    int max_steps;    // steps until the dead struct is gone; 0: those the budget pays a pass with
  };
  const Case cases[] = {
      {"frame steps", 0, -1, 0},
      {"forced pass", 0, 0, 1},
      {"burst of garbage", 5000, -1, 1},
  };
  constexpr int kLive = 10000;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    GC_Reset();
    std::vector<KVObjectBase*> live;
    for (int i = 0; i < kLive; ++i) {
      live.push_back(CreateObject(0, kRVUndefined, kObjStruct, false));
      GCAddRoot(live.back());
    }
    KVObjectBase* doomed = CreateObject(0, kRVUndefined, kObjStruct, false);
    GCAddRoot(doomed);
    for (int i = 0; i < 8; ++i) GCStep(-1);  // the heap settles: made objects no longer pace the steps
    CWeakRef* watch = WeakRef_Create(doomed);
    GCAddRoot(watch);
    const size_t before = GC_ObjectCount();
    // The rate moves a little with each pass: one step more than the work of a table.
    const int max_steps = c.max_steps > 0 ? c.max_steps
                                          : static_cast<int>((before + GC_StepWork() - 1) / GC_StepWork()) + 1;
    ASSERT_GT(GC_StepWork(), 0u);
    if (c.max_steps == 0) {
      ASSERT_GT(max_steps, 1) << "the heap must be larger than a step's work";
    }
    GCRemoveRoot(doomed);
    drop_structs(c.burst);
    int steps = 0;
    while (watch->target != nullptr && steps < 100) {
      GCStep(c.mode);
      ++steps;
    }
    EXPECT_LE(steps, max_steps);
    EXPECT_EQ(watch->target, nullptr);
    EXPECT_EQ(GC_ObjectCount(), before - 1u);  // the burst went with it
  }
}

}  // namespace

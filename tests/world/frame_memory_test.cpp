// Memory over many frames that have no idle time: a game written by the writer whose object makes
// and drops an argument array (as a method call through the state-machine library does) and a
// struct in every step, and takes longer than its frame's budget, so the frame driver never waits.
// Whatever the collector frees must be given back by the frames themselves.
#include <gtest/gtest.h>

#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "world/frame_world_test.h"

namespace {

FakeClock* g_clock = nullptr;
RefDynamicArrayOfRValue* g_last_array = nullptr;

void ChurnStep(CInstance*, CInstance*) {
  RValue arguments = RV_Undefined();  // takes the new array's one count
  arguments.pArray = RV_NewArray(3);
  arguments.kind = kRVArray;
  for (int32_t i = 0; i < 3; ++i) {
    const RValue element = RV_Real(i);
    RV_ArrayWrite(&arguments, i, &element);
  }
  g_last_array = arguments.pArray;
  RV_FreeToUndefined(&arguments);
  KVObjectBase* state = Object_NewStruct();
  (void)state;                // held by nothing once the step returns
  g_clock->Advance(40000);  // longer than a 60 fps frame: no wait follows
}

class FrameMemoryTest : public FrameWorldTest {
 protected:
  void SetUp() override {
    MemoryManager::Start();  // as the runner's start does: small blocks come from the buckets
    FrameWorldTest::SetUp();
    g_clock = &clock_;
  }
  void TearDown() override {
    g_clock = nullptr;
    g_last_array = nullptr;
    FrameWorldTest::TearDown();
  }

  struct Figures {
    size_t objects = 0;
    size_t parked = 0;
    int64_t array_items = 0;  // items in use in the bucket the arrays come from
    int64_t waited = 0;
  };
  Figures run(int frames) {
    for (int i = 0; i < frames && Run_Running; ++i) Frame_Drive();
    Figures figures;
    figures.objects = GC_ObjectCount();
    for (int32_t kind = 0; kind < kGCParkedKinds; ++kind) figures.parked += GC_ParkedCount(kind);
    const CBucketBase* bucket = MemoryManager::FindBucket(g_last_array);
    figures.array_items = bucket != nullptr ? bucket->used_count() : 0;
    figures.waited = clock_.slept();
    return figures;
  }
};

TEST_F(FrameMemoryTest, FramesWithoutIdleTimeGiveBackWhatTheCollectorFrees) {
  ASSERT_TRUE(load_objects({ObjectDef("obj_churn", -1, {{3, 0, code("churn_step", ChurnStep)}})}));
  make(0);
  Run_Running = true;
  Run_FrameStart = Timing_Time();
  Run_SecondStart = Run_FrameStart;
  const Figures early = run(200);
  const Figures late = run(3000);
  ASSERT_NE(g_last_array, nullptr);
  ASSERT_GT(early.array_items, 0) << "the arrays come from a bucket";
  EXPECT_EQ(late.waited, early.waited) << "no frame after the first has idle time";
  // Each step leaves one array and one struct for the frame's pass: the table, the parked lists
  // and the memory manager's items hold no more at the end than after the first frames.
  EXPECT_LE(late.objects, early.objects);
  EXPECT_LE(late.parked, early.parked);
  EXPECT_LE(late.parked, 2u);
  EXPECT_LE(late.array_items, early.array_items);
}

}  // namespace

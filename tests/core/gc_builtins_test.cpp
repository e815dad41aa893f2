// The collector's builtins, called by name, with GCStep(-1) standing for the end of a frame as the
// frame driver runs it: switching the collector off and on, gc_collect's pass at the frame's end,
// the frame budget, and the statistics struct.
#include <algorithm>
#include <set>
#include <string>

#include "core/fn_gc.h"
#include "core/variable_names.h"
#include "value_test_support.h"

namespace value_test {
namespace {

class GCBuiltinsTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    GC_Reset();
    GC_RegisterBuiltins();
  }
  void TearDown() override {
    g_GCEnabled = true;
    g_GCTargetTime = 100;
    ValueBuiltinsTest::TearDown();
    GC_Reset();
  }

  static void drop_structs(int count) {
    for (int i = 0; i < count; ++i) CreateObject(0, kRVUndefined, kObjStruct, false);
  }
  static void keep_structs(int count) {
    for (int i = 0; i < count; ++i) GCAddRoot(CreateObject(0, kRVUndefined, kObjStruct, false));
  }
  // The frame's end.
  static void end_frame() { GCStep(-1); }

  // A member of the gc_get_stats struct.
  static RValue member(const Val& stats, const char* name) {
    KVObjectBase* object = RV_ObjectOf(*stats);
    const int32_t slot = Variable_GetSlot(name);
    RValue* value = object != nullptr && slot >= 0 ? object->FindOwnSlot(slot) : nullptr;
    return value != nullptr ? *value : RV_Unset();
  }
  static double number(const Val& stats, const char* name) { return RV_ToDouble(member(stats, name)); }
};

TEST_F(GCBuiltinsTest, StatsStructHasEveryMemberAndNoOther) {
  keep_structs(3);
  end_frame();
  const size_t live = GC_ObjectCount();
  Val stats = Call("gc_get_stats");
  ASSERT_NE(RV_ObjectOf(*stats), nullptr);
  const std::set<std::string> want = {"objects_touched", "objects_collected",    "traversal_time",
                                      "collection_time", "gc_frame",             "generation_collected",
                                      "num_generations", "num_objects_in_generation"};
  std::set<std::string> got;
  for (int32_t slot : Object_OwnSlots(RV_ObjectOf(*stats))) got.insert(Variable_NameOf(slot));
  EXPECT_EQ(got, want);
  EXPECT_EQ(number(stats, "num_generations"), 5);
  const RValue counts = member(stats, "num_objects_in_generation");
  ASSERT_EQ(RV_Kind(counts), kRVArray);
  ASSERT_EQ(counts.pArray->length, 5);
  // Walked before the struct was made: the table as the pass left it, every object of generation 0.
  EXPECT_EQ(RV_ToDouble(counts.pArray->pArray[0]), static_cast<double>(live));
  for (int32_t g = 1; g < 5; ++g) EXPECT_EQ(RV_ToDouble(counts.pArray->pArray[g]), 0) << g;
}

// What the struct reports after each kind of step: a forced pass (generation 3) and a frame's pass
// (generation 0) count what they marked and freed; a step that ran no pass reports zeros for the
// pass's figures but keeps the frame count and the generation of the last pass.
TEST_F(GCBuiltinsTest, StatsCountWhatTheLastPassMarkedAndFreed) {
  struct Case {
    const char* name;
    bool collect;    // gc_collect() before the frame's end
    bool disabled;   // gc_enable(false) before the frame's end
    int dropped;     // structs dropped in the frame
    bool pass;       // a pass finished in the frame's step
    double generation;
  };
  const Case cases[] = {
      {"gc_collect", true, false, 40, true, 3},
      {"frame's pass", false, false, 25, true, 0},
      {"gc_collect while disabled", true, true, 10, true, 3},
      {"disabled frame", false, true, 10, false, 0},
  };
  keep_structs(50);
  end_frame();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Call("gc_enable", {Val::Bool(true)});
    end_frame();  // the structs read in the last case are garbage: clear them out of the count
    const GCStats last = GC_GetStats();
    Call("gc_enable", {Val::Bool(!c.disabled)});
    const size_t before = GC_ObjectCount();
    drop_structs(c.dropped);
    if (c.collect) Call("gc_collect");
    end_frame();
    Val stats = Call("gc_get_stats");
    if (c.pass) {
      EXPECT_EQ(number(stats, "objects_collected"), c.dropped);
      EXPECT_EQ(number(stats, "objects_touched"), static_cast<double>(before));  // every survivor was marked
      EXPECT_EQ(number(stats, "gc_frame"), last.frame + 1);
      EXPECT_EQ(number(stats, "generation_collected"), c.generation);
      EXPECT_GE(number(stats, "traversal_time"), 0);
    } else {
      EXPECT_EQ(number(stats, "objects_collected"), 0);
      EXPECT_EQ(number(stats, "objects_touched"), 0);
      EXPECT_EQ(number(stats, "traversal_time"), 0);
      EXPECT_EQ(number(stats, "gc_frame"), last.frame);
      EXPECT_EQ(number(stats, "generation_collected"), last.generation);
    }
  }
}

TEST_F(GCBuiltinsTest, DisabledCollectorFreesNothingUntilEnabledOrForced) {
  EXPECT_EQ(RV_ToDouble(*Call("gc_is_enabled")), 1);
  Call("gc_enable", {Val::Bool(false)});
  EXPECT_EQ(RV_ToDouble(*Call("gc_is_enabled")), 0);
  drop_structs(30);
  const size_t held = GC_ObjectCount();
  for (int frame = 0; frame < 5; ++frame) {
    drop_structs(10);  // allocation goes on
    end_frame();
  }
  EXPECT_EQ(GC_ObjectCount(), held + 50);
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 0u);
  // gc_collect still runs one pass at the frame's end; the frames after it collect nothing again.
  Call("gc_collect");
  end_frame();
  EXPECT_EQ(GC_ObjectCount(), 0u);
  drop_structs(7);
  end_frame();
  EXPECT_EQ(GC_ObjectCount(), 7u);
  Call("gc_enable", {Val::Real(1)});
  EXPECT_EQ(RV_ToDouble(*Call("gc_is_enabled")), 1);
  end_frame();
  EXPECT_EQ(GC_ObjectCount(), 0u);
}

TEST_F(GCBuiltinsTest, TargetFrameTimeRoundTripsAndClampsAtZero) {
  struct Case {
    Val set;
    int64_t want;
  };
  Case cases[] = {{Val::Real(250), 250}, {Val::Real(0), 0}, {Val::Real(-40), 0}, {Val::Int64(5000000000), 5000000000}};
  EXPECT_EQ(RV_ToInt64(*Call("gc_get_target_frame_time")), 100);
  for (Case& c : cases) {
    Call("gc_target_frame_time", {c.set});
    Val got = Call("gc_get_target_frame_time");
    EXPECT_EQ(got.kind(), kRVInt64);
    EXPECT_EQ(RV_ToInt64(*got), c.want);
  }
}

// The budget paces the frame's passes on a large heap: at 0 only allocation earns work, so a heap
// that allocates nothing isn't collected; at the default the frames whose budget pays for a pass
// at the measured rate do it.
TEST_F(GCBuiltinsTest, ZeroBudgetLeavesPassesToAllocation) {
  keep_structs(20000);
  for (int i = 0; i < 8; ++i) end_frame();
  Call("gc_target_frame_time", {Val::Real(0)});
  drop_structs(1);
  for (int i = 0; i < 20; ++i) end_frame();
  const size_t held = GC_ObjectCount();
  drop_structs(11000);  // 3 objects' work each: more than the table, which now holds them too
  end_frame();
  EXPECT_EQ(GC_ObjectCount(), held - 1) << "the allocation paid for a pass";
  drop_structs(1);
  Call("gc_target_frame_time", {Val::Real(100)});
  ASSERT_GT(GC_StepWork(), 0u);
  const size_t paid_after = (GC_ObjectCount() + GC_StepWork() - 1) / GC_StepWork() + 1;
  size_t frames = 0;
  while (GC_ObjectCount() > held - 1 && frames < paid_after + 20) {
    end_frame();
    ++frames;
  }
  EXPECT_LE(frames, paid_after);
  EXPECT_EQ(GC_ObjectCount(), held - 1);
}

}  // namespace
}  // namespace value_test

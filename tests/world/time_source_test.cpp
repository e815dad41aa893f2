// Time sources through their builtins: tick and expiry order, units, expiry modes, repetitions, the
// state operations, destruction inside callbacks, call_later, callbacks surviving the collector,
// and the messages of every refusal.
#include "world/time_source.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/timing.h"
#include "core/value_test_support.h"
#include "platform/clock.h"
#include "platform/fake/fake_clock.h"

namespace {

using value_test::Val;

constexpr int64_t kFrame = 16667;

// Every callback call, as the numbers it was given; tests may hook code into the call.
std::vector<std::vector<double>> g_calls;
std::function<void()> g_inside;

void F_Record(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  std::vector<double> args;
  for (int i = 0; i < argc; ++i) {
    args.push_back(RV_Kind(argv[i]) == kRVArray ? argv[i].pArray->length : RV_ToDouble(argv[i]));
  }
  g_calls.push_back(args);
  if (g_inside) g_inside();
  *result = RV_Real(1);
}

class TimeSourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    Function_Clear();
    TimeSource_RegisterBuiltins();
    Function_Add("test_record", F_Record, -1, 0);
    Function_Find("test_record", &record_);
    Object_CreateGlobal(0);
    g_calls.clear();
    g_inside = nullptr;
  }
  void TearDown() override {
    g_inside = nullptr;
    TimeSource_ResetAll();
    GC_Reset();
    Function_Clear();
  }

  static Val Call(const char* name, const std::vector<Val>& args) { return value_test::CallNamed(name, args); }
  double Num(const char* name, const std::vector<Val>& args) { return RV_ToDouble(*Call(name, args)); }
  double Get(const char* name, int32_t id) { return Num(name, {Val::Real(id)}); }
  std::string Printed(const std::function<void()>& f) {
    ConsoleCapture capture;
    f();
    return capture.text();
  }

  Val Callback() const { return Val::Real(record_); }
  static Val Array(std::vector<double> items) {
    RValue v;
    v.pArray = RV_NewArray(static_cast<int32_t>(items.size()));
    v.flags = 0;
    v.kind = kRVArray;
    for (size_t i = 0; i < items.size(); ++i) v.pArray->pArray[i] = RV_Real(items[i]);
    return Val(v);
  }
  // time_source_create(parent, period, units, test_record, [tag], reps, expiry)
  int32_t Create(int32_t parent, double period, int32_t units, double tag, int64_t reps = -1, int32_t expiry = 1) {
    return static_cast<int32_t>(
        Num("time_source_create", {Val::Real(parent), Val::Real(period), Val::Real(units), Callback(), Array({tag}),
                                   Val::Real(static_cast<double>(reps)), Val::Real(expiry)}));
  }
  static void Frames(int count, int64_t frame_us = kFrame) {
    for (int i = 0; i < count; ++i) {
      TimeSource_FrameTick(frame_us);
      TimeSource_Step(frame_us);
    }
  }
  static std::vector<double> Tags() {
    std::vector<double> tags;
    for (const auto& call : g_calls) tags.push_back(call.empty() ? -1 : call[0]);
    return tags;
  }

  int32_t record_ = -1;
  value_test::ValueGlobalsGuard guard_;
};

TEST_F(TimeSourceTest, InputLibraryPatternCallsOncePerStepAfterStart) {
  const double id =
      Num("time_source_create", {Val::Real(0), Val::Real(1), Val::Real(1), Callback(), Array({}), Val::Real(-1)});
  EXPECT_EQ(id, 3.0);
  EXPECT_EQ(Get("time_source_get_state", 3), kTimeSourceInitial);
  Frames(3);
  EXPECT_TRUE(g_calls.empty());

  Call("time_source_start", {Val::Real(id)});
  Frames(5);
  ASSERT_EQ(g_calls.size(), 5u);
  EXPECT_TRUE(g_calls[0].empty());  // the empty arguments array gives no arguments
  EXPECT_EQ(Get("time_source_get_reps_remaining", 3), -1.0);
  EXPECT_EQ(Get("time_source_get_reps_completed", 3), 5.0);
  EXPECT_EQ(Get("time_source_get_state", 3), kTimeSourceActive);

  // A frame without a step counts nothing: frame sources count steps, not frames.
  TimeSource_FrameTick(kFrame);
  TimeSource_FrameTick(kFrame);
  EXPECT_EQ(g_calls.size(), 5u);
}

TEST_F(TimeSourceTest, ExpiryWalksRootsZeroTwoOneAndChildrenAfterTheirParent) {
  const int32_t a = Create(0, 1, 1, 1);
  const int32_t d = Create(1, 1, 1, 4);
  const int32_t b = Create(a, 1, 1, 2);
  const int32_t c = Create(0, 1, 1, 3);
  for (int32_t id : {a, b, c, d}) Call("time_source_start", {Val::Real(id)});
  Num("call_later", {Val::Real(1), Val::Real(1), Callback(), Val::Bool(true)});

  Frames(2);
  EXPECT_EQ(Tags(), (std::vector<double>{1, 2, 3, -1, 4, 1, 2, 3, -1, 4}));
  EXPECT_EQ(Get("time_source_get_parent", b), a);
  EXPECT_EQ(Get("time_source_get_parent", d), 1.0);
  const Val children = Call("time_source_get_children", {Val::Real(a)});
  ASSERT_EQ(RV_Kind(*children), kRVArray);
  ASSERT_EQ(children->pArray->length, 1);
  EXPECT_EQ(children->pArray->pArray[0].val, b);
}

TEST_F(TimeSourceTest, NearestExpiryFiresEarlyWhenThatIsCloserThanFiringLate) {
  const struct {
    int64_t tick_us;
    int32_t expiry;
    int fires_at_frame;
    double remaining_after;  // seconds left of the next period, right after firing
  } cases[] = {
      {300000, kTimeSourceAfter, 4, 0.8},    // 1.2 s: late by 0.2
      {300000, kTimeSourceNearest, 3, 1.1},  // 0.9 s: 0.1 early beats 0.2 late; the debt is kept
      {400000, kTimeSourceNearest, 3, 0.8},  // 0.8 s: 0.2 early ties 0.2 late, so it waits
      {250000, kTimeSourceNearest, 4, 1.0},  // exactly on time either way
  };
  for (const auto& c : cases) {
    FakeClock clock(1000000);
    Platform_SetClock(&clock);
    int64_t last = Timing_Time();
    g_calls.clear();
    const int32_t id = Create(0, 1.0, 0, 0, -1, c.expiry);
    Call("time_source_start", {Val::Real(id)});
    int fired_at = 0;
    for (int frame = 1; frame <= 6 && fired_at == 0; ++frame) {
      clock.Advance(c.tick_us);
      const int64_t now = Timing_Time();
      TimeSource_FrameTick(now - last);
      last = now;
      TimeSource_Step(c.tick_us);
      if (!g_calls.empty()) fired_at = frame;
    }
    EXPECT_EQ(fired_at, c.fires_at_frame) << c.tick_us << " " << c.expiry;
    EXPECT_NEAR(Get("time_source_get_time_remaining", id), c.remaining_after, 1e-9) << c.tick_us << " " << c.expiry;
    Call("time_source_destroy", {Val::Real(id)});
    Platform_SetClock(nullptr);
  }
}

TEST_F(TimeSourceTest, TimeCollectedWithoutStepsGoesToSecondSourcesAtTheNextStep) {
  const int32_t id = Create(0, 1.0, 0, 0);
  Call("time_source_start", {Val::Real(id)});
  for (int i = 0; i < 17; ++i) TimeSource_FrameTick(100000);  // 1.7 s of frames without a step
  EXPECT_TRUE(g_calls.empty());
  TimeSource_Step(kFrame);
  EXPECT_EQ(g_calls.size(), 1u);
  EXPECT_NEAR(Get("time_source_get_time_remaining", id), 0.3, 1e-9);  // 0.7 of a period kept

  // Under the game root only the step's own time counts.
  const int32_t game = Create(1, 1.0, 0, 0);
  Call("time_source_start", {Val::Real(game)});
  TimeSource_FrameTick(5000000);
  TimeSource_Step(250000);
  EXPECT_NEAR(Get("time_source_get_time_remaining", game), 0.75, 1e-9);
}

TEST_F(TimeSourceTest, FramePeriodIsTruncatedWithAWarning) {
  int32_t id = -1;
  EXPECT_EQ(Printed([&] { id = Create(0, 2.5, 1, 0); }),
            "Warning: Non-integral period for a frame-based time source will be converted to an integer.\n");
  EXPECT_EQ(Get("time_source_get_period", id), 2.0);
  Call("time_source_start", {Val::Real(id)});
  std::vector<size_t> counts;
  for (int i = 0; i < 6; ++i) {
    Frames(1);
    counts.push_back(g_calls.size());
  }
  EXPECT_EQ(counts, (std::vector<size_t>{0, 1, 1, 2, 2, 3}));

  const struct {
    double period;
    int32_t units;
    const char* warning;
    double stored;
  } clips[] = {
      {0.5, 1, "Warning: Frame-based time source period was too low and will be clipped (min: 1).\n", 1},
      {0, 0, "Warning: Second-based time source period was too low and will be clipped (min: 1e-6).\n", 0.000001},
      {1e30, 0, "", 9223372036854774784.0 / 1e6},
      {3, 1, "", 3},
  };
  for (const auto& c : clips) {
    EXPECT_EQ(Printed([&] { id = Create(0, c.period, c.units, 0); }), c.warning) << c.period;
    EXPECT_DOUBLE_EQ(Get("time_source_get_period", id), c.stored) << c.period;
    EXPECT_EQ(Get("time_source_get_units", id), c.units);
  }
}

TEST_F(TimeSourceTest, RepetitionsStopTheSourceAndStartReloadsThem) {
  const int32_t id = Create(0, 1, 1, 0, 3);
  Call("time_source_start", {Val::Real(id)});
  EXPECT_EQ(Get("time_source_get_reps_remaining", id), 3.0);
  Frames(5);
  EXPECT_EQ(g_calls.size(), 3u);
  EXPECT_EQ(Get("time_source_get_state", id), kTimeSourceStopped);
  EXPECT_EQ(Get("time_source_get_reps_remaining", id), 0.0);
  EXPECT_EQ(Get("time_source_get_reps_completed", id), 3.0);

  Call("time_source_start", {Val::Real(id)});
  Frames(5);
  EXPECT_EQ(g_calls.size(), 6u);
  EXPECT_EQ(Get("time_source_get_reps_completed", id), 6.0);
}

TEST_F(TimeSourceTest, PauseResumeStopAndResetWorkDownTheTree) {
  const int32_t parent = Create(0, 2, 1, 1, 5);
  const int32_t child = Create(parent, 2, 1, 2, 5);
  Call("time_source_start", {Val::Real(parent)});
  EXPECT_EQ(Get("time_source_get_state", child), kTimeSourceActive);  // activated, not reloaded
  EXPECT_EQ(Get("time_source_get_reps_remaining", child), 0.0);
  Frames(1);

  Call("time_source_pause", {Val::Real(parent)});
  EXPECT_EQ(Get("time_source_get_state", parent), kTimeSourcePaused);
  EXPECT_EQ(Get("time_source_get_state", child), kTimeSourcePaused);
  Frames(4);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(Get("time_source_get_time_remaining", parent), 1.0);

  Call("time_source_resume", {Val::Real(parent)});
  Frames(1);
  // The child had no repetitions left to spend: it fired once and stopped.
  EXPECT_EQ(Tags(), (std::vector<double>{1, 2}));
  EXPECT_EQ(Get("time_source_get_state", child), kTimeSourceStopped);

  Call("time_source_stop", {Val::Real(parent)});
  EXPECT_EQ(Get("time_source_get_state", parent), kTimeSourceStopped);
  Frames(3);
  EXPECT_EQ(g_calls.size(), 2u);

  Call("time_source_reset", {Val::Real(parent)});
  for (int32_t id : {parent, child}) {
    EXPECT_EQ(Get("time_source_get_state", id), kTimeSourceInitial);
    EXPECT_EQ(Get("time_source_get_reps_remaining", id), 5.0);
    EXPECT_EQ(Get("time_source_get_reps_completed", id), 0.0);
    EXPECT_EQ(Get("time_source_get_time_remaining", id), 2.0);
  }

  // The game root pauses and resumes its sources too.
  const int32_t game = Create(1, 1, 1, 3);
  Call("time_source_start", {Val::Real(game)});
  Call("time_source_pause", {Val::Real(1)});
  EXPECT_EQ(Get("time_source_get_state", 1), kTimeSourcePaused);
  Frames(2);
  EXPECT_EQ(g_calls.size(), 2u);
  Call("time_source_resume", {Val::Real(1)});
  Frames(1);
  EXPECT_EQ(g_calls.size(), 3u);
}

TEST_F(TimeSourceTest, DestroyRemovesAtOnceOrAfterTheRunningCallback) {
  const int32_t plain = Create(0, 1, 1, 0);
  Call("time_source_destroy", {Val::Real(plain)});
  EXPECT_FALSE(RV_ToBool(*Call("time_source_exists", {Val::Real(plain)})));

  const int32_t parent = Create(0, 1, 1, 1);
  const int32_t child = Create(parent, 1, 1, 2);
  EXPECT_EQ(Printed([&] { Call("time_source_destroy", {Val::Real(parent)}); }),
            "Error: Cannot destroy the time source (index " + std::to_string(parent) +
                ") until its children have been destroyed\n");
  Call("time_source_destroy", {Val::Real(parent), Val::Bool(true)});
  EXPECT_FALSE(RV_ToBool(*Call("time_source_exists", {Val::Real(parent)})));
  EXPECT_FALSE(RV_ToBool(*Call("time_source_exists", {Val::Real(child)})));

  // Destroyed from inside its own callback: the call finishes, the source counts as gone at once
  // and leaves the tree at the end of the walk, so it never fires again.
  const int32_t self = Create(0, 1, 1, 7);
  const int32_t later = Create(0, 1, 1, 8);
  Call("time_source_start", {Val::Real(self)});
  Call("time_source_start", {Val::Real(later)});
  bool exists_inside = true;
  g_inside = [&] {
    if (g_calls.back()[0] != 7) return;
    Call("time_source_destroy", {Val::Real(self)});
    exists_inside = RV_ToBool(*Call("time_source_exists", {Val::Real(self)}));
  };
  Frames(3);
  EXPECT_FALSE(exists_inside);
  EXPECT_EQ(Tags(), (std::vector<double>{7, 8, 8, 8}));
  EXPECT_EQ(TimeSource_Root(0)->children.length, 1);

  // A sibling destroyed by a callback earlier in the same walk is skipped.
  g_calls.clear();
  const int32_t victim = Create(0, 1, 1, 9);
  Call("time_source_start", {Val::Real(victim)});
  g_inside = [&] {
    if (g_calls.back()[0] == 8 && RV_ToBool(*Call("time_source_exists", {Val::Real(victim)}))) {
      Call("time_source_destroy", {Val::Real(victim)});
    }
  };
  Frames(2);
  EXPECT_EQ(Tags(), (std::vector<double>{8, 8}));
}

TEST_F(TimeSourceTest, CallLaterFiresOnceOrRepeatsUntilCancelled) {
  const double once = Num("call_later", {Val::Real(2), Val::Real(1), Callback()});
  EXPECT_FALSE(RV_ToBool(*Call("time_source_exists", {Val::Real(once)})));  // hidden from user lookups
  ASSERT_NE(TimeSource_FindCallLater(static_cast<int32_t>(once)), nullptr);
  EXPECT_EQ(TimeSource_FindCallLater(static_cast<int32_t>(once))->repsRemaining, 1);
  Frames(5);
  EXPECT_EQ(g_calls.size(), 1u);
  EXPECT_EQ(TimeSource_FindCallLater(static_cast<int32_t>(once)), nullptr);
  EXPECT_EQ(TimeSource_Root(2)->children.length, 0);

  g_calls.clear();
  const double repeating = Num("call_later", {Val::Real(1), Val::Real(1), Callback(), Val::Bool(true)});
  Frames(3);
  EXPECT_EQ(g_calls.size(), 3u);
  g_inside = [&] { Call("call_cancel", {Val::Real(repeating)}); };
  Frames(3);
  EXPECT_EQ(g_calls.size(), 4u);
  EXPECT_EQ(TimeSource_FindCallLater(static_cast<int32_t>(repeating)), nullptr);

  // Cancelled from outside a callback it is gone at once; unknown ids are ignored quietly.
  g_inside = nullptr;
  const double pending = Num("call_later", {Val::Real(1), Val::Real(0), Callback()});
  EXPECT_EQ(Printed([&] {
              Call("call_cancel", {Val::Real(pending)});
              Call("call_cancel", {Val::Real(pending)});
            }),
            "");
  Frames(120);
  EXPECT_EQ(g_calls.size(), 4u);
}

TEST_F(TimeSourceTest, CallbackAndArgumentsSurviveTheCollector) {
  // Weak references (rooted themselves) tell which function objects the collector freed.
  CScriptRef* first = Method_ForBuiltin(record_);
  CScriptRef* second = Method_ForBuiltin(record_);
  CWeakRef* first_ref = WeakRef_Create(first);
  CWeakRef* second_ref = WeakRef_Create(second);
  GCAddRoot(first_ref);
  GCAddRoot(second_ref);
  const int32_t id =
      static_cast<int32_t>(Num("time_source_create", {Val::Real(0), Val::Real(1), Val::Real(1), Val(RV_Object(first)),
                                                      Array({5, 6, 7}), Val::Real(-1)}));
  {
    Val nested = Array({1});
    Val outer = Array({0, 0});
    RV_Assign(&outer->pArray->pArray[1], nested.get());
    Call("time_source_reconfigure",
         {Val::Real(id), Val::Real(1), Val::Real(1), Val(RV_Object(second)), outer, Val::Real(-1)});
  }
  Call("time_source_start", {Val::Real(id)});
  GCCollectAll();
  GCCollectAll();
  EXPECT_EQ(first_ref->target, nullptr);  // let go by the reconfiguration
  EXPECT_EQ(second_ref->target, second);
  Frames(1);
  ASSERT_EQ(g_calls.size(), 1u);
  EXPECT_EQ(g_calls[0], (std::vector<double>{0, 1}));  // the entries, copied: 0 and the inner array

  // Destroying the source lets its callback go.
  Call("time_source_destroy", {Val::Real(id)});
  GCCollectAll();
  EXPECT_EQ(second_ref->target, nullptr);
}

TEST_F(TimeSourceTest, ReconfigureAndErrorsInsideTheCallbackLeaveTheSourceUsable) {
  const int32_t id = Create(0, 1, 1, 4);
  Call("time_source_start", {Val::Real(id)});
  g_inside = [&] {
    Call("time_source_reconfigure", {Val::Real(id), Val::Real(3), Val::Real(1), Callback(), Array({9, 9, 9})});
  };
  Frames(1);
  // Reconfiguring puts the source back to its initial state with cleared counters.
  EXPECT_EQ(Get("time_source_get_state", id), kTimeSourceInitial);
  EXPECT_EQ(Get("time_source_get_reps_completed", id), 0.0);
  EXPECT_EQ(Get("time_source_get_period", id), 3.0);
  EXPECT_EQ(Get("time_source_get_time_remaining", id), 3.0);

  g_inside = [] { KVError("thrown in a callback"); };
  Call("time_source_start", {Val::Real(id)});
  EXPECT_EQ(ErrorRaisedBy([] { Frames(3); }), "thrown in a callback");
  EXPECT_EQ(g_calls.back().size(), 3u);
  Call("time_source_destroy", {Val::Real(id)});  // no callback runs now: removed at once
  EXPECT_EQ(TimeSource_Root(0)->children.length, 0);
}

TEST_F(TimeSourceTest, RaisedErrors) {
  const Val cb = Callback();
  const auto Z = [](double d) { return Val::Real(d); };
  const struct {
    const char* name;
    std::vector<Val> args;
    const char* message;
  } cases[] = {
      {"time_source_create", {Z(0), Z(1), Z(1)}, "time_source_create: 4-7 arguments are required"},
      {"time_source_create", {Z(0), Z(1), Z(1), cb, Array({}), Z(1), Z(1), Z(0)},
       "time_source_create: 4-7 arguments are required"},
      {"time_source_reconfigure", {Z(3)}, "time_source_reconfigure: 4-7 arguments are required"},
      {"time_source_create", {Z(0), Z(1), Z(2), cb}, "Illegal time source unit type: 2"},
      {"time_source_create", {Z(0), Z(1), Z(0), Val::Str("f")}, "Time source callback must be a method or function"},
      {"time_source_create", {Z(0), Z(1), Z(0), cb, Z(3)}, "Time source callback arguments must be an array"},
      {"time_source_create", {Z(0), Z(1), Z(0), cb, Array({}), Z(0)}, "Illegal time source repetition value: 0"},
      {"time_source_create", {Z(0), Z(1), Z(0), cb, Array({}), Z(-2)}, "Illegal time source repetition value: -2"},
      {"time_source_create", {Z(0), Z(1), Z(0), cb, Array({}), Z(1), Z(2)}, "Illegal time source expiry type: 2"},
      {"call_later", {Z(1), Z(5), cb}, "Illegal time source unit type: 5"},
      {"call_later", {Z(1), Z(1), Val::Undefined()}, "Time source callback must be a method or function"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ErrorRaisedBy([&] { Call(c.name, c.args); }), c.message) << c.name;
  }
  EXPECT_EQ(TimeSource_Root(0)->children.length, 0);
  EXPECT_EQ(TimeSource_Root(2)->children.length, 0);
}

TEST_F(TimeSourceTest, PrintedErrorsOnRootsAndUnknownIds) {
  const std::string unknown = "Error: Index 42 does not correspond to an existing time source\n";
  const std::string stateless = "Error: Cannot change the state of a stateless built-in time source\n";
  const struct {
    const char* name;
    double id;
    std::string printed;
  } cases[] = {
      {"time_source_destroy", 0, "Error: Cannot destroy a built-in time source\n"},
      {"time_source_destroy", 1, "Error: Cannot destroy a built-in time source\n"},
      {"time_source_stop", 1, "Error: Cannot stop a built-in time source\n"},
      {"time_source_reset", 2, "Error: Cannot reset a built-in time source\n"},
      {"time_source_start", 0, stateless},
      {"time_source_pause", 2, stateless},
      {"time_source_resume", 0, stateless},
      {"time_source_start", 1, ""},
      {"time_source_get_state", 1, ""},
      {"time_source_get_period", 0, "Error: Index 0 does not correspond to an existing time source\n"},
      {"time_source_get_state", 2, "Error: Index 2 does not correspond to an existing time source\n"},
      {"time_source_destroy", 42, unknown},
      {"time_source_start", 42, unknown},
      {"time_source_reset", 42, unknown},
      {"time_source_get_children", 42, unknown},
      {"time_source_get_time_remaining", 42, unknown},
      {"time_source_reconfigure", 42, unknown},
  };
  for (const auto& c : cases) {
    Val result;
    const std::string printed = Printed([&] {
      if (std::string(c.name) == "time_source_reconfigure") {
        result = Call(c.name, {Val::Real(c.id), Val::Real(1), Val::Real(1), Callback()});
      } else {
        result = Call(c.name, {Val::Real(c.id)});
      }
    });
    EXPECT_EQ(printed, c.printed) << c.name << " " << c.id;
    if (!c.printed.empty()) {
      EXPECT_EQ(result.kind(), kRVUndefined) << c.name << " " << c.id;
    }
  }

  double made = 0;
  EXPECT_EQ(Printed([&] { made = Create(42, 1, 1, 0); }), unknown);
  EXPECT_EQ(made, -1.0);
  EXPECT_EQ(Printed([&] { made = Create(2, 1, 1, 0); }),
            "Error: Index 2 does not correspond to an existing time source\n");
  EXPECT_EQ(made, -1.0);
  EXPECT_TRUE(RV_ToBool(*Call("time_source_exists", {Val::Real(0)})));
  EXPECT_FALSE(RV_ToBool(*Call("time_source_exists", {Val::Real(42)})));
}

TEST_F(TimeSourceTest, BeatsPerMinuteConversions) {
  EXPECT_DOUBLE_EQ(Num("time_seconds_to_bpm", {Val::Real(0.5)}), 120.0);
  EXPECT_DOUBLE_EQ(Num("time_bpm_to_seconds", {Val::Real(120)}), 0.5);
}

}  // namespace

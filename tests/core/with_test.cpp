// with over every target form, through fake instance hooks: rounds, self and other in the body,
// restoring after break and unwinding, and the error for a target of the wrong kind.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/error.h"
#include "core/gc.h"
#include "core/instance_hooks.h"
#include "core/object.h"
#include "core/with.h"
#include "value_test_support.h"

namespace {

// Three stand-in instances: ids 100001..100003, object 7 holds the last two.
std::vector<KVObjectBase*> g_world;
int g_collect_calls = 0;

CInstance* find_live(int32_t id) {
  const int32_t at = id - 100001;
  return at >= 0 && at < static_cast<int32_t>(g_world.size()) ? KV_AsInstance(g_world[at]) : nullptr;
}
void collect_all(std::vector<CInstance*>* out) {
  ++g_collect_calls;
  for (KVObjectBase* object : g_world) out->push_back(KV_AsInstance(object));
}
void collect_object(int32_t index, std::vector<CInstance*>* out) {
  if (index != 7) return;
  out->push_back(KV_AsInstance(g_world[1]));
  out->push_back(KV_AsInstance(g_world[2]));
}

class WithTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    for (int i = 0; i < 3; ++i) g_world.push_back(Object_NewStruct());
    self_object_ = Object_NewStruct();
    other_object_ = Object_NewStruct();
    self_ = KV_AsInstance(self_object_);
    other_ = KV_AsInstance(other_object_);
    g_InstanceHooks = KVInstanceHooks{find_live, collect_all, collect_object};
    g_collect_calls = 0;
  }
  void TearDown() override {
    g_InstanceHooks = KVInstanceHooks{};
    g_world.clear();
    GC_Reset();
  }

  // The selves of the rounds, as indexes: 0..2 the world, 3 self, 4 other; -1 unknown.
  std::vector<int> rounds(const RValue& target) {
    std::vector<int> seen;
    CInstance* self = self_;
    CInstance* other = other_;
    for (KVWith w(&self, &other, target); w.Next();) {
      EXPECT_EQ(other, self_) << "other is the self outside the with";
      seen.push_back(index_of(KV_AsObject(self)));
    }
    EXPECT_EQ(self, self_);
    EXPECT_EQ(other, other_);
    return seen;
  }
  int index_of(KVObjectBase* object) {
    for (size_t i = 0; i < g_world.size(); ++i) {
      if (g_world[i] == object) return static_cast<int>(i);
    }
    if (object == self_object_) return 3;
    if (object == other_object_) return 4;
    return -1;
  }

  KVObjectBase* self_object_ = nullptr;
  KVObjectBase* other_object_ = nullptr;
  CInstance* self_ = nullptr;
  CInstance* other_ = nullptr;
};

TEST_F(WithTest, EveryTargetFormSelectsItsRounds) {
  struct Case {
    const char* what;
    RValue target;
    std::vector<int> expected;
  };
  const Case cases[] = {
      {"undefined", RV_Undefined(), {}},
      {"self", RV_Real(-1), {3}},
      {"self alias", RV_Real(-6), {3}},
      {"other", RV_Real(-2), {4}},
      {"all, from the end", RV_Real(-3), {2, 1, 0}},
      {"noone", RV_Real(-4), {}},
      {"global", RV_Real(-5), {}},
      {"local", RV_Real(-7), {}},
      {"other negative", RV_Real(-12), {}},
      {"object index with children", RV_Int32(7), {2, 1}},
      {"object without instances", RV_Real(3), {}},
      {"instance id", RV_Int64(100002), {1}},
      {"dead instance id", RV_Real(100009), {}},
      {"struct value", RV_Object(g_world[0]), {0}},
      {"value as an object: a plain number holds none, so the current self", RV_Real(-9), {3}},
      {"value as an object, as an int32", RV_Int32(-9), {3}},
  };
  for (const Case& c : cases) EXPECT_EQ(rounds(c.target), c.expected) << c.what;
}

TEST_F(WithTest, ResultSaysWhetherTheBodyCanRun) {
  CInstance* self = self_;
  CInstance* other = other_;
  KVWithIterator it;
  const RValue none = RV_Real(-4);
  EXPECT_EQ(KVWithBegin(&it, &self, &other, &none), -1);
  const RValue missing = RV_Real(100050);
  EXPECT_EQ(KVWithBegin(&it, &self, &other, &missing), 0);
  EXPECT_FALSE(KVWithNext(&it, &self, &other));
  KVWithEnd(&it, &self, &other);
  const RValue all = RV_Real(-3);
  EXPECT_EQ(KVWithBegin(&it, &self, &other, &all), 3);
  KVWithEnd(&it, &self, &other);
  EXPECT_EQ(self, self_);
}

TEST_F(WithTest, TargetsAreCollectedOnceBeforeTheFirstRound) {
  CInstance* self = self_;
  CInstance* other = other_;
  int count = 0;
  for (KVWith w(&self, &other, -3); w.Next();) {
    g_world.push_back(Object_NewStruct());  // made by the body: not part of this with
    ++count;
  }
  EXPECT_EQ(count, 3);
  EXPECT_EQ(g_collect_calls, 1);
}

TEST_F(WithTest, BreakAndUnwindingRestoreSelfAndOther) {
  CInstance* self = self_;
  CInstance* other = other_;
  for (KVWith w(&self, &other, -3); w.Next();) break;
  EXPECT_EQ(self, self_);
  EXPECT_EQ(other, other_);
  EXPECT_EQ(ErrorRaisedBy([&] {
              for (KVWith w(&self, &other, -2); w.Next();) KVError("inside");
            }),
            "inside");
  EXPECT_EQ(self, self_);
  EXPECT_EQ(other, other_);
  EXPECT_EQ(With_CurrentTarget(), nullptr);
}

TEST_F(WithTest, NestedWithsSeeTheirOwnOther) {
  CInstance* self = self_;
  CInstance* other = other_;
  std::vector<std::pair<int, int>> pairs;
  for (KVWith outer(&self, &other, 100001); outer.Next();) {
    for (KVWith inner(&self, &other, -2); inner.Next();) {
      pairs.emplace_back(index_of(KV_AsObject(self)), index_of(KV_AsObject(other)));
    }
    EXPECT_EQ(index_of(KV_AsObject(self)), 0);
  }
  // Inside the outer round other is the outer self; the inner swap makes it self again.
  EXPECT_EQ(pairs, (std::vector<std::pair<int, int>>{{3, 0}}));
}

TEST_F(WithTest, OtherKindsAreInvalidReferences) {
  CInstance* self = self_;
  CInstance* other = other_;
  value_test::Val text = value_test::Val::Str("obj_player");
  EXPECT_EQ(ErrorRaisedBy([&] { KVWith w(&self, &other, *text); }), "invalid with reference");
  EXPECT_EQ(self, self_);
}

}  // namespace

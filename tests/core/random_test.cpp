// The WELL512 generator with its seeding rule, pinned to worked sequences, and the random builtins
// called by name.
#include <cstdint>
#include <set>

#include "core/fn_random.h"
#include "core/random.h"
#include "platform/fake/fake_clock.h"
#include "value_test_support.h"

namespace value_test {
namespace {

// Seed 0 fills the state with the recurrence x = (x * 214013 + 2531011) >> 16.
constexpr uint32_t kSeedZeroWords[16] = {38,   162,   567,   1890, 6210, 20317, 849, 2811,
                                         9218, 30140, 32927, 42028, 6212, 20324, 872, 2886};

class RandomTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    Random_RegisterBuiltins();
    saved_ = Random_Save();
  }
  void TearDown() override {
    Random_Restore(saved_);
    g_RandomSeedLocked = false;
    Platform_SetClock(nullptr);
    ValueBuiltinsTest::TearDown();
  }
  double Number(const char* name, std::vector<Val> args) { return Call(name, args)->val; }

  RandomSnapshot saved_{};
};

TEST_F(RandomTest, ProcessStartsSeededWithZero) {
  // The fixture puts the state back after every test, so the start state is still here.
  EXPECT_EQ(g_RandomSeed, 0u);
  EXPECT_EQ(g_RandomIndex, 0u);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(g_RandomState[i], kSeedZeroWords[i]) << i;
}

TEST_F(RandomTest, SeedingAndWordsFollowTheWorkedSequences) {
  uint32_t state[16];
  uint32_t index = 7;
  well512_seed(state, &index, 0);
  EXPECT_EQ(index, 0u);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(state[i], kSeedZeroWords[i]) << i;

  struct Row {
    uint32_t seed;
    uint32_t words[3];
  };
  const Row rows[] = {
      {0, {3473694700u, 3873705934u, 1301109006u}},
      {12345, {2670599112u, 3933051648u, 907064960u}},
      {0xFFFFFFFFu, {19489714u, 3579840736u, 0}},
  };
  for (const Row& row : rows) {
    well512_seed(state, &index, row.seed);
    const int count = row.words[2] == 0 ? 2 : 3;
    for (int i = 0; i < count; ++i) EXPECT_EQ(well512_next(state, &index), row.words[i]) << row.seed << " word " << i;
  }
  // The index walks down by one each step, wrapping from 0 to 15.
  well512_seed(state, &index, 5);
  well512_next(state, &index);
  EXPECT_EQ(index, 15u);
  well512_next(state, &index);
  EXPECT_EQ(index, 14u);
}

TEST_F(RandomTest, IntegersAndRealsFromTheProcessGenerator) {
  SetSeed(12345);
  EXPECT_EQ(g_RandomSeed, 12345u);
  EXPECT_DOUBLE_EQ(Random_Real(), 0.6217973101884127);

  // Two words per integer; the size of n bounds it and its sign is n's.
  SetSeed(12345);
  const int64_t expected[] = {12, 20, 11, 9, 16};
  for (int64_t e : expected) EXPECT_EQ(RandomInt64(100), e);
  SetSeed(42);
  const int64_t negative[] = {-7, -10, -5, 0};
  for (int64_t e : negative) EXPECT_EQ(RandomInt64(-11), e);

  // Extreme bounds neither trap nor leave their range.
  EXPECT_EQ(RandomInt64(0), 0);
  EXPECT_EQ(RandomInt64(1), 0);
  EXPECT_LE(RandomInt64(INT64_MIN), 0);
  EXPECT_GE(RandomInt64(INT64_MAX), 0);
}

TEST_F(RandomTest, SnapshotRestoresTheSequence) {
  SetSeed(99);
  Random_NextWord();
  const RandomSnapshot snapshot = Random_Save();
  const uint32_t a = Random_NextWord();
  const uint32_t b = Random_NextWord();
  SetSeed(1);
  Random_Restore(snapshot);
  EXPECT_EQ(g_RandomSeed, 99u);
  EXPECT_EQ(Random_NextWord(), a);
  EXPECT_EQ(Random_NextWord(), b);

  Random_Reset();
  EXPECT_EQ(g_RandomSeed, 0u);
  EXPECT_EQ(Random_NextWord(), 3473694700u);
}

TEST_F(RandomTest, SeededBuiltinsRepeatTheirSequence) {
  auto run = [&] {
    Call("random_set_seed", {Val::Real(2024)});
    std::vector<double> values;
    for (int i = 0; i < 4; ++i) values.push_back(Number("irandom", {Val::Real(10)}));
    for (int i = 0; i < 4; ++i) values.push_back(Number("random", {Val::Real(5)}));
    return values;
  };
  const std::vector<double> first = run();
  EXPECT_EQ(run(), first);
  EXPECT_DOUBLE_EQ(Number("random_get_seed", {}), 2024.0);

  // irandom(99) under seed 12345 gives the worked integers; random(1) the worked real.
  Call("random_set_seed", {Val::Real(12345)});
  for (double e : {12.0, 20.0, 11.0, 9.0, 16.0}) EXPECT_EQ(Number("irandom", {Val::Real(99)}), e);
  Call("random_set_seed", {Val::Int32(12345)});
  EXPECT_DOUBLE_EQ(Number("random", {Val::Real(1)}), 0.6217973101884127);
  // A negative seed is taken as its 32-bit pattern.
  Call("random_set_seed", {Val::Real(-1)});
  EXPECT_DOUBLE_EQ(Number("random_get_seed", {}), 4294967295.0);
}

TEST_F(RandomTest, RangesKeepTheirEnds) {
  Call("random_set_seed", {Val::Real(7)});
  std::set<double> seen_forward;
  std::set<double> seen_backward;
  for (int i = 0; i < 400; ++i) {
    EXPECT_EQ(Number("irandom_range", {Val::Real(3), Val::Real(3)}), 3.0);
    seen_forward.insert(Number("irandom_range", {Val::Real(1), Val::Real(5)}));
    seen_backward.insert(Number("irandom_range", {Val::Real(5), Val::Real(1)}));
    const double n = Number("irandom", {Val::Real(-3)});
    EXPECT_TRUE(n <= 0 && n >= -3) << n;
    const double r = Number("random_range", {Val::Real(4), Val::Real(2)});
    EXPECT_TRUE(r >= 2 && r < 4) << r;
  }
  const std::set<double> one_to_five = {1, 2, 3, 4, 5};
  EXPECT_EQ(seen_forward, one_to_five);
  EXPECT_EQ(seen_backward, one_to_five);

  // Swapped ends draw the same numbers.
  Call("random_set_seed", {Val::Real(8)});
  const double forward = Number("irandom_range", {Val::Real(1), Val::Real(5)});
  Call("random_set_seed", {Val::Real(8)});
  EXPECT_EQ(Number("irandom_range", {Val::Real(5), Val::Real(1)}), forward);
}

TEST_F(RandomTest, ChooseCopiesOneArgument) {
  // Seed 7's words modulo 5 are 1, 3, 1, 1, 4, 4.
  Call("random_set_seed", {Val::Real(7)});
  const char* expected[] = {"b", "d", "b", "b", "e", "e"};
  for (const char* e : expected) {
    Val chosen = Call("choose", {Val::Str("a"), Val::Str("b"), Val::Str("c"), Val::Str("d"), Val::Str("e")});
    ASSERT_EQ(chosen.kind(), kRVString);
    EXPECT_STREQ(RV_StringText(*chosen), e);
  }
  Val array = Val::Array({Val::Real(1)});
  Val chosen = Call("choose", {array});
  EXPECT_EQ(chosen.array(), array.array());
  EXPECT_EQ(array.array()->refCount, 2);
  Val none = Call("choose");
  EXPECT_EQ(none.kind(), kRVReal);
  EXPECT_EQ(none->val, 0.0);
}

TEST_F(RandomTest, RandomizeSeedsFromTheClockAndHonoursTheLock) {
  FakeClock clock(0x0123456789ABCDEFll);
  Platform_SetClock(&clock);
  EXPECT_DOUBLE_EQ(Number("randomize", {}), static_cast<double>(0x47209AFDu));
  EXPECT_EQ(g_RandomSeed, 0x47209AFDu);
  clock.Set(0x10000);
  EXPECT_DOUBLE_EQ(Number("randomise", {}), static_cast<double>(0x10001u));

  g_RandomSeedLocked = true;
  for (const char* name : {"randomize", "randomise"}) {
    EXPECT_EQ(Raised(name), "The random number seed is set to be read-only") << name;
  }
  EXPECT_EQ(Raised("random_set_seed", {Val::Real(3)}), "The random number seed is set to be read-only");
  EXPECT_EQ(g_RandomSeed, 0x10001u);
  EXPECT_DOUBLE_EQ(Number("random_get_seed", {}), static_cast<double>(0x10001u));
}

TEST_F(RandomTest, BadArgumentsRaiseWithoutDrawing) {
  const RandomSnapshot before = Random_Save();
  EXPECT_EQ(Raised("irandom", {Val::Undefined()}), "irandom argument 1 incorrect type (undefined) expecting a Number");
  EXPECT_EQ(Raised("random_range", {Val::Real(1)}),
            "random_range argument 2 incorrect type (undefined) expecting a Number (KVGR)");
  EXPECT_EQ(g_RandomIndex, before.index);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(g_RandomState[i], before.state[i]) << i;
}

}  // namespace
}  // namespace value_test

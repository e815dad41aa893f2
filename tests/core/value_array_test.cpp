// Element writes and reads of compiled scripts: create in place, copy-on-write by owner mark,
// immutability, growth, negative indexes; and the reference rules of copy and free.
#include <string>

#include "value_test_support.h"

namespace value_test {
namespace {

class ValueArrayTest : public ValueTest {};

constexpr int64_t kSelfA = 0x1000;
constexpr int64_t kSelfB = 0x2000;

TEST_F(ValueArrayTest, WriteCreatesAnArrayInPlace) {
  g_CurrentArrayOwner = kSelfA;
  Val v = Val::Str("was a string");
  RValue* slot = RV_ArrayElementForWrite(v.get(), 2);
  ASSERT_NE(slot, nullptr);
  *slot = RV_Real(7);
  ASSERT_EQ(v.kind(), kRVArray);
  EXPECT_EQ(v.array()->refCount, 1);
  EXPECT_EQ(v.array()->owner, kSelfA);
  EXPECT_EQ(v.array()->length, 3);
  EXPECT_EQ(v.text(), "[ 0,0,7 ]");  // the grown elements are real 0
  Val null_array = Val::NullArray();
  RV_ArrayWrite(null_array.get(), 0, Val::Int32(1).get());
  EXPECT_EQ(null_array.text(), "[ 1 ]");
}

// Writes that go to the array itself: by its owner, to an array nobody else holds, or with
// copy-on-write off; a second holder sees the write.
TEST_F(ValueArrayTest, WritesInPlaceWhenNoCopyIsNeeded) {
  struct Case {
    const char* what;
    bool copy_on_write;
    bool second_holder;
    int64_t writer;
  };
  const Case cases[] = {{"the owner", true, true, kSelfA},
                        {"a sole holder", true, false, kSelfB},
                        {"copy-on-write off", false, true, kSelfB}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    g_CopyOnWrite = c.copy_on_write;
    g_CurrentArrayOwner = kSelfA;
    Val a = Val::Array({Val::Real(1), Val::Real(2)});
    RefDynamicArrayOfRValue* original = a.array();
    Val b = c.second_holder ? a : Val::Undefined();
    EXPECT_EQ(original->refCount, c.second_holder ? 2 : 1);
    g_CurrentArrayOwner = c.writer;
    RV_ArrayWrite(a.get(), 0, Val::Real(9).get());
    EXPECT_EQ(a.array(), original);
    EXPECT_EQ((c.second_holder ? b : a).text(), "[ 9,2 ]");
  }
}

TEST_F(ValueArrayTest, AnotherOwnersWriteMakesAPrivateCopy) {
  g_CurrentArrayOwner = kSelfA;
  Val a = Val::Array({Val::Real(1), Val::Str("s"), Val::Array({Val::Real(3)})});
  Val b = a;
  RefDynamicArrayOfRValue* original = a.array();
  const int32_t inner_count = original->pArray[2].pArray->refCount;
  g_CurrentArrayOwner = kSelfB;
  RV_ArrayWrite(b.get(), 0, Val::Real(5).get());
  ASSERT_NE(b.array(), original);
  EXPECT_EQ(a.array(), original);
  EXPECT_EQ(original->refCount, 1);
  EXPECT_EQ(b.array()->refCount, 1);
  EXPECT_EQ(b.array()->owner, kSelfB);
  EXPECT_EQ(a.text(), "[ 1,\"s\",[ 3 ] ]");
  EXPECT_EQ(b.text(), "[ 5,\"s\",[ 3 ] ]");
  // The copied elements took their own references.
  EXPECT_EQ(original->pArray[1].pRefString, b.array()->pArray[1].pRefString);
  EXPECT_EQ(original->pArray[1].pRefString->refCount, 2);
  EXPECT_EQ(original->pArray[2].pArray->refCount, inner_count + 1);
  // The copy is the new owner's: further writes stay in place.
  RefDynamicArrayOfRValue* copy = b.array();
  RV_ArrayWrite(b.get(), 1, Val::Real(6).get());
  EXPECT_EQ(b.array(), copy);
}

TEST_F(ValueArrayTest, CopiesAndFreesSetAZeroOwner) {
  g_CurrentArrayOwner = 0;
  Val a = Val::Array({});
  EXPECT_EQ(a.array()->owner, 0);
  g_CurrentArrayOwner = kSelfA;
  Val b = a;
  EXPECT_EQ(a.array()->owner, kSelfA);
  g_CurrentArrayOwner = 0;
  Val c = Val::Array({});
  g_CurrentArrayOwner = kSelfB;
  RefDynamicArrayOfRValue* array = c.array();
  c = Val::Undefined();
  EXPECT_EQ(array->owner, kSelfB);
  EXPECT_EQ(array->refCount, 0);
}

TEST_F(ValueArrayTest, ImmutableArraysRefuseWrites) {
  Val a = Val::Array({Val::Real(1)});
  a.array()->arrayFlags |= kArrayImmutable;
  EXPECT_EQ(ErrorRaisedBy([&] { RV_ArrayWrite(a.get(), 0, Val::Real(2).get()); }),
            "Unable to write to immutable array");
  EXPECT_EQ(a.text(), "[ 1 ]");
}

TEST_F(ValueArrayTest, NegativeIndexSetsTheFailureRecord) {
  Val a = Val::Array({Val::Real(1), Val::Real(2)});
  EXPECT_EQ(RV_ArrayElementForWrite(a.get(), -3), nullptr);
  EXPECT_TRUE(g_ArrayIndexFailure.set);
  EXPECT_EQ(g_ArrayIndexFailure.index, -3);
  EXPECT_EQ(g_ArrayIndexFailure.length, 2);
  RV_ArrayWrite(a.get(), -1, Val::Real(5).get());
  EXPECT_EQ(a.text(), "[ 1,2 ]");
}

TEST_F(ValueArrayTest, GrowthKeepsElementsAndReBasesASourceInside) {
  Val a = Val::Array({Val::Str("first")});
  for (int i = 1; i < 100; ++i) {
    // The source is element 0 of the array being grown: it must survive the move.
    RV_ArrayWrite(a.get(), i, &a.array()->pArray[0]);
  }
  ASSERT_EQ(a.array()->length, 100);
  for (int i = 0; i < 100; ++i) EXPECT_STREQ(a.array()->pArray[i].pRefString->text, "first") << i;
  EXPECT_EQ(a.array()->pArray[0].pRefString->refCount, 100);
  RV_ArrayWrite(a.get(), 1000, &a.array()->pArray[50]);
  EXPECT_EQ(a.array()->length, 1001);
  EXPECT_EQ(a.array()->pArray[999].kind, kRVReal);
  EXPECT_EQ(a.array()->pArray[999].val, 0.0);
  EXPECT_STREQ(a.array()->pArray[1000].pRefString->text, "first");
}

TEST_F(ValueArrayTest, AnArrayWrittenIntoItself) {
  Val a = Val::Array({});
  RV_ArrayWrite(a.get(), 0, a.get());
  EXPECT_EQ(a.array()->pArray[0].pArray, a.array());
  EXPECT_EQ(a.array()->refCount, 2);
  RV_ArraySetLength(a.array(), 0);
  Val n = Val::Real(3);
  RV_ArrayWrite(n.get(), 0, n.get());  // the old number is stored, then n became the array
  EXPECT_EQ(n.text(), "[ 3 ]");
}

TEST_F(ValueArrayTest, ReadChecksKindAndBounds) {
  g_CurrentArrayOwner = 0;
  Val a = Val::Array({Val::Real(4), Val::Real(5)});
  g_CurrentArrayOwner = kSelfA;
  const RValue* element = RV_ArrayElementForRead(a.get(), 1);
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(element->val, 5);
  EXPECT_EQ(a.array()->owner, kSelfA);  // set on read when zero
  EXPECT_EQ(ErrorRaisedBy([&] { RV_ArrayElementForRead(a.get(), 2); }),
            "index out of bounds request 2 maximum size is 2");
  EXPECT_EQ(ErrorRaisedBy([&] { RV_ArrayElementForRead(a.get(), -1); }),
            "index out of bounds request -1 maximum size is 2");
  Val n = Val::Real(1);
  EXPECT_EQ(ErrorRaisedBy([&] { RV_ArrayElementForRead(n.get(), 0); }),
            "trying to index variable that is not an array");
  Val null_array = Val::NullArray();
  EXPECT_EQ(ErrorRaisedBy([&] { RV_ArrayElementForRead(null_array.get(), 0); }),
            "trying to index variable that is not an array");
}

TEST_F(ValueArrayTest, SetLengthZeroesAndFrees) {
  Val a = Val::Array({Val::Str("x"), Val::Str("y")});
  _RefThing* y = a.array()->pArray[1].pRefString;
  Val keep(RV_Undefined());
  RV_CopyRef(keep.get(), &a.array()->pArray[1]);
  EXPECT_EQ(y->refCount, 2);
  RV_ArraySetLength(a.array(), 1);
  EXPECT_EQ(y->refCount, 1);
  RV_ArraySetLength(a.array(), 3);
  EXPECT_EQ(a.text(), "[ \"x\",0,0 ]");
}

TEST_F(ValueArrayTest, AssignProtectsAnArrayHeldOnlyThroughTheDestination) {
  // dst holds the outer array, the only holder of the inner one that src names.
  Val outer = Val::Array({Val::Array({Val::Real(1)})});
  RValue* inner = &outer.array()->pArray[0];
  RefDynamicArrayOfRValue* inner_array = inner->pArray;
  RV_Assign(outer.get(), inner);
  EXPECT_EQ(outer.array(), inner_array);
  EXPECT_EQ(inner_array->refCount, 2);  // held by outer and by the old outer's element
}

TEST_F(ValueArrayTest, DeadArraysAreCollected) {
  const size_t before = GC_ObjectCount();
  {
    Val a = Val::Array({Val::Array({}), Val::Str("s")});
    EXPECT_EQ(GC_ObjectCount(), before + 2);
  }
  GCCollectAll();
  EXPECT_EQ(GC_ObjectCount(), before);
}

}  // namespace
}  // namespace value_test

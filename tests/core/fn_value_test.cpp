// The value builtins, called by name through the function table: type words and tests,
// conversions, the array family with its messages, the owner mark and the math epsilon.
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include "value_test_support.h"

namespace value_test {
namespace {

class FnValueTest : public ValueBuiltinsTest {};

TEST_F(FnValueTest, EveryNameIsRegisteredInOrder) {
  const char* names[] = {
      "array_create", "array_length", "array_length_1d", "array_length_2d", "array_height_2d", "array_get",
      "array_set", "array_set_pre", "array_set_post", "array_get_2D", "array_set_2D", "array_set_2D_pre",
      "array_set_2D_post", "array_push", "array_pop", "array_insert", "array_delete", "array_resize",
      "array_copy", "array_sort", "array_equals", "typeof", "is_real", "is_numeric", "is_string", "is_array",
      "is_bool", "is_undefined", "is_int32", "is_int64", "is_ptr", "is_vec3", "is_vec4", "is_matrix",
      "is_struct", "is_method", "is_nan", "is_infinity", "string", "real", "bool", "int64", "ptr",
      "@@array_set_owner@@", "math_set_epsilon", "math_get_epsilon",
  };
  ASSERT_EQ(Function_Count(), static_cast<int32_t>(std::size(names)));
  for (int32_t i = 0; i < Function_Count(); ++i) {
    int32_t id = -1;
    EXPECT_TRUE(Function_Find(names[i], &id)) << names[i];
    EXPECT_EQ(id, i) << names[i];
  }
}

TEST_F(FnValueTest, Typeof) {
  KVObjectBase object(kObjStruct);
  KVObjectBase method(kObjScriptRef);
  const std::pair<Val, const char*> rows[] = {
      {Val::Real(1), "number"},       {Val::Str("s"), "string"},       {Val::Array({}), "array"},
      {Val::Ptr(nullptr), "ptr"},     {Val::Kind(kRVVec3), "vec3"},   {Val::Undefined(), "undefined"},
      {Val::Object(&object), "struct"}, {Val::Object(&method), "method"}, {Val::Int32(1), "int32"},
      {Val::Kind(kRVVec4), "vec4"},   {Val::Kind(kRVMatrix), "vec44"}, {Val::Int64(1), "int64"},
      {Val::Kind(kRVAccessor), "accessor"}, {Val::Kind(kRVNull), "null"}, {Val::Bool(true), "bool"},
      {Val::Kind(kRVIterator), "iterator"}, {Val::Ref(1), "ref"},   {Val::Kind(77), "unknown"},
  };
  for (const auto& [value, word] : rows) EXPECT_EQ(Call("typeof", Args({value})).text(), word);
  EXPECT_EQ(Raised("typeof", {Val::Unset()}), "typeof : argument is unset");
}

TEST_F(FnValueTest, KindTests) {
  KVObjectBase object(kObjStruct);
  KVObjectBase method(kObjScriptRef);
  const double nan = std::nan("");
  const double inf = std::numeric_limits<double>::infinity();
  struct Row {
    const char* name;
    Val value;
    bool expected;
  };
  const Row rows[] = {
      {"is_real", Val::Real(1), true},          {"is_real", Val::Int32(1), false},
      {"is_real", Val::Bool(true), false},       {"is_numeric", Val::Real(1), true},
      {"is_numeric", Val::Int32(1), true},       {"is_numeric", Val::Int64(1), true},
      {"is_numeric", Val::Bool(false), true},    {"is_numeric", Val::Ref(1), true},
      {"is_numeric", Val::Str("1"), false},      {"is_numeric", Val::Ptr(nullptr), false},
      {"is_string", Val::Str(""), true},         {"is_string", Val::Real(0), false},
      {"is_array", Val::Array({}), true},        {"is_array", Val::Undefined(), false},
      {"is_bool", Val::Bool(false), true},       {"is_bool", Val::Real(0), false},
      {"is_undefined", Val::Undefined(), true},  {"is_undefined", Val::Kind(kRVNull), false},
      {"is_int32", Val::Int32(0), true},         {"is_int32", Val::Int64(0), false},
      {"is_int64", Val::Int64(0), true},         {"is_int64", Val::Int32(0), false},
      {"is_ptr", Val::Ptr(nullptr), true},       {"is_ptr", Val::Real(0), false},
      {"is_vec3", Val::Kind(kRVVec3), true},     {"is_vec4", Val::Kind(kRVVec4), true},
      {"is_matrix", Val::Kind(kRVMatrix), true}, {"is_matrix", Val::Kind(kRVVec4), false},
      {"is_struct", Val::Object(&object), true}, {"is_struct", Val::Object(&method), false},
      {"is_struct", Val::Array({}), false},      {"is_method", Val::Object(&method), true},
      {"is_method", Val::Object(&object), false}, {"is_method", Val::Real(3), false},
      {"is_nan", Val::Real(nan), true},          {"is_nan", Val::Real(1), false},
      {"is_nan", Val::Str("nan"), false},        {"is_infinity", Val::Real(inf), true},
      {"is_infinity", Val::Real(-inf), true},    {"is_infinity", Val::Real(1e308), false},
  };
  for (const Row& row : rows) {
    Val result = Call(row.name, Args({row.value}));
    EXPECT_EQ(result.kind(), kRVBool) << row.name;
    EXPECT_EQ(result->val, row.expected ? 1.0 : 0.0) << row.name << " " << row.value.text();
  }
}

TEST_F(FnValueTest, Conversions) {
  Val s = Call("string", Args({Val::Real(1.5)}));
  EXPECT_EQ(s.kind(), kRVString);
  EXPECT_EQ(s.text(), "1.50");
  EXPECT_EQ(Call("string", Args({Val::Real(2.0)})).text(), "2");
  EXPECT_EQ(Call("string", Args({Val::Real(-0.0)})).text(), "0");
  EXPECT_EQ(Call("string", Args({Val::Array({Val::Str("a"), Val::Real(1)})})).text(), "[ \"a\",1 ]");
  EXPECT_EQ(Raised("string", {Val::Unset()}), "STRING argument is unset");

  Val r = Call("real", Args({Val::Str("12.5")}));
  EXPECT_EQ(r.kind(), kRVReal);
  EXPECT_EQ(r->val, 12.5);
  EXPECT_EQ(Raised("real", {Val::Str("abc")}), "unable to convert string \"abc\" to number");

  Val b = Call("bool", Args({Val::Str("TRUE")}));
  EXPECT_EQ(b.kind(), kRVBool);
  EXPECT_EQ(b->val, 1.0);
  EXPECT_EQ(Call("bool", Args({Val::Real(0.2)}))->val, 0.0);

  Val i = Call("int64", Args({Val::Str("123456789012")}));
  EXPECT_EQ(i.kind(), kRVInt64);
  EXPECT_EQ(i->v64, 123456789012LL);
  EXPECT_EQ(Raised("int64", {Val::Undefined()}), "I64 argument is undefined");

  Val p = Call("ptr", Args({Val::Str("ff")}));
  EXPECT_EQ(p.kind(), kRVPtr);
  EXPECT_EQ(p->ptr, reinterpret_cast<void*>(0xff));
}

TEST_F(FnValueTest, EpsilonBuiltins) {
  EXPECT_EQ(Call("math_get_epsilon")->val, 0.00001);
  Call("math_set_epsilon", Args({Val::Real(0.5)}));
  EXPECT_EQ(Math_GetEpsilon(), 0.5);
  EXPECT_EQ(Call("math_get_epsilon")->val, 0.5);
  // Only [0, 1) is taken, and 0 stands for 1e-11.
  for (double ignored : {1.0, -0.25, 7.0}) {
    Call("math_set_epsilon", Args({Val::Real(ignored)}));
    EXPECT_EQ(Math_GetEpsilon(), 0.5) << ignored;
  }
  Call("math_set_epsilon", Args({Val::Real(0)}));
  EXPECT_EQ(Math_GetEpsilon(), 1e-11);
  EXPECT_EQ(Raised("math_set_epsilon", {Val::Str("x")}),
            "math_set_epsilon argument 1 incorrect type (string) expecting a Number (KVGR)");
}

TEST_F(FnValueTest, ArraySetOwner) {
  Call("@@array_set_owner@@", Args({Val::Int64(0x1234)}));
  EXPECT_EQ(g_CurrentArrayOwner, 0x1234);
  Call("@@array_set_owner@@", Args({Val::Real(99)}));
  EXPECT_EQ(g_CurrentArrayOwner, 99);
  int target = 0;
  Call("@@array_set_owner@@", Args({Val::Ptr(&target)}));
  EXPECT_EQ(g_CurrentArrayOwner, reinterpret_cast<intptr_t>(&target));
}

// ---- Arrays ------------------------------------------------------------------------------------------

TEST_F(FnValueTest, ArrayCreate) {
  g_CurrentArrayOwner = 0x77;
  Val a = Call("array_create", Args({Val::Real(3)}));
  ASSERT_EQ(a.kind(), kRVArray);
  EXPECT_EQ(a.array()->refCount, 1);
  EXPECT_EQ(a.array()->owner, 0x77);
  EXPECT_EQ(a.text(), "[ 0,0,0 ]");
  Val s = Val::Str("v");
  Val b = Call("array_create", Args({Val::Int32(2), s}));
  EXPECT_EQ(b.text(), "[ \"v\",\"v\" ]");
  EXPECT_EQ(s->pRefString->refCount, 3);
  EXPECT_EQ(Call("array_create", Args({Val::Real(0)})).text(), "[  ]");
  EXPECT_EQ(Call("array_create", Args({Val::Real(-4)})).text(), "[  ]");
  EXPECT_EQ(Raised("array_create", {Val::Undefined()}),
            "array_create argument 1 incorrect type (undefined) expecting a Number (KVGI32)");
}

TEST_F(FnValueTest, ArrayLengths) {
  Val grid = Val::Array({Val::Array({Val::Real(1), Val::Real(2)}), Val::Real(3)});
  EXPECT_EQ(Call("array_length", Args({grid}))->val, 2);
  EXPECT_EQ(Call("array_length", Args({grid})).kind(), kRVReal);
  EXPECT_EQ(Call("array_length_1d", Args({grid}))->val, 2);
  EXPECT_EQ(Call("array_height_2d", Args({grid}))->val, 2);
  EXPECT_EQ(Call("array_length", Args({Val::Real(5)}))->val, 0);
  EXPECT_EQ(Call("array_length", Args({Val::NullArray()}))->val, 0);
  EXPECT_EQ(Call("array_length_2d", Args({grid, Val::Real(0)}))->val, 2);
  EXPECT_EQ(Call("array_length_2d", Args({grid, Val::Real(1)}))->val, 0);
  EXPECT_EQ(Call("array_length_2d", Args({grid, Val::Real(9)}))->val, 0);
  EXPECT_EQ(Call("array_length_2d", Args({Val::Undefined(), Val::Real(0)}))->val, 0);
}

TEST_F(FnValueTest, ArrayGetAndSet) {
  Val a = Val::Array({Val::Real(1), Val::Str("two")});
  EXPECT_EQ(Call("array_get", Args({a, Val::Real(1)})).text(), "two");
  EXPECT_EQ(Raised("array_get", {a, Val::Real(2)}), "index out of bounds request 2 maximum size is 2");
  EXPECT_EQ(Raised("array_get", {Val::Real(1), Val::Real(0)}), "trying to index variable that is not an array");

  // The builtin writes the caller's array: same owner, so no copy.
  Val none = Call("array_set", Args({a, Val::Real(0), Val::Real(10)}));
  EXPECT_EQ(none.kind(), kRVUndefined);
  EXPECT_EQ(a.text(), "[ 10,\"two\" ]");
  Val old = Call("array_set_pre", Args({a, Val::Real(0), Val::Real(11)}));
  EXPECT_EQ(old.text(), "10");
  Val now = Call("array_set_post", Args({a, Val::Real(0), Val::Real(12)}));
  EXPECT_EQ(now.text(), "12");
  Call("array_set", Args({a, Val::Real(3), Val::Str("end")}));
  EXPECT_EQ(a.text(), "[ 12,\"two\",0,\"end\" ]");
  Call("array_set", Args({a, Val::Real(-1), Val::Real(5)}));
  EXPECT_EQ(a.text(), "[ 12,\"two\",0,\"end\" ]");
}

TEST_F(FnValueTest, ArraySetFromAnotherOwnerDoesNotTouchTheCallersArray) {
  g_CurrentArrayOwner = 1;
  Val a = Val::Array({Val::Real(1)});
  Val alias = a;
  g_CurrentArrayOwner = 2;
  std::vector<Val> args = Args({a, Val::Real(0), Val::Real(9)});
  Call("array_set", args);
  EXPECT_EQ(a.text(), "[ 1 ]");
  EXPECT_NE(args[0].array(), a.array());  // the write went to a private copy
  EXPECT_EQ(args[0].text(), "[ 9 ]");
}

TEST_F(FnValueTest, TwoDimensionalAccess) {
  Val grid = Val::Array({});
  Call("array_set_2D", Args({grid, Val::Real(1), Val::Real(2), Val::Str("x")}));
  EXPECT_EQ(grid.text(), "[ 0,[ 0,0,\"x\" ] ]");
  EXPECT_EQ(Call("array_get_2D", Args({grid, Val::Real(1), Val::Real(2)})).text(), "x");
  EXPECT_EQ(Call("array_set_2D_pre", Args({grid, Val::Real(1), Val::Real(2), Val::Real(5)})).text(), "x");
  EXPECT_EQ(Call("array_set_2D_post", Args({grid, Val::Real(1), Val::Real(0), Val::Real(6)})).text(), "6");
  EXPECT_EQ(grid.text(), "[ 0,[ 6,0,5 ] ]");
  Call("array_set_2D", Args({grid, Val::Real(0), Val::Real(0), Val::Real(7)}));  // the number becomes an array
  EXPECT_EQ(grid.text(), "[ [ 7 ],[ 6,0,5 ] ]");
  EXPECT_EQ(Raised("array_get_2D", {grid, Val::Real(1), Val::Real(3)}),
            "index out of bounds request 3 maximum size is 3");
  EXPECT_EQ(Raised("array_get_2D", {grid, Val::Real(2), Val::Real(0)}),
            "index out of bounds request 2 maximum size is 2");
}

TEST_F(FnValueTest, PushAndPop) {
  g_CurrentArrayOwner = 1;
  Val a = Val::Array({Val::Real(1)});
  Val alias = a;
  g_CurrentArrayOwner = 2;  // push writes as the array's own owner: never a copy
  Call("array_push", Args({a, Val::Real(2), Val::Str("three")}));
  EXPECT_EQ(alias.text(), "[ 1,2,\"three\" ]");
  EXPECT_EQ(a.array(), alias.array());
  for (int i = 0; i < 1000; ++i) Call("array_push", Args({a, Val::Int32(i)}));
  EXPECT_EQ(a.array()->length, 1003);
  EXPECT_EQ(a.array()->pArray[1002].v32, 999);

  Val popped = Call("array_pop", Args({a}));
  EXPECT_EQ(popped.kind(), kRVInt32);
  EXPECT_EQ(popped->v32, 999);
  EXPECT_EQ(a.array()->length, 1002);
  Val b = Val::Array({Val::Str("only")});
  Val s = Call("array_pop", Args({b}));
  EXPECT_EQ(s.text(), "only");
  EXPECT_EQ(s->pRefString->refCount, 1);  // moved out, not copied
  EXPECT_EQ(Call("array_pop", Args({b})).kind(), kRVUndefined);
  EXPECT_EQ(Call("array_pop", Args({Val::Real(1)})).kind(), kRVUndefined);
}

TEST_F(FnValueTest, Insert) {
  Val a = Val::Array({Val::Real(1), Val::Real(4)});
  Call("array_insert", Args({a, Val::Real(1), Val::Real(2), Val::Str("3")}));
  EXPECT_EQ(a.text(), "[ 1,2,\"3\",4 ]");
  Call("array_insert", Args({a, Val::Real(4), Val::Real(5)}));
  EXPECT_EQ(a.text(), "[ 1,2,\"3\",4,5 ]");
  Call("array_insert", Args({a, Val::Real(7), Val::Real(8)}));
  EXPECT_EQ(a.text(), "[ 1,2,\"3\",4,5,0,0,8 ]");
  Call("array_insert", Args({a, Val::Real(0), Val::Real(0)}));
  EXPECT_EQ(a.text(), "[ 0,1,2,\"3\",4,5,0,0,8 ]");
  EXPECT_EQ(Raised("array_insert", {a, Val::Real(-1), Val::Real(0)}), "array_insert :: base index cannot be negative");
  a.array()->arrayFlags |= kArrayImmutable;
  EXPECT_EQ(Raised("array_insert", {a, Val::Real(0), Val::Real(0)}), "Unable to resize an immutable array");
  a.array()->arrayFlags = 0;
}

TEST_F(FnValueTest, Delete) {
  Val a = Val::Array({Val::Real(0), Val::Str("1"), Val::Real(2), Val::Real(3), Val::Real(4)});
  Call("array_delete", Args({a, Val::Real(1), Val::Real(2)}));
  EXPECT_EQ(a.text(), "[ 0,3,4 ]");
  Call("array_delete", Args({a, Val::Real(1), Val::Real(10)}));  // clipped at the end
  EXPECT_EQ(a.text(), "[ 0 ]");
  EXPECT_EQ(Raised("array_delete", {a, Val::Real(-1), Val::Real(1)}), "array_delete :: base index cannot be negative");
  EXPECT_EQ(Raised("array_delete", {a, Val::Real(0), Val::Real(-1)}),
            "array_delete :: count delete cannot be negative");
  EXPECT_EQ(Raised("array_delete", {a, Val::Real(1), Val::Real(1)}),
            "array_delete :: index is not within the array bounds");
  // Growth after a delete sees real 0, not the deleted values.
  Call("array_resize", Args({a, Val::Real(3)}));
  EXPECT_EQ(a.text(), "[ 0,0,0 ]");
}

TEST_F(FnValueTest, Resize) {
  Val a = Val::Array({Val::Str("a"), Val::Str("b")});
  Call("array_resize", Args({a, Val::Real(4)}));
  EXPECT_EQ(a.text(), "[ \"a\",\"b\",0,0 ]");
  Call("array_resize", Args({a, Val::Real(1)}));
  EXPECT_EQ(a.text(), "[ \"a\" ]");
  a.array()->arrayFlags |= kArrayImmutable;
  EXPECT_EQ(Raised("array_resize", {a, Val::Real(3)}), "Unable to resize an immutable array");
  a.array()->arrayFlags = 0;
}

TEST_F(FnValueTest, Copy) {
  Val src = Val::Array({Val::Real(1), Val::Real(2), Val::Real(3), Val::Real(4)});
  Val dst = Val::Array({Val::Str("d")});
  Call("array_copy", Args({dst, Val::Real(2), src, Val::Real(1), Val::Real(2)}));
  EXPECT_EQ(dst.text(), "[ \"d\",0,2,3 ]");
  Call("array_copy", Args({dst, Val::Real(0), src, Val::Real(3), Val::Real(10)}));  // clipped to the source
  EXPECT_EQ(dst.text(), "[ 4,0,2,3 ]");
  // Overlapping ranges of one array copy the values as they were.
  Call("array_copy", Args({src, Val::Real(1), src, Val::Real(0), Val::Real(3)}));
  EXPECT_EQ(src.text(), "[ 1,1,2,3 ]");
  Call("array_copy", Args({src, Val::Real(0), src, Val::Real(1), Val::Real(3)}));
  EXPECT_EQ(src.text(), "[ 1,2,3,3 ]");
  Call("array_copy", Args({src, Val::Real(2), src, Val::Real(0), Val::Real(4)}));
  EXPECT_EQ(src.text(), "[ 1,2,1,2,3,3 ]");
  EXPECT_EQ(Raised("array_copy", {dst, Val::Real(0), src, Val::Real(0)}), "array_copy :: takes 5 arguments");
}

TEST_F(FnValueTest, SortWithABool) {
  Val a = Val::Array({Val::Real(3), Val::Real(1), Val::Int32(2), Val::Real(1.000001), Val::Int64(-5)});
  Call("array_sort", Args({a, Val::Bool(true)}));
  EXPECT_EQ(a.text(), "[ -5,1,1.00,2,3 ]");
  Call("array_sort", Args({a, Val::Bool(false)}));
  EXPECT_EQ(a.text(), "[ 3,2,1,1.00,-5 ]");  // stable: the two equal values keep their order
  Val s = Val::Array({Val::Str("pear"), Val::Str("apple"), Val::Str("fig")});
  Call("array_sort", Args({s, Val::Bool(true)}));
  EXPECT_EQ(s.text(), "[ \"apple\",\"fig\",\"pear\" ]");
  // Pairs that cannot be ordered do not break the sort.
  Val mixed = Val::Array({Val::Real(2), Val::Undefined(), Val::Str("b"), Val::Real(1), Val::Array({})});
  Call("array_sort", Args({mixed, Val::Bool(true)}));
  EXPECT_EQ(mixed.array()->length, 5);
}

TEST_F(FnValueTest, SortLeavesTheArrayAsItWasWhenAComparisonRaises) {
  Val a = Val::Array({Val::Real(2), Val::Unset(), Val::Real(1)});
  EXPECT_EQ(Raised("array_sort", {a, Val::Bool(true)}), "Cannot compare unset variables");
  EXPECT_EQ(a.array()->pArray[0].val, 2);
  EXPECT_EQ(RV_Kind(a.array()->pArray[1]), kRVUnset);
  EXPECT_EQ(a.array()->pArray[2].val, 1);
}

// A builtin used as a comparator through its row index: descending order.
void Descending(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  *result = RV_Real(RV_ToDouble(argv[1]) - RV_ToDouble(argv[0]));
}

TEST_F(FnValueTest, SortWithABuiltinIndex) {
  Function_Add("test_descending", Descending, 2, 1);
  int32_t id = -1;
  ASSERT_TRUE(Function_Find("test_descending", &id));
  Val a = Val::Array({Val::Real(1), Val::Real(3), Val::Real(2)});
  Call("array_sort", Args({a, Val::Real(id)}));
  EXPECT_EQ(a.text(), "[ 3,2,1 ]");
  EXPECT_EQ(Raised("array_sort", {a, Val::Real(id + 1000)}), "argument is not a method, unable to call");
  EXPECT_EQ(Raised("array_sort", {a, Val::Str("f")}), "argument is not a method, unable to call");
  EXPECT_EQ(a.text(), "[ 3,2,1 ]");
}

int g_hook_calls = 0;

bool ShortestFirst(const RValue* function, int argc, RValue* argv, RValue* result) {
  if (RV_Kind(*function) != kRVObject) return false;
  ++g_hook_calls;
  EXPECT_EQ(argc, 2);
  *result = RV_Real(static_cast<double>(std::strlen(RV_StringText(argv[0]))) -
                    static_cast<double>(std::strlen(RV_StringText(argv[1]))));
  return true;
}

TEST_F(FnValueTest, SortWithTheCallHook) {
  Value_SetCallHook(ShortestFirst);
  KVObjectBase method(kObjScriptRef);
  Val a = Val::Array({Val::Str("ccc"), Val::Str("a"), Val::Str("bb"), Val::Str("d")});
  g_hook_calls = 0;
  Call("array_sort", Args({a, Val::Object(&method)}));
  EXPECT_GT(g_hook_calls, 0);
  EXPECT_EQ(a.text(), "[ \"a\",\"d\",\"bb\",\"ccc\" ]");  // stable for equal lengths
  for (int i = 0; i < 4; ++i) EXPECT_EQ(a.array()->pArray[i].pRefString->refCount, 1) << i;
  EXPECT_EQ(Raised("array_sort", {a, Val::Real(0)}), "argument is not a method, unable to call");
}

TEST_F(FnValueTest, Equals) {
  Val a = Val::Array({Val::Real(1), Val::Array({Val::Str("x")}), Val::Int32(3)});
  Val b = Val::Array({Val::Real(1.000001), Val::Array({Val::Str("x")}), Val::Real(3)});
  Val r = Call("array_equals", Args({a, b}));
  EXPECT_EQ(r.kind(), kRVBool);
  EXPECT_EQ(r->val, 1.0);
  Val c = Val::Array({Val::Real(1), Val::Array({Val::Str("y")}), Val::Int32(3)});
  EXPECT_EQ(Call("array_equals", Args({a, c}))->val, 0.0);
  Val shorter = Val::Array({Val::Real(1)});
  EXPECT_EQ(Call("array_equals", Args({a, shorter}))->val, 0.0);
  Val u = Val::Array({Val::Undefined()});
  EXPECT_EQ(Call("array_equals", Args({u, u}))->val, 1.0);
  EXPECT_EQ(Raised("array_equals", {a}), "array_equals :: takes 2 arguments");
  EXPECT_EQ(Raised("array_equals", {Val::Real(1), a}), "array_equals :: argument 0 is not an array");
  EXPECT_EQ(Raised("array_equals", {a, Val::Str("a")}), "array_equals :: argument 1 is not an array");
}

TEST_F(FnValueTest, EqualsOnArraysThatHoldThemselves) {
  Val a = Val::Array({Val::Real(1)});
  RV_ArrayWrite(a.get(), 1, a.get());
  Val b = Val::Array({Val::Real(1)});
  RV_ArrayWrite(b.get(), 1, b.get());
  EXPECT_EQ(Call("array_equals", Args({a, b}))->val, 1.0);
  RV_ArraySetLength(a.array(), 1);
  RV_ArraySetLength(b.array(), 1);
}

TEST_F(FnValueTest, MissingArgumentsReadAsUndefined) {
  EXPECT_EQ(Raised("typeof"), "");
  EXPECT_EQ(Call("typeof").text(), "undefined");
  EXPECT_EQ(Call("array_length")->val, 0);
  EXPECT_EQ(Raised("array_get", {Val::Array({})}),
            "array_get argument 2 incorrect type (undefined) expecting a Number (KVGI32)");
}

}  // namespace
}  // namespace value_test

#pragma once
// Helpers for the value model's tests: Val, an RValue that owns its reference; ValueBuiltinsTest, a
// fixture with the value builtins registered that calls them by name through the function table, as
// the calls layer does; and ObjectTest, the same for the object builtins. The message of the script
// error a call raised comes from ErrorRaisedBy (support/builtin_call.h).
#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "core/error.h"
#include "core/fn_object.h"
#include "core/fn_value.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "core/variable_names.h"
#include "support/builtin_call.h"

namespace value_test {

inline std::string TextOf(const RValue& v) {
  char* t = RV_ToText(v);
  std::string s = t;
  KV_FREE(t);
  return s;
}

class Val {
 public:
  Val() : v_(RV_Undefined()) {}
  // Takes over raw's reference.
  explicit Val(const RValue& raw) : v_(raw) {}
  Val(const Val& other) : v_(RV_Undefined()) { RV_CopyRef(&v_, &other.v_); }
  Val(Val&& other) noexcept : v_(other.v_) { other.v_ = RV_Undefined(); }
  Val& operator=(const Val& other) {
    RV_Assign(&v_, &other.v_);
    return *this;
  }
  Val& operator=(Val&& other) noexcept {
    std::swap(v_, other.v_);
    return *this;
  }
  ~Val() { RV_FreeToUndefined(&v_); }

  static Val Real(double d) { return Val(RV_Real(d)); }
  static Val Bool(bool b) { return Val(RV_Bool(b)); }
  static Val BoolRaw(double d) {
    RValue v = RV_Real(d);
    v.kind = kRVBool;
    return Val(v);
  }
  static Val Int32(int32_t i) { return Val(RV_Int32(i)); }
  static Val Int64(int64_t i) { return Val(RV_Int64(i)); }
  static Val Ref(int32_t i) {
    RValue v = RV_Int32(i);
    v.kind = kRVRef;
    return Val(v);
  }
  static Val Ptr(void* p) { return Val(RV_Ptr(p)); }
  static Val Undefined() { return Val(RV_Undefined()); }
  static Val Unset() { return Val(RV_Unset()); }
  static Val Kind(uint32_t kind) {
    RValue v = RV_Undefined();
    v.kind = kind;
    return Val(v);
  }
  static Val Str(const char* text) {
    RValue v = RV_Undefined();
    RV_SetString(&v, text);
    return Val(v);
  }
  // A string record with null text (size 0), as two null strings joined give.
  static Val NullText() {
    RValue v = RV_Undefined();
    RV_SetStringConst(&v, nullptr);
    return Val(v);
  }
  // A string value with no record at all.
  static Val NullString() {
    RValue v = RV_Undefined();
    v.kind = kRVString;
    return Val(v);
  }
  static Val Array(std::initializer_list<Val> elements) {
    RefDynamicArrayOfRValue* array = RV_NewArray(static_cast<int32_t>(elements.size()));
    int32_t i = 0;
    for (const Val& element : elements) RV_CopyRef(&array->pArray[i++], element.get());
    RValue v;
    v.pArray = array;
    v.flags = 0;
    v.kind = kRVArray;
    return Val(v);
  }
  static Val NullArray() {
    RValue v = RV_Undefined();
    v.kind = kRVArray;
    return Val(v);
  }
  static Val Object(KVObjectBase* object) {
    RValue v = RV_Undefined();
    v.pObj = object;
    v.kind = kRVObject;
    return Val(v);
  }

  RValue* get() { return &v_; }
  const RValue* get() const { return &v_; }
  const RValue& operator*() const { return v_; }
  RValue* operator->() { return &v_; }
  const RValue* operator->() const { return &v_; }
  uint32_t kind() const { return RV_Kind(v_); }
  RefDynamicArrayOfRValue* array() const { return RV_Kind(v_) == kRVArray ? v_.pArray : nullptr; }

  // The value's text as RV_ToText gives it.
  std::string text() const { return TextOf(v_); }

 private:
  RValue v_;
};

// An argument list written in place: Call("f", Args({Val::Real(1)})).
inline std::vector<Val> Args(std::initializer_list<Val> values) { return std::vector<Val>(values); }

// Restores the globals that value tests change.
class ValueGlobalsGuard {
 public:
  ValueGlobalsGuard()
      : owner_(g_CurrentArrayOwner), copy_on_write_(g_CopyOnWrite), epsilon_(Math_GetEpsilon()),
        current_(g_CurrentFunction) {}
  ~ValueGlobalsGuard() {
    g_CurrentArrayOwner = owner_;
    g_CopyOnWrite = copy_on_write_;
    Math_SetEpsilon(epsilon_);
    g_CurrentFunction = current_;
    g_ArrayIndexFailure = ArrayIndexFailure{};
    Value_SetObjectTextHook(nullptr);
    Value_SetCallHook(nullptr);
    Scratch_Reset();
  }
  ValueGlobalsGuard(const ValueGlobalsGuard&) = delete;
  ValueGlobalsGuard& operator=(const ValueGlobalsGuard&) = delete;

 private:
  int64_t owner_;
  bool copy_on_write_;
  double epsilon_;
  const RFunction* current_;
};

class ValueTest : public ::testing::Test {
 protected:
  void TearDown() override { GCCollectAll(); }
  ValueGlobalsGuard guard_;
};

class ValueBuiltinsTest : public ValueTest {
 protected:
  void SetUp() override {
    Function_Clear();
    Value_RegisterBuiltins();
    Value_RegisterEpsilonBuiltins();
  }
  void TearDown() override {
    Function_Clear();
    ValueTest::TearDown();
  }

  // Calls a builtin by name with copies of args, as the calls layer passes them; what the builtin
  // leaves in its argv is handed back into args, so a test can look at argv[0] afterwards.
  Val Call(const char* name, std::vector<Val>& args) {
    int32_t id = -1;
    EXPECT_TRUE(Function_Find(name, &id)) << name;
    const RFunction* row = Function_Row(id);
    EXPECT_NE(row, nullptr) << name;
    std::vector<RValue> argv(args.size() + 1);
    for (size_t i = 0; i < args.size(); ++i) {
      argv[i] = *args[i].get();
      *args[i].get() = RV_Undefined();
    }
    struct GiveBack {
      std::vector<Val>& args;
      std::vector<RValue>& argv;
      const RFunction* saved = g_CurrentFunction;
      ~GiveBack() {
        g_CurrentFunction = saved;
        for (size_t i = 0; i < args.size(); ++i) args[i] = Val(argv[i]);
      }
    } give_back{args, argv};
    Val result;
    g_CurrentFunction = row;
    row->handler(result.get(), nullptr, nullptr, static_cast<int>(args.size()), argv.data());
    return result;
  }
  Val Call(const char* name, std::vector<Val>&& args) { return Call(name, args); }
  Val Call(const char* name) {
    std::vector<Val> none;
    return Call(name, none);
  }
  // A builtin's result text, which must be a string.
  std::string Text(const char* name, std::vector<Val> args) {
    Val result = Call(name, args);
    EXPECT_EQ(result.kind(), kRVString) << name;
    return RV_StringText(*result);
  }
  // The message a call of the builtin raises, "" when it raises none.
  std::string Raised(const char* name, std::vector<Val> args = {}) {
    return ErrorRaisedBy([&] { Call(name, args); });
  }
};

// Calls a registered builtin by name with self as both self and other; the arguments are lent bit
// for bit, as the calls layer lends them.
inline Val CallNamed(const char* name, const std::vector<Val>& args, KVObjectBase* self = nullptr) {
  int32_t id = -1;
  EXPECT_TRUE(Function_Find(name, &id)) << name;
  std::vector<RValue> argv;
  for (const Val& a : args) argv.push_back(*a);
  Val result;
  if (id < 0) return result;
  Function_Row(id)->handler(result.get(), KV_AsInstance(self), KV_AsInstance(self), static_cast<int>(argv.size()),
                            argv.data());
  return result;
}

// The object model's fixture: an empty collector, name table and function table with the object
// builtins registered, all emptied again after the test.
class ObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    Variable_ResetNames();
    Function_Clear();
    Object_RegisterBuiltins();
  }
  void TearDown() override {
    Object_SetInstanceSelector(nullptr);
    Object_SetBuiltinVariables({});
    GC_Reset();
    Function_Clear();
    Variable_ResetNames();
  }
  static Val Call(const char* name, const std::vector<Val>& args, KVObjectBase* self = nullptr) {
    return CallNamed(name, args, self);
  }

  ValueGlobalsGuard guard_;
};

}  // namespace value_test

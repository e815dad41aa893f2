// Function objects: methods bound and unbound, the call path, constructors through
// @@NewTSLObject@@ with a small script table, statics and instanceof.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/code_tables.h"
#include "core/error.h"
#include "core/fn_object.h"
#include "core/fn_value.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "value_test_support.h"

namespace {

using value_test::Val;

const RValue* Arg(int argc, RValue** argv, int n) { return n < argc ? argv[n] : &g_Undefined; }

// tsl_Script_Point(x, y): a constructor.
RValue* Point(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  Object_SetRValue(KV_AsObject(self), "x", Arg(argc, argv, 0));
  Object_SetRValue(KV_AsObject(self), "y", Arg(argc, argv, 1));
  *result = RV_Real(-1);  // a constructor's result is dropped
  return result;
}

// tsl_Script_Probe(args...): 1000 * (self's table id) + the sum of its arguments.
RValue* Probe(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  double sum = 0;
  for (int i = 0; i < argc; ++i) sum += RV_ToDouble(*argv[i]);
  *result = RV_Real(1000.0 * (self != nullptr ? KV_AsObject(self)->slotId : -1) + sum);
  return result;
}

// tsl_Script_Descending(a, b): a comparator for array_sort.
RValue* Descending(CInstance*, CInstance*, RValue* result, int argc, RValue** argv) {
  *result = RV_Real(RV_ToDouble(*Arg(argc, argv, 1)) - RV_ToDouble(*Arg(argc, argv, 0)));
  return result;
}

void F_Twice(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Real(argc > 0 ? 2 * RV_ToDouble(argv[0]) : -1);
}

KVScriptRow g_rows[] = {
    {"tsl_Script_Point", reinterpret_cast<KVCodeFunction>(Point), nullptr},
    {"tsl_Script_Probe", reinterpret_cast<KVCodeFunction>(Probe), nullptr},
    {"tsl_Script_Descending", reinterpret_cast<KVCodeFunction>(Descending), nullptr},
};
constexpr int32_t kPoint = 100000;
constexpr int32_t kProbe = 100001;

class ObjectMethodTest : public value_test::ObjectTest {
 protected:
  void SetUp() override {
    ObjectTest::SetUp();
    Value_RegisterBuiltins();
    Function_Add("test_twice", F_Twice, 1, 1);
    Function_Find("test_twice", &twice_);
    tables_.scriptCount = 3;
    tables_.scriptTable = g_rows;
    g_CodeTables = &tables_;
    KVScript_SetConstructor(0, true);
    KVScript_SetConstructor(1, false);
    KVScript_SetConstructor(2, false);
    Object_CreateGlobal(0);
  }
  void TearDown() override {
    g_CodeTables = nullptr;
    ObjectTest::TearDown();
  }

  static double CallWith(KVObjectBase* self, const Val& method, std::vector<Val> args) {
    std::vector<RValue*> pointers;
    for (Val& a : args) pointers.push_back(a.get());
    Val result;
    Val callee = method;
    CallMethod(KV_AsInstance(self), KV_AsInstance(self), result.get(), static_cast<int>(pointers.size()), callee.get(),
               pointers.data());
    return RV_ToDouble(*result);
  }

  KVCodeTables tables_;
  int32_t twice_ = -1;
};

TEST_F(ObjectMethodTest, UnboundMethodTakesTheCallersSelfAndBoundKeepsItsOwn) {
  KVObjectBase* a = Object_NewStruct();
  KVObjectBase* b = Object_NewStruct();
  const Val unbound = Call("method", {Val::Undefined(), Val::Real(kProbe)});
  const Val bound = Call("method", {Val::Object(b), Val::Real(kProbe)});
  ASSERT_NE(RV_ScriptRefOf(*bound), nullptr);

  EXPECT_EQ(CallWith(a, unbound, {Val::Real(1), Val::Real(2)}), 1000.0 * a->slotId + 3);
  EXPECT_EQ(CallWith(b, unbound, {}), 1000.0 * b->slotId);
  EXPECT_EQ(CallWith(a, bound, {Val::Real(5)}), 1000.0 * b->slotId + 5);

  EXPECT_EQ(Call("method_get_self", {bound})->pObj, b);
  EXPECT_EQ(Call("method_get_self", {unbound}).kind(), kRVUndefined);
  EXPECT_EQ(Call("method_get_index", {bound})->val, kProbe);
  EXPECT_EQ(Call("method_get_index", {Val::Real(3)}).kind(), kRVUndefined);
  EXPECT_STREQ(RV_ScriptRefOf(*bound)->name, "Probe");

  // Rebinding a method to another self keeps its function.
  const Val rebound = Call("method", {Val::Object(a), bound});
  EXPECT_EQ(CallWith(b, rebound, {}), 1000.0 * a->slotId);
}

TEST_F(ObjectMethodTest, BuiltinFunctionObjectsAndFunctionIndexesCall) {
  const Val method = Call("method", {Val::Undefined(), Val::Real(twice_)});
  EXPECT_EQ(method->flags & 1u, 1u);
  EXPECT_EQ(CallWith(nullptr, method, {Val::Real(21)}), 42.0);
  EXPECT_EQ(Call("method_get_index", {method})->val, twice_);
  EXPECT_EQ(CallWith(nullptr, Val::Real(twice_), {Val::Real(4)}), 8.0);
  EXPECT_EQ(CallWith(nullptr, Val::Int64(kProbe), {Val::Real(4)}), -1000.0 + 4);

  const struct {
    const char* what;
    Val callee;
    const char* message;
  } cases[] = {
      {"past the builtins", Val::Real(Function_Count()), "attempting to call invalid function with script index %d"},
      {"missing script", Val::Real(100003), "attempting to call invalid function with script index 100003"},
      {"string", Val::Str("f"), "argument is not a method, unable to call"},
      {"null object", Val::Object(nullptr), "argument is not a method, unable to call"},
      {"struct", Val::Object(Object_NewStruct()), "argument is not a method, unable to call"},
  };
  for (const auto& c : cases) {
    std::string expected = c.message;
    if (expected.find("%d") != std::string::npos) {
      expected.replace(expected.find("%d"), 2, std::to_string(Function_Count()));
    }
    EXPECT_EQ(ErrorRaisedBy([&] { CallWith(nullptr, c.callee, {}); }), expected) << c.what;
  }
}

TEST_F(ObjectMethodTest, ConstructorBuildsAStructWithItsStaticAsPrototype) {
  KVObjectBase* caller = Object_NewStruct();
  const Val made = Call("@@NewTSLObject@@", {Val::Real(kPoint), Val::Real(3), Val::Real(4)}, caller);
  KVObjectBase* point = RV_ObjectOf(*made);
  ASSERT_NE(point, nullptr);
  Val out;
  Object_GetVarOrRaise(point, Variable_GetSlot("x"), kIndexWholeValue, out.get());
  EXPECT_EQ(out->val, 3.0);
  Object_GetVarOrRaise(point, Variable_GetSlot("y"), kIndexWholeValue, out.get());
  EXPECT_EQ(out->val, 4.0);
  EXPECT_EQ(point->prototype, KVGetStaticStruct(kPoint));
  EXPECT_STREQ(point->prototype->className, "[[Method]]");
  EXPECT_EQ(Call("instanceof", {made}).text(), "Point");
  EXPECT_EQ(Call("static_get", {made})->pObj, KVGetStaticStruct(kPoint));

  // The constructor is now a global variable named after the script, and it stays unbound.
  const RValue* stored = g_GlobalObject->FindOwnSlot(Variable_GetSlot("Point"));
  ASSERT_NE(stored, nullptr);
  CScriptRef* constructor = RV_ScriptRefOf(*stored);
  ASSERT_NE(constructor, nullptr);
  EXPECT_EQ(RV_Kind(constructor->boundSelf), kRVUnset);
  EXPECT_NE(constructor->flags & kObjFlagConstructor, 0u);

  const Val again = Call("@@NewTSLObject@@", {Val(*stored), Val::Real(1)});
  EXPECT_EQ(RV_ObjectOf(*again)->prototype, point->prototype);
  EXPECT_EQ(Call("@@instanceof@@", {made, Val(*stored)})->val, 1.0);
  EXPECT_EQ(Call("@@instanceof@@", {made, Val(*stored)}).kind(), kRVBool);
  const Val probe = Call("method", {Val::Undefined(), Val::Real(kProbe)});
  EXPECT_EQ(Call("@@instanceof@@", {made, probe})->val, 0.0);
  EXPECT_EQ(Call("@@instanceof@@", {Val::Real(1), Val(*stored)})->val, 0.0);

  const Val literal = Call("@@NewTSLObject@@", {});
  EXPECT_EQ(RV_ObjectOf(*literal)->prototype, Object_RootPrototype());
  EXPECT_EQ(Call("instanceof", {literal}).text(), "Object");
}

TEST_F(ObjectMethodTest, NewRefusesWhatIsNotAConstructor) {
  const Val probe = Call("method", {Val::Undefined(), Val::Real(kProbe)});
  const struct {
    const char* what;
    Val target;
    const char* message;
  } cases[] = {
      {"unset", Val::Unset(), "Trying to find a constructor which does not exist"},
      {"number below the scripts", Val::Real(5), "Trying to construct something that isn't a function"},
      {"missing script", Val::Real(100009), "Trying to construct something that isn't a function"},
      {"struct", Val::Object(Object_NewStruct()), "Trying to construct something that isn't a function"},
      {"plain script", Val::Real(kProbe), "target function for 'new' must be a constructor"},
      {"plain method", probe, "target function for 'new' must be a constructor"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ErrorRaisedBy([&] { Call("@@NewTSLObject@@", {c.target}); }), c.message) << c.what;
  }
}

TEST_F(ObjectMethodTest, CompiledMethodsShareTheRowsStaticStructAndConstructorFlag) {
  Val made;
  KVCreateMethod(made.get(), Point, nullptr);
  CScriptRef* point = RV_ScriptRefOf(*made);
  ASSERT_NE(point, nullptr);
  EXPECT_EQ(point->compiled, Point);
  EXPECT_STREQ(point->name, "Point");
  EXPECT_NE(point->flags & kObjFlagConstructor, 0u);
  EXPECT_EQ(point->prototypeObject, KVGetStaticStruct(kPoint));
  EXPECT_EQ(point->prototype, Object_MethodPrototype());

  KVObjectBase* self = Object_NewStruct();
  Val bound;
  KVCreateMethod(bound.get(), Probe, KV_AsInstance(self));
  EXPECT_EQ(CallWith(nullptr, bound, {Val::Real(1)}), 1000.0 * self->slotId + 1);
  EXPECT_EQ(RV_ScriptRefOf(*bound)->flags & kObjFlagConstructor, 0u);
  EXPECT_EQ(Call("method_get_index", {bound})->val, kProbe);

  KVObjectBase* statics = KVGetStaticStruct(kProbe);
  EXPECT_EQ(KVGetStaticStruct(kProbe), statics);
  EXPECT_EQ(KVGetStaticStruct(100009), nullptr);
  KVSetClassName(statics, "first");
  KVSetClassName(statics, "second");
  EXPECT_STREQ(statics->className, "first") << "the first caller's name sticks";
}

TEST_F(ObjectMethodTest, InstanceofWords) {
  KVObjectBase* anonymous = Object_NewStruct();
  anonymous->className = "___struct___12";
  KVObjectBase* nameless = Object_NewStruct();
  nameless->className = nullptr;
  KVObjectBase* named = Object_NewStruct();
  named->className = "Enemy";
  const struct {
    const char* what;
    Val value;
    const char* word;  // null: undefined
  } cases[] = {
      {"struct literal", Val::Object(Object_NewStruct()), "Object"},
      {"anonymous constructor", Val::Object(anonymous), "struct"},
      {"no class", Val::Object(nameless), "<unknown>"},
      {"other class", Val::Object(named), "Enemy"},
      {"global", Val::Object(g_GlobalObject), "global"},
      {"method", Call("method", {Val::Undefined(), Val::Real(kProbe)}), "function"},
      {"weak reference", Call("weak_ref_create", {Val::Object(named)}), "weakref"},
      {"array", Val::Array({}), nullptr},
      {"number", Val::Real(1), nullptr},
      {"null object", Val::Object(nullptr), nullptr},
  };
  for (const auto& c : cases) {
    const Val word = Call("instanceof", {c.value});
    if (c.word == nullptr) {
      EXPECT_EQ(word.kind(), kRVUndefined) << c.what;
    } else {
      EXPECT_EQ(word.text(), c.word) << c.what;
    }
  }
  EXPECT_EQ(ErrorRaisedBy([&] { Call("instanceof", {Val::Real(1), Val::Real(2)}); }),
            "too many arguments to instanceof");
}

TEST_F(ObjectMethodTest, InstanceofOperatorMessages) {
  const Val constructor = Call("method", {Val::Undefined(), Val::Real(kPoint)});
  const Val builtin_fn = Call("method", {Val::Undefined(), Val::Real(twice_)});
  RV_ScriptRefOf(*builtin_fn)->hasInstance = nullptr;
  const Val s = Val::Object(Object_NewStruct());
  const struct {
    const char* what;
    Val lhs;
    Val rhs;
    const char* message;
  } cases[] = {
      {"lhs unset", Val::Unset(), constructor, "lhs of instanceof does not exist"},
      {"rhs unset", s, Val::Unset(), "rhs of instanceof does not exist"},
      {"rhs number", s, Val::Real(1), "Trying to look for instances of something which isn't an object"},
      {"rhs struct", s, s, "Trying to find instances of something which isn't a function (1)"},
      {"rhs null", s, Val::Object(nullptr), "Trying to find instances of something which isn't a function (1)"},
      {"rhs without test", s, builtin_fn, "Trying to find instances of something which isn't a function (2)"},
      {"lhs array", Val::Array({}), constructor, "Left-hand side of instanceof is not an object"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ErrorRaisedBy([&] { Call("@@instanceof@@", {c.lhs, c.rhs}); }), c.message) << c.what;
  }
}

TEST_F(ObjectMethodTest, MethodFindsInstancesThroughTheSelector) {
  EXPECT_EQ(ErrorRaisedBy([&] { Call("method", {Val::Real(100004), Val::Real(kProbe)}); }),
            "Unable to find instance for id 100004");
  EXPECT_EQ(Call("method_get_self", {Call("method", {Val::Real(-16), Val::Real(kProbe)})}).kind(), kRVUndefined);
  EXPECT_EQ(Call("@@GetInstance@@", {Val::Real(100004)}).kind(), kRVUndefined);

  static KVObjectBase* instance;
  instance = Object_NewStruct();
  Object_SetInstanceSelector([](int32_t id, InstanceVisitor visit, void* context) {
    if (id == 100004) visit(instance, context);
  });
  EXPECT_EQ(Call("method_get_self", {Call("method", {Val::Real(100004), Val::Real(kProbe)})})->pObj, instance);
  EXPECT_EQ(Call("@@GetInstance@@", {Val::Real(100004)})->pObj, instance);
}

TEST_F(ObjectMethodTest, ScopeValuesAndArrayLiterals) {
  KVObjectBase* self = Object_NewStruct();
  EXPECT_EQ(Call("@@This@@", {}, self)->pObj, self);
  EXPECT_EQ(Call("@@Other@@", {}, self)->pObj, self);
  EXPECT_EQ(Call("@@Global@@", {})->pObj, g_GlobalObject);
  EXPECT_EQ(Call("@@GlobalScope@@", {})->pObj, g_GlobalObject);
  const Val null_object = Call("@@NullObject@@", {});
  EXPECT_EQ(null_object.kind(), kRVObject);
  EXPECT_EQ(null_object->pObj, nullptr);

  g_CurrentArrayOwner = 77;
  const Val array = Call("@@NewTSLArray@@", {Val::Real(1), Val::Str("two"), Val::Real(3)}, self);
  EXPECT_EQ(g_CurrentArrayOwner, 77) << "the owner is put back";
  EXPECT_EQ(array.text(), "[ 1,\"two\",3 ]");
  EXPECT_EQ(array.array()->refCount, 1);
  EXPECT_EQ(Call("@@NewTSLArray@@", {}).text(), "[  ]");
}

TEST_F(ObjectMethodTest, ArraySortCallsMethodsThroughTheCallPath) {
  const Val comparator = Call("method", {Val::Undefined(), Val::Real(100002)});
  std::vector<Val> args = {Val::Array({Val::Real(1), Val::Real(3), Val::Real(2)}), comparator};
  Call("array_sort", args);
  EXPECT_EQ(args[0].text(), "[ 3,2,1 ]");
}

TEST_F(ObjectMethodTest, StaticSetAndGetWorkOnStructs) {
  KVObjectBase* s = Object_NewStruct();
  KVObjectBase* statics = Object_NewStruct();
  Call("static_set", {Val::Object(s), Val::Object(statics)});
  EXPECT_EQ(s->prototype, statics);
  EXPECT_EQ(Call("static_get", {Val::Object(s)})->pObj, statics);
  EXPECT_EQ(Call("static_get", {Val::Real(kPoint)})->pObj, KVGetStaticStruct(kPoint));
  EXPECT_EQ(Call("static_get", {Val::Real(2)}).kind(), kRVUndefined);
  EXPECT_EQ(ErrorRaisedBy([&] { Call("static_set", {Val::Real(1), Val::Object(statics)}); }),
            "static_set : argument 1 is not a struct");
  EXPECT_EQ(ErrorRaisedBy([&] { Call("static_set", {Val::Object(s), Val::Real(1)}); }),
            "static_set : argument 2 is not a struct");
}

}  // namespace

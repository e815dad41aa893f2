// The variable builtins by name, weak reference builtins, and the text of structs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/code_tables.h"
#include "core/error.h"
#include "core/fn_object.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/hash_map.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "value_test_support.h"

namespace {

using value_test::Val;

class ObjectBuiltinsTest : public value_test::ObjectTest {
 protected:
  void SetUp() override {
    ObjectTest::SetUp();
    Object_CreateGlobal(2);
  }
  static Val Struct() { return Val::Object(Object_NewStruct()); }
  static void Set(const Val& s, const char* name, const Val& value) { Call("variable_struct_set", {s, Val::Str(name), value}); }
};

TEST_F(ObjectBuiltinsTest, StructAndInstanceFormsShareOneHandler) {
  const Val s = Struct();
  for (const char* prefix : {"variable_struct_", "variable_instance_"}) {
    SCOPED_TRACE(prefix);
    const std::string p = prefix;
    Call((p + "set").c_str(), {s, Val::Str("hp"), Val::Real(3)});
    EXPECT_EQ(Call((p + "get").c_str(), {s, Val::Str("hp")})->val, 3.0);
    EXPECT_EQ(Call((p + "exists").c_str(), {s, Val::Str("hp")})->val, 1.0);
    EXPECT_EQ(Call((p + "exists").c_str(), {s, Val::Str("never")})->val, 0.0);
    EXPECT_EQ(Call((p + "get").c_str(), {s, Val::Str("never")}).kind(), kRVUndefined);
    EXPECT_EQ(Call((p + "names_count").c_str(), {s})->val, 1.0);
  }
  EXPECT_EQ(Call("variable_struct_set_pre", {s, Val::Str("hp"), Val::Real(9)})->val, 3.0);
  EXPECT_EQ(Call("variable_struct_set_post", {s, Val::Str("hp"), Val::Real(10)})->val, 10.0);
  EXPECT_EQ(Call("variable_struct_set_pre", {s, Val::Str("fresh"), Val::Real(1)}).kind(), kRVUndefined);
  Call("variable_struct_remove", {s, Val::Str("hp")});
  EXPECT_EQ(Call("variable_struct_exists", {s, Val::Str("hp")})->val, 0.0);
  EXPECT_EQ(Call("variable_struct_get_names", {s}).text(), "[ \"fresh\" ]");
}

TEST_F(ObjectBuiltinsTest, ExistsAndGetConsultThePrototypeOneStep) {
  const Val grand = Struct();
  const Val parent = Struct();
  const Val child = Struct();
  KVSetPrototype(parent->pObj, grand->pObj);
  KVSetPrototype(child->pObj, parent->pObj);
  Set(grand, "far", Val::Real(1));
  Set(parent, "near", Val::Real(2));
  EXPECT_EQ(Call("variable_struct_exists", {child, Val::Str("near")})->val, 1.0);
  EXPECT_EQ(Call("variable_struct_get", {child, Val::Str("near")})->val, 2.0);
  EXPECT_EQ(Call("variable_struct_exists", {child, Val::Str("far")})->val, 0.0);
  EXPECT_EQ(Call("variable_struct_names_count", {child})->val, 0.0) << "names are the object's own";
}

TEST_F(ObjectBuiltinsTest, NamesFollowTheSlotMapOrder) {
  const Val s = Struct();
  const char* names[] = {"alpha", "beta", "gamma", "delta", "epsilon", "zeta", "eta", "theta", "iota", "kappa"};
  for (const char* name : names) Set(s, name, Val::Real(1));
  std::vector<std::string> expected;
  int32_t position = 0;
  int32_t slot = 0;
  RValue** value = nullptr;
  while (s->pObj->slotMap->Next(&position, &slot, &value)) expected.push_back(Variable_NameOf(slot));
  const Val listed = Call("variable_struct_get_names", {s});
  ASSERT_EQ(listed.array()->length, 10);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(RV_StringText(listed.array()->pArray[i]), expected[static_cast<size_t>(i)]);
}

TEST_F(ObjectBuiltinsTest, GlobalVariablesByName) {
  // A user slot the global object keeps flat is found by name as well.
  Variable_BindSlot("early", 100001);
  g_GlobalObject->flatSlots[1] = RV_Real(8);
  EXPECT_EQ(Call("variable_global_get", {Val::Str("early")})->val, 8.0);
  EXPECT_EQ(Call("variable_global_exists", {Val::Str("lives")})->val, 0.0);
  Call("variable_global_set", {Val::Str("lives"), Val::Real(3)});
  EXPECT_EQ(Call("variable_global_exists", {Val::Str("lives")})->val, 1.0);
  EXPECT_EQ(Call("variable_global_get", {Val::Str("lives")})->val, 3.0);
  EXPECT_EQ(Call("variable_instance_get", {Val::Real(-5), Val::Str("lives")})->val, 3.0) << "-5 names the global object";
  Variable_AddBuiltinName("room");
  EXPECT_EQ(Call("variable_global_get", {Val::Str("room")}).kind(), kRVUndefined) << "a builtin name is no variable";

  ASSERT_EQ(Variable_GetSlot("ObjectContainer"), 100000);
  EXPECT_EQ(Call("variable_instance_get_names", {Val::Real(-5)}).text(), "[ \"ObjectContainer\",\"early\",\"lives\" ]")
      << "flat slots come first, in slot order";
}

TEST_F(ObjectBuiltinsTest, IdsThatSelectNothingGiveNeutralResults) {
  EXPECT_EQ(Call("variable_instance_exists", {Val::Real(100007), Val::Str("x")})->val, 0.0);
  EXPECT_EQ(Call("variable_instance_get", {Val::Real(100007), Val::Str("x")}).kind(), kRVUndefined);
  EXPECT_EQ(Call("variable_instance_get_names", {Val::Real(100007)}).text(), "[  ]");
  EXPECT_EQ(Call("variable_instance_names_count", {Val::Undefined()})->val, 0.0);
  Call("variable_instance_set", {Val::Real(100007), Val::Str("x"), Val::Real(1)});

  // Through a selector, every selected instance is set and the first one read.
  static KVObjectBase* selected[2];
  selected[0] = Object_NewStruct();
  selected[1] = Object_NewStruct();
  Object_SetInstanceSelector([](int32_t id, InstanceVisitor visit, void* context) {
    if (id != 3) return;
    for (KVObjectBase* instance : selected) {
      if (!visit(instance, context)) return;
    }
  });
  Call("variable_instance_set", {Val::Real(3), Val::Str("x"), Val::Real(5)});
  EXPECT_EQ(Call("variable_struct_get", {Val::Object(selected[1]), Val::Str("x")})->val, 5.0);
  EXPECT_EQ(Call("variable_instance_get", {Val::Real(3), Val::Str("x")})->val, 5.0);
  KVObjectBase* self = Object_NewStruct();
  Call("variable_instance_set", {Val::Real(-1), Val::Str("mine"), Val::Real(2)}, self);
  EXPECT_EQ(Call("variable_struct_get", {Val::Object(self), Val::Str("mine")})->val, 2.0);
}

TEST_F(ObjectBuiltinsTest, WeakReferenceBuiltins) {
  const Val target = Struct();
  const Val ref = Call("weak_ref_create", {target});
  EXPECT_EQ(Call("weak_ref_alive", {ref})->val, 1.0);
  EXPECT_EQ(Call("weak_ref_alive", {target}).kind(), kRVUndefined);
  EXPECT_EQ(Call("weak_ref_any_alive", {Val::Array({Val::Real(1), ref})})->val, 1.0);
  EXPECT_EQ(Call("weak_ref_any_alive", {Val::Array({Val::Real(1), ref}), Val::Real(0), Val::Real(1)})->val, 0.0);
  EXPECT_EQ(Call("weak_ref_any_alive", {Val::Real(1)}).kind(), kRVUndefined);
  EXPECT_EQ(Call("variable_struct_get", {ref, Val::Str("ref")})->pObj, target->pObj);

  const struct {
    const char* what;
    std::vector<Val> args;
    const char* message;
  } cases[] = {
      {"no argument", {}, "incorrect number of arguments to weak_ref_create"},
      {"two arguments", {target, target}, "incorrect number of arguments to weak_ref_create"},
      {"number", {Val::Real(1)}, "invalid argument passed to weak_ref_create"},
      {"null object", {Val::Object(nullptr)}, "invalid argument passed to weak_ref_create"},
  };
  for (const auto& c : cases) EXPECT_EQ(ErrorRaisedBy([&] { Call("weak_ref_create", c.args); }), c.message) << c.what;
}

// ---- Text ---------------------------------------------------------------------------------------

RValue* Describe(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  RValue n = RV_Undefined();
  Object_GetVar(KV_AsObject(self), Variable_GetSlot("n"), kIndexWholeValue, &n);
  const std::string text = "thing #" + std::to_string(static_cast<int>(RV_ToDouble(n)));
  RV_SetString(result, text.c_str());
  return result;
}

RValue* NotText(CInstance*, CInstance*, RValue* result, int, RValue**) {
  *result = RV_Real(5);
  return result;
}

TEST_F(ObjectBuiltinsTest, StructTextNestsQuotesAndWarnsOnRecursion) {
  const Val outer = Struct();
  const Val inner = Struct();
  Set(outer, "name", Val::Str("box"));
  Set(outer, "inner", inner);
  Set(inner, "list", Val::Array({Val::Real(1), Val::Str("a")}));
  Set(outer, "self", outer);
  outer->pObj->GetVarRef(Variable_FindOrAddSlot("unread"));

  std::string expected = "{ ";
  bool first = true;
  int32_t position = 0;
  int32_t slot = 0;
  RValue** value = nullptr;
  while (outer->pObj->slotMap->Next(&position, &slot, &value)) {
    const std::string name = Variable_NameOf(slot);
    std::string text = name == "name"    ? "\"box\""
                       : name == "inner" ? "{ list : [ 1,\"a\" ] }"
                       : name == "self"  ? "\"Warning: recursive struct found\""
                                         : "undefined";
    expected += (first ? "" : ", ") + name + " : " + text;
    first = false;
  }
  expected += " }";
  EXPECT_EQ(outer.text(), expected);
  EXPECT_EQ(Struct().text(), "{  }");
  EXPECT_EQ(Val::Object(nullptr).text(), "null");
}

TEST_F(ObjectBuiltinsTest, StructWithToStringPrintsItsResultWhenThatIsText) {
  static KVScriptRow rows[] = {
      {"tsl_Script_Describe", reinterpret_cast<KVCodeFunction>(Describe), nullptr},
      {"tsl_Script_NotText", reinterpret_cast<KVCodeFunction>(NotText), nullptr},
  };
  KVCodeTables tables;
  tables.scriptCount = 2;
  tables.scriptTable = rows;
  g_CodeTables = &tables;
  const Val thing = Struct();
  Set(thing, "n", Val::Real(7));
  Set(thing, "toString", Call("method", {Val::Undefined(), Val::Real(100000)}));
  EXPECT_EQ(thing.text(), "thing #7");
  const Val holder = Struct();
  Set(holder, "item", thing);
  EXPECT_EQ(holder.text(), "{ item : thing #7 }");

  const Val plain = Struct();
  Set(plain, "toString", Call("method", {Val::Undefined(), Val::Real(100001)}));
  EXPECT_EQ(plain.text(), "{ toString : function NotText }") << "a result that is no string is not used";
  g_CodeTables = nullptr;
}

}  // namespace

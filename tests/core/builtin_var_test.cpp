// The builtin variable table over rows of its own: lookups, limits, the setter rounding, reads by
// id, and writes through Variable_SetValue from structs (global rows reach their setter from any
// self and never leave a slot; instance ids are plain slots there), with the managed-object checks.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/builtin_var.h"
#include "core/console.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "value_test_support.h"

namespace {

double g_stored = 0.0;
int g_set_calls = 0;

bool get_stored(CInstance*, int32_t, RValue* out) {
  *out = RV_Real(g_stored);
  return true;
}
bool set_stored(CInstance*, int32_t, RValue* value) {
  g_stored = BuiltinVar_Int(value);
  ++g_set_calls;
  return true;
}
bool get_index(CInstance*, int32_t index, RValue* out) {
  *out = RV_Real(index);
  return true;
}

class BuiltinVarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    Variable_ResetNames();
    Variable_BuiltIn_Reset();
    g_stored = 0.0;
    g_set_calls = 0;
    // Two instance rows, then two global rows.
    Variable_BuiltIn_Add("inst_field", get_stored, set_stored);
    Variable_BuiltIn_Add("inst_index", get_index, nullptr);
    Variable_BuiltIn_EndInstanceRows();
    Variable_BuiltIn_Add("glob_score", get_stored, set_stored);
    Variable_BuiltIn_Add("glob_constant", get_index, nullptr);
    Variable_BuiltIn_InstallInObjects();
  }
  void TearDown() override {
    g_ManagedObjectCheck = ManagedObjectCheck{};
    Object_SetBuiltinVariables({});
    Variable_BuiltIn_Reset();
    GC_Reset();
    Variable_ResetNames();
  }
};

TEST_F(BuiltinVarTest, RowsAreNumberedInRegistrationOrderAndShareTheNameTable) {
  EXPECT_EQ(g_InstanceVariableCount, 2);
  EXPECT_EQ(Variable_BuiltIn_Count(), 4);
  const char* names[] = {"inst_field", "inst_index", "glob_score", "glob_constant"};
  for (int32_t id = 0; id < 4; ++id) {
    EXPECT_EQ(Variable_BuiltIn_Find(names[id]), id);
    EXPECT_STREQ(Variable_BuiltIn_Name(id), names[id]);
    EXPECT_EQ(Variable_GetSlot(names[id]), id) << "the loader links names through the shared table";
  }
  EXPECT_TRUE(Variable_BuiltIn_Row(2)->canSet);
  EXPECT_FALSE(Variable_BuiltIn_Row(3)->canSet);
  EXPECT_EQ(Variable_BuiltIn_Find("nothing"), -1);
  EXPECT_EQ(Variable_BuiltIn_Find(nullptr), -1);
  for (int32_t bad : {-1, 4, 9999, 10000}) EXPECT_STREQ(Variable_BuiltIn_Name(bad), "<unknown built-in variable>");
}

TEST_F(BuiltinVarTest, TheFiveHundredAndFirstRowIsRefused) {
  Variable_ResetNames();
  Variable_BuiltIn_Reset();
  for (int32_t i = 0; i < kBuiltinVariableRowLimit; ++i) {
    ASSERT_EQ(Variable_BuiltIn_Add(("row" + std::to_string(i)).c_str(), get_index, nullptr), i);
  }
  ConsoleCapture capture;
  EXPECT_EQ(Variable_BuiltIn_Add("one_too_many", get_index, nullptr), -1);
  EXPECT_NE(capture.text().find("INTERNAL ERROR: Adding too many variables"), std::string::npos);
  EXPECT_EQ(Variable_BuiltIn_Count(), kBuiltinVariableRowLimit);
  EXPECT_EQ(Variable_BuiltIn_Find("one_too_many"), -1);
}

TEST_F(BuiltinVarTest, GetBuiltInPassesTheIndexAndRefusesUserIds) {
  KVObjectBase* s = Object_NewStruct();
  RValue out = RV_Real(5);
  EXPECT_TRUE(Variable_GetBuiltIn(KV_AsInstance(s), 3, 7, &out));
  EXPECT_EQ(out.val, 7.0);
  EXPECT_TRUE(KVGetBuiltinVariable(nullptr, 3, -1, &out));
  EXPECT_EQ(out.val, -1.0);
  for (int32_t bad : {10000, 100001, 4}) {
    out = RV_Real(5);
    EXPECT_FALSE(Variable_GetBuiltIn(nullptr, bad, -1, &out));
    EXPECT_EQ(RV_Kind(out), kRVUnset);
  }
  // Instance rows read instance fields: a struct or no self has none.
  EXPECT_FALSE(Variable_GetBuiltIn(KV_AsInstance(s), 0, -1, &out));
  EXPECT_FALSE(Variable_GetBuiltIn(nullptr, 1, -1, &out));
}

TEST_F(BuiltinVarTest, SettersRoundToNearestWithTiesToEven) {
  struct Case {
    RValue value;
    int32_t integer;
    bool boolean;
  };
  const Case cases[] = {
      {RV_Real(0.5), 0, false},   {RV_Real(1.5), 2, true},     {RV_Real(2.5), 2, true},
      {RV_Real(-0.5), 0, false},  {RV_Real(-1.5), -2, false},  {RV_Real(0.51), 1, true},
      {RV_Int32(7), 7, true},     {RV_Int64(-3), -3, false},   {RV_Bool(true), 1, true},
      {RV_Real(1e12), INT32_MAX, true}, {RV_Real(-1e12), INT32_MIN, false}, {RV_Real(std::nan("")), 0, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(BuiltinVar_Int(&c.value), c.integer) << BuiltinVar_Real(&c.value);
    EXPECT_EQ(BuiltinVar_Bool(&c.value), c.boolean) << BuiltinVar_Real(&c.value);
  }
  EXPECT_EQ(BuiltinVar_Index(12, 12), 0);
  EXPECT_EQ(BuiltinVar_Index(-1, 12), 0);
  EXPECT_EQ(BuiltinVar_Index(11, 12), 11);
}

TEST_F(BuiltinVarTest, GlobalRowsAreWrittenThroughTheirSetterFromAnySelfAndMakeNoSlot) {
  KVObjectBase* s = Object_NewStruct();
  const RValue value = RV_Real(2.5);
  Variable_SetValue(s, 2, -1, &value);
  EXPECT_EQ(g_set_calls, 1);
  EXPECT_EQ(g_stored, 2.0);
  EXPECT_EQ(s->FindOwnSlot(2), nullptr);
  RValue out = RV_Unset();
  ASSERT_TRUE(Variable_GetValue(s, 2, -1, &out));
  EXPECT_EQ(out.val, 2.0);
  const RValue global_value = RV_Real(4);
  Variable_SetValue(Object_Global(), 2, -1, &global_value);
  EXPECT_EQ(g_stored, 4.0);
  EXPECT_EQ(Object_Global()->FindOwnSlot(2), nullptr);
}

TEST_F(BuiltinVarTest, InstanceIdsInAStructArePlainSlots) {
  KVObjectBase* s = Object_NewStruct();
  const RValue value = RV_Real(9);
  Variable_SetValue(s, 0, -1, &value);
  EXPECT_EQ(g_set_calls, 0);
  ASSERT_NE(s->FindOwnSlot(0), nullptr);
  RValue out = RV_Unset();
  ASSERT_TRUE(Variable_GetValue(s, 0, -1, &out));
  EXPECT_EQ(out.val, 9.0);
}

TEST_F(BuiltinVarTest, AReadOnlyGlobalRowRaisesWithItsName) {
  KVObjectBase* s = Object_NewStruct();
  const RValue value = RV_Real(1);
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_SetValue(s, 3, -1, &value); }),
            "unable to set built in variable glob_constant\n");
  EXPECT_EQ(s->FindOwnSlot(3), nullptr);
}

TEST_F(BuiltinVarTest, GetValueLooksInTheRunningStaticsLastAndCreatesOnRequest) {
  KVObjectBase* s = Object_NewStruct();
  KVObjectBase* statics = Object_NewStruct();
  const int32_t slot = Variable_FindOrAddSlot("counter");
  const RValue value = RV_Real(3);
  Object_SetVar(statics, slot, kIndexWholeValue, &value);
  RValue out = RV_Unset();
  EXPECT_FALSE(Variable_GetValue(s, slot, -1, &out));
  {
    StaticScope scope(statics);
    ASSERT_TRUE(Variable_GetValue(s, slot, -1, &out));
    EXPECT_EQ(out.val, 3.0);
  }
  EXPECT_EQ(g_VariableStaticScope, nullptr);
  ASSERT_TRUE(Variable_GetValue(s, slot, -1, &out, true));
  EXPECT_EQ(RV_Kind(out), kRVArray);
  RV_FreeToUndefined(&out);
  ASSERT_NE(s->FindOwnSlot(slot), nullptr);
}

TEST_F(BuiltinVarTest, ManagedObjectsRefuseWritesWhileTheModeForbidsThem) {
  // An instance-kind object whose "type" is managed, and one that is not.
  KVObjectBase* managed = CreateObject(0, kRVUnset, kObjStruct, false);
  KVObjectBase* plain = CreateObject(0, kRVUnset, kObjStruct, false);
  managed->kind = kObjInstance;
  plain->kind = kObjInstance;
  static KVObjectBase* s_managed = nullptr;
  s_managed = managed;
  g_ManagedObjectCheck.enabled = true;
  g_ManagedObjectCheck.isManaged = [](KVObjectBase* object) { return object == s_managed; };
  g_ManagedObjectCheck.objectName = [](KVObjectBase* object) { return object == s_managed ? "obj_m" : "obj_p"; };
  const int32_t slot = Variable_FindOrAddSlot("hp");
  const RValue number = RV_Real(1);
  const RValue reference = RV_Object(plain);

  g_ManagedObjectCheck.writesAllowed = false;
  g_ManagedObjectCheck.readOnlyReason = "Rollback is running.";
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_SetValue(managed, slot, -1, &number); }),
            "Writing to variable 'hp' in managed object 'obj_m' which is read-only. Rollback is running.");
  g_ManagedObjectCheck.writesAllowed = true;
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_SetValue(managed, slot, -1, &reference); }),
            "Writing reference to unmanaged object 'obj_p' to variable 'hp' in managed object 'obj_m'.");
  EXPECT_EQ(managed->FindOwnSlot(slot), nullptr);
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_SetValue(managed, slot, -1, &number); }), "");
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_SetValue(plain, slot, -1, &reference); }), "");
  g_ManagedObjectCheck.enabled = false;
  g_ManagedObjectCheck.writesAllowed = false;
  EXPECT_EQ(ErrorRaisedBy([&] { Variable_SetValue(managed, slot, -1, &number); }), "");
  managed->kind = kObjStruct;
  plain->kind = kObjStruct;
}

}  // namespace

// The process-wide variable name table the loader fills.
#include <gtest/gtest.h>

#include <cstdio>

#include "core/variable_names.h"

class VariableNames : public ::testing::Test {
 protected:
  void SetUp() override { Variable_ResetNames(); }
  void TearDown() override { Variable_ResetNames(); }
};

TEST_F(VariableNames, BuiltinsComeFirstAndUserNamesFrom100000) {
  EXPECT_EQ(Variable_AddBuiltinName("x"), 0);
  EXPECT_EQ(Variable_AddBuiltinName("y"), 1);
  EXPECT_EQ(Variable_AddBuiltinName("x"), 0) << "a name registers once";
  EXPECT_EQ(Variable_BuiltinNameCount(), 2);
  EXPECT_EQ(Variable_GetSlot("hp"), -1);
  EXPECT_EQ(Variable_FindOrAddSlot("hp"), 100000);
  EXPECT_EQ(Variable_FindOrAddSlot("mp"), 100001);
  EXPECT_EQ(Variable_FindOrAddSlot("hp"), 100000);
  EXPECT_EQ(Variable_FindOrAddSlot("y"), 1);
  EXPECT_EQ(Variable_GetSlot("mp"), 100001);
  EXPECT_STREQ(Variable_NameOf(1), "y");
  EXPECT_STREQ(Variable_NameOf(100001), "mp");
  for (int32_t unknown : {-1, 2, 9999, 10000, 99999, 100002}) {
    EXPECT_STREQ(Variable_NameOf(unknown), "<unknown variable>") << unknown;
  }
}

TEST_F(VariableNames, BuiltinRangeEndsBelow10000) {
  char name[16];
  for (int i = 0; i < kBuiltinVariableLimit; ++i) {
    std::snprintf(name, sizeof name, "b%d", i);
    ASSERT_EQ(Variable_AddBuiltinName(name), i);
  }
  EXPECT_EQ(Variable_AddBuiltinName("one_too_many"), -1);
  EXPECT_EQ(Variable_GetSlot("one_too_many"), -1);
}

TEST_F(VariableNames, FixedSlotsAreNeverHandedOutAgain) {
  EXPECT_TRUE(Variable_BindSlot("fixed", 100004));
  EXPECT_FALSE(Variable_BindSlot("low", 99999));
  EXPECT_EQ(Variable_UserSlotCount(), 5);
  EXPECT_EQ(Variable_FindOrAddSlot("new"), 100005);
  EXPECT_STREQ(Variable_NameOf(100002), "<unknown variable>");
  // Rebinding a row to another name moves the name map with it.
  EXPECT_TRUE(Variable_BindSlot("renamed", 100004));
  EXPECT_EQ(Variable_GetSlot("fixed"), -1);
  EXPECT_EQ(Variable_GetSlot("renamed"), 100004);
}

TEST_F(VariableNames, GlobalAndInstanceTables) {
  Variable_SizeNameTables(2, 8);
  EXPECT_EQ(Variable_GlobalNameRows(), 2);
  EXPECT_EQ(Variable_AddGlobalName("g0"), 0);
  EXPECT_EQ(Variable_AddGlobalName("g1"), 1);
  EXPECT_EQ(Variable_AddGlobalName("g2"), 2) << "a full table grows";
  EXPECT_STREQ(Variable_GlobalName(2), "g2");
  EXPECT_EQ(Variable_GlobalName(3), nullptr);
  Variable_BindSlot("hp", 100003);
  Variable_AllocInstanceNames(6);
  EXPECT_EQ(Variable_InstanceNameRows(), 6);
  EXPECT_STREQ(Variable_InstanceName(3), "hp") << "names bound before the table are carried over";
  EXPECT_EQ(Variable_InstanceName(0), nullptr);
  Variable_BindSlot("far", 100009);
  EXPECT_STREQ(Variable_InstanceName(9), "far");
  Variable_SizeNameTables(0, 0);
  EXPECT_EQ(Variable_GlobalNameRows(), 0);
  EXPECT_EQ(Variable_GetSlot("hp"), 100003) << "sizing keeps the user names";
}

#include <gtest/gtest.h>

#include <string>

#include "core/console.h"
#include "core/error.h"
#include "core/frames.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"

namespace {

void raise_from_depth(int depth) {
  TSLFrameScope frame(depth == 0 ? "tsl_Script_leaf" : "tsl_Script_middle");
  frame.set_line(depth);
  if (depth == 0) {
    KVError("raised %d deep", 3);
  } else {
    raise_from_depth(depth - 1);
  }
}

TEST(FrameChain, UnwindingRestoresTheChainAtTheCatcher) {
  TSLFrameScope outer("tsl_Script_outer");
  outer.set_line(4);
  try {
    raise_from_depth(2);
    FAIL() << "expected a script error";
  } catch (const KVTSLException& error) {
    EXPECT_EQ(error.message(), "raised 3 deep");
  }
  EXPECT_EQ(g_FrameChain, &outer.frame());
  const std::vector<std::string> texts = Frame_StackTexts();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts[0], "tsl_Script_outer (line 4)");
}

TEST(FrameChain, TextsAreInnermostFirstWithBareNamesForNegativeLines) {
  TSLFrameScope outer("outer");
  outer.set_line(9);
  TSLFrameScope inner("inner");
  inner.set_line(-1);
  EXPECT_EQ(Frame_StackTexts(), (std::vector<std::string>{"inner", "outer (line 9)"}));
  EXPECT_EQ(Frame_CallstackEntries(100), (std::vector<std::string>{"inner", "outer:10"}));
  EXPECT_EQ(Frame_CallstackEntries(1), (std::vector<std::string>{"inner"}));
}

class DebugBuiltinsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Function_Clear();
    Debug_RegisterBuiltins();
  }
  void TearDown() override {
    Function_Clear();
    GCCollectAll();
  }
  void call(const char* name, int argc, RValue* argv, RValue* result) {
    int32_t index = -1;
    ASSERT_TRUE(Function_Find(name, &index));
    Function_Row(index)->handler(result, nullptr, nullptr, argc, argv);
  }
};

TEST_F(DebugBuiltinsTest, CallstackListsFramesThenAZero) {
  TSLFrameScope outer("tsl_Script_outer");
  outer.set_line(2);
  TSLFrameScope inner("tsl_Script_inner");
  RValue result = RV_Undefined();
  call("debug_get_callstack", 0, nullptr, &result);
  ASSERT_EQ(RV_Kind(result), kRVArray);
  ASSERT_EQ(result.pArray->length, 3);
  EXPECT_STREQ(RV_StringText(result.pArray->pArray[0]), "tsl_Script_inner:1");
  EXPECT_STREQ(RV_StringText(result.pArray->pArray[1]), "tsl_Script_outer:3");
  EXPECT_EQ(RV_Kind(result.pArray->pArray[2]), kRVReal);
  EXPECT_EQ(result.pArray->pArray[2].val, 0.0);
  RV_FreeToUndefined(&result);
}

TEST_F(DebugBuiltinsTest, DebugMessagesGoOutInSlicesWithOneLineEnd) {
  // Each slice is cut below the console's buffer size, so nothing is lost however long the text.
  for (size_t length : {0, 1024, 1025, 5000}) {
    RValue text = RV_Undefined();
    RV_SetString(&text, std::string(length, 'x').c_str());
    ConsoleCapture capture;
    RValue result = RV_Undefined();
    call("show_debug_message", 1, &text, &result);
    EXPECT_EQ(capture.text(), std::string(length, 'x') + "\n") << length;
    RV_FreeToUndefined(&text);
  }
  RValue number = RV_Real(2.5);
  ConsoleCapture capture;
  RValue result = RV_Undefined();
  call("show_debug_message", 1, &number, &result);
  EXPECT_EQ(capture.text(), "2.50\n");
}

}  // namespace

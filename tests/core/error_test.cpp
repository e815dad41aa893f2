// The error layer: the exception object a runtime error throws, the long text for each kind of
// event context, muting, @@throw@@, the report-at-once path and the unhandled handler's root; the
// frame chain a raise unwinds and the debug builtins that print it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/call.h"
#include "core/console.h"
#include "core/error.h"
#include "core/event_context.h"
#include "core/fn_script.h"
#include "core/frames.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "value_test_support.h"

namespace {

using value_test::Val;

std::string name_of(int32_t index) { return "name" + std::to_string(index); }
std::string event_name(int32_t type, int32_t subtype) {
  return "event " + std::to_string(type) + "/" + std::to_string(subtype);
}

class ErrorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    GC_Reset();
    Function_Clear();
    Error_RegisterBuiltins();
    g_EventNameSources = KVEventNameSources{name_of, name_of, name_of, name_of, event_name};
  }
  void TearDown() override {
    g_EventNameSources = KVEventNameSources{};
    g_EventContext = KVEventContext{};
    g_ErrorsMuted = false;
    g_ErrorPending = false;
    ErrorReport_SetReportNow(nullptr);
    ErrorReport_SetTablesExist(true);
    Function_Clear();
    GC_Reset();
    Variable_ResetNames();
  }

  static KVTSLException raise_in_frames(const char* message) {
    TSLFrameScope outer("tsl_Script_outer");
    outer.set_line(2);
    TSLFrameScope inner("tsl_Script_inner");
    inner.set_line(7);
    try {
      KVError("%s", message);
    } catch (const KVTSLException& e) {
      return e;
    }
    ADD_FAILURE() << "nothing raised";
    return KVTSLException(RV_Undefined());
  }
  static std::string property_text(const KVTSLException& e, const char* name) {
    Val value(Error_ReadProperty(e.value(), name));
    return value.text();
  }
};

TEST_F(ErrorTest, RuntimeErrorsThrowTheStandardExceptionObject) {
  const KVTSLException e = raise_in_frames("something broke");
  ASSERT_TRUE(e.is_runtime_error());
  KVObjectBase* object = RV_ObjectOf(e.value());
  EXPECT_STREQ(object->className, "KVTSLException");
  ASSERT_NE(object->prototype, nullptr);
  EXPECT_STREQ(object->prototype->className, "[[KVTSLException]]");
  EXPECT_EQ(e.message(), "something broke");
  EXPECT_EQ(property_text(e, "script"), "tsl_Script_inner");
  EXPECT_EQ(property_text(e, "line"), "7");
  EXPECT_EQ(property_text(e, "stacktrace"), "[ \"tsl_Script_inner (line 7)\",\"tsl_Script_outer (line 2)\" ]");
  EXPECT_EQ(property_text(e, "longMessage"),
            "ERROR in\naction number 1\nof event 0/0\nfor object name-1:\n\n\nsomething brokeat tsl_Script_inner\n");

  // toString lives on the prototype and gives the message.
  Val to_string(Error_ReadProperty(e.value(), "toString"));
  ASSERT_NE(RV_ScriptRefOf(*to_string), nullptr);
  Val result;
  CallFunctionObject(KV_AsInstance(object), nullptr, result.get(), RV_ScriptRefOf(*to_string), 0, nullptr);
  EXPECT_EQ(result.text(), "something broke");
}

TEST_F(ErrorTest, LongMessageHeadingFollowsTheEventContext) {
  struct Case {
    KVEventContext context;
    std::string expected;
  };
  const Case cases[] = {
      {{4, kEventContextRoomCreation, 0, 0}, "FATAL ERROR in Room Creation Code for room name4\n\n\nbad\n"},
      {{2, kEventContextShaderCompile, 0, 0}, "FATAL ERROR in Vertex Shader compilation\n\nShaderName: name2\n\n\nbad\n"},
      {{2, kEventContextShaderCompile, 1, 0}, "FATAL ERROR in Fragment Shader compilation\n\nShaderName: name2\n\n\nbad\n"},
      {{3, kEventContextTimeline, 40, 1}, "ERROR in\naction number 2\nat time step40\nof time line name3:\n\n\nbad"},
      {{9, 3, 1, 0}, "ERROR in\naction number 1\nof event 3/1\nfor object name9:\n\n\nbad"},
  };
  for (const Case& c : cases) {
    EventContextScope scope(c.context.objectIndex, c.context.eventType, c.context.eventSubtype,
                            c.context.actionNumber);
    EXPECT_EQ(ErrorReport_LongMessage("bad"), c.expected);
  }
  EXPECT_EQ(g_EventContext.eventType, 0) << "the scope puts the context back";
}

TEST_F(ErrorTest, SecondLineUsesTheSourceLineWhenKnown) {
  TSLFrameScope frame("tsl_Script_hero");
  frame.set_line(12);
  EventContextScope scope(1, 0, 0);
  ErrorReport_SetSourceLineLookup([](const char*, int32_t line) { return line == 12 ? "x = y / 0;" : nullptr; });
  EXPECT_EQ(ErrorReport_LongMessage("oops"),
            "ERROR in\naction number 1\nof event 0/0\nfor object name1:\n\n\noops at tsl_Script_hero (line 12) - x = y / 0;\n");
  ErrorReport_SetSourceLineLookup(nullptr);
}

TEST_F(ErrorTest, MutedErrorsAreLostAndFlagged) {
  g_ErrorsMuted = true;
  KVError("never seen %d", 1);
  EXPECT_TRUE(g_ErrorPending);
}

TEST_F(ErrorTest, ThrowKeepsAnyValueAsThePendingException) {
  int32_t index = -1;
  ASSERT_TRUE(Function_Find("@@throw@@", &index));
  Val thrown = Val::Real(42);
  Val result;
  try {
    Function_Row(index)->handler(result.get(), nullptr, nullptr, 1, thrown.get());
    FAIL() << "nothing thrown";
  } catch (const KVTSLException& e) {
    EXPECT_FALSE(e.is_runtime_error());
    EXPECT_EQ(e.message(), "42");
  }
  EXPECT_EQ(RV_ToDouble(Error_PendingException()), 42);
  ASSERT_TRUE(Function_Find("@@finish_catch@@", &index));
  Function_Row(index)->handler(result.get(), nullptr, nullptr, 0, nullptr);
  EXPECT_EQ(RV_Kind(Error_PendingException()), kRVUndefined);
}

// show_error's text is the format and its own two arguments, the text and the abort flag, are what
// the conversions take, in that order.
TEST_F(ErrorTest, ShowErrorFormatsItsTextWithItsOwnArguments) {
  int32_t index = -1;
  ASSERT_TRUE(Function_Find("show_error", &index));
  const TSL_Builtin handler = Function_Row(index)->handler;
  struct Case {
    Val text;
    bool abort;
    std::string raised;
  };
  const Case cases[] = {
      {Val::Str("plain words"), true, "plain words"},
      {Val::Str("100%% sure"), false, "100% sure"},
      {Val::Str("%%%%%"), true, "%%%"},
      {Val::Str("%d of %s left, 50%"), false, "0 of 0 left, 50%"},
      {Val::Str("Error: %s"), true, "Error: Error: %s"},
      {Val::Str("7 %d"), true, "7 7"},
      {Val::Str("[%6.2f|%-3d|%x]"), true, "[  0.00|1  |]"},
      {Val::Str("[%.3s|%5s]"), false, "[[%.|    0]"},
      {Val::Str("50%! %q"), true, "50%! %q"},
      {Val::Real(12), true, "12"},
  };
  for (const Case& c : cases) {
    RValue raw[] = {*c.text, RV_Bool(c.abort)};
    Val result;
    EXPECT_EQ(ErrorRaisedBy([&] { handler(result.get(), nullptr, nullptr, 2, raw); }), c.raised)
        << c.text.text();
  }
  // Like KVError: a muted show_error only flags the error.
  g_ErrorsMuted = true;
  Val quiet = Val::Str("quiet");
  RValue raw[] = {*quiet, RV_Bool(true)};
  Val result;
  handler(result.get(), nullptr, nullptr, 2, raw);
  EXPECT_TRUE(g_ErrorPending);
}

// Without a window no box can be shown: the text goes to the output console and a question is
// answered no.
TEST_F(ErrorTest, MessageBoxesWithoutAWindowWriteTheTextAndAnswerNo) {
  struct Case {
    const char* builtin;
    Val value;
    const char* line;
    uint32_t kind;
    double answer;
  };
  const Case cases[] = {
      {"show_message", Val::Str("gate is closed"), "gate is closed\n", kRVUndefined, 0},
      {"show_message", Val::Real(12.5), "12.50\n", kRVUndefined, 0},
      {"show_question", Val::Str("Quit?"), "Quit?\n", kRVBool, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.builtin);
    int32_t index = -1;
    ASSERT_TRUE(Function_Find(c.builtin, &index));
    EXPECT_EQ(Function_Row(index)->argc, 998);
    RValue raw[] = {*c.value};
    Val result;
    ConsoleCapture capture;
    Function_Row(index)->handler(result.get(), nullptr, nullptr, 1, raw);
    EXPECT_EQ(capture.text(), c.line);
    EXPECT_EQ(result.kind(), c.kind);
    if (c.kind != kRVUndefined) {
      EXPECT_EQ(RV_ToDouble(*result), c.answer);
    }
  }
}

std::vector<std::pair<std::string, bool>> g_reported;

TEST_F(ErrorTest, NoThrowAndMissingTablesReportAtOnce) {
  ErrorReport_SetReportNow([](const KVTSLException& e, bool abort) { g_reported.emplace_back(e.message(), abort); });
  ErrorReport("shown, not thrown", false, true);
  ErrorReport_SetTablesExist(false);
  KVError("before the game is loaded");
  EXPECT_EQ(g_reported, (std::vector<std::pair<std::string, bool>>{{"shown, not thrown", false},
                                                                     {"before the game is loaded", true}}));
}

TEST_F(ErrorTest, UnhandledHandlerChecksItsArgumentAndStaysRooted) {
  int32_t index = -1;
  ASSERT_TRUE(Function_Find("exception_unhandled_handler", &index));
  const TSL_Builtin handler = Function_Row(index)->handler;
  auto set = [&](Val value) {
    Val old;
    handler(old.get(), nullptr, nullptr, 1, value.get());
    return old;
  };
  EXPECT_EQ(ErrorRaisedBy([&] { set(Val::Str("no")); }), "argument needs to be callable");
  EXPECT_EQ(ErrorRaisedBy([&] { set(Val::Real(99999)); }),
            "attempting to call invalid function with script index 99999");
  CScriptRef* method = Method_ForBuiltin(index);
  EXPECT_EQ(set(Val::Object(method)).kind(), kRVUndefined);
  GCCollectAll();
  EXPECT_EQ(RV_ObjectOf(Error_UnhandledHandler()), method) << "kept alive as a root";
  Val old = set(Val::Undefined());
  EXPECT_EQ(old.get()->pObj, method);
  EXPECT_EQ(RV_Kind(Error_UnhandledHandler()), kRVUndefined);
}

// ---- The frame chain and the debug builtins -------------------------------------------------------

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

// Hand-written compiled scripts on the script helpers: arguments, a try that catches an error
// raised three calls down, with over structs, self, other, global and ids; the script builtins;
// code objects in both shapes; the script binder's constructor bits; the global-init list.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/code.h"
#include "core/code_tables.h"
#include "core/fn_object.h"
#include "core/fn_script.h"
#include "core/fn_value.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/instance_hooks.h"
#include "core/memory.h"
#include "core/script_api.h"
#include "core/variable_names.h"
#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_options.h"
#include "support/fixture.h"
#include "value_test_support.h"

namespace {

using value_test::Val;

// tsl_Script_fourth(a, b, c, d): argument[3].
RValue* Fourth(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_fourth", self, result);
  return scope.give(tsl::Value::Copy(tsl::arg(argc, argv, 3)));
}

// The builtin at the bottom of the call chain: raises.
void F_Divide(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (RV_ToDouble(argv[1]) == 0) KVError("DoDiv :: Divide by zero");
  *result = RV_Real(RV_ToDouble(argv[0]) / RV_ToDouble(argv[1]));
}

// tsl_Script_level2 -> builtin test_divide; tsl_Script_level1 -> level2.
RValue* Level2(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_level2", self, result);
  scope.line(4);
  return scope.give(tsl::call("test_divide", self, other, {tsl::arg(argc, argv, 0), RV_Real(0)}));
}
RValue* Level1(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_level1", self, result);
  scope.line(2);
  return scope.give(tsl::call(Level2, self, other, {tsl::arg(argc, argv, 0)}));
}

const TSLFrame* g_frame_after_catch = nullptr;
const TSLFrame* g_try_frame = nullptr;
const char* g_name_after_catch = nullptr;

// tsl_Script_guarded: try { level1(10) } catch (e) { return e.message + "!" }
RValue* Guarded(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_guarded", self, result);
  g_try_frame = g_FrameChain;
  try {
    scope.line(1);
    return scope.give(tsl::call(Level1, self, other, {RV_Real(10)}));
  } catch (const KVTSLException& e) {
    g_frame_after_catch = g_FrameChain;
    g_name_after_catch = g_FrameChain->name;
    tsl::Value caught = tsl::Value::Copy(e.value());
    tsl::Value text = tsl::get(KV_AsInstance(caught.object()), "message");
    RV_AddAssign(text.get(), tsl::Value::String("!").get());
    return scope.give(text);
  }
}

// tsl_Script_sum_x(target): with (target) total += x; returns total, other's name at the end.
RValue* SumX(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_sum_x", self, result);
  double total = 0;
  for (KVWith w(&self, &other, tsl::arg(argc, argv, 0)); w.Next();) {
    scope.line(1);
    total += tsl::get(self, "x").real();
    tsl::set(other, "visits", RV_Real(tsl::get(other, "visits").real() + 1));
  }
  return scope.give(tsl::Value::Real(total));
}

void event_body(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_o_Create_0", self);
  tsl::set(self, "made", RV_Real(1));
}

RValue* GlobalInit(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_init", self, result);
  tsl::set(self, "inits", RV_Real(tsl::get(self, "inits").real() + 1));
  return result;
}
RValue* EndGame(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_end", self, result);
  New_Room = kNewRoomEndGame;
  return result;
}

KVScriptRow g_rows[] = {
    {"tsl_Script_fourth", reinterpret_cast<KVCodeFunction>(Fourth), nullptr},
    {"tsl_Script_level1", reinterpret_cast<KVCodeFunction>(Level1), nullptr},
    {"tsl_Script_guarded", reinterpret_cast<KVCodeFunction>(Guarded), nullptr},
    {"tsl_Script_sum_x", reinterpret_cast<KVCodeFunction>(SumX), nullptr},
    {"tsl_Object_o_Create_0", reinterpret_cast<KVCodeFunction>(event_body), nullptr},
    {"tsl_GlobalScript_init", reinterpret_cast<KVCodeFunction>(GlobalInit), nullptr},
    {"tsl_GlobalScript_end", reinterpret_cast<KVCodeFunction>(EndGame), nullptr},
};

KVObjectBase* g_instance = nullptr;  // the one instance, id 100001

class ScriptTest : public value_test::ObjectTest {
 protected:
  void SetUp() override {
    ObjectTest::SetUp();
    Value_RegisterBuiltins();
    Script_RegisterBuiltins();
    Function_Add("test_divide", F_Divide, 2, 1);
    tables_.scriptCount = static_cast<int32_t>(std::size(g_rows));
    tables_.scriptTable = g_rows;
    g_CodeTables = &tables_;
    Object_CreateGlobal(0);
    g_instance = Object_NewStruct();
    g_InstanceHooks.findLive = [](int32_t id) { return id == 100001 ? KV_AsInstance(g_instance) : nullptr; };
  }
  void TearDown() override {
    g_InstanceHooks = KVInstanceHooks{};
    g_CodeTables = nullptr;
    Code_SetOldExec(false);
    Script_UnbindAll();
    New_Room = kNewRoomNone;
    ObjectTest::TearDown();
  }

  KVCodeTables tables_;
};

TEST_F(ScriptTest, MissingArgumentsReadUndefined) {
  Val a = Val::Real(1), b = Val::Real(2);
  RValue* argv[] = {a.get(), b.get()};
  Val result = Val::Real(5);
  Fourth(nullptr, nullptr, result.get(), 2, argv);
  EXPECT_EQ(result.kind(), kRVUndefined);
  EXPECT_EQ(g_FrameChain, nullptr);
}

TEST_F(ScriptTest, TryCatchesAnErrorThreeCallsDownAndUnwindsTheFrames) {
  Val result;
  Guarded(nullptr, nullptr, result.get(), 0, nullptr);
  EXPECT_EQ(result.text(), "DoDiv :: Divide by zero!");
  EXPECT_EQ(g_frame_after_catch, g_try_frame);
  EXPECT_STREQ(g_name_after_catch, "tsl_Script_guarded");
  EXPECT_EQ(g_FrameChain, nullptr);
}

TEST_F(ScriptTest, ErrorObjectNamesTheFramesOfTheRaise) {
  try {
    tsl::call(Level1, nullptr, nullptr, {RV_Real(3)});
    FAIL() << "nothing raised";
  } catch (const KVTSLException& e) {
    Val stack(Error_ReadProperty(e.value(), "stacktrace"));
    EXPECT_EQ(stack.text(), "[ \"tsl_Script_level2 (line 4)\",\"tsl_Script_level1 (line 2)\" ]");
  }
}

TEST_F(ScriptTest, WithRunsOverStructsSelfOtherGlobalAndIds) {
  KVObjectBase* a = Object_NewStruct();
  KVObjectBase* caller = Object_NewStruct();
  Object_SetReal(a, "x", 3);
  Object_SetReal(caller, "x", 10);
  Object_SetReal(g_instance, "x", 100);
  Object_SetReal(caller, "visits", 0);
  struct Case {
    Val target;
    double total;
  };
  const Case cases[] = {
      {Val::Object(a), 3}, {Val::Real(-1), 10}, {Val::Real(100001), 100},
      {Val::Real(100002), 0}, {Val::Real(-5), 0}, {Val::Undefined(), 0},
  };
  for (const Case& c : cases) {
    RValue target = *c.target;
    RValue* argv[] = {&target};
    Val result;
    SumX(KV_AsInstance(caller), nullptr, result.get(), 1, argv);
    EXPECT_EQ(result.get()->val, c.total) << c.target.text();
  }
  EXPECT_EQ(tsl::get(KV_AsInstance(caller), "visits").real(), 3) << "three cases ran a round";
}

TEST_F(ScriptTest, FreeStringGivesTheTextBackToTheMemoryManager) {
  const int64_t before = MemoryManager::Stats().heap_blocks;
  char* text = static_cast<char*>(KV_ALLOC(4096));
  ASSERT_EQ(MemoryManager::Stats().heap_blocks, before + 1);
  KVFreeString(text);
  EXPECT_EQ(MemoryManager::Stats().heap_blocks, before);
  KVFreeString(nullptr);
}

TEST_F(ScriptTest, ScriptBuiltinsCallCheckAndName) {
  EXPECT_EQ(Call("script_execute", {Val::Real(100000), Val::Real(1), Val::Real(2), Val::Real(3), Val::Real(4)})
                .text(),
            "4");
  EXPECT_EQ(ErrorRaisedBy([&] { Call("script_execute", {Val::Real(100099)}); }),
            "Trying to execute non-existing script.");
  int32_t divide = -1;
  Function_Find("test_divide", &divide);
  EXPECT_EQ(Call("script_execute", {Val::Real(divide), Val::Real(9), Val::Real(3)}).text(), "3");

  Val args = Val::Array({Val::Real(1), Val::Real(2), Val::Real(3), Val::Real(4), Val::Real(5)});
  EXPECT_EQ(Call("script_execute_ext", {Val::Real(100000), args, Val::Real(1)}).text(), "5");
  EXPECT_EQ(Call("script_execute_ext", {Val::Real(100000), args, Val::Real(1), Val::Real(2)}).kind(),
            kRVUndefined);
  EXPECT_EQ(ErrorRaisedBy([&] { Call("script_execute_ext", {Val::Real(100000), Val::Real(1)}); }),
            "script_execute_ext : argument 2 is not an array");
  EXPECT_EQ(ErrorRaisedBy([&] { Call("script_execute_ext", {Val::Real(100000), args, Val::Real(6)}); }),
            "array base offset 6 is out of range 0..5");

  struct Case {
    Val index;
    const char* exists;
    const char* name;
  };
  const Case cases[] = {
      {Val::Real(100001), "1", "level1"},
      {Val::Real(100050), "0", "<unknown>"},
      {Val::Real(-1), "0", "<undefined>"},
      {Val::Real(divide), "0", "test_divide"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Call("script_exists", {c.index}).text(), c.exists) << c.index.text();
    EXPECT_EQ(Call("script_get_name", {c.index}).text(), c.name) << c.index.text();
  }
  Val method = Val::Object(Method_ForScript(2, nullptr));
  EXPECT_EQ(Call("script_get_name", {method}).text(), "guarded");
}

TEST_F(ScriptTest, CodeRunsInTheShapeOfItsName) {
  CCode event(4);
  EXPECT_FALSE(event.is_script());
  EXPECT_TRUE(Code_Execute(KV_AsInstance(g_instance), nullptr, &event, nullptr, 0));
  EXPECT_EQ(tsl::get(KV_AsInstance(g_instance), "made").real(), 1);

  CCode script(5);
  EXPECT_TRUE(script.is_script());
  CInstance* global = tsl::global();
  Object_SetReal(g_GlobalObject, "inits", 0);
  EXPECT_TRUE(Code_Execute(global, global, &script, nullptr, 0));
  Code_SetOldExec(true);
  EXPECT_TRUE(Code_Execute(global, global, &script, nullptr, 0));
  Code_SetOldExec(false);
  EXPECT_EQ(tsl::get(global, "inits").real(), 1) << "-oldexec runs nothing";

  CCode missing(77);
  EXPECT_FALSE(Code_Execute(global, global, &missing, nullptr, 0));
}

TEST_F(ScriptTest, GlobalInitListRunsOnTheGlobalObjectUntilTheGameEnds) {
  Object_SetReal(g_GlobalObject, "inits", 0);
  EXPECT_TRUE(Code_RunList({5, 5}, true));
  EXPECT_FALSE(Code_RunList({5, 6, 5}, true));
  EXPECT_EQ(tsl::get(tsl::global(), "inits").real(), 3);
}

TEST_F(ScriptTest, BinderReadsScriptRecordsWithTheirConstructorBits) {
  datawin::Writer writer = MakeMinimalGame();
  datawin::add_scpt(writer, {datawin::ScriptRecord{"fourth", 0}, std::nullopt,
                             datawin::ScriptRecord{"guarded", 0x80000002u}});
  std::vector<uint8_t> image = BuildImage(writer);
  std::vector<ScriptRecord> records;
  ASSERT_TRUE(Script_ReadRecords(image.data(), static_cast<uint32_t>(image.size()), &records));
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[1].name, nullptr);
  ASSERT_TRUE(Script_Bind(records));
  EXPECT_EQ(Script_Count(), 3);
  EXPECT_EQ(Script_Get(0)->name(), "fourth");
  EXPECT_FALSE(KVScript_IsConstructor(0));
  EXPECT_TRUE(Script_Get(2)->constructor());
  EXPECT_TRUE(KVScript_IsConstructor(2));
  EXPECT_NE(Script_Get(2)->static_struct(), nullptr);

  image.resize(image.size() - 6);  // the last record cut off
  EXPECT_FALSE(Script_ReadRecords(image.data(), static_cast<uint32_t>(image.size()), &records));
  EXPECT_FALSE(Script_Bind({ScriptRecord{"stray", 40}})) << "a row outside the compiled table";
}

TEST_F(ScriptTest, ScriptNamesResolveThroughFunctionFind) {
  Code_InstallScriptLookup();
  int32_t id = -1;
  EXPECT_TRUE(Function_Find("level1", &id));
  EXPECT_EQ(id, 100001);
  EXPECT_TRUE(Function_Find("tsl_Script_sum_x", &id));
  EXPECT_EQ(id, 100003);
  Function_SetScriptLookup(nullptr);
}

}  // namespace

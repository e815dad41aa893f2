// SnowState as game code meets it: a data file written with the function table of the real
// manifest is loaded with the program's compiled code tables, the start-up runs (the library's
// start-up among the global scripts), and machines are built with `new SnowState(...)` from an
// owner struct. States are structs of test functions that note what runs; the tests cover the
// initial state's enter, change with its leave/enter order, the history, inherited states and
// inherit, transitions with conditions, broadcasts, and the library's errors.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "compiled_code.h"
#include "core/builtin_families.h"
#include "core/call.h"
#include "core/code.h"
#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "run/run_builtins.h"
#include "run/run_subjects.h"
#include "core/script_api.h"
#include "core/variable_names.h"
#include "run/asset_readers.h"
#include "data/game_data.h"
#include "datawin/builder/game_build.h"
#include "manifest/manifest_orders.h"
#include "state/snowstate.h"
#include "support/builtin_call.h"
#include "support/fixture.h"

namespace {

using tsl::Value;

std::vector<std::string> g_log;

// The text of a value for the log: strings bare, arrays as [a,b].
std::string shown(const RValue& v) {
  if (RV_Kind(v) == kRVString) return RV_StringText(v);
  char* text = RV_ToText(v);
  std::string out = text;
  KVFreeString(text);
  return out;
}

// A state function that notes its tag, the self it ran with and its arguments.
template <const char* Tag>
RValue* Note(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  std::string entry = Tag;
  // The owner has a name; the machine (self of an unbound callback) has none.
  Value who;
  const int32_t slot = Variable_GetSlot("name");
  if (slot >= 0 && Object_GetVar(KV_AsObject(self), slot, kIndexWholeValue, who.get()) && RV_Kind(*who) == kRVString) {
    entry += " @" + shown(*who);
  }
  for (int i = 0; i < argc; ++i) entry += " " + shown(*argv[i]);
  g_log.push_back(entry);
  return result;
}

#define TAG(name, text) constexpr char name[] = text;
TAG(kIdleEnter, "idle enter")
TAG(kIdleLeave, "idle leave")
TAG(kIdleStep, "idle step")
TAG(kWalkEnter, "walk enter")
TAG(kWalkLeave, "walk leave")
TAG(kBaseStep, "base step")
TAG(kBaseDraw, "base draw")
TAG(kBroadcast, "changed")
TAG(kCustomLeave, "custom leave")
#undef TAG

// fsm.inherit() from a state's step, noting the current state around it.
Value* g_machine = nullptr;
Value MachineCall(const char* name, std::vector<RValue> args = {});
RValue* ChildStep(CInstance*, CInstance*, RValue* result, int, RValue**) {
  g_log.push_back("child step in " + shown(*MachineCall("get_current_state")));
  MachineCall("inherit");
  g_log.push_back("child step after, " + shown(*MachineCall("get_current_state")));
  return result;
}
// A parent's event that changes state: the chain of inherit ends there.
RValue* BaseStepChanging(CInstance*, CInstance*, RValue* result, int, RValue**) {
  g_log.push_back("base step sees " + shown(*MachineCall("get_current_state")));
  Value walk = Value::String("walk");
  MachineCall("change", {*walk});
  return result;
}
RValue* Loop(CInstance*, CInstance*, RValue* result, int, RValue**) {
  MachineCall("inherit");
  return result;
}
bool g_condition_answer = false;
RValue* Condition(CInstance*, CInstance*, RValue* result, int, RValue**) {
  g_log.push_back("asked");
  *result = RV_Bool(g_condition_answer);
  return result;
}
RValue* Yes(CInstance*, CInstance*, RValue* result, int, RValue**) {
  *result = RV_Bool(true);
  return result;
}
// A custom leave that runs the default it replaced.
RValue* LeaveThenDefault(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  g_log.push_back(kCustomLeave);
  const Value replaced = MachineCall("event_get_current_function");
  tsl::call_method(*replaced, self, other);
  return result;
}

std::string manifest_text() {
  std::ifstream in(std::string(KOVA_SOURCE_DIR) + "/assets/manifest.txt", std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

class SnowStateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_log.clear();
    ResetLoaderState();
    Assets_InstallReaders();
    Run_InstallBuiltinRegistrars();
    manifest::Orders orders;
    std::string error;
    ASSERT_TRUE(manifest::parse_orders(manifest_text(), "manifest.txt", &orders, &error)) << error;
    const datawin::FunctionTableChunks chunks = datawin::function_table_chunks(orders.functions);
    datawin::Writer writer = MakeMinimalGame();
    datawin::add_scpt(writer, chunks.scripts);
    image_ = BuildImage(writer);
    g_CodeTables = Compiled_CodeTables();
    const auto size = static_cast<uint32_t>(image_.size());
    ASSERT_TRUE(HeaderScan(image_.data(), size));
    ASSERT_TRUE(LoadGameData(image_.data(), size));
    ASSERT_TRUE(Script_Prepare());
    // The library's start-up, as the global scripts run it.
    ConsoleCapture capture;
    tsl::call(tsl_GlobalScript___snowstate_system, KV_AsInstance(Object_Global()), KV_AsInstance(Object_Global()));
    banner_ = capture.text();
    owner_ = Object_NewStruct();
    GCAddRoot(owner_);
    Value name = Value::String("hero");
    Object_SetRValue(owner_, "name", name.get());
    g_machine = &machine_;
  }
  void TearDown() override {
    g_machine = nullptr;
    machine_ = Value();
    ResetLoaderState();
  }

  // new SnowState(args...) from the owner's code.
  Value construct(std::vector<RValue> args) {
    int32_t index = -1;
    EXPECT_TRUE(Function_Find("SnowState", &index));
    args.insert(args.begin(), RV_Real(index));
    int32_t make = -1;
    Function_Find("@@NewTSLObject@@", &make);
    Value out;
    std::vector<RValue*> pointers;
    for (RValue& arg : args) pointers.push_back(&arg);
    CallBuiltin(owner(), owner(), out.get(), static_cast<int>(pointers.size()), make, pointers.data());
    return out;
  }
  void start(const char* initial, bool exec_enter = true) {
    Value name = Value::String(initial);
    machine_ = construct({*name, RV_Bool(exec_enter)});
  }
  CInstance* owner() { return KV_AsInstance(owner_); }

  // {event: function, ...}
  Value state(std::vector<std::pair<const char*, KVScriptFunction>> events) {
    Value made = Value::Object(Object_NewStruct());
    for (const auto& [event, function] : events) {
      Value f;
      KVCreateMethod(f.get(), function, nullptr);
      Object_SetRValue(made.object(), event, f.get());
    }
    return made;
  }
  Value function(KVScriptFunction function) {
    Value f;
    KVCreateMethod(f.get(), function, nullptr);
    return f;
  }

  std::vector<std::string> take_log() { return std::exchange(g_log, {}); }

  std::vector<uint8_t> image_;
  KVObjectBase* owner_ = nullptr;
  Value machine_;
  std::string banner_;
};

// fsm.name(args...) as the owner's code calls it.
Value MachineCall(const char* name, std::vector<RValue> args) {
  Value member = tsl::get(KV_AsInstance(g_machine->object()), name);
  std::vector<RValue*> pointers;
  for (RValue& arg : args) pointers.push_back(&arg);
  Value out;
  RValue callee = *member;
  CallMethod(nullptr, nullptr, out.get(), static_cast<int>(pointers.size()), &callee, pointers.data());
  return out;
}

Value Str(const char* text) { return Value::String(text); }
std::string Text(const Value& v) { return shown(*v); }

TEST_F(SnowStateTest, TheLibrarySaysItIsThere) { EXPECT_EQ(banner_, "SnowState: hierarchical state machines are ready\n"); }

TEST_F(SnowStateTest, TheInitialStatesEnterRunsWhenItIsDefined) {
  start("idle");
  EXPECT_STREQ(machine_.object()->className, "tsl_Script_SnowState");
  EXPECT_EQ(Text(MachineCall("get_current_state")), "idle");
  EXPECT_TRUE(g_log.empty());
  // The walk state isn't the initial one: nothing runs. The idle state's enter runs bound to the
  // owner, with no arguments.
  MachineCall("add", {*Str("walk"), *state({{"enter", Note<kWalkEnter>}})});
  EXPECT_TRUE(g_log.empty());
  const Value chained = MachineCall("add", {*Str("idle"), *state({{"enter", Note<kIdleEnter>}})});
  EXPECT_EQ(chained.object(), machine_.object());
  EXPECT_EQ(take_log(), std::vector<std::string>{"idle enter @hero"});
  EXPECT_EQ(RV_Kind(*MachineCall("get_previous_state")), kRVUndefined);

  // With exec_enter false it never runs by itself.
  start("idle", false);
  MachineCall("add", {*Str("idle"), *state({{"enter", Note<kIdleEnter>}})});
  EXPECT_TRUE(g_log.empty());
}

TEST_F(SnowStateTest, ChangeLeavesThenEntersAndBroadcasts) {
  start("idle");
  MachineCall("add", {*Str("idle"), *state({{"enter", Note<kIdleEnter>}, {"leave", Note<kIdleLeave>}})});
  MachineCall("add", {*Str("walk"), *state({{"enter", Note<kWalkEnter>}, {"leave", Note<kWalkLeave>}})});
  MachineCall("on", {*Str("state changed"), *function(Note<kBroadcast>)});
  take_log();
  MachineCall("change", {*Str("walk"), RV_Undefined(), RV_Undefined(), RV_Real(7)});
  // Data reaches leave and enter; the broadcast gets [destination, source] as its arguments.
  EXPECT_EQ(take_log(), (std::vector<std::string>{"idle leave @hero 7", "walk enter @hero 7", "changed walk idle"}));
  EXPECT_EQ(Text(MachineCall("get_current_state")), "walk");
  EXPECT_EQ(Text(MachineCall("get_previous_state")), "idle");
  // A custom leave runs instead of the state's and may call the default it replaced.
  MachineCall("change", {*Str("idle"), *function(LeaveThenDefault)});
  EXPECT_EQ(take_log(), (std::vector<std::string>{"custom leave", "walk leave @hero", "idle enter @hero",
                                                  "changed idle walk"}));
  // Only functions may stand in for leave and enter.
  EXPECT_EQ(ErrorRaisedBy([] { MachineCall("change", {*Str("walk"), RV_Real(-3)}); }),
            "[SnowState]\nInvalid value for \"leave_func\" in change(). Should be a function.\n\n\n");
}

TEST_F(SnowStateTest, HistoryKeepsThePassedStatesWithinItsLimits) {
  start("a");
  for (const char* name : {"a", "b", "c", "d"}) MachineCall("add", {*Str(name)});
  auto history = [] { return Text(MachineCall("history_get")); };
  EXPECT_EQ(history(), "[ \"a\" ]");
  for (const char* name : {"b", "c", "d", "a", "b", "c"}) MachineCall("change", {*Str(name)});
  // Five by default, current first.
  EXPECT_EQ(history(), "[ \"c\",\"b\",\"a\",\"d\",\"c\" ]");
  MachineCall("history_set_max_size", {RV_Real(3)});
  EXPECT_EQ(history(), "[ \"c\",\"b\",\"a\" ]");
  // A size of 0 still keeps the current and the previous state; a negative size is taken as 0.
  {
    ConsoleCapture capture;
    MachineCall("history_set_max_size", {RV_Real(-2)});
    EXPECT_EQ(capture.text(), "[SnowState] History size should non-negative. Setting the size to 0 instead of -2.\n");
  }
  EXPECT_EQ(RV_ToDouble(*MachineCall("history_get_max_size")), 0.0);
  EXPECT_EQ(Text(MachineCall("get_previous_state")), "b");
  MachineCall("history_set_max_size", {RV_Real(5)});
  // Off, the history holds two: current and previous.
  MachineCall("history_disable");
  MachineCall("change", {*Str("d")});
  EXPECT_EQ(Text(MachineCall("get_previous_state")), "c");
  {
    ConsoleCapture capture;
    EXPECT_EQ(history(), "[  ]");
    EXPECT_EQ(capture.text(), "[SnowState] History is disabled, can not get_history().\n");
  }
  MachineCall("history_enable");
  MachineCall("change", {*Str("a")});
  EXPECT_EQ(history(), "[ \"a\",\"d\",\"c\" ]");
}

TEST_F(SnowStateTest, EventsOfStatesBecomeMethodsOfTheMachine) {
  start("idle");
  MachineCall("add", {*Str("idle"), *state({{"step", Note<kIdleStep>}})});
  MachineCall("add", {*Str("walk")});
  // step() runs the current state's step with its arguments; in a state without one, the empty
  // default runs.
  MachineCall("step", {RV_Real(1), RV_Real(2)});
  EXPECT_EQ(take_log(), std::vector<std::string>{"idle step @hero 1 2"});
  EXPECT_EQ(RV_ToInt64(*MachineCall("event_exists", {*Str("step")})), 1);
  MachineCall("change", {*Str("walk")});
  MachineCall("step");
  EXPECT_TRUE(g_log.empty());
  EXPECT_EQ(RV_ToInt64(*MachineCall("event_exists", {*Str("step")})), 0);
  EXPECT_EQ(RV_ToInt64(*MachineCall("event_exists", {*Str("fly")})), 0);
  // A state can't take a name the machine already uses.
  EXPECT_EQ(ErrorRaisedBy([&] { MachineCall("add", {*Str("bad"), *state({{"change", Note<kIdleStep>}})}); }),
            "[SnowState]\nCan not use \"change\" as an event.\n\n\n");
}

TEST_F(SnowStateTest, ChildStatesInheritTheirParentsEvents) {
  start("child");
  MachineCall("add", {*Str("base"), *state({{"step", Note<kBaseStep>}, {"draw", Note<kBaseDraw>}})});
  MachineCall("add_child", {*Str("base"), *Str("child"), *state({{"step", ChildStep}})});
  // draw comes from the parent (code 2), step is the child's own (code 1) and inherit runs the
  // parent's while the child stays current.
  EXPECT_EQ(RV_ToInt64(*MachineCall("event_exists", {*Str("draw")})), 2);
  EXPECT_EQ(RV_ToInt64(*MachineCall("event_exists", {*Str("step")})), 1);
  MachineCall("draw");
  MachineCall("step");
  EXPECT_EQ(take_log(), (std::vector<std::string>{"base draw @hero", "child step in child", "base step @hero",
                                                  "child step after, child"}));
  EXPECT_TRUE(RV_ToBool(*MachineCall("state_is", {*Str("base")})));
  EXPECT_TRUE(RV_ToBool(*MachineCall("state_is", {*Str("child"), *Str("child")})));
  EXPECT_FALSE(RV_ToBool(*MachineCall("state_is", {*Str("child"), *Str("base")})));

  // A change inside the parent's event ends the chain: the state left is the child.
  MachineCall("add", {*Str("walk")});
  MachineCall("add", {*Str("base"), *state({{"step", BaseStepChanging}})});
  MachineCall("add_child", {*Str("base"), *Str("child"), *state({{"step", ChildStep}})});
  take_log();
  MachineCall("step");
  EXPECT_EQ(take_log(), (std::vector<std::string>{"child step in child", "base step sees child",
                                                  "child step after, walk"}));
  EXPECT_EQ(Text(MachineCall("get_current_state")), "walk");
  EXPECT_EQ(Text(MachineCall("get_previous_state")), "child");
}

TEST_F(SnowStateTest, TransitionsFireTheFirstRecordWhoseConditionHolds) {
  start("idle");
  MachineCall("add", {*Str("idle"), *state({{"enter", Note<kIdleEnter>}, {"leave", Note<kIdleLeave>}})});
  MachineCall("add", {*Str("walk"), *state({{"enter", Note<kWalkEnter>}})});
  MachineCall("add", {*Str("run")});
  MachineCall("on", {*Str("state changed"), *function(Note<kBroadcast>)});
  MachineCall("add_transition", {*Str("go"), *Str("idle"), *Str("run"), *function(Condition)});
  MachineCall("add_transition", {*Str("go"), *Str("idle"), *Str("walk")});
  take_log();
  g_condition_answer = false;
  // No record for the trigger, or an empty list of triggers: false, nothing moves.
  EXPECT_FALSE(RV_ToBool(*MachineCall("trigger", {*Str("stop")})));
  EXPECT_FALSE(RV_ToBool(*MachineCall("trigger", {*Value::Adopt([] {
    RValue empty = RV_Undefined();
    empty.pArray = RV_NewArray(0);
    empty.flags = 0;
    empty.kind = kRVArray;
    return empty;
  }())})));
  EXPECT_TRUE(g_log.empty());
  // The first condition says no, the second record has the default condition.
  EXPECT_TRUE(RV_ToBool(*MachineCall("trigger", {*Str("go"), RV_Real(3)})));
  EXPECT_EQ(take_log(), (std::vector<std::string>{"asked", "idle leave @hero 3", "walk enter @hero 3", "changed walk idle go"}));
  EXPECT_EQ(Text(MachineCall("get_current_state")), "walk");
  EXPECT_EQ(RV_ToInt64(*MachineCall("transition_exists", {*Str("go"), *Str("idle")})), 1);
  EXPECT_FALSE(RV_ToBool(*MachineCall("transition_exists", {*Str("go"), *Str("walk")})));

  // A wildcard transition applies from any state; a reflexive one re-enters the source.
  MachineCall("add_wildcard_transition", {*Str("rest"), *Str("idle"), *function(Yes)});
  MachineCall("add_reflexive_transition", {*Str("again"), *Str("idle")});
  EXPECT_TRUE(RV_ToBool(*MachineCall("trigger", {*Str("rest")})));
  EXPECT_EQ(Text(MachineCall("get_current_state")), "idle");
  take_log();
  EXPECT_TRUE(RV_ToBool(*MachineCall("trigger", {*Str("again")})));
  EXPECT_EQ(take_log(), (std::vector<std::string>{"idle leave @hero", "idle enter @hero", "changed idle idle again"}));

  // A child takes its ancestors' transitions, the nearest first, with itself as the source.
  MachineCall("add_child", {*Str("idle"), *Str("sitting")});
  MachineCall("add_child", {*Str("sitting"), *Str("sleeping")});
  MachineCall("add_transition", {*Str("wake"), *Str("sitting"), *Str("run")});
  MachineCall("add_transition", {*Str("wake"), *Str("idle"), *Str("walk")});
  MachineCall("change", {*Str("sleeping")});
  EXPECT_EQ(RV_ToInt64(*MachineCall("transition_exists", {*Str("wake"), *Str("sleeping")})), 2);
  take_log();
  EXPECT_TRUE(RV_ToBool(*MachineCall("trigger", {*Str("wake")})));
  EXPECT_EQ(take_log(), (std::vector<std::string>{"idle leave @hero", "changed run sleeping wake"}));
}

TEST_F(SnowStateTest, TheLibrarysErrorsAndWarnings) {
  start("idle");
  MachineCall("add", {*Str("idle")});
  MachineCall("add", {*Str("base")});
  MachineCall("add_child", {*Str("base"), *Str("loop"), *state({{"step", Loop}})});
  MachineCall("add_child", {*Str("loop"), *Str("base")});
  struct ErrorCase {
    const char* what;
    std::function<void()> run;
    std::string message;
  };
  const ErrorCase errors[] = {
      {"empty state name", [] { MachineCall("add", {*Str("")}); }, "State name should be a non-empty string."},
      {"reserved state name", [] { MachineCall("add", {*Str("*")}); }, "State name can not be \"*\"."},
      {"state not a struct", [] { MachineCall("add", {*Str("x"), RV_Real(3)}); }, "State struct should be a struct."},
      {"own parent", [] { MachineCall("add_child", {*Str("x"), *Str("x")}); },
       "Cannot set a state as a parent to itself."},
      {"unknown parent", [] { MachineCall("add_child", {*Str("nowhere"), *Str("x")}); },
       "State \"nowhere\" is not defined."},
      {"wildcard destination", [] { MachineCall("add_transition", {*Str("t"), *Str("idle"), *Str("*")}); },
       "Destination state name can not be the same as SNOWSTATE_WILDCARD_TRANSITION_NAME."},
      {"bad condition", [] { MachineCall("add_transition", {*Str("t"), *Str("idle"), *Str("base"), RV_Real(-1)}); },
       "Invalid value for \"condition\" in add_transition(). Should be a function."},
      {"empty trigger", [] { MachineCall("trigger", {*Str("")}); }, "Transition name should be a non-empty string."},
      {"size not a number", [] { MachineCall("history_set_max_size", {*Str("many")}); }, "Size should be a number."},
      {"time not a number", [] { MachineCall("set_time", {*Str("now")}); }, "Time should be a number"},
      {"callback", [] { MachineCall("on", {*Str("state changed"), RV_Real(-1)}); }, "Callback should be a string."},
      {"circular inheritance",
       [] {
         MachineCall("change", {*Str("loop")});
         MachineCall("step");
       },
       "Circular inheritance found. Inheritance chain: loop -> base -> loop(-> reads as \"inherits from\")\n"},
      // Last: it leaves the machine in a state without events.
      {"undefined state's event", [] { MachineCall("change", {*Str("limbo")}); }, "State \"limbo\" is not defined."},
  };
  for (const ErrorCase& c : errors) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(ErrorRaisedBy(c.run), "[SnowState]\n" + c.message + "\n\n\n");
  }
  // Warnings go to the debug output and the call goes on.
  start("idle");
  MachineCall("add", {*Str("idle")});
  ConsoleCapture capture;
  MachineCall("add", {*Str("idle")});
  MachineCall("add_transition", {*Str("t"), *Str("="), *Str("idle")});
  MachineCall("on", {*Str("landed"), *function(Yes)});
  EXPECT_EQ(capture.text(),
            "[SnowState] State \"idle\" has been defined already. Replacing the previous definition.\n"
            "[SnowState] Source state name can not be the same as SNOWSTATE_REFLEXIVE_TRANSITION_NAME. "
            "Transition not added.\n"
            "[SnowState] Event \"landed\" does not exist.\n");
}

}  // namespace

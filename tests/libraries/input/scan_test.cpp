// The binding scan frame by frame (silence first, then the first new key, button or pad control;
// its filters and each failure code) and join mode with its parameters.
#include <string>
#include <vector>

#include "core/object.h"
#include "input_fixture.h"

namespace {

constexpr int32_t kSpace = 32, kKeyA = 65;
constexpr double kFaceSouth = 32769;

// What the scan's callbacks were handed.
std::vector<std::string> g_found;
std::vector<double> g_failures;

RValue* on_success(CInstance*, CInstance*, RValue* result, int argc, RValue** argv) {
  const RValue* binding = argc > 0 ? argv[0] : nullptr;
  const tsl::Value type = tsl::get(KV_AsInstance(RV_ObjectOf(*binding)), "type");
  const tsl::Value value = tsl::get(KV_AsInstance(RV_ObjectOf(*binding)), "value");
  g_found.push_back(std::string(RV_StringText(*type)) + " " +
                    (RV_Kind(*value) == kRVUndefined ? "-" : std::to_string(static_cast<int64_t>(RV_ToDouble(*value)))));
  return result;
}

RValue* on_failure(CInstance*, CInstance*, RValue* result, int argc, RValue** argv) {
  g_failures.push_back(argc > 0 ? RV_ToDouble(*argv[0]) : 0);
  return result;
}

class InputScanTest : public InputLibraryTest {
 protected:
  void SetUp() override {
    g_found.clear();
    g_failures.clear();
    InputLibraryTest::SetUp();
    KVCreateMethod(success_.get(), on_success, nullptr);
    KVCreateMethod(failure_.get(), on_failure, nullptr);
  }
  void start(const RValue& filter = RV_Undefined()) { call("input_binding_scan_start", {*success_, *failure_, filter}); }
  bool scanning() { return RV_ToBool(*call("input_binding_scan_in_progress")); }

  tsl::Value success_, failure_;
};

TEST_F(InputScanTest, AScanWaitsForSilenceThenTakesTheNextKey) {
  mouse_down(1);  // the click that asked for the scan
  frame();
  start();
  ConsoleCapture capture;
  key_down(kSpace);
  frames(3);
  EXPECT_TRUE(scanning()) << "the click and the key are still held";
  EXPECT_EQ(capture.text().find("Now scanning"), std::string::npos);
  mouse_up(1);
  key_up(kSpace);
  frame();
  EXPECT_NE(capture.text().find("Input: Now scanning for a new binding from player 0"), std::string::npos)
      << capture.text();
  EXPECT_TRUE(g_found.empty());
  key_down(kKeyA);
  frame();
  EXPECT_FALSE(scanning());
  EXPECT_EQ(g_found, std::vector<std::string>{"key 65"});
  EXPECT_TRUE(g_failures.empty());
  key_up(kKeyA);
  frame();
}

TEST_F(InputScanTest, MouseButtonsAndTheWheelAreFoundToo) {
  start();
  frame();
  mouse_down(2);
  frame();
  mouse_up(2);
  frame();
  start();
  frame();
  host_.Push(WindowMessageKind::kMouseWheel, 0, 1);
  frame();
  ASSERT_EQ(g_found.size(), 2u);
  EXPECT_EQ(g_found[0], "mouse button 2");
  EXPECT_EQ(g_found[1].rfind("mouse wheel", 0), 0u) << g_found[1];
}

TEST_F(InputScanTest, ParametersIgnoreAndAllowConstants) {
  call("input_binding_scan_set_params", {*text(" ")});
  const tsl::Value params = call("input_binding_scan_get_params");
  const tsl::Value ignored = tsl::get(KV_AsInstance(params.object()), "ignore_array");
  ASSERT_EQ(RV_Kind(*ignored), static_cast<uint32_t>(kRVArray));
  EXPECT_EQ(RV_ToDouble(ignored.get()->pArray->pArray[0]), kSpace);
  EXPECT_EQ(RV_Kind(*tsl::get(KV_AsInstance(params.object()), "allow_array")), static_cast<uint32_t>(kRVUndefined));
  start();
  frame();
  key_down(kSpace);
  frame();
  EXPECT_TRUE(scanning()) << "space is ignored";
  key_up(kSpace);
  key_down(kKeyA);
  frame();
  EXPECT_EQ(g_found, std::vector<std::string>{"key 65"});
  key_up(kKeyA);
  call("input_binding_scan_clear_params");
  EXPECT_EQ(RV_Kind(*tsl::get(KV_AsInstance(call("input_binding_scan_get_params").object()), "ignore_array")),
            static_cast<uint32_t>(kRVUndefined));
}

TEST_F(InputScanTest, EachFailureHasItsCode) {
  // No sources to read.
  start(*tsl::Value::Adopt([] {
    RValue empty = RV_Undefined();
    empty.pArray = RV_NewArray(0);
    empty.flags = 0;
    empty.kind = kRVArray;
    return empty;
  }()));
  frame();
  // A source handed to the player mid-scan.
  start();
  call("input_source_add", {*tsl::get(tsl::global(), "__input_source_keyboard")});
  // A ghost.
  start();
  call("input_player_ghost_set", {RV_Bool(true)});
  frame();
  call("input_player_ghost_set", {RV_Bool(false)});
  call("input_source_set", {*tsl::get(tsl::global(), "__input_source_keyboard")});
  frame();
  // Ten seconds with nothing pressed.
  start();
  ConsoleCapture capture;
  frames(598);
  EXPECT_TRUE(scanning()) << "not yet ten seconds";
  frames(4);
  EXPECT_FALSE(scanning());
  EXPECT_NE(capture.text().find("Input: Binding scan failed: Timed out"), std::string::npos);
  EXPECT_EQ(g_failures, (std::vector<double>{-10, -11, -15, -20}));
  EXPECT_TRUE(g_found.empty());
  // An abort ends a scan with neither callback.
  start();
  call("input_binding_scan_abort");
  EXPECT_FALSE(scanning());
  frames(2);
  EXPECT_EQ(g_failures.size(), 4u);
}

TEST_F(InputScanTest, APadScanFindsAButton) {
  const tsl::Value b = call("input_binding_gamepad_button", {RV_Real(kFaceSouth)});
  call("input_binding_set", {*text("select"), *b, RV_Real(0), RV_Real(0), *text("gamepad")});
  attach_controller(7);
  frames(2);
  const tsl::Value pads = tsl::get(tsl::global(), "__input_source_gamepad");
  ASSERT_GE(pads.get()->pArray->length, 1);
  start(pads.get()->pArray->pArray[0]);
  frame();
  pad(7).reading.button[1] = 1;
  frame();
  EXPECT_EQ(g_found, std::vector<std::string>{"gamepad button 32770"});
}

class InputJoinTest : public InputScanTest {
 protected:
  tsl::Value params() { return call("input_multiplayer_params_get"); }
  double param(const char* name) { return RV_ToDouble(*tsl::get(KV_AsInstance(params().object()), name)); }
};

TEST_F(InputJoinTest, PlayersJoinUntilTheSlotsAreFull) {
  const tsl::Value b = call("input_binding_gamepad_button", {RV_Real(kFaceSouth)});
  call("input_binding_set", {*text("select"), *b, RV_Real(0), RV_Real(0), *text("gamepad")});
  call("input_multiplayer_params_set", {RV_Real(2), RV_Real(2)});
  EXPECT_EQ(param("min"), 2);
  EXPECT_EQ(param("max"), 2);
  EXPECT_EQ(param("leave_verb"), 1);
  EXPECT_EQ(param("abort"), 0);
  EXPECT_TRUE(RV_ToBool(*call("input_multiplayer_is_finished"))) << "outside join mode";
  call("input_source_mode_set", {RV_Real(1)});
  attach_controller(7);
  frames(2);
  EXPECT_FALSE(RV_ToBool(*call("input_multiplayer_is_finished")));
  ConsoleCapture capture;
  mouse_down(1);
  frame();
  EXPECT_NE(capture.text().find("Input: Assignment: Player 0 joined"), std::string::npos) << capture.text();
  EXPECT_FALSE(check("input_check_pressed", "select")) << "the joining press does nothing";
  mouse_up(1);
  frame();
  EXPECT_FALSE(RV_ToBool(*call("input_multiplayer_is_finished")));
  pad(7).reading.button[0] = 1;
  frame();
  EXPECT_NE(capture.text().find("Input: Assignment: Player 1 joined"), std::string::npos) << capture.text();
  EXPECT_NE(capture.text().find("Input: Assignment: Restoring source mode 2"), std::string::npos);
  EXPECT_EQ(call("input_source_mode_get").real(), 2);
  EXPECT_EQ(call("input_player_get_gamepad", {RV_Real(1)}).real(), 0);
  pad(7).reading.button[0] = 0;
  frame();

  EXPECT_NE(error_of("input_multiplayer_params_set", {RV_Real(0)}).find("Minimum number of players"), std::string::npos);
  EXPECT_NE(error_of("input_multiplayer_params_set", {RV_Real(3), RV_Real(2)}).find("Maximum number of players"),
            std::string::npos);
}

TEST_F(InputJoinTest, AnAbortNeedsItsCallback) {
  call("input_multiplayer_params_set", {RV_Real(1), RV_Real(4), RV_Bool(true), RV_Bool(true)});
  EXPECT_EQ(param("abort"), 1);
  call("input_source_mode_set", {RV_Real(1)});
  EXPECT_NE(error_of("input_source_assignment_tick")
                .find("INPUT_MULTIPLAYER_ABORT_CALLBACK has not been defined to a function or script"),
            std::string::npos);
  call("input_multiplayer_params_set", {RV_Real(1), RV_Real(4), RV_Bool(true), *failure_});
  key_down(27);
  frame();
  key_up(27);
  frame();
  key_down(27);
  ConsoleCapture capture;
  frame();
  EXPECT_NE(capture.text().find("Input: Assignment: Player 0 aborted source assignment"), std::string::npos)
      << capture.text();
  EXPECT_EQ(g_failures.size(), 1u) << "the abort callback ran";
  EXPECT_EQ(call("input_source_mode_get").real(), 2);
  key_up(27);
  frame();
}

}  // namespace

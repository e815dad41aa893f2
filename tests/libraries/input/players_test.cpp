// Players, sources, bindings and gamepads: rebinding through the binding scripts, profiles and their
// errors, gamepad buttons and axes as verbs, hot-swapping between keyboard and mouse and a gamepad,
// a pad's loss, chords and combos.
#include <cstdio>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/function_table.h"
#include "core/object.h"
#include "graphics/window.h"
#include "input/io.h"
#include "input_fixture.h"

namespace {

constexpr int32_t kEscape = 27, kSpace = 32, kKeyA = 65;
constexpr double kFaceSouth = 32769, kFaceEast = 32770, kAxisLH = 32785;

// The game's hot-swap callback: counts its calls.
int g_hotswaps = 0;
RValue* count_hotswap(CInstance*, CInstance*, RValue* result, int, RValue**) {
  ++g_hotswaps;
  return result;
}

class InputPlayersTest : public InputLibraryTest {
 protected:
  tsl::Value binding(const char* maker, std::initializer_list<RValue> args = {}) { return call(maker, args); }
  std::string field(const tsl::Value& s, const char* name) {
    const tsl::Value v = tsl::get(KV_AsInstance(s.object()), name);
    if (RV_Kind(*v) == kRVString) return RV_StringText(*v);
    if (RV_Kind(*v) == kRVUndefined) return "undefined";
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", RV_ToDouble(*v));
    return buffer;
  }
  // Binds a gamepad button to `select` in the gamepad profile, which makes pads claimable.
  void bind_pad_select(double button = kFaceSouth) {
    const tsl::Value b = binding("input_binding_gamepad_button", {RV_Real(button)});
    call("input_binding_set", {*text("select"), *b, RV_Real(0), RV_Real(0), *text("gamepad")});
  }
};

TEST_F(InputPlayersTest, BindingsCarryTheirKindValueAndLabel) {
  struct Case {
    const char* maker;
    std::vector<RValue> args;
    const char* type;
    const char* value;
    const char* label;
    const char* source;
  };
  const Case cases[] = {
      {"input_binding_key", {RV_Real(kEscape)}, "key", "27", "escape", "keyboard"},
      {"input_binding_mouse_button", {RV_Real(1)}, "mouse button", "1", "mouse button left", "mouse"},
      {"input_binding_mouse_wheel_up", {}, "mouse wheel up", "undefined", "mouse wheel up", "mouse"},
      {"input_binding_gamepad_button", {RV_Real(kFaceSouth)}, "gamepad button", "32769", nullptr, "gamepad"},
      {"input_binding_empty", {}, "undefined", "undefined", "empty binding", nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.maker);
    const tsl::Value b = call_with(c.maker, c.args);
    EXPECT_EQ(field(b, "type"), c.type);
    EXPECT_EQ(field(b, "value"), c.value);
    if (c.label != nullptr) {
      EXPECT_EQ(field(b, "__label"), c.label);
    }
    const tsl::Value source = call("input_binding_get_source_type", {*b});
    EXPECT_EQ(RV_Kind(*source) == kRVString ? RV_StringText(*source) : "undefined", std::string(c.source ? c.source : "undefined"));
    const tsl::Value kind = tsl::call("instanceof", tsl::global(), tsl::global(), {*b});
    EXPECT_STREQ(RV_StringText(*kind), "__input_class_binding");
  }
}

TEST_F(InputPlayersTest, RebindingMovesAVerbToAnotherKey) {
  const tsl::Value space = binding("input_binding_key", {RV_Real(kSpace)});
  call("input_binding_set", {*text("cancel"), *space});
  key_down(kEscape);
  frame();
  EXPECT_FALSE(check("input_check", "cancel")) << "escape no longer cancels";
  key_up(kEscape);
  key_down(kSpace);
  frame();
  EXPECT_TRUE(check("input_check_pressed", "cancel"));
  key_up(kSpace);
  frame();
  const tsl::Value now = call("input_binding_get", {*text("cancel")});
  EXPECT_EQ(field(now, "type"), "key");
  EXPECT_EQ(field(now, "value"), "32");
  EXPECT_TRUE(RV_ToBool(*call("input_value_is_binding", {*now})));
  EXPECT_FALSE(RV_ToBool(*call("input_value_is_binding", {RV_Real(3)})));
  // The second alternate binds a further key beside the first.
  const tsl::Value a = binding("input_binding_key", {RV_Real(kKeyA)});
  call("input_binding_set", {*text("cancel"), *a, RV_Real(0), RV_Real(1)});
  key_down(kKeyA);
  frame();
  EXPECT_TRUE(check("input_check", "cancel"));
  key_up(kKeyA);
  frame();
  // Resetting the profile brings escape back.
  call("input_profile_reset_bindings", {*text("keyboard_and_mouse")});
  key_down(kEscape);
  frame();
  EXPECT_TRUE(check("input_check", "cancel"));
  key_up(kEscape);
  frame();
}

TEST_F(InputPlayersTest, SafeBindingSwapsACollision) {
  const tsl::Value left = binding("input_binding_mouse_button", {RV_Real(1)});
  const tsl::Value collisions = call("input_binding_test_collisions", {*text("refund"), *left});
  ASSERT_EQ(RV_Kind(*collisions), static_cast<uint32_t>(kRVArray));
  ASSERT_EQ(collisions.get()->pArray->length, 1);
  call("input_binding_set_safe", {*text("refund"), *left});
  EXPECT_EQ(field(call("input_binding_get", {*text("refund")}), "value"), "1");
  EXPECT_EQ(field(call("input_binding_get", {*text("select")}), "value"), "2") << "select took refund's button";
}

TEST_F(InputPlayersTest, ProfilesAndTheirErrors) {
  const std::string default_error = error_of("input_profile_destroy", {*text("keyboard_and_mouse")});
  EXPECT_NE(default_error.find("Cannot remove profile \"keyboard_and_mouse\" as it is a default profile"), std::string::npos)
      << default_error;
  call("input_profile_create", {*text("lefty")});
  EXPECT_NE(error_of("input_profile_create", {*text("lefty")}).find("Profile \"lefty\" already exists for player 0"),
            std::string::npos);
  EXPECT_NE(error_of("input_profile_set", {*text("nowhere")}).find("Profile \"nowhere\" doesn't exist for player 0"),
            std::string::npos);
  call("input_profile_set", {*text("lefty")});
  key_down(kEscape);
  frame();
  EXPECT_FALSE(check("input_check", "cancel")) << "a new profile binds nothing";
  key_up(kEscape);
  call("input_profile_destroy", {*text("lefty")});
  EXPECT_STREQ(RV_StringText(*call("input_profile_get")), "keyboard_and_mouse") << "back to the automatic profile";
  EXPECT_NE(error_of("input_binding_set", {*text("select"), RV_Real(1)}).find("not a binding"), std::string::npos);
}

TEST_F(InputPlayersTest, APadCannotBeClaimedWithoutGamepadBindings) {
  attach_controller(7);
  frame();
  ASSERT_TRUE(RV_ToBool(*call("input_gamepad_is_connected", {RV_Real(0)})));
  const tsl::Value pads = tsl::get(tsl::global(), "__input_source_gamepad");
  ASSERT_EQ(RV_Kind(*pads), static_cast<uint32_t>(kRVArray));
  ASSERT_GE(pads.get()->pArray->length, 1);
  const tsl::Value first = tsl::Value::Copy(pads.get()->pArray->pArray[0]);
  EXPECT_NE(error_of("input_source_set", {*first})
                .find("Cannot claim gamepad 0, no gamepad bindings have been created in a default profile"),
            std::string::npos);
  EXPECT_NE(error_of("input_source_set", {RV_Real(12)}).find("Invalid source provided (12)"), std::string::npos);
}

TEST_F(InputPlayersTest, HotswapMovesPlayerZeroBetweenMouseAndPad) {
  bind_pad_select();
  attach_controller(7);
  frames(5);
  g_hotswaps = 0;
  tsl::Value callback;
  KVCreateMethod(callback.get(), count_hotswap, nullptr);
  tsl::set(tsl::global(), "INPUT_HOTSWAP_CALLBACK", *callback);
  EXPECT_STREQ(RV_StringText(*call("input_profile_get")), "keyboard_and_mouse");
  // A press of the pad's face button hands player 0 to the pad.
  pad(7).reading.button[0] = 1;
  frame();
  EXPECT_STREQ(RV_StringText(*call("input_profile_get")), "gamepad");
  EXPECT_EQ(call("input_player_get_gamepad").real(), 0);
  EXPECT_EQ(g_hotswaps, 1) << "the game's callback runs after the swap";
  frame();
  EXPECT_TRUE(check("input_check", "select")) << "the pad's A is select now";
  pad(7).reading.button[0] = 0;
  frame();
  EXPECT_TRUE(check("input_check_released", "select"));
  // A held pad keeps the player: a click needs the pad silent for a while first.
  pad(7).reading.button[0] = 1;
  frame();
  mouse_down(1);
  frame();
  EXPECT_STREQ(RV_StringText(*call("input_profile_get")), "gamepad");
  mouse_up(1);
  pad(7).reading.button[0] = 0;
  frames(4);
  mouse_down(1);
  frame();
  EXPECT_STREQ(RV_StringText(*call("input_profile_get")), "keyboard_and_mouse");
  EXPECT_EQ(g_hotswaps, 2);
  mouse_up(1);
  frame();
}

// A hot-swap callback that is neither a function nor a script stops the game when a swap runs it.
TEST_F(InputPlayersTest, AHotswapCallbackOfAnotherKindIsAnError) {
  bind_pad_select();
  attach_controller(7);
  frames(5);
  tsl::set(tsl::global(), "INPUT_HOTSWAP_CALLBACK", *text("not a function"));
  pad(7).reading.button[0] = 1;
  Window_PumpMessages();
  IO_Update();
  EXPECT_NE(error_of("input_source_hotswap_tick").find("INPUT_HOTSWAP_CALLBACK set to an illegal value (typeof=string)"),
            std::string::npos);
}

TEST_F(InputPlayersTest, LosingThePadClearsThePlayersVerbsAfterOneTick) {
  bind_pad_select();
  attach_controller(7);
  frame();
  frames(3);  // player 0 has been silent long enough for a hot-swap
  pad(7).reading.button[0] = 1;
  frames(3);
  ASSERT_TRUE(check("input_check", "select"));
  detach_pads();
  frame();
  EXPECT_FALSE(check("input_check", "select"));
  EXPECT_FALSE(RV_ToBool(*call("input_player_connected")));
  EXPECT_EQ(call("input_player_get_gamepad").real(), -1);
}

TEST_F(InputPlayersTest, ChordNeedsItsVerbsWithinItsTime) {
  call("input_chord_create", {*text("both"), RV_Real(4), *text("select"), *text("cancel")});
  struct Case {
    int gap;
    bool fires;
  };
  for (const Case c : {Case{2, true}, Case{5, false}}) {
    SCOPED_TRACE(c.gap);
    key_down(kEscape);
    frame();
    frames(c.gap - 1);
    mouse_down(1);
    frame();
    EXPECT_EQ(check("input_check_pressed", "both"), c.fires);
    EXPECT_EQ(check("input_check", "both"), c.fires);
    key_up(kEscape);
    mouse_up(1);
    frames(2);
    EXPECT_FALSE(check("input_check", "both"));
  }
  EXPECT_NE(error_of("input_chord_create", {*text("both"), RV_Real(4), *text("select")}).find("Verb name \"both\""),
            std::string::npos);
}

TEST_F(InputPlayersTest, ComboFollowsItsPhasesInOrder) {
  const tsl::Value combo = call("input_combo_create", {*text("double_tap"), RV_Real(20)});
  tsl::call_method(*tsl::get(KV_AsInstance(combo.object()), "press"), tsl::global(), tsl::global(), {*text("cancel")});
  tsl::call_method(*tsl::get(KV_AsInstance(combo.object()), "press"), tsl::global(), tsl::global(), {*text("select")});
  EXPECT_EQ(call("input_combo_get_phase_count", {*text("double_tap")}).real(), 2);
  key_down(kEscape);
  frame();
  EXPECT_EQ(call("input_combo_get_phase", {*text("double_tap")}).real(), 1);
  key_up(kEscape);
  frames(3);
  mouse_down(1);
  frame();
  EXPECT_TRUE(check("input_check_pressed", "double_tap"));
  mouse_up(1);
  frames(2);
  EXPECT_FALSE(check("input_check", "double_tap"));
  // A wrong verb between the phases fails it.
  key_down(kEscape);
  frame();
  key_up(kEscape);
  mouse_down(2);
  frame();
  mouse_up(2);
  mouse_down(1);
  frame();
  EXPECT_FALSE(check("input_check", "double_tap"));
  mouse_up(1);
  frame();
}

}  // namespace

namespace {

TEST_F(InputPlayersTest, ProfilesRoundTripThroughJson) {
  const tsl::Value space = call("input_binding_key", {RV_Real(kSpace)});
  call("input_binding_set", {*text("cancel"), *space});
  call("input_axis_threshold_set", {RV_Real(kAxisLH), RV_Real(0.25), RV_Real(0.75)});
  const tsl::Value saved = call("input_player_export");
  ASSERT_EQ(RV_Kind(*saved), static_cast<uint32_t>(kRVString));
  EXPECT_TRUE(RV_ToBool(*call("input_player_verify", {*saved})));
  call("input_player_reset");
  EXPECT_EQ(field(call("input_binding_get", {*text("cancel")}), "value"), "27") << "reset to escape";
  call("input_player_import", {*saved});
  EXPECT_EQ(field(call("input_binding_get", {*text("cancel")}), "value"), "32") << "space came back";
  const tsl::Value t = call("input_axis_threshold_get", {RV_Real(kAxisLH)});
  EXPECT_EQ(field(t, "mini"), "0.25");
  EXPECT_EQ(field(t, "maxi"), "0.75");
  key_down(kSpace);
  frame();
  EXPECT_TRUE(check("input_check_pressed", "cancel"));
  key_up(kSpace);
  frame();

  struct Bad {
    const char* json;
    const char* message;
  };
  const Bad bad[] = {
      {"{\"axis_thresholds\":{}}", "Player 0 profiles are corrupted"},
      {"{\"profiles\":{}}", "Player 0 gamepad axis thresholds are corrupted"},
      {"{\"profiles\":{\"p\":{\"select\":[{},{}],\"refund\":[{},{}]}},\"axis_thresholds\":{}}",
       "Player 0 data is missing verb \"cancel\""},
      {"{\"profiles\":{\"p\":{\"select\":[{}],\"refund\":[{},{}],\"cancel\":[{},{}]}},\"axis_thresholds\":{}}",
       "JSON malformed, player 0 verb \"select\" should have 2 alternate bindings, but it had 1"},
      {"{\"profiles\":{\"p\":{\"select\":[{\"value\":1},{}],\"refund\":[{},{}],\"cancel\":[{},{}]}},\"axis_thresholds\":{}}",
       "Binding \"type\" not found; binding is corrupted"},
      {"{\"profiles\":{},\"axis_thresholds\":{},\"vibration_strength\":\"loud\"}", "Player 0 vibration strength is corrupted"},
  };
  for (const Bad& b : bad) {
    SCOPED_TRACE(b.json);
    const tsl::Value json = text(b.json);
    EXPECT_FALSE(RV_ToBool(*call("input_player_verify", {*json})));
    EXPECT_NE(error_of("input_player_import", {*json}).find(b.message), std::string::npos);
  }
  EXPECT_NE(error_of("input_player_import", {RV_Real(5)}).find("Input must be valid JSON (typeof=number)"),
            std::string::npos);
}

TEST_F(InputPlayersTest, PrettyExportsAreIndentedSortedAndReadBack) {
  const tsl::Value space = call("input_binding_key", {RV_Real(kSpace)});
  call("input_binding_set", {*text("cancel"), *space});
  const tsl::Value pretty = call("input_profile_export", {*text("keyboard_and_mouse"), RV_Real(0), RV_Bool(true), RV_Bool(true)});
  ASSERT_EQ(RV_Kind(*pretty), static_cast<uint32_t>(kRVString));
  const std::string json = RV_StringText(*pretty);
  EXPECT_EQ(json.rfind("{\n    \"cancel\": [\n        {\n            \"type\": \"key\",\n            \"value\": 32", 0), 0u)
      << json;
  EXPECT_LT(json.find("\"cancel\""), json.find("\"refund\""));
  EXPECT_LT(json.find("\"refund\""), json.find("\"select\"")) << "names in order";
  EXPECT_NE(json.find("        {}\n    ]"), std::string::npos) << "an empty binding";
  const std::string plain = RV_StringText(*call("input_profile_export", {*text("keyboard_and_mouse")}));
  EXPECT_EQ(plain.find('\n'), std::string::npos) << plain;
  call("input_player_reset");
  call("input_profile_import", {*pretty, *text("keyboard_and_mouse")});
  EXPECT_EQ(field(call("input_binding_get", {*text("cancel")}), "value"), "32");
  const std::string system = RV_StringText(*call("input_system_export", {RV_Bool(true), RV_Bool(true)}));
  EXPECT_EQ(system.rfind("{\n    \"accessibility\": {\n        \"cooldown_state\": false,", 0), 0u) << system;
  EXPECT_TRUE(RV_ToBool(*call("input_system_verify", {*text(system.c_str())})));
}

TEST_F(InputPlayersTest, ALegacyGamepadConstantIsUpdatedOnImport) {
  const std::string json =
      "{\"profiles\":{\"gamepad\":{\"select\":[{\"type\":\"gamepad button\",\"value\":32789},{}],"
      "\"refund\":[{},{}],\"cancel\":[{},{}]}},\"axis_thresholds\":{}}";
  ConsoleCapture capture;
  call("input_player_import", {*text(json.c_str())});
  EXPECT_NE(capture.text().find("Input: Warning! Legacy gamepad constant found, updating value (= 32889)"),
            std::string::npos)
      << capture.text();
  EXPECT_EQ(field(call("input_binding_get", {*text("select"), RV_Real(0), RV_Real(0), *text("gamepad")}), "value"),
            "32889");
}

}  // namespace

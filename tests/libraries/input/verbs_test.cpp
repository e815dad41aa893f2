// Verbs of the game's default bindings driven frame by frame through the device layer: edges and
// levels of keys and mouse buttons, double and long presses, buffers, repeats, consumption,
// momentary clearing, the cursor following the mouse, and the check family's errors.
#include <string>

#include "input_fixture.h"

namespace {

constexpr int32_t kEscape = 27;
constexpr int32_t kLeft = 1, kRight = 2;

struct Edges {
  bool pressed, held, released;
};

class InputVerbsTest : public InputLibraryTest {
 protected:
  Edges edges(const char* verb) {
    return Edges{check("input_check_pressed", verb), check("input_check", verb), check("input_check_released", verb)};
  }
};

TEST_F(InputVerbsTest, StartUpTicksByItselfAndSaysWhatTheGameLacks) {
  const double before = tsl::get(tsl::global(), "__input_frame").real();
  frames(3);
  EXPECT_EQ(tsl::get(tsl::global(), "__input_frame").real(), before + 3);
  EXPECT_NE(start_output_.find("Input: Warning! \"sdl2.txt\" not found in Included Files"), std::string::npos)
      << start_output_;
  EXPECT_NE(start_output_.find("Input: Setting player 0 profile to \"keyboard_and_mouse\""), std::string::npos);
  EXPECT_EQ(RV_StringText(*call("input_profile_get")), std::string("keyboard_and_mouse"));
  // The start-up log's name, from the date and time of the start.
  const tsl::Value log = tsl::get(tsl::global(), "__input_debug_log");
  ASSERT_EQ(RV_Kind(*log), static_cast<uint32_t>(kRVString));
  EXPECT_EQ(std::string(RV_StringText(*log)).size(), std::string("input___2026-11-24_23-59-59.txt").size());
  EXPECT_EQ(std::string(RV_StringText(*log)).rfind("input___20", 0), 0u) << RV_StringText(*log);
}

// Each default verb through its own device: a one-frame press, a hold, and the release.
TEST_F(InputVerbsTest, DefaultBindingsGivePressHoldAndRelease) {
  struct Case {
    const char* verb;
    bool mouse;
    int32_t code;
  };
  const Case cases[] = {{"select", true, kLeft}, {"refund", true, kRight}, {"cancel", false, kEscape}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.verb);
    frame();
    EXPECT_FALSE(edges(c.verb).held);
    c.mouse ? mouse_down(c.code) : key_down(c.code);
    frame();
    Edges e = edges(c.verb);
    EXPECT_TRUE(e.pressed && e.held && !e.released);
    frame();
    e = edges(c.verb);
    EXPECT_TRUE(!e.pressed && e.held && !e.released);
    c.mouse ? mouse_up(c.code) : key_up(c.code);
    frame();
    e = edges(c.verb);
    EXPECT_TRUE(!e.pressed && !e.held && e.released);
    frame();
    e = edges(c.verb);
    EXPECT_TRUE(!e.pressed && !e.held && !e.released);
  }
  // The other verbs never saw anything of select's button.
  mouse_down(kLeft);
  frame();
  EXPECT_FALSE(check("input_check", "refund"));
  EXPECT_FALSE(check("input_check", "cancel"));
  mouse_up(kLeft);
  frame();
}

TEST_F(InputVerbsTest, ASecondPressWithinTwelveFramesIsADoublePress) {
  struct Case {
    int gap;  // frames between the two presses
    bool is_double;
  };
  for (const Case c : {Case{2, true}, Case{11, true}, Case{12, false}, Case{20, false}}) {
    SCOPED_TRACE(c.gap);
    frames(30);
    key_down(kEscape);
    frame();
    key_up(kEscape);
    frames(c.gap - 1);
    key_down(kEscape);
    frame();
    EXPECT_TRUE(check("input_check_pressed", "cancel"));
    EXPECT_EQ(check("input_check_double_pressed", "cancel"), c.is_double);
    EXPECT_EQ(check("input_check_double", "cancel"), c.is_double);
    key_up(kEscape);
    frame();
    EXPECT_EQ(check("input_check_double_released", "cancel"), c.is_double);
    EXPECT_FALSE(check("input_check_double", "cancel"));
  }
}

TEST_F(InputVerbsTest, HoldingPastTenFramesGivesOneLongPress) {
  key_down(kEscape);
  frame();
  int long_presses = 0;
  int first_long = -1;
  for (int i = 1; i <= 14; ++i) {
    frame();
    if (check("input_check_long_pressed", "cancel")) {
      ++long_presses;
      first_long = i;
    }
  }
  EXPECT_EQ(long_presses, 1);
  EXPECT_EQ(first_long, 11);
  EXPECT_TRUE(check("input_check_long", "cancel"));
  key_up(kEscape);
  frame();
  EXPECT_TRUE(check("input_check_long_released", "cancel"));
  EXPECT_FALSE(check("input_check_long", "cancel"));
}

TEST_F(InputVerbsTest, ABufferKeepsAPressForItsFrames) {
  key_down(kEscape);
  frame();
  key_up(kEscape);
  std::string seen;
  for (int i = 0; i < 6; ++i) {
    seen += RV_ToBool(*call("input_check_pressed", {*text("cancel"), RV_Real(0), RV_Real(3)})) ? '1' : '0';
    frame();
  }
  EXPECT_EQ(seen, "111100");
}

TEST_F(InputVerbsTest, RepeatFiresAtThirtyFortyAndFiftyFrames) {
  key_down(kEscape);
  frame();
  std::string fired;
  for (int i = 1; i <= 55; ++i) {
    frame();
    if (RV_ToBool(*call("input_check_repeat", {*text("cancel")}))) fired += std::to_string(i) + " ";
  }
  EXPECT_EQ(fired, "30 40 50 ");
  key_up(kEscape);
  frame();
}

TEST_F(InputVerbsTest, AConsumedVerbStaysSilentUntilPressedAgain) {
  key_down(kEscape);
  frame();
  call("input_consume", {*text("cancel")});
  EXPECT_FALSE(check("input_check", "cancel"));
  frames(2);
  EXPECT_FALSE(check("input_check", "cancel"));
  key_up(kEscape);
  frame();
  EXPECT_FALSE(check("input_check_released", "cancel"));
  ConsoleCapture capture;
  key_down(kEscape);
  frame();
  EXPECT_TRUE(check("input_check_pressed", "cancel"));
  EXPECT_NE(capture.text().find("Input: Un-consuming verb \"cancel\""), std::string::npos) << capture.text();
  key_up(kEscape);
  frame();
}

TEST_F(InputVerbsTest, ClearingMomentaryStatesSilencesOnlyTheEdges) {
  call("input_clear_momentary", {RV_Bool(true)});
  key_down(kEscape);
  frame();
  EXPECT_FALSE(check("input_check_pressed", "cancel"));
  EXPECT_TRUE(check("input_check", "cancel"));
  call("input_clear_momentary", {RV_Bool(false)});
  key_up(kEscape);
  frame();
  EXPECT_TRUE(check("input_check_released", "cancel"));
}

TEST_F(InputVerbsTest, ArraysOfVerbsAnswerForAny) {
  key_down(kEscape);
  frame();
  const tsl::Value both = tsl::call("@@NewTSLArray@@", nullptr, nullptr, {*text("select"), *text("cancel")});
  EXPECT_TRUE(RV_ToBool(*call("input_check_pressed", {*both})));
  EXPECT_EQ(call("input_value", {*both}).real(), 1);
  EXPECT_EQ(RV_StringText(*call("input_check_press_most_recent")), std::string("cancel"));
  key_up(kEscape);
  frame();
  EXPECT_EQ(RV_Kind(*call("input_check_press_most_recent")), static_cast<uint32_t>(kRVUndefined));
}

TEST_F(InputVerbsTest, TheCursorFollowsTheMouse) {
  const int32_t points[][2] = {{100, 50}, {320, 180}, {639, 359}, {12, 300}};
  for (const auto& p : points) {
    mouse_move(p[0], p[1]);
    frame();
    EXPECT_EQ(call("input_cursor_x").real(), tsl::get(tsl::global(), "mouse_x").real());
    EXPECT_EQ(call("input_cursor_y").real(), tsl::get(tsl::global(), "mouse_y").real());
    EXPECT_EQ(call("input_cursor_x").real(), p[0]);
    EXPECT_EQ(call("input_cursor_y").real(), p[1]);
  }
  EXPECT_EQ(call("input_cursor_previous_x").real(), 639);
}

TEST_F(InputVerbsTest, ACursorLimitPullsASetPositionBackNextFrame) {
  call("input_cursor_limit_aabb", {RV_Real(10), RV_Real(20), RV_Real(100), RV_Real(200)});
  call("input_cursor_set", {RV_Real(500), RV_Real(5)});
  EXPECT_EQ(call("input_cursor_x").real(), 500);
  frame();
  EXPECT_EQ(call("input_cursor_x").real(), 100);
  EXPECT_EQ(call("input_cursor_y").real(), 20);
}

TEST_F(InputVerbsTest, ChecksRaiseTheLibrarysErrors) {
  const tsl::Value jump = text("jump");
  const tsl::Value select = text("select");
  EXPECT_NE(error_of("input_check", {*jump}).find("Verb not recognised (jump)"), std::string::npos);
  EXPECT_NE(error_of("input_check_pressed", {*select, RV_Real(-1)}).find("Invalid player index provided (-1)"),
            std::string::npos);
  EXPECT_NE(error_of("input_check", {*select, RV_Real(4)})
                .find("Player index too large (4 must be less than 4)\nIncrease INPUT_MAX_PLAYERS to support more players"),
            std::string::npos);
  EXPECT_EQ(error_of("input_check", {*select, RV_Real(3)}), "");
}

}  // namespace

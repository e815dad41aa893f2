// show_message and show_question through the window's host: the box carries the window's caption
// and the value's text, and the question's answer is the button pressed.
#include <string>

#include "core/script_api.h"
#include "graphics_fixture.h"

namespace {

using MessageBoxTest = DrawGameTest;

TEST_F(MessageBoxTest, BoxesShowTheTextUnderTheCaptionAndQuestionsAnswerYesForTheFirstButton) {
  struct Case {
    const char* builtin;
    RValue value;
    const char* text;
    int32_t pressed;
    uint32_t kind;
    double answer;
  };
  const tsl::Value word = tsl::Value::String("Leave the keep?");
  const Case cases[] = {
      {"show_message", *word, "Leave the keep?", 0, kRVUndefined, 0},
      {"show_message", RV_Real(3), "3", 0, kRVUndefined, 0},
      {"show_question", *word, "Leave the keep?", 0, kRVBool, 1},
      {"show_question", *word, "Leave the keep?", 1, kRVBool, 0},
  };
  const std::string caption = Window_State().caption;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.builtin) + " pressing " + std::to_string(c.pressed));
    host_.message_boxes.clear();
    host_.message_box_answer = c.pressed;
    const tsl::Value result = tsl::call(c.builtin, nullptr, nullptr, {c.value});
    ASSERT_EQ(host_.message_boxes.size(), 1u);
    EXPECT_EQ(host_.message_boxes[0], caption + "\n" + c.text);
    EXPECT_EQ(RV_Kind(*result), c.kind);
    if (c.kind != kRVUndefined) {
      EXPECT_EQ(RV_ToDouble(*result), c.answer);
    }
  }
}

}  // namespace

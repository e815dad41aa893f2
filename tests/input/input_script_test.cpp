// Input scripts: parsing, refusals with their line, and the records they make as the runner reads them.
#include "inputscript/input_script.h"

#include <gtest/gtest.h>

#include <string>

#include "input/io_state.h"

namespace {

// The frame state that record `frame` of the bytes plays back.
IoState played(const std::vector<uint8_t>& bytes, int64_t frame) {
  IoState io;
  std::string problem;
  EXPECT_TRUE(io.ReadRecord(bytes.data() + static_cast<size_t>(frame) * IoState::kRecordSize, &problem)) << problem;
  return io;
}

TEST(InputScriptTest, ClickPressesInItsFrameAndReleasesInTheNext) {
  InputScript script;
  std::string error;
  ASSERT_TRUE(InputScript_Parse("# a click\nframe 3: click at 200,160\n", &script, &error)) << error;
  EXPECT_EQ(script.frames, 6);
  const std::vector<uint8_t> bytes = InputScript_Records(script);
  ASSERT_EQ(bytes.size(), 6 * IoState::kRecordSize);
  EXPECT_EQ(played(bytes, 2).frame.mousePressed[0], 0);
  const IoState at3 = played(bytes, 3);
  EXPECT_EQ(at3.frame.mousePressed[0], 1);
  EXPECT_EQ(at3.frame.mouseDown[0], 1);
  EXPECT_EQ(at3.frame.pointerX[0], 200);
  EXPECT_EQ(at3.frame.pointerY[0], 160);
  const IoState at4 = played(bytes, 4);
  EXPECT_EQ(at4.frame.mouseReleased[0], 1);
  EXPECT_EQ(at4.frame.mouseDown[0], 0);
  EXPECT_EQ(played(bytes, 5).frame.mouseReleased[0], 0);
}

TEST(InputScriptTest, KeysTextAndSeveralActionsInAFrame) {
  InputScript script;
  std::string error;
  ASSERT_TRUE(InputScript_Parse("frames 10\nframe 0: key down Space; type \"a;b\"\nframe 2: key up space\n"
                                "frame 1: tap f2; wheel down; press right at 5,6\n",
                                &script, &error))
      << error;
  EXPECT_EQ(script.frames, 10);
  const std::vector<uint8_t> bytes = InputScript_Records(script);
  const IoState at0 = played(bytes, 0);
  EXPECT_EQ(at0.frame.keyPressed[32], 1);
  EXPECT_EQ(std::u32string(reinterpret_cast<const char32_t*>(at0.frame.keyboardString)), U"a;b");
  const IoState at1 = played(bytes, 1);
  EXPECT_EQ(at1.frame.keyDown[32], 1);
  EXPECT_EQ(at1.frame.keyPressed[113], 1);
  EXPECT_EQ(at1.frame.wheelDown[0], 1);
  EXPECT_EQ(at1.frame.mousePressed[1], 1);
  EXPECT_EQ(at1.frame.pointerX[0], 5);
  const IoState at2 = played(bytes, 2);
  EXPECT_EQ(at2.frame.keyReleased[32], 1);
  EXPECT_EQ(at2.frame.keyReleased[113], 1);
  EXPECT_EQ(at2.frame.mouseDown[1], 1) << "the right button is still held";
}

TEST(InputScriptTest, KeyNames) {
  const std::pair<const char*, int32_t> names[] = {{"a", 'A'}, {"Z", 'Z'}, {"7", '7'},   {"enter", 13}, {"ESCAPE", 27},
                                                   {"f1", 112}, {"F12", 123}, {"left", 37}, {"65", 65},   {"f25", -1},
                                                   {"banana", -1}, {"300", -1}};
  for (const auto& [name, key] : names) EXPECT_EQ(InputScript_KeyOfName(name), key) << name;
}

TEST(InputScriptTest, BadLinesAreRefusedWithTheirLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"frame 2 click at 1,2", "line 1: expected"},
      {"\nframe x: click at 1,2", "line 2: expected"},
      {"frame 1: click 1,2", "line 1: click wants"},
      {"frame 1: press sideways", "line 1: unknown mouse button"},
      {"frame 1: key down nokey", "line 1: unknown key"},
      {"frame 1: type unquoted", "line 1: type wants"},
      {"frame 1: jump", "line 1: unknown action"},
      {"frames many", "line 1: frames wants"},
  };
  for (const auto& [text, message] : cases) {
    InputScript script;
    std::string error;
    EXPECT_FALSE(InputScript_Parse(text, &script, &error)) << text;
    EXPECT_EQ(error.rfind(message, 0), 0u) << text << " -> " << error;
  }
}

}  // namespace

// The keyboard and mouse state: raw messages turned into the frame state, edges per frame, the
// current key, characters and the string, the record layout and its damage checks.
#include "input/io_state.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int32_t kA = 'A', kB = 'B';

void next_frame(IoState& io, bool left_shift = false, bool right_shift = false) {
  io.BeginFrame();
  io.TakeRaw(left_shift, right_shift, 0, 0);
}

struct KeyFrames {
  const char* name;
  // Each frame: the messages before it ("d" down, "r" repeat down, "u" up) on key A.
  std::vector<std::string> frames;
  std::vector<std::string> expected;  // per frame: down, pressed, released as "dpr" letters or "-"
};

std::string state_of(const IoState& io, int32_t key) {
  std::string s;
  s += io.frame.keyDown[key] ? 'd' : '-';
  s += io.frame.keyPressed[key] ? 'p' : '-';
  s += io.frame.keyReleased[key] ? 'r' : '-';
  return s;
}

TEST(IoStateTest, KeyEdgesFollowTheFrames) {
  const KeyFrames cases[] = {
      {"held across frames is pressed once", {"d", "", ""}, {"dp-", "d--", "d--"}},
      {"pressed and released inside a frame", {"du", ""}, {"-pr", "---"}},
      {"repeat does not press again", {"d", "r", "ru"}, {"dp-", "d--", "--r"}},
      {"a repeat alone is down without pressed", {"r", "u"}, {"d--", "--r"}},
      {"released in a later frame", {"d", "u", ""}, {"dp-", "--r", "---"}},
  };
  for (const KeyFrames& c : cases) {
    IoState io;
    for (size_t f = 0; f < c.frames.size(); ++f) {
      for (const char m : c.frames[f]) {
        if (m == 'd') io.KeyDown(kA, false);
        if (m == 'r') io.KeyDown(kA, true);
        if (m == 'u') io.KeyUp(kA);
      }
      next_frame(io);
      EXPECT_EQ(state_of(io, kA), c.expected[f]) << c.name << ", frame " << f;
    }
  }
}

TEST(IoStateTest, CurrentKeyFallsBackToTheOneStillHeld) {
  IoState io;
  io.KeyDown(kA, false);
  io.KeyDown(kB, false);
  io.KeyUp(kB);
  next_frame(io);
  EXPECT_EQ(io.frame.key, kA);
  EXPECT_EQ(io.frame.lastKey, kB);

  IoState other;
  other.KeyDown(kA, false);
  other.KeyDown(kB, false);
  other.KeyUp(kA);
  next_frame(other);
  EXPECT_EQ(other.frame.key, kB);
  other.KeyUp(kB);
  next_frame(other);
  EXPECT_EQ(other.frame.key, 0);
}

TEST(IoStateTest, KeyMapAppliesOnTheWayInAndBadKeysAreDropped) {
  IoState io;
  io.keyMap[kA] = kB;
  io.KeyDown(kA, false);
  io.KeyDown(300, false);
  io.KeyDown(-1, false);
  next_frame(io);
  EXPECT_EQ(state_of(io, kB), "dp-");
  EXPECT_EQ(state_of(io, kA), "---");
  EXPECT_EQ(io.frame.lastKey, kB);
}

std::u32string frame_string(const IoState& io) { return std::u32string(reinterpret_cast<const char32_t*>(io.frame.keyboardString)); }

TEST(IoStateTest, CharactersBuildTheString) {
  IoState io;
  for (const uint32_t c : {U'h', U'é', U'\t', U'y', U'\b', U'!'}) io.Char(c);
  next_frame(io);
  EXPECT_EQ(frame_string(io), U"hé!");
  EXPECT_EQ(io.frame.lastChar, '!');

  io.Char(U'\b');
  io.Char(U'\b');
  io.Char(U'\b');
  io.Char(U'\b');  // nothing left to remove
  next_frame(io);
  EXPECT_EQ(frame_string(io), U"");
  EXPECT_EQ(io.frame.lastChar, 8);
}

TEST(IoStateTest, StringAtItsLimitKeepsOnlyTheLastCharacter) {
  IoState io;
  for (int i = 0; i < kIoStringCut - 1; ++i) io.Char('a');
  io.Char('z');  // 1023 characters now
  next_frame(io);
  EXPECT_EQ(io.KeyboardStringLength(), kIoStringCut);
  io.Char('q');
  next_frame(io);
  EXPECT_EQ(frame_string(io), U"zq");
}

TEST(IoStateTest, MouseButtonsAndWheel) {
  struct Frame {
    const char* name;
    void (*events)(IoState&);
    int32_t down1, pressed1, released1, pressed3, button, last_button, wheel_up, pointer_state;
  };
  const Frame frames[] = {
      {"left down with the wheel up",
       [](IoState& io) {
         io.MouseMove(200, 160);
         io.MouseDown(1, 200, 160);
         io.WheelUp();
       },
       1, 1, 0, 0, 1, 1, 1, kPointerNew},
      {"right down, left up",
       [](IoState& io) {
         io.MouseDown(3, 200, 160);
         io.MouseUp(1, 200, 160);
       },
       0, 0, 1, 1, 0, 3, 0, kPointerFree},
      {"a button that doesn't exist changes nothing", [](IoState& io) { io.MouseDown(6, 0, 0); },
       0, 0, 0, 0, 0, 3, 0, kPointerFree},
  };
  IoState io;
  for (const Frame& f : frames) {
    SCOPED_TRACE(f.name);
    f.events(io);
    next_frame(io);
    EXPECT_EQ(io.frame.mouseDown[0], f.down1);
    EXPECT_EQ(io.frame.mousePressed[0], f.pressed1);
    EXPECT_EQ(io.frame.mouseReleased[0], f.released1);
    EXPECT_EQ(io.frame.mousePressed[2], f.pressed3);
    EXPECT_EQ(io.frame.mouseButton[0], f.button);
    EXPECT_EQ(io.frame.mouseLastButton[0], f.last_button);
    EXPECT_EQ(io.frame.wheelUp[0], f.wheel_up);
    EXPECT_EQ(io.pointers[0].state, f.pointer_state);
    EXPECT_EQ(io.frame.pointerX[0], 200);
    EXPECT_EQ(io.frame.pointerY[0], 160);
  }
}

TEST(IoStateTest, ShiftSidesComeFromTheSystemState) {
  IoState io;
  io.KeyDown(kVkShift, false);
  next_frame(io, false, true);
  EXPECT_EQ(state_of(io, kVkRightShift), "dp-");
  EXPECT_EQ(state_of(io, kVkLeftShift), "---");
  next_frame(io, false, true);
  EXPECT_EQ(state_of(io, kVkRightShift), "d--");
  io.KeyUp(kVkShift);
  next_frame(io, false, true);  // the system still says right shift, but the window's shift is up
  EXPECT_EQ(state_of(io, kVkRightShift), "--r");
}

TEST(IoStateTest, TouchPointersFeedTheirDevices) {
  IoState io;
  ASSERT_TRUE(io.PointerDown(7, 10, 20));  // record 0 is free: device 0 takes it
  ASSERT_TRUE(io.PointerDown(8, 30, 40));
  next_frame(io);
  EXPECT_EQ(io.frame.mousePressed[1 * kIoButtonCount], 1);
  EXPECT_EQ(io.frame.pointerX[1], 30);
  next_frame(io);
  EXPECT_EQ(io.frame.mousePressed[1 * kIoButtonCount], 0);
  EXPECT_EQ(io.frame.mouseDown[1 * kIoButtonCount], 1);
  ASSERT_TRUE(io.PointerUp(8, 31, 41));
  EXPECT_FALSE(io.PointerUp(99, 0, 0));
  next_frame(io);
  EXPECT_EQ(io.frame.mouseReleased[1 * kIoButtonCount], 1);
  EXPECT_EQ(io.frame.mouseDown[1 * kIoButtonCount], 0);
}

TEST(IoStateTest, ClearingDropsHeldStateInBothSets) {
  IoState io;
  io.KeyDown(kA, false);
  io.MouseDown(2, 0, 0);
  io.Char('x');
  next_frame(io);
  io.ClearAll();
  next_frame(io);
  EXPECT_EQ(state_of(io, kA), "---");
  EXPECT_EQ(io.frame.mouseDown[1], 0);
  EXPECT_EQ(frame_string(io), U"");
  EXPECT_EQ(io.frame.key, 0);

  io.KeyDown(kB, false);
  io.ClearKey(kB);
  next_frame(io);
  EXPECT_EQ(state_of(io, kB), "---");
}

TEST(IoStateTest, RecordsRoundTripAndHaveTheFixedSize) {
  IoState io;
  io.KeyDown(kA, false);
  io.Char(U'ß');
  io.MouseMove(12, 34);
  io.MouseDown(2, 12, 34);
  io.WheelDown();
  io.BeginFrame();
  io.TakeRaw(false, false, 512, 256);
  std::vector<uint8_t> record(IoState::kRecordSize);
  io.WriteRecord(record.data());

  IoState back;
  std::string problem;
  ASSERT_TRUE(back.ReadRecord(record.data(), &problem)) << problem;
  EXPECT_EQ(state_of(back, kA), "dp-");
  EXPECT_EQ(frame_string(back), U"ß");
  EXPECT_EQ(back.frame.mousePressed[1], 1);
  EXPECT_EQ(back.frame.wheelDown[0], 1);
  EXPECT_EQ(back.frame.cursorX, 512);
  EXPECT_EQ(back.frame.pointerX[0], 12);
  EXPECT_EQ(back.frame.pointerY[0], 34);
  std::vector<uint8_t> again(IoState::kRecordSize);
  back.WriteRecord(again.data());
  EXPECT_EQ(again, record);
  // The layout: last char first, then the string of 1025 code points, last key, key, the key arrays.
  int32_t last_key = 0;
  std::memcpy(&last_key, record.data() + 4 + 4100, 4);
  EXPECT_EQ(last_key, kA);
  EXPECT_EQ(record[4 + 4100 + 8 + kA], 1);  // KeyDown[A]
}

TEST(IoStateTest, DamagedRecordsAreRefusedWhole) {
  IoState source;
  source.KeyDown(kA, false);
  source.BeginFrame();
  source.TakeRaw(false, false, 0, 0);
  std::vector<uint8_t> good(IoState::kRecordSize);
  source.WriteRecord(good.data());

  struct Damage {
    const char* name;
    size_t offset;
    uint8_t value;
  };
  const Damage cases[] = {
      {"flag byte of 2", 4 + 4100 + 8 + 'C', 2},
      {"mouse flag byte", IoState::kRecordSize - 16 - 20 - 1, 7},
      {"character beyond the code space", 4 + 3, 0x7F},
      {"last char negative", 3, 0x80},
  };
  for (const Damage& d : cases) {
    std::vector<uint8_t> bad = good;
    bad[d.offset] = d.value;
    IoState target;
    target.Char('k');
    target.BeginFrame();
    target.TakeRaw(false, false, 0, 0);
    std::string problem;
    EXPECT_FALSE(target.ReadRecord(bad.data(), &problem)) << d.name;
    EXPECT_FALSE(problem.empty()) << d.name;
    EXPECT_EQ(frame_string(target), U"k") << d.name << ": the frame state stays";
  }
  // A string that fills all 1025 places has no end.
  std::vector<uint8_t> endless = good;
  for (size_t i = 0; i < 1025; ++i) endless[4 + 4 * i] = 'a';
  IoState target;
  std::string problem;
  EXPECT_FALSE(target.ReadRecord(endless.data(), &problem));
}

}  // namespace

// The cursor wrapper over the window layer's cursors, in the started game on the fake host: the
// start-up's globals, the handle checks' messages, and cursors made from a buffer, a sprite and a
// surface as the host receives them.
#include "game_fixture.h"
#include "graphics/native_cursor.h"
#include "scripts/game_code.h"
#include "support/builtin_call.h"

namespace {

class CursorTest : public GameTest {
 protected:
  static tsl::Value Call(const char* name, std::initializer_list<RValue> args = {}) {
    return tsl::call(name, nullptr, nullptr, args);
  }
  // The message a call raised, "" when none.
  static std::string Raised(const char* name, std::initializer_list<RValue> args) {
    return ErrorRaisedBy([&] { Call(name, args); });
  }
  static uint64_t Handle(const tsl::Value& cursor) {
    return static_cast<uint64_t>(RV_ToInt64(*Member(cursor, "__ptr__")));
  }
};

TEST_F(CursorTest, StartUpFillsTheGlobalsAndRegistersTheWindow) {
  EXPECT_EQ(RV_ToDouble(*Global("g_native_cursor_dirn")), 3);
  const tsl::Value dirs = Global("g_native_cursor_dirs");
  ASSERT_EQ(RV_Kind(*dirs), kRVArray);
  ASSERT_EQ((*dirs).pArray->length, 3);
  for (int32_t i = 0; i < 3; ++i) {
    const std::string dir = RV_StringText((*dirs).pArray->pArray[i]);
    ASSERT_FALSE(dir.empty());
    EXPECT_EQ(dir.back(), '/') << dir;
  }
  EXPECT_EQ(Text(Global("g_native_cursor_dir")), RV_StringText((*dirs).pArray->pArray[0]));
  EXPECT_TRUE(game::is_undefined(Global("__native_cursor_compat_current")));
  EXPECT_TRUE(game::is_undefined(Global("__native_cursor_buffer"))) << "the first call makes it";
  EXPECT_EQ(RV_Kind(*Global("g_native_cursor_buf")), kRVReal);
}

TEST_F(CursorTest, HandleChecksStopWithTheWrappersMessages) {
  struct Case {
    const char* script;
    RValue argument;
    const char* message;
  };
  const Case cases[] = {
      {"native_cursor_set", RV_Real(5), "Expected a native_cursor, got 5"},
      {"native_cursor_get_frame", RV_Undefined(), "Expected a native_cursor, got undefined"},
      {"native_cursor_destroy", RV_Real(1.5), "Expected a native_cursor, got 1.50"},
  };
  for (const Case& c : cases) {
    EXPECT_NE(Raised(c.script, {c.argument}).find(c.message), std::string::npos) << c.script;
  }
  const tsl::Value cursor = Call("native_cursor_create_empty");
  ASSERT_NE(Handle(cursor), 0u);
  Call("native_cursor_destroy", {*cursor});
  EXPECT_EQ(Handle(cursor), 0u) << "__ptr__ is 0 after destroy";
  EXPECT_NE(Raised("native_cursor_set", {*cursor}).find("This native_cursor is destroyed."), std::string::npos);
}

TEST_F(CursorTest, BufferSpriteAndSurfaceCursorsReachTheHost) {
  // A 2 x 2 picture in a grow buffer, with a rate of 8 frames a second.
  const tsl::Value buffer = Call("buffer_create", {RV_Real(16), RV_Real(1), RV_Real(1)});
  for (int i = 0; i < 16; ++i) Call("buffer_write", {*buffer, RV_Real(1), RV_Real(i)});
  const tsl::Value from_buffer =
      Call("native_cursor_create_from_buffer", {*buffer, RV_Real(2), RV_Real(2), RV_Real(1), RV_Real(0), RV_Real(8)});
  ASSERT_NE(Handle(from_buffer), 0u);
  ASSERT_EQ(host_.image_cursors.size(), 1u);
  EXPECT_EQ(host_.image_cursors[0].width, 2);
  EXPECT_EQ(host_.image_cursors[0].hot_x, 1);
  EXPECT_EQ(host_.image_cursors[0].pixels[5], 5);
  EXPECT_EQ(RV_ToDouble(*Call("native_cursor_get_framerate", {*from_buffer})), 8);
  Call("native_cursor_set_framerate", {*from_buffer, RV_Real(3)});
  EXPECT_EQ(RV_ToDouble(*Call("native_cursor_get_framerate", {*from_buffer})), 3);
  Call("native_cursor_set", {*from_buffer});
  EXPECT_EQ(NativeCursor_Current(), Handle(from_buffer));

  // Every frame of a sprite, each on a surface of the sprite's size.
  const tsl::Value sprite = Call("asset_get_index", {*game::text("spr_scorpion_idle")});
  const int32_t frames = RV_ToInt32(*Call("sprite_get_number", {*sprite}));
  ASSERT_GT(frames, 0);
  const tsl::Value from_sprite = Call("native_cursor_create_from_sprite", {*sprite, RV_Undefined(), RV_Real(12)});
  ASSERT_NE(Handle(from_sprite), 0u);
  EXPECT_EQ(NativeCursor_FrameCount(Handle(from_sprite)), frames);
  EXPECT_EQ(host_.image_cursors.back().width, RV_ToInt32(*Call("sprite_get_width", {*sprite})));
  EXPECT_EQ(NativeCursor_GetFramerate(Handle(from_sprite)), 12);

  // The older family keeps one cursor and destroys the one it replaces.
  const tsl::Value surface = Call("surface_create", {RV_Real(4), RV_Real(3)});
  Call("window_set_cursor_surface", {*surface, RV_Real(2), RV_Real(1)});
  const tsl::Value first = Global("__native_cursor_compat_current");
  ASSERT_NE(Handle(first), 0u);
  EXPECT_EQ(host_.image_cursors.back().width, 4);
  EXPECT_EQ(host_.image_cursors.back().hot_y, 1);
  EXPECT_EQ(NativeCursor_Current(), Handle(first));
  Call("window_set_cursor_normal");
  EXPECT_EQ(Handle(first), 0u) << "the cursor held before is destroyed";
  EXPECT_EQ(host_.image_cursor, 0u);
}

}  // namespace

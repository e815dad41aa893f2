// The cursor extension's raw builtins on the fake host: the argument buffers' byte layouts, the
// handles written back, refusals, and the frames of an animated cursor switching at the runner's
// frame by the clock.
#include <cstring>

#include "core/timing.h"
#include "graphics/image_files.h"
#include "graphics/native_cursor.h"
#include "graphics_fixture.h"
#include "platform/clock.h"
#include "platform/fake/fake_clock.h"
#include "platform/files.h"

namespace {

class NativeCursorTest : public GraphicsTest {
 protected:
  void SetUp() override {
    GraphicsTest::SetUp();
    Platform_SetClock(&clock_);
    NativeCursor_RegisterBuiltins();
  }
  void TearDown() override {
    NativeCursor_ReleaseAll();
    Platform_SetClock(nullptr);
    GraphicsTest::TearDown();
  }

  // A little-endian argument buffer written field by field.
  struct Args {
    std::vector<uint8_t> bytes;
    explicit Args(size_t size) : bytes(size, 0xCD) {}
    template <class T>
    Args& put(size_t offset, T value) {
      std::memcpy(bytes.data() + offset, &value, sizeof value);
      return *this;
    }
    uint64_t u64(size_t offset) const {
      uint64_t v = 0;
      std::memcpy(&v, bytes.data() + offset, sizeof v);
      return v;
    }
  };

  // The extra arguments stay the caller's.
  double Raw(const char* name, Args& args, std::vector<RValue> extra = {}) {
    std::vector<RValue> argv = {RV_Ptr(args.bytes.data()), RV_Real(static_cast<double>(args.bytes.size()))};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return RV_ToDouble(CallBuiltin(name, argv));
  }

  // The pixel fields of the buffer forms at offset: address, size, position, size in pixels, hot spot.
  static void PutPixels(Args& args, size_t offset, const std::vector<uint8_t>& pixels, int32_t w, int32_t h,
                        int32_t hx, int32_t hy) {
    args.put<uint64_t>(offset, reinterpret_cast<uintptr_t>(pixels.data()))
        .put<int32_t>(offset + 8, static_cast<int32_t>(pixels.size()))
        .put<int32_t>(offset + 12, 0)
        .put<int32_t>(offset + 16, w)
        .put<int32_t>(offset + 20, h)
        .put<int32_t>(offset + 24, hx)
        .put<int32_t>(offset + 28, hy);
  }

  // A cursor of `frames` 2 x 1 frames whose first byte is the frame's number.
  uint64_t Animated(int frames, double rate) {
    Args create(41);
    std::vector<uint8_t> pixels(8, 0);
    PutPixels(create, 0, pixels, 2, 1, 0, 0);
    create.put<uint8_t>(32, 1).put<double>(33, rate);
    EXPECT_EQ(Raw("native_cursor_create_from_buffer_raw", create), 1);
    const uint64_t cursor = create.u64(0);
    for (int f = 1; f < frames; ++f) {
      pixels_.push_back(std::vector<uint8_t>(8, static_cast<uint8_t>(f)));
      Args add(40);
      add.put<uint64_t>(0, cursor);
      PutPixels(add, 8, pixels_.back(), 2, 1, 0, 0);
      EXPECT_EQ(Raw("native_cursor_add_from_buffer_raw", add), 1);
    }
    return cursor;
  }

  uint8_t ShownFrameByte() const {
    const FakeWindowHost::ImageCursor* shown = host_.FindImageCursor(host_.image_cursor);
    return shown == nullptr ? 0xFF : shown->pixels[0];
  }

  FakeClock clock_{1000000};
  std::vector<std::vector<uint8_t>> pixels_;
};

TEST_F(NativeCursorTest, CreateFromBufferReadsTheFortyOneByteLayout) {
  std::vector<uint8_t> pixels(3 * 2 * 4);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i);
  Args args(41);
  PutPixels(args, 0, pixels, 3, 2, 2, 1);
  args.put<uint8_t>(32, 1).put<double>(33, 12.5);
  EXPECT_EQ(Raw("native_cursor_create_from_buffer_raw", args), 1);
  const uint64_t cursor = args.u64(0);
  ASSERT_NE(cursor, 0u);
  ASSERT_EQ(host_.image_cursors.size(), 1u);
  const auto& made = host_.image_cursors[0];
  EXPECT_EQ(made.width, 3);
  EXPECT_EQ(made.height, 2);
  EXPECT_EQ(made.hot_x, 2);
  EXPECT_EQ(made.hot_y, 1);
  EXPECT_EQ(made.pixels, pixels);
  EXPECT_EQ(NativeCursor_GetFramerate(cursor), 12.5);

  Args query(8);
  query.put<uint64_t>(0, cursor);
  EXPECT_EQ(Raw("native_cursor_get_framerate_raw", query), 12.5);
  EXPECT_EQ(Raw("native_cursor_get_frame_raw", query), 0);

  Args without_rate(41);
  PutPixels(without_rate, 0, pixels, 3, 2, 0, 0);
  without_rate.put<uint8_t>(32, 0);
  Raw("native_cursor_create_from_buffer_raw", without_rate);
  EXPECT_EQ(NativeCursor_GetFramerate(without_rate.u64(0)), 0) << "the rate is read only with its flag";
}

TEST_F(NativeCursorTest, RefusalsWriteAZeroHandleOrChangeNothing) {
  std::vector<uint8_t> small(15);
  struct Case {
    const char* what;
    int32_t size, w, h;
    bool null_pixels;
  };
  const Case cases[] = {
      {"pixels smaller than the picture", 15, 2, 2, false},
      {"no width", 16, 0, 2, false},
      {"negative height", 16, 2, -1, false},
      {"no buffer", 16, 2, 2, true},
  };
  for (const Case& c : cases) {
    Args args(41);
    PutPixels(args, 0, small, c.w, c.h, 0, 0);
    args.put<int32_t>(8, c.size);
    if (c.null_pixels) args.put<uint64_t>(0, 0);
    args.put<uint8_t>(32, 0);
    EXPECT_EQ(Raw("native_cursor_create_from_buffer_raw", args), 0) << c.what;
    EXPECT_EQ(args.u64(0), 0u) << c.what;
  }
  EXPECT_TRUE(host_.image_cursors.empty());

  Args short_args(40);
  EXPECT_EQ(Raw("native_cursor_create_from_buffer_raw", short_args), 0) << "a buffer below 41 bytes is not read";
  EXPECT_EQ(short_args.u64(0), 0xCDCDCDCDCDCDCDCDu);

  Args unknown(12);
  unknown.put<uint64_t>(0, 999).put<int32_t>(8, 3);
  EXPECT_EQ(Raw("native_cursor_set_raw", unknown), 0);
  EXPECT_EQ(Raw("native_cursor_get_frame_raw", unknown), -1);
  EXPECT_EQ(Raw("native_cursor_set_framerate_raw", unknown), 0);
  EXPECT_EQ(Raw("native_cursor_destroy_raw", unknown), 0);
}

TEST_F(NativeCursorTest, SetResetAndDestroyGoThroughTheHost) {
  Args empty(8);
  EXPECT_EQ(Raw("native_cursor_create_empty_raw", empty), 1);
  const uint64_t cursor = empty.u64(0);
  ASSERT_NE(cursor, 0u);
  Args handle(8);
  handle.put<uint64_t>(0, cursor);
  EXPECT_EQ(Raw("native_cursor_set_raw", handle), 1);
  EXPECT_EQ(NativeCursor_Current(), cursor);
  EXPECT_TRUE(host_.image_cursor_sets.empty()) << "a cursor without frames shows nothing yet";

  std::vector<uint8_t> pixels(4, 7);
  Args add(40);
  add.put<uint64_t>(0, cursor);
  PutPixels(add, 8, pixels, 1, 1, 0, 0);
  EXPECT_EQ(Raw("native_cursor_add_from_buffer_raw", add), 1);
  EXPECT_EQ(host_.image_cursor, 1u) << "the first frame of the cursor on show appears at once";

  Args reset(1);
  EXPECT_EQ(Raw("native_cursor_reset_raw", reset), 1);
  EXPECT_EQ(host_.image_cursor, 0u);
  EXPECT_EQ(NativeCursor_Current(), 0u);

  Raw("native_cursor_set_raw", handle);
  EXPECT_EQ(host_.image_cursor, 1u);
  EXPECT_EQ(Raw("native_cursor_destroy_raw", handle), 1);
  EXPECT_EQ(host_.image_cursor, 0u) << "destroying the cursor on show puts the system's back";
  EXPECT_TRUE(host_.image_cursors[0].destroyed);
  EXPECT_FALSE(NativeCursor_Exists(cursor));
}

TEST_F(NativeCursorTest, AnimatedCursorsSwitchFramesByTheirRateAtTheRunnersFrame) {
  const uint64_t cursor = Animated(3, 10);
  Args handle(12);
  handle.put<uint64_t>(0, cursor);
  Raw("native_cursor_set_raw", handle);
  struct Step {
    int64_t advance_us;
    uint8_t frame;
  };
  // 10 frames a second: a frame lasts 100 ms; three frames wrap.
  const Step steps[] = {{0, 0}, {99999, 0}, {1, 1}, {100000, 2}, {100000, 0}, {250000, 2}};
  for (const Step& s : steps) {
    clock_.Advance(s.advance_us);
    Frame();
    EXPECT_EQ(ShownFrameByte(), s.frame) << "after " << s.advance_us;
    EXPECT_EQ(Raw("native_cursor_get_frame_raw", handle), s.frame);
  }
  handle.put<int32_t>(8, 4);
  EXPECT_EQ(Raw("native_cursor_set_frame_raw", handle), 1);
  EXPECT_EQ(ShownFrameByte(), 1) << "frame 4 of 3 is frame 1";
  clock_.Advance(50000);
  Frame();
  EXPECT_EQ(ShownFrameByte(), 1) << "setting the frame restarts its time";
  handle.put<int32_t>(8, 0);
  Raw("native_cursor_set_framerate_raw", handle);
  clock_.Advance(1000000);
  Frame();
  EXPECT_EQ(ShownFrameByte(), 1) << "a rate of 0 holds the frame";
}

TEST_F(NativeCursorTest, FilesAndThePreinitCheck) {
  const std::string dir = ::testing::TempDir();
  const std::string png = dir + "/cursor_test.png";
  std::vector<uint8_t> rgba(4 * 3 * 4, 0x80);
  std::vector<uint8_t> encoded;
  ASSERT_TRUE(Image_EncodePng(rgba.data(), 4, 3, &encoded));
  ASSERT_TRUE(Platform_WriteWholeFile(png, encoded.data(), encoded.size()));

  RValue path = RV_Undefined();
  RV_SetString(&path, png.c_str());
  EXPECT_TRUE(RV_ToBool(CallBuiltin("native_cursor_check_full_path", {path})));
  Args create(8);
  EXPECT_EQ(Raw("native_cursor_create_from_full_path_raw", create, {path}), 1);
  ASSERT_EQ(host_.image_cursors.size(), 1u);
  EXPECT_EQ(host_.image_cursors[0].width, 4);
  EXPECT_EQ(host_.image_cursors[0].height, 3);
  Args add(9);
  add.put<uint64_t>(0, create.u64(0));
  EXPECT_EQ(Raw("native_cursor_add_from_full_path_raw", add, {path}), 1);
  EXPECT_EQ(NativeCursor_FrameCount(create.u64(0)), 2);
  RV_FreeToUndefined(&path);

  RValue missing = RV_Undefined();
  RV_SetString(&missing, (dir + "/no_such_cursor.png").c_str());
  EXPECT_FALSE(RV_ToBool(CallBuiltin("native_cursor_check_full_path", {missing})));
  Args none(8);
  EXPECT_EQ(Raw("native_cursor_create_from_full_path_raw", none, {missing}), 0);
  EXPECT_EQ(none.u64(0), 0u);
  RV_FreeToUndefined(&missing);

  EXPECT_EQ(RV_ToDouble(CallBuiltin("native_cursor_preinit_raw", {RV_Ptr(Window_Host())})), 1);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("native_cursor_preinit_raw", {RV_Ptr(nullptr)})), 0);
}

}  // namespace

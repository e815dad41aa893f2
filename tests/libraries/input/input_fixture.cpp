#include "input_fixture.h"

#include <fstream>
#include <iterator>
#include <vector>

#include "compiled_code.h"
#include "core/error.h"
#include "core/function_table.h"
#include "graphics/window.h"
#include "input/io.h"

namespace {

std::vector<uint8_t> read_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

void InputLibraryTest::SetUp() {
  Window_UsePlatform(&host_, &device_);
  std::vector<uint8_t> image = read_bytes(std::string(KOVA_BINARY_DIR) + "/data.win");
  ASSERT_GT(image.size(), 1024u) << "build the data_win target first";
  game_.window_width = 640;
  game_.window_height = 360;
  ConsoleCapture capture;
  try {
    ASSERT_TRUE(game_.StartImage(std::move(image), Compiled_CodeTables()));
  } catch (const KVTSLException& e) {
    FAIL() << "the start-up raised: " << e.message() << "\n" << capture.text();
  }
  start_output_ = capture.text();
  IO_Init(IoSettings{});
  host_.input_focus = true;
}

void InputLibraryTest::TearDown() {
  IO_End();
  game_.Stop();
  Window_UsePlatform(nullptr, nullptr);
}

void InputLibraryTest::key_down(int32_t key) { host_.Push(WindowMessageKind::kKeyDown, key); }
void InputLibraryTest::key_up(int32_t key) { host_.Push(WindowMessageKind::kKeyUp, key); }
void InputLibraryTest::mouse_move(int32_t x, int32_t y) { host_.Push(WindowMessageKind::kMouseMove, x, y); }
void InputLibraryTest::mouse_down(int32_t button) { host_.Push(WindowMessageKind::kMouseDown, button); }
void InputLibraryTest::mouse_up(int32_t button) { host_.Push(WindowMessageKind::kMouseUp, button); }

void InputLibraryTest::frame() {
  Window_PumpMessages();
  IO_Update();
  game_.Frame();
}

tsl::Value InputLibraryTest::call(const char* name, std::initializer_list<RValue> args) {
  int32_t index = -1;
  EXPECT_TRUE(Function_Find(name, &index)) << name;
  return tsl::call(index, tsl::global(), tsl::global(), args);
}

bool InputLibraryTest::check(const char* function, const char* verb, double player) {
  return RV_ToBool(*call(function, {*text(verb), RV_Real(player)}));
}

std::string InputLibraryTest::error_of(const char* name, std::initializer_list<RValue> args) {
  try {
    call(name, args);
  } catch (const KVTSLException& e) {
    return e.message();
  }
  return "";
}

#pragma once
// A window on the fake host with the recording null device, made from a header written by the
// data-file writer; each test starts from fresh window, batch and render state.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_gen8.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/render_state.h"
#include "graphics/window.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "platform/process.h"
#include "support/display_frame.h"
#include "support/fixture.h"

struct HeaderSpec {
  uint32_t flags = 0;
  int32_t width = 640;
  int32_t height = 360;
  uint32_t generation = 2;
};

class GraphicsTest : public ::testing::Test {
 protected:
  void SetUp() override { Open(HeaderSpec{}); }
  void TearDown() override { Close(); }

  void Open(const HeaderSpec& wanted) {
    ResetLoaderState();
    FrameState_Reset();
    datawin::Writer writer;
    datawin::Gen8Record record = MinimalHeader(17, wanted.generation, 60.0f);
    record.window_width = wanted.width;
    record.window_height = wanted.height;
    record.info_flags = wanted.flags;
    datawin::add_gen8(writer, record);
    image_ = BuildImage(writer);
    ASSERT_TRUE(HeaderScan(image_.data(), static_cast<uint32_t>(image_.size())));
    Window_UsePlatform(&host_, &device_);
    ASSERT_TRUE(Window_Create(wanted.width, wanted.height));
    ASSERT_TRUE(Graphics_Init());
    device_.clear_record();
  }

  void Close() {
    Window_Destroy();
    Window_UsePlatform(nullptr, nullptr);
    FrameState_Reset();
    Platform_TakeQuitSignal();
    Function_Clear();
  }

  // Runs the frame driver's display part and one drawn frame.
  void Frame(bool present = true) { RunDisplayFrame(present); }

  FakeWindowHost host_;
  NullDevice device_;
  std::vector<uint8_t> image_;
};

// Calls a registered builtin by name.
inline RValue CallBuiltin(const char* name, std::vector<RValue> args = {}) {
  int32_t id = -1;
  if (!Function_Find(name, &id)) ADD_FAILURE() << "no builtin " << name;
  RValue result = RV_Undefined();
  const RFunction* row = Function_Row(id);
  g_CurrentFunction = row;
  row->handler(&result, nullptr, nullptr, static_cast<int>(args.size()), args.data());
  return result;
}

// The message of the script error a builtin raises; "" when none.
inline std::string BuiltinError(const char* name, std::vector<RValue> args = {}) {
  try {
    RValue r = CallBuiltin(name, std::move(args));
    RV_FreeToUndefined(&r);
  } catch (const KVTSLException& e) {
    return e.message();
  }
  return "";
}

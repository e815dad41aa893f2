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
#include "support/builtin_call.h"
#include "support/display_frame.h"
#include "support/draw_game.h"
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

// The draw game (support/draw_game.h) started on the fake host and the recording null device in
// one empty 64 x 64 room; Configure may change the game before it starts.
class DrawGameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Window_UsePlatform(&host_, &device_);
    datawin::RoomRecord room;
    room.name = "rm_empty";
    room.width = room.height = 64;
    game_.rooms = {room};
    Configure(&game_);
    ASSERT_TRUE(game_.Start());
    device_.clear_record();
  }
  void TearDown() override {
    game_.Stop();
    Window_UsePlatform(nullptr, nullptr);
  }
  virtual void Configure(DrawGame*) {}

  // Every vertex of the textured draws since the last call.
  std::vector<VertexTextured> TexturedVertices() {
    GR_Flush();
    std::vector<VertexTextured> out;
    for (const RecordedDraw& draw : device_.draws()) {
      if (draw.layout.stride != sizeof(VertexTextured)) continue;
      const auto* v = reinterpret_cast<const VertexTextured*>(draw.vertices.data());
      out.insert(out.end(), v, v + draw.vertex_count);
    }
    device_.clear_record();
    return out;
  }

  FakeWindowHost host_;
  NullDevice device_;
  DrawGame game_;
};

// Vertex formats and buffers through their builtins: the messages of misuse, checked writes in
// any order, unchecked writes, growth, freezing and submitting into the batch.
#include <gtest/gtest.h>

#include <cstring>

#include "core/gc.h"
#include "graphics/graphics_fixture.h"
#include "graphics/shader.h"
#include "graphics/vertex_buffer.h"

namespace {

class VertexBufferTest : public GraphicsTest {
 protected:
  void SetUp() override {
    GraphicsTest::SetUp();
    Vertex_FreeAll();
    Vertex_RegisterBuiltins();
    Vertex_SetReleaseMode(false);
  }
  void TearDown() override {
    Vertex_FreeAll();
    GraphicsTest::TearDown();
  }

  // A format of position (2 floats) then colour.
  static double PositionColourFormat() {
    CallBuiltin("vertex_format_begin");
    CallBuiltin("vertex_format_add_position");
    CallBuiltin("vertex_format_add_colour");
    return RV_ToDouble(CallBuiltin("vertex_format_end"));
  }
  static double NewBuffer() { return RV_ToDouble(CallBuiltin("vertex_create_buffer")); }
};

TEST_F(VertexBufferTest, MisuseRaisesItsMessage) {
  const double format = PositionColourFormat();
  const double buffer = NewBuffer();
  struct Case {
    const char* name;
    std::vector<RValue> args;
    const char* message;
  };
  const Case before_begin[] = {
      {"vertex_format_add_position_3d", {}, "vertex_format_add_position_3d(): haven't started a new format."},
      {"vertex_format_add_texcoord", {}, "vertex_format_add_textcoord(): haven't started a new format."},
      {"vertex_format_end", {}, "vertex_format_end(): Can't end format, you haven't started one yet."},
      {"vertex_format_add_custom", {R(7), R(1)}, "vertex_format_add_custom(): illegal types"},
      {"vertex_format_add_custom", {R(1), R(15)}, "vertex_format_add_custom(): illegal usage"},
      {"vertex_create_buffer", {R(1)}, "vertex_create_buffer: Illegal argument count"},
      {"vertex_delete_buffer", {R(77)}, "vertex_delete_buffer: Invalid vertex buffer specified"},
      {"vertex_begin", {R(77), R(format)}, "Illegal vertex buffer specified"},
      {"vertex_begin", {R(buffer), R(12345)}, "Illegal vertex format specified"},
      {"vertex_position", {R(buffer), R(1), R(2)}, "VERTEX BUILDER: Must use vertex_begin() before writing to buffer"},
      {"vertex_position", {R(buffer), R(1)}, "VERTEX BUILDER: Illegal argument count"},
      {"vertex_get_number", {R(77)}, "vertex_get_number: specified vertex buffer doesn't exists"},
      {"vertex_get_buffer_size", {R(77)}, "Vertex Buffer index is out of range"},
      {"vertex_submit", {R(buffer), R(4), R(-1)}, "vertex_submit: Must finish with vertex_end() before submitting."},
      {"shader_set", {R(3)}, "Illegal shader handle"},
      {"shader_get_name", {R(3)}, "Illegal shader index 3"},
  };
  for (const Case& c : before_begin) EXPECT_EQ(BuiltinError(c.name, c.args), c.message) << c.name;

  CallBuiltin("vertex_format_begin");
  EXPECT_EQ(BuiltinError("vertex_format_begin"),
            "vertex_format_begin(): Can't start a new format, still creating another one.");
  for (int i = 0; i < 32; ++i) CallBuiltin("vertex_format_add_custom", {R(1), R(4)});
  EXPECT_EQ(BuiltinError("vertex_format_add_normal"), "vertex_format_add_normal(): Too many elements");
  CallBuiltin("vertex_format_end");

  CallBuiltin("vertex_begin", {R(buffer), R(format)});
  CallBuiltin("vertex_position", {R(buffer), R(1), R(2)});
  const Case writing[] = {
      {"vertex_position", {R(buffer), R(3), R(4)},
       "VERTEX BUILDER: element already written, must write the whole vertex first\n\n"},
      {"vertex_normal", {R(buffer), R(0), R(0), R(1)}, "VERTEX BUILDER: Vertex format does not contain selected type.\n\n"},
      {"vertex_end", {R(buffer)}, "Must finish writing vertex before end."},
  };
  for (const Case& c : writing) EXPECT_EQ(BuiltinError(c.name, c.args), c.message) << c.name;
  EXPECT_EQ(BuiltinError("vertex_colour", {R(buffer), R(0xFF)}), "VERTEX BUILDER: Illegal argument count");
  CallBuiltin("vertex_colour", {R(buffer), R(0x0000FF), R(0.5)});
  EXPECT_EQ(BuiltinError("vertex_end", {R(buffer)}), "") << "the vertex is whole now";
  EXPECT_EQ(RV_ToDouble(CallBuiltin("vertex_freeze", {R(buffer)})), 0);
  EXPECT_EQ(BuiltinError("vertex_freeze", {R(buffer)}), "vertex_freeze: Illegal vertex buffer specified.");
  EXPECT_EQ(BuiltinError("vertex_submit", {R(buffer), R(6), R(-1)}), "vertex_submit: Primitive type error.");
  EXPECT_EQ(BuiltinError("vertex_submit", {R(buffer), R(4), R(-1)}), "");
}

TEST_F(VertexBufferTest, CheckedWritesLandInFormatOrderWhateverTheCallOrder) {
  const double format = PositionColourFormat();
  const double buffer = NewBuffer();
  testing::internal::CaptureStdout();
  CallBuiltin("vertex_begin", {R(buffer), R(format)});
  CallBuiltin("vertex_colour", {R(buffer), R(0x112233), R(1)});
  CallBuiltin("vertex_position", {R(buffer), R(5), R(6)});
  CallBuiltin("vertex_end", {R(buffer)});
  testing::internal::GetCapturedStdout();
  const VertexBuffer* b = VertexBuffer_Get(static_cast<int32_t>(buffer));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->vertexCount, 1u);
  float xy[2];
  uint32_t colour = 0;
  std::memcpy(xy, b->data, 8);
  std::memcpy(&colour, b->data + 8, 4);
  EXPECT_EQ(xy[0], 5.0f);
  EXPECT_EQ(xy[1], 6.0f);
  EXPECT_EQ(colour, 0xFF112233u);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("vertex_get_number", {R(buffer)})), 1);
}

TEST_F(VertexBufferTest, UncheckedWritesFollowTheCallsAndGrowByHalfPlusAVertex) {
  const double format = PositionColourFormat();
  const double buffer = RV_ToDouble(CallBuiltin("vertex_create_buffer_ext", {R(10)}));
  EXPECT_EQ(RV_ToDouble(CallBuiltin("vertex_get_buffer_size", {R(buffer)})), 256) << "at least 256 bytes";
  Vertex_SetReleaseMode(true);
  CallBuiltin("vertex_begin", {R(buffer), R(format)});
  for (int i = 0; i < 30; ++i) {
    CallBuiltin("vertex_position", {R(buffer), R(i), R(0)});
    CallBuiltin("vertex_argb", {R(buffer), R(0xFF000000u + i)});
  }
  CallBuiltin("vertex_end", {R(buffer)});
  Vertex_SetReleaseMode(false);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("vertex_get_number", {R(buffer)})), 30);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("vertex_get_buffer_size", {R(buffer)})), 256 + 128 + 12) << "1.5 x + a stride";
  const VertexBuffer* b = VertexBuffer_Get(static_cast<int32_t>(buffer));
  uint32_t colour = 0;
  std::memcpy(&colour, b->data + 29 * 12 + 8, 4);
  EXPECT_EQ(colour, 0xFF00001Du);
}

TEST_F(VertexBufferTest, SubmitJoinsTheBatchAndAFrozenBufferDrawsOnItsOwn) {
  const double format = PositionColourFormat();
  const double buffer = NewBuffer();
  CallBuiltin("vertex_begin", {R(buffer), R(format)});
  for (int i = 0; i < 3; ++i) {
    Vertex_Float2(static_cast<int32_t>(buffer), static_cast<float>(i), 1.0f);
    Vertex_Colour(static_cast<int32_t>(buffer), 0xFFFFFF, 1.0);
  }
  CallBuiltin("vertex_end", {R(buffer)});
  CallBuiltin("vertex_submit", {R(buffer), R(4), R(-1)});
  EXPECT_EQ(GR_Batch_Stats().vertex_count, 3) << "the vertices wait in the batch";
  CallBuiltin("vertex_freeze", {R(buffer)});
  GR_Flush();
  const int32_t draws = GR_Batch_Stats().draws_this_frame;
  CallBuiltin("vertex_submit", {R(buffer), R(4), R(-1)});
  EXPECT_EQ(GR_Batch_Stats().draws_this_frame, draws + 1);
  EXPECT_EQ(GR_Batch_Stats().vertex_count, 0) << "a frozen buffer leaves the batch alone";

  // Without a user shader a format needs position and colour.
  CallBuiltin("vertex_format_begin");
  CallBuiltin("vertex_format_add_position");
  const double bare = RV_ToDouble(CallBuiltin("vertex_format_end"));
  const double other = NewBuffer();
  CallBuiltin("vertex_begin", {R(other), R(bare)});
  CallBuiltin("vertex_position", {R(other), R(0), R(0)});
  CallBuiltin("vertex_end", {R(other)});
  EXPECT_EQ(BuiltinError("vertex_submit", {R(other), R(1), R(-1)}),
            "vertex_submit: vertex format not supported by fixed function emulation (at a minimum you need position "
            "and colour)");
}

}  // namespace

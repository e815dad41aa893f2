// The batcher over the recording device: what joins a batch, what ends one, what the device is
// given, and when state reaches it.
#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "graphics/draw.h"
#include "graphics/gpu_state.h"
#include "graphics/gr_texture.h"
#include "graphics_fixture.h"

namespace {

class BatcherTest : public GraphicsTest {
 protected:
  void Quad(GRTexture* texture, float x) {
    auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, texture, kFormatTextured, 6));
    for (int i = 0; i < 6; ++i) v[i] = VertexTextured{0, 0, 0xFFFFFFFFu, x + i, 0, 0};
  }
  int Draws() { return device_.count(DeviceCallKind::kDraw); }

  GRTexture page_a_;
  GRTexture page_b_;
  void SetUp() override {
    GraphicsTest::SetUp();
    page_a_.device_ = device_.CreateTexture(64, 64, nullptr, false, false);
    page_b_.device_ = device_.CreateTexture(64, 64, nullptr, false, false);
    device_.clear_record();
  }
  // A quad of four corners at x + 0..3.
  void Corners(GRTexture* texture, float x) {
    auto* v = static_cast<VertexTextured*>(GR_Alloc_Quads(texture, kFormatTextured, 1));
    for (int i = 0; i < 4; ++i) v[i] = VertexTextured{0, 0, 0xFFFFFFFFu, x + i, 0, 0};
  }
  // Vertex bytes that reached device buffers, copied or written in place.
  size_t BytesWritten() {
    size_t bytes = 0;
    for (const DeviceCall& c : device_.calls()) {
      if (c.kind == DeviceCallKind::kWriteVertexBuffer || c.kind == DeviceCallKind::kUnmapVertexBuffer) {
        bytes += static_cast<size_t>(c.a);
      }
    }
    return bytes;
  }
};

// The staging memory starts as large as the biggest batch the size reckoning keeps: a fresh process
// (each test runs in its own) joins its first run of sprites or glyphs into one draw.
TEST_F(BatcherTest, ManyQuadsOfOnePageAndStateAreOneDraw) {
  for (int i = 0; i < 500; ++i) Quad(&page_a_, static_cast<float>(i));
  GR_Flush();
  ASSERT_EQ(Draws(), 1);
  EXPECT_EQ(device_.draws()[0].vertex_count, 3000);
  EXPECT_EQ(device_.draws()[0].texture, page_a_.device_);
  EXPECT_EQ(device_.draws()[0].shader, ShaderSet::kTextured);
}

TEST_F(BatcherTest, OnlyARealChangeBetweenTwoSpritesEndsTheBatch) {
  struct Case {
    const char* name;
    std::function<void()> between;
    GRTexture* second;
    int draws;
  };
  const Case cases[] = {
      {"nothing", [] {}, &page_a_, 1},
      {"another page", [] {}, &page_b_, 2},
      {"blend mode", [] { Gpu_SetBlendMode(1); }, &page_a_, 2},
      {"blend mode and back", [] { Gpu_SetBlendMode(1); Gpu_SetBlendMode(0); }, &page_a_, 1},
      {"sampler and back", [] { SamplerState_Set(0, kSampMagFilter, 0); SamplerState_Set(0, kSampMagFilter, 1); },
       &page_a_, 1},
      {"sampler of stage 7", [] { SamplerState_Set(7, kSampAddressU, 0); }, &page_a_, 2},
      {"depth", [] { GR_Set_Depth(5.0f); }, &page_a_, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RenderState_Reset();
    RenderState_Force_All();
    device_.clear_record();
    Quad(&page_a_, 0);
    c.between();
    Quad(c.second, 10);
    GR_Flush();
  }
}

TEST_F(BatcherTest, QuadsReachTheDeviceAsFourCornersDrawnAsTheirTwoTriangles) {
  GR_End_Batch_Frame();  // the statistics below are this frame's
  for (int i = 0; i < 2000; ++i) Corners(&page_a_, static_cast<float>(4 * i));
  EXPECT_EQ(GR_Batch_Stats().vertex_count, 12000) << "a quad counts as six list vertices";
  GR_Flush();
  ASSERT_EQ(Draws(), 1);
  const RecordedDraw& d = device_.draws()[0];
  EXPECT_EQ(d.type, PrimitiveType::kTriangleList);
  EXPECT_EQ(d.quads, 2000);
  EXPECT_EQ(d.vertex_count, 12000);
  EXPECT_EQ(BytesWritten(), 2000u * 4 * 24) << "four vertices a quad reach the buffer";
  EXPECT_EQ(GR_Batch_Stats().drawn_this_frame, 12000);
  const auto* v = reinterpret_cast<const VertexTextured*>(d.vertices.data());
  const float corners[6] = {0, 1, 2, 2, 3, 0};
  for (int q : {0, 1999}) {
    for (int i = 0; i < 6; ++i) EXPECT_EQ(v[6 * q + i].x, 4.0f * q + corners[i]) << "quad " << q << " vertex " << i;
  }
}

// Quads and plain triangle lists of one page are one batch and one draw of the batcher, which the
// device gets as one run after another from one write.
TEST_F(BatcherTest, QuadsAndTriangleListsOfOnePageShareABatch) {
  GR_End_Batch_Frame();  // the statistics below are this frame's
  Corners(&page_a_, 0);
  Corners(&page_a_, 10);
  Quad(&page_a_, 20);
  Corners(&page_a_, 30);
  GR_Flush();
  EXPECT_EQ(GR_Batch_Stats().draws_this_frame, 1);
  ASSERT_EQ(Draws(), 3);
  const std::vector<RecordedDraw>& d = device_.draws();
  EXPECT_EQ(d[0].quads, 2);
  EXPECT_EQ(d[1].quads, 0);
  EXPECT_EQ(d[1].vertex_count, 6);
  EXPECT_EQ(d[2].quads, 1);
  EXPECT_EQ(d[1].first_byte, d[0].first_byte + 8 * 24);
  EXPECT_EQ(d[2].first_byte, d[1].first_byte + 6 * 24);
  EXPECT_EQ(reinterpret_cast<const VertexTextured*>(d[1].vertices.data())->x, 20.0f);
  EXPECT_EQ(reinterpret_cast<const VertexTextured*>(d[2].vertices.data())[4].x, 33.0f);
  EXPECT_EQ(GR_Batch_Stats().drawn_this_frame, 24);
  EXPECT_EQ(BytesWritten(), 18u * 24);
}

// Given-back vertices leave from the end as list vertices; a quad goes as soon as any of its six
// does.
TEST_F(BatcherTest, GivenBackVerticesTakeWholeQuadsFromTheEnd) {
  struct Case {
    int returned;
    int quads_left;  // of the last run
    int plain_left;  // vertices of the leading triangle list
  };
  const Case cases[] = {{0, 5, 3}, {6, 4, 3}, {7, 3, 3}, {30, 0, 3}, {31, 0, 2}, {40, 0, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.returned);
    device_.clear_record();
    GR_Alloc_Verts(kPrimTriangleList, &page_a_, kFormatTextured, 3);
    GR_Alloc_Quads(&page_a_, kFormatTextured, 5);
    GR_Return_Verts(c.returned);
    EXPECT_EQ(GR_Batch_Stats().vertex_count, std::max(0, 33 - c.returned));
    GR_Flush();
    int quads = 0, plain = 0;
    for (const RecordedDraw& d : device_.draws()) {
      quads += d.quads;
      if (d.quads == 0) plain += d.vertex_count;
    }
    EXPECT_EQ(quads, c.quads_left);
    EXPECT_EQ(plain, c.plain_left);
    EXPECT_EQ(BytesWritten(), static_cast<size_t>(4 * c.quads_left + c.plain_left) * 24);
  }
}

TEST_F(BatcherTest, StateChangeReachesTheDeviceAfterTheVerticesDrawnBeforeIt) {
  Quad(&page_a_, 0);
  Gpu_SetBlendMode(1);  // add: dest factor one
  Quad(&page_a_, 10);
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 2u);
  EXPECT_EQ(device_.draws()[0].blend.dest, 6);
  EXPECT_EQ(device_.draws()[1].blend.dest, 2);
}

TEST_F(BatcherTest, OutlinesNeverJoinFilledCirclesDo) {
  for (bool outline : {true, false}) {
    device_.clear_record();
    Draw_Ellipse(0, 0, 10, 10, 0xFF000000u, 0xFF000000u, outline);
    Draw_Ellipse(20, 0, 30, 10, 0xFF000000u, 0xFF000000u, outline);
    GR_Flush();
    EXPECT_EQ(Draws(), outline ? 2 : 1) << "outline " << outline;
  }
}

TEST_F(BatcherTest, FanIsDrawnAsTrianglesThatAllHoldTheFirstVertex) {
  auto* v = static_cast<VertexColour*>(GR_Alloc_Verts(kPrimTriangleFan, GR_WhiteTexture(), kFormatColour, 6));
  for (int i = 0; i < 6; ++i) v[i] = VertexColour{static_cast<float>(i), 0, 0, 0xFF000000u};
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 1u);
  const RecordedDraw& d = device_.draws()[0];
  EXPECT_EQ(d.type, PrimitiveType::kTriangleList);
  ASSERT_EQ(d.vertex_count, 12);
  const auto* out = reinterpret_cast<const VertexColour*>(d.vertices.data());
  for (int t = 0; t < 4; ++t) {
    EXPECT_EQ(out[t * 3].x, 0.0f);
    EXPECT_EQ(out[t * 3 + 1].x, static_cast<float>(t + 1));
    EXPECT_EQ(out[t * 3 + 2].x, static_cast<float>(t + 2));
  }
}

TEST_F(BatcherTest, ABatchLargerThanAnyBufferGetsABufferOfExactlyItsSize) {
  const int32_t count = 30000;  // 720000 bytes, more than the 0x90000 of a new buffer
  auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimPointList, &page_a_, kFormatTextured, count));
  std::memset(v, 0, sizeof(VertexTextured) * count);
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 1u);
  EXPECT_EQ(device_.buffer_size(device_.draws()[0].buffer), static_cast<size_t>(count) * 24);
}

TEST_F(BatcherTest, ABufferUsedThisFrameIsAppendedToAndRewrittenOnlyInALaterFrame) {
  Quad(&page_a_, 0);
  GR_Flush();
  Quad(&page_b_, 0);
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 2u);
  EXPECT_EQ(device_.draws()[0].buffer, device_.draws()[1].buffer);
  EXPECT_EQ(device_.draws()[1].first_byte, 6u * 24);
  // Filling the rest of the buffer in this frame takes a new one; the next frame reuses the first.
  const int32_t rest = static_cast<int32_t>(kMinVertexBufferBytes / 24) - 6;
  GR_Alloc_Verts(kPrimPointList, &page_a_, kFormatTextured, rest);
  GR_Flush();
  EXPECT_EQ(GR_Batch_Stats().buffers, 2);
  GR_End_Batch_Frame();
  GR_Alloc_Verts(kPrimPointList, &page_a_, kFormatTextured, rest + 6);
  GR_Flush();
  EXPECT_EQ(GR_Batch_Stats().buffers, 2);
  EXPECT_EQ(device_.draws().back().first_byte, 0u);
}

// Vertices are written once, into the device buffer they are drawn from; a batch that outgrows
// the rest of its buffer goes on in another and is still one draw of the batcher.
TEST_F(BatcherTest, ABatchThatOutgrowsItsBufferGoesOnInAnotherAsOneDraw) {
  GR_End_Batch_Frame();
  const int32_t filler = static_cast<int32_t>(kMinVertexBufferBytes / 24) - 8;
  GR_Alloc_Verts(kPrimPointList, &page_b_, kFormatTextured, filler);
  GR_Flush();
  device_.clear_record();
  for (int i = 0; i < 4; ++i) Corners(&page_a_, static_cast<float>(4 * i));  // two fit behind the filler
  GR_Flush();
  EXPECT_EQ(GR_Batch_Stats().draws_this_frame, 2);
  EXPECT_EQ(GR_Batch_Stats().buffers, 2);
  EXPECT_EQ(device_.count(DeviceCallKind::kWriteVertexBuffer), 0) << "nothing is copied";
  EXPECT_EQ(BytesWritten(), 16u * 24);
  ASSERT_EQ(Draws(), 2);
  const std::vector<RecordedDraw>& d = device_.draws();
  EXPECT_EQ(d[0].first_byte, static_cast<size_t>(filler) * 24);
  EXPECT_NE(d[0].buffer, d[1].buffer);
  EXPECT_EQ(d[1].first_byte, 0u);
  float expected = 0.0f;
  for (const RecordedDraw& draw : d) {
    ASSERT_EQ(draw.quads, 2);
    ASSERT_EQ(draw.vertices.size(), 12u * 24);
    const auto* v = reinterpret_cast<const VertexTextured*>(draw.vertices.data());
    for (int q = 0; q < 2; ++q, expected += 4.0f) EXPECT_EQ(v[6 * q].x, expected);
  }
}

// Given-back room is handed out again, so the next quad follows the last one kept.
TEST_F(BatcherTest, GivenBackRoomIsHandedOutAgain) {
  Corners(&page_a_, 0);
  Corners(&page_a_, 10);
  Corners(&page_a_, 20);
  GR_Return_Verts(6);
  Corners(&page_a_, 30);
  GR_Flush();
  ASSERT_EQ(Draws(), 1);
  EXPECT_EQ(device_.draws()[0].quads, 3);
  EXPECT_EQ(reinterpret_cast<const VertexTextured*>(device_.draws()[0].vertices.data())[12].x, 30.0f);
  EXPECT_EQ(BytesWritten(), 12u * 24);
}

// A device that can't map its buffers gets every batch as a copy, drawn as it would have been.
TEST_F(BatcherTest, WithoutMappingBatchesReachTheDeviceAsCopies) {
  device_.set_map_refused(true);
  Corners(&page_a_, 0);
  Quad(&page_a_, 10);
  Corners(&page_a_, 20);
  GR_Flush();
  Quad(&page_b_, 30);
  GR_Flush();
  EXPECT_EQ(device_.count(DeviceCallKind::kWriteVertexBuffer), 2);
  EXPECT_EQ(BytesWritten(), 20u * 24);
  ASSERT_EQ(Draws(), 4);
  const std::vector<RecordedDraw>& d = device_.draws();
  EXPECT_EQ(d[0].quads, 1);
  EXPECT_EQ(d[1].vertex_count, 6);
  EXPECT_EQ(reinterpret_cast<const VertexTextured*>(d[2].vertices.data())[0].x, 20.0f);
  EXPECT_EQ(reinterpret_cast<const VertexTextured*>(d[3].vertices.data())[5].x, 35.0f);
  EXPECT_EQ(d[3].first_byte, 14u * 24) << "the copy is appended behind the first";
}

TEST_F(BatcherTest, UnknownCustomFormatFallsBackToStrideOneAndDrawsNothing) {
  GR_Alloc_Verts(kPrimTriangleList, &page_a_, kFormatCustomBit | 7, 3);
  GR_Flush();
  EXPECT_EQ(Draws(), 0);
}

TEST_F(BatcherTest, DepthIsClamped) {
  GR_Set_Depth(20000.0f);
  EXPECT_EQ(GR_Depth(), 16000.0f);
  GR_Set_Depth(-20000.0f);
  EXPECT_EQ(GR_Depth(), -16000.0f);
  GR_Set_Depth(0.0f);
}

}  // namespace

namespace {

// A large frame hands the device its queue as it goes, once a draw brings the vertices drawn since
// the last hand-over to kSubmitVerts; the frame's end starts the count again, so frames of few
// draws hand nothing over early.
TEST_F(BatcherTest, TheQueueIsHandedOverEverySubmitCountOfVertices) {
  struct Case {
    int draws;     // draws in the frame, each of one page, the pages taking turns
    int quads;     // quads a draw
    int flushes;   // hand-overs in the frame
  };
  const int half = kSubmitVerts / 12 + 1;  // a little over half the count, in quads
  const Case cases[] = {
      {1, half, 0}, {1, half, 0},  // two frames of half: the frame's end started the count again
      {2, half, 1}, {5, half, 2}, {1, 2 * half, 1}, {3, 100, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.draws << " draws of " << c.quads);
    device_.clear_record();
    for (int d = 0; d < c.draws; ++d) {
      for (int i = 0; i < c.quads; ++i) Corners(d % 2 == 0 ? &page_a_ : &page_b_, static_cast<float>(i));
    }
    GR_Flush();
    GR_End_Batch_Frame();
    EXPECT_EQ(device_.count(DeviceCallKind::kFlush), c.flushes);
    // Each hand-over follows a draw.
    const std::vector<DeviceCall>& calls = device_.calls();
    for (size_t i = 0; i < calls.size(); ++i) {
      if (calls[i].kind == DeviceCallKind::kFlush) {
        EXPECT_TRUE(i > 0 && calls[i - 1].kind == DeviceCallKind::kDraw);
      }
    }
  }
}

}  // namespace

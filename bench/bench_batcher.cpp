// Submits 100000 textured quads a frame through the batcher to the recording null device (which
// keeps no vertex copies here) and reports quads per millisecond and draw calls per frame.
#include <benchmark/benchmark.h>

#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/gr_texture.h"
#include "graphics/render_state.h"
#include "platform/fake/null_device.h"

namespace {

constexpr int kQuads = 100000;

void BM_BatcherTexturedQuads(benchmark::State& state) {
  NullDevice device;
  device.set_keep_vertices(false);
  RenderState_Reset();
  DeviceState_Reset();
  GR_Batch_SetDevice(&device);
  GRTexture page;
  page.device_ = device.CreateTexture(1024, 1024, nullptr, false, false);
  int64_t draws = 0;
  int64_t frames = 0;
  for (auto _ : state) {
    for (int i = 0; i < kQuads; ++i) {
      auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, &page, kFormatTextured, 6));
      const float x = static_cast<float>(i & 1023), y = static_cast<float>(i >> 10);
      v[0] = VertexTextured{0.0f, 0.0f, 0xFFFFFFFFu, x, y, 0.0f};
      v[1] = VertexTextured{1.0f, 0.0f, 0xFFFFFFFFu, x + 16.0f, y, 0.0f};
      v[2] = VertexTextured{0.0f, 1.0f, 0xFFFFFFFFu, x, y + 16.0f, 0.0f};
      v[3] = VertexTextured{1.0f, 0.0f, 0xFFFFFFFFu, x + 16.0f, y, 0.0f};
      v[4] = VertexTextured{1.0f, 1.0f, 0xFFFFFFFFu, x + 16.0f, y + 16.0f, 0.0f};
      v[5] = VertexTextured{0.0f, 1.0f, 0xFFFFFFFFu, x, y + 16.0f, 0.0f};
    }
    GR_Flush();
    draws += GR_Batch_Stats().draws_this_frame;
    ++frames;
    GR_End_Batch_Frame();
    device.clear_record();
  }
  state.SetItemsProcessed(state.iterations() * kQuads);
  state.counters["quads_per_ms"] =
      benchmark::Counter(static_cast<double>(kQuads) * static_cast<double>(state.iterations()) / 1000.0,
                         benchmark::Counter::kIsRate);
  state.counters["draws_per_frame"] = frames > 0 ? static_cast<double>(draws) / static_cast<double>(frames) : 0.0;
  GR_Batch_ReleaseDevice();
  GR_Batch_SetDevice(nullptr);
}
BENCHMARK(BM_BatcherTexturedQuads)->Unit(benchmark::kMillisecond);

}  // namespace

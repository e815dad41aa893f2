// Draws 10000 characters of text a frame (100 lines of 100) with draw_text's path into the
// batcher and the recording null device, and reports microseconds per character. The font is the
// runtime's default font (FreeType glyphs rendered into its glyph cache on first use, one texture):
// every glyph quad joins one batch.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "core/memory.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/draw.h"
#include "graphics/font.h"
#include "graphics/render_state.h"
#include "graphics/texture_table.h"
#include "platform/fake/null_device.h"

namespace {

constexpr int kLines = 100;
constexpr int kLineLength = 100;

void BM_DrawText10000Characters(benchmark::State& state) {
  MemoryManager::Start();
  NullDevice device;
  device.set_keep_vertices(false);
  RenderState_Reset();
  DeviceState_Reset();
  Texture_InstallResolver();
  GR_Batch_SetDevice(&device);
  Text_ResetState();
  Draw_ResetState();
  if (Font_Default() == nullptr) {
    state.SkipWithError("no default font");
    return;
  }
  std::string line;
  for (int i = 0; i < kLineLength; ++i) line += static_cast<char>('!' + (i * 7) % 90);
  double seconds = 0.0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    for (int l = 0; l < kLines; ++l) Text_Draw(0.0f, static_cast<float>(l * 6), line.c_str(), -1, -1);
    GR_Flush();
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    GR_End_Batch_Frame();
    device.clear_record();
  }
  const double characters = static_cast<double>(state.iterations()) * kLines * kLineLength;
  state.counters["us_per_char"] = characters > 0 ? seconds * 1e6 / characters : 0.0;
  state.counters["draws_per_frame"] = GR_Batch_Stats().draws_last_frame;
  Font_ReleaseDefault();
  GR_Batch_ReleaseDevice();
  GR_Batch_SetDevice(nullptr);
}
BENCHMARK(BM_DrawText10000Characters)->Unit(benchmark::kMicrosecond);

}  // namespace

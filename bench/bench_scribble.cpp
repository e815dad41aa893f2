// The text library on the game's data file (its fonts, the null device): a page of tagged text
// (colours, fonts, scale, alignment, wrapped at 600 pixels) laid out and drawn, reported in
// microseconds per glyph. Cached: the element and its model exist, a frame is the draw (uniforms,
// the matrix, one submit per texture). Uncached: every frame flushes the library's caches first,
// so the draw parses, lays out and writes the vertex buffers again.
#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "compiled_code.h"
#include "core/call.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "graphics/batcher.h"
#include "graphics/window.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/draw_game.h"
#include "text/scribble.h"
#include "text/scribble_internal.h"

namespace {

std::string page_text() {
  std::string text = "[fnt_title][fa_center][c_yellow]The Keep Holds[/c]\n[fnt_regular][fa_left]";
  const char* words[] = {"[c_red]grunts[/c]", "walk", "the", "[scale,1.5]four[/s]", "lanes;", "[#80ff80]towers[/c]",
                         "shoot", "[fnt_regular_small]along[fnt_regular]", "them", "and", "[alpha,0.6]gold[/a]", "pays."};
  for (int i = 0; i < 40; ++i) {
    text += words[i % 12];
    text += ' ';
  }
  return text;
}

struct TextBench {
  TextBench() {
    Window_UsePlatform(&host, &device);
    std::ifstream in(std::string(KOVA_BINARY_DIR) + "/data.win", std::ios::binary);
    std::vector<uint8_t> image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    started = image.size() > 1024 && game.StartImage(std::move(image), Compiled_CodeTables());
    device.set_keep_vertices(false);
  }
  ~TextBench() {
    if (started) game.Stop();
    Window_UsePlatform(nullptr, nullptr);
  }
  // scribble(text).wrap(600).draw(x, y); returns the glyphs drawn.
  int32_t draw(const RValue& text) {
    RValue arg = text;
    RValue* args[] = {&arg};
    tsl::Value element;
    tsl_Script_scribble(nullptr, nullptr, element.get(), 1, args);
    scribble::Element* e = dynamic_cast<scribble::Element*>(element.object());
    RValue width = RV_Real(600);
    RValue* wrap_args[] = {&width};
    tsl::Value ignored;
    tsl_Script___scribble_class_element_wrap(KV_AsInstance(e), nullptr, ignored.get(), 1, wrap_args);
    e->draw(20, 20, nullptr);
    GR_Flush();
    return e->get_model(false) != nullptr ? e->get_model(false)->glyph_count : 0;
  }

  FakeWindowHost host;
  NullDevice device{640, 360};
  DrawGame game;
  bool started = false;
};

void run(benchmark::State& state, bool cached) {
  TextBench bench;
  if (!bench.started) {
    state.SkipWithError("build the data_win target first");
    return;
  }
  const tsl::Value text = tsl::Value::String(page_text().c_str());
  int32_t glyphs = bench.draw(*text);
  double seconds = 0;
  for (auto _ : state) {
    if (!cached) {
      tsl::Value ignored;
      tsl_Script_scribble_flush_everything(nullptr, nullptr, ignored.get(), 0, nullptr);
    }
    const auto start = std::chrono::steady_clock::now();
    glyphs = bench.draw(*text);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    GR_End_Batch_Frame();
    bench.device.clear_record();
  }
  const double total = static_cast<double>(state.iterations()) * glyphs;
  state.counters["glyphs"] = glyphs;
  state.counters["us_per_glyph"] = total > 0 ? seconds * 1e6 / total : 0.0;
}

void BM_ScribblePageCached(benchmark::State& state) { run(state, true); }
void BM_ScribblePageUncached(benchmark::State& state) { run(state, false); }
BENCHMARK(BM_ScribblePageCached)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ScribblePageUncached)->Unit(benchmark::kMicrosecond);

}  // namespace

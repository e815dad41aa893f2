// Mixing 64 voices on OpenAL Soft's loopback device: a game whose data file (written by the writer)
// holds four plain sounds, loaded as the runner loads it, with the audio engine started on the
// loopback device and 64 looping voices playing, half of them at positions with a distance model
// and all with different pitches. One iteration mixes 1024 stereo frames at 44100 Hz;
// `audio_s_per_s` is the seconds of audio mixed per second of CPU, so the mixing cost of one second
// of audio is its inverse.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "audio/audio.h"
#include "bench_game.h"
#include "core/builtin_families.h"
#include "core/function_table.h"
#include "core/memory.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_audio.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/writer.h"
#include "platform/al/al_audio.h"
#include "run/asset_readers.h"

namespace {

constexpr int32_t kRate = 44100;
constexpr int32_t kFrames = 1024;
constexpr int32_t kVoices = 64;

// A RIFF WAVE image of one second of a mono 16-bit tone.
std::vector<uint8_t> tone(double hz) {
  const uint32_t bytes = kRate * 2;
  std::vector<uint8_t> out(44 + bytes);
  auto put = [&out](size_t at, uint32_t v, int n) {
    for (int i = 0; i < n; ++i) out[at + i] = static_cast<uint8_t>(v >> (8 * i));
  };
  std::memcpy(out.data(), "RIFF", 4);
  put(4, 36 + bytes, 4);
  std::memcpy(out.data() + 8, "WAVEfmt ", 8);
  put(16, 16, 4), put(20, 1, 2), put(22, 1, 2), put(24, kRate, 4), put(28, kRate * 2, 4), put(32, 2, 2), put(34, 16, 2);
  std::memcpy(out.data() + 36, "data", 4);
  put(40, bytes, 4);
  for (int32_t i = 0; i < kRate; ++i) {
    put(44 + 2 * i, static_cast<uint16_t>(static_cast<int16_t>(12000 * std::sin(2 * M_PI * hz * i / kRate))), 2);
  }
  return out;
}

void call(const char* name, std::vector<RValue> args) {
  int32_t id = -1;
  if (!Function_Find(name, &id)) std::abort();
  RValue result = RV_Undefined();
  Function_Row(id)->handler(&result, nullptr, nullptr, static_cast<int>(args.size()), args.data());
}

bool start() {
  MemoryManager::Start();
  Assets_InstallReaders();
  Builtins_AddRegistrar(kFamilySound, Audio_RegisterBuiltins);
  datawin::Writer writer;
  datawin::add_gen8(writer, Bench_Header());
  datawin::add_optn(writer, datawin::OptnRecord{});
  std::vector<std::optional<datawin::SoundRecord>> sounds;
  std::vector<std::optional<std::vector<uint8_t>>> blobs;
  for (int i = 0; i < 4; ++i) {
    sounds.push_back(datawin::SoundRecord{"snd_" + std::to_string(i), 0, "", 1.0f, 0, i});
    blobs.push_back(tone(220.0 * (i + 1)));
  }
  datawin::add_sond(writer, sounds);
  datawin::add_audo(writer, blobs);
  static std::vector<uint8_t> image;
  image = writer.build();
  const auto size = static_cast<uint32_t>(image.size());
  if (!HeaderScan(image.data(), size)) return false;
  Audio_Init(AudioPlatform{[](std::string* error) { return AlAudio_OpenLoopback(kRate, error); }}, false);
  if (!LoadGameData(image.data(), size) || !Audio_PrepareGroups() || !Audio_Enabled()) return false;
  call("audio_falloff_set_model", {RV_Real(2)});
  for (int v = 0; v < kVoices; ++v) {
    const RValue pitch = RV_Real(0.75 + 0.01 * v);
    if (v % 2 == 0) {
      call("audio_play_sound", {RV_Real(v % 4), RV_Real(1), RV_Real(1), RV_Real(0.2), RV_Real(0), pitch});
    } else {
      call("audio_play_sound_at", {RV_Real(v % 4), RV_Real(v * 10 - 320), RV_Real(0), RV_Real(0), RV_Real(100),
                                   RV_Real(1000), RV_Real(1), RV_Real(1), RV_Real(1), RV_Real(0.2), RV_Real(0), pitch});
    }
  }
  Audio_Flush();
  return true;
}

void BM_Mix64Voices(benchmark::State& state) {
  static const bool ready = start();
  if (!ready) {
    state.SkipWithError("OpenAL Soft's loopback device is not available");
    return;
  }
  std::vector<float> out(2 * kFrames);
  IAudioDevice* device = Audio_OutputDevice();
  for (auto _ : state) {
    AlAudio_Render(device, out.data(), kFrames);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["audio_s_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kFrames / kRate, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Mix64Voices)->Unit(benchmark::kMicrosecond);

}  // namespace

#include "audio_fixture.h"

#include <cmath>
#include <cstring>

#include "assetgen/encode/ogg_encode.h"
#include "audio/audio_internal.h"
#include "core/builtin_families.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_options.h"
#include "run/asset_readers.h"
#include "storage/ds_core.h"
#include "storage/ds_map.h"

namespace {

std::vector<AsyncEvent>* g_events = nullptr;

void put32(std::vector<uint8_t>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void put16(std::vector<uint8_t>& out, uint16_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}

std::vector<uint8_t> wave_image(const uint8_t* data, uint32_t size, int32_t channels, int32_t rate, int32_t bits) {
  std::vector<uint8_t> out = {'R', 'I', 'F', 'F'};
  put32(out, 36 + size);
  for (char c : std::string("WAVEfmt ")) out.push_back(static_cast<uint8_t>(c));
  put32(out, 16);
  put16(out, 1);
  put16(out, static_cast<uint16_t>(channels));
  put32(out, static_cast<uint32_t>(rate));
  put32(out, static_cast<uint32_t>(rate * channels * bits / 8));
  put16(out, static_cast<uint16_t>(channels * bits / 8));
  put16(out, static_cast<uint16_t>(bits));
  for (char c : std::string("data")) out.push_back(static_cast<uint8_t>(c));
  put32(out, size);
  out.insert(out.end(), data, data + size);
  return out;
}

void collect_event(int32_t map, int32_t subtype) {
  AsyncEvent event;
  event.subtype = subtype;
  if (auto* m = DS_Find<CDS_Map>(map)) {
    m->for_each([&event](const RValue& key, const RValue& value) {
      char* text = RV_ToText(value);
      event.fields.emplace_back(RV_StringText(key), text);
      KV_FREE(text);
    });
  }
  DS_Destroy(kDsMap, map);
  if (g_events != nullptr) g_events->push_back(std::move(event));
}

}  // namespace

std::vector<int16_t> Sine(int32_t frames, double hz, double amplitude, int32_t rate) {
  std::vector<int16_t> out(static_cast<size_t>(frames));
  for (int32_t i = 0; i < frames; ++i) {
    out[static_cast<size_t>(i)] = static_cast<int16_t>(std::lround(32767.0 * amplitude * std::sin(2 * M_PI * hz * i / rate)));
  }
  return out;
}

std::vector<uint8_t> Wave(const std::vector<int16_t>& samples, int32_t channels, int32_t rate) {
  return wave_image(reinterpret_cast<const uint8_t*>(samples.data()), static_cast<uint32_t>(samples.size() * 2), channels,
                    rate, 16);
}

std::vector<uint8_t> Wave8(const std::vector<uint8_t>& samples, int32_t rate) {
  return wave_image(samples.data(), static_cast<uint32_t>(samples.size()), 1, rate, 8);
}

std::vector<uint8_t> Ogg(int32_t frames, double hz) {
  assetgen::Samples samples(static_cast<size_t>(frames));
  for (int32_t i = 0; i < frames; ++i) samples[static_cast<size_t>(i)] = static_cast<float>(0.5 * std::sin(2 * M_PI * hz * i / 44100.0));
  const std::vector<unsigned char> bytes = assetgen::encode_ogg(samples, 0.1f);
  return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

std::vector<uint8_t> AudioGroupFile(const std::vector<std::optional<std::vector<uint8_t>>>& blobs) {
  datawin::Writer writer;
  datawin::add_audo(writer, blobs);
  return BuildImage(writer);
}

std::string AsyncEvent::get(const std::string& key) const {
  for (const auto& [k, v] : fields) {
    if (k == key) return v;
  }
  return "<missing>";
}

void AudioTest::SetUp() {
  ResetLoaderState();
  Assets_InstallReaders();
  Builtins_AddRegistrar(kFamilySound, Audio_RegisterBuiltins);
  Platform_SetClock(&clock_);
  g_events = &events_;
  g_DebugConsole = g_ReleaseConsole;
}

void AudioTest::TearDown() {
  Audio_Shutdown();
  Audio_SetAsyncSink(nullptr);
  g_events = nullptr;
  Platform_SetClock(nullptr);
  ResetLoaderState();
  DS_FreeAll();
  Console_Reset();
}

bool AudioTest::load(const std::vector<std::optional<std::string>>& groups,
                     const std::vector<std::optional<datawin::SoundRecord>>& sounds,
                     const std::vector<std::optional<std::vector<uint8_t>>>& blobs, bool no_audio) {
  datawin::Writer writer = MakeMinimalGame();
  datawin::add_optn(writer, datawin::OptnRecord{});
  if (!groups.empty()) datawin::add_agrp(writer, groups);
  datawin::add_sond(writer, sounds);
  datawin::add_audo(writer, blobs);
  image_ = BuildImage(writer);
  const auto size = static_cast<uint32_t>(image_.size());
  // The runner's order: the builtins with the header, audio before the chunks, groups after.
  const bool scanned = HeaderScan(image_.data(), size);
  Audio_Init(platform_, no_audio);
  Audio_SetGameDirectory(dir_.path() + "/");
  Audio_SetAsyncSink(collect_event);
  return scanned && LoadGameData(image_.data(), size) && Audio_PrepareGroups();
}

RValue AudioTest::call(const char* name, const std::vector<RValue>& args) {
  RValue result = CallBuiltin(name, args);
  for (RValue arg : args) RV_Free(&arg);
  return result;
}

double AudioTest::num(const char* name, const std::vector<RValue>& args) {
  RValue result = call(name, args);
  const double value = RV_ToDouble(result);
  RV_Free(&result);
  return value;
}

void AudioTest::tick(int32_t frames) {
  for (int32_t i = 0; i < frames; ++i) {
    clock_.Advance(16667);
    Audio_Tick();
  }
}

uint32_t AudioTest::source_id(double voice) {
  const CNoise* v = Audio_FindVoice(static_cast<int32_t>(voice));
  return v != nullptr ? Audio_VoiceSource(v) : 0;
}

FakeAudioSource AudioTest::source_of(double voice) {
  FakeAudioSource source;
  EXPECT_TRUE(device().Source(source_id(voice), &source)) << "voice " << voice;
  return source;
}

#pragma once
// Audio tests: a game written with the writer (options, audio groups, sounds and their blobs),
// loaded as the runner loads it, with the audio engine started on the in-memory mixing layer
// (platform/fake/fake_audio.h) and driven by a fake clock, one 60 Hz frame per tick.
//   sine(...)    mono 16-bit samples of a sine; Wave() a RIFF WAVE image of them; Ogg() Vorbis bytes
//   load(...)    writes OPTN, AGRP, SOND and AUDO, loads them, starts audio, prepares group 0
//   call(...)    runs a registered audio builtin; tick(n) runs n frames of the audio tick
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/audio.h"
#include "core/console.h"
#include "core/rvalue.h"
#include "datawin/writer/chunk_audio.h"
#include "platform/fake/fake_audio.h"
#include "platform/fake/fake_clock.h"
#include "support/builtin_call.h"
#include "support/fixture.h"

std::vector<int16_t> Sine(int32_t frames, double hz = 440.0, double amplitude = 0.5, int32_t rate = 44100);
std::vector<uint8_t> Wave(const std::vector<int16_t>& samples, int32_t channels = 1, int32_t rate = 44100);
std::vector<uint8_t> Wave8(const std::vector<uint8_t>& samples, int32_t rate = 44100);
std::vector<uint8_t> Ogg(int32_t frames, double hz = 440.0);
// An audio group file: a FORM holding one AUDO chunk of these blobs.
std::vector<uint8_t> AudioGroupFile(const std::vector<std::optional<std::vector<uint8_t>>>& blobs);

struct AsyncEvent {
  int32_t subtype = 0;
  std::vector<std::pair<std::string, std::string>> fields;  // key, value as text
  std::string get(const std::string& key) const;
};

class AudioTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Loads a game with these groups (empty: no AGRP chunk), sounds and group 0 blobs.
  bool load(const std::vector<std::optional<std::string>>& groups,
            const std::vector<std::optional<datawin::SoundRecord>>& sounds,
            const std::vector<std::optional<std::vector<uint8_t>>>& blobs, bool no_audio = false);
  // Runs the builtin; it owns the arguments and frees them after the call.
  RValue call(const char* name, const std::vector<RValue>& args = {});
  double num(const char* name, const std::vector<RValue>& args = {});
  // Frames of the frame driver: the clock moves 1/60 s, then the audio ticks.
  void tick(int32_t frames = 1);
  FakeAudioDevice& device() { return *FakeAudio_LastOpened(); }
  // The device's view of the source a voice plays on.
  FakeAudioSource source_of(double voice);
  uint32_t source_id(double voice);

  AudioPlatform platform_ = FakeAudio_Platform();  // what load() opens
  FakeClock clock_{1000000};
  TempDir dir_;
  std::vector<uint8_t> image_;
  std::vector<AsyncEvent> events_;
  ConsoleCapture console_;
};

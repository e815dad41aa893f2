#pragma once
// A mixing layer in memory for tests: sources, buffers and queues that behave as the real layer's
// do, mixed only when the test asks. Mix(frames) moves every playing source on by that many output
// frames (at OutputRate, scaled by the source's pitch and its buffer's rate), retires played queue
// buffers and stops a source at the end of its last buffer unless it loops; it adds each source's
// samples (mono: both channels; 8-bit as (v - 128) / 128, 16-bit as v / 32768) times its gain and
// the listener's into a stereo float block, nearest sample, no panning or distance. Thread-safe:
// the streaming workers call it too. Recording devices are the ones a test adds, each handing out
// the frames the test gave it.
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/audio_device.h"

struct FakeAudioSource {
  int32_t state = kSourceInitial;
  std::vector<uint32_t> queue;  // the buffers, in order
  size_t index = 0;             // the buffer being played
  double frame = 0.0;           // frames into it
  bool looping = false;
  float gain = 1.0f;
  float pitch = 1.0f;
  AudioSourcePlacement placement;
  int32_t plays = 0;  // calls of Play that started it
};

struct FakeAudioBuffer {
  int32_t channels = 1;
  int32_t bits = 16;
  int32_t rate = 44100;
  std::vector<uint8_t> bytes;
  int64_t frames() const { return static_cast<int64_t>(bytes.size()) / (channels * (bits / 8)); }
};

class FakeAudioDevice final : public IAudioDevice {
 public:
  explicit FakeAudioDevice(int32_t rate = 44100) : rate_(rate) {}
  ~FakeAudioDevice() override;

  std::string Name() const override { return "fake"; }
  int32_t OutputRate() const override { return rate_; }
  uint32_t NewSource() override;
  void DeleteSource(uint32_t source) override;
  uint32_t NewBuffer() override;
  bool DeleteBuffer(uint32_t buffer) override;
  bool BufferData(uint32_t buffer, int32_t channels, int32_t bits, const void* bytes, int32_t size,
                  int32_t rate) override;
  void SetBuffer(uint32_t source, uint32_t buffer) override;
  void SetLooping(uint32_t source, bool looping) override;
  void SetGain(uint32_t source, float gain) override;
  void SetPitch(uint32_t source, float pitch) override;
  void SetSecondsOffset(uint32_t source, float seconds) override;
  void SetPlacement(uint32_t source, const AudioSourcePlacement& placement) override;
  void SetPosition(uint32_t source, const float position[3], const float velocity[3]) override;
  void Play(const uint32_t* sources, int32_t count) override;
  void Pause(uint32_t source) override;
  void Stop(uint32_t source) override;
  void Rewind(uint32_t source) override;
  void Queue(uint32_t source, const uint32_t* buffers, int32_t count) override;
  int32_t Unqueue(uint32_t source, uint32_t* buffers, int32_t count) override;
  AudioSourceStatus Status(uint32_t source) override;
  void SetListener(const AudioListenerState& listener) override;
  void SetDistanceModel(int32_t model) override;
  int32_t TakeError() override;
  const char* ErrorText(int32_t code) override;
  std::vector<std::string> CaptureDevices() override;
  std::unique_ptr<IAudioCapture> OpenCapture(const std::string& name, int32_t rate, int32_t channels) override;

  // Mixes `frames` output frames into out (2 x frames floats, added to what is there; null to
  // only move the sources on).
  void Mix(float* out, int32_t frames);

  // What a test checks. Copies, taken under the lock.
  bool Source(uint32_t source, FakeAudioSource* out);
  int32_t SourceCount();
  int32_t BufferCount();
  AudioListenerState Listener();
  int32_t DistanceModel();
  // Batches of Play, each the sources started together.
  std::vector<std::vector<uint32_t>> PlayBatches();

  // A recording device named `name` whose capture hands out `frames` (16-bit, interleaved).
  void AddCaptureDevice(const std::string& name, std::vector<int16_t> frames);

 private:
  struct Capture;
  void mix_source(FakeAudioSource& s, float* out, int32_t frames);

  mutable std::mutex mutex_;
  int32_t rate_;
  uint32_t next_id_ = 1;
  std::map<uint32_t, FakeAudioSource> sources_;
  std::map<uint32_t, FakeAudioBuffer> buffers_;
  AudioListenerState listener_;
  int32_t distance_model_ = kDistanceInverse;
  int32_t error_ = 0;
  std::vector<std::vector<uint32_t>> play_batches_;
  std::map<std::string, std::vector<int16_t>> captures_;
};

// An AudioPlatform whose open hands out a FakeAudioDevice; the last one opened is kept for the
// test to reach (it lives while the audio engine holds it).
AudioPlatform FakeAudio_Platform();
FakeAudioDevice* FakeAudio_LastOpened();

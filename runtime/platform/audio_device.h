#pragma once
// The mixing layer's primitives: sources that play buffers of PCM through one output, a listener,
// and the recording devices. The shape is that of OpenAL 1.1 (ids, source states, queued
// buffers), so that the audio subsystem above reads like the mixing layer it was written against.
// Ids are never 0; 0 means "none". Every call is safe from any thread and atomic toward the mixer,
// which runs on a thread of its own; a call on an id that doesn't exist does nothing (queries give
// a stopped source with nothing queued). Failures come back as 0, false or an error code from
// TakeError; nothing here prints or throws.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Source states, with the mixing layer's values.
constexpr int32_t kSourceInitial = 4113;
constexpr int32_t kSourcePlaying = 4114;
constexpr int32_t kSourcePaused = 4115;
constexpr int32_t kSourceStopped = 4116;

// Distance models, with the mixing layer's values; 0 is none.
constexpr int32_t kDistanceNone = 0;
constexpr int32_t kDistanceInverse = 53249;
constexpr int32_t kDistanceInverseClamped = 53250;
constexpr int32_t kDistanceLinear = 53251;
constexpr int32_t kDistanceLinearClamped = 53252;
constexpr int32_t kDistanceExponent = 53253;
constexpr int32_t kDistanceExponentClamped = 53254;

struct AudioSourceStatus {
  int32_t state = kSourceStopped;
  int32_t queued = 0;      // buffers queued, processed ones included
  int32_t processed = 0;   // buffers played through
  int32_t sampleOffset = 0;  // frames into the buffer being played
};

// Where a source sits. A relative source moves with the listener; max distance, reference distance
// and rolloff feed the distance model.
struct AudioSourcePlacement {
  bool relative = true;
  float position[3] = {0.0f, 0.0f, 0.0f};
  float velocity[3] = {0.0f, 0.0f, 0.0f};
  float referenceDistance = 1.0f;
  float maxDistance = 100000.0f;
  float rolloff = 1.0f;
  int32_t distanceModel = kDistanceInverse;
};

struct AudioListenerState {
  float position[3] = {0.0f, 0.0f, 0.0f};
  float velocity[3] = {0.0f, 0.0f, 0.0f};
  float lookAt[3] = {0.0f, 0.0f, 1.0f};
  float up[3] = {0.0f, 1.0f, 0.0f};
  float gain = 1.0f;
};

// A recording device: 16-bit signed PCM at the rate and channels it was opened with.
class IAudioCapture {
 public:
  virtual ~IAudioCapture() = default;
  virtual bool Start() = 0;
  virtual void Stop() = 0;
  // Frames waiting to be read.
  virtual int32_t Available() = 0;
  // Reads frames (all channels of one instant) into out; the count must not exceed Available().
  virtual bool Read(int16_t* out, int32_t frames) = 0;
};

class IAudioDevice {
 public:
  virtual ~IAudioDevice() = default;

  virtual std::string Name() const = 0;
  virtual int32_t OutputRate() const = 0;

  virtual uint32_t NewSource() = 0;
  virtual void DeleteSource(uint32_t source) = 0;
  virtual uint32_t NewBuffer() = 0;
  // False while a source still holds the buffer.
  virtual bool DeleteBuffer(uint32_t buffer) = 0;
  // Copies PCM into the buffer: channels 1 or 2, bits 8 (unsigned) or 16 (signed).
  virtual bool BufferData(uint32_t buffer, int32_t channels, int32_t bits, const void* bytes, int32_t size,
                          int32_t rate) = 0;

  // Attaches one buffer (0 detaches all, queued ones too). Only a stopped or initial source takes it.
  virtual void SetBuffer(uint32_t source, uint32_t buffer) = 0;
  virtual void SetLooping(uint32_t source, bool looping) = 0;
  virtual void SetGain(uint32_t source, float gain) = 0;
  virtual void SetPitch(uint32_t source, float pitch) = 0;
  virtual void SetSecondsOffset(uint32_t source, float seconds) = 0;
  virtual void SetPlacement(uint32_t source, const AudioSourcePlacement& placement) = 0;
  virtual void SetPosition(uint32_t source, const float position[3], const float velocity[3]) = 0;
  // Starts the sources together: the mixer begins all of them on the same output sample.
  virtual void Play(const uint32_t* sources, int32_t count) = 0;
  virtual void Pause(uint32_t source) = 0;
  virtual void Stop(uint32_t source) = 0;
  virtual void Rewind(uint32_t source) = 0;
  virtual void Queue(uint32_t source, const uint32_t* buffers, int32_t count) = 0;
  // Takes up to count processed buffers off the queue's head; gives how many.
  virtual int32_t Unqueue(uint32_t source, uint32_t* buffers, int32_t count) = 0;
  virtual AudioSourceStatus Status(uint32_t source) = 0;

  virtual void SetListener(const AudioListenerState& listener) = 0;
  // The model of sources that don't name their own.
  virtual void SetDistanceModel(int32_t model) = 0;

  // The oldest error code since the last call, 0 for none; ErrorText names a code.
  virtual int32_t TakeError() = 0;
  virtual const char* ErrorText(int32_t code) = 0;

  virtual std::vector<std::string> CaptureDevices() = 0;
  // Null when the device can't be opened.
  virtual std::unique_ptr<IAudioCapture> OpenCapture(const std::string& name, int32_t rate, int32_t channels) = 0;
};

// How the audio subsystem opens its output, handed to it by the runner's entry point. Null, with
// the reason in *error, when no output can be opened.
struct AudioPlatform {
  std::unique_ptr<IAudioDevice> (*open)(std::string* error) = nullptr;
};

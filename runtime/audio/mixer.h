#pragma once
// The mixing layer as the audio subsystem uses it: the platform's sources and buffers
// (platform/audio_device.h) with three additions, and a frame-driven model of every source.
//
//  - Listener masks: each source carries a mask, taken from the "current" mask when it starts. The
//    one output has mask kOutputMask; a source whose mask shares no bit with it mixes at gain 0.
//  - Aligned starts: starts asked for during a frame are kept and handed to the device in one call
//    at the next Flush (the step's flushes and each tick), so sounds started in one frame begin on
//    the same output sample.
//  - The silent flag (kSourceSilentFlag, 57344): the source plays on at gain 0, never stopped.
//
// What scripts see of a source (its state, its position, the buffers it has played) is the model
// here, moved by Advance with the time of one frame per tick, never the mixer thread's progress:
// a replay of recorded input sees the same sounds end on the same frames, whatever the machine's
// timing. The device plays in real time beside it; the two agree while frames keep their pace.
// The streaming workers feed the device by its own state (DeviceStatus), which they may read from
// any thread; everything else is for the main thread.
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/audio_device.h"

constexpr uint32_t kOutputMask = 1;
constexpr int32_t kSourceSilentFlag = 57344;

struct MixerBufferInfo {
  int32_t frequency = 0;
  int32_t bits = 16;
  int32_t channels = 1;
  int32_t size = 0;  // bytes
  int64_t frames() const { return channels > 0 && bits > 0 ? size / (channels * (bits / 8)) : 0; }
};

class Mixer {
 public:
  Mixer();
  ~Mixer();
  Mixer(const Mixer&) = delete;
  Mixer& operator=(const Mixer&) = delete;

  void Open(std::unique_ptr<IAudioDevice> device);
  // Deletes every source and buffer still known, then closes the device.
  void Close();
  bool IsOpen() const { return device_ != nullptr; }
  IAudioDevice* Device() { return device_.get(); }

  // ---- Buffers ----
  uint32_t NewBuffer();
  bool BufferData(uint32_t buffer, int32_t channels, int32_t bits, const void* bytes, int32_t size, int32_t rate);
  // Frees the buffer, or as soon as the device lets go of it.
  void DeleteBuffer(uint32_t buffer);
  // False for an unknown buffer.
  bool BufferInfo(uint32_t buffer, MixerBufferInfo* out) const;

  // ---- Sources ----
  uint32_t NewSource();
  void DeleteSource(uint32_t source);
  void SetBuffer(uint32_t source, uint32_t buffer);
  void SetLooping(uint32_t source, bool looping);
  void SetGain(uint32_t source, float gain);
  void SetPitch(uint32_t source, float pitch);
  void SetSecondsOffset(uint32_t source, float seconds);
  void SetPlacement(uint32_t source, const AudioSourcePlacement& placement);
  void SetPosition(uint32_t source, const float position[3], const float velocity[3]);
  void SetSilent(uint32_t source, bool silent);
  // The mask that the next Play gives its source.
  void SetCurrentMask(uint32_t mask) { current_mask_ = mask; }
  void Play(uint32_t source);
  void Pause(uint32_t source);
  void Stop(uint32_t source);
  void Queue(uint32_t source, uint32_t buffer);
  // Takes the buffers the model has played off the source's queue, oldest first.
  std::vector<uint32_t> UnqueueProcessed(uint32_t source);

  // A source fed by a streaming worker: the model learns the stream's length (frames at `rate`;
  // -1 when unknown: it plays until stopped), where it starts and whether it loops. The device is
  // started by the worker, not here.
  void StreamStarted(uint32_t source, int64_t frames, int32_t rate, int64_t start_frame, bool looping, bool paused);

  int32_t State(uint32_t source) const;
  bool IsPlayingOrPaused(uint32_t source) const;
  // Seconds into what the source plays (the current buffer of a queue).
  double OffsetSeconds(uint32_t source) const;
  int32_t BuffersQueued(uint32_t source) const;
  int32_t BuffersProcessed(uint32_t source) const;
  float Gain(uint32_t source) const;
  float Pitch(uint32_t source) const;
  uint32_t Mask(uint32_t source) const;

  // The device's own view, for the streaming workers (any thread).
  AudioSourceStatus DeviceStatus(uint32_t source);

  void SetListener(const AudioListenerState& listener);
  void SetDistanceModel(int32_t model);

  // Hands the kept starts to the device together.
  void Flush();
  // Moves every playing source on by `micros` of its time (scaled by its pitch), and retries
  // the deletion of buffers the device still held.
  void Advance(int64_t micros);
  // The device's oldest error, 0 for none.
  int32_t TakeError();
  const char* ErrorText(int32_t code);

 private:
  struct Source;
  Source* find(uint32_t source);
  const Source* find(uint32_t source) const;
  void send_gain(Source& s);
  void cancel_start(Source& s);
  void advance_source(Source& s, double micros);
  void drop_played(uint32_t source);
  int64_t clip_frames(const Source& s, int32_t index) const;
  int32_t clip_rate(const Source& s, int32_t index) const;
  int32_t clip_count(const Source& s) const;

  std::unique_ptr<IAudioDevice> device_;
  std::unordered_map<uint32_t, std::unique_ptr<Source>> sources_;
  std::unordered_map<uint32_t, MixerBufferInfo> buffers_;
  std::vector<uint32_t> pending_starts_;
  std::vector<uint32_t> doomed_buffers_;
  uint32_t current_mask_ = kOutputMask;
};

// The in-memory mixing layer of tests.
#include "platform/fake/fake_audio.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace {

constexpr int32_t kInvalidName = 40961;  // the mixing layer's "invalid name" code
constexpr int32_t kInvalidOperation = 40964;
FakeAudioDevice* g_last_opened = nullptr;

float sample_at(const FakeAudioBuffer& b, int64_t frame, int32_t channel) {
  const int32_t c = std::min(channel, b.channels - 1);
  const size_t at = static_cast<size_t>(frame * b.channels + c);
  if (b.bits == 8) return (static_cast<float>(b.bytes[at]) - 128.0f) / 128.0f;
  int16_t v = 0;
  std::memcpy(&v, b.bytes.data() + at * 2, 2);
  return static_cast<float>(v) / 32768.0f;
}

}  // namespace

struct FakeAudioDevice::Capture final : IAudioCapture {
  std::vector<int16_t> frames;
  int32_t channels = 1;
  size_t read = 0;
  bool started = false;
  bool Start() override { return started = true; }
  void Stop() override { started = false; }
  int32_t Available() override {
    return started ? static_cast<int32_t>((frames.size() - read) / static_cast<size_t>(channels)) : 0;
  }
  bool Read(int16_t* out, int32_t count) override {
    const size_t values = static_cast<size_t>(count) * static_cast<size_t>(channels);
    if (values > frames.size() - read) return false;
    std::copy(frames.begin() + static_cast<long>(read), frames.begin() + static_cast<long>(read + values), out);
    read += values;
    return true;
  }
};

FakeAudioDevice::~FakeAudioDevice() {
  if (g_last_opened == this) g_last_opened = nullptr;
}

uint32_t FakeAudioDevice::NewSource() {
  std::lock_guard<std::mutex> lock(mutex_);
  const uint32_t id = next_id_++;
  sources_[id] = FakeAudioSource{};
  return id;
}

void FakeAudioDevice::DeleteSource(uint32_t source) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (sources_.erase(source) == 0) error_ = kInvalidName;
}

uint32_t FakeAudioDevice::NewBuffer() {
  std::lock_guard<std::mutex> lock(mutex_);
  const uint32_t id = next_id_++;
  buffers_[id] = FakeAudioBuffer{};
  return id;
}

bool FakeAudioDevice::DeleteBuffer(uint32_t buffer) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [id, s] : sources_) {
    if (std::find(s.queue.begin(), s.queue.end(), buffer) != s.queue.end()) {
      error_ = kInvalidOperation;
      return false;
    }
  }
  return buffers_.erase(buffer) > 0;
}

bool FakeAudioDevice::BufferData(uint32_t buffer, int32_t channels, int32_t bits, const void* bytes, int32_t size,
                                 int32_t rate) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = buffers_.find(buffer);
  if (it == buffers_.end() || (channels != 1 && channels != 2) || (bits != 8 && bits != 16) || rate <= 0 ||
      size < 0 || size % (channels * bits / 8) != 0) {
    error_ = kInvalidOperation;
    return false;
  }
  const auto* from = static_cast<const uint8_t*>(bytes);
  it->second = FakeAudioBuffer{channels, bits, rate, std::vector<uint8_t>(from, from + size)};
  return true;
}

void FakeAudioDevice::SetBuffer(uint32_t source, uint32_t buffer) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = sources_.find(source);
  if (it == sources_.end() || (buffer != 0 && buffers_.count(buffer) == 0)) {
    error_ = kInvalidName;
    return;
  }
  FakeAudioSource& s = it->second;
  if (s.state == kSourcePlaying || s.state == kSourcePaused) {
    error_ = kInvalidOperation;
    return;
  }
  s.queue.clear();
  if (buffer != 0) s.queue.push_back(buffer);
  s.index = 0;
  s.frame = 0.0;
  s.state = kSourceInitial;
}

#define FAKE_SOURCE_SETTER(body)                 \
  std::lock_guard<std::mutex> lock(mutex_);      \
  auto it = sources_.find(source);               \
  if (it == sources_.end()) {                    \
    error_ = kInvalidName;                       \
    return;                                      \
  }                                              \
  FakeAudioSource& s = it->second;               \
  body

void FakeAudioDevice::SetLooping(uint32_t source, bool looping) { FAKE_SOURCE_SETTER(s.looping = looping;) }
void FakeAudioDevice::SetGain(uint32_t source, float gain) { FAKE_SOURCE_SETTER(s.gain = gain;) }
void FakeAudioDevice::SetPitch(uint32_t source, float pitch) { FAKE_SOURCE_SETTER(s.pitch = pitch;) }
void FakeAudioDevice::SetPlacement(uint32_t source, const AudioSourcePlacement& placement) {
  FAKE_SOURCE_SETTER(s.placement = placement;)
}
void FakeAudioDevice::SetPosition(uint32_t source, const float position[3], const float velocity[3]) {
  FAKE_SOURCE_SETTER(std::copy(position, position + 3, s.placement.position);
                     std::copy(velocity, velocity + 3, s.placement.velocity);)
}

void FakeAudioDevice::SetSecondsOffset(uint32_t source, float seconds) {
  FAKE_SOURCE_SETTER(
      double left = std::max(0.0f, seconds);
      for (size_t i = 0; i < s.queue.size(); ++i) {
        const FakeAudioBuffer& b = buffers_[s.queue[i]];
        const double length = static_cast<double>(b.frames()) / b.rate;
        if (left < length) {
          s.index = i;
          s.frame = left * b.rate;
          return;
        }
        left -= length;
      } error_ = kInvalidOperation;)
}

void FakeAudioDevice::Play(const uint32_t* sources, int32_t count) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<uint32_t> batch;
  for (int32_t i = 0; i < count; ++i) {
    auto it = sources_.find(sources[i]);
    if (it == sources_.end()) continue;
    FakeAudioSource& s = it->second;
    batch.push_back(sources[i]);
    if (s.state == kSourcePaused) {
      s.state = kSourcePlaying;
      continue;
    }
    if (s.state != kSourceInitial) {
      s.index = 0;
      s.frame = 0.0;
    }
    s.state = s.queue.empty() ? kSourceStopped : kSourcePlaying;
    ++s.plays;
  }
  play_batches_.push_back(std::move(batch));
}

void FakeAudioDevice::Pause(uint32_t source) {
  FAKE_SOURCE_SETTER(if (s.state == kSourcePlaying) s.state = kSourcePaused;)
}

void FakeAudioDevice::Stop(uint32_t source) {
  FAKE_SOURCE_SETTER(if (s.state != kSourceInitial) {
    s.state = kSourceStopped;
    s.index = s.queue.size();
    s.frame = 0.0;
  })
}

void FakeAudioDevice::Rewind(uint32_t source) {
  FAKE_SOURCE_SETTER(s.state = kSourceInitial; s.index = 0; s.frame = 0.0;)
}

void FakeAudioDevice::Queue(uint32_t source, const uint32_t* buffers, int32_t count) {
  FAKE_SOURCE_SETTER(for (int32_t i = 0; i < count; ++i) {
    if (buffers_.count(buffers[i]) == 0) {
      error_ = kInvalidName;
      return;
    }
    s.queue.push_back(buffers[i]);
  })
}

int32_t FakeAudioDevice::Unqueue(uint32_t source, uint32_t* buffers, int32_t count) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = sources_.find(source);
  if (it == sources_.end()) return 0;
  FakeAudioSource& s = it->second;
  const auto processed = static_cast<int32_t>(std::min(s.index, s.queue.size()));
  const int32_t n = std::min(processed, count);
  std::copy(s.queue.begin(), s.queue.begin() + n, buffers);
  s.queue.erase(s.queue.begin(), s.queue.begin() + n);
  s.index -= static_cast<size_t>(n);
  return n;
}
#undef FAKE_SOURCE_SETTER

AudioSourceStatus FakeAudioDevice::Status(uint32_t source) {
  std::lock_guard<std::mutex> lock(mutex_);
  AudioSourceStatus status;
  auto it = sources_.find(source);
  if (it == sources_.end()) return status;
  const FakeAudioSource& s = it->second;
  status.state = s.state;
  status.queued = static_cast<int32_t>(s.queue.size());
  status.processed = static_cast<int32_t>(std::min(s.index, s.queue.size()));
  status.sampleOffset = static_cast<int32_t>(s.frame);
  return status;
}

void FakeAudioDevice::SetListener(const AudioListenerState& listener) {
  std::lock_guard<std::mutex> lock(mutex_);
  listener_ = listener;
}

void FakeAudioDevice::SetDistanceModel(int32_t model) {
  std::lock_guard<std::mutex> lock(mutex_);
  distance_model_ = model;
}

int32_t FakeAudioDevice::TakeError() {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(error_, 0);
}

const char* FakeAudioDevice::ErrorText(int32_t code) {
  switch (code) {
    case 0:
      return "No Error";
    case kInvalidName:
      return "Invalid Name";
    case kInvalidOperation:
      return "Invalid Operation";
    default:
      return "Unknown Error";
  }
}

std::vector<std::string> FakeAudioDevice::CaptureDevices() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [name, frames] : captures_) names.push_back(name);
  return names;
}

std::unique_ptr<IAudioCapture> FakeAudioDevice::OpenCapture(const std::string& name, int32_t, int32_t channels) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = captures_.find(name);
  if (it == captures_.end()) return nullptr;
  auto capture = std::make_unique<Capture>();
  capture->frames = it->second;
  capture->channels = std::max(1, channels);
  return capture;
}

void FakeAudioDevice::AddCaptureDevice(const std::string& name, std::vector<int16_t> frames) {
  std::lock_guard<std::mutex> lock(mutex_);
  captures_[name] = std::move(frames);
}

void FakeAudioDevice::mix_source(FakeAudioSource& s, float* out, int32_t frames) {
  const float gain = s.gain * listener_.gain;
  for (int32_t f = 0; f < frames && s.state == kSourcePlaying; ++f) {
    if (s.index >= s.queue.size()) {
      if (!s.looping || s.queue.empty()) {
        s.state = kSourceStopped;
        break;
      }
      s.index = 0;
    }
    const FakeAudioBuffer& b = buffers_[s.queue[s.index]];
    if (b.frames() == 0) {
      ++s.index;
      continue;
    }
    const auto at = static_cast<int64_t>(s.frame);
    if (out != nullptr) {
      out[2 * f] += sample_at(b, at, 0) * gain;
      out[2 * f + 1] += sample_at(b, at, 1) * gain;
    }
    s.frame += static_cast<double>(s.pitch) * b.rate / rate_;
    if (s.frame >= static_cast<double>(b.frames())) {
      s.frame -= static_cast<double>(b.frames());
      // A single looping buffer wraps on itself; a queue moves on to its next buffer.
      if (!(s.looping && s.queue.size() == 1)) ++s.index;
      if (s.index >= s.queue.size()) {
        if (s.looping) {
          s.index = 0;
        } else {
          s.state = kSourceStopped;
          s.frame = 0.0;
        }
      }
    }
  }
}

void FakeAudioDevice::Mix(float* out, int32_t frames) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto& [id, s] : sources_) mix_source(s, out, frames);
}

bool FakeAudioDevice::Source(uint32_t source, FakeAudioSource* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = sources_.find(source);
  if (it == sources_.end()) return false;
  *out = it->second;
  return true;
}

int32_t FakeAudioDevice::SourceCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int32_t>(sources_.size());
}

int32_t FakeAudioDevice::BufferCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int32_t>(buffers_.size());
}

AudioListenerState FakeAudioDevice::Listener() {
  std::lock_guard<std::mutex> lock(mutex_);
  return listener_;
}

int32_t FakeAudioDevice::DistanceModel() {
  std::lock_guard<std::mutex> lock(mutex_);
  return distance_model_;
}

std::vector<std::vector<uint32_t>> FakeAudioDevice::PlayBatches() {
  std::lock_guard<std::mutex> lock(mutex_);
  return play_batches_;
}

AudioPlatform FakeAudio_Platform() {
  return AudioPlatform{[](std::string*) -> std::unique_ptr<IAudioDevice> {
    auto device = std::make_unique<FakeAudioDevice>();
    g_last_opened = device.get();
    return device;
  }};
}

FakeAudioDevice* FakeAudio_LastOpened() { return g_last_opened; }

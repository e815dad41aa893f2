// The mixing-layer wrapper: masks, aligned starts, the silent flag and the frame-driven model.
#include "audio/mixer.h"

#include <algorithm>
#include <cmath>

// What the model knows of one source. A source plays a list of clips: its one buffer, the buffers
// of its queue, or a stream of known length. `index` is the clip being played and `frame` the
// position inside it.
struct Mixer::Source {
  enum class Kind { kBuffer, kStream };
  uint32_t id = 0;
  int32_t state = kSourceInitial;
  Kind kind = Kind::kBuffer;
  std::vector<uint32_t> clips;  // buffers, in queue order
  int32_t index = 0;
  double frame = 0.0;
  int64_t stream_frames = -1;
  int32_t stream_rate = 44100;
  bool looping = false;
  float gain = 1.0f;
  float pitch = 1.0f;
  bool silent = false;
  uint32_t mask = kOutputMask;
  bool start_pending = false;
  bool queue = false;  // fed by Queue: the device's played buffers are taken off its queue
};

Mixer::Mixer() = default;
Mixer::~Mixer() { Close(); }

void Mixer::Open(std::unique_ptr<IAudioDevice> device) {
  Close();
  device_ = std::move(device);
}

void Mixer::Close() {
  if (device_ == nullptr) return;
  for (auto& [id, source] : sources_) device_->DeleteSource(id);
  for (auto& [id, info] : buffers_) device_->DeleteBuffer(id);
  for (uint32_t id : doomed_buffers_) device_->DeleteBuffer(id);
  sources_.clear();
  buffers_.clear();
  doomed_buffers_.clear();
  pending_starts_.clear();
  current_mask_ = kOutputMask;
  device_.reset();
}

// ---- Buffers ----------------------------------------------------------------------------------

uint32_t Mixer::NewBuffer() {
  if (device_ == nullptr) return 0;
  const uint32_t id = device_->NewBuffer();
  if (id != 0) buffers_[id] = MixerBufferInfo{};
  return id;
}

bool Mixer::BufferData(uint32_t buffer, int32_t channels, int32_t bits, const void* bytes, int32_t size, int32_t rate) {
  auto it = buffers_.find(buffer);
  if (it == buffers_.end() || (channels != 1 && channels != 2) || (bits != 8 && bits != 16) || rate <= 0) return false;
  // Whole frames only, as the device takes them.
  const int32_t frame_bytes = channels * bits / 8;
  size -= size % frame_bytes;
  if (!device_->BufferData(buffer, channels, bits, bytes, size, rate)) return false;
  it->second = MixerBufferInfo{rate, bits, channels, size};
  return true;
}

void Mixer::DeleteBuffer(uint32_t buffer) {
  if (buffers_.erase(buffer) == 0 || device_ == nullptr) return;
  for (auto& [id, source] : sources_) {
    if (std::find(source->clips.begin(), source->clips.end(), buffer) == source->clips.end()) continue;
    Stop(id);
    SetBuffer(id, 0);
  }
  if (!device_->DeleteBuffer(buffer)) doomed_buffers_.push_back(buffer);
}

bool Mixer::BufferInfo(uint32_t buffer, MixerBufferInfo* out) const {
  auto it = buffers_.find(buffer);
  if (it == buffers_.end()) return false;
  *out = it->second;
  return true;
}

// ---- Sources ----------------------------------------------------------------------------------

Mixer::Source* Mixer::find(uint32_t source) {
  auto it = sources_.find(source);
  return it != sources_.end() ? it->second.get() : nullptr;
}

const Mixer::Source* Mixer::find(uint32_t source) const {
  auto it = sources_.find(source);
  return it != sources_.end() ? it->second.get() : nullptr;
}

uint32_t Mixer::NewSource() {
  if (device_ == nullptr) return 0;
  const uint32_t id = device_->NewSource();
  if (id == 0) return 0;
  auto source = std::make_unique<Source>();
  source->id = id;
  sources_[id] = std::move(source);
  return id;
}

void Mixer::DeleteSource(uint32_t source) {
  Source* s = find(source);
  if (s == nullptr) return;
  cancel_start(*s);
  device_->DeleteSource(source);
  sources_.erase(source);
}

void Mixer::cancel_start(Source& s) {
  if (!s.start_pending) return;
  s.start_pending = false;
  pending_starts_.erase(std::remove(pending_starts_.begin(), pending_starts_.end(), s.id), pending_starts_.end());
}

void Mixer::SetBuffer(uint32_t source, uint32_t buffer) {
  Source* s = find(source);
  if (s == nullptr || s->state == kSourcePlaying || s->state == kSourcePaused) return;
  if (buffer != 0 && buffers_.count(buffer) == 0) return;
  const bool was_stream = s->kind == Source::Kind::kStream;
  s->kind = Source::Kind::kBuffer;
  s->queue = false;
  s->clips.clear();
  if (buffer != 0) s->clips.push_back(buffer);
  s->index = 0;
  s->frame = 0.0;
  s->state = kSourceInitial;
  // Detaching a stream's source is its worker's business; a source taking a buffer has been given
  // back by its worker before. The device may still be playing out what the model has finished.
  if (was_stream && buffer == 0) return;
  device_->Stop(source);
  device_->SetBuffer(source, buffer);
}

void Mixer::SetLooping(uint32_t source, bool looping) {
  Source* s = find(source);
  if (s == nullptr) return;
  s->looping = looping;
  // A stream loops by its worker's seek; the device source itself never loops.
  if (s->kind != Source::Kind::kStream) device_->SetLooping(source, looping);
}

void Mixer::send_gain(Source& s) {
  const bool heard = !s.silent && (s.mask & kOutputMask) != 0;
  device_->SetGain(s.id, heard ? s.gain : 0.0f);
}

void Mixer::SetGain(uint32_t source, float gain) {
  Source* s = find(source);
  if (s == nullptr) return;
  s->gain = gain;
  send_gain(*s);
}

void Mixer::SetPitch(uint32_t source, float pitch) {
  Source* s = find(source);
  if (s == nullptr) return;
  s->pitch = pitch;
  device_->SetPitch(source, pitch);
}

void Mixer::SetSecondsOffset(uint32_t source, float seconds) {
  Source* s = find(source);
  if (s == nullptr || s->kind == Source::Kind::kStream) return;
  // The offset counts from the start of the whole queue; past its end nothing changes, as the
  // device refuses it too.
  double remaining = std::max(0.0, static_cast<double>(seconds));
  for (int32_t i = 0; i < clip_count(*s); ++i) {
    const double clip_seconds = static_cast<double>(clip_frames(*s, i)) / clip_rate(*s, i);
    if (remaining < clip_seconds) {
      s->index = i;
      s->frame = remaining * clip_rate(*s, i);
      device_->SetSecondsOffset(source, seconds);
      return;
    }
    remaining -= clip_seconds;
  }
}

void Mixer::SetPlacement(uint32_t source, const AudioSourcePlacement& placement) {
  if (find(source) != nullptr) device_->SetPlacement(source, placement);
}

void Mixer::SetPosition(uint32_t source, const float position[3], const float velocity[3]) {
  if (find(source) != nullptr) device_->SetPosition(source, position, velocity);
}

void Mixer::SetSilent(uint32_t source, bool silent) {
  Source* s = find(source);
  if (s == nullptr) return;
  s->silent = silent;
  send_gain(*s);
}

void Mixer::Play(uint32_t source) {
  Source* s = find(source);
  if (s == nullptr) return;
  if (s->kind == Source::Kind::kStream) {
    // A stream's device is its worker's: only a pause ends here.
    if (s->state == kSourcePaused) s->state = kSourcePlaying;
    return;
  }
  s->mask = current_mask_;
  send_gain(*s);
  // Playing from the stopped or initial state, or again while playing, starts from the top.
  if (s->state != kSourcePaused) {
    s->index = s->state == kSourceInitial ? s->index : 0;
    s->frame = s->state == kSourceInitial ? s->frame : 0.0;
  }
  s->state = clip_count(*s) > 0 || s->kind == Source::Kind::kStream ? kSourcePlaying : kSourceStopped;
  if (!s->start_pending) {
    s->start_pending = true;
    pending_starts_.push_back(source);
  }
}

void Mixer::Pause(uint32_t source) {
  Source* s = find(source);
  if (s == nullptr) return;
  if (s->start_pending) Flush();
  if (s->state == kSourcePlaying) s->state = kSourcePaused;
  if (s->kind != Source::Kind::kStream) device_->Pause(source);
}

void Mixer::Stop(uint32_t source) {
  Source* s = find(source);
  if (s == nullptr) return;
  cancel_start(*s);
  if (s->state != kSourceInitial) {
    s->state = kSourceStopped;
    s->index = clip_count(*s);
    s->frame = 0.0;
  }
  if (s->kind != Source::Kind::kStream) device_->Stop(source);
}

void Mixer::Queue(uint32_t source, uint32_t buffer) {
  Source* s = find(source);
  if (s == nullptr || buffers_.count(buffer) == 0) return;
  s->kind = Source::Kind::kBuffer;
  s->queue = true;
  s->clips.push_back(buffer);
  device_->Queue(source, &buffer, 1);
}

std::vector<uint32_t> Mixer::UnqueueProcessed(uint32_t source) {
  std::vector<uint32_t> done;
  Source* s = find(source);
  if (s == nullptr) return done;
  const int32_t processed = std::min(s->index, clip_count(*s));
  done.assign(s->clips.begin(), s->clips.begin() + processed);
  s->clips.erase(s->clips.begin(), s->clips.begin() + processed);
  s->index -= processed;
  return done;
}

void Mixer::StreamStarted(uint32_t source, int64_t frames, int32_t rate, int64_t start_frame, bool looping, bool paused) {
  Source* s = find(source);
  if (s == nullptr) return;
  cancel_start(*s);
  s->kind = Source::Kind::kStream;
  s->queue = false;
  s->clips.clear();
  s->index = 0;
  s->stream_frames = frames;
  s->stream_rate = rate > 0 ? rate : 44100;
  s->frame = static_cast<double>(std::max<int64_t>(0, start_frame));
  if (frames >= 0 && s->frame >= static_cast<double>(frames)) s->frame = 0.0;
  s->looping = looping;
  s->mask = current_mask_;
  send_gain(*s);
  s->state = paused ? kSourcePaused : kSourcePlaying;
}

int32_t Mixer::clip_count(const Source& s) const {
  if (s.kind == Source::Kind::kStream) return 1;
  return static_cast<int32_t>(s.clips.size());
}

int64_t Mixer::clip_frames(const Source& s, int32_t index) const {
  if (s.kind == Source::Kind::kStream) return s.stream_frames;
  auto it = buffers_.find(s.clips[static_cast<size_t>(index)]);
  return it != buffers_.end() ? it->second.frames() : 0;
}

int32_t Mixer::clip_rate(const Source& s, int32_t index) const {
  if (s.kind == Source::Kind::kStream) return s.stream_rate;
  auto it = buffers_.find(s.clips[static_cast<size_t>(index)]);
  return it != buffers_.end() && it->second.frequency > 0 ? it->second.frequency : 44100;
}

int32_t Mixer::State(uint32_t source) const {
  const Source* s = find(source);
  return s != nullptr ? s->state : kSourceStopped;
}

bool Mixer::IsPlayingOrPaused(uint32_t source) const {
  const int32_t state = State(source);
  return state == kSourcePlaying || state == kSourcePaused;
}

double Mixer::OffsetSeconds(uint32_t source) const {
  const Source* s = find(source);
  if (s == nullptr || s->index >= clip_count(*s) || s->state == kSourceStopped) return 0.0;
  return s->frame / clip_rate(*s, s->index);
}

int32_t Mixer::BuffersQueued(uint32_t source) const {
  const Source* s = find(source);
  return s != nullptr && s->kind == Source::Kind::kBuffer ? static_cast<int32_t>(s->clips.size()) : 0;
}

int32_t Mixer::BuffersProcessed(uint32_t source) const {
  const Source* s = find(source);
  return s != nullptr && s->kind == Source::Kind::kBuffer ? std::min(s->index, clip_count(*s)) : 0;
}

float Mixer::Gain(uint32_t source) const {
  const Source* s = find(source);
  return s != nullptr ? s->gain : 0.0f;
}

float Mixer::Pitch(uint32_t source) const {
  const Source* s = find(source);
  return s != nullptr ? s->pitch : 1.0f;
}

uint32_t Mixer::Mask(uint32_t source) const {
  const Source* s = find(source);
  return s != nullptr ? s->mask : 0;
}

AudioSourceStatus Mixer::DeviceStatus(uint32_t source) {
  return device_ != nullptr ? device_->Status(source) : AudioSourceStatus{};
}

void Mixer::SetListener(const AudioListenerState& listener) {
  if (device_ != nullptr) device_->SetListener(listener);
}

void Mixer::SetDistanceModel(int32_t model) {
  if (device_ != nullptr) device_->SetDistanceModel(model);
}

void Mixer::Flush() {
  if (pending_starts_.empty()) return;
  for (uint32_t id : pending_starts_) {
    Source* s = find(id);
    if (s == nullptr) continue;
    s->start_pending = false;
    // A stopped queue would start again from the buffers it has played.
    if (s->queue && device_->Status(id).state == kSourceStopped) drop_played(id);
  }
  device_->Play(pending_starts_.data(), static_cast<int32_t>(pending_starts_.size()));
  pending_starts_.clear();
}

void Mixer::advance_source(Source& s, double micros) {
  // Frames of the clip at hand pass at its rate times the pitch; at a clip's end the next one
  // follows, and past the last the source loops or stops.
  double seconds = micros / 1000000.0 * std::max(0.0f, s.pitch);
  int32_t wraps = 0;
  while (seconds > 0.0 && s.state == kSourcePlaying) {
    if (s.index >= clip_count(s)) {
      if (!s.looping || clip_count(s) == 0 || ++wraps > 2) {
        s.state = kSourceStopped;
        s.index = clip_count(s);
        s.frame = 0.0;
        break;
      }
      s.index = 0;
      s.frame = 0.0;
    }
    const int64_t length = clip_frames(s, s.index);
    const int32_t rate = clip_rate(s, s.index);
    if (length < 0) break;  // a stream of unknown length plays until it is stopped
    const double left = (static_cast<double>(length) - s.frame) / rate;
    if (seconds < left) {
      s.frame += seconds * rate;
      break;
    }
    seconds -= std::max(0.0, left);
    s.frame = 0.0;
    ++s.index;
    if (s.index >= clip_count(s) && s.looping && clip_count(s) > 0) {
      // Loops of a very short clip in one long step: skip whole rounds at once.
      double round = 0.0;
      for (int32_t i = 0; i < clip_count(s); ++i) round += static_cast<double>(clip_frames(s, i)) / clip_rate(s, i);
      if (round > 0.0) seconds = std::fmod(seconds, round);
      s.index = 0;
      wraps = 0;
    }
  }
}

void Mixer::Advance(int64_t micros) {
  if (micros > 0) {
    for (auto& [id, source] : sources_) advance_source(*source, static_cast<double>(micros));
  }
  for (auto it = doomed_buffers_.begin(); it != doomed_buffers_.end();) {
    it = device_ != nullptr && device_->DeleteBuffer(*it) ? doomed_buffers_.erase(it) : it + 1;
  }
  // Queued buffers the device has played through leave its queue; the model keeps its own count.
  if (device_ == nullptr) return;
  for (auto& [id, source] : sources_) {
    if (source->queue) drop_played(id);
  }
}

void Mixer::drop_played(uint32_t source) {
  uint32_t done[32];
  while (device_->Unqueue(source, done, 32) == 32) {
  }
}

int32_t Mixer::TakeError() { return device_ != nullptr ? device_->TakeError() : 0; }
const char* Mixer::ErrorText(int32_t code) { return device_ != nullptr ? device_->ErrorText(code) : ""; }

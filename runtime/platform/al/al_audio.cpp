// OpenAL Soft behind IAudioDevice.
#include "platform/al/al_audio.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

// Keeps stderr quiet while a device is probed: without a card the sound libraries print several
// lines each, and the runner reports the missing output once on its own console.
class QuietStderr {
 public:
  QuietStderr() {
    std::fflush(stderr);
    saved_ = dup(STDERR_FILENO);
    const int null_fd = open("/dev/null", O_WRONLY);
    if (saved_ >= 0 && null_fd >= 0) dup2(null_fd, STDERR_FILENO);
    if (null_fd >= 0) close(null_fd);
  }
  ~QuietStderr() {
    if (saved_ < 0) return;
    std::fflush(stderr);
    dup2(saved_, STDERR_FILENO);
    close(saved_);
  }
  QuietStderr(const QuietStderr&) = delete;
  QuietStderr& operator=(const QuietStderr&) = delete;

 private:
  int saved_ = -1;
};

ALenum buffer_format(int32_t channels, int32_t bits) {
  if (channels == 1) return bits == 8 ? AL_FORMAT_MONO8 : AL_FORMAT_MONO16;
  return bits == 8 ? AL_FORMAT_STEREO8 : AL_FORMAT_STEREO16;
}

class AlCapture final : public IAudioCapture {
 public:
  explicit AlCapture(ALCdevice* device) : device_(device) {}
  ~AlCapture() override {
    alcCaptureStop(device_);
    alcCaptureCloseDevice(device_);
  }
  AlCapture(const AlCapture&) = delete;
  AlCapture& operator=(const AlCapture&) = delete;

  bool Start() override {
    alcCaptureStart(device_);
    return alcGetError(device_) == ALC_NO_ERROR;
  }
  void Stop() override { alcCaptureStop(device_); }
  int32_t Available() override {
    ALCint frames = 0;
    alcGetIntegerv(device_, ALC_CAPTURE_SAMPLES, 1, &frames);
    return frames;
  }
  bool Read(int16_t* out, int32_t frames) override {
    alcCaptureSamples(device_, out, frames);
    return alcGetError(device_) == ALC_NO_ERROR;
  }

 private:
  ALCdevice* device_;
};

class AlAudioDevice final : public IAudioDevice {
 public:
  AlAudioDevice(ALCdevice* device, ALCcontext* context, bool loopback, int32_t rate)
      : device_(device), context_(context), loopback_(loopback), rate_(rate) {
    // Sources choose their own distance model; the listener's is the default for the rest.
    if (alIsExtensionPresent("AL_EXT_source_distance_model")) alEnable(AL_SOURCE_DISTANCE_MODEL);
    alGetError();
  }
  ~AlAudioDevice() override {
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(context_);
    alcCloseDevice(device_);
  }
  AlAudioDevice(const AlAudioDevice&) = delete;
  AlAudioDevice& operator=(const AlAudioDevice&) = delete;

  bool loopback() const { return loopback_; }
  void Render(float* out, int32_t frames) {
    static const auto render =
        reinterpret_cast<LPALCRENDERSAMPLESSOFT>(alcGetProcAddress(device_, "alcRenderSamplesSOFT"));
    render(device_, out, frames);
  }

  std::string Name() const override {
    const ALCchar* name = alcGetString(device_, ALC_DEVICE_SPECIFIER);
    return name != nullptr ? name : "";
  }
  int32_t OutputRate() const override { return rate_; }

  uint32_t NewSource() override {
    ALuint id = 0;
    alGenSources(1, &id);
    return alGetError() == AL_NO_ERROR ? id : 0;
  }
  void DeleteSource(uint32_t source) override {
    const ALuint id = source;
    alSourceStop(id);
    alSourcei(id, AL_BUFFER, 0);
    alDeleteSources(1, &id);
  }
  uint32_t NewBuffer() override {
    ALuint id = 0;
    alGenBuffers(1, &id);
    return alGetError() == AL_NO_ERROR ? id : 0;
  }
  bool DeleteBuffer(uint32_t buffer) override {
    const ALenum before = alGetError();
    const ALuint id = buffer;
    alDeleteBuffers(1, &id);
    const bool ok = alGetError() == AL_NO_ERROR;
    keep_error(before);
    return ok;
  }
  bool BufferData(uint32_t buffer, int32_t channels, int32_t bits, const void* bytes, int32_t size,
                  int32_t rate) override {
    const ALenum before = alGetError();
    alBufferData(buffer, buffer_format(channels, bits), bytes, size, rate);
    const bool ok = alGetError() == AL_NO_ERROR;
    keep_error(before);
    return ok;
  }

  void SetBuffer(uint32_t source, uint32_t buffer) override { alSourcei(source, AL_BUFFER, static_cast<ALint>(buffer)); }
  void SetLooping(uint32_t source, bool looping) override { alSourcei(source, AL_LOOPING, looping ? AL_TRUE : AL_FALSE); }
  void SetGain(uint32_t source, float gain) override { alSourcef(source, AL_GAIN, gain); }
  void SetPitch(uint32_t source, float pitch) override { alSourcef(source, AL_PITCH, pitch); }
  void SetSecondsOffset(uint32_t source, float seconds) override { alSourcef(source, AL_SEC_OFFSET, seconds); }
  void SetPlacement(uint32_t source, const AudioSourcePlacement& p) override {
    alSourcei(source, AL_SOURCE_RELATIVE, p.relative ? AL_TRUE : AL_FALSE);
    alSourcefv(source, AL_POSITION, p.position);
    alSourcefv(source, AL_VELOCITY, p.velocity);
    alSourcef(source, AL_REFERENCE_DISTANCE, p.referenceDistance);
    alSourcef(source, AL_MAX_DISTANCE, p.maxDistance);
    alSourcef(source, AL_ROLLOFF_FACTOR, p.rolloff);
    alSourcei(source, AL_DISTANCE_MODEL, p.distanceModel);
  }
  void SetPosition(uint32_t source, const float position[3], const float velocity[3]) override {
    alSourcefv(source, AL_POSITION, position);
    alSourcefv(source, AL_VELOCITY, velocity);
  }
  void Play(const uint32_t* sources, int32_t count) override {
    if (count > 0) alSourcePlayv(count, sources);
  }
  void Pause(uint32_t source) override { alSourcePause(source); }
  void Stop(uint32_t source) override { alSourceStop(source); }
  void Rewind(uint32_t source) override { alSourceRewind(source); }
  void Queue(uint32_t source, const uint32_t* buffers, int32_t count) override {
    if (count > 0) alSourceQueueBuffers(source, count, buffers);
  }
  int32_t Unqueue(uint32_t source, uint32_t* buffers, int32_t count) override {
    ALint processed = 0;
    alGetSourcei(source, AL_BUFFERS_PROCESSED, &processed);
    const int32_t n = processed < count ? processed : count;
    if (n > 0) alSourceUnqueueBuffers(source, n, buffers);
    return n;
  }
  AudioSourceStatus Status(uint32_t source) override {
    AudioSourceStatus status;
    if (!alIsSource(source)) return status;
    alGetSourcei(source, AL_SOURCE_STATE, &status.state);
    alGetSourcei(source, AL_BUFFERS_QUEUED, &status.queued);
    alGetSourcei(source, AL_BUFFERS_PROCESSED, &status.processed);
    alGetSourcei(source, AL_SAMPLE_OFFSET, &status.sampleOffset);
    return status;
  }

  void SetListener(const AudioListenerState& l) override {
    alListenerfv(AL_POSITION, l.position);
    alListenerfv(AL_VELOCITY, l.velocity);
    const float orientation[6] = {l.lookAt[0], l.lookAt[1], l.lookAt[2], l.up[0], l.up[1], l.up[2]};
    alListenerfv(AL_ORIENTATION, orientation);
    alListenerf(AL_GAIN, l.gain);
  }
  void SetDistanceModel(int32_t model) override { alDistanceModel(model); }

  int32_t TakeError() override {
    const ALenum pending = pending_.exchange(AL_NO_ERROR);
    return pending != AL_NO_ERROR ? pending : alGetError();
  }
  const char* ErrorText(int32_t code) override {
    const ALchar* text = alGetString(code);
    return text != nullptr ? text : "unknown error";
  }

  std::vector<std::string> CaptureDevices() override {
    std::vector<std::string> names;
    const ALCchar* list = nullptr;
    {
      QuietStderr quiet;
      list = alcGetString(nullptr, ALC_CAPTURE_DEVICE_SPECIFIER);
    }
    // A list of names, each ended by a NUL, the whole list by a second one.
    for (const ALCchar* name = list; name != nullptr && *name != '\0'; name += std::strlen(name) + 1) {
      names.emplace_back(name);
    }
    return names;
  }
  std::unique_ptr<IAudioCapture> OpenCapture(const std::string& name, int32_t rate, int32_t channels) override {
    ALCdevice* capture = nullptr;
    {
      QuietStderr quiet;
      capture = alcCaptureOpenDevice(name.c_str(), static_cast<ALCuint>(rate),
                                     channels == 2 ? AL_FORMAT_STEREO16 : AL_FORMAT_MONO16, rate);
    }
    if (capture == nullptr) return nullptr;
    return std::make_unique<AlCapture>(capture);
  }

 private:
  // A check of our own must not swallow an error the audio layer has yet to report.
  void keep_error(ALenum before) {
    ALenum none = AL_NO_ERROR;
    if (before != AL_NO_ERROR) pending_.compare_exchange_strong(none, before);
  }

  ALCdevice* device_;
  ALCcontext* context_;
  bool loopback_;
  int32_t rate_;
  std::atomic<ALenum> pending_{AL_NO_ERROR};
};

std::unique_ptr<IAudioDevice> make_device(ALCdevice* device, const ALCint* attributes, bool loopback,
                                          std::string* error) {
  ALCcontext* context = alcCreateContext(device, attributes);
  if (context == nullptr || alcMakeContextCurrent(context) == ALC_FALSE) {
    if (context != nullptr) alcDestroyContext(context);
    alcCloseDevice(device);
    if (error != nullptr) *error = "the audio context could not be made";
    return nullptr;
  }
  ALCint rate = 44100;
  alcGetIntegerv(device, ALC_FREQUENCY, 1, &rate);
  return std::make_unique<AlAudioDevice>(device, context, loopback, rate);
}

}  // namespace

std::unique_ptr<IAudioDevice> AlAudio_OpenDefault(std::string* error) {
  ALCdevice* device = nullptr;
  {
    QuietStderr quiet;
    device = alcOpenDevice(nullptr);
  }
  if (device == nullptr) {
    if (error != nullptr) *error = "no audio output device";
    return nullptr;
  }
  return make_device(device, nullptr, false, error);
}

AudioPlatform AlAudio_Platform() { return AudioPlatform{AlAudio_OpenDefault}; }

std::unique_ptr<IAudioDevice> AlAudio_OpenLoopback(int32_t rate, std::string* error) {
  const auto open = reinterpret_cast<LPALCLOOPBACKOPENDEVICESOFT>(alcGetProcAddress(nullptr, "alcLoopbackOpenDeviceSOFT"));
  ALCdevice* device = open != nullptr ? open(nullptr) : nullptr;
  if (device == nullptr) {
    if (error != nullptr) *error = "the loopback device is not available";
    return nullptr;
  }
  const ALCint attributes[] = {ALC_FORMAT_CHANNELS_SOFT, ALC_STEREO_SOFT, ALC_FORMAT_TYPE_SOFT, ALC_FLOAT_SOFT,
                               ALC_FREQUENCY,            rate,            ALC_HRTF_SOFT,        ALC_FALSE,
                               0};
  return make_device(device, attributes, true, error);
}

bool AlAudio_Render(IAudioDevice* device, float* out, int32_t frames) {
  auto* al = dynamic_cast<AlAudioDevice*>(device);
  if (al == nullptr || !al->loopback()) return false;
  al->Render(out, frames);
  return true;
}

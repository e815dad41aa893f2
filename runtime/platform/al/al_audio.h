#pragma once
// The mixing layer on OpenAL Soft. One device with one context, current for the whole process, so
// the audio workers share it. Two ways to open it: the system's default output, mixed by OpenAL
// Soft's own thread at the pace of real time (ALSOFT_DRIVERS=null gives its silent null output),
// and a loopback device that mixes into memory only when asked, for tests and benchmarks.
#include <memory>
#include <string>

#include "platform/audio_device.h"

// The default output; null with the reason when there is none (no sound card). The libraries'
// own complaints about a missing card are kept off stderr: the runner says it once.
std::unique_ptr<IAudioDevice> AlAudio_OpenDefault(std::string* error);
AudioPlatform AlAudio_Platform();

// A loopback device mixing interleaved 32-bit float stereo at `rate`.
std::unique_ptr<IAudioDevice> AlAudio_OpenLoopback(int32_t rate, std::string* error);
// Mixes `frames` stereo frames into out (2 x frames floats). False for a device that isn't a
// loopback device of this backend.
bool AlAudio_Render(IAudioDevice* device, float* out, int32_t frames);

#pragma once
// COggAudio: compressed sounds decoded while they play. Four workers ("OggThread"); a source's
// channel belongs to worker source % 4, slot source / 4, and is made with its worker at the first
// use. A worker passes over its channels every 16 ms: it takes the main thread's requests, refills
// and requeues each played 16384-byte block, loops with a seek to the stream's start, and closes
// a stream whose source ran dry at its end. A worker that can't be started is replaced by the main
// thread's polling in OggAudio_Tick.
//
// The main thread talks to a worker only through the request word and its copies, under the
// worker's "OggMutex"; stopping and pausing also wait for the channel's pass to end, so that once
// they return the source is the caller's again. What scripts see of a stream (its position, its
// end) is the mixing layer's model (audio/mixer.h), not the workers' progress.
#include <cstdint>
#include <string>

#include "audio/asset_sounds.h"

class Mixer;
class IAudioDevice;

constexpr int32_t kOggWorkers = 4;
constexpr int32_t kOggBlockBytes = 16384;

// The source table the channels serve: `count` sources, ids in `sources`.
void OggAudio_Init(IAudioDevice* device, const uint32_t* sources, int32_t count);
// Stops every channel and worker and forgets the source table.
void OggAudio_Shutdown();

// Starts `sound` on the channel of source `index` from `start_seconds`; `paused` leaves it ready
// but silent until resumed. False, with the console line, when no worker can take it.
bool OggAudio_Play(int32_t index, const cAudio_Sound* sound, double start_seconds, bool loop, bool paused);
// Stops the channel and takes its buffers off the source. Waits for the channel's pass.
void OggAudio_Stop(int32_t index);
void OggAudio_SetPaused(int32_t index, bool paused);
// Moves a playing channel to `seconds`, paused again if it was.
void OggAudio_Seek(int32_t index, double seconds);
// Whether a channel is decoding, or has a start waiting.
bool OggAudio_Busy(int32_t index);
// Stops every channel playing `sound` (before its bytes go away).
void OggAudio_StopSound(const cAudio_Sound* sound);
bool OggAudio_UsesSound(const cAudio_Sound* sound);
// Whether the channel ran to its end since the last call; clears the mark.
bool OggAudio_TakeFinished(int32_t index);
// Runs the pass of workers that couldn't be started.
void OggAudio_Tick();

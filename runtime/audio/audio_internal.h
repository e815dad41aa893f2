#pragma once
// The audio engine's shared state and the operations its files share: voices and their sources,
// emitters, the listener, the sound registry of every id range, and the ids' lookups. Main thread
// only, except where a function says otherwise.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/audio.h"

#include "audio/asset_sounds.h"
#include "audio/mixer.h"

// ---- Id ranges --------------------------------------------------------------------------------
constexpr int32_t kBufferSoundBase = 100000;
constexpr int32_t kQueueBase = 200000;
constexpr int32_t kStreamBase = 300000;
constexpr int32_t BaseVoiceId = 400000;
constexpr uint32_t DefaultListenerMask = 1;
constexpr int32_t kDefaultVoiceCount = 128;

struct CEmitter;

struct CNoise {
  bool active = false;
  uint8_t stopping = 0;  // frames since the stop began; 0 not stopping
  bool ogg = false;      // plays through the streaming workers
  bool stopped = false;  // a hard stop was asked
  int32_t source = -1;   // index in Voices and Sources
  int32_t id = 0;
  int32_t sound = -1;
  float priority = 1.0f;
  bool loop = false;
  float gain = 1.0f;
  float offset = -1.0f;  // start in seconds; -1 takes the sound's trackPosition
  float pitch = 1.0f;
  uint32_t listenerMask = DefaultListenerMask;
  float gainStart = 0.0f, gainTarget = 0.0f;
  int64_t gainStartTime = 0, gainEndTime = 0;
  CEmitter* emitter = nullptr;
  int32_t syncGroup = -1;  // the sync group it plays in, -1 for none
};

struct CEmitter {
  float x = 0.0f, y = 0.0f, z = 0.0f;
  float vx = 0.0f, vy = 0.0f, vz = 0.0f;
  float falloffRef = 100.0f, falloffMax = 100000.0f, falloffFactor = 1.0f;
  float gain = 1.0f, pitch = 1.0f;
  bool active = false;
  uint32_t listenerMask = DefaultListenerMask;
  std::vector<CNoise*> voices;
};

struct AudioListener {
  AudioListenerState state;
  uint32_t mask = DefaultListenerMask;
};

struct AudioState {
  bool enabled = false;  // AudioEnabled: off with -noaudio or without an output
  Mixer mixer;
  std::vector<std::unique_ptr<CNoise>> voices;  // Voices; never shrinks while playing
  std::vector<uint32_t> sources;                // Sources: the mixing layer's ids
  int32_t sourceCount = kDefaultVoiceCount;
  int32_t maxVoices = kDefaultVoiceCount;
  int32_t lastVoiceId = BaseVoiceId;
  std::vector<std::unique_ptr<CEmitter>> emitters;  // null holes; the index is the script's id
  AudioListener listener;
  int32_t falloffModel = 0;  // AudioFalloffModel, 0 to 8
  int64_t tickTime = 0;      // AudioTickTime, microseconds of the one clock
  std::string gameDirectory;
  std::vector<std::unique_ptr<cAudio_Sound>> bufferSounds;
  std::vector<std::unique_ptr<cAudio_Sound>> queues;
  std::vector<std::unique_ptr<cAudio_Sound>> streams;
};

AudioState& Audio();
inline bool Audio_On() { return Audio().enabled; }

// ---- Sounds ----------------------------------------------------------------------------------
// The sound of an id below BaseVoiceId in any range, or null.
cAudio_Sound* Audio_FindSound(int32_t id);
// The sound's name for messages: the asset name, or "" for the generated kinds.
const char* Audio_SoundName(int32_t id);
// Reads rate, channels and length of a compressed sound from its stream header, once.
bool Audio_ReadStreamHeader(cAudio_Sound* sound);
// Seconds of a sound: from its buffer or its stream header, cached; -1 when unknown.
double Audio_SoundLength(int32_t id);
// Whether its group is loaded (group 0 always is; sounds outside the asset range have none).
bool Audio_SoundGroupLoaded(int32_t id);
// PCM of a plain sound, decoded from its data (Ogg decompressed on load, or a WAVE image), with
// the console lines to print. Any thread: it only reads the sound's data.
struct DecodedSound {
  std::vector<uint8_t> pcm;
  int32_t rate = 0, channels = 1, bits = 16;
  std::vector<std::string> messages;
};
bool Audio_DecodeSound(const char* name, const cAudio_Sound* sound, DecodedSound* out);
// Main thread: prints the lines and makes the sound's buffer from what was decoded; a streamed
// sound only forgets its file path.
void Audio_UploadSound(cAudio_Sound* sound, const DecodedSound& decoded, bool ok);
// Both at once, for the asset `index`. False when the data gave no buffer.
bool Audio_PrepareSound(int32_t index, cAudio_Sound* sound);
// The file of a streamed sound or a stream: beside the game (with ".ogg" added if needed), else
// the name as it is.
std::string Audio_ResolvePath(const std::string& name);
// Releases what a sound's group gave it (kept buffers stay).
void Audio_ReleaseSoundData(cAudio_Sound* sound);

// ---- Voices ----------------------------------------------------------------------------------
enum class PlayKind { kPlain = 0, kAt = 1, kOn = 2 };
struct PlayParams {
  PlayKind kind = PlayKind::kPlain;
  int32_t sound = -1;
  int32_t emitter = -1;
  float priority = 0.0f;
  bool loop = false;
  float gain = 1.0f;
  float offset = -1.0f;
  float pitch = 1.0f;
  uint32_t listenerMask = DefaultListenerMask;
  float x = 0.0f, y = 0.0f, z = 0.0f;
  float falloffRef = 0.0f, falloffMax = 0.0f, falloffFactor = 1.0f;
};
// The voice id, or -1 with the console line of the failed check.
int32_t Audio_Play(const PlayParams& params);
// The active voice with that id that isn't being stopped, or null.
CNoise* Audio_FindVoice(int32_t id);
// The emitter in that slot, or null for an index out of range or a freed slot.
CEmitter* Audio_FindEmitter(int32_t index);
// Calls fn for each active voice of a sound id (a voice id: that voice) not being stopped.
template <class Fn>
void Audio_ForEachVoice(int32_t id, Fn&& fn) {
  if (id >= BaseVoiceId) {
    if (CNoise* voice = Audio_FindVoice(id)) fn(voice);
    return;
  }
  for (auto& voice : Audio().voices) {
    if (voice->active && voice->stopping == 0 && voice->sound == id) fn(voice.get());
  }
}
uint32_t Audio_VoiceSource(const CNoise* voice);
void Audio_StopVoiceSoft(CNoise* voice);
void Audio_StopVoiceHard(CNoise* voice);
void Audio_ClearVoice(CNoise* voice);
// Whether a voice still sounds: compressed voices while their stream plays, plain ones while
// their source plays or is paused.
bool Audio_VoicePlaying(const CNoise* voice);
bool Audio_VoicePaused(const CNoise* voice);
// The gains and pitches that reach the source: voice x sound x emitter.
void Audio_ApplyVoiceGain(CNoise* voice);
void Audio_ApplyVoicePitch(CNoise* voice);
void Audio_PauseVoice(CNoise* voice);
void Audio_ResumeVoice(CNoise* voice);
double Audio_VoicePosition(const CNoise* voice);
void Audio_SetVoicePosition(CNoise* voice, double seconds);
// audio_stop_all: every voice, soft.
void Audio_StopAllSoft();
// Stops every voice at once (room end of the game, channel count changes).
void Audio_StopAllHard();
// The current value of a gain ramp at `now`, ending it once it is past.
float Audio_RampGain(float* gain, float* start, float target, int64_t start_time, int64_t* end_time, int64_t now);
// Gain of a sound or a voice over time_ms (0: at once).
void Audio_SetSoundGain(int32_t id, float gain, int32_t time_ms);
// Makes the sources and the voice table again with `count` sources.
void Audio_MakeChannels(int32_t count);
void Audio_TickVoices(int64_t now);
// Streamed voices that ran out, and destroyed streams that no voice plays any more.
void Audio_TickStreams();
// The mixing layer's value of AudioFalloffModel.
int32_t Audio_DistanceModel();
void Audio_TickEmitters();
void Audio_FreeVoices();

// Where an emitter's voices sit: its position, velocity and falloff, the current distance model.
AudioSourcePlacement Audio_EmitterPlacement(const CEmitter* emitter);

// The lowest free slot of a table with holes (a new one at the end when full).
template <class T>
size_t Audio_FreeSlot(std::vector<std::unique_ptr<T>>& table) {
  for (size_t i = 0; i < table.size(); ++i) {
    if (table[i] == nullptr) return i;
  }
  table.emplace_back();
  return table.size() - 1;
}

// ---- Current time ------------------------------------------------------------------------------
// Microseconds of the one clock, for gain ramps.
int64_t Audio_Now();

// ---- Asynchronous events -----------------------------------------------------------------------
constexpr int32_t kAsyncSaveLoad = 72;
constexpr int32_t kAsyncAudioRecording = 73;
constexpr int32_t kAsyncAudioPlayback = 74;
struct AsyncField {
  const char* key;
  double number;
  const char* text;  // null for a number
};
// A new ds_map holding the fields; its id.
int32_t Audio_NewMap(const std::vector<AsyncField>& fields);
// Queues an asynchronous event of `subtype` whose map holds the fields.
void Audio_QueueAsync(int32_t subtype, const std::vector<AsyncField>& fields);

// ---- Groups, generated sound, sync groups, recording ---------------------------------------------
void AudioGroups_Reset();
void AudioGroups_Tick();
void AudioGroups_Shutdown();
bool AudioGroups_IsLoaded(int32_t group);

void GeneratedSound_Tick();
void GeneratedSound_FreeAll();
// Tells a queue that its voice was cleared.
void GeneratedSound_QueueVoiceCleared(int32_t queue_id);

void SyncGroups_FreeAll();
void SyncGroups_Tick();
void Recording_Tick();
void Recording_FreeAll();

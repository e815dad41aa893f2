// The audio builtins of sounds and voices: playing, stopping, pausing, gains, pitches, positions,
// the older music names, groups and generated sounds.
#include <algorithm>

#include "audio/audio_generated.h"
#include "audio/audio_groups.h"
#include "audio/audio_internal.h"
#include "audio/fn_audio_support.h"
#include "core/console.h"
#include "core/error.h"

using namespace audio_fn;

namespace {

constexpr float kMinPitch = 0.0039f;
constexpr float kMaxPitch = 256.0f;

int32_t g_music_voice = -1;  // the voice of audio_play_music

// A play builtin's call: false with the error when fewer than `required` arguments are given.
bool play_arguments(const char* name, int required, int argc) {
  if (argc >= required) return true;
  KVError("%s requires at least %d arguments", name, required);
  return false;
}

// Reads the optional gain, offset, pitch and listener mask that follow the `first` required
// arguments (undefined keeps the default), and plays.
void play(RValue* result, int argc, const RValue* argv, int first, PlayParams p) {
  if (Given(argc, argv, first)) p.gain = Float(argc, argv, first);
  if (Given(argc, argv, first + 1)) p.offset = Float(argc, argv, first + 1);
  if (Given(argc, argv, first + 2)) p.pitch = Float(argc, argv, first + 2);
  if (Given(argc, argv, first + 3)) p.listenerMask = static_cast<uint32_t>(KVGetInt64(argv, first + 3));
  Real(result, Audio_Play(p));
}

AUDIO_FN(F_AudioPlaySound) {
  if (!play_arguments("audio_play_sound", 3, argc)) return;
  PlayParams p;
  p.sound = KVGetInt32(argv, 0);
  p.priority = static_cast<float>(KVGetReal(argv, 1));
  p.loop = KVGetBool(argv, 2);
  play(result, argc, argv, 3, p);
}

AUDIO_FN(F_AudioPlaySoundOn) {
  if (!play_arguments("audio_play_sound_on", 4, argc)) return;
  PlayParams p;
  p.kind = PlayKind::kOn;
  p.emitter = KVGetInt32(argv, 0);
  p.sound = KVGetInt32(argv, 1);
  p.loop = KVGetBool(argv, 2);
  p.priority = static_cast<float>(KVGetReal(argv, 3));
  if (const CEmitter* e = Audio_FindEmitter(p.emitter)) p.listenerMask = e->listenerMask;
  play(result, argc, argv, 4, p);
}

AUDIO_FN(F_AudioPlaySoundAt) {
  if (!play_arguments("audio_play_sound_at", 9, argc)) return;
  PlayParams p;
  p.kind = PlayKind::kAt;
  p.sound = KVGetInt32(argv, 0);
  p.x = KVGetFloat(argv, 1);
  p.y = KVGetFloat(argv, 2);
  p.z = KVGetFloat(argv, 3);
  p.falloffRef = KVGetFloat(argv, 4);
  p.falloffMax = KVGetFloat(argv, 5);
  p.falloffFactor = KVGetFloat(argv, 6);
  p.loop = KVGetBool(argv, 7);
  p.priority = KVGetFloat(argv, 8);
  play(result, argc, argv, 9, p);
}

AUDIO_FN(F_AudioStopSound) {
  if (!Audio_On()) return;
  const int32_t id = Int(argc, argv, 0);
  if (id >= BaseVoiceId) {
    if (CNoise* voice = Audio_FindVoice(id)) Audio_StopVoiceSoft(voice);
    return;
  }
  for (auto& voice : Audio().voices) {
    if (voice->active && !voice->stopped && voice->sound == id) Audio_StopVoiceSoft(voice.get());
  }
}

AUDIO_FN(F_AudioStopAll) {
  if (Audio_On()) Audio_StopAllSoft();
}

AUDIO_FN(F_AudioExists) {
  if (!Audio_On()) return Real(result, 0);
  const int32_t id = Int(argc, argv, 0);
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    const cAudio_Sound* sound = voice != nullptr ? Audio_FindSound(voice->sound) : nullptr;
    const bool sounding = sound != nullptr &&
                          (sound->IsCompressed() || Audio().mixer.IsPlayingOrPaused(Audio_VoiceSource(voice)));
    return Real(result, sounding ? 1 : 0);
  }
  if (id >= kBufferSoundBase && id < kQueueBase) return Real(result, 0);
  Real(result, Audio_FindSound(id) != nullptr ? 1 : 0);
}

AUDIO_FN(F_AudioSoundPitch) {
  if (!Audio_On()) return;
  const int32_t id = Int(argc, argv, 0);
  const float pitch = std::clamp(Float(argc, argv, 1), kMinPitch, kMaxPitch);
  if (id >= BaseVoiceId) {
    if (CNoise* voice = Audio_FindVoice(id)) {
      voice->pitch = pitch;
      Audio_ApplyVoicePitch(voice);
    }
    return;
  }
  cAudio_Sound* sound = Audio_FindSound(id);
  if (sound == nullptr) return;
  sound->pitch = pitch;
  Audio_ForEachVoice(id, [](CNoise* voice) { Audio_ApplyVoicePitch(voice); });
}

AUDIO_FN(F_AudioSoundLength) {
  if (!Audio_On()) return Real(result, -1);
  Real(result, Audio_SoundLength(Int(argc, argv, 0)));
}

AUDIO_FN(F_AudioSetMasterGain) {
  if (!Audio_On() || Int(argc, argv, 0) != 0) return;
  Audio().listener.state.gain = std::max(0.0f, Float(argc, argv, 1));
}

AUDIO_FN(F_AudioGetMasterGain) {
  Real(result, Audio_On() && Int(argc, argv, 0) == 0 ? Audio().listener.state.gain : 0.0);
}

AUDIO_FN(F_AudioMasterGain) {
  if (Audio_On()) Audio().listener.state.gain = std::max(0.0f, Float(argc, argv, 0));
}

template <bool Pause>
AUDIO_FN(F_AudioPauseSound) {
  if (!Audio_On()) return;
  Audio_ForEachVoice(Int(argc, argv, 0), [](CNoise* voice) { Pause ? Audio_PauseVoice(voice) : Audio_ResumeVoice(voice); });
}

template <bool Pause>
AUDIO_FN(F_AudioPauseAll) {
  if (!Audio_On()) return;
  for (auto& voice : Audio().voices) {
    if (!voice->active || voice->stopping > 0) continue;
    Pause ? Audio_PauseVoice(voice.get()) : Audio_ResumeVoice(voice.get());
  }
}

AUDIO_FN(F_AudioIsPlaying) {
  if (!Audio_On()) return Real(result, 0);
  bool playing = false;
  Audio_ForEachVoice(Int(argc, argv, 0), [&playing](CNoise* voice) { playing = playing || Audio_VoicePlaying(voice); });
  Real(result, playing ? 1 : 0);
}

AUDIO_FN(F_AudioIsPaused) {
  if (!Audio_On()) return Real(result, 0);
  bool paused = false;
  Audio_ForEachVoice(Int(argc, argv, 0), [&paused](CNoise* voice) { paused = paused || Audio_VoicePaused(voice); });
  Real(result, paused ? 1 : 0);
}

AUDIO_FN(F_AudioSoundIsPlayable) {
  if (!Audio_On()) return Real(result, 0);
  int32_t id = Int(argc, argv, 0);
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    id = voice != nullptr ? voice->sound : -1;
  }
  Real(result, Audio_FindSound(id) != nullptr && Audio_SoundGroupLoaded(id) ? 1 : 0);
}

AUDIO_FN(F_AudioSystemIsAvailable) { Real(result, Audio_On() ? 1 : 0); }
AUDIO_FN(F_AudioSystem) { Real(result, 1); }

// The sound an id names, through its voice for a voice id.
const cAudio_Sound* sound_of(int32_t id, int32_t* sound_id) {
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    if (voice == nullptr) return nullptr;
    id = voice->sound;
  }
  *sound_id = id;
  return Audio_FindSound(id);
}

AUDIO_FN(F_AudioGetType) {
  int32_t id = -1;
  const cAudio_Sound* sound = Audio_On() ? sound_of(Int(argc, argv, 0), &id) : nullptr;
  Real(result, sound == nullptr ? -1 : sound->streamed ? 1 : 0);
}

AUDIO_FN(F_AudioGetName) {
  int32_t id = -1;
  const cAudio_Sound* sound = Audio_On() ? sound_of(Int(argc, argv, 0), &id) : nullptr;
  RV_SetString(result, sound != nullptr ? Audio_SoundName(id) : "<undefined>");
}

AUDIO_FN(F_AudioSoundGain) {
  if (!Audio_On()) return;
  Audio_SetSoundGain(Int(argc, argv, 0), Float(argc, argv, 1), Int(argc, argv, 2));
}

AUDIO_FN(F_AudioSoundGetGain) {
  if (!Audio_On()) return Real(result, 0);
  const int32_t id = Int(argc, argv, 0);
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    return Real(result, voice != nullptr ? voice->gain : 0.0);
  }
  const cAudio_Sound* sound = Audio_FindSound(id);
  Real(result, sound != nullptr ? sound->gain : 0.0);
}

AUDIO_FN(F_AudioSoundGetPitch) {
  if (!Audio_On()) return Real(result, 1);
  const int32_t id = Int(argc, argv, 0);
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    return Real(result, voice != nullptr ? voice->pitch : 1.0);
  }
  const cAudio_Sound* sound = Audio_FindSound(id);
  Real(result, sound != nullptr ? sound->pitch : 1.0);
}

AUDIO_FN(F_AudioSoundSetTrackPosition) {
  if (!Audio_On()) return;
  const int32_t id = Int(argc, argv, 0);
  const double seconds = std::max(0.0, Num(argc, argv, 1));
  if (id >= BaseVoiceId) {
    if (CNoise* voice = Audio_FindVoice(id)) Audio_SetVoicePosition(voice, seconds);
    return;
  }
  cAudio_Sound* sound = Audio_FindSound(id);
  if (sound == nullptr) return;
  if (sound->isQueue) {
    g_ReleaseConsole->Output("Error: audio_sound_set_track_position not supported on sound queues.\n");
    return;
  }
  if (seconds < Audio_SoundLength(id)) sound->trackPosition = static_cast<float>(seconds);
}

AUDIO_FN(F_AudioSoundGetTrackPosition) {
  if (!Audio_On()) return Real(result, 0);
  const int32_t id = Int(argc, argv, 0);
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    return Real(result, voice != nullptr ? Audio_VoicePosition(voice) : 0.0);
  }
  const cAudio_Sound* sound = Audio_FindSound(id);
  Real(result, sound != nullptr ? sound->trackPosition : 0.0);
}

AUDIO_FN(F_AudioChannelNum) {
  if (!Audio_On()) return;
  const int32_t n = std::max(2, Int(argc, argv, 0));
  Audio_MakeChannels(n + n % 4);
}

AUDIO_FN(F_AudioFalloffSetModel) {
  if (!Audio_On()) return;
  const int32_t model = Int(argc, argv, 0);
  if (model < 0 || model > 8) {
    g_ReleaseConsole->Output("Attempting to set audio falloff to unknown model\n");
    return;
  }
  Audio().falloffModel = model;
  Audio().mixer.SetDistanceModel(Audio_DistanceModel());
}

// ---- Older names -------------------------------------------------------------------------------

AUDIO_FN(F_AudioPlayMusic) {
  if (!Audio_On()) return Real(result, -1);
  if (CNoise* old = Audio_FindVoice(g_music_voice)) Audio_StopVoiceSoft(old);
  PlayParams p;
  p.sound = Int(argc, argv, 0);
  p.loop = argc > 1 && KVGetBool(argv, 1);
  p.priority = 100.0f;
  g_music_voice = Audio_Play(p);
  Real(result, g_music_voice);
}

AUDIO_FN(F_AudioStopMusic) {
  if (CNoise* voice = Audio_On() ? Audio_FindVoice(g_music_voice) : nullptr) Audio_StopVoiceSoft(voice);
}

template <bool Pause>
AUDIO_FN(F_AudioPauseMusic) {
  if (CNoise* voice = Audio_On() ? Audio_FindVoice(g_music_voice) : nullptr) {
    Pause ? Audio_PauseVoice(voice) : Audio_ResumeVoice(voice);
  }
}

AUDIO_FN(F_AudioMusicIsPlaying) {
  const CNoise* voice = Audio_On() ? Audio_FindVoice(g_music_voice) : nullptr;
  Real(result, voice != nullptr && Audio_VoicePlaying(voice) ? 1 : 0);
}

AUDIO_FN(F_AudioMusicGain) {
  if (Audio_On() && Audio_FindVoice(g_music_voice) != nullptr) {
    Audio_SetSoundGain(g_music_voice, Float(argc, argv, 0), Int(argc, argv, 1));
  }
}

// ---- Groups ------------------------------------------------------------------------------------

AUDIO_FN(F_AudioGroupLoad) { Real(result, Audio_On() ? AudioGroup_LoadFile(Int(argc, argv, 0)) : 0); }
AUDIO_FN(F_AudioGroupUnload) { Real(result, Audio_On() ? AudioGroup_Unload(Int(argc, argv, 0)) : 0); }
AUDIO_FN(F_AudioGroupIsLoaded) { Real(result, Audio_On() && AudioGroups_IsLoaded(Int(argc, argv, 0)) ? 1 : 0); }
AUDIO_FN(F_AudioGroupLoadProgress) { Real(result, Audio_On() ? AudioGroup_Progress(Int(argc, argv, 0)) : 0); }

AUDIO_FN(F_AudioGroupName) {
  const char* name = Audio_On() ? AudioGroup_Name(Int(argc, argv, 0)) : nullptr;
  RV_SetString(result, name != nullptr ? name : "<undefined>");
}

AUDIO_FN(F_AudioGroupStopAll) {
  if (Audio_On()) AudioGroup_StopAll(Int(argc, argv, 0));
}

AUDIO_FN(F_AudioGroupSetGain) {
  if (Audio_On()) AudioGroup_SetGain(Int(argc, argv, 0), Float(argc, argv, 1), Int(argc, argv, 2));
}

// ---- Generated sound ---------------------------------------------------------------------------

AUDIO_FN(F_AudioCreateBufferSound) {
  if (!Audio_On()) return Real(result, -1);
  Real(result, BufferSound_Create(Int(argc, argv, 0), Int(argc, argv, 1), Int(argc, argv, 2), Int(argc, argv, 3),
                                  Int(argc, argv, 4), Int(argc, argv, 5)));
}

AUDIO_FN(F_AudioFreeBufferSound) {
  if (Audio_On()) BufferSound_Free(Int(argc, argv, 0));
}

AUDIO_FN(F_AudioCreatePlayQueue) {
  if (!Audio_On()) return Real(result, -1);
  Real(result, PlayQueue_Create(Int(argc, argv, 0), Int(argc, argv, 1), Int(argc, argv, 2)));
}

AUDIO_FN(F_AudioFreePlayQueue) {
  if (Audio_On()) PlayQueue_Free(Int(argc, argv, 0));
}

AUDIO_FN(F_AudioQueueSound) {
  if (!Audio_On()) return Real(result, -1);
  Real(result, PlayQueue_Add(Int(argc, argv, 0), Int(argc, argv, 1), Int(argc, argv, 2), Int(argc, argv, 3)));
}

AUDIO_FN(F_AudioCreateStream) {
  if (!Audio_On()) return Real(result, -1);
  Real(result, Stream_Create(argc > 0 ? KVGetString(argv, 0) : ""));
}

AUDIO_FN(F_AudioDestroyStream) {
  if (!Audio_On()) return Real(result, -1);
  Real(result, Stream_Destroy(Int(argc, argv, 0)));
}

}  // namespace

void Audio_RegisterSoundBuiltins() {
  Function_Add("audio_play_sound", F_AudioPlaySound, -1, 0);
  Function_Add("audio_play_sound_on", F_AudioPlaySoundOn, -1, 0);
  Function_Add("audio_play_sound_at", F_AudioPlaySoundAt, -1, 0);
  Function_Add("audio_stop_sound", F_AudioStopSound, 1, 0);
  Function_Add("audio_stop_all", F_AudioStopAll, 0, 0);
  Function_Add("audio_exists", F_AudioExists, 1, 0);
  Function_Add("audio_sound_pitch", F_AudioSoundPitch, 2, 0);
  Function_Add("audio_sound_length", F_AudioSoundLength, 1, 0);
  Function_Add("audio_set_master_gain", F_AudioSetMasterGain, 2, 0);
  Function_Add("audio_get_master_gain", F_AudioGetMasterGain, 1, 0);
  Function_Add("audio_master_gain", F_AudioMasterGain, 1, 0);
  Function_Add("audio_pause_sound", F_AudioPauseSound<true>, 1, 0);
  Function_Add("audio_resume_sound", F_AudioPauseSound<false>, 1, 0);
  Function_Add("audio_pause_all", F_AudioPauseAll<true>, 0, 0);
  Function_Add("audio_resume_all", F_AudioPauseAll<false>, 0, 0);
  Function_Add("audio_is_playing", F_AudioIsPlaying, 1, 0);
  Function_Add("audio_is_paused", F_AudioIsPaused, 1, 0);
  Function_Add("audio_sound_is_playable", F_AudioSoundIsPlayable, 1, 0);
  Function_Add("audio_system_is_available", F_AudioSystemIsAvailable, 0, 0);
  Function_Add("audio_system", F_AudioSystem, 0, 0);
  Function_Add("audio_get_type", F_AudioGetType, 1, 0);
  Function_Add("audio_get_name", F_AudioGetName, 1, 0);
  Function_Add("audio_sound_gain", F_AudioSoundGain, 3, 0);
  Function_Add("audio_sound_get_gain", F_AudioSoundGetGain, 1, 0);
  Function_Add("audio_sound_get_pitch", F_AudioSoundGetPitch, 1, 0);
  Function_Add("audio_sound_set_track_position", F_AudioSoundSetTrackPosition, 2, 0);
  Function_Add("audio_sound_get_track_position", F_AudioSoundGetTrackPosition, 1, 0);
  Function_Add("audio_channel_num", F_AudioChannelNum, 1, 0);
  Function_Add("audio_falloff_set_model", F_AudioFalloffSetModel, 1, 0);
  Function_Add("audio_play_music", F_AudioPlayMusic, 2, 0);
  Function_Add("audio_stop_music", F_AudioStopMusic, 0, 0);
  Function_Add("audio_pause_music", F_AudioPauseMusic<true>, 0, 0);
  Function_Add("audio_resume_music", F_AudioPauseMusic<false>, 0, 0);
  Function_Add("audio_music_is_playing", F_AudioMusicIsPlaying, 0, 0);
  Function_Add("audio_music_gain", F_AudioMusicGain, 2, 0);
  Function_Add("audio_group_load", F_AudioGroupLoad, 1, 0);
  Function_Add("audio_group_unload", F_AudioGroupUnload, 1, 0);
  Function_Add("audio_group_is_loaded", F_AudioGroupIsLoaded, 1, 0);
  Function_Add("audio_group_load_progress", F_AudioGroupLoadProgress, 1, 0);
  Function_Add("audio_group_name", F_AudioGroupName, 1, 0);
  Function_Add("audio_group_stop_all", F_AudioGroupStopAll, 1, 0);
  Function_Add("audio_group_set_gain", F_AudioGroupSetGain, 3, 0);
  Function_Add("audio_create_buffer_sound", F_AudioCreateBufferSound, 6, 0);
  Function_Add("audio_free_buffer_sound", F_AudioFreeBufferSound, 1, 0);
  Function_Add("audio_create_play_queue", F_AudioCreatePlayQueue, 3, 0);
  Function_Add("audio_free_play_queue", F_AudioFreePlayQueue, 1, 0);
  Function_Add("audio_queue_sound", F_AudioQueueSound, 4, 0);
  Function_Add("audio_create_stream", F_AudioCreateStream, 1, 0);
  Function_Add("audio_destroy_stream", F_AudioDestroyStream, 1, 0);
}

void Audio_RegisterBuiltins() {
  Audio_RegisterSoundBuiltins();
  Audio_RegisterSpaceBuiltins();
}

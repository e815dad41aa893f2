// The audio builtins of space and time: emitters, the listener, sync groups and recording.
#include <algorithm>

#include "audio/audio_internal.h"
#include "audio/audio_sync.h"
#include "audio/fn_audio_support.h"

using namespace audio_fn;

namespace {

CEmitter* emitter_arg(int argc, const RValue* argv) {
  return Audio_On() ? Audio_FindEmitter(Int(argc, argv, 0, -1)) : nullptr;
}

// The placement of each voice of the emitter follows it at once.
void place_voices(CEmitter* e) {
  const AudioSourcePlacement placement = Audio_EmitterPlacement(e);
  for (CNoise* voice : e->voices) Audio().mixer.SetPlacement(Audio_VoiceSource(voice), placement);
}

AUDIO_FN(F_EmitterCreate) {
  if (!Audio_On()) return Real(result, -1);
  auto& emitters = Audio().emitters;
  const size_t index = Audio_FreeSlot(emitters);
  emitters[index] = std::make_unique<CEmitter>();
  emitters[index]->active = true;
  Real(result, static_cast<double>(index));
}

AUDIO_FN(F_EmitterFree) {
  CEmitter* e = emitter_arg(argc, argv);
  if (e == nullptr) return;
  std::vector<CNoise*> voices = e->voices;
  for (CNoise* voice : voices) Audio_StopVoiceHard(voice);
  Audio().emitters[static_cast<size_t>(Int(argc, argv, 0))].reset();
}

AUDIO_FN(F_EmitterExists) { Real(result, emitter_arg(argc, argv) != nullptr ? 1 : 0); }

AUDIO_FN(F_EmitterPosition) {
  if (CEmitter* e = emitter_arg(argc, argv)) {
    e->x = Float(argc, argv, 1), e->y = Float(argc, argv, 2), e->z = Float(argc, argv, 3);
  }
}

AUDIO_FN(F_EmitterVelocity) {
  if (CEmitter* e = emitter_arg(argc, argv)) {
    e->vx = Float(argc, argv, 1), e->vy = Float(argc, argv, 2), e->vz = Float(argc, argv, 3);
  }
}

AUDIO_FN(F_EmitterGain) {
  CEmitter* e = emitter_arg(argc, argv);
  if (e == nullptr) return;
  e->gain = std::max(0.0f, Float(argc, argv, 1));
  for (CNoise* voice : e->voices) Audio_ApplyVoiceGain(voice);
}

AUDIO_FN(F_EmitterPitch) {
  CEmitter* e = emitter_arg(argc, argv);
  if (e == nullptr) return;
  e->pitch = std::clamp(Float(argc, argv, 1), 0.0039f, 256.0f);
  for (CNoise* voice : e->voices) Audio_ApplyVoicePitch(voice);
}

AUDIO_FN(F_EmitterFalloff) {
  CEmitter* e = emitter_arg(argc, argv);
  if (e == nullptr) return;
  e->falloffRef = Float(argc, argv, 1), e->falloffMax = Float(argc, argv, 2), e->falloffFactor = Float(argc, argv, 3);
  place_voices(e);
}

template <float CEmitter::*Field, int Neutral>
AUDIO_FN(F_EmitterGet) {
  const CEmitter* e = emitter_arg(argc, argv);
  Real(result, e != nullptr ? e->*Field : Neutral);
}

AUDIO_FN(F_EmitterGetListenerMask) {
  const CEmitter* e = emitter_arg(argc, argv);
  Real(result, e != nullptr ? e->listenerMask : 0);
}

AUDIO_FN(F_EmitterSetListenerMask) {
  if (CEmitter* e = emitter_arg(argc, argv)) e->listenerMask = static_cast<uint32_t>(KVGetInt64(argv, 1));
}

// ---- Listener: only index 0 exists --------------------------------------------------------------

void set3(float* out, int argc, const RValue* argv, int first) {
  for (int i = 0; i < 3; ++i) out[i] = Float(argc, argv, first + i);
}

template <int First>
AUDIO_FN(F_ListenerPosition) {
  if (Audio_On() && (First == 0 || Int(argc, argv, 0) == 0)) set3(Audio().listener.state.position, argc, argv, First);
}

template <int First>
AUDIO_FN(F_ListenerVelocity) {
  if (Audio_On() && (First == 0 || Int(argc, argv, 0) == 0)) set3(Audio().listener.state.velocity, argc, argv, First);
}

template <int First>
AUDIO_FN(F_ListenerOrientation) {
  if (!Audio_On() || (First == 1 && Int(argc, argv, 0) != 0)) return;
  set3(Audio().listener.state.lookAt, argc, argv, First);
  set3(Audio().listener.state.up, argc, argv, First + 3);
}

AUDIO_FN(F_ListenerGetData) {
  if (!Audio_On() || Int(argc, argv, 0) != 0) return Real(result, -1);
  const AudioListenerState& l = Audio().listener.state;
  Real(result, Audio_NewMap({{"x", l.position[0], nullptr},
                             {"y", l.position[1], nullptr},
                             {"z", l.position[2], nullptr},
                             {"vx", l.velocity[0], nullptr},
                             {"vy", l.velocity[1], nullptr},
                             {"vz", l.velocity[2], nullptr},
                             {"lookat_x", l.lookAt[0], nullptr},
                             {"lookat_y", l.lookAt[1], nullptr},
                             {"lookat_z", l.lookAt[2], nullptr},
                             {"up_x", l.up[0], nullptr},
                             {"up_y", l.up[1], nullptr},
                             {"up_z", l.up[2], nullptr}}));
}

AUDIO_FN(F_GetListenerCount) { Real(result, Audio_On() ? 1 : 0); }

AUDIO_FN(F_GetListenerInfo) {
  if (!Audio_On() || Int(argc, argv, 0) != 0) return Real(result, -1);
  Real(result, Audio_NewMap({{"name", 0.0, "default"},
                             {"mask", static_cast<double>(Audio().listener.mask), nullptr},
                             {"index", 0.0, nullptr}}));
}

AUDIO_FN(F_GetListenerMask) { Real(result, Audio_On() ? Audio().listener.mask : 0); }

AUDIO_FN(F_SetListenerMask) {
  if (Audio_On()) Audio().listener.mask = static_cast<uint32_t>(KVGetInt64(argv, 0));
}

AUDIO_FN(F_SoundGetListenerMask) {
  const CNoise* voice = Audio_On() ? Audio_FindVoice(Int(argc, argv, 0)) : nullptr;
  Real(result, voice != nullptr ? voice->listenerMask : 0);
}

AUDIO_FN(F_SoundSetListenerMask) {
  if (!Audio_On() || argc < 2) return;
  const auto mask = static_cast<uint32_t>(KVGetInt64(argv, 1));
  Audio_ForEachVoice(Int(argc, argv, 0), [mask](CNoise* voice) { voice->listenerMask = mask; });
}

// ---- Sync groups ---------------------------------------------------------------------------------

AUDIO_FN(F_SyncCreate) { Real(result, Audio_On() ? SyncGroup_Create(argc > 0 && KVGetBool(argv, 0)) : -1); }
AUDIO_FN(F_SyncDestroy) {
  if (Audio_On()) SyncGroup_Destroy(Int(argc, argv, 0, -1));
}
AUDIO_FN(F_SyncPlay) {
  Real(result, Audio_On() ? SyncGroup_Add(Int(argc, argv, 0, -1), Int(argc, argv, 1, -1)) : -1);
}
AUDIO_FN(F_SyncStart) {
  if (Audio_On()) SyncGroup_Start(Int(argc, argv, 0, -1));
}
template <bool Pause>
AUDIO_FN(F_SyncPause) {
  if (Audio_On()) SyncGroup_SetPaused(Int(argc, argv, 0, -1), Pause);
}
AUDIO_FN(F_SyncStop) {
  if (Audio_On()) SyncGroup_Stop(Int(argc, argv, 0, -1));
}
AUDIO_FN(F_SyncTrackPos) { Real(result, Audio_On() ? SyncGroup_TrackPosition(Int(argc, argv, 0, -1)) : 0); }
AUDIO_FN(F_SyncDebug) {
  if (Audio_On()) SyncGroup_Debug(Int(argc, argv, 0, -1));
}
AUDIO_FN(F_SyncIsPlaying) { Real(result, Audio_On() && SyncGroup_IsPlaying(Int(argc, argv, 0, -1)) ? 1 : 0); }

// ---- Recording -----------------------------------------------------------------------------------

AUDIO_FN(F_StartRecording) { Real(result, Audio_On() ? Recording_Start(Int(argc, argv, 0, -1)) : -1); }
AUDIO_FN(F_StopRecording) {
  if (Audio_On()) Recording_Stop(Int(argc, argv, 0, -1));
}
AUDIO_FN(F_GetRecorderCount) { Real(result, Audio_On() ? Recording_DeviceCount() : 0); }
AUDIO_FN(F_GetRecorderInfo) { Real(result, Audio_On() ? Recording_DeviceInfo(Int(argc, argv, 0, -1)) : -1); }

}  // namespace

void Audio_RegisterSpaceBuiltins() {
  Function_Add("audio_emitter_create", F_EmitterCreate, 0, 0);
  Function_Add("audio_emitter_free", F_EmitterFree, 1, 0);
  Function_Add("audio_emitter_exists", F_EmitterExists, 1, 0);
  Function_Add("audio_emitter_position", F_EmitterPosition, 4, 0);
  Function_Add("audio_emitter_velocity", F_EmitterVelocity, 4, 0);
  Function_Add("audio_emitter_gain", F_EmitterGain, 2, 0);
  Function_Add("audio_emitter_pitch", F_EmitterPitch, 2, 0);
  Function_Add("audio_emitter_falloff", F_EmitterFalloff, 4, 0);
  Function_Add("audio_emitter_get_gain", F_EmitterGet<&CEmitter::gain, 0>, 1, 0);
  Function_Add("audio_emitter_get_pitch", F_EmitterGet<&CEmitter::pitch, 1>, 1, 0);
  Function_Add("audio_emitter_get_x", F_EmitterGet<&CEmitter::x, 0>, 1, 0);
  Function_Add("audio_emitter_get_y", F_EmitterGet<&CEmitter::y, 0>, 1, 0);
  Function_Add("audio_emitter_get_z", F_EmitterGet<&CEmitter::z, 0>, 1, 0);
  Function_Add("audio_emitter_get_vx", F_EmitterGet<&CEmitter::vx, 0>, 1, 0);
  Function_Add("audio_emitter_get_vy", F_EmitterGet<&CEmitter::vy, 0>, 1, 0);
  Function_Add("audio_emitter_get_vz", F_EmitterGet<&CEmitter::vz, 0>, 1, 0);
  Function_Add("audio_emitter_get_listener_mask", F_EmitterGetListenerMask, 1, 0);
  Function_Add("audio_emitter_set_listener_mask", F_EmitterSetListenerMask, 2, 0);
  Function_Add("audio_listener_position", F_ListenerPosition<0>, 3, 0);
  Function_Add("audio_listener_velocity", F_ListenerVelocity<0>, 3, 0);
  Function_Add("audio_listener_orientation", F_ListenerOrientation<0>, 6, 0);
  Function_Add("audio_listener_set_position", F_ListenerPosition<1>, 4, 0);
  Function_Add("audio_listener_set_velocity", F_ListenerVelocity<1>, 4, 0);
  Function_Add("audio_listener_set_orientation", F_ListenerOrientation<1>, 7, 0);
  Function_Add("audio_listener_get_data", F_ListenerGetData, 1, 0);
  Function_Add("audio_get_listener_count", F_GetListenerCount, 0, 0);
  Function_Add("audio_get_listener_info", F_GetListenerInfo, 1, 0);
  Function_Add("audio_get_listener_mask", F_GetListenerMask, 0, 0);
  Function_Add("audio_set_listener_mask", F_SetListenerMask, 1, 0);
  Function_Add("audio_sound_get_listener_mask", F_SoundGetListenerMask, 1, 0);
  Function_Add("audio_sound_set_listener_mask", F_SoundSetListenerMask, 2, 0);
  Function_Add("audio_create_sync_group", F_SyncCreate, 1, 0);
  Function_Add("audio_destroy_sync_group", F_SyncDestroy, 1, 0);
  Function_Add("audio_play_in_sync_group", F_SyncPlay, 2, 0);
  Function_Add("audio_start_sync_group", F_SyncStart, 1, 0);
  Function_Add("audio_pause_sync_group", F_SyncPause<true>, 1, 0);
  Function_Add("audio_resume_sync_group", F_SyncPause<false>, 1, 0);
  Function_Add("audio_stop_sync_group", F_SyncStop, 1, 0);
  Function_Add("audio_sync_group_get_track_pos", F_SyncTrackPos, 1, 0);
  Function_Add("audio_sync_group_debug", F_SyncDebug, 1, 0);
  Function_Add("audio_sync_group_is_playing", F_SyncIsPlaying, 1, 0);
  Function_Add("audio_start_recording", F_StartRecording, 1, 0);
  Function_Add("audio_stop_recording", F_StopRecording, 1, 0);
  Function_Add("audio_get_recorder_count", F_GetRecorderCount, 0, 0);
  Function_Add("audio_get_recorder_info", F_GetRecorderInfo, 1, 0);
}

// Voices: choosing one, playing a sound on it, stopping, gains and pitches, positions, emitters.
#include <algorithm>
#include <cmath>

#include "audio/audio_internal.h"
#include "audio/ogg_audio.h"
#include "core/console.h"

namespace {

AudioState& S() { return Audio(); }

bool voice_is_queue(const CNoise& voice) { return voice.sound >= kQueueBase && voice.sound < kStreamBase; }

void leave_emitter(CNoise* voice) {
  if (voice->emitter == nullptr) return;
  auto& list = voice->emitter->voices;
  list.erase(std::remove(list.begin(), list.end(), voice), list.end());
  voice->emitter = nullptr;
}

CNoise* new_voice() {
  auto voice = std::make_unique<CNoise>();
  voice->source = static_cast<int32_t>(S().voices.size());
  S().voices.push_back(std::move(voice));
  return S().voices.back().get();
}

// The voice a new sound of priority p plays on, or null.
CNoise* choose_voice(int32_t sound_id, const cAudio_Sound* sound, float priority) {
  Mixer& mixer = S().mixer;
  if (sound->isQueue) {
    for (auto& voice : S().voices) {
      if (voice->sound != sound_id) continue;
      if (!voice->active || !mixer.IsPlayingOrPaused(Audio_VoiceSource(voice.get()))) {
        if (voice->active) Audio_ClearVoice(voice.get());
        return voice.get();
      }
    }
  }
  for (auto& voice : S().voices) {
    const uint32_t source = Audio_VoiceSource(voice.get());
    if (voice_is_queue(*voice) && mixer.BuffersQueued(source) > 0) continue;
    if (!voice->active) return voice.get();
    const int32_t state = mixer.State(source);
    if (!voice->ogg && (state == kSourceStopped || state == kSourceInitial)) {
      Audio_ClearVoice(voice.get());
      return voice.get();
    }
  }
  if (static_cast<int32_t>(S().voices.size()) < S().maxVoices &&
      S().voices.size() < S().sources.size()) {
    return new_voice();
  }
  // Steal the lowest priority strictly below p; streamed voices only for a streamed sound.
  CNoise* lowest = nullptr;
  for (auto& voice : S().voices) {
    if (voice->ogg && !sound->IsCompressed()) continue;
    if (voice->priority < priority && (lowest == nullptr || voice->priority < lowest->priority)) lowest = voice.get();
  }
  if (lowest != nullptr) Audio_StopVoiceHard(lowest);
  return lowest;
}

float emitter_gain(const CNoise* voice) { return voice->emitter != nullptr ? voice->emitter->gain : 1.0f; }
float emitter_pitch(const CNoise* voice) { return voice->emitter != nullptr ? voice->emitter->pitch : 1.0f; }

void set_up_source(CNoise* voice, const PlayParams& p, const cAudio_Sound* sound) {
  Mixer& mixer = S().mixer;
  const uint32_t source = Audio_VoiceSource(voice);
  AudioSourcePlacement placement;
  switch (p.kind) {
    case PlayKind::kPlain:
      placement.relative = true;
      placement.maxDistance = 100000.0f;
      placement.distanceModel = kDistanceNone;
      break;
    case PlayKind::kAt:
      placement.relative = false;
      placement.position[0] = p.x;
      placement.position[1] = p.y;
      placement.position[2] = p.z;
      placement.referenceDistance = p.falloffRef;
      placement.maxDistance = p.falloffMax;
      placement.rolloff = p.falloffFactor;
      placement.distanceModel = Audio_DistanceModel();
      break;
    case PlayKind::kOn:
      placement = Audio_EmitterPlacement(voice->emitter);
      break;
  }
  mixer.SetPlacement(source, placement);
  mixer.SetGain(source, voice->gain * sound->gain * emitter_gain(voice));
  mixer.SetPitch(source, voice->pitch * sound->pitch * emitter_pitch(voice));
}

}  // namespace

AudioSourcePlacement Audio_EmitterPlacement(const CEmitter* e) {
  AudioSourcePlacement placement;
  placement.relative = false;
  placement.position[0] = e->x, placement.position[1] = e->y, placement.position[2] = e->z;
  placement.velocity[0] = e->vx, placement.velocity[1] = e->vy, placement.velocity[2] = e->vz;
  placement.referenceDistance = e->falloffRef;
  placement.maxDistance = e->falloffMax;
  placement.rolloff = e->falloffFactor;
  placement.distanceModel = Audio_DistanceModel();
  return placement;
}

int32_t Audio_DistanceModel() { return S().falloffModel == 0 ? kDistanceNone : 53248 + S().falloffModel; }

uint32_t Audio_VoiceSource(const CNoise* voice) {
  if (voice->source < 0 || voice->source >= static_cast<int32_t>(S().sources.size())) return 0;
  return S().sources[static_cast<size_t>(voice->source)];
}

CNoise* Audio_FindVoice(int32_t id) {
  if (id < BaseVoiceId) return nullptr;
  for (auto& voice : S().voices) {
    if (voice->active && voice->stopping == 0 && voice->id == id) return voice.get();
  }
  return nullptr;
}

CEmitter* Audio_FindEmitter(int32_t index) {
  if (index < 0 || index >= static_cast<int32_t>(S().emitters.size())) return nullptr;
  return S().emitters[static_cast<size_t>(index)].get();
}

int32_t Audio_Play(const PlayParams& p) {
  if (!Audio_On()) return -1;
  cAudio_Sound* sound = Audio_FindSound(p.sound);
  if (sound == nullptr) {
    g_ReleaseConsole->Output("Error: No sound found for asset index %d\n", p.sound);
    return -1;
  }
  if (!Audio_SoundGroupLoaded(p.sound)) {
    g_ReleaseConsole->Output("Error: Audio group for %s (%d) is not loaded\n", Audio_SoundName(p.sound), p.sound);
    return -1;
  }
  CEmitter* emitter = nullptr;
  if (p.kind == PlayKind::kOn) {
    emitter = Audio_FindEmitter(p.emitter);
    if (emitter == nullptr) {
      g_ReleaseConsole->Output("Error: No emitter found for index %d\n", p.emitter);
      return -1;
    }
    if (!emitter->active) {
      g_ReleaseConsole->Output("Error: Emitter %d is inactive\n", p.emitter);
      return -1;
    }
  }
  CNoise* voice = choose_voice(p.sound, sound, p.priority);
  if (voice == nullptr) return -1;

  voice->id = ++S().lastVoiceId;
  voice->sound = p.sound;
  voice->priority = p.priority;
  voice->loop = p.loop;
  voice->gain = p.gain;
  voice->offset = p.offset;
  voice->pitch = p.pitch;
  voice->listenerMask = p.listenerMask;
  voice->gainEndTime = 0;
  voice->stopping = 0;
  voice->syncGroup = -1;
  voice->emitter = emitter;
  if (emitter != nullptr) emitter->voices.push_back(voice);
  set_up_source(voice, p, sound);

  Mixer& mixer = S().mixer;
  const uint32_t source = Audio_VoiceSource(voice);
  const double start = p.offset >= 0.0f ? p.offset : sound->trackPosition;
  mixer.SetCurrentMask(p.listenerMask & S().listener.mask);
  if (sound->isQueue) {
    mixer.Play(source);
  } else if (sound->IsCompressed()) {
    const bool known = Audio_ReadStreamHeader(sound);
    if (!OggAudio_Play(voice->source, sound, start, p.loop, false)) {
      leave_emitter(voice);
      return -1;
    }
    const int32_t rate = known && sound->sampleRate > 0 ? sound->sampleRate : 44100;
    mixer.StreamStarted(source, known ? sound->sampleCount : 0, rate, static_cast<int64_t>(start * rate), p.loop, false);
  } else if (sound->buffer != 0) {
    mixer.SetBuffer(source, sound->buffer);
    mixer.SetLooping(source, p.loop);
    if (start > 0.0) mixer.SetSecondsOffset(source, static_cast<float>(start));
    mixer.Play(source);
  } else {
    leave_emitter(voice);
  }
  mixer.SetCurrentMask(kOutputMask);
  voice->ogg = sound->IsCompressed() && !sound->isQueue;
  voice->active = true;
  voice->stopped = false;
  return voice->id;
}

void Audio_ClearVoice(CNoise* voice) {
  voice->active = false;
  voice->stopping = 0;
  voice->stopped = false;
  leave_emitter(voice);
  if (voice_is_queue(*voice)) GeneratedSound_QueueVoiceCleared(voice->sound);
  S().mixer.SetBuffer(Audio_VoiceSource(voice), 0);
}

void Audio_StopVoiceSoft(CNoise* voice) {
  if (!voice->active || voice->stopping > 0) return;
  voice->stopping = 1;
  voice->gain = 0.0f;
  voice->gainEndTime = 0;
  voice->priority = -1e9f;
  S().mixer.SetGain(Audio_VoiceSource(voice), 0.0f);
}

void Audio_StopVoiceHard(CNoise* voice) {
  voice->stopped = true;
  const uint32_t source = Audio_VoiceSource(voice);
  if (voice->ogg) {
    OggAudio_Stop(voice->source);
    S().mixer.Stop(source);
  } else {
    S().mixer.TakeError();
    S().mixer.Stop(source);
    const int32_t error = S().mixer.TakeError();
    if (error != 0) g_ReleaseConsole->Output("Error stopping sound %d error code %d\n", voice->sound, error);
  }
  Audio_ClearVoice(voice);
}

bool Audio_VoicePlaying(const CNoise* voice) {
  if (!voice->active || voice->stopping > 0) return false;
  return S().mixer.IsPlayingOrPaused(Audio_VoiceSource(voice));
}

bool Audio_VoicePaused(const CNoise* voice) {
  return voice->active && voice->stopping == 0 && S().mixer.State(Audio_VoiceSource(voice)) == kSourcePaused;
}

void Audio_ApplyVoiceGain(CNoise* voice) {
  if (voice->stopping > 0) return;
  const cAudio_Sound* sound = Audio_FindSound(voice->sound);
  const float sound_gain = sound != nullptr ? sound->gain : 1.0f;
  S().mixer.SetGain(Audio_VoiceSource(voice), voice->gain * sound_gain * emitter_gain(voice));
}

void Audio_ApplyVoicePitch(CNoise* voice) {
  const cAudio_Sound* sound = Audio_FindSound(voice->sound);
  const float sound_pitch = sound != nullptr ? sound->pitch : 1.0f;
  S().mixer.SetPitch(Audio_VoiceSource(voice), voice->pitch * sound_pitch * emitter_pitch(voice));
}

void Audio_PauseVoice(CNoise* voice) {
  const uint32_t source = Audio_VoiceSource(voice);
  if (voice->ogg) OggAudio_SetPaused(voice->source, true);
  S().mixer.Pause(source);
}

void Audio_ResumeVoice(CNoise* voice) {
  const uint32_t source = Audio_VoiceSource(voice);
  if (S().mixer.State(source) != kSourcePaused) return;
  if (voice->ogg) OggAudio_SetPaused(voice->source, false);
  S().mixer.Play(source);
}

double Audio_VoicePosition(const CNoise* voice) { return S().mixer.OffsetSeconds(Audio_VoiceSource(voice)); }

void Audio_SetVoicePosition(CNoise* voice, double seconds) {
  const uint32_t source = Audio_VoiceSource(voice);
  if (!voice->ogg) {
    S().mixer.SetSecondsOffset(source, static_cast<float>(seconds));
    return;
  }
  cAudio_Sound* sound = Audio_FindSound(voice->sound);
  if (sound == nullptr) return;
  OggAudio_Seek(voice->source, seconds);
  const int32_t rate = sound->sampleRate > 0 ? sound->sampleRate : 44100;
  const bool paused = S().mixer.State(source) == kSourcePaused;
  S().mixer.StreamStarted(source, sound->headerRead ? sound->sampleCount : 0, rate,
                          static_cast<int64_t>(seconds * rate), voice->loop, paused);
}

void Audio_StopAllSoft() {
  for (auto& voice : S().voices) {
    if (voice->active) Audio_StopVoiceSoft(voice.get());
  }
}

void Audio_StopAllHard() {
  for (auto& voice : S().voices) {
    if (voice->active) Audio_StopVoiceHard(voice.get());
  }
  S().mixer.Flush();
}

float Audio_RampGain(float* gain, float* start, float target, int64_t start_time, int64_t* end_time, int64_t now) {
  if (*end_time <= 0) return *gain;
  if (now >= *end_time || *end_time <= start_time) {
    *gain = target;
    *end_time = 0;
  } else {
    const double t = static_cast<double>(now - start_time) / static_cast<double>(*end_time - start_time);
    *gain = static_cast<float>(*start + (target - *start) * t);
  }
  return *gain;
}

void Audio_SetSoundGain(int32_t id, float gain, int32_t time_ms) {
  gain = std::max(0.0f, gain);
  const int64_t now = Audio_Now();
  auto set = [&](float* current, float* start, float* target, int64_t* start_time, int64_t* end_time) {
    if (time_ms <= 0) {
      if (*current == gain && *end_time == 0) return;
      *current = gain;
      *end_time = 0;
      return;
    }
    *start = *current;
    *target = gain;
    *start_time = now;
    *end_time = now + static_cast<int64_t>(time_ms) * 1000;
  };
  if (id >= BaseVoiceId) {
    CNoise* voice = Audio_FindVoice(id);
    if (voice == nullptr) return;
    set(&voice->gain, &voice->gainStart, &voice->gainTarget, &voice->gainStartTime, &voice->gainEndTime);
    if (time_ms <= 0) Audio_ApplyVoiceGain(voice);
    return;
  }
  cAudio_Sound* sound = Audio_FindSound(id);
  if (sound == nullptr) return;
  set(&sound->gain, &sound->gainStart, &sound->gainTarget, &sound->gainStartTime, &sound->gainEndTime);
  if (time_ms <= 0) Audio_ForEachVoice(id, [](CNoise* voice) { Audio_ApplyVoiceGain(voice); });
}

void Audio_MakeChannels(int32_t count) {
  AudioState& s = S();
  Audio_StopAllHard();
  OggAudio_Shutdown();
  for (auto& voice : s.voices) leave_emitter(voice.get());
  for (uint32_t source : s.sources) s.mixer.DeleteSource(source);
  s.sources.clear();
  s.voices.clear();
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t source = s.mixer.NewSource();
    if (source == 0) break;
    s.sources.push_back(source);
  }
  s.sourceCount = static_cast<int32_t>(s.sources.size());
  s.maxVoices = count;
  OggAudio_Init(s.mixer.Device(), s.sources.data(), s.sourceCount);
}

void Audio_FreeVoices() {
  AudioState& s = S();
  OggAudio_Shutdown();
  for (auto& voice : s.voices) leave_emitter(voice.get());
  for (uint32_t source : s.sources) s.mixer.DeleteSource(source);
  s.sources.clear();
  s.voices.clear();
  s.emitters.clear();
}

void Audio_TickVoices(int64_t now) {
  for (auto& owned : S().voices) {
    CNoise* voice = owned.get();
    if (!voice->active) continue;
    if (voice->stopping > 0) {
      if (++voice->stopping >= 3) Audio_StopVoiceHard(voice);
      continue;
    }
    if (voice->gainEndTime > 0) {
      Audio_RampGain(&voice->gain, &voice->gainStart, voice->gainTarget, voice->gainStartTime, &voice->gainEndTime, now);
    }
    if (voice->source >= 0) Audio_ApplyVoiceGain(voice);
  }
}

void Audio_TickStreams() {
  Mixer& mixer = S().mixer;
  for (auto& owned : S().voices) {
    CNoise* voice = owned.get();
    if (!voice->active || !voice->ogg) continue;
    OggAudio_TakeFinished(voice->source);
    if (mixer.State(Audio_VoiceSource(voice)) == kSourceStopped && !voice->loop) {
      OggAudio_Stop(voice->source);
      Audio_ClearVoice(voice);
    }
  }
  for (size_t i = 0; i < S().streams.size(); ++i) {
    std::unique_ptr<cAudio_Sound>& stream = S().streams[i];
    if (stream == nullptr || !stream->deleted) continue;
    const int32_t id = kStreamBase + static_cast<int32_t>(i);
    const bool used = std::any_of(S().voices.begin(), S().voices.end(),
                                  [id](const std::unique_ptr<CNoise>& v) { return v->active && v->sound == id; });
    if (!used && !OggAudio_UsesSound(stream.get())) stream.reset();
  }
}

void Audio_TickEmitters() {
  Mixer& mixer = S().mixer;
  for (auto& emitter : S().emitters) {
    if (emitter == nullptr || !emitter->active) continue;
    const float position[3] = {emitter->x, emitter->y, emitter->z};
    const float velocity[3] = {emitter->vx, emitter->vy, emitter->vz};
    std::vector<CNoise*> done;
    for (CNoise* voice : emitter->voices) {
      const uint32_t source = Audio_VoiceSource(voice);
      mixer.SetPosition(source, position, velocity);
      if (Audio_FindSound(voice->sound) == nullptr || (!voice->ogg && !mixer.IsPlayingOrPaused(source))) {
        done.push_back(voice);
      }
    }
    for (CNoise* voice : done) Audio_ClearVoice(voice);
  }
}

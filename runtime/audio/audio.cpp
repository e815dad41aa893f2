// The audio engine's life: start-up, the sound registry, preparing sound data, the frame tick and
// shutdown.
#include "audio/audio.h"

#include <algorithm>
#include <cstring>

#include "audio/audio_internal.h"
#include "audio/ogg_audio.h"
#include "audio/ogg_file.h"
#include "core/console.h"
#include "datawin/format/byte_order.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "storage/ds_core.h"
#include "storage/ds_map.h"

namespace {

AudioState g_state;
AudioAsyncSink g_async_sink = nullptr;

void print_al_error(const char* where) {
  const int32_t code = g_state.mixer.TakeError();
  if (code != 0) g_ReleaseConsole->Output("OpenAL error: %d (%s)\n", code, where);
}

// A RIFF WAVE image: 8 or 16 bits, 1 or 2 channels, little-endian PCM.
bool read_wave(const uint8_t* bytes, size_t size, DecodedSound* out) {
  if (size < 12 || std::memcmp(bytes, "RIFF", 4) != 0 || std::memcmp(bytes + 8, "WAVE", 4) != 0) return false;
  bool have_format = false;
  size_t at = 12;
  while (at + 8 <= size) {
    const uint32_t length = datawin::load_u32(bytes + at + 4);
    const uint8_t* body = bytes + at + 8;
    if (length > size - at - 8) return false;
    if (std::memcmp(bytes + at, "fmt ", 4) == 0 && length >= 16) {
      const uint16_t format = static_cast<uint16_t>(body[0] | body[1] << 8);
      out->channels = body[2] | body[3] << 8;
      out->rate = static_cast<int32_t>(datawin::load_u32(body + 4));
      out->bits = body[14] | body[15] << 8;
      have_format = format == 1;
    } else if (std::memcmp(bytes + at, "data", 4) == 0 && have_format) {
      if ((out->channels != 1 && out->channels != 2) || (out->bits != 8 && out->bits != 16) || out->rate <= 0) return false;
      out->pcm.assign(body, body + length);
      return true;
    }
    at += 8 + length + (length & 1);
  }
  return false;
}

void free_generated(std::vector<std::unique_ptr<cAudio_Sound>>& sounds) {
  for (auto& sound : sounds) {
    if (sound != nullptr && sound->buffer != 0) g_state.mixer.DeleteBuffer(sound->buffer);
  }
  sounds.clear();
}

}  // namespace

AudioState& Audio() { return g_state; }

int64_t Audio_Now() { return Platform_Clock().NowMicros(); }

bool Audio_Enabled() { return g_state.enabled; }

IAudioDevice* Audio_OutputDevice() { return g_state.enabled ? g_state.mixer.Device() : nullptr; }

void Audio_SetGameDirectory(const std::string& directory) { g_state.gameDirectory = directory; }

void Audio_SetAsyncSink(AudioAsyncSink sink) { g_async_sink = sink; }

int32_t Audio_NewMap(const std::vector<AsyncField>& fields) {
  DsLock lock(DsMutex());
  const int32_t id = DS_New<CDS_Map>();
  auto* map = DS_Find<CDS_Map>(id);
  for (const AsyncField& field : fields) {
    RValue key = RV_Undefined();
    RV_SetString(&key, field.key);
    RValue value = RV_Real(field.number);
    if (field.text != nullptr) RV_SetString(&value, field.text);
    map->set(key, value);
    RV_Free(&key);
    RV_Free(&value);
  }
  return id;
}

void Audio_QueueAsync(int32_t subtype, const std::vector<AsyncField>& fields) {
  const int32_t id = Audio_NewMap(fields);
  if (g_async_sink != nullptr) {
    g_async_sink(id, subtype);
  } else {
    DS_Destroy(kDsMap, id);
  }
}

// ---- Sounds -------------------------------------------------------------------------------------

cAudio_Sound* Audio_FindSound(int32_t id) {
  auto slot = [](std::vector<std::unique_ptr<cAudio_Sound>>& table, int32_t index) -> cAudio_Sound* {
    if (index < 0 || index >= static_cast<int32_t>(table.size())) return nullptr;
    return table[static_cast<size_t>(index)].get();
  };
  if (id < 0) return nullptr;
  if (id < kBufferSoundBase) return Sound_Get(id);
  if (id < kQueueBase) return slot(g_state.bufferSounds, id - kBufferSoundBase);
  if (id < kStreamBase) return slot(g_state.queues, id - kQueueBase);
  if (id < BaseVoiceId) {
    cAudio_Sound* stream = slot(g_state.streams, id - kStreamBase);
    return stream != nullptr && !stream->deleted ? stream : nullptr;
  }
  return nullptr;
}

const char* Audio_SoundName(int32_t id) {
  if (id >= 0 && id < kBufferSoundBase) {
    const char* name = Sound_Table().name(id);
    if (name != nullptr) return name;
  }
  if (id >= kStreamBase && id < BaseVoiceId) {
    if (cAudio_Sound* stream = Audio_FindSound(id)) return stream->file_name.c_str();
  }
  return "";
}

bool Audio_SoundGroupLoaded(int32_t id) {
  if (id < 0 || id >= kBufferSoundBase) return true;
  const cAudio_Sound* sound = Sound_Get(id);
  return sound != nullptr && AudioGroups_IsLoaded(sound->group);
}

std::string Audio_ResolvePath(const std::string& name) {
  if (name.empty()) return name;
  if (name[0] != '/') {
    for (const std::string& candidate : {g_state.gameDirectory + name, g_state.gameDirectory + name + ".ogg"}) {
      if (Platform_FileReadable(candidate)) return candidate;
    }
  }
  return name;
}

bool Audio_ReadStreamHeader(cAudio_Sound* sound) {
  if (sound->headerRead) return true;
  OggStream stream;
  bool opened = false;
  if (sound->streamed) {
    if (sound->filePath.empty()) sound->filePath = Audio_ResolvePath(sound->file_name);
    opened = stream.OpenFile(sound->filePath, nullptr);
  } else if (sound->data != nullptr) {
    opened = stream.OpenMemory(sound->data + 4, sound->data_size, nullptr);
  }
  if (!opened) return false;
  sound->sampleRate = stream.Rate();
  sound->channels = stream.Channels();
  sound->sampleCount = std::max<int64_t>(0, stream.TotalFrames());
  sound->headerRead = true;
  if (sound->sampleRate > 0 && stream.TotalFrames() >= 0) {
    sound->duration = static_cast<double>(sound->sampleCount) / sound->sampleRate;
  }
  return true;
}

double Audio_SoundLength(int32_t id) {
  if (id >= BaseVoiceId) {
    const CNoise* voice = Audio_FindVoice(id);
    if (voice == nullptr) return -1.0;
    id = voice->sound;
  }
  cAudio_Sound* sound = Audio_FindSound(id);
  if (sound == nullptr) return -1.0;
  if (sound->duration >= 0.0) return sound->duration;
  if (sound->buffer != 0) {
    MixerBufferInfo info;
    if (g_state.mixer.BufferInfo(sound->buffer, &info) && info.frequency > 0) {
      sound->duration = static_cast<double>(info.frames()) / info.frequency;
    }
  } else if (sound->IsCompressed()) {
    Audio_ReadStreamHeader(sound);
  }
  return sound->duration;
}

bool Audio_DecodeSound(const char* name, const cAudio_Sound* sound, DecodedSound* out) {
  out->messages.clear();
  if (sound->data == nullptr || sound->streamed || sound->compressed) return false;
  const uint8_t* bytes = sound->data + 4;
  if (sound->decompress_on_load) {
    out->messages.push_back(std::string("Decoding ogg ") + name + " ...\n");
    int64_t expected = 0;
    if (!Ogg_DecodeAll(bytes, sound->data_size, &out->pcm, &out->rate, &out->channels, &expected)) {
      out->messages.push_back(std::string("ov_open_callbacks error decoding ") + name + "\n");
      return false;
    }
    out->bits = 16;
    if (static_cast<int64_t>(out->pcm.size()) != expected) {
      char line[128];
      std::snprintf(line, sizeof line, "Ogg unexpected decompressed size: %d (expected: %d)\n",
                    static_cast<int>(out->pcm.size()), static_cast<int>(expected));
      out->messages.emplace_back(line);
    }
    return out->channels == 1 || out->channels == 2;
  }
  if (!read_wave(bytes, sound->data_size, out)) {
    out->messages.push_back(std::string("Audio: sound ") + name + " is not a readable WAVE image\n");
    return false;
  }
  return true;
}

void Audio_UploadSound(cAudio_Sound* sound, const DecodedSound& decoded, bool ok) {
  for (const std::string& line : decoded.messages) g_DebugConsole->Output("%s", line.c_str());
  if (sound->streamed) {
    sound->filePath.clear();
    return;
  }
  if (!ok || sound->buffer != 0) return;
  const uint32_t buffer = g_state.mixer.NewBuffer();
  if (buffer == 0) return;
  if (!g_state.mixer.BufferData(buffer, decoded.channels, decoded.bits, decoded.pcm.data(),
                                static_cast<int32_t>(decoded.pcm.size()), decoded.rate)) {
    g_state.mixer.DeleteBuffer(buffer);
    return;
  }
  sound->buffer = buffer;
  sound->keepBuffer = sound->decompress_on_load;
  sound->sampleRate = decoded.rate;
  sound->channels = decoded.channels;
}

bool Audio_PrepareSound(int32_t index, cAudio_Sound* sound) {
  DecodedSound decoded;
  const bool ok = Audio_DecodeSound(Sound_Table().name(index) != nullptr ? Sound_Table().name(index) : "", sound, &decoded);
  Audio_UploadSound(sound, decoded, ok);
  return ok;
}

void Audio_ReleaseSoundData(cAudio_Sound* sound) {
  if (sound->IsCompressed()) OggAudio_StopSound(sound);
  if (sound->buffer != 0 && !sound->keepBuffer) {
    g_state.mixer.DeleteBuffer(sound->buffer);
    sound->buffer = 0;
  }
  sound->data = nullptr;
  sound->data_size = 0;
  if (!sound->streamed) sound->headerRead = false;
}

// ---- Life -----------------------------------------------------------------------------------------

void Audio_Init(const AudioPlatform& platform, bool no_audio) {
  Audio_Shutdown();
  if (no_audio) return;
  // A runner built without an audio backend is silent without a word.
  if (platform.open == nullptr) return;
  std::string error;
  std::unique_ptr<IAudioDevice> device = platform.open(&error);
  if (device == nullptr) {
    g_ReleaseConsole->Output("Audio: no output device (%s): running silent\n", error.c_str());
    return;
  }
  g_state.mixer.Open(std::move(device));
  g_state.enabled = true;
  g_state.listener = AudioListener{};
  g_state.mixer.SetDistanceModel(kDistanceInverse);
  g_state.mixer.SetListener(g_state.listener.state);
  Audio_MakeChannels(kDefaultVoiceCount);
  g_state.tickTime = Audio_Now();
  AudioGroups_Reset();
}

bool Audio_PrepareGroups() {
  AudioGroups_Reset();
  if (!g_state.enabled) return true;
  for (int32_t i = 0; i < Sound_Table().count(); ++i) {
    cAudio_Sound* sound = Sound_Get(i);
    if (sound != nullptr && sound->group == 0 && sound->data != nullptr) Audio_PrepareSound(i, sound);
  }
  return true;
}

void Audio_Flush() {
  if (g_state.enabled) g_state.mixer.Flush();
}

void Audio_Tick() {
  if (!g_state.enabled) return;
  const int64_t now = Audio_Now();
  const int64_t elapsed = now - g_state.tickTime;
  g_state.tickTime = now;
  print_al_error("Audio_Tick Start");
  g_state.mixer.Advance(elapsed);
  AudioGroups_Tick();
  g_state.mixer.SetListener(g_state.listener.state);
  OggAudio_Tick();
  Audio_TickStreams();
  // Gain ramps of every sound that can have one.
  auto ramp = [now](cAudio_Sound* sound) {
    if (sound != nullptr && sound->gainEndTime > 0) {
      Audio_RampGain(&sound->gain, &sound->gainStart, sound->gainTarget, sound->gainStartTime, &sound->gainEndTime, now);
    }
  };
  for (int32_t i = 0; i < Sound_Table().count(); ++i) ramp(Sound_Get(i));
  for (auto& sound : g_state.bufferSounds) ramp(sound.get());
  for (auto& sound : g_state.queues) ramp(sound.get());
  Audio_TickVoices(now);
  Audio_TickEmitters();
  Recording_Tick();
  GeneratedSound_Tick();
  SyncGroups_Tick();
  g_state.mixer.Flush();
  print_al_error("Audio_Tick End");
}

void Audio_StopAll() {
  if (g_state.enabled) Audio_StopAllHard();
}

void Audio_Shutdown() {
  if (g_state.mixer.IsOpen()) {
    Audio_StopAllHard();
    SyncGroups_FreeAll();
    Recording_FreeAll();
    AudioGroups_Shutdown();
    OggAudio_Shutdown();
    GeneratedSound_FreeAll();
    free_generated(g_state.streams);
    for (int32_t i = 0; i < Sound_Table().count(); ++i) {
      cAudio_Sound* sound = Sound_Get(i);
      if (sound == nullptr) continue;
      if (sound->buffer != 0) g_state.mixer.DeleteBuffer(sound->buffer);
      sound->buffer = 0;
    }
    Audio_FreeVoices();
    g_state.mixer.Close();
  }
  const std::string directory = g_state.gameDirectory;
  g_state.enabled = false;
  g_state.voices.clear();
  g_state.sources.clear();
  g_state.emitters.clear();
  g_state.bufferSounds.clear();
  g_state.queues.clear();
  g_state.streams.clear();
  g_state.lastVoiceId = BaseVoiceId;
  g_state.falloffModel = 0;
  g_state.sourceCount = g_state.maxVoices = kDefaultVoiceCount;
  g_state.listener = AudioListener{};
  g_state.gameDirectory = directory;
}

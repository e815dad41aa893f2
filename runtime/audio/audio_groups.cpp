// The audio group manager: loading "audiogroup%d.dat" files on a thread of their own, and
// unloading once no voice of the group plays.
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include "audio/audio_groups.h"
#include "audio/audio_internal.h"
#include "core/console.h"
#include "datawin/format/byte_order.h"
#include "platform/files.h"
#include "platform/threads.h"

namespace {

enum GroupState : int32_t { kUnloaded = 0, kLoading = 1, kLoaded = 2, kUnloading = 3 };

struct AudioGroup {
  std::atomic<int32_t> state{kUnloaded};
  int32_t index = 0;
  std::string name;
  std::vector<int32_t> sounds;  // asset indexes
  std::vector<uint8_t> image;   // the group file, whole
  std::thread thread;
  std::mutex termMutex;  // "TermMutex": guards percent and the decoded results
  int32_t done = 0;
  int32_t percent = 0;
  bool finished = false;
  std::vector<DecodedSound> decoded;
  std::vector<bool> decodedOk;
};

std::vector<std::unique_ptr<AudioGroup>> g_groups;

AudioGroup* group_at(int32_t index) {
  if (index < 0 || index >= static_cast<int32_t>(g_groups.size())) return nullptr;
  return g_groups[static_cast<size_t>(index)].get();
}

// Decodes every sound of the group, counting its progress.
void decode_group(AudioGroup* group) {
  const size_t count = group->sounds.size();
  for (size_t i = 0; i < count; ++i) {
    const int32_t index = group->sounds[i];
    const cAudio_Sound* sound = Sound_Get(index);
    DecodedSound decoded;
    const char* name = Sound_Table().name(index);
    const bool ok = sound != nullptr && Audio_DecodeSound(name != nullptr ? name : "", sound, &decoded);
    std::lock_guard<std::mutex> lock(group->termMutex);
    group->decoded[i] = std::move(decoded);
    group->decodedOk[i] = ok;
    group->done = static_cast<int32_t>(i + 1);
    group->percent = static_cast<int32_t>((i + 1) * 100 / count);
  }
  std::lock_guard<std::mutex> lock(group->termMutex);
  group->finished = true;
}

void load_thread(AudioGroup* group) {
  Thread_SetName("Audio group load thread");
  decode_group(group);
}

// The AUDO payload of a group file: a FORM holding an AUDO chunk, or the bare chunk.
bool find_payload(const std::vector<uint8_t>& image, const uint8_t** payload, uint32_t* size) {
  size_t at = 0;
  if (image.size() >= 8 && std::memcmp(image.data(), "FORM", 4) == 0) at = 8;
  if (image.size() < at + 8 || std::memcmp(image.data() + at, "AUDO", 4) != 0) return false;
  const uint32_t length = datawin::load_u32(image.data() + at + 4);
  if (length > image.size() - at - 8) return false;
  *payload = image.data() + at + 8;
  *size = length;
  return true;
}

bool group_has_voices(int32_t group) {
  for (auto& voice : Audio().voices) {
    if (!voice->active || voice->sound < 0 || voice->sound >= kBufferSoundBase) continue;
    const cAudio_Sound* sound = Sound_Get(voice->sound);
    if (sound != nullptr && sound->group == group) return true;
  }
  return false;
}

void finish_load(AudioGroup* group) {
  if (group->thread.joinable()) group->thread.join();
  for (size_t i = 0; i < group->sounds.size(); ++i) {
    cAudio_Sound* sound = Sound_Get(group->sounds[i]);
    if (sound != nullptr) Audio_UploadSound(sound, group->decoded[i], group->decodedOk[i]);
  }
  group->decoded.clear();
  group->decodedOk.clear();
  group->state = kLoaded;
  g_DebugConsole->Output("Audio group %d -> %s\n", group->index, "Loaded");
  Audio_QueueAsync(kAsyncSaveLoad, {{"type", 0.0, "audiogroup_load"}, {"group_id", static_cast<double>(group->index), nullptr}});
}

void finish_unload(AudioGroup* group) {
  for (int32_t index : group->sounds) {
    if (cAudio_Sound* sound = Sound_Get(index)) Audio_ReleaseSoundData(sound);
  }
  group->image.clear();
  group->image.shrink_to_fit();
  group->state = kUnloaded;
  g_DebugConsole->Output("Audio group %d -> %s\n", group->index, "Unloaded");
}

}  // namespace

void AudioGroups_Reset() {
  AudioGroups_Shutdown();
  const int32_t count = std::max(1, AudioGroup_Table().count());
  for (int32_t i = 0; i < count; ++i) {
    auto group = std::make_unique<AudioGroup>();
    group->index = i;
    const char* name = AudioGroup_Table().name(i);
    group->name = name != nullptr ? name : "";
    g_groups.push_back(std::move(group));
  }
  for (int32_t i = 0; i < Sound_Table().count(); ++i) {
    const cAudio_Sound* sound = Sound_Get(i);
    if (sound == nullptr) continue;
    if (AudioGroup* group = group_at(sound->group)) group->sounds.push_back(i);
  }
  g_groups[0]->state = kLoaded;
}

void AudioGroups_Shutdown() {
  for (auto& group : g_groups) {
    if (group->thread.joinable()) group->thread.join();
  }
  g_groups.clear();
}

bool AudioGroups_IsLoaded(int32_t group) {
  if (group == 0) return true;
  const AudioGroup* g = group_at(group);
  return g != nullptr && g->state == kLoaded;
}

void AudioGroups_Tick() {
  for (auto& owned : g_groups) {
    AudioGroup* group = owned.get();
    if (group->state == kLoading) {
      bool finished = false;
      {
        std::lock_guard<std::mutex> lock(group->termMutex);
        finished = group->finished;
      }
      if (finished) finish_load(group);
    } else if (group->state == kUnloading && !group_has_voices(group->index)) {
      finish_unload(group);
    }
  }
}

int32_t AudioGroup_LoadFile(int32_t index) {
  AudioGroup* group = group_at(index);
  if (index == 0 || group == nullptr || group->sounds.empty() || group->state != kUnloaded) return 0;
  char file_name[64];
  std::snprintf(file_name, sizeof file_name, "audiogroup%d.dat", index);
  const std::string path = Audio().gameDirectory + file_name;
  if (!Platform_ReadWholeFile(path, &group->image)) {
    g_ReleaseConsole->Output("Failed to load %s\n", path.c_str());
    return 0;
  }
  const uint8_t* payload = nullptr;
  uint32_t size = 0;
  if (!find_payload(group->image, &payload, &size) ||
      !Audio_LoadWaves(index, payload, size, group->image.data(), static_cast<uint32_t>(group->image.size()))) {
    g_ReleaseConsole->Output("Format error loading %s\n", path.c_str());
    group->image.clear();
    return 0;
  }
  group->state = kLoading;
  g_DebugConsole->Output("Audio group %d -> %s\n", index, "Loading...");
  group->done = group->percent = 0;
  group->finished = false;
  group->decoded.assign(group->sounds.size(), DecodedSound{});
  group->decodedOk.assign(group->sounds.size(), false);
  try {
    group->thread = std::thread(load_thread, group);
  } catch (const std::system_error&) {
    decode_group(group);
  }
  return 1;
}

int32_t AudioGroup_Unload(int32_t index) {
  AudioGroup* group = group_at(index);
  if (index == 0 || group == nullptr || group->state != kLoaded) return 0;
  group->state = kUnloading;
  g_DebugConsole->Output("Audio group %d -> %s\n", index, "Unloading...");
  AudioGroup_StopAll(index);
  return 1;
}

int32_t AudioGroup_Progress(int32_t index) {
  if (index == 0) return 100;
  AudioGroup* group = group_at(index);
  if (group == nullptr) return 0;
  if (group->state == kLoaded) return 100;
  if (group->state != kLoading) return 0;
  std::lock_guard<std::mutex> lock(group->termMutex);
  return group->percent;
}

const char* AudioGroup_Name(int32_t index) {
  const AudioGroup* group = group_at(index);
  return group != nullptr ? group->name.c_str() : nullptr;
}

bool AudioGroup_Exists(int32_t index) { return group_at(index) != nullptr; }

void AudioGroup_StopAll(int32_t index) {
  for (auto& voice : Audio().voices) {
    if (!voice->active || voice->sound < 0 || voice->sound >= kBufferSoundBase) continue;
    const cAudio_Sound* sound = Sound_Get(voice->sound);
    if (sound != nullptr && sound->group == index) Audio_StopVoiceSoft(voice.get());
  }
}

void AudioGroup_SetGain(int32_t index, float gain, int32_t time_ms) {
  const AudioGroup* group = group_at(index);
  if (group == nullptr) return;
  for (int32_t sound : group->sounds) Audio_SetSoundGain(sound, gain, time_ms);
}

// Sync groups and recording.
#include "audio/audio_sync.h"

#include <algorithm>
#include <memory>

#include "audio/audio_internal.h"
#include "core/console.h"
#include "storage/buffer.h"

namespace {

struct SyncGroup {
  bool looping = false;
  bool started = false;
  std::vector<int32_t> sounds;
  std::vector<int32_t> voices;
};

struct Recorder {
  std::unique_ptr<IAudioCapture> capture;
  int32_t device = -1;
};

std::vector<std::unique_ptr<SyncGroup>> g_groups;
std::vector<std::unique_ptr<Recorder>> g_recorders;

SyncGroup* group_at(int32_t index) {
  if (index < 0 || index >= static_cast<int32_t>(g_groups.size())) return nullptr;
  return g_groups[static_cast<size_t>(index)].get();
}

template <class Fn>
void each_voice(SyncGroup* group, Fn&& fn) {
  for (int32_t id : group->voices) {
    if (CNoise* voice = Audio_FindVoice(id)) fn(voice);
  }
}

}  // namespace

int32_t SyncGroup_Create(bool looping) {
  const size_t slot = Audio_FreeSlot(g_groups);
  g_groups[slot] = std::make_unique<SyncGroup>();
  g_groups[slot]->looping = looping;
  return static_cast<int32_t>(slot);
}

void SyncGroup_Destroy(int32_t index) {
  SyncGroup* group = group_at(index);
  if (group == nullptr) return;
  each_voice(group, [](CNoise* voice) { Audio_StopVoiceHard(voice); });
  g_groups[static_cast<size_t>(index)].reset();
}

int32_t SyncGroup_Add(int32_t index, int32_t sound_id) {
  SyncGroup* group = group_at(index);
  if (group == nullptr) return -1;
  const cAudio_Sound* sound = Audio_FindSound(sound_id);
  if (sound == nullptr || !sound->IsCompressed() || sound->isQueue) {
    g_ReleaseConsole->Output("Error: cannot play uncompressed sounds in a sync group\n");
    return -1;
  }
  if (static_cast<int32_t>(group->sounds.size()) >= kSyncGroupMaxSounds) {
    g_ReleaseConsole->Output("Too many sounds added to sync group, not adding this one.\n");
    return -1;
  }
  PlayParams p;
  p.sound = sound_id;
  p.priority = 0.0f;
  p.loop = group->looping;
  const int32_t id = Audio_Play(p);
  if (id < 0) return -1;
  CNoise* voice = Audio_FindVoice(id);
  voice->syncGroup = index;
  // A member waits, paused, for the group's start, unless the group already runs.
  if (!group->started) Audio_PauseVoice(voice);
  group->sounds.push_back(sound_id);
  group->voices.push_back(id);
  return id;
}

void SyncGroup_Start(int32_t index) {
  SyncGroup* group = group_at(index);
  if (group == nullptr || group->started) return;
  group->started = true;
  // The resumed starts go to the output together at the next flush.
  each_voice(group, [](CNoise* voice) { Audio_ResumeVoice(voice); });
}

void SyncGroup_SetPaused(int32_t index, bool paused) {
  SyncGroup* group = group_at(index);
  if (group == nullptr || !group->started) return;
  each_voice(group, [paused](CNoise* voice) { paused ? Audio_PauseVoice(voice) : Audio_ResumeVoice(voice); });
}

void SyncGroup_Stop(int32_t index) {
  SyncGroup* group = group_at(index);
  if (group == nullptr) return;
  each_voice(group, [](CNoise* voice) { Audio_StopVoiceSoft(voice); });
  group->voices.clear();
  group->sounds.clear();
  group->started = false;
}

double SyncGroup_TrackPosition(int32_t index) {
  SyncGroup* group = group_at(index);
  if (group == nullptr || group->voices.empty()) return 0.0;
  const CNoise* first = Audio_FindVoice(group->voices.front());
  return first != nullptr ? Audio_VoicePosition(first) : 0.0;
}

void SyncGroup_Debug(int32_t index) {
  SyncGroup* group = group_at(index);
  if (group == nullptr) return;
  g_ReleaseConsole->Output("Sync group %d: %s, %s, %d sounds\n", index, group->started ? "started" : "waiting",
                           group->looping ? "looping" : "once", static_cast<int>(group->sounds.size()));
  for (size_t i = 0; i < group->sounds.size(); ++i) {
    const CNoise* voice = Audio_FindVoice(group->voices[i]);
    g_ReleaseConsole->Output("  %s: voice %d %s at %.3f\n", Audio_SoundName(group->sounds[i]), group->voices[i],
                             voice == nullptr ? "finished" : Audio_VoicePaused(voice) ? "paused" : "playing",
                             voice != nullptr ? Audio_VoicePosition(voice) : 0.0);
  }
}

bool SyncGroup_IsPlaying(int32_t index) {
  SyncGroup* group = group_at(index);
  if (group == nullptr || !group->started) return false;
  bool playing = false;
  each_voice(group, [&playing](CNoise* voice) { playing = playing || Audio_VoicePlaying(voice); });
  return playing;
}

void SyncGroups_Tick() {
  for (auto& group : g_groups) {
    if (group == nullptr) continue;
    // Voices that ended leave the group's list; a group with none left is stopped.
    auto& voices = group->voices;
    for (size_t i = 0; i < voices.size();) {
      if (Audio_FindVoice(voices[i]) == nullptr) {
        voices.erase(voices.begin() + static_cast<long>(i));
        group->sounds.erase(group->sounds.begin() + static_cast<long>(i));
      } else {
        ++i;
      }
    }
    if (voices.empty()) group->started = false;
  }
}

void SyncGroups_FreeAll() { g_groups.clear(); }

// ---- Recording ------------------------------------------------------------------------------------

int32_t Recording_DeviceCount() {
  IAudioDevice* device = Audio().mixer.Device();
  return device != nullptr ? static_cast<int32_t>(device->CaptureDevices().size()) : 0;
}

int32_t Recording_DeviceInfo(int32_t index) {
  IAudioDevice* device = Audio().mixer.Device();
  if (device == nullptr) return -1;
  const std::vector<std::string> names = device->CaptureDevices();
  if (index < 0 || index >= static_cast<int32_t>(names.size())) return -1;
  return Audio_NewMap({{"name", 0.0, names[static_cast<size_t>(index)].c_str()},
                       {"index", static_cast<double>(index), nullptr},
                       {"data_format", static_cast<double>(kBufferS16), nullptr},
                       {"sample_rate", static_cast<double>(kRecordingRate), nullptr}});
}

int32_t Recording_Start(int32_t index) {
  IAudioDevice* device = Audio().mixer.Device();
  const std::vector<std::string> names = device != nullptr ? device->CaptureDevices() : std::vector<std::string>{};
  if (index < 0 || index >= static_cast<int32_t>(names.size())) {
    g_ReleaseConsole->Output("audio_start_recording: no recording device %d\n", index);
    return -1;
  }
  std::unique_ptr<IAudioCapture> capture = device->OpenCapture(names[static_cast<size_t>(index)], kRecordingRate, 1);
  if (capture == nullptr || !capture->Start()) {
    g_ReleaseConsole->Output("audio_start_recording: recording device %d could not be opened\n", index);
    return -1;
  }
  const size_t slot = Audio_FreeSlot(g_recorders);
  g_recorders[slot] = std::make_unique<Recorder>(Recorder{std::move(capture), index});
  return static_cast<int32_t>(slot);
}

void Recording_Stop(int32_t channel) {
  if (channel < 0 || channel >= static_cast<int32_t>(g_recorders.size())) return;
  auto& recorder = g_recorders[static_cast<size_t>(channel)];
  if (recorder == nullptr) return;
  recorder->capture->Stop();
  recorder.reset();
}

void Recording_Tick() {
  for (size_t i = 0; i < g_recorders.size(); ++i) {
    Recorder* recorder = g_recorders[i].get();
    if (recorder == nullptr) continue;
    const int32_t waiting = recorder->capture->Available();
    if (waiting <= kRecordingRate / 10) continue;
    std::vector<int16_t> samples(static_cast<size_t>(waiting));
    if (!recorder->capture->Read(samples.data(), waiting)) continue;
    const auto bytes = static_cast<int32_t>(samples.size() * sizeof(int16_t));
    const int32_t buffer = Buffer_CreateFromBytes(samples.data(), bytes, kBufferFixed, 1);
    if (buffer < 0) continue;
    Audio_QueueAsync(kAsyncAudioRecording, {{"buffer_id", static_cast<double>(buffer), nullptr},
                                            {"channel_index", static_cast<double>(i), nullptr},
                                            {"data_len", static_cast<double>(bytes), nullptr}});
  }
}

void Recording_FreeAll() {
  for (auto& recorder : g_recorders) {
    if (recorder != nullptr) recorder->capture->Stop();
  }
  g_recorders.clear();
}

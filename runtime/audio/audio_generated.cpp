// Sounds made by scripts: buffer sounds from PCM in a buffer, play queues fed buffer by buffer,
// and streams of Ogg files.
#include "audio/audio_generated.h"

#include <algorithm>

#include "audio/audio_internal.h"
#include "core/console.h"
#include "platform/files.h"
#include "storage/buffer.h"

namespace {

constexpr int32_t kAudioMono = 0;
constexpr int32_t kAudioStereo = 1;
constexpr int32_t kAudio3d = 2;

struct QueuedBuffer {
  uint32_t buffer = 0;  // the mixing layer's copy
  int32_t scriptBuffer = -1;
};

struct PlayQueue {
  int32_t format = kBufferS16;
  int32_t rate = 44100;
  int32_t channels = 1;
  std::vector<QueuedBuffer> queued;  // in order, oldest first
};

std::vector<std::unique_ptr<PlayQueue>> g_queue_data;  // beside Audio().queues, same index

int32_t channel_count(int32_t channels) { return channels == kAudioStereo ? 2 : 1; }

void stop_voices_of(int32_t id) {
  for (auto& voice : Audio().voices) {
    if (voice->active && voice->sound == id) Audio_StopVoiceHard(voice.get());
  }
}

void give_back(int32_t queue_id, const QueuedBuffer& q, bool shutdown) {
  Audio().mixer.DeleteBuffer(q.buffer);
  Audio_QueueAsync(kAsyncAudioPlayback, {{"queue_id", static_cast<double>(queue_id), nullptr},
                                         {"buffer_id", static_cast<double>(q.scriptBuffer), nullptr},
                                         {"queue_shutdown", shutdown ? 1.0 : 0.0, nullptr}});
}

PlayQueue* queue_data(int32_t id) {
  const int32_t index = id - kQueueBase;
  if (index < 0 || index >= static_cast<int32_t>(g_queue_data.size())) return nullptr;
  return g_queue_data[static_cast<size_t>(index)].get();
}

// The voice that serves a queue, taking a free one for it when it has none.
CNoise* queue_voice(int32_t id) {
  for (auto& voice : Audio().voices) {
    if (voice->sound == id) return voice.get();
  }
  for (auto& voice : Audio().voices) {
    if (!voice->active && Audio().mixer.BuffersQueued(Audio_VoiceSource(voice.get())) == 0) {
      voice->sound = id;
      return voice.get();
    }
  }
  if (static_cast<int32_t>(Audio().voices.size()) < Audio().maxVoices && Audio().voices.size() < Audio().sources.size()) {
    auto voice = std::make_unique<CNoise>();
    voice->source = static_cast<int32_t>(Audio().voices.size());
    voice->sound = id;
    Audio().voices.push_back(std::move(voice));
    return Audio().voices.back().get();
  }
  return nullptr;
}

}  // namespace

int32_t BufferSound_Create(int32_t buffer_id, int32_t format, int32_t rate, int32_t offset, int32_t length,
                           int32_t channels) {
  if (!Audio_On()) return -1;
  IBuffer* buffer = Buffer_Get(buffer_id);
  if (buffer == nullptr) {
    g_ReleaseConsole->Output("audio_create_buffer_sound: Invalid buffer id: %d\n", buffer_id);
    return -1;
  }
  if (buffer->type == kBufferGrow) {
    g_ReleaseConsole->Output("audio_create_buffer_sound: unsupported buffer type (buffer_grow)\n");
    return -1;
  }
  if (format != kBufferU8 && format != kBufferS16) {
    g_ReleaseConsole->Output("audio_create_buffer_sound: unsupported format (use buffer_u8,buffer_s16)\n");
    return -1;
  }
  if (channels != kAudioMono && channels != kAudioStereo && channels != kAudio3d) {
    g_ReleaseConsole->Output("audio_create_buffer_sound: channels should be audio_mono, audio_stereo, or audio_3d\n");
    return -1;
  }
  if (offset < 0 || length < 0 || static_cast<int64_t>(offset) + length > buffer->size) {
    g_ReleaseConsole->Output(
        "audio_create_buffer_sound: not enough data in buffer to create sound with offset %d length %d\n", offset,
        length);
    return -1;
  }
  Mixer& mixer = Audio().mixer;
  const uint32_t id = mixer.NewBuffer();
  const int32_t bits = format == kBufferU8 ? 8 : 16;
  if (id == 0 || !mixer.BufferData(id, channel_count(channels), bits, buffer->data + offset, length, rate)) {
    if (id != 0) mixer.DeleteBuffer(id);
    g_ReleaseConsole->Output(
        "audio_create_buffer_sound: can't create buffer from this data - please check the parameters\n");
    return -1;
  }
  auto sound = std::make_unique<cAudio_Sound>();
  sound->gain = 1.0f;
  sound->buffer = id;
  sound->sampleRate = rate;
  sound->channels = channel_count(channels);
  const size_t slot = Audio_FreeSlot(Audio().bufferSounds);
  Audio().bufferSounds[slot] = std::move(sound);
  return kBufferSoundBase + static_cast<int32_t>(slot);
}

bool BufferSound_Free(int32_t id) {
  const int32_t index = id - kBufferSoundBase;
  if (index < 0 || index >= static_cast<int32_t>(Audio().bufferSounds.size())) return false;
  auto& sound = Audio().bufferSounds[static_cast<size_t>(index)];
  if (sound == nullptr) return false;
  stop_voices_of(id);
  Audio().mixer.DeleteBuffer(sound->buffer);
  sound.reset();
  return true;
}

int32_t PlayQueue_Create(int32_t format, int32_t rate, int32_t channels) {
  if (!Audio_On()) return -1;
  if (format != kBufferU8 && format != kBufferS16) {
    g_ReleaseConsole->Output("audio_create_play_queue: unsupported format (use buffer_u8,buffer_s16)\n");
    return -1;
  }
  if (channels != kAudioMono && channels != kAudioStereo && channels != kAudio3d) {
    g_ReleaseConsole->Output("audio_create_play_queue: channels should be audio_mono, audio_stereo, or audio_3d\n");
    return -1;
  }
  auto sound = std::make_unique<cAudio_Sound>();
  sound->gain = 1.0f;
  sound->isQueue = true;
  sound->sampleRate = rate;
  sound->channels = channel_count(channels);
  const size_t slot = Audio_FreeSlot(Audio().queues);
  Audio().queues[slot] = std::move(sound);
  if (g_queue_data.size() <= slot) g_queue_data.resize(slot + 1);
  g_queue_data[slot] = std::make_unique<PlayQueue>(PlayQueue{format, rate, channel_count(channels), {}});
  return kQueueBase + static_cast<int32_t>(slot);
}

int32_t PlayQueue_Add(int32_t queue_id, int32_t buffer_id, int32_t offset, int32_t length) {
  if (!Audio_On()) return -1;
  PlayQueue* queue = queue_data(queue_id);
  if (queue == nullptr) {
    g_ReleaseConsole->Output("audio_queue_buffer_sound: Invalid queue id: %d\n", queue_id);
    return -1;
  }
  IBuffer* buffer = Buffer_Get(buffer_id);
  if (buffer == nullptr || offset < 0 || length < 0 || static_cast<int64_t>(offset) + length > buffer->size) {
    g_ReleaseConsole->Output("audio_queue_buffer_sound: Invalid buffer sound id: %d\n", buffer_id);
    return -1;
  }
  CNoise* voice = queue_voice(queue_id);
  if (voice == nullptr) {
    g_ReleaseConsole->Output("audio_queue_buffer_sound: Failed to find free voice\n");
    return -1;
  }
  Mixer& mixer = Audio().mixer;
  const uint32_t id = mixer.NewBuffer();
  const int32_t bits = queue->format == kBufferU8 ? 8 : 16;
  if (id == 0 || !mixer.BufferData(id, queue->channels, bits, buffer->data + offset, length, queue->rate)) {
    if (id != 0) mixer.DeleteBuffer(id);
    g_ReleaseConsole->Output("audio_queue_buffer_sound: Invalid buffer sound id: %d\n", buffer_id);
    return -1;
  }
  mixer.Queue(Audio_VoiceSource(voice), id);
  queue->queued.push_back(QueuedBuffer{id, buffer_id});
  return 1;
}

bool PlayQueue_Free(int32_t queue_id) {
  PlayQueue* queue = queue_data(queue_id);
  if (queue == nullptr) return false;
  // What is still queued goes back marked as shut down, not as played.
  std::vector<QueuedBuffer> queued;
  queued.swap(queue->queued);
  stop_voices_of(queue_id);
  for (auto& voice : Audio().voices) {
    if (voice->sound != queue_id) continue;
    Audio().mixer.SetBuffer(Audio_VoiceSource(voice.get()), 0);
    voice->sound = -1;
  }
  for (const QueuedBuffer& q : queued) give_back(queue_id, q, true);
  const auto index = static_cast<size_t>(queue_id - kQueueBase);
  g_queue_data[index].reset();
  Audio().queues[index].reset();
  return true;
}

void GeneratedSound_QueueVoiceCleared(int32_t queue_id) {
  PlayQueue* queue = queue_data(queue_id);
  if (queue == nullptr) return;
  // The source lets go of all its buffers: each goes back to the script.
  std::vector<QueuedBuffer> queued;
  queued.swap(queue->queued);
  for (auto& voice : Audio().voices) {
    if (voice->sound == queue_id) Audio().mixer.SetBuffer(Audio_VoiceSource(voice.get()), 0);
  }
  for (const QueuedBuffer& q : queued) give_back(queue_id, q, false);
}

void GeneratedSound_Tick() {
  for (size_t i = 0; i < g_queue_data.size(); ++i) {
    PlayQueue* queue = g_queue_data[i].get();
    if (queue == nullptr) continue;
    const int32_t queue_id = kQueueBase + static_cast<int32_t>(i);
    for (auto& voice : Audio().voices) {
      if (voice->sound != queue_id) continue;
      for (uint32_t played : Audio().mixer.UnqueueProcessed(Audio_VoiceSource(voice.get()))) {
        auto it = std::find_if(queue->queued.begin(), queue->queued.end(),
                               [played](const QueuedBuffer& q) { return q.buffer == played; });
        if (it == queue->queued.end()) continue;
        const QueuedBuffer q = *it;
        queue->queued.erase(it);
        give_back(queue_id, q, false);
      }
    }
  }
}

void GeneratedSound_FreeAll() {
  for (size_t i = 0; i < g_queue_data.size(); ++i) {
    if (g_queue_data[i] != nullptr) PlayQueue_Free(kQueueBase + static_cast<int32_t>(i));
  }
  g_queue_data.clear();
  for (size_t i = 0; i < Audio().bufferSounds.size(); ++i) BufferSound_Free(kBufferSoundBase + static_cast<int32_t>(i));
  Audio().bufferSounds.clear();
  Audio().queues.clear();
}

int32_t Stream_Create(const std::string& file) {
  if (!Audio_On()) return -1;
  const std::string path = Audio_ResolvePath(file);
  if (!Platform_FileReadable(path)) {
    g_ReleaseConsole->Output("audio_create_stream : could not file file '%s'\n", file.c_str());
    return -1;
  }
  auto sound = std::make_unique<cAudio_Sound>();
  sound->gain = 1.0f;
  sound->streamed = true;
  sound->compressed = true;
  sound->file_name = file;
  sound->filePath = path;
  const size_t slot = Audio_FreeSlot(Audio().streams);
  Audio().streams[slot] = std::move(sound);
  return kStreamBase + static_cast<int32_t>(slot);
}

int32_t Stream_Destroy(int32_t id) {
  cAudio_Sound* stream = id >= kStreamBase && id < BaseVoiceId ? Audio_FindSound(id) : nullptr;
  if (stream == nullptr) {
    g_ReleaseConsole->Output("audio_destroy_stream : Invalid stream id: %d\n", id);
    return -1;
  }
  for (auto& voice : Audio().voices) {
    if (voice->active && voice->sound == id) Audio_StopVoiceSoft(voice.get());
  }
  stream->deleted = true;
  return 1;
}

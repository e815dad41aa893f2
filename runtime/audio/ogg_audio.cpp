// COggAudio: the streaming workers and their channels.
#include "audio/ogg_audio.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "audio/ogg_file.h"
#include "core/console.h"
#include "platform/audio_device.h"
#include "platform/threads.h"

namespace {

enum ChannelState : int32_t { kIdle = 0, kOpening = 1, kOpen = 2, kPlaying = 3, kLooping = 4, kDraining = 5 };
enum Request : uint32_t { kRequestPlay = 1, kRequestLoop = 2, kRequestPaused = 4, kRequestStop = 8, kRequestSeek = 16 };

constexpr auto kPassInterval = std::chrono::milliseconds(16);

// What a play request carries over to the worker.
struct StreamSource {
  const cAudio_Sound* sound = nullptr;
  const uint8_t* bytes = nullptr;  // in memory, or null for a file
  size_t size = 0;
  std::string path;
  std::string name;
};

struct SOggChannel {
  std::mutex pass;  // held for the channel's part of a pass, and by the main thread's stops
  OggStream stream;
  uint32_t source = 0;
  uint32_t buffers[2] = {0, 0};
  uint8_t blocks[2][kOggBlockBytes];
  int32_t bytesIn[2] = {0, 0};
  int32_t state = kIdle;
  bool atEnd = false;
  const cAudio_Sound* playing = nullptr;
  // Under the worker's mutex:
  uint32_t request = 0;
  double requestPosition = 0.0;
  StreamSource pending;
  bool startPending = false;
  std::atomic<bool> finished{false};
};

struct OggWorker {
  std::mutex mutex;  // "OggMutex"
  std::condition_variable wake;
  std::thread thread;
  bool quit = false;
  bool polled = false;  // no thread: the main thread runs the passes
  std::vector<std::unique_ptr<SOggChannel>> channels;
};

struct OggAudio {
  IAudioDevice* device = nullptr;
  std::vector<uint32_t> sources;
  std::unique_ptr<OggWorker> workers[kOggWorkers];
  std::mutex messagesMutex;
  std::vector<std::string> messages;  // console lines of the workers, printed by the main thread
};

OggAudio g_ogg;

void post_message(const char* format, ...) __attribute__((format(printf, 1, 2)));
void post_message(const char* format, ...) {
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  std::lock_guard<std::mutex> lock(g_ogg.messagesMutex);
  g_ogg.messages.emplace_back(text);
}

void close_channel(SOggChannel& c) {
  IAudioDevice* device = g_ogg.device;
  device->Stop(c.source);
  uint32_t done[2];
  while (device->Unqueue(c.source, done, 2) > 0) {
  }
  device->SetBuffer(c.source, 0);
  c.stream.Close();
  c.state = kIdle;
  c.atEnd = false;
  c.playing = nullptr;
}

// Decodes into block b and queues it; false when the stream had nothing more.
bool fill_and_queue(SOggChannel& c, int b) {
  long got = c.stream.Read(c.blocks[b], kOggBlockBytes);
  if (got == 0 && c.state == kLooping && c.stream.Rewind()) got = c.stream.Read(c.blocks[b], kOggBlockBytes);
  if (got <= 0) {
    c.atEnd = true;
    return false;
  }
  const int32_t channels = c.stream.Channels();
  g_ogg.device->BufferData(c.buffers[b], channels, 16, c.blocks[b], static_cast<int32_t>(got), c.stream.Rate());
  c.bytesIn[b] = static_cast<int32_t>(got);
  g_ogg.device->Queue(c.source, &c.buffers[b], 1);
  return true;
}

// Fills both blocks from where the stream stands and starts the source.
void prime(SOggChannel& c, bool paused) {
  c.atEnd = false;
  bool any = false;
  for (int b = 0; b < 2; ++b) {
    if (!fill_and_queue(c, b)) break;
    any = true;
  }
  if (!any) {
    c.state = kDraining;
    return;
  }
  // A start asked for paused waits in the initial state until it is resumed.
  if (!paused) g_ogg.device->Play(&c.source, 1);
}

void start_channel(SOggChannel& c, const StreamSource& from, double position, bool loop, bool paused) {
  close_channel(c);
  c.state = kOpening;
  c.finished = false;
  int error = 0;
  bool opened = false;
  if (from.bytes != nullptr) {
    opened = c.stream.OpenMemory(from.bytes, from.size, &error);
    if (!opened) post_message("ov_open_callbacks error %d\n", error);
  } else {
    opened = c.stream.OpenFile(from.path, &error);
    if (!opened) {
      post_message("ov_open error %d\n", error);
      post_message("Could not open Ogg file %s\n", from.path.c_str());
    }
  }
  if (!opened || (c.stream.Channels() != 1 && c.stream.Channels() != 2)) {
    if (opened) post_message("Ogg %s has %d channels: only mono and stereo play\n", from.name.c_str(), c.stream.Channels());
    c.stream.Close();
    c.state = kIdle;
    c.finished = true;
    return;
  }
  c.state = kOpen;
  c.playing = from.sound;
  IAudioDevice* device = g_ogg.device;
  device->SetBuffer(c.source, 0);
  device->SetLooping(c.source, false);
  const int64_t frame = static_cast<int64_t>(position * c.stream.Rate());
  if (frame > 0) c.stream.SeekFrame(frame);
  c.state = loop ? kLooping : kPlaying;
  prime(c, paused);
}

void seek_channel(SOggChannel& c, double position) {
  if (c.state < kPlaying) return;
  IAudioDevice* device = g_ogg.device;
  const bool paused = device->Status(c.source).state == kSourcePaused;
  device->Stop(c.source);
  uint32_t done[2];
  while (device->Unqueue(c.source, done, 2) > 0) {
  }
  const int64_t frame = static_cast<int64_t>(position * c.stream.Rate());
  if (frame <= 0 || !c.stream.SeekFrame(frame)) c.stream.Rewind();
  if (c.state == kDraining) c.state = kPlaying;
  prime(c, false);
  if (paused) device->Pause(c.source);
}

void service_channel(SOggChannel& c) {
  IAudioDevice* device = g_ogg.device;
  const AudioSourceStatus status = device->Status(c.source);
  for (int32_t n = status.processed; n > 0; --n) {
    uint32_t buffer = 0;
    if (device->Unqueue(c.source, &buffer, 1) != 1) break;
    const int b = buffer == c.buffers[0] ? 0 : 1;
    c.bytesIn[b] = 0;
    if (c.state == kDraining) continue;
    if (!fill_and_queue(c, b)) c.state = kDraining;
  }
  if (status.state != kSourceStopped) return;
  if (c.state == kDraining) {
    close_channel(c);
    c.finished = true;
  } else if (status.queued > 0 || c.bytesIn[0] > 0 || c.bytesIn[1] > 0) {
    // Ran dry before the workers caught up: play on.
    device->Play(&c.source, 1);
  }
}

void pass_channel(OggWorker& worker, SOggChannel& c) {
  std::lock_guard<std::mutex> pass(c.pass);
  uint32_t request = 0;
  double position = 0.0;
  StreamSource from;
  {
    std::lock_guard<std::mutex> lock(worker.mutex);
    request = c.request;
    position = c.requestPosition;
    c.request = 0;
    if (request & kRequestPlay) {
      from = std::move(c.pending);
      c.pending = StreamSource{};
      c.startPending = false;
    }
  }
  if (request & kRequestStop) close_channel(c);
  if (request & kRequestPlay) {
    start_channel(c, from, position, (request & kRequestLoop) != 0, (request & kRequestPaused) != 0);
  } else if (request & kRequestSeek) {
    seek_channel(c, position);
  }
  if (c.state >= kPlaying) service_channel(c);
}

void run_pass(OggWorker& worker) {
  for (auto& channel : worker.channels) pass_channel(worker, *channel);
}

void worker_loop(OggWorker* worker) {
  Thread_SetName("OggThread");
  std::unique_lock<std::mutex> lock(worker->mutex);
  while (!worker->quit) {
    lock.unlock();
    const auto begin = std::chrono::steady_clock::now();
    run_pass(*worker);
    lock.lock();
    // A fixed cadence: the next pass starts 16 ms after this one began.
    worker->wake.wait_until(lock, begin + kPassInterval, [worker] { return worker->quit; });
  }
}

OggWorker* worker_of(int32_t index, bool create) {
  if (index < 0 || index >= static_cast<int32_t>(g_ogg.sources.size()) || g_ogg.device == nullptr) return nullptr;
  std::unique_ptr<OggWorker>& slot = g_ogg.workers[index % kOggWorkers];
  if (slot != nullptr || !create) return slot.get();
  auto worker = std::make_unique<OggWorker>();
  // Each channel of this worker serves source w + 4 k.
  for (size_t s = static_cast<size_t>(index % kOggWorkers); s < g_ogg.sources.size(); s += kOggWorkers) {
    auto channel = std::make_unique<SOggChannel>();
    channel->source = g_ogg.sources[s];
    worker->channels.push_back(std::move(channel));
  }
  for (auto& channel : worker->channels) {
    for (uint32_t& buffer : channel->buffers) buffer = g_ogg.device->NewBuffer();
  }
  try {
    worker->thread = std::thread(worker_loop, worker.get());
  } catch (const std::system_error& error) {
    g_ReleaseConsole->Output("Error %d creating ogg thread, swapping to main thread polling\n", error.code().value());
    worker->polled = true;
  }
  slot = std::move(worker);
  return slot.get();
}

SOggChannel* channel_of(OggWorker* worker, int32_t index) {
  if (worker == nullptr) return nullptr;
  const size_t slot = static_cast<size_t>(index / kOggWorkers);
  return slot < worker->channels.size() ? worker->channels[slot].get() : nullptr;
}

void stop_worker(std::unique_ptr<OggWorker>& worker) {
  if (worker == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(worker->mutex);
    worker->quit = true;
  }
  worker->wake.notify_all();
  if (worker->thread.joinable()) worker->thread.join();
  for (auto& channel : worker->channels) {
    close_channel(*channel);
    for (uint32_t buffer : channel->buffers) g_ogg.device->DeleteBuffer(buffer);
  }
  worker.reset();
}

}  // namespace

void OggAudio_Init(IAudioDevice* device, const uint32_t* sources, int32_t count) {
  OggAudio_Shutdown();
  g_ogg.device = device;
  g_ogg.sources.assign(sources, sources + count);
}

void OggAudio_Shutdown() {
  for (auto& worker : g_ogg.workers) stop_worker(worker);
  g_ogg.sources.clear();
  g_ogg.device = nullptr;
  std::lock_guard<std::mutex> lock(g_ogg.messagesMutex);
  g_ogg.messages.clear();
}

bool OggAudio_Play(int32_t index, const cAudio_Sound* sound, double start_seconds, bool loop, bool paused) {
  OggWorker* worker = worker_of(index, true);
  SOggChannel* channel = channel_of(worker, index);
  if (channel == nullptr) return false;
  StreamSource from;
  from.sound = sound;
  if (sound->streamed) {
    from.path = sound->filePath;
  } else {
    from.bytes = sound->data != nullptr ? sound->data + 4 : nullptr;
    from.size = sound->data_size;
  }
  from.name = sound->file_name;
  std::lock_guard<std::mutex> lock(worker->mutex);
  channel->request = kRequestPlay | (loop ? kRequestLoop : 0u) | (paused ? kRequestPaused : 0u);
  channel->requestPosition = start_seconds;
  channel->pending = std::move(from);
  channel->startPending = true;
  channel->finished = false;
  return true;
}

void OggAudio_Stop(int32_t index) {
  OggWorker* worker = worker_of(index, false);
  SOggChannel* channel = channel_of(worker, index);
  if (channel == nullptr) return;
  std::lock_guard<std::mutex> pass(channel->pass);
  {
    std::lock_guard<std::mutex> lock(worker->mutex);
    channel->request = 0;
    channel->pending = StreamSource{};
    channel->startPending = false;
  }
  if (channel->state != kIdle) close_channel(*channel);
  channel->finished = false;
}

void OggAudio_SetPaused(int32_t index, bool paused) {
  OggWorker* worker = worker_of(index, false);
  SOggChannel* channel = channel_of(worker, index);
  if (channel == nullptr) return;
  std::lock_guard<std::mutex> pass(channel->pass);
  {
    std::lock_guard<std::mutex> lock(worker->mutex);
    if (channel->request & kRequestPlay) {
      channel->request = paused ? (channel->request | kRequestPaused) : (channel->request & ~kRequestPaused);
      return;
    }
  }
  if (channel->state < kPlaying) return;
  if (paused) {
    g_ogg.device->Pause(channel->source);
  } else if (g_ogg.device->Status(channel->source).state != kSourcePlaying) {
    g_ogg.device->Play(&channel->source, 1);
  }
}

void OggAudio_Seek(int32_t index, double seconds) {
  OggWorker* worker = worker_of(index, false);
  SOggChannel* channel = channel_of(worker, index);
  if (channel == nullptr) return;
  std::lock_guard<std::mutex> lock(worker->mutex);
  if (channel->request & kRequestPlay) {
    channel->requestPosition = seconds;  // not started yet: it starts there
    return;
  }
  channel->request |= kRequestSeek;
  channel->requestPosition = seconds;
}

bool OggAudio_Busy(int32_t index) {
  OggWorker* worker = worker_of(index, false);
  SOggChannel* channel = channel_of(worker, index);
  if (channel == nullptr) return false;
  std::lock_guard<std::mutex> pass(channel->pass);
  std::lock_guard<std::mutex> lock(worker->mutex);
  return channel->startPending || channel->state != kIdle;
}

void OggAudio_StopSound(const cAudio_Sound* sound) {
  for (size_t i = 0; i < g_ogg.sources.size(); ++i) {
    OggWorker* worker = worker_of(static_cast<int32_t>(i), false);
    SOggChannel* channel = channel_of(worker, static_cast<int32_t>(i));
    if (channel == nullptr) continue;
    bool uses = false;
    {
      std::lock_guard<std::mutex> pass(channel->pass);
      std::lock_guard<std::mutex> lock(worker->mutex);
      uses = channel->playing == sound || (channel->startPending && channel->pending.sound == sound);
    }
    if (uses) OggAudio_Stop(static_cast<int32_t>(i));
  }
}

bool OggAudio_UsesSound(const cAudio_Sound* sound) {
  for (size_t i = 0; i < g_ogg.sources.size(); ++i) {
    OggWorker* worker = worker_of(static_cast<int32_t>(i), false);
    SOggChannel* channel = channel_of(worker, static_cast<int32_t>(i));
    if (channel == nullptr) continue;
    std::lock_guard<std::mutex> pass(channel->pass);
    std::lock_guard<std::mutex> lock(worker->mutex);
    if (channel->playing == sound || (channel->startPending && channel->pending.sound == sound)) return true;
  }
  return false;
}

bool OggAudio_TakeFinished(int32_t index) {
  SOggChannel* channel = channel_of(worker_of(index, false), index);
  return channel != nullptr && channel->finished.exchange(false);
}

void OggAudio_Tick() {
  for (auto& worker : g_ogg.workers) {
    if (worker != nullptr && worker->polled) run_pass(*worker);
  }
  std::vector<std::string> messages;
  {
    std::lock_guard<std::mutex> lock(g_ogg.messagesMutex);
    messages.swap(g_ogg.messages);
  }
  for (const std::string& line : messages) g_ReleaseConsole->Output("%s", line.c_str());
}

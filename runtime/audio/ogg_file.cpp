#include "audio/ogg_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

size_t OggStream::read_memory(void* out, size_t size, size_t count, void* source) {
  auto* reader = static_cast<MemoryReader*>(source);
  if (size == 0) return 0;
  const size_t left = reader->size - reader->position;
  const size_t items = std::min(count, left / size);
  std::memcpy(out, reader->bytes + reader->position, items * size);
  reader->position += items * size;
  return items;
}

int OggStream::seek_memory(void* source, ogg_int64_t offset, int whence) {
  auto* reader = static_cast<MemoryReader*>(source);
  ogg_int64_t base = 0;
  if (whence == SEEK_CUR) base = static_cast<ogg_int64_t>(reader->position);
  if (whence == SEEK_END) base = static_cast<ogg_int64_t>(reader->size);
  const ogg_int64_t target = base + offset;
  if (target < 0 || target > static_cast<ogg_int64_t>(reader->size)) return -1;
  reader->position = static_cast<size_t>(target);
  return 0;
}

long OggStream::tell_memory(void* source) { return static_cast<long>(static_cast<MemoryReader*>(source)->position); }

void OggStream::after_open() {
  open_ = true;
  const vorbis_info* info = ov_info(&file_, -1);
  rate_ = info != nullptr ? static_cast<int32_t>(info->rate) : 0;
  channels_ = info != nullptr ? info->channels : 0;
  const ogg_int64_t total = ov_seekable(&file_) ? ov_pcm_total(&file_, -1) : OV_EINVAL;
  total_ = total >= 0 ? total : -1;
}

bool OggStream::OpenMemory(const uint8_t* bytes, size_t size, int* error) {
  Close();
  memory_ = MemoryReader{bytes, size, 0};
  const ov_callbacks callbacks{read_memory, seek_memory, nullptr, tell_memory};
  const int result = ov_open_callbacks(&memory_, &file_, nullptr, 0, callbacks);
  if (error != nullptr) *error = result;
  if (result != 0) return false;
  after_open();
  return true;
}

bool OggStream::OpenFile(const std::string& path, int* error) {
  Close();
  const int result = ov_fopen(path.c_str(), &file_);
  if (error != nullptr) *error = result;
  if (result != 0) return false;
  after_open();
  return true;
}

void OggStream::Close() {
  if (!open_) return;
  ov_clear(&file_);
  open_ = false;
  rate_ = channels_ = 0;
  total_ = -1;
}

long OggStream::Read(uint8_t* out, long size) {
  long filled = 0;
  while (open_ && filled < size) {
    int section = 0;
    const long got = ov_read(&file_, reinterpret_cast<char*>(out + filled), static_cast<int>(size - filled), 0, 2, 1,
                             &section);
    if (got == OV_HOLE) continue;  // a gap in the data: vorbisfile goes on after it
    if (got < 0) return filled > 0 ? filled : got;
    if (got == 0) break;
    filled += got;
  }
  return filled;
}

bool OggStream::SeekFrame(int64_t frame) { return open_ && ov_pcm_seek(&file_, frame) == 0; }
bool OggStream::Rewind() { return open_ && ov_raw_seek(&file_, 0) == 0; }

bool Ogg_DecodeAll(const uint8_t* bytes, size_t size, std::vector<uint8_t>* pcm, int32_t* rate, int32_t* channels,
                   int64_t* expected) {
  OggStream stream;
  if (!stream.OpenMemory(bytes, size, nullptr)) return false;
  *rate = stream.Rate();
  *channels = stream.Channels();
  *expected = std::max<int64_t>(0, stream.TotalFrames()) * 2 * stream.Channels();
  pcm->assign(static_cast<size_t>(*expected), 0);
  long filled = 0;
  while (filled < *expected) {
    const long got = stream.Read(pcm->data() + filled, static_cast<long>(*expected - filled));
    if (got <= 0) break;
    filled += got;
  }
  pcm->resize(static_cast<size_t>(filled));
  return true;
}

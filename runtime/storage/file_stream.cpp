#include "storage/file_stream.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/memory.h"
#include "storage/buffer.h"
#include "storage/file_paths.h"

namespace {

IBuffer* buffer_over(const uint8_t* bytes, size_t count) {
  if (count > static_cast<size_t>(kBufferMaxSize)) return nullptr;
  IBuffer* buffer = Buffer_New(static_cast<int32_t>(count), kBufferGrow, 1);
  if (buffer == nullptr) return nullptr;
  if (count > 0) std::memcpy(buffer->data, bytes, count);
  buffer->used = static_cast<int32_t>(count);
  return buffer;
}

}  // namespace

FileStream::~FileStream() {
  if (buffer != nullptr) KV_Delete(buffer);
}

uint8_t FileStream::ReadByte() {
  const int32_t at = buffer->position;
  if (buffer->position < INT32_MAX) ++buffer->position;
  return at >= 0 && at < buffer->used ? buffer->data[at] : 255;
}

bool FileStream::AtEnd() const { return buffer->position >= buffer->used; }

int FileStream::Peek() const {
  const int32_t at = buffer->position;
  return at >= 0 && at < buffer->used ? buffer->data[at] : -1;
}

void FileStream::Write(const void* bytes, int32_t count) {
  if (count > 0) buffer->WriteRaw(kBufferU8, bytes, count);
}

FileStream* FileStream_Open(const std::string& name, const char* mode) {
  const bool reads = std::strpbrk(mode, "ra") != nullptr;
  const bool appends = std::strchr(mode, 'a') != nullptr;
  const bool text = std::strchr(mode, 't') != nullptr;
  const bool writes = std::strpbrk(mode, "wa+") != nullptr;
  IBuffer* buffer = nullptr;
  if (reads) {
    std::vector<uint8_t> bytes;
    if (!name.empty() && File_ReadWhole(name.c_str(), &bytes)) {
      buffer = buffer_over(bytes.data(), bytes.size());
      if (buffer == nullptr) return nullptr;
      if (text && bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) buffer->position = 3;
    }
  }
  if (writes) {
    if (buffer != nullptr) {
      if (appends) buffer->position = buffer->used;
    } else {
      buffer = Buffer_New(0, kBufferGrow, 1);
      if (buffer == nullptr) return nullptr;
    }
    buffer->used = std::min(std::max(buffer->position, buffer->used), buffer->size);
  }
  if (buffer == nullptr) return nullptr;
  FileStream* stream = KV_NEW(FileStream);
  stream->buffer = buffer;
  stream->text = text;
  if (writes) {
    stream->path = name;
    stream->write_back = true;
  }
  return stream;
}

FileStream* FileStream_FromBytes(const char* bytes, int32_t count, bool text) {
  IBuffer* buffer = buffer_over(reinterpret_cast<const uint8_t*>(bytes), count > 0 ? static_cast<size_t>(count) : 0);
  if (buffer == nullptr) return nullptr;
  FileStream* stream = KV_NEW(FileStream);
  stream->buffer = buffer;
  stream->text = text;
  return stream;
}

bool FileStream_Close(FileStream* stream) {
  if (stream == nullptr) return true;
  bool ok = true;
  if (stream->write_back) {
    const IBuffer* buffer = stream->buffer;
    ok = File_WriteWhole(stream->path.c_str(), buffer->data, static_cast<size_t>(std::max(buffer->used, 0)));
  }
  KV_Delete(stream);
  return ok;
}

void FileStream_Drop(FileStream* stream) {
  if (stream != nullptr) KV_Delete(stream);
}

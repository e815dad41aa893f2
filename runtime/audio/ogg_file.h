#pragma once
// One Ogg Vorbis stream opened with vorbisfile, from bytes in memory (through a memory reader) or
// from a file, giving 16-bit signed little-endian PCM with the channels interleaved. Not movable:
// vorbisfile keeps the address of the memory reader. One thread at a time.
#include <cstdint>
#include <string>
#include <vector>

#include <vorbis/vorbisfile.h>

class OggStream {
 public:
  OggStream() = default;
  ~OggStream() { Close(); }
  OggStream(const OggStream&) = delete;
  OggStream& operator=(const OggStream&) = delete;

  // The bytes must outlive the stream. *error gets vorbisfile's code on failure.
  bool OpenMemory(const uint8_t* bytes, size_t size, int* error);
  bool OpenFile(const std::string& path, int* error);
  void Close();
  bool IsOpen() const { return open_; }

  int32_t Rate() const { return rate_; }
  int32_t Channels() const { return channels_; }
  // Frames in the whole stream, -1 when it can't be told.
  int64_t TotalFrames() const { return total_; }

  // Fills out with up to `size` bytes, as many whole reads as fit: the count, 0 at the end of the
  // stream, below 0 for a damaged stream.
  long Read(uint8_t* out, long size);
  bool SeekFrame(int64_t frame);
  // Back to the first byte of the stream, as a loop does.
  bool Rewind();

 private:
  struct MemoryReader {
    const uint8_t* bytes = nullptr;
    size_t size = 0;
    size_t position = 0;
  };
  static size_t read_memory(void* out, size_t size, size_t count, void* source);
  static int seek_memory(void* source, ogg_int64_t offset, int whence);
  static long tell_memory(void* source);
  void after_open();

  OggVorbis_File file_{};
  MemoryReader memory_;
  bool open_ = false;
  int32_t rate_ = 0;
  int32_t channels_ = 0;
  int64_t total_ = -1;
};

// Decodes a whole stream held in memory: the PCM is the stream's total frames x 2 bytes x its
// channels. False when it can't be opened; a stream that ends short gives what it had, with
// *expected the size the header promised.
bool Ogg_DecodeAll(const uint8_t* bytes, size_t size, std::vector<uint8_t>* pcm, int32_t* rate, int32_t* channels,
                   int64_t* expected);

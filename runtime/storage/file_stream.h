#pragma once
// FileStream: the object behind every script file handle. A file is never kept open at the
// system: opening reads it whole into a grow buffer (alignment 1), every read and write works on
// that buffer, and closing a writable stream writes the buffer's used bytes back to its path. So
// nothing reaches the disk before the close, and a crash loses what was written.
//
// Mode letters: 'r' or 'a' read the file (bundle, then save area, on a name already resolved);
// 't' with a file of 3 bytes or more that starts with the UTF-8 mark moves past the mark; 'w', 'a'
// or '+' make the stream writable (an empty buffer when nothing was read; 'a' moves to the end).
// A stream that was neither read nor made writable is no stream: the file was missing.
#include <cstdint>
#include <string>

class IBuffer;

struct FileStream {
  FileStream() = default;
  ~FileStream();
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  IBuffer* buffer = nullptr;
  bool text = false;
  std::string path;  // "" for a read-only stream
  bool write_back = false;

  // The next byte, or 255 past the end (the position still moves on by one).
  uint8_t ReadByte();
  bool AtEnd() const;
  // The byte at the position without moving; -1 at the end.
  int Peek() const;
  // Raw bytes at the position; the buffer grows as needed.
  void Write(const void* bytes, int32_t count);
};

// Null when the file is missing (and the mode doesn't create it) or the memory can't be had.
// name is a path already resolved; stored for the write-back when the stream is writable.
FileStream* FileStream_Open(const std::string& name, const char* mode);
// A read-only stream over a copy of bytes.
FileStream* FileStream_FromBytes(const char* bytes, int32_t count, bool text);
// Writes back when the stream is writable, then frees it. False when the write failed.
bool FileStream_Close(FileStream* stream);
// Frees the stream without writing anything.
void FileStream_Drop(FileStream* stream);

#pragma once
// Test fixtures built with the data-file writer at test time (binary fixtures are never committed).
//   TempDir         a fresh directory under the system temp dir, removed with everything in it
//   WriteFixture    builds a Writer into a file and returns its path
//   BuildImage      builds a Writer into bytes that HeaderScan/LoadGameData can take (writable)
//   MakeMinimalGame a Writer holding only a GEN8 of the given version, generation and speed
//   ResetLoaderState forgets every table the loader fills, so each test starts from nothing
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/writer.h"

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + name
  std::string file(const std::string& name) const;
  std::filesystem::path operator/(const std::string& name) const { return std::filesystem::path(path_) / name; }

 private:
  std::string path_;
};

// Writes the built file into a process-wide temp directory (removed at exit) under a fresh name
// ending in `suffix`, and returns its path.
std::string WriteFixture(const datawin::Writer& writer, const std::string& suffix = ".win");
// Writes the built file to `path`.
void WriteFixtureTo(const datawin::Writer& writer, const std::string& path);

std::vector<uint8_t> BuildImage(const datawin::Writer& writer);

// A whole file as text; empty when it cannot be read.
std::string ReadTextFile(const std::string& path);
// Writes the bytes to path, replacing what was there (its folder must exist).
void WriteTextFile(const std::string& path, const std::string& bytes);
void WriteTextFile(const std::string& path, const std::vector<uint8_t>& bytes);
// A shell command's exit status, or -1 when it did not exit normally.
int RunCommand(const std::string& command);
// The build directory, where the programs are: the parent of the running test program's folder.
std::string BuildDirectory();

// The GEN8 record MakeMinimalGame writes: names "fixture", "Fixture Game", "fixture_project",
// window 640x360, the room order {0}.
datawin::Gen8Record MinimalHeader(int version, uint32_t generation, float speed);
datawin::Writer MakeMinimalGame(int version = 17, uint32_t generation = 2, float speed = 60.0f);

// Clears the loader, the variable names, the builtin table and its registrars, the chunk readers
// and the link block pointer.
void ResetLoaderState();

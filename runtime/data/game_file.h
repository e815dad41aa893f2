#pragma once
// Reading the game data file: the whole file goes into one block from the memory manager, with
// 128 zeroed bytes behind it counted in the block (readers never rely on them; they keep a stray
// string scan of the image from running off the block). The block lives until GameFile_Free at
// shutdown, after everything that points into it. The first four bytes must be "FORM" in either
// byte order; any other file is refused as a wrong game file and the caller exits with status 1.
// The file's length must be the FORM size in its header plus 8; that is checked from the first 8
// bytes before the rest is read, so a file of several GiB is refused without being read.
#include <cstdint>
#include <string>

enum class GameFileStatus {
  kOk,
  kUnreadable,   // missing or unreadable: "Unable to find game!!: %s"
  kNotGameFile,  // readable, but not a FORM container
  kWrongSize,    // a FORM container whose length isn't its FORM size + 8
};

// The two sizes of a kWrongSize file.
struct GameFileSizes {
  uint64_t length = 0;
  uint32_t form_size = 0;
};

struct GameImage {
  uint8_t* data = nullptr;
  uint32_t size = 0;  // the file's size, without the extra bytes
};

constexpr uint32_t kGameImageSlack = 128;

// Reads `path` into *out; on failure *out stays empty and nothing is kept. For kWrongSize, *sizes
// (when given) receives the file's length and its FORM size.
GameFileStatus GameFile_Read(const std::string& path, GameImage* out, GameFileSizes* sizes = nullptr);
// Raises "Error attempting to load wad file with unexpected size %llu szFORM %u" with the true
// numbers (KVError; it returns when errors are muted).
void GameFile_ReportUnexpectedSize(uint64_t length, uint32_t form_size);
void GameFile_Free(GameImage* image);
// Whether the first four bytes are "FORM" or "MROF".
bool GameFile_HasFormMagic(const uint8_t* data, uint32_t size);

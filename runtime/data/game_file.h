#pragma once
// Reading the game data file: the whole file goes into one block from the memory manager, with
// 128 zeroed bytes behind it counted in the block (readers never rely on them; they keep a stray
// string scan of the image from running off the block). The block lives until GameFile_Free at
// shutdown, after everything that points into it. The first four bytes must be "FORM" in either
// byte order; any other file is refused as a wrong game file and the caller exits with status 1.
#include <cstdint>
#include <string>

enum class GameFileStatus {
  kOk,
  kUnreadable,     // missing, unreadable or over 4 GiB: "Unable to find game!!: %s"
  kNotGameFile,  // readable, but not a FORM container
};

struct GameImage {
  uint8_t* data = nullptr;
  uint32_t size = 0;  // the file's size, without the extra bytes
};

constexpr uint32_t kGameImageSlack = 128;

// Reads `path` into *out; on failure *out stays empty and nothing is kept.
GameFileStatus GameFile_Read(const std::string& path, GameImage* out);
void GameFile_Free(GameImage* image);
// Whether the first four bytes are "FORM" or "MROF".
bool GameFile_HasFormMagic(const uint8_t* data, uint32_t size);

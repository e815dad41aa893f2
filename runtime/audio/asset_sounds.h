#pragma once
// The sound records of chunk SOND, the audio groups of chunk AGRP and the sound blobs of chunk
// AUDO, as read from the data file: the audio engine makes its voices and groups from these.
// A sound's blob (`data`) points at the blob's u32 size word inside the data image or inside an
// audio group file; `data_size` is that word's value, checked against the block it lies in.
// AGRP is only read with the audio option on (OPTN bit 2). AUDO fills the blobs of group 0; an
// audio group file goes through Audio_LoadWaves with its group number and its own bytes. While
// no audio group is known every sound belongs to group 0.
#include <cstdint>
#include <string>
#include <vector>

#include "data/asset_table.h"

// One sound: a sound asset, a buffer sound, a play queue or a stream. The first fields come from
// the SOND record; the rest are the audio engine's, changed on the main thread only.
struct cAudio_Sound {
  int32_t kind = 0;
  std::string file_name;  // a copy
  float gain = 0.0f;
  int32_t group = 0;
  int32_t audo_index = -1;
  bool streamed = false;
  bool compressed = false;
  bool decompress_on_load = false;
  float pitch = 1.0f;
  double duration = -1.0;  // seconds; -1 until known
  int32_t ref_count = 1;
  const uint8_t* data = nullptr;  // the blob's size word; null until its group is loaded
  uint32_t data_size = 0;
  const uint8_t* record = nullptr;

  uint32_t buffer = 0;  // the mixing layer's buffer of a plain sound, 0 for none
  bool keepBuffer = false;  // decoded at load: the buffer outlives an unload of its group
  float gainStart = 0.0f, gainTarget = 0.0f;
  int64_t gainStartTime = 0, gainEndTime = 0;  // microseconds; gainEndTime 0 is no ramp
  std::string filePath;  // where a streamed sound's file was found
  int32_t sampleRate = 0, channels = 1;
  int64_t sampleCount = 0;
  bool headerRead = false;  // sampleRate, channels and sampleCount are known
  float trackPosition = 0.0f;  // where new voices start, seconds
  bool isQueue = false;
  bool deleted = false;  // a stream whose destroy waits for its voices

  // Streamed or compressed: played through the streaming workers.
  bool IsCompressed() const { return streamed || compressed; }
};
using SoundAsset = cAudio_Sound;

struct AudioGroupAsset {
  const char* name = nullptr;  // in the image
};

struct AudioBlob {
  const uint8_t* data = nullptr;  // the size word; null for an empty slot
  uint32_t size = 0;
};

const AssetTable<SoundAsset>& Sound_Table();
SoundAsset* Sound_Get(int32_t index);
const AssetTable<AudioGroupAsset>& AudioGroup_Table();
// The blobs of the data file's AUDO chunk.
const std::vector<AudioBlob>& Audio_Blobs();

// Reads an AUDO payload for `group`: each sound of that group takes the blob at its index, the
// offsets being from `base`, a block of `base_size` bytes that holds the payload. False (with the
// failure line) for a damaged list or blob.
bool Audio_LoadWaves(int32_t group, const uint8_t* payload, uint32_t size, const uint8_t* base, uint32_t base_size);

bool Sound_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
bool AudioGroup_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
bool Audio_LoadDataFileWaves(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Sound_Clear();

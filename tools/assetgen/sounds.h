#pragma once
// The game's sounds, synthesised: short dry effects and one looping music track. Samples are mono
// floats in -1 .. 1 at kSampleRate; encode_ogg writes them as Ogg Vorbis.
#include <string>
#include <vector>

#include "assetgen/encode/ogg_encode.h"

namespace assetgen {

struct SoundAsset {
  std::string name;
  Samples samples;
  bool loop = false;  // music: its last sample leads back into its first without a step
};

std::vector<SoundAsset> game_sounds();

}  // namespace assetgen

#pragma once
// The game's sounds, synthesised: short dry effects and one looping music track. Samples are mono
// floats in -1 .. 1 at kSampleRate; encode_ogg writes them as Ogg Vorbis.
#include <string>
#include <vector>

namespace assetgen {

constexpr int kSampleRate = 44100;

using Samples = std::vector<float>;

struct SoundAsset {
  std::string name;
  Samples samples;
  bool loop = false;  // music: its last sample leads back into its first without a step
};

std::vector<SoundAsset> game_sounds();

// Ogg Vorbis bytes of `samples` (mono, kSampleRate); quality 0 .. 1.
std::vector<unsigned char> encode_ogg(const Samples& samples, float quality);

}  // namespace assetgen

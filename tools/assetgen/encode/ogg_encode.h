#pragma once
// Ogg Vorbis encoding of mono float samples (-1 .. 1) at kSampleRate.
#include <vector>

namespace assetgen {

constexpr int kSampleRate = 44100;

using Samples = std::vector<float>;

// Ogg Vorbis bytes of `samples`; quality 0 .. 1.
std::vector<unsigned char> encode_ogg(const Samples& samples, float quality);

}  // namespace assetgen

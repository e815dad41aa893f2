#pragma once
// Writers of the audio chunks (datawin/format/audio_layout.h): SOND (sound records), AGRP (audio
// group names) and AUDO (sound blobs). A blob is written as a u32 byte count followed by its
// bytes, 4-aligned, and its list entry points at the count. Empty optionals leave slots at 0.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

struct SoundRecord {
  std::string name;
  int32_t kind = 0;
  std::string file_name;
  float gain = 1.0f;
  int32_t group = 0;
  int32_t audo_index = -1;
};
Blob& add_sond(Writer& writer, const std::vector<std::optional<SoundRecord>>& sounds);

Blob& add_agrp(Writer& writer, const std::vector<std::optional<std::string>>& groups);

// The AUDO chunk; also the layout of an audio group file's payload.
Blob& add_audo(Writer& writer, const std::vector<std::optional<std::vector<uint8_t>>>& blobs);
// The same payload into a given blob (an audio group file is a FORM with one AUDO chunk).
void put_audio_blobs(Blob& blob, const std::vector<std::optional<std::vector<uint8_t>>>& blobs);

}  // namespace datawin

#pragma once
// Layouts of the audio chunks. SOND is a pointer list of sound records; AGRP a pointer list of
// audio-group records (one name each); AUDO (and an audio group file) a u32 count and offsets of
// sound blobs, each blob a u32 byte count followed by the bytes, the offset pointing at the count.
// The sound's kind word decides its streamed/compressed/decompress-on-load flags.
#include <cstdint>

namespace datawin::sond {

constexpr uint32_t kName = 0;
constexpr uint32_t kKind = 4;
constexpr uint32_t kFileName = 12;
constexpr uint32_t kGain = 20;  // f32, copied raw
constexpr uint32_t kGroup = 28;
constexpr uint32_t kAudoIndex = 32;  // -1 for none
constexpr uint32_t kRecordBytes = 36;

// Kind values from 100 on name a form; values below 100 mean compressed and streamed when above 0.
constexpr int32_t kKindStreamedCompressed = 100;
constexpr int32_t kKindUncompressed = 101;
constexpr int32_t kKindCompressed = 102;
constexpr int32_t kKindDecompressOnLoad = 103;

struct KindFlags {
  bool streamed = false;
  bool compressed = false;
  bool decompress_on_load = false;
};

constexpr KindFlags kind_flags(int32_t kind) {
  if (kind < 100) return KindFlags{kind > 0, kind > 0, false};
  switch (kind) {
    case kKindStreamedCompressed:
      return KindFlags{true, true, false};
    case kKindCompressed:
      return KindFlags{false, true, false};
    case kKindDecompressOnLoad:
      return KindFlags{false, false, true};
    default:
      return KindFlags{};
  }
}
static_assert(kind_flags(3).streamed && !kind_flags(0).compressed && kind_flags(102).compressed);

}  // namespace datawin::sond

namespace datawin::audo {
constexpr uint32_t kBlobHeaderBytes = 4;  // the u32 byte count in front of each blob
}  // namespace datawin::audo

// SOND: a pointer list of sound records.
#include "datawin/format/audio_layout.h"
#include "datawin/writer/chunk_audio.h"

namespace datawin {

Blob& add_sond(Writer& writer, const std::vector<std::optional<SoundRecord>>& sounds) {
  Blob& blob = writer.add_chunk(kChunkSOND);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(sounds.size()));
  for (uint32_t i = 0; i < sounds.size(); ++i) {
    if (!sounds[i]) continue;
    const SoundRecord& sound = *sounds[i];
    list.set(i, blob.here());
    blob.string(sound.name);
    blob.i32(sound.kind);
    blob.u32(0);
    blob.string_or_none(sound.file_name);
    blob.u32(0);
    blob.f32(sound.gain);
    blob.u32(0);
    blob.i32(sound.group);
    blob.i32(sound.audo_index);
  }
  return blob;
}

}  // namespace datawin

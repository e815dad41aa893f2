// SOND, AGRP and AUDO readers.
#include "audio/asset_sounds.h"

#include "core/console.h"
#include "data/asset_load.h"
#include "data/asset_options.h"
#include "data/game_data.h"
#include "datawin/format/audio_layout.h"
#include "datawin/format/byte_order.h"

using namespace datawin;

namespace {

AssetTable<SoundAsset> g_sounds;
AssetTable<AudioGroupAsset> g_groups;
std::vector<AudioBlob> g_blobs;

bool read_sound(uint32_t offset, SoundAsset* sound, const char** name) {
  ByteCursor cur = Asset_RecordCursor(offset);
  const char* file_name = nullptr;
  if (!cur.read_string(name) || !cur.read_i32(&sound->kind) || !cur.skip(4) || !cur.read_string(&file_name) ||
      !cur.skip(4) || !cur.read_f32(&sound->gain) || !cur.skip(4) || !cur.read_i32(&sound->group) ||
      !cur.read_i32(&sound->audo_index)) {
    return Asset_LoadError("SOND", "sound record cut off or bad string", cur.offset());
  }
  const sond::KindFlags flags = sond::kind_flags(sound->kind);
  sound->streamed = flags.streamed;
  sound->compressed = flags.compressed;
  sound->decompress_on_load = flags.decompress_on_load;
  sound->file_name = file_name != nullptr ? file_name : "";
  sound->record = cur.image() + offset;
  return true;
}

}  // namespace

const AssetTable<SoundAsset>& Sound_Table() { return g_sounds; }
SoundAsset* Sound_Get(int32_t index) { return g_sounds.get(index); }
const AssetTable<AudioGroupAsset>& AudioGroup_Table() { return g_groups; }
const std::vector<AudioBlob>& Audio_Blobs() { return g_blobs; }

void Sound_Clear() {
  g_sounds.clear();
  g_groups.clear();
  g_blobs.clear();
}

bool Sound_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  g_DebugConsole->Output("Audio_Load()\n");
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_sounds.clear();
  if (!Asset_ReadPointerList(cur, "SOND", &offsets)) return false;
  g_sounds.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto sound = std::make_unique<SoundAsset>();
    const char* name = nullptr;
    if (!read_sound(offsets[i], sound.get(), &name)) return false;
    g_sounds.set(i, std::move(sound), name);
  }
  return true;
}

bool AudioGroup_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  g_DebugConsole->Output("AudioGroup_Load()\n");
  if (!Options_Flag(optn::kOptionAudio)) return true;
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_groups.clear();
  if (!Asset_ReadPointerList(cur, "AGRP", &offsets)) return false;
  g_groups.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    ByteCursor record = Asset_RecordCursor(offsets[i]);
    auto group = std::make_unique<AudioGroupAsset>();
    if (!record.read_string(&group->name)) return Asset_LoadError("AGRP", "group record cut off or bad name", offsets[i]);
    const char* name = group->name;
    g_groups.set(i, std::move(group), name);
  }
  return true;
}

bool Audio_LoadWaves(int32_t group, const uint8_t* payload, uint32_t size, const uint8_t* base, uint32_t base_size) {
  if (payload < base || size > base_size || static_cast<uint64_t>(payload - base) > base_size - size) {
    return Asset_LoadError("AUDO", "payload outside its block", 0);
  }
  const auto begin = static_cast<uint32_t>(payload - base);
  ByteCursor cur(base, base_size, begin, begin + size);
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return Asset_LoadError("AUDO", "blob list cut off", begin);
  std::vector<AudioBlob> blobs(count);
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t offset = 0;
    cur.read_u32(&offset);
    if (offset == 0) continue;
    if (offset > base_size || base_size - offset < audo::kBlobHeaderBytes) {
      return Asset_LoadError("AUDO", "blob offset outside the file", cur.offset() - 4);
    }
    const uint32_t bytes = load_u32(base + offset);
    if (bytes > base_size - offset - audo::kBlobHeaderBytes) return Asset_LoadError("AUDO", "blob passes the end of the file", offset);
    blobs[i] = AudioBlob{base + offset, bytes};
  }
  if (g_groups.count() == 0) {
    for (int32_t i = 0; i < g_sounds.count(); ++i) {
      if (SoundAsset* sound = g_sounds.get(i)) sound->group = 0;
    }
  }
  for (int32_t i = 0; i < g_sounds.count(); ++i) {
    SoundAsset* sound = g_sounds.get(i);
    if (sound == nullptr || sound->group != group) continue;
    const bool valid = sound->audo_index >= 0 && static_cast<uint32_t>(sound->audo_index) < count;
    const AudioBlob blob = valid ? blobs[sound->audo_index] : AudioBlob{};
    sound->data = blob.data;
    sound->data_size = blob.size;
  }
  if (group == 0 && base == GameData_Image()) g_blobs = std::move(blobs);
  return true;
}

bool Audio_LoadDataFileWaves(const uint8_t* payload, uint32_t size, const uint8_t*) {
  g_DebugConsole->Output("Audio_WAVs()\n");
  return Audio_LoadWaves(0, payload, size, GameData_Image(), GameData_ImageSize());
}

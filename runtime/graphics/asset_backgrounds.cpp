// BGND reader.
#include "graphics/asset_backgrounds.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/sprite_layout.h"
#include "graphics/asset_texture_pages.h"

using namespace datawin;

namespace {

AssetTable<BackgroundAsset> g_backgrounds;

bool read_tiles(ByteCursor& cur, BackgroundAsset* tiles) {
  int32_t words[7] = {};
  for (int32_t& word : words) {
    if (!cur.read_i32(&word)) return Asset_LoadError("BGND", "tile block cut off", cur.offset());
  }
  tiles->tile_width = words[0];
  tiles->tile_height = words[1];
  tiles->border_x = words[2];
  tiles->border_y = words[3];
  tiles->columns = words[4];
  tiles->frames_per_tile = words[5];
  tiles->tile_count = words[6];
  if (!cur.skip(4) || !cur.read_u64(&tiles->frame_time)) return Asset_LoadError("BGND", "tile block cut off", cur.offset());
  if (tiles->frames_per_tile < 0 || tiles->tile_count < 0) return Asset_LoadError("BGND", "negative tile count", cur.offset());
  const uint64_t cells = static_cast<uint64_t>(tiles->tile_count) * static_cast<uint64_t>(tiles->frames_per_tile);
  if (cells * 4 > cur.remaining()) return Asset_LoadError("BGND", "animation table passes the end of the file", cur.offset());
  tiles->animation = cur.here();
  tiles->tiles = true;
  return true;
}

bool read_background(uint32_t offset, BackgroundAsset* tiles, const char** name) {
  ByteCursor cur = Asset_RecordCursor(offset);
  uint32_t transparent = 0, smooth = 0, preload = 0;
  if (!cur.read_string(name) || !cur.read_u32(&transparent) || !cur.read_u32(&smooth) || !cur.read_u32(&preload) ||
      !Asset_ReadPageEntry(cur, &tiles->page_entry)) {
    return Asset_LoadError("BGND", "tile set record cut off or bad reference", cur.offset());
  }
  tiles->record = cur.image() + offset;
  tiles->transparent = transparent != 0;
  tiles->smooth = smooth != 0;
  tiles->preload = preload != 0;
  if (tiles->page_entry != nullptr) {
    const TexturePageEntry entry = PageEntry_Read(tiles->page_entry);
    tiles->width = entry.original_width;
    tiles->height = entry.original_height;
  }
  if (GameData_Header().generation < 2) return true;
  if (!cur.read_u32(&tiles->version)) return Asset_LoadError("BGND", "tile set version cut off", cur.offset());
  return tiles->version < bgnd::kTileVersion || read_tiles(cur, tiles);
}

}  // namespace

const AssetTable<BackgroundAsset>& Background_Table() { return g_backgrounds; }
BackgroundAsset* Background_Get(int32_t index) { return g_backgrounds.get(index); }
void Background_Clear() { g_backgrounds.clear(); }

uint32_t Background_TileFrame(const BackgroundAsset* background, int32_t tile, int32_t frame) {
  if (background == nullptr || background->animation == nullptr || tile < 0 || tile >= background->tile_count ||
      background->frames_per_tile <= 0) {
    return static_cast<uint32_t>(tile);
  }
  int32_t step = frame % background->frames_per_tile;
  if (step < 0) step += background->frames_per_tile;
  const size_t cell = static_cast<size_t>(tile) * background->frames_per_tile + step;
  return load_u32(background->animation + 4 * cell);
}

bool Background_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_backgrounds.clear();
  if (!Asset_ReadPointerList(cur, "BGND", &offsets)) return false;
  g_backgrounds.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto tiles = std::make_unique<BackgroundAsset>();
    const char* name = nullptr;
    if (!read_background(offsets[i], tiles.get(), &name)) return false;
    g_backgrounds.set(i, std::move(tiles), name);
  }
  return true;
}

// BGND: a pointer list of tile-set records; in generation 2 a version word and, from version 2,
// the tile block follow the head.
#include "datawin/writer/chunk_sprites.h"

namespace datawin {

Blob& add_bgnd(Writer& writer, uint32_t generation, const std::vector<std::optional<BackgroundRecord>>& backgrounds) {
  Blob& blob = writer.add_chunk(kChunkBGND);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(backgrounds.size()));
  for (uint32_t i = 0; i < backgrounds.size(); ++i) {
    if (!backgrounds[i]) continue;
    const BackgroundRecord& tiles = *backgrounds[i];
    list.set(i, blob.here());
    blob.string(tiles.name);
    blob.u32(tiles.transparent ? 1 : 0);
    blob.u32(tiles.smooth ? 1 : 0);
    blob.u32(tiles.preload ? 1 : 0);
    blob.offset(tiles.page_entry);
    if (generation < 2) continue;
    blob.u32(tiles.version);
    if (tiles.version < bgnd::kTileVersion) continue;
    const uint64_t cells = static_cast<uint64_t>(tiles.tile_count > 0 ? tiles.tile_count : 0) *
                           static_cast<uint64_t>(tiles.frames_per_tile > 0 ? tiles.frames_per_tile : 0);
    if (tiles.animation.size() != cells) throw WriteError("BGND: " + tiles.name + ": animation table size");
    for (int32_t word : {tiles.tile_width, tiles.tile_height, tiles.border_x, tiles.border_y, tiles.columns,
                         tiles.frames_per_tile, tiles.tile_count}) {
      blob.i32(word);
    }
    blob.u32(0);
    blob.u64(tiles.frame_time);
    for (uint32_t frame : tiles.animation) blob.u32(frame);
  }
  return blob;
}

}  // namespace datawin

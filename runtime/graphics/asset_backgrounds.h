#pragma once
// The tile sets of chunk BGND (the background assets), as read. The size is the page entry's
// original size. Generation 2 records of version 2 on carry the tile layout and an animation
// table (tile count x frames per tile u32 frame numbers) used in place.
#include <cstdint>

#include "data/asset_table.h"

struct BackgroundAsset {
  const uint8_t* record = nullptr;
  bool transparent = false;
  bool smooth = false;
  bool preload = false;
  const uint8_t* page_entry = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  bool tiles = false;  // the tile block below was read
  uint32_t version = 0;
  int32_t tile_width = 0, tile_height = 0;
  int32_t border_x = 0, border_y = 0;
  int32_t columns = 0;
  int32_t frames_per_tile = 0;
  int32_t tile_count = 0;
  uint64_t frame_time = 0;  // microseconds
  const uint8_t* animation = nullptr;  // tile_count x frames_per_tile u32, in the image
};

const AssetTable<BackgroundAsset>& Background_Table();
BackgroundAsset* Background_Get(int32_t index);
// Frame `frame` of tile `tile` from the animation table; the tile itself without one.
uint32_t Background_TileFrame(const BackgroundAsset* background, int32_t tile, int32_t frame);

bool Background_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Background_Clear();

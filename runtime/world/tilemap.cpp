// Tile map cells: resizing, setting and reading cells, the pixel-to-cell rule, tile data bits.
#include "world/tilemap.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/console.h"
#include "graphics/asset_backgrounds.h"
#include "world/layer.h"

uint32_t Tilemap_GlobalMask = 0xFFFFFFFF;

uint32_t Tile_SetEmpty(uint32_t data) { return data & ~kTileIndexMask; }

uint32_t Tile_SetIndex(uint32_t data, uint32_t index) { return (data & ~kTileIndexMask) | (index & kTileIndexMask); }

uint32_t Tile_SetBit(uint32_t data, uint32_t bit, bool on) { return on ? (data | bit) : (data & ~bit); }

void Tilemap_Resize(CLayerTilemapElement* map, int32_t width, int32_t height) {
  width = std::max(width, 1);
  height = std::max(height, 1);
  if (width == map->width && height == map->height && map->cells != nullptr) return;
  auto* cells = new uint32_t[static_cast<size_t>(width) * static_cast<size_t>(height)]();
  if (map->cells != nullptr) {
    const int32_t rows = std::min(height, map->height);
    const int32_t columns = std::min(width, map->width);
    for (int32_t row = 0; row < rows; ++row) {
      std::memcpy(cells + static_cast<size_t>(row) * static_cast<size_t>(width),
                  map->cells + static_cast<size_t>(row) * static_cast<size_t>(map->width),
                  static_cast<size_t>(columns) * sizeof(uint32_t));
    }
  }
  delete[] map->cells;
  map->cells = cells;
  map->width = width;
  map->height = height;
}

bool Tilemap_Set(CLayerTilemapElement* map, uint32_t data, int32_t x, int32_t y) {
  if (map->width <= 0 || map->height <= 0 || map->cells == nullptr) {
    g_ReleaseConsole->Output("tilemap_set() - tilemap is 0 by 0, not setting anything\n");
    return false;
  }
  const BackgroundAsset* tiles = Background_Get(map->tileSet);
  if (tiles != nullptr && tiles->tiles && (data & kTileIndexMask) >= static_cast<uint32_t>(tiles->tile_count)) {
    g_ReleaseConsole->Output("tilemap_set() - tile index outside tile set size\n");
    return false;
  }
  if (x < 0 || y < 0 || x >= map->width || y >= map->height) return false;
  map->cells[static_cast<size_t>(y) * static_cast<size_t>(map->width) + static_cast<size_t>(x)] = data;
  return true;
}

int64_t Tilemap_Get(const CLayerTilemapElement* map, int32_t x, int32_t y) {
  if (map->cells == nullptr || x < 0 || y < 0 || x >= map->width || y >= map->height) return -1;
  return map->cells[static_cast<size_t>(y) * static_cast<size_t>(map->width) + static_cast<size_t>(x)];
}

void Tilemap_Clear(CLayerTilemapElement* map, uint32_t data) {
  if (map->cells == nullptr) return;
  std::fill_n(map->cells, static_cast<size_t>(map->width) * static_cast<size_t>(map->height), data);
}

bool Tilemap_TileSize(const CLayerTilemapElement* map, int32_t* width, int32_t* height) {
  const BackgroundAsset* tiles = Background_Get(map->tileSet);
  if (tiles == nullptr || tiles->tile_width <= 0 || tiles->tile_height <= 0) return false;
  *width = tiles->tile_width;
  *height = tiles->tile_height;
  return true;
}

bool Tilemap_CellAtPixel(const CLayerTilemapElement* map, float px, float py, const char* builtin, int32_t* cx,
                         int32_t* cy) {
  int32_t tw = 0, th = 0;
  if (!Tilemap_TileSize(map, &tw, &th)) {
    g_ReleaseConsole->Output("%s() - could not find tileset for this map\n", builtin);
    return false;
  }
  const float ox = map->x + (map->layer != nullptr ? map->layer->xOffset : 0.0f);
  const float oy = map->y + (map->layer != nullptr ? map->layer->yOffset : 0.0f);
  *cx = static_cast<int32_t>(std::floor((px - ox) / static_cast<float>(tw)));
  *cy = static_cast<int32_t>(std::floor((py - oy) / static_cast<float>(th)));
  return true;
}

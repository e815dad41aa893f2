#pragma once
// Tile map elements: the cells of a map and the tile data bits. A cell holds the tile index in its
// low 19 bits (0 empty), mirror in bit 28, flip in bit 29, rotate in bit 30. Cells are owned by the
// element; resizing copies the overlap row by row into new cells of at least 1 by 1.
// Failures print on the release console as the builtins name them and give a neutral result.
#include <cstdint>

struct CLayerTilemapElement;
struct CLayer;

constexpr uint32_t kTileIndexMask = 0x7FFFF;
constexpr uint32_t kTileMirror = 0x10000000;
constexpr uint32_t kTileFlip = 0x20000000;
constexpr uint32_t kTileRotate = 0x40000000;

// tilemap_set_global_mask / tilemap_get_global_mask: ANDed with every cell before use.
extern uint32_t Tilemap_GlobalMask;

// Tile data helpers of the tile_* builtins.
uint32_t Tile_SetEmpty(uint32_t data);
uint32_t Tile_SetIndex(uint32_t data, uint32_t index);
uint32_t Tile_SetBit(uint32_t data, uint32_t bit, bool on);

// New cells of width x height (each at least 1); a size that doesn't change does nothing.
void Tilemap_Resize(CLayerTilemapElement* map, int32_t width, int32_t height);
// tilemap_set: prints "tilemap_set() - tilemap is 0 by 0, not setting anything\n" for an empty map
// and "tilemap_set() - tile index outside tile set size\n" for a tile beyond the tile set; a cell
// out of range gives false.
bool Tilemap_Set(CLayerTilemapElement* map, uint32_t data, int32_t x, int32_t y);
// The cell, or -1 out of range.
int64_t Tilemap_Get(const CLayerTilemapElement* map, int32_t x, int32_t y);
void Tilemap_Clear(CLayerTilemapElement* map, uint32_t data);
// The cell under a room pixel: (pixel - layer offset - map position) / tile size. False (with
// "<builtin>() - could not find tileset for this map\n") when the tile set is missing; the cell
// may lie outside the map.
bool Tilemap_CellAtPixel(const CLayerTilemapElement* map, float px, float py, const char* builtin, int32_t* cx,
                         int32_t* cy);
// Tile width and height of the map's tile set; false without one.
bool Tilemap_TileSize(const CLayerTilemapElement* map, int32_t* width, int32_t* height);

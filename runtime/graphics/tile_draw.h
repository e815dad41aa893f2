#pragma once
// Tile maps and backgrounds as quads. A tile map draws only the cells the cull rectangle can show,
// in blocks of one vertex allocation (unused vertices go back to the batcher at the end of a
// block); a tile set whose page entry is cropped takes one clipped quad per cell instead. A cell is
// ANDed with the mask the caller gives (the map's and the global one); its low 19 bits pick the
// tile (0 empty), bit 28 mirrors, 29 flips and 30 rotates its uv corners, never its position.
//
// Backgrounds of layers repeat their sprite from the layer's offset over the cull rectangle (with
// the sprite's origin taken as 0), or without a sprite fill the whole view with their colour.
#include <cstdint>

// Draws a map of width x height cells (row by row) with its top left at (x, y).
void Tilemap_Draw(int32_t tileSet, const uint32_t* cells, int32_t width, int32_t height, uint32_t mask, float frame,
                  float x, float y);
// draw_tile: one cell value at (x, y) with the given animation frame.
void Tile_Draw(int32_t tileSet, uint32_t data, int32_t frame, float x, float y);

struct BackgroundDraw {
  int32_t sprite = -1;
  float imageIndex = 0;
  float x = 0, y = 0;  // the layer's offset
  bool htiled = false, vtiled = false, stretch = false;
  float xscale = 1, yscale = 1;
  uint32_t colour = 0xFFFFFF;
  float alpha = 1;
};
// A background element; stretched uses the room's size.
void Background_DrawLayer(const BackgroundDraw& background, float roomWidth, float roomHeight);

// Builtins of tile maps and tile data.
#include <cmath>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "graphics/asset_backgrounds.h"
#include "graphics/tile_draw.h"
#include "world/layer.h"
#include "world/layer_builtins.h"
#include "world/tilemap.h"

#define LAYER_FN(fn)                                                                                   \
  void fn([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self,                           \
          [[maybe_unused]] CInstance* other, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

namespace {

CLayerTilemapElement* map_of(const char* name, RValue* result, int argc, RValue* argv, int count) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count(name, argc, count)) return nullptr;
  return static_cast<CLayerTilemapElement*>(LayerArg_Element(Layer_TargetRoom(), argv, 0, kLayerElementTilemap, name));
}

// Tile data are u32 values carried in reals.
uint32_t data_arg(const RValue* argv, int n) { return static_cast<uint32_t>(KVGetInt64(argv, n)); }

LAYER_FN(F_LayerTilemapGetId) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_tilemap_get_id", argc, 1)) return;
  CLayer* layer = LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, "layer_tilemap_get_id");
  if (layer == nullptr) return;
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    if (element->kind == kLayerElementTilemap) {
      LayerResult_Real(result, element->id);
      return;
    }
  }
}

LAYER_FN(F_LayerTilemapExists) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("layer_tilemap_exists", argc, 2)) return;
  CRoom* room = Layer_TargetRoom();
  CLayer* layer = LayerArg_Layer(room, argv, 0);
  CLayerElementBase* element = Layer_FindElement(room, KVGetInt32(argv, 1), kLayerElementTilemap);
  LayerResult_Bool(result, layer != nullptr && element != nullptr && element->layer == layer);
}

LAYER_FN(F_LayerTilemapCreate) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_tilemap_create", argc, 6)) return;
  CRoom* room = Layer_TargetRoom();
  CLayer* layer = LayerArg_Layer(room, argv, 0);
  if (layer == nullptr) {
    g_ReleaseConsole->Output("layer_tilemap_create() - could not find specified layer in current room\n");
    return;
  }
  auto* map = static_cast<CLayerTilemapElement*>(Layer_NewElement(kLayerElementTilemap));
  map->x = KVGetFloat(argv, 1);
  map->y = KVGetFloat(argv, 2);
  map->tileSet = KVGetInt32(argv, 3);
  Tilemap_Resize(map, KVGetInt32(argv, 4), KVGetInt32(argv, 5));
  LayerResult_Real(result, Layer_AddElement(room, layer, map));
}

LAYER_FN(F_LayerTilemapDestroy) {
  if (CLayerTilemapElement* map = map_of("layer_tilemap_destroy", result, argc, argv, 1)) {
    Layer_RemoveElement(Layer_TargetRoom(), map->layer, map, false);
    LayerResult_Real(result, 0.0);
  }
}

#define MAP_SETTER(fn, name, statement)                                      \
  LAYER_FN(fn) {                                                             \
    if (CLayerTilemapElement* map = map_of(name, result, argc, argv, 2)) {   \
      statement;                                                             \
      LayerResult_Real(result, 0.0);                                         \
    }                                                                        \
  }
#define MAP_GETTER(fn, name, value)                                                              \
  LAYER_FN(fn) {                                                                                 \
    if (CLayerTilemapElement* map = map_of(name, result, argc, argv, 1)) LayerResult_Real(result, value); \
  }

MAP_SETTER(F_TilemapTileset, "tilemap_tileset", map->tileSet = KVGetInt32(argv, 1))
MAP_SETTER(F_TilemapX, "tilemap_x", map->x = KVGetFloat(argv, 1))
MAP_SETTER(F_TilemapY, "tilemap_y", map->y = KVGetFloat(argv, 1))
MAP_SETTER(F_TilemapSetWidth, "tilemap_set_width", Tilemap_Resize(map, KVGetInt32(argv, 1), map->height))
MAP_SETTER(F_TilemapSetHeight, "tilemap_set_height", Tilemap_Resize(map, map->width, KVGetInt32(argv, 1)))
MAP_SETTER(F_TilemapSetMask, "tilemap_set_mask", map->tileMask = data_arg(argv, 1))
MAP_GETTER(F_TilemapGetTileset, "tilemap_get_tileset", map->tileSet)
MAP_GETTER(F_TilemapGetWidth, "tilemap_get_width", map->width)
MAP_GETTER(F_TilemapGetHeight, "tilemap_get_height", map->height)
MAP_GETTER(F_TilemapGetX, "tilemap_get_x", map->x)
MAP_GETTER(F_TilemapGetY, "tilemap_get_y", map->y)
MAP_GETTER(F_TilemapGetMask, "tilemap_get_mask", map->tileMask)
MAP_GETTER(F_TilemapGetFrame, "tilemap_get_frame", std::floor(map->frame))

LAYER_FN(F_TilemapGetTileWidth) {
  CLayerTilemapElement* map = map_of("tilemap_get_tile_width", result, argc, argv, 1);
  int32_t width = 0, height = 0;
  if (map != nullptr && Tilemap_TileSize(map, &width, &height)) LayerResult_Real(result, width);
}

LAYER_FN(F_TilemapGetTileHeight) {
  CLayerTilemapElement* map = map_of("tilemap_get_tile_height", result, argc, argv, 1);
  int32_t width = 0, height = 0;
  if (map != nullptr && Tilemap_TileSize(map, &width, &height)) LayerResult_Real(result, height);
}

LAYER_FN(F_TilemapSet) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("tilemap_set", argc, 4)) return;
  auto* map = static_cast<CLayerTilemapElement*>(
      LayerArg_Element(Layer_TargetRoom(), argv, 0, kLayerElementTilemap, "tilemap_set"));
  if (map == nullptr) return;
  LayerResult_Bool(result, Tilemap_Set(map, data_arg(argv, 1), KVGetInt32(argv, 2), KVGetInt32(argv, 3)));
}

LAYER_FN(F_TilemapSetAtPixel) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count("tilemap_set_at_pixel", argc, 4)) return;
  auto* map = static_cast<CLayerTilemapElement*>(
      LayerArg_Element(Layer_TargetRoom(), argv, 0, kLayerElementTilemap, "tilemap_set_at_pixel"));
  int32_t cx = 0, cy = 0;
  if (map == nullptr ||
      !Tilemap_CellAtPixel(map, KVGetFloat(argv, 2), KVGetFloat(argv, 3), "tilemap_set_at_pixel", &cx, &cy)) {
    return;
  }
  LayerResult_Bool(result, Tilemap_Set(map, data_arg(argv, 1), cx, cy));
}

LAYER_FN(F_TilemapGet) {
  if (CLayerTilemapElement* map = map_of("tilemap_get", result, argc, argv, 3)) {
    LayerResult_Real(result, static_cast<double>(Tilemap_Get(map, KVGetInt32(argv, 1), KVGetInt32(argv, 2))));
  }
}

// The three pixel readers: the cell's data, its column or its row.
void at_pixel(const char* name, int what, RValue* result, int argc, RValue* argv) {
  CLayerTilemapElement* map = map_of(name, result, argc, argv, 3);
  int32_t cx = 0, cy = 0;
  if (map == nullptr || !Tilemap_CellAtPixel(map, KVGetFloat(argv, 1), KVGetFloat(argv, 2), name, &cx, &cy)) return;
  if (cx < 0 || cy < 0 || cx >= map->width || cy >= map->height) return;
  const double value = what == 0 ? static_cast<double>(Tilemap_Get(map, cx, cy)) : what == 1 ? cx : cy;
  LayerResult_Real(result, value);
}

LAYER_FN(F_TilemapGetAtPixel) { at_pixel("tilemap_get_at_pixel", 0, result, argc, argv); }
LAYER_FN(F_TilemapGetCellXAtPixel) { at_pixel("tilemap_get_cell_x_at_pixel", 1, result, argc, argv); }
LAYER_FN(F_TilemapGetCellYAtPixel) { at_pixel("tilemap_get_cell_y_at_pixel", 2, result, argc, argv); }

LAYER_FN(F_TilemapClear) {
  if (CLayerTilemapElement* map = map_of("tilemap_clear", result, argc, argv, 2)) {
    Tilemap_Clear(map, data_arg(argv, 1));
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_TilemapSetGlobalMask) {
  if (!LayerArg_Count("tilemap_set_global_mask", argc, 1)) return;
  Tilemap_GlobalMask = data_arg(argv, 0);
  LayerResult_Real(result, 0.0);
}

LAYER_FN(F_TilemapGetGlobalMask) {
  if (!LayerArg_Count("tilemap_get_global_mask", argc, 0)) return;
  LayerResult_Real(result, Tilemap_GlobalMask);
}

// Drawing outside the layer walk belongs to the sprite and tile drawing; until a drawer is
// installed these check their arguments and draw nothing.
// Both draw as the layer walk does, at the given position instead of the layer's: the map with its
// own mask and frame and the global mask, the tile with the frame given.
LAYER_FN(F_DrawTilemap) {
  if (CLayerTilemapElement* map = map_of("draw_tilemap", result, argc, argv, 3)) {
    Tilemap_Draw(map->tileSet, map->cells, map->width, map->height, map->tileMask & Tilemap_GlobalMask, map->frame,
                 KVGetFloat(argv, 1), KVGetFloat(argv, 2));
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_DrawTile) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("draw_tile", argc, 5)) return;
  const int32_t tile_set = KVGetInt32(argv, 0);
  if (Background_Get(tile_set) == nullptr) {
    g_ReleaseConsole->Output("draw_tile() - could not find specified tileset\n");
    return;
  }
  Tile_Draw(tile_set, data_arg(argv, 1), KVGetInt32(argv, 2), KVGetFloat(argv, 3), KVGetFloat(argv, 4));
  LayerResult_Real(result, 0.0);
}

// ---- Tile data -----------------------------------------------------------------------------------

#define TILE_DATA_FN(fn, name, count, value)                 \
  LAYER_FN(fn) {                                             \
    LayerResult_Real(result, -1.0);                          \
    if (!LayerArg_Count(name, argc, count)) return;          \
    const uint32_t data = data_arg(argv, 0);                 \
    LayerResult_Real(result, value);                         \
  }

TILE_DATA_FN(F_TileSetEmpty, "tile_set_empty", 1, Tile_SetEmpty(data))
TILE_DATA_FN(F_TileSetIndex, "tile_set_index", 2, Tile_SetIndex(data, data_arg(argv, 1)))
TILE_DATA_FN(F_TileSetFlip, "tile_set_flip", 2, Tile_SetBit(data, kTileFlip, KVGetReal(argv, 1) > 0.5))
TILE_DATA_FN(F_TileSetMirror, "tile_set_mirror", 2, Tile_SetBit(data, kTileMirror, KVGetReal(argv, 1) > 0.5))
TILE_DATA_FN(F_TileSetRotate, "tile_set_rotate", 2, Tile_SetBit(data, kTileRotate, KVGetReal(argv, 1) > 0.5))
TILE_DATA_FN(F_TileGetIndex, "tile_get_index", 1, data & kTileIndexMask)

#define TILE_FLAG_FN(fn, name, test)                         \
  LAYER_FN(fn) {                                             \
    LayerResult_Bool(result, false);                         \
    if (!LayerArg_Count(name, argc, 1)) return;              \
    const uint32_t data = data_arg(argv, 0);                 \
    LayerResult_Bool(result, test);                          \
  }

TILE_FLAG_FN(F_TileGetEmpty, "tile_get_empty", (data & kTileIndexMask) == 0)
TILE_FLAG_FN(F_TileGetFlip, "tile_get_flip", (data & kTileFlip) != 0)
TILE_FLAG_FN(F_TileGetMirror, "tile_get_mirror", (data & kTileMirror) != 0)
TILE_FLAG_FN(F_TileGetRotate, "tile_get_rotate", (data & kTileRotate) != 0)

}  // namespace

void Layer_RegisterTilemapBuiltins() {
  Function_Add("layer_tilemap_get_id", F_LayerTilemapGetId, 1, 0);
  Function_Add("layer_tilemap_exists", F_LayerTilemapExists, 2, 0);
  Function_Add("layer_tilemap_create", F_LayerTilemapCreate, 6, 0);
  Function_Add("layer_tilemap_destroy", F_LayerTilemapDestroy, 1, 0);
  Function_Add("tilemap_tileset", F_TilemapTileset, 2, 0);
  Function_Add("tilemap_x", F_TilemapX, 2, 0);
  Function_Add("tilemap_y", F_TilemapY, 2, 0);
  Function_Add("tilemap_set", F_TilemapSet, 4, 0);
  Function_Add("tilemap_set_at_pixel", F_TilemapSetAtPixel, 4, 0);
  Function_Add("tilemap_get_tileset", F_TilemapGetTileset, 1, 0);
  Function_Add("tilemap_get_tile_width", F_TilemapGetTileWidth, 1, 0);
  Function_Add("tilemap_get_tile_height", F_TilemapGetTileHeight, 1, 0);
  Function_Add("tilemap_get_width", F_TilemapGetWidth, 1, 0);
  Function_Add("tilemap_get_height", F_TilemapGetHeight, 1, 0);
  Function_Add("tilemap_set_width", F_TilemapSetWidth, 2, 0);
  Function_Add("tilemap_set_height", F_TilemapSetHeight, 2, 0);
  Function_Add("tilemap_get_x", F_TilemapGetX, 1, 0);
  Function_Add("tilemap_get_y", F_TilemapGetY, 1, 0);
  Function_Add("tilemap_get", F_TilemapGet, 3, 0);
  Function_Add("tilemap_get_at_pixel", F_TilemapGetAtPixel, 3, 0);
  Function_Add("tilemap_get_cell_x_at_pixel", F_TilemapGetCellXAtPixel, 3, 0);
  Function_Add("tilemap_get_cell_y_at_pixel", F_TilemapGetCellYAtPixel, 3, 0);
  Function_Add("tilemap_clear", F_TilemapClear, 2, 0);
  Function_Add("draw_tilemap", F_DrawTilemap, 3, 0);
  Function_Add("draw_tile", F_DrawTile, 5, 0);
  Function_Add("tilemap_set_global_mask", F_TilemapSetGlobalMask, 1, 0);
  Function_Add("tilemap_get_global_mask", F_TilemapGetGlobalMask, 0, 0);
  Function_Add("tilemap_set_mask", F_TilemapSetMask, 2, 0);
  Function_Add("tilemap_get_mask", F_TilemapGetMask, 1, 0);
  Function_Add("tilemap_get_frame", F_TilemapGetFrame, 1, 0);

  Function_Add("tile_set_empty", F_TileSetEmpty, 1, 0);
  Function_Add("tile_set_index", F_TileSetIndex, 2, 0);
  Function_Add("tile_set_flip", F_TileSetFlip, 2, 0);
  Function_Add("tile_set_mirror", F_TileSetMirror, 2, 0);
  Function_Add("tile_set_rotate", F_TileSetRotate, 2, 0);
  Function_Add("tile_get_empty", F_TileGetEmpty, 1, 0);
  Function_Add("tile_get_index", F_TileGetIndex, 1, 0);
  Function_Add("tile_get_flip", F_TileGetFlip, 1, 0);
  Function_Add("tile_get_mirror", F_TileGetMirror, 1, 0);
  Function_Add("tile_get_rotate", F_TileGetRotate, 1, 0);
}

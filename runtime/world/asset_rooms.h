#pragma once
// The rooms of chunk ROOM, as read: every field of the room record, its backgrounds, views,
// placements and tiles, its layers with their elements (record version 2 on) and its sequence
// list (version 3 on). These are the templates the room and layer subjects build their rooms
// from; nothing here makes instances, layers or cameras.
// Colours of the file (low 24 bits blend, top byte alpha) are split into `blend` and an `alpha`
// of 0..1. The physics words are read from DataVersion 6 on; below they keep the defaults here.
// A zero entry in the background or view list reads as a default record so later ones keep
// their numbers; a zero entry in the other lists is passed over. Effect properties are grouped
// into parameters as the layer's effect takes them (see LayerEffectParameterAsset).
// The reader keeps the highest layer id it met in any room (RoomAsset_HighestFileLayerId).
#include <cstdint>
#include <vector>

#include "data/asset_table.h"

struct RoomBackgroundAsset {
  bool visible = false, foreground = false;
  int32_t index = -1;  // sprite or tile set
  int32_t x = 0, y = 0;
  bool htiled = false, vtiled = false;
  int32_t hspeed = 0, vspeed = 0;
  bool stretch = false;
};

struct RoomViewAsset {
  bool enabled = false;
  float x = 0, y = 0, w = 0, h = 0;
  int32_t port_x = 0, port_y = 0, port_w = 0, port_h = 0;
  int32_t hborder = 0, vborder = 0;
  int32_t hspeed = 0, vspeed = 0;
  int32_t object = -1;
};

struct RoomPlacementAsset {
  const uint8_t* record = nullptr;
  int32_t x = 0, y = 0;
  int32_t object_index = -1;
  int32_t id = 0;
  int32_t createCode = -1;  // code indices, -1 none
  int32_t preCreateCode = -1;
  float imageXScale = 1, imageYScale = 1;
  float imageSpeed = 1;
  int32_t imageIndex = 0;
  uint32_t imageBlend = 0xFFFFFF;
  float imageAlpha = 1;
  float imageAngle = 0;
};

// An old-style tile; as a legacy tile element of an asset layer its depth and id are not read
// and stay 0 (the layer subject gives elements their ids).
struct RoomTileAsset {
  int32_t x = 0, y = 0;
  int32_t spriteIndex = -1;  // tile set or sprite
  int32_t left = 0, top = 0, width = 0, height = 0;
  int32_t depth = 0;
  int32_t id = 0;
  float xscale = 1, yscale = 1;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1;
};

// One parameter of a layer's effect: the properties of one name standing one behind the other.
// Float properties add their parsed value, colour properties four floats (the bytes of the "#"
// hexadecimal value, lowest first, over 255; all 0 for a text without "#"), samplers their text.
// Properties without a value or whose value names a .png or .jpg file are left out.
struct LayerEffectParameterAsset {
  const char* name = nullptr;
  int32_t kind = 0;  // 0 float, 1 colour, 2 sampler: the first property's kind
  std::vector<float> values;
  std::vector<const char*> texts;
};

struct LayerBackgroundAsset {
  bool visible = true, foreground = false;
  int32_t spriteIndex = -1;
  bool htiled = false, vtiled = false, stretch = false;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1;
  float imageIndex = 0;  // the first frame
  float speed = 0;
  int32_t speedType = 0;
};

// Sprite and sequence elements share one record: an asset placed with its transform, colour and
// playback head.
struct LayerPlacedAsset {
  const char* name = nullptr;
  int32_t index = -1;  // the sprite or the sequence
  float x = 0, y = 0;
  float xscale = 1, yscale = 1;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1;
  float speed = 1;  // a sprite's image speed, a sequence's playback speed
  int32_t speedType = 0;
  float position = 0;  // a sprite's image index, a sequence's head position
  float angle = 0;
};
using LayerSpriteAsset = LayerPlacedAsset;
using LayerSequenceAsset = LayerPlacedAsset;

// Cells are used in place: width x height u32 row by row, null without a tile set (no element).
struct LayerTileMapAsset {
  int32_t tileSet = -1;
  int32_t width = 0, height = 0;
  const uint8_t* cells = nullptr;
};

// A layer; `kind` is the file's (1 background, 2 instances, 3 assets, 4 tile map, 6 effect; any
// other is an empty layer) and only the data of that kind is filled.
struct RoomLayerAsset {
  const uint8_t* record = nullptr;
  const char* name = nullptr;
  int32_t id = 0;
  int32_t kind = 0;
  int32_t depth = 0;
  float xOffset = 0, yOffset = 0;
  float hSpeed = 0, vSpeed = 0;
  bool visible = true;
  bool effectEnabled = true;
  const char* effect_type = nullptr;  // null: no effect
  std::vector<LayerEffectParameterAsset> effect_parameters;
  LayerBackgroundAsset background;   // kind 1
  std::vector<int32_t> instance_ids;  // kind 2
  std::vector<RoomTileAsset> tiles;   // kind 3: legacy tiles, sprites, sequences
  std::vector<LayerSpriteAsset> sprites;
  std::vector<LayerSequenceAsset> sequences;
  LayerTileMapAsset tile_map;         // kind 4
};

struct RoomAsset {
  const uint8_t* record = nullptr;
  const char* name = nullptr;
  const char* caption = nullptr;
  int32_t width = 0, height = 0;
  int32_t speed = 0;
  bool persistent = false;
  uint32_t colour = 0;
  bool showColour = false;
  int32_t creation_code = -1;
  uint32_t flags = 0;
  uint32_t version = 0;  // the record version R, the flags' high 16 bits
  bool enableViews = false;
  bool clearViewBackground = false;
  bool clearDisplayBuffer = true;
  std::vector<RoomBackgroundAsset> backgrounds;
  std::vector<RoomViewAsset> views;
  std::vector<RoomPlacementAsset> placements;
  std::vector<RoomTileAsset> tiles;
  bool physicsEnabled = false;
  int32_t physicsGravityX = 0, physicsGravityY = 10;  // truncated from the file's floats
  float physicsPixelsToMetres = 0.1f;
  std::vector<RoomLayerAsset> layers;  // in file order; the layer subject sorts them by depth
  std::vector<int32_t> sequences;      // the room's sequence list
};

const AssetTable<RoomAsset>& RoomAsset_Table();
RoomAsset* RoomAsset_Get(int32_t index);
// The count of rooms recorded when the chunk was read (empty slots included).
int32_t RoomAsset_Count();
int32_t RoomAsset_Find(const char* name);
int32_t RoomAsset_HighestFileLayerId();

bool RoomAsset_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void RoomAsset_Clear();

#pragma once
// The sprite records of chunk SPRT, as read: sizes, bounding box, origin, flags, the frames (page
// entries in the image), the collision masks (used in place) and, for the new form, speed, kind,
// sequence and nine-slice data. The sprite subject draws from these records.
// Old form and bitmap sprites: masks follow the frame list; with as many masks as frames each
// frame has its own, otherwise every frame uses the first. Vector and skeleton sprites keep their
// data in place, unparsed. A sequence replaces the origin with its own, truncated.
#include <cstdint>
#include <vector>

#include "data/asset_table.h"
#include "datawin/format/sprite_layout.h"

struct NineSliceAsset {
  int32_t left = 0, top = 0, right = 0, bottom = 0;
  bool enabled = false;
  int32_t tile_modes[datawin::sprt::kNineSliceTileModes] = {};
};

struct SpriteAsset {
  const uint8_t* record = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  float bbox_left = 0, bbox_right = 0, bbox_bottom = 0, bbox_top = 0;
  bool transparent = false;
  bool smooth = false;
  bool preload = false;
  int32_t bbox_mode = 0;
  bool useMask = false;      // collision kind 1: precise mask
  bool rotatedMask = false;  // collision kind 2: a box that turns with the instance
  int32_t xOrigin = 0;
  int32_t yOrigin = 0;
  bool new_form = false;
  uint32_t version = 0;
  uint32_t kind = datawin::sprt::kKindBitmap;
  float speed = 0;
  int32_t speed_type = 0;
  uint32_t frame_count = 0;  // 0x7FFFFFFF for a skeleton
  std::vector<const uint8_t*> frames;  // page entries; null for a zero offset
  uint32_t mask_count = 0;
  const uint8_t* masks = nullptr;  // mask_count masks of mask_bytes each, in the image
  uint32_t mask_row_bytes = 0;
  uint32_t mask_bytes = 0;
  int32_t cullRadius = 0;
  const uint8_t* sequence = nullptr;  // the sequence record behind its lead word
  bool nine_slice_set = false;
  NineSliceAsset nine_slice;
  int32_t vector_version = 0;
  const uint8_t* vector_data = nullptr;  // vector body behind the frame list
  uint32_t skeleton_version = 0;
  const char* skeleton_json = nullptr;   // not terminated: use the length
  uint32_t skeleton_json_length = 0;
  const char* skeleton_atlas = nullptr;
  uint32_t skeleton_atlas_length = 0;
};

const AssetTable<SpriteAsset>& Sprite_Table();
SpriteAsset* Sprite_Get(int32_t index);
int32_t Sprite_Find(const char* name);
// The mask of a frame: frame modulo the mask count (a negative remainder made positive) when every
// frame has its mask, else the first; null without masks.
const uint8_t* Sprite_Mask(const SpriteAsset* sprite, int32_t frame);
// ceil of the largest distance from the origin to a corner of the w x h box.
int32_t Sprite_CullRadius(int32_t width, int32_t height, int32_t x_origin, int32_t y_origin);

bool Sprite_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Sprite_Clear();

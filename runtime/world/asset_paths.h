#pragma once
// The paths of chunk PATH, as read: kind (1 smooth, else straight), closed, precision and the
// point list of {x, y, speed} f32 triples, used in place. The path subject builds its internal
// point list from these.
#include <cstdint>

#include "data/asset_table.h"

struct PathAssetPoint {
  float x = 0, y = 0, speed = 0;
};

struct PathAsset {
  const uint8_t* record = nullptr;
  int32_t kind = 0;
  bool smooth = false;
  bool closed = false;
  int32_t precision = 0;
  int32_t point_count = 0;
  const uint8_t* points = nullptr;  // point_count x 12 bytes in the image
};

const AssetTable<PathAsset>& Path_Table();
PathAsset* Path_Get(int32_t index);
// Point `index` of the path; all zero outside the list.
PathAssetPoint Path_Point(const PathAsset* path, int32_t index);

bool Path_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Path_Clear();

#pragma once
// The animation curves of chunk ACRV, as read: per curve its name and channels, per channel its
// name, type (0 linear, 1 Catmull-Rom, 2 Bezier), iterations and points, copied out of the image.
// A curve's number is its position in the chunk's list. Evaluation belongs to the curve subject,
// which builds its script-visible curves from these records.
// The inline form (an unread word, a channel count, the channels) is also how a sequence embeds
// the curves of its tracks and keys; CurveAsset_ReadInline serves the sequence reader for that.
#include <cstdint>
#include <vector>

#include "data/asset_table.h"
#include "data/cursor.h"

struct CurvePointAsset {
  float posx = 0, value = 0;
  float handleInX = 0, handleInY = 0, handleOutX = 0, handleOutY = 0;  // offsets from the point
};

struct CurveChannelAsset {
  const char* name = nullptr;  // in the image
  int32_t type = 0;
  int32_t iterations = 0;
  std::vector<CurvePointAsset> points;
};

struct CurveAsset {
  const uint8_t* record = nullptr;  // null for a curve inside a sequence
  const char* name = nullptr;
  std::vector<CurveChannelAsset> channels;
};

const AssetTable<CurveAsset>& CurveAsset_Table();
CurveAsset* CurveAsset_Get(int32_t index);
int32_t CurveAsset_Find(const char* name);

// Reads the inline form at the cursor and leaves the cursor behind it. Every count is checked
// against what is left; on failure prints the load error under `chunk` and returns false.
bool CurveAsset_ReadInline(ByteCursor& cur, const char* chunk, CurveAsset* curve);

bool CurveAsset_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void CurveAsset_Clear();

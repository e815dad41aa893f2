#pragma once
// The timelines of chunk TMLN, as read: per moment its time in steps, its event record (the
// action-list form of object events) and the code index of its first action, -1 for a moment
// without actions. Binding the code happens when timelines are prepared.
#include <cstdint>
#include <vector>

#include "data/asset_table.h"

struct TimelineAssetMoment {
  int32_t time = 0;
  const uint8_t* event = nullptr;  // {action count, first action} in the image
  int32_t code_index = -1;
};

struct TimelineAsset {
  const uint8_t* record = nullptr;
  std::vector<TimelineAssetMoment> moments;
};

const AssetTable<TimelineAsset>& TimeLine_Table();
TimelineAsset* TimeLine_Get(int32_t index);

bool TimeLine_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void TimeLine_Clear();

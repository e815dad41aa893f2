#pragma once
// The path record of an instance: the state of the path it follows and of the timeline it plays.
// An instance has none until something needs it (a timeline variable written, a path started);
// InstancePath_Get makes it then, with no path and no timeline, speeds 1 and all positions 0.
// The instance owns the record: it is freed with the instance and copied by instance_copy.
#include <cstdint>

class CInstance;

struct InstancePathState {
  int32_t pathIndex = -1;
  float pathPosition = 0.0f;
  float pathPositionPrevious = 0.0f;
  float pathSpeed = 0.0f;
  float pathScale = 1.0f;
  float pathOrientation = 0.0f;
  int32_t pathEndAction = 0;
  float pathOffsetX = 0.0f;  // where the path's first point lies in the room
  float pathOffsetY = 0.0f;
  int32_t timelineIndex = -1;
  float timelinePrevious = 0.0f;
  float timelinePosition = 0.0f;
  float timelineSpeed = 1.0f;
};

// The record, made on first need.
InstancePathState* InstancePath_Get(CInstance* instance);
// A copy of a record for instance_copy; null for null.
InstancePathState* InstancePath_Clone(const InstancePathState* state);
void InstancePath_Free(InstancePathState* state);

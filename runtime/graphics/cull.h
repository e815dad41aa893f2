#pragma once
// The culling state of drawing: the current view rectangle (set by GR_Set_View and by a camera's
// apply) and CullRect, the view rectangle taken back through the inverse of the world matrix as
// an integer bounding box. CullRect is recomputed only when it is read after the view or the world
// matrix changed, so a frame of sprite draws pays four compares each. Sprites, tiles and text read
// it; NoCull and the GUI pass turn sprite culling off, as does a perspective camera.
// Main thread only.
#include <cstdint>

struct CullRect {
  float left = 0, top = 0, right = 0, bottom = 0;
};

struct ViewRect {
  float x = 0, y = 0, w = 0, h = 0, angle = 0;
};

// The view rectangle in room space (its angle included): the cull rectangle follows.
void Cull_SetView(float x, float y, float w, float h, float angle);
const ViewRect& Cull_View();
// Sets CullRect directly (the per-view draw hands in the rectangle it was given).
void Cull_SetRect(const CullRect& rect);
// The world matrix changed: CullRect is recomputed at its next read.
void Cull_WorldChanged();
// The current camera's projection is perspective (no culling) or not.
void Cull_SetPerspective(bool perspective);
bool Cull_Perspective();
// Sprite culling off (NoCull) and the GUI pass (no culling).
extern bool NoCull;
extern bool InGuiPass;

const CullRect& Cull_Rect();
// Whether something at (x, y) with this radius can't reach the cull rectangle, so it needn't be
// drawn. Always false while culling is off.
bool Cull_Outside(float x, float y, float radius);

// Back to an empty view, no perspective, culling on (a new game round, tests).
void Cull_Reset();

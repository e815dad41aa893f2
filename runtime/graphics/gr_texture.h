#pragma once
// What the batcher needs of a texture: the device texture to sample and the page size. The texture
// table builds its pages on this (their device objects are made lazily inside DeviceTexture). The
// window layer owns one white 1 x 1 texture that shapes draw with and that fills every stage with
// nothing bound; it exists while the device does.
#include <cstdint>

#include "platform/device.h"

class GRTexture {
 public:
  virtual ~GRTexture() = default;
  // The device texture to sample, made first if needed; 0 when there is none.
  virtual DeviceTextureId DeviceTexture() { return device_; }
  // The same for binding at a texture stage, whose mip setting may ask for a rebuild.
  virtual DeviceTextureId DeviceTextureAt(int32_t /*stage*/) { return DeviceTexture(); }

  DeviceTextureId device_ = 0;
  int32_t width_ = 1;
  int32_t height_ = 1;
};

// The white texture; its device id is 0 while there is no device.
GRTexture* GR_WhiteTexture();

// Script texture handles (slot indices or page entries) resolve through the texture table, which
// installs the resolver. A page entry also gives its rectangle for relative uv (null for a slot).
struct GRTexturePageRect {
  float source_x = 0.0f, source_y = 0.0f;
  float target_width = 0.0f, target_height = 0.0f;
};
using GRTextureResolver = GRTexture* (*)(int64_t handle, GRTexturePageRect* page_rect, bool* is_page_entry);
void GR_SetTextureResolver(GRTextureResolver resolver);
// Null for -1, for a handle nothing resolves, and while no resolver is installed.
GRTexture* GR_ResolveTexture(int64_t handle, GRTexturePageRect* page_rect, bool* is_page_entry);

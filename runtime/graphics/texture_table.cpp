// The texture table, texture objects and their device objects, the white texture and handles.
#include "graphics/texture_table.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/console.h"
#include "core/error.h"
#include "core/memory.h"
#include "data/game_data.h"
#include "datawin/format/texture_layout.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/batcher.h"
#include "graphics/draw.h"
#include "graphics/render_state.h"
#include "graphics/texture_groups.h"
#include "graphics/texture_load.h"
#include "graphics/window.h"
#include "platform/device.h"

namespace {

constexpr uint32_t kDeviceMaxSide = 16384;
constexpr size_t kPixelPadding = 16;

std::vector<std::unique_ptr<TextureSlot>> g_slots;
std::vector<int32_t> g_page_table;
Texture* g_objects = nullptr;  // the list of every object
IDevice* g_device = nullptr;
int32_t g_scale = 1;
int32_t g_debug_level = 0;

Texture* new_texture() {
  Texture* texture = KV_NEW(Texture);
  texture->next = g_objects;
  g_objects = texture;
  return texture;
}

void unlink(Texture* texture) {
  for (Texture** at = &g_objects; *at != nullptr; at = &(*at)->next) {
    if (*at == texture) {
      *at = texture->next;
      return;
    }
  }
}

// The "unpacked"/"flushed" line of a page at the current verbosity.
void debug_line(const Texture* texture, const char* what) {
  const TextureSlot* slot = Texture_Slot(texture->slot);
  const TextureGroup* group = slot != nullptr ? TextureGroup_Get(slot->groupIndex) : nullptr;
  const int w = static_cast<int>(texture->width), h = static_cast<int>(texture->height);
  if (group != nullptr && g_debug_level >= 1) {
    g_ReleaseConsole->Output("Texture %s - Group: \"%s\", Texture ID: %d, Width: %d, Height %d\n", what,
                             group->name.c_str(), texture->slot, w, h);
  } else if (group == nullptr && g_debug_level >= 2) {
    g_ReleaseConsole->Output("Texture %s - Group: None, Texture ID: %d, Width: %d, Height %d\n", what, texture->slot, w, h);
  }
}

IDevice* device() { return g_device != nullptr ? g_device : Graphics_Device(); }

uint32_t max_side() {
  IDevice* target = device();
  if (target == nullptr) return kDeviceMaxSide;
  return std::min(kDeviceMaxSide, static_cast<uint32_t>(std::max(target->MaxTextureSize(), 1)));
}

// 16-bit 5-6-5 pixels (blue in the low bits) widened to RGBA8 for the device.
std::vector<uint8_t> widen_565(const uint8_t* pixels, uint32_t width, uint32_t height) {
  std::vector<uint8_t> out(static_cast<size_t>(width) * height * 4);
  for (size_t i = 0; i < static_cast<size_t>(width) * height; ++i) {
    const uint16_t p = static_cast<uint16_t>(pixels[2 * i] | pixels[2 * i + 1] << 8);
    out[4 * i] = static_cast<uint8_t>(((p >> 11) & 31) * 255 / 31);
    out[4 * i + 1] = static_cast<uint8_t>(((p >> 5) & 63) * 255 / 63);
    out[4 * i + 2] = static_cast<uint8_t>((p & 31) * 255 / 31);
    out[4 * i + 3] = 255;
  }
  return out;
}

void set_object_source(Texture* texture, const PageHeader& header, uint32_t flags, bool scalable) {
  texture->format = header.format;
  texture->width = header.width;
  texture->height = header.height;
  texture->width_ = static_cast<int32_t>(header.width);
  texture->height_ = static_cast<int32_t>(header.height);
  texture->flags = (scalable ? 0u : kTextureNoScale) | ((flags & datawin::txtr::kFlagMips) != 0 ? kTextureMips : 0u);
}

bool pixels_can_mip(uint32_t format) { return format == kTextureFormatRGBA || format == kTextureFormatR32F; }

// Uploads levels 1 and up of the mip chain of a w x h RGBA image.
void upload_mips(IDevice* target, const Texture* texture, const uint8_t* data, uint32_t width, uint32_t height) {
  if (width <= 1 && height <= 1) return;
  DecodedImage base;
  base.width = width;
  base.height = height;
  base.pixels.assign(data, data + static_cast<size_t>(width) * height * 4);
  const std::vector<DecodedImage> chain = Texture_MakeMipChain(base, texture->mipLevels);
  for (size_t level = 1; level < chain.size(); ++level) {
    const DecodedImage& image = chain[level];
    target->SetTextureMipLevel(texture->device_, static_cast<int32_t>(level), static_cast<int32_t>(image.width),
                               static_cast<int32_t>(image.height), image.pixels.data());
  }
}

// A texture whose device object can't be made: never tried again, and its page counts as failed.
void mark_build_failed(Texture* texture) {
  texture->flags |= kTextureBuildFailed;
  TextureSlot* slot = Texture_Slot(texture->slot);
  if (slot == nullptr || slot->texture != texture) return;
  slot->loadFailed = -1;
  TextureGroup_UpdateStatus(slot->groupIndex);
}

// A texture larger than the device takes stops the game.
void fail_too_large(Texture* texture, uint32_t width, uint32_t height) {
  mark_build_failed(texture);
  char text[256];
  std::snprintf(text, sizeof text,
                "Attempting to create a texture of size %d x %d in SetupD3DTexture, this is bigger than the maximum "
                "allowable dimension (%d)\n",
                static_cast<int>(width), static_cast<int>(height), static_cast<int>(max_side()));
  ErrorReport_Fatal(text);
}

// Whether decoding the source gives the header's size: only PNG pages shrink, by the global scale.
bool decode_keeps_size(const Texture* texture) {
  return g_scale < 2 || (texture->flags & kTextureNoScale) != 0 ||
         datawin::page::page_form(texture->sourceData, texture->sourceSize) != datawin::page::kFormPng;
}

}  // namespace

bool Texture_WantsMips(const Texture* texture, int32_t stage) {
  if (texture == nullptr || texture->render_target || !pixels_can_mip(texture->format)) return false;
  const uint32_t enable = SamplerState_Applied(stage, kSampMipEnable);
  return enable == 1 || (enable == 2 && (texture->flags & kTextureMips) != 0);
}

DeviceTextureId Texture::DeviceTexture() { return DeviceTextureAt(0); }

DeviceTextureId Texture::DeviceTextureAt(int32_t stage) {
  if (device() == nullptr || (flags & kTextureBuildFailed) != 0) return device_;
  if (device_ == 0 || (device_mips != Texture_WantsMips(this, stage) && !render_target && pixels_can_mip(format))) {
    Texture_BuildDevice(this, nullptr, stage);
  }
  return device_;
}

void Texture_SetDevice(IDevice* device) { g_device = device; }

int32_t Texture_Count() { return static_cast<int32_t>(g_slots.size()); }

TextureSlot* Texture_Slot(int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < g_slots.size() ? g_slots[index].get() : nullptr;
}

int32_t Texture_AllocSlot() {
  size_t index = 0;
  while (index < g_slots.size() && g_slots[index]->inUse != 0) ++index;
  if (index == g_slots.size()) g_slots.push_back(std::make_unique<TextureSlot>());
  *g_slots[index] = TextureSlot{};
  g_slots[index]->inUse = 1;
  return static_cast<int32_t>(index);
}

void Texture_FreeSlot(int32_t index) {
  TextureSlot* slot = Texture_Slot(index);
  if (slot == nullptr) return;
  if (slot->texture != nullptr && slot->borrowed == 0) Texture_Free(slot->texture);
  *slot = TextureSlot{};
}

void Texture_SetSlotSize(TextureSlot* slot, uint32_t width, uint32_t height) {
  slot->width = static_cast<uint16_t>(width != 0 ? width : 1);
  slot->height = static_cast<uint16_t>(height != 0 ? height : 1);
  slot->texelWidth = 1.0f / slot->width;
  slot->texelHeight = 1.0f / slot->height;
}

void Texture_ClearTable() {
  for (size_t i = 0; i < g_slots.size(); ++i) Texture_FreeSlot(static_cast<int32_t>(i));
  g_slots.clear();
  g_page_table.clear();
}

Texture* Texture_Create(uint32_t width, uint32_t height, uint32_t format, uint32_t flags) {
  Texture* texture = new_texture();
  texture->format = format;
  texture->render_target = (flags & kCreateRenderTarget) != 0;
  if (!texture->render_target) {
    width = std::min(width, max_side());
    height = std::min(height, max_side());
    texture->pixels.assign(static_cast<size_t>(width) * height * 4 + kPixelPadding, 0);
  }
  texture->width = width;
  texture->height = height;
  texture->width_ = static_cast<int32_t>(width);
  texture->height_ = static_cast<int32_t>(height);
  if ((flags & kCreateDepth) != 0) texture->flags |= kTextureDepth;
  if ((flags & kCreateMips) != 0) texture->flags |= kTextureMips;
  if ((flags & kCreateKeepOnFlush) != 0) texture->flags |= kTextureKeepOnFlush;
  return texture;
}

int32_t Texture_Load_Page(const uint8_t* data, uint32_t size, uint32_t flags, bool scalable) {
  const int32_t index = Texture_AllocSlot();
  TextureSlot* slot = Texture_Slot(index);
  const PageHeader header = Texture_ReadPageHeader(data, size);
  if (header.form == datawin::page::kFormUnknown) return index;
  Texture* texture = new_texture();
  set_object_source(texture, header, flags, scalable);
  texture->slot = index;
  texture->sourceData = data;
  texture->sourceSize = size;
  slot->texture = texture;
  Texture_SetSlotSize(slot, header.width, header.height);
  slot->origWidth = slot->width;
  slot->origHeight = slot->height;
  return index;
}

Texture* Texture_MakePageObject(int32_t slot_index, std::vector<uint8_t> file) {
  TextureSlot* slot = Texture_Slot(slot_index);
  if (slot == nullptr) return nullptr;
  const PageHeader header = Texture_ReadPageHeader(file.data(), static_cast<uint32_t>(file.size()));
  if (header.form == datawin::page::kFormUnknown) return nullptr;
  if (slot->texture != nullptr && slot->borrowed == 0) Texture_Free(slot->texture);
  Texture* texture = new_texture();
  set_object_source(texture, header, 0, true);
  texture->slot = slot_index;
  texture->source_storage = std::move(file);
  texture->sourceData = texture->source_storage.data();
  texture->sourceSize = static_cast<uint32_t>(texture->source_storage.size());
  slot->texture = texture;
  slot->borrowed = 0;
  Texture_SetSlotSize(slot, header.width, header.height);
  return texture;
}

void Texture_Free_Device(Texture* texture) {
  if (texture == nullptr) return;
  const bool was_built = (texture->flags & kTextureDeviceBuilt) != 0;
  if (texture->device_ != 0 && device() != nullptr) device()->DestroyTexture(texture->device_);
  texture->device_ = 0;
  texture->device_mips = false;
  texture->flags &= ~kTextureDeviceBuilt;
  if (!was_built) return;
  debug_line(texture, "flushed");
  TextureGroup_UpdateStatusOfSlot(texture->slot);
}

void Texture_Free(Texture* texture) {
  if (texture == nullptr) return;
  Texture_Free_Device(texture);
  unlink(texture);
  for (const std::unique_ptr<TextureSlot>& slot : g_slots) {
    if (slot->texture != texture) continue;
    slot->texture = nullptr;
    slot->borrowed = 0;
  }
  KV_Delete(texture);
}

void Texture_FreeAllDevice(bool all) {
  for (Texture* texture = g_objects; texture != nullptr; texture = texture->next) {
    if (all || (texture->flags & kTextureKeepOnFlush) == 0) Texture_Free_Device(texture);
  }
}

bool Texture_DecodeSource(const Texture* texture, DecodedImage* out) {
  if (texture->sourceData == nullptr) return false;
  if (!Texture_DecodePage(texture->sourceData, texture->sourceSize, out)) return false;
  const bool png = datawin::page::page_form(texture->sourceData, texture->sourceSize) == datawin::page::kFormPng;
  if (png && (texture->flags & kTextureNoScale) == 0) Texture_ApplyScale(out, g_scale);
  return true;
}

bool Texture_BuildDevice(Texture* texture, const DecodedImage* pixels, int32_t stage) {
  if (texture == nullptr || (texture->flags & kTextureBuildFailed) != 0) return false;
  IDevice* target = device();
  DecodedImage decoded;
  const uint8_t* data = nullptr;
  uint32_t width = texture->width, height = texture->height;
  if (pixels != nullptr) {
    data = pixels->pixels.data();
    width = pixels->width;
    height = pixels->height;
  } else if (!texture->pixels.empty()) {
    data = texture->pixels.data();
  } else if (!texture->render_target && target != nullptr) {
    // A page the device can't take isn't decoded at all when its header already says so.
    if ((width > max_side() || height > max_side()) && decode_keeps_size(texture)) {
      fail_too_large(texture, width, height);
      return false;
    }
    if (!Texture_DecodeSource(texture, &decoded)) {
      mark_build_failed(texture);
      return false;
    }
    data = decoded.pixels.data();
    width = decoded.width;
    height = decoded.height;
  }
  if (width > max_side() || height > max_side()) {
    fail_too_large(texture, width, height);
    return false;
  }
  texture->width = width;
  texture->height = height;
  if (target != nullptr) {
    std::vector<uint8_t> wide;
    if (data != nullptr && texture->format == kTextureFormatRGB565) {
      wide = widen_565(data, width, height);
      data = wide.data();
    }
    if (texture->device_ != 0) target->DestroyTexture(texture->device_);
    texture->device_ = target->CreateTexture(static_cast<int32_t>(width), static_cast<int32_t>(height), data,
                                             texture->render_target, (texture->flags & kTextureDepth) != 0);
    if (texture->device_ == 0) {
      mark_build_failed(texture);
      return false;
    }
    // Recorded as asked, so an image too small for a chain isn't rebuilt at every bind.
    texture->device_mips = data != nullptr && Texture_WantsMips(texture, stage);
    if (texture->device_mips) upload_mips(target, texture, data, width, height);
  }
  texture->flags |= kTextureDeviceBuilt;
  debug_line(texture, "unpacked");
  TextureGroup_UpdateStatusOfSlot(texture->slot);
  return true;
}

void Texture_Update(Texture* texture, const uint8_t* pixels, uint32_t width, uint32_t height) {
  if (texture == nullptr || texture->pixels.empty() || pixels == nullptr) return;
  const uint32_t tw = texture->width, th = texture->height;
  const uint32_t cw = std::min(width, tw), ch = std::min(height, th);
  uint8_t* buffer = texture->pixels.data();
  for (uint32_t y = 0; y < ch; ++y) {
    uint8_t* row = buffer + static_cast<size_t>(y) * tw * 4;
    std::memcpy(row, pixels + static_cast<size_t>(y) * width * 4, static_cast<size_t>(cw) * 4);
    if (cw < tw && cw > 0) std::memcpy(row + cw * 4, row + (cw - 1) * 4, 4);
  }
  if (ch < th && ch > 0) {
    std::memcpy(buffer + static_cast<size_t>(ch) * tw * 4, buffer + static_cast<size_t>(ch - 1) * tw * 4,
                static_cast<size_t>(tw) * 4);
  }
  Texture_Update_Rect(texture, 0, 0, static_cast<int32_t>(tw), static_cast<int32_t>(th));
}

void Texture_Update_Rect(Texture* texture, int32_t x, int32_t y, int32_t w, int32_t h) {
  if (texture == nullptr) return;
  const int32_t right = std::min<int64_t>(static_cast<int64_t>(x) + w, texture->width);
  const int32_t bottom = std::min<int64_t>(static_cast<int64_t>(y) + h, texture->height);
  x = std::max(x, 0);
  y = std::max(y, 0);
  if (right <= x || bottom <= y || texture->device_ == 0 || device() == nullptr || texture->pixels.empty()) return;
  const int32_t w_clamped = right - x, h_clamped = bottom - y;
  std::vector<uint8_t> rect(static_cast<size_t>(w_clamped) * h_clamped * 4);
  for (int32_t row = 0; row < h_clamped; ++row) {
    std::memcpy(rect.data() + static_cast<size_t>(row) * w_clamped * 4,
                texture->pixels.data() + (static_cast<size_t>(y + row) * texture->width + x) * 4,
                static_cast<size_t>(w_clamped) * 4);
  }
  device()->UpdateTexture(texture->device_, x, y, w_clamped, h_clamped, rect.data());
}

void Texture_SetPageTable(std::vector<int32_t> slots) { g_page_table = std::move(slots); }

int32_t Texture_PageToSlot(int32_t page) {
  return page >= 0 && static_cast<size_t>(page) < g_page_table.size() ? g_page_table[page] : -1;
}

int32_t Texture_PageCount() { return static_cast<int32_t>(g_page_table.size()); }

bool Texture_IsPageEntryHandle(int64_t handle) {
  const auto address = static_cast<uintptr_t>(handle);
  const auto image = reinterpret_cast<uintptr_t>(GameData_Image());
  const uint32_t size = GameData_ImageSize();
  return image != 0 && size >= datawin::tpag::kEntryBytes && address > image &&
         address - image <= size - datawin::tpag::kEntryBytes;
}

int32_t Texture_SlotOfHandle(int64_t handle) {
  if (handle >= 0 && handle < Texture_Count()) return static_cast<int32_t>(handle);
  if (!Texture_IsPageEntryHandle(handle)) return -1;
  const int32_t slot = PageEntry_Read(reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(handle))).texture;
  return Texture_Slot(slot) != nullptr ? slot : -1;
}

void Texture_GetUVs(int64_t handle, double out[8]) {
  const double unusable[8] = {0, 0, 1, 1, 0, 0, 1, 1};
  std::copy(unusable, unusable + 8, out);
  if (!Texture_IsPageEntryHandle(handle)) return;
  const TexturePageEntry e = PageEntry_Read(reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(handle)));
  const TextureSlot* slot = Texture_Slot(e.texture);
  if (slot == nullptr || slot->inUse == 0) return;
  const double pw = slot->width, ph = slot->height;
  out[0] = e.x / pw;
  out[1] = e.y / ph;
  out[2] = (e.x + e.crop_width) / pw;
  out[3] = (e.y + e.crop_height) / ph;
  out[4] = e.x_offset;
  out[5] = e.y_offset;
  out[6] = e.original_width != 0 ? static_cast<double>(e.w) / e.original_width : 1.0;
  out[7] = e.original_height != 0 ? static_cast<double>(e.h) / e.original_height : 1.0;
}

int32_t Texture_GlobalScale() { return g_scale; }
void Texture_SetGlobalScale(int32_t scale) { g_scale = scale; }
uint32_t Texture_MaxSize() { return max_side(); }
void Texture_SetDebugVerbosity(int32_t level) { g_debug_level = level; }

bool Texture_SlotReady(const TextureSlot* slot) {
  return slot != nullptr && slot->inUse != 0 && slot->texture != nullptr && slot->borrowed == 0 &&
         (slot->texture->flags & kTextureDeviceBuilt) != 0;
}

namespace {

GRTexture* resolve_handle(int64_t handle, GRTexturePageRect* page_rect, bool* is_page_entry) {
  const int32_t slot = Texture_SlotOfHandle(handle);
  const bool entry = Texture_IsPageEntryHandle(handle);
  if (is_page_entry != nullptr) *is_page_entry = entry;
  if (entry && page_rect != nullptr) {
    const TexturePageEntry e = PageEntry_Read(reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(handle)));
    *page_rect = GRTexturePageRect{static_cast<float>(e.x), static_cast<float>(e.y), static_cast<float>(e.crop_width),
                                   static_cast<float>(e.crop_height)};
  }
  TextureSlot* ready = Texture_Get(slot, true, false, false, true);
  return ready != nullptr ? ready->texture : nullptr;
}

}  // namespace

void Texture_InstallResolver() {
  GR_SetTextureResolver(resolve_handle);
  Draw_SetTextureFlushHook([] { Texture_FreeAllDevice(false); });
}

void Texture_SetStage(int32_t stage, int64_t handle) {
  IDevice* target = device();
  if (target == nullptr || stage < 0 || stage >= kTextureStages) return;
  GR_Flush();
  GRTexturePageRect rect;
  bool is_page_entry = false;
  GRTexture* texture = GR_ResolveTexture(handle, &rect, &is_page_entry);
  const DeviceTextureId id = texture != nullptr ? texture->DeviceTextureAt(stage) : 0;
  target->BindTexture(stage, id != 0 ? id : GR_WhiteTexture()->DeviceTexture());
}

// The sprite table: CSprite built from the SPRT records, run-time sprites with their own frame
// textures, frame pixels and masks.
#include "graphics/sprite.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

#include "data/asset_names.h"
#include "datawin/format/sprite_layout.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/texture_decode.h"
#include "graphics/texture_table.h"

namespace {

std::vector<std::unique_ptr<CSprite>> g_sprites;
std::set<int32_t> g_freed;  // slots emptied by sprite_delete, reused lowest first

}  // namespace

SpriteFrame SpriteFrame_FromEntry(const uint8_t* entry) {
  SpriteFrame f;
  if (entry == nullptr) return f;
  const TexturePageEntry e = PageEntry_Read(entry);
  f.entry = entry;
  f.slot = e.texture;
  f.sx = e.x, f.sy = e.y, f.sw = e.w, f.sh = e.h;
  f.tx = e.x_offset, f.ty = e.y_offset, f.tw = e.crop_width, f.th = e.crop_height;
  f.bw = e.original_width, f.bh = e.original_height;
  return f;
}

namespace {

SpriteFrame frame_of_texture(int32_t slot, int32_t width, int32_t height) {
  SpriteFrame f;
  f.slot = slot;
  const auto w = static_cast<float>(width), h = static_cast<float>(height);
  f.sw = f.tw = f.bw = w;
  f.sh = f.th = f.bh = h;
  return f;
}

std::unique_ptr<CSprite> from_asset(const SpriteAsset& a, const char* name) {
  auto s = std::make_unique<CSprite>();
  s->asset = &a;
  s->name = name != nullptr ? name : "";
  s->kind = static_cast<int32_t>(a.kind);
  s->width = a.width;
  s->height = a.height;
  s->xOrigin = a.xOrigin;
  s->yOrigin = a.yOrigin;
  s->cullRadius = a.cullRadius;
  s->numFrames = static_cast<int32_t>(std::min<uint32_t>(a.frame_count, INT32_MAX));
  s->frames.reserve(a.frames.size());
  for (const uint8_t* entry : a.frames) s->frames.push_back(SpriteFrame_FromEntry(entry));
  s->masks = a.masks;
  s->maskCount = static_cast<int32_t>(a.mask_count);
  s->maskRowBytes = a.mask_row_bytes;
  s->maskBytes = a.mask_bytes;
  s->bboxLeft = a.bbox_left;
  s->bboxTop = a.bbox_top;
  s->bboxRight = a.bbox_right;
  s->bboxBottom = a.bbox_bottom;
  s->bboxMode = a.bbox_mode;
  s->transparent = a.transparent;
  s->smooth = a.smooth;
  s->preload = a.preload;
  s->useMask = a.useMask;
  s->rotatedMask = a.rotatedMask;
  // Records of the old form have no speed: one image per game frame.
  s->speed = a.new_form ? a.speed : 1.0f;
  s->speedType = a.new_form ? a.speed_type : 1;
  s->sequence = a.sequence;
  if (a.nine_slice_set) {
    s->nineSlice = std::make_unique<CNineSliceData>();
    CNineSliceData& n = *s->nineSlice;
    n.left = a.nine_slice.left;
    n.top = a.nine_slice.top;
    n.right = a.nine_slice.right;
    n.bottom = a.nine_slice.bottom;
    n.enabled = a.nine_slice.enabled;
    for (int i = 0; i < 5; ++i) n.tilemode[i] = a.nine_slice.tile_modes[i];
  }
  return s;
}

void free_textures(CSprite* sprite) {
  for (int32_t slot : sprite->frameTextures) Texture_FreeSlot(slot);
  sprite->frameTextures.clear();
}

// A texture slot holding a copy of the bitmap.
int32_t make_frame_texture(const SpriteBitmap& bitmap) {
  const int32_t slot_index = Texture_AllocSlot();
  TextureSlot* slot = Texture_Slot(slot_index);
  const auto w = static_cast<uint32_t>(std::max(bitmap.width, 1));
  const auto h = static_cast<uint32_t>(std::max(bitmap.height, 1));
  Texture* texture = Texture_Create(w, h, kTextureFormatRGBA, 0);
  texture->slot = slot_index;
  if (!bitmap.pixels.empty()) Texture_Update(texture, bitmap.pixels.data(), w, h);
  slot->texture = texture;
  Texture_SetSlotSize(slot, w, h);
  slot->origWidth = slot->width;
  slot->origHeight = slot->height;
  return slot_index;
}

bool opaque(const SpriteBitmap& b, int32_t x, int32_t y) {
  return b.pixels[(static_cast<size_t>(y) * b.width + x) * 4 + 3] != 0;
}

}  // namespace

// ---- CSprite -------------------------------------------------------------------------------------

int32_t Sprite_FrameIndex(float subimage, int32_t frames) {
  if (frames <= 0) return -1;
  // The usual case, an image index within the frames, needs no wrapping.
  if (subimage >= 0.0f && subimage < static_cast<float>(frames)) return static_cast<int32_t>(subimage);
  if (!std::isfinite(subimage)) return 0;
  double r = std::fmod(std::floor(static_cast<double>(subimage)), static_cast<double>(frames));
  if (r < 0) r += frames;
  return static_cast<int32_t>(r);
}

const SpriteFrame* CSprite::Frame(float subimage) const {
  if (numFrames <= 0 || (sequence != nullptr && subimage < 0.0f)) return nullptr;
  const int32_t i = Sprite_FrameIndex(subimage, numFrames);
  if (i < 0 || static_cast<size_t>(i) >= frames.size() || frames[static_cast<size_t>(i)].slot < 0) return nullptr;
  return &frames[static_cast<size_t>(i)];
}

void CSprite::UpdateCullRadius() { cullRadius = Sprite_CullRadius(width, height, xOrigin, yOrigin); }

const uint8_t* CSprite::Mask(int32_t frame) const {
  if (masks == nullptr || maskCount <= 0) return nullptr;
  if (maskCount != numFrames) return masks;
  int32_t index = frame % maskCount;
  if (index < 0) index += maskCount;
  return masks + static_cast<size_t>(index) * maskBytes;
}

// ---- The table -----------------------------------------------------------------------------------

void Sprite_BuildTable() {
  Sprite_FreeAll();
  const AssetTable<SpriteAsset>& assets = Sprite_Table();
  g_sprites.resize(static_cast<size_t>(assets.count()));
  for (int32_t i = 0; i < assets.count(); ++i) {
    const SpriteAsset* asset = assets.get(i);
    if (asset == nullptr) continue;
    g_sprites[static_cast<size_t>(i)] = from_asset(*asset, assets.name(i));
    g_sprites[static_cast<size_t>(i)]->index = i;
  }
}

void Sprite_FreeAll() {
  for (std::unique_ptr<CSprite>& sprite : g_sprites) {
    if (sprite != nullptr) free_textures(sprite.get());
  }
  g_sprites.clear();
  g_freed.clear();
}

CSprite* Sprite_Data(int32_t id) {
  return id >= 0 && static_cast<size_t>(id) < g_sprites.size() ? g_sprites[static_cast<size_t>(id)].get() : nullptr;
}

bool Sprite_Exists(int32_t id) { return Sprite_Data(id) != nullptr; }
int32_t Sprite_TableCount() { return static_cast<int32_t>(g_sprites.size()); }

const char* Sprite_Name(int32_t id) {
  const CSprite* sprite = Sprite_Data(id);
  return sprite != nullptr ? sprite->name.c_str() : nullptr;
}

int32_t Sprite_FindName(const char* name) {
  if (name == nullptr) return -1;
  for (size_t i = 0; i < g_sprites.size(); ++i) {
    if (g_sprites[i] != nullptr && g_sprites[i]->name == name) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t Sprite_Add(std::unique_ptr<CSprite> sprite) {
  int32_t id = static_cast<int32_t>(g_sprites.size());
  if (!g_freed.empty()) {
    id = *g_freed.begin();
    g_freed.erase(g_freed.begin());
  } else {
    g_sprites.emplace_back();
  }
  sprite->index = id;
  g_sprites[static_cast<size_t>(id)] = std::move(sprite);
  return id;
}

bool Sprite_Delete(int32_t id) {
  CSprite* sprite = Sprite_Data(id);
  if (sprite == nullptr) return false;
  free_textures(sprite);
  g_sprites[static_cast<size_t>(id)].reset();
  g_freed.insert(id);
  return true;
}

bool Sprite_Replace(int32_t id, std::unique_ptr<CSprite> sprite) {
  if (id < 0 || static_cast<size_t>(id) >= g_sprites.size()) return false;
  if (g_sprites[static_cast<size_t>(id)] != nullptr) free_textures(g_sprites[static_cast<size_t>(id)].get());
  g_freed.erase(id);
  sprite->index = id;
  g_sprites[static_cast<size_t>(id)] = std::move(sprite);
  return true;
}

// ---- Run-time sprites ----------------------------------------------------------------------------

std::unique_ptr<CSprite> Sprite_Duplicate(const CSprite& source) {
  auto copy = std::make_unique<CSprite>();
  copy->name = source.name;
  copy->numFrames = source.numFrames;
  copy->width = source.width;
  copy->height = source.height;
  copy->xOrigin = source.xOrigin;
  copy->yOrigin = source.yOrigin;
  copy->cullRadius = source.cullRadius;
  copy->kind = source.kind;
  copy->frames = source.frames;
  copy->frameBitmaps = source.frameBitmaps;
  copy->masks = source.masks;
  copy->maskCount = source.maskCount;
  copy->maskRowBytes = source.maskRowBytes;
  copy->maskBytes = source.maskBytes;
  copy->ownedMasks = source.ownedMasks;
  if (!copy->ownedMasks.empty()) copy->masks = copy->ownedMasks.data();
  copy->bboxLeft = source.bboxLeft;
  copy->bboxTop = source.bboxTop;
  copy->bboxRight = source.bboxRight;
  copy->bboxBottom = source.bboxBottom;
  copy->bboxMode = source.bboxMode;
  copy->transparent = source.transparent;
  copy->smooth = source.smooth;
  copy->preload = source.preload;
  copy->useMask = source.useMask;
  copy->rotatedMask = source.rotatedMask;
  copy->speed = source.speed;
  copy->speedType = source.speedType;
  copy->sequence = source.sequence;
  copy->asset = source.asset;
  if (source.nineSlice != nullptr) {
    copy->nineSlice = std::make_unique<CNineSliceData>(*source.nineSlice);
    copy->nineSlice->scripted = nullptr;
  }
  // Frames on textures of the source's own get textures of the copy's own.
  for (size_t i = 0; i < copy->frames.size(); ++i) {
    SpriteFrame& frame = copy->frames[i];
    if (frame.entry != nullptr || i >= source.frameBitmaps.size()) continue;
    frame.slot = make_frame_texture(source.frameBitmaps[i]);
    copy->frameTextures.push_back(frame.slot);
  }
  copy->duplicated = true;
  return copy;
}

void SpriteBitmap_RemoveBack(SpriteBitmap* bitmap) {
  if (bitmap->width <= 0 || bitmap->height <= 0) return;
  uint32_t back = 0;
  const size_t corner = static_cast<size_t>(bitmap->height - 1) * bitmap->width * 4;
  std::memcpy(&back, bitmap->pixels.data() + corner, 4);
  back &= 0xFFFFFFu;
  for (size_t i = 0; i + 4 <= bitmap->pixels.size(); i += 4) {
    uint32_t p = 0;
    std::memcpy(&p, bitmap->pixels.data() + i, 4);
    if ((p & 0xFFFFFFu) == back) std::memset(bitmap->pixels.data() + i, 0, 4);
  }
}

std::unique_ptr<CSprite> Sprite_FromBitmaps(std::vector<SpriteBitmap> frames, int32_t xorig, int32_t yorig,
                                            bool transparent, bool smooth) {
  auto sprite = std::make_unique<CSprite>();
  sprite->xOrigin = xorig;
  sprite->yOrigin = yorig;
  sprite->transparent = transparent;
  sprite->smooth = smooth;
  sprite->useMask = true;
  sprite->bboxMode = 0;
  sprite->speed = 1.0f;
  sprite->speedType = 1;
  sprite->duplicated = true;
  for (SpriteBitmap& bitmap : frames) Sprite_AppendBitmap(sprite.get(), std::move(bitmap));
  return sprite;
}

void Sprite_AppendBitmap(CSprite* sprite, SpriteBitmap bitmap) {
  const int32_t slot = make_frame_texture(bitmap);
  sprite->frameTextures.push_back(slot);
  sprite->frames.push_back(frame_of_texture(slot, bitmap.width, bitmap.height));
  if (sprite->frameBitmaps.size() + 1 < sprite->frames.size()) sprite->frameBitmaps.resize(sprite->frames.size() - 1);
  sprite->width = std::max(sprite->width, bitmap.width);
  sprite->height = std::max(sprite->height, bitmap.height);
  sprite->frameBitmaps.push_back(std::move(bitmap));
  sprite->numFrames = static_cast<int32_t>(sprite->frames.size());
  sprite->UpdateCullRadius();
  Sprite_BuildMasks(sprite);
}

bool Sprite_FramePixels(const CSprite& sprite, int32_t frame, SpriteBitmap* out) {
  if (frame < 0 || static_cast<size_t>(frame) >= sprite.frames.size()) return false;
  const SpriteFrame& f = sprite.frames[static_cast<size_t>(frame)];
  if (f.entry == nullptr) {
    if (static_cast<size_t>(frame) >= sprite.frameBitmaps.size()) return false;
    *out = sprite.frameBitmaps[static_cast<size_t>(frame)];
    return !out->pixels.empty();
  }
  const TextureSlot* slot = Texture_Slot(f.slot);
  if (slot == nullptr || slot->texture == nullptr) return false;
  DecodedImage page;
  if (!Texture_DecodeSource(slot->texture, &page) || page.format != kTextureFormatRGBA) return false;
  out->width = static_cast<int32_t>(f.bw);
  out->height = static_cast<int32_t>(f.bh);
  out->pixels.assign(static_cast<size_t>(out->width) * out->height * 4, 0);
  // The page may be scaled down: source pixels are sampled by the target's grid.
  const float ratio_x = f.tw > 0 ? f.sw / f.tw : 1.0f, ratio_y = f.th > 0 ? f.sh / f.th : 1.0f;
  const float page_x = static_cast<float>(page.width) / std::max<float>(slot->width, 1.0f);
  const float page_y = static_cast<float>(page.height) / std::max<float>(slot->height, 1.0f);
  for (int32_t y = 0; y < static_cast<int32_t>(f.th); ++y) {
    for (int32_t x = 0; x < static_cast<int32_t>(f.tw); ++x) {
      const int32_t dx = static_cast<int32_t>(f.tx) + x, dy = static_cast<int32_t>(f.ty) + y;
      if (dx < 0 || dy < 0 || dx >= out->width || dy >= out->height) continue;
      const auto px = static_cast<uint32_t>((f.sx + (static_cast<float>(x) + 0.5f) * ratio_x) * page_x);
      const auto py = static_cast<uint32_t>((f.sy + (static_cast<float>(y) + 0.5f) * ratio_y) * page_y);
      if (px >= page.width || py >= page.height) continue;
      std::memcpy(out->pixels.data() + (static_cast<size_t>(dy) * out->width + dx) * 4,
                  page.pixels.data() + (static_cast<size_t>(py) * page.width + px) * 4, 4);
    }
  }
  return true;
}

void Sprite_BuildMasks(CSprite* sprite) {
  const int32_t w = sprite->width, h = sprite->height;
  if (w <= 0 || h <= 0) return;
  std::vector<SpriteBitmap> pixels(sprite->frames.size());
  for (size_t i = 0; i < sprite->frames.size(); ++i) Sprite_FramePixels(*sprite, static_cast<int32_t>(i), &pixels[i]);
  int32_t left = w, top = h, right = -1, bottom = -1;
  for (const SpriteBitmap& b : pixels) {
    for (int32_t y = 0; y < std::min(b.height, h); ++y) {
      for (int32_t x = 0; x < std::min(b.width, w); ++x) {
        if (!opaque(b, x, y)) continue;
        left = std::min(left, x), right = std::max(right, x);
        top = std::min(top, y), bottom = std::max(bottom, y);
      }
    }
  }
  if (sprite->bboxMode == 0) {
    if (right < 0) left = top = right = bottom = 0;
    sprite->bboxLeft = static_cast<float>(left);
    sprite->bboxTop = static_cast<float>(top);
    sprite->bboxRight = static_cast<float>(right);
    sprite->bboxBottom = static_cast<float>(bottom);
  } else if (sprite->bboxMode == 1) {
    sprite->bboxLeft = sprite->bboxTop = 0;
    sprite->bboxRight = static_cast<float>(w - 1);
    sprite->bboxBottom = static_cast<float>(h - 1);
  }
  if (!sprite->useMask) return;
  sprite->maskRowBytes = datawin::sprt::mask_row_bytes(w);
  sprite->maskBytes = static_cast<uint32_t>(datawin::sprt::mask_bytes(w, h));
  sprite->maskCount = static_cast<int32_t>(pixels.size());
  sprite->ownedMasks.assign(static_cast<size_t>(sprite->maskBytes) * pixels.size(), 0);
  for (size_t i = 0; i < pixels.size(); ++i) {
    const SpriteBitmap& b = pixels[i];
    uint8_t* mask = sprite->ownedMasks.data() + i * sprite->maskBytes;
    for (int32_t y = 0; y < std::min(b.height, h); ++y) {
      for (int32_t x = 0; x < std::min(b.width, w); ++x) {
        if (opaque(b, x, y)) mask[static_cast<size_t>(y) * sprite->maskRowBytes + x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8));
      }
    }
  }
  sprite->masks = sprite->ownedMasks.data();
}

bool Sprite_GetSpeed(int32_t id, SpriteSpeed* out) {
  const CSprite* sprite = Sprite_Data(id);
  if (sprite == nullptr) return false;
  out->isSequence = sprite->sequence != nullptr;
  out->speed = sprite->speed;
  out->speedType = sprite->speedType;
  out->frames = sprite->numFrames;
  return true;
}

// Builtins of the sprite resource family (sprite_*) and the tile set names that share its table:
// argument reading here, the logic in sprite.cpp. Getters give -1 (a name "") for an unknown sprite.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string>

#include "core/console.h"
#include "core/error.h"
#include "core/object.h"
#include "graphics/asset_backgrounds.h"
#include "graphics/fn_internal.h"
#include "graphics/fn_support.h"
#include "graphics/image_files.h"
#include "graphics/nineslice.h"
#include "graphics/sprite_draw.h"
#include "graphics/surface.h"
#include "graphics/texture_decode.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"

namespace {

using gfx_fn::Arg;
using gfx_fn::ArgBool;
using gfx_fn::ArgInt;
using gfx_fn::ArgString;
using gfx_fn::Bool;
using gfx_fn::Real;

#define KV_BUILTIN(name) \
  void name(RValue* result, [[maybe_unused]] CInstance* self, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

CSprite* sprite_at(int argc, RValue* argv, int n = 0) { return Sprite_Data(ArgInt(argc, argv, n)); }

void set_string(RValue* result, const char* text) { RV_SetString(result, text); }

template <typename F>
void getter(RValue* result, int argc, RValue* argv, F read) {
  const CSprite* sprite = sprite_at(argc, argv);
  Real(result, sprite != nullptr ? read(*sprite) : -1.0);
}

KV_BUILTIN(F_SpriteExists) { Bool(result, Sprite_Exists(ArgInt(argc, argv, 0))); }

KV_BUILTIN(F_SpriteGetName) {
  const CSprite* sprite = sprite_at(argc, argv);
  set_string(result, sprite != nullptr ? sprite->name.c_str() : "<undefined>");
}

#define SPRITE_GETTER(fn, expr) \
  KV_BUILTIN(fn) { getter(result, argc, argv, [](const CSprite& s) { return static_cast<double>(expr); }); }

SPRITE_GETTER(F_SpriteGetNumber, s.numFrames)
SPRITE_GETTER(F_SpriteGetWidth, s.width)
SPRITE_GETTER(F_SpriteGetHeight, s.height)
SPRITE_GETTER(F_SpriteGetXoffset, s.xOrigin)
SPRITE_GETTER(F_SpriteGetYoffset, s.yOrigin)
SPRITE_GETTER(F_SpriteGetBboxMode, s.bboxMode)
SPRITE_GETTER(F_SpriteGetBboxLeft, s.bboxLeft)
SPRITE_GETTER(F_SpriteGetBboxRight, s.bboxRight)
SPRITE_GETTER(F_SpriteGetBboxTop, s.bboxTop)
SPRITE_GETTER(F_SpriteGetBboxBottom, s.bboxBottom)
SPRITE_GETTER(F_SpriteGetSpeed, s.speed)
SPRITE_GETTER(F_SpriteGetSpeedType, s.speedType)

#undef SPRITE_GETTER

KV_BUILTIN(F_SpriteSetCacheSize) { *result = RV_Undefined(); }

KV_BUILTIN(F_SpriteSetOffset) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  sprite->xOrigin = ArgInt(argc, argv, 1);
  sprite->yOrigin = ArgInt(argc, argv, 2);
  sprite->UpdateCullRadius();
}

// The automatic box of a file's sprite is its record's; a run-time sprite's comes from its pixels.
void apply_bbox_mode(CSprite* sprite) {
  if (sprite->bboxMode == 1) {
    sprite->bboxLeft = sprite->bboxTop = 0;
    sprite->bboxRight = static_cast<float>(sprite->width - 1);
    sprite->bboxBottom = static_cast<float>(sprite->height - 1);
  } else if (sprite->bboxMode == 0) {
    if (sprite->asset != nullptr && sprite->frameTextures.empty()) {
      sprite->bboxLeft = sprite->asset->bbox_left;
      sprite->bboxTop = sprite->asset->bbox_top;
      sprite->bboxRight = sprite->asset->bbox_right;
      sprite->bboxBottom = sprite->asset->bbox_bottom;
    } else {
      Sprite_BuildMasks(sprite);
    }
  }
}

KV_BUILTIN(F_SpriteSetBboxMode) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  sprite->bboxMode = ArgInt(argc, argv, 1);
  apply_bbox_mode(sprite);
}

KV_BUILTIN(F_SpriteSetBbox) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  sprite->bboxMode = 2;
  sprite->bboxLeft = static_cast<float>(ArgInt(argc, argv, 1));
  sprite->bboxTop = static_cast<float>(ArgInt(argc, argv, 2));
  sprite->bboxRight = static_cast<float>(ArgInt(argc, argv, 3));
  sprite->bboxBottom = static_cast<float>(ArgInt(argc, argv, 4));
}

// sprite_collision_mask(sprite, sepmasks, bboxmode, left, top, right, bottom, kind, tolerance):
// kind 0 precise (one mask a frame with sepmasks, else one for all), others a box; tolerance is the
// alpha a pixel must pass to count.
KV_BUILTIN(F_SpriteCollisionMask) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  const bool separate = ArgBool(argc, argv, 1);
  sprite->bboxMode = ArgInt(argc, argv, 2);
  if (sprite->bboxMode == 2) {
    sprite->bboxLeft = static_cast<float>(ArgInt(argc, argv, 3));
    sprite->bboxTop = static_cast<float>(ArgInt(argc, argv, 4));
    sprite->bboxRight = static_cast<float>(ArgInt(argc, argv, 5));
    sprite->bboxBottom = static_cast<float>(ArgInt(argc, argv, 6));
  } else {
    apply_bbox_mode(sprite);
  }
  const int32_t kind = ArgInt(argc, argv, 7);
  const int32_t tolerance = std::clamp(ArgInt(argc, argv, 8), 0, 255);
  sprite->useMask = kind == 0;
  sprite->rotatedMask = kind == 2;
  if (!sprite->useMask) return;
  const int32_t w = sprite->width, h = sprite->height;
  if (w <= 0 || h <= 0) return;
  const uint32_t row_bytes = (static_cast<uint32_t>(w) + 7) / 8;
  const uint32_t mask_bytes = row_bytes * static_cast<uint32_t>(h);
  const size_t count = separate ? sprite->frames.size() : 1;
  std::vector<uint8_t> masks(mask_bytes * count, 0);
  for (size_t frame = 0; frame < sprite->frames.size(); ++frame) {
    SpriteBitmap pixels;
    if (!Sprite_FramePixels(*sprite, static_cast<int32_t>(frame), &pixels)) continue;
    uint8_t* mask = masks.data() + (separate ? frame : 0) * mask_bytes;
    for (int32_t y = 0; y < std::min(h, pixels.height); ++y) {
      for (int32_t x = 0; x < std::min(w, pixels.width); ++x) {
        if (pixels.pixels[(static_cast<size_t>(y) * pixels.width + x) * 4 + 3] > tolerance) {
          mask[static_cast<size_t>(y) * row_bytes + x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8));
        }
      }
    }
  }
  sprite->ownedMasks = std::move(masks);
  sprite->masks = sprite->ownedMasks.data();
  sprite->maskCount = static_cast<int32_t>(count);
  sprite->maskRowBytes = row_bytes;
  sprite->maskBytes = mask_bytes;
}

// Re-uploads a run-time frame's texture from its bitmap.
void refresh_frame(CSprite* sprite, size_t frame) {
  if (frame >= sprite->frames.size() || frame >= sprite->frameBitmaps.size()) return;
  const TextureSlot* slot = Texture_Slot(sprite->frames[frame].slot);
  const SpriteBitmap& b = sprite->frameBitmaps[frame];
  if (slot == nullptr || slot->texture == nullptr || b.pixels.empty()) return;
  Texture_Update(static_cast<Texture*>(slot->texture), b.pixels.data(), static_cast<uint32_t>(b.width),
                 static_cast<uint32_t>(b.height));
}

// Makes every frame of a sprite a run-time frame with its own pixels (so it can be changed).
bool own_pixels(CSprite* sprite) {
  sprite->frameBitmaps.resize(sprite->frames.size());
  for (size_t i = 0; i < sprite->frames.size(); ++i) {
    SpriteFrame& f = sprite->frames[i];
    if (f.entry == nullptr) continue;
    SpriteBitmap pixels;
    if (!Sprite_FramePixels(*sprite, static_cast<int32_t>(i), &pixels)) return false;
    const int32_t slot = Texture_AllocSlot();
    Texture* texture = Texture_Create(static_cast<uint32_t>(pixels.width), static_cast<uint32_t>(pixels.height),
                                      kTextureFormatRGBA, 0);
    texture->slot = slot;
    Texture_Update(texture, pixels.pixels.data(), static_cast<uint32_t>(pixels.width),
                   static_cast<uint32_t>(pixels.height));
    Texture_Slot(slot)->texture = texture;
    Texture_SetSlotSize(Texture_Slot(slot), static_cast<uint32_t>(pixels.width), static_cast<uint32_t>(pixels.height));
    sprite->frameTextures.push_back(slot);
    f = SpriteFrame{};
    f.slot = slot;
    f.sw = f.tw = f.bw = static_cast<float>(pixels.width);
    f.sh = f.th = f.bh = static_cast<float>(pixels.height);
    sprite->frameBitmaps[i] = std::move(pixels);
  }
  return true;
}

KV_BUILTIN(F_SpriteSetAlphaFromSprite) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  const CSprite* source = sprite_at(argc, argv, 1);
  if (sprite == nullptr || source == nullptr || source->numFrames <= 0 || !own_pixels(sprite)) return;
  for (size_t i = 0; i < sprite->frames.size(); ++i) {
    SpriteBitmap alpha;
    if (!Sprite_FramePixels(*source, static_cast<int32_t>(i % static_cast<size_t>(source->numFrames)), &alpha)) continue;
    SpriteBitmap& b = sprite->frameBitmaps[i];
    for (int32_t y = 0; y < std::min(b.height, alpha.height); ++y) {
      for (int32_t x = 0; x < std::min(b.width, alpha.width); ++x) {
        const uint8_t* a = alpha.pixels.data() + (static_cast<size_t>(y) * alpha.width + x) * 4;
        uint8_t* p = b.pixels.data() + (static_cast<size_t>(y) * b.width + x) * 4;
        const uint32_t value = (static_cast<uint32_t>(a[0]) + a[1] + a[2]) / 3;
        p[3] = static_cast<uint8_t>(p[3] * value / 255);
      }
    }
    refresh_frame(sprite, i);
  }
  Sprite_BuildMasks(sprite);
}

// The frames of an image file: a horizontal strip of `count` frames.
bool load_strip(const char* file, int32_t count, bool removeback, std::vector<SpriteBitmap>* frames) {
  std::vector<uint8_t> bytes;
  DecodedImage image;
  if (!Graphics_ReadFile(file, &bytes) ||
      !Texture_DecodePng(bytes.data(), static_cast<uint32_t>(bytes.size()), &image) || image.width == 0) {
    g_ReleaseConsole->Output("sprite_add: could not load image %s\n", file);
    return false;
  }
  count = std::max(count, 1);
  const int32_t w = std::max(static_cast<int32_t>(image.width) / count, 1);
  const auto h = static_cast<int32_t>(image.height);
  for (int32_t f = 0; f < count; ++f) {
    SpriteBitmap b;
    b.width = w;
    b.height = h;
    b.pixels.assign(static_cast<size_t>(w) * h * 4, 0);
    for (int32_t y = 0; y < h; ++y) {
      const size_t from = (static_cast<size_t>(y) * image.width + static_cast<size_t>(f) * w) * 4;
      if (static_cast<uint32_t>(f * w + w) > image.width) continue;
      std::memcpy(b.pixels.data() + static_cast<size_t>(y) * w * 4, image.pixels.data() + from, static_cast<size_t>(w) * 4);
    }
    if (removeback) SpriteBitmap_RemoveBack(&b);
    frames->push_back(std::move(b));
  }
  return true;
}

KV_BUILTIN(F_SpriteAdd) {
  Real(result, -1);
  std::vector<SpriteBitmap> frames;
  const char* file = ArgString(argc, argv, 0);
  if (!load_strip(file, ArgInt(argc, argv, 1), ArgBool(argc, argv, 2), &frames)) return;
  auto sprite = Sprite_FromBitmaps(std::move(frames), ArgInt(argc, argv, 4), ArgInt(argc, argv, 5),
                                   ArgBool(argc, argv, 2), ArgBool(argc, argv, 3));
  sprite->name = "__newsprite" + std::to_string(Sprite_TableCount());
  Real(result, Sprite_Add(std::move(sprite)));
}

KV_BUILTIN(F_SpriteReplace) {
  Bool(result, false);
  const int32_t id = ArgInt(argc, argv, 0);
  if (!Sprite_Exists(id)) return;
  std::vector<SpriteBitmap> frames;
  if (!load_strip(ArgString(argc, argv, 1), ArgInt(argc, argv, 2), ArgBool(argc, argv, 3), &frames)) return;
  auto sprite = Sprite_FromBitmaps(std::move(frames), ArgInt(argc, argv, 5), ArgInt(argc, argv, 6),
                                   ArgBool(argc, argv, 3), ArgBool(argc, argv, 4));
  sprite->name = Sprite_Data(id)->name;
  Bool(result, Sprite_Replace(id, std::move(sprite)));
}

bool read_surface_bitmap(int argc, RValue* argv, bool removeback, SpriteBitmap* out) {
  const int32_t surface = ArgInt(argc, argv, 0);
  if (!Surface_Exists(surface)) {
    KVError("Trying to use non-existing surface.");
    return false;
  }
  if (!Surface_Read_Rect(surface, ArgInt(argc, argv, 1), ArgInt(argc, argv, 2), ArgInt(argc, argv, 3),
                         ArgInt(argc, argv, 4), out)) {
    return false;
  }
  if (removeback) SpriteBitmap_RemoveBack(out);
  return true;
}

KV_BUILTIN(F_SpriteCreateFromSurface) {
  Real(result, -1);
  SpriteBitmap bitmap;
  const bool removeback = ArgBool(argc, argv, 5);
  if (!read_surface_bitmap(argc, argv, removeback, &bitmap)) return;
  std::vector<SpriteBitmap> frames;
  frames.push_back(std::move(bitmap));
  auto sprite = Sprite_FromBitmaps(std::move(frames), ArgInt(argc, argv, 7), ArgInt(argc, argv, 8), removeback,
                                   ArgBool(argc, argv, 6));
  sprite->name = "__newsprite" + std::to_string(Sprite_TableCount());
  Real(result, Sprite_Add(std::move(sprite)));
}

KV_BUILTIN(F_SpriteAddFromSurface) {
  *result = RV_Undefined();
  CSprite* sprite = Sprite_Data(ArgInt(argc, argv, 0));
  if (sprite == nullptr) return;
  if (sprite->kind == 1) {
    KVError("sprite_add_from_surface: not supported with vector sprites");
    return;
  }
  if (!sprite->duplicated) {
    KVError("sprite_add_from_surface() requires the destination sprite to have been duplicated");
    return;
  }
  // Arguments: sprite, surface, x, y, w, h, removeback, smooth.
  SpriteBitmap bitmap;
  if (!read_surface_bitmap(argc - 1, argv + 1, ArgBool(argc, argv, 6), &bitmap)) return;
  Sprite_AppendBitmap(sprite, std::move(bitmap));
}

bool frame_pixels_or_say(const CSprite& sprite, int32_t frame, SpriteBitmap* out) {
  if (Sprite_FramePixels(sprite, frame, out)) return true;
  g_ReleaseConsole->Output("Unable to read the pixels of sprite %s\n", sprite.name.c_str());
  return false;
}

KV_BUILTIN(F_SpriteSave) {
  *result = RV_Undefined();
  const CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  const int32_t frame = Sprite_FrameIndex(static_cast<float>(Arg(argc, argv, 1)), sprite->numFrames);
  SpriteBitmap b;
  if (frame >= 0 && frame_pixels_or_say(*sprite, frame, &b)) Image_SavePng(ArgString(argc, argv, 2), b.pixels.data(), b.width, b.height);
}

KV_BUILTIN(F_SpriteSaveStrip) {
  *result = RV_Undefined();
  const CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr || sprite->numFrames <= 0 || sprite->width <= 0 || sprite->height <= 0) return;
  const int32_t w = sprite->width, h = sprite->height, n = static_cast<int32_t>(sprite->frames.size());
  std::vector<uint8_t> strip(static_cast<size_t>(w) * n * h * 4, 0);
  for (int32_t f = 0; f < n; ++f) {
    SpriteBitmap b;
    if (!frame_pixels_or_say(*sprite, f, &b)) return;
    for (int32_t y = 0; y < std::min(h, b.height); ++y) {
      std::memcpy(strip.data() + (static_cast<size_t>(y) * w * n + static_cast<size_t>(f) * w) * 4,
                  b.pixels.data() + static_cast<size_t>(y) * b.width * 4, static_cast<size_t>(std::min(w, b.width)) * 4);
    }
  }
  Image_SavePng(ArgString(argc, argv, 1), strip.data(), w * n, h);
}

KV_BUILTIN(F_SpriteDelete) { Real(result, Sprite_Delete(ArgInt(argc, argv, 0)) ? 1 : -1); }

KV_BUILTIN(F_SpriteDuplicate) {
  const CSprite* sprite = sprite_at(argc, argv);
  Real(result, sprite != nullptr ? Sprite_Add(Sprite_Duplicate(*sprite)) : -1);
}

KV_BUILTIN(F_SpriteAssign) {
  const int32_t id = ArgInt(argc, argv, 0);
  const CSprite* source = sprite_at(argc, argv, 1);
  Bool(result, source != nullptr && id >= 0 && id < Sprite_TableCount() && Sprite_Replace(id, Sprite_Duplicate(*source)));
}

KV_BUILTIN(F_SpriteMerge) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  const CSprite* other = sprite_at(argc, argv, 1);
  if (sprite == nullptr || other == nullptr) return;
  for (int32_t f = 0; f < static_cast<int32_t>(other->frames.size()); ++f) {
    SpriteBitmap b;
    if (frame_pixels_or_say(*other, f, &b)) Sprite_AppendBitmap(sprite, std::move(b));
  }
}

// Runs fn for each texture slot the sprites of argument 0 (a sprite or an array of them) use.
template <typename F>
int32_t for_each_slot(int argc, RValue* argv, F fn) {
  std::vector<int32_t> ids;
  if (RefDynamicArrayOfRValue* array = gfx_fn::ArrayArg(argc, argv, 0)) {
    for (int32_t i = 0; i < array->length; ++i) ids.push_back(static_cast<int32_t>(RV_ToDouble(array->pArray[i])));
  } else {
    ids.push_back(ArgInt(argc, argv, 0));
  }
  int32_t status = 0;
  for (int32_t id : ids) {
    const CSprite* sprite = Sprite_Data(id);
    if (sprite == nullptr) {
      status = -1;
      continue;
    }
    for (const SpriteFrame& f : sprite->frames) fn(f.slot);
  }
  return status;
}

KV_BUILTIN(F_SpritePrefetch) {
  Real(result, for_each_slot(argc, argv, [](int32_t slot) { TextureLoad_RequestSlot(slot, true, false); }));
}

KV_BUILTIN(F_SpriteFlush) { Real(result, for_each_slot(argc, argv, [](int32_t slot) { TextureLoad_FlushSlot(slot); })); }

KV_BUILTIN(F_SpriteSetSpeed) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  sprite->speed = static_cast<float>(Arg(argc, argv, 1));
  sprite->speedType = ArgInt(argc, argv, 2);
}

// A frame for the uv and texture getters; raises their messages.
const SpriteFrame* texture_frame(CInstance* self, int argc, RValue* argv, const char* name) {
  const CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) {
    KVError("Trying to get texture from non-existing sprite.");
    return nullptr;
  }
  if (sprite->kind == 1) {
    KVError("%s: not supported for vector sprites", name);
    return nullptr;
  }
  if (sprite->kind == 2) {
    KVError(std::strcmp(name, "sprite_get_uvs") == 0 ? "%s: not supported for vector sprites"
                                                     : "%s: not supported for skeleton based sprites",
            name);
    return nullptr;
  }
  float subimage = static_cast<float>(Arg(argc, argv, 1));
  if (subimage < 0.0f) {
    SpriteInstanceState state;
    subimage = Sprite_ReadInstance(self, &state) ? state.imageIndex : 0.0f;
  }
  const int32_t i = Sprite_FrameIndex(subimage, sprite->numFrames);
  return i >= 0 && static_cast<size_t>(i) < sprite->frames.size() ? &sprite->frames[static_cast<size_t>(i)] : nullptr;
}

int64_t handle_of(const SpriteFrame& f) {
  return f.entry != nullptr ? static_cast<int64_t>(reinterpret_cast<uintptr_t>(f.entry)) : f.slot;
}

KV_BUILTIN(F_SpriteGetUvs) {
  Real(result, -1);
  const SpriteFrame* f = texture_frame(self, argc, argv, "sprite_get_uvs");
  if (f == nullptr) return;
  double uvs[8];
  if (f->entry != nullptr) {
    Texture_GetUVs(handle_of(*f), uvs);
  } else {
    const double whole[8] = {0, 0, 1, 1, 0, 0, 1, 1};
    std::copy(whole, whole + 8, uvs);
  }
  gfx_fn::RealArray(result, uvs, 8);
}

KV_BUILTIN(F_SpriteGetTexture) {
  Real(result, -1);
  const SpriteFrame* f = texture_frame(self, argc, argv, "sprite_get_texture");
  if (f != nullptr) *result = RV_Ptr(reinterpret_cast<void*>(static_cast<uintptr_t>(handle_of(*f))));
}

void set_bool(KVObjectBase* object, const char* key, bool value) {
  const RValue v = RV_Bool(value);
  Object_SetRValue(object, key, &v);
}

void set_text(KVObjectBase* object, const char* key, const char* text) {
  RValue v = RV_Undefined();
  RV_SetString(&v, text);
  Object_SetRValue(object, key, &v);
  RV_FreeToUndefined(&v);
}

void set_object(KVObjectBase* object, const char* key, const RValue& value) {
  RValue v = value;
  Object_SetRValue(object, key, &v);
}

KV_BUILTIN(F_SpriteGetInfo) {
  Real(result, -1);
  const CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  KVObjectBase* info = Object_NewStruct();
  *result = RV_Object(info);
  set_text(info, "name", sprite->name.c_str());
  Object_SetReal(info, "width", sprite->width);
  Object_SetReal(info, "height", sprite->height);
  Object_SetReal(info, "xoffset", sprite->xOrigin);
  Object_SetReal(info, "yoffset", sprite->yOrigin);
  set_bool(info, "transparent", sprite->transparent);
  set_bool(info, "smooth", sprite->smooth);
  set_bool(info, "preload", sprite->preload);
  Object_SetReal(info, "type", sprite->kind);
  Object_SetReal(info, "bbox_left", sprite->bboxLeft);
  Object_SetReal(info, "bbox_top", sprite->bboxTop);
  Object_SetReal(info, "bbox_right", sprite->bboxRight);
  Object_SetReal(info, "bbox_bottom", sprite->bboxBottom);
  Object_SetReal(info, "num_subimages", sprite->numFrames);
  // The playback speed belongs to a sprite's frame sequence; without one there is none to tell.
  const bool timed = sprite->sequence != nullptr;
  Object_SetReal(info, "frame_speed", timed ? sprite->speed : 0.0);
  Object_SetReal(info, "frame_type", timed ? sprite->speedType : -1);
  set_bool(info, "use_mask", sprite->useMask);
  Object_SetReal(info, "num_masks", sprite->maskCount);
  if (sprite->kind == 0) {
    RefDynamicArrayOfRValue* frames = RV_NewArray(static_cast<int32_t>(sprite->frames.size()));
    RValue frames_value;
    frames_value.pArray = frames;
    frames_value.flags = 0;
    frames_value.kind = kRVArray;
    for (size_t i = 0; i < sprite->frames.size(); ++i) {
      const SpriteFrame& f = sprite->frames[i];
      KVObjectBase* entry = Object_NewStruct();
      const double fields[10] = {f.sx, f.sy, f.sw, f.sh, f.tx, f.ty, f.tw, f.th, f.bw, f.bh};
      static const char* const kKeys[10] = {"x",        "y",          "w",           "h",               "x_offset",
                                            "y_offset", "crop_width", "crop_height", "original_width", "original_height"};
      for (int k = 0; k < 10; ++k) Object_SetReal(entry, kKeys[k], fields[k]);
      const TextureSlot* slot = Texture_Slot(f.slot);
      Object_SetReal(entry, "texture", slot != nullptr ? f.slot : -1);
      frames->pArray[i] = RV_Object(entry);
    }
    set_object(info, "frames", frames_value);
  }
  const RValue nine = NineSlice_Value(const_cast<CSprite*>(sprite));
  set_object(info, "nineslice", nine);
}

// ---- Nine-slice --------------------------------------------------------------------------------------

KV_BUILTIN(F_SpriteGetNineslice) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  if (sprite == nullptr) return;
  if (sprite->nineSlice == nullptr) sprite->nineSlice = std::make_unique<CNineSliceData>();
  *result = NineSlice_Value(sprite);
}

KV_BUILTIN(F_SpriteSetNineslice) {
  *result = RV_Undefined();
  CSprite* sprite = sprite_at(argc, argv);
  const CNineSliceData* data = argc > 1 ? NineSlice_FromValue(argv[1]) : nullptr;
  if (data == nullptr) {
    g_ReleaseConsole->Output("Invalid second argument passed to sprite_set_nineslice() - should be a nineslice object\n");
    return;
  }
  if (sprite == nullptr) return;
  if (sprite->nineSlice == nullptr) sprite->nineSlice = std::make_unique<CNineSliceData>();
  NineSlice_CopySettings(sprite->nineSlice.get(), *data);
}

KV_BUILTIN(F_SpriteNinesliceCreate) { *result = NineSlice_NewValue(); }

// ---- Tile sets ---------------------------------------------------------------------------------------

KV_BUILTIN(F_TilesetGetTexture) {
  Real(result, -1);
  const BackgroundAsset* set = Background_Get(ArgInt(argc, argv, 0));
  if (set != nullptr && set->page_entry != nullptr) *result = RV_Ptr(const_cast<uint8_t*>(set->page_entry));
}

KV_BUILTIN(F_TilesetGetUvs) {
  Real(result, -1);
  const BackgroundAsset* set = Background_Get(ArgInt(argc, argv, 0));
  if (set == nullptr || set->page_entry == nullptr) return;
  double uvs[8];
  Texture_GetUVs(static_cast<int64_t>(reinterpret_cast<uintptr_t>(set->page_entry)), uvs);
  gfx_fn::RealArray(result, uvs, 8);
}

KV_BUILTIN(F_TilesetGetName) {
  const char* name = Background_Table().name(ArgInt(argc, argv, 0));
  set_string(result, name != nullptr ? name : "<undefined>");
}

#undef KV_BUILTIN

const BuiltinRow kRows[] = {
    {"sprite_exists", F_SpriteExists, 1},
    {"sprite_get_name", F_SpriteGetName, 1},
    {"sprite_get_number", F_SpriteGetNumber, 1},
    {"sprite_get_width", F_SpriteGetWidth, 1},
    {"sprite_get_height", F_SpriteGetHeight, 1},
    {"sprite_get_xoffset", F_SpriteGetXoffset, 1},
    {"sprite_get_yoffset", F_SpriteGetYoffset, 1},
    {"sprite_get_bbox_mode", F_SpriteGetBboxMode, 1},
    {"sprite_get_bbox_left", F_SpriteGetBboxLeft, 1},
    {"sprite_get_bbox_right", F_SpriteGetBboxRight, 1},
    {"sprite_get_bbox_top", F_SpriteGetBboxTop, 1},
    {"sprite_get_bbox_bottom", F_SpriteGetBboxBottom, 1},
    {"sprite_collision_mask", F_SpriteCollisionMask, 9},
    {"sprite_set_cache_size", F_SpriteSetCacheSize, 2},
    {"sprite_set_cache_size_ext", F_SpriteSetCacheSize, 3},
    {"sprite_get_tpe", F_SpriteGetTexture, 2},
    {"sprite_set_offset", F_SpriteSetOffset, 3},
    {"sprite_set_bbox_mode", F_SpriteSetBboxMode, 2},
    {"sprite_set_bbox", F_SpriteSetBbox, 5},
    {"sprite_set_alpha_from_sprite", F_SpriteSetAlphaFromSprite, 2},
    {"sprite_add", F_SpriteAdd, 6},
    {"sprite_create_from_surface", F_SpriteCreateFromSurface, 9},
    {"sprite_add_from_surface", F_SpriteAddFromSurface, 8},
    {"sprite_replace", F_SpriteReplace, 7},
    {"sprite_save_strip", F_SpriteSaveStrip, 2},
    {"sprite_delete", F_SpriteDelete, 1},
    {"sprite_duplicate", F_SpriteDuplicate, 1},
    {"sprite_assign", F_SpriteAssign, 2},
    {"sprite_merge", F_SpriteMerge, 2},
    {"sprite_save", F_SpriteSave, 3},
    {"sprite_prefetch", F_SpritePrefetch, 1},
    {"sprite_prefetch_multi", F_SpritePrefetch, 1},
    {"sprite_flush", F_SpriteFlush, 1},
    {"sprite_flush_multi", F_SpriteFlush, 1},
    {"sprite_set_speed", F_SpriteSetSpeed, 3},
    {"sprite_get_speed_type", F_SpriteGetSpeedType, 1},
    {"sprite_get_speed", F_SpriteGetSpeed, 1},
    {"sprite_get_nineslice", F_SpriteGetNineslice, 1},
    {"sprite_set_nineslice", F_SpriteSetNineslice, 2},
    {"sprite_nineslice_create", F_SpriteNinesliceCreate, 0},
    {"sprite_get_uvs", F_SpriteGetUvs, 2},
    {"sprite_get_texture", F_SpriteGetTexture, 2},
    {"sprite_get_info", F_SpriteGetInfo, 1},
    {"tileset_get_texture", F_TilesetGetTexture, 1},
    {"tileset_get_uvs", F_TilesetGetUvs, 1},
    {"tileset_get_name", F_TilesetGetName, 1},
};

}  // namespace

void Sprite_RegisterBuiltins() { Graphics_AddRows(kRows, static_cast<int>(std::size(kRows))); }

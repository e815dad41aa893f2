// SPRT reader: the record head, the old, new and zero-word forms, bitmap, vector and skeleton
// bodies, masks, sequence origin and nine-slice data.
#include "graphics/asset_sprites.h"

#include <cmath>

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"

using namespace datawin;

namespace {

AssetTable<SpriteAsset> g_sprites;

bool fail(const char* what, uint32_t offset) { return Asset_LoadError("SPRT", what, offset); }

bool read_frames(ByteCursor& cur, uint32_t count, SpriteAsset* sprite) {
  if (!cur.fits(count, 4)) return fail("frame list passes the end of the file", cur.offset());
  sprite->frame_count = count;
  sprite->frames.resize(count);
  for (const uint8_t*& frame : sprite->frames) {
    if (!Asset_ReadPageEntry(cur, &frame)) return fail("frame page entry outside the file", cur.offset());
  }
  return true;
}

bool read_masks(ByteCursor& cur, SpriteAsset* sprite) {
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return fail("mask count cut off", cur.offset());
  if (count == 0) return true;
  if (sprite->width < 0 || sprite->height < 0) return fail("masks of a sprite with a negative size", cur.offset());
  const uint64_t bytes = sprt::mask_bytes(sprite->width, sprite->height);
  if (bytes * count > cur.remaining()) return fail("masks pass the end of the file", cur.offset());
  sprite->mask_count = count;
  sprite->mask_row_bytes = sprt::mask_row_bytes(sprite->width);
  sprite->mask_bytes = static_cast<uint32_t>(bytes);
  sprite->masks = cur.here();
  return true;
}

bool read_bitmap_body(ByteCursor& cur, SpriteAsset* sprite) {
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return fail("frame count cut off", cur.offset());
  return read_frames(cur, count, sprite) && read_masks(cur, sprite);
}

bool read_vector_body(ByteCursor& cur, SpriteAsset* sprite) {
  if (!cur.read_i32(&sprite->vector_version)) return fail("vector body cut off", cur.offset());
  if (sprite->vector_version >= sprt::kVectorFramesVersion) {
    uint32_t count = 0;
    if (!cur.read_u32(&count) || !read_frames(cur, count, sprite)) return fail("vector frames cut off", cur.offset());
  }
  sprite->vector_data = cur.here();
  return true;
}

bool read_skeleton_body(ByteCursor& cur, SpriteAsset* sprite) {
  const uint32_t body = cur.offset();
  uint32_t json = 0, atlas = 0;
  if (!cur.read_u32(&sprite->skeleton_version) || !cur.skip(4) || !cur.read_u32(&json) || !cur.read_u32(&atlas) ||
      !cur.seek(body + sprt::skeleton_text_offset(sprite->skeleton_version))) {
    return fail("skeleton body cut off", body);
  }
  if (static_cast<uint64_t>(json) + atlas > cur.remaining()) return fail("skeleton texts pass the end of the file", cur.offset());
  sprite->skeleton_json = reinterpret_cast<const char*>(cur.here());
  sprite->skeleton_json_length = json;
  sprite->skeleton_atlas = sprite->skeleton_json + json;
  sprite->skeleton_atlas_length = atlas;
  sprite->frame_count = sprt::kSkeletonFrameCount;
  return true;
}

// The sequence's origin goes through a float, as the sequence stores it, then is truncated.
int32_t through_float(int32_t value) {
  const auto f = static_cast<float>(value);
  return f >= 2147483648.0f ? INT32_MAX : static_cast<int32_t>(f);
}

bool read_sequence(uint32_t offset, SpriteAsset* sprite) {
  if (offset == 0) return true;
  const uint32_t record = offset + sprt::kSequenceRecord;
  if (offset > UINT32_MAX - sprt::kSequenceRecord || !Asset_SpanInImage(record, sprt::kSequenceYOrigin + 4)) {
    return fail("sequence outside the file", offset);
  }
  const uint8_t* sequence = GameData_Image() + record;
  sprite->sequence = sequence;
  sprite->xOrigin = through_float(load_i32(sequence + sprt::kSequenceXOrigin));
  sprite->yOrigin = through_float(load_i32(sequence + sprt::kSequenceYOrigin));
  return true;
}

bool read_nine_slice(uint32_t offset, SpriteAsset* sprite) {
  if (offset == 0) return true;
  ByteCursor cur = Asset_RecordCursor(offset);
  int32_t words[sprt::kNineSliceWords] = {};
  for (int32_t& word : words) {
    if (!cur.read_i32(&word)) return fail("nine-slice data cut off", offset);
  }
  NineSliceAsset& n = sprite->nine_slice;
  n.left = words[0];
  n.top = words[1];
  n.right = words[2];
  n.bottom = words[3];
  n.enabled = words[4] != 0;
  for (uint32_t i = 0; i < sprt::kNineSliceTileModes; ++i) n.tile_modes[i] = words[5 + i];
  sprite->nine_slice_set = true;
  return true;
}

bool read_new_form(ByteCursor& cur, uint32_t start, SpriteAsset* sprite) {
  const uint32_t generation = GameData_Header().generation;
  uint32_t sequence = 0, nine_slice = 0;
  sprite->new_form = true;
  if (!cur.read_u32(&sprite->version) || !cur.read_u32(&sprite->kind)) return fail("sprite header cut off", cur.offset());
  if (generation >= 2 && (!cur.read_f32(&sprite->speed) || !cur.read_i32(&sprite->speed_type))) {
    return fail("sprite header cut off", cur.offset());
  }
  if (sprt::has_sequence(generation, sprite->version) && !cur.read_u32(&sequence)) return fail("sprite header cut off", cur.offset());
  if (sprt::has_nine_slice(generation, sprite->version) && !cur.read_u32(&nine_slice)) {
    return fail("sprite header cut off", cur.offset());
  }
  if (!cur.seek(start + sprt::sprite_body_offset(generation, sprite->version))) return fail("sprite body cut off", cur.offset());
  bool ok = false;
  switch (sprite->kind) {
    case sprt::kKindVector:
      ok = read_vector_body(cur, sprite);
      break;
    case sprt::kKindSkeleton:
      ok = read_skeleton_body(cur, sprite);
      break;
    default:
      ok = read_bitmap_body(cur, sprite);
      break;
  }
  return ok && read_sequence(sequence, sprite) && read_nine_slice(nine_slice, sprite);
}

bool read_sprite(uint32_t offset, SpriteAsset* sprite, const char** name) {
  ByteCursor cur = Asset_RecordCursor(offset);
  int32_t bbox[4] = {};
  uint32_t transparent = 0, smooth = 0, preload = 0, form = 0;
  int32_t collision = 0;
  if (!cur.read_string(name) || !cur.read_i32(&sprite->width) || !cur.read_i32(&sprite->height) ||
      !cur.read_i32(&bbox[0]) || !cur.read_i32(&bbox[1]) || !cur.read_i32(&bbox[2]) || !cur.read_i32(&bbox[3]) ||
      !cur.read_u32(&transparent) || !cur.read_u32(&smooth) || !cur.read_u32(&preload) ||
      !cur.read_i32(&sprite->bbox_mode) || !cur.read_i32(&collision) || !cur.read_i32(&sprite->xOrigin) ||
      !cur.read_i32(&sprite->yOrigin) || !cur.read_u32(&form)) {
    return fail("sprite record cut off or bad name", cur.offset());
  }
  sprite->record = cur.image() + offset;
  sprite->bbox_left = static_cast<float>(bbox[0]);
  sprite->bbox_right = static_cast<float>(bbox[1]);
  sprite->bbox_bottom = static_cast<float>(bbox[2]);
  sprite->bbox_top = static_cast<float>(bbox[3]);
  sprite->transparent = transparent != 0;
  sprite->smooth = smooth != 0;
  sprite->preload = preload != 0;
  sprite->useMask = collision == sprt::kCollisionPrecise;
  sprite->rotatedMask = collision == sprt::kCollisionRotatedBox;
  bool ok = false;
  if (form == sprt::kNewFormMarker) {
    ok = read_new_form(cur, offset, sprite);
  } else if (form == 0 && GameData_Header().generation >= 2) {
    ok = read_bitmap_body(cur, sprite);
  } else {
    ok = read_frames(cur, form, sprite) && read_masks(cur, sprite);
  }
  if (ok && sprite->kind == sprt::kKindBitmap) {
    sprite->cullRadius = Sprite_CullRadius(sprite->width, sprite->height, sprite->xOrigin, sprite->yOrigin);
  }
  return ok;
}

}  // namespace

const AssetTable<SpriteAsset>& Sprite_Table() { return g_sprites; }
SpriteAsset* Sprite_Get(int32_t index) { return g_sprites.get(index); }
int32_t Sprite_Find(const char* name) { return g_sprites.find(name); }
void Sprite_Clear() { g_sprites.clear(); }

const uint8_t* Sprite_Mask(const SpriteAsset* sprite, int32_t frame) {
  if (sprite == nullptr || sprite->mask_count == 0) return nullptr;
  if (sprite->mask_count != sprite->frame_count) return sprite->masks;
  int32_t index = frame % static_cast<int32_t>(sprite->mask_count);
  if (index < 0) index += static_cast<int32_t>(sprite->mask_count);
  return sprite->masks + static_cast<size_t>(index) * sprite->mask_bytes;
}

int32_t Sprite_CullRadius(int32_t width, int32_t height, int32_t x_origin, int32_t y_origin) {
  const double ox = x_origin, oy = y_origin, w = width, h = height;
  const double corners[4] = {std::ceil(std::sqrt(ox * ox + oy * oy)),
                             std::ceil(std::sqrt((w - ox) * (w - ox) + oy * oy)),
                             std::ceil(std::sqrt(ox * ox + (h - oy) * (h - oy))),
                             std::ceil(std::sqrt((w - ox) * (w - ox) + (h - oy) * (h - oy)))};
  double radius = corners[0];
  for (double corner : corners) radius = corner > radius ? corner : radius;
  // A damaged record's size and origin can put a corner beyond what an int holds: such a sprite
  // is never culled.
  return radius < 2147483647.0 ? static_cast<int32_t>(radius) : INT32_MAX;
}

bool Sprite_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_sprites.clear();
  if (!Asset_ReadPointerList(cur, "SPRT", &offsets)) return false;
  g_sprites.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto sprite = std::make_unique<SpriteAsset>();
    const char* name = nullptr;
    if (!read_sprite(offsets[i], sprite.get(), &name)) return false;
    g_sprites.set(i, std::move(sprite), name);
  }
  return true;
}

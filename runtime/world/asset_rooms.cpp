// ROOM reader: room records, their lists of fixed-size records, layers with their elements, and
// the room's sequence list. Every list offset and count is checked against the image, and every
// fixed-size record must lie inside it before a field is taken from it.
#include "world/asset_rooms.h"

#include <cstdlib>
#include <cstring>

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/room_layout.h"

using namespace datawin;

namespace {

AssetTable<RoomAsset> g_rooms;
int32_t g_highest_layer_id = 0;

constexpr const char* kChunk = "ROOM";

bool fail(const char* what, uint32_t offset) { return Asset_LoadError(kChunk, what, offset); }

float alpha_of(uint32_t colour) { return static_cast<float>(colour >> 24) / 255.0f; }
uint32_t blend_of(uint32_t colour) { return colour & 0xFFFFFFu; }

// The file's float truncated to an integer; values no i32 holds are clamped, NaN gives 0.
int32_t truncate_to_int(float value) {
  if (value != value) return 0;
  if (value >= 2147483648.0f) return INT32_MAX;
  if (value <= -2147483648.0f) return INT32_MIN;
  return static_cast<int32_t>(value);
}

// Fields of a fixed-size record that is known to lie inside the image.
class Fields {
 public:
  explicit Fields(uint32_t offset) : offset_(offset), p_(GameData_Image() + offset) {}
  uint32_t offset() const { return offset_; }
  const uint8_t* record() const { return p_; }
  int32_t i32(uint32_t at) const { return load_i32(p_ + at); }
  uint32_t u32(uint32_t at) const { return load_u32(p_ + at); }
  float f32(uint32_t at) const { return load_f32(p_ + at); }
  bool flag(uint32_t at) const { return load_u32(p_ + at) != 0; }
  // A string field; false when the offset names no string of the image.
  bool string(uint32_t at, const char** out) const {
    const uint32_t text = load_u32(p_ + at);
    *out = nullptr;
    if (text == 0) return true;
    return ByteCursor(GameData_Image(), GameData_ImageSize(), 0, 0).string_at(text, out) || fail("bad string", offset_ + at);
  }

 private:
  uint32_t offset_;
  const uint8_t* p_;
};

// Reads the pointer list at `list` (0: none) of records of `record_bytes` each. A zero entry adds
// a default item when `keep_empty`, otherwise nothing.
template <class T, class Read>
bool read_list(uint32_t list, uint32_t record_bytes, bool keep_empty, std::vector<T>* items, Read read) {
  if (list == 0) return true;
  ByteCursor cur = Asset_RecordCursor(list);
  std::vector<uint32_t> offsets;
  if (!Asset_ReadPointerList(cur, kChunk, &offsets)) return false;
  items->reserve(offsets.size());
  for (uint32_t at : offsets) {
    if (at == 0) {
      if (keep_empty) items->emplace_back();
      continue;
    }
    if (!Asset_SpanInImage(at, record_bytes)) return fail("record passes the end of the file", at);
    items->emplace_back();
    if (!read(Fields(at), &items->back())) return false;
  }
  return true;
}

bool read_background(const Fields& f, RoomBackgroundAsset* b) {
  b->visible = f.flag(0);
  b->foreground = f.flag(4);
  b->index = f.i32(8);
  b->x = f.i32(12);
  b->y = f.i32(16);
  b->htiled = f.flag(20);
  b->vtiled = f.flag(24);
  b->hspeed = f.i32(28);
  b->vspeed = f.i32(32);
  b->stretch = f.flag(36);
  return true;
}

bool read_view(const Fields& f, RoomViewAsset* v) {
  v->enabled = f.flag(0);
  v->x = static_cast<float>(f.i32(4));
  v->y = static_cast<float>(f.i32(8));
  v->w = static_cast<float>(f.i32(12));
  v->h = static_cast<float>(f.i32(16));
  v->port_x = f.i32(20);
  v->port_y = f.i32(24);
  v->port_w = f.i32(28);
  v->port_h = f.i32(32);
  v->hborder = f.i32(36);
  v->vborder = f.i32(40);
  v->hspeed = f.i32(44);
  v->vspeed = f.i32(48);
  v->object = f.i32(52);
  return true;
}

bool read_placement(const Fields& f, RoomPlacementAsset* p) {
  p->record = f.record();
  p->x = f.i32(0);
  p->y = f.i32(4);
  p->object_index = f.i32(8);
  p->id = f.i32(12);
  p->createCode = f.i32(room::kPlacementCreationCode);
  p->imageXScale = f.f32(20);
  p->imageYScale = f.f32(24);
  p->imageSpeed = f.f32(28);
  p->imageIndex = f.i32(32);
  p->imageBlend = blend_of(f.u32(room::kPlacementColour));
  p->imageAlpha = alpha_of(f.u32(room::kPlacementColour));
  p->imageAngle = f.f32(40);
  p->preCreateCode = f.i32(room::kPlacementPreCreateCode);
  return true;
}

// The legacy tile element of an asset layer shares the record but not its depth and id.
void read_tile_fields(const Fields& f, RoomTileAsset* t) {
  t->x = f.i32(0);
  t->y = f.i32(4);
  t->spriteIndex = f.i32(8);
  t->left = f.i32(12);
  t->top = f.i32(16);
  t->width = f.i32(20);
  t->height = f.i32(24);
  t->xscale = f.f32(36);
  t->yscale = f.f32(40);
  t->blend = blend_of(f.u32(44));
  t->alpha = alpha_of(f.u32(44));
}

bool read_tile(const Fields& f, RoomTileAsset* t) {
  read_tile_fields(f, t);
  t->depth = f.i32(28);
  t->id = f.i32(32);
  return true;
}

bool read_legacy_tile(const Fields& f, RoomTileAsset* t) {
  read_tile_fields(f, t);
  return true;
}

bool read_placed_element(const Fields& f, LayerPlacedAsset* s) {
  s->index = f.i32(4);
  s->x = static_cast<float>(f.i32(8));
  s->y = static_cast<float>(f.i32(12));
  s->xscale = f.f32(16);
  s->yscale = f.f32(20);
  s->blend = blend_of(f.u32(24));
  s->alpha = alpha_of(f.u32(24));
  s->speed = f.f32(28);
  s->speedType = f.i32(32);
  s->position = f.f32(36);
  s->angle = f.f32(40);
  return f.string(0, &s->name);
}

void read_layer_background(const Fields& f, LayerBackgroundAsset* b) {
  b->visible = f.flag(0);
  b->foreground = f.flag(4);
  b->spriteIndex = f.i32(8);
  b->htiled = f.flag(12);
  b->vtiled = f.flag(16);
  b->stretch = f.flag(20);
  b->blend = blend_of(f.u32(24));
  b->alpha = alpha_of(f.u32(24));
  b->imageIndex = f.f32(28);
  b->speed = f.f32(32);
  b->speedType = f.i32(36);
}

// Adds one effect property to the parameters, joining it to the last one of the same name.
void add_effect_property(std::vector<LayerEffectParameterAsset>* parameters, int32_t kind, const char* name,
                         const char* value) {
  if (value == nullptr || value[0] == 0) return;
  if (std::strstr(value, ".png") != nullptr || std::strstr(value, ".jpg") != nullptr) return;
  const char* key = name != nullptr ? name : "";
  if (parameters->empty() || std::strcmp(parameters->back().name != nullptr ? parameters->back().name : "", key) != 0) {
    parameters->push_back(LayerEffectParameterAsset{name, kind, {}, {}});
  }
  LayerEffectParameterAsset& parameter = parameters->back();
  switch (kind) {
    case layer::kPropertyFloat:
      parameter.values.push_back(static_cast<float>(std::strtod(value, nullptr)));
      break;
    case layer::kPropertyColour: {
      float rgba[4] = {0, 0, 0, 0};
      if (value[0] == '#') {
        const auto colour = static_cast<uint32_t>(std::strtoull(value + 1, nullptr, 16));
        for (int i = 0; i < 4; ++i) rgba[i] = static_cast<float>((colour >> (8 * i)) & 0xFFu) / 255.0f;
      }
      parameter.values.insert(parameter.values.end(), rgba, rgba + 4);
      break;
    }
    case layer::kPropertySampler:
      parameter.texts.push_back(value);
      break;
    default:
      break;
  }
}

// One list of an asset layer: a zero offset or a count below 1 adds nothing.
template <class T, class Read>
bool read_asset_list(uint32_t list, uint32_t record_bytes, std::vector<T>* items, Read read) {
  if (list == 0) return true;
  ByteCursor cur = Asset_RecordCursor(list);
  int32_t count = 0;
  if (!cur.read_i32(&count)) return fail("asset list cut off", list);
  if (count < 1) return true;
  std::vector<uint32_t> offsets;
  if (!Asset_ReadOffsets(cur, kChunk, static_cast<uint32_t>(count), &offsets)) return false;
  for (uint32_t at : offsets) {
    if (at == 0) continue;
    if (!Asset_SpanInImage(at, record_bytes)) return fail("layer element passes the end of the file", at);
    items->emplace_back();
    if (!read(Fields(at), &items->back())) return false;
  }
  return true;
}

bool read_layer_data(ByteCursor& cur, RoomLayerAsset* l) {
  const uint32_t at = cur.offset();
  switch (l->kind) {
    case layer::kKindBackground:
      if (!cur.fits(1, layer::kBackgroundDataBytes)) return fail("background layer cut off", at);
      read_layer_background(Fields(at), &l->background);
      return true;
    case layer::kKindInstances: {
      int32_t count = 0;
      if (!cur.read_i32(&count) || count < 0 || !cur.fits(static_cast<uint32_t>(count), 4)) {
        return fail("instance list passes the end of the file", at);
      }
      l->instance_ids.resize(count);
      for (int32_t& id : l->instance_ids) cur.read_i32(&id);
      return true;
    }
    case layer::kKindAssets: {
      uint32_t lists[layer::kAssetListCount] = {};
      for (uint32_t& list : lists) {
        if (!cur.read_u32(&list)) return fail("asset layer cut off", at);
      }
      return read_asset_list(lists[0], room::kTileBytes, &l->tiles, read_legacy_tile) &&
             read_asset_list(lists[1], layer::kSpriteElementBytes, &l->sprites, read_placed_element) &&
             read_asset_list(lists[2], layer::kSequenceElementBytes, &l->sequences, read_placed_element);
    }
    case layer::kKindTileMap: {
      LayerTileMapAsset& map = l->tile_map;
      if (!cur.read_i32(&map.tileSet) || !cur.read_i32(&map.width) || !cur.read_i32(&map.height)) {
        return fail("tile map cut off", at);
      }
      if (map.tileSet < 0) return true;
      if (map.width < 0 || map.height < 0) return fail("tile map of a negative size", at);
      const uint64_t cells = static_cast<uint64_t>(map.width) * static_cast<uint64_t>(map.height);
      if (cells > cur.remaining() / layer::kCellBytes) return fail("tile map cells pass the end of the file", at);
      map.cells = cur.here();
      return true;
    }
    default:
      return true;  // effect layers and unknown kinds carry no data
  }
}

bool read_layer(uint32_t offset, RoomLayerAsset* l) {
  ByteCursor cur = Asset_RecordCursor(offset);
  uint32_t visible = 0, effect = 0;
  int32_t properties = 0;
  if (!cur.read_string(&l->name) || !cur.read_i32(&l->id) || !cur.read_i32(&l->kind) || !cur.read_i32(&l->depth) ||
      !cur.read_f32(&l->xOffset) || !cur.read_f32(&l->yOffset) || !cur.read_f32(&l->hSpeed) || !cur.read_f32(&l->vSpeed) ||
      !cur.read_u32(&visible) || !cur.read_u32(&effect) || !cur.read_string(&l->effect_type) || !cur.read_i32(&properties)) {
    return fail("layer record cut off or bad name", cur.offset());
  }
  l->record = cur.image() + offset;
  l->visible = visible != 0;
  l->effectEnabled = effect != 0;
  if (l->id > g_highest_layer_id) g_highest_layer_id = l->id;
  if (properties < 0 || !cur.fits(static_cast<uint32_t>(properties), layer::kEffectPropertyBytes)) {
    return fail("effect properties pass the end of the file", cur.offset() - 4);
  }
  for (int32_t i = 0; i < properties; ++i) {
    int32_t kind = 0;
    const char* name = nullptr;
    const char* value = nullptr;
    if (!cur.read_i32(&kind) || !cur.read_string(&name) || !cur.read_string(&value)) {
      return fail("effect property has a bad string", cur.offset());
    }
    add_effect_property(&l->effect_parameters, kind, name, value);
  }
  return read_layer_data(cur, l);
}

bool read_layers(uint32_t list, std::vector<RoomLayerAsset>* layers) {
  if (list == 0) return true;
  ByteCursor cur = Asset_RecordCursor(list);
  std::vector<uint32_t> offsets;
  if (!Asset_ReadPointerList(cur, kChunk, &offsets)) return false;
  layers->reserve(offsets.size());
  for (uint32_t at : offsets) {
    if (at == 0) continue;
    layers->emplace_back();
    if (!read_layer(at, &layers->back())) return false;
  }
  return true;
}

bool read_room_sequences(uint32_t list, std::vector<int32_t>* sequences) {
  if (list == 0) return true;
  ByteCursor cur = Asset_RecordCursor(list);
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return fail("room sequence list passes the end of the file", list);
  sequences->resize(count);
  for (int32_t& index : *sequences) cur.read_i32(&index);
  return true;
}

bool read_room(uint32_t offset, RoomAsset* r) {
  if (!Asset_SpanInImage(offset, room::kPhysicsEnabled)) return fail("room record passes the end of the file", offset);
  const uint32_t version = room::record_version(load_u32(GameData_Image() + offset + room::kFlags));
  const bool physics = DataVersion >= room::kPhysicsDataVersion;
  const uint32_t bytes = version >= room::kLayersVersion || physics ? room::record_bytes(version) : room::kPhysicsEnabled;
  if (!Asset_SpanInImage(offset, bytes)) return fail("room record passes the end of the file", offset);
  const Fields f(offset);
  r->record = f.record();
  if (!f.string(room::kName, &r->name) || !f.string(room::kCaption, &r->caption)) return false;
  r->width = f.i32(room::kWidth);
  r->height = f.i32(room::kHeight);
  r->speed = f.i32(room::kSpeed);
  r->persistent = f.flag(room::kPersistent);
  r->colour = f.u32(room::kColour);
  r->showColour = f.flag(room::kShowColour);
  r->creation_code = f.i32(room::kCreationCode);
  r->flags = f.u32(room::kFlags);
  r->version = version;
  r->enableViews = (r->flags & room::kFlagEnableViews) != 0;
  r->clearViewBackground = (r->flags & room::kFlagClearViewBackground) != 0;
  r->clearDisplayBuffer = (r->flags & room::kFlagKeepDisplayBuffer) == 0;
  if (physics) {
    r->physicsEnabled = f.flag(room::kPhysicsEnabled);
    r->physicsGravityX = truncate_to_int(f.f32(room::kPhysicsGravityX));
    r->physicsGravityY = truncate_to_int(f.f32(room::kPhysicsGravityY));
    r->physicsPixelsToMetres = f.f32(room::kPixelsToMetres);
  }
  return read_list(f.u32(room::kBackgrounds), room::kBackgroundBytes, true, &r->backgrounds, read_background) &&
         read_list(f.u32(room::kViews), room::kViewBytes, true, &r->views, read_view) &&
         read_list(f.u32(room::kPlacements), room::kPlacementBytes, false, &r->placements, read_placement) &&
         read_list(f.u32(room::kTiles), room::kTileBytes, false, &r->tiles, read_tile) &&
         (version < room::kLayersVersion || read_layers(f.u32(room::kLayers), &r->layers)) &&
         (version < room::kSequencesVersion || read_room_sequences(f.u32(room::kSequences), &r->sequences));
}

}  // namespace

const AssetTable<RoomAsset>& RoomAsset_Table() { return g_rooms; }
RoomAsset* RoomAsset_Get(int32_t index) { return g_rooms.get(index); }
int32_t RoomAsset_Count() { return g_rooms.count(); }
int32_t RoomAsset_Find(const char* name) { return g_rooms.find(name); }
int32_t RoomAsset_HighestFileLayerId() { return g_highest_layer_id; }

void RoomAsset_Clear() {
  g_rooms.clear();
  g_highest_layer_id = 0;
}

bool RoomAsset_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  RoomAsset_Clear();
  if (!Asset_ReadPointerList(cur, kChunk, &offsets)) return false;
  g_rooms.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto room = std::make_unique<RoomAsset>();
    if (!read_room(offsets[i], room.get())) return false;
    const char* name = room->name;
    g_rooms.set(i, std::move(room), name);
  }
  return true;
}

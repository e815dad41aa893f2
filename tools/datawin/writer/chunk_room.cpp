// ROOM: a pointer list of room records. Each record is followed by its own lists: backgrounds,
// views, placements and tiles (pointer lists of fixed-size records), the layer list with every
// layer's data, and the sequence index list.
#include "datawin/writer/chunk_rooms.h"

namespace datawin {

namespace {

uint32_t flag(bool value) { return value ? 1 : 0; }

// A pointer list of `items`, each written by `put` right behind the list.
template <class T, class Put>
void put_list(Blob& blob, const std::vector<T>& items, Put put) {
  PointerList list = blob.pointer_list(static_cast<uint32_t>(items.size()));
  for (uint32_t i = 0; i < items.size(); ++i) {
    list.set(i, blob.here());
    put(items[i]);
  }
}

void put_background(Blob& blob, const RoomBackgroundRecord& background) {
  blob.u32(flag(background.visible));
  blob.u32(flag(background.foreground));
  blob.i32(background.index);
  blob.i32(background.x);
  blob.i32(background.y);
  blob.u32(flag(background.htiled));
  blob.u32(flag(background.vtiled));
  blob.i32(background.hspeed);
  blob.i32(background.vspeed);
  blob.u32(flag(background.stretch));
}

void put_view(Blob& blob, const RoomViewRecord& view) {
  blob.u32(flag(view.enabled));
  for (int32_t value : {view.view_x, view.view_y, view.view_width, view.view_height, view.port_x, view.port_y,
                        view.port_width, view.port_height, view.hborder, view.vborder, view.hspeed, view.vspeed,
                        view.object}) {
    blob.i32(value);
  }
}

void put_placement(Blob& blob, const RoomPlacementRecord& placement) {
  blob.i32(placement.x);
  blob.i32(placement.y);
  blob.i32(placement.object);
  blob.i32(placement.id);
  blob.i32(placement.creation_code);
  blob.f32(placement.xscale);
  blob.f32(placement.yscale);
  blob.f32(placement.image_speed);
  blob.i32(placement.image_index);
  blob.u32(placement.colour);
  blob.f32(placement.angle);
  blob.i32(placement.pre_create_code);
}

void put_tile(Blob& blob, const RoomTileRecord& tile) {
  for (int32_t value : {tile.x, tile.y, tile.index, tile.left, tile.top, tile.width, tile.height, tile.depth, tile.id}) {
    blob.i32(value);
  }
  blob.f32(tile.xscale);
  blob.f32(tile.yscale);
  blob.u32(tile.colour);
}

// Sprite and sequence elements share their shape; only the meaning of two words differs.
void put_element(Blob& blob, const std::string& name, int32_t asset, int32_t x, int32_t y, float xscale, float yscale,
                 uint32_t colour, float speed, int32_t speed_type, float position, float rotation) {
  blob.string(name);
  blob.i32(asset);
  blob.i32(x);
  blob.i32(y);
  blob.f32(xscale);
  blob.f32(yscale);
  blob.u32(colour);
  blob.f32(speed);
  blob.i32(speed_type);
  blob.f32(position);
  blob.f32(rotation);
}

void put_layer_background(Blob& blob, const LayerBackgroundRecord& background) {
  blob.u32(flag(background.visible));
  blob.u32(flag(background.foreground));
  blob.i32(background.sprite);
  blob.u32(flag(background.htiled));
  blob.u32(flag(background.vtiled));
  blob.u32(flag(background.stretch));
  blob.u32(background.colour);
  blob.f32(background.first_frame);
  blob.f32(background.animation_speed);
  blob.i32(background.speed_type);
}

void put_asset_lists(Writer& writer, Blob& blob, const RoomLayerRecord& layer) {
  const Label tiles = writer.new_label(), sprites = writer.new_label(), sequences = writer.new_label();
  blob.offset(tiles);
  blob.offset(sprites);
  blob.offset(sequences);
  blob.bind(tiles);
  put_list(blob, layer.tiles, [&](const RoomTileRecord& tile) { put_tile(blob, tile); });
  blob.bind(sprites);
  put_list(blob, layer.sprites, [&](const LayerSpriteRecord& s) {
    put_element(blob, s.name, s.sprite, s.x, s.y, s.xscale, s.yscale, s.colour, s.animation_speed, s.speed_type, s.frame,
                s.rotation);
  });
  blob.bind(sequences);
  put_list(blob, layer.sequences, [&](const LayerSequenceRecord& s) {
    put_element(blob, s.name, s.sequence, s.x, s.y, s.xscale, s.yscale, s.colour, s.animation_speed, s.speed_type,
                s.head_position, s.rotation);
  });
}

void put_layer(Writer& writer, Blob& blob, const RoomLayerRecord& layer) {
  blob.string(layer.name);
  blob.i32(layer.id);
  blob.i32(layer.kind);
  blob.i32(layer.depth);
  blob.f32(layer.x_offset);
  blob.f32(layer.y_offset);
  blob.f32(layer.hspeed);
  blob.f32(layer.vspeed);
  blob.u32(flag(layer.visible));
  blob.u32(flag(layer.effect_enabled));
  blob.string_or_none(layer.effect_type);
  blob.i32(static_cast<int32_t>(layer.effect_properties.size()));
  for (const EffectPropertyRecord& property : layer.effect_properties) {
    blob.i32(property.kind);
    blob.string(property.name);
    blob.string_or_none(property.value);
  }
  switch (layer.kind) {
    case layer::kKindBackground:
      put_layer_background(blob, layer.background);
      break;
    case layer::kKindInstances:
      blob.i32(static_cast<int32_t>(layer.instances.size()));
      for (int32_t id : layer.instances) blob.i32(id);
      break;
    case layer::kKindAssets:
      put_asset_lists(writer, blob, layer);
      break;
    case layer::kKindTileMap: {
      const LayerTileMapRecord& map = layer.tile_map;
      blob.i32(map.tile_set);
      blob.i32(map.width);
      blob.i32(map.height);
      const size_t cells = map.width > 0 && map.height > 0 ? static_cast<size_t>(map.width) * map.height : 0;
      for (size_t i = 0; i < cells; ++i) blob.u32(i < map.cells.size() ? map.cells[i] : 0);
      break;
    }
    default:
      break;
  }
}

void put_room(Writer& writer, Blob& blob, const RoomRecord& room) {
  const Label backgrounds = writer.new_label(), views = writer.new_label(), placements = writer.new_label(),
              tiles = writer.new_label(), layers = writer.new_label(), sequences = writer.new_label();
  blob.string(room.name);
  blob.string(room.caption);
  blob.i32(room.width);
  blob.i32(room.height);
  blob.i32(room.speed);
  blob.u32(flag(room.persistent));
  blob.u32(room.colour);
  blob.u32(flag(room.show_colour));
  blob.i32(room.creation_code);
  uint32_t flags = room.version << room::kVersionShift;
  if (room.enable_views) flags |= room::kFlagEnableViews;
  if (room.clear_view_background) flags |= room::kFlagClearViewBackground;
  if (!room.clear_display_buffer) flags |= room::kFlagKeepDisplayBuffer;
  blob.u32(flags);
  blob.offset(backgrounds);
  blob.offset(views);
  blob.offset(placements);
  blob.offset(tiles);
  blob.u32(flag(room.physics_enabled));
  blob.zeros(room::kPhysicsGravityX - room::kPhysicsEnabled - 4);
  blob.f32(room.physics_gravity_x);
  blob.f32(room.physics_gravity_y);
  blob.f32(room.pixels_to_metres);
  if (room.version >= room::kLayersVersion) blob.offset(layers);
  if (room.version >= room::kSequencesVersion) blob.offset(sequences);

  blob.bind(backgrounds);
  put_list(blob, room.backgrounds, [&](const RoomBackgroundRecord& b) { put_background(blob, b); });
  blob.bind(views);
  put_list(blob, room.views, [&](const RoomViewRecord& v) { put_view(blob, v); });
  blob.bind(placements);
  put_list(blob, room.placements, [&](const RoomPlacementRecord& p) { put_placement(blob, p); });
  blob.bind(tiles);
  put_list(blob, room.tiles, [&](const RoomTileRecord& t) { put_tile(blob, t); });
  if (room.version >= room::kLayersVersion) {
    blob.bind(layers);
    put_list(blob, room.layers, [&](const RoomLayerRecord& l) { put_layer(writer, blob, l); });
  }
  if (room.version >= room::kSequencesVersion) {
    blob.bind(sequences);
    blob.i32(static_cast<int32_t>(room.sequences.size()));
    for (int32_t index : room.sequences) blob.i32(index);
  }
}

}  // namespace

Blob& add_room(Writer& writer, const std::vector<std::optional<RoomRecord>>& rooms) {
  Blob& blob = writer.add_chunk(kChunkROOM);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(rooms.size()));
  for (uint32_t i = 0; i < rooms.size(); ++i) {
    if (!rooms[i]) continue;
    list.set(i, blob.here());
    put_room(writer, blob, *rooms[i]);
  }
  return blob;
}

}  // namespace datawin

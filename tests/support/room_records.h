#pragma once
// Room records for the drawing tests' games, written with the data-file writer's records:
//   ViewRoom        a 256 x 256 room "rm_view" with views on and one enabled view
//   BackgroundLayer a tiled background layer "Back" (id 1) of a sprite
//   InstanceLayer   an instances layer holding the given placement ids
//   Placement       an instance of an object at a position, with its id and image speed
#include <cstdint>
#include <utility>
#include <vector>

#include "datawin/writer/chunk_rooms.h"

inline datawin::RoomRecord ViewRoom(int32_t view_x, int32_t view_y, int32_t view_w, int32_t view_h, int32_t port_w,
                                    int32_t port_h) {
  datawin::RoomRecord room;
  room.name = "rm_view";
  room.width = room.height = 256;
  room.enable_views = true;
  datawin::RoomViewRecord view;
  view.enabled = true;
  view.view_x = view_x;
  view.view_y = view_y;
  view.view_width = view_w;
  view.view_height = view_h;
  view.port_width = port_w;
  view.port_height = port_h;
  room.views = {view};
  return room;
}

inline datawin::RoomLayerRecord BackgroundLayer(int32_t depth, int32_t sprite) {
  datawin::RoomLayerRecord layer;
  layer.name = "Back";
  layer.id = 1;
  layer.kind = datawin::layer::kKindBackground;
  layer.depth = depth;
  layer.background.sprite = sprite;
  layer.background.htiled = layer.background.vtiled = true;
  return layer;
}

inline datawin::RoomLayerRecord InstanceLayer(const char* name, int32_t id, int32_t depth,
                                              std::vector<int32_t> instances) {
  datawin::RoomLayerRecord layer;
  layer.name = name;
  layer.id = id;
  layer.kind = datawin::layer::kKindInstances;
  layer.depth = depth;
  layer.instances = std::move(instances);
  return layer;
}

inline datawin::RoomPlacementRecord Placement(int32_t object, int32_t x, int32_t y, int32_t id,
                                              float image_speed = 1.0f) {
  datawin::RoomPlacementRecord p;
  p.object = object;
  p.x = x;
  p.y = y;
  p.id = id;
  p.image_speed = image_speed;
  return p;
}

#pragma once
// Writers of ROOM (rooms with their lists and layers), SEQN (sequences) and ACRV (animation
// curves) (datawin/format/room_layout.h, sequence_layout.h). Every record struct has a default
// for each field, so a test spells out only what it cares about:
//   RoomRecord room{.name = "rm_main"};
//   room.placements.push_back({.x = 32, .y = 64, .object = 0, .id = 100001});
//   room.layers.push_back({.name = "Instances", .id = 1, .instances = {100001}});
// (GCC 12 with -Wextra warns about the members such an initialiser leaves out; a file that builds
// records this way turns -Wmissing-field-initializers off.)
// A room is written with the fields its record version asks for: the layer list from version 2,
// the sequence list from version 3. The physics words are always written; the reader takes them
// from DataVersion 6 on.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/format/room_layout.h"
#include "datawin/format/sequence_layout.h"
#include "datawin/writer/writer.h"

namespace datawin {

// ---- ACRV ----

struct CurvePointRecord {
  float x = 0, value = 0;
  float in_x = 0, in_y = 0, out_x = 0, out_y = 0;  // handles, offsets from the point
};
struct CurveChannelRecord {
  std::string name = "curve1";
  int32_t type = acrv::kTypeLinear;
  int32_t iterations = 16;
  std::vector<CurvePointRecord> points = {{0, 0}, {1, 1}};
};
struct AnimCurveRecord {
  std::string name;  // not written for a curve inside a sequence
  std::vector<CurveChannelRecord> channels = {CurveChannelRecord{}};
};
Blob& add_acrv(Writer& writer, const std::vector<std::optional<AnimCurveRecord>>& curves);
// The inline form: an unread word, the channel count, the channels.
void put_inline_curve(Blob& blob, const AnimCurveRecord& curve);

// ---- SEQN ----

// One channel entry of a keyframe. Which fields are written depends on the track kind:
// graphic {sprite_index}, audio {sound_index, emitter_index, playback_mode}, real {value, curve},
// colour {colour, curve}, bool {bool_value}, string {text}, sequence {sequence}, sprite frames
// {image_index}, instance {object_index}, text {text, wrap, alignment_h, alignment_v, font_index}.
// A message keyframe writes all its events, a moment keyframe the count and the first one.
struct SequenceKeyRecord {
  int32_t channel = 0;
  int32_t sprite_index = -1;
  int32_t sound_index = -1, emitter_index = -1, playback_mode = 0;
  float value = 0;
  uint32_t colour = 0xFFFFFFFFu;
  std::optional<AnimCurveRecord> curve;  // written inline behind the entry, with the embedded flag
  int32_t curve_index = -1;              // an ACRV curve when there is no inline one
  bool bool_value = false;
  std::string text;
  int32_t sequence = -1;
  int32_t image_index = 0;
  int32_t object_index = -1;
  int32_t wrap = 0;
  int32_t alignment_h = 0, alignment_v = 0;
  int32_t font_index = -1;
  std::vector<std::string> events;
};
struct SequenceKeyframeRecord {
  float frame = 0, length = 1;
  bool stretch = false, disabled = false;
  std::vector<SequenceKeyRecord> channels = {SequenceKeyRecord{}};
};
struct SequenceTagRecord {
  int32_t kind = seqn::kTagLink;
  int32_t linked_track = 0;  // link tags only
};
// An owned resource: a curve when the type is the curve resource's, otherwise only the type text.
struct TrackResourceRecord {
  std::string type = seqn::kCurveResource;
  AnimCurveRecord curve;
};
struct SequenceTrackRecord {
  seqn::TrackKind kind = seqn::kTrackGraphic;
  std::string model;  // empty: "KV" and the kind's model name
  std::string name;
  int32_t sub_type = 0;
  int32_t traits = 0;
  bool creation = false;
  std::vector<SequenceTagRecord> tags;
  std::vector<TrackResourceRecord> resources;
  std::vector<SequenceTrackRecord> tracks;
  uint32_t interpolation = 1;  // real and colour tracks
  std::vector<SequenceKeyframeRecord> keyframes;
};
struct SequenceEventRecord {
  uint32_t id = 0;
  std::string script;
};
struct SequenceRecord {
  std::string name;
  int32_t loopmode = 0;
  float playback_speed = 60.0f;
  int32_t playback_speed_type = 0;
  float length = 60.0f;
  int32_t xorigin = 0, yorigin = 0;
  float volume = 1.0f;
  std::vector<SequenceKeyframeRecord> messages;
  std::vector<SequenceTrackRecord> tracks;
  std::vector<SequenceEventRecord> events;
  std::vector<SequenceKeyframeRecord> moments;
};
Blob& add_seqn(Writer& writer, const std::vector<std::optional<SequenceRecord>>& sequences);
// One sequence record at the blob's end (the form sprites embed too).
void put_sequence_record(Blob& blob, const SequenceRecord& sequence);

// ---- ROOM ----

struct RoomBackgroundRecord {
  bool visible = false, foreground = false;
  int32_t index = -1;
  int32_t x = 0, y = 0;
  bool htiled = false, vtiled = false;
  int32_t hspeed = 0, vspeed = 0;
  bool stretch = false;
};
struct RoomViewRecord {
  bool enabled = false;
  int32_t view_x = 0, view_y = 0, view_width = 640, view_height = 360;
  int32_t port_x = 0, port_y = 0, port_width = 640, port_height = 360;
  int32_t hborder = 32, vborder = 32;
  int32_t hspeed = -1, vspeed = -1;
  int32_t object = -1;
};
struct RoomPlacementRecord {
  int32_t x = 0, y = 0;
  int32_t object = 0;
  int32_t id = 100000;
  int32_t creation_code = -1;
  float xscale = 1, yscale = 1;
  float image_speed = 1;
  int32_t image_index = 0;
  uint32_t colour = 0xFFFFFFFFu;  // low 24 bits blend, top byte alpha
  float angle = 0;
  int32_t pre_create_code = -1;
};
struct RoomTileRecord {
  int32_t x = 0, y = 0;
  int32_t index = -1;
  int32_t left = 0, top = 0, width = 16, height = 16;
  int32_t depth = 0;
  int32_t id = 10000000;
  float xscale = 1, yscale = 1;
  uint32_t colour = 0xFFFFFFFFu;
};
struct EffectPropertyRecord {
  int32_t kind = layer::kPropertyFloat;
  std::string name;
  std::string value;  // empty: written as no string
};
struct LayerBackgroundRecord {
  bool visible = true, foreground = false;
  int32_t sprite = -1;
  bool htiled = false, vtiled = false, stretch = false;
  uint32_t colour = 0xFFFFFFFFu;
  float first_frame = 0, animation_speed = 15.0f;
  int32_t speed_type = 0;
};
struct LayerSpriteRecord {
  std::string name = "graphic";
  int32_t sprite = -1;
  int32_t x = 0, y = 0;
  float xscale = 1, yscale = 1;
  uint32_t colour = 0xFFFFFFFFu;
  float animation_speed = 1;
  int32_t speed_type = 0;
  float frame = 0;
  float rotation = 0;
};
struct LayerSequenceRecord {
  std::string name = "sequence";
  int32_t sequence = -1;
  int32_t x = 0, y = 0;
  float xscale = 1, yscale = 1;
  uint32_t colour = 0xFFFFFFFFu;
  float animation_speed = 1;
  int32_t speed_type = 0;
  float head_position = 0;
  float rotation = 0;
};
struct LayerTileMapRecord {
  int32_t tile_set = -1;
  int32_t width = 0, height = 0;  // in cells
  std::vector<uint32_t> cells;    // row by row; missing cells are written as 0
};
// A layer; the data written is that of `kind` (kind 5, 6 and unknown kinds write none).
struct RoomLayerRecord {
  std::string name = "Instances";
  int32_t id = 0;
  int32_t kind = layer::kKindInstances;
  int32_t depth = 0;
  float x_offset = 0, y_offset = 0, hspeed = 0, vspeed = 0;
  bool visible = true;
  bool effect_enabled = true;
  std::string effect_type;  // empty: no effect
  std::vector<EffectPropertyRecord> effect_properties;
  std::vector<int32_t> instances;       // kind 2
  LayerBackgroundRecord background;     // kind 1
  std::vector<RoomTileRecord> tiles;    // kind 3
  std::vector<LayerSpriteRecord> sprites;
  std::vector<LayerSequenceRecord> sequences;
  LayerTileMapRecord tile_map;          // kind 4
};
struct RoomRecord {
  std::string name;
  std::string caption;
  int32_t width = 640, height = 360;
  int32_t speed = 60;
  bool persistent = false;
  uint32_t colour = 0;
  bool show_colour = true;
  int32_t creation_code = -1;
  bool enable_views = false;
  bool clear_view_background = false;
  bool clear_display_buffer = true;
  uint32_t version = room::kSequencesVersion;  // the record version in the flags' high 16 bits
  std::vector<RoomBackgroundRecord> backgrounds;
  std::vector<RoomViewRecord> views;
  std::vector<RoomPlacementRecord> placements;
  std::vector<RoomTileRecord> tiles;
  bool physics_enabled = false;
  float physics_gravity_x = 0, physics_gravity_y = 10;
  float pixels_to_metres = 0.1f;
  std::vector<RoomLayerRecord> layers;  // version 2 on
  std::vector<int32_t> sequences;       // version 3 on
};
Blob& add_room(Writer& writer, const std::vector<std::optional<RoomRecord>>& rooms);

}  // namespace datawin

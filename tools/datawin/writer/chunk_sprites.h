#pragma once
// Writers of SPRT (sprites, in the old, the new or the zero-word form) and BGND (tile sets)
// (datawin/format/sprite_layout.h). Frames and tile-set images are page entries (add_tpag labels).
// Masks are written as given and must each hold mask_bytes(width, height) bytes.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/format/sprite_layout.h"
#include "datawin/writer/writer.h"

namespace datawin {

enum class SpriteForm { kOld, kNew, kZeroWord };

// The sequence a new-form sprite of version 2 on may carry: written as an empty sequence record
// (no keyframes, tracks, events or moments) behind its unread lead word.
struct SpriteSequence {
  std::string name;
  float length = 1.0f;
  int32_t x_origin = 0;
  int32_t y_origin = 0;
};

struct NineSliceRecord {
  int32_t left = 0, top = 0, right = 0, bottom = 0;
  bool enabled = true;
  int32_t tile_modes[sprt::kNineSliceTileModes] = {};
};

struct SpriteRecord {
  std::string name;
  int32_t width = 0, height = 0;
  int32_t bbox_left = 0, bbox_right = 0, bbox_bottom = 0, bbox_top = 0;
  bool transparent = false, smooth = false, preload = false;
  int32_t bbox_mode = 0;
  int32_t collision_kind = 0;
  int32_t x_origin = 0, y_origin = 0;
  SpriteForm form = SpriteForm::kNew;
  uint32_t version = 3;                 // new form
  uint32_t kind = sprt::kKindBitmap;    // new form
  float speed = 15.0f;                  // new form, generation 2
  int32_t speed_type = 0;               // new form, generation 2
  std::optional<SpriteSequence> sequence;     // version 2 on
  std::optional<NineSliceRecord> nine_slice;  // version 3 on
  std::vector<Ref> frames;
  std::vector<std::vector<uint8_t>> masks;
  int32_t vector_version = sprt::kVectorFramesVersion;  // vector kind: frames from version 8 on
  std::vector<uint8_t> vector_data;
  uint32_t skeleton_version = 3;  // skeleton kind
  std::string skeleton_json;
  std::string skeleton_atlas;
};
// `generation` must be the file's (GEN8): it decides the new form's head.
Blob& add_sprt(Writer& writer, uint32_t generation, const std::vector<std::optional<SpriteRecord>>& sprites);

struct BackgroundRecord {
  std::string name;
  bool transparent = false, smooth = false, preload = false;
  Ref page_entry;
  // Generation 2 only: the version word, and from version 2 on the tile fields and the animation
  // table.
  uint32_t version = bgnd::kTileVersion;
  int32_t tile_width = 0, tile_height = 0;
  int32_t border_x = 0, border_y = 0;
  int32_t columns = 0;
  int32_t frames_per_tile = 0;
  int32_t tile_count = 0;
  uint64_t frame_time = 0;
  std::vector<uint32_t> animation;  // tile_count x frames_per_tile
};
Blob& add_bgnd(Writer& writer, uint32_t generation, const std::vector<std::optional<BackgroundRecord>>& backgrounds);

}  // namespace datawin

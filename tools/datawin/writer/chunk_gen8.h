#pragma once
// The header record, chunk GEN8, in the form of any format version: the version picks which fields
// are written and where the room order goes (datawin/format/gen8_layout.h); from version 14 with
// generation 2 the reserved block and the game speed follow the room order.
// An empty name writes offset 0, which the runtime reads as its fallback ("Default" for the file
// name, "Made with Tolvarine" for the display name).
#include <cstdint>
#include <string>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

struct Gen8Record {
  uint8_t debug_off = 0;
  uint8_t version = 17;
  std::string file_name;
  uint32_t last_instance_id = 100000;
  uint32_t last_tile_id = 10000000;
  int32_t game_id = 0;
  uint32_t guid[4] = {0, 0, 0, 0};
  std::string project_name;
  uint32_t generation = 2;   // not written below version 8: that word is the room order's count
  int32_t window_width = 640;
  int32_t window_height = 480;
  uint32_t info_flags = 0;
  uint32_t checksum = 0;
  uint8_t digest[16] = {};
  uint64_t build_time = 0;
  std::string display_name;  // version 10 on
  uint64_t function_classes = ~uint64_t{0};  // version 12 on
  std::vector<uint32_t> room_order;
  float game_speed = 60.0f;  // version 14 on, generation 2 on
};

// Appends a GEN8 chunk; returns its payload.
Blob& add_gen8(Writer& writer, const Gen8Record& record);

}  // namespace datawin

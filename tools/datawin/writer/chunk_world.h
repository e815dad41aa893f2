#pragma once
// Writers of PATH (paths with their points) and TMLN (timelines) (datawin/format/world_layout.h).
// A timeline moment is written with an event record of one action whose code index is the given
// one, or of no action when the index is negative.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

struct PathPoint {
  float x = 0, y = 0, speed = 100;
};
struct PathRecord {
  std::string name;
  int32_t kind = 0;
  bool closed = false;
  int32_t precision = 4;
  std::vector<PathPoint> points;
};
Blob& add_path(Writer& writer, const std::vector<std::optional<PathRecord>>& paths);

struct TimelineMoment {
  int32_t time = 0;
  int32_t code_index = -1;
};
struct TimelineRecord {
  std::string name;
  std::vector<TimelineMoment> moments;
};
Blob& add_tmln(Writer& writer, const std::vector<std::optional<TimelineRecord>>& timelines);

}  // namespace datawin

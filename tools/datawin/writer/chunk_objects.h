#pragma once
// Writer of OBJT (object types; datawin/format/object_layout.h). data_version decides the record
// form as the reader does: below 6 no physics block, below 9 no friction, awake and kinematic.
// An event is written as an entry with one action carrying the code index, or with no action when
// the index is negative. The event table always has kEventTypeSlots slots.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

struct ObjectEvent {
  int32_t type = 0;
  int32_t subtype = 0;
  int32_t code_index = -1;
};

struct ObjectPhysicsRecord {
  bool uses_physics = false;
  bool sensor = false;
  int32_t shape = 1;
  float density = 0.5f;
  float restitution = 0.1f;
  int32_t group = 0;
  float linear_damping = 0.1f;
  float angular_damping = 0.1f;
  float friction = 0.2f;
  bool awake = true;
  bool kinematic = false;
  std::vector<std::pair<float, float>> points;
};

struct ObjectRecord {
  std::string name;
  int32_t sprite = -1;  // written as is: bit 31 may carry the file's flag
  bool visible = true;
  bool managed = false;
  bool solid = false;
  int32_t depth = 0;
  bool persistent = false;
  int32_t parent = -1;
  int32_t mask = -1;
  ObjectPhysicsRecord physics;
  std::vector<ObjectEvent> events;
};

constexpr int32_t kEventTypeSlots = 15;

Blob& add_objt(Writer& writer, const std::vector<std::optional<ObjectRecord>>& objects, int32_t data_version = 17);

}  // namespace datawin

// OBJT: a pointer list of object records; each record is followed by its shape points, its event
// table, the event lists, the entries and their single actions.
#include "datawin/format/object_layout.h"
#include "datawin/writer/chunk_objects.h"

namespace datawin {

namespace {

void write_physics(Blob& blob, const ObjectPhysicsRecord& physics, int32_t data_version) {
  blob.i32(physics.uses_physics ? 1 : 0);
  blob.i32(physics.sensor ? 1 : 0);
  blob.i32(physics.shape);
  blob.f32(physics.density);
  blob.f32(physics.restitution);
  blob.i32(physics.group);
  blob.f32(physics.linear_damping);
  blob.f32(physics.angular_damping);
  blob.i32(static_cast<int32_t>(physics.points.size()));
  if (data_version >= objt::kPhysicsExtraVersion) {
    blob.f32(physics.friction);
    blob.i32(physics.awake ? 1 : 0);
    blob.i32(physics.kinematic ? 1 : 0);
  }
  for (const auto& [x, y] : physics.points) {
    blob.f32(x);
    blob.f32(y);
  }
}

void write_events(Writer& writer, Blob& blob, const std::vector<ObjectEvent>& events) {
  std::vector<Label> lists;
  blob.i32(kEventTypeSlots);
  for (int32_t type = 0; type < kEventTypeSlots; ++type) {
    lists.push_back(writer.new_label());
    blob.offset(lists.back());
  }
  for (int32_t type = 0; type < kEventTypeSlots; ++type) {
    std::vector<const ObjectEvent*> of_type;
    for (const ObjectEvent& event : events) {
      if (event.type == type) of_type.push_back(&event);
    }
    blob.bind(lists[type]);
    blob.i32(static_cast<int32_t>(of_type.size()));
    std::vector<Label> entries;
    for (size_t i = 0; i < of_type.size(); ++i) {
      entries.push_back(writer.new_label());
      blob.offset(entries.back());
    }
    for (size_t i = 0; i < of_type.size(); ++i) {
      const bool has_action = of_type[i]->code_index >= 0;
      const Label action = has_action ? writer.new_label() : Label{};
      blob.bind(entries[i]);
      blob.i32(of_type[i]->subtype);
      blob.i32(has_action ? 1 : 0);
      blob.offset(action);
      if (!has_action) continue;
      blob.bind(action);
      blob.zeros(objt::kActionCodeIndex);
      blob.i32(of_type[i]->code_index);
    }
  }
}

}  // namespace

Blob& add_objt(Writer& writer, const std::vector<std::optional<ObjectRecord>>& objects, int32_t data_version) {
  Blob& blob = writer.add_chunk(kChunkOBJT);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(objects.size()));
  for (uint32_t i = 0; i < objects.size(); ++i) {
    if (!objects[i]) continue;
    const ObjectRecord& object = *objects[i];
    list.set(i, blob.here());
    blob.string(object.name);
    blob.i32(object.sprite);
    blob.i32(object.visible ? 1 : 0);
    blob.i32(object.managed ? 1 : 0);
    blob.i32(object.solid ? 1 : 0);
    blob.i32(object.depth);
    blob.i32(object.persistent ? 1 : 0);
    blob.i32(object.parent);
    blob.i32(object.mask);
    if (data_version >= objt::kPhysicsVersion) write_physics(blob, object.physics, data_version);
    write_events(writer, blob, object.events);
  }
  return blob;
}

}  // namespace datawin

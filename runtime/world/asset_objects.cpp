// OBJT reader.
#include "world/asset_objects.h"

#include <cstring>
#include <vector>

#include "core/memory.h"
#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/object_layout.h"
#include "world/object_type.h"

using namespace datawin;

uint32_t Object_SpriteFlagWord = 0;

namespace {

constexpr const char* kChunk = "OBJT";

char* copy_name(const char* name) {
  const size_t length = name != nullptr ? std::strlen(name) : 0;
  auto* copy = static_cast<char*>(KV_ALLOC(length + 1));
  if (length > 0) std::memcpy(copy, name, length);
  copy[length] = 0;
  return copy;
}

bool read_physics(ByteCursor& cur, ObjectPhysics* physics) {
  int32_t uses = 0, sensor = 0, points = 0;
  if (!cur.read_i32(&uses) || !cur.read_i32(&sensor) || !cur.read_i32(&physics->collisionShape) ||
      !cur.read_f32(&physics->density) || !cur.read_f32(&physics->restitution) ||
      !cur.read_i32(&physics->collisionGroup) || !cur.read_f32(&physics->linearDamping) ||
      !cur.read_f32(&physics->angularDamping) || !cur.read_i32(&points)) {
    return Asset_LoadError(kChunk, "physics block cut off", cur.offset());
  }
  physics->usesPhysics = uses != 0;
  physics->isSensor = sensor != 0;
  physics->friction = objt::kDefaultFriction;
  physics->awake = true;
  physics->kinematic = false;
  if (DataVersion >= objt::kPhysicsExtraVersion) {
    int32_t awake = 0, kinematic = 0;
    if (!cur.read_f32(&physics->friction) || !cur.read_i32(&awake) || !cur.read_i32(&kinematic)) {
      return Asset_LoadError(kChunk, "physics block cut off", cur.offset());
    }
    physics->awake = awake != 0;
    physics->kinematic = kinematic != 0;
  }
  if (points < 0 || !cur.fits(static_cast<uint32_t>(points), objt::kPointBytes)) {
    return Asset_LoadError(kChunk, "shape points pass the end of the file", cur.offset());
  }
  physics->shapePointCount = points;
  if (points > 0) {
    physics->shapePoints = static_cast<float*>(KV_ALLOC(sizeof(float) * 2 * static_cast<size_t>(points)));
    for (int32_t i = 0; i < points * 2; ++i) cur.read_f32(&physics->shapePoints[i]);
  }
  return true;
}

bool read_event_entry(uint32_t offset, int32_t type, CObjectTV* object) {
  ByteCursor entry = Asset_RecordCursor(offset);
  int32_t subtype = 0, actions = 0;
  uint32_t first = 0;
  if (!entry.read_i32(&subtype) || !entry.read_i32(&actions) || !entry.read_u32(&first)) {
    return Asset_LoadError(kChunk, "event entry cut off", offset);
  }
  int32_t code_index = -1;
  if (actions > 0 && first != 0) {
    if (!Asset_SpanInImage(first, objt::kActionCodeIndex + 4)) {
      return Asset_LoadError(kChunk, "action outside the file", offset + objt::kEventFirstAction);
    }
    code_index = load_i32(entry.image() + first + objt::kActionCodeIndex);
  }
  object->AddOwnEvent(type, subtype, code_index);
  return true;
}

bool read_events(ByteCursor& cur, CObjectTV* object) {
  int32_t types = 0;
  if (!cur.read_i32(&types)) return Asset_LoadError(kChunk, "event table cut off", cur.offset());
  std::vector<uint32_t> lists;
  if (types < 0 || !Asset_ReadOffsets(cur, kChunk, static_cast<uint32_t>(types), &lists)) {
    return types < 0 ? Asset_LoadError(kChunk, "negative event type count", cur.offset()) : false;
  }
  for (int32_t type = 0; type < types; ++type) {
    if (lists[type] == 0) continue;
    ByteCursor list = Asset_RecordCursor(lists[type]);
    std::vector<uint32_t> entries;
    if (!Asset_ReadPointerList(list, kChunk, &entries)) return false;
    for (uint32_t entry : entries) {
      if (entry != 0 && !read_event_entry(entry, type, object)) return false;
    }
  }
  return true;
}

bool read_object(uint32_t offset, CObjectTV* object) {
  ByteCursor cur = Asset_RecordCursor(offset);
  const char* name = nullptr;
  uint32_t sprite = 0;
  int32_t visible = 0, managed = 0, solid = 0, persistent = 0;
  if (!cur.read_string(&name) || !cur.read_u32(&sprite) || !cur.read_i32(&visible) || !cur.read_i32(&managed) ||
      !cur.read_i32(&solid) || !cur.read_i32(&object->depth) || !cur.read_i32(&persistent) ||
      !cur.read_i32(&object->parentIndex) || !cur.read_i32(&object->maskIndex)) {
    return Asset_LoadError(kChunk, "object record cut off or bad name", cur.offset());
  }
  if ((sprite & objt::kSpriteHighBits) == 0) {
    Object_SpriteFlagWord |= sprite & objt::kSpriteFlagBit;
    sprite &= ~objt::kSpriteFlagBit;
  }
  object->name = copy_name(name);
  object->spriteIndex = static_cast<int32_t>(sprite);
  auto set = [object](bool on, uint32_t mask) { object->flags = on ? (object->flags | mask) : (object->flags & ~mask); };
  set(visible != 0, kObjTypeVisible);
  set(managed != 0, kObjTypeManaged);
  set(solid != 0, kObjTypeSolid);
  set(persistent != 0, kObjTypePersistent);
  if (DataVersion >= objt::kPhysicsVersion && !read_physics(cur, &object->physics)) return false;
  return read_events(cur, object);
}

}  // namespace

const char* Object_NameOrNull(int32_t index) {
  CObjectTV* object = Object_Find(index);
  return object != nullptr ? object->name : nullptr;
}

void Object_ClearAssets() {
  Object_ClearTable();
  Object_SpriteFlagWord = 0;
}

bool Object_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  Object_ClearAssets();
  if (!Asset_ReadPointerList(cur, kChunk, &offsets)) return false;
  bool ok = true;
  for (uint32_t i = 0; i < offsets.size() && ok; ++i) {
    if (offsets[i] == 0) continue;
    CObjectTV* object = Object_Insert(static_cast<int32_t>(i), KV_NEW(CObjectTV));
    ok = read_object(offsets[i], object);
  }
  // Indices 0 .. n-1 belong to the file even where a slot was empty.
  const int32_t count = static_cast<int32_t>(offsets.size());
  Object_PrepareEvents();
  Object_ReserveIndices(count);
  Object_SetInternalIndex(Object_Add()->objectIndex);
  Object_Lists_Build();
  return ok;
}

// The rooms of a saved game: what each working copy holds (fields, views and their cameras, layers,
// instances) written and read, and the rooms built again from their templates on a load.
#include <algorithm>
#include <array>

#include "core/frame_state.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "graphics/camera.h"
#include "run/saved_game_records.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/layer.h"
#include "world/object_type.h"
#include "world/room.h"

namespace {

// The state bits an instance brings back. Where it stands (lists, layer element, collision tree,
// pending changes) is made anew.
constexpr uint32_t kSavedFlags = kInstCreated | kInstVisible | kInstSolid | kInstPersistent | kInstTimelineRuns |
                                 kInstTimelineLoops | kInstWasOutside | kInstPlainDraw | kInstManaged |
                                 kInstDeactivated | kInstInitial;
// Instances that are gone already: destroyed and waiting for the purge.
constexpr uint32_t kGoneFlags = kInstMarked | kInstDelayedDestroy;

bool generation2() { return GameData_Header().generation >= 2; }

int32_t room_slots() {
  return static_cast<int32_t>(std::max(Room_Templates.size(), Run_Rooms.size()));
}

// ---- Writing --------------------------------------------------------------------------------------

SavedInstance capture(const CInstance* at) {
  SavedInstance r;
  r.id = at->id;
  r.objectIndex = at->objectIndex;
  r.flags = at->flags & kSavedFlags;
  r.spriteIndex = at->spriteIndex;
  r.imageIndex = at->imageIndex;
  r.imageSpeed = at->imageSpeed;
  r.imageXScale = at->imageXScale;
  r.imageYScale = at->imageYScale;
  r.imageAngle = at->imageAngle;
  r.imageAlpha = at->imageAlpha;
  r.imageBlend = at->imageBlend;
  r.x = at->x;
  r.y = at->y;
  r.xstart = at->xstart;
  r.ystart = at->ystart;
  r.xprevious = at->xprevious;
  r.yprevious = at->yprevious;
  r.direction = at->direction;
  r.speed = at->speed;
  r.friction = at->friction;
  r.gravityDirection = at->gravityDirection;
  r.gravity = at->gravity;
  r.hspeed = at->hspeed;
  r.vspeed = at->vspeed;
  std::copy(at->alarm, at->alarm + kInstanceAlarmCount, r.alarm.begin());
  r.layerId = at->layerId;
  r.maskIndex = at->maskIndex;
  r.depth = at->depth;
  r.currentDepth = at->currentDepth;
  r.mouseOverState = at->mouseOverState;
  r.lastImageNumber = at->lastImageNumber;
  r.sequencePosition = at->sequencePosition;
  r.lastSequencePosition = at->lastSequencePosition;
  r.sequenceSpeed = at->sequenceSpeed;
  r.hasPath = at->pathState != nullptr;
  if (r.hasPath) r.path = *at->pathState;
  return r;
}

void write_variables(SaveWriter* out, CInstance* instance) {
  KVObjectBase* object = KV_AsObject(instance);
  std::vector<int32_t> slots;
  for (int32_t slot : Object_OwnSlots(object)) {
    if (slot >= kFirstUserVariableSlot) slots.push_back(slot);
  }
  out->s32(static_cast<int32_t>(slots.size()));
  for (int32_t slot : slots) {
    out->text(Variable_NameOf(slot));
    out->value(*object->FindOwnSlot(slot));
  }
}

void write_instance(SaveWriter* out, CInstance* instance, bool inactive) {
  SavedInstance record = capture(instance);
  // An instance whose deactivation or activation waits for the flush is saved as it will stand.
  record.flags = inactive ? (record.flags | kInstDeactivated) : (record.flags & ~kInstDeactivated);
  FieldOut io{out};
  fields(io, record);
  write_variables(out, instance);
}

SavedCamera capture_camera(const CViewGM* view) {
  SavedCamera r;
  const Camera* camera = view != nullptr && view->cameraId >= 0 ? Camera_Get(view->cameraId) : nullptr;
  if (camera == nullptr) return r;
  r.present = true;
  r.viewX = camera->viewX;
  r.viewY = camera->viewY;
  r.viewW = camera->viewW;
  r.viewH = camera->viewH;
  r.speedX = camera->speedX;
  r.speedY = camera->speedY;
  r.borderX = camera->borderX;
  r.borderY = camera->borderY;
  r.angle = camera->angle;
  r.target = camera->target;
  return r;
}

// A camera's update, begin and end scripts, in stream order.
template <class C>
auto camera_scripts(C* camera) {
  return std::array{&camera->updateScript, &camera->beginScript, &camera->endScript};
}

void write_room(SaveWriter* out, const CRoom* room) {
  SavedRoom record;
  record.caption = room->caption;
  record.speed = room->speed;
  record.width = room->width;
  record.height = room->height;
  record.persistent = room->persistent;
  record.colour = room->colour;
  record.showColour = room->showColour;
  record.enableViews = room->enableViews;
  record.clearViewBackground = room->clearViewBackground;
  record.clearDisplayBuffer = room->clearDisplayBuffer;
  for (int32_t i = 0; i < kRoomBackgroundCount; ++i) {
    if (room->backgrounds[i] != nullptr) record.backgrounds[static_cast<size_t>(i)] = *room->backgrounds[i];
  }
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    if (room->views[i] != nullptr) record.views[static_cast<size_t>(i)] = *room->views[i];
    record.cameras[static_cast<size_t>(i)] = capture_camera(room->views[i]);
  }
  FieldOut io{out};
  fields(io, record);
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    if (!record.cameras[static_cast<size_t>(i)].present) continue;
    const Camera* camera = Camera_Get(room->views[i]->cameraId);
    for (const RValue* script : camera_scripts(camera)) out->value(*script);
  }

  // Managed layers are the runtime's own: their instances find one again by depth.
  std::vector<const CLayer*> layers;
  for (const CLayer* layer = room->layersHead; layer != nullptr; layer = layer->next) {
    if (!layer->managed && !layer->deleting) layers.push_back(layer);
  }
  out->s32(static_cast<int32_t>(layers.size()));
  for (const CLayer* layer : layers) {
    SavedLayer record{layer->id, layer->name, layer->depth, layer->xOffset, layer->yOffset,
                      layer->hSpeed, layer->vSpeed, layer->visible, {}};
    fields(io, record);
    SavedElements_Write(out, layer);
  }

  // The instances a sequence made for its instance tracks belong to it: the sequence, which is
  // saved with its element, makes them again when it plays on.
  std::vector<std::pair<CInstance*, bool>> instances;
  for (const CInstanceList* list : {&room->active, &room->inactive}) {
    for (CInstance* at = list->head; at != nullptr; at = at->next) {
      if ((at->flags & (kGoneFlags | kInstInSequence)) != 0 || at->purged) continue;
      instances.emplace_back(at, (at->flags & kInstDeactivated) != 0);
    }
  }
  out->s32(static_cast<int32_t>(instances.size()));
  for (const auto& [instance, inactive] : instances) write_instance(out, instance, inactive);
}

// ---- Reading --------------------------------------------------------------------------------------

bool read_variables(SaveReader* in, SavedVariables* out) {
  int32_t count = 0;
  if (!in->count(&count, 5)) return false;
  for (int32_t i = 0; i < count; ++i) {
    std::string name;
    SavedValue value;
    if (!in->text(&name) || !in->value(&value)) return false;
    out->emplace_back(std::move(name), std::move(value));
  }
  return true;
}

bool read_room(SaveReader* in, SavedRoom* room) {
  FieldIn io{in};
  fields(io, *room);
  if (!io.ok) return false;
  for (SavedCamera& camera : room->cameras) {
    if (!camera.present) continue;
    for (SavedValue& script : camera.scripts) {
      if (!in->value(&script)) return false;
    }
  }
  int32_t layers = 0;
  if (!in->count(&layers, 30)) return false;
  room->layers.resize(static_cast<size_t>(layers));
  for (SavedLayer& layer : room->layers) {
    fields(io, layer);
    if (!io.ok || !SavedElements_Read(in, &layer.elements)) return false;
  }
  int32_t instances = 0;
  if (!io.ok || !in->count(&instances, 100)) return false;
  room->instances.resize(static_cast<size_t>(instances));
  for (SavedInstance& instance : room->instances) {
    fields(io, instance);
    if (!io.ok || !read_variables(in, &instance.variables)) return false;
  }
  return true;
}

// ---- Building -------------------------------------------------------------------------------------

// Ends the running rooms as a game end would, without any event: the current room's cameras and
// layers let go of it, then every working copy goes with its instances, and the collision tree
// is emptied.
void tear_down() {
  if (CRoom* room = Run_Room; room != nullptr && generation2()) {
    if (g_RoomHooks.cameraRoomEnd != nullptr) g_RoomHooks.cameraRoomEnd(room);
    Layer_RoomEnd(room);
  }
  if (Run_Room != nullptr && g_RoomHooks.particlesRoomEnd != nullptr) g_RoomHooks.particlesRoomEnd(Run_Room);
  Instance_DropDeactivations();
  Room_FreeWorkingCopies();
  if (g_InstanceWorldHooks.treeReset != nullptr) g_InstanceWorldHooks.treeReset();
}

void release_all(CRoom* room) {
  for (CInstanceList* list : {&room->active, &room->inactive}) {
    while (list->head != nullptr) {
      CInstance* head = list->head;
      Instance_Release(room, head);
      if (list->head == head) Room_Unlink(room, head);
    }
  }
  room->placedIds.clear();
}

void apply_fields(CRoom* room, const SavedRoom& saved) {
  room->caption = saved.caption;
  room->speed = saved.speed;
  room->width = saved.width;
  room->height = saved.height;
  room->persistent = saved.persistent;
  room->colour = saved.colour;
  room->showColour = saved.showColour;
  room->enableViews = saved.enableViews;
  room->clearViewBackground = saved.clearViewBackground;
  room->clearDisplayBuffer = saved.clearDisplayBuffer;
  for (int32_t i = 0; i < kRoomBackgroundCount; ++i) {
    if (room->backgrounds[i] == nullptr) room->backgrounds[i] = new CBackGM;
    *room->backgrounds[i] = saved.backgrounds[static_cast<size_t>(i)];
  }
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    if (room->views[i] == nullptr) room->views[i] = new CViewGM;
    // The copy's own camera stays: it takes the saved camera's state.
    const int32_t camera_id = room->views[i]->cameraId;
    *room->views[i] = saved.views[static_cast<size_t>(i)];
    room->views[i]->cameraId = camera_id;
    const SavedCamera& state = saved.cameras[static_cast<size_t>(i)];
    Camera* camera = camera_id >= 0 ? Camera_Get(camera_id) : nullptr;
    if (camera == nullptr || !state.present) continue;
    camera->viewX = state.viewX;
    camera->viewY = state.viewY;
    camera->viewW = state.viewW;
    camera->viewH = state.viewH;
    camera->speedX = state.speedX;
    camera->speedY = state.speedY;
    camera->borderX = state.borderX;
    camera->borderY = state.borderY;
    camera->angle = state.angle;
    camera->target = state.target;
    camera->dirty = true;
  }
}

// The copy's layers become the saved ones: layers the game destroyed go, layers it made come back
// under their ids, and every layer takes its saved depth, offsets, speeds and visibility.
void apply_layers(CRoom* room, const SavedRoom& saved, int32_t* highest) {
  std::vector<int32_t> gone;
  for (const CLayer* layer = room->layersHead; layer != nullptr; layer = layer->next) {
    const bool kept = std::any_of(saved.layers.begin(), saved.layers.end(),
                                  [layer](const SavedLayer& s) { return s.id == layer->id; });
    if (!kept) gone.push_back(layer->id);
  }
  for (int32_t id : gone) Layer_Destroy(room, id);
  for (const SavedLayer& s : saved.layers) {
    CLayer* layer = Layer_Find(room, s.id);
    if (layer == nullptr) {
      const int32_t counter = LayerIdCounter;
      LayerIdCounter = s.id - 1;  // the next id given is the saved one
      layer = Layer_Create(room, s.depth, s.name.empty() ? nullptr : s.name.c_str());
      LayerIdCounter = std::max(counter, LayerIdCounter);
      if (layer == nullptr || layer->id != s.id) {
        if (layer != nullptr) Layer_Destroy(room, layer->id);
        continue;
      }
    }
    layer->name = s.name;
    layer->xOffset = s.xOffset;
    layer->yOffset = s.yOffset;
    layer->hSpeed = s.hSpeed;
    layer->vSpeed = s.vSpeed;
    layer->visible = s.visible;
    if (layer->depth != s.depth) Layer_SetDepth(room, layer, s.depth, false);
    *highest = std::max(*highest, s.id);
  }
}

// An instance as a left persistent room keeps it: on the room's list, out of the object lists,
// the id table and its layer (its layerId kept), which the room's start enters again. Deactivated
// ones stay in the id table, as they do when such a room is left.
CInstance* make_instance(CRoom* room, const SavedInstance& s) {
  if (!Object_Exists(s.objectIndex)) return nullptr;
  auto* instance = new CInstance(s.x, s.y, s.id, s.objectIndex, false);
  instance->flags = (s.flags & kSavedFlags) | kInstBBoxDirty;
  instance->spriteIndex = s.spriteIndex;
  instance->imageIndex = s.imageIndex;
  instance->imageSpeed = s.imageSpeed;
  instance->imageXScale = s.imageXScale;
  instance->imageYScale = s.imageYScale;
  instance->imageAngle = s.imageAngle;
  instance->imageAlpha = s.imageAlpha;
  instance->imageBlend = s.imageBlend;
  instance->xstart = s.xstart;
  instance->ystart = s.ystart;
  instance->xprevious = s.xprevious;
  instance->yprevious = s.yprevious;
  instance->direction = s.direction;
  instance->speed = s.speed;
  instance->friction = s.friction;
  instance->gravityDirection = s.gravityDirection;
  instance->gravity = s.gravity;
  instance->hspeed = s.hspeed;
  instance->vspeed = s.vspeed;
  std::copy(s.alarm.begin(), s.alarm.end(), instance->alarm);
  instance->maskIndex = s.maskIndex;
  instance->depth = s.depth;
  instance->mouseOverState = static_cast<uint16_t>(s.mouseOverState);
  instance->lastImageNumber = s.lastImageNumber;
  instance->sequencePosition = s.sequencePosition;
  instance->lastSequencePosition = s.lastSequencePosition;
  instance->sequenceSpeed = s.sequenceSpeed;
  if (s.hasPath) *InstancePath_Get(instance) = s.path;
  const CLayer* layer = s.layerId >= 0 ? Layer_Find(room, s.layerId) : nullptr;
  instance->layerId = layer != nullptr && !layer->managed ? s.layerId : -1;
  if ((instance->flags & kInstDeactivated) != 0) {
    instance->currentDepth = s.currentDepth;
    Room_AppendInactive(room, instance);
    instance->flags |= kInstOnInactiveList;
    Instance_IdTableAdd(instance);
  } else {
    Room_InsertByDepth(room, instance, s.currentDepth);
  }
  // Made outside any running room: nothing of it may wait in the collision tree's queues.
  if (g_InstanceWorldHooks.treeRemove != nullptr) g_InstanceWorldHooks.treeRemove(instance);
  return instance;
}

CRoom* build_room(int32_t index, const SavedRoom& saved, SavedInstanceMap* made, int32_t* highest_layer,
                  uint32_t* highest_instance) {
  auto* room = new CRoom;
  Run_Rooms[static_cast<size_t>(index)] = room;
  // The layer and tree hooks act on the current room: this one is current while it is built.
  Run_Room = room;
  Run_RoomIndex = index;
  // The copy's placements name their object as the current event's; a load runs outside events.
  const int32_t event_object = CurrentEventObject;
  if (const CRoom* source = Room_Template(index); source != nullptr) {
    Room_Copy(room, source);
  } else {
    CRoom empty;
    for (CBackGM*& background : empty.backgrounds) background = new CBackGM;
    for (CViewGM*& view : empty.views) view = new CViewGM;
    Room_Copy(room, &empty);
  }
  CurrentEventObject = event_object;
  // The template's placements are not what the save holds: they go without events.
  release_all(room);
  apply_fields(room, saved);
  if (generation2()) {
    apply_layers(room, saved, highest_layer);
    SavedElements_Apply(room, saved.layers);
  }
  for (const SavedInstance& s : saved.instances) {
    CInstance* instance = make_instance(room, s);
    if (instance == nullptr) continue;
    made->emplace(instance->id, instance);
    *highest_instance = std::max(*highest_instance, static_cast<uint32_t>(instance->id));
  }
  Run_Room = nullptr;
  Run_RoomIndex = -1;
  return room;
}

}  // namespace

void SavedRooms_Write(SaveWriter* out) {
  const int32_t count = room_slots();
  out->s32(count);
  for (int32_t index = 0; index < count; ++index) {
    const CRoom* room = index < static_cast<int32_t>(Run_Rooms.size()) ? Run_Rooms[static_cast<size_t>(index)] : nullptr;
    out->s32(room != nullptr ? 1 : 0);
    if (room != nullptr) write_room(out, room);
  }
}

bool SavedRooms_Read(SaveReader* in, std::vector<SavedRoom>* rooms) {
  int32_t count = 0;
  if (!in->count(&count, 4)) return false;
  rooms->resize(static_cast<size_t>(count));
  for (SavedRoom& room : *rooms) {
    int32_t stored = 0;
    if (!in->s32(&stored) || (stored != 0 && stored != 1)) return false;
    room.stored = stored == 1;
    if (room.stored && !read_room(in, &room)) return false;
  }
  return true;
}

void SavedRooms_Build(const std::vector<SavedRoom>& rooms, int32_t current, SavedInstanceMap* made,
                      int32_t* highest_layer, uint32_t* highest_instance) {
  tear_down();
  Run_Rooms.assign(rooms.size(), nullptr);
  // The current room first, so that its instances win an id that a kept room holds as well.
  build_room(current, rooms[static_cast<size_t>(current)], made, highest_layer, highest_instance);
  for (size_t index = 0; index < rooms.size(); ++index) {
    if (!rooms[index].stored || static_cast<int32_t>(index) == current) continue;
    build_room(static_cast<int32_t>(index), rooms[index], made, highest_layer, highest_instance);
  }
}

void SavedRooms_AssignVariables(const std::vector<SavedRoom>& rooms, const SavedInstanceMap& made,
                                SaveBuilder* builder) {
  for (size_t index = 0; index < rooms.size() && index < Run_Rooms.size(); ++index) {
    const CRoom* built = Run_Rooms[index];
    if (built == nullptr) continue;
    for (int32_t i = 0; i < kRoomViewCount; ++i) {
      const SavedCamera& saved = rooms[index].cameras[static_cast<size_t>(i)];
      Camera* camera = built->views[i] != nullptr ? Camera_Get(built->views[i]->cameraId) : nullptr;
      if (camera == nullptr || !saved.present) continue;
      const auto fields = camera_scripts(camera);
      for (size_t n = 0; n < fields.size(); ++n) {
        RValue script = builder->value(saved.scripts[n]);
        camera->SetScript(fields[n], script);
        RV_FreeToUndefined(&script);
      }
    }
  }
  for (const SavedRoom& room : rooms) {
    for (const SavedInstance& s : room.instances) {
      const auto found = made.find(s.id);
      if (found == made.end()) continue;
      for (const auto& [name, value] : s.variables) builder->assign(KV_AsObject(found->second), name, value);
    }
  }
}

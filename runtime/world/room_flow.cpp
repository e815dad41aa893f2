// Room transitions: the exact order of steps when a room ends and when one starts, the instances
// carried from one room into the next, and the requests of room_goto and kin.
#include <string>
#include <vector>

#include "core/code.h"
#include "core/console.h"
#include "core/error.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "core/hash_map.h"
#include "data/game_data.h"
#include "world/asset_rooms.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/object_type.h"
#include "world/room.h"
#include "world/step.h"
#include "world/world_init.h"

namespace {

constexpr uint32_t kCarryMask = kInstMarked | kInstDeactivated | kInstPersistent | kInstDelayedDestroy;
constexpr size_t kCarryRows = 10;

// PersistentCarry: the instances and the names of their dynamic layers (empty: none), with a count.
struct CarryRow {
  CInstance* instance = nullptr;
  bool named = false;
  std::string layerName;
};
std::vector<CarryRow> g_carry(kCarryRows);
int32_t g_carry_count = 0;

bool generation2() { return GameData_Header().generation >= 2; }

void flush_and_purge() {
  Run_Flush();
  Room_PurgeMarked(Run_Room);
}

void carry(CInstance* instance, const char* layerName) {
  if (g_carry_count == static_cast<int32_t>(g_carry.size())) g_carry.resize(g_carry.size() + 5);
  CarryRow& row = g_carry[static_cast<size_t>(g_carry_count++)];
  row.instance = instance;
  row.named = layerName != nullptr;
  row.layerName = layerName != nullptr ? layerName : "";
}

void clear_carry() {
  for (CarryRow& row : g_carry) row = CarryRow{};
  g_carry_count = 0;
}

// Takes an instance out of the room's tables: its layer, the tree, the id table and the object
// lists, keeping its layerId; unlink also takes it off the room's list.
void take_out(CRoom* room, CInstance* instance, bool unlink) {
  const int32_t layer = instance->layerId;
  if (g_InstanceWorldHooks.layerLeave != nullptr) g_InstanceWorldHooks.layerLeave(instance);
  if (g_InstanceWorldHooks.treeRemove != nullptr) g_InstanceWorldHooks.treeRemove(instance);
  Instance_IdTableRemove(instance);
  if (unlink) Room_Unlink(room, instance);
  Instance_LeaveObjectLists(instance);
  instance->layerId = layer;
}

// Takes every carried instance out of the room that ends, so that it survives the room.
void take_out_carried(CRoom* room) {
  for (int32_t row = 0; row < g_carry_count; ++row) take_out(room, g_carry[static_cast<size_t>(row)].instance, true);
}

// Whether the layer was made by a room's file (ids up to the highest read) rather than at run time.
bool file_layer(int32_t layerId) { return layerId <= RoomAsset_HighestFileLayerId(); }

const char* dynamic_layer_name(CRoom* room, CInstance* instance) {
  if (!generation2() || instance->layerId < 0 || file_layer(instance->layerId)) return nullptr;
  CLayer* layer = Layer_Find(room, instance->layerId);
  if (layer == nullptr || layer->managed || layer->name.empty()) return nullptr;
  return layer->name.c_str();
}

void apply_child_collides(CObjectTV* object) {
  if (object == nullptr || (object->flags & (kObjTypeCollides | kObjTypeChildCollides)) != 0) return;
  for (CObjectTV* at = object->parent; at != nullptr && at != object; at = at->parent) {
    if ((at->flags & (kObjTypeCollides | kObjTypeChildCollides)) != 0) {
      object->flags |= kObjTypeChildCollides;
      return;
    }
  }
}

// The carried state over the room's own copy of a persistent instance: the builtin block, the
// variables, and the object, which the carried one may have changed since the copy was placed.
void take_carried_state(CInstance* kept, const CInstance* carried) {
  Instance_CopyState(kept, carried);
  if (kept->objectIndex != carried->objectIndex || kept->object != carried->object) {
    Instance_LeaveObjectLists(kept);
    kept->objectIndex = carried->objectIndex;
    kept->object = carried->object;
    Instance_EnterObjectLists(kept);
  }
  kept->previousObject = nullptr;
}

// Step 8a: the carried instance's layer in the new room; -1 without a name.
int32_t carried_layer(CRoom* room, const CarryRow& row) {
  if (!row.named || !generation2()) return -1;
  CLayer* layer = Layer_FindByName(room, row.layerName.c_str());
  if (layer == nullptr) layer = Layer_Create(room, static_cast<int32_t>(row.instance->depth), row.layerName.c_str());
  return layer != nullptr ? layer->id : -1;
}

void enter_layer(CRoom* room, CInstance* instance) {
  if (!generation2()) return;
  CLayer* layer = instance->layerId >= 0 ? Layer_Find(room, instance->layerId) : nullptr;
  if (layer != nullptr) {
    Layer_AddInstance(room, layer, instance);
  } else {
    Layer_AddInstanceByDepth(room, instance);
  }
}

void enter_carried(CRoom* room, const CarryRow& row) {
  CInstance* carried = row.instance;
  const int32_t layerId = carried_layer(room, row);
  CLayer* layer = layerId >= 0 ? Layer_Find(room, layerId) : nullptr;
  CInstance* kept = nullptr;
  for (CInstance* at = room->active.head; at != nullptr; at = at->next) {
    if (at != carried && at->id == carried->id) {
      kept = at;
      break;
    }
  }
  if (kept != nullptr) {
    if (generation2()) Layer_RemoveInstance(room, kept);
    take_carried_state(kept, carried);
    kept->depth = carried->depth;
    kept->layerId = layerId;
    kept->flags = (kept->flags | kInstCarriedOver) & ~(kInstHasLayerElement | kInstInCollisionTree);
    enter_layer(room, kept);
    if (layer != nullptr) kept->depth = static_cast<float>(layer->depth);
    Instance_Release(nullptr, carried);
    return;
  }
  Instance_EnterObjectLists(carried);
  if (generation2()) {
    CLayerInstanceElement* element = Layer_InstanceElement(room, carried->id);
    if (element != nullptr && element->layer != nullptr) Layer_RemoveElement(room, element->layer, element, false);
  }
  carried->layerId = layerId;
  // It stands in the active list by the depth it brings; its layer's depth is taken afterwards.
  Room_InsertByDepth(room, carried, carried->depth);
  Instance_IdTableAdd(carried);
  enter_layer(room, carried);
  if (layer != nullptr) carried->depth = static_cast<float>(layer->depth);
  carried->flags = (carried->flags | kInstCarriedOver) & ~kInstInCollisionTree;
  apply_child_collides(carried->object);
  Instance_BoxChanged(carried);
}

// Runs a code object with self and other, script errors going the unhandled way as events do.
void run_code(CInstance* instance, CCode* code) {
  if (code == nullptr) return;
  try {
    Code_Execute(instance, instance, code, nullptr, 0);
  } catch (const KVTSLException& exception) {
    World_UnhandledException(exception);
  }
}

void create_placed(CRoom* room) {
  const std::vector<int32_t> ids = room->placedIds;
  for (int32_t id : ids) {
    CInstance* instance = Instance_Find(id);
    if (instance == nullptr) continue;
    if ((instance->flags & kInstCarriedOver) != 0) {
      instance->flags &= ~kInstCarriedOver;
      continue;
    }
    if ((instance->flags & (kInstMarked | kInstDelayedDestroy)) != 0) continue;
    PerformEventOnInstance(instance, instance, kEventPreCreate, 0);
    run_code(instance, instance->preCreateCode);
    PerformEventOnInstance(instance, instance, kEventCreate, 0);
    run_code(instance, instance->createCode);
    instance->flags |= kInstCreated;
  }
  room->placedIds.clear();
  room->placedIds.shrink_to_fit();
}

void run_creation_code(CRoom* room) {
  const int32_t savedType = CurrentEventType;
  const int32_t savedNumber = CurrentEventNumber;
  const int32_t savedObject = CurrentEventObject;
  CurrentEventType = kEventContextRoomCreation;
  CurrentEventNumber = -1;
  CurrentEventObject = -1;
  auto* temporary = new CInstance(0.0f, 0.0f, 0, Object_InternalIndex(), false);
  {
    EventContextScope context(Run_RoomIndex, kEventContextRoomCreation, 0);
    run_code(temporary, room->creationCode);
  }
  temporary->purged = true;  // never in a list: the collector takes it
  CurrentEventType = savedType;
  CurrentEventNumber = savedNumber;
  CurrentEventObject = savedObject;
}

// Step 4: a persistent room's instances enter the game's tables again.
void take_up(CRoom* room) {
  for (CInstance* at = room->active.head; at != nullptr; at = at->next) {
    Instance_EnterObjectLists(at);
    Instance_IdTableAdd(at);
    at->flags &= ~kInstInCollisionTree;
    Instance_BoxChanged(at);
  }
  for (CInstance* at = room->inactive.head; at != nullptr; at = at->next) at->flags &= ~kInstInCollisionTree;
  if (g_InstanceWorldHooks.treeRebuild != nullptr) g_InstanceWorldHooks.treeRebuild();
}

// Steps 6 and 7 of a room start: cameras, layers, particle systems and the window take the room up.
void start_subjects(CRoom* room) {
  if (generation2()) {
    if (g_RoomHooks.cameraRoomStart != nullptr) g_RoomHooks.cameraRoomStart(room);
    Layer_RoomStart(room);
  }
  if (g_RoomHooks.particlesRoomStart != nullptr) g_RoomHooks.particlesRoomStart(room);
  if (g_RoomHooks.windowForRoom != nullptr) g_RoomHooks.windowForRoom(room);
}

}  // namespace

int32_t Room_CarriedCount() { return g_carry_count; }
CInstance* Room_Carried(int32_t row) {
  return row >= 0 && row < g_carry_count ? g_carry[static_cast<size_t>(row)].instance : nullptr;
}

void Room_End(bool gameEnding) {
  CRoom* room = Run_Room;
  if (room == nullptr) return;
  if (generation2()) {
    for (CViewGM* view : room->views) {
      if (view != nullptr && view->cameraId >= 0 && g_RoomHooks.cameraSetPersistent != nullptr) {
        g_RoomHooks.cameraSetPersistent(view->cameraId, room->persistent);
      }
    }
    if (g_RoomHooks.cameraRoomEnd != nullptr) g_RoomHooks.cameraRoomEnd(room);
  }
  flush_and_purge();
  const int32_t savedRequest = New_Room;
  New_Room = kNewRoomNone;
  if (g_RoomHooks.effectsRoomEnd != nullptr) g_RoomHooks.effectsRoomEnd(room);
  PerformEventAll(kEventOther, 5);
  flush_and_purge();
  if (gameEnding) {
    PerformEventAll(kEventOther, 3);
    for (CInstanceList* list : {&room->active, &room->inactive}) {
      for (CInstance* at = list->head; at != nullptr;) {
        CInstance* next = at->next;
        if ((at->flags & kInstPersistent) != 0) PerformEventOnInstance(at, at, kEventCleanUp, 0);
        at = next;
      }
    }
    flush_and_purge();
  }
  New_Room = savedRequest;
  if (g_RoomHooks.particlesRoomEnd != nullptr) g_RoomHooks.particlesRoomEnd(room);
  if (g_RoomHooks.virtualKeysReset != nullptr) g_RoomHooks.virtualKeysReset();
  Instance_FlushDeactivation();

  clear_carry();
  g_carry.resize(kCarryRows);
  g_carry.shrink_to_fit();
  for (CInstance* at = room->active.head; at != nullptr; at = at->next) {
    at->physicsObject = nullptr;
    if ((at->flags & kCarryMask) == kInstPersistent) carry(at, dynamic_layer_name(room, at));
  }
  // A persistent room lets its carried instances go at once. Otherwise they stay in the room, in
  // the id table and the object lists, until the other instances' CleanUp has run as the working
  // copy goes, and are taken out just before it is released.
  if (room->persistent) take_out_carried(room);
  flush_and_purge();
  Instance_SnapshotsDirty();

  if (room->persistent) {
    for (CInstance* at = room->active.head; at != nullptr; at = at->next) {
      if ((at->flags & kCarryMask) == 0) take_out(room, at, false);
    }
    if (generation2()) Layer_RoomEnd(room);
    if (g_InstanceWorldHooks.treeReset != nullptr) g_InstanceWorldHooks.treeReset();
    Instance_DropDeactivations();
    return;
  }
  if (generation2()) Layer_RoomEnd(room);
  if (Run_RoomIndex >= 0 && Run_RoomIndex < static_cast<int32_t>(Run_Rooms.size()) &&
      Run_Rooms[static_cast<size_t>(Run_RoomIndex)] == room) {
    Run_Rooms[static_cast<size_t>(Run_RoomIndex)] = nullptr;
  }
  Room_CleanUpForFree(room);
  take_out_carried(room);
  Room_Free(room, false);
  Run_Room = nullptr;
  Instance_DropDeactivations();
}

void Room_Start(int32_t index, bool first) {
  New_Room = kNewRoomNone;
  if (first && g_RoomHooks.inputClear != nullptr) g_RoomHooks.inputClear();
  if (index < 0) return;
  if (static_cast<int32_t>(Run_Rooms.size()) <= index) Run_Rooms.resize(static_cast<size_t>(index) + 1, nullptr);
  Run_RoomIndex = index;
  CRoom* room = Run_Rooms[static_cast<size_t>(index)];
  Run_Room = room;
  const bool returning = room != nullptr;
  if (returning) {
    take_up(room);
  } else {
    room = new CRoom;
    Run_Rooms[static_cast<size_t>(index)] = room;
    Run_Room = room;
    const CRoom* source = Room_Template(index);
    if (source != nullptr) {
      Room_Copy(room, source);
    } else {
      CRoom empty;
      for (CBackGM*& background : empty.backgrounds) background = new CBackGM;
      for (CViewGM*& view : empty.views) view = new CViewGM;
      Room_Copy(room, &empty);
    }
  }
  start_subjects(room);

  for (int32_t row = 0; row < g_carry_count; ++row) enter_carried(room, g_carry[static_cast<size_t>(row)]);
  clear_carry();

  if (!returning) create_placed(room);
  flush_and_purge();
  if (first) {
    PerformEventAll(kEventOther, 2);
    flush_and_purge();
  }
  if (!returning && room->creationCode != nullptr) run_creation_code(room);
  PerformEventAll(kEventOther, 4);
  if (g_RoomHooks.effectsRoomStart != nullptr) g_RoomHooks.effectsRoomStart(room);
  flush_and_purge();
}

void Room_Resume(int32_t index) {
  New_Room = kNewRoomNone;
  if (index < 0 || index >= static_cast<int32_t>(Run_Rooms.size()) || Run_Rooms[static_cast<size_t>(index)] == nullptr) {
    return;
  }
  Run_RoomIndex = index;
  CRoom* room = Run_Rooms[static_cast<size_t>(index)];
  Run_Room = room;
  take_up(room);
  start_subjects(room);
  flush_and_purge();
}

void Room_Switch(int32_t index) {
  g_DebugConsole->Output("SwitchRoom to %s\n", Room_GetName(index));
  Room_End(false);
  Room_Start(index, false);
}

void Room_Goto(int32_t index) {
  if (New_Room == kNewRoomAbort || New_Room == kNewRoomEndGame) {
    g_ReleaseConsole->Output("Unable to change room when exiting the game\n");
    return;
  }
  // The transition kind would be reset to 0 here; transition_kind always reads 0 and keeps no
  // value, so there is nothing to store.
  New_Room = index;
  if (!Room_Exists(index)) {
    New_Room = kNewRoomAbort;
    KVError("Unexisting room number: %d", index);
  }
}

void Room_FreeWorkingCopies() {
  for (CRoom*& room : Run_Rooms) {
    Room_Free(room, false);
    room = nullptr;
  }
  Run_Rooms.clear();
  for (int32_t row = 0; row < g_carry_count; ++row) Instance_Release(nullptr, g_carry[static_cast<size_t>(row)].instance);
  clear_carry();
  Run_Room = nullptr;
  Run_RoomIndex = -1;
}

void Room_EndGame() {
  Room_End(true);
  Room_FreeWorkingCopies();
}

int32_t Room_Next(int32_t room) {
  const std::vector<int32_t>& order = GameData_Header().room_order;
  if (!Room_Exists(room) || order.empty() || room == order.back()) return -1;
  for (size_t i = order.size() - 1; i-- > 0;) {
    if (order[i] == room) return order[i + 1];
  }
  return order.front();
}

int32_t Room_Previous(int32_t room) {
  const std::vector<int32_t>& order = GameData_Header().room_order;
  if (!Room_Exists(room) || order.empty() || room == order.front()) return -1;
  for (size_t i = 1; i < order.size(); ++i) {
    if (order[i] == room) return order[i - 1];
  }
  return order.back();
}

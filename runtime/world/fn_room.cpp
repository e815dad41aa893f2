// Builtins of rooms: the requests of room_goto and kin, the room order, and the setters of
// templates, which take effect at the next working copy made from them.
#include <cmath>

#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "world/instance.h"
#include "world/room.h"

namespace {

#define FN_ROOM(name) void name(RValue* result, CInstance*, CInstance*, int argc, RValue* argv)

CViewGM* template_view(const RValue* argv) {
  CRoom* room = Room_Template(KVGetInt32(argv, 0));
  const int32_t view = KVGetInt32(argv, 1);
  if (room == nullptr || view < 0 || view >= kRoomViewCount) return nullptr;
  return room->views[view];
}

FN_ROOM(F_RoomGoto) {
  (void)argc;
  *result = RV_Undefined();
  Room_Goto(KVGetInt32(argv, 0));
}

FN_ROOM(F_RoomGotoPrevious) {
  (void)argc;
  (void)argv;
  *result = RV_Undefined();
  if (Run_RoomIndex == Room_First()) {
    New_Room = kNewRoomAbort;
    KVError("Moving to previous room before the first room.");
    return;
  }
  Room_Goto(Room_Previous(Run_RoomIndex));
}

FN_ROOM(F_RoomGotoNext) {
  (void)argc;
  (void)argv;
  *result = RV_Undefined();
  if (Run_RoomIndex == Room_Last()) {
    New_Room = kNewRoomAbort;
    KVError("Moving to next room after the last room.");
    return;
  }
  Room_Goto(Room_Next(Run_RoomIndex));
}

FN_ROOM(F_RoomPrevious) {
  (void)argc;
  *result = RV_Real(Room_Previous(KVGetInt32(argv, 0)));
}

FN_ROOM(F_RoomNext) {
  (void)argc;
  *result = RV_Real(Room_Next(KVGetInt32(argv, 0)));
}

FN_ROOM(F_RoomRestart) {
  (void)argc;
  (void)argv;
  *result = RV_Undefined();
  Room_Goto(Run_RoomIndex);
}

FN_ROOM(F_RoomExists) {
  (void)argc;
  *result = RV_Bool(Room_Exists(KVGetInt32(argv, 0)));
}

FN_ROOM(F_RoomGetName) {
  (void)argc;
  RV_SetString(result, Room_GetName(KVGetInt32(argv, 0)));
}

FN_ROOM(F_RoomSetWidth) {
  (void)argc;
  *result = RV_Undefined();
  if (CRoom* room = Room_Template(KVGetInt32(argv, 0))) room->width = KVGetInt32(argv, 1);
}

FN_ROOM(F_RoomSetHeight) {
  (void)argc;
  *result = RV_Undefined();
  if (CRoom* room = Room_Template(KVGetInt32(argv, 0))) room->height = KVGetInt32(argv, 1);
}

FN_ROOM(F_RoomSetCaption) {
  (void)argc;
  *result = RV_Undefined();
  CRoom* room = Room_Template(KVGetInt32(argv, 0));
  if (room == nullptr) return;
  const char* caption = KVGetString(argv, 1);
  room->caption = caption != nullptr ? caption : "";
}

FN_ROOM(F_RoomSetPersistent) {
  (void)argc;
  *result = RV_Undefined();
  if (CRoom* room = Room_Template(KVGetInt32(argv, 0))) room->persistent = KVGetBool(argv, 1);
}

FN_ROOM(F_RoomSetBackgroundColour) {
  (void)argc;
  *result = RV_Undefined();
  CRoom* room = Room_Template(KVGetInt32(argv, 0));
  if (room == nullptr) return;
  room->colour = static_cast<uint32_t>(KVGetInt32(argv, 1));
  room->showColour = KVGetBool(argv, 2);
}

// room_set_viewport(room, view, visible, x, y, width, height)
FN_ROOM(F_RoomSetViewport) {
  (void)argc;
  *result = RV_Undefined();
  CViewGM* view = template_view(argv);
  if (view == nullptr) return;
  view->visible = KVGetBool(argv, 2);
  view->portX = KVGetInt32(argv, 3);
  view->portY = KVGetInt32(argv, 4);
  view->portW = KVGetInt32(argv, 5);
  view->portH = KVGetInt32(argv, 6);
}

// room_get_viewport(room, view): [visible, x, y, width, height], or undefined.
FN_ROOM(F_RoomGetViewport) {
  (void)argc;
  *result = RV_Undefined();
  const CViewGM* view = template_view(argv);
  if (view == nullptr) return;
  RefDynamicArrayOfRValue* array = RV_NewArray(5);
  RValue made;
  made.pArray = array;
  made.flags = 0;
  made.kind = kRVArray;
  *result = made;  // the new array's one count is the result's
  array->pArray[0] = RV_Bool(view->visible);
  array->pArray[1] = RV_Real(view->portX);
  array->pArray[2] = RV_Real(view->portY);
  array->pArray[3] = RV_Real(view->portW);
  array->pArray[4] = RV_Real(view->portH);
}

FN_ROOM(F_RoomSetViewEnabled) {
  (void)argc;
  *result = RV_Undefined();
  if (CRoom* room = Room_Template(KVGetInt32(argv, 0))) room->enableViews = KVGetBool(argv, 1);
}

FN_ROOM(F_RoomAdd) {
  (void)argc;
  (void)argv;
  *result = RV_Real(Room_Add());
}

FN_ROOM(F_RoomDuplicate) {
  (void)argc;
  *result = RV_Real(Room_Duplicate(KVGetInt32(argv, 0)));
}

FN_ROOM(F_RoomAssign) {
  (void)argc;
  *result = RV_Undefined();
  if (!Room_Assign(KVGetInt32(argv, 0), KVGetInt32(argv, 1))) KVError("Error assigning a room.");
}

// room_instance_add(room, x, y, object): a reference to the new placement's id.
FN_ROOM(F_RoomInstanceAdd) {
  (void)argc;
  CRoom* room = Room_Template(KVGetInt32(argv, 0));
  if (room == nullptr) {
    *result = Instance_Ref(-1);
    return;
  }
  CRoomPlacement placement;
  placement.x = static_cast<int32_t>(std::lround(KVGetReal(argv, 1)));
  placement.y = static_cast<int32_t>(std::lround(KVGetReal(argv, 2)));
  placement.object_index = KVGetInt32(argv, 3);
  placement.id = static_cast<int32_t>(++LastInstanceId);
  room->scriptPlacements.push_back(placement);
  *result = Instance_Ref(placement.id);
}

FN_ROOM(F_RoomInstanceClear) {
  (void)argc;
  *result = RV_Undefined();
  CRoom* room = Room_Template(KVGetInt32(argv, 0));
  if (room == nullptr) return;
  room->placements.clear();
  room->scriptPlacements.clear();
}

FN_ROOM(F_RoomGetCamera) {
  (void)argc;
  const CViewGM* view = template_view(argv);
  *result = RV_Real(view != nullptr ? view->cameraId : -1);
}

FN_ROOM(F_RoomSetCamera) {
  (void)argc;
  *result = RV_Undefined();
  if (CViewGM* view = template_view(argv)) view->cameraId = KVGetInt32(argv, 2);
}

#undef FN_ROOM

}  // namespace

void Room_RegisterBuiltins() {
  Function_Add("room_goto", F_RoomGoto, 1, 0);
  Function_Add("room_goto_previous", F_RoomGotoPrevious, 0, 0);
  Function_Add("room_goto_next", F_RoomGotoNext, 0, 0);
  Function_Add("room_previous", F_RoomPrevious, 1, 0);
  Function_Add("room_next", F_RoomNext, 1, 0);
  Function_Add("room_restart", F_RoomRestart, 0, 0);
  Function_Add("room_exists", F_RoomExists, 1, 0);
  Function_Add("room_get_name", F_RoomGetName, 1, 0);
  Function_Add("room_set_width", F_RoomSetWidth, 2, 0);
  Function_Add("room_set_height", F_RoomSetHeight, 2, 0);
  Function_Add("room_set_caption", F_RoomSetCaption, 2, 0);
  Function_Add("room_set_persistent", F_RoomSetPersistent, 2, 0);
  Function_Add("room_set_background_color", F_RoomSetBackgroundColour, 3, 0);
  Function_Add("room_set_background_colour", F_RoomSetBackgroundColour, 3, 0);
  Function_Add("room_set_viewport", F_RoomSetViewport, 7, 0);
  Function_Add("room_get_viewport", F_RoomGetViewport, 2, 0);
  Function_Add("room_set_view_enabled", F_RoomSetViewEnabled, 2, 0);
  Function_Add("room_add", F_RoomAdd, 0, 0);
  Function_Add("room_duplicate", F_RoomDuplicate, 1, 0);
  Function_Add("room_assign", F_RoomAssign, 2, 0);
  Function_Add("room_instance_add", F_RoomInstanceAdd, 4, 0);
  Function_Add("room_instance_clear", F_RoomInstanceClear, 1, 0);
  Function_Add("room_get_camera", F_RoomGetCamera, 2, 0);
  Function_Add("room_set_camera", F_RoomSetCamera, 3, 0);
}

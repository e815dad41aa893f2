#pragma once
// CRoom: a room, as a template (one per asset index, built from the data file's ROOM records or
// by room_add / room_duplicate) or as the working copy the game runs in (Run_Rooms, made from its
// template on first entry and kept while the room is persistent). Run_Room (core/frame_state.h)
// is the current working copy, Run_RoomIndex its index.
//
// The active list is ordered by currentDepth ascending from head to tail, equal depths in creation
// order; the inactive list is appended at the tail. Both hold head, tail and count. The room does
// not own its instances' memory: they are collected objects, unlinked by the purge. It does own
// its background, view and tile records, its name and caption, and its layer maps (the layer
// subject fills and empties them).
#include <cstdint>
#include <string>
#include <vector>

template <class K, class V>
class CHashMap;
class CInstance;
class CCode;
struct CLayer;
struct CLayerElementBase;
struct RoomAsset;
struct RoomPlacementAsset;

struct CInstanceList {
  CInstance* head = nullptr;
  CInstance* tail = nullptr;
  int32_t count = 0;
};

// An old-style background of the room.
struct CBackGM {
  bool visible = false;
  bool foreground = false;
  int32_t index = -1;  // sprite or tile set
  float x = 0, y = 0;
  bool htiled = false, vtiled = false;
  float hspeed = 0, vspeed = 0;
  float xscale = 1, yscale = 1;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1.0f;
};

// A view of the room; in generation 2 `cameraId` names the view's camera (-1 none).
struct CViewGM {
  bool visible = false;
  float x = 0, y = 0, w = 0, h = 0;
  int32_t portX = 0, portY = 0, portW = 0, portH = 0;
  float angle = 0;
  int32_t hborder = 0, vborder = 0, hspeed = 0, vspeed = 0;
  int32_t object = -1;
  int32_t surfaceId = -1;
  int32_t cameraId = -1;
};

// An old-style tile as the room keeps it (56 bytes of data).
struct CTileGM {
  float x = 0, y = 0;
  int32_t index = -1;  // sprite or tile set
  int32_t xo = 0, yo = 0, w = 0, h = 0;
  float depth = 0;
  int32_t id = 0;
  float xscale = 1, yscale = 1;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1;
  bool visible = true;
};

// A placement of a room made by script (room_instance_add): the runtime's own record, since it has
// no record in the data image.
struct CRoomPlacement {
  int32_t x = 0, y = 0;
  int32_t object_index = -1;
  int32_t id = 0;
};

constexpr int32_t kRoomBackgroundCount = 8;
constexpr int32_t kRoomViewCount = 8;

struct CRoom {
  CRoom();
  ~CRoom();
  CRoom(const CRoom&) = delete;
  CRoom& operator=(const CRoom&) = delete;

  std::string caption;
  int32_t speed = 30;
  int32_t width = 640;
  int32_t height = 480;
  bool persistent = false;
  uint32_t colour = 0;
  bool showColour = true;
  CBackGM* backgrounds[kRoomBackgroundCount] = {};
  bool enableViews = false;
  bool clearViewBackground = false;
  bool clearDisplayBuffer = true;
  CViewGM* views[kRoomViewCount] = {};
  CCode* creationCode = nullptr;  // shared code object (Room_Code), null if none
  int32_t creationCodeIndex = -1;
  bool physicsEnabled = false;
  int32_t physicsGravityX = 0;
  int32_t physicsGravityY = 10;
  float physicsPixelsToMetres = 0.1f;
  CInstanceList active;
  CInstanceList inactive;
  std::vector<int32_t> placedIds;  // placedCount is placedIds.size()
  const RoomAsset* record = nullptr;  // the ROOM record as read; null for a room made by script
  void* physicsWorld = nullptr;
  std::vector<CTileGM> tiles;
  // A file room's placements point into the read record; a room made by script keeps its own.
  std::vector<const RoomPlacementAsset*> placements;
  std::vector<CRoomPlacement> scriptPlacements;
  std::string name;
  bool scriptMade = false;

  // The layer subject's share: the layer list sorted by depth, and its three maps.
  CLayer* layersHead = nullptr;
  CLayer* layersTail = nullptr;
  int32_t layerCount = 0;
  CHashMap<int32_t, CLayer*>* layerIdMap = nullptr;
  CHashMap<int32_t, CLayerElementBase*>* elementIdMap = nullptr;
  CHashMap<int32_t, CLayerElementBase*>* instanceElementMap = nullptr;
  CLayerElementBase* lastElement = nullptr;
  std::vector<int32_t> effectLayerIds;
};

// What other subjects do at room changes, installed by them; every hook may be null.
struct RoomHooks {
  // Cameras (generation 2): a camera for a template's view at load; a clone of a camera for a
  // working copy (-1 for none); the mark of a camera belonging to a persistent room; the camera
  // manager ending and taking up a room's use of cameras.
  int32_t (*cameraForView)(const CViewGM* view) = nullptr;
  int32_t (*cameraClone)(int32_t cameraId) = nullptr;
  void (*cameraSetPersistent)(int32_t cameraId, bool persistent) = nullptr;
  void (*cameraRoomEnd)(CRoom* room) = nullptr;
  void (*cameraRoomStart)(CRoom* room) = nullptr;
  // The window size the room's views need.
  void (*windowForRoom)(CRoom* room) = nullptr;
  // Effects get their "room_start" / "room_end" call.
  void (*effectsRoomStart)(CRoom* room) = nullptr;
  void (*effectsRoomEnd)(CRoom* room) = nullptr;
  // Particle systems leave the room's layers, keeping the names of theirs; and are attached again.
  void (*particlesRoomEnd)(CRoom* room) = nullptr;
  void (*particlesRoomStart)(CRoom* room) = nullptr;
  // Input: the whole input state cleared (the first room), the virtual keys reset (a room end).
  void (*inputClear)() = nullptr;
  void (*virtualKeysReset)() = nullptr;
  // Width and height of a sprite or tile set, for stretched backgrounds; false if unknown.
  bool (*imageSize)(int32_t index, int32_t* width, int32_t* height) = nullptr;
};
extern RoomHooks g_RoomHooks;

// Room tables. Room_Templates has one template per asset index (null where the file has a gap),
// Room_TemplateNames the names beside it. Run_Rooms holds the working copies by index, null until
// first entry and again after a non-persistent room ends.
extern std::vector<CRoom*> Room_Templates;
extern std::vector<std::string> Room_TemplateNames;
extern std::vector<CRoom*> Run_Rooms;
extern int32_t Run_RoomIndex;

// The template at index, or null.
CRoom* Room_Template(int32_t index);
// The working copy for index: the current room when it is that index, else its kept copy, or null.
CRoom* Room_Working(int32_t index);
bool Room_Exists(int32_t index);
// The room's name, "<undefined>" for an index without a template.
const char* Room_GetName(int32_t index);
// The room order of the header; first and last entries, -1 when empty.
int32_t Room_First();
int32_t Room_Last();
// room_next / room_previous: the neighbour in the room order, -1 past either end or for an unknown
// room. room_next searches from the end (a room not in the order gives its first entry),
// room_previous from the start (a room not in the order gives its last entry).
int32_t Room_Next(int32_t room);
int32_t Room_Previous(int32_t room);

// A shared code object for a code index (null for -1); lives until Room_FreeAll.
CCode* Room_Code(int32_t codeIndex);

// Builds Room_Templates from the ROOM records (cameras and layers of generation 2 included).
// Replaces any tables held before.
void Room_LoadTemplates();
// Makes copy (empty) a working copy of template: fields, views and backgrounds, layers, the
// placements' instances (entered in copy's lists, their ids in placedIds) and the tiles.
void Room_Copy(CRoom* copy, const CRoom* source);
// A new empty template with the next index (room_add); its index.
int32_t Room_Add();
// A new template copied from index (room_duplicate); its index, or -1.
int32_t Room_Duplicate(int32_t index);
// Copies template source over template dest (room_assign); false if either doesn't exist.
bool Room_Assign(int32_t dest, int32_t source);
// Frees a room record that no list refers to any more: its instances (CleanUp first in generation
// 2 for those without the flags 0x43, when cleanUp), its layers and its records.
void Room_Free(CRoom* room, bool cleanUp);
// The CleanUp half of that free on its own (generation 2 only), for a room end that takes the
// carried instances out between the CleanUp events and the release. The room must be current.
void Room_CleanUpForFree(CRoom* room);
// Moves each old-style background record of the room by its speeds, once per drawn step. A null
// room does nothing.
void Room_ScrollBackgrounds(CRoom* room);

// ---- Transitions ---------------------------------------------------------------------------------
// Enter a room: the working copy is taken up or made, carried instances enter it, placed
// instances run PreCreate/Create with their codes, then Game Start (first), the room's creation
// code (a new copy only) and Room Start.
void Room_Start(int32_t index, bool first);
// Leave the current room: Room End (and Game End when gameEnding); persistent instances go to
// PersistentCarry; a persistent room is kept, any other freed.
void Room_End(bool gameEnding);
// Makes the kept working copy of index current again as a return to a persistent room does
// (its instances enter the tables, cameras, layers and the window take it up), with no event at
// all: a loaded game goes on where it was saved. Nothing happens without a working copy.
void Room_Resume(int32_t index);
// Room_End(false) then Room_Start(index, false), with its console line.
void Room_Switch(int32_t index);
// room_goto: asks for the change through New_Room (see the builtin for the odd cases).
void Room_Goto(int32_t index);
// Ends the current room as the game ends, then frees every working copy and carried instance.
void Room_EndGame();
// Frees the working copies (their instances released) and the carried instances.
void Room_FreeWorkingCopies();
// Frees every table: working copies, templates, names and the code objects.
void Room_FreeAll();
// The instances carried from the room that ended into the next one.
int32_t Room_CarriedCount();
CInstance* Room_Carried(int32_t row);
void Room_RegisterBuiltins();

// Links instance into the active list by depth: behind the last instance (walking from the tail)
// whose currentDepth is <= depth, else at the head; currentDepth becomes depth.
void Room_InsertByDepth(CRoom* room, CInstance* instance, float depth);
void Room_AppendInactive(CRoom* room, CInstance* instance);
// Unlinks instance from whichever of the two lists holds it (by its 0x80000 flag).
void Room_Unlink(CRoom* room, CInstance* instance);

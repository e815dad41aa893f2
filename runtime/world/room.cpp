// Room tables: the templates built from the ROOM records, the working copies made from them, and
// the script-made templates of room_add / room_duplicate.
#include "world/room.h"

#include <memory>
#include <unordered_map>

#include "core/code.h"
#include "core/frame_state.h"
#include "data/game_data.h"
#include "world/asset_rooms.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/object_type.h"

std::vector<CRoom*> Room_Templates;
std::vector<std::string> Room_TemplateNames;
std::vector<CRoom*> Run_Rooms;
int32_t Run_RoomIndex = -1;
RoomHooks g_RoomHooks;

namespace {

std::unordered_map<int32_t, std::unique_ptr<CCode>> g_codes;

bool generation2() { return GameData_Header().generation >= 2; }

CTileGM tile_from(const RoomTileAsset& asset) {
  CTileGM tile;
  tile.x = static_cast<float>(asset.x);
  tile.y = static_cast<float>(asset.y);
  tile.index = asset.spriteIndex;
  tile.xo = asset.left;
  tile.yo = asset.top;
  tile.w = asset.width;
  tile.h = asset.height;
  tile.depth = static_cast<float>(asset.depth);
  tile.id = asset.id;
  tile.xscale = asset.xscale;
  tile.yscale = asset.yscale;
  tile.blend = asset.blend;
  tile.alpha = asset.alpha;
  tile.visible = true;
  return tile;
}

CBackGM* background_from(const RoomBackgroundAsset& asset, const CRoom& room) {
  auto* background = new CBackGM;
  background->visible = asset.visible;
  background->foreground = asset.foreground;
  background->index = asset.index;
  background->x = static_cast<float>(asset.x);
  background->y = static_cast<float>(asset.y);
  background->htiled = asset.htiled;
  background->vtiled = asset.vtiled;
  background->hspeed = static_cast<float>(asset.hspeed);
  background->vspeed = static_cast<float>(asset.vspeed);
  int32_t width = 0;
  int32_t height = 0;
  if (asset.stretch && g_RoomHooks.imageSize != nullptr && g_RoomHooks.imageSize(asset.index, &width, &height) &&
      width > 0 && height > 0) {
    background->xscale = static_cast<float>(room.width) / static_cast<float>(width);
    background->yscale = static_cast<float>(room.height) / static_cast<float>(height);
  }
  return background;
}

CViewGM* view_from(const RoomViewAsset& asset) {
  auto* view = new CViewGM;
  view->visible = asset.enabled;
  view->x = asset.x;
  view->y = asset.y;
  view->w = asset.w;
  view->h = asset.h;
  view->portX = asset.port_x;
  view->portY = asset.port_y;
  view->portW = asset.port_w;
  view->portH = asset.port_h;
  view->hborder = asset.hborder;
  view->vborder = asset.vborder;
  view->hspeed = asset.hspeed;
  view->vspeed = asset.vspeed;
  view->object = asset.object;
  if (generation2() && g_RoomHooks.cameraForView != nullptr) view->cameraId = g_RoomHooks.cameraForView(view);
  return view;
}

// Every slot gets a record, so that builtins and drawing never meet a null one.
void fill_missing_records(CRoom* room) {
  for (CBackGM*& background : room->backgrounds) {
    if (background == nullptr) background = new CBackGM;
  }
  for (CViewGM*& view : room->views) {
    if (view == nullptr) view = new CViewGM;
  }
}

CRoom* template_from(const RoomAsset& asset) {
  auto* room = new CRoom;
  room->record = &asset;
  room->name = asset.name != nullptr ? asset.name : "";
  room->caption = asset.caption != nullptr ? asset.caption : "";
  room->width = asset.width;
  room->height = asset.height;
  room->speed = asset.speed;
  room->persistent = asset.persistent;
  room->colour = asset.colour;
  room->showColour = asset.showColour;
  room->enableViews = asset.enableViews;
  room->clearViewBackground = asset.clearViewBackground;
  room->clearDisplayBuffer = asset.clearDisplayBuffer;
  room->creationCodeIndex = asset.creation_code;
  room->creationCode = Room_Code(asset.creation_code);
  room->physicsEnabled = asset.physicsEnabled;
  room->physicsGravityX = asset.physicsGravityX;
  room->physicsGravityY = asset.physicsGravityY;
  room->physicsPixelsToMetres = asset.physicsPixelsToMetres;
  for (size_t i = 0; i < asset.backgrounds.size() && i < kRoomBackgroundCount; ++i) {
    room->backgrounds[i] = background_from(asset.backgrounds[i], *room);
  }
  for (size_t i = 0; i < asset.views.size() && i < kRoomViewCount; ++i) room->views[i] = view_from(asset.views[i]);
  fill_missing_records(room);
  room->placements.reserve(asset.placements.size());
  for (const RoomPlacementAsset& placement : asset.placements) room->placements.push_back(&placement);
  room->tiles.reserve(asset.tiles.size());
  for (const RoomTileAsset& tile : asset.tiles) room->tiles.push_back(tile_from(tile));
  if (generation2()) Layer_BuildFromAsset(room, asset);
  return room;
}

// The template fields that a copy and an assignment share (not the layers, lists or name).
void copy_fields(CRoom* copy, const CRoom* source, bool cloneCameras) {
  copy->caption = source->caption;
  copy->speed = source->speed;
  copy->width = source->width;
  copy->height = source->height;
  copy->persistent = source->persistent;
  copy->colour = source->colour;
  copy->showColour = source->showColour;
  copy->creationCodeIndex = source->creationCodeIndex;
  copy->creationCode = source->creationCode;
  copy->physicsEnabled = source->physicsEnabled;
  copy->physicsGravityX = source->physicsGravityX;
  copy->physicsGravityY = source->physicsGravityY;
  copy->physicsPixelsToMetres = source->physicsPixelsToMetres;
  copy->enableViews = source->enableViews;
  copy->clearViewBackground = source->clearViewBackground;
  copy->clearDisplayBuffer = source->clearDisplayBuffer;
  for (int32_t i = 0; i < kRoomBackgroundCount; ++i) {
    if (copy->backgrounds[i] == nullptr) copy->backgrounds[i] = new CBackGM;
    if (source->backgrounds[i] != nullptr) *copy->backgrounds[i] = *source->backgrounds[i];
  }
  for (int32_t i = 0; i < kRoomViewCount; ++i) {
    if (copy->views[i] == nullptr) copy->views[i] = new CViewGM;
    if (source->views[i] == nullptr) continue;
    *copy->views[i] = *source->views[i];
    if (cloneCameras && generation2()) {
      const int32_t camera = source->views[i]->cameraId;
      copy->views[i]->cameraId =
          camera < 0 ? -1 : (g_RoomHooks.cameraClone != nullptr ? g_RoomHooks.cameraClone(camera) : camera);
    }
  }
}

bool carried(int32_t id) {
  for (int32_t row = 0; row < Room_CarriedCount(); ++row) {
    CInstance* instance = Room_Carried(row);
    if (instance != nullptr && instance->id == id) return true;
  }
  return false;
}

struct PlacementFields {
  int32_t x = 0, y = 0, object = -1, id = 0;
  int32_t createCode = -1, preCreateCode = -1;
  float xscale = 1, yscale = 1, imageSpeed = 1, angle = 0;
  int32_t imageIndex = 0;
  uint32_t blend = 0xFFFFFF;
  float alpha = 1;
};

void place(CRoom* copy, const PlacementFields& p) {
  if (p.object < 0 || carried(p.id) || !Object_Exists(p.object)) return;
  auto* instance = new CInstance(static_cast<float>(p.x), static_cast<float>(p.y), p.id, p.object, true);
  instance->createCode = Room_Code(p.createCode);
  instance->preCreateCode = Room_Code(p.preCreateCode);
  instance->imageXScale = p.xscale;
  instance->imageYScale = p.yscale;
  instance->imageSpeed = p.imageSpeed;
  instance->imageIndex = static_cast<float>(p.imageIndex);
  instance->sequencePosition = instance->imageIndex;
  instance->lastSequencePosition = instance->imageIndex;
  instance->imageBlend = p.blend;
  instance->imageAlpha = p.alpha;
  instance->imageAngle = p.angle;
  const bool plain = p.xscale == 1.0f && p.yscale == 1.0f && p.angle == 0.0f && p.blend == 0xFFFFFF && p.alpha == 1.0f;
  instance->flags = plain ? (instance->flags | kInstPlainDraw) : (instance->flags & ~kInstPlainDraw);
  CurrentEventObject = p.object;
  CLayerInstanceElement* element = generation2() ? Layer_InstanceElement(copy, p.id) : nullptr;
  if (element != nullptr && element->layer != nullptr) instance->depth = static_cast<float>(element->layer->depth);
  Room_InsertByDepth(copy, instance, instance->depth);
  Instance_IdTableAdd(instance);
  if (element != nullptr && element->layer != nullptr) Layer_AddInstance(copy, element->layer, instance);
  Instance_BoxChanged(instance);
  copy->placedIds.push_back(p.id);
}

int32_t append_template(CRoom* room, const std::string& name) {
  Room_Templates.push_back(room);
  Room_TemplateNames.push_back(name);
  return static_cast<int32_t>(Room_Templates.size()) - 1;
}

std::string new_room_name(int32_t index) { return "__newroom" + std::to_string(index); }

}  // namespace

CRoom::CRoom() = default;

CRoom::~CRoom() {
  Layer_FreeRoom(this);
  for (CBackGM* background : backgrounds) delete background;
  for (CViewGM* view : views) delete view;
}

CRoom* Room_Template(int32_t index) {
  if (index < 0 || index >= static_cast<int32_t>(Room_Templates.size())) return nullptr;
  return Room_Templates[static_cast<size_t>(index)];
}

CRoom* Room_Working(int32_t index) {
  if (index < 0 || index >= static_cast<int32_t>(Run_Rooms.size())) return nullptr;
  return Run_Rooms[static_cast<size_t>(index)];
}

bool Room_Exists(int32_t index) { return Room_Template(index) != nullptr; }

const char* Room_GetName(int32_t index) {
  if (!Room_Exists(index)) return "<undefined>";
  return Room_TemplateNames[static_cast<size_t>(index)].c_str();
}

int32_t Room_First() {
  const std::vector<int32_t>& order = GameData_Header().room_order;
  return order.empty() ? -1 : order.front();
}

int32_t Room_Last() {
  const std::vector<int32_t>& order = GameData_Header().room_order;
  return order.empty() ? -1 : order.back();
}

CCode* Room_Code(int32_t codeIndex) {
  if (codeIndex < 0) return nullptr;
  std::unique_ptr<CCode>& code = g_codes[codeIndex];
  if (code == nullptr) code = std::make_unique<CCode>(codeIndex);
  return code.get();
}

void Room_LoadTemplates() {
  Room_FreeAll();
  const int32_t count = RoomAsset_Count();
  Room_Templates.assign(static_cast<size_t>(count), nullptr);
  Room_TemplateNames.assign(static_cast<size_t>(count), std::string());
  for (int32_t index = 0; index < count; ++index) {
    const RoomAsset* asset = RoomAsset_Get(index);
    if (asset == nullptr) continue;
    Room_Templates[static_cast<size_t>(index)] = template_from(*asset);
    Room_TemplateNames[static_cast<size_t>(index)] = Room_Templates[static_cast<size_t>(index)]->name;
  }
}

void Room_Copy(CRoom* copy, const CRoom* source) {
  copy_fields(copy, source, true);
  copy->name = source->name;
  copy->record = source->record;
  copy->scriptMade = source->scriptMade;
  copy->physicsWorld = nullptr;
  if (generation2()) Layer_CopyRoom(copy, source);
  for (const RoomPlacementAsset* placement : source->placements) {
    place(copy, PlacementFields{placement->x, placement->y, placement->object_index, placement->id,
                                placement->createCode, placement->preCreateCode, placement->imageXScale,
                                placement->imageYScale, placement->imageSpeed, placement->imageAngle,
                                placement->imageIndex, placement->imageBlend, placement->imageAlpha});
  }
  for (const CRoomPlacement& placement : source->scriptPlacements) {
    place(copy, PlacementFields{placement.x, placement.y, placement.object_index, placement.id});
  }
  copy->tiles = source->tiles;
  copy->placements = source->placements;
  copy->scriptPlacements = source->scriptPlacements;
}

int32_t Room_Add() {
  auto* room = new CRoom;
  room->scriptMade = true;
  fill_missing_records(room);
  const int32_t index = append_template(room, "");
  room->name = new_room_name(index);
  Room_TemplateNames[static_cast<size_t>(index)] = room->name;
  return index;
}

int32_t Room_Duplicate(int32_t index) {
  const CRoom* source = Room_Template(index);
  if (source == nullptr) return -1;
  auto* room = new CRoom;
  copy_fields(room, source, true);
  room->scriptMade = true;
  room->record = source->record;
  room->placements = source->placements;
  room->scriptPlacements = source->scriptPlacements;
  room->tiles = source->tiles;
  if (generation2()) Layer_CopyRoom(room, source);
  for (CViewGM* view : room->views) {
    if (view->cameraId >= 0 && g_RoomHooks.cameraSetPersistent != nullptr) {
      g_RoomHooks.cameraSetPersistent(view->cameraId, false);
    }
  }
  const int32_t result = append_template(room, "");
  room->name = new_room_name(result);
  Room_TemplateNames[static_cast<size_t>(result)] = room->name;
  return result;
}

bool Room_Assign(int32_t dest, int32_t source) {
  CRoom* to = Room_Template(dest);
  const CRoom* from = Room_Template(source);
  if (to == nullptr || from == nullptr) return false;
  if (to == from) return true;
  copy_fields(to, from, false);
  to->record = from->record;
  to->placements = from->placements;
  to->scriptPlacements = from->scriptPlacements;
  to->tiles = from->tiles;
  if (generation2()) {
    Layer_FreeRoom(to);
    Layer_CopyRoom(to, from);
  }
  return true;
}

void Room_CleanUpForFree(CRoom* room) {
  if (room == nullptr || !generation2()) return;
  for (CInstanceList* list : {&room->active, &room->inactive}) {
    for (CInstance* at = list->head; at != nullptr;) {
      CInstance* next = at->next;
      if ((at->flags & (kInstMarked | kInstDeactivated | kInstPersistent)) == 0) {
        PerformEventOnInstance(at, at, kEventCleanUp, 0);
      }
      at = next;
    }
  }
}

void Room_Free(CRoom* room, bool cleanUp) {
  if (room == nullptr) return;
  // The layer and tree hooks act on the current room: make this one current while it goes.
  CRoom* const saved = Run_Room;
  Run_Room = room;
  if (cleanUp) Room_CleanUpForFree(room);
  for (CInstanceList* list : {&room->active, &room->inactive}) {
    while (list->head != nullptr) {
      CInstance* head = list->head;
      Instance_Release(room, head);
      if (list->head == head) Room_Unlink(room, head);  // already out of the other tables
    }
  }
  if (generation2()) Layer_FreeRoom(room);
  Run_Room = saved == room ? nullptr : saved;
  delete room;
}

void Room_FreeAll() {
  Room_FreeWorkingCopies();
  for (CRoom* room : Room_Templates) {
    if (room == nullptr) continue;
    if (generation2()) Layer_FreeRoom(room);
    delete room;
  }
  Room_Templates.clear();
  Room_TemplateNames.clear();
  g_codes.clear();
}

void Room_ScrollBackgrounds(CRoom* room) {
  if (room == nullptr) return;
  for (CBackGM* background : room->backgrounds) {
    if (background == nullptr) continue;
    background->x += background->hspeed;
    background->y += background->vspeed;
  }
}

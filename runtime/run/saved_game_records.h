#pragma once
// The records of the saved-game stream and their field lists. Each record names its fields once,
// in stream order, in a `fields` function that the writer and the reader both walk, so the two
// can't drift apart. Shared by saved_game.cpp and saved_game_rooms.cpp only.
#include <array>
#include <optional>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "graphics/particles.h"
#include "run/saved_game_values.h"
#include "world/instance_path.h"
#include "world/layer.h"
#include "world/room.h"

class CInstance;

// Walks a record's fields into the stream.
struct FieldOut {
  SaveWriter* out;
  void operator()(int32_t& v) { out->s32(v); }
  void operator()(uint32_t& v) { out->s32(static_cast<int32_t>(v)); }
  void operator()(bool& v) { out->s32(v ? 1 : 0); }
  void operator()(float& v) { out->f64(v); }
  void operator()(double& v) { out->f64(v); }
  void operator()(std::string& v) { out->text(v); }
};

// Walks a record's fields out of the stream; ok turns false at the first field that isn't there.
struct FieldIn {
  SaveReader* in;
  bool ok = true;
  void operator()(int32_t& v) { ok = ok && in->s32(&v); }
  void operator()(uint32_t& v) {
    int32_t raw = 0;
    ok = ok && in->s32(&raw);
    v = static_cast<uint32_t>(raw);
  }
  void operator()(bool& v) {
    int32_t raw = 0;
    ok = ok && in->s32(&raw);
    v = raw != 0;
  }
  void operator()(float& v) {
    double raw = 0.0;
    ok = ok && in->f64(&raw);
    v = static_cast<float>(raw);
  }
  void operator()(double& v) { ok = ok && in->f64(&v); }
  void operator()(std::string& v) { ok = ok && in->text(&v); }
};

using SavedVariables = std::vector<std::pair<std::string, SavedValue>>;

struct SavedInstance {
  int32_t id = 0;
  int32_t objectIndex = 0;
  uint32_t flags = 0;
  int32_t spriteIndex = -1;
  float imageIndex = 0, imageSpeed = 1, imageXScale = 1, imageYScale = 1, imageAngle = 0, imageAlpha = 1;
  uint32_t imageBlend = 0xFFFFFF;
  float x = 0, y = 0, xstart = 0, ystart = 0, xprevious = 0, yprevious = 0;
  float direction = 0, speed = 0, friction = 0, gravityDirection = 270, gravity = 0, hspeed = 0, vspeed = 0;
  std::array<int32_t, 12> alarm{};
  int32_t layerId = -1;
  int32_t maskIndex = -1;
  float depth = 0, currentDepth = 0;
  int32_t mouseOverState = 2;
  float lastImageNumber = -1;
  float sequencePosition = 0, lastSequencePosition = 0, sequenceSpeed = 1;
  bool hasPath = false;
  InstancePathState path;
  SavedVariables variables;  // read side only; the writer takes them from the instance
};

template <class IO>
void fields(IO& io, SavedInstance& r) {
  io(r.id), io(r.objectIndex), io(r.flags), io(r.spriteIndex);
  io(r.imageIndex), io(r.imageSpeed), io(r.imageXScale), io(r.imageYScale), io(r.imageAngle), io(r.imageAlpha);
  io(r.imageBlend);
  io(r.x), io(r.y), io(r.xstart), io(r.ystart), io(r.xprevious), io(r.yprevious);
  io(r.direction), io(r.speed), io(r.friction), io(r.gravityDirection), io(r.gravity), io(r.hspeed), io(r.vspeed);
  for (int32_t& alarm : r.alarm) io(alarm);
  io(r.layerId), io(r.maskIndex), io(r.depth), io(r.currentDepth), io(r.mouseOverState), io(r.lastImageNumber);
  io(r.sequencePosition), io(r.lastSequencePosition), io(r.sequenceSpeed);
  io(r.hasPath);
  if (!r.hasPath) return;
  InstancePathState& p = r.path;
  io(p.pathIndex), io(p.pathPosition), io(p.pathPositionPrevious), io(p.pathSpeed), io(p.pathScale);
  io(p.pathOrientation), io(p.pathEndAction), io(p.pathOffsetX), io(p.pathOffsetY);
  io(p.timelineIndex), io(p.timelinePrevious), io(p.timelinePosition), io(p.timelineSpeed);
}

// A drawn element of a layer (background, sprite, tile map, tile, sequence): the record of its kind.
// A sequence element's play state is its instance's when one plays on it.
struct SavedElement {
  int32_t kind = 0;
  int32_t id = -1;
  std::string name;
  CLayerBackground background;
  CLayerSpriteElement sprite;
  CLayerTilemapElement tilemap;  // cells stay null here: they are in `cells`
  std::vector<uint32_t> cells;
  CLayerTileElement tile;
  CLayerSequenceElement sequence;  // its instance stays -1 here
};

struct SavedLayer {
  int32_t id = -1;
  std::string name;
  int32_t depth = 0;
  float xOffset = 0, yOffset = 0, hSpeed = 0, vSpeed = 0;
  bool visible = true;
  std::vector<SavedElement> elements;  // follow the fields in the stream
};

template <class IO>
void fields(IO& io, SavedLayer& r) {
  io(r.id), io(r.name), io(r.depth), io(r.xOffset), io(r.yOffset), io(r.hSpeed), io(r.vSpeed), io(r.visible);
}

// A view's camera: where it looks and what it follows. Its update, begin and end scripts follow
// the room's fields in the stream as values (read side only: the writer takes them from the camera).
struct SavedCamera {
  bool present = false;
  float viewX = 0, viewY = 0, viewW = 0, viewH = 0, speedX = 0, speedY = 0, borderX = 0, borderY = 0, angle = 0;
  int32_t target = -1;
  std::array<SavedValue, 3> scripts;  // update, begin, end
};

template <class IO>
void fields(IO& io, SavedCamera& r) {
  io(r.present);
  if (!r.present) return;
  io(r.viewX), io(r.viewY), io(r.viewW), io(r.viewH), io(r.speedX), io(r.speedY), io(r.borderX), io(r.borderY);
  io(r.angle), io(r.target);
}

template <class IO>
void fields(IO& io, CBackGM& r) {
  io(r.visible), io(r.foreground), io(r.index), io(r.x), io(r.y), io(r.htiled), io(r.vtiled), io(r.hspeed);
  io(r.vspeed), io(r.xscale), io(r.yscale), io(r.blend), io(r.alpha);
}

template <class IO>
void fields(IO& io, CViewGM& r) {
  io(r.visible), io(r.x), io(r.y), io(r.w), io(r.h), io(r.portX), io(r.portY), io(r.portW), io(r.portH), io(r.angle);
  io(r.hborder), io(r.vborder), io(r.hspeed), io(r.vspeed), io(r.object), io(r.surfaceId);
}

struct SavedRoom {
  bool stored = false;
  std::string caption;
  int32_t speed = 30, width = 640, height = 480;
  bool persistent = false;
  uint32_t colour = 0;
  bool showColour = true, enableViews = false, clearViewBackground = false, clearDisplayBuffer = true;
  std::array<CBackGM, kRoomBackgroundCount> backgrounds;
  std::array<CViewGM, kRoomViewCount> views;
  std::array<SavedCamera, kRoomViewCount> cameras;
  std::vector<SavedLayer> layers;
  std::vector<SavedInstance> instances;  // the active list in order, then the inactive list
};

template <class IO>
void fields(IO& io, SavedRoom& r) {
  io(r.caption), io(r.speed), io(r.width), io(r.height), io(r.persistent), io(r.colour), io(r.showColour);
  io(r.enableViews), io(r.clearViewBackground), io(r.clearDisplayBuffer);
  for (CBackGM& background : r.backgrounds) fields(io, background);
  for (size_t i = 0; i < r.views.size(); ++i) {
    fields(io, r.views[i]);
    fields(io, r.cameras[i]);
  }
}

// ---- Layer elements (saved_game_elements.cpp) ------------------------------------------------------
// The layer's drawn elements: a count, then each element's kind, id, name and record.
void SavedElements_Write(SaveWriter* out, const CLayer* layer);
bool SavedElements_Read(SaveReader* in, std::vector<SavedElement>* elements);
// The room's drawn elements become the saved ones (its layers already stand as saved).
void SavedElements_Apply(CRoom* room, const std::vector<SavedLayer>& layers);

// ---- Rooms (saved_game_rooms.cpp) -----------------------------------------------------------------
// Writes the room count and every room's flag and record.
void SavedRooms_Write(SaveWriter* out);
// Reads them; false for a damaged stream.
bool SavedRooms_Read(SaveReader* in, std::vector<SavedRoom>* rooms);
// The instances made by a load, by id, for the values that refer to them.
using SavedInstanceMap = std::unordered_map<int32_t, CInstance*>;
// Ends the running rooms without events and builds every stored room from the records, current
// last and taken up. Gives the highest layer and instance ids that now exist.
void SavedRooms_Build(const std::vector<SavedRoom>& rooms, int32_t current, SavedInstanceMap* made,
                      int32_t* highest_layer, uint32_t* highest_instance);
// Gives every made instance its saved variables, and the built rooms' cameras their scripts.
void SavedRooms_AssignVariables(const std::vector<SavedRoom>& rooms, const SavedInstanceMap& made,
                                SaveBuilder* builder);

// ---- Particles (saved_game_particles.cpp) -----------------------------------------------------------
// The particle types and systems with their emitters and live particles, and where each system
// stands: the name of its layer (empty for an automatic one) and its depth.
struct SavedParticles {
  std::vector<std::optional<ParticleType>> types;  // by id; empty entries keep their ids
  std::vector<std::optional<ParticleSystem>> systems;
};
void SavedParticles_Write(SaveWriter* out);
bool SavedParticles_Read(SaveReader* in, SavedParticles* particles);
// Replaces the tables with the saved ones; the systems take their layers when the room resumes.
void SavedParticles_Apply(SavedParticles particles);

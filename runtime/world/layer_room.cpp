// A room's layers over its life: built from the file's records for a template, copied into a
// working copy, started and released with the room, freed with it; and the step's animation.
#include <cmath>
#include <cstring>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/frame_state.h"
#include "core/object.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "graphics/asset_backgrounds.h"
#include "graphics/asset_sprites.h"
#include "world/asset_rooms.h"
#include "world/asset_sequences.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/layer_internal.h"
#include "world/room.h"

namespace {

CLayer* new_file_layer(CRoom* room, const RoomLayerAsset& record) {
  CLayer* layer = Layer_TakeNode();
  layer->id = record.id;
  layer->depth = record.depth;
  layer->xOffset = record.xOffset;
  layer->yOffset = record.yOffset;
  layer->hSpeed = record.hSpeed;
  layer->vSpeed = record.vSpeed;
  layer->visible = record.visible;
  layer->effectEnabled = record.effectEnabled;
  layer->effectEnabledPending = record.effectEnabled;
  if (record.name != nullptr) layer->name = record.name;
  Layer_LinkSorted(room, layer);
  return layer;
}

// What tile, sprite and sequence elements all take from their file record: position, scale,
// blend colour and alpha.
template <class Element, class Asset>
void copy_placement(Element* element, const Asset& from) {
  element->x = static_cast<float>(from.x);
  element->y = static_cast<float>(from.y);
  element->xscale = from.xscale;
  element->yscale = from.yscale;
  element->blend = from.blend;
  element->alpha = from.alpha;
}

void add_file_elements(CRoom* room, CLayer* layer, const RoomLayerAsset& record) {
  switch (record.kind) {
    case 1: {
      auto* element = static_cast<CLayerBackgroundElement*>(Layer_NewElement(kLayerElementBackground));
      auto* background = new CLayerBackground;
      const LayerBackgroundAsset& from = record.background;
      background->visible = from.visible;
      background->foreground = from.foreground;
      background->spriteIndex = from.spriteIndex;
      background->htiled = from.htiled;
      background->vtiled = from.vtiled;
      background->stretch = from.stretch;
      background->blend = from.blend;
      background->alpha = from.alpha;
      background->imageIndex = from.imageIndex;
      background->speed = from.speed;
      background->speedType = from.speedType;
      element->background = background;
      Layer_AddElement(room, layer, element);
      break;
    }
    case 2:
      for (int32_t id : record.instance_ids) {
        auto* element = static_cast<CLayerInstanceElement*>(Layer_NewElement(kLayerElementInstance));
        element->instanceId = id;
        Layer_AddElement(room, layer, element);
      }
      break;
    case 3:
      for (const RoomTileAsset& tile : record.tiles) {
        auto* element = static_cast<CLayerTileElement*>(Layer_NewElement(kLayerElementTile));
        element->spriteIndex = tile.spriteIndex;
        copy_placement(element, tile);
        element->xo = tile.left;
        element->yo = tile.top;
        element->w = tile.width;
        element->h = tile.height;
        Layer_AddElement(room, layer, element);
      }
      for (const LayerSpriteAsset& sprite : record.sprites) {
        auto* element = static_cast<CLayerSpriteElement*>(Layer_NewElement(kLayerElementSprite));
        if (sprite.name != nullptr) element->name = sprite.name;
        element->spriteIndex = sprite.index;
        copy_placement(element, sprite);
        element->imageSpeed = sprite.speed;
        element->speedType = sprite.speedType;
        element->imageIndex = sprite.position;
        element->sequencePosition = sprite.position;
        element->angle = sprite.angle;
        Layer_AddElement(room, layer, element);
      }
      for (const LayerSequenceAsset& sequence : record.sequences) {
        auto* element = static_cast<CLayerSequenceElement*>(Layer_NewElement(kLayerElementSequence));
        if (sequence.name != nullptr) element->name = sequence.name;
        element->sequenceIndex = sequence.index;
        copy_placement(element, sequence);
        element->speed = sequence.speed;
        element->speedType = sequence.speedType;
        element->headPosition = sequence.position;
        element->angle = sequence.angle;
        Layer_AddElement(room, layer, element);
      }
      break;
    case 4: {
      const LayerTileMapAsset& map = record.tile_map;
      if (map.tileSet < 0) break;
      auto* element = static_cast<CLayerTilemapElement*>(Layer_NewElement(kLayerElementTilemap));
      element->tileSet = map.tileSet;
      element->width = map.width > 0 ? map.width : 0;
      element->height = map.height > 0 ? map.height : 0;
      const size_t count = static_cast<size_t>(element->width) * static_cast<size_t>(element->height);
      if (count > 0) {
        // The file's cells stay untouched: a running room edits its own copy.
        element->cells = new uint32_t[count];
        if (map.cells != nullptr) {
          std::memcpy(element->cells, map.cells, count * sizeof(uint32_t));
        } else {
          std::memset(element->cells, 0, count * sizeof(uint32_t));
        }
      }
      Layer_AddElement(room, layer, element);
      break;
    }
    default:
      break;
  }
}

CLayerElementBase* copy_element(const CLayerElementBase* from) {
  CLayerElementBase* to = Layer_NewElement(from->kind);
  if (to == nullptr) return nullptr;
  switch (from->kind) {
    case kLayerElementBackground: {
      auto* element = static_cast<CLayerBackgroundElement*>(to);
      *element = *static_cast<const CLayerBackgroundElement*>(from);
      if (element->background != nullptr) element->background = new CLayerBackground(*element->background);
      break;
    }
    case kLayerElementInstance: {
      auto* element = static_cast<CLayerInstanceElement*>(to);
      *element = *static_cast<const CLayerInstanceElement*>(from);
      element->instance = nullptr;
      break;
    }
    case kLayerElementSprite: *static_cast<CLayerSpriteElement*>(to) = *static_cast<const CLayerSpriteElement*>(from); break;
    case kLayerElementTilemap: {
      auto* element = static_cast<CLayerTilemapElement*>(to);
      *element = *static_cast<const CLayerTilemapElement*>(from);
      const size_t count = static_cast<size_t>(element->width) * static_cast<size_t>(element->height);
      element->cells = nullptr;
      if (count > 0 && static_cast<const CLayerTilemapElement*>(from)->cells != nullptr) {
        element->cells = new uint32_t[count];
        std::memcpy(element->cells, static_cast<const CLayerTilemapElement*>(from)->cells, count * sizeof(uint32_t));
      }
      break;
    }
    case kLayerElementParticleSystem:
      *static_cast<CLayerParticleElement*>(to) = *static_cast<const CLayerParticleElement*>(from);
      break;
    case kLayerElementTile: *static_cast<CLayerTileElement*>(to) = *static_cast<const CLayerTileElement*>(from); break;
    case kLayerElementSequence: {
      auto* element = static_cast<CLayerSequenceElement*>(to);
      *element = *static_cast<const CLayerSequenceElement*>(from);
      element->instance = -1;
      break;
    }
    default:
      break;
  }
  to->live = false;
  to->layer = nullptr;
  to->next = nullptr;
  to->previous = nullptr;
  return to;
}

double game_speed() {
  if (Run_UseGameTimer || Layer_Generation2()) return GameTimer_GetSpeed(Run_GameTimer, 0);
  return Run_RoomSpeed;
}

float wrap_frames(float index, float count) {
  if (count <= 0.0f) return index;
  if (index >= count) index -= count;
  if (index < 0.0f) index += count;
  return index;
}

// The sequences that sprites carry, parsed on first use; null for a sprite without one.
std::unordered_map<const uint8_t*, std::unique_ptr<SequenceAsset>>& sprite_sequences() {
  static std::unordered_map<const uint8_t*, std::unique_ptr<SequenceAsset>> cache;
  return cache;
}

const SequenceAsset* sprite_sequence(const SpriteAsset* sprite) {
  if (sprite->sequence == nullptr || GameData_Image() == nullptr) return nullptr;
  auto& cache = sprite_sequences();
  auto found = cache.find(sprite->sequence);
  if (found != cache.end()) return found->second.get();
  auto sequence = std::make_unique<SequenceAsset>();
  const auto offset = static_cast<uint32_t>(sprite->sequence - GameData_Image());
  if (!SequenceAsset_Read(offset, "SPRT", sequence.get())) sequence.reset();
  const SequenceAsset* result = sequence.get();
  cache.emplace(sprite->sequence, std::move(sequence));
  return result;
}

// The head wrap of a sequence's loop mode: 0 clamps, 1 loops, 2 goes back and forth.
void wrap_head(const SequenceAsset& sequence, float* head, float* direction) {
  const float length = sequence.length;
  if (length <= 0.0f) {
    *head = 0.0f;
    return;
  }
  float h = *head;
  if (sequence.loopmode == 0) {
    if (h < 0.0f) h = 0.0f;
    if (h > length) h = length;
  } else if (h < 0.0f || h >= length) {
    if (sequence.loopmode == 1) {
      h = std::fmod(h, length);
      if (h < 0.0f) h += length;
    } else {
      if (h < 0.0f) h = -h;
      const float r = std::fmod(h, length);
      const auto k = static_cast<int64_t>(h / length);
      if ((k & 1) != 0) {
        h = length - r;
        *direction = -1.0f;
      } else {
        h = r;
        *direction = 1.0f;
      }
    }
  }
  *head = h;
}

// The image index a sprite frames track shows at the position; false when the sequence has none.
bool frame_at(const SequenceAsset& sequence, float position, int32_t* image) {
  if (sequence.tracks.empty() || sequence.tracks[0].type != datawin::seqn::kTrackSpriteFrames) return false;
  const std::vector<SequenceKeyframeAsset>& keys = sequence.tracks[0].keyframes;
  if (keys.empty()) return false;
  size_t low = 0, high = keys.size();
  while (low < high) {
    const size_t mid = (low + high) / 2;
    if (keys[mid].frame <= position) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  if (low == 0) return false;
  const SequenceKeyframeAsset& key = keys[low - 1];
  const bool inside = position < key.frame + key.length;
  const bool last_at_end = low == keys.size() && key.frame + key.length == sequence.length && position >= sequence.length;
  if ((!inside && !last_at_end) || key.channels.empty()) return false;
  *image = key.channels[0].imageIndex;
  return true;
}

void animate_sprite(CLayerSpriteElement* element, double fps) {
  const SpriteAsset* sprite = Sprite_Get(element->spriteIndex);
  if (sprite == nullptr) return;
  if (const SequenceAsset* sequence = sprite_sequence(sprite)) {
    const double rate = sprite->speed_type == 1 ? 1.0 : fps;
    if (rate != 0.0) {
      element->sequencePosition +=
          static_cast<float>(sprite->speed / rate) * element->sequenceDirection * element->imageSpeed;
    }
    wrap_head(*sequence, &element->sequencePosition, &element->sequenceDirection);
    int32_t image = 0;
    if (frame_at(*sequence, element->sequencePosition, &image)) element->imageIndex = static_cast<float>(image);
    return;
  }
  if (element->speedType == 1) {
    element->imageIndex += element->imageSpeed;
  } else if (fps != 0.0) {
    element->imageIndex += static_cast<float>((sprite->speed * element->imageSpeed) / fps);
  }
  element->imageIndex = wrap_frames(element->imageIndex, static_cast<float>(sprite->frame_count));
}

void animate_background(CLayerBackground* background, double fps) {
  if (background->speedType == 1) {
    background->imageIndex += background->speed;
  } else if (fps > 0.0) {
    background->imageIndex += static_cast<float>(background->speed / fps);
  }
  const SpriteAsset* sprite = Sprite_Get(background->spriteIndex);
  if (sprite != nullptr) background->imageIndex = wrap_frames(background->imageIndex, static_cast<float>(sprite->frame_count));
}

void animate_tilemap(CLayerTilemapElement* element, double fps) {
  const BackgroundAsset* tiles = Background_Get(element->tileSet);
  if (tiles == nullptr || tiles->frame_time == 0 || fps <= 0.0 || tiles->frames_per_tile <= 0) return;
  element->frame += static_cast<float>((1000000.0 / static_cast<double>(tiles->frame_time)) / fps);
  element->frame = std::fmod(element->frame, static_cast<float>(tiles->frames_per_tile));
}

void release_element_state(CRoom* room, CLayerElementBase* element) {
  element->live = false;
  if (element->kind == kLayerElementSequence) {
    auto* sequence = static_cast<CLayerSequenceElement*>(element);
    if (sequence->instance >= 0 && g_LayerElementHooks.sequenceDestroy != nullptr) {
      g_LayerElementHooks.sequenceDestroy(sequence->instance);
    }
    sequence->instance = -1;
  } else if (element->kind == kLayerElementParticleSystem) {
    auto* system = static_cast<CLayerParticleElement*>(element);
    if (system->systemId >= 0 && g_LayerElementHooks.particleDetach != nullptr) {
      g_LayerElementHooks.particleDetach(system->systemId);
    }
  } else if (element->kind == kLayerElementInstance) {
    // The element stays for the instance's return; the instance keeps its layerId.
    auto* ie = static_cast<CLayerInstanceElement*>(element);
    if (ie->instance != nullptr) ie->instance->flags &= ~kInstHasLayerElement;
    ie->instance = nullptr;
    if (room->instanceElementMap != nullptr) room->instanceElementMap->Insert(ie->instanceId, element);
  }
}

}  // namespace

void Layer_BuildFromAsset(CRoom* room, const RoomAsset& asset) {
  if (room == nullptr) return;
  for (const RoomLayerAsset& record : asset.layers) {
    CLayer* layer = new_file_layer(room, record);
    add_file_elements(room, layer, record);
  }
  // A room with a sequence list gets its "Sequence" layer even when no entry names a sequence.
  if (asset.sequences.empty()) return;
  CLayer* sequences = Layer_Create(room, 0, "Sequence");
  for (int32_t index : asset.sequences) {
    if (SequenceAsset_Get(index) == nullptr) continue;
    auto* element = static_cast<CLayerSequenceElement*>(Layer_NewElement(kLayerElementSequence));
    element->sequenceIndex = index;
    Layer_AddElement(room, sequences, element);
  }
}

void Layer_CopyRoom(CRoom* dest, const CRoom* source) {
  if (dest == nullptr || source == nullptr) return;
  for (const CLayer* from = source->layersHead; from != nullptr; from = from->next) {
    CLayer* layer = Layer_TakeNode();
    layer->id = from->id;
    layer->depth = from->depth;
    layer->xOffset = from->xOffset;
    layer->yOffset = from->yOffset;
    layer->hSpeed = from->hSpeed;
    layer->vSpeed = from->vSpeed;
    layer->visible = from->visible;
    layer->managed = from->managed;
    layer->name = from->name;
    RV_Assign(&layer->beginScript, &from->beginScript);
    RV_Assign(&layer->endScript, &from->endScript);
    Layer_HoldObject(RV_ObjectOf(layer->beginScript));
    Layer_HoldObject(RV_ObjectOf(layer->endScript));
    Layer_HoldObject(static_cast<KVObjectBase*>(from->effect));
    layer->effectEnabled = from->effectEnabled;
    layer->effectEnabledPending = from->effectEnabledPending;
    layer->effect = from->effect;
    layer->shader = from->shader;
    Layer_LinkSorted(dest, layer);
    // Walk the source tail to head only for the order rule's sake: copies keep the source order.
    for (const CLayerElementBase* element = from->elementsHead; element != nullptr; element = element->next) {
      CLayerElementBase* copy = copy_element(element);
      if (copy == nullptr) continue;
      copy->layer = layer;
      copy->previous = layer->elementsTail;
      if (layer->elementsTail != nullptr) {
        layer->elementsTail->next = copy;
      } else {
        layer->elementsHead = copy;
      }
      layer->elementsTail = copy;
      ++layer->elementCount;
      ElementMap_Of(dest).Insert(copy->id, copy);
      if (copy->kind == kLayerElementInstance) {
        InstanceMap_Of(dest).Insert(static_cast<CLayerInstanceElement*>(copy)->instanceId, copy);
      }
    }
  }
}

void Layer_RoomStart(CRoom* room) {
  if (room == nullptr) return;
  Layer_MarkRoomStarted(room);
  for (CLayer* layer = room->layersHead; layer != nullptr;) {
    CLayer* next_layer = layer->next;
    for (CLayerElementBase* element = layer->elementsHead; element != nullptr;) {
      CLayerElementBase* next = element->next;
      Layer_StartElement(room, element);
      element = next;
    }
    layer = next_layer;
  }
  // Instances without a layer are placed in the order of the id table. The table is shared by
  // every room, so only those that stand on this room's lists are taken; the flag is read before
  // any placement, since a placement can only set it on the instance placed.
  std::unordered_set<CInstance*> in_room;
  for (CInstance* at = room->active.head; at != nullptr; at = at->next) in_room.insert(at);
  for (CInstance* at = room->inactive.head; at != nullptr; at = at->next) in_room.insert(at);
  std::vector<CInstance*> loose;
  for (CInstance* instance : Instance_IdTableInOrder()) {
    if (in_room.count(instance) != 0 && (instance->flags & kInstHasLayerElement) == 0) loose.push_back(instance);
  }
  for (CInstance* instance : loose) Layer_AddInstanceByDepth(room, instance);
}

void Layer_RoomEnd(CRoom* room) {
  if (room == nullptr) return;
  for (CLayer* layer = room->layersHead; layer != nullptr; layer = layer->next) {
    for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
      release_element_state(room, element);
    }
  }
  Layer_ForgetRoom(room);
}

void Layer_FreeRoom(CRoom* room) {
  if (room == nullptr) return;
  for (CLayer* layer = room->layersHead; layer != nullptr;) {
    CLayer* next_layer = layer->next;
    for (CLayerElementBase* element = layer->elementsHead; element != nullptr;) {
      CLayerElementBase* next = element->next;
      // Instances are not touched: by now they have left or been handed to the collector.
      if (element->kind != kLayerElementInstance) release_element_state(room, element);
      if (element->kind == kLayerElementBackground) delete static_cast<CLayerBackgroundElement*>(element)->background;
      if (element->kind == kLayerElementTilemap) delete[] static_cast<CLayerTilemapElement*>(element)->cells;
      Layer_FreeElementNode(element);
      element = next;
    }
    Layer_FreeNode(layer);
    layer = next_layer;
  }
  room->layersHead = nullptr;
  room->layersTail = nullptr;
  room->layerCount = 0;
  room->lastElement = nullptr;
  delete room->layerIdMap;
  delete room->elementIdMap;
  delete room->instanceElementMap;
  room->layerIdMap = nullptr;
  room->elementIdMap = nullptr;
  room->instanceElementMap = nullptr;
  Layer_ForgetRoom(room);
}

namespace {

// Whether an instance element from `from` up to `to` holds an instance on the inactive list.
bool inactive_instance_between(const CLayerElementBase* from, const CLayerElementBase* to) {
  for (const CLayerElementBase* element = from; element != nullptr && element != to; element = element->next) {
    if (element->kind != kLayerElementInstance) continue;
    const CInstance* instance = static_cast<const CLayerInstanceElement*>(element)->instance;
    if (instance != nullptr && (instance->flags & kInstOnInactiveList) != 0) return true;
  }
  return false;
}

}  // namespace

void Layer_Animate(CRoom* room) {
  if (room == nullptr) return;
  const double fps = game_speed();
  for (CLayer* layer = room->layersHead; layer != nullptr; layer = layer->next) {
    layer->xOffset += layer->hSpeed;
    layer->yOffset += layer->vSpeed;
    // An inactive instance ends the walk of its layer. The instances are looked at only when an
    // element behind them animates, so a layer of instances alone costs no visit to each.
    const CLayerElementBase* unchecked = nullptr;  // the first instance element not looked at
    for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
      if (element->kind == kLayerElementInstance) {
        if (unchecked == nullptr) unchecked = element;
        continue;
      }
      if (element->kind != kLayerElementBackground && element->kind != kLayerElementSprite &&
          element->kind != kLayerElementTilemap) {
        continue;
      }
      if (unchecked != nullptr && inactive_instance_between(unchecked, element)) break;
      unchecked = nullptr;
      switch (element->kind) {
        case kLayerElementBackground: {
          auto* background = static_cast<CLayerBackgroundElement*>(element)->background;
          if (background != nullptr) animate_background(background, fps);
          break;
        }
        case kLayerElementSprite: animate_sprite(static_cast<CLayerSpriteElement*>(element), fps); break;
        case kLayerElementTilemap: {
          auto* map = static_cast<CLayerTilemapElement*>(element);
          if (map->tileSet >= 0) animate_tilemap(map, fps);
          break;
        }
        default:
          break;
      }
    }
  }
}

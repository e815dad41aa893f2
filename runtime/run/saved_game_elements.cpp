// The drawn elements of a saved layer: backgrounds, sprites, tile maps with their cells, tiles and
// sequences with their play state. Instances have their own records; particle systems are saved
// with their tables and put on their layers again when the room resumes.
#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <utility>

#include "run/saved_game_records.h"
#include "world/layer.h"
#include "world/sequence_instance.h"

namespace {

bool saved_kind(int32_t kind) {
  switch (kind) {
    case kLayerElementBackground:
    case kLayerElementSprite:
    case kLayerElementTilemap:
    case kLayerElementTile:
    case kLayerElementSequence:
      return true;
    default:
      return false;
  }
}

template <class IO>
void fields(IO& io, CLayerBackground& r) {
  io(r.visible), io(r.foreground), io(r.spriteIndex), io(r.htiled), io(r.vtiled), io(r.xscale), io(r.yscale);
  io(r.stretch), io(r.blend), io(r.alpha), io(r.imageIndex), io(r.speed), io(r.speedType);
}

template <class IO>
void fields(IO& io, CLayerSpriteElement& r) {
  io(r.spriteIndex), io(r.sequencePosition), io(r.sequenceDirection), io(r.imageIndex), io(r.imageSpeed);
  io(r.speedType), io(r.xscale), io(r.yscale), io(r.angle), io(r.blend), io(r.alpha), io(r.x), io(r.y);
}

template <class IO>
void fields(IO& io, CLayerTilemapElement& r) {
  io(r.tileSet), io(r.x), io(r.y), io(r.width), io(r.height), io(r.frame), io(r.tileMask);
}

template <class IO>
void fields(IO& io, CLayerTileElement& r) {
  io(r.spriteIndex), io(r.x), io(r.y), io(r.xo), io(r.yo), io(r.w), io(r.h), io(r.xscale), io(r.yscale);
  io(r.blend), io(r.alpha), io(r.visible);
}

template <class IO>
void fields(IO& io, CLayerSequenceElement& r) {
  io(r.sequenceIndex), io(r.speed), io(r.speedType), io(r.xscale), io(r.yscale), io(r.angle), io(r.blend);
  io(r.alpha), io(r.x), io(r.y), io(r.headPosition), io(r.headDirection), io(r.paused);
}

// A sequence element as it plays: the head, direction, speed and pause of its instance.
CLayerSequenceElement sequence_state(const CLayerSequenceElement& element) {
  CLayerSequenceElement state = element;
  if (const CSequenceInstance* playing = SequenceInstance_OfElement(&element)) {
    state.headPosition = playing->headPosition;
    state.headDirection = playing->headDirection;
    state.speed = playing->speedScale;
    state.paused = playing->paused;
  }
  state.instance = -1;
  return state;
}

// Copies the drawn state of source over target, keeping target's place (id, name, layer, links).
template <class T>
void copy_state(T* target, const T& source) {
  const CLayerElementBase place = *target;
  *target = source;
  static_cast<CLayerElementBase&>(*target) = place;
}

void apply_state(CLayerElementBase* element, const SavedElement& saved) {
  switch (element->kind) {
    case kLayerElementBackground: {
      auto* background = static_cast<CLayerBackgroundElement*>(element);
      if (background->background == nullptr) background->background = new CLayerBackground;
      *background->background = saved.background;
      break;
    }
    case kLayerElementSprite:
      copy_state(static_cast<CLayerSpriteElement*>(element), saved.sprite);
      break;
    case kLayerElementTile:
      copy_state(static_cast<CLayerTileElement*>(element), saved.tile);
      break;
    case kLayerElementSequence: {
      // The element stands in a room that isn't running: the room's start plays it from this state.
      auto* sequence = static_cast<CLayerSequenceElement*>(element);
      const int32_t instance = sequence->instance;
      copy_state(sequence, saved.sequence);
      sequence->instance = instance;
      break;
    }
    case kLayerElementTilemap: {
      auto* map = static_cast<CLayerTilemapElement*>(element);
      uint32_t* old_cells = map->cells;
      copy_state(map, saved.tilemap);
      delete[] old_cells;
      map->cells = nullptr;
      if (!saved.cells.empty()) {
        map->cells = new uint32_t[saved.cells.size()];
        std::memcpy(map->cells, saved.cells.data(), saved.cells.size() * sizeof(uint32_t));
      }
      break;
    }
    default:
      break;
  }
}

}  // namespace

void SavedElements_Write(SaveWriter* out, const CLayer* layer) {
  int32_t count = 0;
  for (const CLayerElementBase* at = layer->elementsHead; at != nullptr; at = at->next) count += saved_kind(at->kind);
  out->s32(count);
  FieldOut io{out};
  for (CLayerElementBase* at = layer->elementsHead; at != nullptr; at = at->next) {
    if (!saved_kind(at->kind)) continue;
    out->s32(at->kind);
    out->s32(at->id);
    out->text(at->name);
    switch (at->kind) {
      case kLayerElementBackground: {
        auto* background = static_cast<CLayerBackgroundElement*>(at);
        CLayerBackground state = background->background != nullptr ? *background->background : CLayerBackground{};
        fields(io, state);
        break;
      }
      case kLayerElementSprite:
        fields(io, *static_cast<CLayerSpriteElement*>(at));
        break;
      case kLayerElementTile:
        fields(io, *static_cast<CLayerTileElement*>(at));
        break;
      case kLayerElementSequence: {
        CLayerSequenceElement state = sequence_state(*static_cast<CLayerSequenceElement*>(at));
        fields(io, state);
        break;
      }
      case kLayerElementTilemap: {
        auto* map = static_cast<CLayerTilemapElement*>(at);
        fields(io, *map);
        const int64_t cells = map->cells != nullptr ? static_cast<int64_t>(map->width) * map->height : 0;
        out->s32(static_cast<int32_t>(cells));
        for (int64_t i = 0; i < cells; ++i) out->s32(static_cast<int32_t>(map->cells[i]));
        break;
      }
      default:
        break;
    }
  }
}

bool SavedElements_Read(SaveReader* in, std::vector<SavedElement>* elements) {
  int32_t count = 0;
  if (!in->count(&count, 9)) return false;
  elements->resize(static_cast<size_t>(count));
  FieldIn io{in};
  for (SavedElement& element : *elements) {
    if (!in->s32(&element.kind) || !saved_kind(element.kind) || !in->s32(&element.id) || !in->text(&element.name)) {
      return false;
    }
    switch (element.kind) {
      case kLayerElementBackground:
        fields(io, element.background);
        break;
      case kLayerElementSprite:
        fields(io, element.sprite);
        break;
      case kLayerElementTile:
        fields(io, element.tile);
        break;
      case kLayerElementSequence:
        fields(io, element.sequence);
        break;
      case kLayerElementTilemap: {
        fields(io, element.tilemap);
        int32_t cells = 0;
        if (!io.ok || !in->count(&cells, 4)) return false;
        if (cells != 0 && (element.tilemap.width < 0 || element.tilemap.height < 0 ||
                           static_cast<int64_t>(element.tilemap.width) * element.tilemap.height != cells)) {
          return false;
        }
        element.cells.resize(static_cast<size_t>(cells));
        for (uint32_t& cell : element.cells) io(cell);
        break;
      }
      default:
        return false;
    }
    if (!io.ok) return false;
  }
  return true;
}

void SavedElements_Apply(CRoom* room, const std::vector<SavedLayer>& layers) {
  // Drawn elements the game removed since the room began go; the others take their saved state,
  // moved onto their saved layer if the game moved them, or made again under their ids.
  std::unordered_set<int32_t> kept;
  for (const SavedLayer& layer : layers) {
    for (const SavedElement& s : layer.elements) kept.insert(s.id);
  }
  std::vector<std::pair<CLayer*, CLayerElementBase*>> gone;
  for (CLayer* layer = room->layersHead; layer != nullptr; layer = layer->next) {
    for (CLayerElementBase* at = layer->elementsHead; at != nullptr; at = at->next) {
      if (saved_kind(at->kind) && kept.count(at->id) == 0) gone.emplace_back(layer, at);
    }
  }
  for (const auto& [layer, element] : gone) Layer_RemoveElement(room, layer, element, false);
  for (const SavedLayer& saved : layers) {
    CLayer* layer = Layer_Find(room, saved.id);
    if (layer == nullptr) continue;
    for (const SavedElement& s : saved.elements) {
      CLayerElementBase* element = Layer_FindElement(room, s.id, s.kind);
      if (element != nullptr && element->layer != layer) Layer_MoveElement(room, element, layer);
      if (element == nullptr) {
        element = Layer_NewElement(s.kind);
        if (element == nullptr) continue;
        element->name = s.name;
        const int32_t counter = ElementIdCounter;
        ElementIdCounter = s.id;
        Layer_AddElement(room, layer, element);
        ElementIdCounter = std::max(counter, s.id + 1);
      }
      apply_state(element, s);
    }
  }
}

// The drawing walks over the layers: instance events, default drawing and, in the Draw event's
// walk, the layers' other elements.
#include <cmath>

#include "core/call.h"
#include "core/console.h"
#include "core/frame_state.h"
#include "core/object.h"
#include "graphics/batcher.h"
#include "graphics/particles.h"
#include "graphics/sprite_draw.h"
#include "graphics/tile_draw.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_prefetch.h"
#include "world/layer.h"
#include "world/layer_internal.h"
#include "world/object_type.h"
#include "world/room.h"
#include "world/room_draw.h"
#include "world/tilemap.h"

namespace {

constexpr int32_t kDrawNormal = 0;
// Visible, and neither marked, deactivated nor waiting for a delayed destroy.
constexpr uint32_t kDrawTestMask = kInstNotLiveMask | kInstVisible;

struct Walk {
  int32_t subtype = 0;
  bool draw_all = false;  // the Draw event: elements and default drawing too
  void (*before_first)() = nullptr;
  bool ran = false;
  // The event of the last object seen: a run of instances of one object looks it up once.
  const CObjectTV* seen_object = nullptr;
  const CEvent* seen_event = nullptr;
};

void dispatch(Walk& walk, CInstance* instance, const CEvent* event) {
  if (!walk.ran && walk.before_first != nullptr) walk.before_first();
  walk.ran = true;
  PerformEventFound(instance, event, kEventDraw, walk.subtype);
}

// An instance of the walk: its event, or for Draw its default drawing.
void visit(Walk& walk, CInstance* instance) {
  if ((instance->flags & kDrawTestMask) != kInstVisible) return;
  const CObjectTV* object = instance->object;
  if (object != walk.seen_object) {
    walk.seen_object = object;
    walk.seen_event = object != nullptr ? object->FindEvent(kEventDraw, walk.subtype) : nullptr;
  }
  const CEvent* event = walk.seen_event;
  if (event != nullptr) {
    dispatch(walk, instance, event);
  } else if (walk.draw_all) {
    Draw_InstanceDefault(instance);
  }
}

// A layer's begin or end script, on the global object, when it names something callable.
void run_layer_script(const RValue& script) {
  if (!Call_IsCallable(script)) return;
  RValue method = script;
  RValue result = RV_Undefined();
  CInstance* global = KV_AsInstance(Object_Global());
  CallMethod(global, global, &result, 0, &method, nullptr);
  RV_FreeToUndefined(&result);
}

uint32_t colour_of(uint32_t blend) { return blend & 0xFFFFFFu; }

void draw_element(const CLayer& layer, const CLayerElementBase* element) {
  switch (element->kind) {
    case kLayerElementBackground: {
      const CLayerBackground* b = static_cast<const CLayerBackgroundElement*>(element)->background;
      if (b == nullptr || !b->visible) return;
      BackgroundDraw draw;
      draw.sprite = b->spriteIndex;
      draw.imageIndex = b->imageIndex;
      draw.x = layer.xOffset;
      draw.y = layer.yOffset;
      draw.htiled = b->htiled;
      draw.vtiled = b->vtiled;
      draw.stretch = b->stretch;
      draw.xscale = b->xscale;
      draw.yscale = b->yscale;
      draw.colour = colour_of(b->blend);
      draw.alpha = b->alpha;
      const CRoom* room = Run_Room;
      Background_DrawLayer(draw, room != nullptr ? static_cast<float>(room->width) : 0.0f,
                           room != nullptr ? static_cast<float>(room->height) : 0.0f);
      return;
    }
    case kLayerElementSprite: {
      const auto* s = static_cast<const CLayerSpriteElement*>(element);
      const CSprite* sprite = Sprite_Data(s->spriteIndex);
      if (sprite == nullptr) return;
      if (!sprite->Draw(s->imageIndex, s->x + layer.xOffset, s->y + layer.yOffset, s->xscale, s->yscale, s->angle,
                        colour_of(s->blend), s->alpha)) {
        g_ReleaseConsole->Output("Error attempting to draw sprite %s\n", sprite->name.c_str());
      }
      return;
    }
    case kLayerElementTilemap: {
      const auto* map = static_cast<const CLayerTilemapElement*>(element);
      Tilemap_Draw(map->tileSet, map->cells, map->width, map->height, map->tileMask & Tilemap_GlobalMask, map->frame,
                   map->x + layer.xOffset, map->y + layer.yOffset);
      return;
    }
    case kLayerElementTile: {
      const auto* tile = static_cast<const CLayerTileElement*>(element);
      const CSprite* sprite = Sprite_Data(tile->spriteIndex);
      if (!tile->visible || sprite == nullptr) return;
      uint32_t colours[4];
      GR_Corner_Colours(colour_of(tile->blend), tile->alpha, colours);
      Sprite_DrawPart(*sprite, 0.0f, static_cast<float>(tile->xo), static_cast<float>(tile->yo),
                      static_cast<float>(tile->w), static_cast<float>(tile->h), tile->x + layer.xOffset,
                      tile->y + layer.yOffset, tile->xscale, tile->yscale, 0.0f, colours);
      return;
    }
    case kLayerElementParticleSystem:
      ParticleSystem_Draw(static_cast<const CLayerParticleElement*>(element)->systemId);
      return;
    default:
      return;  // sequences draw through their own subject
  }
}

// How many elements ahead of the one drawn the walk asks for an instance's memory.
constexpr int kPrefetchElements = 4;

void walk_layer(Walk& walk, const CLayer& layer) {
  GR_Set_Depth(static_cast<float>(Layer_ForceDrawDepth ? Layer_ForcedDepth : layer.depth));
  run_layer_script(layer.beginScript);
  bool instances = true;
  for (const CLayerElementBase* element = layer.elementsHead; element != nullptr;) {
    const CLayerElementBase* next = element->next;
    // The elements are small and lie close together, the instances large and apart: ask for the
    // instance a few elements ahead, found from the element after this one as the list stands now.
    const CLayerElementBase* ahead = next;
    for (int step = 1; step < kPrefetchElements && ahead != nullptr; ++step) ahead = ahead->next;
    if (ahead != nullptr && ahead->kind == kLayerElementInstance) {
      Instance_Prefetch(static_cast<const CLayerInstanceElement*>(ahead)->instance);
    }
    if (instances && element->kind == kLayerElementInstance) {
      CInstance* instance = static_cast<const CLayerInstanceElement*>(element)->instance;
      if (instance != nullptr && (instance->flags & kInstDeactivated) == 0) {
        visit(walk, instance);
        element = next;
        continue;
      }
    }
    // The instances stand in front: the first other element ends them.
    instances = false;
    if (!walk.draw_all) break;
    if (element->kind != kLayerElementInstance) draw_element(layer, element);
    element = next;
  }
  run_layer_script(layer.endScript);
}

}  // namespace

bool Step_DrawWalk(int32_t subtype, void (*beforeFirstEvent)()) {
  CRoom* room = Run_Room;
  if (room == nullptr) return false;
  Walk walk;
  walk.subtype = subtype;
  walk.draw_all = subtype == kDrawNormal;
  walk.before_first = beforeFirstEvent;
  int32_t count = 0;
  const int32_t* objects = Object_EventObjects(kEventDraw, subtype, &count);
  if (room->layersHead == nullptr) {
    if (count == 0 && !walk.draw_all) return false;
    // Without layers the Draw walk merges particle systems with the instances by depth.
    const bool particles = walk.draw_all && !Layer_Generation2();
    float depth = particles ? ParticleSystem_MaxDepth() : kParticleNoDepth;
    for (CInstance* at = room->active.tail; at != nullptr;) {
      CInstance* previous = at->previous;
      for (; depth > kParticleNoDepth && depth > at->depth; depth = ParticleSystem_NextDepth(depth)) {
        ParticleSystem_DrawAtDepth(depth);
      }
      visit(walk, at);
      at = previous;
    }
    for (; depth > kParticleNoDepth; depth = ParticleSystem_NextDepth(depth)) ParticleSystem_DrawAtDepth(depth);
    return walk.ran;
  }
  if (count == 0 && !walk.draw_all) return false;
  // One object with one instance: only that instance's layer is visited.
  if (count == 1 && !walk.draw_all) {
    const CObjectTV* object = Object_Find(objects[0]);
    if (object != nullptr && object->instances.count == 1) {
      const CInstance* only = object->instances.head->instance;
      const CLayer* layer = Layer_Find(room, only->layerId);
      if (layer != nullptr && layer->visible) walk_layer(walk, *layer);
      return walk.ran;
    }
  }
  for (const CLayer* layer = room->layersTail; layer != nullptr;) {
    const CLayer* previous = layer->previous;
    if (layer->visible) walk_layer(walk, *layer);
    layer = previous;
  }
  return walk.ran;
}

void Draw_InstanceDefault(CInstance* instance) {
  if (instance->spriteIndex < 0) return;
  SpriteInstanceState state;
  state.sprite = instance->spriteIndex;
  state.imageIndex = instance->imageIndex;
  state.x = instance->x;
  state.y = instance->y;
  state.xscale = instance->imageXScale;
  state.yscale = instance->imageYScale;
  state.angle = instance->imageAngle;
  state.blend = instance->imageBlend;
  state.alpha = instance->imageAlpha;
  // The plain flag's own condition, read from the values themselves.
  state.plain = state.xscale == 1.0f && state.yscale == 1.0f && state.angle == 0.0f && state.blend == 0xFFFFFF &&
                state.alpha == 1.0f;
  Sprite_DrawInstance(state);
}

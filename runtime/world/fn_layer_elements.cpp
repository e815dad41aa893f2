// Builtins of layer elements: backgrounds, sprites, tiles, the instance element and sequences.
// Each setter and getter finds its element in the target room by id and kind.
#include <cmath>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "world/sequence_instance.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/layer_builtins.h"

#define LAYER_FN(fn)                                                                                   \
  void fn([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self,                           \
          [[maybe_unused]] CInstance* other, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

namespace {

// The element of a builtin's first argument, after the count check; null leaves the -1 result.
template <class E>
E* element_of(const char* name, int32_t kind, RValue* result, int argc, RValue* argv, int count) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count(name, argc, count)) return nullptr;
  return static_cast<E*>(LayerArg_Element(Layer_TargetRoom(), argv, 0, kind, name));
}

// Creation on a layer: the layer of the first argument, or the builtin's line for a missing one.
CLayer* create_layer(const char* name, RValue* result, int argc, RValue* argv, int count) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count(name, argc, count)) return nullptr;
  CLayer* layer = LayerArg_Layer(Layer_TargetRoom(), argv, 0);
  if (layer == nullptr) g_ReleaseConsole->Output("%s() - could not find specified layer in current room\n", name);
  return layer;
}

// exists(layer, element): the element is of the kind and stands on that layer.
void element_exists(const char* name, int32_t kind, RValue* result, int argc, RValue* argv) {
  LayerResult_Bool(result, false);
  if (!LayerArg_Count(name, argc, 2)) return;
  CRoom* room = Layer_TargetRoom();
  CLayer* layer = LayerArg_Layer(room, argv, 0);
  CLayerElementBase* element = Layer_FindElement(room, KVGetInt32(argv, 1), kind);
  LayerResult_Bool(result, layer != nullptr && element != nullptr && element->layer == layer);
}

void element_destroy(const char* name, int32_t kind, RValue* result, int argc, RValue* argv) {
  auto* element = element_of<CLayerElementBase>(name, kind, result, argc, argv, 1);
  if (element == nullptr) return;
  Layer_RemoveElement(Layer_TargetRoom(), element->layer, element, false);
  LayerResult_Real(result, 0.0);
}

// The first element of a kind on a layer.
void first_of_kind(const char* name, int32_t kind, RValue* result, int argc, RValue* argv) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count(name, argc, 1)) return;
  CLayer* layer = LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, name);
  if (layer == nullptr) return;
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    if (element->kind == kind) {
      LayerResult_Real(result, element->id);
      return;
    }
  }
}

uint32_t colour_arg(const RValue* argv, int n) { return static_cast<uint32_t>(KVGetInt64(argv, n)) & 0xFFFFFF; }

// ---- Backgrounds ---------------------------------------------------------------------------------

CLayerBackground* background_of(const char* name, RValue* result, int argc, RValue* argv, int count) {
  auto* element = element_of<CLayerBackgroundElement>(name, kLayerElementBackground, result, argc, argv, count);
  return element != nullptr ? element->background : nullptr;
}

LAYER_FN(F_LayerBackgroundGetId) { first_of_kind("layer_background_get_id", kLayerElementBackground, result, argc, argv); }
LAYER_FN(F_LayerBackgroundExists) { element_exists("layer_background_exists", kLayerElementBackground, result, argc, argv); }
LAYER_FN(F_LayerBackgroundDestroy) { element_destroy("layer_background_destroy", kLayerElementBackground, result, argc, argv); }

LAYER_FN(F_LayerBackgroundCreate) {
  CLayer* layer = create_layer("layer_background_create", result, argc, argv, 2);
  if (layer == nullptr) return;
  auto* element = static_cast<CLayerBackgroundElement*>(Layer_NewElement(kLayerElementBackground));
  element->background = new CLayerBackground;
  element->background->spriteIndex = KVGetInt32(argv, 1);
  LayerResult_Real(result, Layer_AddElement(Layer_TargetRoom(), layer, element));
}

#define BACKGROUND_SETTER(fn, name, statement)                              \
  LAYER_FN(fn) {                                                            \
    if (CLayerBackground* b = background_of(name, result, argc, argv, 2)) { \
      statement;                                                            \
      LayerResult_Real(result, 0.0);                                        \
    }                                                                       \
  }
#define BACKGROUND_GETTER(fn, name, value)                                                          \
  LAYER_FN(fn) {                                                                                    \
    if (CLayerBackground* b = background_of(name, result, argc, argv, 1)) LayerResult_Real(result, value); \
  }

BACKGROUND_SETTER(F_LayerBackgroundChange, "layer_background_change", b->spriteIndex = KVGetInt32(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundSprite, "layer_background_sprite", b->spriteIndex = KVGetInt32(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundVisible, "layer_background_visible", b->visible = KVGetBool(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundHtiled, "layer_background_htiled", b->htiled = KVGetBool(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundVtiled, "layer_background_vtiled", b->vtiled = KVGetBool(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundXscale, "layer_background_xscale", b->xscale = KVGetFloat(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundYscale, "layer_background_yscale", b->yscale = KVGetFloat(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundStretch, "layer_background_stretch", b->stretch = KVGetBool(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundBlend, "layer_background_blend", b->blend = colour_arg(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundAlpha, "layer_background_alpha", b->alpha = KVGetFloat(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundIndex, "layer_background_index", b->imageIndex = KVGetFloat(argv, 1))
BACKGROUND_SETTER(F_LayerBackgroundSpeed, "layer_background_speed", b->speed = KVGetFloat(argv, 1))
BACKGROUND_GETTER(F_LayerBackgroundGetVisible, "layer_background_get_visible", b->visible ? 1.0 : 0.0)
BACKGROUND_GETTER(F_LayerBackgroundGetSprite, "layer_background_get_sprite", b->spriteIndex)
BACKGROUND_GETTER(F_LayerBackgroundGetHtiled, "layer_background_get_htiled", b->htiled ? 1.0 : 0.0)
BACKGROUND_GETTER(F_LayerBackgroundGetVtiled, "layer_background_get_vtiled", b->vtiled ? 1.0 : 0.0)
BACKGROUND_GETTER(F_LayerBackgroundGetXscale, "layer_background_get_xscale", b->xscale)
BACKGROUND_GETTER(F_LayerBackgroundGetYscale, "layer_background_get_yscale", b->yscale)
BACKGROUND_GETTER(F_LayerBackgroundGetStretch, "layer_background_get_stretch", b->stretch ? 1.0 : 0.0)
BACKGROUND_GETTER(F_LayerBackgroundGetBlend, "layer_background_get_blend", b->blend)
BACKGROUND_GETTER(F_LayerBackgroundGetAlpha, "layer_background_get_alpha", b->alpha)
BACKGROUND_GETTER(F_LayerBackgroundGetIndex, "layer_background_get_index", b->imageIndex)
BACKGROUND_GETTER(F_LayerBackgroundGetSpeed, "layer_background_get_speed", b->speed)

// ---- Sprites -------------------------------------------------------------------------------------

LAYER_FN(F_LayerSpriteGetId) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count("layer_sprite_get_id", argc, 2)) return;
  CLayer* layer = LayerArg_LayerOrSay(Layer_TargetRoom(), argv, 0, "layer_sprite_get_id");
  if (layer == nullptr) return;
  const char* name = KVGetString(argv, 1);
  for (CLayerElementBase* element = layer->elementsHead; element != nullptr; element = element->next) {
    if (element->kind == kLayerElementSprite && element->name == name) {
      LayerResult_Real(result, element->id);
      return;
    }
  }
}

LAYER_FN(F_LayerSpriteExists) { element_exists("layer_sprite_exists", kLayerElementSprite, result, argc, argv); }
LAYER_FN(F_LayerSpriteDestroy) { element_destroy("layer_sprite_destroy", kLayerElementSprite, result, argc, argv); }

LAYER_FN(F_LayerSpriteCreate) {
  CLayer* layer = create_layer("layer_sprite_create", result, argc, argv, 4);
  if (layer == nullptr) return;
  auto* element = static_cast<CLayerSpriteElement*>(Layer_NewElement(kLayerElementSprite));
  element->x = KVGetFloat(argv, 1);
  element->y = KVGetFloat(argv, 2);
  element->spriteIndex = KVGetInt32(argv, 3);
  LayerResult_Real(result, Layer_AddElement(Layer_TargetRoom(), layer, element));
}

#define SPRITE_SETTER(fn, name, statement)                                                                      \
  LAYER_FN(fn) {                                                                                                \
    if (auto* e = element_of<CLayerSpriteElement>(name, kLayerElementSprite, result, argc, argv, 2)) {          \
      statement;                                                                                                \
      LayerResult_Real(result, 0.0);                                                                            \
    }                                                                                                           \
  }
#define SPRITE_GETTER(fn, name, value)                                                                 \
  LAYER_FN(fn) {                                                                                       \
    if (auto* e = element_of<CLayerSpriteElement>(name, kLayerElementSprite, result, argc, argv, 1)) { \
      LayerResult_Real(result, value);                                                                 \
    }                                                                                                  \
  }

SPRITE_SETTER(F_LayerSpriteChange, "layer_sprite_change", e->spriteIndex = KVGetInt32(argv, 1))
SPRITE_SETTER(F_LayerSpriteIndex, "layer_sprite_index", e->imageIndex = KVGetFloat(argv, 1);
              e->sequencePosition = e->imageIndex)
SPRITE_SETTER(F_LayerSpriteSpeed, "layer_sprite_speed", e->imageSpeed = KVGetFloat(argv, 1))
SPRITE_SETTER(F_LayerSpriteXscale, "layer_sprite_xscale", e->xscale = KVGetFloat(argv, 1))
SPRITE_SETTER(F_LayerSpriteYscale, "layer_sprite_yscale", e->yscale = KVGetFloat(argv, 1))
SPRITE_SETTER(F_LayerSpriteAngle, "layer_sprite_angle", e->angle = KVGetFloat(argv, 1))
SPRITE_SETTER(F_LayerSpriteBlend, "layer_sprite_blend", e->blend = colour_arg(argv, 1))
SPRITE_SETTER(F_LayerSpriteAlpha, "layer_sprite_alpha", e->alpha = KVGetFloat(argv, 1))
SPRITE_SETTER(F_LayerSpriteX, "layer_sprite_x", e->x = KVGetFloat(argv, 1))
SPRITE_SETTER(F_LayerSpriteY, "layer_sprite_y", e->y = KVGetFloat(argv, 1))
SPRITE_GETTER(F_LayerSpriteGetSprite, "layer_sprite_get_sprite", e->spriteIndex)
SPRITE_GETTER(F_LayerSpriteGetIndex, "layer_sprite_get_index", e->imageIndex)
SPRITE_GETTER(F_LayerSpriteGetSpeed, "layer_sprite_get_speed", e->imageSpeed)
SPRITE_GETTER(F_LayerSpriteGetXscale, "layer_sprite_get_xscale", e->xscale)
SPRITE_GETTER(F_LayerSpriteGetYscale, "layer_sprite_get_yscale", e->yscale)
SPRITE_GETTER(F_LayerSpriteGetAngle, "layer_sprite_get_angle", e->angle)
// The initial blend of -1 reads as white.
SPRITE_GETTER(F_LayerSpriteGetBlend, "layer_sprite_get_blend", e->blend & 0xFFFFFF)
SPRITE_GETTER(F_LayerSpriteGetAlpha, "layer_sprite_get_alpha", e->alpha)
SPRITE_GETTER(F_LayerSpriteGetX, "layer_sprite_get_x", e->x)
SPRITE_GETTER(F_LayerSpriteGetY, "layer_sprite_get_y", e->y)

// ---- Tiles ---------------------------------------------------------------------------------------

LAYER_FN(F_LayerTileExists) { element_exists("layer_tile_exists", kLayerElementTile, result, argc, argv); }
LAYER_FN(F_LayerTileDestroy) { element_destroy("layer_tile_destroy", kLayerElementTile, result, argc, argv); }

LAYER_FN(F_LayerTileCreate) {
  CLayer* layer = create_layer("layer_tile_create", result, argc, argv, 8);
  if (layer == nullptr) return;
  auto* element = static_cast<CLayerTileElement*>(Layer_NewElement(kLayerElementTile));
  element->x = KVGetFloat(argv, 1);
  element->y = KVGetFloat(argv, 2);
  element->spriteIndex = KVGetInt32(argv, 3);
  element->xo = KVGetInt32(argv, 4);
  element->yo = KVGetInt32(argv, 5);
  element->w = KVGetInt32(argv, 6);
  element->h = KVGetInt32(argv, 7);
  LayerResult_Real(result, Layer_AddElement(Layer_TargetRoom(), layer, element));
}

#define TILE_SETTER(fn, name, statement)                                                                \
  LAYER_FN(fn) {                                                                                        \
    if (auto* e = element_of<CLayerTileElement>(name, kLayerElementTile, result, argc, argv, 2)) {      \
      statement;                                                                                        \
      LayerResult_Real(result, 0.0);                                                                    \
    }                                                                                                   \
  }
#define TILE_GETTER(fn, name, value)                                                               \
  LAYER_FN(fn) {                                                                                   \
    if (auto* e = element_of<CLayerTileElement>(name, kLayerElementTile, result, argc, argv, 1)) { \
      LayerResult_Real(result, value);                                                             \
    }                                                                                              \
  }

TILE_SETTER(F_LayerTileChange, "layer_tile_change", e->spriteIndex = KVGetInt32(argv, 1))
TILE_SETTER(F_LayerTileXscale, "layer_tile_xscale", e->xscale = KVGetFloat(argv, 1))
TILE_SETTER(F_LayerTileYscale, "layer_tile_yscale", e->yscale = KVGetFloat(argv, 1))
TILE_SETTER(F_LayerTileBlend, "layer_tile_blend", e->blend = colour_arg(argv, 1))
TILE_SETTER(F_LayerTileAlpha, "layer_tile_alpha", e->alpha = KVGetFloat(argv, 1))
TILE_SETTER(F_LayerTileX, "layer_tile_x", e->x = KVGetFloat(argv, 1))
TILE_SETTER(F_LayerTileY, "layer_tile_y", e->y = KVGetFloat(argv, 1))
TILE_SETTER(F_LayerTileVisible, "layer_tile_visible", e->visible = KVGetBool(argv, 1))
TILE_GETTER(F_LayerTileGetSprite, "layer_tile_get_sprite", e->spriteIndex)
TILE_GETTER(F_LayerTileGetXscale, "layer_tile_get_xscale", e->xscale)
TILE_GETTER(F_LayerTileGetYscale, "layer_tile_get_yscale", e->yscale)
TILE_GETTER(F_LayerTileGetBlend, "layer_tile_get_blend", e->blend)
TILE_GETTER(F_LayerTileGetAlpha, "layer_tile_get_alpha", e->alpha)
TILE_GETTER(F_LayerTileGetX, "layer_tile_get_x", e->x)
TILE_GETTER(F_LayerTileGetY, "layer_tile_get_y", e->y)
TILE_GETTER(F_LayerTileGetVisible, "layer_tile_get_visible", e->visible ? 1.0 : 0.0)

LAYER_FN(F_LayerTileRegion) {
  if (auto* e = element_of<CLayerTileElement>("layer_tile_region", kLayerElementTile, result, argc, argv, 5)) {
    e->xo = KVGetInt32(argv, 1);
    e->yo = KVGetInt32(argv, 2);
    e->w = KVGetInt32(argv, 3);
    e->h = KVGetInt32(argv, 4);
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerTileGetRegion) {
  if (auto* e = element_of<CLayerTileElement>("layer_tile_get_region", kLayerElementTile, result, argc, argv, 1)) {
    LayerResult_Array(result, {static_cast<double>(e->xo), static_cast<double>(e->yo), static_cast<double>(e->w),
                               static_cast<double>(e->h)});
  }
}

// ---- The instance element ------------------------------------------------------------------------

LAYER_FN(F_LayerInstanceGetInstance) {
  auto* e = element_of<CLayerInstanceElement>("layer_instance_get_instance", kLayerElementInstance, result, argc,
                                              argv, 1);
  if (e == nullptr) return;
  RV_FreeToUndefined(result);
  *result = e->instance != nullptr ? Instance_Ref(e->instance->id) : RV_Real(-4.0);
}

// ---- Sequences -----------------------------------------------------------------------------------
// A bad element raises "<name>() - invalid sequence element specified".

CLayerSequenceElement* sequence_of(const char* name, RValue* result, int argc, RValue* argv, int count) {
  LayerResult_Real(result, -1.0);
  if (!LayerArg_Count(name, argc, count)) return nullptr;
  CLayerElementBase* element = Layer_FindElement(Layer_TargetRoom(), KVGetInt32(argv, 0), kLayerElementSequence);
  if (element == nullptr) {
    KVError("%s() - invalid sequence element specified", name);
    return nullptr;
  }
  return static_cast<CLayerSequenceElement*>(element);
}

// The play state lives in the element's sequence instance while it has one, else in the element.
float sequence_length(const CLayerSequenceElement* e) {
  const CSequence* sequence = Sequence_Get(e->sequenceIndex);
  return sequence != nullptr ? sequence->length : 0.0f;
}

float head_position(const CLayerSequenceElement* e) {
  const CSequenceInstance* si = SequenceInstance_OfElement(e);
  return si != nullptr ? si->headPosition : e->headPosition;
}

float head_direction(const CLayerSequenceElement* e) {
  const CSequenceInstance* si = SequenceInstance_OfElement(e);
  return si != nullptr ? si->headDirection : e->headDirection;
}

float speed_scale(const CLayerSequenceElement* e) {
  const CSequenceInstance* si = SequenceInstance_OfElement(e);
  return si != nullptr ? si->speedScale : e->speed;
}

bool sequence_paused(const CLayerSequenceElement* e) {
  const CSequenceInstance* si = SequenceInstance_OfElement(e);
  return si != nullptr ? si->paused : e->paused;
}

bool sequence_finished(const CLayerSequenceElement* e) {
  if (const CSequenceInstance* si = SequenceInstance_OfElement(e)) return si->finished;
  const CSequence* sequence = Sequence_Get(e->sequenceIndex);
  if (sequence == nullptr || sequence->loopmode != 0) return false;
  return e->headDirection > 0.0f ? e->headPosition >= sequence->length : e->headPosition <= 0.0f;
}

// Writes the play state to the element and to its instance, which the next step then takes up.
void set_play_state(CLayerSequenceElement* e, void (*change)(CLayerSequenceElement*, CSequenceInstance*)) {
  CSequenceInstance* si = SequenceInstance_OfElement(e);
  change(e, si);
  if (si != nullptr) si->pendingChange = true;
}

LAYER_FN(F_LayerSequenceExists) { element_exists("layer_sequence_exists", kLayerElementSequence, result, argc, argv); }

LAYER_FN(F_LayerSequenceCreate) {
  CLayer* layer = create_layer("layer_sequence_create", result, argc, argv, 4);
  if (layer == nullptr) return;
  auto* element = static_cast<CLayerSequenceElement*>(Layer_NewElement(kLayerElementSequence));
  element->x = KVGetFloat(argv, 1);
  element->y = KVGetFloat(argv, 2);
  element->sequenceIndex = KVGetInt32(argv, 3);
  LayerResult_Real(result, Layer_AddElement(Layer_TargetRoom(), layer, element));
}

LAYER_FN(F_LayerSequenceDestroy) {
  if (CLayerSequenceElement* e = sequence_of("layer_sequence_destroy", result, argc, argv, 1)) {
    Layer_RemoveElement(Layer_TargetRoom(), e->layer, e, false);
    LayerResult_Real(result, 0.0);
  }
}

#define SEQUENCE_SETTER(fn, name, statement)                                           \
  LAYER_FN(fn) {                                                                       \
    if (CLayerSequenceElement* e = sequence_of(name, result, argc, argv, 2)) {         \
      statement;                                                                       \
      LayerResult_Real(result, 0.0);                                                   \
    }                                                                                  \
  }
#define SEQUENCE_GETTER(fn, name, value)                                                             \
  LAYER_FN(fn) {                                                                                     \
    if (CLayerSequenceElement* e = sequence_of(name, result, argc, argv, 1)) LayerResult_Real(result, value); \
  }

SEQUENCE_SETTER(F_LayerSequenceX, "layer_sequence_x", e->x = KVGetFloat(argv, 1))
SEQUENCE_SETTER(F_LayerSequenceY, "layer_sequence_y", e->y = KVGetFloat(argv, 1))
SEQUENCE_SETTER(F_LayerSequenceAngle, "layer_sequence_angle", e->angle = KVGetFloat(argv, 1))
SEQUENCE_SETTER(F_LayerSequenceXscale, "layer_sequence_xscale", e->xscale = KVGetFloat(argv, 1))
SEQUENCE_SETTER(F_LayerSequenceYscale, "layer_sequence_yscale", e->yscale = KVGetFloat(argv, 1))
SEQUENCE_SETTER(F_LayerSequenceHeadpos, "layer_sequence_headpos",
                e->headPosition = KVGetFloat(argv, 1);
                set_play_state(e, [](CLayerSequenceElement* el, CSequenceInstance* si) {
                  if (si != nullptr) si->headPosition = el->headPosition;
                }))
SEQUENCE_SETTER(F_LayerSequenceHeaddir, "layer_sequence_headdir",
                e->headDirection = KVGetFloat(argv, 1) < 0.0f ? -1.0f : 1.0f;
                set_play_state(e, [](CLayerSequenceElement* el, CSequenceInstance* si) {
                  if (si != nullptr) si->headDirection = el->headDirection;
                }))
SEQUENCE_SETTER(F_LayerSequenceSpeedscale, "layer_sequence_speedscale",
                e->speed = KVGetFloat(argv, 1);
                set_play_state(e, [](CLayerSequenceElement* el, CSequenceInstance* si) {
                  if (si != nullptr) si->speedScale = el->speed;
                }))
SEQUENCE_GETTER(F_LayerSequenceGetX, "layer_sequence_get_x", e->x)
SEQUENCE_GETTER(F_LayerSequenceGetY, "layer_sequence_get_y", e->y)
SEQUENCE_GETTER(F_LayerSequenceGetAngle, "layer_sequence_get_angle", e->angle)
SEQUENCE_GETTER(F_LayerSequenceGetXscale, "layer_sequence_get_xscale", e->xscale)
SEQUENCE_GETTER(F_LayerSequenceGetYscale, "layer_sequence_get_yscale", e->yscale)
SEQUENCE_GETTER(F_LayerSequenceGetHeadpos, "layer_sequence_get_headpos", head_position(e))
SEQUENCE_GETTER(F_LayerSequenceGetHeaddir, "layer_sequence_get_headdir", head_direction(e))
SEQUENCE_GETTER(F_LayerSequenceGetSequence, "layer_sequence_get_sequence", e->sequenceIndex)
SEQUENCE_GETTER(F_LayerSequenceGetSpeedscale, "layer_sequence_get_speedscale", speed_scale(e))
SEQUENCE_GETTER(F_LayerSequenceGetLength, "layer_sequence_get_length", sequence_length(e))

// The sequence instance struct of the element; -1 while it has none.
LAYER_FN(F_LayerSequenceGetInstance) {
  if (CLayerSequenceElement* e = sequence_of("layer_sequence_get_instance", result, argc, argv, 1)) {
    if (CSequenceInstance* si = SequenceInstance_OfElement(e)) {
      RV_FreeToUndefined(result);
      *result = RV_Object(si);
    }
  }
}

LAYER_FN(F_LayerSequencePause) {
  if (CLayerSequenceElement* e = sequence_of("layer_sequence_pause", result, argc, argv, 1)) {
    e->paused = true;
    set_play_state(e, [](CLayerSequenceElement*, CSequenceInstance* si) {
      if (si != nullptr) si->paused = true;
    });
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerSequencePlay) {
  if (CLayerSequenceElement* e = sequence_of("layer_sequence_play", result, argc, argv, 1)) {
    e->paused = false;
    set_play_state(e, [](CLayerSequenceElement*, CSequenceInstance* si) {
      if (si != nullptr) si->paused = false;
    });
    LayerResult_Real(result, 0.0);
  }
}

LAYER_FN(F_LayerSequenceIsPaused) {
  if (CLayerSequenceElement* e = sequence_of("layer_sequence_is_paused", result, argc, argv, 1)) {
    LayerResult_Bool(result, sequence_paused(e));
  }
}

LAYER_FN(F_LayerSequenceIsFinished) {
  if (CLayerSequenceElement* e = sequence_of("layer_sequence_is_finished", result, argc, argv, 1)) {
    LayerResult_Bool(result, sequence_finished(e));
  }
}

}  // namespace

void Layer_RegisterElementBuiltins() {
  Function_Add("layer_background_get_id", F_LayerBackgroundGetId, 1, 0);
  Function_Add("layer_background_exists", F_LayerBackgroundExists, 2, 0);
  Function_Add("layer_background_create", F_LayerBackgroundCreate, 2, 0);
  Function_Add("layer_background_destroy", F_LayerBackgroundDestroy, 1, 0);
  Function_Add("layer_background_change", F_LayerBackgroundChange, 2, 0);
  Function_Add("layer_background_visible", F_LayerBackgroundVisible, 2, 0);
  Function_Add("layer_background_htiled", F_LayerBackgroundHtiled, 2, 0);
  Function_Add("layer_background_vtiled", F_LayerBackgroundVtiled, 2, 0);
  Function_Add("layer_background_xscale", F_LayerBackgroundXscale, 2, 0);
  Function_Add("layer_background_yscale", F_LayerBackgroundYscale, 2, 0);
  Function_Add("layer_background_stretch", F_LayerBackgroundStretch, 2, 0);
  Function_Add("layer_background_blend", F_LayerBackgroundBlend, 2, 0);
  Function_Add("layer_background_alpha", F_LayerBackgroundAlpha, 2, 0);
  Function_Add("layer_background_index", F_LayerBackgroundIndex, 2, 0);
  Function_Add("layer_background_speed", F_LayerBackgroundSpeed, 2, 0);
  Function_Add("layer_background_sprite", F_LayerBackgroundSprite, 2, 0);
  Function_Add("layer_background_get_visible", F_LayerBackgroundGetVisible, 1, 0);
  Function_Add("layer_background_get_sprite", F_LayerBackgroundGetSprite, 1, 0);
  Function_Add("layer_background_get_htiled", F_LayerBackgroundGetHtiled, 1, 0);
  Function_Add("layer_background_get_vtiled", F_LayerBackgroundGetVtiled, 1, 0);
  Function_Add("layer_background_get_xscale", F_LayerBackgroundGetXscale, 1, 0);
  Function_Add("layer_background_get_yscale", F_LayerBackgroundGetYscale, 1, 0);
  Function_Add("layer_background_get_stretch", F_LayerBackgroundGetStretch, 1, 0);
  Function_Add("layer_background_get_blend", F_LayerBackgroundGetBlend, 1, 0);
  Function_Add("layer_background_get_alpha", F_LayerBackgroundGetAlpha, 1, 0);
  Function_Add("layer_background_get_index", F_LayerBackgroundGetIndex, 1, 0);
  Function_Add("layer_background_get_speed", F_LayerBackgroundGetSpeed, 1, 0);

  Function_Add("layer_sprite_get_id", F_LayerSpriteGetId, 2, 0);
  Function_Add("layer_sprite_exists", F_LayerSpriteExists, 2, 0);
  Function_Add("layer_sprite_create", F_LayerSpriteCreate, 4, 0);
  Function_Add("layer_sprite_destroy", F_LayerSpriteDestroy, 1, 0);
  Function_Add("layer_sprite_change", F_LayerSpriteChange, 2, 0);
  Function_Add("layer_sprite_index", F_LayerSpriteIndex, 2, 0);
  Function_Add("layer_sprite_speed", F_LayerSpriteSpeed, 2, 0);
  Function_Add("layer_sprite_xscale", F_LayerSpriteXscale, 2, 0);
  Function_Add("layer_sprite_yscale", F_LayerSpriteYscale, 2, 0);
  Function_Add("layer_sprite_angle", F_LayerSpriteAngle, 2, 0);
  Function_Add("layer_sprite_blend", F_LayerSpriteBlend, 2, 0);
  Function_Add("layer_sprite_alpha", F_LayerSpriteAlpha, 2, 0);
  Function_Add("layer_sprite_x", F_LayerSpriteX, 2, 0);
  Function_Add("layer_sprite_y", F_LayerSpriteY, 2, 0);
  Function_Add("layer_sprite_get_sprite", F_LayerSpriteGetSprite, 1, 0);
  Function_Add("layer_sprite_get_index", F_LayerSpriteGetIndex, 1, 0);
  Function_Add("layer_sprite_get_speed", F_LayerSpriteGetSpeed, 1, 0);
  Function_Add("layer_sprite_get_xscale", F_LayerSpriteGetXscale, 1, 0);
  Function_Add("layer_sprite_get_yscale", F_LayerSpriteGetYscale, 1, 0);
  Function_Add("layer_sprite_get_angle", F_LayerSpriteGetAngle, 1, 0);
  Function_Add("layer_sprite_get_blend", F_LayerSpriteGetBlend, 1, 0);
  Function_Add("layer_sprite_get_alpha", F_LayerSpriteGetAlpha, 1, 0);
  Function_Add("layer_sprite_get_x", F_LayerSpriteGetX, 1, 0);
  Function_Add("layer_sprite_get_y", F_LayerSpriteGetY, 1, 0);

  Function_Add("layer_tile_exists", F_LayerTileExists, 2, 0);
  Function_Add("layer_tile_create", F_LayerTileCreate, 8, 0);
  Function_Add("layer_tile_destroy", F_LayerTileDestroy, 1, 0);
  Function_Add("layer_tile_change", F_LayerTileChange, 2, 0);
  Function_Add("layer_tile_xscale", F_LayerTileXscale, 2, 0);
  Function_Add("layer_tile_yscale", F_LayerTileYscale, 2, 0);
  Function_Add("layer_tile_blend", F_LayerTileBlend, 2, 0);
  Function_Add("layer_tile_alpha", F_LayerTileAlpha, 2, 0);
  Function_Add("layer_tile_x", F_LayerTileX, 2, 0);
  Function_Add("layer_tile_y", F_LayerTileY, 2, 0);
  Function_Add("layer_tile_visible", F_LayerTileVisible, 2, 0);
  Function_Add("layer_tile_region", F_LayerTileRegion, 5, 0);
  Function_Add("layer_tile_get_sprite", F_LayerTileGetSprite, 1, 0);
  Function_Add("layer_tile_get_xscale", F_LayerTileGetXscale, 1, 0);
  Function_Add("layer_tile_get_yscale", F_LayerTileGetYscale, 1, 0);
  Function_Add("layer_tile_get_blend", F_LayerTileGetBlend, 1, 0);
  Function_Add("layer_tile_get_alpha", F_LayerTileGetAlpha, 1, 0);
  Function_Add("layer_tile_get_x", F_LayerTileGetX, 1, 0);
  Function_Add("layer_tile_get_y", F_LayerTileGetY, 1, 0);
  Function_Add("layer_tile_get_region", F_LayerTileGetRegion, 1, 0);
  Function_Add("layer_tile_get_visible", F_LayerTileGetVisible, 1, 0);

  Function_Add("layer_instance_get_instance", F_LayerInstanceGetInstance, 1, 0);

  Function_Add("layer_sequence_create", F_LayerSequenceCreate, 4, 0);
  Function_Add("layer_sequence_destroy", F_LayerSequenceDestroy, 1, 0);
  Function_Add("layer_sequence_exists", F_LayerSequenceExists, 2, 0);
  Function_Add("layer_sequence_x", F_LayerSequenceX, 2, 0);
  Function_Add("layer_sequence_y", F_LayerSequenceY, 2, 0);
  Function_Add("layer_sequence_angle", F_LayerSequenceAngle, 2, 0);
  Function_Add("layer_sequence_xscale", F_LayerSequenceXscale, 2, 0);
  Function_Add("layer_sequence_yscale", F_LayerSequenceYscale, 2, 0);
  Function_Add("layer_sequence_headpos", F_LayerSequenceHeadpos, 2, 0);
  Function_Add("layer_sequence_headdir", F_LayerSequenceHeaddir, 2, 0);
  Function_Add("layer_sequence_speedscale", F_LayerSequenceSpeedscale, 2, 0);
  Function_Add("layer_sequence_pause", F_LayerSequencePause, 1, 0);
  Function_Add("layer_sequence_play", F_LayerSequencePlay, 1, 0);
  Function_Add("layer_sequence_get_x", F_LayerSequenceGetX, 1, 0);
  Function_Add("layer_sequence_get_y", F_LayerSequenceGetY, 1, 0);
  Function_Add("layer_sequence_get_angle", F_LayerSequenceGetAngle, 1, 0);
  Function_Add("layer_sequence_get_xscale", F_LayerSequenceGetXscale, 1, 0);
  Function_Add("layer_sequence_get_yscale", F_LayerSequenceGetYscale, 1, 0);
  Function_Add("layer_sequence_get_headpos", F_LayerSequenceGetHeadpos, 1, 0);
  Function_Add("layer_sequence_get_headdir", F_LayerSequenceGetHeaddir, 1, 0);
  Function_Add("layer_sequence_get_sequence", F_LayerSequenceGetSequence, 1, 0);
  Function_Add("layer_sequence_get_instance", F_LayerSequenceGetInstance, 1, 0);
  Function_Add("layer_sequence_get_speedscale", F_LayerSequenceGetSpeedscale, 1, 0);
  Function_Add("layer_sequence_get_length", F_LayerSequenceGetLength, 1, 0);
  Function_Add("layer_sequence_is_paused", F_LayerSequenceIsPaused, 1, 0);
  Function_Add("layer_sequence_is_finished", F_LayerSequenceIsFinished, 1, 0);
}

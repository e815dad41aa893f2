// Sequence instances and evaluation nodes: their objects and script properties, the table, the
// element hooks, the head wrap and the evaluation of tracks at the head.
#include "world/sequence_instance.h"

#include <algorithm>
#include <cmath>

#include "core/frame_state.h"
#include "core/gc.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/room.h"

using datawin::seqn::TrackKind;

namespace {

std::vector<CSequenceInstance*> g_instances;  // by id; null for a free slot

constexpr float kPi = 3.14159265358979323846f;

// ---- Properties -----------------------------------------------------------------------------------

#define SEQ_PROPERTY SEQUENCE_PROPERTY

template <class T, class F, F T::*Member>
SEQ_PROPERTY(get_number) {
  if (T* object = SequenceProperty_Self<T>(self, index)) {
    if constexpr (std::is_same_v<F, bool>) {
      *result = RV_Bool(object->*Member);
    } else {
      *result = RV_Real(static_cast<double>(object->*Member));
    }
  }
}
template <class T, class F, F T::*Member>
SEQ_PROPERTY(set_number) {
  if (T* object = SequenceProperty_Self<T>(self, index)) {
    if constexpr (std::is_same_v<F, bool>) {
      object->*Member = RV_ToBool(argv[0]);
    } else {
      object->*Member = static_cast<F>(RV_ToDouble(argv[0]));
    }
    if constexpr (std::is_same_v<T, CSequenceInstance>) object->pendingChange = true;
  }
}
#define NUMBER(T, member) {#member, get_number<T, decltype(T::member), &T::member>, set_number<T, decltype(T::member), &T::member>}
#define READ_ONLY(T, name, member) {name, get_number<T, decltype(T::member), &T::member>, nullptr}

// Arrays of floats: the matrix and the colours.
template <size_t N, float (SequenceEvalNode::*Member)[N]>
SEQ_PROPERTY(node_get_floats) {
  SequenceEvalNode* node = Sequence_Self<SequenceEvalNode>(self);
  if (node == nullptr) return;
  if (index != kIndexWholeValue) {
    *result = index >= 0 && static_cast<size_t>(index) < N ? RV_Real((node->*Member)[index]) : RV_Undefined();
    return;
  }
  RV_FreeToUndefined(result);
  result->pArray = RV_NewArray(static_cast<int32_t>(N));
  result->flags = 0;
  result->kind = kRVArray;
  for (size_t i = 0; i < N; ++i) result->pArray->pArray[i] = RV_Real((node->*Member)[i]);
}

SEQ_PROPERTY(node_get_track) {
  SequenceEvalNode* node = SequenceProperty_Self<SequenceEvalNode>(self, index);
  if (node != nullptr && node->track != nullptr) *result = RV_Object(node->track);
}
SEQ_PROPERTY(node_get_parent) {
  SequenceEvalNode* node = SequenceProperty_Self<SequenceEvalNode>(self, index);
  if (node != nullptr && node->parent != nullptr) *result = RV_Object(node->parent);
}
SEQ_PROPERTY(node_get_sequence) {
  SequenceEvalNode* node = SequenceProperty_Self<SequenceEvalNode>(self, index);
  if (node == nullptr) return;
  CSequence* sequence = Sequence_Get(node->sequenceID);
  if (sequence != nullptr) *result = RV_Object(sequence);
}
SEQ_PROPERTY(node_get_active) {
  if (SequenceEvalNode* node = Sequence_Self<SequenceEvalNode>(self)) SequenceProperty_SetObjects(result, node->activeTracks);
}

using N = SequenceEvalNode;
ScriptStructClass g_node_class(
    "SequenceEvalNode",
    {NUMBER(N, posx), NUMBER(N, posy), NUMBER(N, rotation), NUMBER(N, scalex), NUMBER(N, scaley), NUMBER(N, xorigin),
     NUMBER(N, yorigin), NUMBER(N, gain), NUMBER(N, pitch), NUMBER(N, falloff), NUMBER(N, imageindex),
     NUMBER(N, imagespeed), {"matrix", node_get_floats<16, &N::matrix>, nullptr},
     {"colormultiply", node_get_floats<4, &N::colormultiply>, nullptr},
     {"colourmultiply", node_get_floats<4, &N::colormultiply>, nullptr},
     {"coloradd", node_get_floats<4, &N::coloradd>, nullptr}, {"colouradd", node_get_floats<4, &N::coloradd>, nullptr},
     NUMBER(N, spriteIndex), NUMBER(N, emitterIndex), NUMBER(N, soundIndex), READ_ONLY(N, "instanceID", instanceID),
     READ_ONLY(N, "sequenceID", sequenceID), {"sequence", node_get_sequence, nullptr}, NUMBER(N, frameSizeX),
     NUMBER(N, frameSizeY), NUMBER(N, characterSpacing), NUMBER(N, lineSpacing), NUMBER(N, paragraphSpacing),
     {"track", node_get_track, nullptr}, {"parent", node_get_parent, nullptr},
     {"activeTracks", node_get_active, nullptr}});

SEQ_PROPERTY(instance_get_sequence) {
  CSequenceInstance* instance = SequenceProperty_Self<CSequenceInstance>(self, index);
  if (instance == nullptr) return;
  if (CSequence* sequence = instance->Sequence()) *result = RV_Object(sequence);
}
SEQ_PROPERTY(instance_get_active) {
  CSequenceInstance* instance = Sequence_Self<CSequenceInstance>(self);
  if (instance == nullptr) return;
  static const std::vector<SequenceEvalNode*> kNone;
  SequenceProperty_SetObjects(result, instance->root != nullptr ? instance->root->activeTracks : kNone);
}
// A head direction is a sign: 1 or -1.
SEQ_PROPERTY(instance_set_direction) {
  if (CSequenceInstance* instance = SequenceProperty_Self<CSequenceInstance>(self, index)) {
    instance->headDirection = RV_ToDouble(argv[0]) < 0.0 ? -1.0f : 1.0f;
    instance->pendingChange = true;
  }
}

using I = CSequenceInstance;
ScriptStructClass g_instance_class(
    "SequenceInstance",
    {{"sequence", instance_get_sequence, nullptr}, NUMBER(I, headPosition),
     {"headDirection", get_number<I, float, &I::headDirection>, instance_set_direction}, NUMBER(I, speedScale),
     NUMBER(I, paused), READ_ONLY(I, "finished", finished), {"activeTracks", instance_get_active, nullptr},
     READ_ONLY(I, "elementID", elementID)});
#undef NUMBER
#undef READ_ONLY
#undef SEQ_PROPERTY

// ---- Transforms -----------------------------------------------------------------------------------

// A 2D transform in the node's 4x4 form: x' = m[0] x + m[4] y + m[12], y' = m[1] x + m[5] y + m[13].
struct Transform {
  float m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  float angle = 0;  // degrees, counter-clockwise on screen
  float xscale = 1, yscale = 1;

  void apply(float x, float y, float* ox, float* oy) const {
    *ox = m[0] * x + m[4] * y + m[12];
    *oy = m[1] * x + m[5] * y + m[13];
  }
  // this = this x (translate, rotate, scale, translate by minus origin) of a node.
  Transform then(float tx, float ty, float degrees, float sx, float sy, float ox, float oy) const {
    const float r = degrees * kPi / 180.0f;
    const float c = std::cos(r), s = std::sin(r);
    // Local: p' = T(tx,ty) R S (p - o); with y down, counter-clockwise is (x c + y s, -x s + y c).
    const float a = c * sx, b = -s * sx, cc = s * sy, d = c * sy;
    const float ltx = tx - (a * ox + cc * oy), lty = ty - (b * ox + d * oy);
    Transform out;
    out.m[0] = m[0] * a + m[4] * b;
    out.m[1] = m[1] * a + m[5] * b;
    out.m[4] = m[0] * cc + m[4] * d;
    out.m[5] = m[1] * cc + m[5] * d;
    out.m[12] = m[0] * ltx + m[4] * lty + m[12];
    out.m[13] = m[1] * ltx + m[5] * lty + m[13];
    out.angle = angle + degrees;
    out.xscale = xscale * sx;
    out.yscale = yscale * sy;
    return out;
  }
};

// Step 6 of the stage: the element's placement, or none when it changes nothing.
Transform element_transform(const CSequence* sequence, const CLayerSequenceElement* element) {
  Transform identity;
  if (element == nullptr) return identity;
  const float lx = element->layer != nullptr ? element->layer->xOffset : 0.0f;
  const float ly = element->layer != nullptr ? element->layer->yOffset : 0.0f;
  const bool needed = sequence->xorigin != 0.0f || sequence->yorigin != 0.0f || element->angle != 0.0f ||
                      element->xscale != 1.0f || element->yscale != 1.0f || element->x != 0.0f || element->y != 0.0f ||
                      lx != 0.0f || ly != 0.0f;
  if (!needed) return identity;
  return identity.then(element->x + lx, element->y + ly, element->angle, element->xscale, element->yscale,
                       sequence->xorigin, sequence->yorigin);
}

// ---- Parameters -----------------------------------------------------------------------------------

uint32_t mix_colour(uint32_t a, uint32_t b, float t) {
  uint32_t out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const float ca = static_cast<float>((a >> shift) & 0xFF), cb = static_cast<float>((b >> shift) & 0xFF);
    const auto mixed = static_cast<uint32_t>(std::lround(ca + (cb - ca) * t));
    out |= (mixed & 0xFF) << shift;
  }
  return out;
}

// The value of one channel of a parameter track at the head; false outside its keys.
bool parameter_value(const CSequenceTrack* track, int32_t channel, float head, float length, float* value,
                     uint32_t* colour) {
  const int32_t at = Sequence_FindKeyframe(track->keyframes, head, length);
  if (at < 0) return false;
  const CSequenceKeyframe* keyframe = track->keyframes[static_cast<size_t>(at)];
  if (keyframe->disabled) return false;
  const CSequenceKey* key = keyframe->Channel(channel);
  if (key == nullptr) return false;
  *value = key->value;
  *colour = key->colour;
  const float span = Sequence_KeySpan(track->keyframes, static_cast<size_t>(at));
  if (key->curve != nullptr && !key->curve->channels.empty()) {
    const size_t curve_channel = static_cast<size_t>(key->channel) < key->curve->channels.size() ? key->channel : 0;
    const double inside = span > 0.0f ? (head - keyframe->frame) / span : 0.0;
    *value = static_cast<float>(Channel_Evaluate(key->curve->channels[curve_channel], inside));
    return true;
  }
  if (track->interpolation != 1 || static_cast<size_t>(at) + 1 >= track->keyframes.size()) return true;
  const CSequenceKeyframe* next = track->keyframes[static_cast<size_t>(at) + 1];
  const CSequenceKey* next_key = next->Channel(channel);
  if (next_key == nullptr || next->frame <= keyframe->frame) return true;
  const float t = (head - keyframe->frame) / (next->frame - keyframe->frame);
  *value += (next_key->value - *value) * t;
  *colour = mix_colour(*colour, next_key->colour, t);
  return true;
}

void colour_to_floats(uint32_t colour, float out[4]) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<float>((colour >> (8 * i)) & 0xFF) / 255.0f;
}

// Bits of what the parameter tracks drove in a node.
constexpr uint32_t kDrivenColour = 1u << 0;
constexpr uint32_t kDrivenImageIndex = 1u << 1;

uint32_t fill_parameters(SequenceEvalNode* node, const CSequenceTrack* track, float head, float length) {
  uint32_t driven = 0;
  for (const CSequenceTrack* child : track->tracks) {
    if (!child->IsParameter() || !child->enabled) continue;
    float v0 = 0, v1 = 0;
    uint32_t c0 = 0, c1 = 0;
    const bool has0 = parameter_value(child, 0, head, length, &v0, &c0);
    const bool has1 = parameter_value(child, 1, head, length, &v1, &c1);
    auto pair = [&](float* a, float* b) {
      if (has0) *a = v0;
      if (has1) *b = v1;
    };
    switch (child->subType) {
      case kParamGain: if (has0) node->gain = v0; break;
      case kParamPitch: if (has0) node->pitch = v0; break;
      case kParamFalloff: if (has0) node->falloff = v0; break;
      case kParamRotation: if (has0) node->rotation = v0; break;
      case kParamPosition: pair(&node->posx, &node->posy); break;
      case kParamScale: pair(&node->scalex, &node->scaley); break;
      case kParamOrigin: pair(&node->xorigin, &node->yorigin); break;
      case kParamImageSpeed: if (has0) node->imagespeed = v0; break;
      case kParamImageIndex:
        if (has0) {
          node->imageindex = v0;
          driven |= kDrivenImageIndex;
        }
        break;
      case kParamFrameSize: pair(&node->frameSizeX, &node->frameSizeY); break;
      case kParamCharacterSpacing: if (has0) node->characterSpacing = v0; break;
      case kParamLineSpacing: if (has0) node->lineSpacing = v0; break;
      case kParamParagraphSpacing: if (has0) node->paragraphSpacing = v0; break;
      case kParamBlendMultiply:
        if (has0) {
          colour_to_floats(c0, node->colormultiply);
          driven |= kDrivenColour;
        }
        break;
      case kParamBlendAdd:
        if (has0) colour_to_floats(c0, node->coloradd);
        break;
      default: break;
    }
  }
  return driven;
}

// ---- Driving instances ----------------------------------------------------------------------------

void place_instance(CInstance* instance, const Transform& parent, const SequenceEvalNode* node, uint32_t driven) {
  float x = 0, y = 0;
  parent.apply(node->posx, node->posy, &x, &y);
  Instance_SetPosition(instance, x, y);
  Instance_SetScale(instance, parent.xscale * node->scalex, parent.yscale * node->scaley);
  Instance_SetAngle(instance, parent.angle + node->rotation);
  if ((driven & kDrivenImageIndex) != 0) Instance_SetImageIndex(instance, node->imageindex);
  if ((driven & kDrivenColour) != 0) {
    const auto byte = [](float f) { return static_cast<uint32_t>(std::lround(std::fmin(std::fmax(f, 0.0f), 1.0f) * 255.0f)); };
    instance->imageBlend = byte(node->colormultiply[0]) | byte(node->colormultiply[1]) << 8 |
                           byte(node->colormultiply[2]) << 16;
    instance->imageAlpha = node->colormultiply[3];
  }
}

// The object an instance track plays: channel 0 of its first keyframe.
int32_t track_object(const CSequenceTrack* track) {
  for (const CSequenceKeyframe* keyframe : track->keyframes) {
    if (const CSequenceKey* key = keyframe->Channel(0)) return key->objectIndex;
  }
  return -1;
}

// The instance tracks' instances, made when the instance starts: on the element's layer, flagged
// as in a sequence, or the instance an override names.
void instantiate(CSequenceInstance* si, const std::vector<CSequenceTrack*>& tracks, SequenceEvalNode* parent,
                 int32_t layer_id) {
  for (CSequenceTrack* track : tracks) {
    if (track->IsParameter()) continue;
    SequenceEvalNode* node = parent->ChildFor(track);
    if (track->kind == TrackKind::kTrackInstance && node->instanceID < 0) {
      int32_t object = track_object(track);
      CInstance* made = nullptr;
      for (const CSequenceInstance::Override& o : si->overrides) {
        if (o.object != object) continue;
        made = Instance_FindLive(o.instance);
        if (made == nullptr && o.replacement >= 0) object = o.replacement;
        break;
      }
      if (made == nullptr && object >= 0) {
        made = layer_id >= 0 ? Create_Instance_OnLayer(object, 0, 0, layer_id, nullptr, kInstInSequence)
                             : Create_Instance(object, 0, 0, 0);
        if (made != nullptr) made->flags |= kInstInSequence;
      }
      if (made != nullptr) {
        made->sequenceInstance = si;
        GCWriteBarrier(made, si);
        node->instanceID = made->id;
      }
    }
    instantiate(si, track->tracks, node, layer_id);
  }
}

void release_instances(SequenceEvalNode* node) {
  if (node == nullptr) return;
  if (node->instanceID >= 0) {
    CInstance* instance = Instance_Find(node->instanceID);
    if (instance != nullptr && (instance->flags & kInstInSequence) != 0 && Instance_IsLive(instance)) {
      instance->sequenceInstance = nullptr;
      Instance_Destroy(instance, true);
    } else if (instance != nullptr) {
      instance->sequenceInstance = nullptr;
    }
    node->instanceID = -1;
  }
  for (SequenceEvalNode* child : node->activeTracks) release_instances(child);
}

void evaluate_tracks(CSequenceInstance* si, const std::vector<CSequenceTrack*>& tracks, SequenceEvalNode* parent,
                     const Transform& placement, float head, float length, bool force, int depth);

void evaluate_track(CSequenceInstance* si, CSequenceTrack* track, SequenceEvalNode* node, const Transform& placement,
                    float head, float length, bool force, int depth) {
  node->ResetValues();
  const uint32_t driven = fill_parameters(node, track, head, length);
  const Transform mine = placement.then(node->posx, node->posy, node->rotation, node->scalex, node->scaley,
                                        node->xorigin, node->yorigin);
  std::copy(std::begin(mine.m), std::end(mine.m), node->matrix);
  const int32_t at = Sequence_FindKeyframe(track->keyframes, head, length);
  const CSequenceKeyframe* keyframe = at >= 0 ? track->keyframes[static_cast<size_t>(at)] : nullptr;
  const CSequenceKey* key = keyframe != nullptr && !keyframe->disabled ? keyframe->Channel(0) : nullptr;
  switch (track->kind) {
    case TrackKind::kTrackGraphic:
      node->spriteIndex = key != nullptr ? key->spriteIndex : -1;
      if ((driven & kDrivenImageIndex) == 0 && key != nullptr) node->imageindex = (head - keyframe->frame) * node->imagespeed;
      break;
    case TrackKind::kTrackSpriteFrames:
      if (key != nullptr) node->imageindex = static_cast<float>(key->imageIndex);
      break;
    case TrackKind::kTrackAudio:
      node->soundIndex = key != nullptr ? key->soundIndex : -1;
      node->emitterIndex = key != nullptr ? key->emitterIndex : -1;
      break;
    case TrackKind::kTrackInstance:
      if (CInstance* instance = Instance_FindLive(node->instanceID)) place_instance(instance, placement, node, driven);
      break;
    case TrackKind::kTrackSequence: {
      node->sequenceID = key != nullptr ? key->sequence : -1;
      CSequence* nested = Sequence_Get(node->sequenceID);
      // Nesting is bounded: a sequence that contains itself stops here.
      if (nested != nullptr && depth < 16) {
        evaluate_tracks(si, nested->tracks, node, mine, head - keyframe->frame, nested->length, force, depth + 1);
      }
      break;
    }
    default:
      break;
  }
  evaluate_tracks(si, track->tracks, node, mine, head, length, force, depth);
  node->evaluatedAt = head;
  node->evaluated = true;
}

void evaluate_tracks(CSequenceInstance* si, const std::vector<CSequenceTrack*>& tracks, SequenceEvalNode* parent,
                     const Transform& placement, float head, float length, bool force, int depth) {
  for (CSequenceTrack* track : tracks) {
    if (!track->visible || track->IsParameter()) continue;
    SequenceEvalNode* node = parent->ChildFor(track);
    if (!force && node->evaluated && node->evaluatedAt == head) continue;
    evaluate_track(si, track, node, placement, head, length, force, depth);
  }
}

CLayerSequenceElement* element_of(const CSequenceInstance* si) {
  CLayerElementBase* element = Layer_FindElement(si->room, si->elementID, kLayerElementSequence);
  return element != nullptr ? static_cast<CLayerSequenceElement*>(element) : nullptr;
}

}  // namespace

// ---- Nodes ----------------------------------------------------------------------------------------

SequenceEvalNode* SequenceEvalNode::New(CSequenceTrack* track, SequenceEvalNode* parent) {
  SequenceEvalNode* node = g_node_class.make<SequenceEvalNode>();
  node->track = track;
  node->parent = parent;
  Sequence_LinkChild(node, track);
  return node;
}

bool SequenceEvalNode::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkObject(track);
  Sequence_MarkObject(parent);
  Sequence_MarkAll(activeTracks);
  return true;
}

void SequenceEvalNode::Free(bool free_now) {
  track = nullptr;
  parent = nullptr;
  activeTracks.clear();
  CSequenceBaseClass::Free(free_now);
}

SequenceEvalNode* SequenceEvalNode::ChildFor(CSequenceTrack* child) {
  for (SequenceEvalNode* node : activeTracks) {
    if (node->track == child) return node;
  }
  SequenceEvalNode* node = New(child, this);
  activeTracks.push_back(node);
  Sequence_LinkChild(this, node);
  return node;
}

void SequenceEvalNode::ResetValues() {
  posx = posy = rotation = xorigin = yorigin = 0;
  scalex = scaley = 1;
  gain = pitch = 1;
  falloff = 0;
  imageindex = 0;
  imagespeed = 1;
  for (float& c : colormultiply) c = 1;
  for (float& c : coloradd) c = 0;
}

// ---- Instances ------------------------------------------------------------------------------------

CSequenceInstance* CSequenceInstance::New(int32_t sequenceIndex) {
  CSequenceInstance* instance = g_instance_class.make<CSequenceInstance>();
  instance->sequenceIndex = sequenceIndex;
  instance->root = SequenceEvalNode::New(nullptr, nullptr);
  Sequence_LinkChild(instance, instance->root);
  return instance;
}

bool CSequenceInstance::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkObject(root);
  Sequence_MarkObject(Sequence());
  return true;
}

void CSequenceInstance::Free(bool free_now) {
  if (id >= 0 && static_cast<size_t>(id) < g_instances.size() && g_instances[static_cast<size_t>(id)] == this) {
    g_instances[static_cast<size_t>(id)] = nullptr;
  }
  id = -1;
  root = nullptr;
  CSequenceBaseClass::Free(free_now);
}

void Sequence_WrapHead(int32_t loopmode, float length, SequenceHead* head) {
  head->finished = false;
  head->wrapped = false;
  float& h = head->position;
  if (length <= 0.0f) {
    h = 0.0f;
    head->finished = loopmode == 0;
    return;
  }
  switch (loopmode) {
    case 0:
      if (h <= 0.0f) {
        h = 0.0f;
        head->finished = head->wrapped = head->direction < 0.0f;
      } else if (h >= length) {
        h = length;
        head->finished = head->wrapped = head->direction > 0.0f;
      }
      return;
    case 1:
      if (h < 0.0f || h >= length) {
        h = std::fmod(h, length);
        if (h < 0.0f) h += length;
        head->wrapped = true;
      }
      return;
    case 2:
      if (h < 0.0f || h >= length) {
        if (h < 0.0f) h = -h;
        const float r = std::fmod(h, length);
        const auto k = static_cast<int64_t>(std::trunc(h / length));
        if (k % 2 != 0) {
          h = length - r;
          head->direction = -1.0f;
        } else {
          h = r;
          head->direction = 1.0f;
        }
        head->wrapped = true;
      }
      return;
    default:
      return;
  }
}

// ---- Table and element hooks --------------------------------------------------------------------------

CSequenceInstance* SequenceInstance_Get(int32_t id) {
  return id >= 0 && static_cast<size_t>(id) < g_instances.size() ? g_instances[static_cast<size_t>(id)] : nullptr;
}

CSequenceInstance* SequenceInstance_OfElement(const CLayerSequenceElement* element) {
  return element != nullptr ? SequenceInstance_Get(element->instance) : nullptr;
}

int32_t SequenceInstance_CreateForElement(CLayerSequenceElement* element) {
  if (Sequence_Get(element->sequenceIndex) == nullptr) return -1;
  CSequenceInstance* instance = CSequenceInstance::New(element->sequenceIndex);
  instance->headPosition = element->headPosition;
  instance->lastHeadPosition = element->headPosition;
  instance->headDirection = element->headDirection;
  instance->speedScale = element->speed;
  instance->paused = element->paused;
  instance->elementID = element->id;
  instance->room = Run_Room;  // elements start only in the running room
  size_t slot = 0;
  while (slot < g_instances.size() && g_instances[slot] != nullptr) ++slot;
  if (slot == g_instances.size()) g_instances.push_back(nullptr);
  g_instances[slot] = instance;
  instance->id = static_cast<int32_t>(slot);
  GCAddRoot(instance);
  return instance->id;
}

void SequenceInstance_Destroy(int32_t id) {
  CSequenceInstance* instance = SequenceInstance_Get(id);
  if (instance == nullptr) return;
  // The element is going: its play state is handed back, so a restart of the layer goes on.
  if (CLayerSequenceElement* element = element_of(instance)) {
    element->headPosition = instance->headPosition;
    element->headDirection = instance->headDirection;
    element->paused = instance->paused;
    element->instance = -1;
  }
  release_instances(instance->root);
  g_instances[static_cast<size_t>(id)] = nullptr;
  instance->id = -1;
  GCRemoveRoot(instance);
}

void SequenceInstance_Init() {
  g_LayerElementHooks.sequenceCreate = SequenceInstance_CreateForElement;
  g_LayerElementHooks.sequenceDestroy = SequenceInstance_Destroy;
}

void SequenceInstance_FreeAll() {
  for (size_t id = 0; id < g_instances.size(); ++id) {
    if (g_instances[id] != nullptr) SequenceInstance_Destroy(static_cast<int32_t>(id));
  }
  g_instances.clear();
}

// ---- Evaluation -----------------------------------------------------------------------------------

void Sequence_Evaluate(CSequenceInstance* instance, bool force) {
  CSequence* sequence = instance->Sequence();
  if (sequence == nullptr || instance->root == nullptr) return;
  const Transform placement = element_transform(sequence, element_of(instance));
  evaluate_tracks(instance, sequence->tracks, instance->root, placement, instance->headPosition, sequence->length,
                  force, 0);
}

void Sequence_StartInstance(CSequenceInstance* instance) {
  CSequence* sequence = instance->Sequence();
  if (sequence == nullptr) return;
  const CLayerSequenceElement* element = element_of(instance);
  instantiate(instance, sequence->tracks, instance->root,
              element != nullptr && element->layer != nullptr ? element->layer->id : -1);
}

CLayerSequenceElement* SequenceInstance_Element(const CSequenceInstance* instance) { return element_of(instance); }

std::vector<CSequenceInstance*> SequenceInstance_OfRoom(const CRoom* room) {
  std::vector<CSequenceInstance*> found;
  for (CSequenceInstance* instance : g_instances) {
    if (instance != nullptr && instance->room == room) found.push_back(instance);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const CSequenceInstance* a, const CSequenceInstance* b) { return a->elementID < b->elementID; });
  return found;
}

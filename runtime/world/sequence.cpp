// Sequence objects, the key finder, the build from SEQN records and the sequence table.
#include "world/sequence.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <strings.h>

#include "core/gc.h"
#include "data/asset_scripts.h"
#include "world/asset_sequences.h"
#include "world/sequence_instance.h"

using datawin::seqn::TrackKind;

namespace {

ScriptObjectTable<CSequence> g_sequences;

struct ParameterName {
  const char* name;
  int32_t parameter;
};
constexpr ParameterName kParameterNames[] = {
    {"gain", kParamGain},
    {"pitch", kParamPitch},
    {"falloff", kParamFalloff},
    {"rotation", kParamRotation},
    {"image_angle", kParamRotation},
    {"blend_add", kParamBlendAdd},
    {"blend_multiply", kParamBlendMultiply},
    {"image_blend", kParamBlendMultiply},
    {"mask", kParamMask},
    {"subject", kParamSubject},
    {"position", kParamPosition},
    {"scale", kParamScale},
    {"origin", kParamOrigin},
    {"image_speed", kParamImageSpeed},
    {"image_index", kParamImageIndex},
    {"frameSize", kParamFrameSize},
    {"frame_size", kParamFrameSize},
    {"characterSpacing", kParamCharacterSpacing},
    {"character_spacing", kParamCharacterSpacing},
    {"lineSpacing", kParamLineSpacing},
    {"line_spacing", kParamLineSpacing},
    {"paragraphSpacing", kParamParagraphSpacing},
    {"paragraph_spacing", kParamParagraphSpacing},
};

// A method for the script of SCPT index `script`, unbound (it runs with the caller's self).
RValue script_method(int32_t script) {
  const ScriptAsset* asset = Script_Table().get(script);
  CScriptRef* method = asset != nullptr ? Method_ForScript(asset->code_index, nullptr) : nullptr;
  return method != nullptr ? RV_Object(method) : RV_Undefined();
}

CSequenceKey* key_from_asset(int32_t kind, const SequenceKeyAsset& from) {
  CSequenceKey* key = CSequenceKey::New(kind);
  key->channel = from.channel;
  key->spriteIndex = from.spriteIndex;
  key->soundIndex = from.soundIndex;
  key->emitterIndex = from.emitterIndex;
  key->playbackMode = from.playbackMode;
  key->value = kind == TrackKind::kTrackBool ? (from.bool_value ? 1.0f : 0.0f) : from.value;
  key->colour = from.colour;
  key->embeddedCurve = from.embedded_curve;
  if (from.curve != nullptr) {
    key->SetCurve(AnimCurve_FromAsset(*from.curve));
  } else if (CAnimCurve* shared = AnimCurve_Get(from.curve_index)) {
    key->SetCurve(shared);
  }
  if (from.string_value != nullptr) key->text = from.string_value;
  key->sequence = from.sequence;
  key->imageIndex = from.imageIndex;
  key->objectIndex = from.objectIndex;
  key->wrap = from.wrap;
  key->alignmentH = from.alignmentH;
  key->alignmentV = from.alignmentV;
  key->fontIndex = from.fontIndex;
  for (const char* name : from.events) key->events.emplace_back(name != nullptr ? name : "");
  if (kind == kKeyMoment && !from.events.empty()) {
    const int32_t script = Script_Find(from.events[0]);
    if (script >= 0) key->event = script_method(script);
  }
  return key;
}

std::vector<CSequenceKeyframe*> keyframes_from_assets(int32_t kind, const std::vector<SequenceKeyframeAsset>& assets) {
  std::vector<CSequenceKeyframe*> keyframes;
  for (const SequenceKeyframeAsset& from : assets) {
    CSequenceKeyframe* keyframe = CSequenceKeyframe::New();
    keyframe->frame = from.frame;
    keyframe->length = from.length;
    keyframe->stretch = from.stretch;
    keyframe->disabled = from.disabled;
    for (const SequenceKeyAsset& key : from.channels) keyframe->PutChannel(key_from_asset(kind, key));
    keyframes.push_back(keyframe);
  }
  return keyframes;
}

CSequenceTrack* track_from_asset(const SequenceTrackAsset& from) {
  CSequenceTrack* track = CSequenceTrack::New(from.type);
  if (from.name != nullptr) track->name = from.name;
  track->subType = from.subType;
  track->traits = from.traits;
  track->creation = from.creation;
  track->linked = from.linked;
  track->linkedTrack = from.linkedTrack;
  track->visible = from.visible;
  track->enabled = from.enabled;
  track->interpolation = static_cast<int32_t>(from.interpolation);
  for (const std::unique_ptr<CurveAsset>& resource : from.resources) {
    if (resource == nullptr) continue;
    CAnimCurve* curve = AnimCurve_FromAsset(*resource);
    track->curves.push_back(curve);
    Sequence_LinkChild(track, curve);
  }
  std::vector<CSequenceTrack*> children;
  for (const SequenceTrackAsset& child : from.tracks) children.push_back(track_from_asset(child));
  track->SetTracks(std::move(children));
  track->SetKeyframes(keyframes_from_assets(from.type, from.keyframes));
  return track;
}

}  // namespace

const char* const kSequenceEventNames[kSeqEventCount] = {
    "create", "destroy", "clean_up", "step", "step_begin", "step_end", "async_system", "broadcast_message",
};

int32_t Sequence_EventOf(int32_t type, int32_t subtype) {
  switch (type) {
    case 0: return kSeqEventCreate;
    case 1: return kSeqEventDestroy;
    case 12: return kSeqEventCleanUp;
    case 3:
      if (subtype == 0) return kSeqEventStep;
      if (subtype == 1) return kSeqEventStepBegin;
      if (subtype == 2) return kSeqEventStepEnd;
      return -1;
    case 7:
      if (subtype == 75) return kSeqEventAsyncSystem;
      if (subtype == 76) return kSeqEventBroadcastMessage;
      return -1;
    default: return -1;
  }
}

int32_t Sequence_ParameterOfName(const char* name) {
  if (name == nullptr) return kParamNone;
  for (const ParameterName& entry : kParameterNames) {
    if (strcasecmp(entry.name, name) == 0) return entry.parameter;
  }
  return kParamNone;
}

// ---- Keys -----------------------------------------------------------------------------------------

bool CSequenceKey::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkObject(curve);
  GCMarkValue(event);
  return true;
}

void CSequenceKey::Free(bool free_now) {
  curve = nullptr;
  events.clear();
  RV_FreeToUndefined(&event);
  CSequenceBaseClass::Free(free_now);
}

bool CSequenceKey::IsDirtySince(uint32_t stamp) const {
  return changeStamp > stamp || (curve != nullptr && curve->IsDirtySince(stamp));
}

void CSequenceKey::SetCurve(CAnimCurve* replacement) {
  curve = replacement;
  Sequence_LinkChild(this, curve);
  Touch();
}

// ---- Keyframes ------------------------------------------------------------------------------------

bool CSequenceKeyframe::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkAll(channels);
  return true;
}

void CSequenceKeyframe::Free(bool free_now) {
  channels.clear();
  CSequenceBaseClass::Free(free_now);
}

bool CSequenceKeyframe::IsDirtySince(uint32_t stamp) const {
  if (changeStamp > stamp) return true;
  return std::any_of(channels.begin(), channels.end(), [stamp](const CSequenceKey* k) { return k->IsDirtySince(stamp); });
}

CSequenceKey* CSequenceKeyframe::Channel(int32_t channel) const {
  for (CSequenceKey* key : channels) {
    if (key->channel == channel) return key;
  }
  return nullptr;
}

void CSequenceKeyframe::PutChannel(CSequenceKey* key) {
  if (key == nullptr) return;
  Sequence_LinkChild(this, key);
  Touch();
  for (CSequenceKey*& earlier : channels) {
    if (earlier->channel == key->channel) {
      earlier = key;
      return;
    }
  }
  channels.push_back(key);
}

// ---- Tracks ---------------------------------------------------------------------------------------

bool CSequenceTrack::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkAll(tracks);
  Sequence_MarkAll(keyframes);
  Sequence_MarkAll(curves);
  return true;
}

void CSequenceTrack::Free(bool free_now) {
  tracks.clear();
  keyframes.clear();
  curves.clear();
  CSequenceBaseClass::Free(free_now);
}

bool CSequenceTrack::IsDirtySince(uint32_t stamp) const {
  if (changeStamp > stamp) return true;
  auto dirty = [stamp](const CSequenceBaseClass* part) { return part->IsDirtySince(stamp); };
  return std::any_of(tracks.begin(), tracks.end(), dirty) || std::any_of(keyframes.begin(), keyframes.end(), dirty);
}

void CSequenceTrack::SetTracks(std::vector<CSequenceTrack*> children) {
  tracks = std::move(children);
  for (CSequenceTrack* child : tracks) Sequence_LinkChild(this, child);
  Touch();
}

void CSequenceTrack::SetKeyframes(std::vector<CSequenceKeyframe*> replacement) {
  keyframes = std::move(replacement);
  std::stable_sort(keyframes.begin(), keyframes.end(),
                   [](const CSequenceKeyframe* a, const CSequenceKeyframe* b) { return a->frame < b->frame; });
  for (CSequenceKeyframe* keyframe : keyframes) Sequence_LinkChild(this, keyframe);
  Touch();
}

// ---- Sequences ------------------------------------------------------------------------------------

CSequence::~CSequence() {
  Sequence_Remove(this);
  for (RValue& event : events) RV_FreeToUndefined(&event);
}

bool CSequence::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkAll(tracks);
  Sequence_MarkAll(messageEventKeyframes);
  Sequence_MarkAll(momentKeyframes);
  for (const RValue& event : events) GCMarkValue(event);
  return true;
}

void CSequence::Free(bool free_now) {
  Sequence_Remove(this);
  tracks.clear();
  messageEventKeyframes.clear();
  momentKeyframes.clear();
  for (RValue& event : events) RV_FreeToUndefined(&event);
  CSequenceBaseClass::Free(free_now);
}

bool CSequence::IsDirtySince(uint32_t stamp) const {
  if (changeStamp > stamp) return true;
  auto dirty = [stamp](const CSequenceBaseClass* part) { return part->IsDirtySince(stamp); };
  return std::any_of(tracks.begin(), tracks.end(), dirty) ||
         std::any_of(messageEventKeyframes.begin(), messageEventKeyframes.end(), dirty) ||
         std::any_of(momentKeyframes.begin(), momentKeyframes.end(), dirty);
}

void CSequence::SetTracks(std::vector<CSequenceTrack*> replacement) {
  tracks = std::move(replacement);
  for (CSequenceTrack* track : tracks) Sequence_LinkChild(this, track);
  Touch();
}

void CSequence::SetKeyframes(std::vector<CSequenceKeyframe*>* which, std::vector<CSequenceKeyframe*> replacement) {
  *which = std::move(replacement);
  std::stable_sort(which->begin(), which->end(),
                   [](const CSequenceKeyframe* a, const CSequenceKeyframe* b) { return a->frame < b->frame; });
  for (CSequenceKeyframe* keyframe : *which) Sequence_LinkChild(this, keyframe);
  Touch();
}

// ---- Keys at a head -------------------------------------------------------------------------------

float Sequence_KeySpan(const std::vector<CSequenceKeyframe*>& keyframes, size_t i) {
  const CSequenceKeyframe* keyframe = keyframes[i];
  if (!keyframe->stretch) return keyframe->length;
  if (i + 1 < keyframes.size()) return keyframes[i + 1]->frame - keyframe->frame;
  return std::numeric_limits<float>::max();
}

int32_t Sequence_FindKeyframe(const std::vector<CSequenceKeyframe*>& keyframes, float head, float length) {
  if (keyframes.empty()) return -1;
  // The last keyframe whose frame is at or before the head.
  size_t lo = 0, hi = keyframes.size();
  while (lo < hi) {
    const size_t mid = (lo + hi) / 2;
    if (keyframes[mid]->frame <= head) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  if (lo == 0) return -1;
  const size_t at = lo - 1;
  const float end = keyframes[at]->frame + Sequence_KeySpan(keyframes, at);
  if (head < end) return static_cast<int32_t>(at);
  // The end of the sequence stays in a last keyframe that ends exactly there.
  if (at + 1 == keyframes.size() && head >= length && end == length) return static_cast<int32_t>(at);
  return -1;
}

// ---- Building -------------------------------------------------------------------------------------

CSequence* Sequence_FromAsset(const SequenceAsset& asset) {
  CSequence* sequence = CSequence::New();
  if (asset.name != nullptr) sequence->name = asset.name;
  sequence->loopmode = asset.loopmode;
  sequence->playbackSpeed = asset.playbackSpeed;
  sequence->playbackSpeedType = asset.playbackSpeedType;
  sequence->length = asset.length;
  sequence->xorigin = asset.xorigin;
  sequence->yorigin = asset.yorigin;
  sequence->volume = asset.volume;
  sequence->SetKeyframes(&sequence->messageEventKeyframes, keyframes_from_assets(kKeyMessage, asset.messageEventKeyframes));
  sequence->SetKeyframes(&sequence->momentKeyframes, keyframes_from_assets(kKeyMoment, asset.momentKeyframes));
  std::vector<CSequenceTrack*> tracks;
  for (const SequenceTrackAsset& track : asset.tracks) tracks.push_back(track_from_asset(track));
  sequence->SetTracks(std::move(tracks));
  for (const SequenceEventAsset& event : asset.events) {
    const int32_t slot = Sequence_EventOf(static_cast<int32_t>(event.id >> datawin::seqn::kEventTypeShift),
                                          static_cast<int32_t>(event.id & datawin::seqn::kEventSubtypeMask));
    if (slot < 0) continue;
    RValue method = script_method(event.script);
    RV_Assign(&sequence->events[slot], &method);
    RV_FreeToUndefined(&method);
  }
  return sequence;
}

// ---- The table ------------------------------------------------------------------------------------

CSequence* Sequence_Get(int32_t id) { return g_sequences.get(id); }
int32_t Sequence_Add(CSequence* sequence) { return g_sequences.add(sequence); }
void Sequence_Remove(CSequence* sequence) { g_sequences.remove(sequence); }
bool Sequence_IsAsset(const CSequence* sequence) { return g_sequences.is_asset(sequence); }
void Sequence_FreeAll() { g_sequences.free_all(); }

void Sequence_BuildFromAssets() {
  const AssetTable<SequenceAsset>& assets = SequenceAsset_Table();
  g_sequences.reset_assets(static_cast<size_t>(assets.count()));
  for (int32_t i = 0; i < assets.count(); ++i) {
    if (const SequenceAsset* asset = assets.get(i)) g_sequences.set_asset(i, Sequence_FromAsset(*asset));
  }
}

bool Sequence_Prepare() {
  AnimCurve_BuildFromAssets();
  Sequence_BuildFromAssets();
  SequenceInstance_Init();
  return true;
}

void Sequence_FreeSubjects() {
  SequenceInstance_FreeAll();
  Sequence_FreeAll();
  AnimCurve_FreeAll();
}

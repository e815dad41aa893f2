// The script face of sequences: the struct classes of key data, keyframes, tracks and sequences,
// with their properties. Setters of the arrays check every entry; the loop mode and speed type
// refuse values out of range with a console line.
#include <cstring>

#include "core/console.h"
#include "core/error.h"
#include "world/sequence.h"

using datawin::seqn::TrackKind;

namespace {

#define SEQ_PROPERTY SEQUENCE_PROPERTY

// Getters and setters of plain fields, by member pointer. A write records the edit.
template <class T, class F, F T::*Member>
SEQ_PROPERTY(get_field) {
  T* object = SequenceProperty_Self<T>(self, index);
  if (object == nullptr) return;
  const F& value = object->*Member;
  if constexpr (std::is_same_v<F, std::string>) {
    SequenceProperty_SetString(result, value.c_str());
  } else if constexpr (std::is_same_v<F, bool>) {
    *result = RV_Bool(value);
  } else {
    *result = RV_Real(static_cast<double>(value));
  }
}

template <class T, class F, F T::*Member>
SEQ_PROPERTY(set_field) {
  T* object = SequenceProperty_Self<T>(self, index);
  if (object == nullptr) return;
  if constexpr (std::is_same_v<F, std::string>) {
    object->*Member = RV_StringText(argv[0]);
  } else if constexpr (std::is_same_v<F, bool>) {
    object->*Member = RV_ToBool(argv[0]);
  } else if constexpr (std::is_same_v<F, uint32_t>) {
    object->*Member = static_cast<uint32_t>(RV_ToInt64(argv[0]));
  } else if constexpr (std::is_same_v<F, int32_t>) {
    object->*Member = RV_ToInt32(argv[0]);
  } else {
    object->*Member = static_cast<F>(RV_ToDouble(argv[0]));
  }
  object->Touch();
}

#define FIELD(T, member) {#member, get_field<T, decltype(T::member), &T::member>, set_field<T, decltype(T::member), &T::member>}
#define FIELD_AS(T, name, member) {name, get_field<T, decltype(T::member), &T::member>, set_field<T, decltype(T::member), &T::member>}

// An array property of objects; a list holding a null is a broken sequence.
template <class T, class E, std::vector<E*> T::*Member>
SEQ_PROPERTY(get_list) {
  T* object = Sequence_Self<T>(self);
  if (object == nullptr) return;
  for (const E* entry : object->*Member) {
    if (entry == nullptr) {
      KVError("Sequence data is corrupted");
      return;
    }
  }
  SequenceProperty_SetObjects(result, object->*Member);
}

// ---- Key data -------------------------------------------------------------------------------------

SEQ_PROPERTY(key_get_curve) {
  CSequenceKey* key = SequenceProperty_Self<CSequenceKey>(self, index);
  if (key != nullptr) *result = key->curve != nullptr ? RV_Object(key->curve) : RV_Undefined();
}
SEQ_PROPERTY(key_set_curve) {
  CSequenceKey* key = SequenceProperty_Self<CSequenceKey>(self, index);
  if (key == nullptr) return;
  KVObjectBase* object = RV_ObjectOf(argv[0]);
  auto* curve = object != nullptr ? dynamic_cast<CAnimCurve*>(object) : nullptr;
  if (object != nullptr && curve == nullptr) {
    KVError("curve property of a keyframe must be an animation curve");
    return;
  }
  key->embeddedCurve = curve != nullptr;
  key->SetCurve(curve);
}
SEQ_PROPERTY(key_get_events) {
  CSequenceKey* key = Sequence_Self<CSequenceKey>(self);
  if (key == nullptr) return;
  RV_FreeToUndefined(result);
  result->pArray = RV_NewArray(static_cast<int32_t>(key->events.size()));
  result->flags = 0;
  result->kind = kRVArray;
  for (size_t i = 0; i < key->events.size(); ++i) RV_SetString(&result->pArray->pArray[i], key->events[i].c_str());
}
SEQ_PROPERTY(key_set_events) {
  CSequenceKey* key = SequenceProperty_Self<CSequenceKey>(self, index);
  if (key == nullptr) return;
  const int32_t length = SequenceProperty_ArrayLength(argv[0]);
  if (length < 0) {
    KVError("events property of a message keyframe must be an array of strings");
    return;
  }
  key->events.clear();
  for (int32_t i = 0; i < length; ++i) key->events.emplace_back(RV_StringText(argv[0].pArray->pArray[i]));
  key->Touch();
}
SEQ_PROPERTY(key_get_event) {
  if (CSequenceKey* key = SequenceProperty_Self<CSequenceKey>(self, index)) RV_Assign(result, &key->event);
}
SEQ_PROPERTY(key_set_event) {
  CSequenceKey* key = SequenceProperty_Self<CSequenceKey>(self, index);
  if (key == nullptr) return;
  RV_Assign(&key->event, &argv[0]);
  if (KVObjectBase* object = RV_ObjectOf(argv[0])) Sequence_LinkChild(key, object);
  key->Touch();
}

using K = CSequenceKey;
ScriptStructClass g_graphic_key("SequenceGraphicKeyframeData", {FIELD(K, channel), FIELD(K, spriteIndex)});
ScriptStructClass g_audio_key("SequenceAudioKeyframeData", {FIELD(K, channel), FIELD(K, soundIndex),
                                                            FIELD(K, emitterIndex), FIELD(K, playbackMode)});
ScriptStructClass g_real_key("SequenceRealKeyframeData",
                             {FIELD(K, channel), FIELD(K, value), {"curve", key_get_curve, key_set_curve}});
ScriptStructClass g_colour_key("SequenceColourKeyframeData",
                               {FIELD(K, channel), FIELD(K, colour), {"curve", key_get_curve, key_set_curve}});
ScriptStructClass g_bool_key("SequenceBoolKeyframeData", {FIELD(K, channel), FIELD(K, value)});
ScriptStructClass g_string_key("SequenceStringKeyframeData", {FIELD(K, channel), FIELD_AS(K, "value", text)});
ScriptStructClass g_sequence_key("SequenceSequenceKeyframeData", {FIELD(K, channel), FIELD(K, sequence)});
ScriptStructClass g_frames_key("SequenceSpriteFramesKeyframeData", {FIELD(K, channel), FIELD(K, imageIndex)});
ScriptStructClass g_instance_key("SequenceInstanceKeyframeData", {FIELD(K, channel), FIELD(K, objectIndex)});
ScriptStructClass g_text_key("SequenceTextKeyframeData", {FIELD(K, channel), FIELD(K, text), FIELD(K, wrap),
                                                          FIELD(K, alignmentH), FIELD(K, alignmentV), FIELD(K, fontIndex)});
ScriptStructClass g_message_key("SequenceMessageEventKeyframeData",
                                {FIELD(K, channel), {"events", key_get_events, key_set_events}});
ScriptStructClass g_moment_key("SequenceMomentKeyframeData",
                               {FIELD(K, channel), {"event", key_get_event, key_set_event}});

ScriptStructClass* key_class(int32_t kind) {
  switch (kind) {
    case TrackKind::kTrackGraphic: return &g_graphic_key;
    case TrackKind::kTrackAudio: return &g_audio_key;
    case TrackKind::kTrackReal: return &g_real_key;
    case TrackKind::kTrackColour: return &g_colour_key;
    case TrackKind::kTrackBool: return &g_bool_key;
    case TrackKind::kTrackString: return &g_string_key;
    case TrackKind::kTrackSequence: return &g_sequence_key;
    case TrackKind::kTrackSpriteFrames: return &g_frames_key;
    case TrackKind::kTrackInstance: return &g_instance_key;
    case TrackKind::kTrackText: return &g_text_key;
    case kKeyMessage: return &g_message_key;
    case kKeyMoment: return &g_moment_key;
    default: return nullptr;
  }
}

// ---- Keyframes ------------------------------------------------------------------------------------

// The channels as an array indexed by channel number; holes read as undefined.
SEQ_PROPERTY(keyframe_get_channels) {
  CSequenceKeyframe* keyframe = Sequence_Self<CSequenceKeyframe>(self);
  if (keyframe == nullptr) return;
  std::vector<CSequenceKey*> by_channel;
  for (CSequenceKey* key : keyframe->channels) {
    if (key->channel < 0) continue;
    if (static_cast<size_t>(key->channel) >= by_channel.size()) by_channel.resize(static_cast<size_t>(key->channel) + 1);
    by_channel[static_cast<size_t>(key->channel)] = key;
  }
  SequenceProperty_SetObjects(result, by_channel);
}
// Entry i becomes channel i; undefined entries leave the channel out.
SEQ_PROPERTY(keyframe_set_channels) {
  CSequenceKeyframe* keyframe = SequenceProperty_Self<CSequenceKeyframe>(self, index);
  if (keyframe == nullptr) return;
  const int32_t length = SequenceProperty_ArrayLength(argv[0]);
  if (length < 0) {
    SequenceProperty_RaiseEntry(0, "channels", "keyframe data");
    return;
  }
  std::vector<CSequenceKey*> keys;
  for (int32_t i = 0; i < length; ++i) {
    if (RV_Kind(argv[0].pArray->pArray[i]) == kRVUndefined) continue;
    KVObjectBase* object = nullptr;
    CSequenceKey* key = SequenceProperty_ArrayEntry(argv[0], i, &object) ? dynamic_cast<CSequenceKey*>(object) : nullptr;
    if (key == nullptr) {
      SequenceProperty_RaiseEntry(i, "channels", "keyframe data");
      return;
    }
    key->channel = i;
    keys.push_back(key);
  }
  keyframe->channels.clear();
  for (CSequenceKey* key : keys) keyframe->PutChannel(key);
  keyframe->Touch();
}

using KF = CSequenceKeyframe;
ScriptStructClass g_keyframe_class("SequenceKeyframe",
                                   {FIELD(KF, frame), FIELD(KF, length), FIELD(KF, stretch), FIELD(KF, disabled),
                                    {"channels", keyframe_get_channels, keyframe_set_channels}});

// ---- Tracks ---------------------------------------------------------------------------------------

SEQ_PROPERTY(track_get_type) {
  if (CSequenceTrack* track = SequenceProperty_Self<CSequenceTrack>(self, index)) *result = RV_Real(track->kind);
}
// A parameter track made by a script drives what its name says.
SEQ_PROPERTY(track_set_name) {
  CSequenceTrack* track = SequenceProperty_Self<CSequenceTrack>(self, index);
  if (track == nullptr) return;
  track->name = RV_StringText(argv[0]);
  if (track->IsParameter()) track->subType = Sequence_ParameterOfName(track->name.c_str());
  track->Touch();
}
SEQ_PROPERTY(track_set_tracks) {
  CSequenceTrack* track = SequenceProperty_Self<CSequenceTrack>(self, index);
  std::vector<CSequenceTrack*> tracks;
  if (track != nullptr && SequenceProperty_ReadObjects(argv[0], "tracks", "a track", &tracks)) {
    track->SetTracks(std::move(tracks));
  }
}
SEQ_PROPERTY(track_set_keyframes) {
  CSequenceTrack* track = SequenceProperty_Self<CSequenceTrack>(self, index);
  std::vector<CSequenceKeyframe*> keyframes;
  if (track != nullptr && SequenceProperty_ReadObjects(argv[0], "keyframes", "a keyframe", &keyframes)) {
    track->SetKeyframes(std::move(keyframes));
  }
}

using T = CSequenceTrack;
#define TRACK_PROPERTIES                                                                                      \
  {"type", track_get_type, nullptr}, {"name", get_field<T, std::string, &T::name>, track_set_name},         \
      FIELD(T, subType), FIELD(T, traits), {"tracks", get_list<T, T, &T::tracks>, track_set_tracks},        \
      FIELD(T, visible), FIELD(T, enabled), FIELD(T, linked), FIELD(T, linkedTrack),                        \
      {"keyframes", get_list<T, KF, &T::keyframes>, track_set_keyframes}
ScriptStructClass g_track_class("SequenceTrack", {TRACK_PROPERTIES});
ScriptStructClass g_real_track_class("SequenceTrack", {TRACK_PROPERTIES, FIELD(T, interpolation)});
#undef TRACK_PROPERTIES

// ---- Sequences ------------------------------------------------------------------------------------

SEQ_PROPERTY(sequence_set_loopmode) {
  CSequence* sequence = SequenceProperty_Self<CSequence>(self, index);
  if (sequence == nullptr) return;
  const double value = RV_ToDouble(argv[0]);
  if (value < 0.0 || value > 2.0) {
    g_ReleaseConsole->Output("Trying to set loopmode property of sequence to out-of-bounds value %f\n", value);
    return;
  }
  sequence->loopmode = static_cast<int32_t>(value);
  sequence->Touch();
}
SEQ_PROPERTY(sequence_set_speed_type) {
  CSequence* sequence = SequenceProperty_Self<CSequence>(self, index);
  if (sequence == nullptr) return;
  const double value = RV_ToDouble(argv[0]);
  if (value < 0.0 || value > 1.0) {
    g_ReleaseConsole->Output("Trying to set playbackSpeedType property of sequence to out-of-bounds value %f\n", value);
    return;
  }
  sequence->playbackSpeedType = static_cast<int32_t>(value);
  sequence->Touch();
}
template <std::vector<CSequenceKeyframe*> CSequence::*Member>
SEQ_PROPERTY(sequence_set_keyframes) {
  CSequence* sequence = SequenceProperty_Self<CSequence>(self, index);
  std::vector<CSequenceKeyframe*> keyframes;
  if (sequence != nullptr && SequenceProperty_ReadObjects(argv[0], "keyframes", "a keyframe", &keyframes)) {
    sequence->SetKeyframes(&(sequence->*Member), std::move(keyframes));
  }
}
SEQ_PROPERTY(sequence_set_tracks) {
  CSequence* sequence = SequenceProperty_Self<CSequence>(self, index);
  std::vector<CSequenceTrack*> tracks;
  if (sequence != nullptr && SequenceProperty_ReadObjects(argv[0], "tracks", "a track", &tracks)) {
    sequence->SetTracks(std::move(tracks));
  }
}
template <int32_t Event>
SEQ_PROPERTY(sequence_get_event) {
  if (CSequence* sequence = SequenceProperty_Self<CSequence>(self, index)) RV_Assign(result, &sequence->events[Event]);
}
template <int32_t Event>
SEQ_PROPERTY(sequence_set_event) {
  CSequence* sequence = SequenceProperty_Self<CSequence>(self, index);
  if (sequence == nullptr) return;
  RV_Assign(&sequence->events[Event], &argv[0]);
  if (KVObjectBase* object = RV_ObjectOf(argv[0])) Sequence_LinkChild(sequence, object);
}

using S = CSequence;
#define EVENT_PROPERTY(name, slot) {name, sequence_get_event<slot>, sequence_set_event<slot>}
ScriptStructClass g_sequence_class(
    "Sequence",
    {FIELD(S, name), {"loopmode", get_field<S, int32_t, &S::loopmode>, sequence_set_loopmode}, FIELD(S, playbackSpeed),
     {"playbackSpeedType", get_field<S, int32_t, &S::playbackSpeedType>, sequence_set_speed_type}, FIELD(S, length),
     FIELD(S, xorigin), FIELD(S, yorigin), FIELD(S, volume),
     {"messageEventKeyframes", get_list<S, KF, &S::messageEventKeyframes>,
      sequence_set_keyframes<&S::messageEventKeyframes>},
     {"momentKeyframes", get_list<S, KF, &S::momentKeyframes>, sequence_set_keyframes<&S::momentKeyframes>},
     {"tracks", get_list<S, T, &S::tracks>, sequence_set_tracks},
     EVENT_PROPERTY("event_create", kSeqEventCreate), EVENT_PROPERTY("event_destroy", kSeqEventDestroy),
     EVENT_PROPERTY("event_clean_up", kSeqEventCleanUp), EVENT_PROPERTY("event_step", kSeqEventStep),
     EVENT_PROPERTY("event_step_begin", kSeqEventStepBegin), EVENT_PROPERTY("event_step_end", kSeqEventStepEnd),
     EVENT_PROPERTY("event_async_system", kSeqEventAsyncSystem),
     EVENT_PROPERTY("event_broadcast_message", kSeqEventBroadcastMessage)});
#undef EVENT_PROPERTY
#undef FIELD
#undef FIELD_AS
#undef SEQ_PROPERTY

}  // namespace

CSequenceKey* CSequenceKey::New(int32_t kind) {
  ScriptStructClass* type = key_class(kind);
  if (type == nullptr) return nullptr;
  CSequenceKey* key = type->make<CSequenceKey>();
  key->kind = kind;
  return key;
}

CSequenceKeyframe* CSequenceKeyframe::New() { return g_keyframe_class.make<CSequenceKeyframe>(); }

CSequenceTrack* CSequenceTrack::New(int32_t kind) {
  const bool real = kind == TrackKind::kTrackReal || kind == TrackKind::kTrackColour;
  CSequenceTrack* track = (real ? g_real_track_class : g_track_class).make<CSequenceTrack>();
  track->kind = kind;
  return track;
}

CSequence* CSequence::New() {
  CSequence* sequence = g_sequence_class.make<CSequence>();
  for (RValue& event : sequence->events) event = RV_Undefined();
  return sequence;
}

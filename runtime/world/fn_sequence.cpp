// The sequence_* builtins: argument reading here, the objects in sequence.cpp. A sequence argument
// is a sequence id or a sequence struct, a track argument a track struct; one that names nothing
// raises "<name>() - specified sequence does not exist" or "<name>() - specified track is not valid".
#include <algorithm>

#include "core/console.h"
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "world/instance.h"
#include "world/sequence_instance.h"

using datawin::seqn::TrackKind;

namespace {

using fn_value::is_number;
using fn_value::set_result;
using fn_value::with_args;

#define FN_SEQ(name)                                                                                              \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

template <class T>
T* object_of(const RValue& value) {
  KVObjectBase* object = RV_ObjectOf(value);
  return object != nullptr ? dynamic_cast<T*>(object) : nullptr;
}

CSequence* sequence_of(const RValue& value) {
  if (CSequence* sequence = object_of<CSequence>(value)) return sequence;
  return is_number(value) ? Sequence_Get(RV_ToInt32(value)) : nullptr;
}

CSequence* sequence_or_raise(const char* name, const RValue& value) {
  CSequence* sequence = sequence_of(value);
  if (sequence == nullptr) KVError("%s() - specified sequence does not exist", name);
  return sequence;
}

CSequenceTrack* track_or_raise(const char* name, const RValue& value) {
  CSequenceTrack* track = object_of<CSequenceTrack>(value);
  if (track == nullptr) KVError("%s() - specified track is not valid", name);
  return track;
}

CSequenceInstance* instance_of(const RValue& value) {
  if (CSequenceInstance* instance = object_of<CSequenceInstance>(value)) return instance->id >= 0 ? instance : nullptr;
  return is_number(value) ? SequenceInstance_Get(RV_ToInt32(value)) : nullptr;
}

bool track_kind_known(int32_t kind) {
  return datawin::seqn::track_model(static_cast<TrackKind>(kind)) != nullptr;
}

// ---- Sequences ------------------------------------------------------------------------------------

FN_SEQ(F_SequenceCreate) {
  CSequence* sequence = CSequence::New();
  Sequence_Add(sequence);
  set_result(result, RV_Object(sequence));
}

// A sequence of the data file stays: it belongs to the game.
FN_SEQ(F_SequenceDestroy) {
  set_result(result, RV_Undefined());
  CSequence* sequence = sequence_or_raise("sequence_destroy", argv[0]);
  if (sequence == nullptr) return;
  if (Sequence_IsAsset(sequence)) {
    g_ReleaseConsole->Output("sequence_destroy() - can't destroy a sequence of the game's data\n");
    return;
  }
  Sequence_Remove(sequence);
}

FN_SEQ(F_SequenceGet) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_get", argv[0])) set_result(result, RV_Object(sequence));
}

FN_SEQ(F_SequenceExists) {
  const CSequence* sequence = sequence_of(argv[0]);
  set_result(result, RV_Bool(sequence != nullptr && sequence->index >= 0));
}

FN_SEQ(F_SequenceKeyframeNew) {
  set_result(result, RV_Undefined());
  const int32_t kind = RV_ToInt32(argv[0]);
  if (!track_kind_known(kind) && kind != kKeyMessage && kind != kKeyMoment) {
    KVError("sequence_keyframe_new() - invalid track type %d", kind);
    return;
  }
  set_result(result, RV_Object(CSequenceKeyframe::New()));
}

FN_SEQ(F_SequenceKeyframedataNew) {
  set_result(result, RV_Undefined());
  CSequenceKey* key = CSequenceKey::New(RV_ToInt32(argv[0]));
  if (key == nullptr) {
    KVError("sequence_keyframedata_new() - invalid track type %d", RV_ToInt32(argv[0]));
    return;
  }
  set_result(result, RV_Object(key));
}

FN_SEQ(F_SequenceTrackNew) {
  set_result(result, RV_Undefined());
  const int32_t kind = RV_ToInt32(argv[0]);
  if (!track_kind_known(kind)) {
    KVError("sequence_track_new() - invalid track type %d", kind);
    return;
  }
  set_result(result, RV_Object(CSequenceTrack::New(kind)));
}

void gather_objects(const std::vector<CSequenceTrack*>& tracks, std::vector<double>* objects, int depth) {
  if (depth > 16) return;
  for (const CSequenceTrack* track : tracks) {
    if (track->kind == TrackKind::kTrackInstance) {
      for (const CSequenceKeyframe* keyframe : track->keyframes) {
        for (const CSequenceKey* key : keyframe->channels) {
          const double object = key->objectIndex;
          if (key->objectIndex >= 0 && std::find(objects->begin(), objects->end(), object) == objects->end()) {
            objects->push_back(object);
          }
        }
      }
    } else if (track->kind == TrackKind::kTrackSequence) {
      for (const CSequenceKeyframe* keyframe : track->keyframes) {
        for (const CSequenceKey* key : keyframe->channels) {
          if (const CSequence* nested = Sequence_Get(key->sequence)) gather_objects(nested->tracks, objects, depth + 1);
        }
      }
    }
    gather_objects(track->tracks, objects, depth + 1);
  }
}

void set_numbers(RValue* result, const std::vector<double>& values) {
  RV_FreeToUndefined(result);
  result->pArray = RV_NewArray(static_cast<int32_t>(values.size()));
  result->flags = 0;
  result->kind = kRVArray;
  for (size_t i = 0; i < values.size(); ++i) result->pArray->pArray[i] = RV_Real(values[i]);
}

// The objects of the instance tracks, nested sequences included, each once.
FN_SEQ(F_SequenceGetObjects) {
  set_result(result, RV_Undefined());
  CSequence* sequence = sequence_or_raise("sequence_get_objects", argv[0]);
  if (sequence == nullptr) return;
  std::vector<double> objects;
  gather_objects(sequence->tracks, &objects, 0);
  set_numbers(result, objects);
}

// (sequence instance, object, instance or object): instance tracks of the object take the given
// instance, or make an instance of the given object, when the sequence instance starts.
FN_SEQ(F_SequenceInstanceOverrideObject) {
  set_result(result, RV_Undefined());
  CSequenceInstance* instance = instance_of(argv[0]);
  if (instance == nullptr) {
    KVError("sequence_instance_override_object() - specified sequence instance does not exist");
    return;
  }
  const int32_t object = RV_ToInt32(argv[1]);
  CSequenceInstance::Override entry{object, -1, -1};
  if (KVObjectBase* given = RV_ObjectOf(argv[2]); given != nullptr && given->kind == kObjInstance) {
    entry.instance = static_cast<CInstance*>(KV_AsInstance(given))->id;
  } else if (RV_ToInt32(argv[2]) >= kInstanceIdBase) {
    entry.instance = RV_ToInt32(argv[2]);
  } else {
    entry.replacement = RV_ToInt32(argv[2]);
  }
  for (CSequenceInstance::Override& existing : instance->overrides) {
    if (existing.object == object) {
      existing = entry;
      return;
    }
  }
  instance->overrides.push_back(entry);
}

FN_SEQ(F_SequenceInstanceExists) { set_result(result, RV_Bool(instance_of(argv[0]) != nullptr)); }

// Setters of the head fields: sequence_length, sequence_fps, sequence_loopmode, sequence_name.
FN_SEQ(F_SequenceLength) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_length", argv[0])) {
    sequence->length = static_cast<float>(RV_ToDouble(argv[1]));
    sequence->Touch();
  }
}
FN_SEQ(F_SequenceFps) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_fps", argv[0])) {
    sequence->playbackSpeed = static_cast<float>(RV_ToDouble(argv[1]));
    sequence->Touch();
  }
}
FN_SEQ(F_SequenceLoopmode) {
  set_result(result, RV_Undefined());
  CSequence* sequence = sequence_or_raise("sequence_loopmode", argv[0]);
  if (sequence == nullptr) return;
  const double mode = RV_ToDouble(argv[1]);
  if (mode < 0.0 || mode > 2.0) {
    g_ReleaseConsole->Output("Trying to set loopmode property of sequence to out-of-bounds value %f\n", mode);
    return;
  }
  sequence->loopmode = static_cast<int32_t>(mode);
  sequence->Touch();
}
FN_SEQ(F_SequenceName) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_name", argv[0])) sequence->name = RV_StringText(argv[1]);
}

FN_SEQ(F_SequenceGetLength) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_get_length", argv[0])) set_result(result, RV_Real(sequence->length));
}
FN_SEQ(F_SequenceGetFps) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_get_fps", argv[0])) {
    set_result(result, RV_Real(sequence->playbackSpeed));
  }
}
FN_SEQ(F_SequenceGetLoopmode) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_get_loopmode", argv[0])) {
    set_result(result, RV_Real(sequence->loopmode));
  }
}
FN_SEQ(F_SequenceGetName) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_get_name", argv[0])) RV_SetString(result, sequence->name.c_str());
}
FN_SEQ(F_SequenceGetTracks) {
  set_result(result, RV_Undefined());
  if (CSequence* sequence = sequence_or_raise("sequence_get_tracks", argv[0])) {
    SequenceProperty_SetObjects(result, sequence->tracks);
  }
}

// ---- Tracks ---------------------------------------------------------------------------------------

FN_SEQ(F_SequenceTrackGetName) {
  set_result(result, RV_Undefined());
  if (CSequenceTrack* track = track_or_raise("sequence_track_get_name", argv[0])) RV_SetString(result, track->name.c_str());
}
FN_SEQ(F_SequenceTrackGetType) {
  set_result(result, RV_Undefined());
  if (CSequenceTrack* track = track_or_raise("sequence_track_get_type", argv[0])) set_result(result, RV_Real(track->kind));
}
FN_SEQ(F_SequenceTrackGetAnimcurves) {
  set_result(result, RV_Undefined());
  if (CSequenceTrack* track = track_or_raise("sequence_track_get_animcurves", argv[0])) {
    SequenceProperty_SetObjects(result, track->curves);
  }
}
FN_SEQ(F_SequenceTrackGetNumkeyframes) {
  set_result(result, RV_Undefined());
  if (CSequenceTrack* track = track_or_raise("sequence_track_get_numkeyframes", argv[0])) {
    set_result(result, RV_Real(static_cast<double>(track->keyframes.size())));
  }
}
// The keyframe at a position of the track's list; undefined outside it.
FN_SEQ(F_SequenceTrackGetKeyframe) {
  set_result(result, RV_Undefined());
  CSequenceTrack* track = track_or_raise("sequence_track_get_keyframe", argv[0]);
  if (track == nullptr) return;
  const int32_t at = RV_ToInt32(argv[1]);
  if (at >= 0 && static_cast<size_t>(at) < track->keyframes.size()) {
    set_result(result, RV_Object(track->keyframes[static_cast<size_t>(at)]));
  }
}
FN_SEQ(F_SequenceTrackGetTracks) {
  set_result(result, RV_Undefined());
  if (CSequenceTrack* track = track_or_raise("sequence_track_get_tracks", argv[0])) {
    SequenceProperty_SetObjects(result, track->tracks);
  }
}

#undef FN_SEQ

}  // namespace

void Sequence_RegisterBuiltins() {
  Function_Add("sequence_create", F_SequenceCreate, 0, 0);
  Function_Add("sequence_destroy", with_args<F_SequenceDestroy, 1>, 1, 0);
  Function_Add("sequence_get", with_args<F_SequenceGet, 1>, 1, 0);
  Function_Add("sequence_exists", with_args<F_SequenceExists, 1>, 1, 0);
  Function_Add("sequence_keyframe_new", with_args<F_SequenceKeyframeNew, 1>, 1, 0);
  Function_Add("sequence_keyframedata_new", with_args<F_SequenceKeyframedataNew, 1>, 1, 0);
  Function_Add("sequence_track_new", with_args<F_SequenceTrackNew, 1>, 1, 0);
  Function_Add("sequence_get_objects", with_args<F_SequenceGetObjects, 1>, 1, 0);
  Function_Add("sequence_instance_override_object", with_args<F_SequenceInstanceOverrideObject, 3>, 3, 0);
  Function_Add("sequence_instance_exists", with_args<F_SequenceInstanceExists, 1>, 1, 0);
  Function_Add("sequence_length", with_args<F_SequenceLength, 2>, 2, 0);
  Function_Add("sequence_fps", with_args<F_SequenceFps, 2>, 2, 0);
  Function_Add("sequence_loopmode", with_args<F_SequenceLoopmode, 2>, 2, 0);
  Function_Add("sequence_name", with_args<F_SequenceName, 2>, 2, 0);
  Function_Add("sequence_get_length", with_args<F_SequenceGetLength, 1>, 1, 0);
  Function_Add("sequence_get_fps", with_args<F_SequenceGetFps, 1>, 1, 0);
  Function_Add("sequence_get_loopmode", with_args<F_SequenceGetLoopmode, 1>, 1, 0);
  Function_Add("sequence_get_name", with_args<F_SequenceGetName, 1>, 1, 0);
  Function_Add("sequence_get_tracks", with_args<F_SequenceGetTracks, 1>, 1, 0);
  Function_Add("sequence_track_get_name", with_args<F_SequenceTrackGetName, 1>, 1, 0);
  Function_Add("sequence_track_get_type", with_args<F_SequenceTrackGetType, 1>, 1, 0);
  Function_Add("sequence_track_get_animcurves", with_args<F_SequenceTrackGetAnimcurves, 1>, 1, 0);
  Function_Add("sequence_track_get_numkeyframes", with_args<F_SequenceTrackGetNumkeyframes, 1>, 1, 0);
  Function_Add("sequence_track_get_keyframe", with_args<F_SequenceTrackGetKeyframe, 2>, 2, 0);
  Function_Add("sequence_track_get_tracks", with_args<F_SequenceTrackGetTracks, 1>, 1, 0);
}

// SEQN: an unread word, then a pointer list of sequence records. A sequence is written front to
// back in the order the reader walks it; the keyframe block of a track starts on a 4-byte
// boundary of the file.
#include "datawin/writer/chunk_rooms.h"

namespace datawin {

namespace {

void put_key_header(Blob& blob, const SequenceKeyframeRecord& keyframe) {
  blob.f32(keyframe.frame);
  blob.f32(keyframe.length);
  blob.u32(keyframe.stretch ? 1 : 0);
  blob.u32(keyframe.disabled ? 1 : 0);
  blob.i32(static_cast<int32_t>(keyframe.channels.size()));
}

void put_message_keyframes(Blob& blob, const std::vector<SequenceKeyframeRecord>& keyframes) {
  blob.i32(static_cast<int32_t>(keyframes.size()));
  for (const SequenceKeyframeRecord& keyframe : keyframes) {
    put_key_header(blob, keyframe);
    for (const SequenceKeyRecord& key : keyframe.channels) {
      blob.i32(key.channel);
      blob.i32(static_cast<int32_t>(key.events.size()));
      for (const std::string& event : key.events) blob.string(event);
    }
  }
}

void put_moment_keyframes(Blob& blob, const std::vector<SequenceKeyframeRecord>& keyframes) {
  blob.i32(static_cast<int32_t>(keyframes.size()));
  for (const SequenceKeyframeRecord& keyframe : keyframes) {
    put_key_header(blob, keyframe);
    for (const SequenceKeyRecord& key : keyframe.channels) {
      blob.i32(key.channel);
      blob.i32(static_cast<int32_t>(key.events.size()));
      if (!key.events.empty()) blob.string(key.events.front());
    }
  }
}

// The value word, the embedded-curve flag and the curve index, then the inline curve if any.
void put_curve_fields(Blob& blob, const SequenceKeyRecord& key) {
  blob.u32(key.curve ? 1 : 0);
  blob.i32(key.curve ? -1 : key.curve_index);
  if (key.curve) put_inline_curve(blob, *key.curve);
}

void put_key(Blob& blob, seqn::TrackKind kind, const SequenceKeyRecord& key) {
  blob.i32(key.channel);
  switch (kind) {
    case seqn::kTrackGraphic:
      blob.i32(key.sprite_index);
      break;
    case seqn::kTrackAudio:
      blob.i32(key.sound_index);
      blob.i32(key.emitter_index);
      blob.i32(key.playback_mode);
      break;
    case seqn::kTrackReal:
      blob.f32(key.value);
      put_curve_fields(blob, key);
      break;
    case seqn::kTrackColour:
      blob.u32(key.colour);
      put_curve_fields(blob, key);
      break;
    case seqn::kTrackBool:
      blob.u32(key.bool_value ? 1 : 0);
      break;
    case seqn::kTrackString:
      blob.string(key.text);
      break;
    case seqn::kTrackSequence:
      blob.i32(key.sequence);
      break;
    case seqn::kTrackSpriteFrames:
      blob.i32(key.image_index);
      break;
    case seqn::kTrackInstance:
      blob.i32(key.object_index);
      break;
    case seqn::kTrackText:
      blob.string(key.text);
      blob.i32(key.wrap);
      blob.u32((static_cast<uint32_t>(key.alignment_h) & seqn::kAlignHMask) |
               (static_cast<uint32_t>(key.alignment_v) << seqn::kAlignVShift));
      blob.i32(key.font_index);
      break;
    default:
      break;
  }
}

void put_track(Blob& blob, const SequenceTrackRecord& track) {
  const seqn::TrackModel* kind_model = seqn::track_model(track.kind);
  const std::string model = !track.model.empty() ? track.model : std::string("KV") + (kind_model ? kind_model->name : "");
  const seqn::TrackModel* written = seqn::track_model(model.c_str());
  blob.string(model);
  blob.string(track.name);
  blob.i32(track.sub_type);
  blob.i32(track.traits);
  blob.u32(track.creation ? 1 : 0);
  blob.i32(static_cast<int32_t>(track.tags.size()));
  blob.i32(static_cast<int32_t>(track.resources.size()));
  blob.i32(static_cast<int32_t>(track.tracks.size()));
  for (const SequenceTagRecord& tag : track.tags) {
    blob.i32(tag.kind);
    if (tag.kind == seqn::kTagLink) blob.i32(tag.linked_track);
  }
  for (const TrackResourceRecord& resource : track.resources) {
    blob.string(resource.type);
    if (resource.type == seqn::kCurveResource) put_inline_curve(blob, resource.curve);
  }
  for (const SequenceTrackRecord& child : track.tracks) put_track(blob, child);
  // The reader decides by the model it finds, so the block follows the written model.
  if (written == nullptr || written->channel_words == 0) return;
  blob.align(4);
  if (seqn::has_interpolation(written->kind)) blob.u32(track.interpolation);
  blob.u32(static_cast<uint32_t>(track.keyframes.size()));
  for (const SequenceKeyframeRecord& keyframe : track.keyframes) {
    put_key_header(blob, keyframe);
    for (const SequenceKeyRecord& key : keyframe.channels) put_key(blob, written->kind, key);
  }
}

}  // namespace

void put_sequence_record(Blob& blob, const SequenceRecord& sequence) {
  blob.string(sequence.name);
  blob.i32(sequence.loopmode);
  blob.f32(sequence.playback_speed);
  blob.i32(sequence.playback_speed_type);
  blob.f32(sequence.length);
  blob.i32(sequence.xorigin);
  blob.i32(sequence.yorigin);
  blob.f32(sequence.volume);
  put_message_keyframes(blob, sequence.messages);
  blob.i32(static_cast<int32_t>(sequence.tracks.size()));
  for (const SequenceTrackRecord& track : sequence.tracks) put_track(blob, track);
  blob.i32(static_cast<int32_t>(sequence.events.size()));
  for (const SequenceEventRecord& event : sequence.events) {
    blob.u32(event.id);
    blob.string_or_none(event.script);
  }
  put_moment_keyframes(blob, sequence.moments);
}

Blob& add_seqn(Writer& writer, const std::vector<std::optional<SequenceRecord>>& sequences) {
  Blob& blob = writer.add_chunk(kChunkSEQN);
  blob.u32(1);  // the unread word
  PointerList list = blob.pointer_list(static_cast<uint32_t>(sequences.size()));
  for (uint32_t i = 0; i < sequences.size(); ++i) {
    if (!sequences[i]) continue;
    list.set(i, blob.here());
    put_sequence_record(blob, *sequences[i]);
  }
  return blob;
}

}  // namespace datawin

// SPRT: a pointer list of sprite records. Each record is written with its head, the form's
// header, then its body (frames and masks, vector data or skeleton texts); a sequence and
// nine-slice data follow the record and are pointed at from its header.
#include "datawin/writer/chunk_sprites.h"

namespace datawin {

namespace {

void put_frames_and_masks(Blob& blob, const SpriteRecord& sprite) {
  blob.u32(static_cast<uint32_t>(sprite.frames.size()));
  for (const Ref& frame : sprite.frames) blob.offset(frame);
  blob.u32(static_cast<uint32_t>(sprite.masks.size()));
  const uint64_t expected = sprt::mask_bytes(sprite.width, sprite.height);
  for (const std::vector<uint8_t>& mask : sprite.masks) {
    if (mask.size() != expected) throw WriteError("SPRT: mask of " + sprite.name + " has the wrong size");
    blob.bytes(mask.data(), mask.size());
  }
  blob.align(4);
}

void put_body(Blob& blob, const SpriteRecord& sprite) {
  switch (sprite.kind) {
    case sprt::kKindVector:
      blob.i32(sprite.vector_version);
      if (sprite.vector_version >= sprt::kVectorFramesVersion) {
        blob.u32(static_cast<uint32_t>(sprite.frames.size()));
        for (const Ref& frame : sprite.frames) blob.offset(frame);
      }
      blob.bytes(sprite.vector_data.data(), sprite.vector_data.size());
      blob.align(4);
      return;
    case sprt::kKindSkeleton: {
      const uint32_t text_at = sprt::skeleton_text_offset(sprite.skeleton_version);
      blob.u32(sprite.skeleton_version);
      blob.u32(0);
      blob.u32(static_cast<uint32_t>(sprite.skeleton_json.size()));
      blob.u32(static_cast<uint32_t>(sprite.skeleton_atlas.size()));
      blob.zeros(text_at - 16);
      blob.bytes(sprite.skeleton_json.data(), sprite.skeleton_json.size());
      blob.bytes(sprite.skeleton_atlas.data(), sprite.skeleton_atlas.size());
      blob.align(4);
      return;
    }
    default:
      put_frames_and_masks(blob, sprite);
      return;
  }
}

void put_sequence(Blob& blob, const SpriteSequence& sequence) {
  blob.u32(0);  // the unread lead word
  blob.string(sequence.name);
  blob.i32(0);        // loop mode
  blob.f32(1.0f);     // playback speed
  blob.i32(0);        // playback speed type
  blob.f32(sequence.length);
  blob.i32(sequence.x_origin);
  blob.i32(sequence.y_origin);
  blob.f32(1.0f);     // volume
  for (int empty_list = 0; empty_list < 4; ++empty_list) blob.i32(0);  // messages, tracks, events, moments
}

void put_sprite(Writer& writer, Blob& blob, uint32_t generation, const SpriteRecord& sprite) {
  const uint32_t start = blob.size();
  blob.string(sprite.name);
  blob.i32(sprite.width);
  blob.i32(sprite.height);
  blob.i32(sprite.bbox_left);
  blob.i32(sprite.bbox_right);
  blob.i32(sprite.bbox_bottom);
  blob.i32(sprite.bbox_top);
  blob.u32(sprite.transparent ? 1 : 0);
  blob.u32(sprite.smooth ? 1 : 0);
  blob.u32(sprite.preload ? 1 : 0);
  blob.i32(sprite.bbox_mode);
  blob.i32(sprite.collision_kind);
  blob.i32(sprite.x_origin);
  blob.i32(sprite.y_origin);
  if (sprite.form == SpriteForm::kOld) {
    if (generation >= 2 && sprite.frames.empty()) {
      throw WriteError("SPRT: " + sprite.name + ": an old-form sprite without frames reads as the zero-word form");
    }
    put_frames_and_masks(blob, sprite);  // the frame count is the form word
    return;
  }
  if (sprite.form == SpriteForm::kZeroWord) {
    blob.u32(0);
    put_frames_and_masks(blob, sprite);
    return;
  }
  blob.u32(sprt::kNewFormMarker);
  blob.u32(sprite.version);
  blob.u32(sprite.kind);
  Label sequence, nine_slice;
  if (generation >= 2) {
    blob.f32(sprite.speed);
    blob.i32(sprite.speed_type);
    if (sprt::has_sequence(generation, sprite.version)) {
      if (sprite.sequence) sequence = writer.new_label();
      blob.offset(sequence);
    }
    if (sprt::has_nine_slice(generation, sprite.version)) {
      if (sprite.nine_slice) nine_slice = writer.new_label();
      blob.offset(nine_slice);
    }
  }
  // Version 0 of generation 2 leaves two unread words before the body.
  blob.zeros(start + sprt::sprite_body_offset(generation, sprite.version) - blob.size());
  put_body(blob, sprite);
  if (sequence.valid()) {
    blob.bind(sequence);
    put_sequence(blob, *sprite.sequence);
  }
  if (nine_slice.valid()) {
    const NineSliceRecord& n = *sprite.nine_slice;
    blob.bind(nine_slice);
    for (int32_t word : {n.left, n.top, n.right, n.bottom, static_cast<int32_t>(n.enabled)}) blob.i32(word);
    for (int32_t mode : n.tile_modes) blob.i32(mode);
  }
}

}  // namespace

Blob& add_sprt(Writer& writer, uint32_t generation, const std::vector<std::optional<SpriteRecord>>& sprites) {
  Blob& blob = writer.add_chunk(kChunkSPRT);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(sprites.size()));
  for (uint32_t i = 0; i < sprites.size(); ++i) {
    if (!sprites[i]) continue;
    list.set(i, blob.here());
    put_sprite(writer, blob, generation, *sprites[i]);
  }
  return blob;
}

}  // namespace datawin

// SEQN reader: sequences are read front to back through one cursor, since nothing inside a
// sequence has an offset of its own. Every count is checked against what is left of the image
// before anything is sized from it, and track nesting is bounded so a damaged file can't run the
// recursion away.
#include "world/asset_sequences.h"

#include <cstring>

#include "data/asset_load.h"
#include "data/asset_scripts.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"

using namespace datawin;

namespace {

AssetTable<SequenceAsset> g_sequences;

// Deeper than any editor nests groups; a file that goes further is damaged.
constexpr uint32_t kMaxTrackDepth = 64;

// A channel number met twice keeps the later entry.
void put_channel(SequenceKeyframeAsset* keyframe, SequenceKeyAsset key) {
  for (SequenceKeyAsset& earlier : keyframe->channels) {
    if (earlier.channel == key.channel) {
      earlier = std::move(key);
      return;
    }
  }
  keyframe->channels.push_back(std::move(key));
}

class SequenceReader {
 public:
  SequenceReader(uint32_t offset, const char* chunk) : cur_(Asset_RecordCursor(offset)), chunk_(chunk) {}

  bool read(SequenceAsset* s) {
    const uint32_t start = cur_.offset();
    int32_t x = 0, y = 0;
    if (!cur_.read_string(&s->name) || !cur_.read_i32(&s->loopmode) || !cur_.read_f32(&s->playbackSpeed) ||
        !cur_.read_i32(&s->playbackSpeedType) || !cur_.read_f32(&s->length) || !cur_.read_i32(&x) || !cur_.read_i32(&y) ||
        !cur_.read_f32(&s->volume)) {
      return fail("sequence record cut off or bad name", start);
    }
    s->record = cur_.image() + start;
    s->xorigin = static_cast<float>(x);
    s->yorigin = static_cast<float>(y);
    length_ = s->length;
    return read_event_keyframes(&s->messageEventKeyframes, false) && read_tracks(&s->tracks, 0) && read_events(s) &&
           read_event_keyframes(&s->momentKeyframes, true);
  }

 private:
  bool fail(const char* what, uint32_t at) { return Asset_LoadError(chunk_, what, at); }

  // An i32 count of items of at least `item_bytes` each that must fit in what is left.
  bool read_count(uint32_t* count, uint32_t item_bytes, const char* what) {
    int32_t value = 0;
    if (!cur_.read_i32(&value)) return fail(what, cur_.offset());
    if (value < 0 || !cur_.fits(static_cast<uint32_t>(value), item_bytes)) return fail(what, cur_.offset() - 4);
    *count = static_cast<uint32_t>(value);
    return true;
  }

  bool read_key_header(SequenceKeyframeAsset* keyframe, uint32_t* channels, uint32_t entry_bytes) {
    const uint32_t at = cur_.offset();
    uint32_t stretch = 0, disabled = 0;
    if (!cur_.read_f32(&keyframe->frame) || !cur_.read_f32(&keyframe->length) || !cur_.read_u32(&stretch) ||
        !cur_.read_u32(&disabled)) {
      return fail("keyframe cut off", at);
    }
    keyframe->stretch = stretch != 0;
    keyframe->disabled = disabled != 0;
    return read_count(channels, entry_bytes, "keyframe channels pass the end of the file");
  }

  // Message keyframes (each channel a list of names) or moment keyframes (a count and one name).
  bool read_event_keyframes(std::vector<SequenceKeyframeAsset>* keyframes, bool moments) {
    uint32_t count = 0;
    if (!read_count(&count, seqn::kKeyHeaderBytes, "event keyframes pass the end of the file")) return false;
    keyframes->resize(count);
    for (SequenceKeyframeAsset& keyframe : *keyframes) {
      const uint32_t header = cur_.offset();
      uint32_t channels = 0;
      if (!read_key_header(&keyframe, &channels, 8)) return false;
      if (keyframe.frame < length_ && keyframe.frame > length_ - seqn::kKeySnap) keyframe.frame = length_;
      keyframe.length = 0;
      store_f32(Asset_WritableImage() + header + seqn::kKeyLength, 0.0f);
      for (uint32_t c = 0; c < channels; ++c) {
        SequenceKeyAsset key;
        uint32_t names = 0;
        if (!cur_.read_i32(&key.channel)) return fail("event channel cut off", cur_.offset());
        if (!read_count(&names, moments ? 0 : 4, "event names pass the end of the file")) return false;
        const uint32_t to_read = moments ? (names > 0 ? 1 : 0) : names;
        for (uint32_t n = 0; n < to_read; ++n) {
          const char* name = nullptr;
          if (!cur_.read_string(&name)) return fail("event name cut off or bad", cur_.offset());
          key.events.push_back(name);
        }
        put_channel(&keyframe, std::move(key));
      }
    }
    return true;
  }

  bool read_events(SequenceAsset* s) {
    uint32_t count = 0;
    if (!read_count(&count, 8, "event table passes the end of the file")) return false;
    for (uint32_t i = 0; i < count; ++i) {
      SequenceEventAsset event;
      if (!cur_.read_u32(&event.id) || !cur_.read_string(&event.script_name)) {
        return fail("event entry cut off or bad name", cur_.offset());
      }
      if (event.id == seqn::kNoEvent || event.script_name == nullptr || event.script_name[0] == 0) continue;
      event.script = Script_Find(event.script_name);
      if (event.script >= 0) s->events.push_back(event);
    }
    return true;
  }

  bool read_curve(std::unique_ptr<CurveAsset>* curve) {
    *curve = std::make_unique<CurveAsset>();
    return CurveAsset_ReadInline(cur_, chunk_, curve->get());
  }

  // The value word is read by the caller; then the embedded flag, the curve index and the curve.
  bool read_curve_fields(SequenceKeyAsset* key) {
    uint32_t embedded = 0;
    if (!cur_.read_u32(&embedded) || !cur_.read_i32(&key->curve_index)) return fail("key cut off", cur_.offset());
    key->embedded_curve = embedded != 0;
    return !key->embedded_curve || read_curve(&key->curve);
  }

  bool read_key(seqn::TrackKind kind, SequenceKeyAsset* key) {
    const uint32_t at = cur_.offset();
    bool ok = cur_.read_i32(&key->channel);
    uint32_t word = 0;
    switch (kind) {
      case seqn::kTrackGraphic:
        ok = ok && cur_.read_i32(&key->spriteIndex);
        break;
      case seqn::kTrackAudio:
        ok = ok && cur_.read_i32(&key->soundIndex) && cur_.read_i32(&key->emitterIndex) && cur_.read_i32(&key->playbackMode);
        break;
      case seqn::kTrackReal:
        if (!ok || !cur_.read_f32(&key->value)) return fail("key cut off", at);
        return read_curve_fields(key);
      case seqn::kTrackColour:
        if (!ok || !cur_.read_u32(&key->colour)) return fail("key cut off", at);
        return read_curve_fields(key);
      case seqn::kTrackBool:
        ok = ok && cur_.read_u32(&word);
        key->bool_value = word != 0;
        break;
      case seqn::kTrackString:
        ok = ok && cur_.read_string(&key->string_value);
        break;
      case seqn::kTrackSequence:
        ok = ok && cur_.read_i32(&key->sequence);
        break;
      case seqn::kTrackSpriteFrames:
        ok = ok && cur_.read_i32(&key->imageIndex);
        break;
      case seqn::kTrackInstance:
        ok = ok && cur_.read_i32(&key->objectIndex);
        break;
      case seqn::kTrackText: {
        int32_t wrap = 0;
        ok = ok && cur_.read_string(&key->string_value) && cur_.read_i32(&wrap) && cur_.read_u32(&word) &&
             cur_.read_i32(&key->fontIndex);
        key->wrap = wrap == 1;
        key->alignmentH = static_cast<int32_t>(word & seqn::kAlignHMask);
        key->alignmentV = static_cast<int32_t>(word >> seqn::kAlignVShift);
        break;
      }
      default:
        break;
    }
    return ok || fail("key cut off or bad string", at);
  }

  bool read_keyframes(const seqn::TrackModel& model, SequenceTrackAsset* track) {
    const uint32_t aligned = (cur_.offset() + 3u) & ~3u;
    if (aligned < cur_.offset() || !cur_.seek(aligned)) return fail("keyframe block cut off", cur_.offset());
    if (seqn::has_interpolation(model.kind) && !cur_.read_u32(&track->interpolation)) {
      return fail("keyframe block cut off", cur_.offset());
    }
    uint32_t count = 0;
    if (!read_count(&count, seqn::kKeyHeaderBytes, "keyframes pass the end of the file")) return false;
    track->keyframes.resize(count);
    for (SequenceKeyframeAsset& keyframe : track->keyframes) {
      uint32_t channels = 0;
      if (!read_key_header(&keyframe, &channels, model.channel_words * 4)) return false;
      for (uint32_t c = 0; c < channels; ++c) {
        SequenceKeyAsset key;
        if (!read_key(model.kind, &key)) return false;
        put_channel(&keyframe, std::move(key));
      }
    }
    return true;
  }

  bool read_tracks(std::vector<SequenceTrackAsset>* tracks, uint32_t depth) {
    uint32_t count = 0;
    if (!read_count(&count, seqn::kTrackHeadBytes, "tracks pass the end of the file")) return false;
    return read_track_list(count, tracks, depth);
  }

  bool read_track_list(uint32_t count, std::vector<SequenceTrackAsset>* tracks, uint32_t depth) {
    if (depth >= kMaxTrackDepth) return fail("tracks nested too deeply", cur_.offset());
    for (uint32_t i = 0; i < count; ++i) {
      SequenceTrackAsset track;
      bool made = false;
      if (!read_track(&track, depth, &made)) return false;
      if (made) tracks->push_back(std::move(track));
    }
    return true;
  }

  bool read_track(SequenceTrackAsset* track, uint32_t depth, bool* made) {
    const uint32_t at = cur_.offset();
    uint32_t creation = 0, tags = 0, resources = 0, children = 0;
    if (!cur_.read_string(&track->model) || !cur_.read_string(&track->name) || !cur_.read_i32(&track->subType) ||
        !cur_.read_i32(&track->traits) || !cur_.read_u32(&creation)) {
      return fail("track cut off or bad name", at);
    }
    track->creation = creation != 0;
    if (!read_count(&tags, 4, "track tags pass the end of the file") ||
        !read_count(&resources, 4, "track resources pass the end of the file") ||
        !read_count(&children, seqn::kTrackHeadBytes, "sub-tracks pass the end of the file")) {
      return false;
    }
    for (uint32_t i = 0; i < tags; ++i) {
      int32_t kind = 0;
      if (!cur_.read_i32(&kind)) return fail("track tag cut off", cur_.offset());
      if (kind == seqn::kTagLink) {
        if (!cur_.read_i32(&track->linkedTrack)) return fail("track tag cut off", cur_.offset());
        track->linked = true;
      } else if (kind == seqn::kTagInvisible) {
        track->visible = false;
      } else if (kind == seqn::kTagDisabled) {
        track->enabled = false;
      }
    }
    track->resources.resize(resources);
    for (std::unique_ptr<CurveAsset>& resource : track->resources) {
      const char* type = nullptr;
      if (!cur_.read_string(&type)) return fail("track resource cut off or bad name", cur_.offset());
      if (type != nullptr && std::strcmp(type, seqn::kCurveResource) == 0 && !read_curve(&resource)) return false;
    }
    if (!read_track_list(children, &track->tracks, depth + 1)) return false;
    const seqn::TrackModel* model = seqn::track_model(track->model);
    *made = model != nullptr;
    if (model == nullptr) return true;
    track->type = model->kind;
    return model->channel_words == 0 || read_keyframes(*model, track);
  }

  ByteCursor cur_;
  const char* chunk_;
  float length_ = 0;
};

}  // namespace

const AssetTable<SequenceAsset>& SequenceAsset_Table() { return g_sequences; }
SequenceAsset* SequenceAsset_Get(int32_t index) { return g_sequences.get(index); }
int32_t SequenceAsset_Find(const char* name) { return g_sequences.find(name); }
void SequenceAsset_Clear() { g_sequences.clear(); }

bool SequenceAsset_Read(uint32_t offset, const char* chunk, SequenceAsset* sequence) {
  SequenceReader reader(offset, chunk);
  return reader.read(sequence);
}

bool SequenceAsset_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_sequences.clear();
  if (!cur.skip(seqn::kCount)) return Asset_LoadError("SEQN", "chunk cut off", cur.offset());
  if (!Asset_ReadPointerList(cur, "SEQN", &offsets)) return false;
  g_sequences.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto sequence = std::make_unique<SequenceAsset>();
    if (!SequenceAsset_Read(offsets[i], "SEQN", sequence.get())) return false;
    const char* name = sequence->name;
    g_sequences.set(i, std::move(sequence), name);
  }
  return true;
}

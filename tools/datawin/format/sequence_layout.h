#pragma once
// Layouts of ACRV (animation curves) and SEQN (sequences).
//
// Both chunks open with an unread word, then a u32 count and that many record offsets.
// A curve record is a name and the inline curve form: an unread word, a channel count, then the
// channels one behind the other ({name, type, iterations, point count N, N points of six f32}).
// A sequence is read front to back, since nothing inside it has an offset of its own: the head,
// message keyframes, tracks (recursive, each with tags, owned resources, sub-tracks and a keyframe
// block aligned to 4 bytes of the file), the event-to-function table and moment keyframes. Every
// keyframe opens with the same 20-byte header; its channel entries are one word a field.
#include <cstdint>
#include <cstring>

namespace datawin::acrv {

constexpr uint32_t kCount = 4;
constexpr uint32_t kOffsets = 8;

// Curve record: name, then the inline form.
constexpr uint32_t kName = 0;
constexpr uint32_t kInline = 4;
// Inline form: unread word, channel count, channels.
constexpr uint32_t kInlineChannelCount = 4;
constexpr uint32_t kInlineChannels = 8;
constexpr uint32_t kChannelHeadBytes = 16;  // name, type, iterations, point count
constexpr uint32_t kPointBytes = 24;        // x, value, in x, in y, out x, out y

constexpr int32_t kTypeLinear = 0;
constexpr int32_t kTypeCatmullRom = 1;
constexpr int32_t kTypeBezier = 2;

}  // namespace datawin::acrv

namespace datawin::seqn {

constexpr uint32_t kCount = 4;
constexpr uint32_t kOffsets = 8;

// Sequence head.
constexpr uint32_t kName = 0;
constexpr uint32_t kLoopMode = 4;
constexpr uint32_t kPlaybackSpeed = 8;
constexpr uint32_t kPlaybackSpeedType = 12;
constexpr uint32_t kLength = 16;
constexpr uint32_t kXOrigin = 20;
constexpr uint32_t kYOrigin = 24;
constexpr uint32_t kVolume = 28;
constexpr uint32_t kMessageCount = 32;
constexpr uint32_t kHeadBytes = 36;

// Keyframe header.
constexpr uint32_t kKeyFrame = 0;
constexpr uint32_t kKeyLength = 4;
constexpr uint32_t kKeyStretch = 8;
constexpr uint32_t kKeyDisabled = 12;
constexpr uint32_t kKeyChannelCount = 16;
constexpr uint32_t kKeyHeaderBytes = 20;
// A message or moment key this close under the length snaps to it.
constexpr float kKeySnap = 0.0002f;

// Track head: model, name, subType, traits, creation flag, tag, resource and sub-track counts.
constexpr uint32_t kTrackHeadBytes = 32;
constexpr uint32_t kModelPrefix = 2;  // characters of the model name skipped before the compare

constexpr int32_t kTagLink = 0;  // followed by the linked track number
constexpr int32_t kTagInvisible = 1;
constexpr int32_t kTagDisabled = 2;

constexpr const char* kCurveResource = "TVAnimCurve";
constexpr uint32_t kNoEvent = 0xFFFFFFFFu;
// An entry of the event-to-function table names its event as (type << 16) | subtype: 0 create,
// 1 destroy, 12 clean up, (3, 0..2) the steps, (7, 75) async system, (7, 76) broadcast message.
constexpr uint32_t kEventTypeShift = 16;
constexpr uint32_t kEventSubtypeMask = 0xFFFF;
constexpr uint32_t event_id(uint32_t type, uint32_t subtype) { return type << kEventTypeShift | subtype; }

enum TrackKind : int32_t {
  kTrackNone = 0,
  kTrackGraphic = 1,
  kTrackAudio = 2,
  kTrackReal = 3,
  kTrackColour = 4,
  kTrackBool = 5,
  kTrackString = 6,
  kTrackSequence = 7,
  kTrackClipMask = 8,
  kTrackClipMaskMask = 9,
  kTrackClipMaskSubject = 10,
  kTrackGroup = 11,
  kTrackSpriteFrames = 13,
  kTrackInstance = 14,
  kTrackText = 17,
};

// The model names (after the skipped prefix), their kinds and the words of one channel entry;
// 0 words: the kind has no keyframe block.
struct TrackModel {
  const char* name;
  TrackKind kind;
  uint32_t channel_words;
};
inline constexpr TrackModel kTrackModels[] = {
    {"GraphicTrack", kTrackGraphic, 2},       {"AudioTrack", kTrackAudio, 4},
    {"RealTrack", kTrackReal, 4},             {"ColourTrack", kTrackColour, 4},
    {"BoolTrack", kTrackBool, 2},             {"StringTrack", kTrackString, 2},
    {"SequenceTrack", kTrackSequence, 2},     {"ClipMaskTrack", kTrackClipMask, 0},
    {"ClipMask_Mask", kTrackClipMaskMask, 0}, {"ClipMask_Subject", kTrackClipMaskSubject, 0},
    {"GroupTrack", kTrackGroup, 0},           {"SpriteFramesTrack", kTrackSpriteFrames, 2},
    {"InstanceTrack", kTrackInstance, 2},     {"TextTrack", kTrackText, 5},
};

// The model of a full model name (prefix included), null for none.
inline const TrackModel* track_model(const char* model_name) {
  if (model_name == nullptr || std::strlen(model_name) < kModelPrefix) return nullptr;
  for (const TrackModel& model : kTrackModels) {
    if (std::strcmp(model_name + kModelPrefix, model.name) == 0) return &model;
  }
  return nullptr;
}
inline const TrackModel* track_model(TrackKind kind) {
  for (const TrackModel& model : kTrackModels) {
    if (model.kind == kind) return &model;
  }
  return nullptr;
}
// Real and colour tracks carry an interpolation word ahead of their keyframe count.
constexpr bool has_interpolation(TrackKind kind) { return kind == kTrackReal || kind == kTrackColour; }

// Text channel entry: the alignment word holds alignmentH in its low 8 bits, alignmentV above.
constexpr uint32_t kAlignHMask = 0xFF;
constexpr uint32_t kAlignVShift = 8;

}  // namespace datawin::seqn

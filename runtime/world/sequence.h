#pragma once
// Sequences: a timeline of tracks that animates sprites, instances, sounds and text. A sequence, its
// tracks, keyframes and key data are script-visible objects ("Sequence", "SequenceTrack",
// "SequenceKeyframe", "Sequence<Kind>KeyframeData") owned by the collector; each holder links its
// parts, so a sequence keeps its whole tree alive.
//
// The sequence table holds the sequences of SEQN at their positions in the chunk's list (held for
// the game) and those sequence_create makes (first free slot; gone with sequence_destroy or the
// collector). Sprites' own sequences stay outside the table.
//
// Keyframes of a track stand sorted by frame. A keyframe covers frame .. frame + length; a stretch
// keyframe covers the time up to the next keyframe (the last one, all time after it). The key
// finder is a binary search, and a head exactly at the sequence's length stays in a last keyframe
// that ends there.
#include <cstdint>
#include <string>
#include <vector>

#include "datawin/format/sequence_layout.h"
#include "world/anim_curve.h"
#include "world/sequence_base.h"

struct SequenceAsset;
struct SequenceTrackAsset;
struct SequenceKeyframeAsset;
struct SequenceKeyAsset;

// Kinds of key data beyond the track kinds: the message and moment keys of a sequence.
constexpr int32_t kKeyMessage = 15;
constexpr int32_t kKeyMoment = 16;

// Parameter subtypes: what a real or colour track drives in its parent's node.
enum SequenceParameter : int32_t {
  kParamNone = 0,
  kParamGain = 5,
  kParamPitch = 6,
  kParamFalloff = 7,
  kParamRotation = 8,
  kParamBlendAdd = 9,
  kParamBlendMultiply = 10,
  kParamMask = 12,
  kParamSubject = 13,
  kParamPosition = 14,
  kParamScale = 15,
  kParamOrigin = 16,
  kParamImageSpeed = 17,
  kParamImageIndex = 18,
  kParamFrameSize = 20,
  kParamCharacterSpacing = 21,
  kParamLineSpacing = 22,
  kParamParagraphSpacing = 23,
};
// The parameter a track made by a script drives, from its name (case-insensitive); 0 for others.
int32_t Sequence_ParameterOfName(const char* name);

// The data of one channel of a keyframe; which fields count depends on `kind` (a track kind, or
// kKeyMessage / kKeyMoment).
class CSequenceKey final : public CSequenceBaseClass {
 public:
  // A key of the kind; null for a kind without key data.
  static CSequenceKey* New(int32_t kind);
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  bool IsDirtySince(uint32_t stamp) const override;
  void SetCurve(CAnimCurve* replacement);

  int32_t kind = 0;
  int32_t channel = 0;
  int32_t spriteIndex = -1;
  int32_t soundIndex = -1, emitterIndex = -1, playbackMode = 0;
  float value = 0.0f;  // real; bool as 0 or 1
  uint32_t colour = 0xFFFFFFFFu;
  CAnimCurve* curve = nullptr;
  bool embeddedCurve = false;
  std::string text;  // string and text keys
  int32_t sequence = -1;
  int32_t imageIndex = 0;
  int32_t objectIndex = -1;
  bool wrap = false;
  int32_t alignmentH = 0, alignmentV = 0;
  int32_t fontIndex = -1;
  std::vector<std::string> events;  // message keys
  RValue event = RV_Undefined();    // moment keys: the method to call
};

class CSequenceKeyframe final : public CSequenceBaseClass {
 public:
  static CSequenceKeyframe* New();
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  bool IsDirtySince(uint32_t stamp) const override;
  // The key of a channel, or null.
  CSequenceKey* Channel(int32_t channel) const;
  // Enters a key at its channel; a channel met twice keeps the later key.
  void PutChannel(CSequenceKey* key);

  float frame = 0.0f;
  float length = 1.0f;
  bool stretch = false;
  bool disabled = false;
  std::vector<CSequenceKey*> channels;
};

class CSequenceTrack final : public CSequenceBaseClass {
 public:
  static CSequenceTrack* New(int32_t kind);
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  bool IsDirtySince(uint32_t stamp) const override;
  void SetTracks(std::vector<CSequenceTrack*> children);
  // Replaces the keyframes, sorted by frame (stable).
  void SetKeyframes(std::vector<CSequenceKeyframe*> replacement);
  // A real or colour track: it fills its parent's node instead of having one.
  bool IsParameter() const { return kind >= datawin::seqn::kTrackReal && kind <= datawin::seqn::kTrackString; }

  int32_t kind = datawin::seqn::kTrackNone;
  std::string name;
  int32_t subType = 0;
  int32_t traits = 0;
  bool creation = false;
  bool linked = false;
  int32_t linkedTrack = -1;
  bool visible = true;
  bool enabled = true;
  int32_t interpolation = 1;
  std::vector<CSequenceTrack*> tracks;
  std::vector<CSequenceKeyframe*> keyframes;
  std::vector<CAnimCurve*> curves;  // owned resources
};

// Event properties of a sequence, by the event they answer.
enum SequenceEvent : int32_t {
  kSeqEventCreate,
  kSeqEventDestroy,
  kSeqEventCleanUp,
  kSeqEventStep,
  kSeqEventStepBegin,
  kSeqEventStepEnd,
  kSeqEventAsyncSystem,
  kSeqEventBroadcastMessage,
  kSeqEventCount,
};
// "create", "destroy", ...: the property is "event_" and the name.
extern const char* const kSequenceEventNames[kSeqEventCount];
static_assert(kSeqEventCount == 8);
// The event slot of an event (type, subtype); -1 for one a sequence can't have.
int32_t Sequence_EventOf(int32_t type, int32_t subtype);

class CSequence final : public CSequenceBaseClass {
 public:
  static CSequence* New();
  ~CSequence() override;
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  bool IsDirtySince(uint32_t stamp) const override;
  void SetTracks(std::vector<CSequenceTrack*> replacement);
  void SetKeyframes(std::vector<CSequenceKeyframe*>* which, std::vector<CSequenceKeyframe*> replacement);

  std::string name;
  int32_t loopmode = 0;  // 0 once, 1 loop, 2 ping-pong
  float playbackSpeed = 60.0f;
  int32_t playbackSpeedType = 0;  // 0 frames per second, 1 frames per game frame
  float length = 60.0f;
  float xorigin = 0.0f, yorigin = 0.0f;
  float volume = 1.0f;
  std::vector<CSequenceKeyframe*> messageEventKeyframes;
  std::vector<CSequenceKeyframe*> momentKeyframes;
  std::vector<CSequenceTrack*> tracks;
  RValue events[kSeqEventCount];  // methods, or undefined
  int32_t index = -1;             // slot in the sequence table, -1 when not in it
};

// ---- Keys at a head ----------------------------------------------------------------------------
// The span of keyframes[i]: its length, or for a stretch keyframe the distance to the next one.
float Sequence_KeySpan(const std::vector<CSequenceKeyframe*>& keyframes, size_t i);
// The keyframe whose span holds head (frame <= head < frame + span), by binary search; a head at
// `length` stays in a last keyframe that ends there. -1 for none.
int32_t Sequence_FindKeyframe(const std::vector<CSequenceKeyframe*>& keyframes, float head, float length);

// ---- Building ------------------------------------------------------------------------------------
CSequence* Sequence_FromAsset(const SequenceAsset& asset);

// ---- The sequence table ----------------------------------------------------------------------------
CSequence* Sequence_Get(int32_t id);
int32_t Sequence_Add(CSequence* sequence);
void Sequence_Remove(CSequence* sequence);
bool Sequence_IsAsset(const CSequence* sequence);
// Builds the table from the SEQN records, held by the collector's roots.
void Sequence_BuildFromAssets();
void Sequence_FreeAll();

// The start-up step after the chunks are read: curves, then sequences (they refer to curves).
bool Sequence_Prepare();
// Releases curves, sequences and sequence instances (the game ends).
void Sequence_FreeSubjects();

void Sequence_RegisterBuiltins();

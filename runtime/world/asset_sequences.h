#pragma once
// The sequences of chunk SEQN, as read: the head, message and moment keyframes, the track tree
// with its keyframes, and the event-to-function table. A sequence's number is its position in the
// chunk's list; sequences that sprites carry are read with SequenceAsset_Read and stay outside
// that table, so they never shift it. The sequence subject builds its script-visible objects from
// these records. Names and strings point into the image; curves are copied out.
// On load, a message or moment key just under the length (by less than 0.0002) is moved onto the
// length, and the length word of every message and moment keyframe is zeroed in the image.
// Events whose script name is empty or unknown (SCPT is read before SEQN) and the event id
// 0xFFFFFFFF are left out of the event table. A track of an unknown model gives no track: it is
// read past and dropped, sub-tracks included.
#include <cstdint>
#include <memory>
#include <vector>

#include "data/asset_table.h"
#include "datawin/format/sequence_layout.h"
#include "world/asset_curves.h"

// One channel entry of a keyframe; the fields that hold data are those of the track's kind:
// graphic spriteIndex; audio soundIndex, emitterIndex, playbackMode; real value and a curve;
// colour colour and a curve; bool bool_value; string string_value; sequence sequence; sprite frames
// imageIndex; instance objectIndex; text string_value (the text), wrap, alignmentH, alignmentV,
// fontIndex. Message keys hold their event names, moment keys one name or none.
struct SequenceKeyAsset {
  int32_t channel = 0;
  int32_t spriteIndex = -1;
  int32_t soundIndex = -1, emitterIndex = -1, playbackMode = 0;
  float value = 0;
  uint32_t colour = 0;
  bool embedded_curve = false;
  int32_t curve_index = -1;           // an ACRV curve, when there is no embedded one
  std::unique_ptr<CurveAsset> curve;  // the embedded curve
  bool bool_value = false;
  const char* string_value = nullptr;
  int32_t sequence = -1;
  int32_t imageIndex = 0;
  int32_t objectIndex = -1;
  bool wrap = false;
  int32_t alignmentH = 0, alignmentV = 0;
  int32_t fontIndex = -1;
  std::vector<const char*> events;
};

// A keyframe; a channel number met twice keeps the later entry, in the first one's place.
struct SequenceKeyframeAsset {
  float frame = 0, length = 0;
  bool stretch = false, disabled = false;
  std::vector<SequenceKeyAsset> channels;
};

struct SequenceTrackAsset {
  const char* model = nullptr;  // the full model name
  const char* name = nullptr;
  datawin::seqn::TrackKind type = datawin::seqn::kTrackNone;
  int32_t subType = 0;
  int32_t traits = 0;
  bool creation = false;
  bool linked = false;  // from the tags
  int32_t linkedTrack = -1;
  bool visible = true;
  bool enabled = true;
  std::vector<std::unique_ptr<CurveAsset>> resources;  // null where the resource isn't a curve
  std::vector<SequenceTrackAsset> tracks;
  uint32_t interpolation = 0;  // real and colour tracks
  std::vector<SequenceKeyframeAsset> keyframes;
};

struct SequenceEventAsset {
  uint32_t id = 0;
  const char* script_name = nullptr;
  int32_t script = -1;  // SCPT index
};

struct SequenceAsset {
  const uint8_t* record = nullptr;
  const char* name = nullptr;
  int32_t loopmode = 0;
  float playbackSpeed = 0;
  int32_t playbackSpeedType = 0;
  float length = 0;
  float xorigin = 0, yorigin = 0;
  float volume = 1;
  std::vector<SequenceKeyframeAsset> messageEventKeyframes;
  std::vector<SequenceTrackAsset> tracks;
  std::vector<SequenceEventAsset> events;
  std::vector<SequenceKeyframeAsset> momentKeyframes;
};

const AssetTable<SequenceAsset>& SequenceAsset_Table();
SequenceAsset* SequenceAsset_Get(int32_t index);
int32_t SequenceAsset_Find(const char* name);

// Reads the sequence record at `offset` of the image; failures print the load error under
// `chunk` and give false. Serves SEQN and the sprites' own sequences.
bool SequenceAsset_Read(uint32_t offset, const char* chunk, SequenceAsset* sequence);

bool SequenceAsset_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void SequenceAsset_Clear();

#pragma once
// Layout of ROOM: a pointer list of room records. A room record holds its scalar fields, four
// offsets to pointer lists of fixed-size records (backgrounds, views, placements, tiles), the
// physics words (read from DataVersion 6 on) and, by the record version R kept in the high 16 bits
// of the flags word, the offset of its layer list (R 2 on) and of its sequence list (R 3 on).
// A layer record has a fixed head, P effect properties of 12 bytes, then the data of its kind.
#include <cstdint>

namespace datawin::room {

constexpr uint32_t kName = 0;
constexpr uint32_t kCaption = 4;
constexpr uint32_t kWidth = 8;
constexpr uint32_t kHeight = 12;
constexpr uint32_t kSpeed = 16;
constexpr uint32_t kPersistent = 20;
constexpr uint32_t kColour = 24;
constexpr uint32_t kShowColour = 28;
constexpr uint32_t kCreationCode = 32;
constexpr uint32_t kFlags = 36;
constexpr uint32_t kBackgrounds = 40;
constexpr uint32_t kViews = 44;
constexpr uint32_t kPlacements = 48;
constexpr uint32_t kTiles = 52;
constexpr uint32_t kPhysicsEnabled = 56;  // DataVersion 6 on, as are the three below
constexpr uint32_t kPhysicsGravityX = 76;
constexpr uint32_t kPhysicsGravityY = 80;
constexpr uint32_t kPixelsToMetres = 84;
constexpr uint32_t kLayers = 88;     // R 2 on
constexpr uint32_t kSequences = 92;  // R 3 on

constexpr int32_t kPhysicsDataVersion = 6;
constexpr uint32_t kLayersVersion = 2;
constexpr uint32_t kSequencesVersion = 3;

constexpr uint32_t kFlagEnableViews = 1;
constexpr uint32_t kFlagClearViewBackground = 2;
constexpr uint32_t kFlagKeepDisplayBuffer = 4;  // set: the display buffer is not cleared
constexpr uint32_t kVersionShift = 16;

constexpr uint32_t record_version(uint32_t flags) { return flags >> kVersionShift; }
// Bytes of a room record: the physics words always have their place, the two list offsets follow
// by version.
constexpr uint32_t record_bytes(uint32_t version) {
  return version >= kSequencesVersion ? kSequences + 4 : version >= kLayersVersion ? kLayers + 4 : kLayers;
}

// Fixed-size records of the room's pointer lists.
constexpr uint32_t kBackgroundBytes = 40;
constexpr uint32_t kViewBytes = 56;
constexpr uint32_t kPlacementBytes = 48;
constexpr uint32_t kTileBytes = 48;

// Placement record.
constexpr uint32_t kPlacementCreationCode = 16;
constexpr uint32_t kPlacementColour = 36;
constexpr uint32_t kPlacementPreCreateCode = 44;

}  // namespace datawin::room

namespace datawin::layer {

constexpr uint32_t kName = 0;
constexpr uint32_t kId = 4;
constexpr uint32_t kKind = 8;
constexpr uint32_t kDepth = 12;
constexpr uint32_t kXOffset = 16;
constexpr uint32_t kYOffset = 20;
constexpr uint32_t kHSpeed = 24;
constexpr uint32_t kVSpeed = 28;
constexpr uint32_t kVisible = 32;
constexpr uint32_t kEffectEnabled = 36;
constexpr uint32_t kEffectType = 40;
constexpr uint32_t kEffectPropertyCount = 44;
constexpr uint32_t kEffectProperties = 48;
constexpr uint32_t kEffectPropertyBytes = 12;  // {i32 kind; string name; string value}
constexpr uint32_t data_offset(uint32_t property_count) { return kEffectProperties + kEffectPropertyBytes * property_count; }

// Layer kinds of the file; any other value is an empty layer.
constexpr int32_t kKindBackground = 1;
constexpr int32_t kKindInstances = 2;
constexpr int32_t kKindAssets = 3;
constexpr int32_t kKindTileMap = 4;
constexpr int32_t kKindEffect = 6;

// Effect property kinds.
constexpr int32_t kPropertyFloat = 0;
constexpr int32_t kPropertyColour = 1;
constexpr int32_t kPropertySampler = 2;

// Kind 1: the background record.
constexpr uint32_t kBackgroundDataBytes = 40;
// Kind 3: three offsets to the lists of legacy tiles (room::kTileBytes each), sprites, sequences.
constexpr uint32_t kAssetListCount = 3;
constexpr uint32_t kSpriteElementBytes = 44;
constexpr uint32_t kSequenceElementBytes = 44;
// Kind 4: tile set, width and height in cells, then width x height u32 cells row by row.
constexpr uint32_t kTileMapHeadBytes = 12;
constexpr uint32_t kCellBytes = 4;

}  // namespace datawin::layer

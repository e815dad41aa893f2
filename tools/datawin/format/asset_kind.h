#pragma once
// Asset kind numbers, as `asset_get_type` reports them and as `TAGS` keys carry them in their top
// byte ((index & 0xFFFFFF) | kind << 24). One enum for the writer and the runtime, so the two agree.
// The numbers are fixed: 9 is left free so the later kinds keep their values.
#include <cstdint>

namespace datawin {

enum AssetKind : int32_t {
  kAssetUnknown = -1,
  kAssetObject = 0,
  kAssetSprite = 1,
  kAssetSound = 2,
  kAssetRoom = 3,
  kAssetTiles = 4,
  kAssetPath = 5,
  kAssetScript = 6,
  kAssetFont = 7,
  kAssetTimeline = 8,
  kAssetUnused9 = 9,
  kAssetShader = 10,
  kAssetSequence = 11,
  kAssetAnimCurve = 12,
  kAssetParticleSystem = 13,
  kAssetKindCount,
};

// Indexed by kind; the free number 9 has an empty name.
extern const char* const kAssetKindNames[kAssetKindCount];

// The TAGS key of an asset.
constexpr uint32_t asset_key(AssetKind kind, int32_t index) {
  return (static_cast<uint32_t>(index) & 0xFFFFFFu) | (static_cast<uint32_t>(kind) << 24);
}
constexpr AssetKind asset_key_kind(uint32_t key) { return static_cast<AssetKind>(key >> 24); }
constexpr int32_t asset_key_index(uint32_t key) { return static_cast<int32_t>(key & 0xFFFFFFu); }

}  // namespace datawin

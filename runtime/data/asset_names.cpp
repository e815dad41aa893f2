// The registry of asset name look-ups.
#include "data/asset_names.h"

namespace {

using datawin::AssetKind;

struct KindLookup {
  AssetFindFn find = nullptr;
  AssetNameFn name = nullptr;
};

KindLookup g_lookups[datawin::kAssetKindCount];

bool in_enum(int32_t kind) { return kind >= 0 && kind < datawin::kAssetKindCount; }

}  // namespace

void AssetNames_Register(AssetKind kind, AssetFindFn find, AssetNameFn name) {
  if (!in_enum(kind)) return;
  g_lookups[kind] = find != nullptr && name != nullptr ? KindLookup{find, name} : KindLookup{};
}

void AssetNames_Reset() {
  for (KindLookup& lookup : g_lookups) lookup = KindLookup{};
}

bool AssetNames_Registered(AssetKind kind) { return in_enum(kind) && g_lookups[kind].find != nullptr; }

bool Asset_IsKind(int32_t kind) { return in_enum(kind) && kind != datawin::kAssetUnused9; }

AssetRef Asset_Lookup(const char* name) {
  if (name == nullptr) return AssetRef{};
  for (int32_t kind = 0; kind < datawin::kAssetKindCount; ++kind) {
    if (g_lookups[kind].find == nullptr) continue;
    const int32_t index = g_lookups[kind].find(name);
    if (index >= 0) return AssetRef{static_cast<AssetKind>(kind), index};
  }
  return AssetRef{};
}

const char* Asset_NameOf(AssetKind kind, int32_t index) {
  if (!in_enum(kind) || g_lookups[kind].name == nullptr || index < 0) return nullptr;
  return g_lookups[kind].name(index);
}

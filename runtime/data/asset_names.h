#pragma once
// Asset names across every asset table: which kind and index a name stands for (asset_get_index,
// asset_get_type, the tag builtins' "asset by name") and the name of a (kind, index). Each
// subsystem registers a name look-up for its kind when its readers are installed; kinds nobody
// registered simply find nothing. A name look-up walks the kinds in ascending kind number (object,
// sprite, sound, room, tiles, path, script, font, timeline, shader, sequence, anim curve, particle
// system), so a name used by two kinds resolves to the lower kind. Each look-up is one search per
// registered table; registration keeps only function pointers, so it outlives table reloads.
// Main thread only.
#include <cstdint>

#include "data/asset_table.h"
#include "datawin/format/asset_kind.h"

// The index of the asset of this kind with exactly this name, -1 when none.
using AssetFindFn = int32_t (*)(const char* name);
// The name of the asset at index, null when the slot is empty or out of range.
using AssetNameFn = const char* (*)(int32_t index);

// Replaces the look-up of a kind; null functions unregister it. Kinds outside the enum are ignored.
void AssetNames_Register(datawin::AssetKind kind, AssetFindFn find, AssetNameFn name);
// Forgets every registration (tests).
void AssetNames_Reset();
bool AssetNames_Registered(datawin::AssetKind kind);

// Registers an AssetTable-backed kind: `Table` is the subsystem's table accessor.
template <class T, const AssetTable<T>& (*Table)()>
void AssetNames_RegisterTable(datawin::AssetKind kind) {
  AssetNames_Register(
      kind, [](const char* name) { return Table().find(name); }, [](int32_t index) { return Table().name(index); });
}

struct AssetRef {
  datawin::AssetKind kind = datawin::kAssetUnknown;
  int32_t index = -1;
};
// The asset a name stands for; kind kAssetUnknown and index -1 when no table knows it.
AssetRef Asset_Lookup(const char* name);
// The name of an asset, null when its kind isn't registered or its slot is empty.
const char* Asset_NameOf(datawin::AssetKind kind, int32_t index);
// Whether kind is a real asset kind (0..13 without the free number 9).
bool Asset_IsKind(int32_t kind);

// asset_get_index, asset_get_type and the tag builtins (tag_get_asset_ids ... asset_clear_tags),
// in their table order.
void Asset_RegisterBuiltins();

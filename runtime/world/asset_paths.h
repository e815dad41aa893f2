#pragma once
// The paths of chunk PATH: each record's kind (1 smooth, else straight), closed flag, precision and
// {x, y, speed} points, copied into a CPath whose polyline is built at once. The table also holds
// the paths that scripts add; a slot's number is its path index.
#include <cstdint>

#include "data/asset_table.h"
#include "world/path.h"

using PathAsset = CPath;

const AssetTable<CPath>& Path_Table();
// The same table for the path builtins, which add, fill and delete slots.
AssetTable<CPath>& Path_EditTable();
CPath* Path_Get(int32_t index);

bool Path_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Path_Clear();

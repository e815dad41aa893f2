// PATH reader.
#include "world/asset_paths.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/world_layout.h"

using namespace datawin;

namespace {
AssetTable<PathAsset> g_paths;
}  // namespace

const AssetTable<PathAsset>& Path_Table() { return g_paths; }
PathAsset* Path_Get(int32_t index) { return g_paths.get(index); }
void Path_Clear() { g_paths.clear(); }

PathAssetPoint Path_Point(const PathAsset* path, int32_t index) {
  if (path == nullptr || index < 0 || index >= path->point_count) return PathAssetPoint{};
  const uint8_t* p = path->points + static_cast<size_t>(index) * path::kPointBytes;
  return PathAssetPoint{load_f32(p), load_f32(p + 4), load_f32(p + 8)};
}

bool Path_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_paths.clear();
  if (!Asset_ReadPointerList(cur, "PATH", &offsets)) return false;
  g_paths.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    ByteCursor record = Asset_RecordCursor(offsets[i]);
    auto p = std::make_unique<PathAsset>();
    const char* name = nullptr;
    uint32_t closed = 0;
    if (!record.read_string(&name) || !record.read_i32(&p->kind) || !record.read_u32(&closed) ||
        !record.read_i32(&p->precision) || !record.read_i32(&p->point_count)) {
      return Asset_LoadError("PATH", "path record cut off or bad name", record.offset());
    }
    if (p->point_count < 0 || !record.fits(static_cast<uint32_t>(p->point_count), path::kPointBytes)) {
      return Asset_LoadError("PATH", "point list passes the end of the file", record.offset() - 4);
    }
    p->record = record.image() + offsets[i];
    p->smooth = p->kind == path::kKindSmooth;
    p->closed = closed != 0;
    p->points = record.here();
    g_paths.set(i, std::move(p), name);
  }
  return true;
}

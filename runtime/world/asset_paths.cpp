// PATH reader.
#include "world/asset_paths.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/world_layout.h"

using namespace datawin;

namespace {
AssetTable<CPath> g_paths;
}  // namespace

const AssetTable<CPath>& Path_Table() { return g_paths; }
AssetTable<CPath>& Path_EditTable() { return g_paths; }
CPath* Path_Get(int32_t index) { return g_paths.get(index); }
void Path_Clear() { g_paths.clear(); }

bool Path_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_paths.clear();
  if (!Asset_ReadPointerList(cur, "PATH", &offsets)) return false;
  g_paths.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    ByteCursor record = Asset_RecordCursor(offsets[i]);
    auto p = std::make_unique<CPath>();
    const char* name = nullptr;
    uint32_t closed = 0;
    int32_t count = 0;
    if (!record.read_string(&name) || !record.read_i32(&p->kind) || !record.read_u32(&closed) ||
        !record.read_i32(&p->precision) || !record.read_i32(&count)) {
      return Asset_LoadError("PATH", "path record cut off or bad name", record.offset());
    }
    if (count < 0 || !record.fits(static_cast<uint32_t>(count), path::kPointBytes)) {
      return Asset_LoadError("PATH", "point list passes the end of the file", record.offset() - 4);
    }
    p->closed = closed != 0;
    const uint8_t* at = record.here();
    p->points.resize(static_cast<size_t>(count));
    for (CPathPoint& point : p->points) {
      point = CPathPoint{load_f32(at), load_f32(at + 4), load_f32(at + 8)};
      at += path::kPointBytes;
    }
    Path_Build(p.get());
    g_paths.set(i, std::move(p), name);
  }
  return true;
}

// ACRV reader and the inline curve form.
#include "world/asset_curves.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/sequence_layout.h"

using namespace datawin;

namespace {

AssetTable<CurveAsset> g_curves;

bool read_channel(ByteCursor& cur, const char* chunk, CurveChannelAsset* channel) {
  const uint32_t at = cur.offset();
  int32_t count = 0;
  if (!cur.read_string(&channel->name) || !cur.read_i32(&channel->type) || !cur.read_i32(&channel->iterations) ||
      !cur.read_i32(&count)) {
    return Asset_LoadError(chunk, "curve channel cut off or bad name", at);
  }
  if (count < 0 || !cur.fits(static_cast<uint32_t>(count), acrv::kPointBytes)) {
    return Asset_LoadError(chunk, "curve points pass the end of the file", cur.offset() - 4);
  }
  channel->points.resize(count);
  for (CurvePointAsset& p : channel->points) {
    cur.read_f32(&p.posx);
    cur.read_f32(&p.value);
    cur.read_f32(&p.handleInX);
    cur.read_f32(&p.handleInY);
    cur.read_f32(&p.handleOutX);
    cur.read_f32(&p.handleOutY);
  }
  return true;
}

}  // namespace

const AssetTable<CurveAsset>& CurveAsset_Table() { return g_curves; }
CurveAsset* CurveAsset_Get(int32_t index) { return g_curves.get(index); }
int32_t CurveAsset_Find(const char* name) { return g_curves.find(name); }
void CurveAsset_Clear() { g_curves.clear(); }

bool CurveAsset_ReadInline(ByteCursor& cur, const char* chunk, CurveAsset* curve) {
  int32_t count = 0;
  if (!cur.skip(acrv::kInlineChannelCount) || !cur.read_i32(&count)) {
    return Asset_LoadError(chunk, "curve cut off", cur.offset());
  }
  if (count < 0 || !cur.fits(static_cast<uint32_t>(count), acrv::kChannelHeadBytes)) {
    return Asset_LoadError(chunk, "curve channels pass the end of the file", cur.offset() - 4);
  }
  curve->channels.resize(count);
  for (CurveChannelAsset& channel : curve->channels) {
    if (!read_channel(cur, chunk, &channel)) return false;
  }
  return true;
}

bool CurveAsset_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_curves.clear();
  if (!cur.skip(acrv::kCount)) return Asset_LoadError("ACRV", "chunk cut off", cur.offset());
  if (!Asset_ReadPointerList(cur, "ACRV", &offsets)) return false;
  g_curves.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    ByteCursor record = Asset_RecordCursor(offsets[i]);
    auto curve = std::make_unique<CurveAsset>();
    if (!record.read_string(&curve->name)) return Asset_LoadError("ACRV", "curve record cut off or bad name", offsets[i]);
    if (!CurveAsset_ReadInline(record, "ACRV", curve.get())) return false;
    curve->record = record.image() + offsets[i];
    const char* name = curve->name;
    g_curves.set(i, std::move(curve), name);
  }
  return true;
}

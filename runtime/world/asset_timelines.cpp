// TMLN reader.
#include "world/asset_timelines.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/world_layout.h"

using namespace datawin;

namespace {

AssetTable<TimelineAsset> g_timelines;

bool read_moment(ByteCursor& cur, TimelineAssetMoment* moment) {
  uint32_t event = 0;
  if (!cur.read_i32(&moment->time) || !cur.read_u32(&event)) return Asset_LoadError("TMLN", "moment cut off", cur.offset());
  if (event == 0) return true;
  ByteCursor record = Asset_RecordCursor(event);
  int32_t actions = 0;
  uint32_t first = 0;
  if (!record.read_i32(&actions) || !record.read_u32(&first)) return Asset_LoadError("TMLN", "event record cut off", event);
  moment->event = record.image() + event;
  if (actions <= 0 || first == 0) return true;
  if (!Asset_SpanInImage(first, tmln::kActionCodeIndex + 4)) return Asset_LoadError("TMLN", "action outside the file", event + 4);
  moment->code_index = load_i32(record.image() + first + tmln::kActionCodeIndex);
  return true;
}

}  // namespace

const AssetTable<TimelineAsset>& TimeLine_Table() { return g_timelines; }
TimelineAsset* TimeLine_Get(int32_t index) { return g_timelines.get(index); }
void TimeLine_Clear() { g_timelines.clear(); }

bool TimeLine_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_timelines.clear();
  if (!Asset_ReadPointerList(cur, "TMLN", &offsets)) return false;
  g_timelines.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    ByteCursor record = Asset_RecordCursor(offsets[i]);
    auto timeline = std::make_unique<TimelineAsset>();
    const char* name = nullptr;
    int32_t count = 0;
    if (!record.read_string(&name) || !record.read_i32(&count)) {
      return Asset_LoadError("TMLN", "timeline record cut off or bad name", record.offset());
    }
    if (count < 0 || !record.fits(static_cast<uint32_t>(count), tmln::kMomentBytes)) {
      return Asset_LoadError("TMLN", "moment list passes the end of the file", record.offset() - 4);
    }
    timeline->record = record.image() + offsets[i];
    timeline->moments.resize(count);
    for (TimelineAssetMoment& moment : timeline->moments) {
      if (!read_moment(record, &moment)) return false;
    }
    g_timelines.set(i, std::move(timeline), name);
  }
  return true;
}

// TMLN: a pointer list of timelines; each moment points at an event record {action count, first
// action} written behind the timeline, and the action carries the code index at its byte 32.
#include "datawin/writer/chunk_world.h"

#include "datawin/format/world_layout.h"

namespace datawin {

Blob& add_tmln(Writer& writer, const std::vector<std::optional<TimelineRecord>>& timelines) {
  Blob& blob = writer.add_chunk(kChunkTMLN);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(timelines.size()));
  for (uint32_t i = 0; i < timelines.size(); ++i) {
    if (!timelines[i]) continue;
    const TimelineRecord& timeline = *timelines[i];
    list.set(i, blob.here());
    blob.string(timeline.name);
    blob.i32(static_cast<int32_t>(timeline.moments.size()));
    std::vector<Label> events;
    for (const TimelineMoment& moment : timeline.moments) {
      events.push_back(writer.new_label());
      blob.i32(moment.time);
      blob.offset(events.back());
    }
    for (size_t m = 0; m < timeline.moments.size(); ++m) {
      const bool has_action = timeline.moments[m].code_index >= 0;
      const Label action = has_action ? writer.new_label() : Label{};
      blob.bind(events[m]);
      blob.i32(has_action ? 1 : 0);
      blob.offset(action);
      if (!has_action) continue;
      blob.bind(action);
      blob.zeros(tmln::kActionCodeIndex);
      blob.i32(timeline.moments[m].code_index);
    }
  }
  return blob;
}

}  // namespace datawin

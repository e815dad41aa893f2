// ACRV: an unread word, then a pointer list of curve records; each record is its name and the
// inline curve form that sequences embed too.
#include "datawin/writer/chunk_rooms.h"

namespace datawin {

void put_inline_curve(Blob& blob, const AnimCurveRecord& curve) {
  blob.u32(0);  // the unread word
  blob.i32(static_cast<int32_t>(curve.channels.size()));
  for (const CurveChannelRecord& channel : curve.channels) {
    blob.string(channel.name);
    blob.i32(channel.type);
    blob.i32(channel.iterations);
    blob.i32(static_cast<int32_t>(channel.points.size()));
    for (const CurvePointRecord& point : channel.points) {
      for (float value : {point.x, point.value, point.in_x, point.in_y, point.out_x, point.out_y}) blob.f32(value);
    }
  }
}

Blob& add_acrv(Writer& writer, const std::vector<std::optional<AnimCurveRecord>>& curves) {
  Blob& blob = writer.add_chunk(kChunkACRV);
  blob.u32(1);  // the unread word
  PointerList list = blob.pointer_list(static_cast<uint32_t>(curves.size()));
  for (uint32_t i = 0; i < curves.size(); ++i) {
    if (!curves[i]) continue;
    list.set(i, blob.here());
    blob.string(curves[i]->name);
    put_inline_curve(blob, *curves[i]);
  }
  return blob;
}

}  // namespace datawin

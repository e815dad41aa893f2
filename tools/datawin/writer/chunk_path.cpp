// PATH: a pointer list of path records, each followed by its points.
#include "datawin/writer/chunk_world.h"

namespace datawin {

Blob& add_path(Writer& writer, const std::vector<std::optional<PathRecord>>& paths) {
  Blob& blob = writer.add_chunk(kChunkPATH);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(paths.size()));
  for (uint32_t i = 0; i < paths.size(); ++i) {
    if (!paths[i]) continue;
    const PathRecord& path = *paths[i];
    list.set(i, blob.here());
    blob.string(path.name);
    blob.i32(path.kind);
    blob.u32(path.closed ? 1 : 0);
    blob.i32(path.precision);
    blob.i32(static_cast<int32_t>(path.points.size()));
    for (const PathPoint& point : path.points) {
      blob.f32(point.x);
      blob.f32(point.y);
      blob.f32(point.speed);
    }
  }
  return blob;
}

}  // namespace datawin

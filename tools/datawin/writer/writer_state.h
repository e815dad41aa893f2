#pragma once
// Internal to the writer: what a Writer and its Blobs share. Kept on the heap so moving a Writer
// leaves the Blobs' back pointers valid.
#include <memory>
#include <vector>

#include "datawin/writer/string_pool.h"
#include "datawin/writer/writer.h"

namespace datawin {

class WriterState {
 public:
  enum class ChunkKind { kStructured, kRaw, kStrings };
  struct Chunk {
    uint32_t tag;
    ChunkKind kind;
    std::unique_ptr<Blob> blob;  // null for the STRG placeholder
  };
  struct LabelSite {
    int32_t chunk = -1;  // -1: not bound yet
    uint32_t offset = 0;
  };
  struct DistancePatch {
    Ref word, from, to;
    uint32_t mask;
  };

  Blob& new_blob(uint32_t tag, ChunkKind kind) {
    auto blob = std::unique_ptr<Blob>(new Blob(this, static_cast<uint32_t>(chunks.size())));
    Blob& ref = *blob;
    chunks.push_back(Chunk{tag, kind, std::move(blob)});
    return ref;
  }

  StringPool pool;
  std::vector<Chunk> chunks;
  std::vector<LabelSite> labels;  // label id - 1
  std::vector<DistancePatch> patches;
  bool strings_placed = false;
};

}  // namespace datawin

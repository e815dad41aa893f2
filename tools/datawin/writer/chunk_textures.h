#pragma once
// Writers of the texture chunks (datawin/format/texture_layout.h, page_image.h): TPAG (page
// entries), TXTR (page records and their image data), TGIN (texture groups) and EMBI (embedded
// images). Page entries are reached by address from sprites, tile sets, fonts and EMBI, so
// add_tpag binds one label per entry; pass labels made earlier with Writer::new_label when records
// written before TPAG point at them.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "datawin/format/texture_layout.h"
#include "datawin/writer/writer.h"

namespace datawin {

struct TpagEntry {
  uint16_t x = 0, y = 0, w = 0, h = 0;
  uint16_t x_offset = 0, y_offset = 0;
  uint16_t crop_width = 0, crop_height = 0;
  uint16_t original_width = 0, original_height = 0;
  int16_t texture = 0;  // page number in the file
};
// Returns the entries' labels: `labels` when given (one per entry), else new ones. A missing entry
// (nullopt) leaves its list slot at 0 and its label unbound, so nothing may point at it.
std::vector<Label> add_tpag(Writer& writer, const std::vector<std::optional<TpagEntry>>& entries,
                            std::vector<Label> labels = {});
// `count` fresh labels, for records that point at entries before TPAG is written.
std::vector<Label> new_labels(Writer& writer, size_t count);

struct TxtrRecord {
  uint32_t flags = 0;
  uint32_t scale = 1;
  uint16_t width = 0;
  uint16_t height = 0;
  int32_t file_index = 0;
  std::vector<uint8_t> data;  // the page image; empty writes data offset 0 (an external page)
};
Blob& add_txtr(Writer& writer, const std::vector<std::optional<TxtrRecord>>& pages);

struct TginRecord {
  std::string name;
  std::string directory;
  std::string extension;
  int32_t load_type = tgin::kLoadWithDataFile;
  std::vector<int32_t> lists[tgin::kGroupListCount];  // indexed by tgin::GroupList
};
Blob& add_tgin(Writer& writer, const std::vector<std::optional<TginRecord>>& groups,
               uint32_t version = tgin::kMaxVersion);

struct EmbeddedImage {
  std::string name;
  Ref entry;
};
Blob& add_embi(Writer& writer, const std::vector<EmbeddedImage>& images, uint32_t version = embi::kVersion);

}  // namespace datawin

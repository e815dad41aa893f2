// Shared helpers of the asset readers.
#include "data/asset_load.h"

#include "core/console.h"
#include "data/game_data.h"
#include "datawin/format/texture_layout.h"

bool Asset_LoadError(const char* chunk, const char* what, uint32_t offset) {
  g_ReleaseConsole->Output("Error loading game data: %s: %s (offset %u)\n", chunk, what, offset);
  return false;
}

ByteCursor Asset_RecordCursor(uint32_t offset) {
  const uint32_t size = GameData_ImageSize();
  return ByteCursor(GameData_Image(), size, offset, size);
}

bool Asset_SpanInImage(uint32_t offset, uint64_t size) {
  const uint32_t image_size = GameData_ImageSize();
  return offset <= image_size && size <= image_size - offset;
}

bool Asset_ReadOffsets(ByteCursor& cur, const char* chunk, uint32_t count, std::vector<uint32_t>* offsets) {
  if (!cur.fits(count, 4)) return Asset_LoadError(chunk, "offset list passes the end of its chunk", cur.offset());
  offsets->assign(count, 0);
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t at = cur.offset();
    cur.read_u32(&(*offsets)[i]);
    if ((*offsets)[i] >= cur.image_size()) return Asset_LoadError(chunk, "offset outside the file", at);
  }
  return true;
}

bool Asset_ReadPointerList(ByteCursor& cur, const char* chunk, std::vector<uint32_t>* offsets) {
  uint32_t count = 0;
  if (!cur.read_u32(&count)) return Asset_LoadError(chunk, "count cut off", cur.offset());
  return Asset_ReadOffsets(cur, chunk, count, offsets);
}

const uint8_t* Asset_PageEntryAt(uint32_t offset) {
  if (offset == 0 || !Asset_SpanInImage(offset, datawin::tpag::kEntryBytes)) return nullptr;
  return GameData_Image() + offset;
}

bool Asset_ReadPageEntry(ByteCursor& cur, const uint8_t** entry) {
  uint32_t offset = 0;
  if (!cur.read_u32(&offset)) return false;
  *entry = Asset_PageEntryAt(offset);
  if (offset != 0 && *entry == nullptr) {
    cur.seek(cur.offset() - 4);
    return false;
  }
  return true;
}

uint8_t* Asset_WritableImage() {
  // The loader owns the image as a writable block and hands it out read-only; the readers that
  // rewrite records in place (texture-page entries) are the reason it stays writable.
  return const_cast<uint8_t*>(GameData_Image());
}

// TXTR reader and the rewrite of the TPAG entries from page numbers to slot indices.
#include "graphics/asset_texture_pages.h"

#include <vector>

#include "core/console.h"
#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/texture_layout.h"
#include "graphics/texture_groups.h"
#include "graphics/texture_table.h"

using namespace datawin;

namespace {

std::vector<TexturePageRecord> g_pages;

bool read_record(uint32_t offset, TexturePageRecord* page) {
  ByteCursor cur = Asset_RecordCursor(offset);
  int32_t width = 0, height = 0;
  uint32_t data = 0;
  if (!cur.read_u32(&page->flags) || !cur.read_u32(&page->scale) || !cur.read_u32(&page->data_size) ||
      !cur.read_i32(&width) || !cur.read_i32(&height) || !cur.read_i32(&page->file_index) || !cur.read_u32(&data)) {
    return Asset_LoadError("TXTR", "page record cut off", offset);
  }
  page->width = static_cast<uint16_t>(width);
  page->height = static_cast<uint16_t>(height);
  if (data != 0) {
    if (!Asset_SpanInImage(data, page->data_size)) return Asset_LoadError("TXTR", "page data passes the end of the file", offset + txtr::kData);
    page->data = cur.image() + data;
  }
  return true;
}

// Rewrites every TPAG entry's page number to its slot, once.
bool rewrite_page_entries() {
  const uint8_t* payload = nullptr;
  uint32_t size = 0;
  if (!GameData_TexturePageChunk(&payload, &size)) return true;
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> entries;
  if (!Asset_ReadPointerList(cur, "TPAG", &entries)) return false;
  uint8_t* image = Asset_WritableImage();
  for (uint32_t offset : entries) {
    if (offset == 0) continue;
    if (!Asset_SpanInImage(offset, tpag::kEntryBytes)) return Asset_LoadError("TPAG", "page entry passes the end of the file", offset);
    const auto page = static_cast<int16_t>(load_u16(image + offset + tpag::kTexture));
    const int32_t slot = Texture_PageToSlot(page);
    if (slot < 0) {
      g_ReleaseConsole->Output("what!!!!\n");
      continue;
    }
    store_u16(image + offset + tpag::kTexture, static_cast<uint16_t>(slot));
  }
  return true;
}

}  // namespace

TexturePageEntry PageEntry_Read(const uint8_t* entry) {
  TexturePageEntry e;
  e.x = load_u16(entry + tpag::kX);
  e.y = load_u16(entry + tpag::kY);
  e.w = load_u16(entry + tpag::kW);
  e.h = load_u16(entry + tpag::kH);
  e.x_offset = load_u16(entry + tpag::kXOffset);
  e.y_offset = load_u16(entry + tpag::kYOffset);
  e.crop_width = load_u16(entry + tpag::kCropWidth);
  e.crop_height = load_u16(entry + tpag::kCropHeight);
  e.original_width = load_u16(entry + tpag::kOriginalWidth);
  e.original_height = load_u16(entry + tpag::kOriginalHeight);
  e.texture = static_cast<int16_t>(load_u16(entry + tpag::kTexture));
  return e;
}

int32_t TexturePage_Count() { return static_cast<int32_t>(g_pages.size()); }

const TexturePageRecord* TexturePage_Get(int32_t page) {
  return page >= 0 && static_cast<size_t>(page) < g_pages.size() ? &g_pages[page] : nullptr;
}

void TexturePage_Clear() {
  g_pages.clear();
  Texture_ClearTable();
}

bool TexturePage_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  if (!Asset_ReadPointerList(cur, "TXTR", &offsets)) return false;
  Texture_ClearTable();
  g_pages.assign(offsets.size(), TexturePageRecord{});
  std::vector<int32_t> page_slots(offsets.size(), -1);
  bool ok = true;
  for (uint32_t i = 0; i < offsets.size() && ok; ++i) {
    if (offsets[i] == 0) continue;
    TexturePageRecord& page = g_pages[i];
    if (!read_record(offsets[i], &page)) {
      ok = false;
      break;
    }
    page.slot = Texture_Load_Page(page.data, page.data != nullptr ? page.data_size : 0, page.flags, true);
    TextureSlot* slot = Texture_Slot(page.slot);
    slot->pageIndex = static_cast<int32_t>(i);
    slot->fileIndex = page.file_index;
    if (slot->texture == nullptr) {
      Texture_SetSlotSize(slot, page.width, page.height);
      slot->origWidth = slot->width;
      slot->origHeight = slot->height;
    }
    page_slots[i] = page.slot;
  }
  Texture_SetPageTable(std::move(page_slots));
  if (!rewrite_page_entries()) ok = false;
  TextureGroup_LinkPages();
  return ok;
}

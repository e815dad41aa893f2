#pragma once
// Texture page entries (chunk TPAG) and the page records of chunk TXTR.
// A page entry is 22 bytes inside the data image, reached by address from sprites, tile sets,
// fonts and embedded images; PageEntry_Read copies its fields out. TXTR registers one texture
// slot per record (Texture_Load_Page); a record without data (an external page) gets a slot with
// the record's size and no object. Then every TPAG entry has its page number rewritten in place
// to the page's slot index; a number outside the page table prints "what!!!!\n" on the release
// console and the entry stays as it is. Texture groups learn their slots at the same time.
#include <cstdint>

struct TexturePageEntry {
  uint16_t x = 0, y = 0, w = 0, h = 0;
  uint16_t x_offset = 0, y_offset = 0;
  uint16_t crop_width = 0, crop_height = 0;
  uint16_t original_width = 0, original_height = 0;
  int16_t texture = 0;  // page number in the file; the slot index once TXTR has been read
};

// The fields of the entry at `entry` (22 readable bytes).
TexturePageEntry PageEntry_Read(const uint8_t* entry);

// A TXTR record as read.
struct TexturePageRecord {
  uint32_t flags = 0;
  uint32_t scale = 0;
  uint32_t data_size = 0;
  uint16_t width = 0;
  uint16_t height = 0;
  int32_t file_index = 0;
  const uint8_t* data = nullptr;
  int32_t slot = -1;
};
int32_t TexturePage_Count();
const TexturePageRecord* TexturePage_Get(int32_t page);

bool TexturePage_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void TexturePage_Clear();

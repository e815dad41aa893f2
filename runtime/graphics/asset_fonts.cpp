// FONT reader.
#include "graphics/asset_fonts.h"

#include <cmath>

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/byte_order.h"
#include "datawin/format/font_shader_layout.h"
#include "graphics/asset_texture_pages.h"

using namespace datawin;

namespace {

AssetTable<FontAsset> g_fonts;

bool fail(const char* what, uint32_t offset) { return Asset_LoadError("FONT", what, offset); }

// A glyph at `offset`: its 16 bytes and kerning pairs must lie inside the image.
const uint8_t* glyph_at(uint32_t offset) {
  if (!Asset_SpanInImage(offset, font::kGlyphBytes)) return nullptr;
  const uint8_t* glyph = GameData_Image() + offset;
  const auto pairs = static_cast<int16_t>(load_u16(glyph + font::kGlyphKerningCount));
  if (pairs < 0) return nullptr;
  const uint64_t bytes = font::kGlyphBytes + static_cast<uint64_t>(pairs) * font::kKerningPairBytes;
  return Asset_SpanInImage(offset, bytes) ? glyph : nullptr;
}

bool read_font(uint32_t offset, FontAsset* f, const char** name) {
  ByteCursor cur = Asset_RecordCursor(offset);
  uint32_t bold = 0, italic = 0, packed = 0, glyph_count = 0;
  if (!cur.read_string(name) || !cur.read_string(&f->display_name) || !cur.read_f32(&f->size) ||
      !cur.read_u32(&bold) || !cur.read_u32(&italic) || !cur.read_u32(&packed) || !cur.read_i32(&f->last_char) ||
      !Asset_ReadPageEntry(cur, &f->page_entry) || !cur.read_f32(&f->scale_x) || !cur.read_f32(&f->scale_y)) {
    return fail("font record cut off or bad reference", cur.offset());
  }
  if (DataVersion >= font::kVersionAscender && (!cur.read_i32(&f->ascenderOffset) || !cur.read_i32(&f->ascender))) {
    return fail("font record cut off", cur.offset());
  }
  if (!cur.read_u32(&glyph_count) || !cur.fits(glyph_count, 4)) return fail("glyph list passes the end of the file", cur.offset());
  f->record = cur.image() + offset;
  f->size = std::fabs(f->size);
  f->bold = bold != 0;
  f->italic = italic != 0;
  f->first_char = font::packed_first_char(packed);
  f->charset = font::packed_charset(packed);
  f->antialias = font::packed_antialias(packed);
  if (f->page_entry != nullptr) {
    const TexturePageEntry entry = PageEntry_Read(f->page_entry);
    f->atlas_width = entry.w;
    f->atlas_height = entry.h;
  }
  f->glyphs.resize(glyph_count);
  for (const uint8_t*& glyph : f->glyphs) {
    uint32_t at = 0;
    cur.read_u32(&at);
    if (at == 0) continue;
    glyph = glyph_at(at);
    if (glyph == nullptr) return fail("glyph passes the end of the file", cur.offset() - 4);
    const int16_t h = Glyph_Read(glyph).h;
    if (h > f->height) f->height = h;
  }
  return true;
}

}  // namespace

FontGlyph Glyph_Read(const uint8_t* glyph) {
  FontGlyph g;
  g.character = load_u16(glyph + font::kGlyphChar);
  g.x = static_cast<int16_t>(load_u16(glyph + font::kGlyphX));
  g.y = static_cast<int16_t>(load_u16(glyph + font::kGlyphY));
  g.w = static_cast<int16_t>(load_u16(glyph + font::kGlyphW));
  g.h = static_cast<int16_t>(load_u16(glyph + font::kGlyphH));
  g.shift = static_cast<int16_t>(load_u16(glyph + font::kGlyphShift));
  g.offset = static_cast<int16_t>(load_u16(glyph + font::kGlyphOffset));
  g.kerning_count = static_cast<int16_t>(load_u16(glyph + font::kGlyphKerningCount));
  g.kerning = glyph + font::kGlyphBytes;
  return g;
}

int16_t Glyph_Kerning(const FontGlyph& glyph, uint16_t other) {
  for (int16_t i = 0; i < glyph.kerning_count; ++i) {
    const uint8_t* pair = glyph.kerning + font::kKerningPairBytes * i;
    if (load_u16(pair) == other) return static_cast<int16_t>(load_u16(pair + 2));
  }
  return 0;
}

const AssetTable<FontAsset>& Font_Table() { return g_fonts; }
FontAsset* Font_Get(int32_t index) { return g_fonts.get(index); }
void Font_Clear() { g_fonts.clear(); }

bool Font_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_fonts.clear();
  if (!Asset_ReadPointerList(cur, "FONT", &offsets)) return false;
  g_fonts.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto f = std::make_unique<FontAsset>();
    const char* name = nullptr;
    if (!read_font(offsets[i], f.get(), &name)) return false;
    g_fonts.set(i, std::move(f), name);
  }
  return true;
}

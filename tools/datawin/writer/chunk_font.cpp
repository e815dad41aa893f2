// FONT: a pointer list of font records; each record's glyph offsets lead to glyphs written
// behind it, 4-aligned.
#include "datawin/writer/chunk_font.h"

#include "datawin/format/font_shader_layout.h"

namespace datawin {

Blob& add_font(Writer& writer, int version, const std::vector<std::optional<FontRecord>>& fonts) {
  Blob& blob = writer.add_chunk(kChunkFONT);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(fonts.size()));
  for (uint32_t i = 0; i < fonts.size(); ++i) {
    if (!fonts[i]) continue;
    const FontRecord& f = *fonts[i];
    list.set(i, blob.here());
    blob.string(f.name);
    blob.string_or_none(f.display_name);
    blob.f32(f.size);
    blob.u32(f.bold ? 1 : 0);
    blob.u32(f.italic ? 1 : 0);
    blob.u32(font::pack(f.first_char, f.charset, f.antialias));
    blob.i32(f.last_char);
    blob.offset(f.page_entry);
    blob.f32(f.scale_x);
    blob.f32(f.scale_y);
    if (version >= font::kVersionAscender) {
      blob.i32(f.ascender_offset);
      blob.i32(f.ascender);
    }
    blob.i32(static_cast<int32_t>(f.glyphs.size()));
    std::vector<Label> glyphs;
    for (size_t g = 0; g < f.glyphs.size(); ++g) {
      glyphs.push_back(writer.new_label());
      blob.offset(glyphs.back());
    }
    for (size_t g = 0; g < f.glyphs.size(); ++g) {
      const GlyphRecord& glyph = f.glyphs[g];
      blob.align(4);
      blob.bind(glyphs[g]);
      blob.u16(glyph.character);
      for (int16_t field : {glyph.x, glyph.y, glyph.w, glyph.h, glyph.shift, glyph.offset}) {
        blob.u16(static_cast<uint16_t>(field));
      }
      blob.u16(static_cast<uint16_t>(glyph.kerning.size()));
      for (const auto& [other, amount] : glyph.kerning) {
        blob.u16(static_cast<uint16_t>(other));
        blob.u16(static_cast<uint16_t>(amount));
      }
    }
  }
  return blob;
}

}  // namespace datawin

// Run-time fonts through FreeType: font_add and the default font. A face is opened from the file's
// bytes, sized at 96 dpi, and the glyphs of its charmap in first..last are rendered once into a
// run-time texture (white, with the coverage as alpha; the text colour comes from the vertices),
// each in a cell with a clear border of at least one texel. Kerning pairs come from the face.
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/function_table.h"
#include "graphics/fn_support.h"
#include "graphics/font.h"
#include "graphics/texture_table.h"

bool Font_AddEnableAA();

namespace {

FT_Library g_library = nullptr;

bool library() {
  if (g_library != nullptr) return true;
  const FT_Error error = FT_Init_FreeType(&g_library);
  if (error != 0) {
    g_ReleaseConsole->Output("Error while initialising FreeType %d\n", error);
    g_library = nullptr;
    return false;
  }
  return true;
}

bool read_file(const std::string& path, std::vector<uint8_t>* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !out->empty();
}

// The system font directory of this platform, for names given without a path.
const char* const kFontDirectories[] = {"", "/usr/share/fonts/truetype/dejavu/", "/usr/share/fonts/truetype/",
                                        "/usr/share/fonts/"};

bool find_font_file(const std::string& name, std::vector<uint8_t>* out) {
  for (const char* dir : kFontDirectories) {
    if (read_file(dir + name, out) || read_file(dir + name + ".ttf", out)) return true;
  }
  return false;
}

inline int32_t px(FT_Pos v) { return static_cast<int32_t>((v + 63) >> 6); }

struct Rendered {
  uint32_t code = 0;
  int32_t w = 0, h = 0, top = 0, shift = 0, offset = 0;
  std::vector<uint8_t> alpha;  // w x h
};

// Loads the face and builds the font; false with the console line when FreeType refuses.
bool build(TextFont* f, const std::vector<uint8_t>& bytes, const std::string& shown_name) {
  if (!library()) return false;
  FT_Face face = nullptr;
  FT_Error error = FT_New_Memory_Face(g_library, bytes.data(), static_cast<FT_Long>(bytes.size()), 0, &face);
  if (error != 0) {
    g_ReleaseConsole->Output("FreeType :: error = %08x(%d) :: Unable to open font file %s\n", error, error,
                             shown_name.c_str());
    return false;
  }
  std::unique_ptr<FT_FaceRec_, decltype(&FT_Done_Face)> hold(face, FT_Done_Face);
  error = FT_Set_Char_Size(face, 0, static_cast<FT_F26Dot6>(f->size * 64.0f), 96, 96);
  if (error != 0) {
    g_ReleaseConsole->Output("FreeType :: error = %08x(%d) :: Unable to set font pixel size\n", error, error);
    return false;
  }
  error = FT_Select_Charmap(face, FT_ENCODING_UNICODE);
  if (error != 0) {
    g_ReleaseConsole->Output("FreeType :: error = %08x(%d) :: Unable to select unicode font character map\n", error,
                             error);
    return false;
  }
  const int32_t ascender = px(face->size->metrics.ascender);
  std::vector<Rendered> glyphs;
  const bool aa = f->antialias != 0;
  for (uint32_t code = static_cast<uint32_t>(f->first); code <= static_cast<uint32_t>(f->last); ++code) {
    const FT_UInt index = FT_Get_Char_Index(face, code);
    if (index == 0 && code != 32) continue;
    if (FT_Load_Glyph(face, index, FT_LOAD_DEFAULT) != 0) continue;
    if (FT_Render_Glyph(face->glyph, aa ? FT_RENDER_MODE_NORMAL : FT_RENDER_MODE_MONO) != 0) continue;
    const FT_Bitmap& bm = face->glyph->bitmap;
    Rendered r;
    r.code = code;
    r.shift = px(face->glyph->advance.x);
    r.offset = face->glyph->bitmap_left;
    r.top = std::max(0, ascender - face->glyph->bitmap_top);
    r.w = static_cast<int32_t>(bm.width);
    r.h = r.top + static_cast<int32_t>(bm.rows);
    r.alpha.assign(static_cast<size_t>(r.w) * static_cast<size_t>(std::max(r.h, 0)), 0);
    for (uint32_t row = 0; row < bm.rows; ++row) {
      const uint8_t* src = bm.buffer + static_cast<ptrdiff_t>(row) * bm.pitch;
      for (uint32_t col = 0; col < bm.width; ++col) {
        uint8_t a = 0;
        if (bm.pixel_mode == FT_PIXEL_MODE_MONO) {
          a = (src[col >> 3] & (0x80 >> (col & 7))) != 0 ? 255 : 0;
        } else {
          a = src[col];
        }
        r.alpha[static_cast<size_t>(r.top + static_cast<int32_t>(row)) * static_cast<size_t>(r.w) + col] = a;
      }
    }
    glyphs.push_back(std::move(r));
  }
  // Shelf packing with a two-texel gap, on the smallest power-of-two square that holds them all.
  int32_t side = 64;
  std::vector<std::pair<int32_t, int32_t>> at(glyphs.size());
  for (;; side *= 2) {
    int32_t x = 2, y = 2, shelf = 0;
    bool fits = true;
    for (size_t i = 0; i < glyphs.size() && fits; ++i) {
      if (x + glyphs[i].w + 2 > side) {
        x = 2;
        y += shelf + 3;
        shelf = 0;
      }
      at[i] = {x, y};
      x += glyphs[i].w + 3;
      shelf = std::max(shelf, glyphs[i].h);
      fits = y + shelf + 2 <= side;
    }
    if (fits || side >= 4096) break;
  }
  Texture* texture = Texture_Create(static_cast<uint32_t>(side), static_cast<uint32_t>(side), kTextureFormatRGBA, 0);
  auto* pixels = reinterpret_cast<uint32_t*>(texture->pixels.data());
  for (int32_t i = 0; i < side * side; ++i) pixels[i] = 0x00FFFFFFu;
  f->glyphs.clear();
  for (size_t i = 0; i < glyphs.size(); ++i) {
    const Rendered& r = glyphs[i];
    for (int32_t row = 0; row < r.h; ++row) {
      for (int32_t col = 0; col < r.w; ++col) {
        const uint32_t a = r.alpha[static_cast<size_t>(row * r.w + col)];
        pixels[(at[i].second + row) * side + at[i].first + col] = 0x00FFFFFFu | (a << 24);
      }
    }
    FontGlyph g;
    g.character = static_cast<uint16_t>(r.code);
    g.x = static_cast<int16_t>(at[i].first);
    g.y = static_cast<int16_t>(at[i].second);
    g.w = static_cast<int16_t>(r.w);
    g.h = static_cast<int16_t>(r.h);
    g.shift = static_cast<int16_t>(r.shift);
    g.offset = static_cast<int16_t>(r.offset);
    f->glyphs.push_back(g);
  }
  // Kerning pairs, each glyph's sorted by the other character, stored behind the glyphs.
  if (FT_HAS_KERNING(face)) {
    std::vector<std::vector<std::pair<uint16_t, int16_t>>> pairs(f->glyphs.size());
    size_t total = 0;
    for (size_t i = 0; i < f->glyphs.size(); ++i) {
      const FT_UInt right = FT_Get_Char_Index(face, f->glyphs[i].character);
      for (const FontGlyph& other : f->glyphs) {
        FT_Vector k{};
        if (FT_Get_Kerning(face, FT_Get_Char_Index(face, other.character), right, FT_KERNING_DEFAULT, &k) == 0 &&
            k.x != 0) {
          pairs[i].emplace_back(other.character, static_cast<int16_t>(px(k.x)));
        }
      }
      total += pairs[i].size();
    }
    f->kerningStore.resize(total * 4);
    size_t used = 0;
    for (size_t i = 0; i < f->glyphs.size(); ++i) {
      f->glyphs[i].kerning = f->kerningStore.data() + used;
      f->glyphs[i].kerning_count = static_cast<int16_t>(pairs[i].size());
      for (const auto& [other, amount] : pairs[i]) {
        uint8_t* p = f->kerningStore.data() + used;
        p[0] = static_cast<uint8_t>(other & 0xFF);
        p[1] = static_cast<uint8_t>(other >> 8);
        p[2] = static_cast<uint8_t>(static_cast<uint16_t>(amount) & 0xFF);
        p[3] = static_cast<uint8_t>(static_cast<uint16_t>(amount) >> 8);
        used += 4;
      }
    }
  }
  f->maxHeight = px(face->size->metrics.height);
  f->texWidth = f->texHeight = side;
  const int32_t slot_index = Texture_AllocSlot();
  TextureSlot* slot = Texture_Slot(slot_index);
  texture->slot = slot_index;
  slot->texture = texture;
  Texture_SetSlotSize(slot, static_cast<uint32_t>(side), static_cast<uint32_t>(side));
  slot->origWidth = slot->width;
  slot->origHeight = slot->height;
  f->dynamicTexture = slot_index;
  f->texelPad = 0.0f;
  return true;
}

std::unique_ptr<TextFont> g_default;
bool g_default_tried = false;

// font_add(name, size, bold, italic, first, last)
void F_FontAdd(RValue* result, CInstance*, CInstance*, int argc, RValue* argv) {
  *result = RV_Real(-1);
  auto f = std::make_unique<TextFont>();
  f->fontName = gfx_fn::ArgString(argc, argv, 0);
  f->size = static_cast<float>(gfx_fn::Arg(argc, argv, 1));
  f->bold = gfx_fn::ArgBool(argc, argv, 2);
  f->italic = gfx_fn::ArgBool(argc, argv, 3);
  f->first = std::max(gfx_fn::ArgInt(argc, argv, 4), 0);
  f->last = std::min(gfx_fn::ArgInt(argc, argv, 5), 255);
  f->antialias = Font_AddEnableAA() ? 3 : 0;
  std::vector<uint8_t> bytes;
  if (!find_font_file(f->fontName, &bytes)) {
    g_ReleaseConsole->Output("FreeType :: unable to find font file %s\n", f->fontName.c_str());
    return;
  }
  if (!build(f.get(), bytes, f->fontName)) return;
  *result = RV_Real(Font_AddRuntime(std::move(f)));
}

}  // namespace

TextFont* Font_Default() {
  if (g_default_tried) return g_default.get();
  g_default_tried = true;
  auto f = std::make_unique<TextFont>();
  f->fontName = "DejaVu Sans Mono";
  f->size = 11.0f;
  f->bold = true;
  f->first = 32;
  f->last = 127;
  f->antialias = 3;
  std::vector<uint8_t> bytes;
  if (!find_font_file("DejaVuSansMono-Bold.ttf", &bytes) || !build(f.get(), bytes, f->fontName)) {
    g_ReleaseConsole->Output("The default font could not be made\n");
    return nullptr;
  }
  g_default = std::move(f);
  return g_default.get();
}

void Font_ReleaseDefault() {
  if (g_default != nullptr) Texture_FreeSlot(g_default->dynamicTexture);
  g_default.reset();
  g_default_tried = false;
}

void Font_RegisterFreeTypeBuiltins() {
  int32_t id = 0;
  if (!Function_Find("font_add", &id)) Function_Add("font_add", F_FontAdd, 6, 0);
}

// Run-time fonts through FreeType: font_add and the default font. A face is opened from the file's
// bytes (which the font keeps for the face's life) and sized at 96 dpi. Loading reads the metrics
// of every charmap code below 0x10000 and the kerning pairs among first..last; no glyph is
// rendered then. A glyph is rendered the first time it is looked up, into a cell of the font's
// glyph cache (white, with the coverage as alpha: the text colour comes from the vertices), and
// stays there as long as the cache's least-recently-used list allows.
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "graphics/batcher.h"
#include "graphics/fn_support.h"
#include "graphics/font.h"
#include "graphics/texture_load.h"
#include "graphics/texture_table.h"
#include "graphics/window.h"
#include "platform/files.h"

bool Font_AddEnableAA();

namespace {

FT_Library g_library = nullptr;
int32_t g_page_size = 1024;

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

// The system font directories of this platform, for names given without a path.
const char* const kFontDirectories[] = {"/usr/share/fonts/truetype/dejavu/", "/usr/share/fonts/truetype/",
                                        "/usr/share/fonts/"};

// The bundle (beside the game), the save area, then the system font directories, each under the
// name as given and then with ".ttf" behind it.
bool find_font_file(const std::string& name, std::vector<uint8_t>* out) {
  std::vector<std::string> dirs = {TextureLoad_GameDirectory(), TextureLoad_SaveArea()};
  if (!name.empty() && name[0] == '/') dirs = {""};
  for (const char* dir : kFontDirectories) dirs.emplace_back(dir);
  for (const std::string& dir : dirs) {
    for (const std::string& path : {dir + name, dir + name + ".ttf"}) {
      if (Platform_FileReadable(path) && Platform_ReadWholeFile(path, out) && !out->empty()) return true;
    }
  }
  return false;
}

// 26.6 fixed point to whole pixels, rounding up.
inline int32_t px(FT_Pos v) { return static_cast<int32_t>((v + 63) >> 6); }

// The metrics of the glyph loaded in the face's slot, for a glyph not in the cache.
void read_metrics(FT_Face face, FontGlyph* g) {
  const FT_Glyph_Metrics& m = face->glyph->metrics;
  g->w = static_cast<int16_t>(px(m.width));
  g->h = static_cast<int16_t>(px(face->size->metrics.ascender + m.height - m.horiBearingY));
  g->shift = static_cast<int16_t>(px(face->glyph->advance.x));
  g->offset = static_cast<int16_t>(px(m.horiBearingX));
  g->x = g->y = -1;
}

void store_kerning(TextFont* f, const std::vector<std::vector<std::pair<uint16_t, int16_t>>>& pairs) {
  size_t total = 0;
  for (const auto& p : pairs) total += p.size();
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

// The cache on a side x side page: equal cells chained from (2, 2), every pixel clear white.
void setup_cache(TextFont* f, FT_Face face, int32_t side) {
  auto cache = std::make_unique<GlyphCache>();
  GlyphCache& c = *cache;
  c.face = face;
  c.cellWidth = std::max(1, px(face->size->metrics.max_advance));
  c.cellHeight = std::max(1, px(face->size->metrics.height * 9 / 8));
  const int32_t per_column = (side - 4) / (c.cellHeight + c.padY);
  const int32_t per_row = (side - 4) / (c.cellWidth + c.padX);
  c.capacity = std::max(1, std::min(std::max(per_column, 0) * std::max(per_row, 0), static_cast<int32_t>(f->glyphs.size())));
  Texture* texture = Texture_Create(static_cast<uint32_t>(side), static_cast<uint32_t>(side), kTextureFormatRGBA, 0);
  if (texture == nullptr || texture->pixels.empty()) {
    KVError("Couldn't initialise glyph cache due to missing texture");
    return;
  }
  c.texture = texture;
  c.texWidth = c.texHeight = side;
  auto* pixels = reinterpret_cast<uint32_t*>(texture->pixels.data());
  std::fill(pixels, pixels + static_cast<size_t>(side) * static_cast<size_t>(side), 0x00FFFFFFu);
  c.nodes.resize(static_cast<size_t>(c.capacity));
  int32_t x = c.padX, y = c.padY;
  for (size_t i = 0; i < c.nodes.size(); ++i) {
    GlyphCacheNode& n = c.nodes[i];
    n.x = x;
    n.y = y;
    n.prev = i > 0 ? &c.nodes[i - 1] : nullptr;
    n.next = i + 1 < c.nodes.size() ? &c.nodes[i + 1] : nullptr;
    x += c.cellWidth + c.padX;
    if (x + c.cellWidth + c.padX > side) {
      x = c.padX;
      y += c.cellHeight + c.padY;
    }
  }
  c.head = &c.nodes.front();
  c.tail = &c.nodes.back();
  c.glyphNodes.assign(f->glyphs.size(), nullptr);
  c.slot = Texture_AllocSlot();
  TextureSlot* slot = Texture_Slot(c.slot);
  texture->slot = c.slot;
  slot->texture = texture;
  Texture_SetSlotSize(slot, static_cast<uint32_t>(side), static_cast<uint32_t>(side));
  slot->origWidth = slot->width;
  slot->origHeight = slot->height;
  f->dynamicTexture = c.slot;
  f->texWidth = f->texHeight = side;
  f->texelPad = 0.0f;
  f->cache = std::move(cache);
}

// Loads the face from the font's file bytes and builds its glyph table and cache; false with the
// console line when FreeType refuses.
bool build(TextFont* f, const std::string& shown_name) {
  if (!library()) return false;
  FT_Face face = nullptr;
  FT_Error error = FT_New_Memory_Face(g_library, f->fileData.data(), static_cast<FT_Long>(f->fileData.size()), 0, &face);
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
  // Every charmap code below 0x10000, and the space first whether the charmap has it or not.
  std::vector<std::pair<uint32_t, FT_UInt>> codes;
  FT_UInt index = 0;
  for (FT_ULong code = FT_Get_First_Char(face, &index); index != 0; code = FT_Get_Next_Char(face, code, &index)) {
    if (code < 0x10000 && code != 32) codes.emplace_back(static_cast<uint32_t>(code), index);
  }
  f->glyphs.clear();
  f->glyphs.reserve(codes.size() + 1);
  FontGlyph space;
  space.character = 32;
  space.x = space.y = -1;
  if (FT_Load_Glyph(face, FT_Get_Char_Index(face, 32), FT_LOAD_DEFAULT) == 0) {
    space.shift = static_cast<int16_t>(px(face->glyph->advance.x));
  }
  f->glyphs.push_back(space);
  std::vector<std::pair<uint32_t, FT_UInt>> kerned;  // the codes in first..last
  for (const auto& [code, glyph_index] : codes) {
    FontGlyph g;
    g.character = static_cast<uint16_t>(code);
    g.x = g.y = -1;
    if (FT_Load_Glyph(face, glyph_index, FT_LOAD_DEFAULT) == 0) read_metrics(face, &g);
    f->glyphs.push_back(g);
    if (static_cast<int32_t>(code) >= f->first && static_cast<int32_t>(code) <= f->last) {
      kerned.emplace_back(code, glyph_index);
    }
  }
  std::stable_sort(f->glyphs.begin(), f->glyphs.end(),
                   [](const FontGlyph& l, const FontGlyph& r) { return l.character < r.character; });
  if (FT_HAS_KERNING(face) && !kerned.empty()) {
    // Each glyph in first..last against every other there, this glyph on the left.
    std::vector<std::vector<std::pair<uint16_t, int16_t>>> pairs(f->glyphs.size());
    for (size_t i = 0; i < f->glyphs.size(); ++i) {
      const uint32_t code = f->glyphs[i].character;
      if (static_cast<int32_t>(code) < f->first || static_cast<int32_t>(code) > f->last) continue;
      const FT_UInt left = FT_Get_Char_Index(face, code);
      for (const auto& [other, right] : kerned) {
        if (other == code) continue;
        FT_Vector k{};
        if (FT_Get_Kerning(face, left, right, FT_KERNING_DEFAULT, &k) == 0 && k.x != 0) {
          pairs[i].emplace_back(static_cast<uint16_t>(other), static_cast<int16_t>(px(k.x)));
        }
      }
    }
    store_kerning(f, pairs);
  }
  f->maxHeight = px(face->size->metrics.height);
  // The page: halved while it would hold over four times the glyphs in cells of the face's size.
  int32_t side = std::max(Font_TexturePageSize(), 16);
  const int64_t area = static_cast<int64_t>(px(face->size->metrics.height) + 4) *
                       static_cast<int64_t>(px(face->size->metrics.max_advance) + 4);
  while (side > 16 && static_cast<int64_t>(side) * side / std::max<int64_t>(area, 1) >
                          4 * static_cast<int64_t>(f->glyphs.size())) {
    side /= 2;
  }
  setup_cache(f, face, side);
  if (f->cache == nullptr) return false;
  hold.release();
  return true;
}

// A glyph's alpha at column col of a bitmap row, by pixel mode.
uint8_t coverage(const FT_Bitmap& bm, const uint8_t* row, uint32_t col) {
  switch (bm.pixel_mode) {
    case FT_PIXEL_MODE_MONO:
      return (row[col >> 3] & (0x80 >> (col & 7))) != 0 ? 255 : 0;
    case FT_PIXEL_MODE_GRAY2:
      return static_cast<uint8_t>(((row[col >> 2] >> (6 - 2 * (col & 3))) & 3) * 63);
    case FT_PIXEL_MODE_GRAY4:
      return static_cast<uint8_t>(((row[col >> 1] >> (4 - 4 * (col & 1))) & 15) * 7);
    default:  // gray, LCD and vertical LCD: one byte
      return row[col];
  }
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
  if (!find_font_file(f->fontName, &f->fileData)) {
    g_ReleaseConsole->Output("FreeType :: unable to find font file %s\n", f->fontName.c_str());
    return;
  }
  const std::string name = f->fontName;
  if (!build(f.get(), name)) return;
  *result = RV_Real(Font_AddRuntime(std::move(f)));
}

}  // namespace

int32_t Font_TexturePageSize() { return g_page_size; }
void Font_SetTexturePageSize(int32_t size) { g_page_size = size; }

void Font_ReleaseFace(void* face) {
  if (face != nullptr) FT_Done_Face(static_cast<FT_Face>(face));
}

void GlyphCache_Put(const TextFont& font, size_t index) {
  GlyphCache& c = *font.cache;
  // The cache rewrites the glyph records of its own font, which is never a const object.
  auto* glyphs = const_cast<FontGlyph*>(font.glyphs.data());
  FontGlyph& glyph = glyphs[index];
  const uint32_t frame = Window_State().frame_number;
  GlyphCacheNode* node = c.tail;
  if (node != c.head) {
    c.tail = node->prev;
    c.tail->next = nullptr;
    node->prev = nullptr;
    node->next = c.head;
    c.head->prev = node;
    c.head = node;
  }
  if (node->glyph != nullptr) {
    // Quads of this frame may still read the cell.
    if (node->lastUsedFrame == frame) GR_Flush();
    node->glyph->x = node->glyph->y = -1;
    c.glyphNodes[static_cast<size_t>(node->glyph - glyphs)] = nullptr;
  }
  node->glyph = &glyph;
  node->lastUsedFrame = frame;
  c.glyphNodes[index] = node;
  glyph.x = static_cast<int16_t>(node->x);
  glyph.y = static_cast<int16_t>(node->y);
  ++c.renders;
  auto* pixels = reinterpret_cast<uint32_t*>(c.texture->pixels.data());
  for (int32_t row = 0; row < c.cellHeight; ++row) {
    uint32_t* line = pixels + static_cast<size_t>(node->y + row) * static_cast<size_t>(c.texWidth) + node->x;
    std::fill(line, line + c.cellWidth, 0x00FFFFFFu);
  }
  auto face = static_cast<FT_Face>(c.face);
  const FT_UInt glyph_index = FT_Get_Char_Index(face, glyph.character);
  if (FT_Load_Glyph(face, glyph_index, 0) == 0 &&
      FT_Render_Glyph(face->glyph, font.antialias != 0 ? FT_RENDER_MODE_NORMAL : FT_RENDER_MODE_MONO) == 0) {
    const FT_Bitmap& bm = face->glyph->bitmap;
    const int32_t top = std::max(0, px(face->size->metrics.ascender - face->glyph->metrics.horiBearingY));
    // What doesn't fit the cell is cut, so a quad never reads a neighbour's cell.
    const int32_t w = std::min(static_cast<int32_t>(bm.width), c.cellWidth);
    const int32_t h = std::min(top + static_cast<int32_t>(bm.rows), c.cellHeight);
    glyph.w = static_cast<int16_t>(w);
    glyph.h = static_cast<int16_t>(h);
    glyph.shift = static_cast<int16_t>(px(face->glyph->advance.x));
    glyph.offset = static_cast<int16_t>(px(face->glyph->metrics.horiBearingX));
    for (int32_t row = 0; top + row < h; ++row) {
      const uint8_t* src = bm.buffer + static_cast<ptrdiff_t>(row) * bm.pitch;
      uint32_t* dst = pixels + static_cast<size_t>(node->y + top + row) * static_cast<size_t>(c.texWidth) + node->x;
      for (int32_t col = 0; col < w; ++col) {
        dst[col] = 0x00FFFFFFu | (static_cast<uint32_t>(coverage(bm, src, static_cast<uint32_t>(col))) << 24);
      }
    }
  }
  Texture_Update_Rect(c.texture, node->x, node->y, c.cellWidth, c.cellHeight);
}

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
  if (!find_font_file("DejaVuSansMono-Bold.ttf", &f->fileData) || !build(f.get(), f->fontName)) {
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

#include "graphics/font.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "core/console.h"
#include "core/frames.h"
#include "core/utf8.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/batcher.h"
#include "graphics/draw.h"
#include "graphics/gr_texture.h"
#include "graphics/sprite.h"
#include "graphics/sprite_draw.h"
#include "graphics/texture_table.h"
#include "graphics/window.h"

namespace {

struct FontTable {
  std::vector<std::unique_ptr<TextFont>> fonts;
  std::vector<std::string> names;
  const void* builtFrom = nullptr;  // the first record of the FONT table the file fonts came from
  int32_t builtCount = -1;
};

FontTable g_table;
int32_t g_current_font = -1;
int32_t g_halign = 0;
int32_t g_valign = 0;

constexpr uint32_t kFallbackGlyph = 9647;  // U+25AF
constexpr uint32_t kTextEventColour = 0xffff00;

const void* first_record() {
  const auto& table = Font_Table();
  for (int32_t i = 0; i < table.count(); ++i) {
    if (const FontAsset* f = table.get(i)) return f->record;
  }
  return nullptr;
}

std::unique_ptr<TextFont> from_asset(const FontAsset& a) {
  auto f = std::make_unique<TextFont>();
  f->fontName = a.display_name != nullptr ? a.display_name : "";
  f->pageEntry = a.page_entry;
  f->size = a.size;
  f->bold = a.bold;
  f->italic = a.italic;
  f->first = static_cast<int32_t>(a.first_char);
  f->last = a.last_char;
  f->charset = static_cast<int32_t>(a.charset);
  f->antialias = static_cast<int32_t>(a.antialias);
  f->scaleX = a.scale_x;
  f->scaleY = a.scale_y;
  f->ascenderOffset = a.ascenderOffset;
  f->ascender = a.ascender;
  f->texWidth = a.atlas_width;
  f->texHeight = a.atlas_height;
  for (const uint8_t* g : a.glyphs) {
    if (g != nullptr) f->glyphs.push_back(Glyph_Read(g));
  }
  std::stable_sort(f->glyphs.begin(), f->glyphs.end(),
                   [](const FontGlyph& l, const FontGlyph& r) { return l.character < r.character; });
  for (const FontGlyph& g : f->glyphs) f->maxHeight = std::max<int32_t>(f->maxHeight, g.h);
  return f;
}

// The file fonts come from the FONT table the first time the table is used after a load.
void ensure_table() {
  const void* first = first_record();
  const int32_t count = Font_Table().count();
  if (g_table.builtFrom == first && g_table.builtCount == count) return;
  g_table.fonts.clear();
  g_table.names.clear();
  g_table.builtFrom = first;
  g_table.builtCount = count;
  for (int32_t i = 0; i < count; ++i) {
    const FontAsset* a = Font_Table().get(i);
    g_table.fonts.push_back(a != nullptr ? from_asset(*a) : nullptr);
    const char* name = Font_Table().name(i);
    g_table.names.emplace_back(a != nullptr && name != nullptr ? name : "");
  }
}

uint32_t lerp_colour(uint32_t a, uint32_t b, float t, uint32_t alpha) {
  t = std::clamp(t, 0.0f, 1.0f);
  uint32_t out = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const float ca = static_cast<float>((a >> shift) & 0xFF);
    const float cb = static_cast<float>((b >> shift) & 0xFF);
    out |= (static_cast<uint32_t>(ca + (cb - ca) * t) & 0xFF) << shift;
  }
  return out | (alpha << 24);
}

uint32_t alpha_byte(double alpha) { return static_cast<uint32_t>(std::clamp(alpha, 0.0, 1.0) * 255.0); }

bool is_white_space(uint32_t c) {
  return c == 0 || (c >= 9 && c <= 13) || c == 32 || c == 133 || c == 5760 || c == 6158 || (c >= 8192 && c <= 8198) ||
         (c >= 8200 && c <= 8205) || c == 8232 || c == 8233 || c == 8287 || c == 12288;
}

bool is_break(uint32_t c) { return c == 10 || c == 13; }

// A quad of layout 24: corners in the order top left, top right, bottom right, bottom left, with
// their uv rectangle and colours.
struct Corner {
  float x, y;
};
bool put_quad(GRTexture* texture, const Corner (&p)[4], float u0, float v0, float u1, float v1,
              const uint32_t (&colour)[4]) {
  auto* v = static_cast<VertexTextured*>(GR_Alloc_Quads(texture, kFormatTextured, 1));
  if (v == nullptr) return false;
  const float z = GR_Depth();
  const float u[4] = {u0, u1, u1, u0};
  const float w[4] = {v0, v0, v1, v1};
  for (int c = 0; c < 4; ++c) v[c] = VertexTextured{u[c], w[c], colour[c], p[c].x, p[c].y, z};
  return true;
}

// The atlas rectangle of a glyph in uv, grown by pad texels on every side (page-relative when the
// font lives on a page).
void glyph_uv(const TextFont& f, const FontGlyph& g, float pad, float tw, float th, float* u0, float* v0, float* u1,
              float* v1) {
  int32_t ex = 0, ey = 0;
  if (f.pageEntry != nullptr) {
    const TexturePageEntry e = PageEntry_Read(f.pageEntry);
    ex = e.x;
    ey = e.y;
  } else {
    pad = 0.0f;
  }
  *u0 = (static_cast<float>(ex + g.x - 1) - pad) * tw;
  *v0 = (static_cast<float>(ey + g.y - 1) - pad) * th;
  *u1 = (static_cast<float>(ex + g.x - 1 + g.w + 2) + pad) * tw;
  *v1 = (static_cast<float>(ey + g.y - 1 + g.h + 2) + pad) * th;
}

// ---- The draw forms of one line ---------------------------------------------------------------------

// A sprite font's line: each glyph's frame whole, its corner at (pen + offset x scale, row), where
// the pen starts at x and the row at y, both moved by the sprite's origin. A space only moves the
// pen.
void draw_sprite_line(const TextFont& f, float x, float y, const uint32_t* codes, size_t n, const uint32_t (&corners)[4],
                      float spacing, float gap) {
  const CSprite* sprite = Sprite_Data(f.spriteIndex);
  if (sprite == nullptr) return;
  float pen = x + static_cast<float>(sprite->xOrigin) * f.scaleX;
  const float row = y - static_cast<float>(f.ascenderOffset) * f.scaleY + static_cast<float>(sprite->yOrigin) * f.scaleY;
  for (size_t i = 0; i < n; ++i) {
    if (codes[i] == 0) continue;
    const FontGlyph* g = f.GetGlyph(codes[i]);
    if (g == nullptr) continue;
    if (codes[i] != 32) {
      Sprite_DrawPart(*sprite, static_cast<float>(g->w), 0.0f, 0.0f, static_cast<float>(sprite->width),
                      static_cast<float>(sprite->height), static_cast<float>(g->offset) * f.scaleX + pen, row, f.scaleX,
                      f.scaleY, 0.0f, corners);
    }
    pen += static_cast<float>(g->shift) * f.scaleX + spacing + (codes[i] == 32 ? gap : 0.0f);
  }
}

// One line of glyph quads with its glyphs' upper edge at top (the atlas border included). The
// pen moves by each advance, plus spacing behind every character and gap behind each space.
void draw_line_at(const TextFont& f, float x, float top, const uint32_t* codes, size_t n, uint32_t colour,
                  float spacing, float gap) {
  float tw = 0, th = 0;
  GRTexture* texture = Font_Texture(f, &tw, &th);
  const uint32_t corners[4] = {colour, colour, colour, colour};
  float pen = x;
  const FontGlyph* previous = nullptr;
  for (size_t i = 0; i < n; ++i) {
    if (codes[i] == 0) continue;
    const FontGlyph* g = f.GetGlyph(codes[i]);
    if (g == nullptr) {
      previous = nullptr;
      continue;
    }
    if (previous != nullptr && g->kerning_count > 0) pen += static_cast<float>(f.GetKerning(previous->character, *g)) * f.scaleX;
    if (texture != nullptr) {
      const float l0 = pen + static_cast<float>(g->offset) * f.scaleX - 1.0f;
      const float left = l0 - f.texelPad;
      const float right = static_cast<float>(g->w + 2) * f.scaleX + l0 + f.texelPad;
      const float upper = top - f.texelPad;
      const float lower = static_cast<float>(g->h + 2) * f.scaleY + top + f.texelPad;
      float u0, v0, u1, v1;
      glyph_uv(f, *g, f.texelPad, tw, th, &u0, &v0, &u1, &v1);
      const Corner p[4] = {{left, upper}, {right, upper}, {right, lower}, {left, lower}};
      if (!put_quad(texture, p, u0, v0, u1, v1, corners)) return;
    }
    pen += static_cast<float>(g->shift) * f.scaleX + spacing + (codes[i] == 32 ? gap : 0.0f);
    previous = g;
  }
}

void draw_line(const TextFont& f, float x, float y, const uint32_t* codes, size_t n, uint32_t colour) {
  const uint32_t corners[4] = {colour, colour, colour, colour};
  if (f.spriteIndex >= 0) return draw_sprite_line(f, x, y, codes, n, corners, 0.0f, 0.0f);
  draw_line_at(f, x, y - static_cast<float>(f.ascenderOffset) * f.scaleY - 1.0f, codes, n, colour, 0.0f, 0.0f);
}

// Glyph quads along an axis: the pen starts at (x, y) and moves by its advance along (c, -s);
// each quad is the glyph's atlas rectangle with its one-pixel border, scaled and turned.
// Colours run left to right from c1/c4 to c2/c3 over the whole width of the line.
void draw_line_general(const TextFont& f, float x, float y, const uint32_t* codes, size_t n, float sx, float sy,
                       float s, float c, const TextColours& colours, bool transformed) {
  float tw = 0, th = 0;
  GRTexture* texture = Font_Texture(f, &tw, &th);
  // A sprite font: each frame whole through the sprite part draw, turned with the line; a space only
  // moves the pen. The atlas forms' one-pixel border doesn't apply.
  const CSprite* sprite = f.spriteIndex >= 0 ? Sprite_Data(f.spriteIndex) : nullptr;
  if (f.spriteIndex >= 0 && sprite == nullptr) return;
  const float degrees = std::atan2(s, c) * 180.0f / 3.1415927f;
  const uint32_t alpha = alpha_byte(colours.alpha);
  const float total = static_cast<float>(f.TextWidth(codes, n, 0.0f));
  float d = 0.0f;
  float pen_x = x, pen_y = y;
  const FontGlyph* previous = nullptr;
  for (size_t i = 0; i < n; ++i) {
    if (codes[i] == 0) continue;
    const FontGlyph* g = f.GetGlyph(codes[i]);
    if (g == nullptr) {
      previous = nullptr;
      continue;
    }
    if (previous != nullptr && g->kerning_count > 0) {
      const float k = static_cast<float>(f.GetKerning(previous->character, *g)) * sx;
      pen_x += k * c;
      pen_y -= k * s;
    }
    const float advance = static_cast<float>(g->shift) * sx;
    const float t0 = total > 0.0f ? d / total : 0.0f;
    const float t1 = total > 0.0f ? (d + advance) / total : 0.0f;
    const uint32_t col[4] = {lerp_colour(colours.c1, colours.c2, t0, alpha), lerp_colour(colours.c1, colours.c2, t1, alpha),
                             lerp_colour(colours.c4, colours.c3, t1, alpha), lerp_colour(colours.c4, colours.c3, t0, alpha)};
    if (sprite != nullptr) {
      if (codes[i] != 32) {
        // Along the line by the origin and the offset, down it by the origin; the colour form's
        // pen row sits one pixel above the line for the atlas border.
        const float along = static_cast<float>(sprite->xOrigin + g->offset) * sx;
        const float down = static_cast<float>(sprite->yOrigin) * sy + (transformed ? 0.0f : 1.0f);
        Sprite_DrawPart(*sprite, static_cast<float>(g->w), 0.0f, 0.0f, static_cast<float>(sprite->width),
                        static_cast<float>(sprite->height), pen_x + along * c + down * s, pen_y - along * s + down * c,
                        sx, sy, degrees, col);
      }
    } else if (texture != nullptr) {
      float ox, oy;
      if (transformed) {
        const float o = static_cast<float>(g->offset - 1);
        ox = pen_x + o * c * sx - s * sx;
        oy = pen_y - o * s * sx - c * sx;
      } else {
        ox = pen_x + static_cast<float>(g->offset) - 1.0f;
        oy = pen_y;
      }
      const float w = static_cast<float>(g->w + 2) * sx;
      const float h = static_cast<float>(g->h + 2) * sy;
      const Corner p[4] = {{ox, oy},
                           {ox + w * c, oy - w * s},
                           {ox + w * c + h * s, oy - w * s + h * c},
                           {ox + h * s, oy + h * c}};
      float u0, v0, u1, v1;
      glyph_uv(f, *g, 0.0f, tw, th, &u0, &v0, &u1, &v1);
      if (!put_quad(texture, p, u0, v0, u1, v1, col)) return;
    }
    d += advance;
    pen_x += advance * c;
    pen_y -= advance * s;
    previous = g;
  }
}

struct Laid {
  std::vector<uint32_t> codes;
  std::vector<TextLine> lines;
};

}  // namespace

void Font_DrawSpaced(const TextFont& font, float x, float y, const uint32_t* codes, size_t count, uint32_t colour,
                     float char_spacing, float extra_gap) {
  if (font.spriteIndex >= 0) {
    const uint32_t corners[4] = {colour, colour, colour, colour};
    return draw_sprite_line(font, x, y, codes, count, corners, char_spacing, extra_gap);
  }
  const float top = y + static_cast<float>(font.maxHeight - font.ascender - font.ascenderOffset) * font.scaleY - 1.0f;
  draw_line_at(font, x, top, codes, count, colour, char_spacing, extra_gap);
}

// ---- TextFont -------------------------------------------------------------------------------------

TextFont::~TextFont() {
  if (cache != nullptr) Font_ReleaseFace(cache->face);
}

namespace {

// A cached glyph's cell becomes the most recently used, stamped with this frame.
void touch(GlyphCache& cache, GlyphCacheNode* node) {
  node->lastUsedFrame = Window_State().frame_number;
  if (cache.head == node) return;
  node->prev->next = node->next;
  if (node->next != nullptr) {
    node->next->prev = node->prev;
  } else {
    cache.tail = node->prev;
  }
  node->prev = nullptr;
  node->next = cache.head;
  cache.head->prev = node;
  cache.head = node;
}

}  // namespace

const FontGlyph* TextFont::GetGlyph(uint32_t code) const {
  int32_t low = 0, high = static_cast<int32_t>(glyphs.size()) - 1;
  while (low <= high) {
    const int32_t mid = low + (high - low) / 2;
    const uint32_t c = glyphs[static_cast<size_t>(mid)].character;
    if (c == code) {
      const FontGlyph& g = glyphs[static_cast<size_t>(mid)];
      if (cache != nullptr) {
        GlyphCacheNode* node = cache->glyphNodes[static_cast<size_t>(mid)];
        if ((g.x != -1 || g.y != -1) && node != nullptr) {
          touch(*cache, node);
        } else {
          GlyphCache_Put(*this, static_cast<size_t>(mid));
        }
      }
      return &g;
    }
    if (c < code) {
      low = mid + 1;
    } else {
      high = mid - 1;
    }
  }
  return code != kFallbackGlyph ? GetGlyph(kFallbackGlyph) : nullptr;
}

int32_t TextFont::GetKerning(uint32_t other, const FontGlyph& glyph) const {
  return Glyph_Kerning(glyph, static_cast<uint16_t>(other));
}

int32_t TextFont::TextWidth(const uint32_t* codes, size_t count, float spacing) const {
  float accumulator = 0.0f;
  int32_t value = 0;
  for (size_t i = 0; i < count; ++i) {
    const FontGlyph* g = GetGlyph(codes[i]);
    const float shift = g != nullptr ? static_cast<float>(g->shift) : 0.0f;
    value = static_cast<int32_t>(shift * scaleX + accumulator);
    accumulator = std::trunc(static_cast<float>(value) + spacing);
  }
  return value;
}

int32_t TextFont::TextHeight() const { return static_cast<int32_t>(static_cast<float>(maxHeight) * scaleY); }

// ---- Table -----------------------------------------------------------------------------------------

bool Font_Valid(int32_t id) { return Font_At(id) != nullptr; }

TextFont* Font_At(int32_t id) {
  ensure_table();
  if (id < 0 || static_cast<size_t>(id) >= g_table.fonts.size()) return nullptr;
  return g_table.fonts[static_cast<size_t>(id)].get();
}

const char* Font_Name(int32_t id) { return Font_Valid(id) ? g_table.names[static_cast<size_t>(id)].c_str() : nullptr; }

int32_t Font_Count() {
  ensure_table();
  return static_cast<int32_t>(g_table.fonts.size());
}

int32_t Font_AddRuntime(std::unique_ptr<TextFont> font) {
  ensure_table();
  const int32_t id = static_cast<int32_t>(g_table.fonts.size());
  g_table.fonts.push_back(std::move(font));
  g_table.names.push_back("__newfont" + std::to_string(id));
  return id;
}

namespace {

// A run-time font's atlas goes with it.
void release(std::unique_ptr<TextFont>* font) {
  if (*font != nullptr && (*font)->dynamicTexture >= 0) Texture_FreeSlot((*font)->dynamicTexture);
  font->reset();
}

}  // namespace

bool Font_Replace(int32_t id, std::unique_ptr<TextFont> font) {
  if (!Font_Valid(id) || font == nullptr) return false;
  GR_Flush();
  release(&g_table.fonts[static_cast<size_t>(id)]);
  g_table.fonts[static_cast<size_t>(id)] = std::move(font);
  return true;
}

bool Font_Delete(int32_t id) {
  if (!Font_Valid(id)) return false;
  GR_Flush();
  release(&g_table.fonts[static_cast<size_t>(id)]);
  g_table.names[static_cast<size_t>(id)].clear();
  return true;
}

void Font_FreeAll() {
  GR_Flush();
  for (std::unique_ptr<TextFont>& font : g_table.fonts) release(&font);
  g_table = FontTable{};
  Text_ResetState();
}

// ---- State -----------------------------------------------------------------------------------------

void Text_SetFont(int32_t id) {
  if (Font_Valid(id)) {
    g_current_font = id;
    return;
  }
  Font_Default();
  g_current_font = -1;
}
int32_t Text_GetFont() { return g_current_font; }
void Text_SetHAlign(int32_t align) { g_halign = align >= 0 && align <= 2 ? align : 0; }
void Text_SetVAlign(int32_t align) { g_valign = align >= 0 && align <= 2 ? align : 0; }
int32_t Text_GetHAlign() { return g_halign; }
int32_t Text_GetVAlign() { return g_valign; }
void Text_ResetState() {
  g_current_font = -1;
  g_halign = 0;
  g_valign = 0;
}

TextFont* Text_ActiveFont() {
  TextFont* f = Font_At(g_current_font);
  return f != nullptr ? f : Font_Default();
}

void Font_GlyphPagePosition(const TextFont& font, const FontGlyph& glyph, int32_t* x, int32_t* y) {
  *x = glyph.x;
  *y = glyph.y;
  if (font.pageEntry != nullptr) {
    const TexturePageEntry e = PageEntry_Read(font.pageEntry);
    *x += e.x;
    *y += e.y;
  }
}

GRTexture* Font_Texture(const TextFont& font, float* texel_w, float* texel_h) {
  GRTexture* texture = nullptr;
  GRTexturePageRect rect;
  bool page = false;
  if (font.pageEntry != nullptr) {
    texture = GR_ResolveTexture(static_cast<int64_t>(reinterpret_cast<uintptr_t>(font.pageEntry)), &rect, &page);
  } else if (font.dynamicTexture >= 0) {
    texture = GR_ResolveTexture(font.dynamicTexture, &rect, &page);
  }
  if (texture == nullptr) return nullptr;
  *texel_w = 1.0f / static_cast<float>(std::max(texture->width_, 1));
  *texel_h = 1.0f / static_cast<float>(std::max(texture->height_, 1));
  return texture;
}

// ---- Lines -----------------------------------------------------------------------------------------

bool Text_SplitLines(const char* text, int32_t width, const TextFont& font, std::vector<uint32_t>* codes,
                     std::vector<TextLine>* lines) {
  codes->clear();
  lines->clear();
  const std::string_view s = text != nullptr ? text : "";
  for (size_t pos = 0; pos < s.size();) {
    size_t size = 0;
    codes->push_back(utf8_decode(s, pos, &size));
    pos += std::max<size_t>(size, 1);
  }
  const size_t n = codes->size();
  codes->push_back(0);
  if (n < 1) return true;
  uint32_t* c = codes->data();
  const bool wrap = width >= 0 && width != 10000000;
  size_t start = 0, i = 0;
  uint32_t last_break = 0;
  auto pair_with_last = [&](size_t at) {
    return (c[at] == 13 && last_break == 10) || (c[at] == 10 && last_break == 13);
  };
  auto add_line = [&](size_t from, size_t end) { lines->push_back(TextLine{from, end - from}); };
  while (start < n) {
    if (!wrap) {
      i = start;
      while (i < n && !is_break(c[i])) ++i;
      if (i == start && i < n && pair_with_last(i)) {
        last_break = 0;
        ++start;
        continue;
      }
      last_break = c[i];
      c[i] = 0;
      add_line(start, i);
      start = i + 1;
      continue;
    }
    i = start;
    while (i < n && c[i] == 32) ++i;
    float sum = 0.0f;
    while (i < n && !is_break(c[i]) && sum < static_cast<float>(width)) {
      const FontGlyph* g = font.GetGlyph(c[i]);
      sum += g != nullptr ? static_cast<float>(g->shift) : 0.0f;
      ++i;
    }
    if (i == start && i < n && pair_with_last(i)) {
      last_break = 0;
      ++start;
      continue;
    }
    if (sum > static_cast<float>(width) && i > start) --i;
    if (i < n && is_break(c[i])) {
      last_break = c[i];
      c[i] = 0;
      add_line(start, i);
      start = i + 1;
      continue;
    }
    last_break = 0;
    if (i == start) {
      const std::string shown(s);
      std::string stack;
      for (const std::string& entry : Frame_StackTexts()) stack += entry + "\n";
      g_OutputConsole->Output("string \"%s\" with width %d - unable to fit\ncallstack - %s\n", shown.c_str(), width,
                              stack.c_str());
      return false;
    }
    if (i < n && !is_white_space(c[i])) {
      size_t back = i;
      while (back > start && c[back] != 32) --back;
      if (back == start) {
        while (i < n && !is_white_space(c[i])) ++i;
      } else {
        i = back;
      }
    }
    size_t end = i;
    while (end > start && is_white_space(c[end - 1])) --end;
    c[end] = 0;
    if (i < n) c[i] = 0;
    add_line(start, end);
    start = i + 1;
  }
  return true;
}

namespace {

// Where a line of the plain and colour forms starts: x moved by the alignment, in whole pixels.
float aligned_x(const TextFont& f, float x, const uint32_t* codes, size_t length) {
  const int32_t w = f.TextWidth(codes, length, 0.0f);
  if (g_halign == 1) return x - static_cast<float>(w / 2);
  if (g_halign == 2) return x - static_cast<float>(w);
  return x;
}

bool lay_out(const TextFont& f, const char* text, int32_t width, Laid* out) {
  Text_SplitLines(text, width, f, &out->codes, &out->lines);
  return !out->lines.empty();
}

}  // namespace

int32_t Text_Width(const char* text, int32_t width) {
  TextFont* f = Text_ActiveFont();
  if (f == nullptr) return 0;
  Laid laid;
  lay_out(*f, text, width, &laid);
  int32_t widest = 0;
  for (const TextLine& l : laid.lines) {
    widest = std::max(widest, f->TextWidth(laid.codes.data() + l.start, l.length, 0.0f));
  }
  return widest;
}

int32_t Text_Height(const char* text, int32_t sep, int32_t width) {
  TextFont* f = Text_ActiveFont();
  if (f == nullptr) return 0;
  Laid laid;
  lay_out(*f, text, width, &laid);
  if (laid.lines.empty()) return 0;
  const int32_t h = f->TextHeight();
  if (sep < 0) sep = h;
  return static_cast<int32_t>(laid.lines.size() - 1) * sep + h;
}

void Text_Draw(float x, float y, const char* text, int32_t sep, int32_t width) {
  TextFont* f = Text_ActiveFont();
  if (f == nullptr) return;
  Laid laid;
  if (!lay_out(*f, text, width, &laid)) return;
  const int32_t h = f->TextHeight();
  if (sep < 1) sep = h;
  const int32_t lines = static_cast<int32_t>(laid.lines.size());
  if (g_valign == 1) y = y - static_cast<float>(h / 2) - static_cast<float>(((lines - 1) * sep) / 2);
  if (g_valign == 2) y = y - static_cast<float>(h) - static_cast<float>((lines - 1) * sep);
  const uint32_t colour = Draw_MergedColour();
  GR_BeginEvent("Text", kTextEventColour);
  for (int32_t k = 0; k < lines; ++k) {
    const TextLine& l = laid.lines[static_cast<size_t>(k)];
    if (l.length == 0) continue;
    const uint32_t* codes = laid.codes.data() + l.start;
    draw_line(*f, aligned_x(*f, x, codes, l.length), y + static_cast<float>(k * sep), codes, l.length, colour);
  }
  GR_EndEvent();
}

void Text_DrawColour(float x, float y, const char* text, int32_t sep, int32_t width, const TextColours& colours) {
  TextFont* f = Text_ActiveFont();
  if (f == nullptr) return;
  Laid laid;
  if (!lay_out(*f, text, width, &laid)) return;
  if (sep < 0) sep = f->TextHeight();
  const int32_t lines = static_cast<int32_t>(laid.lines.size());
  if (g_valign == 1) y -= static_cast<float>((lines * sep) / 2);
  if (g_valign == 2) y -= static_cast<float>(lines * sep);
  const float top_shift = static_cast<float>(f->ascenderOffset) * f->scaleY + 1.0f;
  for (int32_t k = 0; k < lines; ++k) {
    const TextLine& l = laid.lines[static_cast<size_t>(k)];
    if (l.length == 0) continue;
    const uint32_t* codes = laid.codes.data() + l.start;
    draw_line_general(*f, aligned_x(*f, x, codes, l.length), y + static_cast<float>(k * sep) - top_shift, codes, l.length, f->scaleX, f->scaleY,
                      0.0f, 1.0f, colours, false);
  }
}

void Text_DrawTransformed(float x, float y, const char* text, int32_t sep, int32_t width, float xscale, float yscale,
                          float angle, const TextColours* colours) {
  TextFont* f = Text_ActiveFont();
  if (f == nullptr) return;
  Laid laid;
  if (!lay_out(*f, text, width, &laid)) return;
  if (sep < 0) sep = f->TextHeight();
  const float radians = angle * 3.1415927f / 180.0f;
  const float s = std::sin(radians), c = std::cos(radians);
  const float step_x = s * yscale * static_cast<float>(sep);
  const float step_y = c * yscale * static_cast<float>(sep);
  const int32_t lines = static_cast<int32_t>(laid.lines.size());
  float start_x = x, start_y = y;
  const float move = g_valign == 1 ? 0.5f * static_cast<float>(lines) : g_valign == 2 ? static_cast<float>(lines) : 0.0f;
  start_x -= move * step_x;
  start_y -= move * step_y;
  const float sx = xscale * f->scaleX, sy = yscale * f->scaleY;
  TextColours plain;
  const bool plain_form = colours == nullptr;
  if (colours == nullptr) {
    const uint32_t merged = Draw_MergedColour();
    plain = TextColours{merged & 0xFFFFFFu, merged & 0xFFFFFFu, merged & 0xFFFFFFu, merged & 0xFFFFFFu,
                        static_cast<double>(merged >> 24) / 255.0};
    colours = &plain;
  }
  // The plain form is a "Text" span of its own for graphics debuggers; the colour form isn't.
  if (plain_form) GR_BeginEvent("Text", kTextEventColour);
  for (int32_t k = 0; k < lines; ++k) {
    const TextLine& l = laid.lines[static_cast<size_t>(k)];
    if (l.length == 0) continue;
    const uint32_t* codes = laid.codes.data() + l.start;
    const float w = static_cast<float>(f->TextWidth(codes, l.length, 0.0f));
    float o = 0.0f;
    if (g_halign == 1) o = -w * xscale * 0.5f;
    if (g_halign == 2) o = -w * xscale;
    const float lx = start_x + static_cast<float>(k) * step_x + o * c;
    const float ly = start_y + static_cast<float>(k) * step_y - o * s;
    const float ox = lx - s * sy * static_cast<float>(f->ascenderOffset);
    const float oy = ly - c * sy * static_cast<float>(f->ascenderOffset);
    draw_line_general(*f, ox, oy, codes, l.length, sx, sy, s, c, *colours, true);
  }
  if (plain_form) GR_EndEvent();
}

#pragma once
// Fonts and text drawing. The font table holds the data file's fonts (built from the FONT table
// at first use after each load) and the fonts scripts add; an id is an index, never reused after a
// delete. Glyphs are kept sorted by character; a missing character falls back to U+25AF and else
// is skipped. Text is split into lines at CR, LF and their pairs (and at word boundaries when a
// width is given), placed by the draw alignment, and drawn as glyph quads straight into the
// batcher (layout 24) from the font's atlas: one batch per page as long as nothing else changes.
// A sprite font draws its glyphs' frames through the sprite part draw instead; a space only moves
// the pen.
// Widths truncate per character. An invalid current font draws with the default font. Main thread.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "graphics/asset_fonts.h"

class GRTexture;
struct Texture;

// The glyph cache of a run-time (FreeType) font: one texture of equal cells, each holding at most
// one rendered glyph, kept in an exact least-recently-used list. A glyph is rendered into the
// least recently used cell the first time it is looked up; the cell's old glyph goes back to
// "not cached" (x = y = -1). A cell used this frame is reused only after the batch is flushed, and
// only the changed cell is uploaded.
struct GlyphCacheNode {
  GlyphCacheNode* prev = nullptr;  // towards the head (most recently used)
  GlyphCacheNode* next = nullptr;
  FontGlyph* glyph = nullptr;
  int32_t x = 0, y = 0;  // the cell's corner on the texture
  uint32_t lastUsedFrame = 0xFFFFFFFFu;
};
struct GlyphCache {
  GlyphCacheNode* head = nullptr;
  GlyphCacheNode* tail = nullptr;
  Texture* texture = nullptr;  // with CPU pixels; owned by its slot
  void* face = nullptr;        // the font's FreeType face
  int32_t capacity = 0;
  int32_t slot = -1;
  int32_t cellWidth = 0, cellHeight = 0;
  int32_t texWidth = 0, texHeight = 0;
  int32_t padX = 2, padY = 2;
  std::vector<GlyphCacheNode> nodes;
  std::vector<GlyphCacheNode*> glyphNodes;  // parallel to the font's glyphs: its cell, or null
  uint64_t renders = 0;  // glyphs rendered into cells so far
};

struct TextFont {
  TextFont() = default;
  TextFont(const TextFont&) = delete;
  TextFont& operator=(const TextFont&) = delete;
  ~TextFont();

  std::string fontName;
  const uint8_t* pageEntry = nullptr;  // the atlas on a texture page; null for run-time fonts
  std::vector<FontGlyph> glyphs;       // sorted by character
  std::vector<uint8_t> kerningStore;   // the pairs of glyphs a run-time font built
  std::vector<uint8_t> fileData;       // a FreeType font's file, read by its face for its life
  std::unique_ptr<GlyphCache> cache;   // a FreeType font's cells; null for every other font
  float size = 12.0f;
  int32_t ascenderOffset = 0;
  int32_t ascender = 0;
  int32_t charset = 0;
  int32_t antialias = 0;
  int32_t first = 32;
  int32_t last = 128;
  int32_t spriteIndex = -1;
  int32_t texWidth = 0, texHeight = 0;
  int32_t maxHeight = 0;
  int32_t dynamicTexture = -1;  // texture slot of a run-time atlas
  float scaleX = 1.0f, scaleY = 1.0f;
  float texelPad = 0.5f;
  bool bold = false, italic = false;
  bool valid = true;

  // The glyph of a code (else of U+25AF, else null). A FreeType font's glyph is put into its cache
  // cell when it isn't there, and its cell marked used this frame: measuring fills the cache too.
  const FontGlyph* GetGlyph(uint32_t code) const;
  // The kerning amount of `glyph` after `other`; 0 without a pair.
  int32_t GetKerning(uint32_t other, const FontGlyph& glyph) const;
  int32_t TextWidth(const uint32_t* codes, size_t count, float spacing) const;
  int32_t TextHeight() const;
};

// The table. Font_Valid: a live entry.
bool Font_Valid(int32_t id);
TextFont* Font_At(int32_t id);  // null for an invalid id
const char* Font_Name(int32_t id);  // null for an invalid id
int32_t Font_Count();
// Appends a run-time font under "__newfont<id>"; the table owns it.
int32_t Font_AddRuntime(std::unique_ptr<TextFont> font);
bool Font_Delete(int32_t id);
// Puts font in the slot of the live font id, which is deleted; the table name stays.
bool Font_Replace(int32_t id, std::unique_ptr<TextFont> font);

// A sprite font: one glyph for each frame, in the order of `map`'s codes (as many as both have),
// and a space behind them as wide as the widest glyph when the map has none. A glyph's w is its
// frame and h the sprite's height; its advance is the sprite's width, or with prop the width of
// the frame's pixels, plus sep. Not valid when the sprite doesn't exist or has no frames.
std::unique_ptr<TextFont> Font_FromSprite(int32_t sprite, const std::vector<uint32_t>& map, bool prop, int32_t sep);
// Forgets every font (the data file's are made again from the FONT table at next use).
void Font_FreeAll();

// The default font: the fixed monospace font the runtime carries, made at first use.
TextFont* Font_Default();

// Text state: the current font (-1: default) and the alignments.
void Text_SetFont(int32_t id);
int32_t Text_GetFont();
void Text_SetHAlign(int32_t align);
void Text_SetVAlign(int32_t align);
int32_t Text_GetHAlign();
int32_t Text_GetVAlign();
void Text_ResetState();
TextFont* Text_ActiveFont();

// Lines of a string: decoded code points cut at CR/LF (and at word ends to fit width, when width
// is not negative). Each line is a start and a length into `codes`. False when a wrap width can't
// hold even one character (the console says so); the lines cut so far stay.
struct TextLine {
  size_t start = 0;
  size_t length = 0;
};
bool Text_SplitLines(const char* text, int32_t width, const TextFont& font, std::vector<uint32_t>* codes,
                     std::vector<TextLine>* lines);

int32_t Text_Width(const char* text, int32_t width = -1);
int32_t Text_Height(const char* text, int32_t sep = -1, int32_t width = -1);

// The draw forms: plain (draw colour and alpha), colour (four corner colours and an alpha),
// transformed (scales and angle in degrees), and both.
struct TextColours {
  uint32_t c1 = 0, c2 = 0, c3 = 0, c4 = 0;  // RGB
  double alpha = 1.0;
};
void Text_Draw(float x, float y, const char* text, int32_t sep, int32_t width);
void Text_DrawColour(float x, float y, const char* text, int32_t sep, int32_t width, const TextColours& colours);
void Text_DrawTransformed(float x, float y, const char* text, int32_t sep, int32_t width, float xscale,
                          float yscale, float angle, const TextColours* colours);

// A sequence text box: the lines of a string laid out in a box (align: low byte 0 left, 1 centre,
// 2 right, 3 justified; next byte 0 top, 1 middle, 2 bottom, which applies when wrapping). Each
// line keeps its own text with runs of spaces squeezed to one when wrapping, its place in the box,
// its width, its word count and the gap a justified line adds behind each space.
struct TextBoxLine {
  std::vector<uint32_t> codes;
  float x = 0, y = 0;
  float extraGap = 0;
  float width = 0;
  bool isLast = false;  // the last line of a paragraph (without wrapping, of the text)
  int32_t words = 0;
};
struct TextBox {
  std::vector<TextBoxLine> lines;
  float width = 0;   // the widest line
  float height = 0;  // of the text
};
void Text_LayoutBox(const char* text, const TextFont& font, float box_width, float box_height, int32_t align,
                    bool wrap, float char_spacing, float line_spacing, float paragraph_spacing, TextBox* out);
// One line drawn like the plain form, with its row from the font's height and ascender, the pen
// moved by char_spacing behind every character and by extra_gap behind each space.
void Font_DrawSpaced(const TextFont& font, float x, float y, const uint32_t* codes, size_t count, uint32_t colour,
                     float char_spacing, float extra_gap);
// Every line of a laid-out box, the box's corner at (x, y).
void Text_DrawBox(float x, float y, const TextFont& font, const TextBox& box, uint32_t colour, float char_spacing);

// The glyph of a font's atlas on its page: (entry x + glyph x, entry y + glyph y).
void Font_GlyphPagePosition(const TextFont& font, const FontGlyph& glyph, int32_t* x, int32_t* y);
// The texture the font draws from, and its texel size; null when it has none.
GRTexture* Font_Texture(const TextFont& font, float* texel_w, float* texel_h);

// Frees the default font's texture; it is made again at next use.
void Font_ReleaseDefault();

// The cell size of a FreeType font's cache page (font_texture_page_size, process-wide; 1024).
int32_t Font_TexturePageSize();
void Font_SetTexturePageSize(int32_t size);
// Renders glyph `index` of a FreeType font into its cache's least recently used cell.
void GlyphCache_Put(const TextFont& font, size_t index);
// Ends a FreeType font's face (the font's destructor).
void Font_ReleaseFace(void* face);

// Registrars: the text and font queries, and font_add.
void Font_RegisterBuiltins();
void Font_RegisterFreeTypeBuiltins();
void Font_RegisterSpriteBuiltins();

#pragma once
// The generator: one shared state, reset for each model, that the ten stages fill in turn, from
// the element's text to the model's pages of vertex buffers. Stages 1 and 2 (limits and parser) are
// in scribble_parser.cpp, stages 4 to 8 (words, bidi, lines, pages, positions) in
// scribble_layout.cpp and 9 and 10 (vertices and padding flags) in scribble_vertices.cpp. Stage 3,
// the rewriting of Devanagari into the Krutidev encoding, is in scribble_krutidev.cpp.
#include <vector>

#include "text/scribble_internal.h"

namespace scribble {

struct Generator {
  Model* model = nullptr;
  Element* element = nullptr;
  std::vector<Glyph> glyphs;
  std::vector<Control> controls;
  std::vector<Word> words;
  std::vector<Line> lines;
  int32_t overall_bidi = -1;
  double model_max_width = kInfinity, model_max_height = kInfinity;
  double line_height_min = 0, line_height_max = kInfinity;
  double line_spacing_add = 0, line_spacing_multiply = 1;
  std::vector<double> bezier_lengths;
  bool uses_halign_left = false, uses_halign_center = false, uses_halign_right = false;
  // Rows the parser wrote by code alone, for stage 3 to fill from the font: Devanagari letters,
  // and characters a Krutidev font keeps only at their rewritten codes.
  bool unshaped_rows = false;

  void reset(Model* m, Element* e) {
    model = m;
    element = e;
    glyphs.clear();
    controls.clear();
    words.clear();
    lines.clear();
    overall_bidi = e->bidi_hint_;
    uses_halign_left = uses_halign_center = uses_halign_right = false;
    unshaped_rows = false;
  }
};

void generator_limits(Generator& gen, Element& element);
void generator_parse(Generator& gen, Element& element);
void generator_devanagari(Generator& gen);
void generator_build_words(Generator& gen);
void generator_finalize_bidi(Generator& gen);
void generator_build_lines(Generator& gen);
void generator_build_pages(Generator& gen);
void generator_position_glyphs(Generator& gen);
void generator_write_vbuffs(Generator& gen);
void generator_set_padding_flags(Generator& gen);

// A glyph row of the generator from the font's row at `index` (its code as the text carries it).
Glyph glyph_of_row(const Font& font, const GlyphRow& row, size_t index);
// Adds the font's kerning of a pair of its rows to the first glyph's advance, at that glyph's scale.
// Pairs are keyed by the codes the font draws (column 0), which for a Krutidev font differ from the
// codes the text carries.
void apply_kerning(const Font& font, size_t first_row, size_t second_row, Glyph& first);
// Scales a row's position and size columns and its font scale (a [scale] span).
void scale_glyph(Glyph& g, double factor);
// The trace of a character that the font lacks.
void trace_missing_glyph(uint32_t code, const std::string& font_name);

// The passes of stage 3 that rewrite codes (quotes and letters with a nukta, the short i, the
// reph, the table), on rows followed by at least four sentinel rows of code 65535. They work
// on `count` rows and return the new count; moved rows keep their data.
int32_t devanagari_rewrite(std::vector<Glyph>& rows, int32_t count);

}  // namespace scribble

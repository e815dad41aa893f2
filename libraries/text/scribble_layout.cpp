// Layout: glyphs into words (stage 4), the direction of neutral words (5), words into lines with
// wrapping and the fit-to-box scale search (6), lines into pages (7), and the final position of
// every glyph by line alignment and direction (8).
#include <algorithm>
#include <cmath>

#include "text/scribble_generator.h"

namespace scribble {

namespace {

bool is_whitespace_word(const Word& w) { return w.cls == kClassWhitespace; }

double glyph_range_max_height(const Generator& gen, int32_t first, int32_t last) {
  double h = 0;
  for (int32_t i = first; i <= last; ++i) h = std::max(h, gen.glyphs[static_cast<size_t>(i)].font_height);
  return h;
}

// Closes a word: right-to-left words are moved to start at 0; the width is the pen's travel.
void close_word(Generator& gen, Word& w, double word_x) {
  if (w.cls == kClassR2L || w.cls == kClassArabic) {
    for (int32_t i = w.first; i <= w.last; ++i) gen.glyphs[static_cast<size_t>(i)].x += std::fabs(word_x);
  }
  if (w.cls == kClassDevanagari || w.cls == kClassArabic) {
    const double index = gen.glyphs[static_cast<size_t>(w.first)].animation_index;
    for (int32_t i = w.first; i <= w.last; ++i) gen.glyphs[static_cast<size_t>(i)].animation_index = index;
  }
  if (w.cls == kClassArabic) w.resolved = kClassR2L;
  w.width = std::fabs(word_x);
  w.height = glyph_range_max_height(gen, w.first, w.last);
}

}  // namespace

void generator_build_words(Generator& gen) {
  gen.words.clear();
  const auto count = static_cast<int32_t>(gen.glyphs.size());
  if (count == 0) return;
  const bool per_char = gen.element->wrap_per_char_;
  auto resolved_of = [](int32_t cls) { return cls == kClassIsolated || cls == kClassIdeographic ? kClassL2R : cls; };

  Word word;
  word.cls = gen.glyphs[0].cls;
  word.resolved = resolved_of(word.cls);
  word.first = 0;
  double word_x = 0;
  bool after_space = false;
  auto place = [&](Glyph& g, int32_t word_class) {
    if (word_class < kClassR2L) {
      g.x = word_x;
      word_x += g.separation;
    } else {
      word_x -= g.separation;
      g.x = word_x;
    }
  };
  auto start_word = [&](int32_t i, int32_t cls) {
    word.last = i - 1;
    close_word(gen, word, word_x);
    gen.words.push_back(word);
    word = Word{};
    word.cls = cls;
    word.resolved = resolved_of(cls);
    word.first = i;
    word_x = 0;
  };
  place(gen.glyphs[0], word.cls);
  if (word.cls == kClassWhitespace || word.cls == kClassIsolated) after_space = true;

  for (int32_t i = 1; i < count; ++i) {
    Glyph& g = gen.glyphs[static_cast<size_t>(i)];
    const int32_t cls = g.cls;
    switch (cls) {
      case kClassWhitespace:
        start_word(i, cls);
        if (!per_char) after_space = true;
        break;
      case kClassSymbol:
        if (word.cls == kClassWhitespace || word.cls == kClassIsolated) after_space = true;
        if (after_space) {
          start_word(i, cls);
          after_space = false;
        } else if (word.cls != kClassSymbol) {
          start_word(i, cls);
        }
        break;
      case kClassIsolated:
        start_word(i, cls);
        after_space = true;
        break;
      default:
        // Ideographs and letters: a symbol run before them joins them; each ideograph is a word.
        if (after_space) {
          start_word(i, cls);
          after_space = false;
        } else if (word.cls == kClassSymbol) {
          word.cls = cls;
          word.resolved = resolved_of(cls);
        } else if (cls == kClassIdeographic) {
          start_word(i, cls);
        } else if (cls >= kClassR2L && word.cls == cls) {
          // joins
        } else if (per_char || cls != word.cls) {
          start_word(i, cls);
        }
        break;
    }
    place(g, word.cls);
  }
  word.last = count - 1;
  close_word(gen, word, word_x);
  gen.words.push_back(word);
}

void generator_finalize_bidi(Generator& gen) {
  if (!gen.model->has_r2l) return;
  const int32_t overall = gen.overall_bidi < 0 ? kClassL2R : gen.overall_bidi;
  const auto n = gen.words.size();
  for (size_t i = 0; i < n; ++i) {
    Word& w = gen.words[i];
    if (w.cls != kClassWhitespace && w.cls != kClassSymbol) continue;
    int32_t prev = i == 0 ? kClassSymbol : gen.words[i - 1].resolved;
    int32_t next = i + 1 >= n ? kClassSymbol : gen.words[i + 1].cls;
    if (next == kClassArabic) next = kClassR2L;
    if (prev <= kClassSymbol) prev = next;
    if (next <= kClassSymbol) next = prev;
    int32_t result = (prev == overall || next == overall) ? overall : prev;
    if (result <= kClassSymbol) result = kClassL2R;
    w.resolved = result;
  }
}

namespace {

struct LinePass {
  std::vector<Word> words;
  std::vector<Line> lines;
  bool split = false;
  bool wrapped = false;
  double total_height = 0;
};

// The halign in force at a glyph: the last halign control at or before it.
int32_t halign_at(const Generator& gen, int32_t glyph) {
  int32_t halign = gen.element->starting_halign_;
  for (const Control& c : gen.controls) {
    if (c.glyph_count > glyph) break;
    if (c.type == kControlHalign) halign = static_cast<int32_t>(c.number);
  }
  return halign;
}

// One pass of line building at the simulated maximum width.
LinePass build_lines_pass(Generator& gen, double max_width) {
  LinePass pass;
  pass.words = gen.words;
  std::vector<Word>& words = pass.words;
  size_t line_start = 0;
  double line_width = 0;

  auto end_line = [&](size_t last, bool page_break) {
    Line line;
    line.first_word = static_cast<int32_t>(line_start);
    line.last_word = static_cast<int32_t>(last);
    line.width = line_width;
    line.page_break = page_break;
    const int32_t first_glyph = words[line_start].first;
    line.height = glyph_range_max_height(gen, first_glyph, words[last].last);
    line.height = std::clamp(line.height, gen.line_height_min, std::max(gen.line_height_min, gen.line_height_max));
    line.halign = halign_at(gen, first_glyph);
    pass.lines.push_back(line);
    line_start = last + 1;
    line_width = 0;
  };

  for (size_t i = 0; i < words.size();) {
    Word& w = words[i];
    const Glyph& first = gen.glyphs[static_cast<size_t>(w.first)];
    const Glyph& last = gen.glyphs[static_cast<size_t>(w.last)];
    if (first.code == 10) {
      end_line(i, false);
      ++i;
      continue;
    }
    if (first.code == 0) {
      end_line(i, true);
      ++i;
      continue;
    }
    const double fit_width = w.width - last.separation + last.xoff + last.width;
    if (w.cls == kClassWhitespace || line_width + fit_width <= max_width) {
      line_width += w.width;
      ++i;
      continue;
    }
    pass.wrapped = true;
    if (i > line_start) {
      end_line(i - 1, false);
      continue;
    }
    // The word alone is too wide: it breaks at the last glyph that fits.
    if (w.last > w.first) {
      double acc = 0;
      int32_t cut = w.first + 1;
      for (int32_t g = w.first; g <= w.last; ++g) {
        const Glyph& glyph = gen.glyphs[static_cast<size_t>(g)];
        if (g > w.first && acc + glyph.width > max_width) {
          cut = g;
          break;
        }
        acc += glyph.separation;
        cut = g + 1;
      }
      if (cut <= w.last) {
        pass.split = true;
        Word rest = w;
        rest.first = cut;
        const double shift = gen.glyphs[static_cast<size_t>(cut)].x;
        double rest_width = 0;
        for (int32_t g = cut; g <= rest.last; ++g) {
          gen.glyphs[static_cast<size_t>(g)].x -= shift;
          rest_width += gen.glyphs[static_cast<size_t>(g)].separation;
        }
        rest.width = rest_width;
        rest.height = glyph_range_max_height(gen, rest.first, rest.last);
        w.last = cut - 1;
        w.width = shift;
        w.height = glyph_range_max_height(gen, w.first, w.last);
        line_width += w.width;
        words.insert(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, rest);
        end_line(i, false);
        ++i;
        continue;
      }
    }
    line_width += w.width;
    end_line(i, false);
    ++i;
  }
  if (line_start < words.size()) end_line(words.size() - 1, false);

  for (size_t l = 0; l < pass.lines.size(); ++l) {
    const Line& line = pass.lines[l];
    pass.total_height += l + 1 < pass.lines.size()
                             ? line.height * gen.line_spacing_multiply + gen.line_spacing_add
                             : line.height;
  }
  return pass;
}

}  // namespace

void generator_build_lines(Generator& gen) {
  Model& model = *gen.model;
  Element& element = *gen.element;
  // Splitting a word moves its glyphs: each try of the fit search starts from the parsed glyphs.
  std::vector<Glyph> unsplit;
  if (element.wrap_no_pages_) unsplit = gen.glyphs;
  double lower = std::nan(""), upper = std::nan("");
  model.fit_scale = 1;
  LinePass pass;
  for (int32_t tries = 0;; ++tries) {
    if (tries > 0) gen.glyphs = unsplit;
    const double sim_width = gen.model_max_width / model.fit_scale;
    const double sim_height = gen.model_max_height / model.fit_scale;
    pass = build_lines_pass(gen, sim_width);
    if (!element.wrap_no_pages_) break;
    if (pass.total_height < sim_height && !pass.split) {
      if (model.fit_scale >= element.wrap_max_scale_) break;
      lower = model.fit_scale;
    } else {
      upper = model.fit_scale;
    }
    if (tries >= 6) {
      if (model.fit_scale == lower) break;
      if (tries >= 7) break;
      model.fit_scale = std::isnan(lower) ? upper : lower;
      continue;
    }
    if (std::isnan(lower)) {
      model.fit_scale *= 0.5;
    } else if (std::isnan(upper)) {
      model.fit_scale = std::min(element.wrap_max_scale_, 2 * model.fit_scale);
    } else {
      model.fit_scale = lower + 0.5 * (upper - lower);
    }
  }
  gen.words = std::move(pass.words);
  gen.lines = std::move(pass.lines);
  model.wrapped = pass.wrapped;

  // Hanging whitespace never widens a line past the maximum.
  const double max_width = gen.model_max_width / model.fit_scale;
  double width = 0;
  for (Line& line : gen.lines) {
    Word& last = gen.words[static_cast<size_t>(line.last_word)];
    if (is_whitespace_word(last) && line.width > max_width) {
      const double excess = line.width - max_width;
      line.width = max_width;
      last.width -= excess;
    }
    width = std::max(width, line.width);
    if (line.halign == 0) gen.uses_halign_left = true;
    if (line.halign == 1) gen.uses_halign_center = true;
    if (line.halign == 2) gen.uses_halign_right = true;
  }
  model.width = width;
  model.line_count = static_cast<int32_t>(gen.lines.size());
}

void generator_build_pages(Generator& gen) {
  Model& model = *gen.model;
  const double page_limit = gen.element->wrap_no_pages_ ? kInfinity : gen.model_max_height / model.fit_scale;
  auto new_page = [&]() {
    auto page = std::make_unique<Page>();
    page->created_frame = initialize().frames;
    model.pages.push_back(std::move(page));
    return model.pages.back().get();
  };
  auto close_page = [&](Page* page, int32_t last_line, double height) {
    page->line_end = last_line;
    page->line_count = last_line - page->line_start + 1;
    if (last_line >= page->line_start) {
      page->glyph_end = gen.words[static_cast<size_t>(gen.lines[static_cast<size_t>(last_line)].last_word)].last;
    } else {
      page->glyph_end = page->glyph_start - 1;
    }
    page->glyph_count = page->glyph_end - page->glyph_start + 1;
    page->character_count = page->glyph_count;
    double width = 0;
    for (int32_t l = page->line_start; l <= last_line; ++l) width = std::max(width, gen.lines[static_cast<size_t>(l)].width);
    page->width = width;
    page->height = height;
    page->max_y = height;
  };

  Page* page = new_page();
  page->line_start = 0;
  page->glyph_start = gen.lines.empty() ? 0 : gen.words[static_cast<size_t>(gen.lines[0].first_word)].first;
  double line_y = 0;
  double bottom = 0;
  for (size_t l = 0; l < gen.lines.size(); ++l) {
    Line& line = gen.lines[l];
    const bool first_of_page = static_cast<int32_t>(l) == page->line_start;
    if (first_of_page || (line_y + line.height < page_limit)) {
      line.y = line_y;
      bottom = line_y + line.height;
      line_y += line.height * gen.line_spacing_multiply + gen.line_spacing_add;
    } else {
      close_page(page, static_cast<int32_t>(l) - 1, bottom);
      page = new_page();
      page->line_start = static_cast<int32_t>(l);
      page->glyph_start = gen.words[static_cast<size_t>(line.first_word)].first;
      line.y = 0;
      bottom = line.height;
      line_y = line.height * gen.line_spacing_multiply + gen.line_spacing_add;
    }
    // A forced break ends the page after this line.
    if (line.page_break && l + 1 < gen.lines.size()) {
      close_page(page, static_cast<int32_t>(l), bottom);
      page = new_page();
      page->line_start = static_cast<int32_t>(l) + 1;
      page->glyph_start = gen.words[static_cast<size_t>(gen.lines[l + 1].first_word)].first;
      line_y = 0;
      bottom = 0;
    }
  }
  close_page(page, static_cast<int32_t>(gen.lines.size()) - 1, bottom);

  double height = 0;
  for (const auto& p : model.pages) {
    if (model.valign == 1) {
      p->min_y = -p->height / 2;
    } else if (model.valign == 2) {
      p->min_y = -p->height;
    } else {
      p->min_y = 0;
    }
    p->max_y = p->min_y + p->height;
    height = std::max(height, p->height);
  }
  model.height = height;
}

void generator_position_glyphs(Generator& gen) {
  Model& model = *gen.model;
  const int32_t overall = gen.overall_bidi < 0 ? kClassL2R : gen.overall_bidi;
  const double model_width =
      (std::isfinite(gen.model_max_width) ? gen.model_max_width : model.width) / model.fit_scale;
  bool any_page = false;
  for (const auto& page_ptr : model.pages) {
    Page& page = *page_ptr;
    page.min_x = kInfinity;
    page.max_x = -kInfinity;
    for (int32_t l = page.line_start; l <= page.line_end; ++l) {
      Line& line = gen.lines[static_cast<size_t>(l)];
      const int32_t line_index = l - page.line_start;
      const int32_t first_glyph = gen.words[static_cast<size_t>(line.first_word)].first;
      const int32_t last_glyph = gen.words[static_cast<size_t>(line.last_word)].last;
      for (int32_t g = first_glyph; g <= last_glyph; ++g) {
        Glyph& glyph = gen.glyphs[static_cast<size_t>(g)];
        glyph.animation_index = 1000 * (glyph.animation_index - page.glyph_start) + line_index;
        glyph.y = line.y + 0.5 * line.height - 0.5 * glyph.font_height + page.min_y;
      }

      int32_t halign = line.halign;
      if (halign == 6 && l == static_cast<int32_t>(gen.lines.size()) - 1) halign = 3;
      const int32_t word_count = line.last_word - line.first_word + 1;
      if (halign != 0 && halign != 3 && word_count > 1) {
        Word& last = gen.words[static_cast<size_t>(line.last_word)];
        const Word& before = gen.words[static_cast<size_t>(line.last_word - 1)];
        if (last.cls == kClassWhitespace && before.cls != kClassWhitespace) {
          line.width -= last.width;
          last.width = 0;
        }
      }
      double x = 0;
      double gap = 0;
      switch (halign) {
        case 0:
        case 3: x = overall >= kClassR2L ? model_width - line.width : 0; break;
        case 1: x = std::trunc(-line.width / 2); break;
        case 2: x = -line.width; break;
        case 4: x = std::trunc((model_width - line.width) / 2); break;
        case 5: x = model_width - line.width; break;
        case 6:
          if (word_count > 1) gap = (model_width - line.width) / (word_count - 1);
          break;
        default: break;
      }
      page.min_x = std::min(page.min_x, x);
      page.max_x = std::max(page.max_x, x + line.width + (halign == 6 ? gap * (word_count - 1) : 0));

      // Stretches: runs of words of one resolved class, placed in reading order.
      struct Stretch {
        int32_t first, last, cls;
      };
      std::vector<Stretch> stretches;
      for (int32_t w = line.first_word; w <= line.last_word; ++w) {
        const int32_t cls = gen.words[static_cast<size_t>(w)].resolved >= kClassR2L ? kClassR2L : kClassL2R;
        if (!stretches.empty() && stretches.back().cls == cls) {
          stretches.back().last = w;
        } else {
          stretches.push_back({w, w, cls});
        }
      }
      if (overall >= kClassR2L) std::reverse(stretches.begin(), stretches.end());
      for (const Stretch& stretch : stretches) {
        auto place_word = [&](int32_t w) {
          Word& word = gen.words[static_cast<size_t>(w)];
          for (int32_t g = word.first; g <= word.last; ++g) gen.glyphs[static_cast<size_t>(g)].x += x;
          x += word.width + gap;
        };
        if (stretch.cls >= kClassR2L) {
          for (int32_t w = stretch.last; w >= stretch.first; --w) place_word(w);
        } else {
          for (int32_t w = stretch.first; w <= stretch.last; ++w) place_word(w);
        }
      }
    }
    if (page.line_count <= 0) page.min_x = page.max_x = 0;
    if (!any_page) {
      model.min_x = page.min_x;
      model.max_x = page.max_x;
      model.min_y = page.min_y;
      model.max_y = page.max_y;
      any_page = true;
    } else {
      model.min_x = std::min(model.min_x, page.min_x);
      model.max_x = std::max(model.max_x, page.max_x);
      model.min_y = std::min(model.min_y, page.min_y);
      model.max_y = std::max(model.max_y, page.max_y);
    }
  }
  model.width = 1 + model.max_x - model.min_x;
  model.height = 1 + model.max_y - model.min_y;
}

}  // namespace scribble

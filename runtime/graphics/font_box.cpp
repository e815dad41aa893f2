// The text box of a sequence's text track: paragraphs at runs of CR and LF, words wrapped to the
// box's width, lines placed by the horizontal alignment (left, centre, right, justified) and, when
// wrapping, by the vertical one inside the box; character, line and paragraph spacing.
#include <algorithm>
#include <string_view>

#include "core/utf8.h"
#include "graphics/font.h"

namespace {

bool is_break(uint32_t c) { return c == 10 || c == 13; }

// Widths in this layout are floats: advances times scaleX with spacing between characters.
float word_width(const TextFont& f, const uint32_t* codes, size_t n, float spacing) {
  float sum = 0.0f;
  for (size_t i = 0; i < n; ++i) {
    const FontGlyph* g = f.GetGlyph(codes[i]);
    sum += (g != nullptr ? static_cast<float>(g->shift) * f.scaleX : 0.0f) + (i + 1 < n ? spacing : 0.0f);
  }
  return sum;
}

}  // namespace

void Text_LayoutBox(const char* text, const TextFont& font, float box_width, float box_height, int32_t align,
                    bool wrap, float char_spacing, float line_spacing, float paragraph_spacing, TextBox* out) {
  *out = TextBox{};
  std::vector<uint32_t> codes;
  const std::string_view s = text != nullptr ? text : "";
  for (size_t pos = 0; pos < s.size();) {
    size_t size = 0;
    codes.push_back(utf8_decode(s, pos, &size));
    pos += std::max<size_t>(size, 1);
  }
  // Paragraphs: a run of breaks of any length is one break.
  std::vector<std::pair<size_t, size_t>> paragraphs;
  for (size_t i = 0; i < codes.size();) {
    size_t end = i;
    while (end < codes.size() && !is_break(codes[end])) ++end;
    paragraphs.emplace_back(i, end);
    while (end < codes.size() && is_break(codes[end])) ++end;
    i = end;
  }
  const float line_height = static_cast<float>(font.maxHeight);
  const FontGlyph* space_glyph = font.GetGlyph(32);
  const float space_width = (space_glyph != nullptr ? static_cast<float>(space_glyph->shift) : 0.0f) + char_spacing;
  float y = 0.0f;
  auto close_line = [&](TextBoxLine line, bool last) {
    line.y = y;
    line.isLast = last;
    out->lines.push_back(std::move(line));
    y += line_height + line_spacing + (last ? paragraph_spacing : 0.0f);
  };
  for (size_t p = 0; p < paragraphs.size(); ++p) {
    const auto [from, to] = paragraphs[p];
    if (!wrap) {
      TextBoxLine line;
      line.codes.assign(codes.begin() + static_cast<std::ptrdiff_t>(from), codes.begin() + static_cast<std::ptrdiff_t>(to));
      line.width = static_cast<float>(static_cast<int32_t>(word_width(font, line.codes.data(), line.codes.size(), char_spacing)));
      line.words = 1;
      close_line(std::move(line), p + 1 == paragraphs.size());
      continue;
    }
    size_t i = from;
    while (i < to && codes[i] == 32) ++i;
    if (i == to) {
      y += line_height + line_spacing + paragraph_spacing;
      continue;
    }
    TextBoxLine line;
    while (i < to) {
      size_t end = i;
      while (end < to && codes[end] != 32) ++end;
      const float w = word_width(font, codes.data() + i, end - i, char_spacing);
      const bool empty = line.words == 0;
      if (!empty && line.width + space_width + w > box_width) {
        close_line(std::move(line), false);
        line = TextBoxLine{};
      }
      if (line.words == 0 && w > box_width) {
        line.codes.assign(codes.begin() + static_cast<std::ptrdiff_t>(i), codes.begin() + static_cast<std::ptrdiff_t>(end));
        line.width = w;
        line.words = 1;
        // Spaces behind the word: the paragraph's rest, if any, starts a new line.
        size_t next = end;
        while (next < to && codes[next] == 32) ++next;
        if (next < to) {
          close_line(std::move(line), false);
          line = TextBoxLine{};
        }
        i = next;
        continue;
      }
      if (line.words > 0) {
        line.codes.push_back(32);
        line.width += space_width;
      }
      line.codes.insert(line.codes.end(), codes.begin() + static_cast<std::ptrdiff_t>(i),
                        codes.begin() + static_cast<std::ptrdiff_t>(end));
      line.width += w;
      ++line.words;
      i = end;
      while (i < to && codes[i] == 32) ++i;
    }
    close_line(std::move(line), true);
  }
  out->height = y - line_spacing - paragraph_spacing;
  if (out->lines.empty()) out->height = std::max(out->height, 0.0f);
  for (const TextBoxLine& line : out->lines) out->width = std::max(out->width, line.width);
  const int32_t halign = align & 0xFF;
  const int32_t valign = (align >> 8) & 0xFF;
  if (wrap && valign != 0) {
    const float move = valign == 1 ? (box_height - out->height) * 0.5f : box_height - out->height;
    for (TextBoxLine& line : out->lines) line.y += move;
  }
  if (halign != 0) {
    const float room = wrap ? box_width : out->width;
    for (TextBoxLine& line : out->lines) {
      if (halign == 1) line.x = (room - line.width) * 0.5f;
      if (halign == 2) line.x = room - line.width;
      if (halign == 3 && !line.isLast && line.words > 1) {
        line.extraGap = (room - line.width) / static_cast<float>(line.words - 1);
      }
    }
  }
}

void Text_DrawBox(float x, float y, const TextFont& font, const TextBox& box, uint32_t colour, float char_spacing) {
  for (const TextBoxLine& line : box.lines) {
    if (line.codes.empty()) continue;
    Font_DrawSpaced(font, x + line.x, y + line.y, line.codes.data(), line.codes.size(), colour, char_spacing,
                    line.extraGap);
  }
}

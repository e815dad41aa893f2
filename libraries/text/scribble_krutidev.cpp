// Devanagari drawn with a Krutidev font: the Unicode-to-Krutidev tables
// (__scribble_krutidev_lookup_map_initialize and __scribble_krutidev_matra_lookup_map_initialize)
// and the generator's stage 3, which rewrites the text's rows into that encoding. In Krutidev a
// conjunct, a letter's half form or a vowel sign stands at the code of a Latin-1 character, and
// the font keeps its glyphs 65535 above those codes. The lookup maps a run of up to four Unicode
// codes, packed 16 bits each with the first code in the low bits, to the Krutidev codes that
// replace it; the longest run wins. The matra set holds the vowel signs and marks that stay with
// the consonant before them.
#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

#include "text/scribble_generator.h"

namespace scribble {

namespace {

// The published correspondence, as UTF-8 pairs: Unicode on the left, Krutidev on the right.
// Letters with a nukta appear decomposed (base letter, then U+093C), as stage 3 leaves them.
// Opening quotes take the codes that the rewriting of straight quotes gives first.
constexpr const char* kPairs[][2] = {
    {"‘", "^"}, {"’", "*"}, {"“", "ß"}, {"”", "Þ"}, {"(", "¼"}, {")", "½"}, {"{", "¿"}, {"}", "À"},
    {"=", "¾"}, {"।", "A"}, {"?", "\\"}, {"-", "&"}, {"µ", "&"}, {"॰", "Œ"}, {",", "]"}, {".", "-"},
    {"०", "å"}, {"१", "ƒ"}, {"२", "„"}, {"३", "…"}, {"४", "†"}, {"५", "‡"}, {"६", "ˆ"},
    {"७", "‰"}, {"८", "Š"}, {"९", "‹"}, {"×", "Û"},
    {"फ़्", "¶"}, {"क़", "d"}, {"ख़", "[k"}, {"ग़", "x"}, {"ज़्", "T"}, {"ज़", "t"},
    {"ड़", "M+"}, {"ढ़", "<+"}, {"फ़", "Q"}, {"य़", ";"}, {"ऱ", "j"}, {"ऩ", "u"},
    {"त्त्", "Ù"}, {"त्त", "Ùk"}, {"क्त", "Dr"}, {"दृ", "–"}, {"कृ", "d`"},
    {"ह्न", "à"}, {"ह्य", "á"}, {"हृ", "â"}, {"ह्म", "ã"}, {"ह्र", "ºz"}, {"ह्", "º"}, {"द्द", "í"},
    {"क्ष्", "{"}, {"क्ष", "{k"}, {"त्र्", "«"}, {"त्र", "="}, {"ज्ञ", "K"},
    {"छ्य", "Nî"}, {"ट्य", "Vî"}, {"ठ्य", "Bî"}, {"ड्य", "Mî"}, {"ढ्य", "<î"}, {"द्य", "|"}, {"द्व", "}"},
    {"श्र", "J"}, {"ट्र", "Vª"}, {"ड्र", "Mª"}, {"ढ्र", "<ª"}, {"छ्र", "Nª"}, {"क्र", "Ø"}, {"फ्र", "Ý"},
    {"द्र", "æ"}, {"प्र", "ç"}, {"ग्र", "xz"}, {"रु", "#"}, {"रू", ":"}, {"्र", "z"},
    {"ओ", "vks"}, {"औ", "vkS"}, {"आ", "vk"}, {"अ", "v"}, {"ई", "bZ"}, {"इ", "b"}, {"उ", "m"}, {"ऊ", "Å"},
    {"ऐ", ",s"}, {"ए", ","}, {"ऋ", "_"},
    {"क्", "D"}, {"क", "d"}, {"क्क", "ô"}, {"ख्", "["}, {"ख", "[k"}, {"ग्", "X"}, {"ग", "x"}, {"घ्", "?"},
    {"घ", "?k"}, {"ङ", "³"},
    {"च्", "P"}, {"च", "p"}, {"छ", "N"}, {"ज्", "T"}, {"ज", "t"}, {"झ्", "÷"}, {"झ", ">"},
    {"ञ", "¥"},
    {"ट्ट", "ê"}, {"ट्ठ", "ë"}, {"ट", "V"}, {"ठ", "B"}, {"ड्ड", "ì"}, {"ड्ढ", "ï"}, {"ड", "M"}, {"ढ", "<"},
    {"ण्", "."}, {"ण", ".k"},
    {"त्", "R"}, {"त", "r"}, {"थ्", "F"}, {"थ", "Fk"}, {"द्ध", ")"}, {"द", "n"}, {"ध्", "/"}, {"ध", "/k"},
    {"न्", "U"}, {"न", "u"},
    {"प्", "I"}, {"प", "i"}, {"फ्", "¶"}, {"फ", "Q"}, {"ब्", "C"}, {"ब", "c"}, {"भ्", "H"}, {"भ", "Hk"},
    {"म्", "E"}, {"म", "e"},
    {"य्", "¸"}, {"य", ";"}, {"र", "j"}, {"ल्", "Y"}, {"ल", "y"}, {"ळ", "G"}, {"व्", "O"}, {"व", "o"},
    {"श्", "'"}, {"श", "'k"}, {"ष्", "\""}, {"ष", "\"k"}, {"स्", "L"}, {"स", "l"}, {"ह", "g"},
    {"ऑ", "v‚"}, {"ॉ", "‚"}, {"ो", "ks"}, {"ौ", "kS"}, {"ा", "k"}, {"ी", "h"}, {"ु", "q"}, {"ू", "w"},
    {"ृ", "`"}, {"े", "s"}, {"ै", "S"},
    {"ं", "a"}, {"ँ", "¡"}, {"ः", "%"}, {"ॅ", "W"}, {"ऽ", "·"}, {"्", "~"}, {"़", "+"},
};

// The signs that stay with the consonant before them.
constexpr uint32_t kMatras[] = {0x093C, 0x093E, 0x093F, 0x0940, 0x0941, 0x0942, 0x0943, 0x0944, 0x0945,
                                0x0947, 0x0948, 0x0949, 0x094B, 0x094C, 0x0901, 0x0902, 0x0903};

// The letters with a nukta that stage 3 splits into their base letter and U+093C.
constexpr uint32_t kComposites[][2] = {{0x0929, 0x0928}, {0x0931, 0x0930}, {0x0958, 0x0915}, {0x0959, 0x0916},
                                       {0x095A, 0x0917}, {0x095B, 0x091C}, {0x095C, 0x0921}, {0x095D, 0x0922},
                                       {0x095E, 0x092B}, {0x095F, 0x092F}};

std::vector<uint32_t> decomposed(const std::u32string& text) {
  std::vector<uint32_t> out;
  for (const char32_t c : text) {
    bool split = false;
    for (const auto& [composite, base] : kComposites) {
      if (static_cast<uint32_t>(c) != composite) continue;
      out.push_back(base);
      out.push_back(0x093C);
      split = true;
    }
    if (!split) out.push_back(static_cast<uint32_t>(c));
  }
  return out;
}

uint64_t pack(const uint32_t* codes, size_t n) {
  uint64_t key = 0;
  for (size_t i = 0; i < n; ++i) key |= static_cast<uint64_t>(codes[i] & 0xFFFF) << (16 * i);
  return key;
}

struct Tables {
  std::unordered_map<uint64_t, std::vector<uint32_t>> lookup[4];  // by run length - 1
  std::unordered_set<uint32_t> matras;
  Tables() {
    for (const auto& [from, to] : kPairs) {
      const std::vector<uint32_t> codes = decomposed(decode_utf8(from));
      if (codes.empty() || codes.size() > 4) continue;
      const std::u32string krutidev = decode_utf8(to);
      // The first of two equal runs stands, as a map built in order keeps it.
      lookup[codes.size() - 1].emplace(pack(codes.data(), codes.size()),
                                         std::vector<uint32_t>(krutidev.begin(), krutidev.end()));
    }
    // A consonant with the ra sign below (consonant, virama, ra) is the letter and the sign,
    // where no conjunct of its own stands: the run must beat the consonant's half form. Round
    // letters take the sign's other shape.
    for (uint32_t consonant = 0x0915; consonant <= 0x0939; ++consonant) {
      const uint32_t run[3] = {consonant, 0x094D, 0x0930};
      if (consonant == 0x0930 || lookup[2].count(pack(run, 3)) != 0) continue;
      const auto letter = lookup[0].find(consonant);
      if (letter == lookup[0].end()) continue;
      std::vector<uint32_t> codes = letter->second;
      const bool round = consonant == 0x091B || (consonant >= 0x091F && consonant <= 0x0922);
      codes.push_back(round ? 0xAA : 'z');
      lookup[2].emplace(pack(run, 3), std::move(codes));
    }
    matras.insert(std::begin(kMatras), std::end(kMatras));
  }
};

const Tables& tables() {
  static const Tables t;
  return t;
}

}  // namespace

const std::vector<uint32_t>* krutidev_lookup(const uint32_t* codes, size_t n, size_t* length) {
  const Tables& t = tables();
  // Keys are 16-bit codes: a run stops at a code above them (a row already rewritten).
  size_t usable = 0;
  while (usable < std::min<size_t>(n, 4) && codes[usable] <= 0xFFFF) ++usable;
  for (size_t len = usable; len >= 1; --len) {
    const auto it = t.lookup[len - 1].find(pack(codes, len));
    if (it != t.lookup[len - 1].end()) {
      *length = len;
      return &it->second;
    }
  }
  *length = 0;
  return nullptr;
}

bool krutidev_matra(uint32_t code) { return tables().matras.count(code) != 0; }

namespace {

constexpr int32_t kSentinel = 65535;
constexpr int32_t kKrutidevBase = 65535;
constexpr int32_t kVirama = 0x094D, kNukta = 0x093C, kRa = 0x0930, kShortI = 0x093F;

using Rows = std::vector<Glyph>;

// Pass 1: straight quotes open and close in turn; a letter with a nukta becomes its base letter
// and the nukta, the rows behind moving down by one.
int32_t substitute_singles(Rows& rows, int32_t count) {
  bool single_open = true, double_open = true;
  for (int32_t i = 0; i < count; ++i) {
    Glyph& g = rows[static_cast<size_t>(i)];
    if (g.code == 39) {
      g.code = kKrutidevBase + (single_open ? 94 : 42);
      single_open = !single_open;
      continue;
    }
    if (g.code == 34) {
      g.code = kKrutidevBase + (double_open ? 223 : 222);
      double_open = !double_open;
      continue;
    }
    for (const auto& [composite, base] : kComposites) {
      if (static_cast<uint32_t>(g.code) != composite) continue;
      g.code = static_cast<int32_t>(base);
      Glyph nukta = g;
      nukta.code = kNukta;
      rows.insert(rows.begin() + i + 1, nukta);
      ++count;
      ++i;
      break;
    }
  }
  return count;
}

// The first row of the letter that ends at `at`: a nukta belongs to the letter before it.
int32_t letter_start(const Rows& rows, int32_t at) {
  return at > 0 && rows[static_cast<size_t>(at)].code == kNukta ? at - 1 : at;
}

// Pass 2: the short i is written before the cluster it follows (its consonant and the pairs of
// consonant and virama in front of it).
void move_short_i(Rows& rows, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    if (rows[static_cast<size_t>(i)].code != kShortI) continue;
    int32_t front = i;
    if (i > 0) {
      front = letter_start(rows, i - 1);
      while (front >= 2 && rows[static_cast<size_t>(front - 1)].code == kVirama) front = letter_start(rows, front - 2);
    }
    std::rotate(rows.begin() + front, rows.begin() + i, rows.begin() + i + 1);
    rows[static_cast<size_t>(front)].code = kKrutidevBase + 'f';
  }
}

// Pass 3, from the end to the start: a ra with a virama is lifted out and the reph written behind
// the consonant that follows and its signs.
int32_t move_reph(Rows& rows, int32_t count) {
  for (int32_t i = count - 2; i >= 0; --i) {
    if (rows[static_cast<size_t>(i)].code != kRa || rows[static_cast<size_t>(i + 1)].code != kVirama) continue;
    auto end = static_cast<size_t>(i + 3);
    while (end < rows.size() && rows[end].code >= 0 && krutidev_matra(static_cast<uint32_t>(rows[end].code))) ++end;
    end = std::min(end, rows.size());
    std::rotate(rows.begin() + i, rows.begin() + i + 2, rows.begin() + static_cast<std::ptrdiff_t>(end));
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(end) - 1);
    rows[end - 2].code = kKrutidevBase + 'Z';
    --count;
  }
  return count;
}

// Pass 4: the longest run in the table at each position gives way to its Krutidev codes.
int32_t substitute_table(Rows& rows, int32_t count) {
  for (int32_t i = 0; i < count;) {
    uint32_t key[4] = {};
    for (size_t k = 0; k < 4; ++k) key[k] = static_cast<uint32_t>(std::max(rows[static_cast<size_t>(i) + k].code, 0));
    size_t length = 0;
    const std::vector<uint32_t>* replacement = krutidev_lookup(key, 4, &length);
    if (replacement == nullptr) {
      ++i;
      continue;
    }
    const auto match = static_cast<int32_t>(length);
    const auto size = static_cast<int32_t>(replacement->size());
    if (size - match > 2) error("Devanagari substring insertion length > 2. Please report this error");
    if (size > match) {
      rows.insert(rows.begin() + i + match, static_cast<size_t>(size - match), rows[static_cast<size_t>(i + match - 1)]);
    } else if (size < match) {
      rows.erase(rows.begin() + i + size, rows.begin() + i + match);
    }
    for (int32_t k = 0; k < size; ++k) {
      rows[static_cast<size_t>(i + k)].code = kKrutidevBase + static_cast<int32_t>((*replacement)[static_cast<size_t>(k)]);
    }
    count += size - match;
    i += size;
  }
  return count;
}

// Each control takes effect at the first row written after it, wherever the rows moved.
void place_controls(Generator& gen) {
  size_t next = 0;
  for (size_t g = 0; g < gen.glyphs.size(); ++g) {
    const auto before = static_cast<size_t>(gen.glyphs[g].control_count);
    for (; next < before && next < gen.controls.size(); ++next) gen.controls[next].glyph_count = static_cast<int32_t>(g);
  }
  for (; next < gen.controls.size(); ++next) gen.controls[next].glyph_count = static_cast<int32_t>(gen.glyphs.size());
}

// Pass 5: each row's glyph is found again in the font in force at it. Rows the parser made from
// the space's metrics (spaces, tabs, line feeds, page breaks) and in-line images keep theirs.
void refresh_glyphs(Generator& gen) {
  Element& element = *gen.element;
  std::string font_name = element.starting_font_;
  Font* font = font_data(font_name);
  size_t control = 0;
  Rows out;
  out.reserve(gen.glyphs.size());
  int32_t last_row = -1;  // the font's row of the glyph written last, for kerning; -1 after others
  for (size_t i = 0; i < gen.glyphs.size(); ++i) {
    Glyph& glyph = gen.glyphs[i];
    for (; control < gen.controls.size() && gen.controls[control].glyph_count <= static_cast<int32_t>(i); ++control) {
      if (gen.controls[control].type == kControlFont) {
        font_name = gen.controls[control].text;
        font = font_data(font_name);
        last_row = -1;
      }
    }
    const int32_t code = glyph.code;
    if (code <= 0 || code == 9 || code == 10 || code == 32 || code == 160 || code == 8203) {
      out.push_back(glyph);
      last_row = -1;
      continue;
    }
    if (code == kSentinel) trace("Warning! Devanagari parser extended beyond the end of the available characters");
    int32_t at = font->row_of(static_cast<uint32_t>(code));
    if (at < 0) {
      trace_missing_glyph(static_cast<uint32_t>(code), font_name);
      at = font->row_of(63);
      if (at < 0) at = font->row_of(kKrutidevBase + 63);
      if (at < 0) continue;  // nothing to draw it with: the row goes, as the parser drops it
    }
    Glyph fresh = glyph_of_row(*font, font->rows[static_cast<size_t>(at)], static_cast<size_t>(at));
    scale_glyph(fresh, glyph.span_scale);
    fresh.control_count = glyph.control_count;
    // Kerning is read again between the glyphs as they are now drawn.
    if (last_row >= 0) apply_kerning(*font, static_cast<size_t>(last_row), static_cast<size_t>(at), out.back());
    last_row = at;
    out.push_back(fresh);
  }
  gen.glyphs = std::move(out);
}

}  // namespace

int32_t devanagari_rewrite(std::vector<Glyph>& rows, int32_t count) {
  count = substitute_singles(rows, count);
  move_short_i(rows, count);
  count = move_reph(rows, count);
  return substitute_table(rows, count);
}

void generator_devanagari(Generator& gen) {
  if (!gen.model->has_devanagari && !gen.unshaped_rows) return;
  if (gen.model->has_devanagari) {
    auto count = static_cast<int32_t>(gen.glyphs.size());
    Glyph sentinel;
    sentinel.code = kSentinel;
    sentinel.control_count = gen.glyphs.empty() ? 0 : gen.glyphs.back().control_count;
    gen.glyphs.insert(gen.glyphs.end(), 4, sentinel);
    count = devanagari_rewrite(gen.glyphs, count);
    gen.glyphs.resize(static_cast<size_t>(count));
  }
  place_controls(gen);
  refresh_glyphs(gen);
  place_controls(gen);
  for (size_t i = 0; i < gen.glyphs.size(); ++i) gen.glyphs[i].animation_index = static_cast<double>(i);
}

}  // namespace scribble

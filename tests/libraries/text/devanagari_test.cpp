// The rewriting of Devanagari into the Krutidev encoding: the short i before its cluster, the reph
// behind its syllable, letters with a nukta, straight quotes, and the longest table run, read back
// as the Krutidev text (codes less the font's offset of 65535).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/scribble_generator.h"

namespace {

std::u32string rewrite(const std::u32string& text) {
  std::vector<scribble::Glyph> rows;
  for (const char32_t c : text) {
    scribble::Glyph g;
    g.code = static_cast<int32_t>(c);
    rows.push_back(g);
  }
  scribble::Glyph sentinel;
  sentinel.code = 65535;
  rows.insert(rows.end(), 4, sentinel);
  const int32_t count = scribble::devanagari_rewrite(rows, static_cast<int32_t>(text.size()));
  std::u32string out;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t code = rows[static_cast<size_t>(i)].code;
    out.push_back(static_cast<char32_t>(code >= 65535 ? code - 65535 : code));
  }
  return out;
}

TEST(DevanagariTest, TextIsRewrittenIntoKrutidev) {
  struct Case {
    const char* what;
    std::u32string unicode;
    std::u32string krutidev;
  };
  const Case cases[] = {
      {"namaste: half sa, e sign", U"नमस्ते", U"ueLrs"},
      {"short i before its consonant", U"हिंदी", U"fganh"},
      {"short i before a cluster", U"हिन्दी", U"fgUnh"},
      {"two short i", U"स्थिति", U"fLFkfr"},
      {"short i before a ra conjunct", U"प्रिय", U"fç;"},
      {"short i before a letter and its nukta", U"\u091C\u093C\u093Fद", U"ftn"},
      {"reph behind its consonant", U"धर्म", U"/keZ"},
      {"reph behind the consonant's signs", U"पूर्वी", U"iwohZ"},
      {"reph and short i", U"कीर्ति", U"dhfrZ"},
      {"reph after a long vowel", U"कार्य", U"dk;Z"},
      {"composite letter split and matched", U"\u095Bरूर", U"t:j"},
      {"ra sign below", U"ब्रज", U"czt"},
      {"ra sign below a stemmed letter", U"भ्रम", U"Hkze"},
      {"conjunct with a stem", U"क्षमा", U"{kek"},
      {"shri", U"श्री", U"Jh"},
      {"a vowel letter before a short i", U"ऋषि", U"_f\"k"},
      {"digits and danda", U"१२।", U"\u0192\u201EA"},
      {"straight quotes open and close", U"'a' \"b\"", U"^a* \u00DFb\u00DE"},
      {"half form before space", U"क् ख", U"D [k"},
      {"Latin text passes", U"ab c", U"ab c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(rewrite(c.unicode), c.krutidev);
  }
}

// Rows keep their own data when they move: the short i's row goes to the front of the cluster.
TEST(DevanagariTest, MovedRowsKeepTheirData) {
  std::vector<scribble::Glyph> rows;
  for (const char32_t c : std::u32string(U"कि")) {
    scribble::Glyph g;
    g.code = static_cast<int32_t>(c);
    g.control_count = static_cast<int32_t>(rows.size());
    rows.push_back(g);
  }
  scribble::Glyph sentinel;
  sentinel.code = 65535;
  rows.insert(rows.end(), 4, sentinel);
  ASSERT_EQ(scribble::devanagari_rewrite(rows, 2), 2);
  EXPECT_EQ(rows[0].code, 65535 + 'f');
  EXPECT_EQ(rows[0].control_count, 1);
  EXPECT_EQ(rows[1].code, 65535 + 'd');
  EXPECT_EQ(rows[1].control_count, 0);
  EXPECT_EQ(rows[2].code, 65535);
}

}  // namespace

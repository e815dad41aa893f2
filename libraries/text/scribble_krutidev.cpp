// The Unicode-to-Krutidev tables (__scribble_krutidev_lookup_map_initialize and
// __scribble_krutidev_matra_lookup_map_initialize): Devanagari text is drawn with a Krutidev font
// by rewriting it into that encoding, where a conjunct, a letter with its half form or a vowel sign
// stands at the codes of Latin-1 characters. The lookup maps a run of up to four Unicode codes,
// packed 16 bits each with the first code in the low bits, to the Krutidev codes that replace it;
// the longest run wins. The matra set holds the vowel signs and marks that follow a consonant.
#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

#include "text/scribble_internal.h"

namespace scribble {

namespace {

// The published correspondence, as UTF-8 pairs: Unicode on the left, Krutidev on the right.
// Letters with a nukta appear decomposed (base letter, then U+093C), as the parser leaves them.
constexpr const char* kPairs[][2] = {
    {"‘", "^"}, {"’", "*"}, {"“", "Þ"}, {"”", "ß"}, {"(", "¼"}, {")", "½"}, {"{", "¿"}, {"}", "À"},
    {"=", "¾"}, {"।", "A"}, {"?", "\\"}, {"-", "&"}, {"µ", "&"}, {"॰", "Œ"}, {",", "]"}, {".", "-"},
    {"् ", "~ "}, {"०", "å"}, {"१", "ƒ"}, {"२", "„"}, {"३", "…"}, {"४", "†"}, {"५", "‡"}, {"६", "ˆ"},
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
    {"चै", "pkS"}, {"च्", "P"}, {"च", "p"}, {"छ", "N"}, {"ज्", "T"}, {"ज", "t"}, {"झ्", "÷"}, {"झ", ">"},
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
    {"ं", "a"}, {"ँ", "¡"}, {"ः", "%"}, {"ॅ", "W"}, {"ऽ", "·"}, {"्", "~"},
};

// The signs that stay with the consonant before them.
constexpr uint32_t kMatras[] = {0x093C, 0x093E, 0x093F, 0x0940, 0x0941, 0x0942, 0x0943, 0x0944, 0x0945,
                                0x0947, 0x0948, 0x0949, 0x094B, 0x094C, 0x0901, 0x0902, 0x0903};

// The letters with a nukta that the parser splits into their base letter and U+093C.
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
  for (size_t len = std::min<size_t>(n, 4); len >= 1; --len) {
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

}  // namespace scribble

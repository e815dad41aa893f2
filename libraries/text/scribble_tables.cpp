// The library's script tables: the direction class of a code point by its Unicode block, Arabic
// contextual forms (from the Unicode presentation forms) and the Thai mark and consonant groups
// that the parser's mark placement reads.
#include <unordered_map>

#include "text/scribble_internal.h"

namespace scribble {

int32_t bidi_class(uint32_t code) {
  if (code == 32 || (code >= 8234 && code <= 8238) || (code >= 8294 && code <= 8297)) return kClassWhitespace;
  if (code == 10) return kClassIsolated;
  if ((code >= 1 && code <= 9) || (code >= 11 && code <= 13) || code == 160 || code == 1548) return kClassSymbol;
  if ((code >= 33 && code <= 47) || (code >= 58 && code <= 64) || (code >= 91 && code <= 96) ||
      (code >= 123 && code <= 126)) {
    return kClassSymbol;
  }
  if ((code >= 12288 && code <= 12351) || (code >= 65280 && code <= 65295) || (code >= 65306 && code <= 65311) ||
      (code >= 65371 && code <= 65380)) {
    return kClassSymbol;
  }
  if ((code >= 12352 && code <= 12543) || (code >= 19968 && code <= 40959)) return kClassIdeographic;
  if (code >= 2304 && code <= 2431) return kClassDevanagari;
  if ((code >= 1424 && code <= 1535) || code == 1643 || code == 1644) return kClassR2L;
  if ((code >= 1536 && code <= 1791) || (code >= 64336 && code <= 65023) || (code >= 65136 && code <= 65279)) {
    return kClassArabic;
  }
  return kClassL2R;
}

namespace {

struct ArabicForms {
  uint32_t forms[4];  // isolated, initial, medial, final
};

const std::unordered_map<uint32_t, ArabicForms>& arabic_table() {
  static const std::unordered_map<uint32_t, ArabicForms> table = {
    {1569, {65152, 0, 0, 0}}, {1570, {65153, 0, 0, 65154}}, {1571, {65155, 0, 0, 65156}}, {1572, {65157, 0, 0, 65158}},
    {1573, {65159, 0, 0, 65160}}, {1574, {65161, 65163, 65164, 65162}}, {1575, {65165, 0, 0, 65166}}, {1576, {65167, 65169, 65170, 65168}},
    {1577, {65171, 0, 0, 65172}}, {1578, {65173, 65175, 65176, 65174}}, {1579, {65177, 65179, 65180, 65178}}, {1580, {65181, 65183, 65184, 65182}},
    {1581, {65185, 65187, 65188, 65186}}, {1582, {65189, 65191, 65192, 65190}}, {1583, {65193, 0, 0, 65194}}, {1584, {65195, 0, 0, 65196}},
    {1585, {65197, 0, 0, 65198}}, {1586, {65199, 0, 0, 65200}}, {1587, {65201, 65203, 65204, 65202}}, {1588, {65205, 65207, 65208, 65206}},
    {1589, {65209, 65211, 65212, 65210}}, {1590, {65213, 65215, 65216, 65214}}, {1591, {65217, 65219, 65220, 65218}}, {1592, {65221, 65223, 65224, 65222}},
    {1593, {65225, 65227, 65228, 65226}}, {1594, {65229, 65231, 65232, 65230}}, {1601, {65233, 65235, 65236, 65234}}, {1602, {65237, 65239, 65240, 65238}},
    {1603, {65241, 65243, 65244, 65242}}, {1604, {65245, 65247, 65248, 65246}}, {1605, {65249, 65251, 65252, 65250}}, {1606, {65253, 65255, 65256, 65254}},
    {1607, {65257, 65259, 65260, 65258}}, {1608, {65261, 0, 0, 65262}}, {1609, {65263, 64488, 64489, 65264}}, {1610, {65265, 65267, 65268, 65266}},
    {1649, {64336, 0, 0, 64337}}, {1655, {64477, 0, 0, 0}}, {1657, {64358, 64360, 64361, 64359}}, {1658, {64350, 64352, 64353, 64351}},
    {1659, {64338, 64340, 64341, 64339}}, {1662, {64342, 64344, 64345, 64343}}, {1663, {64354, 64356, 64357, 64355}}, {1664, {64346, 64348, 64349, 64347}},
    {1667, {64374, 64376, 64377, 64375}}, {1668, {64370, 64372, 64373, 64371}}, {1670, {64378, 64380, 64381, 64379}}, {1671, {64382, 64384, 64385, 64383}},
    {1672, {64392, 0, 0, 64393}}, {1676, {64388, 0, 0, 64389}}, {1677, {64386, 0, 0, 64387}}, {1678, {64390, 0, 0, 64391}},
    {1681, {64396, 0, 0, 64397}}, {1688, {64394, 0, 0, 64395}}, {1700, {64362, 64364, 64365, 64363}}, {1702, {64366, 64368, 64369, 64367}},
    {1705, {64398, 64400, 64401, 64399}}, {1709, {64467, 64469, 64470, 64468}}, {1711, {64402, 64404, 64405, 64403}}, {1713, {64410, 64412, 64413, 64411}},
    {1715, {64406, 64408, 64409, 64407}}, {1722, {64414, 0, 0, 64415}}, {1723, {64416, 64418, 64419, 64417}}, {1726, {64426, 64428, 64429, 64427}},
    {1728, {64420, 0, 0, 64421}}, {1729, {64422, 64424, 64425, 64423}}, {1733, {64480, 0, 0, 64481}}, {1734, {64473, 0, 0, 64474}},
    {1735, {64471, 0, 0, 64472}}, {1736, {64475, 0, 0, 64476}}, {1737, {64482, 0, 0, 64483}}, {1739, {64478, 0, 0, 64479}},
    {1740, {64508, 64510, 64511, 64509}}, {1744, {64484, 64486, 64487, 64485}}, {1746, {64430, 0, 0, 64431}}, {1747, {64432, 0, 0, 64433}},
  };
  return table;
}

}  // namespace

uint32_t arabic_form(uint32_t code, int32_t form) {
  const auto it = arabic_table().find(code);
  return it == arabic_table().end() || form < 0 || form > 3 ? 0 : it->second.forms[form];
}

// Dual-joining letters (those with initial or medial forms) and the tatweel join the next letter;
// they and the right-joining letters (with a final form) join the previous one.
bool arabic_joins_next(uint32_t code) {
  if (code == 1600) return true;
  const auto it = arabic_table().find(code);
  return it != arabic_table().end() && (it->second.forms[1] != 0 || it->second.forms[2] != 0);
}

bool arabic_joins_prev(uint32_t code) {
  if (code == 1600) return true;
  const auto it = arabic_table().find(code);
  return it != arabic_table().end() && (it->second.forms[3] != 0 || it->second.forms[2] != 0);
}

bool thai_base(uint32_t code) { return code >= 3585 && code <= 3630; }
bool thai_base_ascender(uint32_t code) { return code == 3611 || code == 3613 || code == 3615 || code == 3628; }
bool thai_base_descender(uint32_t code) { return code == 3598 || code == 3599 || code == 3620 || code == 3622; }
bool thai_top(uint32_t code) { return code >= 3656 && code <= 3660; }
bool thai_lower(uint32_t code) { return code >= 3640 && code <= 3642; }
bool thai_upper(uint32_t code) { return code == 3633 || (code >= 3636 && code <= 3639) || code == 3655 || code == 3661; }

}  // namespace scribble

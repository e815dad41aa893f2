#include "scripts/screen_text.h"

#include <cstdlib>
#include <cstring>

#include "scripts/game_code.h"

namespace {

#define TEXT_VARIABLES(X) X(gold) X(score)
#define TEXT_FUNCTIONS(X)                                                                               \
  X(string) X(draw_set_font) X(draw_set_halign) X(draw_set_valign) X(draw_set_colour) \
  X(draw_text)
GAME_CODE_ENTRIES(TEXT_VARIABLES, TEXT_FUNCTIONS)

using game::R;

constexpr const char* kCreamColour = "[#cdbeac]";

struct Alignment {
  const char* tag;
  const KVFunctionEntry* setter;
  double value;
};
const Alignment kAlignments[] = {
    {"fa_left", &f_draw_set_halign, 0},  {"fa_center", &f_draw_set_halign, 1}, {"fa_right", &f_draw_set_halign, 2},
    {"fa_top", &f_draw_set_valign, 0},   {"fa_middle", &f_draw_set_valign, 1}, {"fa_bottom", &f_draw_set_valign, 2},
};

// A tag's effect on the draw state; false for a tag this layer doesn't know, which is then drawn as
// text.
bool apply_tag(CInstance* self, CInstance* other, const std::string& tag) {
  for (const Alignment& a : kAlignments) {
    if (tag == a.tag) {
      tsl::call(*a.setter, self, other, {R(a.value)});
      return true;
    }
  }
  if (tag == "c_white" || tag == "c_red") {
    tsl::call(f_draw_set_colour, self, other, {R(tag == "c_white" ? kColourWhite : kColourRed)});
    return true;
  }
  if (tag.size() == 7 && tag[0] == '#') {
    // #rrggbb: colours are words with red in the lowest byte.
    const long rgb = std::strtol(tag.c_str() + 1, nullptr, 16);
    const double colour = ((rgb >> 16) & 0xFF) | (rgb & 0xFF00) | ((rgb & 0xFF) << 16);
    tsl::call(f_draw_set_colour, self, other, {R(colour)});
    return true;
  }
  const tsl::Value font = game::asset(self, other, tag);
  if (font.real() < 0) return false;
  tsl::call(f_draw_set_font, self, other, {*font});
  return true;
}

// "[tag][tag]" + string(value)
std::string with_value(const char* tags, CInstance* self, CInstance* other, const RValue& value) {
  const tsl::Value shown = tsl::call(f_string, self, other, {value});
  return std::string(tags) + RV_StringText(*shown);
}

}  // namespace

void ScreenText_Draw(CInstance* self, CInstance* other, double x, double y, const std::string& tagged) {
  size_t at = 0;
  while (at < tagged.size() && tagged[at] == '[') {
    const size_t close = tagged.find(']', at);
    if (close == std::string::npos || !apply_tag(self, other, tagged.substr(at + 1, close - at - 1))) break;
    at = close + 1;
  }
  const tsl::Value words = game::text(tagged.substr(at));
  tsl::call(f_draw_text, self, other, {R(x), R(y), *words});
  tsl::call(f_draw_set_halign, self, other, {R(0)});
  tsl::call(f_draw_set_valign, self, other, {R(0)});
  tsl::call(f_draw_set_colour, self, other, {R(kColourWhite)});
}

void ScreenText_Gold(CInstance* self, CInstance* other) {
  const tsl::Value gold = tsl::get(tsl::global(), v_gold);
  ScreenText_Draw(self, other, 36, 20, with_value("[fnt_regular][fa_left][fa_middle]", self, other, *gold));
}

void ScreenText_Score(CInstance* self, CInstance* other) {
  const tsl::Value score = tsl::get(tsl::global(), v_score);
  ScreenText_Draw(self, other, 572, 20, with_value("[fnt_regular][fa_left][fa_middle]", self, other, *score));
}

void ScreenText_Price(CInstance* self, CInstance* other, double x, double y, const RValue& cost, const RValue& gold) {
  const bool affordable = game::le(RV_ToDouble(cost), RV_ToDouble(gold));
  const char* tags = affordable ? "[fnt_regular_small][fa_right][fa_middle][c_white]"
                                : "[fnt_regular_small][fa_right][fa_middle][c_red]";
  ScreenText_Draw(self, other, x, y, with_value(tags, self, other, cost));
}

void ScreenText_Continue(CInstance* self, CInstance* other) {
  ScreenText_Draw(self, other, 320, 330,
                  std::string("[fnt_title][fa_center][fa_middle]") + kCreamColour + "PRESS ANY BUTTON TO CONTINUE");
}

void ScreenText_Credit(CInstance* self, CInstance* other) {
  ScreenText_Draw(self, other, 96, 20,
                  std::string("[fnt_regular_small][fa_left][fa_middle]") + kCreamColour +
                      "A GAME BY THE KOVA KEEP TEAM");
}

void ScreenText_FinalScore(CInstance* self, CInstance* other) {
  const tsl::Value score = tsl::get(tsl::global(), v_score);
  const std::string tags = std::string("[fnt_title][fa_center][fa_middle]") + kCreamColour;
  ScreenText_Draw(self, other, 320, 180, with_value(tags.c_str(), self, other, *score) + " 'MESSAGES'");
}

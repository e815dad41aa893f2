#include "scripts/screen_text.h"

#include "scripts/game_code.h"

namespace {

#define TEXT_VARIABLES(X) X(gold) X(score)
#define TEXT_FUNCTIONS(X) X(string) X(draw_text_scribble)
GAME_CODE_ENTRIES(TEXT_VARIABLES, TEXT_FUNCTIONS)

using game::R;

constexpr const char* kCreamColour = "[#cdbeac]";

// "[tag][tag]" + string(value)
std::string with_value(const char* tags, CInstance* self, CInstance* other, const RValue& value) {
  const tsl::Value shown = tsl::call(f_string, self, other, {value});
  return std::string(tags) + RV_StringText(*shown);
}

}  // namespace

// The text library takes the style from the tags inside the string; the draw state (font,
// alignment, colour, alpha) is only its starting point, and the game leaves it at its defaults.
void ScreenText_Draw(CInstance* self, CInstance* other, double x, double y, const std::string& tagged) {
  const tsl::Value words = game::text(tagged);
  tsl::call(f_draw_text_scribble, self, other, {R(x), R(y), *words});
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

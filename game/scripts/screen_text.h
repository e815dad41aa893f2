#pragma once
// Every word the game's screens draw, in one place: each item is its tagged string, whose leading
// tags name the font ([fnt_regular], [fnt_regular_small], [fnt_title]), the alignments ([fa_left],
// [fa_center], [fa_right], [fa_top], [fa_middle], [fa_bottom]) and the colour ([c_white], [c_red],
// [#rrggbb]), and whose rest is the text. Each string goes whole to the text library's
// draw_text_scribble, which reads the tags itself; the draw state is left untouched.
#include <string>

#include "core/rvalue.h"

class CInstance;

// Draws one tagged string at (x, y).
void ScreenText_Draw(CInstance* self, CInstance* other, double x, double y, const std::string& tagged);

// The items of the screens: the gold and score of the heads-up display, a shop button's price
// (white when affordable, red when not), the "press any button" line, the title's credit line and
// the loss screen's final score.
void ScreenText_Gold(CInstance* self, CInstance* other);
void ScreenText_Score(CInstance* self, CInstance* other);
void ScreenText_Price(CInstance* self, CInstance* other, double x, double y, const RValue& cost, const RValue& gold);
void ScreenText_Continue(CInstance* self, CInstance* other);
void ScreenText_Credit(CInstance* self, CInstance* other);
void ScreenText_FinalScore(CInstance* self, CInstance* other);

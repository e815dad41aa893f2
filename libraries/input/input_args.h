#pragma once
// Argument readers shared by the library's public scripts: the player (or players, -3 meaning all)
// that an argument names, checked with the library's own messages, and a boolean result.
#include <vector>

#include "input/input_internal.h"

namespace input {

// The player of argument n (0 when left out); a bad index raises through verify_player_index.
Player& player_at(int argc, RValue** argv, int n);
// The players of argument n: one index, or every player for -3.
std::vector<Player*> players_at(int argc, RValue** argv, int n);
// The sources a call names: one source struct or an array of them ("Invalid source provided" for
// anything else).
std::vector<Source> sources_arg(const RValue& value);
RValue* give_bool(tsl::ScriptScope& scope, bool b);

}  // namespace input

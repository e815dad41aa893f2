#include "input/input_args.h"

#include <algorithm>

namespace input {

Player& player_at(int argc, RValue** argv, int n) {
  const double index = arg_real(argc, argv, n, 0);
  verify_player_index(index);
  return player(std::clamp(index, 0.0, static_cast<double>(INPUT_MAX_PLAYERS - 1)));
}

std::vector<Player*> players_at(int argc, RValue** argv, int n) {
  const double index = arg_real(argc, argv, n, 0);
  verify_player_index(index, true);
  std::vector<Player*> out;
  for (int32_t i = 0; i < INPUT_MAX_PLAYERS; ++i) {
    if (index == kAllPlayers || i == index) out.push_back(&player(i));
  }
  return out;
}

std::vector<Source> sources_arg(const RValue& value) {
  std::vector<Source> out;
  auto one = [&](const RValue& v) {
    const std::optional<Source> source = source_from_value(v);
    if (!source) {
      error("Invalid source provided (" + shown(v) + ")");
      return;
    }
    out.push_back(*source);
  };
  if (is_array(value)) {
    for (int32_t i = 0; i < array_length(value); ++i) one(value.pArray->pArray[i]);
  } else {
    one(value);
  }
  return out;
}

RValue* give_bool(tsl::ScriptScope& scope, bool b) { return scope.give(Value::Bool(b)); }

}  // namespace input

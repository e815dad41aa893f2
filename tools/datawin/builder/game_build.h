#pragma once
// Turns a parsed manifest into the game's data file: the header record first, then the string
// table. Later work adds the asset chunks here, in the order the loader needs them.
#include "datawin/builder/manifest.h"
#include "datawin/writer/writer.h"

namespace datawin {

Writer build_game(const Manifest& manifest);

}  // namespace datawin

#pragma once
// Choosing the data file and the paths that sit beside it. Pure: the disk is reached only through
// the two functions passed in (the real file layer by default, fakes in tests), so a choice costs
// one readability test and one full-path call.
//
// The order matters: the default data file (data.win beside the executable) is taken first when it
// can be read, then the command line is parsed, so -game replaces it (and -debug sees the default
// as a known game path and is ignored). A known path is made absolute last; with no default and no
// -game the result is "" and the caller reports the missing game.
#include <string>

#include "platform/files.h"
#include "run/options.h"

using GamePathReadable = bool (*)(const std::string& path);
using GamePathFullPath = std::string (*)(const std::string& path);

constexpr const char* kDefaultDataFile = "data.win";

// The default data file: kDefaultDataFile in the directory of the executable's path ("" for an
// unknown executable).
std::string GamePath_Default(const std::string& executable_path);

// Fills options from command_line and returns options->game_path, absolute or "".
std::string GamePath_Choose(const std::string& default_game, const char* command_line, RunOptions* options,
                            GamePathReadable readable = Platform_FileReadable,
                            GamePathFullPath full_path = Platform_FullPath);

// The game's working directory: the game path up to and including its last '/', "" without one.
std::string GamePath_WorkingDirectory(const std::string& game_path);

// "options.ini" in place of the data file's own name.
std::string GamePath_OptionsIni(const std::string& game_path);

// The debugger's side file: the data file's name with the extension ".kvdebug" (added when the
// name has none).
std::string GamePath_DebugSideFile(const std::string& game_path);

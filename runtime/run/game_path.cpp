#include "run/game_path.h"

namespace {

size_t name_start(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? 0 : slash + 1;
}

}  // namespace

std::string GamePath_Default(const std::string& executable_path) {
  if (executable_path.empty()) return std::string();
  return GamePath_WorkingDirectory(executable_path) + kDefaultDataFile;
}

std::string GamePath_Choose(const std::string& default_game, const char* command_line, RunOptions* options,
                            GamePathReadable readable, GamePathFullPath full_path) {
  options->game_path = !default_game.empty() && readable(default_game) ? default_game : std::string();

  Options_Parse(command_line, options);

  if (!options->game_path.empty()) options->game_path = full_path(options->game_path);
  return options->game_path;
}

std::string GamePath_WorkingDirectory(const std::string& game_path) {
  return game_path.substr(0, name_start(game_path));
}

std::string GamePath_OptionsIni(const std::string& game_path) {
  return GamePath_WorkingDirectory(game_path) + "options.ini";
}

std::string GamePath_DebugSideFile(const std::string& game_path) {
  const size_t start = name_start(game_path);
  const size_t dot = game_path.rfind('.');
  const size_t stem_end = dot != std::string::npos && dot > start ? dot : game_path.size();
  return game_path.substr(0, stem_end) + ".kvdebug";
}

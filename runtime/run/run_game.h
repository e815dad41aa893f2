#pragma once
// The process: the outer loop that chooses a data file, starts the game, drives frames until the
// game ends, shuts every subject down, and goes round again for -exit chaining. Start-up runs the
// steps of InitGame and StartGame in their fixed order, each announced on the debug console.
#include <cstdint>
#include <string>

struct AudioPlatform;
struct DisplayPlatform;
struct RunOptions;

// The whole program on the given window, device and audio backends; returns the process's exit
// status. Without an audio platform the game runs silent.
int Kova_Main(int argc, char** argv, const DisplayPlatform& platform, const AudioPlatform& audio);
int Kova_Main(int argc, char** argv, const DisplayPlatform& platform);

bool InitGame();
// False when the game could not start (no file, a wrong file, graphics failed).
bool StartGame();
void ShutDownGame();

// The file roots of a started game: the bundle and working directory are the data file's folder,
// the save area is named by the header's display name (loaded already), parent_directory is the
// folder of a game that started this one through -exit ("" otherwise). Also what game_save_id
// and working_directory show, and the buffers' whole-file access.
void Run_SetFileRoots(const std::string& game_path, const std::string& parent_directory);

void Run_Start();
void Run_End();
void Run_Restart_Game();

// Builtins game_end(code) and game_restart() as runtime calls.
void Game_End(int32_t code, bool code_given);
void Game_Restart();

// The parsed options of the current round.
const RunOptions& Run_Options();
// The temp directory read from the environment at start ("/tmp" when unset).
const std::string& Run_TempDirectory();

// Runner version shown in the banner.
constexpr int kRunnerMajor = 1;
constexpr int kRunnerMinor = 0;
constexpr int kRunnerBuild = 1;
constexpr int kRunnerRevision = 1;

#include "run/run_game.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "audio/audio.h"
#include "core/builtin_families.h"
#include "core/code.h"
#include "core/console.h"
#include "core/crc32.h"
#include "core/error.h"
#include "core/error_report.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/job_manager.h"
#include "core/memory.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "data/debug_file.h"
#include "data/game_data.h"
#include "data/game_file.h"
#include "graphics/texture_load.h"
#include "graphics/window.h"
#include "platform/files.h"
#include "platform/process.h"
#include "run/asset_readers.h"
#include "run/game_path.h"
#include "run/options.h"
#include "run/run_builtins.h"
#include "run/run_frame.h"
#include "run/run_harness.h"
#include "run/run_options_ini.h"
#include "run/run_present.h"
#include "run/run_subjects.h"
#include "storage/buffer.h"
#include "storage/ds_core.h"
#include "storage/file_paths.h"
#include "storage/fn_file.h"
#include "world/builtin_var_rows.h"
#include "world/event_async.h"
#include "world/world_init.h"

namespace {

RunOptions g_options;
AudioPlatform g_audio_platform;
std::string g_command_line;
GameImage g_image;
std::string g_temp_directory;
bool g_game_started = false;
bool g_in_game_end = false;
// The working directory of the game that started this round through -exit; "" otherwise.
std::string g_parent_directory;

void on_allocation_failure(const char* message) { KVError("%s", message); }

void apply_console_options() {
  Console_Reset();
  Console_SetOutputFile(g_options.output_path);
  Console_SetDebugOutputFile(g_options.debug_output_path);
  Console_SetMirrorToStderr(g_options.output_debug_string);
}

// Reads the data file, checks it and scans its header. False ends the start with status 1.
bool RunnerLoadGame() {
  if (g_options.game_path.empty()) {
    g_ReleaseConsole->Output("Unable to find game!!: %s\n", "");
    return false;
  }
  OptionsIniSettings ini;
  if (Options_ApplyIni(GamePath_OptionsIni(g_options.game_path), g_options, &ini)) {
    if (ini.debug) g_options.debug_mode = *ini.debug;
    if (ini.trace) g_options.trace = *ini.trace;
    if (ini.vertex_buffer_method) g_options.vertex_buffer_method = *ini.vertex_buffer_method;
    if (ini.alternate_sync) g_options.manual_vsync = *ini.alternate_sync;
  }

  GameFileSizes sizes;
  switch (GameFile_Read(g_options.game_path, &g_image, &sizes)) {
    case GameFileStatus::kOk:
      break;
    case GameFileStatus::kUnreadable:
      g_ReleaseConsole->Output("Unable to find game!!: %s\n", g_options.game_path.c_str());
      return false;
    case GameFileStatus::kNotGameFile:
      g_ReleaseConsole->Output("Unable to load game: %s is not a game data file\n", g_options.game_path.c_str());
      return false;
    case GameFileStatus::kWrongSize:
      GameFile_ReportUnexpectedSize(sizes.length, sizes.form_size);
      return false;
  }
  GameData_LoadDebugSideFile(GamePath_DebugSideFile(g_options.game_path));
  GameData_SetInAWindow(g_options.in_a_window);
  g_DebugConsole->Output("Get Resolution\n");
  return HeaderScan(g_image.data, g_image.size);
}

bool PrepareGame() {
  struct Step {
    bool (*prepare)();
    const char* failure;
  };
  static const Step kSteps[] = {
      {Extension_Prepare, "Failed to prepare extension packages."},
      {Script_Prepare, "Failed to compile the scripts."},
      {TimeLine_Prepare, "Failed to compile the actions in the time lines."},
      {Object_Prepare, "Failed to compile the actions in the objects."},
      {Room_Prepare, "Failed to compile the actions in the objects."},
      {Sequence_Prepare, "Failed to prepare Sequences"},
      {AudioGroup_Prepare, nullptr},
      {InitGraphics, nullptr},
  };
  for (const Step& step : kSteps) {
    if (step.prepare()) continue;
    if (step.failure != nullptr) ShowError(step.failure, true);
    return false;
  }
  return true;
}

}  // namespace

const RunOptions& Run_Options() { return g_options; }

void Run_SetFileRoots(const std::string& game_path, const std::string& parent_directory) {
  const GameHeader& header = GameData_Header();
  const std::string working = GamePath_WorkingDirectory(game_path);
  // Both folder roots of the data file's flag live under the user's data folder here.
  Files_SetRoots(working, working, Platform_SaveAreaDirectory(header.display_name), parent_directory);
  g_DebugConsole->Output("SavePrePend = %s\n", Files_SaveDirectory().c_str());
  Files_InstallBufferAccess();
  g_GameDirectories = {Files_WorkingDirectory(), g_temp_directory + "/", Platform_DirectoryOf(Platform_ExecutablePath()),
                       Files_SaveDirectory()};
}
const std::string& Run_TempDirectory() { return g_temp_directory; }

bool InitGame() {
  MemoryManager::SetFailureHandler(on_allocation_failure);
  GC_StartGame(g_options.headless);
  Timing_Reset();
  Crc32_BuildTable();
  const char* temp = std::getenv("temp");
  if (temp == nullptr) temp = std::getenv("tmp");
  g_temp_directory = temp != nullptr ? temp : "/tmp";
  FrameState_Reset();
  ErrorReport_Reset();
  Frame_Pacer().Reset();
  Builtins_ClearRegistrars();
  Run_InstallBuiltinRegistrars();
  RunVariables_Reset();
  Debug_Flags() = DebugFlags{Run_Options().vm_trace};
  BuiltinVar_RegisterAll();
  World_Init(Exception_Unhandled);
  return true;
}

bool StartGame() {
  g_DebugConsole->Output("Create Error Form\n");
  JobManager_Start();
  g_DebugConsole->Output(
      "\n***************************************\n*     Kova Games Runner v%d.%d(%d)[r%d]    *\n"
      "***************************************\t \n",
      kRunnerMajor, kRunnerMinor, kRunnerBuild, kRunnerRevision);
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  if (!RunnerLoadGame()) {
    Run_ExitCode = 1;
    return false;
  }
  const GameHeader& header = GameData_Header();
  Window_SetHeadless(g_options.headless);
  Window_SetSplashPath(GamePath_WorkingDirectory(g_options.game_path) + "splash.png");
  g_DebugConsole->Output("Create Window\n");
  if (!Window_Create(header.window_width, header.window_height)) return false;
  g_DebugConsole->Output("Init Graphics\n");
  if (!Graphics_Init()) return false;
  g_DebugConsole->Output("IO Init\n");
  Audio_Init(g_audio_platform, g_options.no_audio);
  Audio_SetGameDirectory(GamePath_WorkingDirectory(g_options.game_path));
  Audio_SetAsyncSink(Event_QueueAsync);
  IO_Init(IoSettings{g_options.record ? g_options.record_path : "", g_options.playback ? g_options.playback_path : "",
                     GamePadSettings{!g_options.no_direct_input, GamePath_WorkingDirectory(g_options.game_path),
                                     Platform_SaveAreaDirectory(header.display_name)}});
  g_DebugConsole->Output("Process Messages\n");
  ProcessMessages();
  g_DebugConsole->Output("Splash!\n");
  if (!g_options.headless) Splash_Show();
  g_DebugConsole->Output("Start Frame\n");
  Start_Frame();
  g_DebugConsole->Output("Part Create Textures\n");
  g_DebugConsole->Output("Debug Init Remote Interface\n");
  g_DebugConsole->Output("VM Init\n");
  g_DebugConsole->Output("Create Load Form\n");
  g_DebugConsole->Output("Do The Work\n");
  std::srand(static_cast<unsigned>(Timing_Time()));
  Run_SetFileRoots(g_options.game_path, g_parent_directory);
  TextureLoad_SetRoots(Files_SaveDirectory(), Files_BundleDirectory());
  Assets_InstallReaders();
  // Scripts must be findable by name while the load links the function entries; an error raised
  // before the variable tables exist is reported at once instead of thrown.
  Code_InstallScriptLookup();
  ErrorReport_SetTablesExist(false);
  const bool loaded = LoadGameData(g_image.data, g_image.size);
  ErrorReport_SetTablesExist(true);
  if (!loaded) {
    g_ReleaseConsole->Output("Failed to load the game\n");
    Run_ExitCode = 1;
    return false;
  }
  if (!PrepareGame()) {
    Run_ExitCode = 1;
    return false;
  }
  g_DebugConsole->Output("Run_Start\n");
  Run_Start();
  g_game_started = true;
  return true;
}

void Run_Start() {
  // A quit taken by a message pump during start-up stands: the game is not set running again.
  if (!Run_Running && !Run_QuitSeen) {
    Run_Running = true;
    Run_Restart_Game();
  }
  // A quit asked for while the game was starting still ends it.
  if (Run_QuitSeen) Run_Running = false;
  Run_DebuggerHold = false;
  Run_FrameStart = Timing_Time();
  Run_SecondStart = Run_FrameStart;
  Run_FramesThisSecond = 0;
  Run_TotalFrames = 0;
  ProcessMessages();
  g_DebugConsole->Output("**********************************.\n");
  g_DebugConsole->Output("Entering main loop.\n");
  g_DebugConsole->Output("**********************************.\n");
  g_DebugConsole->Output("Current Memory Stats\n");
  MemoryManager::DumpMemory(nullptr, nullptr, g_DebugConsole != g_ReleaseConsole);
}

void Run_Restart_Game() {
  Game_ResetForRestart();
  const bool initialised = Script_RunGlobalInit();
  // What start-up made lives as long as the game; the rooms' objects start young.
  GC_StartupDone();
  if (!initialised || Run_DebuggerHold) return;
  Room_StartFirst();
  if (New_Room >= 0) {
    Room_Switch(New_Room);
    New_Room = kNewRoomNone;
  }
}

void Run_End() {
  Room_EndCurrent(true);
  Run_Room = nullptr;
  if (!g_game_started) return;
  Sounds_StopAll();
  IO_Clear();
  Sprites_ResetState();
  GCStep(4);
}

void ShutDownGame() {
  // Background jobs may still read tables that are about to go.
  JobManager_Stop();
  IO_End();
  Game_FreeSubjects();
  Function_Clear();
  Window_Destroy();
  Buffer_FreeAll();
  DS_FreeAll();
  GCCollectAll();
  GC_Reset();
  GameFile_Free(&g_image);
  GameData_Reset();
  DebugFile_Reset();
  Variable_ResetNames();
  Options_ReleaseIni();
  File_CloseAll();
  Buffer_SetFileAccess(nullptr);
  Files_Reset();
  g_game_started = false;
}

void Game_End(int32_t code, bool code_given) {
  if (code_given) Run_ExitCode = code;
  g_ReleaseConsole->Output("###game_end###%d\n", Run_ExitCode);
  if (g_in_game_end) return;
  g_in_game_end = true;
  Script_RunGameEnd();
  g_in_game_end = false;
  New_Room = kNewRoomEndGame;
}

void Game_Restart() { New_Room = kNewRoomRestart; }

int Kova_Main(int argc, char** argv, const DisplayPlatform& platform) {
  return Kova_Main(argc, argv, platform, AudioPlatform{});
}

int Kova_Main(int argc, char** argv, const DisplayPlatform& platform, const AudioPlatform& audio) {
  g_audio_platform = audio;
  // The two informational switches answer at once; any other token goes to the game.
  for (int i = 1; i < argc; ++i) {
    if (argv[i] == nullptr) continue;
    const std::string token = argv[i];
    if (token == "--help") {
      std::fputs(Options_HelpText().c_str(), stdout);
      return 0;
    }
    if (token == "--version") {
      std::printf("Kova Games Runner v%d.%d(%d)[r%d]\n", kRunnerMajor, kRunnerMinor, kRunnerBuild, kRunnerRevision);
      return 0;
    }
  }
  MemoryManager::Start();
  Window_SetDisplayPlatform(platform);
  Frame_SetMainThread();
  Platform_InstallQuitSignals();
  Platform_MoveAtNamedFiles(".");
  g_command_line = Options_JoinArgs(argc, argv);
  const std::string default_game = Platform_DirectoryOf(Platform_ExecutablePath()) + "data.win";
  int exit_status = 0;
  do {
    Run_Restart = false;
    g_options.game_path = GamePath_Choose(default_game, g_command_line.c_str(), &g_options);
    apply_console_options();
    if (g_options.sleep_margin_fixed) SleepMargin = g_options.sleep_margin;
    if (!InitGame()) return 0;
    Harness_Begin(g_options);
    Timing_SetSchedulerResolution(kSchedulerResolutionMs);
    bool started = false;
    try {
      started = StartGame();
    } catch (const KVTSLException& exception) {
      Exception_Unhandled(exception);
    }
    if (started && !g_options.headless) {
      while (Run_Running) {
        Frame_Drive();
        ProcessMessages();
      }
    }
    if (!Run_Running && g_game_started) Run_End();
    ShutDownGame();
    Harness_End();
    exit_status = Run_ExitCode;
    if (g_options.exit_set) {
      g_options.exit_set = false;
      g_parent_directory = GamePath_WorkingDirectory(g_options.game_path);
      g_command_line = Options_ExitCommandLine(g_options.exit_path);
      Run_Restart = true;
    }
  } while (Run_Restart);
  Timing_SetSchedulerResolution(0);
  return exit_status;
}

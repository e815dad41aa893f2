#pragma once
// The calls the frame driver and start-up make into the subsystems, in one place. The window and
// device calls are the graphics layer's (graphics/window.h), the input calls the input layer's
// (input/io.h), the step and the room switch the world's; subjects that are not built yet have empty bodies in run_subjects.cpp, and each
// subsystem replaces its entries with the real ones as it lands, so the driver's order never
// changes.
#include <cstdint>

#include "audio/audio.h"
#include "graphics/window.h"
#include "input/io.h"
#include "world/room.h"
#include "world/room_draw.h"
#include "world/step.h"

// Time sources: the two roots tick with the frame's delta before any wait.
void TimeSource_TickRoots(int64_t delta_us);

// A running frame.
void SavedGame_ApplyQueued();
bool IO_PauseEventThisFrame();
void Instance_PurgeDestroyed();
void Deferred_Process();
void Backgrounds_Scroll();

// Room requests at the frame's end and the game's start and end.
void Room_EndCurrent(bool game_ending);
bool Room_StartFirst();  // starts the first room in room order; false with no rooms
void Game_ResetForRestart();
bool Script_RunGlobalInit();
void Script_RunGameEnd();  // the data file's game-end list, once
void Sounds_StopAll();
void Sprites_ResetState();

// Preparation after the chunks load, in order; each returns false on failure.
bool Extension_Prepare();
bool Script_Prepare();
bool TimeLine_Prepare();
bool Object_Prepare();
bool Room_Prepare();
bool Sequence_Prepare();
bool AudioGroup_Prepare();
bool InitGraphics();

// Shutdown of the game's subjects, in order.
void Game_FreeSubjects();

#pragma once
// The calls the frame driver and start-up make into the subsystems, in one place. Subjects that
// are not built yet have empty bodies in run_subjects.cpp; each subsystem replaces its entries
// with the real ones as it lands, so the driver's order never changes.
#include <cstdint>

// Time sources: the two roots tick with the frame's delta before any wait.
void TimeSource_TickRoots(int64_t delta_us);
void Audio_Tick();

// Window and device.
bool Window_Create(int32_t width, int32_t height);  // false when graphics cannot start
bool Graphics_Init();
void Window_ApplyPendingSize();
void Device_Reset();
void Start_Frame();
// Shows the back buffer with a sync interval; false when there is no device.
bool Device_Present(int32_t sync_interval);
// Waits for the next vertical blank; false when the output cannot do it.
bool Device_WaitForVBlank();
void Splash_Show();
void Window_Destroy();
// Drains the window's messages into runtime state; a quit message (the close button) raises the
// same quit request as SIGINT (Platform_PostQuit). ProcessMessages calls it first.
void Window_PumpMessages();
// The device side of End_Frame, before any present: flushes the batch, ends the batch frame,
// closes the scene and, when presenting, copies the main render target to the back buffer.
void Device_EndFrame(bool present);

// A running frame.
void RenderState_ApplyPending();
void SavedGame_ApplyQueued();
void IO_Update();
void IO_Clear();
bool IO_PauseEventThisFrame();
bool Window_FreezeForLostFocus();  // the option is on and the game's window isn't active
void Run_Step();
void Instance_PurgeDestroyed();
void Room_Draw();
void Deferred_Process();
void Backgrounds_Scroll();
void Particles_UpdateView();
void VirtualKeys_Draw();

// Room requests at the frame's end and the game's start and end.
void Room_Switch(int32_t room);
void Room_EndCurrent(bool game_ending);
bool Room_StartFirst();  // starts the first room in room order; false with no rooms
void Gamepad_Reannounce();
void SavedGame_QueueLoad();
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

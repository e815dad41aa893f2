// Empty bodies for subsystems that have not landed yet. Each one is removed here when its
// subsystem provides the real entry point.
#include "core/run_subjects.h"

void TimeSource_TickRoots(int64_t) {}
void Audio_Tick() {}

void SavedGame_ApplyQueued() {}
void IO_Update() {}
void IO_Clear() {}
bool IO_PauseEventThisFrame() { return false; }
void Run_Step() {}
void Instance_PurgeDestroyed() {}
void Room_Draw() {}
void Deferred_Process() {}
void Backgrounds_Scroll() {}
void Particles_UpdateView() {}
void VirtualKeys_Draw() {}

void Room_Switch(int32_t) {}
void Room_EndCurrent(bool) {}
bool Room_StartFirst() { return false; }
void Gamepad_Reannounce() {}
void SavedGame_QueueLoad() {}
void Game_ResetForRestart() {}
bool Script_RunGlobalInit() { return true; }
void Script_RunGameEnd() {}
void Sounds_StopAll() {}
void Sprites_ResetState() {}

bool Extension_Prepare() { return true; }
bool Script_Prepare() { return true; }
bool TimeLine_Prepare() { return true; }
bool Object_Prepare() { return true; }
bool Room_Prepare() { return true; }
bool Sequence_Prepare() { return true; }
bool AudioGroup_Prepare() { return true; }
bool InitGraphics() { return true; }

void Game_FreeSubjects() {}

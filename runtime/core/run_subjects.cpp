// Empty bodies for subsystems that have not landed yet. Each one is removed here when its
// subsystem provides the real entry point.
#include "core/run_subjects.h"

void TimeSource_TickRoots(int64_t) {}
void Audio_Tick() {}

bool Window_Create(int32_t, int32_t) { return true; }
bool Graphics_Init() { return true; }
void Window_ApplyPendingSize() {}
void Device_Reset() {}
void Start_Frame() {}
bool Device_Present(int32_t) { return false; }
bool Device_WaitForVBlank() { return false; }
void Splash_Show() {}
void Window_Destroy() {}

void RenderState_ApplyPending() {}
void SavedGame_ApplyQueued() {}
void IO_Update() {}
void IO_Clear() {}
bool IO_PauseEventThisFrame() { return false; }
bool Window_FreezeForLostFocus() { return false; }
void Run_Step() {}
void TextureLoadManager_Tick() {}
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

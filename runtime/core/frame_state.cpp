#include "core/frame_state.h"

bool Run_Running = false;
int32_t New_Room = kNewRoomNone;
CRoom* Run_Room = nullptr;
int64_t Run_FrameStart = 0;
int64_t Run_FrameNow = 0;
int32_t Run_RoomSpeed = 60;
int64_t Run_SecondStart = 0;
int32_t Run_FramesThisSecond = 0;
int32_t Run_Fps = 0;
int64_t Run_TotalFrames = 0;
int64_t DrawnSteps = 0;
int64_t Run_DeltaTime = 0;
int32_t Run_ResetCountdown = 0;
int32_t Run_ExitCode = 0;
bool Run_Restart = false;
bool FrameLimit = true;
bool VsyncOn = false;
bool SleepTimingForced = false;
bool SleepTimingFallback = false;
int32_t PresentInterval = 0;
float RefreshRate = 60.0f;
bool Run_DebuggerHold = false;
bool Run_DrawEnabled = true;
bool Run_QuitSeen = false;
bool Run_PauseEvent = false;
int64_t Run_CurrentTimeSeconds = 0;

void FrameState_Reset() {
  Run_Running = false;
  DrawnSteps = 0;
  New_Room = kNewRoomNone;
  Run_Room = nullptr;
  Run_FrameStart = 0;
  Run_FrameNow = 0;
  Run_RoomSpeed = 60;
  Run_SecondStart = 0;
  Run_FramesThisSecond = 0;
  Run_Fps = 0;
  Run_TotalFrames = 0;
  Run_DeltaTime = 0;
  Run_ResetCountdown = 0;
  Run_ExitCode = 0;
  FrameLimit = true;
  SleepTimingForced = false;
  SleepTimingFallback = false;
  PresentInterval = 0;
  RefreshRate = 60.0f;
  Run_DebuggerHold = false;
  Run_DrawEnabled = true;
  Run_QuitSeen = false;
  Run_PauseEvent = false;
  Run_CurrentTimeSeconds = 0;
}

#pragma once
// The run state: process-wide values the frame driver keeps and other subsystems read or request
// through (New_Room above all). All of it belongs to the main thread.
#include <cstdint>

// Pending room change or end request held in New_Room.
constexpr int32_t kNewRoomNone = -1;
constexpr int32_t kNewRoomEndGame = -100;
constexpr int32_t kNewRoomRestart = -200;
constexpr int32_t kNewRoomLoad = -300;
constexpr int32_t kNewRoomAbort = -400;

struct CRoom;

extern bool Run_Running;
extern int32_t New_Room;
extern CRoom* Run_Room;
extern int64_t Run_FrameStart;
extern int64_t Run_FrameNow;
extern int32_t Run_RoomSpeed;
extern int64_t Run_SecondStart;
extern int32_t Run_FramesThisSecond;
extern int32_t Run_Fps;
extern int64_t Run_TotalFrames;
// Steps that reached the end of their draw phase (a step with a room request is not drawn).
extern int64_t DrawnSteps;
extern int64_t Run_DeltaTime;
extern int32_t Run_ResetCountdown;
extern int32_t Run_ExitCode;
extern bool Run_Restart;
extern bool FrameLimit;
extern bool VsyncOn;
extern bool SleepTimingForced;
extern bool SleepTimingFallback;
extern int32_t PresentInterval;
extern float RefreshRate;

// Whether the debugger link holds the game; no link exists on this platform, so it stays false.
extern bool Run_DebuggerHold;
// Drawing may be switched off by scripts; a frame about to change room is never drawn.
extern bool Run_DrawEnabled;
// The quit message was seen by the message pump.
extern bool Run_QuitSeen;

// The platform raised its pause event this frame (os_is_paused); desktops never do.
extern bool Run_PauseEvent;

// Seconds since the epoch read at the top of each frame, for the date builtins.
extern int64_t Run_CurrentTimeSeconds;

// Puts every value back to its start value (a new round of the process loop).
void FrameState_Reset();

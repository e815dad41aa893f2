#include "run/run_frame.h"

#include <ctime>
#include <thread>

#include "core/console.h"
#include "core/error.h"
#include "core/error_report.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/memory.h"
#include "core/rvalue.h"
#include "core/timing.h"
#include "graphics/texture_load.h"
#include "platform/files.h"
#include "platform/process.h"
#include "run/options.h"
#include "run/run_game.h"
#include "run/run_harness.h"
#include "run/run_present.h"
#include "run/run_subjects.h"

namespace {

std::thread::id g_main_thread;
void (*g_step_hook)(void*) = nullptr;
void* g_step_hook_argument = nullptr;
int32_t* (*g_room_speed_reader)(void*) = nullptr;
int64_t g_last_step_time = 0;

// The frame's rate and whether it is fixed at all (a free-running speed timer is not).
int32_t frame_rate(bool* fixed) {
  *fixed = true;
  if (!Run_UseGameTimer) {
    int32_t* speed = Run_Room != nullptr && g_room_speed_reader != nullptr ? g_room_speed_reader(Run_Room) : nullptr;
    if (speed == nullptr) return 60;
    if (*speed <= 0) *speed = 1;
    return *speed;
  }
  GameTimer_Tick(&Run_GameTimer, Timing_Time());
  if (Run_GameTimer.fps > 0.0) return static_cast<int32_t>(Run_GameTimer.fps);
  *fixed = false;
  return 60;
}

void count_second(int64_t now) {
  if (now < Run_SecondStart) Run_SecondStart = now;
  if (now / 1000000 > Run_SecondStart / 1000000) {
    Run_Fps = Run_FramesThisSecond;
    Run_FramesThisSecond = 0;
    Run_SecondStart = now;
  }
  ++Run_FramesThisSecond;
}

// Returns false when the frame must end here (the game is ending).
bool handle_room_request() {
  switch (New_Room) {
    case kNewRoomNone:
      return true;
    case kNewRoomAbort:
    case kNewRoomEndGame:
      Run_Running = false;
      return false;
    case kNewRoomRestart:
      Run_End();
      GamePads_Reannounce();
      Run_Restart_Game();
      return true;
    case kNewRoomLoad:
      New_Room = kNewRoomNone;
      IO_Clear();
      return true;
    default:
      if (New_Room >= 0) Room_Switch(New_Room);
      return true;
  }
}

// -saveframe: the window's picture of the chosen drawn frame goes to a PNG file and the game ends.
void save_frame_if_due() {
  const RunOptions& options = Run_Options();
  if (!options.save_frame || DrawnSteps != options.save_frame_at) return;
  if (Harness_SaveShot(options.save_frame_path)) {
    g_ReleaseConsole->Output("Saved frame %d to %s\n", options.save_frame_at, options.save_frame_path.c_str());
  }
  Game_End(0, false);
}

void frame_body() {
  Audio_Tick();
  if (Run_DebuggerHold) return;
  Window_ResetCountdownStep();
  Start_Frame();
  DoAStep();
  VirtualKeys_Draw();
  save_frame_if_due();
  End_Frame(New_Room < 0 && Run_DrawEnabled);
}

}  // namespace

std::recursive_mutex& Frame_Mutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

void Frame_SetMainThread() {
  g_main_thread = std::this_thread::get_id();
  Timing_SetPump(ProcessMessages);
}
void Frame_SetStepHook(void (*hook)(void*), void* argument) {
  g_step_hook = hook;
  g_step_hook_argument = argument;
}
void Frame_SetRoomSpeedReader(int32_t* (*reader)(void*)) { g_room_speed_reader = reader; }

void ProcessMessages() {
  if (std::this_thread::get_id() != g_main_thread) return;
  Window_PumpMessages();
  if (Platform_TakeQuitSignal()) {
    Run_Running = false;
    Run_QuitSeen = true;
  }
}

void DoAStep() {
  if (g_step_hook != nullptr) {
    g_step_hook(g_step_hook_argument);
    return;
  }
  const int64_t now = Timing_Time();
  Run_DeltaTime = now - g_last_step_time;
  g_last_step_time = now;
  RenderState_ApplyPending();
  SavedGame_ApplyQueued();
  IO_Update();
  const bool pause_event = IO_PauseEventThisFrame();
  if (pause_event && !Run_PauseEvent) g_DebugConsole->Output("Pause event has been registered for this frame\n");
  if (!pause_event && Run_PauseEvent) g_DebugConsole->Output("Pause event has been unregistered\n");
  Run_PauseEvent = pause_event;
  if (Window_FreezeForLostFocus()) return;
  Run_Step();
  if (New_Room == kNewRoomNone) {
    TextureLoad_Tick();
    Instance_PurgeDestroyed();
    if (Run_DrawEnabled) Room_Draw();
    Deferred_Process();
    Backgrounds_Scroll();
    Deferred_Process();
    ++DrawnSteps;
  }
  if (New_Room == kNewRoomNone) GCStep(-1);
}

int32_t Frame_Drive() {
  try {
    Scratch_Reset();
    MemoryManager::CountFrame();
    int64_t now = Timing_Time();
    const int64_t delta = now - Run_FrameNow;
    Run_FrameNow = now;
    if (now < Run_FrameStart) Run_FrameStart = now;
    TimeSource_TickRoots(delta);

    bool fixed = true;
    const int32_t rate = frame_rate(&fixed);
    Run_RoomSpeed = rate;
    Run_CurrentTimeSeconds = static_cast<int64_t>(std::time(nullptr));
    int64_t wait = fixed ? Frame_ComputeWait(rate, Run_FrameNow - Run_FrameStart) : 0;

    if (FrameLimit) {
      if (!SleepTimingForced && !SleepTimingFallback) {
        if (Frame_ComputePresentInterval(RefreshRate, rate, fixed, VsyncOn, &PresentInterval)) wait = 0;
      }
      if (wait > 0) {
        const int64_t used = GC_DeleteParked(wait, Timing_Time);
        wait = wait > used ? wait - used : 0;
      }
      Timing_Wait(wait, true);
    }
    if (!Run_Running) return 0;

    now = Timing_Time();
    Run_FrameStart = now;
    count_second(now);
    {
      std::lock_guard<std::recursive_mutex> lock(Frame_Mutex());
      frame_body();
      if (!Run_DebuggerHold) Harness_FrameEnd();
      if (!Run_DebuggerHold && !handle_room_request()) return 0;
    }
    ++Run_TotalFrames;
  } catch (const KVTSLException& exception) {
    Exception_Unhandled(exception);
  }
  return 0;
}

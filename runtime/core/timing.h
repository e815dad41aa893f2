#pragma once
// Frame timing: the microsecond clock, the fixed-step wait (a coarse sleep that stops SleepMargin
// ahead of the deadline, then a spin that pumps messages and naps at most 100 microseconds between
// clock reads), the scheduler resolution, the speed timer of generation-2 games, and the pure
// decisions of the frame driver (the wait of a frame, the present interval).
#include <cstdint>

// Microseconds since the clock was set up.
int64_t Timing_Time();
void Timing_Reset();
// Waits up to micros (capped at 3 seconds); precise waits spin the last SleepMargin milliseconds
// and end at the first clock read outside [start, start + micros).
void Timing_Wait(int64_t micros, bool precise);
// Called before every clock read of a precise wait's spin; the frame driver drains the window's
// messages there.
void Timing_SetPump(void (*pump)());

// The system timer's period in ms, which the runner sets as its scheduler resolution (Linux timers
// are taken to have 1 ms).
constexpr int32_t kSchedulerResolutionMs = 1;
// Sets the scheduler resolution (clamped to [1 ms, 1000 s]): SleepMargin drops to it while it is
// set. 0 releases it and gives SleepMargin back the value it had. Each change prints its line.
void Timing_SetSchedulerResolution(int32_t period_ms);

extern int32_t SleepMargin;  // ms

// The speed timer used when the data file says generation 2 or above.
struct GameTimer {
  uint64_t elapsed = 0;
  int64_t lastTime = 0;
  bool paused = false;
  double fps = 0.0;  // 0 or below: free running
  int64_t delta = 0;
};
extern GameTimer Run_GameTimer;
extern bool Run_UseGameTimer;

// Starts the timer at the clock's current time with the given rate.
void GameTimer_Reset(GameTimer* timer, double fps, int64_t now);
// Advances lastTime by whole frame steps (or to now when free running) and grows elapsed.
void GameTimer_Tick(GameTimer* timer, int64_t now);
// The builtin game_get_speed(type).
double GameTimer_GetSpeed(const GameTimer& timer, int type);

// The wait of one frame in microseconds: 1e6 / rate - spent in single precision, clamped to
// [0, 1000000]; a rate of 0 (unfixed timer) waits nothing.
int64_t Frame_ComputeWait(int32_t rate, int64_t spent);

// Whether the display's refresh can pace the frame: sets *interval to the number of blanks a
// frame lasts and returns true when the sleep is to be skipped.
bool Frame_ComputePresentInterval(float refresh_rate, int32_t rate, bool rate_fixed, bool vsync_on, int32_t* interval);

#pragma once
// Presenting a frame when the display's refresh paces the game (vsync counting): the pacer waits
// out the frame's period less 1.5 ms, carrying the timing error from frame to frame, then waits
// for a vertical blank. An output that cannot wait for blanks, or whose waits run long too often
// (10 of the last 60 above 1.1 refresh periods), makes the driver fall back to sleep timing.
#include <cstdint>

struct VsyncPacerHooks {
  int64_t (*now)();
  void (*wait)(int64_t micros, bool precise);
  bool (*wait_for_vblank)();
  bool (*present)(int32_t sync_interval);
  int64_t (*delete_parked)(int64_t budget_us, int64_t (*clock)());
};

class VsyncPacer {
 public:
  static constexpr int kRing = 60;
  static constexpr int kOutOfBoundsLimit = 10;

  void Reset();
  // One present; reads and may set SleepTimingFallback, counts missed frames.
  void Present(const VsyncPacerHooks& hooks, int32_t room_speed, float refresh_rate, int32_t present_interval);
  int64_t missed_frames() const { return missed_; }
  int out_of_bounds() const { return out_of_bounds_count_; }

 private:
  void clear_ring();
  void add_sample(int64_t sample, float refresh_period);

  int64_t prev_ = -1;
  int64_t carry_ = 0;
  int64_t missed_ = 0;
  bool ring_high_[kRing] = {};
  int ring_pos_ = 0;
  int ring_filled_ = 0;
  int out_of_bounds_count_ = 0;
};

// End of the device frame: presents (paced by the vsync counter unless sleep timing is in force).
void End_Frame(bool present);
VsyncPacer& Frame_Pacer();

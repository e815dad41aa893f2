#include "run/run_present.h"

#include <algorithm>

#include "core/console.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/timing.h"
#include "run/run_subjects.h"

void VsyncPacer::Reset() {
  prev_ = -1;
  carry_ = 0;
  missed_ = 0;
  clear_ring();
}

void VsyncPacer::clear_ring() {
  ring_pos_ = 0;
  ring_filled_ = 0;
  out_of_bounds_count_ = 0;
  std::fill(std::begin(ring_high_), std::end(ring_high_), false);
}

void VsyncPacer::add_sample(int64_t sample, float refresh_period) {
  if (ring_filled_ == kRing && ring_high_[ring_pos_]) --out_of_bounds_count_;
  ring_high_[ring_pos_] = static_cast<float>(sample) > 1.1f * refresh_period;
  if (ring_high_[ring_pos_]) ++out_of_bounds_count_;
  ring_pos_ = (ring_pos_ + 1) % kRing;
  if (ring_filled_ < kRing) ++ring_filled_;
}

void VsyncPacer::Present(const VsyncPacerHooks& hooks, int32_t room_speed, float refresh_rate, int32_t present_interval) {
  const int64_t period = static_cast<int64_t>(1000000.0f / static_cast<float>(room_speed > 0 ? room_speed : 1));
  const float refresh_period = 1000000.0f / (refresh_rate > 0.0f ? refresh_rate : 60.0f);
  int64_t now = hooks.now();
  if (prev_ < 0) prev_ = now;

  if (present_interval <= 0) {
    hooks.present(0);
  } else {
    const int64_t elapsed = now - prev_;
    if (elapsed - carry_ >= period) {
      ++missed_;
      hooks.present(present_interval == 0 ? 0 : 1);
    } else {
      int64_t wait = std::clamp<int64_t>(period - 1500 - elapsed + carry_, 0, 1000000);
      if (wait > 0 && hooks.delete_parked != nullptr) wait = std::max<int64_t>(0, wait - hooks.delete_parked(wait, hooks.now));
      hooks.wait(wait, true);
      const int64_t before_blank = hooks.now();
      if (!hooks.wait_for_vblank()) {
        g_ReleaseConsole->Output(
            "Vsync timing not supported in this output configuration - reverting to sleep-based timing\n");
        SleepTimingFallback = true;
        clear_ring();
      } else {
        add_sample(hooks.now() - before_blank, refresh_period);
        if (out_of_bounds_count_ >= kOutOfBoundsLimit) {
          g_ReleaseConsole->Output("Vsync wait times out of bounds - reverting to sleep based timing\n");
          SleepTimingFallback = true;
          clear_ring();
        }
      }
      hooks.present(0);
    }
  }
  now = hooks.now();
  const int64_t refresh = static_cast<int64_t>(refresh_period);
  carry_ = std::clamp<int64_t>(carry_ + prev_ + period - now, -refresh, refresh);
  prev_ = now;
}

namespace {

VsyncPacer g_pacer;

const VsyncPacerHooks kDeviceHooks = {Timing_Time, Timing_Wait, Device_WaitForVBlank, Device_Present, GC_DeleteParked};

}  // namespace

VsyncPacer& Frame_Pacer() { return g_pacer; }

void End_Frame(bool present) {
  Device_EndFrame(present);
  if (!present) return;
  if (!SleepTimingForced && !SleepTimingFallback && Run_ResetCountdown != 1) {
    g_pacer.Present(kDeviceHooks, Run_RoomSpeed, RefreshRate, PresentInterval);
  } else {
    Device_Present(VsyncOn ? 1 : 0);
  }
}

#pragma once
// One frame's display part as the frame driver runs it: while a size change settles (countdown
// above 1) the pending size is applied and the countdown steps down; at 1 the device is reset.
// Then a frame is begun and ended, and presented when asked.
#include "core/frame_state.h"
#include "graphics/window.h"

inline void RunDisplayFrame(bool present = true) {
  if (Run_ResetCountdown > 1) {
    Window_ApplyPendingSize();
    --Run_ResetCountdown;
  } else if (Run_ResetCountdown == 1) {
    Device_Reset();
    Run_ResetCountdown = 0;
  }
  Start_Frame();
  Device_EndFrame(present);
  if (present) Device_Present(0);
}

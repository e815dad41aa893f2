#pragma once
// One frame's display part as the frame driver runs it: the reset countdown's step, then a frame
// begun and ended, and presented when asked.
#include "graphics/window.h"

inline void RunDisplayFrame(bool present = true) {
  Window_ResetCountdownStep();
  Start_Frame();
  Device_EndFrame(present);
  if (present) Device_Present(0);
}
